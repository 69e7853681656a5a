#pragma once

#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "core/rows.h"

/// The loops. A family uses one of these shapes, or says in one line why it walks the rows itself.
///
///     fill        a component = value            setcomponent
///     update      sample = op(that sample)       maskout
///     map         a component = op(a component)  copycomponent, convertcomponent
///     map_samples sample = op(sample)            changebitdepth, convert_Nx16_to_Nx8
///     combine     sample = op(sample, sample)    addandclip, subandclip
///     each_pixel  op(pixel, pixel)               convert_4x8_to_3x8
///     each_row    op(row, row)                   rows that end in intrinsics
///     copy_lines  row = row                      copy
///
/// Pictures are Dst and Src, or FloatDst and FloatSrc where a picture is memory of floats.
///
/// All of them visit rows from top to bottom and pixels from left to right within a thread, and
/// read a pixel before they write it, so that equal memory (same address, same stride) may stand
/// on both sides. `op` is copied; it sees values and never an address, but in the last two.

namespace qmpic {

/// The op that keeps values.
struct Same {
    template <class T>
    T operator()(T value) const {
        return value;
    }
};

/// One component of the pixels of a picture: sample `index`, then every `step`-th.
template <class Picture>
struct Component {
    Picture picture;
    uint32_t step = 1, index = 0;
};

/// Rows without gaps are one long row to a single thread, so that narrow pictures lose nothing at
/// row ends. `bytes` are those of an area's column in each of the pictures.
struct Stride {
    uint32_t stride;
    uint64_t bytes;
    uint64_t most_rows = UINT64_MAX;  ///< that lie one behind the other
};
template <class Picture>
Stride stride_of(Picture picture, uint64_t bytes) {
    return {picture.stride, bytes, picture.rows_before_wrap()};
}
inline Area joined(Team team, Area area, std::initializer_list<Stride> pictures) {
    for (const auto& [stride, bytes, most_rows] : pictures)
        if (!team.is_one_thread() || stride != area.width * bytes || area.rows > most_rows)
            return area;
    return {area.width * area.rows, 1};
}

namespace detail {
/// A step of 0 is read from the picture.
template <class T, uint32_t step, class D>
void fill_steps(Team team, Component<D> dst, Area area, T value) {
    walk_rows(team, area.rows, [=](RowRange rows) {
        const uint64_t d_step = step != 0 ? step : dst.step;
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            Sample<T>* const d = dst.picture.template row<T>(y) + dst.index;
#pragma GCC unroll 4
            for (uint64_t x = 0; x < area.width; ++x) d[x * d_step] = value;
        }
    });
}
}  // namespace detail

template <class T, class D = Dst>
void fill(Team team, Component<D> dst, Area area, T value) {
    area = joined(team, area, {stride_of(dst.picture, dst.step * sizeof(T))});
    if (dst.step == 1)
        detail::fill_steps<T, 1>(team, dst, area, value);
    else
        detail::fill_steps<T, 0>(team, dst, area, value);
}

namespace detail {

/// op of the first n samples of the sources, kept until it is stored.
template <class T, uint64_t n>
struct Block {
    T values[n];
    template <class Op, class... S>
    explicit Block(const Op& op, const Sample<S>*... s) {
        for (uint64_t i = 0; i < n; ++i) values[i] = op(S{s[i]}...);
    }
    void store(Sample<T>* d) const {
        for (uint64_t i = 0; i < n; ++i) d[i] = values[i];
    }
};

/// Less than 2 * n samples: two blocks that overlap, both computed before one is written, since
/// the destination may be a source.
template <uint64_t n, class T, class Op, class... S>
void short_row(Sample<T>* d, uint64_t count, const Op& op, const Sample<S>*... s) {
    if (count >= n) {
        const uint64_t rest = count - n;
        const Block<T, n> first(op, s...), last(op, s + rest...);
        first.store(d);
        last.store(d + rest);
    } else if constexpr (n * sizeof(T) > 8) {
        short_row<n / 2>(d, count, op, s...);
    } else {
        for (uint64_t x = 0; x < count; ++x) d[x] = op(S{s[x]}...);
    }
}

/// d[x] = op(s[x]...). What remains of a row behind whole vectors is a block that overlaps them:
/// the compiler leaves up to 31 samples scalar at AVX-512, which costs short rows five times as
/// much as all the rest.
template <class T, class Op, class... S>
void dense_row(Sample<T>* d, uint64_t count, const Op& op, const Sample<S>*... s) {
    constexpr uint64_t n = 64 / sizeof(T);
    if (count < n) return short_row<n / 2>(d, count, op, s...);
    const uint64_t rest = count - n, whole = (count - 1) / n * n;
    const Block<T, n> last(op, s + rest...);
    for (uint64_t x = 0; x < whole; ++x) d[x] = op(S{s[x]}...);
    last.store(d + rest);
}

}  // namespace detail

template <class T, class D, class Op>
void update(Team team, D dst, Area area, Op op) {
    area = joined(team, area, {stride_of(dst, sizeof(T))});
    walk_rows(team, area.rows, [=](RowRange rows) {
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            Sample<T>* const d = dst.template row<T>(y);
            detail::dense_row(d, area.width, op, static_cast<const Sample<T>*>(d));
        }
    });
}

namespace detail {

/// Steps of 0 are read from the pictures; others are constants, which lets vectors shuffle.
template <class T, class S, uint32_t to, uint32_t from, class D, class P, class Op>
void map_steps(Team team, Component<D> dst, Component<P> src, Area area, Op op) {
    walk_rows(team, area.rows, [=](RowRange rows) {
        const uint64_t dst_step = to != 0 ? to : dst.step, src_step = from != 0 ? from : src.step;
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            Sample<T>* const d = dst.picture.template row<T>(y) + dst.index;
            const Sample<S>* const s = src.picture.template row<S>(y) + src.index;
            for (uint64_t x = 0; x < area.width; ++x) d[x * dst_step] = op(S{s[x * src_step]});
        }
    });
}

}  // namespace detail

/// T is the sample of the destination, S that of the source.
template <class T, class S, class D = Dst, class P = Src, class Op>
void map(Team team, Component<D> dst, Component<P> src, Area area, Op op) {
    area = joined(team, area,
                  {stride_of(dst.picture, dst.step * sizeof(T)),
                   stride_of(src.picture, src.step * sizeof(S))});
    // Samples that are written apart stay scalar: what lies between them must not be written.
    switch (dst.step == 1 ? src.step : 0) {
    case 1: return detail::map_steps<T, S, 1, 1>(team, dst, src, area, op);
    case 3: return detail::map_steps<T, S, 1, 3>(team, dst, src, area, op);
    case 4: return detail::map_steps<T, S, 1, 4>(team, dst, src, area, op);
    default: return detail::map_steps<T, S, 0, 0>(team, dst, src, area, op);
    }
}

/// The same where a row is just so many samples.
template <class T, class S, class D, class P, class Op>
void map_samples(Team team, D dst, P src, Area area, Op op) {
    area = joined(team, area, {stride_of(dst, sizeof(T)), stride_of(src, sizeof(S))});
    detail::map_steps<T, S, 1, 1>(team, Component<D>{dst}, Component<P>{src}, area, op);
}

template <class T, class D, class P, class Op>
void combine(Team team, D dst, P a, P b, Area area, Op op) {
    area = joined(team, area,
                  {stride_of(dst, sizeof(T)), stride_of(a, sizeof(T)), stride_of(b, sizeof(T))});
    walk_rows(team, area.rows, [=](RowRange rows) {
        for (uint64_t y = rows.first; y < rows.last; ++y)
            detail::dense_row(dst.template row<T>(y), area.width, op, a.template row<T>(y),
                              b.template row<T>(y));
    });
}

/// How many components a pixel has: a constant, or (0) a number that the call brings.
template <uint32_t known>
struct Count {
    uint32_t given = known;
    constexpr uint64_t operator()() const { return known != 0 ? known : given; }
};

/// op(d, s) with the first samples of a pixel of `to` and of one of `from` components. T is the
/// sample of the destination, S that of the source.
template <class T, class S, uint32_t to, uint32_t from, class D, class P, class Op>
void each_pixel(Team team, D dst, Count<to> d_step, P src, Count<from> s_step, Area area, Op op) {
    area = joined(team, area,
                  {stride_of(dst, d_step() * sizeof(T)), stride_of(src, s_step() * sizeof(S))});
    walk_rows(team, area.rows, [=](RowRange rows) {
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            Sample<T>* const d = dst.template row<T>(y);
            const Sample<S>* const s = src.template row<S>(y);
            for (uint64_t x = 0; x < area.width; ++x) op(d + x * d_step(), s + x * s_step());
        }
    });
}

/// op(d, s) with the first samples of the two rows; the family walks the pixels itself.
template <class T, class S, class D, class P, class Op>
void each_row(Team team, D dst, P src, Area area, Op op) {
    walk_rows(team, area.rows, [=](RowRange rows) {
        for (uint64_t y = rows.first; y < rows.last; ++y)
            op(dst.template row<T>(y), src.template row<S>(y));
    });
}

namespace detail {
struct CopyLine {
    uint64_t bytes;
    void operator()(Sample<uint8_t>* d, const Sample<uint8_t>* s) const {
        std::memmove(d, s, bytes);
    }
};
}  // namespace detail

/// The first `bytes` of every row as they stand.
template <class D, class P>
void copy_lines(Team team, D dst, P src, uint64_t bytes, uint64_t rows) {
    if (bytes == 0) return;  // however many rows
    const Area area = joined(team, {bytes, rows}, {stride_of(dst, 1), stride_of(src, 1)});
    each_row<uint8_t, uint8_t>(team, dst, src, area, detail::CopyLine{area.width});
}

}  // namespace qmpic
