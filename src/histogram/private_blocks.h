#pragma once

#include <algorithm>
#include <cstdint>

#include "core/isa.h"
#include "core/rows.h"
#include "core/scratch.h"

namespace qmpic {

/// Blocks of bins for threads that must not meet: each clears its own, counts, waits for the
/// others, and then adds a run of bins up. False when there is no memory.
template <class Bin>
class PrivateBlocks {
  public:
    PrivateBlocks(uint64_t threads, uint64_t blocks, uint64_t bins)
        : blocks_(blocks), bins_(bins), starts_(threads * blocks), all_(threads * blocks * bins) {}
    explicit operator bool() const { return starts_ && all_; }

    /// A thread's blocks, all bins 0.
    void** cleared(uint64_t thread) const {
        Bin* const own = of(thread);
        std::fill_n(own, blocks_ * bins_, Bin{0});
        void** const starts = starts_.get() + thread * blocks_;
        for (uint64_t block = 0; block < blocks_; ++block) starts[block] = own + block * bins_;
        return starts;
    }

    /// Adds threads [first, last) to a run of bins, which wrap.
    void add_to(Bin* sums, uint64_t first, uint64_t last, RowRange run) const {
        on_best_isa([=, all = all_.get(), each = blocks_ * bins_] {
            constexpr uint64_t some = 4096 / sizeof(Bin);  // which stay near while they are summed
            for (uint64_t begin = run.first; begin < run.last; begin += some) {
                const uint64_t end = std::min(begin + some, run.last);
                for (uint64_t thread = first; thread < last; ++thread) {
                    const Bin* const own = all + thread * each;
                    for (uint64_t i = begin; i < end; ++i) sums[i] += own[i];
                }
            }
        });
    }

    /// The bins of a thread, block by block.
    Bin* of(uint64_t thread) const { return all_.get() + thread * blocks_ * bins_; }

  private:
    uint64_t blocks_, bins_;
    Scratch<void*> starts_;
    Scratch<Bin> all_;
};

}  // namespace qmpic
