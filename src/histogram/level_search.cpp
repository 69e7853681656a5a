#include "histogram/level_search.h"

#include <algorithm>

#include "core/isa.h"
#include "histogram/read_blocks.h"

// Walks through the bins of components from both ends until a share of the pixels is reached.

namespace {

using namespace qmpic;

enum Way { kUp, kDown };

/// No more bins than these are looked at.
constexpr uint32_t kMostBits = 16;
/// Bins whose sum is made at once, which is several times faster than to test each.
constexpr uint32_t kStretch = 256;
/// The sums of all stretches.
using Stretches = uint64_t[(1u << kMostBits) / kStretch];

uint32_t bins_to_search(const SQmHisto& histo) { return 1u << std::min(histo.uiBits, kMostBits); }

/// Calls `visit(first, count)` with the stretches of some bins.
template <class Visit>
void for_each_stretch(uint32_t from, uint32_t to, Visit visit) {
    for (; from < to; from += kStretch) visit(from, std::min(kStretch, to - from));
}

template <class Bin>
uint64_t sum(const Sample<Bin>* bins, uint32_t from, uint32_t count) {
    uint64_t all = 0;
    for (uint32_t i = from; i < from + count; ++i) all += bins[i].value;
    return all;
}

/// The first bin from `from` up, or from `to` - 1 down, with which the sum reaches a target.
/// @param sum_of  the sum of (first bin, number of bins)
/// @param value_of  that of a bin
template <Way way, class SumOf, class ValueOf>
std::optional<uint32_t> first_reaching(uint64_t target, uint32_t from, uint32_t to, SumOf sum_of,
                                       ValueOf value_of) {
    uint64_t left = target;
    for (uint32_t done = 0, all = to > from ? to - from : 0; done < all;) {
        const uint32_t count = std::min(kStretch, all - done);
        const uint64_t here = sum_of(way == kUp ? from + done : to - done - count, count);
        if (here < left) {
            left -= here;
            done += count;
            continue;
        }
        for (;; ++done) {
            const uint32_t at = way == kUp ? from + done : to - 1 - done;
            const uint64_t value = value_of(at);
            if (value >= left) return at;
            left -= value;
        }
    }
    return {};
}

/// A percentage of 0, or less, is one pixel.
uint64_t target(double percent, uint64_t pixels) {
    const double share = percent / 100.0 * static_cast<double>(pixels);
    if (!(share >= 1)) return 1;
    return share < 0x1p64 ? static_cast<uint64_t>(share) : UINT64_MAX;
}

template <class Bin>
class Search {
  public:
    Search(const Blocks<Bin>& blocks, uint32_t first, uint32_t end)
        : blocks_(blocks), first_(first), end_(end), bins_(bins_to_search(blocks.histo)) {}

    /// Pixels of the first component, or of the first that has any.
    uint64_t pixels() {
        uint64_t all = 0;
        for_each_stretch(0, bins_, [&](uint32_t from, uint32_t count) {
            all += sums_[from / kStretch] = sum(blocks_[first_], from, count);
        });
        for (uint32_t c = 0; all == 0 && c < blocks_.histo.uiComponents; ++c)
            all = sum(blocks_[c], 0, bins_);
        return all;
    }

    // Where components reach the target in the same bin, the first of them counts. So each further
    // one need only be walked through until it would not come before what is found already.

    void low(uint64_t target, FoundLevels& found) const {
        uint32_t to = bins_;
        for (uint32_t c = first_; c < end_; ++c)
            if (const auto at = reached<kUp>(c, target, 0, to)) {
                to = found.low = *at;
                found.low_component = c;
            }
    }
    void high(uint64_t target, FoundLevels& found) const {
        uint32_t from = 0;
        for (uint32_t c = first_; c < end_; ++c)
            if (const auto at = reached<kDown>(c, target, from, bins_)) {
                found.high = *at;
                from = *at + 1;
                found.high_component = c;
            }
    }
    /// Behind which half of what lies from low to below high has been passed, in all components.
    void mid(FoundLevels& found) const {
        const uint32_t low = found.low, high = found.high;
        if (low >= high) return;
        Stretches between{};
        uint64_t all = 0;
        for (uint32_t c = first_; c < end_; ++c)
            for_each_stretch(low, high, [&](uint32_t from, uint32_t count) {
                const uint64_t here = sum(blocks_[c], from, count);
                between[(from - low) / kStretch] += here;
                all += here;
            });
        const auto sum_of = [&](uint32_t from, uint32_t) {
            return between[(from - low) / kStretch];
        };
        const auto value_of = [this](uint32_t at) {
            uint64_t value = 0;
            for (uint32_t c = first_; c < end_; ++c) value += blocks_[c][at].value;
            return value;
        };
        found.mid = first_reaching<kUp>(all / 2, low, high, sum_of, value_of).value_or(low);
    }

  private:
    template <Way way>
    std::optional<uint32_t> reached(uint32_t component, uint64_t target, uint32_t from,
                                    uint32_t to) const {
        const Sample<Bin>* const bins = blocks_[component];
        const auto sum_of = [=](uint32_t first, uint32_t count) { return sum(bins, first, count); };
        const auto known = [this](uint32_t first, uint32_t) { return sums_[first / kStretch]; };
        const auto value_of = [=](uint32_t at) { return uint64_t{bins[at].value}; };
        return component == first_ ? first_reaching<way>(target, from, to, known, value_of)
                                   : first_reaching<way>(target, from, to, sum_of, value_of);
    }

    const Blocks<Bin>& blocks_;
    uint32_t first_, end_, bins_;
    Stretches sums_;  // of the first component, whose stretches are walked through from both ends
};

template <class Bin>
void run(const Blocks<Bin>& blocks, uint32_t first, uint32_t end, Percents percents, bool with_mid,
         FoundLevels& found) {
    on_best_isa([&, first, end, percents, with_mid] {
        Search<Bin> search(blocks, first, end);
        const uint64_t pixels = search.pixels();
        search.low(target(percents.low, pixels), found);
        search.high(target(percents.high, pixels), found);
        if (with_mid) search.mid(found);
    });
}

void mend(FoundLevels& found, uint32_t top) {
    if (found.low < found.high) return;
    if (found.high < 1 || found.high >= top) {
        found.low = 0;
        found.high = top;
    } else {
        found.low = found.high - 1;
    }
}

}  // namespace

namespace qmpic {

std::optional<FoundLevels> find_levels(const SQmHisto* histo, uint32_t first, uint32_t end,
                                       Percents percents, Mend mended, bool with_mid) {
    if (histo == nullptr || !has_blocks(*histo) || first >= histo->uiComponents ||
        end > histo->uiComponents)
        return {};
    const uint32_t bins = bins_to_search(*histo);
    FoundLevels found{.low = bins - 1, .high = 0, .mid = bins / 2};
    with_blocks(*histo, [&](auto blocks) {
        run(blocks, first, std::max(end, first + 1), percents, with_mid, found);
    });
    found.found_low = found.low;
    found.found_high = found.high;
    if (mended == Mend::kYes) mend(found, bins - 1);
    found.mid = std::max(found.low, std::min(found.mid, found.high));
    return found;
}

}  // namespace qmpic
