#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// Complex pictures, two planes of floats, shown as integers and loaded from them.
///
/// Rows of floats are found as in kernels/float.h. Pointers are not tested, and gaps between rows
/// are neither read nor written but where said. Everything runs in the calling thread and gives 0.

/// Shows the first plane, amplitude or whatever it holds; the second is not read.
///
/// @param uiDstComponents as many as `uiSrcComponents`
/// @param uiSrcWidthBytes bytes from row to row of the plane
/// @param uiWidth         pixels in a row, above 0
/// @param uiSizeInPixels  pixels in the area; an incomplete last row does not count
using ExtractFloatKernel = int(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes,
                               uint32_t uiBpc, const float* pAmp, const float* pPhase,
                               uint32_t uiSrcComponents, uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                               uint64_t uiSizeInPixels);
/// x + 0.5 in single precision, at most 255, toward zero. There is **no limit below**: -3.2 becomes
/// -2, which is stored as 254. NaN becomes 0.
QM_API ExtractFloatKernel extract_Float2_to_Nx8;
/// The same up to 2^uiBpc - 1, 4095 for 12 bits, of which the low 16 bits are stored.
QM_API ExtractFloatKernel extract_Float2_to_Nx16;

/// Loads the first plane and clears the second, all `uiDstComponents` * `uiSizeInPixels` floats of
/// it without gaps, whatever the strides are.
///
/// @param uiBpc           not read: samples are taken as they are
/// @param uiSrcWidthBytes bytes from row to row of the source, but see below
/// @param uiWidth         pixels in a row, above 0
/// @param uiSizeInPixels  pixels in the area
using ExtractToFloatKernel = int(float* pAmp, float* pPhase, uint32_t uiDstComponents,
                                 uint32_t uiDstWidthBytes, const void* pSrc,
                                 uint32_t uiSrcWidthBytes, uint32_t uiBpc, uint32_t uiSrcComponents,
                                 uint32_t uiWidth, uint64_t uiSizeInPixels);
/// The mean of a pixel's components: their sum, in single precision, by their number. 10, 20 and 40
/// are 23.333334.
QM_API ExtractToFloatKernel extract_Nx8_to_1xFloat2, extract_Nx16_to_1xFloat2;
/// All `uiSrcComponents` * `uiWidth` samples of a row as floats, also if there are more than three
/// components: the rows of the plane must hold them.
QM_API ExtractToFloatKernel extract_Nx8_to_3xFloat2;
/// The same of words. Here, and here alone, `uiSrcWidthBytes` **counts words of 16 bits**: rows of
/// three pixels of three components without gaps are 9 apart.
QM_API ExtractToFloatKernel extract_Nx16_to_3xFloat2;
