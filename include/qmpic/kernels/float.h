#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// Fills and moves of float memory.
///
/// Rows of strided memory are found by an index of floats that is made in 32 bits, (y * stride) /
/// 4: a stride of 10 bytes puts the rows at floats 0, 2, 5, 7, and pictures of more than 4 GiB
/// wrap. Floats keep all their bits, those of NaNs too. Memory may lie at any address; gaps between
/// rows are neither read nor written; an incomplete last row does not count. Kernels run in the
/// calling thread unless said otherwise, and give 0. Null pointers and a width of 0 are for the
/// entries: kernels do not test them.

/// Every pixel becomes the one at `pfValues`, which has `uiComponents` floats.
///
/// @param uiWidthBytes   bytes from row to row
/// @param uiWidth        pixels in a row, above 0
/// @param uiSizeInPixels pixels in the area
using SetFloatValueKernel = int(float* pData, uint32_t uiComponents, uint32_t uiWidthBytes,
                                const float* pfValues, uint32_t uiWidth, uint64_t uiSizeInPixels);
QM_API SetFloatValueKernel set_Nxfloat;

/// `uiRowFloats` * `uiRows` floats, one behind the other, become `fValue`: a zero keeps its sign.
using SetMonoFloatKernel = int(float* pData, uint32_t uiRowFloats, uint32_t uiRows, float fValue);
QM_API SetMonoFloatKernel set_mono_float;

/// The same for `uiWidth` * `uiHeight` floats, a product of 32 bits: 65536 * 65536 are none.
/// Callers align the memory to 16 bytes.
using SetMonoFloatSseKernel = int(uint32_t* pData, uint32_t uiWidth, uint32_t uiHeight,
                                  float fValue);
QM_API SetMonoFloatSseKernel set_mono_float_sse;

/// Component `uiComponent` of every pixel becomes `fValue`, as it is: the entry is what narrows it.
/// The index is not compared with the count. The other arguments are those of SetFloatValueKernel.
using SetFloatComponentKernel = int(float* pData, uint32_t uiComponents, uint32_t uiWidthBytes,
                                    uint32_t uiComponent, float fValue, uint32_t uiWidth,
                                    uint64_t uiSizeInPixels);
QM_API SetFloatComponentKernel setcomponent_Nxfloat;

/// Rows of `uiComponents` * `uiWidth` floats, copied from top to bottom, each as a block.
using CopyFloatKernel = int(float* pDst, uint32_t uiDstWidthBytes, const float* pSrc,
                            uint32_t uiSrcWidthBytes, uint32_t uiComponents, uint32_t uiWidth,
                            uint64_t uiSizeInPixels);
QM_API CopyFloatKernel copyfloat;

/// Component `uiSrcComponent` of every source pixel becomes component `uiDstComponent` of the
/// destination pixel; the others stay. The counts are the steps from pixel to pixel. Always on an
/// OpenMP team that shares the rows. The destination may be the source.
using CopyFloatComponentKernel = int(float* pDst, uint32_t uiDstComponents,
                                     uint32_t uiDstWidthBytes, uint32_t uiDstComponent,
                                     const float* pSrc, uint32_t uiSrcComponents,
                                     uint32_t uiSrcWidthBytes, uint32_t uiSrcComponent,
                                     uint32_t uiWidth, uint64_t uiSizeInPixels);
QM_API CopyFloatComponentKernel copycomponent_Nxfloat_to_Nxfloat;

/// Component `uiSrcComponent` of every integer pixel, bytes or words by the name, becomes component
/// `uiDstComponent` of the destination pixel as a float; the others stay. Indexes are not compared
/// with the counts. Always on an OpenMP team that shares the rows.
///
/// @param uiBpc  not read: words are taken as they are
using CopyToFloatComponentKernel = int(float* pDst, uint32_t uiDstComponents,
                                       uint32_t uiDstWidthBytes, uint32_t uiDstComponent,
                                       const void* pSrc, uint32_t uiSrcComponents,
                                       uint32_t uiSrcWidthBytes, uint32_t uiSrcComponent,
                                       uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels);
QM_API CopyToFloatComponentKernel copycomponent_Nx8_to_Nxfloat, copycomponent_Nx16_to_Nxfloat;

/// The same, and `*pfMin` and `*pfMax` become the least and the greatest of what they were and of
/// the samples.
using CopyToFloatComponentMinMaxKernel = int(float* pDst, uint32_t uiDstComponents,
                                             uint32_t uiDstWidthBytes, uint32_t uiDstComponent,
                                             const void* pSrc, uint32_t uiSrcComponents,
                                             uint32_t uiSrcWidthBytes, uint32_t uiSrcComponent,
                                             uint32_t uiBpc, uint32_t uiWidth,
                                             uint64_t uiSizeInPixels, float* pfMin, float* pfMax);
QM_API CopyToFloatComponentMinMaxKernel copycomponent_Nx8_to_Nxfloat_minmax,
    copycomponent_Nx16_to_Nxfloat_minmax;

// Blocks of packed pictures: rows of uiWidth * uiComponents floats, without gaps. Nothing is
// clipped, and sizes of 0 are no-ops. A block and its destination must not overlap. They give 0.

/// Copies the block of `uiDstWidth` x `uiDstHeight` pixels at (`uiX`, `uiY`) of the source.
/// `uiSrcHeight` is not read.
using CutFloatKernel = int(float* pDst, uint32_t uiDstWidth, uint32_t uiDstHeight,
                           const float* pSrc, uint32_t uiSrcWidth, uint32_t uiSrcHeight,
                           uint32_t uiX, uint32_t uiY, uint32_t uiComponents);
QM_API CutFloatKernel cutfloatpic_to_floatpic;
/// Copies the whole source to (`uiX`, `uiY`) of the destination. `uiDstHeight` is not read.
QM_API CutFloatKernel joinfloatpic_to_floatpic;
/// Copies a block of `uiWidth` x `uiHeight` pixels. Both heights of pictures are not read.
using JoinFloatBlockKernel = int(float* pDst, uint32_t uiDstWidth, uint32_t uiDstHeight,
                                 const float* pSrc, uint32_t uiSrcWidth, uint32_t uiSrcHeight,
                                 uint32_t uiDstX, uint32_t uiDstY, uint32_t uiSrcX, uint32_t uiSrcY,
                                 uint32_t uiWidth, uint32_t uiHeight, uint32_t uiComponents);
QM_API JoinFloatBlockKernel joinfloatpic_to_floatpic_ex;
