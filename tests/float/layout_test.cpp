#include <gtest/gtest.h>
#include <omp.h>

#include <functional>
#include <optional>

#include "float/float_kernels.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "support/cases.h"
#include "support/float_picture.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmFloatPicMemAPI_Base;
using Floats = std::vector<float>;

/// Where a destination pixel comes from: a source pixel, zero, or nowhere, so that it stays.
struct Pixel {
    uint32_t x, y;
};
enum class Without { kZero, kOld };
struct Origin {
    std::optional<Pixel> pixel;
    Without without = Without::kOld;
};

struct Frame {
    uint32_t width, height;
};

Size size_of(Frame frame) { return {frame.width, frame.height}; }

/// One call between two packed pictures; `origin` says what becomes of every destination pixel.
void check_layout(Round round, Frame to, Frame from, uint32_t components,
                  const std::function<int(float* d, const float* s)>& call,
                  const std::function<Origin(uint32_t x, uint32_t y)>& origin) {
    Random& random = round.random;
    const FloatPicture d(components, size_of(to), random, FloatPicture::kPacked);
    const FloatPicture s(components, size_of(from), random, FloatPicture::kPacked);
    std::vector<uint64_t> expected;
    for (uint32_t y = 0; y < to.height; ++y)
        for (uint32_t x = 0; x < to.width; ++x) {
            const Origin of = origin(x, y);
            for (uint32_t c = 0; c < components; ++c) {
                if (of.pixel)
                    expected.push_back(s.bits(of.pixel->x * components + c, of.pixel->y));
                else
                    expected.push_back(
                        of.without == Without::kZero ? 0 : d.bits(x * components + c, y));
            }
        }
    const auto outside = d.outside();
    ASSERT_EQ(call(d.data(), s.data()), QM_OK);
    ASSERT_EQ(d.all_bits(), expected) << from.width << " x " << from.height << " to " << to.width
                                      << " x " << to.height << ", " << components;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

Frame draw_frame(Random& random) {
    const uint32_t width = random(1, 40), height = random(1, 40);
    return {width, height};
}
uint32_t draw_count(Random& random) {
    const uint32_t few = random(1, 4), many = random.components();
    return random(0, 3) ? few : many;
}

bool within(uint32_t x, uint32_t first, uint32_t count) { return x >= first && x - first < count; }

void check_cut(Round round) {
    Random& random = round.random;
    const Frame from = draw_frame(random);
    const uint32_t components = draw_count(random);
    const Frame to{random(1, from.width), random(1, from.height)};
    const uint32_t x0 = random(0, from.width - to.width), y0 = random(0, from.height - to.height);
    check_layout(
        round, to, from, components,
        [=](float* d, const float* s) {
            return cutfloatpic_to_floatpic(d, to.width, to.height, s, from.width, 0xFFFFFFFF, x0,
                                           y0, components);  // the source's height is not read
        },
        [=](uint32_t x, uint32_t y) {
            return Origin{Pixel{x0 + x, y0 + y}};
        });
}

void check_join(Round round) {
    Random& random = round.random;
    const Frame to = draw_frame(random);
    const uint32_t components = draw_count(random);
    const Frame from{random(1, to.width), random(1, to.height)};
    const uint32_t x0 = random(0, to.width - from.width), y0 = random(0, to.height - from.height);
    check_layout(
        round, to, from, components,
        [=](float* d, const float* s) {
            return joinfloatpic_to_floatpic(d, to.width, 0xFFFFFFFF, s, from.width, from.height, x0,
                                            y0, components);  // nor the destination's here
        },
        [=](uint32_t x, uint32_t y) {
            if (!within(x, x0, from.width) || !within(y, y0, from.height)) return Origin{};
            return Origin{Pixel{x - x0, y - y0}};
        });
}

void check_join_block(Round round) {
    Random& random = round.random;
    const Frame to = draw_frame(random), from = draw_frame(random);
    const uint32_t components = draw_count(random);
    const uint32_t w = random(0, std::min(to.width, from.width)),
                   h = random(0, std::min(to.height, from.height));
    const uint32_t dx = random(0, to.width - w), dy = random(0, to.height - h),
                   sx = random(0, from.width - w), sy = random(0, from.height - h);
    check_layout(
        round, to, from, components,
        [=](float* d, const float* s) {
            return joinfloatpic_to_floatpic_ex(d, to.width, 0, s, from.width, 0, dx, dy, sx, sy, w,
                                               h, components);
        },
        [=](uint32_t x, uint32_t y) {
            if (!within(x, dx, w) || !within(y, dy, h)) return Origin{};
            return Origin{Pixel{x - dx + sx, y - dy + sy}};
        });
}

void check_zero_pad(Round round) {
    Random& random = round.random;
    const Frame from = draw_frame(random);
    const uint32_t components = draw_count(random);
    const Frame to{from.width + random(0, 60), from.height + random(0, 60)};
    const uint32_t x0 = (to.width - from.width) / 2, y0 = (to.height - from.height) / 2;
    check_layout(
        round, to, from, components,
        [=](float* d, const float* s) {
            return Api::ZeroPad(d, to.width, to.height, s, from.width, from.height, components);
        },
        [=](uint32_t x, uint32_t y) {
            if (!within(x, x0, from.width) || !within(y, y0, from.height))
                return Origin{{}, Without::kZero};
            return Origin{Pixel{x - x0, y - y0}};
        });
}

// The source repeats itself, but for the right margins of some pictures.
void check_tile_pad(Round round) {
    Random& random = round.random;
    const Frame from = draw_frame(random);
    const uint32_t components = draw_count(random);
    const bool narrow = random(0, 2) == 0;  // margins of one or none at the left
    const uint32_t wider = random(0, narrow ? 2 : 2 * from.width - 1),
                   higher = random(0, narrow ? 2 : 2 * from.height - 1);
    const Frame to{from.width + std::min(wider, 2 * from.width - 1),
                   from.height + std::min(higher, 2 * from.height - 1)};
    const uint32_t x0 = (to.width - from.width) / 2, y0 = (to.height - from.height) / 2;
    const bool without_right = y0 + from.height >= to.width;
    check_layout(
        round, to, from, components,
        [=](float* d, const float* s) {
            return Api::TilePad(d, to.width, to.height, s, from.width, from.height, components);
        },
        [=](uint32_t x, uint32_t y) {
            if (x >= x0 + from.width && without_right) return Origin{};
            return Origin{
                Pixel{(x + from.width - x0) % from.width, (y + from.height - y0) % from.height}};
        });
}

void check_cross(Round round) {
    Random& random = round.random;
    const Frame size = draw_frame(random);
    const uint32_t components = draw_count(random), unused = random.any();
    check_layout(
        round, size, size, components,
        [=](float* d, const float* s) {
            return Api::FlipCross(d, s, components, unused, size.width, size.height);
        },
        [=](uint32_t x, uint32_t y) {
            const uint32_t half = size.width / 2;
            const uint32_t row = (y + size.height - size.height / 2) % size.height;
            if (x >= 2 * half) return Origin{};
            return Origin{Pixel{x < half ? x + half : x - half, row}};
        });
}

void check_mirror(Round round) {
    Random& random = round.random;
    const uint32_t components = draw_count(random), bpc = random(0, 40);
    const Size size = random.size(components);
    const uint32_t state = random.any();
    Random first(state), second(state);  // the same stride
    const FloatPicture d(components, size, first);
    FloatPicture s(components, size, second);
    ASSERT_EQ(d.stride(), s.stride());
    std::vector<uint64_t> expected;
    for (uint32_t y = 0; y < size.height; ++y) {
        for (uint32_t i = 0; i < s.samples(); ++i) s.set(i, y, draw_float(random));
        for (uint32_t x = 0; x < size.width; ++x)
            for (uint32_t c = 0; c < components; ++c)
                expected.push_back(s.bits((size.width - 1 - x) * components + c, y));
    }
    const auto outside = d.outside();
    ASSERT_EQ(
        Api::FlipHor(d.data(), s.data(), bpc, components, d.stride(), size.width, size.height),
        QM_OK);
    ASSERT_EQ(d.all_bits(), expected) << components << ", " << size.width << " wide";
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

float* floats(void* p) { return static_cast<float*>(p); }
const float* floats(const void* p) { return static_cast<const float*>(p); }

const bool registered = add_cases(
    {{"cutfloatpic_to_floatpic", check_cut},
     {"joinfloatpic_to_floatpic", check_join},
     {"joinfloatpic_to_floatpic_ex", check_join_block},
     {"CQmFloatPicMemAPI_Base::ZeroPad", check_zero_pad},
     {"CQmFloatPicMemAPI_Base::TilePad", check_tile_pad, 200},
     {"CQmFloatPicMemAPI_Base::FlipCross", check_cross},
     {"CQmFloatPicMemAPI_Base::FlipHor", check_mirror, 64}},
    {{"CQmFloatPicMemAPI_Base::FlipHor",
      [](const EntryCall& c) {
          return Api::FlipHor(floats(c.dst), const_cast<float*>(floats(c.src)), c.bpc, c.components,
                              c.stride, c.width, static_cast<uint32_t>(c.size / kEntryWidth));
      },
      [](uint32_t, uint32_t) { return QM_OK; }},
     {"CQmFloatPicMemAPI_Base::FlipVert",
      [](const EntryCall& c) {
          return Api::FlipVert(floats(c.dst), c.stride, floats(c.src), c.stride, c.width, c.size);
      },
      [](uint32_t, uint32_t) { return QM_OK; }}});

// ----- Worked pictures ---------------------------------------------------------------------------

/// Numbers of pixels: row y, column x is 10 * y + x.
Floats numbered(uint32_t width, uint32_t height) {
    Floats picture;
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x) picture.push_back(static_cast<float>(10 * y + x));
    return picture;
}

TEST(ZeroPad, PlacesTheSourceInTheMiddleAndTheLargerHalfBehindIt) {
    Floats d(5 * 4, 9.0f);
    const Floats s = numbered(2, 2);
    EXPECT_EQ(Api::ZeroPad(d.data(), 5, 4, s.data(), 2, 2, 1), QM_OK);
    EXPECT_EQ(d, (Floats{0, 0,  0,  0, 0,  //
                         0, 0,  1,  0, 0,  //
                         0, 10, 11, 0, 0,  //
                         0, 0,  0,  0, 0}));
}

TEST(ZeroPad, ToTheSameSizeIsACopy) {
    const Floats s = numbered(3, 4);
    Floats d(12, 9.0f);
    EXPECT_EQ(Api::ZeroPad(d.data(), 3, 4, s.data(), 3, 4, 1), QM_OK);
    EXPECT_EQ(d, s);
}

TEST(ZeroPad, OfAnEmptySourceIsZeros) {
    const float s = 1;
    Floats d(6, 9.0f);
    EXPECT_EQ(Api::ZeroPad(d.data(), 3, 2, &s, 0, 0, 1), QM_OK);
    EXPECT_EQ(d, Floats(6, 0.0f));
}

using Pad = int(float*, uint32_t, uint32_t, const float*, uint32_t, uint32_t, uint32_t);

TEST(Padding, RefusesASmallerDestination) {
    const Floats s = numbered(3, 3);
    for (Pad* const pad : {Api::ZeroPad, Api::TilePad}) {
        Floats d(9, 9.0f);
        EXPECT_EQ(pad(d.data(), 2, 4, s.data(), 3, 3, 1), QM_REJECTED);
        EXPECT_EQ(pad(d.data(), 4, 2, s.data(), 3, 3, 1), QM_REJECTED);
        EXPECT_EQ(pad(d.data(), 0, 0, s.data(), 3, 3, 1), QM_REJECTED);
        EXPECT_EQ(d, Floats(9, 9.0f));
    }
}

TEST(Padding, IsANoOpOnNothing) {
    const Floats s = numbered(2, 2);
    for (Pad* const pad : {Api::ZeroPad, Api::TilePad}) {
        Floats d(4, 9.0f);
        EXPECT_EQ(pad(nullptr, 2, 2, s.data(), 2, 2, 1), QM_OK);
        EXPECT_EQ(pad(d.data(), 2, 2, nullptr, 2, 2, 1), QM_OK);
        EXPECT_EQ(pad(d.data(), 0, 0, s.data(), 0, 0, 1), QM_OK);
        EXPECT_EQ(pad(d.data(), 2, 2, s.data(), 2, 2, 0), QM_OK);
        EXPECT_EQ(d, Floats(4, 9.0f));
    }
}

TEST(TilePad, RepeatsTheSourceAllAround) {
    Floats d(7 * 4, 99.0f);
    const Floats s = numbered(3, 2);
    EXPECT_EQ(Api::TilePad(d.data(), 7, 4, s.data(), 3, 2, 1), QM_OK);
    EXPECT_EQ(d, (Floats{11, 12, 10, 11, 12, 10, 11,  //
                         1,  2,  0,  1,  2,  0,  1,   //
                         11, 12, 10, 11, 12, 10, 11,  //
                         1,  2,  0,  1,  2,  0,  1}));
}

TEST(TilePad, LeavesTheRightMarginsWhereTheSourceEndsAtOrBelowTheRowOfTheWidth) {
    // The source ends above row 5 of the destination, which is 4, 5 or 6 wide.
    for (const uint32_t width : {4u, 5u, 6u}) {
        Floats d(width * 6, 99.0f);
        const Floats s = numbered(2, 4);  // rows 1 to 4 of 6
        EXPECT_EQ(Api::TilePad(d.data(), width, 6, s.data(), 2, 4, 1), QM_OK);
        const uint32_t left = (width - 2) / 2, right = left + 2;
        for (uint32_t y = 0; y < 6; ++y)
            for (uint32_t x = 0; x < width; ++x) {
                const bool left_alone = x >= right && width <= 5;
                const auto expected = static_cast<float>(10 * ((y + 3) % 4) + (x + 2 - left) % 2);
                EXPECT_EQ(d[y * width + x], left_alone ? 99.0f : expected)
                    << width << " wide, " << x << ", " << y;
            }
    }
}

TEST(TilePad, OfAWidePictureWritesTheLowerRightCornerToo) {
    Floats d(6 * 3, 99.0f);
    const Floats s = numbered(4, 2);  // rows 0 and 1, columns 1 to 4
    EXPECT_EQ(Api::TilePad(d.data(), 6, 3, s.data(), 4, 2, 1), QM_OK);
    EXPECT_EQ(d, (Floats{3, 0, 1, 2, 3, 0,        //
                         13, 10, 11, 12, 13, 10,  //
                         3, 0, 1, 2, 3, 0}));
}

TEST(TilePad, ToTheSameSizeOnlyCopies) {
    const Floats s = numbered(4, 3);
    Floats d(12, 99.0f);
    EXPECT_EQ(Api::TilePad(d.data(), 4, 3, s.data(), 4, 3, 1), QM_OK);
    EXPECT_EQ(d, s);
}

TEST(TilePad, RefusesMarginsLargerThanTheSource) {
    const Floats s = numbered(2, 2);
    Floats d(7 * 7, 99.0f);
    EXPECT_EQ(Api::TilePad(d.data(), 7, 2, s.data(), 2, 2, 1), QM_REJECTED);  // 3 at the right
    EXPECT_EQ(Api::TilePad(d.data(), 2, 7, s.data(), 2, 2, 1), QM_REJECTED);
    EXPECT_EQ(Api::TilePad(d.data(), 3, 3, s.data(), 0, 0, 1), QM_REJECTED);
    EXPECT_EQ(d, Floats(49, 99.0f));
    EXPECT_EQ(Api::TilePad(d.data(), 6, 2, s.data(), 2, 2, 1), QM_OK);
    EXPECT_EQ(Api::TilePad(d.data(), 2, 6, s.data(), 2, 2, 1), QM_OK);
}

TEST(FlipCross, ExchangesTheQuadrants) {
    const Floats s = numbered(4, 2);
    Floats d(8);
    EXPECT_EQ(Api::FlipCross(d.data(), s.data(), 1, 0, 4, 2), QM_OK);
    EXPECT_EQ(d, (Floats{12, 13, 10, 11, 2, 3, 0, 1}));
}

TEST(FlipCross, TwiceRestoresPicturesOfEvenSize) {
    const Floats s = numbered(6, 4);
    Floats once(24), twice(24);
    EXPECT_EQ(Api::FlipCross(once.data(), s.data(), 3, 7, 2, 4), QM_OK);
    EXPECT_EQ(Api::FlipCross(twice.data(), once.data(), 3, 9, 2, 4), QM_OK);
    EXPECT_NE(once, s);
    EXPECT_EQ(twice, s);
}

TEST(FlipCross, LosesTheLastColumnOfAnOddWidth) {
    const Floats s = numbered(5, 3);
    Floats d(15, 99.0f);
    EXPECT_EQ(Api::FlipCross(d.data(), s.data(), 1, 0, 5, 3), QM_OK);
    // Row 0 goes to row 1, 1 to 2, and 2 to 0.
    EXPECT_EQ(d, (Floats{22, 23, 20, 21, 99,  //
                         2, 3, 0, 1, 99,      //
                         12, 13, 10, 11, 99}));
    Floats one(3, 99.0f);
    EXPECT_EQ(Api::FlipCross(one.data(), s.data(), 1, 0, 1, 3), QM_OK);
    EXPECT_EQ(one, Floats(3, 99.0f));
}

TEST(FloatLayout, IsANoOpOnNothing) {
    const Floats s = numbered(2, 2);
    Floats d(4, 99.0f);
    EXPECT_EQ(Api::FlipCross(nullptr, s.data(), 1, 0, 2, 2), QM_OK);
    EXPECT_EQ(Api::FlipCross(d.data(), nullptr, 1, 0, 2, 2), QM_OK);
    EXPECT_EQ(Api::FlipCross(d.data(), s.data(), 1, 0, 0, 2), QM_OK);
    EXPECT_EQ(Api::FlipCross(d.data(), s.data(), 1, 0, 2, 0), QM_OK);
    EXPECT_EQ(Api::FlipCross(d.data(), s.data(), 0, 0, 2, 2), QM_OK);
    EXPECT_EQ(cutfloatpic_to_floatpic(d.data(), 0, 2, s.data(), 2, 2, 0, 0, 1), QM_OK);
    EXPECT_EQ(cutfloatpic_to_floatpic(d.data(), 2, 0, s.data(), 2, 2, 0, 0, 1), QM_OK);
    EXPECT_EQ(cutfloatpic_to_floatpic(d.data(), 2, 2, s.data(), 2, 2, 0, 0, 0), QM_OK);
    EXPECT_EQ(joinfloatpic_to_floatpic(d.data(), 2, 2, s.data(), 0, 2, 0, 0, 1), QM_OK);
    EXPECT_EQ(
        joinfloatpic_to_floatpic_ex(d.data(), 2, 2, s.data(), 2, 2, 0, 0, 0, 0, 0, 0xFFFFFFFF, 1),
        QM_OK);
    EXPECT_EQ(d, Floats(4, 99.0f));
}

TEST(FloatBlocks, RunOverTheEndOfARowIntoTheNext) {
    const Floats s = numbered(3, 3);
    Floats d(4);
    EXPECT_EQ(cutfloatpic_to_floatpic(d.data(), 2, 2, s.data(), 3, 3, 2, 0, 1), QM_OK);
    EXPECT_EQ(d, (Floats{2, 10, 12, 20}));  // nothing is clipped
}

TEST(FlipHorOfFloats, InPlaceGoesByTheDepth) {
    Floats row{1, 2, 3, 4};
    EXPECT_EQ(Api::FlipHor(row.data(), row.data(), 32, 1, 16, 4, 1), QM_OK);
    EXPECT_EQ(row, (Floats{4, 3, 2, 1}));
    EXPECT_EQ(Api::FlipHor(row.data(), row.data(), 32, 2, 16, 2, 1), QM_OK);
    EXPECT_EQ(row, (Floats{2, 1, 4, 3}));
    std::vector<uint8_t> bytes{1, 2, 3, 4, 5, 6, 7, 8};
    auto* const p = reinterpret_cast<float*>(bytes.data());
    EXPECT_EQ(Api::FlipHor(p, p, 8, 1, 8, 4, 1), QM_OK);  // as bytes then
    EXPECT_EQ(bytes, (std::vector<uint8_t>{4, 3, 2, 1, 5, 6, 7, 8}));
}

TEST(FlipHorOfFloats, FindsRowsIn32Bits) {
    Floats s{1, 2, 3, 4, 5, 6, 7, 8, 9}, d(9, 0.0f);  // stride 10: floats 0, 2, 5, 7
    EXPECT_EQ(Api::FlipHor(d.data(), s.data(), 32, 1, 10, 2, 4), QM_OK);
    EXPECT_EQ(d, (Floats{2, 1, 4, 3, 0, 7, 6, 9, 8}));
    if (kThreadSanitizer) return;  // its tables would cover the distance
    const WrappedRows from, to;
    from.row(0)[0] = 5;
    from.row(1)[0] = 6;
    EXPECT_EQ(Api::FlipHor(to.row(0), from.row(0), 32, 1, WrappedRows::kStride, 1, 3), QM_OK);
    EXPECT_EQ(to.row(0)[0], 5);
    EXPECT_EQ(to.row(1)[0], 6);
}

TEST(FlipVertOfFloats, MovesWholeRowsWithTheirGaps) {
    const Floats s{1, 2, 3, 4, 5, 6};
    Floats d(6);
    EXPECT_EQ(Api::FlipVert(d.data(), 8, s.data(), 8, 1, 3), QM_OK);
    EXPECT_EQ(d, (Floats{5, 6, 3, 4, 1, 2}));
    d.assign(6, 0.0f);
    EXPECT_EQ(Api::FlipVert(d.data(), 4, s.data(), 8, 1, 3), QM_OK);  // the smaller stride
    EXPECT_EQ(d, (Floats{5, 3, 1, 0, 0, 0}));
}

TEST(FloatLayout, DoesNotFork) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    Floats s = numbered(8, 8), d(64 * 4);
    const WatchedRegions regions;
    Api::ZeroPad(d.data(), 16, 16, s.data(), 8, 8, 1);
    Api::TilePad(d.data(), 16, 16, s.data(), 8, 8, 1);
    Api::FlipCross(d.data(), s.data(), 1, 0, 8, 8);
    Api::FlipHor(d.data(), s.data(), 32, 1, 32, 8, 8);
    Api::FlipVert(d.data(), 32, s.data(), 32, 8, 64);
    EXPECT_TRUE(regions.teams().empty());
}

}  // namespace
}  // namespace qmpic::test
