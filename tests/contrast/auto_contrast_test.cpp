#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "contrast/levels.h"
#include "contrast/searches.h"
#include "qmpic/PicBuf.h"
#include "qmpic/status.h"
#include "support/cases.h"

// Levels and gamma of a whole picture, from histograms and ranges.

namespace qmpic::test {
namespace {

using Api = SQmPicBufAPI_Base;

const bool registered =
    add_cases({}, {}, {"SQmPicBufAPI_Base::AutoContrast", "SQmPicBufAPI_Base::ContrastFromMinMax"});

constexpr double kUnused = 12345.0;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

/// What a call is asked for.
struct Asked {
    bool low, high, mid;
    double low_percent, high_percent;
    explicit Asked(Random& random)
        : low(random(0, 2) != 0),
          high(random(0, 2) != 0),
          mid(random(0, 1)),
          low_percent(draw_percent(random)),
          high_percent(draw_percent(random)) {}
};

double limited_gamma(double gamma) {
    if (std::isnan(gamma)) return 0.5;
    return std::min(std::max(gamma, 0.5), 2.0);
}

/// Levels of the whole picture, from w on.
void put(SQmLutParam& p, double w, double m, bool mid, double mid_fraction, double top, double a,
         double b) {
    if (w < 1 / top) w = 1 / top;
    if (w > 1) w = 1;
    p.SetMaxSrcDbl(w * b + a);
    if (m < 0)
        m = 0;
    else if (m > w - 1 / top)
        m = w - 1 / top;
    p.SetMinSrcDbl(m * b + a);
    double gamma = p.GetGammaSrc();
    if (mid) gamma = std::log(0.5) / std::log((mid_fraction - m) / (w - m));
    p.SetGammaSrc(limited_gamma(gamma));
}

TEST(AutoContrast, MatchesItsDefinition) {
    for (uint32_t number = 0; number < 500; ++number) {
        Random random(number);
        const DrawnCounts histo(random);
        SQmLutParam param;
        draw_levels(random, param);
        SQmLutParam plain(param);
        const Asked ask(random);
        const double top = histo.top();
        const Searched s =
            search(histo, 0, histo.uiComponents, ask.low_percent, ask.high_percent, ask.mid, true);
        const int code = Api::AutoContrast(&plain, &histo, ask.low, ask.high, ask.mid, kUnused,
                                           ask.low_percent, ask.high_percent);
        if (!ask.low && !ask.high) {
            ASSERT_EQ(code, QM_BAD_BUFFER);
            ASSERT_EQ(levels_of(plain), levels_of(param));
            continue;
        }
        ASSERT_EQ(code, QM_OK);
        SQmLutParam expected(param);
        put(expected, ask.high ? s.high / top : expected.GetMaxSrcDbl(), ask.low ? s.low / top : 0,
            ask.mid, s.mid / top, top, 0, 1);
        ASSERT_EQ(levels_of(plain), levels_of(expected)) << number;

        // Without a histogram for the black level, or with one that has no bins.
        const Histo empty;
        for (const SQmHisto* none :
             {static_cast<const SQmHisto*>(nullptr), static_cast<const SQmHisto*>(&empty)}) {
            SQmLutParam same(param);
            ASSERT_EQ(Api::AutoContrast(&same, &histo, none, ask.low, ask.high, ask.mid, kNan,
                                        ask.low_percent, ask.high_percent),
                      QM_OK);
            ASSERT_EQ(levels_of(same), levels_of(expected)) << number;
        }
    }
}

TEST(AutoContrast, TakesTheBlackLevelOfAnotherHistogramWithoutLookingAtItsDepth) {
    for (uint32_t number = 0; number < 300; ++number) {
        Random random(number);
        const DrawnCounts histo(random);
        const uint32_t low_components = histo.uiComponents + random(0, 2);
        const DrawnCounts low_histo(random, low_components, random(1, 10), 4);
        const Asked ask(random);
        if (!ask.low && !ask.high) continue;
        SQmLutParam param;
        draw_levels(random, param);
        SQmLutParam expected(param);
        const double top = histo.top();
        const Searched s =
            search(histo, 0, histo.uiComponents, ask.low_percent, ask.high_percent, ask.mid, true);
        const Searched lows = search(low_histo, 0, histo.uiComponents, ask.low_percent,
                                     ask.high_percent, false, true);
        put(expected, ask.high ? s.high / top : expected.GetMaxSrcDbl(),
            ask.low ? lows.low / top : 0, ask.mid, s.mid / top, top, 0, 1);
        ASSERT_EQ(Api::AutoContrast(&param, &histo, &low_histo, ask.low, ask.high, ask.mid, kUnused,
                                    ask.low_percent, ask.high_percent),
                  QM_OK);
        ASSERT_EQ(levels_of(param), levels_of(expected)) << number;
    }
}

TEST(AutoContrast, KnowsAFlatPictureAndTheRangeOfAFloatPictureWithLows) {
    uint32_t flat = 0, floats = 0;
    for (uint32_t number = 0; number < 800; ++number) {
        Random random(number);
        const DrawnCounts histo(random);
        SQmLutParam param;
        draw_levels(random, param);
        const Asked ask(random);
        const bool has_lows = random(0, 1);
        const double top = histo.top();
        const float min = random.one_of({-100.0f, 0.0f, 0.25f}),
                    max = random.one_of({0.5f, 777.0f});
        std::vector<double> lows;
        for (uint32_t c = 0; c < histo.uiComponents; ++c)
            lows.push_back(draw_fraction(random) * (param.bFloat ? max : top) - random(0, 1));
        SQmLutParam expected(param);
        const int code =
            Api::AutoContrast(&param, &histo, has_lows ? lows.data() : nullptr, ask.low, ask.high,
                              ask.mid, kUnused, ask.low_percent, ask.high_percent, min, max);
        const bool asks_low = ask.low && !has_lows;
        if (!asks_low && !ask.high) {
            ASSERT_EQ(code, QM_BAD_BUFFER);
            ASSERT_EQ(levels_of(param), levels_of(expected));
            continue;
        }
        ASSERT_EQ(code, QM_OK);
        const Searched s =
            search(histo, 0, histo.uiComponents, ask.low_percent, ask.high_percent, ask.mid, true);
        if (asks_low && ask.high && s.low_before == s.high_before) {
            ++flat;
            if (!expected.bFloat) expected.SetUnit();
            ASSERT_EQ(levels_of(param), levels_of(expected)) << number;
            continue;
        }
        const bool is_float = expected.bFloat;
        floats += is_float ? 1 : 0;
        const double a = is_float ? double{min} : 0, b = is_float ? double{max} - double{min} : 1;
        double mean = 0;
        for (const double low : lows) mean += low;
        mean /= histo.uiComponents;
        double m = 0;
        if (ask.low) m = !has_lows ? s.low / top : is_float ? (mean - a) / b : mean / top;
        put(expected, ask.high ? s.high / top : expected.GetMaxSrcDbl(), m, ask.mid, s.mid / top,
            top, a, b);
        ASSERT_EQ(levels_of(param), levels_of(expected)) << number;
    }
    EXPECT_GT(flat, 10u);
    EXPECT_GT(floats, 100u);
}

int plain(SQmLutParam& p, const SQmHisto& h, bool low, bool high, bool mid) {
    return Api::AutoContrast(&p, &h, low, high, mid, kUnused, 0, 0);
}
int with_lows(SQmLutParam& p, const SQmHisto& h, const double* lows, bool low, bool high,
              float min = 0, float max = 1) {
    return Api::AutoContrast(&p, &h, lows, low, high, false, kUnused, 0, 0, min, max);
}

TEST(AutoContrast, SetsTheLevelsOfTheFirstAndLastBin) {
    // 51 and 204 of 255 are 0.2 and 0.8: 13107 and 52428 of 65535.
    const Counts histo({{{51, 7}, {100, 2}, {204, 1}}});
    SQmLutParam param;
    ASSERT_EQ(plain(param, histo, true, true, false), QM_OK);
    EXPECT_EQ(param.uiMinSrc, 13107);
    EXPECT_EQ(param.uiMaxSrc, 52428);
    EXPECT_EQ(param.dGammaSrc, 1.0);
    // The white level alone: black becomes 0. The black level alone: white stays.
    ASSERT_EQ(plain(param, histo, false, true, false), QM_OK);
    EXPECT_EQ(param.uiMinSrc, 0);
    EXPECT_EQ(param.uiMaxSrc, 52428);
    param.uiMaxSrc = 40000;
    ASSERT_EQ(plain(param, histo, true, false, false), QM_OK);
    EXPECT_EQ(param.uiMinSrc, 13107);
    EXPECT_EQ(param.uiMaxSrc, 40000);
}

TEST(AutoContrast, TakesAllComponents) {
    const Counts histo({{{51, 7}, {100, 2}}, {{60, 1}, {90, 4}}, {{102, 1}, {204, 1}}});
    SQmLutParam param;
    ASSERT_EQ(plain(param, histo, true, true, false), QM_OK);
    EXPECT_EQ(param.uiMinSrc, 13107);
    EXPECT_EQ(param.uiMaxSrc, 52428);
}

TEST(AutoContrast, KeepsBlackAStepBelowWhite) {
    // White that is not asked for stays below the black level that is found: 200 of 255. 10 of 255
    // is 2570 of 65535, a step 257.
    const Counts histo({{{200, 1}, {210, 1}}});
    SQmLutParam param;
    param.uiMaxSrc = 2570;
    ASSERT_EQ(plain(param, histo, true, false, false), QM_OK);
    EXPECT_EQ(param.uiMaxSrc, 2570);
    EXPECT_NEAR(param.uiMinSrc, 2313, 1);
    // White is at least a step.
    param.uiMaxSrc = 0;
    ASSERT_EQ(plain(param, histo, true, false, false), QM_OK);
    EXPECT_EQ(param.uiMaxSrc, 257);
    EXPECT_EQ(param.uiMinSrc, 0);
}

TEST(AutoContrast, ShowsMidAtOneHalf) {
    SQmLutParam param;
    const auto gamma = [&](const Bins& bins) {
        param.dGammaSrc = 1.7;
        EXPECT_EQ(plain(param, Counts({bins}), true, true, true), QM_OK);
        return param.dGammaSrc;
    };
    // Mid at the centre.
    EXPECT_NEAR(gamma({{50, 1}, {125, 100}, {200, 1}}), 1.0, 1e-12);
    // At a quarter: log(0.5) / log(0.25) is a half; at 1 / sqrt(2) of 100 it is almost 2.
    EXPECT_NEAR(gamma({{100, 1}, {125, 100}, {200, 1}}), 0.5, 1e-12);
    EXPECT_NEAR(gamma({{100, 1}, {170, 100}, {200, 1}}), std::log(0.5) / std::log(0.7), 1e-12);
    EXPECT_EQ(gamma({{100, 1}, {190, 100}, {200, 1}}), 2.0);
    EXPECT_EQ(gamma({{100, 1}, {101, 100}, {200, 1}}), 0.5);
    // At black itself the logarithm of 0.
    EXPECT_EQ(gamma({{100, 100}, {200, 1}}), 0.5);
}

TEST(AutoContrast, LimitsTheGammaAlsoWhereItIsNotAskedFor) {
    const Counts histo({{{50, 1}, {200, 1}}});
    const auto becomes = [&](double gamma) {
        SQmLutParam param;
        param.dGammaSrc = gamma;
        EXPECT_EQ(plain(param, histo, true, true, false), QM_OK);
        return param.dGammaSrc;
    };
    EXPECT_EQ(becomes(0.1), 0.5);
    EXPECT_EQ(becomes(1.25), 1.25);
    EXPECT_EQ(becomes(7.0), 2.0);
    EXPECT_EQ(becomes(kNan), 0.5);
}

TEST(AutoContrast, MakesAFlatIntegerPictureUnitInTheFormWithLowsAlone) {
    const Counts histo({{{100, 50}}});
    SQmLutParam param;
    param.uiMinSrc = 5, param.uiMaxSrc = 6, param.sCompLutParam[3].uiMinSrc = 7;
    ASSERT_EQ(with_lows(param, histo, nullptr, true, true), QM_OK);
    EXPECT_TRUE(param.IsUnit());
    // The other forms move black to 99.
    for (const bool two : {false, true}) {
        SQmLutParam other;
        ASSERT_EQ(two ? Api::AutoContrast(&other, &histo, &histo, true, true, false, kUnused, 0, 0)
                      : plain(other, histo, true, true, false),
                  QM_OK);
        EXPECT_NEAR(other.uiMinSrc, 99 * 257, 1);
        EXPECT_EQ(other.uiMaxSrc, 100 * 257);
    }
    // So does this one, if it is not asked for both, or has lows.
    SQmLutParam white;
    ASSERT_EQ(with_lows(white, histo, nullptr, false, true), QM_OK);
    EXPECT_EQ(white.uiMaxSrc, 100 * 257);
    const double low = 100;
    ASSERT_EQ(with_lows(white, histo, &low, true, true), QM_OK);
    EXPECT_NEAR(white.uiMinSrc, 99 * 257, 1);
    EXPECT_EQ(white.uiMaxSrc, 100 * 257);
}

TEST(AutoContrast, LeavesAFlatFloatPicture) {
    const Counts histo({{{100, 50}}});
    SQmLutParam param;
    param.bFloat = true;
    param.fMinSrc = 3, param.fMaxSrc = 8, param.dGammaSrc = 9;
    const SQmLutParam before(param);
    ASSERT_EQ(with_lows(param, histo, nullptr, true, true), QM_OK);
    EXPECT_EQ(levels_of(param), levels_of(before));
}

TEST(AutoContrast, DoesNotTakeAnEmptyHistogramForAFlatOne) {
    const Counts histo({Bins{}});
    SQmLutParam param;
    param.uiMinSrc = 99;
    ASSERT_EQ(with_lows(param, histo, nullptr, true, true), QM_OK);
    EXPECT_EQ(param.uiMinSrc, 0);
    EXPECT_EQ(param.uiMaxSrc, 65535);
}

TEST(AutoContrast, BringsLevelsToTheRangeOfAFloatPicture) {
    const Counts histo({{{51, 1}, {204, 1}}});
    SQmLutParam param;
    param.bFloat = true;
    ASSERT_EQ(with_lows(param, histo, nullptr, true, true, -10, 90), QM_OK);
    EXPECT_FLOAT_EQ(param.fMinSrc, 10);
    EXPECT_FLOAT_EQ(param.fMaxSrc, 70);
    // Lows are values of the picture; their mean counts.
    const Counts two({{{51, 1}, {204, 1}}, {{51, 1}, {204, 1}}});
    const double lows[] = {10, 50};
    ASSERT_EQ(with_lows(param, two, lows, true, true, -10, 90), QM_OK);
    EXPECT_FLOAT_EQ(param.fMinSrc, 30);
    EXPECT_FLOAT_EQ(param.fMaxSrc, 70);
    // A white level that is not asked for is taken for a fraction, though it is none.
    param.fMaxSrc = 0.25;
    ASSERT_EQ(with_lows(param, two, nullptr, true, false, -10, 90), QM_OK);
    EXPECT_FLOAT_EQ(param.fMinSrc, 10);
    EXPECT_FLOAT_EQ(param.fMaxSrc, 15);
    // The forms without a range set fractions.
    ASSERT_EQ(plain(param, histo, true, true, false), QM_OK);
    EXPECT_FLOAT_EQ(param.fMinSrc, 0.2f);
    EXPECT_FLOAT_EQ(param.fMaxSrc, 0.8f);
}

TEST(AutoContrast, TakesTheMeanOfLows) {
    const Counts histo({{{9, 1}, {204, 1}}, {{204, 1}}, {{204, 1}}});
    const double lows[] = {0, 51, 102};
    SQmLutParam param;
    ASSERT_EQ(with_lows(param, histo, lows, true, true), QM_OK);
    EXPECT_EQ(param.uiMinSrc, 13107);
    const double negative[] = {-30, 5, 5};
    ASSERT_EQ(with_lows(param, histo, negative, true, true), QM_OK);
    EXPECT_EQ(param.uiMinSrc, 0);
    ASSERT_EQ(with_lows(param, histo, lows, false, true), QM_OK);
    EXPECT_EQ(param.uiMinSrc, 0) << "black is not asked for";
}

TEST(AutoContrast, RefusesWhatItCannotSearch) {
    const Counts histo({{{51, 1}}, {{204, 1}}}), fewer({{{51, 1}}});
    const double lows[] = {1, 2};
    SQmLutParam param;
    param.uiMinSrc = 5;
    const SQmLutParam before(param);
    const Histo empty;
    const auto all = [&](SQmLutParam* p, const SQmHisto* h, bool low, bool high) {
        const int code = Api::AutoContrast(p, h, low, high, true, kUnused, 1, 1);
        EXPECT_EQ(Api::AutoContrast(p, h, h, low, high, true, kUnused, 1, 1), code);
        EXPECT_EQ(Api::AutoContrast(p, h, static_cast<double*>(nullptr), low, high, true, kUnused,
                                    1, 1, 0, 1),
                  code);
        return code;
    };
    EXPECT_EQ(all(nullptr, &histo, true, true), QM_BAD_BUFFER);
    EXPECT_EQ(all(&param, nullptr, true, true), QM_BAD_BUFFER);
    EXPECT_EQ(all(&param, &empty, true, true), QM_BAD_BUFFER);
    EXPECT_EQ(all(&param, &histo, false, false), QM_BAD_BUFFER) << "nothing is asked for";
    EXPECT_EQ(with_lows(param, histo, lows, true, false), QM_BAD_BUFFER) << "of the histogram";
    EXPECT_EQ(with_lows(param, histo, lows, false, false), QM_BAD_BUFFER);
    EXPECT_EQ(Api::AutoContrast(&param, &histo, &fewer, true, true, true, kUnused, 1, 1),
              QM_BAD_BUFFER);
    EXPECT_EQ(levels_of(param), levels_of(before));
    EXPECT_EQ(Api::AutoContrast(&param, &histo, &fewer, false, true, true, kUnused, 1, 1), QM_OK)
        << "it is not looked at";
}

// ----- ContrastFromMinMax ------------------------------------------------------------------------

using Ranges = std::vector<CQmRangeBase<unsigned>>;

TEST(ContrastFromMinMax, TakesTheLeastAndTheGreatest) {
    const Ranges ranges{{60, 100}, {51, 70}, {200, 204}, {0, 255}};
    SQmLutParam param;
    param.dGammaSrc = 9;
    ASSERT_EQ(Api::ContrastFromMinMax(&param, ranges, 8, 3, true, true), QM_OK);
    EXPECT_EQ(param.uiMinSrc, 13107);
    EXPECT_EQ(param.uiMaxSrc, 52428);
    EXPECT_EQ(param.dGammaSrc, 9) << "the gamma stays";
    ASSERT_EQ(Api::ContrastFromMinMax(&param, ranges, 8, 4, true, true), QM_OK);
    EXPECT_EQ(param.uiMinSrc, 0);
    EXPECT_EQ(param.uiMaxSrc, 65535);
    ASSERT_EQ(Api::ContrastFromMinMax(&param, ranges, 8, 1, false, true), QM_OK);
    EXPECT_EQ(param.uiMinSrc, 0);
    EXPECT_EQ(param.uiMaxSrc, 25700);
    ASSERT_EQ(Api::ContrastFromMinMax(&param, ranges, 8, 1, true, false), QM_OK);
    EXPECT_NEAR(param.uiMinSrc, 60 * 257, 1);
    EXPECT_EQ(param.uiMaxSrc, 25700);
    // Unlike a search, it need not be asked for anything.
    ASSERT_EQ(Api::ContrastFromMinMax(&param, ranges, 8, 1, false, false), QM_OK);
    EXPECT_EQ(param.uiMinSrc, 0);
    EXPECT_EQ(param.uiMaxSrc, 25700);
}

TEST(ContrastFromMinMax, LimitsLevelsToTheDepthAndToEachOther) {
    SQmLutParam param;
    const auto set = [&](Ranges ranges) {
        EXPECT_EQ(Api::ContrastFromMinMax(&param, ranges, 8, static_cast<unsigned>(ranges.size()),
                                          true, true),
                  QM_OK);
    };
    set({{300, 900}});
    EXPECT_NEAR(param.uiMinSrc, 254 * 257, 1);
    EXPECT_EQ(param.uiMaxSrc, 65535);
    set({{100, 100}});
    EXPECT_NEAR(param.uiMinSrc, 99 * 257, 1);
    EXPECT_EQ(param.uiMaxSrc, 100 * 257);
    set({{0, 0}});
    EXPECT_EQ(param.uiMinSrc, 0);
    EXPECT_EQ(param.uiMaxSrc, 257);
    set({});  // from top to 0
    EXPECT_EQ(param.uiMinSrc, 0);
    EXPECT_EQ(param.uiMaxSrc, 257);
}

TEST(ContrastFromMinMax, TreatsAFloatPictureLikeOthers) {
    SQmLutParam param;
    param.bFloat = true;
    ASSERT_EQ(Api::ContrastFromMinMax(&param, {{51, 204}}, 8, 1, true, true), QM_OK);
    EXPECT_FLOAT_EQ(param.fMinSrc, 0.2f);
    EXPECT_FLOAT_EQ(param.fMaxSrc, 0.8f);
}

TEST(ContrastFromMinMax, RefusesTooFewRanges) {
    SQmLutParam param;
    param.uiMinSrc = 5;
    EXPECT_EQ(Api::ContrastFromMinMax(nullptr, {{1, 2}}, 8, 1, true, true), QM_BAD_BUFFER);
    EXPECT_EQ(Api::ContrastFromMinMax(&param, {{1, 2}}, 8, 2, true, true), QM_BAD_BUFFER);
    EXPECT_EQ(param.uiMinSrc, 5);
}

}  // namespace
}  // namespace qmpic::test
