#include "render/spectral_statistics.h"

#include "core/arithmetic.h"
#include "qmpic/PicMemAPI_Base.h"

// Statistics of the sums of pictures of bytes and words.

namespace {

using namespace qmpic;
using Api = CQmPicMemAPI_Base;

constexpr uint32_t kByteTop = 255;

struct Call {
    const void* src;
    uint32_t stride, bpc, components, width, size;

    uint32_t rows() const { return width == 0 ? 0 : size / width; }
    /// Bins of the depth, or those of bytes.
    uint32_t bits() const { return bpc < 9 ? 8 : bpc; }
    double unit() const { return 255.0 / max_value(bpc); }

    int refusal(bool all_given) const {
        if (src == nullptr || !all_given || !Api::IsCPU_SSE2()) return QM_BAD_BUFFER;
        return bpc > 16 ? QM_NO_KERNEL : QM_OK;
    }
    template <class Do>
    int with_picture(const SpectralWindow& window, Do work) const {
        if (!window) return QM_NO_MEMORY;
        const Src rows{src, stride};
        const Area area = Area::of_pixels(width, size);
        if (bpc < 9) return work(SpectralPicture<uint8_t, Src>(rows, area, components, window));
        return work(SpectralPicture<uint16_t, Src>(rows, area, components, window));
    }
    int count(const SumHistograms& histograms, const SpectralWindow& window, SumBins bins) const {
        return with_picture(
            window, [&](const auto& picture) { return count_sums(histograms, picture, bins); });
    }
    int find_greatest(double* greatest, const SpectralWindow& window, double scale) const {
        return with_picture(window, [&](const auto& picture) {
            return find_greatest_sums(greatest, picture, static_cast<float>(scale));
        });
    }
};

SumBins byte_bins(double scale) {
    return {static_cast<float>(scale), static_cast<float>(kByteTop), kByteTop};
}
SumBins bins_of_depth(uint32_t bpc, double scale) {
    return {static_cast<float>(scale), static_cast<float>(max_value(bpc)), max_value(bpc)};
}

/// All components, each with a colour and a mask: of words bit by bit, of bytes whole or not.
SpectralWindow window_of(const Call& call, const uint32_t* colours, const unsigned short* masks) {
    return {colours, call.components, ColourUnit::kProduct, [&](uint32_t c) -> uint32_t {
                return call.bpc < 9 ? (masks[c] != 0 ? 0xFF : 0) : masks[c];
            }};
}

/// Are there percentiles to find?
bool percentiles(const double* high, double low_percent, double high_percent) {
    return low_percent > 0 || (high != nullptr && !(high_percent < 0));
}

}  // namespace

int CQmPicMemAPI_Base::SpetralGetHistoRGB(uint32_t* puiHisto0, uint32_t* puiHisto1,
                                          uint32_t* puiHisto2, const void* pSrc,
                                          uint32_t uiWidthBytes, uint32_t uiBpc,
                                          uint32_t uiComponents, uint32_t uiWidth,
                                          uint32_t uiSizeInPixels, const uint32_t* puiColors,
                                          const unsigned short* pusMask, double dScale) {
    const Call call{pSrc, uiWidthBytes, uiBpc, uiComponents, uiWidth, uiSizeInPixels};
    const SumHistograms histograms{{puiHisto0, puiHisto1, puiHisto2}};
    if (const int code = call.refusal(!histograms.any_missing()); code != QM_OK) return code;
    return call.count(histograms, window_of(call, puiColors, pusMask),
                      byte_bins(dScale * call.unit()));
}

int CQmPicMemAPI_Base::SpetralGetHistoRGB_Precise(uint32_t* puiHisto0, uint32_t* puiHisto1,
                                                  uint32_t* puiHisto2, const void* pSrc,
                                                  uint32_t uiWidthBytes, uint32_t uiBpc,
                                                  uint32_t uiComponents, uint32_t uiWidth,
                                                  uint32_t uiSizeInPixels,
                                                  const uint32_t* puiColors,
                                                  const unsigned short* pusMask, double dScale) {
    if (uiBpc < 9)
        return SpetralGetHistoRGB(puiHisto0, puiHisto1, puiHisto2, pSrc, uiWidthBytes, uiBpc,
                                  uiComponents, uiWidth, uiSizeInPixels, puiColors, pusMask,
                                  dScale);
    const Call call{pSrc, uiWidthBytes, uiBpc, uiComponents, uiWidth, uiSizeInPixels};
    const SumHistograms histograms{{puiHisto0, puiHisto1, puiHisto2}};
    if (const int code = call.refusal(!histograms.any_missing()); code != QM_OK) return code;
    return call.count(histograms, window_of(call, puiColors, pusMask),
                      bins_of_depth(uiBpc, dScale));
}

int CQmPicMemAPI_Base::SpetralGetHistoRGBEx(uint32_t* puiHisto0, uint32_t* puiHisto1,
                                            uint32_t* puiHisto2, const void* pSrc,
                                            uint32_t uiWidthBytes, uint32_t uiBpc,
                                            uint32_t uiComponents, uint32_t uiWidth,
                                            uint32_t uiSizeInPixels, const SQmLut* pLut) {
    const Call call{pSrc, uiWidthBytes, uiBpc, uiComponents, uiWidth, uiSizeInPixels};
    const SumHistograms histograms{{puiHisto0, puiHisto1, puiHisto2}};
    if (const int code = call.refusal(!histograms.any_missing()); code != QM_OK) return code;
    return call.count(histograms, SpectralWindow(*pLut, uiComponents, ColourUnit::kPart),
                      byte_bins(call.unit()));
}

int CQmPicMemAPI_Base::SpetralGetLoHiRGB(double* pdLow, double* pdHigh, const void* pSrc,
                                         uint32_t uiWidthBytes, uint32_t uiBpc,
                                         uint32_t uiComponents, uint32_t uiWidth,
                                         uint32_t uiSizeInPixels, const uint32_t* puiColors,
                                         const unsigned short* pusMask, double dScale,
                                         double dLowPercent, double dHighPercent) {
    const Call call{pSrc, uiWidthBytes, uiBpc, uiComponents, uiWidth, uiSizeInPixels};
    if (const int code = call.refusal(pdLow != nullptr); code != QM_OK) return code;
    const SumLimits limits{pdLow, pdHigh, dLowPercent, dHighPercent};
    if (!percentiles(pdHigh, dLowPercent, dHighPercent))
        return limits.find_greatest([&](double* greatest) {
            return call.find_greatest(greatest, window_of(call, puiColors, pusMask),
                                      dScale * call.unit());
        });
    return limits.find(uiWidth, call.rows(), call.bits(), uiBpc < 9 ? 1.0 : call.unit(),
                       [&](const SumHistograms& h) {
                           return SpetralGetHistoRGB_Precise(
                               h.of[0], h.of[1], h.of[2], pSrc, uiWidthBytes, uiBpc, uiComponents,
                               uiWidth, uiSizeInPixels, puiColors, pusMask, dScale);
                       });
}

int CQmPicMemAPI_Base::SpetralGetLoHiRGBEx(double* pdLow, double* pdHigh, const void* pSrc,
                                           uint32_t uiWidthBytes, uint32_t uiBpc,
                                           uint32_t uiComponents, uint32_t uiWidth,
                                           uint32_t uiSizeInPixels, const SQmLut* pLut,
                                           double dLowPercent, double dHighPercent) {
    const Call call{pSrc, uiWidthBytes, uiBpc, uiComponents, uiWidth, uiSizeInPixels};
    if (const int code = call.refusal(pdLow != nullptr); code != QM_OK) return code;
    const SpectralWindow window(*pLut, uiComponents, ColourUnit::kPart);
    const SumLimits limits{pdLow, pdHigh, dLowPercent, dHighPercent};
    if (!percentiles(pdHigh, dLowPercent, dHighPercent))
        return limits.find_greatest(
            [&](double* greatest) { return call.find_greatest(greatest, window, call.unit()); });
    const SumBins bins = uiBpc < 9 ? byte_bins(call.unit()) : bins_of_depth(uiBpc, 1.0);
    return limits.find(uiWidth, call.rows(), call.bits(), uiBpc < 9 ? 1.0 : call.unit(),
                       [&](const SumHistograms& h) { return call.count(h, window, bins); });
}
