#include <algorithm>
#include <memory>

#include "colours.h"
#include "commands.h"
#include "failure.h"
#include "lists.h"
#include "options.h"
#include "picture.h"
#include "tables.h"
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
    std::optional<std::string> mark_over, mark_under;
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
          over(mark("--mark-over", options.mark_over, kRed)),
          under(mark("--mark-under", options.mark_under, kBlue)),
          left_out(options.automatic ? parse_percents("--auto", *options.automatic)
                                     : kUsualPercents) {
        for (std::size_t i = 0; i < channels.size(); ++i)
            if (std::count(channels.begin(), channels.end(), channels[i]) > 1)
                throw WrongUsage("--channels: " + std::to_string(channels[i]) + " twice");
        if (options.colours) parse_colours("--colors", *options.colours);
        if (options.levels) parse_ranges("--levels", *options.levels);
        if (options.gamma) parse_numbers("--gamma", *options.gamma);
    }

    static std::optional<Colour> mark(const std::string& option,
                                      const std::optional<std::string>& text, Colour otherwise) {
        if (!text) return std::nullopt;
        if (*text == "default") return otherwise;
        if (*text == "inverse") return kInverse;
        const std::optional<Colour> colour = parse_colour(*text);
        if (!colour) throw WrongUsage(option + ": '" + *text + "' is no colour such as FF8000");
        if (*colour == 0) throw WrongUsage(option + ": black cannot mark anything");
        return colour;
    }

    std::vector<std::uint32_t> channels;
    std::optional<Colour> over, under;
    Percents left_out;
};

/// The levels of each component of the picture.
std::vector<Range> usual_levels(const Options& options, const Percents& left_out,
                                const Picture& picture, const Depth& depth, const Counts& counts) {
    const std::uint32_t top = top_of(depth.bits);
    if (picture.rgb && !options.automatic && !options.minmax)
        return std::vector(picture.components(), Range{0, saturation(picture, depth)});
    std::vector<Range> levels = options.minmax
                                    ? counts.levels(0, 0)
                                    : counts.levels(left_out.low / 100, left_out.high / 100);
    for (Range& range : levels) {
        range.high = std::min(range.high, top);
        if (range.low >= range.high) range = {0, top};
    }
    return levels;
}

std::vector<Shown> decide(const Options& options, const Parsed& parsed, const Picture& picture,
                          const Depth& depth, const Counts& counts) {
    std::vector<std::uint32_t> channels = parsed.channels;
    if (channels.empty())
        for (std::uint32_t c = 0; c < picture.components(); ++c) channels.push_back(c);
    const std::size_t many = channels.size();
    const auto colours = parse_for("--colors", options.colours, many, parse_colours);
    const auto levels = parse_for("--levels", options.levels, many, parse_ranges);
    const auto gamma = parse_for("--gamma", options.gamma, many, parse_numbers);
    const auto usual = usual_levels(options, parsed.left_out, picture, depth, counts);

    std::vector<Shown> shown;
    for (std::size_t i = 0; i < many; ++i) {
        const std::uint32_t c = channels[i];
        check_component("--channels", c, picture);
        shown.push_back(
            {c, colours.empty() ? usual_colour(picture, c, many == 1) : pick(colours, i),
             levels.empty() ? usual[c] : pick(levels, i), gamma.empty() ? 1.0 : pick(gamma, i)});
    }
    return shown;
}

void render(const Options& options) {
    const Parsed parsed(options);
    check_output("--output", options.wanted, options.output);
    Picture picture = read(options.wanted);
    const Counts counts(picture.pixels.record());
    const Depth depth = significant_bits(picture, counts, options.bits);
    warn_of_excess(depth, counts);
    clip(picture, depth);  // tables are indexed by samples as they stand

    SQmLut lut;
    make_tables(lut, depth.bits, picture.components(),
                decide(options, parsed, picture, depth, counts), {parsed.over, parsed.under});
    const SQmPicBuf& from = picture.pixels.record();
    Pixels screen;
    screen.allocate(from.uiWidth, from.uiHeight, 8, 3);
    const int status = CQmPicMemAPI_Base::ConvertToTrueColor(
        screen.record().pData, screen.record().uiWidthBytes, from.pData, from.uiComponents,
        from.uiBpc, from.uiWidthBytes, from.uiWidth, std::uint64_t{from.uiWidth} * from.uiHeight,
        &lut);
    if (status != QM_OK)
        throw Failure(options.wanted.path + ": cannot be shown: status " + std::to_string(status));
    write_png(options.output, screen);
}

}  // namespace

std::function<void()> declare_render(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    add_picture(app, options->wanted);
    add_output(app, options->output);
    add_bits(app, options->bits);
    app.add_option("--channels", options->channels, "Channels to show, from 0 (else all)")
        ->type_name("0,2");
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
    app.add_flag("--minmax", options->minmax, "Levels at each channel's minimum and maximum")
        ->excludes(levels)
        ->excludes(automatic);
    app.add_option("--gamma", options->gamma,
                   "Exponent between them, each channel or one for all; below 1 brightens")
        ->type_name("G,...");
    app.add_option("--mark-over", options->mark_over,
                   "Mark saturated samples, in red; 'inverse' is that of the channel's colour")
        ->type_name("[COLOR]");
    app.add_option("--mark-under", options->mark_under, "Mark samples that are 0, in blue")
        ->type_name("[COLOR]");
    return [options] { render(*options); };
}

}  // namespace tool
