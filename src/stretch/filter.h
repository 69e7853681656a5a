#pragma once

#include <cstdint>

#include "core/rows.h"
#include "qmpic/PicMemAPI_Base.h"

/// Pictures stretched by separable filters: along the rows, then down the columns.

namespace qmpic {

/// The window of `width` x `height` pixels at (`left`, `top`) of a source that is stretched to the
/// virtual size. Virtual and source sizes are not 0.
struct StretchWindow {
    uint32_t width, height;
    uint32_t virtual_width, virtual_height;
    uint32_t left, top;
    uint32_t source_width, source_height;
    bool flip_x = false, flip_y = false;
};

/// The part of a source that is in memory, and the pixel that all the rest shows.
struct KnownPart {
    uint32_t left, top, width, height;
    const void* background;
};

/// The filter path of the StretchDisplay entries, for modes StretchSpline and StretchLinear (any
/// other is the triangle, too). `bits` are those of storage, 8 or 16.
/// @return 0, also for a destination size of 0; -4 (8 bits) or -3 for a window so far below the
///         source that no row is left for it; -3 when there is no memory. Nothing is written then.
int stretch_filtered(Dst dst, Src src, uint32_t components, uint32_t bits,
                     const StretchWindow& window, CQmPicMemAPI_Base::EQmPicStretchMode mode);
/// `src` is the first pixel of the known part. Flips are for callers that have them.
int stretch_filtered(Dst dst, Src src, uint32_t components, uint32_t bits,
                     const StretchWindow& window, const KnownPart& known,
                     CQmPicMemAPI_Base::EQmPicStretchMode mode);
/// Floats, in single precision.
int stretch_filtered(FloatDst dst, FloatSrc src, uint32_t components, const StretchWindow& window,
                     CQmPicMemAPI_Base::EQmPicStretchMode mode);

}  // namespace qmpic
