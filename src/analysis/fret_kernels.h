#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/fret.h"

namespace qmpic {

// The backgrounds have a type of their own on each path, so that there is a list for each.

// clang-format off
#define K(name, from, to) {#name, name, {from, to}}
#define BYTES  {0, 8}
#define WORDS  {0, 16}
#define FLOATS {0, 32, true}
inline constexpr auto kFretBytes = kernels<FretKernel<unsigned char>>({
    K(fret_8, BYTES, BYTES), K(fret_float, FLOATS, BYTES)});
inline constexpr auto kFretWords = kernels<FretKernel<unsigned short>>({
    K(fret_16, WORDS, BYTES), K(fret_16_to_16, WORDS, WORDS)});
inline constexpr auto kFretEffBytes = kernels<FretEffKernel<unsigned char>>({
    K(fret_eff_8, BYTES, BYTES)});
inline constexpr auto kFretEffWords = kernels<FretEffKernel<unsigned short>>({
    K(fret_eff_16, WORDS, BYTES)});
inline constexpr auto kFretEffFloats = kernels<decltype(fret_eff_float)>({
    K(fret_eff_float, FLOATS, BYTES)});
inline constexpr auto kFretPhotobleach = kernels<FretPhotobleachKernel>({
    K(fret_photobleach_eff_8, BYTES, BYTES), K(fret_photobleach_eff_16, WORDS, BYTES)});
#undef K
#undef BYTES
#undef WORDS
#undef FLOATS
// clang-format on

inline constexpr auto kFretLists = std::tie(kFretBytes, kFretWords, kFretEffBytes, kFretEffWords,
                                            kFretEffFloats, kFretPhotobleach);

}  // namespace qmpic
