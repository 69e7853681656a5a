#pragma once

#include <cstdint>

#include "render/packed_table.h"

namespace qmpic {

/// Entry `index` of a block of exposure colours of byte cells: blue, green, red, flag.
struct SignalColour {
    uint32_t word;  ///< blue in the low byte, nothing in the top byte
    uint8_t flag;
    SignalColour(const void* block, uint32_t index) {
        const auto* const entry = static_cast<const Sample<uint8_t>*>(block) + 4 * uint64_t{index};
        word = colour_of(entry);
        flag = entry[3];
    }
};

}  // namespace qmpic
