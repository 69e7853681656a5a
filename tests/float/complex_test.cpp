#include "qmpic/kernels/complex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "float/complex_kernels.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/float_picture.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmFloatPicMemAPI_Base;
using Floats = std::vector<float>;

// ----- Both forms --------------------------------------------------------------------------------

struct Pair {
    float first, second;
};
Pair to_parts(float amplitude, float phase) {
    const float cosine = std::cos(phase), sine = std::sin(phase);
    return {cosine * amplitude, sine * amplitude};
}
Pair to_polar(float r, float i) {
    const float first = i * i, second = r * r, amplitude = std::sqrt(first + second);
    if (i < 0) return {amplitude, 6.283185f - std::acos(r / amplitude)};
    if (i > 0) return {amplitude, std::acos(r / amplitude)};
    const bool turned = i == 0 && r < 0;
    return {amplitude, turned ? std::bit_cast<float>(0x40490FDAu) : 0.0f};
}

using Convert = int(float*, float*, const float*, const float*, uint32_t, uint32_t, uint64_t);

/// The results may stand in the sources, also crosswise.
void check_conversion(Round round, Convert* convert, Pair (*reference)(float, float)) {
    Random& random = round.random;
    const uint32_t components = random.components();
    const Size size = random.size(components);
    const auto plane = [&] {
        return std::make_unique<FloatPicture>(components, size, random, FloatPicture::kPacked);
    };
    const auto first = plane(), second = plane(), first_result = plane(), second_result = plane();
    if (random(0, 1))  // angles, and what parts are of them
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t i = 0; i < first->samples(); ++i) {
                first->set(i, y, static_cast<float>(random(0, 6283)) / 1000.0f);
                second->set(i, y, static_cast<float>(random(0, 6283)) / 1000.0f);
            }
    const uint32_t same = random(0, 3);
    const FloatPicture& d1 = same == 1 ? *first : same == 2 ? *second : *first_result;
    const FloatPicture& d2 = same == 1 ? *second : same == 2 ? *first : *second_result;
    const Floats a = first->content(), b = second->content();
    Floats expected_first, expected_second;
    for (size_t i = 0; i < a.size(); ++i) {
        const auto [one, two] = reference(a[i], b[i]);
        expected_first.push_back(one);
        expected_second.push_back(two);
    }
    const auto outside_first = d1.outside(), outside_second = d2.outside();
    ASSERT_EQ(convert(d1.data(), d2.data(), first->data(), second->data(), components, size.width,
                      size.pixels),
              QM_OK);
    ASSERT_EQ(comparable(d1.content()), comparable(expected_first));
    ASSERT_EQ(comparable(d2.content()), comparable(expected_second));
    ASSERT_EQ(d1.outside(), outside_first);
    ASSERT_EQ(d2.outside(), outside_second);
}

// ----- Shown -------------------------------------------------------------------------------------

uint64_t shown(float x, uint32_t bpc) {
    const float y = x + 0.5f, top = static_cast<float>((1 << bpc) - 1);
    if (y > top) return (uint64_t{1} << bpc) - 1;
    if (!(y >= -2147483648.0f)) return 0;
    return static_cast<uint64_t>(static_cast<int64_t>(y)) & (bpc == 8 ? 0xFF : 0xFFFF);
}

float near_a_level(Random& random, uint32_t bpc) {
    const float whole = static_cast<float>(random(0, (2u << bpc))) - 300;
    return whole + static_cast<float>(random(0, 8)) / 8 - 0.5f;
}

void check_shown(Round round, ExtractFloatKernel* kernel, uint32_t bpc, bool of_parts) {
    Random& random = round.random;
    const uint32_t components = random.components();
    const Size size = random.size(components);
    const auto shape = of_parts ? FloatPicture::kPacked : FloatPicture::kStrided;
    FloatPicture first(components, size, random, shape), second(components, size, random, shape);
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t i = 0; i < first.samples(); ++i)
            if (random(0, 1)) first.set(i, y, near_a_level(random, bpc));
    const GuardedPicture d({components, bpc == 8 ? 8u : 16u, bpc}, size, random);
    std::vector<uint64_t> expected;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t i = 0; i < first.samples(); ++i)
            expected.push_back(shown(
                of_parts ? to_polar(first.get(i, y), second.get(i, y)).first : first.get(i, y),
                bpc));
    const auto outside = d.outside();
    ASSERT_EQ(kernel(d.data(), components, d.stride(), bpc, first.data(),
                     of_parts ? second.data() : nullptr, components,
                     of_parts ? random.any() : first.stride(), size.width, size.pixels),
              of_parts ? QM_NO_KERNEL : QM_OK);
    ASSERT_EQ(d.content(), expected);
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

// ----- Loaded ------------------------------------------------------------------------------------

void check_loaded(Round round, ExtractToFloatKernel* kernel, uint32_t to, uint32_t bpc) {
    Random& random = round.random;
    const uint32_t components = std::max(random.components(), to), bits = bpc == 8 ? 8 : 16;
    const Size size = random.size(components);
    const bool in_words = to == 3 && bits == 16;  // where a stride is one of words
    const GuardedPicture s({components, bits, bpc}, size, random, in_words ? 2 : 1);
    const FloatPicture first(to == 1 ? 1 : components, size, random);
    Floats second(to * size.pixels + 8, 7.0f), cleared(second.size(), 0.0f);
    std::fill(cleared.end() - 8, cleared.end(), 7.0f);
    Floats expected;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            float sum = 0;
            for (uint32_t c = 0; c < components; ++c) {
                const auto sample = static_cast<float>(s.get(x * components + c, y));
                sum += sample;
                if (to == 3) expected.push_back(sample);
            }
            if (to == 1) expected.push_back(sum / static_cast<float>(components));
        }
    const auto outside = first.outside();
    ASSERT_EQ(
        kernel(first.data(), second.data(), to, first.stride(), s.data(),
               in_words ? s.stride() / 2 : s.stride(), bpc, components, size.width, size.pixels),
        QM_OK);
    ASSERT_EQ(first.content(), expected) << components << " x " << bpc << " to " << to;
    ASSERT_EQ(second, cleared);
    ASSERT_EQ(first.outside(), outside);
    round.digest.add(comparable(expected));
}

uint32_t any_depth(Round round) {
    return round.in_turn(std::vector<uint32_t>{8, 9, 10, 11, 8, 12, 13, 14, 15, 16});
}

std::vector<KernelCase> cases() {
    std::vector<KernelCase> all{
        {"CQmFloatPicMemAPI_Base::AmpnPhase_to_RealnImag",
         [](Round round) { check_conversion(round, Api::AmpnPhase_to_RealnImag, to_parts); }},
        {"CQmFloatPicMemAPI_Base::RealnImag_to_AmpnPhase",
         [](Round round) { check_conversion(round, Api::RealnImag_to_AmpnPhase, to_polar); }},
        {"CQmFloatPicMemAPI_Base::ExtractFloatAPtoRGB",
         [](Round round) {
             check_shown(round, Api::ExtractFloatAPtoRGB, any_depth(round), false);
         }},
        {"CQmFloatPicMemAPI_Base::ExtractFloatRItoRGB",
         [](Round round) { check_shown(round, Api::ExtractFloatRItoRGB, any_depth(round), true); }},
        {"CQmFloatPicMemAPI_Base::ExtractRGBtoFloatAP",
         [](Round round) {
             const uint32_t to = round.random.one_of({1u, 3u});
             check_loaded(round, Api::ExtractRGBtoFloatAP, to, any_depth(round));
         }},
        {"CQmFloatPicMemAPI_Base::ExtractRGBtoFloatRI", [](Round round) {
             const uint32_t to = round.random.one_of({1u, 3u});
             check_loaded(round, Api::ExtractRGBtoFloatRI, to, any_depth(round));
         }}};
    for (const auto& kernel : kExtractFloat)
        all.push_back({std::string(kernel.name), [=](Round round) {
                           const bool bytes = kernel.destination.bits == 8;
                           check_shown(round, kernel.run, bytes ? 8 : round.in_turn(depths(16)),
                                       false);
                       }});
    for (const auto& kernel : kExtractToFloat)
        all.push_back({std::string(kernel.name), [=](Round round) {
                           const bool bytes = kernel.source.bits == 8;
                           check_loaded(round, kernel.run, kernel.destination.components,
                                        bytes ? 8 : round.in_turn(depths(16)));
                       }});
    return all;
}

// ----- Entries -----------------------------------------------------------------------------------

const bool registered = add_cases(
    cases(),
    {{"CQmFloatPicMemAPI_Base::ExtractFloatAPtoRGB",
      [](const EntryCall& c) {
          std::vector<float> plane(kEntryStride * kEntryRows, 1.0f);
          return Api::ExtractFloatAPtoRGB(c.dst, c.components, c.stride, c.bpc, plane.data(),
                                          nullptr, c.components, c.stride, c.width, c.size);
      },
      bytes_and_words, true, false},
     {"CQmFloatPicMemAPI_Base::ExtractFloatRItoRGB",
      [](const EntryCall& c) {
          std::vector<float> plane(kEntryStride * kEntryRows, 1.0f);
          return Api::ExtractFloatRItoRGB(c.dst, c.components, c.stride, c.bpc, plane.data(),
                                          plane.data(), c.components, c.stride, c.width, c.size);
      },
      [](uint32_t, uint32_t) { return int{QM_NO_KERNEL}; }, true, false,
      [](uint32_t, uint32_t bpc) { return bpc >= 8 && bpc <= 16; }},
     {"CQmFloatPicMemAPI_Base::ExtractRGBtoFloatAP",
      [](const EntryCall& c) {
          std::vector<float> planes(2 * kEntryStride * kEntryRows, 1.0f);
          return Api::ExtractRGBtoFloatAP(planes.data(), planes.data() + kEntryStride * kEntryRows,
                                          c.components, c.stride, c.src, c.stride / 2, c.bpc,
                                          c.components, c.width, c.size);
      },
      [](uint32_t components, uint32_t bpc) {
          const bool has_kernel = (components == 1 || components == 3) && bpc >= 8 && bpc <= 16;
          return int{has_kernel ? QM_OK : QM_NO_KERNEL};
      },
      true, false}});

TEST(Complex, HasItsFourAxes) {
    const Floats real{1, -1, 0, 0, 0, -0.0f}, imaginary{0, 0, 1, -1, 0, 0};
    Floats amplitude(6, 9.0f), phase(6, 9.0f);
    EXPECT_EQ(Api::RealnImag_to_AmpnPhase(amplitude.data(), phase.data(), real.data(),
                                          imaginary.data(), 1, 6, 6),
              QM_OK);
    EXPECT_EQ(amplitude, (Floats{1, 1, 1, 1, 0, 0}));
    EXPECT_EQ(phase[0], 0.0f);
    EXPECT_EQ(std::bit_cast<uint32_t>(phase[1]), 0x40490FDAu);  // one below the nearest to pi
    EXPECT_EQ(std::bit_cast<uint32_t>(phase[2]), 0x3FC90FDBu);
    EXPECT_EQ(std::bit_cast<uint32_t>(phase[3]), 0x4096CBE3u);  // 6.283185 less that
    EXPECT_EQ(phase[4], 0.0f);
    EXPECT_EQ(phase[5], 0.0f);
}

TEST(Complex, ComesBackWithinRounding) {
    Floats real, imaginary;
    for (int i = 0; i < 1000; ++i) {
        const double angle = i * 2 * std::numbers::pi / 1000, size = 0.01 + i;
        real.push_back(static_cast<float>(size * std::cos(angle)));
        imaginary.push_back(static_cast<float>(size * std::sin(angle)));
    }
    Floats amplitude(1000), phase(1000), again_real(1000), again_imaginary(1000);
    Api::RealnImag_to_AmpnPhase(amplitude.data(), phase.data(), real.data(), imaginary.data(), 2,
                                25, 500);
    for (const float angle : phase) EXPECT_TRUE(angle >= 0 && angle < 6.2832f);
    Api::AmpnPhase_to_RealnImag(again_real.data(), again_imaginary.data(), amplitude.data(),
                                phase.data(), 2, 25, 500);
    for (size_t i = 0; i < 1000; ++i) {
        // Beside the axis of real numbers the arc cosine is steep.
        EXPECT_NEAR(again_real[i], real[i], 1e-5f * amplitude[i]);
        EXPECT_NEAR(again_imaginary[i], imaginary[i], 1e-3f * amplitude[i]);
    }
}

TEST(Complex, HasNoPhaseWhereTheSquaresUnderflow) {
    const float real = 1e-30f, imaginary = 1e-30f;
    float amplitude = 9, phase = 9;
    Api::RealnImag_to_AmpnPhase(&amplitude, &phase, &real, &imaginary, 1, 1, 1);
    EXPECT_EQ(amplitude, 0.0f);
    EXPECT_TRUE(std::isnan(phase));
}

TEST(Complex, LeavesAnIncompleteLastRowAlone) {
    const Floats a(10, 2.0f), p(10, 0.0f);
    Floats r(10, 9.0f), i(10, 9.0f);
    Api::AmpnPhase_to_RealnImag(r.data(), i.data(), a.data(), p.data(), 1, 4, 10);
    EXPECT_EQ(r, (Floats{2, 2, 2, 2, 2, 2, 2, 2, 9, 9}));
    EXPECT_EQ(i, (Floats{0, 0, 0, 0, 0, 0, 0, 0, 9, 9}));
}

TEST(Complex, IsANoOpOnAnEmptyAreaBeforeAnyTest) {
    for (const auto& [width, size] : {std::pair{0u, 1u}, std::pair{1u, 0u}}) {
        EXPECT_EQ(Api::AmpnPhase_to_RealnImag(nullptr, nullptr, nullptr, nullptr, 1, width, size),
                  QM_OK);
        EXPECT_EQ(Api::RealnImag_to_AmpnPhase(nullptr, nullptr, nullptr, nullptr, 1, width, size),
                  QM_OK);
        for (const auto show : {Api::ExtractFloatAPtoRGB, Api::ExtractFloatRItoRGB})
            EXPECT_EQ(show(nullptr, 1, 1, 17, nullptr, nullptr, 2, 4, width, size), QM_OK);
        for (const auto load : {Api::ExtractRGBtoFloatAP, Api::ExtractRGBtoFloatRI})
            EXPECT_EQ(load(nullptr, nullptr, 3, 1, nullptr, 1, 17, 1, width, size), QM_OK);
    }
}

TEST(ComplexShown, IsRoundedLimitedAboveAndWrapsBelow) {
    const Floats x{0.49f, 0.5f, 254.5f, 1e30f, -0.4f, -3.2f, -0.6f, kNan, -kInfinity, -1e30f};
    std::vector<uint8_t> d(10, 77);
    EXPECT_EQ(Api::ExtractFloatAPtoRGB(d.data(), 1, 10, 8, x.data(), nullptr, 1, 40, 10, 10),
              QM_OK);
    EXPECT_EQ(d, (std::vector<uint8_t>{0, 1, 255, 255, 0, 254, 0, 0, 0, 0}));
    std::vector<uint16_t> wide(10, 77);
    EXPECT_EQ(Api::ExtractFloatAPtoRGB(wide.data(), 1, 20, 12, x.data(), nullptr, 1, 40, 10, 10),
              QM_OK);
    EXPECT_EQ(wide, (std::vector<uint16_t>{0, 1, 255, 4095, 0, 65534, 0, 0, 0, 0}));
}

TEST(ComplexShown, RefusesDepthsAndCounts) {
    const float x = 5, y = 5;
    uint8_t d = 77;
    for (const uint32_t bpc : {0u, 7u, 17u, 32u})
        EXPECT_EQ(Api::ExtractFloatAPtoRGB(&d, 1, 1, bpc, &x, &y, 1, 4, 1, 1), QM_NO_KERNEL);
    for (const auto show : {Api::ExtractFloatAPtoRGB, Api::ExtractFloatRItoRGB}) {
        EXPECT_EQ(show(&d, 1, 1, 8, &x, &y, 3, 4, 1, 1), QM_REJECTED);
        EXPECT_EQ(show(&d, 3, 1, 17, &x, &y, 1, 4, 1, 1), QM_REJECTED);
    }
    EXPECT_EQ(d, 77);
}

TEST(ComplexShown, OfPartsIsWrittenAndSaysThatItIsNot) {
    const Floats real{3, 5, -8, 0}, imaginary{4, -12, 15, 300};
    uint8_t d[4] = {};
    EXPECT_EQ(Api::ExtractFloatRItoRGB(d, 2, 4, 8, real.data(), imaginary.data(), 2, 16, 2, 2),
              QM_NO_KERNEL);
    EXPECT_EQ(std::vector<uint8_t>(d, d + 4), (std::vector<uint8_t>{5, 13, 17, 255}));
    uint16_t wide[4] = {};
    EXPECT_EQ(Api::ExtractFloatRItoRGB(wide, 2, 4, 9, real.data(), imaginary.data(), 2, 16, 1, 2),
              QM_NO_KERNEL);
    EXPECT_EQ(std::vector<uint16_t>(wide, wide + 4), (std::vector<uint16_t>{5, 13, 17, 300}));
}

TEST(ComplexShown, OfPartsAllocatesNothing) {
    const Floats real(64, 3.0f);
    uint8_t d[64] = {};
    const Outcome outcome = with_failing(1, FailingAlloc::kFromThenOn, [&] {
        return Api::ExtractFloatRItoRGB(d, 1, 8, 8, real.data(), real.data(), 1, 32, 8, 64);
    });
    EXPECT_EQ(outcome.seen, 0u);
    EXPECT_EQ(d[63], 4);
}

TEST(ComplexLoaded, IsTheMeanOrAllComponents) {
    const uint8_t s[] = {10, 20, 40, 1, 2, 3};
    for (const auto load : {Api::ExtractRGBtoFloatAP, Api::ExtractRGBtoFloatRI}) {
        Floats first(6, 9.0f), second(7, 9.0f);
        EXPECT_EQ(load(first.data(), second.data(), 1, 8, s, 6, 8, 3, 2, 2), QM_OK);
        EXPECT_EQ(first, (Floats{70.0f / 3.0f, 2, 9, 9, 9, 9}));
        EXPECT_EQ(second, (Floats{0, 0, 9, 9, 9, 9, 9}));
        EXPECT_EQ(load(first.data(), second.data(), 3, 24, s, 6, 8, 3, 2, 2), QM_OK);
        EXPECT_EQ(first, (Floats{10, 20, 40, 1, 2, 3}));
        EXPECT_EQ(second, (Floats{0, 0, 0, 0, 0, 0, 9}));
    }
}

TEST(ComplexLoaded, ClearsTheSecondPlaneOfAnIncompleteLastRowToo) {
    const uint8_t s[] = {10, 20, 30, 40, 50};
    Floats first(6, 9.0f), second(6, 9.0f);
    EXPECT_EQ(Api::ExtractRGBtoFloatAP(first.data(), second.data(), 1, 12, s, 2, 8, 1, 2, 5),
              QM_OK);
    EXPECT_EQ(first, (Floats{10, 20, 9, 30, 40, 9}));  // with a gap
    EXPECT_EQ(second, (Floats{0, 0, 0, 0, 0, 9}));     // without
}

TEST(ComplexLoaded, CountsWordsInAStrideOfWordsOfThree) {
    std::vector<uint16_t> s(12);
    for (size_t i = 0; i < 12; ++i) s[i] = static_cast<uint16_t>(1000 + i);
    Floats first(6, 9.0f), second(6, 9.0f);
    EXPECT_EQ(
        Api::ExtractRGBtoFloatAP(first.data(), second.data(), 3, 12, s.data(), 4, 12, 3, 1, 2),
        QM_OK);
    EXPECT_EQ(first, (Floats{1000, 1001, 1002, 1004, 1005, 1006}));
    EXPECT_EQ(Api::ExtractRGBtoFloatAP(first.data(), second.data(), 1, 4, s.data(), 4, 12, 1, 1, 2),
              QM_OK);
    EXPECT_EQ(first[1], 1002);  // bytes
}

TEST(ComplexLoaded, RefusesDepthsAndCounts) {
    const uint16_t s[8] = {};
    Floats first(8, 9.0f), second(8, 9.0f);
    for (const auto load : {Api::ExtractRGBtoFloatAP, Api::ExtractRGBtoFloatRI}) {
        const auto code = [&](uint32_t to, uint32_t bpc, uint32_t from) {
            return load(first.data(), second.data(), to, 16, s, 16, bpc, from, 1, 1);
        };
        EXPECT_EQ(code(3, 8, 1), QM_REJECTED);
        EXPECT_EQ(code(3, 17, 2), QM_REJECTED);
        EXPECT_EQ(code(2, 8, 3), QM_NO_KERNEL);
        EXPECT_EQ(code(4, 8, 4), QM_NO_KERNEL);
        for (const uint32_t bpc : {1u, 7u, 17u, 32u}) EXPECT_EQ(code(1, bpc, 1), QM_NO_KERNEL);
    }
    EXPECT_EQ(first, Floats(8, 9.0f));
    EXPECT_EQ(second, Floats(8, 9.0f));
}

TEST(Complex, RunsInTheCallingThread) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    Floats a(3 * 4096), b = a, c = a, e = a;
    std::vector<uint16_t> s(3 * 4096);
    const WatchedRegions watched;
    Api::AmpnPhase_to_RealnImag(a.data(), b.data(), c.data(), e.data(), 3, 64, 4096);
    Api::RealnImag_to_AmpnPhase(a.data(), b.data(), c.data(), e.data(), 3, 64, 4096);
    for (const uint32_t bpc : {8u, 16u}) {
        Api::ExtractFloatRItoRGB(s.data(), 3, 384, bpc, a.data(), b.data(), 3, 768, 64, 4096);
        Api::ExtractFloatAPtoRGB(s.data(), 3, 384, bpc, a.data(), b.data(), 3, 768, 64, 4096);
        for (const uint32_t to : {1u, 3u})
            Api::ExtractRGBtoFloatAP(a.data(), b.data(), to, 768, s.data(), 192, bpc, 3, 64, 4096);
    }
    EXPECT_TRUE(watched.teams().empty());
}

}  // namespace
}  // namespace qmpic::test
