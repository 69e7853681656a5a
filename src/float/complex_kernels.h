#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/complex.h"

namespace qmpic {

// clang-format off
inline constexpr auto kExtractFloat = kernels<ExtractFloatKernel>({
    {"extract_Float2_to_Nx8",  extract_Float2_to_Nx8,  {{0, 32, true}, {0, 8}}},
    {"extract_Float2_to_Nx16", extract_Float2_to_Nx16, {{0, 32, true}, {0, 16}}}});

// The destination's count decides, and a list is asked for sources: here that is the plane.
inline constexpr auto kExtractToFloat = kernels<ExtractToFloatKernel>({
    {"extract_Nx8_to_1xFloat2",  extract_Nx8_to_1xFloat2,  {{1, 8},  {1, 32, true}}},
    {"extract_Nx8_to_3xFloat2",  extract_Nx8_to_3xFloat2,  {{3, 8},  {3, 32, true}}},
    {"extract_Nx16_to_1xFloat2", extract_Nx16_to_1xFloat2, {{1, 16}, {1, 32, true}}},
    {"extract_Nx16_to_3xFloat2", extract_Nx16_to_3xFloat2, {{3, 16}, {3, 32, true}}}});
// clang-format on

static_assert(kExtractFloat.find_between(2, 32, storage_bits(8)) == extract_Float2_to_Nx8);
static_assert(kExtractFloat.find_between(2, 32, storage_bits(12)) == extract_Float2_to_Nx16);
static_assert(kExtractFloat.find_between(2, 32, storage_bits(17)) == nullptr);
static_assert(kExtractToFloat.find(1, 8) == extract_Nx8_to_1xFloat2);
static_assert(kExtractToFloat.find(3, 9) == extract_Nx16_to_3xFloat2);
static_assert(kExtractToFloat.find(2, 8) == nullptr);
static_assert(kExtractToFloat.find(3, 7) == nullptr);

inline constexpr auto kComplexLists = std::tie(kExtractFloat, kExtractToFloat);

}  // namespace qmpic
