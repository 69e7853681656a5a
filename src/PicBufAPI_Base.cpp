#include <algorithm>
#include <cstring>
#include <utility>

#include "core/shapes.h"
#include "picture_records.h"
#include "qmpic/PicBuf.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"
#include "qmpic/system/Alloc.h"

// Picture buffers: the memory of a picture, and copies from picture to picture. What works on
// pixels takes pointers and formats out of the records and goes to raw memory.

namespace {

using namespace qmpic;

Dst pixels_of(SQmPicBuf* picture) { return {picture->pData, picture->uiWidthBytes}; }
Src pixels_of(const SQmPicBuf* picture) { return {picture->pData, picture->uiWidthBytes}; }

int refuse(const wchar_t* message, unsigned line) {
    return qmpic::refuse(message, L"PicBufAPI_Base", line);
}

/// The rows and pixels that two pictures have in common.
Area common_area(const SQmPicBuf& a, const SQmPicBuf& b) {
    return {std::min(a.uiWidth, b.uiWidth), std::min(a.uiHeight, b.uiHeight)};
}

/// The components that both have; those that only the destination has become 0.
template <class T, uint32_t to, uint32_t from>
void copy_pixels(Dst dst, Count<to> d_count, Src src, Count<from> s_count, Area area) {
    each_pixel<T, T>(kCallingThread, dst, d_count, src, s_count, area,
                     [=](Sample<T>* d, const Sample<T>* s) {
                         const uint64_t both = std::min(d_count(), s_count());
                         for (uint64_t i = 0; i < both; ++i) d[i] = s[i];
                         for (uint64_t i = both; i < d_count(); ++i) d[i] = 0;
                     });
}

template <class T>
void copy_pixels(Dst dst, uint32_t to, Src src, uint32_t from, Area area) {
    if (to == 1 && from != 0)
        return map<T, T>(kCallingThread, {dst}, {src, from}, area, [](T sample) { return sample; });
    if constexpr (sizeof(T) <= 2) {  // what there is most of
        if (to == 3 && from == 1) return copy_pixels<T, 3, 1>(dst, {}, src, {}, area);
        if (to == 3 && from == 4) return copy_pixels<T, 3, 4>(dst, {}, src, {}, area);
        if (to == 4 && from == 3) return copy_pixels<T, 4, 3>(dst, {}, src, {}, area);
    }
    copy_pixels<T, 0, 0>(dst, {to}, src, {from}, area);
}

/// Where an unpacked mask selects: its first byte of a pixel is `value`.
struct Mask {
    Src bytes;
    uint64_t step;
    uint8_t value;
};

/// Pixels of one unit of T that lie side by side, as do the mask's.
template <class T>
void copy_units_where(Mask mask, Dst dst, Src src, Area area) {
    area = joined(kCallingThread, area,
                  {{dst.stride, sizeof(T)}, {src.stride, sizeof(T)}, {mask.bytes.stride, 1}});
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {  // a mask is no shape's
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            const Sample<uint8_t>* const m = mask.bytes.row<uint8_t>(y);
            const Sample<T>* const s = src.row<T>(y);
            Sample<T>* const d = dst.row<T>(y);
            for (uint64_t x = 0; x < area.width; ++x) {
                const T given = s[x], there = d[x];
                d[x] = m[x] == mask.value ? given : there;
            }
        }
    });
}

/// `count` units of T of each pixel; pixels lie `step` units apart.
template <class T, uint32_t known>
void copy_pixels_where(Mask mask, Dst dst, Src src, uint64_t step, Count<known> count, Area area) {
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            const Sample<uint8_t>* m = mask.bytes.row<uint8_t>(y);
            const Sample<T>* s = src.row<T>(y);
            Sample<T>* d = dst.row<T>(y);
            for (uint64_t x = 0; x < area.width; ++x, m += mask.step, s += step, d += step)
                if (*m == mask.value)
                    for (uint64_t i = 0; i < count(); ++i) d[i] = s[i];
        }
    });
}

template <class T>
void copy_where(Mask mask, Dst dst, Src src, uint64_t step, uint32_t count, Area area) {
    if (mask.step == 1 && step == 1) return copy_units_where<T>(mask, dst, src, area);
    if (count == 3) return copy_pixels_where<T, 3>(mask, dst, src, step, {}, area);
    copy_pixels_where<T, 0>(mask, dst, src, step, {count}, area);
}

}  // namespace

void SQmPicBufAPI_Base::Init(SQmPicBuf* pBuf) { std::memset(pBuf, 0, sizeof *pBuf); }

void SQmPicBufAPI_Base::InitN(SQmPicBuf** ppBufs, uint32_t uiCount) {
    for (uint32_t i = 0; i < uiCount; ++i) Init(ppBufs[i]);
}

void SQmPicBufAPI_Base::Free(SQmPicBuf* pBuf) {
    if (pBuf->pData == nullptr) return;
    CQmAlloc::Free(pBuf->pData);
    pBuf->pData = nullptr;
}

// The records themselves are released and not what they hold.
void SQmPicBufAPI_Base::FreeN(SQmPicBuf** ppBufs, uint32_t uiCount) {
    for (uint32_t i = 0; i < uiCount; ++i) CQmAlloc::Free(ppBufs[i]);
}

int SQmPicBufAPI_Base::Reinit(SQmPicBuf* pBuf, uint32_t uiWidth, uint32_t uiHeight,
                              uint32_t uiWidthBytes, uint32_t uiBpc, uint32_t uiComponents,
                              bool bClear) {
    if (uiWidthBytes == 0) {
        if (uint64_t{CalcCompSize(uiBpc)} * uiWidth * uiComponents > 0xFFFFFFFC) {
            take(*pBuf, {});  // and the old pixels stay
            return QM_NO_MEMORY;
        }
        uiWidthBytes = CalcWidthBytes(uiWidth, uiBpc, uiComponents, 4);
    }
    take(*pBuf, describe(uiWidth, uiHeight, uiWidthBytes, uiBpc, uiComponents));

    const uint64_t rounded = (pBuf->ui64Size + 15) / 16 * 16;
    void* const old = pBuf->pData;
    pBuf->pData = CQmAlloc::ReAlloc(old, rounded, 0, 16);
    if (pBuf->pData == nullptr) {               // once more, without the old contents
        if (rounded != 0) CQmAlloc::Free(old);  // of 0 bytes it is released by now
        pBuf->pData = CQmAlloc::Alloc(0, pBuf->ui64Size, 16);
    }
    if (pBuf->pData == nullptr) {
        take(*pBuf, {});
        return QM_NO_MEMORY;
    }
    if (bClear) std::memset(pBuf->pData, 0, pBuf->ui64Size);
    return QM_OK;
}

int SQmPicBufAPI_Base::ReinitN(SQmPicBuf** ppBufs, uint32_t uiCount, uint32_t uiWidth,
                               uint32_t uiHeight, uint32_t uiWidthBytes, uint32_t uiBpc,
                               uint32_t uiComponents, bool bClear) {
    for (uint32_t i = 0; i < uiCount; ++i)
        if (const int status =
                Reinit(ppBufs[i], uiWidth, uiHeight, uiWidthBytes, uiBpc, uiComponents, bClear))
            return status;
    return QM_OK;
}

int SQmPicBufAPI_Base::ReinitAndCopy(SQmPicBuf* pDst, const SQmPicBuf* pSrc) {
    if (const int status = Reinit(pDst, pSrc->uiWidth, pSrc->uiHeight, pSrc->uiWidthBytes,
                                  pSrc->uiBpc, pSrc->uiComponents, false))
        return status;
    return Copy(pDst, pSrc);
}

int SQmPicBufAPI_Base::GetDesc(uint32_t uiWidth, uint32_t uiHeight, uint32_t uiBpc,
                               uint32_t uiComponents, SQmPicBufDesc& desc) {
    return GetDesc(uiWidth, uiHeight, uiBpc, uiComponents, 4, desc);
}

int SQmPicBufAPI_Base::GetDesc(uint32_t uiWidth, uint32_t uiHeight, uint32_t uiBpc,
                               uint32_t uiComponents, uint32_t uiAlignment, SQmPicBufDesc& desc) {
    desc = describe(uiWidth, uiHeight, CalcWidthBytes(uiWidth, uiBpc, uiComponents, uiAlignment),
                    uiBpc, uiComponents);
    return QM_OK;
}

int SQmPicBufAPI_Base::SetDesc(SQmPicBuf* pBuf, const SQmPicBufDesc& desc) {
    if (pBuf == nullptr || pBuf->pData != nullptr) return QM_BAD_BUFFER;
    take(*pBuf, desc);
    return QM_OK;
}

uint32_t SQmPicBufAPI_Base::CalcCompSize(uint32_t uiBpc) {
    return CQmPicMemAPI_Base::CalcCompSize(uiBpc);
}

uint32_t SQmPicBufAPI_Base::CalcWidthBytes(uint32_t uiWidth, uint32_t uiBpc, uint32_t uiComponents,
                                           uint32_t uiAlignment) {
    return CQmPicMemAPI_Base::CalcWidthBytes(uiWidth, uiBpc, uiComponents, uiAlignment);
}

bool SQmPicBufAPI_Base::Check(const SQmPicBuf* p1, const SQmPicBuf* p2, CheckOptions option) {
    return alike<SQmPicBufAPI_Base>(p1, p2, option);
}

int SQmPicBufAPI_Base::Copy(SQmPicBuf* pDst, const SQmPicBuf* pSrc) {
    if (!Check(pDst, pSrc, CheckBpcComponents))
        return refuse(L"SQmPicBufAPI_Base::Copy, sour and dest must have the same format", 227);
    if (pSrc->pData == nullptr) return QM_BAD_BUFFER;
    if (Check(pDst, pSrc, CheckSize) && pDst->ui64Size == pSrc->ui64Size) {  // with its gaps
        if (pSrc->ui64Size != 0) std::memmove(pDst->pData, pSrc->pData, pSrc->ui64Size);
        return QM_OK;
    }
    const Area area = common_area(*pDst, *pSrc);
    const uint64_t pixel = uint64_t{CalcCompSize(pSrc->uiBpc)} * pSrc->uiComponents;
    copy_lines(kCallingThread, pixels_of(pDst), pixels_of(pSrc), area.width * pixel, area.rows);
    return QM_OK;
}

int SQmPicBufAPI_Base::CopyComp(SQmPicBuf* pDst, SQmPicBuf* pSrc) {
    if (!Check(pDst, pSrc, CheckBpc))  // under the name of Copy
        return refuse(L"SQmPicBufAPI_Base::Copy, sour and dest must have same bpc", 281);
    if (pDst->uiComponents == pSrc->uiComponents) return Copy(pDst, pSrc);
    if (pSrc->pData == nullptr) return QM_BAD_BUFFER;
    const Area area = common_area(*pDst, *pSrc);
    const Dst dst = pixels_of(pDst);
    const Src src{pSrc->pData, pSrc->uiWidthBytes};
    const uint32_t to = pDst->uiComponents, from = pSrc->uiComponents;
    switch (CalcCompSize(pSrc->uiBpc)) {
    case 1: copy_pixels<uint8_t>(dst, to, src, from, area); break;
    case 2: copy_pixels<uint16_t>(dst, to, src, from, area); break;
    case 4: copy_pixels<uint32_t>(dst, to, src, from, area); break;
    case 8: copy_pixels<uint64_t>(dst, to, src, from, area); break;
    default: break;  // 0 bits are 0 bytes
    }
    return QM_OK;
}

int SQmPicBufAPI_Base::CopyRect(uint32_t uiDstX, uint32_t uiDstY, uint32_t uiWidth,
                                uint32_t uiHeight, SQmPicBuf* pDst, uint32_t uiSrcX,
                                uint32_t uiSrcY, const SQmPicBuf* pSrc) {
    if (!Check(pDst, pSrc, CheckBpcComponents))
        return refuse(L"SQmPicBufAPI_Base::CopyRect, sour and dest must have the same format", 260);
    if (pDst->pData == nullptr || pSrc->pData == nullptr) return QM_OK;
    auto* const dst = pixels_of(pDst).row<uint8_t>(uiDstY);
    const auto* const src = pixels_of(pSrc).row<uint8_t>(uiSrcY);
    if (uiDstX == 0 && uiSrcX == 0 && uiWidth == pDst->uiWidth && uiWidth == pSrc->uiWidth &&
        uiHeight != 0 && pDst->uiWidthBytes == pSrc->uiWidthBytes) {  // with its gaps
        std::memmove(dst, src, uint64_t{uiHeight} * pSrc->uiWidthBytes);
        return QM_OK;
    }
    // 17 to 24 bits are 3 bytes here, as in every operation on raw lines.
    const uint64_t pixel = (uint64_t{pSrc->uiBpc} + 7) / 8 * pSrc->uiComponents;
    return CQmPicMemAPI_Base::Copy(dst + uiDstX * pixel, pDst->uiWidthBytes, src + uiSrcX * pixel,
                                   pSrc->uiWidthBytes, pSrc->uiComponents, pSrc->uiBpc, uiWidth,
                                   uint64_t{uiWidth} * uiHeight);
}

int SQmPicBufAPI_Base::CopyViaBinaryUnpacked(SQmPicBuf* pDst, SQmPicBuf* pSrc, SQmPicBuf* pMask,
                                             bool bInverted) {
    if (!Check(pDst, pSrc, CheckSizeBpcComponents) || !Check(pDst, pMask, CheckSize))
        return QM_BAD_BUFFER;
    if (pDst->pData == nullptr || pSrc->pData == nullptr || pMask->pData == nullptr)
        return QM_BAD_BUFFER;
    const uint32_t value = bInverted ? 0 : CQmPicMemAPI_Base::CalcUintMax(pMask->uiBpc);
    if (value > 0xFF) return QM_OK;  // a mask of more than 8 bits: a byte never equals its maximum

    // Above 16 bits pixels have their true size, but only as many words of 16 bits as there are
    // components are copied.
    const Mask mask{
        {pMask->pData, pMask->uiWidthBytes}, pMask->uiComponents, static_cast<uint8_t>(value)};
    const Dst dst = pixels_of(pDst);
    const Src src{pSrc->pData, pSrc->uiWidthBytes};
    const uint32_t count = pDst->uiComponents;
    const Area area{pDst->uiWidth, pDst->uiHeight};
    if (pDst->uiBpc > 8)
        copy_where<uint16_t>(mask, dst, src, uint64_t{CalcCompSize(pDst->uiBpc)} / 2 * count, count,
                             area);
    else
        copy_where<uint8_t>(mask, dst, src, count, count, area);
    return QM_OK;
}

int SQmPicBufAPI_Base::Swap(SQmPicBuf* p1, SQmPicBuf* p2) {
    std::swap(*p1, *p2);
    return QM_OK;
}
