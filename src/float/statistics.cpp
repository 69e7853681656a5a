#include <cfloat>

#include "core/frame.h"
#include "core/shapes.h"
#include "qmpic/FloatPicMemAPI_Base.h"

// Extremes, means and their like.

namespace {

using namespace qmpic;

/// The extremes of `count` samples, each `step` behind the last one, of every row.
void find_extremes(FloatSrc src, uint32_t first, uint32_t step, Area area, float& least,
                   float& greatest) {
    for (uint64_t y = 0; y < area.rows; ++y)
        for (uint64_t x = 0; x < area.width; ++x) {
            const float value = src.row(y)[x * step + first];
            if (value < least) least = value;
            if (value > greatest) greatest = value;
        }
}

}  // namespace

int CQmFloatPicMemAPI_Base::GetFloatMinMax(const float* pData, uint32_t uiWidthBytes,
                                           uint32_t uiComponents, uint32_t uiWidth,
                                           uint64_t uiSizeInPixels, float* pfMin, float* pfMax) {
    float least = FLT_MAX, greatest = -FLT_MAX;
    if (pData != nullptr)
        find_extremes({pData, uiWidthBytes}, 0, 1,
                      Area::of_samples(uiComponents, uiWidth, uiSizeInPixels), least, greatest);
    if (pfMin != nullptr) *pfMin = least;
    if (pfMax != nullptr) *pfMax = greatest;
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::GetFloatMinMaxInComps(const float* pData, uint32_t uiWidthBytes,
                                                  uint32_t uiComponents, uint32_t uiWidth,
                                                  uint64_t uiSizeInPixels, float* pfMin,
                                                  float* pfMax) {
    for (uint32_t c = 0; c < uiComponents; ++c) {
        float least = FLT_MAX, greatest = -FLT_MAX;
        if (pData != nullptr)
            find_extremes({pData, uiWidthBytes}, c, uiComponents,
                          Area::of_pixels(uiWidth, uiSizeInPixels), least, greatest);
        if (pfMin != nullptr) pfMin[c] = least;
        if (pfMax != nullptr) pfMax[c] = greatest;
    }
    return QM_OK;
}
