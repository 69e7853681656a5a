#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "qmpic/TypedLutParams.h"
#include "qmpic/status.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/stored.h"

// What is stored of typed display parameters: byte by byte, and with all that gets lost on the way.

namespace qmpic::test {
namespace {

const bool registered =
    add_cases({}, {},
              {"CQmLutParamMCH::SaveToLiteVariant", "CQmLutParamMCH::LoadFromLiteVariant",
               "CQmLutParamRGB::SaveToLiteVariant", "CQmLutParamRGB::LoadFromLiteVariant",
               "CQmLutParamSpectralTrueColor::SaveToLiteVariant",
               "CQmLutParamSpectralTrueColor::LoadFromLiteVariant",
               "CQmLutParamSpectralCustomColor::SaveToLiteVariant",
               "CQmLutParamSpectralCustomColor::LoadFromLiteVariant",
               "CQmLutParamSpectralGrouped::SaveToLiteVariant",
               "CQmLutParamSpectralGrouped::LoadFromLiteVariant"});

using MCH = CQmLutParamMCH;
using RGB = CQmLutParamRGB;
using TrueColor = CQmLutParamSpectralTrueColor;
using CustomColor = CQmLutParamSpectralCustomColor;
using Grouped = CQmLutParamSpectralGrouped;
using Numbers = std::vector<unsigned>;

// ----- Records -----------------------------------------------------------------------------------

constexpr unsigned kSizes[] = {3, 1, 2}, kTwoAndOne[] = {2, 1}, kGroups[] = {5, 7};

void set_values(auto& p, unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
        p.SetGain(i, 2.0 + i);
        p.SetOffset(i, -1.0 - i);
    }
    p.dGamma = 0.75;
}
void set_colors(auto& p) {
    p.SetColor(0, 0x10203);
    p.SetColor(1, 0x20406);
}

template <class P>
P record();
template <>
MCH record() {
    MCH p(2, 3, kTwoAndOne, 8);
    p.SetMin(0, 10), p.SetMax(0, 200), p.SetGamma(0, 0.5);
    p.SetMax(1, 100), p.SetGamma(1, 2.0);
    p.SetGradient(7);
    return p;
}
template <>
RGB record() {
    RGB p(12);
    for (unsigned c = 0; c < 3; ++c) {
        p.SetMin(c, 1 + c);
        p.SetMax(c, 2000 + c);
        p.SetMaxDst(c, 3000 + c);
        p.SetGamma(c, 0.5 + c);
    }
    return p;
}
template <>
TrueColor record() {
    TrueColor p(3, 2, 6, kSizes, 12);
    set_values(p, 2);
    p.SetGradient(5);
    return p;
}
template <>
CustomColor record() {
    CustomColor p(2, 2, 3, 6, kSizes, 12);
    set_values(p, 3);
    set_colors(p);
    return p;
}
template <>
Grouped record() {
    Grouped p(2, kGroups, 2, 3, 6, kSizes, 12);
    set_values(p, 3);
    set_colors(p);
    return p;
}

template <class P>
const char* const kFile = "CQmLutParamMCH";
template <>
const char* const kFile<RGB> = "CQmLutParamRGB";
template <>
const char* const kFile<TrueColor> = "CQmLutParamSpectralTrueColor";
template <>
const char* const kFile<CustomColor> = "CQmLutParamSpectralCustomColor";
template <>
const char* const kFile<Grouped> = "CQmLutParamSpectralGrouped";

template <class P>
std::wstring level_of() {
    const std::string name = kFile<P>;
    return std::wstring(name.begin(), name.end());
}

template <class P>
Bytes saved(const P& p) {
    CQmLiteVariantW w;
    EXPECT_EQ(p.SaveToLiteVariant(w), QM_OK);
    return written(w);
}
template <class P>
int load(P& p, const Bytes& bytes) {
    CQmLiteVariantR r(bytes.data(), bytes.size());
    EXPECT_TRUE(r.IsValid());
    const int code = p.LoadFromLiteVariant(r);
    EXPECT_EQ(r.LevelEnd(), QM_REJECTED) << "a level is still open";
    return code;
}

template <class P>
Numbers sizes_of(const P& p) {
    return Numbers(p.puiComp, p.puiComp + p.GetChannelCount());
}

/// A block of the class's level with what `fill` writes.
struct Fill {
    CQmLiteVariantW& w;
    const Fill& set(const wchar_t* name, auto value) const {
        EXPECT_EQ(w.Set(name, value), QM_OK);
        return *this;
    }
    const Fill& list(const wchar_t* name, const std::initializer_list<unsigned>& values) const {
        for (const unsigned value : values) {
            EXPECT_EQ(w.LevelBegin(L""), QM_OK);
            set(name, value);
            EXPECT_EQ(w.LevelEnd(), QM_OK);
        }
        return *this;
    }
};
template <class P>
Bytes block_of(auto fill) {
    CQmLiteVariantW w;
    EXPECT_EQ(w.LevelBegin(level_of<P>()), QM_OK);
    fill(Fill{w});
    EXPECT_EQ(w.LevelEnd(), QM_OK);
    return written(w);
}

/// Everything that a caller can see of a record.
template <class P>
std::vector<double> seen(const P& p) {
    std::vector<double> all{static_cast<double>(p.GetBpc())};
    const auto add = [&](auto value) { all.push_back(static_cast<double>(value)); };
    if constexpr (requires { p.puiComp; }) {
        add(p.GetChannelCount()), add(p.GetComponentCount());
        for (unsigned c = 0; c < p.GetChannelCount(); ++c) add(p.puiComp[c]);
    }
    for (unsigned c = 0; c < 8; ++c) {
        if constexpr (requires { p.GetGain(c); })
            add(p.GetGain(c)), add(p.GetOffset(c));
        else
            add(p.GetMin(c)), add(p.GetMax(c)), add(p.GetGamma(c));
        if constexpr (requires { p.GetMaxDst(c); }) add(p.GetMaxDst(c));
        if constexpr (requires { p.GetColor(c); }) add(p.GetColor(c));
    }
    if constexpr (requires { p.GetGamma(); }) add(p.GetGamma());
    if constexpr (requires { p.GetGradient(); }) add(p.GetGradient());
    return all;
}

// ----- All five ----------------------------------------------------------------------------------

template <class P>
class StoredTypedParams : public testing::Test {};
using AllTyped = testing::Types<MCH, RGB, TrueColor, CustomColor, Grouped>;
TYPED_TEST_SUITE(StoredTypedParams, AllTyped);

TYPED_TEST(StoredTypedParams, AreTheBytesOfTheDocumentation) {
    const Bytes expected = golden(kFile<TypeParam>);
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(saved(record<TypeParam>()), expected);
}

TYPED_TEST(StoredTypedParams, StandBehindEachOtherInOneBlock) {
    CQmLiteVariantW w;
    const MCH mch = record<MCH>();
    const RGB rgb = record<RGB>();
    EXPECT_EQ(rgb.SaveToLiteVariant(w), QM_OK);
    EXPECT_EQ(record<TypeParam>().SaveToLiteVariant(w), QM_OK);
    EXPECT_EQ(mch.SaveToLiteVariant(w), QM_OK);
    const Bytes bytes = written(w);
    MCH read_mch;
    RGB read_rgb;
    EXPECT_EQ(load(read_mch, bytes), QM_OK);
    EXPECT_EQ(load(read_rgb, bytes), QM_OK);
    EXPECT_EQ(read_mch.GetMax(0), 200u);
    EXPECT_EQ(read_rgb.GetMax(2), 2002u);
}

TYPED_TEST(StoredTypedParams, AreRefusedWhereLevelsAreTooDeep) {
    for (const int open : {64, 63}) {  // none for the record, none for its lists
        CQmLiteVariantW w;
        for (int i = 0; i < open; ++i) ASSERT_EQ(w.LevelBegin(L"n"), QM_OK);
        EXPECT_EQ(record<TypeParam>().SaveToLiteVariant(w), QM_BAD_BUFFER) << open;
        for (int i = 0; i < open; ++i) ASSERT_EQ(w.LevelEnd(), QM_OK);
        EXPECT_EQ(w.LevelEnd(), QM_REJECTED);
        EXPECT_FALSE(written(w).empty());
    }
    CQmLiteVariantW w;
    for (int i = 0; i < 62; ++i) ASSERT_EQ(w.LevelBegin(L"n"), QM_OK);
    EXPECT_EQ(record<TypeParam>().SaveToLiteVariant(w), QM_OK);
}

TYPED_TEST(StoredTypedParams, AreNotFoundUnderAnotherName) {
    CQmLiteVariantW w;
    ASSERT_EQ(w.LevelBegin(L"CQmLutParam"), QM_OK);
    ASSERT_EQ(record<TypeParam>().SaveToLiteVariant(w), QM_OK);  // one level too deep
    ASSERT_EQ(w.LevelEnd(), QM_OK);
    TypeParam p = record<TypeParam>();
    const auto before = seen(p);
    EXPECT_EQ(load(p, written(w)), QM_BAD_BUFFER);
    EXPECT_EQ(seen(p), before);
    const Bytes nothing = written(CQmLiteVariantW());
    EXPECT_EQ(load(p, nothing), QM_BAD_BUFFER);
    CQmLiteVariantR invalid("QMVT", 4);
    EXPECT_EQ(p.LoadFromLiteVariant(invalid), QM_BAD_BUFFER);
}

TYPED_TEST(StoredTypedParams, AreRefusedBelow8BitsAndStayAsTheyWere) {
    for (const unsigned bpc : {0u, 7u}) {
        TypeParam p = record<TypeParam>();
        const auto before = seen(p);
        EXPECT_EQ(load(p, block_of<TypeParam>([&](Fill f) { f.set(L"m_uiBpc", bpc); })),
                  QM_BAD_BUFFER);
        EXPECT_EQ(seen(p), before);
    }
    TypeParam p = record<TypeParam>();
    EXPECT_EQ(load(p, block_of<TypeParam>([](Fill) {})), QM_BAD_BUFFER);
}

TYPED_TEST(StoredTypedParams, AreReadWithoutTheirVersion) {
    TypeParam p, q;
    EXPECT_EQ(load(p, block_of<TypeParam>([](Fill f) { f.set(L"m_uiBpc", 10u); })), QM_OK);
    EXPECT_EQ(
        load(q, block_of<TypeParam>([](Fill f) { f.set(L"version", 99).set(L"m_uiBpc", 10u); })),
        QM_OK);
    EXPECT_EQ(p.GetBpc(), 10u);
    EXPECT_EQ(seen(p), seen(q));
}

TYPED_TEST(StoredTypedParams, AreUsableWhateverBitFlips) {
    const Bytes whole = golden(kFile<TypeParam>);
    for (size_t bit = 0; bit < 8 * whole.size(); ++bit) {
        Bytes flipped = whole;
        flipped[bit / 8] ^= static_cast<uint8_t>(1u << bit % 8);
        CQmLiteVariantR r(flipped.data(), flipped.size());
        TypeParam p = record<TypeParam>();
        const int code = p.LoadFromLiteVariant(r);
        ASSERT_TRUE(code == QM_OK || code == QM_BAD_BUFFER) << bit;
        const TypeParam copy(p);
        ASSERT_EQ(seen(copy).size(), seen(p).size()) << bit;
        ASSERT_EQ(saved(copy), saved(p)) << bit;  // numbers that are none, too
    }
}

TYPED_TEST(StoredTypedParams, GiveMinusThreeWithoutMemoryAndStayAsTheyWere) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const TypeParam p = record<TypeParam>();
    const auto expect_codes = [](uint32_t n, const Outcome& outcome) {
        EXPECT_EQ(outcome.code, n == 0 ? QM_OK : QM_NO_MEMORY) << n;
        EXPECT_FALSE(outcome.threw) << n;
        EXPECT_EQ(outcome.live, 0) << n;
    };
    each_failure(
        [&] {
            CQmLiteVariantW w;
            return p.SaveToLiteVariant(w);
        },
        expect_codes);

    const Bytes bytes = std::is_same_v<TypeParam, Grouped> ? block_of<Grouped>([](Fill f) {
        f.set(L"m_uiBpc", 10u).set(L"m_uiChannelCount", 2u);
        f.list(L"puiComp", {1, 2});
    })
                                                           : saved(p);
    for (uint32_t n = 1;; ++n) {
        TypeParam target = record<TypeParam>();
        const auto before = seen(target);
        CQmLiteVariantR r(bytes.data(), bytes.size());
        const Outcome outcome =
            with_failing(n, FailingAlloc::kOnce, [&] { return target.LoadFromLiteVariant(r); });
        EXPECT_FALSE(outcome.threw);
        EXPECT_EQ(r.LevelEnd(), QM_REJECTED);
        if (outcome.failed == 0) {
            EXPECT_EQ(outcome.code, QM_OK);
            break;
        }
        EXPECT_EQ(outcome.code, QM_NO_MEMORY);
        EXPECT_EQ(outcome.live, 0);
        EXPECT_EQ(seen(target), before) << n;
        EXPECT_EQ(load(target, bytes), QM_OK);
    }
}

// ----- Several channels --------------------------------------------------------------------------

TEST(StoredLutParamMCH, LosesTheCountOfComponentsAndTheColourTable) {
    MCH p;
    EXPECT_EQ(load(p, saved(record<MCH>())), QM_OK);
    EXPECT_EQ(p.GetComponentCount(), 0u);
    EXPECT_EQ(p.GetGradient(), 0);
    EXPECT_EQ(p.GetBpc(), 8u);
    EXPECT_EQ(sizes_of(p), (Numbers{2, 1}));
    p.m_uiCompCount = 3;
    p.SetGradient(7);
    EXPECT_TRUE(p.CompareWith(record<MCH>()));  // and nothing more
}

TEST(StoredLutParamMCH, ReadsACountOfComponentsUnderItsOtherName) {
    const auto block = [](unsigned comps) {
        return block_of<MCH>([&](Fill f) {
            f.set(L"m_uiChannelCount", 2u).set(L"m_uiComponentCount", comps).set(L"m_uiBpc", 8u);
            f.list(L"puiComp", {2, 1});
        });
    };
    MCH p;
    EXPECT_EQ(load(p, block(4)), QM_BAD_BUFFER);
    EXPECT_EQ(p.GetBpc(), 0u);
    EXPECT_EQ(load(p, block(3)), QM_OK);
    EXPECT_EQ(p.GetComponentCount(), 3u);
    EXPECT_EQ(p.GetMax(1), 255u);  // no levels: they are those of a new record
}

TEST(StoredLutParamMCH, HasDefaultsForWhatAnElementLacks) {
    MCH p = record<MCH>();
    EXPECT_EQ(load(p, block_of<MCH>([](Fill f) {
                       f.set(L"m_uiChannelCount", 3u).set(L"m_uiBpc", 16u);
                       f.list(L"nothing", {0}).list(L"puiComp", {4}).list(L"nothing", {0});
                       f.list(L"nothing", {0}).list(L"uiMax", {9});
                   })),
              QM_OK);
    EXPECT_EQ(sizes_of(p), (Numbers{0, 4, 0}));
    // The first element lacks all: white is what Reinit made of the old black.
    EXPECT_EQ(p.GetMin(0), 0u);
    EXPECT_EQ(p.GetMax(0), 2570u);
    EXPECT_EQ(p.GetGamma(0), 1.0);
    EXPECT_EQ(p.GetMax(1), 9u);
    EXPECT_EQ(p.GetGamma(1), 1.0);
    // There is no third element.
    EXPECT_EQ(p.GetMax(2), 65535u);
    EXPECT_EQ(p.GetGradient(), 7);
}

TEST(StoredLutParamMCH, IsReadOverWhatThereWas) {
    MCH p(5, 0, nullptr, 16);
    for (unsigned c = 0; c < 5; ++c) p.SetMin(c, 65535);
    EXPECT_EQ(load(p, saved(record<MCH>())), QM_OK);
    EXPECT_EQ(p.GetChannelCount(), 2u);
    EXPECT_EQ(p.GetMin(0), 10u);
    EXPECT_EQ(p.GetMax(0), 200u);
    EXPECT_EQ(p.GetMin(1), 0u);
    EXPECT_EQ(p.GetMax(1), 100u);
}

// ----- Colour ------------------------------------------------------------------------------------

TEST(StoredLutParamRGB, LosesHighestOutputs) {
    RGB p;
    EXPECT_EQ(load(p, saved(record<RGB>())), QM_OK);
    for (unsigned c = 0; c < 3; ++c) EXPECT_EQ(p.GetMaxDst(c), 4095u);
    for (unsigned c = 0; c < 3; ++c) p.SetMaxDst(c, 3000 + c);
    EXPECT_EQ(seen(p), seen(record<RGB>()));

    RGB other(8);
    other.SetMaxDst(1, 100);
    EXPECT_EQ(load(other, saved(record<RGB>())), QM_OK);
    EXPECT_EQ(other.GetMaxDst(1), 1606u);  // 100 / 255 x 4095 = 1605.9
}

TEST(StoredLutParamRGB, HasDefaultsForWhatAnElementLacks) {
    RGB p(16);
    p.SetMin(0, 65535), p.SetGamma(0, 3.0), p.SetGamma(2, 3.0);
    EXPECT_EQ(load(p, block_of<RGB>([](Fill f) {
                       f.set(L"m_uiBpc", 8u).list(L"nothing", {0}).list(L"uiMax", {9});
                   })),
              QM_OK);
    EXPECT_EQ(p.GetMin(0), 0u);
    EXPECT_EQ(p.GetMax(0), 255u);  // the old black
    EXPECT_EQ(p.GetGamma(0), 1.0);
    EXPECT_EQ(p.GetMax(1), 9u);
    EXPECT_EQ(p.GetMax(2), 0u);
    EXPECT_EQ(p.GetGamma(2), 3.0);  // there is no third element
}

// ----- Spectral pictures -------------------------------------------------------------------------

TEST(StoredLutParamSpectralTrueColor, LosesComponentsGainsOffsetsAndTheColourTable) {
    TrueColor p;
    EXPECT_EQ(load(p, saved(record<TrueColor>())), QM_OK);
    EXPECT_EQ(p.GetComponentCount(), 0u);
    EXPECT_EQ(p.GetGradient(), -1);
    for (unsigned i = 0; i < 2; ++i) {
        EXPECT_EQ(p.GetGain(i), 1.0);
        EXPECT_EQ(p.GetOffset(i), 0.0);
    }
    EXPECT_EQ(p.GetSpectralChannelCount(), 2u);
    EXPECT_EQ(p.GetSpectralComponentCount(), 4u);
    p.m_uiCompCount = 6;
    p.SetGradient(5);
    set_values(p, 2);
    EXPECT_EQ(seen(p), seen(record<TrueColor>()));
}

TEST(StoredLutParamSpectralCustomColor, LosesComponentsGainsAndOffsets) {
    CustomColor p;
    EXPECT_EQ(load(p, saved(record<CustomColor>())), QM_OK);
    EXPECT_EQ(p.GetComponentCount(), 0u);
    EXPECT_EQ(p.GetNodeCount(), 2u);
    EXPECT_EQ(p.GetColor(0), 0x10203u);
    EXPECT_EQ(p.GetColor(1), 0x20406u);
    EXPECT_EQ(p.GetGamma(), 0.75);
    for (unsigned i = 0; i < 3; ++i) {
        EXPECT_EQ(p.GetGain(i), 1.0);
        EXPECT_EQ(p.GetOffset(i), 0.0);
    }
    p.m_uiCompCount = 6;
    set_values(p, 3);
    EXPECT_EQ(seen(p), seen(record<CustomColor>()));
}

// Values that were there are lost as well.
TEST(StoredLutParamSpectralCustomColor, ResetsGainsThatWereThere) {
    CustomColor p = record<CustomColor>();
    EXPECT_EQ(load(p, saved(record<CustomColor>())), QM_OK);
    EXPECT_EQ(p.GetGain(0), 1.0);
    EXPECT_EQ(p.GetOffset(2), 0.0);
}

TEST(StoredLutParamSpectralGrouped, DoesNotFindItself) {
    const Grouped p = record<Grouped>();
    Grouped target = record<Grouped>();
    EXPECT_EQ(load(target, saved(p)), QM_BAD_BUFFER);
    EXPECT_EQ(seen(target), seen(p));
    // Another class does, and takes the second list of sizes for gains.
    CustomColor custom;
    EXPECT_EQ(load(custom, saved(p)), QM_OK);
    EXPECT_EQ(custom.GetNodeCount(), 0u);
    EXPECT_EQ(sizes_of(custom), (Numbers{3, 1, 2}));
    EXPECT_EQ(custom.GetSpectralChannelCount(), 2u);
    EXPECT_EQ(custom.GetGamma(), 0.75);
    EXPECT_EQ(custom.GetGain(0), 1.0);
}

TEST(StoredLutParamSpectralGrouped, RepeatsSizesForGroupsWithoutChannelsAsZeros) {
    unsigned sizes[] = {4};
    const Grouped p(3, kSizes, 5, 1, 4, sizes, 8);  // more groups than channels
    ASSERT_EQ(p.GetGroupCount(), 3u);
    const CQmVariant stored = tree(saved(p))[0];
    Numbers found;
    for (uint32_t i = 0; i < stored.GetCount(); ++i)
        if (const CQmVariant* const size = stored[i].SearchFixedOneLevel(L"puiComp"))
            found.push_back(size->GetQm_uint32());
    EXPECT_EQ(found, (Numbers{4, 4, 0, 0}));
}

/// What no writer writes: all names as the readers look for them.
template <class P>
Bytes readable(const wchar_t* nodes_key, bool with_nodes, bool with_sizes) {
    return block_of<P>([&](Fill f) {
        f.set(L"m_uiSpectralChannelCount", 2u).set(L"m_uiChannelCount", 3u);
        if (with_nodes) f.set(nodes_key, 2u);
        f.set(L"m_uiComponentCount", 6u).set(L"m_uiBpc", 12u);
        f.list(L"puiComp", {3, 1, 2});
        if (with_sizes) f.list(L"uiGroupSize", {5, 7});
        if (with_nodes) f.list(L"uiColor", {0x10203, 0x20406});
        for (int i = 0; i < (with_nodes ? 3 : 2); ++i) {
            EXPECT_EQ(f.w.LevelBegin(L""), QM_OK);
            f.set(L"Gain", 2.0 + i).set(L"Offset", -1.0 - i);
            EXPECT_EQ(f.w.LevelEnd(), QM_OK);
        }
        f.set(L"dGamma", 0.75);
    });
}

TEST(StoredLutParamSpectral, IsReadWholeUnderTheNamesOfTheReaders) {
    TrueColor true_color;
    EXPECT_EQ(load(true_color, readable<TrueColor>(L"", false, false)), QM_OK);
    true_color.SetGradient(5);
    EXPECT_EQ(seen(true_color), seen(record<TrueColor>()));
    CustomColor custom;
    EXPECT_EQ(load(custom, readable<CustomColor>(L"m_uiNodeCount", true, false)), QM_OK);
    EXPECT_EQ(seen(custom), seen(record<CustomColor>()));
    Grouped grouped;
    EXPECT_EQ(load(grouped, readable<Grouped>(L"m_uiGroupCount", true, true)), QM_OK);
    EXPECT_EQ(seen(grouped), seen(record<Grouped>()));
    EXPECT_EQ(grouped.puiGroupSize[0], 5u);
    EXPECT_EQ(grouped.puiGroupSize[1], 7u);
}

TEST(StoredLutParamSpectral, HasDefaultsForWhatElementsLack) {
    CustomColor p = record<CustomColor>();
    EXPECT_EQ(load(p, block_of<CustomColor>([](Fill f) {
                       f.set(L"m_uiSpectralChannelCount", 2u).set(L"m_uiChannelCount", 3u);
                       f.set(L"m_uiNodeCount", 2u).set(L"m_uiBpc", 12u).list(L"puiComp", {1, 1, 1});
                       f.list(L"nothing", {0}).list(L"uiColor", {7}).list(L"nothing", {0});
                   })),
              QM_OK);
    EXPECT_EQ(sizes_of(p), (Numbers{1, 1, 1}));
    EXPECT_EQ(p.GetColor(0), 0x10203u);  // as Reinit left it
    EXPECT_EQ(p.GetColor(1), 7u);
    EXPECT_EQ(p.GetGain(0), 1.0);
    EXPECT_EQ(p.GetOffset(0), 0.0);
    EXPECT_EQ(p.GetGain(1), 3.0);  // there is no second element
    EXPECT_EQ(p.GetGamma(), 1.0);
}

// ----- Hostile numbers ---------------------------------------------------------------------------

template <class P>
void expect_refused(std::initializer_list<const wchar_t*> counts) {
    for (const wchar_t* const count : counts)
        for (const unsigned value : {193u, 0x40000000u, 0xFFFFFFFFu}) {
            P p = record<P>();
            const auto before = seen(p);
            const Bytes bytes = block_of<P>([&](Fill f) {
                // What is set first wins.
                f.set(count, value).set(L"m_uiBpc", 8u).set(L"m_uiSpectralChannelCount", 2u);
                f.set(L"m_uiChannelCount", 2u);
            });
            CQmLiteVariantR r(bytes.data(), bytes.size());
            const Outcome outcome =
                with_failing(0, FailingAlloc::kOnce, [&] { return p.LoadFromLiteVariant(r); });
            EXPECT_EQ(outcome.code, QM_BAD_BUFFER) << value;
            EXPECT_EQ(outcome.live, 0);
            EXPECT_EQ(seen(p), before);
        }
}

TEST(StoredTypedCounts, AreRefusedAbove192) {
    expect_refused<MCH>({L"m_uiChannelCount", L"m_uiComponentCount"});
    expect_refused<TrueColor>(
        {L"m_uiChannelCount", L"m_uiSpectralChannelCount", L"m_uiComponentCount"});
    expect_refused<CustomColor>({L"m_uiChannelCount", L"m_uiSpectralChannelCount",
                                 L"m_uiComponentCount", L"m_uiNodeCount"});
    expect_refused<Grouped>({L"m_uiChannelCount", L"m_uiSpectralChannelCount",
                             L"m_uiComponentCount", L"m_uiGroupCount"});
    const auto sum = [](unsigned last) {
        return block_of<MCH>([=](Fill f) {
            f.set(L"m_uiChannelCount", 2u).set(L"m_uiBpc", 8u).list(L"puiComp", {100, last});
        });
    };
    MCH p;
    EXPECT_EQ(load(p, sum(93)), QM_BAD_BUFFER);
    EXPECT_EQ(load(p, sum(0xFFFFFFFF)), QM_BAD_BUFFER);
    EXPECT_EQ(load(p, sum(92)), QM_OK);
    Grouped grouped;
    EXPECT_EQ(load(grouped, block_of<Grouped>([](Fill f) {
                       f.set(L"m_uiGroupCount", 1u).set(L"m_uiBpc", 8u);
                       f.list(L"uiGroupSize", {193});
                   })),
              QM_BAD_BUFFER);
}

TEST(StoredTypedCounts, AreTakenUpTo192) {
    MCH p;
    EXPECT_EQ(load(p, block_of<MCH>([](Fill f) {
                       f.set(L"m_uiChannelCount", 192u).set(L"m_uiBpc", 8u);
                       for (int i = 0; i < 192; ++i) f.list(L"puiComp", {1});
                   })),
              QM_OK);
    EXPECT_EQ(sizes_of(p), Numbers(192, 1));
    Grouped grouped;
    EXPECT_EQ(load(grouped, block_of<Grouped>([](Fill f) {
                       f.set(L"m_uiChannelCount", 192u).set(L"m_uiSpectralChannelCount", 192u);
                       f.set(L"m_uiGroupCount", 192u).set(L"m_uiBpc", 8u);
                   })),
              QM_OK);
    EXPECT_EQ(grouped.GetGroupCount(), 192u);
}

}  // namespace
}  // namespace qmpic::test
