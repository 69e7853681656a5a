#pragma once

#include <cstdint>

namespace qmpic {

/// The way from one colour to another through hue, saturation and intensity, along the shorter side
/// of the circle of hues, in `total` steps. The ends are converted once, so that a whole scale
/// costs little more than the way back from its colours. Colours have red in bits 0 to 7.
class ColourPath {
  public:
    ColourPath(uint32_t first, uint32_t last, int32_t total);
    /// The colour behind `position` steps, top byte 0.
    uint32_t at(int32_t position) const;
    /// The same as bright as its hue and saturation allow: the largest component is 255. Black
    /// stays.
    uint32_t brightest_at(int32_t position) const;

  private:
    struct Step {
        uint8_t from;
        int32_t difference;
        uint8_t at(int32_t position, int32_t total) const;
    };
    Step hue_, saturation_, intensity_;
    int32_t total_;
};

}  // namespace qmpic
