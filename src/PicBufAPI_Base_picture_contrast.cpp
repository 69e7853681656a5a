#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "core/arithmetic.h"
#include "histogram/level_search.h"
#include "qmpic/Histo.h"
#include "qmpic/Lut.h"
#include "qmpic/LutParam.h"
#include "qmpic/PicBuf.h"
#include "qmpic/TypedLutParams.h"
#include "qmpic/status.h"

// Automatic contrast from pictures, into parameters or tables, and of typed parameters.

namespace {

using namespace qmpic;

constexpr uint32_t kMostComponents = SQmLutParam::MaxComponents;

// ----- Pictures ----------------------------------------------------------------------------------

/// The levels of each component, and those of all. What is not looked for stays as it is here: the
/// levels of all are in the wrong order then.
struct PictureLevels {
    uint32_t components, top;
    uint32_t low[kMostComponents], high[kMostComponents];
    uint32_t least, greatest;

    explicit PictureLevels(const SQmPicBuf& pic)
        : components(pic.uiComponents), top(max_value(pic.uiBpc)), least(top), greatest(0) {
        std::fill_n(low, components, 0);
        std::fill_n(high, components, top);
    }
    void join() {
        for (uint32_t c = 0; c < components; ++c) {
            least = std::min(least, low[c]);
            greatest = std::max(greatest, high[c]);
        }
    }
};

void put(SQmLutParam& param, const PictureLevels& levels, bool common, bool searched) {
    const double top = levels.top;
    if (levels.components == 1 || common) {
        param.SetMinSrcDbl((levels.components == 1 ? levels.low[0] : levels.least) / top);
        param.SetMaxSrcDbl((levels.components == 1 ? levels.high[0] : levels.greatest) / top);
        return;
    }
    if (!searched) return;
    param.SetMinSrcDbl(0);
    param.SetMaxSrcDbl(1);
    for (uint32_t c = 0; c < levels.components; ++c) {
        param.SetCompMinSrcDbl(c, levels.low[c] / top);
        param.SetCompMaxSrcDbl(c, levels.high[c] / top);
    }
}

int put(SQmLut& lut, uint8_t bpc, const PictureLevels& levels, bool common, bool cuts_low,
        bool cuts_high) {
    SQmLut::Free(lut);
    const int made = SQmLut::Alloc(lut, bpc, 1, bpc, static_cast<uint8_t>(levels.components));
    if (made < 0) return made;
    const auto top = static_cast<int32_t>(levels.top);
    int code = QM_OK;
    for (uint32_t c = 0; c < levels.components; ++c) {
        const auto low = static_cast<int32_t>(common ? levels.least : levels.low[c]);
        const auto high = static_cast<int32_t>(common ? levels.greatest : levels.high[c]);
        const auto cell = static_cast<uint8_t>(c);
        code = low != 0 && low == high  // a flat picture is shown white
                   ? SQmLut::CreateLinearTable(lut, cell, 0, top, top, top)
                   : SQmLut::CreateLinearTable(lut, cell, cuts_low ? low : 0, 0,
                                               cuts_high ? high : top, top);
    }
    if (code < 0) SQmLut::Free(lut);  // the last component's alone
    return code;
}

/// @param look  fills the levels of the components, unless nothing is to be looked for
template <class Look>
int contrast_of_picture(SQmLutParam* param, SQmLut* lut, const SQmPicBuf* pic, double lowPercent,
                        double highPercent, bool common, bool searched, Look look) {
    if (pic == nullptr || (param == nullptr && lut == nullptr)) return QM_BAD_BUFFER;
    if (pic->uiComponents > kMostComponents) return QM_TOO_MANY;
    PictureLevels levels(*pic);
    if (searched) {
        const int code = look(levels);
        if (code < 0) return code;
        levels.join();
    }
    if (param == nullptr)
        return put(*lut, pic->uiBpc, levels, common, lowPercent > 0, highPercent > 0);
    put(*param, levels, common, searched);
    return QM_OK;
}

// ----- Typed parameters --------------------------------------------------------------------------

/// A bin as a level of another depth, rounded.
uint32_t level(uint32_t bin, const SQmHisto& histo, uint32_t bpc) {
    return trunc_u32(static_cast<double>(bin) / max_value(histo.uiBits) * max_value(bpc) + 0.5);
}

template <class Parameters>
void set_channel(Parameters& param, uint32_t channel, const SQmHisto& histo,
                 const FoundLevels& found, bool low, bool high) {
    if (low) param.SetMin(channel, level(found.low, histo, param.GetBpc()));
    if (high) param.SetMax(channel, level(found.high, histo, param.GetBpc()));
}

}  // namespace

int SQmPicBufAPI_Base::GetAutoContrast(SQmLutParam* param, SQmLut* lut, const SQmPicBuf* pic,
                                       double lowPercent, double highPercent, bool bCommon,
                                       bool bNoSearch) {
    return contrast_of_picture(param, lut, pic, lowPercent, highPercent, bCommon, !bNoSearch,
                               [=](PictureLevels& levels) {  // "percents" are fractions: meant
                                   return FindLowHighInHistogram(pic, levels.low, levels.high,
                                                                 lowPercent, highPercent);
                               });
}

int SQmPicBufAPI_Base::GetContrastFromMinMax(SQmLutParam* param, SQmLut* lut, const SQmPicBuf* pic,
                                             const std::vector<CQmRangeBase<unsigned int>>& ranges,
                                             double lowPercent, double highPercent, bool bCommon,
                                             bool bNoSearch) {
    return contrast_of_picture(param, lut, pic, lowPercent, highPercent, bCommon, !bNoSearch,
                               [&](PictureLevels& levels) {
                                   if (ranges.size() < levels.components) return QM_BAD_BUFFER;
                                   for (uint32_t c = 0; c < levels.components; ++c) {
                                       levels.low[c] = ranges[c].tLower;
                                       levels.high[c] = ranges[c].tUpper;
                                   }
                                   return QM_OK;
                               });
}

int SQmPicBufAPI_Base::GetAutoContrastMCH(CQmLutParamMCH* param, const SQmHisto* histo, bool bLow,
                                          bool bHigh, double lowPercent, double highPercent) {
    if (param == nullptr || histo == nullptr) return QM_BAD_BUFFER;
    uint32_t* sizes = nullptr;
    if (param->GetComponentSizes(&sizes) < 0 || sizes == nullptr) return QM_BAD_BUFFER;
    uint32_t first = 0;
    for (uint32_t channel = 0; channel < param->GetChannelCount(); ++channel) {
        const uint32_t last = first + sizes[channel] - 1;  // is passed for the end: meant
        const auto found =
            find_levels(histo, first, last, {lowPercent, highPercent}, Mend::kYes, false);
        if (!found) return QM_BAD_BUFFER;
        set_channel(*param, channel, *histo, *found, bLow, bHigh);
        first += sizes[channel];
    }
    return QM_OK;
}

int SQmPicBufAPI_Base::GetAutoContrastRGB(CQmLutParamRGB* param, const SQmHisto* histo, bool bLow,
                                          bool bHigh, double lowPercent, double highPercent) {
    if (param == nullptr || histo == nullptr) return QM_BAD_BUFFER;
    const auto found =  // without component 2: meant
        find_levels(histo, 0, 2, {lowPercent, highPercent}, Mend::kYes, false);
    if (!found) return QM_BAD_BUFFER;
    for (uint32_t c = 0; c < 3; ++c) set_channel(*param, c, *histo, *found, bLow, bHigh);
    return QM_OK;
}
