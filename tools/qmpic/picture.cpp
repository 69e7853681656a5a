#include "picture.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>

#include "failure.h"

namespace tool {

void Pixels::allocate(std::uint32_t width, std::uint32_t height, unsigned bits,
                      std::uint32_t components) {
    if (SQmPicBufAPI_Base::Reinit(&record_, width, height, 0, bits, components, true) != QM_OK)
        throw Failure("not enough memory for the picture");
}

std::vector<Summary> summaries(const Picture& picture) {
    std::vector<Summary> all(picture.components());
    for (std::uint32_t c = 0; c < picture.components(); ++c) {
        Summary& of = all[c];
        double sum = 0;
        for_each_deep(picture, c, [&](double value) {
            if (!std::isfinite(value)) return;
            of.min = of.samples == 0 ? value : std::min(of.min, value);
            of.max = of.samples == 0 ? value : std::max(of.max, value);
            sum += value;
            ++of.samples;
        });
        if (of.samples > 0) of.mean = sum / static_cast<double>(of.samples);
    }
    return all;
}

Depth significant_bits(const Picture& picture, const Counts& counts, std::optional<unsigned> bits,
                       const char* option) {
    const unsigned fewest = picture.container == 8 ? 8 : 9;
    if (bits) {
        if (*bits < fewest || *bits > picture.container)
            throw WrongUsage(std::string(option) +
                             (picture.container == 8
                                  ? ": the samples of this picture are bytes and have 8"
                                  : ": the samples of this picture are words and have 9 to 16"));
        return {*bits, option};
    }
    if (picture.stated) return {std::max(picture.stated->bits, fewest), picture.stated->stated};
    if (picture.rgb) return {picture.container, "container"};
    const auto needed = static_cast<unsigned>(std::bit_width(counts.max()));
    return {std::max(needed, fewest), "maximum"};
}

Depth deep_bits(const Picture& picture, std::optional<unsigned> bits, const char* option) {
    constexpr unsigned kFewest = 17, kMost = 32;
    if (bits) {
        if (*bits < kFewest || *bits > kMost)
            throw WrongUsage(std::string(option) + ": the samples of this picture have 17 to 32");
        return {*bits, option};
    }
    if (picture.stated) return {std::max(picture.stated->bits, kFewest), picture.stated->stated};
    double greatest = 0;
    for (const Summary& of : summaries(picture)) greatest = std::max(greatest, of.max);
    const auto needed = static_cast<unsigned>(std::bit_width(static_cast<std::uint32_t>(greatest)));
    return {std::max(needed, kFewest), "maximum"};
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
