#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include "lut/sets.h"
#include "qmpic/Histo.h"
#include "support/cases.h"

namespace qmpic::test {
namespace {

const bool registered =
    add_cases({}, {},
              {"SQmLut::CreateExpTable_1_1", "SQmLut::CreateLogaritmicTable_1_1",
               "SQmLut::CreateEqualizingTable_1_1"});

// ----- Logarithm and power -----------------------------------------------------------------------

enum Curve { kLogarithm, kExponential };

int call(Curve curve, SQmLut& lut, int src_lo, int dst_lo, int src_hi, int dst_hi) {
    const auto create =
        curve == kLogarithm ? &SQmLut::CreateLogaritmicTable_1_1 : &SQmLut::CreateExpTable_1_1;
    return create(lut, 7, src_lo, dst_lo, src_hi, dst_hi);
}

uint32_t cut(double value, uint32_t top) {
    if (std::isnan(value) || value < 0) return 0;
    return value > top ? top : static_cast<uint32_t>(value);
}

uint32_t expected_at(Curve curve, const Set& set, int i, int src_lo, int dst_lo, int src_hi,
                     int dst_hi) {
    const bool narrow = set.ucDstBpc <= 8;
    const uint32_t top = narrow ? 255 : set.top();
    const double n = set.entries(), m = narrow ? 255.0 : n - 1;
    const double l = narrow ? std::log10(256.0) : std::log10(n);
    const double x = static_cast<double>(src_hi) - src_lo + 1;
    const double r = static_cast<double>(dst_hi) - dst_lo;
    const double from_start = static_cast<double>(i) - src_lo;
    if (i < src_lo) {
        if (curve == kExponential && narrow)
            return cut(std::pow(10.0, dst_lo / 255.0 * l) - 1, top);
        return cut(std::log10(dst_lo + 1.0) / l * m, top);
    }
    if (i < src_hi)
        return curve == kExponential ? cut(std::pow(10.0, from_start / r * std::log10(x)) - 1, top)
                                     : cut(std::log10(from_start + 1) * r / std::log10(x), top);
    if (curve == kLogarithm) return cut(std::log10(dst_hi + 1.0) / l * m, top);
    return cut(std::pow(10.0, dst_hi / (narrow ? 255.0 : m) + l) - 1, top);
}

TEST(Curves, AreTheFormulaEntryByEntry) {
    Random random(40);
    const auto any = [&](uint32_t around) {
        const auto n = static_cast<int>(around);
        switch (random(0, 7)) {
        case 0: return 0;
        case 1: return n - 1;
        case 2: return -static_cast<int>(random(0, around));
        case 3: return n + static_cast<int>(random(0, around));
        case 4: return static_cast<int>(random.any());
        default: return static_cast<int>(random(0, around));
        }
    };
    for (int round = 0; round < 600; ++round) {
        Set made(random(0, 9) ? random(1, 10) : random(11, 16), 1, random(1, 16), 1);
        made.scramble(random);
        auto expected = made.content();
        const Curve curve = random(0, 1) ? kLogarithm : kExponential;
        const int src_lo = any(made.entries()), src_hi = any(made.entries());
        const int dst_lo = any(made.top()), dst_hi = any(made.top());
        if (src_hi > src_lo)
            for (uint32_t i = 0; i < made.entries(); ++i)
                expected[i] =
                    expected_at(curve, made, static_cast<int>(i), src_lo, dst_lo, src_hi, dst_hi);
        ASSERT_EQ(call(curve, made, src_lo, dst_lo, src_hi, dst_hi),
                  src_hi > src_lo ? QM_OK : QM_REJECTED);
        ASSERT_EQ(made.content(), expected)
            << curve << ": " << int{made.ucSrcBpc} << " to " << int{made.ucDstBpc} << ", " << src_lo
            << ' ' << dst_lo << ' ' << src_hi << ' ' << dst_hi;
    }
}

TEST(LogaritmicTable, IsTheLogarithmOfThePosition) {
    Set set(8, 1, 8, 1);
    ASSERT_EQ(call(kLogarithm, set, 0, 0, 255, 255), QM_OK);
    EXPECT_EQ(set.get(0), 0u);
    EXPECT_EQ(set.get(1), 31u);    // an eighth of 255 is 31.875
    EXPECT_EQ(set.get(2), 50u);    // log2(3) = 1.58496 of these eighths
    EXPECT_EQ(set.get(16), 130u);  // log2(17) = 4.08746
    EXPECT_EQ(set.get(255), 255u);
}

// The ramp starts at 0 whatever it leads from.
TEST(LogaritmicTable, HasNoLowValueInItsRamp) {
    Set set(8, 1, 8, 1);
    ASSERT_EQ(call(kLogarithm, set, 100, 15, 199, 115), QM_OK);
    EXPECT_EQ(set.get(99), 127u);   // log2(16) is half of log2(256)
    EXPECT_EQ(set.get(100), 0u);    // and not 15
    EXPECT_EQ(set.get(109), 50u);   // log10(10) of 2, and 100
    EXPECT_EQ(set.get(255), 218u);  // log2(116) = 6.858
}

TEST(LogaritmicTable, OfFewBitsGoesUpTo255) {
    Set set(8, 1, 4, 1);
    ASSERT_EQ(call(kLogarithm, set, 0, 0, 255, 300), QM_OK);
    EXPECT_EQ(set.get(254), 255u);
    EXPECT_EQ(set.get(255), 255u);
    Set words(8, 1, 9, 1);
    ASSERT_EQ(call(kLogarithm, words, 0, 0, 255, 600), QM_OK);
    EXPECT_EQ(words.get(254), 511u);
    EXPECT_EQ(words.get(255), 294u);  // log2(601) / 8 = 1.15388 of 255
}

TEST(ExpTable, DividesThePositionByTheRise) {
    Set set(8, 1, 8, 1);
    // Spans agree: 10 to the power of position / 99 * 2.
    ASSERT_EQ(call(kExponential, set, 0, 0, 99, 99), QM_OK);
    EXPECT_EQ(set.get(0), 0u);
    EXPECT_EQ(set.get(50), 9u);   // 10^1.0101 - 1 = 9.24
    EXPECT_EQ(set.get(98), 94u);  // 10^1.97980 - 1 = 94.45
    // Half the rise: twice the exponent.
    ASSERT_EQ(call(kExponential, set, 0, 50, 99, 149), QM_OK);
    EXPECT_EQ(set.get(50), 9u);  // the low value is not added
    ASSERT_EQ(call(kExponential, set, 0, 0, 99, 50), QM_OK);
    EXPECT_EQ(set.get(25), 9u);   // 10^1 - 1
    EXPECT_EQ(set.get(50), 99u);  // 10^2 - 1
    EXPECT_EQ(set.get(98), 255u);
}

TEST(ExpTable, AddsInItsUpperTail) {
    Set set(8, 1, 8, 1);
    ASSERT_EQ(call(kExponential, set, 10, 0, 200, 255), QM_OK);
    EXPECT_EQ(set.get(255), 255u);
    ASSERT_EQ(call(kExponential, set, 10, 0, 200, 1), QM_OK);
    EXPECT_EQ(set.get(255), 255u);  // 256 * 10^(1/255) - 1 = 257.3
    ASSERT_EQ(call(kExponential, set, 10, 5, 200, -255), QM_OK);
    EXPECT_EQ(set.get(255), 24u);  // 25.6 - 1
    Set words(8, 1, 12, 1);
    ASSERT_EQ(call(kExponential, words, 10, 0, 200, 255), QM_OK);
    EXPECT_EQ(words.get(255), 2559u);  // 256 * 10 - 1, by the top of the source
}

TEST(ExpTable, TakesItsLowerTailFromTheLogarithmInWordsAlone) {
    Set bytes(8, 1, 8, 1), words(8, 1, 16, 1);
    ASSERT_EQ(call(kExponential, bytes, 10, 51, 200, 255), QM_OK);
    ASSERT_EQ(call(kExponential, words, 10, 51, 200, 255), QM_OK);
    EXPECT_EQ(bytes.get(9), 2u);    // 256^0.2 - 1 = 2.03
    EXPECT_EQ(words.get(9), 181u);  // log2(52) / 8 = 0.71255 of 255
}

TEST(ExpTable, OfNoRiseIsLimited) {
    Set set(8, 1, 8, 1);
    ASSERT_EQ(call(kExponential, set, 10, 0, 200, 0), QM_OK);
    EXPECT_EQ(set.get(9), 0u);
    EXPECT_EQ(set.get(10), 0u);  // 0 / 0 is no number
    EXPECT_EQ(set.get(11), 255u);
    EXPECT_EQ(set.get(200), 255u);  // 256 - 1
}

TEST(ExpTable, OfNegativeValuesIsZero) {
    Set set(8, 1, 8, 1);
    ASSERT_EQ(call(kExponential, set, 10, 100, 200, 0), QM_OK);
    EXPECT_EQ(set.get(11), 0u);
    ASSERT_EQ(call(kLogarithm, set, 10, -5, 200, -100), QM_OK);
    EXPECT_EQ(set.get(9), 0u);  // no number
    EXPECT_EQ(set.get(100), 0u);
    EXPECT_EQ(set.get(255), 0u);
}

TEST(Curves, NeedAFlatTableAndARamp) {
    Random random(41);
    for (const Curve curve : {kLogarithm, kExponential}) {
        SQmLut none;
        Set colour(8, 1, 8, 3), several(8, 3, 8, 1), wide(8, 1, 17, 1), flat(8, 1, 8, 1);
        for (SQmLut* set : std::initializer_list<SQmLut*>{&none, &colour, &several, &wide})
            EXPECT_EQ(call(curve, *set, 0, 0, 255, 255), QM_REJECTED);
        flat.scramble(random);
        const auto before = flat.content();
        EXPECT_EQ(call(curve, flat, 10, 0, 10, 255), QM_REJECTED);
        EXPECT_EQ(call(curve, flat, 10, 0, -1, 255), QM_REJECTED);
        EXPECT_EQ(flat.content(), before);
        Set nothing(8, 1, 0, 1);
        EXPECT_EQ(call(curve, nothing, 0, 0, 255, 255), QM_OK);
    }
}

// ----- Equalising --------------------------------------------------------------------------------

/// A record over bins of its own: one block, or the intensity's and one for each component.
template <class Bin>
struct Counts : SQmHisto {
    std::vector<Bin> bins;
    std::vector<void*> blocks;
    Counts(uint32_t bits, uint32_t components)
        : SQmHisto{}, bins((components < 2 ? 1 : components + 1) << bits) {
        pData = bins.data();
        for (uint32_t c = 0; c < components; ++c)
            blocks.push_back(bins.data() + (components < 2 ? 0 : (size_t{c} + 1) << bits));
        ppCompData = blocks.data();
        uiBinBytes = sizeof(Bin);
        uiComponents = components;
        uiBits = bits;
    }
    Counts(const Counts&) = delete;
    Counts& operator=(const Counts&) = delete;
};

/// N * (counts below i) / (all counts), of the entries that have one.
std::vector<uint32_t> equalised(std::vector<uint32_t> before, const uint64_t* bins, uint32_t n) {
    uint64_t all = 0, below = 0;
    for (uint32_t i = 0; i < n; ++i) all += bins[i];
    for (uint32_t i = 0; i < n; ++i) {
        const uint64_t place = n * below / all;
        if (place < n) before[i] = static_cast<uint32_t>(place);
        below += bins[i];
    }
    before[n - 1] = n - 1;
    return before;
}

template <class Bin>
void check_equalising(uint32_t seed) {
    Random random(seed);
    for (int round = 0; round < 100; ++round) {
        const uint32_t bits = random(0, 9) ? random(1, 9) : random(10, 16), n = 1u << bits;
        Set made(bits, 1, bits, 1);
        made.scramble(random);
        Counts<Bin> counts(bits, 1);
        const uint32_t from = random(0, n - 1), to = random(from, n - 1), most = random(1, 100000);
        for (uint32_t i = from; i <= to; ++i) counts.bins[i] = random(0, 2) ? 0 : random(0, most);
        counts.bins[from] += 1;
        const std::vector<uint64_t> bins(counts.bins.begin(), counts.bins.end());
        const auto expected = equalised(made.content(), bins.data(), n);
        ASSERT_EQ(SQmLut::CreateEqualizingTable_1_1(made, 3, &counts), QM_OK);
        ASSERT_EQ(made.content(), expected) << bits << " bits";
    }
}
TEST(EqualizingTable, HoldsTheShareOfWhatIsBelow) { check_equalising<uint32_t>(42); }
TEST(EqualizingTable, TakesBinsOf8BytesToo) { check_equalising<uint64_t>(43); }

TEST(EqualizingTable, OfAFlatHistogramIsTheIdentity) {
    Set set(8, 1, 8, 1);
    Counts<uint32_t> counts(8, 1);
    std::fill(counts.bins.begin(), counts.bins.end(), 77);
    ASSERT_EQ(SQmLut::CreateEqualizingTable_1_1(set, 0, &counts), QM_OK);
    for (uint32_t i = 0; i < 256; ++i) EXPECT_EQ(set.get(i), i);
}

TEST(EqualizingTable, LeavesWhatIsBehindTheLastCount) {
    Random random(44);
    Set set(3, 1, 3, 1);
    Counts<uint32_t> counts(3, 1);
    counts.bins = {1, 1, 0, 2, 0, 0, 0, 0};
    for (uint32_t i = 0; i < 8; ++i) set.set(0, i, 0, 100 + i);
    ASSERT_EQ(SQmLut::CreateEqualizingTable_1_1(set, 0, &counts), QM_OK);
    EXPECT_EQ(set.content(), (std::vector<uint32_t>{0, 2, 4, 4, 104, 105, 106, 7}));
}

TEST(EqualizingTable, WithoutCountsIsZeroUpToItsTop) {
    Random random(45);
    Set set(3, 1, 3, 1);
    set.scramble(random);
    Counts<uint32_t> counts(3, 1);
    ASSERT_EQ(SQmLut::CreateEqualizingTable_1_1(set, 0, &counts), QM_OK);
    EXPECT_EQ(set.content(), (std::vector<uint32_t>{0, 0, 0, 0, 0, 0, 0, 7}));
}

// Sums that wrap in 64 bits end all the same.
TEST(EqualizingTable, OfCountsBeyond64BitsEnds) {
    Random random(46);
    for (int round = 0; round < 50; ++round) {
        const uint32_t bits = random(1, 16);
        Set set(bits, 1, bits, 1);
        Counts<uint64_t> counts(bits, 1);
        for (uint64_t& bin : counts.bins)
            bin = random(0, 3) ? uint64_t{random.any()} << 32 : UINT64_MAX;
        ASSERT_EQ(SQmLut::CreateEqualizingTable_1_1(set, 0, &counts), QM_OK);
        EXPECT_EQ(set.get(0), 0u);
        EXPECT_EQ(set.get(set.top()), set.top());
    }
    Set set(1, 1, 1, 1);
    Counts<uint64_t> counts(1, 1);
    counts.bins = {UINT64_MAX, 2};  // 1 in all, and twice the first 2^64 - 2
    ASSERT_EQ(SQmLut::CreateEqualizingTable_1_1(set, 0, &counts), QM_OK);
    EXPECT_EQ(set.content(), (std::vector<uint32_t>{0, 1}));
}

TEST(EqualizingTable, OfOneEntryHasNoCells) {
    Set set(0, 1, 0, 1);
    Counts<uint32_t> counts(0, 1);
    EXPECT_EQ(SQmLut::CreateEqualizingTable_1_1(set, 0, &counts), QM_OK);
    EXPECT_EQ(*static_cast<uint64_t*>(set.pLuts), 0u);
}

// The intensity for one cell; for several, the component's counts in N cells from its row on.
TEST(EqualizingTable, TakesARowOfSeveralCellsForATable) {
    Counts<uint32_t> counts(2, 3);
    std::fill(counts.bins.begin(), counts.bins.end(), 1);
    const auto block = counts.bins.begin() + 4 * (1 + 1);  // component 1
    std::copy_n(std::vector<uint32_t>{2, 2, 0, 4}.begin(), 4, block);
    Set flat(2, 1, 2, 1), colour(2, 1, 2, 3);
    ASSERT_EQ(SQmLut::CreateEqualizingTable_1_1(flat, 1, &counts), QM_OK);
    EXPECT_EQ(flat.content(), (std::vector<uint32_t>{0, 1, 2, 3}));
    for (uint32_t i = 0; i < 12; ++i) colour.set(0, i / 3, i % 3, 100 + i);
    ASSERT_EQ(SQmLut::CreateEqualizingTable_1_1(colour, 1, &counts), QM_OK);
    EXPECT_EQ(colour.content(),
              (std::vector<uint32_t>{100, 101, 102, 0, 1, 2, 3, 107, 108, 109, 110, 111}));
}

TEST(EqualizingTable, StaysInsideOfTheBlock) {
    Counts<uint32_t> counts(2, 6);
    std::fill(counts.bins.begin(), counts.bins.end(), 1);
    Set set(2, 1, 2, 2);
    for (uint32_t i = 0; i < 8; ++i) set.set(0, i / 2, i % 2, 100 + i);
    ASSERT_EQ(SQmLut::CreateEqualizingTable_1_1(set, 3, &counts), QM_OK);
    EXPECT_EQ(set.content(), (std::vector<uint32_t>{100, 101, 102, 103, 104, 105, 0, 1}));
    for (const uint8_t beyond : {uint8_t{4}, uint8_t{5}})
        ASSERT_EQ(SQmLut::CreateEqualizingTable_1_1(set, beyond, &counts), QM_OK);
    EXPECT_EQ(set.content(), (std::vector<uint32_t>{100, 101, 102, 103, 104, 105, 0, 1}));
}

TEST(EqualizingTable, RefusesWhatDoesNotMatch) {
    Random random(47);
    Counts<uint32_t> counts(8, 3), shorter(7, 3);
    counts.bins[5] = shorter.bins[5] = 1;
    SQmLut none;
    Set deeper(8, 1, 9, 1), several(8, 3, 8, 1), wide(17 - 1, 1, 17, 1), fine(8, 1, 8, 1);
    for (SQmLut* set : std::initializer_list<SQmLut*>{&none, &deeper, &several, &wide})
        EXPECT_EQ(SQmLut::CreateEqualizingTable_1_1(*set, 0, &counts), QM_REJECTED);
    fine.scramble(random);
    const auto before = fine.content();
    EXPECT_EQ(SQmLut::CreateEqualizingTable_1_1(fine, 0, nullptr), QM_REJECTED);
    EXPECT_EQ(SQmLut::CreateEqualizingTable_1_1(fine, 0, &shorter), QM_REJECTED);
    SQmHisto odd = counts;
    odd.uiBinBytes = 2;
    EXPECT_EQ(SQmLut::CreateEqualizingTable_1_1(fine, 0, &odd), QM_REJECTED);
    SQmHisto freed = counts;
    freed.pData = nullptr;
    EXPECT_EQ(SQmLut::CreateEqualizingTable_1_1(fine, 0, &freed), QM_REJECTED);
    EXPECT_EQ(fine.content(), before);
    Set colour(8, 1, 8, 3);
    EXPECT_EQ(SQmLut::CreateEqualizingTable_1_1(colour, 3, &counts), QM_REJECTED);
    EXPECT_EQ(SQmLut::CreateEqualizingTable_1_1(colour, 2, &counts), QM_OK);
    Set long_one;
    Set::share(long_one, 17, 1, 17, 1);
    Counts<uint32_t> longest(17, 1);
    EXPECT_EQ(SQmLut::CreateEqualizingTable_1_1(long_one, 0, &longest), QM_REJECTED);
}

}  // namespace
}  // namespace qmpic::test
