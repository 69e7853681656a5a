#pragma once

#include <cstdint>

#include "qmpic/export.h"
#include "qmpic/system/RangeMask.h"

/// @file
/// Composition: every component of a picture (a channel) is looked up in a colour table of its own,
/// and the colours of a pixel are merged like lights on a screen into three cells: blue, green,
/// red.
///
/// A name says components and storage of the source, then of the destination. 1 to 6 components
/// have kernels of their own, which count in their name; `Nx` is for any number. The kernels for
/// one component take `pLuts[value][cell]`, the others `pLuts[component][value][cell]`: pointers to
/// rows of three cells, of one byte (`3x8`) or two (`3x16`). The tables hold 256 rows, or
/// 2^`uiSrcBpc`; samples are not masked, and one beyond its table reads beyond it.
///
/// **Merging.** The colours of the selected components, in ascending order, cell by cell:
/// - to 8 bits: a + b - a * b / 255. 200 and 100 give 222; 255 and anything give 255.
/// - `2x16_3x16` to `6x16_3x16`: a - a * b / top + b with top = 2^`uiSrcBpc` - 1 of the *source*,
///   product and quotient in signed 32 bits, where the product wraps, and the low 16 bits of it
///   all: at 16 bits 65535 and 65535 give 0.
/// - `Nx16_3x16` alone: a + b - sqrt(a * b) + 0.5 in double, truncated: equal values keep their
///   value; 65535 and 1 give 65280.
///
/// **Selection.** Components that are not in the mask take no part; none at all gives black (but
/// see `mapcomp_2x8_3x8`). Bits at or beyond the component count, or the mask's size, mean nothing.
///
/// **Exposure.** In the kernels that mark, a selected sample of 0 is under-exposed and one at or
/// above its threshold over-exposed, and the whole pixel takes the colour of that component's entry
/// instead: of the lowest such component, and of that the under-colour first. An entry is four
/// bytes, blue, green, red and a flag; with a flag other than 0 the colour is the inverse of what
/// the component's own table gives for the greatest sample (255, or 2^`uiSrcBpc` - 1). A null block
/// switches its test off.
///
/// The 16-bit kernels to `3x8` share their rows among the threads of the default OpenMP team when
/// all components are selected; everything else runs in the calling thread. Large pictures are
/// composed through a copy of the tables on the heap; when there is no memory for it they are
/// composed without. Source and destination must not overlap.

/// @param pDst             first byte; any address, as for the source
/// @param uiDstWidthBytes  bytes from row to row; gaps between rows are neither read nor written
/// @param uiComponents     components of the source; 0 leaves the destination as it is
/// @param uiSrcBpc         significant bits of the source, 9 to 16
/// @param pLuts            the tables: see above
/// @param mask             the selected components
/// @param pOverExpColor    an entry a component, or null
/// @param pOverExpValue    a threshold a component, or null: the greatest sample
/// @param pUnderExpColor   an entry a component, or null
/// @param uiReserved       not read
/// @param uiWidth          pixels in a row, above 0
/// @param uiSizeInPixels   pixels in the area; an incomplete last row does not count
/// @return 0. Null pointers are for the entries: kernels do not test them, where nothing is said.
using MapComp1x8Kernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                             uint32_t uiSrcWidthBytes, const void* pLuts, uint32_t uiWidth,
                             uint64_t uiSizeInPixels);
using MapComp1x16To8Kernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                 uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, const void* pLuts,
                                 uint32_t uiWidth, uint64_t uiSizeInPixels);
/// Depth and stride stand the other way round in all kernels to 16 bits.
using MapComp1x16To16Kernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                  uint32_t uiSrcWidthBytes, uint32_t uiSrcBpc, const void* pLuts,
                                  uint32_t uiWidth, uint64_t uiSizeInPixels);

using MapComp8Kernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                           uint32_t uiSrcWidthBytes, const void* pLuts, const CQmRangeMask& mask,
                           uint32_t uiWidth, uint64_t uiSizeInPixels);
using MapComp16To8Kernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                               uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, const void* pLuts,
                               const CQmRangeMask& mask, uint32_t uiWidth, uint64_t uiSizeInPixels);
using MapComp16To16Kernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                uint32_t uiSrcWidthBytes, uint32_t uiSrcBpc, const void* pLuts,
                                const CQmRangeMask& mask, uint32_t uiWidth,
                                uint64_t uiSizeInPixels);

using MapCompNx8Kernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                             uint32_t uiComponents, uint32_t uiSrcWidthBytes, const void* pLuts,
                             const CQmRangeMask& mask, uint32_t uiWidth, uint64_t uiSizeInPixels);
using MapCompNx16To8Kernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                 uint32_t uiComponents, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                 const void* pLuts, const CQmRangeMask& mask, uint32_t uiWidth,
                                 uint64_t uiSizeInPixels);
using MapCompNx16To16Kernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                  uint32_t uiComponents, uint32_t uiSrcWidthBytes,
                                  uint32_t uiSrcBpc, const void* pLuts, const CQmRangeMask& mask,
                                  uint32_t uiWidth, uint64_t uiSizeInPixels);

/// One component: its colours as they are. There is no mask.
QM_API MapComp1x8Kernel mapcomp_1x8_3x8;
QM_API MapComp1x16To8Kernel mapcomp_1x16_3x8;
QM_API MapComp1x16To16Kernel mapcomp_1x16_3x16;

/// `mapcomp_2x8_3x8` alone leaves the destination as it is when nothing is selected.
// clang-format off
QM_API MapComp8Kernel
    mapcomp_2x8_3x8, mapcomp_3x8_3x8, mapcomp_4x8_3x8, mapcomp_5x8_3x8, mapcomp_6x8_3x8;
QM_API MapComp16To8Kernel
    mapcomp_2x16_3x8, mapcomp_3x16_3x8, mapcomp_4x16_3x8, mapcomp_5x16_3x8, mapcomp_6x16_3x8;
QM_API MapComp16To16Kernel
    mapcomp_2x16_3x16, mapcomp_3x16_3x16, mapcomp_4x16_3x16, mapcomp_5x16_3x16, mapcomp_6x16_3x16;
// clang-format on
QM_API MapCompNx8Kernel mapcomp_Nx8_3x8;
QM_API MapCompNx16To8Kernel mapcomp_Nx16_3x8;
QM_API MapCompNx16To16Kernel mapcomp_Nx16_3x16;

/// Another destination than three components does not exist: -2, always, and nothing is touched.
QM_API MapCompNx8Kernel mapcomp_Nx8_Mx8;

/// Merges one more channel into a destination that holds a composed picture already. It has one
/// component, whatever `uiComponents` says, and takes `pLuts[value][cell]`; the mask is not looked
/// at.
QM_API MapCompNx8Kernel mapcomp_Iter1x8_3x8;

using MapComp1x8MarksKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                  uint32_t uiSrcWidthBytes, const void* pLuts,
                                  const void* pOverExpColor, const uint32_t* pOverExpValue,
                                  const void* pUnderExpColor, uint64_t uiReserved, uint32_t uiWidth,
                                  uint64_t uiSizeInPixels);
using MapComp1x16MarksKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                   uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, const void* pLuts,
                                   const void* pOverExpColor, const uint32_t* pOverExpValue,
                                   const void* pUnderExpColor, uint64_t uiReserved,
                                   uint32_t uiWidth, uint64_t uiSizeInPixels);
using MapComp8MarksKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                uint32_t uiSrcWidthBytes, const void* pLuts,
                                const CQmRangeMask& mask, const void* pOverExpColor,
                                const uint32_t* pOverExpValue, const void* pUnderExpColor,
                                uint64_t uiReserved, uint32_t uiWidth, uint64_t uiSizeInPixels);
using MapComp16MarksKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                 uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, const void* pLuts,
                                 const CQmRangeMask& mask, const void* pOverExpColor,
                                 const uint32_t* pOverExpValue, const void* pUnderExpColor,
                                 uint64_t uiReserved, uint32_t uiWidth, uint64_t uiSizeInPixels);
using MapCompNx8MarksKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                  uint32_t uiComponents, uint32_t uiSrcWidthBytes,
                                  const void* pLuts, const CQmRangeMask& mask,
                                  const void* pOverExpColor, const uint32_t* pOverExpValue,
                                  const void* pUnderExpColor, uint64_t uiReserved, uint32_t uiWidth,
                                  uint64_t uiSizeInPixels);
using MapCompNx16MarksKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                   uint32_t uiComponents, uint32_t uiSrcBpc,
                                   uint32_t uiSrcWidthBytes, const void* pLuts,
                                   const CQmRangeMask& mask, const void* pOverExpColor,
                                   const uint32_t* pOverExpValue, const void* pUnderExpColor,
                                   uint64_t uiReserved, uint32_t uiWidth, uint64_t uiSizeInPixels);

/// The same with exposure marks. A component at 0 beside a lower one at its greatest sample: the
/// lower one is tested first, and the pixel takes its over-colour.
// clang-format off
QM_API MapComp1x8MarksKernel  mapcomp_1x8_3x8_overexp_underexp;
QM_API MapComp1x16MarksKernel mapcomp_1x16_3x8_overexp_underexp;
QM_API MapComp8MarksKernel
    mapcomp_2x8_3x8_overexp_underexp, mapcomp_3x8_3x8_overexp_underexp,
    mapcomp_4x8_3x8_overexp_underexp, mapcomp_5x8_3x8_overexp_underexp,
    mapcomp_6x8_3x8_overexp_underexp;
QM_API MapComp16MarksKernel
    mapcomp_2x16_3x8_overexp_underexp, mapcomp_3x16_3x8_overexp_underexp,
    mapcomp_4x16_3x8_overexp_underexp, mapcomp_5x16_3x8_overexp_underexp,
    mapcomp_6x16_3x8_overexp_underexp;
QM_API MapCompNx8MarksKernel  mapcomp_Nx8_3x8_overexp_underexp;
QM_API MapCompNx16MarksKernel mapcomp_Nx16_3x8_overexp_underexp;
// clang-format on

using MapComp8OverKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                               uint32_t uiSrcWidthBytes, const void* pLuts,
                               const CQmRangeMask& mask, const void* pOverExpColor,
                               const uint32_t* pOverExpValue, uint32_t uiWidth,
                               uint64_t uiSizeInPixels);
using MapComp16OverKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, const void* pLuts,
                                const CQmRangeMask& mask, const void* pOverExpColor,
                                const uint32_t* pOverExpValue, uint32_t uiWidth,
                                uint64_t uiSizeInPixels);
using MapCompNx8OverKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                 uint32_t uiComponents, uint32_t uiSrcWidthBytes, const void* pLuts,
                                 const CQmRangeMask& mask, const void* pOverExpColor,
                                 const uint32_t* pOverExpValue, uint32_t uiWidth,
                                 uint64_t uiSizeInPixels);
using MapCompNx16OverKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                  uint32_t uiComponents, uint32_t uiSrcBpc,
                                  uint32_t uiSrcWidthBytes, const void* pLuts,
                                  const CQmRangeMask& mask, const void* pOverExpColor,
                                  const uint32_t* pOverExpValue, uint32_t uiWidth,
                                  uint64_t uiSizeInPixels);

/// The same with the over-exposure test alone.
QM_API MapComp8OverKernel mapcomp_2x8_3x8_overexp;
QM_API MapComp16OverKernel mapcomp_2x16_3x8_overexp;
QM_API MapCompNx8OverKernel mapcomp_Nx8_3x8_overexp;
QM_API MapCompNx16OverKernel mapcomp_Nx16_3x8_overexp;

using MapCompNx8AddKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                uint32_t uiComponents, uint32_t uiSrcWidthBytes, const void* pLuts,
                                const CQmRangeMask& mask, double dGain,
                                const CQmRangeMask& addedMask, uint32_t uiWidth,
                                uint64_t uiSizeInPixels);
using MapCompNx16AddKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                 uint32_t uiComponents, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                 const void* pLuts, const CQmRangeMask& mask, double dGain,
                                 const CQmRangeMask& addedMask, uint32_t uiWidth,
                                 uint64_t uiSizeInPixels);
using MapCompNx8AddOverKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                    uint32_t uiComponents, uint32_t uiSrcWidthBytes,
                                    const void* pLuts, const CQmRangeMask& mask, double dGain,
                                    const CQmRangeMask& addedMask, const void* pOverExpColor,
                                    const uint32_t* pOverExpValue, uint32_t uiWidth,
                                    uint64_t uiSizeInPixels);
using MapCompNx16AddOverKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                     uint32_t uiComponents, uint32_t uiSrcBpc,
                                     uint32_t uiSrcWidthBytes, const void* pLuts,
                                     const CQmRangeMask& mask, double dGain,
                                     const CQmRangeMask& addedMask, const void* pOverExpColor,
                                     const uint32_t* pOverExpValue, uint32_t uiWidth,
                                     uint64_t uiSizeInPixels);

/// Another merge, for a group of channels that are averaged and amplified. Selected components that
/// are also in `addedMask` are list A, of a entries; the others list B, of b. A cell of A is
/// min(sum * g / a / 255, 255) with g = `dGain` * 255 + 0.5, truncated; integer divisions, 32 bits.
///
/// - Both lists empty: nothing is written.
/// - B empty: the cell of A. 100 and 50 with a gain of 2 give 150.
/// - Otherwise A counts as one more of B: each, cell of A and colours of B, is divided by b + 1,
///   and their sum is written. A cell of 150 beside one of B at 200 gives 75 + 100.
/// - A empty: the first of B is left out, and the others are added to what the destination holds,
///   divided by b + 1, the sum kept to 8 bits.
///
/// Everything runs in the calling thread.
QM_API MapCompNx8AddKernel mapcomp_Nx8_3x8_add;
QM_API MapCompNx16AddKernel mapcomp_Nx16_3x8_add;

/// The same, but the lowest selected component that is over-exposed gives the pixel its colour.
QM_API MapCompNx8AddOverKernel mapcomp_Nx8_3x8_add_overexp;
QM_API MapCompNx16AddOverKernel mapcomp_Nx16_3x8_add_overexp;
