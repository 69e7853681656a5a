#include <algorithm>

#include "core/frame.h"
#include "histogram/temporary_histo.h"
#include "qmpic/FloatPicBuf.h"
#include "qmpic/Histo.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"

// Levels of a picture: a histogram for the length of a call, and one of its statistics.

namespace {

using namespace qmpic;

/// The depth of bins: histograms go no further.
constexpr uint32_t kMostBits = 16;

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
    histo.fit(*picture, std::min<uint32_t>(picture->uiBpc, kMostBits));
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
    histo.fit(*pBuf, pBuf->uiBpc);
    if (!histo.is_empty()) count(histo, *pBuf);
    return CQmHistoAPI_Base::GetLowHigh(&histo, puiLow, puiHigh, dLow, dHigh);
}

int SQmPicBufAPI_Base::FindLowHighInHistogram(SQmFloatPicBuf* pBuf, uint32_t* puiLow,
                                              uint32_t* puiHigh, double dLow, double dHigh) {
    if (pBuf == nullptr) return QM_BAD_BUFFER;
    TemporaryHisto histo;
    const SQmPicBufDesc desc = TemporaryHisto::format_of(*pBuf, kMostBits);
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
