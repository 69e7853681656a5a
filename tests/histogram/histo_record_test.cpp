#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "histogram/histo.h"
#include "qmpic/Histo.h"
#include "qmpic/status.h"
#include "qmpic/system/Alloc.h"
#include "support/cases.h"
#include "support/failing_alloc.h"

namespace qmpic::test {
namespace {

using Api = CQmHistoAPI_Base;

const bool registered =
    add_cases({}, {},
              {"CQmHistoAPI_Base::Init", "CQmHistoAPI_Base::Reinit32", "CQmHistoAPI_Base::Reinit64",
               "CQmHistoAPI_Base::Free", "CQmHistoAPI_Base::ResetToZero", "CQmHistoAPI_Base::Copy",
               "CQmHistoAPI_Base::Add", "CQmHistoAPI_Base::GetValue"});

constexpr uint64_t kRejected = 0xFFFFFFFFFFFFFFFC, kBadBuffer = 0xFFFFFFFFFFFFFFF7;

/// A format whose address may be taken where it is written.
struct Format : SQmPicBufDesc {
    operator const SQmPicBufDesc*() const { return this; }
};

/// Where a block begins.
uint8_t* block(const SQmHisto& histo, uint32_t index) {
    return static_cast<uint8_t*>(histo.pData) + index * (size_t{histo.uiBinBytes} << histo.uiBits);
}

TEST(HistoRecord, HasItsLayout) {
    EXPECT_EQ(sizeof(SQmHisto), 64u);
    EXPECT_EQ(offsetof(SQmHisto, pData), 0u);
    EXPECT_EQ(offsetof(SQmHisto, ppCompData), 8u);
    EXPECT_EQ(offsetof(SQmHisto, uiBinBytes), 16u);
    EXPECT_EQ(offsetof(SQmHisto, uiComponents), 20u);
    EXPECT_EQ(offsetof(SQmHisto, uiBits), 24u);
    EXPECT_EQ(offsetof(SQmHisto, uiRoiMode), 28u);
    EXPECT_EQ(offsetof(SQmHisto, uiLeft), 32u);
    EXPECT_EQ(offsetof(SQmHisto, uiTop), 36u);
    EXPECT_EQ(offsetof(SQmHisto, uiWidth), 40u);
    EXPECT_EQ(offsetof(SQmHisto, uiHeight), 44u);
    EXPECT_EQ(offsetof(SQmHisto, uiStepX), 48u);
    EXPECT_EQ(offsetof(SQmHisto, uiStepY), 52u);
    EXPECT_EQ(offsetof(SQmHisto, uiPicWidth), 56u);
    EXPECT_EQ(offsetof(SQmHisto, uiPicHeight), 60u);
}

TEST(HistoInit, MakesAllFieldsZeroAndTheStepsOne) {
    SQmHisto histo;
    std::memset(&histo, 0xA5, sizeof histo);
    Api::Init(&histo);
    SQmHisto expected;
    std::memset(&expected, 0, sizeof expected);
    expected.uiStepX = expected.uiStepY = 1;
    EXPECT_EQ(std::memcmp(&histo, &expected, sizeof histo), 0);
}

TEST(HistoReinit32, GivesOneComponentOneBlock) {
    const Histo histo(4, describe(20, 10, 8, 1));
    EXPECT_EQ(histo.uiBinBytes, 4u);
    EXPECT_EQ(histo.uiComponents, 1u);
    EXPECT_EQ(histo.uiBits, 8u);
    EXPECT_EQ(histo.uiWidth, 20u);
    EXPECT_EQ(histo.uiPicWidth, 20u);
    EXPECT_EQ(histo.uiHeight, 10u);
    EXPECT_EQ(histo.uiPicHeight, 10u);
    EXPECT_EQ(histo.uiRoiMode, 0u);
    EXPECT_EQ(histo.uiStepX, 1u);
    EXPECT_EQ(histo.uiStepY, 1u);
    ASSERT_NE(histo.pData, nullptr);
    EXPECT_EQ(histo.ppCompData[0], histo.pData);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(histo.pData) % 16, 0u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(histo.ppCompData) % 16, 0u);
    EXPECT_EQ(histo.all(), std::vector<uint64_t>(256, 0));
}

TEST(HistoReinit32, GivesSeveralComponentsABlockEachBehindTheIntensitys) {
    for (const uint32_t components : {2u, 3u, 4u, 5u, 192u}) {
        const Histo histo(4, describe(3, 2, 12, components));
        ASSERT_NE(histo.pData, nullptr);
        for (uint32_t c = 0; c < components; ++c)
            EXPECT_EQ(histo.ppCompData[c], block(histo, c + 1));
        EXPECT_EQ(histo.all(), std::vector<uint64_t>((components + 1) * 4096, 0));
    }
}

// More than 16 bits are never the record's, and so it is made anew each time.
TEST(HistoReinit32, LimitsItsBitsToSixteen) {
    Histo histo(4, describe(3, 2, 24, 1));
    EXPECT_EQ(histo.uiBits, 16u);
    EXPECT_EQ(histo.all().size(), 65536u);
    EXPECT_EQ(Api::Reinit32(&histo, Format{describe(7, 5, 24, 1)}), QM_OK);
    EXPECT_EQ(histo.uiWidth, 7u);
    EXPECT_EQ(histo.uiPicHeight, 5u);
}

TEST(HistoReinit32, LeavesARecordOfTheFormatWithItsOldSizeAndCounts) {
    Histo histo(4, describe(20, 10, 8, 3));
    histo.set(2, 17, 5);
    const SQmHisto before = histo;
    EXPECT_EQ(Api::Reinit32(&histo, Format{describe(40, 30, 8, 3)}), QM_OK);
    EXPECT_EQ(std::memcmp(&histo, &before, sizeof before), 0);
    EXPECT_EQ(Api::GetValue(&histo, 1, 17), 5u);
}

TEST(HistoReinit32, MakesARecordAnewThatDiffersInOneThing) {
    for (const auto& other : {describe(40, 30, 9, 3), describe(40, 30, 8, 4)}) {
        Histo histo(4, describe(20, 10, 8, 3));
        EXPECT_EQ(Api::Reinit32(&histo, &other), QM_OK);
        EXPECT_EQ(histo.uiWidth, 40u);
        EXPECT_EQ(histo.uiBits, other.uiBpc);
        EXPECT_EQ(histo.uiComponents, other.uiComponents);
        EXPECT_EQ(histo.ppCompData[other.uiComponents - 1], block(histo, other.uiComponents));
    }
    Histo wide(8, describe(20, 10, 8, 3));
    EXPECT_EQ(Api::Reinit32(&wide, Format{describe(40, 30, 8, 3)}), QM_OK);
    EXPECT_EQ(wide.uiBinBytes, 4u);
    EXPECT_EQ(wide.uiWidth, 40u);
    Histo released(4, describe(20, 10, 8, 3));
    Api::Free(&released);
    EXPECT_EQ(Api::Reinit32(&released, Format{describe(40, 30, 8, 3)}), QM_OK);
    EXPECT_NE(released.pData, nullptr);
    EXPECT_EQ(released.uiWidth, 40u);
}

// Of the rectangle, only its size is the picture's.
TEST(HistoReinit, LeavesModeCornerAndSteps) {
    for (int (*const reinit)(SQmHisto*, const SQmPicBufDesc*) : {Api::Reinit32, Api::Reinit64}) {
        Histo histo;
        histo.uiRoiMode = 1, histo.uiLeft = 2, histo.uiTop = 3, histo.uiStepX = 4;
        histo.uiStepY = 5;
        reinit(&histo, Format{describe(20, 10, 8, 1)});
        EXPECT_EQ(histo.uiRoiMode, 1u);
        EXPECT_EQ(histo.uiLeft, 2u);
        EXPECT_EQ(histo.uiTop, 3u);
        EXPECT_EQ(histo.uiStepX, 4u);
        EXPECT_EQ(histo.uiStepY, 5u);
        EXPECT_EQ(histo.uiWidth, 20u);
    }
}

TEST(HistoReinit, KeepsOldBinsAndAddsZeros) {
    Histo histo(4, describe(20, 10, 8, 1));
    for (uint32_t i = 0; i < 256; ++i) histo.set(0, i, i + 1);
    Api::Reinit32(&histo, Format{describe(20, 10, 9, 1)});
    for (uint32_t i = 0; i < 512; ++i)
        ASSERT_EQ(Api::GetValue(&histo, 0, i), i < 256 ? i + 1 : 0) << i;
    Api::Reinit32(&histo, Format{describe(20, 10, 4, 1)});
    ASSERT_EQ(histo.all().size(), 16u);
    EXPECT_EQ(Api::GetValue(&histo, 0, 15), 16u);
}

TEST(HistoReinit64, DoesNotLimitItsBits) {
    const Histo histo(8, describe(3, 2, 18, 1));
    EXPECT_EQ(histo.uiBinBytes, 8u);
    EXPECT_EQ(histo.uiBits, 18u);
    ASSERT_NE(histo.pData, nullptr);
    EXPECT_EQ(Api::GetValue(&histo, 0, (1 << 18) - 1), 0u);
    EXPECT_EQ(Api::GetValue(&histo, 0, 1 << 18), kRejected);
}

TEST(HistoReinit64, GivesSeveralComponentsABlockEachBehindTheIntensitys) {
    const Histo histo(8, describe(3, 2, 10, 2));
    EXPECT_EQ(histo.ppCompData[0], static_cast<uint8_t*>(histo.pData) + 8 * 1024);
    EXPECT_EQ(histo.ppCompData[1], static_cast<uint8_t*>(histo.pData) + 2 * 8 * 1024);
    EXPECT_EQ(histo.all(), std::vector<uint64_t>(3 * 1024, 0));
}

TEST(HistoReinit64, LeavesNarrowBinsOfTheFormat) {
    Histo histo(4, describe(20, 10, 8, 1));
    const SQmHisto before = histo;
    EXPECT_EQ(Api::Reinit64(&histo, Format{describe(40, 30, 8, 1)}), QM_OK);
    EXPECT_EQ(std::memcmp(&histo, &before, sizeof before), 0);
    // And without a look at the memory.
    Api::Free(&histo);
    EXPECT_EQ(Api::Reinit64(&histo, Format{describe(40, 30, 8, 1)}), QM_OK);
    EXPECT_EQ(histo.pData, nullptr);
    EXPECT_EQ(histo.uiBinBytes, 4u);
    EXPECT_EQ(histo.uiWidth, 20u);
}

TEST(HistoReinit64, MakesWideBinsAnewAndKeepsTheirCounts) {
    Histo histo(8, describe(20, 10, 8, 3));
    histo.set(3, 255, 0x123456789A);
    EXPECT_EQ(Api::Reinit64(&histo, Format{describe(40, 30, 8, 3)}), QM_OK);
    EXPECT_EQ(histo.uiWidth, 40u);  // unlike Reinit32
    EXPECT_EQ(histo.uiPicHeight, 30u);
    EXPECT_EQ(histo.uiBinBytes, 8u);
    EXPECT_EQ(Api::GetValue(&histo, 2, 255), 0x123456789Au);
}

TEST(HistoReinit64, WidensNarrowBinsOfAnotherFormat) {
    Histo histo(4, describe(20, 10, 8, 1));
    EXPECT_EQ(Api::Reinit64(&histo, Format{describe(20, 10, 9, 1)}), QM_OK);
    EXPECT_EQ(histo.uiBinBytes, 8u);
    EXPECT_EQ(histo.uiBits, 9u);
}

TEST(HistoReinit, GivesAFormatOfNoComponentsOneBlockOnly) {
    Histo histo(4, describe(3, 2, 8, 3));
    EXPECT_EQ(Api::Reinit32(&histo, Format{describe(3, 2, 8, 0)}), QM_OK);
    EXPECT_NE(histo.pData, nullptr);
    EXPECT_EQ(histo.ppCompData, nullptr);
    EXPECT_EQ(Api::GetValue(&histo, 0, 0), kRejected);
    Api::ResetToZero(&histo);
}

// Sizes are made in 64 bits, and what does not fit there is as good as no memory.
TEST(HistoReinit, StaysEmptyWithoutMemory) {
    struct {
        uint32_t bpc, components;
    } const formats[] = {{60, 1}, {64, 1}, {255, 3}, {32, 0xFFFFFFFF}, {31, 0x1FFFFFFF}};
    for (const auto& [bpc, components] : formats) {
        Histo histo(4, describe(3, 2, 8, 3));
        const auto format = describe(5, 4, bpc, components);
        EXPECT_EQ(Api::Reinit64(&histo, &format), QM_OK);
        EXPECT_EQ(histo.pData, nullptr);
        EXPECT_EQ(histo.ppCompData, nullptr);
        EXPECT_EQ(histo.uiBits, bpc);
        EXPECT_EQ(histo.uiComponents, components);
        Api::ResetToZero(&histo);
        EXPECT_EQ(Api::GetValue(&histo, 0, 0), kRejected);
    }
}

TEST(HistoReinit, LosesNothingWhenMemoryRunsOut) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const auto calls = each_failure(
        [] {
            SQmHisto histo;
            Api::Init(&histo);
            int code = Api::Reinit32(&histo, Format{describe(3, 2, 8, 3)});
            code |= Api::Reinit32(&histo, Format{describe(3, 2, 10, 5)});
            code |= (histo.pData == nullptr) != (histo.ppCompData == nullptr);
            Api::ResetToZero(&histo);
            Api::Free(&histo);
            return code;
        },
        [](uint32_t n, const Outcome& outcome) {
            EXPECT_EQ(outcome.code, QM_OK) << n;
            EXPECT_FALSE(outcome.threw);
            EXPECT_EQ(outcome.live, 0) << n;
        });
    EXPECT_EQ(calls, 4u);
}

TEST(HistoFree, ReleasesTheArraysAndKeepsTheOtherFields) {
    Histo histo(4, describe(20, 10, 12, 3));
    SQmHisto expected = histo;
    expected.pData = nullptr;
    expected.ppCompData = nullptr;
    Api::Free(&histo);
    EXPECT_EQ(std::memcmp(&histo, &expected, sizeof expected), 0);
    Api::Free(&histo);  // nothing more to release
    EXPECT_EQ(std::memcmp(&histo, &expected, sizeof expected), 0);
}

TEST(HistoResetToZero, ClearsAllBlocks) {
    for (const uint32_t components : {1u, 2u, 5u})
        for (const uint32_t bytes : {4u, 8u}) {
            Histo histo(bytes, describe(3, 2, 9, components));
            for (uint32_t b = 0; b < histo.blocks(); ++b)
                for (uint32_t i = 0; i < 512; ++i) histo.set(b, i, b * 1000 + i + 1);
            Api::ResetToZero(&histo);
            EXPECT_EQ(histo.all(), std::vector<uint64_t>(histo.blocks() * 512, 0));
        }
}

TEST(HistoCopy, TakesAllFieldsAndCounts) {
    for (const uint32_t bytes : {4u, 8u})
        for (const uint32_t components : {1u, 2u, 3u}) {
            Histo from(bytes, describe(20, 10, 9, components));
            from.uiRoiMode = 1, from.uiLeft = 2, from.uiTop = 3, from.uiWidth = 4;
            from.uiHeight = 5, from.uiStepX = 6, from.uiStepY = 7;
            for (uint32_t b = 0; b < from.blocks(); ++b)
                for (uint32_t i = 0; i < 512; ++i) from.set(b, i, b * 1000 + i + 1);
            for (const bool there : {false, true}) {
                Histo to;
                if (there) Api::Reinit32(&to, Format{describe(1, 1, 4, 7)});
                ASSERT_EQ(Api::Copy(&to, &from), QM_OK);
                EXPECT_EQ(to.all(), from.all());
                EXPECT_NE(to.pData, from.pData);
                EXPECT_EQ(to.ppCompData[components - 1],
                          block(to, components == 1 ? 0 : components));
                EXPECT_EQ(to.uiBinBytes, bytes);
                EXPECT_EQ(to.uiComponents, components);
                EXPECT_EQ(to.uiBits, 9u);
                // The nine fields from the mode to the picture's height stand side by side.
                EXPECT_EQ(std::memcmp(&to.uiRoiMode, &from.uiRoiMode, 9 * 4), 0);
            }
        }
}

TEST(HistoCopy, KeepsMemoryThatFits) {
    Histo from(4, describe(20, 10, 8, 3)), to(4, describe(1, 1, 8, 3));
    from.set(0, 1, 9);
    void* const data = to.pData;
    void** const components = to.ppCompData;
    ASSERT_EQ(Api::Copy(&to, &from), QM_OK);
    EXPECT_EQ(to.pData, data);
    EXPECT_EQ(to.ppCompData, components);
    EXPECT_EQ(to.all(), from.all());
    EXPECT_EQ(to.uiPicWidth, 20u);
    ASSERT_EQ(Api::Copy(&from, &from), QM_OK);
    EXPECT_EQ(to.all(), from.all());
}

TEST(HistoCopy, RefusesNullAndASourceWithoutMemory) {
    Histo none, to(4, describe(20, 10, 8, 3));
    const SQmHisto before = to;
    EXPECT_EQ(Api::Copy(&to, &none), QM_BAD_BUFFER);
    EXPECT_EQ(Api::Copy(&to, nullptr), QM_BAD_BUFFER);
    EXPECT_EQ(std::memcmp(&to, &before, sizeof before), 0);
    EXPECT_EQ(Api::Copy(nullptr, &to), QM_BAD_BUFFER);
}

TEST(HistoCopy, RefusesWithoutMemoryAndLosesNothing) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const Histo from(4, describe(20, 10, 8, 3));
    for (const uint32_t n : {1u, 2u}) {
        SQmHisto to;
        Api::Init(&to);
        const Outcome outcome = with_failing(n, FailingAlloc::kOnce, [&] {
            const int code = Api::Copy(&to, &from);
            Api::Free(&to);
            return code;
        });
        EXPECT_EQ(outcome.code, QM_BAD_BUFFER);
        EXPECT_EQ(outcome.live, 0);
    }
}

TEST(HistoAdd, AddsEveryBlock) {
    for (const uint32_t bytes : {4u, 8u})
        for (const uint32_t components : {1u, 2u, 5u}) {
            Histo to(bytes, describe(3, 2, 8, components)),
                from(bytes, describe(30, 20, 8, components));
            std::vector<uint64_t> expected;
            for (uint32_t b = 0; b < from.blocks(); ++b)
                for (uint32_t i = 0; i < 256; ++i) {
                    to.set(b, i, b * 1000 + i);
                    from.set(b, i, b * 7 + 3 * i);
                    expected.push_back(b * 1007 + 4 * i);  // once, also with a single block
                }
            EXPECT_EQ(Api::Add(&to, &from), QM_OK);
            EXPECT_EQ(to.all(), expected);
            EXPECT_EQ(to.uiWidth, 3u);
        }
}

TEST(HistoAdd, WrapsAtTheWidthOfTheBins) {
    Histo a(4, describe(3, 2, 8, 1)), b(4, describe(3, 2, 8, 1));
    a.set(0, 5, 0xFFFFFFFF);
    b.set(0, 5, 3);
    EXPECT_EQ(Api::Add(&a, &b), QM_OK);
    EXPECT_EQ(Api::GetValue(&a, 0, 5), 2u);
    EXPECT_EQ(Api::GetValue(&a, 0, 6), 0u);
}

TEST(HistoAdd, RefusesOtherBitsAndComponents) {
    Histo a(4, describe(3, 2, 8, 3)), bits(4, describe(3, 2, 9, 3)),
        components(4, describe(3, 2, 8, 4));
    for (Histo* const other : {&bits, &components}) {
        other->set(0, 0, 1);
        EXPECT_EQ(Api::Add(&a, other), QM_BAD_BUFFER);
        EXPECT_EQ(Api::Add(other, &a), QM_BAD_BUFFER);
        EXPECT_EQ(Api::Add(&a, nullptr), QM_BAD_BUFFER);
        EXPECT_EQ(Api::Add(nullptr, &a), QM_BAD_BUFFER);
        EXPECT_EQ(a.all(), std::vector<uint64_t>(4 * 256, 0));
    }
}

// In words of 4 bytes from each block's start.
TEST(HistoAdd, AddsNarrowBinsToTheWordsOfWideOnes) {
    Histo wide(8, describe(3, 2, 8, 2)), narrow(4, describe(3, 2, 8, 2));
    narrow.set(0, 0, 1);
    narrow.set(1, 2, 20);
    narrow.set(2, 3, 30);
    wide.set(2, 1, 0xFFFFFFFF00000000);
    EXPECT_EQ(Api::Add(&wide, &narrow), QM_OK);
    std::vector<uint64_t> expected(3 * 256, 0);
    expected[0] = 1;
    expected[256 + 1] = 20;                  // words 2 and 3 are bin 1
    expected[512 + 1] = uint64_t{29} << 32;  // wraps in its 32 bits
    EXPECT_EQ(wide.all(), expected);
}

TEST(HistoAdd, RefusesWideBinsIntoNarrowOnes) {
    Histo wide(8, describe(3, 2, 8, 1)), narrow(4, describe(3, 2, 8, 1));
    wide.set(0, 3, 1);
    EXPECT_EQ(Api::Add(&narrow, &wide), QM_BAD_BUFFER);
    EXPECT_EQ(narrow.all(), std::vector<uint64_t>(256, 0));
}

TEST(HistoAdd, AddsNothingOfOrToARecordWithoutMemory) {
    Histo a(4, describe(3, 2, 8, 3)), b(4, describe(3, 2, 8, 3));
    a.set(0, 0, 1);
    Api::Free(&b);
    EXPECT_EQ(Api::Add(&a, &b), QM_OK);
    EXPECT_EQ(Api::Add(&b, &a), QM_OK);
    EXPECT_EQ(Api::Add(&b, &b), QM_OK);
    EXPECT_EQ(a.get(0, 0), 1u);
}

TEST(HistoGetValue, ReadsComponentsAndNotTheIntensity) {
    Histo narrow(4, describe(3, 2, 8, 3)), wide(8, describe(3, 2, 8, 1));
    narrow.set(0, 7, 1);
    narrow.set(1, 7, 20);
    narrow.set(3, 255, 0xFFFFFFFF);
    wide.set(0, 9, 0xFFFFFFFFFFFFFFF0);
    EXPECT_EQ(Api::GetValue(&narrow, 0, 7), 20u);
    EXPECT_EQ(Api::GetValue(&narrow, 2, 255), 0xFFFFFFFFu);
    EXPECT_EQ(Api::GetValue(&wide, 0, 9), 0xFFFFFFFFFFFFFFF0u);
}

TEST(HistoGetValue, GivesItsCodesAsHugeCounts) {
    Histo histo(4, describe(3, 2, 8, 3));
    EXPECT_EQ(Api::GetValue(nullptr, 0, 0), kRejected);
    EXPECT_EQ(Api::GetValue(&histo, 3, 0), kRejected);
    EXPECT_EQ(Api::GetValue(&histo, 0, 256), kRejected);
    EXPECT_EQ(Api::GetValue(&histo, 0, 0xFFFFFFFF), kRejected);
    for (const uint32_t bytes : {0u, 2u, 16u}) {
        histo.uiBinBytes = bytes;
        EXPECT_EQ(Api::GetValue(&histo, 0, 0), kBadBuffer);
        EXPECT_EQ(Api::GetValue(&histo, 3, 0), kRejected);  // asked first
    }
    histo.uiBinBytes = 4;
    Api::Free(&histo);
    EXPECT_EQ(Api::GetValue(&histo, 0, 0), kRejected);
    Histo fresh;
    EXPECT_EQ(Api::GetValue(&fresh, 0, 0), kRejected);
}

TEST(HistoRecord, MayBeNull) {
    const SQmPicBufDesc format = describe(3, 2, 8, 1);
    Histo histo;
    Api::Init(nullptr);
    Api::Free(nullptr);
    Api::ResetToZero(nullptr);
    EXPECT_EQ(Api::Reinit32(nullptr, &format), QM_BAD_BUFFER);
    EXPECT_EQ(Api::Reinit64(nullptr, &format), QM_BAD_BUFFER);
    EXPECT_EQ(Api::Reinit32(&histo, nullptr), QM_BAD_BUFFER);
    EXPECT_EQ(Api::Reinit64(&histo, nullptr), QM_BAD_BUFFER);
    Api::ResetToZero(&histo);  // 0 bytes
    EXPECT_EQ(histo.pData, nullptr);
}

}  // namespace
}  // namespace qmpic::test
