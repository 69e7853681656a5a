#include "write.h"

#include "failure.h"
#include "write_png.h"
#include "write_tiff.h"

namespace tool {

Format format_of(const std::string& path) {
    const std::size_t dot = path.find_last_of("./");
    std::string end = dot == std::string::npos ? "" : path.substr(dot);
    for (char& c : end)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (end == ".tif" || end == ".tiff") return Format::kTiff;
    if (end == ".png") return Format::kPng;
    throw WrongUsage("--output: its name has to end with .tif, .tiff or .png");
}

void check_format(Format format, const Picture& picture) {
    if (format == Format::kPng && picture.components() != 1 && picture.components() != 3)
        throw WrongUsage("--output: PNG files have 1 or 3 components, and this picture " +
                         std::to_string(picture.components()) + ": TIFF has any");
}

void write(Format format, const std::string& path, const Picture& picture, unsigned bits) {
    if (format == Format::kPng)
        write_png(path, picture, bits);
    else
        write_tiff(path, picture, bits);
}

}  // namespace tool
