#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/binary.h"

namespace qmpic {

// clang-format off
#define K(name) {#name, name}

inline constexpr auto kPack = kernels<PackKernel>({
    K(pack_1x8_to_bin), K(pack_1x16_to_bin), K(pack_3x8_to_bin),
    K(pack_3x16_to_bin), K(pack_4x8_to_bin), K(pack_4x16_to_bin)});
inline constexpr auto kPackAny = kernels<PackNKernel>({
    K(pack_Nx8_to_bin), K(pack_Nx16_to_bin)});

inline constexpr auto kUnpack = kernels<UnpackKernel>({
    K(unpack_bin_to_1x8), K(unpack_bin_to_1x16), K(unpack_bin_to_1x32), K(unpack_bin_to_3x8),
    K(unpack_bin_to_3x16), K(unpack_bin_to_4x8), K(unpack_bin_to_4x16)});
inline constexpr auto kUnpackAny = kernels<UnpackNKernel>({
    K(unpack_bin_to_Nx8), K(unpack_bin_to_Nx16)});

inline constexpr auto kUnpackMt = kernels<UnpackKernel>({
    K(unpack_bin_to_1x8_mt), K(unpack_bin_to_1x16_mt), K(unpack_bin_to_1x32_mt),
    K(unpack_bin_to_3x8_mt), K(unpack_bin_to_3x16_mt), K(unpack_bin_to_4x8_mt),
    K(unpack_bin_to_4x16_mt)});
inline constexpr auto kUnpackAnyMt = kernels<UnpackNKernel>({
    K(unpack_bin_to_Nx8_mt), K(unpack_bin_to_Nx16_mt)});

#undef K
// clang-format on

static_assert(kPack.find(4, 12) == pack_4x16_to_bin && !kPack.find(2, 8) && !kPack.find(1, 17));
static_assert(kPackAny.find(2, 8) == pack_Nx8_to_bin);
static_assert(kUnpack.find(1, 24) == unpack_bin_to_1x32 && !kUnpack.find(3, 24));
static_assert(kUnpackMt.find(3, 8) == unpack_bin_to_3x8_mt);
static_assert(kUnpackAnyMt.find(5, 9) == unpack_bin_to_Nx16_mt);

inline constexpr auto kBinaryLists =
    std::tie(kPack, kPackAny, kUnpack, kUnpackAny, kUnpackMt, kUnpackAnyMt);

}  // namespace qmpic
