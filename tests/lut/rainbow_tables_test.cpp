#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <utility>
#include <vector>

#include "lut/sets.h"
#include "qmpic/Lut.h"
#include "qmpic/PredefLuts.h"
#include "support/cases.h"
#include "support/failing_alloc.h"

namespace qmpic::test {
namespace {

const bool registered =
    add_cases({}, {},
              {"SQmLut::CreateRainbowLUTTable", "SQmLut::CreateRainbowLUTTable2",
               "SQmLut::CreateRainbowLUTTableSpect_1Channel",
               "SQmLut::CreateRainbowLUTTableSpect_SameChannels",
               "SQmLut::CreateGradientTableC1ToC3", "SQmLut::FreeGradientTable"});

constexpr int kCustom = 255;

/// The lists, and a custom table of any colours while this lives.
class RainbowTables : public testing::Test {
  public:
    RainbowTables() : random_(50) {
        SQmLut::InitPredefLuts();
        CQmPredefLUTs::GetCustomLUTs(before_.data());
        for (uint8_t& byte : custom_) byte = static_cast<uint8_t>(random_.any());
        SQmLut::SetCustomLut(custom_.data());
    }
    ~RainbowTables() override { SQmLut::SetCustomLut(before_.data()); }

  protected:
    int any_index() {
        return random_.one_of({0, 1, 2, 7, 12, 19, 33, 45, 46, 100, kCustom, 256, -1});
    }
    /// Byte k of a row: blue, green, red of the colour at a position.
    static uint32_t colour_at(int index, uint32_t position, uint32_t k) {
        return CQmPredefLUTs::GetLUTEntryComp(index, std::min(position, 255u), 2 - k, 0.0, 0.0);
    }

    Random random_;
    std::array<uint8_t, 768> before_{}, custom_{};
};

TEST_F(RainbowTables, LookUpEveryValue) {
    for (int round = 0; round < 120; ++round) {
        const uint32_t bits = random_(0, 9) ? random_(1, 10) : random_(11, 16);
        Set made(bits, 1, 8, 3), expected(bits, 1, 8, 3), src(bits, 1, bits, 1);
        random_(0, 3) ? src.fill(random_) : src.scramble(random_);
        made.scramble(random_);
        const int index = any_index();
        expected.for_each_cell([&](uint32_t c, uint32_t i, uint32_t k) {
            expected.set(c, i, k, colour_at(index, src.get(i) * 256 / src.entries(), k));
        });
        ASSERT_EQ(SQmLut::CreateRainbowLUTTable(made, src, index, 0.0, 0.0), QM_OK);
        ASSERT_EQ(made.content(), expected.content()) << bits << " bits, table " << index;
    }
}

TEST_F(RainbowTables, AreMadeOfEntriesOfTheirRange) {
    Set made(12, 1, 8, 3), src(12, 1, 12, 1);
    src.fill(random_);
    ASSERT_EQ(SQmLut::CreateRainbowLUTTable(made, src, 1, 100.0, 3000.0), QM_OK);
    for (uint32_t i = 0; i < 4096; ++i) {
        const uint32_t e = CQmPredefLUTs::GetLUTEntry(1, src.get(i), 4096, 100.0, 3000.0);
        for (uint32_t k = 0; k < 3; ++k) ASSERT_EQ(made.get(0, i, k), e >> (8 * k) & 255);
    }
}

TEST_F(RainbowTables, OfAnIntervalAreGreyOutside) {
    for (int round = 0; round < 120; ++round) {
        const uint32_t bits = random_(0, 9) ? random_(1, 10) : random_(11, 16), n = 1u << bits;
        Set made(bits, 1, 8, 3), expected(bits, 1, 8, 3), src(bits, 1, bits, 1);
        src.fill(random_);
        made.scramble(random_);
        const int index = any_index();
        const uint32_t src_lo = random_(0, n), src_hi = random_(0, n);
        const uint32_t dst_lo = random_(0, n), dst_hi = random_(0, n);
        expected.for_each_cell([&](uint32_t c, uint32_t i, uint32_t k) {
            uint32_t value = i * 256 / n;
            if (i >= src_lo && i <= src_hi) {
                const double span = static_cast<double>(dst_hi) - dst_lo;
                const auto p = static_cast<uint32_t>(span * src.get(i) / n + dst_lo + 0.5);
                value = colour_at(index, p * 256 / n, k);
            }
            expected.set(c, i, k, value);
        });
        ASSERT_EQ(SQmLut::CreateRainbowLUTTable2(made, src, index, src_lo, src_hi, dst_lo, dst_hi),
                  QM_OK);
        ASSERT_EQ(made.content(), expected.content()) << bits << " bits, table " << index;
    }
}

// 100 of 256 in 0 to 128 is 50.5, cut to 50; what would be below 0 is 0.
TEST_F(RainbowTables, OfAnIntervalRoundPositions) {
    Set set(8, 1, 8, 3), src(8, 1, 8, 1);
    src.set(0, 10, 0, 100), src.set(0, 11, 0, 255);
    ASSERT_EQ(SQmLut::CreateRainbowLUTTable2(set, src, kCustom, 10, 11, 0, 128), QM_OK);
    EXPECT_EQ(set.get(0, 9, 1), 9u);
    EXPECT_EQ(set.get(0, 10, 1), custom_[3 * 50 + 1]);
    EXPECT_EQ(set.get(0, 11, 1), custom_[3 * 128 + 1]);  // 127.5 and a half
    EXPECT_EQ(set.get(0, 12, 1), 12u);
    Set beyond(8, 1, 16, 1);
    beyond.set(0, 10, 0, 0xFF64);  // read in bytes, these are of entry 5
    ASSERT_EQ(SQmLut::CreateRainbowLUTTable2(set, beyond, kCustom, 10, 11, 0, 128), QM_OK);
    EXPECT_EQ(set.get(0, 10, 1), custom_[1]);
    Set words(9, 1, 8, 3), more(9, 1, 16, 1);
    more.set(0, 10, 0, 60000);
    ASSERT_EQ(SQmLut::CreateRainbowLUTTable2(words, more, kCustom, 10, 10, 500, 100), QM_OK);
    EXPECT_EQ(words.get(0, 10, 1), custom_[1]);
    ASSERT_EQ(SQmLut::CreateRainbowLUTTable2(words, more, kCustom, 10, 10, 0, 500), QM_OK);
    EXPECT_EQ(words.get(0, 10, 1), custom_[3 * 255 + 1]);
}

TEST_F(RainbowTables, OfOneChannelLeaveTheOthers) {
    for (const uint32_t bits : {1u, 8u, 9u, 12u})
        for (const uint32_t components : {1u, 4u}) {
            Set made(bits, components, 8, 3), src(bits, 1, bits, 1);
            made.scramble(random_);
            src.fill(random_);
            const uint32_t channel = components / 2;
            auto expected = made.content();
            for (uint32_t i = 0; i < src.entries(); ++i)
                for (uint32_t k = 0; k < 3; ++k)
                    expected[3 * (channel % components * src.entries() + i) + k] =
                        colour_at(2, src.get(i) * 256 / src.entries(), k);
            ASSERT_EQ(
                SQmLut::CreateRainbowLUTTableSpect_1Channel(made, channel % components, src, 2),
                QM_OK);
            ASSERT_EQ(made.content(), expected);
            ASSERT_EQ(SQmLut::CreateRainbowLUTTableSpect_1Channel(made, components, src, 2), QM_OK);
            ASSERT_EQ(made.content(), expected);
        }
}

TEST_F(RainbowTables, OfAllChannelsAreAlike) {
    for (const uint32_t bits : {1u, 8u, 12u})
        for (const bool is_shared : {false, true}) {
            Set made, src(bits, 1, bits, 1);
            if (is_shared)
                Set::share(made, bits, 3, 8, 3);
            else
                ASSERT_EQ(SQmLut::Alloc(made, static_cast<uint8_t>(bits), 3, 8, 3), QM_OK);
            made.scramble(random_);
            src.fill(random_);
            ASSERT_EQ(SQmLut::CreateRainbowLUTTableSpect_SameChannels(made, src, 33), QM_OK);
            made.for_each_cell([&](uint32_t c, uint32_t i, uint32_t k) {
                ASSERT_EQ(made.get(c, i, k), colour_at(33, src.get(i) * 256 / src.entries(), k));
            });
        }
}

// The custom table is one of GetLUTEntry alone; for the spectral ones 255 is beyond the list.
TEST_F(RainbowTables, OfSpectraDoNotKnowTheCustomTable) {
    Set set(8, 2, 8, 3), src(8, 1, 8, 1);
    src.fill(random_);
    ASSERT_EQ(SQmLut::CreateRainbowLUTTableSpect_1Channel(set, 0, src, kCustom), QM_OK);
    for (uint32_t i = 0; i < 256; ++i) ASSERT_EQ(set.get(0, i, 1), src.get(i));
    ASSERT_EQ(SQmLut::CreateRainbowLUTTableSpect_SameChannels(set, src, kCustom), QM_OK);
    for (uint32_t i = 0; i < 256; ++i) ASSERT_EQ(set.get(1, i, 1), src.get(i));
}

// A negative index has no table: greys for one, nothing for the others.
TEST_F(RainbowTables, WithoutATable) {
    Set one(8, 1, 8, 3), two(8, 2, 8, 3), src(8, 1, 8, 1);
    src.fill(random_);
    two.scramble(random_);
    const auto before = two.content();
    ASSERT_EQ(SQmLut::CreateRainbowLUTTable(one, src, -1, 0.0, 0.0), QM_OK);
    one.for_each_cell(
        [&](uint32_t, uint32_t i, uint32_t k) { ASSERT_EQ(one.get(0, i, k), src.get(i)); });
    EXPECT_EQ(SQmLut::CreateRainbowLUTTableSpect_1Channel(two, 0, src, -1), QM_OK);
    EXPECT_EQ(SQmLut::CreateRainbowLUTTableSpect_SameChannels(two, src, -1), QM_OK);
    EXPECT_EQ(two.content(), before);
}

TEST_F(RainbowTables, ReportNothingAndLeaveWrongShapesAlone) {
    const auto check = [&](Set& lut, SQmLut& src, bool is_only_for_one) {
        lut.scramble(random_);
        const auto before = lut.content();
        EXPECT_EQ(SQmLut::CreateRainbowLUTTable(lut, src, 1, 0.0, 0.0), QM_OK);
        EXPECT_EQ(SQmLut::CreateRainbowLUTTable2(lut, src, 1, 0, 255, 0, 255), QM_OK);
        if (!is_only_for_one) {
            EXPECT_EQ(SQmLut::CreateRainbowLUTTableSpect_1Channel(lut, 0, src, 1), QM_OK);
            EXPECT_EQ(SQmLut::CreateRainbowLUTTableSpect_SameChannels(lut, src, 1), QM_OK);
        }
        EXPECT_EQ(lut.content(), before);
    };
    Set src(8, 1, 8, 1);
    Set wide(8, 1, 9, 3), narrow(8, 1, 7, 3), flat(8, 1, 8, 1), four(8, 1, 8, 4), fine(8, 1, 8, 3);
    Set several(8, 2, 8, 3);
    for (Set* lut : {&wide, &narrow, &flat, &four}) check(*lut, src, false);
    check(several, src, true);
    // Values that are not there, or too few of them.
    SQmLut none;
    Set colour(8, 1, 8, 3), shorter(7, 1, 8, 1);
    for (SQmLut* values : std::initializer_list<SQmLut*>{&none, &colour, &shorter})
        check(fine, *values, false);
    EXPECT_EQ(SQmLut::CreateRainbowLUTTable(none, src, 1, 0.0, 0.0), QM_OK);
    EXPECT_EQ(SQmLut::CreateRainbowLUTTableSpect_SameChannels(none, src, 1), QM_OK);
    EXPECT_EQ(none.pLuts, nullptr);
    Set long_one, long_values;
    Set::share(long_one, 17, 1, 8, 3);
    Set::share(long_values, 17, 1, 16, 1);
    check(long_one, long_values, false);
}

// ----- Tables without a set ----------------------------------------------------------------------

struct Gradient {
    void* table = nullptr;
    int code;
    uint32_t bits;
    Gradient(uint32_t bits_, int index, double src_lo, double src_hi, double dst_lo, double dst_hi)
        : code(SQmLut::CreateGradientTableC1ToC3(table, bits_, index, src_lo, src_hi, dst_lo,
                                                 dst_hi)),
          bits(bits_) {}
    ~Gradient() { SQmLut::FreeGradientTable(table); }
    Gradient(const Gradient&) = delete;
    Gradient& operator=(const Gradient&) = delete;

    uint32_t get(uint32_t entry, uint32_t cell) const {
        const size_t bytes = bits > 8 ? 2 : 1;
        uint32_t found = 0;
        std::memcpy(&found, static_cast<uint8_t*>(table) + (3 * size_t{entry} + cell) * bytes,
                    bytes);
        return found;
    }
};

double limited(double value) { return value < 0 ? 0 : value > 1 ? 1 : value; }

TEST_F(RainbowTables, OfAGradientRunThroughTheColours) {
    const auto any = [&] {
        return random_(0, 3) ? random_(0, 1000) / 1000.0
                             : random_.one_of({0.0, 1.0, -0.5, 1.5, 0.25, 0.5});
    };
    for (int round = 0; round < 30; ++round) {
        const uint32_t bits = random_(8, 16), m = 1u << bits;
        const int index = random_.one_of({0, 1, 2, 7, 33, 45, 46, kCustom});
        const double arguments[] = {any(), any(), any(), any()};
        const Gradient made(bits, index, arguments[0], arguments[1], arguments[2], arguments[3]);
        ASSERT_EQ(made.code, QM_OK);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(made.table) % 16, 0u);
        const uint8_t* const data = SQmLut::GetPredefLut(index, true)->pColors;
        const double a = limited(arguments[0]), b = limited(arguments[1]);
        const double c = limited(arguments[2]), d = limited(arguments[3]);
        uint32_t wrong = 0;
        for (uint32_t i = 0; i < m; ++i) {
            const double t = static_cast<double>(i) / m;
            const double place = ((t - a) / (b - a) * (d - c) + c) * 256.0;
            for (uint32_t cell = 0; cell < 3; ++cell) {
                uint32_t value = i;
                if (a < b && t >= a && t <= b) {
                    const auto k = static_cast<uint32_t>(std::clamp(std::round(place), 0.0, 255.0));
                    value = data[3 * k + 2 - cell] * (m >> 8);
                }
                wrong += made.get(i, cell) != value;
            }
        }
        ASSERT_EQ(wrong, 0u) << bits << " bits, table " << index << ": " << a << ' ' << b << ' '
                             << c << ' ' << d;
    }
}

TEST_F(RainbowTables, OfAGradientWithoutAnIntervalAreGrey) {
    for (const uint32_t bits : {8u, 10u, 16u})
        for (const auto& [lo, hi] : {std::pair{0.5, 0.5}, {0.7, 0.2}, {1.5, 1.2}, {-3.0, -2.0}}) {
            const Gradient made(bits, 1, lo, hi, 0.0, 1.0);
            for (uint32_t i = 0; i < 1u << bits; ++i)
                for (uint32_t cell = 0; cell < 3; ++cell) ASSERT_EQ(made.get(i, cell), i);
        }
}

TEST_F(RainbowTables, OfAGradientAreByHand) {
    // "Iron" ends with white; words hold a byte times 2^bits / 256.
    const Gradient made(12, 2, 0.0, 1.0, 0.0, 1.0);
    const uint8_t* const iron = SQmLut::GetPredefLut(2, true)->pColors;
    for (uint32_t cell = 0; cell < 3; ++cell) {
        EXPECT_EQ(made.get(4095, cell), 4080u);
        EXPECT_EQ(made.get(0, cell), iron[2 - cell] * 16u);
        EXPECT_EQ(made.get(7, cell), iron[2 - cell] * 16u);      // 7 / 16 is below a half
        EXPECT_EQ(made.get(8, cell), iron[3 + 2 - cell] * 16u);  // and 8 / 16 is one
    }
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Gradient none(8, 2, nan, 1.0, nan, nan);  // no number is 0
    EXPECT_EQ(none.get(200, 0), iron[2]);
}

TEST_F(RainbowTables, OfAGradientRefuseDepthsAndIndexes) {
    int somewhere = 0;
    void* table = &somewhere;
    for (const uint32_t bits : {0u, 7u, 17u, 0xFFFFFFFFu})
        EXPECT_EQ(SQmLut::CreateGradientTableC1ToC3(table, bits, 1, 0, 1, 0, 1), QM_BAD_BUFFER);
    EXPECT_EQ(SQmLut::CreateGradientTableC1ToC3(table, 8, -1, 0, 1, 0, 1), QM_BAD_BUFFER);
    EXPECT_EQ(table, &somewhere);
}

TEST_F(RainbowTables, OfAGradientWithoutMemory) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    void* table = &table;
    const auto outcome = with_failing(1, FailingAlloc::kOnce, [&] {
        return SQmLut::CreateGradientTableC1ToC3(table, 8, 1, 0, 1, 0, 1);
    });
    EXPECT_EQ(outcome.code, QM_NO_MEMORY);
    EXPECT_EQ(table, nullptr);
}

TEST(GradientTable, IsReleasedOnce) {
    void* table = nullptr;
    SQmLut::FreeGradientTable(table);
    EXPECT_EQ(table, nullptr);
    ASSERT_EQ(SQmLut::CreateGradientTableC1ToC3(table, 8, 0, 0, 1, 0, 1), QM_OK);
    SQmLut::FreeGradientTable(table);
    EXPECT_EQ(table, nullptr);
    SQmLut::FreeGradientTable(table);
}

}  // namespace
}  // namespace qmpic::test
