#pragma once

#include <cstdint>

#include "core/isa.h"

/// Rows of small pixels whose bytes change places, in vectors that are shuffled by tables made when
/// the call is: lists of components, ranges, mirrors, colour orders and masks are all tables. GCC
/// shuffles only what it knows when it compiles; its loops for these are scalar at every level.
/// Measured at 512 x 512 x 3 bytes on one thread they take four times as long to swap two
/// components, ten times for a list of three, twelve times to mirror rows and seven times under a
/// mask.

namespace qmpic {

/// Are these functions for the level that runs, and pixels small enough for them?
inline bool shuffles(uint64_t pixel_bytes) {
    return active_isa() >= Isa::Avx2 && pixel_bytes >= 1 && pixel_bytes <= 16;
}

/// The pixels that a vector of 16 bytes holds, and for each byte of their destination the byte of
/// the vector that it takes, or kNothing, which gives 0.
struct BlockShuffle {
    static constexpr uint8_t kNothing = 0x80;
    uint32_t pixels, to, from;  ///< in a block; bytes of a pixel of destination and source
    alignas(16) uint8_t bytes[16];
};

/// A row may be rearranged into itself when its pixels keep their size. Bytes of `bytes` behind the
/// block's pixels must then give the byte itself.
void rearrange_row_avx2(void* d, const void* s, uint64_t pixels, const BlockShuffle& shuffle);

/// Each byte is what one of the two shuffles gives and the other leaves 0. Both have the same
/// number of pixels in a block.
void merge_row_avx2(void* d, const void* s1, const void* s2, uint64_t pixels,
                    const BlockShuffle& first, const BlockShuffle& second);

/// For mirrored rows: the last pixels of a vector in reverse order as its first, and the first ones
/// as its last.
struct Reversal {
    uint32_t size, pixels;                          // bytes of a pixel; pixels in a vector
    alignas(16) uint8_t to_front[16], to_back[16];  // for the first bytes; for the last ones
    alignas(16) uint8_t front[16], back[16];        // 0xFF: bytes that the block writes
    explicit Reversal(uint32_t size_) : size(size_), pixels(16 / size) {
        const uint32_t used = pixels * size;
        for (uint32_t i = 0; i < 16; ++i) {
            const uint32_t j = i - (16 - used);  // place among the used bytes of the last ones
            to_front[i] = static_cast<uint8_t>(i < used ? 16 - size * (i / size + 1) + i % size
                                                        : BlockShuffle::kNothing);
            to_back[i] = static_cast<uint8_t>(j < used ? used - size * (j / size + 1) + j % size
                                                       : BlockShuffle::kNothing);
            front[i] = i < used ? 0xFF : 0;
            back[i] = j < used ? 0xFF : 0;
        }
    }
};

/// Pixel x takes pixel `pixels` - 1 - x of another row, or of the same.
void mirror_row_avx2(void* d, const void* s, uint64_t pixels, const Reversal& reversal);
void mirror_row_in_place_avx2(void* d, uint64_t pixels, const Reversal& reversal);

/// Pixels of 3 or 6 bytes are copied where the mask (of uint8_t or uint16_t) is `value`, or
/// (`inverted`) where it is not. The others are written as they were.
template <class Unit>
void select_row_avx2(void* d, const void* s, const void* mask, uint64_t pixels,
                     uint32_t pixel_bytes, Unit value, bool inverted);

}  // namespace qmpic
