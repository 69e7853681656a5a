#include <algorithm>
#include <cstddef>
#include <cstring>

#include "histogram/blocks.h"
#include "qmpic/Histo.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"
#include "qmpic/system/Alloc.h"

// The record of a histogram: its memory, and what is done with whole histograms.

namespace qmpic {

void release_blocks(SQmHisto& histo) {
    CQmAlloc::Free(histo.ppCompData);
    CQmAlloc::Free(histo.pData);
    histo.ppCompData = nullptr;
    histo.pData = nullptr;
}

namespace {

/// ReAlloc that releases the old block when there is no memory for a new one.
void* resized(void* old, uint64_t bytes) {
    void* const block = CQmAlloc::ReAlloc(old, bytes, CQmAlloc::ZeroFill, 16);
    if (block == nullptr && bytes != 0) CQmAlloc::Free(old);  // of 0 bytes it is released by now
    return block;
}

}  // namespace

bool renew_blocks(SQmHisto& histo) {
    histo.pData = resized(histo.pData, bytes_of(histo));
    if (histo.pData == nullptr) return release_blocks(histo), false;
    const uint64_t components = histo.uiComponents;
    histo.ppCompData =
        static_cast<void**>(resized(histo.ppCompData, components * sizeof *histo.ppCompData));
    if (!has_blocks(histo)) return release_blocks(histo), false;
    const uint64_t block = bytes_of(histo) / blocks_of(histo);
    for (uint64_t c = 0; c < components;
         ++c)  // behind the intensity, if that is a block of its own
        histo.ppCompData[c] =
            static_cast<std::byte*>(histo.pData) + (components < 2 ? c : c + 1) * block;
    return true;
}

}  // namespace qmpic

namespace {

using namespace qmpic;

bool has_format(const SQmHisto& histo, const SQmPicBufDesc& desc) {
    return histo.uiBits == desc.uiBpc && histo.uiComponents == desc.uiComponents;
}

/// Makes the record one of a picture's size, with whatever blocks there is memory for.
void renew(SQmHisto& histo, uint32_t bin_bytes, uint32_t bits, const SQmPicBufDesc& desc) {
    histo.uiBinBytes = bin_bytes;
    histo.uiComponents = desc.uiComponents;
    histo.uiBits = bits;
    histo.uiWidth = histo.uiPicWidth = desc.uiWidth;
    histo.uiHeight = histo.uiPicHeight = desc.uiHeight;
    renew_blocks(histo);
}

/// A code as a count: all upper bits are set.
uint64_t as_count(QmStatus status) { return static_cast<uint64_t>(int64_t{status}); }

}  // namespace

void CQmHistoAPI_Base::Init(SQmHisto* pHisto) {
    if (pHisto == nullptr) return;
    std::memset(pHisto, 0, sizeof *pHisto);
    pHisto->uiStepX = pHisto->uiStepY = 1;
}

int CQmHistoAPI_Base::Reinit32(SQmHisto* pHisto, const SQmPicBufDesc* pDesc) {
    if (pHisto == nullptr || pDesc == nullptr) return QM_BAD_BUFFER;
    // The picture's size is not looked at, and so stays that of the last picture. A depth above 16
    // is never the record's, and so takes this exit never.
    if (has_format(*pHisto, *pDesc) && pHisto->uiBinBytes == 4 && pHisto->pData != nullptr)
        return QM_OK;
    renew(*pHisto, 4, std::min<uint32_t>(pDesc->uiBpc, 16), *pDesc);
    return QM_OK;
}

int CQmHistoAPI_Base::Reinit64(SQmHisto* pHisto, const SQmPicBufDesc* pDesc) {
    if (pHisto == nullptr || pDesc == nullptr) return QM_BAD_BUFFER;
    // 4 bytes, and no look at the blocks: a histogram of this format with narrow bins keeps them.
    if (has_format(*pHisto, *pDesc) && pHisto->uiBinBytes == 4) return QM_OK;
    renew(*pHisto, 8, pDesc->uiBpc, *pDesc);
    return QM_OK;
}

void CQmHistoAPI_Base::Free(SQmHisto* pHisto) {
    if (pHisto != nullptr) release_blocks(*pHisto);
}

void CQmHistoAPI_Base::ResetToZero(SQmHisto* pHisto) {
    if (pHisto == nullptr || pHisto->pData == nullptr) return;
    std::memset(pHisto->pData, 0, bytes_of(*pHisto));
}

int CQmHistoAPI_Base::Copy(SQmHisto* pDst, const SQmHisto* pSrc) {
    if (pDst == nullptr || pSrc == nullptr || pSrc->pData == nullptr) return QM_BAD_BUFFER;
    const bool fits = pDst->pData != nullptr && pDst->uiBits == pSrc->uiBits &&
                      pDst->uiComponents == pSrc->uiComponents &&
                      pDst->uiBinBytes == pSrc->uiBinBytes;
    void* const data = pDst->pData;
    void** const components = pDst->ppCompData;
    *pDst = *pSrc;
    pDst->pData = data;
    pDst->ppCompData = components;
    if (!fits && !renew_blocks(*pDst)) return QM_BAD_BUFFER;
    std::memmove(pDst->pData, pSrc->pData, bytes_of(*pSrc));
    return QM_OK;
}

int CQmHistoAPI_Base::Add(SQmHisto* pDst, const SQmHisto* pSrc) {
    if (pDst == nullptr || pSrc == nullptr) return QM_BAD_BUFFER;
    if (pDst->uiBits != pSrc->uiBits || pDst->uiComponents != pSrc->uiComponents)
        return QM_BAD_BUFFER;
    if (pSrc->uiBinBytes == 8 && pDst->uiBinBytes < 8) return QM_BAD_BUFFER;  // it would not fit
    if (!has_blocks(*pDst) || !has_blocks(*pSrc)) return QM_OK;
    CQmPicMemAPI_Base::AddHisto(pSrc->pData, pSrc->ppCompData, pDst->pData, pDst->ppCompData,
                                pSrc->uiBits, pSrc->uiComponents, pSrc->uiBinBytes);
    return QM_OK;
}

uint64_t CQmHistoAPI_Base::GetValue(const SQmHisto* pHisto, uint32_t uiComp, uint32_t uiIndex) {
    if (pHisto == nullptr || uiComp >= pHisto->uiComponents || uiIndex >= bins_of(*pHisto))
        return as_count(QM_REJECTED);
    if (pHisto->uiBinBytes != 4 && pHisto->uiBinBytes != 8) return as_count(QM_BAD_BUFFER);
    if (pHisto->ppCompData == nullptr) return as_count(QM_REJECTED);
    const void* const block = pHisto->ppCompData[uiComp];
    return pHisto->uiBinBytes == 4 ? static_cast<const uint32_t*>(block)[uiIndex]
                                   : static_cast<const uint64_t*>(block)[uiIndex];
}
