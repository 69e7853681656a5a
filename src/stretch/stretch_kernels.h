#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/stretch.h"

namespace qmpic {

// clang-format off
#define K(name, layout) {#name, name, {layout, layout}}

// There is one format each: no entry looks for these.
inline constexpr Layout kFloatSamples{1, 32, true}, kBits{1, 1};

inline constexpr auto kStretchValidityHorz = kernels<StretchValidityHorzKernel>({
    K(stretch_float_generic_horz_1_validity, kFloatSamples)});
inline constexpr auto kStretchValidityVert = kernels<StretchValidityVertKernel>({
    K(stretch_float_generic_vert_1_validity, kFloatSamples)});
inline constexpr auto kStretchFloatQuick = kernels<StretchFloatQuickKernel>({
    K(stretch_float_quick_1, kFloatSamples)});
inline constexpr auto kStretchBinary = kernels<StretchBinaryKernel>({
    K(stretch_quick_binary, kBits)});
inline constexpr auto kStretchBinaryDisplay = kernels<StretchBinaryDisplayKernel>({
    K(stretch_quick_binary_display, kBits)});

#undef K
// clang-format on

inline constexpr auto kStretchLists =
    std::tie(kStretchValidityHorz, kStretchValidityVert, kStretchFloatQuick, kStretchBinary,
             kStretchBinaryDisplay);

}  // namespace qmpic
