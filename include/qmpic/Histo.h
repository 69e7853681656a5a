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

    /// Counts a picture of 8 bits or of 9 to 16 (bits above the depth do not count), each component
    /// and, of several components, the intensity. A record of 4-byte or 8-byte bins is fitted to
    /// the picture first with Reinit32 or Reinit64; one that has no bins yet counts nothing.
    ///
    /// `uiRoiMode` 0 counts the whole picture, 1 the rectangle, others nothing; every `uiStepX`-th
    /// pixel of every `uiStepY`-th row, a step of 0 being 1. Fit the record to the picture *before*
    /// a rectangle is set: if this call has to do it, as it always does for 8-byte bins, the
    /// rectangle is as wide as the picture and as high as before. What lies outside of the picture
    /// is not counted.
    ///
    /// Rows are split among as many threads as there are processors, fewer for small pictures, each
    /// with bins of its own; the counts are the same for every number of threads.
    /// @param bReset  counts are made 0 before; else they are added to what is there
    /// @return 0, also for a picture without pixels or of another depth; -9 for a null record
    static int Calculate(SQmHisto* pHisto, const SQmPicBuf* pBuf, bool bReset);
    /// Counts a picture of floats in the record as it is: 2^uiBits bins from the least to the
    /// greatest value of each component, and for the intensity of several components, the mean in
    /// single precision, from the least to the greatest of all. The counts there were are lost,
    /// also when the call fails. Runs in the calling thread.
    ///
    /// The bin of a value is (value - min) / (max - min) * (bins - 1), in single precision and in
    /// this order, toward zero; counted is what has one. So less than a bin's width below the least
    /// value is bin 0, and less than one above the greatest value is the last bin; a NaN, an
    /// infinity or a constant component is bin 0. Bins of 8 bytes are filled as if they had 4: bin
    /// i is the i-th 4 bytes of a block.
    ///
    /// Least and greatest values are those that travel with the picture. When it has none, or a
    /// least one above its greatest, they are found, and travel with it from then on.
    ///
    /// `uiRoiMode` 1 counts the rectangle, and every other mode the whole picture, every
    /// `uiStepX`-th pixel of *every* row: `uiStepY` becomes 1.
    /// @param bReset  is not looked at
    /// @return 0; -9 for null, a picture without pixels, or when the numbers of components differ;
    ///         -8 above 192 components
    static int Calculate(SQmHisto* pHisto, SQmFloatPicBuf* pBuf, bool bReset);

    // ----- Statistics ----------------------------------------------------------------------------
    //
    // They read the record and nothing else, in the calling thread. Results that are levels are
    // numbers of bins; `top` is the last one, 2^uiBits - 1. Arrays have an entry a component, and
    // one of the two may be null; -4 if both are, and for a null record. A record whose bins are
    // neither of 4 nor of 8 bytes, or that has none, gives 0, and nothing is written. Counts are
    // summed in the width of a bin: 4-byte bins wrap.

    /// The levels that cut off fractions of the pixels at the dark and the bright end: walking up
    /// from bin 0 (down from top), the first bin at which the sum is above the pixels that the
    /// fraction is, rounded, and at least 1. So a lone outlier decides nothing: of 9 pixels 0.5 is
    /// 5, and the sixth pixel's bin is found, with a fraction of 0.001 the second's. A sum that is
    /// never above gives top for low and 0 for high. The pixels are uiWidth * uiHeight of the
    /// record in 32 bits, whatever was counted. A fraction that is not above 0 leaves its array.
    static int GetLowHigh(const SQmHisto* pHisto, std::uint32_t* puiLow, std::uint32_t* puiHigh,
                          double dLow, double dHigh);
    /// The same whatever the fractions are: one that is not above 0 cuts off one pixel. With the
    /// low array comes the low level of the intensity, with the high array its high level; the
    /// latter keeps its value if the sum is never above.
    static int GetLowHigh(const SQmHisto* pHisto, std::uint32_t* puiLow, std::uint32_t* puiHigh,
                          double dLow, double dHigh, std::uint32_t& uiIntensityLow,
                          std::uint32_t& uiIntensityHigh);
    /// The same with numbers of pixels, which the sum has to reach and not to exceed: with 1 the
    /// first and last populated bins. 0 leaves its array.
    static int GetLowHighAbs(const SQmHisto* pHisto, std::uint32_t* puiLow, std::uint32_t* puiHigh,
                             std::uint32_t uiLowCount, std::uint32_t uiHighCount);
    /// The first bins from both ends that have so many pixels by themselves; sparse bins are passed
    /// over. Top and 0 where there is none. 0 leaves its array.
    static int GetLowHighFreqAbs(const SQmHisto* pHisto, std::uint32_t* puiLow,
                                 std::uint32_t* puiHigh, std::uint32_t uiLowCount,
                                 std::uint32_t uiHighCount);
    /// Of one component, the first bins from both ends at which the sum is above `uiCount`, which
    /// may be 0; top and 0 where it never is. -4 also for a component that does not exist.
    static int GetSumLowHigh(std::uint32_t* puiLow, std::uint32_t* puiHigh, std::uint32_t uiComp,
                             std::uint32_t uiCount, const SQmHisto* pHisto);
    /// Trimmed statistics of one component, which must exist. Everything is weighted by value: S is
    /// the sum of index * count, in 64 bits. Both walks pass over bins with less than 2 pixels.
    ///
    /// Low is where the walk up first has S * dLow; the bins before it are taken off. High is where
    /// the walk down first has S * (1 - dHigh) with bins of 4 bytes and S * dHigh with bins of 8, 0
    /// if it never has; the bins behind it are taken off, and from then on the sum that was taken
    /// off is theirs alone, while the number of pixels lacks both. The mean is what is left of S by
    /// what is left of the pixels, which may be no finite number; the median is the bin from low to
    /// high at which the sum first reaches half of what is left of S, and is not written if there
    /// is none.
    ///
    /// Each pointer may be null.
    /// @return always 0
    static int GetLowHighMeanMedian(const SQmHisto* pHisto, std::uint32_t uiComp, double* pdLow,
                                    double* pdHigh, double* pdMedian, double* pdMean, double dLow,
                                    double dHigh);
    /// The mean bin of a component, toward zero; 0 of an empty one.
    /// @return or (unsigned) -4 for a null record or a component that does not exist, (unsigned) -9
    ///         for bins of neither 4 nor 8 bytes
    static std::uint32_t GetMeanIndex(const SQmHisto* pHisto, std::uint32_t uiComp);
    /// 1 to 3 thresholds that part the bins of a histogram of one component by Otsu's method.
    ///
    /// Two and three are the last bins of the classes before them: those with the greatest sum of
    /// P * mean * mean over the classes, P being a class's share of the pixels. With one it is the
    /// sum of P * (mean - m)^2, m being the sum of the unscaled means, and the threshold's own bin
    /// belongs to neither class. The lowest thresholds win a tie, the first before the second. All
    /// are 0 if no sum is above 0.
    ///
    /// Where there are many bins two and three are chosen among each n-th one: of 1024, 4096, 16384
    /// and 65536 bins each 2nd, 4th, 8th and 16th for two, each 3rd, 9th, 27th and 81st for three.
    /// Of any other number every bin may be one; three of 32768 bins take about a second.
    ///
    /// @param uiCount 1 to 3; with 0 nothing is done
    /// @return 0; -2 for several components or more than 3 thresholds; -9 for a null array, an
    ///         empty histogram or a lack of memory
    static int GetOtsuThreshold(std::uint32_t* puiThresholds, std::uint32_t uiCount,
                                const SQmHisto* pHisto);
    /// Each component's share of the energy, which is the sum of index * index * count. If all are
    /// black, bins of 4 bytes give equal weights and bins of 8 bytes numbers that are not finite.
    static int EstimateComponentWeights(SQmHisto* pHisto, double* pdWeights);
    /// The histogram of a float picture, in which each component has its own range of values,
    /// brought to the range that is common to all. Both records have the same format; a destination
    /// without bins gets it, 32-bit bins, with size, rectangle and steps of the source.
    ///
    /// A bin goes where its lower end lies in the range from the least of `pfMin` to the greatest
    /// of `pfMax`; what lies outside is dropped. Of the intensity only the first quarter of the
    /// block is copied, and the rest of it stays. Counts are 32-bit words also where bins have 8
    /// bytes. One component is copied as it is, and the ranges are not read.
    /// @return 0, also when there is no memory for the destination's bins: then it has none; -4 for
    /// a
    ///         null record; -9 for different formats
    static int MakeCommonRange(SQmHisto* pDst, SQmHisto* pSrc, const float* pfMin,
                               const float* pfMax);
};
