#include <omp.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>

#include "core/arithmetic.h"
#include "core/cancel.h"
#include "core/frame.h"
#include "core/rows.h"
#include "histogram/counting_kernels.h"
#include "histogram/private_blocks.h"
#include "qmpic/PicBuf.h"
#include "qmpic/status.h"

// Histograms in arrays of the caller, with as many bins as the caller likes and of as many pixels.
// All threads add to the same bins, and so may several callers.

namespace {

using namespace qmpic;

/// Which pixels are counted.
struct Steps {
    uint32_t rows = 1, pixels = 1;
};

/// A grid of about `samples` pixels, in single precision. The components are a factor of the step,
/// although it counts pixels: of three components every third of the sampled columns is reached.
Steps steps_for(const SQmPicBuf& picture, int samples) {
    if (samples <= 0 || static_cast<uint32_t>(samples) >= picture.uiWidth * picture.uiHeight)
        return {};
    const auto width = static_cast<float>(picture.uiWidth);
    const auto height = static_cast<float>(picture.uiHeight);
    const auto count = static_cast<float>(samples);
    const float rows = std::sqrt(height * count / width);
    const float columns = count / rows;
    const uint32_t row_step = trunc_u32(height / rows);
    const uint32_t pixel_step = trunc_u32(width / columns) * picture.uiComponents;
    return {std::max(row_step, 1u), std::max(pixel_step, 1u)};  // rounding may give 0
}

/// The bins of values: (value - low) * (bins - 1) / range, in 32 bits that wrap.
struct Scale {
    int bins, low, range;
    bool is_limited;

    static Scale of_depth(int bins, uint32_t bpc) {
        return {bins, 0, static_cast<int>(max_value(bpc)), false};
    }
    static Scale of_range(int bins, int low, int high) {
        return {bins, low, wrap_sub(high, low), true};
    }
    int64_t bin_of(uint32_t value) const {
        if (!is_limited && bins - 1 == range) return value;
        const int product = wrap_mul(wrap_sub(static_cast<int>(value), low), bins - 1);
        const int64_t bin = range == -1 ? -int64_t{product} : product / range;
        return is_limited ? std::clamp<int64_t>(bin, 0, bins - 1) : bin;
    }
    /// What has no bin is not counted. Other callers may add to the same bins.
    void add(int* block, uint32_t value, uint32_t count) const {
        const int64_t bin = bin_of(value);
        if (block == nullptr || bin < 0 || bin >= bins) return;
        std::atomic_ref<int>(block[bin])
            .fetch_add(static_cast<int>(count), std::memory_order_relaxed);
    }
};

/// What is counted: pixels of components side by side. One component of several is a picture of one
/// component with a longer step.
struct Samples {
    const SQmPicBuf& picture;
    uint32_t first, components, width;
    uint32_t step, step_y;
    const SQmPicBuf* mask;
    uint32_t mask_step;
    bool* cancel;

    static Samples of_all(const SQmPicBuf& picture, Steps steps) {
        return {picture,    0,       picture.uiComponents, picture.uiWidth, steps.pixels,
                steps.rows, nullptr, steps.pixels,         nullptr};
    }
    static Samples of_one(const SQmPicBuf& picture, uint32_t component, Steps steps) {
        const uint64_t step = uint64_t{steps.pixels} * picture.uiComponents;
        return {picture,
                component,
                1,
                picture.uiWidth * picture.uiComponents - component,
                static_cast<uint32_t>(std::min<uint64_t>(step, UINT32_MAX)),
                steps.rows,
                nullptr,
                steps.pixels,
                nullptr};
    }

    uint32_t bits() const { return storage_bits(picture.uiBpc); }
    /// Rows and pixels that are counted.
    uint64_t rows() const {
        return picture.uiHeight == 0 ? 0 : (picture.uiHeight - 1) / step_y + 1;
    }
    uint64_t columns() const { return width == 0 ? 0 : (width - 1) / step + 1; }

    template <class T>
    Src row(uint64_t y) const {
        const Src src{picture.pData, picture.uiWidthBytes};
        return {src.row<T>(y * step_y) + first, src.stride};
    }
    /// Calls `visit(component, value)` for each sample of a row.
    template <class T, class Visit>
    void visit_row(uint64_t y, const Visit& visit) const {
        const Sample<T>* const s = row<T>(y).template row<T>(0);
        const Sample<uint8_t>* const m =
            mask == nullptr ? nullptr
                            : Src{mask->pData, mask->uiWidthBytes}.row<uint8_t>(y * step_y);
        for (uint64_t x = 0, at = 0; x < width; x += step, at += mask_step)
            if (m == nullptr || m[at] != 0)
                for (uint32_t c = 0; c < components; ++c) visit(c, T{s[x * components + c]});
    }
    /// Calls `visit(RowRange)` for the rows of a thread, one by one if they may be cancelled.
    template <class Visit>
    void visit_rows(RowRange run, const Visit& visit) const {
        if (cancel == nullptr) return visit(run);
        for (uint64_t y = run.first; y < run.last; ++y)
            if (!is_cancelled(cancel)) visit(RowRange{y, y + 1});
    }
};

/// Counts how often each value occurs, whatever the depth: `blocks` have a bin for each.
template <class T>
void count_values(const Samples& samples, RowRange run, void** blocks) {
    if (run.first == run.last) return;
    if (samples.mask != nullptr) {
        for (uint64_t y = run.first; y < run.last; ++y)
            samples.visit_row<T>(
                y, [=](uint32_t c, uint32_t value) { ++static_cast<uint32_t*>(blocks[c])[value]; });
        return;
    }
    const uint64_t rows = (run.last - run.first - 1) * samples.step_y + 1;
    const Src src = samples.row<T>(run.first);
    kHistogram.find_stored(samples.components, samples.bits())(
        blocks, nullptr, 4, src.first, src.stride, samples.components, samples.bits(), samples.step,
        samples.step_y, samples.width, samples.width * rows);
}

template <class T>
void count(const Samples& samples, Scale scale, int* const* blocks) {
    constexpr uint64_t values = uint64_t{1} << (8 * sizeof(T));
    const auto threads = static_cast<uint64_t>(omp_get_max_threads());
    // Few samples go to their bins at once. Of many it is counted first how often each value
    // occurs, by each thread for itself, so that a value is scaled once.
    const bool many = samples.rows() * samples.columns() / threads >= values / 8;
    const PrivateBlocks<uint32_t> tables(many ? threads : 0, samples.components, values);
    const bool has_tables = many && tables;
    in_team(kTeam, [&](Member member) {
        const RowRange rows = member.share(samples.rows());
        if (!has_tables) {
            samples.visit_rows(rows, [&](RowRange run) {
                for (uint64_t y = run.first; y < run.last; ++y)
                    samples.visit_row<T>(
                        y, [&](uint32_t c, uint32_t value) { scale.add(blocks[c], value, 1); });
            });
            return;
        }
        void** const own = tables.cleared(member.index);
        samples.visit_rows(rows, [&](RowRange run) { count_values<T>(samples, run, own); });
        member.wait();
        const RowRange bins = member.share(samples.components * values);
        uint32_t* const sums = tables.of(0);
        tables.add_to(sums, 1, member.count, bins);
        for (uint64_t i = bins.first; i < bins.last; ++i)
            if (sums[i] != 0)
                scale.add(blocks[i / values], static_cast<uint32_t>(i % values), sums[i]);
    });
}

/// A mask must be a picture of bytes of this very size, one a pixel.
bool is_mask_of(const SQmPicBuf& mask, const SQmPicBuf& picture) {
    return mask.uiComponents == 1 && mask.uiBpc == 8 && mask.uiWidth == picture.uiWidth &&
           mask.uiHeight == picture.uiHeight && mask.pData != nullptr;
}

int calculate(int* const* blocks, Scale scale, Samples samples, const SQmPicBuf* mask,
              bool* cancel) {
    if (scale.range == 0 && scale.is_limited) return QM_REJECTED;
    if (mask != nullptr && !is_mask_of(*mask, samples.picture)) return QM_REJECTED;
    samples.mask = mask;
    samples.cancel = cancel;
    if (scale.bins <= 0 || samples.picture.pData == nullptr || samples.components == 0)
        return QM_OK;
    if (samples.rows() == 0 || samples.columns() == 0) return QM_OK;
    if (samples.bits() == 8) count<uint8_t>(samples, scale, blocks);
    if (samples.bits() == 16) count<uint16_t>(samples, scale, blocks);
    return QM_OK;  // other depths have no counts
}

int calculate_all(int** blocks, Scale scale, const SQmPicBuf& picture, int samples,
                  const SQmPicBuf* mask, bool* cancel) {
    if (blocks == nullptr) return QM_REJECTED;
    return calculate(blocks, scale, Samples::of_all(picture, steps_for(picture, samples)), mask,
                     cancel);
}

int calculate_one(int* bins, Scale scale, const SQmPicBuf& picture, int component, int samples,
                  const SQmPicBuf* mask, bool* cancel) {
    const auto index = static_cast<uint32_t>(component);
    if (bins == nullptr || component < 0 || index >= picture.uiComponents) return QM_REJECTED;
    return calculate(&bins, scale, Samples::of_one(picture, index, steps_for(picture, samples)),
                     mask, cancel);
}

}  // namespace

int SQmPicBufAPI_Base::CalculateCompHistogram(int** ppBins, int nBins, SQmPicBuf& Pic, int nSamples,
                                              const SQmPicBuf* pMask, bool* pbCancel) {
    return calculate_all(ppBins, Scale::of_depth(nBins, Pic.uiBpc), Pic, nSamples, pMask, pbCancel);
}

int SQmPicBufAPI_Base::CalculateCompHistogram(int** ppBins, int nBins, int iMin, int iMax,
                                              SQmPicBuf& Pic, int nSamples, const SQmPicBuf* pMask,
                                              bool* pbCancel) {
    return calculate_all(ppBins, Scale::of_range(nBins, iMin, iMax), Pic, nSamples, pMask,
                         pbCancel);
}

int SQmPicBufAPI_Base::CalculateHistogram(int* pBins, int nBins, SQmPicBuf& Pic, int iComp,
                                          int nSamples, const SQmPicBuf* pMask, bool* pbCancel) {
    return calculate_one(pBins, Scale::of_depth(nBins, Pic.uiBpc), Pic, iComp, nSamples, pMask,
                         pbCancel);
}

int SQmPicBufAPI_Base::CalculateHistogram(int* pBins, int nBins, int iMin, int iMax, SQmPicBuf& Pic,
                                          int iComp, int nSamples, const SQmPicBuf* pMask,
                                          bool* pbCancel) {
    return calculate_one(pBins, Scale::of_range(nBins, iMin, iMax), Pic, iComp, nSamples, pMask,
                         pbCancel);
}
