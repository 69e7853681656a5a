#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "core/arithmetic.h"
#include "lut/cells.h"
#include "lut/colour_table.h"
#include "lut/flat_values.h"
#include "qmpic/status.h"
#include "qmpic/system/Alloc.h"

// Tables that run values through 256 predefined colours.

namespace {

using namespace qmpic;

constexpr uint32_t kColours = 256;

using Triple = std::array<uint8_t, kColourCells>;

/// The cells of each of the 256 colours: blue, green, red.
class Palette {
  public:
    explicit Palette(const ColourTable& table) {
        for (uint32_t p = 0; p < kColours; ++p)
            cells_[p] = {table.component(p, 2), table.component(p, 1), table.component(p, 0)};
    }
    const Triple& operator[](uint32_t position) const {
        return cells_[std::min(position, kColours - 1)];
    }

  private:
    std::array<Triple, kColours> cells_;
};

bool takes_colours(const SQmLut& lut) {
    return lut.pLuts != nullptr && lut.ucComponents != 0 && lut.ucDstComponents == kColourCells &&
           lut.ucDstBpc == 8 && lut.ucSrcBpc <= 16;
}

uint32_t count_of(const SQmLut& lut) { return static_cast<uint32_t>(entries_of(lut)); }

/// Each row of a component's table gets `colour(i)`.
template <class ColourOf>
void fill_rows(const SQmLut& lut, uint64_t component, const ColourOf& colour) {
    auto* const cells = table_of<uint8_t>(lut, component);
    const uint32_t count = count_of(lut);
    for (uint32_t i = 0; i < count; ++i) {
        const Triple row = colour(i);
        std::memcpy(cells + kColourCells * i, row.data(), kColourCells);
    }
}

/// The colours that stand for the values of another set.
void fill_looked_up(const SQmLut& lut, uint64_t component, const FlatValues& values,
                    const ColourTable& table) {
    fill_rows(lut, component,
              [&, palette = Palette(table), count = count_of(lut)](uint32_t i) -> Triple {
                  return palette[colour_position(values[i], count)];
              });
}

// ----- Tables without a set ----------------------------------------------------------------------

double fraction(double value) { return value > 0 ? std::min(value, 1.0) : 0.0; }

/// To the nearest whole number up to `top`, halves up; below 0 and no number is 0.
uint32_t round_clamp(double value, uint32_t top) {
    const uint32_t whole = trunc_clamp(value, top);
    return whole < top && value - whole >= 0.5 ? whole + 1 : whole;
}

/// Two intervals of fractions: of values, and of positions among the colours.
struct Intervals {
    double src_lo, src_hi, dst_lo, dst_hi;
};

template <class Cell>
void fill_gradient(Cell* cells, uint32_t count, const unsigned char* colors, const Intervals& at) {
    for (uint32_t i = 0; i < count; ++i) {
        const double t = static_cast<double>(i) / count;
        Cell* const row = cells + kColourCells * i;
        if (colors == nullptr || at.src_lo >= at.src_hi || t < at.src_lo || t > at.src_hi) {
            std::fill_n(row, kColourCells, static_cast<Cell>(i));
            continue;
        }
        const double position =
            (t - at.src_lo) / (at.src_hi - at.src_lo) * (at.dst_hi - at.dst_lo) + at.dst_lo;
        const unsigned char* const entry =
            colors + kColourCells * round_clamp(position * 256.0, kColours - 1);
        for (uint32_t c = 0; c < kColourCells; ++c)
            row[c] = static_cast<Cell>(entry[kColourCells - 1 - c] * count >> 8);
    }
}

}  // namespace

int SQmLut::CreateRainbowLUTTable(SQmLut& lut, SQmLut& src, int lutIndex, double lo, double hi) {
    if (!takes_colours(lut) || lut.ucComponents != 1) return QM_OK;
    const FlatValues values(src, lut.ucSrcBpc, count_of(lut));
    if (values) fill_looked_up(lut, 0, values, ColourTable(lutIndex, lo, hi));
    return QM_OK;
}

int SQmLut::CreateRainbowLUTTable2(SQmLut& lut, SQmLut& src, int lutIndex, unsigned int srcLo,
                                   unsigned int srcHi, unsigned int dstLo, unsigned int dstHi) {
    if (!takes_colours(lut) || lut.ucComponents != 1) return QM_OK;
    const uint32_t count = count_of(lut);
    const FlatValues values(src, lut.ucSrcBpc, count);
    if (!values) return QM_OK;
    const Palette palette(ColourTable(lutIndex, 0.0, 0.0));
    const auto span = static_cast<int32_t>(dstHi - dstLo);
    fill_rows(lut, 0, [&](uint32_t i) -> Triple {
        if (i < srcLo || i > srcHi) {
            const auto grey = static_cast<uint8_t>(i * kColours / count);
            return {grey, grey, grey};
        }
        const double place = span * static_cast<double>(values[i]) / count + dstLo + 0.5;
        return palette[colour_position(trunc_clamp(place, UINT32_MAX), count)];
    });
    return QM_OK;
}

int SQmLut::CreateRainbowLUTTableSpect_1Channel(SQmLut& lut, unsigned int comp, SQmLut& src,
                                                int lutIndex) {
    if (!takes_colours(lut) || comp >= lut.ucComponents) return QM_OK;
    const FlatValues values(src, lut.ucSrcBpc, count_of(lut));
    const unsigned char* const colors = GetPredefLut(lutIndex, true)->getLuts(0.0, 0.0);
    if (values && colors != nullptr) fill_looked_up(lut, comp, values, ColourTable(colors));
    return QM_OK;
}

int SQmLut::CreateRainbowLUTTableSpect_SameChannels(SQmLut& lut, SQmLut& src, int lutIndex) {
    if (!takes_colours(lut)) return QM_OK;
    const FlatValues values(src, lut.ucSrcBpc, count_of(lut));
    const unsigned char* const colors = GetPredefLut(lutIndex, true)->pColors;
    if (!values || colors == nullptr) return QM_OK;
    fill_looked_up(lut, 0, values, ColourTable(colors));
    const std::byte* const first = table_of(lut, 0);
    for (uint32_t k = 1; k < lut.ucComponents; ++k)
        if (std::byte* const table = table_of(lut, k); table != first)  // it may be shared
            std::memcpy(table, first, table_bytes(lut));
    return QM_OK;
}

int SQmLut::CreateGradientTableC1ToC3(void*& table, unsigned int bpc, int lutIndex, double srcLo,
                                      double srcHi, double dstLo, double dstHi) {
    if (bpc < 8 || bpc > 16 || lutIndex < 0) return QM_BAD_BUFFER;
    const uint32_t count = 1u << bpc;
    const size_t cell = bpc > 8 ? 2 : 1;
    table = CQmAlloc::Alloc(0, kColourCells * cell * count, 16);
    if (table == nullptr) return QM_NO_MEMORY;
    const Intervals at{fraction(srcLo), fraction(srcHi), fraction(dstLo), fraction(dstHi)};
    const unsigned char* const colors = GetPredefLut(lutIndex, true)->pColors;
    with_cells(bpc, [&](auto zero) {
        fill_gradient(static_cast<decltype(zero)*>(table), count, colors, at);
    });
    return QM_OK;
}

void SQmLut::FreeGradientTable(void*& table) {
    CQmAlloc::Free(table);
    table = nullptr;
}
