#include <algorithm>
#include <cstdint>
#include <mutex>
#include <vector>

#include "core/frame.h"
#include "core/no_memory.h"
#include "histogram/temporary_histo.h"
#include "lut/construction.h"
#include "lut/other_channels.h"
#include "lut/spectral_data.h"
#include "qmpic/FloatPicBuf.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/LutParam.h"
#include "qmpic/PicBuf.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/TypedLutParams.h"
#include "qmpic/kernels/histogram.h"
#include "qmpic/status.h"

// Automatic contrast of spectral pictures: gains and offsets by the limits of the sums that their
// components show together. Pictures of integers and of floats differ in what measures them alone,
// older and typed parameters in where groups stand in them.

namespace {

using namespace qmpic;

enum SpectralMode : uint32_t { kCustom = 1, kGrouped = 2 };

/// A black level behind this part of the white level is moved away from it.
constexpr double kDarkest = 0.875;

/// What a caller asks for.
struct Wanted {
    bool low, high;
    double low_percent, high_percent;
    /// What is not asked for is a percent that leaves its side out.
    double spectral_low() const { return low ? low_percent : -1.0; }
    double spectral_high() const { return high ? high_percent : -1.0; }
};

// ----- Measuring ---------------------------------------------------------------------------------

using Ranges = std::vector<CQmRangeBase<float>>;

/// A picture, and what its entries are called with: integers with their depth, floats with their
/// ranges in the same place.
template <class Api, class Record, class Sample, class Format, class MaskWord>
struct Picture {
    const Record& pic;
    const Sample* samples;
    Format format;
    using Word = MaskWord;

    uint32_t components() const { return pic.uiComponents; }
    int limits(double* low, double* high, const uint32_t* colors, const Word* mask, double weight,
               const Wanted& wanted) const {
        return Api::SpetralGetLoHiRGB(low, high, samples, pic.uiWidthBytes, format,
                                      pic.uiComponents, pic.uiWidth, pic.uiWidth * pic.uiHeight,
                                      colors, mask, weight, wanted.spectral_low(),
                                      wanted.spectral_high());
    }
    int limits(double* low, double* high, const SQmLut& lut, const Wanted& wanted) const {
        return Api::SpetralGetLoHiRGBEx(low, high, samples, pic.uiWidthBytes, format,
                                        pic.uiComponents, pic.uiWidth, pic.uiWidth * pic.uiHeight,
                                        &lut, wanted.spectral_low(), wanted.spectral_high());
    }
};

using IntegerPicture = Picture<CQmPicMemAPI_Base, SQmPicBuf, void, uint32_t, unsigned short>;
using FloatPicture =
    Picture<CQmFloatPicMemAPI_Base, SQmFloatPicBuf, float, const Ranges&, uint32_t>;

IntegerPicture measured(const SQmPicBuf& pic) { return {pic, pic.pData, pic.uiBpc}; }
FloatPicture measured(const SQmFloatPicBuf& pic, const Ranges& ranges) {
    return {pic, pic.pfData, ranges};
}
Ranges ranges_of(const IntegerPicture&) { return {}; }
const Ranges& ranges_of(const FloatPicture& picture) { return picture.format; }

/// Of the three sums, on the scale of 0 to 255: the greatest of their lows and of their highs.
struct Limits {
    double low, high;
    double gain() const { return high == 0 ? 50.0 : 255.0 / high; }
};

template <class Measure>
int measure(Limits& found, const Measure& by) {
    double low[3] = {}, high[3] = {};
    const int code = by(low, high);
    found = {std::max({low[0], low[1], low[2]}), std::max({high[0], high[1], high[2]})};
    return code;
}

/// Of the mean of the components in the mask. There is a colour for every component.
template <class Picture>
int measure_mean(Limits& found, const Picture& picture, const uint32_t* colors,
                 const CQmRangeMask& mask, const Wanted& wanted) {
    using Word = typename Picture::Word;
    Word words[kMostComponents];
    for (uint32_t c = 0; c < kMostComponents; ++c)
        words[c] = static_cast<Word>(mask.Get(c) ? ~Word{} : Word{});
    const double weight = 1.0 / std::max(mask.GetCount(), 1u);
    return measure(found, [&](double* low, double* high) {
        return picture.limits(low, high, colors, words, weight, wanted);
    });
}

template <class Parameters>
void put(Parameters& param, uint32_t index, const Limits& found) {
    param.SetOffset(index, found.low);
    param.SetGain(index, found.gain());
}

/// The first `count` components.
CQmRangeMask leading(uint32_t count) {
    CQmRangeMask mask;
    mask.SetSize(count);
    mask.SetAll(true);
    return mask;
}

// ----- Groups ------------------------------------------------------------------------------------

/// Which group a spectral component belongs to, and which groups take part.
struct Groups {
    uint32_t count;  ///< all there are
    uint32_t spectral;
    uint32_t of[kMostComponents] = {};
    CQmRangeMask enabled;

    Groups(uint32_t group_count, uint32_t components) : count(group_count), spectral(components) {
        enabled.SetSize(count);
    }
    template <class Takes>
    CQmRangeMask components(Takes takes) const {
        CQmRangeMask mask;
        mask.SetSize(spectral);
        for (uint32_t c = 0; c < spectral; ++c) mask.Set(c, takes(of[c]));
        return mask;
    }
    template <class Each>
    void each_enabled(Each each) const {
        for (uint32_t g = 0; g < enabled.GetSize(); ++g)
            if (enabled.Get(g)) each(g);
    }
};

uint32_t product(uint32_t color, uint32_t other) {
    uint32_t sum = 0;
    for (const uint32_t shift : {0u, 8u, 16u})
        sum += (color >> shift & 255) * (other >> shift & 255);
    return sum;
}

/// Do some of the groups show in a primary that another one shows in, too? The last component of a
/// group speaks for it.
bool overlap(const Groups& groups, const uint32_t* colors) {
    uint32_t shown[kMostComponents] = {};
    for (uint32_t c = 0; c < groups.spectral; ++c)
        if (groups.enabled.Get(groups.of[c])) shown[groups.of[c]] = colors[c];
    bool found = false;
    groups.each_enabled([&](uint32_t g) {
        groups.each_enabled([&](uint32_t h) {
            if (g < h && product(shown[g], shown[h]) != 0) found = true;
        });
    });
    return found;
}

/// Each group by itself; where they overlap, then all by what they sum up to in the set that
/// `make_set` makes of the new parameters.
template <class Picture, class Parameters, class MakeSet>
int contrast_groups(Parameters& param, const Picture& picture, const Groups& groups,
                    const uint32_t* colors, const Wanted& wanted, MakeSet make_set) {
    int code = QM_OK;
    groups.each_enabled([&](uint32_t g) {
        if (code != QM_OK) return;
        const CQmRangeMask own = groups.components([=](uint32_t of) { return of == g; });
        Limits found{};
        code = measure_mean(found, picture, colors, own, wanted);
        if (code != QM_OK) return;
        param.SetGain(g, groups.count * found.gain());
        param.SetOffset(g, found.low);
    });
    if (code != QM_OK || !overlap(groups, colors)) return code;

    SQmLut lut;
    code = or_no_memory([&] { return make_set(lut); });
    if (code != QM_OK) return code;
    lut.rmComponents = groups.components([&](uint32_t of) { return groups.enabled.Get(of); });
    Limits sum{};
    code = measure(
        sum, [&](double* low, double* high) { return picture.limits(low, high, lut, wanted); });
    if (code != QM_OK) return code;
    groups.each_enabled([&](uint32_t g) {
        param.SetGain(g, param.GetGain(g) * sum.gain());
        param.SetOffset(g, sum.low);
    });
    return QM_OK;
}

// ----- Typed parameters --------------------------------------------------------------------------

template <class Parameters>
int check(const Parameters* param, const SQmPicBuf* pic) {
    if (param == nullptr || pic == nullptr || pic->uiBpc != param->GetBpc() ||
        pic->uiComponents != param->GetComponentCount())
        return QM_BAD_BUFFER;
    if (param->GetChannelCount() > param->GetSpectralChannelCount() && param->puiComp == nullptr)
        return QM_BAD_BUFFER;
    return pic->uiComponents > kMostComponents ? QM_TOO_MANY : QM_OK;
}

template <class Parameters>
uint32_t spectral_of(const Parameters& param) {
    return std::min(param.GetSpectralComponentCount(), param.GetComponentCount());
}

/// Channels behind the spectral ones, whose gains and offsets begin at `index`. Of several
/// components the last one takes no part: it is where the search ends.
template <class Parameters>
int contrast_others(Parameters& param, const SQmPicBuf& pic, uint32_t index, const Wanted& wanted) {
    if (param.GetChannelCount() <= param.GetSpectralChannelCount()) return QM_OK;
    const uint32_t spectral = spectral_of(param);
    TemporaryHisto histo;
    histo.fit(pic, pic.uiBpc);
    if (histo.is_empty()) return QM_NO_MEMORY;
    if (!nothing_to_do(pic.pData, pic.uiWidth, pic.uiHeight))
        gethistogram_Nx16_comp(histo.ppCompData, histo.uiBinBytes, pic.pData, spectral,
                               pic.uiComponents, pic.uiWidthBytes, 1, 1, pic.uiBpc, pic.uiWidth,
                               uint64_t{pic.uiWidth} * pic.uiHeight);
    const double top = CQmPicMemAPI_Base::CalcUintMax(pic.uiBpc);
    return each_channel(param.puiComp, param.GetSpectralChannelCount(), param.GetChannelCount(),
                        spectral, pic.uiComponents, [&](uint32_t first, uint32_t size) {
                            uint32_t low = 0, high = 0;
                            const int code = SQmPicBufAPI_Base::GetHistoRange(
                                &histo, first, first + size - 1, &low, &high, nullptr,
                                wanted.low_percent, wanted.high_percent, nullptr, nullptr, true);
                            if (code != QM_OK) return code;
                            double black = wanted.low ? low / top : 0.0;
                            const double white = high / top;
                            if (wanted.high && white > 0 && black / white > kDarkest)
                                black *= kDarkest;
                            param.SetOffset(index, top * black);
                            param.SetGain(index++, channel_gain(top, high));
                            return int{QM_OK};
                        });
}

/// Of true and of custom colours: one measurement for all `nodes`.
template <class Parameters>
int contrast_whole(Parameters& param, const SQmPicBuf& pic, const uint32_t* colors, uint32_t nodes,
                   const Wanted& wanted) {
    Limits found{};
    int code = measure_mean(found, measured(pic), colors, leading(spectral_of(param)), wanted);
    if (code == QM_OK) code = contrast_others(param, pic, nodes, wanted);
    if (code != QM_OK) return code;
    for (uint32_t node = 0; node < nodes; ++node) put(param, node, found);
    return QM_OK;
}

// ----- Older parameters --------------------------------------------------------------------------

template <class Picture>
int contrast_others(SQmLutParam& param, const Picture& picture, uint32_t spectral,
                    const SQmHisto* histo, const Wanted& wanted) {
    const uint32_t components = picture.components();
    if (spectral >= components || histo == nullptr) return QM_OK;
    const int code = SQmPicBufAPI_Base::AutoOneCompContrast(
        &param, spectral, components, histo, wanted.low, wanted.high, false, wanted.low_percent,
        wanted.high_percent, ranges_of(picture));
    if (code != QM_OK) return code;
    const double black = param.GetCompMinSrcDbl(spectral);
    if (black / param.GetCompMaxSrcDbl(spectral) > kDarkest)
        param.SetCompMinSrcDbl(spectral, black * 7.0 * 0.125);
    return QM_OK;
}

template <class Picture>
int contrast_all_groups(SQmLutParam& param, const Picture& picture, const CQmRangeMask& mask,
                        uint32_t* colors, const SQmHisto* histo, const Wanted& wanted) {
    SpectralData& data = param.sLutDataSpectral;
    const uint32_t spectral = data.GetNonTransmittedComponentCount();
    std::unique_lock lock(data.mtx);
    Groups groups(data.GetAllGroupCount(nullptr, true), std::min(spectral, picture.components()));
    if (data.uiAllocated == 0) return QM_BAD_BUFFER;
    for (uint32_t c = 0; c < groups.spectral; ++c) {
        groups.of[c] = param.sCompLutParam[c].uiGroup;
        if (mask.Get(c)) groups.enabled.Set(groups.of[c]);
    }
    lock.unlock();  // measuring takes long
    const int code = contrast_groups(data, picture, groups, colors, wanted, [&](SQmLut& lut) {
        return SQmPicBufAPI_Base::CreateLutsSpectral(&lut, &param, colors, spectral,
                                                     picture.components(), 1.0);
    });
    if (code != QM_OK) return code;
    return contrast_others(param, picture, groups.spectral, histo, wanted);
}

template <class Picture>
int contrast(SQmLutParam& param, const Picture& picture, const CQmRangeMask& mask, int group,
             const uint32_t* colors, const SQmHisto* histo, const Wanted& wanted) {
    const uint32_t components = picture.components();
    if (components > kMostComponents) return QM_TOO_MANY;
    SpectralData& data = param.sLutDataSpectral;
    const uint32_t mode = data.GetMode(), spectral = data.GetNonTransmittedComponentCount();
    // Nobody asks for a colour of what is not looked at.
    uint32_t all_colors[kMostComponents];
    for (uint32_t c = 0; c < kMostComponents; ++c)
        all_colors[c] = c < components && (c < spectral || mask.Get(c)) ? colors[c] : kWhite;
    if (mode == kGrouped && group < 0)
        return or_no_memory(
            [&] { return contrast_all_groups(param, picture, mask, all_colors, histo, wanted); });

    CQmRangeMask selected = mask;
    if (selected.GetSize() > components) selected.SetSize(components);
    Limits found{};
    const int code = measure_mean(found, picture, all_colors, selected, wanted);
    if (code != QM_OK) return code;
    if (mode != kCustom) {
        put(data, mode == kGrouped ? static_cast<uint32_t>(group) : 0, found);
        return QM_OK;
    }
    const uint32_t nodes = std::min(data.GetAllGroupCount(nullptr, false), kMostComponents);
    for (uint32_t node = 0; node < nodes; ++node) put(data, node, found);
    return QM_OK;
}

}  // namespace

int SQmPicBufAPI_Base::GetAutoContrastSpectralTrueColor(CQmLutParamSpectralTrueColor* param,
                                                        const unsigned int* colors,
                                                        const SQmPicBuf* pic, bool bLow, bool bHigh,
                                                        double lowPercent, double highPercent) {
    const int checked = colors == nullptr ? QM_BAD_BUFFER : check(param, pic);
    if (checked != QM_OK) return checked;
    uint32_t all_colors[kMostComponents] = {};
    std::copy_n(colors, spectral_of(*param), all_colors);
    return contrast_whole(*param, *pic, all_colors, 1, {bLow, bHigh, lowPercent, highPercent});
}

int SQmPicBufAPI_Base::GetAutoContrastSpectralCustomColor(CQmLutParamSpectralCustomColor* param,
                                                          const SQmPicBuf* pic, bool bLow,
                                                          bool bHigh, double lowPercent,
                                                          double highPercent) {
    const int checked = check(param, pic);
    if (checked != QM_OK) return checked;
    if (param->GetSpectralComponentCount() > kMostComponents) return QM_TOO_MANY;
    uint32_t all_colors[kMostComponents] = {};
    param->GetCompColors(all_colors);
    return contrast_whole(*param, *pic, all_colors, param->GetNodeCount(),
                          {bLow, bHigh, lowPercent, highPercent});
}

int SQmPicBufAPI_Base::GetAutoContrastSpectralGrouped(CQmLutParamSpectralGrouped* param,
                                                      const SQmPicBuf* pic, bool bLow, bool bHigh,
                                                      double lowPercent, double highPercent) {
    const int checked = check(param, pic);
    if (checked != QM_OK) return checked;
    if (param->puiGroupSize == nullptr) return QM_BAD_BUFFER;
    if (param->GetGroupCount() > kMostComponents) return QM_TOO_MANY;
    const Wanted wanted{bLow, bHigh, lowPercent, highPercent};
    Groups groups(param->GetGroupCount(), spectral_of(*param));
    uint32_t all_colors[kMostComponents] = {};
    uint32_t c = 0;
    for (uint32_t g = 0; g < groups.count; ++g)
        for (uint32_t i = 0; i < param->puiGroupSize[g] && c < groups.spectral; ++i, ++c) {
            groups.of[c] = g;
            groups.enabled.Set(g);
            all_colors[c] = param->GetColor(g);
        }
    // Components behind all groups belong to none.
    std::fill(groups.of + c, groups.of + kMostComponents, groups.count);

    const int code =
        contrast_groups(*param, measured(*pic), groups, all_colors, wanted, [&](SQmLut& lut) {
            lut.rmComponents = leading(kMostComponents);  // as sets with tables have them
            return make_grouped_state(lut, *param, 1.0);
        });
    return code != QM_OK ? code : contrast_others(*param, *pic, groups.count, wanted);
}

int SQmPicBufAPI_Base::GetLutParamSpectAutocontrast(SQmLutParam* param, const SQmPicBuf* pic,
                                                    const CQmRangeMask& mask, int group,
                                                    const unsigned int* colors,
                                                    const SQmHisto* histo, bool bLow, bool bHigh,
                                                    double lowPercent, double highPercent) {
    if (param == nullptr || pic == nullptr || colors == nullptr) return QM_BAD_BUFFER;
    return contrast(*param, measured(*pic), mask, group, colors, histo,
                    {bLow, bHigh, lowPercent, highPercent});
}

int SQmPicBufAPI_Base::GetLutParamSpectAutocontrast(
    SQmLutParam* param, const SQmFloatPicBuf* pic, const CQmRangeMask& mask, int group,
    const unsigned int* colors, const SQmHisto* histo, bool bLow, bool bHigh, double lowPercent,
    double highPercent, const std::vector<CQmRangeBase<float>>& ranges) {
    if (param == nullptr || pic == nullptr || colors == nullptr) return QM_BAD_BUFFER;
    return contrast(*param, measured(*pic, ranges), mask, group, colors, histo,
                    {bLow, bHigh, lowPercent, highPercent});
}
