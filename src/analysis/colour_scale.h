#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "system/rainbow.h"

namespace qmpic {

/// 256 colours of 4 bytes, of which the first three are what goes to output bytes 0, 1 and 2.
using ColourScale = std::array<std::array<uint8_t, 4>, 256>;

/// The scale of what is shown by a colour when no table is given, as QM_RGBRainbowColorTable makes
/// it; ready before anything runs.
inline constexpr ColourScale kRainbowScale = [] {
    constexpr auto words = make_rainbow<256>();
    ColourScale scale{};
    for (size_t k = 0; k < scale.size(); ++k)
        for (size_t c = 0; c < 4; ++c) scale[k][c] = static_cast<uint8_t>(words[k] >> (8 * c));
    return scale;
}();

/// The colours of a table in rows: 256 pointers, each to three bytes. Null is the rainbow.
inline ColourScale colour_scale(const void* pLuts) {
    if (!pLuts) return kRainbowScale;
    const auto rows = static_cast<const uint8_t* const*>(pLuts);
    ColourScale scale{};
    for (size_t k = 0; k < scale.size(); ++k)
        for (size_t c = 0; c < 3; ++c) scale[k][c] = rows[k][c];
    return scale;
}

}  // namespace qmpic
