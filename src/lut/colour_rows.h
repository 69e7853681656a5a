#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "core/isa.h"
#include "lut/cells.h"
#include "lut/quotient.h"

namespace qmpic {

/// What a table's three cells lead to: blue, green, red.
using Colour = std::array<uint32_t, kColourCells>;

/// The bytes of a colour reference, whose lowest is red.
constexpr Colour colour_of(uint32_t reference) {
    return {reference >> 16 & 255, reference >> 8 & 255, reference & 255};
}

/// Values of a table: one a row for all three cells, or three of them.
template <class Value>
struct OneEach {
    const Value* values;
    int32_t operator()(uint64_t row, uint64_t /*cell*/) const { return values[row]; }
};
template <class Value>
struct ThreeEach {
    const Value* values;
    int32_t operator()(uint64_t row, uint64_t cell) const { return values[3 * row + cell]; }
};
/// One of several that stand side by side, for all three cells.
template <class Value>
struct OneOfMany {
    const Value* values;
    uint64_t step;
    int32_t operator()(uint64_t row, uint64_t /*cell*/) const { return values[step * row]; }
};
struct RowNumber {
    int32_t operator()(uint64_t row, uint64_t /*cell*/) const { return static_cast<int32_t>(row); }
};

struct Product {
    double operator()(uint32_t colour, int32_t value) const {
        return static_cast<double>(colour) * value;
    }
};
/// A product of 32 bits that wraps.
template <class Int>
struct WrappedProduct {
    double operator()(uint32_t colour, int32_t value) const {
        return static_cast<Int>(colour * static_cast<uint32_t>(value));
    }
};

/// Fills `count` rows: cell c is `colour[c]` * `values(row, c)` / `divisor`, toward zero. Exact for
/// colours and values of 16 bits. `product` is a double, and a whole number below 2^50; the
/// quotient has to fit into 32 bits, and the cell takes its low bits. A divisor of 0 gives zeros.
template <class Cell, class Values, class Times = Product>
void fill_colour_rows(Cell* rows, uint64_t count, const Colour& colour, const Values& values,
                      uint32_t divisor, Times product = {}) {
    if (divisor == 0) {
        std::fill_n(rows, count * kColourCells, Cell{0});
        return;
    }
    on_best_isa([=, over = Quotient(divisor)] {
        constexpr uint64_t kRun = 512;
        Cell part[kColourCells][kRun];
        for (uint64_t first = 0; first < count; first += kRun) {
            const uint64_t length = std::min(kRun, count - first);
            for (uint64_t c = 0; c < kColourCells; ++c)
                for (uint64_t i = 0; i < length; ++i)
                    part[c][i] = static_cast<Cell>(over(product(colour[c], values(first + i, c))));
            Cell* const row = rows + kColourCells * first;
            for (uint64_t i = 0; i < length; ++i)
                for (uint64_t c = 0; c < kColourCells; ++c) row[kColourCells * i + c] = part[c][i];
        }
    });
}

}  // namespace qmpic
