#include "plot.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>

#include "canvas.h"
#include "colours.h"

namespace tool {

namespace {

constexpr double kWidth = 1000, kAreaHeight = 440;
constexpr double kLeft = 104, kRight = 972, kBelow = 66;
constexpr double kTitle = 38, kSubtitle = 62, kLegend = 92, kLegendRow = 24;
constexpr double kAreaGap = 22;  ///< between legend and area
constexpr std::size_t kLegendColumns = 3, kMostInLegend = 9;
constexpr double kNarrowestBin = 2.5;
/// On a linear axis peaks above so many times what all but a twentieth of the bins stay below run
/// off the top: else a dark background is all that can be seen.
constexpr double kTallest = 4;
constexpr std::size_t kHigherOf = 20;
constexpr double kNothing = 0.5;  ///< samples at the bottom of a logarithmic axis

constexpr Colour kGrid = 0xE4E4E4;

/// 12345 as "12 345", with narrow spaces.
std::string grouped(std::uint64_t value) {
    std::string digits = std::to_string(value);
    for (std::size_t at = digits.size(); at > 3;) digits.insert(at -= 3, "\u2009");
    return digits;
}

/// A round number that parts `span` into at most `parts`: 1, 2 or 5 times a power of ten.
std::uint64_t round_step(double span, unsigned parts) {
    std::uint64_t step = 1;
    for (unsigned i = 0; span > static_cast<double>(step * parts); ++i)
        step = i % 3 == 1 ? step / 2 * 5 : step * 2;
    return step;
}

/// Samples in the bin of `values` values from `first` on.
double in_bin(const Curve& curve, std::uint32_t first, std::uint32_t values) {
    std::uint64_t sum = 0;
    for (std::size_t v = first; v < std::min<std::size_t>(first + values, curve.counts.size()); ++v)
        sum += curve.counts[v];
    return static_cast<double>(sum);
}

struct Peak {
    std::uint32_t first = 0;  ///< value
    double samples = 0;
};

Peak peak_of(const Curve& curve, std::uint32_t values) {
    Peak peak;
    for (std::uint32_t v = 0; v < curve.counts.size(); v += values)
        if (in_bin(curve, v, values) > peak.samples) peak = {v, in_bin(curve, v, values)};
    return peak;
}

/// Samples at the top of the axis.
double highest(const std::vector<Curve>& curves, std::uint32_t values, bool logarithmic) {
    std::vector<double> bins;
    for (const Curve& curve : curves)
        for (std::uint32_t v = 0; v < curve.counts.size(); v += values)
            if (const double samples = in_bin(curve, v, values); samples > 0)
                bins.push_back(samples);
    std::ranges::sort(bins, std::greater());
    return logarithmic ? bins[0] * 1.5
                       : std::min(bins[0], kTallest * bins[bins.size() / kHigherOf]) * 1.04;
}

/// From the least value to the greatest of all curves, with some air; from 0 if that is near.
Axes choose_axes(const std::vector<Curve>& curves, bool logarithmic) {
    double least = 65535, greatest = 0;
    for (const Curve& curve : curves) {
        const auto some = [](std::uint64_t count) { return count != 0; };
        const auto begin = std::ranges::find_if(curve.counts, some);
        least = std::min(least, static_cast<double>(begin - curve.counts.begin()));
        greatest = std::max(greatest, static_cast<double>(curve.counts.size() - 1));
    }
    const std::size_t rows =
        (std::min(curves.size(), kMostInLegend) + kLegendColumns - 1) / kLegendColumns;
    const double top = kLegend + kLegendRow * static_cast<double>(rows - 1) + kAreaGap;
    Axes axes{
        kWidth,     top + kAreaHeight + kBelow, kLeft, top, kRight, top + kAreaHeight, 0, 0, 1, 1,
        logarithmic};
    const double air = std::max(2.0, std::round((greatest - least) / 50));
    axes.first = least - air < (greatest - least) / 4 ? 0 : least - air;
    axes.last = greatest + 1 + air;
    while ((axes.right - axes.left) * axes.values_per_bin / (axes.last - axes.first) <
           kNarrowestBin)
        axes.values_per_bin *= 2;
    axes.most = highest(curves, axes.values_per_bin, logarithmic);
    return axes;
}

double x_of(const Axes& axes, double value) {
    return axes.left + (value - axes.first) * (axes.right - axes.left) / (axes.last - axes.first);
}

double y_of(const Axes& axes, double samples) {
    double part = samples / axes.most;
    if (axes.logarithmic)
        part =
            samples > kNothing ? std::log(samples / kNothing) / std::log(axes.most / kNothing) : 0;
    return axes.bottom - part * (axes.bottom - axes.top);
}

void draw_axes(const Canvas& canvas, const Axes& axes) {
    canvas.font(15);
    const auto across = [&](std::uint64_t samples) {
        const double y = std::round(y_of(axes, static_cast<double>(samples))) + 0.5;
        cairo_set_line_width(canvas.cairo, 1);
        canvas.colour(kGrid);
        canvas.line(axes.left, y, axes.right, y);
        canvas.colour(kText);
        canvas.text(axes.left - 10, y + 5, 1, grouped(samples));
    };
    const auto most = static_cast<std::uint64_t>(axes.most);
    if (axes.logarithmic) {
        for (std::uint64_t decade = 1; decade <= most; decade *= 10) across(decade);
    } else {
        const std::uint64_t step = round_step(axes.most, 6);
        for (std::uint64_t samples = 0; samples <= most; samples += step) across(samples);
    }
    const std::uint64_t step = round_step(axes.last - axes.first, 10);
    const auto first = static_cast<std::uint64_t>(axes.first);
    for (std::uint64_t v = (first + step - 1) / step * step; static_cast<double>(v) < axes.last;
         v += step) {
        const double x = std::round(x_of(axes, static_cast<double>(v) + 0.5)) + 0.5;
        canvas.colour(kFaint);
        canvas.line(x, axes.bottom, x, axes.bottom + 6);
        canvas.colour(kText);
        canvas.text(x, axes.bottom + 24, 0.5, grouped(v));
    }
    canvas.colour(kFaint);
    canvas.line(axes.left, axes.bottom + 0.5, axes.right, axes.bottom + 0.5);
    canvas.text((axes.left + axes.right) / 2, axes.bottom + 52, 0.5, "value of a sample");
    cairo_save(canvas.cairo);
    cairo_translate(canvas.cairo, 24, (axes.top + axes.bottom) / 2);
    cairo_rotate(canvas.cairo, -std::numbers::pi / 2);
    canvas.text(0, 0, 0.5,
                axes.values_per_bin == 1
                    ? "samples per value"
                    : "samples per " + std::to_string(axes.values_per_bin) + " values");
    cairo_restore(canvas.cairo);
}

/// Steps, filled with a light tint.
void draw_curve(const Canvas& canvas, const Axes& axes, const Curve& curve) {
    const std::uint32_t values = axes.values_per_bin;
    cairo_save(canvas.cairo);
    cairo_rectangle(canvas.cairo, axes.left, axes.top, axes.right - axes.left,
                    axes.bottom - axes.top + 1);
    cairo_clip(canvas.cairo);
    cairo_move_to(canvas.cairo, x_of(axes, 0), axes.bottom);
    double x = 0;
    for (std::uint32_t v = 0; v < curve.counts.size(); v += values) {
        const double y = y_of(axes, in_bin(curve, v, values));
        cairo_line_to(canvas.cairo, x_of(axes, v), y);
        x = x_of(axes, v + values);
        cairo_line_to(canvas.cairo, x, y);
    }
    cairo_line_to(canvas.cairo, x, axes.bottom);
    canvas.colour(ink(curve.colour), 0.16);
    cairo_fill_preserve(canvas.cairo);
    canvas.colour(ink(curve.colour));
    cairo_set_line_width(canvas.cairo, 1.6);
    cairo_set_line_join(canvas.cairo, CAIRO_LINE_JOIN_BEVEL);
    cairo_stroke(canvas.cairo);
    cairo_restore(canvas.cairo);
}

/// Says beside the peaks that run off the top how high they are, one below the other.
void mark_peaks(const Canvas& canvas, const Axes& axes, const std::vector<Curve>& curves) {
    const std::uint32_t values = axes.values_per_bin;
    std::vector<std::pair<Peak, Colour>> peaks;
    std::uint32_t end = 0;
    for (const Curve& curve : curves) {
        const Peak peak = peak_of(curve, values);
        if (peak.samples <= axes.most) continue;
        std::uint32_t v = peak.first;
        while (in_bin(curve, v, values) > axes.most) v += values;
        end = std::max(end, v);
        peaks.emplace_back(peak, ink(curve.colour));
    }
    canvas.font(14);
    const double x = std::min(x_of(axes, end) + 10, axes.right - 90);
    double y = axes.top + 18;
    for (const auto& [peak, colour] : peaks) {
        const std::string text = grouped(static_cast<std::uint64_t>(peak.samples));
        canvas.colour(kPaper, 0.85);
        cairo_rectangle(canvas.cairo, x - 3, y - 15, 21 + canvas.width(text), 20);
        cairo_fill(canvas.cairo);
        canvas.colour(colour);
        cairo_move_to(canvas.cairo, x, y);
        cairo_line_to(canvas.cairo, x + 10, y);
        cairo_line_to(canvas.cairo, x + 5, y - 10);
        cairo_fill(canvas.cairo);
        canvas.text(x + 15, y, 0, text);
        y += 20;
    }
}

void draw_limits(const Canvas& canvas, const Axes& axes, const Curve& curve) {
    const double dashes[] = {5, 4};
    cairo_set_dash(canvas.cairo, dashes, 2, 0);
    cairo_set_line_width(canvas.cairo, 1.4);
    canvas.colour(ink(curve.colour));
    for (const std::uint32_t value : {curve.limits.low, curve.limits.high}) {
        const double x = x_of(axes, value + 0.5);
        canvas.line(x, axes.top, x, axes.bottom);
    }
    cairo_set_dash(canvas.cairo, nullptr, 0, 0);
}

void draw_legend(const Canvas& canvas, const std::vector<Curve>& curves) {
    canvas.font(15);
    const double column = (kRight - kLeft) / kLegendColumns;
    for (std::size_t i = 0; i < std::min(curves.size(), kMostInLegend); ++i) {
        const std::size_t row = i / kLegendColumns;
        const double x = kLeft + column * static_cast<double>(i - row * kLegendColumns);
        const double y = kLegend + kLegendRow * static_cast<double>(row);
        const bool more = i + 1 == kMostInLegend && curves.size() > kMostInLegend;
        if (more) {
            canvas.colour(kText);
            canvas.text(x, y, 0, "and " + std::to_string(curves.size() - i) + " more");
            break;
        }
        canvas.colour(ink(curves[i].colour));
        cairo_rectangle(canvas.cairo, x, y - 12, 14, 14);
        cairo_fill(canvas.cairo);
        canvas.colour(kText);
        const double end = canvas.text(x + 22, y, 0, curves[i].name);
        canvas.colour(kFaint);
        canvas.text(end + 12, y, 0,
                    grouped(curves[i].limits.low) + " \u2013 " + grouped(curves[i].limits.high));
    }
}

}  // namespace

Axes draw_plot(Pixels& screen, const std::string& title, const std::string& subtitle,
               const std::vector<Curve>& curves, bool logarithmic) {
    const Axes axes = choose_axes(curves, logarithmic);
    const Canvas canvas(kWidth, axes.height);
    canvas.headings(kLeft, kRight - kLeft, kTitle, title, kSubtitle, subtitle);
    draw_legend(canvas, curves);
    draw_axes(canvas, axes);
    for (const Curve& curve : curves) draw_curve(canvas, axes, curve);
    for (const Curve& curve : curves) draw_limits(canvas, axes, curve);
    mark_peaks(canvas, axes, curves);

    canvas.copy_to(screen);
    return axes;
}

}  // namespace tool
