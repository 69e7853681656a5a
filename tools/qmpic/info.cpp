#include <cstdio>
#include <memory>

#include "commands.h"
#include "options.h"
#include "picture.h"
#include "text.h"

namespace tool {

namespace {

struct Options {
    Wanted wanted;
    bool json = false;
};

void show(const Options& options) {
    const Picture picture = read(options.wanted);
    const Counts counts(picture.pixels.record());
    const Depth depth = significant_bits(picture, counts, std::nullopt);
    warn_of_excess(depth, counts);
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
        for (std::uint32_t c = 0; c < counts.components(); ++c) {
            std::printf("%s{\"min\": %u, \"max\": %u, \"mean\": %s}", separator, counts.min(c),
                        counts.max(c), number(counts.mean(c)).c_str());
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
        for (std::uint32_t c = 0; c < counts.components(); ++c)
            std::printf("component %-2u min %u, max %u, mean %.3f\n", c, counts.min(c),
                        counts.max(c), counts.mean(c));
    }
    finish_output();
}

}  // namespace

std::function<void()> declare_info(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    add_picture(app, options->wanted);
    app.add_flag("--json", options->json, "As JSON");
    return [options] { show(*options); };
}

}  // namespace tool
