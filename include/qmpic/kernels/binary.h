#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// Packed binary pictures: masks of one bit a pixel.
///
/// Pixel x of a row lies in byte x / 8 of it, and its bit is 0x80 >> x % 8: the leftmost pixel of a
/// byte is its top bit. Rows may begin at any address. An area of a mask is given by the byte of
/// its leftmost pixel and that pixel's place in the byte, 0 (the top bit) to 7.

/// Bits from a comparison of each pixel with one reference pixel, merged into a mask.
///
/// | uiCompare | the bit is set when                         | kernels |
/// |-----------|---------------------------------------------|--------------------------------------|
/// | 0         | all components equal the reference's        | all | | 1         | the pixel
/// differs, in one of three meanings | all                                  | | 2         | the
/// pixel is greater                        | pack_1x8_to_bin                      | | 3         |
/// pixel AND reference is not 0                | pack_1x8_to_bin, pack_1x16_to_bin    |
///
/// Whole samples are compared, whatever the depth. | uiMerge | becomes |: 0 the new bits, 1 old OR
/// new, 2 old AND new. Where an area does not begin or end with a byte of the mask, the bits beside
/// it and at its ends become:
///
/// - in the byte where it begins (place above 0), the first pixel's bit is old OR new (0) or old
///   (2), and all bits behind an area that also ends there are cleared (0, 2);
/// - in the byte where it ends, the bit behind the last pixel is cleared (0, 2).
///
/// 5 pixels at place 3 that do not match leave 0xF0 of 0xFF under 0; 3 pixels at place 0 that match
/// leave 0xEF. All other bits are kept. Everything runs in the calling thread.
///
/// @param pBin            byte of the area's first pixel; any address
/// @param uiBinX          its place in that byte, 0 to 7
/// @param uiBinWidthBytes, uiSrcWidthBytes bytes from row to row of mask and picture
/// @param pSrc            first byte of the picture; any address
/// @param pRefValue       one pixel; any address
/// @param uiWidth         pixels in a row, above 0
/// @param uiSizeInPixels  pixels in the area; an incomplete last row does not count
/// @return 0; -2 for a comparison that the kernel does not have and for an unknown merge, with the
///         mask unchanged. Null pointers and a width of 0 are for the entries.
using PackKernel = int(void* pBin, uint32_t uiBinX, uint32_t uiBinWidthBytes, const void* pSrc,
                       uint32_t uiSrcWidthBytes, const void* pRefValue, uint32_t uiCompare,
                       uint32_t uiWidth, uint64_t uiSizeInPixels, uint32_t uiMerge);
QM_API PackKernel pack_1x8_to_bin, pack_1x16_to_bin;
/// A pixel differs when each of its components differs from the reference's.
QM_API PackKernel pack_3x8_to_bin, pack_3x16_to_bin;
/// A pixel differs when any component does.
QM_API PackKernel pack_4x8_to_bin;
/// A pixel differs when components 0 and 1 as a pair differ, and 2 and 3 as a pair as well:
/// (1, 2, 3, 9) does not differ from (1, 2, 3, 4), (1, 9, 3, 9) does.
QM_API PackKernel pack_4x16_to_bin;

using PackNKernel = int(void* pBin, uint32_t uiBinX, uint32_t uiBinWidthBytes, const void* pSrc,
                        uint32_t uiComponents, uint32_t uiSrcWidthBytes, const void* pRefValue,
                        uint32_t uiCompare, uint32_t uiWidth, uint64_t uiSizeInPixels,
                        uint32_t uiMerge);
/// A pixel differs when each of its components differs; one of no components is equal and
/// different. With comparison 1 an unknown merge gives 0, not -2, and changes nothing either.
QM_API PackNKernel pack_Nx8_to_bin;
/// As pack_Nx8_to_bin, but -2 for an unknown merge with every comparison.
QM_API PackNKernel pack_Nx16_to_bin;

/// A value painted where a mask is set. With v = the value's component where the bit is set and 0
/// where it is clear, each component becomes v (uiMerge 0), old OR v (1) or old AND v (2). Nothing
/// is clipped to a depth. Runs in the calling thread.
///
/// @param pDst            first byte of the picture; any address
/// @param pValue          one pixel, of the destination's samples; any address
/// @param pBin, uiBinX, uiBinWidthBytes the mask, as above. A row begins in the byte of its first
///                        pixel and is not read beyond that of its last
/// @return 0; -2 for an unknown merge, with the picture unchanged
using UnpackKernel = int(void* pDst, const void* pValue, uint32_t uiDstWidthBytes, const void* pBin,
                         uint32_t uiBinX, uint32_t uiBinWidthBytes, uint32_t uiWidth,
                         uint64_t uiSizeInPixels, uint32_t uiMerge);
using UnpackNKernel = int(void* pDst, uint32_t uiComponents, const void* pValue,
                          uint32_t uiDstWidthBytes, const void* pBin, uint32_t uiBinX,
                          uint32_t uiBinWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels,
                          uint32_t uiMerge);
// clang-format off
QM_API UnpackKernel
    unpack_bin_to_1x8, unpack_bin_to_1x16, unpack_bin_to_1x32,
    unpack_bin_to_3x8, unpack_bin_to_3x16,
    unpack_bin_to_4x8, unpack_bin_to_4x16;
QM_API UnpackNKernel
    unpack_bin_to_Nx8, unpack_bin_to_Nx16;
// clang-format on

/// The same rows by a team of the runtime's default size, which the call opens. Here and below the
/// number of rows is a signed number of 32 bits; with less than one nothing happens.
QM_API UnpackKernel unpack_bin_to_1x8_mt;

/// The same rows shared among the threads of the caller's own parallel region, all of which have to
/// make the same call; they leave it together. From ordinary code the calling thread does all rows.
// clang-format off
QM_API UnpackKernel
                          unpack_bin_to_1x16_mt, unpack_bin_to_1x32_mt,
    unpack_bin_to_3x8_mt, unpack_bin_to_3x16_mt,
    unpack_bin_to_4x8_mt, unpack_bin_to_4x16_mt;
QM_API UnpackNKernel
    unpack_bin_to_Nx8_mt, unpack_bin_to_Nx16_mt;
// clang-format on
