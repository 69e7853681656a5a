#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>

#include "core/frame.h"
#include "qmpic/Lut.h"
#include "qmpic/PicMemAPI_Base.h"

// The entry that a display calls. It draws nothing itself: it chooses who does.

namespace {

using namespace qmpic;

constexpr uint32_t kComponents = 3, kBits = 8;  // of a screen

using Api = CQmPicMemAPI_Base;

struct Release {
    void operator()(void* p) const { operator delete(p); }
};

bool apart(const void* a, uint64_t a_bytes, const void* b, uint64_t b_bytes) {
    const auto first = reinterpret_cast<uintptr_t>(a), second = reinterpret_cast<uintptr_t>(b);
    return first < second ? second - first >= a_bytes : first - second >= b_bytes;
}

/// One component of 9 to 16 bits, by way of bytes. A strip of rows at a time, so that their bytes
/// are still in the cache when they are spread; but all at once where a strip of the destination
/// could lie on a source row that is still to be read.
int words_to_colour(void* dst, uint32_t dst_stride, const void* src, uint32_t bpc,
                    uint32_t src_stride, uint32_t width, uint64_t size) {
    constexpr uint64_t kStripBytes = 16 * 1024;
    if (nothing_to_do(dst, src, width, size)) return QM_OK;
    const std::unique_ptr<void, Release> bytes(operator new(size));
    const uint64_t rows = size / width;
    const bool in_strips = apart(dst, rows * dst_stride, src, rows * src_stride);
    const uint64_t strip = in_strips ? std::max<uint64_t>(kStripBytes / width, 1) : rows;
    for (uint64_t y = 0; y < rows; y += strip) {
        const uint64_t pixels = std::min(strip, rows - y) * width;
        const auto* const from = static_cast<const std::byte*>(src) + y * src_stride;
        auto* const to = static_cast<std::byte*>(dst) + y * dst_stride;
        int code = Api::ConvertBitDepthViaShifts(bytes.get(), kBits, width, from, bpc, src_stride,
                                                 1, width, pixels);
        if (code == QM_OK)
            code = Api::ExpandComponent(to, kComponents, dst_stride, bytes.get(), width, kBits,
                                        width, pixels);
        if (code != QM_OK) return code;
    }
    return QM_OK;
}

}  // namespace

int CQmPicMemAPI_Base::ConvertToTrueColor(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                          uint32_t uiSrcComponents, uint32_t uiSrcBpc,
                                          uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                                          uint64_t uiSizeInPixels, const SQmLut* pLut) {
    if (pLut == nullptr) {
        const uint32_t bits = storage_bits(uiSrcBpc);
        if (uiSrcComponents == 1 && bits == 8)
            return ExpandComponent(pDst, kComponents, uiDstWidthBytes, pSrc, uiSrcWidthBytes, kBits,
                                   uiWidth, uiSizeInPixels);
        if (uiSrcComponents == 1 && bits == 16)
            return words_to_colour(pDst, uiDstWidthBytes, pSrc, uiSrcBpc, uiSrcWidthBytes, uiWidth,
                                   uiSizeInPixels);
        if (uiSrcComponents == kComponents && bits == 8)
            return Copy(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, kComponents, kBits, uiWidth,
                        uiSizeInPixels);
        if (uiSrcComponents == kComponents && bits == 16)
            return ConvertBitDepthViaShifts(pDst, kBits, uiDstWidthBytes, pSrc, uiSrcBpc,
                                            uiSrcWidthBytes, kComponents, uiWidth, uiSizeInPixels);
        return QM_REJECTED;
    }
    if (pLut->ucDstBpc != kBits) return QM_REJECTED;

    const uint32_t selected = pLut->rmComponents.GetCount();
    if (selected == 0) {
        const uint8_t black[kComponents] = {};
        return SetValue(pDst, kComponents, kBits, uiDstWidthBytes, black, uiWidth, uiSizeInPixels);
    }
    if (uint32_t component = 0;
        selected == 1 && pLut->pParams == nullptr && pLut->rmComponents.GetFirst(&component)) {
        if (component >= uiSrcComponents) return QM_REJECTED;
        return ExtractComponentViaLuts(pDst, kComponents, kBits, uiDstWidthBytes, pSrc,
                                       uiSrcComponents, uiSrcBpc, uiSrcWidthBytes, component, pLut,
                                       uiWidth, uiSizeInPixels);
    }
    if (pLut->ucComponents != 1)
        return MapComponentsMToN(pDst, kComponents, kBits, uiDstWidthBytes, pSrc, uiSrcComponents,
                                 uiSrcBpc, uiSrcWidthBytes, pLut, uiWidth, uiSizeInPixels);
    if (uiSrcComponents == 1)
        return MapValueToComponents(pDst, kComponents, kBits, uiDstWidthBytes, pSrc, uiSrcBpc,
                                    uiSrcWidthBytes, pLut, uiWidth, uiSizeInPixels);
    if (uiSrcComponents == kComponents)
        return ConvertBitDepthViaLuts(pDst, kBits, uiDstWidthBytes, pSrc, uiSrcBpc, uiSrcWidthBytes,
                                      pLut, kComponents, uiWidth, uiSizeInPixels);
    return QM_REJECTED;
}
