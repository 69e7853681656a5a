#include "PicMemAPI/mask_bits_avx512.h"

#include "PicMemAPI/bit_words.h"
#include "core/intrinsics.h"
#include "core/isa.h"

// Every processor with AVX-512 extracts bits in one fast instruction.

#define QM_INLINE gnu::always_inline, QM_TARGET_AVX512

namespace qmpic::avx512 {
namespace {

/// The samples of a vector: all 64 bytes of it, or those of which `mask` has a bit.
struct All {};
struct Some {
    uint64_t mask;
};
[[QM_INLINE]] inline __m512i load(const void* s, uint8_t, Some which) {
    return _mm512_maskz_loadu_epi8(which.mask, s);
}
[[QM_INLINE]] inline __m512i load(const void* s, uint16_t, Some which) {
    return _mm512_maskz_loadu_epi16(static_cast<__mmask32>(which.mask), s);
}
[[QM_INLINE]] inline __m512i load(const void* s, uint32_t, Some which) {
    return _mm512_maskz_loadu_epi32(static_cast<__mmask16>(which.mask), s);
}
template <class T>
[[QM_INLINE]] inline __m512i load(const void* s, T, All) {
    return _mm512_loadu_si512(s);
}

/// Whether each is within.
[[QM_INLINE]] inline uint64_t within(uint8_t, __m512i value, __m512i low, __m512i span) {
    return _mm512_cmple_epu8_mask(_mm512_sub_epi8(value, low), span);
}
[[QM_INLINE]] inline uint64_t within(uint16_t, __m512i value, __m512i low, __m512i span) {
    return _mm512_cmple_epu16_mask(_mm512_sub_epi16(value, low), span);
}
[[QM_INLINE]] inline uint64_t within(uint32_t, __m512i value, __m512i low, __m512i span) {
    return _mm512_cmple_epu32_mask(_mm512_sub_epi32(value, low), span);
}

/// One bit a pixel from one a sample.
template <uint32_t count>
[[QM_INLINE]] inline uint64_t all_of(const uint64_t (&w)[count]) {
    if constexpr (count == 1) return w[0];
    if constexpr (count == 2)
        return _pext_u64(w[0] & w[0] >> 1, 0x5555555555555555) |
               _pext_u64(w[1] & w[1] >> 1, 0x5555555555555555) << 32;
    if constexpr (count == 3) {
        const bits::Triples t = bits::triples(w);
        return _pext_u64(t.a, bits::kEveryThird) | _pext_u64(t.b, bits::kEveryThird) << 22 |
               _pext_u64(t.c, bits::kEveryThird) << 43;
    }
    if constexpr (count == 4) {
        uint64_t result = 0;
        for (uint32_t i = 0; i < 4; ++i) {
            const uint64_t pairs = w[i] & w[i] >> 1;
            result |= _pext_u64(pairs & pairs >> 2, 0x1111111111111111) << 16 * i;
        }
        return result;
    }
}

/// Which samples are to be read of a vector that begins with sample `first` of a group.
struct AllThere {
    [[QM_INLINE]] All operator()(uint32_t) const { return {}; }
};
struct FirstThere {
    uint64_t count;
    [[QM_INLINE]] Some operator()(uint32_t first) const {
        if (count <= first) return {0};
        return {count - first >= 64 ? ~uint64_t{0} : (uint64_t{1} << (count - first)) - 1};
    }
};

/// The bits of a group of 64 pixels.
template <class T, uint32_t count, class Which>
[[QM_INLINE]] inline uint64_t group(const Sample<uint8_t>* pixels, const Limits<T, count>& limits,
                                    Which which) {
    constexpr uint32_t lanes = 64 / sizeof(T);
    uint64_t w[count];
    for (uint32_t i = 0; i < count; ++i) {
        w[i] = limits.flip[i % limits.vectors];
        for (uint32_t v = 0; v < sizeof(T); ++v) {
            const uint32_t first = i * 64 + v * lanes, at = first % limits.samples;
            w[i] ^=
                within(T{}, load(pixels + first * sizeof(T), T{}, which(first)),
                       _mm512_loadu_si512(limits.low + at), _mm512_loadu_si512(limits.span + at))
                << v * lanes;
        }
    }
    return all_of<count>(w);
}

/// The same with the bits as masks have them, for pixels of one sample.
template <class T>
[[QM_INLINE]] inline uint64_t turned_group(const Sample<uint8_t>* pixels,
                                           const Limits<T, 1>& limits) {
    // The samples of eight pixels the other way round.
    const __m512i turn = _mm512_broadcast_i32x4(
        sizeof(T) == 1 ? _mm_setr_epi8(7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8)
                       : _mm_setr_epi8(14, 15, 12, 13, 10, 11, 8, 9, 6, 7, 4, 5, 2, 3, 0, 1));
    uint64_t word = limits.flip[0];
    for (uint32_t v = 0; v < sizeof(T); ++v)
        word ^= within(T{}, _mm512_shuffle_epi8(_mm512_loadu_si512(pixels + v * 64), turn),
                       _mm512_loadu_si512(limits.low), _mm512_loadu_si512(limits.span))
                << v * 64 / sizeof(T);
    return word;
}

/// A page ahead, where the processor's own prefetching does not go: half the time of wide pixels.
/// What lies there need not be memory.
[[QM_INLINE]] inline void prefetch(const Sample<uint8_t>* pixels, uint32_t bytes) {
    const uintptr_t ahead = reinterpret_cast<uintptr_t>(pixels) + 4096;
    for (uint32_t i = 0; i < bytes; i += 64)
        _mm_prefetch(reinterpret_cast<const char*>(ahead + i), _MM_HINT_T0);
}

void store(uint64_t word, uint8_t* out) { *reinterpret_cast<Sample<uint64_t>*>(out) = word; }

}  // namespace

template <class T, uint32_t count>
void judge_groups(const Sample<uint8_t>* pixels, uint32_t groups, const Limits<T, count>& limits,
                  uint8_t* out) {
    const Limits<T, count> own = limits;  // which no store can change
    constexpr uint32_t bytes = 64 * count * sizeof(T);
    for (uint32_t i = 0; i < groups; ++i, pixels += bytes, out += 8) {
        prefetch(pixels, bytes);
        if constexpr (count == 1 && sizeof(T) <= 2)
            store(turned_group(pixels, own), out);
        else
            store(bits::reversed(group(pixels, own, AllThere{})), out);
    }
}

template <class T, uint32_t count>
void judge_part(const Sample<uint8_t>* pixels, uint32_t at, uint32_t n,
                const Limits<T, count>& limits, uint8_t* out) {
    store(bits::reversed(group(pixels, limits, FirstThere{uint64_t{n} * count}) << at), out);
}

#define LAYOUT(T, count)                                                                           \
    template void judge_groups(const Sample<uint8_t>*, uint32_t, const Limits<T, count>&,          \
                               uint8_t*);                                                          \
    template void judge_part(const Sample<uint8_t>*, uint32_t, uint32_t, const Limits<T, count>&,  \
                             uint8_t*);

LAYOUT(uint8_t, 1)
LAYOUT(uint8_t, 2)
LAYOUT(uint8_t, 3)
LAYOUT(uint8_t, 4)
LAYOUT(uint16_t, 1)
LAYOUT(uint16_t, 2)
LAYOUT(uint16_t, 3)
LAYOUT(uint16_t, 4)
LAYOUT(uint32_t, 1)
LAYOUT(uint32_t, 2)

#undef LAYOUT

}  // namespace qmpic::avx512
