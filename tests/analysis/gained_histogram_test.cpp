#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <vector>

#include "analysis/acquisition_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/bin_array.h"
#include "support/cases.h"
#include "support/failing_alloc.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;

Counts repaired(Counts bins) {
    const uint64_t n = bins.size();
    uint64_t sum = 0;
    for (const uint64_t bin : bins) sum += bin;
    const uint64_t limit = std::max<uint64_t>(sum / n / 20, 10);
    std::vector<bool> low;
    for (const uint64_t bin : bins) low.push_back(bin < limit);

    uint64_t runs = 0, length = 0;
    for (uint64_t i = 1; i <= n - 2; ++i) {
        if (low[i]) {
            length = 0;
        } else if (++length == 11) {
            length = 0;
            ++runs;
        }
    }
    if (runs > n / 50) return bins;

    int state = 0;
    uint64_t start = 0, end = 0;
    for (uint64_t i = 1; i <= n - 2; ++i) {
        if (low[i]) {
            if (state == 0) continue;
            state = 2;
            end = i;
            continue;
        }
        if (state == 2) {
            if (end - start >= 10) {
                state = 0;
                continue;
            }
            if (bins[start] > 5 * limit && bins[i] > 5 * limit)
                for (uint64_t k = start + 1; k < i; ++k)
                    bins[k] = ((i - k) * bins[start] + (k - start) * bins[i]) / (i - start);
        }
        state = 1;
        start = i;
    }
    return bins;
}

/// Runs of high and of low bins of any length, seldom so many high ones that all is normal.
Counts draw_bins(Random& random, uint32_t bits, uint32_t bin_bytes) {
    Counts bins(size_t{1} << bits);
    const uint32_t longest = random.one_of({2u, 5u, 10u, 12u, 30u});
    const uint32_t most = random.one_of({60u, 1000u, 1000000u});
    const bool great = random(0, 3) == 0;
    for (size_t i = 0; i < bins.size();) {
        const uint32_t kind = random(0, 3);
        for (uint32_t left = random(1, longest); left > 0 && i < bins.size(); --left, ++i) {
            uint64_t count = kind == 0 ? 0 : kind == 1 ? random(0, 12) : random(most / 2, most);
            if (great && kind == 3) count = uint64_t{random.any()} << (bin_bytes == 8 ? 32 : 0);
            bins[i] = count;
        }
    }
    return bins;
}

using Run = std::function<int(void* bins, uint32_t bin_bytes, uint32_t bits)>;

void check(const Run& run, Round round) {
    Random& random = round.random;
    const uint32_t bits = random(0, 15) == 0 ? random(13, 16) : 8 + round.number % 5;
    const uint32_t bin_bytes = random.one_of({4u, 8u});
    const Counts before = draw_bins(random, bits, bin_bytes), expected = repaired(before);
    BinArray bins(bin_bytes, before, random(0, 3));

    EXPECT_EQ(run(bins.data(), random.one_of({0u, 1u, 2u, 5u, 16u}), bits), QM_OK);
    ASSERT_EQ(bins.counts(), before);

    ASSERT_EQ(run(bins.data(), bin_bytes, bits), QM_OK);
    ASSERT_EQ(bins.counts(), expected) << bits << " bits, " << bin_bytes << " bytes";
    EXPECT_TRUE(bins.is_alone());
    round.digest.add(expected);
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    for (const auto& k : kGainedProblem)
        all.push_back({std::string(k.name), [=](Round round) { check(k.run, round); }, 96});
    for (const auto& k : kGainedProblemComp)
        all.push_back({std::string(k.name),
                       [=](Round round) {
                           const uint32_t component = round.random(0, 5);
                           const Run run = [=](void* bins, uint32_t bin_bytes, uint32_t bits) {
                               void* arrays[6] = {};
                               arrays[component] = bins;
                               return k.run(arrays, component, bin_bytes, bits);
                           };
                           check(run, round);
                       },
                       96});
    return all;
}

const bool registered = add_cases(kernel_cases(), {}, {"CQmPicMemAPI_Base::GainedProblem"});

// ----- By hand -----------------------------------------------------------------------------------

using Bins = std::vector<uint32_t>;

Bins repair(Bins bins) {
    const uint32_t bits = bins.size() == 256 ? 8 : bins.size() == 512 ? 9 : 12;
    EXPECT_EQ(Api::GainedProblem(nullptr, bins.data(), 0, 4, 1, bits), QM_OK);
    return bins;
}
/// Nothing but these bins from 20 on.
Bins bins_with(const Bins& some) {
    Bins bins(256, 0);
    std::copy(some.begin(), some.end(), bins.begin() + 20);
    return bins;
}
Bins repaired_part(const Bins& some) {
    const Bins bins = repair(bins_with(some));
    return {bins.begin() + 20, bins.begin() + 20 + static_cast<ptrdiff_t>(some.size())};
}

TEST(GainedProblem, DrawsALineOverAGap) {
    EXPECT_EQ(repaired_part({100, 0, 0, 70}), (Bins{100, 90, 80, 70}));
    EXPECT_EQ(repaired_part({70, 3, 9, 101}), (Bins{70, 80, 90, 101}));  // 80.3, 90.7
    EXPECT_EQ(repaired_part({100, 0, 90, 0, 51}), (Bins{100, 95, 90, 70, 51}));
}

TEST(GainedProblem, TellsLowBinsByTheMean) {  // 10 at least, else a twentieth of the mean
    EXPECT_EQ(repaired_part({60, 9, 60}), (Bins{60, 60, 60}));
    EXPECT_EQ(repaired_part({60, 10, 60}), (Bins{60, 10, 60}));
    // 256000 in 256 bins: F is 50, and 250 is not above five times that.
    EXPECT_EQ(repaired_part({260, 49, 260, 255431}), (Bins{260, 260, 260, 255431}));
    EXPECT_EQ(repaired_part({260, 50, 260, 255430}), (Bins{260, 50, 260, 255430}));
    EXPECT_EQ(repaired_part({250, 0, 260, 255490}), (Bins{250, 0, 260, 255490}));
    EXPECT_EQ(repaired_part({260, 0, 250, 255490}), (Bins{260, 0, 250, 255490}));
    EXPECT_EQ(repaired_part({251, 0, 251, 255498}), (Bins{251, 251, 251, 255498}));
    // One less, and the mean of whole numbers is 999, a twentieth of which is 49.
    EXPECT_EQ(repaired_part({260, 49, 260, 255430}), (Bins{260, 49, 260, 255430}));
}

TEST(GainedProblem, LeavesTenLowBinsAndMore) {
    Bins nine(11, 0), ten(12, 0);
    nine[0] = nine[10] = ten[0] = ten[11] = 100;
    EXPECT_EQ(repaired_part(nine), Bins(11, 100));
    EXPECT_EQ(repaired_part(ten), ten);
}

TEST(GainedProblem, BeginsNothingAtTheBinBehindALongGap) {
    Bins bins(20, 0);
    bins[0] = bins[11] = bins[13] = bins[15] = 100;  // 11 is passed over, 13 begins a line
    Bins expected = bins;
    expected[14] = 100;
    EXPECT_EQ(repaired_part(bins), expected);
    bins[12] = 100;  // right behind 11
    expected[12] = expected[13] = 100;
    EXPECT_EQ(repaired_part(bins), expected);
}

TEST(GainedProblem, BeginsAnewAtAnEndThatIsNotHighEnough) {
    // 40 is not low, but not above 50 either: no line to it or from it.
    EXPECT_EQ(repaired_part({100, 0, 40, 0, 100, 0, 80}), (Bins{100, 0, 40, 0, 100, 90, 80}));
    EXPECT_EQ(repaired_part({50, 0, 100}), (Bins{50, 0, 100}));
    EXPECT_EQ(repaired_part({51, 0, 51}), (Bins{51, 51, 51}));
}

TEST(GainedProblem, HasNoEndsInTheFirstAndTheLastBin) {
    Bins bins(256, 0);
    bins[0] = bins[2] = bins[253] = bins[255] = 100;
    EXPECT_EQ(repair(bins), bins);
    bins[0] = bins[255] = 0;
    bins[1] = bins[3] = bins[252] = bins[254] = 100;
    Bins expected = bins;
    expected[2] = expected[3] = expected[253] = 100;
    EXPECT_EQ(repair(bins), (bins[2] = 100, bins[253] = 100, bins));
    EXPECT_EQ(bins, expected);
}

/// `runs` times 11 high bins with a low one behind each, and a gap at 201.
Bins with_runs(uint32_t runs, uint32_t length) {
    Bins bins(256, 0);
    for (uint32_t i = 0; i < runs; ++i)
        for (uint32_t k = 0; k < length; ++k) bins[1 + i * (length + 1) + k] = 30;
    bins[199] = bins[200] = bins[202] = 100;  // the first is passed over, behind a long gap
    return bins;
}

TEST(GainedProblem, LeavesNormalHistogramsAlone) {  // 256 / 50 is 5: six runs are more
    EXPECT_EQ(repair(with_runs(5, 11))[201], 100u);
    EXPECT_EQ(repair(with_runs(6, 11)), with_runs(6, 11));
    EXPECT_EQ(repair(with_runs(12, 10))[201], 100u);  // a low bin ends a run
    // Runs that follow one another count each: 66 bins are six, 65 five.
    EXPECT_EQ(repair(with_runs(1, 66)), with_runs(1, 66));
    EXPECT_EQ(repair(with_runs(1, 65))[201], 100u);
    // The first bin and the last are not looked at.
    Bins bins = with_runs(1, 65);
    bins[0] = 30;
    EXPECT_EQ(repair(bins)[201], 100u);
    Bins many(512, 0);  // 512 / 50 is 10
    for (uint32_t i = 1; i <= 110; ++i) many[i] = 30;
    many[299] = many[300] = many[302] = 100;
    EXPECT_EQ(repair(many)[301], 100u);
    many[111] = many[112] = many[113] = many[114] = many[115] = many[116] = 30;
    many[117] = many[118] = many[119] = many[120] = many[121] = 30;
    EXPECT_EQ(repair(many), many);
}

TEST(GainedProblem, IsComputedIn64Bits) {
    const uint32_t high = 0xFFFFFFF0;
    EXPECT_EQ(repaired_part({high, 0, 0, high}), Bins(4, high));
    Counts bins(256, 0);
    bins[20] = bins[23] = uint64_t{1} << 50;
    EXPECT_EQ(Api::GainedProblem(nullptr, bins.data(), 0, 8, 1, 8), QM_OK);
    EXPECT_EQ(bins[21], uint64_t{1} << 50);
    EXPECT_EQ(bins[22], uint64_t{1} << 50);
}

TEST(GainedProblem, TakesTheHistogramOfTheComponent) {
    for (const uint32_t components : {0u, 1u, 2u, 3u, 4u, 193u}) {
        const Bins before = bins_with({100, 0, 100}), after = bins_with({100, 100, 100});
        Bins alone = before, first = before, second = before;
        void* arrays[2] = {first.data(), second.data()};
        EXPECT_EQ(Api::GainedProblem(arrays, alone.data(), 1, 4, components, 8), QM_OK);
        EXPECT_EQ(alone, components == 1 ? after : before) << components;
        EXPECT_EQ(second, components == 1 ? before : after) << components;
        EXPECT_EQ(first, before);
    }
}

TEST(GainedProblem, RefusesBitsAndLeavesOtherBins) {
    const Bins before = bins_with({100, 0, 100});
    Bins bins = before;
    void* arrays[1] = {bins.data()};
    for (const uint32_t components : {1u, 2u, 3u}) {
        for (const uint32_t bits : {0u, 1u, 7u, 17u, 32u})
            EXPECT_EQ(Api::GainedProblem(arrays, bins.data(), 0, 4, components, bits),
                      QM_NO_KERNEL);
        for (const uint32_t bin_bytes : {0u, 1u, 2u, 3u, 5u, 16u})
            EXPECT_EQ(Api::GainedProblem(arrays, bins.data(), 0, bin_bytes, components, 8), QM_OK);
        EXPECT_EQ(Api::GainedProblem(nullptr, nullptr, 0, 4, components, 8), QM_OK);
    }
    EXPECT_EQ(bins, before);
}

TEST(GainedProblem, WithoutMemoryDoesNothing) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const Bins before = bins_with({100, 0, 100});
    Bins bins = before;
    const uint32_t allocations = each_failure(
        [&] {
            bins = before;
            return Api::GainedProblem(nullptr, bins.data(), 0, 4, 1, 8);
        },
        [&](uint32_t n, const Outcome& outcome) {
            EXPECT_EQ(outcome.code_or_throw(), QM_OK);
            EXPECT_EQ(outcome.live, 0);
            EXPECT_EQ(bins == before, n != 0);
        });
    EXPECT_EQ(allocations, 1u);
}

}  // namespace
}  // namespace qmpic::test
