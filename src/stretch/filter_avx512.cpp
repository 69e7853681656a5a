#include <cstring>

#include "core/intrinsics.h"
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
    // Packing works in quarters of 128 bits, which are put in order at the end.
    [[QM_TARGET_COLUMNS, gnu::always_inline]] static Reg packed(Reg a, Reg b) {
        return _mm512_packs_epi32(_mm512_srai_epi32(a, 10), _mm512_srai_epi32(b, 10));
    }
    [[QM_TARGET_COLUMNS, gnu::always_inline]] static void store(Sample<uint8_t>* d,
                                                                const Reg (&sum)[4]) {
        const Reg order = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
        const Reg mixed = _mm512_packus_epi16(packed(sum[0], sum[1]), packed(sum[2], sum[3]));
        _mm512_storeu_si512(d, _mm512_permutexvar_epi32(order, mixed));
    }
    [[QM_TARGET_COLUMNS, gnu::always_inline]] static void store(Sample<uint16_t>* d,
                                                                const Reg (&sum)[4]) {
        const Reg order = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
        for (int j = 0; j < 2; ++j)
            _mm512_storeu_si512(
                d + 32 * j, _mm512_xor_si512(
                                _mm512_permutexvar_epi64(order, packed(sum[2 * j], sum[2 * j + 1])),
                                _mm512_set1_epi16(INT16_MIN)));
    }
};

#include "stretch/filter_columns.h"

}  // namespace

void filter_columns_avx512(Sample<uint8_t>* row, const uint32_t* const* pairs,
                           const uint32_t* weights, uint32_t count, uint64_t samples) {
    filter_columns(row, pairs, weights, count, samples);
}
void filter_columns_avx512(Sample<uint16_t>* row, const uint32_t* const* pairs,
                           const uint32_t* weights, uint32_t count, uint64_t samples) {
    filter_columns(row, pairs, weights, count, samples);
}

}  // namespace qmpic
