#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "lut/predefined_data.h"
#include "lut/predefined_lists.h"
#include "qmpic/Lut.h"
#include "qmpic/PredefLuts.h"
#include "qmpic/status.h"
#include "qmpic/system/Alloc.h"
#include "support/cases.h"

namespace qmpic::test {
namespace {

const bool registered = add_cases({}, {},
                                  {"SQmLut::vecPredefLuts",
                                   "SQmLut::vecExtendedLuts",
                                   "SQmLut::InitPredefLuts",
                                   "SQmLut::GetPredefLut",
                                   "SQmLut::GetPredefLutsCount",
                                   "SQmLut::GetPredefLutDescr",
                                   "SQmLut::GetExtenedLutsCount",
                                   "SQmLut::InsertExtenedLut",
                                   "SQmLut::FreeExtenedLuts",
                                   "SQmLut::SetCustomLut",
                                   "SQmLut::SQmPredefLut::SQmPredefLut",
                                   "SQmLut::SQmPredefLut::~SQmPredefLut",
                                   "SQmLut::SQmPredefLut::operator=",
                                   "SQmLut::SQmPredefLut::getLuts",
                                   "SQmLut::SQmPredefLut::isAlreadyScaled",
                                   "SQmLut::SQmPredefLut::isSymmetric",
                                   "SQmLut::SQmExtendedLut::SQmExtendedLut",
                                   "SQmLut::SQmExtendedLut::~SQmExtendedLut",
                                   "SQmLut::SQmExtendedLut::operator=",
                                   "SQmLut::SQmExtendedLut::getLuts",
                                   "SQmLut::SQmExtendedLut::isAlreadyScaled",
                                   "SQmLut::SQmExtendedLut::isSymmetric",
                                   "CQmPredefLUTs::GetCustomLUTs"});

using Plain = SQmLut::SQmPredefLut;
using Extended = SQmLut::SQmExtendedLut;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

using Rgb = std::array<int, 3>;
Rgb entry(const unsigned char* colors, int i) {
    return {colors[3 * i], colors[3 * i + 1], colors[3 * i + 2]};
}
Rgb entry(int index, int i) { return entry(SQmLut::GetPredefLut(index, false)->pColors, i); }

Plain* at(int index) { return SQmLut::GetPredefLut(index, false); }
std::wstring name_of(int index) { return at(index)->sName.c_str(); }

// ----- Classes -----------------------------------------------------------------------------------

/// The slot of a virtual operation: a pointer to it holds 1 and the offset into the virtual table.
template <class Function>
size_t slot_of(Function function) {
    static_assert(sizeof(function) == 2 * sizeof(void*));
    size_t words[2];
    std::memcpy(words, &function, sizeof function);
    EXPECT_EQ(words[0] % sizeof(void*), 1u);
    EXPECT_EQ(words[1], 0u);
    return words[0] / sizeof(void*);
}

TEST(PredefLutClasses, HaveTheirSlotsAndFieldsInOrder) {
    // The destructor has two slots: one for objects, one for those that are deleted, too.
    EXPECT_EQ(slot_of(&Plain::getLuts), 2u);
    EXPECT_EQ(slot_of(&Plain::isAlreadyScaled), 3u);
    EXPECT_EQ(slot_of(&Plain::isSymmetric), 4u);
    EXPECT_EQ(slot_of(&Extended::getLuts), 2u);
    EXPECT_EQ(slot_of(&Extended::isAlreadyScaled), 3u);
    EXPECT_EQ(slot_of(&Extended::isSymmetric), 4u);
    static_assert(std::has_virtual_destructor_v<Plain>);

    Extended table;
    const auto offset = [&](const void* field) {
        return static_cast<const char*>(field) - reinterpret_cast<const char*>(&table);
    };
    EXPECT_EQ(offset(static_cast<Plain*>(&table)), 0);
    EXPECT_EQ(offset(&table.sName), 8);
    const ptrdiff_t id = 8 + static_cast<ptrdiff_t>(sizeof(CQmStringW));
    EXPECT_EQ(offset(&table.uiId), id);
    EXPECT_EQ(offset(&table.pColors), id + 8);
    EXPECT_EQ(offset(&table.bSymmetric), id + 16);
    EXPECT_EQ(offset(&table.sConfig), id + 24);
    const ptrdiff_t scaled = id + 24 + static_cast<ptrdiff_t>(sizeof(SQmGradientConfig));
    EXPECT_EQ(offset(&table.pScaled), scaled);
    EXPECT_EQ(offset(&table.dScaledLo), scaled + 8);
    EXPECT_EQ(offset(&table.dScaledHi), scaled + 16);
}

TEST(PredefLutClasses, PlainOneGivesItsTableWhateverTheRange) {
    Plain table;
    EXPECT_TRUE(table.sName.IsEmpty());
    EXPECT_EQ(table.uiId, 0u);
    EXPECT_EQ(table.pColors, nullptr);
    EXPECT_FALSE(table.bSymmetric);
    EXPECT_EQ(table.getLuts(0, 1), nullptr);
    unsigned char colors[768] = {};
    table.pColors = colors;
    for (const double hi : {0.0, 1.0, 1e9, kNan}) EXPECT_EQ(table.getLuts(0.0, hi), colors);
    EXPECT_FALSE(table.isAlreadyScaled());
}

TEST(PredefLutClasses, PlainOneWritesTheCentreWhetherOrNotItIsSymmetric) {
    Plain table;
    double center = 7;
    EXPECT_FALSE(table.isSymmetric(&center));
    EXPECT_EQ(center, 0.0);
    table.bSymmetric = true;
    center = 7;
    EXPECT_TRUE(table.isSymmetric(&center));
    EXPECT_EQ(center, 0.0);
    EXPECT_TRUE(table.isSymmetric(nullptr));
}

TEST(PredefLutClasses, ExtendedOneWritesTheCentreOnlyIfItIsSymmetric) {
    Extended table;
    table.sConfig.m_dCenter = 3.5;
    double center = 7;
    EXPECT_FALSE(table.isSymmetric(&center));
    EXPECT_EQ(center, 7);
    table.bSymmetric = true;  // is not what counts here
    EXPECT_FALSE(table.isSymmetric(&center));
    EXPECT_EQ(center, 7);
    table.sConfig.m_bSymmetric = true;
    EXPECT_TRUE(table.isSymmetric(&center));
    EXPECT_EQ(center, 3.5);
    EXPECT_TRUE(table.isSymmetric(nullptr));
}

TEST(PredefLutClasses, ExtendedOneIsScaledByEitherFlag) {
    for (const bool absolute : {false, true})
        for (const bool symmetric : {false, true}) {
            Extended table;
            table.sConfig.m_bAbsolute = absolute;
            table.sConfig.m_bSymmetric = symmetric;
            EXPECT_EQ(table.isAlreadyScaled(), absolute || symmetric);
        }
}

/// The same object called as its base, through the virtual table.
unsigned char* luts_of(Plain& table, double lo, double hi) { return table.getLuts(lo, hi); }

TEST(PredefLutClasses, CopiesShareTheTables) {
    Plain plain;
    unsigned char colors[768] = {};
    plain.sName = L"a name that is long enough to be allocated";
    plain.uiId = 5;
    plain.pColors = colors;
    plain.bSymmetric = true;
    Plain copy(plain), assigned;
    EXPECT_EQ(&(assigned = plain), &assigned);
    for (const Plain* one : {&copy, &assigned}) {
        EXPECT_EQ(one->sName, plain.sName);
        EXPECT_EQ(one->uiId, 5u);
        EXPECT_EQ(one->pColors, colors);
        EXPECT_TRUE(one->bSymmetric);
    }

    Extended extended;
    extended.sName = L"x";
    extended.uiId = 50;
    extended.bSymmetric = true;
    extended.pColors = static_cast<unsigned char*>(CQmAlloc::Alloc(8, 768, 16));
    extended.pScaled = static_cast<unsigned char*>(CQmAlloc::Alloc(8, 768, 16));
    extended.sConfig.m_dCenter = 4;
    extended.sConfig.sNodes[9] = {1.5, 0xABCDEF};
    extended.dScaledLo = 2;
    extended.dScaledHi = 3;
    Extended other(extended), another;
    EXPECT_EQ(&(another = extended), &another);
    for (Extended* one : {&other, &another}) {
        EXPECT_EQ(one->sName, extended.sName);
        EXPECT_EQ(one->uiId, 50u);
        EXPECT_TRUE(one->bSymmetric);
        EXPECT_EQ(one->pColors, extended.pColors);
        EXPECT_EQ(one->pScaled, extended.pScaled);
        EXPECT_EQ(one->sConfig.m_dCenter, 4);
        EXPECT_EQ(one->sConfig.sNodes[9].m_uiNodeColor, 0xABCDEFu);
        EXPECT_EQ(one->dScaledLo, 2);
        EXPECT_EQ(one->dScaledHi, 3);
        one->pColors = one->pScaled = nullptr;  // one owner is enough
    }
}

TEST(PredefLutClasses, ExtendedOneIsScaledToTheRange) {
    Extended table;
    unsigned char colors[768] = {};
    struct Borrowed {
        Extended& table;
        ~Borrowed() { table.pColors = nullptr; }
    } const borrowed{table};
    table.pColors = colors;
    table.sConfig = two_nodes(100, 200, true);
    // 0.0 to 0.0 is no range.
    EXPECT_EQ(luts_of(table, 0.0, 0.0), colors);
    EXPECT_EQ(luts_of(table, -0.0, 0.0), colors);
    EXPECT_EQ(table.pScaled, nullptr);

    unsigned char* const scaled = luts_of(table, 0, 200);
    ASSERT_NE(scaled, nullptr);
    EXPECT_NE(scaled, colors);
    EXPECT_EQ(scaled, table.pScaled);
    EXPECT_EQ(table.dScaledLo, 0.0);
    EXPECT_EQ(table.dScaledHi, 200.0);
    // Steps: the first colour up to the last node's entry, which no entry follows. Red stands in
    // bits 16 to 23 of the word and comes first in the table.
    for (const int i : {0, 127, 128, 255}) EXPECT_EQ(entry(scaled, i), (Rgb{0x10, 0x20, 0x30}));

    // 100 of 100 to 400 is entry 0, 200 is entry 85 (255 / 3).
    table.sConfig.sNodes[2] = {400, 0xFFFFFF};
    EXPECT_EQ(luts_of(table, 100, 400), scaled);
    EXPECT_EQ(entry(scaled, 85), (Rgb{0x10, 0x20, 0x30}));
    EXPECT_EQ(entry(scaled, 86), (Rgb{0xFF, 0xEE, 0xDD}));
    EXPECT_EQ(table.dScaledLo, 100.0);
    EXPECT_EQ(table.dScaledHi, 400.0);
    // Percents are not scaled.
    table.sConfig.m_bAbsolute = false;
    EXPECT_EQ(luts_of(table, 0, 200), colors);
    table.sConfig.m_bSymmetric = true;
    EXPECT_EQ(luts_of(table, 0, 200), scaled);
    EXPECT_EQ(table.dScaledLo, 0.0);
}

TEST(PredefLutClasses, ExtendedOneKeepsWhatIsNearEnough) {
    Extended table;
    table.sConfig = two_nodes(100, 200, true);
    // Is it made anew for this range?
    const auto makes = [&](double lo, double hi) {
        luts_of(table, 1000, 2000);
        EXPECT_EQ(table.dScaledLo, 1000);
        EXPECT_EQ(table.dScaledHi, 2000);
        unsigned char* const before = table.pScaled;
        std::memset(before, 0xAB, 768);
        EXPECT_EQ(luts_of(table, lo, hi), before);
        const bool made = before[0] != 0xAB;
        EXPECT_EQ(table.dScaledLo, made ? lo : 1000);
        EXPECT_EQ(table.dScaledHi, made ? hi : 2000);
        table.dScaledHi = 0;  // or what was written here would stay
        return made;
    };
    EXPECT_FALSE(makes(1000, 2000));
    // The range that is asked for says how near: a thousandth of it.
    EXPECT_FALSE(makes(1000, 2001));  // 1001 / 1000 is more than 1
    EXPECT_TRUE(makes(1000, 1999));   // 999 / 1000 is less
    EXPECT_FALSE(makes(999, 2000));
    EXPECT_TRUE(makes(1001, 2000));
    EXPECT_FALSE(makes(1000.5, 1999.5));
    EXPECT_TRUE(makes(1000, 2002));
    EXPECT_TRUE(makes(998, 2000));
    EXPECT_TRUE(makes(2000, 1000));  // nothing is near to a range that falls
    EXPECT_TRUE(makes(1000, 1000));
    // What is no number is near to all.
    EXPECT_FALSE(makes(kNan, 2000));
    EXPECT_FALSE(makes(1000, kNan));
    EXPECT_FALSE(makes(5000, kInfinity));
    EXPECT_FALSE(makes(-kInfinity, 9000));
}

TEST(PredefLutClasses, ExtendedOneMayHaveNoTable) {
    Extended table;
    table.sConfig = two_nodes(100, 200, true);
    EXPECT_EQ(luts_of(table, 0, 0), nullptr);
    EXPECT_EQ(luts_of(table, kNan, 1), nullptr);
    EXPECT_EQ(luts_of(table, 0, kInfinity), nullptr);
    EXPECT_EQ(luts_of(table, -kInfinity, kInfinity), nullptr);
    EXPECT_EQ(table.pScaled, nullptr);
    // No node in the range: black.
    const unsigned char* const scaled = luts_of(table, 0, 50);
    ASSERT_NE(scaled, nullptr);
    EXPECT_TRUE(std::all_of(scaled, scaled + 768, [](int c) { return c == 0; }));
}

// ----- The predefined list -----------------------------------------------------------------------

/// Names and, from 19 on, the colours at 10, 20 ... 100 percent.
struct Row {
    const wchar_t* name;
    std::vector<uint32_t> nodes = {};
};
const std::vector<Row>& list() {
    static const std::vector<Row> rows{
        {L"Default"},
        {L"Rainbow"},
        {L"Iron"},
        {L"Green Fire"},
        {L"Green Fire Blue"},
        {L"Red Fire"},
        {L"Red Hot"},
        {L"Magenta Hot"},
        {L"Brown"},
        {L"Lemon Hot"},
        {L"Yellow Pale"},
        {L"Rainbow Contrast"},
        {L"Rainbow Dark"},
        {L"Red Below Green Above"},
        {L"Red or Green"},
        {L"Altitude"},
        {L"Magenta Hotter"},
        {L"Red Hotter"},
        {L"Sunny Day"},
        {L"Altitude 2",
         {0x000000, 0x769008, 0x837E00, 0x8F6F00, 0x9C6900, 0x9C6E14, 0xB67C28, 0xC18F48, 0xD1A671,
          0xFFFFFF}},
        {L"Carribean",
         {0x000000, 0x5F025B, 0x7A0230, 0x09BB2F, 0xCD2755, 0xBA5283, 0xAD5E8E, 0xA16797, 0x6A91BC,
          0x17CAF5}},
        {L"CB-mono",
         {0x000000, 0x006E82, 0x8214A0, 0x00A0FA, 0xFA78FA, 0x14D2DC, 0x0AAA3C, 0xFF825F, 0xEAD644,
          0xFAE6FF}},
        {L"Cool",
         {0x000000, 0x013130, 0x016261, 0x166A95, 0x7B05FA, 0xAD2EA3, 0xE0613C, 0xFE9328, 0x197A2B,
          0xFEF8F2}},
        {L"Cyan Hot",
         {0x002247, 0x004692, 0x006CE0, 0x0092FF, 0x00BAFF, 0x00E1FF, 0x14FFFF, 0x5FFFFF, 0xADFFFF,
          0xF8FFFF}},
        {L"Desert",
         {0x2C2221, 0x35181C, 0x462025, 0x4C0106, 0x5D0201, 0x731900, 0x8C3C01, 0xA15C01, 0xB07300,
          0xFFC04A}},
        {L"Earth and sky",
         {0x4498D6, 0x72B6E7, 0xAAD6FB, 0xDAF0FE, 0xFBFFFF, 0xA06D00, 0x0DDA5A, 0xEABF4C, 0xEABF4C,
          0xFDF7E9}},
        {L"Edges",
         {0x000000, 0x000000, 0x000000, 0x000000, 0xCCCCCC, 0x000000, 0x000000, 0x000000, 0x000000,
          0x000000}},
        {L"Glasbey",
         {0x011901, 0x013201, 0x183518, 0x491C49, 0x7D027D, 0xAF2F4F, 0xE2621C, 0xFE942C, 0xFEC793,
          0xFEF9F6}},
        {L"ICA",
         {0xA99EFF, 0x866FFF, 0x613EFF, 0x03EFFF, 0x050019, 0x754600, 0xF99500, 0xFFB83F, 0xFFDB84,
          0xFFFCC6}},
        {L"ICA3",
         {0xF39EF3, 0xE76FE7, 0xDB3EDB, 0x0CFFCF, 0x140014, 0xFF6A05, 0xFF8F37, 0xFFB366, 0xFFD898,
          0xFFFCC8}},
        {L"ICE",
         {0x00B8A6, 0x14BFD2, 0x3B9CE5, 0x9264FA, 0xD55AF6, 0xF95DDF, 0xFA53A0, 0xFA3470, 0xFB094A,
          0xE6001B}},
        {L"Invert-Mono",
         {0xFFFFFF, 0xF0F0F0, 0xDBD9DA, 0xC2C1BF, 0xA6A2A1, 0x888481, 0x6A6562, 0x4D4844, 0x342C29,
          0x201614}},
        {L"Magenta-mid",
         {0x011618, 0x1E6C93, 0x5745B1, 0xA716DF, 0x0CDBFF, 0xB42EFF, 0x8663FF, 0x529EFF, 0x1ED5FF,
          0x00F6FF}},
        {L"Morgenstemming",
         {0x031623, 0x0C2C49, 0x32346D, 0x7C2874, 0xBF1B70, 0xEE5E4D, 0xF8BE12, 0xFDF822, 0xFEFEA5,
          0xFEFEF9}},
        {L"MPL magma",
         {0x012D33, 0x370F6C, 0x61187F, 0x892881, 0xB3357A, 0xDA4769, 0xF56C5B, 0xFD9B6A, 0xFECB8E,
          0xFBF9BB}},
        {L"mpl-viridis",
         {0x482273, 0x414186, 0x355D8C, 0x2A768E, 0x218E8C, 0x21A685, 0x40BD72, 0x74D054, 0xB7DD29,
          0xF8E621}},
        {L"Parrot",
         {0x000000, 0x003960, 0x005E93, 0x0088C4, 0x00B3F7, 0x00DD68, 0x4CE200, 0xF46900, 0xFF2626,
          0xFFF7F7}},
        {L"Pastel",
         {0xFFFC57, 0xFFEB82, 0xFFD3A6, 0xFFC1C4, 0xFFB6D9, 0xFFB3F4, 0xFFA0FE, 0xFF83FF, 0xFF71FF,
          0xFF5AFF}},
        {L"Physics",
         {0x0C0192, 0x082CAC, 0x1A74C0, 0x19BFC5, 0x18CB77, 0x35D416, 0xA9DB14, 0xDFCB13, 0xE47A11,
          0xE82910}},
        {L"Pseudocolor BtoW",
         {0x000000, 0x7887FF, 0x00A7D3, 0x0F9F78, 0x77C944, 0xDBF012, 0xFFBB00, 0xFF5700, 0xFF2020,
          0xFFEEEE}},
        {L"Smart",
         {0x131313, 0x252525, 0x383838, 0x4A4A4A, 0x5D1811, 0x077F03, 0xC72701, 0xEA8206, 0xFEDE24,
          0xFEFCF9}},
        {L"Sunny Day 2",
         {0x000000, 0x28A9BC, 0x42B2A4, 0x5EBB8E, 0x7CC373, 0x99CE5A, 0xB5D641, 0xCFDE29, 0xE6EA6D,
          0xFFFFFF}},
        {L"Sunrise",
         {0x130044, 0x5F0074, 0x9D0047, 0xD50020, 0xFE0002, 0xFF2100, 0xFF5A00, 0xFF9700, 0xFFD300,
          0xFFFA00}},
        {L"Sunset",
         {0x225371, 0x8F75A4, 0xB55887, 0xCC4071, 0xC9224E, 0x0A6E34, 0x81022D, 0x690247, 0x500279,
          0x3D049F}},
        {L"Thallium",
         {0x010101, 0x011101, 0x011901, 0x012501, 0x00B38B, 0x174D17, 0x327032, 0x66A366, 0xC7E0C7,
          0xFDFDFD}},
        {L"Union Jack",
         {0x000047, 0x000091, 0x2B2BC9, 0x8F8FE2, 0xF7F7FC, 0xE7A3A3, 0xCD3B3B, 0xC82727, 0xE28F8F,
          0xFBF3F3}},
    };
    return rows;
}

TEST(PredefinedLuts, AreMadeOnce) {
    const NoPredefLuts none;
    EXPECT_EQ(SQmLut::GetPredefLutsCount(true), 0u);
    EXPECT_EQ(SQmLut::GetPredefLutsCount(false), 0u);
    EXPECT_EQ(SQmLut::GetExtenedLutsCount(), 0u);
    EXPECT_EQ(SQmLut::FreeExtenedLuts(), QM_OK);
    Plain* const empty = SQmLut::GetPredefLut(0, true);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->pColors, nullptr);
    EXPECT_TRUE(empty->sName.IsEmpty());
    CQmStringW name(L"before");
    EXPECT_EQ(SQmLut::GetPredefLutDescr(name, 0), QM_OK);
    EXPECT_TRUE(name.IsEmpty());

    EXPECT_EQ(SQmLut::InitPredefLuts(), QM_OK);
    ASSERT_NE(SQmLut::vecPredefLuts, nullptr);
    ASSERT_NE(SQmLut::vecExtendedLuts, nullptr);
    EXPECT_EQ(SQmLut::vecPredefLuts->size(), 46u);
    EXPECT_TRUE(SQmLut::vecExtendedLuts->empty());
    const auto before = *SQmLut::vecPredefLuts;
    EXPECT_EQ(SQmLut::InitPredefLuts(), QM_OK);
    EXPECT_EQ(*SQmLut::vecPredefLuts, before);
    EXPECT_EQ(SQmLut::GetPredefLutsCount(true), 46u);

    // One pointer is not enough.
    auto* const extended = std::exchange(SQmLut::vecExtendedLuts, nullptr);
    EXPECT_EQ(SQmLut::GetPredefLut(0, true), empty);
    SQmLut::vecExtendedLuts = extended;
    auto* const predefined = std::exchange(SQmLut::vecPredefLuts, nullptr);
    EXPECT_EQ(SQmLut::GetPredefLut(0, true), empty);
    SQmLut::vecPredefLuts = predefined;

    // A list that is there and empty is filled, too; without tables there is nothing to fall back.
    predefined->clear();
    EXPECT_EQ(SQmLut::GetPredefLut(0, true), empty);
    EXPECT_EQ(SQmLut::InitPredefLuts(), QM_OK);
    EXPECT_EQ(SQmLut::vecPredefLuts, predefined);
    EXPECT_EQ(predefined->size(), 46u);
    NoPredefLuts::release(before);
}

TEST(PredefinedLuts, HaveTheirNamesAndIndexes) {
    const PredefLuts luts;
    ASSERT_EQ(list().size(), 46u);
    for (uint32_t i = 0; i < 46; ++i) {
        EXPECT_EQ(at(static_cast<int>(i))->uiId, i);
        EXPECT_EQ(name_of(static_cast<int>(i)), list()[i].name);
        EXPECT_FALSE(at(static_cast<int>(i))->bSymmetric);
        EXPECT_FALSE(at(static_cast<int>(i))->isAlreadyScaled());
        EXPECT_NE(at(static_cast<int>(i))->pColors, nullptr);
        EXPECT_EQ(at(static_cast<int>(i)), (*SQmLut::vecPredefLuts)[i]);
        CQmStringW name;
        EXPECT_EQ(SQmLut::GetPredefLutDescr(name, i), QM_OK);
        EXPECT_STREQ(name.c_str(), list()[i].name);
    }
    const std::map<SQmLut::EQmPredefLut, const wchar_t*> some{
        {SQmLut::PredefLutDefault, L"Default"},
        {SQmLut::PredefLutRainbowDark, L"Rainbow Dark"},
        {SQmLut::PredefLutSunnyDay, L"Sunny Day"},
        {SQmLut::PredefLutAltitude2, L"Altitude 2"},
        {SQmLut::PredefLutICA, L"ICA"},
        {SQmLut::PredefLutMPLViridis, L"mpl-viridis"},
        {SQmLut::PredefLutUnionJack, L"Union Jack"}};
    for (const auto& [id, name] : some) EXPECT_EQ(name_of(static_cast<int>(id)), name);
    CQmStringW name;
    EXPECT_EQ(SQmLut::GetPredefLutDescr(name, 46), QM_OK);
    EXPECT_STREQ(name.c_str(), L"Default");
    EXPECT_EQ(SQmLut::GetPredefLutDescr(name, 0xFFFFFFFF), QM_OK);  // -1
    EXPECT_TRUE(name.IsEmpty());
}

TEST(PredefinedLuts, FallBackToTheFirst) {
    const PredefLuts luts;
    EXPECT_EQ(SQmLut::GetPredefLut(46, true), at(0));
    EXPECT_EQ(SQmLut::GetPredefLut(INT32_MAX, true), at(0));
    Plain* const empty = SQmLut::GetPredefLut(46, false);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->pColors, nullptr);
    EXPECT_TRUE(empty->sName.IsEmpty());
    for (const bool fallback : {false, true})
        for (const int index : {-1, INT32_MIN})
            EXPECT_EQ(SQmLut::GetPredefLut(index, fallback), empty);
    Plain* seen[4] = {};
    std::vector<std::thread> threads;
    for (Plain*& one : seen) threads.emplace_back([&one] { one = SQmLut::GetPredefLut(-5, true); });
    for (std::thread& thread : threads) thread.join();
    for (const Plain* one : seen) EXPECT_EQ(one, empty);
}

TEST(PredefinedLuts, AreAllocatedOrReferredTo) {
    const NoPredefLuts none;
    SQmLut::InitPredefLuts();
    const auto first = *SQmLut::vecPredefLuts;
    const NoPredefLuts again;
    SQmLut::InitPredefLuts();
    const std::set<int> generated{0, 12};
    for (int i = 0; i < 46; ++i) {
        const bool constant = i < 19 && !generated.contains(i);
        EXPECT_EQ(at(i)->pColors == first[static_cast<size_t>(i)]->pColors, constant) << i;
        EXPECT_EQ(std::memcmp(at(i)->pColors, first[static_cast<size_t>(i)]->pColors, 768), 0) << i;
        if (!constant) {
            EXPECT_EQ(reinterpret_cast<uintptr_t>(at(i)->pColors) % 16, 0u);
        }
    }
}

// ----- Their colours -----------------------------------------------------------------------------

TEST(PredefinedColours, OfDefaultAreGreys) {
    const PredefLuts luts;
    for (int i = 0; i < 256; ++i) EXPECT_EQ(entry(0, i), (Rgb{i, i, i}));
}

TEST(PredefinedColours, OfRainbowDarkRiseFromBlack) {
    const PredefLuts luts;
    const Rgb twenty = entry(1, 20);
    EXPECT_EQ(entry(12, 20), twenty);
    EXPECT_EQ(entry(12, 0), (Rgb{0, 0, 0}));
    for (size_t c = 0; c < 3; ++c) EXPECT_EQ(entry(12, 10)[c], twenty[c] / 2);
    for (int k = 0; k < 20; ++k)
        for (size_t c = 0; c < 3; ++c) EXPECT_EQ(entry(12, k)[c], twenty[c] * k / 20);
    for (int k = 20; k < 256; ++k) EXPECT_EQ(entry(12, k), entry(1, k));
    EXPECT_GT(*std::max_element(twenty.begin(), twenty.end()), 200);  // there is something to dim
}

TEST(PredefinedColours, StartAndEndWhereTheirNamesTell) {
    const PredefLuts luts;
    EXPECT_EQ(entry(2, 0), (Rgb{40, 0, 0}));  // Iron
    EXPECT_EQ(entry(2, 1), (Rgb{41, 0, 0}));
    EXPECT_EQ(entry(2, 255), (Rgb{255, 255, 255}));
    const Rgb black{0, 0, 0}, white{255, 255, 255};
    for (const int dark : {3, 4, 5, 6, 7, 8, 9, 10, 16, 17}) EXPECT_EQ(entry(dark, 0), black);
    for (const int bright : {6, 7, 9, 15, 16, 17}) EXPECT_EQ(entry(bright, 255), white);
    EXPECT_EQ(entry(1, 255), (Rgb{255, 0, 0}));  // Rainbow: from violet to red
    EXPECT_EQ(entry(6, 144), (Rgb{255, 0, 0}));  // Red Hot
    EXPECT_EQ(entry(7, 144), (Rgb{255, 0, 255}));
    EXPECT_EQ(entry(16, 80), (Rgb{255, 0, 255}));  // hotter: full so much earlier
    EXPECT_EQ(entry(17, 80), (Rgb{255, 0, 0}));
}

TEST(PredefinedColours, OfRedAndGreenPartInTheMiddle) {
    const PredefLuts luts;
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(entry(14, i), i < 128 ? (Rgb{255, 0, 0}) : (Rgb{0, 255, 0}));
        const auto [red, green, blue] = entry(13, i);
        EXPECT_EQ(blue, 0);
        EXPECT_EQ(red == 0, i >= 128);
        EXPECT_EQ(green == 0, i < 128);
        EXPECT_EQ(red + green, std::max(entry(13, 255 - i)[0], entry(13, 255 - i)[1]));
    }
}

/// CIE 1976 lightness of sRGB bytes under its own white.
double lightness(const Rgb& colour) {
    double luminance = 0;
    constexpr double kWeights[] = {0.2126, 0.7152, 0.0722};
    for (size_t c = 0; c < 3; ++c) {
        const double v = colour[c] / 255.0;
        luminance += kWeights[c] * (v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4));
    }
    constexpr double kKnee = 216.0 / 24389;
    return luminance > kKnee ? 116 * std::cbrt(luminance) - 16 : luminance * 24389 / 27;
}

TEST(PredefinedColours, NeverJumpUnlessTheirNamesSaySo) {
    const PredefLuts luts;
    const std::set<int> jumping{11, 13, 14};
    for (int index = 0; index < 19; ++index) {
        int greatest = 0;
        for (int i = 1; i < 256; ++i)
            for (size_t c = 0; c < 3; ++c)
                greatest =
                    std::max(greatest, std::abs(entry(index, i)[c] - entry(index, i - 1)[c]));
        EXPECT_EQ(greatest > 12, jumping.contains(index)) << index;
    }
}

TEST(PredefinedColours, OfHeatAndOfOneHueNeverDarken) {
    EXPECT_NEAR(lightness({255, 255, 255}), 100, 1e-9);
    EXPECT_NEAR(lightness({119, 119, 119}), 50.03, 0.01);
    const PredefLuts luts;
    for (const int index : {2, 3, 4, 5, 6, 7, 8, 9, 10, 16, 17}) {
        for (int i = 1; i < 256; ++i)
            ASSERT_GE(lightness(entry(index, i)), lightness(entry(index, i - 1)))
                << index << " at " << i;
        EXPECT_GT(lightness(entry(index, 255)) - lightness(entry(index, 0)), 85) << index;
    }
}

TEST(PredefinedColours, HitTheirAnchors) {
    const PredefLuts luts;
    const auto hits = [](int index, const auto& anchors) {
        EXPECT_EQ(anchors.front().entry, 0);
        EXPECT_EQ(anchors.back().entry, 255);
        for (const Anchor& a : anchors)
            EXPECT_EQ(entry(index, a.entry), (Rgb{a.red, a.green, a.blue})) << index << a.entry;
        // Between two of them every channel is on the straight line, to half a level.
        for (size_t n = 1; n < anchors.size(); ++n) {
            const Anchor &from = anchors[n - 1], &to = anchors[n];
            for (int i = from.entry; i <= to.entry; ++i) {
                const double part = double(i - from.entry) / (to.entry - from.entry);
                const auto [red, green, blue] = entry(index, i);
                EXPECT_LE(std::fabs(from.red + part * (to.red - from.red) - red), 0.5);
                EXPECT_LE(std::fabs(from.green + part * (to.green - from.green) - green), 0.5);
                EXPECT_LE(std::fabs(from.blue + part * (to.blue - from.blue) - blue), 0.5);
            }
        }
    };
    hits(1, kRainbow);
    hits(2, kIron);
    hits(3, kGreenFire);
    hits(4, kGreenFireBlue);
    hits(5, kRedFire);
    hits(6, kRedHot);
    hits(7, kMagentaHot);
    hits(8, kBrown);
    hits(9, kLemonHot);
    hits(10, kYellowPale);
    hits(11, kRainbowContrast);
    hits(13, kRedBelowGreenAbove);
    hits(14, kRedOrGreen);
    hits(15, kAltitude);
    hits(16, kMagentaHotter);
    hits(17, kRedHotter);
    hits(18, kSunnyDay);
}

TEST(PredefinedColours, OfGradientsComeFromTheirTenNodes) {
    const PredefLuts luts;
    for (int index = 19; index < 46; ++index) {
        const std::vector<uint32_t>& nodes = list()[static_cast<size_t>(index)].nodes;
        ASSERT_EQ(nodes.size(), 10u);
        SQmGradientConfig config;
        for (size_t i = 0; i < 10; ++i)
            config.sNodes[i] = {static_cast<double>(10 * (i + 1)), nodes[i]};
        unsigned words[256] = {};
        SQmGradientConfig::GetTabColorsFromConfig(&config, words, 0.0, 100.0);
        for (int i = 0; i < 256; ++i) {
            const auto word = static_cast<int>(words[i]);
            EXPECT_EQ(entry(index, i), (Rgb{word >> 16 & 255, word >> 8 & 255, word & 255}));
        }
    }
}

TEST(PredefinedColours, OfGradientsAreFullyBrightUpToTheLast) {
    const PredefLuts luts;
    for (int index = 19; index < 46; ++index) {
        for (int i = 0; i < 255; ++i) {
            const Rgb colour = entry(index, i);
            const int brightest = *std::max_element(colour.begin(), colour.end());
            EXPECT_TRUE(brightest == 255 || brightest == 0) << index << ", " << i;
        }
        const auto last = static_cast<int>(list()[static_cast<size_t>(index)].nodes[9]);
        EXPECT_EQ(entry(index, 255), (Rgb{last >> 16, last >> 8 & 255, last & 255}));
    }
    // "Invert-Mono" does not go from white to black.
    EXPECT_EQ(entry(31, 0), (Rgb{255, 255, 255}));
    EXPECT_EQ(entry(31, 200), (Rgb{255, 239, 226}));
    EXPECT_EQ(entry(31, 254), (Rgb{255, 177, 162}));
    EXPECT_EQ(entry(31, 255), (Rgb{32, 22, 20}));
}

// ----- Extended tables ---------------------------------------------------------------------------

int insert(unsigned index, const wchar_t* name, SQmGradientConfig config) {
    return SQmLut::InsertExtenedLut(index, name, &config);
}
Extended& extended(size_t i) { return *SQmLut::vecExtendedLuts->at(i); }

TEST(ExtendedLuts, FollowThePredefinedOnes) {
    const PredefLuts luts;
    EXPECT_EQ(insert(0, L"one", two_nodes(0, 100)), QM_OK);
    EXPECT_EQ(SQmLut::GetPredefLutsCount(false), 47u);
    EXPECT_EQ(SQmLut::GetPredefLutsCount(true), 46u);
    EXPECT_EQ(SQmLut::GetExtenedLutsCount(), 1u);
    EXPECT_EQ(SQmLut::GetPredefLut(46, false), &extended(0));
    EXPECT_EQ(SQmLut::GetPredefLut(47, true), at(0));
    CQmStringW name;
    EXPECT_EQ(SQmLut::GetPredefLutDescr(name, 46), QM_OK);
    EXPECT_STREQ(name.c_str(), L"one");
    EXPECT_EQ(SQmLut::FreeExtenedLuts(), QM_OK);
    EXPECT_EQ(SQmLut::GetExtenedLutsCount(), 0u);
    EXPECT_EQ(SQmLut::GetPredefLut(46, true), at(0));
    EXPECT_NE(SQmLut::vecExtendedLuts, nullptr);
}

TEST(ExtendedLuts, MakeTheListsThemselves) {
    const NoPredefLuts none;
    EXPECT_EQ(insert(0, L"one", two_nodes(0, 100)), QM_OK);
    EXPECT_EQ(SQmLut::GetPredefLutsCount(false), 47u);
}

TEST(ExtendedLuts, AreAppendedWhateverTheIndexBeyondTheEnd) {
    const PredefLuts luts;
    EXPECT_EQ(insert(7, L"a", two_nodes(0, 50)), QM_OK);
    EXPECT_EQ(insert(0xFFFFFFFF, L"b", two_nodes(0, 50)), QM_OK);
    EXPECT_EQ(insert(2, L"c", two_nodes(0, 50)), QM_OK);
    ASSERT_EQ(SQmLut::GetExtenedLutsCount(), 3u);
    EXPECT_EQ(name_of(46), L"a");
    EXPECT_EQ(name_of(47), L"b");
    EXPECT_EQ(name_of(48), L"c");
    for (uint32_t i = 0; i < 3; ++i) {
        const Extended& table = extended(i);
        EXPECT_EQ(table.uiId, 46 + i);
        EXPECT_FALSE(table.bSymmetric);
        EXPECT_EQ(table.pScaled, nullptr);
        EXPECT_EQ(table.dScaledLo, 0.0);
        EXPECT_EQ(table.dScaledHi, 0.0);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(table.pColors) % 16, 0u);
        // 50 of 0 to 100 is entry 127; the last node is that which was added at 100.
        EXPECT_EQ(entry(table.pColors, 127), (Rgb{0x10, 0x20, 0x30}));
        EXPECT_EQ(entry(table.pColors, 128), (Rgb{0xFF, 0xEE, 0xDD}));
        EXPECT_EQ(entry(table.pColors, 255), (Rgb{0xFF, 0xEE, 0xDD}));
    }
}

TEST(ExtendedLuts, AreReplacedAtAnIndexWithin) {
    const PredefLuts luts;
    insert(0, L"a", two_nodes(0, 50, true));
    insert(1, L"b", two_nodes(0, 50));
    Extended& table = extended(0);
    unsigned char* const colors = table.pColors;
    unsigned char* const scaled = table.getLuts(0, 200);
    ASSERT_NE(scaled, nullptr);
    EXPECT_EQ(table.dScaledHi, 200);

    SQmGradientConfig config = two_nodes(0, 25, true, true);
    config.m_sName = L"a name of its own";
    config.m_dCenter = 12;
    EXPECT_EQ(SQmLut::InsertExtenedLut(0, L"another", &config), QM_OK);
    EXPECT_EQ(SQmLut::GetExtenedLutsCount(), 2u);
    EXPECT_EQ(&extended(0), &table);
    EXPECT_EQ(table.pColors, colors);
    EXPECT_EQ(table.uiId, 46u);
    EXPECT_STREQ(table.sName.c_str(), L"another");
    EXPECT_EQ(table.sConfig.m_sName, config.m_sName);
    EXPECT_EQ(table.sConfig.m_dCenter, 12);
    EXPECT_EQ(table.sConfig.sNodes[1].m_dNodeVal, 25);
    EXPECT_TRUE(table.sConfig.m_bAbsolute && table.sConfig.m_bSymmetric);
    EXPECT_EQ(entry(colors, 63), (Rgb{0x10, 0x20, 0x30}));  // 25 is entry 63
    EXPECT_EQ(entry(colors, 64), (Rgb{0xFF, 0xEE, 0xDD}));
    // The scaled table is there still, for no range.
    EXPECT_EQ(table.pScaled, scaled);
    EXPECT_EQ(table.dScaledLo, 0.0);
    EXPECT_EQ(table.dScaledHi, 0.0);
    EXPECT_EQ(table.getLuts(0, 200), scaled);
    EXPECT_EQ(table.dScaledHi, 200);
    EXPECT_STREQ(extended(1).sName.c_str(), L"b");

    // A table may be given its own configuration.
    EXPECT_EQ(SQmLut::InsertExtenedLut(0, table.sName.c_str(), &table.sConfig), QM_OK);
    EXPECT_STREQ(table.sName.c_str(), L"another");
    EXPECT_EQ(table.sConfig.m_sName, config.m_sName);
}

TEST(ExtendedLuts, AreBlackWithoutNodesWithin) {
    const PredefLuts luts;
    insert(0, L"empty", SQmGradientConfig());
    insert(1, L"above", two_nodes(1000, 2000, true));
    for (const size_t i : {size_t{0}, size_t{1}})
        for (int k = 0; k < 256; ++k) EXPECT_EQ(entry(extended(i).pColors, k), (Rgb{0, 0, 0}));
}

TEST(ExtendedLuts, AreNotMadeOfNothing) {
    const PredefLuts luts;
    SQmGradientConfig config = two_nodes(0, 100);
    EXPECT_EQ(SQmLut::InsertExtenedLut(0, L"a", nullptr), QM_OK);
    EXPECT_EQ(SQmLut::InsertExtenedLut(0, nullptr, &config), QM_OK);
    EXPECT_EQ(SQmLut::GetExtenedLutsCount(), 0u);
}

TEST(ExtendedLuts, AreDestroyedAsWhatTheyAre) {
    const PredefLuts luts;
    static int destroyed;
    destroyed = 0;
    struct Own : Extended {
        ~Own() override { ++destroyed; }
    };
    SQmLut::vecExtendedLuts->push_back(new Own);
    SQmLut::vecExtendedLuts->push_back(new Own);
    EXPECT_EQ(SQmLut::FreeExtenedLuts(), QM_OK);
    EXPECT_EQ(destroyed, 2);
}

// ----- The custom table --------------------------------------------------------------------------

TEST(CustomLut, IsAGreyRampUntilItIsSet) {
    unsigned char before[768], colors[768], seen[768];
    CQmPredefLUTs::GetCustomLUTs(before);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(entry(before, i), (Rgb{i, i, i}));
    for (int i = 0; i < 768; ++i) colors[i] = static_cast<unsigned char>(i * 7 + i / 256);
    SQmLut::SetCustomLut(colors);
    CQmPredefLUTs::GetCustomLUTs(seen);
    EXPECT_EQ(std::memcmp(seen, colors, 768), 0);
    colors[5] ^= 1;  // it was copied
    CQmPredefLUTs::GetCustomLUTs(seen);
    EXPECT_NE(seen[5], colors[5]);
    SQmLut::SetCustomLut(nullptr);
    CQmPredefLUTs::GetCustomLUTs(nullptr);
    colors[5] ^= 1;
    CQmPredefLUTs::GetCustomLUTs(seen);
    EXPECT_EQ(std::memcmp(seen, colors, 768), 0);
    SQmLut::SetCustomLut(before);
}

}  // namespace
}  // namespace qmpic::test
