#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "histogram/histo.h"
#include "qmpic/Histo.h"
#include "qmpic/status.h"
#include "support/cases.h"

namespace qmpic::test {
namespace {

using Api = CQmHistoAPI_Base;
using Levels = std::vector<uint32_t>;

const bool registered =
    add_cases({}, {},
              {"CQmHistoAPI_Base::GetLowHigh", "CQmHistoAPI_Base::GetLowHighAbs",
               "CQmHistoAPI_Base::GetLowHighFreqAbs", "CQmHistoAPI_Base::GetSumLowHigh",
               "CQmHistoAPI_Base::GetLowHighMeanMedian", "CQmHistoAPI_Base::GetMeanIndex",
               "CQmHistoAPI_Base::EstimateComponentWeights", "CQmHistoAPI_Base::MakeCommonRange"});

constexpr uint32_t kUntouched = 77777;
constexpr uint32_t kMinus4 = 0xFFFFFFFC, kMinus9 = 0xFFFFFFF7;

/// Counts of a block: bin, count.
using Bins = std::vector<std::pair<uint32_t, uint64_t>>;

/// A histogram of 8 bits (or other) of a picture of a number of pixels, with counts by block; the
/// intensity's block is 0 where there are several components.
struct Made : Histo {
    Made(uint32_t bin_bytes, uint32_t pixels, const std::vector<Bins>& blocks_of_bins,
         uint32_t bits = 8)
        : Histo(bin_bytes,
                describe(pixels, 1, bits,
                         static_cast<uint32_t>(
                             blocks_of_bins.size() == 1 ? 1 : blocks_of_bins.size() - 1))) {
        for (uint32_t b = 0; b < blocks_of_bins.size(); ++b)
            for (const auto& [bin, count] : blocks_of_bins[b]) set(b, bin, count);
    }
};

/// The running sum in the width of a bin, at each bin from one end.
std::vector<uint64_t> sums(const Histo& histo, uint32_t block, bool up) {
    std::vector<uint64_t> all;
    uint64_t sum = 0;
    const uint32_t count = 1u << histo.uiBits;
    for (uint32_t i = 0; i < count; ++i) {
        sum += histo.get(block, up ? i : count - 1 - i);
        if (histo.uiBinBytes == 4) sum &= 0xFFFFFFFF;
        all.push_back(sum);
    }
    return all;
}
/// The bin at which a condition on the running sum first holds.
template <class Holds>
std::optional<uint32_t> first(const Histo& histo, uint32_t block, bool up, Holds holds) {
    const auto all = sums(histo, block, up);
    for (uint32_t i = 0; i < all.size(); ++i)
        if (holds(all[i])) return up ? i : static_cast<uint32_t>(all.size()) - 1 - i;
    return {};
}
uint64_t pixels_of(const SQmHisto& histo, double fraction) {
    const uint32_t pixels = histo.uiWidth * histo.uiHeight;
    const double rounded = std::trunc(pixels * fraction + 0.5);
    return rounded < 1 ? 1 : static_cast<uint64_t>(rounded);
}

/// Random counts, few or many, and a size that goes with them or not.
struct Drawn {
    uint32_t bits, components, bin_bytes;
    Histo histo;
    uint32_t top;
    explicit Drawn(Random& random)
        : bits(random(1, 10)),
          components(random(1, 5)),
          bin_bytes(random.one_of({4u, 8u})),
          histo(bin_bytes, describe(1, 1, bits, components)),
          top((1u << bits) - 1) {
        const uint32_t kind = random(0, 4);
        uint64_t total = 0;
        for (uint32_t b = 0; b < histo.blocks(); ++b)
            for (uint32_t i = 0; i <= top; ++i) {
                uint64_t count = random(0, 3) != 0 ? 0 : random(0, 20);
                if (kind == 1) count = random(0, 2);
                if (kind == 2 && random(0, 9) == 0) count = random.any();  // sums wrap
                if (kind == 3) count = 0;
                if (b == 0) total += count;
                histo.set(b, i, count);
            }
        histo.uiWidth = static_cast<uint32_t>(total);
        histo.uiHeight = random(0, 3) == 0 ? random(1, 70000) : 1;
    }
    /// The block of a component.
    uint32_t block(uint32_t component) const { return components < 2 ? 0 : component + 1; }
};
double draw_fraction(Random& random) {
    const uint32_t drawn = random(0, 1000);
    return random(0, 5) == 0 ? random.one_of({0.0, -1.0, 1.0, 2.5, 1e-9, 0.5})
                             : static_cast<double>(drawn) / 1000;
}

TEST(GetLowHigh, MatchesItsDefinition) {
    for (uint32_t number = 0; number < 600; ++number) {
        Random random(number);
        const Drawn drawn(random);
        const double low = draw_fraction(random), high = draw_fraction(random);
        Levels lows(5, kUntouched), highs(5, kUntouched), expected_lows = lows,
                                                          expected_highs = highs;
        Levels all_lows = lows, all_highs = highs;
        const auto above = [](uint64_t limit) { return [=](uint64_t sum) { return sum > limit; }; };
        for (uint32_t c = 0; c < drawn.components; ++c) {
            all_lows[c] =
                first(drawn.histo, drawn.block(c), true, above(pixels_of(drawn.histo, low)))
                    .value_or(drawn.top);
            all_highs[c] =
                first(drawn.histo, drawn.block(c), false, above(pixels_of(drawn.histo, high)))
                    .value_or(0);
            if (low > 0) expected_lows[c] = all_lows[c];
            if (high > 0) expected_highs[c] = all_highs[c];
        }
        ASSERT_EQ(Api::GetLowHigh(&drawn.histo, lows.data(), highs.data(), low, high), QM_OK);
        ASSERT_EQ(lows, expected_lows) << number;
        ASSERT_EQ(highs, expected_highs) << number;

        lows.assign(5, kUntouched), highs.assign(5, kUntouched);
        uint32_t low_level = kUntouched, high_level = kUntouched;
        ASSERT_EQ(Api::GetLowHigh(&drawn.histo, lows.data(), highs.data(), low, high, low_level,
                                  high_level),
                  QM_OK);
        ASSERT_EQ(lows, all_lows) << number;
        ASSERT_EQ(highs, all_highs) << number;
        ASSERT_EQ(
            low_level,
            first(drawn.histo, 0, true, above(pixels_of(drawn.histo, low))).value_or(drawn.top));
        ASSERT_EQ(
            high_level,
            first(drawn.histo, 0, false, above(pixels_of(drawn.histo, high))).value_or(kUntouched));
    }
}

TEST(GetLowHighAbs, MatchesItsDefinitionAndSoDoItsSiblings) {
    for (uint32_t number = 0; number < 600; ++number) {
        Random random(number);
        const Drawn drawn(random);
        const uint32_t low = random(0, 3) != 0 ? random(0, 40) : random.any();
        const uint32_t high = random(0, 3) != 0 ? random(0, 40) : random.any();
        Levels lows(5, kUntouched), highs(5, kUntouched), expected_lows = lows,
                                                          expected_highs = highs;
        const auto reaches = [](uint64_t count) {
            return [=](uint64_t sum) { return sum >= count; };
        };
        for (uint32_t c = 0; c < drawn.components; ++c) {
            const uint32_t block = drawn.block(c);
            if (low != 0)
                expected_lows[c] =
                    first(drawn.histo, block, true, reaches(low)).value_or(drawn.top);
            if (high != 0)
                expected_highs[c] = first(drawn.histo, block, false, reaches(high)).value_or(0);
        }
        ASSERT_EQ(Api::GetLowHighAbs(&drawn.histo, lows.data(), highs.data(), low, high), QM_OK);
        ASSERT_EQ(lows, expected_lows) << number;
        ASSERT_EQ(highs, expected_highs) << number;

        lows.assign(5, kUntouched), highs.assign(5, kUntouched);
        expected_lows = lows, expected_highs = highs;
        for (uint32_t c = 0; c < drawn.components; ++c) {
            const auto has = [&](uint32_t bin, uint32_t least) {
                return drawn.histo.get(drawn.block(c), bin) >= least;
            };
            if (low != 0) {
                uint32_t bin = 0;
                while (bin < drawn.top && !has(bin, low)) ++bin;
                expected_lows[c] = bin;
            }
            if (high != 0) {
                uint32_t bin = drawn.top;
                while (bin > 0 && !has(bin, high)) --bin;
                expected_highs[c] = bin;
            }
        }
        ASSERT_EQ(Api::GetLowHighFreqAbs(&drawn.histo, lows.data(), highs.data(), low, high),
                  QM_OK);
        ASSERT_EQ(lows, expected_lows) << number;
        ASSERT_EQ(highs, expected_highs) << number;

        const uint32_t component = random(0, drawn.components - 1);
        const auto above = [=](uint64_t sum) { return sum > low; };
        uint32_t low_level = kUntouched, high_level = kUntouched;
        ASSERT_EQ(Api::GetSumLowHigh(&low_level, &high_level, component, low, &drawn.histo), QM_OK);
        ASSERT_EQ(low_level,
                  first(drawn.histo, drawn.block(component), true, above).value_or(drawn.top));
        ASSERT_EQ(high_level, first(drawn.histo, drawn.block(component), false, above).value_or(0));
    }
}

TEST(GetLowHigh, OfNoPixelsIsTopAnd0) {
    for (const uint32_t bin_bytes : {4u, 8u}) {
        const Made empty(bin_bytes, 9, {{}});
        uint32_t low = 1, high = 1, intensity_low = 1, intensity_high = 1;
        EXPECT_EQ(Api::GetLowHigh(&empty, &low, &high, 0.1, 0.1), QM_OK);
        EXPECT_EQ(low, 255u);
        EXPECT_EQ(high, 0u);
        EXPECT_EQ(Api::GetLowHigh(&empty, &low, &high, 0.1, 0.1, intensity_low, intensity_high),
                  QM_OK);
        EXPECT_EQ(intensity_low, 255u);
        EXPECT_EQ(intensity_high, 1u);  // has no value of its own
    }
}

TEST(GetLowHigh, OfHalfOf9PixelsIsTheSixth) {
    for (const uint32_t bin_bytes : {4u, 8u}) {
        const Made nine(bin_bytes, 9, {{{10, 5}, {20, 1}, {30, 3}}});
        uint32_t low = 1, high = 1;
        EXPECT_EQ(Api::GetLowHigh(&nine, &low, &high, 0.5, 0.5), QM_OK);
        EXPECT_EQ(low, 20u);
        EXPECT_EQ(high, 10u);  // 3, 4, 9
    }
}

TEST(GetLowHigh, NeverLetsALoneOutlierDecide) {
    const Made made(4, 100, {{{1, 1}, {50, 98}, {200, 1}}});
    uint32_t low = 1, high = 1;
    EXPECT_EQ(Api::GetLowHigh(&made, &low, &high, 1e-9, 1e-9), QM_OK);
    EXPECT_EQ(low, 50u);
    EXPECT_EQ(high, 50u);
    EXPECT_EQ(Api::GetLowHighAbs(&made, &low, &high, 1, 1), QM_OK);  // at or above
    EXPECT_EQ(low, 1u);
    EXPECT_EQ(high, 200u);
    // Two lone pixels: the sum of both is above 1.
    const Made two(4, 100, {{{250, 1}, {255, 1}}});
    EXPECT_EQ(Api::GetLowHigh(&two, &low, &high, 1e-9, 1e-9), QM_OK);
    EXPECT_EQ(low, 255u);
    EXPECT_EQ(high, 250u);
}

TEST(GetLowHigh, MeasuresAgainstTheSizeThatTheRecordStates) {
    Made made(4, 1, {{{10, 10}, {20, 10}}});
    made.uiWidth = 10, made.uiHeight = 10;  // 100 pixels, of which 20 were counted
    uint32_t low = 1;
    EXPECT_EQ(Api::GetLowHigh(&made, &low, nullptr, 0.15, 0), QM_OK);
    EXPECT_EQ(low, 20u);
    EXPECT_EQ(Api::GetLowHigh(&made, &low, nullptr, 0.2, 0), QM_OK);
    EXPECT_EQ(low, 255u);                             // 20 is not above 20
    made.uiWidth = 0x10000, made.uiHeight = 0x10000;  // 0 in 32 bits
    EXPECT_EQ(Api::GetLowHigh(&made, &low, nullptr, 0.9, 0), QM_OK);
    EXPECT_EQ(low, 10u);     // 10 is above 1
    made.uiPicWidth = 5000;  // not looked at
    EXPECT_EQ(Api::GetLowHigh(&made, &low, nullptr, 0.9, 0), QM_OK);
    EXPECT_EQ(low, 10u);
}

TEST(GetLowHigh, LeavesTheArrayOfAFractionOf0) {
    const Made made(4, 100, {{}, {{10, 100}}, {{20, 100}}});
    Levels low(2, kUntouched), high(2, kUntouched);
    for (const double none : {0.0, -0.5, std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(Api::GetLowHigh(&made, low.data(), high.data(), none, none), QM_OK);
        EXPECT_EQ(low, Levels(2, kUntouched));
        EXPECT_EQ(high, Levels(2, kUntouched));
    }
    EXPECT_EQ(Api::GetLowHigh(&made, low.data(), high.data(), 0.1, 0), QM_OK);
    EXPECT_EQ(low, (Levels{10, 20}));
    EXPECT_EQ(high, Levels(2, kUntouched));
}

TEST(GetLowHigh, WithIntensityTestsNoFraction) {
    const Made made(8, 100, {{{5, 1}, {7, 99}}, {{10, 1}, {11, 99}}, {{20, 99}, {21, 1}}});
    for (const double fraction : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(), 1e300}) {
        Levels low(2, kUntouched), high(2, kUntouched);
        uint32_t intensity_low = kUntouched, intensity_high = kUntouched;
        EXPECT_EQ(Api::GetLowHigh(&made, low.data(), high.data(), fraction, fraction, intensity_low,
                                  intensity_high),
                  QM_OK);
        EXPECT_EQ(low, (Levels{11, 20}));
        EXPECT_EQ(high, (Levels{11, 20}));
        EXPECT_EQ(intensity_low, 7u);
        EXPECT_EQ(intensity_high, 7u);
    }
}

TEST(GetLowHigh, FillsTheIntensityLevelThatGoesWithAnArray) {
    const Made made(4, 100, {{{7, 99}}, {{11, 99}}, {{20, 99}}});
    Levels levels(2, kUntouched);
    uint32_t intensity_low = kUntouched, intensity_high = kUntouched;
    EXPECT_EQ(
        Api::GetLowHigh(&made, levels.data(), nullptr, 0.1, 0.1, intensity_low, intensity_high),
        QM_OK);
    EXPECT_EQ(intensity_low, 7u);
    EXPECT_EQ(intensity_high, kUntouched);
    intensity_low = kUntouched;
    EXPECT_EQ(
        Api::GetLowHigh(&made, nullptr, levels.data(), 0.1, 0.1, intensity_low, intensity_high),
        QM_OK);
    EXPECT_EQ(intensity_low, kUntouched);
    EXPECT_EQ(intensity_high, 7u);
}

TEST(GetLowHigh, SumsInTheWidthOfABin) {
    uint32_t level = 1;
    const Bins wrapping{{5, 3}, {8, 0xFFFFFFFE}, {9, 7}, {12, 9}};  // 3, 1, 8, 17
    const Made narrow(4, 1, {wrapping}), wide(8, 1, {wrapping});
    EXPECT_EQ(Api::GetLowHighAbs(&narrow, &level, nullptr, 10, 0), QM_OK);
    EXPECT_EQ(level, 12u);
    EXPECT_EQ(Api::GetLowHighAbs(&wide, &level, nullptr, 10, 0), QM_OK);
    EXPECT_EQ(level, 8u);
}

TEST(GetLowHighFreqAbs, PassesOverSparseBins) {
    const Made made(4, 100, {{{1, 4}, {50, 5}, {60, 90}, {70, 6}, {200, 4}}});
    uint32_t low = 1, high = 1;
    EXPECT_EQ(Api::GetLowHighFreqAbs(&made, &low, &high, 5, 5), QM_OK);
    EXPECT_EQ(low, 50u);
    EXPECT_EQ(high, 70u);
    EXPECT_EQ(Api::GetLowHighFreqAbs(&made, &low, &high, 91, 91), QM_OK);
    EXPECT_EQ(low, 255u);
    EXPECT_EQ(high, 0u);
    low = high = kUntouched;
    EXPECT_EQ(Api::GetLowHighFreqAbs(&made, &low, &high, 0, 0), QM_OK);
    EXPECT_EQ(Api::GetLowHighAbs(&made, &low, &high, 0, 0), QM_OK);
    EXPECT_EQ(low, kUntouched);
    EXPECT_EQ(high, kUntouched);
}

TEST(GetSumLowHigh, TakesACountOf0) {
    const Made made(8, 100, {{}, {{1, 1}}, {{3, 1}, {50, 98}, {60, 1}}});
    uint32_t low = 1, high = 1;
    EXPECT_EQ(Api::GetSumLowHigh(&low, &high, 1, 0, &made), QM_OK);
    EXPECT_EQ(low, 3u);
    EXPECT_EQ(high, 60u);
    EXPECT_EQ(Api::GetSumLowHigh(&low, &high, 1, 100, &made), QM_OK);  // never above
    EXPECT_EQ(low, 255u);
    EXPECT_EQ(high, 0u);
    EXPECT_EQ(Api::GetSumLowHigh(&low, &high, 2, 0, &made), QM_REJECTED);
    EXPECT_EQ(low, 255u);
}

TEST(Statistics, RejectNothing) {
    const Made made(4, 100, {{{10, 100}}});
    uint32_t level = kUntouched, other = kUntouched;
    for (const SQmHisto* histo :
         {static_cast<const SQmHisto*>(nullptr), static_cast<const SQmHisto*>(&made)}) {
        uint32_t* const to = histo == nullptr ? &level : nullptr;
        EXPECT_EQ(Api::GetLowHigh(histo, to, to, 0.1, 0.1), QM_REJECTED);
        EXPECT_EQ(Api::GetLowHigh(histo, to, to, 0.1, 0.1, level, other), QM_REJECTED);
        EXPECT_EQ(Api::GetLowHighAbs(histo, to, to, 1, 1), QM_REJECTED);
        EXPECT_EQ(Api::GetLowHighFreqAbs(histo, to, to, 1, 1), QM_REJECTED);
        EXPECT_EQ(Api::GetSumLowHigh(to, to, 0, 1, histo), QM_REJECTED);
    }
    double weight = -1;
    EXPECT_EQ(Api::EstimateComponentWeights(nullptr, &weight), QM_REJECTED);
    EXPECT_EQ(Api::EstimateComponentWeights(const_cast<Made*>(&made), nullptr), QM_REJECTED);
    EXPECT_EQ(Api::GetMeanIndex(nullptr, 0), kMinus4);
    EXPECT_EQ(Api::GetLowHighMeanMedian(nullptr, 0, &weight, &weight, &weight, &weight, 0, 0),
              QM_OK);
    EXPECT_EQ(weight, -1);
    EXPECT_EQ(level, kUntouched);
    EXPECT_EQ(other, kUntouched);
}

TEST(Statistics, LeaveRecordsWithOtherBinsOrNoneAlone) {
    Made other(4, 100, {{{10, 100}}});
    Histo none;
    none.uiBinBytes = 4, none.uiComponents = 1, none.uiBits = 8;
    for (const uint32_t bin_bytes : {0u, 1u, 2u, 5u, 16u})
        for (Histo* histo : {static_cast<Histo*>(&other), &none}) {
            if (histo == &other) other.uiBinBytes = bin_bytes;
            uint32_t level = kUntouched, low = kUntouched;
            double number = -1;
            EXPECT_EQ(Api::GetLowHigh(histo, &level, &level, 0.1, 0.1), QM_OK);
            EXPECT_EQ(Api::GetLowHigh(histo, &level, &level, 0.1, 0.1, low, level), QM_OK);
            EXPECT_EQ(Api::GetLowHighAbs(histo, &level, &level, 1, 1), QM_OK);
            EXPECT_EQ(Api::GetLowHighFreqAbs(histo, &level, &level, 1, 1), QM_OK);
            EXPECT_EQ(Api::GetSumLowHigh(&level, &level, 0, 1, histo), QM_OK);
            EXPECT_EQ(Api::GetLowHighMeanMedian(histo, 0, &number, &number, &number, &number, 0, 0),
                      QM_OK);
            EXPECT_EQ(Api::EstimateComponentWeights(histo, &number), QM_OK);
            EXPECT_EQ(Api::GetMeanIndex(histo, 0), histo == &none ? 0 : kMinus9);
            EXPECT_EQ(level, kUntouched);
            EXPECT_EQ(low, kUntouched);
            EXPECT_EQ(number, -1);
        }
    other.uiBinBytes = 4;
}

struct Trimmed {
    double low = -1, high = -1, median = -1, mean = -1;
    Trimmed() = default;
    Trimmed(const SQmHisto& histo, double below, double above, uint32_t component = 0) {
        EXPECT_EQ(
            Api::GetLowHighMeanMedian(&histo, component, &low, &high, &median, &mean, below, above),
            QM_OK);
    }
};

// Values 2, 4, 10 and 12: S is 4 + 12 + 50 + 24 = 90, of 12 pixels.
const Bins kFourValues{{2, 2}, {4, 3}, {10, 5}, {12, 2}};

TEST(GetLowHighMeanMedian, ForgetsTheLowEndOnceTheHighEndIsTrimmed) {
    // 9 from below: 2 goes. 45 from above: 12 goes, and with it 24 of the sum; the 4 come back,
    // while 4 of the pixels are gone. (90 - 24) / 8; half of 66 is reached at 10.
    const Made wide(8, 12, {kFourValues});
    const Trimmed trimmed(wide, 0.1, 0.5);
    EXPECT_EQ(trimmed.low, 4);
    EXPECT_EQ(trimmed.high, 10);
    EXPECT_EQ(trimmed.mean, 8.25);
    EXPECT_EQ(trimmed.median, 10);
    // With nothing to take from above the 4 are off: (90 - 4) / 10.
    const Trimmed only_below(wide, 0.1, 0.1);
    EXPECT_EQ(only_below.high, 12);
    EXPECT_EQ(only_below.mean, 8.6);
}

TEST(GetLowHighMeanMedian, TakesTheHighFractionInTwoWays) {
    const Made narrow(4, 12, {kFourValues}), wide(8, 12, {kFourValues});
    // 90 * 0.25 = 22.5 is reached at 12; 90 * 0.75 = 67.5 at 10, where the sum is 74.
    EXPECT_EQ(Trimmed(wide, 0, 0.25).high, 12);
    EXPECT_EQ(Trimmed(narrow, 0, 0.25).high, 10);
    EXPECT_EQ(Trimmed(wide, 0, 0.75).high, 10);
    EXPECT_EQ(Trimmed(narrow, 0, 0.75).high, 12);
}

TEST(GetLowHighMeanMedian, PassesOverBinsOfOnePixel) {
    // S is 86; the bin of one pixel counts in the sums and in neither walk.
    const Made made(8, 11, {{{2, 2}, {4, 3}, {10, 5}, {20, 1}}});
    const Trimmed trimmed(made, 0.1, 0.1);  // 8.6: 4 at 2, 16 at 4; 50 at 10
    EXPECT_EQ(trimmed.low, 4);
    EXPECT_EQ(trimmed.high, 10);
    EXPECT_EQ(trimmed.mean, 82.0 / 9);
    EXPECT_EQ(trimmed.median, 10);  // half is 41: 12 at 4, 62 at 10
}

TEST(GetLowHighMeanMedian, CountsPixelsBelow0AndThenWithoutSign) {
    // With 4 bytes 77.4 is never reached from above: 10, 4 and 2 are all taken off, 66 of the sum,
    // and 12 of 11 pixels. High stays 0, so that there is no median.
    const Made made(4, 11, {{{2, 2}, {4, 3}, {10, 5}, {20, 1}}});
    const Trimmed trimmed(made, 0.1, 0.1);
    EXPECT_EQ(trimmed.low, 4);
    EXPECT_EQ(trimmed.high, 0);
    EXPECT_EQ(trimmed.mean, 20 / 18446744073709551615.0);
    EXPECT_EQ(trimmed.median, -1);
}

TEST(GetLowHighMeanMedian, OfNoPixelsIsNoNumber) {
    for (const uint32_t bin_bytes : {4u, 8u}) {
        const Trimmed trimmed(Made(bin_bytes, 1, {{}}), 0.1, 0.1);
        EXPECT_EQ(trimmed.low, 0);
        EXPECT_EQ(trimmed.high, 0);
        EXPECT_TRUE(std::isnan(trimmed.mean));
        EXPECT_EQ(trimmed.median, 0);  // half of nothing is reached at once
    }
}

TEST(GetLowHighMeanMedian, StopsAtTheLastBinThatItSaw) {  // a fraction above 1 is never reached
    const Trimmed trimmed(Made(8, 12, {kFourValues}), 1.5, 1.5);
    EXPECT_EQ(trimmed.low, 12);
    EXPECT_EQ(trimmed.high, 0);
}

TEST(GetLowHighMeanMedian, OfAComponentIsItsOwn) {
    const Made made(4, 12, {{{9, 9}}, {{1, 5}}, kFourValues});
    EXPECT_EQ(Trimmed(made, 0, 1, 1).mean, 7.5);  // 90 / 12
    EXPECT_EQ(Trimmed(made, 0, 1, 0).mean, 1);
    EXPECT_EQ(Api::GetLowHighMeanMedian(&made, 0, nullptr, nullptr, nullptr, nullptr, 0, 0), QM_OK);
}

TEST(GetMeanIndex, IsTruncated) {
    for (const uint32_t bin_bytes : {4u, 8u}) {
        const Made made(bin_bytes, 12, {{{9, 9}}, {{1, 5}}, kFourValues});
        EXPECT_EQ(Api::GetMeanIndex(&made, 0), 1u);
        EXPECT_EQ(Api::GetMeanIndex(&made, 1), 7u);  // 7.5
        EXPECT_EQ(Api::GetMeanIndex(&made, 2), kMinus4);
        EXPECT_EQ(Api::GetMeanIndex(&Made(bin_bytes, 12, {{}}), 0), 0u);
        // Sums have 64 bits.
        const Made large(bin_bytes, 1, {{{250, 0xFFFFFFFF}, {252, 0xFFFFFFFF}}});
        EXPECT_EQ(Api::GetMeanIndex(&large, 0), 251u);
    }
}

TEST(EstimateComponentWeights, SharesTheEnergy) {
    for (const uint32_t bin_bytes : {4u, 8u}) {
        Made made(bin_bytes, 7, {{{200, 7}}, {{0, 4}, {2, 3}}, {{1, 4}, {0, 3}}});
        double weights[3] = {-1, -1, -1};
        EXPECT_EQ(Api::EstimateComponentWeights(&made, weights), QM_OK);  // 12 and 4
        EXPECT_EQ(weights[0], 0.75);
        EXPECT_EQ(weights[1], 0.25);
        EXPECT_EQ(weights[2], -1);
    }
}

TEST(EstimateComponentWeights, OfBlackAreEqualWithNarrowBinsAndNoNumbersWithWideOnes) {
    for (const uint32_t components : {1u, 2u, 5u}) {
        std::vector<Bins> blocks(components == 1 ? 1 : components + 1, Bins{{0, 9}});
        Made narrow(4, 9, blocks), wide(8, 9, blocks);
        double weights[5];
        EXPECT_EQ(Api::EstimateComponentWeights(&narrow, weights), QM_OK);
        for (uint32_t c = 0; c < components; ++c) EXPECT_EQ(weights[c], 1.0 / components);
        EXPECT_EQ(Api::EstimateComponentWeights(&wide, weights), QM_OK);
        for (uint32_t c = 0; c < components; ++c) EXPECT_TRUE(std::isnan(weights[c]));
    }
}

TEST(EstimateComponentWeights, AddsInOrderOfTheBins) {
    // Beyond 2^53 every sum rounds, so that another order would give other weights.
    Made made(8, 9, {{}, {{1, uint64_t{1} << 53}}, {{1, uint64_t{1} << 53}}});
    double weights[2], energy[2] = {};
    for (uint32_t c = 0; c < 2; ++c)
        for (uint32_t i = 0; i < 256; ++i) {
            if (i > 1) made.set(c + 1, i, i % 3 * 1000003 + c);
            energy[c] += static_cast<double>(made.get(c + 1, i)) * i * i;
        }
    EXPECT_EQ(Api::EstimateComponentWeights(&made, weights), QM_OK);
    for (uint32_t c = 0; c < 2; ++c) EXPECT_EQ(weights[c], energy[c] / (energy[0] + energy[1]));
}

/// Counts of a block of 4 bins.
std::vector<uint64_t> block(const Histo& histo, uint32_t b) {
    std::vector<uint64_t> counts;
    for (uint32_t i = 0; i < 1u << histo.uiBits; ++i) counts.push_back(histo.get(b, i));
    return counts;
}
using Counts = std::vector<uint64_t>;

TEST(MakeCommonRange, PutsBinsWhereTheirLowerEndLies) {
    // Of 4 bins each, 0 to 1 and 1 to 2 in 0 to 2.
    Made from(4, 10,
              {{{0, 9}, {1, 8}, {3, 7}},
               {{0, 1}, {1, 2}, {2, 3}, {3, 4}},
               {{0, 5}, {1, 6}, {2, 7}, {3, 8}}},
              2);
    const float min[2] = {0, 1}, max[2] = {1, 2};
    Histo to;
    EXPECT_EQ(Api::MakeCommonRange(&to, &from, min, max), QM_OK);
    EXPECT_EQ(block(to, 1), (Counts{3, 7, 0, 0}));
    EXPECT_EQ(block(to, 2), (Counts{0, 0, 11, 15}));
    EXPECT_EQ(block(to, 0), (Counts{9, 0, 0, 0}));  // a quarter of the block
}

TEST(MakeCommonRange, KeepsWhatTheIntensityHadAndClearsTheRest) {
    Made from(4, 10, {{{0, 9}, {1, 8}}, {{0, 1}}, {{3, 5}}}, 2);
    Made to(4, 10, {{{0, 70}, {1, 71}, {2, 72}, {3, 73}}, {{0, 50}, {2, 51}}, {{1, 52}, {3, 53}}},
            2);
    const float min[2] = {0, 0}, max[2] = {1, 1};
    EXPECT_EQ(Api::MakeCommonRange(&to, &from, min, max), QM_OK);
    EXPECT_EQ(block(to, 0), (Counts{9, 71, 72, 73}));
    EXPECT_EQ(block(to, 1), (Counts{1, 0, 0, 0}));
    EXPECT_EQ(block(to, 2), (Counts{0, 0, 0, 5}));
}

TEST(MakeCommonRange, AddsWordsAlsoOfWideBins) {
    // Bins 0 and 1 are words 0 to 3, of which there are as many as bins; the others are lost.
    Made from(8, 10, {{{0, 9}, {1, 8}}, {{0, 1}, {1, (uint64_t{2} << 32) + 3}, {2, 4}}, {{3, 5}}},
              2);
    Made to(8, 10, {{{0, 70}, {3, 73}}, {{3, 50}}, {{0, 51}}}, 2);
    const float min[2] = {0, 0}, max[2] = {1, 1};
    EXPECT_EQ(Api::MakeCommonRange(&to, &from, min, max), QM_OK);
    EXPECT_EQ(block(to, 0), (Counts{9, 0, 0, 73}));
    EXPECT_EQ(block(to, 1), (Counts{1, (uint64_t{2} << 32) + 3, 0, 0}));
    EXPECT_EQ(block(to, 2), (Counts{0, 0, 0, 0}));
}

TEST(MakeCommonRange, MakesTheDestinationLikeTheSource) {
    Made from(4, 10, {{}, {}, {}}, 9);
    from.uiRoiMode = 1, from.uiLeft = 2, from.uiTop = 3, from.uiWidth = 4, from.uiHeight = 5;
    from.uiStepX = 6, from.uiStepY = 7, from.uiPicWidth = 8, from.uiPicHeight = 9;
    const float min[2] = {0, 0}, max[2] = {1, 1};
    Histo to;
    EXPECT_EQ(Api::MakeCommonRange(&to, &from, min, max), QM_OK);
    ASSERT_NE(to.pData, nullptr);
    EXPECT_EQ(to.uiBinBytes, 4u);
    EXPECT_EQ(to.uiBits, 9u);
    EXPECT_EQ(to.uiComponents, 2u);
    EXPECT_EQ(to.uiRoiMode, 0u);  // alone is not taken over
    EXPECT_EQ((Levels{to.uiLeft, to.uiTop, to.uiWidth, to.uiHeight, to.uiStepX, to.uiStepY,
                      to.uiPicWidth, to.uiPicHeight}),
              (Levels{2, 3, 4, 5, 6, 7, 8, 9}));
    // One that is there keeps its fields.
    from.uiLeft = 20;
    EXPECT_EQ(Api::MakeCommonRange(&to, &from, min, max), QM_OK);
    EXPECT_EQ(to.uiLeft, 2u);
}

TEST(MakeCommonRange, RefusesOtherFormats) {
    const std::vector<Bins> two(3), three(4);
    Made from(4, 10, two, 2), bits(4, 10, two, 3), components(4, 10, three, 2), wide(8, 10, two, 2);
    const float min[3] = {0, 0, 0}, max[3] = {1, 1, 1};
    for (Histo* to :
         {static_cast<Histo*>(&bits), static_cast<Histo*>(&components), static_cast<Histo*>(&wide)})
        EXPECT_EQ(Api::MakeCommonRange(to, &from, min, max), QM_BAD_BUFFER);
    Histo none;  // is made with narrow bins
    EXPECT_EQ(Api::MakeCommonRange(&none, &wide, min, max), QM_BAD_BUFFER);
    EXPECT_EQ(none.uiBinBytes, 4u);
    EXPECT_EQ(Api::MakeCommonRange(nullptr, &from, min, max), QM_REJECTED);
    EXPECT_EQ(Api::MakeCommonRange(&from, nullptr, min, max), QM_REJECTED);
}

TEST(MakeCommonRange, OfOneComponentIsACopyAndReadsNoRanges) {
    for (const uint32_t bin_bytes : {4u, 8u}) {
        Made from(bin_bytes, 10, {{{0, 1}, {1, 2}, {2, 3}, {3, 4}}}, 2);
        Made to(bin_bytes, 10, {{{0, 9}, {3, 9}}}, 2);
        from.uiLeft = 5;
        EXPECT_EQ(Api::MakeCommonRange(&to, &from, nullptr, nullptr), QM_OK);
        EXPECT_EQ(block(to, 0), block(from, 0));
        EXPECT_EQ(to.uiLeft, 5u);
    }
}

TEST(MakeCommonRange, PutsAConstantPictureIntoBin0AndDropsWhatIsOutside) {
    const std::vector<Bins> bins{{}, {{0, 1}, {3, 2}}, {{1, 4}}};
    Made from(4, 10, bins, 2), to(4, 10, bins, 2);
    const float same[2] = {5, 5};
    EXPECT_EQ(Api::MakeCommonRange(&to, &from, same, same), QM_OK);  // 0 / 0
    EXPECT_EQ(block(to, 1), (Counts{3, 0, 0, 0}));
    EXPECT_EQ(block(to, 2), (Counts{4, 0, 0, 0}));
    // Turned round: the first component runs from 2 down to -1, the common range is 0 to 2; bins at
    // 2 (position 4) and below 0 are dropped, but for those that truncate to 0.
    const float min[2] = {2, 0}, max[2] = {-1, 2};
    EXPECT_EQ(Api::MakeCommonRange(&to, &from, min, max), QM_OK);
    EXPECT_EQ(block(to, 1), (Counts{2, 0, 0, 0}));  // bin 3: 2 - 9 / 4 is -0.25, position -0.5
    EXPECT_EQ(block(to, 2), (Counts{0, 4, 0, 0}));
}

TEST(MakeCommonRange, LetsNoNaNIntoTheRange) {
    const std::vector<Bins> bins{{}, {{0, 1}, {3, 2}}, {{1, 4}, {2, 8}}};
    Made from(4, 10, bins, 2), to(4, 10, bins, 2);
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float min[2] = {nan, 0}, max[2] = {nan, 1};
    EXPECT_EQ(Api::MakeCommonRange(&to, &from, min, max), QM_OK);
    EXPECT_EQ(block(to, 1), (Counts{3, 0, 0, 0}));  // NaN is bin 0
    EXPECT_EQ(block(to, 2), (Counts{0, 4, 8, 0}));
}

TEST(MakeCommonRange, FormsTwoDifferencesInSinglePrecision) {
    for (uint32_t number = 0; number < 100; ++number) {
        Random random(number);
        std::vector<Bins> bins(4);
        for (uint32_t b = 0; b < 4; ++b)
            for (uint32_t i = 0; i < 256; ++i) bins[b].emplace_back(i, random(0, 9));
        Made from(4, 10, bins), to(4, 10, {{}, {}, {}, {}});
        float min[3], max[3];
        for (uint32_t c = 0; c < 3; ++c) {
            min[c] = static_cast<float>(random.any()) * 1e-7f;
            max[c] = min[c] + static_cast<float>(random.any()) * 1e-7f;
        }
        const float least = std::min({min[0], min[1], min[2]}),
                    most = std::max({max[0], max[1], max[2]});
        const float whole = most - least;
        ASSERT_EQ(Api::MakeCommonRange(&to, &from, min, max), QM_OK);
        for (uint32_t c = 0; c < 3; ++c) {
            Counts expected(256, 0);
            const float own = max[c] - min[c];
            for (uint32_t i = 0; i < 256; ++i) {
                const double at = (i * static_cast<double>(own) / 256.0 +
                                   static_cast<double>(min[c]) - static_cast<double>(least)) /
                                  (static_cast<double>(whole) / 256.0);
                if (at < 256) expected[static_cast<size_t>(at)] += from.get(c + 1, i);
            }
            ASSERT_EQ(block(to, c + 1), expected) << number;
        }
    }
}

}  // namespace
}  // namespace qmpic::test
