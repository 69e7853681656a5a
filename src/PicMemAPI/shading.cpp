#include "PicMemAPI/shading.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "core/arithmetic.h"
#include "core/frame.h"
#include "core/scratch.h"
#include "core/shapes.h"
#include "histogram/temporary_histo.h"
#include "qmpic/PicMemAPI_Base.h"

// A picture divided by another, and the correction of uneven light that is made with it.

namespace qmpic {

namespace {

/// min(source * constant / divisor, top) with a product of 32 bits. In real numbers: quotients are
/// whole, or farther from the next whole number than Real's rounding goes, which for floats holds
/// for products below 2^24. A divisor of 0 makes infinity or NaN, and those are `top`.
template <class Real>
struct Quotient {
    Real top;
    template <class T>
    T operator()(T source, T divisor, Real constant) const {
        Real product;
        if constexpr (sizeof(Real) == 4)
            product = static_cast<Real>(source) * constant;
        else
            product = static_cast<Real>(source * static_cast<uint32_t>(constant));
        const Real quotient = product / static_cast<Real>(divisor);
        return static_cast<T>(static_cast<int32_t>(quotient < top ? quotient : top));
    }
};

/// The constants of all samples of a row, which repeat: enough of them that a block of samples may
/// begin with any component. A byte whose constant is 0 is kept: it is divided by 1, and the
/// constant is 1, too.
template <class T, class Real>
class Constants {
  public:
    static constexpr uint64_t kBlock = 64 / sizeof(T), kMost = 256;

    Constants(const uint32_t* constants, uint64_t components)
        : period_((kBlock + components - 1) / components * components) {
        for (uint64_t i = 0; i < period_ + kBlock; ++i) {
            const uint32_t constant = constants[i % components];
            const bool is_kept = sizeof(T) == 1 && constant == 0;
            constants_[i] = is_kept ? 1 : static_cast<Real>(constant);
            and_[i] = is_kept ? 0 : T(-1);
            or_[i] = is_kept;
        }
    }

    void run(Sample<T>* d, const Sample<T>* s, const Sample<T>* by, uint64_t samples,
             Quotient<Real> op) const {
        uint64_t x = 0, phase = 0;
        const auto block = [&](uint64_t count) {
            T values[kBlock];
            for (uint64_t i = 0; i < count; ++i)
                values[i] =
                    op(T{s[x + i]}, static_cast<T>((by[x + i] & and_[phase + i]) | or_[phase + i]),
                       constants_[phase + i]);
            for (uint64_t i = 0; i < count; ++i) d[x + i] = values[i];
        };
        for (; x + kBlock <= samples; x += kBlock) {
            block(kBlock);
            phase += kBlock;
            if (phase >= period_) phase -= period_;
        }
        block(samples - x);
    }

  private:
    uint64_t period_;
    Real constants_[kMost + 2 * kBlock];
    T and_[kMost + 2 * kBlock], or_[kMost + 2 * kBlock];
};

template <class T, class Real>
void divide(Dst dst, Src src, Src by, const uint32_t* constants, uint64_t components, Area area,
            Quotient<Real> op) {
    using Some = Constants<T, Real>;
    if (components <= Some::kMost) {
        area = joined(
            kCallingThread, {area.width * components, area.rows},
            {stride_of(dst, sizeof(T)), stride_of(src, sizeof(T)), stride_of(by, sizeof(T))});
        const Some all(constants, components);
        walk_rows(kCallingThread, area.rows, [=, &all](RowRange rows) {
            for (uint64_t y = rows.first; y < rows.last; ++y)
                all.run(dst.row<T>(y), src.row<T>(y), by.row<T>(y), area.width, op);
        });
        return;
    }
    for (uint64_t first = 0; first < components; first += Some::kMost) {
        const uint64_t count = std::min(components - first, Some::kMost);
        const Some some(constants + first, count);
        walk_rows(kCallingThread, area.rows, [=, &some](RowRange rows) {
            for (uint64_t y = rows.first; y < rows.last; ++y)
                for (uint64_t x = first; x < area.width * components; x += components)
                    some.run(dst.row<T>(y) + x, src.row<T>(y) + x, by.row<T>(y) + x, count, op);
        });
    }
}

template <class T>
int mul_const_div(Dst dst, Src src, Src by, const uint32_t* constants, uint64_t components,
                  uint32_t bpc, Area area) {
    if (components == 0 || area.rows == 0) return QM_OK;
    if constexpr (sizeof(T) == 1) {
        const uint32_t greatest = *std::max_element(constants, constants + components);
        if (greatest <= (1u << 24) / 255) {
            divide<T, float>(dst, src, by, constants, components, area, {255});
            return QM_OK;
        }
    }
    const double top = sizeof(T) == 1 ? 255 : max_value(bpc);
    divide<T, double>(dst, src, by, constants, components, area, {top});
    return QM_OK;
}

template <class T>
void find_greatest(uint32_t* greatest, Src src, uint64_t components, Area area) {
    for (uint64_t y = 0; y < area.rows; ++y) {
        const Sample<T>* s = src.row<T>(y);
        for (uint64_t x = 0; x < area.width; ++x, s += components)
            for (uint64_t c = 0; c < components; ++c)
                greatest[c] = std::max<uint32_t>(greatest[c], s[c]);
    }
}

}  // namespace

bool references_by_histogram(uint32_t* references, Src shading, uint32_t components, uint32_t bpc,
                             Area area) {
    const auto rows = static_cast<uint32_t>(area.rows);
    const SQmPicBuf picture{
        static_cast<uint32_t>(area.width), rows,       shading.stride,
        static_cast<uint8_t>(bpc),         components, uint64_t{rows} * shading.stride,
        const_cast<void*>(shading.first)};
    TemporaryHisto histo;
    const SQmPicBufDesc desc = TemporaryHisto::format_of(picture, bpc);
    CQmHistoAPI_Base::Reinit32(&histo, &desc);
    if (CQmHistoAPI_Base::Calculate(&histo, &picture, true) != QM_OK || histo.is_empty())
        return false;
    for (uint32_t c = 0; c < components; ++c) {
        double high = 0;
        CQmHistoAPI_Base::GetLowHighMeanMedian(&histo, c, nullptr, &high, nullptr, nullptr, 0,
                                               0.995);
        references[c] = trunc_u32(high);
    }
    return true;
}

void references_by_maximum(uint32_t* references, Src shading, uint32_t components, uint32_t bpc,
                           Area area) {
    std::fill_n(references, components, 0);
    if (bpc <= 8)
        find_greatest<uint8_t>(references, shading, components, area);
    else if (bpc <= 16)
        find_greatest<uint16_t>(references, shading, components, area);
}

// One line a kernel: name, storage, components.
#define KERNEL(name, Storage, count)                                                               \
    int name(void* dst, uint32_t dst_stride, const void* src, uint32_t src_stride,                 \
             const void* div, uint32_t div_stride, const uint32_t* constants,                      \
             [[maybe_unused]] uint32_t components, uint32_t bpc, uint32_t width, uint64_t size) {  \
        return mul_const_div<Storage>(Dst{dst, dst_stride}, Src{src, src_stride},                  \
                                      Src{div, div_stride}, constants, count, bpc,                 \
                                      Area::of_pixels(width, size));                               \
    }

// clang-format off
KERNEL(mulconstdiv_1x8,  uint8_t,  1)
KERNEL(mulconstdiv_3x8,  uint8_t,  3)
KERNEL(mulconstdiv_Nx8,  uint8_t,  components)
KERNEL(mulconstdiv_1x16, uint16_t, 1)
KERNEL(mulconstdiv_3x16, uint16_t, 3)
KERNEL(mulconstdiv_Nx16, uint16_t, components)
// clang-format on

#undef KERNEL

}  // namespace qmpic

using namespace qmpic;

// The divisor is not guarded.
int CQmPicMemAPI_Base::MulConstDiv(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                   uint32_t uiSrcWidthBytes, const void* pDiv,
                                   uint32_t uiDivWidthBytes, const uint32_t* puiConst,
                                   uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth,
                                   uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    return call(kMulConstDiv.find(uiComponents, uiBpc), pDst, uiDstWidthBytes, pSrc,
                uiSrcWidthBytes, pDiv, uiDivWidthBytes, puiConst, uiComponents, uiBpc, uiWidth,
                uiSizeInPixels);
}

int CQmPicMemAPI_Base::ApplyMultShading(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                        uint32_t uiSrcWidthBytes, const void* pShading,
                                        uint32_t uiShadingWidthBytes, uint32_t uiComponents,
                                        uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    // The format is looked at first, or a picture would be counted for nothing.
    MulConstDivKernel* const kernel = kMulConstDiv.find(uiComponents, uiBpc);
    if (kernel == nullptr) return QM_NO_KERNEL;
    if (uiComponents == 0) return QM_OK;
    const Scratch<uint32_t> references(uiComponents);
    if (!references) return QM_NO_MEMORY;
    const Src shading{pShading, uiShadingWidthBytes};
    const Area area = Area::of_pixels(uiWidth, uiSizeInPixels);
    if (!references_by_histogram(references.get(), shading, uiComponents, uiBpc, area))
        references_by_maximum(references.get(), shading, uiComponents, uiBpc, area);
    return kernel(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, pShading, uiShadingWidthBytes,
                  references.get(), uiComponents, uiBpc, uiWidth, uiSizeInPixels);
}
