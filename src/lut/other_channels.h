#pragma once

#include <cstdint>

/// Channels of a spectral picture behind those of the spectrum: how they are walked, and what
/// brings their white level to the greatest output.

namespace qmpic {

/// Of no white level: a gain that shows everything.
constexpr double channel_gain(double greatest, double white) {
    return white != 0 ? greatest / white : 100000.0;
}

/// `each(component, size)` with the first component and the size of channels `channel` to
/// `channels` - 1, the first of which begins at `component`, as long as there are components and
/// that gives 0. Tells what the last one gave.
template <class Each>
int each_channel(const uint32_t* sizes, uint32_t channel, uint32_t channels, uint32_t component,
                 uint32_t components, Each each) {
    int code = 0;
    for (; channel < channels && component < components && code == 0; ++channel) {
        code = each(component, sizes[channel]);
        component += sizes[channel];
    }
    return code;
}

}  // namespace qmpic
