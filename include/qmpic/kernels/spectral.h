#pragma once

#include <cstdint>
#include <vector>

#include "qmpic/export.h"
#include "qmpic/system/RangeBase.h"

class SQmLut;

/// @file
/// Pictures of many components, each a band of the spectrum, shown as the sum of their colours.
///
/// The sets are parametric: `pParams` has a record for each component. With x its sample, a band
/// adds t = (x + `dOffset`) * `dGain` times the three bytes of `uiColor`, each divided by 255, to
/// the cells blue, green and red, in single precision and in the order of the components; nothing
/// is merged. The bands concerned are those from the lowest to the highest that the set's mask
/// selects. One between them that is **not selected counts as a sample of 0**: it still adds offset
/// times gain. What lies outside of these bands does not count, and nothing behind a row's last
/// sample is read. Without a selected band the sums are 0.
///
/// Kernels do not test pointers, and `pLut` needs a record in `pParams` for each component. Working
/// arrays are allocated.

/// One pixel of 3 x 8 bits from each source pixel: each sum is multiplied by 1 / top of the source
/// depth, then, in the `_sse` members alone and if the gamma of the *first* record is not 1 in
/// single precision, replaced by std::pow(sum, gamma) where it is above 0, then multiplied by 255,
/// limited to 0 to 255 and cut; what is no number is 0. Each step is rounded, so that of 16 bits a
/// white sample of 257 is 0 and not 1. If `iPredefLut` is not -1 and there is such a table (for the
/// range from -`dOffset` to 2^`uiSrcBpc` / `dGain` - `dOffset` of the first record), the results
/// are looked up there: blue, green and red are the colours of entries blue, green and red.
///
/// Three bands of 12 bits, gain 1, with the colours 0x0000FF, 0x00FF00 and 0xFF00FF: the pixel
/// (2048, 0, 1024) is blue 63, green 0, red 191.
///
/// `_sse_overexp_underexp`: with an exposure colour in the set, bands are tested in ascending
/// order. A selected band with a sample of 0 shows its under-exposure colour, and one whose sample
/// **equals** its threshold (`pOverExpValue`, or top; cut to the storage) its over-exposure
/// colour; the first that is met is the pixel. A colour that is flagged is the inverse of the
/// band's colour at full brightness. Rows are shared among as many threads as there are
/// processors. The name is kept; all processor levels give the same bits.
///
/// `_float`: without gamma and exposure, in the calling thread.
///
/// `_float_overexp`: the same, but a pixel with any selected sample equal to top, whatever the
/// thresholds are, has the colour of the first entry of `pOverExpColor`, flagged or not; null shows
/// none.
///
/// @param pDst, pSrc      first bytes; any address
/// @param uiDstWidthBytes, uiSrcWidthBytes bytes from row to row of each; gaps are not touched
/// @param uiSrcBpc        significant bits of the source; samples are bytes or words by the name
/// @param uiWidth         pixels in a row, above 0
/// @param uiSizeInPixels  pixels in the area; an incomplete last row does not count
/// @return 0; -3 when there is no memory, with nothing written
using SpectralRenderKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                 uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, uint32_t uiComponents,
                                 const SQmLut* pLut, uint32_t uiWidth, uint64_t uiSizeInPixels);
QM_API SpectralRenderKernel spect_render_Nx8_3x8_float, spect_render_Nx16_3x8_float,
    spect_render_Nx8_3x8_float_overexp, spect_render_Nx16_3x8_float_overexp,
    spect_render_Nx8_3x8_sse_overexp_underexp, spect_render_Nx16_3x8_sse_overexp_underexp;

/// The same to words of `uiDstBpc` bits: top of that depth stands for 255. A table is looked up by
/// the upper 8 bits of a result and gives the upper 8 bits of a cell. Exposure colours are words;
/// the inverse of a colour byte b is (255 - b) * 2^`uiDstBpc` / 256.
using SpectralRenderTo16Kernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                     uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                     uint32_t uiComponents, const SQmLut* pLut, uint32_t uiWidth,
                                     uint64_t uiSizeInPixels, uint32_t uiDstBpc);
QM_API SpectralRenderTo16Kernel spect_render_Nx8_3x16_float, spect_render_Nx16_3x16_float,
    spect_render_Nx8_3x16_sse_overexp_underexp, spect_render_Nx16_3x16_sse_overexp_underexp;

/// Offset and gain applied to the selected components in place; see
/// CQmPicMemAPI_Base::SpectralApplyLuts. In the calling thread.
using SpectralApplyKernel = int(void* pData, uint32_t uiComponents, uint32_t uiBpc,
                                uint32_t uiWidthBytes, const SQmLut* pLut, uint32_t uiWidth,
                                uint64_t uiSizeInPixels);
QM_API SpectralApplyKernel spect_luts_apply_Nx8_float, spect_luts_apply_Nx16_float;

/// A float picture whose channels are merged like the channels of a composition: the value of a
/// selected component is ((x + offset) * gain) * (1 / (hi - lo)), hi and lo being
/// SQmLutParam::GetMaxFromFloatRanges and GetMinFromFloatRanges (0 and 1 where both are 0). If the
/// gamma of any selected component is not 1 in single precision, each value above 0 is replaced by
/// its power to its component's gamma. With c = value times the byte of the colour, a cell a
/// becomes (a + c) - (a * c) * 0.003921569f, from 0, in ascending order; it is limited to 0 to 255,
/// NaN to 0, cut, and looked up as in SpectralRenderKernel, in a table for the range from -offset
/// to (hi - lo) / gain - offset of the first record. All in single precision. In the calling
/// thread, or with `bParallel` of the set on as many threads as there are processors.
///
/// @param ranges  limits of each component
/// @return 0; -3 when there is no memory, with nothing written
using FloatRenderKernel = int(void* pDst, uint32_t uiDstWidthBytes, const float* pSrc,
                              uint32_t uiSrcWidthBytes, uint32_t uiComponents, const SQmLut* pLut,
                              uint32_t uiWidth, uint64_t uiSizeInPixels,
                              const std::vector<CQmRangeBase<float>>& ranges);
QM_API FloatRenderKernel nonspect_render_NxFloat_3x8_float;
