#include "core/intrinsics.h"
#include "core/prefetch.h"
#include "stretch/filter_levels.h"

// One window of 64 bytes for 16 samples, and a permute that reaches all of it.

#define QM_TARGET_WINDOWS gnu::target("avx512f,avx512bw,avx512vl,avx512dq,avx512vbmi")

namespace qmpic {
namespace {

/// The two samples of each lane as words, or as they are to be multiplied.
template <class T>
[[QM_TARGET_WINDOWS, gnu::always_inline]] inline __m512i fetched(__m512i control, __m512i window) {
    constexpr __mmask64 kLowBytes = 0x5555555555555555;
    if constexpr (sizeof(T) == 1)
        return _mm512_maskz_permutexvar_epi8(kLowBytes, control, window);
    else
        return _mm512_permutexvar_epi8(control, window);
}
template <class T>
[[QM_TARGET_WINDOWS, gnu::always_inline]] inline __m512i load_window(const uint8_t* p) {
    const __m512i bytes = _mm512_loadu_si512(p);
    return sizeof(T) == 2 ? _mm512_xor_si512(bytes, _mm512_set1_epi16(INT16_MIN)) : bytes;
}

/// 0 pairs: as many as the table says.
template <class T, bool shared, uint32_t known_pairs>
[[QM_TARGET_WINDOWS]] void filter_windows(uint32_t* pair, const void* even, const void* odd,
                                          uint64_t ahead, const WindowTable& table) {
    const auto *const a = static_cast<const uint8_t*>(even), *const b =
                                                                 static_cast<const uint8_t*>(odd);
    const uint32_t pairs = known_pairs != 0 ? known_pairs : table.shape().pairs;
    const uint32_t* offsets = table.offsets();
    const uint8_t* step = table.steps();
    for (uint64_t v = table.vectors(); v != 0; --v, pair += 16) {
        __m512i sum_a = _mm512_setzero_si512(), sum_b = _mm512_setzero_si512(), from_a, from_b;
        fetch_one_ahead(a + *offsets, ahead);
        fetch_one_ahead(b + *offsets, ahead);
        if (shared) {
            from_a = load_window<T>(a + *offsets);
            from_b = load_window<T>(b + *offsets++);
        }
        for (uint32_t t = 0; t < pairs; ++t, step += 128) {
            if (!shared) {
                from_a = load_window<T>(a + *offsets);
                from_b = load_window<T>(b + *offsets++);
            }
            const __m512i control = _mm512_loadu_si512(step),
                          weights = _mm512_loadu_si512(step + 64);
            const __m512i p = _mm512_madd_epi16(fetched<T>(control, from_a), weights),
                          q = _mm512_madd_epi16(fetched<T>(control, from_b), weights);
            sum_a = t == 0 ? p : _mm512_add_epi32(sum_a, p);
            sum_b = t == 0 ? q : _mm512_add_epi32(sum_b, q);
        }
        constexpr __mmask32 kOdd = 0xAAAAAAAA;
        _mm512_storeu_si512(pair, _mm512_mask_blend_epi16(kOdd, _mm512_srli_epi32(sum_a, 10),
                                                          _mm512_slli_epi32(sum_b, 6)));
    }
}

template <class T, bool shared>
FilterWindows* with_pairs(uint32_t pairs) {
    switch (pairs) {
    case 1: return filter_windows<T, shared, 1>;
    case 2: return filter_windows<T, shared, 2>;
    case 3: return filter_windows<T, shared, 3>;
    default: return filter_windows<T, shared, 0>;
    }
}

}  // namespace

template <class T>
FilterWindows* windows_avx512vbmi(uint32_t pairs, bool shared) {
    return shared ? with_pairs<T, true>(pairs) : with_pairs<T, false>(pairs);
}
template FilterWindows* windows_avx512vbmi<uint8_t>(uint32_t, bool);
template FilterWindows* windows_avx512vbmi<uint16_t>(uint32_t, bool);

}  // namespace qmpic
