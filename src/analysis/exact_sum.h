#pragma once

#include <cmath>
#include <cstdint>

namespace qmpic {

/// Whole numbers added to a double one after the other. As long as no sum on the way can pass 2^53
/// none of them is rounded, and many terms may be summed as integers, in any order. From there on
/// the order is the result, and terms are added one by one.
///
///     if (sum.has_room(count, greatest))
///         sum.add_total(total of the block);
///     else
///         for (each term of the block) sum.add(term);
class ExactSum {
  public:
    /// May `count` terms, none of them farther from 0 than `greatest`, be added as their total?
    bool has_room(uint64_t count, uint64_t greatest) const {
        if (greatest == 0) return true;
        return count <= kExact / greatest &&
               std::fabs(sum_) <= static_cast<double>(kExact - count * greatest);
    }
    void add_total(int64_t total) { sum_ += static_cast<double>(total); }
    void add(double term) { sum_ += term; }
    double value() const { return sum_; }

  private:
    static constexpr uint64_t kExact = uint64_t{1} << 53;

    double sum_ = 0;
};

}  // namespace qmpic
