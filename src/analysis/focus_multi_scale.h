#pragma once

#include <cstdint>

#include "analysis/focus_pixels.h"
#include "core/frame.h"

namespace qmpic {

/// Squared differences at several distances from anchors, for pictures of samples T in rows of any
/// kind. `divisor` tells the divisor of so many anchors, for one component or for all together.
template <class T, class Source, class Divisor>
int multi_scale_focus(double* result, int component, Source src, uint32_t components,
                      uint32_t width, uint64_t size, Divisor divisor) {
    constexpr uint64_t kGrid = 16;
    if (src.first == nullptr) return QM_REJECTED;
    const Area area = Area::of_pixels(width, size);
    if (area.width < kGrid || area.rows < kGrid) {
        give(result, 0.0);
        return QM_NO_KERNEL;
    }
    // What is no component is all of them.
    const bool together = component < 0 || static_cast<uint32_t>(component) >= components;
    const uint64_t first = together ? 0 : static_cast<uint64_t>(component);
    const uint64_t last = together ? components : first + 1;
    double sums[5] = {};
    for (uint64_t y = 0; y < area.rows - kGrid; y += kGrid) {
        const Sample<T>* const s = src.template row<T>(y);
        for (uint64_t x = 0; x < area.width - kGrid; x += kGrid)
            for (uint64_t k = first; k < last; ++k) {
                const double anchor = s[x * components + k];
                for (uint32_t i = 0; i < 5; ++i) {
                    const uint64_t d = uint64_t{1} << i;
                    const double right = s[(x + d) * components + k];
                    const double below = src.template row<T>(y + d)[x * components + k];
                    const double across = anchor - right, down = anchor - below;
                    sums[i] += across * across + down * down;
                }
            }
    }
    const uint64_t anchors = ((area.width - 1) / kGrid) * ((area.rows - 1) / kGrid);
    give(result, (sums[0] + sums[1] + sums[2] + sums[3] + sums[4]) /
                     divisor(static_cast<uint32_t>(anchors), together));
    return QM_OK;
}

}  // namespace qmpic
