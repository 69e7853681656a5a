#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "qmpic/export.h"
#include "qmpic/system/String.h"

/// What a variant holds, known by name: "CQmListVariant" for a list. An unknown name is null.
class QM_API CQmVariantRunType {
  public:
    CQmVariantRunType(const wchar_t* pszName);
    const CQmStringW& GetName() const noexcept { return m_sName; }

  private:
    CQmStringW m_sName;
};

class CQmListVariant;

/// A named value, or a named list of them: a tree by value. Children stand in the order in which
/// they were appended, and so they are stored.
class QM_API CQmVariant {
  public:
    CQmVariant();  ///< null, no name
    CQmVariant(const unsigned int& uiValue, const CQmStringW& sName);
    CQmVariant(const double& dValue, const CQmStringW& sName);
    CQmVariant(const bool& bValue, const CQmStringW& sName);
    CQmVariant(const CQmStringW& sValue, const CQmStringW& sName);
    CQmVariant(const wchar_t* pszValue, const wchar_t* pszName);
    CQmVariant(const CQmListVariant& list, const CQmStringW& sName);
    template <class T>
    CQmVariant(T*, const CQmStringW&) = delete;  // a pointer must never become a bool
    CQmVariant(const CQmVariant& other);
    CQmVariant(CQmVariant&& other) noexcept;
    CQmVariant& operator=(const CQmVariant& other);
    CQmVariant& operator=(CQmVariant&& other) noexcept;
    ~CQmVariant();

    /// Without it Append to and SetRunType of a variant of another type give -4.
    void EnableTypeChange(bool bEnable = true);
    /// Value and children are gone; name and EnableTypeChange stay.
    void MakeNull();
    int SetRunType(const CQmVariantRunType& type);
    void SetName(const CQmStringW& sName);
    const CQmStringW& GetName() const noexcept;

    /// Null becomes a list. 0; -4 for another type, -9 beyond the limits of the stored form.
    int Append(const CQmVariant& child);
    /// Children; 0 for a value.
    std::uint32_t GetCount() const noexcept;
    /// Past the end: a null variant that all share.
    const CQmVariant& operator[](std::uint32_t uiIndex) const noexcept;
    /// The first child of this name, or null.
    const CQmVariant* SearchFixedOneLevel(const CQmStringW& sName) const noexcept;

    // Another type than asked for gives 0, 0.0, false, an empty text or list, and false in `*pbOk`.

    /// Also of bools, and of doubles that are exactly such a number.
    unsigned int GetQm_uint32(bool* pbOk = nullptr) const noexcept;
    double GetDouble(bool* pbOk = nullptr) const noexcept;  ///< also of unsigned numbers
    bool GetBool(bool* pbOk = nullptr) const noexcept;
    CQmStringW GetCQmStringW(bool* pbOk = nullptr) const;
    CQmListVariant GetCQmListVariant(bool* pbOk = nullptr) const;

    /// Appends the stored form, see docs/stored-form.md. 0; -9 beyond its limits.
    int Write(std::vector<std::uint8_t>& vecBytes) const;
    /// 0; -4 for bytes that are no stored form, -3 without memory: the target stays as it was.
    static int Read(CQmVariant& variant, const void* pBytes, std::size_t uiSize) noexcept;

  private:
    struct Content;
    std::unique_ptr<Content> m_pContent;
};

/// An ordered list of variants, by value.
class QM_API CQmListVariant {
  public:
    CQmListVariant() noexcept;
    CQmListVariant(const CQmListVariant& other);
    CQmListVariant(CQmListVariant&& other) noexcept;
    CQmListVariant& operator=(const CQmListVariant& other);
    CQmListVariant& operator=(CQmListVariant&& other) noexcept;
    ~CQmListVariant();

    std::uint32_t GetCount() const noexcept;
    void Append(const CQmVariant& child);
    /// Past the end: a null variant that all share.
    const CQmVariant& operator[](std::uint32_t uiIndex) const noexcept;

  private:
    std::vector<CQmVariant> m_vecChildren;
};
