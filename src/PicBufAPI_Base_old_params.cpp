#include <algorithm>
#include <cstdint>

#include "core/no_memory.h"
#include "lut/construction.h"
#include "lut/other_channels.h"
#include "qmpic/LutParam.h"
#include "qmpic/PicBuf.h"
#include "qmpic/TypedLutParams.h"
#include "qmpic/status.h"

// Display parameters of one kind of picture from those that serve every kind.

namespace {

using namespace qmpic;
using SpectralData = SQmLutParam::SQmLUTDataSpectral;

/// What a spectral picture is made of.
struct Counts {
    uint32_t spectral, components, channels;
    const uint32_t* sizes;
    uint32_t bpc;

    bool others() const { return spectral < components; }
    /// The leading channels that hold the spectral components; without sizes each holds one.
    uint32_t spectral_channels() const {
        if (sizes == nullptr) return spectral;
        uint32_t channel = 0;
        for (uint64_t held = 0; held < spectral && channel < channels;) held += sizes[channel++];
        return channel;
    }
};

/// Channels behind the spectral ones, whose gains and offsets begin at `index`: of each the levels
/// of its first component.
template <class Parameters>
void put_others(Parameters& dst, const SQmLutParam& old, const Counts& n, uint32_t index) {
    if (!n.others()) return;
    each_channel(n.sizes, n.spectral_channels(), n.channels, n.spectral, n.components,
                 [&](uint32_t c, uint32_t /*size*/) {
                     dst.SetOffset(index, old.GetMinSrc(c, n.bpc));
                     dst.SetGain(index++,
                                 channel_gain(old.GetMaxDst(c, n.bpc), old.GetMaxSrc(c, n.bpc)));
                     return int{QM_OK};
                 });
}

/// `reinit(data)` makes the target anew, `fill(data)` takes over the values of the mode and tells
/// where those of further channels begin. The data are a copy's, whose groups may be mended.
template <class Parameters, class Reinit, class Fill>
int convert(Parameters* dst, const SQmLutParam* old, const Counts& n, Reinit reinit, Fill fill) {
    if (dst == nullptr || old == nullptr || (n.others() && n.sizes == nullptr))
        return QM_BAD_BUFFER;
    if (n.components > kMostComponents) return QM_TOO_MANY;
    return or_no_memory([&] {
        SQmLutParam copy(*old);
        const int code = reinit(copy.sLutDataSpectral);
        if (code != QM_OK) return code;
        const uint32_t others = fill(copy.sLutDataSpectral);
        put_others(*dst, copy, n, others);
        dst->dGamma = copy.GetGammaSrc();
        return int{QM_OK};
    });
}

}  // namespace

int SQmPicBufAPI_Base::ConvertOldLutParamToLutParamMCH(CQmLutParamMCH* dst, const SQmLutParam* old,
                                                       unsigned int channels, unsigned int comps,
                                                       const unsigned int* sizes,
                                                       unsigned int bpc) {
    const bool several = comps >= 2;
    if (dst == nullptr || old == nullptr || (several && sizes == nullptr)) return QM_BAD_BUFFER;
    if (comps > kMostComponents) return QM_TOO_MANY;
    return or_no_memory([&] {
        const int code = dst->Reinit(channels, comps, sizes, bpc);
        if (code != QM_OK) return code;
        if (!several) {
            dst->SetMin(0, old->GetMinSrc(bpc));
            dst->SetMax(0, old->GetMaxSrc(bpc));
            dst->SetGamma(0, old->GetGammaSrc());
            dst->SetGradient(static_cast<int>(old->uiGradient));
            return int{QM_OK};
        }
        uint32_t channel = 0;
        each_channel(sizes, 0, channels, 0, comps, [&](uint32_t c, uint32_t /*size*/) {
            dst->SetMin(channel, old->GetMinSrc(c, bpc));
            dst->SetMax(channel, old->GetMaxSrc(c, bpc));
            dst->SetGamma(channel++, old->GetGammaSrc(c));
            return int{QM_OK};
        });
        return int{QM_OK};
    });
}

int SQmPicBufAPI_Base::ConvertOldLutParamToLutParamRGB(CQmLutParamRGB* dst, const SQmLutParam* old,
                                                       unsigned int bpc) {
    if (dst == nullptr || old == nullptr) return QM_BAD_BUFFER;
    const int code = dst->Reinit(bpc);
    if (code != QM_OK) return code;
    for (uint32_t c = 0; c < 3; ++c) {
        dst->SetMin(c, old->GetMinSrc(c, bpc));
        dst->SetMax(c, old->GetMaxSrc(c, bpc));
        dst->SetMaxDst(c, old->GetMaxDst(c, bpc));
        dst->SetGamma(c, old->GetGammaSrc(c));
    }
    return QM_OK;
}

int SQmPicBufAPI_Base::ConvertOldLutParamToLutSpectralTrueColor(
    CQmLutParamSpectralTrueColor* dst, const SQmLutParam* old, unsigned int spectralComps,
    unsigned int comps, unsigned int channels, const unsigned int* sizes, unsigned int bpc) {
    const Counts n{spectralComps, comps, channels, sizes, bpc};
    return convert(
        dst, old, n,
        [&](SpectralData&) {
            return dst->Reinit(channels, n.spectral_channels(), comps, sizes, bpc);
        },
        [&](SpectralData& data) {
            dst->SetOffset(0, data.GetOffset(0));
            dst->SetGain(0, data.GetGain(0));
            dst->SetGradient(static_cast<int>(old->uiGradient));
            return 1u;
        });
}

int SQmPicBufAPI_Base::ConvertOldLutParamToLutSpectralCustomColor(
    CQmLutParamSpectralCustomColor* dst, const SQmLutParam* old, unsigned int spectralComps,
    unsigned int comps, unsigned int channels, const unsigned int* sizes, unsigned int bpc) {
    const Counts n{spectralComps, comps, channels, sizes, bpc};
    return convert(
        dst, old, n,
        [&](SpectralData& data) {
            return dst->Reinit(data.uiGroupCount, n.spectral_channels(), channels, comps, sizes,
                               bpc);
        },
        [&](SpectralData& data) {
            const uint32_t nodes = dst->GetNodeCount();
            for (uint32_t node = 0; node < nodes; ++node) {
                dst->SetOffset(node, data.GetOffset(0));  // the first one's for all
                dst->SetGain(node, data.GetGain(node));
                dst->SetColor(node, data.GetCustomColor(node));
            }
            return nodes;
        });
}

int SQmPicBufAPI_Base::ConvertOldLutParamToLutSpectralGrouped(
    CQmLutParamSpectralGrouped* dst, const SQmLutParam* old, unsigned int spectralComps,
    unsigned int comps, unsigned int channels, const unsigned int* sizes, unsigned int bpc) {
    const Counts n{spectralComps, comps, channels, sizes, bpc};
    return convert(
        dst, old, n,
        [&](SpectralData& data) {
            uint32_t ends[kMostComponents] = {}, group_sizes[kMostComponents] = {};
            const uint32_t groups = std::min(data.GetAllGroupCount(ends, true), kMostComponents);
            uint32_t first = 0;
            if (data.uiSpectralCompCount != 0)
                for (uint32_t g = 0; g < groups; first = ends[g++] + 1)
                    group_sizes[g] = ends[g] + 1 - first;
            return dst->Reinit(groups, group_sizes, n.spectral_channels(), channels, comps, sizes,
                               bpc);
        },
        [&](SpectralData& data) {
            const uint32_t groups = dst->GetGroupCount();
            for (uint32_t g = 0; g < groups; ++g) {
                dst->SetOffset(g, data.GetOffset(g));
                dst->SetGain(g, data.GetGain(g));
                dst->SetColor(g, data.GetGroupColor(g));
            }
            return groups;
        });
}
