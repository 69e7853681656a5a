#include <immintrin.h>

#include "core/prefetch.h"
#include "render/overlay_blend.h"

#define QM_INLINE gnu::always_inline, QM_TARGET_AVX2

namespace qmpic {
namespace {

// Half a group: 32 pixels, for which four bytes of the mask stand in each lane of a register.
constexpr uint32_t kHalf = kOverlayCells / 2;

/// Which of these bytes each of the 96 cells looks at, and which bit of it.
struct CellBits {
    alignas(32) uint8_t byte[kHalf], bit[kHalf];
    constexpr CellBits() : byte(), bit() {
        for (uint32_t cell = 0; cell < kHalf; ++cell) {
            byte[cell] = static_cast<uint8_t>(cell / 3 / 8);
            bit[cell] = static_cast<uint8_t>(0x80u >> cell / 3 % 8);
        }
    }
};
constexpr CellBits kCellBits;

[[QM_INLINE]] inline __m256i load(const void* from) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
}

/// Products of the other cells, those at even places and those at odd ones.
struct Products {
    __m256i even, odd;
};

struct Blend {
    __m256i stays, comes;
    [[QM_INLINE]] explicit Blend(OverlayWeights weights)
        : stays(_mm256_set1_epi16(static_cast<short>(weights.stays))),
          comes(_mm256_set1_epi16(static_cast<short>(weights.comes))) {}

    [[QM_INLINE]] Products products(__m256i others) const {
        return {_mm256_mullo_epi16(_mm256_and_si256(others, low_bytes()), comes),
                _mm256_mullo_epi16(_mm256_srli_epi16(others, 8), comes)};
    }
    [[QM_INLINE]] __m256i operator()(__m256i old, const Products& others) const {
        const __m256i even = mixed(_mm256_and_si256(old, low_bytes()), others.even),
                      odd = mixed(_mm256_srli_epi16(old, 8), others.odd);
        // The odd ones up by one, in place of down by 7 and up by 8.
        return _mm256_or_si256(_mm256_srli_epi16(even, 7),
                               _mm256_andnot_si256(low_bytes(), _mm256_slli_epi16(odd, 1)));
    }

  private:
    [[QM_INLINE]] static __m256i low_bytes() { return _mm256_set1_epi16(0xFF); }
    /// 128 times the quotient by 255.
    [[QM_INLINE]] __m256i mixed(__m256i old, __m256i product) const {
        const __m256i sum = _mm256_add_epi16(_mm256_mullo_epi16(old, stays), product);
        return _mm256_mulhi_epu16(sum, _mm256_set1_epi16(static_cast<short>(0x8081)));
    }
};

/// `others(v)` gives the products of register v of the three.
template <class Others>
[[QM_INLINE]] inline void half(Sample<uint8_t>* d, uint32_t bits, const Blend& blend,
                               const Others& others) {
    const __m256i bytes = _mm256_set1_epi32(static_cast<int>(bits));
    for (uint32_t v = 0; v < 3; ++v) {
        const __m256i bit = load(kCellBits.bit + 32 * v);
        const __m256i looked_at = _mm256_shuffle_epi8(bytes, load(kCellBits.byte + 32 * v));
        const __m256i chosen = _mm256_cmpeq_epi8(_mm256_and_si256(looked_at, bit), bit);
        const __m256i old = load(d + 32 * v);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + 32 * v),
                            _mm256_blendv_epi8(old, blend(old, others(v)), chosen));
    }
}

struct Alike {
    Products products[3];
    [[QM_INLINE]] Products operator()(uint32_t v) const { return products[v]; }
};
struct Different {
    const Blend& blend;
    const Sample<uint8_t>* cells;
    [[QM_INLINE]] Products operator()(uint32_t v) const {
        return blend.products(load(cells + 32 * v));
    }
};

}  // namespace

void Avx2Groups::operator()(Sample<uint8_t>* d, OverlayCells over, const uint8_t* bits,
                            uint32_t count) const {
    const Blend blend(weights);
    const auto* const words = reinterpret_cast<const Sample<uint32_t>*>(bits);
    Alike alike{};
    if (over.step == 0)
        for (uint32_t v = 0; v < 3; ++v)
            alike.products[v] = blend.products(load(over.first + 32 * v));
    for (uint32_t i = 0; i < 2 * count; ++i, d += kHalf) {
        if (words[i] == 0) continue;
        fetch_ahead_to_write(d, kHalf);
        if (over.step == 0)
            half(d, words[i], blend, alike);
        else
            half(d, words[i], blend, Different{blend, over.first + i * uint64_t{kHalf}});
    }
}

}  // namespace qmpic
