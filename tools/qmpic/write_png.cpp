#include "write_png.h"

#include <fcntl.h>
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "failure.h"
#include "progress.h"

namespace tool {

namespace {

/// A file of another name beside the wanted one; removed unless it was renamed.
class Temporary {
  public:
    explicit Temporary(const std::string& path) : path_(path), name_(path + ".XXXXXX") {
        const int descriptor = mkstemp(name_.data());
        if (descriptor < 0) fail();
        struct stat old;
        const mode_t mask = umask(0);
        umask(mask);
        const mode_t mode = stat(path.c_str(), &old) == 0 ? old.st_mode & 0777 : 0666 & ~mask;
        if (fchmod(descriptor, mode) == 0) file_ = fdopen(descriptor, "wb");
        if (!file_) {
            const int reason = errno;
            close(descriptor);
            unlink(name_.c_str());
            errno = reason;
            fail();
        }
    }
    ~Temporary() {
        if (file_) std::fclose(file_);
        if (!renamed_) unlink(name_.c_str());
    }
    Temporary(const Temporary&) = delete;
    Temporary& operator=(const Temporary&) = delete;

    std::FILE* file() const { return file_; }

    /// On disk before the old file goes.
    void finish() {
        const bool written = std::fflush(file_) == 0 && fsync(fileno(file_)) == 0;
        const int reason = errno;
        const bool closed = std::fclose(file_) == 0;
        file_ = nullptr;
        if (!written) errno = reason;
        if (!written || !closed || std::rename(name_.c_str(), path_.c_str()) != 0) fail();
        renamed_ = true;
    }

  private:
    [[noreturn]] void fail() const {
        throw Failure(path_ + ": cannot be written: " + std::strerror(errno));
    }

    const std::string path_;
    std::string name_;
    std::FILE* file_ = nullptr;
    bool renamed_ = false;
};

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

// Comes back here by longjmp, so it holds nothing that must be destroyed.
bool write_pixels(Writer& writer, std::FILE* file, const Pixels& pixels, Progress& progress) {
    if (setjmp(png_jmpbuf(writer.png))) return false;
    const SQmPicBuf& record = pixels.record();
    png_set_user_limits(writer.png, 0x7FFFFFFF, 0x7FFFFFFF);
    png_init_io(writer.png, file);
    png_set_compression_level(writer.png, 4);
    png_set_IHDR(writer.png, writer.info, record.uiWidth, record.uiHeight, 8,
                 record.uiComponents == 3 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(writer.png, writer.info);
    png_set_bgr(writer.png);
    for (std::uint32_t y = 0; y < record.uiHeight; ++y) {
        png_write_row(writer.png, pixels.row(y));
        progress.show(y, record.uiHeight);
    }
    png_write_end(writer.png, writer.info);
    return true;
}

}  // namespace

void write_png(const std::string& path, const Pixels& pixels) {
    struct stat old;
    if (stat(path.c_str(), &old) == 0 && !S_ISREG(old.st_mode))
        throw Failure(path + ": cannot be written: not a regular file");
    Temporary temporary(path);
    Writer writer;
    Progress progress("writing");
    if (!writer.info || !write_pixels(writer, temporary.file(), pixels, progress))
        throw Failure(path + ": cannot be written: " + writer.message);
    temporary.finish();
}

}  // namespace tool
