#include <algorithm>
#include <memory>

#include "commands.h"
#include "failure.h"
#include "lists.h"
#include "options.h"
#include "picture.h"
#include "view.h"
#include "write.h"

namespace tool {

namespace {

constexpr const char* kFromBits = "--from-bits";
constexpr unsigned kLeast = 8, kMostOfWords = 16, kMost = 32;

struct Options {
    Wanted wanted;
    std::string output, meaning;
    unsigned bits = 0;
    std::optional<unsigned> from_bits;
    std::optional<std::string> levels;
};

using Convert = ConvertBitDepthKernel;

/// What a change of depth can mean; `linear` has no such form.
struct Meaning {
    const char* name;
    Convert* convert;
    bool cut;  ///< are samples beyond the source's depth cut to it before?
};
constexpr Meaning kMeanings[] = {{"storage", CQmPicMemAPI_Base::ChangeBitDepth, false},
                                 {"expand", CQmPicMemAPI_Base::ExpandBits, false},
                                 {"collapse", CQmPicMemAPI_Base::CollapseBits, false},
                                 {"shift", CQmPicMemAPI_Base::ConvertBitDepthViaShifts, true},
                                 {"linear", nullptr, true}};

/// A picture like another, for samples of `bits` bits.
Picture like(const Picture& other, unsigned bits) {
    Picture made;
    made.container = bits <= kLeast ? 8 : bits <= kMostOfWords ? 16 : 32;
    made.rgb = other.rgb;
    made.pixels.allocate(other.width(), other.height(), made.container, other.components());
    return made;
}

int apply(Convert* convert, Picture& to, unsigned to_bits, const Picture& from,
          unsigned from_bits) {
    const SQmPicBuf &out = to.pixels.record(), &in = from.pixels.record();
    return convert(out.pData, to_bits, out.uiWidthBytes, in.pData, from_bits, in.uiWidthBytes,
                   in.uiComponents, in.uiWidth, std::uint64_t{in.uiWidth} * in.uiHeight);
}

/// Whole numbers from `levels.low` to `levels.high`, to 0 to the top of `bits` bits.
Picture by_line(const Picture& picture, unsigned bits, const Levels& levels) {
    constexpr unsigned kWide = 31;  // the most that the function takes
    Picture wide = like(picture, kWide);
    check(apply(CQmPicMemAPI_Base::ChangeBitDepth, wide, kWide, picture, picture.container),
          "not widened");
    const auto low = static_cast<std::uint32_t>(levels.low);
    const auto high = static_cast<std::uint32_t>(levels.high);
    for (std::uint32_t y = 0; y < wide.height(); ++y) {  // below the low level it would wrap
        auto* row = reinterpret_cast<std::uint32_t*>(wide.pixels.row(y));
        std::for_each(row, row + std::uint64_t{wide.width()} * wide.components(),
                      [=](std::uint32_t& sample) { sample = std::clamp(sample, low, high); });
    }
    const std::uint64_t top = top_of(bits);
    const std::vector<SQmBpcLinFunc> lines(picture.components(), {top, low * top, high - low, 0});
    Picture made = like(picture, bits);
    const SQmPicBuf &out = made.pixels.record(), &in = wide.pixels.record();
    check(CQmPicMemAPI_Base::ConvertBitDepthViaLinFunc(
              out.pData, bits, out.uiWidthBytes, in.pData, kWide, in.uiWidthBytes, lines.data(),
              in.uiComponents, in.uiWidth, std::uint64_t{in.uiWidth} * in.uiHeight),
          "not converted");
    return made;
}

/// The same of floats, rounded. Without levels they are the least and the greatest of all samples.
Picture of_floats(const Picture& picture, unsigned bits, const std::optional<Levels>& levels,
                  const std::string& path) {
    float low = 0, high = 0;
    const SQmPicBuf& in = picture.pixels.record();
    if (levels) {
        low = static_cast<float>(levels->low);
        high = static_cast<float>(levels->high);
    } else {
        bool found = false;
        for (const Summary& of : summaries(picture)) {
            if (of.samples == 0) continue;
            low = found ? std::min(low, static_cast<float>(of.min)) : static_cast<float>(of.min);
            high = found ? std::max(high, static_cast<float>(of.max)) : static_cast<float>(of.max);
            found = true;
        }
        if (!found) throw Failure(path + ": it holds no numbers");
    }
    Picture made = like(picture, bits);
    const SQmPicBuf& out = made.pixels.record();
    check(CQmFloatPicMemAPI_Base::ConvertFloatToPicture(
              out.pData, bits, out.uiWidthBytes, static_cast<const float*>(in.pData), low, high,
              true, in.uiWidthBytes, in.uiComponents, in.uiWidth, in.uiHeight),
          "not converted");
    return made;
}

Picture converted(const Options& options, const Meaning& meaning, Picture& picture,
                  const std::optional<Levels>& levels) {
    const auto refuse = [&](const std::string& why) {
        throw WrongUsage("--meaning " + options.meaning + ": " + why);
    };
    const bool linear = meaning.convert == nullptr;
    if (linear && options.bits > kMostOfWords) refuse("it makes 8 to 16 bits");
    if (picture.floats) {
        if (options.from_bits) throw WrongUsage("--from-bits: floats have none");
        if (!linear) refuse("floats take the meaning linear");
        return of_floats(picture, options.bits, levels, options.wanted.path);
    }
    Depth depth{};
    if (picture.container == 32) {
        depth = deep_bits(picture, options.from_bits, kFromBits);
    } else {
        const Counts counts(picture.pixels.record());
        depth = significant_bits(picture, counts, options.from_bits, kFromBits);
        warn_of_excess(depth, counts);
        if (meaning.cut) clip(picture, depth);
    }
    const std::string pair =
        std::to_string(depth.bits) + " bits do not become " + std::to_string(options.bits);
    if (linear) {
        constexpr unsigned kDeepest = 31;
        if (depth.bits > kDeepest) refuse("it takes up to 31 bits, and these are 32");
        const Levels whole_range{0, double{1} * top_of(depth.bits)};
        const Levels chosen = levels.value_or(whole_range);
        if (chosen.low < 0 || chosen.high > whole_range.high ||
            chosen.low != static_cast<std::uint32_t>(chosen.low) ||
            chosen.high != static_cast<std::uint32_t>(chosen.high))
            throw WrongUsage("--levels: those of this picture are whole numbers from 0 to " +
                             std::to_string(top_of(depth.bits)));
        return by_line(picture, options.bits, chosen);
    }
    if (meaning.convert == CQmPicMemAPI_Base::ConvertBitDepthViaShifts &&
        std::max(options.bits, depth.bits) > kMostOfWords)
        refuse(pair + ": it knows 8 to 16 bits");
    // The library takes it as a block of the same storage.
    if (meaning.convert == CQmPicMemAPI_Base::ExpandBits && options.bits < depth.bits)
        refuse(pair + ": collapse and shift make fewer");
    Picture made = like(picture, options.bits);
    const int status = apply(meaning.convert, made, options.bits, picture, depth.bits);
    if (status == QM_NO_KERNEL) refuse(pair);
    check(status, "not converted");
    return made;
}

void convert(const Options& options) {
    const Format format = format_of(options.output);
    const auto* const meaning =
        std::ranges::find(kMeanings, options.meaning, [](const Meaning& m) { return m.name; });
    std::optional<Levels> levels;
    if (options.levels) {
        if (meaning->convert != nullptr) throw WrongUsage("--levels: of the meaning linear only");
        const auto list = parse_levels("--levels", *options.levels);
        if (list.size() != 1) throw WrongUsage("--levels: one LOW:HIGH for all components");
        levels = list[0];
    }
    if (format == Format::kPng && options.bits > kMostOfWords)
        throw WrongUsage("--bits: PNG files have at most 16");
    check_output("--output", options.wanted, options.output);
    Picture picture = read(options.wanted);
    check_format(format, picture);
    const Picture made = converted(options, *meaning, picture, levels);
    write(format, options.output, made, options.bits);
}

}  // namespace

std::function<void()> declare_convert(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    add_picture(app, options->wanted);
    options->wanted.floats = options->wanted.deep = true;
    app.add_option("-o,--output", options->output, "TIFF or PNG file to write, told by its name")
        ->required()
        ->type_name("OUT.tif");
    app.add_option("--bits", options->bits, "Significant bits of what is written, 8 to 32")
        ->required()
        ->check(CLI::Range(kLeast, kMost))
        ->type_name("N");
    app.add_option("--meaning", options->meaning,
                   "What becomes of the samples: storage, expand, collapse, shift or linear")
        ->required()
        ->check(CLI::IsMember({"storage", "expand", "collapse", "shift", "linear"}))
        ->type_name("MEANING");
    app.add_option("--from-bits", options->from_bits,
                   "Significant bits of what is read (else from the file or its maximum)")
        ->type_name("M");
    app.add_option(
           "--levels", options->levels,
           "Samples that linear brings to 0 and to the top (else all of the depth, of floats "
           "the least and the greatest)")
        ->type_name("LOW:HIGH");
    app.footer(
        "storage   values stay; what does not fit loses its high bits\n"
        "expand    values stay, in 9 to 16 bits or more room\n"
        "collapse  values stay, those above the new top become the top\n"
        "shift     shifted by the difference of the depths: 255 of 8 bits is 65280 of 16\n"
        "linear    (value - LOW) * top / (HIGH - LOW), cut: 255 of 8 bits is 65535 of 16;\n"
        "          of floats rounded");
    return [options] { convert(*options); };
}

}  // namespace tool
