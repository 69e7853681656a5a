#include <cmath>

#include "PicMemAPI/accumulation_kernels.h"
#include "core/shapes.h"
#include "qmpic/PicMemAPI_Base.h"

// Running averages. A pixel's weights are for all its components, which no shape of samples knows:
// rows are walked here.

namespace {

using namespace qmpic;

/// Toward zero in 32 bits, of which a sample keeps the low ones. For all that does not fit, and for
/// NaN, the integer is 0x80000000, whose low bits are 0.
template <class T, class Real>
T low_bits(Real value) {
    static_assert(sizeof(T) <= 2);
    const Real inside = std::fabs(value) < Real(0x1p31) ? value : 0;
    return static_cast<T>(static_cast<int32_t>(inside));
}

/// Weights of doubles, and what is stored of an average.
struct Rounded {
    using Weight = double;
    template <class T>
    static T stored(double average) {
        if constexpr (std::is_floating_point_v<T>)
            return static_cast<T>(average + 0.5);  // and the half stays
        else
            return low_bits<T>(average + 0.5);
    }
};
/// Weights of floats: without a half, unlike those above.
struct Cut {
    using Weight = float;
    template <class T>
    static T stored(float average) {
        return low_bits<T>(average);
    }
};

/// A component of a pixel with the weights A and W.
template <class T, class Way>
T updated(T old, T source, typename Way::Weight a, typename Way::Weight w) {
    using Real = typename Way::Weight;
    const Real sum = static_cast<Real>(source) * w + static_cast<Real>(old) * a;
    return Way::template stored<T>(sum / (w + a));
}

/// The rows of a pixel run.
template <class T, class Real>
struct Run {
    Sample<T>* d;
    Sample<Real>* weights;
    const Sample<T>* s;
    const Sample<Real>* new_weights;
};

/// Pixels of one component: a weight for each sample.
template <class T, class Way, class Real>
void update_run(const Run<T, Real>& run, uint64_t pixels) {
    constexpr uint64_t n = 64 / sizeof(T);
    const auto block = [&](uint64_t x, uint64_t count) {
        T values[n];
        Real sums[n];
        for (uint64_t i = 0; i < count; ++i) {
            const Real a = run.weights[x + i], w = run.new_weights[x + i];
            values[i] = updated<T, Way>(run.d[x + i], run.s[x + i], a, w);
            sums[i] = a + w;
        }
        for (uint64_t i = 0; i < count; ++i) run.d[x + i] = values[i];
        for (uint64_t i = 0; i < count; ++i) run.weights[x + i] = sums[i];
    };
    uint64_t x = 0;
    for (; x + n <= pixels; x += n) block(x, n);
    block(x, pixels - x);
}

/// Pixels of few components, up to `most`, some at a time: their weights are repeated, and then
/// there is one for each sample.
template <uint32_t most, class T, class Way>
struct FewComponents {
    using Real = typename Way::Weight;
    static constexpr uint64_t kPixels = 16, kSamples = (kPixels + 1) * most;

    template <uint32_t known>
    static void update(const Run<T, Real>& run, uint64_t x, Count<known> count, uint64_t pixels) {
        Real a[kSamples], w[kSamples];
        T values[kSamples];
        for (uint64_t i = 0; i < pixels; ++i) {
            const Real of_a = run.weights[x + i], of_w = run.new_weights[x + i];
            for (uint64_t c = 0; c < most; ++c)  // the next pixel's stand over what is too much
                a[i * count() + c] = of_a, w[i * count() + c] = of_w;
            run.weights[x + i] = of_a + of_w;
        }
        Sample<T>* const d = run.d + x * count();
        const Sample<T>* const s = run.s + x * count();
        for (uint64_t i = 0; i < pixels * count(); ++i)
            values[i] = updated<T, Way>(d[i], s[i], a[i], w[i]);
        for (uint64_t i = 0; i < pixels * count(); ++i) d[i] = values[i];
    }
};
template <uint32_t most, class T, class Way, uint32_t known>
void update_run_of_few(const Run<T, typename Way::Weight>& run, Count<known> count,
                       uint64_t pixels) {
    using Some = FewComponents<most, T, Way>;
    uint64_t x = 0;
    for (; x + Some::kPixels <= pixels; x += Some::kPixels)
        Some::update(run, x, count, Some::kPixels);
    Some::update(run, x, count, pixels - x);
}

/// Pixels of many components are vectors themselves.
template <class T, class Way, class Real>
void update_run_of_many(const Run<T, Real>& run, uint64_t components, uint64_t pixels) {
    for (uint64_t x = 0; x < pixels; ++x) {
        const Real a = run.weights[x], w = run.new_weights[x];
        const auto op = [=](T old, T source) { return updated<T, Way>(old, source, a, w); };
        Sample<T>* const d = run.d + x * components;
        detail::dense_row(d, components, op, static_cast<const Sample<T>*>(d),
                          run.s + x * components);
        run.weights[x] = a + w;
    }
}

template <class T, class Way, uint32_t known>
int update_average(Dst dst, Dst weights, Src src, Src new_weights, Count<known> count, Area area) {
    using Real = typename Way::Weight;
    const uint64_t pixel = count() * sizeof(T);
    area = joined(kCallingThread, area,
                  {stride_of(dst, pixel), stride_of(weights, sizeof(Real)), stride_of(src, pixel),
                   stride_of(new_weights, sizeof(Real))});
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            const Run<T, Real> run{dst.row<T>(y), weights.row<Real>(y), src.row<T>(y),
                                   new_weights.row<Real>(y)};
            if constexpr (known == 1)
                update_run<T, Way>(run, area.width);
            else if constexpr (known != 0)
                update_run_of_few<4, T, Way>(run, count, area.width);
            else if (count() == 1)
                update_run<T, Way>(run, area.width);
            else if (count() <= 4)
                update_run_of_few<4, T, Way>(run, count, area.width);
            else if (count() < 8)
                update_run_of_few<8, T, Way>(run, count, area.width);
            else
                update_run_of_many<T, Way>(run, count(), area.width);
        }
    });
    return QM_OK;
}

}  // namespace

// One line an exported kernel: name, storage, components, weights and what is stored.
#define KERNEL(name, Storage, components, Way, COUNT)                                              \
    int name(void* pDst, uint32_t uiDstWidthBytes, Way::Weight* pWeights,                          \
             uint32_t uiWeightsWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,             \
             const Way::Weight* pSrcWeights, uint32_t uiSrcWeightsWidthBytes,                      \
             COUNT uint32_t uiWidth, uint64_t uiSizeInPixels) {                                    \
        return update_average<Storage, Way>(                                                       \
            Dst{pDst, uiDstWidthBytes}, Dst{pWeights, uiWeightsWidthBytes},                        \
            Src{pSrc, uiSrcWidthBytes}, Src{pSrcWeights, uiSrcWeightsWidthBytes}, components,      \
            Area::of_pixels(uiWidth, uiSizeInPixels));                                             \
    }
#define FIXED
#define ANY uint32_t uiComponents,

// clang-format off
KERNEL(average_update_1x8,  uint8_t,  Count<1>{},             Rounded, FIXED)
KERNEL(average_update_3x8,  uint8_t,  Count<3>{},             Rounded, FIXED)
KERNEL(average_update_Nx8,  uint8_t,  Count<0>{uiComponents}, Rounded, ANY)
KERNEL(average_update_1x16, uint16_t, Count<1>{},             Rounded, FIXED)
KERNEL(average_update_3x16, uint16_t, Count<3>{},             Rounded, FIXED)
KERNEL(average_update_Nx16, uint16_t, Count<0>{uiComponents}, Rounded, ANY)
KERNEL(average_update_Nx32, float,    Count<0>{uiComponents}, Rounded, ANY)

KERNEL(average_update_1x8_flt,  uint8_t,  Count<1>{},             Cut, FIXED)
KERNEL(average_update_3x8_flt,  uint8_t,  Count<3>{},             Cut, FIXED)
KERNEL(average_update_Nx8_flt,  uint8_t,  Count<0>{uiComponents}, Cut, ANY)
KERNEL(average_update_1x16_flt, uint16_t, Count<1>{},             Cut, FIXED)
KERNEL(average_update_3x16_flt, uint16_t, Count<3>{},             Cut, FIXED)
KERNEL(average_update_Nx16_flt, uint16_t, Count<0>{uiComponents}, Cut, ANY)
// clang-format on

#undef ANY
#undef FIXED
#undef KERNEL

// Neither is guarded.
int CQmPicMemAPI_Base::AverageUpdate(void* pDst, uint32_t uiDstWidthBytes, double* pdWeights,
                                     uint32_t uiWeightsWidthBytes, const void* pSrc,
                                     uint32_t uiSrcWidthBytes, const double* pdSrcWeights,
                                     uint32_t uiSrcWeightsWidthBytes, uint32_t uiComponents,
                                     uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels) {
    return call(kAverageUpdate.find_stored(uiComponents, bits_of_average(uiBpc)), pDst,
                uiDstWidthBytes, pdWeights, uiWeightsWidthBytes, pSrc, uiSrcWidthBytes,
                pdSrcWeights, uiSrcWeightsWidthBytes, uiComponents, uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::AverageUpdate(void* pDst, uint32_t uiDstWidthBytes, void* pWeights,
                                     uint32_t uiWeightsWidthBytes, const void* pSrc,
                                     uint32_t uiSrcWidthBytes, const void* pSrcWeights,
                                     uint32_t uiSrcWeightsWidthBytes, uint32_t uiComponents,
                                     uint32_t uiBpc, uint32_t uiFloatBits, uint32_t uiWidth,
                                     uint32_t uiSizeInPixels) {
    if (uiBpc > 16) return QM_NO_KERNEL;  // no floats here
    if (uiFloatBits == 64)
        return AverageUpdate(pDst, uiDstWidthBytes, static_cast<double*>(pWeights),
                             uiWeightsWidthBytes, pSrc, uiSrcWidthBytes,
                             static_cast<const double*>(pSrcWeights), uiSrcWeightsWidthBytes,
                             uiComponents, uiBpc, uiWidth, uint64_t{uiSizeInPixels});
    if (uiFloatBits != 32) return QM_NO_KERNEL;
    return call(kAverageUpdateFloat.find_stored(uiComponents, bits_of_average(uiBpc)), pDst,
                uiDstWidthBytes, static_cast<float*>(pWeights), uiWeightsWidthBytes, pSrc,
                uiSrcWidthBytes, static_cast<const float*>(pSrcWeights), uiSrcWeightsWidthBytes,
                uiComponents, uiWidth, uint64_t{uiSizeInPixels});
}
