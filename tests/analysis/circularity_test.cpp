#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <optional>
#include <vector>

#include "analysis/acquisition_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/levels.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;
using Values = std::vector<uint64_t>;
using Bytes = std::vector<uint8_t>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// Samples of one component, row by row.
struct Grid {
    uint32_t width, height;
    Values values;
    uint64_t at(uint32_t x, uint32_t y) const { return values[size_t{y} * width + x]; }
};

int64_t cut(double value) {
    if (!(value >= -0x1p63 && value < 0x1p63)) return INT64_MIN;
    return static_cast<int64_t>(value);
}

struct Limits {
    double min, max;
};
struct Mask {
    Grid grid;
    uint64_t value;
    bool equal;
};

uint32_t roundest(const Grid& s, uint64_t units, uint64_t levels, bool bright, Limits limits,
                  const Mask* mask) {
    if (s.width < 3 || s.height < 3) return 0;
    Values a(units), h(units), l(units);
    uint64_t counted = 0;
    for (uint32_t y = 1; y <= s.height - 2; ++y)
        for (uint32_t x = 1; x <= s.width - 2; ++x) {
            uint64_t least = UINT64_MAX, most = 0;
            bool all = true, none = true;
            for (uint32_t v = y - 1; v <= y + 1; ++v)
                for (uint32_t u = x - 1; u <= x + 1; ++u) {
                    if (mask != nullptr) (mask->grid.at(u, v) == mask->value ? none : all) = false;
                    if (u == x && v == y) continue;
                    least = std::min(least, s.at(u, v));
                    most = std::max(most, s.at(u, v));
                }
            if (mask != nullptr && !(mask->equal ? all : none)) continue;
            ++counted;
            const uint64_t c = s.at(x, y);
            ++a[c];
            if (bright && c > least) ++h[c], ++l[least];
            if (!bright && c < most) ++h[c], ++l[most];
        }
    const double n = static_cast<double>(counted);
    const int64_t low = cut(n * limits.min + 0.5), high = cut((1.0 - limits.max) * n + 0.5);
    std::optional<double> best;
    uint32_t found = 0;
    int64_t areas = 0, boundaries = 0;
    std::vector<int64_t> area(levels), boundary(levels);
    for (uint64_t i = 0; i < levels; ++i) {
        const uint64_t t = bright ? levels - 1 - i : i;
        area[t] = areas += static_cast<int64_t>(a[t]);
        boundary[t] = boundaries += static_cast<int64_t>(h[t] - l[t]);
    }
    for (uint64_t t = 0; t < levels; ++t) {
        if (!(low < area[t] && area[t] < high) || area[t] == 0) continue;
        const double score = static_cast<double>(boundary[t]) * static_cast<double>(boundary[t]) /
                             static_cast<double>(area[t]);
        if (best && *best <= score) continue;
        best = score;
        found = static_cast<uint32_t>(t);
    }
    return found;
}

double draw_limit(Random& random) {
    if (random(0, 1)) return random(0, 400) / 1000.0;
    return random.one_of({0.0, 1.0, 0.5, -1.0, 2.0, 1e300, -1e300, kNaN});
}

void draw_picture(GuardedPicture& picture, Random& random) {
    const Format format = picture.format();
    const uint32_t kind = random(0, 3);
    if (kind == 0) return;
    const auto top = static_cast<uint32_t>(format.max());
    for (uint32_t y = 0; y < picture.size().height; ++y)
        for (uint32_t i = 0; i < picture.samples(); ++i) {
            const uint32_t x = i / format.components;
            uint32_t value = random(0, std::min(top, 5u));
            if (kind > 1) value += x * y * (kind - 1) % 50;
            if (random(0, 200) == 0) value = top;
            picture.set(i, y, std::min(value, top));
        }
}

Size draw_size(Random& random) {
    const uint32_t width = random(0, 19) == 0 ? random(500, 1100) : random(1, 130);
    const uint32_t height = random(1, 9);
    return {width, height, uint64_t{width} * height + random(0, width - 1)};
}

Grid first_component(const GuardedPicture& picture) {
    Grid grid{picture.size().width, picture.size().height, {}};
    for (uint32_t y = 0; y < grid.height; ++y)
        for (uint32_t x = 0; x < grid.width; ++x)
            grid.values.push_back(picture.get(x * picture.format().components, y));
    return grid;
}

using Run = std::function<uint32_t(const GuardedPicture&, const GuardedPicture*, uint32_t bpc, bool,
                                   Limits, uint32_t value, bool equal)>;

void check(Round round, uint32_t bits, uint32_t mask_bits, const Run& run) {
    Random& random = round.random;
    const uint32_t bpc = mask_bits == 0 ? bits
                         : bits == 8    ? random.one_of({0u, 1u, 4u, 7u, 8u, 8u})
                                        : random(9, 16);
    const uint32_t components = random(0, 1) ? 1 : random(2, 5);
    const Size size = draw_size(random);
    GuardedPicture s({components, bits, std::max(1u, bpc)}, size, random);
    draw_picture(s, random);
    const bool bright = random(0, 1) != 0;
    const double min = draw_limit(random);
    const Limits limits{min, draw_limit(random)};
    const Grid grid = first_component(s);
    const uint64_t units = uint64_t{1} << bits;
    uint32_t expected, found;
    if (mask_bits == 0) {
        expected = roundest(grid, units, units, bright, limits, nullptr);
        found = run(s, nullptr, bpc, bright, limits, 0, false);
    } else {
        GuardedPicture m({1, mask_bits, mask_bits}, size, random);
        const uint32_t value = random.one_of({0u, 1u, 255u, 256u, 65535u, 65536u, 0x10001u});
        const bool equal = random(0, 1) != 0;
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t x = 0; x < size.width; ++x)
                m.set(x, y, (random(0, 19) == 0) != equal ? value : value + 1);
        const Mask mask{first_component(m), value, equal};
        expected = roundest(grid, units, uint64_t{1} << bpc, bright, limits, &mask);
        found = run(s, &m, bpc, bright, limits, value, equal);
    }
    ASSERT_EQ(found, expected) << size.width << " x " << size.height << ", " << bpc << " bits, "
                               << limits.min << ", " << limits.max << (bright ? " bright" : "");
    round.digest.add(found);
}

uint32_t pixels(const GuardedPicture& s) { return static_cast<uint32_t>(s.size().pixels); }

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    for (const auto& k : kCircularity)
        all.push_back({std::string(k.name),
                       [=](Round round) {
                           check(round, k.source.bits, 0,
                                 [=](const GuardedPicture& s, const GuardedPicture*, uint32_t,
                                     bool bright, Limits limits, uint32_t, bool) {
                                     return k.run(s.data(), s.format().components, s.stride(),
                                                  s.size().width, pixels(s), bright, limits.min,
                                                  limits.max);
                                 });
                       },
                       k.source.bits == 8 ? 96u : 32u});
    for (const auto& k : kMaskedCircularity)
        all.push_back({std::string(k.name),
                       [=](Round round) {
                           check(round, k.source.bits, k.destination.bits,
                                 [=](const GuardedPicture& s, const GuardedPicture* m, uint32_t bpc,
                                     bool bright, Limits limits, uint32_t value, bool equal) {
                                     return k.run(s.data(), bpc, s.format().components, s.stride(),
                                                  m->data(), m->stride(), s.size().width, pixels(s),
                                                  bright, limits.min, limits.max, value, equal);
                                 });
                       },
                       k.source.bits == 8 ? 96u : 32u});
    return all;
}

const bool registered =
    add_cases(kernel_cases(), {}, {"CQmPicMemAPI_Base::ThresholdFromIntegralCircularity"});

// ----- By hand -----------------------------------------------------------------------------------

uint32_t threshold(const Grid& s, bool bright, double min, double max) {
    const Bytes bytes(s.values.begin(), s.values.end());
    return Api::ThresholdFromIntegralCircularity(bytes.data(), 8, 1, s.width, s.width,
                                                 s.width * s.height, bright, min, max);
}

/// A disk of 200 on a foot of 100 that is a bar.
Grid disk_on_bar() {
    Grid grid{41, 41, Values(41 * 41, 10)};
    for (int y = 0; y < 41; ++y)
        for (int x = 0; x < 41; ++x) {
            uint64_t& value = grid.values[static_cast<size_t>(y * 41 + x)];
            if (std::abs(y - 20) < 2) value = 100;
            if ((x - 20) * (x - 20) + (y - 20) * (y - 20) <= 100) value = 200;
        }
    return grid;
}

TEST(Circularity, FindsTheLevelOfADisk) {
    // From 101 to 200 the disk stands alone: the lowest level of equal scores. From 11 to 100 the
    // bar sticks out of it.
    EXPECT_EQ(threshold(disk_on_bar(), true, 0.0, 0.0), 101u);
    Grid dark = disk_on_bar();
    for (uint64_t& value : dark.values) value = 255 - value;
    EXPECT_EQ(threshold(dark, false, 0.0, 0.0), 55u);  // 55 to 154, at or below which the disk is
}

// One bright pixel of 3 x 3 interior ones: area 1, boundary 1, score 1; its eight neighbours at 50
// make an area of 9 whose boundary is the outer eight: 64 / 9.
TEST(Circularity, ScoresBoundarySquaredByArea) {
    Grid s{5, 5, Values(25, 0)};
    for (const size_t i : {6u, 7u, 8u, 11u, 13u, 16u, 17u, 18u}) s.values[i] = 50;
    s.values[12] = 200;
    // N is 9: limits of 0 leave areas of 1 to 8, and only the pixel has one.
    EXPECT_EQ(threshold(s, true, 0.0, 0.0), 51u);
    // A maximum below 0 lets all of it in: trunc(1.2 * 9 + 0.5) is 11. At 0 the area is 9 without a
    // boundary, which is the best.
    EXPECT_EQ(threshold(s, true, 0.0, -0.2), 0u);
    // trunc(9 * 0.06 + 0.5) is 1, which is not below the area of the pixel.
    EXPECT_EQ(threshold(s, true, 0.055, 0.0), 51u);
    EXPECT_EQ(threshold(s, true, 0.06, 0.0), 0u);
    // 0.85 of 9 and a half is 1.85: 1, and an area of 1 is not below it.
    EXPECT_EQ(threshold(s, true, 0.0, 0.83), 51u);
    EXPECT_EQ(threshold(s, true, 0.0, 0.85), 0u);
}

TEST(Circularity, OfAFlatPictureIs0) {
    EXPECT_EQ(threshold({20, 20, Values(400, 77)}, true, 0.0, 0.0), 0u);
    EXPECT_EQ(threshold({20, 20, Values(400, 77)}, false, 0.1, 0.1), 0u);
    // An area of all pixels counts when the upper limit is above them, and has no boundary. The
    // lowest level is 0 of bright objects, and 77 of dark ones.
    EXPECT_EQ(threshold({20, 20, Values(400, 77)}, true, 0.0, -1.0), 0u);
    EXPECT_EQ(threshold({20, 20, Values(400, 77)}, false, 0.0, -1.0), 77u);
}

// A limit below 0 lets empty areas in, whose score is no number.
TEST(Circularity, LeavesEmptyAreasOut) {
    Grid s{5, 5, Values(25, 3)};
    s.values[12] = 9;
    EXPECT_EQ(threshold(s, true, -1.0, 0.0), 4u);
    EXPECT_EQ(threshold(s, false, -1.0, 0.0), 3u);
}

TEST(Circularity, LooksAtInteriorPixels) {
    Grid s{6, 6, Values(36, 3)};
    for (uint32_t i = 0; i < 6; ++i)  // of the border only as of neighbours
        s.values[i] = s.values[30 + i] = s.values[6 * i] = s.values[6 * i + 5] = 250;
    EXPECT_EQ(threshold(s, true, 0.0, 0.0), 0u);
    EXPECT_EQ(threshold(s, false, 0.0, -1.0), 250u);  // 12 of 16 up to 249, none at 250
    s.values[14] = 100;
    EXPECT_EQ(threshold(s, true, 0.0, 0.0), 4u);
}

TEST(Circularity, OfThinPicturesIs0) {
    for (const uint32_t width : {1u, 2u, 9u})
        for (const uint32_t height : {1u, 2u, 9u}) {
            if (width == 9 && height == 9) continue;
            Grid s{width, height, Values(size_t{width} * height, 5)};
            s.values.back() = 99;
            EXPECT_EQ(threshold(s, true, -1.0, -1.0), 0u) << width << " x " << height;
            EXPECT_EQ(threshold(s, false, -1.0, -1.0), 0u) << width << " x " << height;
        }
    const uint8_t s[9] = {};
    EXPECT_EQ(Api::ThresholdFromIntegralCircularity(s, 8, 1, 3, 0, 9, true, 0, -1), 0u);
    EXPECT_EQ(Api::ThresholdFromIntegralCircularity(s, 8, 1, 3, 3, 0, true, 0, -1), 0u);
}

TEST(Circularity, RefusesDepths) {
    const uint16_t s[25] = {};
    for (const uint32_t bpc : {17u, 24u, 32u, 40u}) {
        for (const void* data : {static_cast<const void*>(s), static_cast<const void*>(nullptr)}) {
            EXPECT_EQ(Api::ThresholdFromIntegralCircularity(data, bpc, 1, 10, 5, 25, true, 0, 0),
                      0xFFFFFFFEu);
            EXPECT_EQ(Api::ThresholdFromIntegralCircularity(data, bpc, 1, 10, s, 8, 5, 5, 25, true,
                                                            0, 0, 0, true),
                      0xFFFFFFFEu);
            EXPECT_EQ(Api::ThresholdFromIntegralCircularity(data, 8, 1, 10, s, bpc, 5, 5, 25, true,
                                                            0, 0, 0, true),
                      0xFFFFFFFEu);
        }
    }
    for (uint32_t bpc = 0; bpc <= 16; ++bpc) {
        EXPECT_EQ(Api::ThresholdFromIntegralCircularity(nullptr, bpc, 1, 10, 5, 25, true, 0, 0),
                  0u);
        EXPECT_EQ(Api::ThresholdFromIntegralCircularity(s, bpc, 1, 10, nullptr, 8, 5, 5, 25, true,
                                                        0, 0, 0, true),
                  0u);
    }
}

TEST(Circularity, ChoosesItsKernelByBothDepths) {
    // A picture of one bright pixel at 2 in bytes and in words, and a mask of ones in either.
    Bytes bytes(25, 1), byte_mask(25, 1);
    std::vector<uint16_t> words(25, 300), word_mask(25, 1);
    bytes[12] = 2;
    words[12] = 302;
    for (const uint32_t bpc : {2u, 7u, 8u, 9u, 12u, 16u})
        for (const uint32_t mask_bpc : {0u, 7u, 8u, 9u, 16u}) {
            const void* const s = bpc <= 8 ? static_cast<void*>(bytes.data()) : words.data();
            const void* const m =
                mask_bpc <= 8 ? static_cast<void*>(byte_mask.data()) : word_mask.data();
            const uint32_t stride = bpc <= 8 ? 5 : 10, mask_stride = mask_bpc <= 8 ? 5 : 10;
            const uint32_t expected = bpc <= 8 ? 2 : 301;
            EXPECT_EQ(
                Api::ThresholdFromIntegralCircularity(s, bpc, 1, stride, 5, 25, true, 0.0, 0.0),
                expected);
            EXPECT_EQ(
                Api::ThresholdFromIntegralCircularity(s, bpc, 1, stride, m, mask_bpc, mask_stride,
                                                      5, 25, true, 0.0, 0.0, 1, true),
                expected);
            EXPECT_EQ(
                Api::ThresholdFromIntegralCircularity(s, bpc, 1, stride, m, mask_bpc, mask_stride,
                                                      5, 25, true, 0.0, 0.0, 1, false),
                0u);
        }
}

TEST(Circularity, UnderAMaskNeedsNineSamples) {
    // Two bright pixels, at 50 and at 90, four columns apart.
    Bytes s(9 * 5, 10), mask(9 * 5, 1);
    s[2 * 9 + 2] = 50;
    s[2 * 9 + 6] = 90;
    const auto run = [&](uint32_t value, bool equal) {
        return Api::ThresholdFromIntegralCircularity(s.data(), 8, 1, 9, mask.data(), 8, 9, 9, 45,
                                                     true, 0.0, 0.0, value, equal);
    };
    EXPECT_EQ(run(1, true), 51u);  // 51 to 90: one pixel; below two, with a score of 2
    // Any of the nine samples around the brighter one takes it out, and then 11 to 50 is left.
    for (const size_t at : {14u, 15u, 16u, 23u, 24u, 25u, 32u, 33u, 34u}) {
        mask.assign(45, 1);
        mask[at] = 2;
        EXPECT_EQ(run(1, true), 11u) << at;
        EXPECT_EQ(run(2, false), 11u) << at;
        EXPECT_EQ(run(3, false), 51u) << at;  // none of them is 3
        EXPECT_EQ(run(257, true), 0u);        // no byte is 257
        EXPECT_EQ(run(257, false), 51u);
    }
}

TEST(Circularity, UnderAMaskCountsItsPixelsForTheLimits) {
    // 21 interior pixels, of which a mask leaves three columns: 9. One is bright: limits of 0.1 are
    // trunc(2.1 + 0.5) = 2 without the mask, and trunc(0.9 + 0.5) = 1, 0 with 0.05.
    Bytes s(9 * 5, 10), mask(9 * 5, 0);
    s[2 * 9 + 2] = 50;
    for (size_t y = 0; y < 5; ++y)
        for (size_t x = 0; x < 5; ++x) mask[9 * y + x] = 1;
    const auto run = [&](double limit) {
        return Api::ThresholdFromIntegralCircularity(s.data(), 8, 1, 9, mask.data(), 8, 9, 9, 45,
                                                     true, limit, 0.0, 1, true);
    };
    EXPECT_EQ(run(0.1), 0u);
    EXPECT_EQ(run(0.05), 11u);
    EXPECT_EQ(threshold({9, 5, Values(s.begin(), s.end())}, true, 0.05, 0.0), 0u);
    EXPECT_EQ(threshold({9, 5, Values(s.begin(), s.end())}, true, 0.02, 0.0), 11u);
}

TEST(Circularity, UnderAMaskHasTheLevelsOfItsDepth) {
    // 20 is above 4 bits: in no area, though in N. Levels from 4 to 9 cut out the nine.
    Bytes s(25, 3);
    const Bytes mask(25, 1);
    s[12] = 20;
    const auto run = [&](uint32_t bpc) {
        return Api::ThresholdFromIntegralCircularity(s.data(), bpc, 1, 5, mask.data(), 8, 5, 5, 25,
                                                     true, 0.0, 0.0, 1, true);
    };
    EXPECT_EQ(run(8), 4u);
    EXPECT_EQ(run(5), 4u);
    // Below 16 the eight around it are left, of an N of nine, and the pixel takes one from their
    // boundary of none: -1 * -1 / 8 at levels 0 to 3.
    EXPECT_EQ(run(4), 0u);
    EXPECT_EQ(run(0), 0u);
}

}  // namespace
}  // namespace qmpic::test
