#pragma once

#include <cstdint>

#include "qmpic/export.h"

/// Up to 192 bits with a size: which components take part. Trivially copyable; it never allocates.
/// Bits at or beyond the size are always clear.
class QM_API CQmRangeMask {
  public:
    QM_CONSTANT std::uint32_t MaxSize = 192;
    /// Size 192, all bits set; null until the first table set is allocated, then for the life of
    /// the process.
    static CQmRangeMask* FULL_MASK;

    CQmRangeMask() noexcept = default;  ///< size 0
    /// Bits `uiFirst` to `uiLast`, both included, are `iValue` (0 or not); the others are clear.
    CQmRangeMask(std::uint32_t uiSize, std::uint32_t uiFirst, std::uint32_t uiLast,
                 int iValue) noexcept;

    void Reset() noexcept;  ///< back to size 0
    /// At most 192. New bits are clear, bits beyond are lost.
    void SetSize(std::uint32_t uiSize) noexcept;
    std::uint32_t GetSize() const noexcept { return m_uiSize; }

    /// False at or beyond the size.
    bool Get(std::uint32_t uiIndex) const noexcept;
    /// Ignored at or beyond the size.
    void Set(std::uint32_t uiIndex, bool bValue = true) noexcept;
    void SetAll(bool bValue) noexcept;

    /// The lowest set bit; false and `*puiIndex` untouched when there is none.
    bool GetFirst(std::uint32_t* puiIndex) const noexcept;
    /// Set bits below min(`iLimit`, size); a negative limit is none.
    std::uint32_t GetCount(int iLimit = -1) const noexcept;
    /// Are bits 0 to `uiCount` - 1 all set? True for 0, false beyond the size.
    bool IsMaskFull(std::uint32_t uiCount) const noexcept;

    /// Bits 0 to 63 from `uiBits`, the others clear. The size grows to the highest set bit.
    void SetMask(std::uint64_t uiBits) noexcept;
    /// Three words; word 0 holds bits 0 to 63.
    const std::uint64_t* GetMask() const noexcept { return m_auiWords; }

    friend bool operator==(const CQmRangeMask&, const CQmRangeMask&) noexcept = default;

  private:
    std::uint64_t m_auiWords[3] = {};
    std::uint32_t m_uiSize = 0;
};
