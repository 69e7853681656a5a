#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/kernels/stretch.h"
#include "qmpic/status.h"
#include "support/cases.h"
#include "support/float_picture.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmFloatPicMemAPI_Base;
using Mode = CQmPicMemAPI_Base::EQmPicStretchMode;
constexpr Mode kSpline = CQmPicMemAPI_Base::StretchSpline,
               kLinear = CQmPicMemAPI_Base::StretchLinear, kQuick = CQmPicMemAPI_Base::StretchQuick;

// ----- Reference ---------------------------------------------------------------------------------

using Line = std::vector<float>;
using Lines = std::vector<Line>;
struct Tap {
    int64_t place;
    int64_t weight;
};

double filter(Mode mode, double x) {
    x = std::fabs(x);
    if (mode != kSpline) return x < 1 ? 1 - x : 0;
    return x < 0.5 ? 0.75 - x * x : x < 1.5 ? (x - 1.5) * (x - 1.5) * 0.5 : 0;
}

/// The samples, from `first` to `last`, that make sample i of `count` out of `region`.
std::vector<Tap> taps(Mode mode, uint32_t i, uint32_t region, uint32_t count, int64_t first,
                      int64_t last) {
    const double c = static_cast<double>(region) / static_cast<double>(count);
    const double base = mode == kSpline ? 3 : 2;
    const double r = (c > 1 ? std::ceil(base * c) : base) * 0.5;
    const double p = i * c - 0.5 + c * 0.5;
    std::vector<Tap> list;
    int64_t sum = 0;
    for (auto j = static_cast<int64_t>(std::floor(p - r - 2));
         j <= static_cast<int64_t>(std::ceil(p + r + 2)); ++j) {
        const double d = static_cast<double>(j) - p;
        const double w = c <= 1 ? filter(mode, d) : filter(mode, d / c) / c;
        if (w == 0) continue;
        list.push_back({std::clamp(j, first, last), static_cast<int64_t>(w * 65536)});
        sum += list.back().weight;
    }
    if (list.empty())
        list.push_back({std::clamp(static_cast<int64_t>(p + 0.5), first, last), 65536});
    int64_t missing = 65536;
    for (Tap& tap : list) {
        if (sum != 0) tap.weight = tap.weight * 65536 / sum;
        missing -= tap.weight;
    }
    list[list.size() / 2].weight += missing;
    return list;
}

/// `value(place)` is a sample.
template <class Value>
float mean(const std::vector<Tap>& list, Value value) {
    float acc = 0;
    int64_t weights = 0;
    for (const Tap& tap : list)
        if (value(tap.place) > -FLT_MAX) {
            acc = acc + static_cast<float>(tap.weight) * value(tap.place);
            weights += tap.weight;
        }
    return weights != 0 ? acc / static_cast<float>(weights) : -FLT_MAX;
}

/// Lines of a picture that is `left` columns wider than its region, on the left.
Lines along(Mode mode, const Lines& s, uint32_t left, uint32_t region, uint32_t count) {
    Lines d;
    for (const Line& line : s) {
        d.emplace_back();
        const int64_t last = static_cast<int64_t>(line.size()) - 1 - left;
        for (uint32_t i = 0; i < count; ++i)
            d.back().push_back(
                mean(taps(mode, i, region, count, -int64_t{left}, last),
                     [&](int64_t place) { return line[static_cast<size_t>(place + left)]; }));
    }
    return d;
}
Lines down(Mode mode, const Lines& s, uint32_t above, uint32_t region, uint32_t count) {
    Lines d;
    const int64_t last = static_cast<int64_t>(s.size()) - 1 - above;
    for (uint32_t j = 0; j < count; ++j) {
        d.emplace_back();
        const auto list = taps(mode, j, region, count, -int64_t{above}, last);
        for (size_t x = 0; x < s[0].size(); ++x)
            d.back().push_back(mean(
                list, [&](int64_t place) { return s[static_cast<size_t>(place + above)][x]; }));
    }
    return d;
}

/// Columns or rows of the quick way.
uint32_t quick(uint32_t i, uint32_t region, uint32_t count, uint32_t picture, uint32_t in_front) {
    const float s = static_cast<float>(region) / static_cast<float>(count);
    const double place = s > 1 ? std::floor(static_cast<float>(i) * s)
                               : std::floor((i + 0.5) * static_cast<double>(s));
    return std::min(static_cast<uint32_t>(place), picture - in_front - 1);
}

// ----- Pictures ----------------------------------------------------------------------------------

/// Many samples without a value, some that are not numbers.
float draw_value(Random& random) {
    switch (random(0, 5)) {
    case 0:
    case 1: return -FLT_MAX;
    case 2: return draw_float(random);
    default: return static_cast<float>(random(0, 2000)) / 8 - 100;
    }
}
GuardedPicture make(uint32_t components, Size size, Random& random) {
    return GuardedPicture({components, 32, 32}, size, random, 4);
}
void fill(GuardedPicture& picture, Random& random) {
    for (uint32_t y = 0; y < picture.size().height; ++y)
        for (uint32_t i = 0; i < picture.samples(); ++i)
            picture.set(i, y, std::bit_cast<uint32_t>(draw_value(random)));
}
float value(const GuardedPicture& s, uint32_t sample, uint32_t y) {
    return std::bit_cast<float>(static_cast<uint32_t>(s.get(sample, y)));
}
/// A component of all pixels.
Lines component(const GuardedPicture& s, uint32_t index) {
    Lines lines;
    for (uint32_t y = 0; y < s.size().height; ++y) {
        lines.emplace_back();
        for (uint32_t x = 0; x < s.size().width; ++x)
            lines.back().push_back(value(s, x * s.format().components + index, y));
    }
    return lines;
}
float* at(const GuardedPicture& s, uint32_t x, uint32_t y, uint32_t index) {
    return reinterpret_cast<float*>(static_cast<uint8_t*>(s.data()) + size_t{y} * s.stride()) +
           x * s.format().components + index;
}

/// `call()` writes `expected()` to one component of d and nothing else.
template <class Call, class Expected>
void expect_component(Round round, const GuardedPicture& d, uint32_t index, Call call,
                      Expected expected) {
    const auto before = d.content();
    const auto outside = d.outside();
    const Lines lines = expected();
    ASSERT_EQ(call(), QM_OK);
    const auto after = d.content();
    const uint32_t components = d.format().components;
    for (size_t i = 0; i < after.size(); ++i)
        if (i % components != index) {
            ASSERT_EQ(after[i], before[i]) << "another component";
        }
    for (uint32_t y = 0; y < d.size().height; ++y)
        for (uint32_t x = 0; x < d.size().width; ++x) {
            ASSERT_EQ(comparable(value(d, x * components + index, y)), comparable(lines[y][x]))
                << x << ", " << y << ": " << value(d, x * components + index, y) << " and not "
                << lines[y][x];
            round.digest.add(comparable(lines[y][x]));
        }
    ASSERT_EQ(d.outside(), outside);
}

Mode draw_mode(Random& random) { return random.one_of({kSpline, kLinear}); }
uint32_t draw_components(Random& random) { return random(0, 2) == 0 ? random(1, 7) : 1; }
/// A size to stretch to, near the source's or not.
uint32_t draw_count(Random& random, uint32_t region, uint32_t most) {
    return std::min(most, random.one_of({region, 2 * region, random(1, 2 * region), random(1, 40),
                                         (region + 3) / 4}));
}

void check_along(Round round) {
    Random& random = round.random;
    const uint32_t components = draw_components(random), index = random(0, components - 1);
    const Size size{random(1, random(0, 5) ? 70 : 400), random(1, 6)};
    const uint32_t left = random(0, 1) * random(0, size.width - 1);
    const uint32_t region = random(1, size.width - left);
    const uint32_t count = draw_count(random, region, 500);
    GuardedPicture s = make(components, size, random);
    fill(s, random);
    const GuardedPicture d = make(components, {count, size.height}, random);
    const Mode mode = draw_mode(random);
    expect_component(
        round, d, index,
        [&] {
            return stretch_float_generic_horz_1_validity(
                at(d, 0, 0, index), components, d.stride(), count, size.height,
                at(s, left, 0, index), s.stride(), size.width, left, region, mode);
        },
        [&] { return along(mode, component(s, index), left, region, count); });
}

void check_down(Round round) {
    Random& random = round.random;
    const uint32_t components = draw_components(random), index = random(0, components - 1);
    const Size size{random(1, random(0, 5) ? 70 : 600), random(1, 30)};
    const uint32_t above = random(0, 1) * random(0, size.height - 1);
    const uint32_t region = random(1, size.height - above), below = size.height - above - region;
    const uint32_t count = draw_count(random, region, 60);
    GuardedPicture s = make(components, size, random);
    fill(s, random);
    const GuardedPicture d = make(components, {size.width, count}, random);
    const Mode mode = draw_mode(random);
    expect_component(
        round, d, index,
        [&] {
            return stretch_float_generic_vert_1_validity(at(d, 0, 0, index), components, d.stride(),
                                                         size.width, count, at(s, 0, 0, index),
                                                         s.stride(), above, region, below, mode);
        },
        [&] { return down(mode, component(s, index), above, region, count); });
}

struct Region {
    uint32_t left, top, width, height, to_width, to_height;
};
Region draw_region(Random& random, Size size) {
    Region r{};
    r.left = random(0, 1) * random(0, size.width - 1);
    r.top = random(0, 1) * random(0, size.height - 1);
    r.width = random(1, size.width - r.left);
    r.height = random(1, size.height - r.top);
    r.to_width = draw_count(random, r.width, 120);
    r.to_height = draw_count(random, r.height, 60);
    return r;
}

Lines quick_lines(const Lines& s, const Region& r) {
    Lines lines;
    for (uint32_t j = 0; j < r.to_height; ++j) {
        lines.emplace_back();
        const uint32_t t = quick(j, r.height, r.to_height, static_cast<uint32_t>(s.size()), r.top);
        for (uint32_t i = 0; i < r.to_width; ++i)
            lines.back().push_back(
                s[r.top + t][r.left + quick(i, r.width, r.to_width,
                                            static_cast<uint32_t>(s[0].size()), r.left)]);
    }
    return lines;
}

void check_quick(Round round) {
    Random& random = round.random;
    const uint32_t components = draw_components(random), index = random(0, components - 1);
    const Size size{random(1, 90), random(1, 30)};
    const Region r = draw_region(random, size);
    GuardedPicture s = make(components, size, random);
    fill(s, random);
    const GuardedPicture d = make(components, {r.to_width, r.to_height}, random);
    expect_component(
        round, d, index,
        [&] {
            return stretch_float_quick_1(at(d, 0, 0, index), components, d.stride(), r.to_width,
                                         r.to_height, at(s, r.left, r.top, index), s.stride(),
                                         size.width, size.height, r.left, r.top, r.width, r.height);
        },
        [&] { return quick_lines(component(s, index), r); });
}

const bool registered = add_cases({{"stretch_float_generic_horz_1_validity", check_along, 72},
                                   {"stretch_float_generic_vert_1_validity", check_down, 72},
                                   {"stretch_float_quick_1", check_quick, 96}},
                                  {}, {"CQmFloatPicMemAPI_Base::Stretch_WithValidity"});

// ----- The entry ---------------------------------------------------------------------------------

TEST(StretchWithValidity, FiltersTheRowsAndThenTheColumnsOfARegion) {
    Random random(31);
    Digest digest;
    for (uint32_t round = 0; round < 150; ++round) {
        const uint32_t components = draw_components(random), index = random(0, components - 1);
        const Size size{random(1, 60), random(1, 40)};
        const Region r = draw_region(random, size);
        GuardedPicture s = make(components, size, random);
        fill(s, random);
        const GuardedPicture d = make(components, {r.to_width, r.to_height}, random);
        const Mode mode =
            random(0, 4) == 0 ? static_cast<Mode>(random.one_of({0, 1, 4, -1})) : draw_mode(random);
        expect_component(
            {round, random, digest}, d, index,
            [&] {
                return Api::Stretch_WithValidity(
                    at(d, 0, 0, index), components, d.stride(), r.to_width, r.to_height,
                    at(s, r.left, r.top, index), s.stride(), size.width, size.height, r.left, r.top,
                    r.width, r.height, mode);
            },
            [&] {
                const Lines all = component(s, index);
                if (mode != kSpline && mode != kLinear) return quick_lines(all, r);
                const double base = mode == kSpline ? 3 : 2;
                const auto margin = static_cast<uint32_t>(
                    r.to_width < r.width ? std::ceil(base * r.width / r.to_width) : base);
                const uint32_t above = std::min(r.top, margin),
                               below = std::min(size.height - r.top - r.height, margin);
                const Lines band(all.begin() + r.top - above,
                                 all.begin() + r.top + r.height + below);
                return down(mode, along(mode, band, r.left, r.width, r.to_width), above, r.height,
                            r.to_height);
            });
        if (HasFatalFailure()) return;
    }
}

int stretch(std::vector<float>& d, uint32_t to_width, uint32_t to_height,
            const std::vector<float>& s, uint32_t width, uint32_t height, Mode mode) {
    d.assign(size_t{to_width} * to_height, 1234);
    return Api::Stretch_WithValidity(d.data(), 1, to_width * 4, to_width, to_height, s.data(),
                                     width * 4, width, height, 0, 0, width, height, mode);
}

TEST(StretchWithValidity, LeavesRowsWithoutValuesWithoutValues) {
    const std::vector<float> s(7 * 5, -FLT_MAX);
    std::vector<float> d;
    for (const Mode mode : {kQuick, kSpline, kLinear})
        for (const uint32_t to : {3u, 5u, 12u}) {
            ASSERT_EQ(stretch(d, to, to, s, 7, 5, mode), QM_OK);
            for (const float v : d) EXPECT_EQ(v, -FLT_MAX);
        }
}

// Twice as wide, the triangle takes 3/4 of the nearer sample and 1/4 of the other.
TEST(StretchWithValidity, KeepsTheValueBesideOneThatIsMissing) {
    std::vector<float> d;
    ASSERT_EQ(stretch(d, 6, 1, {2, -FLT_MAX, 8}, 3, 1, kLinear), QM_OK);
    EXPECT_EQ(d, (std::vector<float>{2, 2, 2, 8, 8, 8}));
    ASSERT_EQ(stretch(d, 6, 1, {2, kNan, 8}, 3, 1, kLinear), QM_OK);
    EXPECT_EQ(d, (std::vector<float>{2, 2, 2, 8, 8, 8}));
    ASSERT_EQ(stretch(d, 6, 1, {2, -kInfinity, 8}, 3, 1, kLinear), QM_OK);
    EXPECT_EQ(d, (std::vector<float>{2, 2, 2, 8, 8, 8}));
    ASSERT_EQ(stretch(d, 6, 1, {2, 4, 8}, 3, 1, kLinear), QM_OK);
    EXPECT_EQ(d, (std::vector<float>{2, 2.5, 3.5, 5, 7, 8}));
}

TEST(StretchWithValidity, KeepsConstantPictures) {
    const std::vector<float> s(9 * 7, 64);
    std::vector<float> d;
    for (const Mode mode : {kQuick, kSpline, kLinear})
        for (const uint32_t to : {1u, 2u, 5u, 9u, 20u}) {
            ASSERT_EQ(stretch(d, to, to + 1, s, 9, 7, mode), QM_OK);
            for (const float v : d) EXPECT_EQ(v, 64);
        }
}

// Ten rows to one: the triangle reaches over five rows above the region, but the widths are equal,
// so that only two are read, and the second stands for those beyond it.
TEST(StretchWithValidity, RowsReadAroundTheRegionAreThoseThatTheWidthsAskFor) {
    const uint32_t width = 4, height = 30, top = 10;
    std::vector<float> s(width * height, 1);
    const auto shrink = [&] {
        float d[4] = {};
        EXPECT_EQ(Api::Stretch_WithValidity(d, 1, 16, width, 1, s.data() + top * width, 16, width,
                                            height, 0, top, width, 10, kLinear),
                  QM_OK);
        return d[0];
    };
    const auto with = [&](uint32_t row) {
        s[row * width] = 101;
        const float found = shrink();
        s[row * width] = 1;
        return found;
    };
    EXPECT_EQ(shrink(), 1.0f);
    EXPECT_EQ(with(top - 3), 1.0f);
    EXPECT_EQ(with(top + 12), 1.0f);
    EXPECT_GT(with(top - 1), 1.0f);
    // (10 - |d|) / 100 with d = j - 4.5: 0.035 at -2, 0.025 + 0.015 + 0.005 at -3 to -5.
    EXPECT_NEAR(with(top - 2), 1 + 100 * 0.08, 0.01);
    EXPECT_NEAR(with(top + 11), 1 + 100 * 0.08, 0.01);
}

TEST(StretchWithValidity, OfNothingDoesNothing) {
    const float s = 1;
    float d = 9;
    for (const Mode mode : {kQuick, kSpline, kLinear})
        for (uint32_t zero = 0; zero < 5; ++zero) {
            uint32_t a[5] = {1, 1, 1, 1, 1};
            a[zero] = 0;
            EXPECT_EQ(Api::Stretch_WithValidity(&d, a[4], 4, a[0], a[1], &s, 4, 1, 1, 0, 0, a[2],
                                                a[3], mode),
                      QM_OK);
        }
    EXPECT_EQ(stretch_float_quick_1(&d, 1, 4, 0, 1, &s, 4, 1, 1, 0, 0, 1, 1), QM_OK);
    EXPECT_EQ(stretch_float_generic_horz_1_validity(&d, 1, 4, 0, 1, &s, 4, 1, 0, 1, kLinear),
              QM_OK);
    EXPECT_EQ(stretch_float_generic_horz_1_validity(&d, 1, 4, 1, 1, &s, 4, 1, 0, 0, kLinear),
              QM_OK);
    EXPECT_EQ(stretch_float_generic_vert_1_validity(&d, 1, 4, 1, 0, &s, 4, 0, 1, 0, kLinear),
              QM_OK);
    EXPECT_EQ(stretch_float_generic_vert_1_validity(&d, 1, 4, 1, 1, &s, 4, 0, 0, 0, kLinear),
              QM_OK);
    EXPECT_EQ(d, 9.0f);
}

TEST(StretchWithValidity, ForksForTheFiltersOnly) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    const std::vector<float> s(100, 1);
    std::vector<float> d;
    for (const auto& [mode, regions] : {std::pair(kQuick, 0u), {kSpline, 2u}, {kLinear, 2u}}) {
        const WatchedRegions watched;
        ASSERT_EQ(stretch(d, 20, 20, s, 10, 10, mode), QM_OK);
        EXPECT_EQ(watched.forks(), regions);
    }
}

// ----- Quick -------------------------------------------------------------------------------------

// 5 to 2 takes the start of 2.5 pixels, 2 to 5 the middle of 0.4 of them.
TEST(StretchFloatQuick, ReductionsTakeTheStartAndEnlargementsTheMiddle) {
    const float five[5] = {0, 1, 2, 3, 4};
    float d[5] = {};
    ASSERT_EQ(stretch_float_quick_1(d, 1, 20, 2, 1, five, 20, 5, 1, 0, 0, 5, 1), QM_OK);
    EXPECT_EQ(d[0], 0);
    EXPECT_EQ(d[1], 2);
    ASSERT_EQ(stretch_float_quick_1(d, 1, 20, 5, 1, five, 20, 5, 1, 0, 0, 2, 1), QM_OK);
    EXPECT_EQ(std::vector<float>(d, d + 5), (std::vector<float>{0, 0, 1, 1, 1}));
}

// Column 11 of 22 would be 11 * 26 / 22 = 13, but 26 / 22 is a little less in single precision; and
// so is 6 / 19 for column 9 of 19, which would be 9.5 * 6 / 19 = 3.
TEST(StretchFloatQuick, ScalesInSinglePrecision) {
    float s[26], d[22] = {};
    for (uint32_t i = 0; i < 26; ++i) s[i] = static_cast<float>(i);
    ASSERT_EQ(stretch_float_quick_1(d, 1, 88, 22, 1, s, 104, 26, 1, 0, 0, 26, 1), QM_OK);
    EXPECT_EQ(d[11], 12);
    ASSERT_EQ(stretch_float_quick_1(d, 1, 88, 19, 1, s, 104, 26, 1, 0, 0, 6, 1), QM_OK);
    EXPECT_EQ(d[9], 2);
}

TEST(StretchFloatQuick, StaysWithinThePicture) {
    const float s[4] = {5, 6, 7, 8};
    float d[6] = {};
    // The region's third column would be behind the picture.
    ASSERT_EQ(stretch_float_quick_1(d, 1, 24, 6, 1, s + 2, 16, 4, 1, 2, 0, 3, 1), QM_OK);
    EXPECT_EQ(std::vector<float>(d, d + 6), (std::vector<float>{7, 7, 8, 8, 8, 8}));
}

TEST(StretchFloatQuick, OtherComponentsOfRepeatedRowsStay) {
    const float s[2] = {1, 2};
    float d[8] = {0, -1, 0, -2, 0, -3, 0, -4};
    ASSERT_EQ(stretch_float_quick_1(d, 2, 8, 1, 4, s, 8, 1, 1, 0, 0, 1, 1), QM_OK);
    EXPECT_EQ(std::vector<float>(d, d + 8), (std::vector<float>{1, -1, 1, -2, 1, -3, 1, -4}));
}

}  // namespace
}  // namespace qmpic::test
