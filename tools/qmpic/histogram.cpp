#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "colours.h"
#include "commands.h"
#include "options.h"
#include "plot.h"
#include "text.h"
#include "write_png.h"

namespace tool {

namespace {

struct Options {
    Wanted wanted;
    std::optional<unsigned> bits;
    std::optional<std::uint32_t> component;
    std::optional<std::string> plot;
    bool json = false, csv = false, logarithmic = false;
};

constexpr unsigned kMostRows = 16, kBar = 50;

using Chosen = std::vector<std::uint32_t>;  ///< components

/// Values that are shown, from 0 on: all of the depth, and beyond it when samples are.
std::uint32_t values(const Depth& depth, const Counts& counts) {
    return std::max(top_of(depth.bits), counts.max()) + 1;
}

/// A table of at most 16 rows from minimum to maximum for each component.
void show_text(const Counts& counts, const Chosen& chosen) {
    const auto print = [](std::uint64_t value) { return std::to_string(value); };
    for (const std::uint32_t c : chosen) {
        std::uint32_t commonest = counts.min(c);
        for (std::uint32_t v = counts.min(c); v <= counts.max(c); ++v)
            if (counts.at(c, v) > counts.at(c, commonest)) commonest = v;
        std::printf("%scomponent %u: %u to %u, most often %u (%s of %s samples)\n",
                    c == chosen[0] ? "" : "\n", c, counts.min(c), counts.max(c), commonest,
                    print(counts.at(c, commonest)).c_str(), print(counts.samples()).c_str());
        std::uint32_t step = 1;
        for (unsigned i = 0; counts.max(c) / step - counts.min(c) / step >= kMostRows; ++i)
            step = i % 3 == 1 ? step / 2 * 5 : step * 2;
        std::uint64_t most = 1;
        for (std::uint32_t v = counts.min(c) / step * step; v <= counts.max(c); v += step)
            most = std::max(most, counts.between(c, v, v + step - 1));
        for (std::uint32_t v = counts.min(c) / step * step; v <= counts.max(c); v += step) {
            const std::uint64_t samples = counts.between(c, v, v + step - 1);
            const std::string bar((samples * kBar + most - 1) / most, '#');
            const std::string range = std::to_string(v) + (step == 1 ? "" : " - ") +
                                      (step == 1 ? "" : std::to_string(v + step - 1));
            std::printf("%13s %10s %8.3f %%  %s\n", range.c_str(), print(samples).c_str(),
                        100 * static_cast<double>(samples) / static_cast<double>(counts.samples()),
                        bar.c_str());
        }
    }
}

void show_csv(const Depth& depth, const Counts& counts, const Chosen& chosen) {
    std::printf("value");
    for (const std::uint32_t c : chosen) std::printf(",component %u", c);
    for (std::uint32_t v = 0; v < values(depth, counts); ++v) {
        std::printf("\n%u", v);
        for (const std::uint32_t c : chosen)
            std::printf(",%llu", static_cast<unsigned long long>(counts.at(c, v)));
    }
    std::puts("");
}

void show_json(const Options& options, const Depth& depth, const Counts& counts,
               const Chosen& chosen, const std::optional<Axes>& axes) {
    std::printf("{\"file\": %s, \"significant_bits\": %u, \"significant_bits_from\": %s, ",
                quoted(options.wanted.path).c_str(), depth.bits, quoted(depth.stated).c_str());
    if (axes) {
        std::printf("\"plot\": {\"file\": %s", quoted(options.plot.value_or("")).c_str());
        const std::pair<const char*, double> numbers[] = {{"width", axes->width},
                                                          {"height", axes->height},
                                                          {"left", axes->left},
                                                          {"top", axes->top},
                                                          {"right", axes->right},
                                                          {"bottom", axes->bottom},
                                                          {"first", axes->first},
                                                          {"last", axes->last},
                                                          {"values_per_bin", axes->values_per_bin},
                                                          {"most", axes->most}};
        for (const auto& [name, value] : numbers)
            std::printf(", \"%s\": %s", name, number(value).c_str());
        std::printf(", \"log\": %s}, ", axes->logarithmic ? "true" : "false");
    }
    std::printf("\"components\": [");
    for (const std::uint32_t c : chosen) {
        std::printf("%s{\"component\": %u, \"counts\": [", c == chosen[0] ? "" : ", ", c);
        for (std::uint32_t v = 0; v < values(depth, counts); ++v)
            std::printf("%s%llu", v == 0 ? "" : ", ",
                        static_cast<unsigned long long>(counts.at(c, v)));
        std::printf("]}");
    }
    std::puts("]}");
}

Axes write_plot(const Options& options, const std::string& path, const Picture& picture,
                const Depth& depth, const Counts& counts, const Chosen& chosen) {
    static constexpr const char* kRgbNames[] = {"red", "green", "blue"};
    const std::vector<Range> limits = counts.levels(kUsualPercents);
    std::vector<Curve> curves;
    curves.reserve(chosen.size());
    for (const std::uint32_t c : chosen) {
        Curve curve{picture.rgb ? kRgbNames[c] : "component " + std::to_string(c),
                    usual_colour(picture, c, picture.components() == 1),
                    {},
                    limits[c]};
        curve.counts.resize(counts.max(c) + 1);
        for (std::uint32_t v = 0; v <= counts.max(c); ++v) curve.counts[v] = counts.at(c, v);
        curves.push_back(std::move(curve));
    }
    const std::string subtitle = std::to_string(picture.width()) + " \u00d7 " +
                                 std::to_string(picture.height()) + " pixels, " +
                                 std::to_string(depth.bits) +
                                 " bits; dashed: 0.1 % of the samples are outside at each end";
    Pixels screen;
    const Axes axes =
        draw_plot(screen, printable(std::filesystem::path(options.wanted.path).filename().string()),
                  subtitle, curves, options.logarithmic);
    write_png(path, screen);
    return axes;
}

void show(const Options& options) {
    if (options.plot) check_output("--plot", options.wanted, *options.plot);
    const Picture picture = read(options.wanted);
    if (options.component) check_component("--component", *options.component, picture);
    const Counts counts(picture.pixels.record());
    const Depth depth = significant_bits(picture, counts, options.bits);
    warn_of_excess(depth, counts);
    Chosen chosen;
    for (std::uint32_t c = 0; c < picture.components(); ++c)
        if (c == options.component.value_or(c)) chosen.push_back(c);

    std::optional<Axes> axes;
    if (options.plot) axes = write_plot(options, *options.plot, picture, depth, counts, chosen);
    if (options.json)
        show_json(options, depth, counts, chosen, axes);
    else if (options.csv)
        show_csv(depth, counts, chosen);
    else
        show_text(counts, chosen);
    finish_output();
}

}  // namespace

std::function<void()> declare_histogram(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    add_picture(app, options->wanted);
    add_bits(app, options->bits);
    app.add_option("--component", options->component, "Only this component, from 0")
        ->type_name("C");
    CLI::Option* json = app.add_flag("--json", options->json, "The count of each value as JSON");
    app.add_flag("--csv", options->csv, "The same as a table, a line a value")->excludes(json);
    CLI::Option* plot =
        app.add_option("--plot", options->plot, "Draw a PNG file")->type_name("OUT.png");
    app.add_flag("--log", options->logarithmic, "The plot's counts in decades")->needs(plot);
    return [options] { show(*options); };
}

}  // namespace tool
