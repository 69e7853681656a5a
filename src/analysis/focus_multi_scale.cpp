#include "analysis/focus_multi_scale.h"

#include "analysis/focus_kernels.h"
#include "core/frame.h"

// Differences at several distances from one pixel in 16 by 16.

namespace {

using namespace qmpic;

/// What the squares of so many anchors are divided by, in 32 bits that wrap.
struct Divisors {
    uint32_t of_one, of_all;
};

template <class T>
int multi_scale(double* result, int component, Src src, uint32_t components, Divisors divisors,
                uint32_t width, uint64_t size) {
    return multi_scale_focus<T>(result, component, src, components, width, size,
                                [=](uint32_t anchors, bool together) {
                                    return anchors * (together ? divisors.of_all : divisors.of_one);
                                });
}

constexpr uint32_t kBytes = 10 * 256, kWords = 10 * 65536;

}  // namespace

// One line an exported kernel: name, arguments of its own, storage, component, components,
// divisors.
#define KERNEL(name, Storage, component, components, one, all, ...)                                \
    int name(double* pdResult, [[maybe_unused]] int iComponent, const void* pData,                 \
             uint32_t uiWidthBytes, __VA_ARGS__ uint32_t uiWidth, uint64_t uiSizeInPixels) {       \
        return multi_scale<Storage>(pdResult, component, Src{pData, uiWidthBytes}, components,     \
                                    {one, all}, uiWidth, uiSizeInPixels);                          \
    }
#define N uint32_t uiComponents,

// All components together are not scaled to the depth, as one is.
// clang-format off
KERNEL(getfocus_ms_1x8,  uint8_t,  0,          1,            kBytes, kBytes, )
KERNEL(getfocus_ms_3x8,  uint8_t,  iComponent, 3,            kBytes, 30, )
KERNEL(getfocus_ms_Nx8,  uint8_t,  iComponent, uiComponents, kBytes, uiComponents * 10, N)
KERNEL(getfocus_ms_1x16, uint16_t, 0,          1,            kWords, kWords, )
KERNEL(getfocus_ms_3x16, uint16_t, iComponent, 3,            kWords, 30, )
KERNEL(getfocus_ms_Nx16, uint16_t, iComponent, uiComponents, kWords, uiComponents * 10, N)
// clang-format on
