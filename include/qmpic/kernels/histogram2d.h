#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// Two-dimensional histograms: how often each pair of values of two components occurs.
///
/// The number in a name is the pixel's storage. Bins are counts of 4 or 8 bytes in a flat array,
/// which must hold 2^(2 * b) of them, b being the bits a side: bin (first << b) + second. Counts
/// are added to what is there, and wrap. Everything runs in the calling thread.

/// Of bytes (`8`) b is `uiBpc`; values are not masked. Of words (`16`) b is 8: a pixel of 12 bits
/// counts in bin (first >> 4 << 8) + (second >> 4), and bits above the depth are not masked
/// either. What falls outside of the bins is not counted.
///
/// @param pBins           2^(2 * b) bins; any address
/// @param uiBinBytes      bytes of a bin, 4 or 8; with any other number nothing is counted
/// @param pSrc            first byte of the first pixel; any address
/// @param uiSrcWidthBytes bytes from row to row; gaps between the rows are not read
/// @param uiComponents    components of a pixel
/// @param uiBpc           significant bits: up to 8 of bytes, 9 to 16 of words
/// @param uiCompA         the first value's component, below `uiComponents`
/// @param uiCompB         the second value's; may be the same
/// @param uiReservedX, uiReservedY not read
/// @param uiWidth         pixels in a row, above 0
/// @param uiSizeInPixels  pixels in the area; an incomplete last row does not count
/// @return 0. Null pointers, a width of 0 and the indexes are for the entries: kernels do not test
///         them.
using Histogram2DKernel = int(void* pBins, uint32_t uiBinBytes, const void* pSrc,
                              uint32_t uiSrcWidthBytes, uint32_t uiComponents, uint32_t uiBpc,
                              uint32_t uiCompA, uint32_t uiCompB, uint32_t uiReservedX,
                              uint32_t uiReservedY, uint32_t uiWidth, uint64_t uiSizeInPixels);
QM_API Histogram2DKernel gethistogram2d_8, gethistogram2d_16;

/// The same for the pixels whose mask byte is not 0. Arguments as above.
///
/// @param pMask            a byte a pixel; null counts nothing
/// @param uiMaskWidthBytes bytes from row to row of the mask
using Histogram2DUnderMaskKernel = int(void* pBins, uint32_t uiBinBytes, const void* pSrc,
                                       uint32_t uiSrcWidthBytes, uint32_t uiComponents,
                                       uint32_t uiBpc, uint32_t uiCompA, uint32_t uiCompB,
                                       const unsigned char* pMask, uint32_t uiMaskWidthBytes,
                                       uint32_t uiReservedX, uint32_t uiReservedY, uint32_t uiWidth,
                                       uint64_t uiSizeInPixels);
QM_API Histogram2DUnderMaskKernel gethistogram2d_8_under_mask, gethistogram2d_16_under_mask;
