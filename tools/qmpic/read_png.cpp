#include <png.h>

#include <algorithm>
#include <bit>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>

#include "failure.h"
#include "progress.h"
#include "read.h"

namespace tool {

namespace {

struct Reader {
    std::FILE* file;
    png_structp png = nullptr;
    png_infop info = nullptr;
    char message[200] = "";

    explicit Reader(const std::string& path) : file(std::fopen(path.c_str(), "rb")) {
        if (!file) throw Failure(std::strerror(errno));
        png = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, on_error,
                                     [](png_structp, png_const_charp) {});
        if (png) info = png_create_info_struct(png);
    }
    ~Reader() {
        png_destroy_read_struct(&png, &info, nullptr);
        std::fclose(file);
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    [[noreturn]] static void on_error(png_structp png, png_const_charp text) {
        auto* reader = static_cast<Reader*>(png_get_error_ptr(png));
        std::snprintf(reader->message, sizeof reader->message, "%s", text);
        png_longjmp(png, 1);
    }
};

// The functions below come back here by longjmp, so they hold nothing that must be destroyed.

bool read_header(Reader& reader) {
    if (setjmp(png_jmpbuf(reader.png))) return false;
    png_set_user_limits(reader.png, 0x7FFFFFFF, 0x7FFFFFFF);
    png_init_io(reader.png, reader.file);
    png_read_info(reader.png, reader.info);
    png_set_packing(reader.png);  // 1, 2 and 4 bits keep their values
    if (png_get_color_type(reader.png, reader.info) == PNG_COLOR_TYPE_PALETTE)
        png_set_palette_to_rgb(reader.png);
    png_set_strip_alpha(reader.png);
    if constexpr (std::endian::native == std::endian::little) png_set_swap(reader.png);
    png_set_interlace_handling(reader.png);
    png_read_update_info(reader.png, reader.info);
    return true;
}

/// An interlaced picture comes in passes over all rows.
bool read_pixels(Reader& reader, const Pixels& pixels, Progress& progress) {
    if (setjmp(png_jmpbuf(reader.png))) return false;
    const bool interlaced = png_get_interlace_type(reader.png, reader.info) == PNG_INTERLACE_ADAM7;
    const std::uint32_t passes = interlaced ? 7 : 1;
    const std::uint32_t height = pixels.record().uiHeight;
    for (std::uint32_t pass = 0; pass < passes; ++pass)
        for (std::uint32_t y = 0; y < height; ++y) {
            png_read_row(reader.png, pixels.row(y), nullptr);
            progress.show(std::uint64_t{pass} * height + y, std::uint64_t{passes} * height);
        }
    png_read_end(reader.png, nullptr);
    return true;
}

/// The bits that the file states, 0 when it states none.
unsigned stated_bits(const Reader& reader) {
    png_color_8p bits = nullptr;
    if (!(png_get_sBIT(reader.png, reader.info, &bits) & PNG_INFO_sBIT)) return 0;
    const bool rgb = png_get_color_type(reader.png, reader.info) & PNG_COLOR_MASK_COLOR;
    return rgb ? std::max({bits->red, bits->green, bits->blue}) : bits->gray;
}

/// Samples of fewer bits are stored scaled up to all of the word, and come down again by a shift.
/// A file whose samples all fit into the stated bits was written without that scaling.
void undo_scaling(Picture& picture, unsigned bits) {
    if (Counts(picture.pixels.record()).max() <= top_of(bits)) return;
    const std::uint64_t samples = std::uint64_t{picture.width()} * picture.components();
    for (std::uint32_t y = 0; y < picture.height(); ++y) {
        auto* row = reinterpret_cast<std::uint16_t*>(picture.pixels.row(y));
        std::for_each(row, row + samples, [bits](std::uint16_t& sample) {
            sample = static_cast<std::uint16_t>(sample >> (16 - bits));
        });
    }
}

}  // namespace

Picture read_png(const Wanted& wanted) {
    Reader reader(wanted.path);
    if (!reader.info) throw Failure("not enough memory");
    if (!read_header(reader)) throw Failure(reader.message);
    const std::uint32_t width = png_get_image_width(reader.png, reader.info);
    const std::uint32_t height = png_get_image_height(reader.png, reader.info);
    const std::uint32_t components = png_get_channels(reader.png, reader.info);
    check_size(wanted, width, height, components);

    Picture picture;
    picture.container = png_get_bit_depth(reader.png, reader.info) == 16 ? 16 : 8;
    picture.rgb = components == 3;
    picture.pixels.allocate(width, height, picture.container, components);
    Progress progress("reading");
    if (!read_pixels(reader, picture.pixels, progress)) throw Failure(reader.message);

    const unsigned bits = stated_bits(reader);
    if (bits > 0) {
        const unsigned used = std::max(bits, picture.container == 8 ? 8U : 9U);
        picture.stated = {used, "sBIT"};
        if (used < picture.container) undo_scaling(picture, used);
    }
    return picture;
}

}  // namespace tool
