#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/histogram.h"

namespace qmpic {

// What kernels for one component, several and any number differ in are arguments that they have no
// use for: the lists hold one type a family.

using CountKernel = int(void** ppComp, void* pIntensity, uint32_t uiBinBytes, const void* pSrc,
                        uint32_t uiWidthBytes, uint32_t uiComponents, uint32_t uiBpc,
                        uint32_t uiStepX, uint32_t uiStepY, uint32_t uiWidth,
                        uint64_t uiSizeInPixels);
using CountMaskedKernel = int(void** ppComp, void* pIntensity, uint32_t uiBinBytes,
                              const void* pSrc, uint32_t uiWidthBytes, uint32_t uiComponents,
                              uint32_t uiBpc, const void* pMask, uint32_t uiMaskWidthBytes,
                              uint32_t uiStepX, uint32_t uiStepY, uint32_t uiWidth,
                              uint64_t uiSizeInPixels);
using CountDividedKernel = int(void** ppComp, uint32_t uiBinBytes, uint32_t uiHistoBits,
                               const void* pSrc, uint32_t uiWidthBytes, uint32_t uiComponents,
                               uint32_t uiBpc, uint32_t uiStepX, uint32_t uiStepY, uint32_t uiWidth,
                               uint64_t uiSizeInPixels);

namespace counting_form {

inline void* only(void** components) { return components != nullptr ? components[0] : nullptr; }

// clang-format off
#define FORM(name, Type, first, ...) \
    template <Type* kernel> \
    int name(void** comp, [[maybe_unused]] void* intensity, uint32_t bin_bytes, const void* src, \
              uint32_t stride, [[maybe_unused]] uint32_t components, \
              [[maybe_unused]] uint32_t bpc, uint32_t step_x, uint32_t step_y, uint32_t width, \
              uint64_t size) { \
        return kernel(first, __VA_ARGS__, width, size); \
    }
FORM(one_bytes, Histogram1x8Kernel, only(comp), bin_bytes, src, stride, step_x, step_y)
FORM(one_words, Histogram1x16Kernel, only(comp), bin_bytes, src, stride, step_x, step_y, bpc)
FORM(few_bytes, Histogram3x8Kernel, comp, bin_bytes, src, stride, step_x, step_y)
FORM(few_words, Histogram3x16Kernel, comp, bin_bytes, src, stride, step_x, step_y, bpc)
FORM(any_bytes, HistogramNx8Kernel, comp, bin_bytes, src, components, stride, step_x, step_y)
FORM(any_words, HistogramNx16Kernel, comp, bin_bytes, src, components, stride, step_x, step_y, bpc)
FORM(int_few_bytes, HistogramInt3x8Kernel, comp, intensity, bin_bytes, src, stride, step_x, step_y)
FORM(int_few_words, HistogramInt3x16Kernel, comp, intensity, bin_bytes, src, stride, step_x, step_y, bpc)
FORM(int_any_bytes, HistogramIntNx8Kernel, comp, intensity, bin_bytes, src, components, stride, step_x, step_y)
FORM(int_any_words, HistogramIntNx16Kernel, comp, intensity, bin_bytes, src, components, stride, step_x, step_y, bpc)
#undef FORM

#define FORM(name, Type, first, ...) \
    template <Type* kernel> \
    int name([[maybe_unused]] void** comp, void* intensity, uint32_t bin_bytes, \
                     const void* src, uint32_t stride, [[maybe_unused]] uint32_t components, \
                     [[maybe_unused]] uint32_t bpc, const void* mask, uint32_t mask_stride, \
                     uint32_t step_x, uint32_t step_y, uint32_t width, uint64_t size) { \
        return kernel(first, __VA_ARGS__, width, size); \
    }
FORM(bin_one_bytes, HistogramBin1x8Kernel, intensity, bin_bytes, src, stride, mask, mask_stride, step_x, step_y)
FORM(bin_one_words, HistogramBin1x16Kernel, intensity, bin_bytes, src, stride, mask, mask_stride, step_x, step_y, bpc)
FORM(bin_few_bytes, HistogramBin3x8Kernel, comp, intensity, bin_bytes, src, stride, mask, mask_stride, step_x, step_y)
FORM(bin_few_words, HistogramBin3x16Kernel, comp, intensity, bin_bytes, src, stride, mask, mask_stride, step_x, step_y, bpc)
FORM(bin_any_bytes, HistogramBinNx8Kernel, comp, intensity, bin_bytes, src, components, stride, mask, mask_stride, step_x, step_y)
FORM(bin_any_words, HistogramBinNx16Kernel, comp, intensity, bin_bytes, src, components, stride, mask, mask_stride, step_x, step_y, bpc)
#undef FORM

#define FORM(name, Type, first, ...) \
    template <Type* kernel> \
    int name(void** comp, uint32_t bin_bytes, uint32_t histo_bits, const void* src, \
                      uint32_t stride, [[maybe_unused]] uint32_t components, uint32_t bpc, \
                      uint32_t step_x, uint32_t step_y, uint32_t width, uint64_t size) { \
        return kernel(first, bin_bytes, histo_bits, src, __VA_ARGS__, step_x, step_y, bpc, width, size); \
    }
FORM(div_one, HistogramDiv1Kernel, only(comp), stride)
FORM(div_few, HistogramDiv3Kernel, comp, stride)
FORM(div_any, HistogramDivNKernel, comp, components, stride)
#undef FORM

}  // namespace counting_form

#define K(form, name) {#name, counting_form::form<name>}
inline constexpr auto kHistogram = kernels<CountKernel>({
    K(one_bytes, gethistogram_1x8),  K(few_bytes, gethistogram_3x8),  K(few_bytes, gethistogram_4x8),  K(any_bytes, gethistogram_Nx8),
    K(one_words, gethistogram_1x16), K(few_words, gethistogram_3x16), K(few_words, gethistogram_4x16), K(any_words, gethistogram_Nx16)});
// One component is its own intensity, which kHistogram counts.
inline constexpr auto kHistogramInt = kernels<CountKernel>({
    K(int_few_bytes, gethistogramint_3x8),  K(int_few_bytes, gethistogramint_4x8),  K(int_any_bytes, gethistogramint_Nx8),
    K(int_few_words, gethistogramint_3x16), K(int_few_words, gethistogramint_4x16), K(int_any_words, gethistogramint_Nx16)});

inline constexpr auto kHistogramBin = kernels<CountMaskedKernel>({
    K(bin_one_bytes, gethistogrambin_1x8),    K(bin_few_bytes, gethistogrambin_3x8),
    K(bin_few_bytes, gethistogrambin_4x8),    K(bin_any_bytes, gethistogrambin_Nx8),
    K(bin_one_words, gethistogrambin_1x16),   K(bin_few_words, gethistogrambin_3x16),
    K(bin_few_words, gethistogrambin_4x16),   K(bin_any_words, gethistogrambin_Nx16)});
inline constexpr auto kHistogramBin16 = kernels<CountMaskedKernel>({
    K(bin_one_bytes, gethistogrambin16_1x8),  K(bin_few_bytes, gethistogrambin16_3x8),
    K(bin_few_bytes, gethistogrambin16_4x8),  K(bin_any_bytes, gethistogrambin16_Nx8),
    K(bin_one_words, gethistogrambin16_1x16), K(bin_few_words, gethistogrambin16_3x16),
    K(bin_few_words, gethistogrambin16_4x16), K(bin_any_words, gethistogrambin16_Nx16)});

inline constexpr auto kHistogramDiv = kernels<CountDividedKernel>({
    K(div_one, gethistogramdiv_1x16), K(div_few, gethistogramdiv_3x16), K(div_any, gethistogramdiv_Nx16),
    K(div_one, gethistogramdiv_1x32), K(div_few, gethistogramdiv_3x32), K(div_any, gethistogramdiv_Nx32)});
#undef K

// For callers outside, and blocks of bins, which have no layout.
#define K(name) {#name, name}
inline constexpr auto kHistogramComp = kernels<HistogramCompKernel>({K(gethistogram_Nx16_comp)});
inline constexpr auto kHistoAdd = kernels<HistoAddKernel>({{"histo_add", histo_add, Layouts{}}});
#undef K
// clang-format on

static_assert(kHistogram.find(1, 8) == counting_form::one_bytes<gethistogram_1x8>);
static_assert(kHistogram.find(2, 9) == counting_form::any_words<gethistogram_Nx16>);
static_assert(kHistogram.find(1, 7) == nullptr && kHistogram.find(1, 17) == nullptr);
static_assert(kHistogramInt.find(4, 16) == counting_form::int_few_words<gethistogramint_4x16>);
static_assert(kHistogramInt.find(0, 8) == counting_form::int_any_bytes<gethistogramint_Nx8>);
static_assert(kHistogramBin.find(5, 12) == counting_form::bin_any_words<gethistogrambin_Nx16>);
static_assert(kHistogramBin16.find(3, 8) == counting_form::bin_few_bytes<gethistogrambin16_3x8>);
static_assert(kHistogramDiv.find(4, 32) == counting_form::div_any<gethistogramdiv_Nx32>);
static_assert(kHistogramDiv.find(1, 8) == nullptr && kHistogramDiv.find(1, 33) == nullptr);

inline constexpr auto kHistogramLists =
    std::tie(kHistogram, kHistogramInt, kHistogramBin, kHistogramBin16, kHistogramDiv,
             kHistogramComp, kHistoAdd);

}  // namespace qmpic
