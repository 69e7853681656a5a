#pragma once

#include <cstdint>

#include "core/kernels.h"
#include "core/rows.h"

/// Source * constant / divisor, and the references of a shading.

namespace qmpic {

using MulConstDivKernel = int(void* dst, uint32_t dst_stride, const void* src, uint32_t src_stride,
                              const void* div, uint32_t div_stride, const uint32_t* constants,
                              uint32_t components, uint32_t bpc, uint32_t width, uint64_t size);

MulConstDivKernel mulconstdiv_1x8, mulconstdiv_3x8, mulconstdiv_Nx8;
MulConstDivKernel mulconstdiv_1x16, mulconstdiv_3x16, mulconstdiv_Nx16;

// clang-format off
#define K(name) {#name, name}
inline constexpr auto kMulConstDiv = kernels<MulConstDivKernel>({
    K(mulconstdiv_1x8),  K(mulconstdiv_3x8),  K(mulconstdiv_Nx8),
    K(mulconstdiv_1x16), K(mulconstdiv_3x16), K(mulconstdiv_Nx16)});
#undef K
// clang-format on

static_assert(kMulConstDiv.find(4, 8) == mulconstdiv_Nx8);
static_assert(kMulConstDiv.find(3, 12) == mulconstdiv_3x16);
static_assert(kMulConstDiv.find(1, 7) == nullptr);

/// The reference of each component by the histogram of the shading. False, with nothing written,
/// when there is none.
bool references_by_histogram(uint32_t* references, Src shading, uint32_t components, uint32_t bpc,
                             Area area);

/// The greatest sample of each component, which serves where there is no histogram. Bytes up to 8
/// bits, words up to 16; deeper pictures leave 0.
void references_by_maximum(uint32_t* references, Src shading, uint32_t components, uint32_t bpc,
                           Area area);

}  // namespace qmpic
