#pragma once

#include <cstdint>

#include "core/arithmetic.h"

/// Floats that become integers of a depth.

namespace qmpic {

/// (x - min) * scale in single precision. The scale is 1, or what makes `max` to `top`.
struct Scaled {
    float min, scale;
    Scaled(float min_, float max, bool scales, float top)
        : min(min_), scale(scales && max - min_ != 0 ? top / (max - min_) : 1.0f) {}
    float operator()(float x) const { return (x - min) * scale; }
};

/// trunc(double(v) + 0.5) within 0 and a top below 2^24; NaN gives 0. A float's double is
/// a float, and cut and halved with halves up it is the same integer: neither the sum in double nor
/// this is ever rounded up to a whole number. 0.49999997 gives 0.
template <class T>
struct Level {
    Scaled scaled;
    Limits<float> limits;
    T operator()(float x) const {
        const float v = limits(scaled(x));
        return static_cast<T>((static_cast<int32_t>(v + v) + 1) >> 1);
    }
};

}  // namespace qmpic
