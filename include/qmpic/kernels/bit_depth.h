#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// Bit depths: storage changed with the values kept, values rescaled by shifts, and 32-bit values
/// brought down by an integer linear function.
///
/// Names read operation, source, `to`, destination. Samples are bytes (`x8`, `x08`), 16-bit words
/// (`x16`) or 32-bit words (`x32`); every sample is treated alike, whatever component it belongs
/// to, unless a line here says otherwise. Everything runs in the calling thread. Samples are read
/// and written from left to right and from top to bottom, one after the other, so that rows which
/// overlap have the result of that order.

/// @param pDst, pSrc      first bytes; any address
/// @param uiDstWidthBytes, uiSrcWidthBytes bytes from row to row of each; gaps between the rows are
///                        neither read nor written
/// @param uiSrcBpc        depth of the source: up to 8 reads bytes, 9 to 16 words, 17 to 32 double
///                        words; above that nothing is done
/// @param uiWidth         pixels in a row, above 0
/// @param uiSizeInPixels  pixels in the area; an incomplete last row does not count
/// @return 0. Null pointers and a width of 0 are for the entries: kernels do not test them.
using ChangeBitDepthKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                 uint32_t uiSrcWidthBytes, uint32_t uiSrcBpc, uint32_t uiWidth,
                                 uint64_t uiSizeInPixels);
/// The same for `uiComponents` components.
using ChangeBitDepthNKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                  uint32_t uiSrcWidthBytes, uint32_t uiSrcBpc,
                                  uint32_t uiComponents, uint32_t uiWidth, uint64_t uiSizeInPixels);

/// Storage changed, nothing scaled and nothing clipped: widening fills with zeros, narrowing keeps
/// the low bits. 0x1234 of 16 bits is 0x34 in a byte, 0xFF of 8 bits is 0xFF in 32.
// clang-format off
QM_API ChangeBitDepthKernel
    changebitdepth_1xN_to_1x08, changebitdepth_1xN_to_1x16, changebitdepth_1xN_to_1x32,
    changebitdepth_3xN_to_3x08, changebitdepth_3xN_to_3x16, changebitdepth_3xN_to_3x32;
QM_API ChangeBitDepthNKernel
    changebitdepth_NxM_to_Nx08, changebitdepth_NxM_to_Nx16, changebitdepth_NxM_to_Nx32;
// clang-format on

/// Rescaling by a shift, with zeros coming in: bytes to `uiDstBpc` bits, 9 to 16. Value <<
/// (uiDstBpc - 8): 255 is 65280 at 16 bits, and not 65535.
using ConvertToWordsKernel = int(void* pDst, uint32_t uiDstBpc, uint32_t uiDstWidthBytes,
                                 const void* pSrc, uint32_t uiSrcWidthBytes, uint32_t uiComponents,
                                 uint32_t uiWidth, uint64_t uiSizeInPixels);
QM_API ConvertToWordsKernel convert_Nx8_to_Nx16;

/// `uiSrcBpc` bits, 9 to 16, to bytes: value >> (uiSrcBpc - 8), truncating. 65535 of 16 bits is
/// 255. What a value with bits above `uiSrcBpc` becomes is not defined.
using ConvertToBytesKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                 uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, uint32_t uiComponents,
                                 uint32_t uiWidth, uint64_t uiSizeInPixels);
QM_API ConvertToBytesKernel convert_Nx16_to_Nx8;

/// Between any two depths; the type of the entries, too.
/// @param uiDstBpc, uiSrcBpc depths of the two pictures
using ConvertBitDepthKernel = int(void* pDst, uint32_t uiDstBpc, uint32_t uiDstWidthBytes,
                                  const void* pSrc, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                  uint32_t uiComponents, uint32_t uiWidth, uint64_t uiSizeInPixels);
/// Between two depths of 9 to 16 bits: shifted left or right by their difference, 16 bits kept.
/// 4095 of 12 bits is 65520 at 16.
QM_API ConvertBitDepthKernel convert_Nx16_to_Nx16;

/// One component moved into one component, shifted right by uiSrcBpc - uiDstBpc, or left where the
/// destination is deeper. The destination's other components stay as they are. Indexes are not
/// compared with component counts.
using ConvertComponentKernel = int(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes,
                                   uint32_t uiDstComponentIndex, uint32_t uiDstBpc,
                                   const void* pSrc, uint32_t uiSrcComponents,
                                   uint32_t uiSrcWidthBytes, uint32_t uiSrcComponentIndex,
                                   uint32_t uiSrcBpc, uint32_t uiWidth, uint64_t uiSizeInPixels);
/// No entry reaches `16_to_16`. 3 of 6 bits is 12 at 8.
QM_API ConvertComponentKernel convertcomponent_8_to_8, convertcomponent_8_to_16,
    convertcomponent_16_to_8, convertcomponent_16_to_16;

/// In place on 16-bit words: every value shifted right by `iShift`, left by its magnitude where it
/// is negative; 16 and more give 0. 0x1234 shifted by -4 is 0x2340.
using ShiftKernel = int(void* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes, int iShift,
                        uint32_t uiWidth, uint64_t uiSizeInPixels);
QM_API ShiftKernel _shift_Nx16_to_Nx16;

/// An integer linear function, (value * ui64Mul - ui64Sub) / ui64Div + ui64Add, in unsigned 64-bit
/// arithmetic that wraps. `ui64Div` must not be 0.
struct SQmBpcLinFunc {
    uint64_t ui64Mul, ui64Sub, ui64Div, ui64Add;
};
static_assert(sizeof(SQmBpcLinFunc) == 32);

/// @param pLinFunc one record a component: 1, 3, or `uiComponents`
using ConvertLinFuncToBytesKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                        uint32_t uiSrcWidthBytes, const SQmBpcLinFunc* pLinFunc,
                                        uint32_t uiWidth, uint64_t uiSizeInPixels);
using ConvertLinFuncToBytesMKernel = int(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                         uint32_t uiSrcWidthBytes, const SQmBpcLinFunc* pLinFunc,
                                         uint32_t uiComponents, uint32_t uiWidth,
                                         uint64_t uiSizeInPixels);
/// @param uiDstBpc 9 to 16
using ConvertLinFuncToWordsKernel = int(void* pDst, uint32_t uiDstWidthBytes, uint32_t uiDstBpc,
                                        const void* pSrc, uint32_t uiSrcWidthBytes,
                                        const SQmBpcLinFunc* pLinFunc, uint32_t uiWidth,
                                        uint64_t uiSizeInPixels);
using ConvertLinFuncToWordsMKernel = int(void* pDst, uint32_t uiDstWidthBytes, uint32_t uiDstBpc,
                                         const void* pSrc, uint32_t uiSrcWidthBytes,
                                         const SQmBpcLinFunc* pLinFunc, uint32_t uiComponents,
                                         uint32_t uiWidth, uint64_t uiSizeInPixels);

/// 32-bit words through the linear function of their component. To bytes: the low byte, with no
/// clipping; 0x1FF00 divided by 256 is 0xFF, and so is 0x2FF00. To words: the low 16 bits, and of
/// those what is above 2^uiDstBpc - 1 becomes that.
// clang-format off
QM_API ConvertLinFuncToBytesKernel
    convertbitdepthvialinfunc_1x32_to_1x8, convertbitdepthvialinfunc_3x32_to_3x8;
QM_API ConvertLinFuncToBytesMKernel
    convertbitdepthvialinfunc_Mx32_to_Mx8;
QM_API ConvertLinFuncToWordsKernel
    convertbitdepthvialinfunc_1x32_to_1x16, convertbitdepthvialinfunc_3x32_to_3x16;
QM_API ConvertLinFuncToWordsMKernel
    convertbitdepthvialinfunc_Mx32_to_Mx16;
// clang-format on
