#include <algorithm>
#include <cfloat>
#include <cstring>
#include <memory>

#include "core/arithmetic.h"
#include "core/shapes.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/kernels/stretch.h"
#include "qmpic/status.h"
#include "qmpic/system/Alloc.h"
#include "stretch/contributions.h"

// One component of floats, of which some have no value.

namespace {

using namespace qmpic;
using Mode = CQmPicMemAPI_Base::EQmPicStretchMode;

constexpr float kNoValue = -FLT_MAX;

/// Where a value is above kNoValue it adds to the sum and its weight to the weights. NaN is not.
struct ValidSum {
    float sum = 0;
    int32_t weights = 0;
    void add(float value, int32_t weight) {
        const float with = sum + static_cast<float>(weight) * value;
        const bool is_valid = value > kNoValue;
        sum = is_valid ? with : sum;
        weights += is_valid ? weight : 0;
    }
    float mean() const {
        const float mean = sum / static_cast<float>(weights != 0 ? weights : 1);
        return weights != 0 ? mean : kNoValue;
    }
};

/// Along the rows, in the compiled order of each thread: lists are too short for vectors.
void average_along(Dst dst, Src src, uint64_t step, uint64_t rows, const Contributions& columns) {
    in_team(kTeam, [=, &columns](Member member) {
        const RowRange share = member.share(rows);
        for (uint64_t y = share.first; y < share.last; ++y) {
            Sample<float>* const d = dst.row<float>(y);
            const Sample<float>* const s = src.row<float>(y);
            for (uint32_t x = 0; x < columns.size(); ++x) {
                const Contributions::List list = columns[x];
                ValidSum sum;
                for (uint32_t k = 0; k < list.count; ++k)
                    sum.add(s[columns.sample(list.first + k) * static_cast<int64_t>(step)],
                            list.weights[k]);
                d[x * step] = sum.mean();
            }
        }
    });
}

/// Down the columns, some of them together. A step of 0 is read from `given`.
template <uint32_t known>
void average_down(Dst dst, Src src, Count<known> given, uint64_t width, const Contributions& rows) {
    const Contributions* const lists = &rows;
    walk_rows(kTeam, rows.size(), [=](RowRange share) {
        constexpr uint64_t most = 256;
        const uint64_t step = given();
        for (uint64_t y = share.first; y < share.last; ++y) {
            const Contributions::List list = (*lists)[y];
            for (uint64_t first = 0; first < width; first += most) {
                const uint64_t n = std::min(most, width - first);
                float sums[most] = {};
                int32_t weights[most] = {};
                for (uint32_t k = 0; k < list.count; ++k) {
                    const auto row = static_cast<uint64_t>(lists->sample(list.first + k));
                    const Sample<float>* const s = src.row<float>(row) + first * step;
                    const int32_t weight = list.weights[k];
                    for (uint64_t x = 0; x < n; ++x) {
                        ValidSum sum{sums[x], weights[x]};
                        sum.add(s[x * step], weight);
                        sums[x] = sum.sum, weights[x] = sum.weights;
                    }
                }
                Sample<float>* const d = dst.row<float>(y) + first * step;
                for (uint64_t x = 0; x < n; ++x) d[x * step] = ValidSum{sums[x], weights[x]}.mean();
            }
        }
    });
}

/// The source of a destination's place along one axis, nearest in its own way: the start of a
/// pixel, in single precision, where there are less of them, and the middle where there are more.
class QuickAxis {
  public:
    QuickAxis(uint32_t region, uint32_t count, uint32_t picture, uint32_t in_front)
        : scale_(static_cast<float>(region) / static_cast<float>(count)),
          last_(picture > in_front ? picture - in_front - 1 : 0) {}
    uint32_t operator()(uint32_t i) const {
        return scale_ > 1 ? trunc_clamp(double{static_cast<float>(i) * scale_}, last_)
                          : trunc_clamp((i + 0.5) * double{scale_}, last_);
    }

  private:
    float scale_;
    uint32_t last_;
};

bool is_empty(uint32_t components, uint32_t width, uint32_t height, uint32_t region_width,
              uint32_t region_height) {
    return components == 0 || width == 0 || height == 0 || region_width == 0 || region_height == 0;
}

struct Release {
    void operator()(void* p) const { CQmAlloc::Free(p); }
};

}  // namespace

int stretch_float_generic_horz_1_validity(float* pDst, uint32_t uiComponents,
                                          uint32_t uiDstWidthBytes, uint32_t uiDstWidth,
                                          uint32_t uiRows, const float* pSrc,
                                          uint32_t uiSrcWidthBytes, uint32_t uiSrcWidth,
                                          uint32_t uiSrcLeft, uint32_t uiRoiWidth, Mode eMode) {
    if (uiDstWidth == 0 || uiRows == 0 || uiRoiWidth == 0 || uiComponents == 0) return QM_OK;
    const int64_t left = uiSrcLeft;
    const Contributions columns({.scale = static_cast<double>(uiRoiWidth) / uiDstWidth,
                                 .count = uiDstWidth,
                                 .line = {-left, std::max<int64_t>(uiSrcWidth - left, 1)}},
                                eMode, kValidityWeights);
    if (!columns) return QM_NO_MEMORY;
    average_along({pDst, uiDstWidthBytes}, {pSrc, uiSrcWidthBytes}, uiComponents, uiRows, columns);
    return QM_OK;
}

int stretch_float_generic_vert_1_validity(float* pDst, uint32_t uiComponents,
                                          uint32_t uiDstWidthBytes, uint32_t uiDstWidth,
                                          uint32_t uiDstHeight, const float* pSrc,
                                          uint32_t uiSrcWidthBytes, uint32_t uiRowsAbove,
                                          uint32_t uiRoiHeight, uint32_t uiRowsBelow, Mode eMode) {
    if (uiDstWidth == 0 || uiDstHeight == 0 || uiRoiHeight == 0 || uiComponents == 0) return QM_OK;
    const int64_t above = uiRowsAbove, rows = int64_t{uiRoiHeight} + uiRowsBelow;
    const Contributions lists({.scale = static_cast<double>(uiRoiHeight) / uiDstHeight,
                               .count = uiDstHeight,
                               .line = {-above, rows}},
                              eMode, kValidityWeights);
    if (!lists) return QM_NO_MEMORY;
    const Dst dst{pDst, uiDstWidthBytes};
    const Src region{
        reinterpret_cast<const std::byte*>(pSrc) + uint64_t{uiRowsAbove} * uiSrcWidthBytes,
        uiSrcWidthBytes};
    if (uiComponents == 1)
        average_down(dst, region, Count<1>{}, uiDstWidth, lists);
    else
        average_down(dst, region, Count<0>{uiComponents}, uiDstWidth, lists);
    return QM_OK;
}

int stretch_float_quick_1(float* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes,
                          uint32_t uiDstWidth, uint32_t uiDstHeight, const float* pSrc,
                          uint32_t uiSrcWidthBytes, uint32_t uiSrcWidth, uint32_t uiSrcHeight,
                          uint32_t uiSrcLeft, uint32_t uiSrcTop, uint32_t uiRoiWidth,
                          uint32_t uiRoiHeight) {
    if (is_empty(uiComponents, uiDstWidth, uiDstHeight, uiRoiWidth, uiRoiHeight)) return QM_OK;
    const Scratch<uint32_t> columns(uiDstWidth);
    if (!columns) return QM_NO_MEMORY;
    const QuickAxis column(uiRoiWidth, uiDstWidth, uiSrcWidth, uiSrcLeft),
        row(uiRoiHeight, uiDstHeight, uiSrcHeight, uiSrcTop);
    for (uint32_t i = 0; i < uiDstWidth; ++i) columns[i] = column(i);
    const Dst dst{pDst, uiDstWidthBytes};
    const Src src{pSrc, uiSrcWidthBytes};
    const uint64_t step = uiComponents;
    uint32_t before = 0;
    for (uint32_t j = 0; j < uiDstHeight; ++j) {
        const uint32_t t = row(j);
        Sample<float>* const d = dst.row<float>(j);
        if (j == 0 || t != before) {
            const Sample<float>* const s = src.row<float>(t);
            for (uint32_t i = 0; i < uiDstWidth; ++i) d[i * step] = float{s[columns[i] * step]};
        } else if (step == 1) {
            std::memmove(d, dst.row<float>(j - 1), uiDstWidth * sizeof(float));
        } else {  // other components are not touched
            const Sample<float>* const above = dst.row<float>(j - 1);
            for (uint32_t i = 0; i < uiDstWidth; ++i) d[i * step] = float{above[i * step]};
        }
        before = t;
    }
    return QM_OK;
}

int CQmFloatPicMemAPI_Base::Stretch_WithValidity(
    float* pDst, uint32_t uiComponents, uint32_t uiDstWidthBytes, uint32_t uiDstWidth,
    uint32_t uiDstHeight, const float* pSrc, uint32_t uiSrcWidthBytes, uint32_t uiSrcWidth,
    uint32_t uiSrcHeight, uint32_t uiSrcLeft, uint32_t uiSrcTop, uint32_t uiRoiWidth,
    uint32_t uiRoiHeight, CQmPicMemAPI_Base::EQmPicStretchMode eMode) {
    if (eMode != CQmPicMemAPI_Base::StretchSpline && eMode != CQmPicMemAPI_Base::StretchLinear)
        return stretch_float_quick_1(pDst, uiComponents, uiDstWidthBytes, uiDstWidth, uiDstHeight,
                                     pSrc, uiSrcWidthBytes, uiSrcWidth, uiSrcHeight, uiSrcLeft,
                                     uiSrcTop, uiRoiWidth, uiRoiHeight);
    if (is_empty(uiComponents, uiDstWidth, uiDstHeight, uiRoiWidth, uiRoiHeight)) return QM_OK;
    const uint64_t base = eMode == CQmPicMemAPI_Base::StretchSpline ? 3 : 2;
    // Rows, too, by the stretch of the widths.
    const uint64_t margin =
        uiDstWidth < uiRoiWidth ? (base * uiRoiWidth + uiDstWidth - 1) / uiDstWidth : base;
    const uint64_t end = uint64_t{uiSrcTop} + uiRoiHeight;
    const auto above = static_cast<uint32_t>(std::min<uint64_t>(uiSrcTop, margin));
    const auto below =
        static_cast<uint32_t>(std::min(uiSrcHeight > end ? uiSrcHeight - end : 0, margin));
    const uint64_t rows = uint64_t{above} + uiRoiHeight + below;
    uint64_t line = 0, size = 0;
    if (__builtin_mul_overflow(uint64_t{uiComponents} * sizeof(float), uiDstWidth, &line) ||
        __builtin_mul_overflow(line, rows, &size) || line > UINT32_MAX || rows > UINT32_MAX)
        return QM_NO_MEMORY;
    const std::unique_ptr<void, Release> block(CQmAlloc::Alloc(0, size, 16));
    if (!block) return QM_NO_MEMORY;
    const auto* const first = reinterpret_cast<const float*>(
        reinterpret_cast<const std::byte*>(pSrc) - uint64_t{above} * uiSrcWidthBytes);
    auto* const band = static_cast<float*>(block.get());
    const int code = stretch_float_generic_horz_1_validity(
        band, uiComponents, static_cast<uint32_t>(line), uiDstWidth, static_cast<uint32_t>(rows),
        first, uiSrcWidthBytes, uiSrcWidth, uiSrcLeft, uiRoiWidth, eMode);
    if (code != QM_OK) return code;
    return stretch_float_generic_vert_1_validity(pDst, uiComponents, uiDstWidthBytes, uiDstWidth,
                                                 uiDstHeight, band, static_cast<uint32_t>(line),
                                                 above, uiRoiHeight, below, eMode);
}
