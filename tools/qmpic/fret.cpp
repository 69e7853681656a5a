#include <qmpic/qmpic.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>

#include "colour_bar.h"
#include "commands.h"
#include "failure.h"
#include "lists.h"
#include "luts.h"
#include "options.h"
#include "view.h"
#include "write_png.h"

namespace tool {

namespace {

struct Options {
    Wanted wanted;
    std::string output;
    std::optional<std::uint32_t> fret, donor, acceptor, component;
    std::optional<std::string> background, coefficients, efficiency, lut, reference;
    std::vector<std::string> bleach;  ///< before and after
    bool mono = false;
};

/// `count` whole numbers of 16 bits, as the library takes them; zeros if there is no text.
std::vector<short> parse_words(const std::string& option, const std::optional<std::string>& text,
                               std::size_t count) {
    std::vector<short> words(count, 0);
    if (!text) return words;
    const auto values = parse_decimals(option, *text, count);
    for (std::size_t i = 0; i < count; ++i) {
        if (!(values[i] >= 0 && values[i] <= 65535) || values[i] != std::floor(values[i]))
            throw WrongUsage(option + ": whole numbers from 0 to 65535 are wanted");
        words[i] = static_cast<short>(static_cast<std::uint16_t>(values[i]));
    }
    return words;
}

/// What does not depend on the picture is looked at before it is read.
struct Parsed {
    std::vector<short> backgrounds, references;
    std::array<double, 4> coefficients{};
    Levels efficiency{0, 100};
    std::optional<std::uint32_t> lut;

    explicit Parsed(const Options& o) {
        const bool bleach = !o.bleach.empty();
        if (bleach == !o.wanted.path.empty())
            throw WrongUsage("FILE or --bleach PRE POST has to be given, and not both");
        const auto only = [](bool given, const char* option, const char* with) {
            if (given) throw WrongUsage(std::string(option) + ": it goes with " + with);
        };
        if (bleach) {
            only(o.fret || o.donor || o.acceptor, "--fret, --donor, --acceptor", "FILE");
            only(o.coefficients.has_value(), "--coefficients", "FILE");
            only(o.mono, "--mono", "FILE");
            only(o.lut.has_value(), "--lut", "FILE");
            if (!o.component) throw WrongUsage("--component: it is wanted with --bleach");
        } else {
            only(o.component.has_value(), "--component", "--bleach");
            only(o.reference.has_value(), "--reference", "--bleach");
            if (!o.fret || !o.donor || !o.acceptor)
                throw WrongUsage("--fret, --donor and --acceptor are wanted with FILE");
            if (o.mono && o.efficiency) throw WrongUsage("--mono: it has no efficiency");
            if (o.mono && o.lut) throw WrongUsage("--mono: it has no colours");
        }
        backgrounds = parse_words("--background", o.background, bleach ? 2 : 3);
        references = parse_words("--reference", o.reference, 2);
        if (o.coefficients) {
            const auto values = parse_decimals("--coefficients", *o.coefficients, 4);
            std::copy(values.begin(), values.end(), coefficients.begin());
        }
        if (o.efficiency) {
            const auto ranges = parse_levels("--efficiency", *o.efficiency);
            if (ranges.size() != 1)
                throw WrongUsage("--efficiency: one range is wanted, LOW:HIGH in percent");
            efficiency = ranges[0];
        }
        if (o.lut) lut = find_lut("--lut", *o.lut);
    }
};

/// Values that bytes and what has a sign cannot hold would mean others.
void check_words(const char* option, const std::vector<short>& words, std::uint32_t most,
                 const char* why) {
    for (const short word : words)
        if (static_cast<std::uint16_t>(word) > most)
            throw WrongUsage(std::string(option) + ": at most " + std::to_string(most) + why);
}
void check_backgrounds(const Picture& picture, const std::vector<short>& backgrounds) {
    if (picture.container == 8)
        check_words("--background", backgrounds, 255, ": samples of this picture are bytes");
}

/// Three channels of a picture, and the calls with them.
struct Call {
    const SQmPicBuf& from;
    std::array<int, 3> index;
    const Parsed& parsed;
    unsigned bits;
    std::uint64_t size() const { return std::uint64_t{from.uiWidth} * from.uiHeight; }

    Picture mono(unsigned container) const {
        Picture picture;
        picture.container = container;
        picture.pixels.allocate(from.uiWidth, from.uiHeight, bits, 1);
        SQmPicBuf& to = picture.pixels.record();
        check(CQmPicMemAPI_Base::FRETImageMono(to.pData, to.uiWidthBytes, from.pData,
                                               from.uiComponents, bits, from.uiWidthBytes,
                                               from.uiWidth, size(), index[0], index[1], index[2],
                                               -1, background(0), background(1), background(2), 0,
                                               bleed(0), bleed(1), bleed(2), bleed(3), false, 0, 0),
              "no FRET picture");
        return picture;
    }
    void signal(SQmPicBuf& to, const SQmLut* lut, float most) const {
        check(CQmPicMemAPI_Base::FRETImage(to.pData, to.uiWidthBytes, from.pData, from.uiComponents,
                                           bits, from.uiWidthBytes, from.uiWidth, size(), index[0],
                                           index[1], index[2], -1, background(0), background(1),
                                           background(2), 0, bleed(0), bleed(1), bleed(2), bleed(3),
                                           lut, false, 0, most, false),
              "no FRET picture");
    }
    void efficiency(SQmPicBuf& to, const SQmLut* lut) const {
        check(CQmPicMemAPI_Base::FRET_EffImage(
                  to.pData, to.uiWidthBytes, from.pData, from.uiComponents, bits, from.uiWidthBytes,
                  from.uiWidth, size(), index[0], index[1], index[2], -1, background(0),
                  background(1), background(2), 0, bleed(0), bleed(1), bleed(2), bleed(3),
                  parsed.efficiency.low, parsed.efficiency.high, lut, false, 0, 0),
              "no efficiency");
    }

  private:
    short background(std::size_t c) const { return parsed.backgrounds[c]; }
    double bleed(std::size_t i) const { return parsed.coefficients[i]; }
};

void draw_channels(const Options& o, const Parsed& parsed) {
    const Picture picture = read(o.wanted);
    check_component("--fret", *o.fret, picture);
    check_component("--donor", *o.donor, picture);
    check_component("--acceptor", *o.acceptor, picture);
    check_backgrounds(picture, parsed.backgrounds);
    const SQmPicBuf& from = picture.pixels.record();
    const Depth depth = significant_bits(picture, Counts(from), std::nullopt);
    const Call call{
        from,
        {static_cast<int>(*o.fret), static_cast<int>(*o.donor), static_cast<int>(*o.acceptor)},
        parsed,
        depth.bits};
    if (o.mono || !o.efficiency)
        check_words("--background", parsed.backgrounds, 32767, ": it has a sign here");
    if (o.mono) return write_png(o.output, call.mono(picture.container), depth.bits);

    std::uint32_t most = 1;
    if (!o.efficiency) {
        const Picture mono = call.mono(picture.container);
        most = std::max(Counts(mono.pixels.record()).max(0), most);
    }
    SQmLut lut;
    std::optional<std::uint32_t> table = parsed.lut;
    if (!table && !o.efficiency) table = find_lut("--lut", "Rainbow");
    if (parsed.lut) {
        check(SQmLut::AllocColor(lut, 8, 8), "no colour table");
        check(SQmLut::CreatePredefLut(lut, *parsed.lut, 0, 0), "no colour table");
    }
    Pixels shown, screen;
    shown.allocate(from.uiWidth, from.uiHeight, 8, 3);
    const SQmLut* const given = parsed.lut ? &lut : nullptr;
    ColourBar bar{colours_of(table), 0, static_cast<double>(most), false, false};
    if (o.efficiency) {
        call.efficiency(shown.record(), given);
        bar.low = parsed.efficiency.low, bar.high = parsed.efficiency.high, bar.shaded = true;
    } else {
        call.signal(shown.record(), given, static_cast<float>(most));
    }
    draw_with_bar(screen, shown, o.efficiency ? "FRET efficiency, %" : "FRET signal", bar);
    write_png(o.output, screen);
}

void draw_bleach(const Options& o, const Parsed& parsed) {
    Wanted wanted = o.wanted;
    wanted.path = o.bleach[0];
    check_output("--output", wanted, o.output);
    const Picture pre = read(wanted);
    wanted.path = o.bleach[1];
    check_output("--output", wanted, o.output);
    const Picture post = read(wanted);
    const SQmPicBuf &a = pre.pixels.record(), &b = post.pixels.record();
    if (a.uiWidth != b.uiWidth || a.uiHeight != b.uiHeight || a.uiComponents != b.uiComponents ||
        pre.container != post.container)
        throw Failure(o.bleach[1] + ": not of the size and kind of " + o.bleach[0]);
    check_component("--component", *o.component, post);
    check_backgrounds(post, parsed.backgrounds);
    Pixels shown, screen;
    shown.allocate(b.uiWidth, b.uiHeight, 8, 3);
    SQmPicBuf& to = shown.record();
    check(CQmPicMemAPI_Base::FRET_PhotoBleachEffImage(
              to.pData, to.uiWidthBytes, b.pData, a.pData, b.uiComponents, post.container,
              b.uiWidthBytes, b.uiWidth, std::uint64_t{b.uiWidth} * b.uiHeight,
              static_cast<int>(*o.component), parsed.efficiency.low, parsed.efficiency.high,
              parsed.backgrounds[0], parsed.backgrounds[1], parsed.references[0],
              parsed.references[1]),
          "no efficiency");
    draw_with_bar(screen, shown, "FRET efficiency, %",
                  {colours_of({}), parsed.efficiency.low, parsed.efficiency.high, false, true});
    write_png(o.output, screen);
}

void fret(const Options& o) {
    const Parsed parsed(o);
    if (o.output.empty()) throw WrongUsage("--output is required");
    if (!o.bleach.empty()) return draw_bleach(o, parsed);
    check_output("--output", o.wanted, o.output);
    draw_channels(o, parsed);
}

}  // namespace

std::function<void()> declare_fret(CLI::App& app) {
    const auto o = std::make_shared<Options>();
    add_picture(app, o->wanted);
    app.get_option("FILE")->required(false);
    app.add_option("-o,--output", o->output, "PNG file to write")->type_name("OUT.png");
    const auto channel = [&](const char* name, auto& value, const char* what) {
        app.add_option(name, value, what)->type_name("C");
    };
    channel("--fret", o->fret, "Component with the donor excited and the acceptor seen, from 0");
    channel("--donor", o->donor, "Component of the donor");
    channel("--acceptor", o->acceptor, "Component of the acceptor");
    app.add_option("--background", o->background,
                   "Backgrounds of FRET, donor and acceptor; with --bleach, before and after")
        ->type_name("A,B,C");
    app.add_option("--coefficients", o->coefficients,
                   "Bleed of the donor and of the acceptor into FRET, the donor in the acceptor's "
                   "channel, the acceptor in the donor's; 0 without them")
        ->type_name("DD,AA,DA,AD");
    app.add_flag("--mono", o->mono, "Write the signal itself, in the depth of the picture");
    app.add_option("--efficiency", o->efficiency,
                   "Show signal / donor in percent, shaded by the donor; LOW and HIGH get the "
                   "first and the last colour")
        ->type_name("LOW:HIGH");
    app.add_option("--lut", o->lut, "Colour table instead of the rainbow")->type_name("NAME|INDEX");
    app.add_option("--bleach", o->bleach,
                   "Instead of FILE: the donor before and after the acceptor was bleached")
        ->expected(2)
        ->type_name("PRE POST");
    app.add_option("--component", o->component, "Component of the donor in PRE and POST")
        ->type_name("C");
    app.add_option("--reference", o->reference,
                   "Values in PRE and POST of something that does not change; both are divided by "
                   "them, as whole numbers, so that small ones keep more")
        ->type_name("PRE,POST");
    app.footer(
        "The signal is what is left of FRET without the light of the two dyes:\n"
        "    F = fret - (acceptor - donor * DA) * AA - (donor - acceptor * AD) * DD\n"
        "It is shown from 0 to its greatest value. The efficiency is F / donor; with --bleach it\n"
        "is (after - before) / after, from 0 to 100 % unless --efficiency says otherwise. A scale\n"
        "stands beside the picture; the brightness of an efficiency is that of the donor.");
    return [o] { fret(*o); };
}

}  // namespace tool
