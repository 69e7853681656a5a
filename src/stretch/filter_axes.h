#pragma once

#include "stretch/contributions.h"
#include "stretch/filter.h"

namespace qmpic {

inline double scale_of(uint32_t source, uint32_t virtual_size) {
    return static_cast<double>(source) / virtual_size;
}

inline FilterAxis horizontal_axis(const StretchWindow& w) {
    return {.scale = scale_of(w.source_width, w.virtual_width),
            .count = w.width,
            .start = w.left,
            .flip = w.flip_x,
            .line = {0, w.source_width}};
}
inline FilterAxis vertical_axis(const StretchWindow& w) {
    return {.scale = scale_of(w.source_height, w.virtual_height),
            .count = w.height,
            .start = w.top,
            .flip = w.flip_y,
            .line = {0, w.source_height}};
}

/// Rows of the source that a window may need: those that it shows and a margin of as many as the
/// filter reaches over, on both sides; none, or fewer, for windows below the source. What the
/// filters read is always among them.
double band_height(const StretchWindow& window, CQmPicMemAPI_Base::EQmPicStretchMode mode);

}  // namespace qmpic
