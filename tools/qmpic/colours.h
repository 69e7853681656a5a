#pragma once

#include "lists.h"
#include "picture.h"

namespace tool {

constexpr Colour kRed = 0x0000FF, kGreen = 0x00FF00, kBlue = 0xFF0000, kGrey = 0xFFFFFF;

/// How a component is shown unless the user says otherwise: RGB as it is; a single one grey; else
/// blue, green, red, grey, cyan, magenta, yellow, and again.
Colour usual_colour(const Picture& picture, std::uint32_t component, bool alone);

/// The same hue for lines on white paper.
Colour ink(Colour colour);

}  // namespace tool
