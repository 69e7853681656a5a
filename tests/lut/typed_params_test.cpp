#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <type_traits>
#include <vector>

#include "qmpic/TypedLutParams.h"
#include "qmpic/status.h"
#include "support/cases.h"
#include "support/guarded_picture.h"

// Display parameters of one kind of picture each. What is stored of them has a file of its own.

namespace qmpic::test {
namespace {

std::vector<std::string> members(const std::string& name, const std::vector<std::string>& more) {
    std::vector<std::string> all{name + "::" + name, name + "::~" + name};
    for (const char* member : {"operator=", "Init", "Free", "Reinit", "SetUnit", "IsUnit",
                               "CompareWith", "GetBpc", "GetGamma"})
        all.push_back(name + "::" + member);
    for (const std::string& member : more) all.push_back(name + "::" + member);
    return all;
}
std::vector<std::string> spectral_members(const std::string& name, std::vector<std::string> more) {
    more.insert(more.end(), {"GetSpectralChannelCount", "GetChannelCount", "GetComponentCount",
                             "GetSpectralComponentCount", "GetComponentSizes", "GetGain",
                             "GetOffset", "SetGain", "SetOffset"});
    return members(name, more);
}

const bool registered = [] {
    add_cases({}, {},
              members("CQmLutParamMCH",
                      {"GetChannelCount", "GetComponentCount", "GetComponentSizes", "GetMin",
                       "GetMax", "SetMin", "SetMax", "SetGamma", "GetGradient", "SetGradient"}));
    add_cases({}, {},
              members("CQmLutParamRGB", {"GetMin", "GetMax", "SetMin", "SetMax", "SetGamma",
                                         "GetMaxDst", "SetMaxDst"}));
    add_cases({}, {},
              spectral_members("CQmLutParamSpectralTrueColor", {"GetGradient", "SetGradient"}));
    add_cases({}, {},
              spectral_members("CQmLutParamSpectralCustomColor",
                               {"GetNodeCount", "GetColor", "SetColor", "GetCompColors"}));
    return add_cases({}, {},
                     spectral_members("CQmLutParamSpectralGrouped",
                                      {"GetGroupCount", "GetGroupSizes", "GetColor", "SetColor"}));
}();

using MCH = CQmLutParamMCH;
using RGB = CQmLutParamRGB;
using TrueColor = CQmLutParamSpectralTrueColor;
using CustomColor = CQmLutParamSpectralCustomColor;
using Grouped = CQmLutParamSpectralGrouped;
using Numbers = std::vector<unsigned>;

static_assert(std::is_same_v<decltype(MCH().puiComp), uint32_t*>);
static_assert(!std::is_polymorphic_v<MCH> && !std::is_polymorphic_v<Grouped>);

/// The array that a record hands out, as many entries of it.
template <class P>
Numbers sizes_of(const P& p, size_t count) {
    unsigned* sizes = nullptr;
    EXPECT_EQ(p.GetComponentSizes(&sizes), QM_OK);
    EXPECT_EQ(sizes, p.puiComp);
    return sizes == nullptr ? Numbers{} : Numbers(sizes, sizes + count);
}

/// level / full(from) x full(to), rounded, in integers: a half does not occur, as full is odd.
uint32_t rescaled(uint64_t level, unsigned from, unsigned to) {
    const uint64_t full_from = (uint64_t{1} << from) - 1, full_to = (uint64_t{1} << to) - 1;
    return static_cast<uint32_t>((2 * level * full_to + full_from) / (2 * full_from));
}

// ----- Several channels --------------------------------------------------------------------------

struct Level {
    unsigned min, max;
    double gamma;
    bool operator==(const Level&) const = default;
};
void PrintTo(const Level& level, std::ostream* out) {
    *out << level.min << ' ' << level.max << ' ' << level.gamma;
}
template <class P>
Level level_of(const P& p, unsigned c) {
    return {p.GetMin(c), p.GetMax(c), p.GetGamma(c)};
}
template <class P>
void set_level(P& p, unsigned c, Level level) {
    p.SetMin(c, level.min);
    p.SetMax(c, level.max);
    p.SetGamma(c, level.gamma);
}

constexpr unsigned kTwoAndOne[] = {2, 1}, kThreeOnes[] = {1, 1, 1};

MCH two_channels() {
    MCH p(2, 3, kTwoAndOne, 8);
    set_level(p, 0, {10, 200, 0.5});
    set_level(p, 1, {0, 100, 2.0});
    p.SetGradient(7);
    return p;
}

void expect_empty(const MCH& p) {
    EXPECT_EQ(p.GetBpc(), 0u);
    EXPECT_EQ(p.GetChannelCount(), 0u);
    EXPECT_EQ(p.GetComponentCount(), 0u);
    EXPECT_EQ(p.GetGradient(), 0);
    EXPECT_EQ(p.puiComp, nullptr);
    EXPECT_EQ(p.puiMin, nullptr);
    EXPECT_EQ(p.puiMax, nullptr);
    EXPECT_EQ(p.pdGamma, nullptr);
    EXPECT_TRUE(p.IsUnit());
}

TEST(LutParamMCH, IsEmptyAndUnitAtFirst) {
    MCH p;
    expect_empty(p);
    EXPECT_EQ(sizes_of(p, 0), Numbers{});
    EXPECT_EQ(level_of(p, 0), (Level{0, 0, 1.0}));  // full of no bits
    p.SetUnit();
    p.Free();
    expect_empty(p);
    EXPECT_TRUE(p.CompareWith(MCH()));
}

TEST(LutParamMCH, HasFullLevelsWhenItIsNew) {
    const MCH p(2, 3, kTwoAndOne, 12);
    EXPECT_EQ(p.GetBpc(), 12u);
    EXPECT_EQ(p.m_uiBpc, 12u);
    EXPECT_EQ(p.GetChannelCount(), 2u);
    EXPECT_EQ(p.m_uiChannelCount, 2u);
    EXPECT_EQ(p.GetComponentCount(), 3u);
    EXPECT_EQ(p.m_uiCompCount, 3u);
    EXPECT_EQ(sizes_of(p, 2), (Numbers{2, 1}));
    EXPECT_EQ(level_of(p, 0), (Level{0, 4095, 1.0}));
    EXPECT_EQ(level_of(p, 1), (Level{0, 4095, 1.0}));
    EXPECT_TRUE(p.IsUnit());
    EXPECT_EQ(MCH(1, 1, nullptr, 32).GetMax(0), 0xFFFFFFFFu);
}

TEST(LutParamMCH, RefusesFewBitsAndSizesOfAnotherSum) {
    MCH p = two_channels();
    const uint32_t* const arrays[] = {p.puiComp, p.puiMin, p.puiMax};
    EXPECT_EQ(p.Reinit(2, 3, kTwoAndOne, 7), QM_BAD_BUFFER);
    EXPECT_EQ(p.Reinit(2, 4, kTwoAndOne, 8), QM_BAD_BUFFER);
    EXPECT_EQ(p.Reinit(0, 4, kTwoAndOne, 8), QM_BAD_BUFFER);
    EXPECT_EQ(arrays[0], p.puiComp);
    EXPECT_EQ(arrays[1], p.puiMin);
    EXPECT_EQ(arrays[2], p.puiMax);
    EXPECT_TRUE(p.CompareWith(two_channels()));
    EXPECT_EQ(level_of(p, 0), (Level{10, 200, 0.5}));

    MCH empty;
    EXPECT_EQ(empty.Reinit(2, 4, kTwoAndOne, 8), QM_BAD_BUFFER);
    expect_empty(empty);
    expect_empty(MCH(2, 4, kTwoAndOne, 8));
    // The sum is that of the numbers: it does not wrap.
    const unsigned wrapping[] = {0xFFFFFFFF, 4};
    EXPECT_EQ(p.Reinit(2, 3, wrapping, 8), QM_BAD_BUFFER);
}

TEST(LutParamMCH, AsksTheSumOfSizesOnlyOfAKnownCount) {
    MCH p;
    EXPECT_EQ(p.Reinit(2, 0, kTwoAndOne, 8), QM_OK);
    EXPECT_EQ(sizes_of(p, 2), (Numbers{2, 1}));
    EXPECT_EQ(p.GetComponentCount(), 0u);
    EXPECT_EQ(p.Reinit(2, 9, nullptr, 8), QM_OK);
    EXPECT_EQ(sizes_of(p, 2), (Numbers{0, 0}));
    EXPECT_EQ(p.GetComponentCount(), 9u);
}

TEST(LutParamMCH, ReplacesSizesWhenACountChangesAndTakesThoseThatAreGiven) {
    MCH p = two_channels();
    EXPECT_EQ(p.Reinit(2, 3, nullptr, 8), QM_OK);
    EXPECT_EQ(sizes_of(p, 2), (Numbers{2, 1}));
    const unsigned other[] = {1, 2};
    EXPECT_EQ(p.Reinit(2, 3, other, 8), QM_OK);
    EXPECT_EQ(sizes_of(p, 2), (Numbers{1, 2}));
    EXPECT_EQ(p.Reinit(2, 3, p.puiComp, 8), QM_OK);
    EXPECT_EQ(sizes_of(p, 2), (Numbers{1, 2}));
    EXPECT_EQ(p.Reinit(1, 1, p.puiComp, 8), QM_OK);
    EXPECT_EQ(sizes_of(p, 1), (Numbers{1}));
    EXPECT_EQ(p.Reinit(3, 3, kThreeOnes, 8), QM_OK);
    EXPECT_EQ(sizes_of(p, 3), (Numbers{1, 1, 1}));
}

TEST(LutParamMCH, SetsWhiteFromTheOldBlack) {
    MCH p = two_channels();
    EXPECT_EQ(p.Reinit(2, 3, kTwoAndOne, 16), QM_OK);
    EXPECT_EQ(level_of(p, 0), (Level{2570, 2570, 0.5}));
    EXPECT_EQ(level_of(p, 1), (Level{0, 0, 2.0}));
    EXPECT_EQ(p.GetGradient(), 7);
    EXPECT_EQ(p.GetBpc(), 16u);
    EXPECT_FALSE(p.IsUnit());

    MCH again = two_channels();  // also with equal arguments
    EXPECT_EQ(again.Reinit(2, 3, kTwoAndOne, 8), QM_OK);
    EXPECT_EQ(level_of(again, 0), (Level{10, 10, 0.5}));
}

TEST(LutParamMCH, KeepsAndAddsChannels) {
    MCH p = two_channels();
    EXPECT_EQ(p.Reinit(3, 3, kThreeOnes, 9), QM_OK);
    EXPECT_EQ(level_of(p, 0), (Level{20, 20, 0.5}));  // 10 / 255 x 511 = 20.04
    EXPECT_EQ(level_of(p, 1), (Level{0, 0, 2.0}));
    EXPECT_EQ(level_of(p, 2), (Level{0, 511, 1.0}));
    EXPECT_EQ(p.Reinit(1, 0, nullptr, 9), QM_OK);
    EXPECT_EQ(p.GetChannelCount(), 1u);
    EXPECT_EQ(level_of(p, 0), (Level{20, 20, 0.5}));
    EXPECT_EQ(p.Reinit(0, 0, nullptr, 9), QM_OK);
    EXPECT_EQ(p.GetChannelCount(), 0u);
    EXPECT_TRUE(p.IsUnit());
}

TEST(LutParamMCH, RescalesOverAnyDepths) {
    Random random(1);
    for (unsigned from = 8; from <= 16; ++from)
        for (unsigned to = 8; to <= 16; ++to)
            for (int i = 0; i < 50; ++i) {
                const unsigned level = i == 0 ? (1u << from) - 1 : random(0, (1u << from) - 1);
                const unsigned one = 1;
                MCH p(1, 1, &one, from);
                p.SetMin(0, level);
                ASSERT_EQ(p.Reinit(1, 1, &one, to), QM_OK);
                ASSERT_EQ(p.GetMin(0), rescaled(level, from, to)) << level << ' ' << from;
                ASSERT_EQ(p.GetMax(0), p.GetMin(0));
            }
}

// A level beyond its depth may leave 32 bits; the low ones stay.
TEST(LutParamMCH, WrapsLevelsFarBeyondTheirDepth) {
    const unsigned one = 1;
    MCH p(1, 1, &one, 8);
    p.SetMin(0, 0xFFFFFFFF);
    EXPECT_EQ(p.Reinit(1, 1, &one, 16), QM_OK);
    EXPECT_EQ(p.GetMin(0), static_cast<uint32_t>(uint64_t{0xFFFFFFFF} * 257));
}

TEST(LutParamMCH, IsNeutralPastTheChannels) {
    MCH p = two_channels();
    EXPECT_EQ(level_of(p, 2), (Level{0, 255, 1.0}));
    EXPECT_EQ(level_of(p, 0xFFFFFFFF), (Level{0, 255, 1.0}));
    set_level(p, 2, {1, 2, 3.0});
    EXPECT_TRUE(p.CompareWith(two_channels()));
    EXPECT_EQ(p.GetComponentSizes(nullptr), QM_BAD_BUFFER);
}

TEST(LutParamMCH, IsUnitWhenAllLevelsAreNeutral) {
    MCH p = two_channels();
    EXPECT_FALSE(p.IsUnit());
    p.SetUnit();
    EXPECT_TRUE(p.IsUnit());
    EXPECT_EQ(level_of(p, 1), (Level{0, 255, 1.0}));
    EXPECT_EQ(p.GetGradient(), 7);
    for (const Level level : {Level{1, 255, 1.0},
                              {0, 254, 1.0},
                              {0, 256, 1.0},
                              {0, 255, 1.0001},
                              {0, 255, std::nan("")}}) {
        set_level(p, 1, level);
        EXPECT_FALSE(p.IsUnit());
    }
    set_level(p, 1, {0, 255, 1.0});
    EXPECT_TRUE(p.IsUnit());
}

TEST(LutParamMCH, ComparesEverythingExactly) {
    const MCH p = two_channels();
    EXPECT_TRUE(p.CompareWith(p));
    const auto differs = [&](auto change) {
        MCH other(p);
        change(other);
        EXPECT_FALSE(p.CompareWith(other));
        EXPECT_FALSE(other.CompareWith(p));
    };
    differs([](MCH& o) { o.m_uiBpc = 9; });
    differs([](MCH& o) { o.m_uiChannelCount = 1; });
    differs([](MCH& o) { o.m_uiCompCount = 4; });
    differs([](MCH& o) { o.SetGradient(0); });
    differs([](MCH& o) { o.SetMin(1, 1); });
    differs([](MCH& o) { o.SetMax(1, 101); });
    differs([](MCH& o) { o.SetGamma(1, std::nextafter(2.0, 3.0)); });
    differs([](MCH& o) { o.SetGamma(0, std::nan("")); });
    differs([](MCH& o) { o.puiComp[1] = 2; });

    MCH unsized(p);  // sizes count if both have them
    delete[] unsized.puiComp;
    unsized.puiComp = nullptr;
    EXPECT_TRUE(p.CompareWith(unsized));
    EXPECT_TRUE(unsized.CompareWith(p));

    MCH nan(p);
    nan.SetGamma(0, std::nan(""));
    EXPECT_FALSE(nan.CompareWith(nan));
}

TEST(LutParamMCH, CopiesEverything) {
    const MCH p = two_channels();
    MCH copy(p);
    EXPECT_TRUE(copy.CompareWith(p));
    EXPECT_EQ(sizes_of(copy, 2), (Numbers{2, 1}));
    EXPECT_EQ(copy.GetComponentCount(), 3u);
    set_level(copy, 0, {1, 2, 3.0});
    copy.puiComp[0] = 9;
    EXPECT_EQ(level_of(p, 0), (Level{10, 200, 0.5}));
    EXPECT_EQ(p.puiComp[0], 2u);
    expect_empty(MCH(MCH()));
}

TEST(LutParamMCH, AssignsAllButTheSizes) {
    MCH to(3, 3, kThreeOnes, 12);
    to = two_channels();
    EXPECT_EQ(to.GetBpc(), 8u);
    EXPECT_EQ(to.GetChannelCount(), 2u);
    EXPECT_EQ(level_of(to, 0), (Level{10, 200, 0.5}));
    EXPECT_EQ(level_of(to, 1), (Level{0, 100, 2.0}));
    EXPECT_EQ(to.GetGradient(), 7);
    EXPECT_EQ(to.GetComponentCount(), 3u);
    EXPECT_EQ(sizes_of(to, 3), (Numbers{1, 1, 1}));

    MCH shorter(1, 5, nullptr, 12);
    shorter.puiComp[0] = 5;
    shorter = two_channels();
    EXPECT_EQ(shorter.GetComponentCount(), 5u);
    EXPECT_EQ(sizes_of(shorter, 2), (Numbers{5, 0}));  // one for each channel

    MCH unsized;
    unsized = two_channels();
    EXPECT_EQ(level_of(unsized, 1), (Level{0, 100, 2.0}));
    EXPECT_EQ(unsized.GetComponentCount(), 0u);
    EXPECT_EQ(sizes_of(unsized, 0), Numbers{});
    EXPECT_EQ(unsized.Reinit(2, 0, kTwoAndOne, 8), QM_OK);
    EXPECT_EQ(sizes_of(unsized, 2), (Numbers{2, 1}));

    to = MCH();
    EXPECT_EQ(to.GetChannelCount(), 0u);
    EXPECT_EQ(to.GetBpc(), 0u);
    EXPECT_TRUE(to.IsUnit());
}

TEST(LutParamMCH, AssignsInPlaceWhenTheChannelsAreAsMany) {
    MCH to(2, 2, kThreeOnes, 12);
    const uint32_t* const min = to.puiMin;
    EXPECT_EQ(&(to = two_channels()), &to);
    EXPECT_EQ(to.puiMin, min);
    const MCH& same = to;
    to = same;
    EXPECT_EQ(level_of(to, 0), (Level{10, 200, 0.5}));
}

// ----- What all but the colour class do ----------------------------------------------------------

template <class P>
class LutParamArrays : public testing::Test {};
using WithArrays = testing::Types<MCH, TrueColor, CustomColor, Grouped>;
TYPED_TEST_SUITE(LutParamArrays, WithArrays);

TYPED_TEST(LutParamArrays, AreNotReleasedByInit) {
    alignas(TypeParam) unsigned char memory[sizeof(TypeParam)];
    auto* const p = new (memory) TypeParam;
    unsigned one = 1;
    p->puiComp = &one;  // to release it would be fatal
    p->Init();
    EXPECT_EQ(p->puiComp, nullptr);
    EXPECT_EQ(one, 1u);
    p->~TypeParam();
}

// ----- Colour ------------------------------------------------------------------------------------

TEST(LutParamRGB, IsZeroAndNotUnitAtFirst) {
    RGB p;
    for (unsigned c = 0; c < 3; ++c) {
        EXPECT_EQ(level_of(p, c), (Level{0, 0, 0.0}));
        EXPECT_EQ(p.GetMaxDst(c), 0u);
        EXPECT_EQ(p.GetMaxDst(c, 8), 0u);
    }
    EXPECT_EQ(p.GetBpc(), 0u);
    EXPECT_FALSE(p.IsUnit());  // for its gammas
}

TEST(LutParamRGB, HasFullLevelsWhenItIsNew) {
    for (const bool constructed : {true, false}) {
        RGB p = constructed ? RGB(12) : RGB();
        if (!constructed) {
            EXPECT_EQ(p.Reinit(12), QM_OK);
        }
        EXPECT_EQ(p.GetBpc(), 12u);
        for (unsigned c = 0; c < 3; ++c) {
            EXPECT_EQ(level_of(p, c), (Level{0, 4095, 1.0}));
            EXPECT_EQ(p.GetMaxDst(c), 4095u);
        }
        EXPECT_TRUE(p.IsUnit());
    }
}

TEST(LutParamRGB, RefusesFewBits) {
    RGB p(12);
    p.SetMin(0, 5);
    EXPECT_EQ(p.Reinit(7), QM_BAD_BUFFER);
    EXPECT_EQ(p.GetBpc(), 12u);
    EXPECT_EQ(p.GetMin(0), 5u);
    EXPECT_EQ(RGB(7).GetBpc(), 0u);
}

TEST(LutParamRGB, SetsWhiteFromTheOldBlack) {
    RGB p(8);
    p.SetMin(1, 255);
    p.SetMaxDst(2, 200);
    p.SetGamma(0, 0.5);
    EXPECT_EQ(p.Reinit(8), QM_OK);  // an equal depth changes nothing
    EXPECT_EQ(level_of(p, 0), (Level{0, 255, 0.5}));
    EXPECT_EQ(p.Reinit(16), QM_OK);
    EXPECT_EQ(level_of(p, 0), (Level{0, 0, 0.5}));
    EXPECT_EQ(level_of(p, 1), (Level{65535, 65535, 1.0}));
    EXPECT_EQ(level_of(p, 2), (Level{0, 0, 1.0}));
    EXPECT_EQ(p.GetMaxDst(0), 65535u);
    EXPECT_EQ(p.GetMaxDst(2), 51400u);
}

TEST(LutParamRGB, RescalesOverAnyDepths) {
    Random random(2);
    for (unsigned from = 8; from <= 16; ++from)
        for (unsigned to = 8; to <= 16; ++to)
            for (int i = 0; i < 50; ++i) {
                RGB p(from);
                Numbers min(3), dst(3);
                for (unsigned c = 0; c < 3; ++c) {
                    p.SetMin(c, min[c] = random(0, (1u << from) - 1));
                    p.SetMaxDst(c, dst[c] = random(0, (1u << from) - 1));
                    ASSERT_EQ(p.GetMaxDst(c, to), rescaled(dst[c], from, to));
                }
                ASSERT_EQ(p.Reinit(to), QM_OK);
                for (unsigned c = 0; c < 3 && from != to; ++c) {
                    ASSERT_EQ(p.GetMin(c), rescaled(min[c], from, to));
                    ASSERT_EQ(p.GetMax(c), p.GetMin(c));
                    ASSERT_EQ(p.GetMaxDst(c), rescaled(dst[c], from, to));
                }
            }
}

TEST(LutParamRGB, IsNeutralPastTheThree) {
    RGB p(12);
    EXPECT_EQ(level_of(p, 3), (Level{0, 4095, 1.0}));
    EXPECT_EQ(p.GetMaxDst(3), 4095u);
    EXPECT_EQ(p.GetMaxDst(3, 10), 1023u);
    EXPECT_EQ(p.GetMaxDst(0, 10), 1023u);
    set_level(p, 3, {1, 2, 3.0});
    p.SetMaxDst(3, 1);
    EXPECT_TRUE(p.IsUnit());
    EXPECT_TRUE(p.CompareWith(RGB(12)));
}

TEST(LutParamRGB, IsUnitWhenEverythingIsNeutral) {
    RGB p(8);
    const auto with = [&](Level level, unsigned dst) {
        set_level(p, 2, level);
        p.SetMaxDst(2, dst);
        return p.IsUnit();
    };
    EXPECT_FALSE(with({1, 255, 1.0}, 255));
    EXPECT_FALSE(with({0, 254, 1.0}, 255));
    EXPECT_FALSE(with({0, 255, std::nan("")}, 255));
    EXPECT_FALSE(with({0, 255, 0.999}, 255));
    EXPECT_FALSE(with({0, 255, 1.0}, 254));
    EXPECT_TRUE(with({0, 255, 1.0}, 255));
    with({3, 4, 5.0}, 6);
    p.SetUnit();
    EXPECT_TRUE(p.IsUnit());
    EXPECT_EQ(p.GetMaxDst(2), 255u);
}

TEST(LutParamRGB, ComparesHighestOutputsWithTheOthersWhiteLevels) {
    RGB p(8), other(8);
    EXPECT_TRUE(p.CompareWith(other));
    other.SetMaxDst(1, 100);  // not looked at
    EXPECT_TRUE(p.CompareWith(other));
    EXPECT_FALSE(other.CompareWith(p));
    p.SetMax(1, 200), other.SetMax(1, 200);
    EXPECT_FALSE(p.CompareWith(p));
    EXPECT_FALSE(p.CompareWith(other));
    p.SetMaxDst(1, 200);
    EXPECT_TRUE(p.CompareWith(p));
    EXPECT_TRUE(p.CompareWith(other));
}

TEST(LutParamRGB, ComparesTheRestExactly) {
    const RGB p(8);
    const auto differs = [&](auto change) {
        RGB other(p);
        change(other);
        EXPECT_FALSE(p.CompareWith(other));
    };
    differs([](RGB& o) { o.m_uiBpc = 9; });
    differs([](RGB& o) { o.SetMin(2, 1); });
    differs([](RGB& o) { o.SetMax(2, 1); });
    differs([](RGB& o) { o.SetGamma(2, 1.0001); });
    differs([](RGB& o) { o.SetGamma(0, std::nan("")); });
}

TEST(LutParamRGB, IsCopiedAndFreed) {
    RGB p(8);
    set_level(p, 1, {1, 2, 3.0});
    p.SetMaxDst(1, 4);
    RGB copy(p), assigned;
    assigned = p;
    for (const RGB& one : {copy, assigned}) {
        EXPECT_EQ(one.GetBpc(), 8u);
        EXPECT_EQ(level_of(one, 1), (Level{1, 2, 3.0}));
        EXPECT_EQ(one.GetMaxDst(1), 4u);
    }
    p.Free();
    EXPECT_EQ(p.GetBpc(), 0u);
    EXPECT_EQ(level_of(p, 1), (Level{0, 0, 0.0}));
    copy.Init();
    EXPECT_EQ(copy.GetBpc(), 0u);
    EXPECT_EQ(copy.GetMaxDst(1), 0u);
}

// ----- Spectral pictures -------------------------------------------------------------------------

/// Two spectral channels and a further one.
struct Shape {
    unsigned nodes = 2;
    Numbers group_sizes = {3, 1, 4, 1, 5, 9};
    unsigned spectral = 2;
    Numbers sizes = {3, 1, 2};
    unsigned bpc = 12;
    unsigned comps = std::accumulate(sizes.begin(), sizes.end(), 0u);
    bool with_sizes = true;

    unsigned channels() const { return static_cast<unsigned>(sizes.size()); }
    const unsigned* given() const { return with_sizes ? sizes.data() : nullptr; }
};

int reinit(TrueColor& p, const Shape& s) {
    return p.Reinit(s.channels(), s.spectral, s.comps, s.given(), s.bpc);
}
int reinit(CustomColor& p, const Shape& s) {
    return p.Reinit(s.nodes, s.spectral, s.channels(), s.comps, s.given(), s.bpc);
}
int reinit(Grouped& p, const Shape& s) {
    return p.Reinit(s.nodes, s.group_sizes.data(), s.spectral, s.channels(), s.comps, s.given(),
                    s.bpc);
}

template <class P>
P make(const Shape& s = {}) {
    if constexpr (std::is_same_v<P, TrueColor>)
        return P(s.channels(), s.spectral, s.comps, s.given(), s.bpc);
    else if constexpr (std::is_same_v<P, CustomColor>)
        return P(s.nodes, s.spectral, s.channels(), s.comps, s.given(), s.bpc);
    else
        return P(s.nodes, s.group_sizes.data(), s.spectral, s.channels(), s.comps, s.given(),
                 s.bpc);
}

unsigned nodes_of(const TrueColor&) { return 1; }
unsigned nodes_of(const CustomColor& p) { return p.GetNodeCount(); }
unsigned nodes_of(const Grouped& p) { return p.GetGroupCount(); }

template <class P>
constexpr bool kColored = !std::is_same_v<P, TrueColor>;

/// Values that differ everywhere.
template <class P>
void fill(P& p) {
    for (unsigned i = 0; i < nodes_of(p) + 1; ++i) {
        p.SetGain(i, 2.0 + i);
        p.SetOffset(i, -1.0 - i);
        if constexpr (kColored<P>) p.SetColor(i, 0x10203 * (i + 1));
    }
    p.dGamma = 0.75;
    if constexpr (!kColored<P>) p.SetGradient(5);
}
template <class P>
P filled(const Shape& shape = {}) {
    P p = make<P>(shape);
    fill(p);
    return p;
}

template <class P>
void expect_empty_spectral(const P& p) {
    EXPECT_EQ(p.GetBpc(), 0u);
    EXPECT_EQ(p.GetSpectralChannelCount(), 0u);
    EXPECT_EQ(p.GetChannelCount(), 0u);
    EXPECT_EQ(p.GetComponentCount(), 0u);
    EXPECT_EQ(p.GetSpectralComponentCount(), 0u);
    EXPECT_EQ(p.GetGamma(), 1.0);
    EXPECT_EQ(p.GetGain(0), 1.0);
    EXPECT_EQ(p.GetOffset(0), 0.0);
    EXPECT_EQ(p.puiComp, nullptr);
    EXPECT_EQ(p.pdOffset, nullptr);
    EXPECT_EQ(p.pdGain, nullptr);
    if constexpr (kColored<P>) {
        EXPECT_EQ(nodes_of(p), 0u);
        EXPECT_EQ(p.puiColor, nullptr);
        EXPECT_EQ(p.GetColor(0), 0xFFFFFFu);
    } else {
        EXPECT_EQ(p.GetGradient(), -1);
    }
    if constexpr (std::is_same_v<P, Grouped>) {
        EXPECT_EQ(p.puiGroupSize, nullptr);
    }
    EXPECT_TRUE(p.IsUnit());
}

template <class P>
class LutParamSpectral : public testing::Test {};
using Spectral = testing::Types<TrueColor, CustomColor, Grouped>;
TYPED_TEST_SUITE(LutParamSpectral, Spectral);

TYPED_TEST(LutParamSpectral, IsEmptyAtFirstAndWhenItIsFreed) {
    TypeParam p;
    expect_empty_spectral(p);
    EXPECT_EQ(sizes_of(p, 0), Numbers{});
    p.SetGain(0, 5);
    p.SetOffset(0, 5);
    p.SetUnit();
    expect_empty_spectral(p);
    EXPECT_TRUE(p.CompareWith(TypeParam()));
    p = filled<TypeParam>();
    p.Free();
    expect_empty_spectral(p);
    EXPECT_EQ(reinit(p, {}), QM_OK);
    EXPECT_EQ(p.GetBpc(), 12u);
}

TYPED_TEST(LutParamSpectral, HasNeutralValuesWhenItIsNew) {
    TypeParam p = make<TypeParam>();
    EXPECT_EQ(p.GetBpc(), 12u);
    EXPECT_EQ(p.GetSpectralChannelCount(), 2u);
    EXPECT_EQ(p.GetChannelCount(), 3u);
    EXPECT_EQ(p.GetComponentCount(), 6u);
    EXPECT_EQ(p.GetSpectralComponentCount(), 4u);
    EXPECT_EQ(sizes_of(p, 3), (Numbers{3, 1, 2}));
    EXPECT_EQ(p.GetComponentSizes(nullptr), QM_BAD_BUFFER);
    EXPECT_EQ(p.GetGamma(), 1.0);
    const unsigned count = nodes_of(p) + 1;  // and the further channel
    for (unsigned i = 0; i < count; ++i) {
        EXPECT_EQ(p.pdGain[i], 1.0);
        EXPECT_EQ(p.pdOffset[i], 0.0);
        if constexpr (kColored<TypeParam>) {
            EXPECT_EQ(p.GetColor(i), 0xFFFFFFu);
        }
    }
    if constexpr (!kColored<TypeParam>) {
        EXPECT_EQ(p.GetGradient(), -1);
    }
    EXPECT_TRUE(p.IsUnit());
    for (unsigned i = 0; i < count; ++i) {
        p.SetGain(i, 3.0 + i);
        p.SetOffset(i, 9.0 + i);
    }
    for (unsigned i = 0; i < count; ++i) {
        EXPECT_EQ(p.GetGain(i), 3.0 + i);
        EXPECT_EQ(p.GetOffset(i), 9.0 + i);
    }
}

TYPED_TEST(LutParamSpectral, IsNeutralPastTheArrays) {
    TypeParam p = filled<TypeParam>();
    const unsigned count = nodes_of(p) + 1;
    EXPECT_EQ(p.GetGain(count - 1), 1.0 + count);
    for (const unsigned past : {count, 0xFFFFFFFFu}) {
        p.SetGain(past, 7);
        p.SetOffset(past, 7);
        EXPECT_EQ(p.GetGain(past), 1.0);
        EXPECT_EQ(p.GetOffset(past), 0.0);
    }
    EXPECT_TRUE(p.CompareWith(filled<TypeParam>()));
}

TYPED_TEST(LutParamSpectral, RefusesFewBitsAndSizesOfAnotherSum) {
    TypeParam p = filled<TypeParam>();
    Shape shape;
    shape.bpc = 7;
    EXPECT_EQ(reinit(p, shape), QM_BAD_BUFFER);
    shape = {.comps = 7};
    EXPECT_EQ(reinit(p, shape), QM_BAD_BUFFER);
    EXPECT_TRUE(p.CompareWith(filled<TypeParam>()));
    expect_empty_spectral(make<TypeParam>(shape));
    shape.comps = 0;
    EXPECT_EQ(reinit(p, shape), QM_OK);
    shape.comps = 7, shape.with_sizes = false;
    EXPECT_EQ(reinit(p, shape), QM_OK);
    EXPECT_EQ(sizes_of(p, 3), (Numbers{0, 0, 0}));
    EXPECT_EQ(p.GetSpectralComponentCount(), 0u);
}

TYPED_TEST(LutParamSpectral, KeepsValuesWhileTheFurtherChannelsAndNodesAreAsMany) {
    TypeParam p = filled<TypeParam>();
    const TypeParam before = p;
    Shape shape{.spectral = 3, .sizes = {1, 1, 1, 1}, .bpc = 16};
    EXPECT_EQ(reinit(p, shape), QM_OK);
    EXPECT_EQ(p.GetBpc(), 16u);
    EXPECT_EQ(p.GetSpectralChannelCount(), 3u);
    EXPECT_EQ(p.GetChannelCount(), 4u);
    EXPECT_EQ(p.GetComponentCount(), 4u);
    EXPECT_EQ(sizes_of(p, 4), (Numbers{1, 1, 1, 1}));
    for (unsigned i = 0; i < nodes_of(p) + 1; ++i) {
        EXPECT_EQ(p.GetGain(i), before.GetGain(i));
        EXPECT_EQ(p.GetOffset(i), before.GetOffset(i));
        if constexpr (kColored<TypeParam>) {
            EXPECT_EQ(p.GetColor(i), before.GetColor(i));
        }
    }
    EXPECT_EQ(p.GetGamma(), 0.75);
}

TYPED_TEST(LutParamSpectral, HasNewValuesWithOtherFurtherChannels) {
    TypeParam p = filled<TypeParam>();
    EXPECT_EQ(reinit(p, {.sizes = {3, 1, 1, 1}}), QM_OK);
    for (unsigned i = 0; i < nodes_of(p) + 2; ++i) {
        EXPECT_EQ(p.pdGain[i], 1.0);
        EXPECT_EQ(p.pdOffset[i], 0.0);
    }
    if constexpr (kColored<TypeParam>)
        EXPECT_EQ(p.GetColor(0), 0xFFFFFFu);
    else
        EXPECT_EQ(p.GetGradient(), 5);
    EXPECT_EQ(p.GetGamma(), 0.75);  // of the picture, and stays
}

TYPED_TEST(LutParamSpectral, KeepsSizesWhileTheCountsAreAsTheyWere) {
    TypeParam p = make<TypeParam>();
    EXPECT_EQ(reinit(p, {.sizes = {1, 3, 2}}), QM_OK);
    EXPECT_EQ(sizes_of(p, 3), (Numbers{3, 1, 2}));
    EXPECT_EQ(reinit(p, {.sizes = {1, 3, 3}}), QM_OK);
    EXPECT_EQ(sizes_of(p, 3), (Numbers{1, 3, 3}));
    EXPECT_EQ(reinit(p, {.sizes = {2, 5}}), QM_OK);
    EXPECT_EQ(sizes_of(p, 2), (Numbers{2, 5}));
}

TYPED_TEST(LutParamSpectral, HasNoFurtherChannelsBelowTheSpectralOnes) {
    const TypeParam p = make<TypeParam>({.spectral = 5});
    EXPECT_EQ(p.GetSpectralComponentCount(), 6u);
    TypeParam q = p;
    q.SetGain(nodes_of(q), 2.0);  // past the array
    EXPECT_EQ(q.GetGain(nodes_of(q)), 1.0);
    EXPECT_TRUE(q.CompareWith(p));
}

TYPED_TEST(LutParamSpectral, IsUnitWhenValuesAreNeutral) {
    TypeParam p = filled<TypeParam>();
    EXPECT_FALSE(p.IsUnit());
    p.SetUnit();
    EXPECT_TRUE(p.IsUnit());
    EXPECT_EQ(p.GetGamma(), 1.0);
    if constexpr (kColored<TypeParam>)
        EXPECT_EQ(p.GetColor(1), 0x20406u);
    else
        EXPECT_EQ(p.GetGradient(), 5);
    const unsigned last = nodes_of(p);
    for (const double other : {0.9999999, std::nan("")}) {
        p.SetGain(last, other);
        EXPECT_FALSE(p.IsUnit());
        p.SetGain(last, 1.0);
        p.SetOffset(last, other);
        EXPECT_FALSE(p.IsUnit());
        p.SetOffset(last, 0.0);
        p.dGamma = other;
        EXPECT_FALSE(p.IsUnit());
        p.dGamma = 1.0;
        EXPECT_TRUE(p.IsUnit());
    }
}

TYPED_TEST(LutParamSpectral, ComparesDepthCountsGammaAndValuesExactly) {
    const TypeParam p = filled<TypeParam>();
    EXPECT_TRUE(p.CompareWith(p));
    const auto changed = [&](auto change) {
        TypeParam other(p);
        change(other);
        EXPECT_EQ(p.CompareWith(other), other.CompareWith(p));
        return !p.CompareWith(other);
    };
    EXPECT_TRUE(changed([](TypeParam& o) { o.m_uiBpc = 8; }));
    EXPECT_TRUE(changed([](TypeParam& o) { o.m_uiCompCount = 8; }));
    EXPECT_TRUE(changed([](TypeParam& o) { --o.m_uiChannelCount, --o.m_uiSpectralChannelCount; }));
    EXPECT_TRUE(changed([](TypeParam& o) { o.dGamma = 0.7500001; }));
    EXPECT_TRUE(changed([](TypeParam& o) { o.dGamma = std::nan(""); }));
    EXPECT_TRUE(changed([](TypeParam& o) { o.SetGain(nodes_of(o), -0.5); }));
    EXPECT_TRUE(changed([](TypeParam& o) { o.SetOffset(nodes_of(o), -0.5); }));
    EXPECT_TRUE(changed([](TypeParam& o) { o.SetOffset(0, std::nan("")); }));
    if constexpr (kColored<TypeParam>) {
        EXPECT_TRUE(changed([](TypeParam& o) { o.SetColor(1, 7); }));
    } else {
        EXPECT_FALSE(changed([](TypeParam& o) { o.SetGradient(9); }));
    }
    // Sizes do not count.
    EXPECT_FALSE(changed([](TypeParam& o) { o.puiComp[0] = 99; }));
    if constexpr (std::is_same_v<TypeParam, Grouped>) {
        EXPECT_FALSE(changed([](Grouped& o) { o.puiGroupSize[0] = 99; }));
    }
}

TYPED_TEST(LutParamSpectral, IsCopiedAndAssignedAsAWhole) {
    const TypeParam p = filled<TypeParam>();
    const TypeParam copy(p);
    TypeParam assigned = make<TypeParam>({.nodes = 1, .sizes = {9}}), empty;
    EXPECT_EQ(&(assigned = p), &assigned);
    empty = p;
    const TypeParam& same = empty;
    empty = same;
    for (const TypeParam* one : std::initializer_list<const TypeParam*>{&copy, &assigned, &empty}) {
        EXPECT_TRUE(one->CompareWith(p));
        EXPECT_EQ(sizes_of(*one, 3), (Numbers{3, 1, 2}));
        EXPECT_NE(one->puiComp, p.puiComp);
        EXPECT_NE(one->pdGain, p.pdGain);
        if constexpr (!kColored<TypeParam>) {
            EXPECT_EQ(one->GetGradient(), 5);
        }
        if constexpr (std::is_same_v<TypeParam, Grouped>) {
            EXPECT_EQ(one->puiGroupSize[0], 3u);
        }
    }
    assigned = TypeParam();
    expect_empty_spectral(assigned);
    expect_empty_spectral(TypeParam(TypeParam()));
}

template <class P>
class LutParamColored : public testing::Test {};
using Colored = testing::Types<CustomColor, Grouped>;
TYPED_TEST_SUITE(LutParamColored, Colored);

TYPED_TEST(LutParamColored, HasAtMostAsManyNodesAsSpectralChannels) {
    TypeParam p = make<TypeParam>({.nodes = 5, .spectral = 3, .sizes = {1, 1, 1, 1}});
    EXPECT_EQ(nodes_of(p), 3u);
    p.SetGain(3, 2.0);
    p.SetGain(4, 2.0);
    EXPECT_EQ(p.GetGain(3), 2.0);
    EXPECT_EQ(p.GetGain(4), 1.0);
    // Of one channel with many components one node.
    EXPECT_EQ(nodes_of(make<TypeParam>({.nodes = 5, .spectral = 1, .sizes = {30}})), 1u);
    EXPECT_EQ(nodes_of(make<TypeParam>({.nodes = 0})), 0u);
}

TYPED_TEST(LutParamColored, HasNewValuesWithOtherNodes) {
    TypeParam p = filled<TypeParam>();
    EXPECT_EQ(reinit(p, {.nodes = 1}), QM_OK);
    EXPECT_EQ(nodes_of(p), 1u);
    EXPECT_EQ(p.GetColor(0), 0xFFFFFFu);
    EXPECT_TRUE(p.GetGain(0) == 1.0 && p.GetOffset(1) == 0.0);
}

TYPED_TEST(LutParamColored, IsWhitePastTheNodes) {
    TypeParam p = make<TypeParam>();
    p.SetColor(1, 0xFF123456);
    p.SetColor(2, 0x123456);
    EXPECT_EQ(p.GetColor(1), 0xFF123456u);
    EXPECT_EQ(p.GetColor(2), 0xFFFFFFu);
}

TEST(LutParamGrouped, HasTheSizesOfItsGroups) {
    Grouped p = make<Grouped>({.nodes = 3, .group_sizes = {4, 5, 6}});
    unsigned* sizes = nullptr;
    EXPECT_EQ(p.GetGroupSizes(nullptr), QM_BAD_BUFFER);
    ASSERT_EQ(p.GetGroupSizes(&sizes), QM_OK);
    EXPECT_EQ(sizes, p.puiGroupSize);
    EXPECT_EQ(Numbers(sizes, sizes + 2), (Numbers{4, 5}));  // two groups are left
    // They are taken with new groups or further channels only.
    EXPECT_EQ(reinit(p, {.group_sizes = {1, 1}}), QM_OK);
    EXPECT_EQ(p.puiGroupSize[0], 4u);
    EXPECT_EQ(p.Reinit(1, nullptr, 2, 3, 6, kThreeOnes, 8), QM_BAD_BUFFER);
    EXPECT_EQ(p.Reinit(1, nullptr, 2, 3, 3, kThreeOnes, 8), QM_OK);
    EXPECT_EQ(p.puiGroupSize[0], 0u);
}

// ----- Colours of components ---------------------------------------------------------------------

Numbers colors_of(const Numbers& nodes, unsigned components) {
    Numbers sizes(std::max<size_t>(nodes.size(), 1));
    sizes[0] = components;
    CustomColor p = make<CustomColor>({.nodes = static_cast<unsigned>(nodes.size()),
                                       .spectral = static_cast<unsigned>(sizes.size()),
                                       .sizes = sizes});
    for (unsigned i = 0; i < nodes.size(); ++i) p.SetColor(i, nodes[i]);
    Numbers colors(components + 1, 77);
    EXPECT_EQ(p.GetCompColors(colors.data()), QM_OK);
    EXPECT_EQ(colors.back(), 77u);
    colors.pop_back();
    return colors;
}

TEST(LutParamCustomColor, InterpolatesColoursBetweenNodes) {
    EXPECT_EQ(colors_of({0, 0x0000FF}, 4), (Numbers{0, 0x55, 0xAA, 0xFF}));
    // 0 to 255 in quarters: 63.75, 127.5 and 191.25 are truncated; down from 255 as well.
    EXPECT_EQ(colors_of({0x0000FF, 0xFF00FF}, 5),
              (Numbers{0x0000FF, 0x3F00FF, 0x7F00FF, 0xBF00FF, 0xFF00FF}));
    EXPECT_EQ(colors_of({0x00FF00, 0}, 5), (Numbers{0x00FF00, 0x00BF00, 0x007F00, 0x003F00, 0}));
    // Of three nodes over six components the middle one stands at 5 / 2 = 2.
    EXPECT_EQ(colors_of({0, 0x60, 0}, 6), (Numbers{0, 0x30, 0x60, 0x40, 0x20, 0}));
}

TEST(LutParamCustomColor, OfOneNodeColoursAll) {
    EXPECT_EQ(colors_of({0x123456}, 3), Numbers(3, 0x123456));
    EXPECT_EQ(colors_of({0xFF123456}, 3), Numbers(3, 0x123456));
    EXPECT_EQ(colors_of({0xFF123456, 0xFF123456}, 3), Numbers(3, 0x123456));
    EXPECT_EQ(colors_of({}, 3), Numbers(3, 0xFFFFFF));
    EXPECT_EQ(colors_of({1, 2, 3}, 1), Numbers{3});  // all stand there; the last stays
    EXPECT_EQ(colors_of({1, 2, 3}, 2), (Numbers{2, 3}));
    EXPECT_EQ(colors_of({1, 2}, 0), Numbers{});
    EXPECT_EQ(CustomColor().GetCompColors(nullptr), QM_BAD_BUFFER);
    unsigned untouched = 77;
    EXPECT_EQ(CustomColor().GetCompColors(&untouched), QM_OK);
    EXPECT_EQ(untouched, 77u);
}

TEST(LutParamCustomColor, InterpolatesAsItsDefinitionSays) {
    Random random(3);
    for (int round = 0; round < 300; ++round) {
        const unsigned components = random(1, 60), count = random(2, 10);
        Numbers nodes(count), expected(components);
        for (unsigned& node : nodes) node = random.any() & 0xFFFFFF;
        for (unsigned x = 0; x < components; ++x) {
            // The last node at or before x, and the one after it.
            unsigned i = 0;
            while (i + 2 < count && (i + 1) * (components - 1) / (count - 1) <= x) ++i;
            const double p = i * (components - 1) / (count - 1),
                         q = (i + 1) * (components - 1) / (count - 1);
            for (unsigned byte = 0; byte < 3; ++byte) {
                const double a = nodes[i] >> (8 * byte) & 255, b = nodes[i + 1] >> (8 * byte) & 255;
                const double value = x == components - 1 ? nodes.back() >> (8 * byte) & 255
                                                         : (x - p) * (1 / (q - p)) * (b - a) + a;
                expected[x] |= static_cast<unsigned>(value) << (8 * byte);
            }
        }
        ASSERT_EQ(colors_of(nodes, components), expected) << components << ' ' << count;
    }
}

}  // namespace
}  // namespace qmpic::test
