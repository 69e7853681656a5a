#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// Linear correlation (Pearson's coefficient) of two pictures, component by component.
///
/// A name ends in its layout: `3x16` is three components in 16-bit words, `N` any number of them;
/// `8_16` reads bytes in the first picture and words in the second. Samples are taken as they are
/// stored, bits above the depth included.
///
/// Of each component five sums are made, row by row and pixel by pixel, as doubles: S1 and S2 of
/// the samples of the first and the second picture, Q1 and Q2 of their squares, and P of their
/// products. With n = `uiSize`
///
///     V = (Q2 - S2 * S2 / n) * (Q1 - S1 * S1 / n)
///     r = (P - S2 * S1 / n) / sqrt(V)
///
/// and the component counts if V is above 0. The result is the mean of r over the components that
/// count, and 0.0 if there are none (a constant picture) or if that mean is negative. So samples
/// 1, 2, 3 with 1, 2, 4 give 0.98198, and with 3, 2, 1 they give 0.
///
/// Everything runs in the calling thread, and nothing is allocated. Sums beyond 2^53 are rounded
/// after each pixel, which begins with two million pixels at the top of 16 bits.

/// @param pA            first byte of the first picture; any address
/// @param uiWidthBytesA bytes from row to row of it; gaps between the rows are not read
/// @param pB            the second picture, with pixels of as many components
/// @param uiWidth       pixels in a row; 0 is no pixels
/// @param uiSize        pixels in the area, in 32 bits. An incomplete last row is not visited, and
///                      yet n is all of this number
/// @param dResult       0.0 to 1.0, but for rounding
/// @return 0; -4 for a size of 0, and a result of 0.0. Null pointers are for the entries.
using CorrelationKernel = int(const void* pA, uint32_t uiWidthBytesA, const void* pB,
                              uint32_t uiWidthBytesB, uint32_t uiWidth, uint32_t uiSize,
                              double& dResult);
// clang-format off
QM_API CorrelationKernel
    linar_correlation_1x8, linar_correlation_1x16, linar_correlation_1x8_16,
    linar_correlation_3x8, linar_correlation_3x16, linar_correlation_3x8_16;
// clang-format on

/// The same for any number of components.
///
/// @param uiComponents components of a pixel; 0 is none, and gives 0.0
/// @param puiCompMask  bit c of word c / 64 set: component c takes part; null: all do. It has to
///                     hold a bit for each component.
/// @return 0; -4 for a size of 0, and a result of 0.0. The other arguments are those of
///         CorrelationKernel.
using CorrelationNKernel = int(const void* pA, uint32_t uiWidthBytesA, const void* pB,
                               uint32_t uiWidthBytesB, uint32_t uiComponents, uint32_t uiWidth,
                               uint32_t uiSize, double& dResult, const uint64_t* puiCompMask);
QM_API CorrelationNKernel linar_correlation_Nx8, linar_correlation_Nx16, linar_correlation_Nx8_16;

/// The same for floats, whose rows are found as everywhere in pictures of floats: a stride counts
/// whole floats only, and row addresses wrap beyond 4 GiB. A NaN in a component makes V one, so
/// that the component does not count.
QM_API CorrelationNKernel linar_correlation_Nx32;
