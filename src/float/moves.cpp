#include "core/frame.h"
#include "core/shapes.h"
#include "float/float_kernels.h"
#include "float/from_integers.h"
#include "qmpic/FloatPicMemAPI_Base.h"

// Floats copied as they are, one component or all, and pictures of integers that become floats.

using namespace qmpic;

int copyfloat(float* pDst, uint32_t uiDstWidthBytes, const float* pSrc, uint32_t uiSrcWidthBytes,
              uint32_t uiComponents, uint32_t uiWidth, uint64_t uiSizeInPixels) {
    const Area area = Area::of_samples(uiComponents, uiWidth, uiSizeInPixels);
    copy_lines(kCallingThread, FloatDst{pDst, uiDstWidthBytes}, FloatSrc{pSrc, uiSrcWidthBytes},
               area.width * sizeof(float), area.rows);
    return QM_OK;
}

int copycomponent_Nxfloat_to_Nxfloat(float* pDst, uint32_t uiDstComponents,
                                     uint32_t uiDstWidthBytes, uint32_t uiDstComponent,
                                     const float* pSrc, uint32_t uiSrcComponents,
                                     uint32_t uiSrcWidthBytes, uint32_t uiSrcComponent,
                                     uint32_t uiWidth, uint64_t uiSizeInPixels) {
    // As words: a float that is not touched keeps all its bits.
    map<uint32_t, uint32_t>(
        kTeam, Component<FloatDst>{{pDst, uiDstWidthBytes}, uiDstComponents, uiDstComponent},
        Component<FloatSrc>{{pSrc, uiSrcWidthBytes}, uiSrcComponents, uiSrcComponent},
        Area::of_pixels(uiWidth, uiSizeInPixels), Same{});
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::Copy(float* pDst, uint32_t uiDstWidthBytes, const float* pSrc,
                                 uint32_t uiSrcWidthBytes, uint32_t uiComponents, uint32_t uiWidth,
                                 uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    return copyfloat(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, uiComponents, uiWidth,
                     uiSizeInPixels);
}

int CQmFloatPicMemAPI_Base::CopyComponent(float* pDst, uint32_t uiDstComponents,
                                          uint32_t uiDstWidthBytes, uint32_t uiDstComponent,
                                          const float* pSrc, uint32_t uiSrcComponents,
                                          uint32_t uiSrcWidthBytes, uint32_t uiSrcComponent,
                                          uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    return copycomponent_Nxfloat_to_Nxfloat(pDst, uiDstComponents, uiDstWidthBytes, uiDstComponent,
                                            pSrc, uiSrcComponents, uiSrcWidthBytes, uiSrcComponent,
                                            uiWidth, uiSizeInPixels);
}

int CQmFloatPicMemAPI_Base::ConvertPictureToFloat(float* pDst, uint32_t uiDstWidthBytes,
                                                  const void* pSrc, uint32_t uiSrcWidthBytes,
                                                  uint32_t uiBpc, uint32_t uiComponents,
                                                  uint32_t uiWidth, uint32_t uiHeight) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiHeight)) return QM_OK;
    const Area area{uint64_t{uiWidth} * uiComponents, uiHeight};
    return floats_of(kCallingThread, {pDst, uiDstWidthBytes}, {pSrc, uiSrcWidthBytes}, uiBpc, area,
                     ToFloat{})
               ? QM_OK
               : QM_NO_KERNEL;
}
