#include <algorithm>
#include <cstring>
#include <limits>

#include "core/arithmetic.h"
#include "histogram/read_blocks.h"

// Levels and weights that are read from a histogram.

namespace {

using namespace qmpic;

enum Way { kUp, kDown };

/// The first bin, from 0 up or from the last one down, whose count `ends` the walk.
template <Way way, class Bin, class Ends>
uint32_t first_bin(const Sample<Bin>* bins, uint64_t count, uint32_t otherwise, Ends ends) {
    for (uint64_t i = 0; i < count; ++i) {
        const uint64_t at = way == kUp ? i : count - 1 - i;
        if (ends(Bin{bins[at]})) return static_cast<uint32_t>(at);
    }
    return otherwise;
}

/// The first bin at which the sum of the counts is above `limit`. Sums have the width of a bin and
/// wrap.
template <Way way, class Bin>
uint32_t first_above(const Sample<Bin>* bins, uint64_t count, uint64_t limit, uint32_t otherwise) {
    Bin sum = 0;
    return first_bin<way>(bins, count, otherwise, [&sum, limit](Bin bin) {
        sum = static_cast<Bin>(sum + bin);
        return sum > limit;
    });
}

/// The pixels that a fraction cuts off: never less than one, so that a lone outlier decides
/// nothing. They are measured against the size that the record states, whatever was counted.
uint64_t cut_off(const SQmHisto& histo, double fraction) {
    const uint32_t pixels = histo.uiWidth * histo.uiHeight;
    return static_cast<uint64_t>(std::max(trunc_i64(pixels * fraction + 0.5), int64_t{1}));
}

template <Way way, class Blocks>
void limits(const Blocks& blocks, uint32_t* levels, uint64_t limit) {
    if (levels == nullptr) return;
    for (uint32_t c = 0; c < blocks.histo.uiComponents; ++c)
        levels[c] =
            first_above<way>(blocks[c], blocks.count(), limit, way == kUp ? blocks.top() : 0);
}

bool is_rejected(const SQmHisto* histo, const uint32_t* low, const uint32_t* high) {
    return histo == nullptr || (low == nullptr && high == nullptr);
}

}  // namespace

int CQmHistoAPI_Base::GetLowHigh(const SQmHisto* pHisto, uint32_t* puiLow, uint32_t* puiHigh,
                                 double dLow, double dHigh) {
    if (is_rejected(pHisto, puiLow, puiHigh)) return QM_REJECTED;
    return with_blocks(*pHisto, [=](auto blocks) {
        if (dLow > 0) limits<kUp>(blocks, puiLow, cut_off(*pHisto, dLow));
        if (dHigh > 0) limits<kDown>(blocks, puiHigh, cut_off(*pHisto, dHigh));
    });
}

int CQmHistoAPI_Base::GetLowHigh(const SQmHisto* pHisto, uint32_t* puiLow, uint32_t* puiHigh,
                                 double dLow, double dHigh, uint32_t& uiIntensityLow,
                                 uint32_t& uiIntensityHigh) {
    if (is_rejected(pHisto, puiLow, puiHigh)) return QM_REJECTED;
    const uint64_t low = cut_off(*pHisto, dLow), high = cut_off(*pHisto, dHigh);
    return with_blocks(*pHisto, [&](auto blocks) {
        limits<kUp>(blocks, puiLow, low);
        limits<kDown>(blocks, puiHigh, high);
        if (puiLow != nullptr)
            uiIntensityLow =
                first_above<kUp>(blocks.intensity(), blocks.count(), low, blocks.top());
        if (puiHigh != nullptr)  // alone without a value of its own for a sum that stays below
            uiIntensityHigh =
                first_above<kDown>(blocks.intensity(), blocks.count(), high, uiIntensityHigh);
    });
}

int CQmHistoAPI_Base::GetLowHighAbs(const SQmHisto* pHisto, uint32_t* puiLow, uint32_t* puiHigh,
                                    uint32_t uiLowCount, uint32_t uiHighCount) {
    if (is_rejected(pHisto, puiLow, puiHigh)) return QM_REJECTED;
    return with_blocks(*pHisto, [=](auto blocks) {  // at or above
        if (uiLowCount != 0) limits<kUp>(blocks, puiLow, uiLowCount - 1);
        if (uiHighCount != 0) limits<kDown>(blocks, puiHigh, uiHighCount - 1);
    });
}

int CQmHistoAPI_Base::GetLowHighFreqAbs(const SQmHisto* pHisto, uint32_t* puiLow, uint32_t* puiHigh,
                                        uint32_t uiLowCount, uint32_t uiHighCount) {
    if (is_rejected(pHisto, puiLow, puiHigh)) return QM_REJECTED;
    return with_blocks(*pHisto, [=](auto blocks) {
        const auto reaches = [](uint32_t least) { return [=](auto bin) { return bin >= least; }; };
        for (uint32_t c = 0; c < pHisto->uiComponents; ++c) {
            if (puiLow != nullptr && uiLowCount != 0)
                puiLow[c] =
                    first_bin<kUp>(blocks[c], blocks.count(), blocks.top(), reaches(uiLowCount));
            if (puiHigh != nullptr && uiHighCount != 0)
                puiHigh[c] = first_bin<kDown>(blocks[c], blocks.count(), 0, reaches(uiHighCount));
        }
    });
}

int CQmHistoAPI_Base::GetSumLowHigh(uint32_t* puiLow, uint32_t* puiHigh, uint32_t uiComp,
                                    uint32_t uiCount, const SQmHisto* pHisto) {
    if (is_rejected(pHisto, puiLow, puiHigh) || uiComp >= pHisto->uiComponents) return QM_REJECTED;
    return with_blocks(*pHisto, [=](auto blocks) {
        const auto* const bins = blocks[uiComp];
        if (puiLow != nullptr)
            *puiLow = first_above<kUp>(bins, blocks.count(), uiCount, blocks.top());
        if (puiHigh != nullptr) *puiHigh = first_above<kDown>(bins, blocks.count(), uiCount, 0);
    });
}

int CQmHistoAPI_Base::GetLowHighMeanMedian(const SQmHisto* pHisto, uint32_t uiComp, double* pdLow,
                                           double* pdHigh, double* pdMedian, double* pdMean,
                                           double dLow, double dHigh) {
    if (pHisto == nullptr) return QM_OK;
    return with_blocks(*pHisto, [=](auto blocks) {
        const auto* const bins = blocks[uiComp];
        const auto weight = [=](uint64_t i) { return bins[i] * i; };
        uint64_t pixels = 0, sum = 0;
        for (uint64_t i = 0; i < blocks.count(); ++i) pixels += bins[i], sum += weight(i);

        // Bins of one pixel count for nothing in the two walks. The second one forgets what the
        // first has taken off the sum, and only that.
        uint64_t taken = 0, low = 0, high = 0;
        const double least = static_cast<double>(sum) * dLow;
        for (uint64_t i = 0, below = 0; i < blocks.count(); ++i) {
            if (bins[i] <= 1) continue;
            below += weight(i);
            low = i;
            if (static_cast<double>(below) >= least) break;
            taken = below;
            pixels -= bins[i];
        }
        // The two widths differ.
        const double most = static_cast<double>(sum) *
                            (sizeof(typename decltype(blocks)::Bin) == 4 ? 1 - dHigh : dHigh);
        for (uint64_t i = blocks.count(), above = 0; i-- > 0;) {
            if (bins[i] <= 1) continue;
            above += weight(i);
            if (static_cast<double>(above) >= most) {
                high = i;
                break;
            }
            taken = above;
            pixels -= bins[i];
        }

        if (pdLow != nullptr) *pdLow = static_cast<double>(low);
        if (pdHigh != nullptr) *pdHigh = static_cast<double>(high);
        const uint64_t rest = sum - taken;
        if (pdMean != nullptr) *pdMean = static_cast<double>(rest) / static_cast<double>(pixels);
        if (pdMedian == nullptr) return;
        for (uint64_t i = low, reached = 0; i <= high; ++i) {
            reached += weight(i);
            if (reached >= rest / 2) {
                *pdMedian = static_cast<double>(i);
                break;
            }
        }
    });
}

uint32_t CQmHistoAPI_Base::GetMeanIndex(const SQmHisto* pHisto, uint32_t uiComp) {
    if (pHisto == nullptr || uiComp >= pHisto->uiComponents)
        return static_cast<uint32_t>(QM_REJECTED);
    if (pHisto->uiBinBytes != 4 && pHisto->uiBinBytes != 8)
        return static_cast<uint32_t>(QM_BAD_BUFFER);
    uint64_t pixels = 0, sum = 0;
    with_blocks(*pHisto, [&](auto blocks) {
        const auto* const bins = blocks[uiComp];
        for (uint64_t i = 0; i < blocks.count(); ++i) pixels += bins[i], sum += bins[i] * i;
    });
    return pixels == 0 ? 0 : static_cast<uint32_t>(sum / pixels);
}

int CQmHistoAPI_Base::EstimateComponentWeights(SQmHisto* pHisto, double* pdWeights) {
    if (pHisto == nullptr || pdWeights == nullptr) return QM_REJECTED;
    return with_blocks(*pHisto, [=](auto blocks) {
        const uint32_t components = pHisto->uiComponents;
        double all = 0;
        for (uint32_t c = 0; c < components; ++c) {
            const auto* const bins = blocks[c];
            double energy = 0;
            for (uint64_t i = 0; i < blocks.count(); ++i) {
                const auto index = static_cast<double>(i);
                energy += static_cast<double>(bins[i].value) * index * index;
            }
            pdWeights[c] = energy;
            all += energy;
        }
        const bool has_test = sizeof(typename decltype(blocks)::Bin) == 4;  // 8 bytes: not finite
        for (uint32_t c = 0; c < components; ++c)
            pdWeights[c] = has_test && all == 0 ? 1.0 / components : pdWeights[c] / all;
    });
}

int CQmHistoAPI_Base::MakeCommonRange(SQmHisto* pDst, SQmHisto* pSrc, const float* pfMin,
                                      const float* pfMax) {
    if (pDst == nullptr || pSrc == nullptr) return QM_REJECTED;
    if (pDst->pData == nullptr) {
        SQmPicBufDesc desc{};
        desc.uiWidth = pSrc->uiWidth;
        desc.uiHeight = pSrc->uiHeight;
        desc.uiBpc = static_cast<uint8_t>(pSrc->uiBits);
        desc.uiComponents = pSrc->uiComponents;
        Reinit32(pDst, &desc);
        if (pDst->uiBits != pSrc->uiBits) return QM_BAD_BUFFER;  // it makes up to 16
        pDst->uiLeft = pSrc->uiLeft;
        pDst->uiTop = pSrc->uiTop;
        pDst->uiWidth = pSrc->uiWidth;
        pDst->uiHeight = pSrc->uiHeight;
        pDst->uiStepX = pSrc->uiStepX;
        pDst->uiStepY = pSrc->uiStepY;
        pDst->uiPicWidth = pSrc->uiPicWidth;
        pDst->uiPicHeight = pSrc->uiPicHeight;
    }
    if (pDst->uiComponents != pSrc->uiComponents || pDst->uiBits != pSrc->uiBits ||
        pDst->uiBinBytes != pSrc->uiBinBytes)
        return QM_BAD_BUFFER;
    const uint32_t components = pSrc->uiComponents;
    if (components == 1) {
        Copy(pDst, pSrc);
        return QM_OK;
    }
    if (!has_blocks(*pDst) || !has_blocks(*pSrc)) return QM_OK;
    if (pSrc->uiBinBytes != 4 && pSrc->uiBinBytes != 8) return QM_OK;

    float min = std::numeric_limits<float>::max(), max = -min;
    for (uint32_t c = 0; c < components; ++c) {
        if (pfMin[c] < min) min = pfMin[c];
        if (pfMax[c] > max) max = pfMax[c];
    }
    const uint64_t count = bins_of(*pSrc);
    const uint64_t words = pSrc->uiBinBytes * count / 4;  // of a block
    auto* const to = static_cast<Sample<uint32_t>*>(pDst->pData);
    const auto* const from = static_cast<const Sample<uint32_t>*>(pSrc->pData);
    std::memmove(to, from, words);  // as many bytes: a quarter of the block, the rest of it stays
    std::memset(to + words, 0, components * words * 4);

    // Bins of 8 bytes are words here, too.
    const double bins = static_cast<double>(count), step = static_cast<double>(max - min) / bins;
    for (uint32_t c = 0; c < components; ++c) {
        const uint64_t block = (c + uint64_t{1}) * words;
        const double range = static_cast<double>(pfMax[c] - pfMin[c]);
        for (uint64_t i = 0; i < count; ++i) {
            const double value = static_cast<double>(i) * range / bins + pfMin[c] - min;
            const uint64_t at = trunc_u32(value / step);
            if (at < count) to[block + at] = to[block + at] + from[block + i];
        }
    }
    return QM_OK;
}
