#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "contrast/searches.h"
#include "qmpic/Lut.h"
#include "qmpic/PicBuf.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/guarded_picture.h"

/// What spectral pictures show, pixel by pixel, and the levels of channels.

namespace qmpic::test {

using Numbers = std::vector<uint32_t>;

struct Wanted {
    bool low, high;
    double low_percent, high_percent;
};

/// One in three looks for nothing but the greatest sums, which are not cut off at white.
inline Wanted draw_wanted(Random& random) {
    const bool cut = random(0, 2) != 0;
    const bool low = cut && random(0, 3) != 0, high = cut && random(0, 3) != 0;
    const auto percent = [&] {
        return random.one_of({0.0, 0.1, 1.0, 2.5, 5.0, 10.0, 30.0, 50.0, 99.0, 100.0, -1.0});
    };
    const double low_percent = percent(), high_percent = percent();
    return {low, high, low_percent, high_percent};
}

inline uint32_t draw_color(Random& random) {
    if (random(0, 2) == 0) return random.any() & 0xFFFFFF;
    return random.one_of({0x0000FFu, 0x00FF00u, 0xFF0000u, 0x00FFFFu, 0x800000u, 0u, 0xFFFFFFu});
}

/// In guarded memory, with samples that keep to the depth, not all of them equally likely.
struct SpectralPicture : GuardedPicture {
    SQmPicBuf record;
    SpectralPicture(uint32_t components, uint32_t bpc, Size size, Random& random)
        : GuardedPicture({components, bpc == 8 ? 8u : 16u, bpc}, size, random) {
        for (uint32_t c = 0; c < components; ++c) {
            const uint32_t least = random(0, top()), most = random(least, top());
            for (uint32_t y = 0; y < size.height; ++y)
                for (uint32_t x = 0; x < size.width; ++x)
                    set(x * components + c, y, random(least, most));
        }
        record = record_of(*this);
    }
    /// Of one row: the samples of pixel after pixel.
    SpectralPicture(uint32_t components, uint32_t bpc, const Numbers& samples, Random& random)
        : SpectralPicture(components, bpc,
                          Size{static_cast<uint32_t>(samples.size()) / components, 1}, random) {
        for (uint32_t i = 0; i < samples.size(); ++i) set(i, 0, samples[i]);
    }
    uint32_t top() const { return (1u << format().bpc) - 1; }
    uint32_t components() const { return format().components; }
    uint32_t sample(uint32_t x, uint32_t y, uint32_t c) const {
        return static_cast<uint32_t>(get(x * components() + c, y));
    }
};

struct Limits {
    double low, high;
    double gain() const { return high == 0 ? 50.0 : 255.0 / high; }
};

/// Of the bins of one colour, as levels from 0 to the last bin.
inline Limits limits_of(const Numbers& bins, uint64_t pixels, double low, double high) {
    const auto top = static_cast<double>(bins.size() - 1);
    Limits found{0, top};
    const auto first_above = [&](double percent, auto bin_at, double otherwise) {
        const double fraction = std::max(percent / 100, std::numeric_limits<double>::epsilon());
        const double least =
            std::max(std::trunc(static_cast<double>(pixels) * fraction + 0.5), 1.0);
        double sum = 0;
        for (uint32_t i = 0; i < bins.size(); ++i)
            if ((sum += bins[bin_at(i)]) > least) return static_cast<double>(bin_at(i));
        return otherwise;
    };
    const auto last = static_cast<uint32_t>(bins.size()) - 1;
    if (low >= 0)
        found.low = first_above(
            low, [](uint32_t i) { return i; }, top);
    if (high >= 0)
        found.high = first_above(
            high, [=](uint32_t i) { return last - i; }, 0);
    return found;
}

/// The mean of some components, each in its colour: the greatest of the limits of red, green and
/// blue, on the scale of 0 to 255. What is not wanted is -1 percent.
inline Limits limits_of_mean(const SpectralPicture& picture, const Numbers& colors,
                             const Numbers& components, const Wanted& wanted) {
    const double low_percent = wanted.low ? wanted.low_percent : -1;
    const double high_percent = wanted.high ? wanted.high_percent : -1;
    const double weight = 1.0 / std::max<double>(static_cast<double>(components.size()), 1.0);
    const uint32_t top = picture.top();
    const double unit = 255.0 / top;
    Limits all{0, 0};
    for (const uint32_t shift : {0u, 8u, 16u}) {
        Numbers bins(size_t{top} + 1, 0);
        float greatest = 0;
        for (uint32_t y = 0; y < picture.size().height; ++y)
            for (uint32_t x = 0; x < picture.size().width; ++x) {
                float sum = 0;
                for (const uint32_t c : components) {
                    const auto byte = static_cast<float>(colors[c] >> shift & 255);
                    const float color = byte * 0.003921569f;
                    const float product = static_cast<float>(picture.sample(x, y, c)) * color;
                    sum = sum + product;
                }
                greatest = std::max(greatest, sum);
                const float level = sum * static_cast<float>(weight) + 0.5f;
                ++bins[static_cast<uint32_t>(std::min(level, static_cast<float>(top)))];
            }
        Limits found{0, greatest * static_cast<float>(weight * unit)};
        if (low_percent > 0 || high_percent >= 0) {
            const auto [width, height, pixels] = picture.size();
            found = limits_of(bins, uint64_t{width} * height, low_percent, high_percent);
            found = {found.low * unit, found.high * unit};
        }
        all = {std::max(all.low, found.low), std::max(all.high, found.high)};
    }
    return all;
}

/// Components from `first` on, `count` of them.
inline Numbers run_of(uint32_t first, uint32_t count) {
    Numbers components;
    for (uint32_t i = 0; i < count; ++i) components.push_back(first + i);
    return components;
}

inline Counts counts_of(const SpectralPicture& picture) {
    return Counts(
        [&] {
            std::vector<Bins> components(picture.components());
            for (uint32_t c = 0; c < picture.components(); ++c) {
                Numbers bins(size_t{picture.top()} + 1, 0);
                for (uint32_t y = 0; y < picture.size().height; ++y)
                    for (uint32_t x = 0; x < picture.size().width; ++x)
                        ++bins[picture.sample(x, y, c)];
                for (uint32_t i = 0; i < bins.size(); ++i)
                    if (bins[i] != 0) components[c].emplace_back(i, bins[i]);
            }
            return components;
        }(),
        picture.format().bpc);
}

struct Value {
    double offset, gain;
};

/// What a channel behind the spectral ones gets. The last of several components is left out.
inline Value value_of_channel(const SpectralPicture& picture, uint32_t first, uint32_t size,
                              const Wanted& wanted) {
    const Counts counts = counts_of(picture);
    const Searched found = search(counts, first, first + size - 1, wanted.low_percent,
                                  wanted.high_percent, false, true);
    const double top = picture.top();
    double black = wanted.low ? found.low / top : 0;
    const double white = found.high / top;
    if (wanted.high && white > 0 && black / white > 0.875) black = black * 0.875;
    return {top * black, found.high != 0 ? top / found.high : 100000.0};
}

/// A parametric set with the values of some components, which are those that it selects.
struct ChosenState : SQmLut {
    ChosenState(uint32_t components, const Numbers& selected) {
        ucComponents = static_cast<uint8_t>(components);
        ReinitParametric(*this);
        for (uint32_t c = 0; c < components; ++c) put(c, {0, 0}, 0);
        rmComponents.SetSize(components);
        for (const uint32_t c : selected) rmComponents.Set(c);
    }
    void put(uint32_t c, const Value& value, uint32_t color) {
        pParams[c].dOffset = -value.offset;
        pParams[c].dGain = value.gain;
        pParams[c].dGamma = 1.0;
        pParams[c].uiColor = color;
    }
};

inline Limits greatest_of(const double* low, const double* high) {
    return {*std::max_element(low, low + 3), *std::max_element(high, high + 3)};
}

inline Limits limits_of_set(const SQmPicBuf& pic, const SQmLut& set, const Wanted& wanted) {
    double low[3], high[3];
    EXPECT_EQ(CQmPicMemAPI_Base::SpetralGetLoHiRGBEx(
                  low, high, pic.pData, pic.uiWidthBytes, pic.uiBpc, pic.uiComponents, pic.uiWidth,
                  pic.uiWidth * pic.uiHeight, &set, wanted.low ? wanted.low_percent : -1,
                  wanted.high ? wanted.high_percent : -1),
              0);
    return greatest_of(low, high);
}

/// Do any two of the colours share red, green or blue?
inline bool overlap(const Numbers& colors) {
    for (size_t i = 0; i < colors.size(); ++i)
        for (size_t j = 0; j < i; ++j)
            for (const uint32_t shift : {0u, 8u, 16u})
                if ((colors[i] >> shift & 255) != 0 && (colors[j] >> shift & 255) != 0) return true;
    return false;
}

}  // namespace qmpic::test
