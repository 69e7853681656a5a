#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// One colour, for conversion between the two orders of a 32-bit word.
struct SQmColor {
    std::uint8_t ucRed;
    std::uint8_t ucGreen;
    std::uint8_t ucBlue;
    std::uint8_t ucFlag;  ///< the top byte of the word

    /// From a colour reference, red in bits 0 to 7.
    static constexpr SQmColor FromColorRef(std::uint32_t uiColor) noexcept {
        return {static_cast<std::uint8_t>(uiColor), static_cast<std::uint8_t>(uiColor >> 8),
                static_cast<std::uint8_t>(uiColor >> 16), static_cast<std::uint8_t>(uiColor >> 24)};
    }
    /// From a word of a gradient, red in bits 16 to 23.
    static constexpr SQmColor FromGradientWord(std::uint32_t uiColor) noexcept {
        const SQmColor c = FromColorRef(uiColor);
        return {c.ucBlue, c.ucGreen, c.ucRed, c.ucFlag};
    }
    constexpr std::uint32_t ToColorRef() const noexcept {
        return ucRed | std::uint32_t{ucGreen} << 8 | std::uint32_t{ucBlue} << 16 |
               std::uint32_t{ucFlag} << 24;
    }
    constexpr std::uint32_t ToGradientWord() const noexcept {
        return SQmColor{ucBlue, ucGreen, ucRed, ucFlag}.ToColorRef();
    }
};

/// The colour of light of a wavelength in nanometres, as a colour reference: 466 is pure blue, 523
/// green, 620 red. Brightness is full from 415 to 620 and falls to 0.3 at 380 and 780, so 400 is
/// red 123 and blue 179. No two whole wavelengths next to each other have the same colour.
/// @return 0; -9 for null; -4 outside 380 to 780 or NaN, `*puiColor` untouched
QM_API int QM_RGBFromWavelength(std::uint32_t* puiColor, double dWavelength);
/// `uiCount` colours from blue over cyan, green and yellow to red, as words of a gradient (red in
/// bits 16 to 23, top byte 0): of 256, entry 0 is 0x0000FF, entry 64 0x00FFFE and entry 255
/// 0xFF0000. A table of one is blue. Nothing is tested.
QM_API void QM_RGBRainbowColorTable(std::uint32_t* puiTable, std::uint32_t uiCount);
