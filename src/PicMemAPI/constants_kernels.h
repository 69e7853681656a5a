#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/constants.h"

namespace qmpic {

// clang-format off
#define K(name) {#name, name}
#define LAYOUTS(family)                                                              \
    K(family##_1x8),  K(family##_3x8),  K(family##_4x8),  K(family##_Nx8),           \
    K(family##_1x16), K(family##_3x16), K(family##_4x16), K(family##_Nx16)

inline constexpr auto kAddConstAndClip = kernels<IntConstKernel>({LAYOUTS(addconstandclip)});
inline constexpr auto kAddConstRotate = kernels<IntConstKernel>({LAYOUTS(addconstrotate)});
inline constexpr auto kSubConstAndClip = kernels<IntConstKernel>({LAYOUTS(subconstandclip)});
inline constexpr auto kMulConstAndClip = kernels<DoubleConstKernel>({LAYOUTS(mulconstandclip)});
inline constexpr auto kDivConstAndClip = kernels<DoubleConstKernel>({
    LAYOUTS(divconstandclip), K(divconstandclip_Nx32)});
// No entry asks for this: that for any count serves five components, too.
inline constexpr auto kDivConstAndClip5 = kernels<DoubleConstKernel>({K(divconstandclip_5x32)});
inline constexpr auto kMinConstAndClip = kernels<PixelConstKernel>({LAYOUTS(minconstandclip)});
inline constexpr auto kMaxConstAndClip = kernels<PixelConstKernel>({LAYOUTS(maxconstandclip)});
inline constexpr auto kAddMulPowConstAndClip = kernels<AddMulPowKernel>({LAYOUTS(addmulpowconstandclip)});
inline constexpr auto kSubAddConstAndClip = kernels<SubAddConstKernel>({LAYOUTS(subaddconstandclip)});

#undef LAYOUTS
#undef K
// clang-format on

static_assert(kAddConstAndClip.find(3, 8) == addconstandclip_3x8);
static_assert(kAddConstRotate.find(4, 12) == addconstrotate_4x16);
static_assert(kSubConstAndClip.find(2, 8) == subconstandclip_Nx8);
static_assert(kMulConstAndClip.find(1, 9) == mulconstandclip_1x16);
static_assert(kDivConstAndClip.find(5, 24) == divconstandclip_Nx32);
static_assert(kDivConstAndClip.find(1, 17) == divconstandclip_Nx32);
static_assert(kDivConstAndClip.find(5, 7) == nullptr);
static_assert(kMaxConstAndClip.find(1, 24) == nullptr);

inline constexpr auto kConstantLists =
    std::tie(kAddConstAndClip, kAddConstRotate, kSubConstAndClip, kMulConstAndClip,
             kDivConstAndClip, kDivConstAndClip5, kMinConstAndClip, kMaxConstAndClip,
             kAddMulPowConstAndClip, kSubAddConstAndClip);

}  // namespace qmpic
