#pragma once

#include <cstdint>

#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/export.h"

/// @file
/// Stretching that serves single components of floats and packed one-bit pictures. Pictures are
/// stretched by CQmPicMemAPI_Base::StretchDisplay.

/// The two passes of CQmFloatPicMemAPI_Base::Stretch_WithValidity: one component of rows of floats
/// filtered along the row, `uiRoiWidth` columns of the region to `uiDstWidth`. A sample is valid if
/// it is above -FLT_MAX (NaN is not); weights of invalid samples are left out, and a result
/// without any valid sample is -FLT_MAX. On a team that shares the rows.
///
/// @param pDst, pSrc    first element of the component; that of the source is the first of the
///                      region
/// @param uiComponents  floats from pixel to pixel, in both
/// @param uiDstWidthBytes, uiSrcWidthBytes bytes from row to row
/// @param uiSrcWidth    columns of the picture; no column outside of it is read
/// @param uiSrcLeft     columns of the picture left of the region
/// @return 0, also for nothing to do; -3 when there is no memory
using StretchValidityHorzKernel = int(float* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes,
                                      uint32_t uiDstWidth, uint32_t uiRows, const float* pSrc,
                                      uint32_t uiSrcWidthBytes, uint32_t uiSrcWidth,
                                      uint32_t uiSrcLeft, uint32_t uiRoiWidth,
                                      CQmPicMemAPI_Base::EQmPicStretchMode eMode);
QM_API StretchValidityHorzKernel stretch_float_generic_horz_1_validity;

/// Down the columns: `uiRoiHeight` rows to `uiDstHeight`. The source has `uiRowsAbove` rows above
/// them, of which `pSrc` is the first, and `uiRowsBelow` below; rows beyond are those at the edge.
using StretchValidityVertKernel = int(float* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes,
                                      uint32_t uiDstWidth, uint32_t uiDstHeight, const float* pSrc,
                                      uint32_t uiSrcWidthBytes, uint32_t uiRowsAbove,
                                      uint32_t uiRoiHeight, uint32_t uiRowsBelow,
                                      CQmPicMemAPI_Base::EQmPicStretchMode eMode);
QM_API StretchValidityVertKernel stretch_float_generic_vert_1_validity;

/// The nearest sample of one component of a region. With s = region / destination in single
/// precision, column i is floor(i * s), in single precision, where s is above 1, and floor((i +
/// 0.5) * s), in double, elsewhere: a reduction takes the start of a pixel, an enlargement its
/// middle. Rows likewise. Columns and rows end with the picture's. In the calling thread.
///
/// @param pDst, pSrc    first element of the component; that of the source is the first of the
///                      region
/// @return 0, also for a size of 0; -3 when there is no memory
using StretchFloatQuickKernel = int(float* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes,
                                    uint32_t uiDstWidth, uint32_t uiDstHeight, const float* pSrc,
                                    uint32_t uiSrcWidthBytes, uint32_t uiSrcWidth,
                                    uint32_t uiSrcHeight, uint32_t uiSrcLeft, uint32_t uiSrcTop,
                                    uint32_t uiRoiWidth, uint32_t uiRoiHeight);
QM_API StretchFloatQuickKernel stretch_float_quick_1;

/// The nearest pixel of a packed one-bit picture, where bit 7 of a byte is its first pixel:
/// `uiSrcWidth` x `uiSrcHeight` pixels of a region to `uiDstWidth` x `uiDstHeight`. Column i is
/// floor((i + 0.5) * `uiSrcWidth` / `uiDstWidth`), in double, limited so that it and `uiBitOffset`
/// stay below `uiSrcWidthBytes` * 8; rows likewise, with `uiSrcTop` and `uiSrcRows`. The bits
/// behind the last pixel of a row become 0. In the calling thread.
///
/// @param pSrc        the byte that holds the first pixel, bit 7 - `uiBitOffset` mod 8, in row
///                    `uiSrcTop`
/// @param uiSrcRows   rows of the picture
/// @return 0, also for a size of 0; -3 when there is no memory
using StretchBinaryKernel = int(void* pDst, uint32_t uiDstWidthBytes, uint32_t uiDstWidth,
                                uint32_t uiDstHeight, const void* pSrc, uint32_t uiSrcWidthBytes,
                                uint32_t uiSrcRows, uint32_t uiBitOffset, uint32_t uiSrcTop,
                                uint32_t uiSrcWidth, uint32_t uiSrcHeight);
QM_API StretchBinaryKernel stretch_quick_binary;

/// A window of a packed one-bit picture at any zoom: the quick mode of
/// CQmPicMemAPI_Base::StretchDisplay on bits. The bits behind the last pixel of a row become 0.
///
/// @return -9 for a virtual size of 0; 0, also for a destination size of 0; -9 for a source size of
///         0; -3 when there is no memory
using StretchBinaryDisplayKernel = int(void* pDst, uint32_t uiDstWidth, uint32_t uiDstHeight,
                                       uint32_t uiDstWidthBytes, uint32_t uiVirtualWidth,
                                       uint32_t uiVirtualHeight, uint32_t uiLeft, uint32_t uiTop,
                                       const void* pSrc, uint32_t uiSrcWidth, uint32_t uiSrcHeight,
                                       uint32_t uiSrcWidthBytes, bool bFlipX, bool bFlipY);
QM_API StretchBinaryDisplayKernel stretch_quick_binary_display;
