#include "focus_plot.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "canvas.h"

namespace tool {

namespace {

constexpr double kWidth = 1000, kHeight = 600, kLeft = 84, kRight = 972, kTop = 146, kBottom = 528;
constexpr double kTitle = 38, kSubtitle = 62, kLegend = 94, kLegendRow = 24;
constexpr std::size_t kLegendColumns = 3;
constexpr Colour kGrid = 0xE4E4E4;

double x_of(double plane, std::size_t planes) {
    return kLeft + (plane + 0.5) * (kRight - kLeft) / static_cast<double>(planes);
}
double y_of(double value) { return kBottom - value * (kBottom - kTop); }

void dot(const Canvas& canvas, double x, double y, double radius) {
    cairo_arc(canvas.cairo, x, y, radius, 0, 2 * std::numbers::pi);
    cairo_fill(canvas.cairo);
}

void draw_axes(const Canvas& canvas, std::size_t planes) {
    canvas.font(15);
    cairo_set_line_width(canvas.cairo, 1);
    for (int tenths = 0; tenths <= 10; tenths += 2) {
        const double y = std::round(y_of(tenths / 10.0)) + 0.5;
        canvas.colour(kGrid);
        canvas.line(kLeft, y, kRight, y);
        canvas.colour(kText);
        canvas.text(kLeft - 10, y + 5, 1, tenths == 10 ? "1" : "0." + std::to_string(tenths));
    }
    std::size_t step = 1;
    for (unsigned i = 0; planes > step * 25; ++i) step = i % 3 == 1 ? step / 2 * 5 : step * 2;
    for (std::size_t plane = 0; plane < planes; plane += step) {
        const double x = std::round(x_of(static_cast<double>(plane), planes)) + 0.5;
        canvas.colour(kFaint);
        canvas.line(x, kBottom, x, kBottom + 6);
        canvas.colour(kText);
        canvas.text(x, kBottom + 24, 0.5, std::to_string(plane));
    }
    canvas.colour(kFaint);
    canvas.line(kLeft, kBottom + 0.5, kRight, kBottom + 0.5);
    canvas.text((kLeft + kRight) / 2, kBottom + 54, 0.5, "plane");
    cairo_save(canvas.cairo);
    cairo_translate(canvas.cairo, 24, (kTop + kBottom) / 2);
    cairo_rotate(canvas.cairo, -std::numbers::pi / 2);
    canvas.text(0, 0, 0.5, "each criterion, from its least value to its greatest");
    cairo_restore(canvas.cairo);
}

void draw_curve(const Canvas& canvas, const FocusCurve& curve) {
    const std::size_t planes = curve.values.size();
    canvas.colour(curve.colour);
    cairo_set_line_width(canvas.cairo, 2);
    cairo_set_line_join(canvas.cairo, CAIRO_LINE_JOIN_ROUND);
    bool pen_down = false;
    for (std::size_t plane = 0; plane < planes; ++plane) {
        const double value = curve.normalised(plane);
        const double x = x_of(static_cast<double>(plane), planes);
        if (std::isnan(value))
            pen_down = false;
        else if (std::exchange(pen_down, true))
            cairo_line_to(canvas.cairo, x, y_of(value));
        else
            cairo_move_to(canvas.cairo, x, y_of(value));
    }
    cairo_stroke(canvas.cairo);
    if (planes <= 60)
        for (std::size_t plane = 0; plane < planes; ++plane)
            if (!std::isnan(curve.normalised(plane)))
                dot(canvas, x_of(static_cast<double>(plane), planes), y_of(curve.normalised(plane)),
                    3);
}

/// Rings around the sharpest planes. Where several curves have the same, the rings lie one around
/// the other.
void mark_sharpest(const Canvas& canvas, const std::vector<FocusCurve>& curves) {
    cairo_set_line_width(canvas.cairo, 2);
    for (std::size_t i = 0; i < curves.size(); ++i) {
        if (!curves[i].sharpest) continue;
        const std::size_t plane = *curves[i].sharpest;
        const auto same =
            std::count_if(curves.begin(), curves.begin() + static_cast<std::ptrdiff_t>(i),
                          [&](const auto& c) { return c.sharpest == plane; });
        canvas.colour(curves[i].colour);
        cairo_new_sub_path(canvas.cairo);
        cairo_arc(canvas.cairo, x_of(static_cast<double>(plane), curves[i].values.size()),
                  y_of(curves[i].normalised(plane)), 6 + 3 * static_cast<double>(same), 0,
                  2 * std::numbers::pi);
        cairo_stroke(canvas.cairo);
    }
}

void draw_legend(const Canvas& canvas, const std::vector<FocusCurve>& curves) {
    canvas.font(15);
    const double column = (kRight - kLeft) / kLegendColumns;
    for (std::size_t i = 0; i < curves.size(); ++i) {
        const double x = kLeft + column * static_cast<double>(i % kLegendColumns);
        const double y = kLegend + kLegendRow * static_cast<double>(i / kLegendColumns);
        canvas.colour(curves[i].colour);
        cairo_set_line_width(canvas.cairo, 3);
        canvas.line(x, y - 5, x + 24, y - 5);
        dot(canvas, x + 12, y - 5, 4.5);
        canvas.colour(kText);
        const double end = canvas.text(x + 32, y, 0, curves[i].name);
        canvas.colour(kFaint);
        canvas.text(end + 12, y, 0,
                    curves[i].sharpest ? "plane " + std::to_string(*curves[i].sharpest) : "none");
    }
}

}  // namespace

double FocusCurve::normalised(std::size_t plane) const {
    double least = INFINITY, greatest = -INFINITY;
    for (const double value : values)
        if (std::isfinite(value)) {
            least = std::min(least, value);
            greatest = std::max(greatest, value);
        }
    if (!std::isfinite(values[plane])) return NAN;
    return greatest > least ? (values[plane] - least) / (greatest - least) : 0;
}

FocusAxes draw_focus_plot(Pixels& screen, const std::string& title, const std::string& subtitle,
                          const std::vector<FocusCurve>& curves) {
    const Canvas canvas(kWidth, kHeight);
    canvas.headings(kLeft, kRight - kLeft, kTitle, title, kSubtitle, subtitle);
    draw_legend(canvas, curves);
    draw_axes(canvas, curves[0].values.size());
    for (const FocusCurve& curve : curves) draw_curve(canvas, curve);
    mark_sharpest(canvas, curves);
    canvas.copy_to(screen);
    return {kWidth, kHeight, kLeft, kTop, kRight, kBottom};
}

}  // namespace tool
