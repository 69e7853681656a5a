#pragma once

#include <cstdint>

#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/export.h"

/// @file
/// Focus criteria: one number that says how sharp a picture is. CQmPicMemAPI_Base says what each of
/// them measures; here is what its kernels take and refuse.
///
/// A name ends in its layout: `3x16` is three components in 16-bit words, `N` any number of them.
/// Everything runs in the calling thread, nothing is allocated, and a null `pdResult` is not
/// written. -4 (QM_REJECTED) leaves the result as it is.
///
/// @param iComponent     a component, or -1 for all of them together; what else is taken differs
/// @param pData          first byte; any address. Null is -4
/// @param uiWidthBytes   bytes from row to row; gaps are not read
/// @param uiWidth        pixels in a row; 0 is a picture without rows
/// @param uiSizeInPixels pixels in the area; an incomplete last row does not count

// ----- Gradient: CQmPicMemAPI_Base::FocusGradientPerEnergy and FocusGradientPerSample
// -------------

/// Rows 0, uiStepY, 2 * uiStepY, ... and in them pixels 0, uiStepX, ... without the last column,
/// which is a right neighbour only. With v the value of such a pixel and w that of the next one,
/// the result is sqrt(sum (w - v)^2 / sum v^2) per energy, and sqrt(sum (w - v)^2 / pixels) per
/// sample; 0 when no pixel was visited or all of them are 0. 10, 13, 9 give sqrt(25 / 269), or
/// sqrt(25 / 2).
///
/// With `iComponent` -1 a value is the mean of the components, cut to a whole number. In `9_15`
/// components are masked with 2^uiBpc - 1 first; the others take the stored bits, and `1x16`,
/// `3x16`, `Nx16` do not read `uiBpc`.
///
/// @return 0; in this order -4 for a component that is neither -1 nor one of the picture (0 in
///         `1x`), for steps of 0 and for null data, and -2 for any other criterion (but 0, with 0.0
///         written, when there is no row)
using GradientFocusKernel8 = int(double* pdResult, int iComponent, const void* pData,
                                 uint32_t uiWidthBytes, uint32_t uiStepX, uint32_t uiStepY,
                                 uint32_t uiWidth, uint64_t uiSizeInPixels,
                                 CQmPicMemAPI_Base::EQmFocusCriterium eCriterium);
using GradientFocusKernel16 = int(double* pdResult, int iComponent, const void* pData,
                                  uint32_t uiWidthBytes, uint32_t uiStepX, uint32_t uiStepY,
                                  uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels,
                                  CQmPicMemAPI_Base::EQmFocusCriterium eCriterium);
using GradientFocusKernelN8 = int(double* pdResult, int iComponent, const void* pData,
                                  uint32_t uiComponents, uint32_t uiWidthBytes, uint32_t uiStepX,
                                  uint32_t uiStepY, uint32_t uiWidth, uint64_t uiSizeInPixels,
                                  CQmPicMemAPI_Base::EQmFocusCriterium eCriterium);
using GradientFocusKernelN16 = int(double* pdResult, int iComponent, const void* pData,
                                   uint32_t uiComponents, uint32_t uiWidthBytes, uint32_t uiStepX,
                                   uint32_t uiStepY, uint32_t uiBpc, uint32_t uiWidth,
                                   uint64_t uiSizeInPixels,
                                   CQmPicMemAPI_Base::EQmFocusCriterium eCriterium);
QM_API GradientFocusKernel8 getfocuscriterium_1x8, getfocuscriterium_3x8;
QM_API GradientFocusKernel16 getfocuscriterium_1x16, getfocuscriterium_3x16,
    getfocuscriterium_1x9_15, getfocuscriterium_3x9_15;
QM_API GradientFocusKernelN8 getfocuscriterium_Nx8;
QM_API GradientFocusKernelN16 getfocuscriterium_Nx16, getfocuscriterium_Nx9_15;
/// The same of floats with one component, rows as in CQmFloatPicMemAPI_Base. Differences and
/// squares are made in single precision. **So are the count, which stops at 2^24 = 16777216, and
/// the sum of v^2**, pixel by pixel, which loses low bits in large pictures; only the sum of the
/// squared differences is a double. A size of 0 gives 0 behind the test of the component, with
/// nothing written.
QM_API GradientFocusKernel16 getfocuscriterium_float;

// ----- Several scales: CQmPicMemAPI_Base::FocusMultiScale ----------------------------------------

/// One pixel in 16 by 16, the anchors, at 0, 16, 32, ... below width - 16 and below height - 16: a
/// width of 17 has one column of them. For each distance d of 1, 2, 4, 8, 16 the squares of the
/// differences to the pixel d to the right and to the one d below are summed; the result is
/// (A1 + A2 + A4 + A8 + A16) / D with B anchors and
///
///     one component, bytes     D = B * 2560       all components, 3x  D = B * 30
///     one component, words     D = B * 655360     all components, Nx  D = B * uiComponents * 10
///
/// **D is a product of 32 bits that wraps**: words with 6553 anchors are divided by 4294574080,
/// those with 6554 by 262144. **One component is scaled down by 256 or 65536, and all components
/// together are not.** An edge of exactly 16 has no anchor and gives NaN.
///
/// `1x` does not read the component. Elsewhere what is no component means all of them.
///
/// @return 0; -4 for null data; -2, with 0.0 written, when an edge is below 16
using MultiScaleFocusKernel = int(double* pdResult, int iComponent, const void* pData,
                                  uint32_t uiWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels);
using MultiScaleFocusKernelN = int(double* pdResult, int iComponent, const void* pData,
                                   uint32_t uiWidthBytes, uint32_t uiComponents, uint32_t uiWidth,
                                   uint64_t uiSizeInPixels);
QM_API MultiScaleFocusKernel getfocus_ms_1x8, getfocus_ms_1x16, getfocus_ms_3x8, getfocus_ms_3x16;
QM_API MultiScaleFocusKernelN getfocus_ms_Nx8, getfocus_ms_Nx16;

// ----- Mean: CQmPicMemAPI_Base::FocusMaxInt ------------------------------------------------------

/// The mean of rows 0, uiStepY, 2 * uiStepY, ... as a share of the greatest value, 255 for bytes
/// and CalcUintMax(uiBpc) for words: a 12-bit picture of 4095 gives 1.0. All components are summed
/// and counted together. NaN without a row.
///
/// `1x` does not read the component. Elsewhere what is no component means all of them.
///
/// @return 0; -4 for null data or a step of 0
using MaxIntFocusKernel8 = int(double* pdResult, int iComponent, const void* pData,
                               uint32_t uiWidthBytes, uint32_t uiStepY, uint32_t uiWidth,
                               uint64_t uiSizeInPixels);
using MaxIntFocusKernel16 = int(double* pdResult, int iComponent, const void* pData,
                                uint32_t uiWidthBytes, uint32_t uiBpc, uint32_t uiStepY,
                                uint32_t uiWidth, uint64_t uiSizeInPixels);
using MaxIntFocusKernelN8 = int(double* pdResult, int iComponent, const void* pData,
                                uint32_t uiWidthBytes, uint32_t uiComponents, uint32_t uiStepY,
                                uint32_t uiWidth, uint64_t uiSizeInPixels);
using MaxIntFocusKernelN16 = int(double* pdResult, int iComponent, const void* pData,
                                 uint32_t uiWidthBytes, uint32_t uiComponents, uint32_t uiBpc,
                                 uint32_t uiStepY, uint32_t uiWidth, uint64_t uiSizeInPixels);
QM_API MaxIntFocusKernel8 getfocus_maxint_1x8, getfocus_maxint_3x8;
QM_API MaxIntFocusKernel16 getfocus_maxint_1x16, getfocus_maxint_3x16;
QM_API MaxIntFocusKernelN8 getfocus_maxint_Nx8;
QM_API MaxIntFocusKernelN16 getfocus_maxint_Nx16;

// ----- Noise mask: CQmPicMemAPI_Base::FocusImmerkaer ---------------------------------------------

/// Immerkaer's mask, (1 -2 1), (-2 4 -2), (1 -2 1) (Fast noise variance estimation, Computer Vision
/// and Image Understanding 64, 1996). Its mean magnitude T over the pixels that have eight
/// neighbours is the noise of the picture. With a uiLevelHigh of 0 the result is T / 100. Else the
/// mask is dilated, its taps d = 1 << level apart, for each level from uiLevelLow to uiLevelHigh;
/// what it gives where that is **above 2 * T, with its sign**, is summed over all levels, and
/// divided by the number of all pixels that were visited and by 100.
///
/// With `iComponent` -1 what the mask gives is summed over the components of a pixel first, and the
/// numbers of pixels are multiplied by their number. A picture of 2 by 2 gives NaN.
///
/// @return 0; -4 in `1x` and `3x` for a component that is neither -1 nor one of the picture, for
///         uiLevelHigh above 5, an edge below 2 << uiLevelHigh, uiLevelLow above uiLevelHigh, and
///         null data. **`Nx` does not test the component**: what is not -1 is an offset in samples
using ImmerkaerFocusKernel = int(double* pdResult, int iComponent, const void* pData,
                                 uint32_t uiWidthBytes, uint32_t uiLevelLow, uint32_t uiLevelHigh,
                                 uint32_t uiWidth, uint64_t uiSizeInPixels);
using ImmerkaerFocusKernelN = int(double* pdResult, int iComponent, uint32_t uiComponents,
                                  const void* pData, uint32_t uiWidthBytes, uint32_t uiLevelLow,
                                  uint32_t uiLevelHigh, uint32_t uiWidth, uint64_t uiSizeInPixels);
QM_API ImmerkaerFocusKernel getfocus_immerkaer_1x8, getfocus_immerkaer_1x16, getfocus_immerkaer_3x8,
    getfocus_immerkaer_3x16;
QM_API ImmerkaerFocusKernelN getfocus_immerkaer_Nx8, getfocus_immerkaer_Nx16;
