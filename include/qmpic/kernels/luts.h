#pragma once

#include <cstdint>

#include "qmpic/export.h"

class CQmRangeMask;

/// @file
/// Look-up tables: a destination component is what a table gives for one source value.
///
/// A table has one entry for each of the 2^bits values of its source depth and comes as `pLuts`, in
/// one of two shapes. **Flat**: the cells themselves, one a value (`_lut1`, and all kernels of one
/// component). **Rows**: an array of pointers, one a value, each to the cells of that value, cell c
/// for destination component c; cells of a colour are blue, green, red. Rows may lie anywhere and
/// values may share one. A cell is a byte when the destination is `x8`, a 16-bit word when it is
/// `x16`. SQmLut holds tables in these shapes.
///
/// Values index the table as they are stored, unless a line here says otherwise: nothing is masked
/// and nothing checked, so that a value above the depth is the caller's fault. A name ends in its
/// layout: `3x16` is three components in 16-bit words, `N` and `M` any number of them; members for
/// 1, 3 and 4 components do not read `uiComponents`. Everything runs in the calling thread, except
/// applyluts_1x8 and applyluts_3x8, which always share their rows among a team of the OpenMP
/// runtime's default size. The destination may be the source where their pixels have the same
/// width; any other overlap is the caller's fault. When the picture is large the kernels may make
/// themselves a denser copy of the table; without memory for it they take the rows as they are.

/// The same components and the same depth in and out: component c = row[value of c][c], or
/// table[value] in the `_lut1` forms. A flat table with 10 at 0 and 7 at 200 maps (0, 200) to
/// (10, 7).
/// @param pDst            first byte; any address, as for the source
/// @param uiDstWidthBytes bytes from row to row; gaps between the rows are neither read nor written
/// @param pLuts           the table, of 2^uiBpc entries
/// @param uiComponents    components of a pixel
/// @param uiBpc           `x8`: 1 to 8; `x16`: 9 to 16, and only the low uiBpc bits of a value
/// count
/// @param uiWidth         pixels in a row, above 0
/// @param uiSizeInPixels  pixels in the area; an incomplete last row does not count
/// @return 0. Null pointers and a width of 0 are for the entries: kernels do not test them.
using ApplyLutsKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                            uint32_t uiSrcWidthBytes, const void* pLuts, uint32_t uiComponents,
                            uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels);

// clang-format off
QM_API ApplyLutsKernel
    applyluts_1x8,  applyluts_3x8,  applyluts_4x8,  applyluts_Nx8,
    applyluts_1x16, applyluts_3x16, applyluts_4x16, applyluts_Nx16,
    applyluts_3x8_lut1,  applyluts_4x8_lut1,  applyluts_Nx8_lut1,
    applyluts_3x16_lut1, applyluts_4x16_lut1, applyluts_Nx16_lut1;
// clang-format on

/// applyluts_3x8 with signal colours for what is exposed badly. Colour blocks hold 4 bytes for each
/// component: blue, green, red, flag. The components that take part are tested from the highest to
/// the lowest; for each, first whether the value is 0 (under), then whether it *equals* its
/// threshold (over). The first hit gives the whole pixel the colour of that component. A flag other
/// than 0 replaces the colour by a fixed one: yellow (0, 255, 255) for component 0, magenta
/// (255, 0, 255) for 1, cyan (255, 255, 0) for 2. With threshold 200 a value of 201 is drawn
/// through the table.
///
/// Runs in the calling thread; with neither colour block it is applyluts_3x8.
/// @param pOverExpColor  colour block, or null: nothing is over-exposed
/// @param pOverExpValue  three thresholds; null: 2^uiBpc - 1 for all
/// @param pUnderExpColor colour block, or null: nothing is under-exposed
/// @param ui64Mask       which components take part: all three when the low three bits are set,
///                       whatever stands above them; else exactly 3, 5 or 6. With any other value
///                       nothing is written and the result is 0.
using ApplyLutsExposedKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                   uint32_t uiSrcWidthBytes, const void* pLuts,
                                   const void* pOverExpColor, const uint32_t* pOverExpValue,
                                   const void* pUnderExpColor, uint32_t uiComponents,
                                   uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels,
                                   uint64_t ui64Mask);
QM_API ApplyLutsExposedKernel applyluts_3x8_overexp_underexp;

/// Another depth, the same components. Members of one component take the flat table.
/// @param pLuts    the table, of 2^uiSrcBpc entries with cells of uiDstBpc bits
/// @param uiDstBpc 8 for `to_x8`, 9 to 16 for `to_x16`
/// @param uiSrcBpc the same for the source; values are not masked
using ConvertBitDepthViaLutsKernel = int(void* pDst, uint32_t uiDstBpc, uint32_t uiDstWidthBytes,
                                         const void* pSrc, uint32_t uiSrcBpc,
                                         uint32_t uiSrcWidthBytes, const void* pLuts,
                                         uint32_t uiComponents, uint32_t uiWidth,
                                         uint64_t uiSizeInPixels);

// clang-format off
QM_API ConvertBitDepthViaLutsKernel
    convertbitdepthvialuts_1x16_to_1x16,
    convertbitdepthvialuts_3x16_to_3x16,      convertbitdepthvialuts_4x16_to_4x16,
    convertbitdepthvialuts_Nx16_to_Nx16,      convertbitdepthvialuts_3x16_to_3x16_lut1,
    convertbitdepthvialuts_4x16_to_4x16_lut1, convertbitdepthvialuts_Nx16_to_Nx16_lut1,
    convertbitdepthvialuts_1x16_to_1x8,
    convertbitdepthvialuts_3x16_to_3x8,       convertbitdepthvialuts_4x16_to_4x8,
    convertbitdepthvialuts_Nx16_to_Nx8,       convertbitdepthvialuts_3x16_to_3x8_lut1,
    convertbitdepthvialuts_4x16_to_4x8_lut1,  convertbitdepthvialuts_Nx16_to_Nx8_lut1,
    convertbitdepthvialuts_1x8_to_1x16,
    convertbitdepthvialuts_3x8_to_3x16,       convertbitdepthvialuts_4x8_to_4x16,
    convertbitdepthvialuts_Nx8_to_Nx16,       convertbitdepthvialuts_3x8_to_3x16_lut1,
    convertbitdepthvialuts_4x8_to_4x16_lut1,  convertbitdepthvialuts_Nx8_to_Nx16_lut1;
// clang-format on

/// As applyluts_3x8_overexp_underexp, but a value *at or above* its threshold is over-exposed: with
/// threshold 200 that is so for 201, too. A null `pOverExpValue` means 2^uiSrcBpc - 1.
using ConvertBitDepthViaLutsExposedKernel =
    int(void* pDst, uint32_t uiDstBpc, uint32_t uiDstWidthBytes, const void* pSrc,
        uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, const void* pLuts, const void* pOverExpColor,
        const uint32_t* pOverExpValue, const void* pUnderExpColor, uint32_t uiComponents,
        uint32_t uiWidth, uint64_t uiSizeInPixels, uint64_t ui64Mask);
QM_API ConvertBitDepthViaLutsExposedKernel convertbitdepthvialuts_3x16_to_3x8_overexp_underexp;

/// The flat form: a pixel is over-exposed when any of its three values is at or above its
/// threshold, and then takes the colour of the first entry of the block, whose flag does not count.
/// Nothing is under-exposed, and no component is left out. A null block marks nothing.
using ConvertBitDepthViaLutsOverexposedKernel = int(void* pDst, uint32_t uiDstBpc,
                                                    uint32_t uiDstWidthBytes, const void* pSrc,
                                                    uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                                    const void* pLuts, const void* pOverExpColor,
                                                    const uint32_t* pOverExpValue,
                                                    uint32_t uiComponents, uint32_t uiWidth,
                                                    uint64_t uiSizeInPixels);
QM_API ConvertBitDepthViaLutsOverexposedKernel convertbitdepthvialuts_3x16_to_3x8_lut1_overexp;

/// One source component to a picture of bytes. `lut1`: a flat table, whose cell goes to every
/// destination component. `lut3`, `lutN`: rows, cell c to component c.
/// @param uiSrcComponents components of a source pixel
/// @param uiSrcBpc        `x8`: 1 to 8, `x16`: 9 to 16
/// @param uiComp          the component to take, below uiSrcComponents
/// @param pLuts           the table, of 2^uiSrcBpc entries with cells of a byte
using ComponentLutKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                               uint32_t uiSrcComponents, uint32_t uiSrcBpc,
                               uint32_t uiSrcWidthBytes, uint32_t uiComp, const void* pLuts,
                               uint32_t uiWidth, uint64_t uiSizeInPixels);
QM_API ComponentLutKernel component_lut1_Nx8_to_1x8, component_lut1_Nx16_to_1x8,
    component_lut1_Nx8_to_3x8, component_lut1_Nx16_to_3x8, component_lut3_Mx8_to_3x8,
    component_lut3_Mx16_to_3x8;

/// The same for `uiDstComponents` components.
using ComponentLutToNKernel = int(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes,
                                  const void* pSrc, uint32_t uiSrcComponents, uint32_t uiSrcBpc,
                                  uint32_t uiSrcWidthBytes, uint32_t uiComp, const void* pLuts,
                                  uint32_t uiWidth, uint64_t uiSizeInPixels);
QM_API ComponentLutToNKernel component_lut1_Nx8_to_Nx8, component_lut1_Nx16_to_Nx8,
    component_lutN_Mx8_to_Nx8, component_lutN_Mx16_to_Nx8;

/// The same with signal colours: the value 0 takes the under colour, a value below the threshold is
/// mapped, all others take the over colour. Without one of the colour blocks its test is left out.
///
/// The threshold is `pOverExpValue[uiComp]`; with a null pointer 255 in the `x8` and 2^uiSrcBpc - 1
/// in the `x16` members. The colour is that of entry 0 of the block in the `lut1` members and of
/// entry `uiComp` in the `lut3` members. A flag other than 0 replaces it by the bitwise inverse of
/// what the table gives for 2^uiSrcBpc - 1: a table that ends in (0, 255, 0) marks with
/// (255, 0, 255).
///
/// component_lut1_Nx8_to_3x8_overexp_underexp, alone of the four, reads its threshold from the
/// over-exposure block itself: the 32-bit word at `uiComp`, that is blue + 256 * green +
/// 65536 * red + 16777216 * flag. `pOverExpValue` does not count there.
using ComponentLutExposedKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                      uint32_t uiSrcComponents, uint32_t uiSrcBpc,
                                      uint32_t uiSrcWidthBytes, uint32_t uiComp, const void* pLuts,
                                      const void* pOverExpColor, const uint32_t* pOverExpValue,
                                      const void* pUnderExpColor, uint32_t uiWidth,
                                      uint64_t uiSizeInPixels);
QM_API ComponentLutExposedKernel component_lut1_Nx8_to_3x8_overexp_underexp,
    component_lut1_Nx16_to_3x8_overexp_underexp, component_lut3_Mx8_to_3x8_overexp_underexp,
    component_lut3_Mx16_to_3x8_overexp_underexp;

/// `lut3` with a gain, for a component that is to be weighted: cell = min(cell * g / 255, 255) with
/// g = dGain * 255 + 0.5, truncated to 64 bits, of which the low 32 count; the product wraps at 32
/// bits. Gain 0.5 makes 100 of a cell of 200 (g is 128); gain -1 makes 255 of every cell but 0.
/// @param rmAdd the components to be weighted; one that is not among them is mapped as it is
using ComponentLutAddKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                  uint32_t uiSrcComponents, uint32_t uiSrcBpc,
                                  uint32_t uiSrcWidthBytes, uint32_t uiComp, const void* pLuts,
                                  double dGain, const CQmRangeMask& rmAdd, uint32_t uiWidth,
                                  uint64_t uiSizeInPixels);
QM_API ComponentLutAddKernel component_lut3_Mx8_to_3x8_add, component_lut3_Mx16_to_3x8_add;

/// The same with the over-exposure test of the `lut3` members; the colour is not weighted. There is
/// no test for 0.
using ComponentLutAddOverexposedKernel =
    int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcComponents,
        uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, uint32_t uiComp, const void* pLuts,
        double dGain, const void* pOverExpColor, const uint32_t* pOverExpValue,
        const CQmRangeMask& rmAdd, uint32_t uiWidth, uint64_t uiSizeInPixels);
QM_API ComponentLutAddOverexposedKernel component_lut3_Mx8_to_3x8_add_overexp,
    component_lut3_Mx16_to_3x8_add_overexp;

/// A picture of one component to one of several: component c = row[value][c]. val8 tables have 256
/// entries; of val16 tables only those are read that the picture calls for or that lie below them.
/// mapvialuts_val8_to_3x8_lut1 takes a flat table, whose cell goes to all three components.
using MapViaLutsKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                             uint32_t uiSrcWidthBytes, const void* pLuts, uint32_t uiWidth,
                             uint64_t uiSizeInPixels);
QM_API MapViaLutsKernel mapvialuts_val8_to_3x8_lut1, mapvialuts_val8_to_3x8_lut3,
    mapvialuts_val16_to_3x8, mapvialuts_val16_to_3x16;

/// The same for `uiDstComponents` components.
using MapViaLutsToNKernel = int(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes,
                                const void* pSrc, uint32_t uiSrcWidthBytes, const void* pLuts,
                                uint32_t uiWidth, uint64_t uiSizeInPixels);
QM_API MapViaLutsToNKernel mapvialuts_val8_to_Nx8, mapvialuts_val16_to_Nx16;

/// Makes a flat table of 2^uiBits cells for ((i + add) * mul) ^ pow, all in double: cell i is that
/// plus 0.5, truncated, within 0 and 2^uiBits - 1; 0 for what is not a number. With add -5 cell 3
/// is 0, with mul 0.5 it is 2. A null pointer leaves its step out; with three of them nothing is
/// written.
/// @param uiBits at most the bits of a cell
/// @return 0
using CalcByteLutKernel = int(uint8_t* pTable, const double* pdAdd, const double* pdMul,
                              const double* pdPow, uint32_t uiBits);
using CalcWordLutKernel = int(uint16_t* pTable, const double* pdAdd, const double* pdMul,
                              const double* pdPow, uint32_t uiBits);
QM_API CalcByteLutKernel calcluts_1x8;
QM_API CalcWordLutKernel calcluts_1x16;

/// The same for 2^uiBits rows: cell c with `pdAdd[c]`, `pdMul[c]`, `pdPow[c]`.
using CalcLutRowsKernel = int(void* const* ppRows, const double* pdAdd, const double* pdMul,
                              const double* pdPow, uint32_t uiComponents, uint32_t uiBits);
QM_API CalcLutRowsKernel calcluts_Nx8, calcluts_Nx16;

/// Rows of i + `pdAdd[c]`, brought back once by 2^uiBits - 1 (not by 2^uiBits) when that is below 0
/// or above 2^uiBits - 1, then truncated; the low bits of that are the cell. Add 10 at 8 bits: row
/// 250 is 5, since 260 - 255 is.
using RotateLutRowsKernel = int(void* const* ppRows, const double* pdAdd, uint32_t uiComponents,
                                uint32_t uiBits);
QM_API RotateLutRowsKernel calcluts_Nx8_rotate, calcluts_Nx16_rotate;

/// Cell i is the lesser (`min`) or the greater (`max`) of i and the constant. A constant is
/// truncated and not clamped: its low 8 or 16 bits are stored. One that is not a number leaves i.
using LimitByteLutKernel = int(uint8_t* pTable, const double* pdConst, uint32_t uiBits);
using LimitWordLutKernel = int(uint16_t* pTable, const double* pdConst, uint32_t uiBits);
QM_API LimitByteLutKernel min_calcluts_1x8, max_calcluts_1x8;
QM_API LimitWordLutKernel min_calcluts_1x16, max_calcluts_1x16;

/// The same for rows: cell c with `pdConst[c]`.
using LimitLutRowsKernel = int(void* const* ppRows, const double* pdConst, uint32_t uiComponents,
                               uint32_t uiBits);
QM_API LimitLutRowsKernel min_calcluts_Nx8, min_calcluts_Nx16, max_calcluts_Nx8, max_calcluts_Nx16;
