#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/components.h"

namespace qmpic {

inline constexpr auto kComponentLists = std::tie();

}  // namespace qmpic
