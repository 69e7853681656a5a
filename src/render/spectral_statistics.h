#pragma once

#include <algorithm>
#include <cstdint>

#include "core/scratch.h"
#include "qmpic/Histo.h"
#include "qmpic/status.h"
#include "render/spectral_sums.h"

/// Histograms, maxima and limits of the sums of a spectral picture. Each thread of a team, one a
/// processor, counts by itself; what they found is put together in the calling thread.

namespace qmpic {

/// The bin of a sum: min(sum * scale + 0.5, most), cut, of which the bits in `kept` count.
struct SumBins {
    float scale, most;
    uint32_t kept;
    uint32_t of(float sum) const {
        const float place = sum * scale + 0.5f;
        const float below = place > most ? most : place;
        // What is no number, or too small a one, counts as the least of 32 bits.
        const float number = below > -2147483648.0f ? below : -2147483648.0f;
        return static_cast<uint32_t>(static_cast<int32_t>(number)) & kept;
    }
};

/// Histograms of the cells blue, green and red.
struct SumHistograms {
    uint32_t* of[3];
    bool any_missing() const { return !of[0] || !of[1] || !of[2]; }
};

/// Counts into private bins, kept + 1 for each cell; then the histograms are cleared and theirs.
template <class T, class Rows>
int count_sums(const SumHistograms& histograms, const SpectralPicture<T, Rows>& picture,
               SumBins bins) {
    const Team team = one_a_processor();
    // Small histograms stand twice, for pixels by turns: a bin that is hit again and again waits
    // for itself.
    const uint64_t count = uint64_t{bins.kept} + 1, copies = count == 256 ? 2 : 1;
    const uint64_t each = 3 * copies * count;
    const Scratch<uint32_t> all(std::max(team.most, 1u) * each);
    if (!all) return QM_NO_MEMORY;
    uint64_t threads = 1;
    in_team(team, [&, first = all.get()](Member member) {
        if (member.index == 0) threads = member.count;
        uint32_t* const own = first + member.index * each;
        std::fill_n(own, each, 0u);
        on_best_isa([=, rows = rows_of(member, picture.area.rows)] {
            SpectralBlock block;
            picture.each_block(rows, [&](const Sample<T>* row, uint64_t, uint64_t x, uint64_t n) {
                picture.sum(row, x, n, block);
                const uint64_t end = SpectralBlock::whole_vectors(n);
                for (uint32_t k = 0; k < 3; ++k)
                    for (uint64_t i = 0; i < end; ++i)
                        block.words[k][i] = bins.of(block.sums[k][i]);
                uint32_t* const other = own + (copies - 1) * 3 * count;
                for (uint64_t i = 0; i < n; ++i) {
                    uint32_t* const turn = i % 2 == 0 ? own : other;
                    for (uint32_t k = 0; k < 3; ++k) ++turn[k * count + block.words[k][i]];
                }
            });
        });
    });
    for (uint32_t* histogram : histograms.of) std::fill_n(histogram, count, 0u);
    for (uint64_t copy = 0; copy < threads * copies; ++copy)
        for (uint32_t k = 0; k < 3; ++k)
            for (uint64_t i = 0; i < count; ++i)
                histograms.of[k][i] += all[(3 * copy + k) * count + i];
    return QM_OK;
}

/// The greatest sums, at least 0, of blue, green and red, times `scale`.
template <class T, class Rows>
int find_greatest_sums(double* greatest, const SpectralPicture<T, Rows>& picture, float scale) {
    const Team team = one_a_processor();
    const uint64_t most = std::max(team.most, 1u);
    const Scratch<float> all(3 * most);
    if (!all) return QM_NO_MEMORY;
    std::fill_n(all.get(), 3 * most, 0.0f);
    in_team(team, [&, first = all.get()](Member member) {
        float* const own = first + 3 * member.index;
        on_best_isa([=, rows = rows_of(member, picture.area.rows)] {
            SpectralBlock block;
            // A vector of pixels is compared at once, and those in it at the end.
            constexpr uint64_t vector = SpectralBlock::kVector;
            float lanes[3][vector] = {};
            picture.each_block(rows, [&](const Sample<T>* row, uint64_t, uint64_t x, uint64_t n) {
                picture.sum(row, x, n, block);
                for (auto& sums : block.sums)
                    std::fill(sums + n, sums + SpectralBlock::whole_vectors(n), 0.0f);
                for (uint32_t k = 0; k < 3; ++k)
                    for (uint64_t at = 0; at < n; at += vector)
                        for (uint64_t i = 0; i < vector; ++i) {
                            const float sum = block.sums[k][at + i];
                            lanes[k][i] = sum > lanes[k][i] ? sum : lanes[k][i];
                        }
            });
            for (uint32_t k = 0; k < 3; ++k)
                own[k] = *std::max_element(lanes[k], lanes[k] + vector);
        });
    });
    for (uint32_t k = 0; k < 3; ++k) {
        float found = 0;
        for (uint64_t thread = 0; thread < most; ++thread)
            found = std::max(found, all[3 * thread + k]);
        greatest[k] = static_cast<double>(found * scale);
    }
    return QM_OK;
}

/// What percentiles of the sums are asked for, and where they go; `high` may be null.
struct SumLimits {
    double *low, *high;
    double low_percent, high_percent;

    static double fraction(double percent) {
        return percent >= 0 ? std::max(percent / 100.0, 2.220446049250313e-16) : -1.0;
    }

    /// By histograms of 2^bits bins that `count` fills, with bins made numbers by `unit`; of red,
    /// green and blue.
    template <class Count>
    int find(uint32_t width, uint32_t rows, uint32_t bits, double unit, Count count) const {
        struct Temporary : SQmHisto {
            Temporary() { CQmHistoAPI_Base::Init(this); }
            ~Temporary() { CQmHistoAPI_Base::Free(this); }
            Temporary(const Temporary&) = delete;
            Temporary& operator=(const Temporary&) = delete;
            uint32_t* block(uint32_t c) const { return static_cast<uint32_t*>(ppCompData[c]); }
        } histo;
        SQmPicBufDesc desc{};
        desc.uiWidth = width;
        desc.uiHeight = rows;
        desc.uiBpc = static_cast<uint8_t>(bits);
        desc.uiComponents = 3;
        CQmHistoAPI_Base::Reinit32(&histo, &desc);
        if (histo.pData == nullptr || histo.ppCompData == nullptr) return QM_NO_MEMORY;
        const int code = count(SumHistograms{{histo.block(2), histo.block(1), histo.block(0)}});
        if (code != QM_OK) return code;
        const uint32_t top = (1u << bits) - 1;
        uint32_t lows[3] = {}, highs[3] = {top, top, top};
        CQmHistoAPI_Base::GetLowHigh(&histo, lows, highs, fraction(low_percent),
                                     fraction(high_percent));
        for (uint32_t c = 0; c < 3; ++c) {
            low[c] = lows[c] * unit;
            if (high != nullptr) high[c] = highs[c] * unit;
        }
        return QM_OK;
    }

    /// Without percentiles.
    template <class Greatest>
    int find_greatest(Greatest greatest) const {
        if (high != nullptr)
            if (const int code = greatest(high); code != QM_OK) return code;
        std::fill_n(low, 3, 0.0);
        return QM_OK;
    }
};

}  // namespace qmpic
