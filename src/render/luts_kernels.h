#pragma once

#include <tuple>

#include "core/kernels.h"
#include "qmpic/kernels/luts.h"

namespace qmpic {

// clang-format off
#define K(name) {#name, name}

// Same depth: flat tables, rows. The members of one component take the flat table, too.
inline constexpr auto kApplyFlat = kernels<ApplyLutsKernel>({
    K(applyluts_3x8_lut1),  K(applyluts_4x8_lut1),  K(applyluts_Nx8_lut1),
    K(applyluts_3x16_lut1), K(applyluts_4x16_lut1), K(applyluts_Nx16_lut1)});
inline constexpr auto kApplyRows = kernels<ApplyLutsKernel>({
    K(applyluts_1x8),  K(applyluts_3x8),  K(applyluts_4x8),  K(applyluts_Nx8),
    K(applyluts_1x16), K(applyluts_3x16), K(applyluts_4x16), K(applyluts_Nx16)});
inline constexpr auto kApplyExposed = kernels<ApplyLutsExposedKernel>({
    K(applyluts_3x8_overexp_underexp)});

// Another depth: flat tables, rows.
inline constexpr auto kConvertFlat = kernels<ConvertBitDepthViaLutsKernel>({
    K(convertbitdepthvialuts_1x16_to_1x16),      K(convertbitdepthvialuts_3x16_to_3x16_lut1),
    K(convertbitdepthvialuts_4x16_to_4x16_lut1), K(convertbitdepthvialuts_Nx16_to_Nx16_lut1),
    K(convertbitdepthvialuts_1x16_to_1x8),       K(convertbitdepthvialuts_3x16_to_3x8_lut1),
    K(convertbitdepthvialuts_4x16_to_4x8_lut1),  K(convertbitdepthvialuts_Nx16_to_Nx8_lut1),
    K(convertbitdepthvialuts_1x8_to_1x16),       K(convertbitdepthvialuts_3x8_to_3x16_lut1),
    K(convertbitdepthvialuts_4x8_to_4x16_lut1),  K(convertbitdepthvialuts_Nx8_to_Nx16_lut1)});
inline constexpr auto kConvertRows = kernels<ConvertBitDepthViaLutsKernel>({
    K(convertbitdepthvialuts_3x16_to_3x16),      K(convertbitdepthvialuts_4x16_to_4x16),
    K(convertbitdepthvialuts_Nx16_to_Nx16),      K(convertbitdepthvialuts_3x16_to_3x8),
    K(convertbitdepthvialuts_4x16_to_4x8),       K(convertbitdepthvialuts_Nx16_to_Nx8),
    K(convertbitdepthvialuts_3x8_to_3x16),       K(convertbitdepthvialuts_4x8_to_4x16),
    K(convertbitdepthvialuts_Nx8_to_Nx16)});
inline constexpr auto kConvertExposed = kernels<ConvertBitDepthViaLutsExposedKernel>({
    K(convertbitdepthvialuts_3x16_to_3x8_overexp_underexp)});
inline constexpr auto kConvertFlatOverexposed = kernels<ConvertBitDepthViaLutsOverexposedKernel>({
    K(convertbitdepthvialuts_3x16_to_3x8_lut1_overexp)});

// One source component to 1, 3 or any number of bytes; chosen by the source's storage alone.
inline constexpr auto kComponentLut1To1 = kernels<ComponentLutKernel>({
    K(component_lut1_Nx8_to_1x8), K(component_lut1_Nx16_to_1x8)});
inline constexpr auto kComponentLut1To3 = kernels<ComponentLutKernel>({
    K(component_lut1_Nx8_to_3x8), K(component_lut1_Nx16_to_3x8)});
inline constexpr auto kComponentLut3To3 = kernels<ComponentLutKernel>({
    K(component_lut3_Mx8_to_3x8), K(component_lut3_Mx16_to_3x8)});
inline constexpr auto kComponentLut1ToN = kernels<ComponentLutToNKernel>({
    K(component_lut1_Nx8_to_Nx8), K(component_lut1_Nx16_to_Nx8)});
inline constexpr auto kComponentLutNToN = kernels<ComponentLutToNKernel>({
    K(component_lutN_Mx8_to_Nx8), K(component_lutN_Mx16_to_Nx8)});
inline constexpr auto kComponentLut1Exposed = kernels<ComponentLutExposedKernel>({
    K(component_lut1_Nx8_to_3x8_overexp_underexp),
    K(component_lut1_Nx16_to_3x8_overexp_underexp)});
inline constexpr auto kComponentLut3Exposed = kernels<ComponentLutExposedKernel>({
    K(component_lut3_Mx8_to_3x8_overexp_underexp),
    K(component_lut3_Mx16_to_3x8_overexp_underexp)});

// For callers outside: no entry chooses these.
inline constexpr auto kComponentAdd = kernels<ComponentLutAddKernel>({
    K(component_lut3_Mx8_to_3x8_add), K(component_lut3_Mx16_to_3x8_add)});
inline constexpr auto kComponentAddOverexposed = kernels<ComponentLutAddOverexposedKernel>({
    K(component_lut3_Mx8_to_3x8_add_overexp), K(component_lut3_Mx16_to_3x8_add_overexp)});

// One value to several components: MapValueToComponents names the member that it wants.
inline constexpr auto kMapVia = kernels<MapViaLutsKernel>({
    {"mapvialuts_val8_to_3x8_lut1", mapvialuts_val8_to_3x8_lut1, {{1, 8},  {3, 8}}},
    {"mapvialuts_val8_to_3x8_lut3", mapvialuts_val8_to_3x8_lut3, {{1, 8},  {3, 8}}},
    {"mapvialuts_val16_to_3x8",     mapvialuts_val16_to_3x8,     {{1, 16}, {3, 8}}},
    {"mapvialuts_val16_to_3x16",    mapvialuts_val16_to_3x16,    {{1, 16}, {3, 16}}}});
inline constexpr auto kMapViaToN = kernels<MapViaLutsToNKernel>({
    {"mapvialuts_val8_to_Nx8",   mapvialuts_val8_to_Nx8,   {{1, 8},  {0, 8}}},
    {"mapvialuts_val16_to_Nx16", mapvialuts_val16_to_Nx16, {{1, 16}, {0, 16}}}});

// Tables of constant arithmetic.
inline constexpr auto kCalcByteLut = kernels<CalcByteLutKernel>({K(calcluts_1x8)});
inline constexpr auto kCalcWordLut = kernels<CalcWordLutKernel>({K(calcluts_1x16)});
inline constexpr auto kCalcLutRows = kernels<CalcLutRowsKernel>({
    K(calcluts_Nx8), K(calcluts_Nx16)});
inline constexpr auto kRotateLutRows = kernels<RotateLutRowsKernel>({
    K(calcluts_Nx8_rotate), K(calcluts_Nx16_rotate)});
inline constexpr auto kLimitByteLut = kernels<LimitByteLutKernel>({
    K(min_calcluts_1x8), K(max_calcluts_1x8)});
inline constexpr auto kLimitWordLut = kernels<LimitWordLutKernel>({
    K(min_calcluts_1x16), K(max_calcluts_1x16)});
inline constexpr auto kLimitLutRows = kernels<LimitLutRowsKernel>({
    K(min_calcluts_Nx8), K(min_calcluts_Nx16), K(max_calcluts_Nx8), K(max_calcluts_Nx16)});

#undef K
// clang-format on

static_assert(kApplyFlat.find_stored(1, 8) == applyluts_Nx8_lut1);
static_assert(kApplyRows.find_stored(3, 8) == applyluts_3x8);
static_assert(kApplyRows.find_stored(5, 16) == applyluts_Nx16);
static_assert(kConvertFlat.find_between(1, 16, 8) == convertbitdepthvialuts_1x16_to_1x8);
static_assert(kConvertFlat.find_between(2, 8, 16) == convertbitdepthvialuts_Nx8_to_Nx16_lut1);
static_assert(kConvertRows.find_between(4, 16, 16) == convertbitdepthvialuts_4x16_to_4x16);
static_assert(kConvertRows.find_between(4, 8, 8) == nullptr);
static_assert(kComponentLut3To3.find_stored(5, 16) == component_lut3_Mx16_to_3x8);

inline constexpr auto kLutLists = std::tie(
    kApplyFlat, kApplyRows, kApplyExposed, kConvertFlat, kConvertRows, kConvertExposed,
    kConvertFlatOverexposed, kComponentLut1To1, kComponentLut1To3, kComponentLut3To3,
    kComponentLut1ToN, kComponentLutNToN, kComponentLut1Exposed, kComponentLut3Exposed,
    kComponentAdd, kComponentAddOverexposed, kMapVia, kMapViaToN, kCalcByteLut, kCalcWordLut,
    kCalcLutRows, kRotateLutRows, kLimitByteLut, kLimitWordLut, kLimitLutRows);

}  // namespace qmpic
