#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "qmpic/export.h"

class CQmLiteVariantR;
class CQmLiteVariantW;
class CQmVariant;

/// How a ratio picture is made of two components.
struct QM_API SQmRatioDesc {
    std::uint8_t uiNumer;         ///< index of the numerator's component
    std::uint8_t uiDenom;         ///< index of the denominator's component
    std::uint16_t uiNumOffset;    ///< background subtracted from the numerator
    std::uint16_t uiDenOffset;    ///< background subtracted from the denominator
    std::uint8_t bReserved;       ///< 0
    std::uint32_t uiReserved;     ///< 0
    std::uint64_t ui64Reserved1;  ///< 0
    std::uint64_t ui64Reserved2;  ///< 0
    double dMin;                  ///< ratio shown as the first colour of the scale
    double dMax;                  ///< ratio shown as the last colour of the scale

    SQmRatioDesc();  ///< all 0, dMax 2.0
    SQmRatioDesc(const SQmRatioDesc& other) = default;
    SQmRatioDesc& operator=(const SQmRatioDesc& other);
    SQmRatioDesc& operator=(SQmRatioDesc&& other) noexcept;

    /// Makes `v` a list of the fields but for the reserved ones, see docs/stored-form.md. 0; -3.
    static int SaveToVariant(CQmVariant& v, const SQmRatioDesc& desc);
    /// What is absent stays as it was. 0; -3.
    static int LoadFromVariant(SQmRatioDesc& desc, const CQmVariant& v);
    /// Writes a level "RatioDesc". 0; -9 when the writer cannot open it; -3.
    static int SaveToLiteVariant(CQmLiteVariantW& w, const SQmRatioDesc& desc);
    /// An absent unsigned number becomes 0, an absent double stays. 0; -9 without the level.
    static int LoadFromLiteVariant(SQmRatioDesc& desc, CQmLiteVariantR& r);
};

static_assert(std::is_standard_layout_v<SQmRatioDesc> && sizeof(SQmRatioDesc) == 48);
static_assert(offsetof(SQmRatioDesc, bReserved) == 6 && offsetof(SQmRatioDesc, dMin) == 32);
