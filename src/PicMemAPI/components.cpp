#include <algorithm>

#include "PicMemAPI/components_kernels.h"
#include "core/shapes.h"
#include "qmpic/PicMemAPI_Base.h"

// Components of pixels moved between pictures: one, a list of them, a range of their bytes.

namespace {

using namespace qmpic;

struct Same {
    template <class T>
    T operator()(T value) const {
        return value;
    }
};

// Rows as a signed 32-bit number.
Area in_32_bits(Area area) {
    const auto rows = static_cast<int32_t>(static_cast<uint32_t>(area.rows));
    return {area.width, static_cast<uint64_t>(std::max(rows, 0))};
}

Team from_rows(uint64_t least, Area area) { return {area.rows >= least}; }

}  // namespace

// One line an exported kernel: name, storage, in which threads.
#define KERNEL(name, Storage, team)                                                                \
    int name(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes, uint32_t uiDstIndex,  \
             const void* pSrc, uint32_t uiSrcComponents, uint32_t uiSrcWidthBytes,                 \
             uint32_t uiSrcIndex, uint32_t uiWidth, uint64_t uiSizeInPixels) {                     \
        const Area area = in_32_bits(Area::of_pixels(uiWidth, uiSizeInPixels));                    \
        map<Storage, Storage>(                                                                     \
            team, Component<Dst>{{pDst, uiDstWidthBytes}, uiDstComponents, uiDstIndex},            \
            Component<Src>{{pSrc, uiSrcWidthBytes}, uiSrcComponents, uiSrcIndex}, area, Same{});   \
        return QM_OK;                                                                              \
    }

// clang-format off
KERNEL(copycomponent_Nx8_to_Nx8,   uint8_t,  kTeam)
KERNEL(copycomponent_Nx16_to_Nx16, uint16_t, from_rows(1024, area))  // alone of the three
KERNEL(copycomponent_Nx32_to_Nx32, uint32_t, kTeam)
// clang-format on

#undef KERNEL

int CQmPicMemAPI_Base::CopyComponent(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes,
                                     uint32_t uiDstIndex, const void* pSrc,
                                     uint32_t uiSrcComponents, uint32_t uiSrcWidthBytes,
                                     uint32_t uiSrcIndex, uint32_t uiBpc, uint32_t uiWidth,
                                     uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    const uint32_t bits = uiBpc > 16 ? 32 : storage_bits(uiBpc);  // 33 bits and more are words, too
    return call(kCopyComponent.find_stored(uiSrcComponents, bits), pDst, uiDstComponents,
                uiDstWidthBytes, uiDstIndex, pSrc, uiSrcComponents, uiSrcWidthBytes, uiSrcIndex,
                uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::ExtractComponent(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                        uint32_t uiSrcComponents, uint32_t uiSrcWidthBytes,
                                        uint32_t uiSrcIndex, uint32_t uiBpc, uint32_t uiWidth,
                                        uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (uiBpc > 16) return QM_NO_KERNEL;  // no 32-bit class, unlike CopyComponent
    return call(kCopyComponent.find(uiSrcComponents, uiBpc), pDst, 1u, uiDstWidthBytes, 0u, pSrc,
                uiSrcComponents, uiSrcWidthBytes, uiSrcIndex, uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::StoreComponent(void* pDst, uint32_t uiDstComponents,
                                      uint32_t uiDstWidthBytes, uint32_t uiDstIndex,
                                      const void* pSrc, uint32_t uiSrcWidthBytes, uint32_t uiBpc,
                                      uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (uiBpc > 16) return QM_NO_KERNEL;  // no 32-bit class, unlike CopyComponent
    return call(kCopyComponent.find(1, uiBpc), pDst, uiDstComponents, uiDstWidthBytes, uiDstIndex,
                pSrc, 1u, uiSrcWidthBytes, 0u, uiWidth, uiSizeInPixels);
}
