#pragma once

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "support/guarded_picture.h"

/// Windows of pictures as the documentation has them, one pixel after the other.

namespace qmpic::test {

struct WindowAxis {
    uint64_t count, whole, start, source;
    bool flip = false;
    double scale() const { return static_cast<double>(source) / static_cast<double>(whole); }
    uint64_t place(uint64_t i) const { return flip ? count - 1 + (start - i) : start + i; }
    uint64_t nearest(uint64_t i) const {
        const double s = std::floor((static_cast<double>(place(i)) + 0.5) * scale());
        return s > static_cast<double>(source - 1) ? source - 1 : static_cast<uint64_t>(s);
    }
};

/// Any zoom of a picture of a size, with windows of up to `most` pixels: within the stretched
/// picture, at its edges, and beyond.
inline WindowAxis draw_axis(Random& random, uint32_t source, uint32_t most) {
    uint32_t whole = source;
    switch (random(0, 5)) {
    case 0: break;
    case 1: whole = source * random(2, 9); break;
    case 2: whole = random(1, source); break;
    case 3: whole = (source + 1) / 2; break;
    default: whole = random(1, 3 * source + 20);
    }
    const uint32_t count = random(1, most);
    const uint32_t last = whole > count ? whole - count : 0;
    const uint32_t start =
        random.one_of({0u, last, random(0, last), random(0, last), whole + random(0, 5), whole});
    return {count, whole, start, source, random(0, 1) == 1};
}

/// The nearest pixels, component by component, row by row.
inline std::vector<uint64_t> nearest_pixels(const GuardedPicture& s, const WindowAxis& x,
                                            const WindowAxis& y) {
    const uint32_t components = s.format().components;
    std::vector<uint64_t> values;
    for (uint64_t j = 0; j < y.count; ++j)
        for (uint64_t i = 0; i < x.count; ++i)
            for (uint32_t c = 0; c < components; ++c)
                values.push_back(s.get(static_cast<uint32_t>(x.nearest(i)) * components + c,
                                       static_cast<uint32_t>(y.nearest(j))));
    return values;
}

/// Where the blocks of an axis begin, all of them.
inline std::vector<int64_t> block_starts(const WindowAxis& axis) {
    const auto block = static_cast<int64_t>(axis.scale() + 0.5);
    const auto whole = static_cast<int64_t>(axis.whole), source = static_cast<int64_t>(axis.source);
    const int64_t e = source - block * whole;
    const double f = static_cast<double>(std::abs(e)) / static_cast<double>(whole);
    std::vector<int64_t> table;
    double a = 0;
    int64_t u = 0;
    for (int64_t i = 0; i < whole; ++i) {
        int64_t step = 0;
        if (a + 0.5 >= 1.0 && std::abs(u) <= std::abs(e)) {
            a = a - 1;
            step = e >= 1 ? 1 : -1;
            u = u + step;
        }
        table.push_back(step);
        a = a + f;
    }
    table.back() += e - u;
    for (size_t i = 1; i < table.size(); ++i) table[i] += block;
    for (size_t i = 1; i < table.size(); ++i) table[i] += table[i - 1];
    return table;
}

/// The means of sampled blocks.
inline std::vector<uint64_t> block_means(const GuardedPicture& s, const WindowAxis& x,
                                         const WindowAxis& y) {
    struct Samples {
        int64_t block, step, count, first;
        explicit Samples(const WindowAxis& axis)
            : block(static_cast<int64_t>(axis.scale() + 0.5)),
              step(block / 10 + 1),
              count(static_cast<int64_t>(
                  std::ceil(static_cast<double>(block) / static_cast<double>(step)))),
              first(((block - 1) % step + 1) / 2) {}
    };
    const Samples sx(x), sy(y);
    const auto columns = block_starts(x), rows = block_starts(y);
    const auto at = [](const std::vector<int64_t>& table, uint64_t place) {
        return place < table.size() ? table[place] : table.back();
    };
    const uint32_t components = s.format().components;
    std::vector<uint64_t> values;
    for (uint64_t j = 0; j < y.count; ++j)
        for (uint64_t i = 0; i < x.count; ++i)
            for (uint32_t c = 0; c < components; ++c) {
                uint32_t sum = 0;
                for (int64_t r = 0; r < sy.count; ++r)
                    for (int64_t k = 0; k < sx.count; ++k) {
                        const int64_t row = at(rows, y.place(j)) + sy.first + r * sy.step,
                                      column = at(columns, x.place(i)) + sx.first + k * sx.step;
                        sum += static_cast<uint32_t>(
                            s.get(static_cast<uint32_t>(column) * components + c,
                                  static_cast<uint32_t>(row)));
                    }
                values.push_back(sum / static_cast<uint32_t>(sx.count * sy.count));
            }
    return values;
}

}  // namespace qmpic::test
