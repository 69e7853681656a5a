#include "read.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>

#include "failure.h"

namespace tool {

void check_size(const Wanted& wanted, std::uint64_t width, std::uint64_t height,
                std::uint64_t components) {
    if (width == 0 || height == 0 || components == 0) throw Failure("the picture is empty");
    if (components > CQmRangeMask::MaxSize)
        throw Failure("more than " + std::to_string(CQmRangeMask::MaxSize) + " components");
    if (width * height > 0xFFFFFFFF) throw Failure("more than 4294967295 pixels");  // not counted
    // Each factor is below 2^32, so one division is left to avoid a product that wraps.
    if (width * height > wanted.max_pixels / components)
        throw Failure(std::to_string(width) + " x " + std::to_string(height) + " pixels of " +
                      std::to_string(components) + " components are more than --max-pixels " +
                      std::to_string(wanted.max_pixels));
}

Picture read(const Wanted& wanted) {
    unsigned char start[8] = {};
    std::size_t got = 0;
    {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
            std::fopen(wanted.path.c_str(), "rb"), std::fclose);
        if (file) got = std::fread(start, 1, sizeof start, file.get());
        if (!file || std::ferror(file.get()))  // a folder opens, but cannot be read
            throw Failure(wanted.path + ": " + std::strerror(errno));
    }
    try {
        if (got == 0) throw Failure("the file is empty");
        const bool png = got == 8 && std::memcmp(start, "\x89PNG\r\n\x1a\n", 8) == 0;
        const bool pnm = got > 2 && start[0] == 'P' && start[1] >= '1' && start[1] <= '7';
        const bool tiff =
            got == 8 && (std::memcmp(start, "II", 2) == 0 || std::memcmp(start, "MM", 2) == 0);
        if (!png && !pnm && !tiff) throw Failure("not a TIFF, PNG, PGM or PPM file");
        if (!tiff && wanted.page.value_or(0) != 0)
            throw Failure("no page " + std::to_string(*wanted.page) + ": there is page 0");
        return png ? read_png(wanted) : pnm ? read_pnm(wanted) : read_tiff(wanted);
    } catch (const Failure& failure) {
        throw Failure(wanted.path + ": " + failure.what());
    }
}

}  // namespace tool
