#pragma once

#include "stretch/windows.h"

/// What the levels offer.

namespace qmpic {

FilterColumns<uint8_t> filter_columns_sse2, filter_columns_avx2, filter_columns_avx512;
FilterColumns<uint16_t> filter_columns_sse2, filter_columns_avx2, filter_columns_avx512;

/// For tables of such shapes: windows of 16 bytes, two of them a vector, that make 1 to 4 samples,
/// and windows of 64 bytes that make 16.
template <class T>
FilterWindows* windows_avx2(uint32_t outputs, uint32_t pairs, bool shared);
template <class T>
FilterWindows* windows_avx512vbmi(uint32_t pairs, bool shared);

}  // namespace qmpic
