#include <gtest/gtest.h>
#include <unistd.h>

#include <system_error>
#include <vector>

#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"
#include "stretch/window_reference.h"
#include "support/failing_alloc.h"
#include "support/levels.h"
#include "support/regions.h"
#include "support/started_threads.h"
#include "support/touching_threads.h"
#ifndef QMPIC_SHIPPED
#include "stretch/blocks.h"
#endif

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;

uint32_t u(uint64_t value) { return static_cast<uint32_t>(value); }

int linear(const GuardedPicture& d, const GuardedPicture& s, const WindowAxis& x,
           const WindowAxis& y) {
    return Api::StretchDisplay(d.data(), u(x.count), u(y.count), s.format().components, d.stride(),
                               s.format().bpc, u(x.whole), u(y.whole), u(x.start), u(y.start),
                               s.data(), u(x.source), u(y.source), s.stride(), Api::StretchLinear,
                               x.flip, y.flip);
}

#ifndef QMPIC_SHIPPED
/// A reduction of more than 2, by a little or much, and a window of it.
WindowAxis draw_reduction(Random& random, uint32_t source, uint32_t most) {
    const uint32_t half = (source - 1) / 2;
    WindowAxis axis{1, half, 0, source, random(0, 1) == 1};
    switch (random(0, 3)) {
    case 0: axis.whole = half; break;
    case 1: axis.whole = random(std::max(1u, half / 2), half); break;
    case 2: axis.whole = random(1, half); break;
    default: axis.whole = std::max(1u, source / random(3, 130));
    }
    const uint32_t whole = u(axis.whole), count = random(1, std::min(most, whole));
    const uint32_t last = whole - count;
    axis.count = count;
    axis.start = random.one_of({0u, last, random(0, last)});
    if (random(0, 9) == 0) axis.start = last + random(0, count + 3);  // beyond the last block
    return axis;
}

TEST(StretchBlocks, AreMeansOfSomeSamplesAtAnyReduction) {
    for (const Level level : levels()) {
        SCOPED_TRACE(name_of(level));
        const ForcedLevel forced(level);
        Random random(21);
        for (uint32_t round = 0; round < 150; ++round) {
            const uint32_t components =
                random(0, 5) == 0 ? random.components() : random.one_of({1u, 3u, random(1, 6)});
            const uint32_t bits = random.one_of({8u, 16u});
            const Format format{components, bits, bits};
            const Size size{random(3, components > 9 ? 40 : random.one_of({60u, 300u, 900u})),
                            random(3, random.one_of({20u, 60u, 250u}))};
            const GuardedPicture s(format, size, random);
            const WindowAxis x = draw_reduction(random, size.width, 150),
                             y = draw_reduction(random, size.height, 12);
            const GuardedPicture d(format, {u(x.count), u(y.count)}, random);
            const auto outside = d.outside();
            const auto expected = block_means(s, x, y);
            ASSERT_EQ(
                stretch_blocks({d.data(), d.stride()}, {s.data(), s.stride()}, components, bits,
                               {u(x.count), u(y.count), u(x.whole), u(y.whole), u(x.start),
                                u(y.start), size.width, size.height, x.flip, y.flip}),
                QM_OK);
            ASSERT_EQ(d.content(), expected)
                << components << " x " << bits << ", columns " << x.source << " to " << x.whole
                << ", " << x.count << " from " << x.start << (x.flip ? " mirrored" : "")
                << ", rows " << y.source << " to " << y.whole << ", " << y.count << " from "
                << y.start << (y.flip ? " mirrored" : "");
            ASSERT_EQ(d.outside(), outside);
        }
    }
}

// Every number of samples there is, with sums up to the greatest.
TEST(StretchBlocks, CutMeansOfAllNumbersOfSamples) {
    for (const Level level : levels()) {
        SCOPED_TRACE(name_of(level));
        const ForcedLevel forced(level);
        Random random(22);
        for (const uint32_t bits : {8u, 16u})
            for (uint32_t block_x = 3; block_x <= 30; ++block_x)
                for (uint32_t block_y = 3; block_y <= 12; ++block_y) {
                    const Format format{1, bits, bits};
                    const Size size{40 * block_x, block_y};
                    GuardedPicture s(format, size, random);
                    for (uint32_t y = 0; y < size.height; ++y)
                        for (uint32_t x = 0; x < size.width; ++x)
                            if (x / block_x % 2 == 0 || random(0, 20) == 0)
                                s.set(x, y, format.max() - (random(0, 40) == 0));
                    const WindowAxis x{40, 40, 0, size.width}, y{1, 1, 0, block_y};
                    const GuardedPicture d(format, {40, 1}, random);
                    ASSERT_EQ(stretch_blocks({d.data(), d.stride()}, {s.data(), s.stride()}, 1,
                                             bits, {40, 1, 40, 1, 0, 0, size.width, size.height}),
                              QM_OK);
                    ASSERT_EQ(d.content(), block_means(s, x, y)) << block_x << " x " << block_y;
                }
    }
}

#endif

// 2112 columns to 1024: blocks of 2, and 64 columns are left over, 1/16 of one for each destination
// column. 8/16 is reached at column 8, so that it begins one later, at 17, and so do all behind it.
TEST(StretchBlocks, SpreadColumnsThatAreLeftOver) {
    const uint32_t width = 2112, height = 600;
    std::vector<uint16_t> s(size_t{width} * height);
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x) s[y * width + x] = static_cast<uint16_t>(2 * x);
    uint16_t d[3] = {};
    ASSERT_EQ(Api::StretchDisplay(d, 3, 1, 1, 6, 16, 1024, 200, 7, 0, s.data(), width, height,
                                  width * 2, Api::StretchLinear, false, false),
              QM_OK);
    EXPECT_EQ(d[0], 2 * 14 + 1);
    EXPECT_EQ(d[1], 2 * 17 + 1);
    EXPECT_EQ(d[2], 2 * 19 + 1);
    // The last block ends with the picture.
    ASSERT_EQ(Api::StretchDisplay(d, 1, 1, 1, 2, 16, 1024, 200, 1023, 199, s.data(), width, height,
                                  width * 2, Api::StretchLinear, false, false),
              QM_OK);
    EXPECT_EQ(d[0], 2 * 2110 + 1);
}

// Blocks of 25 are sampled in steps of 3 from sample (24 % 3 + 1) / 2 = 0: 0, 3, ..., 24, nine of
// them; blocks of 20 in steps of 3 from (19 % 3 + 1) / 2 = 1: 1, 4, ..., 19, seven.
TEST(StretchBlocks, AreSampledInSteps) {
    const uint32_t width = 2000, height = 1000;
    std::vector<uint8_t> s(size_t{width} * height, 0);
    for (uint32_t k = 0; k < 9; ++k)
        for (uint32_t r = 0; r < 7; ++r) s[(1 + 3 * r) * width + 3 * k] = 200;
    uint8_t d[2] = {};
    const auto show = [&] {
        return Api::StretchDisplay(d, 2, 1, 1, 2, 8, width / 25, height / 20, 0, 0, s.data(), width,
                                   height, width, Api::StretchLinear, false, false);
    };
    ASSERT_EQ(show(), QM_OK);
    EXPECT_EQ(d[0], 200);
    EXPECT_EQ(d[1], 0);
    for (uint32_t y = 0; y < 20; ++y)  // what is not sampled does not count
        for (uint32_t x = 0; x < 25; ++x)
            if (x % 3 != 0 || y % 3 != 1) s[y * width + x] = 255;
    ASSERT_EQ(show(), QM_OK);
    EXPECT_EQ(d[0], 200);
    s[width] = 199;  // a sum of 63 * 200 - 1, cut
    ASSERT_EQ(show(), QM_OK);
    EXPECT_EQ(d[0], 199);
}

TEST(StretchBlocks, WindowsArePartsOfTheWhole) {
    Random random(23);
    const Format format{3, 8, 8};
    const Size size{1201, 900};
    const GuardedPicture s(format, size, random);
    for (const uint32_t width : {600u, 590u, 410u, 77u}) {
        const uint32_t height = width * 449 / 600;
        const GuardedPicture whole(format, {width, height}, random);
        ASSERT_EQ(linear(whole, s, {width, width, 0, size.width}, {height, height, 0, size.height}),
                  QM_OK);
        for (uint32_t round = 0; round < 10; ++round) {
            const uint32_t w = random(1, width), h = random(1, height);
            const uint32_t left = random(0, width - w), top = random(0, height - h);
            const GuardedPicture part(format, {w, h}, random);
            const bool flip_x = random(0, 1) == 1, flip_y = random(0, 1) == 1;
            ASSERT_EQ(linear(part, s, {w, width, left, size.width, flip_x},
                             {h, height, top, size.height, flip_y}),
                      QM_OK);
            for (uint32_t y = 0; y < h; ++y)
                for (uint32_t x = 0; x < w; ++x)
                    for (uint32_t c = 0; c < 3; ++c)
                        ASSERT_EQ(part.get(3 * x + c, y),
                                  whole.get(3 * (left + (flip_x ? w - 1 - x : x)) + c,
                                            top + (flip_y ? h - 1 - y : y)));
        }
    }
}

// ----- When, and in which threads ----------------------------------------------------------------

/// Which way a call goes, by the threads that it takes.
enum class Way { Quick, Filter, Blocks };
Way way_of(uint32_t width, uint32_t height, uint32_t to_width, uint32_t to_height,
           Api::EQmPicStretchMode mode = Api::StretchLinear) {
    const std::vector<uint8_t> row(width, 5);  // all rows are this one
    uint8_t d[4] = {};
    const StartedThreads threads;
    const WatchedRegions regions;
    EXPECT_EQ(Api::StretchDisplay(d, 2, 2, 1, 2, 8, to_width, to_height, 0, 0, row.data(), width,
                                  height, 0, mode, false, false),
              QM_OK);
    for (const uint8_t value : d) EXPECT_EQ(value, 5);
    if (!regions.teams().empty()) return Way::Filter;
    return threads.count() != 0 ? Way::Blocks : Way::Quick;
}

class StretchWays : public testing::Test {
    void SetUp() override {
        if (!StartedThreads::kWorks || !WatchedRegions::kWorks)
            GTEST_SKIP() << "threads are not seen";
        way_of(1000, 1000, 500, 500);  // the team is there
    }
};

TEST_F(StretchWays, BlocksBeginWithAMillionPixels) {
    EXPECT_EQ(way_of(999, 1001, 333, 333), Way::Filter);  // 999,999 pixels
    EXPECT_EQ(way_of(1000, 1000, 333, 333), Way::Blocks);
    EXPECT_EQ(way_of(500000, 2, 10, 2), Way::Filter);  // rows are as they were
    EXPECT_EQ(way_of(333334, 3, 10, 1), Way::Blocks);
}

TEST_F(StretchWays, BlocksReduceByMoreThanTwoOnBothAxes) {
    EXPECT_EQ(way_of(2000, 2000, 1000, 900), Way::Filter);
    EXPECT_EQ(way_of(2000, 2000, 900, 1000), Way::Filter);
    EXPECT_EQ(way_of(2000, 2000, 1000, 1000), Way::Filter);
    EXPECT_EQ(way_of(2000, 2000, 999, 999), Way::Blocks);
    EXPECT_EQ(way_of(2001, 2001, 1000, 1000), Way::Blocks);
    EXPECT_EQ(way_of(2000, 2000, 4000, 4000), Way::Filter);
}

TEST_F(StretchWays, PixelsAreCountedIn32Bits) {
    EXPECT_EQ(way_of(65536, 65536, 1000, 1000), Way::Filter);  // 0 of them
    EXPECT_EQ(way_of(65537, 65536, 1000, 1000), Way::Filter);  // 65536
    EXPECT_EQ(way_of(65535, 65536, 1000, 1000), Way::Blocks);
}

TEST_F(StretchWays, OnlyModeThreeTakesBlocks) {
    EXPECT_EQ(way_of(1000, 1000, 300, 300, Api::StretchSpline), Way::Filter);
    for (const int mode : {0, 1, 4, -1, 1 << 20})
        EXPECT_EQ(way_of(1000, 1000, 300, 300, static_cast<Api::EQmPicStretchMode>(mode)),
                  Way::Quick);
    EXPECT_EQ(way_of(1000, 1000, 1000, 1000), Way::Quick);
}

TEST_F(StretchWays, ThePartInMemoryIsNeverTakenInBlocks) {
    const std::vector<uint8_t> row(2000, 5);
    const uint8_t background = 1;
    uint8_t d[4] = {};
    const StartedThreads threads;
    const WatchedRegions regions;
    ASSERT_EQ(Api::StretchDisplayEx(d, 2, 2, 1, 2, 8, 600, 600, 0, 0, row.data(), 0, 0, 2000, 2000,
                                    2000, 2000, 0, Api::StretchLinear, &background),
              QM_OK);
    EXPECT_EQ(threads.count(), 0u);
    EXPECT_FALSE(regions.teams().empty());
}

/// Rows of a page each, seen by the thread that writes them.
void check_halves(uint32_t height, bool flip) {
    const uint32_t width = 1000, source_height = 1200;
    std::vector<uint8_t> s(size_t{width} * source_height);
    for (uint32_t y = 0; y < source_height; ++y)
        for (uint32_t x = 0; x < width; ++x) s[y * width + x] = static_cast<uint8_t>(y / 3);
    const TouchedPages d(height);
    uint32_t started = 0;
    {
        const StartedThreads threads;
        ASSERT_EQ(Api::StretchDisplay(d.data(), 30, height, 1, TouchedPages::kPage, 8, 300, 400, 3,
                                      7, s.data(), width, source_height, width, Api::StretchLinear,
                                      false, flip),
                  QM_OK);
        started = threads.count();
    }
    if (StartedThreads::kWorks) {
        EXPECT_EQ(started, 1u);
    }
    const uint32_t half = height / 2;
    for (uint32_t j = 0; j < height; ++j) {
        const uint32_t row = flip ? height - 1 - j : j;
        EXPECT_EQ(d.thread(row) == gettid(), j < half) << "row " << row << " of " << height;
        EXPECT_NE(d.thread(row), 0);
        EXPECT_EQ(d.data()[row * TouchedPages::kPage], static_cast<uint8_t>(7 + j));
    }
    EXPECT_EQ(d.thread_count(), half == 0 ? 1u : 2u);
}

TEST(StretchBlocks, AreSharedByTheCallerAndOneThread) {
    for (const uint32_t height : {1u, 2u, 3u, 4u, 5u, 8u, 31u})
        for (const bool flip : {false, true}) check_halves(height, flip);
}

// Rows are long enough for both threads to be at work at the same time.
TEST(StretchBlocks, OfTheTwoThreadsDoNotMeet) {
    Random random(26);
    const Format format{3, 8, 8};
    const Size size{1500, 700};
    const GuardedPicture s(format, size, random), d(format, {700, 300}, random);
    const WindowAxis x{700, 700, 0, size.width}, y{300, 300, 0, size.height};
    const auto expected = block_means(s, x, y);
    for (uint32_t round = 0; round < 20; ++round) {
        ASSERT_EQ(linear(d, s, x, y), QM_OK);
        ASSERT_TRUE(d.content() == expected) << "round " << round;
    }
}

TEST(StretchBlocks, RaiseASystemErrorWhenTheThreadCannotStart) {
    if (!StartedThreads::kWorks) GTEST_SKIP() << "a sanitizer starts threads";
    Random random(24);
    const Format format{1, 8, 8};
    const GuardedPicture s(format, {1000, 1000}, random), d(format, {20, 20}, random);
    const WindowAxis axis{20, 300, 0, 1000};
    const auto before = d.content();
    {
        const StartedThreads refused(StartedThreads::kRefuse);
        EXPECT_THROW(linear(d, s, axis, axis), std::system_error);
    }
    EXPECT_EQ(d.content(), before);
    EXPECT_EQ(linear(d, s, axis, axis), QM_OK);
    EXPECT_EQ(d.content(), block_means(s, axis, axis));
}

TEST(StretchBlocks, SayThatThereIsNoMemoryAsABadBuffer) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    constexpr int kRaised = 5000;
    Random random(25);
    for (const uint32_t to : {400u, 40u, 5u}) {  // each way to sum
        const Format format{1, 8, 8};
        const GuardedPicture s(format, {1000, 1000}, random), d(format, {5, 20}, random);
        const WindowAxis x{5, to, 0, 1000}, y{20, 300, 0, 1000};
        const auto before = d.content();
        const auto call = [&] {
            try {
                return linear(d, s, x, y);
            } catch (const std::system_error&) {
                return kRaised;
            }
        };
        // Columns, rows, and sums; then what a thread is started with.
        constexpr uint32_t own = 4;
        for (const auto until : {FailingAlloc::kOnce, FailingAlloc::kFromThenOn})
            for (uint32_t n = 1; n <= own; ++n) {
                const Outcome outcome = with_failing(n, until, call);
                EXPECT_EQ(outcome.code_or_throw(), QM_BAD_BUFFER) << "allocation " << n;
                EXPECT_EQ(outcome.live, 0);
                EXPECT_EQ(d.content(), before);
            }
        const Outcome system = with_failing(own + 1, FailingAlloc::kFromThenOn, call);
        EXPECT_EQ(system.code_or_throw(), system.failed == 0 ? QM_OK : kRaised);
    }
}

}  // namespace
}  // namespace qmpic::test
