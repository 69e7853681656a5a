#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/drawing.h"

namespace qmpic {

using PointFromLineKernel = double(const double* pdA, const double* pdB, const double* pdP);

// No picture at all, so no entry looks for it.
inline constexpr auto kPointFromLine =
    kernels<PointFromLineKernel>({{"GetDistOfPointFromLine", GetDistOfPointFromLine, Layouts{}}});

inline constexpr auto kDrawingLists = std::tie(kPointFromLine);

}  // namespace qmpic
