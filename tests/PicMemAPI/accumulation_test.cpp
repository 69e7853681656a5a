#include "qmpic/kernels/accumulation.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include "PicMemAPI/accumulation_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/float_picture.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Entries = CQmPicMemAPI_Base;

// ----- Averages: what they promise, one sample after the other ----------------------------------

/// What 32 bits hold of a number that is cut, and of those the low `bits`.
uint64_t cut(double value, uint32_t bits) {
    if (std::isnan(value) || value <= -2147483649.0 || value >= 2147483648.0) return 0;
    return static_cast<uint64_t>(static_cast<int64_t>(value)) & ((uint64_t{1} << bits) - 1);
}

uint64_t average(uint64_t old, uint64_t source, double a, double w, uint32_t bits) {
    if (bits == 32) {
        const double of_old = std::bit_cast<float>(static_cast<uint32_t>(old)),
                     of_source = std::bit_cast<float>(static_cast<uint32_t>(source));
        return comparable(static_cast<float>((of_source * w + of_old * a) / (w + a) + 0.5));
    }
    return cut((static_cast<double>(source) * w + static_cast<double>(old) * a) / (w + a) + 0.5,
               bits);
}
uint64_t average(uint64_t old, uint64_t source, float a, float w, uint32_t bits) {
    const float first = static_cast<float>(source) * w, second = static_cast<float>(old) * a;
    const float sum = first + second, weight = w + a;
    return cut(double{sum / weight}, bits);
}

/// A plane of weights, in words of 32 bits, so that it may be guarded like any picture.
template <class Real>
class Weights {
  public:
    Weights(Size size, Random& random) : words_({kWords, 32, 32}, size, random) {}
    Real get(uint32_t x, uint32_t y) const {
        if constexpr (kWords == 1)
            return std::bit_cast<float>(static_cast<uint32_t>(words_.get(x, y)));
        else
            return std::bit_cast<double>(words_.get(2 * x, y) | words_.get(2 * x + 1, y) << 32);
    }
    void set(uint32_t x, uint32_t y, Real value) {
        if constexpr (kWords == 1) {
            words_.set(x, y, std::bit_cast<uint32_t>(value));
        } else {
            words_.set(2 * x, y, std::bit_cast<uint64_t>(value) & 0xFFFFFFFF);
            words_.set(2 * x + 1, y, std::bit_cast<uint64_t>(value) >> 32);
        }
    }
    Real* data() const { return static_cast<Real*>(words_.data()); }
    uint32_t stride() const { return words_.stride(); }
    std::vector<uint8_t> outside() const { return words_.outside(); }

  private:
    static constexpr uint32_t kWords = sizeof(Real) / 4;
    GuardedPicture words_;
};

/// Which NaN comes out is the processor's choice.
template <class Real>
uint64_t bits_of(Real value) {
    if (std::isnan(value)) return 1;
    if constexpr (sizeof(Real) == 4)
        return std::bit_cast<uint32_t>(value);
    else
        return std::bit_cast<uint64_t>(value);
}

// Weights as they are given, and now and then what is none.
enum Kind { kCounts, kFractions, kAnything };
template <class Real>
Real draw_weight(Kind kind, Random& random) {
    if (kind == kCounts) return static_cast<Real>(random(0, 3));
    if (kind == kFractions || random(0, 3) != 0)
        return static_cast<Real>(random(0, 4000)) / static_cast<Real>(random(1, 1000));
    constexpr Real kMost = std::numeric_limits<Real>::max(), kEnd = kMost / 2;
    return random.one_of({Real(0), Real(-0.0), Real(-1), Real(-2.5), Real(1), kMost, -kMost, kEnd,
                          std::numeric_limits<Real>::min(), std::numeric_limits<Real>::denorm_min(),
                          std::numeric_limits<Real>::infinity(),
                          std::numeric_limits<Real>::quiet_NaN(), Real(1e-30), Real(1e30),
                          Real(0x1p-100), Real(0x1p100), Real(0x1p-126), Real(0x1p60)});
}

template <class Real, class Run>
void check_average(Round round, const Run& run, Format format) {
    Random& random = round.random;
    const Size size = random.size(std::max(format.components, 1u));
    GuardedPicture d(format, size, random), other(format, size, random);
    Weights<Real> weights(size, random), other_weights(size, random);
    const Kind kind = random.one_of({kCounts, kFractions, kFractions, kAnything});
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            weights.set(x, y, draw_weight<Real>(kind, random));
            other_weights.set(x, y, draw_weight<Real>(kind, random));
        }
    if (format.bits == 32)
        for (GuardedPicture* const picture : {&d, &other})
            for (uint32_t y = 0; y < size.height; ++y)
                for (uint32_t i = 0; i < picture->samples(); ++i)
                    picture->set(i, y, std::bit_cast<uint32_t>(draw_float(random)));
    const bool same = random(0, 3) == 0, same_weights = random(0, 3) == 0;
    const GuardedPicture& s = same ? d : other;
    const Weights<Real>& w = same_weights ? weights : other_weights;
    std::vector<uint64_t> expected, expected_weights;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            for (uint32_t c = 0; c < format.components; ++c) {
                const uint32_t i = x * format.components + c;
                expected.push_back(
                    average(d.get(i, y), s.get(i, y), weights.get(x, y), w.get(x, y), format.bits));
            }
            const Real sum = weights.get(x, y) + w.get(x, y);
            expected_weights.push_back(bits_of(sum));
        }
    const auto outside = d.outside(), outside_weights = weights.outside();

    ASSERT_EQ(run(d, weights, s, w), QM_OK);

    std::vector<uint64_t> found = d.content(), found_weights;
    if (format.bits == 32)
        for (uint64_t& value : found)
            value = comparable(std::bit_cast<float>(static_cast<uint32_t>(value)));
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x)
            found_weights.push_back(bits_of(weights.get(x, y)));
    ASSERT_EQ(found, expected) << size.width << " x " << size.height << " pixels of "
                               << format.components << " x " << format.bits;
    ASSERT_EQ(found_weights, expected_weights);
    ASSERT_EQ(d.outside(), outside);
    ASSERT_EQ(weights.outside(), outside_weights);
    round.digest.add(expected);
    round.digest.add(expected_weights);
}

template <class Real, class List>
void add_averages(std::vector<KernelCase>& all, const List& list) {
    for (const auto& kernel : list)
        all.push_back({std::string(kernel.name),
                       [=](Round round) {
                           const Layout layout = kernel.source;
                           const uint32_t components =
                               layout.components ? layout.components : round.random.components();
                           check_average<Real>(
                               round,
                               [=](const GuardedPicture& d, const Weights<Real>& a,
                                   const GuardedPicture& s, const Weights<Real>& w) {
                                   return kernel.run(d.data(), d.stride(), a.data(), a.stride(),
                                                     s.data(), s.stride(), w.data(), w.stride(),
                                                     components, d.size().width, d.size().pixels);
                               },
                               {components, layout.bits, layout.bits});
                       },
                       80});
}

// ----- Sums --------------------------------------------------------------------------------------

void check_sums(Round round, SumValuesNKernel* kernel, Format format) {
    Random& random = round.random;
    const Size size = random.size(std::max(format.components, 1u));
    const GuardedPicture s(format, size, random);
    std::vector<uint64_t> expected(format.components + 1), sums;
    for (uint64_t& sum : expected) sum = random.one_of({uint64_t{0}, uint64_t{random.any()} << 8});
    sums = expected;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t i = 0; i < s.samples(); ++i) expected[i % format.components] += s.get(i, y);
    ASSERT_EQ(kernel(sums.data(), s.data(), format.components, s.stride(), size.width, size.pixels),
              QM_OK);
    ASSERT_EQ(sums, expected) << size.width << " x " << size.height << " pixels of "
                              << format.components << " x " << format.bits;
    round.digest.add(sums);
}

std::vector<KernelCase> cases() {
    std::vector<KernelCase> all;
    add_averages<double>(all, kAverageUpdate);
    add_averages<float>(all, kAverageUpdateFloat);
    for (const auto& kernel : kSumValues)
        all.push_back(
            {std::string(kernel.name), [=](Round round) {
                 const Layout layout = kernel.source;
                 const uint32_t components =
                     layout.components ? layout.components : round.random.components();
                 const Format format{components, layout.bits, round.in_turn(depths(layout.bits))};
                 check_sums(round, kernel.run, format);
             }});
    return all;
}

// ----- Entries -----------------------------------------------------------------------------------

template <class Real>
struct EntryWeights {
    std::vector<Real> a = std::vector<Real>(kEntryWidth * kEntryRows, 1), w = a;
    static constexpr uint32_t kStride = kEntryWidth * sizeof(Real);
};

int up_to_16_and_32(uint32_t /*components*/, uint32_t bpc) {
    return bpc <= 16 || bpc == 32 ? QM_OK : QM_NO_KERNEL;
}
int up_to_16(uint32_t /*components*/, uint32_t bpc) { return bpc <= 16 ? QM_OK : QM_NO_KERNEL; }

template <class Real>
int call_with(uint32_t float_bits, const EntryCall& c) {
    EntryWeights<Real> weights;
    return Entries::AverageUpdate(c.dst, c.stride, static_cast<void*>(weights.a.data()),
                                  weights.kStride, c.src, c.stride, weights.w.data(),
                                  weights.kStride, c.components, c.bpc, float_bits, c.width,
                                  static_cast<uint32_t>(c.size));
}

const bool registered = add_cases(
    cases(), {{"CQmPicMemAPI_Base::AverageUpdate",
               [](const EntryCall& c) {
                   EntryWeights<double> weights;
                   return Entries::AverageUpdate(c.dst, c.stride, weights.a.data(), weights.kStride,
                                                 c.src, c.stride, weights.w.data(), weights.kStride,
                                                 c.components, c.bpc, c.width, c.size);
               },
               up_to_16_and_32, false, false},
              {"CQmPicMemAPI_Base::AverageUpdate with 64 bits",
               [](const EntryCall& c) { return call_with<double>(64, c); }, up_to_16, false, false},
              {"CQmPicMemAPI_Base::AverageUpdate with 32 bits",
               [](const EntryCall& c) { return call_with<float>(32, c); }, up_to_16, false, false},
              {"CQmPicMemAPI_Base::AverageUpdate with 16 bits",
               [](const EntryCall& c) { return call_with<float>(16, c); },
               [](uint32_t, uint32_t) { return int{QM_NO_KERNEL}; }, false, false},
              {"CQmPicMemAPI_Base::SumValues",
               [](const EntryCall& c) {
                   uint64_t sums[6] = {};
                   return Entries::SumValues(sums, c.src, c.components, c.bpc, c.stride, c.width,
                                             c.size);
               },
               bytes_and_words, true, false}});

TEST(AverageEntries, TakeTheKernelsOfTheFormat) {
    Random random(11);
    Digest digest;
    const Round round{0, random, digest};
    for (const uint32_t bpc : {0u, 1u, 7u, 8u, 9u, 12u, 15u, 16u, 32u})
        for (uint32_t components = 0; components <= 9; ++components) {
            SCOPED_TRACE(std::to_string(components) + " x " + std::to_string(bpc));
            const uint32_t bits = bpc <= 8 ? 8 : bpc <= 16 ? 16 : 32;
            const Format format{components, bits, bits};
            check_average<double>(
                round,
                [=](const auto& d, const auto& a, const auto& s, const auto& w) {
                    return Entries::AverageUpdate(d.data(), d.stride(), a.data(), a.stride(),
                                                  s.data(), s.stride(), w.data(), w.stride(),
                                                  components, bpc, d.size().width, d.size().pixels);
                },
                format);
            if (bpc == 32) continue;
            const auto second = [=](const auto& d, const auto& a, const auto& s, const auto& w) {
                const uint32_t float_bits = 8 * sizeof *a.data();
                return Entries::AverageUpdate(
                    d.data(), d.stride(), static_cast<void*>(a.data()), a.stride(), s.data(),
                    s.stride(), w.data(), w.stride(), components, bpc, float_bits, d.size().width,
                    static_cast<uint32_t>(d.size().pixels));
            };
            check_average<double>(round, second, format);
            check_average<float>(round, second, format);
            if (HasFatalFailure()) return;
        }
}

// ----- Numbers out of the documentation ----------------------------------------------------------

template <class T>
struct Averaged {
    T value;
    double weight;
    bool operator==(const Averaged&) const = default;
};
template <class T>
Averaged<T> with_doubles(T old, double a, T source, double w, uint32_t bpc) {
    EXPECT_EQ(Entries::AverageUpdate(&old, sizeof old, &a, 8, &source, sizeof source, &w, 8, 1, bpc,
                                     1, 1),
              QM_OK);
    return {old, a};
}
template <class T>
Averaged<T> with_floats(T old, float a, T source, float w, uint32_t bpc) {
    EXPECT_EQ(Entries::AverageUpdate(&old, sizeof old, static_cast<void*>(&a), 4, &source,
                                     sizeof source, &w, 4, 1, bpc, 32, 1, 1),
              QM_OK);
    return {old, a};
}

TEST(Average, OfDoublesIsWeightedAndTheWeightsAddUp) {
    EXPECT_EQ(with_doubles<uint8_t>(100, 1, 200, 1, 8), (Averaged<uint8_t>{150, 2}));
    EXPECT_EQ(with_doubles<uint8_t>(100, 3, 200, 1, 8), (Averaged<uint8_t>{125, 4}));
    EXPECT_EQ(with_doubles<uint16_t>(100, 1, 200, 3, 12), (Averaged<uint16_t>{175, 4}));
}

TEST(Average, OfDoublesRoundsAndOfFloatsCuts) {
    EXPECT_EQ(with_doubles<uint8_t>(100, 1, 101, 1, 8).value, 101);
    EXPECT_EQ(with_floats<uint8_t>(100, 1, 101, 1, 8), (Averaged<uint8_t>{100, 2}));
    EXPECT_EQ(with_doubles<uint16_t>(100, 1, 101, 1, 16).value, 101);
    EXPECT_EQ(with_floats<uint16_t>(100, 1, 101, 1, 16).value, 100);
    EXPECT_EQ(with_doubles<uint8_t>(255, 1, 255, 1, 8).value, 255);
}

TEST(Average, OfFloatsMayLoseOneOfEqualValues) {
    EXPECT_EQ(with_floats<uint8_t>(7, 0.2f, 7, 0.1f, 8).value, 6);
    EXPECT_EQ(with_doubles<uint8_t>(7, 0.2, 7, 0.1, 8).value, 7);
}

TEST(Average, StoresTheLowBitsOfNegativeOnesAnd0ForWhatIsNoNumber) {
    EXPECT_EQ(with_doubles<uint16_t>(85, 1, 0, -2, 16).value, 65452);  // -85 + 0.5 is -84.5
    EXPECT_EQ(with_floats<uint8_t>(85, 1, 0, -2, 8).value, 171);       // -85
    EXPECT_EQ(with_doubles<uint8_t>(85, 0, 77, 0, 8), (Averaged<uint8_t>{0, 0}));
    EXPECT_EQ(with_floats<uint16_t>(85, 0, 77, 0, 16), (Averaged<uint16_t>{0, 0}));
    EXPECT_EQ(with_doubles<uint16_t>(85, 1, 77, -1, 16), (Averaged<uint16_t>{0, 0}));
    // 65535 * (2^15 + 1) is above 2^31; 65535 * (2^14 + 1) is 0x4000BFFF.
    EXPECT_EQ(with_doubles<uint16_t>(0, -1, 65535, 1 + 0x1p-15, 16).value, 0);
    EXPECT_EQ(with_doubles<uint16_t>(0, -1, 65535, 1 + 0x1p-14, 16).value, 0xBFFF);
}

TEST(Average, OfFloatPicturesRisesByAHalfEachTime) {
    float d = 1, s = 2;
    double a = 1;
    const double w = 1;
    const auto update = [&] {
        EXPECT_EQ(Entries::AverageUpdate(&d, 4, &a, 8, &s, 4, &w, 8, 1, 32, 1, 1), QM_OK);
    };
    update();
    EXPECT_EQ(d, 2.0f);
    s = 2;
    for (int i = 0; i < 3; ++i)
        update();  // 2.5; (2 + 2.5 * 3) / 4 + 0.5; (2 + 2.875 * 4) / 5 + 0.5
    EXPECT_EQ(d, 3.2f);
    EXPECT_EQ(a, 5.0);
}

TEST(Average, OfFourComponentsHasOneWeightAPixel) {
    uint8_t d[] = {0, 10, 20, 30, 100, 100, 100, 100}, s[] = {10, 20, 30, 40, 0, 50, 200, 255};
    double a[] = {1, 3};
    const double w[] = {1, 1};
    EXPECT_EQ(Entries::AverageUpdate(d, 8, a, 16, s, 8, w, 16, 4, 8, 2, 2), QM_OK);
    EXPECT_EQ(std::vector<uint8_t>(d, d + 8),
              (std::vector<uint8_t>{5, 15, 25, 35, 75, 88, 125, 139}));
    EXPECT_EQ(a[0], 2);
    EXPECT_EQ(a[1], 4);
}

TEST(Average, HasNoDepthsFrom17ButExactly32) {
    uint32_t d = 5, s = 6;
    double a = 1, w = 1;
    for (const uint32_t bpc : {17u, 24u, 31u, 33u, 64u})
        EXPECT_EQ(Entries::AverageUpdate(&d, 4, &a, 8, &s, 4, &w, 8, 1, bpc, 1, 1), QM_NO_KERNEL);
    for (const uint32_t float_bits : {32u, 64u})
        EXPECT_EQ(Entries::AverageUpdate(&d, 4, static_cast<void*>(&a), 8, &s, 4, &w, 8, 1, 32,
                                         float_bits, 1, 1),
                  QM_NO_KERNEL);
    EXPECT_EQ(d, 5u);
    EXPECT_EQ(a, 1.0);
}

TEST(Average, OfNoPixelsDoesNothing) {
    uint8_t d = 5, s = 6;
    double a = 1, w = 1;
    EXPECT_EQ(Entries::AverageUpdate(&d, 1, &a, 8, &s, 1, &w, 8, 1, 8, 0, 1), QM_OK);
    EXPECT_EQ(Entries::AverageUpdate(&d, 1, &a, 8, &s, 1, &w, 8, 1, 8, 1, 0), QM_OK);
    EXPECT_EQ(Entries::AverageUpdate(&d, 1, &a, 8, &s, 1, &w, 8, 1, 24, 0, 0), QM_NO_KERNEL);
    EXPECT_EQ(d, 5);
    EXPECT_EQ(a, 1.0);
}

/// All bytes with all bytes, and weights whose quotients are halves, thirds and so on, where
/// roundings go astray.
TEST(Average, IsRightForEveryPairOfBytes) {
    std::vector<uint8_t> first(65536), second(65536), d(65536);
    for (size_t i = 0; i < 65536; ++i)
        first[i] = static_cast<uint8_t>(i / 256), second[i] = static_cast<uint8_t>(i % 256);
    const double weights[][2] = {{1, 1}, {3, 1}, {1, 2}, {0.1, 0.2}, {7, 3.3}, {1e-9, 1e9}};
    for (const auto& [of_a, of_w] : weights) {
        std::vector<uint8_t> expected(65536), cut_expected(65536);
        for (size_t i = 0; i < 65536; ++i) {
            expected[i] = static_cast<uint8_t>(average(first[i], second[i], of_a, of_w, 8));
            cut_expected[i] = static_cast<uint8_t>(average(
                first[i], second[i], static_cast<float>(of_a), static_cast<float>(of_w), 8));
        }
        for (const Level level : levels())
            for (const uint32_t components : {1u, 2u, 3u, 4u, 8u, 64u}) {
                SCOPED_TRACE(std::string(name_of(level)) + ", " + std::to_string(of_a) + ", " +
                             std::to_string(of_w) + ", " + std::to_string(components));
                const ForcedLevel forced(level);
                const uint64_t pixels = 65536 / components;
                const auto width = static_cast<uint32_t>(pixels);
                std::vector<double> a(pixels, of_a), w(pixels, of_w);
                d = first;
                EXPECT_EQ(Entries::AverageUpdate(d.data(), 0, a.data(), 0, second.data(), 0,
                                                 w.data(), 0, components, 8, width, pixels),
                          QM_OK);
                d.resize(pixels * components);
                ASSERT_TRUE(std::equal(d.begin(), d.end(), expected.begin()));
                std::vector<float> fa(pixels, static_cast<float>(of_a)),
                    fw(pixels, static_cast<float>(of_w));
                d = first;
                EXPECT_EQ(Entries::AverageUpdate(d.data(), 0, static_cast<void*>(fa.data()), 0,
                                                 second.data(), 0, fw.data(), 0, components, 8, 32,
                                                 width, width),
                          QM_OK);
                d.resize(pixels * components);
                ASSERT_TRUE(std::equal(d.begin(), d.end(), cut_expected.begin()));
                d.resize(65536);
            }
    }
}

TEST(Sums, AreAddedToWhatIsThere) {
    const uint8_t s[] = {1, 2, 3, 4, 5, 6};
    uint64_t sums[3] = {};
    EXPECT_EQ(Entries::SumValues(sums, s, 3, 8, 6, 2, 2), QM_OK);
    EXPECT_EQ(std::vector<uint64_t>(sums, sums + 3), (std::vector<uint64_t>{5, 7, 9}));
    EXPECT_EQ(Entries::SumValues(sums, s, 3, 8, 6, 2, 2), QM_OK);
    EXPECT_EQ(std::vector<uint64_t>(sums, sums + 3), (std::vector<uint64_t>{10, 14, 18}));
}

TEST(Sums, AreNoOpsOnNothingAndRefuse24Bits) {
    const uint32_t s = 5;
    uint64_t sum = 3;
    EXPECT_EQ(Entries::SumValues(&sum, nullptr, 1, 24, 4, 1, 1), QM_OK);
    EXPECT_EQ(Entries::SumValues(&sum, &s, 1, 24, 4, 0, 1), QM_OK);
    EXPECT_EQ(Entries::SumValues(&sum, &s, 1, 24, 4, 1, 0), QM_OK);
    EXPECT_EQ(Entries::SumValues(&sum, &s, 1, 24, 4, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(Entries::SumValues(&sum, &s, 1, 7, 4, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(sum, 3u);
}

TEST(Sums, OfRowsWrapAt32Bits) {
    for (const Level level : levels()) {
        SCOPED_TRACE(name_of(level));
        const ForcedLevel forced(level);
        for (const uint32_t components : {1u, 2u, 3u, 5u, 17u, 300u}) {
            SCOPED_TRACE(components);
            const std::vector<uint16_t> s(size_t{65538} * components, 65535);
            std::vector<uint64_t> sums(components, 7);
            const auto sum = [&](uint32_t width, uint32_t stride, uint64_t pixels) {
                EXPECT_EQ(Entries::SumValues(sums.data(), s.data(), components, 16, stride, width,
                                             pixels),
                          QM_OK);
            };
            sum(65538, 0, 65538);  // 65538 * 65535 is 2^32 + 65534
            EXPECT_EQ(sums, std::vector<uint64_t>(components, 7 + 65534));
            sum(65538, 0, 3 * 65538);
            EXPECT_EQ(sums, std::vector<uint64_t>(components, 7 + 4 * 65534));
            sums.assign(components, 0);
            sum(65537, 0, 65537);  // 2^32 - 1
            EXPECT_EQ(sums, std::vector<uint64_t>(components, 0xFFFFFFFF));
            sums.assign(components, 0);
            sum(32769, 2 * components * 32769, 65538);  // two rows without a gap
            EXPECT_EQ(sums, std::vector<uint64_t>(components, 0x10000FFFEu));
        }
    }
}

TEST(Sums, OfLongPicturesOfBytesAreExact) {
    for (const Level level : levels()) {
        SCOPED_TRACE(name_of(level));
        const ForcedLevel forced(level);
        for (const uint32_t components : {1u, 2u, 3u, 5u, 17u, 63u}) {
            const std::vector<uint8_t> s(size_t{70001} * components, 255);
            std::vector<uint64_t> sums(components);
            EXPECT_EQ(Entries::SumValues(sums.data(), s.data(), components, 8, 0, 70001, 70001),
                      QM_OK);
            EXPECT_EQ(sums, std::vector<uint64_t>(components, 255 * 70001));
            sums.assign(components, 0);
            EXPECT_EQ(
                Entries::SumValues(sums.data(), s.data(), components, 8, components, 1, 70001),
                QM_OK);
            EXPECT_EQ(sums, std::vector<uint64_t>(components, 255 * 70001));
        }
    }
}

TEST(Sums, OfMoreThan256ComponentsAreEachTheirOwn) {
    constexpr uint32_t kComponents = 600;
    std::vector<uint16_t> s(kComponents * 2);
    std::iota(s.begin(), s.end(), uint16_t{0});
    std::vector<uint64_t> sums(kComponents), expected;
    for (uint32_t c = 0; c < kComponents; ++c) expected.push_back(2 * c + kComponents);
    EXPECT_EQ(Entries::SumValues(sums.data(), s.data(), kComponents, 12, 4 * kComponents, 2, 2),
              QM_OK);
    EXPECT_EQ(sums, expected);
}

TEST(AccumulationKernels, RunInTheCallingThread) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    std::vector<uint8_t> d(20 * 2048), s = d;
    std::vector<double> a(2048, 1), w = a;
    std::vector<float> fa(2048, 1), fw = fa;
    uint64_t sum[4] = {};
    const WatchedRegions watched;
    for (const auto& kernel : kAverageUpdate)
        kernel.run(d.data(), 20, a.data(), 8, s.data(), 20, w.data(), 8, 4, 1, 2048);
    for (const auto& kernel : kAverageUpdateFloat)
        kernel.run(d.data(), 20, fa.data(), 4, s.data(), 20, fw.data(), 4, 4, 1, 2048);
    for (const auto& kernel : kSumValues) kernel.run(sum, s.data(), 4, 20, 1, 2048);
    EXPECT_TRUE(watched.teams().empty());
}

}  // namespace
}  // namespace qmpic::test
