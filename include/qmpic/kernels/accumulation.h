#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// A running weighted average of frames, and sums of components.
///
/// A name ends in its layout: `3x16` is three components in 16-bit words, `N` any number of them.
/// Samples are bytes (`x8`), 16-bit words (`x16`) or floats (`x32`) with all their bits: no depth
/// is asked for, and nothing is clipped to one. Everything runs in the calling thread. Null
/// pointers are not tested; a width of 0 and less than one row are no-ops. An incomplete last row
/// does not count. All give 0.

/// Beside the averaged picture lies a plane of weights, one a pixel whatever the components, and so
/// does beside the new frame. With the accumulated weight A and the new weight W each component
/// becomes
///
///     (source * W + destination * A) / (W + A)
///
/// and then A becomes A + W, once a pixel. All memory may lie at any address. The frame may be the
/// destination, and its weights the accumulated ones; other overlap is the caller's fault.
///
/// @param pDst                   the average, read and written
/// @param uiDstWidthBytes        bytes from row to row; gaps are neither read nor written
/// @param pdWeights              the accumulated weights A, read and written
/// @param uiWeightsWidthBytes    bytes, not weights, from row to row of them
/// @param pSrc                   the new frame
/// @param pdSrcWeights           its weights W
/// @param uiSrcWeightsWidthBytes bytes from row to row of them
/// @param uiWidth                pixels in a row
/// @param uiSizeInPixels         pixels in the area
using AverageUpdateKernel = int(void* pDst, uint32_t uiDstWidthBytes, double* pdWeights,
                                uint32_t uiWeightsWidthBytes, const void* pSrc,
                                uint32_t uiSrcWidthBytes, const double* pdSrcWeights,
                                uint32_t uiSrcWeightsWidthBytes, uint32_t uiWidth,
                                uint64_t uiSizeInPixels);
using AverageUpdateNKernel = int(void* pDst, uint32_t uiDstWidthBytes, double* pdWeights,
                                 uint32_t uiWeightsWidthBytes, const void* pSrc,
                                 uint32_t uiSrcWidthBytes, const double* pdSrcWeights,
                                 uint32_t uiSrcWeightsWidthBytes, uint32_t uiComponents,
                                 uint32_t uiWidth, uint64_t uiSizeInPixels);
using AverageUpdateFloatKernel = int(void* pDst, uint32_t uiDstWidthBytes, float* pfWeights,
                                     uint32_t uiWeightsWidthBytes, const void* pSrc,
                                     uint32_t uiSrcWidthBytes, const float* pfSrcWeights,
                                     uint32_t uiSrcWeightsWidthBytes, uint32_t uiWidth,
                                     uint64_t uiSizeInPixels);
using AverageUpdateFloatNKernel = int(void* pDst, uint32_t uiDstWidthBytes, float* pfWeights,
                                      uint32_t uiWeightsWidthBytes, const void* pSrc,
                                      uint32_t uiSrcWidthBytes, const float* pfSrcWeights,
                                      uint32_t uiSrcWeightsWidthBytes, uint32_t uiComponents,
                                      uint32_t uiWidth, uint64_t uiSizeInPixels);

/// In double precision and rounded: 0.5 is added, and the sum cut to 32 bits, of which the low ones
/// are stored. Weights of 1 and 1 make 150 of 100 and 200; A = 3 and W = 1 make 125. What is no
/// number (both weights 0) or does not fit into 32 bits is stored as 0; a quotient of -84.5 as
/// 65452.
// clang-format off
QM_API AverageUpdateKernel
    average_update_1x8,  average_update_3x8,
    average_update_1x16, average_update_3x16;
QM_API AverageUpdateNKernel
    average_update_Nx8,  average_update_Nx16;
// clang-format on

/// The same in single precision with weights of floats, each step rounded, and **cut, not
/// rounded**: 100 and 101 with weights of 1 and 1 are 100, where doubles give 101. A value averaged
/// with itself may lose one: 7 and 7 with W = 0.1 and A = 0.2 are 6.
// clang-format off
QM_API AverageUpdateFloatKernel
    average_update_1x8_flt,  average_update_3x8_flt,
    average_update_1x16_flt, average_update_3x16_flt;
QM_API AverageUpdateFloatNKernel
    average_update_Nx8_flt,  average_update_Nx16_flt;
// clang-format on

/// Pictures of floats with weights of doubles, computed in double precision. The 0.5 is added here,
/// too, and nothing takes it off: **each update raises the stored value by a half**. 1 and 2 with
/// weights of 1 and 1 are 2.
QM_API AverageUpdateNKernel average_update_Nx32;

/// Adds the sum of each component to `pui64Sums`, which callers clear first. The sum of a row is
/// one of 32 bits, which wraps: 65538 words of 65535 in one row add 65534, in two rows 4295032830.
///
/// @param pui64Sums a sum a component
using SumValuesKernel = int(uint64_t* pui64Sums, const void* pSrc, uint32_t uiSrcWidthBytes,
                            uint32_t uiWidth, uint64_t uiSizeInPixels);
using SumValuesNKernel = int(uint64_t* pui64Sums, const void* pSrc, uint32_t uiComponents,
                             uint32_t uiSrcWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels);
QM_API SumValuesKernel sum_values_1x8, sum_values_3x8, sum_values_1x16, sum_values_3x16;
QM_API SumValuesNKernel sum_values_Nx8, sum_values_Nx16;
