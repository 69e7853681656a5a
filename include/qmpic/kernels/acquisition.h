#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// A threshold by the shape of what it cuts out, and the repair of histograms that a gain has torn.
/// Everything runs in the calling thread.

/// The level at which the objects of a component are roundest.
///
/// The area of level t is the number of pixels that are at or above it (at or below it, of dark
/// objects), and its boundary the number of those that have a neighbour, among eight, which is not.
/// The score is boundary * boundary / area, the least of which is the roundest: disks of equal size
/// have a lower one than squares, lines the greatest. Only interior pixels count, all but the first
/// and last row and column.
///
/// @param pData        first byte, the first component; any address
/// @param uiComponents samples from pixel to pixel
/// @param uiWidthBytes bytes from row to row; gaps are not read
/// @param uiWidth      pixels in a row
/// @param uiSize       pixels in all; an incomplete last row does not count
/// @param bBright      objects are brighter than what is around them
/// @param dMinArea     levels count whose area is above N * dMinArea and below N * (1 - dMaxArea),
///                     both rounded, with N interior pixels: with 0.1 and 0.1 of 1000 pixels areas
///                     of 101 to 899
/// @param dMaxArea     see there
/// @return the lowest level of the least score; 0 when there is none, so for a flat picture, of
///         which any area is nothing or everything, and for fewer than three rows or columns. -3 as
///         an unsigned number without memory.
///
/// `_8` looks at 256 levels of bytes, `_16` at 65536 of words.
using CircularityKernel = unsigned int(const void* pData, uint32_t uiComponents,
                                       uint32_t uiWidthBytes, uint32_t uiWidth, uint32_t uiSize,
                                       bool bBright, double dMinArea, double dMaxArea);
QM_API CircularityKernel threshold_from_integral_circularity_8,
    threshold_from_integral_circularity_16;

/// The same for the pixels that the mask and its eight neighbours select: nine samples of the mask
/// that are all `uiMaskValue`, or none of which is. N is the number of these pixels. The first
/// number of a name is that of the picture's bits, the second that of the mask's, which has one
/// component.
///
/// @param uiBpc levels are those below 2^uiBpc: a pixel above has no part in any area, but in N
using MaskedCircularityKernel = unsigned int(const void* pData, uint32_t uiBpc,
                                             uint32_t uiComponents, uint32_t uiWidthBytes,
                                             const void* pMask, uint32_t uiMaskWidthBytes,
                                             uint32_t uiWidth, uint32_t uiSize, bool bBright,
                                             double dMinArea, double dMaxArea, uint32_t uiMaskValue,
                                             bool bMaskEqual);
QM_API MaskedCircularityKernel threshold_from_integral_circularity_mask_8_8,
    threshold_from_integral_circularity_mask_8_16, threshold_from_integral_circularity_mask_16_8,
    threshold_from_integral_circularity_mask_16_16;

/// Fills the gaps that a gain leaves in a histogram: short runs of low bins between high ones get a
/// straight line.
///
/// A bin is low when it is below F = max(sum / bins / 20, 10), whole numbers all. A histogram that
/// has runs of 11 other bins, counted one behind the other, more often than bins / 50 is a normal
/// one and stays: more than 5 such runs with 8 bits. Else each run of one to nine low bins whose
/// two ends, the bins before and behind it, both exceed 5 * F becomes a line between these, cut to
/// whole numbers: 100, 0, 0, 70 becomes 100, 90, 80, 70. A run of ten and more stays, and the bin
/// behind it does not begin the next one. The first and the last bin are no ends.
///
/// @param pHistogram 2^uiBits bins at any address
/// @param uiBinBytes 4 or 8; nothing is done with another number
/// @param uiBits     8 to 16
/// @return 0, also without memory for the work, which is left out then
using GainedProblemKernel = int(void* pHistogram, uint32_t uiBinBytes, uint32_t uiBits);
QM_API GainedProblemKernel gainedproblem_1;

/// The same for histogram `uiComponent` of several.
using GainedProblemCompKernel = int(void** ppHistograms, uint32_t uiComponent, uint32_t uiBinBytes,
                                    uint32_t uiBits);
QM_API GainedProblemCompKernel gainedproblem_N;
