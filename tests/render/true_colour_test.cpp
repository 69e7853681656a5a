#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include "qmpic/Lut.h"
#include "qmpic/PicMemAPI_Base.h"
#include "render/screen_reference.h"
#include "support/cases.h"
#include "support/failing_alloc.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;

// ----- Sets --------------------------------------------------------------------------------------

/// Cells of any content, edges among them.
void fill(SQmLut& lut, uint32_t seed) {
    const size_t entries = size_t{1} << lut.ucSrcBpc;
    const auto next = [&seed] {
        seed = seed * 1664525 + 1013904223;
        const auto byte = static_cast<uint8_t>(seed >> 24);
        return byte < 20 ? uint8_t{0} : byte > 235 ? uint8_t{255} : byte;
    };
    for (size_t c = 0; c < lut.ucComponents; ++c)
        for (size_t v = 0; v < entries; ++v) {
            uint8_t* row = static_cast<uint8_t*>(lut.pLuts) + v;
            if (lut.ucComponents > 1)
                row = static_cast<uint8_t***>(lut.pLuts)[c][v];
            else if (lut.ucDstComponents > 1)
                row = static_cast<uint8_t**>(lut.pLuts)[v];
            for (size_t i = 0; i < lut.ucDstComponents; ++i) row[i] = next();
        }
}

/// Marks of both kinds, one, or none, some with a flag; thresholds or none.
void draw_marks(SQmLut& lut, uint32_t bpc, Random& random) {
    const auto colors = [&] {
        std::vector<unsigned> all(192);
        for (unsigned& one : all) one = random.any() & (random(0, 1) ? 0x00FFFFFF : 0xFFFFFFFF);
        all[0] |= 1;
        return all;
    };
    if (random(0, 1)) SQmLut::SetOverExpColor(lut, colors().data());
    if (random(0, 1)) SQmLut::SetUnderExpColor(lut, colors().data());
    if (random(0, 1)) {
        std::vector<unsigned> values(192);
        for (unsigned& one : values)
            one = random(0, 3) ? random(0, (1u << bpc) - 1) : random.one_of({0u, 1u << bpc, ~0u});
        SQmLut::SetOverExpValue(lut, values.data());
    }
}

// ----- Random pictures by every way --------------------------------------------------------------

enum Way { kNone, kBlack, kOneOfMany, kOneOfOne, kOneFlat, kMany, kValue, kThree, kThreeFlat };
constexpr uint32_t kWays = 9;

struct Scene {
    uint32_t components = 1, bpc = 8;
    std::optional<SQmLut> lut = {};
};

void draw_mask(CQmRangeMask& mask, uint32_t components, uint32_t least, Random& random) {
    if (random(0, 2) == 0) return;  // all 192, as they are after Alloc
    mask.SetAll(false);
    while (mask.GetCount() < least || random(0, 1)) mask.Set(random(0, components - 1));
    if (random(0, 3) == 0) mask.SetSize(components);
}

Scene draw_scene(Way way, Random& random) {
    Scene scene;
    scene.bpc = random(0, 2) == 0 ? 8 : random(0, 3) == 0 ? random(13, 16) : random(9, 12);
    const auto bits = static_cast<uint8_t>(scene.bpc);
    const auto tables = [&](uint32_t components, uint8_t cells) -> SQmLut& {
        scene.lut.emplace();
        SQmLut::Alloc(*scene.lut, bits, static_cast<uint8_t>(components), 8, cells);
        fill(*scene.lut, random.any());
        if (cells == 3) draw_marks(*scene.lut, scene.bpc, random);
        return *scene.lut;
    };
    const auto only = [&] {
        scene.lut->rmComponents.SetAll(false);
        scene.lut->rmComponents.Set(random(0, scene.components - 1));
    };
    switch (way) {
    case kNone: scene.components = random.one_of({1u, 3u}); break;
    case kBlack:
        scene.components = random(1, 5);
        tables(random(1, 3), 3).rmComponents.SetAll(false);
        break;
    case kOneOfMany:
        scene.components = random(2, scene.bpc > 12 ? 3 : 7);
        tables(scene.components, 3);
        only();
        break;
    case kOneOfOne:
        scene.components = random(1, 7);
        tables(1, 3);
        only();
        break;
    case kOneFlat:
        scene.components = random(1, 7);
        tables(1, 1);
        only();
        break;
    case kMany:
        scene.components = scene.bpc > 12                    ? random(2, 3)
                           : scene.bpc == 8 && !random(0, 3) ? random.one_of({17u, 64u, 145u})
                                                             : random(2, 8);
        draw_mask(tables(scene.components, 3).rmComponents, scene.components, 2, random);
        break;
    case kValue: tables(1, 3); break;
    case kThree:
        scene.components = 3;
        draw_mask(tables(1, 3).rmComponents, 3, 2, random);
        break;
    case kThreeFlat:
        scene.components = 3;
        tables(1, 1);
        break;
    }
    return scene;
}

void check(Round round) {
    Random& random = round.random;
    const Scene scene = draw_scene(static_cast<Way>(round.number % kWays), random);
    const SQmLut* const lut = scene.lut ? &*scene.lut : nullptr;
    const Size size = random.size(scene.components);
    GuardedPicture src({scene.components, scene.bpc == 8 ? 8u : 16u, scene.bpc}, size, random);
    const GuardedPicture dst({3, 8, 8}, size, random);
    src.keep_below(src.format().max(), random);
    std::vector<uint64_t> expected = dst.content();
    auto at = expected.begin();
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x, at += 3) {
            std::vector<uint32_t> samples;
            for (uint32_t c = 0; c < scene.components; ++c)
                samples.push_back(static_cast<uint32_t>(src.get(x * scene.components + c, y)));
            if (const auto pixel = on_screen(samples, scene.bpc, lut))
                std::copy(pixel->begin(), pixel->end(), at);
        }
    const auto outside = dst.outside();

    ASSERT_EQ(Api::ConvertToTrueColor(dst.data(), dst.stride(), src.data(), scene.components,
                                      scene.bpc, src.stride(), size.width, size.pixels, lut),
              QM_OK);

    ASSERT_EQ(dst.content(), expected)
        << size.width << " x " << size.height << " pixels of " << scene.components << " x "
        << scene.bpc << ", way " << round.number % kWays;
    ASSERT_EQ(dst.outside(), outside);
    round.digest.add(expected);
}

// ----- Codes -------------------------------------------------------------------------------------

const std::vector<uint8_t> kZeros(kEntryStride* kEntryRows);  // within the smallest table

int convert(const EntryCall& c, const SQmLut* lut) {
    return Api::ConvertToTrueColor(c.dst, c.stride, lut != nullptr ? kZeros.data() : c.src,
                                   c.components, c.bpc, c.stride, c.width, c.size, lut);
}
uint8_t table_bits(uint32_t bpc) { return static_cast<uint8_t>(std::min(bpc, 16u)); }

int without_a_set(const EntryCall& c) { return convert(c, nullptr); }
int without_selection(const EntryCall& c) {
    SQmLut lut;
    SQmLut::AllocColor(lut, 4, 8);
    lut.rmComponents.SetAll(false);
    return convert(c, &lut);
}
int with_one_selected(const EntryCall& c) {
    SQmLut lut;
    SQmLut::AllocColor(lut, table_bits(c.bpc), 8);
    lut.rmComponents.SetMask(1);
    return convert(c, &lut);
}
int with_one_table(const EntryCall& c) {
    SQmLut lut;
    SQmLut::AllocColor(lut, table_bits(c.bpc), 8);
    return convert(c, &lut);
}
int with_many_tables(const EntryCall& c) {  // of at least two components
    SQmLut lut;
    EntryCall more = c;
    more.components = std::max(c.components, 2u);
    SQmLut::Alloc(lut, table_bits(c.bpc), static_cast<uint8_t>(more.components), 8, 3);
    return convert(more, &lut);
}

std::vector<EntryCase> entry_cases() {
    std::vector<EntryCase> all{
        {"CQmPicMemAPI_Base::ConvertToTrueColor", without_a_set,
         [](uint32_t components, uint32_t bpc) {
             return (components == 1 || components == 3) && bpc >= 8 && bpc <= 16 ? 0 : -4;
         }},
        {"CQmPicMemAPI_Base::ConvertToTrueColor of nothing selected", without_selection,
         [](uint32_t, uint32_t) { return 0; }},
        {"CQmPicMemAPI_Base::ConvertToTrueColor of one selected", with_one_selected,
         [](uint32_t components, uint32_t bpc) { return components != 0 && bpc <= 16 ? 0 : -4; }},
        {"CQmPicMemAPI_Base::ConvertToTrueColor through one table", with_one_table,
         [](uint32_t components, uint32_t bpc) {
             if (components != 1 && components != 3) return -4;
             return bpc >= 8 && bpc <= 16 ? 0 : -2;
         }},
        {"CQmPicMemAPI_Base::ConvertToTrueColor through many tables", with_many_tables,
         [](uint32_t, uint32_t bpc) { return bpc < 8     ? -2
                                             : bpc <= 16 ? 0
                                                         : -4; }}};
    // What is nothing is the business of the entry that is chosen; black asks for no source.
    for (EntryCase& one : all) one.guarded = one.name.ends_with("nothing selected");
    for (EntryCase& one : all) one.guards_source = false;
    return all;
}

const bool registered =
    add_cases({{"CQmPicMemAPI_Base::ConvertToTrueColor", check, 10 * kWays}}, entry_cases());

// ----- Worked numbers ----------------------------------------------------------------------------

/// Pixels of one row and what becomes of them.
template <class T>
struct Row {
    std::vector<T> samples;
    uint32_t components, bpc;
    int code = 77;

    std::vector<int> through(const SQmLut* lut) {
        const auto width = static_cast<uint32_t>(samples.size() / components);
        std::vector<uint8_t> dst(size_t{width} * 3, 0xA5);
        code = Api::ConvertToTrueColor(dst.data(), width * 3, samples.data(), components, bpc,
                                       width * components * static_cast<uint32_t>(sizeof(T)), width,
                                       width, lut);
        return {dst.begin(), dst.end()};
    }
};
using Bytes = Row<uint8_t>;
using Words = Row<uint16_t>;
using Cells = std::vector<int>;

uint8_t* row_of(const SQmLut& lut, uint32_t component, uint32_t value) {
    return lut.ucComponents > 1 ? static_cast<uint8_t***>(lut.pLuts)[component][value]
                                : static_cast<uint8_t**>(lut.pLuts)[value];
}
void set_row(const SQmLut& lut, uint32_t component, uint32_t value, const Bgr& color) {
    std::copy(color.begin(), color.end(), row_of(lut, component, value));
}
std::vector<unsigned> references(unsigned color) { return std::vector<unsigned>(192, color); }

TEST(TrueColour, WithoutASetIsTheTopByteOfEachSample) {
    EXPECT_EQ((Bytes{{7, 255}, 1, 8}.through(nullptr)), (Cells{7, 7, 7, 255, 255, 255}));
    EXPECT_EQ((Words{{0x0FFF, 0x0123}, 1, 12}.through(nullptr)),
              (Cells{255, 255, 255, 18, 18, 18}));
    EXPECT_EQ((Words{{511, 2}, 1, 9}.through(nullptr)), (Cells{255, 255, 255, 1, 1, 1}));
    EXPECT_EQ((Bytes{{1, 2, 3}, 3, 8}.through(nullptr)), (Cells{1, 2, 3}));
    EXPECT_EQ((Words{{0x1234, 0xFFFF, 0x00FF}, 3, 16}.through(nullptr)), (Cells{0x12, 255, 0}));
}

TEST(TrueColour, WithoutASetTakesOneOrThreeComponents) {
    Bytes two{{1, 2}, 2, 8}, four{{1, 2, 3, 4}, 4, 8};
    EXPECT_EQ(two.through(nullptr), (Cells{0xA5, 0xA5, 0xA5}));
    EXPECT_EQ(two.code, QM_REJECTED);
    EXPECT_EQ(four.through(nullptr), (Cells{0xA5, 0xA5, 0xA5}));
    EXPECT_EQ(four.code, QM_REJECTED);
}

TEST(TrueColour, OfNothingIsTheCodeOfTheEntryThatIsChosen) {
    uint8_t dst[3] = {}, src[3] = {};
    const auto convert = [&](void* to, const void* from, uint32_t components, uint32_t bpc,
                             uint32_t width, uint64_t size, const SQmLut* lut) {
        return Api::ConvertToTrueColor(to, 3, from, components, bpc, 3, width, size, lut);
    };
    EXPECT_EQ(convert(dst, src, 2, 8, 0, 0, nullptr), QM_REJECTED);
    for (const uint32_t components : {1u, 3u})
        for (const uint32_t bpc : {8u, 12u}) {
            EXPECT_EQ(convert(nullptr, src, components, bpc, 1, 1, nullptr), QM_OK);
            EXPECT_EQ(convert(dst, nullptr, components, bpc, 1, 1, nullptr), QM_OK);
            EXPECT_EQ(convert(dst, src, components, bpc, 0, 1, nullptr), QM_OK);
            EXPECT_EQ(convert(dst, src, components, bpc, 1, 0, nullptr), QM_OK);
        }
    EXPECT_EQ(std::vector<uint8_t>(dst, dst + 3), std::vector<uint8_t>(3));
    SQmLut many, one;
    ASSERT_EQ(SQmLut::Alloc(many, 8, 3, 8, 3), QM_OK);
    ASSERT_EQ(SQmLut::AllocColor(one, 8, 8), QM_OK);
    EXPECT_EQ(convert(dst, src, 3, 8, 1, 0, &many), QM_REJECTED);
    EXPECT_EQ(convert(dst, src, 3, 8, 0, 1, &many), QM_REJECTED);
    EXPECT_EQ(convert(dst, nullptr, 3, 8, 1, 1, &one), QM_OK);
    EXPECT_EQ(convert(dst, src, 1, 8, 0, 1, &one), QM_OK);
}

TEST(TrueColour, MayStandWhereTheWordsStand) {
    constexpr uint32_t kWidth = 500, kRows = 300;
    const struct {
        uint32_t stride;             // of the words
        size_t at_words, at_pixels;  // where the two begin
    } cases[] = {{1000, 0, 0}, {1500, 0, 0}, {1000, 700, 0}, {1000, 0, 700}, {1500, 100000, 0}};
    for (const auto& [stride, at_words, at_pixels] : cases) {
        std::vector<uint8_t> memory(1500 * kRows + 200000);
        std::vector<int> expected;
        for (uint32_t y = 0; y < kRows; ++y)
            for (uint32_t x = 0; x < kWidth; ++x) {
                const auto value = static_cast<uint16_t>((x * 31 + y * 77) & 4095);
                std::memcpy(&memory[at_words + y * stride + 2 * x], &value, 2);
                for (int c = 0; c < 3; ++c) expected.push_back(value >> 4);
            }
        ASSERT_EQ(Api::ConvertToTrueColor(&memory[at_pixels], 1500, &memory[at_words], 1, 12,
                                          stride, kWidth, kWidth * kRows, nullptr),
                  QM_OK);
        const auto* const first = &memory[at_pixels];
        EXPECT_EQ((std::vector<int>(first, first + 1500 * kRows)), expected)
            << stride << ", " << at_words << ", " << at_pixels;
    }
}

TEST(TrueColour, NeedsCellsOfEightBits) {
    for (const uint8_t bits : std::initializer_list<uint8_t>{0, 7, 9, 16}) {
        SQmLut lut;
        ASSERT_EQ(SQmLut::AllocColor(lut, 8, bits), QM_OK);
        Bytes row{{1}, 1, 8};
        EXPECT_EQ(row.through(&lut), (Cells{0xA5, 0xA5, 0xA5}));
        EXPECT_EQ(row.code, QM_REJECTED);
        lut.rmComponents.SetAll(false);  // asked first: not even black
        EXPECT_EQ(row.through(&lut), (Cells{0xA5, 0xA5, 0xA5}));
        EXPECT_EQ(row.code, QM_REJECTED);
    }
}

TEST(TrueColour, IsBlackWithNothingSelected) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::Alloc(lut, 8, 2, 8, 3), QM_OK);
    lut.rmComponents.SetAll(false);
    Words row{{1, 2, 3, 4, 5, 6, 7}, 7, 30};  // whatever the picture is
    EXPECT_EQ(row.through(&lut), (Cells{0, 0, 0}));
    EXPECT_EQ(row.code, QM_OK);
    lut.rmComponents.Reset();
    SQmLut::ReinitParametric(lut);  // also then
    EXPECT_EQ(row.through(&lut), (Cells{0, 0, 0}));
    uint8_t dst[3] = {1, 1, 1};
    EXPECT_EQ(Api::ConvertToTrueColor(dst, 3, nullptr, 1, 8, 1, 1, 1, &lut), QM_OK);
    EXPECT_EQ(dst[0] + dst[1] + dst[2], 0);
}

TEST(TrueColour, OfOneSelectedChannelIsThatChannel) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::Alloc(lut, 12, 3, 8, 3), QM_OK);
    set_row(lut, 1, 500, {10, 20, 30});
    lut.rmComponents.SetAll(false);
    lut.rmComponents.Set(1);
    EXPECT_EQ((Words{{1, 500, 2}, 3, 12}.through(&lut)), (Cells{10, 20, 30}));
    // Through one table for all, too, and as grey.
    SQmLut one, flat;
    ASSERT_EQ(SQmLut::AllocColor(one, 12, 8), QM_OK);
    ASSERT_EQ(SQmLut::AllocSingle(flat, 12, 8), QM_OK);
    set_row(one, 0, 500, {10, 20, 30});
    static_cast<uint8_t*>(flat.pLuts)[500] = 44;
    one.rmComponents = flat.rmComponents = lut.rmComponents;
    EXPECT_EQ((Words{{1, 500, 2}, 3, 12}.through(&one)), (Cells{10, 20, 30}));
    EXPECT_EQ((Words{{1, 500, 2}, 3, 12}.through(&flat)), (Cells{44, 44, 44}));
}

// Three components through one table are over-exposed at the threshold alone; one of them shown
// alone is from the threshold on.
TEST(TrueColour, OfOneSelectedChannelMarksAtOrAboveTheThreshold) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::AllocColor(lut, 8, 8), QM_OK);
    for (uint32_t v = 0; v < 256; ++v) set_row(lut, 0, v, {1, 2, 3});
    SQmLut::SetOverExpColor(lut, references(0x000000FF).data());
    SQmLut::SetOverExpValue(lut, references(100).data());
    EXPECT_EQ((Bytes{{5, 101, 5, 5, 100, 5}, 3, 8}.through(&lut)), (Cells{1, 2, 3, 0, 0, 255}));
    lut.rmComponents.SetMask(2);
    EXPECT_EQ((Bytes{{5, 101, 5, 5, 100, 5}, 3, 8}.through(&lut)), (Cells{0, 0, 255, 0, 0, 255}));
    EXPECT_EQ((Bytes{{5, 99, 200}, 3, 8}.through(&lut)), (Cells{1, 2, 3}));
}

TEST(TrueColour, RefusesASelectedChannelThatThePictureLacks) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::AllocColor(lut, 8, 8), QM_OK);
    lut.rmComponents.SetAll(false);
    lut.rmComponents.Set(3);
    Bytes row{{1, 2, 3}, 3, 8};
    EXPECT_EQ(row.through(&lut), (Cells{0xA5, 0xA5, 0xA5}));
    EXPECT_EQ(row.code, QM_REJECTED);
}

TEST(TrueColour, CountsBitsBeyondTheComponentsToo) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::Alloc(lut, 8, 3, 8, 3), QM_OK);
    set_row(lut, 1, 9, {10, 20, 30});
    SQmLut::SetUnderExpColor(lut, references(0x01000000).data());
    lut.rmComponents.SetAll(false);
    lut.rmComponents.Set(1);
    lut.rmComponents.Set(150);  // two are selected: the tables are merged, which gives the one
    EXPECT_EQ((Bytes{{0, 9, 0}, 3, 8}.through(&lut)), (Cells{10, 20, 30}));
    lut.rmComponents.Set(1, false);
    lut.rmComponents.Set(151);  // none that the picture has
    EXPECT_EQ((Bytes{{0, 9, 0}, 3, 8}.through(&lut)), (Cells{0, 0, 0}));
}

TEST(TrueColour, OfChannelsInPureColoursAtTheTopIsWhite) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::Alloc(lut, 8, 3, 8, 3), QM_OK);
    set_row(lut, 0, 255, {0, 0, 255});
    set_row(lut, 1, 255, {0, 255, 0});
    set_row(lut, 2, 255, {255, 0, 0});
    EXPECT_EQ((Bytes{{255, 255, 255, 255, 0, 255}, 3, 8}.through(&lut)),
              (Cells{255, 255, 255, 255, 0, 255}));
    set_row(lut, 0, 7, {200, 0, 0});
    set_row(lut, 1, 7, {100, 0, 0});
    EXPECT_EQ((Bytes{{7, 7, 0}, 3, 8}.through(&lut)), (Cells{222, 0, 0}));
}

TEST(TrueColour, OfOneComponentThroughOneTableIsItsRow) {
    SQmLut lut, flat, deep_flat;
    ASSERT_EQ(SQmLut::AllocColor(lut, 16, 8), QM_OK);
    set_row(lut, 0, 65535, {9, 8, 7});
    SQmLut::SetOverExpColor(lut, references(0x00FFFFFF).data());  // is not looked at
    EXPECT_EQ((Words{{65535, 0}, 1, 16}.through(&lut)), (Cells{9, 8, 7, 0, 0, 0}));
    ASSERT_EQ(SQmLut::AllocSingle(flat, 8, 8), QM_OK);
    static_cast<uint8_t*>(flat.pLuts)[3] = 33;
    EXPECT_EQ((Bytes{{3}, 1, 8}.through(&flat)), (Cells{33, 33, 33}));
    // Grey tables for more than 8 bits are taken for one of several components only.
    ASSERT_EQ(SQmLut::AllocSingle(deep_flat, 12, 8), QM_OK);
    Words row{{3}, 1, 12};
    EXPECT_EQ(row.through(&deep_flat), (Cells{0xA5, 0xA5, 0xA5}));
    EXPECT_EQ(row.code, QM_REJECTED);
}

TEST(TrueColour, OfThreeComponentsThroughOneTableTakesAColumnEach) {
    SQmLut lut, flat;
    ASSERT_EQ(SQmLut::AllocColor(lut, 8, 8), QM_OK);
    for (uint32_t v = 0; v < 256; ++v) {
        const auto byte = static_cast<uint8_t>(v);
        set_row(lut, 0, v, {byte, static_cast<uint8_t>(255 - v), static_cast<uint8_t>(v / 2)});
    }
    EXPECT_EQ((Bytes{{10, 10, 10}, 3, 8}.through(&lut)), (Cells{10, 245, 5}));
    ASSERT_EQ(SQmLut::AllocSingle(flat, 10, 8), QM_OK);
    for (uint32_t v = 0; v < 1024; ++v)
        static_cast<uint8_t*>(flat.pLuts)[v] = static_cast<uint8_t>(v / 4);
    EXPECT_EQ((Words{{1023, 512, 4}, 3, 10}.through(&flat)), (Cells{255, 128, 1}));
}

TEST(TrueColour, RefusesOtherCountsThroughOneTable) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::AllocColor(lut, 8, 8), QM_OK);
    Bytes two{{1, 2}, 2, 8}, four{{1, 2, 3, 4}, 4, 8};
    two.through(&lut), four.through(&lut);
    EXPECT_EQ(two.code, QM_REJECTED);
    EXPECT_EQ(four.code, QM_REJECTED);
}

TEST(TrueColour, RefusesASetForAnotherPicture) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::Alloc(lut, 12, 3, 8, 3), QM_OK);
    Bytes bytes{{1, 2, 3}, 3, 8};
    Words four{{1, 2, 3, 4}, 4, 12};
    bytes.through(&lut), four.through(&lut);
    EXPECT_EQ(bytes.code, QM_REJECTED);
    EXPECT_EQ(four.code, QM_REJECTED);
    SQmLut::Free(lut);
    Words row{{1, 2, 3}, 3, 12};
    EXPECT_EQ(row.through(&lut), (Cells{0xA5, 0xA5, 0xA5}));
    EXPECT_EQ(row.code, QM_REJECTED);
}

TEST(TrueColour, ThrowsWithoutMemoryForTheBytesAndLeavesTheDestination) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const std::vector<uint16_t> src(64 * 64, 4095);
    std::vector<uint8_t> dst(64 * 64 * 3, 1);
    const uint32_t made = each_failure(
        [&] {
            return Api::ConvertToTrueColor(dst.data(), 64 * 3, src.data(), 1, 12, 64 * 2, 64,
                                           64 * 64, nullptr);
        },
        [&](uint32_t n, const Outcome& outcome) {
            EXPECT_EQ(outcome.threw, n != 0);
            EXPECT_EQ(outcome.code, QM_OK);
            EXPECT_EQ(outcome.live, 0);
            EXPECT_EQ(dst, std::vector<uint8_t>(dst.size(), n == 0 ? 255 : 1));
            std::fill(dst.begin(), dst.end(), uint8_t{1});
        });
    EXPECT_EQ(made, 1u);
    EXPECT_THROW(
        Api::ConvertToTrueColor(dst.data(), 3, src.data(), 1, 12, 2, 1, ~uint64_t{0}, nullptr),
        std::bad_alloc);
}

// ----- MapComponentsMToN -------------------------------------------------------------------------

TEST(TrueColourOfManyTables, RefusesASetOfAnotherFormatBeforeItLooksForAKernel) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::Alloc(lut, 8, 2, 8, 3), QM_OK);
    uint8_t dst[4] = {7, 7, 7, 7};
    const uint16_t src[2] = {};
    const auto map = [&](uint32_t dst_components, uint32_t dst_bpc, uint32_t components,
                         uint32_t bpc, uint32_t width, uint64_t size) {
        return Api::MapComponentsMToN(dst, dst_components, dst_bpc, 4, src, components, bpc, 4,
                                      &lut, width, size);
    };
    EXPECT_EQ(map(3, 8, 2, 9, 1, 1), QM_REJECTED);
    EXPECT_EQ(map(3, 8, 3, 8, 1, 1), QM_REJECTED);
    EXPECT_EQ(map(3, 16, 2, 8, 1, 1), QM_REJECTED);
    EXPECT_EQ(map(4, 8, 2, 8, 1, 1), QM_REJECTED);
    EXPECT_EQ(map(3, 8, 2, 8, 1, 0), QM_REJECTED);
    EXPECT_EQ(map(3, 8, 2, 8, 0, 1), QM_REJECTED);
    EXPECT_EQ(std::vector<uint8_t>(dst, dst + 4), std::vector<uint8_t>(4, 7));
    EXPECT_EQ(map(3, 8, 2, 8, 1, 1), QM_OK);
    EXPECT_EQ(std::vector<uint8_t>(dst, dst + 4), (std::vector<uint8_t>{0, 0, 0, 7}));
}

TEST(TrueColourOfManyTables, GivesThreeComponentsOfUpToSixteenBits) {
    const auto code = [](uint8_t src_bpc, uint8_t dst_bpc, uint8_t cells) {
        SQmLut lut;
        EXPECT_EQ(SQmLut::Alloc(lut, src_bpc, 2, dst_bpc, cells), QM_OK);
        std::vector<uint8_t> dst(64), src(64);
        return Api::MapComponentsMToN(dst.data(), cells, dst_bpc, 64, src.data(), 2, src_bpc, 64,
                                      &lut, 1, 1);
    };
    for (const uint8_t cells : std::initializer_list<uint8_t>{1, 2, 4})
        EXPECT_EQ(code(8, 8, cells), QM_NO_KERNEL);
    for (const uint8_t bits : std::initializer_list<uint8_t>{0, 7, 17, 32})
        EXPECT_EQ(code(8, bits, 3), QM_NO_KERNEL) << int{bits};
    EXPECT_EQ(code(8, 8, 3), QM_OK);
    EXPECT_EQ(code(12, 8, 3), QM_OK);
    EXPECT_EQ(code(12, 16, 3), QM_OK);
    EXPECT_EQ(code(8, 16, 3), QM_NO_KERNEL);
    EXPECT_EQ(code(7, 8, 3), QM_NO_KERNEL);
}

}  // namespace
}  // namespace qmpic::test
