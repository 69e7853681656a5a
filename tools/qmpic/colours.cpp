#include "colours.h"

#include <iterator>

namespace tool {

namespace {

constexpr Colour kRgbColours[] = {kRed, kGreen, kBlue};
constexpr struct {
    Colour light, ink;
} kChannelColours[] = {{kBlue, 0xF04A2A},   {kGreen, 0x3A9A12},   {kRed, 0x2A26D8},
                       {kGrey, 0x505050},   {0xFFFF00, 0xB8A000}, {0xFF00FF, 0xB018B8},
                       {0x00FFFF, 0x0098B8}};

}  // namespace

Colour usual_colour(const Picture& picture, std::uint32_t component, bool alone) {
    if (picture.rgb) return kRgbColours[component];
    return alone ? kGrey : kChannelColours[component % std::size(kChannelColours)].light;
}

Colour ink(Colour colour) {
    for (const auto& channel : kChannelColours)
        if (channel.light == colour) return channel.ink;
    return colour;
}

}  // namespace tool
