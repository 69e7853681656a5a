#include <algorithm>
#include <cmath>
#include <type_traits>

#include "analysis/focus_kernels.h"
#include "analysis/focus_pixels.h"
#include "core/frame.h"

// Immerkaer's noise mask and its dilations. The mask is the second difference down the columns, and
// then along the row. Sums stay below 2^53 for as many pixels as can be visited in a lifetime, so
// they are exact in any order.

namespace {

using namespace qmpic;

constexpr uint32_t kMostLevel = 5;
constexpr uint64_t kBlock = 512, kLongest = kBlock + (2u << kMostLevel);

template <class Word>
Word magnitude(Word value) {
    return value < 0 ? static_cast<Word>(-value) : value;
}

/// Calls `use(r, count)` with what the mask of distance d gives at positions of a row, block by
/// block. A Word has room for 16 samples.
template <class T, class Word, class Pixel, class Use>
void each_response(RowsFrom from, Area area, uint64_t d, Pixel pixel, Use use) {
    Word down[kLongest], r[kBlock];
    const uint64_t width = area.width - 2 * d, rows = area.rows - 2 * d, n = pixel.samples();
    for (uint64_t y = 0; y < rows; ++y) {
        const Sample<T>* const a = from.template row<T>(y);
        const Sample<T>* const b = from.template row<T>(y + d);
        const Sample<T>* const c = from.template row<T>(y + 2 * d);
        for (uint64_t first = 0; first < width; first += kBlock) {
            const uint64_t count = std::min(kBlock, width - first), at = first * n;
            for (uint64_t i = 0; i < count + 2 * d; ++i) {
                const uint64_t x = at + i * n;
                down[i] = static_cast<Word>(pixel.template sum<Word>(a + x, T(-1)) -
                                            2 * pixel.template sum<Word>(b + x, T(-1)) +
                                            pixel.template sum<Word>(c + x, T(-1)));
            }
            for (uint64_t i = 0; i < count; ++i)
                r[i] = static_cast<Word>(down[i] - 2 * down[i + d] + down[i + 2 * d]);
            use(r, count);
        }
    }
}

/// The sum of magnitudes.
template <class T, class Word, class Pixel>
uint64_t sum_magnitudes(RowsFrom from, Area area, Pixel pixel) {
    uint64_t sum = 0;
    uint64_t* const result = &sum;
    on_best_isa([=] {
        uint64_t local = 0;
        each_response<T, Word>(from, area, 1, pixel, [&](const Word* r, uint64_t count) {
            std::conditional_t<sizeof(Word) == 8, uint64_t, uint32_t> some = 0;
            for (uint64_t i = 0; i < count; ++i)
                some += static_cast<std::make_unsigned_t<Word>>(magnitude(r[i]));
            local += some;
        });
        *result = local;
    });
    return sum;
}

/// The sum of what is above a limit that is not negative.
template <class T, class Word, class Pixel>
uint64_t sum_above(RowsFrom from, Area area, uint64_t d, Pixel pixel, Word limit) {
    uint64_t sum = 0;
    uint64_t* const result = &sum;
    on_best_isa([=] {
        uint64_t local = 0;
        each_response<T, Word>(from, area, d, pixel, [&](const Word* r, uint64_t count) {
            std::conditional_t<sizeof(Word) == 8, uint64_t, uint32_t> some = 0;
            for (uint64_t i = 0; i < count; ++i)
                some += static_cast<std::make_unsigned_t<Word>>(r[i] > limit ? r[i] : Word(0));
            local += some;
        });
        *result = local;
    });
    return sum;
}

/// The greatest whole number that is not above `threshold`, within a Word.
template <class Word>
Word whole_limit(double threshold) {
    constexpr auto kTop = std::numeric_limits<Word>::max();
    return threshold < static_cast<double>(kTop) ? static_cast<Word>(threshold) : kTop;
}

struct Levels {
    uint32_t low, high;
    bool fit(uint32_t width, uint64_t rows) const {
        return high <= kMostLevel && width >= 2u << high && rows >= 2u << high && low <= high;
    }
};

template <class T, class Word, class Pixel>
double immerkaer_of(RowsFrom from, Area area, Levels levels, Pixel pixel, double components) {
    const double inside = static_cast<double>(area.width - 2) * static_cast<double>(area.rows - 2);
    const double noise =
        static_cast<double>(sum_magnitudes<T, Word>(from, area, pixel)) / (inside * components);
    if (levels.high == 0) return noise / 100.0;
    const Word limit = whole_limit<Word>(2 * noise);
    uint64_t sum = 0, visited = 0;
    for (uint32_t level = levels.low; level <= levels.high; ++level) {
        const uint64_t d = uint64_t{1} << level;
        sum += sum_above<T, Word>(from, area, d, pixel, limit);
        visited += (area.width - 2 * d) * (area.rows - 2 * d);
    }
    return static_cast<double>(sum) / (static_cast<double>(visited) * components) / 100.0;
}

template <class T>
int immerkaer(double* result, int component, Src src, uint32_t components, Levels levels,
              uint32_t width, uint64_t size) {
    const Area area = Area::of_pixels(width, size);
    if (!levels.fit(width, area.rows) || src.first == nullptr) return QM_REJECTED;
    const bool together = component == kAllComponents;
    const RowsFrom from{src, together ? 0 : component};
    double value = 0;
    with_pixels(together, components, [&](const auto& pixel) {
        using Pixel = std::remove_cvref_t<decltype(pixel)>;
        // 16 samples of a mask, and the sum of a block of them, in the least that holds them.
        constexpr bool is_one = std::is_same_v<Pixel, OneComponent<1>> ||
                                std::is_same_v<Pixel, OneComponent<3>> ||
                                std::is_same_v<Pixel, OneComponent<0>>;
        using Word = std::conditional_t<
            is_one, std::conditional_t<sizeof(T) == 1, int16_t, int32_t>,
            std::conditional_t<std::is_same_v<Pixel, AllComponents<3>>, int32_t, int64_t>>;
        value = immerkaer_of<T, Word>(from, area, levels, pixel, together ? components : 1);
    });
    give(result, value);
    return QM_OK;
}

template <class T>
int immerkaer_checked(double* result, int component, Src src, int components, Levels levels,
                      uint32_t width, uint64_t size) {
    if (component < kAllComponents || component >= components) return QM_REJECTED;
    return immerkaer<T>(result, component, src, static_cast<uint32_t>(components), levels, width,
                        size);
}

}  // namespace

// One line an exported kernel: name, storage, components.
#define KERNEL(name, Storage, components)                                                          \
    int name(double* pdResult, int iComponent, const void* pData, uint32_t uiWidthBytes,           \
             uint32_t uiLevelLow, uint32_t uiLevelHigh, uint32_t uiWidth,                          \
             uint64_t uiSizeInPixels) {                                                            \
        return immerkaer_checked<Storage>(pdResult, iComponent, Src{pData, uiWidthBytes},          \
                                          components, {uiLevelLow, uiLevelHigh}, uiWidth,          \
                                          uiSizeInPixels);                                         \
    }
KERNEL(getfocus_immerkaer_1x8, uint8_t, 1)
KERNEL(getfocus_immerkaer_1x16, uint16_t, 1)
KERNEL(getfocus_immerkaer_3x8, uint8_t, 3)
KERNEL(getfocus_immerkaer_3x16, uint16_t, 3)

#undef KERNEL

// The component is not tested in these.
#define KERNEL(name, Storage)                                                                      \
    int name(double* pdResult, int iComponent, uint32_t uiComponents, const void* pData,           \
             uint32_t uiWidthBytes, uint32_t uiLevelLow, uint32_t uiLevelHigh, uint32_t uiWidth,   \
             uint64_t uiSizeInPixels) {                                                            \
        return immerkaer<Storage>(pdResult, iComponent, Src{pData, uiWidthBytes}, uiComponents,    \
                                  {uiLevelLow, uiLevelHigh}, uiWidth, uiSizeInPixels);             \
    }
KERNEL(getfocus_immerkaer_Nx8, uint8_t)
KERNEL(getfocus_immerkaer_Nx16, uint16_t)
