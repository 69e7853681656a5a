#include <qmpic/qmpic.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <memory>

#include "colour_bar.h"
#include "commands.h"
#include "failure.h"
#include "lists.h"
#include "luts.h"
#include "options.h"
#include "progress.h"
#include "text.h"
#include "view.h"
#include "write_png.h"

namespace tool {

namespace {

struct Options {
    Wanted wanted;
    std::optional<std::string> output, mask, background, range, lut, calcium;
    std::uint32_t numer = 0, denom = 0;
    bool shade = false, csv = false;
};

/// Constants of a dye, and the concentrations at the ends of the scale.
struct Dye {
    double kd = 0, rmin = 0, rmax = 0, sf = 1, sb = 1, scale = 1;
    Levels range{0, 0};
};

Levels parse_range(const std::string& option, const std::string& text) {
    const auto ranges = parse_levels(option, text);
    if (ranges.size() != 1) throw WrongUsage(option + ": one range is wanted, LOW:HIGH");
    return ranges[0];
}

Dye parse_dye(const std::string& text) {
    const std::string option = "--calcium";
    Dye dye;
    struct Entry {
        const char* key;
        double* value;
        bool wanted, given = false;
    };
    Entry entries[] = {{"kd", &dye.kd, true},     {"rmin", &dye.rmin, true},
                       {"rmax", &dye.rmax, true}, {"sf", &dye.sf, false},
                       {"sb", &dye.sb, false},    {"scale", &dye.scale, false}};
    bool has_range = false;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find(',', at), text.size());
        const std::string part = text.substr(at, end - at);
        at = end + 1;
        const std::size_t sign = part.find('=');
        if (sign == std::string::npos)
            throw WrongUsage(option + ": '" + part + "' is not KEY=VALUE");
        const std::string key = part.substr(0, sign), value = part.substr(sign + 1);
        if (key == "range") {
            dye.range = parse_range(option + " range", value);
            has_range = true;
            continue;
        }
        const auto entry = std::find_if(std::begin(entries), std::end(entries),
                                        [&](const Entry& e) { return key == e.key; });
        if (entry == std::end(entries))
            throw WrongUsage(option + ": there is no '" + key +
                             "': kd, rmin, rmax, sf, sb, scale and range are known");
        *entry->value = parse_decimals(option + ": " + key, value, 1)[0];
        entry->given = true;
    }
    for (const Entry& e : entries)
        if (e.wanted && !e.given) throw WrongUsage(option + ": " + e.key + " is wanted");
    if (!has_range) throw WrongUsage(option + ": range is wanted, as range=LOW:HIGH");
    for (const Entry& e : entries)
        if (e.value != &dye.rmin && !(*e.value > 0))
            throw WrongUsage(option + ": " + e.key + " has to be above 0");
    if (!(dye.range.low > 0)) throw WrongUsage(option + ": the range has to begin above 0");
    return dye;
}

/// What does not depend on the picture is looked at before it is read.
struct Parsed {
    std::uint16_t backgrounds[2] = {0, 0};
    Levels range{0, 2};
    std::optional<Dye> dye;
    std::optional<std::uint32_t> lut;

    explicit Parsed(const Options& options) {
        if (!options.output && !options.csv)
            throw WrongUsage("ratio: one of --output and --csv is wanted");
        if (options.mask && !options.csv) throw WrongUsage("--mask: it goes with --csv");
        if (options.csv && options.wanted.page)
            throw WrongUsage("--page: --csv looks at all pages");
        if (options.calcium && (options.range || options.shade))
            throw WrongUsage("--calcium: it has a range and shade of its own");
        if (options.background) {
            const auto values = parse_channels("--background", *options.background);
            if (values.size() > 2) throw WrongUsage("--background: one value or two are wanted");
            for (std::size_t i = 0; i < 2; ++i) {
                const std::uint32_t value = values[values.size() == 1 ? 0 : i];
                if (value > 65535)
                    throw WrongUsage("--background: " + std::to_string(value) +
                                     " is more than 65535");
                backgrounds[i] = static_cast<std::uint16_t>(value);
            }
        }
        if (options.range) range = parse_range("--range", *options.range);
        if (options.calcium) {
            dye = parse_dye(*options.calcium);
            range = dye->range;
        }
        if (options.lut) lut = find_lut("--lut", *options.lut);
    }
};

void check_picture(const Options& options, const Parsed& parsed, const Picture& picture) {
    check_component("--numer", options.numer, picture);
    check_component("--denom", options.denom, picture);
    for (const std::uint32_t c : {options.numer, options.denom})
        if (c > 255) throw WrongUsage("a component above 255 cannot be shown");
    if (!picture.floats && picture.container == 8 &&
        std::max(parsed.backgrounds[0], parsed.backgrounds[1]) > 255)
        throw WrongUsage("--background: samples of this picture are bytes, up to 255");
    if (picture.floats && parsed.lut)
        throw WrongUsage("--lut: floats are always shown by the rainbow");
}

// ----- The picture -------------------------------------------------------------------------------

/// A set in the colour shape whose rows are these colours.
void make_scale(SQmLut& lut, const std::array<Colour, 256>& colours) {
    check(SQmLut::AllocColor(lut, 8, 8), "no colour table");
    auto* const rows = static_cast<std::uint8_t**>(lut.pLuts);
    for (std::size_t k = 0; k < colours.size(); ++k) {
        rows[k][0] = static_cast<std::uint8_t>(colours[k] >> 16);
        rows[k][1] = static_cast<std::uint8_t>(colours[k] >> 8);
        rows[k][2] = static_cast<std::uint8_t>(colours[k]);
    }
}

void draw(const Options& options, const Parsed& parsed, const Picture& picture) {
    const SQmPicBuf& from = picture.pixels.record();
    const std::uint64_t size = std::uint64_t{from.uiWidth} * from.uiHeight;
    const auto colours = colours_of(parsed.lut);
    SQmLut lut;
    make_scale(lut, colours);
    Pixels shown;
    shown.allocate(from.uiWidth, from.uiHeight, 8, 3);
    SQmPicBuf& to = shown.record();
    const auto numer = static_cast<std::uint8_t>(options.numer),
               denom = static_cast<std::uint8_t>(options.denom);
    if (parsed.dye) {
        const Dye& d = *parsed.dye;
        check(CQmPicMemAPI_Base::CaImage(to.pData, to.uiWidthBytes, from.pData, from.uiComponents,
                                         picture.container, from.uiWidthBytes, from.uiWidth, size,
                                         picture.floats, numer, denom, parsed.backgrounds[0],
                                         parsed.backgrounds[1], d.kd, d.scale, d.sf, d.sb, d.rmin,
                                         d.rmax, d.range.low, d.range.high, &lut),
              "no calcium picture");
    } else {
        SQmRatioDesc desc;
        desc.uiNumer = numer;
        desc.uiDenom = denom;
        desc.uiNumOffset = parsed.backgrounds[0];
        desc.uiDenOffset = parsed.backgrounds[1];
        desc.dMin = parsed.range.low;
        desc.dMax = parsed.range.high;
        check(
            CQmPicMemAPI_Base::RatioImage(to.pData, to.uiWidthBytes, from.pData, from.uiComponents,
                                          picture.container, from.uiWidthBytes, from.uiWidth, size,
                                          picture.floats, &desc, &lut, options.shade),
            "no ratio picture");
    }
    const bool gradual = picture.container != 16;  // concentrations of words have no brightness
    const ColourBar bar{colours, parsed.range.low, parsed.range.high, parsed.dye.has_value(),
                        parsed.dye ? gradual : options.shade};
    const std::string pair = std::to_string(options.numer) + " / " + std::to_string(options.denom);
    Pixels screen;
    draw_with_bar(screen, shown, (parsed.dye ? "Concentration, ratio " : "Ratio ") + pair, bar);
    write_png(*options.output, screen);
}

// ----- The mean ----------------------------------------------------------------------------------

struct Mean {
    double sum = 0;
    std::uint64_t pixels = 0, dark = 0;  ///< with a ratio, and without one
};

template <class T>
Mean mean_of(const Options& options, const Parsed& parsed, const Picture& picture,
             const Picture* mask) {
    Mean mean;
    for (std::uint32_t y = 0; y < picture.height(); ++y) {
        const auto* s = reinterpret_cast<const T*>(picture.pixels.row(y));
        for (std::uint32_t x = 0; x < picture.width(); ++x, s += picture.components()) {
            if (mask != nullptr && mask->pixels.row(y)[x] == 0) continue;
            const double a = static_cast<double>(s[options.numer]) - parsed.backgrounds[0],
                         b = static_cast<double>(s[options.denom]) - parsed.backgrounds[1];
            if (b > 0 && std::isfinite(a / b)) {
                mean.sum += a / b;
                ++mean.pixels;
            } else {
                ++mean.dark;
            }
        }
    }
    return mean;
}

Picture read_mask(const Options& options) {
    Wanted wanted;
    wanted.path = *options.mask;
    wanted.max_pixels = options.wanted.max_pixels;
    Picture mask = read(wanted);
    if (mask.components() != 1 || mask.container != 8)
        throw Failure(*options.mask + ": a mask has one component of 8 bits");
    for (std::uint32_t y = 0; y < mask.height(); ++y)
        if (std::any_of(mask.pixels.row(y), mask.pixels.row(y) + mask.width(),
                        [](std::uint8_t sample) { return sample != 0; }))
            return mask;
    throw Failure(*options.mask + ": the mask is empty");
}

void print_means(const Options& options, const Parsed& parsed, const Picture& first) {
    std::optional<Picture> mask;
    if (options.mask) mask = read_mask(options);
    const std::uint32_t pages = first.pages_are_components ? 1 : first.pages;
    std::string rows = "page,mean_ratio,pixels,dark_pixels\n";
    Progress progress("reading");
    for (std::uint32_t k = 0; k < pages; ++k) {
        progress.show(k, pages);
        Picture next;
        if (k != 0) {
            Wanted wanted = options.wanted;
            wanted.page = k;
            next = read(wanted);
            check_picture(options, parsed, next);
        }
        const Picture& picture = k == 0 ? first : next;
        if (mask && (mask->width() != picture.width() || mask->height() != picture.height()))
            throw Failure(*options.mask + ": the mask is " + std::to_string(mask->width()) + " x " +
                          std::to_string(mask->height()) + " pixels, and the picture " +
                          std::to_string(picture.width()) + " x " +
                          std::to_string(picture.height()));
        const Picture* const where = mask ? &*mask : nullptr;
        const Mean mean = picture.floats ? mean_of<float>(options, parsed, picture, where)
                          : picture.container == 8
                              ? mean_of<std::uint8_t>(options, parsed, picture, where)
                              : mean_of<std::uint16_t>(options, parsed, picture, where);
        rows += std::to_string(k) + ',' +
                (mean.pixels != 0 ? number(mean.sum / static_cast<double>(mean.pixels)) : "") +
                ',' + std::to_string(mean.pixels) + ',' + std::to_string(mean.dark) + '\n';
    }
    std::fputs(rows.c_str(), stdout);
    finish_output();
}

void ratio(const Options& options) {
    const Parsed parsed(options);
    if (options.output) check_output("--output", options.wanted, *options.output);
    Wanted wanted = options.wanted;
    wanted.floats = true;
    const Picture picture = read(wanted);
    check_picture(options, parsed, picture);
    if (options.output) draw(options, parsed, picture);
    if (options.csv) {
        Options all = options;
        all.wanted = wanted;
        print_means(all, parsed, picture);
    }
}

}  // namespace

std::function<void()> declare_ratio(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    add_picture(app, options->wanted);
    app.add_option("-o,--output", options->output, "PNG file to write, with a scale bar")
        ->type_name("OUT.png");
    app.add_option("--numer", options->numer, "Component of the numerator, from 0")
        ->required()
        ->type_name("C");
    app.add_option("--denom", options->denom, "Component of the denominator")
        ->required()
        ->type_name("C");
    app.add_option("--background", options->background,
                   "Backgrounds that are subtracted from both, or one for both")
        ->type_name("A,B");
    app.add_option("--range", options->range, "Ratios at the ends of the scale, 0:2 without it")
        ->type_name("LOW:HIGH");
    app.add_flag("--shade", options->shade, "Brightness follows the larger signal");
    app.add_option("--lut", options->lut, "Colour table of the scale instead of the rainbow")
        ->type_name("NAME|INDEX");
    app.add_option("--calcium", options->calcium,
                   "Show the concentration of an ion: kd, rmin, rmax, range=LOW:HIGH; and sf, sb, "
                   "scale, which are 1")
        ->type_name("KEY=VALUE,...");
    app.add_flag("--csv", options->csv, "Print the mean ratio of each page of a TIFF");
    app.add_option("--mask", options->mask, "Only pixels that are not 0 in this picture count")
        ->type_name("MASK.png");
    app.footer(
        "A pixel whose denominator is not above its background has the last colour if there is a\n"
        "signal in the numerator, else the first. With --calcium the concentration is\n"
        "    sf / sb * kd * (R - scale * rmin) / (scale * rmax - R)\n"
        "on a logarithmic scale; words (9 to 16 bits) are then black or fully coloured.\n"
        "--csv: page, mean of the ratios, pixels with a ratio, pixels with a dark denominator,\n"
        "which do not count.");
    return [options] { ratio(*options); };
}

}  // namespace tool
