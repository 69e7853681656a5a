#include <algorithm>
#include <mutex>
#include <span>

#include "core/arithmetic.h"
#include "lut/construction.h"
#include "lut/spectral_data.h"
#include "qmpic/LutParam.h"
#include "qmpic/PicBuf.h"
#include "qmpic/status.h"

// Table sets from the display parameters that serve every kind of picture.

namespace {

using namespace qmpic;

enum SpectralMode : uint32_t { kGrouped = 2, kGreyScale = 3 };

constexpr uint32_t kOneWhite[] = {kWhite};

/// Is it one of the tables that stand for colours? Higher numbers than 255 do not, nor does 0.
bool is_table(uint32_t gradient) { return gradient >= 1 && gradient <= 255; }

// ----- Several channels --------------------------------------------------------------------------

/// What CreateLutsMCH and CreateLutsMCH_Dst16bit are called with.
struct Channels {
    SQmLut* lut;
    uint32_t dst_bpc;
    SQmLutParam* param;
    uint32_t bpc, count;
    const uint32_t* colors;
    bool spectral, keep_mask;
    SQmLut* src;
    const uint32_t* gradients;
    const double* weights;
};

/// Without parameters: straight ramps, or through the tables of `src`. A set of another number of
/// cells than there are channels is taken as it is.
int fill_without_parameters(const Channels& p) {
    SQmLut& lut = *p.lut;
    auto* const colors = const_cast<uint32_t*>(p.colors);
    const auto count = static_cast<unsigned char>(p.count);
    if (p.src == nullptr || p.src->pLuts == nullptr)
        return SQmLut::CreateMultiColorTable(lut, colors, count);
    const SQmLut& src = *p.src;
    const int code = SQmLut::CreateMultiColorTableEx(lut, colors, count, p.src, false, 0, false, 0);
    if (code >= 0 || src.ucSrcBpc != lut.ucSrcBpc || src.ucDstComponents == lut.ucComponents)
        return code;
    const auto cell = [](const SQmLut& set) { return (set.ucDstBpc + 7) / 8; };
    // Cells of another width would not have room.
    if (lut.ucDstComponents != src.ucDstComponents || lut.ucComponents != src.ucComponents ||
        cell(lut) != cell(src)) {
        SQmLut::Free(lut);
        const int made =
            SQmLut::Alloc(lut, src.ucSrcBpc, src.ucComponents, src.ucDstBpc, src.ucDstComponents);
        if (made < 0 || lut.pLuts == nullptr) return made < 0 ? made : QM_NO_MEMORY;
    }
    SQmLut::Copy(lut, src);
    return QM_OK;
}

/// The curve of a component, with outputs of so many bits.
Curve curve_of(const SQmLutParam& param, uint32_t c, uint32_t bpc, uint32_t dst_bpc) {
    return curve(param.GetMinSrc(c, bpc), param.GetMinDst(c, dst_bpc), param.GetMaxSrc(c, bpc),
                 param.GetMaxDst(c, dst_bpc), param.GetGammaSrc(c));
}
/// That of the whole picture.
Curve curve_of(const SQmLutParam& param, uint32_t bpc) {
    return curve(param.GetMinSrc(bpc), param.GetMinDst(bpc), param.GetMaxSrc(bpc),
                 param.GetMaxDst(bpc), param.GetGammaSrc());
}

bool equal_but_for_lowest(Curve a, const Curve& b) {
    a.dst_lo = b.dst_lo;
    return a == b;
}

/// Components whose curves differ in the lowest output alone get the curve of the first of them.
void share_curves(std::span<Component> components) {
    for (auto own = components.begin(); own != components.end(); ++own) {
        const auto owner = std::find_if(components.begin(), own, [&](const Component& other) {
            return equal_but_for_lowest(other.curve, own->curve);
        });
        own->curve = owner->curve;
    }
}

/// In grey scale all components go through one stored table, in no other form than 8 bits.
bool is_grey_scale(const Channels& p) {
    return p.spectral && p.param->sLutDataSpectral.GetMode() == kGreyScale;
}
void fill_grey_scale(const Channels& p, std::span<Component> components) {
    const auto table = static_cast<int32_t>(p.param->uiGradient);
    const uint8_t* const stored = SQmLut::GetPredefLut(table, true)->getLuts(0.0, 0.0);
    if (stored == nullptr || p.dst_bpc != 8) return;
    for (Component& component : components) {
        component.colours = Component::kStored;
        component.stored = stored;
    }
    fill(*p.lut, components);
}

void fill_from_parameters(const Channels& p) {
    const SQmLutParam& param = *p.param;
    Component all[kMostComponents];
    const std::span components(all, p.count);
    for (uint32_t c = 0; c < p.count; ++c)
        components[c].curve =
            p.count == 1 ? curve_of(param, p.bpc) : curve_of(param, c, p.bpc, p.bpc);
    share_curves(components);
    if (p.count > 1 && is_grey_scale(p) && param.uiGradient != 0)
        return fill_grey_scale(p, components);

    const bool own_tables = p.count > 1 && p.gradients != nullptr;
    for (uint32_t c = 0; c < p.count; ++c) {
        Component& component = components[c];
        component.color = p.colors[c];
        if (!own_tables && !is_table(param.uiGradient)) continue;
        component.colours = Component::kPredefined;
        component.table = static_cast<int32_t>(own_tables ? p.gradients[c] : param.uiGradient);
        component.lo = param.GetMinSrcFlt(c, p.bpc, 0.0f, 1.0f);
        component.hi = param.GetMaxSrcFlt(c, p.bpc, 0.0f, 1.0f);
        if (own_tables && p.weights != nullptr) component.weight = p.weights[c];
    }
    fill(*p.lut, components);
}

int create(Channels p) {
    if (p.lut == nullptr || p.bpc == 0) return QM_BAD_BUFFER;
    if (p.count == 0 || p.colors == nullptr) {
        p.count = 1;
        p.colors = kOneWhite;
    }
    if (p.count > kMostComponents) return QM_TOO_MANY;
    const bool table = p.param != nullptr && is_table(p.param->uiGradient);
    const int made = prepare(*p.lut, p.bpc, p.count, p.dst_bpc, table && is_grey_scale(p));
    if (p.bpc > 16) return QM_BAD_BUFFER;
    if (made < 0) return made;
    int code = QM_OK;
    if (p.param != nullptr)
        fill_from_parameters(p);
    else
        code = fill_without_parameters(p);
    complete_mask(*p.lut, p.count);
    if (!p.keep_mask && p.count == 1 && table) p.lut->rmComponents.Set(0);
    return code;
}

// ----- Red, green, blue --------------------------------------------------------------------------

/// Colours of the components that the mask shows: their own in one table, else white.
void masked_colors(const CQmRangeMask& mask, bool single, uint32_t* colors) {
    for (uint32_t c = 0; c < 3; ++c)
        colors[c] = !mask.Get(c) ? 0 : single ? kStandardColors[c] : kWhite;
}

/// Each component's output is a cell of one table.
void fill_cells(SQmLut& lut, const SQmLutParam& param, uint32_t bpc, const CQmRangeMask* mask) {
    for (uint8_t c = 0; c < 3; ++c) {
        if (mask == nullptr || mask->Get(c))
            put_curve(lut, c, curve_of(param, c, bpc, 8));
        else
            SQmLut::CreateLinearTable(lut, c, 0, 0, static_cast<int>(max_value(bpc)), 0);
    }
}

/// Each component that the mask shows has a table of its own.
void fill_tables(SQmLut& lut, const SQmLutParam& param, uint32_t bpc, const CQmRangeMask& mask,
                 const uint32_t* colors) {
    Component components[3];
    for (uint32_t c = 0; c < 3; ++c) {
        components[c].color = colors[c];
        if (mask.Get(c)) components[c].curve = curve_of(param, c, bpc, bpc);
    }
    fill(lut, components);
}

// ----- Spectral ----------------------------------------------------------------------------------

/// Gains of the groups' components, so that the sum of all groups stays within the range.
void share_among_groups(const SQmLut& lut, SQmLutParam::SQmLUTDataSpectral& data, uint32_t spectral,
                        double* gains) {
    uint32_t ends[kMostComponents] = {};
    const uint32_t groups = data.GetAllGroupCount(ends, true);
    uint32_t first = 0;
    for (uint32_t g = 0; g < groups && first < spectral; ++g) {
        const uint32_t end = std::min(ends[g] + 1, spectral);
        if (end <= first) continue;
        const double factor = group_factor(lut, spectral, first, end - first, groups);
        for (; first < end; ++first) gains[first] *= factor;
    }
}

}  // namespace

int SQmPicBufAPI_Base::CreateLutsMono(SQmLut* lut, SQmLutParam* param, unsigned int bpc,
                                      unsigned int* colors, SQmLut* src) {
    const CQmRangeMask mask = lut != nullptr ? lut->rmComponents : CQmRangeMask();
    const int code = CreateLutsMCH(lut, param, bpc, 1, colors, false, false, src, nullptr, nullptr);
    if (lut != nullptr) lut->rmComponents = mask;
    return code;
}

int SQmPicBufAPI_Base::CreateLutsRGB(SQmLut* lut, SQmLutParam* param, unsigned int bpc, SQmLut* src,
                                     CQmRangeMask* mask, bool bSingle) {
    if (lut == nullptr || bpc > 16) return QM_BAD_BUFFER;
    uint32_t colors[] = {kStandardColors[0], kStandardColors[1], kStandardColors[2]};
    if (mask != nullptr) masked_colors(*mask, bSingle, colors);
    const int made = prepare(*lut, bpc, param != nullptr && bSingle ? 1 : 3, 8, false);
    if (made < 0) return made;
    if (param == nullptr)
        return src != nullptr && src->pLuts != nullptr
                   ? SQmLut::CreateMultiColorTableEx(*lut, colors, 3, src, false, 0, false, 0)
                   : SQmLut::CreateMultiColorTable(*lut, colors, 3);
    int code = QM_OK;
    if (bSingle)
        fill_cells(*lut, *param, bpc, mask);
    else if (mask != nullptr)
        fill_tables(*lut, *param, bpc, *mask, colors);
    else
        code = QM_REJECTED;  // a curve does not go into tables of several components
    if (mask != nullptr)
        lut->rmComponents = *mask;
    else
        complete_mask(*lut, 3);
    return code;
}

int SQmPicBufAPI_Base::CreateLutsMCH(SQmLut* lut, SQmLutParam* param, unsigned int bpc,
                                     unsigned int comps, unsigned int* colors, bool bSpectral,
                                     bool bKeepMask, SQmLut* src, unsigned int* gradients,
                                     double* weights) {
    return create(
        {lut, 8, param, bpc, comps, colors, bSpectral, bKeepMask, src, gradients, weights});
}

int SQmPicBufAPI_Base::CreateLutsMCH_Dst16bit(SQmLut* lut, unsigned int dstBpc, SQmLutParam* param,
                                              unsigned int bpc, unsigned int comps,
                                              unsigned int* colors, bool bSpectral, bool bKeepMask,
                                              SQmLut* src) {
    if (dstBpc < 8 || dstBpc > 16) return QM_BAD_BUFFER;
    return create(
        {lut, dstBpc, param, bpc, comps, colors, bSpectral, bKeepMask, src, nullptr, nullptr});
}

int SQmPicBufAPI_Base::CreateLutsSpectral(SQmLut* lut, SQmLutParam* param, unsigned int* colors,
                                          unsigned int spectralComps, unsigned int comps,
                                          double scale) {
    if (lut == nullptr || param == nullptr) return QM_BAD_BUFFER;
    if (comps == 0) {
        comps = 1;
        colors = nullptr;
    }
    if (std::max(spectralComps, comps) > kMostComponents) return QM_TOO_MANY;
    make_parametric(*lut, comps);
    SQmLutParam::SQmLUTDataSpectral& data = param->sLutDataSpectral;
    const std::lock_guard lock(data.mtx);
    const bool looked_up = data.GetMode() == kGreyScale && param->uiGradient < 256;
    lut->iPredefLut = looked_up ? static_cast<int32_t>(param->uiGradient) : -1;
    if (data.uiSpectralCompCount != spectralComps) set_spectral_count(data, spectralComps);

    SpectralState state;
    data.GetCompOffsetAndGains(state.offset, state.gain);
    if (data.GetMode() == kGrouped) share_among_groups(*lut, data, spectralComps, state.gain);
    const bool others = spectralComps < comps;
    for (uint32_t c = 0; c < spectralComps; ++c)
        state.gain[c] = state.gain[c] / usable(scale) * (others ? kHalf : 1.0);
    if (others) {
        // Their sum is one component to the renderers.
        const uint32_t other = spectralComps, bpc = lut->ucSrcBpc;
        state.offset[other] =
            double{1} * param->GetCompMinSrc(other, bpc) - param->GetCompMinDst(other, bpc);
        state.gain[other] = param->GetCompMaxDstDbl(other) / param->GetCompMaxSrcDbl(other) * kHalf;
    }
    const uint32_t written = std::min<uint32_t>(comps, lut->ucComponents);
    if (colors != nullptr) std::copy_n(colors, written, state.color);
    write_state(*lut, state, param->GetGammaSrc(), written);
    return QM_OK;
}
