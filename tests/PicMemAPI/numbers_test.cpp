#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <thread>
#include <vector>

#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"

namespace qmpic::test {
namespace {

using Numbers = CQmPicMemAPI_Base;

const bool registered =
    add_cases({}, {},
              {"CQmPicMemAPI_Base::CalcCompSize", "CQmPicMemAPI_Base::CalcWidthBytes",
               "CQmPicMemAPI_Base::CalcUintMax", "CQmPicMemAPI_Base::CalcIntMax",
               "CQmPicMemAPI_Base::CalcIntMin", "CQmPicMemAPI_Base::CalcDblMax",
               "CQmPicMemAPI_Base::CalcUintToDbl", "CQmPicMemAPI_Base::CalcDblToUint",
               "CQmPicMemAPI_Base::CalcDecimalPrecision", "CQmPicMemAPI_Base::CalcConvertBpc",
               "CQmPicMemAPI_Base::IsCPU_SSE2", "CQmPicMemAPI_Base::s_bCPUInfoInited",
               "CQmPicMemAPI_Base::s_piCPUInfo"});

TEST(CalcCompSize, IsAPowerOfTwoAndZeroForNoBitsAndForTooMany) {
    for (uint32_t bpc = 0; bpc <= 100; ++bpc)
        EXPECT_EQ(Numbers::CalcCompSize(bpc), bpc == 0    ? 0u
                                              : bpc <= 8  ? 1u
                                              : bpc <= 16 ? 2u
                                              : bpc <= 32 ? 4u
                                              : bpc <= 64 ? 8u
                                                          : 0u)
            << bpc;
    for (const uint32_t bpc : {0xFFFFFFF8u, 0xFFFFFFF9u, 0xFFFFFFFFu})
        EXPECT_EQ(Numbers::CalcCompSize(bpc), 0u);
}

TEST(CalcWidthBytes, RoundsUpInWrapping32Bits) {
    EXPECT_EQ(Numbers::CalcWidthBytes(1, 8, 1, 4), 4u);
    EXPECT_EQ(Numbers::CalcWidthBytes(5, 8, 3, 4), 16u);
    EXPECT_EQ(Numbers::CalcWidthBytes(5, 8, 3, 1), 15u);
    EXPECT_EQ(Numbers::CalcWidthBytes(5, 8, 3, 7), 21u);
    EXPECT_EQ(Numbers::CalcWidthBytes(5, 24, 1, 4), 20u);  // 4 bytes a component
    EXPECT_EQ(Numbers::CalcWidthBytes(0, 8, 1, 4), 0u);
    EXPECT_EQ(Numbers::CalcWidthBytes(5, 0, 3, 4), 0u);
    EXPECT_EQ(Numbers::CalcWidthBytes(0x40000000, 16, 2, 4), 0u);
    EXPECT_EQ(Numbers::CalcWidthBytes(0x80000001, 16, 1, 4), 4u);
    EXPECT_EQ(Numbers::CalcWidthBytes(0xFFFFFFFF, 8, 1, 4), 0u);
}

TEST(CalcUintMax, IsTheGreatestUnsignedValue) {
    uint64_t power = 1;
    for (uint32_t bpc = 0; bpc <= 32; ++bpc, power *= 2)
        EXPECT_EQ(Numbers::CalcUintMax(bpc), power - 1) << bpc;
    EXPECT_EQ(Numbers::CalcUintMax(33), 1u);  // shifts count modulo 32
    EXPECT_EQ(Numbers::CalcUintMax(64), 0u);
}

TEST(CalcIntMaxAndMin, AreTheLimitsOfSignedValues) {
    int64_t power = 1;
    for (uint32_t bpc = 1; bpc <= 32; ++bpc, power *= 2) {
        EXPECT_EQ(Numbers::CalcIntMax(bpc), power - 1) << bpc;
        EXPECT_EQ(Numbers::CalcIntMin(bpc), -power) << bpc;
    }
    EXPECT_EQ(Numbers::CalcIntMin(8), -128);
    EXPECT_EQ(Numbers::CalcIntMax(0), 0x7FFFFFFF);
    EXPECT_EQ(Numbers::CalcIntMin(0), INT32_MIN);
    EXPECT_EQ(Numbers::CalcIntMax(33), 0);
    EXPECT_EQ(Numbers::CalcIntMin(33), -1);
}

TEST(CalcDblMax, IsTheGreatestValueOnTheScaleOf8Bits) {
    for (const uint32_t bpc : {0u, 1u, 7u, 8u}) EXPECT_EQ(Numbers::CalcDblMax(bpc), 255.0);
    EXPECT_EQ(Numbers::CalcDblMax(9), 255.5);
    EXPECT_EQ(Numbers::CalcDblMax(12), 255.9375);
    EXPECT_EQ(Numbers::CalcDblMax(16), 255.99609375);
    EXPECT_EQ(Numbers::CalcDblMax(32), 255.0 + 16777215.0 / 16777216.0);
    EXPECT_EQ(Numbers::CalcDblMax(40), 255.0);  // shifts count modulo 32
}

TEST(CalcUintToDbl, AndBackAreTheScaleOf8Bits) {
    EXPECT_EQ(Numbers::CalcUintToDbl(24, 12), 1.5);
    EXPECT_EQ(Numbers::CalcDblToUint(1.5, 12), 24u);
    EXPECT_EQ(Numbers::CalcUintToDbl(200, 8), 200.0);
    EXPECT_EQ(Numbers::CalcUintToDbl(100, 5), 100.0);
    EXPECT_EQ(Numbers::CalcUintToDbl(0xFFFFFFFF, 8), 4294967295.0);
    EXPECT_EQ(Numbers::CalcUintToDbl(65535, 16), 255.99609375);
    for (uint32_t bpc = 8; bpc <= 24; ++bpc)
        for (const uint32_t value : {0u, 1u, 254u, 255u, 4095u, 65535u, 0xFFFFFFu})
            EXPECT_EQ(Numbers::CalcDblToUint(Numbers::CalcUintToDbl(value, bpc), bpc), value);
}

TEST(CalcDblToUint, TruncatesAndTakesTheLow32BitsOfWhatDoesNotFit) {
    EXPECT_EQ(Numbers::CalcDblToUint(1.99, 8), 1u);
    EXPECT_EQ(Numbers::CalcDblToUint(1.99, 9), 3u);
    EXPECT_EQ(Numbers::CalcDblToUint(-0.9, 8), 0u);
    EXPECT_EQ(Numbers::CalcDblToUint(-1.5, 8), 0xFFFFFFFFu);
    EXPECT_EQ(Numbers::CalcDblToUint(1e10, 8), 1410065408u);
    for (const double none : {std::nan(""), std::numeric_limits<double>::infinity(), -1e300})
        EXPECT_EQ(Numbers::CalcDblToUint(none, 8), 0u);
}

TEST(CalcDecimalPrecision, IsTheDigitsOfTheSteps) {
    const std::vector<std::pair<uint32_t, uint32_t>> known{
        {0, 0},  {1, 0},  {8, 0},  {9, 1},  {11, 1}, {12, 2}, {14, 2}, {15, 3},
        {16, 3}, {17, 3}, {18, 4}, {20, 4}, {21, 4}, {22, 5}, {32, 8}};
    for (const auto& [bpc, digits] : known)
        EXPECT_EQ(Numbers::CalcDecimalPrecision(bpc), digits) << bpc;
}

TEST(CalcConvertBpc, KeepsFullScaleAndTruncatesDownwards) {
    EXPECT_EQ(Numbers::CalcConvertBpc(16, 255, 8), 65535u);
    EXPECT_EQ(Numbers::CalcConvertBpc(8, 65535, 16), 255u);
    EXPECT_EQ(Numbers::CalcConvertBpc(12, 255, 8), 4095u);
    for (uint32_t value = 0; value <= 255; ++value) {
        EXPECT_EQ(Numbers::CalcConvertBpc(16, value, 8), value * 257);
        EXPECT_EQ(Numbers::CalcConvertBpc(8, value, 8), value);
    }
    EXPECT_EQ(Numbers::CalcConvertBpc(8, 0x1FF, 9), 255u);
    EXPECT_EQ(Numbers::CalcConvertBpc(8, 0xFFF, 12), 255u);
    EXPECT_EQ(Numbers::CalcConvertBpc(8, 0xFEF, 12), 254u);
    // More than twice the bits: 2 * 8 - 20 is -4, a shift by 28, which leaves nothing.
    EXPECT_EQ(Numbers::CalcConvertBpc(20, 255, 8), 255u << 12);
    EXPECT_EQ(Numbers::CalcConvertBpc(32, 255, 8), (255u << 24) + (255u >> 16));
    // 2 * 1 - 34 is -32, a shift by 0, and 33 counts as 1.
    EXPECT_EQ(Numbers::CalcConvertBpc(34, 1, 1), 3u);
    EXPECT_EQ(Numbers::CalcConvertBpc(1, 6, 34), 3u);
}

class Processor : public testing::Test {
  protected:
    const bool inited_ = Numbers::s_bCPUInfoInited;
    const std::vector<int32_t> info_{Numbers::s_piCPUInfo, Numbers::s_piCPUInfo + 4};
    ~Processor() override {
        std::copy(info_.begin(), info_.end(), Numbers::s_piCPUInfo);
        Numbers::s_bCPUInfoInited = inited_;
    }
};

TEST_F(Processor, IsAskedByTheFirstCallAndBelievedByEveryOther) {
    constexpr int32_t kSse2 = 1 << 26;
    Numbers::s_bCPUInfoInited = false;
    std::fill_n(Numbers::s_piCPUInfo, 4, 0);
    EXPECT_TRUE(Numbers::IsCPU_SSE2());
    EXPECT_TRUE(Numbers::s_bCPUInfoInited);
    EXPECT_NE(Numbers::s_piCPUInfo[0], 0);  // family, model and stepping
    EXPECT_NE(Numbers::s_piCPUInfo[3] & kSse2, 0);
    EXPECT_NE(Numbers::s_piCPUInfo[2] & 1, 0);  // SSE3, which each processor of ours has
    Numbers::s_piCPUInfo[3] &= ~kSse2;
    EXPECT_FALSE(Numbers::IsCPU_SSE2());
    EXPECT_FALSE(Numbers::IsCPU_SSE2());
    Numbers::s_piCPUInfo[3] = kSse2;
    EXPECT_TRUE(Numbers::IsCPU_SSE2());
    Numbers::s_piCPUInfo[3] = ~kSse2;
    EXPECT_FALSE(Numbers::IsCPU_SSE2());
    Numbers::s_bCPUInfoInited = false;  // and asked again
    EXPECT_TRUE(Numbers::IsCPU_SSE2());
}

TEST_F(Processor, MayBeAskedByManyThreadsAtFirst) {
    for (int round = 0; round < 50; ++round) {
        Numbers::s_bCPUInfoInited = false;
        std::fill_n(Numbers::s_piCPUInfo, 4, 0);
        std::vector<std::thread> callers;
        for (int i = 0; i < 8; ++i)
            callers.emplace_back([] { EXPECT_TRUE(Numbers::IsCPU_SSE2()); });
        for (std::thread& caller : callers) caller.join();
    }
}

}  // namespace
}  // namespace qmpic::test
