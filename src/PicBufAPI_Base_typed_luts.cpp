#include <algorithm>
#include <span>

#include "core/arithmetic.h"
#include "lut/construction.h"
#include "qmpic/PicBuf.h"
#include "qmpic/TypedLutParams.h"
#include "qmpic/status.h"

// Table sets from the display parameters of one kind of picture each.

namespace {

using namespace qmpic;

bool is_depth(uint32_t bpc) { return bpc >= 8 && bpc <= 16; }

// Unlike the older parameters, they hold tables as signed numbers.
bool is_table(int32_t gradient) { return gradient > 0 && gradient < 256; }

template <class Parameters>
const uint32_t* sizes_of(const Parameters& param) {
    uint32_t* sizes = nullptr;
    return param.GetComponentSizes(&sizes) < 0 ? nullptr : sizes;
}

/// Walks through channels, component by component. Components beyond all sizes are the last's.
class ChannelWalk {
  public:
    ChannelWalk(const uint32_t* sizes, uint32_t first, uint32_t end)
        : sizes_(sizes), channel_(first), end_(end) {}
    /// The channel of the next component.
    uint32_t next() {
        while (channel_ + 1 < end_ && (sizes_ == nullptr || walked_ >= sizes_[channel_])) {
            ++channel_;
            walked_ = 0;
        }
        ++walked_;
        return channel_;
    }

  private:
    const uint32_t* sizes_;
    uint32_t channel_, end_, walked_ = 0;
};

// ----- Red, green, blue --------------------------------------------------------------------------

/// What is left of a mask when its bits up to the third set one are shifted out.
struct Shifted {
    uint32_t rest, seen = 0;
    explicit Shifted(uint32_t bits) : rest(bits) {
        for (; seen < 3 && rest != 0; rest >>= 1) seen += rest & 1;
    }
};

/// Each component's output is a cell of one table.
void fill_cells(SQmLut& lut, const CQmLutParamRGB& param) {
    for (uint8_t c = 0; c < 3; ++c)
        put_curve(
            lut, c,
            curve(param.GetMin(c), 0, param.GetMax(c), param.GetMaxDst(c, 8), param.GetGamma(c)));
}

// ----- Spectral ----------------------------------------------------------------------------------

/// What the three spectral parameters have in common.
struct Spectrum {
    uint32_t components, spectral;         ///< components: all, those of the spectrum
    uint32_t channels, spectral_channels;  ///< likewise
    const uint32_t* sizes;
    double scale;
    bool others() const { return channels > spectral_channels; }
};

template <class Parameters>
Spectrum spectrum_of(const Parameters& param, double scale) {
    const uint32_t all = param.GetComponentCount();
    return {all,
            std::min(param.GetSpectralComponentCount(), all),
            param.GetChannelCount(),
            param.GetSpectralChannelCount(),
            sizes_of(param),
            usable(scale)};
}

/// The set that the state is written to.
template <class Parameters>
int prepare_spectral(SQmLut& lut, const Parameters& param, bool shared) {
    if (param.GetBpc() > 16) return QM_BAD_BUFFER;
    if (param.GetComponentCount() > kMostComponents ||
        param.GetSpectralComponentCount() > kMostComponents)
        return QM_TOO_MANY;
    const int made = prepare(lut, param.GetBpc(), param.GetComponentCount(), 8, shared);
    if (made < 0) return made;
    make_parametric(lut, param.GetComponentCount());
    return QM_OK;
}

/// The channels behind the spectral ones; their gains and offsets begin at `first`.
template <class Parameters>
void add_others(SpectralState& state, const Parameters& param, const Spectrum& s, uint32_t first) {
    if (!s.others()) return;
    ChannelWalk walk(s.sizes, s.spectral_channels, s.channels);
    const double count = s.components - s.spectral;
    for (uint32_t c = s.spectral; c < s.components; ++c) {
        const uint32_t i = first + walk.next() - s.spectral_channels;
        state.gain[c] = param.GetGain(i) / s.scale * kHalf / count;
        state.offset[c] = param.GetOffset(i) / s.scale * kHalf / count;
    }
}

int finish(SQmLut& lut, const SpectralState& state, double gamma, uint32_t components) {
    write_state(lut, state, gamma, components);
    lut.rmComponents.Reset();
    complete_mask(lut, components);
    return QM_OK;
}

/// Values of the nodes, which are spread evenly over the spectrum, and between them.
template <class Value>
void stretch(double* values, uint32_t count, uint32_t nodes, const Value& value) {
    if (nodes < 2) {
        std::fill_n(values, count, value(0));
        return;
    }
    if (count == 0) return;
    const auto place = [&](uint32_t node) {
        return static_cast<uint32_t>(uint64_t{node} * (count - 1) / (nodes - 1));
    };
    for (uint32_t node = 0; node + 1 < nodes; ++node) {
        const uint32_t from = place(node), to = place(node + 1);
        const double here = value(node), next = value(node + 1);
        for (uint32_t x = from; x < to; ++x)
            values[x] = (x - from) * (1.0 / (to - from)) * (next - here) + here;
    }
    values[count - 1] = value(nodes - 1);
}

}  // namespace

int SQmPicBufAPI_Base::CreateLutsMCH(SQmLut* lut, CQmLutParamMCH* param, unsigned int* colors) {
    if (lut == nullptr || param == nullptr || !is_depth(param->GetBpc())) return QM_BAD_BUFFER;
    uint32_t count = param->GetComponentCount();
    const uint32_t* const sizes = sizes_of(*param);
    if (count > 1 && sizes == nullptr) return QM_BAD_BUFFER;
    if (count > kMostComponents) return QM_TOO_MANY;
    const bool white = count == 0 || colors == nullptr;
    if (white) count = 1;
    const int made = prepare(*lut, param->GetBpc(), count, 8, false);
    if (made < 0) return made;

    const bool table = count == 1 && is_table(param->GetGradient());
    Component components[kMostComponents];
    ChannelWalk walk(sizes, 0, param->GetChannelCount());
    for (uint32_t c = 0; c < count; ++c) {
        Component& component = components[c];
        const uint32_t channel = count == 1 ? 0 : walk.next();
        component.curve = curve(param->GetMin(channel), 0, param->GetMax(channel),
                                max_value(param->GetBpc()), param->GetGamma(channel));
        component.color = white ? kWhite : colors[c];
        if (!table) continue;
        component.colours = Component::kPredefined;
        component.table = param->GetGradient();
    }
    fill(*lut, {components, count});
    complete_mask(*lut, count);
    if (table) lut->rmComponents.Set(0);
    return QM_OK;
}

int SQmPicBufAPI_Base::CreateLutsRGB(SQmLut* lut, CQmLutParamRGB* param, unsigned int maskBits,
                                     bool bSeparate) {
    if (lut == nullptr || param == nullptr || !is_depth(param->GetBpc())) return QM_BAD_BUFFER;
    const Shifted mask(maskBits);
    const bool three = mask.seen == 3;
    const int made = prepare(*lut, param->GetBpc(), three || bSeparate ? 1 : 3, 8, false);
    if (made < 0) return made;
    int code = QM_OK;
    if (!three)
        clear(*lut);  // no bit is left that could ask for a component
    else if (bSeparate)
        fill_cells(*lut, *param);
    else
        code = QM_REJECTED;  // tables of three components do not go into the set of one
    lut->rmComponents.SetMask(mask.rest);
    return code;
}

int SQmPicBufAPI_Base::CreateLutsSpectralTrueColor(SQmLut* lut, CQmLutParamSpectralTrueColor* param,
                                                   unsigned int* colors, double scale) {
    if (lut == nullptr || param == nullptr) return QM_BAD_BUFFER;
    const int made = prepare_spectral(*lut, *param, is_table(param->GetGradient()));
    if (made < 0) return made;
    lut->iPredefLut = param->GetGradient() & 255;
    const Spectrum s = spectrum_of(*param, scale);
    SpectralState state;
    std::fill_n(state.gain, s.spectral, param->GetGain(0) / s.scale * (s.others() ? kHalf : 1.0));
    std::fill_n(state.offset, s.spectral, param->GetOffset(0));
    add_others(state, *param, s, 1);
    if (colors != nullptr) std::copy_n(colors, s.components, state.color);
    return finish(*lut, state, param->GetGamma(), s.components);
}

int SQmPicBufAPI_Base::CreateLutsSpectralCustomColor(SQmLut* lut,
                                                     CQmLutParamSpectralCustomColor* param,
                                                     double scale) {
    if (lut == nullptr || param == nullptr) return QM_BAD_BUFFER;
    const int made = prepare_spectral(*lut, *param, false);
    if (made < 0) return made;
    const Spectrum s = spectrum_of(*param, scale);
    const uint32_t nodes = param->GetNodeCount();
    SpectralState state;
    stretch(state.gain, s.spectral, nodes, [&](uint32_t i) { return param->GetGain(i); });
    stretch(state.offset, s.spectral, nodes, [&](uint32_t i) { return param->GetOffset(i); });
    for (uint32_t c = 0; c < s.spectral; ++c) state.gain[c] /= s.scale;
    add_others(state, *param, s, nodes);
    param->GetCompColors(state.color);
    return finish(*lut, state, param->GetGamma(), s.components);
}

int qmpic::make_grouped_state(SQmLut& lut, const CQmLutParamSpectralGrouped& param, double scale) {
    make_parametric(lut, param.GetComponentCount());
    const Spectrum s = spectrum_of(param, scale);
    const uint32_t groups = param.GetGroupCount();
    SpectralState state;
    uint32_t first = 0;
    for (uint32_t g = 0; g < groups; ++g) {
        const uint32_t size = param.puiGroupSize[g];
        const uint32_t end = first + std::min(size, s.spectral - first);
        // Only the size itself decides, also of a group that does not fit.
        const double factor = group_factor(lut, s.spectral, first, size, groups);
        for (; first < end; ++first) {
            state.offset[first] = param.GetOffset(g);
            state.gain[first] = param.GetGain(g) * factor / s.scale;
            state.color[first] = param.GetColor(g);
        }
    }
    add_others(state, param, s, groups);
    return finish(lut, state, param.GetGamma(), s.components);
}

int SQmPicBufAPI_Base::CreateLutsSpectralGrouped(SQmLut* lut, CQmLutParamSpectralGrouped* param,
                                                 double scale) {
    if (lut == nullptr || param == nullptr) return QM_BAD_BUFFER;
    uint32_t* group_sizes = nullptr;
    if (param->GetGroupSizes(&group_sizes) < 0 || group_sizes == nullptr) return QM_BAD_BUFFER;
    const int made = prepare_spectral(*lut, *param, false);
    if (made < 0) return made;
    return make_grouped_state(*lut, *param, scale);
}
