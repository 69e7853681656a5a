#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lists.h"
#include "picture.h"

namespace tool {

/// One component of a histogram plot.
struct Curve {
    std::string name;
    Colour colour;
    std::vector<std::uint64_t> counts;  ///< by value, from 0 to the greatest
    Range limits;                       ///< marked by dashed lines
};

/// Where things stand in the plot, in pixels from its upper left corner. A bin holds
/// `values_per_bin` values from a multiple of that on. The bin from value v on covers
///     x from left + (v - first) * (right - left) / (last - first)
/// and n samples of it reach up to
///     y = bottom - n / most * (bottom - top), or with a logarithmic axis
///     y = bottom - log(n / 0.5) / log(most / 0.5) * (bottom - top), bottom for none.
/// On a linear axis peaks far higher than the rest run off the top, with a number beside them.
struct Axes {
    double width, height;
    double left, top, right, bottom;
    double first, last;  ///< values at left and right
    std::uint32_t values_per_bin;
    double most;  ///< samples at the top
    bool logarithmic;
};

/// Draws the curves on white, each in the ink of its colour, and says where. Texts are UTF-8.
Axes draw_plot(Pixels& screen, const std::string& title, const std::string& subtitle,
               const std::vector<Curve>& curves, bool logarithmic);

}  // namespace tool
