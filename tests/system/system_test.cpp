#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "qmpic/system/Alloc.h"
#include "qmpic/system/Diag.h"
#include "qmpic/system/RangeMask.h"
#include "support/cases.h"

namespace qmpic::test {
namespace {

const bool registered =
    add_cases({}, {},
              {"CQmAlloc::Alloc", "CQmAlloc::ReAlloc", "CQmAlloc::Free", "DiagAssertW",
               "QM_SetDiagHandler", "CQmRangeMask::CQmRangeMask", "CQmRangeMask::FULL_MASK",
               "CQmRangeMask::Reset", "CQmRangeMask::SetSize", "CQmRangeMask::Get",
               "CQmRangeMask::Set", "CQmRangeMask::SetAll", "CQmRangeMask::GetFirst",
               "CQmRangeMask::GetCount", "CQmRangeMask::IsMaskFull", "CQmRangeMask::SetMask"});

TEST(Alloc, HonoursAlignmentAndFillsWithZero) {
    for (const size_t alignment : {0u, 1u, 3u, 16u, 64u, 128u, 4096u})
        for (const size_t size : {1u, 15u, 64u, 100000u}) {
            auto* const block = static_cast<uint8_t*>(CQmAlloc::Alloc(8, size, alignment));
            ASSERT_NE(block, nullptr);
            const size_t least = alignment < 64 ? 64 : alignment;
            EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % least, 0u) << alignment;
            EXPECT_EQ(std::vector<uint8_t>(block, block + size), std::vector<uint8_t>(size));
            CQmAlloc::Free(block);
        }
}

TEST(Alloc, ReAllocKeepsTheContentsAndZeroesWhatIsNew) {
    auto* block = static_cast<uint8_t*>(CQmAlloc::ReAlloc(nullptr, 10, 0, 16));
    ASSERT_NE(block, nullptr);
    std::memset(block, 7, 10);
    block = static_cast<uint8_t*>(CQmAlloc::ReAlloc(block, 4, 8, 16));
    block = static_cast<uint8_t*>(CQmAlloc::ReAlloc(block, 12, 8, 16));
    // Zero is what lies beyond the four bytes that were asked for last.
    EXPECT_EQ(std::vector<uint8_t>(block, block + 12),
              (std::vector<uint8_t>{7, 7, 7, 7, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(CQmAlloc::ReAlloc(block, SIZE_MAX - 8, 0, 16), nullptr);  // and the block lives
    EXPECT_EQ(block[3], 7);
    EXPECT_EQ(CQmAlloc::ReAlloc(block, 0, 0, 16), nullptr);  // released
}

TEST(Alloc, NothingAndTooMuchGiveNull) {
    EXPECT_EQ(CQmAlloc::Alloc(0, 0, 16), nullptr);
    EXPECT_EQ(CQmAlloc::Alloc(0, SIZE_MAX, 16), nullptr);
    EXPECT_EQ(CQmAlloc::Alloc(0, SIZE_MAX - 64, 16), nullptr);
    EXPECT_EQ(CQmAlloc::ReAlloc(nullptr, 0, 0, 16), nullptr);
    CQmAlloc::Free(nullptr);
}

std::wstring report;
void keep(const wchar_t* condition, const wchar_t* message, const wchar_t* source, unsigned line) {
    report = std::wstring(condition) + L"|" + (message ? message : L"null") + L"|" + source + L"|" +
             std::to_wstring(line);
}

TEST(Diag, ReportsAFailedConditionToTheHandlerAndReturns) {
    const QmDiagHandler before = QM_SetDiagHandler(keep);
    report.clear();
    DiagAssertW(true, L"fine", nullptr, L"source", 1);
    EXPECT_EQ(report, L"");
    DiagAssertW(false, L"size > 3", nullptr, L"source", 12);
    EXPECT_EQ(report, L"size > 3|null|source|12");
    EXPECT_EQ(QM_SetDiagHandler(before), keep);
    DiagAssertW(false, L"nobody listens", nullptr, L"source", 12);
    EXPECT_EQ(report, L"size > 3|null|source|12");
}

std::string bits_of(const CQmRangeMask& mask) {
    std::string text;
    for (uint32_t i = 0; i < mask.GetSize(); ++i) text += mask.Get(i) ? '1' : '0';
    return text;
}

TEST(RangeMask, IsMadeOfASizeAndARange) {
    EXPECT_EQ(CQmRangeMask().GetSize(), 0u);
    EXPECT_EQ(bits_of(CQmRangeMask(6, 1, 3, 1)), "011100");
    EXPECT_EQ(bits_of(CQmRangeMask(6, 1, 3, 0)), "000000");
    EXPECT_EQ(bits_of(CQmRangeMask(6, 4, 30, 1)), "000011");
    EXPECT_EQ(bits_of(CQmRangeMask(6, 4, 3, 1)), "000000");
    const CQmRangeMask full(192, 0, 191, 1);
    EXPECT_EQ(full.GetSize(), 192u);
    EXPECT_EQ(full.GetCount(), 192u);
    EXPECT_EQ(CQmRangeMask(300, 0, 0xFFFFFFFF, 1), full);
    for (uint32_t first = 0; first < 192; first += 7)
        for (uint32_t last = first; last < 192; last += 11) {
            const CQmRangeMask mask(192, first, last, 1);
            EXPECT_EQ(mask.GetCount(), last - first + 1);
            EXPECT_TRUE(mask.Get(first) && mask.Get(last));
        }
}

TEST(RangeMask, IgnoresWhatLiesBeyondItsSize) {
    CQmRangeMask mask(70, 0, 69, 1);
    EXPECT_FALSE(mask.Get(70));
    mask.Set(70);
    mask.SetSize(192);
    EXPECT_EQ(mask.GetCount(), 70u);
    mask.Set(191);
    EXPECT_TRUE(mask.Get(191));
    EXPECT_EQ(mask.GetMask()[2], uint64_t{1} << 63);
    mask.SetSize(64);
    mask.SetSize(192);
    EXPECT_EQ(mask.GetCount(), 64u);
    mask.Set(3, false);
    EXPECT_FALSE(mask.Get(3));
    mask.Reset();
    EXPECT_EQ(mask, CQmRangeMask());
}

TEST(RangeMask, FindsAndCounts) {
    CQmRangeMask mask(192, 130, 131, 1);
    uint32_t first = 77;
    EXPECT_TRUE(mask.GetFirst(&first));
    EXPECT_EQ(first, 130u);
    EXPECT_EQ(mask.GetCount(131), 1u);
    EXPECT_EQ(mask.GetCount(0), 0u);
    EXPECT_EQ(mask.GetCount(-1), 2u);
    EXPECT_EQ(mask.GetCount(1000), 2u);
    mask.SetAll(false);
    first = 77;
    EXPECT_FALSE(mask.GetFirst(&first));
    EXPECT_EQ(first, 77u);
    mask.SetAll(true);
    EXPECT_TRUE(mask.IsMaskFull(192));
    mask.Set(65, false);
    EXPECT_TRUE(mask.IsMaskFull(65));
    EXPECT_FALSE(mask.IsMaskFull(66));
    EXPECT_TRUE(CQmRangeMask().IsMaskFull(0));
    EXPECT_FALSE(CQmRangeMask().IsMaskFull(1));
}

TEST(RangeMask, TakesAnIntegerAndNeverShrinksForIt) {
    CQmRangeMask mask;
    mask.SetMask(0x12);
    EXPECT_EQ(bits_of(mask), "01001");
    mask.SetMask(0);
    EXPECT_EQ(bits_of(mask), "00000");
    CQmRangeMask full(192, 0, 191, 1);
    full.SetMask(5);
    EXPECT_EQ(full.GetSize(), 192u);
    EXPECT_EQ(full.GetCount(), 2u);
}

}  // namespace
}  // namespace qmpic::test
