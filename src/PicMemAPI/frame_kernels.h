#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/frame.h"

namespace qmpic {

inline constexpr auto kFrameLists = std::tie();

}  // namespace qmpic
