#include <algorithm>
#include <limits>

#include "PicMemAPI/mask_bits.h"
#include "PicMemAPI/threshold_kernels.h"
#include "PicMemAPI/value_pixel.h"
#include "core/shapes.h"
#include "qmpic/PicMemAPI_Base.h"

// Pixels selected by ranges of values: painted, or made bits of a mask.

namespace {

using namespace qmpic;

/// The value where the test's flag is set, else what was there.
template <class T, class S>
struct Paint {
    InRange<S, 1> test;
    T value;
    T operator()(T old, S sample) const { return test.flag(sample, 0) != 0 ? value : old; }
};

/// Limits of 32 bits among samples of fewer.
template <class S>
InRange<S, 1> in_range(uint32_t low, uint32_t high, bool inside) {
    constexpr uint32_t most = std::numeric_limits<S>::max();
    if (low > most) low = 1, high = 0;
    const Sample<S> l{static_cast<S>(low)}, h{static_cast<S>(std::min(high, most))};
    return {&l, &h, inside};
}

template <class T, class S>
int paint(void* pDst, uint64_t dst_stride, const void* pSrc, uint64_t src_stride, Area area,
          Paint<T, S> op) {
    if (dst_stride == area.width * sizeof(T) && src_stride == area.width * sizeof(S))
        area = {area.width * area.rows, 1};
    auto* const dst = static_cast<std::byte*>(pDst);
    const auto* const src = static_cast<const std::byte*>(pSrc);
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {  // strides of 64 bits
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            auto* const d = reinterpret_cast<Sample<T>*>(dst + y * dst_stride);
            const auto* const s = reinterpret_cast<const Sample<S>*>(src + y * src_stride);
            if constexpr (sizeof(T) <= sizeof(S))
                detail::dense_row(d, area.width, op, static_cast<const Sample<T>*>(d), s);
            else  // a source that is the destination is overwritten ahead, pixel by pixel
                for (uint64_t x = 0; x < area.width; ++x) d[x] = op(d[x], s[x]);
        }
    });
    return QM_OK;
}

}  // namespace

// One line an exported kernel: name, storage of destination and source.
#define KERNEL(name, T, S)                                                                         \
    int name(void* pDst, uint64_t uiDstWidthBytes, const void* pSrc, uint64_t uiSrcWidthBytes,     \
             uint32_t uiLow, uint32_t uiHigh, bool bInside, T value, uint64_t uiWidth,             \
             uint64_t uiSizeInPixels) {                                                            \
        return paint<T, S>(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes,                           \
                           Area{uiWidth, uiSizeInPixels / uiWidth}.rows_in_32_bits(),              \
                           {in_range<S>(uiLow, uiHigh, bInside), value});                          \
    }

// clang-format off
KERNEL(threshold_8,       uint8_t,  uint8_t)
KERNEL(threshold_16,      uint16_t, uint16_t)
KERNEL(threshold_8_to_16, uint16_t, uint8_t)
KERNEL(threshold_16_to_8, uint8_t,  uint16_t)
// clang-format on

#undef KERNEL

namespace {

template <class T>
int to_bin(MaskCall call, uint32_t components, const void* low, const void* high, bool inside) {
    if (!is_merge(call.mask.merge)) return QM_NO_KERNEL;
    write_in_range<T>(call, components, low, high, inside);
    return QM_OK;
}

/// Outside, the last of four has the low limit of the one before it.
template <class T>
int to_bin_of_four(MaskCall call, uint32_t components, const void* low, const void* high,
                   bool inside) {
    if (inside) return to_bin<T>(call, components, low, high, inside);
    const auto* const l = static_cast<const Sample<T>*>(low);
    const Sample<T> lows[4] = {l[0], l[1], l[2], l[2]};
    return to_bin<T>(call, components, lows, high, inside);
}

}  // namespace

// One line an exported kernel: name, components, what it calls.
#define KERNEL(name, count, function)                                                              \
    int name(void* pBin, uint32_t uiBinX, uint32_t uiBinWidthBytes, const void* pSrc,              \
             uint32_t uiSrcWidthBytes, const void* pLow, const void* pHigh, bool bInside,          \
             uint32_t uiWidth, uint64_t uiSizeInPixels, uint32_t uiMerge, bool* pbCancel) {        \
        return function({kTeam,                                                                    \
                         {{pBin, uiBinWidthBytes}, uiBinX, uiMerge},                               \
                         {pSrc, uiSrcWidthBytes},                                                  \
                         Area::of_pixels(uiWidth, uiSizeInPixels),                                 \
                         pbCancel},                                                                \
                        count, pLow, pHigh, bInside);                                              \
    }

// clang-format off
KERNEL(threshold_1x8_to_bin,  1, to_bin<uint8_t>)
KERNEL(threshold_1x16_to_bin, 1, to_bin<uint16_t>)
KERNEL(threshold_3x8_to_bin,  3, to_bin<uint8_t>)
KERNEL(threshold_3x16_to_bin, 3, to_bin<uint16_t>)
KERNEL(threshold_4x8_to_bin,  4, to_bin_of_four<uint8_t>)  // alone in this
KERNEL(threshold_4x16_to_bin, 4, to_bin<uint16_t>)
// clang-format on

#undef KERNEL

#define KERNEL(name, T)                                                                            \
    int name(void* pBin, uint32_t uiBinX, uint32_t uiBinWidthBytes, const void* pSrc,              \
             uint32_t uiComponents, uint32_t uiSrcWidthBytes, const void* pLow, const void* pHigh, \
             bool bInside, uint32_t uiWidth, uint64_t uiSizeInPixels, uint32_t uiMerge,            \
             bool* pbCancel) {                                                                     \
        return to_bin<T>({kTeam,                                                                   \
                          {{pBin, uiBinWidthBytes}, uiBinX, uiMerge},                              \
                          {pSrc, uiSrcWidthBytes},                                                 \
                          Area::of_pixels(uiWidth, uiSizeInPixels),                                \
                          pbCancel},                                                               \
                         uiComponents, pLow, pHigh, bInside);                                      \
    }

KERNEL(threshold_Nx8_to_bin, uint8_t)
KERNEL(threshold_Nx16_to_bin, uint16_t)

#undef KERNEL

int CQmPicMemAPI_Base::Threshold(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                 uint32_t uiBpc, uint32_t uiSrcWidthBytes, uint32_t uiLow,
                                 uint32_t uiHigh, bool bInside, uint32_t uiValue, uint32_t uiWidth,
                                 uint64_t uiSizeInPixels) {
    return Threshold(pDst, uiBpc, uiDstWidthBytes, pSrc, uiBpc, uiSrcWidthBytes, uiLow, uiHigh,
                     bInside, uiValue, uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::Threshold(void* pDst, uint32_t uiDstBpc, uint32_t uiDstWidthBytes,
                                 const void* pSrc, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                 uint32_t uiLow, uint32_t uiHigh, bool bInside, uint32_t uiValue,
                                 uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (uiWidth == 0 || uiSizeInPixels == 0) return QM_OK;
    if (uiSrcBpc > 16 || uiDstBpc > 16) return QM_NO_KERNEL;
    const uint32_t bits = uiSrcBpc <= 8 ? 8 : 16;  // depths below 8 are bytes here
    if (uiDstBpc <= 8)
        return kThresholdToBytes.find_stored(1, bits)(
            pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, uiLow, uiHigh, bInside,
            static_cast<uint8_t>(uiValue), uiWidth, uiSizeInPixels);
    return kThresholdToWords.find_stored(1, bits)(
        pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, uiLow, uiHigh, bInside,
        static_cast<uint16_t>(uiValue), uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::ThresholdToBinary(void* pBin, uint32_t uiBinX, uint32_t uiBinWidthBytes,
                                         const void* pSrc, uint32_t uiComponents, uint32_t uiBpc,
                                         uint32_t uiSrcWidthBytes, const void* pLow,
                                         const void* pHigh, bool bInside, uint32_t uiWidth,
                                         uint64_t uiSizeInPixels, uint32_t uiMerge,
                                         bool* pbCancel) {
    if (uiWidth == 0 || uiSizeInPixels == 0) return QM_OK;
    void* const first = static_cast<std::byte*>(pBin) + uiBinX / 8;
    if (auto* const kernel = kThresholdToBin.find(uiComponents, uiBpc))
        return kernel(first, uiBinX % 8, uiBinWidthBytes, pSrc, uiSrcWidthBytes, pLow, pHigh,
                      bInside, uiWidth, uiSizeInPixels, uiMerge, pbCancel);
    return call(kThresholdToBinOfAny.find(uiComponents, uiBpc), first, uiBinX % 8, uiBinWidthBytes,
                pSrc, uiComponents, uiSrcWidthBytes, pLow, pHigh, bInside, uiWidth, uiSizeInPixels,
                uiMerge, pbCancel);
}

int CQmPicMemAPI_Base::ThresholdToBinary(void* pBin, uint32_t uiBinX, uint32_t uiBinWidthBytes,
                                         const void* pSrc, uint32_t uiComponents, uint32_t uiBpc,
                                         uint32_t uiSrcWidthBytes, uint64_t ui64Low,
                                         uint64_t ui64High, bool bInside, uint32_t uiWidth,
                                         uint64_t uiSizeInPixels, uint32_t uiMerge,
                                         bool* pbCancel) {
    return with_value_pixel(ui64Low, uiComponents, [&](const void* low) {
        return with_value_pixel(ui64High, uiComponents, [&](const void* high) {
            return ThresholdToBinary(pBin, uiBinX, uiBinWidthBytes, pSrc, uiComponents, uiBpc,
                                     uiSrcWidthBytes, low, high, bInside, uiWidth, uiSizeInPixels,
                                     uiMerge, pbCancel);
        });
    });
}
