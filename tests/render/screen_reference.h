#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "qmpic/Lut.h"

namespace qmpic::test {

using Bgr = std::array<uint8_t, 3>;

/// What one pixel looks like on the screen, in the plainest words: its samples, of `bpc` bits each,
/// through `lut`, which may be null. Nothing when the pixel is left as it was. For the pictures and
/// sets that ConvertToTrueColor takes.
std::optional<Bgr> on_screen(const std::vector<uint32_t>& samples, uint32_t bpc, const SQmLut* lut);

}  // namespace qmpic::test
