#include <cpuid.h>

#include <atomic>

#include "core/arithmetic.h"
#include "qmpic/PicMemAPI_Base.h"

// Numbers of a depth, and the processor. Shift counts count modulo 32, as the processor's do.

namespace {

using namespace qmpic;

/// What one step of the 8-bit scale is worth at a depth.
uint32_t steps(uint32_t bpc) { return uint32_t{1} << ((bpc > 8 ? bpc - 8 : 0) & 31); }

}  // namespace

uint32_t CQmPicMemAPI_Base::CalcCompSize(uint32_t uiBpc) {
    static constexpr uint8_t kSizes[] = {0, 1, 2, 4, 4, 8, 8, 8, 8};
    return uiBpc <= 64 ? kSizes[(uiBpc + 7) / 8] : 0;
}

uint32_t CQmPicMemAPI_Base::CalcWidthBytes(uint32_t uiWidth, uint32_t uiBpc, uint32_t uiComponents,
                                           uint32_t uiAlignment) {
    const uint32_t upper = uiWidth * CalcCompSize(uiBpc) * uiComponents + uiAlignment - 1;
    return upper - upper % uiAlignment;
}

uint32_t CQmPicMemAPI_Base::CalcUintMax(uint32_t uiBpc) {
    return uiBpc == 32 ? 0xFFFFFFFF : (uint32_t{1} << (uiBpc & 31)) - 1;
}

int32_t CQmPicMemAPI_Base::CalcIntMax(uint32_t uiBpc) {
    return static_cast<int32_t>((uint32_t{1} << ((uiBpc - 1) & 31)) - 1);
}

int32_t CQmPicMemAPI_Base::CalcIntMin(uint32_t uiBpc) {
    return static_cast<int32_t>(~uint32_t{0} << ((uiBpc - 1) & 31));
}

double CQmPicMemAPI_Base::CalcDblMax(uint32_t uiBpc) {
    const double s = steps(uiBpc);
    return (s - 1) / s + 255.0;
}

double CQmPicMemAPI_Base::CalcUintToDbl(uint32_t uiValue, uint32_t uiBpc) {
    return uiValue / static_cast<double>(steps(uiBpc));
}

uint32_t CQmPicMemAPI_Base::CalcDblToUint(double dValue, uint32_t uiBpc) {
    return trunc_u32(dValue * steps(uiBpc));
}

uint32_t CQmPicMemAPI_Base::CalcDecimalPrecision(uint32_t uiBpc) {
    uint32_t digits = 0;
    for (uint32_t rest = steps(uiBpc) - 1; rest != 0; rest /= 10) ++digits;
    return digits;
}

uint32_t CQmPicMemAPI_Base::CalcConvertBpc(uint32_t uiDstBpc, uint32_t uiValue, uint32_t uiSrcBpc) {
    if (uiSrcBpc == uiDstBpc) return uiValue;
    if (uiSrcBpc > uiDstBpc) return uiValue >> ((uiSrcBpc - uiDstBpc) & 31);
    return (uiValue >> ((2 * uiSrcBpc - uiDstBpc) & 31)) +
           (uiValue << ((uiDstBpc - uiSrcBpc) & 31));
}

bool CQmPicMemAPI_Base::s_bCPUInfoInited = false;
int32_t CQmPicMemAPI_Base::s_piCPUInfo[4] = {};

// Two first callers store the same values; the flag comes last, so that none reads too early.
bool CQmPicMemAPI_Base::IsCPU_SSE2() {
    const std::atomic_ref<bool> known(s_bCPUInfoInited);
    const std::atomic_ref<int32_t> features(s_piCPUInfo[3]);
    if (!known.load(std::memory_order_acquire)) {
        uint32_t words[4];
        __cpuid(1, words[0], words[1], words[2], words[3]);
        for (int i = 0; i < 4; ++i)
            std::atomic_ref(s_piCPUInfo[i])
                .store(static_cast<int32_t>(words[i]), std::memory_order_relaxed);
        known.store(true, std::memory_order_release);
    }
    return (features.load(std::memory_order_relaxed) >> 26 & 1) != 0;
}
