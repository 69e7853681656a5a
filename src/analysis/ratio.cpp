#include <cmath>

#include "analysis/ratio_kernels.h"
#include "analysis/two_channels.h"
#include "analysis/wrapped_histogram.h"
#include "core/arithmetic.h"
#include "core/frame.h"
#include "qmpic/Lut.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/RatioDesc.h"

// The ratio of two components as hue.

namespace {

using namespace qmpic;

/// What a denominator gives that is not above its offset.
enum class Dark { kFullOverSignal, kFull };

template <Dark dark>
struct RatioHue {
    float a_offset, b_offset;
    double min, range;

    void operator()(int32_t* k, const float* numer, const float* denom, uint64_t n) const {
        const Limits<double> part(0, 1);
        for (uint64_t i = 0; i < n; ++i) k[i] = of_pixel(numer[i], denom[i], part);
        settle_dark(k, numer, denom, n);
    }
    int32_t of_pixel(float numer, float denom, const Limits<double>& part) const {
        const double a = double{numer} - a_offset, b = double{denom} - b_offset;
        return static_cast<int32_t>(part((a / b - min) / range) * 255.0);
    }
    /// In a loop of its own: else the divisions would be put behind a branch.
    void settle_dark(int32_t* k, const float* numer, const float* denom, uint64_t n) const {
        for (uint64_t i = 0; i < n; ++i) {
            const int32_t in_dark = dark == Dark::kFull || numer[i] > a_offset ? 255 : 0;
            k[i] = denom[i] > b_offset ? k[i] : in_dark;
        }
    }
};

/// The same of integers, with one division in single precision: pixels that come too near to the
/// next colour are computed again.
struct QuickRatioHue {
    RatioHue<Dark::kFullOverSignal> exact;
    float factor, start;  ///< 255 / range, 255 * min / range
    float guard;          ///< how near is too near; above 0.25 all are

    explicit QuickRatioHue(RatioHue<Dark::kFullOverSignal> given)
        : exact(given),
          factor(static_cast<float>(255.0 / given.range)),
          start(static_cast<float>(255.0 * given.min / given.range)),
          // Half an ulp of each step, of values up to the sum of both, and as much again.
          guard((std::abs(start) + 256.0f) * 0x1p-20f) {
        const bool fits = std::abs(factor) > 1e-20f && std::abs(factor) < 1e20f && guard < 0.25f;
        if (!fits) guard = 1.0f;  // no number, too
    }
    void operator()(int32_t* k, const float* numer, const float* denom, uint64_t n) const {
        if (guard == 1.0f) return exact(k, numer, denom, n);
        const Limits<float> limits(0.5f, 255.5f);  // 0 is no limit: below 1 is colour 0
        int32_t near[kPainted], any = 0;
        for (uint64_t i = 0; i < n; ++i) {
            const float a = numer[i] - exact.a_offset, b = denom[i] - exact.b_offset;
            const float u = limits(a * factor / b - start);
            k[i] = static_cast<int32_t>(u);
            const float nearest = (u + 12582912.0f) - 12582912.0f;
            near[i] = std::abs(u - nearest) <= guard ? 1 : 0;
        }
        for (uint64_t i = 0; i < n; ++i) any |= near[i];
        if (any != 0) {
            const Limits<double> part(0, 1);
            for (uint64_t i = 0; i < n; ++i)
                if (near[i] != 0) k[i] = exact.of_pixel(numer[i], denom[i], part);
        }
        exact.settle_dark(k, numer, denom, n);
    }
};

/// The larger sample of each pixel.
struct LargerWord {
    ChannelPair<uint16_t> pair;

    void operator()(uint16_t* to, uint64_t y, uint64_t x, uint64_t n) const {
        const Sample<uint16_t>* const s = pair.src.row<uint16_t>(y) + x * pair.components;
        if (pair.components == 2 && pair.a + pair.b == 1)
            for (uint64_t i = 0; i < n; ++i) to[i] = larger(s[2 * i], s[2 * i + 1]);
        else
            for (uint64_t i = 0; i < n; ++i)
                to[i] = larger(s[i * pair.components + pair.a], s[i * pair.components + pair.b]);
    }
    static uint16_t larger(uint16_t a, uint16_t b) { return a > b ? a : b; }
};

/// Pixels of bytes from which on a table of all pairs is made.
constexpr uint64_t kTablePays = 1 << 17;

struct Range {
    double min, max;
};

Painter<QuickRatioHue, Signals::kWhole> painter(float a_offset, float b_offset, Range range,
                                                uint32_t shade, float top,
                                                const ColourWords& colours) {
    return {QuickRatioHue({a_offset, b_offset, range.min, range.max - range.min}),
            {a_offset, b_offset, top, (shade & 1) != 0},
            colours.data()};
}
Painter<RatioHue<Dark::kFull>, Signals::kFloat> painter_of_floats(float a_offset, float b_offset,
                                                                  Range range, uint32_t shade,
                                                                  float top,
                                                                  const ColourWords& colours) {
    return {{a_offset, b_offset, range.min, range.max - range.min},
            {a_offset, b_offset, top, (shade & 1) != 0},
            colours.data()};
}

}  // namespace

#define PAIR(T)                                                                                    \
    ChannelPair<T> { {pSrc, uiSrcWidthBytes}, uiComponents, ucNumer, ucDenom }
#define DST                                                                                        \
    Dst { pDst, uiDstWidthBytes }

int ratio_8(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiComponents,
            uint32_t uiSrcWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels, uint8_t ucNumer,
            uint8_t ucDenom, uint8_t ucNumOffset, uint8_t ucDenOffset, double dMin, double dMax,
            const void* pLuts, uint32_t uiShade) {
    const Area area = Area::of_pixels(uiWidth, uiSizeInPixels);
    if (area.rows == 0) return QM_OK;
    const ColourWords colours = words_of(colour_scale(pLuts));
    paint_bytes(kTeam, DST, PAIR(uint8_t), area, kTablePays,
                painter(ucNumOffset, ucDenOffset, {dMin, dMax}, uiShade, 255.0f, colours));
    return QM_OK;
}

int ratio_16(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiComponents,
             uint32_t uiSrcWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels, uint8_t ucNumer,
             uint8_t ucDenom, uint16_t usNumOffset, uint16_t usDenOffset, double dMin, double dMax,
             const void* pLuts, uint32_t uiShade) {
    const Area area = Area::of_pixels(uiWidth, uiSizeInPixels);
    if (area.rows == 0) return QM_OK;
    const auto pair = PAIR(uint16_t);
    SignalLevels levels;
    const Area searched = joined(kCallingThread, area,
                                 {stride_of(pair.src, uint64_t{uiComponents} * sizeof(uint16_t))});
    if (!find_signal_levels(searched, uiSizeInPixels, LargerWord{pair}, &levels))
        return QM_NO_MEMORY;
    const auto top = static_cast<float>(std::max(levels.upper, 1u));
    const ColourWords colours = words_of(colour_scale(pLuts));
    paint(kTeam, DST, pair, area,
          painter(usNumOffset, usDenOffset, {dMin, dMax}, uiShade, top, colours));
    return QM_OK;
}

int ratio_float(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiComponents,
                uint32_t uiSrcWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels,
                uint8_t ucNumer, uint8_t ucDenom, uint16_t usNumOffset, uint16_t usDenOffset,
                double dMin, double dMax, uint32_t uiShade) {
    const Area area = Area::of_pixels(uiWidth, uiSizeInPixels);
    if (area.rows == 0) return QM_OK;
    const auto pair = PAIR(float);
    const ColourWords colours = words_of(kRainbowScale);
    paint(kTeam, DST, pair, area,
          painter_of_floats(usNumOffset, usDenOffset, {dMin, dMax}, uiShade, greatest(pair, area),
                            colours));
    return QM_OK;
}

#undef PAIR
#undef DST

int CQmPicMemAPI_Base::RatioImage(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                  uint32_t uiComponents, uint32_t uiBpc, uint32_t uiSrcWidthBytes,
                                  uint32_t uiWidth, uint64_t uiSizeInPixels, bool bFloat,
                                  const SQmRatioDesc* pDesc, const SQmLut* pLut, uint32_t uiShade) {
    if (pDst == nullptr || pSrc == nullptr) return QM_OK;
    if (pDesc == nullptr) return QM_REJECTED;
    const SQmRatioDesc& d = *pDesc;
    if (bFloat)
        return ratio_float(pDst, uiDstWidthBytes, pSrc, uiComponents, uiSrcWidthBytes, uiWidth,
                           uiSizeInPixels, d.uiNumer, d.uiDenom, d.uiNumOffset, d.uiDenOffset,
                           d.dMin, d.dMax, uiShade);
    return call(kRatio.find_stored(uiComponents, wavelength_bits(uiBpc)), pDst, uiDstWidthBytes,
                pSrc, uiComponents, uiSrcWidthBytes, uiWidth, uiSizeInPixels, d.uiNumer, d.uiDenom,
                d.uiNumOffset, d.uiDenOffset, d.dMin, d.dMax,
                pLut != nullptr ? pLut->pLuts : nullptr, uiShade);
}
