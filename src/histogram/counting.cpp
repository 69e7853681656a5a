#include "histogram/counting.h"

#include <type_traits>

#include "histogram/counting_kernels.h"
#include "histogram/counting_loops.h"

// Counting of values: which loop a kernel runs, and the entries.

namespace {

using namespace qmpic;

/// Calls `run` with a bin of the size that the call names.
template <class Run>
int with_bins_of(uint32_t bytes, Run run) {
    switch (bytes) {
    case 4: run(uint32_t{}); return QM_OK;
    case 8: run(uint64_t{}); return QM_OK;
    }
    return QM_NO_KERNEL;
}

constexpr bool kComponents = false, kAndIntensity = true;

template <class T, class Bin, bool with_intensity, uint32_t known, class Where>
void count_with(Counted call, Count<known> components, Where where) {
    constexpr bool everywhere = std::is_same_v<Where, Everywhere>;
    if constexpr (known == 0 && everywhere)  // pairs of channels are many
        if (components() == 2 && call.first == 0)
            return count_with<T, Bin, with_intensity>(call, Count<2>{}, where);
    if constexpr (known != 0 && everywhere) {
        if (call.steps.x == 1) {  // rows without gaps are one
            if (call.steps.y == 1)
                call.area =
                    joined(kCallingThread, call.area, {{call.src.stride, known * sizeof(T)}});
            if constexpr (known == 1)
                return count_single<T, Bin>(call);
            else
                return count_several<T, Bin, with_intensity, known>(call);
        }
    }
    count_pixels<T, Bin, with_intensity>(call, components, where);
}

template <class T, bool with_intensity, uint32_t known, class Where>
int count_area(const Counted& call, Count<known> components, Where where) {
    if (call.area.rows == 0) return QM_OK;
    if (storage_bits(call.bpc) != 8 * sizeof(T)) return QM_NO_KERNEL;
    return with_bins_of(call.bin_bytes, [=](auto bin) {
        if (call.components == nullptr || (with_intensity && call.intensity == nullptr)) return;
        count_with<T, decltype(bin), with_intensity>(call, components, where);
    });
}

/// One component, whose block is given instead of an array.
template <class T, class Where>
int count_one(void* bins, Counted call, Where where) {
    call.components = bins != nullptr ? &bins : nullptr;
    return count_area<T, kComponents>(call, Count<1>{}, where);
}

/// Pixels of no components have no mean.
template <class T>
int count_with_intensity(const Counted& call, Count<0> components) {
    if (call.area.rows != 0 && components() == 0) return QM_BAD_BUFFER;
    return count_area<T, kAndIntensity>(call, components, Everywhere{});
}

}  // namespace

// One line an exported kernel: name, storage, arguments between stride and width, depth; and how
// many components or what mask.
#define BYTES uint32_t uiStepX, uint32_t uiStepY
#define WORDS uint32_t uiStepX, uint32_t uiStepY, uint32_t uiBpc
#define CALL(components, intensity, bpc)                                                           \
    Counted {                                                                                      \
        components, intensity, uiBinBytes, {pSrc, uiWidthBytes}, {uiStepX, uiStepY}, bpc,          \
            Area::of_pixels(uiWidth, uiSizeInPixels)                                               \
    }

#define KERNEL(name, T, STEPS, bpc)                                                                \
    int name(void* pBins, uint32_t uiBinBytes, const void* pSrc, uint32_t uiWidthBytes, STEPS,     \
             uint32_t uiWidth, uint64_t uiSizeInPixels) {                                          \
        return count_one<T>(pBins, CALL(nullptr, nullptr, bpc), Everywhere{});                     \
    }
KERNEL(gethistogram_1x8, uint8_t, BYTES, 8)
KERNEL(gethistogram_1x16, uint16_t, WORDS, uiBpc)
#undef KERNEL

#define KERNEL(name, T, STEPS, bpc, known)                                                         \
    int name(void** ppComp, uint32_t uiBinBytes, const void* pSrc, uint32_t uiWidthBytes, STEPS,   \
             uint32_t uiWidth, uint64_t uiSizeInPixels) {                                          \
        return count_area<T, kComponents>(CALL(ppComp, nullptr, bpc), Count<known>{},              \
                                          Everywhere{});                                           \
    }
KERNEL(gethistogram_3x8, uint8_t, BYTES, 8, 3)
KERNEL(gethistogram_4x8, uint8_t, BYTES, 8, 4)
KERNEL(gethistogram_3x16, uint16_t, WORDS, uiBpc, 3)
KERNEL(gethistogram_4x16, uint16_t, WORDS, uiBpc, 4)
#undef KERNEL

#define KERNEL(name, T, STEPS, bpc)                                                                \
    int name(void** ppComp, uint32_t uiBinBytes, const void* pSrc, uint32_t uiComponents,          \
             uint32_t uiWidthBytes, STEPS, uint32_t uiWidth, uint64_t uiSizeInPixels) {            \
        return count_area<T, kComponents>(CALL(ppComp, nullptr, bpc), Count<0>{uiComponents},      \
                                          Everywhere{});                                           \
    }
KERNEL(gethistogram_Nx8, uint8_t, BYTES, 8)
KERNEL(gethistogram_Nx16, uint16_t, WORDS, uiBpc)
#undef KERNEL

#define KERNEL(name, T, STEPS, bpc, known)                                                         \
    int name(void** ppComp, void* pIntensity, uint32_t uiBinBytes, const void* pSrc,               \
             uint32_t uiWidthBytes, STEPS, uint32_t uiWidth, uint64_t uiSizeInPixels) {            \
        return count_area<T, kAndIntensity>(CALL(ppComp, pIntensity, bpc), Count<known>{},         \
                                            Everywhere{});                                         \
    }
KERNEL(gethistogramint_3x8, uint8_t, BYTES, 8, 3)
KERNEL(gethistogramint_4x8, uint8_t, BYTES, 8, 4)
KERNEL(gethistogramint_3x16, uint16_t, WORDS, uiBpc, 3)
KERNEL(gethistogramint_4x16, uint16_t, WORDS, uiBpc, 4)
#undef KERNEL

#define KERNEL(name, T, STEPS, bpc)                                                                \
    int name(void** ppComp, void* pIntensity, uint32_t uiBinBytes, const void* pSrc,               \
             uint32_t uiComponents, uint32_t uiWidthBytes, STEPS, uint32_t uiWidth,                \
             uint64_t uiSizeInPixels) {                                                            \
        return count_with_intensity<T>(CALL(ppComp, pIntensity, bpc), Count<0>{uiComponents});     \
    }
KERNEL(gethistogramint_Nx8, uint8_t, BYTES, 8)
KERNEL(gethistogramint_Nx16, uint16_t, WORDS, uiBpc)
#undef KERNEL

#define KERNEL(name, T, STEPS, bpc, Unit)                                                          \
    int name(void* pIntensity, uint32_t uiBinBytes, const void* pSrc, uint32_t uiWidthBytes,       \
             const void* pMask, uint32_t uiMaskWidthBytes, STEPS, uint32_t uiWidth,                \
             uint64_t uiSizeInPixels) {                                                            \
        return count_one<T>(pIntensity, CALL(nullptr, nullptr, bpc),                               \
                            Under<Unit>{{pMask, uiMaskWidthBytes}});                               \
    }
KERNEL(gethistogrambin_1x8, uint8_t, BYTES, 8, uint8_t)
KERNEL(gethistogrambin_1x16, uint16_t, WORDS, uiBpc, uint8_t)
KERNEL(gethistogrambin16_1x8, uint8_t, BYTES, 8, uint16_t)
KERNEL(gethistogrambin16_1x16, uint16_t, WORDS, uiBpc, uint16_t)
#undef KERNEL

#define KERNEL(name, T, STEPS, bpc, known, Unit)                                                   \
    int name(void** ppComp, void* pIntensity, uint32_t uiBinBytes, const void* pSrc,               \
             uint32_t uiWidthBytes, const void* pMask, uint32_t uiMaskWidthBytes, STEPS,           \
             uint32_t uiWidth, uint64_t uiSizeInPixels) {                                          \
        return count_area<T, kAndIntensity>(CALL(ppComp, pIntensity, bpc), Count<known>{},         \
                                            Under<Unit>{{pMask, uiMaskWidthBytes}});               \
    }
KERNEL(gethistogrambin_3x8, uint8_t, BYTES, 8, 3, uint8_t)
KERNEL(gethistogrambin_4x8, uint8_t, BYTES, 8, 4, uint8_t)
KERNEL(gethistogrambin_3x16, uint16_t, WORDS, uiBpc, 3, uint8_t)
KERNEL(gethistogrambin_4x16, uint16_t, WORDS, uiBpc, 4, uint8_t)
KERNEL(gethistogrambin16_3x8, uint8_t, BYTES, 8, 3, uint16_t)
KERNEL(gethistogrambin16_4x8, uint8_t, BYTES, 8, 4, uint16_t)
KERNEL(gethistogrambin16_3x16, uint16_t, WORDS, uiBpc, 3, uint16_t)
KERNEL(gethistogrambin16_4x16, uint16_t, WORDS, uiBpc, 4, uint16_t)
#undef KERNEL

#define KERNEL(name, T, STEPS, bpc, Unit)                                                          \
    int name(void** ppComp, void* pIntensity, uint32_t uiBinBytes, const void* pSrc,               \
             uint32_t uiComponents, uint32_t uiWidthBytes, const void* pMask,                      \
             uint32_t uiMaskWidthBytes, STEPS, uint32_t uiWidth, uint64_t uiSizeInPixels) {        \
        return count_area<T, kAndIntensity>(CALL(ppComp, pIntensity, bpc), Count<0>{uiComponents}, \
                                            Under<Unit>{{pMask, uiMaskWidthBytes}});               \
    }
KERNEL(gethistogrambin_Nx8, uint8_t, BYTES, 8, uint8_t)
KERNEL(gethistogrambin_Nx16, uint16_t, WORDS, uiBpc, uint8_t)
KERNEL(gethistogrambin16_Nx8, uint8_t, BYTES, 8, uint16_t)
KERNEL(gethistogrambin16_Nx16, uint16_t, WORDS, uiBpc, uint16_t)
#undef KERNEL

// For bytes, too, whatever its name says, and without a complaint about other depths.
int gethistogram_Nx16_comp(void** ppComp, uint32_t uiBinBytes, const void* pSrc,
                           uint32_t uiFirstComp, uint32_t uiComponents, uint32_t uiWidthBytes,
                           uint32_t uiStepX, uint32_t uiStepY, uint32_t uiBpc, uint32_t uiWidth,
                           uint64_t uiSizeInPixels) {
    Counted call = CALL(ppComp, nullptr, uiBpc);
    call.first = uiFirstComp;
    switch (storage_bits(uiBpc)) {
    case 8: return count_area<uint8_t, kComponents>(call, Count<0>{uiComponents}, Everywhere{});
    case 16: return count_area<uint16_t, kComponents>(call, Count<0>{uiComponents}, Everywhere{});
    }
    return QM_OK;
}

#undef CALL
#undef WORDS
#undef BYTES

int CQmPicMemAPI_Base::GetHistogram(void** ppComp, uint32_t uiBinBytes, const void* pSrc,
                                    uint32_t uiWidthBytes, uint32_t uiComponents, uint32_t uiBpc,
                                    uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (nothing_to_do(pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    return call(kHistogram.find(uiComponents, uiBpc), ppComp, nullptr, uiBinBytes, pSrc,
                uiWidthBytes, uiComponents, uiBpc, 1u, 1u, uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::GetHistogramEx(void** ppComp, void* pIntensity, uint32_t uiBinBytes,
                                      const void* pSrc, uint32_t uiWidthBytes,
                                      uint32_t uiComponents, uint32_t uiBpc, uint32_t uiStepX,
                                      uint32_t uiStepY, uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (pSrc == nullptr) return QM_BAD_BUFFER;  // unlike the others
    if (nothing_to_do(pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (uiComponents == 1)
        return call(kHistogram.find(1, uiBpc), &pIntensity, nullptr, uiBinBytes, pSrc, uiWidthBytes,
                    uiComponents, uiBpc, uiStepX, uiStepY, uiWidth, uiSizeInPixels);
    return call(kHistogramInt.find(uiComponents, uiBpc), ppComp, pIntensity, uiBinBytes, pSrc,
                uiWidthBytes, uiComponents, uiBpc, uiStepX, uiStepY, uiWidth, uiSizeInPixels);
}

int CQmPicMemAPI_Base::GetHistogramUnderBinary(void** ppComp, void* pIntensity, uint32_t uiBinBytes,
                                               const void* pSrc, uint32_t uiWidthBytes,
                                               uint32_t uiComponents, uint32_t uiBpc,
                                               const void* pMask, uint32_t uiMaskWidthBytes,
                                               uint32_t uiMaskBpc, uint32_t uiStepX,
                                               uint32_t uiStepY, uint32_t uiWidth,
                                               uint64_t uiSizeInPixels) {
    if (nothing_to_do(pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (pMask == nullptr) return QM_BAD_BUFFER;
    if (uiMaskBpc > 16) return QM_NO_KERNEL;
    return call((uiMaskBpc <= 8 ? kHistogramBin : kHistogramBin16).find(uiComponents, uiBpc),
                ppComp, pIntensity, uiBinBytes, pSrc, uiWidthBytes, uiComponents, uiBpc, pMask,
                uiMaskWidthBytes, uiStepX, uiStepY, uiWidth, uiSizeInPixels);
}
