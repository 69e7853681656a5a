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

    /// One component to another, of any two pictures of a depth. 8 bits, 9 to 16, and everything
    /// above 16 as 32-bit words.
    static int CopyComponent(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes,
                             uint32_t uiDstIndex, const void* pSrc, uint32_t uiSrcComponents,
                             uint32_t uiSrcWidthBytes, uint32_t uiSrcIndex, uint32_t uiBpc,
                             uint32_t uiWidth, uint64_t uiSizeInPixels);
    /// One component to a picture of one, 8 bits or 9 to 16: 24 bits give -2 here.
    static int ExtractComponent(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                uint32_t uiSrcComponents, uint32_t uiSrcWidthBytes,
                                uint32_t uiSrcIndex, uint32_t uiBpc, uint32_t uiWidth,
                                uint64_t uiSizeInPixels);
    /// A picture of one component to one component of another, 8 bits or 9 to 16.
    static int StoreComponent(void* pDst, uint32_t uiDstComponents, uint32_t uiDstWidthBytes,
                              uint32_t uiDstIndex, const void* pSrc, uint32_t uiSrcWidthBytes,
                              uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels);

    // ----- Masks ---------------------------------------------------------------------------------

    // ----- Mirrors and colour orders -------------------------------------------------------------

    // ----- Look-up tables ------------------------------------------------------------------------

    // ----- Colours of channels -------------------------------------------------------------------

    // ----- To the screen -------------------------------------------------------------------------
};
