#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "qmpic/kernels/stretch.h"
#include "qmpic/status.h"
#include "stretch/window_reference.h"
#include "support/cases.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

constexpr Format kBytes{1, 8, 8};

uint32_t u(uint64_t value) { return static_cast<uint32_t>(value); }
uint32_t bytes_of(uint64_t pixels) { return u((pixels + 7) / 8); }

bool bit(const GuardedPicture& s, uint64_t x, uint64_t y) {
    return (s.get(u(x / 8), u(y)) & 0x80u >> x % 8) != 0;
}

/// The bytes of rows of bits, 0 behind the last pixel.
template <class Column, class Row>
std::vector<uint64_t> walk(const GuardedPicture& s, uint64_t width, uint64_t height, Column column,
                           Row row) {
    std::vector<uint64_t> bytes;
    for (uint64_t j = 0; j < height; ++j)
        for (uint64_t b = 0; b < bytes_of(width); ++b) {
            uint64_t byte = 0;
            for (uint64_t i = 8 * b; i < std::min(8 * b + 8, width); ++i)
                if (bit(s, column(i), row(j))) byte |= 0x80u >> i % 8;
            bytes.push_back(byte);
        }
    return bytes;
}

void check_display(Round round) {
    Random& random = round.random;
    const uint32_t width = random(1, random(0, 4) ? 300 : 3000), height = random(1, 20);
    const GuardedPicture s(kBytes, {bytes_of(width), height}, random);
    const WindowAxis x = draw_axis(random, width, random(0, 4) ? 260 : 1300),
                     y = draw_axis(random, height, 40);
    const GuardedPicture d(kBytes, {bytes_of(x.count), u(y.count)}, random);
    const auto outside = d.outside();
    const auto expected = walk(
        s, x.count, y.count, [&](uint64_t i) { return x.nearest(i); },
        [&](uint64_t j) { return y.nearest(j); });
    ASSERT_EQ(stretch_quick_binary_display(d.data(), u(x.count), u(y.count), d.stride(), u(x.whole),
                                           u(y.whole), u(x.start), u(y.start), s.data(), width,
                                           height, s.stride(), x.flip, y.flip),
              QM_OK);
    ASSERT_EQ(d.content(), expected)
        << "columns " << x.source << " to " << x.whole << ", " << x.count << " from " << x.start
        << (x.flip ? " mirrored" : "") << ", rows " << y.source << " to " << y.whole << ", "
        << y.count << " from " << y.start << (y.flip ? " mirrored" : "");
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

void check_region(Round round) {
    Random& random = round.random;
    const uint32_t width = random(1, random(0, 4) ? 300 : 3000), rows = random(1, 20);
    const GuardedPicture s(kBytes, {bytes_of(width), rows}, random);
    const uint64_t bits = uint64_t{s.samples()} * 8;
    // Regions may end behind the picture where that is where rows end.
    const uint32_t beyond = s.stride() == s.samples() ? random(0, 1) * random(0, 40) : 0;
    const uint32_t offset = random(0, u(bits) - 1), top = random(0, rows - 1);
    const uint32_t region_width = random(1, u(bits) - offset) + beyond,
                   region_height = random(1, rows - top) + random(0, 1) * random(0, 9);
    const uint32_t to_width = random.one_of({region_width, random(1, 300), random(1, 1300)}),
                   to_height = random(1, 40);
    const GuardedPicture d(kBytes, {bytes_of(to_width), to_height}, random);
    const auto outside = d.outside();
    const WindowAxis x{to_width, to_width, 0, region_width},
        y{to_height, to_height, 0, region_height};
    const auto expected = walk(
        s, to_width, to_height,
        [&](uint64_t i) { return std::min(x.nearest(i) + offset, uint64_t{s.stride()} * 8 - 1); },
        [&](uint64_t j) { return std::min<uint64_t>(y.nearest(j) + top, rows - 1); });
    const auto* const first =
        static_cast<const uint8_t*>(s.data()) + size_t{top} * s.stride() + offset / 8;
    ASSERT_EQ(stretch_quick_binary(d.data(), d.stride(), to_width, to_height, first, s.stride(),
                                   rows, offset, top, region_width, region_height),
              QM_OK);
    ASSERT_EQ(d.content(), expected) << region_width << " x " << region_height << " at " << offset
                                     << ", " << top << " to " << to_width << " x " << to_height;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

const bool registered = add_cases({{"stretch_quick_binary", check_region, 200},
                                   {"stretch_quick_binary_display", check_display, 200}});

// Pixels 1, 0, 1, 1 to eight: each twice.
TEST(StretchBinary, BitSevenIsTheFirstPixel) {
    const uint8_t s = 0xB0;
    uint8_t d[2] = {0xFF, 0xFF};
    ASSERT_EQ(stretch_quick_binary_display(d, 8, 1, 2, 8, 1, 0, 0, &s, 4, 1, 1, false, false),
              QM_OK);
    EXPECT_EQ(d[0], 0xCF);
    EXPECT_EQ(d[1], 0xFF);
    ASSERT_EQ(stretch_quick_binary_display(d, 8, 1, 2, 8, 1, 0, 0, &s, 4, 1, 1, true, false),
              QM_OK);
    EXPECT_EQ(d[0], 0xF3);
    ASSERT_EQ(stretch_quick_binary(d, 2, 8, 1, &s, 1, 1, 0, 0, 4, 1), QM_OK);
    EXPECT_EQ(d[0], 0xCF);
}

TEST(StretchBinary, ClearsTheBitsBehindARowsLastPixel) {
    const uint8_t s[2] = {0xFF, 0xFF};
    uint8_t d[4] = {0xFF, 0xFF, 0xFF, 0xFF};
    ASSERT_EQ(stretch_quick_binary_display(d, 11, 2, 2, 11, 2, 0, 0, s, 8, 2, 1, false, false),
              QM_OK);
    for (uint32_t i = 0; i < 4; ++i) EXPECT_EQ(d[i], i % 2 == 0 ? 0xFF : 0xE0);
    std::fill(d, d + 4, uint8_t{0xFF});
    ASSERT_EQ(stretch_quick_binary(d, 2, 11, 2, s, 1, 2, 0, 0, 8, 2), QM_OK);
    for (uint32_t i = 0; i < 4; ++i) EXPECT_EQ(d[i], i % 2 == 0 ? 0xFF : 0xE0);
}

// Rows 0 and 1 of three are shown twice, mirrored: 2 1 0 would be all three, the window has 1 0.
TEST(StretchBinary, MirrorsRowsThatAreEnlarged) {
    const uint8_t s[3] = {0x80, 0x40, 0x20};
    uint8_t d[4] = {};
    ASSERT_EQ(stretch_quick_binary_display(d, 8, 4, 1, 8, 6, 0, 0, s, 8, 3, 1, false, true), QM_OK);
    EXPECT_EQ(std::vector<uint8_t>(d, d + 4), (std::vector<uint8_t>{0x40, 0x40, 0x80, 0x80}));
}

TEST(StretchBinary, FirstRowIsNeverACopy) {
    const uint32_t row = 0xFFFFFF;
    const uint8_t s = 0x5A;
    uint8_t d[3] = {0x11, 0, 0};
    ASSERT_EQ(stretch_quick_binary_display(d + 1, 8, 2, 1, 8, row + 10, 0, row, &s, 8, row + 10, 0,
                                           false, false),
              QM_OK);
    EXPECT_EQ(std::vector<uint8_t>(d, d + 3), (std::vector<uint8_t>{0x11, 0x5A, 0x5A}));
}

TEST(StretchBinary, SizesOfZero) {
    const uint8_t s = 0xFF;
    uint8_t d = 0x55;
    const auto display = [&](uint32_t to_width, uint32_t to_height, uint32_t width, uint32_t height,
                             uint32_t from_width, uint32_t from_height) {
        return stretch_quick_binary_display(&d, to_width, to_height, 1, width, height, 0, 0, &s,
                                            from_width, from_height, 1, false, false);
    };
    EXPECT_EQ(display(1, 1, 0, 1, 1, 1), QM_BAD_BUFFER);
    EXPECT_EQ(display(1, 1, 1, 0, 1, 1), QM_BAD_BUFFER);
    EXPECT_EQ(display(0, 1, 0, 1, 1, 1), QM_BAD_BUFFER);
    EXPECT_EQ(display(0, 1, 1, 1, 1, 1), QM_OK);
    EXPECT_EQ(display(1, 0, 1, 1, 1, 1), QM_OK);
    EXPECT_EQ(display(1, 1, 1, 1, 0, 1), QM_BAD_BUFFER);
    EXPECT_EQ(display(1, 1, 1, 1, 1, 0), QM_BAD_BUFFER);
    for (uint32_t zero = 0; zero < 4; ++zero) {
        uint32_t size[4] = {1, 1, 1, 1};
        size[zero] = 0;
        EXPECT_EQ(stretch_quick_binary(&d, 1, size[0], size[1], &s, 1, 1, 0, 0, size[2], size[3]),
                  QM_OK);
    }
    EXPECT_EQ(d, 0x55);
}

TEST(StretchBinary, RunsInTheCallingThread) {
    const std::vector<uint8_t> s(100 * 300, 0xFF);
    std::vector<uint8_t> d(100 * 500);
    const WatchedRegions regions;
    ASSERT_EQ(stretch_quick_binary_display(d.data(), 800, 500, 100, 800, 500, 0, 0, s.data(), 800,
                                           300, 100, false, false),
              QM_OK);
    ASSERT_EQ(stretch_quick_binary(d.data(), 100, 800, 500, s.data(), 100, 300, 0, 0, 800, 300),
              QM_OK);
    EXPECT_EQ(regions.teams().size(), 0u);
    EXPECT_TRUE(std::all_of(d.begin(), d.end(), [](uint8_t byte) { return byte == 0xFF; }));
}

}  // namespace
}  // namespace qmpic::test
