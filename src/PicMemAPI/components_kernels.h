#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/components.h"

namespace qmpic {

// clang-format off
#define K(name) {#name, name}

inline constexpr auto kCopyComponent = kernels<CopyComponentKernel>({
    K(copycomponent_Nx8_to_Nx8), K(copycomponent_Nx16_to_Nx16), K(copycomponent_Nx32_to_Nx32)});

#undef K
// clang-format on

static_assert(kCopyComponent.find(1, 8) == copycomponent_Nx8_to_Nx8);
static_assert(kCopyComponent.find(3, 12) == copycomponent_Nx16_to_Nx16);
static_assert(kCopyComponent.find_stored(9, 32) == copycomponent_Nx32_to_Nx32);

inline constexpr auto kComponentLists = std::tie(kCopyComponent);

}  // namespace qmpic
