#include "qmpic/kernels/correlation.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <vector>

#include "analysis/correlation_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/float_picture.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;
using Doubles = std::vector<double>;

/// Which NaN comes out is the processor's choice.
uint64_t comparable(double value) {
    return std::isnan(value) ? 0x7FF8ull << 48 : std::bit_cast<uint64_t>(value);
}

/// One component: the samples of both pictures in the order of the pixels. Does it count?
bool correlate(const Doubles& a, const Doubles& b, double n, double& r) {
    double s1 = 0, s2 = 0, q1 = 0, q2 = 0, p = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        s1 += a[i];
        s2 += b[i];
        q1 += a[i] * a[i];
        q2 += b[i] * b[i];
        p += a[i] * b[i];
    }
    const double v = (q2 - s2 * s2 / n) * (q1 - s1 * s1 / n);
    if (!(v > 0)) return false;
    r = (p - s2 * s1 / n) / std::sqrt(v);
    return true;
}

/// `sample_a(x, y, c)` and `sample_b` give samples, `takes_part(c)` says which components count.
template <class A, class B, class Takes>
double mean_correlation(Size size, uint32_t components, A sample_a, B sample_b, Takes takes_part) {
    double sum = 0, count = 0;
    for (uint32_t c = 0; c < components; ++c) {
        if (!takes_part(c)) continue;
        Doubles a, b;
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t x = 0; x < size.width; ++x) {
                a.push_back(sample_a(x, y, c));
                b.push_back(sample_b(x, y, c));
            }
        double r;
        if (!correlate(a, b, static_cast<double>(size.pixels), r)) continue;
        sum += r;
        count += 1;
    }
    const double mean = count > 0 ? sum / count : 0;
    return mean < 0 ? 0 : mean;
}

/// Content that correlates somewhat, so that results are not all 0; and constants.
void draw_content(GuardedPicture& a, GuardedPicture& b, Random& random) {
    const uint32_t kind = random(0, 5);
    if (kind < 2) return;  // any bits, unrelated
    const uint64_t max = kind == 2 ? a.format().max() : std::min<uint64_t>(a.format().max(), 4095);
    a.keep_below(max, random);
    b.keep_below(std::min(max, b.format().max()), random);
    const uint32_t components = a.format().components;
    for (uint32_t y = 0; y < a.size().height; ++y)
        for (uint32_t i = 0; i < a.samples(); ++i) {
            if (random(0, 2) == 0) b.set(i, y, a.get(i, y));
            if (kind == 5 && i % components % 2 == 0) a.set(i, y, 7);
        }
}

std::vector<uint64_t> draw_mask(uint32_t components, Random& random) {
    std::vector<uint64_t> mask;
    for (uint32_t c = 0; c < components; c += 64) {
        const uint64_t high = random.any(), low = random.any();
        const uint32_t kind = random(0, 3);
        mask.push_back(kind == 0 ? 0 : kind == 1 ? ~0ull : high << 32 | low);
    }
    return mask;
}

struct Arguments {
    const void* a;
    uint32_t stride_a;
    const void* b;
    uint32_t stride_b, components;
    Size size;
    const uint64_t* mask;
};
using Run = std::function<int(const Arguments&, double& result)>;

void check(const Run& run, uint32_t known, uint32_t bits_a, uint32_t bits_b, Round round) {
    Random& random = round.random;
    const uint32_t components = known != 0 ? known : random.components();
    const Size size = random.size(components);
    GuardedPicture a({components, bits_a, round.in_turn(depths(bits_a))}, size, random);
    GuardedPicture b({components, bits_b, round.in_turn(depths(bits_b))}, size, random);
    draw_content(a, b, random);
    const auto bits = draw_mask(components, random);
    const uint64_t* const mask = known != 0 || random(0, 2) == 0 ? nullptr : bits.data();
    const double expected = mean_correlation(
        size, components,
        [&](uint32_t x, uint32_t y, uint32_t c) {
            return static_cast<double>(a.get(x * components + c, y));
        },
        [&](uint32_t x, uint32_t y, uint32_t c) {
            return static_cast<double>(b.get(x * components + c, y));
        },
        [&](uint32_t c) { return mask == nullptr || (mask[c / 64] >> c % 64) % 2 == 1; });
    double result = -7;
    ASSERT_EQ(run({a.data(), a.stride(), b.data(), b.stride(), components, size, mask}, result),
              QM_OK);
    ASSERT_EQ(comparable(result), comparable(expected))
        << result << ", not " << expected << ": " << size.width << " x " << size.height << " x "
        << components;
    round.digest.add(comparable(result));
}

void check_floats(Round round) {
    Random& random = round.random;
    const uint32_t components = random.components();
    const Size size = random.size(components);
    FloatPicture a(components, size, random), b(components, size, random);
    if (random(0, 2) != 0)  // numbers that do not drown each other
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t i = 0; i < a.samples(); ++i) {
                const auto first = static_cast<float>(random(0, 99999)) / 7.0f - 3000.0f;
                const auto second = static_cast<float>(random(0, 99999)) / 9.0f;
                a.set(i, y, first);
                b.set(i, y, random(0, 1) == 0 ? first : second);
            }
    const auto bits = draw_mask(components, random);
    const uint64_t* const mask = random(0, 1) == 0 ? nullptr : bits.data();
    const double expected = mean_correlation(
        size, components,
        [&](uint32_t x, uint32_t y, uint32_t c) { return a.get(x * components + c, y); },
        [&](uint32_t x, uint32_t y, uint32_t c) { return b.get(x * components + c, y); },
        [&](uint32_t c) { return mask == nullptr || (mask[c / 64] >> c % 64) % 2 == 1; });
    double result = -7;
    ASSERT_EQ(linar_correlation_Nx32(a.data(), a.stride(), b.data(), b.stride(), components,
                                     size.width, static_cast<uint32_t>(size.pixels), result, mask),
              QM_OK);
    ASSERT_EQ(comparable(result), comparable(expected)) << result << ", not " << expected;
    round.digest.add(comparable(result));
}

template <class Kernel>
Run run_known(Kernel* kernel) {
    return [=](const Arguments& c, double& result) {
        return kernel(c.a, c.stride_a, c.b, c.stride_b, c.size.width,
                      static_cast<uint32_t>(c.size.pixels), result);
    };
}
template <class Kernel>
Run run_any(Kernel* kernel) {
    return [=](const Arguments& c, double& result) {
        return kernel(c.a, c.stride_a, c.b, c.stride_b, c.components, c.size.width,
                      static_cast<uint32_t>(c.size.pixels), result, c.mask);
    };
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    const auto add = [&](std::string_view name, Run run, Layout first, uint32_t second) {
        all.push_back({std::string(name), [=](Round round) {
                           check(run, first.components, first.bits, second, round);
                       }});
    };
    for (const auto& k : kCorrelation) add(k.name, run_known(k.run), k.source, k.source.bits);
    for (const auto& k : kMixedCorrelation) add(k.name, run_known(k.run), k.source, 16);
    for (const auto& k : kMixedCorrelationN) add(k.name, run_any(k.run), k.source, 16);
    for (const auto& k : kCorrelationN)
        if (k.source.bits != 32) add(k.name, run_any(k.run), k.source, k.source.bits);
    all.push_back({"linar_correlation_Nx32", check_floats, 96});
    return all;
}

int documented(uint32_t /*components*/, uint32_t bpc) {
    return bpc <= 16 || bpc == 32 ? QM_OK : QM_NO_KERNEL;
}

const bool registered =
    add_cases(kernel_cases(), {{"CQmPicMemAPI_Base::LinearCorrelation",
                                [](const EntryCall& c) {
                                    double result;
                                    return Api::LinearCorrelation(
                                        c.src, c.stride, c.dst, c.stride, c.components, c.bpc,
                                        c.width, static_cast<uint32_t>(c.size), result, nullptr);
                                },
                                documented, false, false}});

// ----- Worked numbers ----------------------------------------------------------------------------

using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint16_t>;
constexpr double kUntouched = -7;

/// One row of pixels.
template <class T>
double correlation(const std::vector<T>& a, const std::vector<T>& b, uint32_t components,
                   uint32_t bpc, const uint64_t* mask = nullptr) {
    double result = kUntouched;
    const auto width = static_cast<uint32_t>(a.size() / components);
    EXPECT_EQ(Api::LinearCorrelation(a.data(), 0, b.data(), 0, components, bpc, width, width,
                                     result, mask),
              QM_OK);
    return result;
}

TEST(LinearCorrelation, IsPearsonsCoefficient) {
    // P - S2 * S1 / n is 17 - 14, V is (21 - 49 / 3) * (14 - 12) = 28 / 3.
    const double expected = 3 / std::sqrt(28.0 / 3);
    EXPECT_NEAR(correlation<uint8_t>({1, 2, 3}, {1, 2, 4}, 1, 8), expected, 1e-15);
    EXPECT_NEAR(correlation<uint16_t>({1, 2, 3}, {1, 2, 4}, 1, 12), expected, 1e-15);
    EXPECT_NEAR(correlation<float>({1, 2, 3}, {1, 2, 4}, 1, 32), expected, 1e-15);
    EXPECT_NEAR(expected, 0.98198, 1e-5);
}

TEST(LinearCorrelation, OfAPictureWithItselfIsOne) {
    Random random(5);
    for (const uint32_t components : {1u, 2u, 3u, 70u}) {
        Bytes bytes(components * 300);
        Words words(components * 300);
        std::vector<float> floats(components * 300);
        for (uint8_t& v : bytes) v = static_cast<uint8_t>(random.any());
        for (uint16_t& v : words) v = static_cast<uint16_t>(random.any());
        for (float& v : floats) v = static_cast<float>(random(0, 1000)) / 8;
        EXPECT_NEAR(correlation(bytes, bytes, components, 8), 1, 1e-12);
        EXPECT_NEAR(correlation(words, words, components, 16), 1, 1e-12);
        EXPECT_NEAR(correlation(floats, floats, components, 32), 1, 1e-12);
    }
}

TEST(LinearCorrelation, OfAPictureWithItsNegativeIsZero) {
    Bytes a, b;
    for (int i = 0; i < 100; ++i) {
        a.push_back(static_cast<uint8_t>(i * 37 % 251));
        b.push_back(static_cast<uint8_t>(255 - a.back()));
    }
    EXPECT_EQ(correlation(a, b, 1, 8), 0.0);
    EXPECT_EQ(correlation(a, b, 2, 8), 0.0);
    EXPECT_EQ(correlation<uint8_t>({1, 2, 3}, {3, 2, 1}, 1, 8), 0.0);
    EXPECT_EQ(correlation<float>({1, 2, 3}, {-1, -2, -3}, 1, 32), 0.0);
}

TEST(LinearCorrelation, OfAConstantIsZero) {
    EXPECT_EQ(correlation<uint8_t>({5, 5, 5}, {1, 2, 3}, 1, 8), 0.0);
    EXPECT_EQ(correlation<uint16_t>({1, 2, 3}, {500, 500, 500}, 1, 12), 0.0);
}

TEST(LinearCorrelation, IsTheMeanOverTheComponentsThatCount) {
    // Component 0 is 1, component 1 constant, component 2 is 0.5: 3, 1, 2 with 1, 2, 3 is -0.5.
    const Bytes a{1, 9, 1, 2, 9, 2, 3, 9, 3}, b{1, 1, 2, 2, 2, 1, 3, 3, 3};
    EXPECT_NEAR(correlation(a, b, 3, 8), 0.75, 1e-15);
    // Two of three at -1, one at 1: the mean is negative, although not all of them are.
    const Bytes c{1, 1, 1, 2, 2, 2, 3, 3, 3}, d{3, 1, 3, 2, 2, 2, 1, 3, 1};
    EXPECT_EQ(correlation(c, d, 3, 8), 0.0);
    // -1 takes part in a mean above 0.
    const Bytes e{1, 1, 1, 2, 2, 2, 3, 3, 3}, f{3, 1, 1, 2, 2, 2, 1, 3, 3};
    EXPECT_NEAR(correlation(e, f, 3, 8), 1.0 / 3, 1e-15);
}

TEST(LinearCorrelation, TakesTheComponentsOfTheMask) {
    const Bytes a{1, 9, 1, 2, 9, 2, 3, 9, 3}, b{1, 1, 2, 2, 2, 1, 3, 3, 3};
    for (const auto& [mask, expected] : std::vector<std::pair<uint64_t, double>>{
             {1, 1}, {2, 0}, {4, 0.5}, {5, 0.75}, {7, 0.75}, {8, 0}, {0, 0}})
        EXPECT_NEAR(correlation(a, b, 3, 8, &mask), expected, 1e-15) << mask;
    const Bytes one_a{1, 2, 3}, one_b{1, 2, 4};
    const uint64_t none = ~1ull;
    EXPECT_EQ(correlation(one_a, one_b, 1, 8, &none), 0.0) << "masks count for one component, too";
}

TEST(LinearCorrelation, FindsComponent64InTheSecondWordOfTheMask) {
    Bytes a(65 * 3, 4), b(65 * 3, 4);
    for (size_t x = 0; x < 3; ++x) {
        a[x * 65 + 64] = b[x * 65 + 64] = static_cast<uint8_t>(x);
        a[x * 65] = static_cast<uint8_t>(x), b[x * 65] = static_cast<uint8_t>(3 - x);
    }
    const uint64_t second[] = {0, 1}, first[] = {1, 0};
    EXPECT_NEAR(correlation(a, b, 65, 8, second), 1, 1e-15);
    EXPECT_EQ(correlation(a, b, 65, 8, first), 0.0);
}

TEST(LinearCorrelation, DividesByTheSizeThatItIsTold) {  // although row 1 is incomplete
    const Bytes a{1, 2, 3, 99}, b{1, 2, 4, 99};
    double result;
    EXPECT_EQ(linar_correlation_1x8(a.data(), 3, b.data(), 3, 3, 4, result), QM_OK);
    EXPECT_NEAR(result, (17 - 42.0 / 4) / std::sqrt((21 - 49.0 / 4) * (14 - 36.0 / 4)), 1e-15);
}

TEST(LinearCorrelation, OfNoPixelsIsRefusedWithAResultOfZero) {
    const uint8_t s[12] = {};
    for (const auto& k : kCorrelation) {
        double result = kUntouched;
        EXPECT_EQ(k.run(s, 1, s, 1, 1, 0, result), QM_REJECTED) << k.name;
        EXPECT_EQ(result, 0.0) << k.name;
    }
    for (const auto& k : kCorrelationN) {
        double result = kUntouched;
        EXPECT_EQ(k.run(s, 1, s, 1, 2, 1, 0, result, nullptr), QM_REJECTED) << k.name;
        EXPECT_EQ(result, 0.0) << k.name;
    }
    for (const uint32_t bpc : {8u, 12u, 32u}) {
        double result = kUntouched;
        EXPECT_EQ(Api::LinearCorrelation(s, 1, s, 1, 1, bpc, 1, 0, result, nullptr), QM_REJECTED);
        EXPECT_EQ(result, 0.0);
    }
}

TEST(LinearCorrelation, OfNoWidthOrNoComponentsIsZero) {
    const uint8_t s[12] = {1, 2, 3};
    double result = kUntouched;
    EXPECT_EQ(Api::LinearCorrelation(s, 3, s, 3, 1, 8, 0, 3, result, nullptr), QM_OK);
    EXPECT_EQ(result, 0.0);
    result = kUntouched;
    EXPECT_EQ(Api::LinearCorrelation(s, 3, s, 3, 0, 8, 3, 3, result, nullptr), QM_OK);
    EXPECT_EQ(result, 0.0);
}

TEST(LinearCorrelation, LeavesTheResultOfDepthsAndMemoryThatItDoesNotTake) {
    const uint8_t s[12] = {1, 2, 3};
    double result = kUntouched;
    for (const uint32_t bpc : {17u, 24u, 25u, 31u, 33u, 64u}) {
        EXPECT_EQ(Api::LinearCorrelation(s, 3, s, 3, 1, bpc, 3, 3, result, nullptr), QM_NO_KERNEL);
        EXPECT_EQ(Api::LinearCorrelation(s, 3, s, 3, 1, bpc, 3, 0, result, nullptr), QM_NO_KERNEL);
    }
    EXPECT_EQ(Api::LinearCorrelation(nullptr, 3, s, 3, 1, 8, 3, 3, result, nullptr), QM_OK);
    EXPECT_EQ(Api::LinearCorrelation(s, 3, nullptr, 3, 3, 12, 1, 1, result, nullptr), QM_OK);
    EXPECT_EQ(result, kUntouched);
}

TEST(LinearCorrelation, ReadsBytesUpTo8Bits) {
    const Bytes a{1, 2, 3}, b{1, 2, 4};
    for (uint32_t bpc = 0; bpc <= 8; ++bpc) EXPECT_GT(correlation(a, b, 1, bpc), 0.98) << bpc;
}

TEST(LinearCorrelationOfTwoDepths, OfOneStorageIsThatOfTheFirst) {
    const Words a{1, 512, 300}, b{1, 700, 256};
    double found, expected;
    for (const auto& [bpc_a, bpc_b] : std::vector<std::pair<uint32_t, uint32_t>>{
             {9, 16}, {16, 9}, {12, 12}, {8, 0}, {1, 8}, {7, 7}}) {
        EXPECT_EQ(
            Api::LinearCorrelation(a.data(), 6, bpc_a, b.data(), 6, bpc_b, 1, 3, 3, found, nullptr),
            QM_OK);
        EXPECT_EQ(
            Api::LinearCorrelation(a.data(), 6, b.data(), 6, 1, bpc_a, 3, 3, expected, nullptr),
            QM_OK);
        EXPECT_EQ(found, expected) << bpc_a << ", " << bpc_b;
    }
}

// Each picture with the stride of its own; of the wider one the first half of each row is read.
TEST(LinearCorrelationOfTwoDepths, ReadsTheWiderPictureAsBytes) {
    Random random(3);
    const uint64_t masks[3] = {0x5, ~0ull, 1};
    for (const uint32_t components : {1u, 2u, 3u, 65u})
        for (const uint64_t* const mask : {static_cast<const uint64_t*>(nullptr), masks}) {
            const uint32_t width = 50, rows = 3, narrow = width * components + 5,
                           wide = 2 * width * components + 3;
            Bytes a(narrow * rows), b(wide * rows);
            for (uint8_t& v : a) v = static_cast<uint8_t>(random.any());
            for (uint32_t y = 0; y < rows; ++y)
                for (uint32_t i = 0; i < wide; ++i) {
                    const bool same = i < width * components && random(0, 1) == 0;
                    const auto any = static_cast<uint8_t>(random.any());
                    b[y * wide + i] = same ? a[y * narrow + i] : any;
                }
            double expected, found, swapped;
            EXPECT_EQ(Api::LinearCorrelation(a.data(), narrow, b.data(), wide, components, 8, width,
                                             width * rows, expected, mask),
                      QM_OK);
            EXPECT_GT(expected, 0.1);
            EXPECT_EQ(Api::LinearCorrelation(a.data(), narrow, 8, b.data(), wide, 12, components,
                                             width, width * rows, found, mask),
                      QM_OK);
            EXPECT_EQ(Api::LinearCorrelation(b.data(), wide, 9, a.data(), narrow, 0, components,
                                             width, width * rows, swapped, mask),
                      QM_OK);
            EXPECT_EQ(found, expected);
            EXPECT_EQ(swapped, expected);
        }
}

TEST(LinearCorrelationOfTwoDepths, RefusesMoreThan16Bits) {
    const uint32_t s[4] = {1, 2, 3, 4};
    double result = kUntouched;
    for (const auto& [a, b] : std::vector<std::pair<uint32_t, uint32_t>>{
             {32, 32}, {32, 8}, {8, 32}, {17, 16}, {16, 17}, {24, 24}, {8, 17}})
        for (const uint32_t size : {0u, 4u})
            EXPECT_EQ(Api::LinearCorrelation(s, 16, a, s, 16, b, 1, 4, size, result, nullptr),
                      QM_NO_KERNEL);
    EXPECT_EQ(result, kUntouched);
    EXPECT_EQ(Api::LinearCorrelation(s, 16, 16, s, 16, 8, 1, 4, 0, result, nullptr), QM_REJECTED);
    EXPECT_EQ(result, 0.0);
}

// What the entry does not call: words read as words.
TEST(MixedCorrelation, ReadsBytesAndWords) {
    const Bytes a{1, 2, 3, 1, 2, 3, 1, 2, 3};
    const Words b{1000, 2000, 4000, 1000, 2000, 4000, 1000, 2000, 4000};
    const double expected = 3 / std::sqrt(28.0 / 3);
    double result = kUntouched;
    EXPECT_EQ(linar_correlation_1x8_16(a.data(), 3, b.data(), 6, 3, 9, result), QM_OK);
    EXPECT_NEAR(result, expected, 1e-14);
    EXPECT_EQ(linar_correlation_3x8_16(a.data(), 9, b.data(), 18, 3, 3, result), QM_OK);
    EXPECT_EQ(result, 0.0) << "each component is constant";
    const uint64_t mask = 1;
    EXPECT_EQ(linar_correlation_Nx8_16(a.data(), 3, b.data(), 6, 1, 3, 9, result, &mask), QM_OK);
    EXPECT_NEAR(result, expected, 1e-14);
}

TEST(CorrelationOfFloats, LeavesOutComponentsWithNansOrInfinities) {
    const std::vector<float> a{1, kNan, 1, 2, 2, 2, 3, 3, kInfinity}, b{1, 1, 1, 2, 2, 2, 4, 3, 3};
    EXPECT_NEAR(correlation(a, b, 3, 32), 3 / std::sqrt(28.0 / 3), 1e-15);
}

TEST(CorrelationOfFloats, FindsRowsInWholeFloats) {  // stride 6: rows at floats 0, 1, 3
    const std::vector<float> a{1, 5, 0, 2}, b{1, 4, 0, 9};
    double found, expected;
    EXPECT_EQ(linar_correlation_Nx32(a.data(), 6, b.data(), 6, 1, 1, 3, found, nullptr), QM_OK);
    const Doubles x{1, 5, 2}, y{1, 4, 9};
    EXPECT_TRUE(correlate(x, y, 3, expected));
    EXPECT_EQ(found, expected);
}

// Sums of a block of 256 pixels, where products begin to fill 32 bits.
TEST(Correlation, IsRightForLongRowsOfAnyOneValue) {
    for (const uint16_t value : std::initializer_list<uint16_t>{4094, 4095, 4096, 8190, 32766,
                                                                32767, 32768, 32770, 65534, 65535})
        for (const size_t length : {256u, 257u, 600u}) {
            Words a(length, value), b(length, value);
            a[7] = a[250] = b[250] = 0, b[7] = 1;
            const Doubles x(a.begin(), a.end()), y(b.begin(), b.end());
            double expected;
            ASSERT_TRUE(correlate(x, y, static_cast<double>(length), expected));
            for (const Level level : levels()) {
                const ForcedLevel forced(level);
                EXPECT_EQ(correlation(a, b, 1, 16), expected < 0 ? 0 : expected)
                    << value << ", " << length << ", " << name_of(level);
            }
        }
}

// 2^53 is reached after two million bright pixels. From there on sums are rounded one by one, which
// shows in the result.
TEST(Correlation, RoundsSumsBeyond2To53PixelByPixel) {
    constexpr uint32_t kWidth = 1001, kRows = 2500, kPixels = kWidth * kRows;
    Random random(11);
    Words a(kWidth), b(kWidth);
    Doubles x, y;
    for (size_t i = 0; i < kWidth; ++i) {
        a[i] = static_cast<uint16_t>(random(63000, 65535));
        b[i] = static_cast<uint16_t>(a[i] - random(0, 9000));
    }
    uint64_t exact = 0;
    for (const uint16_t v : a) exact += uint64_t{v} * v;
    exact *= kRows;
    ASSERT_GT(exact, uint64_t{1} << 53);
    double square = 0;
    for (uint32_t row = 0; row < kRows; ++row)
        for (size_t i = 0; i < kWidth; ++i) {
            x.push_back(a[i]);
            y.push_back(b[i]);
            square += x.back() * x.back();
        }
    ASSERT_NE(square, static_cast<double>(exact)) << "the order has to show";
    double expected;
    ASSERT_TRUE(correlate(x, y, kPixels, expected));
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        double result;  // the same row again and again
        EXPECT_EQ(linar_correlation_1x16(a.data(), 0, b.data(), 0, kWidth, kPixels, result), QM_OK);
        EXPECT_EQ(result, expected) << name_of(level);
        EXPECT_EQ(
            linar_correlation_Nx16(a.data(), 0, b.data(), 0, 1, kWidth, kPixels, result, nullptr),
            QM_OK);
        EXPECT_EQ(result, expected) << name_of(level);
    }
}

TEST(Correlation, AllocatesNothingAndDoesNotFork) {
    Bytes bytes(200 * 12, 3);
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * 7 + i / 3);
    const WatchedRegions regions;
    uint32_t seen = 0;
    double result = 0;
    {
        const FailingAlloc memory(0);
        for (const uint32_t components : {1u, 3u, 200u})
            for (const uint32_t bpc : {8u, 12u, 32u})
                Api::LinearCorrelation(bytes.data(), 0, bytes.data() + 1, 0, components, bpc,
                                       components == 200 ? 2 : 100, 200, result, nullptr);
        seen = memory.seen();
    }
    EXPECT_EQ(seen, 0u);
    EXPECT_EQ(regions.forks(), 0u);
}

}  // namespace
}  // namespace qmpic::test
