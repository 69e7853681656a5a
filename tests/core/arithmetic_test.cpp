#include "core/arithmetic.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qmpic::test {
namespace {

TEST(Arithmetic, ConversionsToIntegersAreDefinedForEveryInput) {
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(trunc_i32(-1.9), -1);
    EXPECT_EQ(trunc_i32(2147483647.9), INT32_MAX);
    EXPECT_EQ(trunc_i32(-2147483648.9), INT32_MIN);
    for (const double out : {2147483648.0, -2147483649.0, inf, -inf, std::nan("")})
        EXPECT_EQ(trunc_i32(out), INT32_MIN) << out;
    EXPECT_EQ(trunc_i32(-1.5f), -1);
    EXPECT_EQ(trunc_i32(2147483648.0f), INT32_MIN);
    EXPECT_EQ(trunc_i32(std::nanf("")), INT32_MIN);
    EXPECT_EQ(trunc_i64(1e18), 1000000000000000000);
    EXPECT_EQ(trunc_i64(1e19), INT64_MIN);
    EXPECT_EQ(trunc_u32(-1.5), 0xFFFFFFFFu);
    EXPECT_EQ(trunc_u32(1e10), 1410065408u);
    EXPECT_EQ(trunc_u32(std::nan("")), 0u);
    EXPECT_EQ(trunc_clamp(std::nan(""), 255), 0u);
    EXPECT_EQ(trunc_clamp(-inf, 255), 0u);
    EXPECT_EQ(trunc_clamp(254.99, 255), 254u);
    EXPECT_EQ(trunc_clamp(inf, 255), 255u);
}

TEST(Arithmetic, DivisionsByMultiplicationAreExact) {
    for (uint32_t v = 0; v <= 65535; ++v) {
        if (v < 65535) {
            ASSERT_EQ(div_255(v), v / 255);
        }
        ASSERT_EQ(div_255_in_16_bits(static_cast<uint16_t>(v)), v / 255);
    }
    // Exact at and below every multiple, hence everywhere between.
    for (uint32_t bpc = 8; bpc <= 16; ++bpc) {
        const uint64_t max = max_value(bpc);
        for (uint64_t k = 0; k <= max; ++k) {
            const auto at = static_cast<uint32_t>(k * max);
            ASSERT_EQ(div_max(at, bpc), k);
            if (k > 0) {
                ASSERT_EQ(div_max(at - 1, bpc), k - 1);
            }
        }
    }
    for (uint64_t k = 0; k <= 65535; ++k) {
        const auto at = static_cast<uint32_t>(k * 65535);
        ASSERT_EQ(div_65535(at), k);
        if (k > 0) {
            ASSERT_EQ(div_65535(at - 1), k - 1);
        }
    }
}

TEST(Arithmetic, ReciprocalsOfAllCounts) {
    // Exact at and below every multiple, hence everywhere between.
    for (uint32_t n = 2; n <= 255; ++n) {
        const Reciprocal by(n);
        for (uint32_t k = 0; k <= 65535; ++k) {
            ASSERT_EQ(by.quotient(k * n), k) << n;
            if (k > 0) {
                ASSERT_EQ(by.quotient(k * n - 1), k - 1) << n;
            }
        }
    }
    EXPECT_FALSE(Reciprocal::fits(0) || Reciprocal::fits(1) || Reciprocal::fits(256));
}

TEST(Arithmetic, MaximumOfADepth) {
    EXPECT_EQ(max_value(8), 255u);
    EXPECT_EQ(max_value(12), 4095u);
    EXPECT_EQ(max_value(32), 0xFFFFFFFFu);
}

}  // namespace
}  // namespace qmpic::test
