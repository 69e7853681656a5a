#pragma once

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <numeric>
#include <vector>

#include "qmpic/Lut.h"
#include "support/cases.h"

/// What tests of look-up kernels share: tables in guarded memory, and one random call compared with
/// what should become of each pixel.

namespace qmpic::test {

/// A random table. Its cells end at an unreadable page now and then. Rows lie one behind the other,
/// or in any order at odd addresses with bytes between them, or are shared by many values.
class TestTable {
  public:
    TestTable(uint32_t bits, uint32_t cells, uint32_t cell_bits, Random& random)
        : values_(1u << bits), bytes_(cell_bits / 8) {
        const uint32_t row = cells * bytes_;
        enum { kBlock, kScattered, kShared };
        uint32_t style = cells == 1 ? uint32_t{kBlock} : random(kBlock, kShared);
        if (uint64_t{values_} * row > 500'000) style = kShared;
        const uint32_t slots = style == kShared ? random(1, std::min(values_, 300u)) : values_;
        const uint32_t slot = style == kBlock ? row : row + random(1, 2);
        memory_ = std::make_unique<GuardedPicture>(Format{1, 8, 8}, Size{slots * slot, 1}, random);
        std::vector<uint32_t> order(values_);
        std::iota(order.begin(), order.end(), 0);
        if (style == kScattered)
            for (uint32_t i = values_ - 1; i > 0; --i) std::swap(order[i], order[random(0, i)]);
        if (style == kShared)
            for (uint32_t& place : order) place = random(0, slots - 1);
        for (const uint32_t place : order)
            rows_.push_back(static_cast<uint8_t*>(memory_->data()) + size_t{place} * slot);
    }

    const void* flat() const { return memory_->data(); }
    const void* rows() const { return rows_.data(); }
    uint64_t at(uint64_t value, uint32_t cell) const {
        uint64_t found = 0;
        std::memcpy(&found, rows_.at(value) + size_t{cell} * bytes_, bytes_);
        return found;
    }
    uint32_t values() const { return values_; }
    uint64_t top(uint32_t cell) const { return at(values_ - 1, cell); }

  private:
    uint32_t values_, bytes_;
    std::unique_ptr<GuardedPicture> memory_;
    std::vector<const uint8_t*> rows_;
};

using Pixel = std::vector<uint64_t>;
/// What a source pixel becomes; nothing: the destination keeps what it holds.
using PixelReference = std::function<Pixel(const Pixel& source)>;
using PixelCall = std::function<int(const GuardedPicture& d, const GuardedPicture& s, Size size)>;

/// Sizes of small pictures, and of those that are large for a table of so many bits.
inline Size size_for_table(Round round, uint32_t components, uint32_t bits) {
    Random& random = round.random;
    if (round.number % 3 != 0 || bits > 10 || components > 6) return random.size(components);
    const uint32_t width = random(150, 700), height = 1 + (4u << bits) / width;
    return {width, height, uint64_t{width} * height + random(0, width - 1)};
}

/// One call; the destination may be the source where pixels have the same width. No sample of the
/// source is above `greatest`.
inline void check_pixels(Round round, Format to, Format from, uint64_t greatest, Size size,
                         const PixelCall& call, const PixelReference& reference) {
    Random& random = round.random;
    GuardedPicture d(to, size, random), apart(from, size, random);
    const bool may_be_same = to.components == from.components && to.bits == from.bits;
    GuardedPicture& s = may_be_same && random(0, 2) == 0 ? d : apart;
    s.keep_below(greatest, random);
    std::vector<uint64_t> expected;
    Pixel source(from.components);
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            for (uint32_t c = 0; c < from.components; ++c)
                source[c] = s.get(x * from.components + c, y);
            Pixel pixel = reference(source);
            if (pixel.empty())
                for (uint32_t c = 0; c < to.components; ++c)
                    pixel.push_back(d.get(x * to.components + c, y));
            expected.insert(expected.end(), pixel.begin(), pixel.end());
        }
    const auto outside = d.outside();

    ASSERT_EQ(call(d, s, size), QM_OK);

    ASSERT_TRUE(d.content() == expected)
        << size.width << " x " << size.height << " pixels of " << from.components << " x "
        << from.bpc << " to " << to.components << " x " << to.bits;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

/// A block of exposure colours of bytes, one entry a component; a third of them are flagged.
inline std::vector<uint8_t> random_colours(uint32_t components, Random& random) {
    std::vector<uint8_t> block;
    for (uint32_t c = 0; c < components; ++c) {
        for (int i = 0; i < 3; ++i) block.push_back(static_cast<uint8_t>(random.any()));
        block.push_back(static_cast<uint8_t>(random(0, 2) == 0 ? random(1, 255) : 0));
    }
    return block;
}

/// Thresholds around the values of a depth, and some far above them.
inline std::vector<uint32_t> random_thresholds(uint32_t components, uint64_t max, Random& random) {
    std::vector<uint32_t> values;
    const auto top = static_cast<uint32_t>(max);
    for (uint32_t c = 0; c < components; ++c)
        values.push_back(random(0, 3) == 0
                             ? random.one_of({0u, 1u, top, top + 1, 256u, 0xFFFFFFFFu})
                             : random(0, top));
    return values;
}

/// A set made by hand around tables that somebody else owns.
struct HandMadeSet : SQmLut {
    HandMadeSet(const void* luts, uint32_t source_bits, uint32_t tables, uint32_t cell_bits,
                uint32_t cells) {
        pLuts = const_cast<void*>(luts);
        ucSrcBpc = static_cast<uint8_t>(source_bits);
        ucComponents = static_cast<uint8_t>(tables);
        ucDstBpc = static_cast<uint8_t>(cell_bits);
        ucDstComponents = static_cast<uint8_t>(cells);
        rmComponents = CQmRangeMask(192, 0, 191, 1);
    }
    ~HandMadeSet() {
        pLuts = nullptr;
        pOverExpColor = pUnderExpColor = nullptr;
        pOverExpValue = nullptr;
    }
    void mark(const void* over, const uint32_t* thresholds, const void* under) {
        pOverExpColor = const_cast<void*>(over);
        pOverExpValue = const_cast<uint32_t*>(thresholds);
        pUnderExpColor = const_cast<void*>(under);
    }
};

/// Tables that have an entry for every value of 16 bits, for calls of which only the code counts.
struct EntryTables {
    std::vector<uint8_t> cells = std::vector<uint8_t>(2 * 65536, 7);
    std::vector<const void*> rows = std::vector<const void*>(65536, cells.data());
    std::vector<const void*> tables = std::vector<const void*>(8, rows.data());
    static const EntryTables& get() {
        static const EntryTables made;
        return made;
    }
};

}  // namespace qmpic::test
