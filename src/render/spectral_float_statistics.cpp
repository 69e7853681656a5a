#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/LutParam.h"
#include "render/spectral_statistics.h"

// Statistics of the sums of pictures of floats: their ranges stand for the depth.

namespace {

using namespace qmpic;
using Ranges = std::vector<CQmRangeBase<float>>;

struct Call {
    const float* src;
    uint32_t stride;
    const Ranges& ranges;
    uint32_t components, width, size;

    uint32_t rows() const { return width == 0 ? 0 : size / width; }
    double unit() const {
        const float low = SQmLutParam::GetMinFromFloatRanges(ranges);
        const float high = SQmLutParam::GetMaxFromFloatRanges(ranges);
        return 255.0 / static_cast<double>(low == 0 && high == 0 ? 1.0f : high - low);
    }
    SpectralPicture<float, FloatSrc> picture(const SpectralWindow& window) const {
        return {FloatSrc(src, stride), Area::of_pixels(width, size), components, window};
    }
    int count(const SumHistograms& histograms, const SpectralWindow& window, double scale) const {
        if (!window) return QM_NO_MEMORY;
        return count_sums(histograms, picture(window),
                          SumBins{static_cast<float>(scale), 255.0f, 255});
    }
    int find(const SumLimits& limits, const SpectralWindow& window, double scale) const {
        if (!(limits.low_percent > 0 || (limits.high != nullptr && limits.high_percent > 0)))
            return limits.find_greatest([&](double* greatest) -> int {
                if (!window) return QM_NO_MEMORY;
                return find_greatest_sums(greatest, picture(window), static_cast<float>(scale));
            });
        return limits.find(width, rows(), 8, 1.0, [&](const SumHistograms& histograms) {
            return count(histograms, window, scale);
        });
    }
};

SpectralWindow window_of(const Call& call, const uint32_t* colours, const uint32_t* masks) {
    return {colours, call.components, ColourUnit::kProduct,
            [&](uint32_t c) -> uint32_t { return masks[c] != 0 ? 0xFFFFFFFF : 0; }};
}
SpectralWindow window_of(const Call& call, const SQmLut* lut) {
    return {*lut, call.components, ColourUnit::kPart};
}

}  // namespace

int CQmFloatPicMemAPI_Base::SpetralGetHistoRGB(uint32_t* puiHisto0, uint32_t* puiHisto1,
                                               uint32_t* puiHisto2, const float* pSrc,
                                               uint32_t uiWidthBytes, const Ranges& ranges,
                                               uint32_t uiComponents, uint32_t uiWidth,
                                               uint32_t uiSizeInPixels, const uint32_t* puiColors,
                                               const uint32_t* puiMask, double dScale) {
    const Call call{pSrc, uiWidthBytes, ranges, uiComponents, uiWidth, uiSizeInPixels};
    const SumHistograms histograms{{puiHisto0, puiHisto1, puiHisto2}};
    if (pSrc == nullptr || histograms.any_missing()) return QM_BAD_BUFFER;
    return call.count(histograms, window_of(call, puiColors, puiMask), dScale * call.unit());
}

int CQmFloatPicMemAPI_Base::SpetralGetHistoRGBEx(uint32_t* puiHisto0, uint32_t* puiHisto1,
                                                 uint32_t* puiHisto2, const float* pSrc,
                                                 uint32_t uiWidthBytes, const Ranges& ranges,
                                                 uint32_t uiComponents, uint32_t uiWidth,
                                                 uint32_t uiSizeInPixels, const SQmLut* pLut) {
    const Call call{pSrc, uiWidthBytes, ranges, uiComponents, uiWidth, uiSizeInPixels};
    const SumHistograms histograms{{puiHisto0, puiHisto1, puiHisto2}};
    if (pSrc == nullptr || histograms.any_missing()) return QM_BAD_BUFFER;
    return call.count(histograms, window_of(call, pLut), call.unit());
}

int CQmFloatPicMemAPI_Base::SpetralGetLoHiRGB(double* pdLow, double* pdHigh, const float* pSrc,
                                              uint32_t uiWidthBytes, const Ranges& ranges,
                                              uint32_t uiComponents, uint32_t uiWidth,
                                              uint32_t uiSizeInPixels, const uint32_t* puiColors,
                                              const uint32_t* puiMask, double dScale,
                                              double dLowPercent, double dHighPercent) {
    const Call call{pSrc, uiWidthBytes, ranges, uiComponents, uiWidth, uiSizeInPixels};
    if (pSrc == nullptr || pdLow == nullptr) return QM_BAD_BUFFER;
    return call.find({pdLow, pdHigh, dLowPercent, dHighPercent},
                     window_of(call, puiColors, puiMask), dScale * call.unit());
}

int CQmFloatPicMemAPI_Base::SpetralGetLoHiRGBEx(double* pdLow, double* pdHigh, const float* pSrc,
                                                uint32_t uiWidthBytes, const Ranges& ranges,
                                                uint32_t uiComponents, uint32_t uiWidth,
                                                uint32_t uiSizeInPixels, const SQmLut* pLut,
                                                double dLowPercent, double dHighPercent) {
    const Call call{pSrc, uiWidthBytes, ranges, uiComponents, uiWidth, uiSizeInPixels};
    if (pSrc == nullptr || pdLow == nullptr) return QM_BAD_BUFFER;
    return call.find({pdLow, pdHigh, dLowPercent, dHighPercent}, window_of(call, pLut),
                     call.unit());
}
