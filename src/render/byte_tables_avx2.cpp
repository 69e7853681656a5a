#include <immintrin.h>

#include "render/byte_tables.h"

// 32 bytes through a table of 256, sixteen entries at a time. A byte shuffle gives 0 where the
// index is negative. So the lower half of the values is lowered by 16 again and again (saturating,
// the upper half stays negative), and each value collects what the sixteens up to its own differ by
// from the one before; the upper half likewise, with its top bit flipped.

#define QM_TARGET_SHUFFLE gnu::target("avx2")

namespace qmpic {
namespace {

// Sixteens 0 and 8 as they are, each of the others XOR the one before it.
struct Table {
    __m128i sixteen[16];
};

[[QM_TARGET_SHUFFLE, gnu::always_inline]] inline Table load(const uint8_t* table) {
    Table t;
    __m128i before = _mm_setzero_si128();
    for (int i = 0; i < 16; ++i) {
        const __m128i now = _mm_loadu_si128(reinterpret_cast<const __m128i*>(table) + i);
        t.sixteen[i] = i == 8 ? now : _mm_xor_si128(now, before);
        before = now;
    }
    return t;
}

[[QM_TARGET_SHUFFLE, gnu::always_inline]] inline __m256i load(const uint8_t* s, uint64_t at) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + at));
}
[[QM_TARGET_SHUFFLE, gnu::always_inline]] inline void store(uint8_t* d, uint64_t at, __m256i v) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + at), v);
}

// `n` registers together, so that a sixteen is fetched once for all of them.
template <int n>
[[QM_TARGET_SHUFFLE, gnu::always_inline]] inline void look_up(const Table& t, __m256i (&value)[n]) {
    __m256i sum[n];
    for (int j = 0; j < n; ++j) sum[j] = _mm256_setzero_si256();
    for (int half = 0; half < 2; ++half) {
        __m256i index[n];
        for (int j = 0; j < n; ++j)
            index[j] = half == 0 ? value[j] : _mm256_xor_si256(value[j], _mm256_set1_epi8(-128));
        for (int i = 0; i < 8; ++i) {
            const __m256i sixteen = _mm256_broadcastsi128_si256(t.sixteen[8 * half + i]);
            for (int j = 0; j < n; ++j) {
                sum[j] = _mm256_xor_si256(sum[j], _mm256_shuffle_epi8(sixteen, index[j]));
                index[j] = _mm256_subs_epi8(index[j], _mm256_set1_epi8(16));
            }
        }
    }
    for (int j = 0; j < n; ++j) value[j] = sum[j];
}

// The bytes of a where the mask is set, else those of b.
[[QM_TARGET_SHUFFLE, gnu::always_inline]] inline __m256i choose(__m256i mask, __m256i a,
                                                                __m256i b) {
    return _mm256_or_si256(_mm256_and_si256(mask, a), _mm256_andnot_si256(mask, b));
}

[[QM_TARGET_SHUFFLE, gnu::always_inline]] inline __m256i sorted(__m256i k0, __m256i k1,
                                                                __m256i at_k0, __m256i at_k1,
                                                                __m256i at_k2) {
    return choose(k0, at_k0, choose(k1, at_k1, at_k2));
}

// 32 pixels of three components. Lane i of the three registers holds three different components
// (32 % 3 is 2), which blends sort into one register each and back again.
[[QM_TARGET_SHUFFLE, gnu::always_inline]] inline void look_up_triples(const Table (&t)[3],
                                                                      __m256i (&value)[3]) {
    const __m256i k0 = _mm256_setr_epi8(-1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0,
                                        -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0),
                  k1 = _mm256_setr_epi8(0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0,
                                        0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1, 0, 0, -1);
    __m256i c0[1] = {sorted(k0, k1, value[0], value[1], value[2])},
            c1[1] = {sorted(k0, k1, value[2], value[0], value[1])},
            c2[1] = {sorted(k0, k1, value[1], value[2], value[0])};
    look_up(t[0], c0), look_up(t[1], c1), look_up(t[2], c2);
    value[0] = sorted(k0, k1, c0[0], c1[0], c2[0]);
    value[1] = sorted(k0, k1, c2[0], c0[0], c1[0]);
    value[2] = sorted(k0, k1, c1[0], c2[0], c0[0]);
}

}  // namespace

// The last bytes of a row are a whole register that begins further to the left. It is loaded before
// anything is stored: the source may be the destination.
[[QM_TARGET_SHUFFLE]] void map_bytes_avx2(uint8_t* d, const uint8_t* s, uint64_t bytes,
                                          const uint8_t* table) {
    if (bytes < 32) {
        for (uint64_t i = 0; i < bytes; ++i) d[i] = table[s[i]];
        return;
    }
    const Table t = load(table);
    __m256i last[1] = {load(s, bytes - 32)};
    uint64_t i = 0;
    for (; i + 128 <= bytes; i += 128) {
        __m256i v[4] = {load(s, i), load(s, i + 32), load(s, i + 64), load(s, i + 96)};
        look_up(t, v);
        for (uint64_t j = 0; j < 4; ++j) store(d, i + 32 * j, v[j]);
    }
    for (; i + 32 <= bytes; i += 32) {
        __m256i v[1] = {load(s, i)};
        look_up(t, v);
        store(d, i, v[0]);
    }
    if (i == bytes) return;
    look_up(t, last);
    store(d, bytes - 32, last[0]);
}

[[QM_TARGET_SHUFFLE]] void map_triples_avx2(uint8_t* d, const uint8_t* s, uint64_t pixels,
                                            const uint8_t (*tables)[256]) {
    const uint64_t bytes = 3 * pixels;
    if (bytes < 96) {
        for (uint64_t i = 0; i < bytes; i += 3)
            for (uint64_t c = 0; c < 3; ++c) d[i + c] = tables[c][s[i + c]];
        return;
    }
    const Table t[3] = {load(tables[0]), load(tables[1]), load(tables[2])};
    __m256i last[3] = {load(s, bytes - 96), load(s, bytes - 64), load(s, bytes - 32)};
    uint64_t i = 0;
    for (; i + 96 <= bytes; i += 96) {
        __m256i v[3] = {load(s, i), load(s, i + 32), load(s, i + 64)};
        look_up_triples(t, v);
        for (uint64_t j = 0; j < 3; ++j) store(d, i + 32 * j, v[j]);
    }
    if (i == bytes) return;
    look_up_triples(t, last);
    for (uint64_t j = 0; j < 3; ++j) store(d, bytes - 96 + 32 * j, last[j]);
}

}  // namespace qmpic
