#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qmpic/export.h"
#include "qmpic/system/String.h"

/// Writes named numbers in nested levels, from front to back. A list is a run of levels whose name
/// is empty. The stored form is that of CQmVariant.
class QM_API CQmLiteVariantW {
  public:
    CQmLiteVariantW();
    ~CQmLiteVariantW();
    CQmLiteVariantW(const CQmLiteVariantW&) = delete;
    CQmLiteVariantW& operator=(const CQmLiteVariantW&) = delete;

    int LevelBegin(const CQmStringW& sName);  ///< 0; -9 deeper than 64 or a name too long
    int LevelEnd();                           ///< 0; -4 when no level is open
    int Set(const CQmStringW& sName, int iValue);
    int Set(const CQmStringW& sName, unsigned int uiValue);
    int Set(const CQmStringW& sName, double dValue);
    /// What was written. 0; -4 while a level is open.
    int GetBytes(std::vector<std::uint8_t>& vecBytes) const;

  private:
    std::vector<std::uint8_t> m_vecBytes;
    std::vector<std::size_t> m_vecOpen;  ///< where the open levels begin
};

/// Reads what CQmLiteVariantW wrote. The whole block is checked once; what is not valid is empty.
///
/// Within a level numbers are read by name and in any order. A level has a cursor over its unnamed
/// sub-levels, in the order in which they were written: the first n are the first list, the next
/// ones the next list.
class QM_API CQmLiteVariantR {
  public:
    /// The bytes are not copied and must stay.
    CQmLiteVariantR(const void* pBytes, std::size_t uiSize);
    ~CQmLiteVariantR();
    CQmLiteVariantR(const CQmLiteVariantR&) = delete;
    CQmLiteVariantR& operator=(const CQmLiteVariantR&) = delete;
    bool IsValid() const noexcept;

    /// Opens the first sub-level of this name, whatever the cursor. 0; -9 when there is none.
    int LevelBegin(const CQmStringW& sName);
    bool IsNextValue() const noexcept;  ///< does the cursor stand on an unnamed sub-level?
    int CurrentLevelBegin();            ///< opens it. 0; -9 when there is none
    int LevelEnd();   ///< back to the parent, whose cursor stays. 0; -4 when no level is open
    int NextValue();  ///< the cursor to the next unnamed sub-level. 0; -9 when there is none

    // A stored number of another kind is given when it is exactly such a number, else the default.
    int Get(const CQmStringW& sName, int iDefault) const;
    unsigned int Get(const CQmStringW& sName, unsigned int uiDefault) const;
    double Get(const CQmStringW& sName, double dDefault) const;

  private:
    struct Level {
        std::size_t uiBegin, uiEnd;  ///< children in the block
        std::size_t uiCursor;        ///< the unnamed sub-level that is next, or uiEnd
    };
    const std::uint8_t* m_pBytes;
    std::vector<Level> m_vecLevels;
};
