#pragma once

#include <cstdint>

#include "core/rows.h"

/// Samples that lie apart, written many at a time under masks: what lies between them is neither
/// read nor written.

namespace qmpic {

/// May the two below be called with this step from one sample to the next?
bool has_masks_for(uint64_t step) noexcept;

/// d[x * step] = value
void fill_apart(Sample<uint8_t>* d, uint64_t step, uint64_t count, uint8_t value);
void fill_apart(Sample<uint16_t>* d, uint64_t step, uint64_t count, uint16_t value);
/// d[x * step] = s[x]
void store_apart(Sample<uint8_t>* d, uint64_t step, uint64_t count, const Sample<uint8_t>* s);
void store_apart(Sample<uint16_t>* d, uint64_t step, uint64_t count, const Sample<uint16_t>* s);

}  // namespace qmpic
