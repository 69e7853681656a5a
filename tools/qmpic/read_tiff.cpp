#include <tiffio.h>

#include <algorithm>
#include <bit>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "failure.h"
#include "progress.h"
#include "read.h"

namespace tool {

namespace {

/// What the TIFF library says while it works: the first error, and whether data were made up.
struct Messages {
    char first_error[200] = "";
    bool made_up = false;

    static int on_error(TIFF*, void* self, const char*, const char* format, va_list arguments) {
        auto* messages = static_cast<Messages*>(self);
        if (!*messages->first_error)
            std::vsnprintf(messages->first_error, sizeof messages->first_error, format, arguments);
        return 1;
    }
    /// A truncated JPEG strip is filled up with grey and a warning.
    static int on_warning(TIFF*, void* self, const char* module, const char*, va_list) {
        if (module && std::string_view(module).find("JPEG") != std::string_view::npos)
            static_cast<Messages*>(self)->made_up = true;
        return 1;
    }
};

/// How the samples of a page lie in the file.
struct Page {
    std::uint32_t width = 0, height = 0;
    std::uint16_t samples = 1, bits = 1;
    std::uint16_t photometric = PHOTOMETRIC_MINISBLACK, planes = PLANARCONFIG_CONTIG;
    std::uint16_t format = SAMPLEFORMAT_UINT, compression = COMPRESSION_NONE;
    std::uint16_t extra = 0;  ///< samples beyond those of the photometric interpretation
    bool alpha = false;       ///< one of the extra samples is transparency

    bool operator==(const Page&) const = default;

    std::uint32_t container() const { return bits <= 8 ? 8 : bits <= 16 ? 16 : 32; }
    bool floats() const { return format == SAMPLEFORMAT_IEEEFP; }
    /// Transparency is the last sample and is dropped.
    std::uint32_t shown() const { return alpha ? samples - 1U : samples; }
    bool rgb() const { return photometric == PHOTOMETRIC_RGB && shown() == 3; }
};

class File {
  public:
    explicit File(const std::string& path) {
        const std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(
            TIFFOpenOptionsAlloc(), TIFFOpenOptionsFree);
        if (!options) throw Failure("not enough memory");
        TIFFOpenOptionsSetErrorHandlerExtR(options.get(), Messages::on_error, &messages_);
        TIFFOpenOptionsSetWarningHandlerExtR(options.get(), Messages::on_warning, &messages_);
        TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), std::int32_t{1} << 30);
        tiff_.reset(TIFFOpenExt(path.c_str(), "r", options.get()));
        if (!tiff_) fail("not a readable TIFF file");
    }

    TIFF* get() const { return tiff_.get(); }
    const Messages& messages() const { return messages_; }

    [[noreturn]] void fail(const char* otherwise) const {
        throw Failure(*messages_.first_error ? messages_.first_error : otherwise);
    }

  private:
    Messages messages_;
    std::unique_ptr<TIFF, void (*)(TIFF*)> tiff_{nullptr, TIFFClose};
};

/// Folders of the pages, without previews and masks. A chain that breaks off is an error.
std::vector<tdir_t> find_pages(const File& file) {
    std::vector<tdir_t> pages;
    for (;;) {
        std::uint32_t kind = 0;
        TIFFGetFieldDefaulted(file.get(), TIFFTAG_SUBFILETYPE, &kind);
        if (!(kind & (FILETYPE_REDUCEDIMAGE | FILETYPE_MASK)))
            pages.push_back(TIFFCurrentDirectory(file.get()));
        if (TIFFLastDirectory(file.get())) break;
        if (!TIFFReadDirectory(file.get())) file.fail("a page cannot be read");
    }
    if (pages.empty()) throw Failure("no page holds a picture");
    return pages;
}

Page describe(TIFF* tiff) {
    Page page;
    std::uint16_t* kinds = nullptr;
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &page.width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &page.height);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &page.samples);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &page.bits);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &page.planes);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &page.format);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &page.compression);
    TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &page.photometric);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &page.extra, &kinds);
    for (std::uint16_t i = 0; i < page.extra; ++i)
        page.alpha = kinds[i] == EXTRASAMPLE_ASSOCALPHA || kinds[i] == EXTRASAMPLE_UNASSALPHA;
    return page;
}

void check_supported(const Page& page, const Wanted& wanted) {
    const auto refuse = [](const char* what) {
        throw Failure(std::string(what) + " not supported");
    };
    if (page.floats()) {
        if (page.bits != 32) refuse("floating-point samples of other than 32 bits are");
        if (!wanted.floats)
            refuse("floating-point samples, which info, render and convert take, are");
    } else {
        if (page.format != SAMPLEFORMAT_UINT && page.format != SAMPLEFORMAT_VOID)
            refuse("signed or complex samples are");
        if (page.bits < 1 || (page.bits > 16 && page.bits != 32))
            refuse("samples of more than 16 bits, other than 32, are");
        if (page.bits == 32 && !wanted.deep)
            refuse("samples of more than 16 bits, which info and convert take, are");
    }
    if (page.photometric == PHOTOMETRIC_PALETTE) refuse("palette TIFFs are");
    if (page.photometric != PHOTOMETRIC_MINISBLACK && page.photometric != PHOTOMETRIC_MINISWHITE &&
        page.photometric != PHOTOMETRIC_RGB)
        refuse("TIFFs of colours other than RGB are");
    if (!TIFFIsCODECConfigured(page.compression)) refuse("this TIFF compression is");
}

/// A strip or tile: rows of `samples` interleaved samples of `bits` bits, each row from a byte on.
/// Samples of other than 8 or 16 bits are packed, the high bits first.
class Unpacker {
  public:
    Unpacker(const Page& page, std::uint32_t samples, std::uint64_t row_bytes)
        : page_(page), samples_(samples), row_bytes_(row_bytes) {}

    /// To component `first` of `pixels` and those behind it, from (x, y) on, cut at the edges.
    void unpack(const std::uint8_t* block, std::uint32_t columns, std::uint32_t rows,
                const Pixels& pixels, std::uint32_t first, std::uint32_t x, std::uint32_t y) const {
        const SQmPicBuf& record = pixels.record();
        const std::uint32_t used = std::min(samples_, page_.shown());
        columns = std::min(columns, record.uiWidth - x);
        rows = std::min(rows, record.uiHeight - y);
        const std::uint32_t flip =
            page_.photometric == PHOTOMETRIC_MINISWHITE && !page_.floats() ? top_of(page_.bits) : 0;
        for (std::uint32_t j = 0; j < rows; ++j) {
            const std::uint8_t* from = block + j * row_bytes_;
            const std::uint64_t at = std::uint64_t{x} * record.uiComponents + first;
            std::uint8_t* bytes = pixels.row(y + j) + at * (page_.container() / 8);
            for (std::uint32_t i = 0; i < columns; ++i)
                for (std::uint32_t s = 0; s < used; ++s) {
                    const std::uint32_t value =
                        sample(from, std::uint64_t{i} * samples_ + s) ^ flip;
                    const std::uint64_t to = std::uint64_t{i} * record.uiComponents + s;
                    if (page_.container() == 8)
                        bytes[to] = static_cast<std::uint8_t>(value);
                    else if (page_.container() == 32)
                        reinterpret_cast<std::uint32_t*>(bytes)[to] = value;
                    else
                        reinterpret_cast<std::uint16_t*>(bytes)[to] =
                            static_cast<std::uint16_t>(value);
                }
        }
    }

  private:
    std::uint32_t sample(const std::uint8_t* row, std::uint64_t index) const {
        if (page_.bits == 8) return row[index];
        if (page_.bits == 16) {
            std::uint16_t word;
            std::memcpy(&word, row + 2 * index, sizeof word);
            return word;
        }
        if (page_.bits == 32) {  // a float stays the bits that it is
            std::uint32_t word;
            std::memcpy(&word, row + 4 * index, sizeof word);
            return word;
        }
        const std::uint64_t bit = index * page_.bits;  // it spans three bytes at most
        std::uint32_t value = 0;
        for (std::uint64_t byte = bit / 8; byte < bit / 8 + 3; ++byte)
            value = value << 8 | (byte < row_bytes_ ? row[byte] : 0U);
        value = value >> (24 - bit % 8 - page_.bits) & top_of(page_.bits);
        return value;
    }

    const Page& page_;
    const std::uint32_t samples_;
    const std::uint64_t row_bytes_;
};

/// Reads the current page into components `first` on.
void read_page(const File& file, const Page& page, const Wanted& wanted, const Pixels& pixels,
               std::uint32_t first, Progress& progress) {
    TIFF* tiff = file.get();
    const bool tiled = TIFFIsTiled(tiff);
    const bool separate = page.planes == PLANARCONFIG_SEPARATE && page.samples > 1;
    const std::uint32_t samples = separate ? 1 : page.samples;
    std::uint32_t columns = page.width, rows = page.height;
    if (tiled) {
        TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &columns);
        TIFFGetField(tiff, TIFFTAG_TILELENGTH, &rows);
    } else {
        TIFFGetFieldDefaulted(tiff, TIFFTAG_ROWSPERSTRIP, &rows);
        rows = std::min(rows, page.height);
    }
    // The library's own sizes, and the size as it follows from the sizes above, must agree.
    const auto row_bytes =
        static_cast<std::uint64_t>(tiled ? TIFFTileRowSize64(tiff) : TIFFScanlineSize64(tiff));
    const auto block_bytes =
        static_cast<std::uint64_t>(tiled ? TIFFTileSize64(tiff) : TIFFStripSize64(tiff));
    if (columns == 0 || rows == 0 || columns > 0x7FFFFFFF || rows > 0x7FFFFFFF ||
        row_bytes != (std::uint64_t{columns} * samples * page.bits + 7) / 8 ||
        block_bytes / rows != row_bytes || block_bytes % rows != 0)
        file.fail("the sizes of its strips or tiles make no sense");
    if (block_bytes / (page.container() == 32 ? 8 : 4) >
        wanted.max_pixels + (std::uint64_t{1} << 18))
        throw Failure("a strip or tile is larger than --max-pixels allows");

    std::vector<std::uint8_t> block(block_bytes);
    const Unpacker unpacker(page, samples, row_bytes);
    const std::uint32_t planes = separate ? page.shown() : 1;
    for (std::uint32_t plane = 0; plane < planes; ++plane)
        for (std::uint32_t y = 0; y < page.height; y += std::min(rows, page.height - y)) {
            const std::uint32_t used_rows = tiled ? rows : std::min(rows, page.height - y);
            const auto expected = static_cast<tmsize_t>(used_rows * row_bytes);
            for (std::uint32_t x = 0; x < page.width; x += std::min(columns, page.width - x)) {
                const auto sample = static_cast<std::uint16_t>(plane);
                const tmsize_t got =
                    tiled ? TIFFReadEncodedTile(tiff, TIFFComputeTile(tiff, x, y, 0, sample),
                                                block.data(), expected)
                          : TIFFReadEncodedStrip(tiff, TIFFComputeStrip(tiff, y, sample),
                                                 block.data(), expected);
                if (got != expected) file.fail("the file ends too early");
                if (file.messages().made_up) throw Failure("its JPEG data are damaged");
                unpacker.unpack(block.data(), columns, used_rows, pixels, first + plane, x, y);
            }
            progress.show(y, page.height);
        }
}

/// The part of a description that says what the planes of a file are: <Pixels ...>. Empty when
/// there is none.
std::string pixels_element(TIFF* tiff) {
    const char* text = nullptr;
    if (!TIFFGetField(tiff, TIFFTAG_IMAGEDESCRIPTION, &text) || !text) return {};
    const std::string_view description(text);
    if (description.find("<OME") == std::string_view::npos) return {};
    const std::size_t begin = description.find("<Pixels");
    if (begin == std::string_view::npos) return {};
    return std::string(description.substr(begin, description.find('>', begin) - begin));
}

std::string attribute(const std::string& element, const char* name) {
    for (const char quote : {'"', '\''}) {
        const std::string start = std::string(1, ' ') + name + "=" + quote;
        const std::size_t at = element.find(start);
        if (at == std::string::npos) continue;
        const std::size_t begin = at + start.size();
        return element.substr(begin, element.find(quote, begin) - begin);
    }
    return {};
}

/// 0 when it is not there or no number of at most six digits.
std::uint32_t number(const std::string& element, const char* name) {
    const std::string value = attribute(element, name);
    if (value.empty() || value.size() > 6 ||
        value.find_first_not_of("0123456789") != std::string::npos)
        return 0;
    return static_cast<std::uint32_t>(std::stoul(value));
}

/// Indexes of the pages that are the channels of one plane: first depth, first time.
std::vector<std::uint32_t> channel_pages(const std::string& element, std::uint32_t pages) {
    const std::uint32_t channels = number(element, "SizeC");
    const std::uint64_t depths = std::max(number(element, "SizeZ"), 1U);
    const std::uint64_t times = std::max(number(element, "SizeT"), 1U);
    if (channels < 2 || channels * depths * times != pages) return {};
    std::uint64_t step = 1;
    for (const char dimension : attribute(element, "DimensionOrder")) {  // as "XYCZT"
        if (dimension == 'C') break;
        step *= dimension == 'Z' ? depths : dimension == 'T' ? times : 1;
    }
    std::vector<std::uint32_t> indexes(channels);
    for (std::uint32_t c = 0; c < channels; ++c) indexes[c] = static_cast<std::uint32_t>(c * step);
    return indexes.back() < pages ? indexes : std::vector<std::uint32_t>{};
}

std::optional<Depth> stated_depth(TIFF* tiff, const Page& page, const std::string& element) {
    if (page.floats()) return std::nullopt;
    const std::uint32_t significant = number(element, "SignificantBits");
    if (significant >= 1 && significant <= page.bits) return Depth{significant, "SignificantBits"};
    double top = 0;  // what write_tiff() writes: here the top of the word counts as well
    if (TIFFGetField(tiff, TIFFTAG_SMAXSAMPLEVALUE, &top) && top >= 1 && top <= top_of(page.bits))
        return Depth{static_cast<unsigned>(std::bit_width(static_cast<std::uint32_t>(top))),
                     "SMaxSampleValue"};
    std::uint16_t largest = 0;
    if (TIFFGetField(tiff, TIFFTAG_MAXSAMPLEVALUE, &largest) && largest > 0 &&
        largest < top_of(page.bits))
        return Depth{static_cast<unsigned>(std::bit_width(largest)), "MaxSampleValue"};
    if (page.bits != page.container()) return Depth{page.bits, "BitsPerSample"};
    return std::nullopt;
}

}  // namespace

Picture read_tiff(const Wanted& wanted) {
    const File file(wanted.path);
    const std::vector<tdir_t> pages = find_pages(file);
    const auto enter = [&](std::uint32_t index) {
        if (!TIFFSetDirectory(file.get(), pages[index])) file.fail("a page cannot be read");
        return describe(file.get());
    };
    const auto all = static_cast<std::uint32_t>(pages.size());
    const std::uint32_t asked = wanted.page.value_or(0);
    if (asked >= all)
        throw Failure("no page " + std::to_string(asked) + ": the last is page " +
                      std::to_string(all - 1));

    enter(0);
    const std::string element = pixels_element(file.get());  // speaks of all pages
    const Page first = enter(asked);
    check_supported(first, wanted);
    std::vector<std::uint32_t> chosen = {asked};
    if (!wanted.page && all > 1 && first.shown() == 1) {
        chosen = channel_pages(element, all);
        if (chosen.empty() && element.empty() && all <= 7)
            for (std::uint32_t index = 0; index < all; ++index) chosen.push_back(index);
        for (const std::uint32_t index : chosen)
            if (enter(index) != first) {
                chosen.clear();
                break;
            }
        if (chosen.empty()) chosen = {0};
    }
    const auto parts = static_cast<std::uint32_t>(chosen.size());
    const std::uint32_t components = parts * first.shown();
    check_size(wanted, first.width, first.height, std::uint64_t{parts} * first.shown());

    Picture picture;
    picture.container = first.container();
    picture.floats = first.floats();
    picture.rgb = first.rgb() && parts == 1 && !first.floats();
    picture.pages = all;
    picture.pages_are_components = parts > 1;
    enter(chosen[0]);
    picture.stated = stated_depth(file.get(), first, element);
    picture.pixels.allocate(first.width, first.height, picture.container, components);
    Progress progress("reading");
    for (std::uint32_t part = 0; part < parts; ++part) {
        enter(chosen[part]);
        read_page(file, first, wanted, picture.pixels, part * first.shown(), progress);
    }
    return picture;
}

}  // namespace tool
