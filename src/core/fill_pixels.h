#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/shapes.h"

/// Lines and pixels that are filled by blocks of the C library, which chooses instructions of its
/// own.

namespace qmpic {

/// Every byte of the rows becomes `value`. `area` counts bytes.
template <class D>
void set_lines(D dst, Area area, uint8_t value) {
    for (uint64_t y = 0; area.width != 0 && y < area.rows; ++y)
        std::memset(dst.template row<uint8_t>(y), value, area.width);
}

namespace detail {
/// Fills `size` bytes with a pixel again and again.
inline void repeat(void* block, uint64_t size, const void* value, uint64_t pixel) {
    auto* const first = static_cast<std::byte*>(block);
    std::memcpy(first, value, pixel);
    for (uint64_t filled = pixel, more; filled < size; filled += more) {
        more = std::min(filled, size - filled);
        std::memcpy(first + filled, first, more);
    }
}
}  // namespace detail

/// Every pixel, of `pixel` bytes, becomes the one at `value`: a block of pixels outside the picture
/// is copied along the rows.
template <class D>
void fill_pixels(D dst, Area area, const void* value, uint64_t pixel) {
    if (pixel == 0) return;
    area = joined(kCallingThread, {area.width * pixel, area.rows}, {stride_of(dst, 1)});
    const auto* const bytes = static_cast<const uint8_t*>(value);
    if (std::all_of(bytes, bytes + pixel, [=](uint8_t byte) { return byte == bytes[0]; }))
        return set_lines(dst, area, bytes[0]);
    std::byte block[4096];
    uint64_t step = pixel;  // a longer pixel is a block itself
    if (pixel <= sizeof block) {
        step = std::min(sizeof block / pixel * pixel, area.width);
        detail::repeat(block, step, value, pixel);
        value = block;
    }
    for (uint64_t y = 0; y < area.rows; ++y)
        for (uint64_t x = 0; x < area.width; x += step)
            std::memmove(dst.template row<uint8_t>(y) + x, value, std::min(step, area.width - x));
}

}  // namespace qmpic
