#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lists.h"
#include "picture.h"

namespace tool {

// How a picture of floats is shown.

struct FloatChannel {
    std::uint32_t component;
    Colour colour;
    Levels levels;
    double gamma;
};

/// Brings infinities to the greatest and the least number of their component, and what is no number
/// to the least, and warns when there are any. Fails when a component has no numbers at all.
void make_finite(Picture& picture, const std::string& path);

/// Levels of each component that leave out so many percent of the samples at the two ends, found in
/// 65536 steps from its minimum to its maximum. A component of one value is black.
std::vector<Levels> float_levels(const Picture& picture, const Percents& left_out);

/// Shows the channels, merged. `lut`, of a single channel in white, is a colour table.
Pixels show_floats(Picture& picture, const std::vector<FloatChannel>& channels,
                   std::optional<std::uint32_t> lut);

}  // namespace tool
