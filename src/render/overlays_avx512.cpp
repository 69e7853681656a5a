#include "PicMemAPI/bit_words.h"
#include "core/intrinsics.h"
#include "core/prefetch.h"
#include "render/overlay_blend.h"

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

/// Products of the other cells, those at even places and those at odd ones.
struct Products {
    __m512i even, odd;
};

struct Blend {
    __m512i stays, comes;
    [[QM_INLINE]] explicit Blend(OverlayWeights weights)
        : stays(_mm512_set1_epi16(static_cast<short>(weights.stays))),
          comes(_mm512_set1_epi16(static_cast<short>(weights.comes))) {}

    [[QM_INLINE]] Products products(__m512i others) const {
        return {_mm512_mullo_epi16(_mm512_and_si512(others, low_bytes()), comes),
                _mm512_mullo_epi16(_mm512_srli_epi16(others, 8), comes)};
    }
    [[QM_INLINE]] __m512i operator()(__m512i old, const Products& others) const {
        const __m512i even = mixed(_mm512_and_si512(old, low_bytes()), others.even),
                      odd = mixed(_mm512_srli_epi16(old, 8), others.odd);
        // The odd ones up by one, in place of down by 7 and up by 8.
        constexpr int kSelect = 0xCA;  // of the second where the first has bits, else of the third
        return _mm512_ternarylogic_epi32(low_bytes(), _mm512_srli_epi16(even, 7),
                                         _mm512_slli_epi16(odd, 1), kSelect);
    }

  private:
    [[QM_INLINE]] static __m512i low_bytes() { return _mm512_set1_epi16(0xFF); }
    /// 128 times the quotient by 255.
    [[QM_INLINE]] __m512i mixed(__m512i old, __m512i product) const {
        const __m512i sum = _mm512_add_epi16(_mm512_mullo_epi16(old, stays), product);
        return _mm512_mulhi_epu16(sum, _mm512_set1_epi16(static_cast<short>(0x8081)));
    }
};

/// `others(group, part, cells)` gives the products of 64 cells.
template <class Others>
[[QM_INLINE]] inline void run(Sample<uint8_t>* d, const OverlayMask& mask, uint32_t pixels,
                              const Blend& blend, const Others& others) {
    for (uint32_t i = 0; i * kOverlayGroup < pixels; ++i, d += kOverlayCells) {
        const uint64_t group = mask.group(i);
        if (group == 0) continue;
        fetch_ahead_to_write(d, kOverlayCells);
        uint64_t cells[3];
        thrice(bits::reversed(group), cells);
        for (uint32_t v = 0; v < 3; ++v) {
            const __m512i old = _mm512_maskz_loadu_epi8(cells[v], d + 64 * v);
            _mm512_mask_storeu_epi8(d + 64 * v, cells[v], blend(old, others(i, v, cells[v])));
        }
    }
}

struct Alike {
    Products products[3];
    [[QM_INLINE]] Products operator()(uint32_t, uint32_t v, uint64_t) const { return products[v]; }
};
struct Different {
    const Blend& blend;
    OverlayCells over;
    [[QM_INLINE]] Products operator()(uint32_t i, uint32_t v, uint64_t cells) const {
        return blend.products(_mm512_maskz_loadu_epi8(cells, over.first + i * over.step + 64 * v));
    }
};

}  // namespace

void Avx512Overlay::block(Sample<uint8_t>* d, OverlayCells over, const OverlayMask& mask,
                          uint32_t pixels) const {
    const Blend blend(weights_);
    if (over.step != 0) return run(d, mask, pixels, blend, Different{blend, over});
    Alike alike;
    for (uint32_t v = 0; v < 3; ++v)
        alike.products[v] = blend.products(_mm512_loadu_si512(over.first + 64 * v));
    run(d, mask, pixels, blend, alike);
}

}  // namespace qmpic
