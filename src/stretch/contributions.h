#pragma once

#include <cstdint>

#include "core/scratch.h"
#include "qmpic/PicMemAPI_Base.h"

/// Contribution lists: which samples of a source line make a destination sample, and how much.

namespace qmpic {

/// Samples of a line [first, end).
struct SampleRange {
    int64_t first, end;
    bool contains(int64_t j) const { return j >= first && j < end; }
};

/// How the destination samples of a line lie over the source. Sample i is at
/// ((i * scale - 0.5) + scale * 0.5) + start * scale.
struct FilterAxis {
    double scale;              ///< source samples a destination sample
    uint32_t count;            ///< destination samples
    uint32_t start = 0;        ///< destination samples in front of the first
    bool flip = false;         ///< the last one is the first
    SampleRange line{};        ///< what the line has: the ends stand for what lies beyond
    SampleRange known = line;  ///< of it, what takes part
};

/// Weights in whole parts of one.
struct WeightRule {
    int32_t one;      ///< what the weights of a list sum up to
    double rounding;  ///< added to a weight before it is cut
};
inline constexpr WeightRule kPictureWeights{1024, 0.5}, kValidityWeights{65536, 0};

/// Samples that a filter reaches over: 2 (triangle) or 3 (quadratic B-spline), more of a reduction.
double filter_support(CQmPicMemAPI_Base::EQmPicStretchMode mode, double scale);

/// The lists of an axis. StretchSpline is the quadratic B-spline, everything else the triangle.
class Contributions {
  public:
    /// Weights of `count` samples that follow one another, the first of which is sample `first` of
    /// an endless line: Contributions::sample() says where in the line that is. Lists are empty
    /// only where nothing that is known takes part.
    struct List {
        int64_t first;
        const int32_t* weights;
        uint32_t count;
    };

    Contributions(const FilterAxis& axis, CQmPicMemAPI_Base::EQmPicStretchMode mode,
                  WeightRule rule);
    /// False when there is no memory.
    explicit operator bool() const { return first_ && begin_ && weights_; }

    uint32_t size() const { return axis_.count; }
    List operator[](uint64_t i) const {
        return {first_[i], weights_.get() + begin_[i],
                static_cast<uint32_t>(begin_[i + 1] - begin_[i])};
    }
    /// Sample j of the endless line, which is one of `line`.
    int64_t sample(int64_t j) const {
        return j < axis_.line.first ? axis_.line.first
               : j < axis_.line.end ? j
                                    : axis_.line.end - 1;
    }
    /// The most weights that a list has, and those of all lists.
    uint32_t longest() const { return longest_; }
    size_t weights() const { return begin_[axis_.count]; }

  private:
    FilterAxis axis_;
    size_t capacity_;  // of a list
    uint32_t longest_ = 0;
    Scratch<int64_t> first_;
    Scratch<size_t> begin_;
    Scratch<int32_t> weights_;
};

}  // namespace qmpic
