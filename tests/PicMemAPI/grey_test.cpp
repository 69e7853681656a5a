#include "qmpic/kernels/grey.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "PicMemAPI/grey_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/conversions.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;
constexpr uint64_t kAnything = UINT64_MAX;

// ----- What the kernels promise

/// Weights as whole numbers on the scale of `full`. Done in doubles, which are exact here.
uint64_t scaled(double weight, uint64_t full) {
    const double range = static_cast<double>(full) + 1;
    double whole = std::fmod(std::trunc(weight * static_cast<double>(full) + 0.5), range);
    if (whole < 0) whole += range;
    return static_cast<uint64_t>(whole);
}

/// Which component takes what is left of the full weight.
enum Rest { kLast, kLastOrNothing, kFirst };

std::vector<uint64_t> scaled_weights(const double* weights, size_t count, Rest rest,
                                     uint64_t full) {
    const size_t taker = rest == kFirst ? 0 : count - 1;
    std::vector<uint64_t> all(count);
    uint64_t sum = 0;
    for (size_t c = 0; c < count; ++c)
        if (c != taker) sum += all[c] = scaled(weights[c], full);
    if (rest == kLastOrNothing && sum > full)
        all[taker] = 0;
    else
        all[taker] = (full + (full + 1) * count - sum) % (full + 1);
    return all;
}

/// The grey value by a table a component: what the weighted kernels are defined by.
class Tables {
  public:
    Tables(const std::vector<uint64_t>& weights, uint64_t full) : full_(full) {
        for (const uint64_t weight : weights) {
            tables_.emplace_back(full + 1);
            for (uint64_t v = 0; v < full; ++v) tables_.back()[v] = weight * v / full;
            tables_.back()[full] = weight;
        }
    }
    uint64_t operator()(const Pixel& s) const {
        uint64_t grey = 0;
        for (size_t c = 0; c < s.size(); ++c) grey += tables_[c][s[c]];
        return grey % (full_ + 1);
    }

  private:
    uint64_t full_;
    std::vector<std::vector<uint64_t>> tables_;
};

/// The rounded mean.
uint64_t mean(const Pixel& s) {
    uint64_t sum = s.size() / 2;
    for (const uint64_t v : s) sum += v;
    return sum / s.size();
}

std::vector<double> random_weights(size_t count, Random& random) {
    const auto fraction = [&] { return random.any() / 4294967296.0; };
    std::vector<double> weights(std::max<size_t>(count, 4));
    const uint32_t kind = random(0, 5);
    for (size_t c = 0; c < weights.size(); ++c) switch (kind) {
        case 0: weights[c] = c < 4 ? Api::pdRGBStdWeights[c] : 0; break;
        case 1: weights[c] = c < 4 ? Api::pdRGBOptWeights[c] : 0; break;
        case 2: weights[c] = fraction() / static_cast<double>(count); break;
        case 3: weights[c] = fraction() * 2 - 1; break;
        case 4: weights[c] = (fraction() - 0.5) * 1e10; break;
        default: weights[c] = random(0, 3) / 2.0; break;
        }
    return weights;
}

// ----- A case a kernel

template <class Kernel>
Format drawn(const NamedKernel<Kernel>& kernel, Layout layout, Round round) {
    return {layout.components ? layout.components : round.random.components(), layout.bits,
            layout.bits == 8 ? 8 : round.in_turn(depths(kernel.source.bits))};
}

/// Lists whose kernels have no argument of their own.
template <class List, class Reference>
void add_plain(std::vector<KernelCase>& all, const List& list, Reference reference) {
    for (const auto& kernel : list)
        all.push_back({std::string(kernel.name), [=](Round round) {
                           check_conversion(
                               round, drawn(kernel, kernel.destination, round),
                               drawn(kernel, kernel.source, round), kAnything,
                               [&](const GuardedPicture& d, const GuardedPicture& s) {
                                   return kernel.run(d.data(), d.stride(), s.data(), s.stride(),
                                                     s.size().width, s.size().pixels);
                               },
                               reference);
                       }});
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all;
    add_plain(all, kGreyToThree, [](Pixel& d, const Pixel& s) { d = {s[0], s[0], s[0]}; });
    add_plain(all, kGreyToFour, [](Pixel& d, const Pixel& s) { d = {s[0], s[0], s[0], 0}; });
    add_plain(all, kDropFourth, [](Pixel& d, const Pixel& s) { d = {s[0], s[1], s[2]}; });
    for (const auto& kernel : kReplicate)
        all.push_back({std::string(kernel.name), [=](Round round) {
                           const Format to = drawn(kernel, kernel.destination, round);
                           check_conversion(
                               round, to, {1, to.bits, to.bpc}, kAnything,
                               [&](const GuardedPicture& d, const GuardedPicture& s) {
                                   return kernel.run(d.data(), to.components, d.stride(), s.data(),
                                                     s.stride(), s.size().width, s.size().pixels);
                               },
                               [](Pixel& d, const Pixel& s) { d.assign(d.size(), s[0]); });
                       }});
    for (const auto& kernel : kAddFourth)
        all.push_back({std::string(kernel.name), [=](Round round) {
                           const auto value = static_cast<uint16_t>(round.random.any());
                           const uint64_t kept = kernel.source.bits == 8 ? value % 256 : value;
                           check_conversion(
                               round, drawn(kernel, kernel.destination, round),
                               drawn(kernel, kernel.source, round), kAnything,
                               [&](const GuardedPicture& d, const GuardedPicture& s) {
                                   return kernel.run(d.data(), d.stride(), s.data(), s.stride(),
                                                     value, s.size().width, s.size().pixels);
                               },
                               [=](Pixel& d, const Pixel& s) {
                                   d = {s[0], s[1], s[2], kept};
                               });
                       }});
    for (const auto& kernel : kGrey)
        all.push_back({std::string(kernel.name), [=](Round round) {
                           const Format from = drawn(kernel, kernel.source, round);
                           const Format to{1, from.bits, from.bpc};
                           const uint64_t full = (uint64_t{1} << from.bits) - 1;
                           const auto weights = random_weights(from.components, round.random);
                           const bool weighted = round.number % 3 != 0;
                           // Alone of all it keeps a byte of the mean.
                           const uint64_t kept = kernel.name == "convert_3x16_to_1x16" ? 255 : full;
                           const Tables tables(
                               scaled_weights(weights.data(), from.components,
                                              from.components == 3 ? kLast : kLastOrNothing, full),
                               full);
                           check_conversion(
                               round, to, from, kAnything,
                               [&](const GuardedPicture& d, const GuardedPicture& s) {
                                   return kernel.run(d.data(), d.stride(), s.data(), s.stride(),
                                                     weighted ? weights.data() : nullptr,
                                                     s.size().width, s.size().pixels);
                               },
                               [&](Pixel& d, const Pixel& s) {
                                   d[0] = weighted ? tables(s) : mean(s) % (kept + 1);
                               });
                       }});
    for (const auto& kernel : kGreyOfAny)
        all.push_back(
            {std::string(kernel.name), [=](Round round) {
                 const Format from = drawn(kernel, kernel.source, round);
                 const Format to{1, from.bits, from.bpc};
                 const uint64_t full = (uint64_t{1} << from.bits) - 1;
                 const auto weights = random_weights(from.components, round.random);
                 const bool weighted = round.number % 3 != 0;
                 const Tables tables(
                     weighted ? scaled_weights(weights.data(), from.components, kFirst, full)
                              : std::vector<uint64_t>{},
                     full);
                 check_conversion(
                     round, to, from, kAnything,
                     [&](const GuardedPicture& d, const GuardedPicture& s) {
                         return kernel.run(d.data(), d.stride(), s.data(), from.components,
                                           s.stride(), weighted ? weights.data() : nullptr,
                                           s.size().width, s.size().pixels);
                     },
                     [&](Pixel& d, const Pixel& s) { d[0] = weighted ? tables(s) : mean(s); });
             }});
    return all;
}

const bool registered =
    add_cases(kernel_cases(), {},
              {"CQmPicMemAPI_Base::pdRGBStdWeights", "CQmPicMemAPI_Base::pdRGBOptWeights"});

// ----- Values out of the documentation, one pixel each

template <class T>
T grey(GreyKernel* kernel, std::vector<T> s, const double* weights) {
    T d = 0;
    EXPECT_EQ(
        kernel(&d, sizeof d, s.data(), static_cast<uint32_t>(s.size() * sizeof d), weights, 1, 1),
        QM_OK);
    return d;
}
template <class T>
T grey_of_any(GreyNKernel* kernel, std::vector<T> s, const double* weights) {
    T d = 0;
    EXPECT_EQ(kernel(&d, sizeof d, s.data(), static_cast<uint32_t>(s.size()),
                     static_cast<uint32_t>(s.size() * sizeof d), weights, 1, 1),
              QM_OK);
    return d;
}

TEST(GreyWeights, AreAThirdEachOrThirtyFiftyNineEleven) {
    const double* const standard = Api::pdRGBStdWeights;
    for (int c = 0; c < 3; ++c) EXPECT_EQ(standard[c], 0.3333333333333333);
    EXPECT_EQ(standard[3], 0.0);
    const double* const optical = Api::pdRGBOptWeights;
    EXPECT_EQ(optical[0], 0.30);
    EXPECT_EQ(optical[1], 0.59);
    EXPECT_EQ(optical[2], 0.11);
    EXPECT_EQ(optical[3], 0.0);
}

TEST(Grey, IsTheRoundedMeanWithoutWeights) {
    EXPECT_EQ(grey<uint8_t>(convert_3x8_to_1x8, {1, 2, 2}, nullptr), 2);
    EXPECT_EQ(grey<uint8_t>(convert_3x8_to_1x8, {1, 1, 2}, nullptr), 1);
    EXPECT_EQ(grey<uint8_t>(convert_3x8_to_1x8, {255, 255, 255}, nullptr), 255);
    EXPECT_EQ(grey<uint8_t>(convert_4x8_to_1x8, {1, 2, 2, 1}, nullptr), 2);
    EXPECT_EQ(grey<uint8_t>(convert_4x8_to_1x8, {255, 255, 255, 255}, nullptr), 255);
    EXPECT_EQ(grey<uint16_t>(convert_4x16_to_1x16, {1000, 1000, 1000, 1001}, nullptr), 1000);
    EXPECT_EQ(grey<uint16_t>(convert_4x16_to_1x16, {65535, 65535, 65535, 65535}, nullptr), 65535);
    EXPECT_EQ(grey_of_any<uint16_t>(convert_Nx16_to_1x16, {1000, 1000, 1000}, nullptr), 1000);
    EXPECT_EQ(grey_of_any<uint8_t>(convert_Nx8_to_1x8, {1, 2}, nullptr), 2);  // (3 + 1) / 2
    EXPECT_EQ(grey_of_any<uint8_t>(convert_Nx8_to_1x8, {7}, nullptr), 7);
}

TEST(Grey, OfThreeWordsKeepsOnlyAByteOfTheMean) {
    EXPECT_EQ(grey<uint16_t>(convert_3x16_to_1x16, {1000, 1000, 1000}, nullptr), 232);
    EXPECT_EQ(grey<uint16_t>(convert_3x16_to_1x16, {65535, 65535, 65535}, nullptr), 255);
    // With weights it does not.
    const double first[] = {1, 0};
    EXPECT_EQ(grey<uint16_t>(convert_3x16_to_1x16, {1000, 1, 1}, first), 1000);
}

TEST(Grey, OfThreeWordsIsTheMeanForEverySum) {
    std::vector<uint16_t> s, expected;
    for (uint32_t sum = 0; sum <= 3 * 65535; ++sum) {
        const uint32_t c0 = std::min(sum, 65535u), c1 = std::min(sum - c0, 65535u);
        for (const uint32_t c : {c0, c1, sum - c0 - c1}) s.push_back(static_cast<uint16_t>(c));
        expected.push_back(static_cast<uint16_t>((sum + 1) / 3 % 256));
    }
    const auto width = static_cast<uint32_t>(expected.size());
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        std::vector<uint16_t> d(width);
        ASSERT_EQ(convert_3x16_to_1x16(d.data(), 0, s.data(), 0, nullptr, width, width), QM_OK);
        ASSERT_EQ(d, expected);
        ASSERT_EQ(convert_Nx16_to_1x16(d.data(), 0, s.data(), 3, 0, nullptr, width, width), QM_OK);
        for (uint32_t sum = 0; sum < width; ++sum) ASSERT_EQ(d[sum], (sum + 1) / 3);
    }
}

TEST(GreyByWeights, OfWhiteIsWhite) {
    EXPECT_EQ(grey<uint8_t>(convert_3x8_to_1x8, {255, 255, 255}, Api::pdRGBOptWeights), 255);
    EXPECT_EQ(grey<uint8_t>(convert_4x8_to_1x8, {255, 255, 255, 255}, Api::pdRGBOptWeights), 255);
    EXPECT_EQ(
        grey_of_any<uint16_t>(convert_Nx16_to_1x16, {65535, 65535, 65535}, Api::pdRGBStdWeights),
        65535);
}

TEST(GreyByWeights, GivesTheRestToTheLastOfThree) {
    EXPECT_EQ(grey<uint8_t>(convert_3x8_to_1x8, {255, 0, 0}, Api::pdRGBOptWeights), 77);
    EXPECT_EQ(grey<uint8_t>(convert_3x8_to_1x8, {0, 255, 0}, Api::pdRGBOptWeights), 150);
    EXPECT_EQ(grey<uint8_t>(convert_3x8_to_1x8, {0, 0, 255}, Api::pdRGBOptWeights), 28);
    EXPECT_EQ(grey<uint16_t>(convert_3x16_to_1x16, {65535, 0, 0}, Api::pdRGBOptWeights), 19661);
    // The third weight is not read.
    const double two[] = {0.5, 0.25, 99};
    EXPECT_EQ(grey<uint8_t>(convert_3x8_to_1x8, {0, 0, 255}, two), 255 - 128 - 64);
    // Modulo 256: 255 - 255 - 255 is 1.
    const double full[] = {1, 1};
    EXPECT_EQ(grey<uint8_t>(convert_3x8_to_1x8, {0, 0, 255}, full), 1);
    EXPECT_EQ(grey<uint16_t>(convert_3x16_to_1x16, {0, 0, 65535}, full), 1);
}

TEST(GreyByWeights, GivesTheRestToTheLastOfFourUnlessThereIsNone) {
    const double quarters[] = {0.25, 0.25, 0.25, 99};
    EXPECT_EQ(grey<uint8_t>(convert_4x8_to_1x8, {0, 0, 0, 255}, quarters), 255 - 3 * 64);
    const double full[] = {1, 1, 0, 0};
    EXPECT_EQ(grey<uint8_t>(convert_4x8_to_1x8, {0, 0, 0, 255}, full), 0);
    EXPECT_EQ(grey<uint16_t>(convert_4x16_to_1x16, {0, 0, 0, 65535}, full), 0);
    const double all[] = {1, 0, 0, 0};
    EXPECT_EQ(grey<uint16_t>(convert_4x16_to_1x16, {0, 0, 0, 65535}, all), 0);
}

TEST(GreyByWeights, GivesTheRestToTheFirstOfAnyNumber) {
    EXPECT_EQ(grey_of_any<uint8_t>(convert_Nx8_to_1x8, {255, 0, 0}, Api::pdRGBOptWeights), 77);
    EXPECT_EQ(grey_of_any<uint8_t>(convert_Nx8_to_1x8, {0, 0, 255}, Api::pdRGBOptWeights), 28);
    EXPECT_EQ(grey_of_any<uint16_t>(convert_Nx16_to_1x16, {65535, 0, 0}, Api::pdRGBOptWeights),
              19660);
    // Of four, too: no test whether there is a rest. 255 - 255 - 255 is 1 modulo 256.
    const double full[] = {0, 1, 1, 0};
    EXPECT_EQ(grey_of_any<uint8_t>(convert_Nx8_to_1x8, {255, 0, 0, 0}, full), 1);
    // A single component has the full weight, whatever the array says.
    const double nothing[] = {0};
    EXPECT_EQ(grey_of_any<uint8_t>(convert_Nx8_to_1x8, {200}, nothing), 200);
    EXPECT_EQ(grey_of_any<uint16_t>(convert_Nx16_to_1x16, {54321}, nothing), 54321);
}

TEST(GreyByWeights, TruncatesEachPart) {
    EXPECT_EQ(grey<uint8_t>(convert_3x8_to_1x8, {1, 1, 1}, Api::pdRGBStdWeights), 0);
    EXPECT_EQ(grey<uint8_t>(convert_3x8_to_1x8, {128, 128, 128}, Api::pdRGBStdWeights), 126);
    // Weights are on the scale of the word: white of 12 bits is 1228 + 2416 + 450.
    EXPECT_EQ(grey<uint16_t>(convert_3x16_to_1x16, {4095, 4095, 4095}, Api::pdRGBOptWeights), 4094);
}

TEST(GreyByWeights, WrapsWeightsAndSums) {
    const double doubled[] = {2, 0};  // 510 is 254 modulo 256, and the rest is 1
    EXPECT_EQ(grey<uint8_t>(convert_3x8_to_1x8, {255, 0, 0}, doubled), 254);
    const double full[] = {1, 1, 1};  // 255 + 255 + 255 + 0
    EXPECT_EQ(grey<uint8_t>(convert_4x8_to_1x8, {255, 255, 255, 0}, full), 253);
    const double negative[] = {-1, 0};  // trunc(-254.5) is -254, which is 2
    EXPECT_EQ(grey<uint8_t>(convert_3x8_to_1x8, {255, 0, 0}, negative), 2);
}

TEST(Grey, OfNoComponentIsRefusedAtOnce) {
    uint16_t d = 7;
    EXPECT_EQ(convert_Nx8_to_1x8(&d, 1, nullptr, 0, 0, nullptr, 1, 1), QM_BAD_BUFFER);
    EXPECT_EQ(convert_Nx8_to_1x8(&d, 1, nullptr, 0, 0, Api::pdRGBOptWeights, 1, 1), QM_BAD_BUFFER);
    EXPECT_EQ(convert_Nx16_to_1x16(&d, 2, nullptr, 0, 0, nullptr, 1, 1), QM_BAD_BUFFER);
    EXPECT_EQ(convert_Nx16_to_1x16(&d, 2, nullptr, 0, 0, Api::pdRGBOptWeights, 1, 1),
              QM_BAD_BUFFER);
    EXPECT_EQ(d, 7);
}

// Parts are not looked up but computed, so every one of them is compared with its table.
template <class T, class Kernel>
void check_every_part(Kernel* kernel, uint32_t weight_step) {
    constexpr uint32_t kFull = static_cast<T>(-1), kWidth = kFull + 1;
    std::vector<T> s(3 * kWidth), d(kWidth);
    for (uint32_t v = 0; v < kWidth; ++v) s[3 * v] = static_cast<T>(v);
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (uint32_t i = 0; i <= kFull; i += weight_step)
            for (const uint32_t w : {i, kFull - i}) {
                const double weights[] = {w / static_cast<double>(kFull), 0};
                ASSERT_EQ(kernel(d.data(), 0, s.data(), 0, weights, kWidth, kWidth), QM_OK);
                for (uint32_t v = 0; v < kWidth; ++v)
                    ASSERT_EQ(d[v], uint64_t{w} * v / kFull) << w << " * " << v;
            }
    }
}

TEST(GreyByWeights, IsThatOfTheTablesForEveryByteAndEveryWeight) {
    check_every_part<uint8_t>(convert_3x8_to_1x8, 1);
}

TEST(GreyByWeights, IsThatOfTheTablesForEveryWordAndManyWeights) {
    check_every_part<uint16_t>(convert_3x16_to_1x16, 251);
}

// ----- The others

TEST(Replication, WritesTheFourthComponentOnlyWhereAllAreAskedFor) {
    const uint8_t s[2] = {7, 200};
    uint8_t four[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    EXPECT_EQ(convert_1x8_to_4x8(four, 8, s, 2, 2, 2), QM_OK);
    EXPECT_EQ(std::vector<uint8_t>(four, four + 8),
              (std::vector<uint8_t>{7, 7, 7, 0, 200, 200, 200, 0}));
    EXPECT_EQ(convert_1x8_to_Nx8(four, 4, 8, s, 2, 2, 2), QM_OK);
    EXPECT_EQ(std::vector<uint8_t>(four, four + 8),
              (std::vector<uint8_t>{7, 7, 7, 7, 200, 200, 200, 200}));
    const uint16_t wide = 0xABCD;
    uint16_t words[4] = {1, 1, 1, 1};
    EXPECT_EQ(convert_1x16_to_4x16(words, 8, &wide, 2, 1, 1), QM_OK);
    EXPECT_EQ(std::vector<uint16_t>(words, words + 4),
              (std::vector<uint16_t>{0xABCD, 0xABCD, 0xABCD, 0}));
}

TEST(Replication, ToNoComponentWritesNothing) {
    const uint8_t s[2] = {7, 200};
    uint8_t d = 1;
    EXPECT_EQ(convert_1x8_to_Nx8(&d, 0, 1, s, 2, 2, 2), QM_OK);
    EXPECT_EQ(d, 1);
}

TEST(FourthComponent, IsTheValueGivenOrDropped) {
    const uint16_t s[3] = {1, 2, 3};
    uint16_t d[4] = {}, back[3] = {};
    EXPECT_EQ(convert_3x16_to_4x16(d, 8, s, 6, 0x1234, 1, 1), QM_OK);
    EXPECT_EQ(std::vector<uint16_t>(d, d + 4), (std::vector<uint16_t>{1, 2, 3, 0x1234}));
    EXPECT_EQ(convert_4x16_to_3x16(back, 6, d, 8, 1, 1), QM_OK);
    EXPECT_EQ(std::vector<uint16_t>(back, back + 3), (std::vector<uint16_t>{1, 2, 3}));
}

template <class T>
void check_grey_in_place(uint32_t components, auto call) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (const bool weighted : {false, true}) {
            constexpr uint32_t kWidth = 700;
            std::vector<T> memory(kWidth * components), apart(kWidth);
            for (size_t i = 0; i < memory.size(); ++i)
                memory[i] = static_cast<T>(i * 40503 + i / 7);
            const double* const weights = weighted ? Api::pdRGBOptWeights : nullptr;
            ASSERT_EQ(call(apart.data(), memory.data(), weights, kWidth), QM_OK);
            ASSERT_EQ(call(memory.data(), memory.data(), weights, kWidth), QM_OK);
            memory.resize(kWidth);
            ASSERT_EQ(memory, apart);
        }
    }
}

TEST(Grey, MayReplaceItsSource) {
    for (const auto& kernel : kGrey) {
        const auto call = [&](void* d, const void* s, const double* weights, uint32_t width) {
            return kernel.run(d, 0, s, 0, weights, width, width);
        };
        if (kernel.source.bits == 8)
            check_grey_in_place<uint8_t>(kernel.source.components, call);
        else
            check_grey_in_place<uint16_t>(kernel.source.components, call);
    }
    for (const auto& kernel : kGreyOfAny)
        for (const uint32_t components : {1u, 2u, 3u, 4u}) {
            const auto call = [&](void* d, const void* s, const double* weights, uint32_t width) {
                return kernel.run(d, 0, s, components, 0, weights, width, width);
            };
            if (kernel.source.bits == 8)
                check_grey_in_place<uint8_t>(components, call);
            else
                check_grey_in_place<uint16_t>(components, call);
        }
}

TEST(Grey, StaysInTheCallingThread) {
    if (!WatchedRegions::kWorks) return;
    constexpr uint32_t kRows = 2000, kStride = 16;
    std::vector<uint8_t> d(kRows * kStride), s(kRows * kStride);
    const WatchedRegions watched;
    const auto plain = [&](const auto& list) {
        for (const auto& kernel : list) kernel.run(d.data(), kStride, s.data(), kStride, 1, kRows);
    };
    plain(kGreyToThree), plain(kGreyToFour), plain(kDropFourth);
    for (const auto& kernel : kReplicate)
        kernel.run(d.data(), 5, kStride, s.data(), kStride, 1, kRows);
    for (const auto& kernel : kAddFourth)
        kernel.run(d.data(), kStride, s.data(), kStride, 1, 1, kRows);
    for (const double* const weights :
         {Api::pdRGBOptWeights + 0, static_cast<const double*>(nullptr)}) {
        for (const auto& kernel : kGrey)
            kernel.run(d.data(), kStride, s.data(), kStride, weights, 1, kRows);
        for (const auto& kernel : kGreyOfAny)
            kernel.run(d.data(), kStride, s.data(), 3, kStride, weights, 1, kRows);
    }
    EXPECT_EQ(watched.forks(), 0u);
}

}  // namespace
}  // namespace qmpic::test
