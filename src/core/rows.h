#pragma once

#include <omp.h>

#include <cstddef>
#include <cstdint>

#include "core/isa.h"

/// Raw picture memory and its rows: how they are addressed, and which threads walk them.

namespace qmpic {

/// One component of a pixel in memory. Pixels may lie at any address, which a plain T* may not.
template <class T>
struct [[gnu::packed, gnu::may_alias]] Sample {
    T value;
    operator T() const { return value; }
    Sample& operator=(T v) {
        value = v;
        return *this;
    }
};

/// Picture memory as a caller hands it over: first byte, and bytes from row to row.
struct Dst {
    void* first;
    uint32_t stride;
    template <class T>
    Sample<T>* row(uint64_t y) const {
        return reinterpret_cast<Sample<T>*>(static_cast<std::byte*>(first) + y * stride);
    }
    static uint64_t rows_before_wrap() { return UINT64_MAX; }
};
struct Src {
    const void* first;
    uint32_t stride;
    template <class T>
    const Sample<T>* row(uint64_t y) const {
        return reinterpret_cast<const Sample<T>*>(static_cast<const std::byte*>(first) +
                                                  y * stride);
    }
    static uint64_t rows_before_wrap() { return UINT64_MAX; }
};

/// Memory of floats. Its rows are found by an index of floats that is made in 32 bits: a stride
/// counts whole floats only, and beyond 4 GiB the address wraps.
struct FloatRows {
    uint32_t stride;
    uint64_t offset(uint64_t y) const { return static_cast<uint32_t>(y * stride) / 4 * 4ull; }
    uint64_t rows_before_wrap() const {
        return stride == 0 ? UINT64_MAX : (uint64_t{1} << 32) / stride;
    }
};
struct FloatDst : FloatRows {
    float* first;
    FloatDst(float* first_, uint32_t stride_) : FloatRows{stride_}, first(first_) {}
    template <class T = float>
    Sample<T>* row(uint64_t y) const {
        return reinterpret_cast<Sample<T>*>(reinterpret_cast<std::byte*>(first) + offset(y));
    }
};
struct FloatSrc : FloatRows {
    const float* first;
    FloatSrc(const float* first_, uint32_t stride_) : FloatRows{stride_}, first(first_) {}
    template <class T = float>
    const Sample<T>* row(uint64_t y) const {
        return reinterpret_cast<const Sample<T>*>(reinterpret_cast<const std::byte*>(first) +
                                                  offset(y));
    }
};

/// The pixels of a call. An incomplete last row does not count.
struct Area {
    uint64_t width, rows;
    static Area of_pixels(uint32_t width, uint64_t size) {
        return {width, width == 0 ? 0 : size / width};
    }
    /// Where components do not matter, a row is just so many samples.
    static Area of_samples(uint32_t components, uint32_t width, uint64_t size) {
        return {uint64_t{components} * width, of_pixels(width, size).rows};
    }
    /// The number of rows as a signed number of 32 bits; none if it is negative.
    Area rows_in_32_bits() const {
        const auto count = static_cast<int32_t>(static_cast<uint32_t>(rows));
        return {width, count < 0 ? 0 : static_cast<uint64_t>(count)};
    }
};

/// Rows [first, last) of one thread.
struct RowRange {
    uint64_t first, last;
};

/// The threads of a call: the calling one, an OpenMP team of the runtime's default size or of at
/// most so many threads, or the team of the caller's own region, all of which makes the call.
struct Team {
    bool forks;
    uint32_t most = 0;  ///< 0: the runtime's default
    bool is_callers = false;
    bool is_one_thread() const { return !forks && !is_callers; }
};
inline constexpr Team kCallingThread{false};
inline constexpr Team kTeam{true};
inline constexpr Team kCallersTeam{false, 0, true};

/// One thread among those of a call.
struct Member {
    uint64_t index, count;

    /// Its contiguous run of rows.
    RowRange share(uint64_t rows) const {
        const uint64_t part = rows / count, rest = rows % count;
        const uint64_t first = index * part + (index < rest ? index : rest);
        return {first, first + part + (index < rest ? 1 : 0)};
    }
    /// Waits until all of them have come here.
    void wait() const {
        if (count == 1) return;  // a barrier would be one of the caller's region
#pragma omp barrier
    }
};

/// Calls `body(Member)` in each thread of a team, which may be smaller than was asked for. `body`
/// must not throw.
template <class Body>
void in_team(Team team, const Body& body) {
    const auto join = [&] {
        body(Member{static_cast<uint64_t>(omp_get_thread_num()),
                    static_cast<uint64_t>(omp_get_num_threads())});
    };
    if (team.is_callers) {
        join();
#pragma omp barrier
        return;
    }
    if (!team.forks) return body(Member{0, 1});
    if (team.most == 0) {
#pragma omp parallel
        join();
    } else {
#pragma omp parallel num_threads(team.most)
        join();
    }
}

/// Calls `block(RowRange)` compiled for the active instruction set: once with all rows, or once in
/// each thread of a team with a contiguous run of them. The threads of the caller's team wait for
/// each other at the end. `block` is copied and must not throw.
template <class Block>
void walk_rows(Team team, uint64_t rows, Block block) {
    const auto walk = [=](RowRange range) { on_best_isa([=]() mutable { block(range); }); };
    if (team.is_one_thread()) return walk({0, rows});
    in_team(team, [=](Member member) { walk(member.share(rows)); });
}

}  // namespace qmpic
