#include <algorithm>
#include <cfloat>
#include <cstring>
#include <utility>

#include "core/scratch.h"
#include "float/masked_extremes.h"
#include "picture_records.h"
#include "qmpic/FloatPicBuf.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/system/Alloc.h"

// Float picture buffers: the memory of a float picture, its formats, and the least and greatest
// values that travel with it. Work on pixels goes to raw memory.

namespace {

using namespace qmpic;

using Api = SQmFloatPicBufAPI_Base;

int refuse(const wchar_t* message, unsigned line) {
    return qmpic::refuse(message, L"FloatPicBufAPI_Base", line);
}

/// The block with another number of floats. Null when there is no memory, and then the old block is
/// released.
float* resized(float* old, uint64_t bytes, uint32_t flags = 0) {
    void* const block = CQmAlloc::ReAlloc(old, bytes, flags, 16);
    if (block == nullptr && bytes != 0) CQmAlloc::Free(old);
    return static_cast<float*>(block);
}

/// Values [first, count) of an array, which memory may not have sufficed for.
void fill_values(float* values, uint32_t first, uint32_t count, float value) {
    if (values != nullptr && first < count) std::fill(values + first, values + count, value);
}

void copy_values(float* to, const float* from, uint32_t count) {
    if (to != nullptr && count != 0) std::memmove(to, from, uint64_t{count} * sizeof(float));
}

/// An array for `count` components. What it held of `before` components stays.
float* with_components(float* values, uint32_t before, uint32_t count, float nothing) {
    if (values != nullptr && before == count) return values;
    const uint32_t kept = values == nullptr ? 0 : before;
    values = resized(values, uint64_t{count} * sizeof(float));
    fill_values(values, kept, count, nothing);
    return values;
}

bool has_min_max(const SQmFloatPicBuf& picture) {
    return picture.pfMinComp != nullptr && picture.pfMaxComp != nullptr;
}

/// Where pixel x of row y begins; null in a picture without pixels.
float* pixel(const SQmFloatPicBuf& picture, uint32_t x, uint32_t y) {
    if (picture.pfData == nullptr) return nullptr;
    const FloatDst rows{picture.pfData, picture.uiWidthBytes};
    return picture.pfData + rows.offset(y) / sizeof(float) + uint64_t{x} * picture.uiComponents;
}

uint64_t pixels_of(const SQmFloatPicBuf& picture) {
    return uint64_t{picture.uiWidth} * picture.uiHeight;
}

template <class A, class B>
bool fits(const A* a, const B* b, uint32_t most_width, uint32_t most_height) {
    return a != nullptr && b != nullptr && a->uiHeight <= b->uiHeight && a->uiWidth <= b->uiWidth &&
           b->uiWidth <= most_width && b->uiHeight <= most_height;
}

}  // namespace

// ----- Memory and format -------------------------------------------------------------------------

uint32_t Api::CalcWidthBytes(uint32_t uiWidth, uint32_t uiComponents) {
    return uiWidth * uiComponents * 4;
}

void Api::Init(SQmFloatPicBuf* pBuf) { std::memset(pBuf, 0, sizeof *pBuf); }

int Api::Reinit(SQmFloatPicBuf* pBuf, uint32_t uiWidth, uint32_t uiHeight, uint32_t uiWidthBytes,
                uint32_t uiComponents, bool bClear) {
    const uint64_t array = uint64_t{uiComponents} * sizeof(float);
    pBuf->pfMaxComp = resized(pBuf->pfMaxComp, array);
    pBuf->pfMinComp = resized(pBuf->pfMinComp, array);
    fill_values(pBuf->pfMinComp, 0, uiComponents, FLT_MAX);
    fill_values(pBuf->pfMaxComp, 0, uiComponents, -FLT_MAX);

    if (uiWidthBytes == 0) uiWidthBytes = CalcWidthBytes(uiWidth, uiComponents);
    const SQmPicBufDesc desc = describe(uiWidth, uiHeight, uiWidthBytes, 32, uiComponents);
    // Pixels do not outlive a change of size: a new block costs no copy, and zeros no pass.
    const bool reused = pBuf->pfData != nullptr && pBuf->ui64Size == desc.ui64Size;
    if (!reused) CQmAlloc::Free(std::exchange(pBuf->pfData, nullptr));
    pBuf->pfData = resized(pBuf->pfData, desc.ui64Size, bClear ? CQmAlloc::ZeroFill : 0);
    if (pBuf->pfData == nullptr) {
        take(*pBuf, {});
        return QM_NO_MEMORY;
    }
    if (bClear && reused) std::memset(pBuf->pfData, 0, desc.ui64Size);
    pBuf->uiFlags |= 16;
    take(*pBuf, desc);
    return QM_OK;
}

int Api::Reinit16(SQmFloatPicBuf* pBuf, uint32_t uiWidth, uint32_t uiHeight, uint32_t uiWidthBytes,
                  uint32_t uiComponents, bool bClear) {
    return Reinit(pBuf, uiWidth, uiHeight, uiWidthBytes, uiComponents, bClear);
}

int Api::ReinitWithValue(SQmFloatPicBuf* pBuf, uint32_t uiWidth, uint32_t uiHeight,
                         uint32_t uiWidthBytes, uint32_t uiComponents, float fValue) {
    const bool zero = fValue == 0;  // of either sign
    const int status = Reinit(pBuf, uiWidth, uiHeight, uiWidthBytes, uiComponents, zero);
    return zero || status != QM_OK ? status : SetValue(pBuf, fValue);
}

int Api::SetDesc(SQmFloatPicBuf* pBuf, const SQmPicBufDesc& desc) {
    if (pBuf == nullptr || pBuf->pfData != nullptr) return QM_BAD_BUFFER;
    const uint32_t before = pBuf->uiComponents, after = desc.uiComponents;
    pBuf->pfMaxComp = with_components(pBuf->pfMaxComp, before, after, -FLT_MAX);
    pBuf->pfMinComp = with_components(pBuf->pfMinComp, before, after, FLT_MAX);
    take(*pBuf, desc);
    return QM_OK;
}

void Api::Free(SQmFloatPicBuf* pBuf) {
    CQmAlloc::Free(std::exchange(pBuf->pfData, nullptr));
    CQmAlloc::Free(std::exchange(pBuf->pfMaxComp, nullptr));
    CQmAlloc::Free(std::exchange(pBuf->pfMinComp, nullptr));
}

int Api::Clear(SQmFloatPicBuf* pBuf) {
    if (pBuf == nullptr) return QM_BAD_BUFFER;
    if (pBuf->pfData != nullptr) std::memset(pBuf->pfData, 0, pBuf->ui64Size);
    return QM_OK;
}

// The first uiWidth floats of a row, however many components a pixel has; the rest becomes 0.
int Api::SetValue(SQmFloatPicBuf* pBuf, float fValue) {
    if (pBuf == nullptr || pBuf->pfData == nullptr) return QM_BAD_BUFFER;
    const FloatDst dst{pBuf->pfData, pBuf->uiWidthBytes};
    const uint64_t values = std::min(pBuf->uiWidth, pBuf->uiWidthBytes / 4);
    const uint64_t zeros = pBuf->uiWidthBytes - values * sizeof(float);
    walk_rows(kCallingThread, pBuf->uiHeight, [=](RowRange rows) {  // gaps are written, too
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            Sample<float>* const d = dst.row(y);
            for (uint64_t x = 0; x < values; ++x) d[x] = fValue;
            std::memset(static_cast<void*>(d + values), 0, zeros);
        }
    });
    return QM_OK;
}

int Api::Swap(SQmFloatPicBuf* p1, SQmFloatPicBuf* p2) {
    std::swap(*p1, *p2);
    return QM_OK;
}

// ----- Comparison of formats ---------------------------------------------------------------------

bool Api::Is16ByteAligned(SQmFloatPicBuf* /*pBuf*/) { return true; }

bool Api::Check(const SQmFloatPicBuf* p1, const SQmFloatPicBuf* p2, CheckOptions option) {
    return alike<Api>(p1, p2, option);
}

bool Api::Check(const SQmFloatPicBuf* p1, const SQmPicBuf* p2, CheckOptions option) {
    return alike<Api>(p1, p2, option);
}

bool Api::Check_Ex(const SQmFloatPicBuf* pA, const SQmFloatPicBuf* pB, uint32_t uiMaxWidth,
                   uint32_t uiMaxHeight) {
    return fits(pA, pB, uiMaxWidth, uiMaxHeight);
}

bool Api::Check_Ex(const SQmPicBuf* pA, const SQmFloatPicBuf* pB, uint32_t uiMaxWidth,
                   uint32_t uiMaxHeight) {
    return fits(pA, pB, uiMaxWidth, uiMaxHeight);
}

// ----- Copies ------------------------------------------------------------------------------------

// Reports name another class; callers know them so.
int Api::Copy(SQmFloatPicBuf* pDst, const SQmFloatPicBuf* pSrc) {
    if (!Check(pDst, pSrc, CheckSizeBpcComponents))
        return refuse(L"CQmPicBufAPI::Copy, sour and dest must have the same format", __LINE__);
    if (has_min_max(*pDst) && has_min_max(*pSrc)) {
        copy_values(pDst->pfMinComp, pSrc->pfMinComp, pSrc->uiComponents);
        copy_values(pDst->pfMaxComp, pSrc->pfMaxComp, pSrc->uiComponents);
    }
    return CQmFloatPicMemAPI_Base::Copy(pDst->pfData, pDst->uiWidthBytes, pSrc->pfData,
                                        pSrc->uiWidthBytes, pSrc->uiComponents, pSrc->uiWidth,
                                        pixels_of(*pSrc));
}

int Api::CopyRect(uint32_t uiDstX, uint32_t uiDstY, uint32_t uiWidth, uint32_t uiHeight,
                  SQmFloatPicBuf* pDst, uint32_t uiSrcX, uint32_t uiSrcY,
                  const SQmFloatPicBuf* pSrc) {
    if (!Check(pDst, pSrc, CheckBpcComponents))
        return refuse(L"CQmPicBufAPI::CopyRect, sour and dest must have the same format", __LINE__);
    float* const dst = pixel(*pDst, uiDstX, uiDstY);
    const float* const src = pixel(*pSrc, uiSrcX, uiSrcY);
    return CQmFloatPicMemAPI_Base::Copy(dst, pDst->uiWidthBytes, src, pSrc->uiWidthBytes,
                                        pDst->uiComponents, uiWidth, uint64_t{uiWidth} * uiHeight);
}

int Api::CopyRectComp(uint32_t uiDstX, uint32_t uiDstY, uint32_t uiWidth, uint32_t uiHeight,
                      uint32_t uiDstComp, SQmFloatPicBuf* pDst, uint32_t uiSrcX, uint32_t uiSrcY,
                      uint32_t uiSrcComp, const SQmFloatPicBuf* pSrc) {
    float* const dst = pixel(*pDst, uiDstX, uiDstY);
    const float* const src = pixel(*pSrc, uiSrcX, uiSrcY);
    return CQmFloatPicMemAPI_Base::CopyComponent(
        dst, pDst->uiComponents, pDst->uiWidthBytes, uiDstComp, src, pSrc->uiComponents,
        pSrc->uiWidthBytes, uiSrcComp, uiWidth, uint64_t{uiWidth} * uiHeight);
}

// ----- Least and greatest values -----------------------------------------------------------------

int Api::CopyMinMaxInfo(SQmFloatPicBuf* pDst, SQmFloatPicBuf* pSrc) {
    if (pSrc == nullptr || !has_min_max(*pSrc)) return QM_OK;
    if (pDst == nullptr) return QM_BAD_BUFFER;
    if (pDst == pSrc) return QM_OK;
    const uint32_t components = pSrc->uiComponents;
    pDst->pfMinComp = resized(pDst->pfMinComp, uint64_t{components} * sizeof(float));
    pDst->pfMaxComp = resized(pDst->pfMaxComp, uint64_t{components} * sizeof(float));
    copy_values(pDst->pfMinComp, pSrc->pfMinComp, components);
    copy_values(pDst->pfMaxComp, pSrc->pfMaxComp, components);
    return QM_OK;
}

int Api::CopyMinMaxComp(SQmFloatPicBuf* pDst, SQmFloatPicBuf* pSrc) {
    if (!Check(pDst, pSrc, CheckComponents) || !has_min_max(*pDst) || !has_min_max(*pSrc))
        return QM_BAD_BUFFER;
    copy_values(pDst->pfMinComp, pSrc->pfMinComp, pSrc->uiComponents);
    copy_values(pDst->pfMaxComp, pSrc->pfMaxComp, pSrc->uiComponents);
    return QM_OK;
}

int Api::ConvertFromPicBuf(SQmFloatPicBuf* pDst, const SQmPicBuf* pSrc) {
    if (pDst == nullptr || pSrc == nullptr || pSrc->pData == nullptr) return QM_BAD_BUFFER;
    if (!Check(pDst, pSrc, CheckSizeComponents))
        Reinit(pDst, pSrc->uiWidth, pSrc->uiHeight, 0, pSrc->uiComponents, false);
    if (pDst->pfData == nullptr) return QM_NO_MEMORY;
    const int status = CQmFloatPicMemAPI_Base::ConvertPictureToFloat(
        pDst->pfData, pDst->uiWidthBytes, pSrc->pData, pSrc->uiWidthBytes, pSrc->uiBpc,
        pSrc->uiComponents, pSrc->uiWidth, pSrc->uiHeight);
    if (status != QM_OK) return status;
    // The format's range and not the content's. The shift wraps: 32 bits have a maximum of 0.
    const auto top = static_cast<int32_t>((1u << (pSrc->uiBpc & 31)) - 1);
    fill_values(pDst->pfMinComp, 0, pDst->uiComponents, 0);
    fill_values(pDst->pfMaxComp, 0, pDst->uiComponents, static_cast<float>(top));
    return QM_OK;
}

int Api::GetFloatMinMax(const SQmFloatPicBuf* pBuf, float& fMin, float& fMax) {
    if (pBuf == nullptr || pBuf->pfData == nullptr) return QM_BAD_BUFFER;
    return CQmFloatPicMemAPI_Base::GetFloatMinMax(pBuf->pfData, pBuf->uiWidthBytes,
                                                  pBuf->uiComponents, pBuf->uiWidth,
                                                  pixels_of(*pBuf), &fMin, &fMax);
}

int Api::GetFloatMinMax(const SQmFloatPicBuf* pBuf, float* pfMin, float* pfMax) {
    if (pBuf == nullptr || pBuf->pfData == nullptr) return QM_BAD_BUFFER;
    return CQmFloatPicMemAPI_Base::GetFloatMinMaxInComps(pBuf->pfData, pBuf->uiWidthBytes,
                                                         pBuf->uiComponents, pBuf->uiWidth,
                                                         pixels_of(*pBuf), pfMin, pfMax);
}

int Api::GetFloatMinMax(const SQmFloatPicBuf* pBuf, float* pfMin, float* pfMax,
                        const SQmPicBuf* pMask, bool bInverse) {
    if (pBuf == nullptr) return QM_BAD_BUFFER;
    std::fill_n(pfMin, pBuf->uiComponents, FLT_MAX);
    std::fill_n(pfMax, pBuf->uiComponents, -FLT_MAX);
    if (pBuf->pfData == nullptr) return QM_BAD_BUFFER;
    if (Check(pBuf, pMask, CheckSize) && pMask->pData != nullptr && pMask->uiBpc == 8 &&
        pMask->uiComponents != 0)
        find_extremes({{pBuf->pfData, pBuf->uiWidthBytes},
                       pBuf->uiComponents,
                       {pBuf->uiWidth, pBuf->uiHeight},
                       {pMask->pData, pMask->uiWidthBytes},
                       bInverse},
                      pfMin, pfMax);
    else
        GetFloatMinMax(pBuf, pfMin, pfMax);
    return pBuf->uiComponents != 0 && pfMax[0] >= pfMin[0] ? QM_OK : QM_BAD_BUFFER;
}

int Api::GetFloatMinMax(const SQmFloatPicBuf* pBuf, float& fMin, float& fMax,
                        const SQmPicBuf* pMask, bool bInverse) {
    fMin = FLT_MAX;
    fMax = -FLT_MAX;
    if (pBuf == nullptr || pBuf->pfData == nullptr) return QM_BAD_BUFFER;
    const uint32_t components = pBuf->uiComponents;
    const Scratch<float> values(2 * uint64_t{components});
    if (!values) return QM_NO_MEMORY;
    float *const low = values.get(), *const high = low + components;
    const int status = GetFloatMinMax(pBuf, low, high, pMask, bInverse);
    if (status != QM_OK) return status;
    fMin = *std::min_element(low, high);  // of equals the first
    fMax = *std::max_element(high, high + components);
    return QM_OK;
}
