#include "lists.h"

#include <algorithm>
#include <cfloat>
#include <charconv>
#include <cmath>

#include "failure.h"

namespace tool {

namespace {

template <class T>
std::optional<T> parse_whole(const std::string& text) {
    T value{};
    const char* end = text.c_str() + text.size();
    const auto result = std::from_chars(text.c_str(), end, value);
    return result.ec == std::errc() && result.ptr == end ? std::optional(value) : std::nullopt;
}

std::optional<Range> parse_range(const std::string& text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) return std::nullopt;
    const auto low = parse_whole<std::uint16_t>(text.substr(0, colon));
    const auto high = parse_whole<std::uint16_t>(text.substr(colon + 1));
    if (!low || !high || *low > *high) return std::nullopt;
    return Range{*low, *high};
}

std::optional<Levels> levels_of(const std::string& text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) return std::nullopt;
    const auto low = parse_whole<double>(text.substr(0, colon));
    const auto high = parse_whole<double>(text.substr(colon + 1));
    if (!low || !high || !(std::abs(*low) <= FLT_MAX && std::abs(*high) <= FLT_MAX) ||
        !(static_cast<float>(*low) < static_cast<float>(*high)))
        return std::nullopt;
    return Levels{*low, *high};
}

std::optional<double> parse_gamma(const std::string& text) {
    const auto value = parse_whole<double>(text);
    return value && *value > 0 && *value <= 100 ? value : std::nullopt;
}

template <class Parse>
auto parse_list(const std::string& option, const std::string& text, const char* what,
                Parse&& parse) {
    std::vector<typename decltype(parse(text))::value_type> values;
    for (std::size_t begin = 0, end = 0; end != std::string::npos; begin = end + 1) {
        end = text.find(',', begin);
        const std::string part = text.substr(begin, end - begin);
        const auto value = parse(part);
        if (!value) throw WrongUsage((option + ": '").append(part).append("' is not ") + what);
        values.push_back(*value);
    }
    return values;
}

}  // namespace

std::optional<Colour> parse_colour(const std::string& text) {
    const std::string digits = text.substr(0, 1) == "#" ? text.substr(1) : text;
    if (digits.size() != 6 ||
        digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        return std::nullopt;
    const auto rgb = static_cast<Colour>(std::stoul(digits, nullptr, 16));
    return (rgb & 0xFF) << 16 | (rgb & 0xFF00) | rgb >> 16;
}

std::vector<std::uint32_t> parse_channels(const std::string& option, const std::string& text) {
    return parse_list(option, text, "a channel number from 0 on",
                      [](const std::string& part) { return parse_whole<std::uint32_t>(part); });
}

std::vector<Colour> parse_colours(const std::string& option, const std::string& text) {
    return parse_list(option, text, "a colour such as FF8000", parse_colour);
}

std::vector<Levels> parse_levels(const std::string& option, const std::string& text) {
    return parse_list(option, text, "LOW:HIGH with LOW < HIGH", levels_of);
}

Range whole(const std::string& option, const Levels& levels) {
    if (levels.low < 0 || levels.high > 65535 || levels.low != std::floor(levels.low) ||
        levels.high != std::floor(levels.high))
        throw WrongUsage(option + ": levels of this picture are whole numbers from 0 to 65535");
    return {static_cast<std::uint32_t>(levels.low), static_cast<std::uint32_t>(levels.high)};
}

Range parse_values(const std::string& option, const std::string& text) {
    const std::optional<Range> range = parse_range(text);
    if (!range)
        throw WrongUsage((option + ": '")
                             .append(text)
                             .append("' is not LOW:HIGH with 0 <= LOW <= HIGH <= 65535"));
    return *range;
}

Size parse_size(const std::string& option, const std::string& text) {
    const std::size_t by = text.find('x');
    const auto width = parse_whole<std::uint32_t>(text.substr(0, by));
    const auto height = parse_whole<std::uint32_t>(by < text.size() ? text.substr(by + 1) : "");
    if (!width || !height || *width == 0 || *height == 0)
        throw WrongUsage((option + ": '").append(text).append("' is not WIDTHxHEIGHT"));
    return {*width, *height};
}

Window parse_window(const std::string& option, const std::string& text) {
    const auto list = parse_list(option, text, "a whole number", [](const std::string& part) {
        return parse_whole<std::uint32_t>(part);
    });
    if (list.size() != 4 || list[2] == 0 || list[3] == 0)
        throw WrongUsage((option + ": '").append(text).append("' is not X,Y,WIDTH,HEIGHT"));
    return {list[0], list[1], {list[2], list[3]}};
}

double parse_number(const std::string& option, const std::string& text, double most) {
    const auto value = parse_whole<double>(text);
    if (!value || !(*value > 0 && *value <= most))
        throw WrongUsage((option + ": '").append(text) + "' is not a number above 0 and at most " +
                         std::to_string(static_cast<unsigned>(most)));
    return *value;
}

Percents parse_percents(const std::string& option, const std::string& text) {
    const std::size_t colon = std::min(text.find(':'), text.size());
    const auto part = [](std::string digits) {
        if (digits.ends_with('%')) digits.pop_back();
        return parse_whole<double>(digits).value_or(-1);
    };
    const double low = part(text.substr(0, colon));
    const double high = part(colon < text.size() ? text.substr(colon + 1) : "");
    if (!(low >= 0 && high >= 0 && low + high < 100))
        throw WrongUsage(
            (option + ": '")
                .append(text)
                .append("' is not LOW:HIGH in percent, from 0 on and less than 100 together"));
    return {low, high};
}

std::vector<double> parse_numbers(const std::string& option, const std::string& text) {
    return parse_list(option, text, "a number above 0 and at most 100", parse_gamma);
}

std::vector<double> parse_decimals(const std::string& option, const std::string& text,
                                   std::size_t count) {
    auto values = parse_list(option, text, "a number", [](const std::string& part) {
        const auto value = parse_whole<double>(part);
        return value && std::isfinite(*value) ? value : std::nullopt;
    });
    if (values.size() != count)
        throw WrongUsage(option + ": " + std::to_string(count) + " values are wanted, not " +
                         std::to_string(values.size()));
    return values;
}

}  // namespace tool
