#include <gtest/gtest.h>

#include <vector>

#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/levels.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;
using Values = std::vector<uint64_t>;
using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint16_t>;

/// A picture of one component, row by row.
struct Grid {
    int width, height;
    Values values;
    uint64_t at(int x, int y) const { return values[static_cast<size_t>(y * width + x)]; }
};

struct Step {
    int x, y;
};
const std::vector<Step> kNeighbours{{-1, 0}, {0, 1}, {0, -1}, {1, 1}, {-1, 1}, {1, -1}, {-1, -1}};

/// A difference as one of 16 bits.
int difference(uint64_t a, uint64_t b) {
    const auto low = static_cast<int>((a - b) & 0xFFFF);
    return low < 32768 ? low : low - 65536;
}

Grid peaks(const Grid& s, int tolerance, int levels) {
    Grid marks{s.width, s.height, Values(s.values.size(), 0)};
    const auto mark = [&](int x, int y) -> uint64_t& {
        return marks.values[static_cast<size_t>(y * s.width + x)];
    };
    const auto each = [&](const auto& visit) {
        for (int y = 1; y <= s.height - 2; ++y)
            for (int x = 1; x <= s.width - 2; ++x) visit(x, y);
    };
    each([&](int x, int y) {
        bool marked = true;
        const auto right = s.at(x + 1, y), here = s.at(x, y);
        if (tolerance < 1) {
            marked = right >= here;
            for (const auto [dx, dy] : kNeighbours)
                if (s.at(x + dx, y + dy) < here) marked = false;
        } else {
            if (difference(here, right) > -tolerance) marked = false;
            for (const auto [dx, dy] : kNeighbours)
                if (difference(here, s.at(x + dx, y + dy)) > tolerance) marked = false;
        }
        if (marked) mark(x, y) = static_cast<uint64_t>(levels);
    });
    for (int level = levels - 1; level >= 1; --level)
        each([&](int x, int y) {
            const auto limit = static_cast<uint64_t>(level);
            if (mark(x, y) > limit) return;
            bool passes = true;
            const auto test = [&](int dx, int dy) {
                if (mark(x + dx, y + dy) > limit) return;
                if (difference(s.at(x, y), s.at(x + dx, y + dy)) > tolerance) passes = false;
            };
            test(1, 0);
            for (const auto [dx, dy] : kNeighbours) test(dx, dy);
            if (passes) mark(x, y) = limit;
        });
    return marks;
}

void check(Round round, uint32_t src_bits, uint32_t dst_bits) {
    Random& random = round.random;
    const auto depth = [&](uint32_t bits) {
        return bits == 8 ? random.one_of({0u, 1u, 7u, 8u, 8u}) : random(9, 16);
    };
    const Format from{1, src_bits, std::max(1u, depth(src_bits))};
    const uint32_t width = random(0, 9) == 0 ? random(250, 600) : random(1, 130);
    const uint32_t height = random(1, 9);
    const Size size{width, height, uint64_t{width} * height + random(0, width - 1)};
    GuardedPicture s(from, size, random);
    const uint32_t kind = random(0, 4);  // few values, a slope with a little noise, or anything
    if (kind < 4)
        for (uint32_t y = 0; y < height; ++y)
            for (uint32_t x = 0; x < width; ++x)
                s.set(x, y,
                      kind < 2 ? random(0, 3) + 10 * (kind == 1 && random(0, 9) == 0)
                               : (x + y) * (kind - 1) + random(0, 2));
    GuardedPicture d({1, dst_bits, dst_bits}, size, random);
    const int tolerance = random(0, 3) == 0
                              ? random.one_of({-32768, -1000, -1, 0, 1, 255, 1000, 32767})
                              : static_cast<int>(random(0, 4)) - 1;
    const int levels =
        random(0, 5) == 0 ? random.one_of({0, 1, 128, 255}) : static_cast<int>(random(0, 8));

    const Grid expected =
        peaks({static_cast<int>(width), static_cast<int>(height), s.content()}, tolerance, levels);
    const auto outside = d.outside();
    ASSERT_EQ(
        Api::MonoDetectLocalPeaks(d.data(), depth(dst_bits), d.stride(), s.data(), depth(src_bits),
                                  s.stride(), width, size.pixels, static_cast<short>(tolerance),
                                  static_cast<unsigned char>(levels)),
        QM_OK);
    ASSERT_EQ(d.content(), expected.values)
        << width << " x " << height << ", tolerance " << tolerance << ", " << levels << " levels";
    EXPECT_EQ(d.outside(), outside);
    round.digest.add(expected.values);
}

const bool registered = add_cases(
    {{"CQmPicMemAPI_Base::MonoDetectLocalPeaks", [](Round round) { check(round, 8, 8); }, 64},
     {"CQmPicMemAPI_Base::MonoDetectLocalPeaks of words in bytes",
      [](Round round) { check(round, 16, 8); }, 64},
     {"CQmPicMemAPI_Base::MonoDetectLocalPeaks of words", [](Round round) { check(round, 16, 16); },
      64}},
    {{"CQmPicMemAPI_Base::MonoDetectLocalPeaks",
      [](const EntryCall& c) {
          return Api::MonoDetectLocalPeaks(c.dst, c.bpc, c.stride, c.src, c.bpc, c.stride, c.width,
                                           c.size, 1, 3);
      },
      [](uint32_t, uint32_t bpc) { return bpc <= 16 ? QM_OK : QM_NO_KERNEL; }, true, false}});

template <class T>
Bytes marked(int width, const std::vector<T>& s, short tolerance, unsigned char levels) {
    Bytes d(s.size(), 77);
    const auto w = static_cast<uint32_t>(width);
    EXPECT_EQ(Api::MonoDetectLocalPeaks(d.data(), 8, w, s.data(), 8 * sizeof(T),
                                        w * static_cast<uint32_t>(sizeof(T)), w, s.size(),
                                        tolerance, levels),
              QM_OK);
    return d;
}

TEST(LocalPeaks, WithoutToleranceAreMinima) {
    const Bytes s{9, 9, 9, 9, 9,  //
                  9, 5, 6, 9, 9,  //
                  9, 6, 5, 9, 9,  //
                  9, 9, 9, 9, 9};
    for (const short tolerance : std::vector<short>{0, -1, -32768})
        EXPECT_EQ(marked(5, s, tolerance, 1), (Bytes{0, 0, 0, 0, 0,  //
                                                     0, 1, 0, 0, 0,  //
                                                     0, 0, 1, 0, 0,  //
                                                     0, 0, 0, 0, 0}));
    EXPECT_EQ(marked(3, Bytes(9, 7), 0, 5)[4], 5);  // flat ground has none below
    // Unsigned: 40000 is above 7000.
    EXPECT_EQ(marked(3, Words{7000, 7000, 7000, 7000, 40000, 7000, 7000, 7000, 7000}, 0, 1)[4], 0);
    EXPECT_EQ(marked(3, Words{65535, 65535, 65535, 65535, 0, 65535, 65535, 65535, 65535}, 0, 1)[4],
              1);
}

TEST(LocalPeaks, WithAToleranceLieLeftOfARise) {
    // The right neighbour is above by the tolerance, the others are not below by more.
    Bytes s(9, 10);
    EXPECT_EQ(marked(3, s, 1, 1)[4], 0);  // flat ground is none
    s[5] = 12;
    EXPECT_EQ(marked(3, s, 1, 4)[4], 4);
    EXPECT_EQ(marked(3, s, 2, 4)[4], 4);
    EXPECT_EQ(marked(3, s, 3, 1)[4], 0);
    for (const size_t other : {0u, 1u, 2u, 3u, 6u, 7u, 8u}) {
        Bytes low = s;
        low[other] = 8;
        EXPECT_EQ(marked(3, low, 2, 1)[4], 1) << other;
        low[other] = 7;
        EXPECT_EQ(marked(3, low, 2, 1)[4], 0) << other;
    }
}

TEST(LocalPeaks, WrapDifferencesAt16Bits) {
    // 100 - 60000 is 5636 in signed 16 bits: the right neighbour seems to be below.
    Words s(9, 100);
    s[5] = 60000;
    EXPECT_EQ(marked(3, s, 1, 1)[4], 0);
    s[5] = 32800;  // -32700
    EXPECT_EQ(marked(3, s, 1, 1)[4], 1);
    s[0] = 40000;  // 25636
    EXPECT_EQ(marked(3, s, 1, 1)[4], 0);
    EXPECT_EQ(marked(3, s, 25636, 1)[4], 1);
    s.assign(9, 0);
    s[5] = 32768;  // -32768
    EXPECT_EQ(marked(3, s, 32767, 1)[4], 1);
}

TEST(LocalPeaks, GrowOutwardByLevels) {
    // A dale with steps of 5: each level reaches one step further, since what is higher in marks
    // counts no longer.
    const Bytes s{40, 40, 40, 40, 40, 40,  //
                  40, 10, 15, 20, 25, 40,  //
                  40, 40, 40, 40, 40, 40};
    EXPECT_EQ(marked(6, s, 0, 1), (Bytes{0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(marked(6, s, 0, 3), (Bytes{0, 0, 0, 0, 0, 0, 0, 3, 2, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(marked(6, s, 0, 4), (Bytes{0, 0, 0, 0, 0, 0, 0, 4, 3, 2, 1, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(marked(6, s, 0, 255)[10], 252);
    // With a tolerance of 5 all of it joins at once.
    EXPECT_EQ(marked(6, s, 5, 3), (Bytes{0, 0, 0, 0, 0, 0, 0, 3, 3, 3, 3, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(LocalPeaks, CompareSignedBelowTheirFirstLevel) {
    // 40000 above seven of 7000: no minimum, but its difference of 33000 is negative.
    Words s(9, 7000);
    s[4] = 40000;
    EXPECT_EQ(marked(3, s, 0, 1)[4], 0);
    EXPECT_EQ(marked(3, s, 0, 2)[4], 1);
    // A tolerance below 0 wants a rise on all sides.
    EXPECT_EQ(marked(3, Bytes{5, 5, 5, 5, 4, 5, 5, 5, 4}, -1, 3)[4], 3);
    EXPECT_EQ(marked(3, Bytes{5, 5, 5, 5, 4, 3, 5, 5, 5}, -1, 3)[4], 0);
    EXPECT_EQ(marked(3, Bytes{3, 5, 5, 5, 4, 5, 5, 5, 5}, 0, 3)[4], 0);
    EXPECT_EQ(marked(3, Bytes{3, 5, 5, 5, 4, 5, 5, 5, 5}, 1, 3)[4], 3);
}

TEST(LocalPeaks, OfNoLevelsAreNone) {
    EXPECT_EQ(marked(3, Bytes(9, 7), 0, 0), Bytes(9, 0));
    EXPECT_EQ(marked(4, Bytes{9, 9, 9, 9, 9, 1, 3, 9, 9, 9, 9, 9}, 1, 0), Bytes(12, 0));
}

TEST(LocalPeaks, ClearTheBorderOfAnyPicture) {
    for (const int width : {1, 2, 3, 7})
        for (const size_t rows : {1u, 2u})
            EXPECT_EQ(marked(width, Bytes(rows * static_cast<size_t>(width), 5), 0, 9),
                      Bytes(rows * static_cast<size_t>(width), 0));
    Bytes d(10, 77);  // two rows of three, a gap and an incomplete one
    const Bytes s(10, 1);
    EXPECT_EQ(Api::MonoDetectLocalPeaks(d.data(), 8, 4, s.data(), 8, 4, 3, 8, 0, 1), QM_OK);
    EXPECT_EQ(d, (Bytes{0, 0, 0, 77, 0, 0, 0, 77, 77, 77}));
}

TEST(LocalPeaks, RefuseDepths) {
    Words d(9, 7), s(9, 1);
    const auto call = [&](uint32_t dst, const void* src, uint32_t bpc) {
        return Api::MonoDetectLocalPeaks(d.data(), dst, 6, src, bpc, 6, 3, 9, 0, 1);
    };
    for (const auto& [dst, src] : std::vector<std::pair<uint32_t, uint32_t>>{
             {9, 8}, {16, 8}, {16, 0}, {17, 8}, {8, 17}, {17, 16}, {16, 17}, {32, 32}}) {
        EXPECT_EQ(call(dst, s.data(), src), QM_NO_KERNEL) << dst << ", " << src;
        EXPECT_EQ(call(dst, nullptr, src), QM_NO_KERNEL);
    }
    EXPECT_EQ(call(8, nullptr, 8), QM_OK);
    EXPECT_EQ(Api::MonoDetectLocalPeaks(nullptr, 8, 6, s.data(), 8, 6, 3, 9, 0, 1), QM_OK);
    EXPECT_EQ(Api::MonoDetectLocalPeaks(d.data(), 8, 6, s.data(), 8, 6, 0, 9, 0, 1), QM_OK);
    EXPECT_EQ(d, Words(9, 7));
    EXPECT_EQ(call(16, s.data(), 9), QM_OK);
    EXPECT_EQ(d, (Words{0, 0, 0, 0, 1, 0, 0, 0, 0}));
}

}  // namespace
}  // namespace qmpic::test
