#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <vector>

#include "core/arithmetic.h"
#include "histogram/level_search.h"
#include "qmpic/Histo.h"
#include "qmpic/LutParam.h"
#include "qmpic/PicBuf.h"
#include "qmpic/status.h"

// Automatic contrast of the parameters that serve every kind of picture, from histograms.

namespace {

using namespace qmpic;
using FloatRanges = std::vector<CQmRangeBase<float>>;

struct Asked {
    bool low, high, mid;
};

double top_of(const SQmHisto& histo) { return max_value(histo.uiBits); }

// ----- Searches ----------------------------------------------------------------------------------

/// What is known of the black level besides the histogram. Either may be null.
struct Lows {
    const SQmHisto* histo = nullptr;
    const double* values = nullptr;  ///< one a component
};

/// Whoever asks for neither level gets none.
std::optional<FoundLevels> search(const SQmHisto* histo, const Lows& lows, uint32_t first,
                                  uint32_t end, Asked asked, Percents percents) {
    const bool searches_low = asked.low && lows.values == nullptr;
    if (!searches_low && !asked.high) return {};
    auto found = find_levels(histo, first, end, percents, Mend::kYes, asked.mid);
    if (!found || !searches_low || lows.histo == nullptr || lows.histo->pData == nullptr)
        return found;
    const auto second = find_levels(lows.histo, first, end, percents, Mend::kYes, false);
    if (!second) return {};
    found->low = second->low;
    found->found_low = second->found_low;
    return found;
}

int give_levels(const std::optional<FoundLevels>& found, uint32_t* low, uint32_t* high,
                uint32_t* mid, uint32_t* lowComp, uint32_t* highComp) {
    if (!found || (low == nullptr && high == nullptr)) return QM_BAD_BUFFER;
    const auto give = [](uint32_t* to, uint32_t value) {
        if (to != nullptr) *to = value;
    };
    give(low, found->low);
    give(high, found->high);
    give(mid, found->mid);
    if (found->low_component != FoundLevels::kNone) give(lowComp, found->low_component);
    if (found->high_component != FoundLevels::kNone) give(highComp, found->high_component);
    return QM_OK;
}

// ----- From what was found to levels -------------------------------------------------------------

/// What is no number becomes `least`.
double limited(double value, double least, double most) {
    return std::min(value >= least ? value : least, most);
}

/// Levels as fractions of the range.
struct Fractions {
    double black, white, mid;
};

/// The levels of a whole picture, whose range is `origin` to `origin` + `span`.
struct Picture {
    SQmLutParam& param;
    double origin = 0, span = 1;

    double white() const { return param.GetMaxSrcDbl(); }  // not brought to the range
    double gamma() const { return param.GetGammaSrc(); }
    void set_white(double v) const { param.SetMaxSrcDbl(v * span + origin); }
    void set_black(double v) const { param.SetMinSrcDbl(v * span + origin); }
    void set_gamma(double v) const { param.SetGammaSrc(v); }
};

struct Component {
    SQmLutParam& param;
    uint32_t index;

    double white() const { return param.GetCompMaxSrcDbl(index); }
    double gamma() const { return param.GetCompGammaSrc(index); }
    void set_white(double v) const { param.SetCompMaxSrcDbl(index, v); }
    void set_black(double v) const { param.SetCompMinSrcDbl(index, v); }
    void set_gamma(double v) const { param.SetCompGammaSrc(index, v); }
};

struct Limits {
    double black, white;
};

/// Sets both levels, black at least a step of the depth below white. A black level that is not
/// asked for becomes 0, a white level is limited.
template <class Levels>
Limits set_levels(const Levels& levels, double top, Asked asked, const Fractions& wanted) {
    const double step = 1 / top;
    const double white = limited(asked.high ? wanted.white : levels.white(), step, 1);
    levels.set_white(white);
    const double black = limited(asked.low ? wanted.black : 0, 0, white - step);
    levels.set_black(black);
    return {black, white};
}

/// And the gamma that shows `mid` at one half.
template <class Levels>
void set_levels_and_gamma(const Levels& levels, double top, Asked asked, const Fractions& wanted) {
    const auto [black, white] = set_levels(levels, top, asked, wanted);
    const double gamma = asked.mid
                             ? std::log(0.5) / std::log((wanted.mid - black) / (white - black))
                             : levels.gamma();
    levels.set_gamma(limited(gamma, 0.5, 2.0));
}

/// Without a range of its own, whatever the picture is.
int contrast_of_picture(SQmLutParam* param, const SQmHisto* histo, const SQmHisto* low_histo,
                        Asked asked, Percents percents) {
    if (param == nullptr || histo == nullptr) return QM_BAD_BUFFER;
    const auto found = search(histo, {.histo = low_histo}, 0, histo->uiComponents, asked, percents);
    if (!found) return QM_BAD_BUFFER;
    const double top = top_of(*histo);
    set_levels_and_gamma(Picture{*param}, top, asked,
                         {found->low / top, found->high / top, found->mid / top});
    return QM_OK;
}

double mean(const double* values, uint32_t count) {
    double sum = 0;
    for (uint32_t i = 0; i < count; ++i) sum += values[i];
    return sum / count;
}

// ----- Components one by one ---------------------------------------------------------------------

/// How a component's values lie in the range that its levels are fractions of.
class Place {
  public:
    explicit Place(double top) : top_(top) {}
    Place(double top, double lower, double upper, double least, double greatest)
        : top_(top), span_(upper - lower), above_(lower - least), whole_(greatest - least) {}
    double operator()(double bin) const { return (span_ * bin / top_ + above_) / whole_; }

  private:
    double top_, span_ = 1, above_ = 0, whole_ = 1;
};

/// In the range of all components, as it suits the picture.
struct Common {
    static constexpr bool kKnowsFlat = false;
    static Place place(uint32_t c, double top, const FloatRanges& ranges) {
        return {top, ranges[c].tLower, ranges[c].tUpper,
                SQmLutParam::GetCompMinFromFloatRanges(c, ranges),
                SQmLutParam::GetCompMaxFromFloatRanges(c, ranges)};
    }
};
/// In its own.
struct Simple {
    static constexpr bool kKnowsFlat = true;  // is shown at full range
    static Place place(uint32_t c, double top, const FloatRanges& ranges) {
        const double lower = SQmLutParam::GetCompMinFromFloatRangesSimple(c, ranges);
        const double upper = SQmLutParam::GetCompMaxFromFloatRangesSimple(c, ranges);
        return {top, lower, upper, lower, upper};
    }
};

template <class Scale>
int contrast_of_components(SQmLutParam* param, uint32_t first, uint32_t end, const SQmHisto* histo,
                           const Lows& lows, Asked asked, Percents percents,
                           const FloatRanges& ranges) {
    if (param == nullptr || histo == nullptr) return QM_BAD_BUFFER;
    if (first >= end) return QM_OK;
    const auto found = search(histo, lows, first, end, asked, percents);
    if (!found) return QM_BAD_BUFFER;
    if (end > SQmLutParam::MaxComponents) return QM_TOO_MANY;

    const double top = top_of(*histo);
    const bool has_lows = asked.low && lows.values != nullptr;
    for (uint32_t c = first; c < end; ++c) {
        const bool is_placed = param->bFloat && c < ranges.size();
        const Place place = is_placed ? Scale::place(c, top, ranges) : Place(top);
        const double low = has_lows ? std::trunc(lows.values[c]) : found->low;
        Fractions wanted{low / top, place(found->high), found->mid / top};
        if (has_lows && is_placed) wanted.black = place(lows.values[c]);  // searched lows are not
        const double found_low = has_lows ? low : found->found_low;
        if (Scale::kKnowsFlat && asked.low && asked.high && found_low == found->found_high)
            wanted.black = 0, wanted.white = 1;
        set_levels_and_gamma(Component{*param, c}, top, asked, wanted);
    }
    return QM_OK;
}

// ----- White -------------------------------------------------------------------------------------

constexpr uint32_t kColours = 3;

/// How far a limit is from the greatest.
uint32_t distance(uint32_t limit, uint32_t greatest) {
    const uint32_t difference = limit - greatest;
    return std::min(difference, 0 - difference);
}

}  // namespace

// ----- The search --------------------------------------------------------------------------------

int SQmPicBufAPI_Base::GetHistoRange(const SQmHisto* histo, unsigned int first, unsigned int end,
                                     unsigned int* low, unsigned int* high, unsigned int* mid,
                                     double lowPercent, double highPercent, unsigned int* lowComp,
                                     unsigned int* highComp, bool bFix) {
    return give_levels(
        find_levels(histo, first, end, {lowPercent, highPercent}, Mend{bFix}, mid != nullptr), low,
        high, mid, lowComp, highComp);
}

int SQmPicBufAPI_Base::GetHistoRange(const SQmHisto* histo, unsigned int first, unsigned int end,
                                     unsigned int* low, unsigned int* high, unsigned int* mid,
                                     double percent, unsigned int* lowComp,
                                     unsigned int* highComp) {
    return GetHistoRange(histo, first, end, low, high, mid, percent, percent, lowComp, highComp,
                         false);
}

// ----- A whole picture ---------------------------------------------------------------------------

int SQmPicBufAPI_Base::AutoContrast(SQmLutParam* param, const SQmHisto* histo, bool bLow,
                                    bool bHigh, bool bMid, double /*unused*/, double lowPercent,
                                    double highPercent) {
    return contrast_of_picture(param, histo, nullptr, {bLow, bHigh, bMid},
                               {lowPercent, highPercent});
}

int SQmPicBufAPI_Base::AutoContrast(SQmLutParam* param, const SQmHisto* histo,
                                    const SQmHisto* lowHisto, bool bLow, bool bHigh, bool bMid,
                                    double /*unused*/, double lowPercent, double highPercent) {
    return contrast_of_picture(param, histo, lowHisto, {bLow, bHigh, bMid},
                               {lowPercent, highPercent});
}

int SQmPicBufAPI_Base::AutoContrast(SQmLutParam* param, const SQmHisto* histo, const double* lows,
                                    bool bLow, bool bHigh, bool bMid, double /*unused*/,
                                    double lowPercent, double highPercent, float fMin, float fMax) {
    if (param == nullptr || histo == nullptr) return QM_BAD_BUFFER;
    const uint32_t components = histo->uiComponents;
    const Asked asked{bLow, bHigh, bMid};
    const auto found =
        search(histo, {.values = lows}, 0, components, asked, {lowPercent, highPercent});
    if (!found) return QM_BAD_BUFFER;
    const bool is_float = param->bFloat;
    if (bLow && bHigh && lows == nullptr && found->is_flat()) {  // this form alone looks for it
        if (!is_float) param->SetUnit();
        return QM_OK;
    }
    const double top = top_of(*histo);
    Picture picture{*param};
    if (is_float) picture.origin = fMin, picture.span = double{fMax} - double{fMin};
    Fractions wanted{found->low / top, found->high / top, found->mid / top};
    if (bLow && lows != nullptr) {
        const double low = mean(lows, components);
        wanted.black = is_float ? (low - picture.origin) / picture.span : low / top;
    }
    set_levels_and_gamma(picture, top, asked, wanted);
    return QM_OK;
}

// ----- Components --------------------------------------------------------------------------------

int SQmPicBufAPI_Base::AutoOneCompContrast(SQmLutParam* param, unsigned int first, unsigned int end,
                                           const SQmHisto* histo, const SQmHisto* lowHisto,
                                           bool bLow, bool bHigh, bool bMid, double lowPercent,
                                           double highPercent) {
    return contrast_of_components<Common>(param, first, end, histo, {.histo = lowHisto},
                                          {bLow, bHigh, bMid}, {lowPercent, highPercent}, {});
}

int SQmPicBufAPI_Base::AutoOneCompContrast(SQmLutParam* param, unsigned int first, unsigned int end,
                                           const SQmHisto* histo, const double* lows, bool bLow,
                                           bool bHigh, bool bMid, double lowPercent,
                                           double highPercent, const FloatRanges& ranges) {
    return contrast_of_components<Common>(param, first, end, histo, {.values = lows},
                                          {bLow, bHigh, bMid}, {lowPercent, highPercent}, ranges);
}

int SQmPicBufAPI_Base::AutoOneCompContrast(SQmLutParam* param, unsigned int first, unsigned int end,
                                           const SQmHisto* histo, bool bLow, bool bHigh, bool bMid,
                                           double lowPercent, double highPercent,
                                           const FloatRanges& ranges) {
    return contrast_of_components<Common>(param, first, end, histo, {}, {bLow, bHigh, bMid},
                                          {lowPercent, highPercent}, ranges);
}

int SQmPicBufAPI_Base::AutoOneCompContrastSimple(SQmLutParam* param, unsigned int first,
                                                 unsigned int end, const SQmHisto* histo,
                                                 const SQmHisto* lowHisto, bool bLow, bool bHigh,
                                                 bool bMid, double lowPercent, double highPercent) {
    return contrast_of_components<Simple>(param, first, end, histo, {.histo = lowHisto},
                                          {bLow, bHigh, bMid}, {lowPercent, highPercent}, {});
}

int SQmPicBufAPI_Base::AutoOneCompContrastSimple(SQmLutParam* param, unsigned int first,
                                                 unsigned int end, const SQmHisto* histo,
                                                 const double* lows, bool bLow, bool bHigh,
                                                 bool bMid, double lowPercent, double highPercent,
                                                 const FloatRanges& ranges) {
    return contrast_of_components<Simple>(param, first, end, histo, {.values = lows},
                                          {bLow, bHigh, bMid}, {lowPercent, highPercent}, ranges);
}

int SQmPicBufAPI_Base::AutoOneCompContrastSimple(SQmLutParam* param, unsigned int first,
                                                 unsigned int end, const SQmHisto* histo, bool bLow,
                                                 bool bHigh, bool bMid, double lowPercent,
                                                 double highPercent, const FloatRanges& ranges) {
    return contrast_of_components<Simple>(param, first, end, histo, {}, {bLow, bHigh, bMid},
                                          {lowPercent, highPercent}, ranges);
}

// ----- White and ranges --------------------------------------------------------------------------

int SQmPicBufAPI_Base::AutoWhite(SQmLutParam* param, const SQmHisto* histo, bool bLow, bool bHigh,
                                 unsigned int color, double lowPercent, double highPercent) {
    if (param == nullptr || histo == nullptr || histo->uiComponents != kColours)
        return QM_BAD_BUFFER;
    uint32_t low[kColours], high[kColours];
    for (uint32_t k = 0; k < kColours; ++k) {
        const auto found =
            find_levels(histo, k, k + 1, {lowPercent, highPercent}, Mend::kYes, false);
        if (!found) return QM_BAD_BUFFER;
        low[k] = found->low;
        high[k] = found->high;
    }
    if (!bLow && !bHigh) return QM_OK;

    const uint32_t c[] = {color >> 16 & 255, color >> 8 & 255, color & 255};
    const uint32_t brightest = *std::max_element(c, c + kColours);
    const uint32_t lm = *std::max_element(low, low + kColours);
    const uint32_t hm = *std::max_element(high, high + kColours);
    const double top = top_of(*histo), step = 1 / top;
    for (uint32_t k = 0; k < kColours; ++k) {
        const double black = distance(low[k], lm) / top;
        if (bLow && bHigh) {
            param->SetCompMinSrcDbl(k, black);
            param->SetCompMaxSrcDbl(k, (top - distance(high[k], hm)) / top);
        } else if (bLow) {
            const double most = param->GetCompMaxSrcDbl(k) - step;
            param->SetCompMinSrcDbl(2, std::min(black, most));  // 2 for each of the three: meant
        } else {
            double x = 1, y = 0;  // of a component that the colour has not
            if (c[k] != 0) {
                const double r = static_cast<double>(high[k]) / hm;
                x = std::max(param->GetCompMinSrcDbl(k) + step, 0.5);
                if (x <= r) x = std::min(r, 1.0);
                x = x * brightest / c[k];
                y = 1;
                if (x > 1) y = 1 / x, x = 1;
            }
            param->SetCompMaxSrcDbl(k, x);
            param->SetCompMaxDstDbl(k, y);
        }
    }
    return QM_OK;
}

int SQmPicBufAPI_Base::ContrastFromMinMax(SQmLutParam* param,
                                          const std::vector<CQmRangeBase<unsigned int>>& ranges,
                                          unsigned int bpc, unsigned int comps, bool bLow,
                                          bool bHigh) {
    if (param == nullptr || ranges.size() < comps) return QM_BAD_BUFFER;
    uint32_t low = max_value(bpc), high = 0;
    const double top = low;
    for (uint32_t c = 0; c < comps; ++c) {
        low = std::min(low, ranges[c].tLower);
        high = std::max(high, ranges[c].tUpper);
    }
    set_levels(Picture{*param}, top, {bLow, bHigh, false}, {low / top, high / top, 0});
    return QM_OK;
}
