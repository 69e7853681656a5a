#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "lut/construction_reference.h"
#include "qmpic/LutParam.h"
#include "qmpic/PicBuf.h"
#include "qmpic/status.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/regions.h"

// Table sets from SQmLutParam.

namespace qmpic::test {
namespace {

using Api = SQmPicBufAPI_Base;

enum Mode : uint32_t { kTrueColour, kCustom, kGrouped, kGreyScale };

// ----- Random parameters against a reference -----------------------------------------------------

double random_gamma(Random& random) {
    return random(0, 3) ? random.one_of({1.0, 0.5, 2.2, 1.0 / 3, 5.0})
                        : random.one_of({0.0, -1.0, 1e300, std::nan("")});
}
uint16_t random_level(uint16_t edge, Random& random) {
    return random(0, 2) ? edge : static_cast<uint16_t>(random.any());
}

/// Levels and gammas. Some components are like others, or differ in the lowest output alone.
void randomise(SQmLutParam& p, uint32_t count, Random& random) {
    p.uiMinSrc = random_level(0, random);
    p.uiMaxSrc = random_level(65535, random);
    p.uiMinDst = random_level(0, random);
    p.uiMaxDst = random_level(65535, random);
    p.dGammaSrc = random(0, 1) ? 1.0 : random_gamma(random);
    for (uint32_t c = 0; c < count; ++c) {
        SQmCompLutParam& own = p.sCompLutParam[c];
        if (c > 0 && random(0, 1)) {
            own = p.sCompLutParam[random(0, c - 1)];
            if (random(0, 1)) own.uiMinDst = static_cast<uint16_t>(random.any());
            continue;
        }
        own.uiMinSrc = random_level(0, random);
        own.uiMaxSrc = random_level(65535, random);
        own.uiMinDst = random_level(0, random);
        own.uiMaxDst = random_level(65535, random);
        own.dGammaSrc = random_gamma(random);
    }
}

Values global_values(const SQmLutParam& p, uint32_t bpc) {
    return gamma_values(bpc, bpc, p.GetMinSrc(bpc), p.GetMinDst(bpc), p.GetMaxSrc(bpc),
                        p.GetMaxDst(bpc), p.GetGammaSrc());
}

/// The first component of each kind makes the values, all that look like it take them.
std::vector<Values> shared_values(const SQmLutParam& p, uint32_t bpc, uint32_t count) {
    std::vector<Values> all(count);
    for (uint32_t i = 0; i < count; ++i) {
        if (!all[i].empty()) continue;
        const uint32_t lo = p.GetMinSrc(i, bpc), hi = p.GetMaxSrc(i, bpc), to = p.GetMaxDst(i, bpc);
        const double gamma = p.GetGammaSrc(i);
        all[i] = gamma_values(bpc, bpc, lo, p.GetMinDst(i, bpc), hi, to, gamma);
        for (uint32_t j = i + 1; j < count; ++j)
            if (all[j].empty() && p.GetMinSrc(j, bpc) == lo && p.GetMaxSrc(j, bpc) == hi &&
                p.GetMaxDst(j, bpc) == to && p.GetGammaSrc(j) == gamma)
                all[j] = all[i];
    }
    return all;
}

struct Call {
    uint32_t dst_bpc, bpc, count;
    bool spectral, keep_mask;
    std::vector<uint32_t> colors, gradients;  // empty: null
    std::vector<double> weights;              // likewise
    int run(SQmLut& lut, SQmLutParam* param) {
        const auto given = [](auto& list) { return list.empty() ? nullptr : list.data(); };
        return dst_bpc == 8
                   ? Api::CreateLutsMCH(&lut, param, bpc, count, given(colors), spectral, keep_mask,
                                        nullptr, given(gradients), given(weights))
                   : Api::CreateLutsMCH_Dst16bit(&lut, dst_bpc, param, bpc, count, given(colors),
                                                 spectral, keep_mask, nullptr);
    }
};

/// `before` is what the tables hold when they have their shape.
std::vector<Table> expected_tables(const SQmLutParam& p, const Call& call,
                                   const std::vector<Table>& before) {
    const bool is_table = p.uiGradient >= 1 && p.uiGradient <= 255;
    const auto gradient = static_cast<int32_t>(p.uiGradient);
    if (call.count == 1) {
        const Values values = global_values(p, call.bpc);
        return {is_table ? looked_up(colours_of(gradient), values, 1.0, call.dst_bpc)
                         : toward(call.colors[0], values, call.dst_bpc)};
    }
    const std::vector<Values> values = shared_values(p, call.bpc, call.count);
    std::vector<Table> tables;
    for (uint32_t k = 0; k < call.count; ++k) {
        const double weight = call.weights.empty() ? 1.0 : call.weights[k];
        if (call.spectral && p.sLutDataSpectral.GetMode() == kGreyScale && p.uiGradient != 0) {
            // The custom table is not known here, nor are negative indexes or wide cells.
            if (gradient < 0 || call.dst_bpc > 8) return before;
            tables.push_back(looked_up(colours_of(gradient == 255 ? 0 : gradient), values[k]));
        } else if (!call.gradients.empty()) {
            tables.push_back(
                looked_up(colours_of(static_cast<int32_t>(call.gradients[k])), values[k], weight));
        } else if (is_table) {
            tables.push_back(looked_up(colours_of(gradient), values[k], 1.0, call.dst_bpc));
        } else {
            tables.push_back(toward(call.colors[k], values[k], call.dst_bpc));
        }
    }
    // Where all components have one table, the last one fills it.
    if (call.spectral && p.sLutDataSpectral.GetMode() == kGreyScale && is_table)
        std::fill(tables.begin(), tables.end(), Table(tables.back()));
    return tables;
}

uint32_t random_gradient(Random& random) {
    return random(0, 1) ? random.one_of({0u, 1u, 45u, 46u, 254u, 255u, 256u, 300u, 0x80000001u})
                        : random(0, 45);
}

void check_channels(Round round, bool wide) {
    make_predef_luts();
    Random& random = round.random;
    Call call{};
    call.dst_bpc = wide ? random(9, 16) : 8;
    call.bpc = round.in_turn(std::vector<uint32_t>{8, 12, 3, 10, 7, 9, 1, 11, 8, 12, 5, 16});
    call.count = random(1, call.bpc > 12 ? 3 : 5);
    if (call.bpc < 8 && random(0, 3) == 0) call.count = random.one_of({33u, 191u, 192u});
    call.spectral = random(0, 1);
    call.keep_mask = random(0, 1);
    call.colors = random_colors(call.count, random);
    if (!wide && random(0, 2) == 0)
        for (uint32_t c = 0; c < call.count; ++c) call.gradients.push_back(random_gradient(random));
    if (!wide && random(0, 1))
        for (uint32_t c = 0; c < call.count; ++c)
            call.weights.push_back(random.one_of({0.0, 0.25, 0.999, 1.0, 2.0, -0.5, -2.0}));
    SQmLutParam param;
    randomise(param, call.count, random);
    param.uiGradient = random_gradient(random);
    param.sLutDataSpectral.uiSpectralColorMode = random(0, 1) ? kGreyScale : random(0, 3);

    const bool is_table = param.uiGradient >= 1 && param.uiGradient <= 255;
    const bool shared =
        call.spectral && is_table && param.sLutDataSpectral.uiSpectralColorMode == kGreyScale;
    SQmLut lut;
    const auto before = static_cast<Before>(random(0, kBefores - 1));
    bring_to(lut, before, call.bpc, call.count, call.dst_bpc, random_mask(random));
    // One component is never shared, and so its set never stays as one that should be.
    const bool is_shared_now = before == kSharedShape && call.count > 1;
    const bool stays = (before == kSameShape || before == kSharedShape) &&
                       (call.count == 1 ? !shared : shared == is_shared_now);
    CQmRangeMask mask = stays || shared ? lut.rmComponents : all_of(192);
    if (mask.GetSize() == 0) mask = all_of(call.count);
    if (!call.keep_mask && call.count == 1 && is_table) mask.Set(0);
    std::vector<Table> tables(call.count, zeros(call.bpc));
    if (stays)
        for (uint32_t c = 0; c < call.count; ++c) tables[c] = table_in(lut, c);
    tables = expected_tables(param, call, tables);

    ASSERT_EQ(call.run(lut, &param), QM_OK);

    ASSERT_EQ(shape_of(lut), (std::vector<uint32_t>{call.bpc, call.count, call.dst_bpc, 3}));
    expect_tables(lut, tables);
    ASSERT_EQ(lut.rmComponents, mask);
    if (call.count > 1) {
        void** const root = static_cast<void**>(lut.pLuts);
        ASSERT_EQ(root[0] == root[1], shared);
    }
    add_to(round.digest, tables);
}

/// The red, green and blue of a picture, in one table or in three.
void check_rgb(Round round) {
    Random& random = round.random;
    const uint32_t bpc = round.in_turn(std::vector<uint32_t>{8, 12, 3, 10, 7, 9, 1, 11, 14});
    SQmLutParam param;
    randomise(param, 3, random);
    CQmRangeMask mask;
    mask.SetSize(random(0, 5));
    for (uint32_t c = 0; c < 5; ++c) mask.Set(c, random(0, 2) != 0);
    const bool single = random(0, 1), masked = !single || random(0, 1);
    SQmLut lut;
    const auto before = static_cast<Before>(random(0, kBefores - 1));
    const CQmRangeMask old = random_mask(random);
    bring_to(lut, before, bpc, single ? 1 : 3, 8, old);
    const bool stays = before == kSameShape || (before == kSharedShape && single);
    std::vector<Table> tables;
    if (single) {
        Table rows = stays ? table_in(lut, 0) : zeros(bpc);
        for (uint32_t c = 0; c < 3; ++c) {
            const bool off = masked && !mask.Get(c);
            const uint32_t lo = param.GetMinSrc(c, bpc), hi = param.GetMaxSrc(c, bpc);
            if (!off && hi <= lo) continue;  // no ramp: the cell stays
            const Values values = gamma_values(bpc, 8, lo, param.GetMinDst(c, 8), hi,
                                               param.GetMaxDst(c, 8), param.GetGammaSrc(c));
            for (uint32_t i = 0; i < rows.size(); ++i) rows[i][c] = off ? 0 : values[i];
        }
        tables = {rows};
    } else {
        for (uint32_t c = 0; c < 3; ++c)
            tables.push_back(toward(mask.Get(c) ? 0xFFFFFF : 0,
                                    gamma_values(bpc, bpc, param.GetMinSrc(c, bpc),
                                                 param.GetMinDst(c, bpc), param.GetMaxSrc(c, bpc),
                                                 param.GetMaxDst(c, bpc), param.GetGammaSrc(c))));
    }

    ASSERT_EQ(Api::CreateLutsRGB(&lut, &param, bpc, nullptr, masked ? &mask : nullptr, single),
              QM_OK);

    expect_tables(lut, tables);
    ASSERT_EQ(lut.rmComponents, masked               ? mask
                                : !stays             ? all_of(192)
                                : old.GetSize() == 0 ? all_of(3)
                                                     : old);
    add_to(round.digest, tables);
}

const bool registered = add_cases(
    {{"SQmPicBufAPI_Base::CreateLutsMCH", [](Round round) { check_channels(round, false); }, 96},
     {"SQmPicBufAPI_Base::CreateLutsMCH_Dst16bit", [](Round round) { check_channels(round, true); },
      48},
     {"SQmPicBufAPI_Base::CreateLutsRGB", check_rgb, 72}},
    {}, {"SQmPicBufAPI_Base::CreateLutsMono", "SQmPicBufAPI_Base::CreateLutsSpectral"});

// ----- Several channels --------------------------------------------------------------------------

int create(SQmLut& lut, SQmLutParam* param, unsigned bpc, std::vector<unsigned> colors,
           SQmLut* src = nullptr) {
    return Api::CreateLutsMCH(&lut, param, bpc, static_cast<unsigned>(colors.size()), colors.data(),
                              false, false, src, nullptr, nullptr);
}

TEST(CreateLutsMCH, RefusesWhatIsMissingOrTooMuch) {
    SQmLut lut;
    SQmLutParam param;
    std::vector<unsigned> colors(300, 0xFF);
    const auto call = [&](SQmLut* set, unsigned bpc, unsigned comps) {
        return Api::CreateLutsMCH(set, &param, bpc, comps, colors.data(), false, false, nullptr,
                                  nullptr, nullptr);
    };
    const auto wide = [&](unsigned dst, SQmLut* set, unsigned bpc, unsigned comps) {
        return Api::CreateLutsMCH_Dst16bit(set, dst, &param, bpc, comps, colors.data(), false,
                                           false, nullptr);
    };
    EXPECT_EQ(call(nullptr, 8, 1), QM_BAD_BUFFER);
    EXPECT_EQ(call(&lut, 0, 1), QM_BAD_BUFFER);
    EXPECT_EQ(call(&lut, 8, 193), QM_TOO_MANY);
    EXPECT_EQ(call(&lut, 8, 257), QM_TOO_MANY);  // which is 1 in a byte
    EXPECT_EQ(wide(12, nullptr, 8, 1), QM_BAD_BUFFER);
    EXPECT_EQ(wide(12, &lut, 0, 1), QM_BAD_BUFFER);
    EXPECT_EQ(wide(12, &lut, 8, 193), QM_TOO_MANY);
    for (const unsigned dst : {0u, 7u, 17u, 264u})
        EXPECT_EQ(wide(dst, &lut, 8, 1), QM_BAD_BUFFER) << dst;
    EXPECT_EQ(lut.pLuts, nullptr);
    EXPECT_EQ(lut.ucSrcBpc, 0);

    SQmLut full;
    ASSERT_EQ(call(&full, 8, 192), QM_OK);
    EXPECT_EQ(full.ucComponents, 192);
    EXPECT_EQ(row_of(full, 191, 255), (Row3{0, 0, 255}));
}

TEST(CreateLutsMCH, LosesItsTablesToADepthAbove16) {
    SQmLut lut;
    SQmLutParam param;
    ASSERT_EQ(create(lut, &param, 8, {0xFF, 0xFF}), QM_OK);
    EXPECT_EQ(create(lut, &param, 17, {0xFF, 0xFF}), QM_BAD_BUFFER);
    EXPECT_EQ(lut.pLuts, nullptr);
    EXPECT_EQ(lut.ucSrcBpc, 17);
}

TEST(CreateLutsMCH, RampsToTheColourWithoutParameters) {
    SQmLut lut;
    // Red, and a grey of 100: blue, green and red are 100 * i / 255.
    ASSERT_EQ(create(lut, nullptr, 8, {0x0000FF, 0x646464}), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 255), (Row3{0, 0, 255}));
    EXPECT_EQ(row_of(lut, 0, 77), (Row3{0, 0, 77}));
    EXPECT_EQ(row_of(lut, 1, 255), (Row3{100, 100, 100}));
    EXPECT_EQ(row_of(lut, 1, 128), (Row3{50, 50, 50}));  // 12800 / 255 = 50.2
    ASSERT_EQ(create(lut, nullptr, 12, {0xFF0000}), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 2048), (Row3{127, 0, 0}));  // 255 * 2048 / 4095 = 127.5
}

TEST(CreateLutsMCH, TakesNoColoursOrNoComponentsForOneOfWhite) {
    SQmLutParam param;
    unsigned red[] = {0xFF, 0xFF};
    for (SQmLutParam* const p : {&param, static_cast<SQmLutParam*>(nullptr)}) {
        SQmLut none, nothing, wide;
        EXPECT_EQ(Api::CreateLutsMCH(&none, p, 8, 0, red, false, false, nullptr, nullptr, nullptr),
                  QM_OK);
        EXPECT_EQ(
            Api::CreateLutsMCH(&nothing, p, 8, 2, nullptr, false, false, nullptr, nullptr, nullptr),
            QM_OK);
        EXPECT_EQ(Api::CreateLutsMCH_Dst16bit(&wide, 16, p, 8, 0, red, false, false, nullptr),
                  QM_OK);
        EXPECT_EQ(shape_of(none), (std::vector<uint32_t>{8, 1, 8, 3}));
        EXPECT_EQ(shape_of(nothing), shape_of(none));
        EXPECT_EQ(row_of(none, 0, 99), (Row3{99, 99, 99}));
        EXPECT_EQ(row_of(nothing, 0, 99), (Row3{99, 99, 99}));
        EXPECT_EQ(wide.ucComponents, 1);
    }
}

TEST(CreateLutsMCH, UsesTheGlobalLevelsForOneComponent) {
    SQmLut lut;
    SQmLutParam param;
    param.uiMinSrc = 100 * 257;  // levels 100 and 200 of 8 bits
    param.uiMaxSrc = 200 * 257;
    param.sCompLutParam[0].uiMaxSrc = 1;  // the component's own play no part
    param.sCompLutParam[0].dGammaSrc = 3;
    ASSERT_EQ(create(lut, &param, 8, {0xFFFFFF}), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 100), (Row3{0, 0, 0}));
    EXPECT_EQ(row_of(lut, 0, 150), (Row3{127, 127, 127}));  // 50 * 255 / 100 = 127.5
    EXPECT_EQ(row_of(lut, 0, 200), (Row3{255, 255, 255}));
}

TEST(CreateLutsMCH, SharesTablesThatDifferInTheLowestOutputAlone) {
    SQmLutParam param;
    param.sCompLutParam[1].uiMinDst = 32768;  // would begin at 128
    SQmLut lut;
    ASSERT_EQ(create(lut, &param, 8, {0xFFFFFF, 0xFFFFFF}), QM_OK);
    EXPECT_EQ(row_of(lut, 1, 0), (Row3{0, 0, 0}));
    EXPECT_EQ(table_in(lut, 1), table_in(lut, 0));
    // Now the first decides; the third differs in its gamma and has its own.
    param.sCompLutParam[0].uiMinDst = 65535;
    param.sCompLutParam[2].uiMinDst = 32768;
    param.sCompLutParam[2].dGammaSrc = 1.5;
    ASSERT_EQ(create(lut, &param, 8, {0xFFFFFF, 0xFFFFFF, 0xFFFFFF}), QM_OK);
    EXPECT_EQ(row_of(lut, 1, 0), (Row3{255, 255, 255}));
    // pow(128 / 255, 1.5) * 255 = 90.7
    EXPECT_EQ(row_of(lut, 2, 0), (Row3{90, 90, 90}));
}

TEST(CreateLutsMCH, GivesBlackWhereLevelsAreEqual) {
    SQmLut lut;
    SQmLutParam param;
    param.sCompLutParam[1].uiMinSrc = param.sCompLutParam[1].uiMaxSrc = 1000;
    ASSERT_EQ(create(lut, &param, 8, {0xFFFFFF, 0xFFFFFF}), QM_OK);
    scribble(lut);
    ASSERT_EQ(create(lut, &param, 8, {0xFFFFFF, 0xFFFFFF}), QM_OK);
    EXPECT_EQ(table_in(lut, 1), zeros(8));
    EXPECT_EQ(row_of(lut, 0, 255), (Row3{255, 255, 255}));
}

TEST(CreateLutsMCH, TakesGradientsOf0AndAbove255ForNone) {
    make_predef_luts();
    SQmLutParam param;
    for (const unsigned gradient : {0u, 256u, 300u, 0xFFFFFFFFu}) {
        param.uiGradient = gradient;
        SQmLut one, two;
        ASSERT_EQ(create(one, &param, 8, {0x0000FF}), QM_OK);
        EXPECT_EQ(row_of(one, 0, 200), (Row3{0, 0, 200})) << gradient;
        ASSERT_EQ(create(two, &param, 8, {0x0000FF, 0x00FF00}), QM_OK);
        EXPECT_EQ(row_of(two, 1, 200), (Row3{0, 200, 0})) << gradient;
    }
    param.uiGradient = 2;  // Iron begins with red 40 and ends in white
    SQmLut lut;
    ASSERT_EQ(create(lut, &param, 8, {0x00FF00}), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 0), (Row3{0, 0, 40}));
    EXPECT_EQ(row_of(lut, 0, 255), (Row3{255, 255, 255}));
}

TEST(CreateLutsMCH, WeighsTheColoursOfTables) {
    make_predef_luts();
    SQmLutParam param;
    const auto nan = std::nan("");
    unsigned colors[] = {0, 0, 0, 0, 0}, gradients[] = {0, 0, 0, 0, 0};  // greys
    double weights[] = {0.5, 1.0, 7.0, -1.0, nan};
    SQmLut lut;
    ASSERT_EQ(
        Api::CreateLutsMCH(&lut, &param, 8, 5, colors, false, false, nullptr, gradients, weights),
        QM_OK);
    EXPECT_EQ(row_of(lut, 0, 201), (Row3{100, 100, 100}));
    EXPECT_EQ(row_of(lut, 1, 201), (Row3{201, 201, 201}));
    EXPECT_EQ(row_of(lut, 2, 201), (Row3{201, 201, 201}));
    EXPECT_EQ(row_of(lut, 3, 201), (Row3{55, 55, 55}));  // -201 in a byte
    EXPECT_EQ(row_of(lut, 4, 201), (Row3{201, 201, 201}));
    // One component has the table of the parameters, whatever the lists say.
    ASSERT_EQ(
        Api::CreateLutsMCH(&lut, &param, 8, 1, colors, false, false, nullptr, gradients, weights),
        QM_OK);
    EXPECT_EQ(row_of(lut, 0, 201), (Row3{0, 0, 0}));
}

TEST(CreateLutsMCH, LetsTheLastComponentFillTheOneTableOfGreyScale) {
    make_predef_luts();
    SQmLutParam param;
    param.uiGradient = 1;
    param.sLutDataSpectral.uiSpectralColorMode = kGreyScale;
    param.sCompLutParam[1].uiMaxSrc = 32768;
    unsigned colors[3] = {};
    SQmLut lut;
    ASSERT_EQ(
        Api::CreateLutsMCH(&lut, &param, 8, 3, colors, true, false, nullptr, nullptr, nullptr),
        QM_OK);
    void** const root = static_cast<void**>(lut.pLuts);
    EXPECT_EQ(root[0], root[2]);
    EXPECT_EQ(lut.rmComponents, all_of(3));  // the mask of a new set has no bits
    const Table straight = looked_up(colours_of(1), gamma_values(8, 8, 0, 0, 255, 255, 1.0));
    EXPECT_EQ(table_in(lut, 0), straight);
    // Now the last one differs.
    std::swap(param.sCompLutParam[1], param.sCompLutParam[2]);
    ASSERT_EQ(
        Api::CreateLutsMCH(&lut, &param, 8, 3, colors, true, false, nullptr, nullptr, nullptr),
        QM_OK);
    EXPECT_EQ(table_in(lut, 0), looked_up(colours_of(1), gamma_values(8, 8, 0, 0, 128, 255, 1.0)));
}

TEST(CreateLutsMCH, LeavesWideCellsOfGreyScaleAlone) {
    make_predef_luts();
    SQmLutParam param;
    param.uiGradient = 1;
    param.sLutDataSpectral.uiSpectralColorMode = kGreyScale;
    unsigned colors[2] = {0xFF, 0xFF};
    SQmLut lut;
    ASSERT_EQ(Api::CreateLutsMCH_Dst16bit(&lut, 12, &param, 8, 2, colors, true, false, nullptr),
              QM_OK);
    EXPECT_EQ(table_in(lut, 1), zeros(8));
}

TEST(CreateLutsMCH, SetsBit0ForTheTableOfOneComponent) {
    make_predef_luts();
    struct {
        unsigned gradient;
        unsigned comps;
        bool keep, param, set;
    } const cases[] = {{1, 1, false, true, true},  {255, 1, false, true, true},
                       {0, 1, false, true, false}, {256, 1, false, true, false},
                       {1, 2, false, true, false}, {1, 1, true, true, false},
                       {1, 1, false, false, false}};
    for (const auto& one : cases) {
        SQmLutParam param;
        param.uiGradient = one.gradient;
        unsigned colors[] = {0xFF, 0xFF};
        SQmLut lut;
        SQmLut::Alloc(lut, 8, static_cast<uint8_t>(one.comps), 8, 3);
        lut.rmComponents = mask_of(4, {2});
        ASSERT_EQ(Api::CreateLutsMCH(&lut, one.param ? &param : nullptr, 8, one.comps, colors,
                                     false, one.keep, nullptr, nullptr, nullptr),
                  QM_OK);
        EXPECT_EQ(lut.rmComponents, one.set ? mask_of(4, {0, 2}) : mask_of(4, {2}))
            << one.gradient << ' ' << one.comps << ' ' << one.keep;
    }
}

TEST(CreateLutsMCH, FillsAnEmptyMask) {
    SQmLut lut;
    ASSERT_EQ(create(lut, nullptr, 8, {1, 2, 3}), QM_OK);
    EXPECT_EQ(lut.rmComponents, all_of(192));  // of new tables
    lut.rmComponents.Reset();
    ASSERT_EQ(create(lut, nullptr, 8, {1, 2, 3}), QM_OK);
    EXPECT_EQ(lut.rmComponents, all_of(3));
}

TEST(CreateLutsMCH, GoesThroughTheTablesOfASource) {
    SQmLut src, lut;
    SQmLut::Alloc(src, 8, 1, 8, 2);  // a cell for each component
    for (uint32_t i = 0; i < 256; ++i) {
        static_cast<uint8_t**>(src.pLuts)[i][0] = static_cast<uint8_t>(255 - i);
        static_cast<uint8_t**>(src.pLuts)[i][1] = static_cast<uint8_t>(i / 2);
    }
    ASSERT_EQ(create(lut, nullptr, 8, {0xFFFFFF, 0x0000FF}, &src), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 10), (Row3{245, 245, 245}));
    EXPECT_EQ(row_of(lut, 1, 10), (Row3{0, 0, 5}));
    // A source without tables is none; parameters come first.
    SQmLut empty;
    ASSERT_EQ(create(lut, nullptr, 8, {0xFFFFFF, 0x0000FF}, &empty), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 10), (Row3{10, 10, 10}));
    SQmLutParam param;
    ASSERT_EQ(create(lut, &param, 8, {0xFFFFFF, 0x0000FF}, &src), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 10), (Row3{10, 10, 10}));
}

TEST(CreateLutsMCH, TakesASourceOfAnotherKindAsItIs) {
    SQmLut colours, lut;
    SQmLut::AllocColor(colours, 8, 8);
    scribble(colours);
    colours.rmComponents = mask_of(5, {1});
    colours.iPredefLut = 9;
    // Three cells are not for two components.
    ASSERT_EQ(create(lut, nullptr, 8, {0xFFFFFF, 0x0000FF}, &colours), QM_OK);
    EXPECT_EQ(shape_of(lut), (std::vector<uint32_t>{8, 1, 8, 3}));
    EXPECT_EQ(table_in(lut, 0), table_in(colours, 0));
    EXPECT_EQ(lut.rmComponents, mask_of(5, {1}));
    EXPECT_EQ(lut.iPredefLut, 9);
    // A single component: the shape is the same, and the tables stay where they are.
    SQmLut one;
    ASSERT_EQ(create(one, nullptr, 8, {0xFF}), QM_OK);
    const void* const tables = one.pLuts;
    ASSERT_EQ(create(one, nullptr, 8, {0xFF}, &colours), QM_OK);
    EXPECT_EQ(one.pLuts, tables);
    EXPECT_EQ(table_in(one, 0), table_in(colours, 0));
    // Cells of another width do not fit.
    SQmLut wide;
    SQmLut::Alloc(wide, 8, 1, 12, 3);
    scribble(wide);
    ASSERT_EQ(create(one, nullptr, 8, {0xFF}, &wide), QM_OK);
    EXPECT_EQ(shape_of(one), (std::vector<uint32_t>{8, 1, 12, 3}));
    EXPECT_EQ(table_in(one, 0), table_in(wide, 0));
}

TEST(CreateLutsMCH, ReportsASourceThatFitsNowhere) {
    SQmLut other, lut;
    SQmLut::AllocColor(other, 9, 9);
    // Another depth; its result is told, and the mask is completed all the same.
    EXPECT_EQ(create(lut, nullptr, 8, {1, 2}, &other), QM_REJECTED);
    EXPECT_EQ(shape_of(lut), (std::vector<uint32_t>{8, 2, 8, 3}));
    lut.rmComponents.Reset();
    EXPECT_EQ(create(lut, nullptr, 8, {1, 2}, &other), QM_REJECTED);
    EXPECT_EQ(lut.rmComponents, all_of(2));
    // As many cells as components, but of another depth than the values.
    SQmLut cells;
    SQmLut::Alloc(cells, 8, 1, 9, 2);
    EXPECT_EQ(create(lut, nullptr, 8, {1, 2}, &cells), QM_REJECTED);
}

TEST(CreateLutsMCH, DropsParametricStateOfAnotherNumber) {
    make_predef_luts();
    SQmLutParam param;
    SQmLut lut;
    ASSERT_EQ(Api::CreateLutsSpectral(&lut, &param, nullptr, 2, 2, 1.0), QM_OK);
    ASSERT_NE(lut.pParams, nullptr);
    param.uiGradient = 1;
    param.sLutDataSpectral.uiSpectralColorMode = kGreyScale;
    unsigned colors[5] = {};
    ASSERT_EQ(
        Api::CreateLutsMCH(&lut, &param, 8, 5, colors, true, false, nullptr, nullptr, nullptr),
        QM_OK);
    EXPECT_EQ(lut.pParams, nullptr);  // or five would be written to the room of two
}

TEST(CreateLutsMCH, AllocatesNothingWhenTheShapeStays) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    make_predef_luts();
    std::vector<unsigned> colors(32, 0xFF8040), gradients(32, 3);
    for (const unsigned comps : {1u, 4u, 32u})
        for (const unsigned gradient : {0u, 7u})
            for (const bool listed : {false, true}) {
                SQmLutParam param;
                param.uiGradient = gradient;
                for (unsigned c = 0; c < comps; ++c) param.sCompLutParam[c].dGammaSrc = 1 + 0.1 * c;
                SQmLut lut, wide;
                uint32_t seen[2] = {};
                for (const bool first : {true, false}) {
                    param.uiMaxSrc = first ? 65535 : 40000;
                    const FailingAlloc memory(0);
                    Api::CreateLutsMCH(&lut, &param, 12, comps, colors.data(), false, false,
                                       nullptr, listed ? gradients.data() : nullptr, nullptr);
                    Api::CreateLutsMCH_Dst16bit(&wide, 16, &param, 12, comps, colors.data(), false,
                                                false, nullptr);
                    seen[first] = memory.seen();
                }
                EXPECT_EQ(seen[true], comps == 1 ? 4u : 6u);
                EXPECT_EQ(seen[false], 0u) << comps << " components, gradient " << gradient;
            }
}

TEST(CreateLutsMCH, StaysInTheCallingThread) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    SQmLutParam param;
    std::vector<unsigned> colors(32, 0xFFFFFF);
    SQmLut lut;
    const WatchedRegions regions;
    create(lut, &param, 12, colors);
    EXPECT_EQ(regions.forks(), 0u);
}

TEST(CreateLutsMCHDst16bit, ShiftsColoursToTheWidthOfTheCells) {
    SQmLut lut;
    SQmLutParam param;
    unsigned colors[] = {0x0000FF, 0x010203};
    ASSERT_EQ(Api::CreateLutsMCH_Dst16bit(&lut, 12, &param, 8, 2, colors, false, false, nullptr),
              QM_OK);
    EXPECT_EQ(row_of(lut, 0, 255), (Row3{0, 0, 4080}));  // 255 * 16, not 4095
    EXPECT_EQ(row_of(lut, 1, 255), (Row3{16, 32, 48}));
    EXPECT_EQ(row_of(lut, 1, 128), (Row3{8, 16, 24}));  // 32 * 128 / 255 = 16.06
    ASSERT_EQ(Api::CreateLutsMCH_Dst16bit(&lut, 16, &param, 16, 2, colors, false, false, nullptr),
              QM_OK);
    EXPECT_EQ(row_of(lut, 0, 65535), (Row3{0, 0, 65280}));
    EXPECT_EQ(row_of(lut, 0, 65534), (Row3{0, 0, 65279}));  // 65280 * 65534 / 65535 = 65279.004
    // One component likewise, with the global levels.
    ASSERT_EQ(Api::CreateLutsMCH_Dst16bit(&lut, 10, &param, 8, 1, colors, false, false, nullptr),
              QM_OK);
    EXPECT_EQ(row_of(lut, 0, 255), (Row3{0, 0, 1020}));
    // Cells of 8 bits are those of CreateLutsMCH.
    ASSERT_EQ(Api::CreateLutsMCH_Dst16bit(&lut, 8, &param, 8, 2, colors, false, false, nullptr),
              QM_OK);
    EXPECT_EQ(row_of(lut, 1, 255), (Row3{1, 2, 3}));
}

TEST(CreateLutsMCHDst16bit, WidensTheColoursOfTables) {
    make_predef_luts();
    SQmLut lut;
    SQmLutParam param;
    param.uiGradient = 2;  // begins with red 40: 40 * 4096 / 256
    unsigned colors[] = {0, 0};
    for (const unsigned comps : {1u, 2u}) {
        ASSERT_EQ(
            Api::CreateLutsMCH_Dst16bit(&lut, 12, &param, 8, comps, colors, false, false, nullptr),
            QM_OK);
        EXPECT_EQ(row_of(lut, comps - 1, 0), (Row3{0, 0, 640}));
        EXPECT_EQ(row_of(lut, comps - 1, 255), (Row3{4080, 4080, 4080}));
    }
}

TEST(CreateLutsMCHDst16bit, RampsWithoutParameters) {
    SQmLut lut;
    unsigned colors[] = {0x0000FF, 0x00FF00};
    ASSERT_EQ(Api::CreateLutsMCH_Dst16bit(&lut, 12, nullptr, 8, 2, colors, false, false, nullptr),
              QM_OK);
    EXPECT_EQ(row_of(lut, 0, 255), (Row3{0, 0, 4095}));  // unlike with parameters
}

// ----- One channel -------------------------------------------------------------------------------

TEST(CreateLutsMono, LeavesTheMask) {
    make_predef_luts();
    SQmLutParam param;
    param.uiGradient = 3;
    unsigned color = 0x0000FF;
    for (SQmLutParam* const p : {&param, static_cast<SQmLutParam*>(nullptr)})
        for (const CQmRangeMask& mask : {CQmRangeMask(), mask_of(4, {2}), all_of(192)}) {
            SQmLut lut;
            lut.rmComponents = mask;
            ASSERT_EQ(Api::CreateLutsMono(&lut, p, 8, &color, nullptr), QM_OK);
            EXPECT_EQ(lut.rmComponents, mask);
            ASSERT_EQ(Api::CreateLutsMono(&lut, p, 8, &color, nullptr), QM_OK);
            EXPECT_EQ(lut.rmComponents, mask);
            EXPECT_EQ(Api::CreateLutsMono(&lut, p, 17, &color, nullptr), QM_BAD_BUFFER);
            EXPECT_EQ(lut.rmComponents, mask);
        }
}

TEST(CreateLutsMono, IsOneChannelInItsColourOrInWhite) {
    SQmLut lut, src;
    SQmLutParam param;
    unsigned color = 0x0000FF;
    EXPECT_EQ(Api::CreateLutsMono(nullptr, &param, 8, &color, nullptr), QM_BAD_BUFFER);
    EXPECT_EQ(Api::CreateLutsMono(&lut, &param, 0, &color, nullptr), QM_BAD_BUFFER);
    ASSERT_EQ(Api::CreateLutsMono(&lut, &param, 8, &color, nullptr), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 7), (Row3{0, 0, 7}));
    ASSERT_EQ(Api::CreateLutsMono(&lut, &param, 8, nullptr, nullptr), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 7), (Row3{7, 7, 7}));
    SQmLut::AllocSingle(src, 8, 8);
    static_cast<uint8_t*>(src.pLuts)[7] = 200;
    ASSERT_EQ(Api::CreateLutsMono(&lut, nullptr, 8, nullptr, &src), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 7), (Row3{200, 200, 200}));
}

// ----- Red, green, blue --------------------------------------------------------------------------

TEST(CreateLutsRGB, RefusesWhatIsMissingOrTooDeep) {
    SQmLut lut;
    SQmLutParam param;
    EXPECT_EQ(Api::CreateLutsRGB(nullptr, &param, 8, nullptr, nullptr, true), QM_BAD_BUFFER);
    EXPECT_EQ(Api::CreateLutsRGB(&lut, &param, 17, nullptr, nullptr, true), QM_BAD_BUFFER);
    EXPECT_EQ(lut.ucComponents, 0);
}

TEST(CreateLutsRGB, HasNoTablesOfSeveralComponentsWithoutAMask) {
    SQmLut lut;
    SQmLutParam param;
    EXPECT_EQ(Api::CreateLutsRGB(&lut, &param, 8, nullptr, nullptr, false), QM_REJECTED);
    EXPECT_EQ(shape_of(lut), (std::vector<uint32_t>{8, 3, 8, 3}));
    for (uint32_t c = 0; c < 3; ++c) EXPECT_EQ(table_in(lut, c), zeros(8));
    // The mask is made all the same.
    lut.rmComponents.Reset();
    EXPECT_EQ(Api::CreateLutsRGB(&lut, &param, 8, nullptr, nullptr, false), QM_REJECTED);
    EXPECT_EQ(lut.rmComponents, all_of(3));
    lut.rmComponents = mask_of(2, {1});
    EXPECT_EQ(Api::CreateLutsRGB(&lut, &param, 8, nullptr, nullptr, false), QM_REJECTED);
    EXPECT_EQ(lut.rmComponents, mask_of(2, {1}));
}

TEST(CreateLutsRGB, PutsThreeCurvesIntoTheCellsOfOneTable) {
    SQmLut lut;
    SQmLutParam param;
    param.sCompLutParam[1].uiMaxSrc = 32768;  // 128 of 8 bits
    param.sCompLutParam[2].uiMaxDst = 32768;
    ASSERT_EQ(Api::CreateLutsRGB(&lut, &param, 8, nullptr, nullptr, true), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 64), (Row3{64, 127, 32}));  // 64 * 255 / 128, 64 * 128 / 255
    EXPECT_EQ(row_of(lut, 0, 255), (Row3{255, 255, 128}));
    // A mask switches cells off and is taken over.
    CQmRangeMask mask = mask_of(3, {1});
    ASSERT_EQ(Api::CreateLutsRGB(&lut, &param, 8, nullptr, &mask, true), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 64), (Row3{0, 127, 0}));
    EXPECT_EQ(lut.rmComponents, mask);
    // Outputs are of 8 bits at every depth.
    ASSERT_EQ(Api::CreateLutsRGB(&lut, &param, 16, nullptr, nullptr, true), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 65535), (Row3{255, 255, 128}));
}

TEST(CreateLutsRGB, LeavesACellWhoseLevelsAreEqual) {
    SQmLut lut;
    SQmLutParam param;
    param.sCompLutParam[1].uiMinSrc = 65535;
    SQmLut::AllocColor(lut, 8, 8);
    scribble(lut);
    const Table before = table_in(lut, 0);
    ASSERT_EQ(Api::CreateLutsRGB(&lut, &param, 8, nullptr, nullptr, true), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 30), (Row3{30, before[30][1], 30}));
}

TEST(CreateLutsRGB, ShowsMaskedComponentsInWhite) {
    SQmLut lut;
    SQmLutParam param;
    for (CQmRangeMask mask : {mask_of(3, {0, 2}), mask_of(3, {0, 1, 2}), mask_of(0, {})}) {
        ASSERT_EQ(Api::CreateLutsRGB(&lut, &param, 8, nullptr, &mask, false), QM_OK);
        EXPECT_EQ(shape_of(lut), (std::vector<uint32_t>{8, 3, 8, 3}));
        for (uint32_t c = 0; c < 3; ++c) {
            const uint32_t value = mask.Get(c) ? 99 : 0;
            EXPECT_EQ(row_of(lut, c, 99), (Row3{value, value, value}));
        }
        EXPECT_EQ(lut.rmComponents, mask);
    }
}

TEST(CreateLutsRGB, RampsWithoutParameters) {
    SQmLut lut;
    lut.rmComponents = mask_of(2, {1});
    // Components 0, 1, 2 are blue, green, red; `bSingle` does not matter but for the colours of a
    // mask.
    for (const bool single : {false, true}) {
        ASSERT_EQ(Api::CreateLutsRGB(&lut, nullptr, 8, nullptr, nullptr, single), QM_OK);
        EXPECT_EQ(row_of(lut, 0, 50), (Row3{50, 0, 0}));
        EXPECT_EQ(row_of(lut, 1, 50), (Row3{0, 50, 0}));
        EXPECT_EQ(row_of(lut, 2, 50), (Row3{0, 0, 50}));
        EXPECT_EQ(lut.rmComponents, all_of(192));
    }
    CQmRangeMask mask = mask_of(3, {2});
    ASSERT_EQ(Api::CreateLutsRGB(&lut, nullptr, 8, nullptr, &mask, true), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 50), (Row3{0, 0, 0}));
    EXPECT_EQ(row_of(lut, 2, 50), (Row3{0, 0, 50}));
    ASSERT_EQ(Api::CreateLutsRGB(&lut, nullptr, 8, nullptr, &mask, false), QM_OK);
    EXPECT_EQ(row_of(lut, 2, 50), (Row3{50, 50, 50}));
    EXPECT_EQ(lut.rmComponents, all_of(192));  // neither taken over nor completed
    lut.rmComponents.Reset();
    ASSERT_EQ(Api::CreateLutsRGB(&lut, nullptr, 8, nullptr, nullptr, false), QM_OK);
    EXPECT_EQ(lut.rmComponents.GetSize(), 0u);
}

TEST(CreateLutsRGB, GoesThroughASourceWithoutParameters) {
    SQmLut src, lut;
    SQmLut::AllocColor(src, 8, 8);
    set_row(src, 0, 9, {10, 20, 30});
    ASSERT_EQ(Api::CreateLutsRGB(&lut, nullptr, 8, &src, nullptr, false), QM_OK);
    EXPECT_EQ(row_of(lut, 0, 9), (Row3{10, 0, 0}));
    EXPECT_EQ(row_of(lut, 1, 9), (Row3{0, 20, 0}));
    EXPECT_EQ(row_of(lut, 2, 9), (Row3{0, 0, 30}));
    SQmLut two;
    SQmLut::Alloc(two, 8, 1, 8, 2);
    EXPECT_EQ(Api::CreateLutsRGB(&lut, nullptr, 8, &two, nullptr, false), QM_REJECTED);
    SQmLut empty;
    EXPECT_EQ(Api::CreateLutsRGB(&lut, nullptr, 8, &empty, nullptr, false), QM_OK);
    EXPECT_EQ(row_of(lut, 1, 9), (Row3{0, 9, 0}));
}

TEST(CreateLutsRGB, HasOneBlackEntryForNoBits) {
    SQmLut lut;
    SQmLutParam param;
    CQmRangeMask mask = all_of(3);
    EXPECT_EQ(Api::CreateLutsRGB(&lut, &param, 0, nullptr, &mask, false), QM_OK);
    for (uint32_t c = 0; c < 3; ++c) EXPECT_EQ(row_of(lut, c, 0), (Row3{0, 0, 0}));
}

// ----- Spectral ----------------------------------------------------------------------------------

struct Component {
    double offset, gain, gamma;
    uint32_t color;
};
void expect_component(const SQmLut& lut, uint32_t c, Component expected) {
    ASSERT_NE(lut.pParams, nullptr);
    ASSERT_LT(c, lut.ucComponents);
    EXPECT_EQ(lut.pParams[c].dOffset, expected.offset) << c;
    EXPECT_EQ(lut.pParams[c].dGain, expected.gain) << c;
    EXPECT_EQ(lut.pParams[c].dGamma, expected.gamma) << c;
    EXPECT_EQ(lut.pParams[c].uiColor, expected.color) << c;
}

/// One gain and one offset for all.
void set_all(SQmLutParam& param, double gain, double offset) {
    param.sLutDataSpectral.uiSpectralColorMode = kTrueColour;
    param.sLutDataSpectral.SetGain(0, gain);
    param.sLutDataSpectral.SetOffset(0, offset);
}

TEST(CreateLutsSpectral, WritesStateAndNoTables) {
    SQmLut lut;
    SQmLutParam param;
    param.dGammaSrc = 1.5;
    param.uiGradient = 7;
    set_all(param, 3.0, 10.0);
    unsigned colors[] = {11, 22, 33};
    ASSERT_EQ(Api::CreateLutsSpectral(&lut, &param, colors, 3, 3, 2.0), QM_OK);
    EXPECT_EQ(lut.pLuts, nullptr);
    EXPECT_EQ(lut.ucComponents, 3);
    EXPECT_EQ(lut.iPredefLut, -1);
    EXPECT_EQ(lut.rmComponents.GetSize(), 0u);
    EXPECT_EQ(param.sLutDataSpectral.GetNonTransmittedComponentCount(), 3u);
    // All are spectral: no half.
    for (uint32_t c = 0; c < 3; ++c) expect_component(lut, c, {-10.0, 1.5, 1.5, colors[c]});
    // The records stay where they are.
    const void* const records = lut.pParams;
    ASSERT_EQ(Api::CreateLutsSpectral(&lut, &param, colors, 3, 3, 1.0), QM_OK);
    EXPECT_EQ(lut.pParams, records);
    expect_component(lut, 0, {-10.0, 3.0, 1.5, 11});
}

TEST(CreateLutsSpectral, TakesAScaleThatIsNotAbove0For1) {
    SQmLutParam param;
    set_all(param, 3.0, 0.0);
    for (const double scale : {0.0, -4.0, std::nan("")}) {
        SQmLut lut;
        ASSERT_EQ(Api::CreateLutsSpectral(&lut, &param, nullptr, 1, 1, scale), QM_OK);
        expect_component(lut, 0, {0.0, 3.0, 1.0, 0xFFFFFF});
    }
}

TEST(CreateLutsSpectral, RefusesWhatIsMissingOrTooMuch) {
    SQmLut lut;
    SQmLutParam param;
    EXPECT_EQ(Api::CreateLutsSpectral(nullptr, &param, nullptr, 1, 1, 1.0), QM_BAD_BUFFER);
    EXPECT_EQ(Api::CreateLutsSpectral(&lut, nullptr, nullptr, 1, 1, 1.0), QM_BAD_BUFFER);
    EXPECT_EQ(Api::CreateLutsSpectral(&lut, &param, nullptr, 1, 193, 1.0), QM_TOO_MANY);
    EXPECT_EQ(Api::CreateLutsSpectral(&lut, &param, nullptr, 193, 1, 1.0), QM_TOO_MANY);
    EXPECT_EQ(lut.pParams, nullptr);
    EXPECT_EQ(Api::CreateLutsSpectral(&lut, &param, nullptr, 192, 192, 1.0), QM_OK);
    // No component at all is one in white, whatever the colours.
    SQmLut one;
    unsigned red = 0xFF;
    EXPECT_EQ(Api::CreateLutsSpectral(&one, &param, &red, 1, 0, 1.0), QM_OK);
    EXPECT_EQ(one.ucComponents, 1);
    expect_component(one, 0, {0.0, 1.0, 1.0, 0xFFFFFF});
}

TEST(CreateLutsSpectral, LeavesHalfOfTheSumToAFurtherComponent) {
    SQmLut lut;
    SQmLut::Alloc(lut, 8, 4, 8, 3);
    SQmLutParam param;
    set_all(param, 3.0, 10.0);
    SQmCompLutParam& further = param.sCompLutParam[2];
    further.uiMinSrc = 20 * 257;  // 20 of 8 bits
    further.uiMinDst = 50 * 257;
    further.uiMaxSrc = 32768;
    further.uiMaxDst = 16384;
    unsigned colors[] = {1, 2, 3, 4};
    ASSERT_EQ(Api::CreateLutsSpectral(&lut, &param, colors, 2, 4, 2.0), QM_OK);
    expect_component(lut, 0, {-10.0, 0.75, 1.0, 1});
    expect_component(lut, 1, {-10.0, 0.75, 1.0, 2});
    // 20 - 50 without a wrap; the scale plays no part; 16384 / 32768 * 0.5.
    expect_component(lut, 2, {30.0, 0.25, 1.0, 3});
    expect_component(lut, 3, {0.0, 0.0, 1.0, 4});  // nothing is known of more
    EXPECT_NE(lut.pLuts, nullptr);                 // as many tables as components may stay
}

TEST(CreateLutsSpectral, ReleasesTablesOfAnotherNumber) {
    SQmLut lut;
    SQmLut::Alloc(lut, 8, 3, 8, 3);
    SQmLutParam param;
    ASSERT_EQ(Api::CreateLutsSpectral(&lut, &param, nullptr, 5, 5, 1.0), QM_OK);
    EXPECT_EQ(lut.pLuts, nullptr);
    EXPECT_EQ(lut.ucComponents, 5);
}

TEST(CreateLutsSpectral, KeepsToTheRecordsThatThereAre) {
    SQmLut lut;
    SQmLutParam param;
    set_all(param, 3.0, 10.0);
    unsigned colors[] = {1, 2, 3, 4};
    ASSERT_EQ(Api::CreateLutsSpectral(&lut, &param, colors, 2, 2, 1.0), QM_OK);
    ASSERT_EQ(Api::CreateLutsSpectral(&lut, &param, colors + 1, 4, 4, 3.0), QM_OK);
    EXPECT_EQ(lut.ucComponents, 2);
    expect_component(lut, 1, {-10.0, 1.0, 1.0, 3});
    // Fewer than there are: the others stay.
    ASSERT_EQ(Api::CreateLutsSpectral(&lut, &param, colors + 3, 1, 1, 1.0), QM_OK);
    expect_component(lut, 0, {-10.0, 3.0, 1.0, 4});
    expect_component(lut, 1, {-10.0, 1.0, 1.0, 3});
}

TEST(CreateLutsSpectral, NamesTheTableOfGreyScale) {
    SQmLut lut;
    SQmLutParam param;
    for (const unsigned mode : {0u, 1u, 2u, 3u})
        for (const unsigned gradient : {0u, 7u, 255u, 256u, 0xFFFFFFFFu}) {
            param.sLutDataSpectral.uiSpectralColorMode = mode;
            param.uiGradient = gradient;
            ASSERT_EQ(Api::CreateLutsSpectral(&lut, &param, nullptr, 1, 1, 1.0), QM_OK);
            EXPECT_EQ(lut.iPredefLut, mode == 3 && gradient < 256 ? static_cast<int>(gradient) : -1)
                << mode << ' ' << gradient;
        }
}

/// Groups of so many components each, with gains of 1, 2, 3 ...
void group(SQmLutParam& param, const std::vector<uint32_t>& sizes) {
    auto& data = param.sLutDataSpectral;
    data.uiSpectralColorMode = kGrouped;
    data.Realloc(static_cast<unsigned>(sizes.size()));
    data.uiGroupCount = static_cast<uint32_t>(sizes.size());
    uint32_t c = 0;
    for (uint32_t g = 0; g < sizes.size(); ++g) {
        data.SetGain(g, g + 1);
        data.SetOffset(g, 10.0 * g);
        for (uint32_t i = 0; i < sizes[g]; ++i) param.sCompLutParam[c++].uiGroup = g;
    }
    data.uiSpectralCompCount = c;
}

TEST(CreateLutsSpectral, SharesTheSumAmongGroups) {
    SQmLutParam param;
    group(param, {2, 4});
    SQmLut lut;
    lut.rmComponents = all_of(6);
    ASSERT_EQ(Api::CreateLutsSpectral(&lut, &param, nullptr, 6, 6, 1.0), QM_OK);
    // 6 enabled components over 2 or 4 of them in one of 2 groups.
    for (uint32_t c = 0; c < 2; ++c) expect_component(lut, c, {0.0, 1.5, 1.0, 0xFFFFFF});
    for (uint32_t c = 2; c < 6; ++c) expect_component(lut, c, {-10.0, 1.5, 1.0, 0xFFFFFF});
    // Only the first component of a group decides; the count is of all bits, groups off or not.
    param.sLutDataSpectral.EnableGroup(1, false);
    lut.rmComponents = mask_of(6, {1, 2});
    ASSERT_EQ(Api::CreateLutsSpectral(&lut, &param, nullptr, 6, 6, 1.0), QM_OK);
    for (uint32_t c = 0; c < 2; ++c) EXPECT_EQ(lut.pParams[c].dGain, 1.0);
    for (uint32_t c = 2; c < 6; ++c) EXPECT_EQ(lut.pParams[c].dGain, 2.0 * (2.0 / 8.0));
    // Bits beyond the spectral components do not count, nor is a short mask full.
    lut.rmComponents = mask_of(9, {0, 6, 7, 8});
    ASSERT_EQ(Api::CreateLutsSpectral(&lut, &param, nullptr, 6, 6, 1.0), QM_OK);
    EXPECT_EQ(lut.pParams[1].dGain, 1.0 / 4.0);
    EXPECT_EQ(lut.pParams[5].dGain, 2.0);
    lut.rmComponents.Reset();
    ASSERT_EQ(Api::CreateLutsSpectral(&lut, &param, nullptr, 6, 6, 1.0), QM_OK);
    EXPECT_EQ(lut.pParams[0].dGain, 1.0);
}

TEST(CreateLutsSpectral, HasAFactorOf1ForOneGroupOfAll) {
    SQmLutParam param;
    group(param, {5});
    SQmLut lut;
    lut.rmComponents = all_of(192);
    ASSERT_EQ(Api::CreateLutsSpectral(&lut, &param, nullptr, 5, 5, 1.0), QM_OK);
    for (uint32_t c = 0; c < 5; ++c) EXPECT_EQ(lut.pParams[c].dGain, 1.0);
}

TEST(CreateLutsSpectral, ReadsGainsBeforeItMendsTheGroups) {
    // The parameters know of no component: groups are made for six, after gains were read, and of
    // one value for the others.
    SQmLutParam param;
    param.sLutDataSpectral.uiSpectralColorMode = kGrouped;
    SQmLut lut;
    lut.rmComponents = all_of(6);
    ASSERT_EQ(Api::CreateLutsSpectral(&lut, &param, nullptr, 6, 6, 1.0), QM_OK);
    EXPECT_EQ(param.sLutDataSpectral.uiSpectralCompCount, 6u);
    EXPECT_EQ(param.sLutDataSpectral.uiGroupCount, 3u);
    for (uint32_t c = 0; c < 6; ++c) {
        EXPECT_EQ(param.sCompLutParam[c].uiGroup, c / 2);
        EXPECT_EQ(lut.pParams[c].dGain, 1.0);  // 6 / (2 * 3)
    }
    SQmLut none;
    ASSERT_EQ(Api::CreateLutsSpectral(&none, &param, nullptr, 0, 1, 1.0), QM_OK);
    expect_component(none, 0, {0.0, 0.5, 1.0, 0xFFFFFF});
}

}  // namespace
}  // namespace qmpic::test
