#include "luts.h"

#include <qmpic/qmpic.h>

#include <charconv>
#include <cstdio>
#include <memory>

#include "canvas.h"
#include "commands.h"
#include "failure.h"
#include "options.h"
#include "text.h"
#include "write_png.h"

namespace tool {

namespace {

constexpr std::uint32_t kEntries = 256;

struct Options {
    std::optional<std::string> output;
    bool list = false, json = false;
};

/// Letters and digits, in small letters.
std::string key_of(const std::string& text) {
    std::string key;
    for (const char c : text) {
        if (c >= 'A' && c <= 'Z')
            key += static_cast<char>(c - 'A' + 'a');
        else if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'))
            key += c;
    }
    return key;
}

// ----- The gallery -------------------------------------------------------------------------------

constexpr std::uint32_t kColumns = 2;
constexpr std::uint32_t kMargin = 28, kGap = 44, kLabel = 232, kPitch = 30;
constexpr std::uint32_t kStripWidth = kEntries, kStripHeight = 20, kHeader = 76;
constexpr std::uint32_t kColumnWidth = kLabel + kStripWidth;
constexpr double kIndexEnd = 22, kNameStart = 34, kBaseline = 15;

/// Where a table's strip stands; each of its columns of pixels is an entry.
struct Strip {
    std::uint32_t left, top;
};

std::uint32_t rows() { return (lut_count() + kColumns - 1) / kColumns; }

Strip strip_of(std::uint32_t index) {
    const std::uint32_t column = index / rows(), row = index % rows();
    return {kMargin + column * (kColumnWidth + kGap) + kLabel, kHeader + row * kPitch};
}

Colour entry_of(std::uint32_t index, std::uint32_t entry) {
    const unsigned char* rgb = SQmLut::GetPredefLut(static_cast<int>(index), true)->getLuts(0, 0);
    rgb += std::size_t{3} * entry;
    return rgb[0] | Colour{rgb[1]} << 8 | Colour{rgb[2]} << 16;
}

Pixels draw_gallery() {
    const std::uint32_t width = 2 * kMargin + kColumns * kColumnWidth + (kColumns - 1) * kGap;
    const std::uint32_t height = kHeader + rows() * kPitch + kMargin - (kPitch - kStripHeight);
    const Canvas canvas(width, height);
    canvas.font(20, true);
    canvas.colour(kText);
    canvas.text(kMargin, 40, 0, "Colour tables");
    canvas.font(14);
    canvas.colour(kFaint);
    canvas.text(width - kMargin, 40, 1, "low values left, high values right");
    for (std::uint32_t index = 0; index < lut_count(); ++index) {
        const Strip strip = strip_of(index);
        const double left = strip.left - kLabel, baseline = strip.top + kBaseline;
        canvas.font(14);
        canvas.colour(kFaint);
        canvas.text(left + kIndexEnd, baseline, 1, std::to_string(index));
        canvas.font(15);
        canvas.colour(kText);
        canvas.text(left + kNameStart, baseline, 0, lut_name(index));
        for (std::uint32_t entry = 0; entry < kEntries; ++entry) {
            canvas.colour(entry_of(index, entry));
            cairo_rectangle(canvas.cairo, strip.left + entry, strip.top, 1, kStripHeight);
            cairo_fill(canvas.cairo);
        }
        // A hairline around it, so that white ends are seen.
        canvas.colour(0xB8B8B8);
        cairo_set_line_width(canvas.cairo, 1);
        cairo_rectangle(canvas.cairo, strip.left - 0.5, strip.top - 0.5, kStripWidth + 1.0,
                        kStripHeight + 1.0);
        cairo_stroke(canvas.cairo);
    }
    Pixels screen;
    canvas.copy_to(screen);
    return screen;
}

// ----- The list ----------------------------------------------------------------------------------

void show_text() {
    for (std::uint32_t index = 0; index < lut_count(); ++index)
        std::printf("%2u  %s\n", index, lut_name(index).c_str());
}

void show_json(const Options& options) {
    std::printf("{");
    if (options.output) std::printf("\"gallery\": %s, ", quoted(*options.output).c_str());
    std::printf("\"tables\": [");
    for (std::uint32_t index = 0; index < lut_count(); ++index) {
        std::printf("%s{\"index\": %u, \"name\": %s, ", index == 0 ? "" : ", ", index,
                    quoted(lut_name(index)).c_str());
        if (options.output) {
            const Strip strip = strip_of(index);
            std::printf("\"left\": %u, \"top\": %u, \"right\": %u, \"bottom\": %u, ", strip.left,
                        strip.top, strip.left + kStripWidth, strip.top + kStripHeight);
        }
        std::printf("\"colors\": [");
        for (std::uint32_t entry = 0; entry < kEntries; ++entry) {
            const Colour c = entry_of(index, entry);
            std::printf("%s\"%02X%02X%02X\"", entry == 0 ? "" : ", ", c & 0xFF, c >> 8 & 0xFF,
                        c >> 16);
        }
        std::printf("]}");
    }
    std::puts("]}");
}

void show(const Options& options) {
    if (!options.output && !options.list && !options.json)
        throw WrongUsage("luts: one of --output, --list and --json is wanted");
    if (lut_count() == 0) throw std::bad_alloc();
    if (options.output) write_png(*options.output, draw_gallery());
    if (options.json)
        show_json(options);
    else if (options.list)
        show_text();
    finish_output();
}

}  // namespace

std::array<Colour, 256> colours_of(std::optional<std::uint32_t> index) {
    std::array<Colour, 256> colours{};
    if (index) {
        for (std::uint32_t k = 0; k < colours.size(); ++k) colours[k] = entry_of(*index, k);
        return colours;
    }
    QM_RGBRainbowColorTable(colours.data(), 256);  // blue in the low byte
    for (Colour& c : colours) c = (c & 0xFF) << 16 | (c & 0xFF00) | c >> 16;
    return colours;
}

std::uint32_t lut_count() {
    SQmLut::InitPredefLuts();
    return SQmLut::GetPredefLutsCount(true);
}

std::string lut_name(std::uint32_t index) {
    CQmStringW name;
    SQmLut::GetPredefLutDescr(name, index);
    return {name.c_str(), name.c_str() + name.GetLength()};  // letters of ASCII
}

std::uint32_t find_lut(const std::string& option, const std::string& text) {
    const std::uint32_t count = lut_count();
    std::uint32_t index = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), index);
    if (error == std::errc() && end == text.data() + text.size()) {
        if (index < count) return index;
    } else {
        for (index = 0; index < count; ++index)
            if (key_of(lut_name(index)) == key_of(text)) return index;
    }
    throw WrongUsage(option + ": there is no colour table '" + text +
                     "': 'qmpic luts --list' shows all");
}

std::function<void()> declare_luts(CLI::App& app) {
    const auto options = std::make_shared<Options>();
    app.add_option("-o,--output", options->output, "Draw all of them as a PNG file")
        ->type_name("GALLERY.png");
    CLI::Option* list = app.add_flag("--list", options->list, "Index and name, a line each");
    app.add_flag("--json", options->json, "The same with all colours, as JSON")->excludes(list);
    return [options] { show(*options); };
}

}  // namespace tool
