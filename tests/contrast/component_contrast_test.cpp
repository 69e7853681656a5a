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

// Levels and gamma of components one by one, and the balance of three to a white.

namespace qmpic::test {
namespace {

using Api = SQmPicBufAPI_Base;
using Ranges = std::vector<CQmRangeBase<float>>;

const bool registered =
    add_cases({}, {},
              {"SQmPicBufAPI_Base::AutoOneCompContrast",
               "SQmPicBufAPI_Base::AutoOneCompContrastSimple", "SQmPicBufAPI_Base::AutoWhite"});

enum Form { kLowHisto, kLows, kRanges };

/// One of the six.
struct Call {
    Form form;
    bool simple;
    uint32_t first, end;
    const SQmHisto* histo;
    const SQmHisto* low_histo;
    const double* lows;
    bool low, high, mid;
    double low_percent, high_percent;
    Ranges ranges;

    int operator()(SQmLutParam* p) const {
        if (form == kLowHisto)
            return simple ? Api::AutoOneCompContrastSimple(p, first, end, histo, low_histo, low,
                                                           high, mid, low_percent, high_percent)
                          : Api::AutoOneCompContrast(p, first, end, histo, low_histo, low, high,
                                                     mid, low_percent, high_percent);
        if (form == kLows)
            return simple ? Api::AutoOneCompContrastSimple(p, first, end, histo, lows, low, high,
                                                           mid, low_percent, high_percent, ranges)
                          : Api::AutoOneCompContrast(p, first, end, histo, lows, low, high, mid,
                                                     low_percent, high_percent, ranges);
        return simple ? Api::AutoOneCompContrastSimple(p, first, end, histo, low, high, mid,
                                                       low_percent, high_percent, ranges)
                      : Api::AutoOneCompContrast(p, first, end, histo, low, high, mid, low_percent,
                                                 high_percent, ranges);
    }
};

void expect(SQmLutParam& p, const Call& call, const Counts& histo, const Counts& low_histo) {
    const Searched s =
        search(histo, call.first, call.end, call.low_percent, call.high_percent, call.mid, true);
    const Searched other = call.form == kLowHisto && call.low_histo != nullptr
                               ? search(low_histo, call.first, call.end, call.low_percent,
                                        call.high_percent, false, true)
                               : s;
    const double top = histo.top();
    for (uint32_t c = call.first; c < call.end; ++c) {
        const bool has_range = p.bFloat && call.form != kLowHisto && c < call.ranges.size();
        double l = 0, u = 0, g0 = 0, g1 = 0;
        if (has_range) {
            l = call.ranges[c].tLower, u = call.ranges[c].tUpper;
            g0 = call.simple ? l : SQmLutParam::GetCompMinFromFloatRanges(c, call.ranges);
            g1 = call.simple ? u : SQmLutParam::GetCompMaxFromFloatRanges(c, call.ranges);
        }
        const bool uses_lows = call.form == kLows && call.lows != nullptr && call.low;
        double w = p.GetCompMaxSrcDbl(c);
        if (call.high)
            w = has_range ? ((u - l) * s.high / top + (l - g0)) / (g1 - g0) : s.high / top;
        double lowest = other.low, lowest_before = other.low_before;
        if (uses_lows) lowest = lowest_before = std::trunc(call.lows[c]);
        double m = call.low ? lowest / top : 0;
        if (uses_lows && has_range) m = ((u - l) * call.lows[c] / top + (l - g0)) / (g1 - g0);
        if (call.simple && call.low && call.high && lowest_before == s.high_before) w = 1, m = 0;
        if (std::isnan(w) || w < 1 / top) w = 1 / top;
        if (w > 1) w = 1;
        p.SetCompMaxSrcDbl(c, w);
        if (std::isnan(m) || m < 0)
            m = 0;
        else if (m > w - 1 / top)
            m = w - 1 / top;
        p.SetCompMinSrcDbl(c, m);
        double gamma = p.GetCompGammaSrc(c);
        if (call.mid) gamma = std::log(0.5) / std::log((s.mid / top - m) / (w - m));
        p.SetCompGammaSrc(c, std::isnan(gamma) ? 0.5 : std::clamp(gamma, 0.5, 2.0));
    }
}

TEST(AutoOneCompContrast, MatchesItsDefinitionInAllForms) {
    uint32_t flat = 0, placed = 0;
    for (uint32_t number = 0; number < 3000; ++number) {
        Random random(number);
        const DrawnCounts histo(random, random(1, 5), random(0, 9) == 0 ? 12 : random(1, 8), 4);
        const uint32_t components = histo.uiComponents;
        const DrawnCounts low_histo(random, components, random(1, 8), 8);
        std::vector<double> lows;
        for (uint32_t c = 0; c < components; ++c)
            lows.push_back(draw_fraction(random) * histo.top() - (random(0, 3) == 0 ? 2 : 0));
        SQmLutParam param;
        draw_levels(random, param);
        Call call{};
        call.form = random.one_of({kLowHisto, kLows, kRanges});
        call.simple = random(0, 1);
        call.first = random(0, components - 1);
        call.end = random(call.first, components);
        call.histo = &histo;
        if (random(0, 2) != 0) call.low_histo = &low_histo, call.lows = lows.data();
        call.low = random(0, 2) != 0, call.high = random(0, 2) != 0, call.mid = random(0, 1);
        call.low_percent = draw_percent(random), call.high_percent = draw_percent(random);
        const float base = random.one_of({-50.0f, 0.0f, 3.0f});
        for (uint32_t n = random(0, components); n > 0; --n) {
            const float lower = base + static_cast<float>(random(0, 40));
            call.ranges.push_back({lower, lower + static_cast<float>(random(0, 40))});
        }

        SQmLutParam expected(param);
        const int code = call(&param);
        const bool searches_low = call.low && !(call.form == kLows && call.lows != nullptr);
        if (call.first < call.end && !searches_low && !call.high) {
            ASSERT_EQ(code, QM_BAD_BUFFER);
        } else {
            ASSERT_EQ(code, QM_OK);
            if (call.first < call.end) expect(expected, call, histo, low_histo);
        }
        ASSERT_EQ(levels_of(param), levels_of(expected)) << number;
        const Searched s =
            search(histo, call.first, call.end, call.low_percent, call.high_percent, false, false);
        if (call.simple && call.low && call.high && s.low == s.high) ++flat;
        if (param.bFloat && !call.ranges.empty() && call.form != kLowHisto) ++placed;
    }
    EXPECT_GT(flat, 20u);
    EXPECT_GT(placed, 300u);
}

/// All of it, of the components of a histogram, at 0 percent.
Call call_of(Form form, bool simple, const SQmHisto& histo) {
    return {form, simple, 0, histo.uiComponents, &histo, nullptr, nullptr, true, true, false,
            0,    0,      {}};
}

TEST(AutoOneCompContrast, SetsTheSameLevelsInAllComponentsOfTheRange) {
    const Counts histo({{{60, 1}}, {{51, 1}, {90, 1}}, {{70, 1}, {204, 1}}, {{0, 1}, {255, 1}}});
    for (const bool simple : {false, true})
        for (const Form form : {kLowHisto, kLows, kRanges}) {
            Call call = call_of(form, simple, histo);
            call.first = 1, call.end = 3;
            SQmLutParam param, expected;
            for (const uint32_t c : {1u, 2u}) {
                expected.sCompLutParam[c].uiMinSrc = 13107;
                expected.sCompLutParam[c].uiMaxSrc = 52428;
            }
            ASSERT_EQ(call(&param), QM_OK);
            EXPECT_EQ(levels_of(param), levels_of(expected));
        }
}

TEST(AutoOneCompContrast, DoesNothingForNoComponents) {
    const Counts histo({{{60, 1}}, {{51, 1}}});
    for (const bool simple : {false, true})
        for (const Form form : {kLowHisto, kLows, kRanges}) {
            Call call = call_of(form, simple, histo);
            call.low = call.high = false;
            SQmLutParam param;
            param.sCompLutParam[1].dGammaSrc = 9;
            const SQmLutParam before(param);
            for (const uint32_t end : {0u, 1u}) {
                call.first = 1, call.end = end;
                EXPECT_EQ(call(&param), QM_OK);
            }
            call.first = 400, call.end = 300;
            EXPECT_EQ(call(&param), QM_OK);
            EXPECT_EQ(levels_of(param), levels_of(before));
        }
}

TEST(AutoOneCompContrast, TakesTheWholePartOfLows) {
    const Counts histo({{{9, 1}, {204, 1}}, {{9, 1}}});
    const double lows[] = {51.9, -3.5};
    for (const bool simple : {false, true}) {
        Call call = call_of(kLows, simple, histo);
        call.lows = lows;
        SQmLutParam param;
        ASSERT_EQ(call(&param), QM_OK);
        EXPECT_EQ(param.sCompLutParam[0].uiMinSrc, 13107);
        EXPECT_EQ(param.sCompLutParam[1].uiMinSrc, 0);
        EXPECT_EQ(param.sCompLutParam[1].uiMaxSrc, 52428);
    }
}

TEST(AutoOneCompContrast, PlacesWhiteOfAFloatPictureInTheCommonRange) {
    // Component 0 is 0 to 2, component 1 is 0 to 3.9, the common range 0 to 4; 204 is 0.8.
    const Counts histo({{{51, 1}, {204, 1}}, {{51, 1}, {204, 1}}});
    const Ranges ranges{{0, 2}, {0, 3.9f}};
    const double lows[] = {51, 51};
    for (const Form form : {kLows, kRanges}) {
        Call call = call_of(form, false, histo);
        call.ranges = ranges;
        call.lows = lows;
        SQmLutParam param;
        param.bFloat = true;
        ASSERT_EQ(call(&param), QM_OK);
        EXPECT_FLOAT_EQ(param.sCompLutParam[0].fMaxSrc, 0.4f);
        EXPECT_FLOAT_EQ(param.sCompLutParam[1].fMaxSrc, 0.78f);
        // Only a black level of `lows` is placed, too.
        EXPECT_FLOAT_EQ(param.sCompLutParam[0].fMinSrc, form == kLows ? 0.1f : 0.2f);
        EXPECT_FLOAT_EQ(param.sCompLutParam[1].fMinSrc, form == kLows ? 0.195f : 0.2f);
        // In the simple form each has its own range.
        call.simple = true;
        ASSERT_EQ(call(&param), QM_OK);
        for (const uint32_t c : {0u, 1u}) {
            EXPECT_FLOAT_EQ(param.sCompLutParam[c].fMinSrc, 0.2f);
            EXPECT_FLOAT_EQ(param.sCompLutParam[c].fMaxSrc, 0.8f);
        }
        // Past the ranges a component is treated like one of an integer picture.
        call.simple = false;
        call.ranges = {{0, 2}};
        ASSERT_EQ(call(&param), QM_OK);
        EXPECT_FLOAT_EQ(param.sCompLutParam[0].fMaxSrc, 0.4f);
        EXPECT_FLOAT_EQ(param.sCompLutParam[1].fMaxSrc, 0.8f);
        EXPECT_FLOAT_EQ(param.sCompLutParam[1].fMinSrc, 0.2f);
    }
}

TEST(AutoOneCompContrast, SurvivesRangesWithoutExtent) {
    const Counts histo({{{51, 1}, {204, 1}}});
    const double lows[] = {51};
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const bool simple : {false, true}) {
        Call call = call_of(kLows, simple, histo);
        call.lows = lows;
        // Quotients that are no numbers; NaN has limits of its own in the simple form.
        call.ranges = {simple ? CQmRangeBase<float>{5, 5} : CQmRangeBase<float>{nan, nan}};
        SQmLutParam param;
        param.bFloat = true;
        ASSERT_EQ(call(&param), QM_OK);
        EXPECT_EQ(param.sCompLutParam[0].fMinSrc, 0);
        EXPECT_EQ(param.sCompLutParam[0].fMaxSrc, static_cast<float>(1 / 255.0));
    }
}

TEST(AutoOneCompContrast, MovesBlackBelowWhiteOfAFlatComponent) {
    const Counts histo({{{100, 1}}});
    for (const Form form : {kLowHisto, kLows, kRanges}) {
        SQmLutParam param;
        ASSERT_EQ(call_of(form, false, histo)(&param), QM_OK);
        EXPECT_NEAR(param.sCompLutParam[0].uiMinSrc, 99 * 257, 1);
        EXPECT_NEAR(param.sCompLutParam[0].uiMaxSrc, 100 * 257, 1);
    }
}

TEST(AutoOneCompContrastSimple, ShowsAFlatComponentAtFullRange) {
    for (const uint32_t value : {0u, 1u, 100u, 254u, 255u}) {
        const Counts histo({{{value, 1}}});
        for (const Form form : {kLowHisto, kLows, kRanges}) {
            SQmLutParam param;
            param.sCompLutParam[0].uiMinSrc = 9, param.sCompLutParam[0].uiMaxSrc = 99;
            Call call = call_of(form, true, histo);
            ASSERT_EQ(call(&param), QM_OK);
            EXPECT_EQ(param.sCompLutParam[0].uiMinSrc, 0);
            EXPECT_EQ(param.sCompLutParam[0].uiMaxSrc, 65535);
            call.low = false;  // one level alone has no other that it could be equal to
            ASSERT_EQ(call(&param), QM_OK);
            EXPECT_NEAR(param.sCompLutParam[0].uiMaxSrc,
                        value == 0 || value == 255 ? 65535 : value * 257, 1);
        }
    }
    // Each component by its own value of `lows`.
    const Counts histo({{{100, 1}}, {{100, 1}}});
    const double lows[] = {100.7, 50};
    Call call = call_of(kLows, true, histo);
    call.lows = lows;
    SQmLutParam param;
    ASSERT_EQ(call(&param), QM_OK);
    EXPECT_EQ(param.sCompLutParam[0].uiMinSrc, 0);
    EXPECT_EQ(param.sCompLutParam[0].uiMaxSrc, 65535);
    EXPECT_NEAR(param.sCompLutParam[1].uiMinSrc, 50 * 257, 1);
    EXPECT_NEAR(param.sCompLutParam[1].uiMaxSrc, 100 * 257, 1);
}

TEST(AutoOneCompContrast, RefusesWhatItCannotSearch) {
    const Counts histo({{{60, 1}}, {{51, 1}}}), fewer({{{60, 1}}});
    const double lows[] = {1, 2};
    const Histo empty;
    for (const bool simple : {false, true})
        for (const Form form : {kLowHisto, kLows, kRanges}) {
            SQmLutParam param;
            const SQmLutParam before(param);
            Call call = call_of(form, simple, histo);
            EXPECT_EQ(call(nullptr), QM_BAD_BUFFER);
            call.histo = nullptr;
            EXPECT_EQ(call(&param), QM_BAD_BUFFER);
            call.histo = &empty;
            EXPECT_EQ(call(&param), QM_BAD_BUFFER);
            call.histo = &histo;
            call.end = 3;
            EXPECT_EQ(call(&param), QM_BAD_BUFFER);
            call.end = 2;
            call.low = call.high = false;
            EXPECT_EQ(call(&param), QM_BAD_BUFFER);
            call.low = true;
            call.lows = lows;
            if (form == kLows) {
                EXPECT_EQ(call(&param), QM_BAD_BUFFER);
            }
            call.low_histo = &fewer;
            if (form == kLowHisto) {
                EXPECT_EQ(call(&param), QM_BAD_BUFFER);
            }
            EXPECT_EQ(levels_of(param), levels_of(before));
        }
}

TEST(AutoOneCompContrast, HasLevelsFor192Components) {
    const Counts histo(std::vector<Bins>(193, Bins{{51, 1}, {204, 1}}));
    SQmLutParam param;
    const SQmLutParam before(param);
    Call call = call_of(kRanges, false, histo);
    EXPECT_EQ(call(&param), QM_TOO_MANY);
    EXPECT_EQ(levels_of(param), levels_of(before));
    call.end = 192;
    EXPECT_EQ(call(&param), QM_OK);
    EXPECT_EQ(param.sCompLutParam[191].uiMinSrc, 13107);
}

// ----- AutoWhite ---------------------------------------------------------------------------------

int white(SQmLutParam& p, const SQmHisto& histo, bool low, bool high, uint32_t color) {
    return Api::AutoWhite(&p, &histo, low, high, color, 0, 0);
}

TEST(AutoWhite, BalancesWhiteLevelsToTheGreatest) {
    // 204 is the greatest; 153 is 0.75 of it, 51 a quarter, which is below the least, a half.
    const Counts histo({{{0, 1}, {204, 1}}, {{0, 1}, {153, 1}}, {{0, 1}, {51, 1}}});
    SQmLutParam param, expected;
    ASSERT_EQ(white(param, histo, false, true, 0xFFFFFF), QM_OK);
    expected.sCompLutParam[1].uiMaxSrc = 49151;  // 0.75 of 65535, cut
    expected.sCompLutParam[2].uiMaxSrc = 32767;  // 0.5
    EXPECT_EQ(levels_of(param), levels_of(expected));
    // A black level of 0.6 and a step of 1 / 255 raise the least.
    param.SetCompMinSrcDbl(2, 0.6);
    ASSERT_EQ(white(param, histo, false, true, 0xFFFFFF), QM_OK);
    EXPECT_NEAR(param.sCompLutParam[2].uiMaxSrc, 0.6 * 65535 + 257, 2);
}

TEST(AutoWhite, GivesToTheOutputWhatTheWhiteLevelCannot) {
    const Counts histo({{{0, 1}, {204, 1}}, {{0, 1}, {204, 1}}, {{0, 1}, {102, 1}}});
    SQmLutParam param;
    // Component 0 is the brightest, component 1 half as bright, component 2 at 0.8.
    ASSERT_EQ(white(param, histo, false, true, 0xC864A0), QM_OK);
    EXPECT_EQ(param.sCompLutParam[0].uiMaxSrc, 65535);
    EXPECT_EQ(param.sCompLutParam[0].uiMaxDst, 65535);
    EXPECT_EQ(param.sCompLutParam[1].uiMaxSrc, 65535);
    EXPECT_EQ(param.sCompLutParam[1].uiMaxDst, 32767);
    EXPECT_EQ(param.sCompLutParam[2].uiMaxSrc, 40959);  // 0.5 / 0.8 = 0.625
    EXPECT_EQ(param.sCompLutParam[2].uiMaxDst, 65535);
    // A component that the colour has not is switched off; the top byte plays no part.
    ASSERT_EQ(white(param, histo, false, true, 0xFF0000FF), QM_OK);
    for (const uint32_t c : {0u, 1u}) {
        EXPECT_EQ(param.sCompLutParam[c].uiMaxSrc, 65535);
        EXPECT_EQ(param.sCompLutParam[c].uiMaxDst, 0);
    }
    EXPECT_EQ(param.sCompLutParam[2].uiMaxDst, 65535);
    ASSERT_EQ(white(param, histo, false, true, 0), QM_OK);
    for (const uint32_t c : {0u, 1u, 2u}) EXPECT_EQ(param.sCompLutParam[c].uiMaxDst, 0);
}

TEST(AutoWhite, SetsDistancesFromTheGreatestLimits) {
    const Counts histo({{{10, 1}, {204, 1}}, {{61, 1}, {153, 1}}, {{61, 1}, {255, 1}}});
    SQmLutParam param, expected;
    ASSERT_EQ(white(param, histo, true, true, 0x010203), QM_OK);
    expected.sCompLutParam[0].uiMinSrc = 13107;  // 51 of 255
    expected.sCompLutParam[0].uiMaxSrc = 52428;  // 204 of 255
    expected.sCompLutParam[1].uiMaxSrc = 39321;  // 153 of 255
    EXPECT_EQ(levels_of(param), levels_of(expected));
}

TEST(AutoWhite, SetsTheBlackLevelOfComponent2AloneWithoutTheWhiteOne) {
    const Counts histo({{{10, 1}, {204, 1}}, {{112, 1}, {153, 1}}, {{61, 1}, {255, 1}}});
    SQmLutParam param, expected;
    ASSERT_EQ(white(param, histo, true, false, 0xFFFFFF), QM_OK);
    expected.sCompLutParam[2].uiMinSrc = 13107;  // 112 - 61 = 51; 102 of component 0 is lost
    EXPECT_EQ(levels_of(param), levels_of(expected));
    // A step below the white level.
    param.sCompLutParam[2].uiMaxSrc = 2570;
    ASSERT_EQ(white(param, histo, true, false, 0xFFFFFF), QM_OK);
    EXPECT_NEAR(param.sCompLutParam[2].uiMinSrc, 2313, 1);
}

TEST(AutoWhite, MovesBlackOfFlatComponents) {
    // Flat 100, 50 and 52: low 99, 49 and 51.
    const Counts histo({{{100, 1}}, {{50, 1}}, {{52, 1}}});
    SQmLutParam param;
    ASSERT_EQ(white(param, histo, true, true, 0xFFFFFF), QM_OK);
    EXPECT_NEAR(param.sCompLutParam[1].uiMinSrc, 50 * 257, 1);
    EXPECT_NEAR(param.sCompLutParam[2].uiMinSrc, 48 * 257, 1);
}

TEST(AutoWhite, DoesNothingWhenNothingIsAskedFor) {
    const Counts histo({{{10, 1}}, {{20, 1}}, {{30, 1}}});
    SQmLutParam param;
    const SQmLutParam before(param);
    EXPECT_EQ(white(param, histo, false, false, 0xFFFFFF), QM_OK);
    EXPECT_EQ(levels_of(param), levels_of(before));
}

TEST(AutoWhite, RefusesOtherThanThreeComponents) {
    SQmLutParam param;
    const SQmLutParam before(param);
    for (const uint32_t components : {1u, 2u, 4u}) {
        const Counts histo(std::vector<Bins>(components, Bins{{10, 1}}));
        EXPECT_EQ(white(param, histo, true, true, 0xFFFFFF), QM_BAD_BUFFER);
        EXPECT_EQ(white(param, histo, false, false, 0xFFFFFF), QM_BAD_BUFFER);
    }
    Counts freed({{{10, 1}}, {{20, 1}}, {{30, 1}}});
    EXPECT_EQ(Api::AutoWhite(nullptr, &freed, true, true, 0, 0, 0), QM_BAD_BUFFER);
    EXPECT_EQ(Api::AutoWhite(&param, nullptr, true, true, 0, 0, 0), QM_BAD_BUFFER);
    CQmHistoAPI_Base::Free(&freed);
    EXPECT_EQ(white(param, freed, true, true, 0xFFFFFF), QM_BAD_BUFFER);
    EXPECT_EQ(levels_of(param), levels_of(before));
}

}  // namespace
}  // namespace qmpic::test
