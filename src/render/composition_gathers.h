#pragma once

#include <array>
#include <cstdint>

#include "core/rows.h"

/// Composition of pixels of up to four components of 16 bits by gathers, where they are faster than
/// loads.

namespace qmpic {

/// The channels as packed tables hold them, in order.
struct GatheredChannels {
    static constexpr uint32_t kMost = 4;
    uint32_t top;                              // the greatest sample that is in a table
    std::array<uint32_t, kMost> index;         // of a channel among the components
    std::array<const uint32_t*, kMost> table;  // words by value, flags in their top bytes
    const uint32_t* signals;                   // colours by flags, or null: there are no flags
};

/// Composes pixels from left to right, and tells how many: all, or those before the first sixteen
/// in which a channel's sample is above the tables.
using GatheringComposer = uint64_t(Sample<uint8_t>* d, const Sample<uint16_t>* s, uint64_t pixels,
                                   const GatheredChannels& channels);

/// For pixels of that many components, of which `channels` take part; null if loads do better.
GatheringComposer* gathering_composer(uint32_t components, uint32_t channels) noexcept;

}  // namespace qmpic
