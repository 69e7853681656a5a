#pragma once

#include <cstdint>

#include "qmpic/export.h"
#include "qmpic/kernels/bit_depth.h"
#include "qmpic/kernels/components.h"
#include "qmpic/kernels/composition.h"
#include "qmpic/kernels/frame.h"
#include "qmpic/kernels/grey.h"
#include "qmpic/kernels/luts.h"
#include "qmpic/kernels/masks.h"
#include "qmpic/kernels/two_picture.h"

class SQmLut;

/// Operations on raw picture memory. Each entry chooses the kernel by component count and depth and
/// hands its arguments on.
///
/// They return 0, also for a null destination or first source, a width or a size of 0 (nothing is
/// touched then); -2 when there is no kernel for the format. Depths are 8, 9 to 16 and 17 to 32;
/// anything else is no format at all, unless a line says otherwise. The pixels of a call belong to
/// it until it returns; calls on distinct memory may run at the same time.
class QM_API CQmPicMemAPI_Base {
  public:
    // ----- Numbers of a depth, and the processor -------------------------------------------------

    // ----- Whole lines, single pixels, values ----------------------------------------------------

    // ----- Two-picture arithmetic ----------------------------------------------------------------

    /// The second source is not tested for null.
    static TwoPictureKernel AddAndClip, SubAndClip;

    // ----- Depths --------------------------------------------------------------------------------

    // ----- Components ----------------------------------------------------------------------------

    // ----- Masks ---------------------------------------------------------------------------------

    // ----- Mirrors and colour orders -------------------------------------------------------------

    // ----- Look-up tables ------------------------------------------------------------------------

    // Of a set the entries read the shape (flat or rows, see qmpic/kernels/luts.h), the exposure
    // marks and the mask. Depths of 0 to 8 are bytes in ApplyLuts and ExtractComponentViaLuts.

    /// The same depth and components in and out, through one table for all components.
    /// ucDstComponents 1 is a flat table for every component, else it must be uiComponents. With
    /// exposure colours and three components of up to 8 bits, marks what is exposed badly:
    /// applyluts_3x8_overexp_underexp.
    /// @return -2 without tables, for a table a component (ucComponents not 1), for other counts of
    ///         cells, above 16 bits; 0 also where the mask leaves a picture as it was
    static int ApplyLuts(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                         uint32_t uiSrcWidthBytes, const SQmLut* pLut, uint32_t uiComponents,
                         uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels);

    /// From one depth to another, the same components; equal depths are ApplyLuts. Depths are 8 and
    /// 9 to 16. Exposure colours count from words to bytes with three components only, and a flat
    /// table marks only what is over-exposed.
    /// @return -2 as ApplyLuts, and for other depths
    static int ConvertBitDepthViaLuts(void* pDst, uint32_t uiDstBpc, uint32_t uiDstWidthBytes,
                                      const void* pSrc, uint32_t uiSrcBpc, uint32_t uiSrcWidthBytes,
                                      const SQmLut* pLut, uint32_t uiComponents, uint32_t uiWidth,
                                      uint64_t uiSizeInPixels);

    /// Component `uiComp` to a picture of uiDstComponents bytes: through a flat table, rows of
    /// uiDstComponents cells, or the component's own table of a set with one for each. With
    /// exposure colours and three destination components, marks what is exposed badly.
    /// @return -4 without tables, or when depths or counts are not those of the set; -2 for a
    ///         destination above 8 or a source above 16 bits
    static int ExtractComponentViaLuts(void* pDst, uint32_t uiDstComponents, uint32_t uiDstBpc,
                                       uint32_t uiDstWidthBytes, const void* pSrc,
                                       uint32_t uiSrcComponents, uint32_t uiSrcBpc,
                                       uint32_t uiSrcWidthBytes, uint32_t uiComp,
                                       const SQmLut* pLut, uint32_t uiWidth,
                                       uint64_t uiSizeInPixels);

    /// One component to several: through rows of uiDstComponents cells, from 8 bits to 8, from 9 to
    /// 16 bits to 9 to 16, and to three components also from 9 to 16 bits to 8. A flat table of 8
    /// bits gives three equal components. Otherwise a flat table writes **one** component a pixel,
    /// whatever uiDstComponents says.
    /// @return -2 for other depths; -4 without tables, or when depths or counts are not those of
    /// the
    ///         set, or it has a table a component
    static int MapValueToComponents(void* pDst, uint32_t uiDstComponents, uint32_t uiDstBpc,
                                    uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcBpc,
                                    uint32_t uiSrcWidthBytes, const SQmLut* pLut, uint32_t uiWidth,
                                    uint64_t uiSizeInPixels);

    // ----- Colours of channels -------------------------------------------------------------------

    // ----- To the screen -------------------------------------------------------------------------
};
