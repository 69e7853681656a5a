#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/histogram2d.h"

namespace qmpic {

// clang-format off
// Names say the storage and nothing of components.
inline constexpr Layouts kAnyBytes{{0, 8}, {0, 8}}, kAnyWords{{0, 16}, {0, 16}};
inline constexpr auto kHistogram2D = kernels<Histogram2DKernel>({
    {"gethistogram2d_8",  gethistogram2d_8,  kAnyBytes},
    {"gethistogram2d_16", gethistogram2d_16, kAnyWords}});
inline constexpr auto kHistogram2DUnderMask = kernels<Histogram2DUnderMaskKernel>({
    {"gethistogram2d_8_under_mask",  gethistogram2d_8_under_mask,  kAnyBytes},
    {"gethistogram2d_16_under_mask", gethistogram2d_16_under_mask, kAnyWords}});
// clang-format on

static_assert(kHistogram2D.find_stored(3, 8) == gethistogram2d_8);
static_assert(kHistogram2D.find_stored(1, 16) == gethistogram2d_16);
static_assert(kHistogram2DUnderMask.find_stored(2, 16) == gethistogram2d_16_under_mask);

inline constexpr auto kHistogram2DLists = std::tie(kHistogram2D, kHistogram2DUnderMask);

}  // namespace qmpic
