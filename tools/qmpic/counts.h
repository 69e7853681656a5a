#pragma once

#include <qmpic/qmpic.h>

#include <cstdint>
#include <vector>

#include "lists.h"

namespace tool {

/// How often each value stands in each component of a picture, and what follows from it.
class Counts {
  public:
    /// Counts a picture of 8 to 16 bits and 1 to 0xFFFFFFFF pixels. Fails when there is no memory.
    explicit Counts(const SQmPicBuf& picture);
    ~Counts() { CQmHistoAPI_Base::Free(&bins_); }
    Counts(const Counts&) = delete;
    Counts& operator=(const Counts&) = delete;

    std::uint32_t components() const { return bins_.uiComponents; }
    /// Samples of a component.
    std::uint64_t samples() const { return std::uint64_t{bins_.uiWidth} * bins_.uiHeight; }

    /// How many samples of component `c` have this value.
    std::uint64_t at(std::uint32_t c, std::uint32_t value) const;
    /// How many samples have values from `low` to `high`.
    std::uint64_t between(std::uint32_t c, std::uint32_t low, std::uint32_t high) const;

    std::uint32_t min(std::uint32_t c) const { return min_[c]; }
    std::uint32_t max(std::uint32_t c) const { return max_[c]; }
    /// The greatest value of all components.
    std::uint32_t max() const;
    double mean(std::uint32_t c) const;
    /// The least value that at least `share` thousandths of the samples do not exceed.
    std::uint32_t percentile(std::uint32_t c, unsigned share) const;

    /// The levels of each component that leave out so many percent of the samples at the two ends:
    /// the first value from the end with which that part is reached. 0 gives minimum and maximum,
    /// and so do levels that meet. `together`: one search for all components, whose levels are the
    /// lowest and the highest that any of them needs; so colours keep their hue.
    std::vector<Range> levels(const Percents& left_out, bool together = false) const;

    /// One to three thresholds that part the samples best; the upper class is above a threshold.
    /// Two are searched in steps of 2, 4, 8, 16 values when the maximum has 10, 12, 14, 16 bits,
    /// three in steps of 3, 9, 27, 81; else all values are tried.
    std::vector<std::uint32_t> otsu(std::uint32_t c, unsigned count) const;

  private:
    SQmHisto bins_;
    std::vector<std::uint32_t> min_, max_;
};

}  // namespace tool
