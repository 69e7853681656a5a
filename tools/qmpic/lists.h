#pragma once

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

// Values of options, separated by commas. Each throws WrongUsage that names `option`.
std::vector<std::uint32_t> parse_channels(const std::string& option, const std::string& text);
std::vector<Colour> parse_colours(const std::string& option, const std::string& text);
std::vector<Range> parse_ranges(const std::string& option, const std::string& text);
std::vector<double> parse_numbers(const std::string& option, const std::string& text);

/// Is this RRGGBB, with or without a leading #?
std::optional<Colour> parse_colour(const std::string& text);

}  // namespace tool
