#pragma once

#include <cstdint>

#include "core/arithmetic.h"
#include "stretch/filter.h"

/// Where the nearest samples of a window are.

namespace qmpic {

/// One axis of a window.
struct NearestAxis {
    uint32_t count;   ///< pixels of the window
    uint32_t whole;   ///< pixels of the stretched picture
    uint32_t start;   ///< the window's first among them
    uint32_t source;  ///< pixels of the picture, at least 1
    bool flip;

    static NearestAxis columns(const StretchWindow& w) {
        return {w.width, w.virtual_width, w.left, w.source_width, w.flip_x};
    }
    static NearestAxis rows(const StretchWindow& w) {
        return {w.height, w.virtual_height, w.top, w.source_height, w.flip_y};
    }

    /// Pixels of the picture for one of the stretched picture.
    double scale() const { return static_cast<double>(source) / whole; }
    /// Which pixel of the stretched picture the window's pixel i is.
    uint64_t place(uint32_t i) const { return uint64_t{start} + (flip ? count - 1 - i : i); }
    /// The picture's pixel that it shows.
    uint32_t nearest(uint32_t i) const {
        return trunc_clamp((static_cast<double>(place(i)) + 0.5) * scale(), source - 1);
    }
    /// The picture's pixel where the window begins, if it does not begin behind it.
    uint32_t first() const { return trunc_clamp(start * scale(), UINT32_MAX); }
};

}  // namespace qmpic
