#include "qmpic/kernels/drawing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "PicMemAPI/drawing_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;

// ----- Lines -------------------------------------------------------------------------------------

/// A picture as rows of characters: '#' is drawn, '.' is not.
using Drawing = std::vector<std::string>;

Drawing blank(int width, int height) {
    return Drawing(static_cast<size_t>(height), std::string(static_cast<size_t>(width), '.'));
}

struct Line {
    int x0, y0, x1, y1, connectivity;
};

/// What the call draws in one byte a pixel. Bytes behind each row must stay.
Drawing drawn(int width, int height, Line line) {
    const auto w = static_cast<uint32_t>(width), h = static_cast<uint32_t>(height);
    const uint32_t stride = w + 3;
    std::vector<uint8_t> memory(size_t{stride} * h, '.');
    EXPECT_EQ(Api::Line(memory.data(), 1, 8, stride, w, uint64_t{w} * h + w - 1, line.x0, line.y0,
                        line.x1, line.y1, line.connectivity, 0xABCDEF00u | '#'),
              QM_OK);
    Drawing rows;
    for (size_t y = 0; y < h; ++y) {
        const uint8_t* const row = memory.data() + y * stride;
        rows.emplace_back(row, row + w);
        EXPECT_EQ(std::string(row + w, row + stride), "...");
    }
    return rows;
}

int count(const Drawing& drawing) {
    int pixels = 0;
    for (const std::string& row : drawing)
        pixels += static_cast<int>(std::count(row.begin(), row.end(), '#'));
    return pixels;
}

/// The documented steps, one after the other, on characters.
class Naive {
  public:
    Naive(int width, int height) : w(width), h(height), rows(blank(width, height)) {}

    Drawing draw(Line line) {
        x0 = line.x0, y0 = line.y0, x1 = line.x1, y1 = line.y1;
        if (clip()) {
            set(x0, y0);
            set(x1, y1);
            if (x0 == x1) {
                for (int y = std::min(y0, y1); y <= std::max(y0, y1); ++y) set(x0, y);
            } else if (y0 == y1) {
                for (int x = std::min(x0, x1); x <= std::max(x0, x1); ++x) set(x, y0);
            } else {
                steps(line.connectivity == 8);
            }
        }
        return rows;
    }

  private:
    void set(int x, int y) { rows.at(static_cast<size_t>(y)).at(static_cast<size_t>(x)) = '#'; }

    int outcode(int x, int y) const {
        return (x < 0) * 1 + (x > w - 1) * 2 + (y > h - 1) * 4 + (y < 0) * 8;
    }

    bool clip() {
        const bool vertical = x0 == x1, horizontal = y0 == y1;
        const double m = vertical ? 1.0 : (double(y1) - y0) / (double(x1) - x0);
        for (int round = 0; round < 8; ++round) {
            const int a = outcode(x0, y0), b = outcode(x1, y1);
            if (a & b) return false;
            if ((a | b) == 0) return true;
            const int oldx = x0, oldy = y0;
            if ((a | b) & 8) {
                const int cut = vertical || horizontal ? 0 : int(oldy / m);
                const int x = vertical ? oldx : oldx - cut;
                if (y0 < y1)
                    x0 = x, y0 = 0;
                else
                    x1 = x, y1 = 0;
            } else if ((a | b) & 4) {
                const int x = vertical ? oldx : oldx + int((h - oldy - 1) / m);
                if (y0 > y1)
                    x0 = x, y0 = h - 1;
                else
                    x1 = x, y1 = h - 1;
            } else if ((a | b) & 2) {
                const int y = oldy + int((w - oldx - 1) * m);
                if (x0 > x1)
                    x0 = w - 1, y0 = y;
                else
                    x1 = w - 1, y1 = y;
            } else {
                const int y = oldy - int(oldx * m);
                if (x0 < x1)
                    x0 = 0, y0 = y;
                else
                    x1 = 0, y1 = y;
            }
        }
        return false;
    }

    void steps(bool eight) {
        const double m = (double(y1) - y0) / (double(x1) - x0), b = y0 - m * x0;
        const double right = w - 0.01, bottom = h - 0.01;
        struct At {
            double x, y;
        };
        std::vector<At> ends;
        for (const At at : {At{(0 - b) / m, 0}, At{0, b}, At{right, m * right + b},
                            At{(bottom - b) / m, bottom}}) {
            const bool inside = at.x >= 0 && at.x <= right && at.y >= 0 && at.y <= bottom;
            const bool known = !ends.empty() && ends[0].x == at.x && ends[0].y == at.y;
            if (inside && !known && ends.size() < 2) ends.push_back(at);
        }
        if (ends.size() < 2) return;
        int oldx = -100, oldy = -100;
        if (std::fabs(m) > 1) {
            const double end = std::max(ends[0].y, ends[1].y);
            for (double y = std::trunc(std::min(ends[0].y, ends[1].y)); y < end; y += 1.0) {
                if (y < std::min(y0, y1) || y > std::max(y0, y1)) continue;
                const double x = (y - b) / m;
                if (x < 0 || x > right) continue;
                const int px = int(x + 0.5), py = int(y);
                if (!eight && std::abs(px - oldx) == 1 && std::abs(py - oldy) == 1) set(px, oldy);
                set(px, py);
                oldx = px, oldy = py;
            }
        } else {
            const double end = std::max(ends[0].x, ends[1].x);
            for (double x = std::trunc(std::min(ends[0].x, ends[1].x)); x < end; x += 1.0) {
                if (x < std::min(x0, x1) || x > std::max(x0, x1)) continue;
                const double y = x * m + b;
                if (y < 0 || y > bottom) continue;
                const int px = int(x), py = int(y + 0.5);
                if (!eight && std::abs(px - oldx) == 1 && std::abs(py - oldy) == 1) set(oldx, py);
                set(px, py);
                oldx = px, oldy = py;
            }
        }
    }

    int w, h, x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    Drawing rows;
};

TEST(Line, IsDiagonalWithEightNeighbours) {
    EXPECT_EQ(drawn(5, 4, {0, 0, 3, 3, 8}), (Drawing{"#....",  //
                                                     ".#...",  //
                                                     "..#..",  //
                                                     "...#."}));
    EXPECT_EQ(drawn(5, 4, {3, 3, 0, 0, 8}), drawn(5, 4, {0, 0, 3, 3, 8}));
}

TEST(Line, GetsAPixelBesideADiagonalStepWithFour) {
    for (const int connectivity : {4, 0, 9, -8}) {
        EXPECT_EQ(drawn(5, 4, {0, 0, 3, 3, connectivity}), (Drawing{"#....",  //
                                                                    "##...",  //
                                                                    ".##..",  //
                                                                    "..##."}));
    }
    EXPECT_EQ(count(drawn(4, 4, {0, 0, 3, 3, 8})), 4);
    EXPECT_EQ(count(drawn(4, 4, {0, 0, 3, 3, 4})), 7);
}

// y = 3 - x ends where it crosses x = 3 at y = 0, so the step to (3, 0) is not taken: only the
// clipped end itself is there.
TEST(Line, LacksThePixelBesideItsLastStepWhereItEndsOnTheTopEdge) {
    EXPECT_EQ(drawn(5, 5, {0, 3, 3, 0, 4}), (Drawing{"...#.",  //
                                                     ".##..",  //
                                                     "##...",  //
                                                     "#....",  //
                                                     "....."}));
    EXPECT_EQ(count(drawn(10, 10, {0, 9, 9, 0, 4})), 18);
    EXPECT_EQ(count(drawn(10, 10, {0, 9, 9, 0, 8})), 10);
}

// m = 1/2: y of x = 0 to 4 is 0, 0.5, 1, 1.5, 2, rounded halves up.
TEST(Line, RoundsHalvesDownThePicture) {
    EXPECT_EQ(drawn(6, 4, {0, 0, 4, 2, 8}), (Drawing{"#.....",  //
                                                     ".##...",  //
                                                     "...##.",  //
                                                     "......"}));
    // The pixel beside is at the old column and the new row.
    EXPECT_EQ(drawn(6, 4, {0, 0, 4, 2, 4}), (Drawing{"#.....",  //
                                                     "###...",  //
                                                     "..###.",  //
                                                     "......"}));
}

// The same with the axes exchanged: the pixel beside is at the new column and the old row.
TEST(Line, StepsDownWhereItIsSteep) {
    EXPECT_EQ(drawn(4, 6, {0, 0, 2, 4, 8}), (Drawing{"#...",  //
                                                     ".#..",  //
                                                     ".#..",  //
                                                     "..#.",  //
                                                     "..#.",  //
                                                     "...."}));
    EXPECT_EQ(drawn(4, 6, {2, 4, 0, 0, 4}), (Drawing{"##..",  //
                                                     ".#..",  //
                                                     ".##.",  //
                                                     "..#.",  //
                                                     "..#.",  //
                                                     "...."}));
}

TEST(Line, AlongAnAxisHasBothEndsAndIsClamped) {
    EXPECT_EQ(drawn(4, 3, {1, 1, 2, 1, 8}), (Drawing{"....", ".##.", "...."}));
    EXPECT_EQ(drawn(4, 3, {2, 1, -7, 1, 8}), (Drawing{"....", "###.", "...."}));
    EXPECT_EQ(drawn(4, 3, {-7, 1, 90, 1, 4}), (Drawing{"....", "####", "...."}));
    EXPECT_EQ(drawn(4, 3, {1, 1, 1, 2, 8}), (Drawing{"....", ".#..", ".#.."}));
    EXPECT_EQ(drawn(4, 3, {1, -5, 1, 1, 4}), (Drawing{".#..", ".#..", "...."}));
    EXPECT_EQ(drawn(4, 3, {1, 20, 1, -5, 8}), (Drawing{".#..", ".#..", ".#.."}));
    EXPECT_EQ(drawn(4, 3, {1, 20, 1, 1, 8}), (Drawing{"....", ".#..", ".#.."}));
}

TEST(Line, OfOnePointIsAPixel) {
    EXPECT_EQ(drawn(4, 3, {2, 1, 2, 1, 4}), (Drawing{"....", "..#.", "...."}));
    EXPECT_EQ(drawn(1, 1, {0, 0, 0, 0, 8}), (Drawing{"#"}));
    EXPECT_EQ(drawn(4, 3, {4, 1, 4, 1, 4}), blank(4, 3));
}

TEST(Line, OutsideDrawsNothing) {
    EXPECT_EQ(drawn(4, 3, {-5, 0, -1, 2, 8}), blank(4, 3));
    EXPECT_EQ(drawn(4, 3, {4, 0, 9, 2, 8}), blank(4, 3));
    EXPECT_EQ(drawn(4, 3, {0, -3, 3, -1, 8}), blank(4, 3));
    EXPECT_EQ(drawn(4, 3, {0, 3, 3, 9, 8}), blank(4, 3));
    // Past the corner: no side in common before it is clipped.
    EXPECT_EQ(drawn(4, 4, {-3, 1, 1, -3, 8}), blank(4, 4));
}

// From (-2, -2) to (9, 9): both ends move to the corners.
TEST(Line, IsClippedAtBothEnds) {
    EXPECT_EQ(drawn(4, 4, {-2, -2, 9, 9, 8}), (Drawing{"#...", ".#..", "..#.", "...#"}));
    // y = 4 - x meets y = 0 at x = 4, which is beyond: column 3 has y = 1, and x = 1 the last row.
    EXPECT_EQ(drawn(4, 4, {-1, 5, 5, -1, 8}), (Drawing{"....", "...#", "..#.", ".#.."}));
}

TEST(Line, WhoseEndsAreAtTheLimitsOfIntegersIsClipped) {
    EXPECT_EQ(drawn(3, 3, {INT_MIN, INT_MIN, INT_MAX, INT_MAX, 8}), (Drawing{"#..", ".#.", "..#"}));
    EXPECT_EQ(drawn(3, 3, {INT_MIN, 1, INT_MAX, 1, 8}), (Drawing{"...", "###", "..."}));
    EXPECT_EQ(drawn(3, 3, {1, INT_MAX, 1, INT_MIN, 8}), (Drawing{".#.", ".#.", ".#."}));
    for (const int x0 : {INT_MIN, -1, 0, 2, INT_MAX})
        for (const int y0 : {INT_MIN, -1, 0, 2, INT_MAX})
            for (const int x1 : {INT_MIN, -1, 0, 2, INT_MAX})
                for (const int y1 : {INT_MIN, -1, 0, 2, INT_MAX})
                    drawn(3, 3, {x0, y0, x1, y1, 4});  // in bounds, and ends
}

// Where the end that moves gave the crossing in place of the first end, this would not end.
TEST(Line, ThatIsClippedAgainAndAgainComesToAnEnd) {
    EXPECT_EQ(drawn(19, 30, {1, 67, -3, -21, 8}), Naive(19, 30).draw({1, 67, -3, -21, 8}));
    EXPECT_GT(count(drawn(19, 30, {1, 67, -3, -21, 8})), 0);
}

TEST(Line, MatchesTheDocumentedStepsForRandomLines) {
    Random random(11);
    int sloped = 0, clipped = 0;
    for (int i = 0; i < 20000; ++i) {
        const int w = static_cast<int>(random(1, 40)), h = static_cast<int>(random(1, 40));
        const auto draw_one = [&](int size) {
            const int reach = random(0, 1) ? 0 : 60;
            return static_cast<int>(random(0, static_cast<uint32_t>(size - 1 + 2 * reach))) - reach;
        };
        Line line{};
        line.x0 = draw_one(w);
        line.y0 = draw_one(h);
        line.x1 = draw_one(w);
        line.y1 = draw_one(h);
        line.connectivity = random(0, 1) ? 8 : 4;
        const Drawing found = drawn(w, h, line);
        ASSERT_EQ(found, Naive(w, h).draw(line)) << w << " x " << h << ": " << line.x0 << ", "
                                                 << line.y0 << " to " << line.x1 << ", " << line.y1;
        const bool within = line.x0 >= 0 && line.x0 < w && line.y0 >= 0 && line.y0 < h;
        if (within) {
            EXPECT_EQ(found.at(static_cast<size_t>(line.y0)).at(static_cast<size_t>(line.x0)), '#');
        }
        sloped += within && line.x0 != line.x1 && line.y0 != line.y1;
        clipped += !within && count(found) > 0;
    }
    EXPECT_GT(sloped, 1000);
    EXPECT_GT(clipped, 1000);
}

TEST(Line, OfThreeComponentsHasRedBehind) {
    std::vector<uint8_t> memory(9, 7);
    EXPECT_EQ(Api::Line(memory.data(), 3, 8, 9, 3, 3, 1, 0, 1, 0, 8, 0xFF112233), QM_OK);
    EXPECT_EQ(memory, (std::vector<uint8_t>{7, 7, 7, 0x11, 0x22, 0x33, 7, 7, 7}));
}

TEST(Line, InGuardedPicturesTouchesNothingElse) {
    Random random(12);
    for (int i = 0; i < 300; ++i) {
        const uint32_t components = random.one_of({1u, 3u});
        const Size size = random.size(components);
        GuardedPicture d({components, 8, 8}, size, random);
        const int w = static_cast<int>(size.width), h = static_cast<int>(size.height);
        Line line{};
        line.x0 = static_cast<int>(random(0, size.width + 20)) - 10;
        line.y0 = static_cast<int>(random(0, size.height + 20)) - 10;
        line.x1 = static_cast<int>(random(0, size.width + 20)) - 10;
        line.y1 = static_cast<int>(random(0, size.height + 20)) - 10;
        line.connectivity = random(0, 1) ? 8 : 4;
        const uint32_t color = random.any();
        const Drawing naive = Naive(w, h).draw(line);
        auto expected = d.content();
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t x = 0; x < size.width; ++x)
                for (uint32_t c = 0; c < components && naive[y][x] == '#'; ++c)
                    expected[(y * size.width + x) * components + c] =
                        color >> (components == 1 ? 0 : 16 - 8 * c) & 0xFF;
        const auto outside = d.outside();
        ASSERT_EQ(Api::Line(d.data(), components, 8, d.stride(), size.width, size.pixels, line.x0,
                            line.y0, line.x1, line.y1, line.connectivity, color),
                  QM_OK);
        ASSERT_EQ(d.content(), expected);
        ASSERT_EQ(d.outside(), outside);
    }
}

TEST(Line, KnowsOneAndThreeBytesAndNothingElse) {
    std::vector<uint8_t> memory(64, 7);
    const auto line = [&](void* data, uint32_t components, uint32_t bpc, uint32_t width,
                          uint64_t size) {
        return Api::Line(data, components, bpc, 16, width, size, 0, 0, 1, 1, 8, 0);
    };
    EXPECT_EQ(line(memory.data(), 1, 16, 4, 16), QM_NO_KERNEL);
    EXPECT_EQ(line(memory.data(), 2, 8, 4, 16), QM_NO_KERNEL);
    // The format comes first.
    EXPECT_EQ(line(nullptr, 4, 8, 0, 0), QM_NO_KERNEL);
    EXPECT_EQ(line(nullptr, 1, 8, 4, 16), QM_OK);
    EXPECT_EQ(line(memory.data(), 1, 8, 0, 16), QM_OK);
    EXPECT_EQ(line(memory.data(), 3, 8, 4, 3), QM_OK);
    // Sizes are signed numbers of 32 bits.
    EXPECT_EQ(line(memory.data(), 1, 8, 0x80000000, 0xFFFFFFFF), QM_OK);
    EXPECT_EQ(line(memory.data(), 1, 8, 0xFFFFFFFF, 0x80000000), QM_OK);
    EXPECT_EQ(line(memory.data(), 1, 8, 4, 0x80000010), QM_OK);
    EXPECT_EQ(memory, std::vector<uint8_t>(64, 7));
}

// ----- Squares -----------------------------------------------------------------------------------

/// 10 x 10 pixels of one byte that say where they are: row and column as digits.
std::vector<uint8_t> numbered() {
    std::vector<uint8_t> pixels;
    for (uint8_t i = 0; i < 100; ++i) pixels.push_back(i);
    return pixels;
}

struct Got {
    uint32_t count;
    std::vector<uint8_t> bytes;
    bool operator==(const Got&) const = default;
};
void PrintTo(const Got& got, std::ostream* out) {
    *out << got.count << ":";
    for (const uint8_t byte : got.bytes) *out << ' ' << int{byte};
}

/// What is written of `room` bytes; a byte more is there, and stays 255.
Got square(uint64_t room, uint32_t radius, uint32_t x, uint32_t y) {
    const auto pixels = numbered();
    std::vector<uint8_t> d(room + 1, 255);
    Got got{Api::GetDataInCircle(d.data(), room, pixels.data(), 10, 8, 1, 10, 100, radius, x, y),
            {}};
    EXPECT_EQ(d.back(), 255);
    d.pop_back();
    while (!d.empty() && d.back() == 255) d.pop_back();
    got.bytes = d;
    return got;
}

TEST(GetDataInCircle, OfRadiusOneIsTwoByTwoPixelsUpToThePoint) {
    EXPECT_EQ(square(99, 1, 5, 5), (Got{4, {44, 45, 54, 55}}));
}

TEST(GetDataInCircle, IsCutAtTheFirstRowAndColumn) {
    EXPECT_EQ(square(99, 2, 0, 0), (Got{4, {0, 1, 10, 11}}));
}

TEST(GetDataInCircle, NeverReachesTheLastRowAndColumn) {
    EXPECT_EQ(square(99, 1, 9, 5), (Got{2, {48, 58}}));
    EXPECT_EQ(square(99, 1, 5, 9), (Got{2, {84, 85}}));
    EXPECT_EQ(square(99, 2, 8, 8), (Got{9, {66, 67, 68, 76, 77, 78, 86, 87, 88}}));
    EXPECT_EQ(square(200, 100, 5, 5).count, 81u);
}

TEST(GetDataInCircle, CountsPixelsThatFindNoRoom) {
    EXPECT_EQ(square(1, 5, 5, 5), (Got{81, {0}}));
    EXPECT_EQ(square(3, 1, 5, 5), (Got{4, {44, 45, 54}}));
    EXPECT_EQ(square(2, 1, 5, 5), (Got{4, {44, 45}}));
    EXPECT_EQ(square(0, 1, 5, 5), (Got{4, {}}));
}

TEST(GetDataInCircle, OfRadiusZeroIsThePixel) {
    EXPECT_EQ(square(99, 0, 9, 9), (Got{1, {99}}));
    EXPECT_EQ(square(0, 0, 9, 9), (Got{1, {}}));
}

TEST(GetDataInCircle, BesideThePictureIsEmpty) {
    EXPECT_EQ(square(99, 1, 50, 5), (Got{0, {}}));
    EXPECT_EQ(square(99, 1, 5, 50), (Got{0, {}}));
    EXPECT_EQ(square(99, 1, 10, 5), (Got{0, {}}));  // column 9 is the last
    EXPECT_EQ(square(99, 3, UINT32_MAX, 5), (Got{0, {}}));
    EXPECT_EQ(square(200, UINT32_MAX, 9, 9).count, 81u);
    EXPECT_EQ(square(200, UINT32_MAX, UINT32_MAX, UINT32_MAX).count, 81u);
}

TEST(GetDataInCircle, CutsAPixelInTheMiddle) {
    const std::vector<uint8_t> s{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};  // 3 x 2 pixels of 12 bits
    std::vector<uint8_t> d(4, 255);
    EXPECT_EQ(Api::GetDataInCircle(d.data(), 3, s.data(), 6, 12, 1, 3, 6, 9, 0, 0), 2u);
    EXPECT_EQ(d, (std::vector<uint8_t>{0, 1, 2, 255}));
    d.assign(4, 255);
    EXPECT_EQ(Api::GetDataInCircle(d.data(), 1, s.data(), 6, 12, 1, 3, 6, 0, 2, 1), 1u);
    EXPECT_EQ(d, (std::vector<uint8_t>{10, 255, 255, 255}));
    // 17 to 24 bits are three bytes here, although they are stored in four.
    d.assign(4, 255);
    EXPECT_EQ(Api::GetDataInCircle(d.data(), 4, s.data(), 6, 24, 1, 2, 4, 0, 1, 0), 1u);
    EXPECT_EQ(d, (std::vector<uint8_t>{3, 4, 5, 255}));
}

TEST(GetDataInCircle, OfNothingIsZero) {
    uint8_t d[4] = {7, 7, 7, 7}, s[4] = {};
    const auto get = [&](void* to, const void* from, uint32_t bpc, uint32_t components,
                         uint32_t width, uint64_t size, uint32_t radius) {
        return Api::GetDataInCircle(to, 4, from, 2, bpc, components, width, size, radius, 0, 0);
    };
    for (const uint32_t radius : {0u, 1u}) {
        EXPECT_EQ(get(nullptr, s, 8, 1, 2, 4, radius), 0u);
        EXPECT_EQ(get(d, nullptr, 8, 1, 2, 4, radius), 0u);
        EXPECT_EQ(get(d, s, 0, 1, 2, 4, radius), 0u);
        EXPECT_EQ(get(d, s, 8, 0, 2, 4, radius), 0u);
        EXPECT_EQ(get(d, s, 8, 1, 0, 4, radius), 0u);
        EXPECT_EQ(get(d, s, 8, 1, 2, 1, radius), 0u);
    }
    EXPECT_EQ(get(d, s, 8, 1, 1, 4, 1), 0u);  // one column is the last
    EXPECT_EQ(get(d, s, 8, 1, 2, 2, 1), 0u);  // one row is the last
    for (const uint8_t byte : d) EXPECT_EQ(byte, 7);
}

TEST(GetDataInCircle, MatchesANaiveCopyInGuardedPictures) {
    Random random(13);
    for (int i = 0; i < 1500; ++i) {
        const uint32_t bits = random.one_of({8u, 16u, 32u});
        const Format format{random.components(), bits, bits};
        const Size size = random.size(format.components);
        const GuardedPicture s(format, size, random);
        const uint32_t x = random(0, size.width - 1), y = random(0, size.height - 1),
                       r = random(0, 9), p = bits / 8 * format.components;
        std::vector<uint8_t> all;
        uint32_t expected_count = 0;
        const auto append = [&](uint32_t px, uint32_t py) {
            ++expected_count;
            for (uint32_t c = 0; c < format.components; ++c)
                for (uint32_t byte = 0; byte < bits / 8; ++byte)
                    all.push_back(
                        static_cast<uint8_t>(s.get(px * format.components + c, py) >> 8 * byte));
        };
        if (r == 0) append(x, y);
        for (uint32_t py = 0; py + 1 < size.height && r > 0; ++py)
            for (uint32_t px = 0; px + 1 < size.width; ++px)
                if (py + r >= y && py < y + r && px + r >= x && px < x + r) append(px, py);
        const auto whole = static_cast<uint32_t>(all.size());
        const uint32_t room = random(0, 1) ? random(1, whole + p) : whole + 9;
        GuardedPicture d({1, 8, 8}, {room, 1}, random);
        auto expected = d.content();
        for (size_t k = 0; k < std::min<size_t>(room, all.size()); ++k) expected[k] = all[k];
        const auto outside = d.outside();
        ASSERT_EQ(Api::GetDataInCircle(d.data(), room, s.data(), s.stride(), bits,
                                       format.components, size.width, size.pixels, r, x, y),
                  expected_count);
        ASSERT_EQ(d.content(), expected);
        ASSERT_EQ(d.outside(), outside);
    }
}

// ----- Distances ---------------------------------------------------------------------------------

double distance(double ax, double ay, double bx, double by, double px, double py) {
    const double a[2] = {ax, ay}, b[2] = {bx, by}, p[2] = {px, py};
    return GetDistOfPointFromLine(a, b, p);
}

TEST(GetDistOfPointFromLine, IsPerpendicularBesideTheSegment) {
    EXPECT_DOUBLE_EQ(distance(0, 0, 4, 0, 2, 3), 3);
    EXPECT_DOUBLE_EQ(distance(0, 0, 4, 0, 2, -3), 3);
    EXPECT_DOUBLE_EQ(distance(1, 1, 1, 9, -1, 5), 2);
    EXPECT_DOUBLE_EQ(distance(0, 0, 3, 4, 4, -3), 5);  // beside A itself
    EXPECT_NEAR(distance(0, 0, 2, 2, 0, 2), std::sqrt(2.0), 1e-12);
    EXPECT_DOUBLE_EQ(distance(0, 0, 2, 2, 1, 1), 0);
}

TEST(GetDistOfPointFromLine, IsThatOfTheNearerEndOnTheExtension) {
    EXPECT_DOUBLE_EQ(distance(0, 0, 4, 0, 7, 0), 3);
    EXPECT_DOUBLE_EQ(distance(0, 0, 4, 0, 7, 4), 5);
    EXPECT_DOUBLE_EQ(distance(0, 0, 4, 0, -3, 4), 5);
    EXPECT_DOUBLE_EQ(distance(0, 0, 0, -4, 0, -6), 2);
    EXPECT_DOUBLE_EQ(distance(0, 0, 0, -4, 0, 6), 6);
}

TEST(GetDistOfPointFromLine, OfOnePointIsThatPoint) {
    EXPECT_DOUBLE_EQ(distance(1, 2, 1, 2, 4, 6), 5);
    // Up to a tenth of a billionth they count as one, and the nearer of the two does.
    EXPECT_DOUBLE_EQ(distance(0, 0, 9e-11, 0, 3, 0), 3 - 9e-11);
    EXPECT_DOUBLE_EQ(distance(0, 0, 2e-10, 0, 1e-10, 3), 3);
}

TEST(GetDistOfPointFromLine, FindsTheFootOfAShortUprightSegmentAlongIt) {
    EXPECT_DOUBLE_EQ(distance(0, 0, 0, 2e-10, 0, 1), 1 - 2e-10);
    EXPECT_DOUBLE_EQ(distance(0, 0, 0, 2e-10, 3, 1e-10), 3);
}

void check_distance(Round round) {
    Random& random = round.random;
    for (int i = 0; i < 50; ++i) {
        double v[6];
        const uint32_t range = random.one_of({3u, 20u, 1000u});
        for (double& one : v) {
            one = static_cast<double>(random(0, 2 * range)) - range;
            if (range != 3) one += random(0, 1023) / 1024.0;
        }
        const double found = distance(v[0], v[1], v[2], v[3], v[4], v[5]);
        // The least distance of A + s (B - A), s from 0 to 1.
        const long double dx = v[2] - v[0], dy = v[3] - v[1], ax = v[4] - v[0], ay = v[5] - v[1];
        const long double square = dx * dx + dy * dy;
        const long double s =
            square == 0 ? 0 : std::clamp((dx * ax + dy * ay) / square, 0.0L, 1.0L);
        const long double x = ax - s * dx, y = ay - s * dy;
        const double expected = static_cast<double>(std::sqrt(x * x + y * y));
        ASSERT_NEAR(found, expected, 1e-12 * std::max(1.0, expected))
            << v[0] << ", " << v[1] << " to " << v[2] << ", " << v[3] << " from " << v[4] << ", "
            << v[5];
        uint64_t bits;
        std::memcpy(&bits, &found, sizeof bits);
        round.digest.add(bits);
    }
}

// ----- All of them -------------------------------------------------------------------------------

TEST(Drawing, ForksNothing) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    std::vector<uint8_t> memory(3000 * 3000), got(3000 * 3000);
    const WatchedRegions regions;
    Api::Line(memory.data(), 1, 8, 3000, 3000, memory.size(), 0, 0, 2999, 1500, 4, 1);
    Api::GetDataInCircle(got.data(), got.size(), memory.data(), 3000, 8, 1, 3000, memory.size(),
                         1400, 1500, 1500);
    EXPECT_TRUE(regions.teams().empty());
}

int line_code(const EntryCall& c) {
    return Api::Line(c.dst, c.components, c.bpc, c.stride, c.width, c.size, 0, 0, 3, 2, 4,
                     0x123456);
}

const bool registered =
    add_cases({{"GetDistOfPointFromLine", check_distance}},
              {{"CQmPicMemAPI_Base::Line", line_code,
                [](uint32_t components, uint32_t bpc) {
                    return bpc == 8 && (components == 1 || components == 3) ? QM_OK : QM_NO_KERNEL;
                },
                false, false}},
              {"CQmPicMemAPI_Base::GetDataInCircle"});

}  // namespace
}  // namespace qmpic::test
