#include <bit>
#include <cstring>

#include "core/arithmetic.h"
#include "core/fill_pixels.h"
#include "core/frame.h"
#include "core/shapes.h"
#include "float/float_kernels.h"
#include "qmpic/FloatPicMemAPI_Base.h"

// Floats filled with a pixel, a value, or a value in one component. Values go as words, so that
// every bit of a NaN arrives.

namespace {

using namespace qmpic;

void fill_run(void* first, uint64_t count, float value) {
    const auto bits = std::bit_cast<uint32_t>(value);
    if (bits == 0)
        std::memset(first, 0, count * sizeof(float));
    else
        fill<uint32_t>(kCallingThread, {{first, 0}}, {count, 1}, bits);
}

}  // namespace

int set_Nxfloat(float* pData, uint32_t uiComponents, uint32_t uiWidthBytes, const float* pfValues,
                uint32_t uiWidth, uint64_t uiSizeInPixels) {
    fill_pixels(FloatDst{pData, uiWidthBytes}, Area::of_pixels(uiWidth, uiSizeInPixels), pfValues,
                sizeof(float) * uiComponents);
    return QM_OK;
}

int set_mono_float(float* pData, uint32_t uiRowFloats, uint32_t uiRows, float fValue) {
    fill_run(pData, uint64_t{uiRowFloats} * uiRows, fValue);
    return QM_OK;
}

int set_mono_float_sse(uint32_t* pData, uint32_t uiWidth, uint32_t uiHeight, float fValue) {
    fill_run(pData, uiWidth * uiHeight, fValue);  // in 32 bits, unlike the other
    return QM_OK;
}

int setcomponent_Nxfloat(float* pData, uint32_t uiComponents, uint32_t uiWidthBytes,
                         uint32_t uiComponent, float fValue, uint32_t uiWidth,
                         uint64_t uiSizeInPixels) {
    if (uiComponents != 0)
        fill(kCallingThread, Component<FloatDst>{{pData, uiWidthBytes}, uiComponents, uiComponent},
             Area::of_pixels(uiWidth, uiSizeInPixels), std::bit_cast<uint32_t>(fValue));
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::SetValue(float* pData, uint32_t uiComponents, uint32_t uiWidthBytes,
                                     const float* pfValues, uint32_t uiWidth,
                                     uint64_t uiSizeInPixels) {
    if (nothing_to_do(pData, uiWidth, uiSizeInPixels)) return QM_OK;
    return set_Nxfloat(pData, uiComponents, uiWidthBytes, pfValues, uiWidth, uiSizeInPixels);
}

int CQmFloatPicMemAPI_Base::SetMonoValue(float* pData, uint32_t uiRowFloats, uint32_t uiRows,
                                         float fValue) {
    if (nothing_to_do(pData, uiRowFloats, uiRows)) return QM_OK;
    return set_mono_float(pData, uiRowFloats, uiRows, fValue);
}

int CQmFloatPicMemAPI_Base::SetComponentValue(float* pData, uint32_t uiComponents,
                                              uint32_t uiWidthBytes, uint32_t uiComponent,
                                              float fValue, uint32_t uiWidth,
                                              uint64_t uiSizeInPixels) {
    if (nothing_to_do(pData, uiWidth, uiSizeInPixels)) return QM_OK;
    const auto byte = static_cast<uint8_t>(trunc_i32(fValue));
    return setcomponent_Nxfloat(pData, uiComponents, uiWidthBytes, uiComponent, byte, uiWidth,
                                uiSizeInPixels);
}
