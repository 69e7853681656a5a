#include <algorithm>
#include <charconv>
#include <iterator>
#include <memory>

#include "commands.h"
#include "failure.h"
#include "options.h"
#include "picture.h"
#include "view.h"
#include "write.h"

namespace tool {

namespace {

struct Options {
    Wanted wanted;
    std::string output;
    std::optional<std::string> smooth, edge, shading;
    std::vector<std::string> average;
    std::optional<unsigned> bits;
};

/// Filters with a fit.
struct Kernels {
    const char* way;  ///< as --edge names it
    GolayKernel8* bytes;
    GolayKernel16* words;
};
constexpr Kernels kSmooth{"", golay_smooth_Nx8, golay_smooth_Nx16};
constexpr Kernels kEdges[] = {{"x", golay_edgeX_Nx8, golay_edgeX_Nx16},
                              {"y", golay_edgeY_Nx8, golay_edgeY_Nx16},
                              {"xy", golay_edgeXY_Nx8, golay_edgeXY_Nx16}};

struct Fit {
    Kernels kernels;
    std::uint32_t half, order;
};

/// HALF,ORDER.
Fit parse_fit(const std::string& option, const std::string& text, const Kernels& kernels) {
    constexpr std::uint32_t kMostHalf = 1000;
    std::uint32_t half = 0, order = 0;
    const char* const end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), end, half);
    if (first.ec != std::errc() || first.ptr == end || *first.ptr != ',' || half < 1 ||
        half > kMostHalf)
        throw WrongUsage(option + ": HALF,ORDER, of which HALF is a whole number from 1 to 1000");
    const auto second = std::from_chars(first.ptr + 1, end, order);
    if (second.ec != std::errc() || second.ptr != end || order > 2 * half)
        throw WrongUsage(option + ": ORDER is a whole number from 0 to twice HALF");
    return {kernels, half, order};
}

/// WAY,HALF,ORDER.
Fit parse_edge(const std::string& text) {
    const std::size_t comma = text.find(',');
    const auto* const found = std::ranges::find_if(
        kEdges, [&](const Kernels& kernels) { return text.substr(0, comma) == kernels.way; });
    if (comma == std::string::npos || found == std::end(kEdges))
        throw WrongUsage("--edge: x, y or xy, and HALF,ORDER, separated by commas");
    return parse_fit("--edge", text.substr(comma + 1), *found);
}

void apply(const Fit& fit, Picture& picture, unsigned bits, const std::string& path) {
    const SQmPicBuf& of = picture.pixels.record();
    const std::uint32_t samples = 2 * fit.half + 1;
    if (of.uiWidth < samples || of.uiHeight < samples)
        throw Failure(path + ": it is smaller than the window, which takes " +
                      std::to_string(samples) + " x " + std::to_string(samples) + " pixels");
    const int half = static_cast<int>(fit.half);
    check(picture.container == 8
              ? fit.kernels.bytes(of.pData, of.pData, of.uiWidth, of.uiHeight, of.uiWidthBytes,
                                  of.uiComponents, half, fit.order)
              : fit.kernels.words(of.pData, of.pData, of.uiWidth, of.uiHeight, of.uiWidthBytes,
                                  bits, of.uiComponents, half, fit.order),
          "not filtered");
}

void correct(Picture& picture, const Picture& flat, unsigned bits) {
    const SQmPicBuf &of = picture.pixels.record(), &light = flat.pixels.record();
    check(CQmPicMemAPI_Base::ApplyMultShading(
              of.pData, of.uiWidthBytes, of.pData, of.uiWidthBytes, light.pData, light.uiWidthBytes,
              of.uiComponents, bits, of.uiWidth, std::uint64_t{of.uiWidth} * of.uiHeight),
          "not corrected");
}

/// Enters others into the running average that begins with the picture.
void average(Picture& picture, const std::vector<Picture>& others, unsigned bits) {
    const SQmPicBuf& of = picture.pixels.record();
    const std::uint64_t pixels = std::uint64_t{of.uiWidth} * of.uiHeight;
    std::vector<double> weights(pixels, 1), one(of.uiWidth, 1);
    const auto row = static_cast<std::uint32_t>(of.uiWidth * sizeof(double));
    for (const Picture& other : others) {
        const SQmPicBuf& next = other.pixels.record();
        check(CQmPicMemAPI_Base::AverageUpdate(of.pData, of.uiWidthBytes, weights.data(), row,
                                               next.pData, next.uiWidthBytes, one.data(), 0,
                                               of.uiComponents, bits, of.uiWidth, pixels),
              "not averaged");
    }
}

/// Another picture of the command line, in the form of the first.
Picture read_alike(const char* option, const Options& options, const std::string& path,
                   const Picture& first) {
    Wanted wanted;
    wanted.path = path;
    wanted.max_pixels = options.wanted.max_pixels;
    check_output("--output", wanted, options.output);
    Picture picture = read(wanted);
    if (picture.width() != first.width() || picture.height() != first.height() ||
        picture.components() != first.components() || picture.container != first.container)
        throw WrongUsage(std::string(option) + ": " + path + " is not of the size and kind of " +
                         options.wanted.path);
    return picture;
}

void filter(const Options& options) {
    if (options.smooth.has_value() + options.edge.has_value() + options.shading.has_value() +
            !options.average.empty() !=
        1)
        throw WrongUsage("one of --smooth, --edge, --shading and --average has to be given");
    std::optional<Fit> fit;
    if (options.smooth) fit = parse_fit("--smooth", *options.smooth, kSmooth);
    if (options.edge) fit = parse_edge(*options.edge);
    const Format format = format_of(options.output);
    check_output("--output", options.wanted, options.output);
    Picture picture = read(options.wanted);
    check_format(format, picture);

    std::vector<Picture> others;
    if (options.shading)
        others.push_back(read_alike("--shading", options, *options.shading, picture));
    for (const std::string& path : options.average)
        others.push_back(read_alike("--average", options, path, picture));

    // The deepest of all, so that nothing of the others is lost.
    const auto depth_of = [&](const Picture& of) {
        return significant_bits(of, Counts(of.pixels.record()), options.bits);
    };
    Depth depth = depth_of(picture);
    for (const Picture& other : others)
        if (const Depth found = depth_of(other); found.bits > depth.bits) depth = found;
    const auto bring_to_depth = [&](Picture& of) {
        warn_of_excess(depth, Counts(of.pixels.record()));
        clip(of, depth);
    };
    bring_to_depth(picture);
    std::ranges::for_each(others, bring_to_depth);

    if (fit)
        apply(*fit, picture, depth.bits, options.wanted.path);
    else if (options.shading)
        correct(picture, others.front(), depth.bits);
    else
        average(picture, others, depth.bits);
    write(format, options.output, picture, depth.bits);
}

}  // namespace

std::function<void()> declare_filter(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    add_picture(app, options->wanted);
    app.add_option("-o,--output", options->output, "TIFF or PNG file to write, told by its name")
        ->required()
        ->type_name("OUT.tif");
    app.add_option("--smooth", options->smooth,
                   "Fit polynomials of ORDER to 2 * HALF + 1 samples along rows and columns")
        ->type_name("HALF,ORDER");
    app.add_option("--edge", options->edge,
                   "The slope of such a fit along rows (x), columns (y), or the greater (xy)")
        ->type_name("WAY,HALF,ORDER");
    app.add_option("--shading", options->shading,
                   "Divide by a picture of the light, and bring its brightest to 1")
        ->type_name("FLAT");
    app.add_option("--average", options->average, "The mean with other pictures, each weighs alike")
        ->expected(1, -1)
        ->type_name("FILE");
    add_bits(app, options->bits);
    app.footer(
        "Samples keep their depth, which is noted in what is written; of several files it is the\n"
        "greatest. Smoothing with order 0 is a mean; with order 2 peaks of the window's width "
        "keep\n"
        "their height. Edges have no sign: at 8 bits 4 times the slope in levels a pixel, at more\n"
        "16 times at 12 bits, 2^(16 - bits) in general, at most the depth's maximum.");
    return [options] { filter(*options); };
}

}  // namespace tool
