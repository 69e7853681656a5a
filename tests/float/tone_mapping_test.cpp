#include "qmpic/kernels/tone_mapping.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <vector>

#include "float/tone_mapping_kernels.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/float_picture.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmFloatPicMemAPI_Base;
using Floats = std::vector<float>;
using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint16_t>;

// ----- The curves, sample by sample --------------------------------------------------------------

struct Component {
    float low = 1e30f, high = 0;
    explicit Component(const Floats& samples) {
        for (const float x : samples) {
            if (x > high) high = x;
            if (x < low && x > 0.0) low = x;
        }
    }
};

/// The bits of a 32-bit integer, the processor's number for what does not fit.
uint32_t cut(double y) {
    if (!(y > -2147483649.0 && y < 2147483648.0)) return 0x80000000;
    return static_cast<uint32_t>(static_cast<int64_t>(y));
}

uint32_t top_of(uint32_t bits, uint32_t components) {
    if (bits == 8) return 255;
    return components > 31 ? 0xFFFFFFFF : (1u << components) - 1;
}

uint32_t drago(float x, const Component& of, uint32_t bits, uint32_t components) {
    const uint32_t top = top_of(bits, components);
    const float b = static_cast<float>(std::log(0.85) / std::log(0.5));
    const float unit = bits == 8 ? 2.55f : static_cast<float>(top * 0.01);
    const float scale = unit / log10f(of.high + 1.0f);
    const float numerator = logf(x + 1.0f) * scale;
    float y = numerator / logf(powf(x / of.high, b) * 8.0f + 2.0f);
    if (y > static_cast<float>(top)) y = static_cast<float>(top);
    if (y < 0.0f) y = 0.0f;
    return cut(y) & (bits == 8 ? 0xFF : 0xFFFF);
}

uint32_t tumblin(float x, const Component& of, uint32_t bits, uint32_t components) {
    const uint32_t top = top_of(bits, components);
    const float g = sqrtf(of.low * of.high);
    float steep;
    if (bits == 8)
        steep = static_cast<float>(double{of.high} * 0.11764705882352941 / double{of.low});
    else
        steep = static_cast<float>(30u / top) * of.high / of.low;
    const float p = (x / g * 0.5f + 0.5f) * steep;
    const float d = x * p - x + of.high;
    return cut(double{p} * double(top) * double{x} / double{d}) & 0xFF;
}

uint32_t tumblin_param(float x, const Component& of, uint32_t bits, uint32_t components,
                       uint32_t param) {
    const float p = static_cast<float>(param);
    const double k = double{p} * double(top_of(bits, components));
    const float d = x * p - x + of.high;
    return cut(double{x} * k / double{d}) & 0xFF;
}

using Reference = std::function<uint32_t(float, const Component&, uint32_t components)>;
using Run = std::function<int(void*, uint32_t stride, const float*, uint32_t width, uint32_t height,
                              uint32_t components)>;

/// Samples where the curve passes from one number to the next, and their neighbours.
void draw_steps(Floats& samples, const Reference& reference, uint32_t components, Random& random) {
    const Component of(samples);
    if (!(of.high > 0) || std::isinf(of.high)) return;
    for (float& x : samples) {
        if (random(0, 2) != 0 || x == of.high || x == of.low) continue;
        const uint32_t most = reference(of.high, of, components);
        if (most == 0) return;
        const uint32_t wanted = random(1, most);
        uint32_t below = 0, above = std::bit_cast<uint32_t>(of.high);
        while (above - below > 1) {
            const uint32_t middle = below + (above - below) / 2;
            const bool reached = reference(std::bit_cast<float>(middle), of, components) >= wanted;
            (reached ? above : below) = middle;
        }
        const uint32_t near = above + random(0, 60);
        if (near > 30) x = std::min(std::bit_cast<float>(near - 30), of.high);
    }
}

void draw_content(FloatPicture& picture, const Reference& reference, Random& random) {
    const uint32_t kind = random(0, 8);
    if (kind == 0) return;
    const uint32_t n = picture.components();
    for (uint32_t c = 0; c < n; ++c) {
        Floats samples;
        for (uint32_t y = 0; y < picture.size().height; ++y)
            for (uint32_t x = 0; x < picture.size().width; ++x) {
                float value = static_cast<float>(random(1, 65535));
                switch (kind) {
                case 1: value = value / 65535; break;
                case 2: value = value * 1e-9f; break;
                case 3: value = value * 1000.0f; break;
                case 4: value = -value; break;
                case 5: value = random(0, 3) == 0 ? value : 0.0f; break;
                case 6: value = std::pow(10.0f, value / 900 - 36); break;
                default: break;
                }
                if (kind > 5 && random(0, 9) == 0) value = draw_float(random);
                if (kind > 5 && !std::isfinite(value) && random(0, 3) != 0) value = 1;
                samples.push_back(value);
            }
        if (kind < 4 || kind > 6) draw_steps(samples, reference, n, random);
        size_t i = 0;
        for (uint32_t y = 0; y < picture.size().height; ++y)
            for (uint32_t x = 0; x < picture.size().width; ++x)
                picture.set(x * n + c, y, samples[i++]);
    }
}

/// `stride_bit`: the lowest bit of a stride, which words leave away.
void check(const Run& run, const Reference& reference, uint32_t bits, Round round) {
    Random& random = round.random;
    const uint32_t components =
        bits == 8 || random(0, 2) == 0 ? random.components() : random(1, 24);
    Size size = random.size(components);
    size.pixels = uint64_t{size.width} * size.height;
    FloatPicture s(components, size, random, FloatPicture::kPacked);
    draw_content(s, reference, random);
    GuardedPicture d({components, bits, bits}, size, random, bits / 8);

    std::vector<uint64_t> expected(d.content().size());
    const Floats all = s.content();
    for (uint32_t c = 0; c < components; ++c) {
        Floats samples;
        for (size_t i = c; i < all.size(); i += components) samples.push_back(all[i]);
        const Component of(samples);
        for (size_t i = c; i < all.size(); i += components)
            expected[i] = reference(all[i], of, components);
    }
    const auto outside = d.outside();
    const auto source = s.all_bits();
    // A bit more does not matter to words: their strides are even.
    const uint32_t stride = d.stride() + (bits == 16 && d.stride() % 2 == 0 ? random(0, 1) : 0);

    ASSERT_EQ(run(d.data(), stride, s.data(), size.width, size.height, components), QM_OK);

    const auto found = d.content();
    for (size_t i = 0; i < found.size(); ++i)
        ASSERT_EQ(found[i], expected[i]) << components << " components, sample " << i << ", "
                                         << all[i] << " of " << size.width << " x " << size.height;
    EXPECT_EQ(d.outside(), outside);
    EXPECT_EQ(s.all_bits(), source);
    round.digest.add(found);
}

template <class List>
void add_plain(std::vector<KernelCase>& all, const List& list, auto reference) {
    for (const auto& k : list)
        all.push_back({std::string(k.name),
                       [=](Round round) {
                           const uint32_t bits = k.source.bits;
                           const uint32_t bpc = round.random.any();  // which no kernel reads
                           check(
                               [&](void* d, uint32_t stride, const float* s, uint32_t width,
                                   uint32_t height, uint32_t components) {
                                   return k.run(d, bpc, stride, s, width, height, components);
                               },
                               [=](float x, const Component& of, uint32_t components) {
                                   return reference(x, of, bits, components);
                               },
                               bits, round);
                       },
                       40});
}

template <class List>
void add_param(std::vector<KernelCase>& all, const List& list, auto reference) {
    for (const auto& k : list)
        all.push_back(
            {std::string(k.name),
             [=](Round round) {
                 const uint32_t bits = k.source.bits;
                 const uint32_t bpc = round.random.any();
                 const uint32_t param =
                     round.random(0, 1)
                         ? round.random(0, 40)
                         : round.random.one_of({0u, 1u, 2u, 255u, 70000u, 16777217u, 0xFFFFFFFFu});
                 check(
                     [&](void* d, uint32_t stride, const float* s, uint32_t width, uint32_t height,
                         uint32_t components) {
                         return k.run(d, bpc, stride, s, width, height, components, param);
                     },
                     [=](float x, const Component& of, uint32_t components) {
                         return reference(x, of, bits, components, param);
                     },
                     bits, round);
             },
             40});
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    add_plain(all, kDrago, drago);
    add_param(all, kDragoParam,
              [](float x, const Component& of, uint32_t bits, uint32_t components, uint32_t) {
                  return drago(x, of, bits, components);
              });
    add_plain(all, kTumblin, tumblin);
    add_param(all, kTumblinParam, tumblin_param);
    return all;
}

EntryCase entry_case(std::string name, ToneKernel* entry) {
    return {std::move(name),
            [=](const EntryCall& c) {
                return entry(c.dst, c.bpc, c.stride, static_cast<const float*>(c.src), c.width,
                             static_cast<uint32_t>(c.size / c.width), c.components);
            },
            bytes_and_words, true, false};
}
EntryCase entry_case(std::string name, ToneParamKernel* entry) {
    return {std::move(name),
            [=](const EntryCall& c) {
                return entry(c.dst, c.bpc, c.stride, static_cast<const float*>(c.src), c.width,
                             static_cast<uint32_t>(c.size / c.width), c.components, 5);
            },
            bytes_and_words, true, false};
}

const bool registered =
    add_cases(kernel_cases(),
              {entry_case("CQmFloatPicMemAPI_Base::Map_Drago", Api::Map_Drago),
               entry_case("CQmFloatPicMemAPI_Base::MapParam_Drago", Api::MapParam_Drago),
               entry_case("CQmFloatPicMemAPI_Base::Map_Tumblin", Api::Map_Tumblin),
               entry_case("CQmFloatPicMemAPI_Base::MapParam_Tumblin", Api::MapParam_Tumblin)});

// ----- Entries -----------------------------------------------------------------------------------

template <class T, class... Param>
std::vector<T> mapped(int (*entry)(void*, uint32_t, uint32_t, const float*, uint32_t, uint32_t,
                                   uint32_t, Param...),
                      uint32_t bpc, const Floats& x, uint32_t components, Param... param) {
    std::vector<T> y(x.size(), 99);
    const auto width = static_cast<uint32_t>(x.size()) / components;
    const auto stride = static_cast<uint32_t>(x.size() * sizeof(T));
    EXPECT_EQ(entry(y.data(), bpc, stride, x.data(), width, 1, components, param...), QM_OK);
    return y;
}
constexpr uint32_t kParam1 = 1;

TEST(ToneMapping, TakesTheKernelsOfTheDepthAndNoOther) {
    const Floats x{0, 1, 50, 100};
    const auto try_all = [&](uint32_t bpc, void* y) {
        return std::vector<int>{Api::Map_Drago(y, bpc, 8, x.data(), 4, 1, 1),
                                Api::MapParam_Drago(y, bpc, 8, x.data(), 4, 1, 1, 3),
                                Api::Map_Tumblin(y, bpc, 8, x.data(), 4, 1, 1),
                                Api::MapParam_Tumblin(y, bpc, 8, x.data(), 4, 1, 1, 1)};
    };
    for (const uint32_t bpc : {0u, 1u, 7u, 17u, 24u, 32u, 264u}) {
        Words y(4, 0x7777);
        EXPECT_EQ(try_all(bpc, y.data()), std::vector<int>(4, QM_NO_KERNEL)) << bpc;
        EXPECT_EQ(y, Words(4, 0x7777));
    }
    for (uint32_t bpc = 8; bpc <= 16; ++bpc) {
        Words y(4, 0x7777);
        EXPECT_EQ(try_all(bpc, y.data()), std::vector<int>(4, QM_OK)) << bpc;
        if (bpc == 8) {
            EXPECT_EQ(y, (Words{0x0200, 0xFF7F, 0x7777, 0x7777}));  // bytes 0, 2, 127, 255
        } else {
            EXPECT_EQ(y, (Words{0, 0, 0, 1})) << bpc;  // the line from 0 to 1, whatever the depth
        }
    }
}

TEST(ToneMapping, DoesNothingWithNothing) {
    const Floats x(4, 1.0f);
    for (const uint32_t bpc : {8u, 16u}) {
        Words y(4, 0x7777);
        EXPECT_EQ(Api::Map_Drago(y.data(), bpc, 8, x.data(), 4, 1, 0), QM_OK);
        EXPECT_EQ(Api::Map_Tumblin(y.data(), bpc, 8, x.data(), 4, 1, 0), QM_OK);
        EXPECT_EQ(Api::MapParam_Tumblin(y.data(), bpc, 8, x.data(), 4, 1, 0, 2), QM_OK);
        EXPECT_EQ(Api::Map_Drago(y.data(), bpc, 8, x.data(), 0, 1, 1), QM_OK);
        EXPECT_EQ(Api::Map_Tumblin(y.data(), bpc, 8, x.data(), 4, 0, 1), QM_OK);
        EXPECT_EQ(Api::Map_Tumblin(y.data(), bpc, 8, nullptr, 4, 1, 1), QM_OK);
        EXPECT_EQ(Api::MapParam_Tumblin(nullptr, bpc, 8, x.data(), 4, 1, 1, 2), QM_OK);
        EXPECT_EQ(y, Words(4, 0x7777));
    }
}

TEST(ToneMapping, OfWordsLeavesTheLowestBitOfStridesAway) {
    const Floats x{1, 2, 3, 4};
    for (const uint32_t stride : {4u, 5u}) {
        Words y(4, 0x7777);
        EXPECT_EQ(Api::MapParam_Tumblin(y.data(), 16, stride, x.data(), 1, 2, 2, 1), QM_OK);
        // Components 1, 3 and 2, 4: T is 3, T * x / Lmax is 1, 3 and 1.5, 3.
        EXPECT_EQ(y, (Words{1, 1, 3, 3})) << stride;
    }
    Bytes bytes(8, 99);
    EXPECT_EQ(Api::MapParam_Tumblin(bytes.data(), 8, 5, x.data(), 1, 2, 2, 1), QM_OK);
    EXPECT_EQ(bytes, (Bytes{85, 127, 99, 99, 99, 255, 255, 99}));
}

// ----- Drago -------------------------------------------------------------------------------------

TEST(Drago, MakesTheBrightestSample2) {
    for (const float high : {0.5f, 1.0f, 100.0f, 4095.0f, 65535.0f, 1e6f, 1e20f})
        EXPECT_EQ(mapped<uint8_t>(Api::Map_Drago, 8, {0, high}, 1), (Bytes{0, 2})) << high;
}

// For Lmax 9 the scale is 2.55: at 0.9 ln 1.9 * 2.55 / ln(2 + 8 * 0.5828) is 0.864, at 2
// ln 3 * 2.55 / ln(2 + 8 * 0.7028) is 1.380, at 5 ln 6 * 2.55 / ln(2 + 8 * 0.8713) is 2.082.
TEST(Drago, FollowsItsFormula) {
    EXPECT_EQ(mapped<uint8_t>(Api::Map_Drago, 8, {0.9f, 2, 5, 9}, 1), (Bytes{0, 1, 2, 2}));
}

TEST(Drago, DoesNotReadItsParameter) {
    Random random(3);
    Floats x(3000);
    for (float& value : x) value = draw_float(random);
    const auto expected = mapped<uint8_t>(Api::Map_Drago, 8, x, 3);
    const auto words = mapped<uint16_t>(Api::Map_Drago, 12, x, 3);
    for (const uint32_t param : {0u, 1u, 85u, 0xFFFFFFFFu}) {
        EXPECT_EQ(mapped<uint8_t>(Api::MapParam_Drago, 8, x, 3, param), expected);
        EXPECT_EQ(mapped<uint16_t>(Api::MapParam_Drago, 12, x, 3, param), words);
    }
}

TEST(Drago, HasATopByTheNumberOfComponentsInWords) {
    // Of n components Lmax becomes (2^n - 1) / 100: 0 up to six, 1.27, 2.55, 5.11, 655.35.
    for (const auto& [components, value] : std::vector<std::pair<uint32_t, uint16_t>>{
             {1, 0}, {3, 0}, {6, 0}, {7, 1}, {8, 2}, {9, 5}, {16, 655}}) {
        const Floats x(components, 40.0f);
        EXPECT_EQ(mapped<uint16_t>(Api::Map_Drago, 16, x, components), Words(components, value))
            << components;
    }
    // 2^32 - 1 from 32 on: 42949673 of which the low 16 bits are 23593, near which rounding leaves
    // it.
    for (const uint32_t components : {32u, 33u, 40u})
        EXPECT_NEAR(mapped<uint16_t>(Api::Map_Drago, 16, Floats(components, 40.0f), components)[0],
                    23593, 24)
            << components;
}

TEST(Drago, MakesNumbersThatAreNone0) {
    EXPECT_EQ(mapped<uint8_t>(Api::Map_Drago, 8, {kNan, -0.5f, -1, -3, -kInfinity, 9}, 1),
              (Bytes{0, 0, 0, 0, 0, 2}));
    EXPECT_EQ(mapped<uint8_t>(Api::Map_Drago, 8, {kInfinity, 9, 0}, 1), (Bytes{0, 0, 0}));
    EXPECT_EQ(mapped<uint8_t>(Api::Map_Drago, 8, {-1, -2, 0, kNan}, 1), (Bytes{0, 0, 0, 0}));
    // So near 0 that nothing is left of it beside 1.
    EXPECT_EQ(mapped<uint8_t>(Api::Map_Drago, 8, {1e-8f, 2e-8f}, 1), (Bytes{0, 0}));
}

// The curve of a great Lmax has its top below it: at 1e20 of 1e30 it is
// 46.05 * 0.085 / ln(2.0362) = 5.51.
TEST(Drago, FallsTowardAGreatMaximum) {
    EXPECT_EQ(mapped<uint8_t>(Api::Map_Drago, 8, {1e20f, 1e29f, 1e30f}, 1), (Bytes{5, 2, 2}));
}

/// All magnitudes of the greatest sample, and samples of all magnitudes beside it.
TEST(Drago, IsTheScalarFormulaForEveryMagnitude) {
    Random random(11);
    for (const float high :
         {1e-38f,   1e-8f,    6e-8f,  1.2e-7f, 1e-6f,   1e-4f,    0.01f,    0.5f,
          1.0f,     7.3f,     100.0f, 255.0f,  4095.0f, 20000.0f, 65534.0f, 65535.0f,
          65536.0f, 70000.0f, 2e5f,   1e6f,    1e9f,    1e15f,    1e30f,    FLT_MAX})
        for (const uint32_t bits : {8u, 16u}) {
            const uint32_t components = bits == 8 ? 1 : 8;  // a top of 255 both
            Floats samples(1200);
            const uint32_t top = std::bit_cast<uint32_t>(high);
            for (float& x : samples) {
                x = random(0, 1) ? high * (static_cast<float>(random(0, 1 << 20)) / (1 << 20))
                                 : std::bit_cast<float>(random(0, top));
                x = std::min(x, high);
            }
            samples[7] = high;
            draw_steps(
                samples,
                [=](float x, const Component& of, uint32_t) { return drago(x, of, bits, 8); }, 1,
                random);
            const Component of(samples);
            Floats all(samples.size() * components, 3.0f);
            for (size_t i = 0; i < samples.size(); ++i) all[i * components] = samples[i];
            for (const Level level : levels()) {
                const ForcedLevel forced(level);
                const auto check_all = [&](const auto& y) {
                    for (size_t i = 0; i < samples.size(); ++i)
                        ASSERT_EQ(y[i * components], drago(samples[i], of, bits, components))
                            << samples[i] << " of " << high << ", " << name_of(level);
                };
                if (bits == 8)
                    check_all(mapped<uint8_t>(Api::Map_Drago, 8, all, components));
                else
                    check_all(mapped<uint16_t>(Api::Map_Drago, 16, all, components));
                if (HasFatalFailure()) return;
            }
        }
}

// ----- Tumblin -----------------------------------------------------------------------------------

// Lmin 1, Lmax 100: G is 10, P is 11.7647. At 100 p is 64.7 and D is 6470.6: 255 exactly. At 1
// p = 0.55 * 11.7647 = 6.4706, D = 105.4706: 15.64. At 10 p = 11.7647, D = 207.647: 144.48.
TEST(Tumblin, FollowsItsFormula) {
    EXPECT_EQ(mapped<uint8_t>(Api::Map_Tumblin, 8, {0, 1, 10, 100}, 1), (Bytes{0, 15, 144, 255}));
}

TEST(Tumblin, WrapsBelow0) {  // p = 5.294, D = 95.71: -14.1 is byte 242, also in a word
    EXPECT_EQ(mapped<uint8_t>(Api::Map_Tumblin, 8, {1, 100, -1}, 1), (Bytes{15, 255, 242}));
    // Of eight components T is 255 too; 30 / 255 is 0 there, and p with it. With p given it is
    // -255 / 100: byte 254.
    Floats x(24, 1.0f);
    x[8] = 100, x[16] = -1;
    const Words y = mapped<uint16_t>(Api::MapParam_Tumblin, 16, x, 8, kParam1);
    EXPECT_EQ(y[0], 2);
    EXPECT_EQ(y[8], 255);
    EXPECT_EQ(y[16], 254);
}

TEST(Tumblin, StoresTheLowByteInWords) {
    // Ten components have a T of 1023: 1023 * x / 100.
    Floats x(20, 100.0f);
    x[10] = 60;
    const Words y = mapped<uint16_t>(Api::MapParam_Tumblin, 16, x, 10, kParam1);
    EXPECT_EQ(y[0], 1023 & 255);
    EXPECT_EQ(y[10], 613 & 255);
}

TEST(Tumblin, DividesWholeNumbersForItsSteepnessInWords) {
    // At x = Lmin = Lmax p is 30 / T: 30 of one component, 10, 4, 2; y is T. From five on p is 0.
    for (const auto& [components, value] : std::vector<std::pair<uint32_t, uint16_t>>{
             {1, 1}, {2, 3}, {3, 7}, {4, 15}, {5, 0}, {6, 0}, {32, 0}, {40, 0}})
        EXPECT_EQ(mapped<uint16_t>(Api::Map_Tumblin, 16, Floats(components, 8.0f), components),
                  Words(components, value))
            << components;
    // Of three components 4 is the quotient: with Lmin 1 and Lmax 4 G is 2 and P 16; at 1 p is
    // 0.75 * 16 = 12, D = 12 - 1 + 4 = 15, and 12 * 7 / 15 is 5.6.
    EXPECT_EQ(mapped<uint16_t>(Api::Map_Tumblin, 16, {1, 1, 1, 4, 4, 4}, 3),
              (Words{5, 5, 5, 7, 7, 7}));
}

TEST(Tumblin, OfAParameterOf1IsAStraightLine) {
    Floats x(256);
    for (size_t i = 0; i < 256; ++i) x[i] = static_cast<float>(2 * i);
    const Bytes y = mapped<uint8_t>(Api::MapParam_Tumblin, 8, x, 1, kParam1);
    for (size_t i = 0; i < 256; ++i) EXPECT_EQ(y[i], i) << i;
}

TEST(Tumblin, OfAParameterOf0Is0) {  // at Lmax 0 / 0
    EXPECT_EQ(mapped<uint8_t>(Api::MapParam_Tumblin, 8, {0, 1, 50, 100, -3}, 1, 0u), Bytes(5, 0));
}

// p 4: D = 3 x + 100, y = 1020 x / D: 1020 / 103 = 9.9, 51000 / 250 = 204.
TEST(Tumblin, TakesItsParameterForAllSamples) {
    EXPECT_EQ(mapped<uint8_t>(Api::MapParam_Tumblin, 8, {1, 50, 100}, 1, 4u), (Bytes{9, 204, 255}));
}

TEST(Tumblin, OfNothingAbove0Is0) {  // G 0, divisions by 0, NaNs: the low byte of 0x80000000
    EXPECT_EQ(mapped<uint8_t>(Api::Map_Tumblin, 8, {0, 0, 0}, 1), Bytes(3, 0));
    EXPECT_EQ(mapped<uint8_t>(Api::MapParam_Tumblin, 8, {0, 0, 0}, 1, 5u), Bytes(3, 0));
    EXPECT_EQ(mapped<uint16_t>(Api::Map_Tumblin, 16, {0, kNan, 0}, 1), Words(3, 0));
}

// Lmax is 0 of negative samples: x * p / (x * p - x) * 255 = 255 * p / (p - 1).
TEST(Tumblin, OfNegativeSamplesHasAMaximumOf0) {
    EXPECT_EQ(mapped<uint8_t>(Api::MapParam_Tumblin, 8, {-8, -2}, 1, 3u),
              Bytes(2, 382 & 255));  // 382.5
}

TEST(ToneMapping, LooksAtPositiveSamplesForItsExtremes) {
    // Zeros, NaNs and negative samples change nothing: Lmin 1 and Lmax 100 as above.
    const Bytes y = mapped<uint8_t>(Api::Map_Tumblin, 8, {0, kNan, -0.0f, -1000, 1, 10, 100}, 1);
    EXPECT_EQ(Bytes(y.begin() + 4, y.end()), (Bytes{15, 144, 255}));
    // Each component has its own.
    EXPECT_EQ(mapped<uint8_t>(Api::MapParam_Tumblin, 8, {10, 1, 5, 4}, 2, kParam1),
              (Bytes{255, 63, 127, 255}));
}

TEST(ToneMapping, FindsExtremesWhereverTheyStand) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (size_t at = 0; at < 200; ++at) {
            Floats x(200, 10.0f);
            x[at] = 100;
            EXPECT_EQ(mapped<uint8_t>(Api::MapParam_Tumblin, 8, x, 1, kParam1)[(at + 1) % 200], 25)
                << at;
            x[at] = 1;  // P is 10 * 30 / 255, G is 3.16: p at 10 is 2.45, and at 10 y is 255
            // At the least 0.66 * 1.176 = 0.774 and D = 9.774: 20.2.
            EXPECT_EQ(mapped<uint8_t>(Api::Map_Tumblin, 8, x, 1)[at], 20) << at;
        }
    }
}

TEST(ToneMapping, RunsInTheCallingThreadAndAllocatesNothing) {
    Floats x(4096, 5.0f);
    Words y(4096);
    const auto all = [&] {
        for (const uint32_t bpc : {8u, 16u}) {
            Api::Map_Drago(y.data(), bpc, 2, x.data(), 1, 4096, 1);
            Api::MapParam_Drago(y.data(), bpc, 2, x.data(), 1, 4096, 1, 1);
            Api::Map_Tumblin(y.data(), bpc, 2, x.data(), 1, 4096, 1);
            Api::MapParam_Tumblin(y.data(), bpc, 2, x.data(), 1, 4096, 1, 1);
        }
        return QM_OK;
    };
    if (FailingAlloc::kWorks) {
        EXPECT_EQ(with_failing(0, FailingAlloc::kOnce, all).seen, 0u);
    }
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    const WatchedRegions regions;
    all();
    EXPECT_TRUE(regions.teams().empty());
}

}  // namespace
}  // namespace qmpic::test
