#include "qmpic/kernels/threshold.h"

#include <gtest/gtest.h>
#include <omp.h>
#include <sys/mman.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "PicMemAPI/threshold_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/mask_reference.h"
#include "support/regions.h"
#include "support/touching_threads.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;
using Bytes = std::vector<uint8_t>;

// ----- Painting ----------------------------------------------------------------------------------

bool is_selected(uint64_t value, uint64_t low, uint64_t high, bool inside) {
    return inside ? value >= low && value <= high : value < low || value > high;
}

/// Limits in both orders, at samples that are there, and beyond what samples hold.
uint32_t draw_limit(Format format, Random& random) {
    switch (random(0, 7)) {
    case 0: return random.any();
    case 1: return static_cast<uint32_t>((uint64_t{1} << format.bits) + random(0, 1));
    default: return static_cast<uint32_t>(random.sample(format));
    }
}

template <class Value>
void check_paint(ThresholdKernel<Value>* run, uint32_t from, Round round) {
    Random& random = round.random;
    const uint32_t to = 8 * sizeof(Value);
    const Size size = random.size(1);
    const Format source{1, from, round.in_turn(depths(from))};
    const GuardedPicture d({1, to, to}, size, random), other(source, size, random);
    const GuardedPicture& s = from == to && random(0, 1) ? d : other;
    const uint32_t low = draw_limit(source, random), high = draw_limit(source, random);
    const bool inside = random(0, 1);
    const auto value = static_cast<Value>(random.any());
    auto expected = d.content();
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x)
            if (is_selected(s.get(x, y), low, high, inside))
                expected[size_t{y} * size.width + x] = value;
    const auto outside = d.outside();

    ASSERT_EQ(run(d.data(), d.stride(), s.data(), s.stride(), low, high, inside, value, size.width,
                  size.pixels),
              QM_OK);

    ASSERT_EQ(d.content(), expected) << size.width << " x " << size.height << ": " << low << " to "
                                     << high << (inside ? " inside" : " outside");
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

// ----- Masks -------------------------------------------------------------------------------------

using MaskRun =
    std::function<int(void* mask, uint32_t first_bit, uint32_t mask_stride, const GuardedPicture& s,
                      const void* low, const void* high, bool inside, uint32_t merge)>;

Bytes stored(const std::vector<uint64_t>& pixel, uint32_t bits) {
    Bytes bytes;
    for (const uint64_t value : pixel)
        for (uint32_t i = 0; i < bits; i += 8) bytes.push_back(static_cast<uint8_t>(value >> i));
    return bytes;
}

void check_mask(Layout layout, bool is_four_bytes, const MaskRun& run, Round round) {
    Random& random = round.random;
    const uint32_t count = layout.components != 0 ? layout.components : random.components();
    const Format format{count, layout.bits, round.in_turn(depths(layout.bits))};
    const Size size = random.size(count);
    GuardedPicture s(format, size, random);
    const uint64_t all = (uint64_t{1} << layout.bits) - 1;
    const bool inside = random(0, 1);
    std::vector<uint64_t> low, high;
    for (uint32_t c = 0; c < count; ++c) {
        const uint64_t a = random.sample(format), b = random.sample(format);
        const bool ordered = random(0, 15) != 0;  // else as they come
        low.push_back(ordered ? std::min(a, b) : a);
        high.push_back(ordered ? std::max(a, b) : b);
    }
    // What decides: values within all ranges or outside of all, with a few that are not.
    const uint32_t one_in = random.one_of({1u, 3u, 30u});
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t i = 0; i < s.samples(); ++i) {
            const uint64_t l = low[i % count], h = high[i % count];
            if (random(1, one_in) != 1)
                s.set(i, y, inside ? (random(0, 1) ? l : h) : (random(0, 1) ? l - 1 : h + 1) & all);
        }
    const uint32_t first_bit = random(0, 1) ? random(0, 7) : 0, merge = random(0, 2);
    const Size mask_size{mask_bytes(first_bit, size.width), size.height};
    const GuardedPicture mask({1, 8, 8}, mask_size, random);
    const auto expected = merged_mask(mask, first_bit, size, merge, [&](uint32_t x, uint32_t y) {
        bool set = true;
        for (uint32_t c = 0; c < count; ++c) {
            const uint64_t from = is_four_bytes && !inside && c == 3 ? low[2] : low[c];
            set = set && is_selected(s.get(x * count + c, y), from, high[c], inside);
        }
        return set;
    });
    const auto outside = mask.outside();

    ASSERT_EQ(run(mask.data(), first_bit, mask.stride(), s, stored(low, layout.bits).data(),
                  stored(high, layout.bits).data(), inside, merge),
              QM_OK);

    ASSERT_EQ(mask.content(), expected)
        << size.width << " x " << size.height << " pixels of " << count << " at " << first_bit
        << (inside ? ", inside" : ", outside") << ", merge " << merge;
    ASSERT_EQ(mask.outside(), outside);
    round.digest.add(expected);
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    for (const auto& k : kThresholdToBytes)
        all.push_back({std::string(k.name),
                       [=](Round round) { check_paint(k.run, k.source.bits, round); }, 96});
    for (const auto& k : kThresholdToWords)
        all.push_back({std::string(k.name),
                       [=](Round round) { check_paint(k.run, k.source.bits, round); }, 96});
    for (const auto& k : kThresholdToBin) {
        const bool is_four_bytes = k.name == "threshold_4x8_to_bin";
        const MaskRun run = [=](void* mask, uint32_t bit, uint32_t stride, const GuardedPicture& s,
                                const void* low, const void* high, bool inside, uint32_t merge) {
            bool cancelled = false;
            return k.run(mask, bit, stride, s.data(), s.stride(), low, high, inside, s.size().width,
                         s.size().pixels, merge, merge == 0 ? &cancelled : nullptr);
        };
        all.push_back({std::string(k.name),
                       [=](Round round) { check_mask(k.source, is_four_bytes, run, round); }, 144});
    }
    for (const auto& k : kThresholdToBinOfAny) {
        const MaskRun run = [=](void* mask, uint32_t bit, uint32_t stride, const GuardedPicture& s,
                                const void* low, const void* high, bool inside, uint32_t merge) {
            return k.run(mask, bit, stride, s.data(), s.format().components, s.stride(), low, high,
                         inside, s.size().width, s.size().pixels, merge, nullptr);
        };
        all.push_back({std::string(k.name),
                       [=](Round round) { check_mask(k.source, false, run, round); }, 144});
    }
    return all;
}

// ----- Entries -----------------------------------------------------------------------------------

constexpr uint32_t kPixel[6] = {};

int up_to_16_bits(uint32_t /*components*/, uint32_t bpc) {
    return bpc <= 16 ? QM_OK : QM_NO_KERNEL;
}
int never(uint32_t /*components*/, uint32_t /*bpc*/) { return QM_NO_KERNEL; }

EntryCase paint_case(const std::string& suffix, uint32_t bpc, bool is_source,
                     int (*documented)(uint32_t, uint32_t)) {
    return {"CQmPicMemAPI_Base::Threshold " + suffix,
            [=](const EntryCall& c) {
                const uint32_t to = is_source ? c.bpc : bpc, from = is_source ? bpc : c.bpc;
                return Api::Threshold(c.dst, to, c.stride, c.src, from, c.stride, 0, 5, true, 9,
                                      c.width, c.size);
            },
            documented, true, false};
}

const bool registered = add_cases(
    kernel_cases(), {{"CQmPicMemAPI_Base::Threshold one depth",
                      [](const EntryCall& c) {
                          return Api::Threshold(c.dst, c.stride, c.src, c.bpc, c.stride, 0, 5, true,
                                                9, c.width, c.size);
                      },
                      up_to_16_bits, true, false},
                     paint_case("from 0", 0, true, up_to_16_bits),
                     paint_case("from 8", 8, true, up_to_16_bits),
                     paint_case("from 9", 9, true, up_to_16_bits),
                     paint_case("from 17", 17, true, never),
                     paint_case("to 0", 0, false, up_to_16_bits),
                     paint_case("to 8", 8, false, up_to_16_bits),
                     paint_case("to 16", 16, false, up_to_16_bits),
                     paint_case("to 17", 17, false, never),
                     {"CQmPicMemAPI_Base::ThresholdToBinary pointer",
                      [](const EntryCall& c) {
                          const void* const limits = kPixel;
                          return Api::ThresholdToBinary(c.dst, 3, c.stride, c.src, c.components,
                                                        c.bpc, c.stride, limits, limits, false,
                                                        c.width, c.size, 0, nullptr);
                      },
                      bytes_and_words, true, false},
                     {"CQmPicMemAPI_Base::ThresholdToBinary value",
                      [](const EntryCall& c) {
                          return Api::ThresholdToBinary(c.dst, 3, c.stride, c.src, c.components,
                                                        c.bpc, c.stride, uint64_t{0}, uint64_t{1},
                                                        true, c.width, c.size, 0, nullptr);
                      },
                      bytes_and_words, true, false}});

// ----- Painting, worked numbers ------------------------------------------------------------------

Bytes painted(Bytes pixels, uint32_t low, uint32_t high, bool inside, uint32_t value = 255) {
    const auto width = static_cast<uint32_t>(pixels.size());
    EXPECT_EQ(Api::Threshold(pixels.data(), width, pixels.data(), 8, width, low, high, inside,
                             value, width, width),
              QM_OK);
    return pixels;
}

TEST(Threshold, IncludesBothLimits) {
    EXPECT_EQ(painted({9, 10, 15, 20, 21}, 10, 20, true), (Bytes{9, 255, 255, 255, 21}));
    EXPECT_EQ(painted({9, 10, 15, 20, 21}, 10, 20, false), (Bytes{255, 10, 15, 20, 255}));
}

TEST(Threshold, HasNothingBetweenLimitsInTheWrongOrder) {
    EXPECT_EQ(painted({9, 10, 15, 20, 21}, 20, 10, true), (Bytes{9, 10, 15, 20, 21}));
    EXPECT_EQ(painted({9, 10, 15, 20, 21}, 20, 10, false), Bytes(5, 255));
}

TEST(Threshold, ComparesLimitsIn32Bits) {
    EXPECT_EQ(painted({0, 254, 255}, 255, 300, true, 7), (Bytes{0, 254, 7}));
    EXPECT_EQ(painted({0, 254, 255}, 256, 300, true, 7), (Bytes{0, 254, 255}));
    EXPECT_EQ(painted({0, 254, 255}, 256, 300, false, 7), (Bytes{7, 7, 7}));
    EXPECT_EQ(painted({0, 254, 255}, 0, 0xFFFFFFFF, true, 7), (Bytes{7, 7, 7}));
    uint16_t words[2] = {0, 0xFFFF};
    EXPECT_EQ(Api::Threshold(words, 4, words, 16, 4, 0x10000, 0x1FFFF, true, 7, 2, 2), QM_OK);
    EXPECT_EQ(words[0], 0);
}

TEST(Threshold, CutsTheValueToTheDestination) {
    EXPECT_EQ(painted({1, 2}, 2, 2, true, 0x1234), (Bytes{1, 0x34}));
    const uint16_t s[2] = {0x0FFF, 0x1FFF};
    uint8_t d[2] = {1, 2};
    EXPECT_EQ(Api::Threshold(d, 8, 2, s, 12, 4, 0, 0x0FFF, true, 0x1234, 2, 2), QM_OK);
    EXPECT_EQ(d[0], 0x34);
    EXPECT_EQ(d[1], 2);  // the value as it is stored, above the depth
    const uint8_t bytes[2] = {5, 6};
    uint16_t words[2] = {1, 2};
    EXPECT_EQ(Api::Threshold(words, 9, 4, bytes, 8, 2, 6, 6, true, 0x51234, 2, 2), QM_OK);
    EXPECT_EQ(words[0], 1);
    EXPECT_EQ(words[1], 0x1234);
}

TEST(Threshold, TakesDepthsBelow8AsBytes) {
    for (const uint32_t bpc : {0u, 1u, 7u}) {
        Bytes d{1, 200};
        EXPECT_EQ(Api::Threshold(d.data(), 2, d.data(), bpc, 2, 200, 200, true, 5, 2, 2), QM_OK);
        EXPECT_EQ(d, (Bytes{1, 5}));
        uint16_t words[2] = {1, 2};
        EXPECT_EQ(Api::Threshold(words, 12, 4, d.data(), bpc, 2, 5, 5, true, 0x1234, 2, 2), QM_OK);
        EXPECT_EQ(words[1], 0x1234);
        EXPECT_EQ(Api::Threshold(d.data(), bpc, 2, words, 12, 4, 0x1234, 0x1234, true, 9, 2, 2),
                  QM_OK);
        EXPECT_EQ(d, (Bytes{1, 9}));
    }
}

TEST(Threshold, BuildsUpAPictureInSeveralCalls) {
    const Bytes s{10, 20, 30, 40};
    Bytes d(4, 1);
    for (const uint32_t value : {20u, 40u})
        EXPECT_EQ(Api::Threshold(d.data(), 4, s.data(), 8, 4, value, value, true, value + 1, 4, 4),
                  QM_OK);
    EXPECT_EQ(d, (Bytes{1, 21, 1, 41}));
}

TEST(Threshold, DoesNothingForAnEmptyAreaOfAnyDepth) {
    uint8_t d = 7;
    for (const uint32_t bpc : {8u, 24u}) {
        EXPECT_EQ(Api::Threshold(&d, 1, &d, bpc, 1, 0, 255, true, 9, 0, 1), QM_OK);
        EXPECT_EQ(Api::Threshold(&d, 1, &d, bpc, 1, 0, 255, true, 9, 1, 0), QM_OK);
        EXPECT_EQ(Api::Threshold(&d, bpc, 1, &d, bpc, 1, 0, 255, true, 9, 0, 1), QM_OK);
        EXPECT_EQ(Api::Threshold(&d, bpc, 1, &d, bpc, 1, 0, 255, true, 9, 1, 0), QM_OK);
    }
    EXPECT_EQ(d, 7);
}

// Each pixel in turn, as a loop from the left would: words run over the bytes that they come from.
TEST(Threshold, ToWordsInPlaceGoesFromTheLeft) {
    Bytes memory(400, 0), expected;
    for (size_t i = 0; i < 200; ++i) memory[i] = static_cast<uint8_t>(i);
    expected = memory;
    for (size_t x = 0; x < 200; ++x)
        if (expected[x] >= 3 && expected[x] <= 100)
            expected[2 * x] = 0x34, expected[2 * x + 1] = 0x92;
    EXPECT_EQ(
        threshold_8_to_16(memory.data(), 400, memory.data(), 400, 3, 100, true, 0x9234, 200, 200),
        QM_OK);
    EXPECT_EQ(memory, expected);
}

TEST(Threshold, KernelsTakeStridesOf64Bits) {
    if (kThreadSanitizer) GTEST_SKIP() << "its tables would have to cover the distance";
    const size_t stride = (size_t{5} << 30) + 3, bytes = stride + 4096;
    void* const memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    auto* const p = static_cast<uint8_t*>(memory);
    p[0] = 1, p[1] = p[stride] = 2;
    EXPECT_EQ(threshold_8(p, stride, p, stride, 2, 2, true, 9, 2, 4), QM_OK);
    EXPECT_EQ(p[0], 1);
    EXPECT_EQ(p[1], 9);
    EXPECT_EQ(p[stride], 9);
    munmap(memory, bytes);
}

TEST(Threshold, CountsRowsInASignedNumberOf32Bits) {
    const uint64_t four_billion = uint64_t{1} << 32;
    Bytes d(5, 1);
    EXPECT_EQ(threshold_8(d.data(), 1, d.data(), 1, 1, 1, true, 9, 1, four_billion + 3), QM_OK);
    EXPECT_EQ(d, (Bytes{9, 9, 9, 1, 1}));
    EXPECT_EQ(threshold_8(d.data(), 1, d.data(), 1, 1, 1, true, 9, 1, four_billion / 2), QM_OK);
    EXPECT_EQ(d, (Bytes{9, 9, 9, 1, 1}));
}

// ----- Masks, worked numbers ---------------------------------------------------------------------

// One pixel to the top bit of a mask.
template <class T>
bool bit_of(const std::vector<T>& pixel, const std::vector<T>& low, const std::vector<T>& high,
            bool inside) {
    uint8_t mask = 0;
    const auto count = static_cast<uint32_t>(pixel.size());
    const auto bytes = static_cast<uint32_t>(count * sizeof(T));
    const void *const l = low.data(), *const h = high.data();
    EXPECT_EQ(Api::ThresholdToBinary(&mask, 0, 1, pixel.data(), count, 8 * sizeof(T), bytes, l, h,
                                     inside, 1, 1, 0, nullptr),
              QM_OK);
    EXPECT_EQ(mask & 0x7F, 0);
    return mask != 0;
}

TEST(ThresholdToBinary, WantsAllComponentsInsideOrAllOutside) {
    const Bytes low{0, 0, 0}, high{10, 10, 10};
    EXPECT_FALSE(bit_of<uint8_t>({5, 20, 20}, low, high, false));
    EXPECT_TRUE(bit_of<uint8_t>({20, 20, 20}, low, high, false));
    EXPECT_FALSE(bit_of<uint8_t>({5, 20, 20}, low, high, true));
    EXPECT_TRUE(bit_of<uint8_t>({0, 5, 10}, low, high, true));
    EXPECT_FALSE(bit_of<uint8_t>({0, 5, 10}, low, high, false));
}

TEST(ThresholdToBinary, ComparesTheLastOfFourBytesWithTheLowLimitBeforeIt) {
    const Bytes low{0, 0, 100, 200}, high{255, 255, 255, 210};
    const std::vector<uint8_t> open{10, 10, 10, 150};
    // Ranges that the first three are outside of.
    const Bytes lows{20, 20, 100, 200}, highs{255, 255, 255, 210};
    EXPECT_FALSE(bit_of<uint8_t>({10, 10, 10, 150}, lows, highs, false));
    EXPECT_TRUE(bit_of<uint8_t>({10, 10, 10, 99}, lows, highs, false));
    EXPECT_TRUE(bit_of<uint8_t>({10, 10, 10, 211}, lows, highs, false));
    EXPECT_FALSE(bit_of<uint8_t>({255, 255, 255, 150}, low, high, true));  // inside as it should be
    EXPECT_TRUE(bit_of<uint8_t>({255, 255, 255, 205}, low, high, true));
    // Words, and bytes by the kernel for any count, have not got this.
    EXPECT_TRUE(
        bit_of<uint16_t>({10, 10, 10, 150}, {20, 20, 100, 200}, {255, 255, 255, 210}, false));
    uint8_t mask = 0;
    EXPECT_EQ(threshold_Nx8_to_bin(&mask, 0, 1, open.data(), 4, 4, lows.data(), highs.data(), false,
                                   1, 1, 0, nullptr),
              QM_OK);
    EXPECT_EQ(mask, 0x80);
}

TEST(ThresholdToBinary, HasNothingBetweenLimitsInTheWrongOrder) {
    for (const uint8_t value : {uint8_t{0}, uint8_t{10}, uint8_t{15}, uint8_t{20}, uint8_t{255}}) {
        EXPECT_FALSE(bit_of<uint8_t>({value}, {20}, {10}, true));
        EXPECT_TRUE(bit_of<uint8_t>({value}, {20}, {10}, false));
        // One such range among others.
        EXPECT_FALSE(bit_of<uint8_t>({value, value, value}, {0, 20, 0}, {255, 10, 255}, true));
        EXPECT_TRUE(bit_of<uint8_t>({1, value, 1}, {2, 20, 2}, {255, 10, 255}, false));
        EXPECT_FALSE(bit_of<uint16_t>({value, 1}, {20, 0}, {10, 255}, true));
        EXPECT_TRUE(bit_of<uint16_t>({value, 1}, {20, 2}, {10, 255}, false));
    }
}

TEST(ThresholdToBinary, KeepsTheBitsOfBothEndsAsPackingDoes) {
    const Bytes none(8, 0), all(8, 5);
    const auto row = [](uint8_t old, uint32_t x, const Bytes& pixels, uint32_t width,
                        uint32_t merge) {
        EXPECT_EQ(Api::ThresholdToBinary(&old, x, 1, pixels.data(), 1, 8, 8, uint64_t{5},
                                         uint64_t{5}, true, width, width, merge, nullptr),
                  QM_OK);
        return old;
    };
    EXPECT_EQ(row(0xFF, 3, none, 5, 0), 0xF0);
    EXPECT_EQ(row(0xFF, 0, all, 3, 0), 0xEF);
    EXPECT_EQ(row(0x00, 0, all, 3, 0), 0xE0);
    EXPECT_EQ(row(0xFF, 3, none, 2, 0), 0xF0);
    EXPECT_EQ(row(0xE0, 3, all, 5, 2), 0xE0);
    EXPECT_EQ(row(0xE0, 3, all, 2, 1), 0xF8);
}

TEST(ThresholdToBinary, RefusesUnknownMergesAndDepths) {
    const uint64_t pixel[4] = {};
    const void* const limits = pixel;
    for (const uint32_t components : {1u, 2u, 3u, 4u, 5u})
        for (const uint32_t bpc : {8u, 16u})
            for (const bool inside : {true, false})
                for (const uint32_t merge : {3u, 0xFFFFFFFFu}) {
                    uint8_t mask = 0xA5;
                    EXPECT_EQ(Api::ThresholdToBinary(&mask, 0, 1, pixel, components, bpc, 32,
                                                     limits, limits, inside, 1, 1, merge, nullptr),
                              QM_NO_KERNEL);
                    EXPECT_EQ(mask, 0xA5);
                }
    uint8_t mask = 0xA5;
    EXPECT_EQ(
        Api::ThresholdToBinary(&mask, 0, 1, pixel, 1, 7, 1, limits, limits, true, 1, 1, 0, nullptr),
        QM_NO_KERNEL);
    EXPECT_EQ(mask, 0xA5);
}

TEST(ThresholdToBinary, DoesNothingForAnEmptyArea) {
    uint8_t mask = 0xA5;
    for (const uint32_t merge : {0u, 3u})
        for (const uint32_t bpc : {8u, 24u}) {
            EXPECT_EQ(Api::ThresholdToBinary(&mask, 0, 1, &mask, 1, bpc, 1, uint64_t{0},
                                             uint64_t{255}, true, 0, 1, merge, nullptr),
                      QM_OK);
            EXPECT_EQ(Api::ThresholdToBinary(&mask, 0, 1, &mask, 1, bpc, 1, uint64_t{0},
                                             uint64_t{255}, true, 1, 0, merge, nullptr),
                      QM_OK);
        }
    EXPECT_EQ(mask, 0xA5);
}

TEST(ThresholdToBinary, OfNoComponentsSetsEveryBit) {
    for (const uint32_t bpc : {8u, 16u})
        for (const bool inside : {true, false}) {
            uint8_t mask = 0;
            EXPECT_EQ(Api::ThresholdToBinary(&mask, 0, 1, &mask, 0, bpc, 0, uint64_t{0},
                                             uint64_t{0}, inside, 8, 8, 0, nullptr),
                      QM_OK);
            EXPECT_EQ(mask, 0xFF);
        }
}

TEST(ThresholdToBinary, TakesLimitsByTheirBytesAndZerosBehind) {
    const Bytes pixel{1, 2, 3, 4, 5, 6, 7, 8, 0, 0};
    uint8_t mask = 0;
    EXPECT_EQ(
        Api::ThresholdToBinary(&mask, 0, 1, pixel.data(), 10, 8, 10, uint64_t{0x0807060504030201},
                               uint64_t{0x0908070605040302}, true, 1, 1, 0, nullptr),
        QM_OK);
    EXPECT_EQ(mask, 0x80);
    const Bytes above{1, 2, 3, 4, 5, 6, 7, 8, 0, 1};  // the last range is 0 to 0
    EXPECT_EQ(
        Api::ThresholdToBinary(&mask, 0, 1, above.data(), 10, 8, 10, uint64_t{0x0807060504030201},
                               uint64_t{0x0908070605040302}, true, 1, 1, 0, nullptr),
        QM_OK);
    EXPECT_EQ(mask, 0);
    Bytes many(300, 0);
    many[0] = 7;
    EXPECT_EQ(Api::ThresholdToBinary(&mask, 0, 1, many.data(), 300, 8, 300, uint64_t{7},
                                     uint64_t{7}, true, 1, 1, 0, nullptr),
              QM_OK);
    EXPECT_EQ(mask, 0x80);
}

// ----- Cancelling and threads --------------------------------------------------------------------

TEST(ThresholdToBinary, CancelledBeforehandChangesNothing) {
    const Bytes pixels(4000, 5);
    for (const uint32_t components : {1u, 2u, 3u, 4u, 5u})
        for (const uint32_t bpc : {8u, 16u}) {
            Bytes mask(100, 0xA5);
            bool cancelled = true;
            EXPECT_EQ(
                Api::ThresholdToBinary(mask.data(), 3, 10, pixels.data(), components, bpc, 100,
                                       ~uint64_t{0}, uint64_t{0}, false, 10, 100, 0, &cancelled),
                QM_OK);
            EXPECT_EQ(mask, Bytes(100, 0xA5));
            EXPECT_TRUE(cancelled);
        }
}

// The flag lies where the second row is written to, so that this row cancels the rest.
TEST(ThresholdToBinary, ReadsTheFlagBeforeEachRow) {
    omp_set_num_threads(1);
    bool mask[5] = {};
    const Bytes pixels(8 * 5, 0);
    Bytes last(pixels);
    for (size_t y = 0; y < 5; ++y) last[8 * y + 7] = 5;  // 0x01, which is true
    EXPECT_EQ(
        threshold_1x8_to_bin(mask, 0, 1, last.data(), 8, "\5", "\5", true, 8, 40, 0, &mask[1]),
        QM_OK);
    EXPECT_TRUE(mask[0]);
    EXPECT_TRUE(mask[1]);
    EXPECT_FALSE(mask[2]);
    EXPECT_FALSE(mask[4]);
}

TEST(ThresholdToBinary, CancelledByAnotherThreadLeavesWholeRows) {
    omp_set_num_threads(3);
    constexpr uint32_t rows = 3000, width = 512;
    const Bytes pixels(width, 5);
    for (int round = 0; round < 5; ++round) {
        Bytes mask(rows * width / 8, 0);
        bool cancelled = false;
        std::thread caller([&] {
            std::this_thread::sleep_for(std::chrono::microseconds(20 * round));
            std::atomic_ref<bool>(cancelled).store(true);
        });
        EXPECT_EQ(
            Api::ThresholdToBinary(mask.data(), 0, width / 8, pixels.data(), 1, 8, 0, uint64_t{5},
                                   uint64_t{5}, true, width, uint64_t{rows} * width, 0, &cancelled),
            QM_OK);
        caller.join();
        for (uint32_t y = 0; y < rows; ++y) {
            const auto row = mask.begin() + y * (width / 8);
            EXPECT_EQ(std::count(row, row + width / 8, *row), width / 8);
        }
    }
}

TEST(ThresholdToBinary, ForksAlwaysAndThresholdNever) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    uint64_t d[4] = {};
    const uint64_t s[4] = {};
    const void* const limits = s;
    for (const uint32_t components : {1u, 2u, 3u, 4u, 5u})
        for (const uint32_t bpc : {8u, 16u}) {
            const WatchedRegions regions;
            EXPECT_EQ(Api::ThresholdToBinary(d, 0, 1, s, components, bpc, 10, limits, limits, true,
                                             1, 1, 0, nullptr),
                      QM_OK);
            EXPECT_EQ(regions.forks(), 1u);
        }
    const WatchedRegions regions;
    for (const uint32_t from : {8u, 16u})
        for (const uint32_t to : {8u, 16u})
            EXPECT_EQ(Api::Threshold(d, to, 2, s, from, 2, 0, 1, true, 1, 1, 4), QM_OK);
    EXPECT_EQ(regions.teams().size(), 0u);
}

TEST(ThresholdToBinary, SpreadsItsRowsOverTheTeam) {
    omp_set_num_threads(4);
    constexpr uint32_t rows = 16;
    const Bytes pixels(rows * 40, 0), limits(10, 0);
    const auto check = [&](std::string_view name, const auto& run) {
        TouchedPages pages(rows);
        EXPECT_EQ(run(pages.data()), QM_OK);
        EXPECT_EQ(pages.thread_count(), 4u) << name;
        for (uint32_t y = 0; y < rows; ++y)
            EXPECT_EQ(pages.data()[y * TouchedPages::kPage], 0xF0) << name;
    };
    for (const auto& k : kThresholdToBin)
        check(k.name, [&](void* mask) {
            return k.run(mask, 0, TouchedPages::kPage, pixels.data(), 40, limits.data(),
                         limits.data(), true, 4, rows * 4, 0, nullptr);
        });
    for (const auto& k : kThresholdToBinOfAny)
        check(k.name, [&](void* mask) {
            return k.run(mask, 0, TouchedPages::kPage, pixels.data(), 5, 40, limits.data(),
                         limits.data(), true, 4, rows * 4, 0, nullptr);
        });
}

}  // namespace
}  // namespace qmpic::test
