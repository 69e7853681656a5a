#include "stretch/filter.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "core/shapes.h"
#include "qmpic/status.h"
#include "stretch/filter_axes.h"
#include "stretch/filter_kernels.h"
#include "stretch/filter_ways.h"
#include "stretch/strip.h"

namespace qmpic {

using Mode = CQmPicMemAPI_Base::EQmPicStretchMode;

double band_height(const StretchWindow& window, Mode mode) {
    const double scale = scale_of(window.source_height, window.virtual_height);
    const double top = std::floor(window.top * scale), margin = filter_support(mode, scale);
    const double rows = std::min(std::ceil(window.height * scale), window.source_height - top);
    return rows + std::min(top, margin) + std::min(window.source_height - top - rows, margin);
}

namespace {

/// What there is of a source, in columns and rows of it.
struct Known {
    SampleRange columns, rows;
    const void* background = nullptr;  ///< null: nothing is missing
};

SampleRange known_range(uint32_t first, uint32_t count, uint32_t size) {
    return {first, std::min<int64_t>(int64_t{first} + count, size)};
}

/// The first pass, and the second, of whole numbers. Source and destination cannot be one.
template <class T>
struct PicturePass {
    Dst dst;
    Src src;  ///< the first pixel that is known
    Known known;
    Lines lines;
    const PairRuns* columns;
    RowRange needed;  ///< rows of the source that have weights
    RowRange seen;    ///< samples of a line that show something known
    const WindowTable* table;
    FilterWindows* windows;  ///< null: filter_lines
    FilterColumns<T>* finish_row;

    BandRows rows(uint64_t y) const {
        const PairRuns::Run run = (*columns)[y];
        return {run.first, run.count};
    }
    void finish(uint64_t y, const uint32_t* const* pairs) const {
        const PairRuns::Run run = (*columns)[y];
        finish_row(dst.row<T>(y), pairs, run.weights, run.count, lines.samples());
    }

    /// A row without weight, above or below all that are needed, is not read: its partner is.
    void make(uint32_t* pair, uint64_t q) const {
        const uint64_t even = std::max(2 * q, needed.first),
                       odd = std::min(2 * q + 1, needed.last - 1);
        const Sample<T>*const a = line(even), *const b = line(odd);
        if (a != nullptr || b != nullptr) filter(pair, a ? a : b, b ? b : a);
        if (known.background == nullptr) return;
        if (a == nullptr) show_background(pair, 0, lines.samples(), 0x0000FFFF);
        if (b == nullptr) show_background(pair, 0, lines.samples(), 0xFFFF0000);
        show_background(pair, 0, seen.first, 0xFFFFFFFF);
        show_background(pair, seen.last, lines.samples(), 0xFFFFFFFF);
    }

  private:
    /// Null where nothing is known.
    const Sample<T>* line(uint64_t y) const {
        if (!known.rows.contains(static_cast<int64_t>(y)) || seen.first == seen.last)
            return nullptr;
        return src.row<T>(y - static_cast<uint64_t>(known.rows.first));
    }
    void filter(uint32_t* pair, const Sample<T>* a, const Sample<T>* b) const {
        if (windows != nullptr)
            windows(pair, a, b, 2 * uint64_t{src.stride}, *table);
        else
            filter_lines(pair, a, b, lines);
    }
    void show_background(uint32_t* pair, uint64_t first, uint64_t last, uint32_t rows) const {
        const auto* const pixel = static_cast<const Sample<T>*>(known.background);
        for (uint64_t i = first; i < last; ++i) {
            const uint32_t value = pixel[i % lines.components] ^ kBandBias<T>;
            pair[i] = (pair[i] & ~rows) | (value * 0x10001 & rows);
        }
    }
};

/// Samples of a line from the first to behind the last pixel that has weights.
RowRange seen_samples(const Lines& lines) {
    uint64_t first = 0, last = lines.runs->size();
    while (first < last && (*lines.runs)[first].count == 0) ++first;
    while (first < last && (*lines.runs)[last - 1].count == 0) --last;
    return {first * lines.components, last * lines.components};
}

RowRange needed_rows(const Runs& rows) {
    const Runs::Run ends[] = {rows[0], rows[rows.size() - 1]};
    return {
        std::min(ends[0].first, ends[1].first),
        std::max(uint64_t{ends[0].first} + ends[0].count, uint64_t{ends[1].first} + ends[1].count)};
}

template <class T>
int filter_picture(Dst dst, Src src, uint32_t components, const StretchWindow& window,
                   const Known& known, Mode mode) {
    FilterAxis along = horizontal_axis(window);
    along.known = known.columns;
    const Contributions columns(along, mode, kPictureWeights),
        rows(vertical_axis(window), mode, kPictureWeights);
    if (!columns || !rows) return QM_NO_MEMORY;
    const Runs column_runs(columns, known.columns.first), row_runs(rows, 0);
    if (!column_runs || !row_runs) return QM_NO_MEMORY;
    const PairRuns pairs(row_runs);
    if (!pairs) return QM_NO_MEMORY;

    const Lines lines{&column_runs, components};
    const uint64_t known_width =
        static_cast<uint64_t>(std::max<int64_t>(known.columns.end - known.columns.first, 0));
    std::optional<WindowTable> table;
    FilterWindows* const windows =
        choose_windows<T>(lines, known_width * components * sizeof(T), table);
    if (table && table->state() == WindowTable::kNoMemory) return QM_NO_MEMORY;
    const uint64_t used = table ? table->samples_written() : lines.samples();
    const uint64_t words =
        (std::max(used, lines.samples()) + kBandBlock - 1) / kBandBlock * kBandBlock;
    const Strips<uint32_t> strips(window.height, words, 1, pairs.longest());
    if (!strips) return QM_NO_MEMORY;
    strips.clear_behind(lines.samples());

    const PicturePass<T> pass{dst,
                              src,
                              known,
                              lines,
                              &pairs,
                              needed_rows(row_runs),
                              seen_samples(lines),
                              table ? &*table : nullptr,
                              windows,
                              columns_filter<T>()};
    in_team(kTeam, [&](Member member) {
        strips.walk(member.index, member.share(window.height), window.flip_y, pass);
    });
    return QM_OK;
}

int filter_known(Dst dst, Src src, uint32_t components, uint32_t bits, const StretchWindow& window,
                 const Known& known, Mode mode) {
    if (window.width == 0 || window.height == 0 || components == 0) return QM_OK;
    if (band_height(window, mode) <= 0) return bits == 8 ? QM_REJECTED : QM_NO_MEMORY;
    return bits == 8 ? filter_picture<uint8_t>(dst, src, components, window, known, mode)
                     : filter_picture<uint16_t>(dst, src, components, window, known, mode);
}

}  // namespace

int stretch_filtered(Dst dst, Src src, uint32_t components, uint32_t bits,
                     const StretchWindow& window, Mode mode) {
    return filter_known(dst, src, components, bits, window,
                        {{0, window.source_width}, {0, window.source_height}}, mode);
}

int stretch_filtered(Dst dst, Src src, uint32_t components, uint32_t bits,
                     const StretchWindow& window, const KnownPart& known, Mode mode) {
    return filter_known(
        dst, src, components, bits, window,
        {known_range(known.left, known.width, window.source_width),
         known_range(known.top, known.height, window.source_height), known.background},
        mode);
}

}  // namespace qmpic
