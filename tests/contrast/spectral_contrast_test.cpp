#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <ostream>
#include <vector>

#include "contrast/spectral_reference.h"
#include "qmpic/TypedLutParams.h"
#include "qmpic/status.h"
#include "support/cases.h"

// Automatic contrast of spectral pictures into parameters of their own.

namespace qmpic::test {
namespace {

using Api = SQmPicBufAPI_Base;
using TrueColor = CQmLutParamSpectralTrueColor;
using CustomColor = CQmLutParamSpectralCustomColor;
using Grouped = CQmLutParamSpectralGrouped;

uint32_t sum_of(const Numbers& numbers) {
    uint32_t sum = 0;
    for (const uint32_t number : numbers) sum += number;
    return sum;
}
uint32_t count_of(const Numbers& numbers) { return static_cast<uint32_t>(numbers.size()); }

/// Channels, the first of which are the spectral ones.
struct Channels {
    Numbers sizes;
    uint32_t spectral_channels;

    uint32_t count() const { return count_of(sizes); }
    uint32_t components() const { return sum_of(sizes); }
    uint32_t spectral() const { return sum_of({sizes.begin(), sizes.begin() + spectral_channels}); }
};

Channels draw_channels(Random& random) {
    Channels channels;
    channels.spectral_channels = random(0, 4);
    const uint32_t others = random(channels.spectral_channels == 0 ? 1 : 0, 3);
    for (uint32_t i = channels.spectral_channels + others; i > 0; --i)
        channels.sizes.push_back(random(1, random(0, 1) ? 1 : 4));
    return channels;
}
uint32_t draw_depth(Random& random) {
    return random(0, 1) ? 8 : random(0, 9) == 0 ? random(13, 16) : random(9, 12);
}

struct Values {
    std::vector<Value> values;
    uint32_t count() const { return static_cast<uint32_t>(values.size()); }
    bool operator==(const Values& other) const {
        return std::equal(values.begin(), values.end(), other.values.begin(), other.values.end(),
                          [](const Value& a, const Value& b) {
                              return a.offset == b.offset && a.gain == b.gain;
                          });
    }
};
void PrintTo(const Values& all, std::ostream* out) {
    for (const Value& value : all.values) *out << '(' << value.offset << ", " << value.gain << ") ";
}

template <class Parameters>
Values values_of(const Parameters& param, uint32_t count) {
    Values all;
    for (uint32_t i = 0; i < count; ++i)
        all.values.push_back({param.GetOffset(i), param.GetGain(i)});
    return all;
}
void add_channels(Values& all, const SpectralPicture& picture, const Channels& channels,
                  const Wanted& wanted) {
    uint32_t first = channels.spectral();
    for (uint32_t i = channels.spectral_channels; i < channels.count(); ++i) {
        all.values.push_back(value_of_channel(picture, first, channels.sizes[i], wanted));
        first += channels.sizes[i];
    }
}
void add_to(Digest& digest, const Values& all) {
    for (const Value& value : all.values) {
        digest.add(std::bit_cast<uint64_t>(value.offset));
        digest.add(std::bit_cast<uint64_t>(value.gain));
    }
}

// ----- True and custom colours -------------------------------------------------------------------

void check_true_color(Round round) {
    Random& random = round.random;
    const Channels channels = draw_channels(random);
    const uint32_t bpc = draw_depth(random);
    const SpectralPicture picture(channels.components(), bpc, random.size(channels.components()),
                                  random);
    const auto before = picture.content();
    TrueColor param(channels.count(), channels.spectral_channels, channels.components(),
                    channels.sizes.data(), bpc);
    Numbers colors;
    for (uint32_t c = 0; c < channels.components(); ++c) colors.push_back(draw_color(random));
    const Wanted wanted = draw_wanted(random);
    const Limits found = limits_of_mean(picture, colors, run_of(0, channels.spectral()), wanted);
    Values expected{{{found.low, found.gain()}}};
    add_channels(expected, picture, channels, wanted);

    ASSERT_EQ(
        Api::GetAutoContrastSpectralTrueColor(&param, colors.data(), &picture.record, wanted.low,
                                              wanted.high, wanted.low_percent, wanted.high_percent),
        QM_OK);

    ASSERT_EQ(values_of(param, expected.count()), expected);
    ASSERT_EQ(picture.content(), before);
    add_to(round.digest, expected);
}

void check_custom_color(Round round) {
    Random& random = round.random;
    const Channels channels = draw_channels(random);
    const uint32_t bpc = draw_depth(random), nodes = random(0, channels.spectral_channels);
    const SpectralPicture picture(channels.components(), bpc, random.size(channels.components()),
                                  random);
    CustomColor param(nodes, channels.spectral_channels, channels.count(), channels.components(),
                      channels.sizes.data(), bpc);
    for (uint32_t node = 0; node < nodes; ++node) param.SetColor(node, draw_color(random));
    Numbers colors(channels.components() + 1);
    ASSERT_EQ(param.GetCompColors(colors.data()), QM_OK);
    const Wanted wanted = draw_wanted(random);
    const Limits found = limits_of_mean(picture, colors, run_of(0, channels.spectral()), wanted);
    Values expected{std::vector<Value>(nodes, {found.low, found.gain()})};
    add_channels(expected, picture, channels, wanted);

    ASSERT_EQ(
        Api::GetAutoContrastSpectralCustomColor(&param, &picture.record, wanted.low, wanted.high,
                                                wanted.low_percent, wanted.high_percent),
        QM_OK);

    ASSERT_EQ(values_of(param, expected.count()), expected);
    add_to(round.digest, expected);
}

// ----- Groups ------------------------------------------------------------------------------------

/// Sizes of groups that share the components, or leave some of them or ask for more.
Numbers draw_groups(Random& random, const Channels& channels) {
    Numbers sizes;
    if (channels.spectral_channels == 0) return sizes;
    uint32_t left = channels.spectral();
    for (uint32_t g = random(1, channels.spectral_channels); g > 1; --g) {
        sizes.push_back(random(0, left));
        left -= sizes.back();
    }
    const uint32_t last = random(0, 3);
    sizes.push_back(last == 0 ? left / 2 : last == 1 ? left + 1 : left);
    return sizes;
}

/// What groups get: each by itself, then as what they make together.
Values values_of_groups(const SpectralPicture& picture, const Numbers& sizes,
                        const Numbers& group_colors, uint32_t spectral, const Wanted& wanted) {
    const uint32_t groups = count_of(sizes);
    Values all{std::vector<Value>(groups, {0.0, 1.0})};
    Numbers shown, colors(picture.components(), 0), together, group_of;
    for (uint32_t g = 0, first = 0; g < groups; ++g) {
        const uint32_t count = std::min(sizes[g], spectral - first);
        if (count == 0) continue;
        for (uint32_t c = first; c < first + count; ++c) {
            colors[c] = group_colors[g];
            together.push_back(c);
            group_of.push_back(g);
        }
        const Limits found = limits_of_mean(picture, colors, run_of(first, count), wanted);
        all.values[g] = {found.low, groups * found.gain()};
        shown.push_back(group_colors[g]);
        first += count;
    }
    if (!overlap(shown)) return all;
    ChosenState set(picture.components(), together);
    for (uint32_t i = 0; i < together.size(); ++i) {
        const uint32_t g = group_of[i];
        const double factor =
            static_cast<double>(spectral) / (static_cast<double>(sizes[g]) * groups);
        set.put(together[i], {all.values[g].offset, all.values[g].gain * factor}, group_colors[g]);
    }
    const Limits sum = limits_of_set(picture.record, set, wanted);
    for (uint32_t g = 0; g < groups; ++g)
        if (std::count(group_of.begin(), group_of.end(), g) != 0)
            all.values[g] = {sum.low, all.values[g].gain * sum.gain()};
    return all;
}

void check_grouped(Round round) {
    Random& random = round.random;
    const Channels channels = draw_channels(random);
    const uint32_t bpc = draw_depth(random);
    const Numbers sizes = draw_groups(random, channels);
    const SpectralPicture picture(channels.components(), bpc, random.size(channels.components()),
                                  random);
    Grouped param(count_of(sizes), sizes.data(), channels.spectral_channels, channels.count(),
                  channels.components(), channels.sizes.data(), bpc);
    Numbers colors;
    const bool apart = random(0, 1) == 0;
    for (uint32_t g = 0; g < sizes.size(); ++g) {
        colors.push_back(apart ? (g < 3 ? 0x80u << 8 * g : 0) : draw_color(random));
        param.SetColor(g, colors[g]);
    }
    const Wanted wanted = draw_wanted(random);
    Values expected = values_of_groups(picture, sizes, colors, channels.spectral(), wanted);
    add_channels(expected, picture, channels, wanted);

    ASSERT_EQ(Api::GetAutoContrastSpectralGrouped(&param, &picture.record, wanted.low, wanted.high,
                                                  wanted.low_percent, wanted.high_percent),
              QM_OK);

    ASSERT_EQ(values_of(param, expected.count()), expected);
    add_to(round.digest, expected);
}

const bool registered =
    add_cases({{"SQmPicBufAPI_Base::GetAutoContrastSpectralTrueColor", check_true_color, 40},
               {"SQmPicBufAPI_Base::GetAutoContrastSpectralCustomColor", check_custom_color, 40},
               {"SQmPicBufAPI_Base::GetAutoContrastSpectralGrouped", check_grouped, 60}});

// ----- Worked numbers ----------------------------------------------------------------------------

const Numbers kOnes(8, 1);

TEST(SpectralContrast, IsThatOfTheMeanOfAllSpectralComponents) {
    Random random(1);
    // The greatest sum of red is 100 / 2, that of green 160 / 2.
    const SpectralPicture picture(2, 8, {100, 7, 60, 160, 0, 90}, random);
    TrueColor param(2, 2, 2, kOnes.data(), 8);
    param.SetOffset(0, 9.0);
    const unsigned colors[] = {0x0000FF, 0x00FF00};
    ASSERT_EQ(
        Api::GetAutoContrastSpectralTrueColor(&param, colors, &picture.record, false, false, 0, 0),
        QM_OK);
    EXPECT_NEAR(param.GetGain(0), 255.0 / 80, 1e-5);
    EXPECT_EQ(param.GetOffset(0), 0.0);
}

TEST(SpectralContrast, TakesTheGreatestLowAndTheGreatestHighOfThreeColours) {
    Random random(1);
    // 4 pixels: a cut of 25 percent is one pixel, and the second from the end is above it.
    const SpectralPicture picture(3, 8, {10, 3, 0, 20, 5, 0, 200, 6, 0, 240, 90, 0}, random);
    TrueColor param(1, 1, 3, Numbers{3}.data(), 8);
    const unsigned colors[] = {0x0000FF, 0x00FF00, 0xFF0000};
    const auto contrast = [&](bool low, bool high, double low_percent, double high_percent) {
        ASSERT_EQ(Api::GetAutoContrastSpectralTrueColor(&param, colors, &picture.record, low, high,
                                                        low_percent, high_percent),
                  QM_OK);
    };
    contrast(true, true, 25, 25);
    EXPECT_EQ(param.GetOffset(0), 7.0);       // 20 / 3, rounded
    EXPECT_EQ(param.GetGain(0), 255.0 / 67);  // 200 / 3
    contrast(false, true, 25, 25);
    EXPECT_EQ(param.GetOffset(0), 0.0);
    EXPECT_EQ(param.GetGain(0), 255.0 / 67);
    contrast(true, false, 25, 25);  // nothing is cut off above
    EXPECT_EQ(param.GetOffset(0), 7.0);
    EXPECT_EQ(param.GetGain(0), 1.0);
}

TEST(SpectralContrast, IsLimitedWhereEverythingIsBlack) {
    Random random(1);
    const SpectralPicture picture(2, 12, Numbers(20, 0), random);
    const unsigned colors[] = {0xFFFFFF, 0xFFFFFF};
    TrueColor param(2, 2, 2, kOnes.data(), 12);
    CustomColor custom(2, 2, 2, 2, kOnes.data(), 12);
    Grouped grouped(2, kOnes.data(), 2, 2, 2, kOnes.data(), 12);
    for (const bool cut : {true, false}) {
        ASSERT_EQ(
            Api::GetAutoContrastSpectralTrueColor(&param, colors, &picture.record, cut, cut, 1, 1),
            QM_OK);
        EXPECT_EQ(values_of(param, 1), (Values{{{0.0, 50.0}}}));
        ASSERT_EQ(Api::GetAutoContrastSpectralCustomColor(&custom, &picture.record, cut, cut, 1, 1),
                  QM_OK);
        EXPECT_EQ(values_of(custom, 2), (Values{{{0.0, 50.0}, {0.0, 50.0}}}));
        // Twice for two groups, and both once more for what they are together.
        ASSERT_EQ(Api::GetAutoContrastSpectralGrouped(&grouped, &picture.record, cut, cut, 1, 1),
                  QM_OK);
        EXPECT_EQ(values_of(grouped, 2), (Values{{{0.0, 5000.0}, {0.0, 5000.0}}}));
    }
}

TEST(SpectralContrast, WorksWithoutSpectralComponents) {
    Random random(1);
    const SpectralPicture picture(1, 8, {10, 20, 51, 51}, random);
    TrueColor param(1, 0, 1, kOnes.data(), 8);
    const unsigned colors[] = {0xFFFFFF};
    ASSERT_EQ(
        Api::GetAutoContrastSpectralTrueColor(&param, colors, &picture.record, true, true, 0, 0),
        QM_OK);
    EXPECT_EQ(values_of(param, 2), (Values{{{0.0, 50.0}, {255 * (10 / 255.0), 5.0}}}));
}

TEST(SpectralContrast, OfNoPixelsFindsWhatASearchFindsInNothing) {
    uint8_t sample = 0;
    const SQmPicBuf picture{0, 0, 0, 8, 2, 0, &sample};
    TrueColor param(2, 1, 2, kOnes.data(), 8);
    const unsigned colors[] = {0xFFFFFF, 0xFFFFFF};
    ASSERT_EQ(Api::GetAutoContrastSpectralTrueColor(&param, colors, &picture, true, true, 1, 1),
              QM_OK);
    EXPECT_EQ(values_of(param, 2), (Values{{{255.0, 50.0}, {0.0, 1.0}}}));
}

TEST(SpectralContrast, NumbersFurtherChannelsOnFromOne) {
    Random random(1);
    const SpectralPicture picture(3, 8, {100, 5, 17, 100, 85, 51, 100, 9, 18}, random);
    const unsigned colors[] = {0xFF, 0xFF, 0xFF};
    TrueColor param(3, 1, 3, kOnes.data(), 8);
    CustomColor custom(1, 1, 3, 3, kOnes.data(), 8);
    Grouped grouped(1, kOnes.data(), 1, 3, 3, kOnes.data(), 8);
    ASSERT_EQ(
        Api::GetAutoContrastSpectralTrueColor(&param, colors, &picture.record, true, true, 0, 0),
        QM_OK);
    ASSERT_EQ(Api::GetAutoContrastSpectralCustomColor(&custom, &picture.record, true, true, 0, 0),
              QM_OK);
    ASSERT_EQ(Api::GetAutoContrastSpectralGrouped(&grouped, &picture.record, true, true, 0, 0),
              QM_OK);
    EXPECT_EQ(param.GetGain(1), 3.0);
    EXPECT_EQ(param.GetGain(2), 5.0);
    EXPECT_NEAR(param.GetOffset(1), 5, 1e-12);
    EXPECT_NEAR(param.GetOffset(2), 17, 1e-12);
    EXPECT_EQ(values_of(custom, 3), values_of(param, 3));
    EXPECT_EQ(values_of(grouped, 3), values_of(param, 3));
}

TEST(SpectralContrast, GivesEveryNodeTheSameAndCountsChannelsBehindThem) {
    Random random(1);
    const SpectralPicture picture(4, 8, {60, 90, 30, 51, 6, 9, 3, 0}, random);
    CustomColor param(3, 3, 4, 4, kOnes.data(), 8);
    ASSERT_EQ(Api::GetAutoContrastSpectralCustomColor(&param, &picture.record, false, false, 0, 0),
              QM_OK);
    for (const uint32_t node : {0u, 1u, 2u}) {
        EXPECT_NEAR(param.GetGain(node), 255.0 / 60, 1e-5) << node;
        EXPECT_EQ(param.GetOffset(node), 0.0);
    }
    EXPECT_EQ(param.GetGain(3), 5.0);
}

TEST(SpectralContrast, LeavesOutTheLastOfSeveralComponentsOfAChannel) {
    Random random(1);
    const SpectralPicture picture(4, 8, {1, 10, 20, 0, 1, 51, 30, 255}, random);
    TrueColor param(2, 1, 4, Numbers{1, 3}.data(), 8);
    const unsigned colors[] = {0xFF, 0, 0, 0};
    ASSERT_EQ(
        Api::GetAutoContrastSpectralTrueColor(&param, colors, &picture.record, true, true, 0, 0),
        QM_OK);
    EXPECT_EQ(param.GetGain(1), 5.0);
    EXPECT_NEAR(param.GetOffset(1), 10, 1e-12);
}

TEST(SpectralContrast, MovesABlackLevelThatIsNearTheWhiteLevel) {
    Random random(1);
    TrueColor param(2, 1, 2, kOnes.data(), 8);
    const unsigned colors[] = {0xFF, 0};
    const auto offset = [&](uint32_t black, uint32_t white, bool low, bool high) {
        const SpectralPicture picture(2, 8, {1, black, 1, white}, random);
        EXPECT_EQ(
            Api::GetAutoContrastSpectralTrueColor(&param, colors, &picture.record, low, high, 0, 0),
            QM_OK);
        EXPECT_EQ(param.GetGain(1), 255.0 / white);
        return param.GetOffset(1);
    };
    EXPECT_NEAR(offset(223, 255, true, true), 223, 1e-9);
    EXPECT_NEAR(offset(224, 255, true, true), 196, 1e-9);
    EXPECT_NEAR(offset(80, 90, true, true), 70, 1e-9);
    EXPECT_NEAR(offset(80, 90, true, false), 80, 1e-9);
    EXPECT_EQ(offset(80, 90, false, true), 0.0);
}

TEST(SpectralContrast, MendsTheLevelsOfAFlatChannel) {
    Random random(1);
    TrueColor param(2, 1, 2, kOnes.data(), 8);
    const unsigned colors[] = {0xFF, 0};
    const auto values = [&](uint32_t level) {
        const SpectralPicture picture(2, 8, {1, level, 1, level}, random);
        EXPECT_EQ(Api::GetAutoContrastSpectralTrueColor(&param, colors, &picture.record, true, true,
                                                        0, 0),
                  QM_OK);
        return Value{param.GetOffset(1), param.GetGain(1)};
    };
    EXPECT_NEAR(values(51).offset, 50 * 0.875, 1e-9);  // 50 and 51
    EXPECT_EQ(values(51).gain, 5.0);
    EXPECT_EQ(values(0).offset, 0.0);  // 0 and 255
    EXPECT_EQ(values(0).gain, 1.0);
}

TEST(SpectralContrast, LetsGroupsBeWhereTheirColoursHaveNothingInCommon) {
    Random random(1);
    const SpectralPicture picture(3, 8, {40, 80, 51, 4, 8, 5}, random);
    Grouped param(2, Numbers{2, 1}.data(), 3, 3, 3, kOnes.data(), 8);
    param.SetColor(0, 0x0000FF);
    param.SetColor(1, 0xFFFF00);
    ASSERT_EQ(Api::GetAutoContrastSpectralGrouped(&param, &picture.record, false, false, 0, 0),
              QM_OK);
    EXPECT_NEAR(param.GetGain(0), 2 * 255.0 / 60, 1e-5);
    EXPECT_NEAR(param.GetGain(1), 2 * 5.0, 1e-5);
}

TEST(SpectralContrast, BringsOverlappingGroupsToWhatTheirSumNeeds) {
    Random random(1);
    const SpectralPicture picture(3, 8, {40, 80, 51, 4, 8, 5}, random);
    Grouped param(2, Numbers{2, 1}.data(), 3, 3, 3, kOnes.data(), 8);
    param.SetColor(0, 0x0000FF);
    param.SetColor(1, 0x00FFFF);
    ASSERT_EQ(Api::GetAutoContrastSpectralGrouped(&param, &picture.record, false, false, 0, 0),
              QM_OK);
    // Gains of 8.5 and 10 are multiplied by 3 / (2 * 2) and 3 / (1 * 2). Red is then
    // 120 * 6.375 + 51 * 15 = 1530.
    EXPECT_NEAR(param.GetGain(0), 8.5 * 255 / 1530, 1e-5);
    EXPECT_NEAR(param.GetGain(1), 10.0 * 255 / 1530, 1e-5);
    EXPECT_EQ(param.GetOffset(0), 0.0);
    EXPECT_EQ(param.GetOffset(1), 0.0);
}

TEST(SpectralContrast, KnowsAnOverlapInEveryPrimary) {
    Random random(1);
    const SpectralPicture picture(2, 8, Numbers{40, 51}, random);
    Grouped param(2, kOnes.data(), 2, 2, 2, kOnes.data(), 8);
    for (const uint32_t first : {0u, 8u, 16u})
        for (const uint32_t second : {0u, 8u, 16u}) {
            param.SetColor(0, 0xFFu << first);
            param.SetColor(1, 0xFFu << second);
            ASSERT_EQ(
                Api::GetAutoContrastSpectralGrouped(&param, &picture.record, false, false, 0, 0),
                QM_OK);
            // Both groups reach 510 by themselves, and twice that together.
            EXPECT_NEAR(param.GetGain(1), first == second ? 10 / 4.0 : 10, 1e-5)
                << first << ' ' << second;
        }
}

// ----- Refusals ----------------------------------------------------------------------------------

TEST(SpectralContrast, RefusesWhatIsMissingOrDoesNotFit) {
    Random random(1);
    const SpectralPicture picture(2, 8, Numbers{1, 2}, random);
    const unsigned colors[] = {0xFF, 0xFF};
    TrueColor param(2, 1, 2, kOnes.data(), 8);
    CustomColor custom(1, 1, 2, 2, kOnes.data(), 8);
    Grouped grouped(1, kOnes.data(), 1, 2, 2, kOnes.data(), 8);
    const auto true_color = [&](TrueColor* p, const unsigned* of, const SQmPicBuf* pic) {
        return Api::GetAutoContrastSpectralTrueColor(p, of, pic, true, true, 1, 1);
    };
    const auto custom_color = [&](CustomColor* p, const SQmPicBuf* pic) {
        return Api::GetAutoContrastSpectralCustomColor(p, pic, true, true, 1, 1);
    };
    const auto of_groups = [&](Grouped* p, const SQmPicBuf* pic) {
        return Api::GetAutoContrastSpectralGrouped(p, pic, true, true, 1, 1);
    };
    EXPECT_EQ(true_color(nullptr, colors, &picture.record), QM_BAD_BUFFER);
    EXPECT_EQ(true_color(&param, nullptr, &picture.record), QM_BAD_BUFFER);
    EXPECT_EQ(true_color(&param, colors, nullptr), QM_BAD_BUFFER);
    EXPECT_EQ(custom_color(nullptr, &picture.record), QM_BAD_BUFFER);
    EXPECT_EQ(custom_color(&custom, nullptr), QM_BAD_BUFFER);
    EXPECT_EQ(of_groups(nullptr, &picture.record), QM_BAD_BUFFER);
    EXPECT_EQ(of_groups(&grouped, nullptr), QM_BAD_BUFFER);
    SQmPicBuf other = picture.record;
    const auto all_refuse = [&](int code) {
        EXPECT_EQ(true_color(&param, colors, &other), code);
        EXPECT_EQ(custom_color(&custom, &other), code);
        EXPECT_EQ(of_groups(&grouped, &other), code);
        other = picture.record;
    };
    other.uiBpc = 9;
    all_refuse(QM_BAD_BUFFER);
    other.uiComponents = 1;
    all_refuse(QM_BAD_BUFFER);
    other.pData = nullptr;
    all_refuse(QM_BAD_BUFFER);
    // Nothing was written.
    EXPECT_TRUE(param.IsUnit());
    EXPECT_TRUE(custom.IsUnit());
    EXPECT_TRUE(grouped.IsUnit());
    delete[] grouped.puiGroupSize;
    grouped.puiGroupSize = nullptr;
    EXPECT_EQ(of_groups(&grouped, &picture.record), QM_BAD_BUFFER);
    delete[] param.puiComp;
    param.puiComp = nullptr;
    EXPECT_EQ(true_color(&param, colors, &picture.record), QM_BAD_BUFFER);
    EXPECT_TRUE(param.IsUnit());
}

TEST(SpectralContrast, RefusesDepthsThatCannotBeMeasured) {
    std::vector<uint32_t> pixels(4, 1);
    const SQmPicBuf picture{2, 2, 8, 17, 1, 16, pixels.data()};
    TrueColor param(1, 1, 1, kOnes.data(), 17);
    const unsigned colors[] = {0xFF};
    EXPECT_EQ(Api::GetAutoContrastSpectralTrueColor(&param, colors, &picture, true, true, 1, 1),
              QM_NO_KERNEL);
    EXPECT_TRUE(param.IsUnit());
}

TEST(SpectralContrast, RefusesMoreThan192Components) {
    std::vector<uint8_t> pixels(193, 1);
    const SQmPicBuf picture{1, 1, 193, 8, 193, 193, pixels.data()};
    TrueColor param(1, 1, 193, Numbers{193}.data(), 8);
    CustomColor custom(1, 1, 1, 193, Numbers{193}.data(), 8);
    Grouped grouped(1, Numbers{193}.data(), 1, 1, 193, Numbers{193}.data(), 8);
    const Numbers colors(193, 0xFF);
    EXPECT_EQ(
        Api::GetAutoContrastSpectralTrueColor(&param, colors.data(), &picture, true, true, 1, 1),
        QM_TOO_MANY);
    EXPECT_EQ(Api::GetAutoContrastSpectralCustomColor(&custom, &picture, true, true, 1, 1),
              QM_TOO_MANY);
    EXPECT_EQ(Api::GetAutoContrastSpectralGrouped(&grouped, &picture, true, true, 1, 1),
              QM_TOO_MANY);
}

TEST(SpectralContrast, TakesUpTo192Components) {
    Random random(1);
    const SpectralPicture picture(192, 8, Numbers(192, 51), random);
    const Numbers colors(192, 0xFFFFFF);
    TrueColor param(1, 1, 192, Numbers{192}.data(), 8);
    ASSERT_EQ(Api::GetAutoContrastSpectralTrueColor(&param, colors.data(), &picture.record, false,
                                                    false, 0, 0),
              QM_OK);
    EXPECT_NEAR(param.GetGain(0), 5.0, 1e-4);
}

}  // namespace
}  // namespace qmpic::test
