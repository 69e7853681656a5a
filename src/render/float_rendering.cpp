#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>

#include "PicMemAPI/pixel_bytes.h"
#include "core/arithmetic.h"
#include "core/frame.h"
#include "core/prefetch.h"
#include "core/scratch.h"
#include "core/shapes.h"
#include "core/transpose.h"
#include "float/float_kernels.h"
#include "float/to_integers.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/Lut.h"
#include "qmpic/LutParam.h"
#include "render/packed_table.h"
#include "render/spectral_window.h"

// Pictures of floats on the screen. Rows are walked here and in no shape, since a row is rendered
// in blocks: the values of one channel after the other are made in a plane and merged into the
// planes of the cells, pixels side by side in vectors.

namespace {

using namespace qmpic;
using Ranges = std::vector<CQmRangeBase<float>>;

constexpr uint32_t kCells = 3;
constexpr uint64_t kBlock = 128, kVector = 16;  // pixels; a vector divides a block

/// What all threads of a call share.
struct FloatRendering {
    uint32_t step;  // components of the source
    float range, scale;
    SpectralWindow window;
    const uint8_t* colours = nullptr;  // the results are looked up there
    /// Cells that have the same colours in all channels, such as those of greys or the two dark
    /// ones of a primary colour, are computed once: the plane of each, and the first cell of each
    /// plane.
    uint32_t planes = 0, plane_of[kCells] = {}, cell_of[kCells] = {};
    bool empty = true;      // nothing is selected
    bool is_plain = false;  // all components are selected, and no gamma is

    FloatRendering(uint32_t components, const SQmLut& lut, const Ranges& ranges)
        : step(components),
          range(range_of(ranges)),
          scale(1.0f / range),
          window(lut, components, ColourUnit::kByte) {
        if (!window) return;
        for (uint32_t cell = 0; cell < kCells; ++cell) {
            uint32_t p = 0;
            while (p < planes && !same_colours(cell_of[p], cell)) ++p;
            if (p == planes) cell_of[planes++] = cell;
            plane_of[cell] = p;
        }
        empty = window.used() == 0;
        is_plain =
            components != 0 && window.used() == components &&
            std::all_of(window.bands(), window.bands() + components,
                        [](const SpectralBand& one) { return one.selected() && one.gamma == 1; });
        if (components != 0) colours = result_colours(lut, range);
    }

  private:
    static float range_of(const Ranges& ranges) {
        const float lo = SQmLutParam::GetMinFromFloatRanges(ranges),
                    hi = SQmLutParam::GetMaxFromFloatRanges(ranges);
        return lo == 0 && hi == 0 ? 1.0f : hi - lo;
    }
    bool same_colours(uint32_t a, uint32_t b) const {
        const SpectralBand* const bands = window.bands();
        return std::all_of(bands, bands + window.used(), [=](const SpectralBand& one) {
            return !one.selected() || one.weight[a] == one.weight[b];
        });
    }
};

/// The floats of a block, a number a pixel. What lies behind the last pixel of a short block is
/// computed with it, and of no account.
struct alignas(64) Plane {
    float values[kBlock] = {};
};

/// Four bytes of each word become three.
inline BlockShuffle without_fourth_bytes() {
    BlockShuffle shuffle{4, 3, 4, {}};
    for (uint32_t i = 0; i < 16; ++i)
        shuffle.bytes[i] =
            static_cast<uint8_t>(i < 12 ? i / 3 * 4 + i % 3 : BlockShuffle::kNothing);
    return shuffle;
}

struct Workspace {
    Plane samples[4], value, cell[kCells];
    alignas(64) uint32_t words[kBlock];
    BlockShuffle shuffle = without_fourth_bytes();
};

/// values = ((x + offset) * gain) * scale. A step of 0 is the given one.
template <uint32_t known>
void take_values(Plane& plane, const Sample<float>* s, uint64_t given, uint64_t count,
                 SpectralBand one, float scale) {
    const uint64_t step = known != 0 ? known : given;
    for (uint64_t x = 0; x < count; ++x)
        plane.values[x] = ((s[x * step] + one.offset) * one.gain) * scale;
}

inline void take_powers(Plane& plane, uint64_t count, float gamma) {
    for (uint64_t x = 0; x < count; ++x)
        if (const float value = plane.values[x]; value > 0)
            plane.values[x] = std::pow(value, gamma);
}

/// Two channels in one light: a and c, which is a value times a colour.
inline float merged(float a, float c) { return (a + c) - (a * c) * 0.003921569f; }
/// The same of 0 and c: infinities become NaN, and that black.
inline float merged(float c) { return c - c * 0.0f; }

template <bool first>
void merge(Plane& cell, const Plane& value, uint64_t count, float colour) {
    for (uint64_t at = 0; at < count; at += kVector)
        for (uint64_t i = at; i < at + kVector; ++i) {
            const float c = value.values[i] * colour;
            cell.values[i] = first ? merged(c) : merged(cell.values[i], c);
        }
}

inline void limit(Plane& cell, uint64_t count) {
    const Limits<float> limits(0, 255);
    for (uint64_t at = 0; at < count; at += kVector)
        for (uint64_t i = at; i < at + kVector; ++i) cell.values[i] = limits(cell.values[i]);
}

/// Few components, all selected and without gamma: the cells of a pixel stay in registers.
template <uint32_t step, uint32_t planes>
void compose_few(const FloatRendering& plan, Workspace& work, const Sample<float>* s,
                 uint64_t count) {
    SpectralBand bands[step];
    std::copy_n(plan.window.bands(), step, bands);
    float colours[step][planes];
    for (uint32_t c = 0; c < step; ++c)
        for (uint32_t p = 0; p < planes; ++p) colours[c][p] = bands[c].weight[plan.cell_of[p]];
    const float scale = plan.scale;
    const Limits<float> limits(0, 255);
    for (uint64_t x = 0; x < count; ++x) {
        float cells[planes];
        for (uint32_t c = 0; c < step; ++c) {
            const float value = ((s[x * step + c] + bands[c].offset) * bands[c].gain) * scale;
            for (uint32_t p = 0; p < planes; ++p) {
                const float added = value * colours[c][p];
                cells[p] = c == 0 ? merged(added) : merged(cells[p], added);
            }
        }
        for (uint32_t p = 0; p < planes; ++p) work.cell[p].values[x] = limits(cells[p]);
    }
}
template <uint32_t step>
void compose_few(const FloatRendering& plan, Workspace& work, const Sample<float>* s,
                 uint64_t count) {
    switch (plan.planes) {
    case 1: return compose_few<step, 1>(plan, work, s, count);
    case 2: return compose_few<step, 2>(plan, work, s, count);
    default: return compose_few<step, 3>(plan, work, s, count);
    }
}

/// Samples of one channel out of blocks of pixels. From pixels of more than four components the
/// channel's samples are taken with those of its neighbours, which come next.
class Samples {
  public:
    Samples(Workspace& work, const Sample<float>* s, uint64_t step, uint64_t count)
        : work_(work), s_(s), step_(step), count_(count) {}

    void take(uint32_t c, const SpectralBand& one, float scale) {
        const Sample<float>* const from = s_ + c;
        Plane& values = work_.value;
        switch (step_) {
        case 1: return take_values<1>(values, from, 0, count_, one, scale);
        case 2: return take_values<2>(values, from, 0, count_, one, scale);
        case 3: return take_values<3>(values, from, 0, count_, one, scale);
        case 4: return take_values<4>(values, from, 0, count_, one, scale);
        }
        const uint64_t fours = count_ / 4 * 4;
        if (c >= end_) {
            first_ = std::min<uint64_t>(c, step_ - 4), end_ = first_ + 4;
            take_four_apart(s_ + first_, step_, fours, work_.samples[0].values, kBlock);
            for (uint64_t x = fours; x < count_; ++x)
                for (uint64_t k = 0; k < 4; ++k)
                    work_.samples[k].values[x] = s_[x * step_ + first_ + k];
        }
        const auto* const plane =
            reinterpret_cast<const Sample<float>*>(work_.samples[c - first_].values);
        take_values<1>(values, plane, 0, count_, one, scale);
    }

  private:
    Workspace& work_;
    const Sample<float>* s_;
    uint64_t step_, count_, first_ = 0, end_ = 0;
};

/// The cells of a block, within 0 and 255.
void compose(const FloatRendering& plan, Workspace& work, const Sample<float>* s, uint64_t count) {
    if (plan.is_plain) switch (plan.step) {
        case 1: return compose_few<1>(plan, work, s, count);
        case 2: return compose_few<2>(plan, work, s, count);
        case 3: return compose_few<3>(plan, work, s, count);
        case 4: return compose_few<4>(plan, work, s, count);
        }
    const uint32_t planes = plan.planes;
    if (plan.empty) std::fill_n(work.cell, kCells, Plane{});
    Samples samples(work, s, plan.step, count);
    bool first = true;
    for (uint32_t c = 0; c < plan.window.used(); ++c) {
        const SpectralBand one = plan.window.bands()[c];
        if (!one.selected()) continue;
        samples.take(plan.window.first() + c, one, plan.scale);
        if (one.gamma != 1) take_powers(work.value, count, one.gamma);
        for (uint32_t p = 0; p < planes; ++p) {
            const float colour = one.weight[plan.cell_of[p]];
            if (first)
                merge<true>(work.cell[p], work.value, count, colour);
            else
                merge<false>(work.cell[p], work.value, count, colour);
        }
        first = false;
    }
    for (uint32_t p = 0; p < planes; ++p) limit(work.cell[p], count);
}

/// Cells as bytes, cut and looked up, in words.
void make_words(const FloatRendering& plan, Workspace& work, uint64_t count) {
    const float* cells[kCells];
    for (uint32_t i = 0; i < kCells; ++i) cells[i] = work.cell[plan.plane_of[i]].values;
    uint32_t* const words = work.words;
    if (plan.planes == 1)
        for (uint64_t at = 0; at < count; at += kVector)
            for (uint64_t x = at; x < at + kVector; ++x)
                words[x] = static_cast<uint32_t>(static_cast<int32_t>(cells[0][x]) * 0x010101);
    else
        for (uint64_t at = 0; at < count; at += kVector)
            for (uint64_t x = at; x < at + kVector; ++x)
                words[x] = static_cast<uint32_t>(static_cast<int32_t>(cells[0][x]) |
                                                 static_cast<int32_t>(cells[1][x]) << 8 |
                                                 static_cast<int32_t>(cells[2][x]) << 16);
    if (plan.colours == nullptr) return;
    const uint8_t* const colours = plan.colours;  // red, green, blue
    for (uint64_t x = 0; x < count; ++x) {
        const uint32_t word = words[x];
        const uint32_t blue = colours[3 * (word & 255) + 2],
                       green = colours[3 * (word >> 8 & 255) + 1], red = colours[3 * (word >> 16)];
        words[x] = blue | green << 8 | red << 16;
    }
}

inline void write_block(const FloatRendering& plan, Workspace& work, Sample<uint8_t>* d,
                        uint64_t count) {
    make_words(plan, work, count);
    if (shuffles(4)) return rearrange_row_avx2(d, work.words, count, work.shuffle);
    write_pixels(d, count, [words = work.words](uint64_t x) { return words[x]; });
}

inline void write_block(const FloatRendering& plan, Workspace& work, Sample<float>* d,
                        uint64_t count) {
    if (plan.colours != nullptr) {
        make_words(plan, work, count);
        for (uint64_t x = 0; x < count; ++x)
            for (uint32_t i = 0; i < kCells; ++i)
                d[3 * x + i] = static_cast<float>(work.words[x] >> 8 * i & 255);
        return;
    }
    const float* const blue = work.cell[plan.plane_of[0]].values;
    const float* const green = work.cell[plan.plane_of[1]].values;
    const float* const red = work.cell[plan.plane_of[2]].values;
    for (uint64_t x = 0; x < count; ++x) {
        d[3 * x] = blue[x];
        d[3 * x + 1] = green[x];
        d[3 * x + 2] = red[x];
    }
}

/// T is uint8_t or float.
template <class T, class D>
int render(D dst, FloatSrc src, uint32_t components, const SQmLut& lut, Area area,
           const Ranges& ranges) {
    const FloatRendering plan(components, lut, ranges);
    if (!plan.window) return QM_NO_MEMORY;
    const Area whole = joined(
        kCallingThread, area,
        {stride_of(dst, kCells * sizeof(T)), stride_of(src, uint64_t{components} * sizeof(float))});
    const bool one_row = whole.rows == 1;
    const auto render_rows = [=, shared = &plan](RowRange range) {
        on_best_isa([=] {
            const uint64_t rows = range.last - range.first;
            const Area mine = one_row ? Area{area.width * rows, rows != 0} : Area{area.width, rows};
            Workspace work;
            for (uint64_t y = range.first; y < range.first + mine.rows; ++y) {
                Sample<T>* const d = dst.template row<T>(y);
                const Sample<float>* const s = src.row(y);
                for (uint64_t x = 0; x < mine.width; x += kBlock) {
                    const uint64_t count = std::min(kBlock, mine.width - x);
                    const uint64_t at = x * shared->step;
                    fetch_ahead(s + at, count * shared->step * sizeof(float));
                    fetch_ahead_to_write(d + 3 * x, count * 3 * sizeof(T));
                    compose(*shared, work, s + at, count);
                    write_block(*shared, work, d + 3 * x, count);
                }
            }
        });
    };
    const Team team{lut.bParallel, static_cast<uint32_t>(omp_get_num_procs())};
    in_team(team, [=](Member member) { render_rows(rows_of(member, area.rows)); });
    return QM_OK;
}

}  // namespace

int nonspect_render_NxFloat_3x8_float(void* pDst, uint32_t uiDstWidthBytes, const float* pSrc,
                                      uint32_t uiSrcWidthBytes, uint32_t uiComponents,
                                      const SQmLut* pLut, uint32_t uiWidth, uint64_t uiSizeInPixels,
                                      const Ranges& ranges) {
    return render<uint8_t>(Dst{pDst, uiDstWidthBytes}, {pSrc, uiSrcWidthBytes}, uiComponents, *pLut,
                           Area::of_pixels(uiWidth, uiSizeInPixels), ranges);
}

int CQmFloatPicMemAPI_Base::MapComponentsMToNToUint(void* pDst, uint32_t /*uiDstComponents*/,
                                                    uint32_t /*uiDstBpc*/, uint32_t uiDstWidthBytes,
                                                    const float* pSrc, uint32_t uiSrcComponents,
                                                    uint32_t uiSrcWidthBytes, const SQmLut* pLut,
                                                    uint32_t uiWidth, uint64_t uiSizeInPixels,
                                                    const Ranges& ranges) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (pLut == nullptr || pLut->pParams == nullptr) return QM_REJECTED;
    return nonspect_render_NxFloat_3x8_float(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes,
                                             uiSrcComponents, pLut, uiWidth, uiSizeInPixels,
                                             ranges);
}

int CQmFloatPicMemAPI_Base::ConvertFloatToRGBFloat(float* pDst, uint32_t uiDstWidthBytes,
                                                   const float* pSrc, uint32_t uiSrcComponents,
                                                   uint32_t uiSrcWidthBytes, const SQmLut* pLut,
                                                   uint32_t uiWidth, uint64_t uiSizeInPixels,
                                                   const Ranges& ranges) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (pLut == nullptr || pLut->pParams == nullptr) return QM_REJECTED;
    return render<float>(FloatDst{pDst, uiDstWidthBytes}, {pSrc, uiSrcWidthBytes}, uiSrcComponents,
                         *pLut, Area::of_pixels(uiWidth, uiSizeInPixels), ranges);
}

namespace {

/// The levels of one component three times, a short run at a time. `levels` has room for a row.
void grey_to_colour(Dst dst, FloatSrc src, Area area, Level<uint8_t> level,
                    Sample<uint8_t>* levels) {
    constexpr uint64_t kRun = 4096;
    each_row<uint8_t, float>(
        kCallingThread, dst, src, area, [=](Sample<uint8_t>* d, const Sample<float>* s) {
            for (uint64_t x0 = 0; x0 < area.width; x0 += kRun) {
                const auto count = static_cast<uint32_t>(std::min(kRun, area.width - x0));
                for (uint64_t x = 0; x < count; ++x) levels[x] = level(s[x0 + x]);
                CQmPicMemAPI_Base::ExpandComponent(d + 3 * x0, kCells, kCells * count, levels,
                                                   count, 8, count, count);
            }
        });
}

}  // namespace

int CQmFloatPicMemAPI_Base::ConvertToTrueColor(void* pDst, uint32_t uiDstWidthBytes,
                                               const float* pSrc, uint32_t uiComponents,
                                               uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                                               uint64_t uiSizeInPixels, const SQmLut* pLut,
                                               const Ranges& ranges) {
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    if (pLut != nullptr && pLut->pParams != nullptr) {
        if (pLut->ucDstBpc != 8) return QM_REJECTED;
        if (pLut->rmComponents.GetCount() == 0) {
            const uint8_t black[kCells] = {};
            return CQmPicMemAPI_Base::SetValue(pDst, kCells, 8, uiDstWidthBytes, black, uiWidth,
                                               uiSizeInPixels);
        }
        return MapComponentsMToNToUint(pDst, kCells, 8, uiDstWidthBytes, pSrc, uiComponents,
                                       uiSrcWidthBytes, pLut, uiWidth, uiSizeInPixels, ranges);
    }
    float lo = FLT_MAX, hi = -FLT_MAX;
    for (const CQmRangeBase<float>& range : ranges) {
        lo = std::min(lo, range.tLower);
        hi = std::max(hi, range.tUpper);
    }
    const Level<uint8_t> level{Scaled(lo, hi, hi - lo > 255.0f, 255), {0, 255}};
    const Dst dst{pDst, uiDstWidthBytes};
    const FloatSrc src{pSrc, uiSrcWidthBytes};
    const Area area = Area::of_pixels(uiWidth, uiSizeInPixels);
    if (uiComponents == kCells) {
        map_samples<uint8_t, float>(kCallingThread, dst, src, {area.width * kCells, area.rows},
                                    level);
        return QM_OK;
    }
    if (uiComponents != 1) return QM_REJECTED;
    const Scratch<Sample<uint8_t>> levels(
        uiSizeInPixels);  // a byte a pixel, the first of them used
    if (!levels) return QM_NO_MEMORY;
    grey_to_colour(dst, src, area, level, levels.get());
    return QM_OK;
}
