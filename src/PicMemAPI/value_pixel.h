#pragma once

#include <algorithm>
#include <cstdint>

#include "core/scratch.h"
#include "qmpic/status.h"

namespace qmpic {

/// Calls `use` with a pixel given as a number: its bytes, the least significant first, and zeros
/// for the components that these are too few for.
template <class Use>
int with_value_pixel(uint64_t value, uint32_t components, Use use) {
    constexpr uint32_t kMost = 192;
    uint64_t pixel[kMost / 2] = {value};  // up to 32 bits a component
    if (components <= kMost) return use(pixel);
    const size_t words = size_t{components} / 2 + 1;
    const Scratch<uint64_t> longer(words);
    if (!longer) return QM_NO_MEMORY;
    std::fill_n(longer.get(), words, uint64_t{0});
    longer[0] = value;
    return use(longer.get());
}

}  // namespace qmpic
