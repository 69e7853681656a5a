#include "canvas.h"

#include <algorithm>

#include "failure.h"

namespace tool {

Canvas::Canvas(double width, double height)
    : surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(width),
                                         static_cast<int>(height))),
      cairo(cairo_create(surface)) {
    colour(kPaper);
    cairo_paint(cairo);
}

Canvas::~Canvas() {
    cairo_destroy(cairo);
    cairo_surface_destroy(surface);
}

void Canvas::colour(Colour c, double alpha) const {
    cairo_set_source_rgba(cairo, (c & 0xFF) / 255.0, (c >> 8 & 0xFF) / 255.0,
                          (c >> 16 & 0xFF) / 255.0, alpha);
}

void Canvas::line(double x0, double y0, double x1, double y1) const {
    cairo_move_to(cairo, x0, y0);
    cairo_line_to(cairo, x1, y1);
    cairo_stroke(cairo);
}

double Canvas::text(double x, double y, double side, const std::string& words) const {
    cairo_move_to(cairo, x - side * width(words), y);
    cairo_show_text(cairo, words.c_str());
    return x + (1 - side) * width(words);
}

double Canvas::width(const std::string& words) const {
    cairo_text_extents_t size;
    cairo_text_extents(cairo, words.c_str(), &size);
    return size.x_advance;
}

void Canvas::font(double size, bool bold) const {
    cairo_select_font_face(cairo, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cairo, size);
}

void Canvas::headings(double x, double room, double title_y, const std::string& title,
                      double subtitle_y, const std::string& subtitle) const {
    const auto put = [&](double y, double size, bool bold, Colour c, const std::string& words) {
        font(size, bold);
        font(size * std::min(1.0, room / width(words)), bold);
        colour(c);
        text(x, y, 0, words);
    };
    put(title_y, 20, true, kText, title);
    put(subtitle_y, 15, false, kFaint, subtitle);
}

void Canvas::copy_to(Pixels& screen) const {
    cairo_surface_flush(surface);
    if (cairo_status(cairo) != CAIRO_STATUS_SUCCESS)
        throw Failure(std::string("the picture cannot be drawn: ") +
                      cairo_status_to_string(cairo_status(cairo)));
    const auto width = static_cast<std::uint32_t>(cairo_image_surface_get_width(surface));
    const auto height = static_cast<std::uint32_t>(cairo_image_surface_get_height(surface));
    screen.allocate(width, height, 8, 3);
    const unsigned char* data = cairo_image_surface_get_data(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    for (std::uint32_t y = 0; y < height; ++y) {
        const auto* from = reinterpret_cast<const std::uint32_t*>(data + std::size_t{y} * stride);
        std::uint8_t* to = screen.row(y);
        for (std::uint32_t x = 0; x < width; ++x, to += 3) {
            to[0] = static_cast<std::uint8_t>(from[x]);
            to[1] = static_cast<std::uint8_t>(from[x] >> 8);
            to[2] = static_cast<std::uint8_t>(from[x] >> 16);
        }
    }
}

}  // namespace tool
