#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/grey.h"

namespace qmpic {

inline constexpr auto kGreyLists = std::tie();

}  // namespace qmpic
