#include "colour_bar.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

#include "canvas.h"

namespace tool {

namespace {

constexpr double kMargin = 16, kHeader = 44, kGap = 20, kBarWidth = 24, kTick = 5;
constexpr double kLeastBar = 160;  ///< height
constexpr double kTitleSize = 15, kLabelSize = 13, kLabelRoom = 64;
constexpr unsigned kMostTicks = 6;

/// Where a value stands, 0 at the low end and 1 at the high one.
double place(const ColourBar& bar, double value) {
    if (bar.logarithmic)
        return (std::log10(value) - std::log10(bar.low)) /
               (std::log10(bar.high) - std::log10(bar.low));
    return (value - bar.low) / (bar.high - bar.low);
}

/// Multiples of 1, 2 or 5 times a power of ten.
std::vector<double> even_ticks(double low, double high) {
    const double span = high - low;
    double step = std::pow(10, std::floor(std::log10(span / kMostTicks)));
    for (const double factor : {1.0, 2.0, 5.0, 10.0})
        if (span / (step * factor) <= kMostTicks) {
            step *= factor;
            break;
        }
    std::vector<double> ticks;
    for (double i = std::ceil(low / step - 1e-9); i * step <= high + step * 1e-9; ++i)
        ticks.push_back(i * step);
    return ticks;
}

/// 1, 2 and 5 of each power of ten, or of many the powers alone.
std::vector<double> log_ticks(double low, double high) {
    std::vector<double> ticks;
    const double decades = std::log10(high / low);
    for (double e = std::floor(std::log10(low)); e <= std::ceil(std::log10(high)); ++e)
        for (const double factor : {1.0, 2.0, 5.0}) {
            const double value = factor * std::pow(10, e);
            if (factor != 1 && decades > 2.5) continue;
            if (value >= low * (1 - 1e-9) && value <= high * (1 + 1e-9)) ticks.push_back(value);
        }
    return ticks;
}

std::string label(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.4g", std::abs(value) < 1e-12 ? 0.0 : value);
    return text[0] == '-' ? "\u2212" + std::string(text + 1) : text;
}

}  // namespace

void draw_with_bar(Pixels& screen, const Pixels& picture, const std::string& title,
                   const ColourBar& bar) {
    const SQmPicBuf& from = picture.record();
    const double height = std::max<double>(from.uiHeight, kLeastBar);
    const double left = kMargin + from.uiWidth + kGap, top = kHeader, bottom = top + height;
    double width = left + kBarWidth + kTick + kLabelRoom;
    {
        const Canvas measured(1, 1);
        measured.font(kTitleSize, true);
        width = std::max(width, std::ceil(2 * kMargin + measured.width(title)));
    }
    const Canvas canvas(width, bottom + kMargin);
    canvas.font(kTitleSize, true);
    canvas.colour(kText);
    canvas.text(kMargin, 28, 0, title);

    for (double y = 0; y < height; ++y) {
        const double t = 1 - (y + 0.5) / height;
        const Colour colour = bar.colours[static_cast<std::size_t>(t * 255)];
        for (double x = 0; x < kBarWidth; ++x) {
            const double part = bar.shaded ? (x + 1) / kBarWidth : 1;
            Colour dimmed = 0;
            for (const unsigned shift : {0u, 8u, 16u})
                dimmed |= static_cast<Colour>((colour >> shift & 0xFF) * part) << shift;
            canvas.colour(dimmed);
            cairo_rectangle(canvas.cairo, left + x, top + y, 1, 1);
            cairo_fill(canvas.cairo);
        }
    }
    cairo_set_line_width(canvas.cairo, 1);
    canvas.font(kLabelSize);
    canvas.colour(kText);
    for (const double value :
         bar.logarithmic ? log_ticks(bar.low, bar.high) : even_ticks(bar.low, bar.high)) {
        const double y = std::round(bottom - place(bar, value) * height) + 0.5;
        const double at = std::clamp(y, top + 0.5, bottom - 0.5);
        canvas.line(left + kBarWidth, at, left + kBarWidth + kTick, at);
        canvas.text(left + kBarWidth + kTick + 4, at + 4.5, 0, label(value));
    }
    canvas.copy_to(screen);

    for (std::uint32_t y = 0; y < from.uiHeight; ++y)
        std::memcpy(screen.row(y + static_cast<std::uint32_t>(kHeader)) +
                        std::size_t{3} * static_cast<std::uint32_t>(kMargin),
                    picture.row(y), std::size_t{3} * from.uiWidth);
}

}  // namespace tool
