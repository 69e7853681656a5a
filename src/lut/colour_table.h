#pragma once

#include <algorithm>
#include <cstdint>

#include "core/rows.h"
#include "lut/predefined_data.h"

/// Looking up 256 colours by position, once for all that read predefined tables.

namespace qmpic {

constexpr int kCustomTable = 255;

/// The custom table: 256 times red, green, blue, a grey ramp until an application sets it.
extern ColourBytes custom_colours;

/// 256 entries of red, green, blue; without a table, greys.
class ColourTable {
  public:
    explicit ColourTable(const unsigned char* colors) : colors_(colors) {}
    /// What `GetLUTEntry` reads: the custom table for 255, else GetPredefLut(index, true).
    ColourTable(int index, double lo, double hi);

    /// 0, 1, 2: red, green, blue; 0 for others. Positions above 255 are 255.
    std::uint8_t component(std::uint32_t position, std::uint32_t comp) const {
        const std::uint32_t entry = std::min(position, 255u);
        if (colors_ == nullptr) return static_cast<std::uint8_t>(entry);
        return comp < 3 ? colors_[3 * entry + comp] : std::uint8_t{0};
    }
    /// Blue in bits 0 to 7, green in 8 to 15, red in 16 to 23.
    std::uint32_t word(std::uint32_t position) const {
        return std::uint32_t{component(position, 0)} << 16 |
               std::uint32_t{component(position, 1)} << 8 | component(position, 2);
    }
    /// Blue in bits 0 to 15, green in 16 to 31, red in 32 to 47, each times `range` / 256.
    std::uint64_t wide_word(std::uint32_t position, std::uint32_t range) const {
        const auto widened = [&](std::uint32_t comp) {
            return std::uint64_t{(component(position, comp) * range >> 8) & 0xFFFF};
        };
        return widened(0) << 32 | widened(1) << 16 | widened(2);
    }

  private:
    const unsigned char* colors_;
};

/// Where a value of 0 to `range` stands among 256 colours.
inline std::uint32_t colour_position(std::uint32_t value, std::uint32_t range) {
    return range != 0 ? value * 256 / range : 0;
}

/// The three cells of a row, from the low bits of `colour` on: blue, green, red.
template <class Cell>
void write_cells(void* row, std::uint64_t colour) {
    auto* const cells = static_cast<Sample<Cell>*>(row);
    for (int c = 0; c < 3; ++c, colour >>= 8 * sizeof(Cell)) cells[c] = static_cast<Cell>(colour);
}

}  // namespace qmpic
