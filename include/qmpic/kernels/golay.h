#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// Savitzky-Golay filters: in a window around each sample a polynomial is fitted along a row or a
/// column, and the sample becomes what the polynomial says of it: its value (`golay_smooth`), or
/// its slope (`golay_edge`). Unlike a mean this keeps the height of peaks that are as narrow as the
/// window. Half-width and order are free, and nothing is lost at the borders of the picture: there
/// the window stays within it, and the fit is read off its side.
///
/// Weights are whole numbers of 1/1024 (1/65535 in `golay_edge*_Nx16`), and sums have 32 bits,
/// beyond which they wrap. Two roundings are meant to differ: inside, the product of sample and
/// exact weight is cut; in the outer `iHalfWidth` columns or rows, the weight. So 200 in a window
/// of 5 of order 2 weighs, 2 beside the middle, 200 * -3/35 * 1024 = -17554.3, cut to -17554, and
/// with the weight cut before, to -87, -17400. Therefore slopes of a constant picture are 0 inside,
/// but may be some levels at the border (1 at 8 bits, half-width 4, order 2, all 255).
///
/// Everything runs in the calling thread. The destination may be the source; any other overlap is
/// the caller's fault. Gaps between rows are neither read nor written.
///
/// Savitzky and Golay, Analytical Chemistry 36 (1964) 1627; weights of any half-width, order and
/// place in the window by Gram polynomials: Gorry, Analytical Chemistry 62 (1990) 570.

/// @param pDst         first byte; any address, as for the source
/// @param uiWidth      pixels in a row, of the window at least
/// @param uiHeight     rows, of the window at least
/// @param uiWidthBytes bytes from row to row, of both pictures
/// @param uiComponents each is filtered by itself; `1x8` has one, and does not read this
/// @param iHalfWidth   the window has 2 * iHalfWidth + 1 samples
/// @param uiOrder      degree of the polynomial; 2 * iHalfWidth, with which smoothing changes
///                     nothing but by its rounding, stands for all that is more. Negative as an
///                     int, all weights are 0.
/// @return 0; also when `iHalfWidth` is below 1 or a pointer null, and then nothing is written. -9
///         when memory runs out, or the window does not fit into the picture in width and height,
///         whichever way it is filtered; nothing is written then either.
using GolayKernel8 = int(void* pDst, const void* pSrc, uint32_t uiWidth, uint32_t uiHeight,
                         uint32_t uiWidthBytes, uint32_t uiComponents, int iHalfWidth,
                         uint32_t uiOrder);

/// @param uiBpc 9 to 16; bits above them are not meant to be set
using GolayKernel16 = int(void* pDst, const void* pSrc, uint32_t uiWidth, uint32_t uiHeight,
                          uint32_t uiWidthBytes, uint32_t uiBpc, uint32_t uiComponents,
                          int iHalfWidth, uint32_t uiOrder);

/// Smooths along the rows and then along the columns, each time rounded down and limited to 0 and
/// the greatest value. With half-width 2, order 0 is the mean of 5, and order 2 weighs by -3, 12,
/// 17, 12, -3 over 35. Overshoot beside steps is cut at black and white.
QM_API GolayKernel8 golay_smooth_1x8, golay_smooth_Nx8;
QM_API GolayKernel16 golay_smooth_Nx16;

/// The slope along the rows, without its sign. At 8 bits it is 1024 times that by which a sample
/// differs from the next, over 256 and limited to 255: steps of 10 give 40, or 39 where products
/// were cut. `Nx16` shifts 65535 times the slope by `uiBpc`: at 12 bits, steps of 10 give 159.
QM_API GolayKernel8 golay_edgeX_1x8, golay_edgeX_Nx8;
QM_API GolayKernel16 golay_edgeX_Nx16;

/// The same along the columns.
QM_API GolayKernel8 golay_edgeY_1x8, golay_edgeY_Nx8;
QM_API GolayKernel16 golay_edgeY_Nx16;

/// The greater of both.
QM_API GolayKernel8 golay_edgeXY_1x8, golay_edgeXY_Nx8;
QM_API GolayKernel16 golay_edgeXY_Nx16;
