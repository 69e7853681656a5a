#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "lut/sets.h"
#include "support/cases.h"
#include "support/levels.h"

namespace qmpic::test {
namespace {

const bool registered = add_cases({}, {},
                                  {"SQmLut::CreateLinearTable", "SQmLut::CreateLinearTable2",
                                   "SQmLut::CreateGammaTable", "SQmLut::CreateGammaTable2"});

enum Ramp { kLinear, kLinear2, kGamma, kGamma2 };
constexpr Ramp kRamps[] = {kLinear, kLinear2, kGamma, kGamma2};

struct Arguments {
    int src_lo, dst_lo, src_hi, dst_hi;
    double gamma = 1.0;
};

int call(Ramp ramp, SQmLut& lut, uint32_t comp, const Arguments& a) {
    const auto c = static_cast<uint8_t>(comp);
    switch (ramp) {
    case kLinear: return SQmLut::CreateLinearTable(lut, c, a.src_lo, a.dst_lo, a.src_hi, a.dst_hi);
    case kLinear2:
        return SQmLut::CreateLinearTable2(lut, c, a.src_lo, a.dst_lo, a.src_hi, a.dst_hi);
    case kGamma:
        return SQmLut::CreateGammaTable(lut, c, a.src_lo, a.dst_lo, a.src_hi, a.dst_hi, a.gamma);
    default:
        return SQmLut::CreateGammaTable2(lut, c, a.src_lo, a.dst_lo, a.src_hi, a.dst_hi, a.gamma);
    }
}

// ----- The same, entry by entry ------------------------------------------------------------------

int64_t in_32_bits(int64_t value) { return static_cast<int32_t>(static_cast<uint32_t>(value)); }

/// The line: 32 bits for bytes, where each step wraps, and 64 for words.
int64_t on_line(const Arguments& a, int64_t i, bool is_byte) {
    int64_t from_start = i - a.src_lo, rise = int64_t{a.dst_hi} - a.dst_lo;
    int64_t run = int64_t{a.src_hi} - a.src_lo;
    if (!is_byte) {
        const uint64_t product = static_cast<uint64_t>(from_start) * static_cast<uint64_t>(rise);
        return static_cast<int64_t>(product) / run + a.dst_lo;
    }
    from_start = in_32_bits(from_start), rise = in_32_bits(rise), run = in_32_bits(run);
    return in_32_bits(in_32_bits(in_32_bits(from_start * rise) / run) + a.dst_lo);
}

uint32_t power(int64_t x, double gamma, uint32_t top) {
    const double d = top, value = std::pow(static_cast<double>(x) / d, gamma) * d;
    if (std::isnan(value) || value <= 0) return 0;
    return value >= d ? top : static_cast<uint32_t>(std::floor(value));
}

int64_t expected_at(Ramp ramp, const Arguments& a, int64_t i, uint32_t top) {
    const bool is_gamma = ramp == kGamma || ramp == kGamma2;
    const bool is_window = ramp == kLinear2 || ramp == kGamma2;
    const int64_t behind = int64_t{a.src_hi} + (ramp == kGamma2 ? 1 : 0);
    if (i >= a.src_lo && i < behind) {
        const int64_t x = on_line(a, i, top < 256);
        return is_gamma ? power(x, a.gamma, top) : std::clamp<int64_t>(x, 0, top);
    }
    const int64_t tail = i < a.src_lo || is_window ? a.dst_lo : a.dst_hi;
    return ramp == kGamma ? power(tail, a.gamma, top) : tail;
}

/// Writes what is expected into a set of the same shape.
void expect_into(Set& set, Ramp ramp, uint32_t comp, const Arguments& a) {
    const uint32_t cells = set.ucDstComponents, n = set.entries();
    for (uint32_t i = 0; i < n; ++i) {
        const auto value = static_cast<uint64_t>(expected_at(ramp, a, i, set.top()));
        if (cells == 1 || comp > cells)
            for (uint32_t k = 0; k < cells; ++k) set.set(0, i, k, value);
        else if (comp < cells)
            set.set(0, i, comp, value);
        else if (i + 1 < n)  // the cell behind the row
            set.set(0, i + 1, 0, value);
    }
}

class Ramps : public testing::TestWithParam<Level> {};
INSTANTIATE_TEST_SUITE_P(Levels, Ramps, testing::ValuesIn(levels()),
                         [](const auto& tested) { return std::string(name_of(tested.param)); });

int any_point(Random& random, int around) {
    switch (random(0, 9)) {
    case 0: return 0;
    case 1: return around - 1;
    case 2: return around;
    case 3: return -static_cast<int>(random(0, static_cast<uint32_t>(around)));
    case 4: return around + static_cast<int>(random(0, static_cast<uint32_t>(around)));
    case 5: return random(0, 3) ? 1 : static_cast<int>(random.any());
    default: return static_cast<int>(random(0, static_cast<uint32_t>(around)));
    }
}

double any_gamma(Random& random) {
    constexpr double kInf = std::numeric_limits<double>::infinity();
    if (random(0, 2) == 0)
        return random.one_of({0.5, 2.0, 1.0 / 3, 0.0, -1.0, -0.3, kInf, -kInf, 1.0, 3.0, 64.0, 65.0,
                              1000.0, std::nan(""), 1e-300, 1.0000000001});
    return 0.05 * std::pow(400.0, random(0, 1000000) / 1e6);
}

TEST_P(Ramps, AreTheLineEntryByEntry) {
    const ForcedLevel forced(GetParam());
    Random random(20);
    for (int round = 0; round < 1000; ++round) {
        const uint32_t src = random(0, 9) ? random(1, 10) : random(11, 16);
        const uint32_t cells = random.one_of({1u, 1u, 2u, 3u, 4u});
        Set made(src, 1, random(1, 16), cells), expected(src, 1, made.ucDstBpc, cells);
        made.scramble(random);
        SQmLut::Copy(expected, made);
        const auto n = static_cast<int>(made.entries()), d = static_cast<int>(made.top());
        const Arguments a{any_point(random, n), any_point(random, d), any_point(random, n),
                          any_point(random, d), any_gamma(random)};
        const uint32_t comp = random.one_of({0u, 1u, 2u, 3u, 4u, 5u, 255u});
        const Ramp ramp = kRamps[random(0, 3)];
        const bool is_empty = a.src_hi <= a.src_lo;
        if (!is_empty) expect_into(expected, ramp, comp, a);
        ASSERT_EQ(call(ramp, made, comp, a), is_empty ? QM_REJECTED : QM_OK);
        ASSERT_EQ(made.content(), expected.content())
            << "ramp " << ramp << " bits " << src << " to " << int{made.ucDstBpc} << " cells "
            << cells << " comp " << comp << ": " << a.src_lo << ' ' << a.dst_lo << ' ' << a.src_hi
            << ' ' << a.dst_hi << " gamma " << a.gamma;
    }
}

// Every value of every depth is the C library's power, truncated.
TEST_P(Ramps, GammaIsThePowerOfTheCLibrary) {
    const ForcedLevel forced(GetParam());
    Random random(21);
    std::vector<double> gammas{0.05, 0.45, 0.5, 1.0 / 3,     2.0 / 3,  1.0,  1.5,   2.0,  2.2,
                               3.0,  4.0,  5.0, 10.0,        20.0,     63.9, 64.0,  64.1, 0.0,
                               -0.5, -2.0, 1e6, 0.999999999, 1.000001, 1e-9, 1e-300};
    gammas.insert(gammas.end(), {std::nan(""), std::numeric_limits<double>::infinity(),
                                 -std::numeric_limits<double>::infinity()});
    for (int i = 0; i < 12; ++i) gammas.push_back(any_gamma(random));
    for (uint32_t bits = 1; bits <= 16; ++bits)
        for (const double gamma : gammas) {
            Set set(bits, 1, bits, 1);
            const auto top = static_cast<int>(set.top());
            ASSERT_EQ(SQmLut::CreateGammaTable(set, 0, 0, 0, top, top, gamma), QM_OK);
            uint32_t wrong = 0;
            for (uint32_t x = 0; x < set.entries(); ++x)
                wrong += set.get(x) != power(x, gamma, set.top());
            ASSERT_EQ(wrong, 0u) << bits << " bits, gamma " << gamma;
        }
}

// Levels between, steep and gentle lines, up and down, from words to bytes and back.
TEST_P(Ramps, GammaFollowsEveryLine) {
    const ForcedLevel forced(GetParam());
    Random random(22);
    for (int round = 0; round < 80; ++round) {
        const uint32_t src = random(8, 16), dst = random(6, 16);
        Set set(src, 1, dst, 1);
        const auto any = [&](uint32_t top) { return static_cast<int>(random(0, top)); };
        Arguments a{any(set.entries() - 2), any(set.top()), 0, any(set.top()), any_gamma(random)};
        a.src_hi = a.src_lo + 1 + any(set.entries() - 2 - static_cast<uint32_t>(a.src_lo));
        const Ramp ramp = random(0, 1) ? kGamma : kGamma2;
        ASSERT_EQ(call(ramp, set, 0, a), QM_OK);
        uint32_t wrong = 0;
        for (uint32_t i = 0; i < set.entries(); ++i)
            wrong += set.get(i) != (static_cast<uint64_t>(expected_at(ramp, a, i, set.top())) &
                                    (dst > 8 ? 0xFFFF : 0xFF));
        ASSERT_EQ(wrong, 0u) << src << " to " << dst << ": " << a.src_lo << ' ' << a.dst_lo << ' '
                             << a.src_hi << ' ' << a.dst_hi << " gamma " << a.gamma;
    }
}

// ----- By hand -----------------------------------------------------------------------------------

TEST(LinearTable, FromZeroToTopIsTheIdentity) {
    Set set(8, 1, 8, 1);
    ASSERT_EQ(SQmLut::CreateLinearTable(set, 0, 0, 0, 255, 255), QM_OK);
    for (uint32_t i = 0; i < 256; ++i) EXPECT_EQ(set.get(i), i);
}

TEST(LinearTable, OfNoHeightSwitchesOff) {
    for (const uint32_t bits : {8u, 12u, 16u}) {
        Random random(1);
        Set set(bits, 1, 8, 3);
        set.scramble(random);
        const int top = (1 << bits) - 1;
        ASSERT_EQ(SQmLut::CreateLinearTable(set, 9, 0, 0, top, 0), QM_OK);
        EXPECT_EQ(set.content(), std::vector<uint32_t>(3u << bits));
    }
}

TEST(LinearTable, TailsAreStoredAsTheyStandAndTheRampIsLimited) {
    Set bytes(8, 1, 4, 1);  // to 15
    ASSERT_EQ(SQmLut::CreateLinearTable(bytes, 0, 100, -1, 200, 300), QM_OK);
    EXPECT_EQ(bytes.get(99), 255u);  // -1
    EXPECT_EQ(bytes.get(100), 0u);   // -1, limited
    EXPECT_EQ(bytes.get(101), 2u);   // 301 / 100 - 1
    EXPECT_EQ(bytes.get(199), 15u);  // 296, limited
    EXPECT_EQ(bytes.get(200), 44u);  // 300 in a byte
    Set words(8, 1, 12, 1);          // to 4095
    ASSERT_EQ(SQmLut::CreateLinearTable(words, 0, 100, -2, 200, 70000), QM_OK);
    EXPECT_EQ(words.get(0), 65534u);
    EXPECT_EQ(words.get(100), 0u);
    EXPECT_EQ(words.get(150), 4095u);
    EXPECT_EQ(words.get(255), 4464u);  // 70000 - 65536
}

TEST(LinearTable, DividesTowardZeroAndAddsThen) {
    Set set(4, 1, 8, 1);
    ASSERT_EQ(SQmLut::CreateLinearTable(set, 0, 0, 10, 4, 5), QM_OK);
    // -5/4 = -1, -10/4 = -2, -15/4 = -3
    EXPECT_EQ(set.get(0), 10u);
    EXPECT_EQ(set.get(1), 9u);
    EXPECT_EQ(set.get(2), 8u);
    EXPECT_EQ(set.get(3), 7u);
    EXPECT_EQ(set.get(4), 5u);
}

TEST(LinearTable, StartsWithinTheLineWhenTheFirstPointLiesBefore) {
    Set set(4, 1, 8, 1);
    ASSERT_EQ(SQmLut::CreateLinearTable(set, 0, -10, 0, 10, 200), QM_OK);
    EXPECT_EQ(set.get(0), 100u);
    EXPECT_EQ(set.get(9), 190u);
    EXPECT_EQ(set.get(10), 200u);
    ASSERT_EQ(SQmLut::CreateLinearTable(set, 0, -10, 3, -5, 7), QM_OK);
    EXPECT_EQ(set.content(), std::vector<uint32_t>(16, 7));
}

TEST(LinearTable, EndsWithTheTable) {
    Set set(4, 1, 8, 1);
    ASSERT_EQ(SQmLut::CreateLinearTable(set, 0, 8, 10, 108, 110), QM_OK);
    EXPECT_EQ(set.get(7), 10u);
    EXPECT_EQ(set.get(15), 17u);
    ASSERT_EQ(SQmLut::CreateLinearTable(set, 0, 1000, 10, 1001, 110), QM_OK);
    EXPECT_EQ(set.content(), std::vector<uint32_t>(16, 10));
}

// 3 * 1000000000 is 3000000000, as a number of 32 bits -1294967296; by 4 it is -323741824.
TEST(LinearTable, WrapsIn32BitsForBytesAlone) {
    Set bytes(4, 1, 8, 1), words(4, 1, 9, 1);
    ASSERT_EQ(SQmLut::CreateLinearTable(bytes, 0, 0, 0, 4, 1000000000), QM_OK);
    ASSERT_EQ(SQmLut::CreateLinearTable(words, 0, 0, 0, 4, 1000000000), QM_OK);
    EXPECT_EQ(bytes.get(2), 255u);
    EXPECT_EQ(bytes.get(3), 0u);
    EXPECT_EQ(words.get(3), 511u);
}

TEST(LinearTable, IsMadeOfTheGreatestNumbersThereAre) {
    for (const uint32_t bits : {8u, 16u})
        for (const Ramp ramp : kRamps) {
            Set made(4, 1, bits, 1), expected(4, 1, bits, 1);
            const Arguments a{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX, 2.5};
            expect_into(expected, ramp, 0, a);
            EXPECT_EQ(call(ramp, made, 0, a), QM_OK);
            EXPECT_EQ(made.content(), expected.content());
        }
}

TEST(Window, OfALineFallsBackAtItsUpperPoint) {
    Set set(8, 1, 8, 1);
    ASSERT_EQ(SQmLut::CreateLinearTable2(set, 0, 10, 0, 20, 200), QM_OK);
    for (uint32_t i = 0; i < 256; ++i)
        EXPECT_EQ(set.get(i), i < 10 || i >= 20 ? 0 : 20 * (i - 10)) << i;
}

TEST(Window, OfAGammaFallsBackBehindItsUpperPoint) {
    Set set(8, 1, 8, 1);
    ASSERT_EQ(SQmLut::CreateGammaTable2(set, 0, 10, 0, 20, 200, 1.0), QM_OK);
    for (uint32_t i = 0; i < 256; ++i)
        EXPECT_EQ(set.get(i), i < 10 || i > 20 ? 0 : 20 * (i - 10)) << i;
}

TEST(Window, LeavesItsTailsAsTheyStand) {
    Set set(8, 1, 8, 1);
    ASSERT_EQ(SQmLut::CreateGammaTable2(set, 0, 10, 51, 20, 255, 2.0), QM_OK);
    EXPECT_EQ(set.get(9), 51u);
    EXPECT_EQ(set.get(10), 10u);  // 51 is a fifth of 255, and 255 / 25 = 10.2
    EXPECT_EQ(set.get(20), 255u);
    EXPECT_EQ(set.get(21), 51u);
}

TEST(GammaTable, BendsItsTailsToo) {
    Set set(8, 1, 8, 1);
    ASSERT_EQ(SQmLut::CreateGammaTable(set, 0, 10, 51, 20, 300, 2.0), QM_OK);
    EXPECT_EQ(set.get(9), 10u);
    EXPECT_EQ(set.get(20), 255u);
    ASSERT_EQ(SQmLut::CreateGammaTable(set, 0, 10, -51, 20, 0, 2.0), QM_OK);
    EXPECT_EQ(set.get(9), 10u);  // the square of what is below 0
    ASSERT_EQ(SQmLut::CreateGammaTable(set, 0, 10, -51, 20, 0, 0.5), QM_OK);
    EXPECT_EQ(set.get(9), 0u);  // no number
}

TEST(GammaTable, OfOneIsTheLineOfEveryDepth) {
    for (uint32_t bits = 1; bits <= 16; ++bits) {
        const int top = (1 << bits) - 1;
        Set bent(bits, 1, bits, 1), straight(bits, 1, bits, 1);
        ASSERT_EQ(SQmLut::CreateGammaTable(bent, 0, 0, 0, top, top, 1.0), QM_OK);
        ASSERT_EQ(SQmLut::CreateLinearTable(straight, 0, 0, 0, top, top), QM_OK);
        EXPECT_EQ(bent.content(), straight.content());
        for (uint32_t x = 0; x < bent.entries(); ++x)
            ASSERT_EQ(power(x, 1.0, bent.top()), x) << bits;
    }
}

TEST(GammaTable, OfZeroIsTheTopAndOfNoNumberIsZero) {
    Set set(8, 1, 8, 1);
    ASSERT_EQ(SQmLut::CreateGammaTable(set, 0, 0, 0, 255, 255, 0.0), QM_OK);
    EXPECT_EQ(set.content(), std::vector<uint32_t>(256, 255));
    ASSERT_EQ(SQmLut::CreateGammaTable(set, 0, 0, 0, 255, 255, std::nan("")), QM_OK);
    EXPECT_EQ(set.get(254), 0u);
    EXPECT_EQ(set.get(255), 255u);  // 1 to any power is 1
}

TEST(GammaTable, OfANegativeGammaIsTheTop) {
    Set set(8, 1, 8, 1);
    ASSERT_EQ(SQmLut::CreateGammaTable(set, 0, 0, 0, 255, 255, -1.0), QM_OK);
    EXPECT_EQ(set.content(), std::vector<uint32_t>(256, 255));  // 0 too, which is infinite
}

TEST(RampShapes, OneCellOfAColourIsFilledAtATime) {
    Set set(4, 1, 8, 3);
    ASSERT_EQ(SQmLut::CreateLinearTable(set, 0, 0, 0, 15, 15), QM_OK);
    ASSERT_EQ(SQmLut::CreateLinearTable(set, 1, 0, 0, 15, 150), QM_OK);
    ASSERT_EQ(SQmLut::CreateLinearTable(set, 2, 0, 100, 15, 85), QM_OK);
    for (uint32_t i = 0; i < 16; ++i) {
        EXPECT_EQ(set.get(0, i, 0), i);
        EXPECT_EQ(set.get(0, i, 1), 10 * i);
        EXPECT_EQ(set.get(0, i, 2), 100 - i);
    }
}

TEST(RampShapes, TheCellBehindARowIsWrittenButForTheLast) {
    Set set(4, 1, 8, 3);
    for (uint32_t i = 0; i < 16; ++i)
        for (uint32_t k = 0; k < 3; ++k) set.set(0, i, k, 200 + k);
    ASSERT_EQ(SQmLut::CreateLinearTable(set, 3, 0, 0, 15, 15), QM_OK);
    for (uint32_t i = 0; i < 16; ++i) {
        EXPECT_EQ(set.get(0, i, 0), i == 0 ? 200 : i - 1);
        EXPECT_EQ(set.get(0, i, 1), 201u);
        EXPECT_EQ(set.get(0, i, 2), 202u);
    }
}

TEST(RampShapes, AComponentBeyondFillsAllCells) {
    Set set(4, 1, 16, 3);
    ASSERT_EQ(SQmLut::CreateLinearTable(set, 4, 0, 0, 15, 1500), QM_OK);
    for (uint32_t i = 0; i < 16; ++i)
        for (uint32_t k = 0; k < 3; ++k) EXPECT_EQ(set.get(0, i, k), 100 * i);
}

TEST(RampShapes, AFlatTableHasOneComponentWhateverIsAsked) {
    Set set(4, 1, 8, 1);
    ASSERT_EQ(SQmLut::CreateLinearTable(set, 1, 0, 0, 15, 15), QM_OK);
    for (uint32_t i = 0; i < 16; ++i) EXPECT_EQ(set.get(i), i);
}

TEST(RampShapes, OthersAreRefused) {
    Random random(3);
    for (const Ramp ramp : kRamps) {
        const Arguments fine{0, 0, 15, 15};
        SQmLut empty;
        EXPECT_EQ(call(ramp, empty, 0, fine), QM_REJECTED);
        Set several(4, 3, 8, 3), wide(4, 1, 17, 1), flat(4, 1, 8, 1);
        several.scramble(random);
        flat.scramble(random);
        const auto before = several.content(), ramp_before = flat.content();
        EXPECT_EQ(call(ramp, several, 0, fine), QM_REJECTED);
        EXPECT_EQ(several.content(), before);
        EXPECT_EQ(call(ramp, wide, 0, fine), QM_REJECTED);
        EXPECT_EQ(call(ramp, flat, 0, {10, 0, 10, 15}), QM_REJECTED);
        EXPECT_EQ(call(ramp, flat, 0, {10, 0, 9, 15}), QM_REJECTED);
        EXPECT_EQ(flat.content(), ramp_before);
        Set nothing(4, 1, 0, 1);
        EXPECT_EQ(call(ramp, nothing, 0, fine), QM_OK);
        EXPECT_EQ(*static_cast<uint64_t*>(nothing.pLuts), 0u);
    }
}

}  // namespace
}  // namespace qmpic::test
