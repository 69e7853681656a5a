#pragma once

#include <xmmintrin.h>

#include <cstdint>

#include "core/rows.h"

/// Interleaved floats taken apart. Compiled sample by sample, components that lie more than four
/// apart cost a load and an insertion each; four by four they are shuffled, at every level.

namespace qmpic {

/// planes[k][x] = component k of pixel x of four that lie side by side, for `pixels` pixels, which
/// are a multiple of four. A plane has `length` floats.
inline void take_four_apart(const Sample<float>* s, uint64_t step, uint64_t pixels, float* planes,
                            uint64_t length) {
    const auto* const first = reinterpret_cast<const float*>(s);  // only for unaligned loads
    for (uint64_t x = 0; x < pixels; x += 4) {
        const float* const from = first + x * step;
        __m128 a = _mm_loadu_ps(from), b = _mm_loadu_ps(from + step),
               c = _mm_loadu_ps(from + 2 * step), d = _mm_loadu_ps(from + 3 * step);
        _MM_TRANSPOSE4_PS(a, b, c, d);
        _mm_storeu_ps(planes + x, a);
        _mm_storeu_ps(planes + length + x, b);
        _mm_storeu_ps(planes + 2 * length + x, c);
        _mm_storeu_ps(planes + 3 * length + x, d);
    }
}

}  // namespace qmpic
