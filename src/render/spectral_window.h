#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "core/rows.h"
#include "qmpic/Lut.h"
#include "qmpic/system/Alloc.h"

/// What is prepared of a parametric set, or of a list of colours, before pixels are summed.

namespace qmpic {

/// What a byte of a colour weighs.
enum class ColourUnit {
    kPart,     ///< byte / 255
    kProduct,  ///< byte * 0.003921569f, which differs from it in the last bit of every other byte
    kByte      ///< byte
};

constexpr float weight_of(uint32_t byte, ColourUnit unit) {
    const auto value = static_cast<float>(byte & 255);
    return unit == ColourUnit::kPart      ? value / 255.0f
           : unit == ColourUnit::kProduct ? value * 0.003921569f
                                          : value;
}

/// A component of a window: a band of the spectrum.
struct SpectralBand {
    uint32_t mask = 0;  ///< what its sample is ANDed with: all bits, or 0 when it is not selected
    float offset = 0, gain = 1, gamma = 1;
    float weight[3] = {};  ///< of blue, green and red

    bool selected() const { return mask != 0; }
    void set_colour(uint32_t reference, ColourUnit unit) {
        for (uint32_t k = 0; k < 3; ++k) weight[k] = weight_of(reference >> (16 - 8 * k), unit);
    }
};

/// The components from the first to the last that is selected, in ascending order. Behind them
/// stand bands that add nothing. False when there is no memory.
class SpectralWindow {
  public:
    /// Loops may go up to a multiple of this.
    static constexpr uint32_t kPadding = 16;

    /// Of a set, whose mask selects among `components`.
    SpectralWindow(const SQmLut& lut, uint32_t components, ColourUnit unit) {
        const uint32_t end = std::min(components, lut.rmComponents.GetSize());
        uint32_t last = end;
        while (first_ < end && !lut.rmComponents.Get(first_)) ++first_;
        while (last > first_ && !lut.rmComponents.Get(last - 1)) --last;
        used_ = last - first_;
        if (!allocate()) return;
        for (uint32_t p = 0; p < used_; ++p) {
            const SQmLut::SQmParam& param = lut.pParams[first_ + p];
            SpectralBand& band = bands_.get()[p];
            band.mask = lut.rmComponents.Get(first_ + p) ? 0xFFFFFFFF : 0;
            band.offset = static_cast<float>(param.dOffset);
            band.gain = static_cast<float>(param.dGain);
            band.gamma = static_cast<float>(param.dGamma);
            band.set_colour(param.uiColor, unit);
        }
    }
    /// Of a list of colours; `mask_of(c)` is what samples of component c are ANDed with. Those of
    /// which nothing is left add nothing, and at both ends they are left out.
    template <class MaskOf>
    SpectralWindow(const uint32_t* colours, uint32_t components, ColourUnit unit, MaskOf mask_of) {
        uint32_t end = components;
        while (first_ < end && mask_of(first_) == 0) ++first_;
        while (end > first_ && mask_of(end - 1) == 0) --end;
        used_ = end - first_;
        if (!allocate()) return;
        for (uint32_t p = 0; p < used_; ++p) {
            bands_.get()[p].mask = mask_of(first_ + p);
            bands_.get()[p].set_colour(colours[first_ + p], unit);
        }
    }

    explicit operator bool() const { return bands_ != nullptr; }
    uint32_t first() const { return first_; }  ///< component of band 0
    uint32_t used() const { return used_; }    ///< 0: nothing is selected
    /// Bands with those behind them that make it a multiple of 8.
    uint64_t padded() const { return (uint64_t{used_} + 7) / 8 * 8; }
    const SpectralBand* bands() const { return bands_.get(); }

  private:
    bool allocate() {
        const size_t count = (size_t{used_} / kPadding + 1) * kPadding;
        bands_.reset(
            static_cast<SpectralBand*>(CQmAlloc::Alloc(0, count * sizeof(SpectralBand), 16)));
        if (bands_) std::uninitialized_fill_n(bands_.get(), count, SpectralBand{});
        return bands_ != nullptr;
    }

    struct Release {
        void operator()(SpectralBand* p) const { CQmAlloc::Free(p); }
    };
    uint32_t first_ = 0, used_ = 0;
    std::unique_ptr<SpectralBand, Release> bands_;
};

/// The 256 colours, red, green, blue, through which a set sends results, of which `full_scale` is
/// the first value above the top; or null. An extended table may be made anew for it: one thread.
inline const uint8_t* result_colours(const SQmLut& lut, double full_scale) {
    if (lut.iPredefLut == -1) return nullptr;
    SQmLut::SQmPredefLut* const table = SQmLut::GetPredefLut(lut.iPredefLut, false);
    if (lut.pParams == nullptr) return table->getLuts(0.0, 0.0);
    const SQmLut::SQmParam& first = lut.pParams[0];
    return table->getLuts(-first.dOffset, full_scale / first.dGain - first.dOffset);
}

/// Rows of a thread of a team, of which it is the index-th of count.
inline RowRange rows_of(Member member, uint64_t rows) {
    return {member.index * rows / member.count, (member.index + 1) * rows / member.count};
}

}  // namespace qmpic
