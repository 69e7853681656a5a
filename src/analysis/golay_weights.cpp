#include "analysis/golay_weights.h"

#include <algorithm>

namespace qmpic {

namespace {

uint64_t terms_of(uint32_t half, int32_t order) {
    return order < 0 ? 0 : std::min(static_cast<uint64_t>(order), uint64_t{2} * half) + 1;
}

/// terms * rows; more than there can be if that does not fit.
uint64_t doubles(uint64_t terms, uint64_t rows) {
    return terms > SIZE_MAX / rows ? SIZE_MAX : terms * rows;
}

/// a * (a - 1) * ... of `count` factors, the smallest first.
double falling_product(double a, uint64_t count) {
    double product = 1;
    for (uint64_t i = count; i > 0; --i) product *= a - static_cast<double>(i - 1);
    return product;
}

/// One step of the recursion: degree k at i from degrees k - 1 (and of the derivative below it) and
/// k - 2.
double next(double k, double half, double i, double before, double s, double lower_before,
            double before_that) {
    const double d = k * (2 * half - k + 1);
    return (4 * k - 2) / d * (i * before + s * lower_before) -
           (k - 1) * (2 * half + k) / d * before_that;
}

}  // namespace

GolayWeights::GolayWeights(uint32_t half, int32_t order, uint32_t derivative)
    : half_(half),
      terms_(terms_of(half, order)),
      memory_(doubles(terms_, 1 + (uint64_t{2} * half + 1) * (1 + derivative))) {
    if (!memory_) return;
    factors_ = memory_.get();
    values_ = factors_ + terms_;
    derivatives_ = values_ + (uint64_t{2} * half + 1) * terms_ * derivative;
    const auto m = static_cast<double>(half);
    for (uint64_t k = 0; k < terms_; ++k)
        factors_[k] = static_cast<double>(2 * k + 1) * falling_product(2 * m, k) /
                      falling_product(2 * m + static_cast<double>(k) + 1, k + 1);
    for (int64_t i = -half_; i <= half_; ++i) {
        const auto x = static_cast<double>(i);
        double* const value = values_ + static_cast<uint64_t>(i + half_) * terms_;
        double* const slope = derivatives_ + static_cast<uint64_t>(i + half_) * terms_;
        for (uint64_t k = 0; k < terms_; ++k) {
            const auto degree = static_cast<double>(k);
            const auto of = [&](const double* row, uint64_t back) {
                return k < back ? 0.0 : row[k - back];
            };
            value[k] = k == 0 ? 1.0 : next(degree, m, x, of(value, 1), 0, 0, of(value, 2));
            if (derivative == 0) continue;
            slope[k] =
                k == 0 ? 0.0 : next(degree, m, x, of(slope, 1), 1, of(value, 1), of(slope, 2));
        }
    }
}

double GolayWeights::operator()(int64_t i, int64_t t) const {
    const double* const sample = at(values_, i);
    const double* const fit = at(derivatives_, t);
    double weight = 0;
    for (uint64_t k = 0; k < terms_; ++k) weight += factors_[k] * sample[k] * fit[k];
    return weight;
}

}  // namespace qmpic
