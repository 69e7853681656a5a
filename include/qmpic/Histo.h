#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "qmpic/PicBuf.h"
#include "qmpic/export.h"

struct SQmFloatPicBuf;

/// Counts of values: 2^uiBits bins for each component and, where there are several, for the
/// intensity, the truncated mean of a pixel's components. A plain record without constructor or
/// destructor: CQmHistoAPI_Base::Init, Reinit32 or Reinit64 and Free manage its two arrays, which
/// are CQmAlloc's.
///
/// With one component there is one block of bins, and `pData` and `ppCompData[0]` are the same
/// address. With more the intensity's block stands at `pData`, and component c's, `ppCompData[c]`,
/// is block c + 1 behind it.
struct SQmHisto {
    void* pData;               ///< all blocks, in one allocation
    void** ppCompData;         ///< start of each component's block
    std::uint32_t uiBinBytes;  ///< bytes of a bin: 4 or 8
    std::uint32_t uiComponents;
    std::uint32_t uiBits;     ///< a block holds 2^uiBits bins
    std::uint32_t uiRoiMode;  ///< 0 counts the whole picture, 1 the rectangle, others nothing
    std::uint32_t uiLeft;     ///< the rectangle, in pixels and rows
    std::uint32_t uiTop;
    std::uint32_t uiWidth;
    std::uint32_t uiHeight;
    std::uint32_t uiStepX;     ///< every n-th pixel of a row is counted
    std::uint32_t uiStepY;     ///< every n-th row is counted
    std::uint32_t uiPicWidth;  ///< the picture's size when the record was last made
    std::uint32_t uiPicHeight;
};

static_assert(std::is_standard_layout_v<SQmHisto> && sizeof(SQmHisto) == 64);
static_assert(offsetof(SQmHisto, ppCompData) == 8 && offsetof(SQmHisto, uiBinBytes) == 16);
static_assert(offsetof(SQmHisto, uiRoiMode) == 28 && offsetof(SQmHisto, uiPicHeight) == 60);

/// Operations on histograms. Results are codes of qmpic/status.h unless said otherwise.
class QM_API CQmHistoAPI_Base {
  public:
    // ----- The record ----------------------------------------------------------------------------

    /// Makes all fields 0 and the two steps 1; releases nothing. A record is fit for use after
    /// this, but counts nothing before Reinit32 or Reinit64.
    static void Init(SQmHisto* pHisto);
    /// Makes the record one of 4-byte bins for pictures of a format: its components, 2^depth bins
    /// (at most 2^16) and its size, which becomes the rectangle's size too. Old counts stay at the
    /// beginning of the memory, and what is new is 0. A record of this depth, these components and
    /// 4-byte bins is left as it is, the size of an earlier picture included.
    /// @return 0, also when there is no memory (`pData` is null then); -9 for null
    static int Reinit32(SQmHisto* pHisto, const SQmPicBufDesc* pDesc);
    /// The same with bins of 8 bytes, and as many as the depth asks for: 2^24 of 24 bits. But a
    /// record of this depth and these components that has bins of *4* bytes is left as it is, even
    /// without memory; one of 8 is made anew every time.
    static int Reinit64(SQmHisto* pHisto, const SQmPicBufDesc* pDesc);
    /// Releases both arrays. The other fields stay.
    static void Free(SQmHisto* pHisto);
    /// Makes the bins of all blocks 0.
    static void ResetToZero(SQmHisto* pHisto);
    /// Copies counts and all other fields. The destination's memory is made anew if its format
    /// differs.
    /// @return 0; -9 when a record or the source's memory is null, or when there is no memory: the
    ///         destination has none then
    static int Copy(SQmHisto* pDst, const SQmHisto* pSrc);
    /// Adds the source's counts, wrapping at the width of *its* bins: from 4-byte bins into 8-byte
    /// bins, bin i goes to the i-th 4 bytes of a block.
    /// @return 0, also for records without memory; -9 when bits or components differ, for 8-byte
    ///         bins into narrower ones, or for null
    static int Add(SQmHisto* pDst, const SQmHisto* pSrc);
    /// The count of a component's bin. The intensity's of several components is not reached here.
    /// @return the count; or, as a 64-bit number with all upper bits set, -4 when the record is
    ///         null, has no memory, or has no such component or bin, -9 when `uiBinBytes` is
    ///         neither 4 nor 8
    static std::uint64_t GetValue(const SQmHisto* pHisto, std::uint32_t uiComp,
                                  std::uint32_t uiIndex);

    // ----- Counting ------------------------------------------------------------------------------

    static int Calculate(SQmHisto* pHisto, const SQmPicBuf* pBuf, bool bReset);
    static int Calculate(SQmHisto* pHisto, SQmFloatPicBuf* pBuf, bool bReset);

    // ----- Statistics ----------------------------------------------------------------------------

    static int GetLowHigh(const SQmHisto* pHisto, std::uint32_t* puiLow, std::uint32_t* puiHigh,
                          double dLow, double dHigh);
    static int GetLowHigh(const SQmHisto* pHisto, std::uint32_t* puiLow, std::uint32_t* puiHigh,
                          double dLow, double dHigh, std::uint32_t& uiIntensityLow,
                          std::uint32_t& uiIntensityHigh);
    static int GetLowHighAbs(const SQmHisto* pHisto, std::uint32_t* puiLow, std::uint32_t* puiHigh,
                             std::uint32_t uiLowCount, std::uint32_t uiHighCount);
    static int GetLowHighFreqAbs(const SQmHisto* pHisto, std::uint32_t* puiLow,
                                 std::uint32_t* puiHigh, std::uint32_t uiLowCount,
                                 std::uint32_t uiHighCount);
    static int GetSumLowHigh(std::uint32_t* puiLow, std::uint32_t* puiHigh, std::uint32_t uiComp,
                             std::uint32_t uiCount, const SQmHisto* pHisto);
    static int GetLowHighMeanMedian(const SQmHisto* pHisto, std::uint32_t uiComp, double* pdLow,
                                    double* pdHigh, double* pdMedian, double* pdMean, double dLow,
                                    double dHigh);
    static std::uint32_t GetMeanIndex(const SQmHisto* pHisto, std::uint32_t uiComp);
    static int GetOtsuThreshold(std::uint32_t* puiThresholds, std::uint32_t uiCount,
                                const SQmHisto* pHisto);
    static int EstimateComponentWeights(SQmHisto* pHisto, double* pdWeights);
    static int MakeCommonRange(SQmHisto* pDst, SQmHisto* pSrc, float* pfMin, float* pfMax);
};
