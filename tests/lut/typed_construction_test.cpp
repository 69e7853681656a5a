#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "lut/construction_reference.h"
#include "qmpic/PicBuf.h"
#include "qmpic/TypedLutParams.h"
#include "qmpic/status.h"
#include "support/cases.h"
#include "support/failing_alloc.h"

// Table sets from the parameters of one kind of picture each.

namespace qmpic::test {
namespace {

using Api = SQmPicBufAPI_Base;

using Sizes = std::vector<unsigned>;
unsigned sum_of(const Sizes& sizes) {
    unsigned sum = 0;
    for (const unsigned size : sizes) sum += size;
    return sum;
}
unsigned count_of(const Sizes& sizes) { return static_cast<unsigned>(sizes.size()); }

// ----- Several channels --------------------------------------------------------------------------

/// Channels of so many components each.
struct Mch : CQmLutParamMCH {
    Mch(const Sizes& sizes, unsigned bpc) {
        EXPECT_EQ(Reinit(count_of(sizes), sum_of(sizes), sizes.data(), bpc), QM_OK);
    }
};

int create(SQmLut& lut, CQmLutParamMCH& param, std::vector<unsigned> colors) {
    return Api::CreateLutsMCH(&lut, &param, colors.data());
}

void check_channels(Round round) {
    make_predef_luts();
    Random& random = round.random;
    const uint32_t bpc =
        round.in_turn(std::vector<uint32_t>{8, 12, 10, 9, 8, 11, 13, 8, 12, 10, 9, 16});
    Sizes sizes;
    for (uint32_t n = random(1, bpc > 13 ? 2 : 4); n > 0; --n) sizes.push_back(random(1, 2));
    const uint32_t count = sum_of(sizes), top = (1u << bpc) - 1;
    Mch param(sizes, bpc);
    for (uint32_t c = 0; c < sizes.size(); ++c) {
        if (c > 0 && random(0, 2) == 0) {
            const uint32_t other = random(0, c - 1);
            param.SetMin(c, param.GetMin(other));
            param.SetMax(c, param.GetMax(other));
            param.SetGamma(c, param.GetGamma(other));
            continue;
        }
        param.SetMin(c, random(0, 1) ? 0 : random(0, top));
        // Beyond the table now and then, and below the black level.
        param.SetMax(c, random(0, 1) ? top : random(0, 2 * top));
        param.SetGamma(c, random.one_of({1.0, 1.0, 0.45, 1.7, 12.0, 0.0, std::nan("")}));
    }
    param.SetGradient(random.one_of({0, 1, 45, 46, 255, 256, -1}));
    std::vector<uint32_t> colors = random_colors(count, random);
    SQmLut lut;
    const auto before = static_cast<Before>(random(0, kBefores - 1));
    const CQmRangeMask old = random_mask(random);
    bring_to(lut, before, bpc, count, 8, old);
    const bool stays = before == kSameShape || (before == kSharedShape && count == 1);
    const bool table = count == 1 && param.GetGradient() > 0 && param.GetGradient() < 256;
    CQmRangeMask mask = !stays ? all_of(192) : old.GetSize() == 0 ? all_of(count) : old;
    if (table) mask.Set(0);
    std::vector<Table> tables;
    for (uint32_t channel = 0; channel < sizes.size(); ++channel)
        for (uint32_t i = 0; i < sizes[channel]; ++i) {
            const Values values = gamma_values(bpc, bpc, param.GetMin(channel), 0,
                                               param.GetMax(channel), top, param.GetGamma(channel));
            tables.push_back(table ? looked_up(colours_of(param.GetGradient()), values)
                                   : toward(colors[tables.size()], values));
        }

    ASSERT_EQ(create(lut, param, colors), QM_OK);

    expect_tables(lut, tables);
    ASSERT_EQ(lut.rmComponents, mask);
    add_to(round.digest, tables);
}

const bool registered =
    add_cases({{"SQmPicBufAPI_Base::CreateLutsMCH of its own parameters", check_channels, 72}}, {},
              {"SQmPicBufAPI_Base::CreateLutsSpectralTrueColor",
               "SQmPicBufAPI_Base::CreateLutsSpectralCustomColor",
               "SQmPicBufAPI_Base::CreateLutsSpectralGrouped"});

TEST(CreateLutsMCHTyped, RefusesWhatIsMissingOrTooMuch) {
    SQmLut lut;
    unsigned colors[300] = {};
    Mch good({1}, 8);
    EXPECT_EQ(Api::CreateLutsMCH(nullptr, &good, colors), QM_BAD_BUFFER);
    EXPECT_EQ(Api::CreateLutsMCH(&lut, static_cast<CQmLutParamMCH*>(nullptr), colors),
              QM_BAD_BUFFER);
    for (const unsigned bpc : {0u, 7u, 17u, 264u}) {
        good.m_uiBpc = bpc;
        EXPECT_EQ(Api::CreateLutsMCH(&lut, &good, colors), QM_BAD_BUFFER) << bpc;
    }
    CQmLutParamMCH sizeless;
    sizeless.m_uiBpc = 8;
    sizeless.m_uiCompCount = 2;
    EXPECT_EQ(Api::CreateLutsMCH(&lut, &sizeless, colors), QM_BAD_BUFFER);
    sizeless.m_uiCompCount = 193;  // which comes first
    EXPECT_EQ(Api::CreateLutsMCH(&lut, &sizeless, colors), QM_BAD_BUFFER);
    Mch many({193}, 8);
    EXPECT_EQ(Api::CreateLutsMCH(&lut, &many, colors), QM_TOO_MANY);
    EXPECT_EQ(lut.pLuts, nullptr);
    Mch full({192}, 8);
    EXPECT_EQ(Api::CreateLutsMCH(&lut, &full, colors), QM_OK);
    EXPECT_EQ(lut.ucComponents, 192);
}

TEST(CreateLutsMCHTyped, GivesEachComponentTheLevelsOfItsChannel) {
    Mch param({2, 1}, 8);
    param.SetMax(0, 51);  // 255 / 51 = 5
    SQmLut lut;
    ASSERT_EQ(create(lut, param, {0xFF, 0xFF00, 0xFF0000}), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 10), (Row3{0, 0, 50}));
    EXPECT_EQ(row_of(lut, 1, 10), (Row3{0, 50, 0}));
    EXPECT_EQ(row_of(lut, 2, 10), (Row3{10, 0, 0}));
    EXPECT_EQ(row_of(lut, 0, 60), (Row3{0, 0, 255}));
    // Components that no size covers are the last channel's.
    param.puiComp[0] = 1;
    ASSERT_EQ(create(lut, param, {0xFF, 0xFF00, 0xFF0000}), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 10), (Row3{0, 0, 50}));
    EXPECT_EQ(row_of(lut, 1, 10), (Row3{0, 10, 0}));
    EXPECT_EQ(row_of(lut, 2, 10), (Row3{10, 0, 0}));
}

TEST(CreateLutsMCHTyped, TakesNoColoursOrNoComponentsForOneOfWhite) {
    unsigned red[] = {0xFF, 0xFF};
    Mch two({1, 1}, 8);
    SQmLut lut;
    ASSERT_EQ(Api::CreateLutsMCH(&lut, &two, nullptr), QM_OK);
    EXPECT_EQ(lut.ucComponents, 1);
    EXPECT_EQ(row_of(lut, 0, 9), (Row3{9, 9, 9}));
    CQmLutParamMCH none;
    none.m_uiBpc = 8;  // no channel: all of the depth
    ASSERT_EQ(Api::CreateLutsMCH(&lut, &none, red), QM_OK);
    EXPECT_EQ(lut.ucComponents, 1);
    EXPECT_EQ(row_of(lut, 0, 9), (Row3{9, 9, 9}));
}

TEST(CreateLutsMCHTyped, HasATableForOneComponentAlone) {
    make_predef_luts();
    Mch one({1}, 8), two({1, 1}, 8);
    SQmLut lut;
    for (const int gradient : {2, 255, 0, -1, 256}) {
        one.SetGradient(gradient);
        two.SetGradient(gradient);
        SQmLut::Free(lut);
        SQmLut::Alloc(lut, 8, 1, 8, 3);
        lut.rmComponents = mask_of(3, {1});
        ASSERT_EQ(create(lut, one, {0xFF}), QM_OK);
        const bool table = gradient == 2 || gradient == 255;
        EXPECT_EQ(lut.rmComponents, table ? mask_of(3, {0, 1}) : mask_of(3, {1}));
        if (!table) {
            EXPECT_EQ(row_of(lut, 0, 200), (Row3{0, 0, 200})) << gradient;
        }
        if (gradient == 2) {
            EXPECT_EQ(row_of(lut, 0, 0), (Row3{0, 0, 40}));
        }
        ASSERT_EQ(create(lut, two, {0xFF, 0xFF}), QM_OK);
        EXPECT_EQ(row_of(lut, 0, 200), (Row3{0, 0, 200}));
        lut.rmComponents.Reset();
        ASSERT_EQ(create(lut, two, {0xFF, 0xFF}), QM_OK);
        EXPECT_EQ(lut.rmComponents, all_of(2));
    }
}

TEST(CreateLutsMCHTyped, GivesBlackWhereLevelsAreEqual) {
    Mch param({1, 1}, 12);
    param.SetMin(1, 4095);
    SQmLut lut;
    ASSERT_EQ(create(lut, param, {0xFF, 0xFF}), QM_OK);
    scribble(lut);
    ASSERT_EQ(create(lut, param, {0xFF, 0xFF}), QM_OK);
    EXPECT_EQ(table_in(lut, 1), zeros(12));
}

TEST(CreateLutsMCHTyped, AllocatesNothingWhenTheShapeStays) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    std::vector<unsigned> colors(4, 0xFFFFFF);
    Mch param({1, 1, 1, 1}, 12);
    for (unsigned c = 0; c < 4; ++c) param.SetGamma(c, 1.0 + c);
    SQmLut lut;
    for (const uint32_t expected : {3u, 0u}) {
        param.SetMax(2, 1000 + expected);
        uint32_t seen;
        {
            const FailingAlloc memory(0);
            Api::CreateLutsMCH(&lut, &param, colors.data());
            seen = memory.seen();
        }
        EXPECT_EQ(seen, expected);
    }
}

// ----- Red, green, blue --------------------------------------------------------------------------

TEST(CreateLutsRGBTyped, FillsThreeCellsAndLeavesAnEmptyMask) {
    CQmLutParamRGB param(8);
    param.SetMax(1, 51);
    param.SetMaxDst(2, 100);
    SQmLut lut;
    ASSERT_EQ(Api::CreateLutsRGB(&lut, &param, 7, true), QM_OK);
    EXPECT_EQ(shape_of(lut), (std::vector<uint32_t>{8, 1, 8, 3}));
    EXPECT_EQ(row_of(lut, 0, 10), (Row3{10, 50, 3}));  // 10 * 100 / 255 = 3.9
    EXPECT_EQ(row_of(lut, 0, 255), (Row3{255, 255, 100}));
    EXPECT_EQ(lut.rmComponents, mask_of(192, {}));
    // Outputs are of 8 bits at every depth.
    CQmLutParamRGB deep(16);
    ASSERT_EQ(Api::CreateLutsRGB(&lut, &deep, 7, true), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 65535), (Row3{255, 255, 255}));
}

TEST(CreateLutsRGBTyped, MatchesAReference) {
    Random random(5);
    for (int round = 0; round < 60; ++round) {
        const uint32_t bpc = random(8, 13), top = (1u << bpc) - 1;
        CQmLutParamRGB param(bpc);
        SQmLut lut;
        SQmLut::AllocColor(lut, static_cast<uint8_t>(bpc), 8);
        scribble(lut);
        Table rows = table_in(lut, 0);
        for (uint32_t c = 0; c < 3; ++c) {
            param.SetMin(c, random(0, 1) ? 0 : random(0, top));
            param.SetMax(c, random(0, 1) ? top : random(0, top));
            param.SetMaxDst(c, random(0, 1) ? top : random(0, top));
            param.SetGamma(c, random.one_of({1.0, 0.5, 2.2, std::nan("")}));
            if (param.GetMax(c) <= param.GetMin(c)) continue;  // the cell stays
            const Values values = gamma_values(bpc, 8, param.GetMin(c), 0, param.GetMax(c),
                                               param.GetMaxDst(c, 8), param.GetGamma(c));
            for (uint32_t i = 0; i <= top; ++i) rows[i][c] = values[i];
        }
        ASSERT_EQ(Api::CreateLutsRGB(&lut, &param, random.one_of({7u, 13u, 0x700u}), true), QM_OK);
        expect_tables(lut, {rows});
    }
}

TEST(CreateLutsRGBTyped, RefusesWhatIsMissingOrOfAnotherDepth) {
    SQmLut lut;
    CQmLutParamRGB param(8);
    EXPECT_EQ(Api::CreateLutsRGB(nullptr, &param, 7, true), QM_BAD_BUFFER);
    EXPECT_EQ(Api::CreateLutsRGB(&lut, nullptr, 7, true), QM_BAD_BUFFER);
    for (const unsigned bpc : {0u, 7u, 17u, 264u}) {
        param.m_uiBpc = bpc;
        EXPECT_EQ(Api::CreateLutsRGB(&lut, &param, 7, true), QM_BAD_BUFFER) << bpc;
    }
    EXPECT_EQ(lut.ucComponents, 0);
}

// What is tested is what remains of the mask when the bits up to the third set one are gone.
TEST(CreateLutsRGBTyped, SwitchesAllOffWithLessThanThreeBits) {
    CQmLutParamRGB param(8);
    for (const unsigned bits : {0u, 1u, 3u, 5u, 0x80000001u}) {
        SQmLut separate, together;
        SQmLut::Alloc(separate, 8, 1, 8, 3);
        SQmLut::Alloc(together, 8, 3, 8, 3);
        scribble(separate);
        scribble(together);
        ASSERT_EQ(Api::CreateLutsRGB(&separate, &param, bits, true), QM_OK) << bits;
        EXPECT_EQ(table_in(separate, 0), zeros(8));
        EXPECT_EQ(separate.rmComponents, mask_of(192, {}));
        ASSERT_EQ(Api::CreateLutsRGB(&together, &param, bits, false), QM_OK) << bits;
        EXPECT_EQ(shape_of(together), (std::vector<uint32_t>{8, 3, 8, 3}));
        for (uint32_t c = 0; c < 3; ++c) EXPECT_EQ(table_in(together, c), zeros(8));
    }
}

TEST(CreateLutsRGBTyped, KeepsTheBitsAboveTheThirdInTheMask) {
    CQmLutParamRGB param(8);
    SQmLut lut;
    ASSERT_EQ(Api::CreateLutsRGB(&lut, &param, 0x5F, true), QM_OK);  // 1011111: 1011 remains
    EXPECT_EQ(lut.rmComponents, mask_of(192, {0, 1, 3}));
    ASSERT_EQ(Api::CreateLutsRGB(&lut, &param, 0x1D, true), QM_OK);  // 11101: 1 remains
    EXPECT_EQ(lut.rmComponents, mask_of(192, {0}));
    EXPECT_EQ(row_of(lut, 0, 99), (Row3{99, 99, 99}));  // all three all the same
}

TEST(CreateLutsRGBTyped, HasNoFormThatIsNotSeparate) {
    CQmLutParamRGB param(8);
    for (const unsigned bits : {7u, 0xFFu}) {
        SQmLut lut;
        SQmLut::AllocColor(lut, 8, 8);
        scribble(lut);
        const Table before = table_in(lut, 0);
        EXPECT_EQ(Api::CreateLutsRGB(&lut, &param, bits, false), QM_REJECTED);
        EXPECT_EQ(shape_of(lut), (std::vector<uint32_t>{8, 1, 8, 3}));
        EXPECT_EQ(table_in(lut, 0), before);
        EXPECT_EQ(lut.rmComponents, bits == 7 ? mask_of(192, {}) : mask_of(192, {0, 1, 2, 3, 4}));
    }
}

// ----- Spectral ----------------------------------------------------------------------------------

/// What a construction should write.
struct State {
    std::vector<double> offset, gain;
    std::vector<uint32_t> color;
    explicit State(uint32_t components)
        : offset(components, 0.0), gain(components, 0.0), color(components, 0xFFFFFF) {}
};
void expect_state(const SQmLut& lut, const State& expected, double gamma) {
    ASSERT_NE(lut.pParams, nullptr);
    ASSERT_EQ(lut.ucComponents, expected.gain.size());
    for (uint32_t c = 0; c < lut.ucComponents; ++c) {
        EXPECT_EQ(lut.pParams[c].dOffset, -expected.offset[c]) << c;
        EXPECT_EQ(lut.pParams[c].dGain, expected.gain[c]) << c;
        EXPECT_EQ(lut.pParams[c].dGamma, gamma) << c;
        EXPECT_EQ(lut.pParams[c].uiColor, expected.color[c]) << c;
    }
    EXPECT_EQ(lut.rmComponents, all_of(lut.ucComponents));
}

/// Channels of random sizes, of which some are spectral.
struct Layout {
    Sizes sizes;
    uint32_t spectral_channels, spectral, all;
    explicit Layout(Random& random) {
        for (uint32_t n = random(1, 6); n > 0; --n) sizes.push_back(random(1, 4));
        spectral_channels = random(1, count_of(sizes));
        spectral = sum_of({sizes.begin(), sizes.begin() + spectral_channels});
        all = sum_of(sizes);
    }
    bool others() const { return spectral_channels < sizes.size(); }
    /// Of the channels behind the spectrum, whose values begin at `first`.
    template <class Param>
    void add_others(State& state, const Param& param, uint32_t first, double scale) const {
        uint32_t c = spectral;
        for (uint32_t channel = spectral_channels; channel < sizes.size(); ++channel)
            for (uint32_t i = 0; i < sizes[channel]; ++i, ++c) {
                const uint32_t at = first + channel - spectral_channels;
                state.gain[c] = param.GetGain(at) / scale * 0.5 / (all - spectral);
                state.offset[c] = param.GetOffset(at) / scale * 0.5 / (all - spectral);
            }
    }
};

template <class Param>
void randomise(Param& param, uint32_t values, Random& random) {
    for (uint32_t i = 0; i < values; ++i) {
        param.SetGain(i, random(1, 1000) / 64.0);
        param.SetOffset(i, random(0, 1000) / 8.0);
    }
    param.dGamma = random.one_of({1.0, 2.2});
}

double scale_of(double scale) { return scale > 0 ? scale : 1.0; }
constexpr std::initializer_list<double> kScales = {1.0, 0.75, 16.0, 0.0, -2.0};

TEST(CreateLutsSpectralTrueColor, MatchesAReference) {
    make_predef_luts();
    Random random(7);
    SQmLut lut;  // of any state that the last round left
    for (int round = 0; round < 300; ++round) {
        const Layout layout(random);
        CQmLutParamSpectralTrueColor param(count_of(layout.sizes), layout.spectral_channels,
                                           layout.all, layout.sizes.data(), 8);
        const uint32_t further = count_of(layout.sizes) - layout.spectral_channels;
        randomise(param, 1 + further, random);
        param.SetGradient(random.one_of({-1, 0, 1, 45, 255, 256, 300}));
        const double given = random.one_of(kScales), scale = scale_of(given);
        State state(layout.all);
        for (uint32_t c = 0; c < layout.spectral; ++c) {
            state.gain[c] = param.GetGain(0) / scale;
            if (layout.others()) state.gain[c] *= 0.5;
            state.offset[c] = param.GetOffset(0);
        }
        layout.add_others(state, param, 1, scale);
        const bool white = random(0, 3) == 0;
        std::vector<uint32_t> colors = random_colors(layout.all, random);
        if (!white) state.color = colors;

        ASSERT_EQ(
            Api::CreateLutsSpectralTrueColor(&lut, &param, white ? nullptr : colors.data(), given),
            QM_OK);

        expect_state(lut, state, param.dGamma);
        EXPECT_EQ(lut.iPredefLut, param.GetGradient() & 255);
        ASSERT_EQ(shape_of(lut), (std::vector<uint32_t>{8, layout.all, 8, 3}));
        if (layout.all > 1) {
            void** const root = static_cast<void**>(lut.pLuts);
            EXPECT_EQ(root[0] == root[1], param.GetGradient() > 0 && param.GetGradient() < 256);
        }
        ASSERT_FALSE(HasFailure()) << round;
    }
}

TEST(CreateLutsSpectralTrueColor, WorkedNumbers) {
    const unsigned sizes[] = {2, 1, 1};
    CQmLutParamSpectralTrueColor param(3, 1, 4, sizes, 12);
    param.SetGain(0, 3.0);
    param.SetOffset(0, 100.0);
    param.SetGain(1, 4.0);
    param.SetOffset(1, 8.0);
    unsigned colors[] = {1, 2, 3, 4};
    SQmLut lut;
    ASSERT_EQ(Api::CreateLutsSpectralTrueColor(&lut, &param, colors, 2.0), QM_OK);
    EXPECT_EQ(lut.iPredefLut, 255);  // -1 & 255: of no table
    EXPECT_EQ(lut.pParams[0].dGain, 0.75);
    EXPECT_EQ(lut.pParams[0].dOffset, -100.0);  // not scaled
    EXPECT_EQ(lut.pParams[2].dGain, 0.5);       // 4 / 2 * 0.5 / 2 components
    EXPECT_EQ(lut.pParams[2].dOffset, -1.0);    // 8 / 2 * 0.5 / 2
    EXPECT_EQ(lut.pParams[3].dGain, 0.125);     // of a new channel: 1 / 2 * 0.5 / 2
    EXPECT_EQ(lut.pParams[3].uiColor, 4u);
}

TEST(CreateLutsSpectralCustomColor, MatchesAReference) {
    Random random(8);
    SQmLut lut;
    for (int round = 0; round < 300; ++round) {
        const Layout layout(random);
        CQmLutParamSpectralCustomColor param(random(1, 6), layout.spectral_channels,
                                             count_of(layout.sizes), layout.all,
                                             layout.sizes.data(), 8);
        const uint32_t nodes = param.GetNodeCount();
        randomise(param, nodes + count_of(layout.sizes) - layout.spectral_channels, random);
        for (uint32_t i = 0; i < nodes; ++i) param.SetColor(i, random.any() & 0xFFFFFF);
        const double given = random.one_of(kScales), scale = scale_of(given);
        State state(layout.all);
        const uint32_t last = layout.spectral - 1;
        for (uint32_t x = 0; x <= last; ++x) {
            // The pair of nodes around x; behind the last there is only that one.
            uint32_t a = 0;
            const auto place = [&](uint32_t node) { return node * last / (nodes - 1); };
            if (nodes > 1)
                while (a + 1 < nodes && place(a + 1) <= x) ++a;
            const auto between = [&](auto value) -> double {
                if (nodes < 2 || a + 1 == nodes) return value(nodes < 2 ? 0 : nodes - 1);
                const uint32_t p = place(a), q = place(a + 1);
                return (x - p) * (1.0 / (q - p)) * (value(a + 1) - value(a)) + value(a);
            };
            state.gain[x] = between([&](uint32_t i) { return param.GetGain(i); }) / scale;
            state.offset[x] = between([&](uint32_t i) { return param.GetOffset(i); });
        }
        layout.add_others(state, param, nodes, scale);
        ASSERT_EQ(param.GetCompColors(state.color.data()), QM_OK);
        lut.iPredefLut = 5;

        ASSERT_EQ(Api::CreateLutsSpectralCustomColor(&lut, &param, given), QM_OK);

        expect_state(lut, state, param.dGamma);
        EXPECT_EQ(lut.iPredefLut, 5);
        ASSERT_FALSE(HasFailure()) << round;
    }
}

TEST(CreateLutsSpectralCustomColor, WorkedNumbers) {
    const unsigned sizes[] = {1, 4, 2};
    CQmLutParamSpectralCustomColor param(2, 2, 3, 7, sizes, 8);
    param.SetGain(0, 1.0);
    param.SetGain(1, 3.0);
    param.SetOffset(1, 40.0);
    param.SetGain(2, 8.0);
    SQmLut lut;
    ASSERT_EQ(Api::CreateLutsSpectralCustomColor(&lut, &param, 2.0), QM_OK);
    // 1, 1.5, 2, 2.5, 3 over 2, and no half though there is a further channel.
    EXPECT_EQ(lut.pParams[1].dGain, 0.75);
    EXPECT_EQ(lut.pParams[4].dGain, 1.5);
    EXPECT_EQ(lut.pParams[2].dOffset, -20.0);
    EXPECT_EQ(lut.pParams[5].dGain, 1.0);  // 8 / 2 * 0.5 / 2
    EXPECT_EQ(lut.pParams[6].uiColor, 0xFFFFFFu);
}

TEST(CreateLutsSpectralGrouped, MatchesAReference) {
    Random random(9);
    SQmLut lut;
    for (int round = 0; round < 300; ++round) {
        const Layout layout(random);
        // Groups that make up the spectrum.
        Sizes groups;
        for (uint32_t left = layout.spectral; left > 0; left -= groups.back())
            groups.push_back(groups.size() + 1 == layout.spectral_channels ? left
                                                                           : random(1, left));
        CQmLutParamSpectralGrouped param(count_of(groups), groups.data(), layout.spectral_channels,
                                         count_of(layout.sizes), layout.all, layout.sizes.data(),
                                         8);
        const uint32_t n = param.GetGroupCount();
        ASSERT_EQ(n, groups.size());
        randomise(param, n + count_of(layout.sizes) - layout.spectral_channels, random);
        for (uint32_t i = 0; i < n; ++i) param.SetColor(i, random.any() & 0xFFFFFF);
        // A mask of the caller decides, as long as the tables stay.
        SQmLut::check_luts(lut, 8, static_cast<uint8_t>(layout.all), 8, 3);
        if (random(0, 1)) {
            lut.rmComponents = CQmRangeMask();
            lut.rmComponents.SetSize(random(0, layout.all + 3));
            for (uint32_t c = 0; c < lut.rmComponents.GetSize(); ++c)
                lut.rmComponents.Set(c, random(0, 1));
        }
        uint32_t enabled = 0;
        for (uint32_t c = 0; c < layout.spectral; ++c) enabled += lut.rmComponents.Get(c);
        const double given = random.one_of(kScales), scale = scale_of(given);
        State state(layout.all);
        for (uint32_t g = 0, c = 0; g < n; ++g) {
            const double factor =
                lut.rmComponents.Get(c) ? static_cast<double>(enabled) / (groups[g] * n) : 1.0;
            for (uint32_t i = 0; i < groups[g]; ++i, ++c) {
                state.gain[c] = param.GetGain(g) * factor / scale;
                state.offset[c] = param.GetOffset(g);
                state.color[c] = param.GetColor(g);
            }
        }
        layout.add_others(state, param, n, scale);

        ASSERT_EQ(Api::CreateLutsSpectralGrouped(&lut, &param, given), QM_OK);

        expect_state(lut, state, param.dGamma);
        ASSERT_FALSE(HasFailure()) << round;
    }
}

TEST(CreateLutsSpectralGrouped, WorkedNumbers) {
    const unsigned groups[] = {1, 3}, sizes[] = {2, 2};
    CQmLutParamSpectralGrouped param(2, groups, 2, 2, 4, sizes, 8);
    param.SetGain(0, 3.0);
    param.SetOffset(1, 7.0);
    SQmLut lut;
    ASSERT_EQ(Api::CreateLutsSpectralGrouped(&lut, &param, 2.0), QM_OK);
    EXPECT_EQ(lut.pParams[0].dGain, 3.0);              // 3 * 4 / (1 * 2) / 2
    EXPECT_EQ(lut.pParams[1].dGain, 4.0 / 6.0 / 2.0);  // 1 * 4 / (3 * 2) / 2
    EXPECT_EQ(lut.pParams[3].dOffset, -7.0);
    // Components that belong to no group are not shown.
    param.puiGroupSize[1] = 2;
    ASSERT_EQ(Api::CreateLutsSpectralGrouped(&lut, &param, 2.0), QM_OK);
    EXPECT_EQ(lut.pParams[3].dGain, 0.0);
    // A group that does not fit ends where the spectrum does.
    param.puiGroupSize[1] = 0xFFFFFFFF;
    ASSERT_EQ(Api::CreateLutsSpectralGrouped(&lut, &param, 2.0), QM_OK);
    EXPECT_EQ(lut.pParams[3].dOffset, -7.0);
}

template <class Param, class Create>
void check_refusals(Param& param, Create create) {
    SQmLut lut;
    EXPECT_EQ(create(nullptr, &param), QM_BAD_BUFFER);
    EXPECT_EQ(create(&lut, nullptr), QM_BAD_BUFFER);
    param.m_uiBpc = 17;
    EXPECT_EQ(create(&lut, &param), QM_BAD_BUFFER);
    param.m_uiBpc = 264;
    EXPECT_EQ(create(&lut, &param), QM_BAD_BUFFER);
    param.m_uiBpc = 8;
    const unsigned count = std::exchange(param.m_uiCompCount, 193);
    EXPECT_EQ(create(&lut, &param), QM_TOO_MANY);
    EXPECT_EQ(lut.pLuts, nullptr);
    param.m_uiCompCount = 0;
    EXPECT_EQ(create(&lut, &param), QM_BAD_BUFFER);  // tables of no component
    EXPECT_EQ(lut.pLuts, nullptr);
    param.m_uiCompCount = count;
    EXPECT_EQ(create(&lut, &param), QM_OK);
    const unsigned size = std::exchange(param.puiComp[0], 193);
    EXPECT_EQ(create(&lut, &param), QM_TOO_MANY);  // of the spectrum
    param.puiComp[0] = size;
}

TEST(CreateLutsSpectralTyped, RefusesWhatIsMissingOrTooMuch) {
    const unsigned sizes[] = {1, 1}, groups[] = {2};
    CQmLutParamSpectralTrueColor colours(2, 2, 2, sizes, 8);
    check_refusals(colours, [](SQmLut* lut, CQmLutParamSpectralTrueColor* p) {
        return Api::CreateLutsSpectralTrueColor(lut, p, nullptr, 1.0);
    });
    CQmLutParamSpectralCustomColor custom(1, 2, 2, 2, sizes, 8);
    check_refusals(custom, [](SQmLut* lut, CQmLutParamSpectralCustomColor* p) {
        return Api::CreateLutsSpectralCustomColor(lut, p, 1.0);
    });
    CQmLutParamSpectralGrouped grouped(1, groups, 2, 2, 2, sizes, 8);
    check_refusals(grouped, [](SQmLut* lut, CQmLutParamSpectralGrouped* p) {
        return Api::CreateLutsSpectralGrouped(lut, p, 1.0);
    });
    SQmLut lut;
    CQmLutParamSpectralGrouped empty;
    EXPECT_EQ(Api::CreateLutsSpectralGrouped(&lut, &empty, 1.0), QM_BAD_BUFFER);
}

TEST(CreateLutsSpectralTyped, GivesComponentsThatNoSizeCoversToTheLastChannel) {
    const unsigned sizes[] = {1, 1, 1};
    CQmLutParamSpectralTrueColor param(3, 1, 3, sizes, 8);
    param.m_uiCompCount = 5;
    param.SetGain(1, 4.0);
    param.SetGain(2, 8.0);
    SQmLut lut;
    ASSERT_EQ(Api::CreateLutsSpectralTrueColor(&lut, &param, nullptr, 1.0), QM_OK);
    EXPECT_EQ(lut.pParams[1].dGain, 0.5);  // 4 * 0.5 / 4
    for (uint32_t c = 2; c < 5; ++c) EXPECT_EQ(lut.pParams[c].dGain, 1.0);
}

TEST(CreateLutsSpectralTyped, AllocatesNothingWhenTheShapeStays) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const unsigned sizes[] = {2, 1}, groups[] = {2};
    CQmLutParamSpectralTrueColor colours(2, 1, 3, sizes, 8);
    CQmLutParamSpectralCustomColor custom(1, 1, 2, 3, sizes, 8);
    CQmLutParamSpectralGrouped grouped(1, groups, 1, 2, 3, sizes, 8);
    SQmLut lut;
    for (const uint32_t expected : {4u, 0u}) {
        uint32_t seen;
        {
            const FailingAlloc memory(0);
            Api::CreateLutsSpectralTrueColor(&lut, &colours, nullptr, 1.0);
            Api::CreateLutsSpectralCustomColor(&lut, &custom, 1.0);
            Api::CreateLutsSpectralGrouped(&lut, &grouped, 1.0);
            seen = memory.seen();
        }
        EXPECT_EQ(seen, expected);
    }
}

}  // namespace
}  // namespace qmpic::test
