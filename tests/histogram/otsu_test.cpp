#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

#include "qmpic/Histo.h"
#include "qmpic/status.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/levels.h"

namespace qmpic::test {
namespace {

using Api = CQmHistoAPI_Base;
using Counts = std::vector<uint64_t>;
using Thresholds = std::array<uint32_t, 3>;

const bool registered = add_cases({}, {}, {"CQmHistoAPI_Base::GetOtsuThreshold"});

constexpr uint32_t kUntouched = 77777;

/// A record of one component around bins.
struct Record {
    std::vector<uint32_t> narrow;
    Counts wide;
    void* block[1];
    SQmHisto histo{};

    Record(uint32_t bits, uint32_t bin_bytes, const Counts& counts)
        : narrow(counts.begin(), counts.end()), wide(counts) {
        block[0] = bin_bytes == 4 ? static_cast<void*>(narrow.data()) : wide.data();
        Api::Init(&histo);
        histo.pData = block[0];
        histo.ppCompData = block;
        histo.uiBinBytes = bin_bytes;
        histo.uiComponents = 1;
        histo.uiBits = bits;
    }
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;
};

Thresholds thresholds(uint32_t bits, uint32_t bin_bytes, const Counts& counts, uint32_t count) {
    const Record record(bits, bin_bytes, counts);
    Thresholds found{kUntouched, kUntouched, kUntouched};
    EXPECT_EQ(Api::GetOtsuThreshold(found.data(), count, &record.histo), QM_OK);
    return found;
}

/// The search as it is defined, one candidate after the other.
Thresholds searched(const Counts& counts, uint32_t count, size_t step) {
    const size_t n = counts.size();
    double all = 0, share = 0, sum = 0;
    for (const uint64_t c : counts) all += static_cast<double>(c);
    std::vector<double> shares, sums;
    for (size_t i = 0; i < n; ++i) {
        const double p = static_cast<double>(counts[i]) / all;
        share += p;
        sum += static_cast<double>(i) * p;
        shares.push_back(share);
        sums.push_back(sum);
    }
    const auto mean = [](double s, double p) { return p > 1e-10 ? s / p : s; };
    const auto criterion = [&](double p, double s) { return p * mean(s, p) * mean(s, p); };
    const auto first = [&](size_t a) { return criterion(shares[a], sums[a]); };
    const auto between = [&](size_t a, size_t b) {
        return criterion(shares[b] - shares[a], sums[b] - sums[a]);
    };
    double best = 0;
    Thresholds found{count > 0 ? 0 : kUntouched, count > 1 ? 0 : kUntouched,
                     count > 2 ? 0 : kUntouched};
    const auto see = [&](double value, size_t a, size_t b, size_t c) {
        if (!(value > best)) return;
        best = value;
        const size_t at[3] = {a, b, c};
        for (uint32_t i = 0; i < count; ++i) found[i] = static_cast<uint32_t>(at[i]);
    };
    if (count == 1)
        for (size_t t = 1; t < n; ++t) {
            const double a = shares[t - 1], b = shares[n - 1] - shares[t];
            const double u = sums[t - 1], v = sums[n - 1] - sums[t], m = u + v;
            const double d = mean(u, a) - m, e = mean(v, b) - m;
            see(d * d * a + e * e * b, t, 0, 0);
        }
    if (count == 2)
        for (size_t a = 0; a < n; a += step)
            for (size_t b = a + step; b < n; b += step)
                see(first(a) + between(a, b) + between(b, n - 1), a, b, 0);
    if (count == 3)
        for (size_t a = 0; a < n; a += step)
            for (size_t b = a + step; b < n; b += step) {
                const double two = first(a) + between(a, b);
                for (size_t c = b + step; c < n; c += step)
                    see(two + between(b, c) + between(c, n - 1), a, b, c);
            }
    return found;
}

/// Histograms with clear classes, with ties, and with sums that differ in the last bit only.
Counts draw(Random& random, uint32_t bits) {
    Counts counts(size_t{1} << bits, 0);
    const auto n = static_cast<uint32_t>(counts.size());
    switch (random(0, 9)) {
    case 0:  // noise
        for (uint64_t& c : counts) c = random(0, 1000);
        break;
    case 1:  // flat
        for (uint64_t& c : counts) c = 5;
        break;
    case 2:  // peaks
        for (uint32_t peak = random(1, 5); peak > 0; --peak) {
            const double at = random(0, n - 1), width = random(1, 9), height = random(1, 9999);
            for (uint32_t i = 0; i < n; ++i)
                counts[i] += static_cast<uint64_t>(
                    height * std::exp(-(i - at) * (i - at) / (width * width)));
        }
        break;
    case 3:  // a few bins, alike
        for (uint32_t i = random(1, 7); i > 0; --i) counts[random(0, n - 1)] = 3;
        break;
    case 4:  // a few bins
        for (uint32_t i = random(1, 9); i > 0; --i) counts[random(0, n - 1)] = random(1, 99);
        break;
    case 5:  // a comb, symmetrical
        for (uint32_t i = random(0, 3); i < n; i += 4) counts[i] = 7;
        break;
    case 6:  // one bin that outweighs all others, which are noise to it
        for (uint64_t& c : counts) c = 1;
        counts[random(0, n - 1)] = uint64_t{1} << random(20, 31);
        break;
    case 7:  // symmetrical
        for (uint32_t i = 0; i < n / 2; ++i) counts[i] = counts[n - 1 - i] = random(0, 3);
        break;
    case 8:  // only at an end
        for (uint32_t i = random(1, 4); i > 0; --i) counts[random(0, 1) ? n - i : i - 1] = i;
        break;
    default:  // any counts
        for (uint64_t& c : counts) c = random.any();
    }
    counts[random(0, n - 1)] += 1;  // never empty
    for (uint64_t& c : counts) c &= 0xFFFFFFFF;
    return counts;
}

class Otsu : public testing::TestWithParam<Level> {};

TEST_P(Otsu, FindsWhatThePlainSearchFinds) {
    const ForcedLevel forced(GetParam());
    for (uint32_t number = 0; number < 400; ++number) {
        Random random(number);
        const uint32_t bits = number % 10 == 0 ? 7 : random(4, 6);
        const Counts counts = draw(random, bits);
        for (uint32_t count = 0; count <= 3; ++count) {
            const Thresholds expected = searched(counts, count, 1);
            for (const uint32_t bin_bytes : {4u, 8u})
                ASSERT_EQ(thresholds(bits, bin_bytes, counts, count), expected)
                    << "histogram " << number << ", " << count << " thresholds";
        }
    }
}

TEST_P(Otsu, FindsTheLowestOfSumsThatDifferByRoundingAlone) {
    const ForcedLevel forced(GetParam());
    for (uint32_t number = 0; number < 60; ++number) {
        Random random(number);
        const uint32_t bits = random(4, 6);
        Counts counts(size_t{1} << bits, 0);
        const uint32_t all = (1u << bits) - 1;
        for (uint64_t& c : counts) c = random(0, 3);
        counts[number % 3 == 0 ? all : random(1, all)] = uint64_t{1} << random(50, 62);
        for (uint32_t count = 1; count <= 3; ++count)
            ASSERT_EQ(thresholds(bits, 8, counts, count), searched(counts, count, 1))
                << "histogram " << number << ", " << count << " thresholds";
    }
}

TEST_P(Otsu, TakesStridesThroughSomeNumbersOfBins) {
    const ForcedLevel forced(GetParam());
    struct Case {
        uint32_t bits;
        size_t two, three;
    };
    for (const Case& c :
         {Case{9, 1, 0}, {10, 2, 3}, {11, 1, 0}, {12, 4, 9}, {14, 8, 27}, {16, 16, 0}}) {
        Random random(c.bits);
        Counts counts(size_t{1} << c.bits, 0);
        for (uint64_t& n : counts) n = random(0, 20);
        for (size_t i = 0; i < counts.size() / 5; ++i) counts[i] += 100;
        EXPECT_EQ(thresholds(c.bits, 4, counts, 2), searched(counts, 2, c.two)) << c.bits;
        if (c.three != 0) {
            EXPECT_EQ(thresholds(c.bits, 4, counts, 3), searched(counts, 3, c.three)) << c.bits;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, Otsu, testing::ValuesIn(levels()),
                         [](const auto& info) { return std::string(name_of(info.param)); });

TEST(OtsuThreshold, OfThreeAt16BitsIsThatOfThePlainSearch) {
    Random random(16);
    Counts counts(65536, 0);
    for (size_t i = 0; i < counts.size(); ++i) counts[i] = random(0, 9) + (i / 9000 % 2) * 20;
    EXPECT_EQ(thresholds(16, 4, counts, 3), searched(counts, 3, 81));
}

TEST(OtsuThreshold, IsAMultipleOfTheStrideAt16Bits) {
    Counts counts(65536, 0);
    for (size_t i = 10000; i < 12000; ++i) counts[i] = 9;
    for (size_t i = 40000; i < 41000; ++i) counts[i] = 5;
    for (size_t i = 60001; i < 61003; ++i) counts[i] = 5;
    const Thresholds two = thresholds(16, 4, counts, 2), three = thresholds(16, 4, counts, 3);
    EXPECT_EQ(two[0] % 16 + two[1] % 16, 0u);
    EXPECT_EQ(two, (Thresholds{12000, 41008, kUntouched}));  // the first multiples behind the peaks
    for (const uint32_t t : three) EXPECT_EQ(t % 81, 0u);
    EXPECT_LT(three[0], three[1]);
    EXPECT_LT(three[1], three[2]);
    // Where every bin may be one, the first that takes the whole peak.
    counts.resize(32768);
    for (size_t i = 20000; i < 20100; ++i) counts[i] = 50;
    for (size_t i = 30000; i < 30100; ++i) counts[i] = 50;
    EXPECT_EQ(thresholds(15, 4, counts, 2), (Thresholds{11999, 20099, kUntouched}));
}

TEST(OtsuThreshold, OfOneBelongsToNeitherClass) {
    // One pixel at 2 and one at 6. Threshold 2 leaves a class of half the pixels at 6, against a
    // total of 3: (0 - 3)^2 * 0 + (6 - 3)^2 * 0.5 = 4.5. Thresholds between the pixels give
    // (2 - 4)^2 * 0.5 + (6 - 4)^2 * 0.5 = 4.
    Counts counts(16, 0);
    counts[2] = counts[6] = 1;
    EXPECT_EQ(thresholds(4, 4, counts, 1), (Thresholds{2, kUntouched, kUntouched}));
}

TEST(OtsuThreshold, IsTheLowestOfATie) {
    // All pixels at 5: 25 wherever the thresholds are. One threshold: 0 everywhere, so none.
    Counts counts(16, 0);
    counts[5] = 7;
    EXPECT_EQ(thresholds(4, 4, counts, 1), (Thresholds{0, kUntouched, kUntouched}));
    EXPECT_EQ(thresholds(4, 4, counts, 2), (Thresholds{0, 1, kUntouched}));
    EXPECT_EQ(thresholds(4, 4, counts, 3), (Thresholds{0, 1, 2}));
    // Two classes: 2 up to any of 2 to 5, 6 behind; the first pair that parts them is (0, 2).
    counts.assign(16, 0);
    counts[2] = counts[6] = 1;
    EXPECT_EQ(thresholds(4, 4, counts, 2), (Thresholds{0, 2, kUntouched}));
    EXPECT_EQ(thresholds(4, 4, counts, 3), (Thresholds{0, 1, 2}));
    // Three classes of 1, 5 and 9.
    counts.assign(16, 0);
    counts[1] = counts[5] = counts[9] = 4;
    EXPECT_EQ(thresholds(4, 4, counts, 2), (Thresholds{1, 5, kUntouched}));
    EXPECT_EQ(thresholds(4, 4, counts, 3), (Thresholds{0, 1, 5}));
}

TEST(OtsuThreshold, Is0WhereNoSumIsAbove0) {
    Counts counts(16, 0);
    counts[0] = 100;  // index 0 weighs nothing
    for (uint32_t count = 1; count <= 3; ++count) {
        const Thresholds found = thresholds(4, 4, counts, count);
        for (uint32_t i = 0; i < 3; ++i) EXPECT_EQ(found[i], i < count ? 0 : kUntouched);
    }
    // Too few bins for thresholds.
    EXPECT_EQ(thresholds(0, 4, {5}, 1), (Thresholds{0, kUntouched, kUntouched}));
    EXPECT_EQ(thresholds(0, 4, {5}, 2), (Thresholds{0, 0, kUntouched}));
    EXPECT_EQ(thresholds(1, 8, {5, 5}, 3), (Thresholds{0, 0, 0}));
    EXPECT_EQ(thresholds(1, 8, {5, 5}, 2), (Thresholds{0, 1, kUntouched}));
}

TEST(OtsuThreshold, TakesATinyClassAsItsSum) {  // below 1e-10 of the pixels
    Counts counts(16, 0);
    counts[3] = uint64_t{1} << 40, counts[15] = 1;
    for (uint32_t count = 1; count <= 3; ++count)
        EXPECT_EQ(thresholds(4, 8, counts, count), searched(counts, count, 1)) << count;
}

TEST(OtsuThreshold, RefusesWhatItCannotDo) {
    Counts counts(16, 1);
    Record record(4, 4, counts);
    Thresholds found{kUntouched, kUntouched, kUntouched};
    const auto code = [&](uint32_t count) {
        return Api::GetOtsuThreshold(found.data(), count, &record.histo);
    };
    EXPECT_EQ(code(4), QM_NO_KERNEL);
    EXPECT_EQ(code(0xFFFFFFFF), QM_NO_KERNEL);
    EXPECT_EQ(Api::GetOtsuThreshold(nullptr, 4, &record.histo), QM_NO_KERNEL);
    EXPECT_EQ(Api::GetOtsuThreshold(nullptr, 3, &record.histo), QM_BAD_BUFFER);
    EXPECT_EQ(Api::GetOtsuThreshold(nullptr, 0, &record.histo), QM_BAD_BUFFER);
    EXPECT_EQ(Api::GetOtsuThreshold(found.data(), 1, nullptr), QM_REJECTED);
    EXPECT_EQ(code(0), QM_OK);
    for (const uint32_t components : {0u, 2u, 3u}) {
        record.histo.uiComponents = components;
        EXPECT_EQ(code(1), QM_NO_KERNEL);
    }
    record.histo.uiComponents = 1;
    record.histo.uiBinBytes = 2;
    EXPECT_EQ(code(3), QM_OK);
    EXPECT_EQ(found, (Thresholds{kUntouched, kUntouched, kUntouched}));
}

TEST(OtsuThreshold, NeedsPixels) {
    for (const uint32_t bin_bytes : {4u, 8u})
        for (uint32_t count = 0; count <= 3; ++count) {
            const Record record(8, bin_bytes, Counts(256, 0));
            Thresholds found{kUntouched, kUntouched, kUntouched};
            EXPECT_EQ(Api::GetOtsuThreshold(found.data(), count, &record.histo),
                      count == 0 ? QM_OK : QM_BAD_BUFFER);
            EXPECT_EQ(found, (Thresholds{kUntouched, kUntouched, kUntouched}));
        }
}

TEST(OtsuThreshold, ReportsLackOfMemory) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const Record record(8, 4, Counts(256, 1));
    for (uint32_t count = 1; count <= 3; ++count) {
        Thresholds found{kUntouched, kUntouched, kUntouched};
        const uint32_t seen =
            each_failure([&] { return Api::GetOtsuThreshold(found.data(), count, &record.histo); },
                         [&](uint32_t n, const Outcome& outcome) {
                             EXPECT_EQ(outcome.code, n == 0 ? QM_OK : QM_BAD_BUFFER);
                             EXPECT_FALSE(outcome.threw);
                             EXPECT_EQ(outcome.live, 0);
                             EXPECT_EQ(found[0] == kUntouched, n != 0);
                             found.fill(kUntouched);
                         });
        EXPECT_GT(seen, 0u);
    }
}

}  // namespace
}  // namespace qmpic::test
