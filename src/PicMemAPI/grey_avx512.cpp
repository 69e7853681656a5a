#include "PicMemAPI/grey_avx512.h"

#include <array>
#include <cstddef>

#include "core/intrinsics.h"
#include "core/isa.h"

// Pixels of three are taken apart with few shuffles, those of four not at all. Rows end in a masked
// step: what a mask leaves out is neither read nor written.

#define QM_INLINE gnu::always_inline, QM_TARGET_AVX512

namespace qmpic::avx512 {
namespace {

/// Components of 32 pixels, each in a lane of 16 bits.
struct Three {
    __m512i c0, c1, c2;
};

/// The bytes of 8 pixels are 24: `first` has 16 of them, `last` the last 16. Where component c of
/// each pixel lies in one, 0x80 where it lies in the other; the upper half of a lane is 0.
struct Places {
    alignas(64) std::array<uint8_t, 64> first{}, last{};
    explicit constexpr Places(size_t c) {
        for (size_t i = 0; i < 64; ++i) first[i] = last[i] = 0x80;
        for (size_t i = 0; i < 64; i += 2) {
            const size_t at = i % 16 / 2 * 3 + c;
            if (at < 16)
                first[i] = static_cast<uint8_t>(at);
            else
                last[i] = static_cast<uint8_t>(at - 8);
        }
    }
};
constexpr Places kPlaces[3] = {Places(0), Places(1), Places(2)};

[[QM_INLINE]] inline __m512i component(size_t c, __m512i first, __m512i last) {
    return _mm512_or_si512(_mm512_shuffle_epi8(first, _mm512_load_si512(kPlaces[c].first.data())),
                           _mm512_shuffle_epi8(last, _mm512_load_si512(kPlaces[c].last.data())));
}

/// From bytes 0 to 63 and 64 to 95 of 32 pixels.
[[QM_INLINE]] inline Three apart(__m512i low, __m512i high) {
    const __m512i first =
        _mm512_permutex2var_epi64(low, _mm512_setr_epi64(0, 1, 3, 4, 6, 7, 9, 10), high);
    const __m512i last =
        _mm512_permutex2var_epi64(low, _mm512_setr_epi64(1, 2, 4, 5, 7, 8, 10, 11), high);
    return {component(0, first, last), component(1, first, last), component(2, first, last)};
}

/// The first `count` bits.
[[QM_INLINE]] inline uint64_t mask_of(uint64_t count) {
    return count >= 64 ? ~uint64_t{0} : (uint64_t{1} << count) - 1;
}

/// Calls for runs of 32 pixels, the last one shorter.
template <class Op>
[[QM_INLINE]] inline void each_three(Sample<uint8_t>* d, const Sample<uint8_t>* s, uint64_t width,
                                     Op op) {
    uint64_t x = 0;
    for (; x + 32 <= width; x += 32)
        _mm256_storeu_si256(reinterpret_cast<__m256i_u*>(d + x),
                            _mm512_cvtepi16_epi8(op.of(
                                apart(_mm512_loadu_si512(s + 3 * x),
                                      _mm512_castsi256_si512(_mm256_loadu_si256(
                                          reinterpret_cast<const __m256i_u*>(s + 3 * x + 64)))))));
    if (x == width) return;
    const uint64_t bytes = 3 * (width - x);
    const __m512i low = _mm512_maskz_loadu_epi8(mask_of(bytes), s + 3 * x),
                  high = bytes <= 64 ? _mm512_setzero_si512()
                                     : _mm512_maskz_loadu_epi8(mask_of(bytes - 64), s + 3 * x + 64);
    _mm256_mask_storeu_epi8(d + x, static_cast<__mmask32>(mask_of(width - x)),
                            _mm512_cvtepi16_epi8(op.of(apart(low, high))));
}

/// x / 255 of products of bytes.
[[QM_INLINE]] inline __m512i by_255(__m512i x) {
    return _mm512_srli_epi16(_mm512_mulhi_epu16(x, _mm512_set1_epi16(static_cast<short>(0x8081))),
                             7);
}
/// value * weight / 65535: the high half of the product, and the carry of low + high + 1.
[[QM_INLINE]] inline __m512i part(__m512i value, __m512i weight) {
    const __m512i high = _mm512_mulhi_epu16(value, weight), low = _mm512_mullo_epi16(value, weight),
                  ones = _mm512_set1_epi16(-1);
    const __mmask32 carries = _mm512_cmpeq_epi16_mask(_mm512_adds_epu16(high, low), ones);
    return _mm512_mask_sub_epi16(high, carries, high, ones);
}

struct Mean {
    [[QM_INLINE]] __m512i of(Three p) const {
        const __m512i sum = _mm512_add_epi16(_mm512_add_epi16(p.c0, p.c1),
                                             _mm512_add_epi16(p.c2, _mm512_set1_epi16(1)));
        return _mm512_srli_epi16(
            _mm512_mulhi_epu16(sum, _mm512_set1_epi16(static_cast<short>(0xAAAB))), 1);
    }
};

struct Weigh {
    __m512i w0, w1, w2;
    [[QM_INLINE]] __m512i of(Three p) const {
        return _mm512_add_epi16(_mm512_add_epi16(by_255(_mm512_mullo_epi16(p.c0, w0)),
                                                 by_255(_mm512_mullo_epi16(p.c1, w1))),
                                by_255(_mm512_mullo_epi16(p.c2, w2)));
    }
};

[[QM_INLINE]] inline __m512i lanes(uint16_t even, uint16_t odd) {
    return _mm512_set1_epi32(static_cast<int>(uint32_t{odd} << 16 | even));
}

/// Where component c of 32 pixels of three words lies: in 64 words, and in the 32 behind them.
struct WordPlaces {
    alignas(64) std::array<uint16_t, 32> first{}, last{};
    uint32_t in_last = 0;
    explicit constexpr WordPlaces(size_t c) {
        for (size_t i = 0; i < 32; ++i) {
            const size_t at = 3 * i + c;
            if (at < 64)
                first[i] = static_cast<uint16_t>(at);
            else
                last[i] = static_cast<uint16_t>(at - 64), in_last |= 1u << i;
        }
    }
};
constexpr WordPlaces kWordPlaces[3] = {WordPlaces(0), WordPlaces(1), WordPlaces(2)};

[[QM_INLINE]] inline __m512i component(size_t c, __m512i a, __m512i b, __m512i behind) {
    const WordPlaces& places = kWordPlaces[c];
    return _mm512_mask_permutexvar_epi16(
        _mm512_permutex2var_epi16(a, _mm512_load_si512(places.first.data()), b), places.in_last,
        _mm512_load_si512(places.last.data()), behind);
}

/// Up to 32 words of `count`, behind the first `from`.
[[QM_INLINE]] inline __m512i some_words(const Sample<uint16_t>* s, uint64_t count, uint64_t from) {
    if (count <= from) return _mm512_setzero_si512();
    return _mm512_maskz_loadu_epi16(static_cast<__mmask32>(mask_of(count - from)), s + from);
}

}  // namespace

[[QM_TARGET_AVX512]] void add_fourth(Sample<uint8_t>* d, const Sample<uint8_t>* s, uint64_t width,
                                     uint8_t value) {
    const __m512i dwords = _mm512_setr_epi32(0, 1, 2, 2, 3, 4, 5, 5, 6, 7, 8, 8, 9, 10, 11, 11),
                  bytes = _mm512_broadcast_i32x4(
                      _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1)),
                  fourth = _mm512_set1_epi32(static_cast<int>(uint32_t{value} << 24));
    for (uint64_t x = 0; x < width; x += 16) {
        const uint64_t left = width - x, count = left < 16 ? left : 16;
        // 48 bytes are used of the 64.
        const __m512i p = left >= 22 ? _mm512_loadu_si512(s + 3 * x)
                                     : _mm512_maskz_loadu_epi8(mask_of(3 * count), s + 3 * x);
        const __m512i four = _mm512_or_si512(
            _mm512_shuffle_epi8(_mm512_permutexvar_epi32(dwords, p), bytes), fourth);
        if (count == 16)
            _mm512_storeu_si512(d + 4 * x, four);
        else
            _mm512_mask_storeu_epi32(d + 4 * x, static_cast<__mmask16>(mask_of(count)), four);
    }
}

[[QM_TARGET_AVX512]] void add_fourth(Sample<uint16_t>* d, const Sample<uint16_t>* s, uint64_t width,
                                     uint16_t value) {
    constexpr __mmask32 kThree = 0x77777777;
    const __m512i words = _mm512_set_epi16(0, 23, 22, 21, 0, 20, 19, 18, 0, 17, 16, 15, 0, 14, 13,
                                           12, 0, 11, 10, 9, 0, 8, 7, 6, 0, 5, 4, 3, 0, 2, 1, 0),
                  fourth = _mm512_set1_epi16(static_cast<short>(value));
    for (uint64_t x = 0; x < width; x += 8) {
        const uint64_t left = width - x, count = left < 8 ? left : 8;
        // 24 words are used of the 32.
        const __m512i p =
            left >= 11 ? _mm512_loadu_si512(s + 3 * x) : some_words(s + 3 * x, 3 * count, 0);
        const __m512i four = _mm512_mask_permutexvar_epi16(fourth, kThree, words, p);
        if (count == 8)
            _mm512_storeu_si512(d + 4 * x, four);
        else
            _mm512_mask_storeu_epi64(d + 4 * x, static_cast<__mmask8>(mask_of(count)), four);
    }
}

[[QM_TARGET_AVX512]] void mean_of_three(Sample<uint8_t>* d, const Sample<uint8_t>* s,
                                        uint64_t width) {
    each_three(d, s, width, Mean{});
}

[[QM_TARGET_AVX512]] void weigh(Sample<uint8_t>* d, const Sample<uint8_t>* s, uint64_t width,
                                const std::array<uint8_t, 3>& weights) {
    each_three(d, s, width,
               Weigh{_mm512_set1_epi16(weights[0]), _mm512_set1_epi16(weights[1]),
                     _mm512_set1_epi16(weights[2])});
}

[[QM_TARGET_AVX512]] void weigh(Sample<uint16_t>* d, const Sample<uint16_t>* s, uint64_t width,
                                const std::array<uint16_t, 3>& weights) {
    const __m512i w0 = lanes(weights[0], weights[0]), w1 = lanes(weights[1], weights[1]),
                  w2 = lanes(weights[2], weights[2]);
    for (uint64_t x = 0; x < width; x += 32) {
        const uint64_t count = width - x < 32 ? width - x : 32;
        __m512i a, b, behind;
        if (count == 32) {
            a = _mm512_loadu_si512(s + 3 * x);
            b = _mm512_loadu_si512(s + 3 * x + 32);
            behind = _mm512_loadu_si512(s + 3 * x + 64);
        } else {
            a = some_words(s + 3 * x, 3 * count, 0);
            b = some_words(s + 3 * x, 3 * count, 32);
            behind = some_words(s + 3 * x, 3 * count, 64);
        }
        const __m512i sum = _mm512_add_epi16(_mm512_add_epi16(part(component(0, a, b, behind), w0),
                                                              part(component(1, a, b, behind), w1)),
                                             part(component(2, a, b, behind), w2));
        _mm512_mask_storeu_epi16(d + x, static_cast<__mmask32>(mask_of(count)), sum);
    }
}

[[QM_TARGET_AVX512]] void weigh(Sample<uint8_t>* d, const Sample<uint8_t>* s, uint64_t width,
                                const std::array<uint8_t, 4>& weights) {
    const __m512i even = lanes(weights[0], weights[2]), odd = lanes(weights[1], weights[3]);
    for (uint64_t x = 0; x < width; x += 16) {
        const uint64_t count = width - x < 16 ? width - x : 16;
        const __m512i p = count == 16 ? _mm512_loadu_si512(s + 4 * x)
                                      : _mm512_maskz_loadu_epi8(mask_of(4 * count), s + 4 * x);
        const __m512i c02 = _mm512_and_si512(p, _mm512_set1_epi16(0xFF)),
                      c13 = _mm512_srli_epi16(p, 8);
        const __m512i two = _mm512_add_epi16(by_255(_mm512_mullo_epi16(c02, even)),
                                             by_255(_mm512_mullo_epi16(c13, odd)));
        const __m128i grey =
            _mm512_cvtepi32_epi8(_mm512_add_epi16(two, _mm512_srli_epi32(two, 16)));
        if (count == 16)
            _mm_storeu_si128(reinterpret_cast<__m128i_u*>(d + x), grey);
        else
            _mm_mask_storeu_epi8(d + x, static_cast<__mmask16>(mask_of(count)), grey);
    }
}

[[QM_TARGET_AVX512]] void weigh(Sample<uint16_t>* d, const Sample<uint16_t>* s, uint64_t width,
                                const std::array<uint16_t, 4>& weights) {
    const __m512i all = _mm512_set1_epi64(
        static_cast<long long>(uint64_t{weights[3]} << 48 | uint64_t{weights[2]} << 32 |
                               uint64_t{weights[1]} << 16 | weights[0]));
    for (uint64_t x = 0; x < width; x += 8) {
        const uint64_t count = width - x < 8 ? width - x : 8;
        const __m512i p = count == 8 ? _mm512_loadu_si512(s + 4 * x)
                                     : _mm512_maskz_loadu_epi16(
                                           static_cast<__mmask32>(mask_of(4 * count)), s + 4 * x);
        const __m512i parts = part(p, all);
        const __m512i two = _mm512_add_epi16(parts, _mm512_srli_epi64(parts, 32));
        const __m128i grey =
            _mm512_cvtepi64_epi16(_mm512_add_epi16(two, _mm512_srli_epi64(two, 16)));
        if (count == 8)
            _mm_storeu_si128(reinterpret_cast<__m128i_u*>(d + x), grey);
        else
            _mm_mask_storeu_epi16(d + x, static_cast<__mmask8>(mask_of(count)), grey);
    }
}

#undef QM_INLINE

}  // namespace qmpic::avx512
