#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "core/shapes.h"

/// Tables as callers hand them over, and the loops of looking up. Loads through a table do not
/// vectorise: what decides is how many there are a pixel.

namespace qmpic {

/// A cell a value.
template <class Cell>
struct FlatTable {
    const Sample<Cell>* cells;
    explicit FlatTable(const void* luts) : cells(static_cast<const Sample<Cell>*>(luts)) {}
    Cell operator()(uint32_t value, uint64_t = 0) const { return cells[value]; }
};

/// A row of cells a value, each behind a pointer of its own.
template <class Cell>
struct RowTable {
    const Sample<const void*>* rows;
    explicit RowTable(const void* luts) : rows(static_cast<const Sample<const void*>*>(luts)) {}
    const Sample<Cell>* row(uint32_t value) const {
        return static_cast<const Sample<Cell>*>(rows[value].value);
    }
    Cell operator()(uint32_t value, uint64_t cell) const { return row(value)[cell]; }
};

/// Rows that lie one behind the other: no pointer to load, and half the memory to keep at hand.
template <class Cell, uint32_t known>
struct BlockTable {
    const Sample<Cell>* cells;
    Count<known> count;
    Cell operator()(uint32_t value, uint64_t cell) const { return cells[value * count() + cell]; }
};

/// Is it worth while to go once through a table of so many values before a picture is mapped? Small
/// pictures take tables as they are.
inline bool pays(uint64_t values, Area area) { return area.width * area.rows >= 4 * values; }

/// Do the rows of 2^bits values lie one behind the other?
template <class Cell>
bool is_block(RowTable<Cell> table, uint64_t cells, uint32_t bits) {
    const uint32_t values = uint32_t{1} << bits;
    uintptr_t next = reinterpret_cast<uintptr_t>(table.row(0));
    for (uint32_t i = 0; i < values; ++i, next += cells * sizeof(Cell))
        if (reinterpret_cast<uintptr_t>(table.row(i)) != next) return false;
    return true;
}

/// Only the low bits of a value count.
template <class Table>
struct Masked {
    Table table;
    uint32_t mask;
    auto operator()(uint32_t value, uint64_t cell = 0) const { return table(value & mask, cell); }
};

/// Asks for what a loop will need a thousand bytes on. Loads through tables fill the processor's
/// window so soon that it does not see that far by itself: a fifth to a third of the time in
/// pictures that no cache holds. Nothing is read where nothing is.
inline void ask_ahead(const void* at) {
    __builtin_prefetch(reinterpret_cast<const void*>(reinterpret_cast<uintptr_t>(at) + 1024));
}

/// d[i] = table(s[i]), four at a time: else the loop would cost as much as the loads.
template <class T, class S, class Table>
void look_up_samples(Team team, Dst dst, Src src, Area area, Table table) {
    area = joined(team, area, {{dst.stride, sizeof(T)}, {src.stride, sizeof(S)}});
    each_row<T, S>(team, dst, src, area, [=](Sample<T>* d, const Sample<S>* s) {
        const auto four = [=](uint64_t x) {
            const T v0 = table(s[x]), v1 = table(s[x + 1]), v2 = table(s[x + 2]),
                    v3 = table(s[x + 3]);
            d[x] = v0, d[x + 1] = v1, d[x + 2] = v2, d[x + 3] = v3;
        };
        uint64_t x = 0;
        for (; x + 32 <= area.width; x += 32) {
            ask_ahead(s + x), ask_ahead(d + x);
            for (uint64_t i = 0; i < 32; i += 4) four(x + i);
        }
        for (; x + 4 <= area.width; x += 4) four(x);
        for (; x < area.width; ++x) d[x] = table(s[x]);
    });
}

/// Each component through its own cell.
template <class T, class S, uint32_t known, class Table>
void look_up_components(Team team, Dst dst, Src src, Count<known> count, Area area, Table table) {
    each_pixel<T, S>(team, dst, count, src, count, area, [=](Sample<T>* d, const Sample<S>* s) {
        for (uint64_t c = 0; c < count(); ++c) d[c] = table(s[c], c);
    });
}

/// One component to all of the destination.
template <class T, class S, uint32_t known, class Table>
void look_up_value(Dst dst, Count<known> count, Component<Src> src, Area area, Table table) {
    const uint32_t index = src.index;
    each_pixel<T, S>(kCallingThread, dst, count, src.picture, Count<0>{src.step}, area,
                     [=](Sample<T>* d, const Sample<S>* s) {
                         const uint32_t value = s[index];
                         for (uint64_t c = 0; c < count(); ++c) d[c] = table(value, c);
                     });
}

/// Three cells in a word, cell 0 lowest, nothing above them: 24 bits of bytes, 48 of words.
template <class T>
using Colour = std::conditional_t<sizeof(T) == 1, uint32_t, uint64_t>;

template <class T>
Colour<T> colour_in(const Sample<T>* cells) {
    constexpr int bits = 8 * sizeof(T);
    return static_cast<Colour<T>>(cells[0].value | Colour<T>{cells[1].value} << bits |
                                  Colour<T>{cells[2].value} << 2 * bits);
}

/// A word a value.
template <class T>
struct ColourWords {
    const Colour<T>* words;
    Colour<T> operator()(uint32_t value) const { return words[value]; }
};

/// Four pixels at once, without a byte before or behind them.
inline void write_four(Sample<uint8_t>* d, uint32_t a, uint32_t b, uint32_t c, uint32_t e) {
    *reinterpret_cast<Sample<uint64_t>*>(d) = a | uint64_t{b} << 24 | uint64_t{c} << 48;
    *reinterpret_cast<Sample<uint32_t>*>(d + 8) = c >> 16 | e << 8;
}
inline void write_four(Sample<uint16_t>* d, uint64_t a, uint64_t b, uint64_t c, uint64_t e) {
    auto* const words = reinterpret_cast<Sample<uint64_t>*>(d);
    words[0] = a | b << 48;
    words[1] = b >> 16 | c << 32;
    words[2] = c >> 32 | e << 16;
}

/// One component to three: `colour(value)` gives the word of a pixel. Four values are read before
/// their pixels are written, so that the source may be the destination.
template <class T, class S, class ColourOf>
void look_up_colours(Dst dst, Component<Src> src, Area area, ColourOf colour) {
    const uint64_t step = src.step, index = src.index;
    area = joined(kCallingThread, area,
                  {{dst.stride, 3 * sizeof(T)}, {src.picture.stride, step * sizeof(S)}});
    each_row<T, S>(kCallingThread, dst, src.picture, area,
                   [=](Sample<T>* d, const Sample<S>* pixels) {
                       const Sample<S>* const s = pixels + index;
                       const auto four = [=](uint64_t x) {
                           write_four(d + 3 * x, colour(s[x * step]), colour(s[(x + 1) * step]),
                                      colour(s[(x + 2) * step]), colour(s[(x + 3) * step]));
                       };
                       uint64_t x = 0;
                       for (; x + 16 <= area.width; x += 16) {
                           ask_ahead(s + x * step), ask_ahead(d + 3 * x);
                           for (uint64_t i = 0; i < 16; i += 4) four(x + i);
                       }
                       for (; x + 4 <= area.width; x += 4) four(x);
                       for (; x < area.width; ++x) {
                           const Colour<T> word = colour(s[x * step]);
                           for (uint64_t c = 0; c < 3; ++c)
                               d[3 * x + c] = static_cast<T>(word >> c * 8 * sizeof(T));
                       }
                   });
}

}  // namespace qmpic
