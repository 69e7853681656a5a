#include <algorithm>
#include <filesystem>
#include <memory>
#include <utility>

#include "colours.h"
#include "commands.h"
#include "failure.h"
#include "float_view.h"
#include "lists.h"
#include "luts.h"
#include "options.h"
#include "picture.h"
#include "screen.h"
#include "spectrum.h"
#include "tone.h"
#include "view.h"
#include "write_png.h"

namespace tool {

namespace {

struct Options {
    Wanted wanted;
    std::string output;
    std::optional<unsigned> bits;
    std::optional<std::string> channels, colours, levels, gamma;  ///< lists
    std::optional<std::string> automatic;
    bool minmax = false;
    std::optional<std::string> lut;
    std::optional<std::string> mark_over, mark_under;
    std::optional<std::string> tone;
    std::optional<std::string> spectral;
    std::optional<std::string> save_view, load_view;
    ScreenOptions screen;
};

/// Number `i` of a list that was given: one for each channel, or one for all.
template <class T>
const T& pick(const std::vector<T>& list, std::size_t i) {
    return list[list.size() == 1 ? 0 : i];
}

template <class Parse>
auto parse_for(const char* option, const std::optional<std::string>& text, std::size_t channels,
               Parse&& parse) {
    if (!text) return decltype(parse(option, *text)){};
    auto list = parse(option, *text);
    if (list.size() != 1 && list.size() != channels)
        throw WrongUsage(std::string(option) + ": " + std::to_string(list.size()) + " values for " +
                         std::to_string(channels) + " channels");
    return list;
}

/// What does not depend on the picture is looked at before it is read.
struct Parsed {
    explicit Parsed(const Options& options)
        : channels(options.channels ? parse_channels("--channels", *options.channels)
                                    : std::vector<std::uint32_t>{}),
          marks{mark("--mark-over", options.mark_over, kRed),
                mark("--mark-under", options.mark_under, kBlue)},
          left_out(options.minmax      ? Percents{0, 0}
                   : options.automatic ? parse_percents("--auto", *options.automatic)
                                       : kUsualPercents) {
        for (std::size_t i = 0; i < channels.size(); ++i)
            if (std::count(channels.begin(), channels.end(), channels[i]) > 1)
                throw WrongUsage("--channels: " + std::to_string(channels[i]) + " twice");
        if (options.colours) parse_colours("--colors", *options.colours);
        if (options.levels) parse_levels("--levels", *options.levels);
        if (options.gamma) parse_numbers("--gamma", *options.gamma);
        if (options.lut) lut = find_lut("--lut", *options.lut);
        if (options.tone) tone = parse_tone("--tone", *options.tone);
        if (options.spectral) spectrum.emplace("--spectral", *options.spectral);
    }

    static Colour mark(const std::string& option, const std::optional<std::string>& text,
                       Colour otherwise) {
        if (!text) return 0;
        if (*text == "default") return otherwise;
        if (*text == "inverse") return kInverse;
        const std::optional<Colour> colour = parse_colour(*text);
        if (!colour) throw WrongUsage(option + ": '" + *text + "' is no colour such as FF8000");
        if (*colour == 0) throw WrongUsage(option + ": black cannot mark anything");
        return *colour;
    }

    std::vector<std::uint32_t> channels;
    Marks marks;
    Percents left_out;
    std::optional<std::uint32_t> lut;
    std::optional<Tone> tone;
    std::optional<Spectrum> spectrum;
};

bool same_place(const std::string& one, const std::string& two) {
    std::error_code ignored;
    return std::filesystem::weakly_canonical(one, ignored) ==
           std::filesystem::weakly_canonical(two, ignored);
}

/// The levels of each component of the picture.
std::vector<Range> usual_levels(const Options& options, const Parsed& parsed,
                                const Picture& picture, const Depth& depth, const Counts& counts) {
    const std::uint32_t top = top_of(depth.bits);
    if (parsed.tone && !options.automatic && !options.minmax) {
        std::vector levels(picture.components(), Range{0, top});
        // A range so narrow would be black.
        if (parsed.tone->curve == Tone::Drago)
            for (std::uint32_t c = 0; c < picture.components(); ++c)
                if (counts.max(c) > 0) levels[c].high = counts.max(c);
        return levels;
    }
    if (picture.rgb && !options.automatic && !options.minmax)
        return std::vector(picture.components(), Range{0, saturation(picture, depth)});
    std::vector<Range> levels = counts.levels(parsed.left_out, picture.rgb);
    for (Range& range : levels) {
        range.high = std::min(range.high, top);
        if (range.low >= range.high) range = {0, top};
    }
    return levels;
}

/// Components that were chosen, or all.
std::vector<std::uint32_t> channels_of(const Parsed& parsed, const Picture& picture) {
    std::vector<std::uint32_t> channels = parsed.channels;
    for (const std::uint32_t c : channels) check_component("--channels", c, picture);
    if (channels.empty())
        for (std::uint32_t c = 0; c < picture.components(); ++c) channels.push_back(c);
    if (parsed.lut && channels.size() != 1)
        throw WrongUsage("--lut: it shows one channel, and not " + std::to_string(channels.size()) +
                         ": choose it by --channels");
    return channels;
}

Colour colour_of(const Parsed& parsed, const Picture& picture, const std::vector<Colour>& colours,
                 std::size_t i, std::uint32_t component, bool alone) {
    if (!colours.empty()) return pick(colours, i);
    return parsed.lut ? kGrey : usual_colour(picture, component, alone);
}

View decide(const Options& options, const Parsed& parsed, const Picture& picture,
            const Depth& depth, const Counts& counts) {
    const std::vector<std::uint32_t> channels = channels_of(parsed, picture);
    const std::size_t many = channels.size();
    const auto colours = parse_for("--colors", options.colours, many, parse_colours);
    const auto levels = parse_for("--levels", options.levels, many, parse_levels);
    const auto gamma = parse_for("--gamma", options.gamma, many, parse_numbers);
    const auto usual = usual_levels(options, parsed, picture, depth, counts);

    View view;
    const std::uint32_t color_space = picture.components() == 1;  // 1: a single component
    view.params.Init(color_space, false, 0, picture.components(), 0);
    view.params.uiGradient = parsed.lut.value_or(0);
    for (std::size_t i = 0; i < many; ++i) {
        const std::uint32_t c = channels[i];
        view.channels.push_back({c, colour_of(parsed, picture, colours, i, c, many == 1)});
        set_levels(view, c, depth.bits,
                   levels.empty() ? usual[c] : whole("--levels", pick(levels, i)),
                   gamma.empty() ? 1.0 : pick(gamma, i));
    }
    return view;
}

View loaded(const std::string& path, const Picture& picture) {
    View view = load_view(path);
    if (view.params.uiLutComponentCount != picture.components())
        throw Failure(path + ": a view of " + std::to_string(view.params.uiLutComponentCount) +
                      " components, and the picture has " + std::to_string(picture.components()));
    return view;
}

Pixels in_colours(const Picture& picture, const SQmLut& lut) {
    const SQmPicBuf& from = picture.pixels.record();
    Pixels screen;
    screen.allocate(from.uiWidth, from.uiHeight, 8, 3);
    check(CQmPicMemAPI_Base::ConvertToTrueColor(screen.record().pData, screen.record().uiWidthBytes,
                                                from.pData, from.uiComponents, from.uiBpc,
                                                from.uiWidthBytes, from.uiWidth,
                                                std::uint64_t{from.uiWidth} * from.uiHeight, &lut),
          "cannot be shown");
    return screen;
}

/// Bands are summed in the colours of their light.
Pixels by_spectrum(const Options& options, const Parsed& parsed, const Picture& picture) {
    const std::uint32_t bands = picture.components();
    if (bands == 1) throw WrongUsage("--spectral: a picture of one component has no spectrum");
    const auto gamma = parse_for("--gamma", options.gamma, 1, parse_numbers);
    const std::vector<Colour> light = parsed.spectrum->colours(bands);
    std::vector<Colour> colours(bands, 0);
    SQmLut lut;
    for (const std::uint32_t c : channels_of(parsed, picture)) colours[c] = light[c];
    if (std::ranges::all_of(colours, [](Colour colour) { return colour == 0; }))
        throw WrongUsage("--channels: none of them has light from 380 to 780 nm");
    const auto left_out = options.minmax ? std::nullopt : std::optional(parsed.left_out);
    make_spectral_tables(lut, picture, colours, left_out, gamma.empty() ? 1.0 : gamma[0]);
    lut.rmComponents = CQmRangeMask(bands, 0, bands - 1, 0);
    for (std::uint32_t c = 0; c < bands; ++c)
        if (colours[c] != 0) lut.rmComponents.Set(c);
    set_marks(lut, parsed.marks);
    return in_colours(picture, lut);
}

Pixels of_floats(const Options& options, const Parsed& parsed, Picture& picture) {
    for (const auto& [name, given] : {std::pair("--bits", options.bits.has_value()),
                                      {"--mark-over", options.mark_over.has_value()},
                                      {"--mark-under", options.mark_under.has_value()},
                                      {"--spectral", options.spectral.has_value()},
                                      {"--save-view", options.save_view.has_value()},
                                      {"--load-view", options.load_view.has_value()}})
        if (given) throw WrongUsage(std::string(name) + ": not of a picture of floats");
    const std::vector<std::uint32_t> channels = channels_of(parsed, picture);
    const std::size_t many = channels.size();
    const auto colours = parse_for("--colors", options.colours, many, parse_colours);
    const auto levels = parse_for("--levels", options.levels, many, parse_levels);
    const auto gamma = parse_for("--gamma", options.gamma, many, parse_numbers);
    make_finite(picture, options.wanted.path);
    const auto usual = levels.empty() ? float_levels(picture, parsed.left_out) : levels;

    std::vector<FloatChannel> shown;
    for (std::size_t i = 0; i < many; ++i) {
        const std::uint32_t c = channels[i];
        shown.push_back({c, colour_of(parsed, picture, colours, i, c, many == 1),
                         levels.empty() ? usual[c] : pick(levels, i),
                         gamma.empty() ? 1.0 : pick(gamma, i)});
    }
    return show_floats(picture, shown, parsed.lut);
}

void render(const Options& options) {
    const Parsed parsed(options);
    Screen screen(options.screen);
    check_output("--output", options.wanted, options.output);
    if (options.save_view) {
        check_output("--save-view", options.wanted, *options.save_view);
        if (same_place(options.output, *options.save_view))
            throw WrongUsage("--save-view: it would replace what is written to --output");
    }
    Picture picture = read(options.wanted);
    screen.read_mask(options.wanted, options.output);
    screen.check_fit(picture, options.wanted);
    std::optional<View> view;
    Pixels shown;
    if (parsed.tone) {
        if (!picture.floats) throw WrongUsage("--tone: only of a picture of floats");
        make_finite(picture, options.wanted.path);
        map_tones(picture, *parsed.tone);
    }
    if (picture.floats) {
        shown = of_floats(options, parsed, picture);
    } else {
        const Counts counts(picture.pixels.record());
        const Depth depth = significant_bits(picture, counts, options.bits);
        warn_of_excess(depth, counts);
        clip(picture, depth);  // tables are indexed by samples as they stand
        if (parsed.spectrum) {
            shown = by_spectrum(options, parsed, picture);
        } else {
            view.emplace(options.load_view ? loaded(*options.load_view, picture)
                                           : decide(options, parsed, picture, depth, counts));
            SQmLut lut;
            make_tables(lut, *view, depth.bits, parsed.marks);
            shown = in_colours(picture, lut);
        }
    }
    write_png(options.output, screen.show(std::move(shown)));
    if (options.save_view) save_view(*options.save_view, *view);
}

}  // namespace

std::function<void()> declare_render(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    add_picture(app, options->wanted);
    options->wanted.floats = true;
    add_output(app, options->output);
    add_bits(app, options->bits);
    CLI::Option* channels =
        app.add_option("--channels", options->channels, "Channels to show, from 0 (else all)")
            ->type_name("0,2");
    CLI::Option* colours =
        app.add_option("--colors", options->colours, "Colour of each channel shown, or one for all")
            ->type_name("FF0000,00FF00");
    CLI::Option* levels =
        app.add_option("--levels", options->levels,
                       "Samples shown black and full, each channel or one for all (else --auto; "
                       "RGB pictures: everything)")
            ->type_name("LOW:HIGH,...");
    CLI::Option* automatic =
        app.add_option("--auto", options->automatic,
                       "Levels that leave out so many percent of each channel's darkest and "
                       "brightest samples; 0.1:0.1 unless given")
            ->type_name("[LOW%:HIGH%]")
            ->excludes(levels);
    CLI::Option* minmax =
        app.add_flag("--minmax", options->minmax, "Levels at each channel's minimum and maximum")
            ->excludes(levels)
            ->excludes(automatic);
    CLI::Option* gamma =
        app.add_option("--gamma", options->gamma,
                       "Exponent between them, each channel or one for all; below 1 brightens")
            ->type_name("G,...");
    CLI::Option* lut =
        app.add_option("--lut", options->lut,
                       "Colour table of a single channel, by name or index: see 'qmpic luts'")
            ->type_name("NAME|INDEX")
            ->excludes(colours);
    app.add_option(
           "--tone", options->tone,
           "Bring a picture of floats to 8 bits by a tone curve, each channel from its own "
           "extremes and samples below 0 as 0; the levels are those of 8 bits then. "
           "'tumblin' lifts dark samples: P of 1 is straight, more is steeper, and without "
           "it the ratio of the extremes decides; levels 0:255. 'drago', a logarithm, has a "
           "narrow range: the brightest sample becomes 2 of 255 (seldom more, of ranges "
           "beyond 100000), so that a channel has three shades; levels 0 to the greatest")
        ->type_name("drago|tumblin[=P]")
        ->excludes(app.get_option("--bits"));
    app.add_option("--mark-over", options->mark_over,
                   "Mark saturated samples, in red; 'inverse' is that of the channel's colour")
        ->type_name("[COLOR]");
    app.add_option("--mark-under", options->mark_under, "Mark samples that are 0, in blue")
        ->type_name("[COLOR]");
    CLI::Option* save =
        app.add_option("--save-view", options->save_view,
                       "Write channels, colours, levels, gamma and colour table to a file")
            ->type_name("VIEW");
    CLI::Option* load =
        app.add_option("--load-view", options->load_view,
                       "Show it as such a file says: a picture of as many components, any depth")
            ->type_name("VIEW");
    for (CLI::Option* option : {channels, colours, levels, automatic, minmax, gamma, lut})
        load->excludes(option);
    CLI::Option* spectral =
        app.add_option(
               "--spectral", options->spectral,
               "Sum the components in the colours of their light: component I has START + "
               "I STEP nanometres, or that of line I of a file. One gamma; levels are those "
               "of the sums, with --minmax 0 and the greatest sum")
            ->type_name("START:STEP|FILE");
    for (CLI::Option* option : {colours, levels, lut, save, load}) spectral->excludes(option);
    add_screen(app, options->screen);
    return [options] { render(*options); };
}

}  // namespace tool
