#include <immintrin.h>

#include <cstring>

#include "core/prefetch.h"
#include "stretch/filter_levels.h"

#define QM_TARGET_COLUMNS gnu::target("avx2")

namespace qmpic {
namespace {

struct Vector {
    using Reg = __m256i;
    static constexpr uint64_t kWords = 8;
    [[QM_TARGET_COLUMNS, gnu::always_inline]] static Reg load(const void* p) {
        return _mm256_loadu_si256(static_cast<const __m256i*>(p));
    }
    [[QM_TARGET_COLUMNS, gnu::always_inline]] static Reg all(uint32_t word) {
        return _mm256_set1_epi32(static_cast<int>(word));
    }
    [[QM_TARGET_COLUMNS, gnu::always_inline]] static Reg products(Reg a, Reg b) {
        return _mm256_madd_epi16(a, b);
    }
    [[QM_TARGET_COLUMNS, gnu::always_inline]] static Reg add(Reg a, Reg b) {
        return _mm256_add_epi32(a, b);
    }
    [[QM_TARGET_COLUMNS, gnu::always_inline]] static Reg packed(Reg a, Reg b) {
        return _mm256_packs_epi32(_mm256_srai_epi32(a, 10), _mm256_srai_epi32(b, 10));
    }
    // Packing works in halves of 128 bits, which are put in order at the end.
    [[QM_TARGET_COLUMNS, gnu::always_inline]] static void store(Sample<uint8_t>* d,
                                                                const Reg (&sum)[4]) {
        const Reg mixed = _mm256_packus_epi16(packed(sum[0], sum[1]), packed(sum[2], sum[3]));
        _mm256_storeu_si256(
            reinterpret_cast<__m256i*>(d),
            _mm256_permutevar8x32_epi32(mixed, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)));
    }
    [[QM_TARGET_COLUMNS, gnu::always_inline]] static void store(Sample<uint16_t>* d,
                                                                const Reg (&sum)[4]) {
        for (int j = 0; j < 2; ++j)
            _mm256_storeu_si256(
                reinterpret_cast<__m256i*>(d) + j,
                _mm256_xor_si256(_mm256_permute4x64_epi64(packed(sum[2 * j], sum[2 * j + 1]), 0xD8),
                                 _mm256_set1_epi16(INT16_MIN)));
    }
};

#include "stretch/filter_columns.h"

/// Two windows of 16 bytes.
[[QM_TARGET_COLUMNS, gnu::always_inline]] inline __m256i load_windows(const uint8_t* line,
                                                                      const uint32_t* offsets) {
    const auto half = [=](int i) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(line + offsets[i]));
    };
    return _mm256_inserti128_si256(_mm256_castsi128_si256(half(0)), half(1), 1);
}
template <class T>
[[QM_TARGET_COLUMNS, gnu::always_inline]] inline __m256i lowered(__m256i words) {
    return sizeof(T) == 2 ? _mm256_xor_si256(words, _mm256_set1_epi16(INT16_MIN)) : words;
}

/// Windows of fewer than four samples leave the rest of their half to those that follow.
template <int outputs>
[[QM_TARGET_COLUMNS, gnu::always_inline]] inline void store_pairs(uint32_t* d, __m256i words) {
    if constexpr (outputs == 4) {
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d), words);
    } else {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm256_castsi256_si128(words));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + outputs),
                         _mm256_extracti128_si256(words, 1));
    }
}

/// 0 pairs: as many as the table says.
template <class T, int outputs, bool shared, uint32_t known_pairs>
[[QM_TARGET_COLUMNS]] void filter_windows(uint32_t* pair, const void* even, const void* odd,
                                          uint64_t ahead, const WindowTable& table) {
    const auto *const a = static_cast<const uint8_t*>(even), *const b =
                                                                 static_cast<const uint8_t*>(odd);
    const uint32_t pairs = known_pairs != 0 ? known_pairs : table.shape().pairs;
    const uint32_t* offsets = table.offsets();
    const uint8_t* step = table.steps();
    for (uint64_t v = table.vectors(); v != 0; --v, pair += 2 * outputs) {
        __m256i sum_a = _mm256_setzero_si256(), sum_b = _mm256_setzero_si256(), from_a, from_b;
        fetch_one_ahead(a + *offsets, ahead);
        fetch_one_ahead(b + *offsets, ahead);
        if (shared) {
            from_a = lowered<T>(load_windows(a, offsets));
            from_b = lowered<T>(load_windows(b, offsets));
            offsets += 2;
        }
        for (uint32_t t = 0; t < pairs; ++t, step += 64) {
            if (!shared) {
                from_a = lowered<T>(load_windows(a, offsets));
                from_b = lowered<T>(load_windows(b, offsets));
                offsets += 2;
            }
            const __m256i control = Vector::load(step), weights = Vector::load(step + 32);
            const __m256i p = _mm256_madd_epi16(_mm256_shuffle_epi8(from_a, control), weights),
                          q = _mm256_madd_epi16(_mm256_shuffle_epi8(from_b, control), weights);
            sum_a = t == 0 ? p : _mm256_add_epi32(sum_a, p);
            sum_b = t == 0 ? q : _mm256_add_epi32(sum_b, q);
        }
        store_pairs<outputs>(pair, _mm256_blend_epi16(_mm256_srli_epi32(sum_a, 10),
                                                      _mm256_slli_epi32(sum_b, 6), 0xAA));
    }
}

template <class T, int outputs, bool shared>
FilterWindows* with_pairs(uint32_t pairs) {
    switch (pairs) {
    case 1: return filter_windows<T, outputs, shared, 1>;
    case 2: return filter_windows<T, outputs, shared, 2>;
    case 3: return filter_windows<T, outputs, shared, 3>;
    default: return filter_windows<T, outputs, shared, 0>;
    }
}

}  // namespace

void filter_columns_avx2(Sample<uint8_t>* row, const uint32_t* const* pairs,
                         const uint32_t* weights, uint32_t count, uint64_t samples) {
    filter_columns(row, pairs, weights, count, samples);
}
void filter_columns_avx2(Sample<uint16_t>* row, const uint32_t* const* pairs,
                         const uint32_t* weights, uint32_t count, uint64_t samples) {
    filter_columns(row, pairs, weights, count, samples);
}

template <class T>
FilterWindows* windows_avx2(uint32_t outputs, uint32_t pairs, bool shared) {
    switch (outputs) {
    case 4: return shared ? with_pairs<T, 4, true>(pairs) : with_pairs<T, 4, false>(pairs);
    case 3: return filter_windows<T, 3, false, 0>;
    case 2: return filter_windows<T, 2, false, 0>;
    default: return filter_windows<T, 1, false, 0>;
    }
}
template FilterWindows* windows_avx2<uint8_t>(uint32_t, uint32_t, bool);
template FilterWindows* windows_avx2<uint16_t>(uint32_t, uint32_t, bool);

}  // namespace qmpic
