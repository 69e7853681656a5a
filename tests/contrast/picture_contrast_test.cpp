#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "contrast/levels.h"
#include "histogram/histo.h"
#include "lut/sets.h"
#include "qmpic/Lut.h"
#include "qmpic/PicBuf.h"
#include "qmpic/status.h"
#include "support/cases.h"
#include "support/failing_alloc.h"

// Levels from the pixels of a picture, or from ranges in their place, into parameters or tables.

namespace qmpic::test {
namespace {

using Api = SQmPicBufAPI_Base;
using Ranges = std::vector<CQmRangeBase<unsigned>>;
using Values = std::vector<uint32_t>;

const bool registered = add_cases(
    {}, {}, {"SQmPicBufAPI_Base::GetAutoContrast", "SQmPicBufAPI_Base::GetContrastFromMinMax"});

/// One row; each component a list of values.
struct Picture : SQmPicBuf {
    Picture(uint32_t bpc, const std::vector<Values>& components) {
        Api::Init(this);
        const auto width = static_cast<uint32_t>(components[0].size());
        const auto count = static_cast<uint32_t>(components.size());
        EXPECT_EQ(Api::Reinit(this, width, 1, 0, bpc, count, true), QM_OK);
        const uint32_t bytes = Api::CalcCompSize(bpc);
        for (uint32_t c = 0; c < count; ++c)
            for (uint32_t x = 0; x < width; ++x)
                std::memcpy(static_cast<uint8_t*>(pData) + (uint64_t{x} * count + c) * bytes,
                            &components[c][x], bytes);
    }
    ~Picture() { Api::Free(this); }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
};

/// Ten values, of which the fraction 0.25 cuts off 3 at either end.
Values ramp(uint32_t low, uint32_t high) {
    return {low, low, low, low, (low + high) / 2, (low + high) / 2, high, high, high, high};
}

struct Two {
    double low, high;
};
int search(SQmLutParam* p, SQmLut* lut, const SQmPicBuf& pic, Two cut, bool common, bool none) {
    return Api::GetAutoContrast(p, lut, &pic, cut.low, cut.high, common, none);
}
constexpr Two kBoth{0.25, 0.25};

TEST(GetAutoContrast, SetsTheLevelsOfOneComponent) {
    for (const uint32_t bpc : {8u, 10u, 12u, 16u}) {
        const uint32_t top = (1u << bpc) - 1, step = top / 5;
        if (top % 5 != 0) continue;
        const Picture picture(bpc, {ramp(step, 4 * step)});
        SQmLutParam param;
        for (const bool common : {false, true}) {
            ASSERT_EQ(search(&param, nullptr, picture, kBoth, common, false), QM_OK);
            EXPECT_EQ(param.uiMinSrc, 13107) << bpc;
            EXPECT_EQ(param.uiMaxSrc, 52428) << bpc;
        }
    }
}

TEST(GetAutoContrast, TakesFractionsForWhatIsCalledPercents) {
    // A lone outlier at both ends of 10 pixels: 1 / 100 cuts off one pixel, as 0.1 does, and 0.2
    // cuts off two. 1.0 is everything, more than which is never reached: black at the top.
    const Picture picture(8, {{0, 30, 40, 50, 50, 50, 60, 70, 204, 255}});
    SQmLutParam param;
    ASSERT_EQ(search(&param, nullptr, picture, {0.01, 0.1}, false, false), QM_OK);
    EXPECT_NEAR(param.uiMinSrc, 30 * 257, 1);
    EXPECT_EQ(param.uiMaxSrc, 204 * 257);
    ASSERT_EQ(search(&param, nullptr, picture, {0.2, 0.2}, false, false), QM_OK);
    EXPECT_NEAR(param.uiMinSrc, 40 * 257, 1);
    EXPECT_EQ(param.uiMaxSrc, 70 * 257);
    ASSERT_EQ(search(&param, nullptr, picture, {1.0, 1.0}, false, false), QM_OK);
    EXPECT_EQ(param.uiMinSrc, 65535);
    EXPECT_EQ(param.uiMaxSrc, 0);
    // A fraction of 0 does not search its end.
    ASSERT_EQ(search(&param, nullptr, picture, {0, 0.1}, false, false), QM_OK);
    EXPECT_EQ(param.uiMinSrc, 0);
    EXPECT_EQ(param.uiMaxSrc, 204 * 257);
    ASSERT_EQ(search(&param, nullptr, picture, {0.1, -1}, false, false), QM_OK);
    EXPECT_NEAR(param.uiMinSrc, 30 * 257, 1);
    EXPECT_EQ(param.uiMaxSrc, 65535);
}

TEST(GetAutoContrast, SetsTheLevelsOfEachComponentOrOfAll) {
    const Picture picture(8, {ramp(102, 153), ramp(51, 153), ramp(102, 204)});
    SQmLutParam param, expected;
    ASSERT_EQ(search(&param, nullptr, picture, kBoth, true, false), QM_OK);
    expected.uiMinSrc = 13107, expected.uiMaxSrc = 52428;
    EXPECT_EQ(levels_of(param), levels_of(expected));

    SQmLutParam apart;
    apart.uiMinSrc = 7, apart.uiMaxSrc = 77, apart.dGammaSrc = 1.5;
    ASSERT_EQ(search(&apart, nullptr, picture, kBoth, false, false), QM_OK);
    SQmLutParam own;
    own.dGammaSrc = 1.5;
    for (const uint32_t c : {0u, 1u, 2u}) {
        own.sCompLutParam[c].uiMinSrc = c == 1 ? 13107 : 26214;
        own.sCompLutParam[c].uiMaxSrc = c == 2 ? 52428 : 39321;
    }
    EXPECT_EQ(levels_of(apart), levels_of(own));
}

TEST(GetAutoContrast, LeavesCommonLevelsInTheWrongOrderWithoutASearch) {
    const Picture one(8, {ramp(51, 204)}), three(8, {ramp(51, 204), ramp(51, 204), ramp(51, 204)});
    SQmLutParam param;
    ASSERT_EQ(search(&param, nullptr, three, kBoth, true, true), QM_OK);
    EXPECT_EQ(param.uiMinSrc, 65535);
    EXPECT_EQ(param.uiMaxSrc, 0);
    // One component has the ends of the depth, and several of their own are left alone.
    ASSERT_EQ(search(&param, nullptr, one, kBoth, true, true), QM_OK);
    EXPECT_EQ(param.uiMinSrc, 0);
    EXPECT_EQ(param.uiMaxSrc, 65535);
    param.uiMinSrc = 7, param.sCompLutParam[1].uiMaxSrc = 8;
    const SQmLutParam before(param);
    ASSERT_EQ(search(&param, nullptr, three, kBoth, false, true), QM_OK);
    EXPECT_EQ(levels_of(param), levels_of(before));
}

/// What a linear table from `low` to `high` holds.
uint32_t linear(uint32_t value, uint32_t low, uint32_t high, uint32_t top) {
    if (value < low) return 0;
    if (value >= high) return top;
    return (value - low) * top / (high - low);
}

void expect_linear(const Set& set, uint32_t cell, uint32_t low, uint32_t high) {
    for (uint32_t v = 0; v < set.entries(); ++v)
        ASSERT_EQ(set.get(0, v, cell), linear(v, low, high, set.top())) << v;
}

TEST(GetAutoContrast, MakesLinearTablesWithoutParameters) {
    for (const uint32_t bpc : {8u, 12u, 16u}) {
        const uint32_t top = (1u << bpc) - 1, step = top / 5;
        const Picture picture(
            bpc, {ramp(2 * step, 3 * step), ramp(step, 3 * step), ramp(2 * step, 4 * step)});
        Set set;
        ASSERT_EQ(search(nullptr, &set, picture, kBoth, false, false), QM_OK);
        ASSERT_EQ(set.ucSrcBpc, bpc);
        ASSERT_EQ(set.ucDstBpc, bpc);
        ASSERT_EQ(set.ucComponents, 1);
        ASSERT_EQ(set.ucDstComponents, 3);
        expect_linear(set, 0, 2 * step, 3 * step);
        expect_linear(set, 1, step, 3 * step);
        expect_linear(set, 2, 2 * step, 4 * step);
        ASSERT_EQ(search(nullptr, &set, picture, kBoth, true, false), QM_OK);
        for (const uint32_t cell : {0u, 1u, 2u}) expect_linear(set, cell, step, 4 * step);
        // An end that is not cut off is the depth's.
        ASSERT_EQ(search(nullptr, &set, picture, {0.25, 0}, false, false), QM_OK);
        expect_linear(set, 0, 2 * step, top);
        ASSERT_EQ(search(nullptr, &set, picture, {-1, 0.25}, false, false), QM_OK);
        expect_linear(set, 0, 0, 3 * step);
        ASSERT_EQ(search(nullptr, &set, picture, {0, 0}, false, false), QM_OK);
        expect_linear(set, 1, 0, top);
        const Picture one(bpc, {ramp(step, 3 * step)});
        ASSERT_EQ(search(nullptr, &set, one, kBoth, false, false), QM_OK);
        ASSERT_EQ(set.ucDstComponents, 1);
        expect_linear(set, 0, step, 3 * step);
    }
}

TEST(GetAutoContrast, ShowsAFlatPictureWhite) {
    const Picture flat(8, {Values(10, 77)});
    Set set;
    ASSERT_EQ(search(nullptr, &set, flat, kBoth, false, false), QM_OK);
    EXPECT_EQ(set.content(), Values(256, 255));
    // But for the value 0: a ramp, which cannot be from 0 to 0.
    const Picture black(8, {Values(10, 0)});
    ASSERT_EQ(search(nullptr, &set, black, {0.25, 0}, false, false), QM_OK);
    expect_linear(set, 0, 0, 255);
    EXPECT_EQ(search(nullptr, &set, black, kBoth, false, false), QM_REJECTED);
    EXPECT_EQ(set.pLuts, nullptr);
    // Parameters get the levels as they are.
    SQmLutParam param;
    ASSERT_EQ(search(&param, nullptr, flat, kBoth, false, false), QM_OK);
    EXPECT_NEAR(param.uiMinSrc, 77 * 257, 1);
    EXPECT_EQ(param.uiMaxSrc, 77 * 257);
}

TEST(GetAutoContrast, GivesTheCodeOfTheLastTableAlone) {
    const Values black(10, 0);
    Set set;
    const Picture first(8, {black, ramp(51, 204)});
    ASSERT_EQ(search(nullptr, &set, first, kBoth, false, false), QM_OK);
    for (uint32_t v = 0; v < 256; ++v) ASSERT_EQ(set.get(0, v, 0), 0u) << "as it was made";
    expect_linear(set, 1, 51, 204);
    const Picture last(8, {ramp(51, 204), black});
    EXPECT_EQ(search(nullptr, &set, last, kBoth, false, false), QM_REJECTED);
    EXPECT_EQ(set.pLuts, nullptr);
    // Common levels that were not looked for are no ramp.
    EXPECT_EQ(search(nullptr, &set, first, kBoth, true, true), QM_REJECTED);
    EXPECT_EQ(set.pLuts, nullptr);
    ASSERT_EQ(search(nullptr, &set, first, kBoth, false, true), QM_OK);
    for (const uint32_t cell : {0u, 1u}) expect_linear(set, cell, 0, 255);
}

TEST(GetAutoContrast, PrefersParametersToTables) {
    const Picture picture(8, {ramp(51, 204)});
    Set set;
    SQmLutParam param;
    ASSERT_EQ(search(&param, &set, picture, kBoth, false, false), QM_OK);
    EXPECT_EQ(param.uiMinSrc, 13107);
    EXPECT_EQ(set.pLuts, nullptr);
}

TEST(GetAutoContrast, KeepsTheEndsOfPicturesThatAreNotCounted) {
    // Bins of more than 16 bits stay empty: the lowest end is the last bin, of 16 bits.
    const Picture picture(20, {ramp(1000, 900000)});
    SQmLutParam param;
    ASSERT_EQ(search(&param, nullptr, picture, kBoth, false, false), QM_OK);
    EXPECT_EQ(param.uiMinSrc, 4095);  // 65535 of 1048575, of 65535
    EXPECT_EQ(param.uiMaxSrc, 0);
    Set set;
    EXPECT_EQ(search(nullptr, &set, picture, kBoth, false, false), QM_BAD_BUFFER);
}

TEST(GetAutoContrast, RefusesWhatIsNotThere) {
    const Picture picture(8, {ramp(51, 204)});
    SQmLutParam param;
    Set set;
    EXPECT_EQ(Api::GetAutoContrast(&param, &set, nullptr, 1, 1, false, false), QM_BAD_BUFFER);
    EXPECT_EQ(Api::GetAutoContrast(nullptr, nullptr, &picture, 1, 1, false, false), QM_BAD_BUFFER);
    EXPECT_EQ(Api::GetContrastFromMinMax(&param, &set, nullptr, {}, 1, 1, false, false),
              QM_BAD_BUFFER);
    EXPECT_EQ(Api::GetContrastFromMinMax(nullptr, nullptr, &picture, {{1, 2}}, 1, 1, false, false),
              QM_BAD_BUFFER);
    const Picture many(8, std::vector<Values>(193, Values{3}));
    for (const bool none : {false, true}) {
        EXPECT_EQ(search(&param, nullptr, many, kBoth, true, none), QM_TOO_MANY);
        EXPECT_EQ(search(nullptr, &set, many, kBoth, true, none), QM_TOO_MANY);
    }
    const SQmLutParam fresh;
    EXPECT_EQ(levels_of(param), levels_of(fresh));
    EXPECT_EQ(set.pLuts, nullptr);
}

TEST(GetAutoContrast, HasNoTablesWithoutMemory) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const Picture picture(8, {ramp(51, 204), ramp(51, 204), ramp(51, 204)});
    const Ranges ranges{{51, 204}, {51, 204}, {51, 204}};
    for (const auto until : {FailingAlloc::kOnce, FailingAlloc::kFromThenOn})
        for (uint32_t nth = 1; nth < 9; ++nth) {
            SQmLut set;
            const Outcome found = with_failing(nth, until, [&] {
                const int code = search(nullptr, &set, picture, kBoth, false, false);
                SQmLut::Free(set);
                return code;
            });
            EXPECT_FALSE(found.threw);
            EXPECT_EQ(found.live, 0);
            EXPECT_TRUE(found.code == QM_OK || found.code == QM_NO_MEMORY) << nth;
            const Outcome given = with_failing(nth, until, [&] {
                const int code =
                    Api::GetContrastFromMinMax(nullptr, &set, &picture, ranges, 1, 1, false, false);
                SQmLut::Free(set);
                return code;
            });
            EXPECT_FALSE(given.threw);
            EXPECT_EQ(given.live, 0);
            EXPECT_EQ(given.code, given.failed != 0 ? QM_NO_MEMORY : QM_OK) << nth;
        }
}

// ----- Ranges in place of a search ---------------------------------------------------------------

int given(SQmLutParam* p, SQmLut* lut, const SQmPicBuf& pic, const Ranges& ranges, bool common,
          bool none, Two cut = {1, 1}) {
    return Api::GetContrastFromMinMax(p, lut, &pic, ranges, cut.low, cut.high, common, none);
}

TEST(GetContrastFromMinMax, SetsTheLevelsOfRanges) {
    const Picture one(8, {{1}}), three(8, {{1}, {2}, {3}});
    const Ranges ranges{{102, 153}, {51, 153}, {102, 204}, {0, 255}};
    SQmLutParam param, expected;
    ASSERT_EQ(given(&param, nullptr, one, {{51, 204}}, false, false), QM_OK);
    expected.uiMinSrc = 13107, expected.uiMaxSrc = 52428;
    EXPECT_EQ(levels_of(param), levels_of(expected));
    SQmLutParam common;
    ASSERT_EQ(given(&common, nullptr, three, ranges, true, false), QM_OK);
    EXPECT_EQ(levels_of(common), levels_of(expected));
    // Percents do not decide whether parameters get a level.
    SQmLutParam apart, own;
    apart.uiMinSrc = 7;
    ASSERT_EQ(given(&apart, nullptr, three, ranges, false, false, {0, 0}), QM_OK);
    for (const uint32_t c : {0u, 1u, 2u}) {
        own.sCompLutParam[c].uiMinSrc = c == 1 ? 13107 : 26214;
        own.sCompLutParam[c].uiMaxSrc = c == 2 ? 52428 : 39321;
    }
    EXPECT_EQ(levels_of(apart), levels_of(own));
    ASSERT_EQ(given(&apart, nullptr, three, ranges, true, true), QM_OK);
    EXPECT_EQ(apart.uiMinSrc, 65535);
    EXPECT_EQ(apart.uiMaxSrc, 0);
}

TEST(GetContrastFromMinMax, MakesLinearTablesOfRanges) {
    const Picture three(8, {{1}, {2}, {3}});
    const Ranges ranges{{10, 60}, {77, 77}, {0, 200}};
    Set set;
    ASSERT_EQ(given(nullptr, &set, three, ranges, false, false), QM_OK);
    expect_linear(set, 0, 10, 60);
    for (uint32_t v = 0; v < 256; ++v) ASSERT_EQ(set.get(0, v, 1), 255u);
    expect_linear(set, 2, 0, 200);
    ASSERT_EQ(given(nullptr, &set, three, ranges, true, false), QM_OK);
    for (const uint32_t cell : {0u, 1u, 2u}) expect_linear(set, cell, 0, 200);
    ASSERT_EQ(given(nullptr, &set, three, ranges, false, false, {0, 1}), QM_OK);
    expect_linear(set, 0, 0, 60);
    ASSERT_EQ(given(nullptr, &set, three, ranges, false, true), QM_OK);
    expect_linear(set, 0, 0, 255);
    EXPECT_EQ(given(nullptr, &set, three, {{10, 60}, {1, 2}, {9, 3}}, false, false), QM_REJECTED);
    EXPECT_EQ(set.pLuts, nullptr);
}

TEST(GetContrastFromMinMax, RefusesTooFewRangesUnlessTheyAreNotRead) {
    const Picture three(8, {{1}, {2}, {3}});
    SQmLutParam param;
    const SQmLutParam before(param);
    EXPECT_EQ(given(&param, nullptr, three, {{1, 2}, {3, 4}}, true, false), QM_BAD_BUFFER);
    EXPECT_EQ(levels_of(param), levels_of(before));
    EXPECT_EQ(given(&param, nullptr, three, {}, false, true), QM_OK);
}

}  // namespace
}  // namespace qmpic::test
