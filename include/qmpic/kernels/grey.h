#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// Grey and colour: one component made many, a fourth component added or dropped, many components
/// made grey.
///
/// Names read operation, source, `to`, destination. Samples are bytes (`x8`) or 16-bit words
/// (`x16`) of any depth: values are taken as they are. Everything runs in the calling thread. A
/// grey destination may be its source; where pictures overlap in another way the result is
/// undefined.

/// @param pDst, pSrc      first bytes; any address
/// @param uiDstWidthBytes, uiSrcWidthBytes bytes from row to row of each; gaps between the rows are
///                        neither read nor written
/// @param uiWidth         pixels in a row, above 0
/// @param uiSizeInPixels  pixels in the area; an incomplete last row does not count
/// @return 0. Null pointers and a width of 0 are tested nowhere.
using ConvertPixelsKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                                uint64_t uiSizeInPixels);

/// A grey value written to three components; the fourth, where there is one, becomes 0. 7 is
/// (7, 7, 7) or (7, 7, 7, 0).
QM_API ConvertPixelsKernel convert_1x8_to_3x8, convert_1x8_to_4x8, convert_1x16_to_3x16,
    convert_1x16_to_4x16;

/// Three components of four: the last is dropped. (1, 2, 3, 4) is (1, 2, 3).
QM_API ConvertPixelsKernel convert_4x8_to_3x8, convert_4x16_to_3x16;

/// A grey value written to all of `uiDstComponents` components, also to the fourth of four.
using ReplicateKernel = int(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes,
                            const void* pSrc, uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                            uint64_t uiSizeInPixels);
QM_API ReplicateKernel convert_1x8_to_Nx8, convert_1x16_to_Nx16;

/// Three components and `Value` as the fourth. (1, 2, 3) with 9 is (1, 2, 3, 9).
template <class Value>
using AddFourthKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                            uint32_t uiSrcWidthBytes, Value value, uint32_t uiWidth,
                            uint64_t uiSizeInPixels);
QM_API AddFourthKernel<uint8_t> convert_3x8_to_4x8;
QM_API AddFourthKernel<uint16_t> convert_3x16_to_4x16;

/// @param pdWeights null for the mean; else a weight a component on a scale of 1, neither checked
///                  for sum nor for sign. CQmPicMemAPI_Base has two such arrays.
using GreyKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                       uint32_t uiSrcWidthBytes, const double* pdWeights, uint32_t uiWidth,
                       uint64_t uiSizeInPixels);
/// @return -9 for no component
using GreyNKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                        uint32_t uiSrcComponents, uint32_t uiSrcWidthBytes, const double* pdWeights,
                        uint32_t uiWidth, uint64_t uiSizeInPixels);

/// Grey of many components.
///
/// The mean, rounded: (c0 + c1 + c2 + 1) / 3, (c0 + c1 + c2 + c3 + 2) / 4, (sum + n / 2) / n; (1,
/// 2, 2) is 2. `convert_3x16_to_1x16`, alone of all, stores only the low byte of it: three times
/// 1000 is 232.
///
/// With weights: w becomes the integer W = trunc(w * F + 0.5), F being 255 for bytes and 65535 for
/// words at any depth, and the grey value is W0 * c0 / F + W1 * c1 / F + ..., each quotient
/// truncated, the sum modulo F + 1. One weight is not read but makes all of them add up to F modulo
/// F + 1: the last one of 3 and 4 components (of 4 it is 0 where the others exceed F), the first
/// one of the kernels for any number. So (65535, 0, 0) with 0.30, 0.59, 0.11 is 19661 by
/// `convert_3x16_to_1x16` and 19660 by `convert_Nx16_to_1x16`.
QM_API GreyKernel convert_3x8_to_1x8, convert_3x16_to_1x16, convert_4x8_to_1x8,
    convert_4x16_to_1x16;
QM_API GreyNKernel convert_Nx8_to_1x8, convert_Nx16_to_1x16;
