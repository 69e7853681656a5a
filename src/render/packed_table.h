#pragma once

#include <cstdint>

#include "core/rows.h"

/// Colours of three byte cells as words: tables repacked to a word a value, pixels written from
/// words, colours merged. Blue is the low byte; the top byte is the user's own and never written.

namespace qmpic {

/// The rows of a colour table by value: pointers to cells that may lie anywhere, in any order.
using ColourRows = const Sample<const void*>*;

inline ColourRows colour_rows(const void* table) { return static_cast<ColourRows>(table); }

/// The three bytes of a row, and none behind them.
inline uint32_t colour_of(const void* row) {
    const auto* const cells = static_cast<const Sample<uint8_t>*>(row);
    const auto* const pair = reinterpret_cast<const Sample<uint16_t>*>(cells);
    return pair->value | uint32_t{cells[2].value} << 16;
}

/// words[value] = the colour of `rows[value]`, for values below `count`.
inline void pack_rows(ColourRows rows, uint32_t count, uint32_t* words) {
    for (uint32_t value = 0; value < count; ++value) words[value] = colour_of(rows[value]);
}

inline void write_pixel(Sample<uint8_t>* d, uint32_t colour) {
    d[0] = static_cast<uint8_t>(colour);
    d[1] = static_cast<uint8_t>(colour >> 8);
    d[2] = static_cast<uint8_t>(colour >> 16);
}

/// Writes `count` pixels of three bytes: colour(0), colour(1), ... A pixel is written with the byte
/// behind it, which the next one overwrites, but the last: so nothing behind them is touched, yet
/// `colour` must not read what is written here. Where the destination is the source, look up a
/// block of words first and write it from there.
template <class Colour>
void write_pixels(Sample<uint8_t>* d, uint64_t count, Colour colour) {
    if (count == 0) return;
#pragma GCC unroll 4
    for (uint64_t x = 0; x + 1 < count; ++x)
        *reinterpret_cast<Sample<uint32_t>*>(d + 3 * x) = colour(x);
    write_pixel(d + 3 * (count - 1), colour(count - 1));
}

/// a * b / 255 of bytes, exact, in lanes of 16 bits.
constexpr uint16_t dim(uint16_t a, uint16_t b) {
    const auto product = static_cast<uint16_t>(a * b);
    return static_cast<uint16_t>(static_cast<uint16_t>(product + 1 + (product >> 8)) >> 8);
}

/// Two colours in one light: a + b - a * b / 255, which is to multiply what each of them keeps
/// dark (a test proves it for all pairs). 200 and 100 give 222; 255 stays 255, 0 changes nothing.
constexpr uint8_t screen(uint8_t a, uint8_t b) {
    return static_cast<uint8_t>(
        255 - dim(static_cast<uint16_t>(255 - a), static_cast<uint16_t>(255 - b)));
}

}  // namespace qmpic
