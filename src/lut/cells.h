#pragma once

#include <cstddef>
#include <cstdint>

#include "qmpic/Lut.h"

/// Where the tables, rows and cells of a set lie.

namespace qmpic {

using Row = std::byte*;  // where the cells of an entry lie

inline constexpr std::size_t kColourCells = 3;  // blue, green and red

inline std::uint64_t entries_of(const SQmLut& lut) { return std::uint64_t{1} << lut.ucSrcBpc; }
inline std::uint64_t cell_bytes(const SQmLut& lut) { return (lut.ucDstBpc + 7u) / 8; }
inline std::uint64_t row_bytes(const SQmLut& lut) { return cell_bytes(lut) * lut.ucDstComponents; }
inline std::uint64_t table_bytes(const SQmLut& lut) { return row_bytes(lut) << lut.ucSrcBpc; }

inline bool is_flat(const SQmLut& lut) { return lut.ucComponents <= 1 && lut.ucDstComponents == 1; }

/// The cells of a set, one block whatever the shape.
inline std::byte* cells_of(const SQmLut& lut) {
    if (is_flat(lut)) return static_cast<std::byte*>(lut.pLuts);
    return lut.ucComponents <= 1 ? *static_cast<Row*>(lut.pLuts) : **static_cast<Row**>(lut.pLuts);
}

/// The cells of one component's table, which the components of a shared set have in common.
inline std::byte* table_of(const SQmLut& lut, std::uint64_t component) {
    return lut.ucComponents <= 1 ? cells_of(lut) : *static_cast<Row**>(lut.pLuts)[component];
}
template <class Cell>
Cell* table_of(const SQmLut& lut, std::uint64_t component) {
    return reinterpret_cast<Cell*>(table_of(lut, component));
}

/// Two points of a line or a curve, in entries and in what they lead to.
struct Points {
    int src_lo, dst_lo, src_hi, dst_hi;
};

/// Calls `body(Cell{})` with what holds so many bits, which are at most 16.
template <class Body>
auto with_cells(std::uint32_t bits, const Body& body) {
    return bits <= 8 ? body(std::uint8_t{}) : body(std::uint16_t{});
}

}  // namespace qmpic
