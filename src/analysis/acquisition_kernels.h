#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/acquisition.h"

namespace qmpic {

// clang-format off
inline constexpr auto kCircularity = kernels<CircularityKernel>({
    {"threshold_from_integral_circularity_8", threshold_from_integral_circularity_8,
     {{0, 8}, {0, 8}}},
    {"threshold_from_integral_circularity_16", threshold_from_integral_circularity_16,
     {{0, 16}, {0, 16}}}});
/// The second layout is that of the mask.
inline constexpr auto kMaskedCircularity = kernels<MaskedCircularityKernel>({
    {"threshold_from_integral_circularity_mask_8_8",
     threshold_from_integral_circularity_mask_8_8, {{0, 8}, {1, 8}}},
    {"threshold_from_integral_circularity_mask_8_16",
     threshold_from_integral_circularity_mask_8_16, {{0, 8}, {1, 16}}},
    {"threshold_from_integral_circularity_mask_16_8",
     threshold_from_integral_circularity_mask_16_8, {{0, 16}, {1, 8}}},
    {"threshold_from_integral_circularity_mask_16_16",
     threshold_from_integral_circularity_mask_16_16, {{0, 16}, {1, 16}}}});

// Bins of 4 and of 8 bytes are told apart by an argument.
inline constexpr auto kGainedProblem = kernels<GainedProblemKernel>({
    {"gainedproblem_1", gainedproblem_1, {{1, 32}, {1, 32}}}});
inline constexpr auto kGainedProblemComp = kernels<GainedProblemCompKernel>({
    {"gainedproblem_N", gainedproblem_N, {{0, 32}, {0, 32}}}});
// clang-format on

/// Bits in which samples are stored where depths below 8 are bytes; 0 is no format.
constexpr uint32_t bytes_or_words(uint32_t bpc) { return bpc <= 8 ? 8 : bpc <= 16 ? 16 : 0; }

static_assert(kCircularity.find_stored(3, bytes_or_words(7)) ==
              threshold_from_integral_circularity_8);
static_assert(kCircularity.find_stored(1, bytes_or_words(9)) ==
              threshold_from_integral_circularity_16);
static_assert(kCircularity.find_stored(1, bytes_or_words(17)) == nullptr);
static_assert(kMaskedCircularity.find_between(1, 8, 16) ==
              threshold_from_integral_circularity_mask_8_16);

inline constexpr auto kAcquisitionLists =
    std::tie(kCircularity, kMaskedCircularity, kGainedProblem, kGainedProblemComp);

}  // namespace qmpic
