#include "screen.h"

#include <algorithm>
#include <cmath>

#include "failure.h"
#include "options.h"
#include "view.h"

namespace tool {

namespace {

constexpr double kMostZoom = 1000;
constexpr std::uint32_t kMostSize = 0x7FFFFFFF;

/// A picture of one bit a pixel.
Pixels bits_of_size(const Size& size) {
    Pixels bits;
    bits.allocate((size.width + 7) / 8, size.height, 8, 1);
    return bits;
}

/// Pixels that are not 0.
Pixels packed(const Pixels& mask) {
    constexpr std::uint32_t kDiffers = 1, kReplace = 0;
    const SQmPicBuf& from = mask.record();
    Pixels bits = bits_of_size({from.uiWidth, from.uiHeight});
    check(CQmPicMemAPI_Base::PackToBinary(bits.record().pData, 0, bits.record().uiWidthBytes,
                                          from.pData, 1, 8, from.uiWidthBytes, std::uint64_t{0},
                                          kDiffers, from.uiWidth,
                                          std::uint64_t{from.uiWidth} * from.uiHeight, kReplace),
          "no mask");
    return bits;
}

}  // namespace

Screen::Screen(const ScreenOptions& options)
    : overlay_(options.overlay.value_or("")),
      alpha_(static_cast<unsigned char>(options.overlay_alpha)) {
    if (options.window) window_ = parse_window("--window", *options.window);
    if (options.zoom) {
        constexpr std::size_t kStart = 4;
        if (options.zoom->starts_with("fit:"))
            fit_ = parse_size("--zoom", options.zoom->substr(kStart));
        else
            zoom_ = parse_number("--zoom", *options.zoom, kMostZoom);
    }
    if (options.mode)
        mode_ = *options.mode == "quick"    ? CQmPicMemAPI_Base::StretchQuick
                : *options.mode == "linear" ? CQmPicMemAPI_Base::StretchLinear
                                            : CQmPicMemAPI_Base::StretchSpline;
    if (options.flip) {
        flip_x_ = options.flip->find('x') != std::string::npos;
        flip_y_ = options.flip->find('y') != std::string::npos;
    }
    if (options.overlay_colour) {
        const std::optional<Colour> colour = parse_colour(*options.overlay_colour);
        if (!colour)
            throw WrongUsage("--overlay-color: '" + *options.overlay_colour +
                             "' is no colour such as FF8000");
        colour_ = *colour;
    }
}

Size Screen::stretched_size(const Size& of) const {
    if (!zoom_ && !fit_) return of;
    const double zoom = zoom_ ? *zoom_
                              : std::min(static_cast<double>(fit_->width) / of.width,
                                         static_cast<double>(fit_->height) / of.height);
    const auto stretched = [zoom](std::uint32_t size) {
        const double value = std::floor(size * zoom + 0.5);
        if (value > kMostSize) throw WrongUsage("--zoom: the picture would be too large");
        return std::max(static_cast<std::uint32_t>(value), std::uint32_t{1});
    };
    return {stretched(of.width), stretched(of.height)};
}

void Screen::read_mask(const Wanted& wanted, const std::string& output) {
    if (overlay_.empty()) return;
    Wanted mask{overlay_, std::nullopt, wanted.max_pixels};
    check_output("--output", mask, output);
    mask_ = read(mask);
    if (mask_->components() != 1 || mask_->container != 8)
        throw Failure(overlay_ + ": not a mask, which has one component of 8 bits");
}

void Screen::check_fit(const Picture& picture, const Wanted& wanted) {
    const Size of{picture.width(), picture.height()}, all = stretched_size(of);
    if (mask_ && (mask_->width() != of.width || mask_->height() != of.height))
        throw Failure(overlay_ + ": the mask has " + std::to_string(mask_->width()) + " x " +
                      std::to_string(mask_->height()) + " pixels, and the picture " +
                      std::to_string(of.width) + " x " + std::to_string(of.height));
    const Window window = window_.value_or(Window{0, 0, all});
    if (window.x >= all.width || window.size.width > all.width - window.x ||
        window.y >= all.height || window.size.height > all.height - window.y)
        throw WrongUsage("--window: it is not within the picture, which is shown with " +
                         std::to_string(all.width) + " x " + std::to_string(all.height) +
                         " pixels");
    if ((zoom_ || fit_) &&
        std::uint64_t{window.size.width} * window.size.height > wanted.max_pixels / 3)
        throw WrongUsage("--zoom: more pixels would be written than --max-pixels allows");
}

Pixels Screen::show(Pixels whole) const {
    const Size of{whole.record().uiWidth, whole.record().uiHeight}, all = stretched_size(of);
    const bool is_stretched = window_ || zoom_ || fit_ || flip_x_ || flip_y_;
    Pixels bits;
    if (mask_) bits = packed(mask_->pixels);
    if (is_stretched) {
        const Window window = window_.value_or(Window{0, 0, all});
        const auto mode = mode_.value_or(all.width < of.width || all.height < of.height
                                             ? CQmPicMemAPI_Base::StretchLinear
                                             : CQmPicMemAPI_Base::StretchQuick);
        const auto [width, height] = window.size;
        Pixels shown;
        shown.allocate(width, height, 8, 3);
        check(CQmPicMemAPI_Base::StretchDisplay(
                  shown.record().pData, width, height, 3, shown.record().uiWidthBytes, 8, all.width,
                  all.height, window.x, window.y, whole.record().pData, of.width, of.height,
                  whole.record().uiWidthBytes, mode, flip_x_, flip_y_),
              "cannot be stretched");
        whole = std::move(shown);
        if (mask_) {
            Pixels stretched = bits_of_size(window.size);
            check(stretch_quick_binary_display(
                      stretched.record().pData, width, height, stretched.record().uiWidthBytes,
                      all.width, all.height, window.x, window.y, bits.record().pData, of.width,
                      of.height, bits.record().uiWidthBytes, flip_x_, flip_y_),
                  "the mask cannot be stretched");
            bits = std::move(stretched);
        }
    }
    const SQmPicBuf& to = whole.record();
    if (mask_)
        check(CQmPicMemAPI_Base::BlendColorWithBinary(
                  to.pData, to.uiWidthBytes, bits.record().pData, 0, bits.record().uiWidthBytes,
                  to.uiWidth, to.uiHeight, colour_, alpha_),
              "no overlay");
    return whole;
}

void add_screen(CLI::App& app, ScreenOptions& options) {
    app.add_option("--zoom", options.zoom,
                   "Stretch the picture by a factor, such as 0.5, or into a frame, fit:640x480")
        ->type_name("Z");
    app.add_option("--window", options.window,
                   "Write only this part of the picture, in pixels of the stretched one")
        ->type_name("X,Y,W,H");
    app.add_option("--mode", options.mode,
                   "How it is stretched: quick (nearest sample), linear or spline; else linear "
                   "where it becomes smaller and quick elsewhere")
        ->check(CLI::IsMember({"quick", "linear", "spline"}))
        ->type_name("MODE");
    app.add_option("--flip", options.flip, "Mirror what is written: x, y or xy")
        ->check(CLI::IsMember({"x", "y", "xy"}))
        ->type_name("AXES");
    CLI::Option* overlay =
        app.add_option("--overlay", options.overlay,
                       "Colour the pixels where a mask, such as 'qmpic threshold' writes, is not "
                       "0: one component of 8 bits, as large as the picture")
            ->type_name("MASK.png");
    app.add_option("--overlay-color", options.overlay_colour, "Its colour; FFFF00 unless given")
        ->type_name("RRGGBB")
        ->needs(overlay);
    app.add_option("--overlay-alpha", options.overlay_alpha,
                   "Its opacity: 0 shows the picture alone, 255 the colour alone")
        ->check(CLI::Range(0, 255))
        ->capture_default_str()
        ->type_name("A")
        ->needs(overlay);
}

}  // namespace tool
