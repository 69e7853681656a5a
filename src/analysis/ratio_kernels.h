#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/ratio.h"

namespace qmpic {

// Those for bytes take their offsets as bytes. The lists have them in the type of those for words,
// by functions that narrow.
inline int ratio_of_bytes(void* dst, uint32_t dst_stride, const void* src, uint32_t components,
                          uint32_t src_stride, uint32_t width, uint64_t size, uint8_t numer,
                          uint8_t denom, uint16_t num_offset, uint16_t den_offset, double min,
                          double max, const void* luts, uint32_t shade) {
    return ratio_8(dst, dst_stride, src, components, src_stride, width, size, numer, denom,
                   static_cast<uint8_t>(num_offset), static_cast<uint8_t>(den_offset), min, max,
                   luts, shade);
}
inline int calcium_of_bytes(void* dst, uint32_t dst_stride, const void* src, uint32_t components,
                            uint32_t src_stride, uint32_t width, uint64_t size, uint8_t numer,
                            uint8_t denom, uint16_t num_offset, uint16_t den_offset, double kd,
                            double scale, double free, double bound, double least, double most,
                            double ca_min, double ca_max, const void* luts) {
    return ca_8(dst, dst_stride, src, components, src_stride, width, size, numer, denom,
                static_cast<uint8_t>(num_offset), static_cast<uint8_t>(den_offset), kd, scale, free,
                bound, least, most, ca_min, ca_max, luts);
}

inline constexpr auto kRatio = kernels<Ratio16Kernel>(
    {{"ratio_8", ratio_of_bytes, {{0, 8}, {3, 8}}}, {"ratio_16", ratio_16, {{0, 16}, {3, 8}}}});
inline constexpr auto kRatioFloat =
    kernels<RatioFloatKernel>({{"ratio_float", ratio_float, {{0, 32, true}, {3, 8}}}});
inline constexpr auto kCalcium = kernels<Calcium16Kernel>(
    {{"ca_8", calcium_of_bytes, {{0, 8}, {3, 8}}}, {"ca_16", ca_16, {{0, 16}, {3, 8}}}});
inline constexpr auto kCalciumFloat =
    kernels<CalciumFloatKernel>({{"ca_float", ca_float, {{0, 32, true}, {3, 8}}}});

/// Bits in which the samples of a picture of two wavelengths are stored: bytes also below 8 bits.
constexpr uint32_t wavelength_bits(uint32_t bpc) { return bpc <= 8 ? 8 : bpc <= 16 ? 16 : 0; }

static_assert(kRatio.find_stored(2, wavelength_bits(0)) == ratio_of_bytes);
static_assert(kRatio.find_stored(3, wavelength_bits(9)) == ratio_16);
static_assert(kCalcium.find_stored(2, wavelength_bits(8)) == calcium_of_bytes);
static_assert(kCalcium.find_stored(2, wavelength_bits(16)) == ca_16);
static_assert(!kCalcium.find_stored(2, wavelength_bits(17)));

inline constexpr auto kRatioLists = std::tie(kRatio, kRatioFloat, kCalcium, kCalciumFloat);

}  // namespace qmpic
