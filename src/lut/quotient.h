#pragma once

#include <cmath>
#include <cstdint>

namespace qmpic {

/// Whole numbers divided by a whole number, toward zero, as products: what vectors can do, and
/// exact. With half of 1 added to its magnitude a dividend is at least 0.5 from every multiple of
/// the divisor, and its quotient 0.5 / divisor from every whole number. Below 2^50 the two
/// roundings move it by less: 2^50 / divisor * 2^-51.9.
class Quotient {
  public:
    static constexpr double kLimit = 1125899906842624.0;  ///< 2^50: dividends lie below

    explicit Quotient(double divisor) : inverse_(1.0 / divisor) {}
    /// The quotient has to fit.
    std::int32_t operator()(double dividend) const {
        return static_cast<std::int32_t>((dividend + std::copysign(0.5, dividend)) * inverse_);
    }

  private:
    double inverse_;
};

}  // namespace qmpic
