#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "analysis/colour_scale.h"
#include "core/scratch.h"
#include "core/shapes.h"
#include "render/packed_table.h"

/// Pictures of two components painted in colours of a scale: where the two samples of a pixel come
/// from, and what becomes of a colour and a signal. Which colour is the family's own: a `Hue`,
/// called as hue(k, a, b, n), finds the colours of n pixels. Samples are floats here, which hold
/// bytes and words as they are, so that there is one body for all of them.

namespace qmpic {

/// As many pixels as are painted at a time.
inline constexpr uint64_t kPainted = 256;

/// The components a and b of a picture of T.
template <class T>
struct ChannelPair {
    Src src;
    uint32_t components, a, b;

    void take(float* to_a, float* to_b, uint64_t y, uint64_t x, uint64_t n) const {
        const Sample<T>* const s = src.row<T>(y) + x * components;
        if (components == 2 && a + b == 1)
            return take_both(a == 0 ? to_a : to_b, a == 0 ? to_b : to_a, s, n);
        for (uint64_t i = 0; i < n; ++i) to_a[i] = s[i * components + a];
        for (uint64_t i = 0; i < n; ++i) to_b[i] = s[i * components + b];
    }

  private:
    static void take_both(float* first, float* second, const Sample<T>* s, uint64_t n) {
        for (uint64_t i = 0; i < n; ++i) {
            first[i] = s[2 * i];
            second[i] = s[2 * i + 1];
        }
    }
};

/// A colour's brightness: the signal s of a pixel among those up to `top`.
enum class Signals { kWhole, kFloat };
template <Signals signals>
struct Shading {
    float a_offset, b_offset, top;
    bool follows;    ///< else all are as bright as can be
    float part = 0;  ///< of integers: a little less than 1 / top

    Shading(float a_offset_, float b_offset_, float top_, bool follows_)
        : a_offset(a_offset_),
          b_offset(b_offset_),
          top(top_),
          follows(follows_),
          part((1.0f - 0x1p-20f) / top_) {}

    float operator()(float a, float b) const {
        float s = 0;
        s = a - a_offset > s ? a - a_offset : s;
        s = b - b_offset > s ? b - b_offset : s;
        return follows && s < top ? s : top;
    }
    /// c * s / top, toward zero.
    uint32_t dimmed(uint32_t c, float s) const {
        const float product = static_cast<float>(static_cast<int32_t>(c)) * s;
        if constexpr (signals == Signals::kFloat) {
            const float q = product / top;  // single precision is meant
            return static_cast<uint32_t>(static_cast<int32_t>(q < 256.0f ? q : 0.0f));
        } else {
            // Below 2^24 products are exact. The estimate is the quotient or one less.
            const auto q = static_cast<int32_t>(product * part);
            const float rest = product - static_cast<float>(q) * top;
            return static_cast<uint32_t>(q + (rest >= top));
        }
    }
};

/// Pixels as words, three bytes of which are meant.
template <class Hue, Signals signals>
struct Painter {
    Hue hue;
    Shading<signals> shading;
    const uint32_t* colours;

    void operator()(uint32_t* words, const float* a, const float* b, uint64_t n) const {
        int32_t k[kPainted];
        float s[kPainted];
        hue(k, a, b, n);
        for (uint64_t i = 0; i < n; ++i) s[i] = shading(a[i], b[i]);
        for (uint64_t i = 0; i < n; ++i) {
            int32_t one = k[i];
            asm("" : "+r"(one));  // load by load: gathers are slow on many processors
            words[i] = colours[one];
        }
        for (uint64_t i = 0; i < n; ++i) {
            const uint32_t w = words[i];
            words[i] = shading.dimmed(w & 255, s[i]) | shading.dimmed(w >> 8 & 255, s[i]) << 8 |
                       shading.dimmed(w >> 16 & 255, s[i]) << 16;
        }
    }
};

/// The colours of a scale as words.
using ColourWords = std::array<uint32_t, 256>;
inline ColourWords words_of(const ColourScale& scale) {
    ColourWords words{};
    for (size_t k = 0; k < scale.size(); ++k)
        words[k] = scale[k][0] | uint32_t{scale[k][1]} << 8 | uint32_t{scale[k][2]} << 16;
    return words;
}

template <class T, class AnyPainter>
void paint(Team team, Dst dst, ChannelPair<T> pair, Area area, AnyPainter painter) {
    walk_rows(team, area.rows, [=](RowRange rows) {
        float a[kPainted], b[kPainted];
        uint32_t words[kPainted];
        for (uint64_t y = rows.first; y < rows.last; ++y)
            for (uint64_t x = 0; x < area.width; x += kPainted) {
                const uint64_t n = std::min(kPainted, area.width - x);
                pair.take(a, b, y, x, n);
                painter(words, a, b, n);
                write_pixels(dst.row<uint8_t>(y) + 3 * x, n, [&](uint64_t i) { return words[i]; });
            }
    });
}

/// The same for bytes, of which there are only 65,536 pairs: large pictures paint each of them once
/// and look pixels up, if there is memory for a table.
template <class AnyPainter>
void paint_bytes(Team team, Dst dst, ChannelPair<uint8_t> pair, Area area, uint64_t from,
                 AnyPainter painter) {
    if (area.width * area.rows < from) return paint(team, dst, pair, area, painter);
    const Scratch<uint32_t> table(65536);
    if (!table) return paint(team, dst, pair, area, painter);
    uint32_t* const words = table.get();
    on_best_isa([=] {
        float a[256], b[256];
        for (uint32_t i = 0; i < 256; ++i) a[i] = static_cast<float>(i);
        for (uint32_t row = 0; row < 256; ++row) {
            std::fill_n(b, 256, static_cast<float>(row));
            painter(words + row * 256, a, b, 256);
        }
    });
    each_row<uint8_t, uint8_t>(team, dst, pair.src, area,
                               [=](Sample<uint8_t>* d, const Sample<uint8_t>* s) {
                                   write_pixels(d, area.width, [=](uint64_t x) {
                                       const Sample<uint8_t>* const pixel = s + x * pair.components;
                                       return words[pixel[pair.a] | uint32_t{pixel[pair.b]} << 8];
                                   });
                               });
}

/// The largest sample of both components, at least 255, which is the top of floats.
inline float greatest(ChannelPair<float> pair, Area area) {
    constexpr uint64_t lanes = 16;
    float top = 255.0f;
    float* const result = &top;
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
        float a[kPainted], b[kPainted], most[lanes];
        std::fill_n(most, lanes, 255.0f);
        for (uint64_t y = rows.first; y < rows.last; ++y)
            for (uint64_t x = 0; x < area.width; x += kPainted) {
                const uint64_t n = std::min(kPainted, area.width - x);
                pair.take(a, b, y, x, n);
                for (uint64_t i = 0; i < n; i += lanes)
                    for (uint64_t j = 0; j < std::min(lanes, n - i); ++j) {
                        most[j] = a[i + j] > most[j] ? a[i + j] : most[j];
                        most[j] = b[i + j] > most[j] ? b[i + j] : most[j];
                    }
            }
        *result = *std::max_element(most, most + lanes);
    });
    return top;
}

}  // namespace qmpic
