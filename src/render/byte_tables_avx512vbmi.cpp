#include <immintrin.h>

#include "render/byte_tables.h"

// 64 bytes through a table of 256: each of its four registers gives what bits 0 to 5 ask for, bits
// 6 and 7 choose among the four.

#define QM_TARGET_VBMI gnu::target("avx512f,avx512bw,avx512vl,avx512vbmi,bmi2")

namespace qmpic {
namespace {

struct Table {
    __m512i quarter[4];
};

[[QM_TARGET_VBMI, gnu::always_inline]] inline Table load(const uint8_t* table) {
    return {{_mm512_loadu_si512(table), _mm512_loadu_si512(table + 64),
             _mm512_loadu_si512(table + 128), _mm512_loadu_si512(table + 192)}};
}

[[QM_TARGET_VBMI, gnu::always_inline]] inline __m512i look_up(const Table& t, __m512i value) {
    const __mmask64 bit6 = _mm512_movepi8_mask(_mm512_add_epi8(value, value)),
                    bit7 = _mm512_movepi8_mask(value);
    // GCC 12 warns of its own header where no mask is given.
    constexpr __mmask64 kAll = ~__mmask64{0};
    __m512i low = _mm512_maskz_permutexvar_epi8(kAll, value, t.quarter[0]),
            high = _mm512_maskz_permutexvar_epi8(kAll, value, t.quarter[2]);
    low = _mm512_mask_permutexvar_epi8(low, bit6, value, t.quarter[1]);
    high = _mm512_mask_permutexvar_epi8(high, bit6, value, t.quarter[3]);
    return _mm512_mask_mov_epi8(low, bit7, high);
}

// The low `count` bits, also for more than 64.
inline __mmask64 first(uint64_t count) {
    return count >= 64 ? ~uint64_t{0} : (uint64_t{1} << count) - 1;
}

}  // namespace

[[QM_TARGET_VBMI]] void map_bytes_avx512vbmi(uint8_t* d, const uint8_t* s, uint64_t bytes,
                                             const uint8_t* table) {
    const Table t = load(table);
    uint64_t i = 0;
    for (; i + 64 <= bytes; i += 64)
        _mm512_storeu_si512(d + i, look_up(t, _mm512_loadu_si512(s + i)));
    if (const __mmask64 rest = first(bytes - i); rest != 0)
        _mm512_mask_storeu_epi8(d + i, rest, look_up(t, _mm512_maskz_loadu_epi8(rest, s + i)));
}

// Of three registers with 64 pixels, lane i of each holds another component (64 % 3 is 1): three
// blends make one register a component, and three blends put the results back.
[[QM_TARGET_VBMI]] void map_triples_avx512vbmi(uint8_t* d, const uint8_t* s, uint64_t pixels,
                                               const uint8_t (*tables)[256]) {
    const Table t0 = load(tables[0]), t1 = load(tables[1]), t2 = load(tables[2]);
    constexpr __mmask64 k0 = 0x9249249249249249, k1 = k0 << 1, k2 = k0 << 2;  // lanes 0, 3, ...
    const uint64_t bytes = 3 * pixels;
    for (uint64_t i = 0; i < bytes; i += 192) {
        const uint64_t left = bytes - i;
        __mmask64 m0 = first(left), m1 = left > 64 ? first(left - 64) : 0,
                  m2 = left > 128 ? first(left - 128) : 0;
        const __m512i v0 = _mm512_maskz_loadu_epi8(m0, s + i),
                      v1 = _mm512_maskz_loadu_epi8(m1, s + i + 64),
                      v2 = _mm512_maskz_loadu_epi8(m2, s + i + 128);
        // Component c stands at lanes kc of v0, of v1 at those with (lane + 1) % 3 == c.
        const __m512i c0 = look_up(t0,
                                   _mm512_mask_mov_epi8(_mm512_mask_mov_epi8(v0, k2, v1), k1, v2)),
                      c1 = look_up(t1,
                                   _mm512_mask_mov_epi8(_mm512_mask_mov_epi8(v0, k0, v1), k2, v2)),
                      c2 = look_up(t2,
                                   _mm512_mask_mov_epi8(_mm512_mask_mov_epi8(v0, k1, v1), k0, v2));
        const __m512i r0 = _mm512_mask_mov_epi8(_mm512_mask_mov_epi8(c0, k1, c1), k2, c2),
                      r1 = _mm512_mask_mov_epi8(_mm512_mask_mov_epi8(c0, k0, c1), k1, c2),
                      r2 = _mm512_mask_mov_epi8(_mm512_mask_mov_epi8(c0, k2, c1), k0, c2);
        _mm512_mask_storeu_epi8(d + i, m0, r0);
        _mm512_mask_storeu_epi8(d + i + 64, m1, r1);
        _mm512_mask_storeu_epi8(d + i + 128, m2, r2);
    }
}

}  // namespace qmpic
