#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "picture.h"

namespace tool {

/// A tone curve, which makes a picture of 8 bits of one of floats.
struct Tone {
    enum { Drago, Tumblin } curve;
    std::optional<std::uint32_t> steepness;  ///< of Tumblin; else by the range of each component
};

/// drago, tumblin or tumblin=P. Throws WrongUsage that names `option`.
Tone parse_tone(const std::string& option, const std::string& text);

/// Maps each component of a picture of finite floats, of which those below 0 count as 0.
void map_tones(Picture& picture, const Tone& tone);

}  // namespace tool
