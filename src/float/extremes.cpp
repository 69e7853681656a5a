#include "float/extremes.h"

#include <algorithm>
#include <bit>

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

// Pixels whose mask is looked at before they are; pixels of which two blocks may overlap.
constexpr uint32_t kLookAhead = 64, kFew = 16;

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

/// The extremes of the pixels of n components that lie `block` apart, by themselves. Under a mask
/// components have lanes of their own, so that a word of the mask serves all of them; otherwise
/// samples are taken as they come.
template <uint32_t n, uint32_t block, bool masked>
struct Lanes {
    float low[block * n], high[block * n];
    Lanes() {
        std::fill_n(low, block * n, FLT_MAX);
        std::fill_n(high, block * n, -FLT_MAX);
    }

    template <uint32_t pixels>
    void take(const Sample<float>* s, const Selection& selection, const Sample<uint8_t>* m) {
        if constexpr (masked) {
            const auto flip = static_cast<int8_t>(selection.inverse ? -1 : 0);
            int8_t skipped[pixels];
            for (uint32_t i = 0; i < pixels; ++i)
                skipped[i] = static_cast<int8_t>((m[i] == 0 ? -1 : 0) ^ flip);
            for (uint32_t i = 0; i < pixels; ++i)
#pragma GCC unroll 4
                for (uint32_t c = 0; c < n; ++c) {  // all bits set: a NaN never counts
                    const auto bits = std::bit_cast<int32_t>(s[i * n + c].value) | skipped[i];
                    take_one(c * block + i, std::bit_cast<float>(bits));
                }
        } else {
            for (uint32_t i = 0; i < pixels * n; ++i) take_one(i, s[i]);
        }
    }

    /// What all pixels come to: lanes are folded in halves.
    Found<n> joined() {
        uint32_t plus[block * n], minus[block * n];  // zeros of each sign
        for (uint32_t i = 0; i < block * n; ++i) {
            plus[i] = is_zero(low[i], 0) | is_zero(high[i], 0);
            minus[i] = is_zero(low[i], kSign) | is_zero(high[i], kSign);
        }
        if constexpr (masked)
            for (uint32_t c = 0; c < n; ++c) fold<block / 2, 1>(c * block, plus, minus);
        else
            fold<block * n / 2, n>(0, plus, minus);
        Found<n> found;
        for (uint32_t c = 0; c < n; ++c) {
            const uint32_t i = masked ? c * block : c;
            found.of[c] = {low[i], high[i]};
            found.unsure[c] = (low[i] == 0 || high[i] == 0) && plus[i] != 0 && minus[i] != 0;
        }
        return found;
    }

  private:
    static constexpr uint32_t kSign = 0x80000000;
    static uint32_t is_zero(float value, uint32_t sign) {
        return std::bit_cast<uint32_t>(value) == sign ? 1 : 0;
    }
    void take_one(uint32_t lane, float value) {
        low[lane] = value < low[lane] ? value : low[lane];
        high[lane] = value > high[lane] ? value : high[lane];
    }
    template <uint32_t half, uint32_t last>
    void fold(uint32_t first, uint32_t* plus, uint32_t* minus) {
        for (uint32_t i = first; i < first + half; ++i) {
            low[i] = low[i + half] < low[i] ? low[i + half] : low[i];
            high[i] = high[i + half] > high[i] ? high[i + half] : high[i];
            plus[i] |= plus[i + half];
            minus[i] |= minus[i + half];
        }
        if constexpr (half > last) fold<half / 2, last>(first, plus, minus);
    }
};

/// All components of a picture of n.
template <uint32_t n, bool masked>
void find_of(const Picture& picture, const Selection& given, Extremes* found) {
    constexpr uint32_t block = n == 1 ? 64 : n == 2 ? 32 : 16;
    Found<n> result;
    Found<n>* const out = &result;
    const FloatSrc src = picture.pixels;
    const Area area = picture.area;
    walk_rows(kCallingThread, area.rows, [=, selection = given](RowRange rows) {  // a fold
        Lanes<n, block, masked> lanes;
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            const Sample<float>* const s = src.row(y);
            const Sample<uint8_t>* const bytes = selection.mask.row<uint8_t>(y);
            const auto m = [=](uint64_t x) { return masked ? bytes + x : nullptr; };
            uint64_t x = 0;
            for (; x + kLookAhead <= area.width; x += kLookAhead) {
                if (masked && !takes_any<kLookAhead>(selection, m(x))) continue;
                for (uint64_t i = x; i < x + kLookAhead; i += block)
                    lanes.template take<block>(s + i * n, selection, m(i));
            }
            // To see a pixel twice changes nothing.
            for (; x < area.width && area.width >= kFew; x += kFew) {
                const uint64_t i = std::min(x, area.width - kFew);
                if (masked && !takes_any<kFew>(selection, m(i))) continue;
                lanes.template take<kFew>(s + i * n, selection, m(i));
            }
            for (; x < area.width; ++x) lanes.template take<1>(s + x * n, selection, m(x));
        }
        *out = lanes.joined();
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
            const Sample<float>* const s = src.row(y) + first;
            const Sample<uint8_t>* const m = selection.mask.row<uint8_t>(y);
            for (uint64_t x = 0; x < area.width;) {
                const uint64_t end = std::min(x + kLookAhead, area.width);
                if (masked && end - x == kLookAhead && !takes_any<kLookAhead>(selection, m + x)) {
                    x = end;
                    continue;
                }
                for (; x < end; ++x) {
                    if (masked && !selection.takes(m[x])) continue;
                    for (uint32_t c = 0; c < count; ++c) {
                        const float value = s[x * step + c];
                        low[c] = value < low[c] ? value : low[c];
                        high[c] = value > high[c] ? value : high[c];
                    }
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
