#include <gtest/gtest.h>
#include <sys/mman.h>

#include <array>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "qmpic/FloatPicBuf.h"
#include "qmpic/status.h"
#include "qmpic/system/Alloc.h"
#include "support/cases.h"
#include "support/guarded_picture.h"
#include "support/levels.h"
#include "support/regions.h"
#include "support/reports.h"

namespace qmpic::test {
namespace {

using Api = SQmFloatPicBufAPI_Base;
using Floats = std::vector<float>;

const bool registered = add_cases({}, {},
                                  {"SQmFloatPicBufAPI_Base::CalcWidthBytes",
                                   "SQmFloatPicBufAPI_Base::Init",
                                   "SQmFloatPicBufAPI_Base::Reinit",
                                   "SQmFloatPicBufAPI_Base::Reinit16",
                                   "SQmFloatPicBufAPI_Base::ReinitWithValue",
                                   "SQmFloatPicBufAPI_Base::SetDesc",
                                   "SQmFloatPicBufAPI_Base::Free",
                                   "SQmFloatPicBufAPI_Base::Clear",
                                   "SQmFloatPicBufAPI_Base::SetValue",
                                   "SQmFloatPicBufAPI_Base::Swap",
                                   "SQmFloatPicBufAPI_Base::Is16ByteAligned",
                                   "SQmFloatPicBufAPI_Base::Check",
                                   "SQmFloatPicBufAPI_Base::Check_Ex",
                                   "SQmFloatPicBufAPI_Base::Copy",
                                   "SQmFloatPicBufAPI_Base::CopyRect",
                                   "SQmFloatPicBufAPI_Base::CopyRectComp",
                                   "SQmFloatPicBufAPI_Base::CopyMinMaxInfo",
                                   "SQmFloatPicBufAPI_Base::CopyMinMaxComp",
                                   "SQmFloatPicBufAPI_Base::ConvertFromPicBuf",
                                   "SQmFloatPicBufAPI_Base::GetFloatMinMax"});

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

uint32_t bits(float value) { return std::bit_cast<uint32_t>(value); }

/// A float picture that releases itself; its floats, gaps too, are 1, 2, 3 ... or all the same.
struct Picture : SQmFloatPicBuf {
    Picture() { Api::Init(this); }
    Picture(uint32_t width, uint32_t height, uint32_t components, uint32_t stride = 0) : Picture() {
        EXPECT_EQ(Api::Reinit(this, width, height, stride, components, true), QM_OK);
    }
    ~Picture() { Api::Free(this); }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    size_t count() const { return ui64Size / 4; }
    Picture& count_up() {
        for (size_t i = 0; i < count(); ++i) pfData[i] = static_cast<float>(i + 1);
        return *this;
    }
    Picture& fill(float value) {
        std::fill_n(pfData, count(), value);
        return *this;
    }
    Picture& set_min_max(float low, float high) {
        std::fill_n(pfMinComp, uiComponents, low);
        std::fill_n(pfMaxComp, uiComponents, high);
        return *this;
    }
    float& at(uint32_t x, uint32_t y, uint32_t c = 0) {
        return pfData[uint64_t{y} * uiWidthBytes / 4 + uint64_t{x} * uiComponents + c];
    }
    Floats content() const { return {pfData, pfData + count()}; }
    Floats mins() const { return {pfMinComp, pfMinComp + uiComponents}; }
    Floats maxs() const { return {pfMaxComp, pfMaxComp + uiComponents}; }
};

/// An integer picture on memory of its own.
struct IntegerPicture : SQmPicBuf {
    std::vector<uint64_t> memory;
    IntegerPicture(uint32_t width, uint32_t height, uint32_t bpc, uint32_t components,
                   uint32_t stride = 0) {
        const uint32_t bytes = SQmPicBufAPI_Base::CalcCompSize(bpc);
        uiWidth = width;
        uiHeight = height;
        uiWidthBytes = stride != 0 ? stride : width * components * bytes;
        uiBpc = static_cast<uint8_t>(bpc);
        uiComponents = components;
        ui64Size = uint64_t{uiWidthBytes} * height;
        memory.resize(ui64Size / 8 + 1);
        pData = memory.data();
    }
    template <class T>
    T* row(uint32_t y) {
        return reinterpret_cast<T*>(static_cast<uint8_t*>(pData) + uint64_t{y} * uiWidthBytes);
    }
};

bool same_record(const SQmFloatPicBuf& a, const SQmFloatPicBuf& b) {
    return a.uiFlags == b.uiFlags && a.uiWidth == b.uiWidth && a.uiHeight == b.uiHeight &&
           a.uiWidthBytes == b.uiWidthBytes && a.uiBpc == b.uiBpc &&
           a.uiComponents == b.uiComponents && a.ui64Size == b.ui64Size &&
           a.pfMinComp == b.pfMinComp && a.pfMaxComp == b.pfMaxComp && a.pfData == b.pfData;
}

void expect_format(const SQmFloatPicBuf& a, uint32_t width, uint32_t height, uint32_t stride,
                   uint32_t bpc, uint32_t components, uint64_t size) {
    EXPECT_EQ(a.uiWidth, width);
    EXPECT_EQ(a.uiHeight, height);
    EXPECT_EQ(a.uiWidthBytes, stride);
    EXPECT_EQ(a.uiBpc, bpc);
    EXPECT_EQ(a.uiComponents, components);
    EXPECT_EQ(a.ui64Size, size);
}

// ----- Memory and format -------------------------------------------------------------------------

TEST(FloatPicBufRecord, HasItsLayout) {
    EXPECT_EQ(sizeof(SQmFloatPicBuf), 56u);
    EXPECT_EQ(offsetof(SQmFloatPicBuf, uiFlags), 0u);
    EXPECT_EQ(offsetof(SQmFloatPicBuf, uiWidth), 4u);
    EXPECT_EQ(offsetof(SQmFloatPicBuf, uiHeight), 8u);
    EXPECT_EQ(offsetof(SQmFloatPicBuf, uiWidthBytes), 12u);
    EXPECT_EQ(offsetof(SQmFloatPicBuf, uiBpc), 16u);
    EXPECT_EQ(offsetof(SQmFloatPicBuf, uiComponents), 20u);
    EXPECT_EQ(offsetof(SQmFloatPicBuf, ui64Size), 24u);
    EXPECT_EQ(offsetof(SQmFloatPicBuf, pfMinComp), 32u);
    EXPECT_EQ(offsetof(SQmFloatPicBuf, pfMaxComp), 40u);
    EXPECT_EQ(offsetof(SQmFloatPicBuf, pfData), 48u);
    EXPECT_EQ(sizeof(SQmFloatPicBuf::uiBpc), 1u);
    EXPECT_EQ(Api::CheckSize, 0u);
    EXPECT_EQ(Api::CheckBpcComponents, 6u);
}

TEST(FloatPicBuf, CountsBytesOfARowWithoutPaddingAndWraps) {
    EXPECT_EQ(Api::CalcWidthBytes(5, 3), 60u);
    EXPECT_EQ(Api::CalcWidthBytes(1, 1), 4u);
    EXPECT_EQ(Api::CalcWidthBytes(0, 7), 0u);
    EXPECT_EQ(Api::CalcWidthBytes(0x40000000, 1), 0u);
    EXPECT_EQ(Api::CalcWidthBytes(0x40000001, 1), 4u);
}

TEST(FloatPicBuf, InitMakesEveryByteZero) {
    SQmFloatPicBuf a;
    std::memset(&a, 0xA5, sizeof a);
    Api::Init(&a);
    const std::array<uint8_t, sizeof a> zeros{};
    EXPECT_EQ(std::memcmp(&a, zeros.data(), sizeof a), 0);
}

TEST(FloatPicBufReinit, PacksRowsWhenTheStrideIsZero) {
    Picture a(5, 7, 3);
    expect_format(a, 5, 7, 60, 32, 3, 420);
    EXPECT_EQ(a.uiFlags, 16u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(a.pfData) % 16, 0u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(a.pfMinComp) % 16, 0u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(a.pfMaxComp) % 16, 0u);
    EXPECT_EQ(a.mins(), Floats(3, FLT_MAX));
    EXPECT_EQ(a.maxs(), Floats(3, -FLT_MAX));
    EXPECT_EQ(bits(a.pfMinComp[0]), 0x7F7FFFFFu);
    EXPECT_EQ(bits(a.pfMaxComp[0]), 0xFF7FFFFFu);
}

TEST(FloatPicBufReinit, CountsTheGapsOfALargerStride) {
    Picture a(5, 7, 3, 72);
    expect_format(a, 5, 7, 72, 32, 3, 504);
    a.count_up();  // all of it is ours
    EXPECT_EQ(a.content().back(), 126.0f);
}

TEST(FloatPicBufReinit, ToTheSameFormatForgetsMinMaxAndKeepsTheBlock) {
    Picture a(4, 4, 2);
    a.set_min_max(1, 2).fill(3);
    float* const pixels = a.pfData;
    ASSERT_EQ(Api::Reinit(&a, 4, 4, 0, 2, false), QM_OK);
    EXPECT_EQ(a.pfData, pixels);
    EXPECT_EQ(a.mins(), Floats(2, FLT_MAX));
    EXPECT_EQ(a.maxs(), Floats(2, -FLT_MAX));
}

TEST(FloatPicBufReinit, ClearsAllBytesWhetherTheBlockIsNewOrNot) {
    Picture a(4, 4, 2, 40);
    for (const uint32_t height : {4u, 9u, 2u}) {
        a.fill(7);
        ASSERT_EQ(Api::Reinit(&a, 4, height, 40, 2, true), QM_OK);
        EXPECT_EQ(a.content(), Floats(height * 10, 0.0f)) << height;
    }
}

TEST(FloatPicBufReinit, KeepsOtherFlags) {
    Picture a;
    a.uiFlags = 0x80000001;
    ASSERT_EQ(Api::Reinit(&a, 4, 4, 0, 2, false), QM_OK);
    EXPECT_EQ(a.uiFlags, 0x80000011u);
    Api::Free(&a);
    EXPECT_EQ(a.uiFlags, 0x80000011u);
    EXPECT_EQ(Api::Reinit(&a, 4, 0, 0, 2, false), QM_NO_MEMORY);
    EXPECT_EQ(a.uiFlags, 0x80000011u);
}

TEST(FloatPicBufReinit, ToNoBytesFailsWithoutAFormatAndKeepsTheArrays) {
    for (const auto& [width, height] : {std::array{0u, 4u}, {4u, 0u}, {0x40000000u, 4u}}) {
        Picture a(4, 4, 2);
        a.uiFlags = 0;
        EXPECT_EQ(Api::Reinit(&a, width, height, 0, 3, true), QM_NO_MEMORY);
        expect_format(a, 0, 0, 0, 0, 0, 0);
        EXPECT_EQ(a.uiFlags, 0u);
        EXPECT_EQ(a.pfData, nullptr);
        ASSERT_NE(a.pfMinComp, nullptr);
        ASSERT_NE(a.pfMaxComp, nullptr);
        EXPECT_EQ(Floats(a.pfMinComp, a.pfMinComp + 3), Floats(3, FLT_MAX));
        EXPECT_EQ(Floats(a.pfMaxComp, a.pfMaxComp + 3), Floats(3, -FLT_MAX));
        EXPECT_EQ(Api::Reinit(&a, 2, 2, 0, 1, true), QM_OK);  // fit for use
    }
    Picture none;
    EXPECT_EQ(Api::Reinit(&none, 4, 4, 0, 0, true), QM_NO_MEMORY);  // no components
    EXPECT_EQ(none.pfMinComp, nullptr);
}

TEST(FloatPicBufReinit, WithoutMemoryReleasesTheOldPixels) {
    Picture a(4, 4, 2);
    EXPECT_EQ(Api::Reinit(&a, 1, 0xFFFFFFFF, 0xFFFFFFFC, 2, true), QM_NO_MEMORY);
    expect_format(a, 0, 0, 0, 0, 0, 0);
    EXPECT_EQ(a.pfData, nullptr);
    EXPECT_EQ(a.uiFlags, 16u);
}

TEST(FloatPicBufReinit, IsReinit16) {
    Picture a;
    ASSERT_EQ(Api::Reinit16(&a, 5, 7, 72, 3, true), QM_OK);
    expect_format(a, 5, 7, 72, 32, 3, 504);
    EXPECT_EQ(a.uiFlags, 16u);
    EXPECT_EQ(a.content(), Floats(126, 0.0f));
    EXPECT_EQ(a.mins(), Floats(3, FLT_MAX));
    EXPECT_EQ(Api::Reinit16(&a, 5, 0, 72, 3, true), QM_NO_MEMORY);
}

TEST(FloatPicBufReinit, WithZeroOfEitherSignGivesPlusZeroEverywhere) {
    for (const float zero : {0.0f, -0.0f}) {
        Picture a(4, 3, 2, 40);
        a.fill(9);
        ASSERT_EQ(Api::ReinitWithValue(&a, 4, 3, 40, 2, zero), QM_OK);
        for (const float value : a.content()) EXPECT_EQ(bits(value), 0u);
    }
}

TEST(FloatPicBufReinit, WithAnotherValueFillsAsSetValueDoes) {
    Picture a;
    ASSERT_EQ(Api::ReinitWithValue(&a, 3, 2, 0, 2, 1.5f), QM_OK);
    EXPECT_EQ(a.content(), (Floats{1.5f, 1.5f, 1.5f, 0, 0, 0, 1.5f, 1.5f, 1.5f, 0, 0, 0}));
    EXPECT_EQ(a.mins(), Floats(2, FLT_MAX));
    ASSERT_EQ(Api::ReinitWithValue(&a, 2, 1, 0, 1, kNaN), QM_OK);  // is not 0
    EXPECT_TRUE(std::isnan(a.pfData[0]) && std::isnan(a.pfData[1]));
    EXPECT_EQ(Api::ReinitWithValue(&a, 3, 0, 0, 2, 1.5f), QM_NO_MEMORY);
    EXPECT_EQ(Api::ReinitWithValue(&a, 3, 0, 0, 2, 0), QM_NO_MEMORY);
}

SQmPicBufDesc desc_of(uint32_t components) { return {5, 4, 99, 12, components, 1234}; }

TEST(FloatPicBufSetDesc, GivesAnEmptyRecordAFormatAsItStandsAndNoPixels) {
    Picture a;
    ASSERT_EQ(Api::SetDesc(&a, desc_of(3)), QM_OK);
    expect_format(a, 5, 4, 99, 12, 3, 1234);  // neither depth nor size is made to fit
    EXPECT_EQ(a.uiFlags, 0u);
    EXPECT_EQ(a.pfData, nullptr);
    EXPECT_EQ(a.mins(), Floats(3, FLT_MAX));
    EXPECT_EQ(a.maxs(), Floats(3, -FLT_MAX));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(a.pfMinComp) % 16, 0u);
}

TEST(FloatPicBufSetDesc, KeepsOldEntriesAndInitialisesNewOnes) {
    Picture a;
    ASSERT_EQ(Api::SetDesc(&a, desc_of(2)), QM_OK);
    a.set_min_max(1, 2);
    ASSERT_EQ(Api::SetDesc(&a, desc_of(4)), QM_OK);
    EXPECT_EQ(a.mins(), (Floats{1, 1, FLT_MAX, FLT_MAX}));
    EXPECT_EQ(a.maxs(), (Floats{2, 2, -FLT_MAX, -FLT_MAX}));
    a.pfMinComp[0] = 7;
    ASSERT_EQ(Api::SetDesc(&a, desc_of(1)), QM_OK);
    EXPECT_EQ(a.mins(), Floats{7});
    EXPECT_EQ(a.maxs(), Floats{2});
    ASSERT_EQ(Api::SetDesc(&a, desc_of(1)), QM_OK);
    EXPECT_EQ(a.mins(), Floats{7});
    EXPECT_EQ(a.maxs(), Floats{2});
}

TEST(FloatPicBufSetDesc, InitialisesArraysThatWereNotThereWhole) {
    Picture a(2, 2, 3);
    Api::Free(&a);  // keeps its 3 components
    ASSERT_EQ(Api::SetDesc(&a, desc_of(3)), QM_OK);
    EXPECT_EQ(a.mins(), Floats(3, FLT_MAX));
    EXPECT_EQ(a.maxs(), Floats(3, -FLT_MAX));
    a.set_min_max(1, 2);
    CQmAlloc::Free(a.pfMinComp);
    a.pfMinComp = nullptr;
    ASSERT_EQ(Api::SetDesc(&a, desc_of(3)), QM_OK);
    EXPECT_EQ(a.mins(), Floats(3, FLT_MAX));
    EXPECT_EQ(a.maxs(), Floats(3, 2));
}

TEST(FloatPicBufSetDesc, RefusesNullAndARecordWithPixelsWhichItDoesNotChange) {
    EXPECT_EQ(Api::SetDesc(nullptr, desc_of(1)), QM_BAD_BUFFER);
    Picture a(2, 2, 2);
    a.set_min_max(1, 2);
    const SQmFloatPicBuf before = a;
    EXPECT_EQ(Api::SetDesc(&a, desc_of(3)), QM_BAD_BUFFER);
    EXPECT_TRUE(same_record(a, before));
    EXPECT_EQ(a.mins(), Floats(2, 1));
}

TEST(FloatPicBufFree, ReleasesTheArraysAndKeepsTheFormat) {
    Picture a(5, 4, 3);
    SQmFloatPicBuf expected = a;
    expected.pfData = expected.pfMinComp = expected.pfMaxComp = nullptr;
    Api::Free(&a);
    EXPECT_TRUE(same_record(a, expected));
    Api::Free(&a);  // nothing more to release
    EXPECT_TRUE(same_record(a, expected));
    ASSERT_EQ(Api::Reinit(&a, 5, 4, 0, 3, true), QM_OK);  // without Init
    EXPECT_EQ(a.content(), Floats(60, 0.0f));
}

TEST(FloatPicBufClear, ClearsGapsTooAndLeavesMinMax) {
    Picture a(3, 2, 2, 32);
    a.fill(4).set_min_max(1, 2);
    EXPECT_EQ(Api::Clear(&a), QM_OK);
    for (const float value : a.content()) EXPECT_EQ(bits(value), 0u);
    EXPECT_EQ(a.mins(), Floats(2, 1));
    EXPECT_EQ(a.maxs(), Floats(2, 2));
    EXPECT_EQ(Api::Clear(nullptr), QM_BAD_BUFFER);
    Api::Free(&a);  // its size stays
    EXPECT_EQ(Api::Clear(&a), QM_OK);
}

// The width counts floats here and not pixels.
TEST(FloatPicBufSetValue, FillsAsManyFloatsAsARowHasPixelsAndClearsTheRest) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (const uint32_t components : {1u, 3u})
            for (const uint32_t width : {1u, 10u, 67u}) {
                const uint32_t floats = width * components + 5;
                Picture a(width, 3, components, floats * 4);
                a.fill(9).set_min_max(1, 2);
                EXPECT_EQ(Api::SetValue(&a, 2.5f), QM_OK);
                for (uint32_t y = 0; y < 3; ++y)
                    for (uint32_t i = 0; i < floats; ++i)
                        ASSERT_EQ(bits(a.pfData[y * floats + i]), i < width ? bits(2.5f) : 0u)
                            << i << " of " << width << " x " << components;
                EXPECT_EQ(a.mins(), Floats(components, 1));
                EXPECT_EQ(a.maxs(), Floats(components, 2));
            }
    }
}

TEST(FloatPicBufSetValue, FillsNoMoreThanARowHolds) {
    Picture a(6, 3, 1, 8);
    a.fill(9);
    EXPECT_EQ(Api::SetValue(&a, 2), QM_OK);
    EXPECT_EQ(a.content(), Floats(6, 2));
}

TEST(FloatPicBufSetValue, FindsRowsByWholeFloats) {
    Picture a(2, 4, 1, 10);  // rows begin at bytes 0, 8, 20, 28 and are 10 bytes long
    std::memset(a.pfData, 0xA5, 40);
    EXPECT_EQ(Api::SetValue(&a, 2), QM_OK);
    std::array<uint8_t, 40> expected;
    expected.fill(0xA5);
    for (const size_t row : {0u, 8u, 20u, 28u}) {
        const Floats two(2, 2);
        std::memcpy(&expected[row], two.data(), 8);
        std::fill_n(&expected[row + 8], 2, uint8_t{0});
    }
    EXPECT_EQ(std::memcmp(a.pfData, expected.data(), 40), 0);
}

TEST(FloatPicBufSetValue, RefusesNullAndNoPixels) {
    EXPECT_EQ(Api::SetValue(nullptr, 1), QM_BAD_BUFFER);
    Picture none;
    EXPECT_EQ(Api::SetValue(&none, 1), QM_BAD_BUFFER);
}

TEST(FloatPicBufSwap, ExchangesRecordsWhole) {
    Picture a(5, 3, 1), b(9, 2, 3, 120);
    b.uiFlags = 17;
    const SQmFloatPicBuf before_a = a, before_b = b;
    EXPECT_EQ(Api::Swap(&a, &b), QM_OK);
    EXPECT_TRUE(same_record(a, before_b));
    EXPECT_TRUE(same_record(b, before_a));
    EXPECT_EQ(Api::Swap(&a, &a), QM_OK);
    EXPECT_TRUE(same_record(a, before_b));
}

// ----- Comparison of formats ---------------------------------------------------------------------

TEST(FloatPicBufCheck, ComparesWhatTheOptionNames) {
    // Which of width, height, depth and components an option compares.
    constexpr std::array<std::array<bool, 4>, 8> compared{{{true, true, false, false},
                                                           {true, true, true, false},
                                                           {true, true, true, true},
                                                           {true, true, false, true},
                                                           {false, false, false, true},
                                                           {false, false, true, false},
                                                           {false, false, true, true},
                                                           {}}};
    SQmFloatPicBuf a{};
    a.uiWidth = 5, a.uiHeight = 4, a.uiBpc = 32, a.uiComponents = 3, a.uiWidthBytes = 60;
    for (uint32_t option = 0; option <= 6; ++option)
        for (uint32_t field = 0; field <= 4; ++field) {  // 4: the stride, which never counts
            SQmFloatPicBuf b = a;
            (field == 0   ? b.uiWidth
             : field == 1 ? b.uiHeight
             : field == 3 ? b.uiComponents
                          : b.uiWidthBytes) += 1;
            if (field == 2) b.uiBpc = 31;
            const SQmPicBuf integer{b.uiWidth,      b.uiHeight, b.uiWidthBytes, b.uiBpc,
                                    b.uiComponents, 0,          nullptr};
            const bool expected = field == 4 || !compared[option][field];
            const auto as = static_cast<Api::CheckOptions>(option);
            EXPECT_EQ(Api::Check(&a, &b, as), expected) << option << ", " << field;
            EXPECT_EQ(Api::Check(&b, &a, as), expected) << option << ", " << field;
            EXPECT_EQ(Api::Check(&a, &integer, as), expected) << option << ", " << field;
        }
}

TEST(FloatPicBufCheck, IsFalseForNullAndForUnknownOptions) {
    const SQmFloatPicBuf a{}, *const no_float = nullptr;
    const SQmPicBuf b{}, *const no_integer = nullptr;
    for (uint32_t option = 0; option <= 6; ++option) {
        const auto as = static_cast<Api::CheckOptions>(option);
        EXPECT_TRUE(Api::Check(&a, &a, as));
        EXPECT_TRUE(Api::Check(&a, &b, as));
        EXPECT_FALSE(Api::Check(&a, no_float, as));
        EXPECT_FALSE(Api::Check(no_float, &a, as));
        EXPECT_FALSE(Api::Check(&a, no_integer, as));
        EXPECT_FALSE(Api::Check(no_float, &b, as));
    }
    for (const uint32_t option : {7u, 0xFFFFFFFFu}) {
        EXPECT_FALSE(Api::Check(&a, &a, static_cast<Api::CheckOptions>(option)));
        EXPECT_FALSE(Api::Check(&a, &b, static_cast<Api::CheckOptions>(option)));
    }
}

TEST(FloatPicBufCheckEx, IsTrueWhenTheFirstFitsIntoTheSecondAndThatIntoTheLimits) {
    SQmFloatPicBuf a{}, b{};
    a.uiWidth = 5, a.uiHeight = 4, b.uiWidth = 6, b.uiHeight = 7;
    const auto fits = [&](uint32_t width, uint32_t height) {
        const SQmPicBuf integer{a.uiWidth, a.uiHeight, 0, 8, 1, 0, nullptr};
        const bool found = Api::Check_Ex(&a, &b, width, height);
        EXPECT_EQ(Api::Check_Ex(&integer, &b, width, height), found);
        return found;
    };
    EXPECT_TRUE(fits(6, 7));
    EXPECT_FALSE(fits(5, 7));
    EXPECT_FALSE(fits(6, 6));
    b = a;
    EXPECT_TRUE(fits(5, 4));
    a.uiWidth = 6;
    EXPECT_FALSE(fits(9, 9));
    a.uiWidth = 5, a.uiHeight = 5;
    EXPECT_FALSE(fits(9, 9));
    const SQmFloatPicBuf* const no_float = nullptr;
    const SQmPicBuf* const no_integer = nullptr;
    EXPECT_FALSE(Api::Check_Ex(no_float, &b, 9, 9));
    EXPECT_FALSE(Api::Check_Ex(&b, nullptr, 9, 9));
    EXPECT_FALSE(Api::Check_Ex(no_integer, &b, 9, 9));
}

TEST(FloatPicBuf, IsSaidToBeAlignedWithoutALook) {
    SQmFloatPicBuf odd{};
    odd.pfData = reinterpret_cast<float*>(4);
    EXPECT_TRUE(Api::Is16ByteAligned(&odd));
    EXPECT_TRUE(Api::Is16ByteAligned(nullptr));
}

// ----- Copies ------------------------------------------------------------------------------------

/// The report of a format that does not fit, but for its line.
std::wstring report(const wchar_t* name) {
    return L"true|CQmPicBufAPI::" + std::wstring(name) +
           L", sour and dest must have the same format|FloatPicBufAPI_Base|";
}

void expect_report(Reports& reports, const wchar_t* name) {
    const std::vector<std::wstring> found = reports.take();
    ASSERT_EQ(found.size(), 1u);
    EXPECT_TRUE(found[0].starts_with(report(name)));
}

TEST(FloatPicBufCopy, TakesPixelsAndMinMaxAndLeavesGaps) {
    Picture d(3, 2, 2, 32), s(3, 2, 2, 28);
    s.count_up().set_min_max(1, 2);
    d.fill(99);
    EXPECT_EQ(Api::Copy(&d, &s), QM_OK);
    EXPECT_EQ(d.content(), (Floats{1, 2, 3, 4, 5, 6, 99, 99, 8, 9, 10, 11, 12, 13, 99, 99}));
    EXPECT_EQ(d.mins(), Floats(2, 1));
    EXPECT_EQ(d.maxs(), Floats(2, 2));
    EXPECT_EQ(Api::Copy(&s, &s), QM_OK);
    EXPECT_EQ(s.pfData[13], 14.0f);
}

TEST(FloatPicBufCopy, TakesMinMaxOnlyWhenBothHaveBothArrays) {
    for (int missing = 0; missing < 4; ++missing) {
        Picture d(3, 2, 2), s(3, 2, 2);
        s.count_up().set_min_max(1, 2);
        d.set_min_max(5, 6);
        SQmFloatPicBuf to = d, from = s;
        SQmFloatPicBuf& bare = missing < 2 ? to : from;
        (missing % 2 == 0 ? bare.pfMinComp : bare.pfMaxComp) = nullptr;
        EXPECT_EQ(Api::Copy(&to, &from), QM_OK);
        EXPECT_EQ(d.mins(), Floats(2, 5));
        EXPECT_EQ(d.maxs(), Floats(2, 6));
        EXPECT_EQ(d.content(), s.content());
    }
}

TEST(FloatPicBufCopy, ReportsOtherFormatsUnderTheNameOfAnotherClass) {
    Picture d(5, 3, 2), wide(6, 3, 2), high(5, 4, 2), more(5, 3, 3), deep(5, 3, 2);
    deep.uiBpc = 31;
    d.fill(9).set_min_max(1, 2);
    const Floats before = d.content();
    Reports reports;
    for (const SQmFloatPicBuf* const s :
         {static_cast<SQmFloatPicBuf*>(&wide), static_cast<SQmFloatPicBuf*>(&high),
          static_cast<SQmFloatPicBuf*>(&more), static_cast<SQmFloatPicBuf*>(&deep),
          static_cast<SQmFloatPicBuf*>(nullptr)}) {
        EXPECT_EQ(Api::Copy(&d, s), QM_BAD_BUFFER);
        expect_report(reports, L"Copy");
        EXPECT_EQ(d.content(), before);
        EXPECT_EQ(d.mins(), Floats(2, 1));
    }
    EXPECT_EQ(Api::Copy(nullptr, &d), QM_BAD_BUFFER);
    expect_report(reports, L"Copy");
}

TEST(FloatPicBufCopy, WithoutPixelsIsDone) {
    Picture a(5, 3, 2);
    SQmFloatPicBuf none = a;
    none.pfData = nullptr;
    Reports reports;
    EXPECT_EQ(Api::Copy(&a, &none), QM_OK);
    EXPECT_EQ(Api::Copy(&none, &a), QM_OK);
    EXPECT_EQ(Api::CopyRect(1, 1, 2, 2, &a, 1, 1, &none), QM_OK);
    EXPECT_EQ(Api::CopyRect(1, 1, 2, 2, &none, 1, 1, &a), QM_OK);
    EXPECT_EQ(Api::CopyRectComp(1, 1, 2, 2, 0, &a, 1, 1, 0, &none), QM_OK);
    EXPECT_EQ(Api::CopyRectComp(1, 1, 2, 2, 0, &none, 1, 1, 0, &a), QM_OK);
    EXPECT_TRUE(reports.take().empty());
    EXPECT_EQ(a.content(), Floats(30, 0.0f));
}

TEST(FloatPicBufCopyRect, PutsARectangleAnywhereAndLeavesMinMax) {
    Picture d(10, 9, 3, 136), s(8, 7, 3);
    d.fill(99).set_min_max(1, 2);
    s.count_up().set_min_max(3, 4);
    Picture expected(10, 9, 3, 136);
    expected.fill(99);
    for (uint32_t y = 0; y < 4; ++y)
        for (uint32_t x = 0; x < 3; ++x)
            for (uint32_t c = 0; c < 3; ++c) expected.at(6 + x, 2 + y, c) = s.at(5 + x, 3 + y, c);
    EXPECT_EQ(Api::CopyRect(6, 2, 3, 4, &d, 5, 3, &s), QM_OK);
    EXPECT_EQ(d.content(), expected.content());
    EXPECT_EQ(Api::CopyRect(6, 2, 0, 4, &d, 0, 0, &s), QM_OK);
    EXPECT_EQ(Api::CopyRect(6, 2, 3, 0, &d, 0, 0, &s), QM_OK);
    EXPECT_EQ(d.content(), expected.content());
    EXPECT_EQ(d.mins(), Floats(3, 1));
    EXPECT_EQ(d.maxs(), Floats(3, 2));
}

TEST(FloatPicBufCopyRect, ReportsOtherDepthsAndComponents) {
    Picture d(5, 3, 2), more(5, 3, 3), deep(5, 3, 2);
    deep.uiBpc = 31;
    Reports reports;
    for (const SQmFloatPicBuf* const s :
         {static_cast<SQmFloatPicBuf*>(&more), static_cast<SQmFloatPicBuf*>(&deep),
          static_cast<SQmFloatPicBuf*>(nullptr)}) {
        EXPECT_EQ(Api::CopyRect(0, 0, 1, 1, &d, 0, 0, s), QM_BAD_BUFFER);
        expect_report(reports, L"CopyRect");
    }
    EXPECT_EQ(Api::CopyRect(0, 0, 1, 1, nullptr, 0, 0, &d), QM_BAD_BUFFER);
    expect_report(reports, L"CopyRect");
    EXPECT_EQ(d.content(), Floats(30, 0.0f));
}

TEST(FloatPicBufCopyRectComp, MovesOneComponentBetweenAnyFormats) {
    Picture d(6, 5, 2, 60), s(7, 4, 3);
    s.count_up();
    d.fill(99).set_min_max(1, 2);
    d.uiBpc = 8;  // of no interest
    Picture expected(6, 5, 2, 60);
    expected.fill(99);
    for (uint32_t y = 0; y < 3; ++y)
        for (uint32_t x = 0; x < 2; ++x) expected.at(4 + x, 1 + y, 1) = s.at(3 + x, y, 2);
    Reports reports;
    EXPECT_EQ(Api::CopyRectComp(4, 1, 2, 3, 1, &d, 3, 0, 2, &s), QM_OK);
    EXPECT_EQ(d.content(), expected.content());
    EXPECT_EQ(d.mins(), Floats(2, 1));
    EXPECT_TRUE(reports.take().empty());
}

/// Rows of 2 GiB in memory that is only there where it is touched: row 2 lies where row 0 does.
class WideRows {
  public:
    static constexpr uint32_t kStride = 1u << 31;
    WideRows()
        : memory_(mmap(nullptr, kBytes, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {
        Api::Init(&picture);
        picture.uiBpc = 32, picture.uiComponents = 1, picture.uiWidth = 4, picture.uiHeight = 3;
        picture.uiWidthBytes = kStride, picture.ui64Size = uint64_t{3} * kStride;
        picture.pfData = static_cast<float*>(memory_);
    }
    ~WideRows() { munmap(memory_, kBytes); }
    WideRows(const WideRows&) = delete;
    WideRows& operator=(const WideRows&) = delete;
    bool there() const { return memory_ != MAP_FAILED; }
    float& at(uint64_t row, uint32_t x) { return picture.pfData[row * (kStride / 4) + x]; }
    SQmFloatPicBuf picture;

  private:
    static constexpr size_t kBytes = size_t{3} * kStride;
    void* memory_;
};

TEST(FloatPicBufRows, WrapAt4GiB) {
    if (kThreadSanitizer) GTEST_SKIP() << "its tables would have to cover the distance";
    WideRows far;
    ASSERT_TRUE(far.there());
    for (uint32_t x = 0; x < 4; ++x)
        for (uint32_t row = 0; row < 3; ++row) far.at(row, x) = static_cast<float>(10 * row + x);
    Picture near(4, 3, 1);
    EXPECT_EQ(Api::CopyRect(0, 0, 2, 3, &near, 1, 0, &far.picture), QM_OK);
    EXPECT_EQ(near.content(), (Floats{1, 2, 0, 0, 11, 12, 0, 0, 1, 2, 0, 0}));
    near.fill(0);
    EXPECT_EQ(Api::CopyRect(0, 0, 2, 1, &near, 1, 2, &far.picture), QM_OK);  // its corner, too
    EXPECT_EQ(near.content(), (Floats{1, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(Api::CopyRectComp(0, 0, 1, 1, 0, &near, 3, 2, 0, &far.picture), QM_OK);
    EXPECT_EQ(near.pfData[0], 3.0f);
    near.count_up();
    EXPECT_EQ(Api::CopyRect(0, 2, 2, 1, &far.picture, 0, 0, &near), QM_OK);
    EXPECT_EQ(far.at(0, 1), 2.0f);
    EXPECT_EQ(far.at(2, 1), 21.0f);
    IntegerPicture mask(4, 3, 8, 1);
    mask.row<uint8_t>(2)[3] = 1;
    float low = 0, high = 0;
    EXPECT_EQ(Api::GetFloatMinMax(&far.picture, low, high, &mask, false), QM_OK);
    EXPECT_EQ(low, 3.0f);  // of row 0
}

// ----- Min/max that travel with a picture --------------------------------------------------------

TEST(FloatPicBufMinMax, InfoIsCopiedIntoArraysOfTheSourcesLength) {
    Picture d(2, 2, 5), s(3, 3, 3);
    for (uint32_t c = 0; c < 3; ++c)
        s.pfMinComp[c] = static_cast<float>(c), s.pfMaxComp[c] = static_cast<float>(c + 10);
    d.set_min_max(7, 8);
    EXPECT_EQ(Api::CopyMinMaxInfo(&d, &s), QM_OK);
    EXPECT_EQ(Floats(d.pfMinComp, d.pfMinComp + 3), (Floats{0, 1, 2}));
    EXPECT_EQ(Floats(d.pfMaxComp, d.pfMaxComp + 3), (Floats{10, 11, 12}));
    EXPECT_EQ(d.uiComponents, 5u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(d.pfMinComp) % 16, 0u);
    Picture none;
    EXPECT_EQ(Api::CopyMinMaxInfo(&none, &s), QM_OK);
    EXPECT_EQ(none.uiComponents, 0u);
    EXPECT_EQ(Floats(none.pfMaxComp, none.pfMaxComp + 3), (Floats{10, 11, 12}));
    EXPECT_EQ(Api::CopyMinMaxInfo(&s, &s), QM_OK);
    EXPECT_EQ(s.mins(), (Floats{0, 1, 2}));
}

TEST(FloatPicBufMinMax, InfoIsLeftAloneWhenTheSourceLacksSome) {
    Picture d(2, 2, 2), s(2, 2, 2);
    d.set_min_max(7, 8);
    EXPECT_EQ(Api::CopyMinMaxInfo(&d, nullptr), QM_OK);
    for (const auto field : {&SQmFloatPicBuf::pfMinComp, &SQmFloatPicBuf::pfMaxComp}) {
        SQmFloatPicBuf from = s;
        from.*field = nullptr;
        EXPECT_EQ(Api::CopyMinMaxInfo(&d, &from), QM_OK);
        EXPECT_EQ(d.mins(), Floats(2, 7));
        EXPECT_EQ(d.maxs(), Floats(2, 8));
    }
    EXPECT_EQ(Api::CopyMinMaxInfo(nullptr, &s), QM_BAD_BUFFER);
}

TEST(FloatPicBufMinMax, CompIsCopiedBetweenEqualCountsAlone) {
    Picture d(2, 2, 2), s(3, 3, 2), more(2, 2, 3);
    s.set_min_max(1, 2);
    EXPECT_EQ(Api::CopyMinMaxComp(&d, &s), QM_OK);
    EXPECT_EQ(d.mins(), Floats(2, 1));
    EXPECT_EQ(d.maxs(), Floats(2, 2));
    EXPECT_EQ(Api::CopyMinMaxComp(&d, &more), QM_BAD_BUFFER);
    EXPECT_EQ(Api::CopyMinMaxComp(&d, nullptr), QM_BAD_BUFFER);
    EXPECT_EQ(Api::CopyMinMaxComp(nullptr, &s), QM_BAD_BUFFER);
    d.set_min_max(7, 8);
    for (const auto field : {&SQmFloatPicBuf::pfMinComp, &SQmFloatPicBuf::pfMaxComp}) {
        SQmFloatPicBuf to = d, from = s;
        to.*field = nullptr;
        EXPECT_EQ(Api::CopyMinMaxComp(&to, &s), QM_BAD_BUFFER);
        from.*field = nullptr;
        EXPECT_EQ(Api::CopyMinMaxComp(&d, &from), QM_BAD_BUFFER);
        EXPECT_EQ(d.mins(), Floats(2, 7));
        EXPECT_EQ(d.maxs(), Floats(2, 8));
    }
}

TEST(FloatPicBufConvert, StatesTheRangeOfTheFormatAndNotOfTheContent) {
    const std::pair<uint32_t, float> tops[] = {
        {8, 255.0f},     {12, 4095.0f}, {16, 65535.0f},
        {17, 131071.0f}, {31, 0x1p31f},  // 2147483647 in a float
        {32, 0.0f}};                     // the shift wraps
    for (const auto& [bpc, top] : tops) {
        IntegerPicture s(3, 2, bpc, 2);
        Picture d;
        ASSERT_EQ(Api::ConvertFromPicBuf(&d, &s), QM_OK);
        expect_format(d, 3, 2, 24, 32, 2, 48);
        EXPECT_EQ(d.mins(), Floats(2, 0));
        EXPECT_EQ(d.maxs(), Floats(2, top)) << bpc;
    }
}

TEST(FloatPicBufConvert, ConvertsPixels) {
    IntegerPicture bytes(3, 2, 8, 1, 5), words(3, 2, 12, 1, 10), longs(3, 2, 32, 1);
    for (uint32_t y = 0; y < 2; ++y)
        for (uint32_t x = 0; x < 3; ++x) {
            bytes.row<uint8_t>(y)[x] = static_cast<uint8_t>(250 + 3 * y + x);
            words.row<uint16_t>(y)[x] = static_cast<uint16_t>(4000 + 3 * y + x);
            longs.row<uint32_t>(y)[x] = 0xFFFFFF00;
        }
    Picture d;
    ASSERT_EQ(Api::ConvertFromPicBuf(&d, &bytes), QM_OK);
    EXPECT_EQ(d.content(), (Floats{250, 251, 252, 253, 254, 255}));
    ASSERT_EQ(Api::ConvertFromPicBuf(&d, &words), QM_OK);
    EXPECT_EQ(d.content(), (Floats{4000, 4001, 4002, 4003, 4004, 4005}));
    ASSERT_EQ(Api::ConvertFromPicBuf(&d, &longs), QM_OK);
    EXPECT_EQ(d.content(), Floats(6, 4294967040.0f));
}

TEST(FloatPicBufConvert, KeepsADestinationThatFits) {
    IntegerPicture s(3, 2, 8, 2);
    Picture d(3, 2, 2, 40);
    d.fill(9);
    float* const pixels = d.pfData;
    d.uiFlags = 0;
    ASSERT_EQ(Api::ConvertFromPicBuf(&d, &s), QM_OK);
    expect_format(d, 3, 2, 40, 32, 2, 80);
    EXPECT_EQ(d.pfData, pixels);
    EXPECT_EQ(d.uiFlags, 0u);
    EXPECT_EQ(d.content(), (Floats{0, 0, 0, 0, 0, 0, 9, 9, 9, 9, 0, 0, 0, 0, 0, 0, 9, 9, 9, 9}));
    Picture other(4, 2, 2, 40);  // does not
    ASSERT_EQ(Api::ConvertFromPicBuf(&other, &s), QM_OK);
    expect_format(other, 3, 2, 24, 32, 2, 48);
}

TEST(FloatPicBufConvert, WritesTheArraysThatAreThere) {
    IntegerPicture s(3, 2, 8, 2);
    Picture d(3, 2, 2);
    SQmFloatPicBuf bare = d;
    bare.pfMinComp = nullptr;
    ASSERT_EQ(Api::ConvertFromPicBuf(&bare, &s), QM_OK);
    EXPECT_EQ(d.mins(), Floats(2, FLT_MAX));
    EXPECT_EQ(d.maxs(), Floats(2, 255));
    bare = d;
    bare.pfMaxComp = nullptr;
    ASSERT_EQ(Api::ConvertFromPicBuf(&bare, &s), QM_OK);
    EXPECT_EQ(d.mins(), Floats(2, 0));
}

TEST(FloatPicBufConvert, RefusesNullAndDepthsAbove32AndSaysWhenThereAreNoPixels) {
    IntegerPicture s(3, 2, 8, 2), deep(3, 2, 33, 2);
    Picture d;
    EXPECT_EQ(Api::ConvertFromPicBuf(nullptr, &s), QM_BAD_BUFFER);
    EXPECT_EQ(Api::ConvertFromPicBuf(&d, nullptr), QM_BAD_BUFFER);
    SQmPicBuf bare = s;
    bare.pData = nullptr;
    EXPECT_EQ(Api::ConvertFromPicBuf(&d, &bare), QM_BAD_BUFFER);
    EXPECT_EQ(d.pfData, nullptr);
    EXPECT_EQ(Api::ConvertFromPicBuf(&d, &deep), QM_NO_KERNEL);
    expect_format(d, 3, 2, 24, 32, 2, 48);  // made before
    EXPECT_EQ(d.mins(), Floats(2, FLT_MAX));
    EXPECT_EQ(d.maxs(), Floats(2, -FLT_MAX));
    Api::Free(&d);  // keeps the format, and so is not made anew
    EXPECT_EQ(Api::ConvertFromPicBuf(&d, &s), QM_NO_MEMORY);
    SQmPicBuf empty = s;
    empty.uiHeight = 0;
    EXPECT_EQ(Api::ConvertFromPicBuf(&d, &empty), QM_NO_MEMORY);  // 0 bytes
}

// ----- Least and greatest values of the pixels ---------------------------------------------------

TEST(FloatPicBufGetMinMax, IsThatOfAllOrOfEachComponent) {
    Picture a(2, 2, 2, 20);
    const float rows[2][5] = {{1, -5, kNaN, 3, 99}, {4, kNaN, 2, 7, -99}};  // and gaps
    for (uint32_t y = 0; y < 2; ++y) std::copy_n(rows[y], 5, a.pfData + y * 5);
    float low = 0, high = 0;
    EXPECT_EQ(Api::GetFloatMinMax(&a, low, high), QM_OK);
    EXPECT_EQ(low, -5.0f);
    EXPECT_EQ(high, 7.0f);
    Floats lows(2), highs(2);
    EXPECT_EQ(Api::GetFloatMinMax(&a, lows.data(), highs.data()), QM_OK);
    EXPECT_EQ(lows, (Floats{1, -5}));
    EXPECT_EQ(highs, (Floats{4, 7}));
    EXPECT_EQ(a.mins(), Floats(2, FLT_MAX));  // what travels along stays
}

TEST(FloatPicBufGetMinMax, RefusesNullAndNoPixels) {
    const SQmFloatPicBuf* const null = nullptr;
    Picture none(1, 1, 2);
    CQmAlloc::Free(none.pfData);
    none.pfData = nullptr;
    for (const SQmFloatPicBuf* const a : {null, static_cast<const SQmFloatPicBuf*>(&none)}) {
        float low = 5, high = 6;
        EXPECT_EQ(Api::GetFloatMinMax(a, low, high), QM_BAD_BUFFER);
        EXPECT_EQ(Api::GetFloatMinMax(a, &low, &high), QM_BAD_BUFFER);
        EXPECT_EQ(low, 5.0f);
        EXPECT_EQ(high, 6.0f);
        EXPECT_EQ(Api::GetFloatMinMax(a, low, high, nullptr, false), QM_BAD_BUFFER);
        EXPECT_EQ(low, FLT_MAX);  // before anything else
        EXPECT_EQ(high, -FLT_MAX);
        Floats lows(2, 5), highs(2, 6);
        EXPECT_EQ(Api::GetFloatMinMax(a, lows.data(), highs.data(), nullptr, false), QM_BAD_BUFFER);
        EXPECT_EQ(lows, Floats(2, a == nullptr ? 5 : FLT_MAX));
        EXPECT_EQ(highs, Floats(2, a == nullptr ? 6 : -FLT_MAX));
    }
}

struct MinMax {
    int code = 0;
    std::vector<uint32_t> low, high;  // as bits
    bool operator==(const MinMax&) const = default;
};

MinMax found_in(const SQmFloatPicBuf& picture, const SQmPicBuf* mask, bool inverse) {
    Floats low(picture.uiComponents, 5), high(picture.uiComponents, 6);
    MinMax found;
    found.code = Api::GetFloatMinMax(&picture, low.data(), high.data(), mask, inverse);
    for (const float value : low) found.low.push_back(bits(value));
    for (const float value : high) found.high.push_back(bits(value));
    return found;
}

MinMax found_in_all(const SQmFloatPicBuf& picture, const SQmPicBuf* mask, bool inverse) {
    float low = 5, high = 6;
    const int code = Api::GetFloatMinMax(&picture, low, high, mask, inverse);
    return {code, {bits(low)}, {bits(high)}};
}

/// Pixel after pixel, component after component. A mask of null selects all.
MinMax reference(const SQmFloatPicBuf& picture, const SQmPicBuf* mask, bool inverse) {
    Floats low(picture.uiComponents, FLT_MAX), high(picture.uiComponents, -FLT_MAX);
    for (uint32_t y = 0; y < picture.uiHeight; ++y)
        for (uint32_t x = 0; x < picture.uiWidth; ++x) {
            if (mask != nullptr) {
                const auto* const bytes = static_cast<const uint8_t*>(mask->pData);
                const bool set = bytes[uint64_t{y} * mask->uiWidthBytes + x] != 0;
                if (set == inverse) continue;
            }
            for (uint32_t c = 0; c < picture.uiComponents; ++c) {
                const uint32_t row = y * picture.uiWidthBytes >> 2;
                float value;
                std::memcpy(&value, picture.pfData + row + x * picture.uiComponents + c, 4);
                if (value < low[c]) low[c] = value;
                if (value > high[c]) high[c] = value;
            }
        }
    MinMax found;
    found.code = picture.uiComponents != 0 && high[0] >= low[0] ? QM_OK : QM_BAD_BUFFER;
    for (const float value : low) found.low.push_back(bits(value));
    for (const float value : high) found.high.push_back(bits(value));
    return found;
}

MinMax reference_of_all(const SQmFloatPicBuf& picture, const SQmPicBuf* mask, bool inverse) {
    const MinMax each = reference(picture, mask, inverse);
    float low = FLT_MAX, high = -FLT_MAX;
    for (size_t c = 0; each.code == QM_OK && c < each.low.size(); ++c) {
        const float a = std::bit_cast<float>(each.low[c]), b = std::bit_cast<float>(each.high[c]);
        if (a < low) low = a;
        if (b > high) high = b;
    }
    return {each.code, {bits(low)}, {bits(high)}};
}

/// A picture in guarded memory whose rows are near each other.
std::unique_ptr<GuardedPicture> guarded(Format format, Size size, Random& random, uint32_t unit) {
    for (;;) {
        auto picture = std::make_unique<GuardedPicture>(format, size, random, unit);
        if (uint64_t{picture->stride()} * size.height < uint64_t{1} << 31) return picture;
    }
}

TEST(FloatPicBufMaskedMinMax, IsThatOfThePixelByPixelReference) {
    const std::vector<uint32_t> counts{1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 17, 63, 64, 65, 145, 192};
    // What is drawn from: few values, so that zeros of both signs, ties and NaNs meet.
    const std::vector<Floats> values{{0.0f, -0.0f},
                                     {0.0f, -0.0f, 1, kNaN},
                                     {0.0f, -0.0f, -1, -kNaN},
                                     {kNaN, kInfinity, -kInfinity, FLT_MAX, -FLT_MAX},
                                     {kInfinity, kNaN},
                                     {-kInfinity, kNaN},
                                     {1, 2, 3, -1, 1e-40f, -1e-40f, kNaN}};
    Random random(20240611);
    for (uint32_t round = 0; round < 600; ++round) {
        const uint32_t components = counts[round % counts.size()];
        const uint32_t longest = round % 7 == 0 ? 1100 : 130;
        const uint32_t width =
            random(1, components < 10 ? longest : std::max(1u, 1300 / components));
        const uint32_t height = random(1, 6);
        const Size size{width, height};
        const auto s = guarded({components, 32, 32}, size, random, 4);
        const auto m = guarded({1, 8, 8}, size, random, 1);
        const auto& from = values[random(0, static_cast<uint32_t>(values.size()) - 1)];
        const bool few = random(0, 3) != 0;
        for (uint32_t y = 0; few && y < height; ++y)
            for (uint32_t i = 0; i < s->samples(); ++i)
                s->set(i, y, bits(from[random(0, static_cast<uint32_t>(from.size()) - 1)]));
        const uint32_t kind = random(0, 3);  // of the mask: any bytes, much, little, nothing
        for (uint32_t y = 0; kind != 0 && y < height; ++y)
            for (uint32_t x = 0; x < width; ++x) {
                const bool set = kind == 1 ? random(0, 20) != 0 : kind == 2 && random(0, 20) == 0;
                m->set(x, y, set ? random(1, 255) : 0);
            }
        const SQmFloatPicBuf picture{
            0,          width, height,  s->stride(), 32,
            components, 0,     nullptr, nullptr,     static_cast<float*>(s->data())};
        const SQmPicBuf mask{width, height, m->stride(), 8, random(1, 4), 0, m->data()};
        for (const Level level : levels()) {
            const ForcedLevel forced(level);
            const std::string where = std::to_string(width) + " x " + std::to_string(height) +
                                      " of " + std::to_string(components) + ", " + name_of(level) +
                                      ", round " + std::to_string(round);
            for (const bool inverse : {false, true})
                for (const SQmPicBuf* const by : {&mask, static_cast<const SQmPicBuf*>(nullptr)}) {
                    ASSERT_EQ(found_in(picture, by, inverse), reference(picture, by, inverse))
                        << where;
                    ASSERT_EQ(found_in_all(picture, by, inverse),
                              reference_of_all(picture, by, inverse))
                        << where;
                }
        }
    }
}

TEST(FloatPicBufMaskedMinMax, FindsRowsOfFloatsByWholeFloats) {
    Picture a(3, 4, 1, 14);  // rows begin at floats 0, 3, 7, 10
    for (uint32_t i = 0; i < 14; ++i) a.pfData[i] = static_cast<float>(i);
    IntegerPicture mask(3, 4, 8, 1, 6);
    for (uint32_t y = 0; y < 4; ++y) mask.row<uint8_t>(y)[0] = y == 2;
    float low = 0, high = 0;
    EXPECT_EQ(Api::GetFloatMinMax(&a, low, high, &mask, false), QM_OK);
    EXPECT_EQ(low, 7.0f);
    EXPECT_EQ(high, 7.0f);
}

TEST(FloatPicBufMaskedMinMax, RunsOverAllPixelsWhenTheMaskIsUnusable) {
    Picture a(3, 2, 2);
    a.count_up();
    IntegerPicture mask(3, 2, 8, 1), wide(4, 2, 8, 1), high(3, 3, 8, 1), deep(3, 2, 16, 1),
        shallow(3, 2, 7, 1), none(3, 2, 8, 1), empty(3, 2, 8, 1);
    none.uiComponents = 0;
    empty.pData = nullptr;
    const MinMax all{QM_OK, {bits(1), bits(2)}, {bits(11), bits(12)}};
    for (const bool inverse : {false, true}) {
        for (const IntegerPicture* const unusable : {&wide, &high, &deep, &shallow, &none, &empty})
            EXPECT_EQ(found_in(a, unusable, inverse), all);
        EXPECT_EQ(found_in(a, nullptr, inverse), all);
    }
    EXPECT_EQ(found_in(a, &mask, true), all);
    EXPECT_EQ(found_in(a, &mask, false).code, QM_BAD_BUFFER);
}

TEST(FloatPicBufMaskedMinMax, OfNothingIsMinusNineWithTheStartValues) {
    Picture a(3, 2, 2);
    a.count_up();
    IntegerPicture mask(3, 2, 8, 1);
    const uint32_t low = 0x7F7FFFFF, high = 0xFF7FFFFF;
    EXPECT_EQ(found_in(a, &mask, false), (MinMax{QM_BAD_BUFFER, {low, low}, {high, high}}));
    EXPECT_EQ(found_in_all(a, &mask, false), (MinMax{QM_BAD_BUFFER, {low}, {high}}));
    SQmFloatPicBuf empty = a;
    empty.uiHeight = 0;
    EXPECT_EQ(found_in(empty, nullptr, false), (MinMax{QM_BAD_BUFFER, {low, low}, {high, high}}));
    empty.uiHeight = 2, empty.uiComponents = 0;
    EXPECT_EQ(found_in(empty, nullptr, false), (MinMax{QM_BAD_BUFFER, {}, {}}));
}

// What the other components hold does not count for the code.
TEST(FloatPicBufMaskedMinMax, IsMinusNineWhenTheFirstComponentHasNoValue) {
    Picture a(2, 1, 2);
    std::copy_n(std::array{kNaN, 3.0f, kNaN, 4.0f}.data(), 4, a.pfData);
    const uint32_t low = 0x7F7FFFFF, high = 0xFF7FFFFF;
    EXPECT_EQ(found_in(a, nullptr, false),
              (MinMax{QM_BAD_BUFFER, {low, bits(3)}, {high, bits(4)}}));
    EXPECT_EQ(found_in_all(a, nullptr, false), (MinMax{QM_BAD_BUFFER, {low}, {high}}));
    std::copy_n(std::array{3.0f, kNaN, 4.0f, kNaN}.data(), 4, a.pfData);
    EXPECT_EQ(found_in(a, nullptr, false), (MinMax{QM_OK, {bits(3), low}, {bits(4), high}}));
    EXPECT_EQ(found_in_all(a, nullptr, false), (MinMax{QM_OK, {bits(3)}, {bits(4)}}));
}

TEST(FloatPicBufMaskedMinMax, RunsInTheCallingThread) {
    if (!WatchedRegions::kWorks) return;
    Picture a(64, 64, 3);
    IntegerPicture mask(64, 64, 8, 1);
    WatchedRegions regions;
    found_in(a, &mask, true);
    Api::SetValue(&a, 1);
    EXPECT_TRUE(regions.teams().empty());
}

}  // namespace
}  // namespace qmpic::test
