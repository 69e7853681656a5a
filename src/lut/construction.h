#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "qmpic/Lut.h"

class CQmLutParamSpectralGrouped;

/// What all constructions of table sets from display parameters share. Nothing is allocated but the
/// set itself: the values of a curve are made within a table and turned into cells from there, for
/// all components that have the same curve.

namespace qmpic {

inline constexpr uint32_t kMostComponents = CQmRangeMask::MaxSize;
inline constexpr uint32_t kWhite = 0x00FFFFFF;
/// Blue, green and red as colour references: cell c of a row is what component c shows in.
inline constexpr uint32_t kStandardColors[] = {0xFF0000, 0x00FF00, 0x0000FF};

/// Levels and gamma: values as SQmLut::CreateGammaTable puts them in a table of one cell that has
/// as many bits as there are in its entries; all 0 when `src_hi` is not above `src_lo`.
struct Curve {
    int32_t src_lo = 0, dst_lo = 0, src_hi = 0, dst_hi = 0;
    double gamma = 1.0;
    bool operator==(const Curve&) const = default;
};

/// A curve between levels as parameters hold them.
constexpr Curve curve(uint32_t src_lo, uint32_t dst_lo, uint32_t src_hi, uint32_t dst_hi,
                      double gamma) {
    return {static_cast<int32_t>(src_lo), static_cast<int32_t>(dst_lo),
            static_cast<int32_t>(src_hi), static_cast<int32_t>(dst_hi), gamma};
}

/// What the tables of one component are made of.
struct Component {
    Curve curve;
    /// What the curve's values lead to: colours that grow with them up to `color`, those of the
    /// predefined table `table`, or 256 of red, green, blue (sets of 8 bits only).
    enum { kTowardColor, kPredefined, kStored } colours = kTowardColor;
    uint32_t color = 0;  ///< colour reference
    int32_t table = 0;
    double lo = 0, hi = 0;  ///< the range for `table`
    double weight = 1;      ///< colours of `table` are multiplied by it if it is below 1
    const uint8_t* stored = nullptr;
};

/// Sees to it that the set has tables of this shape and three cells. Those that are there stay.
int prepare(SQmLut& lut, uint32_t bpc, uint32_t components, uint32_t dst_bpc, bool shared);

/// Fills all cells of a set that was prepared, the one table of a shared set as for the last
/// component. Components with equal curves share their values.
void fill(SQmLut& lut, std::span<const Component> components);

/// Puts a curve into one cell of a table; its outputs are of that cell's bits. SQmLut's code.
int put_curve(SQmLut& lut, uint8_t cell, const Curve& c);

/// All cells 0.
void clear(SQmLut& lut);

/// A mask without bits gets one for each component, all set.
void complete_mask(SQmLut& lut, uint32_t components);

/// What the spectral renderers are to compute with; without more words: nothing, in white.
struct SpectralState {
    double offset[kMostComponents] = {};  ///< black levels
    double gain[kMostComponents] = {};
    uint32_t color[kMostComponents];
    SpectralState() { std::fill_n(color, kMostComponents, kWhite); }
};

/// What a group's gain is multiplied by: the components that take part in the picture, over those
/// of the group and the number of groups. A mask without the group's first component leaves it 1.
double group_factor(const SQmLut& lut, uint32_t spectral, uint32_t first, uint32_t size,
                    uint32_t groups);

/// Scales that are not above 0 are 1.
constexpr double usable(double scale) { return scale > 0 ? scale : 1.0; }

/// What is left for each side when spectral and other components are added up.
inline constexpr double kHalf = 0.5;

/// Parametric state for so many components, if there is none. Tables of another number go.
void make_parametric(SQmLut& lut, uint32_t components);
/// Writes the state of the first `components`, of which there must be as many.
void write_state(SQmLut& lut, const SpectralState& state, double gamma, uint32_t components);
/// What SQmPicBufAPI_Base::CreateLutsSpectralGrouped does beside tables. There are sizes of groups.
int make_grouped_state(SQmLut& lut, const CQmLutParamSpectralGrouped& param, double scale);

}  // namespace qmpic
