#pragma once

#include <cfloat>
#include <cstdint>

#include "core/rows.h"

/// Least and greatest values of the pixels of floats that a mask selects: what `if (x < low) low =
/// x; if (x > high) high = x;` finds from the first pixel to the last. So a NaN never counts, and
/// of zeros of both signs the first does.

namespace qmpic {

struct MaskedFloats {
    FloatSrc pixels;
    uint32_t components;
    Area area;
    Src mask;      ///< a byte a pixel
    bool inverse;  ///< 0 selects, and else any other byte

    bool takes(uint8_t byte) const { return (byte != 0) != inverse; }
};

/// Of each component, FLT_MAX and -FLT_MAX where there is none.
void find_extremes(const MaskedFloats& picture, float* low, float* high);

}  // namespace qmpic
