#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// @file
/// Repair of combs: an integer gain leaves histograms in which only every second bin, or fewer, is
/// populated. The empty bins in between say nothing about the sample, and are filled for display.
///
/// Arrays are of 2^uiBits bins of `uiBinBytes` bytes each, 4 or 8, at any address. Everything runs
/// in the calling thread.

/// Is the array a comb? It is if no two neighbouring bins are populated, and at least 192 bins are:
/// fewer are those of a picture with few values, not of one with a gain.
///
/// @param pbFlag becomes true or false
/// @return 0; -9 for another number of bytes, nothing is written then
using NeedToRepairKernel = int(bool* pbFlag, const void* pBins, uint32_t uiBinBytes,
                               uint32_t uiBits);
QM_API NeedToRepairKernel needtorepairhistogram_1;

/// The same for 3 and 4 arrays, `ppComp[c]`, each with its flag, `pbComp[c]`.
using NeedToRepairFixedKernel = int(bool* pbComp, void** ppComp, uint32_t uiBinBytes,
                                    uint32_t uiBits);
QM_API NeedToRepairFixedKernel needtorepairhistogramint_3, needtorepairhistogramint_4;

/// The same for any number of arrays.
using NeedToRepairAnyKernel = int(bool* pbComp, void** ppComp, uint32_t uiBinBytes,
                                  uint32_t uiComponents, uint32_t uiBits);
QM_API NeedToRepairAnyKernel needtorepairhistogramint_N;

/// Fills the empty bins between populated ones with a straight line, rounded: between bin 10 with
/// 100 and bin 13 with 40, bins 11 and 12 get 80 and 60. Populated bins stay, and so do those
/// before the first and behind the last of them. So the total grows: what is repaired is for
/// showing, not for counting.
///
/// The difference of two counts is signed and has the width of a bin: from 1 to 0x90000001 a line
/// of 4-byte bins falls, and what is below 0 there wraps.
///
/// @return 0; -9 for another number of bytes than 4 or 8, nothing is written then
using RepairHistoKernel = int(void* pBins, uint32_t uiBinBytes, uint32_t uiBits);
QM_API RepairHistoKernel repairhistocomp_1;

/// The same for array `uiComp` of several.
using RepairHistoCompKernel = int(void** ppComp, uint32_t uiComp, uint32_t uiBinBytes,
                                  uint32_t uiBits);
QM_API RepairHistoCompKernel repairhistocomp_N;
