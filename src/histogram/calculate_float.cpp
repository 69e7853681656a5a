#include <algorithm>
#include <array>
#include <cfloat>

#include "core/rows.h"
#include "histogram/blocks.h"
#include "qmpic/FloatPicBuf.h"
#include "qmpic/Histo.h"
#include "qmpic/status.h"
#include "qmpic/system/Alloc.h"

// The histogram of a picture of floats: values are scaled by the extremes that travel with it.

namespace {

using namespace qmpic;

constexpr uint32_t kMost = 192;  // components
constexpr uint32_t kSome = 256;  // pixels whose bins are found at once

struct Limits {
    float min, max;
};

/// The extremes of each component: those that the picture carries, or, when these are unknown, what
/// is found in it and then carried.
void find_limits(SQmFloatPicBuf& picture, std::array<Limits, kMost>& limits) {
    const uint32_t count = picture.uiComponents;
    bool known = picture.pfMinComp != nullptr && picture.pfMaxComp != nullptr;
    for (uint32_t c = 0; known && c < count; ++c) {
        limits[c] = {picture.pfMinComp[c], picture.pfMaxComp[c]};
        known = !(limits[c].min > limits[c].max);
    }
    if (known) return;
    for (float** const carried : {&picture.pfMinComp, &picture.pfMaxComp})
        if (*carried == nullptr)
            *carried = static_cast<float*>(CQmAlloc::Alloc(0, count * sizeof(float), 16));
    std::array<float, kMost> min, max;
    SQmFloatPicBufAPI_Base::GetFloatMinMax(&picture, min.data(), max.data());
    for (uint32_t c = 0; c < count; ++c) {
        limits[c] = {min[c], max[c]};
        if (picture.pfMinComp != nullptr) picture.pfMinComp[c] = min[c];
        if (picture.pfMaxComp != nullptr) picture.pfMaxComp[c] = max[c];
    }
}

/// Those of all components.
Limits common_limits(const SQmFloatPicBuf& picture) {
    Limits all{FLT_MAX, -FLT_MAX};
    for (uint32_t c = 0; c < picture.uiComponents; ++c) {
        if (picture.pfMinComp != nullptr && picture.pfMinComp[c] < all.min)
            all.min = picture.pfMinComp[c];
        if (picture.pfMaxComp != nullptr && picture.pfMaxComp[c] > all.max)
            all.max = picture.pfMaxComp[c];
    }
    return all;
}

/// The low 32 bits of a float truncated to 64, as a vector can do it: 0 from 2^55 on, where they
/// are, and for infinities and NaN. Below, what is above 2^32 is taken away, which is exact.
uint32_t low_word(float value) {
    const float inside = value > -0x1p55f && value < 0x1p55f ? value : 0.0f;
    const float high = static_cast<float>(static_cast<int32_t>(inside * 0x1p-32f));
    const float low = inside - high * 0x1p32f;  // between -2^32 and 2^32
    const float turn = low >= 0x1p31f ? -0x1p32f : low < -0x1p31f ? 0x1p32f : 0.0f;
    return static_cast<uint32_t>(static_cast<int32_t>(low + turn));
}

/// The bin of each value, in single precision and in this order.
void find_bins(uint32_t* bins, const float* values, uint32_t count, Limits limits, float last) {
    const float range = limits.max - limits.min;
    for (uint32_t i = 0; i < count; ++i)
        bins[i] = low_word((values[i] - limits.min) / range * last);
}

/// What is beyond the block is not counted.
void count_bins(uint32_t* block, uint64_t size, const uint32_t* bins, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i)
        if (bins[i] < size) ++block[bins[i]];
}

/// What is counted of a picture, all of it within the picture, and where. Bins are words of 4 bytes
/// here, whatever the record says: of wider ones, those at the beginning of a block.
struct Job {
    FloatSrc src;
    uint32_t components, left, top, columns, rows, step;
    const Limits* limits;
    Limits common;
    void* intensity;
    void* const* blocks;
    uint64_t bins;

    void count(const uint32_t* found, uint32_t count, void* block) const {
        count_bins(static_cast<uint32_t*>(block), bins, found, count);
    }
    void count_row(uint64_t y) const {
        float values[kSome], sums[kSome];
        uint32_t found[kSome];
        const auto last = static_cast<float>(bins - 1), divisor = static_cast<float>(components);
        const uint64_t pixel = uint64_t{step} * components;
        const Sample<float>* s = src.row(top + y) + uint64_t{left} * components;
        for (uint32_t x = 0; x < columns; x += kSome, s += kSome * pixel) {
            const uint32_t some = std::min(kSome, columns - x);
            std::fill_n(sums, some, 0.0f);
            for (uint32_t c = 0; c < components; ++c) {
                for (uint32_t i = 0; i < some; ++i) values[i] = s[i * pixel + c];
                for (uint32_t i = 0; i < some; ++i) sums[i] += values[i];
                find_bins(found, values, some, limits[c], last);
                count(found, some, blocks[c]);
            }
            if (components == 1) continue;  // its own intensity
            for (uint32_t i = 0; i < some; ++i) sums[i] /= divisor;
            find_bins(found, sums, some, common, last);
            count(found, some, intensity);
        }
    }
};

/// The rectangle of a record, or the whole picture in every other mode.
void take_rectangle(Job& job, const SQmHisto& histo, const SQmFloatPicBuf& picture) {
    uint32_t width = picture.uiWidth;
    job.rows = picture.uiHeight;
    if (histo.uiRoiMode == 1) {
        job.left = std::min(histo.uiLeft, picture.uiWidth);
        job.top = std::min(histo.uiTop, picture.uiHeight);
        width = std::min(histo.uiWidth, picture.uiWidth - job.left);
        job.rows = std::min(histo.uiHeight, picture.uiHeight - job.top);
    }
    job.step = std::max(histo.uiStepX, 1u);
    job.columns = width == 0 ? 0 : (width - 1) / job.step + 1;
}

}  // namespace

int CQmHistoAPI_Base::Calculate(SQmHisto* pHisto, SQmFloatPicBuf* pBuf, bool /*bReset*/) {
    if (pHisto == nullptr) return QM_BAD_BUFFER;
    ResetToZero(pHisto);  // whatever the caller says
    if (pBuf == nullptr || pBuf->pfData == nullptr) return QM_BAD_BUFFER;
    if (pBuf->uiComponents != pHisto->uiComponents) return QM_BAD_BUFFER;
    if (pBuf->uiComponents > kMost) return QM_TOO_MANY;

    std::array<Limits, kMost> limits;
    find_limits(*pBuf, limits);
    pHisto->uiStepY = 1;  // for good: there is no row step here
    if (!has_blocks(*pHisto) || pHisto->uiBinBytes < 4) return QM_OK;
    Job job{{pBuf->pfData, pBuf->uiWidthBytes},
            pBuf->uiComponents,
            0,
            0,
            0,
            0,
            0,
            limits.data(),
            common_limits(*pBuf),
            pHisto->pData,
            pHisto->ppCompData,
            bins_of(*pHisto)};
    take_rectangle(job, *pHisto, *pBuf);
    if (job.components == 0 || job.columns == 0) return QM_OK;
    walk_rows(kCallingThread, job.rows, [=](RowRange rows) {
        for (uint64_t y = rows.first; y < rows.last; ++y) job.count_row(y);
    });
    return QM_OK;
}
