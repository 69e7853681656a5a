#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// True-colour pictures of two components: hue stands for their ratio, or for the concentration of
/// an ion that follows from it, and brightness for the signal.
///
/// The destination has three bytes a pixel, whatever the source's samples are: bytes, words, or
/// floats by the name. The scale has 256 colours: the rows of `pLuts`, an array of 256 pointers to
/// three bytes each, which go to bytes 0, 1 and 2 of a pixel; null is the rainbow of
/// QM_RGBRainbowColorTable. The `_float` kernels always show the rainbow.
///
/// A pixel has a colour k of the scale, a signal s and, the same for all pixels, a top M. Its byte
/// c is colour[k][c] * s / M, toward zero, in integers; with floats in single precision, where what
/// does not fit 32 bits or is no number gives 0. Kernels test neither pointers nor whether the
/// indices are below `uiComponents`.

/// With the samples a and b, R = (a - numerator's offset) / (b - denominator's offset) and
/// t = (R - `dMin`) / (`dMax` - `dMin`), limited to 0 to 1, in doubles; k = 255 * t toward zero,
/// and 0 where t is no number. A range of 0 to 2 shows a ratio of 0 by colour 0, 1 by 127, 2 by
/// 255. Where b is not above its offset, k is 255 if a is above its own, else 0.
///
/// If the lowest bit of `uiShade` is set, s is the largest of a and b less their offsets and 0, but
/// M at most; else it is M, so that the colours are pure. M is 255.
///
/// The rows are shared among the threads of a team, however few there are.
///
/// @param pDst, pSrc      first bytes; any address. They must not overlap
/// @param uiDstWidthBytes, uiSrcWidthBytes bytes from row to row of each; gaps are not touched
/// @param uiComponents    samples a pixel of the source
/// @param uiWidth         pixels in a row; 0 does nothing
/// @param uiSizeInPixels  pixels in the area; an incomplete last row does not count
/// @param ucNumer, ucDenom index of the numerator's component, and of the denominator's
/// @param ucNumOffset, ucDenOffset backgrounds
/// @return 0
using Ratio8Kernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                         uint32_t uiComponents, uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                         uint64_t uiSizeInPixels, uint8_t ucNumer, uint8_t ucDenom,
                         uint8_t ucNumOffset, uint8_t ucDenOffset, double dMin, double dMax,
                         const void* pLuts, uint32_t uiShade);
QM_API Ratio8Kernel ratio_8;

/// The same for words. M is the level that the brightest hundredth of the pixels reach: the
/// larger sample of each, as it stands, is counted in one of 65,536 counters of 16 bits, **which
/// wrap**, and M is the first level, downward from 65535, where the running sum is at least
/// `uiSizeInPixels` / 100, at least 1. So a picture of less than 100 pixels has an M of 65535; and
/// where 65,536 pixels have one level that level counts as without any: of 256 x 256 pixels that
/// are all alike M is 1, and every signal is full.
/// @return 0; -3 when there is no memory for the counters, with nothing written
using Ratio16Kernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                          uint32_t uiComponents, uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                          uint64_t uiSizeInPixels, uint8_t ucNumer, uint8_t ucDenom,
                          uint16_t usNumOffset, uint16_t usDenOffset, double dMin, double dMax,
                          const void* pLuts, uint32_t uiShade);
QM_API Ratio16Kernel ratio_16;

/// The same for floats, without a table. **A denominator that is not above its offset has k = 255,
/// whatever the numerator is.** M is the largest sample of both components as it stands, at least
/// 255; s is computed in single precision. A sample that is no number is no signal.
using RatioFloatKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                             uint32_t uiComponents, uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                             uint64_t uiSizeInPixels, uint8_t ucNumer, uint8_t ucDenom,
                             uint16_t usNumOffset, uint16_t usDenOffset, double dMin, double dMax,
                             uint32_t uiShade);
QM_API RatioFloatKernel ratio_float;

/// The concentration of a free ion by a dye of two wavelengths (Grynkiewicz, Poenie & Tsien 1985),
/// its logarithm shown by colours.
///
/// With a and b less their offsets, R = a / b; where b is not above its offset **R is a as it is**.
/// n = R - `dRatioScale` * `dRmin`, d = `dRatioScale` * `dRmax` - R, beta = `dSf` / `dSb`, or `dSf`
/// when `dSb` is not above 0. The concentration is beta * `dKd` * n / d, at most
/// C = 10^ceil(log10(`dKd` * 10)), which it also is where d is not above 0. L is its logarithm to
/// base 10, and the lowest of the scale where the concentration is 0, n is not above 0, or `dSf` is
/// not above 0. The scale reaches from log10(`dCaMin`) to log10(`dCaMax`): k = 255 * (L - low) /
/// (high - low), limited to 0 to 255, toward zero; 0 where that is no number. With `dKd` 0.224,
/// `dSf` / `dSb` 1, limits of 0 and 8 and a range of 0.01 to 1, a ratio of 4 is 0.224 and colour
/// 172.
///
/// A `dCaMin` of 0 stands for a low end of -high where high is above 0, else of -4.
///
/// s is the largest of a and b less their offsets and 0; M is 255.
///
/// Everything runs in the calling thread.
///
/// @param dKd            dissociation constant
/// @param dRatioScale    factor of `dRmin` and `dRmax`
/// @param dSf, dSb       signal of the denominator's wavelength without ion, and with all bound
/// @param dRmin, dRmax   ratio without ion, and with all bound
/// @param dCaMin, dCaMax range shown
/// @return 0. The other arguments are those of Ratio8Kernel.
using Calcium8Kernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                           uint32_t uiComponents, uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                           uint64_t uiSizeInPixels, uint8_t ucNumer, uint8_t ucDenom,
                           uint8_t ucNumOffset, uint8_t ucDenOffset, double dKd, double dRatioScale,
                           double dSf, double dSb, double dRmin, double dRmax, double dCaMin,
                           double dCaMax, const void* pLuts);
QM_API Calcium8Kernel ca_8;

/// The same for words, and **without gradation: a pixel with any signal has the pure colour, and
/// one without is black** (M is 1). A `dCaMax` that is not above 0 is taken for 2. A `dCaMin` of 0
/// stands for a low end of -log10(C).
using Calcium16Kernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                            uint32_t uiComponents, uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                            uint64_t uiSizeInPixels, uint8_t ucNumer, uint8_t ucDenom,
                            uint16_t usNumOffset, uint16_t usDenOffset, double dKd,
                            double dRatioScale, double dSf, double dSb, double dRmin, double dRmax,
                            double dCaMin, double dCaMax, const void* pLuts);
QM_API Calcium16Kernel ca_16;

/// The same for floats, without a table: s and M are those of ratio_float with shade. A `dCaMin` of
/// 0 stands for a low end of -log10(C).
using CalciumFloatKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                               uint32_t uiComponents, uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                               uint64_t uiSizeInPixels, uint8_t ucNumer, uint8_t ucDenom,
                               uint16_t usNumOffset, uint16_t usDenOffset, double dKd,
                               double dRatioScale, double dSf, double dSb, double dRmin,
                               double dRmax, double dCaMin, double dCaMax);
QM_API CalciumFloatKernel ca_float;
