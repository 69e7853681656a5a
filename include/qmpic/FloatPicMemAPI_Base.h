#pragma once

#include <cstdint>

#include "qmpic/export.h"
#include "qmpic/kernels/float.h"

/// Operations on raw memory of floats. Results are codes of qmpic/status.h unless said otherwise.
///
/// Rows are found by an index of floats that is made in 32 bits, (y * stride) / 4: strides count
/// whole floats only, and pictures of 4 GiB and more wrap. Pixels may lie at any address.
class QM_API CQmFloatPicMemAPI_Base {
  public:
    // ----- Sample by sample ----------------------------------------------------------------------

    static int Abs(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrc,
                   std::uint32_t uiSrcWidthBytes, std::uint32_t uiComponents, std::uint32_t uiWidth,
                   std::uint64_t uiSizeInPixels);

    // ----- Statistics ----------------------------------------------------------------------------

    static int GetFloatMinMax(const float* pData, std::uint32_t uiWidthBytes,
                              std::uint32_t uiComponents, std::uint32_t uiWidth,
                              std::uint64_t uiSizeInPixels, float* pfMin, float* pfMax);
    static int GetFloatMinMaxInComps(const float* pData, std::uint32_t uiWidthBytes,
                                     std::uint32_t uiComponents, std::uint32_t uiWidth,
                                     std::uint64_t uiSizeInPixels, float* pfMin, float* pfMax);

    // ----- Moves and conversion ------------------------------------------------------------------

    static int Copy(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrc,
                    std::uint32_t uiSrcWidthBytes, std::uint32_t uiComponents,
                    std::uint32_t uiWidth, std::uint64_t uiSizeInPixels);
    static int CopyComponent(float* pDst, std::uint32_t uiDstComponents,
                             std::uint32_t uiDstWidthBytes, std::uint32_t uiDstComponent,
                             const float* pSrc, std::uint32_t uiSrcComponents,
                             std::uint32_t uiSrcWidthBytes, std::uint32_t uiSrcComponent,
                             std::uint32_t uiWidth, std::uint64_t uiSizeInPixels);
    static int ConvertPictureToFloat(float* pDst, std::uint32_t uiDstWidthBytes, const void* pSrc,
                                     std::uint32_t uiSrcWidthBytes, std::uint32_t uiBpc,
                                     std::uint32_t uiComponents, std::uint32_t uiWidth,
                                     std::uint32_t uiHeight);

    // ----- Two-dimensional histograms ------------------------------------------------------------

    /// Counts the pairs of values of two components into 65536 bins of `uiBinBytes` (4 or 8) bytes,
    /// bin 256 * first + second, where a value's step is (value - fMin) * (255 / (fMax - fMin)),
    /// toward zero. With 0 and 1 the pair (0.5, 1) is bin 127 * 256 + 255. Values are not compared
    /// with the limits: what falls outside of the bins is not counted, NaN neither. Nothing is
    /// counted with any other number of bytes. The reserved arguments are not read.
    /// @return 0; -4 for null memory, a width or size of 0, or a component that is not below
    ///         `uiComponents`
    static int GetHistogram2DEx(void* pBins, std::uint32_t uiBinBytes, const float* pSrc,
                                std::uint32_t uiSrcWidthBytes, std::uint32_t uiComponents,
                                float fMin, float fMax, std::uint32_t uiCompA,
                                std::uint32_t uiCompB, std::uint32_t uiReservedX,
                                std::uint32_t uiReservedY, std::uint32_t uiWidth,
                                std::uint64_t uiSizeInPixels);
    /// The same for the pixels whose mask byte is not 0; a null mask counts nothing.
    static int GetHistogram2DUnderMask(void* pBins, std::uint32_t uiBinBytes, const float* pSrc,
                                       std::uint32_t uiSrcWidthBytes, std::uint32_t uiComponents,
                                       float fMin, float fMax, std::uint32_t uiCompA,
                                       std::uint32_t uiCompB, const unsigned char* pMask,
                                       std::uint32_t uiMaskWidthBytes, std::uint32_t uiReservedX,
                                       std::uint32_t uiReservedY, std::uint32_t uiWidth,
                                       std::uint64_t uiSizeInPixels);
    /// Always -2.
    static int GetHistogram2DUnderBinary(void* pBins, std::uint32_t uiBinBytes, const float* pSrc,
                                         std::uint32_t uiSrcWidthBytes, std::uint32_t uiComponents,
                                         float fMin, float fMax, std::uint32_t uiCompA,
                                         std::uint32_t uiCompB, const unsigned char* pMask,
                                         std::uint32_t uiMaskWidthBytes, std::uint32_t uiReservedX,
                                         std::uint32_t uiReservedY, std::uint32_t uiWidth,
                                         std::uint64_t uiSizeInPixels);
};
