#include <algorithm>
#include <cstring>

#include "PicMemAPI/frame_kernels.h"
#include "core/shapes.h"
#include "qmpic/PicMemAPI_Base.h"

// Whole lines, values and comparisons. Lines are blocks of bytes for the C library, which chooses
// instructions of its own.

namespace {

using namespace qmpic;

/// Every pixel becomes the one at `value`: a block of pixels outside the picture is copied along
/// the rows.
template <class T>
int set_pixels(void* dst, uint32_t components, uint32_t stride, const void* value, uint32_t width,
               uint64_t size) {
    const uint64_t pixel = uint64_t{components} * sizeof(T);
    if (pixel == 0) return QM_OK;
    const Area area =
        joined(kCallingThread, {width * pixel, Area::of_pixels(width, size).rows}, {{stride, 1}});
    if (area.rows == 0) return QM_OK;
    std::byte block[4096];
    const std::byte* from = static_cast<const std::byte*>(value);
    uint64_t filled = pixel;
    if (pixel <= sizeof block) {
        const uint64_t wanted = std::min(sizeof block / pixel * pixel, area.width);
        std::memcpy(block, value, pixel);
        for (uint64_t more; filled < wanted; filled += more) {
            more = std::min(filled, wanted - filled);
            std::memcpy(block + filled, block, more);
        }
        from = block;
    }
    for (uint64_t y = 0; y < area.rows; ++y) {
        auto* const row = static_cast<std::byte*>(dst) + y * stride;
        for (uint64_t x = 0; x < area.width; x += filled)
            std::memmove(row + x, from, std::min(filled, area.width - x));
    }
    return QM_OK;
}

template <class T>
int change_pixels(void* dst, uint32_t components, uint32_t stride, const void* new_value,
                  const void* old_value, uint32_t width, uint64_t size) {
    const uint64_t pixel = uint64_t{components} * sizeof(T);
    if (pixel == 0) return QM_OK;
    const Dst picture{dst, stride};
    const Area area = Area::of_pixels(width, size);
    for (uint64_t y = 0; y < area.rows; ++y)
        for (uint64_t x = 0; x < area.width; ++x) {
            auto* const d = picture.row<uint8_t>(y) + x * pixel;
            if (std::memcmp(d, old_value, pixel) == 0) std::memmove(d, new_value, pixel);
        }
    return QM_OK;
}

template <class T>
int compare_samples(Component<Src> a, Component<Src> b, Area area) {
    if (a.step == 0 || b.step == 0) return 0;
    for (uint64_t y = 0; y < area.rows; ++y) {
        const auto* const s1 = a.picture.row<T>(y) + a.index;
        const auto* const s2 = b.picture.row<T>(y) + b.index;
        for (uint64_t x = 0; x < area.width; ++x)
            if (T{s1[x * a.step]} != T{s2[x * b.step]})
                return int{s1[x * a.step]} - int{s2[x * b.step]};
    }
    return 0;
}

}  // namespace

int copy(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,
         uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels) {
    const uint32_t line =
        line_within_stride(line_bytes(uiComponents, uiBpc, uiWidth), uiDstWidthBytes, 57);
    copy_lines(kCallingThread, Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes}, line,
               Area::of_pixels(uiWidth, uiSizeInPixels).rows);
    return QM_OK;
}

int copyparallel(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,
                 uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels,
                 bool bParallel) {
    const uint32_t line =
        line_within_stride(line_bytes(uiComponents, uiBpc, uiWidth), uiDstWidthBytes, 84);
    copy_lines(Team{bParallel}, Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes}, line,
               Area::of_pixels(uiWidth, uiSizeInPixels).rows);
    return QM_OK;
}

int set(void* pDst, uint32_t uiDstWidthBytes, uint32_t uiValue, uint32_t uiComponents,
        uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels) {
    const uint32_t line =
        line_within_stride(line_bytes(uiComponents, uiBpc, uiWidth), uiDstWidthBytes, 109);
    const Area area = joined(kCallingThread, {line, Area::of_pixels(uiWidth, uiSizeInPixels).rows},
                             {{uiDstWidthBytes, 1}});
    const Dst dst{pDst, uiDstWidthBytes};
    for (uint64_t y = 0; line != 0 && y < area.rows; ++y)
        std::memset(dst.row<uint8_t>(y), static_cast<uint8_t>(uiValue), area.width);
    return QM_OK;
}

int compare(const void* p1, uint32_t uiWidthBytes1, const void* p2, uint32_t uiWidthBytes2,
            uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels) {
    const uint32_t line = line_bytes(uiComponents, uiBpc, uiWidth);
    const Area area = joined(kCallingThread, {line, Area::of_pixels(uiWidth, uiSizeInPixels).rows},
                             {{uiWidthBytes1, 1}, {uiWidthBytes2, 1}});
    const Src a{p1, uiWidthBytes1}, b{p2, uiWidthBytes2};
    for (uint64_t y = 0; line != 0 && y < area.rows; ++y)
        if (const int sign = std::memcmp(a.row<uint8_t>(y), b.row<uint8_t>(y), area.width))
            return sign;
    return 0;
}

int set_Nx8(void* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes, const void* pValue,
            uint32_t uiWidth, uint64_t uiSizeInPixels) {
    return set_pixels<uint8_t>(pDst, uiComponents, uiDstWidthBytes, pValue, uiWidth,
                               uiSizeInPixels);
}
int set_Nx16(void* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes, const void* pValue,
             uint32_t uiWidth, uint64_t uiSizeInPixels) {
    return set_pixels<uint16_t>(pDst, uiComponents, uiDstWidthBytes, pValue, uiWidth,
                                uiSizeInPixels);
}

#define KERNEL(name, Storage)                                                                      \
    int name(void* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes,                          \
             uint32_t uiComponentIndex, Storage value, uint32_t uiWidth,                           \
             uint64_t uiSizeInPixels) {                                                            \
        if (uiComponents != 0)                                                                     \
            fill<Storage>(kCallingThread,                                                          \
                          {{pDst, uiDstWidthBytes}, uiComponents, uiComponentIndex},               \
                          Area::of_pixels(uiWidth, uiSizeInPixels), value);                        \
        return QM_OK;                                                                              \
    }

KERNEL(setcomponent_Nx8, uint8_t)
KERNEL(setcomponent_Nx16, uint16_t)

#undef KERNEL
#define KERNEL(name, Storage)                                                                      \
    int name(void* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes, const void* pNewValue,   \
             const void* pOldValue, uint32_t uiWidth, uint64_t uiSizeInPixels) {                   \
        return change_pixels<Storage>(pDst, uiComponents, uiDstWidthBytes, pNewValue, pOldValue,   \
                                      uiWidth, uiSizeInPixels);                                    \
    }

KERNEL(change_Nx8, uint8_t)
KERNEL(change_Nx16, uint16_t)

#undef KERNEL
#define KERNEL(name, Storage)                                                                      \
    int name(const void* p1, uint32_t uiComponents1, uint32_t uiWidthBytes1,                       \
             uint32_t uiComponentIndex1, const void* p2, uint32_t uiComponents2,                   \
             uint32_t uiWidthBytes2, uint32_t uiComponentIndex2, uint32_t uiWidth,                 \
             uint64_t uiSizeInPixels) {                                                            \
        return compare_samples<Storage>({{p1, uiWidthBytes1}, uiComponents1, uiComponentIndex1},   \
                                        {{p2, uiWidthBytes2}, uiComponents2, uiComponentIndex2},   \
                                        Area::of_pixels(uiWidth, uiSizeInPixels));                 \
    }

KERNEL(comparecomponent_Nx8_to_Nx8, uint8_t)
KERNEL(comparecomponent_Nx16_to_Nx16, uint16_t)

#undef KERNEL

int CQmPicMemAPI_Base::Copy(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                            uint32_t uiSrcWidthBytes, uint32_t uiComponents, uint32_t uiBpc,
                            uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    return copy(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, uiComponents, uiBpc, uiWidth,
                uiSizeInPixels);
}

int CQmPicMemAPI_Base::Set(void* pDst, uint32_t uiDstWidthBytes, uint32_t uiValue,
                           uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth,
                           uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, uiWidth, uiSizeInPixels)) return QM_OK;
    return set(pDst, uiDstWidthBytes, uiValue, uiComponents, uiBpc, uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::SetValue(void* pDst, uint32_t uiComponents, uint32_t uiBpc,
                                uint32_t uiDstWidthBytes, const void* pValue, uint32_t uiWidth,
                                uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, uiWidth, uiSizeInPixels)) return QM_OK;
    return call(kSetValue.find(uiComponents, uiBpc), pDst, uiComponents, uiDstWidthBytes, pValue,
                uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::SetComponentValue(void* pDst, uint32_t uiComponents, uint32_t uiBpc,
                                         uint32_t uiDstWidthBytes, uint32_t uiComponentIndex,
                                         unsigned short usValue, uint32_t uiWidth,
                                         uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, uiWidth, uiSizeInPixels)) return QM_OK;
    return call(kSetComponentValue.find(uiComponents, uiBpc), pDst, uiComponents, uiDstWidthBytes,
                uiComponentIndex, usValue, uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::ChangeValue(void* pDst, uint32_t uiComponents, uint32_t uiBpc,
                                   uint32_t uiDstWidthBytes, const void* pNewValue,
                                   const void* pOldValue, uint32_t uiWidth,
                                   uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, uiWidth, uiSizeInPixels)) return QM_OK;
    return call(kChangeValue.find(uiComponents, uiBpc), pDst, uiComponents, uiDstWidthBytes,
                pNewValue, pOldValue, uiWidth, uiSizeInPixels);
}

// Single pixels: what SetColor stores in words or in four components GetColor does not read back.
int CQmPicMemAPI_Base::SetColor(void* pDst, uint32_t uiX, uint32_t uiY, uint32_t uiComponents,
                                uint32_t uiBpc, uint32_t uiDstWidthBytes, uint32_t uiColor) {
    const Dst dst{pDst, uiDstWidthBytes};
    const uint64_t first = uint64_t{uiX} * uiComponents;
    if (uiComponents == 1 && uiBpc == 16) {
        dst.row<uint16_t>(uiY)[first] = static_cast<uint16_t>(uiColor);
        return QM_OK;
    }
    if (uiBpc != 8 || (uiComponents != 1 && uiComponents != 3 && uiComponents != 4))
        return QM_NO_KERNEL;
    for (uint32_t i = 0; i < uiComponents; ++i)
        dst.row<uint8_t>(uiY)[first + i] =
            static_cast<uint8_t>(uiColor >> (8 * (uiComponents - 1 - i)));
    return QM_OK;
}

int CQmPicMemAPI_Base::GetColor(const void* pSrc, uint32_t uiX, uint32_t uiY, uint32_t uiComponents,
                                uint32_t uiBpc, uint32_t uiSrcWidthBytes, uint32_t* puiColor) {
    if (uiBpc != 8 || (uiComponents != 1 && uiComponents != 3)) return QM_NO_KERNEL;
    const auto* const pixel =
        Src{pSrc, uiSrcWidthBytes}.row<uint8_t>(uiY) + uint64_t{uiX} * uiComponents;
    uint32_t color = 0;
    for (uint32_t i = 0; i < uiComponents; ++i) color = color << 8 | pixel[i];
    *puiColor = color;
    return QM_OK;
}

int CQmPicMemAPI_Base::Compare(const void* p1, uint32_t uiWidthBytes1, const void* p2,
                               uint32_t uiWidthBytes2, uint32_t uiBpc, uint32_t uiComponents,
                               uint32_t uiWidth, uint64_t uiSizeInPixels, int* piResult) {
    if (piResult != nullptr) *piResult = QM_OK;
    if (nothing_to_do(p1, p2, uiWidth, uiSizeInPixels)) return 0;
    return compare(p1, uiWidthBytes1, p2, uiWidthBytes2, uiComponents, uiBpc, uiWidth,
                   uiSizeInPixels);
}

// A depth without kernel is told through piResult alone: the return value is the comparison.
int CQmPicMemAPI_Base::CompareComponent(const void* p1, uint32_t uiComponents1,
                                        uint32_t uiWidthBytes1, uint32_t uiComponentIndex1,
                                        const void* p2, uint32_t uiComponents2,
                                        uint32_t uiWidthBytes2, uint32_t uiComponentIndex2,
                                        uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels,
                                        int* piResult) {
    if (piResult != nullptr) *piResult = QM_OK;
    if (nothing_to_do(p1, p2, uiWidth, uiSizeInPixels)) return 0;
    const auto kernel = kCompareComponent.find(uiComponents1, uiBpc);
    if (kernel == nullptr) {
        if (piResult != nullptr) *piResult = QM_NO_KERNEL;
        return 0;
    }
    return kernel(p1, uiComponents1, uiWidthBytes1, uiComponentIndex1, p2, uiComponents2,
                  uiWidthBytes2, uiComponentIndex2, uiWidth, uiSizeInPixels);
}
