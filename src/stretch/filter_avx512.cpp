#include <immintrin.h>

#include <cstring>

#include "stretch/filter_levels.h"

#define QM_TARGET_COLUMNS gnu::target("avx512f,avx512bw,avx512vl,avx512dq")

namespace qmpic {
namespace {

struct Vector {
    using Reg = __m512i;
    static constexpr uint64_t kWords = 16;
    [[QM_TARGET_COLUMNS, gnu::always_inline]] static Reg load(const void* p) {
        return _mm512_loadu_si512(p);
    }
    [[QM_TARGET_COLUMNS, gnu::always_inline]] static Reg all(uint32_t word) {
        return _mm512_set1_epi32(static_cast<int>(word));
    }
    [[QM_TARGET_COLUMNS, gnu::always_inline]] static Reg products(Reg a, Reg b) {
        return _mm512_madd_epi16(a, b);
    }
    [[QM_TARGET_COLUMNS, gnu::always_inline]] static Reg add(Reg a, Reg b) {
        return _mm512_add_epi32(a, b);
    }
    [[QM_TARGET_COLUMNS, gnu::always_inline]] static void store(Sample<uint8_t>* d, const Reg (&sum)[4]) {
        for (int j = 0; j < 4; ++j)
            _mm_storeu_si128(reinterpret_cast<__m128i*>(d) + j,
                             _mm512_cvtepi32_epi8(_mm512_srli_epi32(sum[j], 10)));
    }
    [[QM_TARGET_COLUMNS, gnu::always_inline]] static void store(Sample<uint16_t>* d, const Reg (&sum)[4]) {
        for (int j = 0; j < 4; ++j)
            _mm256_storeu_si256(
                reinterpret_cast<__m256i*>(d) + j,
                _mm256_xor_si256(_mm512_cvtepi32_epi16(_mm512_srai_epi32(sum[j], 10)),
                                 _mm256_set1_epi16(INT16_MIN)));
    }
};

#include "stretch/filter_columns.h"

}  // namespace

void filter_columns_avx512(Sample<uint8_t>* row, const uint32_t* const* pairs, const uint32_t* weights,
                           uint32_t count, uint64_t samples) {
    filter_columns(row, pairs, weights, count, samples);
}
void filter_columns_avx512(Sample<uint16_t>* row, const uint32_t* const* pairs, const uint32_t* weights,
                           uint32_t count, uint64_t samples) {
    filter_columns(row, pairs, weights, count, samples);
}

}  // namespace qmpic
