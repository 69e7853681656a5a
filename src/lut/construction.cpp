#include "lut/construction.h"

#include <array>
#include <cstddef>
#include <cstring>

#include "core/arithmetic.h"
#include "lut/cells.h"
#include "lut/colour_rows.h"
#include "lut/colour_table.h"
#include "qmpic/status.h"

namespace qmpic {
namespace {

constexpr uint32_t kColours = 256;  // of a predefined table
constexpr uint32_t kSome = 2048;    // values that are converted at a time, 4 KiB of the stack

bool is_shared(const SQmLut& lut) {
    return lut.ucComponents > 1 && table_of(lut, 0) == table_of(lut, 1);
}

template <class Cell>
using Palette = std::array<std::array<Cell, kColourCells>, kColours>;

Palette<uint8_t> palette_of(const Component& c, const SQmLut&, uint8_t) {
    const ColourTable table =
        c.colours == Component::kStored ? ColourTable(c.stored) : ColourTable(c.table, c.lo, c.hi);
    Palette<uint8_t> rows;
    for (uint32_t p = 0; p < kColours; ++p)
        for (uint32_t cell = 0; cell < kColourCells; ++cell) {
            const int32_t byte = table.component(p, 2 - cell);
            rows[p][cell] =
                static_cast<uint8_t>(c.weight < 1.0 ? trunc_i32(byte * c.weight) : byte);
        }
    return rows;
}
Palette<uint16_t> palette_of(const Component& c, const SQmLut& lut, uint16_t) {
    const ColourTable table(c.table, c.lo, c.hi);
    Palette<uint16_t> rows;
    for (uint32_t p = 0; p < kColours; ++p) {
        const uint64_t word = table.wide_word(p, 1u << lut.ucDstBpc);
        for (uint32_t cell = 0; cell < kColourCells; ++cell)
            rows[p][cell] = static_cast<uint16_t>(word >> 16 * cell);
    }
    return rows;
}

/// The values of a curve are made where cells will be: at the end of a table that they are for.
/// There they are ahead of the cells that they become, entry by entry, since a row of cells is
/// wider than a value.
class Values {
  public:
    Values(const SQmLut& lut, uint64_t component, const Curve& c)
        : bits_(lut.ucSrcBpc), entries_(static_cast<uint32_t>(entries_of(lut))) {
        const uint64_t bytes = uint64_t{entries_} * (bits_ <= 8 ? 1 : 2);
        first_ = table_of(lut, component) + table_bytes(lut) - bytes;
        FlatSet flat(first_, bits_);
        if (put_curve(flat, 0, c) < 0) std::memset(first_, 0, bytes);
    }

    /// `write(row, values, count)` for all of them, some at a time. These are copies, since the
    /// place of the values may be that of the cells.
    template <class Write>
    void each(const Write& write) const {
        with_cells(bits_, [&]<class Value>(Value) {
            const auto* const all = reinterpret_cast<const Value*>(first_);
            Value values[kSome];
            for (uint32_t row = 0; row < entries_; row += kSome) {
                const uint32_t count = std::min(kSome, entries_ - row);
                std::copy_n(all + row, count, values);
                write(row, values, count);
            }
        });
    }

  private:
    struct FlatSet : SQmLut {
        FlatSet(std::byte* values, uint8_t bits) {
            pLuts = values;
            ucSrcBpc = ucDstBpc = bits;
            ucComponents = ucDstComponents = 1;
        }
        FlatSet(const FlatSet&) = delete;
        FlatSet& operator=(const FlatSet&) = delete;
        ~FlatSet() { pLuts = nullptr; }  // which is not its own
    };

    uint8_t bits_;
    uint32_t entries_;
    std::byte* first_;
};

/// Colours that grow with the value.
template <class Cell>
void write_toward(Cell* rows, uint32_t color, const SQmLut& lut, const Values& from) {
    Colour colour = colour_of(color);
    for (uint32_t& cell : colour) cell <<= lut.ucDstBpc - 8;
    from.each([&](uint32_t row, const auto* values, uint32_t count) {
        fill_colour_rows(rows + kColourCells * row, count, colour, OneEach{values},
                         max_value(lut.ucSrcBpc));
    });
}

template <class Cell>
void write_looked_up(Cell* rows, const Component& c, const SQmLut& lut, const Values& from) {
    const Palette<Cell> palette = palette_of(c, lut, Cell{});
    from.each([&](uint32_t row, const auto* values, uint32_t count) {
        for (uint32_t i = 0; i < count; ++i) {
            const auto& cells = palette[colour_position(values[i], 1u << lut.ucSrcBpc)];
            std::copy(cells.begin(), cells.end(), rows + kColourCells * (row + i));
        }
    });
}

void write_table(const SQmLut& lut, uint64_t component, const Component& c, const Values& from) {
    with_cells(lut.ucDstBpc, [&]<class Cell>(Cell) {
        auto* const rows = table_of<Cell>(lut, component);
        if (c.colours == Component::kTowardColor)
            write_toward(rows, c.color, lut, from);
        else
            write_looked_up(rows, c, lut, from);
    });
}

}  // namespace

int prepare(SQmLut& lut, uint32_t bpc, uint32_t components, uint32_t dst_bpc, bool shared) {
    // A set without tables may hold records of another number of components.
    if (lut.ucComponents != components) SQmLut::FreeParametric(lut);
    const auto check = shared ? &SQmLut::check_luts_spectral_ex : &SQmLut::check_luts;
    const int code =
        check(lut, static_cast<unsigned char>(bpc), static_cast<unsigned char>(components),
              static_cast<unsigned char>(dst_bpc), kColourCells);
    return code == QM_OK && lut.pLuts == nullptr ? QM_NO_MEMORY : code;
}

int put_curve(SQmLut& lut, uint8_t cell, const Curve& c) {
    return SQmLut::CreateGammaTable(lut, cell, c.src_lo, c.dst_lo, c.src_hi, c.dst_hi, c.gamma);
}

void fill(SQmLut& lut, std::span<const Component> components) {
    if (lut.ucSrcBpc == 0) return clear(lut);  // there is no value but 0
    // Each component would overwrite the others.
    if (is_shared(lut)) components = components.last(1);
    bool done[kMostComponents] = {};
    for (size_t first = 0; first < components.size(); ++first) {
        if (done[first]) continue;
        const Curve& curve = components[first].curve;
        // The last one's table holds the values until it is its own turn.
        size_t last = first;
        for (size_t c = first + 1; c < components.size(); ++c)
            if (!done[c] && components[c].curve == curve) done[last = c] = true;
        const Values values(lut, last, curve);
        for (size_t c = first; c <= last; ++c)
            if (c == first || components[c].curve == curve)
                write_table(lut, c, components[c], values);
    }
}

void clear(SQmLut& lut) {
    std::memset(cells_of(lut), 0, (is_shared(lut) ? 1 : lut.ucComponents) * table_bytes(lut));
}

void complete_mask(SQmLut& lut, uint32_t components) {
    if (lut.rmComponents.GetSize() != 0) return;
    lut.rmComponents.SetSize(components);
    lut.rmComponents.SetAll(true);
}

double group_factor(const SQmLut& lut, uint32_t spectral, uint32_t first, uint32_t size,
                    uint32_t groups) {
    if (!lut.rmComponents.Get(first)) return 1.0;
    const double enabled = lut.rmComponents.GetCount(static_cast<int>(spectral));
    return enabled / (double{1} * size * groups);
}

void make_parametric(SQmLut& lut, uint32_t components) {
    if (lut.pParams != nullptr) return;
    if (lut.pLuts != nullptr && lut.ucComponents != components) SQmLut::Free(lut);
    lut.ucComponents = static_cast<unsigned char>(components);
    SQmLut::ReinitParametric(lut);
}

void write_state(SQmLut& lut, const SpectralState& state, double gamma, uint32_t components) {
    for (uint32_t c = 0; c < components; ++c) {
        SQmLut::SQmParam& of = lut.pParams[c];
        of.dOffset = -state.offset[c];
        of.dGain = state.gain[c];
        of.dGamma = gamma;
        of.uiColor = state.color[c];
    }
}

}  // namespace qmpic
