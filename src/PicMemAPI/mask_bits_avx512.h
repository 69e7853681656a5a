#pragma once

#include <cstdint>

#include "core/rows.h"

/// Range tests by AVX-512, whose comparisons give bits and not flags that are packed: half the time
/// of the compiled loops and less. To be called where that level runs.

namespace qmpic::avx512 {

/// The limits of pixels of `count` samples, repeated over as many vectors as pixels begin anew in.
/// A flipped sample counts when it is not within them.
template <class T, uint32_t count>
struct Limits {
    static constexpr uint32_t vectors = count == 3 ? 3 : 1, samples = vectors * 64 / sizeof(T);
    T low[samples], span[samples];
    uint64_t flip[vectors];  ///< a bit a sample
};

/// `groups` times 64 pixels to bits.
template <class T, uint32_t count>
[[QM_TARGET_AVX512]] void judge_groups(const Sample<uint8_t>* pixels, uint32_t groups,
                                       const Limits<T, count>& limits, uint8_t* out);

/// `n` pixels, the first of them at place `at` of a group. Other bits may be any.
template <class T, uint32_t count>
[[QM_TARGET_AVX512]] void judge_part(const Sample<uint8_t>* pixels, uint32_t at, uint32_t n,
                                     const Limits<T, count>& limits, uint8_t* out);

}  // namespace qmpic::avx512
