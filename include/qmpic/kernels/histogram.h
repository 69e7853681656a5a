#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// Counting: for every component a block of bins, one for each value, and one more block for the
/// intensity of the pixels, the truncated mean of their components ((b + g + r) / 3).
///
/// Counts are added to what is in the bins; they wrap, nothing clears them. Names say the layout of
/// the picture; `x8` are bytes with 256 bins a block, `x16` words of 9 to 16 bits with 2^uiBpc
/// bins. Words of 9 to 15 bits lose their upper bits first: at 12 bits 0x1005 counts in bin 5.
///
/// @param pBins, ppComp   the only block, or an array with one for each component
/// @param pIntensity      the block of the intensity
/// @param uiBinBytes      bytes of a bin, 4 or 8
/// @param pSrc            first byte of the picture, any address
/// @param uiWidthBytes    bytes from row to row
/// @param uiStepX,uiStepY every n-th pixel of every n-th row is counted, beginning with the first;
///                        0 is 1
/// @param uiBpc           depth of words
/// @param uiWidth         pixels in a row, above 0
/// @param uiSizeInPixels  pixels in the area; an incomplete last row does not count
/// @return 0, also without a whole row; then -9 (gethistogramint_N* only) without components; then
///         -2 for bins of another size, and in `x16` for a depth that is not 9 to 16. Null bins
///         count nothing. Everything runs in the calling thread.
///
/// Bins may lie at any address that is not the picture's.

// Each component into its own block.
using Histogram1x8Kernel = int(void* pBins, uint32_t uiBinBytes, const void* pSrc,
                               uint32_t uiWidthBytes, uint32_t uiStepX, uint32_t uiStepY,
                               uint32_t uiWidth, uint64_t uiSizeInPixels);
using Histogram1x16Kernel = int(void* pBins, uint32_t uiBinBytes, const void* pSrc,
                                uint32_t uiWidthBytes, uint32_t uiStepX, uint32_t uiStepY,
                                uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels);
using Histogram3x8Kernel = int(void** ppComp, uint32_t uiBinBytes, const void* pSrc,
                               uint32_t uiWidthBytes, uint32_t uiStepX, uint32_t uiStepY,
                               uint32_t uiWidth, uint64_t uiSizeInPixels);
using Histogram3x16Kernel = int(void** ppComp, uint32_t uiBinBytes, const void* pSrc,
                                uint32_t uiWidthBytes, uint32_t uiStepX, uint32_t uiStepY,
                                uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels);
using HistogramNx8Kernel = int(void** ppComp, uint32_t uiBinBytes, const void* pSrc,
                               uint32_t uiComponents, uint32_t uiWidthBytes, uint32_t uiStepX,
                               uint32_t uiStepY, uint32_t uiWidth, uint64_t uiSizeInPixels);
using HistogramNx16Kernel = int(void** ppComp, uint32_t uiBinBytes, const void* pSrc,
                                uint32_t uiComponents, uint32_t uiWidthBytes, uint32_t uiStepX,
                                uint32_t uiStepY, uint32_t uiBpc, uint32_t uiWidth,
                                uint64_t uiSizeInPixels);
QM_API Histogram1x8Kernel gethistogram_1x8;
QM_API Histogram1x16Kernel gethistogram_1x16;
QM_API Histogram3x8Kernel gethistogram_3x8, gethistogram_4x8;
QM_API Histogram3x16Kernel gethistogram_3x16, gethistogram_4x16;
QM_API HistogramNx8Kernel gethistogram_Nx8;
QM_API HistogramNx16Kernel gethistogram_Nx16;

/// Components `uiFirstComp` to `uiComponents` - 1 only; the blocks of the others may be null.
/// @param uiBpc 8 (bytes) or 9 to 16; with another depth nothing is counted and the result is 0
using HistogramCompKernel = int(void** ppComp, uint32_t uiBinBytes, const void* pSrc,
                                uint32_t uiFirstComp, uint32_t uiComponents, uint32_t uiWidthBytes,
                                uint32_t uiStepX, uint32_t uiStepY, uint32_t uiBpc,
                                uint32_t uiWidth, uint64_t uiSizeInPixels);
QM_API HistogramCompKernel gethistogram_Nx16_comp;

// The same and the intensity; upper bits are gone before the components are added.
using HistogramInt3x8Kernel = int(void** ppComp, void* pIntensity, uint32_t uiBinBytes,
                                  const void* pSrc, uint32_t uiWidthBytes, uint32_t uiStepX,
                                  uint32_t uiStepY, uint32_t uiWidth, uint64_t uiSizeInPixels);
using HistogramInt3x16Kernel = int(void** ppComp, void* pIntensity, uint32_t uiBinBytes,
                                   const void* pSrc, uint32_t uiWidthBytes, uint32_t uiStepX,
                                   uint32_t uiStepY, uint32_t uiBpc, uint32_t uiWidth,
                                   uint64_t uiSizeInPixels);
using HistogramIntNx8Kernel = int(void** ppComp, void* pIntensity, uint32_t uiBinBytes,
                                  const void* pSrc, uint32_t uiComponents, uint32_t uiWidthBytes,
                                  uint32_t uiStepX, uint32_t uiStepY, uint32_t uiWidth,
                                  uint64_t uiSizeInPixels);
using HistogramIntNx16Kernel = int(void** ppComp, void* pIntensity, uint32_t uiBinBytes,
                                   const void* pSrc, uint32_t uiComponents, uint32_t uiWidthBytes,
                                   uint32_t uiStepX, uint32_t uiStepY, uint32_t uiBpc,
                                   uint32_t uiWidth, uint64_t uiSizeInPixels);
QM_API HistogramInt3x8Kernel gethistogramint_3x8, gethistogramint_4x8;
QM_API HistogramInt3x16Kernel gethistogramint_3x16, gethistogramint_4x16;
QM_API HistogramIntNx8Kernel gethistogramint_Nx8;
QM_API HistogramIntNx16Kernel gethistogramint_Nx16;

/// Only pixels whose mask is not 0: `bin` takes a mask of bytes, `bin16` one of words, whatever the
/// picture is. It is read at the places of the counted pixels. What differs from the above:
///  - the intensity of words adds them with their upper bits; a mean behind the block counts
///    nothing. Two words 0x1005 and 0x0003 at 12 bits count in bins 5, 3 and 0x804;
///  - `N` counts each pixel **outside** of the mask in bin 0 of the intensity, which the forms for
///    1, 3 and 4 components do not;
///  - the only component of `1x` counts in `pIntensity`.
///
/// @param pMask            first byte of the mask, any address
/// @param uiMaskWidthBytes bytes from row to row of it
using HistogramBin1x8Kernel = int(void* pIntensity, uint32_t uiBinBytes, const void* pSrc,
                                  uint32_t uiWidthBytes, const void* pMask,
                                  uint32_t uiMaskWidthBytes, uint32_t uiStepX, uint32_t uiStepY,
                                  uint32_t uiWidth, uint64_t uiSizeInPixels);
using HistogramBin1x16Kernel = int(void* pIntensity, uint32_t uiBinBytes, const void* pSrc,
                                   uint32_t uiWidthBytes, const void* pMask,
                                   uint32_t uiMaskWidthBytes, uint32_t uiStepX, uint32_t uiStepY,
                                   uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels);
using HistogramBin3x8Kernel = int(void** ppComp, void* pIntensity, uint32_t uiBinBytes,
                                  const void* pSrc, uint32_t uiWidthBytes, const void* pMask,
                                  uint32_t uiMaskWidthBytes, uint32_t uiStepX, uint32_t uiStepY,
                                  uint32_t uiWidth, uint64_t uiSizeInPixels);
using HistogramBin3x16Kernel = int(void** ppComp, void* pIntensity, uint32_t uiBinBytes,
                                   const void* pSrc, uint32_t uiWidthBytes, const void* pMask,
                                   uint32_t uiMaskWidthBytes, uint32_t uiStepX, uint32_t uiStepY,
                                   uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels);
using HistogramBinNx8Kernel = int(void** ppComp, void* pIntensity, uint32_t uiBinBytes,
                                  const void* pSrc, uint32_t uiComponents, uint32_t uiWidthBytes,
                                  const void* pMask, uint32_t uiMaskWidthBytes, uint32_t uiStepX,
                                  uint32_t uiStepY, uint32_t uiWidth, uint64_t uiSizeInPixels);
using HistogramBinNx16Kernel = int(void** ppComp, void* pIntensity, uint32_t uiBinBytes,
                                   const void* pSrc, uint32_t uiComponents, uint32_t uiWidthBytes,
                                   const void* pMask, uint32_t uiMaskWidthBytes, uint32_t uiStepX,
                                   uint32_t uiStepY, uint32_t uiBpc, uint32_t uiWidth,
                                   uint64_t uiSizeInPixels);
QM_API HistogramBin1x8Kernel gethistogrambin_1x8, gethistogrambin16_1x8;
QM_API HistogramBin1x16Kernel gethistogrambin_1x16, gethistogrambin16_1x16;
QM_API HistogramBin3x8Kernel gethistogrambin_3x8, gethistogrambin_4x8;
QM_API HistogramBin3x8Kernel gethistogrambin16_3x8, gethistogrambin16_4x8;
QM_API HistogramBin3x16Kernel gethistogrambin_3x16, gethistogrambin_4x16;
QM_API HistogramBin3x16Kernel gethistogrambin16_3x16, gethistogrambin16_4x16;
QM_API HistogramBinNx8Kernel gethistogrambin_Nx8, gethistogrambin16_Nx8;
QM_API HistogramBinNx16Kernel gethistogrambin_Nx16, gethistogrambin16_Nx16;

/// Fewer bins than values: value >> (uiBpc - uiHistoBits) counts, of words (`x16`) or of 32-bit
/// words (`x32`). The shift is modulo 64, and upper bits are not cut off: what falls behind the
/// block counts nothing. Depths are not tested. Kept as they have always been:
///  - `3x16` and `Nx16` find row r at word r * uiWidthBytes / 4: they count the upper half of the
///    picture twice and never see its lower half. The others find their rows;
///  - `N` ends a row 3 * uiWidth words after its start, whatever N is, so that four components lose
///    a quarter of it, and two run into the next row; a pixel that is not wholly within the
///    picture's last row is not counted;
///  - `N` with bins of 8 bytes counts nothing. For each component c of a pixel entry c of `ppComp`
///    is copied to entry 0, and then 8 is added to the pointer in the entry of the shifted value,
///    if there is one. Use 4.
///
/// @param uiHistoBits a block has 2^uiHistoBits bins
using HistogramDiv1Kernel = int(void* pBins, uint32_t uiBinBytes, uint32_t uiHistoBits,
                                const void* pSrc, uint32_t uiWidthBytes, uint32_t uiStepX,
                                uint32_t uiStepY, uint32_t uiBpc, uint32_t uiWidth,
                                uint64_t uiSizeInPixels);
using HistogramDiv3Kernel = int(void** ppComp, uint32_t uiBinBytes, uint32_t uiHistoBits,
                                const void* pSrc, uint32_t uiWidthBytes, uint32_t uiStepX,
                                uint32_t uiStepY, uint32_t uiBpc, uint32_t uiWidth,
                                uint64_t uiSizeInPixels);
using HistogramDivNKernel = int(void** ppComp, uint32_t uiBinBytes, uint32_t uiHistoBits,
                                const void* pSrc, uint32_t uiComponents, uint32_t uiWidthBytes,
                                uint32_t uiStepX, uint32_t uiStepY, uint32_t uiBpc,
                                uint32_t uiWidth, uint64_t uiSizeInPixels);
QM_API HistogramDiv1Kernel gethistogramdiv_1x16, gethistogramdiv_1x32;
QM_API HistogramDiv3Kernel gethistogramdiv_3x16, gethistogramdiv_3x32;
QM_API HistogramDivNKernel gethistogramdiv_Nx16, gethistogramdiv_Nx32;

/// Adds blocks of 2^uiBits bins to others, bin by bin: the intensity's, if there is one, then each
/// component's, unless the first component's block is the intensity's. Null blocks are passed over.
/// @return 0, also for bins that have neither 4 nor 8 bytes; nothing is done then
using HistoAddKernel = int(const void* pSrcIntensity, void** ppSrcComp, void* pDstIntensity,
                           void** ppDstComp, uint32_t uiBits, uint32_t uiComponents,
                           uint32_t uiBinBytes);
QM_API HistoAddKernel histo_add;
