#pragma once

#include <cstdint>

#include "core/rows.h"
#include "stretch/filter.h"

namespace qmpic {

/// The nearest pixels, of so many bytes, of a window.
/// @return 0, -3 when there is no memory
int stretch_quick(Dst dst, Src src, uint64_t pixel_bytes, const StretchWindow& window);
/// `src` is the first pixel of the known part. Only the two ends of a row are tested.
int stretch_quick(Dst dst, Src src, uint64_t pixel_bytes, const StretchWindow& window,
                  const KnownPart& known);

}  // namespace qmpic
