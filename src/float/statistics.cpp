#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <functional>
#include <memory>

#include "core/frame.h"
#include "core/prefetch.h"
#include "core/shapes.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/system/Alloc.h"

// Extremes, means and their like. All in the calling thread; the order of sums is their result.

namespace {

using namespace qmpic;

/// Samples side by side, each with extremes of its own.
template <uint64_t n>
struct Lanes {
    float least[n], greatest[n];

    Lanes(float least_start, float greatest_start) {
        std::fill_n(least, n, least_start);
        std::fill_n(greatest, n, greatest_start);
    }
    void fold(const Sample<float>* s, uint64_t count) {
        for (uint64_t i = 0; i < count; ++i) {
            const float value = s[i];
            least[i] = value < least[i] ? value : least[i];
            greatest[i] = value > greatest[i] ? value : greatest[i];
        }
    }
};
constexpr uint32_t kMostLanes = 256;

/// Sample i of a row goes to lane i % count.
template <uint64_t n, uint32_t known>
void fold_rows(FloatSrc src, Area area, Count<known> count, Lanes<n>* lanes) {
    area = joined(kCallingThread, area, {stride_of(src, sizeof(float))});
    const float least = lanes->least[0], greatest = lanes->greatest[0];
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
        Lanes<n> local(least, greatest);
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            const Sample<float>* const s = src.row(y);
            uint64_t x = 0;
            for (; x + count() <= area.width; x += count()) {
                fetch_ahead(s + x, count() * sizeof(float));
                local.fold(s + x, count());
            }
            local.fold(s + x, area.width - x);
        }
        *lanes = local;
    });
}

/// Components first to first + count of the pixels, a lane each.
void fold_pixels(FloatSrc src, Area area, uint32_t components, uint32_t first, uint64_t count,
                 Lanes<kMostLanes>* lanes) {
    const float least = lanes->least[0], greatest = lanes->greatest[0];
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
        Lanes<kMostLanes> local(least, greatest);
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            const Sample<float>* s = src.row(y) + first;
            for (uint64_t x = 0; x < area.width; ++x, s += components) local.fold(s, count);
        }
        *lanes = local;
    });
}

/// The extremes of each component; `min` and `max` may be null.
struct Extremes {
    FloatSrc src;
    uint32_t components;
    Area area;  ///< of pixels
    float least_start, greatest_start;

    void find(float* min, float* max) const {
        if (components == 0) return;
        if (64 % components == 0) return find_in_rows(Count<64>{}, min, max);
        if (48 % components == 0) return find_in_rows(Count<48>{}, min, max);
        if (components <= 16) return find_in_rows(Count<0>{16 * components}, min, max);
        for (uint32_t first = 0; first < components; first += kMostLanes) {
            const uint32_t count = std::min(components - first, kMostLanes);
            Lanes<kMostLanes> lanes(least_start, greatest_start);
            fold_pixels(src, area, components, first, count, &lanes);
            if (min != nullptr) std::copy_n(lanes.least, count, min + first);
            if (max != nullptr) std::copy_n(lanes.greatest, count, max + first);
        }
    }

  private:
    template <uint32_t known>
    void find_in_rows(Count<known> count, float* min, float* max) const {
        Lanes<known != 0 ? known : kMostLanes> lanes(least_start, greatest_start);
        fold_rows(src, {area.width * components, area.rows}, count, &lanes);
        if (min != nullptr) join(lanes.least, count(), min, std::less<>{});
        if (max != nullptr) join(lanes.greatest, count(), max, std::greater<>{});
    }

    /// Halves the lanes while a half is whole pixels, and then compares pixel with pixel.
    template <class Beats>
    void join(const float* lanes, uint64_t count, float* best, Beats beats) const {
        float left[kMostLanes];
        std::copy_n(lanes, count, left);
        uint64_t n = count;
        for (; n % (2 * components) == 0; n /= 2)
            for (uint64_t i = 0; i < n / 2; ++i)
                left[i] = beats(left[n / 2 + i], left[i]) ? left[n / 2 + i] : left[i];
        for (uint64_t i = components; i < n; ++i) {
            float& other = left[i % components];
            other = beats(left[i], other) ? left[i] : other;
        }
        for (uint32_t c = 0; c < components; ++c)
            best[c] = left[c] == 0 ? zero_of(lanes, count, c) : left[c];
    }

    /// Within a lane the first zero has won. If lanes differ in its sign, it is looked for.
    float zero_of(const float* lanes, uint64_t count, uint32_t component) const {
        bool positive = false, negative = false;
        for (uint64_t i = component; i < count; i += components)
            if (lanes[i] == 0) (std::signbit(lanes[i]) ? negative : positive) = true;
        if (!negative) return 0.0f;
        if (!positive) return -0.0f;
        for (uint64_t y = 0; y < area.rows; ++y)
            for (uint64_t x = 0; x < area.width; ++x)
                if (const float value = src.row(y)[x * components + component]; value == 0)
                    return value;
        return 0.0f;
    }
};

/// A sum in double that is rounded after each sample, as it would be one sample after the other,
/// made of blocks of samples.
///
/// While a sum stays between two powers of two it is a multiple of one unit, and adding a sample is
/// adding the sample's nearest multiple of this unit. Such multiples can be added in any order, and
/// none of their sums is rounded. Only a sample in the middle between two multiples goes to the one
/// that makes the sum even. So a block is summed at once unless it holds such a sample or may leave
/// the two powers of two.
class SumInOrder {
  public:
    void add(const Sample<float>* s, uint64_t count) {
        uint64_t x = 0;
        for (; x + kBlock <= count; x += kBlock) {
            if (one_by_one_ == 0 && sum_ != 0 && add_at_once(s + x)) {
                failures_ = 0;
                continue;
            }
            // What fails again and again is tried less often, so that trying costs nothing.
            if (one_by_one_ == 0) one_by_one_ = uint64_t{1} << std::min(failures_++, 6u);
            --one_by_one_;
            add_one_by_one(s + x, kBlock);
        }
        add_one_by_one(s + x, count - x);
    }
    double value() const { return sum_; }

  private:
    static constexpr uint64_t kBlock = 256, kLanes = 16;

    void add_one_by_one(const Sample<float>* s, uint64_t count) {
        for (uint64_t i = 0; i < count; ++i) sum_ += s[i];
    }

    bool add_at_once(const Sample<float>* s) {
        const double size = std::fabs(sum_);
        const double power =
            std::bit_cast<double>(std::bit_cast<uint64_t>(size) & 0x7FF0'0000'0000'0000);
        const double rounder = 1.5 * power;  // what is added to it becomes a multiple of the unit
        const double half_unit = power * 0x1p-53;
        double sums[kLanes] = {}, sizes[kLanes] = {}, rests[kLanes] = {};
        for (uint64_t x = 0; x < kBlock; x += kLanes)
            for (uint64_t i = 0; i < kLanes; ++i) {
                const double value = s[x + i], multiple = (value + rounder) - rounder;
                const double rest = std::fabs(value - multiple);
                sums[i] += multiple;
                sizes[i] += std::fabs(multiple);
                rests[i] = rest > rests[i] ? rest : rests[i];
            }
        for (uint64_t n = kLanes / 2; n > 0; n /= 2)
            for (uint64_t i = 0; i < n; ++i) {
                sums[i] += sums[i + n];
                sizes[i] += sizes[i + n];
                rests[i] = rests[i + n] > rests[i] ? rests[i + n] : rests[i];
            }
        // Also false for NaNs and infinities.
        const bool exact =
            rests[0] < half_unit && size - sizes[0] > power && size + sizes[0] < 2 * power;
        if (exact) sum_ += sums[0];
        return exact;
    }

    double sum_ = 0;
    uint64_t one_by_one_ = 0;
    uint32_t failures_ = 0;
};

/// What a sample adds to the sum of its component.
struct Itself {
    float operator()(float value, uint32_t /*component*/) const { return value; }
};
struct SquaredDistance {
    const float* means;
    float operator()(float value, uint32_t component) const {
        const float distance = value - means[component];
        return distance * distance;
    }
};

/// Adds the terms of components first to first + n of some pixels, the sums in registers.
template <uint32_t n, class Term>
void add_components(const Sample<float>* s, uint64_t pixels, uint32_t components, uint32_t first,
                    float* sums, Term term) {
    float local[n];
    std::copy_n(sums + first, n, local);
    s += first;
    for (uint64_t x = 0; x < pixels; ++x, s += components)
        for (uint32_t i = 0; i < n; ++i) local[i] += term(s[i], first + i);
    std::copy_n(local, n, sums + first);
}

/// Adds the terms of each component in the order of the pixels, some pixels at a time, so that they
/// are near when there are more components than registers.
template <class Term>
void add_in_order(const float* data, uint64_t pixels, uint32_t components, float* sums, Term term) {
    std::fill_n(sums, components, 0.0f);
    walk_rows(kCallingThread, 1, [=](RowRange) {
        const uint64_t block = components <= 16 ? pixels : 4096 / components + 1;
        for (uint64_t x = 0; x < pixels; x += block) {
            const Sample<float>* const s = FloatSrc{data, 0}.row(0) + x * components;
            const uint64_t count = std::min(block, pixels - x);
            for (uint32_t c = 0, n; c < components; c += n) {
                n = components - c;
                switch (n) {
                case 1: add_components<1>(s, count, components, c, sums, term); break;
                case 2: add_components<2>(s, count, components, c, sums, term); break;
                case 3: add_components<3>(s, count, components, c, sums, term); break;
                case 4: add_components<4>(s, count, components, c, sums, term); break;
                case 5: add_components<5>(s, count, components, c, sums, term); break;
                case 6: add_components<6>(s, count, components, c, sums, term); break;
                case 7: add_components<7>(s, count, components, c, sums, term); break;
                default:
                    n = n < 16 ? 8 : 16;
                    if (n == 8)
                        add_components<8>(s, count, components, c, sums, term);
                    else
                        add_components<16>(s, count, components, c, sums, term);
                }
            }
        }
    });
}

/// Floats in ascending order as integers: -0 before 0, NaNs beyond the infinities.
int32_t order_of(float value) {
    const auto bits = std::bit_cast<int32_t>(value);
    return bits < 0 ? bits ^ INT32_MAX : bits;
}
float float_of(int32_t order) {
    return std::bit_cast<float>(order < 0 ? order ^ INT32_MAX : order);
}

}  // namespace

int CQmFloatPicMemAPI_Base::GetFloatMinMax(const float* pData, uint32_t uiWidthBytes,
                                           uint32_t uiComponents, uint32_t uiWidth,
                                           uint64_t uiSizeInPixels, float* pfMin, float* pfMax) {
    if (pfMin == nullptr && pfMax == nullptr) return QM_OK;
    const uint64_t size = pData == nullptr ? 0 : uiSizeInPixels;
    Extremes{
        {pData, uiWidthBytes}, 1, Area::of_samples(uiComponents, uiWidth, size), FLT_MAX, -FLT_MAX}
        .find(pfMin, pfMax);
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::GetFloatMinMaxInComps(const float* pData, uint32_t uiWidthBytes,
                                                  uint32_t uiComponents, uint32_t uiWidth,
                                                  uint64_t uiSizeInPixels, float* pfMin,
                                                  float* pfMax) {
    if (pfMin == nullptr && pfMax == nullptr) return QM_OK;
    const uint64_t size = pData == nullptr ? 0 : uiSizeInPixels;
    Extremes{{pData, uiWidthBytes}, uiComponents, Area::of_pixels(uiWidth, size), FLT_MAX, -FLT_MAX}
        .find(pfMin, pfMax);
    return QM_OK;
}

double CQmFloatPicMemAPI_Base::Mean(const float* pData, uint32_t uiWidthBytes,
                                    uint32_t uiComponents, uint32_t uiWidth,
                                    uint64_t uiSizeInPixels) {
    if (nothing_to_do(pData, uiWidth, uiSizeInPixels)) return 0.0;
    const FloatSrc src{pData, uiWidthBytes};
    const Area area =
        joined(kCallingThread, Area::of_samples(uiComponents, uiWidth, uiSizeInPixels),
               {stride_of(src, sizeof(float))});
    double sum = 0;
    double* const result = &sum;
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
        SumInOrder in_order;
        for (uint64_t y = rows.first; y < rows.last; ++y) in_order.add(src.row(y), area.width);
        *result = in_order.value();
    });
    return sum / static_cast<double>(uiSizeInPixels);
}

int CQmFloatPicMemAPI_Base::MeanComp(float* pfMean, const float* pData, uint32_t uiWidth,
                                     uint32_t uiHeight, uint32_t uiComponents) {
    const uint32_t pixels = uiWidth * uiHeight;
    add_in_order(pData, pixels, uiComponents, pfMean, Itself{});
    for (uint32_t c = 0; c < uiComponents; ++c) pfMean[c] /= static_cast<float>(pixels);
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::MinComp(float* pfMin, const float* pData, uint32_t uiWidth,
                                    uint32_t uiHeight, uint32_t uiComponents) {
    const Area area{uiWidth * uiHeight, 1};
    Extremes{{pData, 0}, uiComponents, area, 1e20f, -1e20f}.find(pfMin, nullptr);
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::MaxComp(float* pfMax, const float* pData, uint32_t uiWidth,
                                    uint32_t uiHeight, uint32_t uiComponents) {
    const Area area{uiWidth * uiHeight, 1};
    Extremes{{pData, 0}, uiComponents, area, 1e20f, -1e20f}.find(nullptr, pfMax);
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::MedianComp(float* pfMedian, const float* pData, uint32_t uiWidth,
                                       uint32_t uiHeight, uint32_t uiComponents) {
    const uint32_t pixels = uiWidth * uiHeight;
    std::fill_n(pfMedian, uiComponents, 0.0f);
    if (pixels == 0) return QM_OK;
    const std::unique_ptr<int32_t, void (*)(void*)> scratch(
        static_cast<int32_t*>(CQmAlloc::Alloc(CQmAlloc::ZeroFill, pixels * sizeof(int32_t), 16)),
        CQmAlloc::Free);
    if (!scratch) return QM_NO_MEMORY;
    int32_t* const first = scratch.get();
    for (uint32_t c = 0; c < uiComponents; ++c) {
        const Sample<float>* const s = FloatSrc{pData, 0}.row(0) + c;
        for (uint64_t x = 0; x < pixels; ++x) first[x] = order_of(s[x * uiComponents]);
        std::nth_element(first, first + pixels / 2, first + pixels);
        pfMedian[c] = float_of(first[pixels / 2]);
    }
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::DeviationComp(float* pfDeviation, const float* pfMean,
                                          const float* pData, uint32_t uiWidth, uint32_t uiHeight,
                                          uint32_t uiComponents) {
    const uint32_t pixels = uiWidth * uiHeight;
    add_in_order(pData, pixels, uiComponents, pfDeviation, SquaredDistance{pfMean});
    for (uint32_t c = 0; c < uiComponents; ++c)
        pfDeviation[c] = std::pow(pfDeviation[c] / static_cast<float>(pixels - 1), 0.5f);
    return QM_OK;
}
