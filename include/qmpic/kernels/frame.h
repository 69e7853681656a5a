#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// Whole lines and single values: copy, set, change and compare.
///
/// `copy`, `copyparallel`, `set` and `compare` know lines of bytes and no samples. Their line is
/// (uiBpc + 7) / 8 * uiComponents * uiWidth bytes in 32 bits, which wrap: 3 bytes a component from
/// 17 to 24 bits, although such samples are stored in 4, so that three quarters of each row are
/// meant. They take any depth. The others end in their layout, `x8` for bytes and `x16` for words
/// of 16 bits, compare and write in that unit and do nothing where there are no components.
///
/// Gaps between the rows are neither read nor written. Everything runs in the calling thread but
/// `copyparallel`. Null pointers and a width of 0 are for the entries: kernels do not test them.

/// @param pDst            first byte; any address, as for all memory here
/// @param uiDstWidthBytes bytes from row to row. A line that is longer is reported to DiagAssertW
///                        ("size > dwDestLineSize", source `PicMemAPI/converts`), once a call, and
///                        cut to it. The stride of the source is compared with nothing.
/// @param uiBpc           bits of a component
/// @param uiWidth         pixels in a row, above 0
/// @param uiSizeInPixels  pixels in the area; an incomplete last row does not count: 25 pixels of
///                        width 10 are two rows
/// @return 0
using CopyKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                       uint32_t uiSrcWidthBytes, uint32_t uiComponents, uint32_t uiBpc,
                       uint32_t uiWidth, uint64_t uiSizeInPixels);
/// The same, and
/// @param bParallel the rows are shared among an OpenMP team of the runtime's default size, however
///                  few they are
using CopyParallelKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                               uint32_t uiSrcWidthBytes, uint32_t uiComponents, uint32_t uiBpc,
                               uint32_t uiWidth, uint64_t uiSizeInPixels, bool bParallel);

/// Each line as it stands, from top to bottom. Reports under line 57.
QM_API CopyKernel copy;
/// Each line as it stands. Reports under line 84.
QM_API CopyParallelKernel copyparallel;

/// @param uiValue only its low byte is used
/// The other arguments are those of CopyKernel.
using SetKernel = int(void* pDst, uint32_t uiDstWidthBytes, uint32_t uiValue, uint32_t uiComponents,
                      uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels);

/// Every byte of every line: 0x1234 makes 16-bit components of 0x3434. Reports under line 109.
QM_API SetKernel set;

/// @param pValue one pixel, `uiComponents` samples of the layout's unit; read before anything is
///               written (of up to 2048 components)
using SetValueKernel = int(void* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes,
                           const void* pValue, uint32_t uiWidth, uint64_t uiSizeInPixels);

/// Every pixel becomes the one at `pValue`.
QM_API SetValueKernel set_Nx8, set_Nx16;

/// @param uiComponentIndex not compared with `uiComponents`: sample x * uiComponents +
///                         uiComponentIndex of a row is written for pixel x
using SetComponent8Kernel = int(void* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes,
                                uint32_t uiComponentIndex, unsigned char ucValue, uint32_t uiWidth,
                                uint64_t uiSizeInPixels);
using SetComponent16Kernel = int(void* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes,
                                 uint32_t uiComponentIndex, unsigned short usValue,
                                 uint32_t uiWidth, uint64_t uiSizeInPixels);

/// One component of every pixel becomes the value; the others are not written.
QM_API SetComponent8Kernel setcomponent_Nx8;
QM_API SetComponent16Kernel setcomponent_Nx16;

/// @param pNewValue one pixel, as is `pOldValue`; both are read before anything is written
/// @return 0; -3 when there is no memory for two pixels of more than 192 components
using ChangeValueKernel = int(void* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes,
                              const void* pNewValue, const void* pOldValue, uint32_t uiWidth,
                              uint64_t uiSizeInPixels);

/// Pixels of which all components equal those at `pOldValue` become the one at `pNewValue`.
QM_API ChangeValueKernel change_Nx8, change_Nx16;

/// @return 0 when all lines are equal, else a number with the sign of the first difference in
///         memory order, byte by byte: the words 0x0200 and 0x0001 give a negative one, since 0x00
///         comes before 0x01. Only the sign means something.
using CompareKernel = int(const void* p1, uint32_t uiWidthBytes1, const void* p2,
                          uint32_t uiWidthBytes2, uint32_t uiComponents, uint32_t uiBpc,
                          uint32_t uiWidth, uint64_t uiSizeInPixels);

/// The lines of two memories, row after row.
QM_API CompareKernel compare;

/// @return 0 when all pairs are equal, else value 1 - value 2 of the first unequal pair, row after
///         row and from left to right: 3 and 10 give -7
using CompareComponentKernel = int(const void* p1, uint32_t uiComponents1, uint32_t uiWidthBytes1,
                                   uint32_t uiComponentIndex1, const void* p2,
                                   uint32_t uiComponents2, uint32_t uiWidthBytes2,
                                   uint32_t uiComponentIndex2, uint32_t uiWidth,
                                   uint64_t uiSizeInPixels);

/// One component of each of two memories.
QM_API CompareComponentKernel comparecomponent_Nx8_to_Nx8, comparecomponent_Nx16_to_Nx16;
