#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// Tone mapping: a picture of floats with a high dynamic range as one of integers, each component
/// by a curve between its own extremes. Everything runs in the calling thread, and nothing is
/// allocated.
///
/// Of a component, Lmax is the greatest sample above 0, else 0, and Lmin the least above 0, else
/// 1e30. The top T is 255 for `Nx8`. For `Nx16` it is 2^uiComponents - 1, by the number of
/// components and not of bits: 1 for one component, 7 for three, 2^32 - 1 from 32 on. All is
/// computed in single precision but where it is said.
///
/// @param pDst            first byte; any address
/// @param uiBpc           not read
/// @param uiDstWidthBytes bytes from row to row, of `Nx16` without their lowest bit: 11 is 10
/// @param pSrc            packed: `uiWidth` * `uiComponents` floats a row, and no gaps
/// @return 0
using ToneKernel = int(void* pDst, uint32_t uiBpc, uint32_t uiDstWidthBytes, const float* pSrc,
                       uint32_t uiWidth, uint32_t uiHeight, uint32_t uiComponents);
/// @param uiParam what the two families below say
using ToneParamKernel = int(void* pDst, uint32_t uiBpc, uint32_t uiDstWidthBytes, const float* pSrc,
                            uint32_t uiWidth, uint32_t uiHeight, uint32_t uiComponents,
                            uint32_t uiParam);

/// A logarithm whose base grows with the sample (Drago et al. 2003, bias 0.85):
/// ln(x + 1) * S / log10(Lmax + 1) / ln(8 * (x / Lmax)^0.2344652 + 2), within 0 and T, toward zero,
/// NaN 0. S is T / 100, which makes the range a narrow one: 2.55 for `Nx8`, so that Lmax becomes 2;
/// 0.07 for `Nx16` of three components, all of which become 0. `Nx16` stores the low 16 bits.
///
/// Samples of 0 and below become 0. The curve rises up to an Lmax of about 10^5; of greater ones it
/// has its top before Lmax, where `Nx8` can give 5.
///
/// The `param` forms are the same: `uiParam` is not read.
QM_API ToneKernel map_float_to_Nx8_Drago, map_float_to_Nx16_Drago;
QM_API ToneParamKernel map_float_to_Nx8_param_Drago, map_float_to_Nx16_param_Drago;

/// A quotient of two straight lines, p * T * x / (x * p - x + Lmax), where Lmax becomes T and p
/// says how steep the curve begins; the numerator and the quotient are computed in double. The
/// result is cut toward zero and its low byte is stored, also in 16 bits: it is not clipped, and
/// negative samples wrap (of samples from 1 to 100, -1 becomes 242 with 8 bits).
///
/// p is (x / G / 2 + 1 / 2) * P with G = sqrt(Lmin * Lmax) and P = Lmax * 30 / 255 / Lmin. For
/// `Nx16` 30 / T stands for 30 / 255, divided in whole numbers: 30 of one component, 10 of two, 4,
/// 2, and 0 from five on, where p is 0 and so is everything.
QM_API ToneKernel map_float_to_Nx8_Tumblin, map_float_to_Nx16_Tumblin;
/// p is `uiParam`, the same for all samples: 1 is a straight line, T * x / Lmax. 0 gives 0.
QM_API ToneParamKernel map_float_to_Nx8_param_Tumblin, map_float_to_Nx16_param_Tumblin;
