#pragma once

#include <array>
#include <cstdint>

#include "core/rows.h"

/// Rows of grey and colour by AVX-512, for the kernels whose compiled loops are far from what
/// memory allows: the compiler takes three times the shuffles. To be called where that level runs.

namespace qmpic::avx512 {

/// Pixels of three get `value` as their fourth.
void add_fourth(Sample<uint8_t>* d, const Sample<uint8_t>* s, uint64_t width, uint8_t value);
void add_fourth(Sample<uint16_t>* d, const Sample<uint16_t>* s, uint64_t width, uint16_t value);

/// (c0 + c1 + c2 + 1) / 3.
void mean_of_three(Sample<uint8_t>* d, const Sample<uint8_t>* s, uint64_t width);

/// The sum of weight * value / F, F being the greatest value of a sample.
void weigh(Sample<uint8_t>* d, const Sample<uint8_t>* s, uint64_t width,
           const std::array<uint8_t, 3>& weights);
void weigh(Sample<uint16_t>* d, const Sample<uint16_t>* s, uint64_t width,
           const std::array<uint16_t, 3>& weights);
void weigh(Sample<uint8_t>* d, const Sample<uint8_t>* s, uint64_t width,
           const std::array<uint8_t, 4>& weights);
void weigh(Sample<uint16_t>* d, const Sample<uint16_t>* s, uint64_t width,
           const std::array<uint16_t, 4>& weights);

}  // namespace qmpic::avx512
