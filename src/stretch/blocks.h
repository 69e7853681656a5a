#pragma once

#include <cstdint>

#include "core/rows.h"
#include "stretch/filter.h"

namespace qmpic {

/// Means of some samples of the blocks of a picture, one block a pixel of the stretched picture,
/// which is less than half as wide and as high. `bits` are those of storage, 8 or 16. Rows are
/// shared by the caller and one thread that it starts.
/// @return 0, -9 when there is no memory
/// @throws std::system_error when the thread cannot be started
int stretch_blocks(Dst dst, Src src, uint32_t components, uint32_t bits,
                   const StretchWindow& window);

}  // namespace qmpic
