#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/two_picture.h"

namespace qmpic {

// The kernels for masks differ in the width of the mask and in whether they take the component
// count. The list has them all in one type, by functions that narrow.
using MaskOutKernel = int(void* dst, uint32_t stride, uint32_t mask, uint32_t components,
                          uint32_t width, uint64_t size);
template <class Mask, int (*kernel)(void*, uint32_t, Mask, uint32_t, uint64_t)>
int mask_out(void* dst, uint32_t stride, uint32_t mask, uint32_t /*components*/, uint32_t width,
             uint64_t size) {
    return kernel(dst, stride, static_cast<Mask>(mask), width, size);
}
template <class Mask, int (*kernel)(void*, uint32_t, Mask, uint32_t, uint32_t, uint64_t)>
int mask_out(void* dst, uint32_t stride, uint32_t mask, uint32_t components, uint32_t width,
             uint64_t size) {
    return kernel(dst, stride, static_cast<Mask>(mask), components, width, size);
}

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

inline constexpr auto kMin = kernels<TwoPictureKernel>({
    K(min_1x8),  K(min_3x8),  K(min_4x8),  K(min_Nx8),
    K(min_1x16), K(min_3x16), K(min_4x16), K(min_Nx16)});

inline constexpr auto kMax = kernels<TwoPictureKernel>({
    K(max_1x8),  K(max_3x8),  K(max_4x8),  K(max_Nx8),
    K(max_1x16), K(max_3x16), K(max_4x16), K(max_Nx16)});

inline constexpr auto kAddTranspAndClip = kernels<AddTranspKernel>({
    K(addtranspandclip_1x8),  K(addtranspandclip_3x8),
    K(addtranspandclip_4x8),  K(addtranspandclip_Nx8)});

// No entry asks for these: that of the bytes serves all depths.
inline constexpr auto kAddTranspAndClip16 = kernels<AddTranspKernel>({
    K(addtranspandclip_1x16), K(addtranspandclip_3x16),
    K(addtranspandclip_4x16), K(addtranspandclip_Nx16)});

inline constexpr auto kBlendTwo = kernels<BlendTwoKernel>({
    {"blend_two", blend_two, {{0, 8}, {0, 8}}}});

// There is no kernel for four components.
inline constexpr auto kMaskOut = kernels<MaskOutKernel>({
    {"maskout_1x8",  mask_out<uint8_t,  maskout_1x8>},
    {"maskout_3x8",  mask_out<uint8_t,  maskout_3x8>},
    {"maskout_Nx8",  mask_out<uint8_t,  maskout_Nx8>},
    {"maskout_1x16", mask_out<uint16_t, maskout_1x16>},
    {"maskout_3x16", mask_out<uint16_t, maskout_3x16>},
    {"maskout_Nx16", mask_out<uint16_t, maskout_Nx16>}});

#undef K
// clang-format on

static_assert(kAddAndClip.find(3, 8) == addandclip_3x8);
static_assert(kAddAndClip.find(4, 12) == addandclip_4x16);
static_assert(kAddAndClip.find(5, 24) == addandclip_5x32);
static_assert(kSubAndClip.find(4, 24) == subandclip_Nx32);
static_assert(kSubAndClip.find(1, 7) == nullptr);
static_assert(kMin.find(3, 8) == min_3x8);
static_assert(kMax.find(5, 9) == max_Nx16);
static_assert(kMin.find(1, 24) == nullptr);
static_assert(kAddTranspAndClip.find_stored(4, 8) == addtranspandclip_4x8);
static_assert(kMaskOut.find(4, 8) == mask_out<uint8_t, maskout_Nx8>);
static_assert(kMaskOut.find(3, 16) == mask_out<uint16_t, maskout_3x16>);

inline constexpr auto kTwoPictureLists =
    std::tie(kAddAndClip, kSubAndClip, kMin, kMax, kAddTranspAndClip, kAddTranspAndClip16,
             kBlendTwo, kMaskOut);

}  // namespace qmpic
