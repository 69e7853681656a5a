#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// Pixels selected by the range of their values: painted with a value, or made bits of a mask.
///
/// Limits are included in the range. Samples are compared as they are stored, whatever the depth.

/// A value painted into a picture of one component where the source is in the range (bInside), or
/// outside of it. 10 to 20 inside selects 10 and 20; outside, 9 and 21. Limits in the wrong order
/// are a range that holds nothing. Other pixels keep their bytes. The destination may be the source
/// (same address, same stride). Runs in the calling thread.
///
/// @param pDst, pSrc      first bytes; any address
/// @param uiDstWidthBytes, uiSrcWidthBytes bytes from row to row of each; gaps between the rows are
///                        neither read nor written
/// @param uiLow, uiHigh   compared in 32 bits: up to 300 are all bytes, from 256 none
/// @param value           of the destination's storage
/// @param uiWidth         pixels in a row, above 0
/// @param uiSizeInPixels  pixels in the area; an incomplete last row does not count. The number of
///                        rows is a signed number of 32 bits; with less than one nothing happens
/// @return 0. Null pointers and a width of 0 are tested nowhere.
template <class Value>
using ThresholdKernel = int(void* pDst, uint64_t uiDstWidthBytes, const void* pSrc,
                            uint64_t uiSrcWidthBytes, uint32_t uiLow, uint32_t uiHigh, bool bInside,
                            Value value, uint64_t uiWidth, uint64_t uiSizeInPixels);
QM_API ThresholdKernel<uint8_t> threshold_8, threshold_16_to_8;
QM_API ThresholdKernel<uint16_t> threshold_16, threshold_8_to_16;

/// Bits of the pixels that are selected, merged into a mask. A pixel is selected when each
/// component is within its own range (bInside), or each is outside of its own: with ranges of 0 to
/// 10, (5, 20, 20) is neither inside nor outside. How bits are merged and what becomes of those
/// beside the area is said with PackKernel. Rows are spread over a team of the runtime's default
/// size, whatever their number.
///
/// @param pBin            byte of the area's first pixel; any address
/// @param uiBinX          its place in that byte, 0 (the top bit) to 7
/// @param uiBinWidthBytes, uiSrcWidthBytes bytes from row to row of mask and picture; rows of a
/// mask
///                        must not share bytes
/// @param pSrc            first byte of the picture; any address
/// @param pLow, pHigh     a pixel each; any address
/// @param uiWidth         pixels in a row, above 0
/// @param uiSizeInPixels  pixels in the area; an incomplete last row does not count
/// @param pbCancel        null, or read before each row: a row is left as it is when it is true.
/// Any
///                        thread may set it meanwhile
/// @return 0, also when cancelled; -2 for an unknown merge, with the mask unchanged. Null pointers
///         and a width of 0 are tested nowhere.
using ThresholdToBinKernel = int(void* pBin, uint32_t uiBinX, uint32_t uiBinWidthBytes,
                                 const void* pSrc, uint32_t uiSrcWidthBytes, const void* pLow,
                                 const void* pHigh, bool bInside, uint32_t uiWidth,
                                 uint64_t uiSizeInPixels, uint32_t uiMerge, bool* pbCancel);
QM_API ThresholdToBinKernel threshold_1x8_to_bin, threshold_1x16_to_bin, threshold_3x8_to_bin,
    threshold_3x16_to_bin, threshold_4x16_to_bin;
/// Outside, component 3 is compared with the *low limit of component 2* and its own high limit:
/// with 100 and 200 to 210 as the last two ranges' limits, 150 counts as inside.
QM_API ThresholdToBinKernel threshold_4x8_to_bin;

/// Each component has its own limits, also the last of four. Pixels of no component are selected.
using ThresholdNToBinKernel = int(void* pBin, uint32_t uiBinX, uint32_t uiBinWidthBytes,
                                  const void* pSrc, uint32_t uiComponents, uint32_t uiSrcWidthBytes,
                                  const void* pLow, const void* pHigh, bool bInside,
                                  uint32_t uiWidth, uint64_t uiSizeInPixels, uint32_t uiMerge,
                                  bool* pbCancel);
QM_API ThresholdNToBinKernel threshold_Nx8_to_bin, threshold_Nx16_to_bin;
