#include "core/arithmetic.h"
#include "core/frame.h"
#include "core/shapes.h"
#include "float/from_integers.h"
#include "float/to_integers.h"
#include "qmpic/FloatPicMemAPI_Base.h"

// Whole pictures between integers and floats.

namespace {

using namespace qmpic;

/// A quotient, not the product with an inverse, which differs in the last bit.
struct Normalized {
    float top;
    template <class T>
    float operator()(T value) const {
        return ToFloat{}(value) / top;
    }
};

/// Of depths whose greatest value a float does not hold: in double as it is said. A word gets the
/// low 16 bits.
struct DeepLevel {
    Scaled scaled;
    double top;
    uint32_t operator()(float x) const {
        double v = static_cast<double>(scaled(x)) + 0.5;
        v = v > 0 ? v : 0;  // also NaN
        v = v < top ? v : top;
        return static_cast<uint32_t>(static_cast<int32_t>(v)) & 0xFFFF;
    }
};

/// Of 32 bits, whose greatest value is -1: that is the result of all that is not below 0 when it is
/// cut, which begins just above -1.
struct Deepest {
    Scaled scaled;
    uint32_t operator()(float x) const {
        return static_cast<double>(scaled(x)) + 0.5 > -1.0 ? 0xFFFF : 0;
    }
};

}  // namespace

int CQmFloatPicMemAPI_Base::ConvertPictureToNormalizedFloat(float* pDst, uint32_t uiDstWidthBytes,
                                                            const void* pSrc,
                                                            uint32_t uiSrcWidthBytes,
                                                            uint32_t uiBpc, uint32_t uiComponents,
                                                            uint32_t uiWidth, uint32_t uiHeight) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiHeight)) return QM_OK;
    const uint32_t top = (uint32_t{1} << (uiBpc & 31)) - 1;  // 0 for 32 bits
    floats_of(kTeam, {pDst, uiDstWidthBytes}, {pSrc, uiSrcWidthBytes}, uiBpc,
              {uint64_t{uiWidth} * uiComponents, uiHeight}, Normalized{static_cast<float>(top)});
    return QM_OK;  // also above 32 bits
}

int CQmFloatPicMemAPI_Base::ConvertFloatToPicture(void* pDst, uint32_t uiBpc,
                                                  uint32_t uiDstWidthBytes, const float* pSrc,
                                                  float fMin, float fMax, bool bScale,
                                                  uint32_t uiSrcWidthBytes, uint32_t uiComponents,
                                                  uint32_t uiWidth, uint32_t uiHeight) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiHeight)) return QM_OK;
    if (uiBpc > 32) return QM_BAD_BUFFER;
    const auto top = static_cast<int32_t>(CQmPicMemAPI_Base::CalcUintMax(uiBpc));
    const Scaled scaled(fMin, fMax, bScale, static_cast<float>(top));
    const Dst dst{pDst, uiDstWidthBytes};
    const FloatSrc src{pSrc, uiSrcWidthBytes};
    const Area area{uint64_t{uiWidth} * uiComponents, uiHeight};
    if (uiBpc == 8)
        map_samples<uint8_t, float>(kCallingThread, dst, src, area,
                                    Level<uint8_t>{scaled, {0, 255}});
    else if (uiBpc <= 16)  // below 8, too
        map_samples<uint16_t, float>(kCallingThread, dst, src, area,
                                     Level<uint16_t>{scaled, {0, static_cast<float>(top)}});
    else if (uiBpc < 32)
        map_samples<uint32_t, float>(kCallingThread, dst, src, area,
                                     DeepLevel{scaled, static_cast<double>(top)});
    else
        map_samples<uint32_t, float>(kCallingThread, dst, src, area, Deepest{scaled});
    return QM_OK;
}
