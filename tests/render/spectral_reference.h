#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "qmpic/Lut.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/guarded_picture.h"

/// Parametric sets for tests, and the sums of their bands in the plainest words.

namespace qmpic::test {

using Sums = std::array<float, 3>;

inline SQmLut::SQmParam band(double offset, double gain, double gamma, uint32_t colour) {
    SQmLut::SQmParam param{};
    param.dOffset = offset;
    param.dGain = gain;
    param.dGamma = gamma;
    param.uiColor = colour;
    return param;
}

/// A set that owns nothing but what its constructors made; what a test lends it is taken back.
struct ParametricSet {
    SQmLut lut;
    std::vector<SQmLut::SQmParam> params;
    std::vector<uint8_t> over, under;  // entries of bytes or words, by the destination
    std::vector<uint32_t> thresholds;

    ParametricSet(uint32_t components, uint32_t src_bpc, uint32_t dst_bpc)
        : params(components, band(0, 1, 1, 0xFFFFFF)) {
        lut.ucSrcBpc = static_cast<uint8_t>(src_bpc);
        lut.ucComponents = static_cast<uint8_t>(components);
        lut.ucDstBpc = static_cast<uint8_t>(dst_bpc);
        lut.ucDstComponents = 3;
        lut.rmComponents = CQmRangeMask(192, 0, 191, 1);
    }
    ~ParametricSet() {
        lut.pParams = nullptr;
        lut.pOverExpColor = lut.pUnderExpColor = nullptr;
        lut.pOverExpValue = nullptr;
    }
    ParametricSet(const ParametricSet&) = delete;
    ParametricSet& operator=(const ParametricSet&) = delete;

    /// The set, with what the lists hold.
    const SQmLut* get() {
        lut.pParams = params.data();
        lut.pOverExpColor = over.empty() ? nullptr : over.data();
        lut.pUnderExpColor = under.empty() ? nullptr : under.data();
        lut.pOverExpValue = thresholds.empty() ? nullptr : thresholds.data();
        return &lut;
    }
    void select(std::initializer_list<uint32_t> components) {
        lut.rmComponents = CQmRangeMask(192, 0, 0, 0);
        for (const uint32_t c : components) lut.rmComponents.Set(c);
    }
    bool selected(size_t c) const { return lut.rmComponents.Get(static_cast<uint32_t>(c)); }
};

/// While this lives the processor word says that there is no SSE2.
class NoSse2 {
  public:
    NoSse2() : had_(CQmPicMemAPI_Base::IsCPU_SSE2()) {
        CQmPicMemAPI_Base::s_piCPUInfo[3] &= ~(1 << 26);
    }
    ~NoSse2() {
        if (had_) CQmPicMemAPI_Base::s_piCPUInfo[3] |= 1 << 26;
    }
    NoSse2(const NoSse2&) = delete;
    NoSse2& operator=(const NoSse2&) = delete;

  private:
    bool had_;
};

inline uint32_t byte_of(uint32_t colour, uint32_t cell) { return colour >> (16 - 8 * cell) & 255; }

/// What a set's window adds up to: from its first to its last selected component, unselected ones
/// in between as samples of 0.
inline Sums sums_of(const std::vector<float>& pixel, const ParametricSet& set) {
    size_t first = pixel.size(), last = 0;
    for (size_t c = 0; c < pixel.size(); ++c)
        if (set.selected(c)) first = std::min(first, c), last = c;
    Sums sums{};
    for (size_t c = first; c <= last && c < pixel.size(); ++c) {
        const float sample = set.selected(c) ? pixel[c] : 0.0f;
        const float lifted = sample + static_cast<float>(set.params[c].dOffset);
        const float t = lifted * static_cast<float>(set.params[c].dGain);
        for (uint32_t k = 0; k < 3; ++k) {
            const float weight = static_cast<float>(byte_of(set.params[c].uiColor, k)) / 255.0f;
            const float part = t * weight;
            sums[k] = sums[k] + part;
        }
    }
    return sums;
}

/// Offsets, gains, colours and gammas of any kind; `gamma` also of the first.
inline void draw_params(ParametricSet& set, uint32_t top, Random& random) {
    const uint32_t kind = random(0, 5);
    const double fair = 1.0 / static_cast<double>(set.params.size());
    for (auto& param : set.params) {
        const double drawn = random(0, 4000) / 1000.0;
        param.dOffset = kind == 0 ? 0.0
                        : kind == 1
                            ? random.one_of({0.0, -0.1 * top, 1e30, -5.5, 1e-30, -1.0 * top})
                            : -0.05 * top * drawn;
        param.dGain = kind == 0   ? 1.0
                      : kind == 1 ? random.one_of({0.0, 1.0, -1.0, 1e30, 1e300, 1e-40, 0.1})
                                  : fair * drawn;
        param.uiColor = random.any();
        if (random(0, 3) == 0) param.uiColor = random.one_of({0u, 255u, 0xFFFFFFu, 0xFF00FF00u});
        param.dGamma = random.one_of({0.5, 1.0, 2.2});
    }
}

inline CQmRangeMask random_selection(uint32_t components, Random& random) {
    CQmRangeMask mask(random(0, 3) ? 192 : random(0, std::min(components, 192u)), 0, 0, 0);
    switch (random(0, 5)) {
    case 0: return {192, 0, 191, 1};
    case 1: return {std::min(components, 192u), 0, 191, 1};
    case 2: mask.Set(random(0, components - 1)); return mask;
    case 3: return CQmRangeMask(192, 0, 0, 0);
    default: {
        const uint32_t odds = random(1, 4);
        const uint32_t from = random(0, components - 1), to = random(from, components - 1);
        for (uint32_t i = from; i <= to; ++i) mask.Set(i, random(0, odds) != 0);
        return mask;
    }
    }
}

/// The samples of a pixel.
inline std::vector<uint64_t> pixel_of(const GuardedPicture& picture, uint32_t x, uint32_t y) {
    const uint32_t n = picture.format().components;
    std::vector<uint64_t> pixel;
    for (uint32_t c = 0; c < n; ++c) pixel.push_back(picture.get(x * n + c, y));
    return pixel;
}
inline std::vector<float> as_floats(const std::vector<uint64_t>& pixel) {
    std::vector<float> values;
    for (const uint64_t sample : pixel) values.push_back(static_cast<float>(sample));
    return values;
}

}  // namespace qmpic::test
