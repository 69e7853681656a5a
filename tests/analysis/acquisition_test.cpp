#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <vector>

#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/levels.h"
#include "support/regions.h"

// Pictures that are compared, combined and merged.

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;
using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint16_t>;
using Values = std::vector<uint64_t>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// The bits of a 32-bit integer, the processor's number for what does not fit.
uint64_t cut(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0)) return 0x80000000;
    return static_cast<uint64_t>(static_cast<int64_t>(value)) & 0xFFFFFFFF;
}
uint64_t in_bits(uint64_t value, uint32_t bits) { return value & ((uint64_t{1} << bits) - 1); }

Size draw_size(Random& random, uint32_t components) {
    Size size = random.size(components);
    size.pixels = uint64_t{size.width} * size.height + random(0, size.width - 1);
    return size;
}

/// Two pictures of one format, one below the other, since they share a stride.
struct TwoInOne {
    GuardedPicture both;
    uint32_t height;
    TwoInOne(Format format, Size size, Random& random)
        : both(format, {size.width, 2 * size.height}, random), height(size.height) {}
    const uint8_t* first() const { return static_cast<const uint8_t*>(both.data()); }
    const uint8_t* second() const { return first() + uint64_t{both.stride()} * height; }
};

/// 1 to 8 bits in bytes, 9 to 16 in words.
Format draw_format(Round round, uint32_t components) {
    const uint32_t bpc = 1 + round.number % 16;
    return {components, bpc <= 8 ? 8u : 16u, bpc};
}

// ----- Comparing ---------------------------------------------------------------------------------

double draw_scale(Random& random) {
    if (random(0, 1)) return random(1, 3000) / 1000.0;
    return random.one_of({0.0, -0.0, 1.0, -1.0, 0.001, 1e-300, 1e300, kInfinity, kNaN, -2.5});
}

uint64_t lost(uint64_t a, uint64_t b, double scale_a, double scale_b, uint32_t bpc) {
    if (scale_a == 0.0) scale_a = 1.0;
    if (scale_b == 0.0) scale_b = 1.0;
    const double x = static_cast<double>(a), y = static_cast<double>(b);
    double part = std::max(x / scale_a - y / scale_b, 0.0);
    part = part / x;
    part = part / scale_a;
    part = part * static_cast<double>((1u << bpc) - 1);
    return cut(part);
}

void check_photobleach(Round round) {
    Random& random = round.random;
    const uint32_t from = random.components(), to = random.components();
    const Format format = draw_format(round, from);
    const Size size = draw_size(random, std::max(from, to));
    const TwoInOne s(format, size, random);
    GuardedPicture d({to, format.bits, format.bpc}, size, random);
    const double scale_a = draw_scale(random), scale_b = draw_scale(random);

    Values expected = d.content();
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            const uint64_t a = s.both.get(x * from, y), b = s.both.get(x * from, y + s.height);
            const Values cells{a, b,
                               in_bits(lost(a, b, scale_a, scale_b, format.bpc), format.bits)};
            for (uint32_t k = 0; k < 3 && k < to; ++k)
                expected[uint64_t{y} * d.samples() + x * to + k] = cells[k];
        }
    const auto outside = d.outside();

    ASSERT_EQ(Api::AccPhotobleachProcessing(d.data(), d.stride(), to, s.first(), s.second(),
                                            s.both.stride(), from, format.bpc, size.width,
                                            size.pixels, scale_a, scale_b),
              QM_OK);
    ASSERT_EQ(d.content(), expected) << format.bpc << " bits, " << scale_a << ", " << scale_b;
    EXPECT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

Bytes bleached(uint8_t a, uint8_t b, double scale_a, double scale_b) {
    Bytes d(3, 77);
    EXPECT_EQ(
        Api::AccPhotobleachProcessing(d.data(), 3, 3, &a, &b, 1, 1, 8, 1, 1, scale_a, scale_b),
        QM_OK);
    return d;
}

TEST(AccPhotobleach, KeepsBothAndTellsWhatPartIsLost) {
    EXPECT_EQ(bleached(100, 80, 1, 1), (Bytes{100, 80, 51}));  // 20 / 100 * 255
    EXPECT_EQ(bleached(200, 0, 1, 1), (Bytes{200, 0, 255}));
    EXPECT_EQ(bleached(80, 100, 1, 1), (Bytes{80, 100, 0}));
    EXPECT_EQ(bleached(100, 100, 1, 2), (Bytes{100, 100, 127}));  // 50 / 100 * 255
}

TEST(AccPhotobleach, DividesByItsFirstScaleTwice) {
    EXPECT_EQ(bleached(100, 0, 2, 1), (Bytes{100, 0, 63}));     // 50 / 100 / 2 * 255 = 63.75
    EXPECT_EQ(bleached(100, 0, 0.5, 1), (Bytes{100, 0, 252}));  // 200 / 100 * 2 * 255 = 1020
}

TEST(AccPhotobleach, TakesAScaleOf0For1) {
    EXPECT_EQ(bleached(100, 80, 0, 0), (Bytes{100, 80, 51}));
    EXPECT_EQ(bleached(100, 80, -0.0, 1), (Bytes{100, 80, 51}));
    EXPECT_EQ(bleached(100, 80, 1, -0.0), (Bytes{100, 80, 51}));
}

TEST(AccPhotobleach, CutsWhatIsNoNumberToTheCell) {  // 0x80000000 ends in zeros
    EXPECT_EQ(bleached(0, 0, 1, 1), (Bytes{0, 0, 0}));
    EXPECT_EQ(bleached(0, 5, 1, 1), (Bytes{0, 5, 0}));
    EXPECT_EQ(bleached(9, 5, 1e-300, 1), (Bytes{9, 5, 0}));
    EXPECT_EQ(bleached(100, 0, 1, -1), (Bytes{100, 0, 255}));
    EXPECT_EQ(bleached(100, 200, 1, -1), (Bytes{100, 200, 253}));  // 300 / 100 * 255 = 765
    EXPECT_EQ(bleached(100, 250, -2, -1), (Bytes{100, 250, 1}));   // 200 / 100 / -2 * 255 = -255
}

TEST(AccPhotobleach, HasTheTopOfTheDepth) {
    const Words a{4000}, b{1000};
    for (const auto& [bpc, part] : {std::pair(9u, 383), {12u, 3071}, {16u, 49151}}) {
        Words d(3);
        EXPECT_EQ(Api::AccPhotobleachProcessing(d.data(), 6, 3, a.data(), b.data(), 2, 1, bpc, 1, 1,
                                                1, 1),
                  QM_OK);
        EXPECT_EQ(d, (Words{4000, 1000, static_cast<uint16_t>(part)}));  // three quarters
    }
    const uint8_t c = 8, e = 0;
    Bytes d(3);  // also of depths below 8
    EXPECT_EQ(Api::AccPhotobleachProcessing(d.data(), 3, 3, &c, &e, 1, 1, 4, 1, 1, 1, 1), QM_OK);
    EXPECT_EQ(d, (Bytes{8, 0, 15}));
}

TEST(AccPhotobleach, WritesThreeComponentsAndNoMore) {
    const Bytes a{10, 20}, b{10, 10};
    Bytes d(8, 77);
    EXPECT_EQ(
        Api::AccPhotobleachProcessing(d.data(), 8, 4, a.data(), b.data(), 2, 1, 8, 2, 2, 1, 1),
        QM_OK);
    EXPECT_EQ(d, (Bytes{10, 10, 0, 77, 20, 10, 127, 77}));
    d.assign(8, 77);
    EXPECT_EQ(
        Api::AccPhotobleachProcessing(d.data(), 4, 2, a.data(), b.data(), 2, 1, 8, 2, 2, 1, 1),
        QM_OK);
    EXPECT_EQ(d, (Bytes{10, 10, 20, 10, 77, 77, 77, 77}));
}

TEST(AccPhotobleach, RefusesNothings) {
    uint8_t d[3] = {7, 7, 7};
    const uint8_t a = 5, b = 4;
    using Arguments = std::array<uint64_t, 6>;  // strides and components, depth, width, size
    const auto call = [&](void* dst, const void* first, const void* second, Arguments n) {
        return Api::AccPhotobleachProcessing(
            dst, static_cast<uint32_t>(n[0]), static_cast<uint32_t>(n[1]), first, second,
            static_cast<uint32_t>(n[2]), static_cast<uint32_t>(n[3]), static_cast<uint32_t>(n[4]),
            static_cast<uint32_t>(n[5]), n[5], 1, 1);
    };
    const Arguments good{3, 3, 1, 1, 8, 1};
    EXPECT_EQ(call(nullptr, &a, &b, good), QM_REJECTED);
    EXPECT_EQ(call(d, nullptr, &b, good), QM_REJECTED);
    EXPECT_EQ(call(d, &a, nullptr, good), QM_REJECTED);
    for (size_t i = 0; i < good.size(); ++i) {
        Arguments bad = good;
        bad[i] = 0;
        EXPECT_EQ(call(d, &a, &b, bad), QM_REJECTED) << i;
    }
    EXPECT_EQ(Api::AccPhotobleachProcessing(d, 3, 3, &a, &b, 1, 1, 8, 1, 0, 1, 1), QM_REJECTED);
    for (const uint32_t bpc : {17u, 24u, 32u, 40u}) {
        Arguments deep = good;
        deep[4] = bpc;
        EXPECT_EQ(call(d, &a, &b, deep), QM_OK);
    }
    EXPECT_EQ(d[0] + d[1] + d[2], 21);
    EXPECT_EQ(call(d, &a, &b, good), QM_OK);
    EXPECT_EQ(d[0], 5);
}

// ----- Pairs with weights ------------------------------------------------------------------------

uint64_t clipped(double value, uint32_t bpc) {
    const double top = static_cast<double>((1u << bpc) - 1);
    if (std::isnan(value) || value < 0) return 0;
    return static_cast<uint64_t>(value > top ? top : value);
}

/// A pixel, from its table of pairs.
Values combined(const Values& pixel, uint32_t to, const std::vector<int>* ids,
                const std::vector<double>& weights, uint32_t bpc) {
    const auto from = static_cast<uint32_t>(pixel.size());
    Values result;
    for (uint32_t k = 0; k < to; ++k) {
        uint32_t p = k + 1, q = k + 1;
        if (ids != nullptr) {
            Values places;
            for (uint32_t i = 0; i < from; ++i)
                if ((*ids)[i] == static_cast<int>(k + 1)) places.push_back(i + 1);
            p = places.empty() ? 0 : static_cast<uint32_t>(places[0]);
            q = places.size() < 2 ? 0 : static_cast<uint32_t>(places[1]);
        }
        if (p >= 1 && p <= from && q >= 1 && q <= from)
            result.push_back(clipped(static_cast<double>(pixel[q - 1]) * weights[k] +
                                         static_cast<double>(pixel[p - 1]) + 0.5,
                                     bpc));
        else if (from % 2 == 1 && k == to - 1 && k < from)
            result.push_back(pixel[k]);
        else
            result.push_back(0);
    }
    return result;
}

void check_pairs(Round round) {
    Random& random = round.random;
    const uint32_t from = random.components(), to = random.components();
    const Format format = draw_format(round, from);
    const Size size = draw_size(random, std::max(from, to));
    const GuardedPicture s(format, size, random);
    GuardedPicture d({to, format.bits, format.bpc}, size, random);
    std::vector<int> ids(from);
    for (int& id : ids) id = static_cast<int>(random(0, to + 2)) - 1;
    std::vector<double> weights(to);
    for (double& weight : weights)
        weight = random(0, 3) ? random(0, 4000) / 1000.0 - 2
                              : random.one_of({0.0, 1.0, -1.0, 1e10, -1e10, kNaN, kInfinity});
    const bool paired = random(0, 2) != 0;

    Values expected;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            Values pixel;
            for (uint32_t c = 0; c < from; ++c) pixel.push_back(s.get(x * from + c, y));
            const Values result = combined(pixel, to, paired ? &ids : nullptr, weights, format.bpc);
            expected.insert(expected.end(), result.begin(), result.end());
        }
    const auto outside = d.outside();

    ASSERT_EQ(Api::ZorbenProcessing(d.data(), d.stride(), to, s.data(), s.stride(), from,
                                    paired ? ids.data() : nullptr, weights.data(), format.bpc,
                                    size.width, size.pixels),
              QM_OK);
    ASSERT_EQ(d.content(), expected) << from << " to " << to << ", " << format.bpc << " bits";
    EXPECT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

Bytes paired(const Bytes& pixel, const std::vector<int>& ids, const std::vector<double>& weights) {
    Bytes d(weights.size(), 77);
    const auto from = static_cast<uint32_t>(pixel.size()), to = static_cast<uint32_t>(d.size());
    EXPECT_EQ(Api::ZorbenProcessing(d.data(), to, to, pixel.data(), from, from,
                                    ids.empty() ? nullptr : ids.data(), weights.data(), 8, 1, 1),
              QM_OK);
    return d;
}

TEST(Zorben, WithoutPairsTakesAComponentTwice) {
    EXPECT_EQ(paired({10, 100, 200}, {}, {1, 1, 1}), (Bytes{20, 200, 255}));
    EXPECT_EQ(paired({10, 100, 200}, {}, {0.25, -0.5, -2}), (Bytes{13, 50, 0}));  // 13.0, 50.5
}

TEST(Zorben, WeighsTheSecondPlaceOfAnId) {
    // 1 stands at the places of 10 and 30, 2 at those of 20 and 50; what follows does not count.
    EXPECT_EQ(paired({10, 20, 30, 50, 99, 99}, {1, 2, 1, 2, 1, 2}, {0.5, -0.1}),
              (Bytes{25, 15}));  // 10 + 15 + 0.5, 20 - 5 + 0.5
}

TEST(Zorben, WithoutAPairIs0) {
    EXPECT_EQ(paired({10, 20, 30, 40}, {1, 2, 2, 7}, {1, 1, 1, 1}), (Bytes{0, 50, 0, 0}));
    EXPECT_EQ(paired({10, 20}, {}, {1, 1, 1, 1}), (Bytes{20, 40, 0, 0}));  // no such source
}

TEST(Zorben, KeepsTheLastOfAnOddNumber) {
    EXPECT_EQ(paired({10, 20, 30}, {1, 1, 9}, {1, 1, 1}), (Bytes{30, 0, 30}));
    EXPECT_EQ(paired({10, 20, 30}, {9, 9, 9}, {1, 1}), (Bytes{0, 20}));         // the last of two
    EXPECT_EQ(paired({10, 20, 30}, {}, {0, 0, 0, 0}), (Bytes{10, 20, 30, 0}));  // k is none of 3
    EXPECT_EQ(paired({10, 20}, {9, 9}, {1, 1}), (Bytes{0, 0}));                 // an even number
}

TEST(Zorben, RoundsAndClips) {
    EXPECT_EQ(paired({100}, {}, {0.245}), (Bytes{125}));  // 125.0
    EXPECT_EQ(paired({100}, {}, {0.244}), (Bytes{124}));  // 124.9
    EXPECT_EQ(paired({100}, {}, {-1.004}), (Bytes{0}));   // 0.1
    EXPECT_EQ(paired({100}, {}, {-1.01}), (Bytes{0}));    // -0.5
    EXPECT_EQ(paired({100}, {}, {kNaN}), (Bytes{0}));
    const Words s{3000};
    const double weight = 1;
    for (const auto& [bpc, value] : {std::pair(12u, 4095), {13u, 6000}, {9u, 511}}) {
        Words d(1);
        EXPECT_EQ(
            Api::ZorbenProcessing(d.data(), 2, 1, s.data(), 2, 1, nullptr, &weight, bpc, 1, 1),
            QM_OK);
        EXPECT_EQ(d[0], value);
    }
}

TEST(Zorben, RefusesNothings) {
    uint8_t d = 7;
    const uint8_t s = 5;
    const double weight = 1;
    const int id = 1;
    using Arguments = std::array<uint32_t, 6>;
    const auto call = [&](void* dst, const void* src, const double* weights, Arguments n) {
        return Api::ZorbenProcessing(dst, n[0], n[1], src, n[2], n[3], &id, weights, n[4], n[5],
                                     n[5]);
    };
    const Arguments good{1, 1, 1, 1, 8, 1};
    EXPECT_EQ(call(nullptr, &s, &weight, good), QM_REJECTED);
    EXPECT_EQ(call(&d, nullptr, &weight, good), QM_REJECTED);
    EXPECT_EQ(call(&d, &s, nullptr, good), QM_REJECTED);
    for (size_t i = 0; i < good.size(); ++i) {
        Arguments bad = good;
        bad[i] = 0;
        EXPECT_EQ(call(&d, &s, &weight, bad), QM_REJECTED) << i;
    }
    EXPECT_EQ(Api::ZorbenProcessing(&d, 1, 1, &s, 1, 1, &id, &weight, 8, 1, 0), QM_REJECTED);
    EXPECT_EQ(Api::ZorbenProcessing(&d, 1, 1, &s, 1, 1, &id, &weight, 17, 1, 1), QM_OK);
    EXPECT_EQ(Api::ZorbenProcessing(&d, 1, 1, &s, 1, 1, &id, &weight, 32, 1, 1), QM_OK);
    EXPECT_EQ(Api::ZorbenProcessing(&d, 1, 1, &s, 1, 1, &id, &weight, 8, 2, 1), QM_OK);  // no row
    EXPECT_EQ(d, 7);
}

// ----- Screen ------------------------------------------------------------------------------------

struct Depths {
    uint32_t d, a, b;
};

double screened(double f, double d) { return f + d - f * d; }

uint64_t mixed(uint64_t a, uint64_t b, Depths bits, double gamma) {
    const auto top = [](uint32_t depth) { return static_cast<double>((1u << depth) - 1); };
    const double x = static_cast<double>(a), y = static_cast<double>(b);
    if (bits.d > 8) {
        const double f = std::pow(x / top(bits.a), 1.0 / gamma), d = y / top(bits.b);
        return cut(std::floor(screened(f, d) * top(bits.d))) & 0xFFFF;
    }
    if (bits.a <= 8 && bits.b <= 8) {
        const double f = std::pow(x / 255.0, 1.0 / gamma), d = y / 255.0;
        return cut(std::floor(screened(f, d) * 255.0)) & 0xFF;
    }
    const uint32_t m = bits.a < 8 ? 1u << bits.a : 0;
    uint64_t first = 0;
    if (a < m) first = cut(std::floor(std::pow(x / m, 1.0 / gamma) * 255.0)) & 0xFF;
    const uint64_t second = b >> ((bits.b - 8) & 31);
    return cut(std::floor(
               screened(static_cast<double>(first) / 255.0, static_cast<double>(second) / 255.0) *
               255.0)) &
           0xFF;
}

/// `deep`: sources deeper than a destination of bytes, all walked as bytes.
void check_mix(Round round, uint32_t bits, bool deep) {
    Random& random = round.random;
    const auto depth = [&] { return bits == 8 ? random(0, 8) : random(9, 16); };
    Depths depths{};
    depths.d = depth();
    depths.a = depth();
    depths.b = depth();
    if (deep) {
        (random(0, 1) ? depths.a : depths.b) = random.one_of({9u, 12u, 15u, 16u, 17u, 32u, 40u});
        if (random(0, 2) == 0) depths.b = random(9, 16);
    }
    const uint32_t to = random(1, 5), from_a = random(1, 5), from_b = random(1, 5);
    const uint32_t component = random(0, from_a - 1);
    const Size size = draw_size(random, 5);
    const GuardedPicture a({from_a, bits, bits}, size, random),
        b({from_b, bits, bits}, size, random);
    GuardedPicture d({to, bits, bits}, size, random);
    const double gamma = random(0, 1)
                             ? random(100, 4000) / 1000.0
                             : random.one_of({1.0, 0.0, -1.0, 0.001, -0.1, kInfinity, kNaN, 2.0});

    Values expected = d.content();
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x)
            expected[uint64_t{y} * d.samples() + x * to + (component < to ? component : 0)] =
                mixed(a.get(x * from_a + component, y), b.get(x * from_b, y), depths, gamma);
    const auto outside = d.outside();

    ASSERT_EQ(Api::MixDicAndFluo(d.data(), d.stride(), to, depths.d, a.data(), a.stride(), from_a,
                                 depths.a, b.data(), b.stride(), from_b, depths.b, component, gamma,
                                 size.width, size.pixels),
              QM_OK);
    ASSERT_EQ(d.content(), expected)
        << depths.d << ", " << depths.a << ", " << depths.b << " bits, " << gamma;
    EXPECT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

/// One pixel of one component.
template <class T>
uint32_t mix(Depths bits, T a, T b, double gamma) {
    T d = 77;
    EXPECT_EQ(
        Api::MixDicAndFluo(&d, 1, 1, bits.d, &a, 1, 1, bits.a, &b, 1, 1, bits.b, 0, gamma, 1, 1),
        QM_OK);
    return d;
}

TEST(MixDicAndFluo, IsAScreenOfBytes) {
    const Depths bits{8, 8, 8};
    EXPECT_EQ(mix<uint8_t>(bits, 128, 64, 1.0), 159u);  // 255 * (0.50196 + 0.25098 - 0.12598)
    EXPECT_EQ(mix<uint8_t>(bits, 0, 0, 1.0), 0u);
    EXPECT_EQ(mix<uint8_t>(bits, 64, 0, 2.0), 127u);  // 255 * 0.50098
    EXPECT_EQ(mix<uint8_t>(bits, 64, 0, 0.5), 16u);   // 255 * 0.06299
    for (const uint8_t other : Bytes{0, 1, 4, 9, 100, 128, 255}) {
        EXPECT_EQ(mix<uint8_t>(bits, 255, other, 1.0), 255u);
        EXPECT_EQ(mix<uint8_t>(bits, other, 255, 1.0), 255u);
    }
}

// (f + 1) - f is rounded twice, and some f lose a bit by it.
TEST(MixDicAndFluo, IsComputedFromLeftToRight) {
    const std::vector<std::pair<int, int>> one_less{{5, 8},     {21, 23},   {37, 40},   {53, 54},
                                                    {70, 73},   {102, 105}, {132, 139}, {164, 171},
                                                    {196, 203}, {228, 235}};
    for (int other = 0; other < 256; ++other) {
        uint32_t expected = 255;
        for (const auto& [first, last] : one_less)
            if (other >= first && other <= last) expected = 254;
        EXPECT_EQ(mix<uint8_t>({8, 8, 8}, static_cast<uint8_t>(other), 255, 1.0), expected)
            << other;
    }
}

TEST(MixDicAndFluo, TakesTheTopOfEachDepthInWords) {
    EXPECT_EQ(mix<uint16_t>({12, 10, 16}, 512, 0, 1.0), 2049u);  // 4095 * 512 / 1023
    EXPECT_EQ(mix<uint16_t>({16, 12, 9}, 0, 511, 1.0), 65535u);
    EXPECT_EQ(mix<uint16_t>({10, 12, 12}, 1024, 0, 2.0), 511u);  // 1023 * 0.50006
    EXPECT_EQ(mix<uint16_t>({9, 9, 9}, 1022, 0, 1.0), 1022u);    // a sample above its depth
    // floor(1.5 * 511 - ...): f 2, d 0.5 give 2 + 0.5 - 1.
    EXPECT_EQ(mix<uint16_t>({9, 9, 10}, 1022, 1023, 1.0), 511u);
}

TEST(MixDicAndFluo, TakesTheSecondAloneWhereTheFirstIsDeeperThanBytes) {
    for (const uint32_t depth : {9u, 10u, 12u, 16u, 17u, 32u})
        for (int b = 0; b < 256; ++b) {
            EXPECT_EQ(mix<uint8_t>({8, depth, 8}, 200, static_cast<uint8_t>(b), 1.0),
                      static_cast<uint32_t>(b));
            EXPECT_EQ(mix<uint8_t>({8, depth, 12}, 200, static_cast<uint8_t>(b), 1.0),
                      static_cast<uint32_t>(b >> 4));
        }
    EXPECT_EQ(mix<uint8_t>({8, 8, 12}, 200, 0xF0, 1.0), 0x0Fu);  // 8 bits have no table either
}

TEST(MixDicAndFluo, HasATableForAShallowFirstBesideADeepSecond) {
    // 2^7 entries: 64 / 128 is 127 of 255.
    EXPECT_EQ(mix<uint8_t>({8, 7, 9}, 64, 0, 1.0), 127u);
    EXPECT_EQ(mix<uint8_t>({8, 7, 9}, 127, 0, 1.0), 253u);  // 253.008
    EXPECT_EQ(mix<uint8_t>({8, 7, 9}, 128, 0, 1.0), 0u);    // behind the last
    EXPECT_EQ(mix<uint8_t>({8, 7, 9}, 32, 0, 2.0), 127u);   // the root of a quarter
    EXPECT_EQ(mix<uint8_t>({8, 7, 9}, 0, 200, 1.0), 100u);  // shifted by one
}

TEST(MixDicAndFluo, WalksBytesWhereASourceIsDeeper) {
    const Words a{0x1234, 0x5678}, b{0x2211, 0x4433};
    Bytes d(3, 77);
    EXPECT_EQ(
        Api::MixDicAndFluo(d.data(), 3, 1, 8, a.data(), 4, 1, 12, b.data(), 4, 1, 16, 0, 1.0, 3, 3),
        QM_OK);
    EXPECT_EQ(d, Bytes(3, 0));  // bytes shifted by 8
    EXPECT_EQ(
        Api::MixDicAndFluo(d.data(), 3, 1, 8, a.data(), 4, 1, 12, b.data(), 4, 1, 8, 0, 1.0, 3, 3),
        QM_OK);
    EXPECT_EQ(d, (Bytes{0x11, 0x22, 0x33}));
}

TEST(MixDicAndFluo, WritesOneComponent) {
    const Bytes a{1, 2, 255, 3, 4, 0}, b{0, 9, 0, 9};
    Bytes d(6, 77);
    EXPECT_EQ(
        Api::MixDicAndFluo(d.data(), 6, 3, 8, a.data(), 6, 3, 8, b.data(), 4, 2, 8, 2, 1.0, 2, 2),
        QM_OK);
    EXPECT_EQ(d, (Bytes{77, 77, 255, 77, 77, 0}));
    d.assign(6, 77);  // two components have no third: the first
    EXPECT_EQ(
        Api::MixDicAndFluo(d.data(), 4, 2, 8, a.data(), 6, 3, 8, b.data(), 4, 2, 8, 2, 1.0, 2, 2),
        QM_OK);
    EXPECT_EQ(d, (Bytes{255, 77, 0, 77, 77, 77}));
}

TEST(MixDicAndFluo, RefusesDepths) {
    Words d(4, 7), s(4, 9);
    const auto call = [&](Depths bits, const void* a) {
        return Api::MixDicAndFluo(d.data(), 2, 1, bits.d, a, 2, 1, bits.a, s.data(), 2, 1, bits.b,
                                  0, 1.0, 1, 1);
    };
    for (const Depths bits : {Depths{9, 8, 9},
                              {9, 9, 8},
                              {16, 17, 16},
                              {16, 16, 17},
                              {17, 16, 16},
                              {32, 32, 32},
                              {12, 0, 12}}) {
        EXPECT_EQ(call(bits, s.data()), QM_NO_KERNEL) << bits.d << ", " << bits.a;
        EXPECT_EQ(call(bits, nullptr), QM_NO_KERNEL);
    }
    EXPECT_EQ(call({16, 16, 16}, nullptr), QM_OK);
    EXPECT_EQ(
        Api::MixDicAndFluo(d.data(), 2, 1, 8, s.data(), 2, 1, 8, nullptr, 2, 1, 8, 0, 1, 1, 1),
        QM_OK);
    EXPECT_EQ(
        Api::MixDicAndFluo(d.data(), 2, 1, 8, s.data(), 2, 1, 8, s.data(), 2, 1, 8, 0, 1, 0, 1),
        QM_OK);
    EXPECT_EQ(d, Words(4, 7));
    EXPECT_EQ(call({0, 1, 7}, s.data()), QM_OK);
    EXPECT_NE(d, Words(4, 7));
}

/// Pictures that are great enough for tables give the same, also without memory for them.
TEST(MixDicAndFluo, OfGreatPicturesIsThatOfSmallOnes) {
    Bytes a(512 * 256), b(a.size()), d(a.size(), 77);
    for (size_t i = 0; i < a.size(); ++i)
        a[i] = static_cast<uint8_t>(i), b[i] = static_cast<uint8_t>(i >> 8);
    const auto bytes = [&] {
        return Api::MixDicAndFluo(d.data(), 512, 1, 8, a.data(), 512, 1, 8, b.data(), 512, 1, 8, 0,
                                  1.7, 512, d.size());
    };
    Words p(4096), q(p.size()), r(p.size(), 77);  // 9 bits, with samples above them
    for (size_t i = 0; i < p.size(); ++i)
        p[i] = static_cast<uint16_t>(i % 700), q[i] = static_cast<uint16_t>(i % 512);
    const auto words = [&] {
        return Api::MixDicAndFluo(r.data(), 128, 1, 9, p.data(), 128, 1, 9, q.data(), 128, 1, 9, 0,
                                  1.7, 64, r.size());
    };
    const auto check = [&](const Outcome& outcome) {
        EXPECT_EQ(outcome.code_or_throw(), QM_OK);
        EXPECT_EQ(outcome.live, 0);
    };
    for (const uint32_t nth : {0u, 1u}) {
        check(with_failing(nth, FailingAlloc::kOnce, bytes));
        check(with_failing(nth, FailingAlloc::kOnce, words));
        for (size_t i = 0; i < d.size(); ++i)
            ASSERT_EQ(d[i], mixed(a[i], b[i], {8, 8, 8}, 1.7)) << i;
        for (size_t i = 0; i < r.size(); ++i)
            ASSERT_EQ(r[i], mixed(p[i], q[i], {9, 9, 9}, 1.7)) << i;
        d.assign(d.size(), 77);
        r.assign(r.size(), 77);
    }
}

// ----- All ---------------------------------------------------------------------------------------

int not_0(uint32_t components, uint32_t bpc) {
    return components == 0 || bpc == 0 ? QM_REJECTED : QM_OK;
}

const bool registered = add_cases(
    {{"CQmPicMemAPI_Base::AccPhotobleachProcessing", check_photobleach, 64},
     {"CQmPicMemAPI_Base::ZorbenProcessing", check_pairs, 64},
     {"CQmPicMemAPI_Base::MixDicAndFluo", [](Round round) { check_mix(round, 8, false); }, 24},
     {"CQmPicMemAPI_Base::MixDicAndFluo of words", [](Round round) { check_mix(round, 16, false); },
      24},
     {"CQmPicMemAPI_Base::MixDicAndFluo of bytes and deeper sources",
      [](Round round) { check_mix(round, 8, true); }, 24}},
    {{"CQmPicMemAPI_Base::AccPhotobleachProcessing",
      [](const EntryCall& c) {
          return Api::AccPhotobleachProcessing(c.dst, c.stride + 1, c.components, c.src, c.src,
                                               c.stride + 1, c.components, c.bpc, c.width, c.size,
                                               1.0, 2.0);
      },
      not_0, true, false},
     {"CQmPicMemAPI_Base::ZorbenProcessing",
      [](const EntryCall& c) {
          static constexpr double kWeights[6] = {1, 2, 3, 4, 5, 6};
          return Api::ZorbenProcessing(c.dst, c.stride + 1, c.components, c.src, c.stride + 1,
                                       c.components, nullptr, kWeights, c.bpc, c.width, c.size);
      },
      not_0, true, false},
     {"CQmPicMemAPI_Base::MixDicAndFluo",
      [](const EntryCall& c) {
          return Api::MixDicAndFluo(c.dst, c.stride, c.components, c.bpc, c.src, c.stride,
                                    c.components, c.bpc, c.src, c.stride, c.components, c.bpc, 0,
                                    1.0, c.width, c.size);
      },
      [](uint32_t, uint32_t bpc) { return bpc <= 16 ? QM_OK : QM_NO_KERNEL; }, true, false}});

TEST(Acquisition, RunsInTheCallingThread) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    Words d(3 * 4096), s(3 * 4096, 5);
    const double weights[3] = {1, 1, 1};
    std::vector<uint32_t> bins(256, 1000);
    const WatchedRegions regions;
    for (const uint32_t bpc : {8u, 16u}) {
        Api::AccPhotobleachProcessing(d.data(), 6, 3, s.data(), s.data(), 6, 3, bpc, 1, 4096, 1, 1);
        Api::ZorbenProcessing(d.data(), 6, 3, s.data(), 6, 3, nullptr, weights, bpc, 1, 4096);
        Api::MixDicAndFluo(d.data(), 6, 3, bpc, s.data(), 6, 3, bpc, s.data(), 6, 3, bpc, 1, 1, 1,
                           4096);
        Api::MonoDetectLocalPeaks(d.data(), bpc, 6, s.data(), bpc, 6, 3, 3 * 4096, 1, 2);
        Api::ThresholdFromIntegralCircularity(s.data(), bpc, 1, 6, 3, 3 * 4096, true, 0, 0);
        Api::ThresholdFromIntegralCircularity(s.data(), bpc, 1, 6, s.data(), bpc, 6, 3, 3 * 4096,
                                              true, 0, 0, 5, true);
    }
    Api::GainedProblem(nullptr, bins.data(), 0, 4, 1, 8);
    EXPECT_TRUE(regions.teams().empty());
}

}  // namespace
}  // namespace qmpic::test
