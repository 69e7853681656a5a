#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/bit_depth.h"

namespace qmpic {

// Kernels of one and three components know their count. The list has the type of the others, so
// that one call reaches all.
template <ChangeBitDepthKernel kernel>
int change_known_count(void* dst, uint32_t dst_stride, const void* src, uint32_t src_stride,
                       uint32_t src_bpc, uint32_t /*components*/, uint32_t width, uint64_t size) {
    return kernel(dst, dst_stride, src, src_stride, src_bpc, width, size);
}
using LinFuncKernel = ConvertLinFuncToWordsMKernel;
template <ConvertLinFuncToBytesKernel kernel>
int bytes_of_known_count(void* dst, uint32_t dst_stride, uint32_t /*dst_bpc*/, const void* src,
                         uint32_t src_stride, const SQmBpcLinFunc* functions,
                         uint32_t /*components*/, uint32_t width, uint64_t size) {
    return kernel(dst, dst_stride, src, src_stride, functions, width, size);
}
template <ConvertLinFuncToBytesMKernel kernel>
int bytes_of_any_count(void* dst, uint32_t dst_stride, uint32_t /*dst_bpc*/, const void* src,
                       uint32_t src_stride, const SQmBpcLinFunc* functions, uint32_t components,
                       uint32_t width, uint64_t size) {
    return kernel(dst, dst_stride, src, src_stride, functions, components, width, size);
}
template <ConvertLinFuncToWordsKernel kernel>
int words_of_known_count(void* dst, uint32_t dst_stride, uint32_t dst_bpc, const void* src,
                         uint32_t src_stride, const SQmBpcLinFunc* functions,
                         uint32_t /*components*/, uint32_t width, uint64_t size) {
    return kernel(dst, dst_stride, dst_bpc, src, src_stride, functions, width, size);
}

// clang-format off
#define K(name) {#name, name}
#define ADAPTED(name, how) {#name, how<name>}

inline constexpr auto kChangeBitDepth = kernels<ChangeBitDepthNKernel>({
    ADAPTED(changebitdepth_1xN_to_1x08, change_known_count),
    ADAPTED(changebitdepth_1xN_to_1x16, change_known_count),
    ADAPTED(changebitdepth_1xN_to_1x32, change_known_count),
    ADAPTED(changebitdepth_3xN_to_3x08, change_known_count),
    ADAPTED(changebitdepth_3xN_to_3x16, change_known_count),
    ADAPTED(changebitdepth_3xN_to_3x32, change_known_count),
    K(changebitdepth_NxM_to_Nx08), K(changebitdepth_NxM_to_Nx16), K(changebitdepth_NxM_to_Nx32)});

inline constexpr auto kConvertToWords = kernels<ConvertToWordsKernel>({K(convert_Nx8_to_Nx16)});
inline constexpr auto kConvertToBytes = kernels<ConvertToBytesKernel>({K(convert_Nx16_to_Nx8)});
inline constexpr auto kConvertWords = kernels<ConvertBitDepthKernel>({K(convert_Nx16_to_Nx16)});
inline constexpr auto kShift = kernels<ShiftKernel>({K(_shift_Nx16_to_Nx16)});

inline constexpr auto kConvertComponent = kernels<ConvertComponentKernel>({
    {"convertcomponent_8_to_8",   convertcomponent_8_to_8,   {{0, 8},  {0, 8}}},
    {"convertcomponent_8_to_16",  convertcomponent_8_to_16,  {{0, 8},  {0, 16}}},
    {"convertcomponent_16_to_8",  convertcomponent_16_to_8,  {{0, 16}, {0, 8}}},
    {"convertcomponent_16_to_16", convertcomponent_16_to_16, {{0, 16}, {0, 16}}}});

inline constexpr auto kLinFunc = kernels<LinFuncKernel>({
    ADAPTED(convertbitdepthvialinfunc_1x32_to_1x8,  bytes_of_known_count),
    ADAPTED(convertbitdepthvialinfunc_3x32_to_3x8,  bytes_of_known_count),
    ADAPTED(convertbitdepthvialinfunc_Mx32_to_Mx8,  bytes_of_any_count),
    ADAPTED(convertbitdepthvialinfunc_1x32_to_1x16, words_of_known_count),
    ADAPTED(convertbitdepthvialinfunc_3x32_to_3x16, words_of_known_count),
    K(convertbitdepthvialinfunc_Mx32_to_Mx16)});

#undef ADAPTED
#undef K
// clang-format on

static_assert(kChangeBitDepth.find_between(4, 0, 8) == changebitdepth_NxM_to_Nx08);
static_assert(kChangeBitDepth.find_between(1, 0, 32) ==
              change_known_count<changebitdepth_1xN_to_1x32>);
static_assert(kConvertComponent.find_between(0, 16, 8) == convertcomponent_16_to_8);
static_assert(kLinFunc.find_between(4, 32, 16) == convertbitdepthvialinfunc_Mx32_to_Mx16);
static_assert(kLinFunc.find_between(3, 32, 8) ==
              bytes_of_known_count<convertbitdepthvialinfunc_3x32_to_3x8>);

inline constexpr auto kBitDepthLists = std::tie(kChangeBitDepth, kConvertToWords, kConvertToBytes,
                                                kConvertWords, kShift, kConvertComponent, kLinFunc);

}  // namespace qmpic
