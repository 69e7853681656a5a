#include "core/rows.h"
#include "qmpic/PicBuf.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"
#include "qmpic/system/Diag.h"

// Components of picture buffers.

int SQmPicBufAPI_Base::CopyRectComp(uint32_t uiDstX, uint32_t uiDstY, uint32_t uiWidth,
                                    uint32_t uiHeight, uint32_t uiDstComponent, SQmPicBuf* pDst,
                                    uint32_t uiSrcX, uint32_t uiSrcY, uint32_t uiSrcComponent,
                                    const SQmPicBuf* pSrc) {
    using namespace qmpic;
    if (!Check(pDst, pSrc, CheckBpc)) {
        DiagAssertW(false, L"true",
                    L"SQmPicBufAPI_Base::CopyRectComp, sour and dest must have the same format",
                    L"PicBufAPI_Base", 336);
        return QM_BAD_BUFFER;
    }
    if (pDst->pData == nullptr) return QM_BAD_BUFFER;
    if (pSrc->pData == nullptr) return QM_OK;
    // 17 to 24 bits are 3 bytes here, as in CopyRect, although the components are moved as 4.
    const uint64_t bytes = (uint64_t{pSrc->uiBpc} + 7) / 8;
    auto* const dst = Dst{pDst->pData, pDst->uiWidthBytes}.row<uint8_t>(uiDstY);
    const auto* const src = Src{pSrc->pData, pSrc->uiWidthBytes}.row<uint8_t>(uiSrcY);
    return CQmPicMemAPI_Base::CopyComponent(
        dst + uiDstX * bytes * pDst->uiComponents, pDst->uiComponents, pDst->uiWidthBytes,
        uiDstComponent, src + uiSrcX * bytes * pSrc->uiComponents, pSrc->uiComponents,
        pSrc->uiWidthBytes, uiSrcComponent, pSrc->uiBpc, uiWidth, uint64_t{uiWidth} * uiHeight);
}
