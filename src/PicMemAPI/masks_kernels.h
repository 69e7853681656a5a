#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/masks.h"

namespace qmpic {

// clang-format off
#define K(name) {#name, name}

// By the mask's unit and the sense, which no layout says; then by the components' storage.
inline constexpr auto kCopyComponentMask8In = kernels<CopyComponentMaskKernel>({
    K(copycomponentmask_8_Nx8_in),   K(copycomponentmask_8_Nx16_in)});
inline constexpr auto kCopyComponentMask8Out = kernels<CopyComponentMaskKernel>({
    K(copycomponentmask_8_Nx8_out),  K(copycomponentmask_8_Nx16_out)});
inline constexpr auto kCopyComponentMask16In = kernels<CopyComponentMaskKernel>({
    K(copycomponentmask_16_Nx8_in),  K(copycomponentmask_16_Nx16_in)});
inline constexpr auto kCopyComponentMask16Out = kernels<CopyComponentMaskKernel>({
    K(copycomponentmask_16_Nx8_out), K(copycomponentmask_16_Nx16_out)});

// Pixels are bytes here; what is chosen by is the mask's unit.
inline constexpr Layouts kMaskOfBytes{{0, 8}, {0, 8}}, kMaskOfWords{{0, 16}, {0, 16}};
inline constexpr auto kCopyMaskIn = kernels<CopyMaskKernel>({
    {"copymask_8_in",   copymask_8_in,   kMaskOfBytes},
    {"copymask_16_in",  copymask_16_in,  kMaskOfWords}});
inline constexpr auto kCopyMaskOut = kernels<CopyMaskKernel>({
    {"copymask_8_out",  copymask_8_out,  kMaskOfBytes},
    {"copymask_16_out", copymask_16_out, kMaskOfWords}});

inline constexpr auto kCopyMask3x8 = kernels<CopyMask3x8Kernel>({
    K(copymask_16_3x8_in), K(copymask_16_3x8_out)});

#undef K
// clang-format on

static_assert(kCopyComponentMask8In.find_stored(3, 16) == copycomponentmask_8_Nx16_in);
static_assert(kCopyComponentMask16Out.find_stored(1, 8) == copycomponentmask_16_Nx8_out);
static_assert(kCopyMaskIn.find_stored(0, 8) == copymask_8_in);
static_assert(kCopyMaskOut.find_stored(0, 16) == copymask_16_out);

inline constexpr auto kMaskLists =
    std::tie(kCopyComponentMask8In, kCopyComponentMask8Out, kCopyComponentMask16In,
             kCopyComponentMask16Out, kCopyMaskIn, kCopyMaskOut, kCopyMask3x8);

}  // namespace qmpic
