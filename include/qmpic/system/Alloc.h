#pragma once

#include <cstddef>
#include <cstdint>

#include "qmpic/export.h"

/// Aligned memory that remembers its size: where pixels and long-lived arrays come from. Null means
/// failure; nothing throws. Blocks may be allocated, resized and released in any thread.
class QM_API CQmAlloc {
  public:
    /// Flag: new memory is zero, also the tail by which ReAlloc makes a block longer.
    QM_CONSTANT std::uint32_t ZeroFill = 8;

    /// A block of `uiSize` bytes at a multiple of max(`uiAlignment`, 64); an alignment that is no
    /// power of two counts as 16. A size of 0 gives null.
    static void* Alloc(std::uint32_t uiFlags, std::size_t uiSize, std::size_t uiAlignment) noexcept;
    /// The block with its first min(old, new) bytes kept, possibly at another address. Null for
    /// `pOld` allocates. A size of 0 releases the block and gives null; on failure it stays alive.
    static void* ReAlloc(void* pOld, std::size_t uiSize, std::uint32_t uiFlags,
                         std::size_t uiAlignment) noexcept;
    /// Null is allowed.
    static void Free(void* p) noexcept;
};
