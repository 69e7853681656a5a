#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/spectral.h"

namespace qmpic {

/// A call of any of the renderers.
struct SpectralCall {
    void* dst;
    uint32_t dst_bpc, dst_stride;
    const void* src;
    uint32_t components, bpc, src_stride;
    const SQmLut* lut;
    uint32_t width;
    uint64_t size;
};
using SpectralKernel = int(const SpectralCall&);

template <SpectralRenderKernel* kernel>
int to_8(const SpectralCall& c) {
    return kernel(c.dst, c.dst_stride, c.src, c.bpc, c.src_stride, c.components, c.lut, c.width,
                  c.size);
}
template <SpectralRenderTo16Kernel* kernel>
int to_16(const SpectralCall& c) {
    return kernel(c.dst, c.dst_stride, c.src, c.bpc, c.src_stride, c.components, c.lut, c.width,
                  c.size, c.dst_bpc);
}

// clang-format off
#define K(name, to) {#name, to<name>}
inline constexpr auto kSpectralSse = kernels<SpectralKernel>({
    K(spect_render_Nx8_3x8_sse_overexp_underexp, to_8),
    K(spect_render_Nx16_3x8_sse_overexp_underexp, to_8),
    K(spect_render_Nx8_3x16_sse_overexp_underexp, to_16),
    K(spect_render_Nx16_3x16_sse_overexp_underexp, to_16)});

inline constexpr auto kSpectralFloat = kernels<SpectralKernel>({
    K(spect_render_Nx8_3x8_float, to_8),   K(spect_render_Nx16_3x8_float, to_8),
    K(spect_render_Nx8_3x16_float, to_16), K(spect_render_Nx16_3x16_float, to_16)});

inline constexpr auto kSpectralFloatOver = kernels<SpectralKernel>({
    K(spect_render_Nx8_3x8_float_overexp, to_8), K(spect_render_Nx16_3x8_float_overexp, to_8)});
#undef K

#define K(name) {#name, name}
inline constexpr auto kSpectralApply = kernels<SpectralApplyKernel>({
    K(spect_luts_apply_Nx8_float), K(spect_luts_apply_Nx16_float)});
#undef K
// clang-format on

static_assert(kSpectralSse.find_between(32, 16, 8) ==
              to_8<spect_render_Nx16_3x8_sse_overexp_underexp>);
static_assert(kSpectralFloat.find_between(5, 8, 16) == to_16<spect_render_Nx8_3x16_float>);
static_assert(kSpectralApply.find_stored(5, 16) == spect_luts_apply_Nx16_float);

inline constexpr auto kSpectralLists =
    std::tie(kSpectralSse, kSpectralFloat, kSpectralFloatOver, kSpectralApply);

}  // namespace qmpic
