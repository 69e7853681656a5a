#include <algorithm>
#include <array>
#include <bit>
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

constexpr int32_t magnitude(float value) {  // orders floats as their absolute values
    return static_cast<int32_t>(std::bit_cast<uint32_t>(value) & 0x7FFFFFFF);
}

/// The low 32 bits of numbers truncated to 64, which loses the numbers. They are 0 for infinities,
/// NaN and from 2^55 on. Below, multiples of 2^32 and of 2^8 are taken away first, all of which is
/// exact.
void find_low_words(uint32_t* words, float* values, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i)
        values[i] = magnitude(values[i]) < magnitude(0x1p55f) ? values[i] : 0;
    for (uint32_t i = 0; i < count; ++i) {  // apart: with the choice above it would be branches
        const auto above = static_cast<float>(static_cast<int32_t>(values[i] * 0x1p-32f));
        const float low = values[i] - above * 0x1p32f;
        const auto high = static_cast<int32_t>(low * 0x1p-8f);
        const auto rest = static_cast<int32_t>(low - static_cast<float>(high) * 0x1p8f);
        words[i] = static_cast<uint32_t>(high) * 256 + static_cast<uint32_t>(rest);
    }
}

/// The bin of each value in single precision and in this order.
void find_bins(uint32_t* bins, const float* values, uint32_t count, Limits limits, float last) {
    float scaled[kSome];
    const float range = limits.max - limits.min;
    int32_t large = 0;  // are there any?
    for (uint32_t i = 0; i < count; ++i) {
        scaled[i] = (values[i] - limits.min) / range * last;
        large |= magnitude(scaled[i]) >= magnitude(0x1p31f);
    }
    if (large != 0) return find_low_words(bins, scaled, count);
    for (uint32_t i = 0; i < count; ++i)
        bins[i] = static_cast<uint32_t>(static_cast<int32_t>(scaled[i]));
}

/// Counts bins within 2^bits. Equal neighbours are counted at once, since a bin that is incremented
/// again and again waits for itself.
void count_bins(uint32_t* block, uint64_t size, const uint32_t* bins, uint32_t count) {
    constexpr uint32_t few = 16;
    uint32_t i = 0;
    for (; i + few <= count; i += few) {
        uint32_t differ = 0;
        for (uint32_t k = 0; k < few; ++k) differ |= bins[i + k] ^ bins[i];
        if (differ == 0) {
            if (bins[i] < size) block[bins[i]] += few;
            continue;
        }
        for (uint32_t k = 0; k < few; ++k)
            if (bins[i + k] < size) ++block[bins[i + k]];
    }
    for (; i < count; ++i)
        if (bins[i] < size) ++block[bins[i]];
}

using Planes = float[4][kSome];

template <uint32_t n>
void take_apart(Planes& planes, const Sample<float>* s, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i)
        for (uint32_t c = 0; c < n; ++c) planes[c][i] = s[i * n + c];
}

/// Takes n components of pixels apart, from s on, pixels lying `step` floats from one another.
void take_apart(Planes& planes, uint32_t n, const Sample<float>* s, uint64_t step, uint32_t count) {
    switch (n == step ? n : 0) {  // as constants, for vectors
    case 1: return take_apart<1>(planes, s, count);
    case 2: return take_apart<2>(planes, s, count);
    case 3: return take_apart<3>(planes, s, count);
    case 4: return take_apart<4>(planes, s, count);
    }
    for (uint32_t c = 0; c < n; ++c)
        for (uint32_t i = 0; i < count; ++i) planes[c][i] = s[i * step + c];
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

    void count(const float* values, uint32_t some, Limits of, void* block) const {
        uint32_t found[kSome];
        find_bins(found, values, some, of, static_cast<float>(bins - 1));
        count_bins(static_cast<uint32_t*>(block), bins, found, some);
    }
    void count_row(uint64_t y) const {
        Planes planes;
        float sums[kSome];
        const uint64_t pixel = uint64_t{step} * components;
        const Sample<float>* s = src.row(top + y) + uint64_t{left} * components;
        for (uint32_t x = 0; x < columns; x += kSome, s += kSome * pixel) {
            const uint32_t some = std::min(kSome, columns - x);
            std::fill_n(sums, some, 0.0f);
            for (uint32_t c = 0; c < components; c += 4) {
                const uint32_t n = std::min(4u, components - c);
                take_apart(planes, n, s + c, pixel, some);
                for (uint32_t k = 0; k < n; ++k) {
                    for (uint32_t i = 0; i < some; ++i) sums[i] += planes[k][i];
                    count(planes[k], some, limits[c + k], blocks[c + k]);
                }
            }
            if (components == 1) continue;  // its own intensity
            for (uint32_t i = 0; i < some; ++i) sums[i] /= static_cast<float>(components);
            count(sums, some, common, intensity);
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
