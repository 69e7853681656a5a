#include "core/frame.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/PicMemAPI_Base.h"
#include "stretch/blocks.h"
#include "stretch/filter.h"
#include "stretch/nearest.h"
#include "stretch/quick.h"

// Which of the stretches computes a window.

namespace {

using namespace qmpic;
using Mode = CQmPicMemAPI_Base::EQmPicStretchMode;

bool filters(Mode mode) {
    return mode == CQmPicMemAPI_Base::StretchSpline || mode == CQmPicMemAPI_Base::StretchLinear;
}

/// Pictures of bytes and words can be stretched; 0 is no depth.
uint32_t stretchable_bits(uint32_t bpc) { return bpc <= 16 ? storage_bits(bpc) : 0; }

bool has_virtual_size(const StretchWindow& w) {
    return w.virtual_width != 0 && w.virtual_height != 0;
}
bool is_empty(const StretchWindow& w) { return w.width == 0 || w.height == 0; }
bool has_source(const StretchWindow& w) { return w.source_width != 0 && w.source_height != 0; }

/// Is a window a part of a picture so large, and so much reduced, that samples do?
bool takes_blocks(const StretchWindow& w) {
    const uint32_t pixels = w.source_width * w.source_height;  // wraps: 65536 x 65536 is none
    return NearestAxis::columns(w).scale() > 2.0 && NearestAxis::rows(w).scale() > 2.0 &&
           pixels >= 1000000;
}

}  // namespace

int CQmPicMemAPI_Base::StretchDisplay(void* pDst, uint32_t uiDstWidth, uint32_t uiDstHeight,
                                      uint32_t uiComponents, uint32_t uiDstWidthBytes,
                                      uint32_t uiBpc, uint32_t uiVirtualWidth,
                                      uint32_t uiVirtualHeight, uint32_t uiLeft, uint32_t uiTop,
                                      const void* pSrc, uint32_t uiSrcWidth, uint32_t uiSrcHeight,
                                      uint32_t uiSrcWidthBytes, EQmPicStretchMode eMode,
                                      bool bFlipX, bool bFlipY) {
    const StretchWindow window{uiDstWidth, uiDstHeight, uiVirtualWidth, uiVirtualHeight, uiLeft,
                               uiTop,      uiSrcWidth,  uiSrcHeight,    bFlipX,          bFlipY};
    if (!has_virtual_size(window) || pSrc == nullptr || pDst == nullptr) return QM_BAD_BUFFER;
    if (is_empty(window)) return QM_OK;
    if (!has_source(window)) return QM_BAD_BUFFER;
    const uint32_t bits = stretchable_bits(uiBpc);
    if (bits == 0) return QM_NO_KERNEL;
    if (uiComponents == 0) return QM_OK;
    const Dst dst{pDst, uiDstWidthBytes};
    const Src src{pSrc, uiSrcWidthBytes};
    const bool same_size = uiVirtualWidth == uiSrcWidth && uiVirtualHeight == uiSrcHeight;
    if (same_size || !filters(eMode))
        return stretch_quick(dst, src, uint64_t{uiComponents} * bits / 8, window);
    if (eMode == StretchLinear && takes_blocks(window))
        return stretch_blocks(dst, src, uiComponents, bits, window);
    return stretch_filtered(dst, src, uiComponents, bits, window, eMode);
}

int CQmPicMemAPI_Base::StretchDisplayEx(
    void* pDst, uint32_t uiDstWidth, uint32_t uiDstHeight, uint32_t uiComponents,
    uint32_t uiDstWidthBytes, uint32_t uiBpc, uint32_t uiVirtualWidth, uint32_t uiVirtualHeight,
    uint32_t uiLeft, uint32_t uiTop, const void* pSrc, uint32_t uiKnownLeft, uint32_t uiKnownTop,
    uint32_t uiKnownWidth, uint32_t uiKnownHeight, uint32_t uiSrcWidth, uint32_t uiSrcHeight,
    uint32_t uiSrcWidthBytes, EQmPicStretchMode eMode, const void* pBackground) {
    const StretchWindow window{uiDstWidth, uiDstHeight, uiVirtualWidth, uiVirtualHeight,
                               uiLeft,     uiTop,       uiSrcWidth,     uiSrcHeight};
    if (!has_virtual_size(window)) return QM_BAD_BUFFER;
    if (is_empty(window)) return QM_OK;
    if (!has_source(window)) return QM_BAD_BUFFER;
    const uint32_t bits = stretchable_bits(uiBpc);
    if (bits == 0) return QM_NO_KERNEL;
    if (uiComponents == 0) return QM_OK;
    const Dst dst{pDst, uiDstWidthBytes};
    const Src src{pSrc, uiSrcWidthBytes};
    const KnownPart known{uiKnownLeft, uiKnownTop, uiKnownWidth, uiKnownHeight, pBackground};
    if (filters(eMode)) return stretch_filtered(dst, src, uiComponents, bits, window, known, eMode);
    return stretch_quick(dst, src, uint64_t{uiComponents} * bits / 8, window, known);
}

int CQmFloatPicMemAPI_Base::StretchDisplay(float* pDst, uint32_t uiDstWidth, uint32_t uiDstHeight,
                                           uint32_t uiComponents, uint32_t uiDstWidthBytes,
                                           uint32_t /*uiBpc*/, uint32_t uiVirtualWidth,
                                           uint32_t uiVirtualHeight, uint32_t uiLeft,
                                           uint32_t uiTop, const float* pSrc, uint32_t uiSrcWidth,
                                           uint32_t uiSrcHeight, uint32_t uiSrcWidthBytes,
                                           CQmPicMemAPI_Base::EQmPicStretchMode eMode, bool bFlipX,
                                           bool bFlipY) {
    const StretchWindow window{uiDstWidth, uiDstHeight, uiVirtualWidth, uiVirtualHeight, uiLeft,
                               uiTop,      uiSrcWidth,  uiSrcHeight,    bFlipX,          bFlipY};
    if (!has_virtual_size(window)) return QM_BAD_BUFFER;
    if (is_empty(window)) return QM_OK;
    if (!has_source(window)) return QM_BAD_BUFFER;
    if (uiComponents == 0) return QM_OK;
    if (filters(eMode))
        return stretch_filtered(FloatDst{pDst, uiDstWidthBytes}, FloatSrc{pSrc, uiSrcWidthBytes},
                                uiComponents, window, eMode);
    return stretch_quick({pDst, uiDstWidthBytes}, {pSrc, uiSrcWidthBytes},
                         uiComponents * uint64_t{sizeof(float)}, window);
}
