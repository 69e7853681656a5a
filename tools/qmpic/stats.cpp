#include <algorithm>
#include <cstdio>
#include <memory>

#include "commands.h"
#include "options.h"
#include "progress.h"
#include "text.h"

namespace tool {

namespace {

struct Options {
    Wanted wanted;
    std::optional<unsigned> bits;
    bool json = false;
};

constexpr struct {
    unsigned share;  ///< thousandths
    const char* name;
} kPercentiles[] = {{1, "0.1"},  {10, "1"},   {50, "5"},   {250, "25"},  {500, "50"},
                    {750, "75"}, {950, "95"}, {990, "99"}, {999, "99.9"}};
constexpr unsigned kMedian = 500;
constexpr unsigned kMostThresholds = 3;
constexpr std::size_t kLineWidth = 100;

using Thresholds = std::vector<std::vector<std::uint32_t>>;  ///< 1, 2, 3 of a component

std::string joined(const std::vector<std::uint32_t>& values) {
    std::string text;
    for (const std::uint32_t value : values)
        text += (text.empty() ? "" : ", ") + std::to_string(value);
    return text;
}

std::string format(const char* how, double value) {
    char text[64];
    std::snprintf(text, sizeof text, how, value);
    return text;
}

std::vector<Thresholds> find_thresholds(const Counts& counts) {
    Progress progress("parting");
    std::vector<Thresholds> found(counts.components());
    for (std::uint32_t c = 0; c < counts.components(); ++c)
        for (unsigned count = 1; count <= kMostThresholds; ++count) {
            progress.show(c * kMostThresholds + count - 1, counts.components() * kMostThresholds);
            found[c].push_back(counts.otsu(c, count));
        }
    return found;
}

void show_json(const Options& options, const Picture& picture, const Depth& depth,
               const Counts& counts, const std::vector<Thresholds>& thresholds) {
    std::printf(
        "{\"file\": %s, \"width\": %u, \"height\": %u, \"significant_bits\": %u, "
        "\"significant_bits_from\": %s, \"samples\": [",
        quoted(options.wanted.path).c_str(), picture.width(), picture.height(), depth.bits,
        quoted(depth.stated).c_str());
    for (std::uint32_t c = 0; c < counts.components(); ++c) {
        std::printf("%s{\"min\": %u, \"max\": %u, \"mean\": %s, \"median\": %u, \"percentiles\": {",
                    c == 0 ? "" : ", ", counts.min(c), counts.max(c),
                    number(counts.mean(c)).c_str(), counts.percentile(c, kMedian));
        const char* separator = "";
        for (const auto& row : kPercentiles) {
            std::printf("%s\"%s\": %u", separator, row.name, counts.percentile(c, row.share));
            separator = ", ";
        }
        std::printf("}, \"otsu\": [[%s], [%s], [%s]], ", joined(thresholds[c][0]).c_str(),
                    joined(thresholds[c][1]).c_str(), joined(thresholds[c][2]).c_str());
        const std::uint64_t saturated =
            counts.between(c, saturation(picture, depth), counts.max(c));
        std::printf(
            "\"saturated\": {\"count\": %llu, \"share\": %s}}",
            static_cast<unsigned long long>(saturated),
            number(static_cast<double>(saturated) / static_cast<double>(counts.samples())).c_str());
    }
    std::puts("]}");
}

/// Name and text of each line for one component.
std::vector<std::pair<std::string, std::string>> describe(const Counts& counts, std::uint32_t c,
                                                          const Thresholds& thresholds,
                                                          std::uint32_t saturated_from) {
    std::vector<std::pair<std::string, std::string>> lines;
    lines.emplace_back("", "component " + std::to_string(c));
    lines.emplace_back("min", std::to_string(counts.min(c)));
    for (const auto& row : kPercentiles)
        lines.emplace_back(row.share == kMedian ? "median" : std::string(row.name) + " %",
                           std::to_string(counts.percentile(c, row.share)));
    lines.emplace_back("max", std::to_string(counts.max(c)));
    lines.emplace_back("mean", format("%.3f", counts.mean(c)));
    for (unsigned count = 1; count <= kMostThresholds; ++count)
        lines.emplace_back(
            "Otsu, " + std::to_string(count) + (count == 1 ? " threshold" : " thresholds"),
            joined(thresholds[count - 1]));
    const std::uint64_t saturated = counts.between(c, saturated_from, counts.max(c));
    const double share = static_cast<double>(saturated) / static_cast<double>(counts.samples());
    lines.emplace_back("saturated", std::to_string(saturated));
    lines.emplace_back("saturated, %", format("%.4g", 100 * share));
    return lines;
}

/// A column a component, as many side by side as a line takes.
void show_text(const Picture& picture, const Depth& depth, const Counts& counts,
               const std::vector<Thresholds>& thresholds) {
    std::printf("%u x %u pixels, %u bits (%s)\n", picture.width(), picture.height(), depth.bits,
                depth.stated);
    std::vector<std::vector<std::pair<std::string, std::string>>> columns;
    columns.reserve(counts.components());
    std::size_t widest = 0, names = 0;
    for (std::uint32_t c = 0; c < counts.components(); ++c) {
        columns.push_back(describe(counts, c, thresholds[c], saturation(picture, depth)));
        for (const auto& [name, text] : columns.back()) {
            names = std::max(names, name.size());
            widest = std::max(widest, text.size());
        }
    }
    const std::size_t many = (kLineWidth - names) / (widest + 2);
    for (std::size_t first = 0; first < columns.size(); first += many) {
        std::puts("");
        for (std::size_t line = 0; line < columns[0].size(); ++line) {
            std::string text = columns[0][line].first;
            text.resize(names, ' ');
            for (std::size_t c = first; c < std::min(first + many, columns.size()); ++c) {
                const std::string& cell = columns[c][line].second;
                text += std::string(widest + 2 - cell.size(), ' ') + cell;
            }
            std::puts(text.c_str());
        }
    }
}

void show(const Options& options) {
    const Picture picture = read(options.wanted);
    const Counts counts(picture.pixels.record());
    const Depth depth = significant_bits(picture, counts, options.bits);
    warn_of_excess(depth, counts);
    const std::vector<Thresholds> thresholds = find_thresholds(counts);
    if (options.json)
        show_json(options, picture, depth, counts, thresholds);
    else
        show_text(picture, depth, counts, thresholds);
    finish_output();
}

}  // namespace

std::function<void()> declare_stats(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    add_picture(app, options->wanted);
    add_bits(app, options->bits);
    app.add_flag("--json", options->json, "As JSON");
    app.footer(
        "A percentile is the least value that so many percent of the samples do not exceed; the\n"
        "median is that of 50 %. Saturated samples have the greatest value that the depth, or the\n"
        "file's maximum, allows. Otsu's thresholds part the samples into two, three and four\n"
        "classes; the upper class is above a threshold. Two and three are searched in steps of 2\n"
        "and 3 values at 10 bits, 4 and 9 at 12, 8 and 27 at 14, 16 and 81 at 16.");
    return [options] { show(*options); };
}

}  // namespace tool
