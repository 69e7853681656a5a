#pragma once

#include <tuple>

#include "PicMemAPI/accumulation_kernels.h"
#include "PicMemAPI/binary_kernels.h"
#include "PicMemAPI/bit_depth_kernels.h"
#include "PicMemAPI/components_kernels.h"
#include "PicMemAPI/constants_kernels.h"
#include "PicMemAPI/drawing_kernels.h"
#include "PicMemAPI/frame_kernels.h"
#include "PicMemAPI/grey_kernels.h"
#include "PicMemAPI/masks_kernels.h"
#include "PicMemAPI/threshold_kernels.h"
#include "PicMemAPI/two_picture_kernels.h"
#include "analysis/acquisition_kernels.h"
#include "analysis/correlation_kernels.h"
#include "analysis/focus_kernels.h"
#include "analysis/fret_kernels.h"
#include "analysis/golay_kernels.h"
#include "analysis/ratio_kernels.h"
#include "float/complex_kernels.h"
#include "float/float_kernels.h"
#include "float/tone_mapping_kernels.h"
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
    const auto visit_families = [&](const auto&... family) {
        (std::apply([&](const auto&... list) { (visit(list), ...); }, family), ...);
    };
    visit_families(kFrameLists, kTwoPictureLists, kConstantLists, kAccumulationLists,
                   kBitDepthLists, kGreyLists, kComponentLists, kMaskLists, kLutLists,
                   kCompositionLists, kFloatLists, kComplexLists, kToneLists, kHistogramLists,
                   kHistogram2DLists, kRepairLists, kBinaryLists, kThresholdLists, kSpectralLists,
                   kDrawingLists, kStretchLists, kFocusLists, kCorrelationLists, kRatioLists,
                   kFretLists, kGolayLists, kAcquisitionLists);
}

}  // namespace qmpic
