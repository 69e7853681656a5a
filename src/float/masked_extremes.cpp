#include "float/masked_extremes.h"

#include <algorithm>
#include <bit>

#include "core/shapes.h"

namespace qmpic {
namespace {

/// The first zero that counts in a component, for its sign.
float first_zero(const MaskedFloats& picture, uint32_t component) {
    for (uint64_t y = 0; y < picture.area.rows; ++y) {
        const Sample<float>* const s = picture.pixels.row(y) + component;
        const Sample<uint8_t>* const m = picture.mask.row<uint8_t>(y);
        for (uint64_t x = 0; x < picture.area.width; ++x)
            if (picture.takes(m[x]) && s[x * picture.components] == 0)
                return s[x * picture.components];
    }
    return 0;
}

// Pixels whose mask is looked at before they are; pixels of which two blocks may overlap.
constexpr uint32_t kLookAhead = 64, kFew = 16;

template <uint32_t pixels>
bool takes_any(const MaskedFloats& picture, const Sample<uint8_t>* m) {
    uint8_t any = 0;
    for (uint32_t i = 0; i < pixels; ++i) any |= static_cast<uint8_t>(picture.takes(m[i]));
    return any != 0;
}

/// The extremes of the pixels of n components that lie `block` apart, by themselves: each component
/// has lanes of its own, so that a word of the mask serves all of them.
template <uint32_t n, uint32_t block>
struct Lanes {
    float low[n][block], high[n][block];
    Lanes() {
        std::fill_n(low[0], n * block, FLT_MAX);
        std::fill_n(high[0], n * block, -FLT_MAX);
    }

    template <uint32_t pixels>
    void take(const MaskedFloats& picture, const Sample<float>* s, const Sample<uint8_t>* m) {
        const auto flip = static_cast<int8_t>(picture.inverse ? -1 : 0);
        int8_t skipped[pixels];
        for (uint32_t i = 0; i < pixels; ++i)
            skipped[i] = static_cast<int8_t>((m[i] == 0 ? -1 : 0) ^ flip);
        for (uint32_t i = 0; i < pixels; ++i)
#pragma GCC unroll 4
            for (uint32_t c = 0; c < n; ++c) {  // all bits set: a NaN never counts
                const auto bits = std::bit_cast<int32_t>(s[i * n + c].value) | skipped[i];
                const auto value = std::bit_cast<float>(bits);
                low[c][i] = value < low[c][i] ? value : low[c][i];
                high[c][i] = value > high[c][i] ? value : high[c][i];
            }
    }

    /// All lanes into the first. Tells whether zeros of both signs were among the results: then
    /// nobody knows which came first.
    bool fold(uint32_t c) {
        uint32_t plus[block], minus[block];
        for (uint32_t i = 0; i < block; ++i) {
            plus[i] = is_zero(low[c][i], 0) | is_zero(high[c][i], 0);
            minus[i] = is_zero(low[c][i], kSign) | is_zero(high[c][i], kSign);
        }
        fold_half<block / 2>(low[c], high[c], plus, minus);
        return (plus[0] & minus[0]) != 0 && (low[c][0] == 0 || high[c][0] == 0);
    }

  private:
    static constexpr uint32_t kSign = 0x80000000;
    static uint32_t is_zero(float value, uint32_t sign) {
        return std::bit_cast<uint32_t>(value) == sign ? 1 : 0;
    }
    template <uint32_t half>
    static void fold_half(float* low, float* high, uint32_t* plus, uint32_t* minus) {
        for (uint32_t i = 0; i < half; ++i) {
            low[i] = low[i + half] < low[i] ? low[i + half] : low[i];
            high[i] = high[i + half] > high[i] ? high[i + half] : high[i];
            plus[i] |= plus[i + half];
            minus[i] |= minus[i + half];
        }
        if constexpr (half > 1) fold_half<half / 2>(low, high, plus, minus);
    }
};

/// All components of a picture of n.
template <uint32_t n>
void find_of(const MaskedFloats& picture, float* lows, float* highs) {
    constexpr uint32_t block = n == 1 ? 64 : n == 2 ? 32 : 16;
    bool unsure[n];
    bool* const signs = unsure;
    walk_rows(kCallingThread, picture.area.rows, [=, given = picture](RowRange rows) {  // a fold
        const uint64_t width = given.area.width;
        Lanes<n, block> lanes;
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            const Sample<float>* const s = given.pixels.row(y);
            const Sample<uint8_t>* const m = given.mask.row<uint8_t>(y);
            uint64_t x = 0;
            for (; x + kLookAhead <= width; x += kLookAhead) {
                if (!takes_any<kLookAhead>(given, m + x)) continue;
                for (uint64_t i = x; i < x + kLookAhead; i += block)
                    lanes.template take<block>(given, s + i * n, m + i);
            }
            // To see a pixel twice changes nothing.
            for (; x < width && width >= kFew; x += kFew) {
                const uint64_t i = std::min(x, width - kFew);
                if (takes_any<kFew>(given, m + i))
                    lanes.template take<kFew>(given, s + i * n, m + i);
            }
            for (; x < width; ++x) lanes.template take<1>(given, s + x * n, m + x);
        }
        for (uint32_t c = 0; c < n; ++c) {
            signs[c] = lanes.fold(c);
            lows[c] = lanes.low[c][0];
            highs[c] = lanes.high[c][0];
        }
    });
    for (uint32_t c = 0; c < n; ++c) {
        if (!unsure[c]) continue;
        const float zero = first_zero(picture, c);
        if (lows[c] == 0) lows[c] = zero;
        if (highs[c] == 0) highs[c] = zero;
    }
}

/// Some components of a picture of any number of them, pixel by pixel.
constexpr uint32_t kSome = 64;
void find_some(const MaskedFloats& picture, uint32_t first, uint32_t count, float* lows,
               float* highs) {
    walk_rows(kCallingThread, picture.area.rows, [=, given = picture](RowRange rows) {  // a fold
        float low[kSome], high[kSome];
        std::fill_n(low, kSome, FLT_MAX);
        std::fill_n(high, kSome, -FLT_MAX);
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            const Sample<float>* const s = given.pixels.row(y) + first;
            const Sample<uint8_t>* const m = given.mask.row<uint8_t>(y);
            for (uint64_t x = 0, end; x < given.area.width; x = end) {
                end = std::min(x + kLookAhead, given.area.width);
                if (end - x == kLookAhead && !takes_any<kLookAhead>(given, m + x)) continue;
                for (; x < end; ++x) {
                    if (!given.takes(m[x])) continue;
                    for (uint32_t c = 0; c < count; ++c) {
                        const float value = s[x * given.components + c];
                        low[c] = value < low[c] ? value : low[c];
                        high[c] = value > high[c] ? value : high[c];
                    }
                }
            }
        }
        std::copy_n(low, count, lows);
        std::copy_n(high, count, highs);
    });
}

}  // namespace

void find_extremes(const MaskedFloats& given, float* low, float* high) {
    MaskedFloats picture = given;
    picture.area = joined(kCallingThread, given.area,
                          {stride_of(given.pixels, uint64_t{given.components} * sizeof(float)),
                           stride_of(given.mask, 1)});
    switch (picture.components) {
    case 1: return find_of<1>(picture, low, high);
    case 2: return find_of<2>(picture, low, high);
    case 3: return find_of<3>(picture, low, high);
    case 4: return find_of<4>(picture, low, high);
    default: break;
    }
    for (uint64_t first = 0; first < picture.components; first += kSome) {
        const uint64_t count = std::min<uint64_t>(kSome, picture.components - first);
        find_some(picture, static_cast<uint32_t>(first), static_cast<uint32_t>(count), low + first,
                  high + first);
    }
}

}  // namespace qmpic
