#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "support/guarded_picture.h"

namespace qmpic::test {

/// Bytes that an area of a mask touches in a row.
inline uint32_t mask_bytes(uint32_t first_bit, uint32_t width) {
    return (first_bit + width + 7) / 8;
}

/// Merges the bits of a row's pixels into its bytes, from the pixel at `first_bit` of `row[0]` on:
/// head, whole bytes, tail, each as it is documented.
inline void merge_row(uint64_t* row, uint32_t first_bit, const std::vector<bool>& pixels,
                      uint32_t merge) {
    static constexpr uint64_t kHeadKeep[8] = {0x80, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC, 0xFE, 0xFF};
    static constexpr uint64_t kTailKeep[8] = {0x7F, 0x3F, 0x1F, 0x0F, 0x07, 0x03, 0x01, 0x00};
    const auto partial = [merge](uint64_t& byte, uint64_t keep, uint64_t made) {
        const uint64_t old = byte;
        if (merge == 0) byte = (old & keep) | made;
        if (merge == 1) byte = old | made;
        if (merge == 2) byte = old & ((old & keep) | made);
    };
    const size_t width = pixels.size();
    size_t x = 0;
    if (first_bit != 0) {
        uint64_t made = 0, bit = 0x80u >> first_bit;
        for (; x < std::min<size_t>(width, 8 - first_bit); ++x, bit >>= 1)
            if (pixels[x]) made |= bit;
        partial(*row++, kHeadKeep[first_bit], made);
    }
    for (; x + 8 <= width; x += 8, ++row) {
        uint64_t made = 0;
        for (size_t i = 0; i < 8; ++i)
            if (pixels[x + i]) made |= 0x80u >> i;
        if (merge == 0) *row = made;
        if (merge == 1) *row |= made;
        if (merge == 2) *row &= made;
    }
    if (x == width) return;
    uint64_t made = 0;
    for (size_t i = 0; x + i < width; ++i)
        if (pixels[x + i]) made |= 0x80u >> i;
    partial(*row, kTailKeep[width - x], made);
}

/// The bytes of a mask after a call for an area of `size`; `is_set(x, y)` says what a pixel's new
/// bit is.
template <class IsSet>
std::vector<uint64_t> merged_mask(const GuardedPicture& mask, uint32_t first_bit, Size size,
                                  uint32_t merge, IsSet is_set) {
    auto bytes = mask.content();
    for (uint32_t y = 0; y < size.height; ++y) {
        std::vector<bool> pixels;
        for (uint32_t x = 0; x < size.width; ++x) pixels.push_back(is_set(x, y));
        merge_row(&bytes[size_t{y} * mask.samples()], first_bit, pixels, merge);
    }
    return bytes;
}

}  // namespace qmpic::test
