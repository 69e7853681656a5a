#pragma once

#include <cairo.h>

#include <string>

#include "lists.h"
#include "picture.h"

namespace tool {

constexpr Colour kPaper = 0xFFFFFF, kText = 0x333333, kFaint = 0x707070;

/// White paper for plots and galleries, in pixels from its upper left corner.
struct Canvas {
    cairo_surface_t* surface;
    cairo_t* cairo;

    Canvas(double width, double height);
    ~Canvas();
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    void colour(Colour c, double alpha = 1) const;
    void line(double x0, double y0, double x1, double y1) const;
    /// `side`: 0 starts at x, 0.5 is centred, 1 ends there. Returns where the text ends.
    double text(double x, double y, double side, const std::string& words) const;
    double width(const std::string& words) const;
    void font(double size, bool bold = false) const;
    /// A title and what stands below it, made smaller where they would be wider than `room`.
    void headings(double x, double room, double title_y, const std::string& title,
                  double subtitle_y, const std::string& subtitle) const;

    /// What was drawn, as 3 x 8 bits in blue, green, red order. Fails when it could not be drawn.
    void copy_to(Pixels& screen) const;
};

}  // namespace tool
