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
