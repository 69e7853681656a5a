#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// Components of pixels moved between pictures, their values unchanged.
///
/// A name with two layouts has the source's first. The component counts of source and destination
/// are independent: each is the step from pixel to pixel of its own picture. Indexes count from 0;
/// they are not compared with the counts. Components of the destination that a call does not name
/// are not written. Pixels may lie at any address; gaps between rows are neither read nor written;
/// an incomplete last row does not count. The destination may be the source (same address, same
/// stride); any other overlap is the caller's fault.

/// Component `uiSrcIndex` of every source pixel becomes component `uiDstIndex` of the destination
/// pixel. `Nx8` and `Nx32` always run on an OpenMP team, `Nx16` from 1024 rows on and in the
/// calling thread below. Rows are counted in 32 bits, signed: 2^31 rows are none, 2^32 + 1 are one.
///
/// @param uiDstWidthBytes bytes from row to row
/// @param uiWidth         pixels in a row, above 0
/// @param uiSizeInPixels  pixels in the area
/// @return 0. Null pointers and a width of 0 are for the entries: kernels do not test them.
using CopyComponentKernel = int(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes,
                                uint32_t uiDstIndex, const void* pSrc, uint32_t uiSrcComponents,
                                uint32_t uiSrcWidthBytes, uint32_t uiSrcIndex, uint32_t uiWidth,
                                uint64_t uiSizeInPixels);
QM_API CopyComponentKernel copycomponent_Nx8_to_Nx8, copycomponent_Nx16_to_Nx16,
    copycomponent_Nx32_to_Nx32;

/// A list of components: for k from 0 to `uiCount` - 1, in this order, component `puiDstIndexes[k]`
/// of every pixel takes component `puiSrcIndexes[k]`. Within one picture a later move sees what an
/// earlier one wrote: 0 from 2 and then 2 from 0 leave both with what 2 held.
///
/// @param puiDstIndexes  `uiCount` indexes, as `puiSrcIndexes`; not compared with the counts
/// @param uiSizeInPixels 32 bits here
/// @param bParallel      the rows are shared among an OpenMP team, however few they are
/// @return 0; `copycomponentszerorest_*` also -3 and -4
/// The other arguments are those of CopyComponentKernel.
using CopyComponentsKernel = int(void* pDst, uint32_t uiDstComponents,
                                 const uint32_t* puiDstIndexes, uint32_t uiDstWidthBytes,
                                 const void* pSrc, uint32_t uiSrcComponents,
                                 const uint32_t* puiSrcIndexes, uint32_t uiSrcWidthBytes,
                                 uint32_t uiWidth, uint32_t uiSizeInPixels, uint32_t uiCount,
                                 bool bParallel);

/// Components that the list does not name stay.
QM_API CopyComponentsKernel copycomponents_Nx8_to_Nx8, copycomponents_Nx16_to_Nx16;

/// Components of the destination that the list does not name become 0, after the moves of their
/// pixel. -4 when `uiCount` is not below `uiDstComponents`; -3 when there is no memory for the list
/// of the others.
QM_API CopyComponentsKernel copycomponentszerorest_Nx8_to_Nx8, copycomponentszerorest_Nx16_to_Nx16;

/// One pixel out of two pictures: the moves of the first list, then those of the second, so that
/// the second wins where both name a component. Components that neither names stay. Always on an
/// OpenMP team. Lists and arguments are those of CopyComponentsKernel.
using MergeComponentsKernel = int(void* pDst, uint32_t uiDstComponents,
                                  const uint32_t* puiDstIndexes1, const uint32_t* puiDstIndexes2,
                                  uint32_t uiDstWidthBytes, const void* pSrc1,
                                  uint32_t uiSrc1Components, const uint32_t* puiSrc1Indexes,
                                  uint32_t uiCount1, uint32_t uiSrc1WidthBytes, const void* pSrc2,
                                  uint32_t uiSrc2Components, const uint32_t* puiSrc2Indexes,
                                  uint32_t uiCount2, uint32_t uiSrc2WidthBytes, uint32_t uiWidth,
                                  uint32_t uiSizeInPixels);
QM_API MergeComponentsKernel mergecomponents_Nx8_to_Nx8, mergecomponents_Nx16_to_Nx16;
