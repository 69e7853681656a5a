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

/// Of a component: numbers as they are written.
struct Row {
    std::string min, max, mean, text_mean;
};

Row row_of(std::uint32_t min, std::uint32_t max, double mean) {
    char text[64];
    std::snprintf(text, sizeof text, "%.3f", mean);
    return {std::to_string(min), std::to_string(max), number(mean), text};
}

std::vector<Row> rows_of_counts(const Counts& counts) {
    std::vector<Row> rows;
    for (std::uint32_t c = 0; c < counts.components(); ++c)
        rows.push_back(row_of(counts.min(c), counts.max(c), counts.mean(c)));
    return rows;
}

std::vector<Row> rows_of_summaries(const Picture& picture) {
    std::vector<Row> rows;
    for (const Summary& of : summaries(picture)) {
        // Floats as short as they can be read back as floats.
        const auto text = [](double value) { return number(static_cast<float>(value)); };
        if (of.samples == 0)
            rows.push_back({"null", "null", "null", "null"});
        else if (picture.floats)
            rows.push_back({text(of.min), text(of.max), number(of.mean), text(of.mean)});
        else
            rows.push_back(row_of(static_cast<std::uint32_t>(of.min),
                                  static_cast<std::uint32_t>(of.max), of.mean));
    }
    return rows;
}

void show(const Options& options) {
    const Picture picture = read(options.wanted);
    Depth depth{};
    std::vector<Row> rows;
    if (picture.container == 32) {
        rows = rows_of_summaries(picture);
        depth = picture.floats ? Depth{32, "floats"} : deep_bits(picture, std::nullopt);
    } else {
        const Counts counts(picture.pixels.record());
        depth = significant_bits(picture, counts, std::nullopt);
        warn_of_excess(depth, counts);
        rows = rows_of_counts(counts);
    }
    if (options.json) {
        std::printf(
            "{\"file\": %s, \"pages\": %u, \"pages_are_components\": %s, \"width\": %u, "
            "\"height\": %u, \"components\": %u, \"rgb\": %s, \"container_bits\": %u, "
            "\"floats\": %s, \"significant_bits\": %u, \"significant_bits_from\": %s, "
            "\"samples\": [",
            quoted(options.wanted.path).c_str(), picture.pages,
            picture.pages_are_components ? "true" : "false", picture.width(), picture.height(),
            picture.components(), picture.rgb ? "true" : "false", picture.container,
            picture.floats ? "true" : "false", depth.bits, quoted(depth.stated).c_str());
        const char* separator = "";
        for (const Row& row : rows) {
            std::printf("%s{\"min\": %s, \"max\": %s, \"mean\": %s}", separator, row.min.c_str(),
                        row.max.c_str(), row.mean.c_str());
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
        for (std::size_t c = 0; c < rows.size(); ++c)
            std::printf("component %-2zu min %s, max %s, mean %s\n", c, rows[c].min.c_str(),
                        rows[c].max.c_str(), rows[c].text_mean.c_str());
    }
    finish_output();
}

}  // namespace

std::function<void()> declare_info(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    add_picture(app, options->wanted);
    options->wanted.floats = options->wanted.deep = true;
    app.add_flag("--json", options->json, "As JSON");
    return [options] { show(*options); };
}

}  // namespace tool
