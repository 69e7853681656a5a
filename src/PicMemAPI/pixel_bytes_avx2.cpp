#include <immintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "PicMemAPI/pixel_bytes.h"

// One shuffle of 16 bytes a block, stored whole: what is written behind a block's pixels belongs to
// the next block, which is read before. Blocks that would leave the row go through a buffer.

namespace qmpic {

namespace {

[[QM_TARGET_AVX2]] inline __m128i load(const void* p) {
    return _mm_loadu_si128(static_cast<const __m128i*>(p));
}
[[QM_TARGET_AVX2]] inline void store(void* p, __m128i v) {
    _mm_storeu_si128(static_cast<__m128i*>(p), v);
}

const uint8_t* bytes(const void* p) { return static_cast<const uint8_t*>(p); }
uint8_t* bytes(void* p) { return static_cast<uint8_t*>(p); }

/// Blocks of `pixels` of which 16 bytes lie in a row of `count` pixels of `size` bytes.
uint64_t whole_blocks(uint64_t count, uint32_t size, uint32_t pixels) {
    return count * size < 16 ? 0 : (count * size - 16) / (uint64_t{pixels} * size) + 1;
}

}  // namespace

[[QM_TARGET_AVX2]] void rearrange_row_avx2(void* to, const void* from, uint64_t pixels,
                                           const BlockShuffle& shuffle) {
    uint8_t* d = bytes(to);
    const uint8_t* s = bytes(from);
    const uint64_t blocks = std::min(whole_blocks(pixels, shuffle.to, shuffle.pixels),
                                     whole_blocks(pixels, shuffle.from, shuffle.pixels));
    const uint64_t d_step = shuffle.pixels * shuffle.to, s_step = shuffle.pixels * shuffle.from;
    const __m128i table = load(shuffle.bytes);
    if (blocks > 0) {
        __m128i v = load(s);
        for (uint64_t b = 1; b < blocks; ++b) {
            const __m128i next = load(s += s_step);
            store(d, _mm_shuffle_epi8(v, table));
            d += d_step;
            v = next;
        }
        store(d, _mm_shuffle_epi8(v, table));
        s += s_step, d += d_step;
    }
    for (uint64_t x = blocks * shuffle.pixels; x < pixels; x += shuffle.pixels) {
        const uint64_t left = std::min<uint64_t>(shuffle.pixels, pixels - x);
        alignas(16) uint8_t buffer[16] = {};
        std::memcpy(buffer, s, left * shuffle.from);
        store(buffer, _mm_shuffle_epi8(load(buffer), table));
        std::memcpy(d, buffer, left * shuffle.to);
        s += s_step, d += d_step;
    }
}

[[QM_TARGET_AVX2]] void merge_row_avx2(void* to, const void* from1, const void* from2,
                                       uint64_t pixels, const BlockShuffle& first,
                                       const BlockShuffle& second) {
    uint8_t* d = bytes(to);
    const uint8_t *s1 = bytes(from1), *s2 = bytes(from2);
    const uint32_t n = first.pixels;
    const uint64_t blocks =
        std::min({whole_blocks(pixels, first.to, n), whole_blocks(pixels, first.from, n),
                  whole_blocks(pixels, second.from, n)});
    const uint64_t d_step = n * first.to, step1 = n * first.from, step2 = n * second.from;
    const __m128i table1 = load(first.bytes), table2 = load(second.bytes);
    if (blocks > 0) {
        __m128i v1 = load(s1), v2 = load(s2);
        for (uint64_t b = 1; b < blocks; ++b) {
            const __m128i next1 = load(s1 += step1), next2 = load(s2 += step2);
            store(d, _mm_or_si128(_mm_shuffle_epi8(v1, table1), _mm_shuffle_epi8(v2, table2)));
            d += d_step;
            v1 = next1, v2 = next2;
        }
        store(d, _mm_or_si128(_mm_shuffle_epi8(v1, table1), _mm_shuffle_epi8(v2, table2)));
        s1 += step1, s2 += step2, d += d_step;
    }
    for (uint64_t x = blocks * n; x < pixels; x += n) {
        const uint64_t left = std::min<uint64_t>(n, pixels - x);
        alignas(16) uint8_t buffer1[16] = {}, buffer2[16] = {};
        std::memcpy(buffer1, s1, left * first.from);
        std::memcpy(buffer2, s2, left * second.from);
        store(buffer1, _mm_or_si128(_mm_shuffle_epi8(load(buffer1), table1),
                                    _mm_shuffle_epi8(load(buffer2), table2)));
        std::memcpy(d, buffer1, left * first.to);
        s1 += step1, s2 += step2, d += d_step;
    }
}

[[QM_TARGET_AVX2]] void mirror_row_avx2(void* to, const void* from, uint64_t pixels,
                                        const Reversal& reversal) {
    const uint32_t size = reversal.size;
    const __m128i table = load(reversal.to_front);
    uint8_t* d = bytes(to);
    const uint8_t* s = bytes(from) + pixels * size;  // behind the pixels that are still to be read
    const uint64_t blocks = whole_blocks(pixels, size, reversal.pixels);
    const uint64_t step = reversal.pixels * size;
    for (uint64_t b = 0; b < blocks; ++b) {
        store(d, _mm_shuffle_epi8(load(s - 16), table));
        d += step, s -= step;
    }
    for (uint64_t x = blocks * reversal.pixels; x < pixels; ++x) {
        s -= size;
        std::memcpy(d, s, size);
        d += size;
    }
}

[[QM_TARGET_AVX2]] void mirror_row_in_place_avx2(void* row, uint64_t pixels,
                                                 const Reversal& reversal) {
    const uint32_t size = reversal.size;
    const __m128i to_front = load(reversal.to_front), to_back = load(reversal.to_back);
    const __m128i in_front = load(reversal.front), at_back = load(reversal.back);
    uint8_t* left = bytes(row);
    uint8_t* right = left + pixels * size;  // behind the pixels that are still to be exchanged
    const uint64_t step = reversal.pixels * size;
    // Pairs of vectors that do not meet; the next pair is read before this one is written.
    uint64_t pairs = pixels * size < 32 ? 0 : (pixels * size - 32) / (2 * step) + 1;
    if (pairs > 0) {
        __m128i l = load(left), r = load(right - 16);
        for (;;) {
            __m128i next_l = l, next_r = r;
            if (pairs > 1) next_l = load(left + step), next_r = load(right - 16 - step);
            store(left, _mm_blendv_epi8(l, _mm_shuffle_epi8(r, to_front), in_front));
            store(right - 16, _mm_blendv_epi8(r, _mm_shuffle_epi8(l, to_back), at_back));
            left += step, right -= step;
            if (--pairs == 0) break;
            l = next_l, r = next_r;
        }
    }
    for (; right - left >= 2 * static_cast<std::ptrdiff_t>(size); left += size, right -= size)
        std::swap_ranges(left, left + size, right - size);
}

namespace {

// Sixteen mask units to sixteen bytes, 0xFF where they are the value.
template <class Unit>
[[QM_TARGET_AVX2]] inline __m128i is_value(const uint8_t* mask, uint32_t value) {
    if constexpr (sizeof(Unit) == 1)
        return _mm_cmpeq_epi8(load(mask), _mm_set1_epi8(static_cast<char>(value)));
    const __m128i wanted = _mm_set1_epi16(static_cast<short>(value));
    return _mm_packs_epi16(_mm_cmpeq_epi16(load(mask), wanted),
                           _mm_cmpeq_epi16(load(mask + 16), wanted));
}

/// For each byte of sixteen pixels, the pixel.
template <uint32_t size>
struct Spread {
    alignas(16) uint8_t bytes[16 * size];
    constexpr Spread() : bytes() {
        for (uint32_t i = 0; i < 16 * size; ++i) bytes[i] = static_cast<uint8_t>(i / size);
    }
};
template <uint32_t size>
constexpr Spread<size> kSpread;

template <class Unit, uint32_t size>
[[QM_TARGET_AVX2]] void select_row(uint8_t* d, const uint8_t* s, const uint8_t* mask,
                                   uint64_t pixels, uint32_t value, bool inverted) {
    const __m128i flip = _mm_set1_epi8(inverted ? -1 : 0);
    uint64_t x = 0;
    for (; x + 16 <= pixels; x += 16) {
        const __m128i chosen = _mm_xor_si128(is_value<Unit>(mask + x * sizeof(Unit), value), flip);
        for (uint32_t i = 0; i < 16 * size; i += 16) {
            uint8_t* const to = d + x * size + i;
            const __m128i bytes = _mm_shuffle_epi8(chosen, load(kSpread<size>.bytes + i));
            store(to, _mm_blendv_epi8(load(to), load(s + x * size + i), bytes));
        }
    }
    for (; x < pixels; ++x) {
        Unit unit;
        std::memcpy(&unit, mask + x * sizeof unit, sizeof unit);
        if ((unit == value) != inverted)
            for (uint64_t i = x * size; i < (x + 1) * size; ++i) d[i] = s[i];
    }
}

}  // namespace

template <class Unit>
void select_row_avx2(void* d, const void* s, const void* mask, uint64_t pixels, uint32_t size,
                     Unit value, bool inverted) {
    if (size == 3)
        return select_row<Unit, 3>(bytes(d), bytes(s), bytes(mask), pixels, value, inverted);
    select_row<Unit, 6>(bytes(d), bytes(s), bytes(mask), pixels, value, inverted);
}
template void select_row_avx2(void*, const void*, const void*, uint64_t, uint32_t, uint8_t, bool);
template void select_row_avx2(void*, const void*, const void*, uint64_t, uint32_t, uint16_t, bool);

}  // namespace qmpic
