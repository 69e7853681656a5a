#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "qmpic/export.h"
#include "qmpic/system/RangeMask.h"

/// A set of look-up tables: for one picture the whole mapping from sample values to destination
/// values or colours, for one or many components.
class QM_API SQmLut {
  public:
    /// How the spectral renderers compute one component instead of looking it up.
    struct SQmParam {
        double dOffset;         ///< added to the sample first: the negated black level
        double dGain;           ///< multiplier
        double dGamma;          ///< gamma of the picture
        std::uint32_t uiColor;  ///< colour reference, red in the low byte

        QM_API SQmParam& operator=(const SQmParam& other);
        QM_API SQmParam& operator=(SQmParam&& other);
    };

    void* pLuts;                   ///< root of the tables: see the shapes
    std::uint8_t ucSrcBpc;         ///< each table has 2^ucSrcBpc entries; at most 16
    std::uint8_t ucComponents;     ///< tables, one for each source component
    std::uint8_t ucDstBpc;         ///< bits of a cell
    std::uint8_t ucDstComponents;  ///< cells of an entry: 1, or 3 (blue, green, red) for a colour
    CQmRangeMask rmComponents;     ///< the components that take part
    std::uint32_t uiReserved;
    std::uint16_t usReserved;
    void* pOverExpColor;           ///< colours of over-exposed samples, or null
    void* pUnderExpColor;          ///< colours of under-exposed samples, or null
    std::uint32_t* pOverExpValue;  ///< a threshold a component; null: the top value
    SQmParam* pParams;             ///< ucComponents records, or null when the set is not parametric
    bool bParallel;                ///< set by callers: float pictures are mapped by many threads
    std::int32_t iPredefLut;       ///< predefined table for the spectral renderers; -1: none

    SQmLut();
    SQmLut(const SQmLut& other);
    ~SQmLut();
    const SQmLut& operator=(const SQmLut& other);

    static int Alloc(SQmLut& lut, unsigned char ucSrcBpc, unsigned char ucComponents,
                     unsigned char ucDstBpc, unsigned char ucDstComponents);
    static int AllocColor(SQmLut& lut, unsigned char ucSrcBpc, unsigned char ucDstBpc);
    static int AllocSingle(SQmLut& lut, unsigned char ucSrcBpc, unsigned char ucDstBpc);
    static int CustomSpectralLutAlloc(SQmLut& lut, unsigned char ucSrcBpc,
                                      unsigned char ucComponents, unsigned char ucDstBpc,
                                      unsigned char ucDstComponents);
    static int check_luts(SQmLut& lut, unsigned char ucSrcBpc, unsigned char ucComponents,
                          unsigned char ucDstBpc, unsigned char ucDstComponents);
    static int check_luts_spectral_ex(SQmLut& lut, unsigned char ucSrcBpc,
                                      unsigned char ucComponents, unsigned char ucDstBpc,
                                      unsigned char ucDstComponents);
    static void Copy(SQmLut& dst, const SQmLut& src);
    static void Free(SQmLut& lut);
    static void ReinitParametric(SQmLut& lut);
    static void FreeParametric(SQmLut& lut);
    static int SetOverExpColor(SQmLut& lut, unsigned int* puiColors);
    static int SetUnderExpColor(SQmLut& lut, unsigned int* puiColors);
    static int SetOverExpColorArr(SQmLut& lut, void* pEntry, unsigned int uiBits);
    static int SetUnderExpColorArr(SQmLut& lut, void* pEntry, unsigned int uiBits);
    static int SetOverExpValue(SQmLut& lut, unsigned int* puiValues);
};

static_assert(std::is_standard_layout_v<SQmLut> && offsetof(SQmLut, rmComponents) == 16);
static_assert(sizeof(SQmLut::SQmParam) == 32);
