#include "text.h"

#include <charconv>
#include <cstdio>

#include "failure.h"

namespace tool {

namespace {

/// The length of the UTF-8 sequence at `i`, 0 when there is none.
std::size_t sequence(const std::string& text, std::size_t i) {
    const auto byte = [&](std::size_t at) {
        return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U;
    };
    const unsigned lead = byte(i), second = byte(i + 1);
    const std::size_t length = lead < 0x80                   ? 1
                               : lead >= 0xC2 && lead < 0xE0 ? 2
                               : lead >= 0xE0 && lead < 0xF0 ? 3
                               : lead >= 0xF0 && lead < 0xF5 ? 4
                                                             : 0;
    if ((lead == 0xE0 && second < 0xA0) || (lead == 0xED && second >= 0xA0) ||
        (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second >= 0x90))
        return 0;  // too long a form, a surrogate, beyond the last character
    for (std::size_t k = 1; k < length; ++k)
        if (byte(i + k) >> 6 != 2) return 0;
    return length;
}

}  // namespace

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = sequence(text, i);
        const char c = text[i];
        if (length == 0) {
            result += "\\ufffd";
        } else if (c == '"' || c == '\\') {
            result += std::string("\\") + c;
        } else if (length == 1 && (c < ' ' || c == 0x7F)) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
            result += escape;
        } else {
            result += text.substr(i, length);
        }
        i += length == 0 ? 1 : length;
    }
    return result + "\"";
}

std::string printable(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = sequence(text, i);
        const bool control = static_cast<unsigned char>(text[i]) < ' ' || text[i] == 0x7F;
        result += length == 0 || control ? "\uFFFD" : text.substr(i, length);
        i += length == 0 ? 1 : length;
    }
    return result;
}

std::string number(double value) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

std::string number(float value) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

void finish_output() {
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
        throw Failure("the output cannot be written");
}

}  // namespace tool
