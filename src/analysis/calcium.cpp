#include <cmath>

#include "analysis/ratio_kernels.h"
#include "analysis/two_channels.h"
#include "qmpic/Lut.h"
#include "qmpic/PicMemAPI_Base.h"

// The concentration of an ion as hue.

namespace {

using namespace qmpic;

/// The constants of a dye, as the kernels are given them.
struct Dye {
    double kd, scale, free, bound, least, most;

    /// The highest concentration that is shown.
    double ceiling() const { return std::pow(10.0, std::ceil(std::log10(kd * 10))); }
};

/// Decimal logarithms of the ends of the scale.
struct Ends {
    double low, high;
};

struct CalciumHue {
    double a_offset, b_offset, least, most, factor, ceiling;
    bool has_free;
    Ends ends;

    CalciumHue(double a_offset_, double b_offset_, const Dye& dye, Ends ends_)
        : a_offset(a_offset_),
          b_offset(b_offset_),
          least(dye.scale * dye.least),
          most(dye.scale * dye.most),
          factor((dye.bound > 0 ? dye.free / dye.bound : dye.free) * dye.kd),
          ceiling(dye.ceiling()),
          has_free(dye.free > 0),
          ends(ends_) {}

    void operator()(int32_t* k, const float* numer, const float* denom, uint64_t n) const {
        for (uint64_t i = 0; i < n; ++i) {
            const double a = double{numer[i]} - a_offset, b = double{denom[i]} - b_offset;
            k[i] = colour_of_ratio(b > 0.0 ? a / b : a);
        }
    }
    int32_t colour_of_ratio(double ratio) const {
        const double t = (logarithm(ratio) - ends.low) / (ends.high - ends.low);
        if (!(t > 0.0)) return 0;  // NaN too
        return t > 1.0 ? 255 : static_cast<int32_t>(t * 255.0);
    }
    double logarithm(double ratio) const {
        const double above = ratio - least, below = most - ratio;
        if (!has_free || !(above > 0.0)) return ends.low;
        double x = ceiling;
        if (below > 0.0) {
            x = factor * above / below;
            x = x > ceiling ? ceiling : x;
        }
        return x == 0.0 ? ends.low : std::log10(x);
    }
};

/// Pixels of bytes from which on a table of all pairs is made.
constexpr uint64_t kTablePays = 1 << 16;

template <Signals signals>
Painter<CalciumHue, signals> painter(float a_offset, float b_offset, const Dye& dye, Ends ends,
                                     float top, const ColourWords& colours) {
    return {{a_offset, b_offset, dye, ends}, {a_offset, b_offset, top, true}, colours.data()};
}

/// log10 of the low end; 0 stands for the reciprocal of the highest concentration.
double low_end(double least, const Dye& dye) {
    return least != 0 ? std::log10(least) : -std::log10(dye.ceiling());
}

}  // namespace

#define PAIR(T)                                                                                    \
    ChannelPair<T> { {pSrc, uiSrcWidthBytes}, uiComponents, ucNumer, ucDenom }
#define DST                                                                                        \
    Dst { pDst, uiDstWidthBytes }
#define DYE                                                                                        \
    Dye { dKd, dRatioScale, dSf, dSb, dRmin, dRmax }

int ca_8(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiComponents,
         uint32_t uiSrcWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels, uint8_t ucNumer,
         uint8_t ucDenom, uint8_t ucNumOffset, uint8_t ucDenOffset, double dKd, double dRatioScale,
         double dSf, double dSb, double dRmin, double dRmax, double dCaMin, double dCaMax,
         const void* pLuts) {
    const Area area = Area::of_pixels(uiWidth, uiSizeInPixels);
    if (area.rows == 0) return QM_OK;
    const double high = std::log10(dCaMax);
    // Unlike the others a low end of 0 mirrors the high one.
    const double low = dCaMin != 0 ? std::log10(dCaMin) : high > 0 ? -high : -4.0;
    const ColourWords colours = words_of(colour_scale(pLuts));
    paint_bytes(
        kCallingThread, DST, PAIR(uint8_t), area, kTablePays,
        painter<Signals::kWhole>(ucNumOffset, ucDenOffset, DYE, {low, high}, 255.0f, colours));
    return QM_OK;
}

int ca_16(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiComponents,
          uint32_t uiSrcWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels, uint8_t ucNumer,
          uint8_t ucDenom, uint16_t usNumOffset, uint16_t usDenOffset, double dKd,
          double dRatioScale, double dSf, double dSb, double dRmin, double dRmax, double dCaMin,
          double dCaMax, const void* pLuts) {
    const Area area = Area::of_pixels(uiWidth, uiSizeInPixels);
    if (area.rows == 0) return QM_OK;
    const Dye dye = DYE;
    const Ends ends{low_end(dCaMin, dye), std::log10(dCaMax > 0 ? dCaMax : 2.0)};
    const ColourWords colours = words_of(colour_scale(pLuts));
    // Any signal is full.
    paint(kCallingThread, DST, PAIR(uint16_t), area,
          painter<Signals::kWhole>(usNumOffset, usDenOffset, dye, ends, 1.0f, colours));
    return QM_OK;
}

int ca_float(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiComponents,
             uint32_t uiSrcWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels, uint8_t ucNumer,
             uint8_t ucDenom, uint16_t usNumOffset, uint16_t usDenOffset, double dKd,
             double dRatioScale, double dSf, double dSb, double dRmin, double dRmax, double dCaMin,
             double dCaMax) {
    const Area area = Area::of_pixels(uiWidth, uiSizeInPixels);
    if (area.rows == 0) return QM_OK;
    const Dye dye = DYE;
    const Ends ends{low_end(dCaMin, dye), std::log10(dCaMax)};
    const auto pair = PAIR(float);
    const ColourWords colours = words_of(kRainbowScale);
    paint(kCallingThread, DST, pair, area,
          painter<Signals::kFloat>(usNumOffset, usDenOffset, dye, ends, greatest(pair, area),
                                   colours));
    return QM_OK;
}

#undef PAIR
#undef DST
#undef DYE

int CQmPicMemAPI_Base::CaImage(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                               uint32_t uiComponents, uint32_t uiBpc, uint32_t uiSrcWidthBytes,
                               uint32_t uiWidth, uint64_t uiSizeInPixels, bool bFloat,
                               uint8_t ucNumer, uint8_t ucDenom, uint16_t usNumOffset,
                               uint16_t usDenOffset, double dKd, double dRatioScale, double dSf,
                               double dSb, double dRmin, double dRmax, double dCaMin, double dCaMax,
                               const SQmLut* pLut) {
    if (pDst == nullptr || pSrc == nullptr) return QM_OK;
    if (bFloat)
        return ca_float(pDst, uiDstWidthBytes, pSrc, uiComponents, uiSrcWidthBytes, uiWidth,
                        uiSizeInPixels, ucNumer, ucDenom, usNumOffset, usDenOffset, dKd,
                        dRatioScale, dSf, dSb, dRmin, dRmax, dCaMin, dCaMax);
    return call(kCalcium.find_stored(uiComponents, wavelength_bits(uiBpc)), pDst, uiDstWidthBytes,
                pSrc, uiComponents, uiSrcWidthBytes, uiWidth, uiSizeInPixels, ucNumer, ucDenom,
                usNumOffset, usDenOffset, dKd, dRatioScale, dSf, dSb, dRmin, dRmax, dCaMin, dCaMax,
                pLut != nullptr ? pLut->pLuts : nullptr);
}
