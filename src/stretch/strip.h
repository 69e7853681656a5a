#pragma once

#include <omp.h>

#include <algorithm>
#include <cstring>

#include "core/rows.h"
#include "core/scratch.h"

/// The band between the two passes, which is never there as a whole: a thread goes through its
/// destination rows in the order of the source and keeps the band rows of one of them in a ring, in
/// blocks of as many as the first pass makes at a time. So the working memory does not grow with
/// the height of the picture, a band row is still in the cache when it is used, and the passes need
/// one parallel region. Rows that two threads need are made by both.

namespace qmpic {

/// Rings for all threads that a team may have, made in front of the region.
template <class Word>
class Strips {
  public:
    /// `capacity` blocks of `lines` x `words` for each of the threads of a team that shares `rows`.
    Strips(uint64_t rows, uint64_t words, uint64_t lines, uint64_t capacity)
        : words_(words),
          block_(product(words, lines)),
          capacity_(capacity),
          count_(std::min<uint64_t>(static_cast<uint64_t>(omp_get_max_threads()), rows)),
          memory_(product(product(block_, capacity), count_)),
          blocks_(product(capacity, count_)) {}
    explicit operator bool() const { return memory_ && blocks_; }

    /// Words behind the first `used` of all lines become 0, since they are read in groups.
    void clear_behind(uint64_t used) const {
        if (used == words_) return;
        Word* const end = memory_.get() + block_ * capacity_ * count_;
        for (Word* line = memory_.get(); line != end; line += words_)
            std::memset(line + used, 0, (words_ - used) * sizeof(Word));
    }

    /// For each of `range`, ascending or descending: pass.finish(y, blocks), blocks being what
    /// pass.make(block, j) made of the blocks of the band that pass.rows(y) names, whose first and
    /// last never go back along the way.
    template <class Pass>
    void walk(uint64_t thread, RowRange range, bool descending, const Pass& pass) const {
        if (range.first == range.last) return;
        Word* const ring = memory_.get() + thread * capacity_ * block_;
        const Word** const blocks = blocks_.get() + thread * capacity_;
        uint64_t made = 0;  // all below
        for (uint64_t i = range.first; i < range.last; ++i) {
            const uint64_t y = descending ? range.first + (range.last - 1 - i) : i;
            const auto [first, count] = pass.rows(y);
            for (made = std::max(made, first); made < first + count; ++made)
                pass.make(ring + made % capacity_ * block_, made);
            for (uint64_t k = 0; k < count; ++k)
                blocks[k] = ring + (first + k) % capacity_ * block_;
            pass.finish(y, blocks);
        }
    }

  private:
    static size_t product(uint64_t a, uint64_t b) {
        size_t result = 0;
        return __builtin_mul_overflow(a, b, &result) ? SIZE_MAX : result;
    }

    uint64_t words_, block_, capacity_, count_;
    Scratch<Word> memory_;
    Scratch<const Word*> blocks_;
};

/// Rows, or blocks of rows, [first, first + count).
struct BandRows {
    uint64_t first, count;
};

}  // namespace qmpic
