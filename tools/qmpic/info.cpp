#include <cstdio>
#include <memory>

#include "commands.h"
#include "failure.h"
#include "picture.h"
#include "read.h"

namespace tool {

namespace {

struct Options {
    Wanted wanted;
    bool json = false;
};

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

/// A name of a file may hold any bytes; those that are no UTF-8 become the replacement character.
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

void show(const Options& options) {
    const Picture picture = read(options.wanted);
    const std::vector<Counted> counted = count(picture);
    const Depth depth = significant_bits(picture, counted, std::nullopt);
    warn_of_excess(depth, counted);
    if (options.json) {
        std::printf(
            "{\"file\": %s, \"pages\": %u, \"pages_are_components\": %s, \"width\": %u, "
            "\"height\": %u, \"components\": %u, \"rgb\": %s, \"container_bits\": %u, "
            "\"significant_bits\": %u, \"significant_bits_from\": %s, \"samples\": [",
            quoted(options.wanted.path).c_str(), picture.pages,
            picture.pages_are_components ? "true" : "false", picture.width(), picture.height(),
            picture.components(), picture.rgb ? "true" : "false", picture.container, depth.bits,
            quoted(depth.stated).c_str());
        const char* separator = "";
        for (const Counted& component : counted) {
            std::printf("%s{\"min\": %u, \"max\": %u, \"mean\": %.17g}", separator, component.min,
                        component.max, component.mean);
            separator = ", ";
        }
        std::puts("]}");
    } else {
        std::printf("pages        %u%s\n", picture.pages,
                    picture.pages_are_components ? " (the components)" : "");
        std::printf("width        %u\nheight       %u\ncomponents   %u%s\n", picture.width(),
                    picture.height(), picture.components(),
                    picture.rgb ? " (red, green, blue)" : "");
        std::printf("container    %u bits\nsignificant  %u bits (%s)\n", picture.container,
                    depth.bits, depth.stated);
        for (std::size_t c = 0; c < counted.size(); ++c)
            std::printf("component %-2zu min %u, max %u, mean %.3f\n", c, counted[c].min,
                        counted[c].max, counted[c].mean);
    }
    if (std::fflush(stdout) != 0) throw Failure("the output cannot be written");
}

}  // namespace

std::function<void()> declare_info(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    app.add_option("FILE", options->wanted.path, "TIFF, PNG, PGM or PPM")->required();
    app.add_option("--page", options->wanted.page, "Page of a TIFF, from 0")->type_name("K");
    app.add_flag("--json", options->json, "As JSON");
    app.add_option("--max-pixels", options->wanted.max_pixels,
                   "Refuse larger pictures (pixels x components)")
        ->check(CLI::PositiveNumber)
        ->capture_default_str()
        ->type_name("N");
    return [options] { show(*options); };
}

}  // namespace tool
