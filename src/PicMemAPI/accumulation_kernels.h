#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/accumulation.h"

namespace qmpic {

// Kernels of one and three components have their count in their name; the lists have all of a
// family in one type, that of any count.
template <AverageUpdateKernel* kernel>
int average_update(void* dst, uint32_t dst_stride, double* weights, uint32_t weights_stride,
                   const void* src, uint32_t src_stride, const double* src_weights,
                   uint32_t src_weights_stride, uint32_t /*components*/, uint32_t width,
                   uint64_t size) {
    return kernel(dst, dst_stride, weights, weights_stride, src, src_stride, src_weights,
                  src_weights_stride, width, size);
}
template <AverageUpdateFloatKernel* kernel>
int average_update(void* dst, uint32_t dst_stride, float* weights, uint32_t weights_stride,
                   const void* src, uint32_t src_stride, const float* src_weights,
                   uint32_t src_weights_stride, uint32_t /*components*/, uint32_t width,
                   uint64_t size) {
    return kernel(dst, dst_stride, weights, weights_stride, src, src_stride, src_weights,
                  src_weights_stride, width, size);
}
template <SumValuesKernel* kernel>
int sum_values(uint64_t* sums, const void* src, uint32_t /*components*/, uint32_t stride,
               uint32_t width, uint64_t size) {
    return kernel(sums, src, stride, width, size);
}

// clang-format off
#define K(name) {#name, name}
#define FIXED(family, name) {#name, family<name>}

inline constexpr auto kAverageUpdate = kernels<AverageUpdateNKernel>({
    FIXED(average_update, average_update_1x8),  FIXED(average_update, average_update_3x8),
    K(average_update_Nx8),
    FIXED(average_update, average_update_1x16), FIXED(average_update, average_update_3x16),
    K(average_update_Nx16), K(average_update_Nx32)});

inline constexpr auto kAverageUpdateFloat = kernels<AverageUpdateFloatNKernel>({
    FIXED(average_update, average_update_1x8_flt),  FIXED(average_update, average_update_3x8_flt),
    K(average_update_Nx8_flt),
    FIXED(average_update, average_update_1x16_flt), FIXED(average_update, average_update_3x16_flt),
    K(average_update_Nx16_flt)});

inline constexpr auto kSumValues = kernels<SumValuesNKernel>({
    FIXED(sum_values, sum_values_1x8),  FIXED(sum_values, sum_values_3x8),  K(sum_values_Nx8),
    FIXED(sum_values, sum_values_1x16), FIXED(sum_values, sum_values_3x16), K(sum_values_Nx16)});

#undef FIXED
#undef K
// clang-format on

/// Bits in which averages of a depth are stored, also those below 8; 0 is no format. Only exactly
/// 32 bits are floats.
constexpr uint32_t bits_of_average(uint32_t bpc) {
    return bpc <= 8 ? 8 : bpc <= 16 ? 16 : bpc == 32 ? 32 : 0;
}

static_assert(kAverageUpdate.find_stored(4, bits_of_average(7)) == average_update_Nx8);
static_assert(kAverageUpdate.find_stored(3, bits_of_average(9)) ==
              average_update<average_update_3x16>);
static_assert(kAverageUpdate.find_stored(1, bits_of_average(32)) == average_update_Nx32);
static_assert(kAverageUpdate.find_stored(1, bits_of_average(24)) == nullptr);
static_assert(kAverageUpdateFloat.find_stored(1, bits_of_average(0)) ==
              average_update<average_update_1x8_flt>);
static_assert(kAverageUpdateFloat.find_stored(1, bits_of_average(32)) == nullptr);
static_assert(kSumValues.find(4, 12) == sum_values_Nx16);
static_assert(kSumValues.find(3, 8) == sum_values<sum_values_3x8>);
static_assert(kSumValues.find(1, 24) == nullptr);

inline constexpr auto kAccumulationLists =
    std::tie(kAverageUpdate, kAverageUpdateFloat, kSumValues);

}  // namespace qmpic
