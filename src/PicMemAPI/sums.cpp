#include <algorithm>

#include "PicMemAPI/accumulation_kernels.h"
#include "core/frame.h"
#include "core/shapes.h"
#include "qmpic/PicMemAPI_Base.h"

// Sums of components.

namespace {

using namespace qmpic;

/// Samples side by side, each with a sum of its own: sample i of a row goes to lane i % count, and
/// so to component i % components. Bytes are summed in 16 bits for as long as they fit.
template <class T, uint64_t n>
class Lanes {
    using Near = std::conditional_t<sizeof(T) == 1, uint16_t, uint32_t>;
    static constexpr uint64_t kMost = sizeof(T) == 1 ? 257 : 65537;

  public:
    void add_row(const Sample<T>* s, uint64_t samples, uint64_t count) {
        uint64_t x = 0;
        for (; x + count <= samples; x += count) {
            for (uint64_t i = 0; i < count; ++i) near_[i] = static_cast<Near>(near_[i] + s[x + i]);
            if (++added_ == kMost) carry(count);
        }
        for (uint64_t i = 0; x + i < samples; ++i)
            near_[i] = static_cast<Near>(near_[i] + s[x + i]);
        if (++added_ == kMost) carry(count);
    }
    /// Adds the sums of the lanes to those of the components, and starts anew.
    template <class Sum>
    void add_to(Sum* sums, uint64_t count, uint64_t components) {
        carry(count);
        for (uint64_t i = 0; i < count; i += components)
            for (uint64_t c = 0; c < components; ++c) sums[c] += static_cast<Sum>(far_[i + c]);
        std::fill_n(far_, count, 0);
    }

  private:
    void carry(uint64_t count) {
        for (uint64_t i = 0; i < count; ++i) far_[i] += near_[i];
        std::fill_n(near_, count, 0);
        added_ = 0;
    }

    Near near_[n] = {};
    uint64_t far_[n] = {};
    uint64_t added_ = 0;
};

/// As many components as are summed at once.
constexpr uint32_t kSlice = 256;

/// The sum of a row is cut to 32 bits. Where it cannot wrap, rows need no end of their own.
template <class T>
bool may_wrap(uint64_t width) {
    return width > UINT32_MAX / T(-1);
}

/// Components that fill the lanes several times.
template <class T, uint32_t known>
void sum_rows(uint64_t* sums, Src src, uint64_t components, Count<known> count, Area area) {
    const bool wraps = may_wrap<T>(area.width);
    Area samples{area.width * components, area.rows};
    if (!wraps) samples = joined(kCallingThread, samples, {stride_of(src, sizeof(T))});
    walk_rows(kCallingThread, samples.rows, [=](RowRange rows) {
        Lanes<T, known != 0 ? known : kSlice> lanes;
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            lanes.add_row(src.row<T>(y), samples.width, count());
            if (!wraps) continue;
            uint32_t of_row[16] = {};
            lanes.add_to(of_row, count(), components);
            for (uint64_t c = 0; c < components; ++c) sums[c] += of_row[c];
        }
        lanes.add_to(sums, count(), components);
    });
}

/// Components first to first + count of the pixels, a lane each.
template <class T>
void sum_pixels(uint64_t* sums, Src src, uint64_t components, uint64_t first, uint64_t count,
                Area area) {
    const bool wraps = may_wrap<T>(area.width);
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
        Lanes<T, kSlice> lanes;
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            const Sample<T>* s = src.row<T>(y) + first;
            for (uint64_t x = 0; x < area.width; ++x, s += components)
                lanes.add_row(s, count, count);
            if (!wraps) continue;
            uint32_t of_row[kSlice] = {};
            lanes.add_to(of_row, count, count);
            for (uint64_t c = 0; c < count; ++c) sums[first + c] += of_row[c];
        }
        lanes.add_to(sums + first, count, count);
    });
}

template <class T>
int sum_values(uint64_t* sums, Src src, uint64_t components, Area area) {
    if (components == 0) return QM_OK;
    if (64 % components == 0)
        sum_rows<T>(sums, src, components, Count<64>{}, area);
    else if (48 % components == 0)
        sum_rows<T>(sums, src, components, Count<48>{}, area);
    else if (components <= 16)
        sum_rows<T>(sums, src, components,
                    Count<0>{static_cast<uint32_t>(kSlice / components * components)}, area);
    else
        for (uint64_t first = 0; first < components; first += kSlice)
            sum_pixels<T>(sums, src, components, first,
                          std::min<uint64_t>(components - first, kSlice), area);
    return QM_OK;
}

}  // namespace

// One line an exported kernel: name, storage, components.
#define KERNEL(name, Storage, components, COUNT)                                                   \
    int name(uint64_t* pui64Sums, const void* pSrc, COUNT uint32_t uiSrcWidthBytes,                \
             uint32_t uiWidth, uint64_t uiSizeInPixels) {                                          \
        return sum_values<Storage>(pui64Sums, Src{pSrc, uiSrcWidthBytes}, components,              \
                                   Area::of_pixels(uiWidth, uiSizeInPixels));                      \
    }
#define FIXED
#define ANY uint32_t uiComponents,

// clang-format off
KERNEL(sum_values_1x8,  uint8_t,  1,            FIXED)
KERNEL(sum_values_3x8,  uint8_t,  3,            FIXED)
KERNEL(sum_values_Nx8,  uint8_t,  uiComponents, ANY)
KERNEL(sum_values_1x16, uint16_t, 1,            FIXED)
KERNEL(sum_values_3x16, uint16_t, 3,            FIXED)
KERNEL(sum_values_Nx16, uint16_t, uiComponents, ANY)
// clang-format on

#undef ANY
#undef FIXED
#undef KERNEL

int CQmPicMemAPI_Base::SumValues(uint64_t* pui64Sums, const void* pSrc, uint32_t uiComponents,
                                 uint32_t uiBpc, uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                                 uint64_t uiSizeInPixels) {
    if (nothing_to_do(pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    return call(kSumValues.find(uiComponents, uiBpc), pui64Sums, pSrc, uiComponents,
                uiSrcWidthBytes, uiWidth, uiSizeInPixels);
}
