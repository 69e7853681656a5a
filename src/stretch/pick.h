#pragma once

#include <cstddef>
#include <cstdint>

#include "core/rows.h"
#include "core/scratch.h"

/// Rows of pixels picked out of other rows, always the same columns.

namespace qmpic {

/// Sixteen bytes of a row at a time: each is a byte of one of `vectors` vectors side by side.
struct PickBlocks {
    const int64_t*
        from;  ///< a block: where its vectors begin, from the lowest pixel that is picked
    const uint8_t* masks;  ///< a block: a shuffle for each vector, 0x80 where another has the byte
    uint64_t bytes;        ///< of a picked row, 16 at least: the last block ends with it
    uint32_t vectors;      ///< 1 to kMostVectors

    static constexpr uint64_t kBytes = 16;
    static constexpr uint32_t kMostVectors = 8;
};
/// `next` is asked for as `s` is read.
void pick_blocks_avx2(uint8_t* d, const uint8_t* s, const uint8_t* next, const PickBlocks& blocks);

/// The columns of a call, and how they are picked. To be made for so many pixels of so many bytes
/// in about so many rows, tested for memory, filled, and prepared.
class Picker {
  public:
    Picker(uint32_t count, uint64_t pixel_bytes, uint64_t rows);
    explicit operator bool() const { return static_cast<bool>(memory_); }

    uint32_t* columns() const { return columns_; }

    /// The columns from `first` to below `end` will be picked, out of rows whose pixels from `low`
    /// to below `high` may be read, as may all that are picked.
    void prepare(uint32_t first, uint32_t end, uint64_t low, uint64_t high);

    /// The lowest of the columns that are picked.
    uint32_t lowest() const { return lowest_; }
    /// d: the pixel of column `first`; s: pixel `lowest()` of the row. They do not overlap. The row
    /// that will be picked next is asked for: rows that are left out stop the processor's own look
    /// ahead.
    void pick(Sample<uint8_t>* d, const Sample<uint8_t>* s, const Sample<uint8_t>* next) const;

  private:
    struct Block;
    Block block(uint64_t index) const;
    bool make_blocks(int64_t low, int64_t high);

    const uint64_t pixel_, blocks_;  // bytes; room for so many
    Scratch<std::byte> memory_;
    int64_t* const from_;
    uint8_t* const masks_;
    uint32_t* const columns_;
    PickBlocks plan_{};
    uint32_t first_ = 0, end_ = 0, lowest_ = 0;
    enum { kOneByOne, kBlocks, kRun } way_ = kOneByOne;
};

}  // namespace qmpic
