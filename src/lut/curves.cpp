#include <algorithm>
#include <cmath>
#include <cstdint>

#include "core/arithmetic.h"
#include "core/rows.h"
#include "histogram/blocks.h"
#include "lut/cells.h"
#include "qmpic/Histo.h"
#include "qmpic/status.h"

// Tables that follow a curve: logarithm, power of ten, and the counts of a histogram.

namespace {

using namespace qmpic;

/// What cells are scaled to: bytes to 8 bits whatever their depth, words to the source.
struct Scale {
    double most, decades;
    uint32_t limit;

    explicit Scale(const SQmLut& lut)
        : most(is_narrow(lut) ? 255.0 : static_cast<double>(entries_of(lut) - 1)),
          decades(std::log10(most + 1)),
          limit(is_narrow(lut) ? 255 : max_value(lut.ucDstBpc)) {}
    static bool is_narrow(const SQmLut& lut) { return lut.ucDstBpc <= 8; }

    double logarithm(double dst) const { return std::log10(dst + 1) / decades * most; }
};

struct Logarithm {
    Scale scale;
    double rise, decades;

    Logarithm(const SQmLut& lut, const Points& p)
        : scale(lut),
          rise(static_cast<double>(p.dst_hi) - p.dst_lo),
          decades(std::log10(static_cast<double>(p.src_hi) - p.src_lo + 1)) {}
    double low(double dst) const { return scale.logarithm(dst); }
    double on_ramp(double from_start) const { return std::log10(from_start + 1) * rise / decades; }
    double high(double dst) const { return scale.logarithm(dst); }
};

struct Exponential : Logarithm {
    bool is_narrow;

    Exponential(const SQmLut& lut, const Points& p)
        : Logarithm(lut, p), is_narrow(Scale::is_narrow(lut)) {}
    static double power(double exponent) { return std::pow(10.0, exponent) - 1; }

    // Words have the logarithm's lower tail.
    double low(double dst) const {
        return is_narrow ? power(dst / 255.0 * scale.decades) : scale.logarithm(dst);
    }
    // The position is divided by the rise, which is right where that is the run as well.
    double on_ramp(double from_start) const { return power(from_start / rise * decades); }
    // Added where the lower tail multiplies: with any end above 0 beyond the top.
    double high(double dst) const { return power(dst / scale.most + scale.decades); }
};

template <class Curve>
int create_curve(const SQmLut& lut, const Points& p) {
    const bool has_table =
        lut.pLuts != nullptr && lut.ucComponents == 1 && lut.ucDstComponents == 1;
    if (p.src_hi <= p.src_lo || !has_table || lut.ucDstBpc > 16) return QM_REJECTED;
    if (lut.ucDstBpc == 0) return QM_OK;  // cells without bytes
    const Curve curve(lut, p);
    with_cells(lut.ucDstBpc, [&](auto zero) {
        using Cell = decltype(zero);
        const auto limited = [&](double value) {
            return static_cast<Cell>(trunc_clamp(value, curve.scale.limit));
        };
        const auto count = static_cast<int64_t>(entries_of(lut));
        const int64_t first = std::clamp<int64_t>(p.src_lo, 0, count);
        const int64_t last = std::clamp<int64_t>(p.src_hi, 0, count);
        auto* const cells = table_of<Cell>(lut, 0);
        std::fill(cells, cells + first, limited(curve.low(p.dst_lo)));
        for (int64_t i = first; i < last; ++i)
            cells[i] = limited(curve.on_ramp(static_cast<double>(i - p.src_lo)));
        std::fill(cells + last, cells + count, limited(curve.high(p.dst_hi)));
    });
    return QM_OK;
}

// ----- Equalising --------------------------------------------------------------------------------

/// Entry i is bins * (counts below i) / (all counts). Beyond the last count entries stay, and the
/// last one is the top in any case. Sums wrap in 64 bits.
template <class Cell, class Bin>
void equalise(Cell* cells, uint64_t room, const Sample<Bin>* bins, uint64_t count) {
    const auto set = [=](uint64_t i, uint64_t value) {
        if (i < room) cells[i] = static_cast<Cell>(value);
    };
    uint64_t all = 0;
    for (uint64_t i = 0; i < count; ++i) all += bins[i];
    if (all == 0)
        for (uint64_t i = 0; i < count; ++i) set(i, 0);
    set(0, 0);
    uint64_t sum = count * bins[0], out = all == 0 ? count : 0;
    for (uint64_t i = 1; i < count && out < count;) {
        for (; i < count && sum < all; ++i) {
            set(i, out);
            sum += count * bins[i];
        }
        for (; sum >= all && out < count; ++out) sum -= all;
    }
    set(count - 1, count - 1);
}

}  // namespace

int SQmLut::CreateExpTable_1_1(SQmLut& lut, unsigned char /*comp*/, int srcLo, int dstLo, int srcHi,
                               int dstHi) {
    return create_curve<Exponential>(lut, {srcLo, dstLo, srcHi, dstHi});
}

int SQmLut::CreateLogaritmicTable_1_1(SQmLut& lut, unsigned char /*comp*/, int srcLo, int dstLo,
                                      int srcHi, int dstHi) {
    return create_curve<Logarithm>(lut, {srcLo, dstLo, srcHi, dstHi});
}

int SQmLut::CreateEqualizingTable_1_1(SQmLut& lut, unsigned char comp, SQmHisto* histo) {
    if (histo == nullptr || lut.ucSrcBpc != lut.ucDstBpc || histo->uiBits != lut.ucSrcBpc ||
        lut.ucComponents != 1 || lut.ucDstComponents == 0 || lut.ucDstBpc > 16 ||
        lut.pLuts == nullptr || histo->pData == nullptr ||
        (histo->uiBinBytes != 4 && histo->uiBinBytes != 8))
        return QM_REJECTED;
    // A row of several cells is taken for a table: it and the rows behind it are filled.
    const bool is_flat_table = lut.ucDstComponents == 1;
    if (!is_flat_table && (comp >= histo->uiComponents || histo->ppCompData == nullptr))
        return QM_REJECTED;
    if (lut.ucDstBpc == 0) return QM_OK;  // cells without bytes
    const void* const bins = is_flat_table ? histo->pData : histo->ppCompData[comp];
    const uint64_t count = entries_of(lut), all_cells = count * lut.ucDstComponents;
    const uint64_t start =
        is_flat_table ? 0 : std::min<uint64_t>(uint64_t{comp} * lut.ucDstComponents, all_cells);
    with_cells(lut.ucDstBpc, [&](auto zero) {
        auto* const cells = table_of<decltype(zero)>(lut, 0) + start;
        if (histo->uiBinBytes == 4)
            equalise(cells, all_cells - start, static_cast<const Sample<uint32_t>*>(bins), count);
        else
            equalise(cells, all_cells - start, static_cast<const Sample<uint64_t>*>(bins), count);
    });
    return QM_OK;
}
