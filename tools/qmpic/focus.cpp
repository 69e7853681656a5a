#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "colours.h"
#include "commands.h"
#include "failure.h"
#include "float_view.h"
#include "focus_plot.h"
#include "options.h"
#include "progress.h"
#include "text.h"
#include "view.h"
#include "write_png.h"

namespace tool {

namespace {

using Api = CQmPicMemAPI_Base;

constexpr struct {
    const char* name;
    Api::EQmFocusCriterium criterium;
    Colour colour;  ///< of its curve
    bool of_floats, of_float_components;
} kCriteria[] = {
    {"energy", Api::FocusGradientPerEnergy, 0xB47716, true, true},
    {"gradient", Api::FocusGradientPerSample, 0x0E7FFF, true, false},  // of one component alone
    {"multiscale", Api::FocusMultiScale, 0x2C9020, true, true},
    {"noise", Api::FocusImmerkaer, 0x2827D6, false, false},
    {"mean", Api::FocusMaxInt, 0x8C8C8C, true, true},
    {"autocorrelation", Api::FocusAutocorrelation, 0xBD4794, false, false},
};
using Criterion = std::remove_cvref_t<decltype(kCriteria[0])>;

struct Options {
    std::vector<std::string> paths;
    std::uint64_t max_pixels = Wanted{}.max_pixels;
    std::string criterion = "all", component = "all", step = "1,1", levels = "0:0";
    std::optional<unsigned> bits;
    std::optional<std::string> plot, best;
    bool json = false, csv = false;
};

/// What was asked for, as far as it can be understood without a picture.
struct Parsed {
    explicit Parsed(const Options& options) {
        for (const Criterion& row : kCriteria)
            if (options.criterion == "all" || options.criterion == row.name)
                criteria.push_back(&row);
        if (criteria.empty())
            throw WrongUsage("--criterion: '" + options.criterion +
                             "' is none: all, energy, gradient, multiscale, noise, mean or "
                             "autocorrelation");
        if (options.component != "all") {
            const auto chosen = parse_channels("--component", options.component);
            if (chosen.size() != 1) throw WrongUsage("--component: one, or all");
            component = chosen[0];
        }
        const auto steps = parse_channels("--step", options.step);
        if (steps.size() != 2 || steps[0] == 0 || steps[1] == 0)
            throw WrongUsage("--step: '" + options.step + "' is no X,Y of whole numbers from 1");
        step_x = steps[0];
        step_y = steps[1];
        levels = parse_values("--levels", options.levels);
        if (levels.low > levels.high || levels.high > 5)
            throw WrongUsage("--levels: '" + options.levels + "' is no LOW:HIGH from 0 to 5");
    }
    bool is_one() const { return criteria.size() == 1; }
    int component_or_all() const { return component ? static_cast<int>(*component) : -1; }

    std::vector<const Criterion*> criteria;
    std::optional<std::uint32_t> component;
    std::uint32_t step_x, step_y;
    Range levels;
};

/// A page of a TIFF, or the only one of another file.
struct Plane {
    std::string path;
    std::uint32_t page;
    std::vector<double> values;  ///< by criterion; NaN where it gives nothing
};

struct Series {
    std::vector<Plane> planes;
    std::uint32_t width, height, components;
    Depth depth;
    std::vector<FocusCurve> curves;
};

Picture read_plane(const Options& options, const std::string& path, std::uint32_t page) {
    Wanted wanted;
    wanted.path = path;
    wanted.page = page;
    wanted.max_pixels = options.max_pixels;
    wanted.floats = true;
    return read(wanted);
}

/// Words are words of 16 bits unless somebody says otherwise: a series has one depth, whatever the
/// greatest sample of a plane is.
Depth depth_of(const Options& options, const Picture& picture) {
    if (picture.floats) return {32, "floats"};
    if (!options.bits && !picture.stated) return {picture.container, "samples"};
    const Counts counts(picture.pixels.record());
    return significant_bits(picture, counts, options.bits);
}

void limit(Picture& picture, const Depth& depth) {
    if (picture.floats) return;
    const Counts counts(picture.pixels.record());
    warn_of_excess(depth, counts);
    clip(picture, depth);
}

/// Why a criterion gives nothing for such pictures; nothing if it does.
std::string objection(const Criterion& row, const Parsed& parsed, const Picture& picture) {
    if (picture.floats && !row.of_floats) return "it does not measure floats";
    if (picture.floats && picture.components() > 1 && !row.of_float_components)
        return "it does not measure floats of several components";
    const auto needs = [&](std::uint32_t width, std::uint32_t height) -> std::string {
        if (picture.width() >= width && picture.height() >= height) return "";
        return "it needs pictures of at least " + std::to_string(width) + " x " +
               std::to_string(height) + " pixels";
    };
    switch (row.criterium) {
    case Api::FocusMultiScale: return needs(17, 17);  // 16 have no pixel that is looked at
    case Api::FocusImmerkaer: {
        // The last level alone needs one more than twice its distance.
        const std::uint32_t high = parsed.levels.high, least = (2u << high) + 1;
        return needs(least, least);
    }
    case Api::FocusAutocorrelation: return needs(3, 1);
    case Api::FocusMaxInt: return "";
    default: return needs(2, 1);
    }
}

double measure(const Criterion& row, const Parsed& parsed, const Picture& picture, int component) {
    const SQmPicBuf& of = picture.pixels.record();
    const std::uint64_t pixels = std::uint64_t{of.uiWidth} * of.uiHeight;
    double value = NAN;
    if (picture.floats && row.criterium != Api::FocusGradientPerSample)
        check(CQmFloatPicMemAPI_Base::GetFocusCriterium(
                  &value, component, static_cast<const float*>(of.pData), of.uiWidthBytes,
                  of.uiComponents, parsed.step_x, parsed.step_y, parsed.levels.low,
                  parsed.levels.high, of.uiWidth, pixels, row.criterium),
              row.name);
    else
        check(Api::GetFocusCriterium(&value, component, of.pData, of.uiWidthBytes, of.uiComponents,
                                     picture.floats ? 32 : of.uiBpc, parsed.step_x, parsed.step_y,
                                     parsed.levels.low, parsed.levels.high, of.uiWidth, pixels,
                                     row.criterium),
              row.name);
    return value;
}

/// Of all components the autocorrelation is the mean of theirs, as it knows one only.
double measure_asked(const Criterion& row, const Parsed& parsed, const Picture& picture) {
    if (parsed.component || row.criterium != Api::FocusAutocorrelation)
        return measure(row, parsed, picture, parsed.component_or_all());
    double sum = 0;
    for (std::uint32_t c = 0; c < picture.components(); ++c)
        sum += measure(row, parsed, picture, static_cast<int>(c));
    return sum / picture.components();
}

Series measure_all(const Options& options, const Parsed& parsed) {
    Progress progress("measuring");
    Series series{};
    for (std::size_t f = 0; f < options.paths.size(); ++f) {
        const std::string& path = options.paths[f];
        std::uint32_t pages = 1;
        for (std::uint32_t page = 0; page < pages; ++page) {
            Picture picture = read_plane(options, path, page);
            pages = picture.pages;
            if (parsed.component) check_component("--component", *parsed.component, picture);
            if (series.planes.empty()) {
                series.width = picture.width();
                series.height = picture.height();
                series.components = picture.components();
                series.depth = depth_of(options, picture);
                if (parsed.is_one())
                    if (const std::string why = objection(*parsed.criteria[0], parsed, picture);
                        !why.empty())
                        throw WrongUsage("--criterion: " + options.criterion + ": " + why);
            } else if (picture.width() != series.width || picture.height() != series.height ||
                       picture.components() != series.components ||
                       (picture.floats ? 32 : picture.container) !=
                           (series.depth.bits + 7) / 8 * 8) {
                throw Failure(path + ": page " + std::to_string(page) +
                              " is of another size or kind than the first plane");
            }
            limit(picture, series.depth);
            Plane plane{path, page, {}};
            for (const Criterion* row : parsed.criteria)
                plane.values.push_back(objection(*row, parsed, picture).empty()
                                           ? measure_asked(*row, parsed, picture)
                                           : NAN);
            series.planes.push_back(std::move(plane));
            progress.show(f * pages + page, options.paths.size() * pages);
        }
    }
    for (std::size_t i = 0; i < parsed.criteria.size(); ++i) {
        FocusCurve curve{parsed.criteria[i]->name, parsed.criteria[i]->colour, {}, std::nullopt};
        for (const Plane& plane : series.planes) {
            const double value = plane.values[i];
            curve.values.push_back(value);
            if (!std::isnan(value) && (!curve.sharpest || value > curve.values[*curve.sharpest]))
                curve.sharpest = curve.values.size() - 1;
        }
        series.curves.push_back(std::move(curve));
    }
    return series;
}

/// The plane that most criteria name; of several, that of the first criterion.
std::size_t best_plane(const Series& series) {
    std::size_t best = 0;
    std::ptrdiff_t most = 0;
    for (const FocusCurve& curve : series.curves) {
        if (!curve.sharpest) continue;
        const auto named = std::ranges::count(series.curves, curve.sharpest, &FocusCurve::sharpest);
        if (named > most) {
            most = named;
            best = *curve.sharpest;
        }
    }
    return best;
}

/// As `render` shows it.
Pixels shown(const Parsed& parsed, Picture& picture, const std::string& path) {
    std::vector<std::uint32_t> channels;
    for (std::uint32_t c = 0; c < picture.components(); ++c)
        if (c == parsed.component.value_or(c)) channels.push_back(c);
    if (picture.floats) {
        make_finite(picture, path);
        const auto levels = float_levels(picture, kUsualPercents);
        std::vector<FloatChannel> visible;
        for (const std::uint32_t c : channels)
            visible.push_back({c, usual_colour(picture, c, channels.size() == 1), levels[c], 1.0});
        return show_floats(picture, visible, std::nullopt);
    }
    const Counts counts(picture.pixels.record());
    const Depth depth = significant_bits(picture, counts, std::nullopt);
    clip(picture, depth);
    const std::vector<Range> levels = counts.levels(kUsualPercents, picture.rgb);
    View view;
    view.params.Init(picture.components() == 1, false, 0, picture.components(), 0);
    for (const std::uint32_t c : channels) {
        Range range{levels[c].low, std::min(levels[c].high, top_of(depth.bits))};
        if (range.low >= range.high || picture.rgb) range = {0, saturation(picture, depth)};
        view.channels.push_back({c, usual_colour(picture, c, channels.size() == 1)});
        set_levels(view, c, depth.bits, range, 1.0);
    }
    SQmLut lut;
    make_tables(lut, view, depth.bits, {});
    const SQmPicBuf& from = picture.pixels.record();
    Pixels screen;
    screen.allocate(from.uiWidth, from.uiHeight, 8, 3);
    check(Api::ConvertToTrueColor(screen.record().pData, screen.record().uiWidthBytes, from.pData,
                                  from.uiComponents, from.uiBpc, from.uiWidthBytes, from.uiWidth,
                                  std::uint64_t{from.uiWidth} * from.uiHeight, &lut),
          "cannot be shown");
    return screen;
}

std::string number_or_null(double value) { return std::isfinite(value) ? number(value) : "null"; }

void show_json(const Options& options, const Parsed& parsed, const Series& series,
               const std::optional<FocusAxes>& axes, std::optional<std::size_t> best) {
    std::printf("{\"significant_bits\": %u, \"significant_bits_from\": %s, \"component\": %s, ",
                series.depth.bits, quoted(series.depth.stated).c_str(),
                parsed.component ? options.component.c_str() : "\"all\"");
    std::printf("\"step\": [%u, %u], \"levels\": [%u, %u], ", parsed.step_x, parsed.step_y,
                parsed.levels.low, parsed.levels.high);
    if (axes)
        std::printf(
            "\"plot\": {\"file\": %s, \"width\": %s, \"height\": %s, \"left\": %s, "
            "\"top\": %s, \"right\": %s, \"bottom\": %s}, ",
            quoted(*options.plot).c_str(), number(axes->width).c_str(),
            number(axes->height).c_str(), number(axes->left).c_str(), number(axes->top).c_str(),
            number(axes->right).c_str(), number(axes->bottom).c_str());
    if (best)
        std::printf("\"best\": {\"file\": %s, \"plane\": %zu}, ", quoted(*options.best).c_str(),
                    *best);
    std::printf("\"sharpest\": {");
    const char* separator = "";
    for (const FocusCurve& curve : series.curves) {
        std::printf("%s\"%s\": %s", separator, curve.name.c_str(),
                    curve.sharpest ? std::to_string(*curve.sharpest).c_str() : "null");
        separator = ", ";
    }
    std::printf("}, \"planes\": [");
    separator = "";
    for (const Plane& plane : series.planes) {
        std::printf("%s{\"file\": %s, \"page\": %u", separator, quoted(plane.path).c_str(),
                    plane.page);
        for (std::size_t i = 0; i < series.curves.size(); ++i)
            std::printf(", \"%s\": %s", series.curves[i].name.c_str(),
                        number_or_null(plane.values[i]).c_str());
        std::printf("}");
        separator = ", ";
    }
    std::puts("]}");
}

void show_csv(const Series& series) {
    std::printf("plane,file,page");
    for (const FocusCurve& curve : series.curves) std::printf(",%s", curve.name.c_str());
    for (std::size_t p = 0; p < series.planes.size(); ++p) {
        std::string name;
        for (const char c : printable(series.planes[p].path))
            name += c == '"' ? "\"\"" : std::string(1, c);
        std::printf("\n%zu,\"%s\",%u", p, name.c_str(), series.planes[p].page);
        for (const double value : series.planes[p].values)
            std::printf(",%s", std::isfinite(value) ? number(value).c_str() : "");
    }
    std::puts("");
}

void show_text(const Series& series) {
    std::printf("%zu planes of %u x %u pixels\n\nplane", series.planes.size(), series.width,
                series.height);
    for (const FocusCurve& curve : series.curves) std::printf("  %15s", curve.name.c_str());
    for (std::size_t p = 0; p < series.planes.size(); ++p) {
        std::printf("\n%5zu", p);
        for (std::size_t i = 0; i < series.curves.size(); ++i) {
            char text[40] = "-";
            if (std::isfinite(series.planes[p].values[i]))
                std::snprintf(text, sizeof text, "%s%.6g",
                              series.curves[i].sharpest == p ? "*" : "",
                              series.planes[p].values[i]);
            std::printf("  %15s", text);
        }
    }
    std::puts("\n");
    for (const FocusCurve& curve : series.curves) {
        if (!curve.sharpest) continue;
        const Plane& plane = series.planes[*curve.sharpest];
        std::printf("%-15s  plane %zu is the sharpest: %s, page %u\n", curve.name.c_str(),
                    *curve.sharpest, printable(plane.path).c_str(), plane.page);
    }
}

FocusAxes write_plot(const Options& options, const Parsed& parsed, const Series& series) {
    const std::string first =
        printable(std::filesystem::path(options.paths[0]).filename().string());
    const std::string title =
        options.paths.size() == 1
            ? first
            : first + " and " + std::to_string(options.paths.size() - 1) + " more files";
    std::string subtitle = std::to_string(series.planes.size()) + " planes of " +
                           std::to_string(series.width) + " \u00d7 " +
                           std::to_string(series.height) + " pixels";
    if (series.components > 1)
        subtitle += parsed.component ? ", component " + std::to_string(*parsed.component)
                                     : ", all " + std::to_string(series.components) + " components";
    Pixels screen;
    const FocusAxes axes = draw_focus_plot(
        screen, title, subtitle + "; ringed: the sharpest plane of a criterion", series.curves);
    write_png(*options.plot, screen);
    return axes;
}

void focus(const Options& options) {
    const Parsed parsed(options);
    for (const std::string& path : options.paths) {
        Wanted wanted;
        wanted.path = path;
        if (options.plot) check_output("--plot", wanted, *options.plot);
        if (options.best) check_output("--best", wanted, *options.best);
    }
    const Series series = measure_all(options, parsed);
    std::optional<FocusAxes> axes;
    std::optional<std::size_t> best;
    if (options.plot) axes = write_plot(options, parsed, series);
    if (options.best) {
        best = best_plane(series);
        const Plane& plane = series.planes[*best];
        Picture picture = read_plane(options, plane.path, plane.page);
        write_png(*options.best, shown(parsed, picture, plane.path));
    }
    if (options.json)
        show_json(options, parsed, series, axes, best);
    else if (options.csv)
        show_csv(series);
    else
        show_text(series);
    finish_output();
}

}  // namespace

std::function<void()> declare_focus(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    app.add_option("FILES", options->paths, "TIFF (each page is a plane), PNG, PGM or PPM")
        ->required();
    app.add_option("--max-pixels", options->max_pixels,
                   "Refuse larger pictures (pixels x components)")
        ->check(CLI::PositiveNumber)
        ->capture_default_str()
        ->type_name("N");
    app.add_option("--criterion", options->criterion,
                   "One of energy, gradient, multiscale, noise, mean, autocorrelation, or all")
        ->capture_default_str()
        ->type_name("NAME");
    app.add_option("--component", options->component, "Component to measure, from 0, or all")
        ->capture_default_str()
        ->type_name("C");
    app.add_option("--step", options->step,
                   "Measure every X-th pixel (energy, gradient) of every Y-th row (mean, too)")
        ->capture_default_str()
        ->type_name("X,Y");
    app.add_option("--levels", options->levels,
                   "Scales of noise, each twice the one before, 0 to 5")
        ->capture_default_str()
        ->type_name("LOW:HIGH");
    app.add_option("--bits", options->bits,
                   "Significant bits (else from the file, or all of its samples)")
        ->type_name("N");
    CLI::Option* json = app.add_flag("--json", options->json, "Print everything as JSON");
    app.add_flag("--csv", options->csv, "Print a table, a line a plane")->excludes(json);
    app.add_option("--plot", options->plot, "Draw the curves as a PNG file")->type_name("OUT.png");
    app.add_option("--best", options->best,
                   "Write the sharpest plane as a PNG file: that which most criteria name")
        ->type_name("OUT.png");
    app.footer(
        "The greater, the sharper; numbers of different criteria cannot be compared.\n"
        "  energy           root of the squared differences of neighbours over that of samples\n"
        "  gradient         root of the mean squared difference of neighbours\n"
        "  multiscale       squared differences at distances of 1 to 16, one pixel in 16 by 16\n"
        "  noise            mean of a noise mask; with --levels what stands out of the noise\n"
        "  mean             share of the greatest value: light, and not sharpness\n"
        "  autocorrelation  neighbours' products less those of pixels two apart, along the rows;\n"
        "                   of all components the mean of theirs\n"
        "What a picture is too small for, or what does not measure floats, is left out of 'all'.");
    return [options] { focus(*options); };
}

}  // namespace tool
