#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/bit_depth.h"

namespace qmpic {

inline constexpr auto kBitDepthLists = std::tie();

}  // namespace qmpic
