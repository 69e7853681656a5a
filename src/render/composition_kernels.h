#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/composition.h"

namespace qmpic {

inline constexpr auto kCompositionLists = std::tie();

}  // namespace qmpic
