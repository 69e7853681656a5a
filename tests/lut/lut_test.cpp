#include "qmpic/Lut.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "qmpic/status.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/guarded_picture.h"

namespace qmpic::test {
namespace {

const bool registered = add_cases(
    {}, {},
    {"SQmLut::SQmLut", "SQmLut::~SQmLut", "SQmLut::operator=", "SQmLut::Alloc",
     "SQmLut::AllocColor", "SQmLut::AllocSingle", "SQmLut::CustomSpectralLutAlloc",
     "SQmLut::check_luts", "SQmLut::check_luts_spectral_ex", "SQmLut::Copy", "SQmLut::Free",
     "SQmLut::ReinitParametric", "SQmLut::FreeParametric", "SQmLut::SetOverExpColor",
     "SQmLut::SetUnderExpColor", "SQmLut::SetOverExpColorArr", "SQmLut::SetUnderExpColorArr",
     "SQmLut::SetOverExpValue", "SQmLut::SQmParam::operator="});

// ----- What a user sees of a set -----------------------------------------------------------------

using Byte = uint8_t;
Byte* flat(const SQmLut& lut) { return static_cast<Byte*>(lut.pLuts); }
Byte** rows(const SQmLut& lut) { return static_cast<Byte**>(lut.pLuts); }
Byte*** root(const SQmLut& lut) { return static_cast<Byte***>(lut.pLuts); }

size_t width_of_cell(const SQmLut& lut) {
    size_t bytes = 0;
    for (int bits = lut.ucDstBpc; bits > 0; bits -= 8) ++bytes;
    return bytes;
}
size_t entries(const SQmLut& lut) { return size_t{1} << lut.ucSrcBpc; }

/// The bytes of a row as a renderer reaches them.
Byte* row(const SQmLut& lut, size_t component, size_t value) {
    if (lut.ucComponents > 1) return root(lut)[component][value];
    if (lut.ucDstComponents != 1) return rows(lut)[value];
    return flat(lut) + value * width_of_cell(lut);
}
size_t row_size(const SQmLut& lut) { return width_of_cell(lut) * lut.ucDstComponents; }

std::vector<Byte> content(const SQmLut& lut) {
    std::vector<Byte> all;
    for (size_t c = 0; c < lut.ucComponents; ++c)
        for (size_t v = 0; v < entries(lut); ++v)
            all.insert(all.end(), row(lut, c, v), row(lut, c, v) + row_size(lut));
    return all;
}
void fill_with(SQmLut& lut, unsigned seed) {
    for (size_t c = 0; c < lut.ucComponents; ++c)
        for (size_t v = 0; v < entries(lut); ++v)
            for (size_t i = 0; i < row_size(lut); ++i)
                row(lut, c, v)[i] = static_cast<Byte>(seed + 31 * c + 7 * v + i + 1);
}
bool is_zero(const SQmLut& lut) {
    const auto bytes = content(lut);
    return bytes == std::vector<Byte>(bytes.size());
}

using Shape = std::array<int, 4>;
Shape shape_of(const SQmLut& lut) {
    return {lut.ucSrcBpc, lut.ucComponents, lut.ucDstBpc, lut.ucDstComponents};
}

const CQmRangeMask kFull(192, 0, 191, 1);

std::vector<unsigned> references(unsigned first, unsigned others = 0) {
    std::vector<unsigned> colors(192, others);
    colors[0] = first;
    return colors;
}
std::vector<Byte> bytes_at(const void* p, size_t count) {
    const auto* const first = static_cast<const Byte*>(p);
    return {first, first + count};
}
std::vector<uint16_t> words_at(const void* p, size_t count) {
    std::vector<uint16_t> words(count);
    std::memcpy(words.data(), p, 2 * count);
    return words;
}

// ----- Layout ------------------------------------------------------------------------------------

TEST(LutLayout, IsAnInterface) {
    static_assert(std::is_standard_layout_v<SQmLut>);
    static_assert(sizeof(SQmLut) == 96 && alignof(SQmLut) == 8);
    static_assert(offsetof(SQmLut, pLuts) == 0);
    static_assert(offsetof(SQmLut, ucSrcBpc) == 8);
    static_assert(offsetof(SQmLut, ucComponents) == 9);
    static_assert(offsetof(SQmLut, ucDstBpc) == 10);
    static_assert(offsetof(SQmLut, ucDstComponents) == 11);
    static_assert(offsetof(SQmLut, rmComponents) == 16);
    static_assert(offsetof(SQmLut, uiReserved) == 48);
    static_assert(offsetof(SQmLut, usReserved) == 52);
    static_assert(offsetof(SQmLut, pOverExpColor) == 56);
    static_assert(offsetof(SQmLut, pUnderExpColor) == 64);
    static_assert(offsetof(SQmLut, pOverExpValue) == 72);
    static_assert(offsetof(SQmLut, pParams) == 80);
    static_assert(offsetof(SQmLut, bParallel) == 88);
    static_assert(offsetof(SQmLut, iPredefLut) == 92);

    static_assert(std::is_standard_layout_v<SQmLut::SQmParam>);
    static_assert(sizeof(SQmLut::SQmParam) == 32 && alignof(SQmLut::SQmParam) == 8);
    static_assert(offsetof(SQmLut::SQmParam, dOffset) == 0);
    static_assert(offsetof(SQmLut::SQmParam, dGain) == 8);
    static_assert(offsetof(SQmLut::SQmParam, dGamma) == 16);
    static_assert(offsetof(SQmLut::SQmParam, uiColor) == 24);

    static_assert(std::is_same_v<decltype(std::declval<SQmLut&>() = std::declval<const SQmLut&>()),
                                 const SQmLut&>);
}

TEST(LutParam, IsAssignedAndMovedWithAllFourFields) {
    SQmLut::SQmParam from, copied, moved;
    from.dOffset = -3.5, from.dGain = 2.25, from.dGamma = 1.5, from.uiColor = 0x01020304;
    // Through pointers, so that what the library exports is called.
    using Param = SQmLut::SQmParam;
    Param& (Param::*copy)(const Param&) = &Param::operator=;
    Param& (Param::*move)(Param &&) = &Param::operator=;
    EXPECT_EQ(&(copied.*copy)(from), &copied);
    EXPECT_EQ(&(moved.*move)(std::move(copied)), &moved);
    const Param made = moved;
    for (const Param* one : std::initializer_list<const Param*>{&copied, &moved, &made}) {
        EXPECT_EQ(one->dOffset, -3.5);
        EXPECT_EQ(one->dGain, 2.25);
        EXPECT_EQ(one->dGamma, 1.5);
        EXPECT_EQ(one->uiColor, 0x01020304u);
    }
}

// ----- Construction ------------------------------------------------------------------------------

TEST(Lut, IsEmptyWhenItIsNew) {
    alignas(SQmLut) Byte memory[sizeof(SQmLut)];
    std::memset(memory, 0xAB, sizeof memory);
    SQmLut* const lut = new (memory) SQmLut;
    EXPECT_EQ(lut->pLuts, nullptr);
    EXPECT_EQ(shape_of(*lut), (Shape{0, 0, 0, 0}));
    EXPECT_EQ(lut->rmComponents, CQmRangeMask());
    EXPECT_EQ(lut->uiReserved, 0u);
    EXPECT_EQ(lut->usReserved, 0);
    EXPECT_EQ(lut->pOverExpColor, nullptr);
    EXPECT_EQ(lut->pUnderExpColor, nullptr);
    EXPECT_EQ(lut->pOverExpValue, nullptr);
    EXPECT_EQ(lut->pParams, nullptr);
    EXPECT_FALSE(lut->bParallel);
    EXPECT_EQ(lut->iPredefLut, -1);
    lut->~SQmLut();
}

// ----- Alloc -------------------------------------------------------------------------------------

TEST(LutAlloc, FlatTableIsTheBlockItself) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::AllocSingle(lut, 8, 12), QM_OK);
    EXPECT_EQ(shape_of(lut), (Shape{8, 1, 12, 1}));
    EXPECT_EQ(bytes_at(lut.pLuts, 512), std::vector<Byte>(512));
    EXPECT_EQ(row(lut, 0, 255), flat(lut) + 510);
}

TEST(LutAlloc, ColourTableIsReachedThroughRows) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::AllocColor(lut, 12, 10), QM_OK);
    EXPECT_EQ(shape_of(lut), (Shape{12, 1, 10, 3}));
    for (size_t v = 0; v < 4096; ++v) ASSERT_EQ(rows(lut)[v], rows(lut)[0] + v * 6);
    EXPECT_EQ(bytes_at(rows(lut)[0], 4096 * 6), std::vector<Byte>(4096 * 6));
}

TEST(LutAlloc, TablesOfAllComponentsAreOneBlock) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::Alloc(lut, 16, 3, 8, 3), QM_OK);
    for (size_t c = 0; c < 3; ++c) ASSERT_EQ(root(lut)[c], root(lut)[0] + c * 65536);
    Byte* const cells = root(lut)[0][0];
    for (size_t i = 0; i < 3 * 65536; ++i) ASSERT_EQ(root(lut)[0][i], cells + 3 * i);
    EXPECT_EQ(root(lut)[2][65535], cells + 3 * 65536 * 3 - 3);
    EXPECT_EQ(bytes_at(cells, 3 * 65536 * 3), std::vector<Byte>(3 * 65536 * 3));
}

TEST(LutAlloc, OneCellOfManyComponentsHasRowsToo) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::Alloc(lut, 8, 2, 16, 1), QM_OK);
    EXPECT_EQ(root(lut)[1][255] - root(lut)[0][0], 511 * 2);
    EXPECT_TRUE(is_zero(lut));
}

TEST(LutAlloc, CellsAreAsWideAsTheirBitsNeed) {
    for (const auto& [bits, bytes] : {std::pair{1, 1}, {8, 1}, {9, 2}, {16, 2}, {17, 3}, {32, 4}}) {
        SQmLut lut;
        ASSERT_EQ(SQmLut::Alloc(lut, 4, 5, static_cast<Byte>(bits), 3), QM_OK);
        EXPECT_EQ(root(lut)[0][1] - root(lut)[0][0], 3 * bytes) << bits;
        EXPECT_EQ(root(lut)[4][15] - root(lut)[0][0], (5 * 16 - 1) * 3 * bytes) << bits;
        EXPECT_TRUE(is_zero(lut));
    }
}

TEST(LutAlloc, SetsTheWholeMaskAndForgetsMarksAndParameters) {
    SQmLut lut;
    lut.rmComponents = CQmRangeMask(5, 1, 2, 1);
    lut.bParallel = true;
    lut.iPredefLut = 7;
    // Nothing of these is released, so they need not be of the heap.
    uint32_t value = 0;
    SQmLut::SQmParam params;
    lut.pOverExpColor = lut.pUnderExpColor = lut.pOverExpValue = &value;
    lut.pParams = &params;
    ASSERT_EQ(SQmLut::Alloc(lut, 8, 1, 8, 3), QM_OK);
    EXPECT_EQ(lut.rmComponents, kFull);
    EXPECT_EQ(lut.pOverExpColor, nullptr);
    EXPECT_EQ(lut.pUnderExpColor, nullptr);
    EXPECT_EQ(lut.pOverExpValue, nullptr);
    EXPECT_EQ(lut.pParams, nullptr);
    EXPECT_TRUE(lut.bParallel);
    EXPECT_EQ(lut.iPredefLut, 7);
}

TEST(LutAlloc, StoresTheShapeBeforeItRefusesIt) {
    for (const Shape wrong : {Shape{17, 3, 8, 3}, {255, 1, 8, 1}, {8, 0, 8, 3}, {8, 3, 8, 0}}) {
        SQmLut lut;
        lut.rmComponents = CQmRangeMask(5, 1, 2, 1);
        uint32_t value = 0;
        lut.pOverExpValue = &value;
        const auto at = [&](size_t i) { return static_cast<Byte>(wrong[i]); };
        EXPECT_EQ(SQmLut::Alloc(lut, at(0), at(1), at(2), at(3)), QM_BAD_BUFFER);
        EXPECT_EQ(shape_of(lut), wrong);
        EXPECT_EQ(lut.pLuts, nullptr);
        EXPECT_EQ(lut.pOverExpValue, nullptr);
        EXPECT_EQ(lut.rmComponents, kFull);
        SQmLut::Free(lut);
        EXPECT_EQ(shape_of(lut), wrong);
    }
}

TEST(LutAlloc, LeavesTablesWhereTheyWereWhenItRefuses) {
    Byte somewhere[16] = {};
    SQmLut lut;
    lut.pLuts = somewhere;
    EXPECT_EQ(SQmLut::Alloc(lut, 17, 1, 8, 1), QM_BAD_BUFFER);
    EXPECT_EQ(lut.pLuts, somewhere);
    lut.pLuts = nullptr;
}

// The test for the shared shape reads two words of every root.
TEST(LutAlloc, SmallestTablesHoldTwoWords) {
    SQmLut one, colour;
    ASSERT_EQ(SQmLut::AllocSingle(one, 0, 8), QM_OK);
    EXPECT_EQ(bytes_at(one.pLuts, 16), std::vector<Byte>(16));
    ASSERT_EQ(SQmLut::AllocColor(colour, 0, 8), QM_OK);
    EXPECT_EQ(rows(colour)[1], nullptr);
    EXPECT_EQ(SQmLut::check_luts(colour, 0, 1, 8, 3), QM_OK);
    SQmLut::Free(one);
    ASSERT_EQ(SQmLut::AllocSingle(one, 3, 0), QM_OK);  // cells without bytes
    EXPECT_EQ(bytes_at(one.pLuts, 16), std::vector<Byte>(16));
}

TEST(LutFullMask, IsMadeByTheFirstAllocationAndStays) {
    SQmLut lut;
    CQmRangeMask* const before = CQmRangeMask::FULL_MASK;
    CQmRangeMask::FULL_MASK = nullptr;
    ASSERT_EQ(SQmLut::AllocSingle(lut, 8, 8), QM_OK);
    CQmRangeMask* const made = CQmRangeMask::FULL_MASK;
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(*made, kFull);
    EXPECT_TRUE(before == nullptr || before == made);
    SQmLut other;
    ASSERT_EQ(SQmLut::AllocSingle(other, 8, 8), QM_OK);
    EXPECT_EQ(CQmRangeMask::FULL_MASK, made);
}

TEST(LutFullMask, OfTheApplicationIsTaken) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::AllocSingle(lut, 8, 8), QM_OK);
    CQmRangeMask mine(7, 2, 4, 1);
    CQmRangeMask* const usual = std::exchange(CQmRangeMask::FULL_MASK, &mine);
    SQmLut other;
    EXPECT_EQ(SQmLut::AllocSingle(other, 8, 8), QM_OK);
    CQmRangeMask::FULL_MASK = usual;
    EXPECT_EQ(other.rmComponents, mine);
}

TEST(LutFullMask, MayBeMadeByManyThreadsAtOnce) {
    for (int round = 0; round < 20; ++round) {
        CQmRangeMask::FULL_MASK = nullptr;
        std::array<int, 8> full{};
        {
            std::vector<std::thread> threads;
            for (int& found : full)
                threads.emplace_back([&found] {
                    SQmLut lut;
                    SQmLut::AllocSingle(lut, 4, 8);
                    found = lut.rmComponents == kFull;
                });
            for (std::thread& thread : threads) thread.join();
        }
        EXPECT_EQ(full, (std::array<int, 8>{1, 1, 1, 1, 1, 1, 1, 1}));
    }
}

// ----- The shared shape --------------------------------------------------------------------------

TEST(LutShared, IsOneTableForAllComponents) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::CustomSpectralLutAlloc(lut, 12, 6, 8, 3), QM_OK);
    EXPECT_EQ(shape_of(lut), (Shape{12, 6, 8, 3}));
    for (size_t c = 1; c < 6; ++c) EXPECT_EQ(root(lut)[c], root(lut)[0]);
    for (size_t v = 0; v < 4096; ++v) ASSERT_EQ(root(lut)[0][v], root(lut)[0][0] + 3 * v);
    EXPECT_TRUE(is_zero(lut));
}

TEST(LutShared, KeepsMaskThresholdsAndParameters) {
    SQmLut lut;
    lut.rmComponents = CQmRangeMask(5, 1, 2, 1);
    ASSERT_EQ(SQmLut::SetOverExpValue(lut, references(9).data()), QM_OK);
    lut.ucComponents = 2;
    SQmLut::ReinitParametric(lut);
    Byte mark[12] = {};
    lut.pOverExpColor = lut.pUnderExpColor = mark;
    const auto* const values = lut.pOverExpValue;
    const auto* const params = lut.pParams;
    ASSERT_EQ(SQmLut::CustomSpectralLutAlloc(lut, 8, 2, 8, 3), QM_OK);
    EXPECT_EQ(lut.rmComponents, CQmRangeMask(5, 1, 2, 1));
    EXPECT_EQ(lut.pOverExpValue, values);
    EXPECT_EQ(lut.pParams, params);
    EXPECT_EQ(lut.pOverExpColor, nullptr);
    EXPECT_EQ(lut.pUnderExpColor, nullptr);
}

TEST(LutShared, ChecksNoArgument) {
    SQmLut deep, none;
    EXPECT_EQ(SQmLut::CustomSpectralLutAlloc(deep, 17, 2, 8, 3), QM_OK);
    EXPECT_EQ(root(deep)[1][131071] - root(deep)[0][0], 131071 * 3);
    EXPECT_EQ(SQmLut::CustomSpectralLutAlloc(none, 8, 2, 8, 0), QM_OK);
    EXPECT_EQ(root(none)[1][255], root(none)[0][0]);
}

TEST(LutShared, MoreThanAddressableIsNoMemory) {
    for (const Byte bits : std::initializer_list<Byte>{28, 31, 32, 63, 64, 255}) {
        SQmLut lut;
        EXPECT_EQ(SQmLut::CustomSpectralLutAlloc(lut, bits, 2, 8, 3), QM_NO_MEMORY) << int{bits};
        EXPECT_EQ(shape_of(lut), (Shape{bits, 2, 8, 3}));
        EXPECT_EQ(lut.pLuts, nullptr);
        EXPECT_EQ(SQmLut::CustomSpectralLutAlloc(lut, bits, 1, 8, 3), QM_NO_MEMORY);
    }
    SQmLut wide;  // the rows are small enough, the cells are not
    EXPECT_EQ(SQmLut::CustomSpectralLutAlloc(wide, 22, 2, 255, 255), QM_NO_MEMORY);
}

TEST(LutShared, OfOneComponentHasTheOrdinaryShape) {
    SQmLut colour, single, none;
    ASSERT_EQ(SQmLut::CustomSpectralLutAlloc(colour, 8, 1, 8, 3), QM_OK);
    EXPECT_EQ(rows(colour)[255] - rows(colour)[0], 255 * 3);
    EXPECT_TRUE(is_zero(colour));
    ASSERT_EQ(SQmLut::CustomSpectralLutAlloc(single, 8, 1, 8, 1), QM_OK);
    EXPECT_EQ(bytes_at(single.pLuts, 256), std::vector<Byte>(256));
    ASSERT_EQ(SQmLut::check_luts_spectral_ex(colour, 8, 1, 8, 3), QM_OK);
    EXPECT_EQ(rows(colour)[255] - rows(colour)[0], 255 * 3);
    EXPECT_EQ(SQmLut::CustomSpectralLutAlloc(none, 8, 0, 8, 3), QM_BAD_BUFFER);
}

// ----- check_luts --------------------------------------------------------------------------------

TEST(LutCheck, KeepsTablesOfTheSameShape) {
    for (const Shape shape : {Shape{8, 3, 8, 3}, {8, 1, 8, 3}, {8, 1, 8, 1}, {10, 2, 16, 1}}) {
        SQmLut lut;
        const auto check = [&] {
            return SQmLut::check_luts(lut, static_cast<Byte>(shape[0]), static_cast<Byte>(shape[1]),
                                      static_cast<Byte>(shape[2]), static_cast<Byte>(shape[3]));
        };
        ASSERT_EQ(check(), QM_OK);
        EXPECT_TRUE(is_zero(lut));
        fill_with(lut, 1);
        lut.rmComponents = CQmRangeMask(3, 0, 1, 1);
        SQmLut::SetOverExpValue(lut, references(5).data());
        SQmLut::ReinitParametric(lut);
        const SQmLut::SQmParam* const params = lut.pParams;
        const void* const before = lut.pLuts;
        const auto filled = content(lut);
        ASSERT_EQ(check(), QM_OK);
        EXPECT_EQ(lut.pLuts, before);
        EXPECT_EQ(content(lut), filled);
        EXPECT_EQ(lut.rmComponents, CQmRangeMask(3, 0, 1, 1));
        EXPECT_NE(lut.pOverExpValue, nullptr);
        EXPECT_EQ(lut.pParams, params);
    }
}

TEST(LutCheck, RebuildsWhenAnyValueOfTheShapeDiffers) {
    const Shape shape{8, 3, 8, 3};
    for (size_t differs = 0; differs < 4; ++differs) {
        SQmLut lut;
        ASSERT_EQ(SQmLut::Alloc(lut, 8, 3, 8, 3), QM_OK);
        fill_with(lut, 1);
        SQmLut::ReinitParametric(lut);
        SQmLut::SetOverExpColor(lut, references(255).data());
        Shape other = shape;
        ++other[differs];
        ASSERT_EQ(SQmLut::check_luts(lut, static_cast<Byte>(other[0]), static_cast<Byte>(other[1]),
                                     static_cast<Byte>(other[2]), static_cast<Byte>(other[3])),
                  QM_OK);
        EXPECT_EQ(shape_of(lut), other);
        EXPECT_TRUE(is_zero(lut));
        EXPECT_EQ(lut.pParams, nullptr);
        EXPECT_EQ(lut.pOverExpColor, nullptr);
    }
}

TEST(LutCheck, ReturnsTheCodeOfAlloc) {
    SQmLut lut;
    EXPECT_EQ(SQmLut::check_luts(lut, 17, 1, 8, 3), QM_BAD_BUFFER);
    ASSERT_EQ(SQmLut::check_luts(lut, 8, 1, 8, 3), QM_OK);
    EXPECT_EQ(SQmLut::check_luts(lut, 8, 0, 8, 3), QM_BAD_BUFFER);
    EXPECT_EQ(lut.pLuts, nullptr);  // what was there was freed
}

TEST(LutCheck, TurnsASharedSetIntoOneOfManyTables) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::CustomSpectralLutAlloc(lut, 8, 4, 8, 3), QM_OK);
    fill_with(lut, 1);
    ASSERT_EQ(SQmLut::check_luts(lut, 8, 4, 8, 3), QM_OK);
    for (size_t c = 0; c < 4; ++c) EXPECT_EQ(root(lut)[c], root(lut)[0] + 256 * c);
    EXPECT_TRUE(is_zero(lut));
}

TEST(LutCheckSpectral, TurnsASetOfManyTablesIntoASharedOne) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::Alloc(lut, 8, 4, 8, 3), QM_OK);
    fill_with(lut, 1);
    ASSERT_EQ(SQmLut::check_luts_spectral_ex(lut, 8, 4, 8, 3), QM_OK);
    for (size_t c = 1; c < 4; ++c) EXPECT_EQ(root(lut)[c], root(lut)[0]);
    EXPECT_TRUE(is_zero(lut));
}

TEST(LutCheckSpectral, KeepsASharedTableOfTheSameShape) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::check_luts_spectral_ex(lut, 8, 4, 8, 3), QM_OK);
    fill_with(lut, 1);
    const void* const before = lut.pLuts;
    const auto filled = content(lut);
    ASSERT_EQ(SQmLut::check_luts_spectral_ex(lut, 8, 4, 8, 3), QM_OK);
    EXPECT_EQ(lut.pLuts, before);
    EXPECT_EQ(content(lut), filled);
    ASSERT_EQ(SQmLut::check_luts_spectral_ex(lut, 8, 4, 16, 3), QM_OK);
    EXPECT_TRUE(is_zero(lut));
    EXPECT_EQ(shape_of(lut), (Shape{8, 4, 16, 3}));
}

TEST(LutCheckSpectral, OfASetWithoutTablesKeepsThresholdsAndParametersAlone) {
    SQmLut lut;
    lut.ucDstComponents = 3, lut.ucDstBpc = 8, lut.ucComponents = 4;
    lut.rmComponents = CQmRangeMask(5, 1, 2, 1);
    SQmLut::SetOverExpColor(lut, references(255).data());
    SQmLut::SetUnderExpColor(lut, references(255).data());
    SQmLut::SetOverExpValue(lut, references(7).data());
    SQmLut::ReinitParametric(lut);
    const auto* const values = lut.pOverExpValue;
    const auto* const params = lut.pParams;
    ASSERT_EQ(SQmLut::check_luts_spectral_ex(lut, 8, 4, 8, 3), QM_OK);
    EXPECT_EQ(lut.pOverExpValue, values);
    EXPECT_EQ(lut.pParams, params);
    EXPECT_EQ(lut.rmComponents, CQmRangeMask(5, 1, 2, 1));
    EXPECT_EQ(lut.pOverExpColor, nullptr);
    EXPECT_EQ(lut.pUnderExpColor, nullptr);
}

// Two equal words are what tells a shared set, whatever they mean.
TEST(LutCheck, MakesAFlatTableAnewWhoseFirstWordsAreEqual) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::AllocSingle(lut, 8, 8), QM_OK);
    flat(lut)[200] = 77;
    lut.rmComponents = CQmRangeMask(3, 0, 1, 1);
    SQmLut::SetOverExpValue(lut, references(5).data());
    ASSERT_EQ(SQmLut::check_luts(lut, 8, 1, 8, 1), QM_OK);
    EXPECT_EQ(flat(lut)[200], 0);
    EXPECT_EQ(lut.rmComponents, kFull);
    EXPECT_EQ(lut.pOverExpValue, nullptr);
    flat(lut)[15] = 1;
    flat(lut)[200] = 77;
    ASSERT_EQ(SQmLut::check_luts(lut, 8, 1, 8, 1), QM_OK);
    EXPECT_EQ(flat(lut)[200], 77);
}

TEST(LutCheckSpectral, AcceptsAFlatTableWhoseFirstWordsAreEqual) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::AllocSingle(lut, 8, 8), QM_OK);
    flat(lut)[200] = 77;
    ASSERT_EQ(SQmLut::check_luts_spectral_ex(lut, 8, 1, 8, 1), QM_OK);
    EXPECT_EQ(flat(lut)[200], 77);
    flat(lut)[15] = 1;
    ASSERT_EQ(SQmLut::check_luts_spectral_ex(lut, 8, 1, 8, 1), QM_OK);
    EXPECT_EQ(flat(lut)[200], 0);
}

// ----- Copies ------------------------------------------------------------------------------------

void expect_copy(const SQmLut& copy, const SQmLut& of) {
    EXPECT_EQ(shape_of(copy), shape_of(of));
    EXPECT_NE(copy.pLuts, of.pLuts);
    EXPECT_EQ(content(copy), content(of));
    EXPECT_EQ(copy.rmComponents, of.rmComponents);
    EXPECT_EQ(copy.bParallel, of.bParallel);
    EXPECT_EQ(copy.iPredefLut, of.iPredefLut);
}

TEST(LutCopy, CarriesTablesMaskAndFlagsInEveryShape) {
    for (const Shape shape : {Shape{8, 1, 12, 1}, {12, 1, 8, 3}, {9, 4, 16, 3}, {16, 2, 8, 1}}) {
        SQmLut lut;
        ASSERT_EQ(SQmLut::Alloc(lut, static_cast<Byte>(shape[0]), static_cast<Byte>(shape[1]),
                                static_cast<Byte>(shape[2]), static_cast<Byte>(shape[3])),
                  QM_OK);
        fill_with(lut, 3);
        lut.rmComponents = CQmRangeMask(9, 2, 3, 1);
        lut.bParallel = true;
        lut.iPredefLut = 12;
        const SQmLut constructed(lut);
        expect_copy(constructed, lut);
        SQmLut assigned;
        ASSERT_EQ(SQmLut::Alloc(assigned, 6, 2, 8, 3), QM_OK);
        EXPECT_EQ(&(assigned = lut), &assigned);
        expect_copy(assigned, lut);
    }
}

TEST(LutCopy, ComesWithoutExposureMarks) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::AllocColor(lut, 8, 8), QM_OK);
    SQmLut::SetOverExpColor(lut, references(255).data());
    SQmLut::SetUnderExpColor(lut, references(255).data());
    SQmLut::SetOverExpValue(lut, references(200).data());
    const SQmLut constructed(lut);
    SQmLut assigned;
    assigned = lut;
    for (const SQmLut* copy : {&constructed, static_cast<const SQmLut*>(&assigned)}) {
        EXPECT_EQ(copy->pOverExpColor, nullptr);
        EXPECT_EQ(copy->pUnderExpColor, nullptr);
        EXPECT_EQ(copy->pOverExpValue, nullptr);
    }
}

TEST(LutCopy, LeavesTheMarksOfTheTarget) {
    SQmLut source, target;
    ASSERT_EQ(SQmLut::AllocColor(source, 8, 8), QM_OK);
    ASSERT_EQ(SQmLut::AllocColor(target, 8, 8), QM_OK);
    SQmLut::SetUnderExpColor(source, references(1).data());
    SQmLut::SetOverExpColor(target, references(255).data());
    SQmLut::SetOverExpValue(target, references(200).data());
    const void* const colours = target.pOverExpColor;
    const void* const values = target.pOverExpValue;
    SQmLut::Copy(target, source);
    EXPECT_EQ(target.pOverExpColor, colours);
    EXPECT_EQ(target.pOverExpValue, values);
    EXPECT_EQ(target.pUnderExpColor, nullptr);
}

TEST(LutCopy, ParametricStateFollowsTheSource) {
    SQmLut source, target;
    ASSERT_EQ(SQmLut::Alloc(source, 8, 3, 8, 3), QM_OK);
    ASSERT_EQ(SQmLut::Alloc(target, 8, 3, 8, 3), QM_OK);
    SQmLut::ReinitParametric(source);
    for (int c = 0; c < 3; ++c) {
        source.pParams[c].dOffset = c, source.pParams[c].dGain = 10 + c;
        source.pParams[c].dGamma = 20 + c, source.pParams[c].uiColor = 30u + static_cast<Byte>(c);
    }
    const auto expect_all = [](const SQmLut& lut) {
        ASSERT_NE(lut.pParams, nullptr);
        for (int c = 0; c < 3; ++c) {
            EXPECT_EQ(lut.pParams[c].dOffset, c);
            EXPECT_EQ(lut.pParams[c].dGain, 10 + c);
            EXPECT_EQ(lut.pParams[c].dGamma, 20 + c);
            EXPECT_EQ(lut.pParams[c].uiColor, 30u + static_cast<Byte>(c));
        }
    };
    SQmLut::Copy(target, source);  // only the source has it
    expect_all(target);
    EXPECT_NE(target.pParams, source.pParams);
    const SQmLut::SQmParam* const kept = target.pParams;
    target.pParams[1].dGain = 5;
    SQmLut::Copy(target, source);  // both have it
    expect_all(target);
    EXPECT_EQ(target.pParams, kept);
    expect_all(SQmLut(source));
    SQmLut::FreeParametric(source);
    SQmLut::Copy(target, source);  // only the target has it
    EXPECT_EQ(target.pParams, nullptr);
}

TEST(LutCopy, TakesParametersForTheFewerComponents) {
    SQmLut few, many;
    few.ucComponents = 2, many.ucComponents = 4;
    few.ucDstComponents = many.ucDstComponents = 3;
    SQmLut::ReinitParametric(few);
    SQmLut::ReinitParametric(many);
    for (int c = 0; c < 4; ++c) many.pParams[c].dGain = 10 + c;
    for (int c = 0; c < 2; ++c) few.pParams[c].dGain = 1;
    SQmLut::Copy(few, many);
    EXPECT_EQ(few.pParams[1].dGain, 11);
    few.pParams[0].dGain = 7;
    SQmLut::Copy(many, few);
    EXPECT_EQ(many.pParams[0].dGain, 7);
    EXPECT_EQ(many.pParams[2].dGain, 12);
}

TEST(LutCopy, DoesNothingWithoutComponentsOrCells) {
    for (const auto& [components, cells] : {std::pair<Byte, Byte>{0, 3}, {3, 0}}) {
        SQmLut source, target;
        ASSERT_EQ(SQmLut::AllocColor(target, 8, 8), QM_OK);
        SQmLut::ReinitParametric(target);
        source.ucComponents = components, source.ucDstComponents = cells;
        source.bParallel = true, source.iPredefLut = 3;
        SQmLut::Copy(target, source);
        EXPECT_EQ(target.rmComponents, kFull);
        EXPECT_FALSE(target.bParallel);
        EXPECT_EQ(target.iPredefLut, -1);
        EXPECT_NE(target.pParams, nullptr);
    }
}

TEST(LutCopy, OfAnEmptySetHasAFullMaskAndItsOwnFlags) {
    const SQmLut empty;
    const SQmLut constructed(empty);
    EXPECT_EQ(constructed.pLuts, nullptr);
    EXPECT_EQ(shape_of(constructed), (Shape{0, 0, 0, 0}));
    EXPECT_EQ(constructed.rmComponents, kFull);
    SQmLut assigned;
    ASSERT_EQ(SQmLut::AllocColor(assigned, 8, 8), QM_OK);
    assigned.bParallel = true, assigned.iPredefLut = 3;
    assigned = empty;
    EXPECT_EQ(assigned.pLuts, nullptr);
    EXPECT_EQ(shape_of(assigned), (Shape{0, 0, 0, 0}));
    EXPECT_EQ(assigned.rmComponents, kFull);
    EXPECT_TRUE(assigned.bParallel);
    EXPECT_EQ(assigned.iPredefLut, 3);
}

TEST(LutCopy, OfAFreedSetKeepsItsShapeAndGetsTablesOfZeros) {
    SQmLut freed;
    ASSERT_EQ(SQmLut::AllocColor(freed, 8, 8), QM_OK);
    SQmLut::Free(freed);
    const SQmLut copy(freed);
    ASSERT_NE(copy.pLuts, nullptr);
    EXPECT_TRUE(is_zero(copy));
}

TEST(LutCopy, OfASharedSetHasATableForEachComponent) {
    SQmLut shared;
    ASSERT_EQ(SQmLut::CustomSpectralLutAlloc(shared, 8, 5, 16, 3), QM_OK);
    for (size_t v = 0; v < 256; ++v)
        for (size_t i = 0; i < 6; ++i) row(shared, 0, v)[i] = static_cast<Byte>(v * 3 + i);
    const SQmLut copy(shared);
    for (size_t c = 1; c < 5; ++c) ASSERT_EQ(root(copy)[c], root(copy)[0] + 256 * c);
    EXPECT_EQ(content(copy), content(shared));
}

TEST(LutCopy, IntoASharedSetTakesTheFirstTable) {
    SQmLut shared, source;
    ASSERT_EQ(SQmLut::CustomSpectralLutAlloc(shared, 8, 3, 8, 3), QM_OK);
    ASSERT_EQ(SQmLut::Alloc(source, 8, 3, 8, 3), QM_OK);
    fill_with(source, 5);
    SQmLut::Copy(shared, source);
    EXPECT_EQ(root(shared)[1], root(shared)[0]);
    for (size_t v = 0; v < 256; ++v)
        EXPECT_EQ(bytes_at(row(shared, 2, v), 3), bytes_at(row(source, 0, v), 3));
    SQmLut again;
    ASSERT_EQ(SQmLut::CustomSpectralLutAlloc(again, 8, 3, 8, 3), QM_OK);
    SQmLut::Copy(again, shared);
    EXPECT_EQ(content(again), content(shared));
}

TEST(LutCopy, OntoItselfChangesNothing) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::Alloc(lut, 8, 3, 8, 3), QM_OK);
    fill_with(lut, 5);
    SQmLut::SetOverExpColor(lut, references(255).data());
    SQmLut::ReinitParametric(lut);
    const auto before = content(lut);
    const SQmLut& same = lut;
    EXPECT_EQ(&(lut = same), &lut);
    SQmLut::Copy(lut, same);
    EXPECT_EQ(content(lut), before);
    EXPECT_NE(lut.pOverExpColor, nullptr);
    EXPECT_NE(lut.pParams, nullptr);
}

// ----- Free --------------------------------------------------------------------------------------

TEST(LutFree, ReleasesAllButTheShapeAndMayBeRepeated) {
    const auto check = [](SQmLut& lut) {
        SQmLut::SetOverExpValue(lut, references(5).data());
        SQmLut::SetOverExpColor(lut, references(5).data());
        SQmLut::SetUnderExpColor(lut, references(5).data());
        SQmLut::ReinitParametric(lut);
        const Shape shape = shape_of(lut);
        for (int i = 0; i < 2; ++i) {
            SQmLut::Free(lut);
            EXPECT_EQ(shape_of(lut), shape);
            EXPECT_EQ(lut.pLuts, nullptr);
            EXPECT_EQ(lut.pOverExpColor, nullptr);
            EXPECT_EQ(lut.pUnderExpColor, nullptr);
            EXPECT_EQ(lut.pOverExpValue, nullptr);
            EXPECT_EQ(lut.pParams, nullptr);
        }
    };
    SQmLut flat_one, colour, many, shared;
    ASSERT_EQ(SQmLut::AllocSingle(flat_one, 16, 16), QM_OK);
    ASSERT_EQ(SQmLut::AllocColor(colour, 16, 16), QM_OK);
    ASSERT_EQ(SQmLut::Alloc(many, 8, 200, 8, 3), QM_OK);
    ASSERT_EQ(SQmLut::CustomSpectralLutAlloc(shared, 8, 200, 8, 3), QM_OK);
    for (SQmLut* lut : {&flat_one, &colour, &many, &shared}) check(*lut);
}

TEST(LutParametric, IsAnArrayOfAsManyRecordsAsComponents) {
    SQmLut lut;
    lut.ucComponents = 3;
    SQmLut::ReinitParametric(lut);
    ASSERT_NE(lut.pParams, nullptr);
    lut.pParams[2].dGamma = 1;
    lut.ucComponents = 200;
    SQmLut::ReinitParametric(lut);
    lut.pParams[199].uiColor = 1;
    SQmLut::FreeParametric(lut);
    EXPECT_EQ(lut.pParams, nullptr);
    SQmLut::FreeParametric(lut);
}

// ----- Exposure colours --------------------------------------------------------------------------

/// Both setters do the same to a field each.
struct Setter {
    int (*set)(SQmLut&, const unsigned*);
    int (*set_entry)(SQmLut&, const void*, unsigned);
    void* SQmLut::*field;
    void* SQmLut::*other;
};
const Setter kSetters[] = {{SQmLut::SetOverExpColor, SQmLut::SetOverExpColorArr,
                            &SQmLut::pOverExpColor, &SQmLut::pUnderExpColor},
                           {SQmLut::SetUnderExpColor, SQmLut::SetUnderExpColorArr,
                            &SQmLut::pUnderExpColor, &SQmLut::pOverExpColor}};

TEST(LutExposureColours, AreBlueGreenRedFlag) {
    for (const Setter& setter : kSetters) {
        SQmLut lut;
        ASSERT_EQ(SQmLut::AllocColor(lut, 8, 8), QM_OK);
        auto colors = references(0x000000FF, 0x12345678);
        colors[191] = 0x80AABBCC;
        ASSERT_EQ(setter.set(lut, colors.data()), QM_OK);
        EXPECT_EQ(bytes_at(lut.*setter.field, 8),
                  (std::vector<Byte>{0, 0, 255, 0, 0x34, 0x56, 0x78, 0x12}));
        EXPECT_EQ(bytes_at(static_cast<Byte*>(lut.*setter.field) + 191 * 4, 4),
                  (std::vector<Byte>{0xAA, 0xBB, 0xCC, 0x80}));
        EXPECT_EQ(lut.*setter.other, nullptr);
    }
}

TEST(LutExposureColours, AreScaledByShifts) {
    const auto scaled = [](Byte bits) {
        SQmLut lut;
        EXPECT_EQ(SQmLut::AllocColor(lut, 8, bits), QM_OK);
        EXPECT_EQ(SQmLut::SetOverExpColor(lut, references(0xFF0180FF).data()), QM_OK);
        return words_at(lut.pOverExpColor, 4);
    };
    // The flag stands as it is.
    EXPECT_EQ(scaled(9), (std::vector<uint16_t>{2, 256, 510, 255}));
    EXPECT_EQ(scaled(12), (std::vector<uint16_t>{16, 2048, 4080, 255}));
    EXPECT_EQ(scaled(16), (std::vector<uint16_t>{256, 32768, 65280, 255}));
    SQmLut four_bits;
    ASSERT_EQ(SQmLut::AllocColor(four_bits, 8, 4), QM_OK);
    ASSERT_EQ(SQmLut::SetOverExpColor(four_bits, references(0xFF0180FF).data()), QM_OK);
    EXPECT_EQ(bytes_at(four_bits.pOverExpColor, 4), (std::vector<Byte>{0, 8, 15, 255}));
}

TEST(LutExposureColours, FirstReferenceOfZeroSwitchesAllOff) {
    for (const Setter& setter : kSetters) {
        SQmLut lut;
        ASSERT_EQ(SQmLut::AllocColor(lut, 8, 8), QM_OK);
        ASSERT_EQ(setter.set(lut, references(1).data()), QM_OK);
        EXPECT_EQ(setter.set(lut, references(0, 0x00FFFFFF).data()), QM_OK);
        EXPECT_EQ(lut.*setter.field, nullptr);
        ASSERT_EQ(setter.set(lut, references(1).data()), QM_OK);
        EXPECT_EQ(setter.set(lut, nullptr), QM_OK);
        EXPECT_EQ(lut.*setter.field, nullptr);
        // A flag alone is a mark.
        EXPECT_EQ(setter.set(lut, references(0x01000000).data()), QM_OK);
        EXPECT_NE(lut.*setter.field, nullptr);
    }
}

TEST(LutExposureColours, NeedThreeCells) {
    for (const Setter& setter : kSetters)
        for (const Byte cells : std::initializer_list<Byte>{1, 2, 4}) {
            SQmLut lut;
            ASSERT_EQ(SQmLut::Alloc(lut, 8, 1, 8, cells), QM_OK);
            EXPECT_EQ(setter.set(lut, references(0).data()), QM_OK);
            EXPECT_EQ(setter.set(lut, references(1).data()), QM_NO_KERNEL);
            EXPECT_EQ(lut.*setter.field, nullptr);
        }
}

TEST(LutExposureColours, OfTheOldAreGoneWhenTheNewAreRefused) {
    for (const Setter& setter : kSetters) {
        SQmLut lut;
        ASSERT_EQ(SQmLut::AllocColor(lut, 8, 8), QM_OK);
        ASSERT_EQ(setter.set(lut, references(1).data()), QM_OK);
        lut.ucDstBpc = 17;
        EXPECT_EQ(setter.set(lut, references(1).data()), QM_NO_KERNEL);
        EXPECT_EQ(lut.*setter.field, nullptr);
        lut.ucDstBpc = 8;
        ASSERT_EQ(setter.set(lut, references(1).data()), QM_OK);
        lut.ucDstComponents = 4;
        EXPECT_EQ(setter.set(lut, references(1).data()), QM_NO_KERNEL);
        EXPECT_EQ(lut.*setter.field, nullptr);
        lut.ucDstComponents = 3;
    }
}

TEST(LutExposureColours, AreAsManyAsTheMaskIsLong) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::AllocColor(lut, 8, 8), QM_OK);
    lut.rmComponents = CQmRangeMask(2, 0, 0, 1);
    const unsigned colors[2] = {0x00010203, 0x00040506};  // and not one more is read
    ASSERT_EQ(SQmLut::SetOverExpColor(lut, colors), QM_OK);
    EXPECT_EQ(bytes_at(lut.pOverExpColor, 8), (std::vector<Byte>{1, 2, 3, 0, 4, 5, 6, 0}));
    lut.rmComponents = CQmRangeMask();
    EXPECT_EQ(SQmLut::SetOverExpColor(lut, colors), QM_OK);
    EXPECT_NE(lut.pOverExpColor, nullptr);
}

TEST(LutExposureEntry, IsTakenAsItStands) {
    for (const Setter& setter : kSetters) {
        SQmLut bytes, words;
        ASSERT_EQ(SQmLut::AllocColor(bytes, 8, 8), QM_OK);
        const Byte entry[4] = {1, 2, 3, 4};
        ASSERT_EQ(setter.set_entry(bytes, entry, 8), QM_OK);
        EXPECT_EQ(bytes_at(bytes.*setter.field, 4), (std::vector<Byte>{1, 2, 3, 4}));
        EXPECT_EQ(bytes.*setter.other, nullptr);
        ASSERT_EQ(SQmLut::AllocColor(words, 8, 12), QM_OK);
        const uint16_t wide[4] = {4095, 2, 0xFFFF, 4};
        ASSERT_EQ(setter.set_entry(words, wide, 12), QM_OK);
        EXPECT_EQ(words_at(words.*setter.field, 4), (std::vector<uint16_t>{4095, 2, 0xFFFF, 4}));
    }
}

TEST(LutExposureEntry, ChangesOnlyTheFirstOfMany) {
    for (const Setter& setter : kSetters) {
        SQmLut lut;
        ASSERT_EQ(SQmLut::AllocColor(lut, 8, 8), QM_OK);
        ASSERT_EQ(setter.set(lut, references(0x00010203, 0x00040506).data()), QM_OK);
        const void* const before = lut.*setter.field;
        const Byte entry[4] = {9, 8, 7, 6};
        ASSERT_EQ(setter.set_entry(lut, entry, 8), QM_OK);
        EXPECT_EQ(lut.*setter.field, before);
        EXPECT_EQ(bytes_at(before, 8), (std::vector<Byte>{9, 8, 7, 6, 4, 5, 6, 0}));
        EXPECT_EQ(bytes_at(static_cast<const Byte*>(before) + 191 * 4, 4),
                  (std::vector<Byte>{4, 5, 6, 0}));
    }
}

TEST(LutExposureEntry, FirstFourBytesOfZeroSwitchAllOff) {
    for (const Setter& setter : kSetters) {
        SQmLut lut;
        ASSERT_EQ(SQmLut::AllocColor(lut, 8, 16), QM_OK);
        const uint16_t green[4] = {0, 1, 0, 0}, red[4] = {0, 0, 65535, 255};
        ASSERT_EQ(setter.set_entry(lut, green, 16), QM_OK);
        EXPECT_NE(lut.*setter.field, nullptr);
        // At 16 bits these are blue and green alone: pure red switches off. The bits are not asked.
        EXPECT_EQ(setter.set_entry(lut, red, 5), QM_OK);
        EXPECT_EQ(lut.*setter.field, nullptr);
        ASSERT_EQ(setter.set_entry(lut, green, 16), QM_OK);
        EXPECT_EQ(setter.set_entry(lut, nullptr, 16), QM_OK);
        EXPECT_EQ(lut.*setter.field, nullptr);
    }
}

TEST(LutExposureEntry, OfTheOldStaysWhenTheNewIsRefused) {
    for (const Setter& setter : kSetters) {
        SQmLut lut;
        ASSERT_EQ(SQmLut::AllocColor(lut, 8, 8), QM_OK);
        const Byte first[4] = {1, 2, 3, 4}, entry[8] = {9, 9, 9, 9, 9, 9, 9, 9};
        ASSERT_EQ(setter.set_entry(lut, first, 8), QM_OK);
        EXPECT_EQ(setter.set_entry(lut, entry, 16), QM_REJECTED);
        lut.ucDstComponents = 1;
        EXPECT_EQ(setter.set_entry(lut, entry, 12), QM_REJECTED);  // the bits are asked first
        EXPECT_EQ(setter.set_entry(lut, entry, 8), QM_NO_KERNEL);
        lut.ucDstComponents = 3;
        lut.ucDstBpc = 17;
        EXPECT_EQ(setter.set_entry(lut, entry, 17), QM_NO_KERNEL);
        lut.ucDstBpc = 8;
        EXPECT_EQ(bytes_at(lut.*setter.field, 4), (std::vector<Byte>{1, 2, 3, 4}));
    }
}

// Renderers of three components read three entries.
TEST(LutExposureEntry, AloneHasRoomForThree) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::AllocColor(lut, 8, 16), QM_OK);
    lut.rmComponents = CQmRangeMask(1, 0, 0, 1);
    const uint16_t entry[4] = {1, 2, 3, 4};
    ASSERT_EQ(SQmLut::SetOverExpColorArr(lut, entry, 16), QM_OK);
    EXPECT_EQ(words_at(lut.pOverExpColor, 12),
              (std::vector<uint16_t>{1, 2, 3, 4, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(LutExposureThresholds, AreCopiedForEachBitOfTheMask) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::Alloc(lut, 8, 3, 8, 3), QM_OK);
    auto values = references(1, 0xFFFFFFFF);
    values[191] = 17;
    ASSERT_EQ(SQmLut::SetOverExpValue(lut, values.data()), QM_OK);
    EXPECT_EQ(std::vector<unsigned>(lut.pOverExpValue, lut.pOverExpValue + 192), values);
    // Zeros are thresholds like others.
    ASSERT_EQ(SQmLut::SetOverExpValue(lut, references(0).data()), QM_OK);
    EXPECT_EQ(lut.pOverExpValue[0], 0u);
    EXPECT_EQ(SQmLut::SetOverExpValue(lut, nullptr), QM_OK);
    EXPECT_EQ(lut.pOverExpValue, nullptr);
    SQmLut single;  // of any shape
    ASSERT_EQ(SQmLut::AllocSingle(single, 8, 32), QM_OK);
    EXPECT_EQ(SQmLut::SetOverExpValue(single, values.data()), QM_OK);
}

// ----- When memory runs out ----------------------------------------------------------------------

class LutMemoryFailure : public testing::Test {
    void SetUp() override {
        if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
        SQmLut first;  // what is made once in a process
        SQmLut::AllocSingle(first, 1, 8);
    }
};

using Make = int(SQmLut&, Byte, Byte, Byte, Byte);

/// Codes of `make` on a new set when its first, second, ... allocation fails. What was there before
/// is where it was but for `null_after`; nothing leaks; afterwards the same call succeeds.
void expect_codes(Make* make, Byte components, Byte cells, const std::vector<int>& codes,
                  uint32_t null_after = 0) {
    Byte somewhere[16] = {};
    const uint32_t made = each_failure(
        [&] {
            SQmLut lut;
            lut.pLuts = somewhere;
            const int code = make(lut, 8, components, 8, cells);
            const bool stays = lut.pLuts == somewhere;
            if (stays || lut.pLuts == nullptr) {
                lut.pLuts = nullptr;
                return code * 10 + stays;
            }
            return 1000 + code;
        },
        [&](uint32_t n, const Outcome& outcome) {
            EXPECT_EQ(outcome.live, 0);
            EXPECT_FALSE(outcome.threw);
            EXPECT_EQ(outcome.code, n == 0 ? 1000 : codes[n - 1] * 10 + (n != null_after)) << n;
        });
    EXPECT_EQ(made, codes.size());
}

TEST_F(LutMemoryFailure, OfAllocIsMinusThreeButForTheFirstOfManyTables) {
    expect_codes(SQmLut::Alloc, 1, 1, {QM_NO_MEMORY}, 1);
    expect_codes(SQmLut::Alloc, 1, 3, {QM_NO_MEMORY, QM_NO_MEMORY});
    expect_codes(SQmLut::Alloc, 3, 3, {QM_OK, QM_NO_MEMORY, QM_NO_MEMORY}, 1);
}

TEST_F(LutMemoryFailure, OfASharedSetIsMinusNineForTheRootAlone) {
    expect_codes(SQmLut::CustomSpectralLutAlloc, 3, 3, {QM_BAD_BUFFER, QM_NO_MEMORY, QM_NO_MEMORY});
    expect_codes(SQmLut::CustomSpectralLutAlloc, 1, 3, {QM_NO_MEMORY, QM_NO_MEMORY});
}

TEST_F(LutMemoryFailure, OfTheChecksIsThatOfWhatTheyCall) {
    const auto codes = [](Make* check, Byte components, std::vector<int> expected) {
        SQmLut lut;
        const uint32_t made = each_failure(
            [&] {
                SQmLut kept;
                const int code = check(kept, 8, components, 8, 3);
                return code != 0 || kept.pLuts != nullptr ? code : 77;  // 0 without tables
            },
            [&](uint32_t n, const Outcome& outcome) {
                EXPECT_EQ(outcome.code, n == 0 ? 0 : expected[n - 1]) << n;
                EXPECT_EQ(outcome.live, 0);
            });
        EXPECT_EQ(made, expected.size());
    };
    codes(SQmLut::check_luts, 3, {77, QM_NO_MEMORY, QM_NO_MEMORY});
    codes(SQmLut::check_luts, 1, {QM_NO_MEMORY, QM_NO_MEMORY});
    codes(SQmLut::check_luts_spectral_ex, 3, {QM_BAD_BUFFER, QM_NO_MEMORY, QM_NO_MEMORY});
}

TEST_F(LutMemoryFailure, OrNotTheChecksReleaseWhatASetWithoutTablesHas) {
    const auto colors = references(255);
    for (Make* check : {SQmLut::check_luts, SQmLut::check_luts_spectral_ex}) {
        const Outcome outcome = with_failing(0, FailingAlloc::kOnce, [&] {
            SQmLut lut;
            lut.ucDstComponents = 3, lut.ucDstBpc = 8, lut.ucComponents = 4;
            lut.rmComponents = CQmRangeMask(5, 1, 2, 1);
            SQmLut::SetOverExpColor(lut, colors.data());
            SQmLut::SetUnderExpColor(lut, colors.data());
            SQmLut::SetOverExpValue(lut, colors.data());
            SQmLut::ReinitParametric(lut);
            return check(lut, 8, 4, 8, 3);
        });
        EXPECT_EQ(outcome.code, QM_OK);
        EXPECT_EQ(outcome.live, 0);
    }
}

TEST_F(LutMemoryFailure, OfARebuildLeavesASetThatCanBeUsedAgain) {
    for (const auto until : {FailingAlloc::kOnce, FailingAlloc::kFromThenOn})
        for (uint32_t n = 1; n <= 3; ++n) {
            SQmLut lut;
            ASSERT_EQ(SQmLut::Alloc(lut, 8, 2, 8, 3), QM_OK);
            fill_with(lut, 1);
            const Outcome outcome =
                with_failing(n, until, [&] { return SQmLut::check_luts(lut, 8, 3, 16, 3); });
            EXPECT_EQ(outcome.code, n == 1 ? QM_OK : QM_NO_MEMORY);
            EXPECT_EQ(lut.pLuts, nullptr);
            EXPECT_EQ(shape_of(lut), (Shape{8, 3, 16, 3}));
            ASSERT_EQ(SQmLut::check_luts(lut, 8, 3, 16, 3), QM_OK);
            EXPECT_TRUE(is_zero(lut));
        }
}

TEST_F(LutMemoryFailure, OfAllocWithNothingMoreThanTheMask) {
    const Outcome outcome = with_failing(1, FailingAlloc::kFromThenOn, [] {
        SQmLut lut;
        return SQmLut::Alloc(lut, 17, 3, 8, 3);
    });
    EXPECT_EQ(outcome.code, QM_BAD_BUFFER);
    EXPECT_EQ(outcome.seen, 0u);
}

TEST_F(LutMemoryFailure, OfACopyGivesASetWithoutTables) {
    SQmLut lut;
    ASSERT_EQ(SQmLut::Alloc(lut, 8, 3, 8, 3), QM_OK);
    lut.rmComponents = CQmRangeMask(9, 2, 3, 1);
    SQmLut::ReinitParametric(lut);
    lut.pParams[0] = lut.pParams[1] = lut.pParams[2] = SQmLut::SQmParam();
    // Root, rows, cells; then the parameters, which throw.
    const auto check = [&](auto copy) {
        const uint32_t made = each_failure(copy, [&](uint32_t n, const Outcome& outcome) {
            EXPECT_EQ(outcome.live, 0) << n;
            EXPECT_TRUE(outcome.threw || outcome.code == (n == 0 ? 3 : 1)) << n;
            EXPECT_TRUE(outcome.threw || n != 4);
        });
        EXPECT_EQ(made, 4u);
    };
    const auto seen = [&](const SQmLut& copy) {
        return (copy.rmComponents == lut.rmComponents) + 2 * (copy.pLuts != nullptr);
    };
    check([&] { return seen(SQmLut(lut)); });
    check([&] {
        SQmLut copy;
        copy = lut;
        return seen(copy);
    });
}

TEST_F(LutMemoryFailure, OfExposureColoursIsMinusThreeWithoutMarks) {
    const auto colors = references(1);
    const uint16_t entry[4] = {1, 2, 3, 4};
    for (const Setter& setter : kSetters)
        for (const Byte bits : std::initializer_list<Byte>{8, 16})
            for (const bool whole : {false, true}) {
                SQmLut lut;
                ASSERT_EQ(SQmLut::AllocColor(lut, 8, bits), QM_OK);
                const uint32_t made = each_failure(
                    [&] {
                        const int code = whole ? setter.set(lut, colors.data())
                                               : setter.set_entry(lut, entry, bits);
                        if ((lut.*setter.field == nullptr) != (code != 0)) return 77;
                        setter.set(lut, nullptr);
                        return code;
                    },
                    [](uint32_t n, const Outcome& outcome) {
                        EXPECT_EQ(outcome.code, n == 0 ? QM_OK : QM_NO_MEMORY);
                        EXPECT_EQ(outcome.live, 0);
                        EXPECT_FALSE(outcome.threw);
                    });
                EXPECT_EQ(made, 1u);
            }
}

TEST_F(LutMemoryFailure, OfThresholdsAndParametersThrowsAndLeavesNone) {
    const auto values = references(7);
    for (const auto until : {FailingAlloc::kOnce, FailingAlloc::kFromThenOn}) {
        SQmLut lut;
        ASSERT_EQ(SQmLut::Alloc(lut, 8, 3, 8, 3), QM_OK);
        ASSERT_EQ(SQmLut::SetOverExpValue(lut, values.data()), QM_OK);
        SQmLut::ReinitParametric(lut);
        const Outcome thresholds =
            with_failing(1, until, [&] { return SQmLut::SetOverExpValue(lut, values.data()); });
        EXPECT_TRUE(thresholds.threw);
        EXPECT_EQ(thresholds.live, -1);  // the old ones
        EXPECT_EQ(lut.pOverExpValue, nullptr);
        const Outcome params = with_failing(1, until, [&] {
            SQmLut::ReinitParametric(lut);
            return 0;
        });
        EXPECT_TRUE(params.threw);
        EXPECT_EQ(params.live, -1);
        EXPECT_EQ(lut.pParams, nullptr);
    }
}

// ----- Any operations in any order ---------------------------------------------------------------

/// Reads whatever the set says that it has; a sanitizer sees if it has not.
uint64_t sum_of(const SQmLut& lut) {
    uint64_t sum = 0;
    const auto read = [&](const void* p, size_t bytes) {
        for (size_t i = 0; p != nullptr && i < bytes; ++i) sum += static_cast<const Byte*>(p)[i];
    };
    if (lut.pLuts != nullptr)
        for (size_t c = 0; c < lut.ucComponents; ++c)
            for (const size_t v : {size_t{0}, entries(lut) / 2, entries(lut) - 1})
                read(row(lut, c, v), row_size(lut));
    const size_t marks = lut.rmComponents.GetSize();
    read(lut.pOverExpColor, marks * 4 * width_of_cell(lut));
    read(lut.pUnderExpColor, marks * 4 * width_of_cell(lut));
    read(lut.pOverExpValue, marks * 4);
    for (size_t c = 0; lut.pParams != nullptr && c < lut.ucComponents; ++c)
        sum += lut.pParams[c].uiColor;
    return sum;
}

void set_parameters(SQmLut& lut) {
    SQmLut::ReinitParametric(lut);
    SQmLut::SQmParam param;
    param.dOffset = param.dGain = param.dGamma = 1, param.uiColor = 3;
    for (int c = 0; c < lut.ucComponents; ++c) lut.pParams[c] = param;
}

void do_something(SQmLut& lut, SQmLut& other, Random& random) {
    const auto byte = [&](std::initializer_list<Byte> values) { return random.one_of(values); };
    const Byte bits = byte({0, 1, 4, 8, 8, 9, 12}), components = byte({0, 1, 1, 2, 3, 7});
    const Byte depth = byte({0, 1, 8, 8, 12, 16, 24}), cells = byte({0, 1, 3, 3, 3, 4});
    const auto colors = references(random(0, 3) ? random.any() : 0, 5);
    const uint16_t entry[4] = {1, 2, 3, static_cast<uint16_t>(random.any())};
    switch (random(0, 13)) {
    case 0:
        SQmLut::Free(lut);
        SQmLut::Alloc(lut, bits, components, depth, cells);
        break;
    case 1:
        SQmLut::Free(lut);
        SQmLut::CustomSpectralLutAlloc(lut, bits, components, depth, cells);
        break;
    case 2: SQmLut::check_luts(lut, bits, components, depth, cells); break;
    case 3:
        if (lut.pLuts == nullptr) SQmLut::FreeParametric(lut);
        SQmLut::check_luts_spectral_ex(lut, bits, components, depth, cells);
        break;
    case 4: lut = other; break;
    case 5:
        if (shape_of(lut) == shape_of(other)) SQmLut::Copy(lut, other);
        break;
    case 6: SQmLut::Free(lut); break;
    case 7: set_parameters(lut); break;
    case 8: SQmLut::SetOverExpColor(lut, colors.data()); break;
    case 9: SQmLut::SetUnderExpColor(lut, random(0, 1) ? colors.data() : nullptr); break;
    case 10:
        // Marks have as many entries as the mask had bits when they were set.
        if (lut.pOverExpColor != nullptr || lut.rmComponents.GetSize() <= 3)
            SQmLut::SetOverExpColorArr(lut, entry, lut.ucDstBpc);
        break;
    case 11: SQmLut::SetOverExpValue(lut, colors.data()); break;
    case 12:
        SQmLut::SetOverExpColor(lut, nullptr);
        SQmLut::SetUnderExpColor(lut, nullptr);
        SQmLut::SetOverExpValue(lut, nullptr);
        lut.rmComponents = CQmRangeMask(random.one_of({0u, 2u, 100u, 192u}), 0, 50, 1);
        break;
    case 13:
        if (lut.pLuts != nullptr && entries(lut) <= 256) fill_with(lut, random(0, 9));
        break;
    }
}

TEST(LutSequences, OfAnyOperationsKeepWhatTheyHaveReadable) {
    Random random(3);
    for (int round = 0; round < 300; ++round) {
        SQmLut luts[3];
        uint64_t sum = 0;
        for (int i = 0; i < 40; ++i) {
            do_something(luts[random(0, 2)], luts[random(0, 2)], random);
            for (const SQmLut& lut : luts) sum += sum_of(lut);
        }
        const SQmLut copy(luts[0]);
        EXPECT_LE(sum_of(copy), sum + sum_of(luts[0]));
    }
}

TEST_F(LutMemoryFailure, AtAnyMomentLosesNothing) {
    for (uint64_t seed = 0; seed < 2000; ++seed) {
        uint64_t sum = 0;
        const auto until = seed % 2 ? FailingAlloc::kOnce : FailingAlloc::kFromThenOn;
        const Outcome outcome = with_failing(static_cast<uint32_t>(seed % 40 + 1), until, [&] {
            Random random(seed);
            SQmLut luts[2];
            for (int i = 0; i < 20; ++i) {
                do_something(luts[random(0, 1)], luts[random(0, 1)], random);
                for (const SQmLut& lut : luts) sum += sum_of(lut);
            }
            return 0;
        });
        ASSERT_EQ(outcome.live, 0) << seed;
    }
}

}  // namespace
}  // namespace qmpic::test
