#include "stretch/runs.h"

#include <algorithm>

namespace qmpic {

Runs::Runs(const Contributions& lists, int64_t origin)
    : size_(lists.size()), first_(size_), begin_(size_t{size_} + 1), weights_(lists.weights()) {
    if (!*this) return;
    size_t at = 0;
    for (uint32_t i = 0; i < size_; ++i) {
        const Contributions::List list = lists[i];
        const int64_t first = lists.sample(list.first);
        int16_t* const run = weights_.get() + at;
        size_t count = 0;
        for (uint32_t k = 0; k < list.count; ++k) {
            const auto place = static_cast<size_t>(lists.sample(list.first + k) - first);
            if (place == count) run[count++] = 0;
            run[place] = static_cast<int16_t>(run[place] + list.weights[k]);
        }
        first_[i] = count == 0 ? 0 : static_cast<uint32_t>(first - origin);
        begin_[i] = at;
        at += count;
        longest_ = std::max(longest_, static_cast<uint32_t>(count));
    }
    begin_[size_] = at;
}

PairRuns::PairRuns(const Runs& runs)
    : first_(runs.size()),
      begin_(size_t{runs.size()} + 1),
      weights_(runs.weights() / 2 + 2 * size_t{runs.size()}) {
    if (!*this) return;
    size_t at = 0;
    for (uint32_t i = 0; i < runs.size(); ++i) {
        const Runs::Run run = runs[i];
        const uint32_t pair = run.first / 2, odd = run.first % 2;
        const uint32_t count = (odd + run.count + 1) / 2;
        std::fill_n(weights_.get() + at, count, 0u);
        for (uint32_t k = 0; k < run.count; ++k)
            weights_[at + (odd + k) / 2] |= static_cast<uint32_t>(run.weights[k])
                                            << (odd + k) % 2 * 16;
        first_[i] = pair;
        begin_[i] = at;
        at += count;
        longest_ = std::max(longest_, count);
    }
    begin_[runs.size()] = at;
}

}  // namespace qmpic
