#pragma once

#include <array>
#include <string>

#include "lists.h"
#include "picture.h"

namespace tool {

/// The colours of a scale and the values at its ends.
struct ColourBar {
    std::array<Colour, 256> colours;  ///< of the low end first
    double low, high;
    bool logarithmic = false;  ///< both above 0 then, and the scale even in their logarithms
    bool shaded = false;       ///< each colour from black, left, to full brightness, right
};

/// A picture of 3 x 8 bits (blue, green, red) as it is, on white paper, with a title over it and
/// the bar beside it, values at its ticks.
void draw_with_bar(Pixels& screen, const Pixels& picture, const std::string& title,
                   const ColourBar& bar);

}  // namespace tool
