#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/tone_mapping.h"

namespace qmpic {

// clang-format off
#define K(name) {#name, name}
inline constexpr auto kDrago = kernels<ToneKernel>({
    K(map_float_to_Nx8_Drago), K(map_float_to_Nx16_Drago)});
inline constexpr auto kDragoParam = kernels<ToneParamKernel>({
    K(map_float_to_Nx8_param_Drago), K(map_float_to_Nx16_param_Drago)});
inline constexpr auto kTumblin = kernels<ToneKernel>({
    K(map_float_to_Nx8_Tumblin), K(map_float_to_Nx16_Tumblin)});
inline constexpr auto kTumblinParam = kernels<ToneParamKernel>({
    K(map_float_to_Nx8_param_Tumblin), K(map_float_to_Nx16_param_Tumblin)});
#undef K
// clang-format on

static_assert(kDrago.find(3, 8) == map_float_to_Nx8_Drago);
static_assert(kTumblinParam.find(3, 9) == map_float_to_Nx16_param_Tumblin);
static_assert(kTumblin.find(3, 7) == nullptr);

inline constexpr auto kToneLists = std::tie(kDrago, kDragoParam, kTumblin, kTumblinParam);

}  // namespace qmpic
