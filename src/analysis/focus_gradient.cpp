#include <algorithm>
#include <cmath>
#include <type_traits>

#include "analysis/exact_sum.h"
#include "analysis/focus_kernels.h"
#include "analysis/focus_pixels.h"
#include "core/frame.h"

// Gradients along the rows.

namespace {

using namespace qmpic;
using Criterium = CQmPicMemAPI_Base::EQmFocusCriterium;

struct Gradients {
    uint64_t energy = 0;
    ExactSum gradient;

    /// Of pixels with the values v(i) and right neighbours with the values w(i), none above `top`.
    template <class V, class W>
    void add(V v, W w, uint64_t count, uint32_t top) {
        const bool at_once = gradient.has_room(count, uint64_t{top} * top);
        if (at_once && top <= 255)
            add_by<1024>(v, w, count);
        else if (at_once && top <= 4095)
            add_by<256>(v, w, count);
        else
            add_in_64_bits(v, w, count, at_once);
    }

  private:
    /// So many squares at once fit into 32 bits.
    template <uint64_t most, class V, class W>
    void add_by(V v, W w, uint64_t count) {
        uint64_t first = 0;
        for (; first + most <= count; first += most)
            add_in_32_bits(v, w, first, std::integral_constant<uint64_t, most>{});
        add_in_32_bits(v, w, first, count - first);
    }
    template <class V, class W, class Count>
    void add_in_32_bits(V v, W w, uint64_t first, Count count) {
        uint32_t squares = 0, differences = 0;
        for (uint64_t i = first; i < first + count; ++i) {
            const auto value = static_cast<int16_t>(v(i));
            const auto difference = static_cast<int16_t>(w(i) - v(i));
            squares += static_cast<uint32_t>(value * value);
            differences += static_cast<uint32_t>(difference * difference);
        }
        energy += squares;
        gradient.add_total(differences);
    }
    template <class V, class W>
    void add_in_64_bits(V v, W w, uint64_t count, bool at_once) {
        uint64_t squares = 0, differences = 0;
        for (uint64_t i = 0; i < count; ++i) {
            const uint32_t value = v(i);
            const uint32_t difference = static_cast<uint32_t>(std::abs(w(i) - v(i)));
            squares += value * value;
            differences += difference * difference;
        }
        energy += squares;
        if (at_once) return gradient.add_total(static_cast<int64_t>(differences));
        for (uint64_t i = 0; i < count; ++i) {
            const double difference = w(i) - v(i);
            gradient.add(difference * difference);
        }
    }
};

/// Where the visited pixels are.
struct Steps {
    uint64_t x, y;
    /// Those of a row of so many pixels; the last of these is a neighbour only.
    uint64_t count(uint64_t width) const { return width < 2 ? 0 : (width - 2) / x + 1; }
};

template <class T, class Pixel>
Gradients sum_gradients(RowsFrom from, Area area, Steps steps, Pixel pixel, uint32_t mask) {
    Gradients sums;
    Gradients* const result = &sums;
    on_best_isa([=] {
        constexpr uint64_t kBlock = 1024;
        uint16_t values[kBlock + 1], neighbours[kBlock];
        const uint16_t *const v = values, *const w = neighbours;
        const uint64_t count = steps.count(area.width), step = steps.x * pixel.samples();
        const uint32_t top = mask & T(-1);
        Gradients local;
        for (uint64_t y = 0; y < area.rows; y += steps.y)
            for (uint64_t first = 0; first < count; first += kBlock) {
                const Sample<T>* const s = from.template row<T>(y) + first * step;
                const uint64_t some = std::min(kBlock, count - first);
                if (steps.x != 1) {
                    for (uint64_t i = 0; i < some; ++i) {
                        values[i] = pixel.mean(s + i * step, mask);
                        neighbours[i] = pixel.mean(s + i * step + pixel.samples(), mask);
                    }
                    local.add([=](uint64_t i) { return v[i]; }, [=](uint64_t i) { return w[i]; },
                              some, top);
                } else if constexpr (std::is_same_v<Pixel, OneComponent<1>> && sizeof(T) == 2) {
                    local.add([=](uint64_t i) { return pixel.mean(s + i, mask); },
                              [=](uint64_t i) { return pixel.mean(s + i + 1, mask); }, some, top);
                } else {
                    for (uint64_t i = 0; i <= some; ++i) values[i] = pixel.mean(s + i * step, mask);
                    local.add([=](uint64_t i) { return v[i]; },
                              [=](uint64_t i) { return v[i + 1]; }, some, top);
                }
            }
        *result = local;
    });
    return sums;
}

bool is_component(int component, uint32_t components) {
    return component == kAllComponents ||
           (component >= 0 && static_cast<uint32_t>(component) < components);
}

bool is_gradient(Criterium criterium) {
    return criterium <= CQmPicMemAPI_Base::FocusGradientPerSample;
}

/// `mask`: bits that are read of a sample.
template <class T>
int gradient(double* result, int component, Src src, uint32_t components, uint32_t mask,
             uint32_t step_x, uint32_t step_y, uint32_t width, uint64_t size, Criterium criterium) {
    if (!is_component(component, components)) return QM_REJECTED;
    if (step_x == 0 || step_y == 0 || src.first == nullptr) return QM_REJECTED;
    const Area area = Area::of_pixels(width, size);
    if (!is_gradient(criterium) && area.rows != 0) return QM_NO_KERNEL;
    const Steps steps{step_x, step_y};
    Gradients sums;
    const RowsFrom from{src, component == kAllComponents ? 0 : component};
    if (components != 0)
        with_pixels(component == kAllComponents, components, [&](const auto& pixel) {
            sums = sum_gradients<T>(from, area, steps, pixel, mask);
        });
    const uint64_t rows = area.rows == 0 ? 0 : (area.rows - 1) / step_y + 1;
    const uint64_t count = rows * steps.count(width);
    const uint64_t by =
        criterium == CQmPicMemAPI_Base::FocusGradientPerEnergy ? sums.energy : count;
    give(result, count == 0 || sums.energy == 0
                     ? 0.0
                     : std::sqrt(sums.gradient.value() / static_cast<double>(by)));
    return QM_OK;
}

constexpr uint32_t kAllBits = 0xFFFFFFFF;
constexpr uint32_t low_bits(uint32_t bpc) { return (uint32_t{1} << (bpc & 31)) - 1; }

}  // namespace

// One line an exported kernel: name, arguments of its own, storage, components, bits that are read.
#define KERNEL(name, Storage, components, mask, ...)                                               \
    int name(double* pdResult, int iComponent, const void* pData, __VA_ARGS__ uint32_t uiWidth,    \
             uint64_t uiSizeInPixels, Criterium eCriterium) {                                      \
        return gradient<Storage>(pdResult, iComponent, Src{pData, uiWidthBytes}, components, mask, \
                                 uiStepX, uiStepY, uiWidth, uiSizeInPixels, eCriterium);           \
    }
#define STEPS uint32_t uiWidthBytes, uint32_t uiStepX, uint32_t uiStepY,
#define STEPS_DEPTH STEPS [[maybe_unused]] uint32_t uiBpc,
#define N_STEPS uint32_t uiComponents, STEPS
#define N_STEPS_DEPTH uint32_t uiComponents, STEPS_DEPTH

// clang-format off
KERNEL(getfocuscriterium_1x8,    uint8_t,  1,            kAllBits,        STEPS)
KERNEL(getfocuscriterium_3x8,    uint8_t,  3,            kAllBits,        STEPS)
KERNEL(getfocuscriterium_Nx8,    uint8_t,  uiComponents, kAllBits,        N_STEPS)
KERNEL(getfocuscriterium_1x16,   uint16_t, 1,            kAllBits,        STEPS_DEPTH)
KERNEL(getfocuscriterium_3x16,   uint16_t, 3,            kAllBits,        STEPS_DEPTH)
KERNEL(getfocuscriterium_Nx16,   uint16_t, uiComponents, kAllBits,        N_STEPS_DEPTH)
KERNEL(getfocuscriterium_1x9_15, uint16_t, 1,            low_bits(uiBpc), STEPS_DEPTH)
KERNEL(getfocuscriterium_3x9_15, uint16_t, 3,            low_bits(uiBpc), STEPS_DEPTH)
KERNEL(getfocuscriterium_Nx9_15, uint16_t, uiComponents, low_bits(uiBpc), N_STEPS_DEPTH)
// clang-format on

int getfocuscriterium_float(double* pdResult, int iComponent, const void* pData,
                            uint32_t uiWidthBytes, uint32_t uiStepX, uint32_t uiStepY,
                            uint32_t /*uiBpc*/, uint32_t uiWidth, uint64_t uiSizeInPixels,
                            Criterium eCriterium) {
    if (!is_component(iComponent, 1)) return QM_REJECTED;
    if (uiWidth == 0 || uiSizeInPixels == 0) return QM_OK;
    if (uiStepX == 0 || uiStepY == 0 || pData == nullptr) return QM_REJECTED;
    const Area area = Area::of_pixels(uiWidth, uiSizeInPixels);
    if (!is_gradient(eCriterium) && area.rows != 0) return QM_NO_KERNEL;
    const FloatSrc src{static_cast<const float*>(pData), uiWidthBytes};
    const Steps steps{uiStepX, uiStepY};
    const uint64_t count = steps.count(uiWidth);
    float energy = 0;
    double sum = 0;
    uint64_t visited = 0;
    for (uint64_t y = 0; y < area.rows; y += uiStepY, visited += count) {
        const Sample<float>* s = src.row(y);
        for (uint64_t i = 0; i < count; ++i, s += uiStepX) {
            const float value = s[0], difference = s[1] - value;
            energy += value * value;
            sum += difference * difference;
        }
    }
    // Counted one by one in a float, pixels from 2^24 on change nothing.
    const auto counted = static_cast<double>(std::min<uint64_t>(visited, 1u << 24));
    const double by =
        eCriterium == CQmPicMemAPI_Base::FocusGradientPerEnergy ? double{energy} : counted;
    give(pdResult, visited == 0 || energy == 0 ? 0.0 : std::sqrt(sum / by));
    return QM_OK;
}
