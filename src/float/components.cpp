#include <algorithm>
#include <atomic>
#include <cstring>

#include "core/frame.h"
#include "core/shapes.h"
#include "core/transpose.h"
#include "float/float_kernels.h"
#include "float/from_integers.h"
#include "qmpic/FloatPicMemAPI_Base.h"

// Components of pixels moved between pictures, and many made one.

namespace {

using namespace qmpic;

/// The extremes of all threads. They are integers, so that it does not matter in what order the
/// threads come here.
class SharedExtremes {
  public:
    void add(uint32_t least, uint32_t greatest) {
        replace(least_, least, [](uint32_t value, uint32_t held) { return value < held; });
        replace(greatest_, greatest, [](uint32_t value, uint32_t held) { return value > held; });
    }
    /// What the caller holds is kept where it is NaN.
    void merge_into(float* min, float* max) const {
        if (least_ > greatest_) return;  // no samples
        const auto least = static_cast<float>(least_), greatest = static_cast<float>(greatest_);
        if (*min > least) *min = least;
        if (greatest > *max) *max = greatest;
    }

  private:
    template <class Beats>
    static void replace(std::atomic<uint32_t>& best, uint32_t value, Beats beats) {
        uint32_t held = best;
        while (beats(value, held) && !best.compare_exchange_weak(held, value)) {
        }
    }
    std::atomic<uint32_t> least_{UINT32_MAX}, greatest_{0};
};

/// Rows are read twice, once for their extremes; steps of 0 are read from the pictures.
template <class T, uint32_t to, uint32_t from>
void convert_and_compare(Component<FloatDst> dst, Component<Src> src, Area area,
                         SharedExtremes* shared) {
    walk_rows(kTeam, area.rows, [=](RowRange rows) {
        const uint64_t dst_step = to != 0 ? to : dst.step, src_step = from != 0 ? from : src.step;
        T least = T(-1), greatest = 0;
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            Sample<float>* const d = dst.picture.row(y) + dst.index;
            const Sample<T>* const s = src.picture.row<T>(y) + src.index;
            for (uint64_t x = 0; x < area.width; ++x) {
                const T value = s[x * src_step];
                least = value < least ? value : least;
                greatest = value > greatest ? value : greatest;
            }
            for (uint64_t x = 0; x < area.width; ++x)
                d[x * dst_step] = ToFloat{}(s[x * src_step].value);
        }
        if (rows.first < rows.last) shared->add(least, greatest);
    });
}

template <class T>
int convert(Component<FloatDst> dst, Component<Src> src, Area area) {
    map<float, T>(kTeam, dst, src, area, ToFloat{});
    return QM_OK;
}
template <class T>
int convert(Component<FloatDst> dst, Component<Src> src, Area area, float* min, float* max) {
    SharedExtremes extremes;
    switch (dst.step == 1 ? src.step : 0) {
    case 1: convert_and_compare<T, 1, 1>(dst, src, area, &extremes); break;
    case 3: convert_and_compare<T, 1, 3>(dst, src, area, &extremes); break;
    case 4: convert_and_compare<T, 1, 4>(dst, src, area, &extremes); break;
    default: convert_and_compare<T, 0, 0>(dst, src, area, &extremes); break;
    }
    extremes.merge_into(min, max);
    return QM_OK;
}

}  // namespace

// One line an exported kernel: name, storage.
#define KERNEL(name, Storage, MORE, ...)                                                           \
    int name(float* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes,                      \
             uint32_t uiDstComponent, const void* pSrc, uint32_t uiSrcComponents,                  \
             uint32_t uiSrcWidthBytes, uint32_t uiSrcComponent, uint32_t, uint32_t uiWidth,        \
             uint64_t uiSizeInPixels MORE) {                                                       \
        return convert<Storage>({{pDst, uiDstWidthBytes}, uiDstComponents, uiDstComponent},        \
                                {{pSrc, uiSrcWidthBytes}, uiSrcComponents, uiSrcComponent},        \
                                Area::of_pixels(uiWidth, uiSizeInPixels) __VA_OPT__(, )            \
                                    __VA_ARGS__);                                                  \
    }
#define MIN_MAX , float *pfMin, float *pfMax

// clang-format off
KERNEL(copycomponent_Nx8_to_Nxfloat,  uint8_t,  )
KERNEL(copycomponent_Nx16_to_Nxfloat, uint16_t, )
KERNEL(copycomponent_Nx8_to_Nxfloat_minmax,  uint8_t,  MIN_MAX, pfMin, pfMax)
KERNEL(copycomponent_Nx16_to_Nxfloat_minmax, uint16_t, MIN_MAX, pfMin, pfMax)
// clang-format on

#undef KERNEL
#undef MIN_MAX

// Pixels whose components stay side by side. One pixel after the other.

namespace {

/// Known numbers of floats spare a call a pixel.
template <uint32_t known>
struct MoveFloats {
    Count<known> count;
    uint64_t to, from;
    void operator()(Sample<uint32_t>* d, const Sample<uint32_t>* s) const {
        std::memmove(d + to, s + from, count() * sizeof(float));
    }
};

template <uint32_t known>
struct ToAll {
    Count<known> count;
    void operator()(Sample<uint32_t>* d, const Sample<uint32_t>* s) const {
        const uint32_t value = *s;
        for (uint64_t c = 0; c < count(); ++c) d[c] = value;
    }
};

template <uint32_t known>
void move_floats(FloatDst dst, uint32_t to_step, uint32_t to, FloatSrc src, uint32_t from_step,
                 uint32_t from, uint32_t count, Area area) {
    each_pixel<uint32_t, uint32_t>(kCallingThread, dst, Count<0>{to_step}, src, Count<0>{from_step},
                                   area, MoveFloats<known>{{count}, to, from});
}

template <uint32_t known>
void to_all(FloatDst dst, uint32_t count, FloatSrc src, Area area) {
    each_pixel<uint32_t, uint32_t>(kCallingThread, dst, Count<known>{count}, src, Count<1>{}, area,
                                   ToAll<known>{{count}});
}

/// Sums begin at 0 and take the components in order, each sum rounded to a float.
struct SumOverCount {
    float count;
    double weight(uint64_t) const { return 1; }
    float add(float sum, float x, double) const { return sum + x; }
    float result(float sum) const { return sum / count; }
};
/// Products are made in double.
struct WeightedSum {
    const Sample<double>* weights;
    double weight(uint64_t component) const { return weights[component]; }
    float add(float sum, float x, double weight) const {
        return sum + static_cast<float>(x * weight);
    }
    float result(float sum) const { return sum; }
};
/// The same of few components, whose weights need not be read again behind every pixel.
struct FewWeights {
    double weights[4];
    FewWeights(const Sample<double>* w, uint32_t count) : weights() {
        std::copy_n(w, count, weights);
    }
    double weight(uint64_t component) const { return weights[component]; }
    float add(float sum, float x, double weight) const {
        return sum + static_cast<float>(x * weight);
    }
    float result(float sum) const { return sum; }
};

constexpr uint64_t kTogether = 64;  // pixels whose sums are made side by side

template <class Sum>
void add_component(float* sums, const float* plane, uint64_t pixels, double weight,
                   const Sum& sum) {
    for (uint64_t k = 0; k < pixels; ++k) sums[k] = sum.add(sums[k], plane[k], weight);
}

/// Four components after the other; at the end the last four of a pixel, of which some are known.
template <class Sum>
void collapse_together(Sample<float>* d, const Sample<float>* s, uint64_t pixels, uint64_t count,
                       const Sum& sum) {
    float sums[kTogether] = {}, planes[4][kTogether];
    for (uint64_t c = 0; c < count; c += 4) {
        const uint64_t first = std::min(c, count - 4);
        take_four_apart(s + first, count, pixels, planes[0], kTogether);
        for (uint64_t i = c - first; i < 4; ++i)
            add_component(sums, planes[i], pixels, sum.weight(first + i), sum);
    }
    for (uint64_t k = 0; k < pixels; ++k) d[k] = sum.result(sums[k]);
}

template <uint32_t known, class Sum>
void collapse(FloatDst dst, FloatSrc src, Count<known> count, Area area, Sum sum) {
    area = joined(kCallingThread, area,
                  {stride_of(dst, sizeof(float)), stride_of(src, count() * sizeof(float))});
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            Sample<float>* const d = dst.row(y);
            const Sample<float>* const s = src.row(y);
            uint64_t x = 0;
            if (known == 0 && count() >= 4)
                for (; x + 4 <= area.width;) {
                    const uint64_t pixels = std::min(kTogether, (area.width - x) / 4 * 4);
                    collapse_together(d + x, s + x * count(), pixels, count(), sum);
                    x += pixels;
                }
            for (; x < area.width; ++x) {  // few components make vectors of pixels by themselves
                float one = 0;
                for (uint64_t c = 0; c < count(); ++c)
                    one = sum.add(one, s[x * count() + c], sum.weight(c));
                d[x] = sum.result(one);
            }
        }
    });
}

template <class Few, class Many>
void collapse_any(FloatDst dst, FloatSrc src, uint32_t components, Area area, Few few, Many many) {
    switch (components) {
    case 1: return collapse(dst, src, Count<1>{}, area, few);
    case 2: return collapse(dst, src, Count<2>{}, area, few);
    case 3: return collapse(dst, src, Count<3>{}, area, few);
    case 4: return collapse(dst, src, Count<4>{}, area, few);
    default: return collapse(dst, src, Count<0>{components}, area, many);
    }
}

}  // namespace

int CQmFloatPicMemAPI_Base::CopyComponent(float* pDst, uint32_t uiDstComponents,
                                          uint32_t uiDstWidthBytes, uint32_t uiDstComponent,
                                          const void* pSrc, uint32_t uiSrcComponents,
                                          uint32_t uiSrcWidthBytes, uint32_t uiSrcComponent,
                                          uint32_t uiBpc, uint32_t uiWidth,
                                          uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    return call(kCopyToFloatComponent.find_stored(0, bits_of_component(uiBpc)), pDst,
                uiDstComponents, uiDstWidthBytes, uiDstComponent, pSrc, uiSrcComponents,
                uiSrcWidthBytes, uiSrcComponent, uiBpc, uiWidth, uiSizeInPixels);
}

int CQmFloatPicMemAPI_Base::CopyComponent(float* pDst, float* pfMin, float* pfMax,
                                          uint32_t uiDstComponents, uint32_t uiDstWidthBytes,
                                          uint32_t uiDstComponent, const void* pSrc,
                                          uint32_t uiSrcComponents, uint32_t uiSrcWidthBytes,
                                          uint32_t uiSrcComponent, uint32_t uiBpc, uint32_t uiWidth,
                                          uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    return call(kCopyToFloatComponentMinMax.find_stored(0, bits_of_component(uiBpc)), pDst,
                uiDstComponents, uiDstWidthBytes, uiDstComponent, pSrc, uiSrcComponents,
                uiSrcWidthBytes, uiSrcComponent, uiBpc, uiWidth, uiSizeInPixels,
                pfMin + uiDstComponent, pfMax + uiDstComponent);
}

int CQmFloatPicMemAPI_Base::ExtractComponent(float* pDst, uint32_t uiDstWidthBytes,
                                             const float* pSrc, uint32_t uiSrcWidthBytes,
                                             uint32_t uiSrcComponents, uint32_t uiSrcComponent,
                                             uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    return copycomponent_Nxfloat_to_Nxfloat(pDst, 1, uiDstWidthBytes, 0, pSrc, uiSrcComponents,
                                            uiSrcWidthBytes, uiSrcComponent, uiWidth,
                                            uiSizeInPixels);
}

int CQmFloatPicMemAPI_Base::StoreComponent(float* pDst, uint32_t uiDstComponents,
                                           uint32_t uiDstWidthBytes, uint32_t uiDstComponent,
                                           const float* pSrc, uint32_t uiSrcWidthBytes,
                                           uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    return copycomponent_Nxfloat_to_Nxfloat(pDst, uiDstComponents, uiDstWidthBytes, uiDstComponent,
                                            pSrc, 1, uiSrcWidthBytes, 0, uiWidth, uiSizeInPixels);
}

int CQmFloatPicMemAPI_Base::ExtractComponentRange(float* pDst, uint32_t uiDstWidthBytes,
                                                  uint32_t uiDstComponents, uint32_t uiDstFirst,
                                                  const float* pSrc, uint32_t uiSrcComponents,
                                                  uint32_t uiSrcWidthBytes, uint32_t uiSrcFirst,
                                                  uint32_t uiSrcLast, uint32_t uiWidth,
                                                  uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (uiSrcLast < uiSrcFirst) return QM_OK;
    const uint32_t count = uiSrcLast - uiSrcFirst + 1;
    const FloatDst dst{pDst, uiDstWidthBytes};
    const FloatSrc src{pSrc, uiSrcWidthBytes};
    const Area area = Area::of_pixels(uiWidth, uiSizeInPixels);
    const auto move = [&](auto run) {
        run(dst, uiDstComponents, uiDstFirst, src, uiSrcComponents, uiSrcFirst, count, area);
    };
    switch (count) {
    case 1: move(move_floats<1>); break;
    case 2: move(move_floats<2>); break;
    case 3: move(move_floats<3>); break;
    case 4: move(move_floats<4>); break;
    default: move(move_floats<0>); break;
    }
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::ExpandComponent(float* pDst, uint32_t uiDstComponents,
                                            uint32_t uiDstWidthBytes, const float* pSrc,
                                            uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                                            uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    const FloatDst dst{pDst, uiDstWidthBytes};
    const FloatSrc src{pSrc, uiSrcWidthBytes};
    const Area area = Area::of_pixels(uiWidth, uiSizeInPixels);
    switch (uiDstComponents) {
    case 1: return Copy(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, 1, uiWidth, uiSizeInPixels);
    case 2: to_all<2>(dst, 2, src, area); break;
    case 3: to_all<3>(dst, 3, src, area); break;
    case 4: to_all<4>(dst, 4, src, area); break;
    default: to_all<0>(dst, uiDstComponents, src, area); break;
    }
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::CollapseComponents(float* pDst, uint32_t uiDstWidthBytes,
                                               const float* pSrc, uint32_t uiSrcComponents,
                                               uint32_t uiSrcWidthBytes, const double* pdWeights,
                                               uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    const FloatDst dst{pDst, uiDstWidthBytes};
    const FloatSrc src{pSrc, uiSrcWidthBytes};
    const Area area = Area::of_pixels(uiWidth, uiSizeInPixels);
    if (pdWeights == nullptr) {
        const SumOverCount mean{static_cast<float>(uiSrcComponents)};
        collapse_any(dst, src, uiSrcComponents, area, mean, mean);
    } else {
        const auto* const weights = reinterpret_cast<const Sample<double>*>(pdWeights);
        collapse_any(dst, src, uiSrcComponents, area,
                     FewWeights(weights, std::min(uiSrcComponents, 4u)), WeightedSum{weights});
    }
    return QM_OK;
}
