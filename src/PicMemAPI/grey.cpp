#include <algorithm>
#include <array>

#include "PicMemAPI/grey_kernels.h"
#include "core/arithmetic.h"
#include "core/shapes.h"
#include "qmpic/PicMemAPI_Base.h"

// Grey and colour: components replicated, a fourth one added or dropped, many made grey.

const double CQmPicMemAPI_Base::pdRGBStdWeights[4] = {1.0 / 3, 1.0 / 3, 1.0 / 3, 0};
const double CQmPicMemAPI_Base::pdRGBOptWeights[4] = {0.30, 0.59, 0.11, 0};

namespace {

using namespace qmpic;

// ----- Components replicated, added, dropped

template <class T>
struct ToThree {
    void operator()(Sample<T>* d, const Sample<T>* s) const {
        const T grey = s[0];
        d[0] = grey, d[1] = grey, d[2] = grey;
    }
};

/// Four samples as one word of their own: three times the grey value, below a 0.
template <class T, class Word>
struct ToFour {
    Word operator()(T grey) const {
        constexpr uint32_t kBits = 8 * sizeof(T);
        const Word wide = grey;
        return wide | wide << kBits | wide << 2 * kBits;
    }
};

template <class T>
struct ToMany {
    uint32_t count;
    void operator()(Sample<T>* d, const Sample<T>* s) const {
        const T grey = s[0];
        for (uint32_t c = 0; c < count; ++c) d[c] = grey;
    }
};

template <class T>
struct AddFourth {
    T fourth;
    void operator()(Sample<T>* d, const Sample<T>* s) const {
        const T c0 = s[0], c1 = s[1], c2 = s[2];
        d[0] = c0, d[1] = c1, d[2] = c2, d[3] = fourth;
    }
};

template <class T>
struct DropFourth {
    void operator()(Sample<T>* d, const Sample<T>* s) const {
        const T c0 = s[0], c1 = s[1], c2 = s[2];
        d[0] = c0, d[1] = c1, d[2] = c2;
    }
};

// ----- Grey

/// weight * value / F without leaving the lanes of T, F being the greatest value of T.
uint8_t part(uint8_t weight, uint8_t value) {
    return static_cast<uint8_t>(div_255_in_16_bits(static_cast<uint16_t>(weight * value)));
}
uint16_t part(uint16_t weight, uint16_t value) {
    const uint32_t product = uint32_t{weight} * value;
    const auto high = static_cast<uint16_t>(product >> 16), low = static_cast<uint16_t>(product);
    // div_65535 by halves: (product + high + 1) >> 16 is high and the carry of low + high + 1.
    return static_cast<uint16_t>(high + (low >= static_cast<uint16_t>(~high)));
}

/// A weight on the scale of F, modulo F + 1.
template <class T>
T scaled(double weight) {
    return static_cast<T>(trunc_u32(weight * static_cast<T>(-1) + 0.5));
}

/// The weights of three components; the last one makes them add up to F.
template <class T>
std::array<T, 3> three_weights(const double* weights) {
    const T w0 = scaled<T>(weights[0]), w1 = scaled<T>(weights[1]);
    return {w0, w1, static_cast<T>(static_cast<T>(-1) - w0 - w1)};
}

/// Of four the last one is 0 where the others exceed F.
template <class T>
std::array<T, 4> four_weights(const double* weights) {
    constexpr uint32_t kFull = static_cast<T>(-1);
    const T w0 = scaled<T>(weights[0]), w1 = scaled<T>(weights[1]), w2 = scaled<T>(weights[2]);
    const uint32_t sum = uint32_t{w0} + w1 + w2;
    return {w0, w1, w2, static_cast<T>(sum > kFull ? 0 : kFull - sum)};
}

template <class T, size_t count>
struct Weighted {
    std::array<T, count> weights;
    void operator()(Sample<T>* d, const Sample<T>* s) const {
        T grey = 0;
        for (size_t c = 0; c < count; ++c) grey = static_cast<T>(grey + part(weights[c], T{s[c]}));
        d[0] = grey;
    }
};

/// Holds the sum of a few samples.
template <class T>
using Sum = std::conditional_t<sizeof(T) == 1, uint16_t, uint32_t>;

/// Of which only a byte is stored, also in a word.
template <class T>
struct MeanOfThree {
    void operator()(Sample<T>* d, const Sample<T>* s) const {
        const auto sum = static_cast<Sum<T>>(T{s[0]} + T{s[1]} + T{s[2]} + 1);
        d[0] = static_cast<uint8_t>(sum / 3);
    }
};

template <class T>
struct MeanOfFour {
    void operator()(Sample<T>* d, const Sample<T>* s) const {
        const auto sum = static_cast<Sum<T>>(T{s[0]} + T{s[1]} + T{s[2]} + T{s[3]} + 2);
        d[0] = static_cast<T>(sum >> 2);
    }
};

}  // namespace

#define KERNEL(name, Storage, from, to, op)                                                        \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,     \
             uint32_t uiWidth, uint64_t uiSizeInPixels) {                                          \
        each_pixel<Storage, Storage, to, from>(                                                    \
            kCallingThread, Dst{pDst, uiDstWidthBytes}, {}, Src{pSrc, uiSrcWidthBytes}, {},        \
            Area::of_pixels(uiWidth, uiSizeInPixels), op<Storage>{});                              \
        return QM_OK;                                                                              \
    }

// clang-format off
KERNEL(convert_1x8_to_3x8,   uint8_t,  1, 3, ToThree)
KERNEL(convert_1x16_to_3x16, uint16_t, 1, 3, ToThree)
KERNEL(convert_4x8_to_3x8,   uint8_t,  4, 3, DropFourth)
KERNEL(convert_4x16_to_3x16, uint16_t, 4, 3, DropFourth)
// clang-format on

#undef KERNEL

#define KERNEL(name, Storage, Pixel)                                                               \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,     \
             uint32_t uiWidth, uint64_t uiSizeInPixels) {                                          \
        map_samples<Pixel, Storage>(                                                               \
            kCallingThread, Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes},                \
            Area::of_pixels(uiWidth, uiSizeInPixels), ToFour<Storage, Pixel>{});                   \
        return QM_OK;                                                                              \
    }

// clang-format off
KERNEL(convert_1x8_to_4x8,   uint8_t,  uint32_t)
KERNEL(convert_1x16_to_4x16, uint16_t, uint64_t)
// clang-format on

#undef KERNEL

#define KERNEL(name, Storage)                                                                      \
    int name(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes, const void* pSrc,     \
             uint32_t uiSrcWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels) {                \
        each_pixel<Storage, Storage, 0, 1>(kCallingThread, Dst{pDst, uiDstWidthBytes},             \
                                           {uiDstComponents}, Src{pSrc, uiSrcWidthBytes}, {},      \
                                           Area::of_pixels(uiWidth, uiSizeInPixels),               \
                                           ToMany<Storage>{uiDstComponents});                      \
        return QM_OK;                                                                              \
    }

// clang-format off
KERNEL(convert_1x8_to_Nx8,   uint8_t)
KERNEL(convert_1x16_to_Nx16, uint16_t)
// clang-format on

#undef KERNEL

#define KERNEL(name, Storage)                                                                      \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,     \
             Storage value, uint32_t uiWidth, uint64_t uiSizeInPixels) {                           \
        each_pixel<Storage, Storage, 4, 3>(                                                        \
            kCallingThread, Dst{pDst, uiDstWidthBytes}, {}, Src{pSrc, uiSrcWidthBytes}, {},        \
            Area::of_pixels(uiWidth, uiSizeInPixels), AddFourth<Storage>{value});                  \
        return QM_OK;                                                                              \
    }

// clang-format off
KERNEL(convert_3x8_to_4x8,   uint8_t)
KERNEL(convert_3x16_to_4x16, uint16_t)
// clang-format on

#undef KERNEL

// What is done to a pixel: the mean or the weighted sum.
#define KERNEL(name, Storage, from, Mean, weights_of)                                              \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,     \
             const double* pdWeights, uint32_t uiWidth, uint64_t uiSizeInPixels) {                 \
        const Dst dst{pDst, uiDstWidthBytes};                                                      \
        const Src src{pSrc, uiSrcWidthBytes};                                                      \
        const Area area = Area::of_pixels(uiWidth, uiSizeInPixels);                                \
        if (pdWeights == nullptr)                                                                  \
            each_pixel<Storage, Storage, 1, from>(kCallingThread, dst, {}, src, {}, area, Mean{}); \
        else                                                                                       \
            each_pixel<Storage, Storage, 1, from>(                                                 \
                kCallingThread, dst, {}, src, {}, area,                                            \
                Weighted<Storage, from>{weights_of<Storage>(pdWeights)});                          \
        return QM_OK;                                                                              \
    }

// clang-format off
KERNEL(convert_3x8_to_1x8,   uint8_t,  3, MeanOfThree<uint8_t>,  three_weights)
KERNEL(convert_3x16_to_1x16, uint16_t, 3, MeanOfThree<uint16_t>, three_weights)  // 8 bits of the mean
KERNEL(convert_4x8_to_1x8,   uint8_t,  4, MeanOfFour<uint8_t>,   four_weights)
KERNEL(convert_4x16_to_1x16, uint16_t, 4, MeanOfFour<uint16_t>,  four_weights)
// clang-format on

#undef KERNEL

// ----- Any number of components
// The rows are walked here, since sums of a run of pixels outlive each component.

namespace {

constexpr uint64_t kRun = 256;  // pixels whose sums stay in the first level of cache

/// `term(c)` says what the samples of component c add to the sums of their pixels, `store(sum)`
/// what becomes of those.
template <class T, class Sums, uint32_t known, class Term, class Store>
void sum_components(Dst dst, Src src, Count<known> count, Area area, Term term, Store store) {
    area =
        joined(kCallingThread, area, {{dst.stride, sizeof(T)}, {src.stride, count() * sizeof(T)}});
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            Sample<T>* d = dst.row<T>(y);
            const Sample<T>* s = src.row<T>(y);
            for (uint64_t left = area.width; left != 0;) {
                const uint64_t run = std::min(left, kRun);
                Sums sums[kRun];
                for (uint64_t x = 0; x < run; ++x) sums[x] = 0;
                for (uint32_t c = 0; c < count(); ++c) {
                    const auto of = term(c);
                    for (uint64_t x = 0; x < run; ++x)
                        sums[x] = static_cast<Sums>(sums[x] + of(T{s[x * count() + c]}));
                }
                for (uint64_t x = 0; x < run; ++x) d[x] = store(sums[x]);
                d += run, s += run * count(), left -= run;
            }
        }
    });
}

/// Two components are frequent, and a constant lets vectors shuffle.
template <class T, class Sums, class Term, class Store>
void sum_components(Dst dst, Src src, uint32_t count, Area area, Term term, Store store) {
    if (count == 2) return sum_components<T, Sums>(dst, src, Count<2>{}, area, term, store);
    sum_components<T, Sums>(dst, src, Count<0>{count}, area, term, store);
}

/// (sum + n / 2) / n in whole numbers of 32 bits, whose quotient by doubles is exact.
template <class T>
struct Rounded {
    uint32_t count;
    T operator()(uint32_t sum) const {
        const uint32_t dividend = sum + count / 2;
        return static_cast<T>(trunc_i32(static_cast<double>(dividend) / count));
    }
};

struct Itself {
    template <class T>
    T operator()(T value) const {
        return value;
    }
};

template <class T>
struct Part {
    T weight;
    T operator()(T value) const { return part(weight, value); }
};

/// The weight of each component, computed when it is asked for. The first one makes them add up.
template <class T>
struct Parts {
    const double* weights;
    T first;
    Parts(const double* given, uint32_t count) : weights(given), first(static_cast<T>(-1)) {
        for (uint32_t c = 1; c < count; ++c) first = static_cast<T>(first - scaled<T>(given[c]));
    }
    Part<T> operator()(uint32_t c) const { return {c == 0 ? first : scaled<T>(weights[c])}; }
};

struct Whole {
    Itself operator()(uint32_t) const { return {}; }
};

template <class T>
int grey_of_any(Dst dst, Src src, uint32_t count, const double* weights, Area area) {
    if (count == 0) return QM_BAD_BUFFER;
    if (weights == nullptr)
        sum_components<T, uint32_t>(dst, src, count, area, Whole{}, Rounded<T>{count});
    else
        sum_components<T, T>(dst, src, count, area, Parts<T>{weights, count}, Itself{});
    return QM_OK;
}

}  // namespace

#define KERNEL(name, Storage)                                                                      \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcComponents,     \
             uint32_t uiSrcWidthBytes, const double* pdWeights, uint32_t uiWidth,                  \
             uint64_t uiSizeInPixels) {                                                            \
        return grey_of_any<Storage>(Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes},        \
                                    uiSrcComponents, pdWeights,                                    \
                                    Area::of_pixels(uiWidth, uiSizeInPixels));                     \
    }

// clang-format off
KERNEL(convert_Nx8_to_1x8,   uint8_t)
KERNEL(convert_Nx16_to_1x16, uint16_t)
// clang-format on

#undef KERNEL
