#include <algorithm>
#include <array>
#include <type_traits>

#include "PicMemAPI/grey_avx512.h"
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

/// All samples of a word.
template <class T, class Word>
struct ToWord {
    Word operator()(T grey) const {
        constexpr Word kOnes = static_cast<Word>(-1) / static_cast<T>(-1);
        return static_cast<Word>(grey * kOnes);
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

/// Counts that fit a word are written as one.
template <class T, class Two, class Four>
int replicate(Dst dst, uint32_t count, Src src, Area area) {
    switch (count) {
    case 1: copy_lines(kCallingThread, dst, src, area.width * sizeof(T), area.rows); break;
    case 2: map_samples<Two, T>(kCallingThread, dst, src, area, ToWord<T, Two>{}); break;
    case 3: each_pixel<T, T, 3, 1>(kCallingThread, dst, {}, src, {}, area, ToThree<T>{}); break;
    case 4: map_samples<Four, T>(kCallingThread, dst, src, area, ToWord<T, Four>{}); break;
    default: each_pixel<T, T, 0, 1>(kCallingThread, dst, {count}, src, {}, area, ToMany<T>{count});
    }
    return QM_OK;
}

/// Four pixels as three words become four words. Compiled sample by sample it stays scalar.
template <class T, class Word>
struct AddFourth {
    static constexpr uint32_t kBits = 8 * sizeof(T);
    Word fourth;
    explicit AddFourth(T value) : fourth(Word{value} << 3 * kBits) {}
    void operator()(Sample<Word>* d, const Sample<Word>* s) const {
        constexpr Word kThree = static_cast<Word>(-1) >> kBits;
        const Word s0 = s[0], s1 = s[1], s2 = s[2];
        d[0] = (s0 & kThree) | fourth;
        d[1] = ((s0 >> 3 * kBits | s1 << kBits) & kThree) | fourth;
        d[2] = ((s1 >> 2 * kBits | s2 << 2 * kBits) & kThree) | fourth;
        d[3] = s2 >> kBits | fourth;
    }
    void operator()(Sample<T>* d, const Sample<T>* s) const {
        const T c0 = s[0], c1 = s[1], c2 = s[2];
        d[0] = c0, d[1] = c1, d[2] = c2, d[3] = static_cast<T>(fourth >> 3 * kBits);
    }
};

template <class T>
struct DropFourth {
    void operator()(Sample<T>* d, const Sample<T>* s) const {
        const T c0 = s[0], c1 = s[1], c2 = s[2];
        d[0] = c0, d[1] = c1, d[2] = c2;
    }
};

/// Rows by one of the functions of grey_avx512.h, `row(d, s, width)`, at the level that they need.
template <class T, class Row>
struct RowByAvx512 {
    uint64_t width;
    Row row;
    void operator()(Sample<T>* d, const Sample<T>* s) const { row(d, s, width); }
};
template <class T, uint32_t to, uint32_t from, class Row>
void rows_by_avx512(Dst dst, Src src, Area area, Row row) {
    area = joined(kCallingThread, area,
                  {{dst.stride, to * sizeof(T)}, {src.stride, from * sizeof(T)}});
    each_row<T, T>(kCallingThread, dst, src, area, RowByAvx512<T, Row>{area.width, row});
}

/// Walks the rows itself, since a step of it is four pixels and a row may end in fewer.
template <class T, class Word>
void add_fourth(Dst dst, Src src, Area area, T value) {
    if (active_isa() == Isa::Avx512)
        return rows_by_avx512<T, 4, 3>(dst, src, area,
                                       [=](Sample<T>* d, const Sample<T>* s, uint64_t width) {
                                           avx512::add_fourth(d, s, width, value);
                                       });
    const AddFourth<T, Word> op(value);
    area = joined(kCallingThread, area, {{dst.stride, 4 * sizeof(T)}, {src.stride, 3 * sizeof(T)}});
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            Sample<Word>* const d = dst.row<Word>(y);
            const Sample<Word>* const s = src.row<Word>(y);
            const uint64_t fours = area.width / 4;
            for (uint64_t i = 0; i < fours; ++i) op(d + i * 4, s + i * 3);
            Sample<T>* const last = dst.row<T>(y) + fours * 16;
            const Sample<T>* const from = src.row<T>(y) + fours * 12;
            for (uint64_t x = 0; x < area.width % 4; ++x) op(last + x * 4, from + x * 3);
        }
    });
}

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

#define KERNEL(name, Storage, Two, Four)                                                           \
    int name(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes, const void* pSrc,     \
             uint32_t uiSrcWidthBytes, uint32_t uiWidth, uint64_t uiSizeInPixels) {                \
        return replicate<Storage, Two, Four>(Dst{pDst, uiDstWidthBytes}, uiDstComponents,          \
                                             Src{pSrc, uiSrcWidthBytes},                           \
                                             Area::of_pixels(uiWidth, uiSizeInPixels));            \
    }

// clang-format off
KERNEL(convert_1x8_to_Nx8,   uint8_t,  uint16_t, uint32_t)
KERNEL(convert_1x16_to_Nx16, uint16_t, uint32_t, uint64_t)
// clang-format on

#undef KERNEL

#define KERNEL(name, Storage, Word)                                                                \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,     \
             Storage value, uint32_t uiWidth, uint64_t uiSizeInPixels) {                           \
        add_fourth<Storage, Word>(Dst{pDst, uiDstWidthBytes}, Src{pSrc, uiSrcWidthBytes},          \
                                  Area::of_pixels(uiWidth, uiSizeInPixels), value);                \
        return QM_OK;                                                                              \
    }

// clang-format off
KERNEL(convert_3x8_to_4x8,   uint8_t,  uint32_t)
KERNEL(convert_3x16_to_4x16, uint16_t, uint64_t)
// clang-format on

#undef KERNEL

// ----- Grey

namespace {

/// weight * value / F, F being the greatest value of T.
uint8_t part(uint8_t weight, uint8_t value) {
    return static_cast<uint8_t>(div_255_in_16_bits(static_cast<uint16_t>(weight * value)));
}
/// The high half of the product, and the carry of low + high + 1: lanes of 16 bits are enough, if
/// either half has a product of its own.
uint16_t part(uint16_t weight, uint16_t value) {
    const auto high = static_cast<uint16_t>(uint32_t{weight} * value >> 16);
    const auto low = static_cast<uint16_t>(uint32_t{weight} * value);
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

/// The weights of any number of components; the first one makes them add up.
template <class T>
class AnyWeights {
  public:
    AnyWeights(const double* given, uint32_t count) : given_(given), first_(static_cast<T>(-1)) {
        for (uint32_t c = 1; c < count; ++c) first_ = static_cast<T>(first_ - scaled<T>(given[c]));
    }
    T operator[](uint32_t c) const { return c == 0 ? first_ : scaled<T>(given_[c]); }
    template <uint32_t count>
    std::array<T, count> all() const {
        std::array<T, count> weights;
        for (uint32_t c = 0; c < count; ++c) weights[c] = (*this)[c];
        return weights;
    }

  private:
    const double* given_;
    T first_;
};

template <class T, size_t count>
struct WeightedSum {
    std::array<T, count> weights;
    void operator()(Sample<T>* d, const Sample<T>* s) const {
        T grey = 0;
        for (size_t c = 0; c < count; ++c) grey = static_cast<T>(grey + part(weights[c], T{s[c]}));
        d[0] = grey;
    }
};

/// The same for a row, in blocks: first each sample's part, then the sums. Pixel by pixel SSE2,
/// which has no shuffle for steps of three, would stay scalar.
template <class T, size_t count>
struct WeightedRow {
    static constexpr uint64_t kBlock = 32;
    uint64_t width;
    uint16_t weights[count * kBlock];
    WeightedRow(uint64_t pixels, const std::array<T, count>& given) : width(pixels) {
        for (uint64_t i = 0; i < count * kBlock; ++i) weights[i] = given[i % count];
    }
    void operator()(Sample<T>* d, const Sample<T>* s) const {
        T parts[count * kBlock];
        for (uint64_t x = 0; x < width; x += kBlock) {
            const uint64_t pixels = std::min(kBlock, width - x);
            for (uint64_t i = 0; i < count * pixels; ++i)
                parts[i] = part(static_cast<T>(weights[i]), T{s[count * x + i]});
            for (uint64_t i = 0; i < pixels; ++i) {
                T grey = 0;
                for (uint64_t c = 0; c < count; ++c)
                    grey = static_cast<T>(grey + parts[count * i + c]);
                d[x + i] = grey;
            }
        }
    }
};

/// (sum + count / 2) / count, stored in the low bits of `Kept`.
template <class T, uint32_t count, class Kept = T>
struct Mean {
    using Sum = std::conditional_t<sizeof(T) == 1, uint16_t, uint32_t>;
    void operator()(Sample<T>* d, const Sample<T>* s) const {
        Sum sum = count / 2;
        for (uint32_t c = 0; c < count; ++c) sum = static_cast<Sum>(sum + T{s[c]});
        d[0] = static_cast<Kept>(sum / count);
    }
};

template <class T, size_t count>
int weigh(Dst dst, Src src, std::array<T, count> weights, Area area) {
    if constexpr (count > 2)
        if (active_isa() == Isa::Avx512) {
            rows_by_avx512<T, 1, count>(dst, src, area,
                                        [=](Sample<T>* d, const Sample<T>* s, uint64_t width) {
                                            avx512::weigh(d, s, width, weights);
                                        });
            return QM_OK;
        }
    if constexpr (count == 3)
        if (active_isa() == Isa::Sse2) {
            area = joined(kCallingThread, area,
                          {{dst.stride, sizeof(T)}, {src.stride, count * sizeof(T)}});
            each_row<T, T>(kCallingThread, dst, src, area,
                           WeightedRow<T, count>(area.width, weights));
            return QM_OK;
        }
    each_pixel<T, T, 1, count>(kCallingThread, dst, {}, src, {}, area,
                               WeightedSum<T, count>{weights});
    return QM_OK;
}

template <class T, uint32_t count, class Kept = T>
int average(Dst dst, Src src, Area area) {
    if constexpr (sizeof(T) == 1 && count == 3)
        if (active_isa() == Isa::Avx512) {
            rows_by_avx512<T, 1, count>(dst, src, area, avx512::mean_of_three);
            return QM_OK;
        }
    each_pixel<T, T, 1, count>(kCallingThread, dst, {}, src, {}, area, Mean<T, count, Kept>{});
    return QM_OK;
}

}  // namespace

#define KERNEL(name, Storage, from, weights_of, ...)                                               \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,     \
             const double* pdWeights, uint32_t uiWidth, uint64_t uiSizeInPixels) {                 \
        const Dst dst{pDst, uiDstWidthBytes};                                                      \
        const Src src{pSrc, uiSrcWidthBytes};                                                      \
        const Area area = Area::of_pixels(uiWidth, uiSizeInPixels);                                \
        return pdWeights != nullptr                                                                \
                   ? weigh(dst, src, weights_of<Storage>(pdWeights), area)                         \
                   : average<Storage, from __VA_OPT__(, ) __VA_ARGS__>(dst, src, area);            \
    }

// clang-format off
KERNEL(convert_3x8_to_1x8,   uint8_t,  3, three_weights)
KERNEL(convert_3x16_to_1x16, uint16_t, 3, three_weights, uint8_t)  // stores a byte of the mean
KERNEL(convert_4x8_to_1x8,   uint8_t,  4, four_weights)
KERNEL(convert_4x16_to_1x16, uint16_t, 4, four_weights)
// clang-format on

#undef KERNEL

namespace {

/// `term(c)` says what samples of component c add to the sums of their pixels, `store(sum)` what
/// becomes of those. Walks the rows itself, since the sums of a run of pixels outlive a component.
template <class T, class Sum, class Term, class Store>
void sum_components(Dst dst, Src src, uint32_t count, Area area, Term term, Store store) {
    constexpr uint64_t kRun = 256;
    walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            Sample<T>* d = dst.row<T>(y);
            const Sample<T>* s = src.row<T>(y);
            for (uint64_t left = area.width; left != 0;) {
                const uint64_t run = std::min(left, kRun);
                Sum sums[kRun];
                for (uint64_t x = 0; x < run; ++x) sums[x] = 0;
                for (uint64_t c = 0; c < count; ++c) {
                    const auto added = term(static_cast<uint32_t>(c));
                    for (uint64_t x = 0; x < run; ++x)
                        sums[x] = static_cast<Sum>(sums[x] + added(T{s[x * count + c]}));
                }
                for (uint64_t x = 0; x < run; ++x) d[x] = store(sums[x]);
                d += run, s += run * count, left -= run;
            }
        }
    });
}

struct Itself {
    template <class T>
    T operator()(T value) const {
        return value;
    }
};
struct Whole {
    Itself operator()(uint32_t) const { return {}; }
};

template <class T>
struct Part {
    T weight;
    T operator()(T value) const { return part(weight, value); }
};
/// Weights are made when their component comes, so that a call needs no memory for them.
template <class T>
struct Parts {
    AnyWeights<T> weights;
    Part<T> operator()(uint32_t c) const { return {weights[c]}; }
};

/// (sum + n / 2) / n in whole numbers of 32 bits, whose quotient by doubles is exact.
template <class T>
struct Rounded {
    uint32_t count;
    T operator()(uint32_t sum) const {
        const uint32_t dividend = sum + count / 2;
        return static_cast<T>(trunc_i32(static_cast<double>(dividend) / count));
    }
};

/// Counts for which there are better loops have them.
template <class T>
int grey_of_any(Dst dst, Src src, uint32_t count, const double* given, Area area) {
    if (count == 0) return QM_BAD_BUFFER;
    if (count == 1) {  // the mean of it, and its weight is full
        copy_lines(kCallingThread, dst, src, area.width * sizeof(T), area.rows);
        return QM_OK;
    }
    if (given == nullptr) switch (count) {
        case 2: return average<T, 2>(dst, src, area);
        case 3: return average<T, 3>(dst, src, area);
        case 4: return average<T, 4>(dst, src, area);
        default:
            sum_components<T, uint32_t>(dst, src, count, area, Whole{}, Rounded<T>{count});
            return QM_OK;
        }
    const AnyWeights<T> weights(given, count);
    switch (count) {
    case 2: return weigh(dst, src, weights.template all<2>(), area);
    case 3: return weigh(dst, src, weights.template all<3>(), area);
    case 4: return weigh(dst, src, weights.template all<4>(), area);
    default: sum_components<T, T>(dst, src, count, area, Parts<T>{weights}, Itself{}); return QM_OK;
    }
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
