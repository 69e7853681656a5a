#pragma once

#include <optional>
#include <string>
#include <vector>

#include "lists.h"
#include "picture.h"

namespace tool {

/// What one criterion gives for each plane; NaN where it gives nothing.
struct FocusCurve {
    std::string name;
    Colour colour;
    std::vector<double> values;
    std::optional<std::size_t> sharpest;  ///< plane; none when there is no value

    /// The value of a plane, 0 being the least of the curve and 1 the greatest. A curve that is
    /// level is at 0.
    double normalised(std::size_t plane) const;
};

/// Where things stand in the plot, in pixels from its upper left corner: plane p at
///     x = left + (p + 0.5) * (right - left) / planes
/// and the normalised value v at y = bottom - v * (bottom - top).
struct FocusAxes {
    double width, height;
    double left, top, right, bottom;
};

/// Draws the curves, a marker at each sharpest plane, and says where. Texts are UTF-8.
FocusAxes draw_focus_plot(Pixels& screen, const std::string& title, const std::string& subtitle,
                          const std::vector<FocusCurve>& curves);

}  // namespace tool
