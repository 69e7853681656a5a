#include <emmintrin.h>

#include <cstring>

#include "stretch/filter_levels.h"

#define QM_TARGET_COLUMNS gnu::target("sse2")

namespace qmpic {
namespace {

struct Vector {
    using Reg = __m128i;
    static constexpr uint64_t kWords = 4;
    static Reg load(const uint32_t* p) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    }
    static Reg all(uint32_t word) { return _mm_set1_epi32(static_cast<int>(word)); }
    static Reg products(Reg a, Reg b) { return _mm_madd_epi16(a, b); }
    static Reg add(Reg a, Reg b) { return _mm_add_epi32(a, b); }
    static Reg packed(Reg a, Reg b) {
        return _mm_packs_epi32(_mm_srai_epi32(a, 10), _mm_srai_epi32(b, 10));
    }
    static void store(Sample<uint8_t>* d, const Reg (&sum)[4]) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d),
                         _mm_packus_epi16(packed(sum[0], sum[1]), packed(sum[2], sum[3])));
    }
    static void store(Sample<uint16_t>* d, const Reg (&sum)[4]) {
        for (int j = 0; j < 2; ++j)
            _mm_storeu_si128(
                reinterpret_cast<__m128i*>(d) + j,
                _mm_xor_si128(packed(sum[2 * j], sum[2 * j + 1]), _mm_set1_epi16(INT16_MIN)));
    }
};

#include "stretch/filter_columns.h"

}  // namespace

void filter_columns_sse2(Sample<uint8_t>* row, const uint32_t* const* pairs,
                         const uint32_t* weights, uint32_t count, uint64_t samples) {
    filter_columns(row, pairs, weights, count, samples);
}
void filter_columns_sse2(Sample<uint16_t>* row, const uint32_t* const* pairs,
                         const uint32_t* weights, uint32_t count, uint64_t samples) {
    filter_columns(row, pairs, weights, count, samples);
}

}  // namespace qmpic
