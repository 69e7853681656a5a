#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "core/arithmetic.h"
#include "core/shapes.h"
#include "float/complex_kernels.h"
#include "float/from_integers.h"
#include "qmpic/FloatPicMemAPI_Base.h"

// Complex pictures.

namespace {

using namespace qmpic;

bool is_empty(uint32_t width, uint64_t size) { return width == 0 || size == 0; }

/// The floats of packed planes, in 64 bits.
Area packed(uint32_t components, uint32_t width, uint64_t size) {
    const Area samples = Area::of_samples(components, width, size);
    return {samples.width * samples.rows, 1};
}

/// Element by element: what is made of one may be written over it.
template <class Op>
void each_element(float* first_result, float* second_result, const float* first,
                  const float* second, Area area, Op op) {
    Sample<float>*const d1 = FloatDst{first_result, 0}.row(0), *const d2 =
                                                                   FloatDst{second_result, 0}.row(
                                                                       0);
    const Sample<float>*const s1 = FloatSrc{first, 0}.row(0), *const s2 =
                                                                  FloatSrc{second, 0}.row(0);
    for (uint64_t i = 0; i < area.width; ++i) {
        const auto [one, two] = op(float{s1[i]}, float{s2[i]});
        d1[i] = one;
        d2[i] = two;
    }
}

struct Pair {
    float first, second;
};

Pair real_and_imaginary(float amplitude, float phase) {
    return {std::cos(phase) * amplitude, std::sin(phase) * amplitude};
}

float amplitude_of(float real, float imaginary) {
    return std::sqrt(imaginary * imaginary + real * real);
}

Pair amplitude_and_phase(float real, float imaginary) {
    const float amplitude = amplitude_of(real, imaginary);
    float phase = 0;
    if (imaginary < 0) phase = 6.283185f - std::acos(real / amplitude);
    if (imaginary > 0) phase = std::acos(real / amplitude);
    if (imaginary == 0 && real < 0) phase = std::bit_cast<float>(0x40490FDAu);
    return {amplitude, phase};
}

/// x + 0.5 up to `top` and toward zero; the low bits of what is below 0.
template <class T>
struct Shown {
    float top;
    T operator()(float x) const {
        const float y = x + 0.5f;
        return static_cast<T>(trunc_i32(y > top ? top : y));
    }
};

template <class T>
int show(void* dst, uint32_t dst_stride, const float* src, uint32_t src_stride, Area samples,
         uint32_t bpc) {
    map_samples<T, float>(kCallingThread, Dst{dst, dst_stride}, FloatSrc{src, src_stride}, samples,
                          Shown<T>{static_cast<float>(max_value(bpc))});
    return QM_OK;
}

/// The amplitude shown without a plane between.
template <class T>
void show_amplitude(void* dst, uint32_t dst_stride, const float* real, const float* imaginary,
                    Area samples, uint32_t bpc) {
    const Shown<T> shown{static_cast<float>(max_value(bpc))};
    const Sample<float>*const r = FloatSrc{real, 0}.row(0), *const i =
                                                                FloatSrc{imaginary, 0}.row(0);
    for (uint64_t y = 0; y < samples.rows; ++y) {
        Sample<T>* const d = Dst{dst, dst_stride}.row<T>(y);
        const uint64_t at = y * samples.width;
        for (uint64_t x = 0; x < samples.width; ++x)
            d[x] = shown(amplitude_of(r[at + x], i[at + x]));
    }
}

/// All of the second plane, the pixels of an incomplete last row, too.
void clear(float* plane, uint32_t components, uint64_t size) {
    std::memset(plane, 0, components * size * sizeof(float));
}

/// Means of pixels.
template <class T>
int load_means(FloatDst dst, Src src, uint32_t components, Area pixels) {
    for (uint64_t y = 0; y < pixels.rows; ++y) {
        Sample<float>* const d = dst.row(y);
        const Sample<T>* s = src.row<T>(y);
        for (uint64_t x = 0; x < pixels.width; ++x, s += components) {
            float sum = 0;
            for (uint32_t c = 0; c < components; ++c) sum += static_cast<float>(T{s[c]});
            d[x] = sum / static_cast<float>(components);
        }
    }
    return QM_OK;
}

/// Rows that lie so many words of 16 bits apart, which may be more bytes than a stride counts.
struct WordRows {
    const void* first;
    uint32_t stride;
    template <class T>
    const Sample<T>* row(uint64_t y) const {
        return reinterpret_cast<const Sample<T>*>(static_cast<const std::byte*>(first) +
                                                  y * stride * 2);
    }
    static uint64_t rows_before_wrap() { return 1; }  // a stride is no number of bytes
};

template <class T, class Rows>
int load_samples(FloatDst dst, Rows src, uint32_t components, Area pixels) {
    map_samples<float, T>(kCallingThread, dst, src, {components * pixels.width, pixels.rows},
                          ToFloat{});
    return QM_OK;
}

}  // namespace

// One line a kernel: name, and what becomes of the first plane.
#define KERNEL(name, Storage)                                                                      \
    int name(void* pDst, uint32_t /*uiDstComponents*/, uint32_t uiDstWidthBytes,                   \
             [[maybe_unused]] uint32_t uiBpc, const float* pAmp, const float* /*pPhase*/,          \
             uint32_t uiSrcComponents, uint32_t uiSrcWidthBytes, uint32_t uiWidth,                 \
             uint64_t uiSizeInPixels) {                                                            \
        return show<Storage>(pDst, uiDstWidthBytes, pAmp, uiSrcWidthBytes,                         \
                             Area::of_samples(uiSrcComponents, uiWidth, uiSizeInPixels),           \
                             sizeof(Storage) == 1 ? 8 : uiBpc);                                    \
    }

KERNEL(extract_Float2_to_Nx8, uint8_t)
KERNEL(extract_Float2_to_Nx16, uint16_t)

#undef KERNEL

#define KERNEL(name, load, Rows)                                                                   \
    int name(float* pAmp, float* pPhase, uint32_t uiDstComponents, uint32_t uiDstWidthBytes,       \
             const void* pSrc, uint32_t uiSrcWidthBytes, uint32_t /*uiBpc*/,                       \
             uint32_t uiSrcComponents, uint32_t uiWidth, uint64_t uiSizeInPixels) {                \
        clear(pPhase, uiDstComponents, uiSizeInPixels);                                            \
        return load(FloatDst{pAmp, uiDstWidthBytes}, Rows{pSrc, uiSrcWidthBytes}, uiSrcComponents, \
                    Area::of_pixels(uiWidth, uiSizeInPixels));                                     \
    }

// clang-format off
KERNEL(extract_Nx8_to_1xFloat2,  load_means<uint8_t>,    Src)
KERNEL(extract_Nx16_to_1xFloat2, load_means<uint16_t>,   Src)
KERNEL(extract_Nx8_to_3xFloat2,  load_samples<uint8_t>,  Src)
KERNEL(extract_Nx16_to_3xFloat2, load_samples<uint16_t>, WordRows)  // the only one
// clang-format on

#undef KERNEL

int CQmFloatPicMemAPI_Base::AmpnPhase_to_RealnImag(float* pReal, float* pImag, const float* pAmp,
                                                   const float* pPhase, uint32_t uiComponents,
                                                   uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (is_empty(uiWidth, uiSizeInPixels)) return QM_OK;
    each_element(pReal, pImag, pAmp, pPhase, packed(uiComponents, uiWidth, uiSizeInPixels),
                 real_and_imaginary);
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::RealnImag_to_AmpnPhase(float* pAmp, float* pPhase, const float* pReal,
                                                   const float* pImag, uint32_t uiComponents,
                                                   uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (is_empty(uiWidth, uiSizeInPixels)) return QM_OK;
    each_element(pAmp, pPhase, pReal, pImag, packed(uiComponents, uiWidth, uiSizeInPixels),
                 amplitude_and_phase);
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::ExtractFloatAPtoRGB(void* pDst, uint32_t uiDstComponents,
                                                uint32_t uiDstWidthBytes, uint32_t uiBpc,
                                                const float* pAmp, const float* pPhase,
                                                uint32_t uiSrcComponents, uint32_t uiSrcWidthBytes,
                                                uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (is_empty(uiWidth, uiSizeInPixels)) return QM_OK;
    if (uiDstComponents != uiSrcComponents) return QM_REJECTED;
    return call(kExtractFloat.find_between(uiSrcComponents, 32, storage_bits(uiBpc)), pDst,
                uiDstComponents, uiDstWidthBytes, uiBpc, pAmp, pPhase, uiSrcComponents,
                uiSrcWidthBytes, uiWidth, uiSizeInPixels);
}

int CQmFloatPicMemAPI_Base::ExtractFloatRItoRGB(void* pDst, uint32_t uiDstComponents,
                                                uint32_t uiDstWidthBytes, uint32_t uiBpc,
                                                const float* pAmp, const float* pPhase,
                                                uint32_t uiSrcComponents,
                                                uint32_t /*uiSrcWidthBytes*/, uint32_t uiWidth,
                                                uint64_t uiSizeInPixels) {
    if (is_empty(uiWidth, uiSizeInPixels)) return QM_OK;
    if (uiDstComponents != uiSrcComponents) return QM_REJECTED;
    const Area samples = Area::of_samples(uiSrcComponents, uiWidth, uiSizeInPixels);
    if (storage_bits(uiBpc) == 8)
        show_amplitude<uint8_t>(pDst, uiDstWidthBytes, pAmp, pPhase, samples, uiBpc);
    if (storage_bits(uiBpc) == 16)
        show_amplitude<uint16_t>(pDst, uiDstWidthBytes, pAmp, pPhase, samples, uiBpc);
    return QM_NO_KERNEL;  // whatever was done: that is what callers get
}

int CQmFloatPicMemAPI_Base::ExtractRGBtoFloatAP(float* pAmp, float* pPhase,
                                                uint32_t uiDstComponents, uint32_t uiDstWidthBytes,
                                                const void* pSrc, uint32_t uiSrcWidthBytes,
                                                uint32_t uiBpc, uint32_t uiSrcComponents,
                                                uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (is_empty(uiWidth, uiSizeInPixels)) return QM_OK;
    if (uiDstComponents > uiSrcComponents) return QM_REJECTED;
    return call(kExtractToFloat.find(uiDstComponents, uiBpc), pAmp, pPhase, uiDstComponents,
                uiDstWidthBytes, pSrc, uiSrcWidthBytes, uiBpc, uiSrcComponents, uiWidth,
                uiSizeInPixels);
}

int CQmFloatPicMemAPI_Base::ExtractRGBtoFloatRI(float* pAmp, float* pPhase,
                                                uint32_t uiDstComponents, uint32_t uiDstWidthBytes,
                                                const void* pSrc, uint32_t uiSrcWidthBytes,
                                                uint32_t uiBpc, uint32_t uiSrcComponents,
                                                uint32_t uiWidth, uint64_t uiSizeInPixels) {
    return ExtractRGBtoFloatAP(pAmp, pPhase, uiDstComponents, uiDstWidthBytes, pSrc,
                               uiSrcWidthBytes, uiBpc, uiSrcComponents, uiWidth, uiSizeInPixels);
}
