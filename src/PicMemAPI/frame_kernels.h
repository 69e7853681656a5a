#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/frame.h"

namespace qmpic {

/// The entry's value has 16 bits; bytes take the low one.
using SetComponentKernel = SetComponent16Kernel;
inline int set_low_byte(void* dst, uint32_t components, uint32_t stride, uint32_t index,
                        unsigned short value, uint32_t width, uint64_t size) {
    return setcomponent_Nx8(dst, components, stride, index, static_cast<unsigned char>(value),
                            width, size);
}

// clang-format off
#define K(name) {#name, name}

// Lines of bytes: any components, any depth. No entry looks for them.
inline constexpr Layouts kLines{};
inline constexpr auto kCopy         = kernels<CopyKernel>({{"copy", copy, kLines}});
inline constexpr auto kCopyParallel = kernels<CopyParallelKernel>({{"copyparallel", copyparallel, kLines}});
inline constexpr auto kSet          = kernels<SetKernel>({{"set", set, kLines}});
inline constexpr auto kCompare      = kernels<CompareKernel>({{"compare", compare, kLines}});

inline constexpr auto kSetValue = kernels<SetValueKernel>({K(set_Nx8), K(set_Nx16)});

inline constexpr auto kSetComponentValue = kernels<SetComponentKernel>({
    {"setcomponent_Nx8", set_low_byte}, K(setcomponent_Nx16)});

inline constexpr auto kChangeValue = kernels<ChangeValueKernel>({K(change_Nx8), K(change_Nx16)});

inline constexpr auto kCompareComponent = kernels<CompareComponentKernel>({
    K(comparecomponent_Nx8_to_Nx8), K(comparecomponent_Nx16_to_Nx16)});

#undef K
// clang-format on

static_assert(kSetValue.find(3, 8) == set_Nx8);
static_assert(kSetValue.find(1, 9) == set_Nx16);
static_assert(kSetValue.find(1, 7) == nullptr && kSetValue.find(1, 17) == nullptr);
static_assert(kSetComponentValue.find(3, 8) == set_low_byte);
static_assert(kChangeValue.find(4, 12) == change_Nx16);
static_assert(kCompareComponent.find(0, 16) == comparecomponent_Nx16_to_Nx16);

inline constexpr auto kFrameLists = std::tie(kCopy, kCopyParallel, kSet, kCompare, kSetValue,
                                             kSetComponentValue, kChangeValue, kCompareComponent);

}  // namespace qmpic
