#pragma once

#include <omp.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "core/rows.h"
#include "render/spectral_window.h"

/// The sums of a spectral picture, a block of pixels at a time. A pixel's bands follow each other,
/// but the sum of a cell is one chain in their order, so that vectors run over pixels: 16 bytes of
/// each pixel are turned into four rows of words, of which each is added to the sums of all pixels.
/// Rows of words and sums stay in the nearest cache, and all but the turn is left to the compiler.

namespace qmpic {

/// What a thread works in. Pixels behind the last one of a block hold something, too.
struct SpectralBlock {
    static constexpr uint32_t kPixels = 128;
    static constexpr uint32_t kVector = 16;  // pixels that are added at once; divides kPixels
    alignas(64) float sums[3][kPixels];      // blue, green, red
    alignas(64) uint32_t words[4][kPixels];

    SpectralBlock() { std::memset(this, 0, sizeof *this); }
    static uint64_t whole_vectors(uint64_t pixels) {
        return (pixels + kVector - 1) / kVector * kVector;
    }
};

namespace detail {

using Quad [[gnu::vector_size(16)]] = uint32_t;

inline Quad load_quad(const void* p) {
    Quad quad;
    std::memcpy(&quad, p, sizeof quad);
    return quad;
}

/// Word k of `from[0..3]` becomes to[k][0..3].
inline void turn(const Quad (&from)[4], uint32_t (*to)[SpectralBlock::kPixels], uint64_t x) {
    const Quad low_a = __builtin_shufflevector(from[0], from[1], 0, 4, 1, 5);
    const Quad low_b = __builtin_shufflevector(from[2], from[3], 0, 4, 1, 5);
    const Quad high_a = __builtin_shufflevector(from[0], from[1], 2, 6, 3, 7);
    const Quad high_b = __builtin_shufflevector(from[2], from[3], 2, 6, 3, 7);
    const Quad rows[4] = {__builtin_shufflevector(low_a, low_b, 0, 1, 4, 5),
                          __builtin_shufflevector(low_a, low_b, 2, 3, 6, 7),
                          __builtin_shufflevector(high_a, high_b, 0, 1, 4, 5),
                          __builtin_shufflevector(high_a, high_b, 2, 3, 6, 7)};
    for (uint32_t k = 0; k < 4; ++k) std::memcpy(&to[k][x], &rows[k], sizeof rows[k]);
}

/// Sample j of a word, under its mask.
template <class T>
float sample_of(uint32_t word, uint32_t j, uint32_t mask) {
    if constexpr (std::is_same_v<T, float>)
        return std::bit_cast<float>(word & mask);
    else  // the mask has no more bits than a sample
        return static_cast<float>(static_cast<int32_t>(word >> (8 * sizeof(T) * j) & mask));
}

/// Bands that are added together, and the rows of words that hold their samples.
constexpr uint32_t kTogether = 4;
template <class T>
constexpr uint32_t kRows = kTogether * sizeof(T) / 4;

/// Adds bands of rows of words, from row `first` on, to the sums: each product is rounded, and so
/// is each sum. With `weighed` there are offsets and gains; without they would change nothing.
template <class T, bool weighed>
void add_bands(const SpectralBand* given, SpectralBlock& block, uint32_t first, uint64_t pixels) {
    constexpr uint32_t each = kTogether / kRows<T>;
    constexpr uint64_t vector = SpectralBlock::kVector;
    SpectralBand bands[kTogether];
    for (uint32_t j = 0; j < kTogether; ++j) {
        bands[j] = given[j];
        if constexpr (!std::is_same_v<T, float>) bands[j].mask &= (1u << 8 * sizeof(T)) - 1;
    }
    for (uint64_t at = 0; at < pixels; at += vector)
        for (uint64_t x = at; x < at + vector; ++x) {
            float blue = block.sums[0][x], green = block.sums[1][x], red = block.sums[2][x];
            for (uint32_t j = 0; j < kTogether; ++j) {
                const uint32_t word = block.words[first + j / each][x];
                const float sample = sample_of<T>(word, j % each, bands[j].mask);
                const float t = weighed ? (sample + bands[j].offset) * bands[j].gain : sample;
                blue += t * bands[j].weight[0];
                green += t * bands[j].weight[1];
                red += t * bands[j].weight[2];
            }
            block.sums[0][x] = blue, block.sums[1][x] = green, block.sums[2][x] = red;
        }
}

}  // namespace detail

/// A picture of T's and the window of it that is summed. `Rows` says where its rows lie.
template <class T, class Rows>
struct SpectralPicture {
    Rows src;
    Area area;
    uint64_t components, first;  ///< of a pixel; before the window
    const SpectralBand* bands;
    uint32_t used;
    bool weighed;

    SpectralPicture(Rows src_, Area area_, uint32_t components_, const SpectralWindow& window)
        : src(src_),
          area(area_),
          components(components_),
          first(window.first()),
          bands(window.bands()),
          used(window.used()),
          weighed(false) {
        for (uint32_t p = 0; p < used; ++p)
            weighed = weighed || bands[p].offset != 0 || bands[p].gain != 1;
    }

    static constexpr uint32_t kSamples = 16 / sizeof(T);  ///< that are turned together

    /// Calls `use(row, y, x, count)` for each block of pixels.
    template <class Use>
    void each_block(RowRange rows, const Use& use) const {
        // Of pixels with many components fewer, so that a block is still near in the next round.
        const uint64_t most = uint64_t{16} * 1024 / sizeof(T) / std::max<uint64_t>(components, 1);
        const uint64_t step =
            std::clamp<uint64_t>(most / SpectralBlock::kVector * SpectralBlock::kVector,
                                 SpectralBlock::kVector, SpectralBlock::kPixels);
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            const Sample<T>* const row = src.template row<T>(y);
            for (uint64_t x = 0; x < area.width; x += step)
                use(row, y, x, std::min(step, area.width - x));
        }
    }

    /// The pixels from x on whose 16 bytes from band p on lie in the row.
    uint64_t readable(uint64_t x, uint64_t count, uint32_t p) const {
        const uint64_t end = first + p + kSamples;
        const uint64_t beyond = end <= components ? 0 : (end - 1) / components;
        return area.width - x <= beyond ? 0 : std::min(count, area.width - x - beyond);
    }
    /// The bytes of a pixel from band p on, as far as the window goes, and zeros behind them.
    detail::Quad load_rest(const Sample<T>* pixel, uint32_t p) const {
        detail::Quad quad{};
        std::memcpy(&quad, pixel + p, std::min(used - p, kSamples) * sizeof(T));
        return quad;
    }
    const Sample<T>* pixel(const Sample<T>* row, uint64_t x) const {
        return row + x * components + first;
    }

    /// The sums of pixels [x, x + count) of a row.
    void sum(const Sample<T>* row, uint64_t x, uint64_t count, SpectralBlock& block) const {
        for (auto& sums : block.sums)
            std::memset(sums, 0, SpectralBlock::whole_vectors(count) * sizeof(float));
        for (uint32_t p = 0; p < used; p += kSamples) {
            turn_words(row, x, count, p, block);
            for (uint32_t at = 0; at < std::min(used - p, kSamples); at += detail::kTogether) {
                constexpr auto bytes = static_cast<uint32_t>(sizeof(T));
                const uint32_t first_row = at * bytes / 4;
                if (weighed)
                    detail::add_bands<T, true>(bands + p + at, block, first_row, count);
                else
                    detail::add_bands<T, false>(bands + p + at, block, first_row, count);
            }
        }
    }

  private:
    void turn_words(const Sample<T>* row, uint64_t x, uint64_t count, uint32_t p,
                    SpectralBlock& block) const {
        using detail::Quad;
        const Sample<T>* s = pixel(row, x);
        const uint64_t whole = readable(x, count, p);
        // What the next block reads comes line by line meanwhile.
        const auto next = reinterpret_cast<uintptr_t>(row + (x + count) * components) +
                          uint64_t{p} * sizeof(T) * count;
        uint64_t i = 0;
        for (; i + 4 <= whole; i += 4, s += 4 * components) {
            __builtin_prefetch(reinterpret_cast<const void*>(next + 16 * i));
            const Quad quads[4] = {detail::load_quad(s + p), detail::load_quad(s + components + p),
                                   detail::load_quad(s + 2 * components + p),
                                   detail::load_quad(s + 3 * components + p)};
            detail::turn(quads, block.words, i);
        }
        for (; i < count; i += 4) {
            Quad quads[4] = {};
            for (uint64_t j = i; j < std::min(i + 4, count); ++j, s += components)
                quads[j - i] = j < whole ? detail::load_quad(s + p) : load_rest(s, p);
            detail::turn(quads, block.words, i);
        }
    }
};

/// As many threads as there are processors.
inline Team one_a_processor() {
    const int processors = omp_get_num_procs();
    return processors > 1 ? Team{true, static_cast<uint32_t>(processors)} : kCallingThread;
}

}  // namespace qmpic
