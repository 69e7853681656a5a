#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <functional>

#include "core/rows.h"
#include "core/scratch.h"
#include "histogram/counting_loops.h"

/// How bright the brightest hundredth of a picture of words is, by 65,536 counters of 16 bits that
/// wrap: a level with 65,536 pixels counts as one without any.

namespace qmpic {

/// `upper` is the first bin, downward from 65535, where the running sum is a hundredth of the
/// pixels, and 1 when there is none. `lower` is the same upward from bin 0, the sum going on and
/// not starting anew: so it is 0 whenever `upper` was found, and all ones when neither is.
struct SignalLevels {
    uint32_t upper = 1, lower = UINT32_MAX;
};

namespace detail {

class WrappedHistogram {
  public:
    static constexpr uint32_t kBins = 65536;

    WrappedHistogram() : bins_(2 * size_t{kBins}) {}
    explicit operator bool() const { return static_cast<bool>(bins_); }

    /// Counts the values from `least` on.
    template <class Values>
    void count(Area area, uint32_t least, const Values& values) {
        // Two tables by turns, since a bin that is incremented again and again waits for itself.
        const bool two = area.width * area.rows >= kBins && least == 0;
        std::fill_n(bins_.get(), two ? 2 * kBins : kBins, uint16_t{0});
        auto* const bins = reinterpret_cast<Sample<uint16_t>*>(bins_.get());
        auto* const other = two ? bins + kBins : bins;
        walk_rows(kCallingThread, area.rows, [=](RowRange rows) {
            uint16_t some[kSome];
            for (uint64_t y = rows.first; y < rows.last; ++y)
                for (uint64_t x = 0; x < area.width; x += kSome) {
                    const uint64_t n = std::min(kSome, area.width - x);
                    values(some, y, x, n);
                    if (least == 0)
                        count_by_turns<uint16_t>(
                            Counted{nullptr, nullptr, 2, {some, 0}, {1, 1}, 16, {n, 1}}, bins,
                            other);
                    else
                        count_above(some, n, least - 1, bins);
                }
        });
        if (two) add_table(bins, bins_.get() + kBins, kBins);
    }

    /// Does the sum over the bins down to `least` come to the share?
    bool find_upper(uint32_t least, uint32_t share, SignalLevels* levels) {
        sum_ = 0;
        for (uint32_t bin = kBins; bin-- > least;)
            if ((sum_ += bins_[bin]) >= share) {
                *levels = {bin, 0};
                return true;
            }
        return false;
    }
    void find_lower_when_there_is_no_upper(uint32_t share, SignalLevels* levels) {
        for (uint32_t bin = 0; bin < kBins; ++bin)
            if ((sum_ += bins_[bin]) >= share) return void(levels->lower = bin);
    }

  private:
    static constexpr uint64_t kSome = 4096;

    static void count_above(const uint16_t* values, uint64_t n, uint32_t floor,
                            Sample<uint16_t>* bins) {
        const __m128i floors = _mm_set1_epi16(static_cast<int16_t>(floor));
        const __m128i zero = _mm_setzero_si128();
        const auto is_dark = [=](const uint16_t* eight) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(eight));
            return _mm_cmpeq_epi16(_mm_subs_epu16(v, floors), zero);
        };
        uint64_t i = 0;
        for (; i + 16 <= n; i += 16) {
            const __m128i dark = _mm_packs_epi16(is_dark(values + i), is_dark(values + i + 8));
            for (auto bright = static_cast<uint32_t>(_mm_movemask_epi8(dark)) ^ 0xFFFF; bright != 0;
                 bright &= bright - 1)
                bump(bins, values[i + static_cast<uint32_t>(std::countr_zero(bright))]);
        }
        for (; i < n; ++i)
            if (values[i] > floor) bump(bins, values[i]);
    }

    Scratch<uint16_t> bins_;
    uint32_t sum_ = 0;
};

/// A value that is likely to be below the level that is looked for, with few values above: only
/// those need be counted then. 0 when there is none.
template <class Values>
uint32_t guess_floor(Area area, const Values& values) {
    constexpr uint32_t spots = 512, each = 8, drawn = spots * each;
    // A hundredth of the sample is 41; four times the deviation of that are 26.
    constexpr uint32_t rank = 67;
    if (area.width < each || area.width * area.rows < 1 << 17) return 0;
    uint16_t sample[drawn];
    for (uint64_t i = 0; i < spots; ++i)
        values(sample + i * each, area.rows * i / spots,
               (area.width - each) * (i * 197 % spots) / spots, each);
    std::nth_element(sample, sample + rank, sample + drawn, std::greater<>{});
    const uint32_t floor = sample[rank];
    const auto above = std::count_if(sample, sample + drawn, [=](auto v) { return v >= floor; });
    return above < drawn / 8 ? floor : 0;
}

}  // namespace detail

/// Looks through an area for the levels; `size` is the number of pixels of which a hundredth,
/// rounded down, is looked for. `values(to, y, x, n)` writes the values of n pixels of a row and is
/// compiled for each instruction set; it may be called twice for a pixel. False when there is no
/// memory.
template <class Values>
bool find_signal_levels(Area area, uint64_t size, const Values& values, SignalLevels* levels) {
    const auto share = static_cast<uint32_t>(size / 100);
    if (share == 0) {  // which the first bin has
        *levels = {detail::WrappedHistogram::kBins - 1, 0};
        return true;
    }
    *levels = {};
    detail::WrappedHistogram histogram;
    if (!histogram) return false;
    if (const uint32_t floor = detail::guess_floor(area, values); floor != 0) {
        histogram.count(area, floor, values);
        if (histogram.find_upper(floor, share, levels)) return true;
    }
    histogram.count(area, 0, values);
    if (!histogram.find_upper(0, share, levels))
        histogram.find_lower_when_there_is_no_upper(share, levels);
    return true;
}

}  // namespace qmpic
