#pragma once

#include <span>

#include "stretch/windows.h"

/// What the levels offer.

namespace qmpic {

FilterColumns<uint8_t> filter_columns_sse2, filter_columns_avx2, filter_columns_avx512;
FilterColumns<uint16_t> filter_columns_sse2, filter_columns_avx2, filter_columns_avx512;

/// Ways for tables of so many pairs of taps, the fastest first.
template <class T>
FilterWindows* windows_avx2(uint32_t outputs, uint32_t pairs, bool shared);
template <class T>
FilterWindows* windows_avx512vbmi(uint32_t pairs, bool shared);

}  // namespace qmpic
