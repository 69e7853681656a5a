#include <algorithm>

#include "analysis/acquisition_kernels.h"
#include "core/rows.h"
#include "core/scratch.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"

// The gaps that a gain leaves in a histogram.

namespace {

using namespace qmpic;

/// Runs of this many bins that are not low, more often than bins / 50, are those of a histogram
/// that nobody has torn.
constexpr uint32_t kRun = 11;
constexpr uint64_t kLongestGap = 9;

bool is_normal(const uint8_t* low, uint64_t bins) {
    uint64_t runs = 0;
    uint32_t length = 0;
    for (uint64_t i = 1; i + 1 < bins; ++i) {
        length = low[i] != 0 ? 0 : length + 1;
        if (length != kRun) continue;
        length = 0;
        ++runs;
    }
    return runs > bins / 50;
}

/// A straight line between two bins, cut to whole numbers.
template <class Bin>
void draw_line(Sample<Bin>* bins, uint64_t from, uint64_t to) {
    const uint64_t first = bins[from], last = bins[to];
    for (uint64_t k = from + 1; k < to; ++k)
        bins[k] = static_cast<Bin>(((to - k) * first + (k - from) * last) / (to - from));
}

template <class Bin>
void fill_gaps(Sample<Bin>* bins, uint64_t count) {
    const Scratch<uint8_t> low(count);
    if (!low) return;
    uint64_t limit = 0;
    uint8_t* const flags = low.get();
    on_best_isa([=, &limit] {
        uint64_t sum = 0;
        for (uint64_t i = 0; i < count; ++i) sum += bins[i];
        limit = std::max<uint64_t>(sum / count / 20, 10);
        for (uint64_t i = 0; i < count; ++i) flags[i] = bins[i] < limit;
    });
    if (is_normal(flags, count)) return;

    // From a high bin that may begin a line, over low bins behind it, to the next high bin.
    enum { kOutside, kAtHigh, kAtLow } state = kOutside;
    uint64_t start = 0;
    for (uint64_t i = 1; i + 1 < count; ++i) {
        if (flags[i] != 0) {
            if (state != kOutside) state = kAtLow;
        } else if (state == kAtLow && i - 1 - start > kLongestGap) {
            state = kOutside;  // and this bin begins nothing
        } else {
            if (state == kAtLow && bins[start] > 5 * limit && bins[i] > 5 * limit)
                draw_line(bins, start, i);
            state = kAtHigh;
            start = i;
        }
    }
}

}  // namespace

int gainedproblem_1(void* pHistogram, uint32_t uiBinBytes, uint32_t uiBits) {
    const uint64_t count = uint64_t{1} << (uiBits & 63);
    switch (uiBinBytes) {
    case 4: fill_gaps(static_cast<Sample<uint32_t>*>(pHistogram), count); break;
    case 8: fill_gaps(static_cast<Sample<uint64_t>*>(pHistogram), count); break;
    default: break;
    }
    return QM_OK;
}

int gainedproblem_N(void** ppHistograms, uint32_t uiComponent, uint32_t uiBinBytes,
                    uint32_t uiBits) {
    return gainedproblem_1(ppHistograms[uiComponent], uiBinBytes, uiBits);
}

int CQmPicMemAPI_Base::GainedProblem(void** ppHistograms, void* pHistogram, uint32_t uiComponent,
                                     uint32_t uiBinBytes, uint32_t uiComponents, uint32_t uiBits) {
    if (uiBits < 8 || uiBits > 16) return QM_NO_KERNEL;
    if (uiComponents == 1)
        return pHistogram == nullptr ? QM_OK : gainedproblem_1(pHistogram, uiBinBytes, uiBits);
    if (ppHistograms == nullptr || ppHistograms[uiComponent] == nullptr) return QM_OK;
    return gainedproblem_N(ppHistograms, uiComponent, uiBinBytes, uiBits);
}
