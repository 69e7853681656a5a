#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "qmpic/export.h"
#include "qmpic/system/RangeBase.h"

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
struct SQmHisto;

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

    // How a picture is shown, as tables that the renderers apply. Each operation brings the set to
    // the shape that it needs with SQmLut::check_luts: 3 cells of 8 bits (blue, green, red), where
    // nothing else is said, and 2^bpc entries. Tables that have it stay where they are, so that a
    // set which is kept is filled again without an allocation; others are made anew, with a mask of
    // 192 set bits. All run in the calling thread. In what follows top is 2^bpc - 1.
    //
    // The **curve** of a component is a table of `bpc` bits made by SQmLut::CreateGammaTable of its
    // levels and gamma; where the white level is not above the black level, it is 0 everywhere. A
    // component shows in a **colour** when its cells are the colour's bytes times the curve, by
    // top, cut: red (0x0000FF) of a curve of 12 bits that has come to 2048 is (0, 0, 127).
    //
    // Colours are colour references, red in the low byte. No array, or no components, stands for
    // one component in white (0xFFFFFF); in the spectral forms no array is white for all.
    //
    // Results: 0 when the set was filled, also with zeros; -9 for null and a depth out of range; -8
    // for more than 192 components; -3 without memory for the tables; other codes where they are
    // named. A failure other than -4 leaves the mask as it is.

    /// CreateLutsMCH of one component, `colors[0]` or white, but the mask of the set stays as it
    /// was, whatever becomes of the tables: empty when it was empty.
    static int CreateLutsMono(SQmLut* lut, SQmLutParam* param, unsigned int bpc,
                              unsigned int* colors, SQmLut* src);
    /// A picture of red, green, blue, whose components 0, 1, 2 show in 0xFF0000, 0x00FF00 and
    /// 0x0000FF: as colour references blue, green, red. 0 to 16 bits.
    ///
    /// Without `param` there are three tables, each a ramp to its colour, or through `src` (one
    /// table of `bpc` bits with a cell for each component) if it has tables. A mask makes the
    /// components whose bit is clear black and the others white, or in their colour with `bSingle`.
    /// The result is that of SQmLut::CreateMultiColorTable or CreateMultiColorTableEx, and the mask
    /// of the set is left alone.
    ///
    /// With `param` and `bSingle` there is one table, in whose cell c is what component c leads to,
    /// with levels and gamma of component c and output levels of 8 bits; 0 where the mask's bit is
    /// clear. A cell whose levels are equal keeps what it held. With `param` and a mask, without
    /// `bSingle`, there are three tables, one for each component: its curve in white, or black
    /// where the bit is clear. Without mask and `bSingle` there is no such form: three tables,
    /// which are not filled, and **-4**.
    ///
    /// With `param`, a mask is taken over as the set's; without one a mask of the set that has no
    /// size gets three set bits, also with -4.
    static int CreateLutsRGB(SQmLut* lut, SQmLutParam* param, unsigned int bpc, SQmLut* src,
                             CQmRangeMask* mask, bool bSingle);
    /// The same from parameters of red, green, blue; 8 to 16 bits, else -9.
    ///
    /// `maskBits` is not tested as it stands: bits are shifted out at its low end until the third
    /// set one is gone, and **what remains** becomes the mask of the set (CQmRangeMask::SetMask):
    /// of 7 nothing, of 0x1D (11101) bit 0. What works is 7, or any three bits, with `bSeparate`:
    /// one table with the three components in its three cells, all of them shown, outputs from 0 to
    /// GetMaxDst of 8 bits. A cell whose levels are equal keeps what it held. With fewer than three
    /// set bits nothing remains that could ask for a component: all cells are 0, in one table with
    /// `bSeparate`, else in three, and the result is 0. With three and without `bSeparate` there
    /// is one table, which is not filled, and **-4**.
    static int CreateLutsRGB(SQmLut* lut, CQmLutParamRGB* param, unsigned int maskBits,
                             bool bSeparate);
    /// A picture of `comps` channels, each a table.
    ///
    /// With `param` and one component, the curve has the global levels and gamma alone. If
    /// `uiGradient` is 1 to 255 it leads to the colours of that predefined table (255: the custom
    /// one), scaled to the levels of component 0; 0 and everything above 255, such as 300, stand
    /// for `colors[0]`.
    ///
    /// With several components, each has its own levels and gamma. Components that agree in both
    /// source levels, highest output and gamma share one curve, that of the first: **the lowest
    /// output is not compared**. What curves lead to, the first of these that holds:
    /// - `bSpectral`, spectral colour mode 3 and a `uiGradient` other than 0: the stored colours of
    ///   that table for all. With 1 to 255 the set has the shared shape
    ///   (SQmLut::check_luts_spectral_ex, which leaves the mask), so that the last component's
    ///   curve is what all get. 255 is the first table here; a negative index has no colours, and
    ///   nothing is filled.
    /// - `gradients`: component k shows in table `gradients[k]`, scaled to its levels. If
    ///   `weights[k]` is below 1.0, each colour byte is multiplied by it and cut; of a negative
    ///   product the low byte is taken: 201 * -1.0 gives 55.
    /// - `uiGradient` of 1 to 255: the same with this table for all, without weights.
    /// - else component k shows in `colors[k]`.
    ///
    /// Without `param` tables are ramps to the colours, or go through `src` if it has tables
    /// (SQmLut::CreateMultiColorTable, CreateMultiColorTableEx: -4, or std::bad_alloc). A source of
    /// the same depth that does not fit because its number of cells is not `comps` is copied as it
    /// is instead, and the set takes its shape.
    ///
    /// In the end a mask that has no size gets `comps` set bits, also after -4; with one component,
    /// `param` and a `uiGradient` of 1 to 255 bit 0 is set unless `bKeepMask`. A depth above 16
    /// bits gives -9 when the set has already lost its tables.
    static int CreateLutsMCH(SQmLut* lut, SQmLutParam* param, unsigned int bpc, unsigned int comps,
                             unsigned int* colors, bool bSpectral, bool bKeepMask, SQmLut* src,
                             unsigned int* gradients, double* weights);
    /// The same from parameters of channels: 8 to 16 bits (-9), and as many components as `param`
    /// says; several need GetComponentSizes (-9), which tells whose levels and gamma a component
    /// has; beyond all sizes the last channel's. Outputs are 0 to top. One component shows in table
    /// GetGradient if that is 1 to 255, without scaling, and bit 0 of the mask is set; otherwise
    /// components show in `colors`. A mask that has no size gets a set bit for each component.
    static int CreateLutsMCH(SQmLut* lut, CQmLutParamMCH* param, unsigned int* colors);
    /// CreateLutsMCH with cells of `dstBpc` bits, 8 (the same) to 16, else -9. With `param` the
    /// bytes of a colour are shifted left by dstBpc - 8: the most is 4080 of 12 bits and 65280 of
    /// 16. Colours of tables are multiplied by 2^dstBpc / 256. The grey scale of spectral pictures
    /// has no such form: of several components nothing is filled. Without `param` ramps go up to
    /// 2^dstBpc - 1.
    static int CreateLutsMCH_Dst16bit(SQmLut* lut, unsigned int dstBpc, SQmLutParam* param,
                                      unsigned int bpc, unsigned int comps, unsigned int* colors,
                                      bool bSpectral, bool bKeepMask, SQmLut* src);

    // The spectral forms make parametric state (SQmLut::SQmParam), which the spectral renderers
    // compute with; no cell is filled. Records are allocated when the set has none, which may throw
    // std::bad_alloc, and stay otherwise. `dOffset` is the offset of the parameters negated,
    // `dGamma` their gamma. A `scale` that is not above 0 is 1.

    /// Of `comps` components the first `spectralComps` are spectral, which `param` is told. Tables
    /// are not needed and not made; those of a set without records that has another number of
    /// components are released. A set with records keeps their number, and only these are written.
    ///
    /// - `iPredefLut` becomes `uiGradient` in spectral mode 3 if that is below 256, else -1.
    /// - Spectral components: gain and offset of GetCompOffsetAndGains, the gain divided by `scale`
    ///   and halved when there are further components.
    /// - In mode 2 gains are first multiplied by e / (s * n): e components that the set's mask has
    ///   among the spectral ones, s components of the group, n groups. The mask's bit of the
    ///   group's **first component** alone decides whether, not the group's own flag. One group of
    ///   all components has 1; groups of 2 and 4 with all bits set have 6 / 4 and 6 / 8.
    /// - Component `spectralComps` stands for what is not spectral: GetCompMinSrc - GetCompMinDst
    ///   of the set's `ucSrcBpc` bits is its offset, GetCompMaxDstDbl / GetCompMaxSrcDbl * 0.5 its
    ///   gain, without the scale. Further ones have gain and offset 0.
    ///
    /// The mask of the set stays.
    static int CreateLutsSpectral(SQmLut* lut, SQmLutParam* param, unsigned int* colors,
                                  unsigned int spectralComps, unsigned int comps, double scale);
    /// The typed forms make tables for all components of `param`, too, of at most 16 bits (-9), and
    /// a mask of as many set bits. Components of channel i behind the spectral ones have the gain
    /// GetGain / `scale` * 0.5 / f and the offset GetOffset / `scale` * 0.5 / f, f being the number
    /// of these components; components that no size covers belong to the last channel.
    ///
    /// True colour: all spectral components have GetGain(0) / `scale`, halved when there are
    /// further channels, and GetOffset(0) as it stands; channels behind them have values 1, 2 ...
    /// With a gradient of 1 to 255 the tables are shared. `iPredefLut` becomes its low 8 bits: 255,
    /// which is no table of the list, for -1.
    static int CreateLutsSpectralTrueColor(SQmLut* lut, CQmLutParamSpectralTrueColor* param,
                                           unsigned int* colors, double scale);
    /// Gains and offsets of the nodes, which stand at i * (S - 1) / (n - 1) of S spectral
    /// components, cut, and straight lines between them; with one node its values. Gains are
    /// divided by `scale` and **not** halved. Values behind those of the nodes are the further
    /// channels'. Colours are those of GetCompColors, and white behind the spectrum. `iPredefLut`
    /// stays.
    static int CreateLutsSpectralCustomColor(SQmLut* lut, CQmLutParamSpectralCustomColor* param,
                                             double scale);
    /// The same with groups of GetGroupSizes (none: -9): components of group g have GetOffset(g),
    /// GetGain(g) times the factor of CreateLutsSpectral / `scale`, and GetColor(g). The mask that
    /// decides is the one before the call; tables that are made anew have all bits. Spectral
    /// components behind all groups have gain and offset 0.
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

    // ----- Automatic contrast --------------------------------------------------------------------

    // Black level, white level and gamma that show a picture well, from its histogram or from its
    // pixels. Percents are those of pixels that are cut off at an end. In what follows top is the
    // greatest value of the histogram's depth, and levels are limited: white w to 1 / top to 1,
    // black to 0 to w - 1 / top, gamma to 0.5 to 2, which is 0.5 where it is no number. What is not
    // asked for is set all the same: the black level to 0, the others to what they were, limited.
    //
    // Results: 0; -9 for null and for a search that fails, also when nothing is asked of it: with
    // neither `bLow` nor `bHigh`, or `bLow` alone beside `lows`.

    /// The bins where the sums of the bins, from the lowest up and from the highest down, reach
    /// trunc(percent / 100 * T), at least 1: 0 percent is the first bin that holds anything. T is
    /// the sum of component `first`, or if that is 0 of the first component that has any. Of
    /// several components, `first` to `end` - 1, each has its own sum, and the first that reaches
    /// the target ends the search. With `end` not behind `first` it is component `first` alone.
    ///
    /// A search that finds nothing, as in an empty histogram, beyond 100 percent, or in bins of
    /// neither 4 nor 8 bytes, gives the last bin for low and 0 for high. Of depths above 16 bits
    /// the first 65536 bins are looked at. Both ends are searched, whichever is asked for.
    /// @param low, high, mid   results; any but not both of low and high may be null. mid is the
    ///                         first bin from low on behind which half of the sum from low to
    ///                         high - 1 is reached, and the middle of the histogram where low is
    ///                         not below high; kept within low and high
    /// @param lowComp, highComp  null, or the component that reached its target
    /// @param bFix  low is made high - 1 where it is not below it, and both the ends of the
    ///              histogram where high is one of them
    /// @return 0; -9 for a histogram without bins, components that it has not, and neither low nor
    ///         high
    static int GetHistoRange(const SQmHisto* histo, unsigned int first, unsigned int end,
                             unsigned int* low, unsigned int* high, unsigned int* mid,
                             double lowPercent, double highPercent, unsigned int* lowComp,
                             unsigned int* highComp, bool bFix);
    /// The same with one percent for both ends, and without `bFix`.
    static int GetHistoRange(const SQmHisto* histo, unsigned int first, unsigned int end,
                             unsigned int* low, unsigned int* high, unsigned int* mid,
                             double percent, unsigned int* lowComp, unsigned int* highComp);

    /// The levels of all components at once: SetMinSrcDbl, SetMaxSrcDbl, SetGammaSrc. Gamma is
    /// log(0.5) / log((mid / top - black) / (white - black)), which shows mid at one half.
    /// @param unused  not read
    static int AutoContrast(SQmLutParam* param, const SQmHisto* histo, bool bLow, bool bHigh,
                            bool bMid, double unused, double lowPercent, double highPercent);
    /// The black level from a histogram of its own, if `lowHisto` is not null and has bins; as a
    /// fraction of the top of `histo` all the same. It needs at least as many components.
    static int AutoContrast(SQmLutParam* param, const SQmHisto* histo, const SQmHisto* lowHisto,
                            bool bLow, bool bHigh, bool bMid, double unused, double lowPercent,
                            double highPercent);
    /// The black level from the mean of `lows`, if it is not null. Here alone a flat picture is
    /// known, where both levels are asked for, the search finds the same value for both, and there
    /// is no `lows`: an integer picture gets SetUnit, a float picture stays as it is. The levels of
    /// a float picture (`bFloat`) are those times `fMax` - `fMin`, plus `fMin`; a white level that
    /// is not asked for goes through this too, as if it were a fraction.
    /// @param lows  null, or one a component
    static int AutoContrast(SQmLutParam* param, const SQmHisto* histo, const double* lows,
                            bool bLow, bool bHigh, bool bMid, double unused, double lowPercent,
                            double highPercent, float fMin, float fMax);

    /// The levels of components `first` to `end` - 1, one by one, but from one search over all of
    /// them, so that all get the same: SetCompMinSrcDbl, SetCompMaxSrcDbl, SetCompGammaSrc. 0, and
    /// nothing done, for no components; -8 for an `end` above 192.
    static int AutoOneCompContrast(SQmLutParam* param, unsigned int first, unsigned int end,
                                   const SQmHisto* histo, const SQmHisto* lowHisto, bool bLow,
                                   bool bHigh, bool bMid, double lowPercent, double highPercent);
    /// @param lows    null, or one a component, cut; of a float picture as it is, and placed like
    ///                the white level
    /// @param ranges  of a float picture, whose white level becomes ((u - l) * high / top + (l -
    ///                g0)) / (g1 - g0), (l, u) being the component's range and g0 and g1
    ///                SQmLutParam::GetCompMinFromFloatRanges and GetCompMaxFromFloatRanges; a
    ///                component outside of `ranges` is treated like that of an integer picture
    static int AutoOneCompContrast(SQmLutParam* param, unsigned int first, unsigned int end,
                                   const SQmHisto* histo, const double* lows, bool bLow, bool bHigh,
                                   bool bMid, double lowPercent, double highPercent,
                                   const std::vector<CQmRangeBase<float>>& ranges);
    static int AutoOneCompContrast(SQmLutParam* param, unsigned int first, unsigned int end,
                                   const SQmHisto* histo, bool bLow, bool bHigh, bool bMid,
                                   double lowPercent, double highPercent,
                                   const std::vector<CQmRangeBase<float>>& ranges);
    /// The same with the `Simple` ranges of SQmLutParam, each component by its own; where both
    /// levels are asked for and found to be the same, the black one perhaps in `lows`, black is 0
    /// and white 1.
    static int AutoOneCompContrastSimple(SQmLutParam* param, unsigned int first, unsigned int end,
                                         const SQmHisto* histo, const SQmHisto* lowHisto, bool bLow,
                                         bool bHigh, bool bMid, double lowPercent,
                                         double highPercent);
    static int AutoOneCompContrastSimple(SQmLutParam* param, unsigned int first, unsigned int end,
                                         const SQmHisto* histo, const double* lows, bool bLow,
                                         bool bHigh, bool bMid, double lowPercent,
                                         double highPercent,
                                         const std::vector<CQmRangeBase<float>>& ranges);
    static int AutoOneCompContrastSimple(SQmLutParam* param, unsigned int first, unsigned int end,
                                         const SQmHisto* histo, bool bLow, bool bHigh, bool bMid,
                                         double lowPercent, double highPercent,
                                         const std::vector<CQmRangeBase<float>>& ranges);

    /// Balances three components to a white that looks like `color` (component 0 bits 16 to 23,
    /// component 2 bits 0 to 7). `bHigh` alone sets white levels, and output levels where the
    /// colour asks for more than white; both set levels by how far limits are from the greatest
    /// limit. `bLow` alone sets the black level of component 2, and of no other, three times.
    /// @return -9 for other than three components
    static int AutoWhite(SQmLutParam* param, const SQmHisto* histo, bool bLow, bool bHigh,
                         unsigned int color, double lowPercent, double highPercent);
    /// Levels from the least and greatest value of the components' ranges. The gamma stays, and
    /// nothing need be asked for.
    /// @return -9 for fewer than `comps` ranges
    static int ContrastFromMinMax(SQmLutParam* param,
                                  const std::vector<CQmRangeBase<unsigned int>>& ranges,
                                  unsigned int bpc, unsigned int comps, bool bLow, bool bHigh);
    /// Levels of a picture by FindLowHighInHistogram, into parameters, or without these into linear
    /// tables, one a component, of `lut`, which is made anew. What is called percent here is a
    /// **fraction**: 1.0 is everything. A flat component's table is the greatest value, unless its
    /// value is 0. An end whose fraction is not above 0 is the depth's.
    ///
    /// With parameters and several components, levels are set in each and the global ones made
    /// neutral, or with `bCommon` the global ones alone are set.
    /// @param bCommon    the least and greatest of all components for all
    /// @param bNoSearch  nothing is counted: levels are the ends of the depth, and with `bCommon`
    ///                   those in the wrong order; levels of several components stay
    /// @return 0; -9 with neither `param` nor `lut`; -8 above 192 components; codes of the search
    ///         and of Alloc. That of the table of the **last** component, with the set freed: -4 if
    ///         it is flat, 0, and `highPercent` above 0. Other tables that cannot be made are
    ///         zeros.
    static int GetAutoContrast(SQmLutParam* param, SQmLut* lut, const SQmPicBuf* pic,
                               double lowPercent, double highPercent, bool bCommon, bool bNoSearch);
    /// The same with ranges in place of the search; -9 if they are fewer than components.
    static int GetContrastFromMinMax(SQmLutParam* param, SQmLut* lut, const SQmPicBuf* pic,
                                     const std::vector<CQmRangeBase<unsigned int>>& ranges,
                                     double lowPercent, double highPercent, bool bCommon,
                                     bool bNoSearch);

    /// Levels of each channel, rounded to their depth, by GetHistoRange with `bFix`. **The last
    /// component of a channel of several takes no part.** Both are searched whatever is asked for.
    /// Channels are set one by one: those before one that cannot be searched keep what they got.
    static int GetAutoContrastMCH(CQmLutParamMCH* param, const SQmHisto* histo, bool bLow,
                                  bool bHigh, double lowPercent, double highPercent);
    /// One search over components 0 and 1, **without component 2**, sets all three.
    static int GetAutoContrastRGB(CQmLutParamRGB* param, const SQmHisto* histo, bool bLow,
                                  bool bHigh, double lowPercent, double highPercent);
    // What spectral pictures show is **measured**: of the mean of some components, each in its
    // colour, red, green and blue have limits from 0 to 255 (CQmPicMemAPI_Base::SpetralGetLoHiRGB;
    // a percent that is not asked for leaves its side out). The greatest of the lows is an offset,
    // 255 / the greatest of the highs a gain, which is 50 where nothing shows.
    //
    // -8 above 192 components, -3, and codes of what is measured with: -2 above 16 bits.

    /// Offset 0 and gain 0 are measured over all spectral components. Channels behind them have
    /// indexes from 1 on and are searched as in GetAutoContrastMCH: their offset is low, or 7 / 8
    /// of it if with `bHigh` it is above 7 / 8 of high, and 0 without `bLow`; their gain is top /
    /// high, 100000 for 0.
    /// @param colors  one a spectral component
    /// @return -9 also when depth or components are not those of the parameters
    static int GetAutoContrastSpectralTrueColor(CQmLutParamSpectralTrueColor* param,
                                                const unsigned int* colors, const SQmPicBuf* pic,
                                                bool bLow, bool bHigh, double lowPercent,
                                                double highPercent);
    /// The same with the colours of GetCompColors: every node gets what was measured, and channels
    /// stand behind the nodes.
    static int GetAutoContrastSpectralCustomColor(CQmLutParamSpectralCustomColor* param,
                                                  const SQmPicBuf* pic, bool bLow, bool bHigh,
                                                  double lowPercent, double highPercent);
    /// Each group is measured by itself, and the gain multiplied by the number of groups. If two of
    /// them show in one primary, the set that all of this makes is measured, too, with a scale of
    /// 1: gains are then multiplied by its gain, and all offsets become its offset. Groups without
    /// components stay. Channels stand behind the groups.
    /// @return -9 also without sizes of groups. A failure may leave some groups done.
    static int GetAutoContrastSpectralGrouped(CQmLutParamSpectralGrouped* param,
                                              const SQmPicBuf* pic, bool bLow, bool bHigh,
                                              double lowPercent, double highPercent);
    /// Gain and offset of the components in the mask, written to index 0 in modes 0 and 3, to
    /// `group` in mode 2, and to all nodes in mode 1.
    ///
    /// But in mode 2 with `group` -1 all groups that the mask touches are done as in
    /// GetAutoContrastSpectralGrouped, each as a whole; SQmLUTDataSpectral::GetAllGroupCount mends
    /// them first. The colour of a group is that of its last component. If `histo` is not null,
    /// components behind the spectral ones get their levels by AutoOneCompContrast; a black level
    /// of the first of them above 7 / 8 of the white level becomes 7 / 8 of itself.
    ///
    /// The lock of the spectral data is not held while the picture is looked at.
    /// @param colors  one for each spectral component and for each in the mask
    /// @return -9 also, in the second case, for parameters without groups, and when `histo` is
    ///         given and neither level asked for: then groups are done
    static int GetLutParamSpectAutocontrast(SQmLutParam* param, const SQmPicBuf* pic,
                                            const CQmRangeMask& mask, int group,
                                            const unsigned int* colors, const SQmHisto* histo,
                                            bool bLow, bool bHigh, double lowPercent,
                                            double highPercent);
    static int GetLutParamSpectAutocontrast(SQmLutParam* param, const SQmFloatPicBuf* pic,
                                            const CQmRangeMask& mask, int group,
                                            const unsigned int* colors, const SQmHisto* histo,
                                            bool bLow, bool bHigh, double lowPercent,
                                            double highPercent,
                                            const std::vector<CQmRangeBase<float>>& ranges);

    // ----- Typed parameters from old ones --------------------------------------------------------

    // The target gets the given counts by Reinit, whose codes are returned. Where the counts are
    // those that it has, spectral ones keep their sizes. -9 for null, -8 above 192 components, -3.
    // The old parameters stay as they are.

    /// Each channel has the levels and gamma of its first component; with fewer than two components
    /// those of the picture, and its gradient.
    static int ConvertOldLutParamToLutParamMCH(CQmLutParamMCH* dst, const SQmLutParam* old,
                                               unsigned int channels, unsigned int comps,
                                               const unsigned int* sizes, unsigned int bpc);
    static int ConvertOldLutParamToLutParamRGB(CQmLutParamRGB* dst, const SQmLutParam* old,
                                               unsigned int bpc);
    /// Gains and offsets of the old parameters' mode, and their gamma: here those of index 0, and
    /// the gradient. Spectral channels are the leading ones that hold `spectralComps` components.
    /// Channels behind them have the levels of their first component: offset GetMinSrc, gain
    /// GetMaxDst / GetMaxSrc, 100000 for 0.
    /// @param sizes  components of each channel. Null is -9 with components behind the spectral
    ///               ones; without these it stands for channels of one component.
    static int ConvertOldLutParamToLutSpectralTrueColor(
        CQmLutParamSpectralTrueColor* dst, const SQmLutParam* old, unsigned int spectralComps,
        unsigned int comps, unsigned int channels, const unsigned int* sizes, unsigned int bpc);
    /// Gain and colour of each node, and **the offset of the first one for all**. There are at most
    /// as many nodes as spectral channels.
    static int ConvertOldLutParamToLutSpectralCustomColor(
        CQmLutParamSpectralCustomColor* dst, const SQmLutParam* old, unsigned int spectralComps,
        unsigned int comps, unsigned int channels, const unsigned int* sizes, unsigned int bpc);
    /// Gain, offset, colour and size of each group, after groups that do not fit were made anew as
    /// in GetAllGroupCount. There are at most as many as spectral channels.
    static int ConvertOldLutParamToLutSpectralGrouped(CQmLutParamSpectralGrouped* dst,
                                                      const SQmLutParam* old,
                                                      unsigned int spectralComps,
                                                      unsigned int comps, unsigned int channels,
                                                      const unsigned int* sizes, unsigned int bpc);
};
