#include <cmath>
#include <cstring>
#include <optional>

#include "core/arithmetic.h"
#include "core/prefetch.h"
#include "core/scratch.h"
#include "core/shapes.h"
#include "qmpic/Lut.h"
#include "qmpic/PicMemAPI_Base.h"
#include "render/channels.h"
#include "render/composition_gathers.h"
#include "render/composition_kernels.h"
#include "render/spectral_kernels.h"

// Composition. Rows are walked here and in no shape, since a row is composed in blocks: the colours
// of up to four channels are looked up into planes of dense cells, one scalar load after the other
// (gathers are slow on many processors; where they are not, composition_gathers.cpp takes pictures
// of few components), and the planes are merged as vectors, since every cell is treated alike.
// Large pictures go through packed tables, small ones through the rows of the set as they are.

namespace {

using namespace qmpic;

constexpr uint64_t kBlock = 64, kCells = 3 * kBlock;
constexpr uint64_t kVector = 64;  // cells that are merged at once; divides kCells
constexpr uint32_t kGroup = 4;    // channels that are looked up together; two flags each in a byte

/// Cells of a block, with room for the byte behind a pixel.
struct alignas(kVector) Plane {
    uint8_t cells[kCells + kVector];
    Sample<uint8_t>* first() { return reinterpret_cast<Sample<uint8_t>*>(cells); }
    void set(uint64_t x, uint32_t colour) {
        *reinterpret_cast<Sample<uint32_t>*>(cells + 3 * x) = colour;
    }
};

/// What a thread works in.
struct Workspace {
    Plane channel[kGroup], merged, signal, later;
    uint32_t hit[kBlock];  // the signal of a pixel, or kNoHit
    uint8_t open[kBlock];  // 255 while no channel of a pixel has been hit, else 0
    /// Cells behind a block are merged with it as far as the vector goes: they must hold something.
    explicit Workspace(uint64_t width) {
        const uint64_t used = 3 * std::min(width, kBlock), rest = -used % kVector;
        for (Plane& plane : channel) std::memset(plane.cells + used, 0, rest);
        for (Plane* plane : {&signal, &later}) std::memset(plane->cells + used, 0, rest);
    }
};
constexpr uint32_t kNoHit = 0xFFFFFFFF;

/// merged = the first n channels in one light, together with `merged` unless they are the first.
template <uint32_t n, bool first>
void merge(Workspace& work, uint64_t cells) {
    uint8_t* const merged = work.merged.cells;
    for (uint64_t at = 0; at < cells; at += kVector)
        for (uint64_t i = at; i < at + kVector; ++i) {
            auto dark = static_cast<uint16_t>(255 - (first ? work.channel[0].cells[i] : merged[i]));
            for (uint32_t c = first ? 1 : 0; c < n; ++c)
                dark = dim(dark, static_cast<uint16_t>(255 - work.channel[c].cells[i]));
            merged[i] = static_cast<uint8_t>(255 - dark);
        }
}
template <uint32_t n>
void merge(Workspace& work, uint64_t cells, bool first) {
    if (first) return merge<n, true>(work, cells);
    merge<n, false>(work, cells);
}

/// a &= b
inline void keep(Plane& a, const Plane& b, uint64_t cells) {
    for (uint64_t at = 0; at < cells; at += kVector)
        for (uint64_t i = at; i < at + kVector; ++i) a.cells[i] &= b.cells[i];
}

inline void write_cells(Sample<uint8_t>* d, const Plane& plane, uint64_t cells) {
    uint64_t i = 0;
    for (; i + kVector <= cells; i += kVector) std::memcpy(d + i, plane.cells + i, kVector);
    std::memcpy(d + i, plane.cells + i, cells - i);
}

/// How marks are found while a group is looked up: not at all; in the only group; in the first and
/// in a later one of several.
enum Marking { kNone, kOnly, kFirst, kLater };

/// What all threads of a call share. Packed tables hold, channel by channel, a word a value. A
/// value that is marked is white, which no other colour can change, and has a flag in the top byte:
/// for the c-th channel of its group bit 2c when it is under-exposed, bit 2c + 1 when it is
/// over-exposed. The flags of a group, taken together, are the number of the pixel's signal.
template <class T>
struct Composition {
    const Channels& channels;
    uint32_t step;                            // components of the source
    uint32_t top;                             // the greatest sample that is in a table
    const uint32_t* words = nullptr;          // packed tables, or null
    const uint32_t* signals = nullptr;        // 256 a group
    T limit = 0;                              // some samples above it are over-exposed, ...
    bool always = false;                      // ... or all are
    GatheringComposer* by_gathers = nullptr;  // null: by loads
    GatheredChannels gathered{};

    bool marks() const { return channels.over || channels.under; }
    const Channel& channel(uint32_t c) const { return channels.list[c]; }
    uint32_t groups() const { return (channels.count + kGroup - 1) / kGroup; }
    bool single() const { return channels.count == 1; }

    void find_limit() {
        uint32_t least = Channel::kNever;
        for (uint32_t c = 0; c < channels.count; ++c) least = std::min(least, channel(c).threshold);
        always = least == 0;
        limit = static_cast<T>(std::min<uint32_t>(least - 1, T(-1)));
    }

    /// Words that packed tables take; 0 when the picture is too small to pay for them (a look-up
    /// saves what it costs to pack one entry).
    size_t words_to_pack(uint64_t pixels) const {
        const size_t entries = size_t{top} + 1;
        if (top > T(-1) || pixels < 2 * entries) return 0;
        return channels.count * entries + (marks() && !single() ? 256 * groups() : 0);
    }

    void pack(uint32_t* to) {
        words = to;
        for (uint32_t c = 0; c < channels.count; ++c, to += top + 1) {
            const Channel& one = channel(c);
            pack_rows(one.rows, top + 1, to);
            // A channel alone shows its signals itself.
            const uint32_t flag = 1u << (24 + 2 * (c % kGroup));
            const uint32_t over = single() ? one.over : kColour | flag << 1;
            for (uint64_t value = one.threshold; value <= top; ++value) to[value] = over;
            if (channels.under) to[0] = single() ? one.under : kColour | flag;
        }
        if (marks() && !single()) pack_signals(to);
        if (sizeof(T) == 2) by_gathers = gathering_composer(step, channels.count);
        if (by_gathers == nullptr) return;
        gathered.top = top;
        gathered.signals = signals;
        for (uint32_t c = 0; c < channels.count; ++c) {
            gathered.index[c] = channel(c).index;
            gathered.table[c] = table(c);
        }
    }
    const uint32_t* table(uint32_t c) const { return words + c * (size_t{top} + 1); }

    void pack_signals(uint32_t* to) {
        signals = to;
        for (uint32_t g = 0; g < channels.count; g += kGroup, to += 256) {
            to[0] = kColour;
            for (uint32_t flags = 1; flags < 256; ++flags) {
                const auto lowest = static_cast<uint32_t>(__builtin_ctz(flags));
                const Channel& one = channel(std::min(g + lowest / 2, channels.count - 1));
                to[flags] = lowest % 2 == 0 ? one.under : one.over;
            }
        }
    }

    /// Is a sample of the block above the tables? A few channels of many are looked at one by one.
    bool beyond_tables(const Sample<T>* s, uint64_t count) const {
        if (top >= T(-1)) return false;
        T bits = 0;
        if (sparse())
            for (uint32_t c = 0; c < channels.count; ++c)
                for (uint64_t x = 0; x < count; ++x)
                    bits = static_cast<T>(bits | s[x * step + channel(c).index]);
        else
            for (uint64_t i = 0; i < count * step; ++i) bits = static_cast<T>(bits | s[i]);
        return bits > top;
    }
    bool sparse() const { return 4 * channels.count < step; }

    /// May a pixel of the block be marked?
    bool may_mark(const Sample<T>* s, uint64_t count) const {
        if (!marks()) return false;
        if (always || sparse()) return true;
        const T zero = channels.under;
        T found = 0;
        for (uint64_t i = 0; i < count * step; ++i)
            found = static_cast<T>(found | ((s[i] == 0) & zero) | (s[i] > limit));
        return found != 0;
    }

    /// The colours of n channels from channel `g` on; and the signals of the pixels.
    template <uint32_t n, Marking marking>
    void look_up(Workspace& work, uint32_t g, const Sample<T>* s, uint64_t count) const {
        const uint32_t* table[n];
        const Sample<T>* from[n];
        for (uint32_t c = 0; c < n; ++c) {
            table[c] = this->table(g + c);
            from[c] = s + channel(g + c).index;
        }
        const uint32_t* const signal = marking == kNone ? nullptr : signals + g / kGroup * 256;
        const uint64_t stride = step;
        Plane& shown = marking == kLater ? work.later : work.signal;
        constexpr uint64_t together = marking == kNone ? 4 : 2;
        uint64_t x = 0;
        // Of neighbouring channels (they ascend) one pointer does, best with a constant stride.
        if (channel(g + n - 1).index - channel(g).index == n - 1) {
            const Sample<T>* const first = s + channel(g).index;
            const uint64_t whole = count - count % together;
            if (stride == n)
                for (; x < whole; x += together)
                    look_up_pixels<n, marking, together>(
                        work, x, table, [=](uint32_t c, uint64_t i) { return first[i * n + c]; },
                        signal, shown);
            for (; x < whole; x += together)
                look_up_pixels<n, marking, together>(
                    work, x, table, [=](uint32_t c, uint64_t i) { return first[i * stride + c]; },
                    signal, shown);
        }
        for (; x < count; ++x)
            look_up_pixels<n, marking, 1>(
                work, x, table, [&](uint32_t c, uint64_t i) { return from[c][i * stride]; }, signal,
                shown);
    }

    /// Neighbours of one channel after the other: stores to the same line go together.
    template <uint32_t n, Marking marking, uint32_t together, class SampleOf>
    static void look_up_pixels(Workspace& work, uint64_t x, const uint32_t* const* table,
                               SampleOf sample, const uint32_t* signal, Plane& shown) {
        uint32_t flags[together] = {};
#pragma GCC unroll 4
        for (uint32_t c = 0; c < n; ++c)
#pragma GCC unroll 4
            for (uint32_t k = 0; k < together; ++k) {
                const uint32_t word = table[c][sample(c, x + k)];
                work.channel[c].set(x + k, word);
                if (marking != kNone) flags[k] |= word;
            }
        if (marking == kNone) return;
#pragma GCC unroll 4
        for (uint32_t k = 0; k < together; ++k) {
            uint32_t found = flags[k] >> 24;
            if (marking == kLater) found &= work.open[x + k];
            if (marking == kFirst) work.open[x + k] = found == 0 ? 255 : 0;
            if (marking == kLater && found != 0) work.open[x + k] = 0;
            shown.set(x + k, signal[found]);
        }
    }

    template <uint32_t n>
    void group(Workspace& work, uint32_t g, const Sample<T>* s, uint64_t count, bool marked) const {
        const uint64_t cells = 3 * count;
        if (!marked)
            look_up<n, kNone>(work, g, s, count);
        else if (g != 0) {
            look_up<n, kLater>(work, g, s, count);
            keep(work.signal, work.later, cells);
        } else if (channels.count > kGroup)
            look_up<n, kFirst>(work, g, s, count);
        else
            look_up<n, kOnly>(work, g, s, count);
        merge<n>(work, cells, g == 0);
    }

    void through_words(Workspace& work, Sample<uint8_t>* d, const Sample<T>* s,
                       uint64_t count) const {
        if (single()) {
            const uint32_t* const table = words;
            const Sample<T>* const from = s + channel(0).index;
            const uint64_t stride = step;
            return write_pixels(d, count, [=](uint64_t x) { return table[from[x * stride]]; });
        }
        const bool marked = may_mark(s, count);
        for (uint32_t g = 0; g < channels.count; g += kGroup) switch (channels.count - g) {
            case 1: group<1>(work, g, s, count, marked); break;
            case 2: group<2>(work, g, s, count, marked); break;
            case 3: group<3>(work, g, s, count, marked); break;
            default: group<4>(work, g, s, count, marked); break;
            }
        if (marked) keep(work.merged, work.signal, 3 * count);
        write_cells(d, work.merged, 3 * count);
    }

    /// The signal of a pixel, or kNoHit. Tables are not touched.
    uint32_t signal_of(const Sample<T>* pixel) const {
        for (uint32_t c = 0; c < channels.count; ++c) {
            const T value = pixel[channel(c).index];
            if (value == 0 && channels.under) return channel(c).under;
            if (value >= channel(c).threshold) return channel(c).over;
        }
        return kNoHit;
    }

    /// Looks every sample up where the caller's set says, be it inside of the table or not.
    void through_rows(Workspace& work, Sample<uint8_t>* d, const Sample<T>* s,
                      uint64_t count) const {
        if (single()) {
            const Channel one = channel(0);
            const bool under = channels.under;
            const Sample<T>* const from = s + one.index;
            const ColourRows rows = one.rows;
            const uint64_t stride = step;
            if (!marks())
                return write_pixels(d, count,
                                    [=](uint64_t x) { return colour_of(rows[from[x * stride]]); });
            return write_pixels(d, count, [=](uint64_t x) {
                const T value = from[x * stride];
                if (under && value == 0) return one.under;
                return value >= one.threshold ? one.over : colour_of(one.rows[value]);
            });
        }
        const bool marked = may_mark(s, count);
        if (marked)
            for (uint64_t x = 0; x < count; ++x) work.hit[x] = signal_of(s + x * step);
        for (uint32_t g = 0; g < channels.count; g += kGroup) {
            const uint32_t n = std::min(kGroup, channels.count - g);
            for (uint32_t c = 0; c < n; ++c) {
                const ColourRows rows = channel(g + c).rows;
                const Sample<T>* const from = s + channel(g + c).index;
                const uint64_t stride = step;
                if (marked)
                    for (uint64_t x = 0; x < count; ++x)
                        work.channel[c].set(
                            x, work.hit[x] == kNoHit ? colour_of(rows[from[x * stride]]) : 0);
                else
#pragma GCC unroll 4
                    for (uint64_t x = 0; x < count; ++x)
                        work.channel[c].set(x, colour_of(rows[from[x * stride]]));
            }
            switch (n) {
            case 1: merge<1>(work, 3 * count, g == 0); break;
            case 2: merge<2>(work, 3 * count, g == 0); break;
            case 3: merge<3>(work, 3 * count, g == 0); break;
            default: merge<4>(work, 3 * count, g == 0); break;
            }
        }
        if (marked)
            for (uint64_t x = 0; x < count; ++x)
                if (work.hit[x] != kNoHit) write_pixel(work.merged.first() + 3 * x, work.hit[x]);
        write_cells(d, work.merged, 3 * count);
    }

    void row(Workspace& work, Sample<uint8_t>* d, const Sample<T>* s, uint64_t width) const {
        for (uint64_t x = 0; x < width; x += kBlock) {
            if constexpr (sizeof(T) == 2)
                if (by_gathers != nullptr)
                    x += by_gathers(d + 3 * x, s + x * step, width - x, gathered);
            if (x == width) return;
            const uint64_t count = std::min(kBlock, width - x);
            fetch_ahead(s + x * step, count * step * sizeof(T));
            fetch_ahead_to_write(d + 3 * x, 3 * count);
            if (words == nullptr || beyond_tables(s + x * step, count))
                through_rows(work, d + 3 * x, s + x * step, count);
            else
                through_words(work, d + 3 * x, s + x * step, count);
        }
    }
};

void clear(Dst dst, Area area, uint64_t bytes) {
    for (uint64_t y = 0; y < area.rows; ++y)
        std::memset(dst.row<uint8_t>(y), 0, area.width * bytes);
}

template <class T>
int compose(Team team, Dst dst, Src src, uint32_t components, uint32_t top,
            const Channels& channels, Area area) {
    if (components == 0) return QM_OK;
    if (channels.count == 0) return clear(dst, area, 3), QM_OK;
    Composition<T> all{channels, components, top};
    all.find_limit();
    std::optional<Scratch<uint32_t>> tables;  // without memory the rows do as well
    if (const size_t words = all.words_to_pack(area.width * area.rows); words != 0)
        if (tables.emplace(words)) all.pack(tables->get());
    walk_rows(team, area.rows, [dst, src, area, shared = &all](RowRange rows) {
        const Composition<T> plan = *shared;
        const Area mine = joined(kCallingThread, {area.width, rows.last - rows.first},
                                 {{dst.stride, 3}, {src.stride, plan.step * sizeof(T)}});
        Workspace work(mine.width);
        for (uint64_t y = rows.first; y < rows.first + mine.rows; ++y)
            plan.row(work, dst.row<uint8_t>(y), src.row<T>(y), mine.width);
    });
    return QM_OK;
}

// ----- To 16 bits --------------------------------------------------------------------------------

constexpr uint64_t kWideBlock = 64;

/// a - a * b / top + b in the low 16 bits. The product wraps in 32 signed bits.
struct ScreenOfSource {
    double inverse;
    explicit ScreenOfSource(uint32_t top) : inverse(1.0 / std::max(top, 1u)) {}
    uint16_t operator()(uint16_t a, uint16_t b) const {
        const int32_t product = wrap_mul(a, b);
        // The half keeps the product of the inverse away from whole numbers, on either side, by
        // more than it can err: truncated it is the integer quotient, and it fits.
        const double half = product < 0 ? -0.5 : 0.5;
        const auto quotient = static_cast<int32_t>((product + half) * inverse);
        return static_cast<uint16_t>(a - static_cast<uint32_t>(quotient) + b);
    }
};

/// a + b less their geometric mean; below 65536 for all pairs. So its cast, like that above, needs
/// no test whether the value fits, which would take a fifth longer.
struct GeometricMean {
    uint16_t operator()(uint16_t a, uint16_t b) const {
        const double x = a, y = b;
        return static_cast<uint16_t>(static_cast<int32_t>(x + y - std::sqrt(x * y) + 0.5));
    }
};

void copy_cells(Sample<uint16_t>* d, const void* row) {
    const auto* const cells = static_cast<const Sample<uint16_t>*>(row);
    *reinterpret_cast<Sample<uint32_t>*>(d) = *reinterpret_cast<const Sample<uint32_t>*>(cells);
    d[2] = cells[2];
}

template <class Merge>
int compose_wide(Dst dst, Src src, uint32_t components, const Channels& channels, Area area,
                 Merge op) {
    if (components == 0) return QM_OK;
    if (channels.count == 0) return clear(dst, area, 6), QM_OK;
    area = joined(kCallingThread, area, {{dst.stride, 6}, {src.stride, components * 2u}});
    walk_rows(kCallingThread, area.rows, [=, shared = &channels](RowRange range) {
        uint16_t merged[3 * kWideBlock], next[3 * kWideBlock];
        const uint64_t step = components;
        for (uint64_t y = range.first; y < range.last; ++y)
            for (uint64_t x0 = 0; x0 < area.width; x0 += kWideBlock) {
                const uint64_t count = std::min(kWideBlock, area.width - x0);
                Sample<uint16_t>* const d = dst.row<uint16_t>(y) + 3 * x0;
                Sample<uint16_t>* const first =
                    shared->count == 1 ? d : reinterpret_cast<Sample<uint16_t>*>(merged);
                for (uint32_t c = 0; c < shared->count; ++c) {
                    const Channel& one = shared->list[c];
                    const ColourRows rows = one.rows;
                    const Sample<uint16_t>* const s = src.row<uint16_t>(y) + x0 * step + one.index;
                    Sample<uint16_t>* const cells =
                        c == 0 ? first : reinterpret_cast<Sample<uint16_t>*>(next);
#pragma GCC unroll 4
                    for (uint64_t x = 0; x < count; ++x)
                        copy_cells(cells + 3 * x, rows[s[x * step]]);
                    if (c != 0)
                        for (uint64_t i = 0; i < 3 * count; ++i) merged[i] = op(merged[i], next[i]);
                }
                if (shared->count != 1) std::memcpy(d, merged, 6 * count);
            }
    });
    return QM_OK;
}

// ----- One more channel --------------------------------------------------------------------------

int merge_into(Dst dst, Src src, ColourRows rows, Area area) {
    area = joined(kCallingThread, area, {{dst.stride, 3}, {src.stride, 1}});
    walk_rows(kCallingThread, area.rows, [=](RowRange range) {
        Plane colours;
        for (uint64_t y = range.first; y < range.last; ++y)
            for (uint64_t x0 = 0; x0 < area.width; x0 += kBlock) {
                const uint64_t count = std::min(kBlock, area.width - x0);
                const Sample<uint8_t>* const s = src.row<uint8_t>(y) + x0;
                Sample<uint8_t>* const d = dst.row<uint8_t>(y) + 3 * x0;
                for (uint64_t x = 0; x < count; ++x) colours.set(x, colour_of(rows[s[x]]));
                for (uint64_t i = 0; i < 3 * count; ++i) d[i] = screen(d[i], colours.cells[i]);
            }
    });
    return QM_OK;
}

// ----- What the kernels have in common -----------------------------------------------------------

/// What a kernel does without a selected component.
enum Unselected { kBlack, kUntouched };

constexpr uint32_t top_of(uint32_t bpc) { return max_value(bpc & 31); }

template <class T>
int compose_one(Team team, Dst dst, Src src, uint32_t top, const void* table, const Marks& marks,
                Area area) {
    return compose<T>(team, dst, src, 1, top, Channels(table, top, marks), area);
}

template <class T>
int compose_selected(Team team, Unselected unselected, Dst dst, Src src, uint32_t components,
                     uint32_t top, const void* tables, const CQmRangeMask& mask, const Marks& marks,
                     Area area) {
    const Channels channels(tables, components, mask, top, marks);
    if (channels.count == 0 && unselected == kUntouched) return QM_OK;
    return compose<T>(team, dst, src, components, top, channels, area);
}

}  // namespace

// One line an exported kernel. `all` is true when every component is selected: only then do kernels
// for 16 bits to 8 fork. The names of the macros say which arguments a kernel takes.
#define TO void *pDst, uint32_t uiDstWidthBytes, const void *pSrc
#define MASK const CQmRangeMask& mask
#define OVER const void *pOverExpColor, const uint32_t *pOverExpValue
#define MARKS OVER, const void *pUnderExpColor, uint64_t /*uiReserved*/
#define PIXELS uint32_t uiWidth, uint64_t uiSizeInPixels
#define PICTURES                                                                                   \
    Dst{pDst, uiDstWidthBytes}, Src { pSrc, uiSrcWidthBytes }
#define AREA Area::of_pixels(uiWidth, uiSizeInPixels)

#define ONE_8(name)                                                                                \
    int name(TO, uint32_t uiSrcWidthBytes, const void* pLuts, PIXELS) {                            \
        return compose_one<uint8_t>(kCallingThread, PICTURES, 255, pLuts, {}, AREA);               \
    }
#define ONE_16(name, team)                                                                         \
    int name(TO, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, const void* pLuts, PIXELS) {         \
        return compose_one<uint16_t>(team, PICTURES, top_of(uiSrcBpc), pLuts, {}, AREA);           \
    }
#define ONE_16_TO_16(name)                                                                         \
    int name(TO, uint32_t uiSrcWidthBytes, uint32_t uiSrcBpc, const void* pLuts, PIXELS) {         \
        const Channels channels(pLuts, top_of(uiSrcBpc), {});                                      \
        return compose_wide(PICTURES, 1, channels, AREA, GeometricMean{});                         \
    }
#define ONE_8_MARKS(name)                                                                          \
    int name(TO, uint32_t uiSrcWidthBytes, const void* pLuts, MARKS, PIXELS) {                     \
        return compose_one<uint8_t>(kCallingThread, PICTURES, 255, pLuts,                          \
                                    {pOverExpColor, pOverExpValue, pUnderExpColor}, AREA);         \
    }
#define ONE_16_MARKS(name, team)                                                                   \
    int name(TO, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, const void* pLuts, MARKS, PIXELS) {  \
        return compose_one<uint16_t>(team, PICTURES, top_of(uiSrcBpc), pLuts,                      \
                                     {pOverExpColor, pOverExpValue, pUnderExpColor}, AREA);        \
    }

#define FROM_8(components, unselected, ...)                                                        \
    return compose_selected<uint8_t>(kCallingThread, unselected, PICTURES, components, 255, pLuts, \
                                     mask, {__VA_ARGS__}, AREA)
#define FROM_16(components, team, ...)                                                             \
    [[maybe_unused]] const bool all = mask.IsMaskFull(components);                                 \
    return compose_selected<uint16_t>(team, kBlack, PICTURES, components, top_of(uiSrcBpc), pLuts, \
                                      mask, {__VA_ARGS__}, AREA)
#define FROM_16_TO_16(components, op)                                                              \
    const Channels channels(pLuts, components, mask, top_of(uiSrcBpc), {});                        \
    return compose_wide(PICTURES, components, channels, AREA, op)

#define SOME_8(name, components, unselected)                                                       \
    int name(TO, uint32_t uiSrcWidthBytes, const void* pLuts, MASK, PIXELS) {                      \
        FROM_8(components, unselected);                                                            \
    }
#define SOME_16(name, components, team)                                                            \
    int name(TO, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, const void* pLuts, MASK, PIXELS) {   \
        FROM_16(components, team);                                                                 \
    }
#define SOME_16_TO_16(name, components, op)                                                        \
    int name(TO, uint32_t uiSrcWidthBytes, uint32_t uiSrcBpc, const void* pLuts, MASK, PIXELS) {   \
        FROM_16_TO_16(components, op);                                                             \
    }
#define ANY_8(name, unselected)                                                                    \
    int name(TO, uint32_t uiComponents, uint32_t uiSrcWidthBytes, const void* pLuts, MASK,         \
             PIXELS) {                                                                             \
        FROM_8(uiComponents, unselected);                                                          \
    }
#define ANY_16(name, team)                                                                         \
    int name(TO, uint32_t uiComponents, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,               \
             const void* pLuts, MASK, PIXELS) {                                                    \
        FROM_16(uiComponents, team);                                                               \
    }
#define ANY_16_TO_16(name, op)                                                                     \
    int name(TO, uint32_t uiComponents, uint32_t uiSrcWidthBytes, uint32_t uiSrcBpc,               \
             const void* pLuts, MASK, PIXELS) {                                                    \
        FROM_16_TO_16(uiComponents, op);                                                           \
    }

#define SOME_8_MARKS(name, components, unselected)                                                 \
    int name(TO, uint32_t uiSrcWidthBytes, const void* pLuts, MASK, MARKS, PIXELS) {               \
        FROM_8(components, unselected, pOverExpColor, pOverExpValue, pUnderExpColor);              \
    }
#define SOME_16_MARKS(name, components, team)                                                      \
    int name(TO, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, const void* pLuts, MASK, MARKS,      \
             PIXELS) {                                                                             \
        FROM_16(components, team, pOverExpColor, pOverExpValue, pUnderExpColor);                   \
    }
#define ANY_8_MARKS(name, unselected)                                                              \
    int name(TO, uint32_t uiComponents, uint32_t uiSrcWidthBytes, const void* pLuts, MASK, MARKS,  \
             PIXELS) {                                                                             \
        FROM_8(uiComponents, unselected, pOverExpColor, pOverExpValue, pUnderExpColor);            \
    }
#define ANY_16_MARKS(name, team)                                                                   \
    int name(TO, uint32_t uiComponents, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,               \
             const void* pLuts, MASK, MARKS, PIXELS) {                                             \
        FROM_16(uiComponents, team, pOverExpColor, pOverExpValue, pUnderExpColor);                 \
    }
#define SOME_8_OVER(name, components, unselected)                                                  \
    int name(TO, uint32_t uiSrcWidthBytes, const void* pLuts, MASK, OVER, PIXELS) {                \
        FROM_8(components, unselected, pOverExpColor, pOverExpValue);                              \
    }
#define SOME_16_OVER(name, components, team)                                                       \
    int name(TO, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, const void* pLuts, MASK, OVER,       \
             PIXELS) {                                                                             \
        FROM_16(components, team, pOverExpColor, pOverExpValue);                                   \
    }
#define ANY_8_OVER(name, unselected)                                                               \
    int name(TO, uint32_t uiComponents, uint32_t uiSrcWidthBytes, const void* pLuts, MASK, OVER,   \
             PIXELS) {                                                                             \
        FROM_8(uiComponents, unselected, pOverExpColor, pOverExpValue);                            \
    }
#define ANY_16_OVER(name, team)                                                                    \
    int name(TO, uint32_t uiComponents, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,               \
             const void* pLuts, MASK, OVER, PIXELS) {                                              \
        FROM_16(uiComponents, team, pOverExpColor, pOverExpValue);                                 \
    }

// clang-format off
ONE_8       (mapcomp_1x8_3x8)
SOME_8      (mapcomp_2x8_3x8,  2, kUntouched)  // alone of all; with its forms below
SOME_8      (mapcomp_3x8_3x8,  3, kBlack)
SOME_8      (mapcomp_4x8_3x8,  4, kBlack)
SOME_8      (mapcomp_5x8_3x8,  5, kBlack)
SOME_8      (mapcomp_6x8_3x8,  6, kBlack)
ANY_8       (mapcomp_Nx8_3x8,     kBlack)

ONE_16      (mapcomp_1x16_3x8,    kTeam)
SOME_16     (mapcomp_2x16_3x8, 2, Team{all})
SOME_16     (mapcomp_3x16_3x8, 3, Team{all})
SOME_16     (mapcomp_4x16_3x8, 4, Team{all})
SOME_16     (mapcomp_5x16_3x8, 5, Team{all})
SOME_16     (mapcomp_6x16_3x8, 6, Team{all})
ANY_16      (mapcomp_Nx16_3x8,    Team{all})

ONE_16_TO_16 (mapcomp_1x16_3x16)
SOME_16_TO_16(mapcomp_2x16_3x16, 2, ScreenOfSource(top_of(uiSrcBpc)))
SOME_16_TO_16(mapcomp_3x16_3x16, 3, ScreenOfSource(top_of(uiSrcBpc)))
SOME_16_TO_16(mapcomp_4x16_3x16, 4, ScreenOfSource(top_of(uiSrcBpc)))
SOME_16_TO_16(mapcomp_5x16_3x16, 5, ScreenOfSource(top_of(uiSrcBpc)))
SOME_16_TO_16(mapcomp_6x16_3x16, 6, ScreenOfSource(top_of(uiSrcBpc)))
ANY_16_TO_16 (mapcomp_Nx16_3x16,    GeometricMean{})  // alone of all, and not a screen

ONE_8_MARKS  (mapcomp_1x8_3x8_overexp_underexp)
SOME_8_MARKS (mapcomp_2x8_3x8_overexp_underexp,  2, kUntouched)
SOME_8_MARKS (mapcomp_3x8_3x8_overexp_underexp,  3, kBlack)
SOME_8_MARKS (mapcomp_4x8_3x8_overexp_underexp,  4, kBlack)
SOME_8_MARKS (mapcomp_5x8_3x8_overexp_underexp,  5, kBlack)
SOME_8_MARKS (mapcomp_6x8_3x8_overexp_underexp,  6, kBlack)
ANY_8_MARKS  (mapcomp_Nx8_3x8_overexp_underexp,     kBlack)

ONE_16_MARKS (mapcomp_1x16_3x8_overexp_underexp,    kTeam)
SOME_16_MARKS(mapcomp_2x16_3x8_overexp_underexp, 2, Team{all})
SOME_16_MARKS(mapcomp_3x16_3x8_overexp_underexp, 3, Team{all})
SOME_16_MARKS(mapcomp_4x16_3x8_overexp_underexp, 4, Team{all})
SOME_16_MARKS(mapcomp_5x16_3x8_overexp_underexp, 5, Team{all})
SOME_16_MARKS(mapcomp_6x16_3x8_overexp_underexp, 6, Team{all})
ANY_16_MARKS (mapcomp_Nx16_3x8_overexp_underexp,    Team{all})

SOME_8_OVER  (mapcomp_2x8_3x8_overexp,  2, kUntouched)
ANY_8_OVER   (mapcomp_Nx8_3x8_overexp,     kBlack)
SOME_16_OVER (mapcomp_2x16_3x8_overexp, 2, Team{all})
ANY_16_OVER  (mapcomp_Nx16_3x8_overexp,    Team{all})
// clang-format on

int mapcomp_Nx8_Mx8(void*, uint32_t, const void*, uint32_t, uint32_t, const void*,
                    const CQmRangeMask&, uint32_t, uint64_t) {
    return QM_NO_KERNEL;
}

int mapcomp_Iter1x8_3x8(TO, uint32_t /*uiComponents*/, uint32_t uiSrcWidthBytes, const void* pLuts,
                        const CQmRangeMask& /*mask*/, PIXELS) {
    return merge_into(PICTURES, colour_rows(pLuts), AREA);
}

#undef TO
#undef MASK
#undef OVER
#undef MARKS
#undef PIXELS
#undef PICTURES
#undef AREA
#undef ONE_8
#undef ONE_16
#undef ONE_16_TO_16
#undef ONE_8_MARKS
#undef ONE_16_MARKS
#undef FROM_8
#undef FROM_16
#undef FROM_16_TO_16
#undef SOME_8
#undef SOME_16
#undef SOME_16_TO_16
#undef ANY_8
#undef ANY_16
#undef ANY_16_TO_16
#undef SOME_8_MARKS
#undef SOME_16_MARKS
#undef ANY_8_MARKS
#undef ANY_16_MARKS
#undef SOME_8_OVER
#undef SOME_16_OVER
#undef ANY_8_OVER
#undef ANY_16_OVER

namespace {

/// Are source and destination those of the set?
bool is_for(const SQmLut& lut, uint32_t src_components, uint32_t src_bpc, uint32_t dst_components,
            uint32_t dst_bpc) {
    return lut.ucSrcBpc == src_bpc && lut.ucComponents == src_components &&
           lut.ucDstBpc == dst_bpc && lut.ucDstComponents == dst_components;
}

/// What a parametric set describes. Sources of 16-bit results are bytes unless they are words.
int render_spectrum(const SpectralCall& c) {
    const uint32_t to = storage_bits(c.dst_bpc);
    const uint32_t from = storage_bits(c.bpc) == 16 ? 16 : 8;
    if ((to != 8 && to != 16) || (to == 8 && c.bpc > 16)) return QM_NO_KERNEL;
    if (nothing_to_do(c.dst, c.src, c.width, c.size)) return QM_OK;
    const bool marks =
        to == 8 && (c.lut->pOverExpColor != nullptr || c.lut->pUnderExpColor != nullptr);
    const auto kernel_of = [&](const auto& list) {
        return list.find_between(c.components, from, to);
    };
    return (CQmPicMemAPI_Base::IsCPU_SSE2() ? kernel_of(kSpectralSse)
            : marks                         ? kernel_of(kSpectralFloatOver)
                                            : kernel_of(kSpectralFloat))(c);
}

}  // namespace

int CQmPicMemAPI_Base::MapComponentsIterNToN(void* pDst, uint32_t uiDstComponents,
                                             uint32_t uiDstBpc, uint32_t uiDstWidthBytes,
                                             const void* pSrc, uint32_t uiSrcComponents,
                                             uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                             const SQmLut* pLut, uint32_t uiWidth,
                                             uint64_t uiSizeInPixels) {
    if (!is_for(*pLut, uiSrcComponents, uiSrcBpc, uiDstComponents, uiDstBpc)) return QM_REJECTED;
    // Three cells of a colour are read, so that there must be as many.
    if (uiDstBpc != 8 || uiSrcBpc != 8 || uiSrcComponents != 1 || uiDstComponents < 3 ||
        pLut->pLuts == nullptr)
        return QM_NO_KERNEL;
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    return mapcomp_Iter1x8_3x8(pDst, uiDstWidthBytes, pSrc, 1, uiSrcWidthBytes, pLut->pLuts,
                               pLut->rmComponents, uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::MapComponentsMToN(void* pDst, uint32_t uiDstComponents, uint32_t uiDstBpc,
                                         uint32_t uiDstWidthBytes, const void* pSrc,
                                         uint32_t uiSrcComponents, uint32_t uiSrcBpc,
                                         uint32_t uiSrcWidthBytes, const SQmLut* pLut,
                                         uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (!is_for(*pLut, uiSrcComponents, uiSrcBpc, uiDstComponents, uiDstBpc) || uiWidth == 0 ||
        uiSizeInPixels == 0)
        return QM_REJECTED;
    if (uiDstBpc > 16 || uiDstComponents != 3) return QM_NO_KERNEL;
    if (pLut->pParams != nullptr)
        return render_spectrum({pDst, uiDstBpc, uiDstWidthBytes, pSrc, uiSrcComponents, uiSrcBpc,
                                uiSrcWidthBytes, pLut, uiWidth, uiSizeInPixels});
    if (pLut->pLuts == nullptr) return QM_REJECTED;
    const uint32_t from = storage_bits(uiSrcBpc), to = storage_bits(uiDstBpc);
    const bool marks =
        to == 8 && (pLut->pOverExpColor != nullptr || pLut->pUnderExpColor != nullptr);
    CompositionKernel* const kernel = marks ? kMapCompMarks.find_between(uiSrcComponents, from, to)
                                            : kMapComp.find_between(uiSrcComponents, from, to);
    if (kernel == nullptr) return QM_NO_KERNEL;
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    return kernel({pDst, uiDstWidthBytes, pSrc, uiSrcComponents, uiSrcBpc, uiSrcWidthBytes,
                   pLut->pLuts, pLut->rmComponents, pLut->pOverExpColor, pLut->pOverExpValue,
                   pLut->pUnderExpColor, uiWidth, uiSizeInPixels});
}
