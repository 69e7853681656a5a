#include <algorithm>
#include <cstring>
#include <utility>

#include "PicMemAPI/bit_words.h"
#include "core/isa.h"
#include "qmpic/kernels/stretch.h"
#include "qmpic/status.h"
#include "stretch/nearest.h"
#include "stretch/pick.h"

// The nearest pixels of packed one-bit pictures. The bytes that hold them are picked as if they
// were the pixels, a bit of each is tested, and eight tests make a byte.

namespace {

using namespace qmpic;

constexpr uint32_t kGroup = 512;  // pixels that are tested and packed together

/// A row of bits from the bytes that were picked for it.
struct PackPicked {
    Sample<uint8_t>* d;
    const uint8_t *picked, *masks;
    uint32_t width;
    void operator()() const {
        for (uint64_t x = 0; x < width; x += kGroup) {
            alignas(64) uint8_t flags[kGroup];
            alignas(64) uint8_t made[kGroup / 8];
            for (uint32_t i = 0; i < kGroup; ++i)
                flags[i] = (picked[x + i] & masks[x + i]) != 0 ? 255 : 0;
            bits::fold<kGroup / 8, bits::kFromLeft>(flags, made);
            std::memcpy(d + x / 8, made, (std::min<uint64_t>(kGroup, width - x) + 7) / 8);
        }
    }
};

/// The nearest pixels of rows whose first pixel is bit `shift` of a byte, from the left. Columns
/// are kept to `last_column`, rows to `last_row`.
int stretch_bits(Dst dst, Src src, const NearestAxis& x, const NearestAxis& y, uint32_t shift,
                 uint32_t last_column, uint32_t last_row) {
    const uint64_t padded = (uint64_t{x.count} + kGroup - 1) / kGroup * kGroup;
    Picker picker(x.count, 1, y.count);
    if (!picker) return QM_NO_MEMORY;
    const Scratch<uint8_t> work(2 * padded);
    if (!work) return QM_NO_MEMORY;
    uint8_t *const picked = work.get(), *const masks = picked + padded;
    std::memset(picked, 0, 2 * padded);  // no bits behind the last pixel
    for (uint32_t i = 0; i < x.count; ++i) {
        const uint64_t bit = uint64_t{std::min(x.nearest(i), last_column)} + shift;
        picker.columns()[i] = static_cast<uint32_t>(bit / 8);
        masks[i] = static_cast<uint8_t>(0x80u >> bit % 8);
    }
    const uint64_t end = (uint64_t{std::min(x.source - 1, last_column)} + shift) / 8 + 1;
    picker.prepare(0, x.count, 0, end);
    const auto row = [&](uint32_t j) { return std::min(y.nearest(j), last_row); };
    uint32_t before = 0, t = row(0);
    for (uint32_t j = 0; j < y.count; ++j) {
        Sample<uint8_t>* const d = dst.row<uint8_t>(j);
        const uint32_t next = j + 1 < y.count ? row(j + 1) : t;
        if (j != 0 && t == before) {
            std::memmove(d, dst.row<uint8_t>(j - 1), (uint64_t{x.count} + 7) / 8);
        } else {
            picker.pick(reinterpret_cast<Sample<uint8_t>*>(picked),
                        src.row<uint8_t>(t) + picker.lowest(),
                        src.row<uint8_t>(next) + picker.lowest());
            on_best_isa(PackPicked{d, picked, masks, x.count});
        }
        before = std::exchange(t, next);
    }
    return QM_OK;
}

/// The last index that lies before `end` together with what is in front of it.
uint32_t last_before(uint64_t end, uint64_t in_front) {
    return end > in_front
               ? static_cast<uint32_t>(std::min<uint64_t>(end - in_front, UINT32_MAX)) - 1
               : 0;
}

}  // namespace

int stretch_quick_binary(void* pDst, uint32_t uiDstWidthBytes, uint32_t uiDstWidth,
                         uint32_t uiDstHeight, const void* pSrc, uint32_t uiSrcWidthBytes,
                         uint32_t uiSrcRows, uint32_t uiBitOffset, uint32_t uiSrcTop,
                         uint32_t uiSrcWidth, uint32_t uiSrcHeight) {
    if (uiDstWidth == 0 || uiDstHeight == 0 || uiSrcWidth == 0 || uiSrcHeight == 0) return QM_OK;
    return stretch_bits({pDst, uiDstWidthBytes}, {pSrc, uiSrcWidthBytes},
                        {uiDstWidth, uiDstWidth, 0, uiSrcWidth, false},
                        {uiDstHeight, uiDstHeight, 0, uiSrcHeight, false}, uiBitOffset % 8,
                        last_before(uint64_t{uiSrcWidthBytes} * 8, uiBitOffset),
                        last_before(uiSrcRows, uiSrcTop));
}

int stretch_quick_binary_display(void* pDst, uint32_t uiDstWidth, uint32_t uiDstHeight,
                                 uint32_t uiDstWidthBytes, uint32_t uiVirtualWidth,
                                 uint32_t uiVirtualHeight, uint32_t uiLeft, uint32_t uiTop,
                                 const void* pSrc, uint32_t uiSrcWidth, uint32_t uiSrcHeight,
                                 uint32_t uiSrcWidthBytes, bool bFlipX, bool bFlipY) {
    if (uiVirtualWidth == 0 || uiVirtualHeight == 0) return QM_BAD_BUFFER;
    if (uiDstWidth == 0 || uiDstHeight == 0) return QM_OK;
    if (uiSrcWidth == 0 || uiSrcHeight == 0) return QM_BAD_BUFFER;
    return stretch_bits({pDst, uiDstWidthBytes}, {pSrc, uiSrcWidthBytes},
                        {uiDstWidth, uiVirtualWidth, uiLeft, uiSrcWidth, bFlipX},
                        {uiDstHeight, uiVirtualHeight, uiTop, uiSrcHeight, bFlipY}, 0,
                        uiSrcWidth - 1, uiSrcHeight - 1);
}
