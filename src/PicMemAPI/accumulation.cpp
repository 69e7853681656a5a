#include <algorithm>
#include <cmath>
#include <cstring>
#include <type_traits>

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

/// A quotient.
struct Divided {
    template <class Real>
    static Real quotient(Real a, Real b, Real /*reciprocal*/) {
        return a / b;
    }
};
/// The same without a division, from the reciprocal of b, rounded to nearest (Markstein 1990): the
/// first correction leaves less than a unit in the last place, the second rounds as a division
/// does. For what neither overflows nor underflows, and where the processor has the instruction.
struct Corrected {
    static double quotient(double a, double b, double reciprocal) {
        double q = a * reciprocal;
        q = __builtin_fma(__builtin_fma(-b, q, a), reciprocal, q);
        return __builtin_fma(__builtin_fma(-b, q, a), reciprocal, q);
    }
};

/// So many samples are computed at once.
constexpr uint64_t kVector = 32;

/// What a pixel's components have in common, repeated for each of them: samples with a weight each.
template <class T, class Way>
struct Samples {
    using Real = typename Way::Weight;
    static constexpr uint64_t kMost = 1024;

    Real a[kMost + kVector], w[kMost + kVector], reciprocal[kMost + kVector];

    template <class How>
    void update(Sample<T>* d, const Sample<T>* s, uint64_t count) {
        uint64_t x = 0;
        for (; x + kVector <= count; x += kVector) update_vector<How>(d + x, s + x, x);
        if (x == count) return;
        T rest[kVector] = {}, source[kVector] = {};  // in memory of their own: a vector, too
        for (uint64_t i = 0; x + i < count; ++i) rest[i] = d[x + i], source[i] = s[x + i];
        std::fill_n(a + count, kVector, 1);
        std::fill_n(w + count, kVector, 1);
        std::fill_n(reciprocal + count, kVector, 1);
        update_vector<How>(rest, source, x);
        for (uint64_t i = 0; x + i < count; ++i) d[x + i] = rest[i];
    }

  private:
    template <class How, class D, class S>
    void update_vector(D* d, const S* s, uint64_t x) const {
        T result[kVector];
        for (uint64_t i = 0; i < kVector; ++i) {
            const Real of_a = a[x + i], of_w = w[x + i];
            const Real sum = static_cast<Real>(T{s[i]}) * of_w + static_cast<Real>(T{d[i]}) * of_a;
            result[i] = Way::template stored<T>(How::quotient(sum, of_w + of_a, reciprocal[x + i]));
        }
        for (uint64_t i = 0; i < kVector; ++i) d[i] = result[i];
    }
};

/// Repeats each of the values.
template <class Real>
void repeat(Real* to, const Real* values, uint64_t count, uint64_t times) {
    for (uint64_t i = 0; i < count; ++i, to += times) {
        uint64_t c = 0;
        for (; c + 4 <= times; c += 4)
            for (uint64_t k = 0; k < 4; ++k) to[c + k] = values[i];
        for (; c < times; ++c) to[c] = values[i];
    }
}

/// Weights with which corrected quotients are right: no step leaves the normal numbers.
bool has_ordinary_weights(const double* a, const double* w, uint64_t count) {
    uint64_t others = 0;
    for (uint64_t i = 0; i < count; ++i) {
        const auto is_other = [](double value) {
            const double size = std::fabs(value);
            return static_cast<uint64_t>(!(size <= 0x1p200)) |
                   static_cast<uint64_t>(size < 0x1p-200 && size != 0);
        };
        others |= is_other(a[i]) | is_other(w[i]) | static_cast<uint64_t>(a[i] + w[i] == 0);
    }
    return others == 0;
}

/// The rows of a call.
template <class T, class Real>
struct Run {
    Sample<T>* d;
    Sample<Real>* weights;
    const Sample<T>* s;
    const Sample<Real>* new_weights;
};

/// Some pixels. How many components one has is a number or a constant.
template <class T, class Way, class How, uint32_t known>
struct Pixels {
    using Real = typename Way::Weight;
    using Some = Samples<T, Way>;
    Count<known> count;

    void update(const Run<T, Real>& run, uint64_t pixels) const {
        Some samples;
        // Of few components whole vectors.
        const uint64_t components = count();
        const uint64_t most = components <= Some::kMost / kVector
                                  ? kVector
                                  : std::max<uint64_t>(Some::kMost / components, 1);
        for (uint64_t x = 0; x < pixels; x += most)
            update(samples, run, x, std::min(most, pixels - x));
    }

  private:
    void update(Some& samples, const Run<T, Real>& run, uint64_t x, uint64_t pixels) const {
        Real a[kVector], w[kVector];
        for (uint64_t i = 0; i < pixels; ++i) a[i] = run.weights[x + i];
        for (uint64_t i = 0; i < pixels; ++i) w[i] = run.new_weights[x + i];
        const uint64_t components = count();
        const uint64_t repeated = std::min(components, Some::kMost);
        repeat(samples.a, a, pixels, repeated);
        repeat(samples.w, w, pixels, repeated);
        const bool is_ordinary = is_corrected(samples, a, w, pixels, repeated);
        for (uint64_t first = 0; first < components; first += Some::kMost) {
            Sample<T>* const d = run.d + x * components + first;
            const Sample<T>* const s = run.s + x * components + first;
            const uint64_t some = std::min(components - first, Some::kMost) * pixels;
            if (is_ordinary)
                samples.template update<How>(d, s, some);
            else
                samples.template update<Divided>(d, s, some);
        }
        for (uint64_t i = 0; i < pixels; ++i) run.weights[x + i] = a[i] + w[i];
    }
    static bool is_corrected([[maybe_unused]] Some& samples, [[maybe_unused]] const Real* a,
                             [[maybe_unused]] const Real* w, [[maybe_unused]] uint64_t pixels,
                             [[maybe_unused]] uint64_t repeated) {
        if constexpr (std::is_same_v<How, Corrected>) {
            if (!has_ordinary_weights(a, w, pixels)) return false;
            Real reciprocals[kVector];
            for (uint64_t i = 0; i < pixels; ++i) reciprocals[i] = 1 / (w[i] + a[i]);
            repeat(samples.reciprocal, reciprocals, pixels, repeated);
        }
        return true;
    }
};

/// Pixels of one component: a weight for each sample.
template <class T, class Way>
struct Single {
    using Real = typename Way::Weight;
    static constexpr uint64_t kBlock = 64 / sizeof(T);

    void update(const Run<T, Real>& run, uint64_t pixels) const {
        uint64_t x = 0;
        for (; x + kBlock <= pixels; x += kBlock) update(run, x, kBlock);
        update(run, x, pixels - x);
    }

  private:
    static void update(const Run<T, Real>& run, uint64_t x, uint64_t count) {
        T values[kBlock];
        Real sums[kBlock];
        for (uint64_t i = 0; i < count; ++i) {
            const Real a = run.weights[x + i], w = run.new_weights[x + i];
            const Real sum =
                static_cast<Real>(T{run.s[x + i]}) * w + static_cast<Real>(T{run.d[x + i]}) * a;
            values[i] = Way::template stored<T>(sum / (w + a));
            sums[i] = a + w;
        }
        for (uint64_t i = 0; i < count; ++i) run.d[x + i] = values[i];
        for (uint64_t i = 0; i < count; ++i) run.weights[x + i] = sums[i];
    }
};

/// Rows without gaps in any of the four are one row.
template <class T, class Real, class Update>
struct Rows {
    Dst dst, weights;
    Src src, new_weights;
    Area area;
    Update pixels;

    Rows(Dst dst_, Dst weights_, Src src_, Src new_weights_, uint64_t components, Area area_,
         Update pixels_)
        : dst(dst_),
          weights(weights_),
          src(src_),
          new_weights(new_weights_),
          area(joined(
              kCallingThread, area_,
              {stride_of(dst, components * sizeof(T)), stride_of(weights, sizeof(Real)),
               stride_of(src, components * sizeof(T)), stride_of(new_weights, sizeof(Real))})),
          pixels(pixels_) {}
    void operator()() const {
        for (uint64_t y = 0; y < area.rows; ++y)
            pixels.update(Run<T, Real>{dst.row<T>(y), weights.row<Real>(y), src.row<T>(y),
                                       new_weights.row<Real>(y)},
                          area.width);
    }
};

/// Runs what has fused products where the processor has them, and elsewhere what has none: there
/// each would be a call.
template <class Fused, class Plain>
void on_best_isa(const Fused& fused, const Plain& plain) {
    switch (active_isa()) {
    case Isa::Avx512: detail::run_avx512(fused); break;
    case Isa::Avx2: detail::run_avx2(fused); break;
    case Isa::Sse2: detail::run_sse2(plain); break;
    }
}

template <class T, class Way, uint32_t known>
int update_average(Dst dst, Dst weights, Src src, Src new_weights, Count<known> count, Area area) {
    using Real = typename Way::Weight;
    const auto rows = [=](auto pixels) {
        return Rows<T, Real, decltype(pixels)>(dst, weights, src, new_weights, count(), area,
                                               pixels);
    };
    if (known <= 1 && count() == 1) {
        qmpic::on_best_isa(rows(Single<T, Way>{}));
    } else if constexpr (known != 1) {
        const auto divided = rows(Pixels<T, Way, Divided, known>{count});
        if constexpr (std::is_same_v<Real, double> && std::is_integral_v<T>)
            on_best_isa(rows(Pixels<T, Way, Corrected, known>{count}), divided);
        else
            qmpic::on_best_isa(divided);
    }
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
