#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// Copies under a mask: a picture of one component, bytes (`8`) or 16-bit words (`16`) whatever its
/// depth, that says pixel by pixel whether anything is copied.
///
/// The first number of a name is the mask's unit. `in` copies where the mask is `uiMaskValue`,
/// `out` where it is not. The value is compared whole: 0x105 is no byte, so that `8_in` copies
/// nothing then and `8_out` everything. Pixels that are not chosen keep their bytes. Everything
/// runs in the calling thread. The destination may be the source (same address, same stride).

/// Component `uiSrcIndex` of the chosen source pixels becomes component `uiDstIndex` of the
/// destination pixels; other components are not written. Indexes are not compared with the counts.
///
/// @param pDst, pSrc, pMask first bytes; any address
/// @param uiDstWidthBytes, uiSrcWidthBytes, uiMaskWidthBytes bytes from row to row of each; gaps
///                          between the rows are neither read nor written
/// @param uiWidth           pixels in a row, above 0
/// @param uiSizeInPixels    pixels in the area; an incomplete last row does not count
/// @return 0. Null pointers and a width of 0 are for the entries: kernels do not test them.
using CopyComponentMaskKernel = int(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes,
                                    uint32_t uiDstIndex, const void* pSrc, uint32_t uiSrcComponents,
                                    uint32_t uiSrcWidthBytes, uint32_t uiSrcIndex,
                                    const void* pMask, uint32_t uiMaskWidthBytes, uint32_t uiWidth,
                                    uint64_t uiSizeInPixels, uint32_t uiMaskValue);
// clang-format off
QM_API CopyComponentMaskKernel
    copycomponentmask_8_Nx8_in,   copycomponentmask_8_Nx8_out,
    copycomponentmask_8_Nx16_in,  copycomponentmask_8_Nx16_out,
    copycomponentmask_16_Nx8_in,  copycomponentmask_16_Nx8_out,
    copycomponentmask_16_Nx16_in, copycomponentmask_16_Nx16_out;
// clang-format on

/// The chosen pixels whole: (uiBpc + 7) / 8 * uiComponents bytes each, at any depth. Arguments as
/// above.
using CopyMaskKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                           uint32_t uiSrcWidthBytes, uint32_t uiComponents, uint32_t uiBpc,
                           const void* pMask, uint32_t uiMaskWidthBytes, uint32_t uiWidth,
                           uint64_t uiSizeInPixels, uint32_t uiMaskValue);
QM_API CopyMaskKernel copymask_8_in, copymask_8_out, copymask_16_in, copymask_16_out;

/// The chosen pixels of three bytes.
using CopyMask3x8Kernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                              uint32_t uiSrcWidthBytes, const void* pMask,
                              uint32_t uiMaskWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels,
                              uint32_t uiMaskValue);
QM_API CopyMask3x8Kernel copymask_16_3x8_in, copymask_16_3x8_out;
