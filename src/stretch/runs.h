#pragma once

#include "stretch/contributions.h"

namespace qmpic {

/// The lists of an axis for whole numbers, where the order of a sum makes no difference: weights of
/// the same sample are one, and a list is a run of samples of the line. Neither their first samples
/// nor their last ones ever go back along the source.
class Runs {
  public:
    struct Run {
        uint32_t first;  ///< counted from `origin`
        uint32_t count;  ///< 0: nothing that is known takes part
        const int16_t* weights;
    };

    Runs(const Contributions& lists, int64_t origin);
    /// False when there is no memory.
    explicit operator bool() const { return first_ && begin_ && weights_; }

    uint32_t size() const { return size_; }
    Run operator[](uint64_t i) const {
        return {first_[i], static_cast<uint32_t>(begin_[i + 1] - begin_[i]),
                weights_.get() + begin_[i]};
    }
    /// The most weights that a run has, and those of all runs.
    uint32_t longest() const { return longest_; }
    size_t weights() const { return begin_[size_]; }

  private:
    uint32_t size_, longest_ = 0;
    Scratch<uint32_t> first_;
    Scratch<size_t> begin_;
    Scratch<int16_t> weights_;
};

/// Runs down the columns, by pairs of rows: rows 2q and 2q + 1 are pair q. A word holds the weights
/// of both, that of the even row in its low half.
class PairRuns {
  public:
    struct Run {
        uint64_t first;  ///< pair
        uint32_t count;
        const uint32_t* weights;
    };

    explicit PairRuns(const Runs& runs);
    /// False when there is no memory.
    explicit operator bool() const { return first_ && begin_ && weights_; }

    Run operator[](uint64_t i) const {
        return {first_[i], static_cast<uint32_t>(begin_[i + 1] - begin_[i]),
                weights_.get() + begin_[i]};
    }
    uint32_t longest() const { return longest_; }

  private:
    uint32_t longest_ = 0;
    Scratch<uint32_t> first_;
    Scratch<size_t> begin_;
    Scratch<uint32_t> weights_;
};

}  // namespace qmpic
