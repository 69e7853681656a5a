#pragma once

#include <cstdint>
#include <vector>

#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/export.h"
#include "qmpic/kernels/complex.h"
#include "qmpic/kernels/float.h"
#include "qmpic/kernels/stretch.h"
#include "qmpic/system/RangeBase.h"

class SQmLut;

/// Operations on raw memory of floats. Results are codes of qmpic/status.h unless said otherwise.
///
/// Rows are found by an index of floats that is made in 32 bits, (y * stride) / 4: strides count
/// whole floats only (10 bytes put the rows at floats 0, 2, 5, 7), and pictures of more than 4 GiB
/// wrap. Memory may lie at any address; gaps between rows are neither read nor written. The height
/// is `uiSizeInPixels` / `uiWidth`: an incomplete last row does not count. Null for the destination
/// or the first source, a width of 0 and a size of 0 are no-ops that give 0.
///
/// Packed memory is one run of floats without gaps; its counts are products of 32 bits, which wrap.
///
/// Floats are computed in single precision, step by step as written. What is said to run "on a
/// team" always shares its rows among an OpenMP team, however few they are; everything else runs in
/// the calling thread. A destination may be a source (same address, same stride). Other overlap is
/// the caller's fault, but in the operations of the calling thread that compute or convert sample
/// by sample: those read and write one sample before the next, in ascending order.
class QM_API CQmFloatPicMemAPI_Base {
  public:
    // ----- Sample by sample ----------------------------------------------------------------------
    // Components make no difference here: a row is `uiWidth` * `uiComponents` samples.

    /// -a where a is below 0, a elsewhere: minus zero and NaNs keep their sign. On a team.
    static int Abs(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrc,
                   std::uint32_t uiSrcWidthBytes, std::uint32_t uiComponents, std::uint32_t uiWidth,
                   std::uint64_t uiSizeInPixels);

    /// The sum of a float and of a byte or word made a float.
    static int AddFloatnUint8(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrcA,
                              std::uint32_t uiSrcAWidthBytes, const unsigned char* pSrcB,
                              std::uint32_t uiSrcBWidthBytes, std::uint32_t uiComponents,
                              std::uint32_t uiWidth, std::uint64_t uiSizeInPixels);
    static int AddFloatnUint16(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrcA,
                               std::uint32_t uiSrcAWidthBytes, const unsigned short* pSrcB,
                               std::uint32_t uiSrcBWidthBytes, std::uint32_t uiComponents,
                               std::uint32_t uiWidth, std::uint64_t uiSizeInPixels);

    /// c / a, but 0 where a is 0. On a team.
    static int DivConstnFloat(float* pDst, std::uint32_t uiDstWidthBytes, float fConst,
                              const float* pSrc, std::uint32_t uiSrcWidthBytes,
                              std::uint32_t uiComponents, std::uint32_t uiWidth,
                              std::uint64_t uiSizeInPixels);
    /// a / b, but 0 where b is 0, also for 0 / 0. On a team.
    static int DivFloatnFloat(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrcA,
                              std::uint32_t uiSrcAWidthBytes, const float* pSrcB,
                              std::uint32_t uiSrcBWidthBytes, std::uint32_t uiComponents,
                              std::uint32_t uiWidth, std::uint64_t uiSizeInPixels);
    /// c - a. On a team.
    static int SubConstnFloat(float* pDst, std::uint32_t uiDstWidthBytes, float fConst,
                              const float* pSrc, std::uint32_t uiSrcWidthBytes,
                              std::uint32_t uiComponents, std::uint32_t uiWidth,
                              std::uint64_t uiSizeInPixels);

    /// The smaller, or the greater, of the constant and a. a where they are equal (zeros of either
    /// sign are) and where either is NaN: so a NaN sample stays, and a NaN constant changes
    /// nothing.
    static int MinFloatnConst(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrc,
                              std::uint32_t uiSrcWidthBytes, float fConst,
                              std::uint32_t uiComponents, std::uint32_t uiWidth,
                              std::uint64_t uiSizeInPixels);
    static int MaxFloatnConst(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrc,
                              std::uint32_t uiSrcWidthBytes, float fConst,
                              std::uint32_t uiComponents, std::uint32_t uiWidth,
                              std::uint64_t uiSizeInPixels);
    /// a where it is below (above) b, b elsewhere: also where they are equal or either is NaN. On a
    /// team.
    static int MinFloatnFloat(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrcA,
                              std::uint32_t uiSrcAWidthBytes, const float* pSrcB,
                              std::uint32_t uiSrcBWidthBytes, std::uint32_t uiComponents,
                              std::uint32_t uiWidth, std::uint64_t uiSizeInPixels);
    static int MaxFloatnFloat(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrcA,
                              std::uint32_t uiSrcAWidthBytes, const float* pSrcB,
                              std::uint32_t uiSrcBWidthBytes, std::uint32_t uiComponents,
                              std::uint32_t uiWidth, std::uint64_t uiSizeInPixels);

    /// The logarithm to the base that comes first among the arguments, std::log(x) / std::log(base)
    /// in float: of b to the base a, of the constant to the base a, and of a to the base of the
    /// constant. The last one gives the natural logarithm when the constant is not above 0. A base
    /// of 1 divides by zero. On a team.
    static int Log(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrcA,
                   std::uint32_t uiSrcAWidthBytes, const float* pSrcB,
                   std::uint32_t uiSrcBWidthBytes, std::uint32_t uiComponents,
                   std::uint32_t uiWidth, std::uint64_t uiSizeInPixels);
    static int Log(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrc, float fConst,
                   std::uint32_t uiSrcWidthBytes, std::uint32_t uiComponents, std::uint32_t uiWidth,
                   std::uint64_t uiSizeInPixels);
    static int Log(float* pDst, std::uint32_t uiDstWidthBytes, float fConst, const float* pSrc,
                   std::uint32_t uiSrcWidthBytes, std::uint32_t uiComponents, std::uint32_t uiWidth,
                   std::uint64_t uiSizeInPixels);
    /// The power of the base that comes first among the arguments, std::pow in float: a to the b, a
    /// to the constant, the constant to the a. On a team.
    static int Pow(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrcA,
                   std::uint32_t uiSrcAWidthBytes, const float* pSrcB,
                   std::uint32_t uiSrcBWidthBytes, std::uint32_t uiComponents,
                   std::uint32_t uiWidth, std::uint64_t uiSizeInPixels);
    static int Pow(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrc, float fConst,
                   std::uint32_t uiSrcWidthBytes, std::uint32_t uiComponents, std::uint32_t uiWidth,
                   std::uint64_t uiSizeInPixels);
    static int Pow(float* pDst, std::uint32_t uiDstWidthBytes, float fConst, const float* pSrc,
                   std::uint32_t uiSrcWidthBytes, std::uint32_t uiComponents, std::uint32_t uiWidth,
                   std::uint64_t uiSizeInPixels);

    // ----- In place, packed: uiWidth * uiHeight * uiComponents floats in 32 bits -----------------

    /// 1 / x, but zeros stay, with their sign.
    static int Inversion(float* pData, std::uint32_t uiWidth, std::uint32_t uiHeight,
                         std::uint32_t uiComponents);
    /// std::log(|x|), but zeros stay: -2 gives ln 2.
    static int Logarithm(float* pData, std::uint32_t uiWidth, std::uint32_t uiHeight,
                         std::uint32_t uiComponents);
    /// x * factor.
    static int MultiplybyFloat(float* pData, float fFactor, std::uint32_t uiWidth,
                               std::uint32_t uiHeight, std::uint32_t uiComponents);
    /// The same on a team that shares the floats and not the rows.
    static int MultiplybyFloatSSE_parallel(float* pData, float fFactor, std::uint32_t uiWidth,
                                           std::uint32_t uiHeight, std::uint32_t uiComponents);

    /// In place: (x - min) / (max - min) with the bounds of the sample's component; equal bounds
    /// give infinities and NaNs. On a team. -4 when one of the three pointers is null.
    ///
    /// @param uiRowFloats floats (not bytes) from row to row
    static int Normalize(float* pData, std::uint32_t uiRowFloats, std::uint32_t uiComponents,
                         std::uint32_t uiWidth, std::uint32_t uiHeight, const float* pfMin,
                         const float* pfMax);
    /// Packed: (mask * a) / ucMax, where one byte of the mask is for all components of a pixel. An
    /// `ucMax` of 0 gives infinities and NaNs. -4, with nothing written, when the two counts of
    /// components differ.
    static int MaskFloatWithGray(float* pDst, std::uint32_t uiDstComponents, const float* pSrc,
                                 std::uint32_t uiSrcComponents, const unsigned char* pucMask,
                                 std::uint32_t uiWidth, std::uint64_t uiSizeInPixels,
                                 unsigned char ucMax);

    // ----- Fills ---------------------------------------------------------------------------------

    /// Every pixel becomes the one at `pfValues`, which has `uiComponents` floats.
    static int SetValue(float* pData, std::uint32_t uiComponents, std::uint32_t uiWidthBytes,
                        const float* pfValues, std::uint32_t uiWidth, std::uint64_t uiSizeInPixels);
    /// `uiRowFloats` * `uiRows` floats, one behind the other, become `fValue`, with its sign if it
    /// is a zero.
    static int SetMonoValue(float* pData, std::uint32_t uiRowFloats, std::uint32_t uiRows,
                            float fValue);
    /// Component `uiComponent` of every pixel becomes the low byte of the truncated `fValue`: 300.7
    /// gives 44, 0.5 gives 0, -1.5 gives 255; NaN and what no int holds give 0. The index is not
    /// compared with the count.
    static int SetComponentValue(float* pData, std::uint32_t uiComponents,
                                 std::uint32_t uiWidthBytes, std::uint32_t uiComponent,
                                 float fValue, std::uint32_t uiWidth, std::uint64_t uiSizeInPixels);

    // ----- Statistics ----------------------------------------------------------------------------
    // NaNs are skipped by extremes. The first of several zeros gives an extreme its sign.

    /// The least and the greatest sample of all components. They begin at FLT_MAX and -FLT_MAX,
    /// which is what an empty picture and one of NaNs leave; an infinity beyond them is not found.
    /// Either output may be null.
    static int GetFloatMinMax(const float* pData, std::uint32_t uiWidthBytes,
                              std::uint32_t uiComponents, std::uint32_t uiWidth,
                              std::uint64_t uiSizeInPixels, float* pfMin, float* pfMax);
    /// The same of each component, into arrays of `uiComponents` floats.
    static int GetFloatMinMaxInComps(const float* pData, std::uint32_t uiWidthBytes,
                                     std::uint32_t uiComponents, std::uint32_t uiWidth,
                                     std::uint64_t uiSizeInPixels, float* pfMin, float* pfMax);

    /// Not a code: the sum of all samples, in double, row by row, divided by `uiSizeInPixels`. So
    /// with several components it is the sum of their means: 3.0 for three components of 1.0. An
    /// empty picture has 0.0.
    static double Mean(const float* pData, std::uint32_t uiWidthBytes, std::uint32_t uiComponents,
                       std::uint32_t uiWidth, std::uint64_t uiSizeInPixels);

    // Packed, one result a component, in arrays of `uiComponents` floats.

    /// The sum in single precision, in the order of the pixels, divided by their number as a float:
    /// no pixels have NaN.
    static int MeanComp(float* pfMean, const float* pData, std::uint32_t uiWidth,
                        std::uint32_t uiHeight, std::uint32_t uiComponents);
    /// The extremes; they begin at 1e20 and -1e20, and what lies beyond is not found.
    static int MinComp(float* pfMin, const float* pData, std::uint32_t uiWidth,
                       std::uint32_t uiHeight, std::uint32_t uiComponents);
    static int MaxComp(float* pfMax, const float* pData, std::uint32_t uiWidth,
                       std::uint32_t uiHeight, std::uint32_t uiComponents);
    /// The upper median: 3 of 1, 2, 3, 4. Minus zero counts as below zero, NaNs as beyond the
    /// infinities of their sign. No pixels have 0. -3 when there is no memory for one component.
    static int MedianComp(float* pfMedian, const float* pData, std::uint32_t uiWidth,
                          std::uint32_t uiHeight, std::uint32_t uiComponents);
    /// In single precision: the sum of (x - mean)^2 in the order of the pixels, divided by one less
    /// than their number, to the power of 0.5. One pixel divides by zero.
    ///
    /// @param pfMean the means, which are the caller's
    static int DeviationComp(float* pfDeviation, const float* pfMean, const float* pData,
                             std::uint32_t uiWidth, std::uint32_t uiHeight,
                             std::uint32_t uiComponents);

    // ----- Moves and conversion ------------------------------------------------------------------

    /// Rows copied from top to bottom, each as a block.
    static int Copy(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrc,
                    std::uint32_t uiSrcWidthBytes, std::uint32_t uiComponents,
                    std::uint32_t uiWidth, std::uint64_t uiSizeInPixels);
    /// Component `uiSrcComponent` of every pixel becomes component `uiDstComponent`; the others
    /// stay. Indexes are not compared with the counts. On a team.
    static int CopyComponent(float* pDst, std::uint32_t uiDstComponents,
                             std::uint32_t uiDstWidthBytes, std::uint32_t uiDstComponent,
                             const float* pSrc, std::uint32_t uiSrcComponents,
                             std::uint32_t uiSrcWidthBytes, std::uint32_t uiSrcComponent,
                             std::uint32_t uiWidth, std::uint64_t uiSizeInPixels);
    /// Integer samples as floats: bytes for a depth of 8, words for any other up to 16 (also below
    /// 8), 32-bit words up to 32, rounded to the nearest and never negative. -2 above 32.
    static int ConvertPictureToFloat(float* pDst, std::uint32_t uiDstWidthBytes, const void* pSrc,
                                     std::uint32_t uiSrcWidthBytes, std::uint32_t uiBpc,
                                     std::uint32_t uiComponents, std::uint32_t uiWidth,
                                     std::uint32_t uiHeight);

    /// Of an integer picture: up to 8 bits, or 9 to 16; -2 above. On a team.
    static int CopyComponent(float* pDst, std::uint32_t uiDstComponents,
                             std::uint32_t uiDstWidthBytes, std::uint32_t uiDstComponent,
                             const void* pSrc, std::uint32_t uiSrcComponents,
                             std::uint32_t uiSrcWidthBytes, std::uint32_t uiSrcComponent,
                             std::uint32_t uiBpc, std::uint32_t uiWidth,
                             std::uint64_t uiSizeInPixels);
    /// The same; entry `uiDstComponent` of `pfMin` and of `pfMax` becomes the least and the
    /// greatest of what it was and of the samples.
    static int CopyComponent(float* pDst, float* pfMin, float* pfMax, std::uint32_t uiDstComponents,
                             std::uint32_t uiDstWidthBytes, std::uint32_t uiDstComponent,
                             const void* pSrc, std::uint32_t uiSrcComponents,
                             std::uint32_t uiSrcWidthBytes, std::uint32_t uiSrcComponent,
                             std::uint32_t uiBpc, std::uint32_t uiWidth,
                             std::uint64_t uiSizeInPixels);
    /// One component becomes a picture, and a picture one component. On a team.
    static int ExtractComponent(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrc,
                                std::uint32_t uiSrcWidthBytes, std::uint32_t uiSrcComponents,
                                std::uint32_t uiSrcComponent, std::uint32_t uiWidth,
                                std::uint64_t uiSizeInPixels);
    static int StoreComponent(float* pDst, std::uint32_t uiDstComponents,
                              std::uint32_t uiDstWidthBytes, std::uint32_t uiDstComponent,
                              const float* pSrc, std::uint32_t uiSrcWidthBytes,
                              std::uint32_t uiWidth, std::uint64_t uiSizeInPixels);
    /// Components `uiSrcFirst` to `uiSrcLast`, both included, of each pixel become those from
    /// `uiDstFirst` on; nothing is done when the last is below the first. Indexes count components,
    /// unlike the bytes of the integer operation, and are not compared with the counts.
    static int ExtractComponentRange(float* pDst, std::uint32_t uiDstWidthBytes,
                                     std::uint32_t uiDstComponents, std::uint32_t uiDstFirst,
                                     const float* pSrc, std::uint32_t uiSrcComponents,
                                     std::uint32_t uiSrcWidthBytes, std::uint32_t uiSrcFirst,
                                     std::uint32_t uiSrcLast, std::uint32_t uiWidth,
                                     std::uint64_t uiSizeInPixels);
    /// Every component becomes the source's only one.
    static int ExpandComponent(float* pDst, std::uint32_t uiDstComponents,
                               std::uint32_t uiDstWidthBytes, const float* pSrc,
                               std::uint32_t uiSrcWidthBytes, std::uint32_t uiWidth,
                               std::uint64_t uiSizeInPixels);
    /// One component of many. Without weights their mean: the sum in order, divided by their number
    /// as a float. With weights the sum of x * weight, each product made in double and added as a
    /// float. Sums begin at 0: of no components the mean is NaN. Here the destination may not be
    /// the source.
    /// @param pdWeights  null, or one a component
    static int CollapseComponents(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrc,
                                  std::uint32_t uiSrcComponents, std::uint32_t uiSrcWidthBytes,
                                  const double* pdWeights, std::uint32_t uiWidth,
                                  std::uint64_t uiSizeInPixels);
    /// ConvertPictureToFloat, divided by the depth's greatest value, in single precision. On a
    /// team. That of 32 bits is 0 here, which gives infinities and NaN. Above 32 bits nothing is
    /// done, and the result is 0.
    static int ConvertPictureToNormalizedFloat(float* pDst, std::uint32_t uiDstWidthBytes,
                                               const void* pSrc, std::uint32_t uiSrcWidthBytes,
                                               std::uint32_t uiBpc, std::uint32_t uiComponents,
                                               std::uint32_t uiWidth, std::uint32_t uiHeight);
    /// Floats as integers: double((x - fMin) * s) + 0.5, cut, kept within 0 and the depth's
    /// greatest value; NaN gives 0, 0.49999997 too. s is 1, or with `bScale`, where the limits
    /// differ, that value / (fMax - fMin), in single precision. fMin is subtracted either way. 8
    /// bits are stored as bytes, other depths up to 16 as words, also those below 8, and 17 to 32
    /// as 32-bit words that hold **the low 16 bits** of the result; with 32 bits whatever is not
    /// below 0 is 65535.
    /// @return 0; -9 above 32 bits
    static int ConvertFloatToPicture(void* pDst, std::uint32_t uiBpc, std::uint32_t uiDstWidthBytes,
                                     const float* pSrc, float fMin, float fMax, bool bScale,
                                     std::uint32_t uiSrcWidthBytes, std::uint32_t uiComponents,
                                     std::uint32_t uiWidth, std::uint32_t uiHeight);

    // ----- To the screen -------------------------------------------------------------------------

    /// A float picture to 3 x 8 bits, blue, green, red. With a parametric set: -4 if its cells do
    /// not have 8 bits, black if its mask is empty, else MapComponentsMToNToUint. Otherwise, also
    /// with a set of tables, ConvertFloatToPicture with the least and greatest limit of `ranges`,
    /// scaled only if they are **more than 255 apart**; one component as grey, three as they come,
    /// other numbers -4. -3 without memory for a byte a pixel of one component.
    static int ConvertToTrueColor(void* pDst, std::uint32_t uiDstWidthBytes, const float* pSrc,
                                  std::uint32_t uiComponents, std::uint32_t uiSrcWidthBytes,
                                  std::uint32_t uiWidth, std::uint64_t uiSizeInPixels,
                                  const SQmLut* pLut,
                                  const std::vector<CQmRangeBase<float>>& ranges);
    /// nonspect_render_NxFloat_3x8_float. Components and depth of the destination are not read. -4
    /// without a set or its parameters.
    static int MapComponentsMToNToUint(void* pDst, std::uint32_t uiDstComponents,
                                       std::uint32_t uiDstBpc, std::uint32_t uiDstWidthBytes,
                                       const float* pSrc, std::uint32_t uiSrcComponents,
                                       std::uint32_t uiSrcWidthBytes, const SQmLut* pLut,
                                       std::uint32_t uiWidth, std::uint64_t uiSizeInPixels,
                                       const std::vector<CQmRangeBase<float>>& ranges);
    /// The same to floats of 0 to 255, which are not cut: half of white is 127.5. Where there is a
    /// table, they are its bytes.
    static int ConvertFloatToRGBFloat(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrc,
                                      std::uint32_t uiSrcComponents, std::uint32_t uiSrcWidthBytes,
                                      const SQmLut* pLut, std::uint32_t uiWidth,
                                      std::uint64_t uiSizeInPixels,
                                      const std::vector<CQmRangeBase<float>>& ranges);

    /// A window at any zoom: as CQmPicMemAPI_Base::StretchDisplay, without blocks, without a
    /// shortcut for equal sizes, and with sums in single precision, times 0.0009765625 after each
    /// pass. `uiBpc` is not read. Pictures are not tested for null.
    /// @return -9 for a virtual size of 0; 0, also for a destination size of 0; -9 for a source
    ///         size of 0; -3 without memory
    static int StretchDisplay(float* pDst, std::uint32_t uiDstWidth, std::uint32_t uiDstHeight,
                              std::uint32_t uiComponents, std::uint32_t uiDstWidthBytes,
                              std::uint32_t uiBpc, std::uint32_t uiVirtualWidth,
                              std::uint32_t uiVirtualHeight, std::uint32_t uiLeft,
                              std::uint32_t uiTop, const float* pSrc, std::uint32_t uiSrcWidth,
                              std::uint32_t uiSrcHeight, std::uint32_t uiSrcWidthBytes,
                              CQmPicMemAPI_Base::EQmPicStretchMode eMode, bool bFlipX, bool bFlipY);
    /// One component of a region, stretched so that samples without a value (-FLT_MAX) take no
    /// part: see stretch_float_generic_horz_1_validity, and stretch_float_quick_1 for quick. The
    /// rows read above and below the region are as many as the filter needs for the stretch of the
    /// **widths**. On a team.
    /// @param pDst, pSrc  first element of the component; of the source the region's first
    /// @return 0, also for a size of 0; -3 without memory
    static int Stretch_WithValidity(float* pDst, std::uint32_t uiComponents,
                                    std::uint32_t uiDstWidthBytes, std::uint32_t uiDstWidth,
                                    std::uint32_t uiDstHeight, const float* pSrc,
                                    std::uint32_t uiSrcWidthBytes, std::uint32_t uiSrcWidth,
                                    std::uint32_t uiSrcHeight, std::uint32_t uiSrcLeft,
                                    std::uint32_t uiSrcTop, std::uint32_t uiRoiWidth,
                                    std::uint32_t uiRoiHeight,
                                    CQmPicMemAPI_Base::EQmPicStretchMode eMode);

    // ----- Spectral statistics -------------------------------------------------------------------
    //
    // As those of CQmPicMemAPI_Base, of floats: top is hi - lo, the limits of
    // nonspect_render_NxFloat_3x8_float, and lo is not subtracted. A processor word with SSE2 is
    // not asked for. `puiMask` has a word a component: samples count as 0 where it is 0.

    static int SpetralGetHistoRGB(std::uint32_t* puiHisto0, std::uint32_t* puiHisto1,
                                  std::uint32_t* puiHisto2, const float* pSrc,
                                  std::uint32_t uiWidthBytes,
                                  const std::vector<CQmRangeBase<float>>& ranges,
                                  std::uint32_t uiComponents, std::uint32_t uiWidth,
                                  std::uint32_t uiSizeInPixels, const std::uint32_t* puiColors,
                                  const std::uint32_t* puiMask, double dScale);
    static int SpetralGetHistoRGBEx(std::uint32_t* puiHisto0, std::uint32_t* puiHisto1,
                                    std::uint32_t* puiHisto2, const float* pSrc,
                                    std::uint32_t uiWidthBytes,
                                    const std::vector<CQmRangeBase<float>>& ranges,
                                    std::uint32_t uiComponents, std::uint32_t uiWidth,
                                    std::uint32_t uiSizeInPixels, const SQmLut* pLut);
    /// Percentiles are computed when `pdLow` with `dLowPercent` above 0, or `pdHigh` with
    /// `dHighPercent` above 0, is wanted.
    static int SpetralGetLoHiRGB(double* pdLow, double* pdHigh, const float* pSrc,
                                 std::uint32_t uiWidthBytes,
                                 const std::vector<CQmRangeBase<float>>& ranges,
                                 std::uint32_t uiComponents, std::uint32_t uiWidth,
                                 std::uint32_t uiSizeInPixels, const std::uint32_t* puiColors,
                                 const std::uint32_t* puiMask, double dScale, double dLowPercent,
                                 double dHighPercent);
    static int SpetralGetLoHiRGBEx(double* pdLow, double* pdHigh, const float* pSrc,
                                   std::uint32_t uiWidthBytes,
                                   const std::vector<CQmRangeBase<float>>& ranges,
                                   std::uint32_t uiComponents, std::uint32_t uiWidth,
                                   std::uint32_t uiSizeInPixels, const SQmLut* pLut,
                                   double dLowPercent, double dHighPercent);

    // ----- Layout, packed: rows of uiWidth * uiComponents floats ---------------------------------

    /// The source in the middle of zeros, at half of the difference of the sizes, cut. An empty
    /// source leaves zeros.
    /// @return 0; -4, with nothing written, unless the destination is at least as wide and as high
    static int ZeroPad(float* pDst, std::uint32_t uiDstWidth, std::uint32_t uiDstHeight,
                       const float* pSrc, std::uint32_t uiSrcWidth, std::uint32_t uiSrcHeight,
                       std::uint32_t uiComponents);
    /// The same, with margins as if the source repeated itself. Those on the right are **left as
    /// they are where the source ends at or below the row whose number is the destination's
    /// width**, as in narrow, high pictures.
    /// @return 0; -4 also, with nothing written, for a margin wider or higher than the source
    static int TilePad(float* pDst, std::uint32_t uiDstWidth, std::uint32_t uiDstHeight,
                       const float* pSrc, std::uint32_t uiSrcWidth, std::uint32_t uiSrcHeight,
                       std::uint32_t uiComponents);
    /// Exchanges the quadrants, as pictures of frequencies need it. Rows move by half of the
    /// height; of an odd width the last column of the source is lost, and that of the destination
    /// left as it is. The destination may not be the source.
    static int FlipCross(float* pDst, const float* pSrc, std::uint32_t uiComponents,
                         std::uint32_t uiUnused, std::uint32_t uiWidth, std::uint32_t uiHeight);

    /// Mirrors rows. With the destination at the source's address it is
    /// CQmPicMemAPI_Base::FlipHor with all arguments, where `uiBpc` has to be 32; else `uiBpc` is
    /// not read.
    /// @param uiWidthBytes  bytes from row to row of both
    static int FlipHor(float* pDst, float* pSrc, std::uint32_t uiBpc, std::uint32_t uiComponents,
                       std::uint32_t uiWidthBytes, std::uint32_t uiWidth, std::uint32_t uiHeight);
    /// CQmPicMemAPI_Base::FlipVert of two memories.
    static int FlipVert(float* pDst, std::uint32_t uiDstWidthBytes, const float* pSrc,
                        std::uint32_t uiSrcWidthBytes, std::uint32_t uiWidth,
                        std::uint64_t uiSizeInPixels);

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

    // ----- Focus ---------------------------------------------------------------------------------

    // ----- Colocalization ------------------------------------------------------------------------

    // ----- Tone mapping --------------------------------------------------------------------------

    // ----- Complex pictures ----------------------------------------------------------------------
    //
    // Two planes of one format: amplitude and phase (radians, 0 to 2 pi), or real and imaginary
    // part. Only a width or a size of 0 is a no-op that gives 0, before anything else is looked at;
    // pointers are not tested. Sines and their like are the C library's.

    /// The packed floats of `uiWidth` * `uiComponents` and all whole rows, counted in 64 bits: real
    /// = cos(phase) * amplitude, imaginary = sin(phase) * amplitude. Either plane may be written
    /// over either.
    /// @return 0
    static int AmpnPhase_to_RealnImag(float* pReal, float* pImag, const float* pAmp,
                                      const float* pPhase, std::uint32_t uiComponents,
                                      std::uint32_t uiWidth, std::uint64_t uiSizeInPixels);
    /// And back: amplitude = sqrt(i * i + r * r); phase = acos(r / amplitude) for i above 0,
    /// 6.283185 less that for i below 0, and for i = 0 it is 0 or, below 0, pi. So (0, -1) is
    /// amplitude 1 and phase 4.712389, (0, 0) is 0 and 0. Squares that underflow make r / amplitude
    /// more than 1 and the phase NaN.
    /// @return 0
    static int RealnImag_to_AmpnPhase(float* pAmp, float* pPhase, const float* pReal,
                                      const float* pImag, std::uint32_t uiComponents,
                                      std::uint32_t uiWidth, std::uint64_t uiSizeInPixels);

    /// Shows the amplitude as integers, see the kernels `extract_Float2_to_*`; the phase is not
    /// read.
    /// @return 0; -4 unless the two numbers of components are the same; -2 for depths other than 8
    ///         and 9 to 16
    static ExtractFloatKernel ExtractFloatAPtoRGB;
    /// The same of real and imaginary parts, which are packed whatever `uiSrcWidthBytes` says.
    /// Nothing is allocated.
    /// @return 0 for an empty area; -4 as above; else **always -2**, which is no failure: the
    ///         picture is written where the depth is one of those above
    static ExtractFloatKernel ExtractFloatRItoRGB;

    /// Loads a picture as amplitude, with a phase of 0; see the kernels `extract_Nx*_to_*Float2`.
    /// With one destination component that is the mean of the components, with three it is all of
    /// them, one after the other.
    /// @return 0; -4 for more destination than source components; -2 for other numbers of
    ///         destination components than 1 and 3 and for depths other than 8 and 9 to 16
    static ExtractToFloatKernel ExtractRGBtoFloatAP;
    /// The same as real part, with an imaginary part of 0.
    static ExtractToFloatKernel ExtractRGBtoFloatRI;
};
