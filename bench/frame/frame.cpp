#include "frame/frame.h"

#include <cmath>

namespace qmpic::bench {

using Raw = CQmPicMemAPI_Base;
using Records = SQmPicBufAPI_Base;

Screen::Screen(uint32_t edge_)
    : edge(edge_), pixels(size_t{edge_} * stride()), mask(size_t{edge_} * mask_stride()) {
    const auto on = [&](uint32_t x, uint32_t y) {  // discs, as cells are marked
        const auto apart = [&](uint32_t v) { return static_cast<int>(v % 96) - 48; };
        return apart(x) * apart(x) + apart(y) * apart(y) < 30 * 30;
    };
    for (uint32_t y = 0; y < edge; ++y)
        for (uint32_t x = 0; x < edge; ++x)
            if (on(x, y))
                mask[size_t{y} * mask_stride() + x / 8] |= static_cast<uint8_t>(128 >> x % 8);
}

void Shown::stretch() {
    Raw::StretchDisplay(screen.pixels.data(), screen.edge, screen.edge, 3, screen.stride(), 8,
                        screen.edge, screen.edge, 0, 0, rendered.data(), edge, edge, edge * 3,
                        Raw::StretchLinear, false, false);
}
void Shown::lay_mask() {
    Raw::BlendColorWithBinary(screen.pixels.data(), screen.stride(), screen.mask.data(), 0,
                              screen.mask_stride(), screen.edge, screen.edge, kMaskColour,
                              kMaskAlpha);
}

namespace {

SQmPicBuf record(uint32_t edge, uint32_t bpc, uint32_t components, const void* samples) {
    SQmPicBufDesc desc;
    Records::GetDesc(edge, edge, bpc, components, desc);
    return {desc.uiWidth,      desc.uiHeight, desc.uiWidthBytes,         desc.uiBpc,
            desc.uiComponents, desc.ui64Size, const_cast<void*>(samples)};
}

std::vector<uint32_t> ones(uint32_t count) { return std::vector<uint32_t>(count, 1); }

/// A picture of a record through a set.
void render_record(const SQmPicBuf& picture, const SQmLut& lut, Shown& shown) {
    Raw::ConvertToTrueColor(shown.rendered.data(), shown.edge * 3, picture.pData,
                            picture.uiComponents, picture.uiBpc, picture.uiWidthBytes,
                            picture.uiWidth, uint64_t{picture.uiWidth} * picture.uiHeight, &lut);
}

/// Every step of a frame.
template <class Frame>
void run_all(Frame& frame) {
    frame.find_levels();
    frame.make_tables();
    frame.render();
    frame.shown.stretch();
    frame.shown.lay_mask();
}

}  // namespace

ChannelFrame::ChannelFrame(uint32_t edge, const uint16_t* samples, Zoom zoom)
    : picture(record(edge, kBits, kChannels, samples)),
      levels(kChannels, kChannels, ones(kChannels).data(), kBits),
      shown(edge, zoom) {
    SQmPicBufDesc desc;
    Records::GetDesc(edge, edge, kBits, kChannels, desc);
    CQmHistoAPI_Base::Init(&histo);
    CQmHistoAPI_Base::Reinit32(&histo, &desc);
}
ChannelFrame::~ChannelFrame() { CQmHistoAPI_Base::Free(&histo); }
void ChannelFrame::count() { CQmHistoAPI_Base::Calculate(&histo, &picture, true); }
void ChannelFrame::find_levels() {
    Records::GetAutoContrastMCH(&levels, &histo, true, true, kCut, kCut);
}
void ChannelFrame::make_tables() {
    uint32_t colours[kChannels];
    std::copy(std::begin(kColours), std::end(kColours), colours);
    Records::CreateLutsMCH(&lut, &levels, colours);
}
void ChannelFrame::render() { render_record(picture, lut, shown); }
void ChannelFrame::run() {
    count();
    run_all(*this);
}

SpectralFrame::SpectralFrame(uint32_t edge, const uint16_t* samples, Zoom zoom)
    : picture(record(edge, kBits, kBands, samples)),
      colours(kBands),
      levels(kBands, kBands, kBands, ones(kBands).data(), kBits),
      shown(edge, zoom) {
    for (uint32_t band = 0; band < kBands; ++band)  // 410 to 689 nm
        QM_RGBFromWavelength(&colours[band], 410 + 9.0 * band);
}
void SpectralFrame::find_levels() {
    Records::GetAutoContrastSpectralTrueColor(&levels, colours.data(), &picture, true, true, kCut,
                                              kCut);
}
void SpectralFrame::make_tables() {
    Records::CreateLutsSpectralTrueColor(&lut, &levels, colours.data(), kBands);
}
void SpectralFrame::render() { render_record(picture, lut, shown); }
void SpectralFrame::run() { run_all(*this); }

FloatFrame::FloatFrame(uint32_t edge_, const float* samples_, Zoom zoom)
    : edge(edge_), samples(samples_), ranges(kChannels), shown(edge_, zoom) {
    lut.ucDstBpc = 8;
    lut.ucDstComponents = 3;
    lut.ucComponents = kChannels;
    lut.rmComponents = CQmRangeMask(kChannels, 0, kChannels - 1, 1);
    lut.bParallel = true;
}
void FloatFrame::find_levels() {
    float least[kChannels], greatest[kChannels];
    CQmFloatPicMemAPI_Base::GetFloatMinMaxInComps(samples, edge * kChannels * 4, kChannels, edge,
                                                  uint64_t{edge} * edge, least, greatest);
    for (uint32_t c = 0; c < kChannels; ++c) ranges[c] = {least[c], greatest[c]};
}
void FloatFrame::make_tables() {
    uint32_t colours[kChannels] = {0xFF0000, 0x00FF00, 0x0000FF};
    Records::CreateLutsSpectral(&lut, &levels, colours, kChannels, kChannels, 1);
}
void FloatFrame::render() {
    CQmFloatPicMemAPI_Base::ConvertToTrueColor(shown.rendered.data(), edge * 3, samples, kChannels,
                                               edge * kChannels * 4, edge, uint64_t{edge} * edge,
                                               &lut, ranges);
}
void FloatFrame::run() { run_all(*this); }

}  // namespace qmpic::bench
