#include <algorithm>

#include "core/arithmetic.h"
#include "core/rows.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"

namespace {

using namespace qmpic;

struct Loss {
    double scale_a, scale_b, top;
    int32_t operator()(double a, double b) const {
        const double difference = a / scale_a - b / scale_b;
        const double part = (difference > 0.0 ? difference : 0.0) / a / scale_a * top;
        // The choice before the conversion, or no vector makes it. Also NaN, of a 0 in a.
        const bool fits = part > -2147483649.0 && part < 2147483648.0;
        return static_cast<int32_t>(fits ? part : -2147483648.0);
    }
};

/// Some pixels at a time are collected, computed and spread.
template <class T>
void compare(Dst dst, uint64_t dst_step, Src src_a, Src src_b, uint64_t src_step, Area area,
             Loss loss) {
    constexpr uint64_t kMost = 128;
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
        double a[kMost], b[kMost];
        int32_t lost[kMost];
        const uint64_t cells = std::min<uint64_t>(dst_step, 3);
        for (uint64_t y = rows.first; y < rows.last; ++y)
            for (uint64_t x = 0; x < area.width; x += kMost) {
                const uint64_t count = std::min(kMost, area.width - x);
                const Sample<T>* const from_a = src_a.row<T>(y) + x * src_step;
                const Sample<T>* const from_b = src_b.row<T>(y) + x * src_step;
                Sample<T>* const d = dst.row<T>(y) + x * dst_step;
                for (uint64_t i = 0; i < count; ++i) {
                    a[i] = from_a[i * src_step];
                    b[i] = from_b[i * src_step];
                }
                for (uint64_t i = 0; i < count; ++i) lost[i] = loss(a[i], b[i]);
                for (uint64_t i = 0; i < count; ++i) {
                    const T values[3] = {static_cast<T>(a[i]), static_cast<T>(b[i]),
                                         static_cast<T>(lost[i])};
                    for (uint64_t k = 0; k < cells; ++k) d[i * dst_step + k] = values[k];
                }
            }
    });
}

}  // namespace

int CQmPicMemAPI_Base::AccPhotobleachProcessing(void* pDst, uint32_t uiDstWidthBytes,
                                                uint32_t uiDstComponents, const void* pSrcA,
                                                const void* pSrcB, uint32_t uiSrcWidthBytes,
                                                uint32_t uiSrcComponents, uint32_t uiBpc,
                                                uint32_t uiWidth, uint64_t uiSizeInPixels,
                                                double dScaleA, double dScaleB) {
    if (pDst == nullptr || pSrcA == nullptr || pSrcB == nullptr || uiDstWidthBytes == 0 ||
        uiDstComponents == 0 || uiSrcWidthBytes == 0 || uiSrcComponents == 0 || uiBpc == 0 ||
        uiWidth == 0 || uiSizeInPixels == 0)
        return QM_REJECTED;
    if (uiBpc > 16) return QM_OK;
    const Loss loss{dScaleA == 0.0 ? 1.0 : dScaleA, dScaleB == 0.0 ? 1.0 : dScaleB,
                    static_cast<double>(max_value(uiBpc))};
    const auto run = uiBpc <= 8 ? compare<uint8_t> : compare<uint16_t>;
    run({pDst, uiDstWidthBytes}, uiDstComponents, {pSrcA, uiSrcWidthBytes},
        {pSrcB, uiSrcWidthBytes}, uiSrcComponents, Area::of_pixels(uiWidth, uiSizeInPixels), loss);
    return QM_OK;
}
