#include "float/extremes.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "core/shapes.h"

namespace qmpic {
namespace {

struct Picture {
    FloatSrc pixels;
    uint32_t components;
    Area area;
};

/// The first zero that counts in a component, for its sign.
float first_zero(const Picture& picture, const Selection& selection, uint32_t component) {
    for (uint64_t y = 0; y < picture.area.rows; ++y) {
        const Sample<float>* const s = picture.pixels.row(y) + component;
        const Sample<uint8_t>* const m = selection.mask.row<uint8_t>(y);  // null without a mask
        for (uint64_t x = 0; x < picture.area.width; ++x)
            if (s[x * picture.components] == 0 && (selection.everything() || selection.takes(m[x])))
                return s[x * picture.components];
    }
    return 0;
}

template <uint32_t pixels>
bool takes_any(const Selection& selection, const Sample<uint8_t>* m) {
    uint8_t any = 0;
    for (uint32_t i = 0; i < pixels; ++i) any |= static_cast<uint8_t>(selection.takes(m[i]));
    return any != 0;
}

/// What lanes come to in the end.
template <uint32_t n>
struct Found {
    Extremes of[n];
    bool unsure[n];  ///< of the sign of a zero
};

/// The extremes of samples that lie `lanes` apart, by themselves.
template <uint32_t lanes>
struct Lanes {
    float low[lanes], high[lanes];
    Lanes() {
        std::fill_n(low, lanes, FLT_MAX);
        std::fill_n(high, lanes, -FLT_MAX);
    }

    /// Some pixels of n components.
    template <uint32_t n, uint32_t pixels, bool masked>
    void take(const Sample<float>* s, const Selection& selection, const Sample<uint8_t>* m) {
        float values[pixels * n];
        for (uint32_t i = 0; i < pixels * n; ++i) values[i] = s[i];
        if constexpr (masked)
            for (uint32_t i = 0; i < pixels; ++i)  // what is in no order with anything never counts
                for (uint32_t c = 0; c < n; ++c)
                    values[i * n + c] = selection.takes(m[i])
                                            ? values[i * n + c]
                                            : std::numeric_limits<float>::quiet_NaN();
        for (uint32_t i = 0; i < pixels * n; ++i) {
            low[i] = values[i] < low[i] ? values[i] : low[i];
            high[i] = values[i] > high[i] ? values[i] : high[i];
        }
    }

    /// What all samples of a component come to: the lanes are folded in halves.
    template <uint32_t n>
    Found<n> joined() {
        uint32_t plus[lanes], minus[lanes];
        for (uint32_t i = 0; i < lanes; ++i) {
            plus[i] = is_zero(low[i], 0) | is_zero(high[i], 0);
            minus[i] = is_zero(low[i], kSign) | is_zero(high[i], kSign);
        }
        fold<n, lanes / 2>(plus, minus);
        Found<n> found;
        for (uint32_t c = 0; c < n; ++c) {
            found.of[c] = {low[c], high[c]};
            found.unsure[c] = (low[c] == 0 || high[c] == 0) && plus[c] != 0 && minus[c] != 0;
        }
        return found;
    }

  private:
    static constexpr uint32_t kSign = 0x80000000;
    static uint32_t is_zero(float value, uint32_t sign) {
        return std::bit_cast<uint32_t>(value) == sign ? 1 : 0;
    }
    template <uint32_t n, uint32_t half>
    void fold(uint32_t* plus, uint32_t* minus) {
        for (uint32_t i = 0; i < half; ++i) {
            low[i] = low[i + half] < low[i] ? low[i + half] : low[i];
            high[i] = high[i + half] > high[i] ? high[i + half] : high[i];
            plus[i] |= plus[i + half];
            minus[i] |= minus[i + half];
        }
        if constexpr (half > n) fold<n, half / 2>(plus, minus);
    }
};

/// All components of a picture of n.
template <uint32_t n, bool masked>
void find_of(const Picture& picture, const Selection& given, Extremes* found) {
    constexpr uint32_t at_once = 64, few = 16, block = n == 1 ? 64 : n == 2 ? 32 : 16;
    Found<n> result;
    Found<n>* const out = &result;
    const FloatSrc src = picture.pixels;
    const Area area = picture.area;
    walk_rows(kCallingThread, area.rows, [=, selection = given](RowRange rows) {  // a fold
        Lanes<block * n> lanes;
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            const Sample<float>* const s = src.row(y);
            const Sample<uint8_t>* const bytes = selection.mask.row<uint8_t>(y);
            const auto m = [=](uint64_t x) { return masked ? bytes + x : nullptr; };
            uint64_t x = 0;
            for (; x + at_once <= area.width; x += at_once) {
                if (masked && !takes_any<at_once>(selection, m(x))) continue;
                for (uint64_t i = x; i < x + at_once; i += block)
                    lanes.template take<n, block, masked>(s + i * n, selection, m(i));
            }
            // To see a pixel twice changes nothing.
            for (; x < area.width && area.width >= few; x += few) {
                const uint64_t i = std::min(x, area.width - few);
                if (masked && !takes_any<few>(selection, m(i))) continue;
                lanes.template take<n, few, masked>(s + i * n, selection, m(i));
            }
            for (; x < area.width; ++x)
                lanes.template take<n, 1, masked>(s + x * n, selection, m(x));
        }
        *out = lanes.template joined<n>();
    });
    for (uint32_t c = 0; c < n; ++c) {
        found[c] = result.of[c];
        if (!result.unsure[c]) continue;
        const float zero = first_zero(picture, given, c);
        if (found[c].low == 0) found[c].low = zero;
        if (found[c].high == 0) found[c].high = zero;
    }
}

/// Some components of a picture of any number of them, pixel by pixel.
template <bool masked>
void find_some(const Picture& picture, const Selection& given, uint32_t first, uint32_t count,
               Extremes* found) {
    const FloatSrc src = picture.pixels;
    const uint64_t step = picture.components;
    const Area area = picture.area;
    walk_rows(kCallingThread, area.rows, [=, selection = given](RowRange rows) {  // a fold
        float low[kExtremesAtOnce], high[kExtremesAtOnce];
        std::fill_n(low, kExtremesAtOnce, FLT_MAX);
        std::fill_n(high, kExtremesAtOnce, -FLT_MAX);
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            const Sample<float>* s = src.row(y) + first;
            const Sample<uint8_t>* const m = selection.mask.row<uint8_t>(y);
            for (uint64_t x = 0; x < area.width; ++x, s += step) {
                if (masked && !selection.takes(m[x])) continue;
                for (uint32_t c = 0; c < count; ++c) {
                    const float value = s[c];
                    low[c] = value < low[c] ? value : low[c];
                    high[c] = value > high[c] ? value : high[c];
                }
            }
        }
        for (uint32_t c = 0; c < count; ++c) found[c] = {low[c], high[c]};
    });
}

template <bool masked>
void find(const Picture& picture, const Selection& selection, uint32_t first, uint32_t count,
          Extremes* found) {
    switch (picture.components) {
    case 1: return find_of<1, masked>(picture, selection, found);
    case 2: return find_of<2, masked>(picture, selection, found);
    case 3: return find_of<3, masked>(picture, selection, found);
    case 4: return find_of<4, masked>(picture, selection, found);
    default: return find_some<masked>(picture, selection, first, count, found);
    }
}

}  // namespace

void find_extremes(FloatSrc picture, uint32_t components, Area area, const Selection& selection,
                   uint32_t first, uint32_t count, Extremes* found) {
    const Stride pixels = stride_of(picture, uint64_t{components} * sizeof(float));
    if (selection.everything()) {
        area = joined(kCallingThread, area, {pixels});
        return find<false>({picture, components, area}, selection, first, count, found);
    }
    area = joined(kCallingThread, area, {pixels, stride_of(selection.mask, 1)});
    find<true>({picture, components, area}, selection, first, count, found);
}

}  // namespace qmpic
