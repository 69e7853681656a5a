#include "picture.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

#include "failure.h"

namespace tool {

void Pixels::allocate(std::uint32_t width, std::uint32_t height, unsigned bits,
                      std::uint32_t components) {
    if (SQmPicBufAPI_Base::Reinit(&record_, width, height, 0, bits, components, true) != QM_OK)
        throw Failure("not enough memory for the picture");
}

namespace {

/// Rows come from SQmPicBufAPI_Base::Reinit, so words are aligned.
template <class T>
std::vector<Counted> count_as(const Picture& picture) {
    const std::uint32_t components = picture.components();
    std::vector<std::uint32_t> lowest(components, top_of(picture.container)), highest(components);
    std::vector<std::uint64_t> sums(components);
    for (std::uint32_t y = 0; y < picture.height(); ++y) {
        const T* sample = reinterpret_cast<const T*>(picture.pixels.row(y));
        for (std::uint32_t x = 0; x < picture.width(); ++x)
            for (std::uint32_t c = 0; c < components; ++c, ++sample) {
                lowest[c] = std::min<std::uint32_t>(lowest[c], *sample);
                highest[c] = std::max<std::uint32_t>(highest[c], *sample);
                sums[c] += *sample;
            }
    }
    const double area = static_cast<double>(picture.width()) * picture.height();
    std::vector<Counted> counted(components);
    for (std::uint32_t c = 0; c < components; ++c)
        counted[c] = {lowest[c], highest[c], static_cast<double>(sums[c]) / area};
    return counted;
}

std::uint32_t greatest(const std::vector<Counted>& counted) {
    return std::ranges::max(counted, {}, &Counted::max).max;
}

}  // namespace

std::vector<Counted> count(const Picture& picture) {
    return picture.container == 8 ? count_as<std::uint8_t>(picture)
                                  : count_as<std::uint16_t>(picture);
}

Depth significant_bits(const Picture& picture, const std::vector<Counted>& counted,
                       std::optional<unsigned> bits) {
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
    const auto needed = static_cast<unsigned>(std::bit_width(greatest(counted)));
    return {std::max(needed, fewest), "maximum"};
}

void warn_of_excess(const Depth& depth, const std::vector<Counted>& counted) {
    if (greatest(counted) > top_of(depth.bits))
        std::fprintf(stderr, "qmpic: warning: samples up to %u exceed %u bits (%s)\n",
                     greatest(counted), depth.bits, depth.stated);
}

void clip(Picture& picture, const Depth& depth, std::vector<Counted>& counted) {
    const std::uint32_t top = top_of(depth.bits);
    picture.pixels.record().uiBpc = static_cast<std::uint8_t>(depth.bits);
    if (greatest(counted) <= top) return;  // bytes always are
    const std::uint64_t samples = std::uint64_t{picture.width()} * picture.components();
    for (std::uint32_t y = 0; y < picture.height(); ++y) {
        auto* row = reinterpret_cast<std::uint16_t*>(picture.pixels.row(y));
        std::for_each(row, row + samples, [top](std::uint16_t& sample) {
            sample = static_cast<std::uint16_t>(std::min<std::uint32_t>(sample, top));
        });
    }
    for (Counted& component : counted) {
        component.min = std::min(component.min, top);
        component.max = std::min(component.max, top);
    }
}

}  // namespace tool
