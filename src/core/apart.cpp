#include "core/apart.h"

#include <algorithm>
#include <array>

#include "core/intrinsics.h"
#include "core/isa.h"

#define QM_INLINE gnu::always_inline, QM_TARGET_AVX512

namespace qmpic {
namespace {

constexpr uint64_t kMost = 4;  // samples from one to the next

/// A register of samples goes to `step` registers that lie one behind the other.
template <class T>
struct Registers {
    static constexpr uint64_t kLanes = 64 / sizeof(T);
    struct Register {
        uint64_t mask = 0;  // lanes that are written
        // Lane by lane of 16 bits, what to take of the source; for bytes eight words from the first
        // that is needed in every 16 bytes, and then the places among those.
        alignas(64) std::array<uint16_t, 32> words{};
        alignas(64) std::array<uint8_t, 64> bytes{};
    };
    std::array<std::array<Register, kMost>, kMost + 1> of_step{};

    constexpr Registers() {
        for (uint64_t step = 2; step <= kMost; ++step)
            for (uint64_t at = 0; at < step * kLanes; ++at) {
                Register& one = of_step[step][at / kLanes];
                const uint64_t lane = at % kLanes, x = at / step;
                if (at % step == 0) one.mask |= uint64_t{1} << lane;
                if (sizeof(T) == 2) {
                    one.words[lane] = static_cast<uint16_t>(x);
                } else {
                    const uint64_t first = at / 16 * 16 / step / 2;
                    one.words[lane / 2] = static_cast<uint16_t>((first + lane / 2 % 8) % 32);
                    one.bytes[lane] = static_cast<uint8_t>(x - 2 * first);
                }
            }
    }
};
template <class T>
constexpr Registers<T> kRegisters;

/// The first `count` bits.
[[QM_INLINE]] inline uint64_t mask_of(uint64_t count) {
    return count >= 64 ? ~uint64_t{0} : (uint64_t{1} << count) - 1;
}

[[QM_INLINE]] inline __m512i load(const Sample<uint8_t>* s, uint64_t count) {
    return _mm512_maskz_loadu_epi8(mask_of(count), s);
}
[[QM_INLINE]] inline __m512i load(const Sample<uint16_t>* s, uint64_t count) {
    return _mm512_maskz_loadu_epi16(static_cast<__mmask32>(mask_of(count)), s);
}
[[QM_INLINE]] inline void store(Sample<uint8_t>* d, uint64_t mask, __m512i v) {
    _mm512_mask_storeu_epi8(d, mask, v);
}
[[QM_INLINE]] inline void store(Sample<uint16_t>* d, uint64_t mask, __m512i v) {
    _mm512_mask_storeu_epi16(d, static_cast<__mmask32>(mask), v);
}

/// All samples of `s`, or without it `value`.
template <class T>
[[QM_INLINE]] inline void write(Sample<T>* d, uint64_t step, uint64_t count, const Sample<T>* s,
                                __m512i value) {
    constexpr uint64_t kLanes = Registers<T>::kLanes;
    const auto& registers = kRegisters<T>.of_step[step];
    for (uint64_t x = 0; x < count; x += kLanes) {
        const uint64_t samples = std::min(kLanes, count - x), lanes = (samples - 1) * step + 1;
        const __m512i from = s != nullptr ? load(s + x, samples) : value;
        for (uint64_t at = 0; at < lanes; at += kLanes) {
            const auto& to = registers[at / kLanes];
            __m512i v = from;
            if (s != nullptr) {
                v = _mm512_maskz_permutexvar_epi16(~__mmask32{0},
                                                   _mm512_load_si512(to.words.data()), from);
                if (sizeof(T) == 1) v = _mm512_shuffle_epi8(v, _mm512_load_si512(to.bytes.data()));
            }
            store(d + x * step + at, to.mask & mask_of(lanes - at), v);
        }
    }
}

}  // namespace

bool has_masks_for(uint64_t step) noexcept {
    return step >= 2 && step <= kMost && active_isa() == Isa::Avx512;
}

[[QM_TARGET_AVX512]] void fill_apart(Sample<uint8_t>* d, uint64_t step, uint64_t count,
                                     uint8_t value) {
    write<uint8_t>(d, step, count, nullptr, _mm512_set1_epi8(static_cast<char>(value)));
}
[[QM_TARGET_AVX512]] void fill_apart(Sample<uint16_t>* d, uint64_t step, uint64_t count,
                                     uint16_t value) {
    write<uint16_t>(d, step, count, nullptr, _mm512_set1_epi16(static_cast<short>(value)));
}
[[QM_TARGET_AVX512]] void store_apart(Sample<uint8_t>* d, uint64_t step, uint64_t count,
                                      const Sample<uint8_t>* s) {
    write<uint8_t>(d, step, count, s, _mm512_setzero_si512());
}
[[QM_TARGET_AVX512]] void store_apart(Sample<uint16_t>* d, uint64_t step, uint64_t count,
                                      const Sample<uint16_t>* s) {
    write<uint16_t>(d, step, count, s, _mm512_setzero_si512());
}

#undef QM_INLINE

}  // namespace qmpic
