#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/correlation.h"

namespace qmpic {

#define K(name)                                                                                    \
    { #name, name }  // expands to an initialiser list
// clang-format off
inline constexpr auto kCorrelation = kernels<CorrelationKernel>({
    K(linar_correlation_1x8),  K(linar_correlation_3x8),
    K(linar_correlation_1x16), K(linar_correlation_3x16)});
inline constexpr auto kCorrelationN = kernels<CorrelationNKernel>({
    K(linar_correlation_Nx8), K(linar_correlation_Nx16), K(linar_correlation_Nx32)});
// Bytes with words: no entry calls these. The layout read is that of the first picture.
inline constexpr auto kMixedCorrelation = kernels<CorrelationKernel>({
    K(linar_correlation_1x8_16), K(linar_correlation_3x8_16)});
inline constexpr auto kMixedCorrelationN = kernels<CorrelationNKernel>({
    K(linar_correlation_Nx8_16)});
// clang-format on
#undef K

/// Depths below 8 are bytes, and 32 is floats; 0 is no format.
constexpr uint32_t bits_of_correlation(uint32_t bpc) {
    return bpc <= 8 ? 8 : bpc <= 16 ? 16 : bpc == 32 ? 32 : 0;
}

static_assert(kCorrelation.find_stored(3, bits_of_correlation(0)) == linar_correlation_3x8);
static_assert(kCorrelation.find_stored(1, bits_of_correlation(9)) == linar_correlation_1x16);
static_assert(kCorrelation.find_stored(2, bits_of_correlation(8)) == nullptr);
static_assert(kCorrelation.find_stored(1, bits_of_correlation(32)) == nullptr);
static_assert(kCorrelationN.find_stored(1, bits_of_correlation(32)) == linar_correlation_Nx32);
static_assert(kCorrelationN.find_stored(1, bits_of_correlation(31)) == nullptr);

inline constexpr auto kCorrelationLists =
    std::tie(kCorrelation, kCorrelationN, kMixedCorrelation, kMixedCorrelationN);

}  // namespace qmpic
