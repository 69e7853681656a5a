#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "qmpic/export.h"

/// The format of a picture: how a block of pixel memory is laid out.
struct SQmPicBufDesc {
    std::uint32_t uiWidth;       ///< pixels in a row
    std::uint32_t uiHeight;      ///< rows
    std::uint32_t uiWidthBytes;  ///< bytes from the start of one row to the start of the next
    std::uint8_t uiBpc;          ///< significant bits of a component: 8, 9 to 16, 17 to 32
    std::uint32_t uiComponents;  ///< interleaved components of a pixel
    std::uint64_t ui64Size;      ///< bytes of the whole picture: uiWidthBytes * uiHeight
};

/// A picture: its format and its pixels. A plain record without constructor or destructor:
/// SQmPicBufAPI_Base::Init, Reinit and Free manage the memory, which is CQmAlloc's.
struct SQmPicBuf {
    std::uint32_t uiWidth;
    std::uint32_t uiHeight;
    std::uint32_t uiWidthBytes;
    std::uint8_t uiBpc;
    std::uint32_t uiComponents;
    std::uint64_t ui64Size;
    void* pData;  ///< first byte of the first row; rows run from top to bottom
};

static_assert(std::is_standard_layout_v<SQmPicBufDesc> && sizeof(SQmPicBufDesc) == 32);
static_assert(std::is_standard_layout_v<SQmPicBuf> && sizeof(SQmPicBuf) == 40);
static_assert(offsetof(SQmPicBuf, uiBpc) == 12 && offsetof(SQmPicBuf, uiComponents) == 16);
static_assert(offsetof(SQmPicBuf, ui64Size) == 24 && offsetof(SQmPicBuf, pData) == 32);

class CQmLutParamMCH;
class CQmLutParamRGB;
class CQmLutParamSpectralCustomColor;
class CQmLutParamSpectralGrouped;
class CQmLutParamSpectralTrueColor;
class CQmRangeMask;
class SQmLut;
class SQmLutParam;
struct SQmFloatPicBuf;

/// Operations on picture buffers. Results are codes of qmpic/status.h unless said otherwise.
class QM_API SQmPicBufAPI_Base {
  public:
    /// What Check compares.
    enum CheckOptions : std::uint32_t {
        CheckSize,               ///< width and height
        CheckSizeBpc,            ///< width, height, depth
        CheckSizeBpcComponents,  ///< width, height, depth, components
        CheckSizeComponents,     ///< width, height, components
        CheckComponents,         ///< components
        CheckBpc,                ///< depth
        CheckBpcComponents,      ///< depth, components
    };

    /// Makes all fields 0 and releases nothing. A record is fit for use after this.
    static void Init(SQmPicBuf* pBuf);
    static void InitN(SQmPicBuf** ppBufs, std::uint32_t uiCount);
    /// Releases the pixels, if there are any. The format stays.
    static void Free(SQmPicBuf* pBuf);
    /// Hands each record *itself* to CQmAlloc::Free, and does not read it: for records that were
    /// allocated there. Release the pixels of each with Free before.
    static void FreeN(SQmPicBuf** ppBufs, std::uint32_t uiCount);

    /// Gives the record a format and memory for it, the old block if the allocator can reuse it.
    /// Contents are what the allocator leaves.
    /// @param uiWidthBytes stride; 0 chooses the row rounded up to a multiple of 4 (5 pixels of 3
    ///                     bytes: 16). Another value is taken unchecked.
    /// @param uiBpc        cut to its low byte in the record, after the stride was chosen
    /// @param bClear       all bytes become 0, gaps too
    /// @return 0; -3 when there is no memory or nothing to allocate (0 bytes), or when the stride
    ///         would not fit: a row of more than 0xFFFFFFFC bytes. The format is all 0 then. When
    ///         the stride did not fit the old pixels are still there, else they are released.
    static int Reinit(SQmPicBuf* pBuf, std::uint32_t uiWidth, std::uint32_t uiHeight,
                      std::uint32_t uiWidthBytes, std::uint32_t uiBpc, std::uint32_t uiComponents,
                      bool bClear);
    /// Reinit of one record after the other; ends at the first that fails and returns its code.
    static int ReinitN(SQmPicBuf** ppBufs, std::uint32_t uiCount, std::uint32_t uiWidth,
                       std::uint32_t uiHeight, std::uint32_t uiWidthBytes, std::uint32_t uiBpc,
                       std::uint32_t uiComponents, bool bClear);
    /// Reinit with the source's format, its stride included, then Copy.
    static int ReinitAndCopy(SQmPicBuf* pDst, const SQmPicBuf* pSrc);

    /// The format of a picture whose rows are rounded up to 4 bytes, or to `uiAlignment` (above 0).
    /// Always 0.
    static int GetDesc(std::uint32_t uiWidth, std::uint32_t uiHeight, std::uint32_t uiBpc,
                       std::uint32_t uiComponents, SQmPicBufDesc& desc);
    static int GetDesc(std::uint32_t uiWidth, std::uint32_t uiHeight, std::uint32_t uiBpc,
                       std::uint32_t uiComponents, std::uint32_t uiAlignment, SQmPicBufDesc& desc);
    /// Copies a format into a record without pixels; allocates nothing. -9 for null or a record
    /// that holds pixels, which is not changed.
    static int SetDesc(SQmPicBuf* pBuf, const SQmPicBufDesc& desc);

    /// As in CQmPicMemAPI_Base.
    static std::uint32_t CalcCompSize(std::uint32_t uiBpc);
    static std::uint32_t CalcWidthBytes(std::uint32_t uiWidth, std::uint32_t uiBpc,
                                        std::uint32_t uiComponents, std::uint32_t uiAlignment);

    /// Are the fields that the option names equal? False for null and for an unknown option.
    /// Strides are never compared.
    static bool Check(const SQmPicBuf* p1, const SQmPicBuf* p2, CheckOptions option);

    // The copies run in the calling thread. Where formats do not fit they report to DiagAssertW
    // (source `PicBufAPI_Base`) and return -9.

    /// The common upper left area of two pictures of the same depth and components: of 100 x 100
    /// and 50 x 200 it is 50 x 100. Pictures of the same size and stride are copied with their
    /// gaps. -9 also when the source has no pixels; the destination's are not tested.
    static int Copy(SQmPicBuf* pDst, const SQmPicBuf* pSrc);
    /// The same between different numbers of components, of the same depth: the first components
    /// are copied, and those that only the destination has become 0.
    static int CopyComp(SQmPicBuf* pDst, SQmPicBuf* pSrc);
    /// A rectangle, between pictures of the same depth and components. Nothing is clipped: it must
    /// lie within both. Full rows of equal strides are copied with their gaps; otherwise a
    /// component of 17 to 24 bits counts 3 bytes, as in CQmPicMemAPI_Base::Copy, so that such
    /// pictures are not copied rightly. 0 when one has no pixels.
    static int CopyRect(std::uint32_t uiDstX, std::uint32_t uiDstY, std::uint32_t uiWidth,
                        std::uint32_t uiHeight, SQmPicBuf* pDst, std::uint32_t uiSrcX,
                        std::uint32_t uiSrcY, const SQmPicBuf* pSrc);
    /// One component of a rectangle, between pictures of the same depth. Nothing is clipped. Above
    /// 16 bits it is moved as 32-bit words, but pixels are found as in CopyRect: rectangles of 17
    /// to 24 bits have to begin at x = 0. -9 without destination pixels, 0 without source pixels.
    static int CopyRectComp(std::uint32_t uiDstX, std::uint32_t uiDstY, std::uint32_t uiWidth,
                            std::uint32_t uiHeight, std::uint32_t uiDstComponent, SQmPicBuf* pDst,
                            std::uint32_t uiSrcX, std::uint32_t uiSrcY,
                            std::uint32_t uiSrcComponent, const SQmPicBuf* pSrc);
    /// The pixels that a mask of the same size selects: those whose mask pixel's first byte is the
    /// greatest value of the mask's depth (255 of 8 bits), or 0 with `bInverted`. The other pixels
    /// stay. A mask of more than 8 bits is read bytewise all the same and so selects nothing
    /// without `bInverted`. Meant for pictures of up to 16 bits: above, only the first half of each
    /// pixel is copied.
    /// @return 0; -9 when something is null or formats differ, without a report
    static int CopyViaBinaryUnpacked(SQmPicBuf* pDst, SQmPicBuf* pSrc, SQmPicBuf* pMask,
                                     bool bInverted);
    /// Exchanges two records, pixels included. Always 0.
    static int Swap(SQmPicBuf* p1, SQmPicBuf* p2);

    // ----- Histograms in arrays of the caller ----------------------------------------------------

    // Samples of 8 bits, or of 16 bits as they stand, are counted in `nBins` bins from value 0 to
    // the greatest of the depth, value * (nBins - 1) / greatest, or from `iMin` to `iMax`: bin
    // (value - iMin) * (nBins - 1) / (iMax - iMin). Differences and products have 32 bits and wrap.
    // With a range what is below or above it counts in the first or last bin; without one, what has
    // no bin is not counted. nBins = 256 for 8 bits takes values as they are. Counts are added to
    // what is in the bins, by several threads and with atomic additions, so that calls may share
    // bins; a picture of another depth or without pixels adds nothing.
    //
    // `nSamples`, if it is above 0 and below width * height (32 bits), asks for about so many
    // pixels: in single precision, s = sqrt(height * nSamples / width) rows, each (height / s)-th;
    // of a row every (width / (nSamples / s))-th pixel, but of N components only each N-th of
    // these. A step that rounding makes 0 is 1.
    //
    // pMask, if given, is a picture of 1 x 8 bits of the same size: pixels where it is 0 are left
    // out. `pbCancel`, if given, is read before every row, and rows are left out while it is true.
    //
    // Results: 0, also when cancelled; -4 for null bins, iMin = iMax, a component that there is
    // not, or a mask of another format, another size or without pixels.

    /// Every component, `ppBins[c]` being the bins of component c, or null to leave it out.
    static int CalculateCompHistogram(int** ppBins, int nBins, SQmPicBuf& Pic, int nSamples,
                                      const SQmPicBuf* pMask, bool* pbCancel);
    static int CalculateCompHistogram(int** ppBins, int nBins, int iMin, int iMax, SQmPicBuf& Pic,
                                      int nSamples, const SQmPicBuf* pMask, bool* pbCancel);
    /// One component.
    static int CalculateHistogram(int* pBins, int nBins, SQmPicBuf& Pic, int iComp, int nSamples,
                                  const SQmPicBuf* pMask, bool* pbCancel);
    static int CalculateHistogram(int* pBins, int nBins, int iMin, int iMax, SQmPicBuf& Pic,
                                  int iComp, int nSamples, const SQmPicBuf* pMask, bool* pbCancel);

    // ----- Limits of the values in a picture -----------------------------------------------------
    //
    // A histogram of all pixels is counted and asked for its levels. -9 for a null picture, else
    // the code of the statistic. If there is no memory for the histogram, nothing is written.

    /// CQmHistoAPI_Base::GetLowHigh with fractions. A depth that histograms do not know (above 16
    /// bits) leaves the bins empty: low is the last bin, 65535, and high is 0.
    static int FindLowHighInHistogram(const SQmPicBuf* pBuf, std::uint32_t* puiLow,
                                      std::uint32_t* puiHigh, double dLow, double dHigh);
    /// The same of a float picture, in 65536 bins from the least to the greatest value of each
    /// component. The picture's ranges are filled as in CQmHistoAPI_Base::Calculate, whose failure
    /// is returned.
    static int FindLowHighInHistogram(SQmFloatPicBuf* pBuf, std::uint32_t* puiLow,
                                      std::uint32_t* puiHigh, double dLow, double dHigh);
    /// CQmHistoAPI_Base::GetLowHighAbs with numbers of pixels. Above 16 bits a bin is 2^k values,
    /// k = uiBpc - 16, and levels are values: the first of its bin for low, the last for high, so
    /// that bin 3 of 20 bits is 48 and 63. They are made so also of what a count of 0 has left in
    /// the arrays.
    static int FindLowHighAbsInHistogram(SQmPicBuf* pBuf, std::uint32_t* puiLow,
                                         std::uint32_t* puiHigh, std::uint32_t uiLowCount,
                                         std::uint32_t uiHighCount);
    /// The same with CQmHistoAPI_Base::GetLowHighFreqAbs.
    static int FindLowHighFreqAbsInHistogram(SQmPicBuf* pBuf, std::uint32_t* puiLow,
                                             std::uint32_t* puiHigh, std::uint32_t uiLowCount,
                                             std::uint32_t uiHighCount);

    // ----- Table sets from display parameters ----------------------------------------------------

    static int CreateLutsMono(SQmLut* lut, SQmLutParam* param, unsigned int bpc,
                              unsigned int* colors, SQmLut* src);
    static int CreateLutsRGB(SQmLut* lut, SQmLutParam* param, unsigned int bpc, SQmLut* src,
                             CQmRangeMask* mask, bool bSingle);
    static int CreateLutsRGB(SQmLut* lut, CQmLutParamRGB* param, unsigned int maskBits,
                             bool bSeparate);
    static int CreateLutsMCH(SQmLut* lut, SQmLutParam* param, unsigned int bpc, unsigned int comps,
                             unsigned int* colors, bool bSpectral, bool bKeepMask, SQmLut* src,
                             unsigned int* gradients, double* weights);
    static int CreateLutsMCH(SQmLut* lut, CQmLutParamMCH* param, unsigned int* colors);
    static int CreateLutsMCH_Dst16bit(SQmLut* lut, unsigned int dstBpc, SQmLutParam* param,
                                      unsigned int bpc, unsigned int comps, unsigned int* colors,
                                      bool bSpectral, bool bKeepMask, SQmLut* src);
    static int CreateLutsSpectral(SQmLut* lut, SQmLutParam* param, unsigned int* colors,
                                  unsigned int spectralComps, unsigned int comps, double scale);
    static int CreateLutsSpectralTrueColor(SQmLut* lut, CQmLutParamSpectralTrueColor* param,
                                           unsigned int* colors, double scale);
    static int CreateLutsSpectralCustomColor(SQmLut* lut, CQmLutParamSpectralCustomColor* param,
                                             double scale);
    static int CreateLutsSpectralGrouped(SQmLut* lut, CQmLutParamSpectralGrouped* param,
                                         double scale);

    /// See SQmLutParam::ComponentMaskToSpectralGroupMask.
    static int ComponentMaskToSpectralGroupMask(CQmRangeMask& groups, const CQmRangeMask& comps,
                                                const SQmLutParam& param, unsigned int compCount);
    /// Its inverse: `comps` is `compCount` bits, those of the spectral components whose group is
    /// set, and behind them either all or none, as the bit behind all groups is.
    /// @return 0; -9 in modes other than 1 and 2, `comps` untouched
    static int SpectralGroupMaskToComponentMask(CQmRangeMask& comps, const CQmRangeMask& groups,
                                                const SQmLutParam& param, unsigned int compCount);
};
