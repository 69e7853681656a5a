#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/float.h"

namespace qmpic {

// clang-format off
#define K(name) {#name, name}

// There is one format: no entry looks for these.
inline constexpr Layouts kFloats{{0, 32, true}, {0, 32, true}};

inline constexpr auto kSetFloatValue = kernels<SetFloatValueKernel>({K(set_Nxfloat)});
inline constexpr auto kSetMonoFloat = kernels<SetMonoFloatKernel>({
    {"set_mono_float", set_mono_float, kFloats}});
inline constexpr auto kSetMonoFloatSse = kernels<SetMonoFloatSseKernel>({
    {"set_mono_float_sse", set_mono_float_sse, kFloats}});
inline constexpr auto kSetFloatComponent = kernels<SetFloatComponentKernel>({
    K(setcomponent_Nxfloat)});
inline constexpr auto kCopyFloat = kernels<CopyFloatKernel>({{"copyfloat", copyfloat, kFloats}});
inline constexpr auto kCopyFloatComponent = kernels<CopyFloatComponentKernel>({
    K(copycomponent_Nxfloat_to_Nxfloat)});

#undef K
// clang-format on

inline constexpr auto kFloatLists = std::tie(kSetFloatValue, kSetMonoFloat, kSetMonoFloatSse,
                                             kSetFloatComponent, kCopyFloat, kCopyFloatComponent);

}  // namespace qmpic
