#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <vector>

#include "qmpic/export.h"
#include "qmpic/system/String.h"

/// @file
/// Values with names, in a tree that can be stored. Docs/stored-form.md says what the bytes are.
///
/// Limits of the stored form hold from the start, so that what was appended can be written: a name
/// has at most 1024 bytes as UTF-8, a text at most 1 MiB, both without zeros, surrogates and what
/// is beyond Unicode; a list stands in at most 64 others; a list has fewer than 2^32 children.
///
/// Constructors, copies, `SetName` and what gives texts and lists raise `std::bad_alloc` without
/// memory; operations with a code give -3, and the variant is as it was. Different variants may be
/// used by different threads, and one by several that only read.

/// What a variant holds, known by name: "CQmListVariant" for a list. An unknown name is null.
class QM_API CQmVariantRunType {
  public:
    CQmVariantRunType(const wchar_t* pszName);
    /// "CQmListVariant", or nothing for null.
    const CQmStringW& GetName() const noexcept { return m_sName; }

  private:
    CQmStringW m_sName;
};

class CQmListVariant;

/// A named value, or a named list of them: a tree by value. Children stand in the order in which
/// they were appended, and so they are stored; several may have one name.
class QM_API CQmVariant {
  public:
    CQmVariant() noexcept;  ///< null, no name
    CQmVariant(const unsigned int& uiValue, const CQmStringW& sName);
    CQmVariant(const double& dValue, const CQmStringW& sName);
    CQmVariant(const bool& bValue, const CQmStringW& sName);
    CQmVariant(const CQmStringW& sValue, const CQmStringW& sName);
    CQmVariant(const CQmListVariant& list, const CQmStringW& sName);
    // A pointer must never become a bool, nor 0u a pointer.
    template <class T>
    CQmVariant(T*, const CQmStringW&) = delete;
    template <class T>
    requires std::is_same_v<const T, const wchar_t> CQmVariant(T* pszValue, const CQmStringW& sName)
        : CQmVariant(CQmStringW(pszValue), sName) {}
    CQmVariant(const CQmVariant& other);
    CQmVariant(CQmVariant&& other) noexcept;  ///< leaves null without a name
    CQmVariant& operator=(const CQmVariant& other);
    CQmVariant& operator=(CQmVariant&& other) noexcept;
    ~CQmVariant();

    /// Without it `Append` to, and `SetRunType` of, a variant of another type give -4. Null has no
    /// type that could be another one. Copied with the variant, not stored.
    void EnableTypeChange(bool bEnable = true) noexcept;
    /// Value and children are gone; name and EnableTypeChange stay.
    void MakeNull() noexcept;
    /// Makes a variant of another type an empty list, or null. 0, also when it is of that type,
    /// which loses nothing; -4 without EnableTypeChange.
    int SetRunType(const CQmVariantRunType& type);
    void SetName(const CQmStringW& sName);
    const CQmStringW& GetName() const noexcept;

    /// A copy of `child` becomes the last one. Null becomes a list, and so does a value, which is
    /// lost, with EnableTypeChange. 0; -4 for a value without it; -9 beyond the limits: a chain of
    /// 64 lists can be appended to a list and one of 65 cannot.
    int Append(const CQmVariant& child);
    /// Children; 0 for a value.
    std::uint32_t GetCount() const noexcept;
    /// Past the end: a null variant that all share.
    const CQmVariant& operator[](std::uint32_t uiIndex) const noexcept;
    /// The first child of this name, or null.
    const CQmVariant* SearchFixedOneLevel(const CQmStringW& sName) const noexcept;

    // Another type than asked for gives 0, 0.0, false, an empty text or list, and false in `*pbOk`.

    /// Also of bools, 0 or 1, and of doubles that are exactly such a number: 7.0 gives 7, 7.5 and
    /// -7.0 are refused. A variant that was read can also hold a signed number.
    unsigned int GetQm_uint32(bool* pbOk = nullptr) const noexcept;
    double GetDouble(bool* pbOk = nullptr) const noexcept;  ///< also of integers, but not of bools
    bool GetBool(bool* pbOk = nullptr) const noexcept;      ///< of bools only
    CQmStringW GetCQmStringW(bool* pbOk = nullptr) const;   ///< of texts only
    CQmListVariant GetCQmListVariant(bool* pbOk = nullptr) const;  ///< copies of the children

    /// Appends the stored form to the bytes. 0; -9 beyond its limits; -3. The bytes are as they
    /// were but with 0.
    int Write(std::vector<std::uint8_t>& vecBytes) const;
    /// 0; -4 for bytes that are no stored form, -3 without memory: the target stays as it was. Its
    /// EnableTypeChange stays always. Takes at most 64 bytes of memory for a byte. `Write` gives
    /// the same bytes again.
    static int Read(CQmVariant& variant, const void* pBytes, std::size_t uiSize) noexcept;

  private:
    struct [[gnu::visibility("hidden")]] Content;
    [[gnu::visibility("hidden")]] Content& content();
    friend class CQmListVariant;

    std::unique_ptr<Content> m_pContent;  ///< none: null without a name
    bool m_bTypeChange = false;
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
    /// A copy of `child` becomes the last one. 0; -9 beyond the limits; -3.
    int Append(const CQmVariant& child);
    /// Past the end: a null variant that all share.
    const CQmVariant& operator[](std::uint32_t uiIndex) const noexcept;

  private:
    friend class CQmVariant;

    std::vector<CQmVariant> m_vecChildren;
    std::uint32_t m_uiHeight = 0;  ///< lists below this one, one in another
};
