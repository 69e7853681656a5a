#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/grey.h"

namespace qmpic {

// Where the kernels of a family differ in an argument's type, the list has the wider type and a
// function that narrows.
inline int add_low_byte(void* dst, uint32_t dst_stride, const void* src, uint32_t src_stride,
                        uint16_t value, uint32_t width, uint64_t size) {
    return convert_3x8_to_4x8(dst, dst_stride, src, src_stride, static_cast<uint8_t>(value), width,
                              size);
}

// clang-format off
#define K(name) {#name, name}

inline constexpr auto kGreyToThree = kernels<ConvertPixelsKernel>({
    K(convert_1x8_to_3x8), K(convert_1x16_to_3x16)});
inline constexpr auto kGreyToFour = kernels<ConvertPixelsKernel>({
    K(convert_1x8_to_4x8), K(convert_1x16_to_4x16)});
inline constexpr auto kReplicate = kernels<ReplicateKernel>({
    K(convert_1x8_to_Nx8), K(convert_1x16_to_Nx16)});

inline constexpr auto kAddFourth = kernels<AddFourthKernel<uint16_t>>({
    {"convert_3x8_to_4x8", add_low_byte}, K(convert_3x16_to_4x16)});
inline constexpr auto kDropFourth = kernels<ConvertPixelsKernel>({
    K(convert_4x8_to_3x8), K(convert_4x16_to_3x16)});

inline constexpr auto kGrey = kernels<GreyKernel>({
    K(convert_3x8_to_1x8), K(convert_3x16_to_1x16), K(convert_4x8_to_1x8),
    K(convert_4x16_to_1x16)});
inline constexpr auto kGreyOfAny = kernels<GreyNKernel>({
    K(convert_Nx8_to_1x8), K(convert_Nx16_to_1x16)});

#undef K
// clang-format on

static_assert(kGreyToThree.find(1, 8) == convert_1x8_to_3x8);
static_assert(kReplicate.find(1, 12) == convert_1x16_to_Nx16);
static_assert(kAddFourth.find(3, 12) == convert_3x16_to_4x16);
static_assert(kDropFourth.find(4, 12) == convert_4x16_to_3x16 && !kDropFourth.find(3, 12));

inline constexpr auto kGreyLists =
    std::tie(kGreyToThree, kGreyToFour, kReplicate, kAddFourth, kDropFourth, kGrey, kGreyOfAny);

}  // namespace qmpic
