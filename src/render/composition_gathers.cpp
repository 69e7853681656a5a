#include "render/composition_gathers.h"

#include <algorithm>

#include "core/intrinsics.h"
#include "core/isa.h"
#include "core/prefetch.h"
#include "core/processor.h"

// Sixteen pixels at a time: their samples are picked out of two registers, their colours stay in
// registers until they are merged, and nothing but the result is written. A row ends in a masked
// step: what a mask leaves out is neither read nor written.

#define QM_INLINE gnu::always_inline, QM_TARGET_AVX512

namespace qmpic {
namespace {

constexpr uint64_t kStep = 16;
constexpr __mmask16 kAll = 0xFFFF;

/// The first `count` bits.
[[QM_INLINE]] inline uint64_t mask_of(uint64_t count) {
    return count >= 64 ? ~uint64_t{0} : (uint64_t{1} << count) - 1;
}

/// Sixteen pixels, or fewer.
template <uint32_t components>
struct Pixels {
    __m512i low, high;
    [[QM_INLINE]] Pixels(const Sample<uint16_t>* s, uint64_t count)
        : low(some(s, components * count, 0)), high(some(s, components * count, 32)) {}
    [[QM_INLINE]] static __m512i some(const Sample<uint16_t>* s, uint64_t count, uint64_t from) {
        if (count <= from) return _mm512_setzero_si512();
        if (count >= from + 32) return _mm512_loadu_si512(s + from);
        return _mm512_maskz_loadu_epi16(static_cast<__mmask32>(mask_of(count - from)), s + from);
    }

    /// Where the samples of a component lie, and those samples, in lanes of 32 bits.
    [[QM_INLINE]] static __m512i places(uint32_t index) {
        const __m512i pixels =
            _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
        return _mm512_add_epi32(_mm512_mullo_epi32(pixels, _mm512_set1_epi32(components)),
                                _mm512_set1_epi32(static_cast<int>(index)));
    }
    [[QM_INLINE]] __m512i at(__m512i places) const {
        return _mm512_maskz_permutex2var_epi16(0x55555555, low, places, high);
    }
};

/// What the low bytes of lanes of 16 bits keep dark.
[[QM_INLINE]] inline __m512i dark(__m512i cells) {
    return _mm512_andnot_si512(cells, _mm512_set1_epi16(255));
}
/// a * b / 255, as in packed_table.h: a mean of two rounds up and so adds the 1.
[[QM_INLINE]] inline __m512i dim(__m512i a, __m512i b) {
    const __m512i product = _mm512_mullo_epi16(a, b);
    return _mm512_srli_epi16(_mm512_avg_epu16(product, _mm512_srli_epi16(product, 8)), 7);
}

/// The three low bytes of each lane.
[[QM_INLINE]] inline void store(Sample<uint8_t>* d, __m512i colours, uint64_t count) {
    const __m512i bytes = _mm512_broadcast_i32x4(
        _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1));
    const __m512i dwords =
        _mm512_setr_epi32(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 15, 15, 15, 15);
    const __m512i cells = _mm512_permutexvar_epi32(dwords, _mm512_shuffle_epi8(colours, bytes));
    _mm512_mask_storeu_epi8(d, mask_of(3 * count), cells);
}

template <uint32_t components, uint32_t n>
[[QM_TARGET_AVX512]] uint64_t compose(Sample<uint8_t>* d, const Sample<uint16_t>* s,
                                      uint64_t pixels, const GatheredChannels& channels) {
    __m512i places[n];
    const uint32_t* table[n];
    for (uint32_t c = 0; c < n; ++c) {
        places[c] = Pixels<components>::places(channels.index[c]);
        table[c] = channels.table[c];
    }
    const uint32_t* const signals = channels.signals;
    const __m512i top = _mm512_set1_epi32(static_cast<int>(channels.top)),
                  none = _mm512_setzero_si512();
    for (uint64_t x = 0; x < pixels; x += kStep) {
        const uint64_t count = std::min(kStep, pixels - x);
        fetch_ahead(s + components * x, components * kStep * 2);
        fetch_ahead_to_write(d + 3 * x, 3 * kStep);
        const Pixels<components> here(s + components * x, count);
        __m512i value[n], greatest = none;
        for (uint32_t c = 0; c < n; ++c) {
            value[c] = here.at(places[c]);
            greatest = _mm512_max_epu32(greatest, value[c]);
        }
        if (_mm512_cmpgt_epu32_mask(greatest, top) != 0) return x;

        // Cells 0 and 2 of a pixel stay where they are, cell 1 is merged apart.
        __m512i even = none, odd = none, flags = none;
        for (uint32_t c = 0; c < n; ++c) {
            const __m512i word = _mm512_mask_i32gather_epi32(none, kAll, value[c], table[c], 4);
            const __m512i next_even = dark(word), next_odd = dark(_mm512_srli_epi16(word, 8));
            even = c == 0 ? next_even : dim(even, next_even);
            odd = c == 0 ? next_odd : dim(odd, next_odd);
            flags = _mm512_or_si512(flags, _mm512_srli_epi32(word, 24));
        }
        __m512i colours = _mm512_or_si512(dark(even), _mm512_slli_epi16(dark(odd), 8));
        if (signals != nullptr)  // a marked pixel is white until now
            if (const __mmask16 marked = _mm512_test_epi32_mask(flags, flags); marked != 0)
                colours = _mm512_mask_i32gather_epi32(colours, marked, flags, signals, 4);
        store(d + 3 * x, colours, count);
    }
    return pixels;
}

}  // namespace

// Gathers may take longer than loads, above all where processors were patched. Those with FP16 are
// later than that.
GatheringComposer* gathering_composer(uint32_t components, uint32_t channels) noexcept {
    if (active_isa() != Isa::Avx512 || !CPU_FEATURE_ACTIVE(AVX512_FP16)) return nullptr;
    switch (10 * components + channels) {
    case 11: return compose<1, 1>;
    case 21: return compose<2, 1>;
    case 22: return compose<2, 2>;
    case 31: return compose<3, 1>;
    case 32: return compose<3, 2>;
    case 33: return compose<3, 3>;
    case 41: return compose<4, 1>;
    case 42: return compose<4, 2>;
    case 43: return compose<4, 3>;
    case 44: return compose<4, 4>;
    default: return nullptr;
    }
}

#undef QM_INLINE

}  // namespace qmpic
