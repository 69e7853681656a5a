#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <ostream>
#include <vector>

#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/float_picture.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;
using FloatApi = CQmFloatPicMemAPI_Base;
using Doubles = std::vector<double>;

/// Which NaN comes out is the processor's choice.
uint64_t comparable(double value) {
    return std::isnan(value) ? 0x7FF8ull << 48 : std::bit_cast<uint64_t>(value);
}
std::vector<uint64_t> comparable(const Doubles& values) {
    std::vector<uint64_t> bits;
    for (const double value : values) bits.push_back(comparable(value));
    return bits;
}

/// The nine results, in their order.
struct Nine {
    double pearson = -7, overlap = -7, k1 = -7, k2 = -7, m1 = -7, m2 = -7, mean_a = -7, mean_b = -7,
           denominator = -7;
    Doubles all() const { return {pearson, overlap, k1, k2, m1, m2, mean_a, mean_b, denominator}; }
};
const Doubles kUntouched = Nine{}.all(), kZeros(9, 0.0);

/// One call of any of the eight; `bpc` 0xFFFF is floats.
struct Call {
    const void* a;
    uint32_t stride_a;
    const void* b;
    uint32_t stride_b, components, bpc;
    const void* mask;
    uint32_t mask_stride, width, size, threshold_a = 0, threshold_b = 0;
    bool masked = false;
    static constexpr uint32_t kFloats = 0xFFFF;

    int numbers(Nine& n) const {
        const auto *const fa = static_cast<const float*>(a), *const fb =
                                                                 static_cast<const float*>(b);
        if (bpc == kFloats && masked)
            return FloatApi::Colocalization(fa, stride_a, fb, stride_b, components, mask,
                                            mask_stride, 77, width, size, threshold_a, threshold_b,
                                            n.pearson, n.overlap, n.k1, n.k2, n.m1, n.m2, n.mean_a,
                                            n.mean_b, n.denominator);
        if (bpc == kFloats)
            return FloatApi::Colocalization(fa, stride_a, fb, stride_b, components, width, size,
                                            threshold_a, threshold_b, n.pearson, n.overlap, n.k1,
                                            n.k2, n.m1, n.m2, n.mean_a, n.mean_b, n.denominator);
        if (masked)
            return Api::Colocalization(a, stride_a, b, stride_b, components, bpc, mask, mask_stride,
                                       77, width, size, threshold_a, threshold_b, n.pearson,
                                       n.overlap, n.k1, n.k2, n.m1, n.m2, n.mean_a, n.mean_b,
                                       n.denominator);
        return Api::Colocalization(a, stride_a, b, stride_b, components, bpc, width, size,
                                   threshold_a, threshold_b, n.pearson, n.overlap, n.k1, n.k2, n.m1,
                                   n.m2, n.mean_a, n.mean_b, n.denominator);
    }
    /// `count` is written by the masked form alone.
    int map(double* to, uint32_t& count) const {
        const auto *const fa = static_cast<const float*>(a), *const fb =
                                                                 static_cast<const float*>(b);
        if (bpc == kFloats && masked)
            return FloatApi::GetColocalizationMap(fa, stride_a, fb, stride_b, components, mask,
                                                  mask_stride, 77, width, size, threshold_a,
                                                  threshold_b, to, count);
        if (bpc == kFloats)
            return FloatApi::GetColocalizationMap(fa, stride_a, fb, stride_b, components, width,
                                                  size, threshold_a, threshold_b, to);
        if (masked)
            return Api::GetColocalizationMap(a, stride_a, b, stride_b, components, bpc, mask,
                                             mask_stride, 77, width, size, threshold_a, threshold_b,
                                             to, count);
        return Api::GetColocalizationMap(a, stride_a, b, stride_b, components, bpc, width, size,
                                         threshold_a, threshold_b, to);
    }
};

// ----- Every pixel, one after the other ----------------------------------------------------------

/// Samples above their thresholds, in the order of the pixels.
struct Counted {
    Doubles a, b;
};

Doubles reference(const Counted& pixels, double n) {
    double sum_a = 0, sum_b = 0, aa = 0, bb = 0, ab = 0, a_where_b = 0, b_where_a = 0;
    for (size_t i = 0; i < pixels.a.size(); ++i) {
        const double a = pixels.a[i], b = pixels.b[i];
        sum_a += a;
        sum_b += b;
        aa += a * a;
        bb += b * b;
        ab += a * b;
        if (b != 0) a_where_b += a;
        if (a != 0) b_where_a += b;
    }
    const double mean_a = sum_a / n, mean_b = sum_b / n;
    const double denominator = std::sqrt((aa - sum_a * mean_a) * (bb - mean_b * sum_b));
    Doubles all(9, 0.0);
    if (denominator != 0) all[0] = (ab - n * mean_a * mean_b) / denominator;
    if (aa != 0 && ab != 0) {
        all[1] = ab / std::sqrt(aa * bb);
        all[2] = ab / aa;
        all[3] = ab / bb;
    }
    if (sum_a != 0 && sum_b != 0) {
        all[4] = a_where_b / sum_a;
        all[5] = b_where_a / sum_b;
    }
    all[6] = mean_a, all[7] = mean_b, all[8] = denominator;
    return all;
}

double above(uint64_t sample, uint32_t threshold) {
    return sample > threshold ? static_cast<double>(sample - threshold) : 0.0;
}
double above(float sample, uint32_t threshold) {
    const auto limit = static_cast<float>(threshold);
    const float rest = sample - limit;
    return sample > limit ? static_cast<double>(rest) : 0.0;
}

void keep_some(GuardedPicture& mask, Random& random) {
    const uint32_t kind = random(0, 7);
    for (uint32_t y = 0; y < mask.size().height; ++y)
        for (uint32_t x = 0; x < mask.size().width; ++x) {
            const bool drop = random(0, 2) == 0;
            if (kind == 0 || drop) mask.set(x, y, 0);
        }
}

void compare(const Call& call, const Counted& pixels, Round round) {
    const double n = call.masked ? static_cast<double>(pixels.a.size()) : call.size;
    const Doubles expected = n == 0 ? kZeros : reference(pixels, n);
    Nine found;
    ASSERT_EQ(call.numbers(found), QM_OK);
    ASSERT_EQ(comparable(found.all()), comparable(expected))
        << call.width << " x " << call.size / call.width << " x " << call.components << ", "
        << call.threshold_a << " and " << call.threshold_b << (call.masked ? ", masked" : "");
    round.digest.add(comparable(expected));
}

void compare_map(const Call& call, const Counted& pixels, Round round) {
    const double n = call.masked ? static_cast<double>(pixels.a.size()) : call.size;
    const Doubles nine = n == 0 ? kZeros : reference(pixels, n);
    Doubles expected, found(pixels.a.size() + 2, -7);
    for (size_t i = 0; i < pixels.a.size(); ++i)
        expected.push_back(std::fabs((pixels.b[i] - nine[7]) * (pixels.a[i] - nine[6]) / nine[8]));
    expected.push_back(-7);
    expected.push_back(-7);
    uint32_t count = 99;
    ASSERT_EQ(call.map(found.data(), count), QM_OK);
    ASSERT_EQ(comparable(found), comparable(expected))
        << call.width << " x " << call.size / call.width << " x " << call.components;
    ASSERT_EQ(count, call.masked ? pixels.a.size() : 99);
    round.digest.add(comparable(expected));
}

using Compare = void(const Call&, const Counted&, Round);

void check_integers(Compare* compare_call, Round round) {
    Random& random = round.random;
    const uint32_t bits = random.one_of({8u, 16u});
    const uint32_t bpc = bits == 8 ? random(0, 8) : round.in_turn(depths(16));
    const Format format{random.components(), bits, bpc};
    const Size size = random.size(format.components);
    GuardedPicture a(format, size, random), other(format, size, random),
        mask({1, 8, 8}, size, random);
    keep_some(mask, random);
    const uint32_t kind = random(0, 3);
    if (kind < 2) {  // no bits above the depth
        a.keep_below(std::max<uint64_t>(format.max(), 1), random);
        other.keep_below(std::max<uint64_t>(format.max(), 1), random);
    }
    const GuardedPicture& b = random(0, 1) == 0 ? a : other;  // two components of one picture
    const uint32_t first = random(0, format.components - 1),
                   second = random(0, format.components - 1);
    const auto max = static_cast<uint32_t>(format.max());
    const auto draw = [&] {
        const uint32_t any = random(0, max);
        return random.one_of({0u, 0u, 1u, any, max / 8, max / 2, max, 65534u, 65535u, 65536u, ~0u});
    };
    Call call{static_cast<const uint8_t*>(a.data()) + first * format.bytes(),
              a.stride(),
              static_cast<const uint8_t*>(b.data()) + second * format.bytes(),
              b.stride(),
              format.components,
              bpc,
              mask.data(),
              mask.stride(),
              size.width,
              static_cast<uint32_t>(size.pixels)};
    call.threshold_a = draw();
    call.threshold_b = draw();
    call.masked = random(0, 1) == 0;
    Counted pixels;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            if (call.masked && mask.get(x, y) == 0) continue;
            pixels.a.push_back(above(a.get(x * format.components + first, y), call.threshold_a));
            pixels.b.push_back(above(b.get(x * format.components + second, y), call.threshold_b));
        }
    compare_call(call, pixels, round);
}

void check_floats(Compare* compare_call, Round round) {
    Random& random = round.random;
    const uint32_t components = random.components();
    const Size size = random.size(components);
    FloatPicture a(components, size, random), other(components, size, random);
    GuardedPicture mask({1, 8, 8}, size, random);
    keep_some(mask, random);
    if (random(0, 2) != 0)  // numbers that do not drown each other
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t i = 0; i < a.samples(); ++i) {
                a.set(i, y, static_cast<float>(random(0, 99999)) / 7.0f - 3000.0f);
                other.set(i, y, static_cast<float>(random(0, 99999)) / 9.0f);
            }
    const FloatPicture& b = random(0, 1) == 0 ? a : other;
    const uint32_t first = random(0, components - 1), second = random(0, components - 1);
    Call call{reinterpret_cast<const uint8_t*>(a.data()) + first * 4,
              a.stride(),
              reinterpret_cast<const uint8_t*>(b.data()) + second * 4,
              b.stride(),
              components,
              Call::kFloats,
              mask.data(),
              mask.stride(),
              size.width,
              static_cast<uint32_t>(size.pixels)};
    call.threshold_a = random.one_of({0u, 0u, 1u, 500u, 16777217u, ~0u});
    call.threshold_b = random.one_of({0u, 0u, 1u, 2000u, 16777217u});
    call.masked = random(0, 1) == 0;
    Counted pixels;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            if (call.masked && mask.get(x, y) == 0) continue;
            pixels.a.push_back(above(a.get(x * components + first, y), call.threshold_a));
            pixels.b.push_back(above(b.get(x * components + second, y), call.threshold_b));
        }
    compare_call(call, pixels, round);
}

int of_entry(const EntryCall& c, bool masked, bool map) {
    Call call{c.src, c.stride, c.src,    c.stride, c.components,
              c.bpc, c.src,    c.stride, c.width,  static_cast<uint32_t>(c.size)};
    call.masked = masked;
    Nine nine;
    Doubles values(c.size);
    uint32_t count;
    return map ? call.map(values.data(), count) : call.numbers(nine);
}
int refused_above_16(uint32_t bpc, int code) { return bpc <= 16 ? QM_OK : code; }
EntryCase entry_case(std::string name, bool masked, bool map) {
    return {std::move(name), [=](const EntryCall& c) { return of_entry(c, masked, map); },
            [=](uint32_t, uint32_t bpc) {
                return refused_above_16(bpc, map ? QM_BAD_BUFFER : QM_NO_KERNEL);
            },
            false, false};
}

const bool registered =
    add_cases({{"CQmPicMemAPI_Base::Colocalization",
                [](Round round) { check_integers(compare, round); }, 192},
               {"CQmPicMemAPI_Base::GetColocalizationMap",
                [](Round round) { check_integers(compare_map, round); }, 96},
               {"CQmFloatPicMemAPI_Base::Colocalization",
                [](Round round) { check_floats(compare, round); }, 96},
               {"CQmFloatPicMemAPI_Base::GetColocalizationMap",
                [](Round round) { check_floats(compare_map, round); }, 48}},
              {entry_case("CQmPicMemAPI_Base::Colocalization", false, false),
               entry_case("CQmPicMemAPI_Base::Colocalization (masked)", true, false),
               entry_case("CQmPicMemAPI_Base::GetColocalizationMap", false, true),
               entry_case("CQmPicMemAPI_Base::GetColocalizationMap (masked)", true, true)});

// ----- Worked numbers ----------------------------------------------------------------------------

/// One row of one component in bytes, words or floats; and a mask of any bytes.
struct Row {
    std::vector<uint8_t> bytes_a, bytes_b;
    std::vector<uint16_t> words_a, words_b;
    std::vector<float> floats_a, floats_b;
    std::vector<uint8_t> mask;

    Row(const Doubles& a, const Doubles& b, std::vector<uint8_t> mask_ = {})
        : mask(std::move(mask_)) {
        mask.resize(a.size(), 1);
        for (const double v : a) {
            bytes_a.push_back(static_cast<uint8_t>(static_cast<int>(v)));
            words_a.push_back(static_cast<uint16_t>(v));
            floats_a.push_back(static_cast<float>(v));
        }
        for (const double v : b) {
            bytes_b.push_back(static_cast<uint8_t>(static_cast<int>(v)));
            words_b.push_back(static_cast<uint16_t>(v));
            floats_b.push_back(static_cast<float>(v));
        }
    }
    Call call(uint32_t bpc, bool masked = false) const {
        const void* const a = bpc == Call::kFloats ? static_cast<const void*>(floats_a.data())
                              : bpc > 8            ? static_cast<const void*>(words_a.data())
                                                   : bytes_a.data();
        const void* const b = bpc == Call::kFloats ? static_cast<const void*>(floats_b.data())
                              : bpc > 8            ? static_cast<const void*>(words_b.data())
                                                   : bytes_b.data();
        const auto width = static_cast<uint32_t>(bytes_a.size());
        Call made{a, 0, b, 0, 1, bpc, mask.data(), 0, width, width};
        made.masked = masked;
        return made;
    }
};
constexpr uint32_t kFloats = Call::kFloats;
constexpr uint32_t kFormats[] = {0, 8, 9, 12, 16, kFloats};

Doubles numbers(const Call& call) {
    Nine nine;
    EXPECT_EQ(call.numbers(nine), QM_OK);
    return nine.all();
}
void expect_near(const Doubles& found, const Doubles& expected, double tolerance) {
    ASSERT_EQ(found.size(), expected.size());
    for (size_t i = 0; i < found.size(); ++i)
        EXPECT_NEAR(found[i], expected[i], tolerance) << "result " << i;
}

TEST(Colocalization, GivesNineNumbersInTheirOrder) {
    const Row row({1, 2, 3}, {0, 2, 4});
    const Doubles expected{1, 16 / std::sqrt(14.0 * 20), 16.0 / 14, 0.8, 5.0 / 6, 1, 2, 2, 4};
    for (const uint32_t bpc : kFormats)
        for (const bool masked : {false, true})
            expect_near(numbers(row.call(bpc, masked)), expected, 1e-14);
}

TEST(Colocalization, OfIdenticalPicturesIsOne) {
    Doubles v;
    for (int i = 0; i < 600; ++i) v.push_back(1 + i * 37 % 251);
    const Row row(v, v);
    for (const uint32_t bpc : kFormats) {
        const Doubles found = numbers(row.call(bpc));
        EXPECT_NEAR(found[0], 1, 1e-14);
        for (size_t i = 1; i < 6; ++i) EXPECT_NEAR(found[i], 1, 1e-14) << i;
    }
}

TEST(Colocalization, OfAPictureAndItsNegativeIsMinusOne) {
    Doubles a, b;
    for (int i = 0; i < 600; ++i) {
        a.push_back(i * 37 % 251);
        b.push_back(255 - a.back());
    }
    const Row row(a, b);
    for (const uint32_t bpc : kFormats) EXPECT_NEAR(numbers(row.call(bpc))[0], -1, 1e-12);
}

TEST(Colocalization, TakesWhatIsAboveAThresholdAndLeavesTheRest) {
    const Row row({9, 10, 11, 20}, {100, 100, 99, 103}), expected({0, 0, 1, 10}, {1, 1, 0, 4});
    for (const uint32_t bpc : kFormats)
        for (const bool masked : {false, true}) {
            Call call = row.call(bpc, masked);
            call.threshold_a = 10, call.threshold_b = 99;
            EXPECT_EQ(numbers(call), numbers(expected.call(bpc)));
        }
}

TEST(Colocalization, IsAllZeroWithThresholdsAboveEverySample) {
    const Row row({1, 255, 7}, {255, 2, 3});
    for (const uint32_t bpc : kFormats)
        for (const uint32_t threshold : {255u, 256u, 65535u, 65536u, 65536u + 3, ~0u}) {
            Call call = row.call(bpc);
            call.threshold_a = call.threshold_b = threshold;
            EXPECT_EQ(numbers(call), kZeros) << bpc << ", " << threshold;
        }
}

TEST(Colocalization, LeavesCoefficientsAt0WhereNothingIsCommon) {
    // No product is above 0, but both sums are. Pearson: (0 - 2 / 4) / (1 - 1 / 4 * 1) for ones.
    const Row row({1, 0, 0, 0}, {0, 1, 0, 0});
    for (const uint32_t bpc : kFormats)
        expect_near(numbers(row.call(bpc)), {-1.0 / 3, 0, 0, 0, 0, 0, 0.25, 0.25, 0.75}, 1e-15);
    // One picture is empty: its mean is 0, and so is the denominator.
    const Row empty({1, 2, 0, 1}, {0, 0, 0, 0});
    for (const uint32_t bpc : kFormats)
        EXPECT_EQ(numbers(empty.call(bpc)), (Doubles{0, 0, 0, 0, 0, 0, 1, 0, 0}));
    // A constant one leaves Pearson's coefficient at 0, and no other.
    const Row constant({2, 2}, {1, 3});
    for (const uint32_t bpc : kFormats)
        EXPECT_EQ(numbers(constant.call(bpc)),
                  (Doubles{0, 8 / std::sqrt(80.0), 1, 0.8, 1, 1, 2, 2, 0}));
}

TEST(Colocalization, DividesByTheSizeThatItIsTold) {  // a row and a third
    const Row row({1, 2, 3}, {0, 2, 4});
    for (const uint32_t bpc : kFormats) {
        Call call = row.call(bpc);
        call.size = 4;
        const Doubles found = numbers(call);
        EXPECT_EQ(found[6], 1.5);
        EXPECT_EQ(found[7], 1.5);
        EXPECT_DOUBLE_EQ(found[8], std::sqrt((14 - 6 * 1.5) * (20 - 1.5 * 6)));
        EXPECT_DOUBLE_EQ(found[0], (16 - 4 * 1.5 * 1.5) / found[8]);
        EXPECT_EQ(found[4], 5.0 / 6);
        call.size = 2;  // less than a row
        EXPECT_EQ(numbers(call), kZeros);
    }
}

TEST(Colocalization, CountsThePixelsUnderTheMask) {
    const Row row({1, 99, 2, 3, 98}, {0, 1, 2, 4, 0}, {1, 0, 128, 255, 0}),
        alone({1, 2, 3}, {0, 2, 4});
    for (const uint32_t bpc : kFormats) {
        EXPECT_EQ(numbers(row.call(bpc, true)), numbers(alone.call(bpc)));
        Call call = row.call(bpc, true);
        call.size = 9;  // an incomplete row does not count, nor does the size
        EXPECT_EQ(numbers(call), numbers(alone.call(bpc)));
    }
}

TEST(Colocalization, UnderAMaskOfNothingIsAllZero) {
    const Row row({1, 2, 3}, {0, 2, 4}, {0, 0, 0});
    for (const uint32_t bpc : kFormats) {
        EXPECT_EQ(numbers(row.call(bpc, true)), kZeros);
        Call call = row.call(bpc, true);
        call.size = 0;  // which is refused without a mask
        EXPECT_EQ(numbers(call), kZeros);
        call.size = 3, call.width = 0;
        EXPECT_EQ(numbers(call), kZeros);
    }
}

TEST(Colocalization, OfNoWidthIsAllZero) {
    const Row row({1, 2, 3}, {0, 2, 4});
    for (const uint32_t bpc : kFormats) {
        Call call = row.call(bpc);
        call.width = 0;
        EXPECT_EQ(numbers(call), kZeros);
    }
}

TEST(Colocalization, LeavesTheResultsWhereItRefuses) {
    const Row row({1, 2, 3}, {0, 2, 4});
    const auto refused = [](Call call, int code) {
        Nine nine;
        EXPECT_EQ(call.numbers(nine), code);
        EXPECT_EQ(nine.all(), kUntouched);
    };
    for (const uint32_t bpc : kFormats) {
        Call call = row.call(bpc);
        call.size = 0;
        refused(call, QM_REJECTED);
    }
    for (const uint32_t bpc : {17u, 24u, 32u, 64u}) {
        refused(row.call(bpc), QM_NO_KERNEL);
        refused(row.call(bpc, true), QM_NO_KERNEL);
        Call call = row.call(bpc);
        call.size = 0;
        refused(call, QM_REJECTED);
        call.masked = true;
        refused(call, QM_NO_KERNEL);
    }
    for (const uint32_t bpc : kFormats)
        for (const bool masked : {false, true}) {
            Call call = row.call(bpc, masked);
            call.a = nullptr;
            refused(call, QM_OK);
            call = row.call(bpc, masked);
            call.b = nullptr;
            refused(call, QM_OK);
        }
    Call call = row.call(8, true);
    call.mask = nullptr;
    refused(call, QM_OK);
    call = row.call(kFloats, true);
    call.mask = nullptr;
    refused(call, QM_OK);
}

TEST(ColocalizationOfFloats, SubtractsInSinglePrecision) {
    // 16777217 is no float: the threshold is 16777216. And 16777218 - 1 is one neither.
    const std::vector<float> a{16777218.0f}, b{16777218.0f};
    Call call{a.data(), 4, b.data(), 4, 1, kFloats, nullptr, 0, 1, 1};
    call.threshold_a = 16777217, call.threshold_b = 1;
    const Doubles found = numbers(call);
    EXPECT_EQ(found[6], 2);
    EXPECT_EQ(found[7], 16777216);
}

TEST(ColocalizationOfFloats, TakesNothingOfNegativesAndNans) {
    const std::vector<float> a{-5, kNan, 2, -kInfinity, 3}, b{1, 2, 3, 4, 7};
    for (const bool masked : {false, true}) {
        const std::vector<uint8_t> mask(5, 1);
        Call call{a.data(), 20, b.data(), 20, 1, kFloats, mask.data(), 5, 5, 5};
        call.masked = masked;
        const Doubles found = numbers(call);
        EXPECT_EQ(found[6], 1);
        EXPECT_EQ(found[5], 10.0 / 17);
    }
}

TEST(ColocalizationOfFloats, LeavesANanWhereRoundingMakesTheRootsArgumentNegative) {
    // Squares of a constant add up to a little less than the sum times the mean.
    const std::vector<float> a(50, 1.9f);
    std::vector<float> b(50, 1.0f);
    b[7] = 2;
    const Call call{a.data(), 200, b.data(), 200, 1, kFloats, nullptr, 0, 50, 50};
    const Doubles found = numbers(call);
    EXPECT_TRUE(std::isnan(found[8]));
    EXPECT_TRUE(std::isnan(found[0]));
    EXPECT_NEAR(found[6], 1.9f, 1e-12);
}

TEST(ColocalizationOfFloats, FindsRowsInWholeFloats) {  // stride 6: rows at floats 0, 1, 3
    const std::vector<float> a{1, 2, 99, 3}, b{0, 2, 99, 4};
    const Call call{a.data(), 6, b.data(), 6, 1, kFloats, nullptr, 0, 1, 3};
    expect_near(numbers(call), {1, 16 / std::sqrt(14.0 * 20), 16.0 / 14, 0.8, 5.0 / 6, 1, 2, 2, 4},
                1e-14);
}

// Sums of a block of 256 pixels, where products begin to fill 32 bits.
TEST(Colocalization, IsRightForLongRowsOfAnyOneValue) {
    for (const uint16_t value :
         std::initializer_list<uint16_t>{4095, 4096, 8190, 32767, 32768, 65534, 65535}) {
        std::vector<uint16_t> a(600, value), b(600, value);
        a[7] = a[250] = b[250] = 0, b[7] = 1;
        const Counted pixels{{a.begin(), a.end()}, {b.begin(), b.end()}};
        const Call call{a.data(), 1200, b.data(), 1200, 1, 16, nullptr, 0, 600, 600};
        for (const Level level : levels()) {
            const ForcedLevel forced(level);
            EXPECT_EQ(numbers(call), reference(pixels, 600)) << value << ", " << name_of(level);
        }
    }
}

// 2^53 is reached after two million bright pixels. From there on sums are rounded one by one, which
// shows in the result. Four components in turn, so that pixels that count are apart.
TEST(Colocalization, RoundsSumsBeyond2To53PixelByPixel) {
    constexpr uint32_t kWidth = 1003, kRows = 2400, kPixels = kWidth * kRows;
    Random random(12);
    std::vector<uint16_t> s(2 * kWidth);
    std::vector<uint8_t> mask(kWidth, 1);
    mask[3] = mask[500] = 0;
    for (size_t x = 0; x < kWidth; ++x) {
        s[2 * x] = static_cast<uint16_t>(random(64000, 65535));
        s[2 * x + 1] = static_cast<uint16_t>(s[2 * x] - random(0, 2000));
    }
    for (const bool masked : {false, true}) {
        Call call{&s[0], 0, &s[1], 0, 2, 16, mask.data(), 0, kWidth, kPixels};
        call.masked = masked;
        call.threshold_a = 3;
        Counted pixels;
        double square = 0;
        uint64_t exact = 0;
        for (uint32_t y = 0; y < kRows; ++y)
            for (size_t x = 0; x < kWidth; ++x) {
                if (masked && mask[x] == 0) continue;
                const uint64_t a = s[2 * x] - uint64_t{3};
                pixels.a.push_back(static_cast<double>(a));
                pixels.b.push_back(s[2 * x + 1]);
                square += pixels.a.back() * pixels.a.back();
                exact += a * a;
            }
        ASSERT_GT(exact, uint64_t{1} << 53);
        ASSERT_NE(square, static_cast<double>(exact)) << "the order has to show";
        const Doubles expected =
            reference(pixels, masked ? static_cast<double>(pixels.a.size()) : kPixels);
        for (const Level level : levels()) {
            const ForcedLevel forced(level);
            EXPECT_EQ(numbers(call), expected) << name_of(level) << (masked ? ", masked" : "");
        }
    }
}

TEST(ColocalizationMap, HoldsThePartOfEachPixel) {
    const Row row({1, 2, 3}, {0, 2, 4});
    for (const uint32_t bpc : kFormats) {
        Doubles map(4, -7);
        uint32_t count = 99;
        EXPECT_EQ(row.call(bpc).map(map.data(), count), QM_OK);
        expect_near(map, {0.5, 0, 0.5, -7}, 1e-15);
        EXPECT_EQ(count, 99u);
    }
}

TEST(ColocalizationMap, FollowsFromTheMeansAndTheDenominator) {
    Doubles a, b;
    std::vector<uint8_t> mask;
    for (int i = 0; i < 700; ++i) {
        a.push_back(i * 37 % 251);
        b.push_back(i * i % 199);
        mask.push_back(static_cast<uint8_t>(i % 3));
    }
    const Row row(a, b, mask);
    for (const uint32_t bpc : kFormats)
        for (const bool masked : {false, true}) {
            Call call = row.call(bpc, masked);
            call.threshold_a = 20, call.threshold_b = 50;
            const Doubles nine = numbers(call);
            Doubles map(700, -7);
            uint32_t count = 700;
            EXPECT_EQ(call.map(map.data(), count), QM_OK);
            size_t next = 0;
            for (size_t i = 0; i < 700; ++i) {
                if (masked && mask[i] == 0) continue;
                const double x = std::max(a[i] - 20, 0.0), y = std::max(b[i] - 50, 0.0);
                EXPECT_EQ(map[next++], std::fabs((y - nine[7]) * (x - nine[6]) / nine[8])) << i;
            }
            EXPECT_EQ(count, next);
        }
}

TEST(ColocalizationMap, IsDenseAndUnderAMaskPacked) {
    // Two rows of two pixels with gaps; the mask has other gaps.
    const uint8_t a[] = {1, 2, 99, 3, 4, 99}, b[] = {2, 1, 99, 99, 99, 4, 7, 99};
    const uint8_t mask[] = {0, 1, 1, 7};
    Call call{a, 3, b, 5, 1, 8, mask, 2, 2, 4};
    // Means 2.5 and 3.5, squares 30 and 70: the denominator is the root of 5 * 21.
    const double d = std::sqrt(105.0);
    Doubles map(5, -7);
    uint32_t count = 99;
    EXPECT_EQ(call.map(map.data(), count), QM_OK);
    expect_near(map, {2.25 / d, 1.25 / d, 0.25 / d, 5.25 / d, -7}, 1e-15);
    // 2, 3, 4 with 1, 4, 7: means 3 and 4, denominator 6.
    call.masked = true;
    map.assign(5, -7);
    EXPECT_EQ(call.map(map.data(), count), QM_OK);
    EXPECT_EQ(count, 3u);
    expect_near(map, {0.5, 0, 0.5, -7, -7}, 1e-15);
}

TEST(ColocalizationMap, HoldsNansWhereTheDenominatorIs0) {
    const Row row({2, 2}, {1, 3});
    for (const uint32_t bpc : kFormats) {
        Doubles map(2, -7);
        uint32_t count;
        EXPECT_EQ(row.call(bpc).map(map.data(), count), QM_OK);
        EXPECT_TRUE(std::isnan(map[0]) && std::isnan(map[1]));
    }
}

TEST(ColocalizationMap, WritesNothingOfNothing) {
    const Row row({1, 2, 3}, {0, 2, 4}, {0, 0, 0});
    const auto written = [](const Call& call, int code, uint32_t expected_count) {
        Doubles map(4, -7);
        uint32_t count = 99;
        EXPECT_EQ(call.map(map.data(), count), code);
        EXPECT_EQ(map, Doubles(4, -7));
        EXPECT_EQ(count, expected_count);
    };
    for (const uint32_t bpc : kFormats) {
        written(row.call(bpc, true), QM_OK, 0);  // a mask of zeros
        for (const bool masked : {false, true}) {
            const uint32_t count = masked ? 0 : 99;
            Call call = row.call(bpc, masked);
            call.size = 0;
            written(call, QM_REJECTED, count);
            call.size = 2;  // less than a row
            written(call, QM_OK, count);
            call.size = 3, call.width = 0;
            written(call, QM_OK, count);
            call = row.call(bpc, masked);
            call.a = nullptr;
            written(call, QM_OK, count);
            call = row.call(bpc, masked);
            call.b = nullptr;
            written(call, QM_OK, count);
            uint32_t of_null = 99;
            EXPECT_EQ(row.call(bpc, masked).map(nullptr, of_null), QM_OK);
            EXPECT_EQ(of_null, count);
        }
        Call call = row.call(bpc, true);
        call.mask = nullptr;
        written(call, QM_OK, 0);
    }
    for (const uint32_t bpc : {17u, 32u, 64u}) {  // the statistics refuse these with another code
        written(row.call(bpc), QM_BAD_BUFFER, 99);
        written(row.call(bpc, true), QM_BAD_BUFFER, 0);
        Call call = row.call(bpc, true);
        call.size = 0;
        written(call, QM_REJECTED, 0);
    }
}

TEST(Colocalization, AllocatesNothingAndDoesNotFork) {
    Doubles a, b;
    for (int i = 0; i < 5000; ++i) {
        a.push_back(i * 37 % 251);
        b.push_back(i * i % 199);
    }
    const Row row(a, b);
    const WatchedRegions regions;
    Doubles map(5000);
    uint32_t count = 0, seen = 0;
    Nine nine;
    {
        const FailingAlloc memory(0);
        for (const uint32_t bpc : kFormats)
            for (const bool masked : {false, true}) {
                row.call(bpc, masked).numbers(nine);
                row.call(bpc, masked).map(map.data(), count);
            }
        seen = memory.seen();
    }
    EXPECT_EQ(seen, 0u);
    EXPECT_EQ(regions.forks(), 0u);
}

}  // namespace
}  // namespace qmpic::test
