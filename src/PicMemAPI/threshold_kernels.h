#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/threshold.h"

namespace qmpic {

// clang-format off
#define K(name) {#name, name}

inline constexpr auto kThresholdToBytes = kernels<ThresholdKernel<uint8_t>>({
    {"threshold_8",       threshold_8,       {{1, 8}, {1, 8}}},
    {"threshold_16_to_8", threshold_16_to_8, {{1, 16}, {1, 8}}}});
inline constexpr auto kThresholdToWords = kernels<ThresholdKernel<uint16_t>>({
    {"threshold_8_to_16", threshold_8_to_16, {{1, 8}, {1, 16}}},
    {"threshold_16",      threshold_16,      {{1, 16}, {1, 16}}}});

inline constexpr auto kThresholdToBin = kernels<ThresholdToBinKernel>({
    K(threshold_1x8_to_bin), K(threshold_1x16_to_bin),
    K(threshold_3x8_to_bin), K(threshold_3x16_to_bin),
    K(threshold_4x8_to_bin), K(threshold_4x16_to_bin)});
inline constexpr auto kThresholdToBinOfAny = kernels<ThresholdNToBinKernel>({
    K(threshold_Nx8_to_bin), K(threshold_Nx16_to_bin)});

#undef K
// clang-format on

static_assert(kThresholdToBytes.find_stored(1, 8) == threshold_8);
static_assert(kThresholdToWords.find_stored(1, 16) == threshold_16);
static_assert(kThresholdToBin.find(3, 12) == threshold_3x16_to_bin);
static_assert(!kThresholdToBin.find(2, 8) && !kThresholdToBin.find(1, 24));
static_assert(kThresholdToBinOfAny.find(5, 8) == threshold_Nx8_to_bin);

inline constexpr auto kThresholdLists =
    std::tie(kThresholdToBytes, kThresholdToWords, kThresholdToBin, kThresholdToBinOfAny);

}  // namespace qmpic
