#include "qmpic/kernels/repair.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "histogram/repair_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/bin_array.h"
#include "support/cases.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;

bool is_comb(const Counts& bins) {
    uint32_t populated = 0;
    for (size_t i = 0; i < bins.size(); ++i) {
        if (bins[i] == 0) continue;
        ++populated;
        if (i > 0 && bins[i - 1] != 0) return false;
    }
    return populated >= 192;
}

/// Looks for the neighbours of each empty bin.
Counts repaired(const Counts& bins, uint32_t bin_bytes) {
    Counts filled = bins;
    const int64_t count = static_cast<int64_t>(bins.size());
    const auto at = [&](int64_t i) { return bins[static_cast<size_t>(i)]; };
    for (int64_t k = 0; k < count; ++k) {
        int64_t left = k, right = k;
        while (left >= 0 && at(left) == 0) --left;
        while (right < count && at(right) == 0) ++right;
        if (left < 0 || right == count || left == k) continue;
        const double rise =
            bin_bytes == 4 ? static_cast<double>(
                                 static_cast<int32_t>(static_cast<uint32_t>(at(right) - at(left))))
                           : static_cast<double>(
                                 static_cast<int64_t>(static_cast<uint64_t>(at(right) - at(left))));
        const double value =
            std::trunc(static_cast<double>(k - left) / static_cast<double>(right - left) * rise +
                       static_cast<double>(at(left)) + 0.5);
        const bool fits = value >= -0x1p63 && value < 0x1p63;
        const auto whole = fits ? static_cast<uint64_t>(static_cast<int64_t>(value)) : 1ull << 63;
        filled[static_cast<size_t>(k)] = bin_bytes == 4 ? whole & 0xFFFFFFFF : whole;
    }
    return filled;
}

/// Combs, combs with a flaw, few teeth, and anything.
Counts draw_bins(Random& random, uint32_t bits, uint32_t bin_bytes) {
    Counts bins(size_t{1} << bits, 0);
    const uint32_t step = random(1, 5), first = random(0, step - 1), full = random(0, 3);
    for (size_t i = first; i < bins.size(); i += step) {
        if (full == 0 && random(0, 2) == 0) continue;
        uint64_t count = random(1, 1000);
        if (random(0, 3) == 0) count = random.any();
        if (random(0, 3) == 0) count = count << 32 | random.any();
        if (random(0, 9) == 0) count = ~0ull;
        bins[i] = bin_bytes == 4 ? count & 0xFFFFFFFF : count;
    }
    if (random(0, 2) == 0) bins[random(0, static_cast<uint32_t>(bins.size()) - 1)] = 1;
    return bins;
}

uint32_t draw_bits(Round round) {
    return round.random(0, 15) == 0 ? round.random(13, 16) : 8 + round.number % 5;
}

using NeedToRepair = std::function<int(bool* flags, void** arrays, uint32_t bin_bytes,
                                       uint32_t components, uint32_t bits)>;

void check_need(const NeedToRepair& run, uint32_t components, Round round) {
    Random& random = round.random;
    const uint32_t bits = draw_bits(round), bin_bytes = random.one_of({4u, 8u});
    std::vector<BinArray> arrays;
    std::vector<Counts> counts;
    std::vector<void*> pointers;
    std::vector<int> expected;
    for (uint32_t c = 0; c < components; ++c) {
        counts.push_back(draw_bins(random, bits, bin_bytes));
        arrays.emplace_back(bin_bytes, counts[c], random(0, 3));
        expected.push_back(is_comb(counts[c]));
    }
    for (BinArray& array : arrays) pointers.push_back(array.data());
    const bool before = random(0, 1) != 0;
    bool flags[12];
    std::fill_n(flags, 12, before);

    ASSERT_EQ(run(flags + 1, pointers.data(), bin_bytes, components, bits), QM_OK);

    EXPECT_EQ(flags[0], before);
    EXPECT_EQ(flags[components + 1], before);
    for (uint32_t c = 0; c < components; ++c) {
        ASSERT_EQ(flags[c + 1], expected[c] != 0) << bits << " bits, component " << c;
        EXPECT_EQ(arrays[c].counts(), counts[c]);
        round.digest.add(static_cast<uint64_t>(expected[c]));
    }

    std::fill_n(flags, 12, before);
    const uint32_t other = random.one_of({0u, 1u, 2u, 5u, 16u});
    EXPECT_EQ(run(flags + 1, pointers.data(), other, components, bits), QM_BAD_BUFFER);
    for (const bool flag : flags) EXPECT_EQ(flag, before);
}

using Repair = std::function<int(void* bins, uint32_t bin_bytes, uint32_t bits)>;

void check_repair(const Repair& run, Round round) {
    Random& random = round.random;
    const uint32_t bits = draw_bits(round), bin_bytes = random.one_of({4u, 8u});
    const Counts before = draw_bins(random, bits, bin_bytes);
    const Counts expected = repaired(before, bin_bytes);
    BinArray bins(bin_bytes, before, random(0, 3));

    EXPECT_EQ(run(bins.data(), random.one_of({0u, 1u, 2u, 5u, 16u}), bits), QM_BAD_BUFFER);
    ASSERT_EQ(bins.counts(), before);

    ASSERT_EQ(run(bins.data(), bin_bytes, bits), QM_OK);
    ASSERT_EQ(bins.counts(), expected) << bits << " bits, " << bin_bytes << " bytes";
    EXPECT_TRUE(bins.is_alone());
    round.digest.add(expected);
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    for (const auto& k : kNeedToRepair)
        all.push_back({std::string(k.name), [=](Round round) {
                           const NeedToRepair run = [=](bool* flags, void** arrays,
                                                        uint32_t bin_bytes, uint32_t,
                                                        uint32_t bits) {
                               return k.run(flags, arrays[0], bin_bytes, bits);
                           };
                           check_need(run, 1, round);
                       }});
    for (const auto& k : kNeedToRepairFixed)
        all.push_back({std::string(k.name), [=](Round round) {
                           const NeedToRepair run =
                               [=](bool* flags, void** arrays, uint32_t bin_bytes, uint32_t,
                                   uint32_t bits) { return k.run(flags, arrays, bin_bytes, bits); };
                           check_need(run, k.source.components, round);
                       }});
    for (const auto& k : kNeedToRepairAny)
        all.push_back({std::string(k.name), [=](Round round) {
                           const uint32_t components = round.random(0, 9);
                           check_need(k.run, components, round);
                       }});
    for (const auto& k : kRepairHisto)
        all.push_back({std::string(k.name), [=](Round round) { check_repair(k.run, round); }});
    for (const auto& k : kRepairHistoComp)
        all.push_back({std::string(k.name), [=](Round round) {
                           const uint32_t component = round.random(0, 5);
                           const Repair run = [=](void* bins, uint32_t bin_bytes, uint32_t bits) {
                               void* arrays[6] = {};
                               arrays[component] = bins;
                               return k.run(arrays, component, bin_bytes, bits);
                           };
                           check_repair(run, round);
                       }});
    return all;
}

const bool registered =
    add_cases(kernel_cases(), {},
              {"CQmPicMemAPI_Base::NeedToRepairHisto", "CQmPicMemAPI_Base::RepairHistoComp"});

/// So many populated bins, each `step`-th.
std::vector<uint32_t> comb(uint32_t bits, uint32_t teeth, uint32_t step, uint32_t first = 0) {
    std::vector<uint32_t> bins(size_t{1} << bits, 0);
    for (uint32_t i = 0; i < teeth; ++i) bins[first + i * step] = i % 7 + 1;
    return bins;
}
bool needs_repair(std::vector<uint32_t> bins, uint32_t bits) {
    bool flag = false, other = true;
    EXPECT_EQ(Api::NeedToRepairHisto(&flag, nullptr, nullptr, bins.data(), 4, 1, bits), QM_OK);
    EXPECT_EQ(Api::NeedToRepairHisto(&other, nullptr, nullptr, bins.data(), 4, 1, bits), QM_OK);
    EXPECT_EQ(flag, other);
    return flag;
}

TEST(NeedToRepairHisto, WantsAtLeast192PopulatedBins) {
    EXPECT_FALSE(needs_repair(comb(8, 128, 2), 8));
    EXPECT_TRUE(needs_repair(comb(16, 300, 2), 16));
    EXPECT_FALSE(needs_repair(comb(9, 191, 2), 9));
    EXPECT_TRUE(needs_repair(comb(9, 192, 2), 9));
    EXPECT_TRUE(needs_repair(comb(12, 192, 2, 1), 12));
    EXPECT_TRUE(needs_repair(comb(12, 1024, 4, 3), 12));  // to the last bin
    EXPECT_FALSE(needs_repair(comb(12, 0, 1), 12));
}

TEST(NeedToRepairHisto, IsSettledByOnePairOfNeighboursAnywhere) {
    for (const uint32_t at : {0u, 1u, 63u, 64u, 2047u, 2048u, 4094u}) {
        auto bins = comb(12, 1024, 4, 2);
        bins[at] = bins[at + 1] = 1;
        EXPECT_FALSE(needs_repair(bins, 12)) << at;
    }
}

TEST(NeedToRepairHisto, WritesNothingFor7And17Bits) {
    auto bins = comb(16, 300, 2);
    void* arrays[3] = {bins.data(), bins.data(), bins.data()};
    for (const uint32_t bits : {0u, 7u, 17u, 32u}) {
        bool flag = false, flags[3] = {};
        for (const uint32_t bin_bytes : {4u, 5u})
            EXPECT_EQ(Api::NeedToRepairHisto(&flag, flags, arrays, bins.data(), bin_bytes, 3, bits),
                      QM_OK);
        EXPECT_FALSE(flag || flags[0] || flags[1] || flags[2]) << bits;
    }
}

TEST(NeedToRepairHisto, JudgesIntensityAndEachComponent) {
    for (const uint32_t components : {2u, 3u, 4u, 5u}) {
        auto good = comb(9, 192, 2), bad = comb(9, 191, 2);
        for (uint32_t one = 0; one <= components; ++one) {  // the last is the intensity
            void* arrays[5];
            bool flag = one != components, flags[5];
            for (uint32_t c = 0; c < components; ++c) {
                arrays[c] = c == one ? good.data() : bad.data();
                flags[c] = c != one;
            }
            EXPECT_EQ(Api::NeedToRepairHisto(&flag, flags, arrays,
                                             one == components ? good.data() : bad.data(), 4,
                                             components, 9),
                      QM_OK);
            EXPECT_EQ(flag, one == components);
            for (uint32_t c = 0; c < components; ++c) EXPECT_EQ(flags[c], c == one) << components;
        }
    }
}

TEST(NeedToRepairHisto, LooksAtTheIntensityAloneWithOneComponent) {
    auto good = comb(9, 192, 2), bad = comb(9, 191, 2);
    void* arrays[1] = {bad.data()};
    bool flag = false, other = false;
    EXPECT_EQ(Api::NeedToRepairHisto(&flag, &other, arrays, good.data(), 4, 1, 9), QM_OK);
    EXPECT_TRUE(flag);
    EXPECT_FALSE(other);
}

TEST(NeedToRepairHisto, RefusesOtherBins) {
    auto bins = comb(9, 192, 2);
    void* arrays[4] = {bins.data(), bins.data(), bins.data(), bins.data()};
    for (const uint32_t components : {0u, 1u, 2u, 3u, 4u}) {
        bool flag = false, flags[4] = {};
        EXPECT_EQ(Api::NeedToRepairHisto(&flag, flags, arrays, bins.data(), 2, components, 9),
                  QM_BAD_BUFFER);
        EXPECT_FALSE(flag || flags[0] || flags[1] || flags[2] || flags[3]);
    }
}

TEST(RepairHistoComp, DrawsAStraightLine) {  // from 100 to 40: 80, 60
    std::vector<uint32_t> bins(256, 0);
    bins[10] = 100, bins[13] = 40;
    EXPECT_EQ(Api::RepairHistoComp(nullptr, bins.data(), 0, 4, 1, 8), QM_OK);
    EXPECT_EQ(std::vector<uint32_t>(bins.begin() + 8, bins.begin() + 16),
              (std::vector<uint32_t>{0, 0, 100, 80, 60, 40, 0, 0}));
}

TEST(RepairHistoComp, Rounds) {  // 1 to 2 over two bins: 1.5; over three: 1.33, 1.67
    std::vector<uint64_t> bins(256, 0);
    bins[0] = 1, bins[2] = 2, bins[5] = 1, bins[255] = 1;
    EXPECT_EQ(Api::RepairHistoComp(nullptr, bins.data(), 7, 8, 1, 8), QM_OK);
    EXPECT_EQ(std::vector<uint64_t>(bins.begin(), bins.begin() + 7),
              (std::vector<uint64_t>{1, 2, 2, 2, 1, 1, 1}));
    EXPECT_EQ(bins[254], 1u);
}

TEST(RepairHistoComp, GrowsTheTotal) {
    std::vector<uint32_t> bins(256, 0);
    for (uint32_t i = 0; i < 256; i += 2) bins[i] = 10;
    EXPECT_EQ(Api::RepairHistoComp(nullptr, bins.data(), 0, 4, 1, 8), QM_OK);
    uint32_t total = 0;
    for (const uint32_t bin : bins) total += bin;
    EXPECT_EQ(total, 2550u);  // of 1280; the last bin has no right neighbour
}

TEST(RepairHistoComp, TakesTheDifferenceAsASignedBin) {
    // 1 to 0x90000001 is -0x70000000 in 32 bits: 1 - 0x38000000 + 0.5 in between, toward zero.
    std::vector<uint32_t> narrow(256, 0);
    narrow[0] = 1, narrow[2] = 0x90000001;
    EXPECT_EQ(Api::RepairHistoComp(nullptr, narrow.data(), 0, 4, 1, 8), QM_OK);
    EXPECT_EQ(narrow[1], 0xC8000002u);
    // 64 bits hold it: (1 + 0x90000001) / 2.
    std::vector<uint64_t> wide(256, 0);
    wide[0] = 1, wide[2] = 0x90000001;
    EXPECT_EQ(Api::RepairHistoComp(nullptr, wide.data(), 0, 8, 1, 8), QM_OK);
    EXPECT_EQ(wide[1], 0x48000001u);
}

TEST(RepairHistoComp, ChoosesTheBlock) {
    std::vector<uint32_t> start(256, 0);
    start[0] = start[2] = 5;
    auto filled = start;
    filled[1] = 5;
    for (const uint32_t components : {0u, 1u, 2u, 3u, 4u, 5u}) {
        auto intensity = start, first = start, second = start;
        void* arrays[2] = {first.data(), second.data()};
        EXPECT_EQ(Api::RepairHistoComp(arrays, intensity.data(), 1, 4, components, 8), QM_OK);
        EXPECT_EQ(intensity, components == 1 ? filled : start);
        EXPECT_EQ(first, start);
        EXPECT_EQ(second, components == 1 ? start : filled);
    }
}

TEST(RepairHistoComp, KnowsNoOtherBitsAndBins) {
    std::vector<uint32_t> start(256, 0);
    start[0] = start[2] = 5;
    auto bins = start;
    void* arrays[1] = {bins.data()};
    for (const uint32_t components : {1u, 3u}) {
        for (const uint32_t bits : {0u, 7u, 17u, 32u})
            for (const uint32_t bin_bytes : {4u, 5u})
                EXPECT_EQ(Api::RepairHistoComp(arrays, bins.data(), 0, bin_bytes, components, bits),
                          QM_NO_KERNEL);
        for (const uint32_t bin_bytes : {0u, 2u, 16u})
            EXPECT_EQ(Api::RepairHistoComp(arrays, bins.data(), 0, bin_bytes, components, 8),
                      QM_BAD_BUFFER);
    }
    EXPECT_EQ(bins, start);
}

}  // namespace
}  // namespace qmpic::test
