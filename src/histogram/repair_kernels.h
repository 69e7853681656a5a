#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/repair.h"

namespace qmpic {

// Bins of 4 and of 8 bytes are told apart by an argument, and arrays have no format: the entries
// choose by themselves. 0 is any number of arrays.
inline constexpr Layouts kOneArray{{1, 32}, {1, 32}}, kThreeArrays{{3, 32}, {3, 32}},
    kFourArrays{{4, 32}, {4, 32}}, kAnyArrays{{0, 32}, {0, 32}};

inline constexpr auto kNeedToRepair =
    kernels<NeedToRepairKernel>({{"needtorepairhistogram_1", needtorepairhistogram_1, kOneArray}});
inline constexpr auto kNeedToRepairFixed = kernels<NeedToRepairFixedKernel>(
    {{"needtorepairhistogramint_3", needtorepairhistogramint_3, kThreeArrays},
     {"needtorepairhistogramint_4", needtorepairhistogramint_4, kFourArrays}});
inline constexpr auto kNeedToRepairAny = kernels<NeedToRepairAnyKernel>(
    {{"needtorepairhistogramint_N", needtorepairhistogramint_N, kAnyArrays}});
inline constexpr auto kRepairHisto =
    kernels<RepairHistoKernel>({{"repairhistocomp_1", repairhistocomp_1, kOneArray}});
inline constexpr auto kRepairHistoComp =
    kernels<RepairHistoCompKernel>({{"repairhistocomp_N", repairhistocomp_N, kAnyArrays}});

inline constexpr auto kRepairLists =
    std::tie(kNeedToRepair, kNeedToRepairFixed, kNeedToRepairAny, kRepairHisto, kRepairHistoComp);

}  // namespace qmpic
