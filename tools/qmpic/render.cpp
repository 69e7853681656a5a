#include <algorithm>
#include <filesystem>
#include <memory>

#include "commands.h"
#include "failure.h"
#include "lists.h"
#include "picture.h"
#include "read.h"
#include "tables.h"
#include "write_png.h"

namespace tool {

namespace {

struct Options {
    Wanted wanted;
    std::string output;
    std::optional<unsigned> bits;
    std::optional<std::string> channels, colours, levels, gamma;  ///< lists
    std::optional<std::string> mark_over, mark_under;
};

constexpr Colour kRed = 0x0000FF, kGreen = 0x00FF00, kBlue = 0xFF0000, kGrey = 0xFFFFFF;
constexpr Colour kRgbColours[] = {kRed, kGreen, kBlue};
/// Blue, green, red, grey, cyan, magenta, yellow, and again.
constexpr Colour kChannelColours[] = {kBlue, kGreen, kRed, kGrey, 0xFFFF00, 0xFF00FF, 0x00FFFF};

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
          under(mark("--mark-under", options.mark_under, kBlue)) {
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
};

std::vector<Shown> decide(const Options& options, std::vector<std::uint32_t> channels,
                          const Picture& picture, const Depth& depth,
                          const std::vector<Counted>& counted) {
    if (channels.empty())
        for (std::uint32_t c = 0; c < picture.components(); ++c) channels.push_back(c);
    const std::size_t many = channels.size();
    const auto colours = parse_for("--colors", options.colours, many, parse_colours);
    const auto levels = parse_for("--levels", options.levels, many, parse_ranges);
    const auto gamma = parse_for("--gamma", options.gamma, many, parse_numbers);
    const std::uint32_t top = top_of(depth.bits);

    std::vector<Shown> shown;
    for (std::size_t i = 0; i < many; ++i) {
        const std::uint32_t c = channels[i];
        if (c >= picture.components())
            throw WrongUsage("--channels: no channel " + std::to_string(c) + ": the last is " +
                             std::to_string(picture.components() - 1));
        const Colour usual = picture.rgb ? kRgbColours[c]
                             : many == 1 ? kGrey
                                         : kChannelColours[c % std::size(kChannelColours)];
        Range range{0, top};
        if (picture.rgb)
            range.high = std::min(picture.largest.value_or(top), top);
        else if (counted[c].min < counted[c].max)
            range = {counted[c].min, counted[c].max};
        shown.push_back({c, colours.empty() ? usual : pick(colours, i),
                         levels.empty() ? range : pick(levels, i),
                         gamma.empty() ? 1.0 : pick(gamma, i)});
    }
    return shown;
}

void render(const Options& options) {
    const Parsed parsed(options);
    std::error_code ignored;
    if (std::filesystem::equivalent(options.wanted.path, options.output, ignored))
        throw WrongUsage("--output: it would replace the picture that is shown");
    Picture picture = read(options.wanted);
    std::vector<Counted> counted = count(picture);
    const Depth depth = significant_bits(picture, counted, options.bits);
    warn_of_excess(depth, counted);
    clip(picture, depth, counted);  // tables are indexed by samples as they stand

    SQmLut lut;
    make_tables(lut, depth.bits, picture.components(),
                decide(options, parsed.channels, picture, depth, counted),
                {parsed.over, parsed.under});
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
    app.add_option("FILE", options->wanted.path, "TIFF, PNG, PGM or PPM")->required();
    app.add_option("-o,--output", options->output, "PNG file to write")
        ->required()
        ->type_name("OUT.png");
    app.add_option("--bits", options->bits, "Significant bits (else from the file or its maximum)")
        ->type_name("N");
    app.add_option("--page", options->wanted.page, "Page of a TIFF, from 0")->type_name("K");
    app.add_option("--channels", options->channels, "Channels to show, from 0 (else all)")
        ->type_name("0,2");
    app.add_option("--colors", options->colours, "Colour of each channel shown, or one for all")
        ->type_name("FF0000,00FF00");
    app.add_option("--levels", options->levels,
                   "Samples shown black and full, each channel or one for all (else its "
                   "minimum and maximum; RGB pictures: everything)")
        ->type_name("LOW:HIGH,...");
    app.add_option("--gamma", options->gamma,
                   "Exponent between them, each channel or one for all; below 1 brightens")
        ->type_name("G,...");
    app.add_option("--mark-over", options->mark_over,
                   "Mark saturated samples, in red; 'inverse' is that of the channel's colour")
        ->type_name("[COLOR]");
    app.add_option("--mark-under", options->mark_under, "Mark samples that are 0, in blue")
        ->type_name("[COLOR]");
    app.add_option("--max-pixels", options->wanted.max_pixels,
                   "Refuse larger pictures (pixels x components)")
        ->check(CLI::PositiveNumber)
        ->capture_default_str()
        ->type_name("N");
    return [options] { render(*options); };
}

}  // namespace tool
