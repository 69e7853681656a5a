#include "float_view.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdio>

#include "failure.h"
#include "view.h"

namespace tool {

namespace {

using Ranges = std::vector<CQmRangeBase<float>>;

float* row_of(const Picture& picture, std::uint32_t y) {
    return reinterpret_cast<float*>(picture.pixels.row(y));
}
std::uint64_t pixels_of(const Picture& picture) {
    return std::uint64_t{picture.width()} * picture.height();
}

/// The picture as the library's record of floats, which does not own what it leads to.
struct Record : SQmFloatPicBuf {
    explicit Record(const Picture& picture)
        : lows(picture.components()), highs(picture.components()) {
        const SQmPicBuf& of = picture.pixels.record();
        SQmFloatPicBufAPI_Base::Init(this);
        uiWidth = of.uiWidth;
        uiHeight = of.uiHeight;
        uiWidthBytes = of.uiWidthBytes;
        uiBpc = 32;
        uiComponents = of.uiComponents;
        ui64Size = of.ui64Size;
        pfData = static_cast<float*>(of.pData);
        check(CQmFloatPicMemAPI_Base::GetFloatMinMaxInComps(pfData, uiWidthBytes, uiComponents,
                                                            uiWidth, pixels_of(picture),
                                                            lows.data(), highs.data()),
              "no range");
        pfMinComp = lows.data();
        pfMaxComp = highs.data();
    }
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;

    Ranges ranges() const {
        Ranges found(lows.size());
        for (std::size_t c = 0; c < found.size(); ++c) found[c] = {lows[c], highs[c]};
        return found;
    }

    std::vector<float> lows, highs;
};

/// A histogram of 2^16 bins from each component's minimum to its maximum.
struct Bins : SQmHisto {
    explicit Bins(Record& record) {
        CQmHistoAPI_Base::Init(this);
        const SQmPicBufDesc desc{record.uiWidth,      record.uiHeight, record.uiWidthBytes, 16,
                                 record.uiComponents, record.ui64Size};
        int status = CQmHistoAPI_Base::Reinit32(this, &desc);
        if (status == QM_OK && (!pData || !ppCompData)) status = QM_NO_MEMORY;
        if (status == QM_OK) status = CQmHistoAPI_Base::Calculate(this, &record, true);
        if (status != QM_OK) CQmHistoAPI_Base::Free(this);
        check(status, "no histogram");
    }
    ~Bins() { CQmHistoAPI_Base::Free(this); }
    Bins(const Bins&) = delete;
    Bins& operator=(const Bins&) = delete;
};

/// Samples beyond the levels would add to other channels, or take from them, where channels merge.
void cut(const Picture& picture, const FloatChannel& channel) {
    const auto low = static_cast<float>(channel.levels.low);
    const auto high = static_cast<float>(channel.levels.high);
    for (std::uint32_t y = 0; y < picture.height(); ++y) {
        float* sample = row_of(picture, y) + channel.component;
        for (std::uint32_t x = 0; x < picture.width(); ++x, sample += picture.components())
            *sample = std::clamp(*sample, low, high);
    }
}

}  // namespace

void make_finite(Picture& picture, const std::string& path) {
    const std::vector<Summary> of = summaries(picture);
    std::uint64_t replaced = 0;
    for (std::uint32_t c = 0; c < picture.components(); ++c) {
        if (of[c].samples == 0)
            throw Failure(path + ": component " + std::to_string(c) + " holds no numbers");
        const std::uint64_t others = pixels_of(picture) - of[c].samples;
        replaced += others;
        if (others == 0) continue;
        for (std::uint32_t y = 0; y < picture.height(); ++y) {
            float* sample = row_of(picture, y) + c;
            for (std::uint32_t x = 0; x < picture.width(); ++x, sample += picture.components())
                if (!std::isfinite(*sample))
                    *sample = static_cast<float>(*sample > 0 ? of[c].max : of[c].min);
        }
    }
    if (replaced > 0)
        std::fprintf(stderr, "qmpic: warning: %llu samples are no finite numbers\n",
                     static_cast<unsigned long long>(replaced));
}

std::vector<Levels> float_levels(const Picture& picture, const Percents& left_out) {
    Record record(picture);
    Bins bins(record);
    const Ranges ranges = record.ranges();
    SQmLutParam params;
    params.Init(picture.components() == 1, true, 0, picture.components(), 0);
    std::vector<Levels> found;
    for (std::uint32_t c = 0; c < picture.components(); ++c) {
        check(SQmPicBufAPI_Base::AutoOneCompContrastSimple(
                  &params, c, c + 1, &bins, true, true, false, left_out.low, left_out.high, ranges),
              "no levels");
        // Parts of the component's own range.
        const double low = ranges[c].tLower, width = ranges[c].tUpper - low;
        Levels levels{low + params.GetCompMinSrcDbl(c) * width,
                      low + params.GetCompMaxSrcDbl(c) * width};
        if (!(static_cast<float>(levels.low) < static_cast<float>(levels.high)))
            levels = {low, low + width};
        if (width == 0) levels.high = std::min(low + std::max(1.0, std::abs(low)), double{FLT_MAX});
        found.push_back(levels);
    }
    return found;
}

Pixels show_floats(Picture& picture, const std::vector<FloatChannel>& channels,
                   std::optional<std::uint32_t> lut) {
    const std::uint32_t components = picture.components();
    std::vector<unsigned> colours(components, 0);
    for (const FloatChannel& channel : channels) {
        cut(picture, channel);
        colours[channel.component] = channel.colour;
    }
    const Ranges ranges = Record(picture).ranges();

    constexpr std::uint32_t kGreyScale = 3, kNoTable = 256;
    SQmLutParam params;
    params.Init(components == 1, true, 0, components, components);
    params.sLutDataSpectral.uiSpectralColorMode = kGreyScale;  // that which looks up in a table
    params.uiGradient = lut.value_or(kNoTable);
    SQmLut set;
    set.ucDstBpc = 8;
    set.ucDstComponents = 3;
    set.bParallel = true;
    check(SQmPicBufAPI_Base::CreateLutsSpectral(&set, &params, colours.data(), components,
                                                components, 1.0),
          "no tables");
    set.rmComponents =
        CQmRangeMask(SQmLutParam::MaxComponents, 0, SQmLutParam::MaxComponents - 1, 0);
    // The renderer divides by the width of the range that suits all components.
    const float low = SQmLutParam::GetMinFromFloatRanges(ranges);
    const float high = SQmLutParam::GetMaxFromFloatRanges(ranges);
    const double width = low == 0 && high == 0 ? 1.0 : high - low;
    constexpr double kUp = 1 + 4 * FLT_EPSILON;  // what rounding takes would cut white to 254
    for (const FloatChannel& channel : channels) {
        set.rmComponents.Set(channel.component);
        SQmLut::SQmParam& of = set.pParams[channel.component];
        const double black = static_cast<float>(channel.levels.low);
        const double white = static_cast<float>(channel.levels.high);
        of.dOffset = -black;
        of.dGain = width / (white - black) * kUp;
        of.dGamma = channel.gamma;
    }

    const SQmPicBuf& from = picture.pixels.record();
    Pixels screen;
    screen.allocate(from.uiWidth, from.uiHeight, 8, 3);
    check(CQmFloatPicMemAPI_Base::ConvertToTrueColor(
              screen.record().pData, screen.record().uiWidthBytes,
              static_cast<const float*>(from.pData), components, from.uiWidthBytes, from.uiWidth,
              pixels_of(picture), &set, ranges),
          "cannot be shown");
    return screen;
}

}  // namespace tool
