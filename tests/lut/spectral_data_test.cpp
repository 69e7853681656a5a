#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <limits>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

#include "qmpic/LutParam.h"
#include "qmpic/status.h"
#include "qmpic/system/Color.h"
#include "support/cases.h"
#include "support/parameters.h"

namespace qmpic::test {
namespace {

using Data = SQmLutParam::SQmLUTDataSpectral;

const bool registered =
    add_cases({}, {},
              {"SQmLutParam::SQmLUTDataSpectral::SQmLUTDataSpectral",
               "SQmLutParam::SQmLUTDataSpectral::~SQmLUTDataSpectral",
               "SQmLutParam::SQmLUTDataSpectral::GetMode",
               "SQmLutParam::SQmLUTDataSpectral::GetSpectralGroupCount",
               "SQmLutParam::SQmLUTDataSpectral::GetNonTransmittedComponentCount",
               "SQmLutParam::SQmLUTDataSpectral::GetAllGroupCount",
               "SQmLutParam::SQmLUTDataSpectral::SetGroupCount",
               "SQmLutParam::SQmLUTDataSpectral::Realloc",
               "SQmLutParam::SQmLUTDataSpectral::InsertGroup",
               "SQmLutParam::SQmLUTDataSpectral::RemoveGroup",
               "SQmLutParam::SQmLUTDataSpectral::IsAbleToInsertGroup",
               "SQmLutParam::SQmLUTDataSpectral::IsAbleToRemoveGroup",
               "SQmLutParam::SQmLUTDataSpectral::EnableGroup",
               "SQmLutParam::SQmLUTDataSpectral::IsGroupEnabled",
               "SQmLutParam::SQmLUTDataSpectral::GetEnabledGroupMask",
               "SQmLutParam::SQmLUTDataSpectral::GetComponentEnabledGroupMask",
               "SQmLutParam::SQmLUTDataSpectral::GetGain",
               "SQmLutParam::SQmLUTDataSpectral::GetOffset",
               "SQmLutParam::SQmLUTDataSpectral::SetGain",
               "SQmLutParam::SQmLUTDataSpectral::SetOffset",
               "SQmLutParam::SQmLUTDataSpectral::GetGroupColor",
               "SQmLutParam::SQmLUTDataSpectral::GetCustomColor",
               "SQmLutParam::SQmLUTDataSpectral::SetGroupColor",
               "SQmLutParam::SQmLUTDataSpectral::SetCustomColor",
               "SQmLutParam::SQmLUTDataSpectral::SetColor",
               "SQmLutParam::SQmLUTDataSpectral::GetCompColor",
               "SQmLutParam::SQmLUTDataSpectral::GetCompColors",
               "SQmLutParam::SQmLUTDataSpectral::GetCompOffsetAndGains",
               "SQmLutParam::SQmLUTDataSpectral::InterpolateVals",
               "SQmLutParam::SQmLUTDataSpectral::Reset",
               "SQmLutParam::SQmLUTDataSpectral::IsReset",
               "SQmLutParam::SQmLUTDataSpectral::ExtractGroups"});

using Colors = std::vector<uint32_t>;
using Values = std::vector<double>;

Colors custom_colors(const Data& d) { return content(d.puiColorCustom, d.uiAllocated); }
Colors group_colors(const Data& d) { return content(d.puiColorGroup, d.uiAllocated); }

/// A record and its spectral data, with so many components, groups and entries, in a mode.
struct Made : SQmLutParam {
    Data& d = sLutDataSpectral;
    Made() = default;
    Made(uint32_t components, uint32_t groups, uint32_t mode) {
        d.uiSpectralCompCount = components;
        d.uiSpectralColorMode = mode;
        d.uiGroupCount = groups;
        d.Realloc(groups);
        for (uint32_t c = 0; c < components && groups != 0; ++c)
            sCompLutParam[c].uiGroup = c * groups / components;
    }
    std::vector<uint32_t> groups(uint32_t count) const {
        std::vector<uint32_t> all;
        for (uint32_t c = 0; c < count; ++c) all.push_back(sCompLutParam[c].uiGroup);
        return all;
    }
};

// ----- Layout and construction -------------------------------------------------------------------

TEST(SpectralDataLayout, IsAnInterface) {
    static_assert(std::is_standard_layout_v<Data> && sizeof(Data) == 144 && alignof(Data) == 8);
    static_assert(offsetof(Data, pdOffsetTrueColor) == 0);
    static_assert(offsetof(Data, pdOffsetCustom) == 8);
    static_assert(offsetof(Data, pdOffsetGrouped) == 16);
    static_assert(offsetof(Data, pdOffsetGrayScale) == 24);
    static_assert(offsetof(Data, pdGainTrueColor) == 32);
    static_assert(offsetof(Data, pdGainCustom) == 40);
    static_assert(offsetof(Data, pdGainGrouped) == 48);
    static_assert(offsetof(Data, pdGainGrayScale) == 56);
    static_assert(offsetof(Data, puiColorCustom) == 64);
    static_assert(offsetof(Data, puiColorGroup) == 72);
    static_assert(offsetof(Data, uiAllocated) == 80);
    static_assert(offsetof(Data, uiGroupCount) == 84);
    static_assert(offsetof(Data, pOwner) == 88);
    static_assert(offsetof(Data, uiSpectralCompCount) == 96);
    static_assert(offsetof(Data, uiSpectralColorMode) == 100);
    static_assert(offsetof(Data, mtx) == 104);
    static_assert(!std::is_copy_constructible_v<Data> && !std::is_copy_assignable_v<Data>);
}

TEST(SpectralData, HasSingleValuesAndThreeGroupsWhenItIsNew) {
    SQmLutParam owner;
    Data d(&owner);
    EXPECT_EQ(d.pOwner, &owner);
    for (const double* offset : {d.pdOffsetTrueColor, d.pdOffsetGrayScale}) {
        EXPECT_EQ(*offset, 0.0);
    }
    for (const double* gain : {d.pdGainTrueColor, d.pdGainGrayScale}) {
        EXPECT_EQ(*gain, 1.0);
    }
    for (const double* array :
         {d.pdOffsetCustom, d.pdOffsetGrouped, d.pdGainCustom, d.pdGainGrouped}) {
        EXPECT_EQ(array, nullptr);
    }
    EXPECT_EQ(d.puiColorCustom, nullptr);
    EXPECT_EQ(d.puiColorGroup, nullptr);
    EXPECT_EQ(std::tuple(d.uiAllocated, d.uiGroupCount, d.uiSpectralCompCount, d.GetMode()),
              std::tuple(0u, 3u, 0u, 0u));
    EXPECT_EQ(d.GetNonTransmittedComponentCount(), 0u);
    EXPECT_TRUE(d.mtx.try_lock());
    d.mtx.unlock();
}

TEST(SpectralData, TellsModeAndComponents) {
    Made p(7, 2, 3);
    const Data& constant = p.d;
    EXPECT_EQ(constant.GetMode(), 3u);
    EXPECT_EQ(p.d.GetNonTransmittedComponentCount(), 7u);
}

// ----- Arrays ------------------------------------------------------------------------------------

TEST(SpectralData, ArraysBeginWithThreeColours) {
    for (const uint32_t count : {1u, 2u, 3u, 5u, 192u}) {
        Made p;
        p.d.Realloc(count);
        EXPECT_EQ(p.d.uiAllocated, count);
        EXPECT_EQ(p.d.uiGroupCount, 3u);
        Colors wanted(count, 0xFF0000);
        if (count > 1) wanted[1] = 0x00FF00;
        if (count > 2) wanted[2] = 0x0000FF;
        EXPECT_EQ(custom_colors(p.d), wanted);
        EXPECT_EQ(group_colors(p.d), wanted);
        for (const double* offsets : {p.d.pdOffsetCustom, p.d.pdOffsetGrouped}) {
            EXPECT_EQ(content(offsets, count), Values(count, 0.0));
        }
        for (const double* gains : {p.d.pdGainCustom, p.d.pdGainGrouped}) {
            EXPECT_EQ(content(gains, count), Values(count, 1.0));
        }
    }
}

TEST(SpectralData, ArraysKeepWhatBothSizesHave) {
    Made p;
    p.d.Realloc(2);
    const auto set_all = [](Data& d) {
        for (uint32_t i = 0; i < d.uiAllocated; ++i) {
            d.pdOffsetCustom[i] = 10 + i, d.pdOffsetGrouped[i] = 20 + i;
            d.pdGainCustom[i] = 30 + i, d.pdGainGrouped[i] = 40 + i;
            d.puiColorCustom[i] = 0xFF000050 + i, d.puiColorGroup[i] = 60 + i;
        }
    };
    set_all(p.d);
    const double* const before = p.d.pdGainCustom;
    p.d.Realloc(2);  // does nothing
    EXPECT_EQ(p.d.pdGainCustom, before);
    p.d.Realloc(4);
    EXPECT_EQ(content(p.d.pdOffsetCustom, 4), (Values{10, 11, 0, 0}));
    EXPECT_EQ(content(p.d.pdOffsetGrouped, 4), (Values{20, 21, 0, 0}));
    EXPECT_EQ(content(p.d.pdGainCustom, 4), (Values{30, 31, 1, 1}));
    EXPECT_EQ(content(p.d.pdGainGrouped, 4), (Values{40, 41, 1, 1}));
    EXPECT_EQ(custom_colors(p.d), (Colors{0xFF000050, 0xFF000051, 0xFF0000, 0xFF0000}));
    EXPECT_EQ(group_colors(p.d), (Colors{60, 61, 0xFF0000, 0xFF0000}));
    set_all(p.d);
    p.d.Realloc(1);
    EXPECT_EQ(p.d.uiAllocated, 1u);
    EXPECT_EQ(content(p.d.pdGainGrouped, 1), (Values{40}));
    EXPECT_EQ(custom_colors(p.d), (Colors{0xFF000050}));
    p.d.Realloc(0);
    EXPECT_EQ(p.d.uiAllocated, 0u);
    EXPECT_EQ(p.d.pdGainCustom, nullptr);
    EXPECT_EQ(p.d.puiColorGroup, nullptr);
    p.d.Realloc(2);
    EXPECT_EQ(group_colors(p.d), (Colors{0xFF0000, 0x00FF00}));  // from nothing again
    p.d.Realloc(0xFFFFFFFF);
    EXPECT_EQ(p.d.uiAllocated, 192u);
}

TEST(SpectralData, ArraysThatAreMissingAreMade) {
    Made p(4, 2, 2);
    delete[] p.d.pdGainGrouped;
    p.d.pdGainGrouped = nullptr;
    p.d.Realloc(3);
    EXPECT_EQ(content(p.d.pdGainGrouped, 3), (Values{1, 1, 1}));
}

// ----- Groups of components ----------------------------------------------------------------------

TEST(SpectralGroups, OfANewRecordAreMadeOnDemand) {
    Made p;
    p.d.uiSpectralCompCount = 3;
    EXPECT_EQ(p.d.GetAllGroupCount(nullptr, false), 3u);
    EXPECT_EQ(p.groups(3), (std::vector<uint32_t>{0, 0, 0}));
    EXPECT_EQ(p.d.uiAllocated, 0u);
    EXPECT_EQ(p.d.GetAllGroupCount(nullptr, true), 3u);
    EXPECT_EQ(p.groups(4), (std::vector<uint32_t>{0, 1, 2, 0}));
    EXPECT_EQ(p.d.uiAllocated, 3u);
    EXPECT_EQ(group_colors(p.d), (Colors{0xFF0000, 0x00FF00, 0x0000FF}));
}

TEST(SpectralGroups, AreWalkedByRuns) {
    Made p(6, 2, 2);
    std::vector<unsigned int> ends(8, 77);
    EXPECT_EQ(p.d.GetAllGroupCount(ends.data(), false), 2u);
    EXPECT_EQ(ends, (std::vector<unsigned int>{2, 5, 77, 77, 77, 77, 77, 77}));
    EXPECT_EQ(p.d.GetAllGroupCount(ends.data(), true), 2u);  // fits
    EXPECT_EQ(ends, (std::vector<unsigned int>{2, 5, 77, 77, 77, 77, 77, 77}));
    EXPECT_EQ(p.d.uiAllocated, 2u);
    // Runs that do not fit: 0 0 1 0 1 1. The result is what the record says.
    for (uint32_t c = 0; c < 6; ++c) p.sCompLutParam[c].uiGroup = c == 2 || c > 3;
    EXPECT_EQ(p.d.GetAllGroupCount(ends.data(), false), 2u);
    EXPECT_EQ(ends, (std::vector<unsigned int>{1, 2, 3, 5, 77, 77, 77, 77}));
    EXPECT_EQ(p.d.uiGroupCount, 2u);
    // Made anew, and the ends are those of the new groups.
    p.d.puiColorGroup[0] = 0xFF123456;
    std::fill(ends.begin(), ends.end(), 77);
    EXPECT_EQ(p.d.GetAllGroupCount(ends.data(), true), 3u);
    EXPECT_EQ(ends, (std::vector<unsigned int>{1, 3, 5, 77, 77, 77, 77, 77}));
    EXPECT_EQ(p.groups(6), (std::vector<uint32_t>{0, 0, 1, 1, 2, 2}));
    EXPECT_EQ(group_colors(p.d), (Colors{0xFF0000, 0x00FF00, 0x0000FF}));
    EXPECT_EQ(custom_colors(p.d), (Colors{0xFF0000, 0x00FF00, 0x0000FF}));
}

TEST(SpectralGroups, OfNoComponentsAreLeftAlone) {
    Made p;
    unsigned int ends[1] = {77};
    EXPECT_EQ(p.d.GetAllGroupCount(ends, true), 3u);
    EXPECT_EQ(p.d.GetAllGroupCount(ends, false), 3u);
    EXPECT_EQ(ends[0], 77u);
    EXPECT_EQ(p.d.uiAllocated, 0u);
    Data alone(nullptr);  // whose components are nobody's
    alone.uiSpectralCompCount = 5;
    EXPECT_EQ(alone.GetAllGroupCount(ends, true), 3u);
    EXPECT_EQ(ends[0], 77u);
}

TEST(SpectralGroups, AreAsManyAsComponentsIfThoseAreLess) {
    for (const uint32_t components : {1u, 2u}) {
        Made p(components, 0, 2);
        p.d.uiGroupCount = 5;
        EXPECT_EQ(p.d.GetAllGroupCount(nullptr, true), components);
        EXPECT_EQ(p.d.uiAllocated, components);
        EXPECT_EQ(p.sCompLutParam[components - 1].uiGroup, components - 1);
    }
}

TEST(SpectralGroups, AreSharedOutEvenly) {
    for (uint32_t components = 1; components <= 192; ++components) {
        Made p(components, 0, 2);
        p.d.uiGroupCount = 4000;
        const uint32_t count = p.d.GetAllGroupCount(nullptr, true);
        // A component belongs to the next group as soon as it is beyond what a share ends at.
        for (uint32_t c = 0; c < components; ++c)
            ASSERT_EQ(p.sCompLutParam[c].uiGroup, c * count / components);
    }
    Made p(10, 2, 2);
    p.d.InsertGroup(0, nullptr);
    EXPECT_EQ(p.groups(10), (std::vector<uint32_t>{0, 0, 0, 0, 1, 1, 1, 2, 2, 2}));
}

TEST(SpectralGroups, StopAtThe192ndComponent) {
    Made p;
    p.d.uiSpectralCompCount = 0xFFFFFFFF;
    std::vector<unsigned int> ends(4, 77);
    EXPECT_EQ(p.d.GetAllGroupCount(ends.data(), true), 3u);
    EXPECT_EQ(ends, (std::vector<unsigned int>{63, 127, 191, 77}));
    CQmRangeMask mask;
    p.d.GetComponentEnabledGroupMask(mask);
    EXPECT_EQ(mask, CQmRangeMask(192, 0, 191, 1));
    std::vector<unsigned int> colors(193, 77);
    p.d.GetCompColors(colors.data(), false, false);
    EXPECT_EQ(colors[192], 77u);
    EXPECT_EQ(p.d.GetCompColor(192, false), 0xFFFFFFu);
}

TEST(SpectralGroups, AreInsertedWithAColourOfLight) {
    Made p(12, 3, 2);
    for (uint32_t i = 0; i < 3; ++i) {
        p.d.pdOffsetCustom[i] = 10 + i, p.d.pdOffsetGrouped[i] = 20 + i;
        p.d.pdGainCustom[i] = 30 + i, p.d.pdGainGrouped[i] = 40 + i;
    }
    p.d.puiColorCustom[1] = 0xFF123456;  // moves with its flag
    unsigned int count = 77;
    EXPECT_EQ(p.d.InsertGroup(4, &count), QM_BAD_BUFFER);
    EXPECT_EQ(count, 77u);
    EXPECT_EQ(p.d.uiGroupCount, 3u);
    EXPECT_EQ(p.d.InsertGroup(1, &count), QM_OK);
    EXPECT_EQ(count, 4u);
    EXPECT_EQ(std::tuple(p.d.uiGroupCount, p.d.uiAllocated), std::tuple(4u, 4u));
    // The second quarter of 400 to 645 nm has its middle at 491.875: 94 of blue, full green.
    EXPECT_EQ(group_colors(p.d), (Colors{0xFF0000, 0x5EFF00, 0x00FF00, 0x0000FF}));
    EXPECT_EQ(custom_colors(p.d), (Colors{0xFF0000, 0x5EFF00, 0xFF123456, 0x0000FF}));
    EXPECT_EQ(content(p.d.pdOffsetCustom, 4), (Values{10, 0, 11, 12}));
    EXPECT_EQ(content(p.d.pdOffsetGrouped, 4), (Values{20, 0, 21, 22}));
    EXPECT_EQ(content(p.d.pdGainCustom, 4), (Values{30, 1, 31, 32}));
    EXPECT_EQ(content(p.d.pdGainGrouped, 4), (Values{40, 1, 41, 42}));
    EXPECT_EQ(p.groups(12), (std::vector<uint32_t>{0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3}));
    EXPECT_EQ(p.d.InsertGroup(4, nullptr), QM_OK);  // behind the last
    EXPECT_EQ(p.d.uiGroupCount, 5u);
    EXPECT_EQ(content(p.d.pdGainCustom, 5), (Values{30, 1, 31, 32, 1}));
}

TEST(SpectralGroups, AreInsertedIntoArraysThatAreNotThere) {
    Made p;
    p.d.uiSpectralCompCount = 12;
    EXPECT_EQ(p.d.InsertGroup(1, nullptr), QM_OK);
    EXPECT_EQ(group_colors(p.d), (Colors{0xFF0000, 0x5EFF00, 0x00FF00, 0x0000FF}));
}

TEST(SpectralGroups, AreNotMoreThanComponents) {
    Made p(3, 3, 2);
    EXPECT_FALSE(p.d.IsAbleToInsertGroup(0));
    EXPECT_EQ(p.d.InsertGroup(0, nullptr), QM_BAD_BUFFER);
    p.d.uiSpectralCompCount = 4;
    EXPECT_TRUE(p.d.IsAbleToInsertGroup(3));
    EXPECT_FALSE(p.d.IsAbleToInsertGroup(4));
    EXPECT_EQ(p.d.InsertGroup(3, nullptr), QM_OK);
    EXPECT_EQ(p.d.uiGroupCount, 4u);
}

TEST(SpectralGroups, AreLessAfterAnInsertionIntoFewComponents) {
    Made p(1, 3, 2);
    p.d.pdGainGrouped[0] = 5;
    EXPECT_TRUE(p.d.IsAbleToInsertGroup(2));
    unsigned int count = 77;
    EXPECT_EQ(p.d.InsertGroup(2, &count), QM_OK);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(std::tuple(p.d.uiGroupCount, p.d.uiAllocated), std::tuple(1u, 1u));
    EXPECT_EQ(p.d.pdGainGrouped[0], 5.0);  // index 2 is none of them
    EXPECT_EQ(group_colors(p.d), (Colors{0xFF0000}));
    EXPECT_EQ(p.d.InsertGroup(0, &count), QM_BAD_BUFFER);

    Made two(2, 3, 2);  // and here it is one of them: what was first is second
    two.d.pdGainGrouped[0] = 5, two.d.pdGainGrouped[1] = 6;
    EXPECT_EQ(two.d.InsertGroup(0, &count), QM_OK);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(content(two.d.pdGainGrouped, 2), (Values{1, 5}));

    Made none(0, 3, 2);
    EXPECT_EQ(none.d.InsertGroup(0, &count), QM_OK);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(none.d.puiColorGroup, nullptr);
    EXPECT_EQ(none.d.InsertGroup(0, &count), QM_BAD_BUFFER);
}

TEST(SpectralGroups, AreRemoved) {
    Made p(6, 3, 2);
    for (uint32_t i = 0; i < 3; ++i) {
        p.d.pdOffsetCustom[i] = 10 + i, p.d.pdOffsetGrouped[i] = 20 + i;
        p.d.pdGainCustom[i] = 30 + i, p.d.pdGainGrouped[i] = 40 + i;
        p.d.puiColorCustom[i] = 50 + i, p.d.puiColorGroup[i] = 60 + i;
    }
    unsigned int count = 77;
    EXPECT_FALSE(p.d.IsAbleToRemoveGroup(3));
    EXPECT_EQ(p.d.RemoveGroup(3, &count), QM_BAD_BUFFER);
    EXPECT_EQ(count, 77u);
    EXPECT_TRUE(p.d.IsAbleToRemoveGroup(0));
    EXPECT_EQ(p.d.RemoveGroup(0, &count), QM_OK);
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(std::tuple(p.d.uiGroupCount, p.d.uiAllocated), std::tuple(2u, 2u));
    EXPECT_EQ(content(p.d.pdOffsetCustom, 2), (Values{11, 12}));
    EXPECT_EQ(content(p.d.pdOffsetGrouped, 2), (Values{21, 22}));
    EXPECT_EQ(content(p.d.pdGainCustom, 2), (Values{31, 32}));
    EXPECT_EQ(content(p.d.pdGainGrouped, 2), (Values{41, 42}));
    EXPECT_EQ(custom_colors(p.d), (Colors{51, 52}));
    EXPECT_EQ(group_colors(p.d), (Colors{61, 62}));
    EXPECT_EQ(p.groups(6), (std::vector<uint32_t>{0, 0, 0, 1, 1, 1}));
    EXPECT_EQ(p.d.RemoveGroup(1, nullptr), QM_OK);  // the last
    EXPECT_EQ(content(p.d.pdGainGrouped, 1), (Values{41}));
    EXPECT_EQ(p.groups(6), (std::vector<uint32_t>(6, 0)));
    EXPECT_FALSE(p.d.IsAbleToRemoveGroup(0));
    EXPECT_EQ(p.d.RemoveGroup(0, &count), QM_BAD_BUFFER);
}

TEST(SpectralGroups, AreRemovedFromArraysOfOtherSizes) {
    Made p(6, 3, 2);
    p.d.Realloc(2);  // less than groups
    p.d.pdGainGrouped[1] = 5;
    EXPECT_EQ(p.d.RemoveGroup(0, nullptr), QM_OK);
    EXPECT_EQ(content(p.d.pdGainGrouped, 2), (Values{5, 5}));  // as they were two, nothing is cut
    Made more(6, 3, 2);
    more.d.Realloc(5);
    for (uint32_t i = 0; i < 5; ++i) more.d.pdGainGrouped[i] = 40 + i;
    EXPECT_EQ(more.d.RemoveGroup(1, nullptr), QM_OK);
    EXPECT_EQ(content(more.d.pdGainGrouped, 2), (Values{40, 42}));
    Made none;
    EXPECT_EQ(none.d.RemoveGroup(0, nullptr), QM_OK);
    EXPECT_EQ(group_colors(none.d), (Colors{0xFF0000, 0x00FF00}));
}

TEST(SpectralGroups, AreCountedUpToEight) {
    Made p(20, 3, 2);
    EXPECT_EQ(p.d.SetGroupCount(3), 3);
    EXPECT_EQ(p.d.SetGroupCount(5), 5);
    EXPECT_EQ(p.d.uiGroupCount, 5u);
    EXPECT_EQ(p.d.SetGroupCount(20), 8);
    EXPECT_EQ(p.d.uiGroupCount, 8u);
    EXPECT_EQ(p.d.uiAllocated, 8u);
    EXPECT_EQ(p.d.SetGroupCount(20), 0);  // nothing happens
    EXPECT_EQ(p.d.SetGroupCount(2), 2);
    EXPECT_EQ(p.groups(20)[10], 1u);
    EXPECT_EQ(p.d.SetGroupCount(-5), 1);
    EXPECT_EQ(p.d.SetGroupCount(0), 0);  // nothing happens either
    EXPECT_EQ(p.d.uiGroupCount, 1u);
    Made many(20, 12, 2);  // above eight, but not by this
    EXPECT_EQ(many.d.SetGroupCount(15), 0);
    EXPECT_EQ(many.d.SetGroupCount(10), 10);
    EXPECT_EQ(many.d.SetGroupCount(10), 10);
    Made few(4, 3, 2);
    EXPECT_EQ(few.d.SetGroupCount(8), 4);
    Made fewer(2, 3, 2);  // the first insertion leaves two
    EXPECT_EQ(fewer.d.SetGroupCount(8), 2);
    Made four(12, 3, 2);
    EXPECT_EQ(four.d.SetGroupCount(4), 4);
    EXPECT_EQ(four.groups(12), (std::vector<uint32_t>{0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3}));
}

/// Groups as a list of what they hold.
struct Group {
    double offsets[2], gains[2];
    uint32_t colors[2];
    bool operator==(const Group&) const = default;
};
std::vector<Group> groups_of(const Data& d) {
    std::vector<Group> all;
    for (uint32_t i = 0; i < d.uiAllocated; ++i)
        all.push_back({{d.pdOffsetCustom[i], d.pdOffsetGrouped[i]},
                       {d.pdGainCustom[i], d.pdGainGrouped[i]},
                       {d.puiColorCustom[i], d.puiColorGroup[i]}});
    return all;
}

TEST(SpectralGroups, AreAListForAnySequenceOfCalls) {
    Random random(11);
    for (uint32_t round = 0; round < 100; ++round) {
        const uint32_t components = random(5, 30);
        Made p(components, 3, random(1, 2));
        std::vector<Group> list = groups_of(p.d);
        for (uint32_t step = 0; step < 40; ++step) {
            const uint32_t n = static_cast<uint32_t>(list.size()), index = random(0, n);
            if (index < n) {  // a mark
                p.d.SetGain(index, step);
                list[index].gains[p.d.GetMode() - 1] = step;
                p.d.EnableGroup(index, step % 2 != 0);
                for (uint32_t& color : list[index].colors)
                    color = (color & 0xFFFFFF) | (step % 2 != 0 ? 0 : 0xFF000000);
            }
            const uint32_t at = random(0, n + 1);
            if (random(0, 1) != 0) {
                const bool able = n < components && at <= n;
                ASSERT_EQ(p.d.IsAbleToInsertGroup(at), able);
                ASSERT_EQ(p.d.InsertGroup(at, nullptr), able ? QM_OK : QM_BAD_BUFFER);
                uint32_t color = 0;
                QM_RGBFromWavelength(&color, 400 + 245 * (at + 0.5) / (n + 1));
                if (able) list.insert(list.begin() + at, Group{{0, 0}, {1, 1}, {color, color}});
            } else {
                const bool able = n > 1 && at < n;
                ASSERT_EQ(p.d.IsAbleToRemoveGroup(at), able);
                ASSERT_EQ(p.d.RemoveGroup(at, nullptr), able ? QM_OK : QM_BAD_BUFFER);
                if (able) list.erase(list.begin() + at);
            }
            ASSERT_EQ(groups_of(p.d), list);
            ASSERT_EQ(p.d.uiGroupCount, list.size());
        }
    }
}

// ----- Enabling ----------------------------------------------------------------------------------

TEST(SpectralGroups, AreEnabledInTheTopByte) {
    Made p(6, 3, 2);
    p.d.puiColorCustom[1] = 0x01123456;
    EXPECT_TRUE(p.d.IsGroupEnabled(1));  // in mode 2, colours of groups count
    p.d.EnableGroup(1, false);
    EXPECT_EQ(custom_colors(p.d), (Colors{0xFF0000, 0xFF123456, 0x0000FF}));
    EXPECT_EQ(group_colors(p.d), (Colors{0xFF0000, 0xFF00FF00, 0x0000FF}));
    EXPECT_FALSE(p.d.IsGroupEnabled(1));
    EXPECT_TRUE(p.d.IsGroupEnabled(0));
    EXPECT_EQ(p.d.GetSpectralGroupCount(), 2u);
    CQmRangeMask mask = mask_of(100, {99});
    p.d.GetEnabledGroupMask(mask);
    EXPECT_EQ(mask, mask_of(3, {0, 2}));
    p.d.GetComponentEnabledGroupMask(mask);
    EXPECT_EQ(mask, mask_of(6, {0, 1, 4, 5}));
    p.d.EnableGroup(1, true);
    EXPECT_EQ(custom_colors(p.d), (Colors{0xFF0000, 0x123456, 0x0000FF}));
    EXPECT_EQ(group_colors(p.d), (Colors{0xFF0000, 0x00FF00, 0x0000FF}));
    EXPECT_TRUE(p.d.IsGroupEnabled(1));
}

TEST(SpectralGroups, PastTheLastAreNotEnabled) {
    Made p(6, 3, 2);
    p.d.Realloc(5);
    p.d.EnableGroup(3, false);
    EXPECT_EQ(group_colors(p.d)[3], 0xFF0000u);
    EXPECT_FALSE(p.d.IsGroupEnabled(3));
    p.sCompLutParam[2].uiGroup = 3;
    CQmRangeMask mask;
    p.d.GetComponentEnabledGroupMask(mask);
    EXPECT_EQ(mask, mask_of(6, {0, 1, 3, 4, 5}));
}

TEST(SpectralGroups, WithoutColoursAreEnabled) {
    Made p;
    p.d.uiSpectralCompCount = 2;
    p.d.EnableGroup(0, false);  // nowhere to write it
    CQmRangeMask mask;
    p.d.GetEnabledGroupMask(mask);
    EXPECT_EQ(mask, mask_of(3, {0, 1, 2}));
    EXPECT_EQ(p.d.GetSpectralGroupCount(), 3u);
    p.d.GetComponentEnabledGroupMask(mask);
    EXPECT_EQ(mask, mask_of(2, {0, 1}));
}

TEST(SpectralGroups, OfModeOneAreEnabledByTheirNodes) {
    Made p(6, 3, 1);
    p.d.puiColorCustom[1] |= 0x01000000;
    EXPECT_FALSE(p.d.IsGroupEnabled(1));
    for (const uint32_t mode : {0u, 2u, 3u}) {
        p.d.uiSpectralColorMode = mode;
        EXPECT_TRUE(p.d.IsGroupEnabled(1));
    }
}

// ----- Gains and offsets -------------------------------------------------------------------------

TEST(SpectralGains, AreOfTheMode) {
    Made p(6, 2, 0);
    double* const offsets[] = {p.d.pdOffsetTrueColor, p.d.pdOffsetCustom, p.d.pdOffsetGrouped,
                               p.d.pdOffsetGrayScale};
    double* const gains[] = {p.d.pdGainTrueColor, p.d.pdGainCustom, p.d.pdGainGrouped,
                             p.d.pdGainGrayScale};
    for (uint32_t mode = 0; mode < 4; ++mode) {
        p.d.uiSpectralColorMode = mode;
        EXPECT_EQ(p.d.GetGain(1), 1.0);
        EXPECT_EQ(p.d.GetOffset(1), 0.0);
        EXPECT_TRUE(p.d.IsReset());
        p.d.SetGain(1, 2.5 + mode);
        EXPECT_FALSE(p.d.IsReset());
        p.d.SetOffset(1, -1.5 - mode);
        const uint32_t at = mode == 1 || mode == 2 ? 1 : 0;  // one for any index
        EXPECT_EQ(gains[mode][at], 2.5 + mode);
        EXPECT_EQ(offsets[mode][at], -1.5 - mode);
        EXPECT_EQ(p.d.GetGain(1), 2.5 + mode);
        EXPECT_EQ(p.d.GetOffset(1), -1.5 - mode);
        EXPECT_EQ(p.d.GetGain(0), at == 1 ? 1.0 : 2.5 + mode);
        EXPECT_EQ(p.d.GetGain(1000), at == 1 ? 1.0 : 2.5 + mode);
        EXPECT_EQ(p.d.GetOffset(1000), at == 1 ? 0.0 : -1.5 - mode);
    }
    p.d.Reset();  // of mode 3 alone
    EXPECT_TRUE(p.d.IsReset());
    EXPECT_EQ(*p.d.pdGainGrayScale, 1.0);
    EXPECT_EQ(*p.d.pdOffsetGrayScale, 0.0);
    EXPECT_EQ(*p.d.pdGainTrueColor, 2.5);
    p.d.uiSpectralColorMode = 2;
    p.d.SetGain(0, 7);
    p.d.Reset(0);
    EXPECT_EQ(content(p.d.pdGainGrouped, 2), (Values{1, 4.5}));
    EXPECT_FALSE(p.d.IsReset());
    p.d.Reset(1);
    EXPECT_TRUE(p.d.IsReset());
    p.d.SetOffset(1, 1e-300);
    EXPECT_FALSE(p.d.IsReset());
    p.d.Reset();
    EXPECT_TRUE(p.d.IsReset());
    p.d.SetGain(0, std::numeric_limits<double>::quiet_NaN());
    EXPECT_FALSE(p.d.IsReset());
    p.d.Reset(99);  // of nothing
    EXPECT_FALSE(p.d.IsReset());
}

TEST(SpectralGains, ThatAreMissingAreNeutral) {
    Made p(6, 2, 2);
    p.d.Realloc(0);
    for (const uint32_t mode : {1u, 2u, 4u, 0xFFFFFFFFu}) {
        p.d.uiSpectralColorMode = mode;
        p.d.SetGain(0, 9);
        p.d.SetOffset(0, 9);
        p.d.Reset();
        EXPECT_EQ(p.d.GetGain(0), 1.0);
        EXPECT_EQ(p.d.GetOffset(0), 0.0);
        EXPECT_TRUE(p.d.IsReset());
        double offsets[6], gains[6];
        p.d.GetCompOffsetAndGains(offsets, gains);
        EXPECT_EQ(content(offsets, 6), Values(6, 0.0));
        EXPECT_EQ(content(gains, 6), Values(6, 1.0));
    }
    EXPECT_EQ(*p.d.pdGainTrueColor, 1.0);
    p.d.uiSpectralColorMode = 0;
    delete[] p.d.pdGainTrueColor;
    p.d.pdGainTrueColor = nullptr;
    p.d.SetGain(0, 9);
    EXPECT_EQ(p.d.GetGain(0), 1.0);
    p.d.SetOffset(0, 9);  // is there
    EXPECT_FALSE(p.d.IsReset());
    p.d.Reset();
    EXPECT_TRUE(p.d.IsReset());
}

TEST(SpectralGains, OfComponentsAreTheOnlyOnesOrThoseOfGroups) {
    Made p(5, 2, 0);
    double offsets[6], gains[6];
    const auto call = [&] {
        std::fill_n(offsets, 6, 77);
        std::fill_n(gains, 6, 77);
        p.d.GetCompOffsetAndGains(offsets, gains);
        return std::pair(content(offsets, 6), content(gains, 6));
    };
    for (const uint32_t mode : {0u, 3u}) {
        p.d.uiSpectralColorMode = mode;
        p.d.SetOffset(0, -1.0 - mode);
        p.d.SetGain(0, 2.0 + mode);
        const double o = -1.0 - mode, g = 2.0 + mode;
        EXPECT_EQ(call(), std::pair(Values({o, o, o, o, o, 77}), Values({g, g, g, g, g, 77})));
    }
    p.d.uiSpectralColorMode = 2;
    for (uint32_t i = 0; i < 2; ++i) p.d.SetOffset(i, 3 + i), p.d.SetGain(i, 5 + i);
    p.sCompLutParam[4].uiGroup = 9;  // which is none
    EXPECT_EQ(call(), std::pair(Values({3, 3, 3, 4, 0, 77}), Values({5, 5, 5, 6, 1, 77})));
    p.d.GetCompOffsetAndGains(nullptr, gains);
    p.d.GetCompOffsetAndGains(offsets, nullptr);
    p.d.uiSpectralCompCount = 0;
    EXPECT_EQ(call(), std::pair(Values(6, 77), Values(6, 77)));
}

TEST(SpectralGains, OfComponentsLieBetweenNodes) {
    Made p(9, 3, 1);
    // Nodes at 0, 4 and 8.
    for (uint32_t i = 0; i < 3; ++i) p.d.SetOffset(i, i * i), p.d.SetGain(i, 10.0 - i);
    double offsets[9], gains[9];
    p.d.GetCompOffsetAndGains(offsets, gains);
    EXPECT_EQ(content(offsets, 9), (Values{0, 0.25, 0.5, 0.75, 1, 1.75, 2.5, 3.25, 4}));
    EXPECT_EQ(content(gains, 9), (Values{10, 9.75, 9.5, 9.25, 9, 8.75, 8.5, 8.25, 8}));
    p.d.uiSpectralCompCount = 4;  // at 0, 1 (1.5 is cut) and 3
    p.d.GetCompOffsetAndGains(offsets, gains);
    EXPECT_EQ(content(offsets, 4), (Values{0, 1, 2.5, 4}));
    p.d.uiSpectralCompCount = 1;  // all of them at 0
    p.d.GetCompOffsetAndGains(offsets, gains);
    EXPECT_EQ(offsets[0], 4.0);
    p.d.uiSpectralCompCount = 3;
    p.d.uiGroupCount = 1;
    p.d.SetOffset(0, 6);
    p.d.GetCompOffsetAndGains(offsets, gains);
    EXPECT_EQ(content(offsets, 3), (Values{6, 6, 6}));
    p.d.uiGroupCount = 0;
    p.d.GetCompOffsetAndGains(offsets, gains);
    EXPECT_EQ(content(offsets, 3), (Values{0, 0, 0}));
    EXPECT_EQ(content(gains, 3), (Values{1, 1, 1}));
    p.d.uiGroupCount = 0xFFFFFFFF;  // limited
    p.d.GetCompOffsetAndGains(offsets, gains);
}

TEST(SpectralGains, AreInterpolated) {
    Made p;
    const auto call = [&](Values nodes, std::vector<unsigned int> positions) {
        Values dst(7, 77);
        p.d.InterpolateVals(nodes.data(), dst.data(), static_cast<unsigned>(nodes.size()),
                            positions.data());
        return dst;
    };
    EXPECT_EQ(call({0, 1}, {0, 4}), (Values{0, 0.25, 0.5, 0.75, 1, 77, 77}));
    EXPECT_EQ(call({}, {}), (Values(7, 77)));
    EXPECT_EQ(call({5}, {3}), (Values{5, 77, 77, 77, 77, 77, 77}));  // the first, wherever it is
    EXPECT_EQ(call({8, 0, 3}, {0, 2, 5}),
              (Values{8, 4, 0, 1 * (1 / 3.0) * 3, 2 * (1 / 3.0) * 3, 3, 77}));
    EXPECT_EQ(call({8, 4, 0}, {0, 0, 2}), (Values{4, 2, 0, 77, 77, 77, 77}));
    EXPECT_EQ(call({8, 4, 0}, {0, 2, 2}), (Values{8, 6, 0, 77, 77, 77, 77}));
    EXPECT_EQ(call({8, 4}, {2, 4}), (Values{8, 77, 8, 6, 4, 77, 77}));
    EXPECT_EQ(call({8, 4}, {4, 2}), (Values{8, 77, 4, 77, 77, 77, 77}));  // backwards
    EXPECT_EQ(call({1, 2}, {0, 0}), (Values{2, 77, 77, 77, 77, 77, 77}));
}

// ----- Colours -----------------------------------------------------------------------------------

TEST(SpectralColours, KeepTheFlag) {
    Made p(6, 2, 2);
    p.d.EnableGroup(1, false);
    p.d.SetGroupColor(1, 0xAB123456);
    p.d.SetCustomColor(1, 0x654321);
    p.d.SetCustomColor(0, 0xFF00AA55);
    EXPECT_EQ(group_colors(p.d), (Colors{0xFF0000, 0xFF123456}));
    EXPECT_EQ(custom_colors(p.d), (Colors{0x00AA55, 0xFF654321}));
    EXPECT_EQ(p.d.GetGroupColor(1), 0x123456u);
    EXPECT_EQ(p.d.GetCustomColor(1), 0x654321u);
    EXPECT_EQ(p.d.GetGroupColor(2), 0xFFFFFFu);
    EXPECT_EQ(p.d.GetCustomColor(0xFFFFFFFF), 0xFFFFFFu);
    p.d.SetGroupColor(2, 1);
    p.d.SetCustomColor(2, 1);
    p.d.Realloc(0);
    EXPECT_EQ(p.d.GetGroupColor(0), 0xFFFFFFu);
    EXPECT_EQ(p.d.GetCustomColor(0), 0xFFFFFFu);
    p.d.SetGroupColor(0, 1);
    EXPECT_EQ(p.d.GetGroupColor(0), 0xFFFFFFu);
}

TEST(SpectralColours, AreSetInTheArrayOfTheMode) {
    for (uint32_t mode = 0; mode < 5; ++mode) {
        Made p(6, 1, mode);
        p.d.EnableGroup(0, false);
        p.d.SetColor(0, 0x123456);
        p.d.SetColor(1, 0x123456);
        EXPECT_EQ(custom_colors(p.d), (Colors{mode == 1 ? 0xFF123456 : 0xFFFF0000}));
        EXPECT_EQ(group_colors(p.d), (Colors{mode == 2 ? 0xFF123456 : 0xFFFF0000}));
    }
}

TEST(SpectralColours, OfComponentsAreThoseOfLight) {
    Made p(5, 3, 0);
    p.d.EnableGroup(0, false);                         // no matter
    EXPECT_EQ(p.d.GetCompColor(1, false), 0xFF6700u);  // 473.5 nm: 103 of green, full blue
    EXPECT_EQ(p.d.GetCompColor(2, false), 0x01FF00u);  // 522.5 nm
    EXPECT_EQ(p.d.GetCompColor(5, false), 0xFFFFFFu);
    EXPECT_EQ(p.d.GetCompColor(0xFFFFFFFF, true), 0xFFFFFFu);
    unsigned int colors[6] = {77, 77, 77, 77, 77, 77};
    p.d.GetCompColors(colors, false, true);
    for (uint32_t c = 0; c < 5; ++c) {
        uint32_t light = 0;
        QM_RGBFromWavelength(&light, 400 + 49 * (c + 0.5));
        EXPECT_EQ(colors[c], light);
    }
    EXPECT_EQ(colors[5], 77u);
    p.d.GetCompColors(nullptr, false, false);
}

TEST(SpectralColours, OfGreyScaleAreWhite) {
    for (const uint32_t mode : {3u, 4u}) {
        Made p(2, 1, mode);
        EXPECT_EQ(p.d.GetCompColor(0, false), 0xFFFFFFu);
    }
}

TEST(SpectralColours, OfComponentsAreThoseOfGroups) {
    Made p(6, 3, 2);
    p.d.SetGroupColor(1, 0x123456);
    p.sCompLutParam[5].uiGroup = 7;  // which is none
    unsigned int colors[6];
    const auto call = [&](bool ignore, bool other) {
        p.d.GetCompColors(colors, ignore, other);
        for (uint32_t c = 0; c < 6; ++c) EXPECT_EQ(p.d.GetCompColor(c, ignore), colors[c]);
        return content(colors, 6);
    };
    EXPECT_EQ(call(false, false), (Colors{0xFF0000, 0xFF0000, 0x123456, 0x123456, 0xFF, 0}));
    p.d.EnableGroup(1, false);
    EXPECT_EQ(call(false, false), (Colors{0xFF0000, 0xFF0000, 0, 0, 0xFF, 0}));
    EXPECT_EQ(call(false, true), (Colors{0xFF0000, 0xFF0000, 0, 0, 0xFF, 0}));
    EXPECT_EQ(call(true, false), (Colors{0xFF0000, 0xFF0000, 0x123456, 0x123456, 0xFF, 0xFFFFFF}));
    p.d.Realloc(0);  // white and enabled
    EXPECT_EQ(call(false, false), (Colors{0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0}));
}

TEST(SpectralColours, OfComponentsLieBetweenNodes) {
    Made p(5, 2, 1);
    p.d.SetCustomColor(0, 0x0080FF);
    p.d.SetCustomColor(1, 0x640003);
    unsigned int colors[5];
    const auto call = [&](bool ignore) {
        p.d.GetCompColors(colors, ignore, false);
        for (uint32_t c = 0; c < 5; ++c) EXPECT_EQ(p.d.GetCompColor(c, ignore), colors[c]);
        return content(colors, 5);
    };
    // Red 255, 192, 129, 66, 3; green 128, 96, 64, 32, 0; blue 0, 25, 50, 75, 100.
    const Colors enabled{0x0080FF, 0x1960C0, 0x324081, 0x4B2042, 0x640003};
    EXPECT_EQ(call(false), enabled);
    p.d.SetCustomColor(0, 0x000001);  // bytes are cut: 1, 1.5, 2, 2.5, 3
    p.d.SetCustomColor(1, 0x000003);
    EXPECT_EQ(call(false), (Colors{1, 1, 2, 2, 3}));
    p.d.SetCustomColor(0, 0x0080FF);
    p.d.SetCustomColor(1, 0x640003);
    p.d.EnableGroup(1, false);  // fades into black
    EXPECT_EQ(call(false), (Colors{0x0080FF, 0x0060BF, 0x00407F, 0x00203F, 0}));
    EXPECT_EQ(call(true), enabled);
    p.d.uiGroupCount = 1;
    EXPECT_EQ(call(false), Colors(5, 0x0080FF));
    p.d.EnableGroup(0, false);
    EXPECT_EQ(call(false), Colors(5, 0));
    p.d.uiGroupCount = 0;
    EXPECT_EQ(call(false), Colors(5, 0xFFFFFF));
}

TEST(SpectralColours, BetweenNodesAreAsValuesAre) {
    Random random(12);
    for (uint32_t round = 0; round < 300; ++round) {
        const uint32_t components = random(1, 192), count = random(1, 30);
        Made p(components, count, 1);
        for (uint32_t i = 0; i < count; ++i) {
            p.d.SetCustomColor(i, random.any());
            if (random(0, 4) == 0) p.d.EnableGroup(i, false);
        }
        const bool ignore = random(0, 1) != 0;
        std::vector<unsigned int> colors(components), positions, wanted(components);
        p.d.GetCompColors(colors.data(), ignore, false);
        for (uint32_t i = 0; i < count; ++i)
            positions.push_back(count > 1 ? i * (components - 1) / (count - 1) : 0);
        for (const uint32_t shift : {0u, 8u, 16u}) {
            Values nodes, values(components);
            for (uint32_t i = 0; i < count; ++i)
                nodes.push_back(ignore || p.d.puiColorCustom[i] <= 0xFFFFFF
                                    ? p.d.puiColorCustom[i] >> shift & 255
                                    : 0);
            if (count == 1)
                std::fill(values.begin(), values.end(), nodes[0]);
            else
                p.d.InterpolateVals(nodes.data(), values.data(), count, positions.data());
            for (uint32_t c = 0; c < components; ++c)
                wanted[c] |= static_cast<uint32_t>(values[c]) << shift;
        }
        ASSERT_EQ(colors, wanted);
    }
}

// ----- Parts of records --------------------------------------------------------------------------

TEST(SpectralExtraction, RenumbersTheGroupsInOrder) {
    Made src(12, 4, 2), dst(5, 3, 1);
    for (uint32_t c = 0; c < 12; ++c) src.sCompLutParam[c].uiGroup = 3 - c / 3;  // backwards
    for (uint32_t i = 0; i < 4; ++i) {
        src.d.pdOffsetCustom[i] = 10 + i, src.d.pdOffsetGrouped[i] = 20 + i;
        src.d.pdGainCustom[i] = 30 + i, src.d.pdGainGrouped[i] = 40 + i;
        src.d.puiColorCustom[i] = 0xFF000050 + i, src.d.puiColorGroup[i] = 60 + i;
    }
    *src.d.pdOffsetTrueColor = 1.5, *src.d.pdGainTrueColor = 2.5;
    *src.d.pdOffsetGrayScale = 3.5, *src.d.pdGainGrayScale = 4.5;
    for (SQmCompLutParam& c : dst.sCompLutParam) c.uiGroup = 9;
    dst.d.pdGainCustom[0] = 99;
    // Groups 3, 3, 1 and 0.
    Data::ExtractGroups(dst.d, src.d, mask_of(12, {1, 2, 7, 11}));
    EXPECT_EQ(dst.groups(6), (std::vector<uint32_t>{0, 0, 1, 2, 0, 0}));
    EXPECT_EQ(dst.sCompLutParam[191].uiGroup, 0u);
    EXPECT_EQ(std::tuple(dst.d.uiGroupCount, dst.d.uiAllocated), std::tuple(3u, 3u));
    EXPECT_EQ(content(dst.d.pdOffsetCustom, 3), (Values{13, 11, 10}));
    EXPECT_EQ(content(dst.d.pdOffsetGrouped, 3), (Values{23, 21, 20}));
    EXPECT_EQ(content(dst.d.pdGainCustom, 3), (Values{33, 31, 30}));
    EXPECT_EQ(content(dst.d.pdGainGrouped, 3), (Values{43, 41, 40}));
    EXPECT_EQ(custom_colors(dst.d), (Colors{0xFF000053, 0xFF000051, 0xFF000050}));
    EXPECT_EQ(group_colors(dst.d), (Colors{63, 61, 60}));
    EXPECT_EQ(std::tuple(*dst.d.pdOffsetTrueColor, *dst.d.pdGainTrueColor, *dst.d.pdOffsetGrayScale,
                         *dst.d.pdGainGrayScale),
              std::tuple(1.5, 2.5, 3.5, 4.5));
    EXPECT_EQ(std::tuple(dst.d.GetMode(), dst.d.uiSpectralCompCount), std::tuple(1u, 5u));
    EXPECT_EQ(dst.d.pOwner, &dst);
    EXPECT_EQ(src.groups(3), (std::vector<uint32_t>{3, 3, 3}));
    EXPECT_EQ(src.d.uiGroupCount, 4u);
}

TEST(SpectralExtraction, WorksWithinOneRecord) {
    Made p(6, 3, 2);
    for (uint32_t i = 0; i < 3; ++i) p.d.SetGain(i, 5 + i);
    p.sCompLutParam[0].uiGroup = 2, p.sCompLutParam[1].uiGroup = 0;
    Data::ExtractGroups(p.d, p.d, mask_of(6, {0, 1}));
    EXPECT_EQ(content(p.d.pdGainGrouped, 2), (Values{7, 5}));
    EXPECT_EQ(p.groups(6), (std::vector<uint32_t>{0, 1, 0, 0, 0, 0}));
}

TEST(SpectralExtraction, OfNothingLeavesNoGroups) {
    Made src(6, 3, 2), dst(6, 3, 2);
    Data::ExtractGroups(dst.d, src.d, CQmRangeMask());
    EXPECT_EQ(std::tuple(dst.d.uiGroupCount, dst.d.uiAllocated), std::tuple(0u, 0u));
    EXPECT_EQ(dst.groups(6), (std::vector<uint32_t>(6, 0)));
}

TEST(SpectralExtraction, TakesNeutralValuesForWhatIsMissing) {
    Made src(4, 2, 2), dst(4, 2, 2);
    dst.d.SetGain(0, 9);
    src.d.Realloc(0);
    delete[] src.d.pdGainTrueColor;
    src.d.pdGainTrueColor = nullptr;
    *dst.d.pdGainTrueColor = 8;
    *src.d.pdOffsetTrueColor = 7;
    Data::ExtractGroups(dst.d, src.d, mask_of(4, {0, 3}));
    EXPECT_EQ(content(dst.d.pdGainGrouped, 2), (Values{1, 1}));
    EXPECT_EQ(group_colors(dst.d), (Colors{0xFFFFFF, 0xFFFFFF}));
    EXPECT_EQ(*dst.d.pdGainTrueColor, 8.0);  // both must have it
    EXPECT_EQ(*dst.d.pdOffsetTrueColor, 7.0);
}

TEST(SpectralExtraction, HasRoomFor192Groups) {
    Made src, dst;
    src.d.Realloc(192);
    src.d.uiGroupCount = src.d.uiSpectralCompCount = 192;
    for (uint32_t c = 0; c < 192; ++c) {
        src.sCompLutParam[c].uiGroup = 191 - c;
        src.d.pdGainGrouped[c] = c;
    }
    Data::ExtractGroups(dst.d, src.d, CQmRangeMask(192, 0, 191, 1));
    EXPECT_EQ(std::tuple(dst.d.uiGroupCount, dst.d.uiAllocated), std::tuple(192u, 192u));
    EXPECT_EQ(dst.d.pdGainGrouped[0], 191.0);
    EXPECT_EQ(dst.sCompLutParam[191].uiGroup, 191u);
    EXPECT_EQ(dst.d.pdGainGrouped[191], 0.0);
}

// ----- The lock ----------------------------------------------------------------------------------

#ifdef __GLIBC__
TEST(SpectralLock, ThrowsTheSystemsErrorAndNothingChanges) {
    Made p(6, 3, 2), other(6, 3, 2);
    CQmRangeMask mask = mask_of(7, {3});
    double values[6] = {};
    unsigned int numbers[6] = {};
    Data& d = p.d;
    const std::vector<std::function<void()>> calls{
        [&] { std::as_const(d).GetMode(); },
        [&] { d.GetSpectralGroupCount(); },
        [&] { d.GetAllGroupCount(numbers, true); },
        [&] { d.SetGroupCount(5); },
        [&] { d.Realloc(7); },
        [&] { d.InsertGroup(0, numbers); },
        [&] { d.RemoveGroup(0, numbers); },
        [&] { d.IsAbleToInsertGroup(0); },
        [&] { d.IsAbleToRemoveGroup(0); },
        [&] { d.EnableGroup(0, false); },
        [&] { d.IsGroupEnabled(0); },
        [&] { d.GetEnabledGroupMask(mask); },
        [&] { d.GetComponentEnabledGroupMask(mask); },
        [&] { d.GetGain(0); },
        [&] { d.GetOffset(0); },
        [&] { d.SetGain(0, 5); },
        [&] { d.SetOffset(0, 5); },
        [&] { d.GetGroupColor(0); },
        [&] { d.GetCustomColor(0); },
        [&] { d.SetGroupColor(0, 5); },
        [&] { d.SetCustomColor(0, 5); },
        [&] { d.SetColor(0, 5); },
        [&] { d.GetCompColor(0, false); },
        [&] { d.GetCompColors(numbers, false, false); },
        [&] { d.GetCompOffsetAndGains(values, values); },
        [&] { d.InterpolateVals(values, values, 1, numbers); },
        [&] { d.Reset(); },
        [&] { d.Reset(0); },
        [&] { d.IsReset(); },
        [&] { Data::ExtractGroups(d, other.d, mask); },
        [&] { Data::ExtractGroups(other.d, d, mask); },
    };
    const auto before = groups_of(p.d);
    for (size_t i = 0; i < calls.size(); ++i) {
        {
            const ExhaustedLock lock(p);
            EXPECT_THROW(calls[i](), std::system_error) << i;
            EXPECT_EQ(d.GetNonTransmittedComponentCount(), 6u);  // needs none
        }
        EXPECT_EQ(groups_of(p.d), before) << i;
        EXPECT_EQ(groups_of(other.d), before) << i;
        EXPECT_EQ(p.d.uiGroupCount, 3u) << i;
        EXPECT_EQ(mask, mask_of(7, {3})) << i;
    }
}
#endif

}  // namespace
}  // namespace qmpic::test
