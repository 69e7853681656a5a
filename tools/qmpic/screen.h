#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "lists.h"
#include "picture.h"
#include "read.h"

// What happens to a picture once it has its colours: a window of it at some zoom, mirrored, and a
// mask over it.

namespace tool {

struct ScreenOptions {
    std::optional<std::string> window, zoom, mode, flip;
    std::optional<std::string> overlay, overlay_colour;
    unsigned overlay_alpha = 128;
};

void add_screen(CLI::App& app, ScreenOptions& options);

class Screen {
  public:
    /// Throws WrongUsage for what makes no sense with any picture.
    explicit Screen(const ScreenOptions& options);

    /// The mask, if there is one, is read and has to be as large as the picture.
    void read_mask(const Wanted& wanted, const std::string& output);
    /// Refuses a mask of another size, and a window outside of the stretched picture.
    void check_fit(const Picture& picture, const Wanted& wanted);
    /// The window of a picture of 3 x 8 bits, with the mask laid over it.
    Pixels show(Pixels whole) const;

  private:
    Size stretched_size(const Size& of) const;

    std::optional<Window> window_;
    std::optional<double> zoom_;
    std::optional<Size> fit_;
    std::optional<CQmPicMemAPI_Base::EQmPicStretchMode> mode_;
    bool flip_x_ = false, flip_y_ = false;
    std::string overlay_;
    Colour colour_ = 0x00FFFF;
    unsigned char alpha_;
    std::optional<Picture> mask_;
};

}  // namespace tool
