#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

/// The filters of a stretch in the plainest words: whole lists, the whole band, one sample after
/// the other.

namespace qmpic::test {

struct Tap {
    int64_t sample, weight;
    bool operator==(const Tap&) const = default;
};
using TapList = std::vector<Tap>;

/// One axis of a stretch.
struct ReferenceAxis {
    double scale;
    uint32_t count;
    uint32_t start = 0;
    bool flip = false;
    bool spline = false;
    int64_t lowest, highest;  ///< samples that there are
    int64_t known_first = lowest, known_last = highest;
    int64_t one = 1024;
    double rounding = 0.5;
};

inline double filter_value(bool spline, double x) {
    if (!spline) return std::fabs(x) < 1 ? 1 - std::fabs(x) : 0;
    if (std::fabs(x) < 0.5) return 0.75 - x * x;
    if (std::fabs(x) < 1.5) return (std::fabs(x) - 1.5) * (std::fabs(x) - 1.5) * 0.5;
    return 0;
}

inline TapList reference_list(const ReferenceAxis& a, uint32_t destination) {
    const double c = a.scale, base = a.spline ? 3 : 2;
    double support = base;
    if (c > 1) support = std::ceil(base * c);
    const double r = support * 0.5;
    const double i = a.flip ? a.count - destination - 1 : destination;
    const double p = ((i * c - 0.5) + c * 0.5) + a.start * c;
    TapList list;
    for (double j = std::floor(p - r - 2); j <= std::ceil(p + r + 2); ++j) {
        const double d = j - p;
        const double w = c <= 1 ? filter_value(a.spline, d) : filter_value(a.spline, d / c) / c;
        if (w == 0) continue;
        const auto sample = static_cast<int64_t>(
            std::clamp(j, static_cast<double>(a.lowest), static_cast<double>(a.highest)));
        if (sample < a.known_first || sample > a.known_last) continue;
        list.push_back({sample, static_cast<int64_t>(w * static_cast<double>(a.one) + a.rounding)});
    }
    if (list.empty()) return list;
    int64_t sum = 0;
    for (const Tap& tap : list) sum += tap.weight;
    if (sum != 0)
        for (Tap& tap : list) tap.weight = tap.weight * a.one / sum;
    int64_t missing = a.one;
    for (const Tap& tap : list) missing -= tap.weight;
    list[list.size() / 2].weight += missing;
    return list;
}

/// A window, as the entries are asked for it.
struct ReferenceWindow {
    uint32_t width, height, virtual_width, virtual_height, left, top, source_width, source_height;
    bool flip_x = false, flip_y = false, spline = false;
};
struct ReferenceKnown {
    uint32_t left, top, width, height;
    std::vector<uint32_t> background;
};

/// The rows that may be read: [first, last), none when last <= first.
struct ReferenceBand {
    int64_t first, last;
};
inline ReferenceBand reference_band(const ReferenceWindow& w) {
    const double c = static_cast<double>(w.source_height) / w.virtual_height;
    const double base = w.spline ? 3 : 2;
    const auto s = static_cast<int64_t>(c > 1 ? std::ceil(base * c) : base);
    const auto height = static_cast<int64_t>(w.source_height);
    const auto t0 = static_cast<int64_t>(std::floor(w.top * c));
    const int64_t n = std::min(static_cast<int64_t>(std::ceil(w.height * c)), height - t0);
    const int64_t above = std::min(t0, s), below = std::min(height - t0 - n, s);
    return {t0 - above, t0 + n + below};
}

template <class Value>
Value filter_sum(const TapList& list, const std::function<Value(int64_t)>& sample) {
    Value sum = 0;
    for (const Tap& tap : list) {
        const Value product = static_cast<Value>(tap.weight) * sample(tap.sample);
        sum = sum + product;
    }
    if constexpr (std::is_integral_v<Value>)
        return sum >> 10;
    else
        return sum * 0.0009765625f;
}

/// All samples of a window, row by row, of a source that `at(x, y, component)` reads in coordinates
/// of the whole picture. Value is uint32_t or float. Only for windows with a band.
template <class Value>
std::vector<Value> reference_filter(const ReferenceWindow& w, uint32_t components,
                                    const std::function<Value(int64_t, int64_t, uint32_t)>& at,
                                    const std::optional<ReferenceKnown>& known = {}) {
    const double sx = static_cast<double>(w.source_width) / w.virtual_width,
                 sy = static_cast<double>(w.source_height) / w.virtual_height;
    ReferenceAxis x{.scale = sx,
                    .count = w.width,
                    .start = w.left,
                    .flip = w.flip_x,
                    .spline = w.spline,
                    .lowest = 0,
                    .highest = int64_t{w.source_width} - 1};
    const ReferenceAxis y{.scale = sy,
                          .count = w.height,
                          .start = w.top,
                          .flip = w.flip_y,
                          .spline = w.spline,
                          .lowest = 0,
                          .highest = int64_t{w.source_height} - 1};
    if (known) {
        x.known_first = known->left;
        x.known_last = int64_t{known->left} + known->width - 1;
    }
    std::vector<TapList> columns;
    for (uint32_t i = 0; i < w.width; ++i) columns.push_back(reference_list(x, i));

    const ReferenceBand band = reference_band(w);
    std::vector<std::vector<Value>> rows;
    for (int64_t row = band.first; row < band.last; ++row) {
        std::vector<Value> line;
        const bool row_known =
            !known || (row >= known->top && row < int64_t{known->top} + known->height);
        for (uint32_t i = 0; i < w.width; ++i)
            for (uint32_t c = 0; c < components; ++c)
                if (row_known && !columns[i].empty())
                    line.push_back(filter_sum<Value>(
                        columns[i], [&](int64_t column) { return at(column, row, c); }));
                else
                    line.push_back(static_cast<Value>(known->background[c]));
        rows.push_back(std::move(line));
    }
    std::vector<Value> result;
    for (uint32_t j = 0; j < w.height; ++j) {
        const TapList list = reference_list(y, j);
        for (uint32_t i = 0; i < w.width * components; ++i)
            result.push_back(filter_sum<Value>(list, [&](int64_t row) {
                return rows.at(static_cast<size_t>(row - band.first))[i];
            }));
    }
    return result;
}

}  // namespace qmpic::test
