#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "qmpic/LutParam.h"
#include "qmpic/PicBuf.h"
#include "qmpic/status.h"
#include "support/cases.h"
#include "support/parameters.h"

namespace qmpic::test {
namespace {

using Ranges = std::vector<CQmRangeBase<float>>;

const bool registered = add_cases({}, {},
                                  {"SQmLutParam::SQmLutParam",
                                   "SQmLutParam::~SQmLutParam",
                                   "SQmLutParam::operator=",
                                   "SQmLutParam::GetMinSrcDbl",
                                   "SQmLutParam::GetMaxSrcDbl",
                                   "SQmLutParam::GetMinDstDbl",
                                   "SQmLutParam::GetMaxDstDbl",
                                   "SQmLutParam::GetGammaSrc",
                                   "SQmLutParam::GetMinSrc",
                                   "SQmLutParam::GetMaxSrc",
                                   "SQmLutParam::GetMinDst",
                                   "SQmLutParam::GetMaxDst",
                                   "SQmLutParam::GetCompMinSrcDbl",
                                   "SQmLutParam::GetCompMaxSrcDbl",
                                   "SQmLutParam::GetCompMinDstDbl",
                                   "SQmLutParam::GetCompMaxDstDbl",
                                   "SQmLutParam::GetCompGammaSrc",
                                   "SQmLutParam::GetCompMinSrc",
                                   "SQmLutParam::GetCompMaxSrc",
                                   "SQmLutParam::GetCompMinDst",
                                   "SQmLutParam::GetCompMaxDst",
                                   "SQmLutParam::GetMinSrcFlt",
                                   "SQmLutParam::GetMaxSrcFlt",
                                   "SQmLutParam::SetMinSrcDbl",
                                   "SQmLutParam::SetMaxSrcDbl",
                                   "SQmLutParam::SetMinDstDbl",
                                   "SQmLutParam::SetMaxDstDbl",
                                   "SQmLutParam::SetGammaSrc",
                                   "SQmLutParam::SetCompMinSrcDbl",
                                   "SQmLutParam::SetCompMaxSrcDbl",
                                   "SQmLutParam::SetCompMinDstDbl",
                                   "SQmLutParam::SetCompMaxDstDbl",
                                   "SQmLutParam::SetCompGammaSrc",
                                   "SQmLutParam::GetDblFromAbsValue",
                                   "SQmLutParam::GetMinFromFloatRanges",
                                   "SQmLutParam::GetMaxFromFloatRanges",
                                   "SQmLutParam::GetCompMinFromFloatRanges",
                                   "SQmLutParam::GetCompMaxFromFloatRanges",
                                   "SQmLutParam::GetCompMinFromFloatRangesSimple",
                                   "SQmLutParam::GetCompMaxFromFloatRangesSimple",
                                   "SQmLutParam::Init",
                                   "SQmLutParam::SetUnit",
                                   "SQmLutParam::IsUnit",
                                   "SQmLutParam::CompareWith",
                                   "SQmLutParam::CompatibleCopy",
                                   "SQmLutParam::PartialCopyIndependendOnEnable",
                                   "SQmLutParam::GlobalParamToComponent",
                                   "SQmLutParam::IsGroupMask",
                                   "SQmLutParam::ComponentMaskToSpectralGroupMask",
                                   "SQmCompLutParam::SQmCompLutParam",
                                   "SQmCompLutParam::operator=",
                                   "SQmPicBufAPI_Base::ComponentMaskToSpectralGroupMask",
                                   "SQmPicBufAPI_Base::SpectralGroupMaskToComponentMask"});

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

// ----- Records to look at ------------------------------------------------------------------------

double random_fraction(Random& random, double low, double high) {
    return low + (high - low) * random.any() / 4294967295.0;
}
uint16_t random_level(Random& random) {
    return static_cast<uint16_t>(random(0, 2) == 0 ? random.one_of({0u, 1u, 32767u, 32768u, 65535u})
                                                   : random(0, 65535));
}
float random_float_level(Random& random) {
    return static_cast<float>(random_fraction(random, -0.5, 1.5));
}

/// Anything in every field but those of the spectral data; half of them are float.
void randomise(SQmLutParam& p, Random& random) {
    p.uiGradient = random(0, 300);
    p.uiGradientBrightField = random(0, 300);
    p.uiMinSrc = random_level(random);
    p.uiMaxSrc = random_level(random);
    p.dGammaSrc = random_fraction(random, 0.1, 5);
    p.uiMinDst = random_level(random);
    p.uiMaxDst = random_level(random);
    p.bFloat = random(0, 1) != 0;
    p.fMinSrc = static_cast<float>(random_fraction(random, -1e5, 1e5));
    p.fMaxSrc = static_cast<float>(random_fraction(random, -1e5, 1e5));
    for (SQmCompLutParam& c : p.sCompLutParam) {
        c.uiMinSrc = random_level(random);
        c.uiMaxSrc = random_level(random);
        c.dGammaSrc = random_fraction(random, 0.1, 5);
        c.uiMinDst = random_level(random);
        c.uiMaxDst = random_level(random);
        c.uiGroup = random(0, 3);
        c.fMinSrc = random_float_level(random);
        c.fMaxSrc = random_float_level(random);
    }
    p.uiColorSpace = random(0, 3);
    p.uiRepresentation = random(0, 3);
    p.uiLutComponentCount = random(0, 5);
}

/// Every field of a component, so that two can be compared.
auto fields_of(const SQmCompLutParam& c) {
    return std::tuple(c.uiMinSrc, c.uiMaxSrc, c.dGammaSrc, c.uiMinDst, c.uiMaxDst, c.uiGroup,
                      c.fMinSrc, c.fMaxSrc);
}
auto plain_fields_of(const SQmLutParam& p) {
    return std::tuple(p.uiGradient, p.uiGradientBrightField, p.uiMinSrc, p.uiMaxSrc, p.dGammaSrc,
                      p.uiMinDst, p.uiMaxDst, p.bFloat, p.fMinSrc, p.fMaxSrc, p.uiColorSpace,
                      p.uiRepresentation, p.uiLutComponentCount);
}
auto spectral_fields_of(const SQmLutParam& p) {
    const auto& d = p.sLutDataSpectral;
    const uint32_t n = d.uiAllocated;
    return std::tuple(content(d.pdOffsetTrueColor, 1), content(d.pdOffsetCustom, n),
                      content(d.pdOffsetGrouped, n), content(d.pdOffsetGrayScale, 1),
                      content(d.pdGainTrueColor, 1), content(d.pdGainCustom, n),
                      content(d.pdGainGrouped, n), content(d.pdGainGrayScale, 1),
                      content(d.puiColorCustom, n), content(d.puiColorGroup, n), n, d.uiGroupCount,
                      d.uiSpectralCompCount, d.uiSpectralColorMode);
}
std::string differences(const SQmLutParam& a, const SQmLutParam& b) {
    std::string all;
    if (plain_fields_of(a) != plain_fields_of(b)) all += "plain ";
    if (spectral_fields_of(a) != spectral_fields_of(b)) all += "spectral ";
    for (uint32_t c = 0; c < 192; ++c)
        if (fields_of(a.sCompLutParam[c]) != fields_of(b.sCompLutParam[c]))
            all += std::to_string(c) + ' ';
    return all;
}

void randomise_spectral(SQmLutParam& p, Random& random) {
    auto& d = p.sLutDataSpectral;
    d.Realloc(random(0, 5));
    d.uiGroupCount = random(0, 5);
    d.uiSpectralCompCount = random(0, 20);
    d.uiSpectralColorMode = random(0, 3);
    for (double* one :
         {d.pdOffsetTrueColor, d.pdOffsetGrayScale, d.pdGainTrueColor, d.pdGainGrayScale})
        *one = random_fraction(random, -2, 2);
    for (uint32_t i = 0; i < d.uiAllocated; ++i) {
        for (double* values :
             {d.pdOffsetCustom, d.pdOffsetGrouped, d.pdGainCustom, d.pdGainGrouped})
            values[i] = random_fraction(random, -2, 2);
        d.puiColorCustom[i] = random.any();
        d.puiColorGroup[i] = random.any();
    }
}

// ----- Layout and construction -------------------------------------------------------------------

TEST(LutParamLayout, IsAnInterface) {
    using C = SQmCompLutParam;
    static_assert(std::is_standard_layout_v<C> && sizeof(C) == 32 && alignof(C) == 8);
    static_assert(offsetof(C, uiMinSrc) == 0);
    static_assert(offsetof(C, uiMaxSrc) == 2);
    static_assert(offsetof(C, dGammaSrc) == 8);
    static_assert(offsetof(C, uiMinDst) == 16);
    static_assert(offsetof(C, uiMaxDst) == 18);
    static_assert(offsetof(C, uiGroup) == 20);
    static_assert(offsetof(C, fMinSrc) == 24);
    static_assert(offsetof(C, fMaxSrc) == 28);

    using P = SQmLutParam;
    static_assert(std::is_standard_layout_v<P> && sizeof(P) == 6344 && alignof(P) == 8);
    static_assert(offsetof(P, uiGradient) == 0);
    static_assert(offsetof(P, uiGradientBrightField) == 4);
    static_assert(offsetof(P, sLutDataSpectral) == 8);
    static_assert(offsetof(P, uiMinSrc) == 152);
    static_assert(offsetof(P, uiMaxSrc) == 154);
    static_assert(offsetof(P, dGammaSrc) == 160);
    static_assert(offsetof(P, uiMinDst) == 168);
    static_assert(offsetof(P, uiMaxDst) == 170);
    static_assert(offsetof(P, bFloat) == 172);
    static_assert(offsetof(P, fMinSrc) == 176);
    static_assert(offsetof(P, fMaxSrc) == 180);
    static_assert(offsetof(P, sCompLutParam) == 184);
    static_assert(offsetof(P, uiColorSpace) == 184 + 192 * 32);
    static_assert(offsetof(P, uiRepresentation) == 6332);
    static_assert(offsetof(P, uiLutComponentCount) == 6336);

    static_assert(!std::is_polymorphic_v<P> && !std::is_polymorphic_v<C>);
    static_assert(std::is_same_v<decltype(std::declval<P&>() = std::declval<const P&>()), P&>);
}

TEST(CompLutParam, IsNeutralWhenItIsNew) {
    const SQmCompLutParam c;
    EXPECT_EQ(fields_of(c), std::tuple(0, 65535, 1.0, 0, 65535, 0u, 0.0f, 1.0f));
}

TEST(CompLutParam, IsAssignedAndMovedWithAllFields) {
    SQmCompLutParam from, copied, moved;
    from.uiMinSrc = 1, from.uiMaxSrc = 2, from.dGammaSrc = 3.5, from.uiMinDst = 4;
    from.uiMaxDst = 5, from.uiGroup = 6, from.fMinSrc = 7.5f, from.fMaxSrc = 8.5f;
    using C = SQmCompLutParam;
    C& (C::*copy)(const C&) = &C::operator=;  // what the library exports is called
    C& (C::*move)(C &&) = &C::operator=;
    EXPECT_EQ(&(copied.*copy)(from), &copied);
    EXPECT_EQ(&(moved.*move)(std::move(copied)), &moved);
    EXPECT_EQ(fields_of(moved), std::tuple(1, 2, 3.5, 4, 5, 6u, 7.5f, 8.5f));
    EXPECT_EQ(fields_of(C(moved)), fields_of(from));
}

TEST(LutParam, IsNeutralWhenItIsNew) {
    const SQmLutParam p;
    EXPECT_EQ(plain_fields_of(p),
              std::tuple(0u, 0u, 0, 65535, 1.0, 0, 65535, false, FLT_MAX, -FLT_MAX, 0u, 0u, 0u));
    for (const SQmCompLutParam& c : p.sCompLutParam)
        EXPECT_EQ(fields_of(c), fields_of(SQmCompLutParam()));
    EXPECT_EQ(p.sLutDataSpectral.pOwner, &p);
    EXPECT_TRUE(p.IsUnit());
}

TEST(LutParam, CopiesEverythingButTheOwner) {
    Random random(1);
    SQmLutParam target;
    for (uint32_t round = 0; round < 200; ++round) {
        SQmLutParam source;
        randomise(source, random);
        randomise_spectral(source, random);
        const SQmLutParam made = source;
        EXPECT_EQ(differences(made, source), "");
        EXPECT_EQ(made.sLutDataSpectral.pOwner, &made);
        EXPECT_EQ(&(target = source), &target);  // whose arrays are of another size, or the same
        EXPECT_EQ(differences(target, source), "");
        EXPECT_EQ(target.sLutDataSpectral.pOwner, &target);
        if (source.sLutDataSpectral.uiAllocated != 0) {
            EXPECT_NE(target.sLutDataSpectral.pdGainGrouped, source.sLutDataSpectral.pdGainGrouped);
        }
        EXPECT_NE(target.sLutDataSpectral.pdGainTrueColor, source.sLutDataSpectral.pdGainTrueColor);
    }
}

TEST(LutParam, IsAssignedToItself) {
    Random random(2);
    SQmLutParam p;
    randomise(p, random);
    randomise_spectral(p, random);
    const SQmLutParam before = p;
    SQmLutParam& same = p;
    p = same;
    EXPECT_EQ(differences(p, before), "");
    EXPECT_EQ(p.sLutDataSpectral.pOwner, &p);
}

TEST(LutParam, CopiesWhichArraysAreThere) {
    SQmLutParam source;
    auto& from = source.sLutDataSpectral;
    from.Realloc(2);
    for (double** missing : {&from.pdGainTrueColor, &from.pdOffsetGrouped}) {
        delete[] * missing;
        *missing = nullptr;
    }
    delete[] from.puiColorGroup;
    from.puiColorGroup = nullptr;
    SQmLutParam target;
    target.sLutDataSpectral.Realloc(2);
    target = source;
    EXPECT_EQ(differences(target, source), "");
    EXPECT_EQ(target.sLutDataSpectral.pdGainTrueColor, nullptr);
    EXPECT_EQ(target.sLutDataSpectral.puiColorGroup, nullptr);
    SQmLutParam whole;
    whole.sLutDataSpectral.Realloc(2);
    target = whole;
    EXPECT_EQ(differences(target, whole), "");
    EXPECT_NE(target.sLutDataSpectral.puiColorGroup, nullptr);
}

// ----- Fractions ---------------------------------------------------------------------------------

TEST(LutParamLevels, AreFractionsOf65535) {
    SQmLutParam p;
    p.uiMinSrc = 1000, p.uiMaxSrc = 2000, p.uiMinDst = 3000, p.uiMaxDst = 4000;
    EXPECT_EQ(p.GetMinSrcDbl(), 1000 / 65535.0);
    EXPECT_EQ(p.GetMaxSrcDbl(), 2000 / 65535.0);
    EXPECT_EQ(p.GetMinDstDbl(), 3000 / 65535.0);
    EXPECT_EQ(p.GetMaxDstDbl(), 4000 / 65535.0);
    for (const uint32_t comp : {0u, 191u}) {  // of the whole global range
        EXPECT_EQ(p.GetMinSrcDbl(comp), 1000 / 65535.0);
        EXPECT_EQ(p.GetMaxSrcDbl(comp), 2000 / 65535.0);
        EXPECT_EQ(p.GetMinDstDbl(comp), 3000 / 65535.0);
        EXPECT_EQ(p.GetMaxDstDbl(comp), 4000 / 65535.0);
    }
}

TEST(LutParamLevels, OfComponentsNarrowTheGlobalRange) {
    SQmLutParam p;
    SQmCompLutParam& c = p.sCompLutParam[7];
    c.uiMaxSrc = 32768;
    EXPECT_EQ(p.GetMaxSrcDbl(7), 32768 / 65535.0);
    EXPECT_EQ(p.GetMaxSrcDbl(6), 1.0);
    p.uiMaxSrc = 32768;
    EXPECT_EQ(p.GetMaxSrcDbl(7), (32768 - 32768.0 * 32767 / 65535) / 65535);
    EXPECT_EQ(p.GetCompMaxSrcDbl(7), 32768 / 65535.0);  // as it stands
    // A third of 3000 behind 600, in units that have no remainder.
    p.uiMinSrc = 600, p.uiMaxSrc = 3600, c.uiMinSrc = 21845, c.uiMaxSrc = 43690;
    EXPECT_EQ(p.GetMinSrcDbl(7), 1600 / 65535.0);
    EXPECT_EQ(p.GetMaxSrcDbl(7), 2600 / 65535.0);
    p.uiMinDst = 600, p.uiMaxDst = 3600, c.uiMinDst = 21845, c.uiMaxDst = 43690;
    EXPECT_EQ(p.GetMinDstDbl(7), 1600 / 65535.0);
    EXPECT_EQ(p.GetMaxDstDbl(7), 2600 / 65535.0);
    EXPECT_EQ(p.GetCompMinDstDbl(7), 1 / 3.0);
    EXPECT_EQ(p.GetCompMaxDstDbl(7), 2 / 3.0);
    EXPECT_EQ(p.GetCompMinSrcDbl(7), 1 / 3.0);
    // A range that is upside down falls.
    p.uiMinSrc = 3600, p.uiMaxSrc = 600;
    EXPECT_EQ(p.GetMinSrcDbl(7), 2600 / 65535.0);
    EXPECT_EQ(p.GetMaxSrcDbl(7), 1600 / 65535.0);
}

TEST(LutParamLevels, OfFloatPicturesLeaveTheGlobalRangeOut) {
    SQmLutParam p;
    p.bFloat = true;
    p.fMinSrc = -10.5f, p.fMaxSrc = 200.25f;
    p.uiMinSrc = 1000, p.uiMaxSrc = 2000;
    EXPECT_EQ(p.GetMinSrcDbl(), -10.5);
    EXPECT_EQ(p.GetMaxSrcDbl(), 200.25);
    SQmCompLutParam& c = p.sCompLutParam[3];
    c.fMinSrc = 0.25f, c.fMaxSrc = 0.75f;
    EXPECT_EQ(p.GetMinSrcDbl(3), 0.25);
    EXPECT_EQ(p.GetMaxSrcDbl(3), 0.75);
    c.fMinSrc = -0.5f, c.fMaxSrc = 1.5f;
    EXPECT_EQ(p.GetMinSrcDbl(3), 0.0);
    EXPECT_EQ(p.GetMaxSrcDbl(3), 1.0);
    EXPECT_EQ(p.GetCompMinSrcDbl(3), -0.5);  // not limited
    EXPECT_EQ(p.GetCompMaxSrcDbl(3), 1.5);
    // Output is what it is in other pictures.
    p.uiMinDst = 600, p.uiMaxDst = 3600, c.uiMinDst = 21845;
    EXPECT_EQ(p.GetMinDstDbl(3), 1600 / 65535.0);
}

TEST(LutParamLevels, GammasMultiply) {
    SQmLutParam p;
    p.dGammaSrc = 1.5, p.sCompLutParam[191].dGammaSrc = 2.5;
    EXPECT_EQ(p.GetGammaSrc(), 1.5);
    EXPECT_EQ(p.GetGammaSrc(191), 3.75);
    EXPECT_EQ(p.GetGammaSrc(0), 1.5);
    EXPECT_EQ(p.GetCompGammaSrc(191), 2.5);
}

TEST(LutParamLevels, InSampleUnitsAreRounded) {
    SQmLutParam p;
    p.uiMinSrc = 32768, p.uiMaxSrc = 65535;
    EXPECT_EQ(p.GetMinSrc(8), 128u);  // 127.502, and 0.5
    EXPECT_EQ(p.GetMaxSrc(8), 255u);
    EXPECT_EQ(p.GetMinSrc(16), 32768u);
    EXPECT_EQ(p.GetMaxSrc(32), 4294967295u);
    EXPECT_EQ(p.GetMinSrc(1), 1u);
    EXPECT_EQ(p.GetMinSrc(0), 0u);  // of no values at all
    p.uiMinSrc = 0, p.uiMaxSrc = 4096;
    EXPECT_EQ(p.GetMaxSrc(12), 256u);  // 255.94
    p.uiMinDst = 32767, p.uiMaxDst = 32768;
    EXPECT_EQ(p.GetMinDst(8), 127u);  // 127.498
    EXPECT_EQ(p.GetMaxDst(8), 128u);
    SQmCompLutParam& c = p.sCompLutParam[5];
    p.uiMinSrc = 600, p.uiMaxSrc = 3600, c.uiMinSrc = 21845, c.uiMaxSrc = 43690;
    EXPECT_EQ(p.GetMinSrc(5, 16), 1600u);
    EXPECT_EQ(p.GetMaxSrc(5, 16), 2600u);
    EXPECT_EQ(p.GetMaxSrc(5, 8), 10u);  // 10.117
    EXPECT_EQ(p.GetCompMinSrc(5, 8), 85u);
    EXPECT_EQ(p.GetCompMaxSrc(5, 8), 170u);
    p.uiMinDst = 600, p.uiMaxDst = 3600, c.uiMinDst = 21845, c.uiMaxDst = 43690;
    EXPECT_EQ(p.GetMinDst(5, 16), 1600u);
    EXPECT_EQ(p.GetMaxDst(5, 16), 2600u);
    EXPECT_EQ(p.GetCompMinDst(5, 8), 85u);
    EXPECT_EQ(p.GetCompMaxDst(5, 8), 170u);
}

TEST(LutParamLevels, OfFloatPicturesAreOfTheWhiteLevelAlone) {
    SQmLutParam p;
    p.bFloat = true;
    p.fMinSrc = 500.9f, p.fMaxSrc = 1000.0f;
    EXPECT_EQ(p.GetMinSrc(8), 500u);  // cut, whatever the depth is
    EXPECT_EQ(p.GetMaxSrc(8), 1000u);
    SQmCompLutParam& c = p.sCompLutParam[2];
    c.fMinSrc = 0.25f, c.fMaxSrc = 0.75f;
    EXPECT_EQ(p.GetMinSrc(2, 8), 250u);  // not 625
    EXPECT_EQ(p.GetMaxSrc(2, 8), 750u);
    EXPECT_EQ(p.GetCompMinSrc(2, 8), 250u);
    c.fMinSrc = -0.5f, c.fMaxSrc = 2.0f;
    EXPECT_EQ(p.GetMinSrc(2, 8), 0u);
    EXPECT_EQ(p.GetMaxSrc(2, 8), 1000u);
    EXPECT_EQ(p.GetCompMinSrc(2, 8), static_cast<uint32_t>(-499));  // -499.5
    EXPECT_EQ(p.GetCompMaxSrc(2, 8), 2000u);
    EXPECT_EQ(p.GetMaxDst(2, 8), 255u);
}

TEST(LutParamLevels, WrapWhereNoSampleUnitIs) {
    SQmLutParam p;
    p.bFloat = true;
    EXPECT_EQ(p.GetMinSrc(8), 0u);  // FLT_MAX
    EXPECT_EQ(p.GetMaxSrc(8), 0u);  // -FLT_MAX
    EXPECT_EQ(p.GetMinSrc(0, 8), 0u);
    EXPECT_EQ(p.GetMaxSrc(0, 8), 0u);
    p.fMinSrc = -2.0f;
    EXPECT_EQ(p.GetMinSrc(8), 0xFFFFFFFEu);
    p.fMinSrc = 4294967296.0f * 3;
    EXPECT_EQ(p.GetMinSrc(8), 0u);
    p.fMaxSrc = 4294967296.0f + 1024;
    EXPECT_EQ(p.GetMaxSrc(8), 1024u);
    EXPECT_EQ(p.GetMaxSrc(0, 8), 1024u);
    p.fMaxSrc = kNan;
    EXPECT_EQ(p.GetMaxSrc(8), 0u);
    EXPECT_EQ(p.GetMaxSrc(0, 8), 0u);
    p.sCompLutParam[0].fMinSrc = kNan;  // within nothing
    EXPECT_TRUE(std::isnan(p.GetMinSrcDbl(0)));
}

TEST(LutParamLevels, AsFloatsAreNotRounded) {
    SQmLutParam p;
    p.uiMaxSrc = 32768;
    EXPECT_EQ(p.GetMaxSrcFlt(4, 8, 10, 30), static_cast<float>(32768 / 65535.0 * 255));
    EXPECT_EQ(p.GetMinSrcFlt(4, 8, 10, 30), 0.0f);
    p.bFloat = true;
    p.sCompLutParam[4].fMinSrc = 0.25f;
    p.sCompLutParam[4].fMaxSrc = 2;
    EXPECT_EQ(p.GetMinSrcFlt(4, 8, 10, 30), 15.0f);
    EXPECT_EQ(p.GetMaxSrcFlt(4, 8, 10, 30), 30.0f);
    EXPECT_EQ(p.GetMinSrcFlt(4, 16, 30, 10), 25.0f);
    // In floats: 1e8 and 1 are 1e8.
    p.sCompLutParam[4].fMaxSrc = 1.0f;
    EXPECT_EQ(p.GetMaxSrcFlt(4, 8, 1.0f, 1e8f), 1e8f);
}

// ----- The same of random records, told once more ------------------------------------------------

struct Told {
    const SQmLutParam& p;
    static double within(double x) { return std::max(0.0, std::min(1.0, x)); }
    /// Where a share of the range is that begins at lo, and where it ends counted from hi.
    static double from_low(int lo, int hi, int share) {
        const double distance = hi - lo;
        return within((distance * share / 65535.0 + lo) / 65535.0);
    }
    static double from_high(int lo, int hi, int share) {
        const double distance = hi - lo;
        return within((hi - distance * (65535 - share) / 65535.0) / 65535.0);
    }
    static double top(uint32_t bpc) { return std::ldexp(1.0, static_cast<int>(bpc)) - 1; }
    static uint32_t wrapped(double x) {
        if (std::isnan(x) || std::abs(x) >= 9.2e18) return 0;
        const double whole = std::trunc(x);
        return static_cast<uint32_t>(whole - 4294967296.0 * std::floor(whole / 4294967296.0));
    }
    double min_src(uint32_t c) const {
        return p.bFloat ? within(p.sCompLutParam[c].fMinSrc)
                        : from_low(p.uiMinSrc, p.uiMaxSrc, p.sCompLutParam[c].uiMinSrc);
    }
    double max_src(uint32_t c) const {
        return p.bFloat ? within(p.sCompLutParam[c].fMaxSrc)
                        : from_high(p.uiMinSrc, p.uiMaxSrc, p.sCompLutParam[c].uiMaxSrc);
    }
    double min_dst(uint32_t c) const {
        return from_low(p.uiMinDst, p.uiMaxDst, p.sCompLutParam[c].uiMinDst);
    }
    double max_dst(uint32_t c) const {
        return from_high(p.uiMinDst, p.uiMaxDst, p.sCompLutParam[c].uiMaxDst);
    }
    double src_unit(uint32_t bpc) const { return p.bFloat ? p.fMaxSrc : top(bpc); }
};

TEST(LutParamLevels, OfRandomRecordsAreAsTold) {
    Random random(3);
    for (uint32_t round = 0; round < 100; ++round) {
        SQmLutParam p;
        randomise(p, random);
        const Told told{p};
        const bool flt = p.bFloat;
        for (const uint32_t c : {0u, 1u, 100u, 191u}) {
            const SQmCompLutParam& own = p.sCompLutParam[c];
            const double own_min = flt ? own.fMinSrc : own.uiMinSrc / 65535.0;
            const double own_max = flt ? own.fMaxSrc : own.uiMaxSrc / 65535.0;
            EXPECT_EQ(p.GetMinSrcDbl(), flt ? p.fMinSrc : p.uiMinSrc / 65535.0);
            EXPECT_EQ(p.GetMaxSrcDbl(), flt ? p.fMaxSrc : p.uiMaxSrc / 65535.0);
            EXPECT_EQ(p.GetMinSrcDbl(c), told.min_src(c));
            EXPECT_EQ(p.GetMaxSrcDbl(c), told.max_src(c));
            EXPECT_EQ(p.GetMinDstDbl(c), told.min_dst(c));
            EXPECT_EQ(p.GetMaxDstDbl(c), told.max_dst(c));
            EXPECT_EQ(p.GetCompMinSrcDbl(c), own_min);
            EXPECT_EQ(p.GetCompMaxSrcDbl(c), own_max);
            EXPECT_EQ(p.GetGammaSrc(c), own.dGammaSrc * p.dGammaSrc);
            for (uint32_t bpc = 8; bpc <= 32; ++bpc) {
                const auto unit = [&](double fraction) {
                    return Told::wrapped(fraction * Told::top(bpc) + 0.5);
                };
                const auto src = [&](double fraction) {
                    return Told::wrapped(fraction * told.src_unit(bpc) + 0.5);
                };
                EXPECT_EQ(p.GetMinSrc(bpc),
                          flt ? Told::wrapped(p.fMinSrc) : unit(p.uiMinSrc / 65535.0));
                EXPECT_EQ(p.GetMaxSrc(bpc),
                          flt ? Told::wrapped(p.fMaxSrc) : unit(p.uiMaxSrc / 65535.0));
                EXPECT_EQ(p.GetMinSrc(c, bpc), src(told.min_src(c)));
                EXPECT_EQ(p.GetMaxSrc(c, bpc), src(told.max_src(c)));
                EXPECT_EQ(p.GetCompMinSrc(c, bpc), src(own_min));
                EXPECT_EQ(p.GetCompMaxSrc(c, bpc), src(own_max));
                EXPECT_EQ(p.GetMinDst(bpc), unit(p.uiMinDst / 65535.0));
                EXPECT_EQ(p.GetMaxDst(bpc), unit(p.uiMaxDst / 65535.0));
                EXPECT_EQ(p.GetMinDst(c, bpc), unit(told.min_dst(c)));
                EXPECT_EQ(p.GetMaxDst(c, bpc), unit(told.max_dst(c)));
                EXPECT_EQ(p.GetCompMinDst(c, bpc), unit(own.uiMinDst / 65535.0));
                EXPECT_EQ(p.GetCompMaxDst(c, bpc), unit(own.uiMaxDst / 65535.0));
                const auto lo = static_cast<float>(bpc), hi = lo * 7.3f;
                const auto flt_min = static_cast<float>(told.min_src(c));
                const auto flt_max = static_cast<float>(told.max_src(c));
                EXPECT_EQ(p.GetMinSrcFlt(c, bpc, lo, hi),
                          flt ? flt_min * (hi - lo) + lo
                              : static_cast<float>(told.min_src(c) * Told::top(bpc)));
                EXPECT_EQ(p.GetMaxSrcFlt(c, bpc, lo, hi),
                          flt ? flt_max * (hi - lo) + lo
                              : static_cast<float>(told.max_src(c) * Told::top(bpc)));
            }
        }
    }
}

// ----- Setters -----------------------------------------------------------------------------------

TEST(LutParamSetters, CutButTheWhiteLevelWhichRounds) {
    SQmLutParam p;
    SQmCompLutParam& c = p.sCompLutParam[191];
    p.SetMinSrcDbl(0.5);
    p.SetMaxSrcDbl(0.5);
    p.SetMinDstDbl(0.5);
    p.SetMaxDstDbl(0.5);
    p.SetCompMinSrcDbl(191, 0.5);
    p.SetCompMaxSrcDbl(191, 0.5);
    p.SetCompMinDstDbl(191, 0.5);
    p.SetCompMaxDstDbl(191, 0.5);
    EXPECT_EQ(std::tuple(p.uiMinSrc, p.uiMaxSrc, p.uiMinDst, p.uiMaxDst),
              std::tuple(32767, 32768, 32767, 32767));
    EXPECT_EQ(std::tuple(c.uiMinSrc, c.uiMaxSrc, c.uiMinDst, c.uiMaxDst),
              std::tuple(32767, 32767, 32767, 32767));
    p.SetGammaSrc(1.25);
    p.SetCompGammaSrc(191, 2.25);
    EXPECT_EQ(p.dGammaSrc, 1.25);
    EXPECT_EQ(c.dGammaSrc, 2.25);
    EXPECT_EQ(fields_of(p.sCompLutParam[190]), fields_of(SQmCompLutParam()));
    EXPECT_EQ(p.fMinSrc, FLT_MAX);
}

TEST(LutParamSetters, HoldFloatLevelsAsTheyCome) {
    SQmLutParam p;
    p.bFloat = true;
    SQmCompLutParam& c = p.sCompLutParam[1];
    p.SetMinSrcDbl(-1234.5);
    p.SetMaxSrcDbl(0.1);
    p.SetCompMinSrcDbl(1, -3.0);
    p.SetCompMaxSrcDbl(1, 1e300);
    EXPECT_EQ(p.fMinSrc, -1234.5f);
    EXPECT_EQ(p.fMaxSrc, 0.1f);
    EXPECT_EQ(c.fMinSrc, -3.0f);
    EXPECT_EQ(c.fMaxSrc, kInf);
    EXPECT_EQ(std::tuple(p.uiMinSrc, p.uiMaxSrc, c.uiMinSrc, c.uiMaxSrc),
              std::tuple(0, 65535, 0, 65535));
    p.SetMinDstDbl(0.5);  // is held alike in all pictures
    p.SetMaxDstDbl(0.5);
    p.SetCompMinDstDbl(1, 0.5);
    p.SetCompMaxDstDbl(1, 0.5);
    EXPECT_EQ(std::tuple(p.uiMinDst, p.uiMaxDst, c.uiMinDst, c.uiMaxDst),
              std::tuple(32767, 32767, 32767, 32767));
}

/// A setter of integer pictures, of all or of component 9, and what it changes.
struct Setter {
    void (SQmLutParam::*set_all)(double);
    uint16_t SQmLutParam::*all;
    void (SQmLutParam::*set_component)(unsigned int, double);
    uint16_t SQmCompLutParam::*component;
    double added = 0;

    void set(SQmLutParam& p, double v) const {
        if (set_all != nullptr)
            (p.*set_all)(v);
        else
            (p.*set_component)(9, v);
    }
    uint16_t& level(SQmLutParam& p) const {
        return set_all != nullptr ? p.*all : p.sCompLutParam[9].*component;
    }
};
using P = SQmLutParam;
using C = SQmCompLutParam;
const Setter kSetters[] = {
    {&P::SetMinSrcDbl, &P::uiMinSrc, nullptr, nullptr},
    {&P::SetMaxSrcDbl, &P::uiMaxSrc, nullptr, nullptr, 0.5},
    {&P::SetMinDstDbl, &P::uiMinDst, nullptr, nullptr},
    {&P::SetMaxDstDbl, &P::uiMaxDst, nullptr, nullptr},
    {nullptr, nullptr, &P::SetCompMinSrcDbl, &C::uiMinSrc},
    {nullptr, nullptr, &P::SetCompMaxSrcDbl, &C::uiMaxSrc},
    {nullptr, nullptr, &P::SetCompMinDstDbl, &C::uiMinDst},
    {nullptr, nullptr, &P::SetCompMaxDstDbl, &C::uiMaxDst},
};

TEST(LutParamSetters, KeepTheLow16Bits) {
    SQmLutParam p;
    for (const Setter& one : kSetters) {
        const auto after = [&](double v) {
            one.level(p) = 4711;
            one.set(p, v);
            return one.level(p);
        };
        EXPECT_EQ(after(1.0), 65535);
        EXPECT_EQ(after(65536.0 / 65535), 0);
        EXPECT_EQ(after(1.00001), one.added == 0 ? 65535 : 0);  // 65535.66
        EXPECT_EQ(after(1.00002), 0);                           // 65536.31
        EXPECT_EQ(after(2.0), 65534);
        EXPECT_EQ(after(-1.0), one.added == 0 ? 1 : 2);  // -65534.5 is cut toward 0
        EXPECT_EQ(after(-0.00001), 0);
        EXPECT_EQ(after(kNan), 0);
        EXPECT_EQ(after(kInf), 0);
        EXPECT_EQ(after(-1e30), 0);
    }
}

TEST(LutParamSetters, TakeBackWhatTheGettersGive) {
    SQmLutParam p;
    for (const Setter& one : kSetters)
        for (uint32_t level = 0; level <= 65535; ++level) {
            one.set(p, level / 65535.0);
            ASSERT_EQ(one.level(p), level);
        }
}

TEST(LutParamSetters, TakeFractionsOfSampleValues) {
    EXPECT_EQ(SQmLutParam::GetDblFromAbsValue(51, 8), 0.2);
    EXPECT_EQ(SQmLutParam::GetDblFromAbsValue(-4095, 12), -1.0);
    EXPECT_EQ(SQmLutParam::GetDblFromAbsValue(4294967295.0, 32), 1.0);
    EXPECT_EQ(SQmLutParam::GetDblFromAbsValue(1, 0), kInf);
}

// ----- Ranges of float pictures ------------------------------------------------------------------

TEST(FloatRanges, OfDataThatIsNotNegativeBeginAtZero) {
    EXPECT_EQ(SQmLutParam::GetMinFromFloatRanges({}), 0.0f);
    EXPECT_EQ(SQmLutParam::GetMinFromFloatRanges({{5, 9}, {3, 4}}), 0.0f);
    EXPECT_EQ(SQmLutParam::GetMinFromFloatRanges({{5, 9}, {-3, 4}, {-2, 1}}), -3.0f);
    EXPECT_EQ(SQmLutParam::GetMinFromFloatRanges({{5, 9}, {3, -4}}), 3.0f);  // an upper one counts
    EXPECT_EQ(SQmLutParam::GetMinFromFloatRanges({{kNan, 9}, {kNan, -1}}), FLT_MAX);
    EXPECT_EQ(SQmLutParam::GetMinFromFloatRanges({{-0.0f, 9}}), 0.0f);
}

TEST(FloatRanges, EndAtThePowerOfTwoAbove) {
    const auto white = [](float u) { return SQmLutParam::GetMaxFromFloatRanges({{0, u}}); };
    EXPECT_EQ(SQmLutParam::GetMaxFromFloatRanges({}), 1.0f);
    EXPECT_EQ(white(0), 1.0f);
    EXPECT_EQ(white(0.5f), 1.0f);
    EXPECT_EQ(white(std::nextafter(1.0f, 0.0f)), 1.0f);
    EXPECT_EQ(white(1.0f), 2.0f);
    EXPECT_EQ(white(3.7f), 4.0f);
    EXPECT_EQ(white(4.0f), 8.0f);
    EXPECT_EQ(white(65535.0f), 65536.0f);
    EXPECT_EQ(white(std::ldexp(1.0f, 62)), std::ldexp(1.0f, 63));
    EXPECT_EQ(white(std::ldexp(1.0f, 63)), 1.0f);
    EXPECT_EQ(white(std::ldexp(1.0f, 64)), 2.0f);
    EXPECT_EQ(white(FLT_MAX), 1.0f);
    EXPECT_EQ(white(kInf), 2.0f);
    EXPECT_EQ(white(kNan), 1.0f);
    EXPECT_EQ(SQmLutParam::GetMaxFromFloatRanges({{0, 3}, {7, 9}, {0, kNan}}), 16.0f);
    // Negative data ends where it ends.
    EXPECT_EQ(SQmLutParam::GetMaxFromFloatRanges({{-1, 0.5f}}), 0.5f);
    EXPECT_EQ(SQmLutParam::GetMaxFromFloatRanges({{-1, 0.5f}, {0, 3}, {9, kNan}}), 3.0f);
    EXPECT_EQ(SQmLutParam::GetMaxFromFloatRanges({{-1, kNan}}), -FLT_MAX);
}

TEST(FloatRanges, OfAComponentDependOnAllOfThem) {
    const Ranges positive{{1, 2}, {3, 9}}, negative{{1, 2}, {-3, 9}};
    const auto low = &SQmLutParam::GetCompMinFromFloatRanges;
    const auto high = &SQmLutParam::GetCompMaxFromFloatRanges;
    EXPECT_EQ(low(0, positive), 0.0f);
    EXPECT_EQ(low(1, positive), 0.0f);
    EXPECT_EQ(low(2, positive), FLT_MAX);
    EXPECT_EQ(low(0, {}), FLT_MAX);
    EXPECT_EQ(low(0, negative), 1.0f);
    EXPECT_EQ(low(1, negative), -3.0f);
    EXPECT_EQ(low(0xFFFFFFFF, negative), FLT_MAX);
    EXPECT_EQ(high(0, positive), 16.0f);
    EXPECT_EQ(high(1, positive), 16.0f);
    EXPECT_EQ(high(2, positive), -FLT_MAX);
    EXPECT_EQ(high(0, {}), -FLT_MAX);
    EXPECT_EQ(high(0, negative), 2.0f);
    EXPECT_EQ(high(1, negative), 9.0f);
}

TEST(FloatRanges, OfAComponentAreSimpleElsewhere) {
    const Ranges ranges{{1, 2}, {-3, 9}, {kNan, kNan}, {kInf, -kInf}};
    const auto low = &SQmLutParam::GetCompMinFromFloatRangesSimple;
    const auto high = &SQmLutParam::GetCompMaxFromFloatRangesSimple;
    EXPECT_EQ(low(0, ranges), 1.0f);
    EXPECT_EQ(high(0, ranges), 2.0f);
    EXPECT_EQ(low(1, ranges), -3.0f);
    EXPECT_EQ(high(1, ranges), 9.0f);
    for (const uint32_t comp : {2u, 3u, 4u}) {
        EXPECT_EQ(low(comp, ranges), FLT_MAX);
        EXPECT_EQ(high(comp, ranges), -FLT_MAX);
    }
}

// ----- Init, SetUnit, IsUnit ---------------------------------------------------------------------

TEST(LutParam, IsToldWhatPictureItIsFor) {
    SQmLutParam p;
    p.Init(3, true, 5, 7, 6);
    EXPECT_EQ(std::tuple(p.uiColorSpace, p.bFloat, p.uiRepresentation, p.uiLutComponentCount,
                         p.sLutDataSpectral.uiSpectralCompCount),
              std::tuple(3u, true, 5u, 7u, 6u));
    p.Init(1, false, 2, 7, 6);  // a single component
    EXPECT_EQ(std::tuple(p.uiColorSpace, p.bFloat, p.uiRepresentation, p.uiLutComponentCount,
                         p.sLutDataSpectral.uiSpectralCompCount),
              std::tuple(1u, false, 2u, 1u, 1u));
    p.Init(0, false, 0, 0, 0);
    EXPECT_EQ(differences(p, SQmLutParam()), "");
}

TEST(LutParam, IsMadeNeutralButForWhatItIs) {
    Random random(4);
    SQmLutParam p;
    for (uint32_t mode = 0; mode < 4; ++mode) {
        randomise(p, random);
        randomise_spectral(p, random);
        p.sLutDataSpectral.uiSpectralColorMode = mode;
        SQmLutParam wanted = p;
        p.SetUnit();
        wanted.uiMinSrc = 0, wanted.uiMaxSrc = 65535, wanted.dGammaSrc = 1;
        wanted.uiMinDst = 0, wanted.uiMaxDst = 65535;
        wanted.fMinSrc = FLT_MAX, wanted.fMaxSrc = -FLT_MAX;
        for (SQmCompLutParam& c : wanted.sCompLutParam) {
            SQmCompLutParam unit;
            unit.uiGroup = c.uiGroup;
            c = unit;
        }
        wanted.sLutDataSpectral.Reset();
        EXPECT_EQ(differences(p, wanted), "");
        EXPECT_TRUE(p.IsUnit());
        EXPECT_TRUE(p.sLutDataSpectral.IsReset());
    }
}

TEST(LutParam, OfAFloatPictureIsUnitWithoutARange) {
    SQmLutParam p;
    p.bFloat = true;
    EXPECT_TRUE(p.IsUnit());
    p.fMinSrc = 0;
    EXPECT_TRUE(p.IsUnit());
    p.fMaxSrc = 0;  // not above
    EXPECT_FALSE(p.IsUnit());
    p.fMaxSrc = 1;
    EXPECT_FALSE(p.IsUnit());
    p.fMaxSrc = kNan;
    EXPECT_FALSE(p.IsUnit());
    p.fMaxSrc = -1;  // and nothing else counts
    p.uiMinSrc = 5, p.dGammaSrc = 9, p.sCompLutParam[0].fMinSrc = 0.5f;
    EXPECT_TRUE(p.IsUnit());
}

using Change = std::function<void(SQmLutParam&)>;

TEST(LutParam, IsNotUnitForOneLevelOrGamma) {
    for (const uint32_t comp : {0u, 100u, 191u})
        for (const Change& change : std::vector<Change>{
                 [](auto& p) { p.uiMinSrc = 1; }, [](auto& p) { p.uiMaxSrc = 65534; },
                 [](auto& p) { p.uiMinDst = 1; }, [](auto& p) { p.uiMaxDst = 65534; },
                 [](auto& p) { p.dGammaSrc = 1.0011; }, [](auto& p) { p.dGammaSrc = 0.9989; },
                 [=](auto& p) { p.sCompLutParam[comp].uiMinSrc = 1; },
                 [=](auto& p) { p.sCompLutParam[comp].uiMaxSrc = 65534; },
                 [=](auto& p) { p.sCompLutParam[comp].uiMinDst = 1; },
                 [=](auto& p) { p.sCompLutParam[comp].uiMaxDst = 65534; },
                 [=](auto& p) { p.sCompLutParam[comp].dGammaSrc = 1.0011; }}) {
            SQmLutParam p;
            change(p);
            EXPECT_FALSE(p.IsUnit());
        }
    SQmLutParam p;
    p.dGammaSrc = 1.0009, p.sCompLutParam[3].dGammaSrc = 0.9991;
    p.sCompLutParam[4].dGammaSrc = kNan;  // is not too far away
    p.uiGradient = 5, p.sCompLutParam[5].uiGroup = 2, p.sCompLutParam[6].fMinSrc = 0.5f;
    p.sLutDataSpectral.SetGain(0, 3);
    EXPECT_TRUE(p.IsUnit());
    p.dGammaSrc = kNan;
    EXPECT_TRUE(p.IsUnit());
}

// ----- CompareWith -------------------------------------------------------------------------------

/// In both directions, with all that is changed in one of two that were alike.
bool alike(const Change& before, const Change& change) {
    SQmLutParam a, b;
    before(a);
    before(b);
    EXPECT_TRUE(a.CompareWith(b)) << "before";
    change(b);
    const bool result = a.CompareWith(b);
    EXPECT_EQ(b.CompareWith(a), result);
    return result;
}
const Change kIntegers = [](SQmLutParam& p) { p.bFloat = false; };
const Change kFloats = [](SQmLutParam& p) { p.bFloat = true; };

TEST(LutParamCompare, SeesOneDifference) {
    for (const Change& change : std::vector<Change>{
             [](auto& p) { p.bFloat = !p.bFloat; }, [](auto& p) { p.uiMinDst = 1; },
             [](auto& p) { p.uiMaxDst = 1; }, [](auto& p) { p.dGammaSrc = 1.0011; },
             [](auto& p) { p.dGammaSrc = 0.9989; }, [](auto& p) { p.uiGradient = 1; },
             [](auto& p) { p.uiGradientBrightField = 1; },
             [](auto& p) { p.sLutDataSpectral.uiGroupCount = 4; },
             [](auto& p) { p.sLutDataSpectral.uiSpectralColorMode = 1; },
             [](auto& p) { p.sCompLutParam[0].uiMinDst = 1; },
             [](auto& p) { p.sCompLutParam[191].uiMaxDst = 1; },
             [](auto& p) { p.sCompLutParam[191].dGammaSrc = 1.0011; },
             [](auto& p) { p.sCompLutParam[191].uiGroup = 1; }}) {
        EXPECT_FALSE(alike(kIntegers, change));
        EXPECT_FALSE(alike(kFloats, change));
    }
    for (const uint32_t comp : {0u, 191u}) {
        const Change integers[] = {[](auto& p) { p.uiMinSrc = 1; }, [](auto& p) { p.uiMaxSrc = 1; },
                                   [=](auto& p) { p.sCompLutParam[comp].uiMinSrc = 1; },
                                   [=](auto& p) { p.sCompLutParam[comp].uiMaxSrc = 1; }};
        const Change floats[] = {[](auto& p) { p.fMinSrc = 1; },
                                 [](auto& p) { p.fMaxSrc = 1; },
                                 [=](auto& p) { p.sCompLutParam[comp].fMinSrc = 0.1f; },
                                 [=](auto& p) { p.sCompLutParam[comp].fMaxSrc = 0.1f; },
                                 [](auto& p) { p.fMinSrc = kNan; },
                                 [=](auto& p) { p.sCompLutParam[comp].fMinSrc = kNan; }};
        for (const Change& change : integers) {
            EXPECT_FALSE(alike(kIntegers, change));
            EXPECT_TRUE(alike(kFloats, change));
        }
        for (const Change& change : floats) {
            EXPECT_FALSE(alike(kFloats, change));
            EXPECT_TRUE(alike(kIntegers, change));
        }
    }
}

TEST(LutParamCompare, LeavesOutWhatDoesNotShow) {
    for (const Change& change : std::vector<Change>{
             [](auto& p) { p.dGammaSrc = 1.0009; },
             [](auto& p) { p.dGammaSrc = kNan; },
             [](auto& p) { p.sCompLutParam[5].dGammaSrc = 0.9991; },
             [](auto& p) { p.sCompLutParam[5].dGammaSrc = kNan; },
             [](auto& p) { p.uiColorSpace = 1; },
             [](auto& p) { p.uiRepresentation = 1; },
             [](auto& p) { p.uiLutComponentCount = 1; },
             [](auto& p) { p.sLutDataSpectral.uiSpectralCompCount = 1; },
             [](auto& p) { p.sLutDataSpectral.Realloc(5); },
             [](auto& p) { p.sLutDataSpectral.Realloc(2), p.sLutDataSpectral.SetGroupColor(0, 1); },
         })
        EXPECT_TRUE(alike(kIntegers, change));
}

TEST(LutParamCompare, FindsNanUnlikeItself) {
    SQmLutParam p;
    EXPECT_TRUE(p.CompareWith(p));
    p.dGammaSrc = kNan;
    EXPECT_TRUE(p.CompareWith(p));
    p.bFloat = true, p.fMinSrc = kNan;
    EXPECT_FALSE(p.CompareWith(p));
    p.fMinSrc = 0;
    EXPECT_TRUE(p.CompareWith(p));
    p.sLutDataSpectral.SetGain(0, kNan);
    EXPECT_FALSE(p.CompareWith(p));
}

TEST(LutParamCompare, SeesGainsAndOffsetsOfTheModeAlone) {
    for (uint32_t mode = 0; mode < 4; ++mode) {
        const Change before = [=](auto& p) {
            p.sLutDataSpectral.Realloc(5);
            p.sLutDataSpectral.uiSpectralColorMode = mode;
        };
        const auto in = [](uint32_t set_mode, uint32_t index, bool gain) {
            return [=](SQmLutParam& p) {
                auto& d = p.sLutDataSpectral;
                const uint32_t kept = std::exchange(d.uiSpectralColorMode, set_mode);
                if (gain)
                    d.SetGain(index, 1 + 1e-15);
                else
                    d.SetOffset(index, 1e-300);
                d.uiSpectralColorMode = kept;
            };
        };
        for (const bool gain : {false, true}) {
            for (uint32_t other = 0; other < 4; ++other)
                EXPECT_EQ(alike(before, in(other, 2, gain)), other != mode);
            if (mode == 1 || mode == 2) {  // entries behind the three groups
                EXPECT_TRUE(alike(before, in(mode, 3, gain)));
            }
        }
    }
}

TEST(LutParamCompare, IsSatisfiedWhereGainsAreMissing) {
    using Data = SQmLutParam::SQmLUTDataSpectral;
    const auto without = [](double* Data::*array) {
        return [=](SQmLutParam& p) {
            delete[](p.sLutDataSpectral.*array);
            p.sLutDataSpectral.*array = nullptr;
            p.sLutDataSpectral.SetOffset(0, 7);
        };
    };
    const auto in_mode = [](uint32_t mode) {
        return [=](SQmLutParam& p) {
            p.sLutDataSpectral.Realloc(3);
            p.sLutDataSpectral.uiSpectralColorMode = mode;
        };
    };
    EXPECT_TRUE(alike(in_mode(0), without(&Data::pdGainTrueColor)));
    EXPECT_TRUE(alike(in_mode(1), without(&Data::pdGainCustom)));
    EXPECT_TRUE(alike(in_mode(2), without(&Data::pdGainGrouped)));
    EXPECT_TRUE(alike(in_mode(3), without(&Data::pdGainGrayScale)));
    EXPECT_FALSE(alike(in_mode(3), without(&Data::pdGainTrueColor)));
    EXPECT_TRUE(alike(in_mode(3), without(&Data::pdOffsetGrayScale)));  // only offsets are missing
    // No arrays at all, and no groups.
    EXPECT_TRUE(alike([](auto& p) { p.sLutDataSpectral.uiSpectralColorMode = 2; },
                      [](auto& p) {
                          p.sLutDataSpectral.Realloc(3);
                          p.sLutDataSpectral.SetGain(0, 5);
                      }));
    EXPECT_TRUE(alike(
        [](auto& p) {
            p.sLutDataSpectral.Realloc(3);
            p.sLutDataSpectral.uiSpectralColorMode = 2;
            p.sLutDataSpectral.uiGroupCount = 0;
        },
        [](auto& p) { p.sLutDataSpectral.SetGain(0, 5); }));
    EXPECT_TRUE(alike([](auto& p) { p.sLutDataSpectral.uiSpectralColorMode = 4; },
                      [](auto& p) { *p.sLutDataSpectral.pdGainTrueColor = 5; }));
}

TEST(LutParamCompare, StopsAtTheSmallerArrays) {
    SQmLutParam a, b;
    for (SQmLutParam* p : {&a, &b}) p->sLutDataSpectral.uiSpectralColorMode = 2;
    a.sLutDataSpectral.Realloc(3);
    b.sLutDataSpectral.Realloc(1);
    EXPECT_TRUE(a.CompareWith(b));
    a.sLutDataSpectral.SetGain(1, 2);
    EXPECT_TRUE(a.CompareWith(b));
    EXPECT_TRUE(b.CompareWith(a));
    b.sLutDataSpectral.SetOffset(0, 2);
    EXPECT_FALSE(a.CompareWith(b));
}

// ----- Copies of a part --------------------------------------------------------------------------

TEST(LutParam, IsCopiedWhereItIsCompatible) {
    Random random(5);
    SQmLutParam source;
    randomise(source, random);
    randomise_spectral(source, random);
    source.Init(3, true, 5, 7, 6);
    source.sLutDataSpectral.uiGroupCount = 2;
    source.sLutDataSpectral.Realloc(2);
    for (uint32_t c = 0; c < 6; ++c) source.sCompLutParam[c].uiGroup = c / 3;
    SQmLutParam target;
    target.Init(3, true, 5, 7, 6);
    EXPECT_EQ(target.CompatibleCopy(source), 0);
    EXPECT_EQ(differences(target, source), "");

    for (const Change& change : std::vector<Change>{
             [](auto& p) { p.uiColorSpace = 4; }, [](auto& p) { p.bFloat = false; },
             [](auto& p) { p.uiRepresentation = 4; }, [](auto& p) { p.uiLutComponentCount = 8; },
             [](auto& p) { p.sLutDataSpectral.uiSpectralCompCount = 5; }}) {
        SQmLutParam other;
        other.Init(3, true, 5, 7, 6);
        change(other);
        SQmLutParam wanted = other;
        wanted.sLutDataSpectral.GetAllGroupCount(nullptr, true);
        EXPECT_EQ(other.CompatibleCopy(source), 0);  // nobody is told
        EXPECT_EQ(differences(other, wanted), "");
        EXPECT_NE(other.sCompLutParam[4].uiGroup, 0u) << "groups are made in any case";
    }
    EXPECT_EQ(target.CompatibleCopy(target), 0);
    EXPECT_EQ(differences(target, source), "");
}

TEST(LutParam, MendsTheGroupsThatItCopies) {
    SQmLutParam source, target;
    for (SQmLutParam* p : {&source, &target}) p->Init(0, false, 0, 4, 4);
    source.sLutDataSpectral.uiGroupCount = 4;  // but all components in one
    target.CompatibleCopy(source);
    EXPECT_EQ(target.sLutDataSpectral.uiGroupCount, 3u);
    EXPECT_EQ(target.sCompLutParam[3].uiGroup, 2u);
    EXPECT_EQ(source.sLutDataSpectral.uiGroupCount, 4u);
}

TEST(LutParam, CopiesGradientsAndFloatRangeAlone) {
    Random random(6);
    SQmLutParam source, target;
    for (SQmLutParam* p : {&source, &target}) {
        randomise(*p, random);
        randomise_spectral(*p, random);
    }
    SQmLutParam wanted = target;
    wanted.uiGradient = source.uiGradient;
    wanted.uiGradientBrightField = source.uiGradientBrightField;
    wanted.fMinSrc = source.fMinSrc;
    wanted.fMaxSrc = source.fMaxSrc;
    target.PartialCopyIndependendOnEnable(source);
    EXPECT_EQ(differences(target, wanted), "");
}

TEST(LutParam, FoldsTheGlobalLevelsIntoTheComponents) {
    SQmLutParam p;
    p.uiMaxSrc = 32768, p.uiMinDst = 600, p.uiMaxDst = 3600, p.dGammaSrc = 2;
    p.sCompLutParam[1].uiMinDst = 21845, p.sCompLutParam[1].dGammaSrc = 1.5;
    p.GlobalParamToComponent();
    EXPECT_EQ(plain_fields_of(p), plain_fields_of(SQmLutParam()));
    const SQmCompLutParam& c = p.sCompLutParam[1];
    EXPECT_EQ(c.uiMaxSrc, 32768);
    EXPECT_EQ(std::tuple(c.uiMinDst, c.uiMaxDst, c.dGammaSrc), std::tuple(1600, 3600, 3.0));
    // Narrowed once more: the quarter and not the half.
    EXPECT_EQ(c.fMaxSrc,
              static_cast<float>((32768 - 32768.0 * (65535 - 32768) / 65535.0) / 65535.0));
    EXPECT_NEAR(c.fMaxSrc, 0.25, 1e-5);
    EXPECT_EQ(c.fMinSrc, 0.0f);
}

TEST(LutParam, FoldsRandomRecordsFieldByField) {
    Random random(7);
    for (uint32_t round = 0; round < 100; ++round) {
        SQmLutParam p;
        randomise(p, random);
        const SQmLutParam before = p;
        SQmLutParam narrowed = p;  // the shorts are changed one after the other
        for (uint32_t i = 0; i < 192; ++i) {
            SQmCompLutParam& c = narrowed.sCompLutParam[i];
            const Told told{narrowed};
            const auto cut = [](double x) { return static_cast<uint16_t>(Told::wrapped(x)); };
            c.uiMinSrc = cut(told.min_src(i) * 65535);
            c.uiMaxSrc = cut(told.max_src(i) * 65535);
            c.uiMinDst = cut(told.min_dst(i) * 65535);
            c.uiMaxDst = cut(told.max_dst(i) * 65535);
            c.dGammaSrc *= p.dGammaSrc;
            c.fMinSrc = static_cast<float>(told.min_src(i));
            c.fMaxSrc = static_cast<float>(told.max_src(i));
        }
        narrowed.uiMinSrc = narrowed.uiMinDst = 0;
        narrowed.uiMaxSrc = narrowed.uiMaxDst = 65535;
        narrowed.dGammaSrc = 1;
        p.GlobalParamToComponent();
        EXPECT_EQ(differences(p, narrowed), "");
        for (const uint32_t c : {0u, 191u}) {  // what is in effect is the same, up to rounding
            EXPECT_NEAR(p.GetMinSrcDbl(c), before.GetMinSrcDbl(c), 1.0 / 65535);
            EXPECT_NEAR(p.GetMaxDstDbl(c), before.GetMaxDstDbl(c), 1.0 / 65535);
            EXPECT_EQ(p.GetGammaSrc(c), before.GetGammaSrc(c));
        }
    }
}

// ----- Masks -------------------------------------------------------------------------------------

/// So many spectral components in so many groups, evenly.
void make_groups(SQmLutParam& p, uint32_t components, uint32_t groups, uint32_t mode) {
    auto& d = p.sLutDataSpectral;
    d.uiSpectralCompCount = components;
    d.uiGroupCount = groups;
    d.uiSpectralColorMode = mode;
    for (uint32_t c = 0; c < components; ++c) p.sCompLutParam[c].uiGroup = c * groups / components;
}

TEST(LutParamMasks, TellAGroupByTheFirstRun) {
    SQmLutParam p;
    make_groups(p, 9, 3, 2);
    unsigned int first = 77;
    EXPECT_TRUE(p.IsGroupMask(mask_of(9, {3, 4, 5}), &first));
    EXPECT_EQ(first, 3u);
    EXPECT_TRUE(p.IsGroupMask(mask_of(9, {4}), &first));
    EXPECT_EQ(first, 4u);
    EXPECT_TRUE(p.IsGroupMask(mask_of(9, {1, 2, 4, 8}), &first));  // a gap ends it
    EXPECT_EQ(first, 1u);
    EXPECT_FALSE(p.IsGroupMask(mask_of(9, {5, 6}), &first));
    EXPECT_EQ(first, 5u) << "is told in any case";
    EXPECT_TRUE(p.IsGroupMask(mask_of(9, {0}), nullptr));
    EXPECT_FALSE(p.IsGroupMask(CQmRangeMask(192, 0, 191, 1), nullptr));
    first = 77;
    EXPECT_FALSE(p.IsGroupMask(mask_of(9, {}), &first));
    p.sLutDataSpectral.uiGroupCount = 0;
    EXPECT_FALSE(p.IsGroupMask(mask_of(9, {3}), &first));
    p.sLutDataSpectral.uiGroupCount = 3;
    for (const uint32_t mode : {0u, 1u, 3u}) {
        p.sLutDataSpectral.uiSpectralColorMode = mode;
        EXPECT_FALSE(p.IsGroupMask(mask_of(9, {3}), &first));
    }
    EXPECT_EQ(first, 77u);
    SQmLutParam one;
    one.sLutDataSpectral.uiSpectralColorMode = 2;
    EXPECT_TRUE(one.IsGroupMask(CQmRangeMask(192, 0, 191, 1), &first));  // to the very end
    EXPECT_EQ(first, 0u);
}

using Base = SQmPicBufAPI_Base;

TEST(LutParamMasks, AreOfGroupsAndOneBitForAllOthers) {
    SQmLutParam p;
    make_groups(p, 2, 2, 2);
    CQmRangeMask groups;
    EXPECT_EQ(p.ComponentMaskToSpectralGroupMask(groups, mask_of(3, {2}), 3), QM_OK);
    EXPECT_EQ(groups, mask_of(3, {2}));
    EXPECT_EQ(Base::ComponentMaskToSpectralGroupMask(groups, mask_of(3, {1}), p, 3), QM_OK);
    EXPECT_EQ(groups, mask_of(3, {1}));
    EXPECT_EQ(Base::ComponentMaskToSpectralGroupMask(groups, mask_of(3, {0, 1}), p, 2), QM_OK);
    EXPECT_EQ(groups, mask_of(2, {0, 1}));  // no others
    // Of several others the last speaks for all.
    EXPECT_EQ(p.ComponentMaskToSpectralGroupMask(groups, mask_of(5, {2, 3}), 5), QM_OK);
    EXPECT_EQ(groups, mask_of(3, {}));
    // More spectral components than asked for.
    EXPECT_EQ(p.ComponentMaskToSpectralGroupMask(groups, mask_of(2, {0, 1}), 1), QM_OK);
    EXPECT_EQ(groups, mask_of(2, {0}));
    EXPECT_EQ(p.ComponentMaskToSpectralGroupMask(groups, mask_of(2, {0, 1}), 0), QM_OK);
    EXPECT_EQ(groups, mask_of(2, {}));
    // The bit of all others is theirs, also where a component points at it.
    p.sCompLutParam[0].uiGroup = 2;
    EXPECT_EQ(p.ComponentMaskToSpectralGroupMask(groups, mask_of(3, {0}), 3), QM_OK);
    EXPECT_EQ(groups, mask_of(3, {}));
    p.sCompLutParam[0].uiGroup = 0xFFFFFFFF;  // and nowhere
    EXPECT_EQ(p.ComponentMaskToSpectralGroupMask(groups, mask_of(3, {0, 2}), 3), QM_OK);
    EXPECT_EQ(groups, mask_of(3, {2}));
    // A new record has three groups, so four bits.
    SQmLutParam fresh;
    fresh.sLutDataSpectral.uiSpectralColorMode = 1;
    EXPECT_EQ(fresh.ComponentMaskToSpectralGroupMask(groups, mask_of(3, {2}), 3), QM_OK);
    EXPECT_EQ(groups, mask_of(4, {3}));
}

TEST(LutParamMasks, AreRefusedInModesWithoutGroups) {
    for (const uint32_t mode : {0u, 3u, 4u}) {
        SQmLutParam p;
        make_groups(p, 2, 2, mode);
        CQmRangeMask mask = mask_of(7, {6});
        EXPECT_EQ(p.ComponentMaskToSpectralGroupMask(mask, mask_of(3, {2}), 3), QM_BAD_BUFFER);
        EXPECT_EQ(Base::ComponentMaskToSpectralGroupMask(mask, mask_of(3, {2}), p, 3),
                  QM_BAD_BUFFER);
        EXPECT_EQ(Base::SpectralGroupMaskToComponentMask(mask, mask_of(3, {2}), p, 3),
                  QM_BAD_BUFFER);
        EXPECT_EQ(mask, mask_of(7, {6}));
    }
}

TEST(LutParamMasks, MayBeOne) {
    SQmLutParam p;
    make_groups(p, 4, 2, 2);
    CQmRangeMask mask = mask_of(5, {2, 4});
    p.ComponentMaskToSpectralGroupMask(mask, mask, 5);
    EXPECT_EQ(mask, mask_of(3, {1, 2}));
    Base::SpectralGroupMaskToComponentMask(mask, mask, p, 5);
    EXPECT_EQ(mask, mask_of(5, {2, 3, 4}));
}

TEST(LutParamMasks, OfComponentsComeFromThoseOfGroups) {
    SQmLutParam p;
    make_groups(p, 4, 2, 1);
    CQmRangeMask comps;
    const auto after = [&](const CQmRangeMask& groups, uint32_t count) {
        EXPECT_EQ(Base::SpectralGroupMaskToComponentMask(comps, groups, p, count), QM_OK);
        return comps;
    };
    EXPECT_EQ(after(mask_of(3, {1}), 6), mask_of(6, {2, 3}));
    EXPECT_EQ(after(mask_of(3, {0, 2}), 6), mask_of(6, {0, 1, 4, 5}));
    EXPECT_EQ(after(mask_of(2, {0}), 6), mask_of(6, {0, 1}));  // too short for the others
    EXPECT_EQ(after(mask_of(3, {0, 1, 2}), 3), mask_of(3, {0, 1, 2}));
    EXPECT_EQ(after(mask_of(3, {0, 1, 2}), 0), CQmRangeMask());
}

TEST(LutParamMasks, OfRandomGroupsAreAsTold) {
    Random random(8);
    for (uint32_t round = 0; round < 2000; ++round) {
        SQmLutParam p;
        auto& d = p.sLutDataSpectral;
        d.uiSpectralColorMode = random(1, 2);
        d.uiGroupCount = random.one_of({0u, 1u, 3u, 8u, 191u, 192u});
        d.uiSpectralCompCount = random.one_of({0u, 1u, 5u, 20u, 192u, 300u});
        for (SQmCompLutParam& c : p.sCompLutParam) c.uiGroup = random(0, d.uiGroupCount + 1);
        const uint32_t count = random.one_of({0u, 1u, 5u, 6u, 25u, 192u, 250u});
        CQmRangeMask source;
        source.SetSize(random(0, 192));
        for (uint32_t i = 0; i < source.GetSize(); ++i) source.Set(i, random(0, 1) != 0);

        const uint32_t s = d.uiSpectralCompCount, n = d.uiGroupCount;
        std::vector<bool> wanted_groups(n + (s < count ? 1 : 0)), wanted_comps(count);
        for (uint32_t c = 0; c < std::min(count, 192u); ++c) {
            const uint32_t group = p.sCompLutParam[c].uiGroup;
            if (source.Get(c) && (c < s || s >= count) && group < wanted_groups.size())
                wanted_groups[group] = true;
            wanted_comps[c] = c < s ? source.Get(group) : source.GetSize() > n && source.Get(n);
        }
        if (s < count) wanted_groups[n] = source.Get(count - 1);
        CQmRangeMask groups = source, comps = source;
        ASSERT_EQ(p.ComponentMaskToSpectralGroupMask(groups, source, count), QM_OK);
        ASSERT_EQ(Base::SpectralGroupMaskToComponentMask(comps, source, p, count), QM_OK);
        const auto check = [](const CQmRangeMask& mask, const std::vector<bool>& wanted) {
            ASSERT_EQ(mask.GetSize(), std::min<size_t>(wanted.size(), 192));
            for (uint32_t i = 0; i < mask.GetSize(); ++i) ASSERT_EQ(mask.Get(i), wanted[i]) << i;
        };
        check(groups, wanted_groups);
        check(comps, wanted_comps);
    }
}

// ----- Threads -----------------------------------------------------------------------------------

constexpr uint32_t kRounds = 5000;

/// What one thread does to `mine` while another does it to `other`.
void use_both(SQmLutParam& mine, SQmLutParam& other, uint32_t seed) {
    using Data = SQmLutParam::SQmLUTDataSpectral;
    Data& data = mine.sLutDataSpectral;
    Random random(seed);
    double offsets[192], gains[192];
    unsigned int colors[192], ends[192];
    CQmRangeMask mask;
    for (uint32_t round = 0; round < kRounds; ++round) {
        mine = other;
        mine.CompareWith(other);
        switch (random(0, 9)) {
        case 0: data.SetGain(random(0, 5), random(0, 9)); break;
        case 1: data.InsertGroup(random(0, 5), nullptr); break;
        case 2: data.RemoveGroup(random(0, 5), nullptr); break;
        case 3: data.SetGroupCount(static_cast<int>(random(1, 9))); break;
        case 4: mine.Init(0, false, 0, 0, random(12, 24)); break;
        case 5:
            Data::ExtractGroups(data, other.sLutDataSpectral, CQmRangeMask(192, 0, 15, 1));
            break;
        case 6: mine.CompatibleCopy(other); break;
        case 7: data.GetCompOffsetAndGains(offsets, gains); break;
        case 8: data.GetCompColors(colors, false, false); break;
        default: {
            const SQmLutParam copy = other;
            EXPECT_EQ(copy.sLutDataSpectral.pOwner, &copy);
        }
        }
        data.GetAllGroupCount(ends, true);
        other.ComponentMaskToSpectralGroupMask(mask, CQmRangeMask(192, 0, 191, 1), 20);
        EXPECT_GE(other.sLutDataSpectral.GetNonTransmittedComponentCount(), 12u);
    }
}

TEST(LutParamThreads, NeitherWaitForEverNorRace) {
    SQmLutParam a, b;
    for (SQmLutParam* p : {&a, &b}) {
        p->Init(0, false, 0, 0, 12);
        p->sLutDataSpectral.uiSpectralColorMode = 2;
        p->sLutDataSpectral.GetAllGroupCount(nullptr, true);
    }
    std::thread one([&] { use_both(a, b, 1); }), two([&] { use_both(b, a, 2); });
    std::thread three([&] { use_both(a, b, 3); });
    for (std::thread* thread : {&one, &two, &three}) thread->join();
    for (SQmLutParam* p : {&a, &b}) {
        auto& d = p->sLutDataSpectral;
        EXPECT_EQ(d.pOwner, p);
        EXPECT_EQ(d.uiGroupCount, d.uiAllocated);
    }
    a = b;
    EXPECT_TRUE(a.CompareWith(b));
    EXPECT_EQ(differences(a, b), "");
}

// ----- Locks that cannot be had ------------------------------------------------------------------

#ifdef __GLIBC__
TEST(LutParamLocks, ThrowTheSystemsErrorAndChangeNothing) {
    SQmLutParam p, other;
    CQmRangeMask mask = mask_of(7, {3});
    for (SQmLutParam* one : {&p, &other}) make_groups(*one, 4, 2, 2);
    other.uiGradient = 9;
    const SQmLutParam before = p, other_before = other;
    const std::vector<std::function<void()>> calls{
        [&] { p = other; },
        [&] { other = p; },
        [&] { const SQmLutParam made(p); },
        [&] { p.CompareWith(other); },
        [&] { other.CompareWith(p); },
        [&] { p.CompareWith(p); },
        [&] { p.CompatibleCopy(other); },
        [&] { other.CompatibleCopy(p); },
        [&] { p.Init(1, true, 2, 3, 4); },
        [&] { p.SetUnit(); },
        [&] { p.IsGroupMask(mask, nullptr); },
        [&] { p.ComponentMaskToSpectralGroupMask(mask, mask, 4); },
        [&] { Base::ComponentMaskToSpectralGroupMask(mask, mask, p, 4); },
        [&] { Base::SpectralGroupMaskToComponentMask(mask, mask, p, 4); },
    };
    for (size_t i = 0; i < calls.size(); ++i) {
        {
            const ExhaustedLock lock(p);
            EXPECT_THROW(calls[i](), std::system_error) << i;
        }
        EXPECT_EQ(differences(p, before), "") << i;
        EXPECT_EQ(differences(other, other_before), "") << i;
        EXPECT_EQ(mask, mask_of(7, {3})) << i;
        // The other lock has been given back.
        std::thread([&] {
            EXPECT_TRUE(other.sLutDataSpectral.mtx.try_lock()) << i;
            other.sLutDataSpectral.mtx.unlock();
        }).join();
    }
}
#endif

TEST(LutParamLocks, MayBeHeldByTheCaller) {
    SQmLutParam p, other;
    make_groups(p, 4, 2, 2);
    const std::lock_guard lock(p.sLutDataSpectral.mtx);
    other = p;
    EXPECT_TRUE(other.CompareWith(p));
    p.SetUnit();
    EXPECT_EQ(p.CompatibleCopy(other), 0);
    unsigned int first = 9;
    EXPECT_TRUE(p.IsGroupMask(mask_of(4, {2, 3}), &first));
    EXPECT_EQ(first, 2u);
}

}  // namespace
}  // namespace qmpic::test
