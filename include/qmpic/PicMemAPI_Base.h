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

    /// A picture of any components to one of three, 8 bits or 9 to 16, through the tables of a set:
    /// each component has its own colours, which are merged (see mapcomp_3x8_3x8). Source and
    /// destination must be those of the set, `ucSrcBpc` bits of `ucComponents` to `ucDstBpc` bits
    /// of `ucDstComponents`; else -4, also for a width or size of 0 and a set without tables.
    /// -2: another destination than 3 components of 8 or 9 to 16 bits, another source than 8 or 9
    /// to 16 bits, 8 bits to more, and a parametric set. With exposure colours and 8 bits out,
    /// the samples that they are for show them. Neither pictures nor `pLut` are tested for null.
    static int MapComponentsMToN(void* pDst, uint32_t uiDstComponents, uint32_t uiDstBpc,
                                 uint32_t uiDstWidthBytes, const void* pSrc,
                                 uint32_t uiSrcComponents, uint32_t uiSrcBpc,
                                 uint32_t uiSrcWidthBytes, const SQmLut* pLut, uint32_t uiWidth,
                                 uint64_t uiSizeInPixels);

    /// What a display needs: any picture that can be shown to 3 components of 8 bits, blue, green,
    /// red. The way is chosen by picture and set:
    ///
    /// | set                         | picture      | done by                                 |
    /// |-----------------------------|--------------|-----------------------------------------|
    /// | none                        | 1, 8 bits    | ExpandComponent                         |
    /// |                             | 1, 9 to 16   | ConvertBitDepthViaShifts, then the same |
    /// |                             | 3, 8 bits    | Copy                                    |
    /// |                             | 3, 9 to 16   | ConvertBitDepthViaShifts                |
    /// | no bit of its mask is set   | any          | SetValue: black                         |
    /// | one bit, not parametric     | any          | ExtractComponentViaLuts of that one     |
    /// | other than one component    | any          | MapComponentsMToN                       |
    /// | one component               | 1            | MapValueToComponents                    |
    /// |                             | 3            | ConvertBitDepthViaLuts                  |
    ///
    /// The first line that fits counts; codes are those of the entry. All 192 bits of the mask
    /// count, also those beyond the components. -4: anything else, a set whose cells are not of 8
    /// bits, and one bit at or beyond `uiSrcComponents`. 9 to 16 bits of one component without a
    /// set need `uiSizeInPixels` bytes, and throw std::bad_alloc if there are none.
    static int ConvertToTrueColor(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                  uint32_t uiSrcComponents, uint32_t uiSrcBpc,
                                  uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                                  uint64_t uiSizeInPixels, const SQmLut* pLut);
};
