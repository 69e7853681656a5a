#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/masks.h"

namespace qmpic {

inline constexpr auto kMaskLists = std::tie();

}  // namespace qmpic
