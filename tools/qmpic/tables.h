#pragma once

#include <qmpic/qmpic.h>

#include <optional>
#include <vector>

#include "lists.h"

namespace tool {

/// How one component is shown: `levels.low` and below is black, `levels.high` and above the full
/// colour, and between them ((value - low) / (high - low))^gamma of it.
struct Shown {
    std::uint32_t component;
    Colour colour;
    Range levels;
    double gamma;
};

/// What marks saturated samples (the top value of the depth) and samples that are 0. The fourth
/// byte of a colour, if it is not 0, asks for the inverse of the component's own colour.
struct Marks {
    std::optional<Colour> over, under;
};

constexpr Colour kInverse = 0xFF000000;

/// Fills `lut` for a picture of `bits` bits and `components` components, of which those in `shown`
/// take part.
void make_tables(SQmLut& lut, unsigned bits, std::uint32_t components,
                 const std::vector<Shown>& shown, const Marks& marks);

}  // namespace tool
