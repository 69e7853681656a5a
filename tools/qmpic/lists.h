#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tool {

/// A colour as the library takes it: red in the low byte.
using Colour = std::uint32_t;

struct Range {
    std::uint32_t low, high;
};

/// The same of samples that may be floats.
struct Levels {
    double low, high;
};

/// Parts of a channel's samples at the dark and at the bright end.
struct Percents {
    double low, high;
};

constexpr Percents kUsualPercents{0.1, 0.1};

// Values of options, separated by commas. Each throws WrongUsage that names `option`.
std::vector<std::uint32_t> parse_channels(const std::string& option, const std::string& text);
std::vector<Colour> parse_colours(const std::string& option, const std::string& text);
std::vector<Levels> parse_levels(const std::string& option, const std::string& text);
std::vector<double> parse_numbers(const std::string& option, const std::string& text);
/// `count` numbers of any size and sign.
std::vector<double> parse_decimals(const std::string& option, const std::string& text,
                                   std::size_t count);

/// Levels of a picture of whole numbers, from 0 to 65535.
Range whole(const std::string& option, const Levels& levels);
/// LOW:HIGH of samples, which may be equal.
Range parse_values(const std::string& option, const std::string& text);
/// LOW:HIGH, each at least 0, less than 100 together; a sign of percent may follow.
Percents parse_percents(const std::string& option, const std::string& text);

struct Size {
    std::uint32_t width, height;
};
/// WxH, and X,Y,W,H: whole numbers, of which sizes are not 0.
Size parse_size(const std::string& option, const std::string& text);
struct Window {
    std::uint32_t x, y;
    Size size;
};
Window parse_window(const std::string& option, const std::string& text);
/// One number above 0, and at most so much.
double parse_number(const std::string& option, const std::string& text, double most);

/// Is this RRGGBB, with or without a leading #?
std::optional<Colour> parse_colour(const std::string& text);

}  // namespace tool
