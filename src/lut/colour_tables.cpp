#include <algorithm>
#include <cstdint>
#include <memory>

#include "core/arithmetic.h"
#include "lut/cells.h"
#include "lut/colour_rows.h"
#include "qmpic/status.h"

// Tables of colours, and tables of tables.

namespace {

using namespace qmpic;

uint32_t top_of(const SQmLut& lut) { return static_cast<uint32_t>(entries_of(lut) - 1); }

bool is_one_colour_table(const SQmLut& lut) {
    return lut.pLuts != nullptr && lut.ucComponents == 1 && lut.ucDstComponents == kColourCells;
}

/// Colour ramps up to the last row. Above 16 source bits products wrap.
template <class Cell>
void fill_ramp(const SQmLut& lut, uint64_t component, const Colour& colour) {
    auto* const rows = table_of<Cell>(lut, component);
    const uint64_t count = entries_of(lut);
    if (lut.ucSrcBpc <= 16)
        fill_colour_rows(rows, count, colour, RowNumber{}, top_of(lut));
    else
        fill_colour_rows(rows, count, colour, RowNumber{}, top_of(lut), WrappedProduct<uint32_t>{});
}

// ----- Marks of the top value and of 0 -----------------------------------------------------------

struct Marks {
    bool has_over, has_under;
    Colour over, under;
};

/// What is marked is so by any of a row's values, over before under.
template <class Values>
void mark_rows(uint8_t* rows, uint64_t count, const Marks& marks, const Values& values,
               uint32_t top) {
    if (!marks.has_over && !marks.has_under) return;
    const auto any_is = [&](uint64_t row, uint32_t value) {
        const auto v = static_cast<int32_t>(value);
        return values(row, 0) == v || values(row, 1) == v || values(row, 2) == v;
    };
    const auto write = [&](uint64_t row, const Colour& colour) {
        for (uint64_t c = 0; c < kColourCells; ++c)
            rows[kColourCells * row + c] = static_cast<uint8_t>(colour[c]);
    };
    for (uint64_t row = 0; row < count; ++row)
        if (marks.has_over && any_is(row, top))
            write(row, marks.over);
        else if (marks.has_under && any_is(row, 0))
            write(row, marks.under);
}

/// Values of a table times a colour, by the top value.
template <class Values>
void fill_and_mark(const SQmLut& lut, uint64_t component, const Colour& colour, const Marks& marks,
                   const Values& values) {
    auto* const rows = table_of<uint8_t>(lut, component);
    fill_colour_rows(rows, entries_of(lut), colour, values, top_of(lut));
    mark_rows(rows, entries_of(lut), marks, values, top_of(lut));
}

// ----- Several components ------------------------------------------------------------------------

/// Bytes as they stand for cells of a byte, whatever its depth, and scaled to the depth for words.
std::unique_ptr<Colour[]> split_colours(const SQmLut& lut, const uint32_t* colors) {
    auto split = std::make_unique<Colour[]>(lut.ucComponents);
    for (uint32_t k = 0; k < lut.ucComponents; ++k) {
        split[k] = colour_of(colors[k]);
        if (lut.ucDstBpc > 8)
            for (uint32_t& cell : split[k]) cell = cell * max_value(lut.ucDstBpc) / 255;
    }
    return split;
}

bool fits_colours(const SQmLut& lut, const uint32_t* colors, uint32_t count) {
    return lut.pLuts != nullptr && colors != nullptr && count == lut.ucComponents &&
           lut.ucDstComponents == kColourCells;
}

/// Has `src` mapped the samples of a set that has so many components, one cell for each?
bool maps_samples(const SQmLut& src, const SQmLut& lut) {
    return src.pLuts != nullptr && src.ucComponents == 1 && src.ucSrcBpc == lut.ucSrcBpc &&
           src.ucSrcBpc != 0 && cell_bytes(src) == (lut.ucSrcBpc + 7u) / 8;
}

// ----- Composition -------------------------------------------------------------------------------

/// Rows of `outer`, cell by cell: cell c of row i is that of row `index(i, c)`.
template <class Cell, class Index>
void compose(Cell* to, const Cell* outer, uint64_t rows, uint64_t cells, const Index& index) {
    for (uint64_t i = 0; i < rows; ++i)
        for (uint64_t c = 0; c < cells; ++c)
            to[cells * i + c] = outer[cells * std::min<uint64_t>(index(i, c), rows - 1) + c];
}

template <class Value, class Cell>
void compose_tables(const SQmLut& lut, const SQmLut& outer, const SQmLut& inner) {
    const uint64_t rows = entries_of(lut), cells = lut.ucDstComponents;
    const uint64_t inner_cells = inner.ucDstComponents;
    for (uint64_t k = 0; k < lut.ucComponents; ++k) {
        auto* const to = table_of<Cell>(lut, k);
        const auto* const from = table_of<Cell>(outer, k);
        if (inner_cells == 1) {
            const auto* const values = table_of<Value>(inner, 0);
            compose(to, from, rows, cells, [=](uint64_t i, uint64_t) { return values[i]; });
        } else if (inner.ucComponents == outer.ucComponents) {
            const auto* const values = table_of<Value>(inner, k);
            compose(to, from, rows, cells,
                    [=](uint64_t i, uint64_t c) { return values[inner_cells * i + c]; });
        } else {
            const auto* const values = table_of<Value>(inner, 0) + k;
            compose(to, from, rows, cells,
                    [=](uint64_t i, uint64_t) { return values[inner_cells * i]; });
        }
    }
}

bool can_compose(const SQmLut& lut, const SQmLut& outer, const SQmLut& inner) {
    return lut.pLuts != nullptr && outer.pLuts != nullptr && inner.pLuts != nullptr &&
           lut.ucComponents == outer.ucComponents && lut.ucDstComponents == outer.ucDstComponents &&
           outer.ucDstComponents != 0 && lut.ucSrcBpc == outer.ucSrcBpc &&
           lut.ucDstBpc == outer.ucDstBpc && inner.ucDstBpc == outer.ucSrcBpc &&
           inner.ucSrcBpc == outer.ucSrcBpc && inner.ucSrcBpc != 0;
}

/// One cell for all, a cell for each cell of each component, or a cell for each component.
bool has_cells_for(const SQmLut& inner, const SQmLut& outer) {
    if (inner.ucDstComponents == 1) return inner.ucComponents == 1;
    if (inner.ucComponents == outer.ucComponents)
        return inner.ucDstComponents >= outer.ucDstComponents;
    return inner.ucComponents == 1 && inner.ucDstComponents == outer.ucComponents;
}

}  // namespace

int SQmLut::CreateColorTable(SQmLut& lut, unsigned int color) {
    if (!is_one_colour_table(lut) || lut.ucDstBpc > 8) return QM_REJECTED;
    if (lut.ucDstBpc == 0) return QM_OK;  // cells without bytes
    const Colour colour = colour_of(color);
    fill_ramp<uint8_t>(lut, 0, {colour[2], colour[1], colour[0]});
    return QM_OK;
}

int SQmLut::CreateColorTableEx(SQmLut& lut, unsigned int color, SQmLut* src, bool bOver,
                               unsigned int overColor, bool bUnder, unsigned int underColor) {
    if (src == nullptr) return CreateColorTable(lut, color);
    if (!is_one_colour_table(lut) || lut.ucDstBpc != 8 || lut.ucSrcBpc > 16) return QM_REJECTED;
    if (!maps_samples(*src, lut)) return QM_REJECTED;
    if (src->ucDstComponents != 1 && src->ucDstComponents != kColourCells) return QM_REJECTED;
    const Marks marks{bOver, bUnder, colour_of(overColor), colour_of(underColor)};
    with_cells(lut.ucSrcBpc, [&](auto value) {
        const auto* const values = table_of<decltype(value)>(*src, 0);
        if (src->ucDstComponents == 1)
            fill_and_mark(lut, 0, colour_of(color), marks, OneEach{values});
        else
            fill_and_mark(lut, 0, colour_of(color), marks, ThreeEach{values});
    });
    return QM_OK;
}

int SQmLut::CreateMultiColorTable(SQmLut& lut, unsigned int* colors, unsigned char count) {
    if (!fits_colours(lut, colors, count) || lut.ucDstBpc > 16) return QM_REJECTED;
    const auto split = split_colours(lut, colors);
    if (lut.ucDstBpc == 0) return QM_OK;  // cells without bytes
    with_cells(lut.ucDstBpc, [&](auto cell) {
        for (uint32_t k = 0; k < count; ++k) fill_ramp<decltype(cell)>(lut, k, split[k]);
    });
    return QM_OK;
}

int SQmLut::CreateMultiColorTableEx(SQmLut& lut, unsigned int* colors, unsigned char count,
                                    SQmLut* src, bool bOver, unsigned int overColor, bool bUnder,
                                    unsigned int underColor) {
    if (!fits_colours(lut, colors, count)) return QM_REJECTED;
    if (src == nullptr) return CreateMultiColorTable(lut, colors, count);
    if (!maps_samples(*src, lut) || src->ucDstBpc != lut.ucSrcBpc ||
        src->ucDstComponents != lut.ucComponents || lut.ucDstBpc > 16)
        return QM_REJECTED;
    if (lut.ucSrcBpc > 16) return QM_OK;
    const auto split = split_colours(lut, colors);
    if (lut.ucDstBpc == 0) return QM_OK;  // cells without bytes
    const Marks marks{bOver, bUnder, colour_of(overColor), colour_of(underColor)};
    with_cells(lut.ucSrcBpc, [&](auto value) {
        using Value = decltype(value);
        for (uint32_t k = 0; k < count; ++k) {
            const OneOfMany<Value> values{table_of<Value>(*src, 0) + k, count};
            if (lut.ucDstBpc <= 8)
                fill_and_mark(lut, k, split[k], marks, values);
            else
                fill_colour_rows(table_of<uint16_t>(lut, k), entries_of(lut), split[k], values,
                                 max_value(lut.ucDstBpc), WrappedProduct<int32_t>{});
        }
    });
    return QM_OK;
}

int SQmLut::CreateComposedTable(SQmLut& lut, SQmLut& outer, SQmLut& inner) {
    if (!can_compose(lut, outer, inner)) return QM_REJECTED;
    lut.rmComponents = outer.rmComponents;
    SetOverExpColorArr(lut, outer.pOverExpColor, outer.ucDstBpc);
    SetUnderExpColorArr(lut, outer.pUnderExpColor, outer.ucDstBpc);
    if (!has_cells_for(inner, outer)) return QM_REJECTED;
    if (lut.ucDstBpc > 16) return QM_NO_KERNEL;
    if (lut.ucSrcBpc > 16 || lut.ucDstBpc == 0) return QM_OK;
    with_cells(lut.ucSrcBpc, [&](auto value) {
        with_cells(lut.ucDstBpc, [&](auto cell) {
            compose_tables<decltype(value), decltype(cell)>(lut, outer, inner);
        });
    });
    return QM_OK;
}
