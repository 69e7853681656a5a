#pragma once

#include <algorithm>
#include <tuple>
#include <type_traits>
#include <utility>

#include "core/prefetch.h"
#include "core/shapes.h"

/// Samples combined with values that each component has for itself.

namespace qmpic {

namespace detail {

/// What the samples of some pixels are combined with, one behind the other; more components than
/// that are done in parts.
inline constexpr uint32_t kPeriod = 384;

template <class K>
struct alignas(64) Period {
    K of[kPeriod];
};

template <class T, class Op, class... K, class... S>
void combine_periods(Team team, Dst dst, Area area, uint64_t pixels, uint64_t step, uint64_t first,
                     uint64_t count, uint64_t period, Op op, const std::tuple<const K*...>& values,
                     S... sources) {
    walk_rows(team, area.rows, [=](RowRange rows) {
        for (uint64_t y = rows.first; y < rows.last; ++y)
            for (uint64_t x = 0; x < pixels; ++x)
                for (uint64_t i = 0; i < count; i += period) {
                    const uint64_t at = x * step + first + i, n = std::min(period, count - i);
                    Sample<T>* const d = dst.template row<T>(y) + at;
                    fetch_ahead_to_write(d, n * sizeof(T));
                    (fetch_ahead(sources.template row<T>(y) + at, n * sizeof(T)), ...);
                    std::apply(
                        [&](const K*... k) {
                            dense_row(d, n, op, sources.template row<T>(y) + at...,
                                      reinterpret_cast<const Sample<K>*>(k)...);
                        },
                        values);
                }
    });
}

}  // namespace detail

/// Each sample becomes op(its values in the sources..., what its component has...), where
/// `make(component)` gives a tuple of what that component has.
template <class T, class Make, class Op, class... S>
void by_component(Team team, Dst dst, uint32_t components, uint32_t width, uint64_t size, Make make,
                  Op op, S... sources) {
    constexpr uint32_t kMost = detail::kPeriod;
    const auto run = [&]<class... K>(std::type_identity<std::tuple<K...>>) {
        std::tuple<detail::Period<K>...> values;
        for (uint32_t first = 0; first < components;) {
            const uint32_t part = std::min(components - first, kMost);
            const bool whole = part == components;
            // As many pixels as there is room for; small pictures need fewer.
            const uint64_t samples = size * part;
            const uint32_t room = samples < kMost ? static_cast<uint32_t>(samples) : kMost;
            const uint32_t period = whole ? std::max(room / part, 1u) * part : part;
            const auto fill = [&]<size_t... k>(std::index_sequence<k...>) {
                for (uint32_t i = 0; i < part; ++i) {
                    const auto of_one = make(first + i);
                    ((std::get<k>(values).of[i] = std::get<k>(of_one)), ...);
                }
                const auto repeat = [=](auto* at) {
                    for (uint32_t have = part; have < period; have *= 2)
                        std::copy_n(at, std::min(have, period - have), at + have);
                };
                (repeat(std::get<k>(values).of), ...);
            };
            fill(std::index_sequence_for<K...>{});
            const auto pointers = std::apply(
                [](const auto&... one) { return std::tuple<const K*...>{one.of...}; }, values);
            if (whole) {
                const Area area =
                    joined(team, Area::of_samples(components, width, size),
                           {stride_of(dst, sizeof(T)), stride_of(sources, sizeof(T))...});
                detail::combine_periods<T>(team, dst, area, 1, 0, 0, area.width, period, op,
                                           pointers, sources...);
            } else {
                detail::combine_periods<T>(team, dst, Area::of_pixels(width, size), width,
                                           components, first, part, part, op, pointers, sources...);
            }
            first += part;
        }
    };
    run(std::type_identity<std::invoke_result_t<Make, uint32_t>>{});
}

}  // namespace qmpic
