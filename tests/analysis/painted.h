#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "qmpic/status.h"
#include "qmpic/system/Color.h"
#include "support/cases.h"
#include "support/float_picture.h"
#include "support/guarded_picture.h"

/// Pictures of two components painted in colours, for the tests of ratio and calcium: scales, what
/// a colour and a signal give, and random pictures.

namespace qmpic::test {

using Colour = std::array<uint8_t, 3>;

/// 256 colours in rows that lie apart, or the rainbow, for which a null table stands.
class Scale {
  public:
    Scale() {
        std::vector<uint32_t> words(256);
        QM_RGBRainbowColorTable(words.data(), 256);
        for (const uint32_t w : words)
            colours_.push_back({static_cast<uint8_t>(w), static_cast<uint8_t>(w >> 8),
                                static_cast<uint8_t>(w >> 16)});
    }
    explicit Scale(Random& random) {
        for (uint32_t k = 0; k < 256; ++k)
            add({static_cast<uint8_t>(random.any()), static_cast<uint8_t>(random.any()),
                 static_cast<uint8_t>(random.any())});
    }
    /// Colour k is (k, 255 - k, 200).
    static Scale of_indices() {
        Scale scale(nullptr);
        for (uint32_t k = 0; k < 256; ++k)
            scale.add({static_cast<uint8_t>(k), static_cast<uint8_t>(255 - k), 200});
        return scale;
    }
    const void* luts() const { return rows_.empty() ? nullptr : rows_.data(); }
    const Colour& operator[](uint32_t k) const { return colours_.at(k); }

  private:
    explicit Scale(std::nullptr_t) {}
    void add(Colour colour) {
        colours_.push_back(colour);
        cells_.push_back(std::make_unique<Colour>(colour));
        rows_.push_back(cells_.back()->data());
    }
    std::vector<Colour> colours_;
    std::vector<std::unique_ptr<Colour>> cells_;
    std::vector<const uint8_t*> rows_;
};

struct TwoSamples {
    double a, b;
};

/// What signal two integers give, and what a colour becomes by it.
inline int64_t whole_signal(TwoSamples p, double a_offset, double b_offset, int64_t top) {
    const auto a = static_cast<int64_t>(p.a - a_offset), b = static_cast<int64_t>(p.b - b_offset);
    return std::min(std::max(std::max(a, b), int64_t{0}), top);
}
inline Colour dimmed(Colour colour, int64_t signal, int64_t top) {
    for (uint8_t& c : colour) c = static_cast<uint8_t>(c * signal / top);
    return colour;
}

/// The same in single precision. What is no number is no signal.
inline float float_signal(TwoSamples p, double a_offset, double b_offset, float top) {
    const float a = static_cast<float>(p.a) - static_cast<float>(a_offset),
                b = static_cast<float>(p.b) - static_cast<float>(b_offset);
    float signal = 0;
    if (a > signal) signal = a;
    if (b > signal) signal = b;
    return signal > top ? top : signal;
}
inline Colour dimmed(Colour colour, float signal, float top) {
    for (uint8_t& c : colour) {
        const float q = static_cast<float>(c) * signal / top;
        c = std::isnan(q) || q >= 2147483648.0f ? 0 : static_cast<uint8_t>(static_cast<int64_t>(q));
    }
    return colour;
}
inline float float_top(const std::vector<TwoSamples>& picture) {
    float top = 1.0f;
    for (const TwoSamples& p : picture)
        for (const double sample : {p.a, p.b})
            if (sample > top) top = static_cast<float>(sample);
    return top < 255.0f ? 255.0f : top;
}

/// How a random call reads its source.
struct Reading {
    uint32_t components;
    uint8_t numer, denom;
    uint16_t num_offset, den_offset;
};
enum class Samples { kBytes, kWords, kFloats };

inline uint16_t draw_offset(Samples samples, Random& random) {
    if (random(0, 2) == 0) return 0;
    if (random(0, 2) == 0) return static_cast<uint16_t>(random(0, 40));
    return static_cast<uint16_t>(random.any() & (samples == Samples::kBytes ? 0xFF : 0xFFFF));
}

/// One call on random pictures. `call(d, s, reading, luts)` gives the code;
/// `reference(samples, size, reading, scale)` the colours of all pixels.
template <class Call, class Reference>
void check_painted(Round round, Samples kind, bool with_table, Call call, Reference reference) {
    Random& random = round.random;
    const uint32_t bits = kind == Samples::kBytes ? 8 : kind == Samples::kWords ? 16 : 32;
    Reading reading{};
    reading.components = random(0, 1) ? 2 : random.components();
    reading.numer = static_cast<uint8_t>(random(0, reading.components - 1));
    reading.denom = static_cast<uint8_t>(random(0, reading.components - 1));
    reading.num_offset = draw_offset(kind, random);
    reading.den_offset = draw_offset(kind, random);
    const bool given = with_table && random(0, 1);
    const Scale scale = given ? Scale(random) : Scale();

    const Size size = random.size(std::max(reading.components, 3u));
    const GuardedPicture d({3, 8, 8}, size, random);
    GuardedPicture s({reading.components, bits, kind == Samples::kWords ? 12 : bits}, size, random);
    if (kind == Samples::kFloats)
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t i = 0; i < s.samples(); ++i)
                s.set(i, y, std::bit_cast<uint32_t>(draw_float(random)));

    std::vector<TwoSamples> samples;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            const auto get = [&](uint32_t c) {
                const uint64_t bits_of = s.get(x * reading.components + c, y);
                return kind == Samples::kFloats
                           ? double{std::bit_cast<float>(static_cast<uint32_t>(bits_of))}
                           : static_cast<double>(bits_of);
            };
            samples.push_back({get(reading.numer), get(reading.denom)});
        }
    std::vector<uint64_t> expected;
    for (const Colour& colour : reference(samples, size.pixels, reading, scale))
        expected.insert(expected.end(), colour.begin(), colour.end());
    const auto outside = d.outside();

    ASSERT_EQ(call(d, s, reading, scale.luts()), QM_OK);

    ASSERT_EQ(d.content(), expected)
        << size.width << " x " << size.height << " pixels of " << reading.components << " x "
        << bits << ", " << int{reading.numer} << " / " << int{reading.denom};
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

/// Pixels of two components, a row of them.
template <class T>
using Pixels = std::vector<std::array<T, 2>>;

}  // namespace qmpic::test
