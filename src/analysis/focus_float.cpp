#include <cmath>

#include "analysis/focus_multi_scale.h"
#include "core/frame.h"
#include "qmpic/FloatPicMemAPI_Base.h"

// Focus criteria of floats: sums of doubles, one pixel after the other.

namespace {

using namespace qmpic;

struct Steps {
    uint64_t x, y;
};

/// A component at any offset, or the mean of all.
double value_at(const Sample<float>* pixel, int component, uint32_t components) {
    if (component != kAllComponents) return pixel[component];
    double sum = 0;
    for (uint64_t k = 0; k < components; ++k) sum += double{pixel[k]};
    return sum / components;
}

int gradient_per_energy(double* result, int component, FloatSrc src, uint32_t components,
                        Steps steps, Area area) {
    if (steps.x == 0 || steps.y == 0 || src.first == nullptr) return QM_REJECTED;
    double energy = 0, gradient = 0;
    for (uint64_t y = 0; y < area.rows; y += steps.y) {
        const Sample<float>* const s = src.row(y);
        for (uint64_t x = 0; x + 1 < area.width; x += steps.x) {
            const double value = value_at(s + x * components, component, components);
            const double next = value_at(s + (x + 1) * components, component, components);
            energy += value * value;
            gradient += (next - value) * (next - value);
        }
    }
    give(result, energy == 0 ? 0.0 : std::sqrt(gradient / energy));
    return QM_OK;
}

int multi_scale(double* result, int component, FloatSrc src, uint32_t components, uint32_t width,
                uint64_t size) {
    return multi_scale_focus<float>(result, component, src, components, width, size,
                                    [=](uint32_t anchors, bool together) {
                                        return anchors * (together ? components : 1u) * 10u;
                                    });
}

int mean(double* result, int component, FloatSrc src, uint32_t components, uint64_t step_y,
         Area area) {
    if (src.first == nullptr || step_y == 0) return QM_REJECTED;
    const bool together = component < 0 || static_cast<uint32_t>(component) >= components;
    double sum = 0;
    uint64_t count = 0;
    for (uint64_t y = 0; y < area.rows; y += step_y) {
        const Sample<float>* const s = src.row(y);
        const uint64_t samples = area.width * (together ? components : 1u);
        const uint64_t first = together ? 0 : static_cast<uint64_t>(component);
        const uint64_t step = together ? 1 : components;
        for (uint64_t i = 0; i < samples; ++i) sum += double{s[first + i * step]};
        count += samples;
    }
    give(result, sum / static_cast<double>(count));
    return QM_OK;
}

}  // namespace

int CQmFloatPicMemAPI_Base::GetFocusCriterium(double* pdResult, int iComponent, const float* pData,
                                              uint32_t uiWidthBytes, uint32_t uiComponents,
                                              uint32_t uiStepX, uint32_t uiStepY,
                                              uint32_t /*uiLevelLow*/, uint32_t /*uiLevelHigh*/,
                                              uint32_t uiWidth, uint64_t uiSizeInPixels,
                                              CQmPicMemAPI_Base::EQmFocusCriterium eCriterium) {
    if (uiWidth == 0 || uiSizeInPixels == 0) return QM_OK;
    const FloatSrc src{pData, uiWidthBytes};
    const Area area = Area::of_pixels(uiWidth, uiSizeInPixels);
    switch (eCriterium) {
    case CQmPicMemAPI_Base::FocusGradientPerEnergy:
        return gradient_per_energy(pdResult, iComponent, src, uiComponents, {uiStepX, uiStepY},
                                   area);
    case CQmPicMemAPI_Base::FocusMultiScale:
        return multi_scale(pdResult, iComponent, src, uiComponents, uiWidth, uiSizeInPixels);
    case CQmPicMemAPI_Base::FocusMaxInt:
        return mean(pdResult, iComponent, src, uiComponents, uiStepY, area);
    default: return QM_NO_KERNEL;
    }
}
