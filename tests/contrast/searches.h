#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "histogram/histo.h"
#include "qmpic/Histo.h"

/// Histograms with given counts, and the search in them, bin by bin.

namespace qmpic::test {

/// Counts of a component: bin, count.
using Bins = std::vector<std::pair<uint32_t, uint64_t>>;

/// The intensity's block is 0 where there are several components.
struct Counts : Histo {
    explicit Counts(const std::vector<Bins>& components, uint32_t bits = 8, uint32_t bin_bytes = 4)
        : Histo(bin_bytes, describe(1, 1, bits, static_cast<uint32_t>(components.size()))) {
        for (uint32_t c = 0; c < components.size(); ++c)
            for (const auto& [bin, count] : components[c]) put(c, bin, count);
    }
    uint32_t block(uint32_t component) const { return uiComponents < 2 ? 0 : component + 1; }
    uint64_t count(uint32_t component, uint32_t bin) const { return get(block(component), bin); }
    void put(uint32_t component, uint32_t bin, uint64_t count) {
        set(block(component), bin, count);
    }
    uint32_t bins() const { return uiBits > 16 ? 65536 : 1u << uiBits; }
    double top() const { return static_cast<double>((uint64_t{1} << uiBits) - 1); }
};

/// Random counts, few or many, of one bin or of none.
struct DrawnCounts : Counts {
    DrawnCounts(Random& random, uint32_t components, uint32_t bits, uint32_t bin_bytes)
        : Counts(std::vector<Bins>(components), bits, bin_bytes) {
        for (uint32_t c = 0; c < components; ++c) {
            const uint32_t kind = random(0, 6);
            const uint32_t from = random(0, bins() - 1), to = random(from, bins() - 1);
            if (kind == 0) continue;
            if (kind == 1) {
                put(c, from, random(1, 1000));
                continue;
            }
            for (uint32_t i = kind == 2 ? 0 : from; i <= (kind == 2 ? bins() - 1 : to); ++i)
                if (random(0, 2) != 0) put(c, i, kind == 3 ? random.any() : random(0, 20));
        }
    }
    explicit DrawnCounts(Random& random)
        : DrawnCounts(random, random(1, 5), random(0, 30) == 0 ? random(12, 16) : random(1, 10)) {}

  private:
    DrawnCounts(Random& random, uint32_t components, uint32_t bits)
        : DrawnCounts(random, components, bits, random.one_of({4u, 8u})) {}
};

inline double draw_percent(Random& random) {
    const uint32_t drawn = random(0, 10000);
    switch (random(0, 7)) {
    case 0: return random.one_of({0.0, -1.0, 100.0, 100.5, 250.0, 1e-9, 1e300, -1e300, 50.0});
    case 1: return static_cast<double>(drawn) / 100;
    default: return static_cast<double>(drawn) / 1000;
    }
}

struct Searched {
    uint32_t low, high, mid;
    std::optional<uint32_t> low_component, high_component;
    uint32_t low_before, high_before;  // before they were mended
};

inline Searched search(const Counts& h, uint32_t first, uint32_t end, double low_percent,
                       double high_percent, bool with_mid, bool fix) {
    const int64_t n = h.bins();
    const auto sum_of = [&](uint32_t c) {
        uint64_t sum = 0;
        for (uint32_t i = 0; i < n; ++i) sum += h.count(c, i);
        return sum;
    };
    uint64_t t = sum_of(first);
    for (uint32_t c = 0; t == 0 && c < h.uiComponents; ++c) t = sum_of(c);
    const auto target_of = [t](double percent) {  // in doubles: no sum is beyond their precision
        const double target = std::trunc(percent / 100.0 * static_cast<double>(t));
        return target < 1 ? 1.0 : target;
    };
    const double low_target = target_of(low_percent), high_target = target_of(high_percent);
    if (first >= end) end = first + 1;

    Searched s{static_cast<uint32_t>(n - 1), 0, static_cast<uint32_t>(n / 2), {}, {}, 0, 0};
    std::vector<double> sums(end, 0.0);
    for (int64_t i = 0; i < n && !s.low_component; ++i)
        for (uint32_t c = first; c < end && !s.low_component; ++c) {
            sums[c] += static_cast<double>(h.count(c, static_cast<uint32_t>(i)));
            if (sums[c] >= low_target) s.low = static_cast<uint32_t>(i), s.low_component = c;
        }
    sums.assign(end, 0.0);
    for (int64_t i = n - 1; i >= 0 && !s.high_component; --i)
        for (uint32_t c = first; c < end && !s.high_component; ++c) {
            sums[c] += static_cast<double>(h.count(c, static_cast<uint32_t>(i)));
            if (sums[c] >= high_target) s.high = static_cast<uint32_t>(i), s.high_component = c;
        }
    if (with_mid && s.low < s.high) {
        uint64_t between = 0, sum = 0;
        for (uint32_t i = s.low; i < s.high; ++i)
            for (uint32_t c = first; c < end; ++c) between += h.count(c, i);
        for (uint32_t i = s.low; i < s.high; ++i) {
            for (uint32_t c = first; c < end; ++c) sum += h.count(c, i);
            if (sum < between / 2) continue;
            s.mid = i;
            break;
        }
    }
    s.low_before = s.low;
    s.high_before = s.high;
    if (fix && s.low >= s.high) {
        if (s.high < 1 || s.high >= n - 1)
            s.low = 0, s.high = static_cast<uint32_t>(n - 1);
        else
            s.low = s.high - 1;
    }
    if (s.mid > s.high) s.mid = s.high;
    if (s.mid < s.low) s.mid = s.low;
    return s;
}

}  // namespace qmpic::test
