#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <utility>

#include "PicMemAPI/accumulation_kernels.h"
#include "core/prefetch.h"
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
    static constexpr double kHalf = 0.5;
    template <class T>
    static T stored(double average) {
        if constexpr (std::is_floating_point_v<T>)
            return static_cast<T>(average + kHalf);  // and the half stays
        else
            return low_bits<T>(average + kHalf);
    }
};
/// Weights of floats: without a half, unlike those above.
struct Cut {
    using Weight = float;
    static constexpr float kHalf = 0;
    template <class T>
    static T stored(float average) {
        return low_bits<T>(average);
    }
};

/// The weights of a pixel, or of a sample.
template <class Real>
struct Pair {
    Real a, w, reciprocal;
};

/// The average of two samples, by a division.
template <class Way>
struct Divided {
    using Real = typename Way::Weight;
    static constexpr bool kHasReciprocals = false;
    template <class T>
    static T average(T old, T source, Pair<Real> of) {
        const Real sum = static_cast<Real>(source) * of.w + static_cast<Real>(old) * of.a;
        return Way::template stored<T>(sum / (of.w + of.a));
    }
};
/// The same of integers and ordinary weights from the reciprocal of w + a, rounded to nearest
/// (Markstein 1990): the first correction leaves less than a unit in the last place, the second
/// rounds as a division does. The result lies between the samples, and so fits.
template <class Way>
struct Corrected {
    using Real = typename Way::Weight;
    static constexpr bool kHasReciprocals = true;
    template <class T>
    static T average(T old, T source, Pair<Real> of) {
        const Real sum = source * of.w + old * of.a, by = of.w + of.a;
        Real q = sum * of.reciprocal;
        q = fused(fused(-by, q, sum), of.reciprocal, q);
        q = fused(fused(-by, q, sum), of.reciprocal, q);
        return static_cast<T>(static_cast<int32_t>(q + Way::kHalf));
    }

  private:
    static double fused(double a, double b, double c) { return __builtin_fma(a, b, c); }
    static float fused(float a, float b, float c) { return __builtin_fmaf(a, b, c); }
};

/// Weights with which corrected quotients are right: neither is negative, and their sum is no
/// number so small or great that a step of a quotient that counts leaves the normal ones.
template <class Real, class Weights>
bool are_ordinary(const Weights* a, const Weights* w, uint64_t count) {
    using Bits = std::conditional_t<sizeof(Real) == 8, uint64_t, uint32_t>;
    constexpr auto least = std::bit_cast<Bits>(Real(sizeof(Real) == 8 ? 0x1p-200 : 0x1p-40)),
                   most = std::bit_cast<Bits>(Real(sizeof(Real) == 8 ? 0x1p200 : 0x1p40));
    Bits signs = 0;  // of numbers, and of what is left between a sum and its limits
    for (uint64_t i = 0; i < count; ++i) {
        const Real one = a[i], other = w[i];
        const auto sum = std::bit_cast<Bits>(one + other);
        signs |=
            std::bit_cast<Bits>(one) | std::bit_cast<Bits>(other) | (sum - least) | (most - sum);
    }
    return signs >> (8 * sizeof(Bits) - 1) == 0;
}

/// The rows of a call.
template <class T, class Real>
struct Run {
    Sample<T>* d;
    Sample<Real>* weights;
    const Sample<T>* s;
    const Sample<Real>* new_weights;
};

/// Samples that are computed at once: whole vectors of bytes, and so whole vectors of the others.
template <class T>
constexpr uint64_t kBlock = 64 / sizeof(T);

/// Pixels of one component: a weight for each sample, and no use in a reciprocal.
template <class T, class How>
struct Single {
    using Real = typename How::Real;

    static void update(const Run<T, Real>& run, uint64_t pixels, uint64_t /*components*/) {
        uint64_t x = 0;
        for (; x + kBlock<T> <= pixels; x += kBlock<T>) update_block(run, x, kBlock<T>);
        update_block(run, x, pixels - x);
    }

  private:
    static void update_block(const Run<T, Real>& run, uint64_t x, uint64_t count) {
        T values[kBlock<T>];
        Real sums[kBlock<T>];
        for (uint64_t i = 0; i < count; ++i) {
            const Real a = run.weights[x + i], w = run.new_weights[x + i];
            values[i] = How::average(T{run.d[x + i]}, T{run.s[x + i]}, Pair<Real>{a, w, 0});
            sums[i] = a + w;
        }
        for (uint64_t i = 0; i < count; ++i) run.d[x + i] = values[i];
        for (uint64_t i = 0; i < count; ++i) run.weights[x + i] = sums[i];
    }
};

/// Pixels of several components, the number a constant or (0) one that the call brings: the weights
/// of some pixels are repeated for each component, and then there is one for each sample.
template <class T, class First, class Last, uint32_t known>
class Several {
    using Real = typename Last::Real;
    static constexpr uint64_t kPixels = 64, kSamples = 512;

  public:
    static void update(const Run<T, Real>& run, uint64_t pixels, uint64_t components) {
        if constexpr (known != 0) components = known;
        Several some;
        const uint64_t most =
            std::clamp<uint64_t>(kSamples / std::max<uint64_t>(components, 1), 1, kPixels);
        for (uint64_t x = 0; x < pixels; x += most) {
            const uint64_t count = std::min(most, pixels - x), samples = count * components;
            fetch_ahead(run.new_weights + x, count * sizeof(Real));
            fetch_ahead(run.s + x * components, samples * sizeof(T));
            fetch_ahead_to_write(run.weights + x, count * sizeof(Real));
            fetch_ahead_to_write(run.d + x * components, samples * sizeof(T));
            some.update_some(run, x, count, components);
        }
    }

  private:
    Real a_[kSamples + 4], w_[kSamples + 4], reciprocals_[kSamples + 4];

    void update_some(const Run<T, Real>& run, uint64_t x, uint64_t pixels, uint64_t components) {
        Real a[kPixels], w[kPixels];
        for (uint64_t i = 0; i < pixels; ++i) a[i] = run.weights[x + i];
        for (uint64_t i = 0; i < pixels; ++i) w[i] = run.new_weights[x + i];
        const uint64_t times = std::min(components, kSamples);
        repeat(a_, a, pixels, times);
        repeat(w_, w, pixels, times);
        bool is_first = true;
        if constexpr (First::kHasReciprocals) {
            is_first = are_ordinary<Real>(a, w, pixels);
            Real reciprocals[kPixels];
            for (uint64_t i = 0; i < pixels; ++i) reciprocals[i] = 1 / (w[i] + a[i]);
            repeat(reciprocals_, reciprocals, pixels, times);
        }
        for (uint64_t first = 0; first < components; first += times) {  // but for great pixels once
            Sample<T>* const d = run.d + x * components + first;
            const Sample<T>* const s = run.s + x * components + first;
            const uint64_t count = std::min(components - first, times) * pixels;
            is_first ? update_samples<First>(d, s, count) : update_samples<Last>(d, s, count);
        }
        for (uint64_t i = 0; i < pixels; ++i) run.weights[x + i] = a[i] + w[i];
    }

    /// Where the number is known no more is written; else up to three too many, over which those of
    /// the next pixel stand.
    static void repeat(Real* to, const Real* values, uint64_t count, uint64_t times) {
        constexpr uint64_t n = known != 0 ? known : 4;
        for (uint64_t i = 0; i < count; ++i)
            for (uint64_t c = 0; c < times; c += n)
                for (uint64_t k = 0; k < n; ++k) to[i * times + c + k] = values[i];
    }

    /// What remains behind whole blocks is one that overlaps them, computed before they are
    /// written.
    template <class How>
    void update_samples(Sample<T>* d, const Sample<T>* s, uint64_t count) const {
        constexpr uint64_t n = kBlock<T>;
        T last[n], values[n];
        if (count < n) {
            for (uint64_t i = 0; i < count; ++i) d[i] = average<How>(d, s, i);
            return;
        }
        const uint64_t rest = count - n;
        for (uint64_t i = 0; i < n; ++i) last[i] = average<How>(d, s, rest + i);
        for (uint64_t x = 0; x < rest; x += n) {
            for (uint64_t i = 0; i < n; ++i) values[i] = average<How>(d, s, x + i);
            for (uint64_t i = 0; i < n; ++i) d[x + i] = values[i];
        }
        for (uint64_t i = 0; i < n; ++i) d[rest + i] = last[i];
    }
    template <class How>
    T average(const Sample<T>* d, const Sample<T>* s, uint64_t i) const {
        Real reciprocal = 0;
        if constexpr (How::kHasReciprocals) reciprocal = reciprocals_[i];
        return How::average(T{d[i]}, T{s[i]}, Pair<Real>{a_[i], w_[i], reciprocal});
    }
};

/// Two to four components at a level that has vectors of so many bytes: weights are repeated in
/// registers.
template <class T, class Way, uint32_t components, uint64_t vector_bytes>
class Few {
    using Real = typename Way::Weight;
    using Vector [[gnu::vector_size(vector_bytes)]] = Real;
    using Plain = Divided<Way>;
    static constexpr uint64_t lanes = vector_bytes / sizeof(Real);
    static constexpr uint64_t kPixels = 64, kSamples = kPixels * components;
    // Four vectors at once: as many as words fill one, and so many quotients at a time.
    static constexpr uint64_t kStep = 4 * lanes, kStepSamples = kStep * components;

  public:
    static void update(const Run<T, Real>& run, uint64_t pixels, uint64_t /*components*/) {
        uint64_t x = 0;
        for (; x + kPixels <= pixels; x += kPixels) {
            fetch_ahead(run.new_weights + x, kPixels * sizeof(Real));
            fetch_ahead(run.s + x * components, kSamples * sizeof(T));
            fetch_ahead_to_write(run.weights + x, kPixels * sizeof(Real));
            fetch_ahead_to_write(run.d + x * components, kSamples * sizeof(T));
            if (are_ordinary<Real>(run.weights + x, run.new_weights + x, kPixels))
                update_some(run, x);
            else
                Several<T, Plain, Plain, components>::update(from(run, x), kPixels, components);
        }
        Several<T, Plain, Plain, components>::update(from(run, x), pixels - x, components);
    }

  private:
    static Run<T, Real> from(const Run<T, Real>& run, uint64_t x) {
        return {run.d + x * components, run.weights + x, run.s + x * components,
                run.new_weights + x};
    }

    static void update_some(const Run<T, Real>& run, uint64_t x) {
        Sample<T>* const d = run.d + x * components;
        const Sample<T>* const s = run.s + x * components;
        uint16_t old[kSamples], source[kSamples], averages[kSamples];
        for (uint64_t i = 0; i < kSamples; ++i) old[i] = d[i];
        for (uint64_t i = 0; i < kSamples; ++i) source[i] = s[i];
        for (uint64_t first = 0; first < kPixels; first += kStep) {
            Real a[kStepSamples], w[kStepSamples], reciprocals[kStepSamples];
            for (uint64_t i = 0; i < kStep; i += lanes) {
                const uint64_t at = i * components;
                Vector one, other;
                std::memcpy(&one, run.weights + x + first + i, sizeof(Vector));
                std::memcpy(&other, run.new_weights + x + first + i, sizeof(Vector));
                const Vector sum = one + other, reciprocal = Real(1) / sum;
                std::memcpy(run.weights + x + first + i, &sum, sizeof(Vector));
                repeat(a + at, one, kParts);
                repeat(w + at, other, kParts);
                repeat(reciprocals + at, reciprocal, kParts);
            }
            const uint64_t at = first * components;
            for (uint64_t part = 0; part < kStepSamples; part += kStep)
                for (uint64_t i = part; i < part + kStep; ++i)
                    averages[at + i] = Corrected<Way>::average(old[at + i], source[at + i],
                                                               {a[i], w[i], reciprocals[i]});
        }
        for (uint64_t i = 0; i < kSamples; ++i) d[i] = static_cast<T>(averages[i]);
    }

    static constexpr auto kParts = std::make_index_sequence<components>();
    static constexpr auto kLanes = std::make_index_sequence<lanes>();

    /// to[i] = values[i / components].
    template <size_t... part>
    static void repeat(Real* to, const Vector& values, std::index_sequence<part...>) {
        (repeat_part<part>(to, values, kLanes), ...);
    }
    template <size_t part, size_t... lane>
    static void repeat_part(Real* to, const Vector& values, std::index_sequence<lane...>) {
        const Vector repeated =
            __builtin_shufflevector(values, values, ((part * lanes + lane) / components)...);
        std::memcpy(to + part * lanes, &repeated, sizeof(Vector));
    }
};

/// All rows.
template <class T, class Real, class Pixels>
struct Rows {
    Dst dst, weights;
    Src src, new_weights;
    uint64_t components;
    Area area;

    void operator()() const {
        for (uint64_t y = 0; y < area.rows; ++y)
            Pixels::update(Run<T, Real>{dst.row<T>(y), weights.row<Real>(y), src.row<T>(y),
                                        new_weights.row<Real>(y)},
                           area.width, components);
    }
};

/// The arguments of a call. The number of components is known, or (0) not.
struct Average {
    Dst dst, weights;
    Src src, new_weights;
    uint64_t components;
    Area area;

    template <class T, class Way, uint32_t known>
    int update() const {
        if constexpr (known == 0) switch (components) {
            case 1: return update<T, Way, 1>();
            case 2: return update<T, Way, 2>();
            case 3: return update<T, Way, 3>();
            case 4: return update<T, Way, 4>();
            default: break;
            }
        using Plain = Divided<Way>;
        if constexpr (known == 1) {
            on_best_isa(rows<T, Way, Single<T, Plain>>());
        } else {
            const auto plain = rows<T, Way, Several<T, Plain, Plain, known>>();
            if constexpr (std::is_integral_v<T>) {
                // Without instructions for fused products each would be a call.
                switch (active_isa()) {
                case Isa::Avx512: detail::run_avx512(fused<T, Way, known, 64>()); break;
                case Isa::Avx2: detail::run_avx2(fused<T, Way, known, 32>()); break;
                case Isa::Sse2: detail::run_sse2(plain); break;
                }
            } else {
                on_best_isa(plain);
            }
        }
        return QM_OK;
    }

  private:
    template <class T, class Way, uint32_t known, uint64_t vector_bytes>
    auto fused() const {
        if constexpr (known == 0)
            return rows<T, Way, Several<T, Corrected<Way>, Divided<Way>, known>>();
        else
            return rows<T, Way, Few<T, Way, known, vector_bytes>>();
    }
    /// Rows without gaps in any of the four memories are one.
    template <class T, class Way, class Pixels>
    auto rows() const {
        using Real = typename Way::Weight;
        const uint64_t pixel = components * sizeof(T);
        return Rows<T, Real, Pixels>{
            dst,
            weights,
            src,
            new_weights,
            components,
            joined(kCallingThread, area,
                   {stride_of(dst, pixel), stride_of(weights, sizeof(Real)), stride_of(src, pixel),
                    stride_of(new_weights, sizeof(Real))})};
    }
};

}  // namespace

// One line an exported kernel: name, components, and their storage, weights and way.
#define KERNEL(name, COUNT, components, Way, ...)                                                  \
    int name(void* pDst, uint32_t uiDstWidthBytes, Way::Weight* pWeights,                          \
             uint32_t uiWeightsWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,             \
             const Way::Weight* pSrcWeights, uint32_t uiSrcWeightsWidthBytes,                      \
             COUNT uint32_t uiWidth, uint64_t uiSizeInPixels) {                                    \
        const Average average{{pDst, uiDstWidthBytes},                                             \
                              {pWeights, uiWeightsWidthBytes},                                     \
                              {pSrc, uiSrcWidthBytes},                                             \
                              {pSrcWeights, uiSrcWeightsWidthBytes},                               \
                              components,                                                          \
                              Area::of_pixels(uiWidth, uiSizeInPixels)};                           \
        return average.update<__VA_ARGS__>();                                                      \
    }
#define FIXED
#define ANY uint32_t uiComponents,

// clang-format off
KERNEL(average_update_1x8,  FIXED, 1,          Rounded, uint8_t,  Rounded, 1)
KERNEL(average_update_3x8,  FIXED, 3,          Rounded, uint8_t,  Rounded, 3)
KERNEL(average_update_Nx8,  ANY, uiComponents, Rounded, uint8_t,  Rounded, 0)
KERNEL(average_update_1x16, FIXED, 1,          Rounded, uint16_t, Rounded, 1)
KERNEL(average_update_3x16, FIXED, 3,          Rounded, uint16_t, Rounded, 3)
KERNEL(average_update_Nx16, ANY, uiComponents, Rounded, uint16_t, Rounded, 0)
KERNEL(average_update_Nx32, ANY, uiComponents, Rounded, float,    Rounded, 0)

KERNEL(average_update_1x8_flt,  FIXED, 1,          Cut, uint8_t,  Cut, 1)
KERNEL(average_update_3x8_flt,  FIXED, 3,          Cut, uint8_t,  Cut, 3)
KERNEL(average_update_Nx8_flt,  ANY, uiComponents, Cut, uint8_t,  Cut, 0)
KERNEL(average_update_1x16_flt, FIXED, 1,          Cut, uint16_t, Cut, 1)
KERNEL(average_update_3x16_flt, FIXED, 3,          Cut, uint16_t, Cut, 3)
KERNEL(average_update_Nx16_flt, ANY, uiComponents, Cut, uint16_t, Cut, 0)
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
