#pragma once

#include <cfloat>
#include <cstdint>

#include "core/rows.h"

/// Least and greatest values of the components of a picture of floats: what `if (x < low) low = x;
/// if (x > high) high = x;` finds from the first pixel to the last. So a NaN never counts, and of
/// zeros of both signs the first does.

namespace qmpic {

struct Extremes {
    float low = FLT_MAX, high = -FLT_MAX;
};

/// Which pixels count: all without a mask, else those with a byte other than 0 or, inverse, of 0.
struct Selection {
    Src mask{nullptr, 0};
    bool inverse = false;
    bool everything() const { return mask.first == nullptr; }
    bool takes(uint8_t byte) const { return (byte != 0) != inverse; }
};

/// So many components are looked at in one go.
inline constexpr uint32_t kExtremesAtOnce = 64;

/// Of components [first, first + count) of `components`, at most kExtremesAtOnce.
void find_extremes(FloatSrc picture, uint32_t components, Area area, const Selection& selection,
                   uint32_t first, uint32_t count, Extremes* found);

/// `each(component, extremes)` for all components, in order.
template <class Each>
void each_extremes(FloatSrc picture, uint32_t components, Area area, const Selection& selection,
                   Each each) {
    Extremes found[kExtremesAtOnce];
    for (uint64_t first = 0; first < components; first += kExtremesAtOnce) {
        const uint64_t rest = components - first;
        const auto count = static_cast<uint32_t>(rest < kExtremesAtOnce ? rest : kExtremesAtOnce);
        find_extremes(picture, components, area, selection, static_cast<uint32_t>(first), count,
                      found);
        for (uint32_t c = 0; c < count; ++c) each(first + c, found[c]);
    }
}

}  // namespace qmpic
