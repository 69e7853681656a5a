#pragma once

#include <cstdint>

#include "core/rows.h"
#include "qmpic/PicMemAPI_Base.h"

namespace qmpic {

/// Counts the rows of an area at once, components and intensity: what the entry counts, for callers
/// that split the rows of a picture among threads with bins of their own. A call for many rows is
/// several times as fast as a call for each of them.
inline int count_rows(void** components, void* intensity, uint32_t bin_bytes, Src src,
                      uint32_t count, uint32_t bpc, uint32_t step_x, uint32_t step_y,
                      uint32_t width, uint64_t rows) {
    return CQmPicMemAPI_Base::GetHistogramEx(components, intensity, bin_bytes, src.first,
                                             src.stride, count, bpc, step_x, step_y, width,
                                             width * rows);
}

}  // namespace qmpic
