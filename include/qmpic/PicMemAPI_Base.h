#pragma once

#include <cstdint>
#include <map>

#include "qmpic/export.h"
#include "qmpic/kernels/accumulation.h"
#include "qmpic/kernels/acquisition.h"
#include "qmpic/kernels/binary.h"
#include "qmpic/kernels/bit_depth.h"
#include "qmpic/kernels/components.h"
#include "qmpic/kernels/composition.h"
#include "qmpic/kernels/constants.h"
#include "qmpic/kernels/correlation.h"
#include "qmpic/kernels/drawing.h"
#include "qmpic/kernels/frame.h"
#include "qmpic/kernels/fret.h"
#include "qmpic/kernels/grey.h"
#include "qmpic/kernels/histogram.h"
#include "qmpic/kernels/histogram2d.h"
#include "qmpic/kernels/luts.h"
#include "qmpic/kernels/masks.h"
#include "qmpic/kernels/ratio.h"
#include "qmpic/kernels/repair.h"
#include "qmpic/kernels/spectral.h"
#include "qmpic/kernels/threshold.h"
#include "qmpic/kernels/two_picture.h"

class SQmLut;
struct SQmRatioDesc;

/// Operations on raw picture memory. Each entry chooses the kernel by component count and depth and
/// hands its arguments on.
///
/// They return 0, also for a null destination or first source, a width or a size of 0 (nothing is
/// touched then); -2 when there is no kernel for the format. Depths are 8, 9 to 16 and 17 to 32;
/// anything else is no format at all, unless a line says otherwise. The pixels of a call belong to
/// it until it returns; calls on distinct memory may run at the same time.
class QM_API CQmPicMemAPI_Base {
  public:
    // ----- Numbers of a depth, and the processor -------------------------------------------------

    /// Bytes of a component: 1 up to 8 bits, 2 up to 16, 4 up to 32, 8 up to 64; 0 for 0 and above.
    static uint32_t CalcCompSize(uint32_t uiBpc);
    /// Bytes of a row rounded up to a multiple of `uiAlignment` (above 0), in 32 bits, which wrap:
    /// 5 pixels of 3 bytes at 4 are 16.
    static uint32_t CalcWidthBytes(uint32_t uiWidth, uint32_t uiBpc, uint32_t uiComponents,
                                   uint32_t uiAlignment);
    /// Greatest value of an unsigned component: 4095 for 12 bits, 0xFFFFFFFF for 32. Beyond 32 the
    /// bits count modulo 32, here and below.
    static uint32_t CalcUintMax(uint32_t uiBpc);
    /// Greatest value of a signed component: 127 for 8 bits.
    static int32_t CalcIntMax(uint32_t uiBpc);
    /// Least value of a signed component: -128 for 8 bits.
    static int32_t CalcIntMin(uint32_t uiBpc);
    /// Greatest value of a depth on the scale of 8 bits: 255.0 up to 8 bits, 255.9375 for 12.
    static double CalcDblMax(uint32_t uiBpc);
    /// A value on the scale of 8 bits: 24 of 12 bits is 1.5.
    static double CalcUintToDbl(uint32_t uiValue, uint32_t uiBpc);
    /// Back, toward zero: 1.5 is 24 at 12 bits. What does not fit gives the low 32 bits of the
    /// 64-bit integer (-1.5 at 8 bits 0xFFFFFFFF), NaN 0.
    static uint32_t CalcDblToUint(double dValue, uint32_t uiBpc);
    /// Decimals that show a value on the scale of 8 bits: 0 up to 8 bits, 1 for 9 to 11, 2 for 12
    /// to 14, 3 for 15 to 17.
    static uint32_t CalcDecimalPrecision(uint32_t uiBpc);
    /// A value from one depth to another. Down: low bits are cut off, 65535 of 16 bits is 255 of 8.
    /// Up: its top bits fill the low bits, so that full scale stays full scale, 255 of 8 bits is
    /// 65535 of 16 and 4095 of 12. To more than twice the bits the low bits become 0 instead.
    static uint32_t CalcConvertBpc(uint32_t uiDstBpc, uint32_t uiValue, uint32_t uiSrcBpc);

    /// Has the processor SSE2? The first call asks it and fills the two below; every call answers
    /// by bit 26 of the last word, so that a caller who clears that bit is believed. Any number of
    /// threads may call.
    static bool IsCPU_SSE2();
    static bool s_bCPUInfoInited;        ///< the words below are filled
    static std::int32_t s_piCPUInfo[4];  ///< identification leaf 1: eax, ebx, ecx, edx

    // ----- Whole lines, single pixels, values ----------------------------------------------------

    /// Any depth. See the kernel `copy` for what a line is and what happens to one that is too
    /// long.
    static CopyKernel Copy;
    /// Any depth; as the kernel `set`.
    static SetKernel Set;

    /// 8 bits and 9 to 16 bits; `pValue`, one pixel, is not tested for null.
    static int SetValue(void* pDst, uint32_t uiComponents, uint32_t uiBpc, uint32_t uiDstWidthBytes,
                        const void* pValue, uint32_t uiWidth, uint64_t uiSizeInPixels);
    /// 8 bits, which take the low byte of the value, and 9 to 16 bits. The index is not compared
    /// with `uiComponents`.
    static int SetComponentValue(void* pDst, uint32_t uiComponents, uint32_t uiBpc,
                                 uint32_t uiDstWidthBytes, uint32_t uiComponentIndex,
                                 unsigned short usValue, uint32_t uiWidth, uint64_t uiSizeInPixels);
    /// 8 bits and 9 to 16 bits; the two pixels are not tested for null.
    static int ChangeValue(void* pDst, uint32_t uiComponents, uint32_t uiBpc,
                           uint32_t uiDstWidthBytes, const void* pNewValue, const void* pOldValue,
                           uint32_t uiWidth, uint64_t uiSizeInPixels);

    /// One pixel; nothing is tested, neither pointer nor coordinates. 1 component of exactly 8 or
    /// 16 bits takes the low bits of the colour; 3 and 4 components of 8 bits take its low bytes,
    /// the highest of them first: 0x112233 becomes 11 22 33. -2 for all others, 9 to 15 bits too.
    static int SetColor(void* pDst, uint32_t uiX, uint32_t uiY, uint32_t uiComponents,
                        uint32_t uiBpc, uint32_t uiDstWidthBytes, uint32_t uiColor);
    /// The same back, but only for 8 bits of 1 or 3 components; the other bits become 0. -2 for all
    /// others, also where SetColor writes.
    static int GetColor(const void* pSrc, uint32_t uiX, uint32_t uiY, uint32_t uiComponents,
                        uint32_t uiBpc, uint32_t uiSrcWidthBytes, uint32_t* puiColor);

    /// Any depth. Returns the comparison, as the kernel `compare` (which takes components and depth
    /// the other way round), and 0 for null or empty memory.
    /// @param piResult becomes 0 and nothing else; may be null
    static int Compare(const void* p1, uint32_t uiWidthBytes1, const void* p2,
                       uint32_t uiWidthBytes2, uint32_t uiBpc, uint32_t uiComponents,
                       uint32_t uiWidth, uint64_t uiSizeInPixels, int* piResult);
    /// Returns the comparison: value 1 - value 2 of the first unequal pair, else 0, also for null
    /// or empty memory and for depths but 8 and 9 to 16.
    /// @param piResult 0, or -2 for another depth; may be null
    static int CompareComponent(const void* p1, uint32_t uiComponents1, uint32_t uiWidthBytes1,
                                uint32_t uiComponentIndex1, const void* p2, uint32_t uiComponents2,
                                uint32_t uiWidthBytes2, uint32_t uiComponentIndex2, uint32_t uiBpc,
                                uint32_t uiWidth, uint64_t uiSizeInPixels, int* piResult);

    // ----- Two-picture arithmetic ----------------------------------------------------------------

    /// The second source is not tested for null.
    static TwoPictureKernel AddAndClip, SubAndClip;
    /// Depths of 8 to 16; the second source is not tested for null.
    static TwoPictureKernel Min, Max;
    /// Depths of 8 to 16, all of them by the kernels for bytes. Above 8 bits these treat the first
    /// `uiWidth * uiComponents` bytes of each row, which is its first half, as samples, with the
    /// weights and the divisor of `uiBpc`. The second source is not tested for null.
    static AddTranspKernel AddTranspAndClip;
    /// blend_two, at any depth. The table is not tested for null.
    static BlendTwoKernel BlendTwoBuffers;
    /// Depths of 8 to 16; the low 8 or 16 bits of `uiMask` are the mask.
    static int MaskOut(void* pDst, uint32_t uiDstWidthBytes, uint32_t uiMask, uint32_t uiComponents,
                       uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels);

    // ----- Depths --------------------------------------------------------------------------------

    /// Weights of the grey kernels: a third each (0.3333333333333333), and 0.30, 0.59, 0.11. The
    /// fourth is 0.
    static const double pdRGBStdWeights[4];
    static const double pdRGBOptWeights[4];

    /// Storage changed, values kept: to 8, 9 to 16 or 17 to 32 bits. From 0x1234 a byte keeps 0x34.
    /// The source may have any depth up to 32 (up to 8 bits are bytes); from more nothing is
    /// written, and that is no error.
    static ConvertBitDepthKernel ChangeBitDepth;

    /// Depth raised, values kept. Where (bpc + 7) / 8 is the same for both, rows are copied as
    /// blocks as long as the smaller stride, gaps included, so that every row of both pictures has
    /// to be a whole stride: 12 to 16 bits, but also 16 to 12 and 20 to 24. Else from 8 to 9 to 16
    /// bits, where 3 becomes 3. -2 for any other pair, 24 to 25 among them.
    static ConvertBitDepthKernel ExpandBits;

    /// Depth lowered or kept, up to 32 bits, without shifting: min(value, 2^uiDstBpc - 1). From 16
    /// to 8 bits 300 becomes 255 and 200 stays 200. Depths up to 8 are bytes.
    static ConvertBitDepthKernel CollapseBits;

    /// Values rescaled by shifts between 8 and 9 to 16 bits and among the latter: see
    /// convert_Nx8_to_Nx16, convert_Nx16_to_Nx8 and convert_Nx16_to_Nx16. Equal depths of any kind
    /// are a Copy.
    static ConvertBitDepthKernel ConvertBitDepthViaShifts;

    /// One component rescaled by a shift: see convertcomponent_8_to_16 and its siblings. Depths up
    /// to 8 are bytes. Equal depths are a CopyComponent; two different ones of 9 to 16 bits give
    /// -2. Where the depths differ null pointers are not tested.
    static int ConvertComponentViaShifts(void* pDst, uint32_t uiDstComponents, uint32_t uiDstBpc,
                                         uint32_t uiDstWidthBytes, uint32_t uiDstComponentIndex,
                                         const void* pSrc, uint32_t uiSrcComponents,
                                         uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                         uint32_t uiSrcComponentIndex, uint32_t uiWidth,
                                         uint64_t uiSizeInPixels);

    /// 17 to 31 bits, and not 32, through a linear function a component to 8 or 9 to 16 bits: see
    /// convertbitdepthvialinfunc_1x32_to_1x8 and its siblings.
    static int ConvertBitDepthViaLinFunc(void* pDst, uint32_t uiDstBpc, uint32_t uiDstWidthBytes,
                                         const void* pSrc, uint32_t uiSrcBpc,
                                         uint32_t uiSrcWidthBytes, const SQmBpcLinFunc* pLinFunc,
                                         uint32_t uiComponents, uint32_t uiWidth,
                                         uint64_t uiSizeInPixels);

    // ----- Components ----------------------------------------------------------------------------

    /// One component to another, of any two pictures of a depth. 8 bits, 9 to 16, and everything
    /// above 16 as 32-bit words.
    static int CopyComponent(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes,
                             uint32_t uiDstIndex, const void* pSrc, uint32_t uiSrcComponents,
                             uint32_t uiSrcWidthBytes, uint32_t uiSrcIndex, uint32_t uiBpc,
                             uint32_t uiWidth, uint64_t uiSizeInPixels);
    /// One component to a picture of one, 8 bits or 9 to 16: 24 bits give -2 here.
    static int ExtractComponent(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                uint32_t uiSrcComponents, uint32_t uiSrcWidthBytes,
                                uint32_t uiSrcIndex, uint32_t uiBpc, uint32_t uiWidth,
                                uint64_t uiSizeInPixels);
    /// A picture of one component to one component of another, 8 bits or 9 to 16.
    static int StoreComponent(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes,
                              uint32_t uiDstIndex, const void* pSrc, uint32_t uiSrcWidthBytes,
                              uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels);
    /// One component to many, the value repeated in all of them: 7 is (7, 7, 7, 7) in four. One
    /// destination component is a copy of whole lines, at any depth.
    static int ExpandComponent(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes,
                               const void* pSrc, uint32_t uiSrcWidthBytes, uint32_t uiBpc,
                               uint32_t uiWidth, uint64_t uiSizeInPixels);
    /// One block of (uiSrcLast - uiSrcFirst + 1) components a pixel, at any depth. `uiDstFirst` and
    /// `uiSrcFirst` are also where the blocks begin, counted in *bytes* from the start of a pixel:
    /// above 8 bits the caller has to multiply them by the bytes of a component, and the last index
    /// by nothing. Components 1 and 2 of three of 16 bits are first 2, last 3. First 1 starts in
    /// the middle of the first component. A last index of first - 1 moves nothing.
    static int ExtractComponentRange(void* pDst, uint32_t uiDstWidthBytes, uint32_t uiDstComponents,
                                     uint32_t uiDstFirst, const void* pSrc,
                                     uint32_t uiSrcComponents, uint32_t uiSrcWidthBytes,
                                     uint32_t uiSrcFirst, uint32_t uiSrcLast, uint32_t uiBpc,
                                     uint32_t uiWidth, uint64_t uiSizeInPixels);

    /// A list of components: see CopyComponentsKernel. -4 when `uiCount` exceeds either component
    /// count; 0 when it is 0. Equal lists that name all components of both are a copy of whole
    /// lines, at any depth. A single component is copied by CopyComponent first, and then once more
    /// as a list: above 16 bits the component has been copied when -2 comes back.
    static int CopyComponents(void* pDst, uint32_t uiDstComponents, const uint32_t* puiDstIndexes,
                              uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcComponents,
                              const uint32_t* puiSrcIndexes, uint32_t uiSrcWidthBytes,
                              uint32_t uiBpc, uint32_t uiWidth, uint32_t uiSizeInPixels,
                              uint32_t uiCount, bool bParallel);
    /// The same, and components that the list does not name become 0, all of them for an empty
    /// list. As many moves as components leave no rest: they are CopyComponents, but equal lists
    /// that name all components of both are a copy of whole lines here and nothing else.
    static int CopyComponentsZeroRest(void* pDst, uint32_t uiDstComponents,
                                      const uint32_t* puiDstIndexes, uint32_t uiDstWidthBytes,
                                      const void* pSrc, uint32_t uiSrcComponents,
                                      const uint32_t* puiSrcIndexes, uint32_t uiSrcWidthBytes,
                                      uint32_t uiBpc, uint32_t uiWidth, uint32_t uiSizeInPixels,
                                      uint32_t uiCount, bool bParallel);
    /// One picture out of two: see MergeComponentsKernel. -4 when the moves are more than the
    /// destination's components, or those of a list more than its source's. With an empty list it
    /// is CopyComponents of the other one, on a team. `pSrc2` is not tested for null unless it is
    /// alone; a null `pSrc1` is a no-op even if its list is empty.
    static int MergeComponents(void* pDst, uint32_t uiDstComponents, const uint32_t* puiDstIndexes1,
                               const uint32_t* puiDstIndexes2, uint32_t uiDstWidthBytes,
                               const void* pSrc1, uint32_t uiSrc1Components,
                               const uint32_t* puiSrc1Indexes, uint32_t uiCount1,
                               uint32_t uiSrc1WidthBytes, const void* pSrc2,
                               uint32_t uiSrc2Components, const uint32_t* puiSrc2Indexes,
                               uint32_t uiCount2, uint32_t uiSrc2WidthBytes, uint32_t uiBpc,
                               uint32_t uiWidth, uint32_t uiSizeInPixels);

    // ----- Masks ---------------------------------------------------------------------------------

    /// A component under a mask: see masks.h for `uiMaskValue`. The mask has one component, of up
    /// to 8 bits in bytes or 9 to 16 in words, as have the pictures; other depths of either give
    /// -2. `bInside` copies where the mask is the value, else where it is not. `pMask` is not
    /// tested for null.
    static int CopyComponentMask(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes,
                                 uint32_t uiDstIndex, const void* pSrc, uint32_t uiSrcComponents,
                                 uint32_t uiSrcWidthBytes, uint32_t uiSrcIndex, uint32_t uiBpc,
                                 const void* pMask, uint32_t uiMaskWidthBytes, uint32_t uiMaskBpc,
                                 uint32_t uiWidth, uint64_t uiSizeInPixels, uint32_t uiMaskValue,
                                 bool bInside);
    /// Pixels of (uiBpc + 7) / 8 * uiComponents bytes under a mask, at any depth. A mask of more
    /// than 16 bits gives -4. `pMask` is not tested for null.
    static int CopyMask(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                        uint32_t uiSrcWidthBytes, uint32_t uiComponents, uint32_t uiBpc,
                        const void* pMask, uint32_t uiMaskBpc, uint32_t uiMaskWidthBytes,
                        uint32_t uiWidth, uint64_t uiSizeInPixels, uint32_t uiMaskValue,
                        bool bInside);

    // ----- Mirrors and colour orders -------------------------------------------------------------

    /// Rows reversed: pixel x takes pixel `uiWidth` - 1 - x. In place (equal pointers) at every
    /// depth, in pixels of (uiBpc + 7) / 8 * uiComponents bytes: 3 a component from 17 to 24 bits,
    /// which mirrors only pictures that are stored so. Between two memories a pixel is
    /// `uiComponents` words at 9 to 16 bits and as many bytes at all others, so that deeper
    /// pictures are not mirrored. Memories that overlap otherwise are the caller's fault.
    static int FlipHor(void* pDst, const void* pSrc, uint32_t uiBpc, uint32_t uiComponents,
                       uint32_t uiWidthBytes, uint32_t uiWidth, uint32_t uiHeight);
    /// Rows in reverse order. Each is the smaller of the two strides, padding included, so that
    /// both memories have to reach to the end of the last row's stride. No depth: bytes are bytes.
    static int FlipVert(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                        uint32_t uiSrcWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels);
    /// The same in place, padding included. The middle one of three rows stays.
    static int FlipVert(void* pDst, uint32_t uiWidthBytes, uint32_t uiWidth,
                        uint64_t uiSizeInPixels);
    /// One component, rows in reverse order, to a picture of one: up to 8 bits in bytes, 9 to 16 in
    /// words, else -2. Every row of the destination is filled as far as its stride goes, in n =
    /// stride / unit units; `uiWidth` only says how many rows there are. So (n - 1) *
    /// uiSrcComponents + uiSrcIndex + 1 units have to be readable from the start of every source
    /// row, the last one included.
    static int FlipVertExtractComp(uint32_t uiSrcIndex, void* pDst, uint32_t uiDstWidthBytes,
                                   const void* pSrc, uint32_t uiSrcWidthBytes,
                                   uint32_t uiSrcComponents, uint32_t uiBpc, uint32_t uiWidth,
                                   uint64_t uiSizeInPixels);
    /// Four components to three, 8 bits or 9 to 16: the last is dropped.
    static int CollapseRGBAtoRGB(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                 uint32_t uiSrcWidthBytes, uint32_t uiBpc, uint32_t uiWidth,
                                 uint64_t uiSizeInPixels);
    /// Three components to four, 8 bits or 9 to 16: the new one becomes `uiAlpha`, of which the low
    /// 8 or 16 bits count.
    static int ExpandRGBtoRGBA(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                               uint32_t uiSrcWidthBytes, uint32_t uiAlpha, uint32_t uiBpc,
                               uint32_t uiWidth, uint64_t uiSizeInPixels);
    /// Components 0 and 2 of every pixel change places, in place. 8 bits or 9 to 16; other depths
    /// and fewer than three components are left alone. `pDst` is not tested for null.
    static void ConvertBGRtoRGB(void* pDst, uint32_t uiComponents, uint32_t uiBpc,
                                uint32_t uiWidthBytes, uint32_t uiWidth, uint32_t uiHeight);

    // ----- Look-up tables ------------------------------------------------------------------------

    // Of a set the entries read the shape (flat or rows, see qmpic/kernels/luts.h), the exposure
    // marks and the mask. Depths of 0 to 8 are bytes in ApplyLuts and ExtractComponentViaLuts.

    /// The same depth and components in and out, through one table for all components.
    /// ucDstComponents 1 is a flat table for every component, else it must be uiComponents. With
    /// exposure colours and three components of up to 8 bits, marks what is exposed badly:
    /// applyluts_3x8_overexp_underexp.
    /// @return -2 without tables, for a table a component (ucComponents not 1), for other counts of
    ///         cells, above 16 bits; 0 also where the mask leaves a picture as it was
    static int ApplyLuts(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                         uint32_t uiSrcWidthBytes, const SQmLut* pLut, uint32_t uiComponents,
                         uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels);

    /// From one depth to another, the same components; equal depths are ApplyLuts. Depths are 8 and
    /// 9 to 16. Exposure colours count from words to bytes with three components only, and a flat
    /// table marks only what is over-exposed.
    /// @return -2 as ApplyLuts, and for other depths
    static int ConvertBitDepthViaLuts(void* pDst, uint32_t uiDstBpc, uint32_t uiDstWidthBytes,
                                      const void* pSrc, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                      const SQmLut* pLut, uint32_t uiComponents, uint32_t uiWidth,
                                      uint64_t uiSizeInPixels);

    /// Component `uiComp` to a picture of uiDstComponents bytes: through a flat table, rows of
    /// uiDstComponents cells, or the component's own table of a set with one for each. With
    /// exposure colours and three destination components, marks what is exposed badly.
    /// @return -4 without tables, or when depths or counts are not those of the set; -2 for a
    ///         destination above 8 or a source above 16 bits
    static int ExtractComponentViaLuts(void* pDst, uint32_t uiDstComponents, uint32_t uiDstBpc,
                                       uint32_t uiDstWidthBytes, const void* pSrc,
                                       uint32_t uiSrcComponents, uint32_t uiSrcBpc,
                                       uint32_t uiSrcWidthBytes, uint32_t uiComp,
                                       const SQmLut* pLut, uint32_t uiWidth,
                                       uint64_t uiSizeInPixels);

    /// One component to several: through rows of uiDstComponents cells, from 8 bits to 8, from 9 to
    /// 16 bits to 9 to 16, and to three components also from 9 to 16 bits to 8. A flat table of 8
    /// bits gives three equal components. Otherwise a flat table writes **one** component a pixel,
    /// whatever uiDstComponents says.
    /// @return -2 for other depths; -4 without tables, or when depths or counts are not those of
    /// the
    ///         set, or it has a table a component
    static int MapValueToComponents(void* pDst, uint32_t uiDstComponents, uint32_t uiDstBpc,
                                    uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcBpc,
                                    uint32_t uiSrcWidthBytes, const SQmLut* pLut, uint32_t uiWidth,
                                    uint64_t uiSizeInPixels);

    // ----- Colours of channels -------------------------------------------------------------------

    /// Merges one more channel into a composed picture of 3 x 8 bits: called once a channel, it
    /// composes pictures that are stored apart. Nothing is cleared, and every pixel takes part,
    /// whatever the set's mask says. Source and destination must be those of `pLut`, else -4 (see
    /// MapComponentsMToN); the source must have one component of 8 bits and the destination 8 bits,
    /// else -2, also for a set without tables or with fewer than three cells. With more cells the
    /// first three are used. Null pictures and empty areas are left alone then; `pLut` is not
    /// tested. Everything runs in the calling thread.
    static int MapComponentsIterNToN(void* pDst, uint32_t uiDstComponents, uint32_t uiDstBpc,
                                     uint32_t uiDstWidthBytes, const void* pSrc,
                                     uint32_t uiSrcComponents, uint32_t uiSrcBpc,
                                     uint32_t uiSrcWidthBytes, const SQmLut* pLut, uint32_t uiWidth,
                                     uint64_t uiSizeInPixels);

    // ----- To the screen -------------------------------------------------------------------------

    /// A picture of any components to one of three, 8 bits or 9 to 16, through the tables of a set:
    /// each component has its own colours, which are merged (see mapcomp_3x8_3x8). Source and
    /// destination must be those of the set, `ucSrcBpc` bits of `ucComponents` to `ucDstBpc` bits
    /// of `ucDstComponents`; else -4, also for a width or size of 0 and a set without tables.
    /// -2: another destination than 3 components of 8 or 9 to 16 bits, another source than 8 or 9
    /// to 16 bits, and 8 bits to more. With exposure colours and 8 bits out, the samples that they
    /// are for show them. Null pictures are left alone; `pLut` is not tested.
    ///
    /// A parametric set sums bands instead (see SpectralRenderKernel), by the `_sse` members, or
    /// without IsCPU_SSE2 by the `_float` ones, with exposure colours and 8 bits out by the
    /// `_float_overexp` ones. Samples of other depths than 9 to 16 are read as bytes then; -2 for a
    /// source of more than 16 bits to 8.
    static int MapComponentsMToN(void* pDst, uint32_t uiDstComponents, uint32_t uiDstBpc,
                                 uint32_t uiDstWidthBytes, const void* pSrc,
                                 uint32_t uiSrcComponents, uint32_t uiSrcBpc,
                                 uint32_t uiSrcWidthBytes, const SQmLut* pLut, uint32_t uiWidth,
                                 uint64_t uiSizeInPixels);

    /// What a display needs: any picture that can be shown to 3 components of 8 bits, blue, green,
    /// red. The way is chosen by picture and set:
    ///
    /// | set                         | picture      | done by                                 |
    /// |-----------------------------|--------------|-----------------------------------------|
    /// | none                        | 1, 8 bits    | ExpandComponent                         |
    /// |                             | 1, 9 to 16   | ConvertBitDepthViaShifts, then the same |
    /// |                             | 3, 8 bits    | Copy                                    |
    /// |                             | 3, 9 to 16   | ConvertBitDepthViaShifts                |
    /// | no bit of its mask is set   | any          | SetValue: black                         |
    /// | one bit, not parametric     | any          | ExtractComponentViaLuts of that one     |
    /// | other than one component    | any          | MapComponentsMToN                       |
    /// | one component               | 1            | MapValueToComponents                    |
    /// |                             | 3            | ConvertBitDepthViaLuts                  |
    ///
    /// The first line that fits counts; codes are those of the entry. All 192 bits of the mask
    /// count, also those beyond the components. -4: anything else, a set whose cells are not of 8
    /// bits, and one bit at or beyond `uiSrcComponents`. 9 to 16 bits of one component without a
    /// set need `uiSizeInPixels` bytes, and throw std::bad_alloc if there are none.
    static int ConvertToTrueColor(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                  uint32_t uiSrcComponents, uint32_t uiSrcBpc,
                                  uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                                  uint64_t uiSizeInPixels, const SQmLut* pLut);

    // ----- Spectral pictures ---------------------------------------------------------------------
    //
    // What the colours of a picture are when its bands are summed, see qmpic/kernels/spectral.h.
    // Statistics of the sums need a processor word with SSE2 (IsCPU_SSE2): -9 without it. They run
    // on as many threads as there are processors.

    /// Offset and gain of a parametric set on the selected components, in place: v = max(0, x +
    /// `dOffset`) * `dGain` * n, in single precision, with n the number of components from the
    /// first to the last selected, rounded up to a multiple of 8. 9 bits and more: min(top, v),
    /// cut. Less than 9 bits: **max**(top, v), cut, whose low byte is stored: a dark pixel becomes
    /// top, and what is above it wraps. In the calling thread. `pLut` is not tested.
    static int SpectralApplyLuts(void* pData, uint32_t uiComponents, uint32_t uiBpc,
                                 uint32_t uiWidthBytes, const SQmLut* pLut, uint32_t uiWidth,
                                 uint64_t uiSizeInPixels);

    /// Three histograms of 256 bins: cells blue, green and red of the sum of sample * colour byte *
    /// 0.003921569f, over all components, each sample ANDed with its word of `pusMask` (up to 8
    /// bits: left out where the word is 0). The bin is min(sum * (dScale * 255 / top) + 0.5, 255),
    /// cut to its low byte, in single precision. The arrays are cleared before.
    /// @param puiColors  a colour reference a component, red in bits 0 to 7
    /// @return 0; -9 for a null source or histogram and without SSE2; -2 above 16 bits; -3
    static int SpetralGetHistoRGB(uint32_t* puiHisto0, uint32_t* puiHisto1, uint32_t* puiHisto2,
                                  const void* pSrc, uint32_t uiWidthBytes, uint32_t uiBpc,
                                  uint32_t uiComponents, uint32_t uiWidth, uint32_t uiSizeInPixels,
                                  const uint32_t* puiColors, const unsigned short* pusMask,
                                  double dScale);
    /// The same with 2^uiBpc bins above 8 bits: bin min(sum * dScale + 0.5, top), cut.
    static int SpetralGetHistoRGB_Precise(uint32_t* puiHisto0, uint32_t* puiHisto1,
                                          uint32_t* puiHisto2, const void* pSrc,
                                          uint32_t uiWidthBytes, uint32_t uiBpc,
                                          uint32_t uiComponents, uint32_t uiWidth,
                                          uint32_t uiSizeInPixels, const uint32_t* puiColors,
                                          const unsigned short* pusMask, double dScale);
    /// 256 bins of what a parametric set shows: offset, gain and colours of its records, the
    /// components of its mask, and bin min(sum * (255 / top) + 0.5, 255), cut to its low byte.
    static int SpetralGetHistoRGBEx(uint32_t* puiHisto0, uint32_t* puiHisto1, uint32_t* puiHisto2,
                                    const void* pSrc, uint32_t uiWidthBytes, uint32_t uiBpc,
                                    uint32_t uiComponents, uint32_t uiWidth,
                                    uint32_t uiSizeInPixels, const SQmLut* pLut);

    /// Limits of the three sums on the scale of 0 to 255, by CQmHistoAPI_Base::GetLowHigh with
    /// fractions of percent / 100, at least 2.220446049250313e-16; a percent below 0 leaves its
    /// side at 0 or at 255. Values 0, 1, 2 are those of **red, green and blue**.
    ///
    /// With `dLowPercent` not above 0 and no `pdHigh` or `dHighPercent` below 0 the lows become 0,
    /// and the highs, if there is room for them, the greatest sums times the scale, of **blue,
    /// green and red**.
    /// @param pdLow, pdHigh  three each; `pdHigh` may be null
    /// @return 0; -9 for a null source or `pdLow` and without SSE2; -2 above 16 bits; -3
    static int SpetralGetLoHiRGB(double* pdLow, double* pdHigh, const void* pSrc,
                                 uint32_t uiWidthBytes, uint32_t uiBpc, uint32_t uiComponents,
                                 uint32_t uiWidth, uint32_t uiSizeInPixels,
                                 const uint32_t* puiColors, const unsigned short* pusMask,
                                 double dScale, double dLowPercent, double dHighPercent);
    /// The same of what a parametric set shows.
    static int SpetralGetLoHiRGBEx(double* pdLow, double* pdHigh, const void* pSrc,
                                   uint32_t uiWidthBytes, uint32_t uiBpc, uint32_t uiComponents,
                                   uint32_t uiWidth, uint32_t uiSizeInPixels, const SQmLut* pLut,
                                   double dLowPercent, double dHighPercent);

    // ----- A window at any zoom ------------------------------------------------------------------

    /// How samples are taken between or among pixels.
    enum EQmPicStretchMode : int {
        StretchQuick = 0,   ///< the nearest sample; so is every value that has no name
        StretchSpline = 2,  ///< quadratic B-spline
        StretchLinear = 3,  ///< triangle; large pictures much reduced are averaged in blocks
    };

    /// The picture, stretched to `uiVirtualWidth` x `uiVirtualHeight`, of which the window of
    /// `uiDstWidth` x `uiDstHeight` pixels at (`uiLeft`, `uiTop`) is computed, and nothing else.
    /// With c = source / virtual size of an axis:
    ///
    /// - quick, and wherever the sizes are equal: sample floor((v + 0.5) * c) of virtual
    ///   coordinate v, in double, kept below the size. In the calling thread.
    /// - spline, linear: rows, then columns, are filtered with whole weights of sum 1024. The
    ///   position is p = ((i * c - 0.5) + c * 0.5) + start * c, the weight of sample j trunc(f(j -
    ///   p) * 1024 + 0.5), with f((j - p) / c) / c for a c above 1; those beyond an edge go to the
    ///   edge. They are scaled to 1024, and what is missing goes to the middle one. Sums are
    ///   shifted right by 10 after each pass, without rounding, so that a constant picture stays
    ///   what it is. On a team. Only rows that the window needs are read.
    /// - linear, when c is above 2 on both axes and the source has at least 1,000,000 pixels (a
    ///   product of 32 bits): the mean, cut, of at most about 10 x 10 samples of each block of
    ///   trunc(c + 0.5) pixels. Rows are shared by the caller and one thread that it starts.
    ///
    /// The flips mirror the window, not the picture.
    ///
    /// @param pSrc  the whole picture
    /// @return by this order: -9 for a virtual size of 0 and null pictures; 0 for a destination
    ///         size of 0; -9 for a source size of 0; -2 for other depths than 8 and 9 to 16; -9
    ///         without memory for blocks, -3 for other; -4 for a window so far below the picture
    ///         that there are no rows (8 bits; -3 at other depths)
    /// @throws std::system_error when the thread cannot be started
    static int StretchDisplay(void* pDst, uint32_t uiDstWidth, uint32_t uiDstHeight,
                              uint32_t uiComponents, uint32_t uiDstWidthBytes, uint32_t uiBpc,
                              uint32_t uiVirtualWidth, uint32_t uiVirtualHeight, uint32_t uiLeft,
                              uint32_t uiTop, const void* pSrc, uint32_t uiSrcWidth,
                              uint32_t uiSrcHeight, uint32_t uiSrcWidthBytes,
                              EQmPicStretchMode eMode, bool bFlipX, bool bFlipY);
    /// The same of a picture of which only a rectangle is in memory; what is missing shows the
    /// pixel at `pBackground`. There are no blocks.
    ///
    /// Quick: rows outside of the rectangle are background. In a row inside, **only the two ends
    /// are tested**: the last pixel is background when its column, counted from the column of the
    /// window's left edge, is at or beyond `uiKnownWidth`, and the first when that edge is left of
    /// the rectangle. The pixels between are read: the rectangle must be as wide as the window's
    /// part of the picture less a pixel on each side.
    ///
    /// Filters: columns outside of the rectangle have no weight, and rows outside are background
    /// before they are filtered. Columns that see nothing of it are background.
    ///
    /// @param pSrc  the rectangle's first pixel; null pictures are not looked for
    /// @param uiSrcWidth, uiSrcHeight  of the whole picture
    static int StretchDisplayEx(void* pDst, uint32_t uiDstWidth, uint32_t uiDstHeight,
                                uint32_t uiComponents, uint32_t uiDstWidthBytes, uint32_t uiBpc,
                                uint32_t uiVirtualWidth, uint32_t uiVirtualHeight, uint32_t uiLeft,
                                uint32_t uiTop, const void* pSrc, uint32_t uiKnownLeft,
                                uint32_t uiKnownTop, uint32_t uiKnownWidth, uint32_t uiKnownHeight,
                                uint32_t uiSrcWidth, uint32_t uiSrcHeight, uint32_t uiSrcWidthBytes,
                                EQmPicStretchMode eMode, const void* pBackground);

    // ----- Overlays ------------------------------------------------------------------------------
    //
    // Laid over a picture of 3 x 8 bits (blue, green, red) in place, in the calling thread. Colours
    // have red in bits 0 to 7. All give 0; null pictures and sizes of 0 are no-ops.

    /// Each cell of a pixel whose bit is set becomes (c * ucAlpha + (255 - ucAlpha) * cell) / 255,
    /// cut, c being the colour's: 255 paints it, and half of red over 30 is 142. The first of
    /// exactly `uiWidth` bits is bit 7 - `uiBitOffset` mod 8 of byte `uiBitOffset` / 8 of each row.
    static int BlendColorWithBinary(void* pDst, uint32_t uiDstWidthBytes, const void* pBinary,
                                    uint32_t uiBitOffset, uint32_t uiBinaryWidthBytes,
                                    uint32_t uiWidth, uint32_t uiHeight, uint32_t uiColor,
                                    unsigned char ucAlpha);
    /// The same where a mask of bytes (`uiMaskBpc` 8) or words (9 to 16) is not 0. Other depths
    /// change nothing.
    static int BlendColorWithUnpackedBinary(void* pDst, uint32_t uiDstWidthBytes, const void* pMask,
                                            uint32_t uiMaskBpc, uint32_t uiMaskWidthBytes,
                                            uint32_t uiWidth, uint32_t uiHeight, uint32_t uiColor,
                                            unsigned char ucAlpha);
    /// A picture of 3 x 8 bits over another, but for its pixels of the key colour: each cell
    /// becomes (ucTransparency * cell + (255 - ucTransparency) * annotation) / 255, cut, so that
    /// here 0 paints and 255 leaves the picture alone. Blue of the key is in bits 16 to 23.
    static int BlendColorWithAnnotation(void* pDst, uint32_t uiDstWidthBytes,
                                        const void* pAnnotation, uint32_t uiAnnotationWidthBytes,
                                        uint32_t uiWidth, uint32_t uiHeight, uint32_t uiKeyColor,
                                        unsigned char ucTransparency);
    /// The same. Neither keeps anything from one call to the next.
    static int BlendColorWithAnnotationRefresh(void* pDst, uint32_t uiDstWidthBytes,
                                               const void* pAnnotation,
                                               uint32_t uiAnnotationWidthBytes, uint32_t uiWidth,
                                               uint32_t uiHeight, uint32_t uiKeyColor,
                                               unsigned char ucTransparency);
    /// An annotation of one byte a pixel, coloured by a set of one table of 256 colours of 3 x 8
    /// bits; anything else is handed to BlendColorWithAnnotation. The key is the low byte of
    /// `uiKeyColor`. A transparency of 0 paints the byte as grey. **Colours are those of the set
    /// that was given when the transparency last changed** (0 and 255 apart): another set at the
    /// same one draws like the one before, in any thread. Without tables then nothing is drawn.
    static int BlendColorWithAnnotationEx(void* pDst, uint32_t uiDstWidthBytes,
                                          const void* pAnnotation, uint32_t uiAnnotationWidthBytes,
                                          uint32_t uiAnnotationBpc, uint32_t uiAnnotationComponents,
                                          uint32_t uiWidth, uint32_t uiHeight, uint32_t uiKeyColor,
                                          unsigned char ucTransparency, const SQmLut* pLut);

    // ----- Lines and neighbourhoods --------------------------------------------------------------

    /// A line from (`iX0`, `iY0`) to (`iX1`, `iY1`), both included, clipped to the picture (Cohen
    /// and Sutherland). 1 or 3 components of 8 bits; one takes the colour's low byte, which is red.
    /// Rows are area / width in 32 bits with a sign: of 2^31 pixels and more nothing is drawn.
    /// @param iConnectivity  8: steps may be diagonal; otherwise such a step gets a pixel beside it
    /// @return 0, also when nothing is within the picture; -2 for other formats
    static int Line(void* pData, uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidthBytes,
                    uint32_t uiWidth, uint64_t uiSizeInPixels, int iX0, int iY0, int iX1, int iY1,
                    int iConnectivity, uint32_t uiColor);
    /// Not a code: pixels of a square around a point, copied row by row without gaps, until
    /// `ullDstBytes` are full. The square reaches from `uiX` - `uiRadius` up to, but not including,
    /// the smaller of `uiX` + `uiRadius` and the picture's **last** column, and so with rows:
    /// radius 1 at (5, 5) has rows and columns 4 and 5. Radius 0 is the pixel, which must be there.
    /// @return pixels of the square, also of those that found no room; 1 for a radius of 0
    static uint32_t GetDataInCircle(void* pDst, uint64_t ullDstBytes, const void* pSrc,
                                    uint32_t uiSrcWidthBytes, uint32_t uiBpc, uint32_t uiComponents,
                                    uint32_t uiWidth, uint64_t uiSizeInPixels, uint32_t uiRadius,
                                    uint32_t uiX, uint32_t uiY);

    // ----- Packed binary pictures ----------------------------------------------------------------

    /// Bits of a comparison with one pixel merged into a mask, whose area begins at pixel column
    /// `uiBinX`: see PackKernel for the format, for comparisons and merges and for what becomes of
    /// the bits beside the area. 8 bits and 9 to 16. The guard is for mask and picture; the
    /// reference is not tested for null.
    static int PackToBinary(void* pBin, uint32_t uiBinX, uint32_t uiBinWidthBytes, const void* pSrc,
                            uint32_t uiComponents, uint32_t uiBpc, uint32_t uiSrcWidthBytes,
                            const void* pRefValue, uint32_t uiCompare, uint32_t uiWidth,
                            uint64_t uiSizeInPixels, uint32_t uiMerge);
    /// The same with the reference's bytes in a number, the least significant first: 0x0201 is
    /// (1, 2) of 8 bits and 0x0201 of 16. Components that 8 bytes are too few for are 0. -3 when a
    /// pixel has more than 192 components and there is no memory for it, here and below.
    static int PackToBinary(void* pBin, uint32_t uiBinX, uint32_t uiBinWidthBytes, const void* pSrc,
                            uint32_t uiComponents, uint32_t uiBpc, uint32_t uiSrcWidthBytes,
                            uint64_t ui64RefValue, uint32_t uiCompare, uint32_t uiWidth,
                            uint64_t uiSizeInPixels, uint32_t uiMerge);
    /// A pixel painted where a mask is set: see UnpackKernel. 8 bits and 9 to 16. An area that does
    /// not begin with a byte of the mask must reach that byte's end.
    static int UnpackFromBinary(void* pDst, uint32_t uiComponents, uint32_t uiBpc,
                                const void* pValue, uint32_t uiDstWidthBytes, const void* pBin,
                                uint32_t uiBinX, uint32_t uiBinWidthBytes, uint32_t uiWidth,
                                uint64_t uiSizeInPixels, uint32_t uiMerge);
    /// The same with the pixel's bytes in a number; also 17 to 32 bits of one component.
    static int UnpackFromBinary(void* pDst, uint32_t uiComponents, uint32_t uiBpc,
                                uint64_t ui64Value, uint32_t uiDstWidthBytes, const void* pBin,
                                uint32_t uiBinX, uint32_t uiBinWidthBytes, uint32_t uiWidth,
                                uint64_t uiSizeInPixels, uint32_t uiMerge);
    /// The same by the kernels of more threads: 8 bits of one component by a team that the call
    /// opens; all others by the threads of the caller's own parallel region, all of which have to
    /// make the same call.
    static int UnpackFromBinaryMT(void* pDst, uint32_t uiComponents, uint32_t uiBpc,
                                  const void* pValue, uint32_t uiDstWidthBytes, const void* pBin,
                                  uint32_t uiBinX, uint32_t uiBinWidthBytes, uint32_t uiWidth,
                                  uint64_t uiSizeInPixels, uint32_t uiMerge);
    static int UnpackFromBinaryMT(void* pDst, uint32_t uiComponents, uint32_t uiBpc,
                                  uint64_t ui64Value, uint32_t uiDstWidthBytes, const void* pBin,
                                  uint32_t uiBinX, uint32_t uiBinWidthBytes, uint32_t uiWidth,
                                  uint64_t uiSizeInPixels, uint32_t uiMerge);

    // ----- Thresholds ----------------------------------------------------------------------------

    /// A value painted into a picture of one component where the source lies within a range, or
    /// outside of it: see ThresholdKernel. The value is cut to the destination's storage. Depths up
    /// to 16, those below 8 as bytes. Pointers are not tested for null.
    static int Threshold(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiBpc,
                         uint32_t uiSrcWidthBytes, uint32_t uiLow, uint32_t uiHigh, bool bInside,
                         uint32_t uiValue, uint32_t uiWidth, uint64_t uiSizeInPixels);
    /// The same from one depth to another.
    static int Threshold(void* pDst, uint32_t uiDstBpc, uint32_t uiDstWidthBytes, const void* pSrc,
                         uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, uint32_t uiLow,
                         uint32_t uiHigh, bool bInside, uint32_t uiValue, uint32_t uiWidth,
                         uint64_t uiSizeInPixels);
    /// Bits of the pixels that lie within the ranges of their components, or outside of all, merged
    /// into a mask by a team: see ThresholdToBinKernel. 8 bits and 9 to 16, and no depth below 8.
    /// Pointers are not tested for null; a width or size of 0 is a no-op.
    static int ThresholdToBinary(void* pBin, uint32_t uiBinX, uint32_t uiBinWidthBytes,
                                 const void* pSrc, uint32_t uiComponents, uint32_t uiBpc,
                                 uint32_t uiSrcWidthBytes, const void* pLow, const void* pHigh,
                                 bool bInside, uint32_t uiWidth, uint64_t uiSizeInPixels,
                                 uint32_t uiMerge, bool* pbCancel);
    /// The same with the bytes of the limits in numbers, as PackToBinary takes them.
    static int ThresholdToBinary(void* pBin, uint32_t uiBinX, uint32_t uiBinWidthBytes,
                                 const void* pSrc, uint32_t uiComponents, uint32_t uiBpc,
                                 uint32_t uiSrcWidthBytes, uint64_t ui64Low, uint64_t ui64High,
                                 bool bInside, uint32_t uiWidth, uint64_t uiSizeInPixels,
                                 uint32_t uiMerge, bool* pbCancel);

    // ----- Histograms ----------------------------------------------------------------------------

    // Counts are added to what the bins hold. A block has 256 bins for 8 bits and 2^uiBpc for 9 to
    // 16; other depths are -2, and so are bins that have neither 4 nor 8 bytes. See
    // qmpic/kernels/histogram.h.

    /// Each component into its own block, every pixel.
    static int GetHistogram(void** ppComp, uint32_t uiBinBytes, const void* pSrc,
                            uint32_t uiWidthBytes, uint32_t uiComponents, uint32_t uiBpc,
                            uint32_t uiWidth, uint64_t uiSizeInPixels);
    /// The components and the intensity; every uiStepX-th pixel of every uiStepY-th row. One
    /// component counts in `pIntensity`, and `ppComp` is not used then.
    /// @return -9 for a null source, unlike the others; -9 without components
    static int GetHistogramEx(void** ppComp, void* pIntensity, uint32_t uiBinBytes,
                              const void* pSrc, uint32_t uiWidthBytes, uint32_t uiComponents,
                              uint32_t uiBpc, uint32_t uiStepX, uint32_t uiStepY, uint32_t uiWidth,
                              uint64_t uiSizeInPixels);
    /// The same for pixels that are not 0 in a mask of bytes (uiMaskBpc up to 8) or words (9 to
    /// 16). Other component counts than 1, 3 and 4 count each pixel outside of the mask in bin 0 of
    /// the intensity.
    /// @return -9 for a null mask; -2 for a mask of more than 16 bits
    static int GetHistogramUnderBinary(void** ppComp, void* pIntensity, uint32_t uiBinBytes,
                                       const void* pSrc, uint32_t uiWidthBytes,
                                       uint32_t uiComponents, uint32_t uiBpc, const void* pMask,
                                       uint32_t uiMaskWidthBytes, uint32_t uiMaskBpc,
                                       uint32_t uiStepX, uint32_t uiStepY, uint32_t uiWidth,
                                       uint64_t uiSizeInPixels);
    /// More than 8 bits into blocks of 2^uiHistoBits bins: bin value >> (uiBpc - uiHistoBits).
    /// **Reads something else than the picture's rows** for other counts than 1 with 9 to 16 bits,
    /// and for other counts than 1 and 3 with 17 to 32, and then wants bins of 4 bytes: see
    /// gethistogramdiv_Nx16.
    /// @return -2 for depths that are not 9 to 32
    static int GetHistogramDiv(void** ppComp, uint32_t uiBinBytes, uint32_t uiHistoBits,
                               const void* pSrc, uint32_t uiWidthBytes, uint32_t uiComponents,
                               uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels);
    /// Adds blocks of 2^uiBits bins to others, see histo_add.
    static int AddHisto(const void* pSrcIntensity, void** ppSrcComp, void* pDstIntensity,
                        void** ppDstComp, uint32_t uiBits, uint32_t uiComponents,
                        uint32_t uiBinBytes);

    // ----- Two-dimensional and repaired histograms -----------------------------------------------

    /// Counts the pairs of values of two components into 2^(2 * b) bins, bin (first << b) + second:
    /// b is `uiBpc` up to 8 bits and 8 for 9 to 16 bits, of which the upper 8 count. See the kernel
    /// `gethistogram2d_8` for the arguments.
    /// @return 0; -2 above 16 bits; before that -4 for null memory, a width or size of 0, or a
    ///         component that is not below `uiComponents`
    static int GetHistogram2DEx(void* pBins, uint32_t uiBinBytes, const void* pSrc,
                                uint32_t uiSrcWidthBytes, uint32_t uiComponents, uint32_t uiBpc,
                                uint32_t uiCompA, uint32_t uiCompB, uint32_t uiReservedX,
                                uint32_t uiReservedY, uint32_t uiWidth, uint64_t uiSizeInPixels);
    /// The same for the pixels whose mask byte is not 0; a null mask counts nothing.
    static int GetHistogram2DUnderMask(void* pBins, uint32_t uiBinBytes, const void* pSrc,
                                       uint32_t uiSrcWidthBytes, uint32_t uiComponents,
                                       uint32_t uiBpc, uint32_t uiCompA, uint32_t uiCompB,
                                       const unsigned char* pMask, uint32_t uiMaskWidthBytes,
                                       uint32_t uiReservedX, uint32_t uiReservedY, uint32_t uiWidth,
                                       uint64_t uiSizeInPixels);
    /// Always -2.
    static int GetHistogram2DUnderBinary(void* pBins, uint32_t uiBinBytes, const void* pSrc,
                                         uint32_t uiSrcWidthBytes, uint32_t uiComponents,
                                         uint32_t uiBpc, uint32_t uiCompA, uint32_t uiCompB,
                                         const unsigned char* pMask, uint32_t uiMaskWidthBytes,
                                         uint32_t uiReservedX, uint32_t uiReservedY,
                                         uint32_t uiWidth, uint64_t uiSizeInPixels);

    /// Which blocks of a histogram are combs, see the kernel `needtorepairhistogram_1`: that of the
    /// intensity, `*pbIntensity`, and those of the components, `pbComp[c]`. One component has the
    /// intensity's block and no other. No pointer is tested that is needed.
    /// @return 0, also for `uiBits` outside of 8 to 16, when nothing is written; -9 for bins of
    ///         neither 4 nor 8 bytes
    static int NeedToRepairHisto(bool* pbIntensity, bool* pbComp, void** ppComp,
                                 const void* pIntensity, uint32_t uiBinBytes, uint32_t uiComponents,
                                 uint32_t uiBits);
    /// Fills the gaps of one block, as the kernel `repairhistocomp_1`: the intensity's with one
    /// component, else that of component `uiComp`, which is not compared with `uiComponents`.
    /// @return 0; -2 for `uiBits` outside of 8 to 16; -9 for bins of neither 4 nor 8 bytes
    static int RepairHistoComp(void** ppComp, void* pIntensity, uint32_t uiComp,
                               uint32_t uiBinBytes, uint32_t uiComponents, uint32_t uiBits);

    // ----- Colour spaces and single pixels -------------------------------------------------------

    // Nothing here is guarded: pointers are not tested but where said. All of it is reentrant.

    /// Intensity, saturation and hue of `uiCount` pixels of blue, green and red, each into a plane
    /// without gaps, or nowhere where the pointer is null. F being the full value, 255 or 65535:
    /// the intensity is the mean, rounded; the saturation 0 for greys and F for what has a
    /// component of 0; the hue 0 for red and for greys, F / 3 for green, 2 * F / 3 for blue, and
    /// then on towards F. Blue 3, green 3, red 20 is hue 0, saturation 167, intensity 9. Hues come
    /// from `g_AcosLUTs` and so in steps, which are wide where the cosine is flat: beside red the
    /// first hues are 0 and 0.0032 * F. One thread.
    static void ConvertRGB8toHSI8(uint8_t* pbyI, uint8_t* pbyS, uint8_t* pbyH,
                                  const uint8_t* pbyBGR, uint32_t uiCount);
    static void ConvertRGB16toHSI16(uint16_t* pwI, uint16_t* pwS, uint16_t* pwH,
                                    const uint16_t* pwBGR, uint32_t uiCount);
    /// The same of one colour; arguments in the other order.
    static void ConvertColorRGB8toHSI8(uint8_t& H, uint8_t& S, uint8_t& I, uint8_t R, uint8_t G,
                                       uint8_t B);
    static void ConvertColorRGB16toHSI16(uint16_t& H, uint16_t& S, uint16_t& I, uint16_t R,
                                         uint16_t G, uint16_t B);
    /// And back. Components are cut and not rounded, and what exceeds the full value is that value:
    /// hue 0, saturation 255 and intensity 100 ask for red 300 and get 255. Intensity 0 is black,
    /// saturation 0 grey of that intensity.
    static void ConvertColorHSI8toRGB8(uint8_t& R, uint8_t& G, uint8_t& B, uint8_t H, uint8_t S,
                                       uint8_t I);
    static void ConvertColorHSI16toRGB16(uint16_t& R, uint16_t& G, uint16_t& B, uint16_t H,
                                         uint16_t S, uint16_t I);
    /// The colour that lies `iPosition` of `iTotal` steps on the way from one colour to another by
    /// hue (the shorter side of its circle), saturation and intensity, each as 8 bits and in
    /// integers. It is made as bright as it can be: unless it is black, its largest component is
    /// 255, so that the middle of black and grey is white, and position 0 need not be the first
    /// colour. Colours have red in bits 0 to 7; the top byte of the result is 0. A position may lie
    /// outside of 0 to `iTotal`; differences times positions wrap at 32 bits.
    /// @param iTotal not 0
    static uint32_t CalcColor(uint32_t uiColor1, uint32_t uiColor2, int iTotal, int iPosition);
    /// The same as bright as it comes.
    static uint32_t CalcColorEx(uint32_t uiColor1, uint32_t uiColor2, int iTotal, int iPosition);
    /// The colour with a hue that is `iDelta` more, modulo 256. Unlike in CalcColor, bits 16 to 23
    /// are taken for red and bits 0 to 7 for blue; of a colour that has red in bits 0 to 7 the hue
    /// falls by as much. The top byte stays.
    static uint32_t RGBChangeHue(uint32_t uiColor, int iDelta);
    /// What wavelength a hue looks like, in nanometres, by a table: 620 for 0, 523 for 85, 466 for
    /// 170, then down to 400 for 252 and 253; 630 for 254 and 645 for 255 close the circle.
    static uint32_t HueValueToWavelength(uint8_t ucHue);
    /// The same of a colour's hue, red in bits 0 to 7; of greys 620. The hue is computed with
    /// components of 0 to 1 and may differ by one from that of ConvertColorRGB8toHSI8, which takes
    /// them as they are: red 20 and two times 3 is hue 1 here and 0 there.
    static uint32_t RGBToWavelength(uint32_t uiColor);
    /// The next colour in steps of `iDelta` nanometres, red in bits 0 to 7: the wavelength of
    /// `uiColor` is changed until QM_RGBFromWavelength gives another colour than at first, at most
    /// five times, and not beyond the step that leaves 401 to 644. Where there is no colour for a
    /// wavelength the last one stays.
    static uint32_t RGBChangeWavelength(uint32_t uiColor, int iDelta);
    /// The same from a wavelength, in the range above 400 and below 645. 0 where there is no colour
    /// for that.
    static uint32_t RGBChangeWavelength(double dWavelength, int iDelta);

    /// Stores the low bits of values into a pixel: in bytes for exactly 8 bits, and in 16 bits for
    /// every other depth up to 16, also for those below 8. The pixel may lie at any address.
    /// @return 0; -2 for other component counts than 1, 3 and 4 and for depths above 16
    static int ConvertComponentsToPixel(void* pPixel, const uint32_t* puiComponents,
                                        uint32_t uiComponents, uint32_t uiBpc);
    /// The same in reverse order, three components and four: value 0 goes last.
    static int ConvertComponentsToPixelRGB(void* pPixel, const uint32_t* puiComponents,
                                           uint32_t uiComponents, uint32_t uiBpc);
    /// Loads a pixel of any number of components, stored as above.
    /// @return 0; -2 for depths above 16
    static int ConvertPixelToComponents(uint32_t* puiComponents, const void* pPixel,
                                        uint32_t uiComponents, uint32_t uiBpc);
    /// The same, three components in reverse order. Four are not reversed, so that this does not
    /// undo ConvertComponentsToPixelRGB.
    static int ConvertPixelToComponentsRGB(uint32_t* puiComponents, const void* pPixel,
                                           uint32_t uiComponents, uint32_t uiBpc);

    // ----- Gradients -----------------------------------------------------------------------------

    /// Fills 256 words from nodes, positions with colours (words as in SQmGradientConfig). A node
    /// stands at entry trunc((position - lo) / (hi - lo) * 255), and at least one behind the node
    /// before, so that crowded nodes run on to the right. From node to node the colours are blended
    /// by CalcColor, which is given the words as they stand and brings each to full brightness,
    /// also at the node; without `bBlend` they are the colour of the lower node. From the last
    /// node's entry on the table has its colour as it stands, top byte too. Entries before the
    /// first node stay; nodes outside of the table act on what is inside. NaN stands at entry 0.
    /// @param puiReserved not read
    /// @return 0
    static int RecalculateGradientColors(unsigned int* colors, unsigned int* puiReserved,
                                         std::map<double, unsigned int>& nodes, double hi,
                                         double lo, bool bBlend);
    /// The same in steps: from where the last step ended, at first entry 0, each node's colour
    /// reaches up to and including the entry of the next node. So the last node's colour is never
    /// seen, and entries behind the last node stay. Of two nodes at 0 and 100 all entries have the
    /// colour of the first.
    /// @return 0
    static int RecalculateGradientColorsNoInterpolate(unsigned int* colors,
                                                      std::map<double, unsigned int>& nodes,
                                                      double hi, double lo);

    // ----- Constants ----------------------------------------------------------------------------

    /// Depths of 8 to 16; the kernels by component count and depth, whose results for 1, 3 and 4
    /// components may differ from those for other counts. The arrays of constants are not tested
    /// for null.
    static IntConstKernel AddConstAndClip, AddConstRotate, SubConstAndClip;
    static DoubleConstKernel MulConstAndClip;
    static PixelConstKernel MinConstAndClip, MaxConstAndClip;
    /// Depths of 8 to 32; 17 to 32 bits by divconstandclip_Nx32 for every component count. The
    /// pictures are not tested for null.
    static DoubleConstKernel DivConstAndClip;
    /// Depths of 8 to 16. The pictures are not tested for null.
    static AddMulPowKernel AddMulPowConstAndClip;
    /// Depths of 8 to 16; the second source is not tested for null.
    static SubAddConstKernel SubAddConstAndClip;

    // ----- Averages, shading, sums --------------------------------------------------------------

    /// Averages a new frame into a picture, see the kernels `average_update_*`. Depths up to 8 are
    /// bytes, also those below 8, up to 16 words, and 32 floats of any number of components. There
    /// is no guard: pointers are not tested, and an unsupported depth gives -2 for empty memory,
    /// too.
    /// @return 0; -2 for depths of 17 to 31 and above 32
    static int AverageUpdate(void* pDst, uint32_t uiDstWidthBytes, double* pdWeights,
                             uint32_t uiWeightsWidthBytes, const void* pSrc,
                             uint32_t uiSrcWidthBytes, const double* pdSrcWeights,
                             uint32_t uiSrcWeightsWidthBytes, uint32_t uiComponents, uint32_t uiBpc,
                             uint32_t uiWidth, uint64_t uiSizeInPixels);
    /// The same with weights of doubles (`uiFloatBits` 64) or of floats (32), whose averages are
    /// cut and not rounded. Floats are no depth here.
    /// @return 0; -2 for other `uiFloatBits` and for depths above 16
    static int AverageUpdate(void* pDst, uint32_t uiDstWidthBytes, void* pWeights,
                             uint32_t uiWeightsWidthBytes, const void* pSrc,
                             uint32_t uiSrcWidthBytes, const void* pSrcWeights,
                             uint32_t uiSrcWeightsWidthBytes, uint32_t uiComponents, uint32_t uiBpc,
                             uint32_t uiFloatBits, uint32_t uiWidth, uint32_t uiSizeInPixels);

    /// Flat-field correction: source * reference / shading, as MulConstDiv. The reference is chosen
    /// for each component from the picture of the light, the shading: the level above which half a
    /// percent of it lies, by value, as CQmHistoAPI_Base::GetLowHighMeanMedian finds it with 0 and
    /// 0.995, so that a few bright outliers do not set it. Levels of a single pixel do not count
    /// there, and a reference of 0 (of a shading of one pixel, say) has the meaning of the constant
    /// 0. Without memory for the histogram the reference is the greatest sample.
    ///
    /// With a flat shading of 200 the reference is 200 and 100 stays 100; where the shading is 0
    /// the result is the greatest value. The histogram is counted as CQmHistoAPI_Base::Calculate
    /// counts, on some threads; the rest runs in the calling one.
    /// @param pShading of the format of the source; not tested for null
    /// @return 0; -2 for depths other than 8 and 9 to 16; -3 without memory for the references,
    /// with
    ///         nothing written
    static int ApplyMultShading(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                uint32_t uiSrcWidthBytes, const void* pShading,
                                uint32_t uiShadingWidthBytes, uint32_t uiComponents, uint32_t uiBpc,
                                uint32_t uiWidth, uint64_t uiSizeInPixels);
    /// Source * constant / divisor toward zero, at most the greatest value M of the depth, which it
    /// also is where the divisor is 0: 100 * 200 / 160 is 125, and by 50 it is 255 at 8 bits. The
    /// product is one of 32 bits, which wraps. **A constant of 0 means different things**: at 8
    /// bits the component is copied, also where the divisor is 0; at 9 to 16 bits it becomes 0, and
    /// M where the divisor is 0. Nothing is allocated, and all runs in the calling thread. The
    /// destination may be one of the pictures.
    /// @param pDiv    of the format of the source; not tested for null
    /// @param puiConst a constant a component
    /// @return 0; -2 for depths other than 8 and 9 to 16
    static int MulConstDiv(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                           uint32_t uiSrcWidthBytes, const void* pDiv, uint32_t uiDivWidthBytes,
                           const uint32_t* puiConst, uint32_t uiComponents, uint32_t uiBpc,
                           uint32_t uiWidth, uint64_t uiSizeInPixels);

    /// Adds the sum of each component to `pui64Sums`, see the kernels `sum_values_*`: sums of rows
    /// wrap at 32 bits. A second call adds on top.
    /// @return 0; -2 for depths other than 8 and 9 to 16
    static int SumValues(uint64_t* pui64Sums, const void* pSrc, uint32_t uiComponents,
                         uint32_t uiBpc, uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                         uint64_t uiSizeInPixels);

    // ----- Focus --------------------------------------------------------------------------------

    /// Measures of sharpness, see qmpic/kernels/focus.h. The numbers of different measures cannot
    /// be compared with each other.
    enum EQmFocusCriterium : unsigned {
        FocusGradientPerEnergy = 0,  ///< root of the horizontal gradients' energy over that of all
        FocusGradientPerSample = 1,  ///< root of the mean squared horizontal gradient
        FocusMultiScale = 2,         ///< squared differences at distances of 1, 2, 4, 8, 16
        FocusImmerkaer = 3,          ///< mean of a noise mask, at several scales
        FocusMaxInt = 4,             ///< mean, as a share of the greatest value
        FocusAutocorrelation = 6,    ///< Vollath's F4 along the rows
    };

    /// How sharp a picture is: the greater the sharper. In the calling thread, without allocations.
    ///
    /// FocusAutocorrelation is Vollath's F4 (The influence of the scene parameters and of noise on
    /// the behaviour of automatic focusing algorithms, Journal of Microscopy 151, 1988) of one
    /// component along the rows: (sum over rows of p0 * p1 + sum over x from 2 of
    /// (p[x-1] - p[x-2]) * p[x]) / uiSizeInPixels. 1, 2, 4 gives (2 + 4) / 3. It does not test
    /// `iComponent`, which is an offset in samples: **-1 is the sample before the row**.
    ///
    /// @param pdResult    may be null
    /// @param iComponent  a component, or -1 for all together; what else is taken differs
    /// @param uiStepX     pixels from one visited pixel to the next: read by the gradients only
    /// @param uiStepY     rows likewise: read by the gradients and FocusMaxInt
    /// @param uiLevelLow, uiLevelHigh scales of FocusImmerkaer, 0 to 5
    /// @return 0; also for a width or size of 0, with the result untouched. -2 when there is no
    ///         kernel: FocusImmerkaer takes 8 bits, and words for *any depth above*;
    ///         FocusMultiScale, FocusMaxInt and FocusAutocorrelation 0 to 8 (bytes) and 9 to 16;
    ///         everything else, known or not, goes to the gradients, which take 8 to 16, and 32 as
    ///         floats when there is one component, and refuse unknown criteria with -2. -4 for what
    ///         a kernel refuses, for null data, and FocusAutocorrelation of a width below 3
    static int GetFocusCriterium(double* pdResult, int iComponent, const void* pData,
                                 uint32_t uiWidthBytes, uint32_t uiComponents, uint32_t uiBpc,
                                 uint32_t uiStepX, uint32_t uiStepY, uint32_t uiLevelLow,
                                 uint32_t uiLevelHigh, uint32_t uiWidth, uint64_t uiSizeInPixels,
                                 EQmFocusCriterium eCriterium);

    // ----- Colocalization and correlation -------------------------------------------------------

    /// The nine numbers of a colocalization of two components. A and B are the samples above the
    /// thresholds, less the thresholds: A = a - `uiThresholdA` if a is above it, otherwise 0, and B
    /// likewise. N is the number of pixels.
    ///
    ///     dMeanA       sum A / N
    ///     dMeanB       sum B / N
    ///     dDenominator sqrt((sum A^2 - sum A * dMeanA) * (sum B^2 - dMeanB * sum B))
    ///     dPearson     (sum AB - N * dMeanA * dMeanB) / dDenominator: -1 to 1
    ///     dOverlap     sum AB / sqrt(sum A^2 * sum B^2): 0 to 1
    ///     dK1, dK2     sum AB / sum A^2, sum AB / sum B^2
    ///     dM1          sum of A where B is not 0, divided by sum A: 0 to 1
    ///     dM2          sum of B where A is not 0, divided by sum B
    ///
    /// Numbers whose divisor is 0 are 0.0: dPearson; dOverlap and both dK unless sum A^2 and sum AB
    /// are not 0; both dM unless sum A and sum B are not 0. Samples 1, 2, 3 with 0, 2, 4 and no
    /// thresholds give 1, 0.9562, 1.1429, 0.8, 0.8333, 1, 2, 2, 4. A product below 0 under the
    /// root, which only rounding makes, leaves NaNs.
    ///
    /// Samples are read as they are stored; sums are doubles, in the order of the pixels. Calling
    /// thread, no allocation. Manders et al., J. Microsc. 169, 1993.
    ///
    /// @param pA           first byte of the component's first sample; any address
    /// @param uiComponents samples from pixel to pixel, of both pictures
    /// @param uiBpc        0 to 8 reads bytes, 9 to 16 words
    /// @param uiSize       pixels, in 32 bits. N is all of it, although an incomplete last row is
    ///                     not visited: means shrink
    /// @return 0; before anything is written -4 for a size of 0, -2 above 16 bits, and 0 for null
    ///         memory. A width of 0 is no pixels, and gives zeros.
    static int Colocalization(const void* pA, uint32_t uiWidthBytesA, const void* pB,
                              uint32_t uiWidthBytesB, uint32_t uiComponents, uint32_t uiBpc,
                              uint32_t uiWidth, uint32_t uiSize, uint32_t uiThresholdA,
                              uint32_t uiThresholdB, double& dPearson, double& dOverlap,
                              double& dK1, double& dK2, double& dM1, double& dM2, double& dMeanA,
                              double& dMeanB, double& dDenominator);
    /// The same for the pixels whose mask byte is not 0: N is how many they are. If there are none,
    /// as with a size of 0, which is not refused here, all numbers are 0.0.
    /// @param pMask          a byte a pixel
    /// @param uiMaskReserved not read
    /// @return 0; before anything is written -2 above 16 bits, and 0 for null memory
    static int Colocalization(const void* pA, uint32_t uiWidthBytesA, const void* pB,
                              uint32_t uiWidthBytesB, uint32_t uiComponents, uint32_t uiBpc,
                              const void* pMask, uint32_t uiMaskWidthBytes, uint32_t uiMaskReserved,
                              uint32_t uiWidth, uint32_t uiSize, uint32_t uiThresholdA,
                              uint32_t uiThresholdB, double& dPearson, double& dOverlap,
                              double& dK1, double& dK2, double& dM1, double& dM2, double& dMeanA,
                              double& dMeanB, double& dDenominator);
    /// What each pixel contributes to Pearson's coefficient: |(B - dMeanB) * (A - dMeanA) /
    /// dDenominator|, with the numbers of Colocalization. Where that denominator is 0 the map holds
    /// infinities or NaNs.
    /// @param pdMap width times height doubles, one a pixel, row behind row without gaps
    /// @return 0; before anything is written -4 for a size of 0, -9 where Colocalization refuses
    ///         (above 16 bits), and 0 for null memory or an area of less than a row
    static int GetColocalizationMap(const void* pA, uint32_t uiWidthBytesA, const void* pB,
                                    uint32_t uiWidthBytesB, uint32_t uiComponents, uint32_t uiBpc,
                                    uint32_t uiWidth, uint32_t uiSize, uint32_t uiThresholdA,
                                    uint32_t uiThresholdB, double* pdMap);
    /// The same for the pixels under the mask, with the numbers of these pixels: packed, one behind
    /// the other. Here a size of 0 is refused.
    /// @param uiMapCount doubles written; set to 0 before anything else
    static int GetColocalizationMap(const void* pA, uint32_t uiWidthBytesA, const void* pB,
                                    uint32_t uiWidthBytesB, uint32_t uiComponents, uint32_t uiBpc,
                                    const void* pMask, uint32_t uiMaskWidthBytes,
                                    uint32_t uiMaskReserved, uint32_t uiWidth, uint32_t uiSize,
                                    uint32_t uiThresholdA, uint32_t uiThresholdB, double* pdMap,
                                    uint32_t& uiMapCount);

    /// Linear correlation of two pictures, the mean over their components; see the kernel
    /// `linar_correlation_1x8`. Up to 8 bits are bytes, 9 to 16 words, and 32 are floats. With a
    /// mask, and for other component counts than 1 and 3, it is the kernel for any number.
    /// @return 0; -2 for other depths; -4 for a size of 0, and a result of 0.0; 0 for null memory,
    ///         and the result is left as it is
    static int LinearCorrelation(const void* pA, uint32_t uiWidthBytesA, const void* pB,
                                 uint32_t uiWidthBytesB, uint32_t uiComponents, uint32_t uiBpc,
                                 uint32_t uiWidth, uint32_t uiSize, double& dResult,
                                 const uint64_t* puiCompMask);
    /// The same for pictures of two depths, up to 8 and 9 to 16. If both are of one storage it is
    /// the form above. Else both are read as bytes: of the wider picture that is the first half of
    /// each row, low and high bytes in turn. The kernels for bytes and words
    /// (`linar_correlation_1x8_16` and its like) are not what this calls.
    /// @return as above; -2 also for floats
    static int LinearCorrelation(const void* pA, uint32_t uiWidthBytesA, uint32_t uiBpcA,
                                 const void* pB, uint32_t uiWidthBytesB, uint32_t uiBpcB,
                                 uint32_t uiComponents, uint32_t uiWidth, uint32_t uiSize,
                                 double& dResult, const uint64_t* puiCompMask);

    // ----- Ratio and calcium --------------------------------------------------------------------

    /// A picture whose colours stand for the ratio of two components and whose brightness stands
    /// for the signal; see ratio_8. Samples are bytes up to 8 bits, and the low bytes of the
    /// offsets count then; above they are words. The rows are shared among threads.
    /// @param pDst    three bytes a pixel
    /// @param bFloat  the source is memory of floats, whatever `uiBpc` says; `pLut` is not used
    /// @param pDesc   components, offsets and range
    /// @param pLut    a set in the colour shape whose rows are the scale; null is the rainbow
    /// @param uiShade lowest bit: brightness follows the signal; else colours are pure
    /// @return 0; -2 for more than 16 bits of integers; -3 when there is no memory, with nothing
    ///         written; -4 for a null `pDesc`
    static int RatioImage(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                          uint32_t uiComponents, uint32_t uiBpc, uint32_t uiSrcWidthBytes,
                          uint32_t uiWidth, uint64_t uiSizeInPixels, bool bFloat,
                          const SQmRatioDesc* pDesc, const SQmLut* pLut, uint32_t uiShade);
    /// The same where colours stand for the logarithm of the concentration of a free ion; see ca_8,
    /// also for the arguments. In the calling thread.
    /// @return 0; -2 for more than 16 bits of integers
    static int CaImage(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                       uint32_t uiComponents, uint32_t uiBpc, uint32_t uiSrcWidthBytes,
                       uint32_t uiWidth, uint64_t uiSizeInPixels, bool bFloat, uint8_t ucNumer,
                       uint8_t ucDenom, uint16_t usNumOffset, uint16_t usDenOffset, double dKd,
                       double dRatioScale, double dSf, double dSb, double dRmin, double dRmax,
                       double dCaMin, double dCaMax, const SQmLut* pLut);

    // ----- FRET ---------------------------------------------------------------------------------

    // kernels/fret.h explains the arguments, and how far the backgrounds reach. Depths: up to 8 are
    // bytes here, those below 8 too. Floats, with `bFloat`, are taken at any depth.

    /// F as a colour of the 256 of `pLut`, null: of predefined table 1, which makes the lists of
    /// tables when they are missing. Of floats without a table it is grey, and the range is not
    /// read. The destination has three bytes a pixel, and three words with `b16To16` at 9 to 16
    /// bits.
    /// @return 0; -2 above 16 bits; -3 without memory for the default colours, nothing is written
    static int FRETImage(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                         uint32_t uiComponents, uint32_t uiBpc, uint32_t uiSrcWidthBytes,
                         uint32_t uiWidth, uint64_t uiSizeInPixels, int iFretComp, int iDonorComp,
                         int iAcceptorComp, int iFourthComp, short sFretBg, short sDonorBg,
                         short sAcceptorBg, short sFourthBg, double dDonorBleed,
                         double dAcceptorBleed, double dDonorInAcceptor, double dAcceptorInDonor,
                         const SQmLut* pLut, bool bFloat, float fMin, float fMax, bool b16To16);
    /// F itself, of channels less their backgrounds, which may be negative here and have a sign.
    /// The destination has one component of the source's depth, F is cut and limited to 0 and the
    /// top value of the depth. **At 32 bits that value is 0, and so is the picture**; at 31 it is
    /// 2147483647. Depths below 8 are *words*, and the range is not read.
    ///
    /// Of floats the destination is bytes. Each is cut to 32 bits before its background is taken, F
    /// is limited to 0 and `fMax` and cut, and its low byte is stored: 700 is 188 when `fMax` is
    /// 1000. **The stride of such a source counts floats and not bytes.**
    /// @return 0; -2 above 32 bits
    static int FRETImageMono(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                             uint32_t uiComponents, uint32_t uiBpc, uint32_t uiSrcWidthBytes,
                             uint32_t uiWidth, uint64_t uiSizeInPixels, int iFretComp,
                             int iDonorComp, int iAcceptorComp, int iFourthComp, short sFretBg,
                             short sDonorBg, short sAcceptorBg, short sFourthBg, double dDonorBleed,
                             double dAcceptorBleed, double dDonorInAcceptor,
                             double dAcceptorInDonor, bool bFloat, float fMin, float fMax);
    /// The efficiency F / I2 in percent as a colour, shaded by the donor: fret_eff_8, fret_eff_16
    /// and fret_eff_float, which alone reads the range. Without a table the colours are a scale
    /// from blue to red. `iDonorComp` has to be a component.
    /// @return 0; -2 above 16 bits; -3 without memory, nothing is written
    static int FRET_EffImage(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                             uint32_t uiComponents, uint32_t uiBpc, uint32_t uiSrcWidthBytes,
                             uint32_t uiWidth, uint64_t uiSizeInPixels, int iFretComp,
                             int iDonorComp, int iAcceptorComp, int iFourthComp, short sFretBg,
                             short sDonorBg, short sAcceptorBg, short sFourthBg, double dDonorBleed,
                             double dAcceptorBleed, double dDonorInAcceptor,
                             double dAcceptorInDonor, double dEffMin, double dEffMax,
                             const SQmLut* pLut, bool bFloat, float fMin, float fMax);
    /// The efficiency from pictures after and before the acceptor was bleached:
    /// fret_photobleach_eff_8 and fret_photobleach_eff_16. `iComp` has to be a component.
    /// @return 0; -2 above 16 bits; -3 without memory, nothing is written
    static int FRET_PhotoBleachEffImage(void* pDst, uint32_t uiDstWidthBytes,
                                        const void* pPostBleach, const void* pPreBleach,
                                        uint32_t uiComponents, uint32_t uiBpc,
                                        uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                                        uint64_t uiSizeInPixels, int iComp, double dEffMin,
                                        double dEffMax, short sPreBg, short sPostBg,
                                        short sPreReference, short sPostReference);

    // ----- Acquisition --------------------------------------------------------------------------

    /// Compares the first components a and b of two pictures of one format. The first three
    /// components of the destination become a, b, and
    /// max(a / dScaleA - b / dScaleB, 0) / a / dScaleA * (2^uiBpc - 1) toward zero: the part of a
    /// that is lost in b, divided by the scale a second time. 100 and 80 with scales of 1 give 51
    /// of 255. Where b / dScaleB exceeds a / dScaleA and where a is 0 it is 0. What does not fit is
    /// cut to the low bits. Fewer components take what they have.
    /// @param uiBpc   up to 8 bits are bytes, up to 16 words; above, nothing is done
    /// @param dScaleA 0 is 1, also for `dScaleB`
    /// @return 0; -4 for null memory and for a 0 among strides, components, depth, width and size
    static int AccPhotobleachProcessing(void* pDst, uint32_t uiDstWidthBytes,
                                        uint32_t uiDstComponents, const void* pSrcA,
                                        const void* pSrcB, uint32_t uiSrcWidthBytes,
                                        uint32_t uiSrcComponents, uint32_t uiBpc, uint32_t uiWidth,
                                        uint64_t uiSizeInPixels, double dScaleA, double dScaleB);

    /// Combines pairs of components: destination k is q * pdWeights[k] + p + 0.5 within 0 and
    /// 2^uiBpc - 1, toward zero (NaN 0), where p and q are the components of the source at the
    /// first and the second place that holds k + 1 in `piPairs`. Without pairs both are component
    /// k: a weight of 1 gives 2 * p. A destination that has no pair is 0, but the last of them is
    /// component k itself when the source has an odd number of components and k is one.
    /// @param piPairs   `uiSrcComponents` numbers, or null
    /// @param pdWeights `uiDstComponents` weights
    /// @param uiBpc     up to 8 bits are bytes, up to 16 words; above, nothing is done
    /// @return 0; -3 without memory; -4 for null memory or weights and for a 0 among strides,
    ///         components, depth, width and size
    static int ZorbenProcessing(void* pDst, uint32_t uiDstWidthBytes, uint32_t uiDstComponents,
                                const void* pSrc, uint32_t uiSrcWidthBytes,
                                uint32_t uiSrcComponents, const int* piPairs,
                                const double* pdWeights, uint32_t uiBpc, uint32_t uiWidth,
                                uint64_t uiSizeInPixels);

    /// Merges two pictures by a screen, f + d - f * d of full scale, cut to whole numbers, where f
    /// is (a / top)^(1 / dGamma) of component `uiComponent` of the first and d is b / top of the
    /// first component of the second. The result goes to component `uiComponent`, or to component 0
    /// where the destination has no such; others stay. 128 and 64 of 8 bits give 159.
    ///
    /// Bits decide: above 8 of the destination, all three have to be 9 to 16, each with a top of
    /// its own. Up to 8 of all three, the tops are 255. Where a source is deeper than a destination
    /// of bytes, both sources are walked as bytes all the same; the second is shifted right by
    /// uiSrcBBpc - 8 (modulo 32), and the first is looked up in a table with 2^uiSrcABpc entries
    /// cut to eight bits of that number, which are none for 8 bits and more: then f is 0, and the
    /// result is the second picture's byte.
    /// @param uiComponent below `uiSrcAComponents`
    /// @return 0; -2 for other depths
    static int MixDicAndFluo(void* pDst, uint32_t uiDstWidthBytes, uint32_t uiDstComponents,
                             uint32_t uiDstBpc, const void* pSrcA, uint32_t uiSrcAWidthBytes,
                             uint32_t uiSrcAComponents, uint32_t uiSrcABpc, const void* pSrcB,
                             uint32_t uiSrcBWidthBytes, uint32_t uiSrcBComponents,
                             uint32_t uiSrcBBpc, uint32_t uiComponent, double dGamma,
                             uint32_t uiWidth, uint64_t uiSizeInPixels);

    /// Marks local extremes of a picture of one component in another; the border and all else is 0.
    ///
    /// With `sTolerance` below 1 pixels are marked `ucLevels` of which no neighbour is below them:
    /// minima, and flat ground. From 1 on the difference d of a pixel and its neighbour is one of
    /// signed 16 bits, which wraps: the right neighbour must give -sTolerance at most, and the
    /// other seven must not give more than sTolerance.
    ///
    /// Then marks grow outward, for each level from ucLevels - 1 down to 1: a pixel that has no
    /// mark yet gets this one when no neighbour gives d above sTolerance, but for those that have a
    /// higher mark, which do not count.
    /// @param ucLevels 1 is the first pass alone; 0 marks nothing
    /// @return 0; -2 unless the source has up to 8 bits and so has the destination, or the source
    ///         has 9 to 16 and the destination up to 16
    static int MonoDetectLocalPeaks(void* pDst, uint32_t uiDstBpc, uint32_t uiDstWidthBytes,
                                    const void* pSrc, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                    uint32_t uiWidth, uint64_t uiSizeInPixels, short sTolerance,
                                    unsigned char ucLevels);

    /// The level at which the objects of the first component are roundest: see
    /// kernels/acquisition.h. Up to 8 bits are bytes, up to 16 words.
    /// @return the level; as unsigned numbers -2 for other depths and -3 without memory
    static unsigned int ThresholdFromIntegralCircularity(const void* pData, uint32_t uiBpc,
                                                         uint32_t uiComponents,
                                                         uint32_t uiWidthBytes, uint32_t uiWidth,
                                                         uint32_t uiSize, bool bBrightObjects,
                                                         double dMinArea, double dMaxArea);
    /// The same of what a mask selects, which has depth classes as the picture has.
    static unsigned int ThresholdFromIntegralCircularity(
        const void* pData, uint32_t uiBpc, uint32_t uiComponents, uint32_t uiWidthBytes,
        const void* pMask, uint32_t uiMaskBpc, uint32_t uiMaskWidthBytes, uint32_t uiWidth,
        uint32_t uiSize, bool bBrightObjects, double dMinArea, double dMaxArea,
        uint32_t uiMaskValue, bool bMaskEqual);

    /// Fills the gaps that a gain leaves in a histogram of 2^uiBits bins (kernels/acquisition.h):
    /// that at `pHistogram` of one component, else `ppHistograms[uiComponent]`.
    /// @return 0, also for other bins than those of 4 and 8 bytes and without memory, when nothing
    ///         is done; -2 for other bits than 8 to 16
    static int GainedProblem(void** ppHistograms, void* pHistogram, uint32_t uiComponent,
                             uint32_t uiBinBytes, uint32_t uiComponents, uint32_t uiBits);
};

/// 10001 arc cosines: entry i is that of 2 * i / 10000 - 1, so entry 0 is pi and entry 10000 is 0.
/// That of x is entry (x + 1) * 5000. Filled when the library is loaded, before any constructor of
/// a global object, and read only.
QM_API extern const double* const g_AcosLUTs;
