#include <algorithm>

#include "core/frame.h"
#include "qmpic/FloatPicBuf.h"
#include "qmpic/Histo.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"

// Levels of a picture: a histogram for the length of a call, and one of its statistics.

namespace {

using namespace qmpic;

/// The depth of bins: histograms go no further.
constexpr uint32_t kMostBits = 16;

struct TemporaryHisto : SQmHisto {
    TemporaryHisto() { CQmHistoAPI_Base::Init(this); }
    ~TemporaryHisto() { CQmHistoAPI_Base::Free(this); }
    TemporaryHisto(const TemporaryHisto&) = delete;
    TemporaryHisto& operator=(const TemporaryHisto&) = delete;

    bool is_empty() const { return pData == nullptr; }
};

SQmPicBufDesc describe(uint32_t width, uint32_t height, uint32_t bpc, uint32_t components) {
    SQmPicBufDesc desc{};
    desc.uiWidth = width;
    desc.uiHeight = height;
    desc.uiBpc = static_cast<uint8_t>(bpc);
    desc.uiComponents = components;
    return desc;
}

/// Bins of 8 bytes where 4 might not do; the product of the sides wraps.
bool is_huge(const SQmPicBuf& picture) { return picture.uiWidth * picture.uiHeight == UINT32_MAX; }

void reinit(SQmHisto& histo, const SQmPicBuf& picture, uint32_t bits) {
    const SQmPicBufDesc desc =
        describe(picture.uiWidth, picture.uiHeight, bits, picture.uiComponents);
    if (is_huge(picture))
        CQmHistoAPI_Base::Reinit64(&histo, &desc);
    else
        CQmHistoAPI_Base::Reinit32(&histo, &desc);
}

uint64_t pixels_of(const SQmPicBuf& picture) {
    return uint64_t{picture.uiWidth} * picture.uiHeight;
}

void count(const SQmHisto& histo, const SQmPicBuf& picture) {
    CQmPicMemAPI_Base::GetHistogram(histo.ppCompData, histo.uiBinBytes, picture.pData,
                                    picture.uiWidthBytes, picture.uiComponents, picture.uiBpc,
                                    picture.uiWidth, pixels_of(picture));
}
void count_divided(const SQmHisto& histo, const SQmPicBuf& picture) {
    CQmPicMemAPI_Base::GetHistogramDiv(histo.ppCompData, histo.uiBinBytes, histo.uiBits,
                                       picture.pData, picture.uiWidthBytes, picture.uiComponents,
                                       picture.uiBpc, picture.uiWidth, pixels_of(picture));
}

/// A statistic of up to 16 bits, with its levels made values of the picture.
template <class Statistic>
int find(const SQmPicBuf* picture, uint32_t* low, uint32_t* high, Statistic statistic) {
    if (picture == nullptr) return QM_BAD_BUFFER;
    TemporaryHisto histo;
    reinit(histo, *picture, std::min<uint32_t>(picture->uiBpc, kMostBits));
    if (histo.is_empty()) return QM_OK;
    if (histo.uiBits >= picture->uiBpc) {
        count(histo, *picture);
        return statistic(&histo);
    }
    count_divided(histo, *picture);
    const int code = statistic(&histo);
    const uint32_t shift = (picture->uiBpc - histo.uiBits) & 63;
    const uint64_t span = (uint64_t{1} << shift) - 1;
    for (uint32_t c = 0; c < picture->uiComponents; ++c) {
        if (low != nullptr) low[c] = static_cast<uint32_t>(uint64_t{low[c]} << shift);
        if (high != nullptr) high[c] = static_cast<uint32_t>(uint64_t{high[c]} << shift | span);
    }
    return code;
}

}  // namespace

int SQmPicBufAPI_Base::FindLowHighInHistogram(const SQmPicBuf* pBuf, uint32_t* puiLow,
                                              uint32_t* puiHigh, double dLow, double dHigh) {
    if (pBuf == nullptr) return QM_BAD_BUFFER;
    TemporaryHisto histo;
    reinit(histo, *pBuf, pBuf->uiBpc);
    if (!histo.is_empty()) count(histo, *pBuf);
    return CQmHistoAPI_Base::GetLowHigh(&histo, puiLow, puiHigh, dLow, dHigh);
}

int SQmPicBufAPI_Base::FindLowHighInHistogram(SQmFloatPicBuf* pBuf, uint32_t* puiLow,
                                              uint32_t* puiHigh, double dLow, double dHigh) {
    if (pBuf == nullptr) return QM_BAD_BUFFER;
    TemporaryHisto histo;
    const SQmPicBufDesc desc =
        describe(pBuf->uiWidth, pBuf->uiHeight, kMostBits, pBuf->uiComponents);
    CQmHistoAPI_Base::Reinit32(&histo, &desc);
    const int code = CQmHistoAPI_Base::Calculate(&histo, pBuf, true);
    if (code != QM_OK) return code;
    return CQmHistoAPI_Base::GetLowHigh(&histo, puiLow, puiHigh, dLow, dHigh);
}

int SQmPicBufAPI_Base::FindLowHighAbsInHistogram(SQmPicBuf* pBuf, uint32_t* puiLow,
                                                 uint32_t* puiHigh, uint32_t uiLowCount,
                                                 uint32_t uiHighCount) {
    return find(pBuf, puiLow, puiHigh, [=](const SQmHisto* histo) {
        return CQmHistoAPI_Base::GetLowHighAbs(histo, puiLow, puiHigh, uiLowCount, uiHighCount);
    });
}

int SQmPicBufAPI_Base::FindLowHighFreqAbsInHistogram(SQmPicBuf* pBuf, uint32_t* puiLow,
                                                     uint32_t* puiHigh, uint32_t uiLowCount,
                                                     uint32_t uiHighCount) {
    return find(pBuf, puiLow, puiHigh, [=](const SQmHisto* histo) {
        return CQmHistoAPI_Base::GetLowHighFreqAbs(histo, puiLow, puiHigh, uiLowCount, uiHighCount);
    });
}
