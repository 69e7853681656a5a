#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "qmpic/Gradient.h"
#include "qmpic/LutParam.h"
#include "qmpic/RatioDesc.h"
#include "qmpic/status.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/stored.h"

namespace qmpic::test {
namespace {

const bool registered = add_cases(
    {}, {},
    {"SQmLutParam::SaveToVariant", "SQmLutParam::LoadFromVariant",
     "SQmGradientConfig::SaveToVariant", "SQmGradientConfig::LoadFromVariant",
     "SQmGradientConfigs::SaveToVariant", "SQmGradientConfigs::LoadFromVariant",
     "SQmRatioDesc::SQmRatioDesc", "SQmRatioDesc::operator=", "SQmRatioDesc::SaveToVariant",
     "SQmRatioDesc::LoadFromVariant", "SQmRatioDesc::SaveToLiteVariant",
     "SQmRatioDesc::LoadFromLiteVariant"});

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

std::wstring name_of(const CQmVariant& v) { return v.GetName().c_str(); }

/// A list of values; also with those that are no longer, or not yet, what a record stores.
CQmVariant level(const wchar_t* name, std::initializer_list<CQmVariant> children) {
    CQmVariant variant;
    variant.SetName(name);
    EXPECT_EQ(variant.SetRunType(L"CQmListVariant"), QM_OK);
    for (const CQmVariant& child : children) EXPECT_EQ(variant.Append(child), QM_OK);
    return variant;
}

const CQmVariant& at(const CQmVariant& variant, std::initializer_list<const wchar_t*> path) {
    const CQmVariant* found = &variant;
    for (const wchar_t* const name : path) {
        found = found->SearchFixedOneLevel(name);
        if (found == nullptr) {
            ADD_FAILURE() << name;
            return variant;
        }
    }
    return *found;
}

// ----- Display parameters ------------------------------------------------------------------------

/// What tests/data/stored/make.py describes.
void fill(SQmLutParam& p) {
    p.uiGradient = 7;
    p.uiGradientBrightField = 9;
    p.uiMinSrc = 1;
    p.uiMaxSrc = 65534;
    p.dGammaSrc = 0.75;
    p.uiMinDst = 3;
    p.uiMaxDst = 65000;
    p.uiColorSpace = 2;
    p.uiRepresentation = 5;
    p.uiLutComponentCount = 6;
    p.bFloat = true;
    p.fMinSrc = 11;
    p.fMaxSrc = 12;
    for (uint16_t i = 0; i < 5; ++i) {
        SQmCompLutParam& c = p.sCompLutParam[i];
        c.uiMinSrc = static_cast<uint16_t>(100 + i);
        c.uiMaxSrc = static_cast<uint16_t>(60000 + i);
        c.fMinSrc = 0.25f * i;
        c.fMaxSrc = 0.5f + 0.125f * i;
        c.dGammaSrc = 1.5 + i;
        c.uiMinDst = static_cast<uint16_t>(200 + i);
        c.uiMaxDst = static_cast<uint16_t>(50000 + i);
        c.uiGroup = i / 2;
    }
    auto& s = p.sLutDataSpectral;
    s.uiSpectralCompCount = 4;
    s.Realloc(2);
    s.uiGroupCount = 2;
    *s.pdGainTrueColor = 4.0;
    *s.pdOffsetTrueColor = 0.125;
    *s.pdGainGrayScale = 5.0;
    *s.pdOffsetGrayScale = 0.375;
    s.uiSpectralColorMode = 2;
    for (uint32_t i = 0; i < 2; ++i) {
        s.puiColorGroup[i] = 0x102030 + i;
        s.puiColorCustom[i] = 0xFF405060 + i;
        s.pdGainCustom[i] = 2.0 + i;
        s.pdOffsetCustom[i] = -0.5 - i;
        s.pdGainGrouped[i] = 3.0 + i;
        s.pdOffsetGrouped[i] = 0.75 + i;
    }
}

Bytes saved(const SQmLutParam& p) {
    CQmVariant v;
    EXPECT_EQ(SQmLutParam::SaveToVariant(v, p), QM_OK);
    return written(v);
}
int load(SQmLutParam& p, const CQmVariant& v) { return SQmLutParam::LoadFromVariant(p, v); }

TEST(StoredLutParam, IsThatOfTheDocumentation) {
    SQmLutParam p;
    fill(p);
    const Bytes expected = golden("SQmLutParam");
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(saved(p), expected);
}

TEST(StoredLutParam, ComesBackButForWhatIsNotStored) {
    SQmLutParam expected, p;
    fill(expected);
    *p.sLutDataSpectral.pdOffsetGrayScale = 0.625;
    p.sCompLutParam[5].uiMinSrc = 55;
    p.sLutDataSpectral.uiSpectralCompCount = 9;
    ASSERT_EQ(load(p, tree(golden("SQmLutParam"))), QM_OK);
    EXPECT_EQ(p.uiGradient, 7u);
    EXPECT_EQ(p.uiGradientBrightField, 9u);
    EXPECT_EQ(p.uiMinSrc, 1);
    EXPECT_EQ(p.uiMaxSrc, 65534);
    EXPECT_EQ(p.dGammaSrc, 0.75);
    EXPECT_EQ(p.uiMinDst, 3);
    EXPECT_EQ(p.uiMaxDst, 65000);
    EXPECT_EQ(p.uiColorSpace, 2u);
    EXPECT_EQ(p.uiRepresentation, 5u);
    EXPECT_EQ(p.uiLutComponentCount, 6u);
    for (int i = 0; i < 5; ++i) {
        const SQmCompLutParam &a = p.sCompLutParam[i], &b = expected.sCompLutParam[i];
        EXPECT_EQ(a.uiMinSrc, b.uiMinSrc);
        EXPECT_EQ(a.uiMaxSrc, b.uiMaxSrc);
        EXPECT_EQ(a.fMinSrc, b.fMinSrc);
        EXPECT_EQ(a.fMaxSrc, b.fMaxSrc);
        EXPECT_EQ(a.dGammaSrc, b.dGammaSrc);
        EXPECT_EQ(a.uiMinDst, b.uiMinDst);
        EXPECT_EQ(a.uiMaxDst, b.uiMaxDst);
        EXPECT_EQ(a.uiGroup, b.uiGroup);
    }
    EXPECT_EQ(p.sCompLutParam[5].uiMinSrc, 55) << "not stored, not touched";
    const auto &s = p.sLutDataSpectral, &e = expected.sLutDataSpectral;
    EXPECT_EQ(s.uiGroupCount, 2u);
    ASSERT_EQ(s.uiAllocated, 2u);
    EXPECT_EQ(*s.pdGainTrueColor, 4.0);
    EXPECT_EQ(*s.pdOffsetTrueColor, 0.125);
    EXPECT_EQ(*s.pdGainGrayScale, 5.0);
    EXPECT_EQ(s.uiSpectralColorMode, 2u);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(s.puiColorGroup[i], e.puiColorGroup[i]);
        EXPECT_EQ(s.puiColorCustom[i], e.puiColorCustom[i]);
        EXPECT_EQ(s.pdGainCustom[i], e.pdGainCustom[i]);
        EXPECT_EQ(s.pdOffsetCustom[i], e.pdOffsetCustom[i]);
        EXPECT_EQ(s.pdGainGrouped[i], e.pdGainGrouped[i]);
        EXPECT_EQ(s.pdOffsetGrouped[i], e.pdOffsetGrouped[i]);
    }
    // The spelling of the key loses the offset; the rest is not stored at all.
    EXPECT_EQ(*s.pdOffsetGrayScale, 0.625);
    EXPECT_EQ(s.uiSpectralCompCount, 9u);
    EXPECT_FALSE(p.bFloat);
    EXPECT_EQ(p.fMinSrc, FLT_MAX);
    EXPECT_EQ(p.fMaxSrc, -FLT_MAX);

    // So what was loaded is saved as it was, but for that offset.
    p.sLutDataSpectral.uiSpectralCompCount = 4;
    EXPECT_NE(saved(p), golden("SQmLutParam"));
    *s.pdOffsetGrayScale = 0.375;
    EXPECT_EQ(saved(p), golden("SQmLutParam"));
}

TEST(StoredLutParam, ReadsTheKeyThatIsNeverWritten) {
    SQmLutParam p;
    ASSERT_EQ(
        load(p, level(L"", {level(L"sLutDataSpectral", {CQmVariant(0.5, L"dOffsetGrayScal"),
                                                        CQmVariant(0.25, L"dOffsetGrayScale")})})),
        QM_OK);
    EXPECT_EQ(*p.sLutDataSpectral.pdOffsetGrayScale, 0.25);
}

TEST(StoredLutParam, SavesOneComponentMoreThanAreSpectral) {
    SQmLutParam p;
    for (const auto& [spectral, saved] : {std::pair{0u, 192u},
                                          {1u, 3u},
                                          {2u, 3u},
                                          {3u, 4u},
                                          {4u, 5u},
                                          {190u, 191u},
                                          {191u, 192u},
                                          {192u, 192u},
                                          {0xFFFFFFFFu, 192u}}) {
        p.sLutDataSpectral.uiSpectralCompCount = spectral;
        CQmVariant v;
        ASSERT_EQ(SQmLutParam::SaveToVariant(v, p), QM_OK);
        const CQmVariant& components = at(v, {L"sCompLutParam"});
        ASSERT_EQ(components.GetCount(), saved) << spectral;
        EXPECT_EQ(name_of(components[0]), L"a00");
        EXPECT_EQ(name_of(components[saved - 1]), saved > 10 ? L"a" + std::to_wstring(saved - 1)
                                                             : L"a0" + std::to_wstring(saved - 1));
        EXPECT_EQ(name_of(components[100]), saved > 100 ? L"a100" : L"");
    }
    p.sLutDataSpectral.uiSpectralCompCount = 0;
}

TEST(StoredLutParam, SavesWhatIsAllocated) {
    SQmLutParam p;
    CQmVariant v;
    ASSERT_EQ(SQmLutParam::SaveToVariant(v, p), QM_OK);
    EXPECT_EQ(at(v, {L"sLutDataSpectral"}).GetCount(), 5u) << "no groups, but a count of them";
    EXPECT_EQ(at(v, {L"uiGroupCount"}).GetQm_uint32(), 3u);
    p.sLutDataSpectral.Realloc(101);
    ASSERT_EQ(SQmLutParam::SaveToVariant(v, p), QM_OK);
    const CQmVariant& data = at(v, {L"sLutDataSpectral"});
    ASSERT_EQ(data.GetCount(), 106u);
    EXPECT_EQ(name_of(data[5]), L"aGroup00");
    EXPECT_EQ(name_of(data[105]), L"aGroup100");
    EXPECT_EQ(at(v, {L"uiGroupCount"}).GetQm_uint32(), 3u);
}

// The records of another library version could be without them.
TEST(StoredLutParam, SavesAndLoadsWithoutSingleGains) {
    SQmLutParam p;
    auto& s = p.sLutDataSpectral;
    double* const kept[] = {std::exchange(s.pdGainTrueColor, nullptr),
                            std::exchange(s.pdGainGrayScale, nullptr)};
    CQmVariant v;
    EXPECT_EQ(SQmLutParam::SaveToVariant(v, p), QM_OK);
    EXPECT_EQ(at(v, {L"sLutDataSpectral"}).GetCount(), 1u);
    EXPECT_EQ(load(p, tree(golden("SQmLutParam"))), QM_OK);
    EXPECT_EQ(*s.pdOffsetTrueColor, 0.0);
    s.pdGainTrueColor = kept[0];
    s.pdGainGrayScale = kept[1];
}

TEST(StoredLutParam, ReplacesWhatTheVariantHeld) {
    const SQmLutParam p;
    CQmVariant v(L"text", L"mine");
    ASSERT_EQ(SQmLutParam::SaveToVariant(v, p), QM_OK);
    EXPECT_EQ(v.GetCount(), 13u);
    ASSERT_EQ(SQmLutParam::SaveToVariant(v, p), QM_OK);
    EXPECT_EQ(v.GetCount(), 13u);
    EXPECT_EQ(name_of(v), L"mine");
    EXPECT_EQ(v.SetRunType(nullptr), QM_OK) << "changes of type are enabled";
}

TEST(StoredLutParam, LeavesAloneWhatIsAbsent) {
    SQmLutParam p;
    fill(p);
    const Bytes before = saved(p);
    for (const CQmVariant& v :
         {CQmVariant(), CQmVariant(5u, L"uiGradient"), level(L"", {}),
          level(L"", {level(L"sCompLutParam", {level(L"a192", {CQmVariant(1u, L"uiMinSrc")}),
                                               level(L"a0", {CQmVariant(1u, L"uiMinSrc")})}),
                      level(L"sLutDataSpectral", {level(L"aGroup02", {})})}),
          // Known keys, but not what belongs there.
          level(L"", {CQmVariant(L"3", L"uiGradient"), CQmVariant(2.5, L"uiMinSrc"),
                      CQmVariant(L"x", L"dGammaSrc"), CQmVariant(-1.0, L"uiMaxSrc"),
                      CQmVariant(5u, L"sCompLutParam"), CQmVariant(5u, L"sLutDataSpectral")})}) {
        EXPECT_EQ(load(p, v), QM_OK);
        EXPECT_EQ(saved(p), before);
    }
}

TEST(StoredLutParam, LeavesSpectralDataAloneWithoutTheirLevel) {
    SQmLutParam p;
    fill(p);
    EXPECT_EQ(load(p, level(L"", {CQmVariant(9u, L"uiGroupCount")})), QM_OK);
    EXPECT_EQ(p.sLutDataSpectral.uiGroupCount, 9u);
    EXPECT_EQ(p.sLutDataSpectral.uiAllocated, 2u);
    EXPECT_EQ(p.sLutDataSpectral.pdGainCustom[1], 3.0);
    EXPECT_EQ(load(p, level(L"", {level(L"sLutDataSpectral", {})})), QM_OK);
    EXPECT_EQ(p.sLutDataSpectral.uiAllocated, 9u) << "the count that was there before";
    EXPECT_EQ(p.sLutDataSpectral.pdGainCustom[1], 3.0);
    EXPECT_EQ(p.sLutDataSpectral.pdGainCustom[8], 1.0);
}

TEST(StoredLutParam, ReadsTheGroupsThatAreCounted) {
    SQmLutParam p;
    const auto group = [](const wchar_t* name, double gain) {
        return level(name, {CQmVariant(gain, L"dGainGrouped")});
    };
    const CQmVariant v = level(
        L"", {CQmVariant(2u, L"uiGroupCount"),
              level(L"sLutDataSpectral", {group(L"aGroup02", 7.0), group(L"aGroup01", 6.0),
                                          group(L"aGroup00", 5.0), group(L"aGroup01", 8.0)})});
    EXPECT_EQ(load(p, v), QM_OK);
    ASSERT_EQ(p.sLutDataSpectral.uiAllocated, 2u);
    EXPECT_EQ(p.sLutDataSpectral.pdGainGrouped[0], 5.0);
    EXPECT_EQ(p.sLutDataSpectral.pdGainGrouped[1], 6.0) << "the first of a name";
    EXPECT_EQ(p.sLutDataSpectral.pdGainCustom[1], 1.0);
}

TEST(StoredLutParam, HasAtMost192Groups) {
    for (const unsigned int count : {191u, 192u, 193u, 0x80000000u, 0xFFFFFFFFu}) {
        SQmLutParam p;
        const unsigned int limited = count < 192 ? count : 192;
        EXPECT_EQ(load(p, level(L"", {CQmVariant(count, L"uiGroupCount"),
                                      level(L"sLutDataSpectral", {})})),
                  QM_OK);
        EXPECT_EQ(p.sLutDataSpectral.uiGroupCount, limited);
        EXPECT_EQ(p.sLutDataSpectral.uiAllocated, limited);
    }
    SQmLutParam p;
    fill(p);
    EXPECT_EQ(load(p, level(L"", {CQmVariant(0u, L"uiGroupCount"),
                                  level(L"sLutDataSpectral", {level(L"aGroup00", {})})})),
              QM_OK);
    EXPECT_EQ(p.sLutDataSpectral.uiAllocated, 0u);
}

TEST(StoredLutParam, CutsNumbersToTheirFields) {
    SQmLutParam p;
    EXPECT_EQ(
        load(p, level(L"", {CQmVariant(0x12345u, L"uiMinSrc"), CQmVariant(70000.0, L"uiMaxDst"),
                            CQmVariant(3u, L"dGammaSrc"), CQmVariant(true, L"uiColorSpace"),
                            level(L"sCompLutParam",
                                  {level(L"a191", {CQmVariant(0xFFFF8001u, L"uiMinDst"),
                                                   CQmVariant(0.1, L"fMinSrc"),
                                                   CQmVariant(0xFFFFFFFFu, L"uiGroup")})})})),
        QM_OK);
    EXPECT_EQ(p.uiMinSrc, 0x2345);
    EXPECT_EQ(p.uiMaxDst, 70000 - 65536);
    EXPECT_EQ(p.dGammaSrc, 3.0);
    EXPECT_EQ(p.uiColorSpace, 1u);
    EXPECT_EQ(p.sCompLutParam[191].uiMinDst, 0x8001);
    EXPECT_EQ(p.sCompLutParam[191].fMinSrc, 0.1f);
    EXPECT_EQ(p.sCompLutParam[191].uiGroup, 0xFFFFFFFFu);
}

// ----- Gradients ---------------------------------------------------------------------------------

SQmGradientConfig warm() {
    SQmGradientConfig config;
    config.m_sName = L"Gr\u00FCn \u2192 \u706B";
    config.sNodes[0] = {0.0, 0xFF8000};
    config.sNodes[1].m_uiNodeColor = 0x123456;
    config.sNodes[2] = {100.0, 0xFFFFFFFF};
    config.m_bInterpolate = false;
    config.m_bAbsolute = true;
    config.m_bSymmetric = true;
    config.m_dCenter = -2.5;
    return config;
}
Bytes saved(SQmGradientConfig config) {
    CQmVariant v;
    EXPECT_EQ(config.SaveToVariant(&v), QM_OK);
    return written(v);
}

TEST(StoredGradient, IsThatOfTheDocumentation) {
    const Bytes expected = golden("SQmGradientConfig");
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(saved(warm()), expected);

    const CQmVariant v = tree(expected);
    SQmGradientConfig config;
    config.sNodes[1].m_dNodeVal = 50;
    config.sNodes[9] = {7, 7};
    ASSERT_EQ(config.LoadFromVariant(&v), QM_OK);
    EXPECT_EQ(config.m_sName, warm().m_sName);
    EXPECT_EQ(config.sNodes[0].m_dNodeVal, 0.0);
    EXPECT_TRUE(std::isnan(config.sNodes[1].m_dNodeVal));
    EXPECT_EQ(config.sNodes[1].m_uiNodeColor, 0x123456u);
    EXPECT_EQ(config.sNodes[2].m_dNodeVal, 100.0);
    EXPECT_EQ(config.sNodes[2].m_uiNodeColor, 0xFFFFFFFFu);
    EXPECT_TRUE(std::isnan(config.sNodes[9].m_dNodeVal));
    EXPECT_EQ(config.sNodes[9].m_uiNodeColor, 0u);
    EXPECT_FALSE(config.m_bInterpolate);
    EXPECT_TRUE(config.m_bAbsolute);
    EXPECT_TRUE(config.m_bSymmetric);
    EXPECT_EQ(config.m_dCenter, -2.5);
    EXPECT_EQ(saved(config), expected);
}

TEST(StoredGradient, WantsItsName) {
    SQmGradientConfig config = warm();
    EXPECT_EQ(config.SaveToVariant(nullptr), QM_BAD_BUFFER);
    EXPECT_EQ(config.LoadFromVariant(nullptr), QM_BAD_BUFFER);
    CQmVariant v = tree(golden("SQmGradientConfig"));
    for (const wchar_t* const name : {L"", L"SQmGradientConfigs", L"sqmGradientConfig"}) {
        v.SetName(name);
        SQmGradientConfig other;
        EXPECT_EQ(other.LoadFromVariant(&v), QM_BAD_BUFFER);
        EXPECT_EQ(saved(other), saved(SQmGradientConfig()));
    }
    const CQmVariant null = level(L"SQmGradientConfig", {});
    EXPECT_EQ(config.LoadFromVariant(&null), QM_OK);
    EXPECT_EQ(saved(config), golden("SQmGradientConfig")) << "nothing is there, nothing changes";

    CQmVariant held(L"text", L"name");
    EXPECT_EQ(config.SaveToVariant(&held), QM_OK);
    EXPECT_EQ(name_of(held), L"SQmGradientConfig");
    EXPECT_EQ(held.GetCount(), 35u);
}

TEST(StoredGradient, AsksForAPositionUnlessItIsDeniedToBeOne) {
    SQmGradientConfig config;
    const CQmVariant v =
        level(L"SQmGradientConfig",
              {CQmVariant(1.5, L"m_dNodeVal0"), CQmVariant(2.5, L"m_dNodeVal1"),
               CQmVariant(true, L"m_bNodeValid1"), CQmVariant(3.5, L"m_dNodeVal2"),
               CQmVariant(false, L"m_bNodeValid2"), CQmVariant(kNan, L"m_dNodeVal3"),
               CQmVariant(true, L"m_bNodeValid3"), CQmVariant(0u, L"m_bNodeValid4"),
               CQmVariant(4.5, L"m_dNodeVal4"), CQmVariant(5.5, L"m_dNodeVal10")});
    for (auto& node : config.sNodes) node.m_dNodeVal = 9;
    EXPECT_EQ(config.LoadFromVariant(&v), QM_OK);
    EXPECT_EQ(config.sNodes[0].m_dNodeVal, 1.5);
    EXPECT_EQ(config.sNodes[1].m_dNodeVal, 2.5);
    EXPECT_TRUE(std::isnan(config.sNodes[2].m_dNodeVal));
    EXPECT_TRUE(std::isnan(config.sNodes[3].m_dNodeVal));
    EXPECT_EQ(config.sNodes[4].m_dNodeVal, 4.5) << "a number is not a bool";
    EXPECT_EQ(config.sNodes[5].m_dNodeVal, 9.0);
}

TEST(StoredGradient, RefusesNamesThatCannotBeStored) {
    SQmGradientConfig config;
    config.m_sName = std::wstring((1 << 20) + 1, L'x');
    CQmVariant v(5u, L"v");
    EXPECT_EQ(config.SaveToVariant(&v), QM_BAD_BUFFER);
    EXPECT_EQ(v.GetCount(), 0u);
    bool is_number = true;
    v.GetQm_uint32(&is_number);
    EXPECT_FALSE(is_number) << "null";
}

class StoredGradients : public testing::Test {
  protected:
    StoredGradients() { SQmGradientConfigs::Free(); }
    ~StoredGradients() override { SQmGradientConfigs::Free(); }
    static void add(SQmGradientConfig config) {
        EXPECT_EQ(SQmGradientConfigs::AddGradientConfig(&config), QM_OK);
    }
    static Bytes saved_list() {
        CQmVariant v;
        EXPECT_EQ(SQmGradientConfigs::SaveToVariant(&v), QM_OK);
        return written(v);
    }
};

TEST_F(StoredGradients, AreThoseOfTheDocumentation) {
    ASSERT_FALSE(golden("SQmGradientConfigs_none").empty());
    EXPECT_EQ(saved_list(), golden("SQmGradientConfigs_none"));
    add(warm());
    add({});
    EXPECT_EQ(saved_list(), golden("SQmGradientConfigs"));
    add(warm());

    const CQmVariant v = tree(golden("SQmGradientConfigs")),
                     none = tree(golden("SQmGradientConfigs_none"));
    EXPECT_EQ(SQmGradientConfigs::LoadFromVariant(&v), QM_OK)
        << "in place of those that were there";
    EXPECT_EQ(SQmGradientConfigs::GetCount(), 2u);
    EXPECT_EQ(saved_list(), golden("SQmGradientConfigs"));
    EXPECT_EQ(SQmGradientConfigs::LoadFromVariant(&none), QM_OK);
    EXPECT_EQ(SQmGradientConfigs::GetCount(), 0u);
}

TEST_F(StoredGradients, WantTheirName) {
    add(warm());
    EXPECT_EQ(SQmGradientConfigs::SaveToVariant(nullptr), QM_BAD_BUFFER);
    EXPECT_EQ(SQmGradientConfigs::LoadFromVariant(nullptr), QM_BAD_BUFFER);
    CQmVariant v = tree(golden("SQmGradientConfigs"));
    v.SetName(L"m_pGradientConfigs");
    EXPECT_EQ(SQmGradientConfigs::LoadFromVariant(&v), QM_BAD_BUFFER);
    EXPECT_EQ(SQmGradientConfigs::GetCount(), 1u) << "still there";
}

TEST_F(StoredGradients, EndWithWhatIsNone) {
    const CQmVariant one = tree(golden("SQmGradientConfig"));
    for (const auto& [v, count] :
         {std::pair{level(L"CustomLUTs", {}), 0u},
          {level(L"CustomLUTs", {CQmVariant(5u, L"m_pGradientConfigs")}), 0u},
          {level(L"CustomLUTs",
                 {level(L"m_pGradientConfigs", {one, one, CQmVariant(5u, L"other"), one})}),
           2u},
          {level(L"CustomLUTs", {level(L"m_pGradientConfigs", {CQmVariant(), one})}), 0u}}) {
        add(warm());
        EXPECT_EQ(SQmGradientConfigs::LoadFromVariant(&v), QM_OK);
        EXPECT_EQ(SQmGradientConfigs::GetCount(), count);
    }
}

// ----- Ratios ------------------------------------------------------------------------------------

SQmRatioDesc ratio() {
    SQmRatioDesc desc;
    desc.uiNumer = 1;
    desc.uiDenom = 3;
    desc.uiNumOffset = 300;
    desc.uiDenOffset = 65535;
    desc.bReserved = 9;
    desc.uiReserved = 9;
    desc.ui64Reserved1 = desc.ui64Reserved2 = 9;
    desc.dMin = 0.5;
    desc.dMax = 4.0;
    return desc;
}
std::vector<double> fields(const SQmRatioDesc& d) {
    const uint64_t integers[] = {d.uiNumer,   d.uiDenom,    d.uiNumOffset,   d.uiDenOffset,
                                 d.bReserved, d.uiReserved, d.ui64Reserved1, d.ui64Reserved2};
    std::vector<double> all;
    for (const uint64_t value : integers) all.push_back(static_cast<double>(value));
    all.push_back(d.dMin);
    all.push_back(d.dMax);
    return all;
}
const std::vector<double> kFresh{0, 0, 0, 0, 0, 0, 0, 0, 0, 2};
const std::vector<double> kLoaded{1, 3, 300, 65535, 0, 0, 0, 0, 0.5, 4};

Bytes saved(const SQmRatioDesc& desc) {
    CQmVariant v(L"text", L"");
    EXPECT_EQ(SQmRatioDesc::SaveToVariant(v, desc), QM_OK);
    return written(v);
}
Bytes saved_light(const SQmRatioDesc& desc) {
    CQmLiteVariantW w;
    EXPECT_EQ(SQmRatioDesc::SaveToLiteVariant(w, desc), QM_OK);
    return written(w);
}
int load_light(SQmRatioDesc& desc, const Bytes& bytes) {
    CQmLiteVariantR r(bytes.data(), bytes.size());
    const int code = SQmRatioDesc::LoadFromLiteVariant(desc, r);
    EXPECT_EQ(r.LevelEnd(), QM_REJECTED) << "no level is left open";
    return code;
}

TEST(RatioDesc, IsCopiedWithItsReservedFields) {
    EXPECT_EQ(fields(SQmRatioDesc()), kFresh);
    SQmRatioDesc a = ratio(), b, c;
    const SQmRatioDesc d = a;
    b = a;
    c = std::move(a);
    EXPECT_EQ(fields(b), fields(ratio()));
    EXPECT_EQ(fields(c), fields(ratio()));
    EXPECT_EQ(fields(d), fields(ratio()));
}

TEST(StoredRatioDesc, IsThatOfTheDocumentation) {
    const Bytes expected = golden("SQmRatioDesc"), light = golden("SQmRatioDesc_light");
    ASSERT_FALSE(expected.empty() || light.empty());
    EXPECT_EQ(saved(ratio()), expected);
    EXPECT_EQ(saved_light(ratio()), light);

    SQmRatioDesc desc;
    EXPECT_EQ(SQmRatioDesc::LoadFromVariant(desc, tree(expected)), QM_OK);
    EXPECT_EQ(fields(desc), kLoaded);
    EXPECT_EQ(saved(desc), expected);
    SQmRatioDesc other;
    EXPECT_EQ(load_light(other, light), QM_OK);
    EXPECT_EQ(fields(other), kLoaded);
    EXPECT_EQ(saved_light(other), light);
}

TEST(StoredRatioDesc, StaysOrBecomesZeroWhereAKeyIsMissing) {
    SQmRatioDesc desc = ratio();
    EXPECT_EQ(SQmRatioDesc::LoadFromVariant(desc, CQmVariant()), QM_OK);
    EXPECT_EQ(fields(desc), fields(ratio())) << "the tree has no defaults";
    EXPECT_EQ(SQmRatioDesc::LoadFromVariant(desc, level(L"", {CQmVariant(0x101u, L"uiNumer"),
                                                              CQmVariant(0x10002u, L"uiDenOffset"),
                                                              CQmVariant(5u, L"dMax")})),
              QM_OK);
    EXPECT_EQ(desc.uiNumer, 1) << "cut to its field";
    EXPECT_EQ(desc.uiDenOffset, 2);
    EXPECT_EQ(desc.uiDenom, 3);
    EXPECT_EQ(desc.dMax, 5.0);

    desc = ratio();
    CQmLiteVariantW w;
    EXPECT_EQ(w.LevelBegin(L"RatioDesc"), QM_OK);
    EXPECT_EQ(w.Set(L"uiDenom", 0x1FFu), QM_OK);
    EXPECT_EQ(w.Set(L"dMin", 7), QM_OK);
    EXPECT_EQ(w.LevelEnd(), QM_OK);
    EXPECT_EQ(load_light(desc, written(w)), QM_OK);
    EXPECT_EQ(fields(desc), (std::vector<double>{0, 255, 0, 0, 9, 9, 9, 9, 7, 4}));
}

TEST(StoredRatioDesc, WantsItsLevel) {
    SQmRatioDesc desc = ratio();
    EXPECT_EQ(load_light(desc, written(CQmLiteVariantW())), QM_BAD_BUFFER);
    EXPECT_EQ(load_light(desc, golden("SQmRatioDesc")), QM_BAD_BUFFER);
    EXPECT_EQ(load_light(desc, {}), QM_BAD_BUFFER);
    EXPECT_EQ(fields(desc), fields(ratio()));
    CQmLiteVariantW w;
    for (int i = 0; i < 64; ++i) ASSERT_EQ(w.LevelBegin(L""), QM_OK);
    EXPECT_EQ(SQmRatioDesc::SaveToLiteVariant(w, desc), QM_BAD_BUFFER);
    for (int i = 0; i < 64; ++i) ASSERT_EQ(w.LevelEnd(), QM_OK);
    EXPECT_EQ(w.LevelEnd(), QM_REJECTED);
}

// ----- Bytes that are not to be believed ---------------------------------------------------------

/// All that load a record, from a tree or levels of any kind.
void load_all(const CQmVariant& v, const Bytes& bytes) {
    SQmLutParam param;
    EXPECT_EQ(load(param, v), QM_OK);
    EXPECT_LE(param.sLutDataSpectral.uiAllocated, 192u);
    SQmGradientConfig config;
    config.LoadFromVariant(&v);
    EXPECT_FALSE(saved(config).empty());
    SQmGradientConfigs::LoadFromVariant(&v);
    SQmRatioDesc desc;
    EXPECT_EQ(SQmRatioDesc::LoadFromVariant(desc, v), QM_OK);
    load_light(desc, bytes);
}

TEST_F(StoredGradients, AndAllRecordsSurviveEveryFlippedBit) {
    for (const char* const name : kGolden) {
        const Bytes whole = golden(name);
        for (size_t bit = 0; bit < 8 * whole.size(); ++bit) {
            Bytes flipped = whole;
            flipped[bit / 8] ^= static_cast<uint8_t>(1u << bit % 8);
            CQmVariant v;
            if (CQmVariant::Read(v, flipped.data(), flipped.size()) != QM_OK) continue;
            if (bit % 7 == 0) load_all(v, flipped);  // each of a byte's bits now and then
        }
        load_all(tree(whole), whole);
    }
}

// Loading takes the first of a name, and keeps what it does not find: whatever is saved is stored
// the same when it was loaded into a fresh record.
TEST(StoredLutParam, IsTheSameWhenSavedOnceMore) {
    Random random(3);
    for (int round = 0; round < 40; ++round) {
        SQmLutParam p, q;
        const auto word = [&] { return static_cast<uint16_t>(random.any()); };
        p.uiGradient = random.any();
        p.uiMinSrc = word();
        p.uiMaxSrc = word();
        p.dGammaSrc = random.any() / 65536.0;
        p.uiMinDst = word();
        p.uiMaxDst = word();
        p.uiColorSpace = random.any();
        for (SQmCompLutParam& c : p.sCompLutParam) {
            c.uiMinSrc = word();
            c.uiMaxSrc = word();
            c.fMinSrc = static_cast<float>(random.any());
            c.dGammaSrc = random.any() / 3.0;
            c.uiGroup = random.any();
        }
        auto& s = p.sLutDataSpectral;
        s.uiSpectralCompCount = random(0, 200);
        s.uiGroupCount = random(0, 12);
        s.Realloc(s.uiGroupCount);
        for (uint32_t g = 0; g < s.uiAllocated; ++g) {
            s.pdGainCustom[g] = random.any() / 7.0;
            s.puiColorGroup[g] = random.any();
        }
        q.sLutDataSpectral.uiSpectralCompCount = s.uiSpectralCompCount;
        const Bytes bytes = saved(p);
        ASSERT_EQ(load(q, tree(bytes)), QM_OK);
        ASSERT_EQ(saved(q), bytes);
        s.uiSpectralCompCount = q.sLutDataSpectral.uiSpectralCompCount = 0;
    }
}

// ----- Memory ------------------------------------------------------------------------------------

TEST_F(StoredGradients, AndAllRecordsTellThatMemoryIsMissing) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    SQmLutParam param;
    fill(param);
    const CQmVariant trees[] = {tree(golden("SQmLutParam")), tree(golden("SQmGradientConfig")),
                                tree(golden("SQmGradientConfigs")), tree(golden("SQmRatioDesc"))};
    const Bytes light = golden("SQmRatioDesc_light");
    SQmGradientConfig config = warm();
    const SQmRatioDesc desc = ratio();
    add(warm());
    const auto check = [](const char* what, auto call) {
        each_failure(call, [what](uint32_t n, const Outcome& outcome) {
            EXPECT_EQ(outcome.code, outcome.failed == 0 ? QM_OK : QM_NO_MEMORY) << what << " " << n;
            EXPECT_FALSE(outcome.threw) << what << " " << n;
            EXPECT_EQ(outcome.live, 0) << what << " " << n;
        });
    };
    check("save parameters", [&] {
        CQmVariant v;
        const int code = SQmLutParam::SaveToVariant(v, param);
        return code != QM_OK && v.GetCount() != 0 ? 1 : code;
    });
    check("save a gradient", [&] {
        CQmVariant v;
        const int code = config.SaveToVariant(&v);
        return code != QM_OK && v.GetCount() != 0 ? 1 : code;
    });
    check("save gradients", [&] {
        CQmVariant v;
        return SQmGradientConfigs::SaveToVariant(&v);
    });
    check("save a ratio", [&] {
        CQmVariant v;
        return SQmRatioDesc::SaveToVariant(v, desc);
    });
    check("save a ratio lightly", [&] {
        CQmLiteVariantW w;
        return SQmRatioDesc::SaveToLiteVariant(w, desc);
    });
    check("load a ratio", [&] {
        SQmRatioDesc target;
        return SQmRatioDesc::LoadFromVariant(target, trees[3]);
    });
    check("load a ratio lightly", [&] {
        SQmRatioDesc target;
        CQmLiteVariantR r(light.data(), light.size());
        const int code = SQmRatioDesc::LoadFromLiteVariant(target, r);
        return r.LevelEnd() == QM_OK ? 1 : code;  // none is left open
    });
    check("load a gradient", [&] {
        SQmGradientConfig target;
        return target.LoadFromVariant(&trees[1]);
    });
    SQmGradientConfigs::Free();
    check("load gradients", [&] {
        const int code = SQmGradientConfigs::LoadFromVariant(&trees[2]);
        SQmGradientConfigs::Free();
        return code;
    });
    // What a record holds itself is made before memory is missing.
    const Outcome whole = with_failing(0, FailingAlloc::kOnce, [&] {
        SQmLutParam target;
        return load(target, trees[0]);
    });
    EXPECT_EQ(whole.live, 0);
    for (uint32_t n = 1; n <= whole.seen; ++n) {
        SQmLutParam target;
        const Outcome outcome =
            with_failing(n, FailingAlloc::kOnce, [&] { return load(target, trees[0]); });
        EXPECT_EQ(outcome.code, outcome.failed == 0 ? QM_OK : QM_NO_MEMORY) << n;
        EXPECT_FALSE(outcome.threw);
        EXPECT_EQ(load(target, trees[0]), QM_OK) << "goes on with memory";
    }
}

}  // namespace
}  // namespace qmpic::test
