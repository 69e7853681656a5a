#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "qmpic/Lut.h"
#include "qmpic/system/Color.h"

/// Energy transfer pixel by pixel, as it is documented. Nothing here is shared with the library.

namespace qmpic::test {

using Cells = std::array<uint32_t, 3>;

/// Bleeds of donor and acceptor, donor in acceptor, acceptor in donor.
using Bleeds = std::array<double, 4>;

inline double corrected(double i1, double i2, double i3, const Bleeds& bleeds) {
    const double acceptor = i3 - i2 * bleeds[2];
    const double donor = i2 - i3 * bleeds[3];
    double signal = i1;
    signal = signal - acceptor * bleeds[1];
    signal = signal - donor * bleeds[0];
    return signal;
}

/// At least 0, which NaN becomes, at most `top`, cut.
inline uint32_t cut(double value, double top) {
    if (std::isnan(value) || value < 0) return 0;
    return static_cast<uint32_t>(std::floor(std::min(value, top)));
}

inline uint32_t row_of_signal(double signal, float min, float max) {
    float scale = 1;
    if (max - min > 0) scale = 255.0f / (max - min);
    return cut((signal - static_cast<double>(min)) * static_cast<double>(scale), 255);
}

/// From a percentage to a colour.
inline uint32_t row_of_efficiency(double percent, double min, double max, bool words) {
    if (max > min) percent = (percent - min) / (max - min) * 100.0;
    if (!(percent > 0)) percent = 0;
    if (percent > 100) percent = 100;
    return static_cast<uint32_t>(words ? percent / 100.0 * 255.0 : percent * 255.0 / 100.0);
}

/// What a table holds, and what is there without one.
inline Cells rainbow(uint32_t row) {
    static const std::vector<uint32_t> words = [] {
        std::vector<uint32_t> made(256);
        QM_RGBRainbowColorTable(made.data(), 256);
        return made;
    }();
    return {words[row] & 255, words[row] >> 8 & 255, words[row] >> 16 & 255};
}
inline Cells predefined(uint32_t row) {
    const unsigned char* const colors = SQmLut::GetPredefLut(1, false)->pColors;
    return {colors[3 * row + 2], colors[3 * row + 1], colors[3 * row]};
}

/// The levels of a donor's picture, less the background already.
struct DonorLevels {
    uint32_t least, most, with_table, without;
};
inline DonorLevels byte_levels(const std::vector<uint32_t>& donor) {
    uint32_t least = std::numeric_limits<uint32_t>::max(), greatest = 1;
    for (const uint32_t value : donor) {
        least = std::min(least, value);
        greatest = std::max(greatest, value);
    }
    return {least, 255, 255, greatest == least ? 1 : greatest - least};
}
inline DonorLevels word_levels(const std::vector<uint32_t>& donor, uint64_t size) {
    std::vector<uint16_t> bins(65536, 0);
    for (const uint32_t value : donor) bins[value] = static_cast<uint16_t>(bins[value] + 1);
    const auto share = static_cast<uint32_t>(size / 100);
    uint32_t sum = 0, high = 1, low = std::numeric_limits<uint32_t>::max();
    for (uint32_t bin = 65536; bin-- > 0;) {
        sum += bins[bin];
        if (sum >= share) {
            high = bin;
            break;
        }
    }
    for (uint32_t bin = 0; bin < 65536; ++bin) {
        sum += bins[bin];
        if (sum >= share) {
            low = bin;
            break;
        }
    }
    if (high <= low) ++high;
    return {low, high, high, high - low == 0 ? 1 : high - low};
}

inline Cells shaded(const Cells& colour, uint32_t sample, uint32_t background,
                    const DonorLevels& levels, bool words, bool has_table) {
    const auto difference = static_cast<int32_t>(sample - background - levels.least);
    uint32_t shade = difference < 1 ? 0 : static_cast<uint32_t>(difference);
    shade = words ? std::min(shade & 65535, levels.most) : shade & 255;
    Cells cells;
    for (size_t c = 0; c < 3; ++c)
        cells[c] = colour[c] * shade / (has_table ? levels.with_table : levels.without);
    return cells;
}

}  // namespace qmpic::test
