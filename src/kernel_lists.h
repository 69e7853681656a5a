#pragma once

#include <tuple>

#include "PicMemAPI/binary_kernels.h"
#include "PicMemAPI/bit_depth_kernels.h"
#include "PicMemAPI/components_kernels.h"
#include "PicMemAPI/drawing_kernels.h"
#include "PicMemAPI/frame_kernels.h"
#include "PicMemAPI/grey_kernels.h"
#include "PicMemAPI/masks_kernels.h"
#include "PicMemAPI/threshold_kernels.h"
#include "PicMemAPI/two_picture_kernels.h"
#include "analysis/fret_kernels.h"
#include "float/float_kernels.h"
#include "histogram/counting_kernels.h"
#include "histogram/histogram2d_kernels.h"
#include "histogram/repair_kernels.h"
#include "render/composition_kernels.h"
#include "render/luts_kernels.h"
#include "render/spectral_kernels.h"
#include "stretch/stretch_kernels.h"

namespace qmpic {

/// Calls `visit` with the kernel list of every family: what the library exports beside classes.
template <class Visit>
void for_each_kernel_list(Visit visit) {
    const auto all = std::tuple_cat(
        kFrameLists, kTwoPictureLists, kBitDepthLists, kGreyLists, kComponentLists, kMaskLists,
        kLutLists, kCompositionLists, kFloatLists, kHistogramLists, kHistogram2DLists, kRepairLists,
        kBinaryLists, kThresholdLists, kSpectralLists, kDrawingLists, kStretchLists, kFretLists);
    std::apply([&](const auto&... list) { (visit(list), ...); }, all);
}

}  // namespace qmpic
