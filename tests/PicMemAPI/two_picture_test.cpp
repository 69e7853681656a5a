#include "qmpic/kernels/two_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "PicMemAPI/two_picture_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Entries = CQmPicMemAPI_Base;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// What the kernels promise, in the plainest words: one sample, in 64 bits.
uint64_t add_and_clip(uint64_t a, uint64_t b, uint64_t max) { return std::min(a + b, max); }
uint64_t sub_and_clip(uint64_t a, uint64_t b, uint64_t /*max*/) { return a > b ? a - b : 0; }
uint64_t smaller(uint64_t a, uint64_t b, uint64_t /*max*/) { return a < b ? a : b; }
uint64_t greater(uint64_t a, uint64_t b, uint64_t /*max*/) { return a > b ? a : b; }

using Reference = uint64_t(uint64_t a, uint64_t b, uint64_t max);

struct Weighting {
    double weight1, weight2;
};

int64_t whole_weight(double weight, uint64_t max) {
    const double scaled = static_cast<double>(max) * weight + 0.5;
    if (std::isnan(scaled) || scaled <= -2147483649.0 || scaled >= 2147483648.0)
        return -2147483648;  // what the processor gives for all that does not fit
    return static_cast<int64_t>(scaled);
}

uint64_t weighted_sum(uint64_t a, uint64_t b, Weighting w, Format format) {
    const auto max = static_cast<int64_t>(format.max());
    int64_t sum = whole_weight(w.weight1, format.max()) * static_cast<int64_t>(a) +
                  whole_weight(w.weight2, format.max()) * static_cast<int64_t>(b);
    sum &= 0xFFFFFFFF;                          // 32 bits of it,
    if (sum >= 0x80000000) sum -= 0x100000000;  // signed
    const int64_t quotient = sum / max;
    return static_cast<uint64_t>(std::min(quotient, max)) & ((uint64_t{1} << format.bits) - 1);
}

/// One call on random pictures; the destination may be a source, or both of them. `run(d, a, b)`
/// calls, `reference(a, b)` gives a sample.
template <class Run, class OneSample>
void check(const Run& run, const OneSample& reference, Format format, Round round) {
    Random& random = round.random;
    const Size size = random.size(std::max(format.components, 1u));
    const GuardedPicture d(format, size, random), first(format, size, random),
        second(format, size, random);
    const uint32_t same = random(0, 3);
    const GuardedPicture& a = same & 1 ? d : first;
    const GuardedPicture& b = same & 2 ? d : second;
    std::vector<uint64_t> expected;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t i = 0; i < d.samples(); ++i)
            expected.push_back(reference(a.get(i, y), b.get(i, y)));
    const auto outside = d.outside();

    ASSERT_EQ(run(d, a, b), QM_OK);

    ASSERT_EQ(d.content(), expected) << size.width << " x " << size.height << " pixels of "
                                     << format.components << " x " << format.bpc;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

void check_plain(TwoPictureKernel* kernel, Reference* reference, Format format, uint64_t max,
                 Round round) {
    check(
        [=](const GuardedPicture& d, const GuardedPicture& a, const GuardedPicture& b) {
            return kernel(d.data(), d.stride(), a.data(), a.stride(), b.data(), b.stride(),
                          format.components, format.bpc, d.size().width, d.size().pixels);
        },
        [=](uint64_t a, uint64_t b) { return reference(a, b, max); }, format, round);
}

void check_weighted(AddTranspKernel* kernel, Weighting w, Format format, Round round) {
    check(
        [=](const GuardedPicture& d, const GuardedPicture& a, const GuardedPicture& b) {
            return kernel(d.data(), d.stride(), w.weight1, a.data(), a.stride(), w.weight2,
                          b.data(), b.stride(), format.components, format.bpc, d.size().width,
                          d.size().pixels);
        },
        [=](uint64_t a, uint64_t b) { return weighted_sum(a, b, w, format); }, format, round);
}

// Half of each, weights that add up to one or to more, below 0, and what is no weight at all.
Weighting any_weighting(Random& random) {
    switch (random(0, 3)) {
    case 0: return {0.5, 0.5};
    case 1: {
        const double part = random(0, 1000) / 1000.0;
        return {part, 1 - part};
    }
    case 2: return {random(0, 6000) / 1000.0 - 3, random(0, 6000) / 1000.0 - 3};
    default:
        const auto edge = [&] {
            return random.one_of({0.0, 1.0, -1.0, 1.01, 2.0, 130.0, 4096.0, 1e6, 1e10, -1e300, kNaN,
                                  kInfinity, -kInfinity});
        };
        const double weight1 = edge();
        return {weight1, edge()};
    }
}

template <class List>
void add_list(std::vector<KernelCase>& all, const List& list, Reference* reference) {
    for (const auto& kernel : list)
        all.push_back(
            {std::string(kernel.name), [=](Round round) {
                 const Layout layout = kernel.source;
                 const uint32_t components =
                     layout.components ? layout.components : round.random.components();
                 const Format format{components, layout.bits, round.in_turn(depths(layout.bits))};
                 // The byte kernels of three and four components do not look at the depth.
                 const bool fixed = kernel.name.ends_with("_3x8") || kernel.name.ends_with("_4x8");
                 check_plain(kernel.run, reference, format, fixed ? 255 : format.max(), round);
             }});
}

template <class List>
void add_weighted_list(std::vector<KernelCase>& all, const List& list) {
    for (const auto& kernel : list)
        all.push_back({std::string(kernel.name),
                       [=](Round round) {
                           const Layout layout = kernel.source;
                           const uint32_t components =
                               layout.components ? layout.components : round.random.components();
                           // Those for bytes are called for the depths of words, too.
                           const std::vector<uint32_t> bytes{8, 12, 1, 9, 16, 7, 8, 10};
                           const uint32_t bpc =
                               round.in_turn(layout.bits == 8 ? bytes : depths(16));
                           check_weighted(kernel.run, any_weighting(round.random),
                                          {components, layout.bits, bpc}, round);
                       },
                       96});
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    add_list(all, kAddAndClip, add_and_clip);
    add_list(all, kSubAndClip, sub_and_clip);
    add_list(all, kMin, smaller);
    add_list(all, kMax, greater);
    add_weighted_list(all, kAddTranspAndClip);
    add_weighted_list(all, kAddTranspAndClip16);
    return all;
}

int three_classes(uint32_t /*components*/, uint32_t bpc) {
    return bpc >= 8 && bpc <= 32 ? QM_OK : QM_NO_KERNEL;
}

EntryCase entry_case(std::string name, TwoPictureKernel* entry,
                     int (*documented)(uint32_t, uint32_t)) {
    return {name,
            [=](const EntryCall& c) {
                return entry(c.dst, c.stride, c.src, c.stride, c.src, c.stride, c.components, c.bpc,
                             c.width, c.size);
            },
            documented};
}

const bool registered = add_cases(
    kernel_cases(),
    {entry_case("CQmPicMemAPI_Base::AddAndClip", Entries::AddAndClip, three_classes),
     entry_case("CQmPicMemAPI_Base::SubAndClip", Entries::SubAndClip, three_classes),
     entry_case("CQmPicMemAPI_Base::Min", Entries::Min, bytes_and_words),
     entry_case("CQmPicMemAPI_Base::Max", Entries::Max, bytes_and_words),
     {"CQmPicMemAPI_Base::AddTranspAndClip",
      [](const EntryCall& c) {
          return Entries::AddTranspAndClip(c.dst, c.stride, 0.5, c.src, c.stride, 0.5, c.src,
                                           c.stride, c.components, c.bpc, c.width, c.size);
      },
      bytes_and_words}});

TEST(TwoPictureEntries, TakeTheKernelsOfTheFormat) {
    Random random(7);
    Digest digest;
    for (uint32_t bpc = 8; bpc <= 32; ++bpc)
        for (uint32_t components = 0; components <= 6; ++components) {
            const Format format{components, bpc <= 8 ? 8u : bpc <= 16 ? 16u : 32u, bpc};
            const Round round{0, random, digest};
            check_plain(Entries::AddAndClip, add_and_clip, format, format.max(), round);
            check_plain(Entries::SubAndClip, sub_and_clip, format, format.max(), round);
            if (bpc <= 16) {
                check_plain(Entries::Min, smaller, format, format.max(), round);
                check_plain(Entries::Max, greater, format, format.max(), round);
                const Format bytes{components, 8, bpc};  // whatever the depth
                check_weighted(Entries::AddTranspAndClip, any_weighting(random), bytes, round);
            }
            if (HasFatalFailure()) return;
        }
}

TEST(TwoPictureEntries, DoNothingWithAnEmptyPictureWhateverTheSecondSourceIs) {
    uint8_t d = 77;
    const uint8_t s = 5;
    for (const auto entry :
         {Entries::AddAndClip, Entries::SubAndClip, Entries::Min, Entries::Max}) {
        EXPECT_EQ(entry(&d, 1, nullptr, 1, nullptr, 1, 1, 8, 1, 1), QM_OK);
        EXPECT_EQ(entry(&d, 1, &s, 1, nullptr, 1, 1, 8, 1, 0), QM_OK);
        EXPECT_EQ(entry(&d, 1, &s, 1, nullptr, 1, 1, 7, 0, 1), QM_OK);
    }
    EXPECT_EQ(Entries::AddTranspAndClip(&d, 1, 1, nullptr, 1, 0, nullptr, 1, 1, 8, 1, 1), QM_OK);
    EXPECT_EQ(d, 77);
}

TEST(TwoPictureKernels, LeaveAnIncompleteLastRowAlone) {
    const std::vector<uint8_t> a(30, 3), b(30, 4);
    std::vector<uint8_t> d(30, 9);
    EXPECT_EQ(Entries::AddAndClip(d.data(), 10, a.data(), 10, b.data(), 10, 1, 8, 10, 25), QM_OK);
    EXPECT_EQ(std::count(d.begin(), d.begin() + 20, 7), 20);
    EXPECT_EQ(std::count(d.begin() + 20, d.end(), 9), 10);
}

TEST(TwoPictureKernels, RunInTheCallingThread) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    std::vector<uint8_t> d(2048 * 20), s = d;
    const WatchedRegions watched;
    const auto plain = [&](const auto& list) {
        for (const auto& kernel : list)
            kernel.run(d.data(), 20, s.data(), 20, s.data(), 20, 1, kernel.source.bits, 1, 2048);
    };
    const auto weighted = [&](const auto& list) {
        for (const auto& kernel : list)
            kernel.run(d.data(), 20, 0.5, s.data(), 20, 0.5, s.data(), 20, 1, kernel.source.bits, 1,
                       2048);
    };
    plain(kAddAndClip);
    plain(kSubAndClip);
    plain(kMin);
    plain(kMax);
    weighted(kAddTranspAndClip);
    weighted(kAddTranspAndClip16);
    EXPECT_TRUE(watched.teams().empty());
}

/// All pairs of bytes: byte i of the first is i / 256, of the second i % 256.
struct EveryPair {
    std::vector<uint8_t> first = std::vector<uint8_t>(65536), second = first, result = first;
    EveryPair() {
        for (size_t i = 0; i < 65536; ++i)
            first[i] = static_cast<uint8_t>(i / 256), second[i] = static_cast<uint8_t>(i % 256);
    }
    template <class OneSample>
    void expect(const OneSample& reference) const {
        for (size_t i = 0; i < 65536; ++i)
            ASSERT_EQ(result[i], reference(i / 256, i % 256)) << i / 256 << ", " << i % 256;
    }
};

TEST(TwoPictureKernels, AreRightForEveryPairOfBytes) {
    EveryPair pairs;
    for (const Level level : levels()) {
        SCOPED_TRACE(name_of(level));
        const ForcedLevel forced(level);
        const auto run = [&](TwoPictureKernel* kernel, Reference* reference, uint32_t bpc) {
            kernel(pairs.result.data(), 256, pairs.first.data(), 256, pairs.second.data(), 256, 1,
                   bpc, 256, 65536);
            pairs.expect(
                [=](uint64_t a, uint64_t b) { return reference(a, b, (uint64_t{1} << bpc) - 1); });
        };
        for (uint32_t bpc = 1; bpc <= 8; ++bpc) run(addandclip_1x8, add_and_clip, bpc);
        run(subandclip_1x8, sub_and_clip, 8);
        run(min_1x8, smaller, 8);
        run(max_1x8, greater, 8);
        if (HasFatalFailure()) return;
    }
}

constexpr Weighting kWeightings[] = {
    {0.5, 0.5},          {0.25, 0},        {1, 0},           {0, 1},         {1, 1},
    {0.3, 0.7},          {0.999, 0.001},   {0.998, 0.002},   {0, 0},         {257 / 255.0, 1},
    {258 / 255.0, 0},    {257 / 255.0, 2}, {1.5, 2.5},       {16, 16},       {1.0 / 255, 1},
    {-0.5, 0},           {1.5, -0.5},      {-1, 1},          {-16, 15.9},    {-16.1, -16},
    {257, -257},         {-300, 1},        {65535, 1},       {1e7, 1e7},     {1e300, 0},
    {-1e300, 1.0 / 255}, {kNaN, 0},        {1, kNaN},        {kInfinity, 1}, {1, -kInfinity},
    {kNaN, kNaN},        {-0.001, -0.001}, {-0.002, -0.003}, {4100, 4100}};

TEST(WeightedSum, IsRightForEveryPairOfBytes) {
    EveryPair pairs;
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (const uint32_t bpc : {8u, 12u, 16u, 9u, 1u})
            for (const Weighting w : kWeightings) {
                SCOPED_TRACE(std::string(name_of(level)) + ", " + std::to_string(bpc) + " bits, " +
                             std::to_string(w.weight1) + ", " + std::to_string(w.weight2));
                addtranspandclip_1x8(pairs.result.data(), 256, w.weight1, pairs.first.data(), 256,
                                     w.weight2, pairs.second.data(), 256, 1, bpc, 256, 65536);
                pairs.expect([=](uint64_t a, uint64_t b) {
                    return weighted_sum(a, b, w, {1, 8, bpc});
                });
                if (HasFatalFailure()) return;
            }
    }
}

// Every word beside those at which quotients by the depth's maximum change.
TEST(WeightedSum, IsRightForEveryWordBesideTheEdges) {
    std::vector<uint16_t> first(65536), second(65536), result(65536);
    for (size_t i = 0; i < 65536; ++i) first[i] = static_cast<uint16_t>(i);
    for (uint32_t bpc = 9; bpc <= 16; ++bpc) {
        const Format format{1, 16, bpc};
        const double one = 1.0 / static_cast<double>(format.max());
        const Weighting weightings[] = {{0.5, 0.5}, {1, one},  {0.3, 0.7},  {8.1, 1},
                                        {1, 1},     {one, -1}, {-1.5, 1},   {1.1, 0},
                                        {400, 3},   {1, -one}, {-1, -1},    {-1, -one},
                                        {1e10, 1},  {kNaN, 1}, {-0.4, -0.6}};
        for (const Weighting w : weightings)
            for (const uint64_t b : {uint64_t{0}, uint64_t{1}, format.max() - 1, format.max(),
                                     uint64_t{32768}, uint64_t{65535}}) {
                std::fill(second.begin(), second.end(), static_cast<uint16_t>(b));
                std::vector<uint16_t> expected(65536);
                for (size_t i = 0; i < 65536; ++i)
                    expected[i] = static_cast<uint16_t>(weighted_sum(i, b, w, format));
                for (const Level level : levels()) {
                    const ForcedLevel forced(level);
                    addtranspandclip_1x16(result.data(), 512, w.weight1, first.data(), 512,
                                          w.weight2, second.data(), 512, 1, bpc, 256, 65536);
                    ASSERT_EQ(result, expected) << name_of(level) << ", " << bpc << " bits, "
                                                << w.weight1 << ", " << w.weight2 << ", " << b;
                }
            }
    }
}

// Values out of the documentation, one pixel each.
template <class T>
int on_one_pixel(TwoPictureKernel* entry, T& d, T a, T b, uint32_t bpc) {
    return entry(&d, sizeof d, &a, sizeof a, &b, sizeof b, 1, bpc, 1, 1);
}
template <class T>
T weighted(AddTranspKernel* kernel, double weight1, T a, double weight2, T b, uint32_t bpc) {
    T d = 0;
    EXPECT_EQ(kernel(&d, sizeof d, weight1, &a, sizeof a, weight2, &b, sizeof b, 1, bpc, 1, 1),
              QM_OK);
    return d;
}

TEST(AddAndClip, ClipsAtTheGreatestValueOfTheDepth) {
    uint16_t d = 0;
    EXPECT_EQ(on_one_pixel<uint16_t>(Entries::AddAndClip, d, 3000, 3000, 12), QM_OK);
    EXPECT_EQ(d, 4095);
    EXPECT_EQ(on_one_pixel<uint16_t>(Entries::AddAndClip, d, 3000, 3000, 16), QM_OK);
    EXPECT_EQ(d, 6000);
    uint32_t wide = 0;
    EXPECT_EQ(on_one_pixel<uint32_t>(Entries::AddAndClip, wide, 0xFFFFFFFF, 1, 32), 0);
    EXPECT_EQ(wide, 0xFFFFFFFFu);
    EXPECT_EQ(on_one_pixel<uint32_t>(Entries::AddAndClip, wide, 0xFFFFFFFF, 1, 24), 0);
    EXPECT_EQ(wide, 0xFFFFFFu);
}

TEST(AddAndClip, ClipsAt255WithThreeAndFourByteComponentsWhateverTheDepthSays) {
    const uint8_t a[] = {100, 100, 100, 100};
    for (const auto kernel : {addandclip_3x8, addandclip_4x8}) {
        uint8_t d[4] = {};
        EXPECT_EQ(kernel(d, 4, a, 4, a, 4, 3, 7, 1, 1), QM_OK);
        EXPECT_EQ(d[2], 200);
    }
    for (const auto kernel : {addandclip_1x8, addandclip_Nx8}) {
        uint8_t d = 0;
        EXPECT_EQ(on_one_pixel<uint8_t>(kernel, d, 100, 100, 7), QM_OK);
        EXPECT_EQ(d, 127);
    }
}

TEST(AddAndClip, RefusesSevenBitsOfFiveComponents) {
    uint8_t d[5] = {}, s[5] = {1, 1, 1, 1, 1};
    EXPECT_EQ(Entries::AddAndClip(d, 5, s, 5, s, 5, 5, 7, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(d[0], 0);
}

TEST(SubAndClip, HasNoUpperClip) {
    uint16_t d = 0;
    EXPECT_EQ(on_one_pixel<uint16_t>(Entries::SubAndClip, d, 5000, 0, 12), QM_OK);
    EXPECT_EQ(d, 5000);
    EXPECT_EQ(on_one_pixel<uint16_t>(Entries::SubAndClip, d, 5, 7, 12), QM_OK);
    EXPECT_EQ(d, 0);
}

TEST(SubAndClip, KeepsTheHighestBitOfWideSamples) {
    uint32_t d = 0;
    EXPECT_EQ(on_one_pixel<uint32_t>(Entries::SubAndClip, d, 0xFFFFFFFF, 1, 32), QM_OK);
    EXPECT_EQ(d, 0xFFFFFFFEu);
    EXPECT_EQ(on_one_pixel<uint32_t>(Entries::SubAndClip, d, 1, 0xFFFFFFFF, 24), QM_OK);
    EXPECT_EQ(d, 0u);
}

TEST(MinAndMax, CompareSamplesAsTheyAreStored) {
    uint16_t d = 0;
    EXPECT_EQ(on_one_pixel<uint16_t>(Entries::Min, d, 5000, 7, 12), QM_OK);
    EXPECT_EQ(d, 7);
    EXPECT_EQ(on_one_pixel<uint16_t>(Entries::Max, d, 5000, 7, 12), QM_OK);
    EXPECT_EQ(d, 5000);
    EXPECT_EQ(on_one_pixel<uint16_t>(Entries::Max, d, 0x7FFF, 0x8000, 9), QM_OK);
    EXPECT_EQ(d, 0x8000);
    EXPECT_EQ(on_one_pixel<uint16_t>(Entries::Min, d, 0x7FFF, 0x8000, 9), QM_OK);
    EXPECT_EQ(d, 0x7FFF);
}

TEST(MinAndMax, HaveNoKernelsFor24Bits) {
    uint32_t d = 9;
    EXPECT_EQ(on_one_pixel<uint32_t>(Entries::Min, d, 1, 2, 24), QM_NO_KERNEL);
    EXPECT_EQ(on_one_pixel<uint32_t>(Entries::Max, d, 1, 2, 24), QM_NO_KERNEL);
    EXPECT_EQ(d, 9u);
}

TEST(WeightedSum, OfHalvesAt8BitsHasTwoWeightsOf128) {
    const auto halves = [](uint8_t a, uint8_t b) {
        return weighted<uint8_t>(Entries::AddTranspAndClip, 0.5, a, 0.5, b, 8);
    };
    EXPECT_EQ(halves(255, 255), 255);  // 256, clipped
    EXPECT_EQ(halves(100, 101), 100);
}

TEST(WeightedSum, OfAQuarterAt8BitsHasAWeightOf64) {
    EXPECT_EQ(weighted<uint8_t>(Entries::AddTranspAndClip, 0.25, 255, 0, 255, 8), 64);
}

TEST(WeightedSum, StoresTheLowBitsOfNegativeQuotients) {
    // (-127 * 100) / 255 is -49.
    EXPECT_EQ(weighted<uint8_t>(Entries::AddTranspAndClip, -0.5, 100, 0, 0, 8), 207);
}

TEST(WeightedSum, StoresTheLowByteOfQuotientsThatTheDepthAllows) {
    EXPECT_EQ(weighted<uint8_t>(Entries::AddTranspAndClip, 2.0, 200, 0, 0, 12), 144);  // 400
    EXPECT_EQ(weighted<uint8_t>(Entries::AddTranspAndClip, 1.0, 200, 0, 0, 12), 200);
}

TEST(WeightedSum, At12BitsRewritesTheFirstHalfOfEachRow) {
    std::vector<uint16_t> d(8, 0xEEEE), s(8);
    for (size_t i = 0; i < 8; ++i) s[i] = static_cast<uint16_t>(0x0201 + 0x0202 * i);
    EXPECT_EQ(Entries::AddTranspAndClip(d.data(), 8, 1, s.data(), 8, 0, s.data(), 8, 1, 12, 4, 8),
              QM_OK);
    const std::vector<uint16_t> expected{0x0201, 0x0403, 0xEEEE, 0xEEEE,
                                         0x0A09, 0x0C0B, 0xEEEE, 0xEEEE};
    EXPECT_EQ(d, expected);
}

TEST(WeightedSum, OfOneAndNothingIsTheSourceAtEveryDepthBelow16) {
    for (uint32_t bpc = 9; bpc <= 15; ++bpc)
        for (uint32_t a = 0; a < 1u << bpc; a += 1 + a / 16) {
            const auto s = static_cast<uint16_t>(a);
            EXPECT_EQ(weighted<uint16_t>(addtranspandclip_1x16, 1, s, 0, 77, bpc), a);
            EXPECT_EQ(weighted<uint16_t>(addtranspandclip_Nx16, 0, 77, 1, s, bpc), a);
        }
}

TEST(WeightedSum, OfOneAndNothingAt16BitsIsOneLessFrom32769On) {
    const auto copied = [](uint16_t a) {
        return weighted<uint16_t>(addtranspandclip_1x16, 1, a, 0, 0, 16);
    };
    EXPECT_EQ(copied(32767), 32767);
    EXPECT_EQ(copied(32768), 32768);  // the last sum below 2^31
    EXPECT_EQ(copied(32769), 32768);
    EXPECT_EQ(copied(40000), 39999);
    EXPECT_EQ(copied(65535), 65534);
}

TEST(WeightedSum, WrapsWhereTheSumReaches2To31) {
    // Weights of 32768 and 1: 32768 * 65535 + 32767 is 2^31 - 1.
    const auto sum = [](AddTranspKernel* kernel, uint16_t b, uint32_t bpc) {
        const double max = (1 << bpc) - 1;
        return weighted<uint16_t>(kernel, 32768 / max, 65535, 1 / max, b, bpc);
    };
    EXPECT_EQ(sum(addtranspandclip_1x16, 32767, 12), 4095);   // 524416, clipped
    EXPECT_EQ(sum(addtranspandclip_1x16, 32768, 12), 65408);  // the low bits of -524416
    EXPECT_EQ(sum(addtranspandclip_1x16, 32767, 9), 511);
    EXPECT_EQ(sum(addtranspandclip_1x16, 32768, 9), 57328);  // of -4202512
    EXPECT_EQ(sum(addtranspandclip_1x16, 32767, 16), 32768);
    EXPECT_EQ(sum(addtranspandclip_1x16, 32768, 16), 32768);  // of -32768
    // Half of each: 2^32 - 65536, which is -65536, and a quotient of -1.
    EXPECT_EQ(weighted<uint16_t>(addtranspandclip_1x16, 0.5, 65535, 0.5, 65535, 16), 65535);
}

TEST(WeightedSum, TakesTheMostNegativeWeightForWhatDoesNotFit) {
    for (const double weight : {kNaN, kInfinity, -kInfinity, 1e300, -1e300}) {
        SCOPED_TRACE(weight);
        // An even product wraps to 0, an odd one to -2^31, and -2^31 / 255 is -8421504.
        EXPECT_EQ(weighted<uint8_t>(Entries::AddTranspAndClip, weight, 2, 0, 0, 8), 0);
        EXPECT_EQ(weighted<uint8_t>(Entries::AddTranspAndClip, weight, 3, 0, 0, 8), 128);
        EXPECT_EQ(weighted<uint8_t>(Entries::AddTranspAndClip, 0, 0, weight, 3, 8), 128);
    }
}

}  // namespace
}  // namespace qmpic::test
