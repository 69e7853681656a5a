#include "stretch/pick.h"

#include <algorithm>
#include <cstring>

#include "core/isa.h"

// Pixels that stand side by side are copied as they are. Blocks of shuffles are for small pixels
// that lie close together; loads and stores, pixel by pixel, are for all others.

namespace qmpic {

namespace {

constexpr uint64_t kBytes = PickBlocks::kBytes;
constexpr uint64_t kFewRows = 8;  // for which shuffles are not worth being made

/// Vectors a block beyond which pixels are faster one by one.
uint64_t most_vectors(uint64_t pixel) {
    return std::min<uint64_t>(PickBlocks::kMostVectors, 20 / pixel);
}

uint64_t count_blocks(uint32_t count, uint64_t pixel, uint64_t rows) {
    if (active_isa() < Isa::Avx2 || pixel == 0 || most_vectors(pixel) == 0 || rows < kFewRows)
        return 0;
    return (count * pixel + kBytes - 1) / kBytes;
}

/// Pixels of a row that are picked one by one.
struct PickPixels {
    Sample<uint8_t>* d;
    const Sample<uint8_t>*s, *next;
    const uint32_t* columns;
    uint32_t count, lowest;

    /// Of `pixel` bytes, which is a constant but for 0.
    template <uint64_t known>
    void run(uint64_t pixel = known) const {
        const uint64_t size = known != 0 ? known : pixel;
        for (uint32_t i = 0; i < count; ++i) {
            const uint64_t from = uint64_t{columns[i] - lowest} * size;
            __builtin_prefetch(next + from);
            std::memcpy(d + i * size, s + from, size);
        }
    }
};

}  // namespace

Picker::Picker(uint32_t count, uint64_t pixel_bytes, uint64_t rows)
    : pixel_(pixel_bytes),
      blocks_(count_blocks(count, pixel_bytes, rows)),
      memory_(blocks_ * (sizeof(int64_t) + kBytes * most_vectors(std::max<uint64_t>(pixel_, 1))) +
              count * sizeof(uint32_t)),
      from_(reinterpret_cast<int64_t*>(memory_.get())),
      masks_(reinterpret_cast<uint8_t*>(from_ + blocks_)),
      columns_(reinterpret_cast<uint32_t*>(
          masks_ + (blocks_ == 0 ? 0 : blocks_ * kBytes * most_vectors(pixel_)))) {}

void Picker::prepare(uint32_t first, uint32_t end, uint64_t low, uint64_t high) {
    first_ = first, end_ = end;
    if (first >= end) return;
    const auto [least, greatest] = std::minmax_element(columns_ + first, columns_ + end);
    lowest_ = *least;
    bool is_run = true;
    for (uint32_t i = first + 1; i < end; ++i) is_run &= columns_[i] == columns_[i - 1] + 1;
    const auto bytes = [&](uint64_t pixel) {
        return (static_cast<int64_t>(pixel) - int64_t{lowest_}) * static_cast<int64_t>(pixel_);
    };
    if (is_run)
        way_ = kRun;
    else if (make_blocks(bytes(std::min<uint64_t>(low, lowest_)),
                         bytes(std::max<uint64_t>(high, uint64_t{*greatest} + 1))))
        way_ = kBlocks;
}

/// Where the bytes of a block come from, from the lowest pixel.
struct Picker::Block {
    int64_t bytes[kBytes], least, greatest;
};

Picker::Block Picker::block(uint64_t index) const {
    const uint64_t begin = std::min(index * kBytes, plan_.bytes - kBytes);
    const uint32_t* column = columns_ + first_ + begin / pixel_;
    uint64_t part = begin % pixel_;
    Block block;
    for (int64_t& byte : block.bytes) {
        byte = static_cast<int64_t>(uint64_t{*column - lowest_} * pixel_ + part);
        if (++part == pixel_) part = 0, ++column;
    }
    const auto [least, greatest] = std::minmax_element(block.bytes, block.bytes + kBytes);
    block.least = *least, block.greatest = *greatest;
    return block;
}

// Of a row the bytes from `low` to below `high` may be read, counted from its lowest pixel.
bool Picker::make_blocks(int64_t low, int64_t high) {
    plan_ = {from_, masks_, (end_ - first_) * pixel_, 0};
    if (blocks_ == 0 || plan_.bytes < kBytes) return false;
    const uint64_t blocks = (plan_.bytes + kBytes - 1) / kBytes;
    int64_t widest = 0;
    for (uint64_t i = 0; i < blocks; ++i) {
        const Block b = block(i);
        widest = std::max(widest, b.greatest - b.least + 1);
    }
    constexpr auto vector = static_cast<int64_t>(kBytes);
    const int64_t vectors = (widest + vector - 1) / vector;
    if (vectors > static_cast<int64_t>(most_vectors(pixel_)) || high - low < vectors * vector)
        return false;
    plan_.vectors = static_cast<uint32_t>(vectors);
    uint8_t* mask = masks_;
    for (uint64_t i = 0; i < blocks; ++i) {
        const Block b = block(i);
        from_[i] = std::min(b.least, high - vectors * vector);
        for (int64_t first = from_[i]; first < from_[i] + vectors * vector; first += vector)
            for (const int64_t byte : b.bytes)
                *mask++ = byte >= first && byte < first + vector
                              ? static_cast<uint8_t>(byte - first)
                              : uint8_t{0x80};
    }
    return true;
}

void Picker::pick(Sample<uint8_t>* d, const Sample<uint8_t>* s, const Sample<uint8_t>* next) const {
    if (first_ >= end_ || pixel_ == 0) return;
    const uint32_t count = end_ - first_;
    if (way_ == kRun) {
        std::memcpy(d, s, count * pixel_);
        return;
    }
    if (way_ == kBlocks)
        return pick_blocks_avx2(reinterpret_cast<uint8_t*>(d), reinterpret_cast<const uint8_t*>(s),
                                reinterpret_cast<const uint8_t*>(next), plan_);
    const PickPixels pixels{d, s, next, columns_ + first_, count, lowest_};
    switch (pixel_) {
    case 1: return pixels.run<1>();
    case 2: return pixels.run<2>();
    case 3: return pixels.run<3>();
    case 4: return pixels.run<4>();
    case 6: return pixels.run<6>();
    case 12: return pixels.run<12>();
    default: pixels.run<0>(pixel_);
    }
}

}  // namespace qmpic
