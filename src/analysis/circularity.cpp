#include <algorithm>
#include <limits>

#include "analysis/acquisition_kernels.h"
#include "core/arithmetic.h"
#include "core/rows.h"
#include "core/scratch.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"

// The threshold at which objects are roundest.
//
// A pixel belongs to the boundary of level t when it is at or above t and the least of its eight
// neighbours is not. Counted with itself among the nine, the least is never above it, so that the
// boundary is the number of pixels at or above t less the number of those whose least of nine is.
// Two histograms hold all of it: that of the pixels, and that of the least of nine. Of dark objects
// it is the greatest.

namespace {

using namespace qmpic;

/// Pixels whose extremes are found by vectors before they are counted.
constexpr uint64_t kBlock = 512;

/// Tables by turns: a counter that is incremented again at once waits for itself.
template <class S>
constexpr uint64_t kTurns = sizeof(S) == 1 ? 4 : 1;
template <class S>
constexpr uint64_t kLevels = uint64_t{1} << (8 * sizeof(S));

/// Pixels of each value, and of each extreme of nine.
struct Counts {
    uint32_t *pixels, *extremes;
};

template <class S>
struct Picture {
    Src src;
    uint64_t step;
    Area area;
    bool bright;

    /// Extremes of three rows, each of `count` + 2 columns from `x` - 1 on, then of three columns.
    void extremes(S* of, uint64_t x, uint64_t y, uint64_t count) const {
        if (bright)
            extremes(of, x, y, count, [](S a, S b) { return a < b ? a : b; });
        else
            extremes(of, x, y, count, [](S a, S b) { return a > b ? a : b; });
    }
    const Sample<S>* at(uint64_t x, uint64_t y) const { return src.row<S>(y) + x * step; }

  private:
    template <class Choose>
    void extremes(S* of, uint64_t x, uint64_t y, uint64_t count, Choose choose) const {
        S columns[kBlock + 2];
        const Sample<S>*const above = at(x - 1, y - 1), *const here = at(x - 1, y),
                              *const below = at(x - 1, y + 1);
        if (step == 1)
            for (uint64_t i = 0; i < count + 2; ++i)
                columns[i] = choose(choose(S{above[i]}, S{below[i]}), S{here[i]});
        else
            for (uint64_t i = 0; i < count + 2; ++i)
                columns[i] =
                    choose(choose(S{above[i * step]}, S{below[i * step]}), S{here[i * step]});
        for (uint64_t i = 0; i < count; ++i)
            of[i] = choose(choose(columns[i], columns[i + 1]), columns[i + 2]);
    }
};

struct Everywhere {
    struct Block {
        Block(const Everywhere&, uint64_t, uint64_t, uint64_t) {}
        static constexpr uint32_t has(uint64_t) { return 1; }
    };
};

template <class M>
struct Under {
    Src mask;
    uint32_t value;
    bool equal;

    /// 1 for pixels whose nine samples are all the value, or all another.
    struct Block {
        uint8_t chosen[kBlock];
        Block(const Under& under, uint64_t x, uint64_t y, uint64_t count) {
            uint8_t columns[kBlock + 2];
            const auto value = static_cast<M>(under.value);
            const bool exists = value == under.value, wanted = under.equal;
            const Sample<M>*const above = under.mask.template row<M>(y - 1) + x - 1,
                                  *const here = under.mask.template row<M>(y) + x - 1,
                                  *const below = under.mask.template row<M>(y + 1) + x - 1;
            const auto fits = [=](M sample) -> uint8_t {
                return (exists & (sample == value)) == wanted;
            };
            for (uint64_t i = 0; i < count + 2; ++i)
                columns[i] = fits(above[i]) & fits(here[i]) & fits(below[i]);
            for (uint64_t i = 0; i < count; ++i)
                chosen[i] = columns[i] & columns[i + 1] & columns[i + 2];
        }
        uint32_t has(uint64_t i) const { return chosen[i]; }
    };
};

/// Counts the interior pixels, in `kTurns` tables each. The number of those that were counted.
template <class S, class Where>
uint64_t count_pixels(Counts counts, const Picture<S>& picture, const Where& where) {
    uint64_t counted = 0;
    uint64_t* const result = &counted;
    on_best_isa([=] {
        S extremes[kBlock];
        uint64_t all = 0;
        for (uint64_t y = 1; y + 1 < picture.area.rows; ++y)
            for (uint64_t x = 1; x + 1 < picture.area.width; x += kBlock) {
                const uint64_t count = std::min(kBlock, picture.area.width - 1 - x);
                picture.extremes(extremes, x, y, count);
                const typename Where::Block block(where, x, y, count);
                const Sample<S>* const s = picture.at(x, y);
                for (uint64_t i = 0; i < count; ++i) {
                    const uint64_t table = i % kTurns<S> * kLevels<S>;
                    counts.pixels[table + s[i * picture.step]] += block.has(i);
                    counts.extremes[table + extremes[i]] += block.has(i);
                    all += block.has(i);
                }
            }
        *result = all;
    });
    return counted;
}

struct Limits {
    double min_area, max_area;
};

/// `pixels` are N of the limits.
uint32_t roundest(Counts counts, uint64_t levels, bool bright, uint64_t pixels, Limits limits) {
    const auto n = static_cast<double>(pixels);
    const int64_t least = trunc_i64(n * limits.min_area + 0.5);
    const int64_t most = trunc_i64((1.0 - limits.max_area) * n + 0.5);
    // Of bright objects from t up to the last level: what is left when those below t are taken
    // away.
    int64_t area = 0, boundary = 0;
    const auto add = [&](uint64_t t, int64_t sign) {
        area += sign * int64_t{counts.pixels[t]};
        boundary += sign * (int64_t{counts.pixels[t]} - int64_t{counts.extremes[t]});
    };
    if (bright)
        for (uint64_t t = 0; t < levels; ++t) add(t, 1);
    double best = std::numeric_limits<double>::infinity();
    uint32_t level = 0;
    for (uint64_t t = 0; t < levels; ++t) {
        if (!bright) add(t, 1);
        if (least < area && area < most) {
            const auto b = static_cast<double>(boundary);
            const double score = b * b / static_cast<double>(area);
            if (score < best) {  // not a NaN, of an empty area under a limit below 0
                best = score;
                level = static_cast<uint32_t>(t);
            }
        }
        if (bright) add(t, -1);
    }
    return level;
}

template <class S, class Where>
uint32_t threshold(const Picture<S>& picture, const Where& where, uint64_t levels, Limits limits) {
    if (picture.area.width < 3 || picture.area.rows < 3) return 0;
    constexpr uint64_t kSize = kTurns<S> * kLevels<S>;
    const Scratch<uint32_t> memory(2 * kSize);
    if (!memory) return static_cast<uint32_t>(QM_NO_MEMORY);
    std::fill_n(memory.get(), 2 * kSize, 0u);
    const Counts counts{memory.get(), memory.get() + kSize};
    const uint64_t pixels = count_pixels(counts, picture, where);
    for (uint64_t i = kLevels<S>; i < kSize; ++i) {
        counts.pixels[i % kLevels<S>] += counts.pixels[i];
        counts.extremes[i % kLevels<S>] += counts.extremes[i];
    }
    return roundest(counts, levels, picture.bright, pixels, limits);
}

template <class S>
uint32_t threshold_of_all(const void* data, uint32_t components, uint32_t stride, uint32_t width,
                          uint32_t size, bool bright, double min_area, double max_area) {
    const Picture<S> picture{{data, stride}, components, Area::of_pixels(width, size), bright};
    return threshold(picture, Everywhere{}, kLevels<S>, {min_area, max_area});
}

template <class S, class M>
uint32_t threshold_under_mask(const void* data, uint32_t bpc, uint32_t components, uint32_t stride,
                              const void* mask, uint32_t mask_stride, uint32_t width, uint32_t size,
                              bool bright, double min_area, double max_area, uint32_t value,
                              bool equal) {
    const Picture<S> picture{{data, stride}, components, Area::of_pixels(width, size), bright};
    const Under<M> under{{mask, mask_stride}, value, equal};
    const uint64_t levels = std::min(kLevels<S>, uint64_t{1} << (bpc & 63));
    return threshold(picture, under, levels, {min_area, max_area});
}

}  // namespace

#define ALL(name, S)                                                                               \
    unsigned int name(const void* pData, uint32_t uiComponents, uint32_t uiWidthBytes,             \
                      uint32_t uiWidth, uint32_t uiSize, bool bBright, double dMinArea,            \
                      double dMaxArea) {                                                           \
        return threshold_of_all<S>(pData, uiComponents, uiWidthBytes, uiWidth, uiSize, bBright,    \
                                   dMinArea, dMaxArea);                                            \
    }
ALL(threshold_from_integral_circularity_8, uint8_t)
ALL(threshold_from_integral_circularity_16, uint16_t)

#define MASKED(name, S, M)                                                                         \
    unsigned int name(const void* pData, uint32_t uiBpc, uint32_t uiComponents,                    \
                      uint32_t uiWidthBytes, const void* pMask, uint32_t uiMaskWidthBytes,         \
                      uint32_t uiWidth, uint32_t uiSize, bool bBright, double dMinArea,            \
                      double dMaxArea, uint32_t uiMaskValue, bool bMaskEqual) {                    \
        return threshold_under_mask<S, M>(pData, uiBpc, uiComponents, uiWidthBytes, pMask,         \
                                          uiMaskWidthBytes, uiWidth, uiSize, bBright, dMinArea,    \
                                          dMaxArea, uiMaskValue, bMaskEqual);                      \
    }
MASKED(threshold_from_integral_circularity_mask_8_8, uint8_t, uint8_t)
MASKED(threshold_from_integral_circularity_mask_8_16, uint8_t, uint16_t)
MASKED(threshold_from_integral_circularity_mask_16_8, uint16_t, uint8_t)
MASKED(threshold_from_integral_circularity_mask_16_16, uint16_t, uint16_t)

unsigned int CQmPicMemAPI_Base::ThresholdFromIntegralCircularity(
    const void* pData, uint32_t uiBpc, uint32_t uiComponents, uint32_t uiWidthBytes,
    uint32_t uiWidth, uint32_t uiSize, bool bBrightObjects, double dMinArea, double dMaxArea) {
    CircularityKernel* const kernel = kCircularity.find_stored(uiComponents, bytes_or_words(uiBpc));
    if (kernel == nullptr) return static_cast<unsigned>(QM_NO_KERNEL);
    if (pData == nullptr) return 0;
    return kernel(pData, uiComponents, uiWidthBytes, uiWidth, uiSize, bBrightObjects, dMinArea,
                  dMaxArea);
}

unsigned int CQmPicMemAPI_Base::ThresholdFromIntegralCircularity(
    const void* pData, uint32_t uiBpc, uint32_t uiComponents, uint32_t uiWidthBytes,
    const void* pMask, uint32_t uiMaskBpc, uint32_t uiMaskWidthBytes, uint32_t uiWidth,
    uint32_t uiSize, bool bBrightObjects, double dMinArea, double dMaxArea, uint32_t uiMaskValue,
    bool bMaskEqual) {
    MaskedCircularityKernel* const kernel = kMaskedCircularity.find_between(
        uiComponents, bytes_or_words(uiBpc), bytes_or_words(uiMaskBpc));
    if (kernel == nullptr) return static_cast<unsigned>(QM_NO_KERNEL);
    if (pData == nullptr || pMask == nullptr) return 0;
    return kernel(pData, uiBpc, uiComponents, uiWidthBytes, pMask, uiMaskWidthBytes, uiWidth,
                  uiSize, bBrightObjects, dMinArea, dMaxArea, uiMaskValue, bMaskEqual);
}
