#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/arithmetic.h"
#include "lut/colour_table.h"
#include "lut/flat_values.h"
#include "qmpic/Lut.h"
#include "qmpic/LutParam.h"
#include "qmpic/PredefLuts.h"
#include "qmpic/status.h"

// Tables of sets that are filled from predefined, extended and custom colour tables.

namespace qmpic {

ColourTable::ColourTable(int index, double lo, double hi)
    : ColourTable(index == kCustomTable ? custom_colours.data()
                                        : SQmLut::GetPredefLut(index, true)->getLuts(lo, hi)) {}

namespace {

constexpr std::uint32_t kColours = 256;
constexpr std::uint32_t kLastColour = kColours - 1;

std::uint32_t entries_of(const SQmLut& lut) { return 1u << lut.ucSrcBpc; }

/// Row `value` of a set of colour shape.
void* row_of(const SQmLut& lut, std::uint32_t value) {
    return static_cast<Sample<void*>*>(lut.pLuts)[value];
}

// ----- Sets of 8 bits ----------------------------------------------------------------------------

/// Has it rows of three bytes?
bool takes_colours(const SQmLut& lut) {
    return lut.ucDstComponents == 3 && lut.ucDstBpc == 8 && lut.ucComponents <= 1 &&
           lut.ucSrcBpc <= 16 && lut.pLuts != nullptr;
}

/// Each row gets the colour at its position.
template <class Position>
int fill_rows(SQmLut& lut, const unsigned char* colors, Position position) {
    if (colors == nullptr) return QM_BAD_BUFFER;
    const ColourTable table(colors);
    for (std::uint32_t i = 0; i < entries_of(lut); ++i)
        write_cells<std::uint8_t>(row_of(lut, i), table.word(position(i)));
    return QM_OK;
}

/// The same with few positions computed, where they come from powers. `bounds` part the entries
/// into stretches in which positions only rise or only fall: two entries of one colour have no
/// other colour between them.
template <class Position>
class Stretches {
  public:
    Stretches(SQmLut& lut, const unsigned char* colors, Position position)
        : lut_(lut), table_(colors), position_(position) {}

    template <std::size_t count>
    void fill(std::array<std::uint32_t, count> bounds) const {
        std::ranges::sort(bounds);
        std::uint32_t first = 0;
        for (const std::uint32_t bound : bounds) {
            const std::uint32_t end = std::min(bound, entries_of(lut_));
            if (first < end) fill(first, position_(first), end - 1, position_(end - 1));
            first = end;
        }
    }

  private:
    void fill(std::uint32_t first, std::uint32_t at_first, std::uint32_t last,
              std::uint32_t at_last) const {
        if (at_first == at_last) {
            const std::uint32_t word = table_.word(at_first);
            for (std::uint32_t i = first; i <= last; ++i)
                write_cells<std::uint8_t>(row_of(lut_, i), word);
            return;
        }
        const std::uint32_t middle = first + (last - first) / 2;
        fill(first, at_first, middle, position_(middle));
        fill(middle + 1, position_(middle + 1), last, at_last);
    }

    SQmLut& lut_;
    ColourTable table_;
    Position position_;
};

/// Do powers of neighbouring entries differ by far more than they are rounded? `origin` is where
/// their base is 0.
bool powers_are_in_order(double exponent, double origin) {
    return std::fabs(exponent) > 1e-4 && std::fabs(origin) < 1e6;
}

template <std::size_t count, class Position>
int fill_stretches(SQmLut& lut, const unsigned char* colors, bool in_order,
                   const std::array<std::uint32_t, count>& bounds, Position position) {
    if (!in_order) return fill_rows(lut, colors, position);
    if (colors == nullptr) return QM_BAD_BUFFER;
    Stretches(lut, colors, position).fill(bounds);
    return QM_OK;
}

int fill_evenly(SQmLut& lut, const unsigned char* colors) {
    const std::uint32_t entries = entries_of(lut);
    return fill_rows(lut, colors, [=](std::uint32_t i) { return i * kColours / entries; });
}

/// The levels of the first component, as the tables for them are filled.
struct Levels {
    double global_low, global_high;  ///< of the whole picture
    double low, high, gamma;         ///< of the component
    explicit Levels(const SQmLutParam& param)
        : global_low(param.GetMinSrcDbl()),
          global_high(param.GetMaxSrcDbl()),
          low(param.GetMinSrcDbl(0)),
          high(param.GetMaxSrcDbl(0)),
          gamma(param.GetGammaSrc(0)) {}
    double in_global_range(double level) const {
        return level * (global_high - global_low) + global_low;
    }
};

int fill_between_levels(SQmLut& lut, SQmLut::SQmPredefLut& colours, const Levels& levels) {
    const unsigned char* const colors =
        colours.getLuts(levels.in_global_range(levels.low), levels.in_global_range(levels.high));
    const double entries = entries_of(lut);
    const double start = levels.low * entries, width = (levels.high - levels.low) * entries;
    if (levels.gamma == 1.0)
        return fill_rows(lut, colors, [=](std::uint32_t i) {
            return trunc_clamp((i - start) / width * kColours, kLastColour);
        });
    const std::uint32_t count = entries_of(lut);
    const std::uint32_t first = trunc_clamp(levels.low * entries, count),
                        last = trunc_clamp(levels.high * entries, count);
    // The base of the first may be negative.
    const std::array bounds{first, first + 1, last + 1, count};
    return fill_stretches(lut, colors, powers_are_in_order(levels.gamma, start), bounds,
                          [=, gamma = levels.gamma](std::uint32_t i) {
                              if (i < first) return 0u;
                              if (i > last) return kLastColour;
                              const double base = (i - start) / width;
                              return trunc_clamp(std::pow(base, gamma) * kColours, kLastColour);
                          });
}

/// The scale grows from its centre to both sides, so the lower half has the inverse of gamma.
int fill_around_centre(SQmLut& lut, SQmLut::SQmPredefLut& colours, const Levels& levels) {
    double centre_value = 0.0;
    colours.isSymmetric(&centre_value);
    const double centre =
        (centre_value - levels.global_low) / (levels.global_high - levels.global_low);
    const double reach = (centre - levels.low + levels.high - centre) * 0.5;

    const std::uint32_t count = entries_of(lut), half = count / 2;
    const std::uint32_t longest = half != 0 ? half - 1 : 0;
    const double entries = count;
    const double low0 = std::min(centre, centre - reach), low1 = std::min(centre, centre + reach);
    const double high0 = std::max(centre, centre - reach), high1 = std::max(centre, centre + reach);
    const std::uint32_t lower_end = trunc_clamp(entries * low1, count);
    const std::uint32_t upper_first = trunc_clamp(entries * high0, count);
    const std::uint32_t upper_last = trunc_clamp(entries * high1, count);
    // Below the lower half's start the base is negative: of a whole exponent the power is not.
    const auto distance = [=](double offset, double width, double exponent) {
        return trunc_clamp(std::pow(offset / (width * entries), exponent) * entries * 0.5, longest);
    };
    const auto position = [=, gamma = levels.gamma](std::uint32_t i) {
        if (i < lower_end) return distance(i - entries * low0, low1 - low0, 1 / gamma);
        if (i > upper_last) return count - 1;
        if (i < upper_first) return 0u;
        return half + distance(static_cast<double>(i - upper_first), high1 - high0, gamma);
    };
    const std::array bounds{trunc_clamp(std::ceil(entries * low0), count), lower_end, upper_first,
                            upper_last + 1, count};
    const bool in_order = powers_are_in_order(levels.gamma, entries * low0) &&
                          powers_are_in_order(1 / levels.gamma, entries * low0);
    return fill_stretches(lut, colours.getLuts(0.0, 100.0), in_order, bounds,
                          [=](std::uint32_t i) { return position(i) * kColours / count; });
}

// ----- Sets behind a flat one --------------------------------------------------------------------

bool is_colour_set(const SQmLut& lut) {
    return lut.ucComponents == 1 && lut.ucDstComponents == 3 && lut.ucSrcBpc <= 16 &&
           lut.ucDstBpc >= 8 && lut.ucDstBpc <= 16 && lut.pLuts != nullptr;
}

/// Each row gets `colour(table, i)`, bytes or words from its low end on.
template <class Colour>
void fill_cells(SQmLut& lut, Colour colour) {
    for (std::uint32_t i = 0; i < entries_of(lut); ++i)
        if (lut.ucDstBpc == 8)
            write_cells<std::uint8_t>(row_of(lut, i), colour(i));
        else
            write_cells<std::uint16_t>(row_of(lut, i), colour(i));
}

/// The colour of a value of 0 to `range` in the cells of a set.
std::uint64_t colour_of(const SQmLut& lut, const ColourTable& table, std::uint32_t value,
                        std::uint32_t range) {
    const std::uint32_t position = colour_position(value, range);
    return lut.ucDstBpc == 8 ? table.word(position) : table.wide_word(position, 1u << lut.ucDstBpc);
}

}  // namespace

}  // namespace qmpic

using namespace qmpic;

int SQmLut::CreatePredefLut(SQmLut& lut, unsigned int index, double lo, double hi) {
    if (!takes_colours(lut)) return QM_REJECTED;
    return fill_evenly(lut, GetPredefLut(static_cast<int>(index), true)->getLuts(lo, hi));
}

int SQmLut::CreatePredefLutEx(SQmLut& lut, EQmPredefLut id, double lo, double hi,
                              double /*dReserved*/) {
    if (!takes_colours(lut)) return QM_REJECTED;
    if (vecPredefLuts == nullptr) return QM_BAD_BUFFER;
    const auto found =
        std::ranges::find_if(*vecPredefLuts, [=](const SQmPredefLut* t) { return t->uiId == id; });
    if (found == vecPredefLuts->end() || (*found)->pColors == nullptr) return QM_BAD_BUFFER;
    return fill_evenly(lut, (*found)->getLuts(lo, hi));
}

int SQmLut::CreatePredefLutFromLutParam(SQmLut& lut, SQmLutParam* param) {
    if (!takes_colours(lut)) return QM_REJECTED;
    if (param == nullptr) return QM_BAD_BUFFER;
    SQmPredefLut& colours = *GetPredefLut(static_cast<int>(param->uiGradient), true);
    const Levels levels(*param);
    return colours.isSymmetric(nullptr) ? fill_around_centre(lut, colours, levels)
                                        : fill_between_levels(lut, colours, levels);
}

int SQmLut::CreatePredefSymmetricLutFromLutParam(SQmLut& lut, SQmLutParam* param) {
    if (!takes_colours(lut)) return QM_REJECTED;
    if (param == nullptr) return QM_BAD_BUFFER;
    return fill_around_centre(lut, *GetPredefLut(static_cast<int>(param->uiGradient), true),
                              Levels(*param));
}

CQmPredefLUTs::CQmPredefLUTs() = default;
CQmPredefLUTs& CQmPredefLUTs::operator=(const CQmPredefLUTs& other) = default;
CQmPredefLUTs& CQmPredefLUTs::operator=(CQmPredefLUTs&& other) noexcept = default;

void CQmPredefLUTs::GetCustomLUTs(unsigned char* colors) {
    if (colors != nullptr) std::memmove(colors, custom_colours.data(), custom_colours.size());
}

unsigned char CQmPredefLUTs::GetLUTEntryComp(int index, unsigned int pos, unsigned int comp,
                                             double lo, double hi) {
    return ColourTable(index, lo, hi).component(pos, comp);
}

unsigned int CQmPredefLUTs::GetLUTEntry(int index, unsigned int value, unsigned int range,
                                        double lo, double hi) {
    return ColourTable(index, lo, hi).word(colour_position(value, range));
}

unsigned long long CQmPredefLUTs::GetLUTEntry(int index, unsigned int value, unsigned int range,
                                              unsigned int dstRange, double lo, double hi) {
    const ColourTable table(index, lo, hi);
    const std::uint32_t position = colour_position(value, range);
    return dstRange == kColours ? table.word(position) : table.wide_word(position, dstRange);
}

void CQmPredefLUTs::CreatePredefLUTTable(SQmLut& lut, SQmLut& src, int index, double lo,
                                         double hi) {
    if (!is_colour_set(lut)) return;
    const std::uint32_t entries = entries_of(lut);
    // Bytes take the depth of what they map from the other set, words from the entries of theirs.
    const bool bytes = lut.ucDstBpc == 8;
    const FlatValues values(src, bytes ? src.ucDstBpc : lut.ucSrcBpc, entries);
    if (!values) return;
    const std::uint32_t range = bytes ? 1u << src.ucDstBpc : entries;
    const ColourTable table(index, lo, hi);
    fill_cells(lut, [&](std::uint32_t i) { return colour_of(lut, table, values[i], range); });
}

void CQmPredefLUTs::CreatePredefLUTTable2(SQmLut& lut, SQmLut& src, int index, unsigned int srcLo,
                                          unsigned int srcHi, unsigned int dstLo,
                                          unsigned int dstHi) {
    if (!is_colour_set(lut)) return;
    const std::uint32_t entries = entries_of(lut);
    const FlatValues values(src, lut.ucSrcBpc, entries);
    if (!values) return;
    const ColourTable table(index, 0.0, 0.0);
    const auto span = static_cast<std::int32_t>(dstHi - dstLo);
    fill_cells(lut, [&](std::uint32_t i) -> std::uint64_t {
        if (i < srcLo || i > srcHi) {
            const std::uint64_t grey = (std::uint64_t{i} << lut.ucDstBpc) / entries;
            return lut.ucDstBpc == 8 ? grey * 0x010101 : grey * 0x000100010001;
        }
        const double position = span * static_cast<double>(values[i]) / entries + dstLo + 0.5;
        return colour_of(lut, table, trunc_u32(position), entries);
    });
}
