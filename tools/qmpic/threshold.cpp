#include <cstdio>
#include <memory>

#include "commands.h"
#include "failure.h"
#include "lists.h"
#include "options.h"
#include "progress.h"
#include "text.h"
#include "write_png.h"

namespace tool {

namespace {

struct Options {
    Wanted wanted;
    std::string output;
    std::uint32_t component = 0;
    std::optional<unsigned> otsu;
    std::optional<std::string> range;
    bool json = false;
};

/// Samples from `values.low` to `values.high` become this grey.
struct Class {
    unsigned grey;
    Range values;
    std::uint64_t samples;
};

constexpr std::uint32_t kReplace = 0, kOr = 1;  ///< how bits and pixels are merged

/// The component's classes by Otsu's thresholds: equal steps of grey from 0 to 255.
std::vector<Class> by_thresholds(const std::vector<std::uint32_t>& thresholds,
                                 std::uint32_t largest) {
    const auto many = static_cast<unsigned>(thresholds.size());
    std::vector<Class> classes;
    classes.reserve(many + 1);
    std::uint32_t low = 0;
    for (unsigned k = 0; k < many; ++k) {
        classes.push_back({(255 * k + many / 2) / many, {low, thresholds[k]}, 0});
        low = thresholds[k] + 1;
    }
    classes.push_back({255, {low, largest}, 0});
    return classes;
}

void check(int status) {
    if (status != QM_OK) throw Failure("no mask: status " + std::to_string(status));
}

/// Paints the pixels whose component is of the class, and no others. `bits` is working memory.
void paint(const Pixels& mask, const Pixels& bits, const Picture& picture, std::uint32_t component,
           const Class& which) {
    const SQmPicBuf& from = picture.pixels.record();
    const std::uint64_t pixels = std::uint64_t{from.uiWidth} * from.uiHeight;
    const auto select = [&](auto unit) {  // a pixel of limits; other components are never outside
        using T = decltype(unit);
        std::vector<T> low(from.uiComponents), high(from.uiComponents, static_cast<T>(-1));
        low[component] = static_cast<T>(which.values.low);
        high[component] = static_cast<T>(which.values.high);
        check(CQmPicMemAPI_Base::ThresholdToBinary(
            bits.record().pData, 0, bits.record().uiWidthBytes, from.pData, from.uiComponents,
            from.uiBpc, from.uiWidthBytes, low.data(), high.data(), true, from.uiWidth, pixels,
            kReplace, nullptr));
    };
    if (picture.container == 8)
        select(std::uint8_t{});
    else
        select(std::uint16_t{});
    check(CQmPicMemAPI_Base::UnpackFromBinary(
        mask.record().pData, 1, 8, std::uint64_t{which.grey}, mask.record().uiWidthBytes,
        bits.record().pData, 0, bits.record().uiWidthBytes, from.uiWidth, pixels, kOr));
}

/// Writes the mask, and counts in it how many samples are of each class.
void write_mask(const Options& options, const Picture& picture, std::vector<Class>& classes) {
    Pixels mask, bits;
    mask.allocate(picture.width(), picture.height(), 8, 1);
    bits.allocate((picture.width() + 7) / 8, picture.height(), 8, 1);
    for (const Class& which : classes)
        if (which.grey != 0 && which.values.low <= which.values.high)
            paint(mask, bits, picture, options.component, which);
    const Counts counts(mask.record());
    for (Class& which : classes) which.samples = counts.at(0, which.grey);
    write_png(options.output, mask);
}

void show_json(const Options& options, const std::vector<std::uint32_t>& thresholds,
               const std::optional<Range>& range, const std::vector<Class>& classes, double all) {
    std::printf("{\"file\": %s, \"component\": %u, ", quoted(options.wanted.path).c_str(),
                options.component);
    if (range)
        std::printf("\"range\": [%u, %u], ", range->low, range->high);
    else
        std::printf("\"thresholds\": [");
    const char* separator = "";
    for (const std::uint32_t threshold : thresholds) {
        std::printf("%s%u", separator, threshold);
        separator = ", ";
    }
    std::printf("%s\"classes\": [", range ? "" : "], ");
    separator = "";
    for (const Class& which : classes) {
        std::printf("%s{\"grey\": %u, \"count\": %llu, \"share\": %s}", separator, which.grey,
                    static_cast<unsigned long long>(which.samples),
                    number(static_cast<double>(which.samples) / all).c_str());
        separator = ", ";
    }
    std::puts("]}");
}

void threshold(const Options& options) {
    if (options.otsu.has_value() == options.range.has_value())
        throw WrongUsage("--otsu or --range has to be given, and not both");
    if (options.otsu && (*options.otsu < 1 || *options.otsu > 3))
        throw WrongUsage("--otsu: 1, 2 or 3 thresholds can be found");
    std::optional<Range> range;
    if (options.range) range = parse_values("--range", *options.range);
    check_output("--output", options.wanted, options.output);
    const Picture picture = read(options.wanted);
    check_component("--component", options.component, picture);

    const std::uint32_t largest = top_of(picture.container);
    std::vector<std::uint32_t> thresholds;
    std::vector<Class> classes;
    if (range) {
        if (range->low > largest)
            throw WrongUsage("--range: samples of this picture are bytes, up to 255");
        classes = {{0, {}, 0}, {255, {range->low, std::min(range->high, largest)}, 0}};
    } else {
        const Counts counts(picture.pixels.record());
        if (counts.min(options.component) == counts.max(options.component))
            throw Failure(options.wanted.path + ": no threshold: all samples of component " +
                          std::to_string(options.component) + " are alike");
        thresholds = counts.otsu(options.component, *options.otsu);
        classes = by_thresholds(thresholds, largest);
    }
    write_mask(options, picture, classes);

    const double all = static_cast<double>(picture.width()) * picture.height();
    if (options.json) {
        show_json(options, thresholds, range, classes, all);
    } else {
        std::printf("component   %u\n", options.component);
        if (range) std::printf("range       %u to %u\n", range->low, range->high);
        for (const std::uint32_t value : thresholds) std::printf("threshold   %u\n", value);
        for (const Class& which : classes)
            if (which.grey != 0 && which.grey != 255)
                std::printf("grey %-6u %.3f %% (%llu samples)\n", which.grey,
                            100 * static_cast<double>(which.samples) / all,
                            static_cast<unsigned long long>(which.samples));
        std::printf("selected    %.3f %% (%llu of %.0f samples)\n",
                    100 * static_cast<double>(classes.back().samples) / all,
                    static_cast<unsigned long long>(classes.back().samples), all);
    }
    finish_output();
}

}  // namespace

std::function<void()> declare_threshold(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    add_picture(app, options->wanted);
    add_output(app, options->output);
    app.add_option("--component", options->component, "Component to look at, from 0")
        ->capture_default_str()
        ->type_name("C");
    CLI::Option* otsu =
        app.add_option("--otsu", options->otsu,
                       "Select samples above Otsu's threshold, or the last of N = 2 or 3")
            ->type_name("[N]");
    app.add_option("--range", options->range, "Select samples from LOW to HIGH, both included")
        ->type_name("LOW:HIGH")
        ->excludes(otsu);
    app.add_flag("--json", options->json, "Print what was done as JSON");
    app.footer(
        "The mask has 8 bits: 255 where a sample is selected, 0 where it is not. With --otsu 2 or "
        "3\n"
        "the classes between are grey in equal steps: 0, 128, 255 or 0, 85, 170, 255. Thresholds\n"
        "and the share of the samples are printed.");
    return [options] { threshold(*options); };
}

}  // namespace tool
