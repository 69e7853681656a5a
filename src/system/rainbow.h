#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "qmpic/system/Color.h"

namespace qmpic {

/// Entry `index` of `count` of the scale from blue to red, as a word of a gradient. It runs through
/// four stretches in which one component changes, all of 255 steps.
constexpr uint32_t rainbow_word(uint32_t index, uint32_t count) {
    const uint64_t place = uint64_t{index} * (4 * 255) / (count > 1 ? count - 1 : 1);
    const auto rising = static_cast<uint8_t>(place % 255);
    const auto falling = static_cast<uint8_t>(255 - rising);
    SQmColor colour{};
    switch (place / 255) {
    case 0: colour = {0, rising, 255, 0}; break;
    case 1: colour = {0, 255, falling, 0}; break;
    case 2: colour = {rising, 255, 0, 0}; break;
    case 3: colour = {255, falling, 0, 0}; break;
    default: colour = {255, 0, 0, 0};  // the last entry alone
    }
    return colour.ToGradientWord();
}

/// The scale in as many words, ready before anything runs.
template <size_t count>
constexpr std::array<uint32_t, count> make_rainbow() {
    std::array<uint32_t, count> words{};
    for (size_t i = 0; i < count; ++i)
        words[i] = rainbow_word(static_cast<uint32_t>(i), static_cast<uint32_t>(count));
    return words;
}

}  // namespace qmpic
