#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/composition.h"

namespace qmpic {

/// A call of any of the kernels, which take different parts of it in different orders.
struct CompositionCall {
    void* dst;
    uint32_t dst_stride;
    const void* src;
    uint32_t components, bpc, src_stride;
    const void* tables;
    const CQmRangeMask& mask;
    const void* over;
    const uint32_t* thresholds;
    const void* under;
    uint32_t width;
    uint64_t size;
    double gain = 0;
    CQmRangeMask added = {};
};
using CompositionKernel = int(const CompositionCall&);

// One function for each order of arguments, named like the macros in composition.cpp.
// clang-format off
#define CALLS(order, Kernel, ...) \
    template <Kernel* kernel> int order(const CompositionCall& c) { \
        return kernel(c.dst, c.dst_stride, c.src, __VA_ARGS__, c.width, c.size); \
    }
#define OVER c.over, c.thresholds
#define MARKS OVER, c.under, 0
#define ADDED c.gain, c.added
CALLS(one_8,          MapComp1x8Kernel,         c.src_stride, c.tables)
CALLS(one_16,         MapComp1x16To8Kernel,     c.bpc, c.src_stride, c.tables)
CALLS(one_16_to_16,   MapComp1x16To16Kernel,    c.src_stride, c.bpc, c.tables)
CALLS(some_8,         MapComp8Kernel,           c.src_stride, c.tables, c.mask)
CALLS(some_16,        MapComp16To8Kernel,       c.bpc, c.src_stride, c.tables, c.mask)
CALLS(some_16_to_16,  MapComp16To16Kernel,      c.src_stride, c.bpc, c.tables, c.mask)
CALLS(any_8,          MapCompNx8Kernel,         c.components, c.src_stride, c.tables, c.mask)
CALLS(any_16,         MapCompNx16To8Kernel,     c.components, c.bpc, c.src_stride, c.tables, c.mask)
CALLS(any_16_to_16,   MapCompNx16To16Kernel,    c.components, c.src_stride, c.bpc, c.tables, c.mask)
CALLS(one_8_marks,    MapComp1x8MarksKernel,    c.src_stride, c.tables, MARKS)
CALLS(one_16_marks,   MapComp1x16MarksKernel,   c.bpc, c.src_stride, c.tables, MARKS)
CALLS(some_8_marks,   MapComp8MarksKernel,      c.src_stride, c.tables, c.mask, MARKS)
CALLS(some_16_marks,  MapComp16MarksKernel,     c.bpc, c.src_stride, c.tables, c.mask, MARKS)
CALLS(any_8_marks,    MapCompNx8MarksKernel,    c.components, c.src_stride, c.tables, c.mask, MARKS)
CALLS(any_16_marks,   MapCompNx16MarksKernel,   c.components, c.bpc, c.src_stride, c.tables, c.mask, MARKS)
CALLS(some_8_over,    MapComp8OverKernel,       c.src_stride, c.tables, c.mask, OVER)
CALLS(some_16_over,   MapComp16OverKernel,      c.bpc, c.src_stride, c.tables, c.mask, OVER)
CALLS(any_8_over,     MapCompNx8OverKernel,     c.components, c.src_stride, c.tables, c.mask, OVER)
CALLS(any_16_over,    MapCompNx16OverKernel,    c.components, c.bpc, c.src_stride, c.tables, c.mask, OVER)
CALLS(any_8_add,      MapCompNx8AddKernel,      c.components, c.src_stride, c.tables, c.mask, ADDED)
CALLS(any_16_add,     MapCompNx16AddKernel,     c.components, c.bpc, c.src_stride, c.tables, c.mask, ADDED)
CALLS(any_8_add_over, MapCompNx8AddOverKernel,  c.components, c.src_stride, c.tables, c.mask, ADDED, OVER)
CALLS(any_16_add_over,MapCompNx16AddOverKernel, c.components, c.bpc, c.src_stride, c.tables, c.mask, ADDED, OVER)
#undef CALLS
#undef OVER
#undef MARKS
#undef ADDED

#define K(name, order) {#name, order<name>}

inline constexpr auto kMapComp = kernels<CompositionKernel>({
    K(mapcomp_1x8_3x8,   one_8),        K(mapcomp_2x8_3x8,   some_8),
    K(mapcomp_3x8_3x8,   some_8),       K(mapcomp_4x8_3x8,   some_8),
    K(mapcomp_5x8_3x8,   some_8),       K(mapcomp_6x8_3x8,   some_8),
    K(mapcomp_Nx8_3x8,   any_8),
    K(mapcomp_1x16_3x8,  one_16),       K(mapcomp_2x16_3x8,  some_16),
    K(mapcomp_3x16_3x8,  some_16),      K(mapcomp_4x16_3x8,  some_16),
    K(mapcomp_5x16_3x8,  some_16),      K(mapcomp_6x16_3x8,  some_16),
    K(mapcomp_Nx16_3x8,  any_16),
    K(mapcomp_1x16_3x16, one_16_to_16), K(mapcomp_2x16_3x16, some_16_to_16),
    K(mapcomp_3x16_3x16, some_16_to_16),K(mapcomp_4x16_3x16, some_16_to_16),
    K(mapcomp_5x16_3x16, some_16_to_16),K(mapcomp_6x16_3x16, some_16_to_16),
    K(mapcomp_Nx16_3x16, any_16_to_16)});

inline constexpr auto kMapCompMarks = kernels<CompositionKernel>({
    K(mapcomp_1x8_3x8_overexp_underexp,  one_8_marks),
    K(mapcomp_2x8_3x8_overexp_underexp,  some_8_marks),
    K(mapcomp_3x8_3x8_overexp_underexp,  some_8_marks),
    K(mapcomp_4x8_3x8_overexp_underexp,  some_8_marks),
    K(mapcomp_5x8_3x8_overexp_underexp,  some_8_marks),
    K(mapcomp_6x8_3x8_overexp_underexp,  some_8_marks),
    K(mapcomp_Nx8_3x8_overexp_underexp,  any_8_marks),
    K(mapcomp_1x16_3x8_overexp_underexp, one_16_marks),
    K(mapcomp_2x16_3x8_overexp_underexp, some_16_marks),
    K(mapcomp_3x16_3x8_overexp_underexp, some_16_marks),
    K(mapcomp_4x16_3x8_overexp_underexp, some_16_marks),
    K(mapcomp_5x16_3x8_overexp_underexp, some_16_marks),
    K(mapcomp_6x16_3x8_overexp_underexp, some_16_marks),
    K(mapcomp_Nx16_3x8_overexp_underexp, any_16_marks)});

// No entry reaches what follows, but for the last of all.
inline constexpr auto kMapCompOver = kernels<CompositionKernel>({
    K(mapcomp_2x8_3x8_overexp,  some_8_over),  K(mapcomp_Nx8_3x8_overexp,  any_8_over),
    K(mapcomp_2x16_3x8_overexp, some_16_over), K(mapcomp_Nx16_3x8_overexp, any_16_over)});

inline constexpr auto kMapCompAdd = kernels<CompositionKernel>({
    K(mapcomp_Nx8_3x8_add,          any_8_add),      K(mapcomp_Nx16_3x8_add,         any_16_add),
    K(mapcomp_Nx8_3x8_add_overexp,  any_8_add_over), K(mapcomp_Nx16_3x8_add_overexp, any_16_add_over)});

inline constexpr auto kMapCompOthers = kernels<CompositionKernel>({
    K(mapcomp_Nx8_Mx8, any_8),
    {"mapcomp_Iter1x8_3x8", any_8<mapcomp_Iter1x8_3x8>, {{1, 8}, {3, 8}}}});

#undef K
// clang-format on

static_assert(kMapComp.find_between(3, 8, 8) == some_8<mapcomp_3x8_3x8>);
static_assert(kMapComp.find_between(1, 16, 8) == one_16<mapcomp_1x16_3x8>);
static_assert(kMapComp.find_between(7, 16, 8) == any_16<mapcomp_Nx16_3x8>);
static_assert(kMapComp.find_between(6, 16, 16) == some_16_to_16<mapcomp_6x16_3x16>);
static_assert(kMapComp.find_between(3, 8, 16) == nullptr);
static_assert(kMapCompMarks.find_between(2, 16, 8) ==
              some_16_marks<mapcomp_2x16_3x8_overexp_underexp>);

inline constexpr auto kCompositionLists =
    std::tie(kMapComp, kMapCompMarks, kMapCompOver, kMapCompAdd, kMapCompOthers);

}  // namespace qmpic
