#include "core/frame.h"
#include "qmpic/PicMemAPI_Base.h"
#include "render/spectral_kernels.h"
#include "render/spectral_window.h"

// Offset and gain of a parametric set on the samples themselves. Selected components that follow
// each other are one loop, so that vectors run over components; others are not written.

namespace {

using namespace qmpic;

/// Selected components side by side: bands [first, last) of the window.
struct Run {
    uint32_t first, last;
};

/// A window of a set has no more bands than a mask has bits.
constexpr uint32_t kMost = CQmRangeMask::MaxSize;

struct Levels {
    float offset[kMost], gain[kMost];
    Run runs[kMost / 2];
    uint32_t count = 0;

    explicit Levels(const SpectralWindow& window) {
        for (uint32_t p = 0; p < window.used(); ++p) {
            const SpectralBand& band = window.bands()[p];
            offset[p] = band.offset;
            gain[p] = band.gain;
            if (!band.selected()) continue;
            if (count == 0 || runs[count - 1].last != p) runs[count++] = {p, p};
            ++runs[count - 1].last;
        }
    }
};

/// Whole numbers toward zero, of which the low bits are stored. NaN has become `top` before.
template <class T>
T stored(float value) {
    const float limited = value > -2147483648.0f ? value : -2147483648.0f;
    return static_cast<T>(limited < 2147483648.0f ? static_cast<int32_t>(limited) : INT32_MIN);
}
/// Bytes are at least top, and wrap above it. Words are at most top.
uint8_t limited(float value, float top, uint8_t) {
    return stored<uint8_t>(value > top ? value : top);
}
uint16_t limited(float value, float top, uint16_t) {
    return stored<uint16_t>(value < top ? value : top);
}

template <class T>
int apply(void* data, uint32_t components, uint32_t bpc, uint32_t stride, const SQmLut& lut,
          uint32_t width, uint64_t size) {
    const SpectralWindow window(lut, components, ColourUnit::kPart);
    if (!window) return QM_NO_MEMORY;
    const Levels levels(window);
    const auto count = static_cast<float>(window.padded());
    const auto top = static_cast<float>((1u << (bpc & 31)) - 1);
    const Dst rows{data, stride};
    const uint64_t first = window.first();
    const Area area = Area::of_pixels(width, size);
    on_best_isa([=] {
        for (uint64_t y = 0; y < area.rows; ++y) {
            Sample<T>* pixel = rows.row<T>(y) + first;
            for (uint64_t x = 0; x < area.width; ++x, pixel += components)
                for (uint32_t i = 0; i < levels.count; ++i)
                    for (uint32_t p = levels.runs[i].first; p < levels.runs[i].last; ++p) {
                        const float lifted = static_cast<float>(pixel[p].value) + levels.offset[p];
                        const float positive = lifted > 0 ? lifted : 0;
                        pixel[p] = limited(positive * levels.gain[p] * count, top, T{});
                    }
        }
    });
    return QM_OK;
}

}  // namespace

int spect_luts_apply_Nx8_float(void* pData, uint32_t uiComponents, uint32_t uiBpc,
                               uint32_t uiWidthBytes, const SQmLut* pLut, uint32_t uiWidth,
                               uint64_t uiSizeInPixels) {
    return apply<uint8_t>(pData, uiComponents, uiBpc, uiWidthBytes, *pLut, uiWidth, uiSizeInPixels);
}
int spect_luts_apply_Nx16_float(void* pData, uint32_t uiComponents, uint32_t uiBpc,
                                uint32_t uiWidthBytes, const SQmLut* pLut, uint32_t uiWidth,
                                uint64_t uiSizeInPixels) {
    return apply<uint16_t>(pData, uiComponents, uiBpc, uiWidthBytes, *pLut, uiWidth,
                           uiSizeInPixels);
}

int CQmPicMemAPI_Base::SpectralApplyLuts(void* pData, uint32_t uiComponents, uint32_t uiBpc,
                                         uint32_t uiWidthBytes, const SQmLut* pLut,
                                         uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (nothing_to_do(pData, uiWidth, uiSizeInPixels)) return QM_OK;
    return kSpectralApply.find_stored(uiComponents, uiBpc < 9 ? 8 : 16)(
        pData, uiComponents, uiBpc, uiWidthBytes, pLut, uiWidth, uiSizeInPixels);
}
