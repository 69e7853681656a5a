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

template <uint32_t vectors>
[[QM_TARGET_AVX2]] void pick(uint8_t* d, const uint8_t* s, const uint8_t* next,
                             const PickBlocks& blocks) {
    constexpr uint64_t step = PickBlocks::kBytes;
    const uint64_t whole = blocks.bytes / step;
    for (uint64_t b = 0; b < whole; ++b) {
        _mm_prefetch(reinterpret_cast<const char*>(next + blocks.from[b]), _MM_HINT_T0);
        fetch_ahead_to_write(d + b * step, 1);
        pick_block<vectors>(d + b * step, s + blocks.from[b], blocks.masks + b * vectors * step);
    }
    if (blocks.bytes % step != 0)
        pick_block<vectors>(d + blocks.bytes - step, s + blocks.from[whole],
                            blocks.masks + whole * vectors * step);
}

}  // namespace

void pick_blocks_avx2(uint8_t* d, const uint8_t* s, const uint8_t* next, const PickBlocks& blocks) {
    using Pick = void(uint8_t*, const uint8_t*, const uint8_t*, const PickBlocks&);
    static constexpr Pick* picks[] = {pick<1>, pick<2>, pick<3>, pick<4>,
                                      pick<5>, pick<6>, pick<7>, pick<8>};
    picks[blocks.vectors - 1](d, s, next, blocks);
}

}  // namespace qmpic
