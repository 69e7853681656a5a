#include <gtest/gtest.h>
#include <omp.h>

#include "float/float_kernels.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "support/cases.h"
#include "support/float_picture.h"
#include "support/levels.h"
#include "support/regions.h"
#include "support/touching_threads.h"

namespace qmpic::test {
namespace {

using Api = CQmFloatPicMemAPI_Base;
using Floats = std::vector<float>;

const std::vector<uint32_t> kDepths{0,  1,  7,  8,  8,  9,  10, 11, 12, 13,
                                    14, 15, 16, 17, 24, 25, 30, 31, 32};

uint32_t stored_bits(uint32_t bpc) { return bpc == 8 ? 8 : bpc <= 16 ? 16 : 32; }

struct Limits {
    float min, max;
    bool scale;
};

// In whole numbers of 64 bits, with every case of its own.
uint64_t level(float x, Limits limits, uint32_t bpc) {
    const int64_t top = bpc == 32 ? -1 : (int64_t{1} << bpc) - 1;
    float scale = 1.0f;
    const float span = limits.max - limits.min;
    if (limits.scale && span != 0) scale = static_cast<float>(top) / span;
    const float moved = x - limits.min;
    const float scaled = moved * scale;
    const double value = static_cast<double>(scaled) + 0.5;
    int64_t cut;
    if (std::isnan(value))
        cut = -1;
    else if (value > 1e15)
        cut = 1'000'000'000'000'000;
    else if (value < -1e15)
        cut = -1'000'000'000'000'000;
    else
        cut = static_cast<int64_t>(value);
    if (cut < 0)
        cut = 0;
    else if (cut > top)
        cut = top;
    const uint64_t kept = bpc == 8 ? 0xFF : 0xFFFF;  // also of 32-bit words
    return static_cast<uint64_t>(cut) & kept;
}

// Samples at and next to where a level ends, and others within the limits and around them.
float draw_near(Limits limits, uint32_t bpc, Random& random) {
    const double top = static_cast<double>((uint64_t{1} << bpc) - 1);
    const double span = limits.scale && limits.max != limits.min
                            ? (static_cast<double>(limits.max) - limits.min) / std::max(top, 1.0)
                            : 1.0;
    const double steps =
        random(0, 3) == 0
            ? random(0, 3)
            : random.any() % (top + 2.0 < 4e9 ? static_cast<uint32_t>(top + 2) : 0xFFFFFFFF);
    const auto middle = static_cast<float>(limits.min + (steps + 0.5) * span);
    switch (random(0, 5)) {
    case 0: return std::nextafter(middle, -kInfinity);
    case 1: return std::nextafter(middle, kInfinity);
    case 2: return draw_float(random);
    case 3: return static_cast<float>(limits.min + (steps - 1 + random(0, 1000) / 1000.0) * span);
    default: return middle;
    }
}

Limits draw_limits(Random& random) {
    const bool scale = random(0, 2) != 0;
    const float max = random.one_of({1.0f, 255.0f, 65535.0f, 0.1f, 1e10f, 3.7f});
    switch (random(0, 7)) {
    case 0: return {10.0f, 10.0f, scale};
    case 1: return {draw_float(random), draw_float(random), scale};
    case 2: return {max, 0.0f, scale};
    case 3: return {-max, max, scale};
    case 4: return {-0.0f, 0.0f, scale};
    default: return {0.0f, max, scale};
    }
}

void check_to_picture(Round round) {
    Random& random = round.random;
    const uint32_t bpc = round.in_turn(kDepths), bits = stored_bits(bpc);
    const uint32_t components = random.components();
    const Size size = random.size(components);
    const Limits limits = draw_limits(random);
    const GuardedPicture d({components, bits, bits}, size, random);
    FloatPicture s(components, size, random);
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t i = 0; i < s.samples(); ++i) s.set(i, y, draw_near(limits, bpc, random));
    std::vector<uint64_t> expected;
    for (const float x : s.content()) expected.push_back(level(x, limits, bpc));
    const auto outside = d.outside();
    ASSERT_EQ(
        Api::ConvertFloatToPicture(d.data(), bpc, d.stride(), s.data(), limits.min, limits.max,
                                   limits.scale, s.stride(), components, size.width, size.height),
        QM_OK);
    ASSERT_EQ(d.content(), expected)
        << bpc << " bits, " << limits.min << " to " << limits.max << ", scale " << limits.scale;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

void check_normalized(Round round) {
    Random& random = round.random;
    const uint32_t bpc = round.in_turn(kDepths), bits = stored_bits(bpc);
    const uint32_t components = random.components();
    const Size size = random.size(components);
    const FloatPicture d(components, size, random);
    const GuardedPicture s({components, bits, bits}, size, random);
    const float top = bpc == 32 ? 0.0f : static_cast<float>((uint64_t{1} << bpc) - 1);
    Floats expected;
    for (const uint64_t value : s.content())
        expected.push_back(static_cast<float>(static_cast<uint32_t>(value)) / top);
    const auto outside = d.outside();
    ASSERT_EQ(Api::ConvertPictureToNormalizedFloat(d.data(), d.stride(), s.data(), s.stride(), bpc,
                                                   components, size.width, size.height),
              QM_OK);
    ASSERT_EQ(comparable(d.content()), comparable(expected)) << bpc << " bits";
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(comparable(expected));
}

float* floats(void* p) { return static_cast<float*>(p); }
const float* floats(const void* p) { return static_cast<const float*>(p); }
uint32_t rows_of(const EntryCall& c) { return static_cast<uint32_t>(c.size / kEntryWidth); }

const bool registered = add_cases(
    {{"CQmFloatPicMemAPI_Base::ConvertFloatToPicture", check_to_picture, 152},
     {"CQmFloatPicMemAPI_Base::ConvertPictureToNormalizedFloat", check_normalized, 76}},
    {{"CQmFloatPicMemAPI_Base::ConvertFloatToPicture",
      [](const EntryCall& c) {
          return Api::ConvertFloatToPicture(c.dst, c.bpc, c.stride, floats(c.src), 0, 1, true,
                                            c.stride, c.components, c.width, rows_of(c));
      },
      [](uint32_t, uint32_t bpc) { return bpc <= 32 ? QM_OK : QM_BAD_BUFFER; }},
     {"CQmFloatPicMemAPI_Base::ConvertPictureToNormalizedFloat",
      [](const EntryCall& c) {
          return Api::ConvertPictureToNormalizedFloat(floats(c.dst), c.stride, c.src, c.stride,
                                                      c.bpc, c.components, c.width, rows_of(c));
      },
      [](uint32_t, uint32_t) { return QM_OK; }}});

/// A row of floats as a row of a depth.
template <class Unit>
std::vector<Unit> converted(const Floats& s, uint32_t bpc, float min = 0, float max = 0,
                            bool scale = false) {
    std::vector<Unit> d(s.size() + 1, Unit(0xA5));
    EXPECT_EQ(Api::ConvertFloatToPicture(d.data(), bpc, 1000, s.data(), min, max, scale, 1000, 1,
                                         static_cast<uint32_t>(s.size()), 1),
              QM_OK);
    EXPECT_EQ(d.back(), Unit(0xA5));
    d.pop_back();
    return d;
}
using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint16_t>;
using Deep = std::vector<uint32_t>;

TEST(ConvertFloatToPicture, SubtractsTheLowerLimitAlsoWithoutAScale) {
    EXPECT_EQ(converted<uint8_t>({10.4f, 10.6f, 9.0f, 264.0f, 300.0f}, 8, 10, 20),
              (Bytes{0, 1, 0, 254, 255}));
}

TEST(ConvertFloatToPicture, ScalesTheLimitsToTheWholeDepth) {
    EXPECT_EQ(converted<uint8_t>({0.0f, 1000.0f, 100.0f, 500.0f}, 8, 0, 1000, true),
              (Bytes{0, 255, 26, 128}));  // 25.5 and 127.5 and a half
    EXPECT_EQ(converted<uint16_t>({-1.0f, 1.0f, 0.0f}, 12, -1, 1, true), (Words{0, 4095, 2048}));
}

TEST(ConvertFloatToPicture, TurnsWithLimitsInReverseOrder) {
    EXPECT_EQ(converted<uint8_t>({0.0f, 255.0f, 155.0f}, 8, 255, 0, true), (Bytes{255, 0, 100}));
}

TEST(ConvertFloatToPicture, DoesNotScaleBetweenEqualLimits) {
    EXPECT_EQ(converted<uint8_t>({10.0f, 12.0f, 300.0f}, 8, 10, 10, true), (Bytes{0, 2, 255}));
}

TEST(ConvertFloatToPicture, RoundsHalvesUpAndNothingBelowThem) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (const size_t length : {7u, 80u}) {  // short rows and vectors
            Floats s{0.49999997f, 0.5f, 0.50000006f, 1.4999999f, 1.5f, 2.5f, 254.49998f};
            Bytes expected{0, 1, 1, 1, 2, 3, 254};
            while (s.size() < length) s.push_back(s[s.size() - 7]);
            while (expected.size() < length) expected.push_back(expected[expected.size() - 7]);
            EXPECT_EQ(converted<uint8_t>(s, 8), expected);
            EXPECT_EQ(converted<uint16_t>(s, 16), Words(expected.begin(), expected.end()));
            EXPECT_EQ(converted<uint32_t>(s, 24), Deep(expected.begin(), expected.end()));
        }
    }
}

TEST(ConvertFloatToPicture, KeepsWithinTheDepth) {
    const Floats s{kNan,  kInfinity, -kInfinity, FLT_MAX,      -FLT_MAX,
                   -0.0f, -0.5f,     1e-45f,     4294967296.0f};
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        EXPECT_EQ(converted<uint8_t>(s, 8), (Bytes{0, 255, 0, 255, 0, 0, 0, 0, 255}));
        EXPECT_EQ(converted<uint16_t>(s, 10), (Words{0, 1023, 0, 1023, 0, 0, 0, 0, 1023}));
        EXPECT_EQ(converted<uint16_t>(s, 16), (Words{0, 65535, 0, 65535, 0, 0, 0, 0, 65535}));
        EXPECT_EQ(converted<uint32_t>(s, 20), (Deep{0, 65535, 0, 65535, 0, 0, 0, 0, 65535}));
    }
}

TEST(ConvertFloatToPicture, StoresWordsBelow8Bits) {
    EXPECT_EQ(converted<uint16_t>({1.0f, 127.4f, 200.0f}, 7), (Words{1, 127, 127}));
    EXPECT_EQ(converted<uint16_t>({1.0f, 2.0f}, 1), (Words{1, 1}));
    EXPECT_EQ(converted<uint16_t>({1.0f, 0.0f}, 0), (Words{0, 0}));
}

TEST(ConvertFloatToPicture, KeepsTheLow16BitsOfDeepResults) {
    const Floats s{65535.0f, 65536.0f, 65537.0f, 70000.0f, 131071.0f, 131072.0f};
    EXPECT_EQ(converted<uint32_t>(s, 17), (Deep{65535, 0, 1, 4464, 65535, 65535}));
    EXPECT_EQ(converted<uint32_t>({16777215.0f, 8388609.0f}, 24), (Deep{65535, 1}));
    EXPECT_EQ(converted<uint32_t>({2147483520.0f, 1e20f}, 31), (Deep{0xFF80, 65535}));
}

TEST(ConvertFloatToPicture, HasOneLevelAtAllOf32Bits) {
    // Greatest is -1: above is what is cut to 0, and that begins above -1 of the sum with a half.
    const Floats s{0.0f,        1.0f,  65536.0f, 1e20f, kInfinity, -0.6f,
                   -1.4999999f, -1.5f, -2.0f,    kNan,  -kInfinity};
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        EXPECT_EQ(converted<uint32_t>(s, 32),
                  (Deep{65535, 65535, 65535, 65535, 65535, 65535, 65535, 0, 0, 0, 0}));
        EXPECT_EQ(converted<uint32_t>({0.0f, 0.25f, 1.4f, 2.0f, -9.0f}, 32, 0, 1, true),
                  (Deep{65535, 65535, 65535, 0, 65535}));  // times -1
    }
}

TEST(ConvertFloatToPicture, RefusesMoreThan32BitsButNotOfNothing) {
    const float s = 1;
    uint64_t d = 7;
    for (const uint32_t bpc : {33u, 40u, 64u}) {
        EXPECT_EQ(Api::ConvertFloatToPicture(&d, bpc, 8, &s, 0, 1, true, 4, 1, 1, 1),
                  QM_BAD_BUFFER);
        EXPECT_EQ(Api::ConvertFloatToPicture(&d, bpc, 8, &s, 0, 1, true, 4, 1, 1, 0), QM_OK);
    }
    EXPECT_EQ(d, 7u);
}

// A shorter sample is written over what has been read.
TEST(ConvertFloatToPicture, MayReplaceItsSource) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (const uint32_t bpc : {8u, 12u, 20u, 32u})
            for (const uint32_t width : {1u, 5u, 15u, 16u, 17u, 64u, 100u, 333u}) {
                Random random(width);
                Floats s(2 * width);
                std::vector<uint64_t> expected, found;
                for (float& x : s) {
                    x = static_cast<float>(random(0, 300));
                    expected.push_back(test::level(x, {0, 0, false}, bpc));
                }
                ASSERT_EQ(Api::ConvertFloatToPicture(s.data(), bpc, 4 * width, s.data(), 0, 0,
                                                     false, 4 * width, 1, width, 2),
                          QM_OK);
                const uint32_t bytes = stored_bits(bpc) / 8;
                for (uint32_t y = 0; y < 2; ++y)
                    for (uint32_t x = 0; x < width; ++x) {
                        uint64_t value = 0;
                        std::memcpy(&value, reinterpret_cast<uint8_t*>(&s[y * width]) + x * bytes,
                                    bytes);
                        found.push_back(value);
                    }
                ASSERT_EQ(found, expected) << bpc << " bits, " << width << " pixels";
            }
    }
}

TEST(ConvertPictureToNormalizedFloat, DividesByTheGreatestValue) {
    const uint8_t bytes[] = {0, 51, 255};
    Floats d(3);
    EXPECT_EQ(Api::ConvertPictureToNormalizedFloat(d.data(), 12, bytes, 3, 8, 1, 3, 1), QM_OK);
    EXPECT_EQ(d, (Floats{0.0f, 51.0f / 255.0f, 1.0f}));
    const uint16_t words[] = {0, 4095, 8190};
    EXPECT_EQ(Api::ConvertPictureToNormalizedFloat(d.data(), 12, words, 6, 12, 1, 3, 1), QM_OK);
    EXPECT_EQ(d, (Floats{0.0f, 1.0f, 2.0f}));
    const uint32_t deep[] = {0, 0x7FFFFFFF, 0xFFFFFFFF};
    EXPECT_EQ(Api::ConvertPictureToNormalizedFloat(d.data(), 12, deep, 12, 31, 1, 3, 1), QM_OK);
    EXPECT_EQ(d, (Floats{0.0f, 1.0f, 2.0f}));
}

TEST(ConvertPictureToNormalizedFloat, DividesByZeroAt32Bits) {
    const uint32_t deep[] = {0, 1, 0xFFFFFFFF};
    Floats d(3);
    EXPECT_EQ(Api::ConvertPictureToNormalizedFloat(d.data(), 12, deep, 12, 32, 1, 3, 1), QM_OK);
    EXPECT_TRUE(std::isnan(d[0]));
    EXPECT_EQ(d[1], kInfinity);
    EXPECT_EQ(d[2], kInfinity);
}

TEST(ConvertPictureToNormalizedFloat, LeavesAllAbove32BitsAndGives0) {
    const uint64_t s = 1;
    float d = 7;
    EXPECT_EQ(Api::ConvertPictureToNormalizedFloat(&d, 4, &s, 8, 33, 1, 1, 1), QM_OK);
    EXPECT_EQ(Api::ConvertPictureToNormalizedFloat(&d, 4, &s, 8, 64, 1, 1, 1), QM_OK);
    EXPECT_EQ(d, 7);
}

TEST(FloatConversion, FindsRowsOfFloatsIn32Bits) {
    const Floats s{1, 2, 3, 4, 5, 6, 7, 8, 9};
    Bytes d(8);
    EXPECT_EQ(Api::ConvertFloatToPicture(d.data(), 8, 2, s.data(), 0, 0, false, 10, 1, 2, 4),
              QM_OK);  // floats 0, 2, 5, 7
    EXPECT_EQ(d, (Bytes{1, 2, 3, 4, 6, 7, 8, 9}));
    Floats made(9, 0.0f);
    const uint8_t bytes[] = {0, 255, 255, 0, 255, 255, 0, 255};
    EXPECT_EQ(Api::ConvertPictureToNormalizedFloat(made.data(), 10, bytes, 2, 8, 1, 2, 4), QM_OK);
    EXPECT_EQ(made, (Floats{0, 1, 1, 0, 0, 1, 1, 0, 1}));
}

TEST(FloatConversion, WrapsAt4GiB) {
    if (kThreadSanitizer) GTEST_SKIP() << "its tables would cover the distance";
    const WrappedRows memory;
    memory.row(0)[0] = 5;
    memory.row(1)[0] = 6;
    Bytes d(3);
    EXPECT_EQ(Api::ConvertFloatToPicture(d.data(), 8, 1, memory.row(0), 0, 0, false,
                                         WrappedRows::kStride, 1, 1, 3),
              QM_OK);
    EXPECT_EQ(d, (Bytes{5, 6, 5}));
}

TEST(FloatConversion, ForksToNormalizeAlone) {
    omp_set_num_threads(2);
    constexpr uint32_t kRows = 16;
    const Floats s(kRows);
    for (const uint32_t bpc : {8u, 16u, 32u}) {
        const TouchedPages pages(kRows);
        Api::ConvertFloatToPicture(pages.data(), bpc, TouchedPages::kPage, s.data(), 0, 0, false, 4,
                                   1, 1, kRows);
        EXPECT_EQ(pages.thread_count(), 1u) << bpc;
    }
    for (const uint32_t bpc : {8u, 16u, 32u}) {
        const TouchedPages pages(kRows);
        Api::ConvertPictureToNormalizedFloat(reinterpret_cast<float*>(pages.data()),
                                             TouchedPages::kPage, s.data(), 4, bpc, 1, 1, kRows);
        EXPECT_EQ(pages.thread_count(), 2u) << bpc;
    }
}

TEST(FloatConversion, ForksForASinglePixelToo) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    const uint16_t s = 1;
    float d = 0;
    uint8_t byte = 0;
    const WatchedRegions regions;
    Api::ConvertFloatToPicture(&byte, 8, 1, &d, 0, 0, false, 4, 1, 1, 1);
    EXPECT_TRUE(regions.teams().empty());
    Api::ConvertPictureToNormalizedFloat(&d, 4, &s, 2, 16, 1, 1, 1);
    EXPECT_EQ(regions.teams(), std::vector<uint32_t>{0});
}

}  // namespace
}  // namespace qmpic::test
