#pragma once

#include <cstdint>

#include "core/rows.h"
#include "stretch/runs.h"

/// The two passes over bytes and words.
///
/// The band between them is kept as pairs of rows: a word of 32 bits holds the results of an even
/// row (low half) and of the odd row below, ready for a product of pairs that are summed. 16 bits
/// of such a product are signed: words are lowered by 32768 when they are read, and raised when
/// they are written, which changes nothing between, because the weights of a run sum up to 1024 and
/// the shift after a pass is arithmetic.

namespace qmpic {

/// What the first pass is made of: a source line without its origin, and the runs of all pixels.
struct Lines {
    const Runs* runs;
    uint32_t components;
    uint64_t samples() const { return uint64_t{runs->size()} * components; }
};

/// What a sample is lowered by in a band.
template <class T>
inline constexpr uint32_t kBandBias = sizeof(T) == 2 ? 0x8000 : 0;

/// One pair of the band from two rows, which may be the same. Any components, any level.
template <class T>
void filter_lines(uint32_t* pair, const Sample<T>* even, const Sample<T>* odd, Lines lines);

/// One row of the destination from pairs of the band. A word of `weights` holds those of the two
/// rows as a pair does. `samples` of a pair are read in blocks of 64.
template <class T>
using FilterColumns = void(Sample<T>* row, const uint32_t* const* pairs, const uint32_t* weights,
                           uint32_t count, uint64_t samples);
inline constexpr uint64_t kBandBlock = 64;

/// The fastest of the active level.
template <class T>
FilterColumns<T>* columns_filter() noexcept;

}  // namespace qmpic
