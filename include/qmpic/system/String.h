#pragma once

#include <cstddef>
#include <string>
#include <utility>

/// Wide text by value: names of records and keys of variants. Null makes an empty one.
class CQmStringW {
  public:
    CQmStringW() noexcept = default;
    CQmStringW(const wchar_t* psz) : m_s(psz != nullptr ? psz : L"") {}
    CQmStringW(std::wstring s) noexcept : m_s(std::move(s)) {}

    const wchar_t* c_str() const noexcept { return m_s.c_str(); }
    std::size_t GetLength() const noexcept { return m_s.size(); }
    bool IsEmpty() const noexcept { return m_s.empty(); }

    friend bool operator==(const CQmStringW&, const CQmStringW&) noexcept = default;

  private:
    std::wstring m_s;
};

/// Narrow text by value, UTF-8. Null makes an empty one.
class CQmStringA {
  public:
    CQmStringA() noexcept = default;
    CQmStringA(const char* psz) : m_s(psz != nullptr ? psz : "") {}
    CQmStringA(std::string s) noexcept : m_s(std::move(s)) {}

    const char* c_str() const noexcept { return m_s.c_str(); }
    std::size_t GetLength() const noexcept { return m_s.size(); }
    bool IsEmpty() const noexcept { return m_s.empty(); }

    friend bool operator==(const CQmStringA&, const CQmStringA&) noexcept = default;

  private:
    std::string m_s;
};
