#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "lut/predefined_lists.h"
#include "qmpic/Lut.h"
#include "qmpic/PicBuf.h"
#include "qmpic/PredefLuts.h"
#include "qmpic/status.h"
#include "support/cases.h"

/// What tests of constructed table sets share: the cells as a reader reaches them, and what should
/// be in them.

namespace qmpic::test {

using Row3 = std::array<uint32_t, 3>;
using Table = std::vector<Row3>;       ///< a row for every value
using Values = std::vector<uint32_t>;  ///< a table of one cell

inline uint32_t entries_in(const SQmLut& lut) { return 1u << lut.ucSrcBpc; }

inline Row3 row_of(const SQmLut& lut, uint32_t component, uint32_t value) {
    const void* const row = lut.ucComponents > 1 ? static_cast<void***>(lut.pLuts)[component][value]
                                                 : static_cast<void**>(lut.pLuts)[value];
    const uint32_t bytes = (lut.ucDstBpc + 7u) / 8;
    Row3 cells{};
    for (uint32_t cell = 0; cell < 3; ++cell)
        std::memcpy(&cells[cell], static_cast<const uint8_t*>(row) + cell * bytes, bytes);
    return cells;
}
inline Table table_in(const SQmLut& lut, uint32_t component) {
    Table rows;
    for (uint32_t i = 0; i < entries_in(lut); ++i) rows.push_back(row_of(lut, component, i));
    return rows;
}
inline void set_row(SQmLut& lut, uint32_t component, uint32_t value, const Row3& cells) {
    void* const row = lut.ucComponents > 1 ? static_cast<void***>(lut.pLuts)[component][value]
                                           : static_cast<void**>(lut.pLuts)[value];
    const uint32_t bytes = (lut.ucDstBpc + 7u) / 8;
    for (uint32_t cell = 0; cell < 3; ++cell)
        std::memcpy(static_cast<uint8_t*>(row) + cell * bytes, &cells[cell], bytes);
}
/// Something in every cell that no construction makes of all of them.
inline void scribble(SQmLut& lut) {
    for (uint32_t c = 0; c < lut.ucComponents; ++c)
        for (uint32_t i = 0; i < entries_in(lut); ++i)
            set_row(lut, c, i, {i * 7 + 3 + c, i * 13 + 5, i * 29 + 11});
}
inline Table zeros(uint32_t bpc) { return Table(1u << bpc, Row3{}); }
inline std::vector<uint32_t> shape_of(const SQmLut& lut) {
    return {lut.ucSrcBpc, lut.ucComponents, lut.ucDstBpc, lut.ucDstComponents};
}
inline CQmRangeMask mask_of(uint32_t size, std::initializer_list<uint32_t> bits) {
    CQmRangeMask mask;
    mask.SetSize(size);
    for (const uint32_t bit : bits) mask.Set(bit);
    return mask;
}
inline CQmRangeMask all_of(uint32_t size) { return {size, 0, size - 1, 1}; }

/// pow(x / top, gamma) * top, cut toward zero and limited to the depth.
inline uint32_t bent(int64_t x, uint32_t top, double gamma) {
    const double value = std::pow(static_cast<double>(x) / top, gamma) * top;
    if (!(value > 0)) return 0;
    return value < top ? static_cast<uint32_t>(value) : top;
}

/// A straight line of whole numbers between two points, each bent by the gamma; level before and
/// behind. Without a rise to speak of, zeros.
inline Values gamma_values(uint32_t bpc, uint32_t dst_bpc, int64_t lo, int64_t from, int64_t hi,
                           int64_t to, double gamma) {
    Values values(size_t{1} << bpc, 0);
    const uint32_t top = (1u << dst_bpc) - 1;
    if (hi <= lo) return values;
    for (int64_t i = 0; i < static_cast<int64_t>(values.size()); ++i)
        values[static_cast<size_t>(i)] =
            i < lo    ? bent(from, top, gamma)
            : i >= hi ? bent(to, top, gamma)
                      : bent((i - lo) * (to - from) / (hi - lo) + from, top, gamma);
    return values;
}

/// Every value times the colour, over the greatest value; cells are blue, green, red.
inline Table toward(uint32_t color, const Values& values, uint32_t dst_bpc = 8) {
    Table rows;
    const uint64_t top = values.size() - 1;
    for (const uint64_t value : values) {
        Row3 row;
        for (uint32_t cell = 0; cell < 3; ++cell) {
            const uint64_t byte = color >> (16 - 8 * cell) & 255;
            row[cell] = static_cast<uint32_t>((byte << (dst_bpc - 8)) * value / top);
        }
        rows.push_back(row);
    }
    return rows;
}

/// The 768 bytes that an index stands for: 255 the custom table, else those of the list, whose
/// first follows beyond its end. Nothing: greys.
inline std::vector<uint8_t> colours_of(int32_t index) {
    std::vector<uint8_t> bytes(768);
    if (index == 255) {
        CQmPredefLUTs::GetCustomLUTs(bytes.data());
        return bytes;
    }
    for (uint32_t i = 0; i < 768; ++i) bytes[i] = static_cast<uint8_t>(i / 3);
    if (index >= 0) {
        const auto count = static_cast<int32_t>(SQmLut::vecPredefLuts->size());
        const auto* const stored =
            (*SQmLut::vecPredefLuts)[static_cast<size_t>(index < count ? index : 0)]->pColors;
        bytes.assign(stored, stored + 768);
    }
    return bytes;
}

/// Every value's colour of 256.
inline Table looked_up(const std::vector<uint8_t>& colours, const Values& values,
                       double weight = 1.0, uint32_t dst_bpc = 8) {
    Table rows;
    for (const uint64_t value : values) {
        const size_t p = value * 256 / values.size();
        Row3 row;
        for (uint32_t cell = 0; cell < 3; ++cell) {
            const uint32_t byte = colours[3 * p + 2 - cell];
            if (dst_bpc > 8)
                row[cell] = byte * (1u << dst_bpc) >> 8;
            else
                row[cell] = weight < 1.0
                                ? static_cast<uint32_t>(static_cast<int>(byte * weight)) & 255
                                : byte;
        }
        rows.push_back(row);
    }
    return rows;
}

/// A set as it may come to a construction.
enum Before { kNew, kSameShape, kOtherShape, kSharedShape, kBefores };

/// Brings a set of `components` tables into that state; one that has tables has cells, too, and a
/// mask of its own. Tells whether its tables can stay when they may not be shared.
inline void bring_to(SQmLut& lut, Before before, uint32_t bpc, uint32_t components,
                     uint32_t dst_bpc, const CQmRangeMask& mask) {
    const auto bits = static_cast<uint8_t>(bpc), n = static_cast<uint8_t>(components),
               cell = static_cast<uint8_t>(dst_bpc);
    switch (before) {
    case kSameShape: SQmLut::Alloc(lut, bits, n, cell, 3); break;
    case kOtherShape: SQmLut::Alloc(lut, bits == 8 ? 9 : 8, n, cell, 3); break;
    case kSharedShape: SQmLut::CustomSpectralLutAlloc(lut, bits, n, cell, 3); break;
    default: return;
    }
    scribble(lut);
    lut.rmComponents = mask;
}

inline void expect_tables(const SQmLut& lut, const std::vector<Table>& expected) {
    ASSERT_NE(lut.pLuts, nullptr);
    ASSERT_EQ(lut.ucComponents, expected.size());
    for (uint32_t c = 0; c < expected.size(); ++c) {
        const Table found = table_in(lut, c);
        ASSERT_EQ(found.size(), expected[c].size());
        for (uint32_t i = 0; i < found.size(); ++i)
            ASSERT_EQ(found[i], expected[c][i]) << "component " << c << ", entry " << i;
    }
}
inline void add_to(Digest& digest, const std::vector<Table>& tables) {
    for (const Table& table : tables)
        for (const Row3& row : table)
            for (const uint32_t cell : row) digest.add(cell);
}

inline std::vector<uint32_t> random_colors(uint32_t count, Random& random) {
    std::vector<uint32_t> colors;
    for (uint32_t c = 0; c < count; ++c)
        colors.push_back(random(0, 3) == 0 ? random.one_of({0u, 0xFFFFFFu, 0xFFu, 0xFF0000u})
                                           : random.any());
    return colors;
}

/// A mask without bits, with all, or any.
inline CQmRangeMask random_mask(Random& random) {
    CQmRangeMask mask;
    if (random(0, 2) == 0) return mask;
    if (random(0, 1)) return all_of(192);
    mask.SetSize(random(1, 10));
    for (uint32_t i = 0; i < mask.GetSize(); ++i) mask.Set(i, random(0, 1));
    return mask;
}

}  // namespace qmpic::test
