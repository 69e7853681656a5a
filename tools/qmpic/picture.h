#pragma once

#include <qmpic/qmpic.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "counts.h"

namespace tool {

/// The pixels of a record, released with it.
class Pixels {
  public:
    Pixels() { SQmPicBufAPI_Base::Init(&record_); }
    ~Pixels() { SQmPicBufAPI_Base::Free(&record_); }
    Pixels(Pixels&& other) noexcept : record_(other.record_) {
        SQmPicBufAPI_Base::Init(&other.record_);
    }
    Pixels& operator=(Pixels&& other) noexcept {
        std::swap(record_, other.record_);
        return *this;
    }
    Pixels(const Pixels&) = delete;
    Pixels& operator=(const Pixels&) = delete;

    /// Rows of `components` samples of `bits` bits, all 0. Fails when there is no memory.
    void allocate(std::uint32_t width, std::uint32_t height, unsigned bits,
                  std::uint32_t components);

    SQmPicBuf& record() { return record_; }
    const SQmPicBuf& record() const { return record_; }
    std::uint8_t* row(std::uint32_t y) const {
        return static_cast<std::uint8_t*>(record_.pData) + std::uint64_t{y} * record_.uiWidthBytes;
    }

  private:
    SQmPicBuf record_;
};

/// How many bits of a sample are meant, and who says so.
struct Depth {
    unsigned bits;
    const char* stated;  ///< "--bits", "sBIT", ..., "maximum"
};

/// A picture as a file holds it: samples in the order of the file, in bytes or in words of 16 or,
/// if they are asked for, 32 bits.
struct Picture {
    Pixels pixels;
    unsigned container = 8;  ///< bits of a stored sample: 8, 16 or 32
    bool floats = false;     ///< samples of 32 bits are floats, and not whole numbers
    bool rgb = false;        ///< components 0, 1, 2 are red, green, blue
    std::uint32_t pages = 1;
    bool pages_are_components = false;
    std::optional<Depth> stated;           ///< what the file says
    std::optional<std::uint32_t> largest;  ///< the greatest value meant, if it is no 2^bits - 1

    std::uint32_t width() const { return pixels.record().uiWidth; }
    std::uint32_t height() const { return pixels.record().uiHeight; }
    std::uint32_t components() const { return pixels.record().uiComponents; }
};

constexpr std::uint32_t top_of(unsigned bits) {
    return static_cast<std::uint32_t>((std::uint64_t{1} << bits) - 1);
}

/// The samples of component `c` of a picture of 32 bits, as numbers.
template <class Use>
void for_each_deep(const Picture& picture, std::uint32_t c, const Use& use) {
    for (std::uint32_t y = 0; y < picture.height(); ++y) {
        const std::uint8_t* row = picture.pixels.row(y);
        for (std::uint64_t i = c; i < std::uint64_t{picture.width()} * picture.components();
             i += picture.components())
            if (picture.floats)
                use(static_cast<double>(reinterpret_cast<const float*>(row)[i]));
            else
                use(static_cast<double>(reinterpret_cast<const std::uint32_t*>(row)[i]));
    }
}

/// What the samples of a component are that are numbers; infinities do not count either.
struct Summary {
    double min = 0, max = 0, mean = 0;
    std::uint64_t samples = 0;
};

/// Of each component of a picture of 32 bits.
std::vector<Summary> summaries(const Picture& picture);

/// `bits` if given; else what the file says; else all of an RGB picture's container, whose top is
/// white; else the fewest that hold the maximum. Never fewer than storage allows: 8, 9 in words.
/// `option` is where `bits` comes from.
Depth significant_bits(const Picture& picture, const Counts& counts, std::optional<unsigned> bits,
                       const char* option = "--bits");

/// The same of whole numbers in words of 32 bits, of which there are at least 17.
Depth deep_bits(const Picture& picture, std::optional<unsigned> bits,
                const char* option = "--bits");

/// Warns when samples need more bits than that. Such a picture is still shown: clip() first.
void warn_of_excess(const Depth& depth, const Counts& counts);

/// The least value that counts as saturated: the greatest one meant.
std::uint32_t saturation(const Picture& picture, const Depth& depth);

/// Brings samples above the depth's maximum to it, and sets the record's depth.
void clip(Picture& picture, const Depth& depth);

}  // namespace tool
