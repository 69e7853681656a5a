#include "analysis/ratio_kernels.h"
#include "analysis/two_channels.h"
#include "analysis/wrapped_histogram.h"
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
        for (uint64_t i = 0; i < n; ++i) {
            const double a = double{numer[i]} - a_offset, b = double{denom[i]} - b_offset;
            double t = (a / b - min) / range;
            t = t > 0.0 ? t : 0.0;  // NaN too
            t = t > 1.0 ? 1.0 : t;
            k[i] = static_cast<int32_t>(t * 255.0);
        }
        // A loop of its own: the divisions would be put behind a branch.
        for (uint64_t i = 0; i < n; ++i) {
            const int32_t in_dark = dark == Dark::kFull || numer[i] > a_offset ? 255 : 0;
            k[i] = denom[i] > b_offset ? k[i] : in_dark;
        }
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

template <Dark dark>
Painter<RatioHue<dark>> painter(float a_offset, float b_offset, Range range, uint32_t shade,
                                float top, const ColourWords& colours) {
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
                painter<Dark::kFullOverSignal>(ucNumOffset, ucDenOffset, {dMin, dMax}, uiShade,
                                               255.0f, colours));
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
          painter<Dark::kFullOverSignal>(usNumOffset, usDenOffset, {dMin, dMax}, uiShade, top,
                                         colours));
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
          painter<Dark::kFull>(usNumOffset, usDenOffset, {dMin, dMax}, uiShade,
                               greatest(pair, area), colours));
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
