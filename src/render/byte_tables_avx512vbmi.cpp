#include <immintrin.h>

#include "render/byte_tables.h"

// 64 bytes through a table of 256: each of its four registers gives what bits 0 to 5 ask for, bits
// 6 and 7 choose among the four.

#define QM_TARGET_VBMI gnu::target("avx512f,avx512bw,avx512vl,avx512vbmi,bmi2")

namespace qmpic {
namespace {

constexpr __mmask64 kAll = ~__mmask64{0};  // GCC 12 warns of its own header where no mask is given

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

namespace {

// 64 pixels of three components. Lane i of the three registers holds three different components
// (64 % 3 is 1): blends make one register a component of them, and others put the results back.
[[QM_TARGET_VBMI, gnu::always_inline]] inline void look_up(const Table (&t)[3], __m512i (&v)[3]) {
    constexpr __mmask64 k0 = 0x9249249249249249, k1 = k0 << 1, k2 = k0 << 2;  // lanes 0, 3, ...
    const __m512i c0 =
        look_up(t[0], _mm512_mask_mov_epi8(_mm512_mask_mov_epi8(v[0], k2, v[1]), k1, v[2]));
    const __m512i c1 =
        look_up(t[1], _mm512_mask_mov_epi8(_mm512_mask_mov_epi8(v[0], k0, v[1]), k2, v[2]));
    const __m512i c2 =
        look_up(t[2], _mm512_mask_mov_epi8(_mm512_mask_mov_epi8(v[0], k1, v[1]), k0, v[2]));
    v[0] = _mm512_mask_mov_epi8(_mm512_mask_mov_epi8(c0, k1, c1), k2, c2);
    v[1] = _mm512_mask_mov_epi8(_mm512_mask_mov_epi8(c0, k0, c1), k1, c2);
    v[2] = _mm512_mask_mov_epi8(_mm512_mask_mov_epi8(c0, k2, c1), k0, c2);
}

// Lane i of register j in pixels of three bytes belongs to pixel (64 * j + i) / 3.
struct PixelOfLane {
    alignas(64) uint8_t lanes[3][64];
    constexpr PixelOfLane() : lanes() {
        for (int i = 0; i < 192; ++i) lanes[i / 64][i % 64] = static_cast<uint8_t>(i / 3);
    }
};
constexpr PixelOfLane kPixelOfLane;

// To pixels of three components from such pixels, or from one component each.
template <uint64_t components>
[[QM_TARGET_VBMI, gnu::always_inline]] inline void map_pixels(uint8_t* d, const uint8_t* s,
                                                              uint64_t pixels,
                                                              const uint8_t (*tables)[256]) {
    const Table t[3] = {load(tables[0]), load(tables[1]), load(tables[2])};
    for (uint64_t x = 0; x < pixels; x += 64) {
        const uint64_t left = 3 * (pixels - x);
        const __mmask64 m[3] = {first(left), left > 64 ? first(left - 64) : 0,
                                left > 128 ? first(left - 128) : 0};
        __m512i v[3];
        if constexpr (components == 3) {
            for (int j = 0; j < 3; ++j) v[j] = _mm512_maskz_loadu_epi8(m[j], s + 3 * x + 64 * j);
        } else {
            const __m512i values = _mm512_maskz_loadu_epi8(first(pixels - x), s + x);
            for (int j = 0; j < 3; ++j)
                v[j] = _mm512_maskz_permutexvar_epi8(kAll, _mm512_load_si512(kPixelOfLane.lanes[j]),
                                                     values);
        }
        look_up(t, v);
        for (int j = 0; j < 3; ++j) _mm512_mask_storeu_epi8(d + 3 * x + 64 * j, m[j], v[j]);
    }
}

}  // namespace

[[QM_TARGET_VBMI]] void map_triples_avx512vbmi(uint8_t* d, const uint8_t* s, uint64_t pixels,
                                               const uint8_t (*tables)[256]) {
    map_pixels<3>(d, s, pixels, tables);
}

[[QM_TARGET_VBMI]] void map_to_triples_avx512vbmi(uint8_t* d, const uint8_t* s, uint64_t pixels,
                                                  const uint8_t (*tables)[256]) {
    map_pixels<1>(d, s, pixels, tables);
}

}  // namespace qmpic
