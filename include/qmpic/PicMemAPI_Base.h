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

    // ----- Colours of channels -------------------------------------------------------------------

    // ----- To the screen -------------------------------------------------------------------------
};
