#pragma once

#include <cstdint>

#include "stretch/filter_kernels.h"

namespace qmpic {

/// The first pass as shuffles. A vector makes so many destination samples, of 32 bits each. Pair by
/// pair of taps, a shuffle fetches the two source samples of each of them as words out of windows
/// that are loaded from the source, and a product with the weights follows. Lanes that no tap needs
/// have weight 0.
class WindowTable {
  public:
    struct Shape {
        uint32_t vector, window;  ///< bytes; windows fill a vector
        uint32_t outputs;         ///< samples that a window makes
        uint32_t pairs;           ///< of taps
        bool shared;              ///< one window for all pairs of taps
    };
    static constexpr uint32_t kMostPairs = 16;  ///< of a shape; one more where it asks for room
    enum State { kFits, kDoesNotFit, kNoMemory };

    /// Fits if each window holds all that its samples need. Windows stay within a line of
    /// `line_bytes`, at least one window long.
    WindowTable(Shape shape, Lines lines, uint32_t sample_bytes, uint64_t line_bytes);
    State state() const { return state_; }
    const Shape& shape() const { return shape_; }
    uint64_t vectors() const { return vectors_; }
    /// Samples that are written, those behind the last included.
    uint64_t samples_written() const { return vectors_ * outputs_of_vector() + 4; }
    uint64_t outputs_of_vector() const {
        return uint64_t{shape_.vector / shape_.window} * shape_.outputs;
    }

    /// Where the windows of a vector begin in the line, for one pair of taps after the other.
    const uint32_t* offsets() const { return offsets_.get(); }
    /// For each vector and pair of taps: a vector of bytes that control a shuffle, and the weights.
    const uint8_t* steps() const { return steps_.get(); }

  private:
    bool place(Lines lines, uint64_t window, uint32_t sample_bytes, uint64_t line_bytes);

    Shape shape_;
    uint64_t vectors_;
    State state_ = kNoMemory;
    Scratch<uint32_t> offsets_;
    Scratch<uint8_t> steps_;
};

/// One pair of the band from two lines, as filter_lines does. What lies `ahead` bytes behind both
/// is asked for meanwhile.
using FilterWindows = void(uint32_t* pair, const void* even, const void* odd, uint64_t ahead,
                           const WindowTable& table);

}  // namespace qmpic
