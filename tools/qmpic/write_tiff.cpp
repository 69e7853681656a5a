#include "write_tiff.h"

#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <vector>

#include "failure.h"
#include "new_file.h"
#include "progress.h"

namespace tool {

namespace {

constexpr std::uint64_t kStripBytes = 1 << 20, kMostOfClassic = 0xF0000000;

/// The first thing that the TIFF library complains of.
struct Complaint {
    char text[200] = "";

    static int on_error(TIFF*, void* self, const char*, const char* format, va_list arguments) {
        auto* complaint = static_cast<Complaint*>(self);
        if (!*complaint->text)
            std::vsnprintf(complaint->text, sizeof complaint->text, format, arguments);
        return 1;
    }
    static int on_warning(TIFF*, void*, const char*, const char*, va_list) { return 1; }
};

bool write_header(TIFF* tiff, const Picture& picture, unsigned bits, std::uint32_t rows) {
    const std::uint32_t components = picture.components();
    const auto extra = static_cast<std::uint16_t>(picture.rgb ? 0 : components - 1);
    const std::vector<std::uint16_t> kinds(extra, EXTRASAMPLE_UNSPECIFIED);
    return TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, picture.width()) &&
           TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, picture.height()) &&
           TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, picture.container) &&
           TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, components) &&
           TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE) &&
           TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) &&
           TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC,
                        picture.rgb ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK) &&
           (extra == 0 || TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, extra, kinds.data())) &&
           TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT,
                        picture.floats ? SAMPLEFORMAT_IEEEFP : SAMPLEFORMAT_UINT) &&
           (picture.floats ||
            TIFFSetField(tiff, TIFFTAG_SMAXSAMPLEVALUE, double{1} * top_of(bits))) &&
           (bits > 16 || TIFFSetField(tiff, TIFFTAG_MAXSAMPLEVALUE, top_of(bits))) &&
           TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, rows);
}

bool write_pixels(TIFF* tiff, const Picture& picture, std::uint32_t rows, Progress& progress) {
    const std::uint64_t row_bytes =
        std::uint64_t{picture.width()} * picture.components() * (picture.container / 8);
    std::vector<std::uint8_t> strip(row_bytes * rows);  // rows without gaps
    for (std::uint32_t y = 0, index = 0; y < picture.height(); y += rows, ++index) {
        const std::uint32_t used = std::min(rows, picture.height() - y);
        for (std::uint32_t j = 0; j < used; ++j)
            std::copy_n(picture.pixels.row(y + j), row_bytes, strip.data() + j * row_bytes);
        const auto size = static_cast<tmsize_t>(used * row_bytes);
        if (TIFFWriteEncodedStrip(tiff, index, strip.data(), size) != size) return false;
        progress.show(y, picture.height());
    }
    return TIFFWriteDirectory(tiff) != 0 && TIFFFlush(tiff) != 0;
}

}  // namespace

void write_tiff(const std::string& path, const Picture& picture, unsigned bits) {
    NewFile made(path);
    Complaint complaint;
    const std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(
        TIFFOpenOptionsAlloc(), TIFFOpenOptionsFree);
    if (!options) throw std::bad_alloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), Complaint::on_error, &complaint);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), Complaint::on_warning, nullptr);
    const std::uint64_t row_bytes =
        std::uint64_t{picture.width()} * picture.components() * (picture.container / 8);
    const auto rows = static_cast<std::uint32_t>(
        std::clamp<std::uint64_t>(kStripBytes / row_bytes, 1, picture.height()));
    const bool big = row_bytes * picture.height() > kMostOfClassic;
    const int descriptor = dup(fileno(made.file()));  // closed by the TIFF library
    if (descriptor < 0) made.fail();
    TIFF* const opened = TIFFFdOpenExt(descriptor, path.c_str(), big ? "w8" : "w", options.get());
    if (!opened) close(descriptor);
    const std::unique_ptr<TIFF, void (*)(TIFF*)> tiff(opened, TIFFClose);
    Progress progress("writing");
    if (!tiff || !write_header(tiff.get(), picture, bits, rows) ||
        !write_pixels(tiff.get(), picture, rows, progress))
        throw Failure(path + ": cannot be written: " +
                      (*complaint.text ? complaint.text : "not enough memory"));
    made.finish();
}

}  // namespace tool
