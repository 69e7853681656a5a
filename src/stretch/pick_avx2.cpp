#include <immintrin.h>

#include "core/isa.h"
#include "core/prefetch.h"
#include "stretch/pick.h"

// The compiler picks bytes one by one at every level.

namespace qmpic {

namespace {

[[QM_TARGET_AVX2, gnu::always_inline]] inline __m128i load(const uint8_t* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

template <uint32_t vectors>
[[QM_TARGET_AVX2, gnu::always_inline]] inline void pick_block(uint8_t* d, const uint8_t* s,
                                                              const uint8_t* masks) {
    __m128i bytes = _mm_shuffle_epi8(load(s), load(masks));
#pragma GCC unroll 8
    for (uint32_t v = 1; v < vectors; ++v)
        bytes = _mm_or_si128(bytes, _mm_shuffle_epi8(load(s + v * PickBlocks::kBytes),
                                                     load(masks + v * PickBlocks::kBytes)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), bytes);
}

/// 16 bytes, and 16 others behind them.
[[QM_TARGET_AVX2, gnu::always_inline]] inline __m256i load(const uint8_t* low,
                                                           const uint8_t* high) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load(low)), load(high), 1);
}

/// Two blocks; the masks of the second follow those of the first.
template <uint32_t vectors>
[[QM_TARGET_AVX2, gnu::always_inline]] inline void pick_blocks(uint8_t* d, const uint8_t* first,
                                                               const uint8_t* second,
                                                               const uint8_t* masks) {
    __m256i bytes = _mm256_setzero_si256();
#pragma GCC unroll 8
    for (uint32_t v = 0; v < vectors; ++v) {
        const uint64_t at = v * PickBlocks::kBytes;
        bytes = _mm256_or_si256(
            bytes,
            _mm256_shuffle_epi8(load(first + at, second + at),
                                load(masks + at, masks + vectors * PickBlocks::kBytes + at)));
    }
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), bytes);
}

template <uint32_t vectors>
[[QM_TARGET_AVX2]] void pick(uint8_t* d, const uint8_t* s, const uint8_t* next,
                             const PickBlocks& blocks) {
    constexpr uint64_t step = PickBlocks::kBytes;
    const uint64_t whole = blocks.bytes / step;
    const uint8_t* masks = blocks.masks;
    uint64_t b = 0;
    for (; b + 2 <= whole; b += 2, masks += 2 * vectors * step) {
        const uint8_t *const first = s + blocks.from[b], *const second = s + blocks.from[b + 1];
        _mm_prefetch(reinterpret_cast<const char*>(next + blocks.from[b]), _MM_HINT_T0);
        if (vectors > 2)
            _mm_prefetch(reinterpret_cast<const char*>(next + blocks.from[b + 1]), _MM_HINT_T0);
        fetch_ahead_to_write(d + b * step, 1);
        pick_blocks<vectors>(d + b * step, first, second, masks);
    }
    if (b < whole) {
        pick_block<vectors>(d + b * step, s + blocks.from[b], masks);
        ++b, masks += vectors * step;
    }
    if (blocks.bytes % step != 0)
        pick_block<vectors>(d + blocks.bytes - step, s + blocks.from[b], masks);
}

}  // namespace

void pick_blocks_avx2(uint8_t* d, const uint8_t* s, const uint8_t* next, const PickBlocks& blocks) {
    using Pick = void(uint8_t*, const uint8_t*, const uint8_t*, const PickBlocks&);
    static constexpr Pick* picks[] = {pick<1>, pick<2>, pick<3>, pick<4>,
                                      pick<5>, pick<6>, pick<7>, pick<8>};
    picks[blocks.vectors - 1](d, s, next, blocks);
}

}  // namespace qmpic
