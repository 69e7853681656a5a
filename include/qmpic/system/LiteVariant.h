#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qmpic/export.h"
#include "qmpic/system/String.h"

/// @file
/// Numbers with names in nested levels, written and read in one go, without a tree in between. A
/// list is a run of levels whose name is empty. The stored form is that of CQmVariant, which reads
/// it as well, see docs/stored-form.md.

/// Writes from front to back. A name has at most 1024 bytes as UTF-8, without zeros, surrogates and
/// what is beyond Unicode. Without memory an operation gives -3; what was written has a hole then,
/// so all that follow give -3 too.
class QM_API CQmLiteVariantW {
  public:
    CQmLiteVariantW() noexcept;
    ~CQmLiteVariantW();
    CQmLiteVariantW(const CQmLiteVariantW&) = delete;
    CQmLiteVariantW& operator=(const CQmLiteVariantW&) = delete;

    int LevelBegin(const CQmStringW& sName);  ///< 0; -9 for the 65th in one another, or the name
    int LevelEnd();                           ///< 0; -4 when no level is open
    int Set(const CQmStringW& sName, int iValue);  ///< 0; -9 for the name
    int Set(const CQmStringW& sName, unsigned int uiValue);
    int Set(const CQmStringW& sName, double dValue);
    /// What was written becomes the content of the vector. 0; -4 while a level is open.
    int GetBytes(std::vector<std::uint8_t>& vecBytes) const;

  private:
    QM_CONSTANT std::size_t MaxDepth = 64;
    struct Level {
        std::size_t uiBegin;    ///< where it begins in the bytes
        std::uint32_t uiCount;  ///< what it holds so far
    };
    template <class Work>
    [[gnu::visibility("hidden")]] int add(const CQmStringW& sName, Work work);
    template <class Value>
    [[gnu::visibility("hidden")]] int set(const CQmStringW& sName, Value value);

    std::vector<std::uint8_t> m_vecBytes;  ///< what the outermost level holds
    Level m_aLevels[MaxDepth + 1] = {};    ///< the outermost one and those that are open
    std::size_t m_uiDepth = 0;
    bool m_bFailed = false;
};

/// Reads what CQmLiteVariantW wrote, and trees whose outermost variant is a list. The whole block
/// is checked once; one that is not valid is empty. Takes no memory.
///
/// Within a level numbers are read by name and in any order. A level has a cursor over its unnamed
/// sub-levels, in the order in which they were written: the first n are the first list, the next
/// ones the next list.
/// ~~~
/// for (; r.IsNextValue(); r.NextValue()) {
///     r.CurrentLevelBegin();
///     sum += r.Get(L"dGamma", 1.0);
///     r.LevelEnd();
/// }
/// ~~~
class QM_API CQmLiteVariantR {
  public:
    /// The bytes are not copied and must stay.
    CQmLiteVariantR(const void* pBytes, std::size_t uiSize) noexcept;
    CQmLiteVariantR(const CQmLiteVariantR&) = delete;
    CQmLiteVariantR& operator=(const CQmLiteVariantR&) = delete;
    bool IsValid() const noexcept;

    /// Opens the first sub-level of this name, whatever the cursor. Its own cursor stands on its
    /// first unnamed sub-level, also when it was open before. 0; -9 when there is none, and for the
    /// empty name.
    int LevelBegin(const CQmStringW& sName) noexcept;
    bool IsNextValue() const noexcept;  ///< does the cursor stand on an unnamed sub-level?
    int CurrentLevelBegin() noexcept;   ///< opens it. 0; -9 when there is none
    int LevelEnd() noexcept;  ///< back to the parent, whose cursor stays. 0; -4 when none is open
    /// The cursor to the next unnamed sub-level, or behind the last one, which gives -9. 0.
    int NextValue() noexcept;

    // The first value of this name in the open level. A number of another kind is given when it is
    // exactly such a number, 7.0 as 7, and bools as the integers 0 and 1; else the default.
    int Get(const CQmStringW& sName, int iDefault) const noexcept;
    unsigned int Get(const CQmStringW& sName, unsigned int uiDefault) const noexcept;
    double Get(const CQmStringW& sName, double dDefault) const noexcept;

  private:
    QM_CONSTANT std::size_t MaxDepth = 64;
    struct Level {
        const std::uint8_t *pBegin, *pEnd;  ///< what it holds
        const std::uint8_t* pCursor;        ///< the unnamed sub-level that is next, or the end
    };
    Level m_aLevels[MaxDepth + 1] = {};  ///< the outermost one and those that are open
    std::size_t m_uiDepth = 0;
    bool m_bValid = false;
};
