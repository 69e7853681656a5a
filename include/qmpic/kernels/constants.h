#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// Constant arithmetic: every sample combined with the constant of its component.
///
/// A name ends in its layout: `3x16` is three components in 16-bit words, `N` any number of them;
/// kernels for 1, 3, 4 and 5 components do not read `uiComponents`. M is 2^uiBpc - 1.
///
/// There are two routes, and they are **not** the same at their edges. Kernels for 1, 3 and 4
/// components give what a table of 2^uiBpc values would (see calcluts_1x8 and its siblings):
/// computed in doubles from the exact value, rounded, clipped to 0 and M. Words count with their
/// low uiBpc bits only: 5000 at 12 bits is 904. Kernels for `N` components compute from the sample
/// as it is stored, in the arithmetic that stands with each of them. So the same call may give
/// something else for two components than for three.
///
/// Everything runs in the calling thread, but for the `1x8` and `3x8` kernels of the table route,
/// whose tables are applied by applyluts_1x8 and applyluts_3x8, which share rows among a team. The
/// destination may be the source; any other overlap is the caller's fault.

/// @param pDst            first byte; any address, as for the source
/// @param uiDstWidthBytes bytes from row to row; gaps between the rows are neither read nor written
/// @param piConst         one constant a component; one-component kernels read the first
/// @param uiBpc           8 for `x8` (below it no sample may be above M), 9 to 16 for `x16`, 17 to
///                        32 for `x32`
/// @param uiWidth         pixels in a row, above 0
/// @param uiSizeInPixels  pixels in the area; an incomplete last row does not count
/// @return 0; -3 when there is no memory for a table of three or four components, before a pixel is
///         written. Null pointers and a width of 0 are for the entries: kernels do not test them.
using IntConstKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                           uint32_t uiSrcWidthBytes, const int32_t* piConst, uint32_t uiComponents,
                           uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels);

/// Sample + constant.
/// - 1, 3, 4 components: clipped to 0 and M. 3 - 5 is 0.
/// - `Nx8`: min(sum, M), **the sum taken as unsigned**, so that one below 0 is very large and gives
///   M: 3 - 5 is 255.
/// - `Nx16`: clipped to 0 and M: 3 - 5 is 0. The sum is one of signed 32 bits and wraps:
///   65535 + 0x7FFFFFFF is 0.
// clang-format off
QM_API IntConstKernel
    addconstandclip_1x8,  addconstandclip_3x8,  addconstandclip_4x8,  addconstandclip_Nx8,
    addconstandclip_1x16, addconstandclip_3x16, addconstandclip_4x16, addconstandclip_Nx16;
// clang-format on

/// Sample + constant, rotated **with three components only**.
/// - 3 components: a sum below 0 or above M is brought back once, by M and not by M + 1: 250 + 10
///   is 5 at 8 bits. What is still outside keeps its low 8 or 16 bits: 250 + 600 is stored as 83,
///   and 4095 + 5000 at 12 bits is 5000.
/// - 1 and 4 components, `Nx8`: addconstandclip of the same layout. 250 + 10 is 255.
/// - `Nx16`: min(sum, M), the sum signed, with no lower limit; its low 16 bits are stored. 3 - 5 is
///   0xFFFE.
// clang-format off
QM_API IntConstKernel
    addconstrotate_1x8,  addconstrotate_3x8,  addconstrotate_4x8,  addconstrotate_Nx8,
    addconstrotate_1x16, addconstrotate_3x16, addconstrotate_4x16, addconstrotate_Nx16;
// clang-format on

/// Sample - constant, clipped to 0 and M in all layouts: 3 - 5 is 0. In `N` the difference is one
/// of signed 32 bits and wraps.
// clang-format off
QM_API IntConstKernel
    subconstandclip_1x8,  subconstandclip_3x8,  subconstandclip_4x8,  subconstandclip_Nx8,
    subconstandclip_1x16, subconstandclip_3x16, subconstandclip_4x16, subconstandclip_Nx16;
// clang-format on

/// @param pdConst one constant a component; one-component kernels read the first
/// @return 0; -3 as for IntConstKernel. The other arguments are those of IntConstKernel.
using DoubleConstKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                              uint32_t uiSrcWidthBytes, const double* pdConst,
                              uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth,
                              uint64_t uiSizeInPixels);

/// Sample * constant + 0.5, toward zero: 3 * 0.5 is 2.
/// - 1, 3, 4 components: clipped to 0 and M; 0 for what is not a number.
/// - `N`: min(product, M) of signed 32 bits (0x80000000 for what does not fit and what is not a
///   number), with no lower limit; the low 8 or 16 bits are stored. 3 * -1 is -2, stored as 254;
///   1 * 1e10 is stored as 0, where one component gives M.
// clang-format off
QM_API DoubleConstKernel
    mulconstandclip_1x8,  mulconstandclip_3x8,  mulconstandclip_4x8,  mulconstandclip_Nx8,
    mulconstandclip_1x16, mulconstandclip_3x16, mulconstandclip_4x16, mulconstandclip_Nx16;
// clang-format on

/// Sample / constant, to the nearest.
/// - 1, 3, 4 components: the sample times 1.0 / constant, as mulconstandclip has it. A constant
///   below 0 gives 0; with the constant 0 the sample 0 gives 0 and every other M.
/// - `N` and 5 components: in fixed point, min(((sample * F) + H) / D, M) with integer division,
///   D = constant * F + 0.5 toward zero and H = D / 2, F being 4096 for `x8`, 256 for `x16` (32
///   bits; a D that does not fit is 0xFFFFFFFF) and 65536 for `x32` (64 bits). 100 / 3.0 is
///   (409600 + 6144) / 12288 = 33. Small constants are coarse: 10 / 0.01 at 12 bits is 853, where
///   one component gives 1000. D = 0, and what is not a number, gives M for all samples. A constant
///   below 0.0 gives -9, whichever component has it, with nothing written; without memory for D
///   and H -3.
///
/// divconstandclip_5x32 computes what divconstandclip_Nx32 computes; no entry calls it.
// clang-format off
QM_API DoubleConstKernel
    divconstandclip_1x8,  divconstandclip_3x8,  divconstandclip_4x8,  divconstandclip_Nx8,
    divconstandclip_1x16, divconstandclip_3x16, divconstandclip_4x16, divconstandclip_Nx16,
    divconstandclip_Nx32, divconstandclip_5x32;
// clang-format on

/// @param pConst one pixel, stored like those of the picture; it is not clipped to M
/// @return 0; -3 as for IntConstKernel. The other arguments are those of IntConstKernel.
using PixelConstKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                             uint32_t uiSrcWidthBytes, const void* pConst, uint32_t uiComponents,
                             uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels);

/// The smaller, or the greater, of sample and constant. The greater of 50 and 100 is 100; of 50 and
/// 5000 at 12 bits it is 5000. `Nx16` takes samples as they are stored, the others by their low
/// bits.
// clang-format off
QM_API PixelConstKernel
    minconstandclip_1x8,  minconstandclip_3x8,  minconstandclip_4x8,  minconstandclip_Nx8,
    minconstandclip_1x16, minconstandclip_3x16, minconstandclip_4x16, minconstandclip_Nx16;
QM_API PixelConstKernel
    maxconstandclip_1x8,  maxconstandclip_3x8,  maxconstandclip_4x8,  maxconstandclip_Nx8,
    maxconstandclip_1x16, maxconstandclip_3x16, maxconstandclip_4x16, maxconstandclip_Nx16;
// clang-format on

/// @param pdAdd, pdMul, pdPow one of each a component; a null array leaves its step out
/// @return 0; -3 as for IntConstKernel. The other arguments are those of IntConstKernel.
using AddMulPowKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                            uint32_t uiSrcWidthBytes, const double* pdAdd, const double* pdMul,
                            const double* pdPow, uint32_t uiComponents, uint32_t uiBpc,
                            uint32_t uiWidth, uint64_t uiSizeInPixels);

/// ((sample + add) * mul) ^ pow + 0.5 in doubles, toward zero, clipped to 0 and M; 0 for what is
/// not a number. With add 1, mul 2, pow 2 the sample 3 gives 64. A power for each sample is slow:
/// all layouts go through tables where a picture has more pixels than the depth has values, `N`
/// only if there is memory for one.
// clang-format off
QM_API AddMulPowKernel
    addmulpowconstandclip_1x8,  addmulpowconstandclip_3x8,
    addmulpowconstandclip_4x8,  addmulpowconstandclip_Nx8,
    addmulpowconstandclip_1x16, addmulpowconstandclip_3x16,
    addmulpowconstandclip_4x16, addmulpowconstandclip_Nx16;
// clang-format on

/// @return 0; there are no tables. The other arguments are those of IntConstKernel.
using SubAddConstKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc1,
                              uint32_t uiSrc1WidthBytes, const void* pSrc2,
                              uint32_t uiSrc2WidthBytes, const int32_t* piConst,
                              uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth,
                              uint64_t uiSizeInPixels);

/// Source 1 - source 2 + constant in signed 32 bits, which wrap, clipped to 0 and M; samples as
/// they are stored, in all layouts. 10 - 20 + 15 is 5, 10 - 20 + 5 is 0.
// clang-format off
QM_API SubAddConstKernel
    subaddconstandclip_1x8,  subaddconstandclip_3x8,
    subaddconstandclip_4x8,  subaddconstandclip_Nx8,
    subaddconstandclip_1x16, subaddconstandclip_3x16,
    subaddconstandclip_4x16, subaddconstandclip_Nx16;
// clang-format on
