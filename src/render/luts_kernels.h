#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/luts.h"

namespace qmpic {

inline constexpr auto kLutLists = std::tie();

}  // namespace qmpic
