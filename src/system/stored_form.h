#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "qmpic/system/String.h"

/// The byte form of variants, written and read here only; docs/stored-form.md says what it is.

namespace qmpic::stored {

enum class Kind : uint8_t { kNull, kUnsigned, kDouble, kBool, kText, kList, kSigned };

inline constexpr size_t kNameLimit = 1024;     ///< bytes of a name
inline constexpr size_t kTextLimit = 1 << 20;  ///< bytes of a text
inline constexpr size_t kDepthLimit = 64;      ///< lists around a list
inline constexpr size_t kLeastNode = 4;        ///< bytes of any node

using Bytes = std::span<const uint8_t>;

// ----- Text --------------------------------------------------------------------------------------

/// As UTF-8; nothing when it cannot be stored: zeros, surrogates, what is beyond Unicode.
std::optional<size_t> utf8_size(const CQmStringW& text) noexcept;
bool fits_name(const CQmStringW& name) noexcept;
bool fits_text(const CQmStringW& text) noexcept;

// Of bytes that a Reader has checked.
std::wstring to_wide(Bytes text);
bool equal(Bytes text, const CQmStringW& other) noexcept;

// ----- Numbers -----------------------------------------------------------------------------------

/// A value of fixed size: number, bool or null.
struct Number {
    Kind kind = Kind::kNull;
    uint64_t bits = 0;

    static Number of(uint32_t value) { return {Kind::kUnsigned, value}; }
    static Number of(int32_t value) { return {Kind::kSigned, static_cast<uint32_t>(value)}; }
    static Number of(double value) { return {Kind::kDouble, std::bit_cast<uint64_t>(value)}; }
    static Number of(bool value) { return {Kind::kBool, value}; }

    // One of another kind is given when it is exactly such a number. A bool is 0 or 1, as an
    // integer alone.
    std::optional<uint32_t> as_unsigned() const noexcept;
    std::optional<int32_t> as_signed() const noexcept;
    std::optional<double> as_double() const noexcept;
    std::optional<bool> as_bool() const noexcept;
};

// ----- Writing -----------------------------------------------------------------------------------

/// Appends nodes to bytes. Names and texts must fit; short memory raises std::bad_alloc.
class Writer {
  public:
    explicit Writer(std::vector<uint8_t>& bytes) : bytes_(bytes) {}

    void number(const CQmStringW& name, Number value);
    void text(const CQmStringW& name, const CQmStringW& value);

    /// What stands between is the list; `end_list` gets what `begin_list` gave.
    size_t begin_list(const CQmStringW& name, bool light);
    void end_list(size_t begin, uint32_t count);
    /// Around the outermost node, likewise.
    size_t begin_block();
    void end_block(size_t begin);

  private:
    template <class Integer>
    void put(Integer value);
    template <class Integer>
    void patch(size_t at, Integer value);
    void utf8(const CQmStringW& text);
    void head(Kind kind, const CQmStringW& name);

    std::vector<uint8_t>& bytes_;
};

// ----- Reading -----------------------------------------------------------------------------------

/// A node as it lies in a block.
struct Node {
    Number number;  ///< whose kind is that of the node
    Bytes name;
    Bytes content;                  ///< of a text or list
    bool light = false;             ///< a list without a type name
    uint32_t count = 0;             ///< nodes of a list
    const uint8_t* next = nullptr;  ///< behind it

    Kind kind() const { return number.kind; }
};

/// The outermost node of a block that is valid as a whole; nothing otherwise. Allocates nothing.
std::optional<Node> read_block(const void* bytes, size_t size) noexcept;

/// The node at `at` in a block that `read_block` took.
Node node_at(const uint8_t* at, const uint8_t* end) noexcept;

}  // namespace qmpic::stored
