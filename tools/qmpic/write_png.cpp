#include "write_png.h"

#include <png.h>

#include <bit>
#include <csetjmp>
#include <cstdio>

#include "failure.h"
#include "new_file.h"
#include "progress.h"

namespace tool {

namespace {

struct Writer {
    png_structp png = nullptr;
    png_infop info = nullptr;
    char message[200] = "not enough memory";

    Writer() {
        png = png_create_write_struct(PNG_LIBPNG_VER_STRING, this, on_error,
                                      [](png_structp, png_const_charp) {});
        if (png) info = png_create_info_struct(png);
    }
    ~Writer() { png_destroy_write_struct(&png, &info); }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    [[noreturn]] static void on_error(png_structp png, png_const_charp text) {
        auto* writer = static_cast<Writer*>(png_get_error_ptr(png));
        std::snprintf(writer->message, sizeof writer->message, "%s", text);
        png_longjmp(png, 1);
    }
};

/// What is written: for the screen, or samples of some depth.
struct Kind {
    bool bgr;
    int container;
    unsigned bits;
};

// Comes back here by longjmp, so it holds nothing that must be destroyed.
bool write_pixels(Writer& writer, std::FILE* file, const Pixels& pixels, const Kind& kind,
                  Progress& progress) {
    if (setjmp(png_jmpbuf(writer.png))) return false;
    const SQmPicBuf& record = pixels.record();
    png_set_user_limits(writer.png, 0x7FFFFFFF, 0x7FFFFFFF);
    png_init_io(writer.png, file);
    png_set_compression_level(writer.png, 4);
    png_set_IHDR(writer.png, writer.info, record.uiWidth, record.uiHeight, kind.container,
                 record.uiComponents == 3 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    const auto bits = static_cast<png_byte>(kind.bits);
    const png_color_8 significant{bits, bits, bits, bits, 0};
    if (kind.container == 16) png_set_sBIT(writer.png, writer.info, &significant);
    png_write_info(writer.png, writer.info);
    if (kind.bgr) png_set_bgr(writer.png);
    if constexpr (std::endian::native == std::endian::little) png_set_swap(writer.png);
    for (std::uint32_t y = 0; y < record.uiHeight; ++y) {
        png_write_row(writer.png, pixels.row(y));
        progress.show(y, record.uiHeight);
    }
    png_write_end(writer.png, writer.info);
    return true;
}

void write(const std::string& path, const Pixels& pixels, const Kind& kind) {
    NewFile made(path);
    Writer writer;
    Progress progress("writing");
    if (!writer.info || !write_pixels(writer, made.file(), pixels, kind, progress))
        throw Failure(path + ": cannot be written: " + writer.message);
    made.finish();
}

}  // namespace

void write_png(const std::string& path, const Pixels& pixels) { write(path, pixels, {true, 8, 8}); }

void write_png(const std::string& path, const Picture& picture, unsigned bits) {
    write(path, picture.pixels, {false, picture.container == 8 ? 8 : 16, bits});
}

}  // namespace tool
