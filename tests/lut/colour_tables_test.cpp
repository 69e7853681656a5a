#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "lut/sets.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/levels.h"

namespace qmpic::test {
namespace {

const bool registered = add_cases(
    {}, {},
    {"SQmLut::CreateColorTable", "SQmLut::CreateColorTableEx", "SQmLut::CreateMultiColorTable",
     "SQmLut::CreateMultiColorTableEx", "SQmLut::CreateComposedTable"});

class ColourTables : public testing::TestWithParam<Level> {};
INSTANTIATE_TEST_SUITE_P(Levels, ColourTables, testing::ValuesIn(levels()),
                         [](const auto& tested) { return std::string(name_of(tested.param)); });

uint32_t byte_of(uint32_t reference, uint32_t index) { return reference >> (8 * index) & 255; }
uint32_t bits_of(Random& random) { return random(0, 9) ? random(1, 9) : random(10, 16); }
uint32_t any_colour(Random& random) {
    return random(0, 2) ? random.any() : random.one_of({0u, 0xFFFFFFu, 0xFFFFFFFFu, 255u});
}
std::vector<unsigned> any_colours(Random& random, uint32_t count) {
    std::vector<unsigned> colors(count);
    for (unsigned& color : colors) color = any_colour(random);
    return colors;
}
/// Depths of a cell: bytes and words.
uint32_t any_depth(Random& random) { return random(1, 16); }

// ----- One colour --------------------------------------------------------------------------------

TEST_P(ColourTables, OfOneColourHaveItsLowByteFirst) {
    const ForcedLevel forced(GetParam());
    Random random(30);
    for (uint32_t bits = 1; bits <= 16; ++bits)
        for (const uint32_t color : {any_colour(random), 0xFF8001u}) {
            Set made(bits, 1, random(1, 8), 3), expected(bits, 1, made.ucDstBpc, 3);
            made.scramble(random);
            expected.for_each_cell([&](uint32_t c, uint32_t i, uint32_t k) {
                expected.set(c, i, k, i * byte_of(color, k) / (made.entries() - 1));
            });
            ASSERT_EQ(SQmLut::CreateColorTable(made, color), QM_OK);
            ASSERT_EQ(made.content(), expected.content()) << bits << ' ' << color;
        }
}

TEST(ColorTable, AndItsSiblingHaveRedAndBlueTheOtherWayRound) {
    Set plain(8, 1, 8, 3), mapped(8, 1, 8, 3), identity(8, 1, 8, 1);
    ASSERT_EQ(SQmLut::CreateLinearTable(identity, 0, 0, 0, 255, 255), QM_OK);
    ASSERT_EQ(SQmLut::CreateColorTable(plain, 0x0000FF), QM_OK);
    ASSERT_EQ(SQmLut::CreateColorTableEx(mapped, 0x0000FF, &identity, false, 0, false, 0), QM_OK);
    for (uint32_t i = 0; i < 256; ++i)
        for (uint32_t k = 0; k < 3; ++k) {
            EXPECT_EQ(plain.get(0, i, k), k == 0 ? i : 0);
            EXPECT_EQ(mapped.get(0, i, k), k == 2 ? i : 0);
        }
}

// Bytes are not scaled: half of 255 in four bits.
TEST(ColorTable, IsNotScaledToFewerBits) {
    Set set(1, 1, 4, 3);
    ASSERT_EQ(SQmLut::CreateColorTable(set, 0x0102FF), QM_OK);
    EXPECT_EQ(set.content(), (std::vector<uint32_t>{0, 0, 0, 255, 2, 1}));
}

TEST(ColorTable, OfOneEntryIsZero) {
    Random random(1);
    Set set(0, 1, 8, 3);
    set.scramble(random);
    ASSERT_EQ(SQmLut::CreateColorTable(set, 0xFFFFFF), QM_OK);
    EXPECT_EQ(set.content(), std::vector<uint32_t>(3));
}

TEST(ColorTable, NeedsOneComponentOfThreeBytes) {
    Random random(2);
    SQmLut none;
    EXPECT_EQ(SQmLut::CreateColorTable(none, 1), QM_REJECTED);
    Set flat(4, 1, 8, 1), several(4, 2, 8, 3), wide(4, 1, 9, 3), four(4, 1, 8, 4),
        empty(4, 1, 0, 3);
    for (Set* set : {&flat, &several, &wide, &four}) {
        set->scramble(random);
        const auto before = set->content();
        EXPECT_EQ(SQmLut::CreateColorTable(*set, 0xFFFFFF), QM_REJECTED);
        EXPECT_EQ(set->content(), before);
    }
    EXPECT_EQ(SQmLut::CreateColorTable(empty, 0xFFFFFF), QM_OK);
}

TEST(ColorTable, OfMoreThan16BitsIsAsLongAsTheSetIs) {
    Set set;
    Set::share(set, 17, 1, 8, 3);
    ASSERT_EQ(SQmLut::CreateColorTable(set, 0x0000FF), QM_OK);
    EXPECT_EQ(set.get(0, 131071, 0), 255u);
    EXPECT_EQ(set.get(0, 131070, 0), 254u);
    EXPECT_EQ(set.get(0, 65536, 0), 127u);
    Set words;
    Set::share(words, 17, 1, 16, 3);
    unsigned white = 0xFFFFFF;
    ASSERT_EQ(SQmLut::CreateMultiColorTable(words, &white, 1), QM_OK);
    EXPECT_EQ(words.get(0, 65537, 0), 32768u);  // 65535 * 65537 is 2^32 - 1
    EXPECT_EQ(words.get(0, 65538, 0), 0u);      // and 65534 more has wrapped
}

// ----- One colour of values ----------------------------------------------------------------------

struct Marked {
    bool over, under;
    uint32_t over_color, under_color;
};
Marked any_marks(Random& random) {
    return {random(0, 1) == 1, random(0, 1) == 1, any_colour(random), any_colour(random)};
}

TEST_P(ColourTables, OfValuesAreMarkedOrScaled) {
    const ForcedLevel forced(GetParam());
    Random random(31);
    for (int round = 0; round < 150; ++round) {
        const uint32_t bits = bits_of(random), color = any_colour(random);
        const uint32_t cells = random(0, 1) ? 1 : 3;
        const Marked m = any_marks(random);
        Set made(bits, 1, 8, 3), expected(bits, 1, 8, 3), src(bits, 1, bits, cells);
        made.scramble(random);
        random(0, 9) ? src.fill(random) : src.scramble(random);
        const uint32_t top = made.entries() - 1;
        for (uint32_t i = 0; i < made.entries(); ++i) {
            bool is_top = false, is_zero = false;
            for (uint32_t k = 0; k < cells; ++k) {
                is_top |= src.get(0, i, k) == top;
                is_zero |= src.get(0, i, k) == 0;
            }
            for (uint32_t k = 0; k < 3; ++k) {
                const uint32_t s = src.get(0, i, cells == 1 ? 0 : k);
                expected.set(0, i, k,
                             m.over && is_top     ? byte_of(m.over_color, 2 - k)
                             : m.under && is_zero ? byte_of(m.under_color, 2 - k)
                                                  : uint64_t{s} * byte_of(color, 2 - k) / top);
            }
        }
        ASSERT_EQ(SQmLut::CreateColorTableEx(made, color, &src, m.over, m.over_color, m.under,
                                             m.under_color),
                  QM_OK);
        ASSERT_EQ(made.content(), expected.content()) << bits << " bits, " << cells << " cells";
    }
}

TEST(ColorTableEx, MarksARowByAnyOfItsCells) {
    Set set(8, 1, 8, 3), src(8, 1, 8, 3);
    src.set(0, 1, 0, 255), src.set(0, 1, 1, 1), src.set(0, 1, 2, 0);  // top and 0
    src.set(0, 2, 0, 51), src.set(0, 2, 1, 51), src.set(0, 2, 2, 0);
    src.set(0, 3, 0, 51), src.set(0, 3, 1, 102), src.set(0, 3, 2, 153);
    const auto rows = [&] {
        const auto all = set.content();
        return std::vector<uint32_t>(all.begin() + 3, all.begin() + 12);
    };
    ASSERT_EQ(SQmLut::CreateColorTableEx(set, 0x0AFF64, &src, true, 0x010203, true, 0x040506),
              QM_OK);
    EXPECT_EQ(rows(), (std::vector<uint32_t>{1, 2, 3, 4, 5, 6, 2, 102, 60}));
    ASSERT_EQ(SQmLut::CreateColorTableEx(set, 0x0AFF64, &src, false, 0x010203, true, 0x040506),
              QM_OK);
    EXPECT_EQ(rows(), (std::vector<uint32_t>{4, 5, 6, 4, 5, 6, 2, 102, 60}));
    ASSERT_EQ(SQmLut::CreateColorTableEx(set, 0x0AFF64, &src, false, 0x010203, false, 0x040506),
              QM_OK);
    EXPECT_EQ(rows(), (std::vector<uint32_t>{10, 1, 0, 2, 51, 0, 2, 102, 60}));
}

TEST(ColorTableEx, WithoutValuesIsThePlainOne) {
    Set made(8, 1, 8, 3), expected(8, 1, 8, 3);
    ASSERT_EQ(SQmLut::CreateColorTable(expected, 0x123456), QM_OK);
    ASSERT_EQ(SQmLut::CreateColorTableEx(made, 0x123456, nullptr, true, 1, true, 2), QM_OK);
    EXPECT_EQ(made.content(), expected.content());
    Set few(8, 1, 7, 3), flat(8, 1, 8, 1);
    EXPECT_EQ(SQmLut::CreateColorTableEx(few, 0x123456, nullptr, true, 1, true, 2), QM_OK);
    EXPECT_EQ(SQmLut::CreateColorTableEx(flat, 0x123456, nullptr, true, 1, true, 2), QM_REJECTED);
}

TEST(ColorTableEx, RefusesOtherShapes) {
    Random random(4);
    Set fine(8, 1, 8, 3), values(8, 1, 8, 1);
    SQmLut none;
    Set few(8, 1, 7, 3), flat(8, 1, 8, 1), several(8, 3, 8, 3), wide(8, 1, 9, 3), four(8, 1, 8, 4);
    for (SQmLut* set : std::initializer_list<SQmLut*>{&none, &few, &flat, &several, &wide, &four})
        EXPECT_EQ(SQmLut::CreateColorTableEx(*set, 1, &values, true, 0, true, 0), QM_REJECTED);
    Set long_one;
    Set::share(long_one, 17, 1, 8, 3);
    Set long_values;
    Set::share(long_values, 17, 1, 17, 1);
    EXPECT_EQ(SQmLut::CreateColorTableEx(long_one, 1, &long_values, true, 0, true, 0), QM_REJECTED);
    fine.scramble(random);
    const auto before = fine.content();
    Set two(8, 1, 8, 2), short_one(7, 1, 7, 1), words(8, 1, 9, 1), many(8, 3, 8, 1);
    for (SQmLut* src : std::initializer_list<SQmLut*>{&none, &two, &short_one, &words, &many})
        EXPECT_EQ(SQmLut::CreateColorTableEx(fine, 1, src, true, 0, true, 0), QM_REJECTED);
    EXPECT_EQ(fine.content(), before);
}

// ----- Several colours ---------------------------------------------------------------------------

uint32_t scaled(const Set& set, uint32_t reference, uint32_t cell) {
    const uint32_t byte = byte_of(reference, 2 - cell);
    return set.ucDstBpc > 8 ? byte * set.top() / 255 : byte;
}

TEST_P(ColourTables, OfSeveralColoursAreRamps) {
    const ForcedLevel forced(GetParam());
    Random random(32);
    for (int round = 0; round < 150; ++round) {
        const uint32_t bits = bits_of(random), count = random(1, 5);
        Set made(bits, count, any_depth(random), 3), expected(bits, count, made.ucDstBpc, 3);
        made.scramble(random);
        auto colors = any_colours(random, count);
        expected.for_each_cell([&](uint32_t k, uint32_t i, uint32_t c) {
            expected.set(k, i, c, scaled(made, colors[k], c) * i / (made.entries() - 1));
        });
        ASSERT_EQ(SQmLut::CreateMultiColorTable(made, colors.data(), static_cast<uint8_t>(count)),
                  QM_OK);
        ASSERT_EQ(made.content(), expected.content()) << bits << " to " << int{made.ucDstBpc};
    }
}

TEST_P(ColourTables, OfSeveralColoursAndValues) {
    const ForcedLevel forced(GetParam());
    Random random(33);
    for (int round = 0; round < 150; ++round) {
        const uint32_t bits = bits_of(random), count = random(1, 5);
        const Marked m = any_marks(random);
        Set made(bits, count, any_depth(random), 3), expected(bits, count, made.ucDstBpc, 3);
        Set src(bits, 1, bits, count);
        made.scramble(random);
        random(0, 9) ? src.fill(random) : src.scramble(random);
        auto colors = any_colours(random, count);
        const uint32_t top = made.entries() - 1;
        expected.for_each_cell([&](uint32_t k, uint32_t i, uint32_t c) {
            const uint32_t s = src.get(0, i, k), colour = scaled(made, colors[k], c);
            if (made.ucDstBpc > 8)
                expected.set(k, i, c,
                             static_cast<uint64_t>(int64_t{static_cast<int32_t>(s * colour)} /
                                                   int64_t{made.top()}));
            else
                expected.set(k, i, c,
                             m.over && s == top  ? byte_of(m.over_color, 2 - c)
                             : m.under && s == 0 ? byte_of(m.under_color, 2 - c)
                                                 : s * colour / top);
        });
        ASSERT_EQ(
            SQmLut::CreateMultiColorTableEx(made, colors.data(), static_cast<uint8_t>(count), &src,
                                            m.over, m.over_color, m.under, m.under_color),
            QM_OK);
        ASSERT_EQ(made.content(), expected.content())
            << bits << " to " << int{made.ucDstBpc} << ", " << count;
    }
}

TEST(MultiColorTable, ScalesBytesToWordsAndNotToFewerBits) {
    unsigned colors[] = {0x80FF01};
    Set words(1, 1, 12, 3), four(1, 1, 4, 3);
    ASSERT_EQ(SQmLut::CreateMultiColorTable(words, colors, 1), QM_OK);
    EXPECT_EQ(words.content(), (std::vector<uint32_t>{0, 0, 0, 2055, 4095, 16}));
    ASSERT_EQ(SQmLut::CreateMultiColorTable(four, colors, 1), QM_OK);
    EXPECT_EQ(four.content(), (std::vector<uint32_t>{0, 0, 0, 128, 255, 1}));
}

// 65535 * 65535 is 0xFFFE0001: unsigned here, and there -131071, which is -2 times 65535 and -1.
TEST(MultiColorTable, IsUnsignedAndItsSiblingWrapsInSigned32Bits) {
    unsigned white = 0xFFFFFF;
    Set plain(16, 1, 16, 3), mapped(16, 1, 16, 3), src(16, 1, 16, 1);
    ASSERT_EQ(SQmLut::CreateLinearTable(src, 0, 0, 0, 65535, 65535), QM_OK);
    ASSERT_EQ(SQmLut::CreateMultiColorTable(plain, &white, 1), QM_OK);
    ASSERT_EQ(SQmLut::CreateMultiColorTableEx(mapped, &white, 1, &src, false, 0, false, 0), QM_OK);
    EXPECT_EQ(plain.get(0, 65535, 1), 65535u);
    EXPECT_EQ(mapped.get(0, 65535, 1), 65534u);  // -2
    EXPECT_EQ(mapped.get(0, 32768, 1), 32768u);  // 0x7FFF8000
    EXPECT_EQ(mapped.get(0, 32769, 1), 32768u);  // 0x80007FFF is -32768 times 65535 and -1
}

TEST(MultiColorTableEx, DividesWordsByTheTopOfTheDestination) {
    unsigned white = 0xFFFFFF;
    Set set(8, 1, 12, 3), src(8, 1, 8, 1);
    src.set(0, 7, 0, 255), src.set(0, 8, 0, 100);
    ASSERT_EQ(SQmLut::CreateMultiColorTableEx(set, &white, 1, &src, true, 1, true, 1), QM_OK);
    EXPECT_EQ(set.get(0, 7, 0), 255u);  // 255 * 4095 / 4095, and no mark
    EXPECT_EQ(set.get(0, 8, 0), 100u);
    EXPECT_EQ(set.get(0, 9, 0), 0u);
}

TEST(MultiColorTableEx, MarksEachComponentByItsOwnValue) {
    unsigned colors[] = {0x0000FF, 0x00FF00};
    Set set(8, 2, 8, 3), src(8, 1, 8, 2);
    src.set(0, 5, 0, 255), src.set(0, 5, 1, 0);
    ASSERT_EQ(SQmLut::CreateMultiColorTableEx(set, colors, 2, &src, true, 0x010203, true, 0x040506),
              QM_OK);
    EXPECT_EQ(set.get(0, 5, 0), 1u);
    EXPECT_EQ(set.get(0, 5, 2), 3u);
    EXPECT_EQ(set.get(1, 5, 0), 4u);
    EXPECT_EQ(set.get(1, 5, 2), 6u);
}

TEST(MultiColorTableEx, WithoutValuesIsThePlainOne) {
    unsigned colors[] = {0x123456, 0xFFFFFF};
    Set made(8, 2, 8, 3), expected(8, 2, 8, 3);
    ASSERT_EQ(SQmLut::CreateMultiColorTable(expected, colors, 2), QM_OK);
    ASSERT_EQ(SQmLut::CreateMultiColorTableEx(made, colors, 2, nullptr, true, 1, true, 1), QM_OK);
    EXPECT_EQ(made.content(), expected.content());
}

TEST(MultiColorTable, OfASharedSetIsThatOfTheLastComponent) {
    unsigned colors[] = {0x0000FF, 0x00FF00};
    Set set;
    Set::share(set, 8, 2, 8, 3);
    ASSERT_EQ(SQmLut::CreateMultiColorTable(set, colors, 2), QM_OK);
    for (uint32_t k = 0; k < 2; ++k) {
        EXPECT_EQ(set.get(k, 255, 0), 0u);
        EXPECT_EQ(set.get(k, 255, 1), 255u);
        EXPECT_EQ(set.get(k, 255, 2), 0u);
    }
}

TEST(MultiColorTable, OfOneEntryIsZero) {
    Random random(5);
    unsigned colors[] = {0xFFFFFF, 0xFFFFFF};
    Set set(0, 2, 16, 3);
    set.scramble(random);
    ASSERT_EQ(SQmLut::CreateMultiColorTable(set, colors, 2), QM_OK);
    EXPECT_EQ(set.content(), std::vector<uint32_t>(6));
}

TEST(MultiColorTable, RefusesOtherShapes) {
    Random random(6);
    unsigned colors[] = {0xFFFFFF, 0xFFFFFF, 0xFFFFFF};
    Set fine(8, 3, 8, 3), src(8, 1, 8, 3), cells(8, 3, 8, 1), wide(8, 3, 17, 3);
    SQmLut none;
    fine.scramble(random);
    const auto before = fine.content();
    const auto both = [&](SQmLut& lut, unsigned* c, uint8_t count) {
        EXPECT_EQ(SQmLut::CreateMultiColorTable(lut, c, count), QM_REJECTED);
        EXPECT_EQ(SQmLut::CreateMultiColorTableEx(lut, c, count, &src, true, 0, true, 0),
                  QM_REJECTED);
    };
    both(fine, colors, 2);
    both(fine, nullptr, 3);
    both(none, colors, 0);
    both(cells, colors, 3);
    both(wide, colors, 3);
    const auto with = [&](SQmLut& values) {
        return SQmLut::CreateMultiColorTableEx(fine, colors, 3, &values, true, 0, true, 0);
    };
    Set other(7, 1, 8, 3), shallow(8, 1, 7, 3), two(8, 1, 8, 2), many(8, 3, 8, 3);
    for (SQmLut* values : std::initializer_list<SQmLut*>{&none, &other, &shallow, &two, &many})
        EXPECT_EQ(with(*values), QM_REJECTED);
    EXPECT_EQ(fine.content(), before);
}

TEST(MultiColorTableEx, OfMoreThan16SourceBitsDoesNothing) {
    unsigned white = 0xFFFFFF;
    Set set, src;
    Set::share(set, 17, 1, 8, 3);
    Set::share(src, 17, 1, 17, 1);
    EXPECT_EQ(SQmLut::CreateMultiColorTableEx(set, &white, 1, &src, true, 0xFFFFFF, true, 0xFFFFFF),
              QM_OK);
    EXPECT_EQ(set.content(), std::vector<uint32_t>(3 * 131072));
}

TEST(MultiColorTable, ThrowsWithoutMemoryAndLeavesTheSet) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    Random random(7);
    std::vector<unsigned> colors(3, 0xFFFFFF);
    Set set(8, 3, 8, 3), src(8, 1, 8, 3);
    set.scramble(random);
    for (SQmLut* const values : {static_cast<SQmLut*>(nullptr), static_cast<SQmLut*>(&src)}) {
        const auto before = set.content();
        const auto outcome = with_failing(1, FailingAlloc::kOnce, [&] {
            return SQmLut::CreateMultiColorTableEx(set, colors.data(), 3, values, false, 0, false,
                                                   0);
        });
        EXPECT_TRUE(outcome.threw);
        EXPECT_EQ(outcome.live, 0);
        EXPECT_EQ(set.content(), before);
    }
}

// ----- Tables of tables --------------------------------------------------------------------------

TEST(ComposedTable, IsTheOuterTableAtTheInnerValues) {
    Random random(34);
    for (int round = 0; round < 150; ++round) {
        const uint32_t src = bits_of(random), dst = any_depth(random), cells = random(1, 4);
        const uint32_t components = random(0, 1) ? 1 : random(2, 5);
        Set made(src, components, dst, cells), expected(src, components, dst, cells);
        Set outer(src, components, dst, cells);
        outer.scramble(random);
        made.scramble(random);
        // One cell for all, a cell for each cell, or a cell for each component.
        const uint32_t kind = random(0, 2);
        const uint32_t inner_cells = kind == 0   ? 1
                                     : kind == 1 ? std::max(2u, cells + random(0, 1))
                                                 : components;
        Set inner(src, kind == 1 ? components : 1, src, std::max(inner_cells, 1u));
        if (kind == 2 && components == 1) continue;
        random(0, 3) ? inner.fill(random) : inner.scramble(random);
        expected.for_each_cell([&](uint32_t k, uint32_t i, uint32_t c) {
            const uint32_t index = kind == 0   ? inner.get(0, i, 0)
                                   : kind == 1 ? inner.get(k, i, c)
                                               : inner.get(0, i, k);
            expected.set(k, i, c, outer.get(k, std::min(index, outer.entries() - 1), c));
        });
        ASSERT_EQ(SQmLut::CreateComposedTable(made, outer, inner), QM_OK);
        ASSERT_EQ(made.content(), expected.content())
            << src << " to " << dst << ", " << components << " x " << cells << ", kind " << kind;
    }
}

TEST(ComposedTable, TakesMaskAndFirstExposureColoursOfTheOuter) {
    Set lut(8, 1, 8, 3), outer(8, 1, 8, 3), inner(8, 1, 8, 1);
    ASSERT_EQ(SQmLut::CreateLinearTable(inner, 0, 0, 0, 255, 255), QM_OK);
    ASSERT_EQ(SQmLut::CreateColorTable(outer, 0x102030), QM_OK);
    outer.rmComponents = CQmRangeMask(5, 1, 3, 1);
    unsigned over[5] = {0x01020304, 0x05060708, 1, 1, 1}, under[5] = {0xA1B2C3D4, 1, 1, 1, 1};
    ASSERT_EQ(SQmLut::SetOverExpColor(outer, over), QM_OK);
    ASSERT_EQ(SQmLut::SetUnderExpColor(outer, under), QM_OK);
    ASSERT_EQ(SQmLut::CreateComposedTable(lut, outer, inner), QM_OK);
    EXPECT_EQ(lut.content(), outer.content());
    EXPECT_EQ(lut.rmComponents, outer.rmComponents);
    const auto* const first = static_cast<const uint8_t*>(lut.pOverExpColor);
    EXPECT_EQ((std::vector<uint8_t>(first, first + 8)),
              (std::vector<uint8_t>{2, 3, 4, 1, 0, 0, 0, 0}));
    EXPECT_EQ(std::memcmp(lut.pUnderExpColor, outer.pUnderExpColor, 4), 0);
    // None are handed on as well.
    ASSERT_EQ(SQmLut::SetOverExpColor(outer, nullptr), QM_OK);
    ASSERT_EQ(SQmLut::CreateComposedTable(lut, outer, inner), QM_OK);
    EXPECT_EQ(lut.pOverExpColor, nullptr);
    EXPECT_NE(lut.pUnderExpColor, nullptr);
}

TEST(ComposedTable, RefusesSetsThatDoNotMatch) {
    Random random(8);
    Set lut(8, 3, 8, 3), outer(8, 3, 8, 3), inner(8, 1, 8, 1);
    lut.scramble(random);
    outer.rmComponents = CQmRangeMask(5, 1, 3, 1);
    const auto before = lut.content();
    const CQmRangeMask mask = lut.rmComponents;
    SQmLut none;
    Set components(8, 2, 8, 3), cells(8, 3, 8, 1), src(7, 3, 8, 3), dst(8, 3, 9, 3);
    for (SQmLut* other : std::initializer_list<SQmLut*>{&none, &components, &cells, &src, &dst}) {
        EXPECT_EQ(SQmLut::CreateComposedTable(lut, *other, inner), QM_REJECTED);
        EXPECT_EQ(SQmLut::CreateComposedTable(*other, outer, inner), QM_REJECTED);
    }
    Set shallow(8, 1, 7, 1), shorter(7, 1, 8, 1);
    for (SQmLut* other : std::initializer_list<SQmLut*>{&none, &shallow, &shorter})
        EXPECT_EQ(SQmLut::CreateComposedTable(lut, outer, *other), QM_REJECTED);
    EXPECT_EQ(lut.rmComponents, mask);
    EXPECT_EQ(lut.content(), before);
}

// The mask is there before the cells of the inner set are looked at.
TEST(ComposedTable, RefusesInnerCellsThatAreNoneForTheOuter) {
    Random random(9);
    for (const auto& [components, cells] : {std::pair{2, 1}, {1, 2}, {1, 4}, {2, 3}, {3, 2}}) {
        Set lut(8, 3, 8, 3), outer(8, 3, 8, 3);
        Set inner(8, static_cast<uint32_t>(components), 8, static_cast<uint32_t>(cells));
        lut.scramble(random);
        outer.rmComponents = CQmRangeMask(5, 1, 3, 1);
        const auto before = lut.content();
        EXPECT_EQ(SQmLut::CreateComposedTable(lut, outer, inner), QM_REJECTED)
            << components << ' ' << cells;
        EXPECT_EQ(lut.content(), before);
        EXPECT_EQ(lut.rmComponents, outer.rmComponents);
    }
    Set lut(8, 1, 8, 3), outer(8, 1, 8, 3), two(8, 1, 8, 2);
    EXPECT_EQ(SQmLut::CreateComposedTable(lut, outer, two), QM_REJECTED);
}

TEST(ComposedTable, OfMoreThan16BitsIsRefusedOrLeft) {
    Set lut(8, 1, 17, 1), outer(8, 1, 17, 1), inner(8, 1, 8, 1);
    EXPECT_EQ(SQmLut::CreateComposedTable(lut, outer, inner), QM_NO_KERNEL);
    Set long_lut, long_outer, long_inner;
    Set::share(long_lut, 17, 1, 8, 3);
    Set::share(long_outer, 17, 1, 8, 3);
    Set::share(long_inner, 17, 1, 17, 1);
    ASSERT_EQ(SQmLut::CreateColorTable(long_outer, 0xFFFFFF), QM_OK);
    EXPECT_EQ(SQmLut::CreateComposedTable(long_lut, long_outer, long_inner), QM_OK);
    EXPECT_EQ(long_lut.content(), std::vector<uint32_t>(3 * 131072));
}

}  // namespace
}  // namespace qmpic::test
