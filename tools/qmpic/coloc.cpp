#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <numbers>

#include "canvas.h"
#include "commands.h"
#include "failure.h"
#include "luts.h"
#include "options.h"
#include "text.h"
#include "write_png.h"
#include "write_tiff.h"

namespace tool {

namespace {

struct Options {
    Wanted wanted;
    std::string channels;
    std::optional<unsigned> bits;
    std::optional<std::string> threshold, mask, map, scatter;
    bool json = false;
};

/// The first and the second channel's.
template <class T>
struct Both {
    T a, b;
};

/// What is compared: two channels of a picture, all of it or under a mask.
struct Pair {
    const Picture& picture;
    Both<std::uint32_t> channels, thresholds;
    const Picture* mask;

    std::uint32_t size() const { return picture.width() * picture.height(); }
    const void* first(std::uint32_t channel) const {
        return picture.pixels.row(0) + std::size_t{channel} * (picture.container / 8);
    }
};

struct Numbers {
    double pearson, overlap, k1, k2, m1, m2, mean_a, mean_b, denominator;
};

void check(int status) {
    if (status != QM_OK) throw Failure("no colocalization: status " + std::to_string(status));
}

Numbers numbers_of(const Pair& pair) {
    const SQmPicBuf& from = pair.picture.pixels.record();
    Numbers n{};
    if (pair.mask == nullptr) {
        check(CQmPicMemAPI_Base::Colocalization(
            pair.first(pair.channels.a), from.uiWidthBytes, pair.first(pair.channels.b),
            from.uiWidthBytes, from.uiComponents, pair.picture.container, from.uiWidth, pair.size(),
            pair.thresholds.a, pair.thresholds.b, n.pearson, n.overlap, n.k1, n.k2, n.m1, n.m2,
            n.mean_a, n.mean_b, n.denominator));
    } else {
        const SQmPicBuf& mask = pair.mask->pixels.record();
        check(CQmPicMemAPI_Base::Colocalization(
            pair.first(pair.channels.a), from.uiWidthBytes, pair.first(pair.channels.b),
            from.uiWidthBytes, from.uiComponents, pair.picture.container, mask.pData,
            mask.uiWidthBytes, 0, from.uiWidth, pair.size(), pair.thresholds.a, pair.thresholds.b,
            n.pearson, n.overlap, n.k1, n.k2, n.m1, n.m2, n.mean_a, n.mean_b, n.denominator));
    }
    return n;
}

/// Floats of one component; pixels that the mask leaves out are 0.
void write_map(const Pair& pair, const std::string& path) {
    const SQmPicBuf& from = pair.picture.pixels.record();
    std::vector<double> values(pair.size());
    std::uint32_t count = pair.size();
    if (pair.mask == nullptr) {
        check(CQmPicMemAPI_Base::GetColocalizationMap(
            pair.first(pair.channels.a), from.uiWidthBytes, pair.first(pair.channels.b),
            from.uiWidthBytes, from.uiComponents, pair.picture.container, from.uiWidth, pair.size(),
            pair.thresholds.a, pair.thresholds.b, values.data()));
    } else {
        const SQmPicBuf& mask = pair.mask->pixels.record();
        check(CQmPicMemAPI_Base::GetColocalizationMap(
            pair.first(pair.channels.a), from.uiWidthBytes, pair.first(pair.channels.b),
            from.uiWidthBytes, from.uiComponents, pair.picture.container, mask.pData,
            mask.uiWidthBytes, 0, from.uiWidth, pair.size(), pair.thresholds.a, pair.thresholds.b,
            values.data(), count));
    }
    Picture map;
    map.pixels.allocate(from.uiWidth, from.uiHeight, 32, 1);
    map.container = 32;
    map.floats = true;
    const double* next = values.data();
    for (std::uint32_t y = 0; y < from.uiHeight; ++y) {
        auto* const row = reinterpret_cast<float*>(map.pixels.row(y));
        for (std::uint32_t x = 0; x < from.uiWidth; ++x)
            row[x] = pair.mask == nullptr || pair.mask->pixels.row(y)[x] != 0
                         ? static_cast<float>(*next++)
                         : 0.0f;
    }
    write_tiff(path, map, 32);
}

// ----- The scatter plot --------------------------------------------------------------------------

constexpr double kArea = 512, kLeft = 104, kTop = 96, kBelow = 70, kRightOfArea = 150;
constexpr double kBarGap = 30, kBarWidth = 16;
constexpr std::uint32_t kBins = 256;
constexpr Colour kBlack = 0x000000, kWhite = 0xFFFFFF;

/// How often each pair of values occurs: bin 256 * first + second.
std::vector<std::uint32_t> count_pairs(const Pair& pair, unsigned bits) {
    const SQmPicBuf& from = pair.picture.pixels.record();
    std::vector<std::uint32_t> bins(std::size_t{kBins} * kBins, 0);
    if (pair.mask == nullptr)
        check(CQmPicMemAPI_Base::GetHistogram2DEx(
            bins.data(), sizeof bins[0], from.pData, from.uiWidthBytes, from.uiComponents, bits,
            pair.channels.a, pair.channels.b, 0, 0, from.uiWidth, pair.size()));
    else
        check(CQmPicMemAPI_Base::GetHistogram2DUnderMask(
            bins.data(), sizeof bins[0], from.pData, from.uiWidthBytes, from.uiComponents, bits,
            pair.channels.a, pair.channels.b, pair.mask->pixels.row(0),
            pair.mask->pixels.record().uiWidthBytes, 0, 0, from.uiWidth, pair.size()));
    return bins;
}

/// Where things stand in the plot, in pixels from its upper left corner. A bin holds `step` values,
/// from a multiple of that on; value v of the first channel stands at
///     x = left + v / step * cell_x,   and of the second at   y = bottom - v / step * cell_y
struct ScatterAxes {
    double left, top, right, bottom, cell_x, cell_y;
    std::uint32_t step, bins_a, bins_b;
    std::uint32_t most;  ///< pixels in the fullest bin
};

Colour colour_of(std::uint32_t count, std::uint32_t most) {
    static const unsigned char* const rgb =
        SQmLut::GetPredefLut(static_cast<int>(find_lut("--scatter", "Iron")), true)->getLuts(0, 0);
    // One pixel has to be seen on black.
    constexpr double kFaintest = 70, kTop = 255;
    const double part = most > 1 ? std::log(count) / std::log(most) : 1;
    const auto entry = static_cast<std::size_t>(kFaintest + part * (kTop - kFaintest));
    return rgb[3 * entry] | Colour{rgb[3 * entry + 1]} << 8 | Colour{rgb[3 * entry + 2]} << 16;
}

/// 1, 2 or 5 times a power of ten that parts `span` into at most `parts`.
std::uint32_t round_step(double span, unsigned parts) {
    std::uint32_t step = 1;
    for (unsigned i = 0; span > static_cast<double>(step) * parts; ++i)
        step = i % 3 == 1 ? step / 2 * 5 : step * 2;
    return step;
}

void draw_axes(const Canvas& canvas, const ScatterAxes& axes, const Both<std::string>& names) {
    constexpr unsigned kTicks = 6;
    canvas.font(15);
    cairo_set_line_width(canvas.cairo, 1);
    const double last_a = axes.bins_a * axes.step, last_b = axes.bins_b * axes.step;
    for (std::uint32_t v = 0, step = round_step(last_a, kTicks); v < last_a; v += step) {
        const double x = std::round(axes.left + v * axes.cell_x / axes.step) + 0.5;
        canvas.colour(kFaint);
        canvas.line(x, axes.bottom, x, axes.bottom + 6);
        canvas.colour(kText);
        canvas.text(x, axes.bottom + 24, 0.5, std::to_string(v));
    }
    for (std::uint32_t v = 0, step = round_step(last_b, kTicks); v < last_b; v += step) {
        const double y = std::round(axes.bottom - v * axes.cell_y / axes.step) - 0.5;
        canvas.colour(kFaint);
        canvas.line(axes.left - 6, y, axes.left, y);
        canvas.colour(kText);
        canvas.text(axes.left - 12, y + 5, 1, std::to_string(v));
    }
    canvas.text((axes.left + axes.right) / 2, axes.bottom + 54, 0.5, names.a);
    cairo_save(canvas.cairo);
    cairo_translate(canvas.cairo, 28, (axes.top + axes.bottom) / 2);
    cairo_rotate(canvas.cairo, -std::numbers::pi / 2);
    canvas.text(0, 0, 0.5, names.b);
    cairo_restore(canvas.cairo);
}

/// What the colours mean: counts from 1 to the most, in decades.
void draw_bar(const Canvas& canvas, const ScatterAxes& axes) {
    const double x = axes.right + kBarGap, height = axes.bottom - axes.top;
    for (std::uint32_t i = 0; i < height; ++i) {
        const double part = i / (height - 1);
        const double count = std::pow(static_cast<double>(axes.most), part);
        canvas.colour(colour_of(static_cast<std::uint32_t>(std::max(count, 1.0)), axes.most));
        cairo_rectangle(canvas.cairo, x, axes.bottom - i - 1, kBarWidth, 1);
        cairo_fill(canvas.cairo);
    }
    canvas.font(14);
    constexpr std::uint64_t kDecade = 10;
    for (std::uint64_t count = 1; count <= axes.most; count *= kDecade) {
        const double part =
            axes.most > 1 ? std::log(static_cast<double>(count)) / std::log(axes.most) : 1;
        const double y = axes.bottom - part * (height - 1);
        canvas.colour(kText);
        canvas.line(x + kBarWidth, y, x + kBarWidth + 5, y);
        canvas.text(x + kBarWidth + 9, y + 5, 0, std::to_string(count));
    }
    canvas.colour(kFaint);
    canvas.text(x, axes.top - 12, 0, "pixels");
}

/// Samples above the threshold are right of the line, or above it.
void draw_thresholds(const Canvas& canvas, const ScatterAxes& axes,
                     const Both<std::uint32_t>& thresholds) {
    const double x = axes.left + (thresholds.a + 1.0) * axes.cell_x / axes.step;
    const double y = axes.bottom - (thresholds.b + 1.0) * axes.cell_y / axes.step;
    const double dashes[] = {6, 5};
    cairo_set_dash(canvas.cairo, dashes, 2, 0);
    cairo_set_line_width(canvas.cairo, 1.6);
    canvas.colour(kWhite);
    if (thresholds.a != 0 && x < axes.right) canvas.line(x, axes.top, x, axes.bottom);
    if (thresholds.b != 0 && y > axes.top) canvas.line(axes.left, y, axes.right, y);
    cairo_set_dash(canvas.cairo, nullptr, 0, 0);
}

std::string format(const char* how, double value) {
    char text[64];
    std::snprintf(text, sizeof text, how, value);
    return text;
}

ScatterAxes write_scatter(const Options& options, const Pair& pair, const Counts& counts,
                          unsigned bits, const Numbers& numbers, std::uint32_t pixels) {
    const std::vector<std::uint32_t> bins = count_pairs(pair, bits);
    const unsigned shift = bits - 8;
    const auto bins_of = [&](std::uint32_t channel, std::uint32_t threshold) {
        return std::min((std::max(counts.max(channel), threshold + 1) >> shift) + 2, kBins);
    };
    ScatterAxes axes{};
    axes.step = 1U << shift;
    axes.bins_a = bins_of(pair.channels.a, pair.thresholds.a);
    axes.bins_b = bins_of(pair.channels.b, pair.thresholds.b);
    axes.cell_x = std::max(std::floor(kArea / axes.bins_a), 1.0);
    axes.cell_y = std::max(std::floor(kArea / axes.bins_b), 1.0);
    axes.left = kLeft;
    axes.top = kTop;
    axes.right = kLeft + axes.cell_x * axes.bins_a;
    axes.bottom = kTop + axes.cell_y * axes.bins_b;
    axes.most = *std::ranges::max_element(bins);

    const Canvas canvas(axes.right + kRightOfArea, axes.bottom + kBelow);
    const double room = axes.right + kRightOfArea - 2 * (kLeft / 4);
    const std::string title =
        printable(std::filesystem::path(options.wanted.path).filename().string());
    std::string subtitle = "Pearson " + format("%.3f", numbers.pearson) + ", M1 " +
                           format("%.3f", numbers.m1) + ", M2 " + format("%.3f", numbers.m2) +
                           "; " + std::to_string(pixels) + " pixels";
    if (pair.thresholds.a != 0 || pair.thresholds.b != 0)
        subtitle += "; dashed: thresholds " + std::to_string(pair.thresholds.a) + " and " +
                    std::to_string(pair.thresholds.b);
    canvas.headings(kLeft / 4, room, 34, title, 60, subtitle);

    cairo_set_antialias(canvas.cairo, CAIRO_ANTIALIAS_NONE);
    canvas.colour(kBlack);
    cairo_rectangle(canvas.cairo, axes.left, axes.top, axes.right - axes.left,
                    axes.bottom - axes.top);
    cairo_fill(canvas.cairo);
    for (std::uint32_t a = 0; a < axes.bins_a; ++a)
        for (std::uint32_t b = 0; b < axes.bins_b; ++b) {
            const std::uint32_t count = bins[std::size_t{kBins} * a + b];
            if (count == 0) continue;
            canvas.colour(colour_of(count, axes.most));
            cairo_rectangle(canvas.cairo, axes.left + a * axes.cell_x,
                            axes.bottom - (b + 1) * axes.cell_y, axes.cell_x, axes.cell_y);
            cairo_fill(canvas.cairo);
        }
    cairo_set_antialias(canvas.cairo, CAIRO_ANTIALIAS_DEFAULT);
    const auto name = [](std::uint32_t c) { return "value in channel " + std::to_string(c); };
    draw_axes(canvas, axes, {name(pair.channels.a), name(pair.channels.b)});
    draw_bar(canvas, axes);
    draw_thresholds(canvas, axes, pair.thresholds);
    Pixels screen;
    canvas.copy_to(screen);
    write_png(options.scatter.value_or(""), screen);
    return axes;
}

// ----- Options and output ------------------------------------------------------------------------

Both<std::uint32_t> parse_pair(const std::string& text, const Picture& picture) {
    const std::vector<std::uint32_t> list = parse_channels("--channels", text);
    if (list.size() != 2) throw WrongUsage("--channels: two channels are compared, such as 0,1");
    for (const std::uint32_t channel : list) check_component("--channels", channel, picture);
    return {list[0], list[1]};
}

Both<std::uint32_t> parse_thresholds(const std::string& text) {
    Both<std::uint16_t> read{};
    const char* const end = text.c_str() + text.size();
    const auto first = std::from_chars(text.c_str(), end, read.a);
    if (first.ec == std::errc() && first.ptr != end && *first.ptr == ',')
        if (const auto second = std::from_chars(first.ptr + 1, end, read.b);
            second.ec == std::errc() && second.ptr == end)
            return {read.a, read.b};
    throw WrongUsage("--threshold: '" + text +
                     "' is not A,B with whole numbers from 0 to 65535, nor otsu");
}

Both<std::uint32_t> thresholds_of(const Options& options, const Both<std::uint32_t>& channels,
                                  const Counts& counts) {
    if (!options.threshold) return {0, 0};
    if (*options.threshold == "otsu") {
        const auto of = [&](std::uint32_t channel) {
            if (counts.min(channel) == counts.max(channel))
                throw Failure(options.wanted.path + ": no threshold: all samples of channel " +
                              std::to_string(channel) + " are alike");
            return counts.otsu(channel, 1)[0];
        };
        return {of(channels.a), of(channels.b)};
    }
    return parse_thresholds(*options.threshold);
}

std::optional<Picture> read_mask(const Options& options, const Picture& picture) {
    if (!options.mask) return std::nullopt;
    Picture mask = read({*options.mask, std::nullopt, options.wanted.max_pixels});
    if (mask.components() != 1 || mask.container != 8)
        throw Failure(*options.mask + ": not a mask, which has one component of 8 bits");
    if (mask.width() != picture.width() || mask.height() != picture.height())
        throw Failure(*options.mask + ": the mask has " + std::to_string(mask.width()) + " x " +
                      std::to_string(mask.height()) + " pixels, and the picture " +
                      std::to_string(picture.width()) + " x " + std::to_string(picture.height()));
    return mask;
}

/// JSON has no word for what is no number.
std::string json_number(double value) { return std::isfinite(value) ? number(value) : "null"; }

constexpr struct {
    const char* key;
    const char* name;
    double Numbers::*value;
} kNumbers[] = {{"pearson", "Pearson's coefficient", &Numbers::pearson},
                {"overlap", "overlap", &Numbers::overlap},
                {"k1", "overlap k1", &Numbers::k1},
                {"k2", "overlap k2", &Numbers::k2},
                {"m1", "Manders' M1", &Numbers::m1},
                {"m2", "Manders' M2", &Numbers::m2},
                {"mean_a", "mean of the first", &Numbers::mean_a},
                {"mean_b", "mean of the second", &Numbers::mean_b},
                {"denominator", "denominator of Pearson's", &Numbers::denominator}};

void show_json(const Options& options, const Pair& pair, std::uint32_t pixels,
               const Numbers& numbers, const std::optional<ScatterAxes>& axes) {
    std::printf("{\"file\": %s, \"channels\": [%u, %u], \"thresholds\": [%u, %u], \"pixels\": %u",
                quoted(options.wanted.path).c_str(), pair.channels.a, pair.channels.b,
                pair.thresholds.a, pair.thresholds.b, pixels);
    for (const auto& row : kNumbers)
        std::printf(", \"%s\": %s", row.key, json_number(numbers.*row.value).c_str());
    if (axes)
        std::printf(
            ", \"scatter\": {\"file\": %s, \"left\": %s, \"top\": %s, \"right\": %s, "
            "\"bottom\": %s, \"cell_x\": %s, \"cell_y\": %s, \"values_per_bin\": %u, "
            "\"most\": %u}",
            quoted(options.scatter.value_or("")).c_str(), number(axes->left).c_str(),
            number(axes->top).c_str(), number(axes->right).c_str(), number(axes->bottom).c_str(),
            number(axes->cell_x).c_str(), number(axes->cell_y).c_str(), axes->step, axes->most);
    std::puts("}");
}

void show_text(const Pair& pair, std::uint32_t pixels, const Numbers& numbers) {
    std::printf("channels                  %u and %u\n", pair.channels.a, pair.channels.b);
    std::printf("thresholds                %u and %u\n", pair.thresholds.a, pair.thresholds.b);
    std::printf("pixels                    %u\n", pixels);
    for (const auto& row : kNumbers) std::printf("%-25s %.6g\n", row.name, numbers.*row.value);
}

void coloc(const Options& options) {
    if (options.map) check_output("--map", options.wanted, *options.map);
    if (options.scatter) check_output("--scatter", options.wanted, *options.scatter);
    const Picture picture = read(options.wanted);
    const Both<std::uint32_t> channels = parse_pair(options.channels, picture);
    const std::optional<Picture> mask = read_mask(options, picture);
    const Counts counts(picture.pixels.record());
    const Depth depth = significant_bits(picture, counts, options.bits);
    warn_of_excess(depth, counts);
    const Pair pair{picture, channels, thresholds_of(options, channels, counts),
                    mask ? &*mask : nullptr};
    std::uint32_t pixels = pair.size();
    if (mask) {
        const Counts of_mask(mask->pixels.record());
        pixels = static_cast<std::uint32_t>(of_mask.samples() - of_mask.at(0, 0));
        if (pixels == 0) throw Failure(options.mask.value_or("") + ": the mask selects no pixel");
    }
    const Numbers numbers = numbers_of(pair);
    if (options.map) {
        if (!(numbers.denominator > 0))
            throw Failure(options.wanted.path +
                          ": no map: a channel is the same everywhere above its threshold");
        write_map(pair, *options.map);
    }
    std::optional<ScatterAxes> axes;
    if (options.scatter) {  // stray bits above the depth count, too
        const auto needed = static_cast<unsigned>(std::bit_width(counts.max()));
        const unsigned bits = picture.container == 8 ? 8 : std::max({depth.bits, needed, 9U});
        axes = write_scatter(options, pair, counts, bits, numbers, pixels);
    }
    if (options.json)
        show_json(options, pair, pixels, numbers, axes);
    else
        show_text(pair, pixels, numbers);
    finish_output();
}

}  // namespace

std::function<void()> declare_coloc(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    add_picture(app, options->wanted);
    add_bits(app, options->bits);
    app.add_option("--channels", options->channels, "The two channels, from 0")
        ->required()
        ->type_name("A,B");
    app.add_option("--threshold", options->threshold,
                   "Background of the two channels: samples up to it are 0, and it is taken from "
                   "the others; 'otsu' finds it. 0,0 unless given")
        ->type_name("A,B|otsu");
    app.add_option("--mask", options->mask,
                   "Only the pixels where a mask, such as 'qmpic threshold' writes, is not 0: one "
                   "component of 8 bits, as large as the picture")
        ->type_name("MASK.png");
    app.add_flag("--json", options->json, "The numbers as JSON");
    app.add_option("--map", options->map,
                   "Write what each pixel contributes to Pearson's coefficient, as a TIFF file of "
                   "floats; 0 outside of the mask")
        ->type_name("OUT.tif");
    app.add_option("--scatter", options->scatter,
                   "Draw how often each pair of values occurs, with the thresholds, as a PNG file")
        ->type_name("OUT.png");
    app.footer(
        "With A and B the samples above the thresholds, less the thresholds: Pearson's "
        "coefficient\n"
        "is the correlation of A and B, -1 to 1; overlap is sum AB / sqrt(sum A^2 sum B^2), k1 "
        "and\n"
        "k2 are sum AB / sum A^2 and sum AB / sum B^2; M1 is the part of A where B is not 0, and "
        "M2\n"
        "the part of B where A is not 0. Without thresholds a background that is nowhere 0 makes\n"
        "both of them 1. Pixels where both are 0 count for Pearson's coefficient unless a mask\n"
        "leaves them out.");
    return [options] { coloc(*options); };
}

}  // namespace tool
