#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/two_picture.h"

namespace qmpic {

// clang-format off
#define K(name) {#name, name}

inline constexpr auto kAddAndClip = kernels<TwoPictureKernel>({
    K(addandclip_1x8),  K(addandclip_3x8),  K(addandclip_4x8),  K(addandclip_Nx8),
    K(addandclip_1x16), K(addandclip_3x16), K(addandclip_4x16), K(addandclip_Nx16),
    K(addandclip_5x32), K(addandclip_Nx32)});

inline constexpr auto kSubAndClip = kernels<TwoPictureKernel>({
    K(subandclip_1x8),  K(subandclip_3x8),  K(subandclip_4x8),  K(subandclip_Nx8),
    K(subandclip_1x16), K(subandclip_3x16), K(subandclip_4x16), K(subandclip_Nx16),
    K(subandclip_5x32), K(subandclip_Nx32)});

#undef K
// clang-format on

static_assert(kAddAndClip.find(3, 8) == addandclip_3x8);
static_assert(kAddAndClip.find(4, 12) == addandclip_4x16);
static_assert(kAddAndClip.find(5, 24) == addandclip_5x32);
static_assert(kSubAndClip.find(4, 24) == subandclip_Nx32);
static_assert(kSubAndClip.find(1, 7) == nullptr);

inline constexpr auto kTwoPictureLists = std::tie(kAddAndClip, kSubAndClip);

}  // namespace qmpic
