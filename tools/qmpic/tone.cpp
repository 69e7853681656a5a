#include "tone.h"

#include <algorithm>
#include <charconv>

#include "failure.h"
#include "view.h"

namespace tool {

Tone parse_tone(const std::string& option, const std::string& text) {
    static const std::string kSteep = "tumblin=";
    if (text == "drago") return {Tone::Drago, {}};
    if (text == "tumblin") return {Tone::Tumblin, {}};
    if (!text.starts_with(kSteep))
        throw WrongUsage(option + ": '" + text + "' is not drago, tumblin or tumblin=P");
    std::uint32_t steepness = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data() + kSteep.size(), end, steepness);
    if (result.ec != std::errc() || result.ptr != end || steepness == 0)
        throw WrongUsage(option + ": '" + text.substr(kSteep.size()) +
                         "' is no whole number from 1 on");
    return {Tone::Tumblin, steepness};
}

void map_tones(Picture& picture, const Tone& tone) {
    SQmPicBuf& from = picture.pixels.record();
    const auto samples = std::uint64_t{from.uiWidth} * from.uiComponents;
    Pixels mapped;
    mapped.allocate(from.uiWidth, from.uiHeight, 8, from.uiComponents);
    for (std::uint32_t y = 0; y < from.uiHeight; ++y) {
        auto* const row = reinterpret_cast<float*>(picture.pixels.row(y));
        std::transform(row, row + samples, row, [](float x) { return std::max(x, 0.0f); });
    }
    // Rows of floats have no gaps: a stride is a multiple of four bytes.
    using Api = CQmFloatPicMemAPI_Base;
    const SQmPicBuf& to = mapped.record();
    const auto* const data = static_cast<const float*>(from.pData);
    const auto map = [&](auto* curve, auto... more) {
        check(curve(to.pData, 8, to.uiWidthBytes, data, to.uiWidth, to.uiHeight, to.uiComponents,
                    more...),
              "has no such tones");
    };
    if (tone.curve == Tone::Drago)
        map(Api::Map_Drago);
    else if (tone.steepness)
        map(Api::MapParam_Tumblin, *tone.steepness);
    else
        map(Api::Map_Tumblin);
    picture.pixels = std::move(mapped);
    picture.container = 8;
    picture.floats = false;
    picture.stated = Depth{8, "--tone"};
}

}  // namespace tool
