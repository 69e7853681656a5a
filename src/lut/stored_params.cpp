#include <algorithm>
#include <cstdint>
#include <mutex>

#include "lut/stored_levels.h"
#include "qmpic/LutParam.h"

// How display parameters are stored. Keys are what documents hold, and stay as they are.

using namespace qmpic;

namespace {

using Spectral = SQmLutParam::SQmLUTDataSpectral;

template <class Param, class Level>
void visit_globals(Param& p, Level& visit) {
    visit(L"uiGradient", p.uiGradient);
    visit(L"uiGradientBrightField", p.uiGradientBrightField);
    visit(L"uiMinSrc", p.uiMinSrc);
    visit(L"uiMaxSrc", p.uiMaxSrc);
    visit(L"dGammaSrc", p.dGammaSrc);
    visit(L"uiMinDst", p.uiMinDst);
    visit(L"uiMaxDst", p.uiMaxDst);
    visit(L"uiColorSpace", p.uiColorSpace);
    visit(L"uiRepresentation", p.uiRepresentation);
    visit(L"uiLutComponentCount", p.uiLutComponentCount);
    visit(L"uiGroupCount", p.sLutDataSpectral.uiGroupCount);
}

template <class Param, class Level>
void visit_components(Param& p, std::uint32_t count, Level& components) {
    for (std::uint32_t i = 0; i < count; ++i)
        components.level(indexed(L"a", i, 2), [&](auto&& visit) {
            auto& component = p.sCompLutParam[i];
            visit(L"uiMinSrc", component.uiMinSrc);
            visit(L"uiMaxSrc", component.uiMaxSrc);
            visit(L"fMinSrc", component.fMinSrc);
            visit(L"fMaxSrc", component.fMaxSrc);
            visit(L"dGammaSrc", component.dGammaSrc);
            visit(L"uiMinDst", component.uiMinDst);
            visit(L"uiMaxDst", component.uiMaxDst);
            visit(L"uiGroup", component.uiGroup);
        });
}

template <class Data, class Level>
void visit_spectral(Data& s, Level& visit) {
    if (s.pdGainTrueColor != nullptr) {
        visit(L"dGainTrueColor", *s.pdGainTrueColor);
        visit(L"dOffsetTrueColor", *s.pdOffsetTrueColor);
    }
    if (s.pdGainGrayScale != nullptr) {
        visit(L"dGainGrayScale", *s.pdGainGrayScale);
        // Saved with a letter less than it is looked for, so it never comes back: documents have
        // the key.
        visit(Level::kSaves ? L"dOffsetGrayScal" : L"dOffsetGrayScale", *s.pdOffsetGrayScale);
    }
    visit(L"uiSpectralColorMode", s.uiSpectralColorMode);
    for (std::uint32_t g = 0; g < s.uiAllocated; ++g)
        visit.level(indexed(L"aGroup", g, 2), [&](auto&& group) {
            group(L"uiColorGroup", s.puiColorGroup[g]);
            group(L"uiColorCustom", s.puiColorCustom[g]);
            group(L"dGainCustom", s.pdGainCustom[g]);
            group(L"dOffsetCustom", s.pdOffsetCustom[g]);
            group(L"dGainGrouped", s.pdGainGrouped[g]);
            group(L"dOffsetGrouped", s.pdOffsetGrouped[g]);
        });
}

/// One more than there are spectral components, at least 3; all when there are none.
std::uint32_t saved_components(const Spectral& s) {
    constexpr std::uint32_t all = SQmLutParam::MaxComponents;
    if (s.uiSpectralCompCount == 0) return all;
    return std::clamp(std::min(s.uiSpectralCompCount, all) + 1, 3u, all);
}

}  // namespace

int SQmLutParam::SaveToVariant(CQmVariant& v, const SQmLutParam& p) {
    const std::lock_guard lock(p.sLutDataSpectral.mtx);
    v.EnableTypeChange();
    return save_to(v, [&](SaveLevel& level) {
        visit_globals(p, level);
        level.level(L"sCompLutParam", [&](SaveLevel& components) {
            visit_components(p, saved_components(p.sLutDataSpectral), components);
        });
        level.level(L"sLutDataSpectral",
                    [&](SaveLevel& data) { visit_spectral(p.sLutDataSpectral, data); });
    });
}

int SQmLutParam::LoadFromVariant(SQmLutParam& p, const CQmVariant& v) {
    Spectral& s = p.sLutDataSpectral;
    const std::lock_guard lock(s.mtx);
    return load_from(v, [&](const LoadLevel& level) {
        visit_globals(p, level);
        s.uiGroupCount = std::min(s.uiGroupCount, MaxComponents);  // who knows what was stored
        level.level(L"sCompLutParam", [&](const LoadLevel& components) {
            visit_components(p, MaxComponents, components);
        });
        level.level(L"sLutDataSpectral", [&](const LoadLevel& data) {
            s.Realloc(s.uiGroupCount);
            visit_spectral(s, data);
        });
    });
}
