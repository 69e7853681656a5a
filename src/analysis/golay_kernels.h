#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/golay.h"

namespace qmpic {

#define K(name)                                                                                    \
    { #name, name }

inline constexpr auto kGolay8 = kernels<GolayKernel8>(
    {K(golay_smooth_1x8), K(golay_smooth_Nx8), K(golay_edgeX_1x8), K(golay_edgeX_Nx8),
     K(golay_edgeY_1x8), K(golay_edgeY_Nx8), K(golay_edgeXY_1x8), K(golay_edgeXY_Nx8)});
inline constexpr auto kGolay16 = kernels<GolayKernel16>(
    {K(golay_smooth_Nx16), K(golay_edgeX_Nx16), K(golay_edgeY_Nx16), K(golay_edgeXY_Nx16)});

#undef K

inline constexpr auto kGolayLists = std::tie(kGolay8, kGolay16);

}  // namespace qmpic
