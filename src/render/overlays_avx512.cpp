#include "render/overlay_blend.h"

#ifndef __clang__  // GCC 12's own header starts results from a variable that it leaves unset
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif
#include <immintrin.h>

#include "PicMemAPI/bit_words.h"

// Every processor with AVX-512 spreads bits in one fast instruction.

#define QM_INLINE gnu::always_inline, QM_TARGET_AVX512

namespace qmpic {
namespace {

/// Three bits for each of a word of the mask.
[[QM_INLINE]] inline void thrice(uint64_t word, uint64_t (&w)[3]) {
    const uint64_t a = _pdep_u64(word, bits::kEveryThird),
                   b = 7 * _pdep_u64(word >> 22, bits::kEveryThird >> 1 >> 2),
                   c = 7 * _pdep_u64(word >> 43, bits::kEveryThird >> 1 >> 2);
    w[0] = a | a << 1 | a << 2;
    w[1] = b << 2 | a >> 63 | a >> 62;
    w[2] = c << 1 | b >> 62;
}

struct Weights {
    __m512i stays, comes;
};

/// (stays * old + comes * other) / 255 for cells of 16 bits, still to be shifted down by 7.
[[QM_INLINE]] inline __m512i mixed(Weights weights, __m512i old, __m512i other) {
    const __m512i sum = _mm512_add_epi16(_mm512_mullo_epi16(old, weights.stays),
                                         _mm512_mullo_epi16(other, weights.comes));
    return _mm512_mulhi_epu16(sum, _mm512_set1_epi16(static_cast<short>(0x8081)));
}

[[QM_INLINE]] inline __m512i mixed_pairs(Weights weights, __m512i old, __m512i other) {
    const __m512i low_byte = _mm512_set1_epi16(0xFF);
    const __m512i low =
        mixed(weights, _mm512_and_si512(old, low_byte), _mm512_and_si512(other, low_byte));
    const __m512i high = mixed(weights, _mm512_srli_epi16(old, 8), _mm512_srli_epi16(other, 8));
    // The upper of the two up by one in place of down by 7 and up by 8; a where the mask is, else b
    return _mm512_ternarylogic_epi32(low_byte, _mm512_srli_epi16(low, 7),
                                     _mm512_slli_epi16(high, 1), 0xCA);
}

}  // namespace

void Avx512Overlay::block(Sample<uint8_t>* d, OverlayCells over, const OverlayMask& mask,
                          uint32_t pixels) const {
    const Weights weights{_mm512_set1_epi16(static_cast<short>(stays_)),
                          _mm512_set1_epi16(static_cast<short>(255 - stays_))};
    const Sample<uint8_t>* s = over.first;
    for (uint32_t i = 0; i * kOverlayGroup < pixels; ++i, d += kOverlayCells, s += over.step) {
        const uint64_t group = mask.group(i);
        if (group == 0) continue;
        uint64_t cells[3];
        thrice(bits::reversed(group), cells);
        for (uint32_t v = 0; v < 3; ++v) {
            const __m512i old = _mm512_maskz_loadu_epi8(cells[v], d + 64 * v),
                          other = _mm512_maskz_loadu_epi8(cells[v], s + 64 * v);
            _mm512_mask_storeu_epi8(d + 64 * v, cells[v], mixed_pairs(weights, old, other));
        }
    }
}

}  // namespace qmpic
