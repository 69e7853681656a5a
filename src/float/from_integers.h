#pragma once

#include <cstdint>

#include "core/prefetch.h"
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

namespace detail {
/// Four bytes are written for each that is read: memory decides, and takes its time unless it is
/// asked early.
template <class Op>
void floats_of_bytes(Team team, FloatDst dst, Src src, Area area, Op op) {
    constexpr uint64_t kBlock = 64;
    area = joined(team, area, {stride_of(dst, sizeof(float)), stride_of(src, 1)});
    each_row<float, uint8_t>(team, dst, src, area, [=](Sample<float>* d, const Sample<uint8_t>* s) {
        const uint64_t whole = area.width / kBlock * kBlock;
        for (uint64_t x = 0; x < whole; x += kBlock) {
            fetch_ahead_to_write(d + x, kBlock * sizeof(float));
            for (uint64_t i = 0; i < kBlock; ++i) d[x + i] = op(s[x + i]);
        }
        for (uint64_t x = whole; x < area.width; ++x) d[x] = op(s[x]);
    });
}
}  // namespace detail

/// Sample by sample: bytes for a depth of 8, words for all others up to 16, also below 8, and
/// 32-bit words up to 32. `op` takes integers of all three. False above 32 bits, with nothing done.
template <class Op>
bool floats_of(Team team, FloatDst dst, Src src, uint32_t bpc, Area area, Op op) {
    if (bpc == 8)
        detail::floats_of_bytes(team, dst, src, area, op);
    else if (bpc <= 16)
        map_samples<float, uint16_t>(team, dst, src, area, op);
    else if (bpc <= 32)
        map_samples<float, uint32_t>(team, dst, src, area, op);
    else
        return false;
    return true;
}

}  // namespace qmpic
