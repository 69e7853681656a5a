#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "contrast/searches.h"
#include "qmpic/PicBuf.h"
#include "qmpic/TypedLutParams.h"
#include "qmpic/status.h"
#include "support/cases.h"

// Levels of typed parameters from histograms.

namespace qmpic::test {
namespace {

using Api = SQmPicBufAPI_Base;

const bool registered = add_cases(
    {}, {}, {"SQmPicBufAPI_Base::GetAutoContrastMCH", "SQmPicBufAPI_Base::GetAutoContrastRGB"});

using Levels = std::vector<uint32_t>;

/// Black and white of each channel.
template <class Params>
Levels levels_of(const Params& p, uint32_t channels) {
    Levels all;
    for (uint32_t c = 0; c < channels; ++c) {
        all.push_back(p.GetMin(c));
        all.push_back(p.GetMax(c));
    }
    return all;
}

uint32_t level(uint32_t bin, const Counts& histo, uint32_t bpc) {
    const double full = std::pow(2.0, bpc) - 1;
    return static_cast<uint32_t>(std::floor(bin / histo.top() * full + 0.5));
}

TEST(GetAutoContrastMCH, MatchesItsDefinition) {
    for (uint32_t number = 0; number < 400; ++number) {
        Random random(number);
        std::vector<unsigned> sizes;
        uint32_t components = 0;
        for (uint32_t n = random(1, 3); n > 0; --n) {
            sizes.push_back(random(1, 3));
            components += sizes.back();
        }
        const auto channels = static_cast<uint32_t>(sizes.size());
        const DrawnCounts histo(random, components, random(4, 10), 4);
        const uint32_t bpc = random(8, 16);
        CQmLutParamMCH param(channels, components, sizes.data(), bpc);
        const bool low = random(0, 2) != 0, high = random(0, 2) != 0;
        const double low_percent = draw_percent(random), high_percent = draw_percent(random);
        Levels expected;
        uint32_t first = 0;
        for (const unsigned size : sizes) {
            const Searched s =
                search(histo, first, first + size - 1, low_percent, high_percent, false, true);
            expected.push_back(low ? level(s.low, histo, bpc) : 0);
            expected.push_back(high ? level(s.high, histo, bpc) : (1u << bpc) - 1);
            first += size;
        }
        ASSERT_EQ(Api::GetAutoContrastMCH(&param, &histo, low, high, low_percent, high_percent),
                  QM_OK);
        ASSERT_EQ(levels_of(param, channels), expected) << number;
    }
}

TEST(GetAutoContrastMCH, LeavesOutTheLastComponentOfAChannelOfSeveral) {
    const Counts histo({{{60, 1}, {90, 1}},
                        {{50, 1}, {120, 1}},
                        {{1, 1}, {250, 1}},
                        {{30, 1}, {40, 1}},
                        {{70, 1}, {80, 1}},
                        {{2, 1}, {240, 1}}});
    const unsigned sizes[] = {3, 1, 2};
    CQmLutParamMCH param(3, 6, sizes, 8);
    ASSERT_EQ(Api::GetAutoContrastMCH(&param, &histo, true, true, 0, 0), QM_OK);
    EXPECT_EQ(levels_of(param, 3), (Levels{50, 120, 30, 40, 70, 80}));
    EXPECT_EQ(param.GetGamma(0), 1.0);
    param.SetUnit();
    ASSERT_EQ(Api::GetAutoContrastMCH(&param, &histo, true, false, 0, 0), QM_OK);
    EXPECT_EQ(levels_of(param, 3), (Levels{50, 255, 30, 255, 70, 255}));
    param.SetUnit();
    ASSERT_EQ(Api::GetAutoContrastMCH(&param, &histo, false, true, 0, 0), QM_OK);
    EXPECT_EQ(levels_of(param, 3), (Levels{0, 120, 0, 40, 0, 80}));
    param.SetUnit();
    ASSERT_EQ(Api::GetAutoContrastMCH(&param, &histo, false, false, 0, 0), QM_OK);
    EXPECT_TRUE(param.IsUnit());
}

TEST(GetAutoContrastMCH, RoundsToTheDepthOfTheParameters) {
    // 100 and 101 of 255 are 1605.88 and 1621.94 of 4095.
    const Counts histo({{{100, 1}, {101, 1}}});
    const unsigned sizes[] = {1};
    CQmLutParamMCH param(1, 1, sizes, 12);
    ASSERT_EQ(Api::GetAutoContrastMCH(&param, &histo, true, true, 0, 0), QM_OK);
    EXPECT_EQ(levels_of(param, 1), (Levels{1606, 1622}));
    // Flat: black is a bin below.
    ASSERT_EQ(Api::GetAutoContrastMCH(&param, &histo, true, true, 60, 0), QM_OK);
    EXPECT_EQ(levels_of(param, 1), (Levels{1606, 1622}));
    const Counts flat({{{101, 1}}});
    ASSERT_EQ(Api::GetAutoContrastMCH(&param, &flat, true, true, 0, 0), QM_OK);
    EXPECT_EQ(levels_of(param, 1), (Levels{1606, 1622}));
}

TEST(GetAutoContrastMCH, RefusesWhatItCannotSearch) {
    const Counts histo({{{60, 1}, {90, 1}}, {{50, 1}, {120, 1}}});
    const Histo empty;
    const unsigned sizes[] = {1, 2};
    CQmLutParamMCH param(2, 3, sizes, 8), without, zeros(2, 2, nullptr, 8);
    const auto get = [](CQmLutParamMCH* p, const SQmHisto* h) {
        return Api::GetAutoContrastMCH(p, h, true, true, 0, 0);
    };
    EXPECT_EQ(get(nullptr, &histo), QM_BAD_BUFFER);
    EXPECT_EQ(get(&param, nullptr), QM_BAD_BUFFER);
    EXPECT_EQ(get(&param, &empty), QM_BAD_BUFFER);
    EXPECT_TRUE(param.IsUnit());
    ASSERT_EQ(without.puiComp, nullptr);
    EXPECT_EQ(get(&without, &histo), QM_BAD_BUFFER);
    EXPECT_EQ(get(&zeros, &histo), QM_BAD_BUFFER) << "0 - 1 is no end";
    // Channels are set one after the other until one fails; the end of the second is within.
    EXPECT_EQ(get(&param, &histo), QM_OK);
    EXPECT_EQ(levels_of(param, 2), (Levels{60, 90, 50, 120}));
    const unsigned more[] = {2, 1};
    CQmLutParamMCH beyond(2, 3, more, 8);
    EXPECT_EQ(get(&beyond, &histo), QM_BAD_BUFFER);
    EXPECT_EQ(levels_of(beyond, 2), (Levels{60, 90, 0, 255}));
}

TEST(GetAutoContrastRGB, LeavesOutComponent2) {
    const Counts histo({{{60, 1}, {90, 1}}, {{50, 1}, {80, 1}}, {{1, 1}, {250, 1}}});
    CQmLutParamRGB param(8);
    ASSERT_EQ(Api::GetAutoContrastRGB(&param, &histo, true, true, 0, 0), QM_OK);
    EXPECT_EQ(levels_of(param, 3), (Levels{50, 90, 50, 90, 50, 90}));
    param.SetUnit();
    ASSERT_EQ(Api::GetAutoContrastRGB(&param, &histo, true, false, 0, 0), QM_OK);
    EXPECT_EQ(levels_of(param, 3), (Levels{50, 255, 50, 255, 50, 255}));
    param.SetUnit();
    ASSERT_EQ(Api::GetAutoContrastRGB(&param, &histo, false, true, 0, 0), QM_OK);
    EXPECT_EQ(levels_of(param, 3), (Levels{0, 90, 0, 90, 0, 90}));
    CQmLutParamRGB deep(12);
    const Counts others({{{100, 1}}, {{101, 1}}, {{7, 1}}});
    ASSERT_EQ(Api::GetAutoContrastRGB(&deep, &others, true, true, 0, 0), QM_OK);
    EXPECT_EQ(levels_of(deep, 3), (Levels{1606, 1622, 1606, 1622, 1606, 1622}));
}

TEST(GetAutoContrastRGB, MatchesItsDefinition) {
    for (uint32_t number = 0; number < 200; ++number) {
        Random random(number);
        const DrawnCounts histo(random, random(2, 4), random(4, 10), 8);
        const uint32_t bpc = random(8, 16);
        CQmLutParamRGB param(bpc);
        const double low = draw_percent(random), high = draw_percent(random);
        const Searched s = search(histo, 0, 2, low, high, false, true);
        ASSERT_EQ(Api::GetAutoContrastRGB(&param, &histo, true, true, low, high), QM_OK);
        for (uint32_t c = 0; c < 3; ++c) {
            ASSERT_EQ(param.GetMin(c), level(s.low, histo, bpc)) << number;
            ASSERT_EQ(param.GetMax(c), level(s.high, histo, bpc)) << number;
        }
    }
}

TEST(GetAutoContrastRGB, RefusesWhatItCannotSearch) {
    const Counts histo({{{60, 1}, {90, 1}}, {{50, 1}, {80, 1}}}), one({{{60, 1}}});
    const Histo empty;
    CQmLutParamRGB param(8);
    EXPECT_EQ(Api::GetAutoContrastRGB(nullptr, &histo, true, true, 0, 0), QM_BAD_BUFFER);
    EXPECT_EQ(Api::GetAutoContrastRGB(&param, nullptr, true, true, 0, 0), QM_BAD_BUFFER);
    EXPECT_EQ(Api::GetAutoContrastRGB(&param, &empty, true, true, 0, 0), QM_BAD_BUFFER);
    EXPECT_EQ(Api::GetAutoContrastRGB(&param, &one, true, true, 0, 0), QM_BAD_BUFFER);
    EXPECT_TRUE(param.IsUnit());
}

}  // namespace
}  // namespace qmpic::test
