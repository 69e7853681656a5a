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
    /// Depths of 8 to 16; the second source is not tested for null.
    static TwoPictureKernel Min, Max;
    /// Depths of 8 to 16, all of them by the kernels for bytes. Above 8 bits these treat the first
    /// `uiWidth * uiComponents` bytes of each row, which is its first half, as samples, with the
    /// weights and the divisor of `uiBpc`. The second source is not tested for null.
    static AddTranspKernel AddTranspAndClip;
    /// blend_two, at any depth. The table is not tested for null.
    static BlendTwoKernel BlendTwoBuffers;
    /// Depths of 8 to 16; the low 8 or 16 bits of `uiMask` are the mask.
    static int MaskOut(void* pDst, uint32_t uiDstWidthBytes, uint32_t uiMask, uint32_t uiComponents,
                       uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels);

    // ----- Depths --------------------------------------------------------------------------------

    // ----- Components ----------------------------------------------------------------------------

    // ----- Masks ---------------------------------------------------------------------------------

    // ----- Mirrors and colour orders -------------------------------------------------------------

    // ----- Look-up tables ------------------------------------------------------------------------

    // ----- Colours of channels -------------------------------------------------------------------

    // ----- To the screen -------------------------------------------------------------------------
};
