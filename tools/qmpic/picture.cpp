#include "picture.h"

#include <algorithm>
#include <bit>
#include <cstdio>

#include "failure.h"

namespace tool {

void Pixels::allocate(std::uint32_t width, std::uint32_t height, unsigned bits,
                      std::uint32_t components) {
    if (SQmPicBufAPI_Base::Reinit(&record_, width, height, 0, bits, components, true) != QM_OK)
        throw Failure("not enough memory for the picture");
}

Depth significant_bits(const Picture& picture, const Counts& counts, std::optional<unsigned> bits) {
    const unsigned fewest = picture.container == 8 ? 8 : 9;
    if (bits) {
        if (*bits < fewest || *bits > picture.container)
            throw WrongUsage(
                picture.container == 8
                    ? "--bits: the samples of this picture are bytes and have 8"
                    : "--bits: the samples of this picture are words and have 9 to 16");
        return {*bits, "--bits"};
    }
    if (picture.stated) return {std::max(picture.stated->bits, fewest), picture.stated->stated};
    if (picture.rgb) return {picture.container, "container"};
    const auto needed = static_cast<unsigned>(std::bit_width(counts.max()));
    return {std::max(needed, fewest), "maximum"};
}

void warn_of_excess(const Depth& depth, const Counts& counts) {
    if (counts.max() > top_of(depth.bits))
        std::fprintf(stderr, "qmpic: warning: samples up to %u exceed %u bits (%s)\n", counts.max(),
                     depth.bits, depth.stated);
}

std::uint32_t saturation(const Picture& picture, const Depth& depth) {
    return std::min(picture.largest.value_or(top_of(depth.bits)), top_of(depth.bits));
}

void clip(Picture& picture, const Depth& depth) {
    const std::uint32_t top = top_of(depth.bits);
    picture.pixels.record().uiBpc = static_cast<std::uint8_t>(depth.bits);
    if (picture.container == 8 || depth.bits == picture.container) return;
    const std::uint64_t samples = std::uint64_t{picture.width()} * picture.components();
    for (std::uint32_t y = 0; y < picture.height(); ++y) {
        auto* row = reinterpret_cast<std::uint16_t*>(picture.pixels.row(y));
        std::for_each(row, row + samples, [top](std::uint16_t& sample) {
            sample = static_cast<std::uint16_t>(std::min<std::uint32_t>(sample, top));
        });
    }
}

}  // namespace tool
