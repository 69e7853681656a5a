#pragma once

#include <cstdint>

#include "core/shapes.h"

/// Integers that become floats.

namespace qmpic {

/// Of 32 bits in two parts, which fit into signed integers: only the sum is rounded.
struct ToFloat {
    float operator()(uint8_t value) const { return value; }
    float operator()(uint16_t value) const { return value; }
    float operator()(uint32_t value) const {
        const auto high = static_cast<int32_t>(value >> 8), low = static_cast<int32_t>(value & 255);
        return static_cast<float>(high) * 256.0f + static_cast<float>(low);
    }
};

/// Sample by sample: bytes for a depth of 8, words for all others up to 16, also below 8, and
/// 32-bit words up to 32. `op` takes integers of all three. False above 32 bits, with nothing done.
template <class Op>
bool floats_of(Team team, FloatDst dst, Src src, uint32_t bpc, Area area, Op op) {
    if (bpc == 8)
        map_samples<float, uint8_t>(team, dst, src, area, op);
    else if (bpc <= 16)
        map_samples<float, uint16_t>(team, dst, src, area, op);
    else if (bpc <= 32)
        map_samples<float, uint32_t>(team, dst, src, area, op);
    else
        return false;
    return true;
}

}  // namespace qmpic
