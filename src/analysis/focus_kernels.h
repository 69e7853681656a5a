#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/focus.h"

namespace qmpic {

/// What any measure may be told. Kernels differ in which of these they take, and in what order; the
/// lists have all of them in one type.
struct FocusCall {
    double* result;
    int component;
    const void* data;
    uint32_t stride, components, bpc, step_x, step_y, level_low, level_high, width;
    uint64_t size;
    CQmPicMemAPI_Base::EQmFocusCriterium criterium;
};
using FocusKernel = int(const FocusCall& c);

// clang-format off
#define FIRST c.result, c.component, c.data, c.stride
#define AREA c.width, c.size
#define K(name, ...) {#name, [](const FocusCall& c) { return name(__VA_ARGS__); }}

#define GRADIENT_8(name)   K(name, FIRST, c.step_x, c.step_y, AREA, c.criterium)
#define GRADIENT_16(name)  K(name, FIRST, c.step_x, c.step_y, c.bpc, AREA, c.criterium)
#define GRADIENT_N8(name)  K(name, c.result, c.component, c.data, c.components, c.stride, \
                             c.step_x, c.step_y, AREA, c.criterium)
#define GRADIENT_N16(name) K(name, c.result, c.component, c.data, c.components, c.stride, \
                             c.step_x, c.step_y, c.bpc, AREA, c.criterium)
inline constexpr auto kGradientFocus = kernels<FocusKernel>({
    GRADIENT_8(getfocuscriterium_1x8),      GRADIENT_8(getfocuscriterium_3x8),
    GRADIENT_N8(getfocuscriterium_Nx8),
    GRADIENT_16(getfocuscriterium_1x16),    GRADIENT_16(getfocuscriterium_3x16),
    GRADIENT_N16(getfocuscriterium_Nx16),
    GRADIENT_16(getfocuscriterium_1x9_15),  GRADIENT_16(getfocuscriterium_3x9_15),
    GRADIENT_N16(getfocuscriterium_Nx9_15),
    {"getfocuscriterium_float",
     [](const FocusCall& c) {
         return getfocuscriterium_float(FIRST, c.step_x, c.step_y, c.bpc, AREA, c.criterium);
     },
     {{1, 32, true}, {1, 32, true}}}});

inline constexpr auto kMultiScaleFocus = kernels<FocusKernel>({
    K(getfocus_ms_1x8,  FIRST, AREA), K(getfocus_ms_3x8,  FIRST, AREA),
    K(getfocus_ms_Nx8,  FIRST, c.components, AREA),
    K(getfocus_ms_1x16, FIRST, AREA), K(getfocus_ms_3x16, FIRST, AREA),
    K(getfocus_ms_Nx16, FIRST, c.components, AREA)});

inline constexpr auto kMaxIntFocus = kernels<FocusKernel>({
    K(getfocus_maxint_1x8,  FIRST, c.step_y, AREA),
    K(getfocus_maxint_3x8,  FIRST, c.step_y, AREA),
    K(getfocus_maxint_Nx8,  FIRST, c.components, c.step_y, AREA),
    K(getfocus_maxint_1x16, FIRST, c.bpc, c.step_y, AREA),
    K(getfocus_maxint_3x16, FIRST, c.bpc, c.step_y, AREA),
    K(getfocus_maxint_Nx16, FIRST, c.components, c.bpc, c.step_y, AREA)});

#define LEVELS c.level_low, c.level_high
#define ANY_COUNT c.result, c.component, c.components, c.data, c.stride
inline constexpr auto kImmerkaerFocus = kernels<FocusKernel>({
    K(getfocus_immerkaer_1x8,  FIRST, LEVELS, AREA),
    K(getfocus_immerkaer_3x8,  FIRST, LEVELS, AREA),
    K(getfocus_immerkaer_Nx8,  ANY_COUNT, LEVELS, AREA),
    K(getfocus_immerkaer_1x16, FIRST, LEVELS, AREA),
    K(getfocus_immerkaer_3x16, FIRST, LEVELS, AREA),
    K(getfocus_immerkaer_Nx16, ANY_COUNT, LEVELS, AREA)});

#undef FIRST
#undef AREA
#undef LEVELS
#undef ANY_COUNT
#undef K
#undef GRADIENT_8
#undef GRADIENT_16
#undef GRADIENT_N8
#undef GRADIENT_N16
// clang-format on

/// Vollath's F4. It has no exported kernel.
int focus_by_autocorrelation_8(const FocusCall& c);
int focus_by_autocorrelation_16(const FocusCall& c);

/// What the name of a gradient kernel calls its bits, of which 9 are 9 to 15.
constexpr uint32_t bits_of_gradient(uint32_t bpc) {
    return bpc >= 9 && bpc <= 15 ? 9 : bpc == 8 || bpc == 16 || bpc == 32 ? bpc : 0;
}
/// Storage bits for the other measures: bytes below 8, too.
constexpr uint32_t bits_of_measure(uint32_t bpc) { return bpc <= 8 ? 8 : bpc <= 16 ? 16 : 0; }

static_assert(kGradientFocus.find_stored(4, bits_of_gradient(15)) ==
              kGradientFocus.find_stored(0, 9));
static_assert(!kGradientFocus.find_stored(3, bits_of_gradient(32)));
static_assert(!kGradientFocus.find_stored(1, bits_of_gradient(7)));
static_assert(kMaxIntFocus.find_stored(5, bits_of_measure(0)) == kMaxIntFocus.find_stored(0, 8));
static_assert(!kMaxIntFocus.find_stored(1, bits_of_measure(17)));

inline constexpr auto kFocusLists =
    std::tie(kGradientFocus, kMultiScaleFocus, kMaxIntFocus, kImmerkaerFocus);

}  // namespace qmpic
