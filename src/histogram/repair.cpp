#include <type_traits>

#include "core/arithmetic.h"
#include "core/rows.h"
#include "histogram/repair_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"

// Combs: whether a histogram is one, and how its gaps are filled.

namespace {

using namespace qmpic;

/// Populated bins that make a comb; fewer are a picture of few values.
constexpr uint64_t kLeastTeeth = 192;

constexpr uint64_t bins_of(uint32_t bits) { return uint64_t{1} << (bits & 63); }

template <class Bin>
bool is_comb(const Sample<Bin>* bins, uint64_t count) {
    bool comb = false;
    on_best_isa([=, &comb] {
        // Sums of words, since vectors hold no flags; bin 0 has no neighbour.
        Bin teeth = bins[0] != 0, neighbours = 0;
        for (uint64_t i = 1; i < count; ++i) {
            const Bin tooth = bins[i] != 0, before = bins[i - 1] != 0;
            teeth = static_cast<Bin>(teeth + tooth);
            neighbours = static_cast<Bin>(neighbours | (tooth & before));
        }
        comb = neighbours == 0 && teeth >= kLeastTeeth;
    });
    return comb;
}

int need_to_repair(bool* flag, const void* bins, uint32_t bin_bytes, uint32_t bits) {
    switch (bin_bytes) {
    case 4: *flag = is_comb(static_cast<const Sample<uint32_t>*>(bins), bins_of(bits)); break;
    case 8: *flag = is_comb(static_cast<const Sample<uint64_t>*>(bins), bins_of(bits)); break;
    default: return QM_BAD_BUFFER;
    }
    return QM_OK;
}

int need_to_repair(bool* flags, void** arrays, uint32_t bin_bytes, uint32_t components,
                   uint32_t bits) {
    if (bin_bytes != 4 && bin_bytes != 8) return QM_BAD_BUFFER;
    for (uint32_t c = 0; c < components; ++c) need_to_repair(flags + c, arrays[c], bin_bytes, bits);
    return QM_OK;
}

uint32_t bin_of(double value, uint32_t) { return trunc_u32(value); }
uint64_t bin_of(double value, uint64_t) { return static_cast<uint64_t>(trunc_i64(value)); }

template <class Bin>
int fill_gaps(Sample<Bin>* bins, uint64_t count) {
    uint64_t i = 0;
    while (i < count && bins[i] == 0) ++i;
    for (uint64_t last = i++; i < count; ++i) {
        const Bin from = bins[last], to = bins[i];
        if (to == 0) continue;
        // Signed, in the width of a bin.
        const auto rise =
            static_cast<double>(static_cast<std::make_signed_t<Bin>>(static_cast<Bin>(to - from)));
        const auto gap = static_cast<double>(i - last), start = static_cast<double>(from);
        for (uint64_t k = last + 1; k < i; ++k)
            bins[k] = bin_of(static_cast<double>(k - last) / gap * rise + start + 0.5, Bin{});
        last = i;
    }
    return QM_OK;
}

int repair(void* bins, uint32_t bin_bytes, uint32_t bits) {
    switch (bin_bytes) {
    case 4: return fill_gaps(static_cast<Sample<uint32_t>*>(bins), bins_of(bits));
    case 8: return fill_gaps(static_cast<Sample<uint64_t>*>(bins), bins_of(bits));
    default: return QM_BAD_BUFFER;
    }
}

bool is_8_to_16(uint32_t bits) { return bits >= 8 && bits <= 16; }

}  // namespace

int needtorepairhistogram_1(bool* pbFlag, const void* pBins, uint32_t uiBinBytes, uint32_t uiBits) {
    return need_to_repair(pbFlag, pBins, uiBinBytes, uiBits);
}
int needtorepairhistogramint_3(bool* pbComp, void** ppComp, uint32_t uiBinBytes, uint32_t uiBits) {
    return need_to_repair(pbComp, ppComp, uiBinBytes, 3, uiBits);
}
int needtorepairhistogramint_4(bool* pbComp, void** ppComp, uint32_t uiBinBytes, uint32_t uiBits) {
    return need_to_repair(pbComp, ppComp, uiBinBytes, 4, uiBits);
}
int needtorepairhistogramint_N(bool* pbComp, void** ppComp, uint32_t uiBinBytes,
                               uint32_t uiComponents, uint32_t uiBits) {
    return need_to_repair(pbComp, ppComp, uiBinBytes, uiComponents, uiBits);
}
int repairhistocomp_1(void* pBins, uint32_t uiBinBytes, uint32_t uiBits) {
    return repair(pBins, uiBinBytes, uiBits);
}
int repairhistocomp_N(void** ppComp, uint32_t uiComp, uint32_t uiBinBytes, uint32_t uiBits) {
    return repair(ppComp[uiComp], uiBinBytes, uiBits);
}

int CQmPicMemAPI_Base::NeedToRepairHisto(bool* pbIntensity, bool* pbComp, void** ppComp,
                                         const void* pIntensity, uint32_t uiBinBytes,
                                         uint32_t uiComponents, uint32_t uiBits) {
    if (!is_8_to_16(uiBits)) return QM_OK;
    const int code = needtorepairhistogram_1(pbIntensity, pIntensity, uiBinBytes, uiBits);
    switch (uiComponents) {
    case 1: return code;
    case 3: return code | needtorepairhistogramint_3(pbComp, ppComp, uiBinBytes, uiBits);
    case 4: return code | needtorepairhistogramint_4(pbComp, ppComp, uiBinBytes, uiBits);
    default:
        return code | needtorepairhistogramint_N(pbComp, ppComp, uiBinBytes, uiComponents, uiBits);
    }
}

int CQmPicMemAPI_Base::RepairHistoComp(void** ppComp, void* pIntensity, uint32_t uiComp,
                                       uint32_t uiBinBytes, uint32_t uiComponents,
                                       uint32_t uiBits) {
    if (!is_8_to_16(uiBits)) return QM_NO_KERNEL;
    if (uiComponents == 1) return repairhistocomp_1(pIntensity, uiBinBytes, uiBits);
    return repairhistocomp_N(ppComp, uiComp, uiBinBytes, uiBits);
}
