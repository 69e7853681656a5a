#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "qmpic/LutParam.h"
#include "qmpic/PicBuf.h"
#include "qmpic/TypedLutParams.h"
#include "qmpic/status.h"
#include "support/cases.h"

// Parameters of one kind of picture from those that serve every kind.

namespace qmpic::test {
namespace {

using Api = SQmPicBufAPI_Base;
using Numbers = std::vector<unsigned>;
using TrueColor = CQmLutParamSpectralTrueColor;
using CustomColor = CQmLutParamSpectralCustomColor;
using Grouped = CQmLutParamSpectralGrouped;

unsigned count_of(const Numbers& numbers) { return static_cast<unsigned>(numbers.size()); }
unsigned sum_of(const Numbers& numbers) {
    unsigned sum = 0;
    for (const unsigned number : numbers) sum += number;
    return sum;
}

// ----- Random parameters -------------------------------------------------------------------------

double draw_level(Random& random) {
    return random(0, 3) == 0 ? random.one_of({0.0, 1.0}) : random(0, 65535) / 65535.0;
}

void draw_levels(SQmLutParam& param, Random& random) {
    param.bFloat = random(0, 4) == 0;
    param.SetMinSrcDbl(draw_level(random) * 0.5);
    param.SetMaxSrcDbl(draw_level(random));
    param.SetMinDstDbl(draw_level(random) * 0.5);
    param.SetMaxDstDbl(draw_level(random));
    param.SetGammaSrc(random.one_of({1.0, 0.45, 2.2}));
    param.uiGradient = random(0, 300);
    for (uint32_t c = 0; c < SQmLutParam::MaxComponents; ++c) {
        param.SetCompMinSrcDbl(c, draw_level(random) * 0.5);
        param.SetCompMaxSrcDbl(c, draw_level(random));
        param.SetCompMinDstDbl(c, draw_level(random) * 0.5);
        param.SetCompMaxDstDbl(c, draw_level(random));
        param.SetCompGammaSrc(c, random.one_of({1.0, 0.5, 1.7}));
    }
}

/// Groups of neighbours with values of their own in every mode.
void draw_groups(SQmLutParam& param, const Numbers& sizes, Random& random) {
    auto& data = param.sLutDataSpectral;
    const unsigned groups = count_of(sizes);
    data.uiSpectralCompCount = 0;
    for (unsigned g = 0; g < groups; ++g)
        for (unsigned i = 0; i < sizes[g]; ++i)
            param.sCompLutParam[data.uiSpectralCompCount++].uiGroup = g;
    data.Realloc(groups);
    data.uiGroupCount = groups;
    for (const unsigned mode : {0u, 1u, 2u, 3u}) {
        data.uiSpectralColorMode = mode;
        for (unsigned g = 0; g < groups; ++g) {
            data.SetGain(g, random(1, 1000) / 16.0);
            data.SetOffset(g, random(0, 1000) / 4.0);
            data.SetColor(g, random.any() & 0xFFFFFF);
        }
    }
    for (unsigned g = 0; g < groups; ++g) data.EnableGroup(g, random(0, 2) != 0);
    data.uiSpectralColorMode = random(0, 3);
}

Numbers draw_sizes(Random& random, unsigned least, unsigned most) {
    Numbers sizes;
    for (unsigned n = random(least, most); n > 0; --n) sizes.push_back(random(1, 4));
    return sizes;
}

// ----- Several channels and three colours --------------------------------------------------------

void check_channels(Round round) {
    Random& random = round.random;
    SQmLutParam old;
    draw_levels(old, random);
    const Numbers sizes = draw_sizes(random, 0, 5);
    const unsigned channels = count_of(sizes), comps = sum_of(sizes), bpc = random(8, 17);
    CQmLutParamMCH param;
    if (random(0, 1)) {
        ASSERT_EQ(param.Reinit(2, 3, Numbers{1, 2}.data(), 9), QM_OK);
    }
    param.SetGradient(7);
    ASSERT_EQ(
        Api::ConvertOldLutParamToLutParamMCH(&param, &old, channels, comps, sizes.data(), bpc),
        QM_OK);
    ASSERT_EQ(param.GetBpc(), bpc);
    ASSERT_EQ(param.GetChannelCount(), channels);
    ASSERT_EQ(param.GetComponentCount(), comps);
    if (comps >= 2) {
        ASSERT_EQ(param.GetGradient(), 7);
    } else {
        ASSERT_EQ(param.GetGradient(), static_cast<int>(old.uiGradient));
    }
    for (unsigned channel = 0, c = 0; channel < channels; c += sizes[channel++]) {
        ASSERT_EQ(param.puiComp[channel], sizes[channel]);
        ASSERT_EQ(param.GetMin(channel), comps < 2 ? old.GetMinSrc(bpc) : old.GetMinSrc(c, bpc));
        ASSERT_EQ(param.GetMax(channel), comps < 2 ? old.GetMaxSrc(bpc) : old.GetMaxSrc(c, bpc));
        ASSERT_EQ(param.GetGamma(channel), comps < 2 ? old.GetGammaSrc() : old.GetGammaSrc(c));
        round.digest.add(param.GetMax(channel));
    }
}

void check_colours(Round round) {
    SQmLutParam old;
    draw_levels(old, round.random);
    const unsigned bpc = round.random(8, 16);
    CQmLutParamRGB param;
    if (round.random(0, 1)) {
        ASSERT_EQ(param.Reinit(round.random(8, 16)), QM_OK);
    }
    ASSERT_EQ(Api::ConvertOldLutParamToLutParamRGB(&param, &old, bpc), QM_OK);
    ASSERT_EQ(param.GetBpc(), bpc);
    for (const unsigned c : {0u, 1u, 2u}) {
        ASSERT_EQ(param.GetMin(c), old.GetMinSrc(c, bpc));
        ASSERT_EQ(param.GetMax(c), old.GetMaxSrc(c, bpc));
        ASSERT_EQ(param.GetMaxDst(c), old.GetMaxDst(c, bpc));
        ASSERT_EQ(param.GetGamma(c), old.GetGammaSrc(c));
        round.digest.add(param.GetMax(c));
    }
}

// ----- Spectral ----------------------------------------------------------------------------------

struct Spectral {
    SQmLutParam old;
    Numbers groups, sizes;
    unsigned spectral_channels, spectral, comps, bpc;

    explicit Spectral(Random& random) {
        draw_levels(old, random);
        groups = draw_sizes(random, 1, 5);
        draw_groups(old, groups, random);
        sizes = draw_sizes(random, 1, 4);
        spectral_channels = count_of(sizes);
        spectral = sum_of(sizes);
        for (const unsigned size : draw_sizes(random, 0, 3)) sizes.push_back(size);
        comps = sum_of(sizes);
        bpc = random(8, 16);
    }
    unsigned channels() const { return count_of(sizes); }

    template <class Parameters, class Convert>
    void convert(Parameters& param, Convert conversion) {
        const SQmLutParam before(old);
        ASSERT_EQ(conversion(&param, &old, spectral, comps, channels(), sizes.data(), bpc), QM_OK);
        ASSERT_EQ(param.GetBpc(), bpc);
        ASSERT_EQ(param.GetSpectralChannelCount(), spectral_channels);
        ASSERT_EQ(param.GetSpectralComponentCount(), spectral);
        ASSERT_EQ(param.GetChannelCount(), channels());
        ASSERT_EQ(param.GetComponentCount(), comps);
        ASSERT_EQ(param.GetGamma(), old.dGammaSrc);
        ASSERT_TRUE(old.CompareWith(before));
    }
    template <class Parameters>
    void expect_others(const Parameters& param, unsigned index, Digest& digest) const {
        for (unsigned channel = spectral_channels, c = spectral; channel < channels();
             c += sizes[channel++], ++index) {
            const double white = old.GetMaxSrc(c, bpc), most = old.GetMaxDst(c, bpc);
            ASSERT_EQ(param.GetOffset(index), old.GetMinSrc(c, bpc));
            ASSERT_EQ(param.GetGain(index), white == 0 ? 100000.0 : most / white);
            digest.add(std::bit_cast<uint64_t>(param.GetGain(index)));
        }
    }
};

void check_true_color(Round round) {
    Spectral s(round.random);
    TrueColor param;
    s.convert(param, Api::ConvertOldLutParamToLutSpectralTrueColor);
    if (testing::Test::HasFatalFailure()) return;
    ASSERT_EQ(param.GetGain(0), s.old.sLutDataSpectral.GetGain(0));
    ASSERT_EQ(param.GetOffset(0), s.old.sLutDataSpectral.GetOffset(0));
    ASSERT_EQ(param.GetGradient(), static_cast<int>(s.old.uiGradient));
    s.expect_others(param, 1, round.digest);
}

void check_custom_color(Round round) {
    Spectral s(round.random);
    CustomColor param;
    s.convert(param, Api::ConvertOldLutParamToLutSpectralCustomColor);
    if (testing::Test::HasFatalFailure()) return;
    auto& data = s.old.sLutDataSpectral;
    const unsigned nodes = std::min(count_of(s.groups), s.spectral_channels);
    ASSERT_EQ(param.GetNodeCount(), nodes);
    for (unsigned node = 0; node < nodes; ++node) {
        ASSERT_EQ(param.GetGain(node), data.GetGain(node));
        ASSERT_EQ(param.GetOffset(node), data.GetOffset(0));
        ASSERT_EQ(param.GetColor(node), data.GetCustomColor(node));
    }
    s.expect_others(param, nodes, round.digest);
}

void check_grouped(Round round) {
    Spectral s(round.random);
    Grouped param;
    s.convert(param, Api::ConvertOldLutParamToLutSpectralGrouped);
    if (testing::Test::HasFatalFailure()) return;
    auto& data = s.old.sLutDataSpectral;
    const unsigned groups = std::min(count_of(s.groups), s.spectral_channels);
    ASSERT_EQ(param.GetGroupCount(), groups);
    for (unsigned g = 0; g < groups; ++g) {
        ASSERT_EQ(param.puiGroupSize[g], s.groups[g]);
        ASSERT_EQ(param.GetGain(g), data.GetGain(g));
        ASSERT_EQ(param.GetOffset(g), data.GetOffset(g));
        ASSERT_EQ(param.GetColor(g), data.GetGroupColor(g));
    }
    s.expect_others(param, groups, round.digest);
}

const bool registered = add_cases({
    {"SQmPicBufAPI_Base::ConvertOldLutParamToLutParamMCH", check_channels},
    {"SQmPicBufAPI_Base::ConvertOldLutParamToLutParamRGB", check_colours},
    {"SQmPicBufAPI_Base::ConvertOldLutParamToLutSpectralTrueColor", check_true_color},
    {"SQmPicBufAPI_Base::ConvertOldLutParamToLutSpectralCustomColor", check_custom_color},
    {"SQmPicBufAPI_Base::ConvertOldLutParamToLutSpectralGrouped", check_grouped},
});

// ----- Worked numbers ----------------------------------------------------------------------------

TEST(OldParameters, OfOneComponentAreThoseOfThePicture) {
    SQmLutParam old;
    old.uiGradient = 12;
    old.SetMinSrcDbl(0.2);
    old.SetMaxSrcDbl(0.8);
    old.SetGammaSrc(0.5);
    old.SetCompMinSrcDbl(0, 0.5);  // which does not count
    old.SetCompGammaSrc(0, 2.0);
    for (const unsigned comps : {0u, 1u}) {
        CQmLutParamMCH param;
        ASSERT_EQ(Api::ConvertOldLutParamToLutParamMCH(&param, &old, 1, comps, nullptr, 8), QM_OK);
        EXPECT_EQ(param.GetMin(0), 51u);
        EXPECT_EQ(param.GetMax(0), 204u);
        EXPECT_EQ(param.GetGamma(0), 0.5);
        EXPECT_EQ(param.GetGradient(), 12);
    }
}

TEST(OldParameters, OfChannelsAreThoseOfTheirFirstComponents) {
    SQmLutParam old;
    old.uiGradient = 12;
    old.SetGammaSrc(0.5);
    old.SetCompMaxSrcDbl(5, 0.2);  // past the components
    for (unsigned c = 0; c < 5; ++c) {
        old.SetCompMaxSrcDbl(c, 0.2 * (c + 1));
        old.SetCompGammaSrc(c, c + 1.0);
    }
    CQmLutParamMCH param;
    const unsigned sizes[] = {2, 0, 3, 0};
    ASSERT_EQ(Api::ConvertOldLutParamToLutParamMCH(&param, &old, 4, 5, sizes, 8), QM_OK);
    EXPECT_EQ(param.GetMax(0), 51u);
    EXPECT_EQ(param.GetMax(1), 153u);  // without components: the next one's
    EXPECT_EQ(param.GetMax(2), 153u);
    EXPECT_EQ(param.GetMax(3), 255u);  // there is no next one
    EXPECT_EQ(param.GetGamma(0), 0.5);
    EXPECT_EQ(param.GetGamma(2), 1.5);
    EXPECT_EQ(param.GetGradient(), 0);
}

TEST(OldParameters, OfThreeColoursBringTheirOutputs) {
    SQmLutParam old;
    old.SetCompMaxDstDbl(1, 0.4);
    old.SetCompMinSrcDbl(2, 0.2);
    CQmLutParamRGB param(12);  // levels that were rescaled do not show
    ASSERT_EQ(Api::ConvertOldLutParamToLutParamRGB(&param, &old, 8), QM_OK);
    EXPECT_EQ(param.GetMaxDst(0), 255u);
    EXPECT_EQ(param.GetMaxDst(1), 102u);
    EXPECT_EQ(param.GetMin(2), 51u);
    EXPECT_EQ(param.GetMax(2), 255u);
}

/// Of three spectral components in two groups, and of three components in two channels behind.
struct Example {
    SQmLutParam old;
    Numbers sizes{1, 1, 1, 2, 1};
    Example() {
        auto& data = old.sLutDataSpectral;
        data.uiSpectralCompCount = 3;
        old.sCompLutParam[2].uiGroup = 1;
        data.Realloc(2);
        data.uiGroupCount = 2;
        old.dGammaSrc = 0.7;
        old.SetCompMaxSrcDbl(3, 0.2);
        old.SetCompMaxSrcDbl(4, 0.6);
        old.SetCompMaxSrcDbl(5, 0.0);
        old.SetCompMinSrcDbl(5, 0.4);
    }
    template <class Parameters, class Convert>
    int convert(Parameters& param, Convert conversion) {
        return conversion(&param, &old, 3u, 6u, 5u, sizes.data(), 8u);
    }
};

TEST(OldParameters, OfChannelsBehindTheSpectrumStandBehindItsValues) {
    Example e;
    TrueColor param;
    CustomColor custom;
    Grouped grouped;
    ASSERT_EQ(e.convert(param, Api::ConvertOldLutParamToLutSpectralTrueColor), QM_OK);
    ASSERT_EQ(e.convert(custom, Api::ConvertOldLutParamToLutSpectralCustomColor), QM_OK);
    ASSERT_EQ(e.convert(grouped, Api::ConvertOldLutParamToLutSpectralGrouped), QM_OK);
    const auto expect = [](const auto& of, unsigned first) {
        EXPECT_EQ(of.GetGain(first), 5.0);
        EXPECT_EQ(of.GetOffset(first), 0.0);
        EXPECT_EQ(of.GetGain(first + 1), 100000.0);  // no white level
        EXPECT_EQ(of.GetOffset(first + 1), 102.0);
        EXPECT_EQ(of.GetGamma(), 0.7);
    };
    expect(param, 1);
    expect(custom, 2);
    expect(grouped, 2);
    EXPECT_EQ(grouped.puiGroupSize[0], 2u);
    EXPECT_EQ(grouped.puiGroupSize[1], 1u);
}

TEST(OldParameters, GiveNodesTheOffsetOfTheFirstOne) {
    Example e;
    auto& data = e.old.sLutDataSpectral;
    data.uiSpectralColorMode = 1;
    for (const unsigned node : {0u, 1u}) {
        data.SetGain(node, 2.0 + node);
        data.SetOffset(node, 20.0 + node);
        data.SetCustomColor(node, 0x10u << node);
    }
    data.EnableGroup(1, false);
    CustomColor param;
    ASSERT_EQ(e.convert(param, Api::ConvertOldLutParamToLutSpectralCustomColor), QM_OK);
    EXPECT_EQ(param.GetGain(0), 2.0);
    EXPECT_EQ(param.GetGain(1), 3.0);
    EXPECT_EQ(param.GetOffset(0), 20.0);
    EXPECT_EQ(param.GetOffset(1), 20.0);
    EXPECT_EQ(param.GetColor(1), 0x20u);  // without the mark of a node that is off
}

TEST(OldParameters, OfNewRecordsHaveThreeGroupsAndStayAsTheyAre) {
    SQmLutParam old;
    old.sLutDataSpectral.uiSpectralCompCount = 4;
    const Numbers sizes(4, 1);
    Grouped param;
    ASSERT_EQ(Api::ConvertOldLutParamToLutSpectralGrouped(&param, &old, 4, 4, 4, sizes.data(), 8),
              QM_OK);
    ASSERT_EQ(param.GetGroupCount(), 3u);
    EXPECT_EQ(param.puiGroupSize[0], 2u);
    EXPECT_EQ(param.puiGroupSize[1], 1u);
    EXPECT_EQ(param.puiGroupSize[2], 1u);
    EXPECT_EQ(param.GetColor(0), 0xFF0000u);
    EXPECT_EQ(param.GetColor(2), 0x0000FFu);
    EXPECT_EQ(old.sLutDataSpectral.uiAllocated, 0u);
    EXPECT_EQ(old.sCompLutParam[3].uiGroup, 0u);
}

TEST(OldParameters, NeedSizesForWhatIsBehindTheSpectrum) {
    Example e;
    TrueColor param;
    CustomColor custom;
    Grouped grouped;
    for (const unsigned comps : {3u, 4u}) {
        const int code = comps == 3 ? QM_OK : QM_BAD_BUFFER;
        EXPECT_EQ(
            Api::ConvertOldLutParamToLutSpectralTrueColor(&param, &e.old, 3, comps, 5, nullptr, 8),
            code);
        EXPECT_EQ(Api::ConvertOldLutParamToLutSpectralCustomColor(&custom, &e.old, 3, comps, 5,
                                                                  nullptr, 8),
                  code);
        EXPECT_EQ(
            Api::ConvertOldLutParamToLutSpectralGrouped(&grouped, &e.old, 3, comps, 5, nullptr, 8),
            code);
        // Without sizes each spectral component is a channel.
        EXPECT_EQ(param.GetSpectralChannelCount(), 3u);
        EXPECT_EQ(custom.GetSpectralChannelCount(), 3u);
        EXPECT_EQ(grouped.GetSpectralChannelCount(), 3u);
        EXPECT_EQ(param.GetComponentCount(), 3u);
    }
    CQmLutParamMCH channels;
    EXPECT_EQ(Api::ConvertOldLutParamToLutParamMCH(&channels, &e.old, 1, 2, nullptr, 8),
              QM_BAD_BUFFER);
    EXPECT_EQ(channels.GetChannelCount(), 0u);
}

TEST(OldParameters, CountTheChannelsThatHoldTheSpectrum) {
    Example e;
    TrueColor param;
    const auto channels = [&](unsigned spectral) {
        EXPECT_EQ(Api::ConvertOldLutParamToLutSpectralTrueColor(&param, &e.old, spectral, 6, 5,
                                                                e.sizes.data(), 8),
                  QM_OK);
        return param.GetSpectralChannelCount();
    };
    EXPECT_EQ(channels(0), 0u);
    EXPECT_EQ(channels(2), 2u);
    EXPECT_EQ(channels(3), 3u);
    EXPECT_EQ(channels(4), 4u);  // not without the rest of the channel
    EXPECT_EQ(channels(5), 4u);
    EXPECT_EQ(channels(6), 5u);
    EXPECT_EQ(channels(7), 5u);  // there are no more
}

// ----- Refusals ----------------------------------------------------------------------------------

TEST(OldParameters, AreRefusedWhereSomethingIsMissingOrDoesNotFit) {
    SQmLutParam old;
    const Numbers one{1}, many{193};
    CQmLutParamMCH channels;
    CQmLutParamRGB colours;
    TrueColor param;
    CustomColor custom;
    Grouped grouped;
    EXPECT_EQ(Api::ConvertOldLutParamToLutParamMCH(nullptr, &old, 1, 1, one.data(), 8),
              QM_BAD_BUFFER);
    EXPECT_EQ(Api::ConvertOldLutParamToLutParamMCH(&channels, nullptr, 1, 1, one.data(), 8),
              QM_BAD_BUFFER);
    EXPECT_EQ(Api::ConvertOldLutParamToLutParamMCH(&channels, &old, 1, 1, one.data(), 7),
              QM_BAD_BUFFER);
    EXPECT_EQ(Api::ConvertOldLutParamToLutParamMCH(&channels, &old, 1, 2, one.data(), 8),
              QM_BAD_BUFFER);
    EXPECT_EQ(Api::ConvertOldLutParamToLutParamMCH(&channels, &old, 1, 193, many.data(), 8),
              QM_TOO_MANY);
    EXPECT_EQ(Api::ConvertOldLutParamToLutParamRGB(nullptr, &old, 8), QM_BAD_BUFFER);
    EXPECT_EQ(Api::ConvertOldLutParamToLutParamRGB(&colours, nullptr, 8), QM_BAD_BUFFER);
    EXPECT_EQ(Api::ConvertOldLutParamToLutParamRGB(&colours, &old, 7), QM_BAD_BUFFER);
    const auto refuses = [&](auto& dst, auto conversion) {
        using Parameters = std::remove_reference_t<decltype(dst)>;
        EXPECT_EQ(conversion(static_cast<Parameters*>(nullptr), &old, 1, 1, 1, one.data(), 8),
                  QM_BAD_BUFFER);
        EXPECT_EQ(conversion(&dst, nullptr, 1, 1, 1, one.data(), 8), QM_BAD_BUFFER);
        EXPECT_EQ(conversion(&dst, &old, 1, 1, 1, one.data(), 7), QM_BAD_BUFFER);
        EXPECT_EQ(conversion(&dst, &old, 1, 2, 1, one.data(), 8), QM_BAD_BUFFER);
        EXPECT_EQ(conversion(&dst, &old, 1, 193, 1, many.data(), 8), QM_TOO_MANY);
        EXPECT_EQ(dst.GetChannelCount(), 0u);
        EXPECT_TRUE(dst.IsUnit());
    };
    refuses(param, Api::ConvertOldLutParamToLutSpectralTrueColor);
    refuses(custom, Api::ConvertOldLutParamToLutSpectralCustomColor);
    refuses(grouped, Api::ConvertOldLutParamToLutSpectralGrouped);
    EXPECT_EQ(channels.GetChannelCount(), 0u);
    EXPECT_EQ(colours.GetBpc(), 0u);
}

TEST(OldParameters, TakeUpTo192Components) {
    SQmLutParam old;
    old.SetCompMaxSrcDbl(191, 0.2);
    const Numbers sizes(192, 1);
    TrueColor param;
    ASSERT_EQ(
        Api::ConvertOldLutParamToLutSpectralTrueColor(&param, &old, 1, 192, 192, sizes.data(), 8),
        QM_OK);
    EXPECT_EQ(param.GetGain(191), 5.0);
    CQmLutParamMCH channels;
    ASSERT_EQ(Api::ConvertOldLutParamToLutParamMCH(&channels, &old, 192, 192, sizes.data(), 8),
              QM_OK);
    EXPECT_EQ(channels.GetMax(191), 51u);
}

}  // namespace
}  // namespace qmpic::test
