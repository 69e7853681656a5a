#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <vector>

#include "contrast/spectral_reference.h"
#include "qmpic/FloatPicBuf.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/LutParam.h"
#include "qmpic/status.h"
#include "render/spectral_reference.h"
#include "support/cases.h"
#include "support/float_picture.h"
#include "support/parameters.h"

// Automatic contrast of spectral pictures into the parameters that serve every kind of picture.

namespace qmpic::test {
namespace {

using Api = SQmPicBufAPI_Base;
using Ranges = std::vector<CQmRangeBase<float>>;

enum Mode : uint32_t { kTrueColor, kCustom, kGrouped, kGreyScale };

/// Groups of neighbours, or as many nodes.
struct Parameters : SQmLutParam {
    Parameters(Mode mode, const Numbers& sizes) {
        auto& data = sLutDataSpectral;
        const auto groups = static_cast<uint32_t>(sizes.size());
        data.uiSpectralColorMode = mode;
        for (uint32_t g = 0; g < groups; ++g)
            for (uint32_t i = 0; i < sizes[g]; ++i)
                sCompLutParam[data.uiSpectralCompCount++].uiGroup = g;
        data.Realloc(groups);
        data.uiGroupCount = groups;
    }
    double gain(uint32_t i) { return sLutDataSpectral.GetGain(i); }
    double offset(uint32_t i) { return sLutDataSpectral.GetOffset(i); }
};

/// How a picture is measured.
struct Measure {
    virtual ~Measure() = default;
    virtual Limits mean(const Numbers& colors, const Numbers& components) const = 0;
    virtual Limits sum(const SQmLut& set) const = 0;
};

struct IntegerMeasure : Measure {
    const SpectralPicture& picture;
    Wanted wanted;
    IntegerMeasure(const SpectralPicture& p, const Wanted& w) : picture(p), wanted(w) {}
    Limits mean(const Numbers& colors, const Numbers& components) const override {
        return limits_of_mean(picture, colors, components, wanted);
    }
    Limits sum(const SQmLut& set) const override {
        return limits_of_set(picture.record, set, wanted);
    }
};

/// By the entries of its own, which are tested by themselves.
struct FloatMeasure : Measure {
    const SQmFloatPicBuf& picture;
    const Ranges& ranges;
    double low_percent, high_percent;
    FloatMeasure(const SQmFloatPicBuf& p, const Ranges& r, const Wanted& w)
        : picture(p),
          ranges(r),
          low_percent(w.low ? w.low_percent : -1),
          high_percent(w.high ? w.high_percent : -1) {}
    Limits mean(const Numbers& colors, const Numbers& components) const override {
        double low[3], high[3];
        Numbers mask(picture.uiComponents, 0);
        for (const uint32_t c : components) mask[c] = 0xFFFFFFFF;
        const double count = std::max<double>(static_cast<double>(components.size()), 1.0);
        EXPECT_EQ(CQmFloatPicMemAPI_Base::SpetralGetLoHiRGB(
                      low, high, picture.pfData, picture.uiWidthBytes, ranges, picture.uiComponents,
                      picture.uiWidth, picture.uiWidth * picture.uiHeight, colors.data(),
                      mask.data(), 1.0 / count, low_percent, high_percent),
                  QM_OK);
        return greatest_of(low, high);
    }
    Limits sum(const SQmLut& set) const override {
        double low[3], high[3];
        EXPECT_EQ(CQmFloatPicMemAPI_Base::SpetralGetLoHiRGBEx(
                      low, high, picture.pfData, picture.uiWidthBytes, ranges, picture.uiComponents,
                      picture.uiWidth, picture.uiWidth * picture.uiHeight, &set, low_percent,
                      high_percent),
                  QM_OK);
        return greatest_of(low, high);
    }
};

/// What all groups that the mask touches get.
void expect_groups(Parameters& expected, const Measure& measure, const Numbers& sizes,
                   const CQmRangeMask& mask, const Numbers& colors) {
    auto& data = expected.sLutDataSpectral;
    const uint32_t components = static_cast<uint32_t>(colors.size());
    const uint32_t spectral = std::min(data.uiSpectralCompCount, components);
    Numbers touched, shown, together;
    for (uint32_t g = 0, first = 0; g < sizes.size(); first += sizes[g++]) {
        bool is_touched = false;
        for (uint32_t c = first; c < std::min(first + sizes[g], spectral); ++c)
            is_touched = is_touched || mask.Get(c);
        if (!is_touched) continue;
        const Numbers own = run_of(first, std::min(sizes[g], spectral - first));
        const Limits found = measure.mean(colors, own);
        data.SetGain(g, static_cast<double>(sizes.size()) * found.gain());
        data.SetOffset(g, found.low);
        touched.push_back(g);
        shown.push_back(colors[own.back()]);
        together.insert(together.end(), own.begin(), own.end());
    }
    if (!overlap(shown)) return;
    ChosenState set(components, together);
    for (uint32_t c = 0; c < spectral; ++c) {
        const uint32_t g = expected.sCompLutParam[c].uiGroup;
        set.put(c, {data.GetOffset(g), data.GetGain(g) * (spectral < components ? 0.5 : 1.0)},
                colors[c]);
    }
    const Limits sum = measure.sum(set);
    for (const uint32_t g : touched) {
        data.SetGain(g, data.GetGain(g) * sum.gain());
        data.SetOffset(g, sum.low);
    }
}

void expect_spectral(Parameters& expected, const Measure& measure, const Numbers& sizes,
                     const CQmRangeMask& mask, int group, const Numbers& colors) {
    auto& data = expected.sLutDataSpectral;
    if (data.GetMode() == kGrouped && group == -1)
        return expect_groups(expected, measure, sizes, mask, colors);
    Numbers components;
    for (uint32_t c = 0; c < colors.size(); ++c)
        if (mask.Get(c)) components.push_back(c);
    const Limits found = measure.mean(colors, components);
    const auto groups = static_cast<uint32_t>(sizes.size());
    for (uint32_t i = 0; i < groups; ++i) {
        const bool meant = data.GetMode() == kGrouped ? i == static_cast<uint32_t>(group)
                                                      : data.GetMode() == kCustom || i == 0;
        if (!meant) continue;
        data.SetGain(i, found.gain());
        data.SetOffset(i, found.low);
    }
}

struct Drawn {
    Mode mode;
    Numbers sizes, colors;
    uint32_t spectral = 0, components;
    CQmRangeMask mask;
    int group;
    Wanted wanted;

    explicit Drawn(Random& random) {
        mode = static_cast<Mode>(random(0, 5));
        if (mode > kGreyScale) mode = kGrouped;
        for (uint32_t g = random(1, 4); g > 0; --g) sizes.push_back(random(1, 4));
        for (const uint32_t size : sizes) spectral += size;
        components = random(0, 9) == 0 ? random(1, spectral) : spectral + random(0, 2);
        mask.SetSize(random(0, 3) == 0 ? random(1, components + 3) : components);
        const uint32_t kind = random(0, 2);
        for (uint32_t c = 0; c < mask.GetSize(); ++c) mask.Set(c, kind == 0 || random(0, 1) == 0);
        group = mode == kGrouped && random(0, 1) == 0
                    ? -1
                    : static_cast<int>(random(0, static_cast<uint32_t>(sizes.size()) - 1));
        const bool apart = random(0, 1) == 0;
        for (uint32_t g = 0; g < sizes.size(); ++g)
            for (uint32_t i = 0; i < sizes[g]; ++i)
                colors.push_back(apart ? (g < 3 ? 0xA0u << 8 * g : 0) : draw_color(random));
        colors.resize(components, 0x102030);
        wanted = draw_wanted(random);
    }
};

void expect_equal(SQmLutParam& found, SQmLutParam& expected, uint32_t groups, Digest& digest) {
    auto &data = found.sLutDataSpectral, &other = expected.sLutDataSpectral;
    for (const uint32_t mode : {0u, 1u, 2u, 3u}) {
        data.uiSpectralColorMode = other.uiSpectralColorMode = mode;
        for (uint32_t i = 0; i < groups; ++i) {
            ASSERT_EQ(data.GetGain(i), other.GetGain(i)) << mode << ' ' << i;
            ASSERT_EQ(data.GetOffset(i), other.GetOffset(i)) << mode << ' ' << i;
            digest.add(std::bit_cast<uint64_t>(data.GetGain(i)));
        }
    }
    ASSERT_TRUE(found.CompareWith(expected));
}

/// Further components get their levels from the histogram.
int expect_others(SQmLutParam& expected, const SQmHisto* histo, const Drawn& drawn,
                  const Ranges& ranges) {
    if (drawn.mode != kGrouped || drawn.group != -1 || drawn.spectral >= drawn.components ||
        histo == nullptr)
        return QM_OK;
    const int code = Api::AutoOneCompContrast(
        &expected, drawn.spectral, drawn.components, histo, drawn.wanted.low, drawn.wanted.high,
        false, drawn.wanted.low_percent, drawn.wanted.high_percent, ranges);
    const double black = expected.GetCompMinSrcDbl(drawn.spectral);
    if (black / expected.GetCompMaxSrcDbl(drawn.spectral) > 0.875)
        expected.SetCompMinSrcDbl(drawn.spectral, black * 7.0 * 0.125);
    return code;
}

void check_integers(Round round) {
    Random& random = round.random;
    const Drawn drawn(random);
    const uint32_t bpc = random(0, 1) ? 8 : random(9, 12);
    const SpectralPicture picture(drawn.components, bpc, random.size(drawn.components), random);
    const Counts counts = counts_of(picture);
    const SQmHisto* const histo = random(0, 1) ? &counts : nullptr;
    Parameters param(drawn.mode, drawn.sizes), expected(drawn.mode, drawn.sizes);
    expect_spectral(expected, IntegerMeasure(picture, drawn.wanted), drawn.sizes, drawn.mask,
                    drawn.group, drawn.colors);
    const int code = expect_others(expected, histo, drawn, {});

    ASSERT_EQ(Api::GetLutParamSpectAutocontrast(&param, &picture.record, drawn.mask, drawn.group,
                                                drawn.colors.data(), histo, drawn.wanted.low,
                                                drawn.wanted.high, drawn.wanted.low_percent,
                                                drawn.wanted.high_percent),
              code);

    expect_equal(param, expected, static_cast<uint32_t>(drawn.sizes.size()), round.digest);
}

void check_floats(Round round) {
    Random& random = round.random;
    const Drawn drawn(random);
    Size size = random.size(drawn.components);
    FloatPicture pixels(drawn.components, size, random);
    Ranges ranges(drawn.components);
    const float scale = random.one_of({1.0f, 0.25f, 1000.0f});
    for (uint32_t c = 0; c < drawn.components; ++c) {
        ranges[c].tLower = random(0, 3) == 0 ? -scale : 0;
        ranges[c].tUpper = scale * static_cast<float>(random(1, 8));
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t x = 0; x < size.width; ++x)
                pixels.set(x * drawn.components + c, y,
                           ranges[c].tUpper * static_cast<float>(random(0, 1000)) / 1000.0f);
    }
    SQmFloatPicBuf picture{};
    picture.uiWidth = size.width;
    picture.uiHeight = size.height;
    picture.uiWidthBytes = pixels.stride();
    picture.uiBpc = 32;
    picture.uiComponents = drawn.components;
    picture.pfData = pixels.data();
    const DrawnCounts counts(random, drawn.components, 8, 4);
    const SQmHisto* const histo = random(0, 1) ? &counts : nullptr;
    Parameters param(drawn.mode, drawn.sizes), expected(drawn.mode, drawn.sizes);
    param.bFloat = expected.bFloat = random(0, 3) != 0;
    expect_spectral(expected, FloatMeasure(picture, ranges, drawn.wanted), drawn.sizes, drawn.mask,
                    drawn.group, drawn.colors);
    const int code = expect_others(expected, histo, drawn, ranges);

    ASSERT_EQ(Api::GetLutParamSpectAutocontrast(&param, &picture, drawn.mask, drawn.group,
                                                drawn.colors.data(), histo, drawn.wanted.low,
                                                drawn.wanted.high, drawn.wanted.low_percent,
                                                drawn.wanted.high_percent, ranges),
              code);

    expect_equal(param, expected, static_cast<uint32_t>(drawn.sizes.size()), round.digest);
}

const bool registered =
    add_cases({{"SQmPicBufAPI_Base::GetLutParamSpectAutocontrast", check_integers, 80},
               {"SQmPicBufAPI_Base::GetLutParamSpectAutocontrast of floats", check_floats, 80}});

// ----- Worked numbers ----------------------------------------------------------------------------

/// Two groups of two and of one component, and one component that is not of the spectrum.
struct Example {
    Random random{1};
    SpectralPicture picture{4, 8, {40, 80, 51, 3, 4, 8, 5, 2}, random};
    Numbers colors{0x0000FF, 0x0000FF, 0x00FF00, 0xFFFFFF};
    Parameters param;
    explicit Example(Mode mode) : param(mode, {2, 1}) {}

    int call(const CQmRangeMask& mask, int group, const SQmHisto* histo = nullptr,
             bool cut = false) {
        return Api::GetLutParamSpectAutocontrast(&param, &picture.record, mask, group,
                                                 colors.data(), histo, cut, cut, 0, 0);
    }
};

TEST(OldSpectralContrast, IsOneValueInTrueColourAndInGreyScale) {
    for (const Mode mode : {kTrueColor, kGreyScale})
        for (const int group : {-1, 1}) {
            Example e(mode);
            ASSERT_EQ(e.call(mask_of(4, {0, 1}), group), QM_OK);
            EXPECT_NEAR(e.param.gain(0), 255.0 / 60, 1e-5);
            ASSERT_EQ(e.call(mask_of(4, {1}), group), QM_OK);
            EXPECT_NEAR(e.param.gain(0), 255.0 / 80, 1e-5);
            EXPECT_EQ(e.param.offset(0), 0.0);
            e.param.sLutDataSpectral.uiSpectralColorMode = kGrouped;
            EXPECT_TRUE(e.param.sLutDataSpectral.IsReset());
        }
}

TEST(OldSpectralContrast, CountsNoComponentsThatThePictureHasNot) {
    Example e(kTrueColor);
    e.colors = {0x0000FF, 0x0000FF, 0x0000FF, 0x0000FF};
    ASSERT_EQ(e.call(CQmRangeMask(192, 0, 191, 1), -1), QM_OK);
    EXPECT_NEAR(e.param.gain(0), 255 / (174.0 / 4), 1e-5);
    ASSERT_EQ(e.call(CQmRangeMask(3, 1, 2, 1), -1), QM_OK);  // a short mask selects no others
    EXPECT_NEAR(e.param.gain(0), 255 / (131.0 / 2), 1e-5);
    ASSERT_EQ(e.call(CQmRangeMask(), -1), QM_OK);
    EXPECT_EQ(e.param.gain(0), 50.0);
}

TEST(OldSpectralContrast, IsTheSameForAllNodesOfCustomColours) {
    Example e(kCustom);
    ASSERT_EQ(e.call(mask_of(4, {2}), 1), QM_OK);
    EXPECT_NEAR(e.param.gain(0), 5, 1e-5);
    EXPECT_NEAR(e.param.gain(1), 5, 1e-5);
}

TEST(OldSpectralContrast, IsWrittenToTheGroupThatIsNamed) {
    Example e(kGrouped);
    ASSERT_EQ(e.call(mask_of(4, {2}), 1), QM_OK);
    EXPECT_EQ(e.param.gain(0), 1.0);
    EXPECT_NEAR(e.param.gain(1), 5, 1e-5);  // not once for each group
    ASSERT_EQ(e.call(mask_of(4, {0, 1}), 0), QM_OK);
    EXPECT_NEAR(e.param.gain(0), 255.0 / 60, 1e-5);
    ASSERT_EQ(e.call(mask_of(4, {0, 1}), 7), QM_OK);  // nowhere
}

TEST(OldSpectralContrast, TakesWholeGroupsThatTheMaskTouches) {
    Example e(kGrouped);
    ASSERT_EQ(e.call(mask_of(4, {1}), -1), QM_OK);
    EXPECT_NEAR(e.param.gain(0), 2 * 255.0 / 60, 1e-5);
    EXPECT_EQ(e.param.gain(1), 1.0);
    ASSERT_EQ(e.call(mask_of(4, {1, 2}), -1), QM_OK);
    EXPECT_NEAR(e.param.gain(0), 2 * 255.0 / 60, 1e-5);
    EXPECT_NEAR(e.param.gain(1), 2 * 5.0, 1e-5);
    // Nothing is taken by a component behind the spectral ones.
    Example other(kGrouped);
    ASSERT_EQ(other.call(mask_of(4, {3}), -1), QM_OK);
    EXPECT_TRUE(other.param.sLutDataSpectral.IsReset());
}

TEST(OldSpectralContrast, BringsOverlappingGroupsToWhatTheirSumNeeds) {
    Example e(kGrouped);
    e.colors = {0x0000FF, 0x0000FF, 0x0000FF, 0xFFFFFF};
    ASSERT_EQ(e.call(mask_of(4, {1, 2}), -1), QM_OK);
    // Gains are halved for the component behind: 120 * 4.25 + 51 * 5 = 765.
    EXPECT_NEAR(e.param.gain(0), 8.5 * 255 / 765, 1e-5);
    EXPECT_NEAR(e.param.gain(1), 10.0 * 255 / 765, 1e-5);
}

TEST(OldSpectralContrast, LeavesOutOfTheSumWhatTheMaskDoesNotTouch) {
    Example e(kGrouped);
    Parameters param(kGrouped, {1, 1, 1});
    const Numbers colors(4, 0x0000FF);
    ASSERT_EQ(Api::GetLutParamSpectAutocontrast(&param, &e.picture.record, mask_of(4, {0, 2}), -1,
                                                colors.data(), nullptr, false, false, 0, 0),
              QM_OK);
    // 19.125 and 15 are halved for the component behind: 40 * 9.5625 + 51 * 7.5 = 765.
    EXPECT_NEAR(param.gain(0), 19.125 * 255 / 765, 1e-5);
    EXPECT_EQ(param.gain(1), 1.0);
    EXPECT_NEAR(param.gain(2), 15.0 * 255 / 765, 1e-5);
}

TEST(OldSpectralContrast, TakesTheColourOfAGroupFromItsLastComponent) {
    Example e(kGrouped);
    e.colors = {0x00FF00, 0x0000FF, 0x00FF00, 0};  // only the first one overlaps
    ASSERT_EQ(e.call(mask_of(4, {1, 2}), -1), QM_OK);
    EXPECT_NEAR(e.param.gain(0), 2 * 255.0 / 40, 1e-5);
    EXPECT_NEAR(e.param.gain(1), 2 * 5.0, 1e-5);
}

TEST(OldSpectralContrast, GivesFurtherComponentsLevelsOfTheirHistogram) {
    Example e(kGrouped);
    const Counts near({{}, {}, {}, {{229, 10}, {255, 10}}}), far({{}, {}, {}, {{51, 1}, {102, 1}}});
    ASSERT_EQ(e.call(mask_of(4, {0}), -1, &far, true), QM_OK);
    EXPECT_NEAR(e.param.GetCompMinSrcDbl(3), 0.2, 2e-5);
    EXPECT_NEAR(e.param.GetCompMaxSrcDbl(3), 0.4, 2e-5);
    EXPECT_EQ(e.param.GetCompMaxSrcDbl(2), 1.0);
    ASSERT_EQ(e.call(mask_of(4, {0}), -1, &near, true), QM_OK);
    EXPECT_NEAR(e.param.GetCompMinSrcDbl(3), 229 / 255.0 * 0.875, 4e-5);
    EXPECT_EQ(e.param.GetCompMaxSrcDbl(3), 1.0);
    // Neither level is asked for, which is a search that fails.
    EXPECT_EQ(e.call(mask_of(4, {0}), -1, &near, false), QM_BAD_BUFFER);
    // In other modes, and for one group, histograms are left alone.
    for (const Mode mode : {kTrueColor, kCustom, kGrouped, kGreyScale}) {
        Example other(mode);
        ASSERT_EQ(other.call(mask_of(4, {0}), 0, &far, true), QM_OK);
        EXPECT_TRUE(other.param.IsUnit());
    }
}

TEST(OldSpectralContrast, MovesABlackLevelOfNineTenthsToSevenEighthsOfIt) {
    Example e(kGrouped);
    const Counts counts({{}, {}, {}, {{58982, 5}, {65535, 5}}}, 16);
    ASSERT_EQ(e.call(mask_of(4, {0}), -1, &counts, true), QM_OK);
    EXPECT_NEAR(e.param.GetCompMinSrcDbl(3), 0.7875, 3e-5);
    EXPECT_EQ(e.param.GetCompMaxSrcDbl(3), 1.0);
    // Of several components behind the spectral ones the first alone is looked at.
    Example two(kGrouped);
    two.param.sLutDataSpectral.uiSpectralCompCount = 2;
    two.param.sLutDataSpectral.Realloc(1);
    two.param.sLutDataSpectral.uiGroupCount = 1;
    const Counts both({{}, {}, {{58982, 5}, {65535, 5}}, {}}, 16);
    ASSERT_EQ(two.call(mask_of(4, {0}), -1, &both, true), QM_OK);
    EXPECT_NEAR(two.param.GetCompMinSrcDbl(2), 0.7875, 3e-5);
    EXPECT_NEAR(two.param.GetCompMinSrcDbl(3), 0.9, 3e-5);
}

TEST(OldSpectralContrast, MakesGroupsThatAreMissing) {
    Example e(kGrouped);
    SQmLutParam fresh;
    fresh.sLutDataSpectral.uiSpectralCompCount = 3;
    fresh.sLutDataSpectral.uiSpectralColorMode = kGrouped;
    ASSERT_EQ(Api::GetLutParamSpectAutocontrast(&fresh, &e.picture.record, mask_of(4, {0, 2}), -1,
                                                e.colors.data(), nullptr, false, false, 0, 0),
              QM_OK);
    EXPECT_NEAR(fresh.sLutDataSpectral.GetGain(0), 3 * 255.0 / 40, 1e-5);
    EXPECT_EQ(fresh.sLutDataSpectral.GetGain(1), 1.0);
    EXPECT_NEAR(fresh.sLutDataSpectral.GetGain(2), 3 * 5.0, 1e-5);
}

// ----- Refusals ----------------------------------------------------------------------------------

TEST(OldSpectralContrast, RefusesWhatIsMissing) {
    Example e(kGrouped);
    const CQmRangeMask mask = mask_of(4, {0, 1});
    const auto call = [&](SQmLutParam* param, const SQmPicBuf* pic, const unsigned* colors) {
        return Api::GetLutParamSpectAutocontrast(param, pic, mask, -1, colors, nullptr, true, true,
                                                 1, 1);
    };
    EXPECT_EQ(call(nullptr, &e.picture.record, e.colors.data()), QM_BAD_BUFFER);
    EXPECT_EQ(call(&e.param, nullptr, e.colors.data()), QM_BAD_BUFFER);
    EXPECT_EQ(call(&e.param, &e.picture.record, nullptr), QM_BAD_BUFFER);
    SQmPicBuf other = e.picture.record;
    other.pData = nullptr;
    EXPECT_EQ(call(&e.param, &other, e.colors.data()), QM_BAD_BUFFER);
    other = e.picture.record;
    other.uiComponents = 193;
    EXPECT_EQ(call(&e.param, &other, e.colors.data()), QM_TOO_MANY);
    {
        const NoSse2 without;
        EXPECT_EQ(call(&e.param, &e.picture.record, e.colors.data()), QM_BAD_BUFFER);
    }
    SQmLutParam without_arrays;  // nor components that groups could be made of
    without_arrays.sLutDataSpectral.uiSpectralColorMode = kGrouped;
    EXPECT_EQ(call(&without_arrays, &e.picture.record, e.colors.data()), QM_BAD_BUFFER);
    EXPECT_TRUE(e.param.sLutDataSpectral.IsReset());

    SQmFloatPicBuf floats{};
    floats.uiWidth = floats.uiHeight = 1;
    floats.uiComponents = 4;
    const Ranges ranges(4, {0.0f, 1.0f});
    const auto call_of_floats = [&](SQmLutParam* param, const SQmFloatPicBuf* pic,
                                    const unsigned* colors) {
        return Api::GetLutParamSpectAutocontrast(param, pic, mask, -1, colors, nullptr, true, true,
                                                 1, 1, ranges);
    };
    EXPECT_EQ(call_of_floats(nullptr, &floats, e.colors.data()), QM_BAD_BUFFER);
    EXPECT_EQ(call_of_floats(&e.param, nullptr, e.colors.data()), QM_BAD_BUFFER);
    EXPECT_EQ(call_of_floats(&e.param, &floats, nullptr), QM_BAD_BUFFER);
    EXPECT_EQ(call_of_floats(&e.param, &floats, e.colors.data()), QM_BAD_BUFFER);  // no pixels
}

}  // namespace
}  // namespace qmpic::test
