#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "contrast/searches.h"
#include "qmpic/PicBuf.h"
#include "qmpic/status.h"
#include "support/cases.h"
#include "support/levels.h"

// The levels between which a histogram lies.

namespace qmpic::test {
namespace {

using Api = SQmPicBufAPI_Base;

const bool registered = add_cases({}, {}, {"SQmPicBufAPI_Base::GetHistoRange"});

constexpr uint32_t kUntouched = 77777;

/// Low, high, mid, and the components that reached their targets.
using Levels = std::array<uint32_t, 5>;

Levels range_of(const SQmHisto& histo, uint32_t first, uint32_t end, double low, double high,
                bool fix) {
    Levels l;
    l.fill(kUntouched);
    EXPECT_EQ(
        Api::GetHistoRange(&histo, first, end, &l[0], &l[1], &l[2], low, high, &l[3], &l[4], fix),
        QM_OK);
    return l;
}
Levels short_range_of(const SQmHisto& histo, uint32_t first, uint32_t end, double percent) {
    Levels l;
    l.fill(kUntouched);
    EXPECT_EQ(Api::GetHistoRange(&histo, first, end, &l[0], &l[1], &l[2], percent, &l[3], &l[4]),
              QM_OK);
    return l;
}
Levels expected(const Searched& s) {
    return {s.low, s.high, s.mid, s.low_component.value_or(kUntouched),
            s.high_component.value_or(kUntouched)};
}

class GetHistoRangeAtLevel : public testing::TestWithParam<Level> {};
INSTANTIATE_TEST_SUITE_P(Levels, GetHistoRangeAtLevel, testing::ValuesIn(levels()),
                         [](const auto& level) { return std::string(name_of(level.param)); });

TEST_P(GetHistoRangeAtLevel, MatchesItsDefinition) {
    const ForcedLevel forced(GetParam());
    for (uint32_t number = 0; number < 800; ++number) {
        Random random(number);
        const DrawnCounts histo(random);
        const uint32_t first = random(0, histo.uiComponents - 1),
                       end = random(0, histo.uiComponents);
        const double low = draw_percent(random), high = draw_percent(random);
        const bool fix = random(0, 1);
        ASSERT_EQ(range_of(histo, first, end, low, high, fix),
                  expected(search(histo, first, end, low, high, true, fix)))
            << number;
        ASSERT_EQ(short_range_of(histo, first, end, low),
                  expected(search(histo, first, end, low, low, true, false)))
            << number;

        // Whatever of the results is asked for, they are the same; mid is not looked for then.
        const Searched s = search(histo, first, end, low, high, false, fix);
        uint32_t found_low = kUntouched, found_high = kUntouched;
        ASSERT_EQ(Api::GetHistoRange(&histo, first, end, &found_low, nullptr, nullptr, low, high,
                                     nullptr, nullptr, fix),
                  QM_OK);
        ASSERT_EQ(Api::GetHistoRange(&histo, first, end, nullptr, &found_high, nullptr, low, high,
                                     nullptr, nullptr, fix),
                  QM_OK);
        ASSERT_EQ(found_low, s.low) << number;
        ASSERT_EQ(found_high, s.high) << number;
    }
}

TEST(GetHistoRange, StopsAtTheBinWithWhichTheTargetIsReached) {
    for (const uint32_t bytes : {4u, 8u}) {
        const Counts histo({{{10, 5}, {20, 90}, {30, 5}}}, 8, bytes);
        EXPECT_EQ(range_of(histo, 0, 1, 5, 5, false), (Levels{10, 30, 20, 0, 0}));
        EXPECT_EQ(range_of(histo, 0, 1, 6, 5, false), (Levels{20, 30, 20, 0, 0}));
        EXPECT_EQ(range_of(histo, 0, 1, 95, 95, false), (Levels{20, 20, 20, 0, 0}));
        EXPECT_EQ(range_of(histo, 0, 1, 96, 96, false), (Levels{30, 10, 30, 0, 0}));
        EXPECT_EQ(short_range_of(histo, 0, 1, 5), (Levels{10, 30, 20, 0, 0}));
    }
}

TEST(GetHistoRange, TakesTheFirstAndLastPopulatedBinForPercentagesOfZeroAndBelow) {
    const Counts histo({{{3, 1}, {4, 100000}, {250, 1}}});
    for (const double percent : {0.0, -0.0, -5.0, -1e300, 0.0000001})
        EXPECT_EQ(range_of(histo, 0, 1, percent, percent, false), (Levels{3, 250, 4, 0, 0}));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(range_of(histo, 0, 1, nan, nan, false), (Levels{3, 250, 4, 0, 0}));
}

TEST(GetHistoRange, CutsTheTargetOfAPercentage) {
    // 29 / 100.0 * 100 is less than 29.
    const Counts histo({{{10, 28}, {20, 72}}});
    EXPECT_EQ(range_of(histo, 0, 1, 29, 0, false)[0], 10u);
    EXPECT_EQ(range_of(histo, 0, 1, 30, 0, false)[0], 20u);
}

TEST(GetHistoRange, FindsNothingBeyondAllPixels) {
    const Counts histo({{{100, 50}}});
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double percent : {102.0, 1e300, infinity}) {
        EXPECT_EQ(range_of(histo, 0, 1, percent, 0, false), (Levels{255, 100, 255, kUntouched, 0}));
        EXPECT_EQ(range_of(histo, 0, 1, 0, percent, false), (Levels{100, 0, 100, 0, kUntouched}));
        EXPECT_EQ(range_of(histo, 0, 1, percent, percent, true),
                  (Levels{0, 255, 128, kUntouched, kUntouched}));
    }
    EXPECT_EQ(range_of(histo, 0, 1, 101, 101, false)[0], 100u) << "101 percent of 50 is cut to 50";
}

TEST(GetHistoRange, FindsNothingInAnEmptyHistogram) {
    const Counts one({Bins{}}), three({{}, {}, {}}, 12);
    EXPECT_EQ(range_of(one, 0, 1, 1, 1, false), (Levels{255, 0, 255, kUntouched, kUntouched}));
    EXPECT_EQ(range_of(one, 0, 1, 1, 1, true), (Levels{0, 255, 128, kUntouched, kUntouched}));
    EXPECT_EQ(range_of(three, 0, 3, 1, 1, true), (Levels{0, 4095, 2048, kUntouched, kUntouched}));
    EXPECT_EQ(short_range_of(one, 0, 1, 1), (Levels{255, 0, 255, kUntouched, kUntouched}));
}

TEST(GetHistoRange, MovesTheBlackLevelBelowTheWhiteOneOfAFlatPicture) {
    const auto flat = [](uint32_t value) { return Counts({{{value, 10}}}); };
    EXPECT_EQ(range_of(flat(0), 0, 1, 0, 0, true), (Levels{0, 255, 128, 0, 0}));
    EXPECT_EQ(range_of(flat(1), 0, 1, 0, 0, true), (Levels{0, 1, 1, 0, 0}));
    EXPECT_EQ(range_of(flat(200), 0, 1, 0, 0, true), (Levels{199, 200, 199, 0, 0}))
        << "128 limited";
    EXPECT_EQ(range_of(flat(100), 0, 1, 0, 0, true), (Levels{99, 100, 100, 0, 0}));
    EXPECT_EQ(range_of(flat(254), 0, 1, 0, 0, true), (Levels{253, 254, 253, 0, 0}));
    EXPECT_EQ(range_of(flat(255), 0, 1, 0, 0, true), (Levels{0, 255, 128, 0, 0}));
    for (const uint32_t value : {0u, 1u, 200u, 255u})
        EXPECT_EQ(short_range_of(flat(value), 0, 1, 0), (Levels{value, value, value, 0, 0}));
}

TEST(GetHistoRange, MendsLevelsInTheWrongOrder) {
    // 80 percent from either end: the walks have passed each other.
    const Counts histo({{{40, 50}, {60, 50}}});
    EXPECT_EQ(range_of(histo, 0, 1, 80, 80, false), (Levels{60, 40, 60, 0, 0}));
    EXPECT_EQ(range_of(histo, 0, 1, 80, 80, true), (Levels{39, 40, 40, 0, 0}));
}

TEST(GetHistoRange, TakesTheHalfOfWhatLiesBelowTheWhiteLevel) {
    // The bin of the white level does not count: half of 1 is 0, which is reached at once.
    EXPECT_EQ(range_of(Counts({{{10, 1}, {30, 100}}}), 0, 1, 0, 0, false)[2], 10u);
    // 3 + 4 + 2 = 9, half of it 4.
    EXPECT_EQ(range_of(Counts({{{10, 3}, {11, 4}, {15, 2}, {30, 9}}}), 0, 1, 0, 0, false)[2], 11u);
    // 4 + 5: reached with the first.
    EXPECT_EQ(range_of(Counts({{{10, 4}, {11, 5}, {30, 9}}}), 0, 1, 0, 0, false)[2], 10u);
    // Bins of all components that are searched, and of no others.
    const Counts two({{{10, 1}, {200, 1}}, {{20, 2}, {40, 3}}, {{90, 500}}});
    EXPECT_EQ(range_of(two, 0, 2, 0, 0, false), (Levels{10, 200, 20, 0, 0}));
    EXPECT_EQ(range_of(two, 0, 3, 0, 0, false)[2], 90u);
}

TEST(GetHistoRange, TakesTheHalfFarBehindTheBlackLevel) {
    // One in each of the 65535 bins below the last: half of 65535 is 32767.
    Counts histo({Bins{}}, 16);
    for (uint32_t i = 0; i < 65535; ++i) histo.put(0, i, 1);
    histo.put(0, 65535, 1000);
    EXPECT_EQ(range_of(histo, 0, 1, 0, 0, false), (Levels{0, 65535, 32766, 0, 0}));
    // 64535 of them from 1000 on, half of which is 32267.
    for (uint32_t i = 0; i < 1000; ++i) histo.put(0, i, 0);
    EXPECT_EQ(range_of(histo, 0, 1, 0, 0, false), (Levels{1000, 65535, 33266, 0, 0}));
}

TEST(GetHistoRange, LetsTheFirstComponentThatReachesTheTargetDecide) {
    const Counts histo({{{10, 100}}, {{5, 1}, {50, 99}}, {{50, 98}, {200, 2}}});
    EXPECT_EQ(range_of(histo, 0, 3, 0, 0, false), (Levels{5, 200, 50, 1, 2}));
    EXPECT_EQ(range_of(histo, 0, 3, 2, 2, false), (Levels{10, 200, 50, 0, 2}));
    EXPECT_EQ(range_of(histo, 0, 3, 2, 3, false), (Levels{10, 50, 10, 0, 1}))
        << "of two in one bin the first";
    EXPECT_EQ(range_of(histo, 1, 3, 2, 3, false), (Levels{50, 50, 50, 1, 1}));
    EXPECT_EQ(range_of(histo, 1, 2, 0, 0, false), (Levels{5, 50, 5, 1, 1}));
    // The sums of components are not added.
    const Counts halves({{{10, 50}, {11, 50}}, {{10, 50}, {12, 50}}});
    EXPECT_EQ(range_of(halves, 0, 2, 60, 60, false), (Levels{11, 10, 11, 0, 0}));
}

TEST(GetHistoRange, LooksAtOneComponentWhereTheEndIsNotBehindTheFirst) {
    const Counts histo({{{10, 1}, {20, 1}}, {{5, 1}, {100, 1}}, {{1, 1}, {250, 1}}});
    EXPECT_EQ(range_of(histo, 1, 1, 0, 0, false), (Levels{5, 100, 5, 1, 1}));
    EXPECT_EQ(range_of(histo, 1, 0, 0, 0, false), (Levels{5, 100, 5, 1, 1}));
    EXPECT_EQ(range_of(histo, 2, 1, 0, 0, false), (Levels{1, 250, 1, 2, 2}));
    EXPECT_EQ(range_of(histo, 0, 0, 0, 0, false), (Levels{10, 20, 10, 0, 0}));
}

TEST(GetHistoRange, MeasuresPercentagesByTheFirstComponentThatHoldsAnything) {
    // 10 percent of the 100 of component 1, and not of the 1000 of component 2.
    const Counts empty_first({{}, {{10, 20}, {20, 80}}, {{30, 50}, {40, 50}, {50, 900}}});
    EXPECT_EQ(range_of(empty_first, 0, 3, 10, 10, false), (Levels{10, 50, 20, 1, 2}));
    EXPECT_EQ(range_of(empty_first, 0, 3, 30, 10, false)[0], 20u);
    // Of an empty component it is component 0, before those behind it; nothing is found in it.
    const Counts empty_last({{{10, 100}}, {}, {{10, 7}}});
    EXPECT_EQ(range_of(empty_last, 1, 2, 10, 10, true),
              (Levels{0, 255, 128, kUntouched, kUntouched}));
    // 10 of 100: 7 are not enough. Of themselves they would be.
    EXPECT_EQ(range_of(empty_last, 1, 3, 10, 10, false),
              (Levels{255, 0, 255, kUntouched, kUntouched}));
    EXPECT_EQ(range_of(empty_last, 2, 3, 10, 10, false), (Levels{10, 10, 10, 2, 2}));
}

TEST(GetHistoRange, LooksAtNoMoreThan65536Bins) {
    for (const uint32_t bits : {16u, 17u, 20u}) {
        Counts histo({{{3, 5}, {65535, 5}}}, bits, 8);
        ASSERT_EQ(histo.uiBits, bits);
        if (bits > 16) histo.put(0, 65536, 1000), histo.put(0, (1u << bits) - 1, 1000);
        EXPECT_EQ(range_of(histo, 0, 1, 50, 50, true), (Levels{3, 65535, 3, 0, 0})) << bits;
        EXPECT_EQ(range_of(Counts({{{70000, 1}}}, 20, 8), 0, 1, 0, 0, true),
                  (Levels{0, 65535, 32768, kUntouched, kUntouched}));
    }
}

TEST_P(GetHistoRangeAtLevel, FindsEveryBin) {
    const ForcedLevel forced(GetParam());
    Counts histo({Bins{}}, 10);
    for (uint32_t low = 0; low < 1024; ++low) {
        const uint32_t high = 1023 - (low * 7 + 3) % (1024 - low);
        histo.put(0, low, 3), histo.put(0, high, 3);
        ASSERT_EQ(range_of(histo, 0, 1, 0, 0, false), (Levels{low, high, low, 0, 0}));
        histo.put(0, low, 0), histo.put(0, high, 0);
    }
}

TEST(GetHistoRange, DoesNotWrapSumsOfNarrowBins) {
    const Counts narrow({{{10, 0xFFFFFFFF}, {20, 0xFFFFFFFF}, {30, 2}}});
    EXPECT_EQ(range_of(narrow, 0, 1, 60, 60, false), (Levels{20, 10, 20, 0, 0}));
    EXPECT_EQ(range_of(narrow, 0, 1, 100, 0, false)[0], 30u);
    const Counts wide({{{10, uint64_t{1} << 40}, {20, uint64_t{1} << 41}}}, 8, 8);
    EXPECT_EQ(range_of(wide, 0, 1, 30, 60, false), (Levels{10, 20, 10, 0, 0}));
    EXPECT_EQ(range_of(wide, 0, 1, 40, 70, false), (Levels{20, 10, 20, 0, 0}));
}

TEST(GetHistoRange, SearchesNothingInBinsOfOtherWidths) {
    for (const uint32_t bytes : {0u, 1u, 2u, 3u, 5u, 16u}) {
        Counts histo({{{10, 5}, {30, 5}}});
        histo.uiBinBytes = bytes;
        EXPECT_EQ(range_of(histo, 0, 1, 0, 0, false),
                  (Levels{255, 0, 255, kUntouched, kUntouched}));
        EXPECT_EQ(range_of(histo, 0, 1, 0, 0, true), (Levels{0, 255, 128, kUntouched, kUntouched}));
        histo.uiBinBytes = 4;
    }
}

TEST(GetHistoRange, TakesAHistogramOfOneBin) {
    const Counts histo({{{0, 5}}}, 0);
    EXPECT_EQ(range_of(histo, 0, 1, 0, 0, false), (Levels{0, 0, 0, 0, 0}));
    EXPECT_EQ(range_of(histo, 0, 1, 0, 0, true), (Levels{0, 0, 0, 0, 0}));
}

TEST(GetHistoRange, RefusesWhatIsNotThere) {
    const Counts histo({{{10, 5}}, {{30, 5}}});
    Levels l;
    l.fill(kUntouched);
    const Levels untouched = l;
    const auto get = [&](const SQmHisto* h, uint32_t first, uint32_t end, uint32_t* low,
                         uint32_t* high) {
        const int code =
            Api::GetHistoRange(h, first, end, low, high, &l[2], 1, 1, &l[3], &l[4], true);
        EXPECT_EQ(Api::GetHistoRange(h, first, end, low, high, &l[2], 1, &l[3], &l[4]), code);
        return code;
    };
    EXPECT_EQ(get(nullptr, 0, 1, &l[0], &l[1]), QM_BAD_BUFFER);
    EXPECT_EQ(get(&histo, 0, 1, nullptr, nullptr), QM_BAD_BUFFER);
    EXPECT_EQ(get(&histo, 2, 2, &l[0], &l[1]), QM_BAD_BUFFER);
    EXPECT_EQ(get(&histo, 0, 3, &l[0], &l[1]), QM_BAD_BUFFER);
    EXPECT_EQ(get(&histo, 0, UINT32_MAX, &l[0], &l[1]), QM_BAD_BUFFER);
    EXPECT_EQ(get(&histo, UINT32_MAX, 0, &l[0], &l[1]), QM_BAD_BUFFER);
    const Histo fresh;
    EXPECT_EQ(get(&fresh, 0, 1, &l[0], &l[1]), QM_BAD_BUFFER);
    EXPECT_EQ(get(&fresh, 0, 0, &l[0], &l[1]), QM_BAD_BUFFER);
    Counts freed({{{10, 5}}});
    CQmHistoAPI_Base::Free(&freed);
    EXPECT_EQ(get(&freed, 0, 1, &l[0], &l[1]), QM_BAD_BUFFER);
    EXPECT_EQ(l, untouched);
    EXPECT_EQ(get(&histo, 0, 2, &l[0], nullptr), QM_OK);
    EXPECT_EQ(get(&histo, 0, 2, nullptr, &l[1]), QM_OK);
}

}  // namespace
}  // namespace qmpic::test
