#include "lists.h"

#include <algorithm>
#include <charconv>

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

std::optional<Range> parse_levels(const std::string& text) {
    const std::optional<Range> range = parse_range(text);
    return range && range->low < range->high ? range : std::nullopt;
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

std::vector<Range> parse_ranges(const std::string& option, const std::string& text) {
    return parse_list(option, text, "LOW:HIGH with 0 <= LOW < HIGH <= 65535", parse_levels);
}

Range parse_values(const std::string& option, const std::string& text) {
    const std::optional<Range> range = parse_range(text);
    if (!range)
        throw WrongUsage((option + ": '")
                             .append(text)
                             .append("' is not LOW:HIGH with 0 <= LOW <= HIGH <= 65535"));
    return *range;
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

}  // namespace tool
