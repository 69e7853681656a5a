#include <algorithm>

#include "core/arithmetic.h"
#include "core/shapes.h"
#include "qmpic/status.h"
#include "render/channels.h"
#include "render/composition_kernels.h"

// Composition of a group of channels that are averaged and amplified, beside others.

namespace {

using namespace qmpic;

/// The cells of a pixel, summed up.
struct Sums {
    uint32_t blue = 0, green = 0, red = 0;
    void add(uint32_t colour) {
        blue += colour & 255;
        green += colour >> 8 & 255;
        red += colour >> 16;
    }
    template <class Op>
    void each(Op op) {
        blue = op(blue), green = op(green), red = op(red);
    }
    uint32_t colour() const { return (blue & 255) | (green & 255) << 8 | (red & 255) << 16; }
};

struct Lists {
    uint32_t a = 0, b = 0;
    Channel added[CQmRangeMask::MaxSize], others[CQmRangeMask::MaxSize];
    Lists(const Channels& channels, const CQmRangeMask& mask) {
        for (uint32_t c = 0; c < channels.count; ++c) {
            const Channel& one = channels.list[c];
            if (mask.Get(one.index))
                added[a++] = one;
            else
                others[b++] = one;
        }
    }
};

template <class T>
int compose_added(Dst dst, Src src, uint32_t components, uint32_t top, const void* tables,
                  const CQmRangeMask& mask, double gain, const CQmRangeMask& added,
                  const Marks& marks, Area area) {
    const Channels channels(tables, components, mask, top, marks);
    const Lists lists(channels, added);
    if (channels.count == 0) return QM_OK;
    const uint32_t amplified = trunc_u32(gain * 255 + 0.5);
    area = joined(kCallingThread, area, {{dst.stride, 3}, {src.stride, components * sizeof(T)}});

    const auto pixel = [&channels, &lists, amplified](Sample<uint8_t>* d, const Sample<T>* s) {
        const uint32_t a = lists.a, b = lists.b;
        if (channels.over)
            for (uint32_t c = 0; c < channels.count; ++c)
                if (s[channels.list[c].index] >= channels.list[c].threshold)
                    return write_pixel(d, channels.list[c].over);
        const auto colour = [s](const Channel& one) { return colour_of(one.rows[s[one.index]]); };
        const auto share = [b](uint32_t value) { return value / (b + 1); };
        Sums sums;
        if (a != 0) {
            for (uint32_t c = 0; c < a; ++c) sums.add(colour(lists.added[c]));
            sums.each([=](uint32_t sum) { return std::min(sum * amplified / a / 255, 255u); });
            if (b != 0) sums.each(share);
        } else {
            sums.add(colour_of(d));  // and the first of the others is left out
        }
        for (uint32_t c = a != 0 ? 0 : 1; c < b; ++c) {
            Sums one;
            one.add(colour(lists.others[c]));
            one.each(share);
            sums.add(one.colour());
        }
        write_pixel(d, sums.colour());
    };
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
        for (uint64_t y = rows.first; y < rows.last; ++y)
            for (uint64_t x = 0; x < area.width; ++x)
                pixel(dst.row<uint8_t>(y) + 3 * x, src.row<T>(y) + x * components);
    });
    return QM_OK;
}

}  // namespace

// One line an exported kernel.
#define KERNEL_8(name, marked, ...)                                                                \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiComponents,        \
             uint32_t uiSrcWidthBytes, const void* pLuts, const CQmRangeMask& mask, double dGain,  \
             const CQmRangeMask& addedMask, __VA_ARGS__ uint32_t uiWidth,                          \
             uint64_t uiSizeInPixels) {                                                            \
        return compose_added<uint8_t>(Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes},      \
                                      uiComponents, 255, pLuts, mask, dGain, addedMask, marked,    \
                                      Area::of_pixels(uiWidth, uiSizeInPixels));                   \
    }
#define KERNEL_16(name, marked, ...)                                                               \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiComponents,        \
             uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes, const void* pLuts,                       \
             const CQmRangeMask& mask, double dGain, const CQmRangeMask& addedMask,                \
             __VA_ARGS__ uint32_t uiWidth, uint64_t uiSizeInPixels) {                              \
        return compose_added<uint16_t>(Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes},     \
                                       uiComponents, max_value(uiSrcBpc & 31), pLuts, mask, dGain, \
                                       addedMask, marked,                                          \
                                       Area::of_pixels(uiWidth, uiSizeInPixels));                  \
    }
#define OVER const void *pOverExpColor, const uint32_t *pOverExpValue,

// clang-format off
KERNEL_8 (mapcomp_Nx8_3x8_add,          Marks{})
KERNEL_16(mapcomp_Nx16_3x8_add,         Marks{})
KERNEL_8 (mapcomp_Nx8_3x8_add_overexp,  (Marks{pOverExpColor, pOverExpValue}), OVER)
KERNEL_16(mapcomp_Nx16_3x8_add_overexp, (Marks{pOverExpColor, pOverExpValue}), OVER)
// clang-format on

#undef KERNEL_8
#undef KERNEL_16
#undef OVER
