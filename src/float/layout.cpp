#include <algorithm>
#include <cstring>

#include "core/frame.h"
#include "core/rows.h"
#include "float/float_kernels.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/PicMemAPI_Base.h"

// Blocks of packed pictures and what is laid out of them, and mirrors. All of it in blocks for the
// C library, but for mirrored rows.

namespace {

using namespace qmpic;

/// A place in a packed picture.
struct Place {
    uint64_t width, x, y;
    uint64_t offset(uint64_t row, uint64_t components) const {
        return ((y + row) * width + x) * components;
    }
};

void copy_block(float* dst, Place to, const float* src, Place from, uint64_t width, uint64_t height,
                uint64_t components) {
    auto* const d = reinterpret_cast<Sample<float>*>(dst);
    const auto* const s = reinterpret_cast<const Sample<float>*>(src);
    uint64_t row = width * components * sizeof(float), rows = height;
    if (width == to.width && width == from.width) row *= rows, rows = std::min<uint64_t>(rows, 1);
    if (row == 0) return;  // however many rows
    for (uint64_t y = 0; y < rows; ++y)
        std::memmove(d + to.offset(y, components), s + from.offset(y, components), row);
}

}  // namespace

int cutfloatpic_to_floatpic(float* pDst, uint32_t uiDstWidth, uint32_t uiDstHeight,
                            const float* pSrc, uint32_t uiSrcWidth, uint32_t /*uiSrcHeight*/,
                            uint32_t uiX, uint32_t uiY, uint32_t uiComponents) {
    copy_block(pDst, {uiDstWidth, 0, 0}, pSrc, {uiSrcWidth, uiX, uiY}, uiDstWidth, uiDstHeight,
               uiComponents);
    return QM_OK;
}

int joinfloatpic_to_floatpic(float* pDst, uint32_t uiDstWidth, uint32_t /*uiDstHeight*/,
                             const float* pSrc, uint32_t uiSrcWidth, uint32_t uiSrcHeight,
                             uint32_t uiX, uint32_t uiY, uint32_t uiComponents) {
    copy_block(pDst, {uiDstWidth, uiX, uiY}, pSrc, {uiSrcWidth, 0, 0}, uiSrcWidth, uiSrcHeight,
               uiComponents);
    return QM_OK;
}

int joinfloatpic_to_floatpic_ex(float* pDst, uint32_t uiDstWidth, uint32_t /*uiDstHeight*/,
                                const float* pSrc, uint32_t uiSrcWidth, uint32_t /*uiSrcHeight*/,
                                uint32_t uiDstX, uint32_t uiDstY, uint32_t uiSrcX, uint32_t uiSrcY,
                                uint32_t uiWidth, uint32_t uiHeight, uint32_t uiComponents) {
    copy_block(pDst, {uiDstWidth, uiDstX, uiDstY}, pSrc, {uiSrcWidth, uiSrcX, uiSrcY}, uiWidth,
               uiHeight, uiComponents);
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::ZeroPad(float* pDst, uint32_t uiDstWidth, uint32_t uiDstHeight,
                                    const float* pSrc, uint32_t uiSrcWidth, uint32_t uiSrcHeight,
                                    uint32_t uiComponents) {
    if (pDst == nullptr || pSrc == nullptr) return QM_OK;
    if (uiDstWidth < uiSrcWidth || uiDstHeight < uiSrcHeight) return QM_REJECTED;
    const uint64_t floats = uint64_t{uiDstWidth} * uiDstHeight * uiComponents;
    std::memset(reinterpret_cast<std::byte*>(pDst), 0, floats * sizeof(float));
    return joinfloatpic_to_floatpic(pDst, uiDstWidth, uiDstHeight, pSrc, uiSrcWidth, uiSrcHeight,
                                    (uiDstWidth - uiSrcWidth) >> 1,
                                    (uiDstHeight - uiSrcHeight) >> 1, uiComponents);
}

int CQmFloatPicMemAPI_Base::TilePad(float* pDst, uint32_t uiDstWidth, uint32_t uiDstHeight,
                                    const float* pSrc, uint32_t uiSrcWidth, uint32_t uiSrcHeight,
                                    uint32_t uiComponents) {
    if (pDst == nullptr || pSrc == nullptr) return QM_OK;
    if (uiDstWidth < uiSrcWidth || uiDstHeight < uiSrcHeight) return QM_REJECTED;
    const uint32_t more_columns = uiDstWidth - uiSrcWidth, more_rows = uiDstHeight - uiSrcHeight;
    const uint32_t left = more_columns >> 1, top = more_rows >> 1;
    const uint32_t right = left + uiSrcWidth, bottom = top + uiSrcHeight;
    const uint32_t right_width = uiDstWidth - right, bottom_height = uiDstHeight - bottom;
    // A wider margin is more than a source repeats itself once.
    if (right_width > uiSrcWidth || bottom_height > uiSrcHeight) return QM_REJECTED;

    const auto join = [=](uint32_t to_x, uint32_t to_y, uint32_t from_x, uint32_t from_y,
                          uint32_t width, uint32_t height) {
        joinfloatpic_to_floatpic_ex(pDst, uiDstWidth, uiDstHeight, pSrc, uiSrcWidth, uiSrcHeight,
                                    to_x, to_y, from_x, from_y, width, height, uiComponents);
    };
    const uint32_t last_columns = uiSrcWidth - left, last_rows = uiSrcHeight - top;
    join(left, top, 0, 0, uiSrcWidth, uiSrcHeight);
    if (more_columns > 1) {
        if (more_rows > 1) join(0, 0, last_columns, last_rows, left, top);
        join(0, top, last_columns, 0, left, uiSrcHeight);
        if (bottom < uiDstHeight) join(0, bottom, last_columns, 0, left, bottom_height);
    }
    if (more_rows > 1) join(left, 0, 0, last_rows, uiSrcWidth, top);
    if (bottom < uiDstHeight) join(left, bottom, 0, 0, uiSrcWidth, bottom_height);
    if (bottom >= uiDstWidth) return QM_OK;  // a row is compared with the width: it is meant
    if (more_rows > 1) join(right, 0, 0, last_rows, right_width, top);
    join(right, top, 0, 0, right_width, uiSrcHeight);
    if (bottom >= uiDstHeight) return QM_OK;
    join(right, bottom, 0, 0, right_width, bottom_height);
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::FlipCross(float* pDst, const float* pSrc, uint32_t uiComponents,
                                      uint32_t /*uiUnused*/, uint32_t uiWidth, uint32_t uiHeight) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiHeight)) return QM_OK;
    const uint64_t half = uiWidth / 2, top = uiHeight / 2, rest = uiHeight - top;
    // Left and right half of the rows that move down, then of those that move up.
    for (const uint64_t side : {uint64_t{0}, half}) {
        const Place lower{uiWidth, half - side, top}, upper{uiWidth, half - side, 0};
        copy_block(pDst, lower, pSrc, {uiWidth, side, 0}, half, rest, uiComponents);
        copy_block(pDst, upper, pSrc, {uiWidth, side, rest}, half, top, uiComponents);
    }
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::FlipHor(float* pDst, float* pSrc, uint32_t uiBpc, uint32_t uiComponents,
                                    uint32_t uiWidthBytes, uint32_t uiWidth, uint32_t uiHeight) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiHeight)) return QM_OK;
    using Integers = CQmPicMemAPI_Base;
    if (pDst == pSrc)
        return Integers::FlipHor(pDst, pSrc, uiBpc, uiComponents, uiWidthBytes, uiWidth, uiHeight);
    // A float as two words of 16 bits, which are a pixel that can be mirrored.
    const auto mirror = [=](void* d, const void* s, uint32_t rows) {
        Integers::FlipHor(d, s, 16, 2 * uiComponents, uiWidthBytes, uiWidth, rows);
    };
    const FloatDst dst{pDst, uiWidthBytes};
    const FloatSrc src{pSrc, uiWidthBytes};
    if (uiWidthBytes % sizeof(float) == 0 && uiHeight <= dst.rows_before_wrap())
        mirror(pDst, pSrc, uiHeight);
    else
        for (uint64_t y = 0; y < uiHeight; ++y) mirror(dst.row(y), src.row(y), 1);
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::FlipVert(float* pDst, uint32_t uiDstWidthBytes, const float* pSrc,
                                     uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                                     uint64_t uiSizeInPixels) {
    return CQmPicMemAPI_Base::FlipVert(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, uiWidth,
                                       uiSizeInPixels);
}
