#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <vector>

#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"
#include "stretch/window_reference.h"
#include "support/failing_alloc.h"
#include "support/levels.h"
#include "support/regions.h"
#include "support/started_threads.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;
using Mode = Api::EQmPicStretchMode;

/// Modes that have no name are quick.
Mode draw_mode(Random& random) {
    return static_cast<Mode>(random.one_of({0, 0, 1, 4, 5, -1, 1000}));
}
uint32_t draw_components(Random& random) {
    return random(0, 3) == 0 ? random.components() : random.one_of({1u, 3u, random(1, 9)});
}
/// Pictures small enough for rows of unreadable pages between theirs, now and then a wide one.
Size draw_size(Random& random, uint32_t components) {
    const uint32_t most = components > 9 ? 20 : random(0, 9) == 0 ? 700 : 130;
    const uint32_t width = random(1, most), height = random(1, 40);
    return {width, height};
}

int stretch(const GuardedPicture& d, const GuardedPicture& s, const WindowAxis& x,
            const WindowAxis& y, Mode mode) {
    const auto u = [](uint64_t value) { return static_cast<uint32_t>(value); };
    const Format f = s.format();
    if (f.bits == 32)
        return CQmFloatPicMemAPI_Base::StretchDisplay(
            static_cast<float*>(d.data()), u(x.count), u(y.count), f.components, d.stride(), 0,
            u(x.whole), u(y.whole), u(x.start), u(y.start), static_cast<float*>(s.data()),
            u(x.source), u(y.source), s.stride(), mode, x.flip, y.flip);
    return Api::StretchDisplay(d.data(), u(x.count), u(y.count), f.components, d.stride(), f.bpc,
                               u(x.whole), u(y.whole), u(x.start), u(y.start), s.data(),
                               u(x.source), u(y.source), s.stride(), mode, x.flip, y.flip);
}

void check(Random& random, Format format) {
    const Size size = draw_size(random, format.components);
    const uint32_t unit = format.bits == 32 ? 4 : 1;
    const WindowAxis x = draw_axis(random, size.width, format.components > 9 ? 20 : 200),
                     y = draw_axis(random, size.height, 60);
    const GuardedPicture s(format, size, random, unit);
    const GuardedPicture d(format, {static_cast<uint32_t>(x.count), static_cast<uint32_t>(y.count)},
                           random, unit);
    const auto outside = d.outside();
    const auto expected = nearest_pixels(s, x, y);
    ASSERT_EQ(stretch(d, s, x, y, draw_mode(random)), QM_OK);
    ASSERT_EQ(d.content(), expected)
        << format.components << " x " << format.bits << ", columns " << x.source << " to "
        << x.whole << ", " << x.count << " from " << x.start << (x.flip ? " mirrored" : "")
        << ", rows " << y.source << " to " << y.whole << ", " << y.count << " from " << y.start
        << (y.flip ? " mirrored" : "");
    ASSERT_EQ(d.outside(), outside);
}

TEST(StretchQuick, TakesTheNearestPixelAtAnyZoom) {
    for (const Level level : levels()) {
        SCOPED_TRACE(name_of(level));
        const ForcedLevel forced(level);
        Random random(11);
        for (uint32_t round = 0; round < 400; ++round) {
            const uint32_t components = draw_components(random);
            const uint32_t bits = random.one_of({8u, 16u, 32u});
            const uint32_t bpc = bits == 16 ? random(9, 16) : bits;
            check(random, {components, bits, bpc});
            if (HasFatalFailure()) return;
        }
    }
}

// All sizes around the steps of vectors, and all small ones.
TEST(StretchQuick, TakesTheNearestPixelInRowsOfAllLengths) {
    for (const Level level : levels()) {
        SCOPED_TRACE(name_of(level));
        const ForcedLevel forced(level);
        Random random(12);
        for (uint32_t width = 1; width <= 70; ++width)
            for (const uint32_t source : {width, 2 * width, width / 3 + 1, 5 * width + 1}) {
                const Format format{random.one_of({1u, 2u, 3u, 4u, 6u}), 8, 8};
                const GuardedPicture s(format, {source, 3}, random), d(format, {width, 9}, random);
                const WindowAxis x{width, width, 0, source, random(0, 1) == 1}, y{9, 9, 0, 3};
                ASSERT_EQ(stretch(d, s, x, y, Api::StretchQuick), QM_OK);
                ASSERT_EQ(d.content(), nearest_pixels(s, x, y)) << source << " to " << width;
            }
    }
}

// 3 columns to 5: (i + 0.5) * 0.6 is 0.3, 0.9, 1.5, 2.1, 2.7.
TEST(StretchQuick, SamplesTheMiddleOfPixels) {
    const uint8_t s[3] = {10, 20, 30};
    uint8_t d[5] = {};
    ASSERT_EQ(Api::StretchDisplay(d, 5, 1, 1, 5, 8, 5, 1, 0, 0, s, 3, 1, 3, Api::StretchQuick,
                                  false, false),
              QM_OK);
    EXPECT_EQ(std::vector<uint8_t>(d, d + 5), (std::vector<uint8_t>{10, 10, 20, 30, 30}));
    // Mirrored, columns 1 to 3 of the five are 3, 2, 1.
    ASSERT_EQ(Api::StretchDisplay(d, 3, 1, 1, 5, 8, 5, 1, 1, 0, s, 3, 1, 3, Api::StretchQuick, true,
                                  false),
              QM_OK);
    EXPECT_EQ(std::vector<uint8_t>(d, d + 3), (std::vector<uint8_t>{30, 20, 10}));
}

TEST(StretchQuick, CopiesTheWindowInAllModesWhenThereIsNoStretch) {
    Random random(13);
    // As large as would be averaged in blocks if it were reduced.
    const Size size{1100, 1000};
    const Format format{1, 8, 8};
    const GuardedPicture s(format, size, random);
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (const Mode mode : {Api::StretchQuick, Api::StretchSpline, Api::StretchLinear})
            for (const uint32_t flips : {0u, 1u, 2u, 3u}) {
                const GuardedPicture d(format, {90, 30}, random);
                const WindowAxis x{90, size.width, random(0, 1010), size.width, (flips & 1) != 0},
                    y{30, size.height, random(0, 970), size.height, (flips & 2) != 0};
                const StartedThreads threads;
                const WatchedRegions regions;
                ASSERT_EQ(stretch(d, s, x, y, mode), QM_OK);
                EXPECT_EQ(threads.count(), 0u);
                EXPECT_EQ(regions.teams().size(), 0u);
                ASSERT_EQ(d.content(), nearest_pixels(s, x, y));
            }
    }
}

TEST(StretchQuick, WindowsArePartsOfTheWhole) {
    Random random(14);
    for (uint32_t round = 0; round < 60; ++round) {
        const Format format{random(1, 4), random.one_of({8u, 16u}), 0};
        const Format f{format.components, format.bits, format.bits};
        const Size size{random(1, 60), random(1, 30)};
        const uint32_t width = random(1, 150), height = random(1, 60);
        const GuardedPicture s(f, size, random), whole(f, {width, height}, random);
        ASSERT_EQ(stretch(whole, s, {width, width, 0, size.width}, {height, height, 0, size.height},
                          Api::StretchQuick),
                  QM_OK);
        const uint32_t w = random(1, width), h = random(1, height), left = random(0, width - w),
                       top = random(0, height - h);
        const GuardedPicture part(f, {w, h}, random);
        ASSERT_EQ(stretch(part, s, {w, width, left, size.width}, {h, height, top, size.height},
                          Api::StretchQuick),
                  QM_OK);
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t i = 0; i < part.samples(); ++i)
                ASSERT_EQ(part.get(i, y), whole.get(left * f.components + i, top + y));
    }
}

// The row in front of the destination is none of the window, whatever the first row shows.
TEST(StretchQuick, FirstRowIsNeverACopy) {
    const uint32_t row = 0xFFFFFF;  // of a source whose rows are all the same memory
    const uint8_t s[2] = {7, 8};
    std::vector<uint8_t> memory(6, 99);
    ASSERT_EQ(Api::StretchDisplay(memory.data() + 2, 2, 2, 1, 2, 8, 2, row + 10, 0, row, s, 2,
                                  row + 10, 0, Api::StretchQuick, false, false),
              QM_OK);
    EXPECT_EQ(memory, (std::vector<uint8_t>{99, 99, 7, 8, 7, 8}));
}

TEST(StretchQuick, LeavesWhatLiesBehindTheRowsOfRepeatedOnes) {
    const uint8_t s[2] = {1, 2};
    std::vector<uint8_t> d(4 * 5, 99);
    ASSERT_EQ(Api::StretchDisplay(d.data(), 2, 4, 1, 5, 8, 2, 4, 0, 0, s, 2, 1, 2,
                                  Api::StretchQuick, false, false),
              QM_OK);
    for (uint32_t y = 0; y < 4; ++y)
        EXPECT_EQ(std::vector<uint8_t>(d.begin() + y * 5, d.begin() + y * 5 + 5),
                  (std::vector<uint8_t>{1, 2, 99, 99, 99}));
}

TEST(StretchQuick, RunsInTheCallingThread) {
    Random random(15);
    const Format format{3, 8, 8};
    const GuardedPicture s(format, {300, 300}, random), d(format, {200, 200}, random);
    const StartedThreads threads;
    const WatchedRegions regions;
    ASSERT_EQ(stretch(d, s, {200, 200, 0, 300}, {200, 200, 0, 300}, Api::StretchQuick), QM_OK);
    EXPECT_EQ(threads.count(), 0u);
    EXPECT_EQ(regions.teams().size(), 0u);
}

TEST(StretchQuick, WorksOnWindowsFarOutside) {
    const uint8_t s[4] = {1, 2, 3, 4};
    uint8_t d[2] = {};
    ASSERT_EQ(Api::StretchDisplay(d, 2, 1, 1, 2, 8, 8, 2, 0xFFFFFFFF, 0xFFFFFFFF, s, 2, 2, 2,
                                  Api::StretchQuick, true, true),
              QM_OK);
    EXPECT_EQ(d[0], 4);
    EXPECT_EQ(d[1], 4);
}

// ----- A rectangle of the picture ----------------------------------------------------------------

struct KnownRectangle {
    uint32_t left, top, width, height;
};

/// Which of the pixels of a row are background: the ends, by what is documented.
std::pair<bool, bool> background_ends(const WindowAxis& x, const KnownRectangle& known) {
    const auto first = static_cast<int64_t>(std::floor(static_cast<double>(x.start) * x.scale()));
    const auto last = static_cast<int64_t>(x.nearest(x.count - 1));
    const bool left = first < known.left,
               right = static_cast<uint64_t>(last - first) >= known.width;
    return x.count == 1 ? std::pair(left || right, left || right) : std::pair(left, right);
}
bool may_call(const WindowAxis& x, const KnownRectangle& known) {
    const auto [left, right] = background_ends(x, known);
    for (uint64_t i = left ? 1 : 0; i + (right ? 1 : 0) < x.count; ++i)
        if (x.nearest(i) < known.left || x.nearest(i) - known.left >= known.width) return false;
    return true;
}

TEST(StretchQuickEx, ShowsBackgroundWhereRowsOrTheirEndsAreNotKnown) {
    uint32_t cut = 0, rows_of_background = 0;
    for (const Level level : levels()) {
        SCOPED_TRACE(name_of(level));
        const ForcedLevel forced(level);
        Random random(16);
        for (uint32_t round = 0; round < 300; ++round) {
            const uint32_t components = draw_components(random);
            const uint32_t bits = random.one_of({8u, 16u});
            const Format format{components, bits, bits};
            const Size size = draw_size(random, components);
            WindowAxis x = draw_axis(random, size.width, components > 9 ? 20 : 200),
                       y = draw_axis(random, size.height, 60);
            x.flip = y.flip = false;
            KnownRectangle known{0, 0, size.width, size.height};
            for (uint32_t attempt = 0; attempt < 30; ++attempt) {
                KnownRectangle drawn;
                const uint32_t near = static_cast<uint32_t>(x.nearest(0));
                drawn.left = random(0, 1) ? std::min(near + random(0, 1), size.width - 1)
                                          : random(0, size.width - 1);
                drawn.width = random(1, size.width - drawn.left);
                drawn.top = random(0, size.height - 1);
                drawn.height = random(1, size.height - drawn.top);
                if (may_call(x, drawn)) known = drawn;
            }
            const GuardedPicture s(format, {known.width, known.height}, random),
                background(format, {1, 1}, random),
                d(format, {static_cast<uint32_t>(x.count), static_cast<uint32_t>(y.count)}, random);
            const auto outside = d.outside();
            const auto [left, right] = background_ends(x, known);
            std::vector<uint64_t> expected;
            for (uint64_t j = 0; j < y.count; ++j) {
                const uint64_t t = y.nearest(j);
                const bool in = t >= known.top && t < uint64_t{known.top} + known.height;
                rows_of_background += !in;
                for (uint64_t i = 0; i < x.count; ++i) {
                    const bool is_known = in && !(i == 0 && left) && !(i == x.count - 1 && right);
                    for (uint32_t c = 0; c < components; ++c)
                        expected.push_back(
                            is_known ? s.get(static_cast<uint32_t>(x.nearest(i) - known.left) *
                                                     components +
                                                 c,
                                             static_cast<uint32_t>(t - known.top))
                                     : background.get(c, 0));
                }
            }
            cut += left || right;
            const auto u = [](uint64_t value) { return static_cast<uint32_t>(value); };
            ASSERT_EQ(Api::StretchDisplayEx(d.data(), u(x.count), u(y.count), components,
                                            d.stride(), bits, u(x.whole), u(y.whole), u(x.start),
                                            u(y.start), s.data(), known.left, known.top,
                                            known.width, known.height, size.width, size.height,
                                            s.stride(), draw_mode(random), background.data()),
                      QM_OK);
            ASSERT_EQ(d.content(), expected) << "round " << round;
            ASSERT_EQ(d.outside(), outside);
        }
    }
    EXPECT_GT(cut, 50u);
    EXPECT_GT(rows_of_background, 50u);
}

// Ten pixels as they are, of which 3 and 4 are said to be known: x0 = 0 is left of 3, and 9 - 0 is
// at or beyond 2. All between is taken from where it would lie.
TEST(StretchQuickEx, TestsOnlyTheTwoEndsOfARow) {
    uint8_t s[10], d[10] = {};
    std::iota(s, s + 10, uint8_t{0});
    const uint8_t background = 77;
    ASSERT_EQ(Api::StretchDisplayEx(d, 10, 1, 1, 10, 8, 10, 1, 0, 0, s + 3, 3, 0, 2, 1, 10, 1, 10,
                                    Api::StretchQuick, &background),
              QM_OK);
    EXPECT_EQ(std::vector<uint8_t>(d, d + 10),
              (std::vector<uint8_t>{77, 1, 2, 3, 4, 5, 6, 7, 8, 77}));
}

// The window begins with column 2; of columns 4 to 7, 5 is the fourth from there, and 5 - 2 = 3 is
// below 4. Column 6 is known, too, but 6 - 2 = 4 is not below 4.
TEST(StretchQuickEx, MeasuresTheRightEndFromTheWindowsLeft) {
    uint8_t s[10], d[5] = {};
    std::iota(s, s + 10, uint8_t{0});
    const uint8_t background = 77;
    ASSERT_EQ(Api::StretchDisplayEx(d, 4, 1, 1, 5, 8, 10, 1, 2, 0, s + 4, 4, 0, 4, 1, 10, 1, 10,
                                    Api::StretchQuick, &background),
              QM_OK);
    EXPECT_EQ(std::vector<uint8_t>(d, d + 4), (std::vector<uint8_t>{77, 3, 4, 5}));
    ASSERT_EQ(Api::StretchDisplayEx(d, 5, 1, 1, 5, 8, 10, 1, 2, 0, s + 4, 4, 0, 4, 1, 10, 1, 10,
                                    Api::StretchQuick, &background),
              QM_OK);
    EXPECT_EQ(std::vector<uint8_t>(d, d + 5), (std::vector<uint8_t>{77, 3, 4, 5, 77}));
}

TEST(StretchQuickEx, IsBackgroundAboveBelowAndBesideWhatIsKnown) {
    const uint16_t background[3] = {1, 2, 3};
    std::vector<uint16_t> s(3 * 4, 9), d(3 * 4 * 2, 0);
    // Rows 5 and 6 of 10 are known; rows 0 to 1 and 8 to 9 are asked for.
    for (const uint32_t top : {0u, 8u}) {
        std::fill(d.begin(), d.end(), uint16_t{0});
        ASSERT_EQ(Api::StretchDisplayEx(d.data(), 4, 2, 3, 24, 16, 4, 10, 0, top, s.data(), 0, 5, 4,
                                        2, 4, 10, 0, Api::StretchQuick, background),
                  QM_OK);
        for (size_t i = 0; i < d.size(); ++i) EXPECT_EQ(d[i], i % 3 + 1);
    }
}

TEST(StretchQuickEx, AWindowOfOnePixelIsBackgroundIfEitherEndIs) {
    const uint8_t s[3] = {4, 5, 6}, background = 77;
    const auto show = [&](uint32_t left, uint32_t known_width) {
        uint8_t d = 0;
        EXPECT_EQ(Api::StretchDisplayEx(&d, 1, 1, 1, 1, 8, 10, 1, left, 0, s, 2, 0, known_width, 1,
                                        10, 1, 3, Api::StretchQuick, &background),
                  QM_OK);
        return d;
    };
    EXPECT_EQ(show(2, 3), 4);
    EXPECT_EQ(show(1, 3), 77);
    EXPECT_EQ(show(2, 0), 77);
}

TEST(StretchQuick, SaysThatThereIsNoMemory) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    Random random(17);
    const Format format{3, 8, 8};
    const GuardedPicture s(format, {30, 30}, random);
    GuardedPicture d(format, {20, 20}, random);
    const auto before = d.content();
    const uint32_t seen = each_failure(
        [&] {
            return stretch(d, s, {20, 20, 0, 30}, {20, 20, 0, 30}, Api::StretchQuick);
        },
        [&](uint32_t n, const Outcome& outcome) {
            EXPECT_EQ(outcome.code_or_throw(), n == 0 ? QM_OK : QM_NO_MEMORY);
            EXPECT_EQ(outcome.live, 0);
            EXPECT_EQ(d.content() == before, n != 0);
            for (uint32_t y = 0; y < 20; ++y)
                for (uint32_t i = 0; i < d.samples(); ++i) d.set(i, y, before[y * 60 + i]);
        });
    EXPECT_GE(seen, 1u);
}

}  // namespace
}  // namespace qmpic::test
