#include <bit>
#include <cstdio>
#include <cstring>
#include <memory>

#include "failure.h"
#include "progress.h"
#include "read.h"

namespace tool {

namespace {

constexpr std::uint64_t kMostOfText = 100'000'000;  ///< samples in decimal digits: slow

/// The decimal numbers of a header or of a text picture, with comments from # to the line's end.
class Numbers {
  public:
    explicit Numbers(std::FILE* file) : file_(file) {}

    /// Takes the one white space behind it, too.
    std::uint32_t next(std::uint32_t most) {
        int c = getc_unlocked(file_);
        while (c == '#' || is_space(c)) {
            if (c == '#')
                while (c != '\n' && c != '\r' && c != EOF) c = getc_unlocked(file_);
            else
                c = getc_unlocked(file_);
        }
        if (c == EOF) throw Failure("the file ends too early");
        std::uint64_t value = 0;
        bool any = false;
        for (; c >= '0' && c <= '9'; c = getc_unlocked(file_), any = true) {
            value = 10 * value + static_cast<unsigned>(c - '0');
            if (value > most) throw Failure("a number is too large");
        }
        if (c == '#')  // a comment right behind a number stands for the white space
            while (c != '\n' && c != '\r' && c != EOF) c = getc_unlocked(file_);
        if (!any || (c != EOF && !is_space(c))) throw Failure("a number was expected");
        return static_cast<std::uint32_t>(value);
    }

    static bool is_space(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

  private:
    std::FILE* file_;
};

}  // namespace

Picture read_pnm(const Wanted& wanted) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        std::fopen(wanted.path.c_str(), "rb"), std::fclose);
    if (!file) throw Failure(std::strerror(errno));
    getc_unlocked(file.get());
    const int kind = getc_unlocked(file.get());  // 2, 3: text; 5, 6: binary; grey, RGB each
    if (kind != '2' && kind != '3' && kind != '5' && kind != '6')
        throw Failure(std::string("pictures of kind P") + static_cast<char>(kind) +
                      " are not supported");
    const int behind = getc_unlocked(file.get());
    if (behind != '#' && !Numbers::is_space(behind)) throw Failure("a number was expected");
    std::ungetc(behind, file.get());
    const bool text = kind < '5';
    Numbers numbers(file.get());
    const std::uint32_t width = numbers.next(0x7FFFFFFF), height = numbers.next(0x7FFFFFFF);
    const std::uint32_t largest = numbers.next(65535);
    const std::uint32_t components = kind == '3' || kind == '6' ? 3 : 1;
    check_size(wanted, width, height, components);
    if (largest == 0) throw Failure("the greatest value is 0");
    const std::uint64_t samples = std::uint64_t{width} * components;
    if (text && samples * height > kMostOfText) throw Failure("too large for a text picture");

    Picture picture;
    picture.container = largest < 256 ? 8 : 16;
    picture.rgb = components == 3;
    picture.largest = largest;
    picture.stated = {static_cast<unsigned>(std::bit_width(largest)), "maxval"};
    picture.pixels.allocate(width, height, picture.container, components);
    Progress progress("reading");
    for (std::uint32_t y = 0; y < height; ++y) {
        std::uint8_t* bytes = picture.pixels.row(y);
        auto* words = reinterpret_cast<std::uint16_t*>(bytes);
        if (text) {
            for (std::uint64_t i = 0; i < samples; ++i) {
                const std::uint32_t value = numbers.next(65535);
                if (value > top_of(picture.container)) throw Failure("a number is too large");
                if (picture.container == 8)
                    bytes[i] = static_cast<std::uint8_t>(value);
                else
                    words[i] = static_cast<std::uint16_t>(value);
            }
        } else {
            if (std::fread(bytes, picture.container / 8, samples, file.get()) != samples)
                throw Failure("the file ends too early");
            if (picture.container == 16)  // the first byte is the high one
                for (std::uint64_t i = 0; i < samples; ++i)
                    words[i] = static_cast<std::uint16_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
        }
        progress.show(y, height);
    }
    return picture;
}

}  // namespace tool
