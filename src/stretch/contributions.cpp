#include "stretch/contributions.h"

#include <algorithm>
#include <cmath>

#include "core/arithmetic.h"

namespace qmpic {
namespace {

using Mode = CQmPicMemAPI_Base::EQmPicStretchMode;

struct Triangle {
    double operator()(double x) const {
        x = std::fabs(x);
        return x < 1.0 ? 1.0 - x : 0.0;
    }
};
struct Spline {  // quadratic B-spline
    double operator()(double x) const {
        x = std::fabs(x);
        return x < 0.5 ? 0.75 - x * x : x < 1.5 ? (x - 1.5) * (x - 1.5) * 0.5 : 0.0;
    }
};

/// Of positions that are so far away that they are no whole numbers any more, something definite.
int64_t whole(double value) {
    constexpr double kFar = 4611686018427387904.0;  // 2^62
    return trunc_i64(std::clamp(value, -kFar, kFar));
}

/// Samples that one destination sample may have.
size_t list_capacity(double support) {
    return support < 1e15 ? static_cast<size_t>(support) + 4 : SIZE_MAX;
}
size_t saturated_product(size_t a, size_t b) {
    size_t product = 0;
    return __builtin_mul_overflow(a, b, &product) ? SIZE_MAX : product;
}

/// Scales weights to a sum of `one`. Those that are all 0 stay so, but for the middle one.
void normalise(int32_t* weights, size_t count, int32_t one) {
    int64_t sum = 0;
    for (size_t k = 0; k < count; ++k) sum += weights[k];
    if (sum == one) return;
    int64_t missing = one;
    for (size_t k = 0; k < count; ++k) {
        if (sum != 0) weights[k] = static_cast<int32_t>(int64_t{weights[k]} * one / sum);
        missing -= weights[k];
    }
    weights[count / 2] += static_cast<int32_t>(missing);
}

}  // namespace

double filter_support(Mode mode, double scale) {
    const double base = mode == CQmPicMemAPI_Base::StretchSpline ? 3 : 2;
    return scale > 1 ? std::ceil(base * scale) : base;
}

Contributions::Contributions(const FilterAxis& axis, Mode mode, WeightRule rule)
    : axis_(axis), capacity_(list_capacity(filter_support(mode, axis.scale))), first_(axis.count),
      begin_(size_t{axis.count} + 1), weights_(saturated_product(axis.count, capacity_)) {
    if (!*this) return;
    const double scale = axis.scale, radius = filter_support(mode, scale) * 0.5;
    const bool all_known =
        axis.known.first <= axis.line.first && axis.known.end >= axis.line.end;
    size_t at = 0;
    const auto make_lists = [&](auto filter) {
        for (uint32_t i = 0; i < axis.count; ++i) {
            const double index = axis.flip ? axis.count - i - 1 : i;
            const double p = index * scale - 0.5 + scale * 0.5 + axis.start * scale;
            int32_t* const weights = weights_.get() + at;
            size_t count = 0;
            first_[i] = 0;
            const int64_t last = whole(std::ceil(p + radius));
            for (int64_t j = whole(std::floor(p - radius)); j <= last && count < capacity_; ++j) {
                const double d = static_cast<double>(j) - p;
                const double w = scale <= 1 ? filter(d) : filter(d / scale) / scale;
                if (w == 0 || !axis.known.contains(sample(j))) continue;
                if (count == 0) first_[i] = j;
                weights[count++] = trunc_i32(w * rule.one + rule.rounding);
            }
            if (count == 0 && all_known) {
                first_[i] = whole(p + 0.5);
                weights[count++] = rule.one;
            }
            if (count != 0) normalise(weights, count, rule.one);
            begin_[i] = at;
            at += count;
            longest_ = std::max(longest_, static_cast<uint32_t>(count));
        }
    };
    if (mode == CQmPicMemAPI_Base::StretchSpline)
        make_lists(Spline{});
    else
        make_lists(Triangle{});
    begin_[axis.count] = at;
}

}  // namespace qmpic
