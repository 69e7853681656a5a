#include <algorithm>
#include <cstddef>
#include <limits>

#include "core/isa.h"
#include "core/scratch.h"
#include "histogram/read_blocks.h"

// Thresholds between classes of bins: those that give the greatest sum, over the classes, of
// P * mean * mean. All sums are made in one order, so that the thresholds are always the same; ties
// go to the lowest ones.
//
// Three thresholds are not searched one by one, which would take n^3 steps. Rounding keeps the
// order of numbers: if x <= y, then x + c <= y + c holds for the rounded sums, too. So the greatest
// sum of
// ((c1 + c2) + c3) + c4 is found, to the last bit, by keeping the greatest c1 + c2 of each second
// threshold, and of those the greatest (c1 + c2) + c3 of each third one: n^2 steps. The same order
// then finds the lowest thresholds that reach it.

namespace {

using namespace qmpic;

constexpr double kNone = -std::numeric_limits<double>::infinity();

double mean(double sum, double share) {
    return sum / (share > 1e-10 ? share : 1.0);  // a quotient by 1 is the sum itself
}

/// P * mean * mean.
double weight(double share, double sum) {
    const double m = mean(sum, share);
    return share * m * m;
}

/// Shares of the pixels and sums of index * share, each up to and with a bin.
struct Sums {
    double *shares, *sums;
    size_t count;
};

template <class Bin>
bool fill(Sums to, const Sample<Bin>* bins) {
    double all = 0;
    for (size_t i = 0; i < to.count; ++i) all += static_cast<double>(bins[i].value);
    if (all < 1e-5) return false;
    double shares = 0, sums = 0;
    for (size_t i = 0; i < to.count; ++i) {
        const double share = static_cast<double>(bins[i].value) / all;
        to.shares[i] = shares += share;
        to.sums[i] = sums += static_cast<double>(i) * share;
    }
    return true;
}

/// Bin t belongs to neither class.
uint32_t best_single(Sums to) {
    double best = 0;
    size_t found = 0;
    const double last_share = to.shares[to.count - 1], last_sum = to.sums[to.count - 1];
    for (size_t t = 1; t < to.count; ++t) {
        const double a = to.shares[t - 1], b = last_share - to.shares[t];
        const double u = to.sums[t - 1], v = last_sum - to.sums[t];
        const double all = u + v, from_a = mean(u, a) - all, from_b = mean(v, b) - all;
        const double value = from_a * from_a * a + from_b * from_b * b;
        if (value > best) best = value, found = t;
    }
    return static_cast<uint32_t>(found);
}

/// The greatest value(i), first <= i < last: each 64th of them by itself, which the compiler makes
/// vectors of, and it does not of a single greatest.
template <class Value>
double greatest(size_t first, size_t last, Value value) {
    constexpr size_t kLanes = 64;
    double lanes[kLanes];
    std::fill_n(lanes, kLanes, kNone);
    for (; first + kLanes <= last; first += kLanes)
        for (size_t i = 0; i < kLanes; ++i) {
            const double now = value(first + i);
            lanes[i] = now > lanes[i] ? now : lanes[i];
        }
    for (size_t i = 0; i < last - first; ++i) lanes[i] = std::max(lanes[i], value(first + i));
    return *std::max_element(lanes, lanes + kLanes);
}

/// The thresholds that may be chosen, every `step`-th bin, by number.
struct Grid {
    const double *shares, *sums;
    const double *first, *last;  ///< weight of the class up to a threshold, and of that behind it
    size_t count;

    double between(size_t a, size_t b) const {
        return weight(shares[b] - shares[a], sums[b] - sums[a]);
    }
};

struct Found {
    size_t at[3] = {};
};

Found best_two(Grid grid) {
    const auto value = [grid](size_t a, size_t b) {
        return grid.first[a] + grid.between(a, b) + grid.last[b];
    };
    double best = 0;
    size_t found = grid.count;
    for (size_t a = 0; a < grid.count; ++a) {
        const double row = greatest(a + 1, grid.count, [=](size_t b) { return value(a, b); });
        if (row > best) best = row, found = a;
    }
    for (size_t b = found + 1; b < grid.count; ++b)
        if (value(found, b) == best) return {{found, b}};
    return {};
}

/// The search for three.
struct Three {
    Grid grid;
    double* two;    ///< greatest c1 + c2 whose second threshold this is
    double* three;  ///< greatest (c1 + c2) + c3 whose third threshold this is
    double* rest;   ///< greatest c3 + c4 whose second threshold this is
    double* row;    ///< working memory
    double best;

    Found search() {
        best = find_best();
        if (!(best > 0)) return {};
        Found found;
        auto& [t1, t2, t3] = found.at;
        t1 = find_first();
        for (t2 = t1 + 1; !reaches(t2, first_two(t1, t2));) ++t2;
        const double two_classes = first_two(t1, t2);
        for (t3 = t2 + 1; two_classes + grid.between(t2, t3) + grid.last[t3] != best;) ++t3;
        return found;
    }

    double first_two(size_t a, size_t b) const { return grid.first[a] + grid.between(a, b); }

    double find_best() const {
        std::fill_n(two, grid.count, kNone);
        std::fill_n(three, grid.count, kNone);
        for (size_t a = 0; a < grid.count; ++a) {
            const double first = grid.first[a], second = two[a];  // final: all before a are done
#pragma omp simd
            for (size_t b = a + 1; b < grid.count; ++b) {
                const double c = grid.between(a, b), c1c2 = first + c, c1c2c3 = second + c;
                two[b] = c1c2 > two[b] ? c1c2 : two[b];
                three[b] = c1c2c3 > three[b] ? c1c2c3 : three[b];
                row[b] = c + grid.last[b];
            }
            rest[a] = greatest(a + 1, grid.count, [row = row](size_t b) { return row[b]; });
        }
        return greatest(0, grid.count, [*this](size_t b) { return three[b] + grid.last[b]; });
    }

    /// Is there a third threshold with which this c1 + c2 makes the best sum? What cannot come near
    /// by far more than rounding is not looked at.
    bool reaches(size_t b, double two_classes) const {
        if (two_classes + rest[b] < best * (1 - 1e-12)) return false;
        constexpr size_t kBlock = 1024;
        for (size_t i = b + 1; i < grid.count; i += kBlock)
            if (greatest(i, std::min(i + kBlock, grid.count), [=, *this](size_t c) {
                    return two_classes + grid.between(b, c) + grid.last[c];
                }) >= best)
                return true;
        return false;
    }

    /// The same for the greatest c1 + c2 with a first threshold below `end`.
    bool reaches_below(size_t end, size_t b) const {
        return reaches(b, greatest(0, end, [=, *this](size_t a) { return first_two(a, b); }));
    }

    /// The lowest first threshold of the best sum. If the greatest c1 + c2 of some first thresholds
    /// reaches it, so does that of more of them: halving finds where this begins.
    size_t find_first() const {
        size_t found = grid.count;
        for (size_t b = 1; b < grid.count && found > 0; ++b) {
            size_t low = 0, high = std::min(b, found);  // not below `low`, but below `high`
            if (two[b] + rest[b] < best * (1 - 1e-12) || !reaches_below(high, b)) continue;
            while (high - low > 1) {
                const size_t middle = low + (high - low) / 2;
                (reaches_below(middle, b) ? high : low) = middle;
            }
            found = low;
        }
        return found;
    }
};

size_t step_of_two(size_t bins) {
    return bins == 1024 ? 2 : bins == 4096 ? 4 : bins == 16384 ? 8 : bins == 65536 ? 16 : 1;
}
size_t step_of_three(size_t bins) {
    return bins == 1024 ? 3 : bins == 4096 ? 9 : bins == 16384 ? 27 : bins == 65536 ? 81 : 1;
}

/// `work` holds `kWork` numbers a bin, of which the sums take the first two.
constexpr size_t kWork = 8;

void search(Sums to, double* work, uint32_t count, uint32_t* thresholds) {
    const size_t step = count == 2 ? step_of_two(to.count) : step_of_three(to.count);
    const size_t n = (to.count + step - 1) / step;
    const double share = to.shares[to.count - 1], sum = to.sums[to.count - 1];
    double *const first = work + 2 * to.count, *const last = first + n;
    for (size_t i = 0; i < n; ++i) {  // ascending, so that nothing is read after it is written
        const double a = to.shares[i * step], b = to.sums[i * step];
        to.shares[i] = a;
        to.sums[i] = b;
        first[i] = weight(a, b);
        last[i] = weight(share - a, sum - b);
    }
    const Grid grid{to.shares, to.sums, first, last, n};
    const Found found =
        count == 2 ? best_two(grid)
                   : Three{grid, last + n, last + 2 * n, last + 3 * n, last + 4 * n, 0}.search();
    for (uint32_t i = 0; i < count; ++i) thresholds[i] = static_cast<uint32_t>(found.at[i] * step);
}

}  // namespace

int CQmHistoAPI_Base::GetOtsuThreshold(uint32_t* puiThresholds, uint32_t uiCount,
                                       const SQmHisto* pHisto) {
    if (pHisto == nullptr) return QM_REJECTED;
    if (pHisto->uiComponents != 1 || uiCount >= 4) return QM_NO_KERNEL;
    if (puiThresholds == nullptr) return QM_BAD_BUFFER;
    if (uiCount == 0) return QM_OK;
    int code = QM_OK;
    with_blocks(*pHisto, [&](auto blocks) {
        const size_t count = blocks.count();
        const Scratch<double> work(kWork * count);
        const Sums sums{work.get(), work ? work.get() + count : nullptr, count};
        if (!work || !fill(sums, blocks[0])) {
            code = QM_BAD_BUFFER;
            return;
        }
        if (uiCount == 1)
            puiThresholds[0] = best_single(sums);
        else
            on_best_isa([&] { search(sums, work.get(), uiCount, puiThresholds); });
    });
    return code;
}
