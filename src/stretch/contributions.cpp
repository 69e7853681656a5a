#include "stretch/contributions.h"

#include <algorithm>
#include <cmath>

#include "core/arithmetic.h"

namespace qmpic {
namespace {

using Mode = CQmPicMemAPI_Base::EQmPicStretchMode;

struct Triangle {
    static constexpr double kReach = 1.0;  ///< 0 from here on, and nowhere before
    double operator()(double x) const { return 1.0 - std::fabs(x); }
};
struct Spline {  // quadratic B-spline
    static constexpr double kReach = 1.5;
    double operator()(double x) const {
        x = std::fabs(x);
        return x < 0.5 ? 0.75 - x * x : (x - 1.5) * (x - 1.5) * 0.5;
    }
};

/// Floor and ceiling as whole numbers; something definite of positions that are so far away that
/// they are no whole numbers any more.
constexpr int64_t kFar = int64_t{1} << 62;
int64_t whole(double value) {
    constexpr auto far = static_cast<double>(kFar);
    return trunc_i64(value < -far ? -far : value < far ? value : far);
}
int64_t floor_of(double value) {
    const int64_t cut = whole(value);
    return cut - (static_cast<double>(cut) > value ? 1 : 0);
}
int64_t ceiling_of(double value) { return -floor_of(-value); }

/// Samples that one destination sample may have.
size_t list_capacity(double support) {
    return support < 1e15 ? static_cast<size_t>(support) + 4 : SIZE_MAX;
}
size_t saturated_product(size_t a, size_t b) {
    size_t product = 0;
    return __builtin_mul_overflow(a, b, &product) ? SIZE_MAX : product;
}

/// Scales weights to a sum of `one`. Those that are all 0 stay so, but for the middle one.
/// Quotients of such numbers are too far from the next whole one to be rounded to it.
void normalise(int32_t* weights, size_t count, int32_t one) {
    int64_t sum = 0;
    for (size_t k = 0; k < count; ++k) sum += weights[k];
    if (sum == one) return;
    int32_t scaled = 0;
    if (sum != 0)
        for (size_t k = 0; k < count; ++k) {
            weights[k] = trunc_i32(static_cast<double>(int64_t{weights[k]} * one) /
                                   static_cast<double>(sum));
            scaled += weights[k];
        }
    weights[count / 2] += one - scaled;
}

/// Samples of the endless line that stand for known ones of the line.
SampleRange that_take_part(const FilterAxis& axis) {
    const SampleRange &line = axis.line, &known = axis.known;
    if (std::max(line.first, known.first) >= std::min(line.end, known.end)) return {0, 0};
    return {known.first <= line.first ? -kFar : known.first,
            known.end >= line.end ? kFar : known.end};
}

}  // namespace

double filter_support(Mode mode, double scale) {
    const double base = mode == CQmPicMemAPI_Base::StretchSpline ? 3 : 2;
    return scale > 1 ? std::ceil(base * scale) : base;
}

Contributions::Contributions(const FilterAxis& axis, Mode mode, WeightRule rule)
    : axis_(axis),
      capacity_(list_capacity(filter_support(mode, axis.scale))),
      first_(axis.count),
      begin_(size_t{axis.count} + 1),
      weights_(saturated_product(axis.count, capacity_)) {
    if (!*this) return;
    const double scale = axis.scale, radius = filter_support(mode, scale) * 0.5,
                 width = std::max(scale, 1.0);
    const bool all_known = axis.known.first <= axis.line.first && axis.known.end >= axis.line.end;
    const SampleRange part = that_take_part(axis);
    size_t at = 0;
    const auto make_lists = [&](auto filter) {
        for (uint32_t i = 0; i < axis.count; ++i) {
            const double index = axis.flip ? axis.count - i - 1 : i;
            const double p = index * scale - 0.5 + scale * 0.5 + axis.start * scale;
            // Dividing by a width of 1 changes nothing.
            const auto x = [=](int64_t j) { return (static_cast<double>(j) - p) / width; };
            int64_t first = std::max(floor_of(p - radius), part.first),
                    last = std::min(ceiling_of(p + radius), part.end - 1);
            while (first <= last && !(std::fabs(x(first)) < filter.kReach)) ++first;
            while (first <= last && !(std::fabs(x(last)) < filter.kReach)) --last;
            int32_t* const weights = weights_.get() + at;
            size_t count =
                first <= last ? std::min(static_cast<size_t>(last - first) + 1, capacity_) : 0;
            for (size_t k = 0; k < count; ++k)
                weights[k] = trunc_i32(
                    filter(x(first + static_cast<int64_t>(k))) / width * rule.one + rule.rounding);
            if (count == 0 && all_known) {
                first = whole(p + 0.5);
                weights[count++] = rule.one;
            }
            if (count != 0) normalise(weights, count, rule.one);
            first_[i] = first;
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
