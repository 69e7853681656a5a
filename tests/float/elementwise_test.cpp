#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>

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

// What the C library computes is compared, but not with other machines.
enum Stored { kEverywhereAlike, kOfThisLibrary };

/// A destination and one or two sources, each of which may be the destination.
using RunTwo =
    std::function<int(const FloatPicture& d, const FloatPicture& a, const FloatPicture& b)>;
using RunOne = std::function<int(const FloatPicture& d, const FloatPicture& s, float c)>;

void compare(Round round, const FloatPicture& d, const Floats& expected,
             const std::vector<uint8_t>& outside, Stored stored) {
    ASSERT_EQ(comparable(d.content()), comparable(expected))
        << d.size().width << " x " << d.size().height << " x " << d.components();
    ASSERT_EQ(d.outside(), outside);
    if (stored == kEverywhereAlike) round.digest.add(comparable(expected));
}

void check_two(Round round, const RunTwo& run, float (*reference)(float, float),
               Stored stored = kEverywhereAlike) {
    Random& random = round.random;
    const uint32_t components = random.components();
    const Size size = random.size(components);
    const FloatPicture d(components, size, random), first(components, size, random),
        second(components, size, random);
    const uint32_t which = random(0, 7);
    const FloatPicture& a = which % 4 == 1 || which == 3 ? d : first;
    const FloatPicture& b = which % 4 == 2 || which == 3 ? d : second;
    Floats expected;
    const Floats x = a.content(), y = b.content();
    for (size_t i = 0; i < x.size(); ++i) expected.push_back(reference(x[i], y[i]));
    const auto outside = d.outside();
    ASSERT_EQ(run(d, a, b), QM_OK);
    compare(round, d, expected, outside, stored);
}

void check_one(Round round, const RunOne& run, float (*reference)(float a, float c),
               Stored stored = kEverywhereAlike) {
    Random& random = round.random;
    const uint32_t components = random.components();
    const Size size = random.size(components);
    const FloatPicture d(components, size, random), other(components, size, random);
    const FloatPicture& s = random(0, 3) == 0 ? d : other;
    const float c = draw_float(random);
    Floats expected;
    for (const float a : s.content()) expected.push_back(reference(a, c));
    const auto outside = d.outside();
    ASSERT_EQ(run(d, s, c), QM_OK);
    compare(round, d, expected, outside, stored);
}

template <class Unit, class Entry>
void check_integer(Round round, Entry entry) {
    Random& random = round.random;
    const uint32_t components = random.components(), bits = 8 * sizeof(Unit);
    const Size size = random.size(components);
    const FloatPicture d(components, size, random), other(components, size, random);
    const GuardedPicture b({components, bits, bits}, size, random);
    const FloatPicture& a = random(0, 3) == 0 ? d : other;
    Floats expected;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t i = 0; i < d.samples(); ++i)
            expected.push_back(static_cast<float>(b.get(i, y)) + a.get(i, y));
    const auto outside = d.outside();
    ASSERT_EQ(entry(d.data(), d.stride(), a.data(), a.stride(), static_cast<const Unit*>(b.data()),
                    b.stride(), components, size.width, size.pixels),
              QM_OK);
    compare(round, d, expected, outside, kEverywhereAlike);
}

using RunPacked =
    std::function<int(float* data, float c, uint32_t width, uint32_t height, uint32_t components)>;

void check_packed(Round round, const RunPacked& run, float (*reference)(float a, float c),
                  Stored stored = kEverywhereAlike) {
    Random& random = round.random;
    const uint32_t components = random.components();
    Size size = random.size(components);
    size.pixels = uint64_t{size.width} * size.height;
    const FloatPicture d(components, size, random, FloatPicture::kPacked);
    const float c = draw_float(random);
    Floats expected;
    for (const float a : d.content()) expected.push_back(reference(a, c));
    const auto outside = d.outside();
    ASSERT_EQ(run(d.data(), c, size.width, size.height, components), QM_OK);
    compare(round, d, expected, outside, stored);
}

void check_normalize(Round round) {
    Random& random = round.random;
    const uint32_t components = random(0, 3) == 0 ? 1 : random.components();
    const Size size = random.size(components);
    FloatPicture d(components, size, random, FloatPicture::kPacked);
    // Rows of which some floats are a gap.
    const uint32_t gap = size.width > 1 ? random(0, 1) : 0, width = size.width - gap;
    Floats min, max;
    for (uint32_t c = 0; c < components; ++c) {
        min.push_back(draw_float(random));
        max.push_back(draw_float(random));
    }
    Floats expected = d.content();
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < width; ++x)
            for (uint32_t c = 0; c < components; ++c) {
                float& value = expected[(size_t{y} * size.width + x) * components + c];
                const float range = max[c] - min[c];
                value = (value - min[c]) / range;
            }
    const auto outside = d.outside();
    ASSERT_EQ(Api::Normalize(d.data(), d.samples(), components, width, size.height, min.data(),
                             max.data()),
              QM_OK);
    compare(round, d, expected, outside, kEverywhereAlike);
}

void check_mask(Round round) {
    Random& random = round.random;
    const uint32_t components = random.components();
    const Size size = random.size(components);
    const FloatPicture d(components, size, random, FloatPicture::kPacked),
        other(components, size, random, FloatPicture::kPacked);
    const FloatPicture& s = random(0, 3) == 0 ? d : other;
    std::vector<uint8_t> mask(size_t{size.width} * size.height);
    for (uint8_t& m : mask) m = static_cast<uint8_t>(random.any());
    const auto top = static_cast<uint8_t>(random.one_of({255u, 255u, 1u, 0u, random.any() & 255}));
    Floats expected = s.content();
    for (size_t i = 0; i < expected.size(); ++i) {
        const float product = static_cast<float>(mask[i / components]) * expected[i];
        expected[i] = product / static_cast<float>(top);
    }
    const auto outside = d.outside();
    ASSERT_EQ(Api::MaskFloatWithGray(d.data(), components, s.data(), components, mask.data(),
                                     size.width, size.pixels, top),
              QM_OK);
    compare(round, d, expected, outside, kEverywhereAlike);
}

// ----- One line an entry: how it is called, and what it computes ---------------------------------

// clang-format off
#define TWO(name, stored, ...) \
    {"CQmFloatPicMemAPI_Base::" name, [](Round round) { \
        const RunTwo run = [](const FloatPicture& d, const FloatPicture& a, const FloatPicture& b) { \
            return Api::ENTRY(d.data(), d.stride(), a.data(), a.stride(), b.data(), b.stride(), \
                              d.components(), d.size().width, d.size().pixels); }; \
        check_two(round, run, [](float a, float b) -> float { return __VA_ARGS__; }, stored); }}
#define ONE(name, source, stored, ...) \
    {"CQmFloatPicMemAPI_Base::" name, [](Round round) { \
        const RunOne run = [](const FloatPicture& d, const FloatPicture& s, [[maybe_unused]] float c) { \
            return Api::ENTRY(d.data(), d.stride(), source, \
                              d.components(), d.size().width, d.size().pixels); }; \
        check_one(round, run, [](float a, [[maybe_unused]] float c) -> float { return __VA_ARGS__; }, stored); }}
#define FIRST c, s.data(), s.stride()
#define BETWEEN s.data(), c, s.stride()
#define LAST s.data(), s.stride(), c
#define NONE s.data(), s.stride()

std::vector<KernelCase> cases() {
    return {
#define ENTRY Abs
        ONE("Abs", NONE, kEverywhereAlike, a < 0 ? -a : a),
#undef ENTRY
#define ENTRY DivConstnFloat
        ONE("DivConstnFloat", FIRST, kEverywhereAlike, a == 0 ? 0.0f : c / a),
#undef ENTRY
#define ENTRY SubConstnFloat
        ONE("SubConstnFloat", FIRST, kEverywhereAlike, c - a),
#undef ENTRY
#define ENTRY MinFloatnConst
        ONE("MinFloatnConst", LAST, kEverywhereAlike, c < a ? c : a),
#undef ENTRY
#define ENTRY MaxFloatnConst
        ONE("MaxFloatnConst", LAST, kEverywhereAlike, c > a ? c : a),
#undef ENTRY
#define ENTRY DivFloatnFloat
        TWO("DivFloatnFloat", kEverywhereAlike, b == 0 ? 0.0f : a / b),
#undef ENTRY
#define ENTRY MinFloatnFloat
        TWO("MinFloatnFloat", kEverywhereAlike, a < b ? a : b),
#undef ENTRY
#define ENTRY MaxFloatnFloat
        TWO("MaxFloatnFloat", kEverywhereAlike, a > b ? a : b),
#undef ENTRY
#define ENTRY Log
        TWO("Log", kOfThisLibrary, std::log(b) / std::log(a)),
        ONE("Log of a constant", BETWEEN, kOfThisLibrary, std::log(c) / std::log(a)),
        ONE("Log by a constant", FIRST, kOfThisLibrary,
            c > 0 ? std::log(a) / std::log(c) : std::log(a)),
#undef ENTRY
#define ENTRY Pow
        TWO("Pow", kOfThisLibrary, std::pow(a, b)),
        ONE("Pow by a constant", BETWEEN, kOfThisLibrary, std::pow(a, c)),
        ONE("Pow of a constant", FIRST, kOfThisLibrary, std::pow(c, a)),
#undef ENTRY
        {"CQmFloatPicMemAPI_Base::AddFloatnUint8",
         [](Round round) { check_integer<unsigned char>(round, Api::AddFloatnUint8); }},
        {"CQmFloatPicMemAPI_Base::AddFloatnUint16",
         [](Round round) { check_integer<unsigned short>(round, Api::AddFloatnUint16); }},
        {"CQmFloatPicMemAPI_Base::Inversion", [](Round round) {
             check_packed(round,
                          [](float* data, float, uint32_t w, uint32_t h, uint32_t n) {
                              return Api::Inversion(data, w, h, n); },
                          [](float a, float) { return a == 0 ? a : 1 / a; }); }},
        {"CQmFloatPicMemAPI_Base::Logarithm", [](Round round) {
             check_packed(round,
                          [](float* data, float, uint32_t w, uint32_t h, uint32_t n) {
                              return Api::Logarithm(data, w, h, n); },
                          [](float a, float) { return a == 0 ? a : std::log(std::fabs(a)); },
                          kOfThisLibrary); }},
        {"CQmFloatPicMemAPI_Base::MultiplybyFloat", [](Round round) {
             check_packed(round, Api::MultiplybyFloat, [](float a, float c) { return a * c; }); }},
        {"CQmFloatPicMemAPI_Base::MultiplybyFloatSSE_parallel", [](Round round) {
             check_packed(round, Api::MultiplybyFloatSSE_parallel,
                          [](float a, float c) { return a * c; }); }},
        {"CQmFloatPicMemAPI_Base::Normalize", check_normalize, 96},
        {"CQmFloatPicMemAPI_Base::MaskFloatWithGray", check_mask, 96}};
}
#undef TWO
#undef ONE
#undef FIRST
#undef BETWEEN
#undef LAST
#undef NONE
// clang-format on

int always(uint32_t /*components*/, uint32_t /*bpc*/) { return QM_OK; }
float* floats(void* p) { return static_cast<float*>(p); }
const float* floats(const void* p) { return static_cast<const float*>(p); }

#define TWO(name)                                                                                  \
    {                                                                                              \
        "CQmFloatPicMemAPI_Base::" #name " of two",                                                \
            [](const EntryCall& c) {                                                               \
                return Api::name(floats(c.dst), c.stride, floats(c.src), c.stride, floats(c.src),  \
                                 c.stride, c.components, c.width, c.size);                         \
            },                                                                                     \
            always                                                                                 \
    }
#define ONE(name, ...)                                                                             \
    {                                                                                              \
        "CQmFloatPicMemAPI_Base::" #name " " #__VA_ARGS__,                                         \
            [](const EntryCall& c) {                                                               \
                return Api::name(floats(c.dst), c.stride, __VA_ARGS__, c.components, c.width,      \
                                 c.size);                                                          \
            },                                                                                     \
            always                                                                                 \
    }

const bool registered = add_cases(
    cases(), {TWO(DivFloatnFloat), TWO(MinFloatnFloat), TWO(MaxFloatnFloat), TWO(Log), TWO(Pow),
              ONE(Abs, floats(c.src), c.stride), ONE(DivConstnFloat, 2.0f, floats(c.src), c.stride),
              ONE(SubConstnFloat, 2.0f, floats(c.src), c.stride),
              ONE(MinFloatnConst, floats(c.src), c.stride, 2.0f),
              ONE(MaxFloatnConst, floats(c.src), c.stride, 2.0f),
              ONE(Log, 2.0f, floats(c.src), c.stride), ONE(Log, floats(c.src), 2.0f, c.stride),
              ONE(Pow, 2.0f, floats(c.src), c.stride), ONE(Pow, floats(c.src), 2.0f, c.stride),
              ONE(AddFloatnUint8, floats(c.src), c.stride, static_cast<const unsigned char*>(c.src),
                  c.stride),
              ONE(AddFloatnUint16, floats(c.src), c.stride,
                  static_cast<const unsigned short*>(c.src), c.stride)});
#undef TWO
#undef ONE

// ----- Single values -----------------------------------------------------------------------------

using Two = int(float*, uint32_t, const float*, uint32_t, const float*, uint32_t, uint32_t,
                uint32_t, uint64_t);
using Between = int(float*, uint32_t, const float*, float, uint32_t, uint32_t, uint32_t, uint64_t);
using First = int(float*, uint32_t, float, const float*, uint32_t, uint32_t, uint32_t, uint64_t);
using Last = int(float*, uint32_t, const float*, uint32_t, float, uint32_t, uint32_t, uint64_t);

float of_two(Two* entry, float a, float b) {
    float d = -7;
    EXPECT_EQ(entry(&d, 4, &a, 4, &b, 4, 1, 1, 1), QM_OK);
    return d;
}
float of_one(Between* entry, float a, float c) {
    float d = -7;
    EXPECT_EQ(entry(&d, 4, &a, c, 4, 1, 1, 1), QM_OK);
    return d;
}
float of_one(First* entry, float c, float a) {
    float d = -7;
    EXPECT_EQ(entry(&d, 4, c, &a, 4, 1, 1, 1), QM_OK);
    return d;
}
float of_one(Last* entry, float a, float c) {
    float d = -7;
    EXPECT_EQ(entry(&d, 4, &a, 4, c, 1, 1, 1), QM_OK);
    return d;
}
uint32_t bits(float value) { return std::bit_cast<uint32_t>(value); }
float number(uint32_t bits) { return std::bit_cast<float>(bits); }

TEST(FloatAbs, KeepsTheSignOfMinusZeroAndOfNans) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        Floats s(40, -2.5f), d(40);
        s[3] = s[20] = -0.0f;
        s[5] = s[33] = number(0xFFC12345);
        s[7] = -kInfinity;
        ASSERT_EQ(Api::Abs(d.data(), 160, s.data(), 160, 1, 40, 40), QM_OK);
        EXPECT_EQ(d[0], 2.5f);
        EXPECT_EQ(bits(d[3]), 0x80000000u) << name_of(level);
        EXPECT_EQ(bits(d[20]), 0x80000000u) << name_of(level);
        EXPECT_EQ(bits(d[5]), 0xFFC12345u) << name_of(level);
        EXPECT_EQ(bits(d[33]), 0xFFC12345u) << name_of(level);
        EXPECT_EQ(d[7], kInfinity);
    }
}

TEST(FloatDivision, ByZeroOfEitherSignGivesPlusZero) {
    for (const float zero : {0.0f, -0.0f})
        for (const float a : {0.0f, -3.0f, 5.0f, kInfinity, kNan}) {
            EXPECT_EQ(bits(of_two(Api::DivFloatnFloat, a, zero)), 0u) << a;
            EXPECT_EQ(bits(of_one(Api::DivConstnFloat, a, zero)), 0u) << a;
        }
    EXPECT_TRUE(std::isnan(of_two(Api::DivFloatnFloat, 1, kNan)));
    EXPECT_TRUE(std::isnan(of_one(Api::DivConstnFloat, 1, kNan)));
    // A true quotient and no product with a reciprocal: 5 * (1 / 49) is one bit off.
    EXPECT_EQ(bits(of_two(Api::DivFloatnFloat, 5, 49)), bits(5.0f / 49.0f));
    EXPECT_EQ(of_one(Api::DivConstnFloat, 6.0f, 4.0f), 1.5f);
}

TEST(FloatSubtraction, TakesTheSampleFromTheConstant) {
    EXPECT_EQ(of_one(Api::SubConstnFloat, 10.0f, 4.0f), 6.0f);
}

TEST(FloatAddition, MakesTheIntegerAFloatFirst) {
    const float a = 0.5f;
    float d = 0;
    const unsigned char byte = 255;
    const unsigned short word = 65535;
    EXPECT_EQ(Api::AddFloatnUint8(&d, 4, &a, 4, &byte, 1, 1, 1, 1), QM_OK);
    EXPECT_EQ(d, 255.5f);
    EXPECT_EQ(Api::AddFloatnUint16(&d, 4, &a, 4, &word, 2, 1, 1, 1), QM_OK);
    EXPECT_EQ(d, 65535.5f);
}

TEST(FloatExtremes, WithAConstantKeepTheSampleUnlessTheConstantWins) {
    for (Last* const entry : {Api::MinFloatnConst, Api::MaxFloatnConst}) {
        EXPECT_EQ(bits(of_one(entry, number(0xFFC54321), 1.0f)), 0xFFC54321u);
        EXPECT_EQ(of_one(entry, 3.0f, kNan), 3.0f);
        EXPECT_EQ(bits(of_one(entry, -0.0f, 0.0f)), 0x80000000u);
        EXPECT_EQ(bits(of_one(entry, 0.0f, -0.0f)), 0u);
    }
    EXPECT_EQ(of_one(Api::MinFloatnConst, 3.0f, 2.0f), 2.0f);
    EXPECT_EQ(of_one(Api::MaxFloatnConst, 3.0f, 4.0f), 4.0f);
}

TEST(FloatExtremes, OfTwoTakeTheSecondUnlessTheFirstWins) {
    for (Two* const entry : {Api::MinFloatnFloat, Api::MaxFloatnFloat}) {
        EXPECT_EQ(of_two(entry, kNan, 3.0f), 3.0f);
        EXPECT_EQ(bits(of_two(entry, 3.0f, number(0xFFC54321))), 0xFFC54321u);
        EXPECT_EQ(bits(of_two(entry, 0.0f, -0.0f)), 0x80000000u);
        EXPECT_EQ(bits(of_two(entry, -0.0f, 0.0f)), 0u);
    }
    EXPECT_EQ(of_two(Api::MinFloatnFloat, 2.0f, 3.0f), 2.0f);
    EXPECT_EQ(of_two(Api::MaxFloatnFloat, 2.0f, 3.0f), 3.0f);
}

TEST(FloatLog, HasTheBaseFirst) {
    EXPECT_NEAR(of_two(Api::Log, 2, 8), 3, 1e-6);
    EXPECT_NEAR(of_one(static_cast<Between*>(Api::Log), 2, 8), 3, 1e-6);  // of the constant
    EXPECT_NEAR(of_one(static_cast<First*>(Api::Log), 2, 8), 3, 1e-6);    // by the constant
}

TEST(FloatLog, ByAConstantThatIsNotAbove0IsNatural) {
    for (const float c : {-1.0f, 0.0f, -0.0f, -kInfinity, kNan})
        EXPECT_EQ(of_one(static_cast<First*>(Api::Log), c, 8), std::log(8.0f)) << c;
}

TEST(FloatLog, ToABaseOf1DividesByZero) {
    EXPECT_EQ(of_one(static_cast<First*>(Api::Log), 1, 8), kInfinity);
    EXPECT_EQ(of_one(static_cast<First*>(Api::Log), 1, 0.5f), -kInfinity);
    EXPECT_TRUE(std::isnan(of_one(static_cast<First*>(Api::Log), 1, 1)));
    EXPECT_EQ(of_two(Api::Log, 1, 8), kInfinity);
    EXPECT_EQ(of_one(static_cast<Between*>(Api::Log), 1, 8), kInfinity);
}

TEST(FloatPow, HasTheBaseFirst) {
    EXPECT_EQ(of_two(Api::Pow, 2, 3), 8);
    EXPECT_EQ(of_one(static_cast<Between*>(Api::Pow), 2, 3), 8);
    EXPECT_EQ(of_one(static_cast<First*>(Api::Pow), 2, 3), 8);
    EXPECT_TRUE(std::isnan(of_one(static_cast<Between*>(Api::Pow), -4, 0.5f)));
}

TEST(FloatInversion, LeavesZerosOfEitherSign) {
    Floats x{0.0f, -0.0f, 4.0f, -kInfinity, kNan};
    ASSERT_EQ(Api::Inversion(x.data(), 5, 1, 1), QM_OK);
    EXPECT_EQ(bits(x[0]), 0u);
    EXPECT_EQ(bits(x[1]), 0x80000000u);
    EXPECT_EQ(x[2], 0.25f);
    EXPECT_EQ(bits(x[3]), 0x80000000u);
    EXPECT_TRUE(std::isnan(x[4]));
    // 1 / 3 and its like are rounded, not estimated.
    x.assign(50, 3.0f);
    ASSERT_EQ(Api::Inversion(x.data(), 5, 5, 2), QM_OK);
    EXPECT_EQ(x, Floats(50, number(0x3EAAAAAB)));
}

TEST(FloatLogarithm, IsOfTheMagnitudeAndLeavesZeros) {
    Floats x{-2.0f, 2.0f, 0.0f, -0.0f, 1.0f};
    ASSERT_EQ(Api::Logarithm(x.data(), 1, 1, 5), QM_OK);
    EXPECT_EQ(x[0], std::log(2.0f));
    EXPECT_EQ(x[1], std::log(2.0f));
    EXPECT_EQ(bits(x[2]), 0u);
    EXPECT_EQ(bits(x[3]), 0x80000000u);
    EXPECT_EQ(x[4], 0.0f);
}

TEST(FloatPacked, CountsIn32Bits) {
    const auto invert = [](float* x, float, uint32_t w, uint32_t h, uint32_t n) {
        return Api::Inversion(x, w, h, n);
    };
    const auto logarithm = [](float* x, float, uint32_t w, uint32_t h, uint32_t n) {
        return Api::Logarithm(x, w, h, n);
    };
    for (const RunPacked& run :
         {RunPacked(invert), RunPacked(logarithm), RunPacked(Api::MultiplybyFloat),
          RunPacked(Api::MultiplybyFloatSSE_parallel)}) {
        Floats x(8, 4.0f);
        EXPECT_EQ(run(x.data(), 2.0f, 65536, 65536, 1), QM_OK);  // none
        EXPECT_EQ(x, Floats(8, 4.0f));
        EXPECT_EQ(run(x.data(), 2.0f, 0x80000001, 2, 1), QM_OK);  // two
        EXPECT_NE(x[1], 4.0f);
        EXPECT_EQ(x[2], 4.0f);
        EXPECT_EQ(run(x.data() + 2, 2.0f, 65536, 32768, 2), QM_OK);
        EXPECT_EQ(x[2], 4.0f);
    }
}

TEST(FloatNormalize, RefusesNullPointers) {
    float x = 5;
    const float min = 1, max = 3;
    EXPECT_EQ(Api::Normalize(nullptr, 1, 1, 1, 1, &min, &max), QM_REJECTED);
    EXPECT_EQ(Api::Normalize(&x, 1, 1, 1, 1, nullptr, &max), QM_REJECTED);
    EXPECT_EQ(Api::Normalize(&x, 1, 1, 1, 1, &min, nullptr), QM_REJECTED);
    EXPECT_EQ(x, 5);
    EXPECT_EQ(Api::Normalize(&x, 1, 1, 1, 1, &min, &max), QM_OK);
    EXPECT_EQ(x, 2);
}

TEST(FloatNormalize, CountsItsStrideInFloats) {
    Floats x{2, 4, 9, 6, 8, 9};  // two rows of two, and one float behind each
    const float min = 2, max = 4;
    EXPECT_EQ(Api::Normalize(x.data(), 3, 1, 2, 2, &min, &max), QM_OK);
    EXPECT_EQ(x, (Floats{0, 1, 9, 2, 3, 9}));
}

TEST(FloatNormalize, ByAnEmptyRangeGivesInfinitiesAndNans) {
    Floats x{2, 3, 1};
    const float bound = 2;
    EXPECT_EQ(Api::Normalize(x.data(), 3, 1, 3, 1, &bound, &bound), QM_OK);
    EXPECT_TRUE(std::isnan(x[0]));
    EXPECT_EQ(x[1], kInfinity);
    EXPECT_EQ(x[2], -kInfinity);
}

TEST(MaskFloatWithGray, RefusesDifferentCounts) {
    float d[2] = {7, 7};
    const float s[2] = {1, 2};
    const unsigned char mask = 255;
    EXPECT_EQ(Api::MaskFloatWithGray(d, 1, s, 2, &mask, 1, 1, 255), QM_REJECTED);
    EXPECT_EQ(d[0], 7);
}

TEST(FloatPixels, OfMoreComponentsThanAnyBlockHolds) {
    const uint32_t components = 300, pixels = 4;
    Floats s(components * pixels), d(s.size()), least(components), greatest(components);
    const unsigned char mask[pixels] = {0, 1, 2, 255};
    for (size_t i = 0; i < s.size(); ++i) s[i] = static_cast<float>(i * 37 % 1000);
    for (uint32_t c = 0; c < components; ++c) {
        least[c] = static_cast<float>(c);
        greatest[c] = static_cast<float>(2 * c + 3);
    }
    ASSERT_EQ(
        Api::MaskFloatWithGray(d.data(), components, s.data(), components, mask, 2, pixels, 100),
        QM_OK);
    for (size_t i = 0; i < s.size(); ++i)
        EXPECT_EQ(d[i], static_cast<float>(mask[i / components]) * s[i] / 100.0f) << i;
    d = s;
    ASSERT_EQ(
        Api::Normalize(d.data(), 2 * components, components, 2, 2, least.data(), greatest.data()),
        QM_OK);
    for (size_t i = 0; i < s.size(); ++i) {
        const size_t c = i % components;
        EXPECT_EQ(d[i], (s[i] - least[c]) / (greatest[c] - least[c])) << i;
    }
}

TEST(MaskFloatWithGray, DoesNothingForNothing) {
    float d = 7;
    const float s = 1;
    const unsigned char mask = 255;
    EXPECT_EQ(Api::MaskFloatWithGray(nullptr, 1, &s, 1, &mask, 1, 1, 255), QM_OK);
    EXPECT_EQ(Api::MaskFloatWithGray(&d, 1, nullptr, 1, &mask, 1, 1, 255), QM_OK);
    EXPECT_EQ(Api::MaskFloatWithGray(&d, 1, &s, 1, &mask, 0, 1, 255), QM_OK);
    EXPECT_EQ(Api::MaskFloatWithGray(&d, 1, &s, 1, &mask, 1, 0, 255), QM_OK);
    EXPECT_EQ(Api::MaskFloatWithGray(&d, 0, &s, 0, &mask, 1, 1, 255), QM_OK);
    EXPECT_EQ(d, 7);
}

TEST(MaskFloatWithGray, MultipliesBeforeItDivides) {
    const unsigned char masks[3] = {255, 0, 128};
    const float s[3] = {0.1f, 5, 3};
    float d[3];
    ASSERT_EQ(Api::MaskFloatWithGray(d, 1, s, 1, masks, 3, 3, 255), QM_OK);
    EXPECT_EQ(d[0], 255.0f * 0.1f / 255.0f);
    EXPECT_EQ(d[1], 0);
    EXPECT_EQ(d[2], 384.0f / 255.0f);
    ASSERT_EQ(Api::MaskFloatWithGray(d, 1, s, 1, masks, 3, 3, 0), QM_OK);
    EXPECT_EQ(d[0], kInfinity);
    EXPECT_TRUE(std::isnan(d[1]));
}

// ----- Memory ------------------------------------------------------------------------------------

TEST(FloatRows, LieAtWholeFloats) {  // 10 bytes: floats 0, 2, 5, 7
    const Floats s{1, 2, 3, 4, 5, 6, 7, 8, 9};
    Floats d(9, 0.0f);
    ASSERT_EQ(Api::SubConstnFloat(d.data(), 10, 0.0f, s.data(), 10, 1, 2, 8), QM_OK);
    EXPECT_EQ(d, (Floats{-1, -2, -3, -4, 0, -6, -7, -8, -9}));
}

TEST(FloatRows, WrapAt4GiB) {
    if (kThreadSanitizer) GTEST_SKIP() << "its tables would cover the distance";
    const WrappedRows memory;
    constexpr uint32_t kStride = WrappedRows::kStride;
    const auto fill = [&] {
        for (uint32_t i = 0; i < 20; ++i)
            memory.row(0)[i] = static_cast<float>(i), memory.row(1)[i] = 100.0f;
    };
    omp_set_num_threads(1);  // the first row is worked on twice
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        float* const p = memory.row(0);
        fill();
        ASSERT_EQ(Api::SubConstnFloat(p, kStride, 1.0f, p, kStride, 1, 20, 60), QM_OK);
        EXPECT_EQ(p[3], 3.0f);
        EXPECT_EQ(memory.row(1)[3], -99.0f);
        fill();
        ASSERT_EQ(Api::DivFloatnFloat(p, kStride, p, kStride, p, kStride, 1, 20, 60), QM_OK);
        EXPECT_EQ(p[0], 0.0f);
        EXPECT_EQ(p[1], 1.0f);
        fill();
        const std::vector<unsigned char> bytes(20, 1);
        ASSERT_EQ(Api::AddFloatnUint8(p, kStride, p, kStride, bytes.data(), 0, 1, 20, 60), QM_OK);
        EXPECT_EQ(p[3], 5.0f);
        EXPECT_EQ(memory.row(1)[3], 101.0f);
        fill();
        ASSERT_EQ(Api::MaxFloatnConst(p, kStride, p, kStride, 7.0f, 1, 20, 60), QM_OK);
        EXPECT_EQ(p[3], 7.0f);
    }
}

// What a plain loop does to overlapping memory, float by float in ascending order.
Floats in_order(Floats memory, size_t d, size_t a, size_t count,
                const std::function<float(const Floats& now, size_t i, float a)>& op) {
    for (size_t i = 0; i < count; ++i) memory[d + i] = op(memory, i, memory[a + i]);
    return memory;
}

TEST(FloatOverlap, IsWorkedThroughInAscendingOrder) {
    constexpr size_t kCount = 100;
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (const size_t shift : {0u, 1u, 2u, 3u, 4u, 7u, 8u, 15u, 16u, 17u, 40u})
            for (const bool down : {false, true}) {
                const size_t from = down ? shift : 0, to = down ? 0 : shift;
                Floats before(160);
                for (size_t i = 0; i < before.size(); ++i)
                    before[i] = static_cast<float>(i * 37 % 101);
                const uint32_t stride = 4 * kCount;
                const std::string where =
                    std::string(name_of(level)) + ", " + std::to_string(shift);

                Floats m = before;
                std::vector<unsigned char> bytes(kCount);
                for (size_t i = 0; i < kCount; ++i) bytes[i] = static_cast<unsigned char>(i);
                Api::AddFloatnUint8(&m[to], stride, &m[from], stride, bytes.data(), kCount, 1,
                                    kCount, kCount);
                EXPECT_EQ(m, in_order(before, to, from, kCount,
                                      [](const Floats&, size_t i, float a) {
                                          return static_cast<float>(i) + a;
                                      }))
                    << where;

                std::copy(before.begin(), before.end(),
                          m.begin());  // the words are the floats that are written
                Api::AddFloatnUint16(&m[to], stride, &m[0], stride,
                                     reinterpret_cast<const unsigned short*>(&m[from]), stride, 1,
                                     kCount, kCount);
                EXPECT_EQ(m, in_order(before, to, 0, kCount,
                                      [=](const Floats& now, size_t i, float a) {
                                          unsigned short word;
                                          std::memcpy(
                                              &word,
                                              reinterpret_cast<const char*>(&now[from]) + 2 * i, 2);
                                          return static_cast<float>(word) + a;
                                      }))
                    << where;

                std::copy(before.begin(), before.end(), m.begin());
                Api::MaxFloatnConst(&m[to], stride, &m[from], stride, 50.0f, 1, kCount, kCount);
                EXPECT_EQ(m, in_order(before, to, from, kCount,
                                      [](const Floats&, size_t, float a) {
                                          return 50.0f > a ? 50.0f : a;
                                      }))
                    << where;

                for (const uint32_t components : {1u, 2u, 3u, 4u, 5u, 8u, 20u}) {
                    std::copy(before.begin(), before.end(), m.begin());
                    const uint32_t pixels = kCount / components;
                    Api::MaskFloatWithGray(&m[to], components, &m[from], components, bytes.data(),
                                           pixels, pixels, 2);
                    EXPECT_EQ(m, in_order(before, to, from, pixels * components,
                                          [=](const Floats&, size_t i, float a) {
                                              return static_cast<float>(i / components) * a / 2;
                                          }))
                        << where << ", " << components;
                }
            }
    }
}

TEST(FloatOverlap, OfTheMaskIsSeenToo) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (const uint32_t components : {1u, 2u, 3u, 5u, 9u})
            for (const size_t at : {0u, 5u, 100u, 399u}) {
                std::vector<uint8_t> before(600);
                for (size_t i = 0; i < before.size(); ++i) before[i] = static_cast<uint8_t>(i * 91);
                const Floats s(200, 3.0f);
                std::vector<uint8_t> expected = before, found = before;
                const uint32_t pixels = 100 / components;
                float weight = 0;
                for (size_t i = 0; i < size_t{pixels} * components; ++i) {
                    if (i % components == 0) weight = expected[at + i / components];
                    const float made = weight * s[i] / 7.0f;
                    std::memcpy(&expected[4 * i], &made, 4);
                }
                Api::MaskFloatWithGray(reinterpret_cast<float*>(found.data()), components, s.data(),
                                       components, &found[at], pixels, pixels, 7);
                EXPECT_EQ(found, expected) << components << ", " << at;
            }
    }
}

// ----- Threads -----------------------------------------------------------------------------------

struct Forking {
    const char* name;
    bool forks;
    std::function<void(float* d, uint32_t stride, uint32_t width, uint32_t rows)> call;
};

std::vector<Forking> forking() {
    static const float one = 1;
    static const std::vector<unsigned char> bytes(4096 * 64, 1);
    const auto two = [](const char* name, Two* entry) -> Forking {
        return {name, true, [=](float* d, uint32_t stride, uint32_t width, uint32_t rows) {
                    entry(d, stride, d, stride, d, stride, 1, width, uint64_t{width} * rows);
                }};
    };
    const auto first = [](const char* name, First* entry) -> Forking {
        return {name, true, [=](float* d, uint32_t stride, uint32_t width, uint32_t rows) {
                    entry(d, stride, 2, d, stride, 1, width, uint64_t{width} * rows);
                }};
    };
    const auto between = [](const char* name, Between* entry) -> Forking {
        return {name, true, [=](float* d, uint32_t stride, uint32_t width, uint32_t rows) {
                    entry(d, stride, d, 2, stride, 1, width, uint64_t{width} * rows);
                }};
    };
    const auto last = [](const char* name, Last* entry) -> Forking {
        return {name, false, [=](float* d, uint32_t stride, uint32_t width, uint32_t rows) {
                    entry(d, stride, d, stride, 2, 1, width, uint64_t{width} * rows);
                }};
    };
    return {
        two("DivFloatnFloat", Api::DivFloatnFloat),
        two("MinFloatnFloat", Api::MinFloatnFloat),
        two("MaxFloatnFloat", Api::MaxFloatnFloat),
        two("Log", Api::Log),
        two("Pow", Api::Pow),
        first("DivConstnFloat", Api::DivConstnFloat),
        first("SubConstnFloat", Api::SubConstnFloat),
        first("Log by", Api::Log),
        first("Pow of", Api::Pow),
        between("Log of", Api::Log),
        between("Pow by", Api::Pow),
        last("MinFloatnConst", Api::MinFloatnConst),
        last("MaxFloatnConst", Api::MaxFloatnConst),
        {"Abs", true,
         [](float* d, uint32_t stride, uint32_t width, uint32_t rows) {
             Api::Abs(d, stride, d, stride, 1, width, uint64_t{width} * rows);
         }},
        {"Log by -1", true,
         [](float* d, uint32_t stride, uint32_t width, uint32_t rows) {
             Api::Log(d, stride, -1.0f, d, stride, 1, width, uint64_t{width} * rows);
         }},
        {"Normalize", true,
         [](float* d, uint32_t stride, uint32_t width, uint32_t rows) {
             Api::Normalize(d, stride / 4, 1, width, rows, &one, &one);
         }},
        {"AddFloatnUint8", false,
         [](float* d, uint32_t stride, uint32_t width, uint32_t rows) {
             Api::AddFloatnUint8(d, stride, d, stride, bytes.data(), 64, 1, width,
                                 uint64_t{width} * rows);
         }},
        {"AddFloatnUint16", false,
         [](float* d, uint32_t stride, uint32_t width, uint32_t rows) {
             Api::AddFloatnUint16(d, stride, d, stride,
                                  reinterpret_cast<const unsigned short*>(bytes.data()), 64, 1,
                                  width, uint64_t{width} * rows);
         }},
        {"Inversion", false,
         [](float* d, uint32_t stride, uint32_t, uint32_t rows) {
             Api::Inversion(d, stride / 4, rows, 1);
         }},
        {"Logarithm", false,
         [](float* d, uint32_t stride, uint32_t, uint32_t rows) {
             Api::Logarithm(d, stride / 4, rows, 1);
         }},
        {"MultiplybyFloat", false,
         [](float* d, uint32_t stride, uint32_t, uint32_t rows) {
             Api::MultiplybyFloat(d, 2, stride / 4, rows, 1);
         }},
        {"MultiplybyFloatSSE_parallel", true,
         [](float* d, uint32_t stride, uint32_t, uint32_t rows) {
             Api::MultiplybyFloatSSE_parallel(d, 2, stride / 4, rows, 1);
         }},
        {"MaskFloatWithGray", false,
         [](float* d, uint32_t stride, uint32_t, uint32_t rows) {
             Api::MaskFloatWithGray(d, 1, d, 1, bytes.data(), stride / 4, stride / 4 * rows, 2);
         }},
    };
}

TEST(FloatThreads, AreThoseOfATeamHoweverSmallThePicture) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    for (const Forking& one : forking()) {
        float x = 3;
        const WatchedRegions regions;
        one.call(&x, 4, 1, 1);
        EXPECT_EQ(regions.teams(), one.forks ? std::vector<uint32_t>{0} : std::vector<uint32_t>{})
            << one.name;
    }
}

TEST(FloatThreads, ShareTheRows) {
    omp_set_num_threads(2);
    for (const Forking& one : forking()) {
        const TouchedPages pages(16);
        one.call(reinterpret_cast<float*>(pages.data()), TouchedPages::kPage, 4, 16);
        EXPECT_EQ(pages.thread_count(), one.forks ? 2u : 1u) << one.name;
    }
}

TEST(FloatThreads, OfAProductShareTheFloatsOfASingleRow) {
    omp_set_num_threads(2);
    const TouchedPages pages(4);
    Api::MultiplybyFloatSSE_parallel(reinterpret_cast<float*>(pages.data()), 2, 4096, 1, 1);
    EXPECT_EQ(pages.thread_count(), 2u);
}

}  // namespace
}  // namespace qmpic::test
