#include <algorithm>
#include <cstring>

#include "core/prefetch.h"
#include "core/shapes.h"
#include "qmpic/status.h"
#include "stretch/filter.h"
#include "stretch/filter_axes.h"
#include "stretch/strip.h"

namespace qmpic {
namespace {

using Mode = CQmPicMemAPI_Base::EQmPicStretchMode;

constexpr float kOnePart = 0.0009765625f;  // 1 / 1024

/// Lists for floats: a sum in single precision is that of its order, so that samples which stand
/// for others beyond an edge come as often as those would, and weights of 0 are multiplied, too.
class FloatLists {
  public:
    struct List {
        int64_t first;
        uint32_t count;
        const float* weights;
    };

    explicit FloatLists(const Contributions& lists) : lists_(lists), weights_(lists.weights()) {
        if (!weights_) return;
        for (size_t k = 0; k < lists.weights(); ++k)
            weights_[k] = static_cast<float>(lists[0].weights[k]);
    }
    explicit operator bool() const { return static_cast<bool>(weights_); }

    uint32_t size() const { return lists_.size(); }
    List operator[](uint64_t i) const {
        const Contributions::List list = lists_[i];
        return {list.first, list.count, weights_.get() + (list.weights - lists_[0].weights)};
    }
    uint64_t sample(int64_t j) const { return static_cast<uint64_t>(lists_.sample(j)); }
    /// None of its samples stands for another.
    bool is_inside(const List& list) const {
        return lists_.sample(list.first) == list.first &&
               lists_.sample(list.first + list.count - 1) == list.first + list.count - 1;
    }
    /// The samples that a list reads.
    BandRows range(uint64_t i) const {
        const List list = (*this)[i];
        const uint64_t first = sample(list.first);
        return {first, sample(list.first + list.count - 1) - first + 1};
    }

  private:
    const Contributions& lists_;
    Scratch<float> weights_;
};

/// The taps of a list that lies within its line.
struct Inside {
    uint64_t first;
    uint64_t operator()(uint32_t k) const { return first + k; }
};
/// Those of one that does not.
struct Clamped {
    const FloatLists* lists;
    int64_t first;
    uint64_t origin;
    uint64_t operator()(uint32_t k) const { return lists->sample(first + k) - origin; }
};

BandRows joined(BandRows a, BandRows b) {
    const uint64_t first = std::min(a.first, b.first);
    return {first, std::max(a.first + a.count, b.first + b.count) - first};
}

// Along the rows, eight of them go together: the part of the source that some pixels need is
// turned, so that a vector holds a sample of all eight, and the results are turned back.

constexpr uint64_t kLines = 8;
using Eight = float __attribute__((vector_size(kLines * sizeof(float))));

struct LineBlock {
    const Sample<float>* from[kLines];
    float* to[kLines];
    uint64_t ahead;  ///< bytes from these lines to the next ones
};

/// rows[r][c] becomes rows[c][r].
inline void turn(Eight (&rows)[kLines]) {
    Eight pairs[kLines], fours[kLines];
    for (int i = 0; i < 8; i += 2) {
        pairs[i] = __builtin_shufflevector(rows[i], rows[i + 1], 0, 8, 2, 10, 4, 12, 6, 14);
        pairs[i + 1] = __builtin_shufflevector(rows[i], rows[i + 1], 1, 9, 3, 11, 5, 13, 7, 15);
    }
    for (int i = 0; i < 8; ++i) {
        const int first = i / 4 * 4 + i % 2;
        if (i % 4 < 2)
            fours[i] =
                __builtin_shufflevector(pairs[first], pairs[first + 2], 0, 1, 8, 9, 4, 5, 12, 13);
        else
            fours[i] =
                __builtin_shufflevector(pairs[first], pairs[first + 2], 2, 3, 10, 11, 6, 7, 14, 15);
    }
    for (int i = 0; i < 4; ++i) {
        rows[i] = __builtin_shufflevector(fours[i], fours[i + 4], 0, 1, 2, 3, 8, 9, 10, 11);
        rows[i + 4] = __builtin_shufflevector(fours[i], fours[i + 4], 4, 5, 6, 7, 12, 13, 14, 15);
    }
}

/// Samples [first, last) of the lines.
inline void turn_lines(Eight* tile, const LineBlock& lines, uint64_t first, uint64_t last) {
    uint64_t i = first;
    for (; i + kLines <= last; i += kLines, tile += kLines) {
        Eight rows[kLines];
        for (uint64_t r = 0; r < kLines; ++r) {
            std::memcpy(&rows[r], lines.from[r] + i, sizeof rows[r]);
            fetch_one_ahead(lines.from[r] + i, lines.ahead);
        }
        turn(rows);
        for (uint64_t c = 0; c < kLines; ++c) tile[c] = rows[c];
    }
    for (; i < last; ++i, ++tile)
        for (uint64_t r = 0; r < kLines; ++r) (*tile)[r] = lines.from[r][i];
}
/// And back, to `count` samples from `first` on.
inline void turn_back(const LineBlock& lines, const Eight* tile, uint64_t first, uint64_t count) {
    uint64_t i = 0;
    for (; i + kLines <= count; i += kLines) {
        Eight rows[kLines];
        for (uint64_t c = 0; c < kLines; ++c) rows[c] = tile[i + c];
        turn(rows);
        for (uint64_t r = 0; r < kLines; ++r)
            std::memcpy(lines.to[r] + first + i, &rows[r], sizeof rows[r]);
    }
    for (; i < count; ++i)
        for (uint64_t r = 0; r < kLines; ++r) lines.to[r][first + i] = tile[i][r];
}

template <class Vector, class Source, class Place, uint32_t known_components>
void filter_pixel(Vector* d, const Source* s, const FloatLists::List& list, Place place,
                  Count<known_components> components) {
    const uint64_t n = components();
    for (uint64_t c = 0; c < n; ++c) {
        Vector sum{};
        for (uint32_t k = 0; k < list.count; ++k) sum += list.weights[k] * s[place(k) * n + c];
        d[c] = sum * kOnePart;
    }
}
/// `s` is the first sample of a line, or where it would be.
template <class Vector, class Source, uint32_t known_components>
void filter_pixel(Vector* d, const Source* s, uint64_t origin, const FloatLists& columns,
                  uint64_t i, Count<known_components> components) {
    const FloatLists::List list = columns[i];
    if (columns.is_inside(list))
        filter_pixel(d, s, list, Inside{static_cast<uint64_t>(list.first) - origin}, components);
    else
        filter_pixel(d, s, list, Clamped{&columns, list.first, origin}, components);
}

/// Sizes of tiles, in vectors of eight samples.
constexpr uint64_t kSourceTile = 1024, kResultTile = 512;

template <uint32_t known_components>
void filter_lines(const LineBlock& lines, const FloatLists& columns,
                  Count<known_components> components) {
    const uint64_t n = components();
    Eight source[kSourceTile], result[kResultTile];
    for (uint64_t i = 0, next; i < columns.size(); i = next) {
        // As many pixels as tiles hold.
        BandRows part = columns.range(i);
        for (next = i + 1; next < columns.size() && (next + 1 - i) * n <= kResultTile; ++next) {
            const BandRows more = joined(part, columns.range(next));
            if (more.count * n > kSourceTile) break;
            part = more;
        }
        if (part.count * n > kSourceTile || n > kResultTile) {
            for (uint64_t r = 0; r < kLines; ++r)
                filter_pixel(lines.to[r] + i * n, lines.from[r], 0, columns, i, components);
            continue;
        }
        turn_lines(source, lines, part.first * n, (part.first + part.count) * n);
        for (uint64_t k = i; k < next; ++k)
            filter_pixel(result + (k - i) * n, source, part.first, columns, k, components);
        turn_back(lines, result, i * n, (next - i) * n);
    }
}

/// Rows of the band, by their numbers in the source.
struct BandBlocks {
    const float* const* blocks;
    uint64_t step, first;
    const float* row(uint64_t y) const {
        return blocks[(y - first) / kLines] + (y - first) % kLines * step;
    }
};

template <uint64_t block>
void filter_columns(Sample<float>* d, const BandBlocks& band, const FloatLists& lists, uint64_t y,
                    uint64_t at, uint64_t samples) {
    const FloatLists::List list = lists[y];
    float sum[block] = {};
    for (uint32_t k = 0; k < list.count; ++k) {
        const float* const row = band.row(lists.sample(list.first + k)) + at;
        for (uint64_t j = 0; j < block; ++j) sum[j] += list.weights[k] * row[j];
    }
    for (uint64_t j = 0; j < block; ++j) sum[j] *= kOnePart;
    if (samples >= block)
        for (uint64_t j = 0; j < block; ++j) d[at + j] = sum[j];
    else
        for (uint64_t j = 0; j < samples; ++j) d[at + j] = sum[j];
}

/// The band is blocks of eight rows here.
struct FloatPass {
    FloatDst dst;
    FloatSrc src;
    uint32_t components;
    const FloatLists *columns, *lists;
    BandRows needed;  ///< rows of the source
    uint64_t step;    ///< floats from row to row of a block

    uint64_t samples() const { return uint64_t{columns->size()} * components; }
    BandRows rows(uint64_t y) const {
        const BandRows range = lists->range(y);
        const uint64_t first = range.first / kLines;
        return {first, (range.first + range.count - 1) / kLines - first + 1};
    }
    /// Rows that nobody needs are not read: others stand for them.
    void make(float* block, uint64_t j) const {
        LineBlock lines;
        lines.ahead = kLines * uint64_t{src.stride};
        for (uint64_t r = 0; r < kLines; ++r) {
            const uint64_t y =
                std::clamp(j * kLines + r, needed.first, needed.first + needed.count - 1);
            lines.from[r] = src.row(y);
            lines.to[r] = block + r * step;
        }
        filter_block<float>(lines);
    }
    void finish(uint64_t y, const float* const* blocks) const { finish_row<float>(y, blocks); }

    static constexpr uint64_t kBlock = 32;  ///< samples of the band that are read at a time

  private:
    template <class T>
    void filter_block(const LineBlock& lines) const {
        on_best_isa([=, pass = *this] {
            if (pass.components == 1)
                filter_lines(lines, *pass.columns, Count<1>{});
            else if (pass.components == 3)
                filter_lines(lines, *pass.columns, Count<3>{});
            else
                filter_lines(lines, *pass.columns, Count<0>{pass.components});
        });
    }
    template <class T>
    void finish_row(uint64_t y, const T* const* blocks) const {
        on_best_isa([=, pass = *this] {
            const uint64_t count = pass.samples();
            const BandBlocks band{blocks, pass.step, pass.rows(y).first * kLines};
            for (uint64_t x = 0; x < count; x += kBlock)
                filter_columns<kBlock>(pass.dst.row(y), band, *pass.lists, y, x, count - x);
        });
    }
};

/// The most blocks of rows that a list reaches into.
uint64_t most_blocks(const FloatPass& pass) {
    uint64_t most = 0;
    for (uint64_t y = 0; y < pass.lists->size(); ++y) most = std::max(most, pass.rows(y).count);
    return most;
}

}  // namespace

int stretch_filtered(FloatDst dst, FloatSrc src, uint32_t components, const StretchWindow& window,
                     Mode mode) {
    if (window.width == 0 || window.height == 0 || components == 0) return QM_OK;
    if (band_height(window, mode) <= 0) return QM_NO_MEMORY;
    const Contributions along(horizontal_axis(window), mode, kPictureWeights),
        down(vertical_axis(window), mode, kPictureWeights);
    if (!along || !down) return QM_NO_MEMORY;
    const FloatLists columns(along), rows(down);
    if (!columns || !rows) return QM_NO_MEMORY;
    const uint64_t samples = uint64_t{window.width} * components,
                   step = (samples + FloatPass::kBlock - 1) / FloatPass::kBlock * FloatPass::kBlock;
    const FloatPass pass{dst,      src,   components,
                         &columns, &rows, joined(rows.range(0), rows.range(window.height - 1)),
                         step};
    const Strips<float> strips(window.height, step, kLines, most_blocks(pass));
    if (!strips) return QM_NO_MEMORY;
    strips.clear_behind(samples);
    in_team(kTeam, [&](Member member) {
        strips.walk(member.index, member.share(window.height), window.flip_y, pass);
    });
    return QM_OK;
}

}  // namespace qmpic
