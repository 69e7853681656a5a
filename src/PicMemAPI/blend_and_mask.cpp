#include "PicMemAPI/two_picture_kernels.h"
#include "core/shapes.h"
#include "qmpic/PicMemAPI_Base.h"

// What changes a picture in place: a table that blends another one into it, and a mask.

namespace {

using namespace qmpic;

struct Blend {
    const uint8_t (*table)[256];
    uint8_t operator()(uint8_t old, uint8_t source) const { return table[old][source]; }
};

template <class T>
struct And {
    T mask;
    T operator()(T old) const { return old & mask; }
};

}  // namespace

int blend_two(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,
              const uint8_t (*pTable)[256], uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth,
              uint64_t uiSizeInPixels) {
    const uint32_t line =
        line_within_stride(line_bytes(uiComponents, uiBpc, uiWidth), uiDstWidthBytes, 136);
    combine<uint8_t>(kCallingThread, Dst{pDst, uiDstWidthBytes}, Src{pDst, uiDstWidthBytes},
                     Src{pSrc, uiSrcWidthBytes},
                     Area{line, Area::of_pixels(uiWidth, uiSizeInPixels).rows}, Blend{pTable});
    return QM_OK;
}

// One line an exported kernel: name, storage, components; those for any number take it.
#define KERNEL(name, Storage, components, ...)                                                     \
    int name(void* pDst, uint32_t uiDstWidthBytes, Storage uiMask __VA_OPT__(, ) __VA_ARGS__,      \
             uint32_t uiWidth, uint64_t uiSizeInPixels) {                                          \
        update<Storage>(kCallingThread, Dst{pDst, uiDstWidthBytes},                                \
                        Area::of_samples(components, uiWidth, uiSizeInPixels),                     \
                        And<Storage>{uiMask});                                                     \
        return QM_OK;                                                                              \
    }

// clang-format off
KERNEL(maskout_1x8,  uint8_t,  1)
KERNEL(maskout_3x8,  uint8_t,  3)
KERNEL(maskout_Nx8,  uint8_t,  uiComponents, uint32_t uiComponents)
KERNEL(maskout_1x16, uint16_t, 1)
KERNEL(maskout_3x16, uint16_t, 3)
KERNEL(maskout_Nx16, uint16_t, uiComponents, uint32_t uiComponents)
// clang-format on

#undef KERNEL

int CQmPicMemAPI_Base::BlendTwoBuffers(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                       uint32_t uiSrcWidthBytes, const uint8_t (*pTable)[256],
                                       uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth,
                                       uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    return blend_two(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, pTable, uiComponents, uiBpc,
                     uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::MaskOut(void* pDst, uint32_t uiDstWidthBytes, uint32_t uiMask,
                               uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth,
                               uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, uiWidth, uiSizeInPixels)) return QM_OK;
    return call(kMaskOut.find(uiComponents, uiBpc), pDst, uiDstWidthBytes, uiMask, uiComponents,
                uiWidth, uiSizeInPixels);
}
