#include "histogram/counting.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "histogram/counting_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;

/// Blocks of bins at an odd address, with gaps of 64 bytes. Block 0 is the intensity's.
class Bins {
  public:
    Bins(uint32_t blocks, uint64_t bins, uint32_t bytes, Random& random)
        : bins_(bins), bytes_(bytes), memory_(1 + blocks * (bins * bytes + 64)) {
        // Anything, also what the first increment wraps.
        const auto fill = static_cast<uint8_t>(random.one_of({0u, 0xFFu, random.any() & 0xFF}));
        std::fill(memory_.begin(), memory_.end(), fill);
        for (uint32_t c = 1; c < blocks; ++c) components.push_back(block(c));
    }
    void* block(uint64_t c) { return memory_.data() + 1 + c * (bins_ * bytes_ + 64); }
    uint64_t get(uint64_t c, uint64_t index) {
        uint64_t value = 0;
        std::memcpy(&value, static_cast<uint8_t*>(block(c)) + index * bytes_, bytes_);
        return value;
    }
    const std::vector<uint8_t>& memory() const { return memory_; }
    uint64_t bins() const { return bins_; }

    std::vector<void*> components;

  private:
    uint64_t bins_;
    uint32_t bytes_;
    std::vector<uint8_t> memory_;
};

/// What is expected of bins: those that a call finds, and then one after the other counted.
class Expected {
  public:
    Expected(Bins& bins, uint32_t bytes) : memory_(bins.memory()), bins_(bins), bytes_(bytes) {}
    void add_one(uint64_t block, uint64_t index) {
        counted.push_back(block << 32 | index);
        if (index >= bins_.bins()) {
            ADD_FAILURE() << "no such bin: " << index;
            return;
        }
        uint8_t* const at = memory_.data() + 1 + block * (bins_.bins() * bytes_ + 64);
        uint64_t value = 0;
        std::memcpy(&value, at + index * bytes_, bytes_);
        ++value;
        std::memcpy(at + index * bytes_, &value, bytes_);
    }
    bool is_met() const { return memory_ == bins_.memory(); }

    std::vector<uint64_t> counted;

  private:
    std::vector<uint8_t> memory_;
    Bins& bins_;
    uint32_t bytes_;
};

struct Walk {
    uint32_t step_x, step_y;
};

/// What a name says.
struct Kind {
    bool intensity, only_block_is_intensity, masked, any_count;
};
Kind kind_of(std::string_view name, Layout layout) {
    const bool masked = name.starts_with("gethistogrambin");
    return {(masked && layout.components != 1) || name.starts_with("gethistogramint"),
            masked && layout.components == 1, masked, layout.components == 0};
}

/// One pixel after the other.
void count(Expected& expected, const GuardedPicture& picture, uint32_t bpc, uint32_t components,
           const GuardedPicture* mask, Kind kind, Walk walk, uint32_t first = 0) {
    const uint64_t max = (uint64_t{1} << bpc) - 1;
    const uint32_t step_x = std::max(walk.step_x, 1u), step_y = std::max(walk.step_y, 1u);
    for (uint64_t y = 0; y < picture.size().height; y += step_y)
        for (uint64_t x = 0; x < picture.size().width; x += step_x) {
            const auto column = static_cast<uint32_t>(x), row = static_cast<uint32_t>(y);
            if (mask != nullptr && mask->get(column, row) == 0) {
                if (kind.any_count) expected.add_one(0, 0);
                continue;
            }
            uint64_t sum = 0;
            for (uint32_t c = first; c < components; ++c) {
                const uint64_t word = picture.get(column * components + c, row);
                expected.add_one(kind.only_block_is_intensity ? 0 : c + 1, word & max);
                sum += mask != nullptr ? word : word & max;
            }
            if (kind.intensity && sum / components <= max) expected.add_one(0, sum / components);
        }
}

uint32_t draw_step(Random& random) {
    return random.one_of({0u, 1u, 1u, 1u, 1u, 1u, 2u, 3u, 17u, 1000u, 0xFFFFFFFFu});
}

/// Runs of equal pixels, which are counted at once, now and then up to the row's end.
void make_runs(GuardedPicture& picture, uint32_t components, Random& random) {
    if (random(0, 1)) return;
    for (uint32_t y = 0; y < picture.size().height; ++y)
        for (uint32_t x = random(1, 20); x < picture.size().width; x += random(1, 20)) {
            const uint32_t length = random(1, 40);
            for (uint32_t i = 0; i < length && x < picture.size().width; ++i, ++x)
                for (uint32_t c = 0; c < components; ++c)
                    picture.set(x * components + c, y, picture.get((x - 1) * components + c, y));
        }
}

/// A call of a family's kernel with bins and the pictures that it counts.
struct Drawn {
    uint32_t components, bpc, bin_bytes;
    Size size;
    Walk walk;
    static Drawn draw(Layout layout, Round round) {
        Random& random = round.random;
        const uint32_t bpc =
            layout.bits == 8 ? 8 : round.in_turn(depths(16));  // of bytes there is one depth
        const uint32_t count = layout.components != 0 ? layout.components
                               : bpc <= 10            ? random.components()
                                                      : random(1, 5);
        const Size size = random.size(count);
        const uint32_t bin_bytes = random.one_of({4u, 4u, 8u});
        const uint32_t step_x = draw_step(random), step_y = draw_step(random);
        return {count, bpc, bin_bytes, size, {step_x, step_y}};
    }
    uint64_t bins() const { return uint64_t{1} << bpc; }
};

void check_counting(CountKernel* run, Layout layout, Kind kind, Round round) {
    Random& random = round.random;
    const Drawn d = Drawn::draw(layout, round);
    GuardedPicture picture({d.components, layout.bits, d.bpc}, d.size, random);
    make_runs(picture, d.components, random);
    Bins bins(d.components + 1, d.bins(), d.bin_bytes, random);
    Expected expected(bins, d.bin_bytes);
    count(expected, picture, d.bpc, d.components, nullptr, kind, d.walk);
    const auto pointers = bins.components;

    ASSERT_EQ(
        run(bins.components.data(), bins.block(0), d.bin_bytes, picture.data(), picture.stride(),
            d.components, d.bpc, d.walk.step_x, d.walk.step_y, d.size.width, d.size.pixels),
        QM_OK);

    ASSERT_TRUE(expected.is_met())
        << d.size.width << " x " << d.size.height << ", " << d.components << " x " << d.bpc
        << ", bins of " << d.bin_bytes << ", steps " << d.walk.step_x << ", " << d.walk.step_y;
    ASSERT_EQ(bins.components, pointers);
    round.digest.add(expected.counted);
}

void check_masked(CountMaskedKernel* run, Layout layout, uint32_t mask_bits, Kind kind,
                  Round round) {
    Random& random = round.random;
    const Drawn d = Drawn::draw(layout, round);
    const GuardedPicture picture({d.components, layout.bits, d.bpc}, d.size, random);
    GuardedPicture mask({1, mask_bits, mask_bits}, d.size, random);
    const uint32_t one_in = random(1, 4);  // is left out; 0x0100 is not 0 either
    for (uint32_t y = 0; y < d.size.height; ++y)
        for (uint32_t x = 0; x < d.size.width; ++x)
            if (random(1, one_in) == 1) mask.set(x, y, 0);
    Bins bins(d.components + 1, d.bins(), d.bin_bytes, random);
    Expected expected(bins, d.bin_bytes);
    count(expected, picture, d.bpc, d.components, &mask, kind, d.walk);

    ASSERT_EQ(run(bins.components.data(), bins.block(0), d.bin_bytes, picture.data(),
                  picture.stride(), d.components, d.bpc, mask.data(), mask.stride(), d.walk.step_x,
                  d.walk.step_y, d.size.width, d.size.pixels),
              QM_OK);

    ASSERT_TRUE(expected.is_met())
        << d.size.width << " x " << d.size.height << ", " << d.components << " x " << d.bpc
        << ", bins of " << d.bin_bytes << ", steps " << d.walk.step_x << ", " << d.walk.step_y;
    round.digest.add(expected.counted);
}

void check_some_components(HistogramCompKernel* run, Round round) {
    Random& random = round.random;
    const Layout layout{0, random(0, 3) != 0 ? 16u : 8u};
    const Drawn d = Drawn::draw(layout, round);
    const GuardedPicture picture({d.components, layout.bits, d.bpc}, d.size, random);
    const uint32_t first = random(0, d.components);  // the last is none at all
    Bins bins(d.components + 1, d.bins(), d.bin_bytes, random);
    Expected expected(bins, d.bin_bytes);
    count(expected, picture, d.bpc, d.components, nullptr, {}, d.walk, first);
    for (uint32_t c = 0; c < first; ++c) bins.components[c] = nullptr;

    ASSERT_EQ(
        run(bins.components.data(), d.bin_bytes, picture.data(), first, d.components,
            picture.stride(), d.walk.step_x, d.walk.step_y, d.bpc, d.size.width, d.size.pixels),
        QM_OK);

    ASSERT_TRUE(expected.is_met()) << d.components << " x " << d.bpc << " from " << first;
    round.digest.add(expected.counted);
}

/// Memory without pages between its rows, since some of these kernels read through them.
void check_divided(CountDividedKernel* run, Layout layout, Round round) {
    Random& random = round.random;
    const uint32_t bytes = layout.bits / 8, width = random(1, 60), rows = random(1, 7);
    const uint32_t bpc = round.in_turn(depths(layout.bits));
    const uint32_t n = layout.components != 0 ? layout.components : random.components();
    const uint32_t histo_bits =
        random(0, 3) != 0 ? random(0, std::min(bpc, 12u)) : bpc + random(1, 3);
    const uint32_t stride = width * n * bytes + random(0, 9);
    const uint32_t end = (rows - 1) * stride + width * n * bytes;
    const GuardedPicture memory({1, 8, 8}, {end, 1}, random);
    const uint32_t bin_bytes = random.one_of({4u, 4u, 8u});
    const uint32_t step_x = draw_step(random), step_y = draw_step(random);
    Bins bins(n + 1, uint64_t{1} << std::min(histo_bits, 12u), bin_bytes, random);
    Expected expected(bins, bin_bytes);
    std::vector<void*> pointers = bins.components;
    const bool halves = bytes == 2 && layout.components != 1;
    const bool steps_pointers = layout.components == 0 && bin_bytes == 8;
    const uint32_t words = layout.components == 0 ? 3 * width : width * n;
    for (uint64_t y = 0; y < rows; y += std::max(step_y, 1u)) {
        const uint64_t begin = halves ? y * stride / 4 * 2 : y * stride;
        for (uint64_t i = 0; i < words; i += uint64_t{n} * std::max(step_x, 1u)) {
            if (begin + (i + n) * bytes > end) continue;
            for (uint32_t c = 0; c < n; ++c) {
                uint64_t value = 0;
                for (uint32_t b = 0; b < bytes; ++b)
                    value |= memory.get(static_cast<uint32_t>(begin + (i + c) * bytes + b), 0)
                             << 8 * b;
                const uint64_t index = histo_bits > bpc ? 0 : value >> (bpc - histo_bits);
                if (steps_pointers) {
                    pointers[0] = pointers[c];
                    if (index < n) pointers[index] = static_cast<char*>(pointers[index]) + 8;
                } else if (index >> histo_bits == 0) {
                    expected.add_one(c + 1, index);
                }
            }
        }
    }

    ASSERT_EQ(run(bins.components.data(), bin_bytes, histo_bits, memory.data(), stride, n, bpc,
                  step_x, step_y, width, uint64_t{width} * rows + random(0, width - 1)),
              QM_OK);

    ASSERT_TRUE(expected.is_met()) << width << " x " << rows << ", " << n << " x " << bpc << " to "
                                   << histo_bits << ", steps " << step_x << ", " << step_y;
    ASSERT_EQ(bins.components, pointers);
    round.digest.add(expected.counted);
}

/// Sums wrap at the bin's width; blocks of 1 to 2^13 bins.
void check_adding(HistoAddKernel* run, Round round) {
    Random& random = round.random;
    const uint32_t bits = random(0, 13), n = random(1, 5), bytes = random.one_of({4u, 8u});
    const uint64_t bins = uint64_t{1} << bits, all = bytes == 4 ? 0xFFFFFFFF : ~uint64_t{0};
    Bins s(n + 1, bins, bytes, random), d(n + 1, bins, bytes, random);
    for (Bins* const one : {&s, &d})
        for (uint32_t c = 0; c <= n; ++c)
            for (uint64_t i = 0; i < bins; ++i) {
                uint64_t value = random.any();
                value = value << 32 | random.any();
                std::memcpy(static_cast<uint8_t*>(one->block(c)) + i * bytes, &value, bytes);
            }
    const auto source = s.memory();
    const bool intensity = random(0, 3) != 0;
    std::vector<uint64_t> expected;
    for (uint32_t c = 0; c <= n; ++c)
        for (uint64_t i = 0; i < bins; ++i)
            expected.push_back((c != 0 || intensity ? d.get(c, i) + s.get(c, i) : d.get(0, i)) &
                               all);

    ASSERT_EQ(run(intensity ? s.block(0) : nullptr, s.components.data(), d.block(0),
                  d.components.data(), bits, n, bytes),
              QM_OK);

    std::vector<uint64_t> found;
    for (uint32_t c = 0; c <= n; ++c)
        for (uint64_t i = 0; i < bins; ++i) found.push_back(d.get(c, i));
    ASSERT_EQ(found, expected);
    ASSERT_EQ(s.memory(), source);
    round.digest.add(found);
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    for (const auto& k : kHistogram)
        all.push_back({std::string(k.name), [=](Round round) {
                           check_counting(k.run, k.source, kind_of(k.name, k.source), round);
                       }});
    for (const auto& k : kHistogramInt)
        all.push_back({std::string(k.name), [=](Round round) {
                           check_counting(k.run, k.source, kind_of(k.name, k.source), round);
                       }});
    for (const auto& k : kHistogramBin)
        all.push_back({std::string(k.name), [=](Round round) {
                           check_masked(k.run, k.source, 8, kind_of(k.name, k.source), round);
                       }});
    for (const auto& k : kHistogramBin16)
        all.push_back({std::string(k.name), [=](Round round) {
                           check_masked(k.run, k.source, 16, kind_of(k.name, k.source), round);
                       }});
    for (const auto& k : kHistogramDiv)
        all.push_back(
            {std::string(k.name), [=](Round round) { check_divided(k.run, k.source, round); }, 96});
    for (const auto& k : kHistogramComp)
        all.push_back(
            {std::string(k.name), [=](Round round) { check_some_components(k.run, round); }});
    for (const auto& k : kHistoAdd)
        all.push_back({std::string(k.name), [=](Round round) { check_adding(k.run, round); }});
    return all;
}

/// Bins for what entries are called with in the generated tests: seven blocks of 2^16.
struct EntryBins {
    void* components[6];
    void* intensity;
    EntryBins() {
        thread_local std::vector<uint32_t> memory(7 << 16);
        intensity = memory.data();
        for (uint32_t c = 0; c < 6; ++c) components[c] = memory.data() + ((c + 1) << 16);
    }
};

int with_intensity(uint32_t components, uint32_t bpc) {
    if (bytes_and_words(components, bpc) != QM_OK) return QM_NO_KERNEL;
    return components != 0 ? QM_OK : QM_BAD_BUFFER;
}
int more_than_bytes(uint32_t /*components*/, uint32_t bpc) {
    return bpc >= 9 && bpc <= 32 ? QM_OK : QM_NO_KERNEL;
}
int never(uint32_t /*components*/, uint32_t /*bpc*/) { return QM_NO_KERNEL; }

// They have no destination picture, so that what null does is tested below.
EntryCase masked_case(const std::string& suffix, uint32_t mask_bpc,
                      int (*documented)(uint32_t, uint32_t)) {
    return {"CQmPicMemAPI_Base::GetHistogramUnderBinary " + suffix,
            [=](const EntryCall& c) {
                EntryBins bins;
                return Api::GetHistogramUnderBinary(bins.components, bins.intensity, 4, c.src,
                                                    c.stride, c.components, c.bpc, c.src, c.stride,
                                                    mask_bpc, 1, 1, c.width, c.size);
            },
            documented, true, false};
}

const bool registered =
    add_cases(kernel_cases(),
              {{"CQmPicMemAPI_Base::GetHistogram",
                [](const EntryCall& c) {
                    EntryBins bins;
                    return Api::GetHistogram(bins.components, 4, c.src, c.stride, c.components,
                                             c.bpc, c.width, c.size);
                },
                bytes_and_words, true, false},
               {"CQmPicMemAPI_Base::GetHistogramEx",
                [](const EntryCall& c) {
                    EntryBins bins;
                    return Api::GetHistogramEx(bins.components, bins.intensity, 4, c.src, c.stride,
                                               c.components, c.bpc, 1, 1, c.width, c.size);
                },
                with_intensity, false, false},
               {"CQmPicMemAPI_Base::GetHistogramDiv",
                [](const EntryCall& c) {
                    EntryBins bins;
                    return Api::GetHistogramDiv(bins.components, 4, 8, c.src, c.stride,
                                                c.components, c.bpc, c.width, c.size);
                },
                more_than_bytes, true, false},
               masked_case("0", 0, bytes_and_words),
               masked_case("8", 8, bytes_and_words),
               masked_case("9", 9, bytes_and_words),
               masked_case("16", 16, bytes_and_words),
               masked_case("17", 17, never)},
              {"CQmPicMemAPI_Base::AddHisto"});

using Block = std::vector<uint32_t>;

/// Blocks of 4 bytes a bin, the intensity's first.
struct Blocks {
    std::vector<Block> all;
    std::vector<void*> components;
    Blocks(uint32_t count, size_t bins) : all(count + 1, Block(bins)) {
        for (uint32_t c = 1; c <= count; ++c) components.push_back(all[c].data());
    }
    void* intensity() { return all[0].data(); }
    uint32_t sum(size_t block) const {
        uint32_t total = 0;
        for (const uint32_t count : all[block]) total += count;
        return total;
    }
};

TEST(Histogram, EntriesAreNoOpsOnNothing) {
    const uint8_t s[4] = {1, 2, 3, 4};
    Blocks b(1, 256);
    void** const comp = b.components.data();
    for (const uint32_t bpc : {7u, 8u, 12u, 40u}) {
        EXPECT_EQ(Api::GetHistogram(comp, 4, nullptr, 4, 1, bpc, 4, 4), QM_OK);
        EXPECT_EQ(Api::GetHistogram(comp, 4, s, 4, 1, bpc, 0, 4), QM_OK);
        EXPECT_EQ(Api::GetHistogram(comp, 4, s, 4, 1, bpc, 4, 0), QM_OK);
        EXPECT_EQ(Api::GetHistogramEx(comp, b.intensity(), 4, s, 4, 1, bpc, 1, 1, 0, 4), QM_OK);
        EXPECT_EQ(Api::GetHistogramEx(comp, b.intensity(), 4, s, 4, 1, bpc, 1, 1, 4, 0), QM_OK);
        EXPECT_EQ(Api::GetHistogramUnderBinary(comp, b.intensity(), 4, nullptr, 4, 1, bpc, nullptr,
                                               4, 17, 1, 1, 4, 4),
                  QM_OK);
        EXPECT_EQ(Api::GetHistogramUnderBinary(comp, b.intensity(), 4, s, 4, 1, bpc, nullptr, 4, 8,
                                               1, 1, 0, 4),
                  QM_OK);
        EXPECT_EQ(Api::GetHistogramUnderBinary(comp, b.intensity(), 4, s, 4, 1, bpc, nullptr, 4, 8,
                                               1, 1, 4, 0),
                  QM_OK);
        EXPECT_EQ(Api::GetHistogramDiv(comp, 4, 8, nullptr, 4, 1, bpc, 2, 2), QM_OK);
        EXPECT_EQ(Api::GetHistogramDiv(comp, 4, 8, s, 4, 1, bpc, 0, 2), QM_OK);
        EXPECT_EQ(Api::GetHistogramDiv(comp, 4, 8, s, 4, 1, bpc, 2, 0), QM_OK);
    }
    EXPECT_EQ(b.sum(0) + b.sum(1), 0u);
}

TEST(Histogram, ExAloneRefusesANullSource) {
    Blocks b(1, 256);
    for (const uint32_t width : {0u, 4u})
        EXPECT_EQ(Api::GetHistogramEx(b.components.data(), b.intensity(), 4, nullptr, 4, 1, 8, 1, 1,
                                      width, 4),
                  QM_BAD_BUFFER);
}

TEST(Histogram, UnderBinaryRefusesANullMaskAndMoreThan16Bits) {
    const uint8_t s[4] = {1, 2, 3, 4};
    Blocks b(1, 256);
    EXPECT_EQ(Api::GetHistogramUnderBinary(b.components.data(), b.intensity(), 4, s, 4, 1, 8,
                                           nullptr, 4, 8, 1, 1, 4, 4),
              QM_BAD_BUFFER);
    EXPECT_EQ(Api::GetHistogramUnderBinary(b.components.data(), b.intensity(), 4, s, 4, 1, 8, s, 4,
                                           17, 1, 1, 4, 4),
              QM_NO_KERNEL);
    EXPECT_EQ(b.sum(0), 0u);
}

TEST(Histogram, TestsRowsThenComponentsThenBinsThenDepth) {
    const uint16_t s[2] = {1, 2};
    Blocks b(1, 65536);
    void** const comp = b.components.data();
    for (const uint32_t bytes : {0u, 1u, 2u, 5u, 16u}) {  // no row at all: 3 of 4 pixels
        EXPECT_EQ(gethistogramint_Nx8(comp, b.intensity(), bytes, s, 0, 4, 1, 1, 4, 3), QM_OK);
        EXPECT_EQ(gethistogram_1x16(comp[0], bytes, s, 4, 1, 1, 40, 4, 3), QM_OK);
        EXPECT_EQ(gethistogramdiv_1x16(comp[0], bytes, 8, s, 4, 1, 1, 12, 4, 3), QM_OK);
        EXPECT_EQ(gethistogramint_Nx8(comp, b.intensity(), bytes, s, 0, 4, 1, 1, 4, 4),
                  QM_BAD_BUFFER);
        EXPECT_EQ(gethistogramint_Nx16(comp, b.intensity(), bytes, s, 0, 4, 1, 1, 12, 2, 2),
                  QM_BAD_BUFFER);
        EXPECT_EQ(gethistogram_1x8(comp[0], bytes, s, 4, 1, 1, 4, 4), QM_NO_KERNEL);
        EXPECT_EQ(gethistogram_Nx8(comp, bytes, s, 0, 4, 1, 1, 4, 4), QM_NO_KERNEL);
        EXPECT_EQ(gethistogramdiv_1x16(comp[0], bytes, 8, s, 4, 1, 1, 12, 2, 2), QM_NO_KERNEL);
        EXPECT_EQ(gethistogramdiv_Nx32(comp, bytes, 8, s, 1, 4, 1, 1, 20, 1, 1), QM_NO_KERNEL);
        EXPECT_EQ(gethistogram_Nx16_comp(comp, bytes, s, 0, 1, 4, 1, 1, 12, 2, 2), QM_NO_KERNEL);
    }
    for (const uint32_t bpc : {0u, 8u, 17u, 32u, 40u}) {
        EXPECT_EQ(gethistogram_1x16(comp[0], 4, s, 4, 1, 1, bpc, 2, 2), QM_NO_KERNEL);
        EXPECT_EQ(gethistogramint_Nx16(comp, b.intensity(), 4, s, 1, 4, 1, 1, bpc, 2, 2),
                  QM_NO_KERNEL);
    }
    EXPECT_EQ(b.sum(0) + b.sum(1), 0u);
}

TEST(Histogram, OfNoComponentsCountsNothing) {
    const uint16_t s[2] = {1, 2};
    const uint8_t mask[2] = {0, 1};
    Blocks b(1, 4096);
    void** const comp = b.components.data();
    EXPECT_EQ(gethistogram_Nx16(comp, 4, s, 0, 4, 1, 1, 12, 2, 2), QM_OK);
    EXPECT_EQ(gethistogrambin_Nx16(comp, b.intensity(), 4, s, 0, 4, mask, 2, 1, 1, 12, 2, 2),
              QM_OK);
    EXPECT_EQ(gethistogramdiv_Nx16(comp, 4, 8, s, 0, 4, 1, 1, 12, 2, 2), QM_OK);
    EXPECT_EQ(gethistogramdiv_Nx16(comp, 8, 8, s, 0, 4, 1, 1, 12, 2, 2), QM_OK);
    EXPECT_EQ(b.sum(0) + b.sum(1), 0u);
}

TEST(Histogram, WithNullBinsCountsNothing) {
    const uint16_t s[4] = {1, 2, 3, 4};
    Blocks b(3, 4096);
    EXPECT_EQ(Api::GetHistogramEx(nullptr, nullptr, 4, s, 8, 1, 12, 1, 1, 4, 4), QM_OK);
    EXPECT_EQ(Api::GetHistogramEx(nullptr, nullptr, 4, s, 8, 3, 12, 1, 1, 1, 1), QM_OK);
    EXPECT_EQ(Api::GetHistogramEx(b.components.data(), nullptr, 4, s, 8, 3, 12, 1, 1, 1, 1), QM_OK);
    EXPECT_EQ(Api::GetHistogram(nullptr, 4, s, 8, 1, 12, 4, 4), QM_OK);
    EXPECT_EQ(Api::GetHistogramDiv(nullptr, 4, 8, s, 8, 1, 12, 4, 4), QM_OK);
    EXPECT_EQ(Api::GetHistogramDiv(nullptr, 4, 8, s, 8, 3, 12, 1, 1), QM_OK);
    EXPECT_EQ(b.sum(1), 0u);
}

TEST(Histogram, Of12BitsForgetsUpperBits) {
    const uint16_t s[3] = {0x1005, 0x0005, 0xFFFF};
    Blocks b(1, 4096);
    EXPECT_EQ(Api::GetHistogram(b.components.data(), 4, s, 6, 1, 12, 3, 3), QM_OK);
    EXPECT_EQ(b.all[1][5], 2u);
    EXPECT_EQ(b.all[1][4095], 1u);
}

TEST(Histogram, Of16BitsCountsWholeWords) {
    const uint16_t s[3] = {0x1005, 0x0005, 0xFFFF};
    Blocks b(1, 65536);
    EXPECT_EQ(Api::GetHistogram(b.components.data(), 4, s, 6, 1, 16, 3, 3), QM_OK);
    EXPECT_EQ(b.all[1][5] + b.all[1][0x1005] + b.all[1][0xFFFF], 3u);
}

TEST(Histogram, IntensityIsTheTruncatedMean) {
    const uint8_t s[12] = {1, 2, 5, 255, 255, 255, 0, 0, 2, 10, 11, 11};
    Blocks three(3, 256), four(4, 256), six(6, 256);
    EXPECT_EQ(
        Api::GetHistogramEx(three.components.data(), three.intensity(), 4, s, 12, 3, 8, 1, 1, 4, 4),
        QM_OK);
    EXPECT_EQ(three.all[0][2], 1u);    // 8 / 3
    EXPECT_EQ(three.all[0][255], 1u);  // 765 / 3
    EXPECT_EQ(three.all[0][0], 1u);    // 2 / 3
    EXPECT_EQ(three.all[0][10], 1u);   // 32 / 3
    EXPECT_EQ(three.all[2][255], 1u);
    EXPECT_EQ(three.all[3][2], 1u);
    EXPECT_EQ(
        Api::GetHistogramEx(four.components.data(), four.intensity(), 4, s, 12, 4, 8, 1, 1, 3, 3),
        QM_OK);
    EXPECT_EQ(four.all[0][65], 1u);   // 263 / 4
    EXPECT_EQ(four.all[0][127], 1u);  // 510 / 4
    EXPECT_EQ(four.all[0][8], 1u);    // 34 / 4
    EXPECT_EQ(
        Api::GetHistogramEx(six.components.data(), six.intensity(), 4, s, 12, 6, 8, 1, 1, 2, 2),
        QM_OK);
    EXPECT_EQ(six.all[0][128], 1u);  // 773 / 6
    EXPECT_EQ(six.all[0][5], 1u);    // 34 / 6
}

TEST(Histogram, OfTwoComponentsHasThreeBlocks) {
    const uint16_t s[4] = {0x1005, 3, 7, 8};
    Blocks b(2, 4096);
    EXPECT_EQ(Api::GetHistogramEx(b.components.data(), b.intensity(), 4, s, 8, 2, 12, 1, 1, 2, 2),
              QM_OK);
    EXPECT_EQ(b.all[0][4], 1u);  // (5 + 3) / 2
    EXPECT_EQ(b.all[0][7], 1u);  // 15 / 2
    EXPECT_EQ(b.all[1][5] + b.all[1][7], 2u);
    EXPECT_EQ(b.all[2][3] + b.all[2][8], 2u);
}

TEST(Histogram, OfOneComponentIsItsIntensity) {
    const uint8_t s[2] = {9, 9}, mask[2] = {0, 2};
    Blocks b(1, 256);
    EXPECT_EQ(Api::GetHistogramEx(nullptr, b.intensity(), 4, s, 2, 1, 8, 1, 1, 2, 2), QM_OK);
    EXPECT_EQ(b.all[0][9], 2u);
    EXPECT_EQ(
        Api::GetHistogramUnderBinary(nullptr, b.intensity(), 4, s, 2, 1, 8, mask, 2, 1, 1, 1, 2, 2),
        QM_OK);
    EXPECT_EQ(b.all[0][9], 3u);
    EXPECT_EQ(b.all[0][0], 0u);
    EXPECT_EQ(Api::GetHistogram(b.components.data(), 4, s, 2, 1, 8, 2, 2), QM_OK);
    EXPECT_EQ(b.all[1][9], 2u);
    EXPECT_EQ(b.sum(0), 3u);  // GetHistogram knows no intensity
}

TEST(Histogram, ForAnyNumberCountsPixelsOutsideOfTheMaskInBin0) {
    const std::vector<uint8_t> s(30, 50);
    const uint8_t mask[6] = {1, 0, 0, 255, 0, 0};
    const uint16_t mask16[6] = {0x0100, 0, 0, 1, 0, 0};
    for (const bool wide : {false, true})
        for (const uint32_t components : {1u, 2u, 3u, 4u, 5u}) {
            Blocks b(components, 256);
            EXPECT_EQ(Api::GetHistogramUnderBinary(b.components.data(), b.intensity(), 4, s.data(),
                                                   6 * components, components, 8,
                                                   wide ? static_cast<const void*>(mask16) : mask,
                                                   12, wide ? 16 : 8, 1, 1, 6, 6),
                      QM_OK);
            EXPECT_EQ(b.all[0][0], components == 2 || components == 5 ? 4u : 0u) << components;
            EXPECT_EQ(b.all[0][50], 2u) << components;
            for (uint32_t c = 1; c <= components && components > 1; ++c) {
                EXPECT_EQ(b.all[c][50], 2u) << components;
                EXPECT_EQ(b.sum(c), 2u) << components;
            }
        }
}

TEST(Histogram, UnderAMaskAddsWordsWithTheirUpperBits) {
    const uint16_t s[4] = {0x1005, 0x0003, 0xF000, 0xF000};
    const uint8_t mask[2] = {1, 1};
    Blocks b(2, 4096);
    EXPECT_EQ(Api::GetHistogramUnderBinary(b.components.data(), b.intensity(), 4, s, 8, 2, 12, mask,
                                           2, 8, 1, 1, 2, 2),
              QM_OK);
    EXPECT_EQ(b.all[1][5] + b.all[2][3], 2u);
    EXPECT_EQ(b.all[0][0x804], 1u);            // (0x1005 + 3) / 2
    EXPECT_EQ(b.sum(0), 1u);                   // 0xF000 is no bin
    EXPECT_EQ(b.all[1][0] + b.all[2][0], 2u);  // but 0 is one
}

TEST(Histogram, MaskAdvancesByTheSteps) {
    const uint8_t s[8] = {1, 2, 3, 4, 5, 6, 7, 8}, mask[8] = {1, 0, 0, 0, 9, 9, 1, 0};
    Blocks b(1, 256);  // two rows of four
    EXPECT_EQ(
        Api::GetHistogramUnderBinary(nullptr, b.intensity(), 4, s, 4, 1, 8, mask, 4, 8, 2, 1, 4, 8),
        QM_OK);
    EXPECT_EQ(b.sum(0), 3u);
    EXPECT_EQ(b.all[0][1] + b.all[0][5] + b.all[0][7], 3u);
}

TEST(Histogram, AStepOf0Is1) {
    const uint8_t s[6] = {1, 2, 3, 4, 5, 6};
    for (const auto& [x, y, counted] :
         {std::tuple(0u, 0u, 6u), {1u, 1u, 6u}, {0u, 2u, 3u}, {2u, 0u, 4u}, {3u, 2u, 1u}}) {
        Blocks b(1, 256);
        EXPECT_EQ(Api::GetHistogramEx(nullptr, b.intensity(), 4, s, 3, 1, 8, x, y, 3, 6), QM_OK);
        EXPECT_EQ(b.sum(0), counted) << x << ", " << y;
        EXPECT_EQ(b.all[0][1], 1u);
    }
}

TEST(Histogram, OfSomeComponentsTakesBytesAndNoOtherDepths) {
    const uint8_t s[6] = {1, 2, 3, 4, 5, 6};
    for (const uint32_t bpc : {0u, 7u, 17u, 24u, 40u}) {
        Blocks b(3, 256);
        EXPECT_EQ(gethistogram_Nx16_comp(b.components.data(), 4, s, 0, 3, 6, 1, 1, bpc, 1, 1),
                  QM_OK);
        EXPECT_EQ(b.sum(1), 0u) << bpc;
    }
    Blocks b(3, 256);
    EXPECT_EQ(gethistogram_Nx16_comp(b.components.data(), 4, s, 1, 3, 6, 1, 1, 8, 2, 2), QM_OK);
    EXPECT_EQ(b.sum(1), 0u);
    EXPECT_EQ(b.all[2][2] + b.all[2][5], 2u);
    EXPECT_EQ(b.all[3][3] + b.all[3][6], 2u);
}

TEST(HistogramDiv, DividesByPowersOf2) {
    const uint16_t s[4] = {0, 15, 16, 4095};
    Blocks b(1, 256);
    EXPECT_EQ(Api::GetHistogramDiv(b.components.data(), 4, 8, s, 8, 1, 12, 4, 4), QM_OK);
    EXPECT_EQ(b.all[1][0], 2u);
    EXPECT_EQ(b.all[1][1], 1u);
    EXPECT_EQ(b.all[1][255], 1u);
}

TEST(HistogramDiv, KeepsUpperBitsAndCountsNothingBehindTheBlock) {
    const uint16_t s[2] = {0x1005, 0x0005};
    Blocks b(1, 4096);
    EXPECT_EQ(Api::GetHistogramDiv(b.components.data(), 4, 12, s, 4, 1, 12, 2, 2), QM_OK);
    EXPECT_EQ(b.all[1][5], 1u);
    EXPECT_EQ(b.sum(1), 1u);
}

TEST(HistogramDiv, WithMoreBitsThanThePictureCountsAllInBin0) {
    const uint16_t s[3] = {1, 500, 0xFFFF};
    Blocks b(1, 1);
    EXPECT_EQ(Api::GetHistogramDiv(b.components.data(), 4, 13, s, 6, 1, 12, 3, 3), QM_OK);
    EXPECT_EQ(b.all[1][0], 3u);
    // A shift of 12 - 72 is one of 4 again.
    Blocks wide(1, 4096);
    EXPECT_EQ(Api::GetHistogramDiv(wide.components.data(), 4, 72, s, 6, 1, 12, 3, 3), QM_OK);
    EXPECT_EQ(wide.all[1][0] + wide.all[1][31] + wide.all[1][0xFFF], 3u);
}

TEST(HistogramDiv, Of3And4WordsCountsTheUpperHalfTwice) {
    // Four rows of two pixels, each its row's number; 3 components without a gap.
    std::vector<uint16_t> s;
    for (uint16_t y = 0; y < 4; ++y) s.insert(s.end(), 6, y);
    // Rows begin at words 0, 3, 6 and 9: pixels 0 1, 1 2, 2 3, 3 4 of rows 0 0, 0 1, 1 1, 1 2.
    Blocks found(3, 512);
    EXPECT_EQ(Api::GetHistogramDiv(found.components.data(), 4, 9, s.data(), 12, 3, 9, 2, 8), QM_OK);
    EXPECT_EQ(found.all[1][0], 3u);
    EXPECT_EQ(found.all[1][1], 4u);
    EXPECT_EQ(found.all[1][2], 1u);
    EXPECT_EQ(found.all[1][3], 0u);
    // 32-bit words are found where they are.
    const std::vector<uint32_t> words(s.begin(), s.end());
    Blocks right(3, 1 << 17);
    EXPECT_EQ(Api::GetHistogramDiv(right.components.data(), 4, 17, words.data(), 24, 3, 17, 2, 8),
              QM_OK);
    for (uint32_t y = 0; y < 4; ++y) EXPECT_EQ(right.all[2][y], 2u);
}

TEST(HistogramDiv, ForAnyNumberEndsRowsAfter3Widths) {
    std::vector<uint32_t> s(16);  // a row of four pixels of four components
    for (uint32_t i = 0; i < 16; ++i) s[i] = i;
    Blocks b(4, 1 << 17);
    EXPECT_EQ(Api::GetHistogramDiv(b.components.data(), 4, 17, s.data(), 64, 4, 17, 4, 4), QM_OK);
    EXPECT_EQ(b.all[1][0] + b.all[1][4] + b.all[1][8], 3u);
    for (uint32_t c = 1; c <= 4; ++c) EXPECT_EQ(b.sum(c), 3u);  // the fourth pixel is lost
    // Two components: four pixels of a row become six, the last row cannot.
    Blocks two(2, 1 << 17);
    EXPECT_EQ(Api::GetHistogramDiv(two.components.data(), 4, 17, s.data(), 32, 2, 17, 4, 8), QM_OK);
    EXPECT_EQ(two.sum(1), 6u + 4u);
    EXPECT_EQ(two.all[1][8] + two.all[1][10], 4u);
    EXPECT_EQ(two.all[2][9] + two.all[2][11], 4u);
}

TEST(HistogramDiv, ForAnyNumberWithBinsOf8BytesMovesThePointers) {
    const uint32_t s[5] = {0, 1, 4, 9, 2};  // one pixel of five components
    uint64_t bins[5][32] = {};
    std::vector<void*> comp{bins[0], bins[1], bins[2], bins[3], bins[4]};
    EXPECT_EQ(Api::GetHistogramDiv(comp.data(), 8, 17, s, 20, 5, 17, 1, 1), QM_OK);
    // Component 0: entry 0 += 8. 1: entry 0 = entry 1, entry 1 += 8. 2: entry 0 = entry 2, entry 4
    // += 8. 3: entry 0 = entry 3; 9 is no entry. 4: entry 0 = entry 4, entry 2 += 8.
    EXPECT_EQ(comp,
              (std::vector<void*>{bins[4] + 1, bins[1] + 1, bins[2] + 1, bins[3], bins[4] + 1}));
    for (const auto& block : bins)
        for (const uint64_t bin : block) EXPECT_EQ(bin, 0u);
}

TEST(HistoAdd, AddsASingleComponentOnce) {
    Block s{1, 2}, d{10, 20};
    void *source[1] = {s.data()}, *destination[1] = {d.data()};
    EXPECT_EQ(Api::AddHisto(s.data(), source, d.data(), destination, 1, 1, 4), QM_OK);
    EXPECT_EQ(d, (Block{11, 22}));
    EXPECT_EQ(histo_add(nullptr, source, d.data(), destination, 1, 1, 4), QM_OK);
    EXPECT_EQ(d, (Block{12, 24}));
    EXPECT_EQ(histo_add(s.data(), nullptr, d.data(), nullptr, 1, 1, 4), QM_OK);
    EXPECT_EQ(d, (Block{13, 26}));
}

TEST(HistoAdd, PassesOverWhatIsNotThere) {
    Block s{1, 2}, d{10, 20};
    void *source[2] = {s.data(), nullptr}, *destination[2] = {nullptr, d.data()};
    EXPECT_EQ(histo_add(nullptr, source, nullptr, destination, 1, 2, 4), QM_OK);
    EXPECT_EQ(histo_add(s.data(), source, nullptr, nullptr, 1, 2, 4), QM_OK);
    EXPECT_EQ(histo_add(nullptr, source, nullptr, destination, 1, 0, 4), QM_OK);
    EXPECT_EQ(d, (Block{10, 20}));
}

TEST(HistoAdd, KnowsBinsOf4And8BytesAndWrapsThem) {
    Block s{0xFFFFFFFF, 1}, d{2, 3};
    for (const uint32_t bytes : {0u, 1u, 2u, 16u})
        EXPECT_EQ(histo_add(s.data(), nullptr, d.data(), nullptr, 0, 1, bytes), QM_OK);
    EXPECT_EQ(d, (Block{2, 3}));
    EXPECT_EQ(histo_add(s.data(), nullptr, d.data(), nullptr, 1, 1, 4), QM_OK);
    EXPECT_EQ(d, (Block{1, 4}));
    EXPECT_EQ(histo_add(s.data(), nullptr, d.data(), nullptr, 0, 1, 8), QM_OK);
    EXPECT_EQ(d, (Block{0, 6}));  // with the carry
}

/// Pictures large enough for every way of counting, in all their ways to be simple or not.
struct Content {
    const char* name;
    uint32_t (*at)(uint32_t x, uint32_t y, Random& random);
};
const Content kContents[] = {
    {"anything", [](uint32_t, uint32_t, Random& random) { return random.any(); }},
    {"constant", [](uint32_t, uint32_t, Random&) { return 0xFEDCu; }},
    {"two by turns", [](uint32_t x, uint32_t, Random&) { return x % 2 != 0 ? 3u : 0x7FFFu; }},
    {"smooth", [](uint32_t x, uint32_t y, Random& random) { return x / 3 + y + random(0, 3); }},
    {"dark", [](uint32_t, uint32_t, Random& random) { return random(0, 1000) != 0 ? 7u : 90u; }}};

template <class T, class Bin>
void count_long(uint32_t bpc, uint32_t width, uint32_t rows, uint32_t gap, uint32_t step_y) {
    for (const Content& content : kContents) {
        Random random(1);
        const uint32_t stride = width + gap;
        std::vector<T> s(size_t{stride} * rows);
        const uint32_t max = (1u << bpc) - 1;
        std::vector<Bin> bins(max + 1, 5), expected(max + 1, 5);
        for (uint32_t y = 0; y < rows; ++y)
            for (uint32_t x = 0; x < width; ++x) {
                const T value = s[size_t{y} * stride + x] =
                    static_cast<T>(content.at(x, y, random));
                if (y % step_y == 0) ++expected[value & max];
            }
        ASSERT_EQ(Api::GetHistogramEx(nullptr, bins.data(), sizeof(Bin), s.data(),
                                      stride * static_cast<uint32_t>(sizeof(T)), 1, bpc, 1, step_y,
                                      width, uint64_t{width} * rows),
                  QM_OK);
        ASSERT_EQ(bins, expected) << content.name << ", " << bpc << " bits, " << width << " x "
                                  << rows << " + " << gap << ", every " << step_y;
    }
}

TEST(LongHistogram, CountsTheSameInEveryWay) {
    for (const auto& [width, rows, gap, step_y] : {std::tuple(1031u, 600u, 0u, 1u),
                                                   {1031u, 600u, 5u, 1u},
                                                   {1029u, 1100u, 1u, 2u},
                                                   {300u, 200u, 0u, 1u},
                                                   {70u, 30u, 3u, 1u},
                                                   {7u, 90000u, 0u, 1u}}) {
        count_long<uint8_t, uint32_t>(8, width, rows, gap, step_y);
        count_long<uint8_t, uint64_t>(8, width, rows, gap, step_y);
        for (const uint32_t bpc : {9u, 12u, 13u, 14u, 16u}) {
            count_long<uint16_t, uint32_t>(bpc, width, rows, gap, step_y);
            count_long<uint16_t, uint64_t>(bpc, width, rows, gap, step_y);
        }
    }
}

TEST(LongHistogram, StaysInTheCallingThread) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    const std::vector<uint8_t> s(size_t{3} * 1024 * 1024, 9);
    Blocks b(3, 256);
    const WatchedRegions regions;
    EXPECT_EQ(Api::GetHistogramEx(b.components.data(), b.intensity(), 4, s.data(), 3 * 1024, 3, 8,
                                  1, 1, 1024, 1024 * 1024),
              QM_OK);
    EXPECT_EQ(Api::GetHistogramEx(nullptr, b.intensity(), 4, s.data(), 3 * 1024, 1, 8, 1, 1,
                                  3 * 1024, 3 * 1024 * 1024),
              QM_OK);
    EXPECT_TRUE(regions.teams().empty());
    EXPECT_EQ(b.all[0][9], 4u * 1024 * 1024);
}

#ifndef QMPIC_SHIPPED
TEST(CountRows, IsTheEntryForManyRows) {
    const uint8_t s[12] = {1, 2, 5, 1, 2, 5, 9, 9, 9, 8, 8, 8};  // rows of 2 pixels
    Blocks b(3, 256);
    EXPECT_EQ(count_rows(b.components.data(), b.intensity(), 4, Src{s, 6}, 3, 8, 1, 1, 2, 2),
              QM_OK);
    EXPECT_EQ(b.all[0][2], 2u);
    EXPECT_EQ(b.all[0][9] + b.all[0][8], 2u);
    EXPECT_EQ(count_rows(b.components.data(), b.intensity(), 4, Src{s, 6}, 3, 8, 2, 2, 2, 2),
              QM_OK);
    EXPECT_EQ(b.all[0][2], 3u);
}
#endif

}  // namespace
}  // namespace qmpic::test
