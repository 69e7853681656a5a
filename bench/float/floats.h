#pragma once

#include <cstdint>
#include <vector>

#include "support.h"

/// Pictures of floats for benchmarks.

namespace qmpic::bench {

/// Floats of 1 to 4096 with a fraction, as cameras and quotients give them; bytes for other depths.
inline Picture picture(Role role, uint32_t edge, uint32_t components, uint32_t bits = 32) {
    Picture made(role, edge, components, bits);
    static std::vector<float> memories[3][2];  // the second for up to 8 components
    auto& memory = memories[role][components > 4];
    if (memory.empty()) {
        memory.resize(size_t{2048} * 2048 * (components > 4 ? 8 : 4));
        uint32_t state = 1 + role;
        for (float& value : memory) {
            state = state * 1664525 + 1013904223;
            value = 1 + static_cast<float>(state >> 8) / 4096;
        }
    }
    if (bits == 32) made.data = reinterpret_cast<uint8_t*>(memory.data());
    return made;
}
inline float* floats(const Picture& p) { return reinterpret_cast<float*>(p.data); }

}  // namespace qmpic::bench
