#include <cmath>
#include <cstring>

#include "core/frame.h"
#include "core/shapes.h"
#include "qmpic/FloatPicMemAPI_Base.h"

// What becomes of each float by itself, of one and another, or of one and a constant.

namespace {

using namespace qmpic;

// Minima and maxima are those of the processor: the second operand when the first does not win.

float least(float a, float b) { return a < b ? a : b; }
float greatest(float a, float b) { return a > b ? a : b; }
float quotient_or_0(float a, float b) { return b == 0 ? 0.0f : a / b; }

struct Magnitude {  // no mask of the sign: -0 is not below 0
    float operator()(float a) const { return a < 0 ? -a : a; }
};
struct Reciprocal {
    float operator()(float a) const { return a == 0 ? a : 1 / a; }
};
struct Times {
    float c;
    float operator()(float a) const { return a * c; }
};
struct From {
    float c;
    float operator()(float a) const { return c - a; }
};
struct DivideConstant {
    float c;
    float operator()(float a) const { return quotient_or_0(c, a); }
};
struct LeastWith {
    float c;
    float operator()(float a) const { return least(c, a); }
};
struct GreatestWith {
    float c;
    float operator()(float a) const { return greatest(c, a); }
};

struct Divide {
    float operator()(float a, float b) const { return quotient_or_0(a, b); }
};
struct Least {
    float operator()(float a, float b) const { return least(a, b); }
};
struct Greatest {
    float operator()(float a, float b) const { return greatest(a, b); }
};
struct Add {
    template <class Integer>
    float operator()(float a, Integer b) const {
        return static_cast<float>(b) + a;
    }
};

// Logarithms and powers are the C library's, sample by sample.

struct LogByOther {
    float operator()(float base, float x) const { return std::log(x) / std::log(base); }
};
struct LogOfConstant {
    float log_c;
    float operator()(float base) const { return log_c / std::log(base); }
};
struct LogByConstant {
    float log_c;
    float operator()(float x) const { return std::log(x) / log_c; }
};
struct LogNatural {
    float operator()(float x) const { return std::log(x); }
};
struct LogOfMagnitude {
    float operator()(float x) const { return x == 0 ? x : std::log(std::fabs(x)); }
};
struct PowOfOther {
    float operator()(float base, float x) const { return std::pow(base, x); }
};
struct PowByConstant {
    float c;
    float operator()(float base) const { return std::pow(base, c); }
};
struct PowOfConstant {
    float c;
    float operator()(float x) const { return std::pow(c, x); }
};

/// d = op(a, b), the second of any kind: one sample after the other also where the memory overlaps,
/// and none computed twice, which is why `combine` does not serve.
template <class S, class P, class Op>
void combine_in_order(Team team, FloatDst dst, FloatSrc a, P b, Area area, Op op) {
    area = joined(team, area, {stride_of(dst, 4), stride_of(a, 4), stride_of(b, sizeof(S))});
    walk_rows(team, area.rows, [=](RowRange rows) {
        for (uint64_t y = rows.first; y < rows.last; ++y) {
            Sample<float>* const d = dst.row(y);
            const Sample<float>* const s1 = a.row(y);
            const Sample<S>* const s2 = b.template row<S>(y);
            for (uint64_t x = 0; x < area.width; ++x) d[x] = op(float{s1[x]}, S{s2[x]});
        }
    });
}

/// The floats of packed memory.
Area packed(uint32_t width, uint32_t height, uint32_t components) {
    return {width * height * components, 1};
}

/// As many floats of whole pixels as blocks hold; of whole vectors, too, where pixels are small.
constexpr uint64_t kBlock = 256;
uint64_t period(uint64_t components) {
    return components <= 16 ? 16 * components : kBlock / components * components;
}

/// (x - min) / range of samples whose bounds repeat.
struct Bounds {
    float min[kBlock], range[kBlock];

    Bounds(const float* mins, const float* maxs, uint64_t components) {
        const uint64_t count = period(components);
        for (uint64_t first = 0; first < count; first += components)
            for (uint64_t c = 0; c < components; ++c) {
                min[first + c] = mins[c];
                range[first + c] = maxs[c] - mins[c];
            }
    }
    void apply(Sample<float>* d, uint64_t count) const {
        for (uint64_t i = 0; i < count; ++i) d[i] = (d[i] - min[i]) / range[i];
    }
};

/// Rows that lie `step` floats apart, more than a stride counts.
struct FarRows {
    float* first;
    uint32_t step;
    Sample<float>* row(uint64_t y) const {
        return reinterpret_cast<Sample<float>*>(reinterpret_cast<std::byte*>(first) +
                                                y * step * sizeof(float));
    }
};

/// A weight of each pixel times its samples, divided by the greatest weight.
struct Masked {
    float* dst;
    const float* src;
    const unsigned char* mask;
    uint64_t pixels;
    float top;

    /// One sample after the other.
    template <uint32_t known>
    void in_order(Count<known> count) const {
        walk_rows(kCallingThread, 1, [=, *this](RowRange) {  // one row of three pictures
            Sample<float>* const d = FloatDst{dst, 0}.row(0);
            const Sample<float>* const s = FloatSrc{src, 0}.row(0);
            for (uint64_t x = 0; x < pixels; ++x) {
                const float weight = mask[x];
                for (uint64_t c = 0; c < count(); ++c)
                    d[x * count() + c] = weight * s[x * count() + c] / top;
            }
        });
    }

    /// Weights are repeated for some pixels at a time, and then whole vectors are computed.
    template <uint32_t count>
    void in_blocks() const {
        walk_rows(kCallingThread, 1, [=, *this](RowRange) {  // as above
            Sample<float>* const d = FloatDst{dst, 0}.row(0);
            const Sample<float>* const s = FloatSrc{src, 0}.row(0);
            constexpr uint64_t unit = 16 * count, block = kBlock / unit * unit / count;
            float weights[kBlock];
            for (uint64_t x = 0; x < pixels; x += block) {
                const uint64_t n = pixels - x < block ? pixels - x : block;
                for (uint64_t i = 0; i < n; ++i)
                    for (uint64_t c = 0; c < count; ++c) weights[i * count + c] = mask[x + i];
                for (uint64_t i = 0; i < n * count; ++i)
                    d[x * count + i] = weights[i] * s[x * count + i] / top;
            }
        });
    }

    /// Pixels that are vectors themselves, and some samples.
    void in_vectors(uint64_t count) const {
        walk_rows(kCallingThread, 1, [=, *this](RowRange) {  // as above
            Sample<float>* d = FloatDst{dst, 0}.row(0);
            const Sample<float>* s = FloatSrc{src, 0}.row(0);
            for (uint64_t x = 0; x < pixels; ++x, d += count, s += count) {
                const float weight = mask[x], most = top;
                const auto op = [=](float a) { return weight * a / most; };
                uint64_t c = 0;
                for (; c + 8 <= count; c += 8) detail::Block<float, 8>(op, s + c).store(d + c);
                for (; c + 4 <= count; c += 4) detail::Block<float, 4>(op, s + c).store(d + c);
                for (; c < count; ++c) d[c] = op(s[c]);
            }
        });
    }

    /// Is the destination the source, or has it no byte of the source and of the mask?
    bool is_simple(uint64_t count) const {
        const auto d = reinterpret_cast<uintptr_t>(dst), s = reinterpret_cast<uintptr_t>(src),
                   m = reinterpret_cast<uintptr_t>(mask);
        const uint64_t bytes = pixels * count * sizeof(float);
        return (d == s || d + bytes <= s || s + bytes <= d) && (d + bytes <= m || m + pixels <= d);
    }
};

}  // namespace

// One line an entry: name, its two sources or source and constant, and what is computed where.

#define ENTRY(name, computed)                                                                      \
    int CQmFloatPicMemAPI_Base::name(float* pDst, uint32_t uiDstWidthBytes, const float* pSrcA,    \
                                     uint32_t uiSrcAWidthBytes, const float* pSrcB,                \
                                     uint32_t uiSrcBWidthBytes, uint32_t uiComponents,             \
                                     uint32_t uiWidth, uint64_t uiSizeInPixels) {                  \
        if (nothing_to_do(pDst, pSrcA, uiWidth, uiSizeInPixels)) return QM_OK;                     \
        const FloatDst dst{pDst, uiDstWidthBytes};                                                 \
        const FloatSrc a{pSrcA, uiSrcAWidthBytes}, b{pSrcB, uiSrcBWidthBytes};                     \
        const Area area = Area::of_samples(uiComponents, uiWidth, uiSizeInPixels);                 \
        computed;                                                                                  \
        return QM_OK;                                                                              \
    }

// clang-format off
ENTRY(DivFloatnFloat, combine<float>(kTeam, dst, a, b, area, Divide{}))
ENTRY(MinFloatnFloat, combine<float>(kTeam, dst, a, b, area, Least{}))
ENTRY(MaxFloatnFloat, combine<float>(kTeam, dst, a, b, area, Greatest{}))
ENTRY(Log,            combine_in_order<float>(kTeam, dst, a, b, area, LogByOther{}))
ENTRY(Pow,            combine_in_order<float>(kTeam, dst, a, b, area, PowOfOther{}))
// clang-format on

#undef ENTRY
#define ENTRY(name, Unit)                                                                          \
    int CQmFloatPicMemAPI_Base::name(float* pDst, uint32_t uiDstWidthBytes, const float* pSrcA,    \
                                     uint32_t uiSrcAWidthBytes, const Unit* pSrcB,                 \
                                     uint32_t uiSrcBWidthBytes, uint32_t uiComponents,             \
                                     uint32_t uiWidth, uint64_t uiSizeInPixels) {                  \
        if (nothing_to_do(pDst, pSrcA, uiWidth, uiSizeInPixels)) return QM_OK;                     \
        combine_in_order<Unit>(kCallingThread, FloatDst{pDst, uiDstWidthBytes},                    \
                               FloatSrc{pSrcA, uiSrcAWidthBytes}, Src{pSrcB, uiSrcBWidthBytes},    \
                               Area::of_samples(uiComponents, uiWidth, uiSizeInPixels), Add{});    \
        return QM_OK;                                                                              \
    }

ENTRY(AddFloatnUint8, unsigned char)
ENTRY(AddFloatnUint16, unsigned short)

#undef ENTRY

// The constant comes before the source, behind it or behind its stride, or there is none.
#define CONSTANT_FIRST float fConst, const float *pSrc, uint32_t uiSrcWidthBytes
#define CONSTANT_BETWEEN const float *pSrc, float fConst, uint32_t uiSrcWidthBytes
#define CONSTANT_LAST const float *pSrc, uint32_t uiSrcWidthBytes, float fConst
#define NO_CONSTANT const float *pSrc, uint32_t uiSrcWidthBytes
#define ENTRY(name, source, team, op)                                                              \
    int CQmFloatPicMemAPI_Base::name(float* pDst, uint32_t uiDstWidthBytes, source,                \
                                     uint32_t uiComponents, uint32_t uiWidth,                      \
                                     uint64_t uiSizeInPixels) {                                    \
        if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;                      \
        map_samples<float, float>(team, FloatDst{pDst, uiDstWidthBytes},                           \
                                  FloatSrc{pSrc, uiSrcWidthBytes},                                 \
                                  Area::of_samples(uiComponents, uiWidth, uiSizeInPixels), op);    \
        return QM_OK;                                                                              \
    }

// clang-format off
ENTRY(Abs,            NO_CONSTANT,      kTeam,          Magnitude{})
ENTRY(DivConstnFloat, CONSTANT_FIRST,   kTeam,          DivideConstant{fConst})
ENTRY(SubConstnFloat, CONSTANT_FIRST,   kTeam,          From{fConst})
ENTRY(MinFloatnConst, CONSTANT_LAST,    kCallingThread, LeastWith{fConst})
ENTRY(MaxFloatnConst, CONSTANT_LAST,    kCallingThread, GreatestWith{fConst})
ENTRY(Log,            CONSTANT_BETWEEN, kTeam,          LogOfConstant{std::log(fConst)})
ENTRY(Pow,            CONSTANT_BETWEEN, kTeam,          PowByConstant{fConst})
ENTRY(Pow,            CONSTANT_FIRST,   kTeam,          PowOfConstant{fConst})
// clang-format on

#undef ENTRY
#undef CONSTANT_FIRST
#undef CONSTANT_BETWEEN
#undef CONSTANT_LAST
#undef NO_CONSTANT

int CQmFloatPicMemAPI_Base::Log(float* pDst, uint32_t uiDstWidthBytes, float fConst,
                                const float* pSrc, uint32_t uiSrcWidthBytes, uint32_t uiComponents,
                                uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    const FloatDst dst{pDst, uiDstWidthBytes};
    const FloatSrc src{pSrc, uiSrcWidthBytes};
    const Area area = Area::of_samples(uiComponents, uiWidth, uiSizeInPixels);
    if (fConst > 0)
        map_samples<float, float>(kTeam, dst, src, area, LogByConstant{std::log(fConst)});
    else  // no base: natural
        map_samples<float, float>(kTeam, dst, src, area, LogNatural{});
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::Inversion(float* pData, uint32_t uiWidth, uint32_t uiHeight,
                                      uint32_t uiComponents) {
    if (pData == nullptr) return QM_OK;
    update<float>(kCallingThread, FloatDst{pData, 0}, packed(uiWidth, uiHeight, uiComponents),
                  Reciprocal{});
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::Logarithm(float* pData, uint32_t uiWidth, uint32_t uiHeight,
                                      uint32_t uiComponents) {
    if (pData == nullptr) return QM_OK;
    update<float>(kCallingThread, FloatDst{pData, 0}, packed(uiWidth, uiHeight, uiComponents),
                  LogOfMagnitude{});
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::MultiplybyFloat(float* pData, float fFactor, uint32_t uiWidth,
                                            uint32_t uiHeight, uint32_t uiComponents) {
    if (pData == nullptr) return QM_OK;
    update<float>(kCallingThread, FloatDst{pData, 0}, packed(uiWidth, uiHeight, uiComponents),
                  Times{fFactor});
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::MultiplybyFloatSSE_parallel(float* pData, float fFactor,
                                                        uint32_t uiWidth, uint32_t uiHeight,
                                                        uint32_t uiComponents) {
    if (pData == nullptr) return QM_OK;
    // Floats are shared among the threads, and not rows.
    walk_rows(kTeam, packed(uiWidth, uiHeight, uiComponents).width, [=](RowRange floats) {
        Sample<float>* const d = FloatDst{pData, 0}.row(0);
        for (uint64_t i = floats.first; i < floats.last; ++i) d[i] = d[i] * fFactor;
    });
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::Normalize(float* pData, uint32_t uiRowFloats, uint32_t uiComponents,
                                      uint32_t uiWidth, uint32_t uiHeight, const float* pfMin,
                                      const float* pfMax) {
    if (pData == nullptr || pfMin == nullptr || pfMax == nullptr) return QM_REJECTED;
    if (uiComponents == 0) return QM_OK;
    const FarRows dst{pData, uiRowFloats};
    const uint64_t count = uint64_t{uiComponents} * uiWidth;
    if (uiComponents == 1) {
        const float min = pfMin[0], range = pfMax[0] - pfMin[0];
        walk_rows(kTeam, uiHeight, [=](RowRange rows) {
            for (uint64_t y = rows.first; y < rows.last; ++y) {
                Sample<float>* const d = dst.row(y);
                for (uint64_t x = 0; x < count; ++x) d[x] = (d[x] - min) / range;
            }
        });
    } else if (uiComponents <= kBlock) {
        const uint64_t step = period(uiComponents);
        walk_rows(kTeam, uiHeight, [=](RowRange rows) {
            const Bounds bounds(pfMin, pfMax, uiComponents);
            for (uint64_t y = rows.first; y < rows.last; ++y) {
                Sample<float>* const d = dst.row(y);
                uint64_t x = 0;
                for (; x + step <= count; x += step) bounds.apply(d + x, step);
                bounds.apply(d + x, count - x);
            }
        });
    } else {
        walk_rows(kTeam, uiHeight, [=](RowRange rows) {
            for (uint64_t y = rows.first; y < rows.last; ++y)
                for (uint64_t x = 0; x < count; x += uiComponents) {
                    Sample<float>* const d = dst.row(y) + x;
                    for (uint64_t c = 0; c < uiComponents; ++c)
                        d[c] = (d[c] - pfMin[c]) / (pfMax[c] - pfMin[c]);
                }
        });
    }
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::MaskFloatWithGray(float* pDst, uint32_t uiDstComponents,
                                              const float* pSrc, uint32_t uiSrcComponents,
                                              const unsigned char* pucMask, uint32_t uiWidth,
                                              uint64_t uiSizeInPixels, unsigned char ucMax) {
    if (uiDstComponents != uiSrcComponents) return QM_REJECTED;
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    const Area area = Area::of_pixels(uiWidth, uiSizeInPixels);
    const Masked masked{pDst, pSrc, pucMask, area.width * area.rows, static_cast<float>(ucMax)};
    if (masked.is_simple(uiSrcComponents)) {
        switch (uiSrcComponents) {
        case 0:
        case 1:
        case 2: break;  // samples in order are whole vectors
        case 3: return masked.in_blocks<3>(), QM_OK;
        case 4: return masked.in_blocks<4>(), QM_OK;
        case 5: return masked.in_blocks<5>(), QM_OK;
        case 6: return masked.in_blocks<6>(), QM_OK;
        case 7: return masked.in_blocks<7>(), QM_OK;
        default: return masked.in_vectors(uiSrcComponents), QM_OK;
        }
    }
    switch (uiSrcComponents) {
    case 1: masked.in_order(Count<1>{}); break;
    case 2: masked.in_order(Count<2>{}); break;
    default: masked.in_order(Count<0>{uiSrcComponents});
    }
    return QM_OK;
}
