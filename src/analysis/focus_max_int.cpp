#include <algorithm>

#include "analysis/focus_kernels.h"
#include "analysis/focus_pixels.h"
#include "core/frame.h"

// The mean as a share of the greatest value.

namespace {

using namespace qmpic;

/// Samples side by side. They are read two at a time as a number of twice their width, whose halves
/// are added apart, so that nothing has to be unpacked.
template <class T>
uint64_t sum_of(const Sample<T>* s, uint64_t count) {
    using Pair = std::conditional_t<sizeof(T) == 1, uint16_t, uint32_t>;
    constexpr uint32_t kHalf = 8 * sizeof(T);
    constexpr uint64_t kLanes = 128 / sizeof(Pair), kBlock = 2 * kLanes;
    constexpr uint64_t kMost = (Pair(-1) / T(-1)) / 2;  // blocks that a lane can take
    const auto* const pairs = reinterpret_cast<const Sample<Pair>*>(s);
    const uint64_t blocks = count / kBlock;
    uint64_t sum = 0;
    for (uint64_t first = 0; first < blocks; first += kMost) {
        Pair lanes[kLanes] = {};
        for (uint64_t b = first; b < std::min(first + kMost, blocks); ++b)
            for (uint64_t i = 0; i < kLanes; ++i) {
                const Pair pair = pairs[b * kLanes + i];
                lanes[i] = static_cast<Pair>(lanes[i] + (pair & T(-1)) + (pair >> kHalf));
            }
        for (const Pair lane : lanes) sum += lane;
    }
    for (uint64_t i = blocks * kBlock; i < count; ++i) sum += s[i];
    return sum;
}

template <class T>
uint64_t sum_apart(const Sample<T>* s, uint64_t count, OneComponent<3>) {
    uint64_t sum = 0;
    for (uint64_t first = 0; first < count;) {  // 2^16 of them fit into 32 bits
        const uint64_t last = std::min(first + 0x10000, count);
        uint32_t some = 0;
        for (; first < last; ++first) some += s[3 * first];
        sum += some;
    }
    return sum;
}
template <class T>
uint64_t sum_apart(const Sample<T>* s, uint64_t count, OneComponent<0> pixel) {
    uint64_t sum = 0;
    for (uint64_t i = 0; i < count; ++i) sum += s[i * pixel.samples()];
    return sum;
}

template <class T>
int max_int(double* result, int component, Src src, uint32_t components, double max,
            uint32_t step_y, uint32_t width, uint64_t size) {
    if (src.first == nullptr || step_y == 0) return QM_REJECTED;
    const Area area = Area::of_pixels(width, size);
    const bool together = component < 0 || static_cast<uint32_t>(component) >= components;
    const uint64_t samples = together ? area.width * components : area.width;
    uint64_t sum = 0;
    uint64_t* const total = &sum;
    on_best_isa([=] {
        uint64_t local = 0;
        for (uint64_t y = 0; y < area.rows; y += step_y) {
            const Sample<T>* const s = src.row<T>(y) + (together ? 0 : component);
            if (together || components == 1)
                local += sum_of<T>(s, samples);
            else if (components == 3)
                local += sum_apart<T>(s, samples, OneComponent<3>{});
            else
                local += sum_apart<T>(s, samples, OneComponent<0>{components});
        }
        *total = local;
    });
    const uint64_t rows = area.rows == 0 ? 0 : (area.rows - 1) / step_y + 1;
    give(result, static_cast<double>(sum) / (static_cast<double>(rows * samples) * max));
    return QM_OK;
}

double max_of(uint32_t bpc) { return CQmPicMemAPI_Base::CalcUintMax(bpc); }

}  // namespace

// One line an exported kernel: name, arguments of its own, storage, component, components, maximum.
#define KERNEL(name, Storage, component, components, max, ...)                                     \
    int name(double* pdResult, [[maybe_unused]] int iComponent, const void* pData,                 \
             uint32_t uiWidthBytes, __VA_ARGS__ uint32_t uiStepY, uint32_t uiWidth,                \
             uint64_t uiSizeInPixels) {                                                            \
        return max_int<Storage>(pdResult, component, Src{pData, uiWidthBytes}, components, max,    \
                                uiStepY, uiWidth, uiSizeInPixels);                                 \
    }
#define N uint32_t uiComponents,
#define DEPTH uint32_t uiBpc,

// clang-format off
KERNEL(getfocus_maxint_1x8,  uint8_t,  0,          1,            255.0, )
KERNEL(getfocus_maxint_3x8,  uint8_t,  iComponent, 3,            255.0, )
KERNEL(getfocus_maxint_Nx8,  uint8_t,  iComponent, uiComponents, 255.0, N)
KERNEL(getfocus_maxint_1x16, uint16_t, 0,          1,            max_of(uiBpc), DEPTH)
KERNEL(getfocus_maxint_3x16, uint16_t, iComponent, 3,            max_of(uiBpc), DEPTH)
KERNEL(getfocus_maxint_Nx16, uint16_t, iComponent, uiComponents, max_of(uiBpc), N DEPTH)
// clang-format on
