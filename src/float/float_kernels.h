#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/float.h"
#include "qmpic/kernels/spectral.h"

namespace qmpic {

// clang-format off
#define K(name) {#name, name}

// There is one format: no entry looks for these.
inline constexpr Layouts kFloats{{0, 32, true}, {0, 32, true}};

inline constexpr auto kSetFloatValue = kernels<SetFloatValueKernel>({K(set_Nxfloat)});
inline constexpr auto kSetMonoFloat = kernels<SetMonoFloatKernel>({
    {"set_mono_float", set_mono_float, kFloats}});
inline constexpr auto kSetMonoFloatSse = kernels<SetMonoFloatSseKernel>({
    {"set_mono_float_sse", set_mono_float_sse, kFloats}});
inline constexpr auto kSetFloatComponent = kernels<SetFloatComponentKernel>({
    K(setcomponent_Nxfloat)});
inline constexpr auto kCopyFloat = kernels<CopyFloatKernel>({{"copyfloat", copyfloat, kFloats}});
inline constexpr auto kCopyFloatComponent = kernels<CopyFloatComponentKernel>({
    K(copycomponent_Nxfloat_to_Nxfloat)});

inline constexpr auto kCopyToFloatComponent = kernels<CopyToFloatComponentKernel>({
    K(copycomponent_Nx8_to_Nxfloat), K(copycomponent_Nx16_to_Nxfloat)});
inline constexpr auto kCopyToFloatComponentMinMax = kernels<CopyToFloatComponentMinMaxKernel>({
    K(copycomponent_Nx8_to_Nxfloat_minmax), K(copycomponent_Nx16_to_Nxfloat_minmax)});
inline constexpr auto kCutFloat = kernels<CutFloatKernel>({
    {"cutfloatpic_to_floatpic", cutfloatpic_to_floatpic, kFloats},
    {"joinfloatpic_to_floatpic", joinfloatpic_to_floatpic, kFloats}});
inline constexpr auto kJoinFloatBlock = kernels<JoinFloatBlockKernel>({
    {"joinfloatpic_to_floatpic_ex", joinfloatpic_to_floatpic_ex, kFloats}});
inline constexpr auto kFloatRender = kernels<FloatRenderKernel>({
    {"nonspect_render_NxFloat_3x8_float", nonspect_render_NxFloat_3x8_float,
     {{0, 32, true}, {3, 8}}}});

#undef K
// clang-format on

/// Where one component becomes floats, depths below 8 are stored in bytes; 0 is no format.
constexpr uint32_t bits_of_component(uint32_t bpc) { return bpc <= 8 ? 8 : bpc <= 16 ? 16 : 0; }

static_assert(kCopyToFloatComponent.find_stored(0, bits_of_component(7)) ==
              copycomponent_Nx8_to_Nxfloat);
static_assert(kCopyToFloatComponentMinMax.find_stored(0, bits_of_component(9)) ==
              copycomponent_Nx16_to_Nxfloat_minmax);
static_assert(kCopyToFloatComponent.find_stored(0, bits_of_component(17)) == nullptr);

inline constexpr auto kFloatLists =
    std::tie(kSetFloatValue, kSetMonoFloat, kSetMonoFloatSse, kSetFloatComponent, kCopyFloat,
             kCopyFloatComponent, kCopyToFloatComponent, kCopyToFloatComponentMinMax, kCutFloat,
             kJoinFloatBlock, kFloatRender);

}  // namespace qmpic
