#pragma once

#include <CLI/CLI.hpp>
#include <functional>

namespace tool {

/// One row: name, one sentence, options, and what it does.
struct Command {
    const char* name;
    const char* sentence;
    /// Declares the options and returns the work, which runs after they were read.
    std::function<void()> (*declare)(CLI::App& app);
};

std::function<void()> declare_info(CLI::App& app);
std::function<void()> declare_stats(CLI::App& app);
std::function<void()> declare_histogram(CLI::App& app);
std::function<void()> declare_threshold(CLI::App& app);
std::function<void()> declare_render(CLI::App& app);
std::function<void()> declare_ratio(CLI::App& app);
std::function<void()> declare_fret(CLI::App& app);
std::function<void()> declare_coloc(CLI::App& app);
std::function<void()> declare_focus(CLI::App& app);
std::function<void()> declare_filter(CLI::App& app);
std::function<void()> declare_convert(CLI::App& app);
std::function<void()> declare_luts(CLI::App& app);

// clang-format off
inline constexpr Command kCommands[] = {
    {"info",      "Show size, depth and the range of the samples of a picture",                 declare_info},
    {"stats",     "Show percentiles, Otsu thresholds and saturation of a picture",              declare_stats},
    {"histogram", "Show how often each value stands in a picture, also as a plot",              declare_histogram},
    {"threshold", "Select samples by value and write the selection as a PNG file",              declare_threshold},
    {"render",    "Show a picture in colours, as a PNG file",                                   declare_render},
    {"ratio",     "Show the ratio of two components in colours, or a concentration",            declare_ratio},
    {"fret",      "Show energy transfer between two dyes, or its efficiency",                   declare_fret},
    {"coloc",     "Compare two channels: Pearson, Manders, a map and a scatter plot",           declare_coloc},
    {"focus",     "Say which plane of a series is the sharpest, by six criteria",               declare_focus},
    {"filter",    "Smooth a picture, find its edges, correct its shading, or average pictures", declare_filter},
    {"convert",   "Change the bits of the samples, and write a TIFF or PNG file",               declare_convert},
    {"luts",      "Show the colour tables: a gallery, or their names",                          declare_luts},
};
// clang-format on

}  // namespace tool
