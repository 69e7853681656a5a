#pragma once

#include <cstdint>

#include "core/scratch.h"

namespace qmpic {

/// What each sample of a window weighs in the fit of a polynomial, by Gram polynomials (Gorry
/// 1990). Which double a weight is decides where products are cut: the order of operations is part
/// of the definition.
class GolayWeights {
  public:
    /// The window has 2 * half + 1 samples. `derivative`: 0 for the fit's value, 1 for its slope.
    /// An order below 0 makes all weights 0, one above 2 * half is taken for that.
    GolayWeights(uint32_t half, int32_t order, uint32_t derivative);

    /// Was there memory? Without it, do not ask for weights.
    explicit operator bool() const { return static_cast<bool>(memory_); }

    /// Of the sample at `i` for the fit at `t`, both from -half to half.
    double operator()(int64_t i, int64_t t) const;

  private:
    const double* at(const double* polynomials, int64_t i) const {
        return polynomials + static_cast<uint64_t>(i + half_) * terms_;
    }

    int64_t half_;
    uint64_t terms_;
    Scratch<double> memory_;
    double* factors_ = nullptr;      // [terms]
    double* values_ = nullptr;       // [2 * half + 1][terms]: the polynomials
    double* derivatives_ = nullptr;  // their derivatives; the same memory if it is not asked for
};

}  // namespace qmpic
