#pragma once

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "core/arithmetic.h"
#include "core/rows.h"
#include "core/scratch.h"
#include "qmpic/kernels/luts.h"
#include "qmpic/status.h"

/// Constant arithmetic by tables: made by the public generators, applied by the public kernels.

namespace qmpic {

/// What a call is about.
struct ConstCall {
    Dst dst;
    Src src;
    uint32_t components, bpc, width;
    uint64_t size;
    Team team;
    uint32_t top() const { return max_value(bpc); }
};

namespace detail {

template <uint32_t n>
constexpr ApplyLutsKernel* apply(uint8_t) {
    return n == 1 ? applyluts_1x8 : n == 3 ? applyluts_3x8 : applyluts_4x8;
}
template <uint32_t n>
constexpr ApplyLutsKernel* apply(uint16_t) {
    return n == 1 ? applyluts_1x16 : n == 3 ? applyluts_3x16 : applyluts_4x16;
}

/// A flat table for one component, rows that lie one behind the other for more. Tables of bytes
/// have all 256 values, 0 where the depth has none.
template <class T, uint32_t n>
class ConstTable {
  public:
    explicit ConstTable(uint32_t bits)
        : values_(sizeof(T) == 1 ? 256 : uint64_t{1} << bits),
          memory_(values_ * (sizeof(void*) + n * sizeof(T))) {
        if (!memory_) return;
        std::byte* const cells = memory_.get() + values_ * sizeof(void*);
        if (sizeof(T) == 1) std::memset(cells, 0, values_ * n);
        for (uint64_t i = 0; i < values_; ++i) rows()[i] = cells + i * n * sizeof(T);
    }
    explicit operator bool() const { return static_cast<bool>(memory_); }
    void** rows() const { return reinterpret_cast<void**>(memory_.get()); }

  private:
    uint64_t values_;
    Scratch<std::byte> memory_;
};
template <>
class ConstTable<uint8_t, 1> {
  public:
    explicit ConstTable(uint32_t) {}
    explicit operator bool() const { return true; }
    uint8_t* rows() { return cells_; }

  private:
    uint8_t cells_[256] = {};
};
template <>
class ConstTable<uint16_t, 1> {
  public:
    explicit ConstTable(uint32_t bits) : memory_(size_t{1} << bits) {}
    explicit operator bool() const { return static_cast<bool>(memory_); }
    uint16_t* rows() const { return memory_.get(); }

  private:
    Scratch<uint16_t> memory_;
};

/// `fill` makes the table.
template <class T, uint32_t n, class Fill>
int through_table(const ConstCall& p, Fill fill) {
    const uint32_t bits = std::min<uint32_t>(p.bpc, 8 * sizeof(T));
    ConstTable<T, n> table(bits);
    if (!table) return QM_NO_MEMORY;
    fill(table.rows(), bits);
    return apply<n>(T{})(p.dst.first, p.dst.stride, p.src.first, p.src.stride, table.rows(), n,
                         bits, p.width, p.size);
}

template <uint32_t n>
struct Constants {
    double of[n];
    explicit Constants(const auto& constant_of) {
        for (uint32_t c = 0; c < n; ++c) of[c] = static_cast<double>(constant_of(c));
    }
};

inline void calculate(uint8_t* table, const double* add, const double* mul, const double* pow,
                      uint32_t, uint32_t bits) {
    calcluts_1x8(table, add, mul, pow, bits);
}
inline void calculate(uint16_t* table, const double* add, const double* mul, const double* pow,
                      uint32_t, uint32_t bits) {
    calcluts_1x16(table, add, mul, pow, bits);
}

}  // namespace detail

/// ((value + add) * mul) ^ pow, each left out without an array. Without any the generators write
/// nothing: then every value stays.
template <class T, uint32_t n>
int curve_by_table(const ConstCall& p, const double* add, const double* mul, const double* pow) {
    constexpr double kNothing[n] = {};
    if (add == nullptr && mul == nullptr && pow == nullptr) add = kNothing;
    return detail::through_table<T, n>(p, [=](auto* rows, uint32_t bits) {
        if constexpr (n == 1)
            detail::calculate(rows, add, mul, pow, n, bits);
        else if constexpr (sizeof(T) == 1)
            calcluts_Nx8(rows, add, mul, pow, n, bits);
        else
            calcluts_Nx16(rows, add, mul, pow, n, bits);
    });
}

// The others, of bytes. Constants come from a function of the component.

template <uint32_t n>
int add_by_table(const ConstCall& p, const auto& constant_of) {
    return curve_by_table<uint8_t, n>(p, detail::Constants<n>(constant_of).of, nullptr, nullptr);
}
template <uint32_t n>
int multiply_by_table(const ConstCall& p, const auto& factor_of) {
    return curve_by_table<uint8_t, n>(p, nullptr, detail::Constants<n>(factor_of).of, nullptr);
}
inline int rotate_by_table(const ConstCall& p, const int32_t* constants) {
    const detail::Constants<3> add([=](uint32_t c) { return static_cast<double>(constants[c]); });
    return detail::through_table<uint8_t, 3>(
        p, [&](void* const* rows, uint32_t bits) { calcluts_Nx8_rotate(rows, add.of, 3, bits); });
}
template <uint32_t n>
int min_by_table(const ConstCall& p, const uint8_t* constants) {
    const detail::Constants<n> limit([=](uint32_t c) { return static_cast<double>(constants[c]); });
    return detail::through_table<uint8_t, n>(p, [&](auto* rows, uint32_t bits) {
        if constexpr (n == 1)
            min_calcluts_1x8(rows, limit.of, bits);
        else
            min_calcluts_Nx8(rows, limit.of, n, bits);
    });
}
template <uint32_t n>
int max_by_table(const ConstCall& p, const uint8_t* constants) {
    const detail::Constants<n> limit([=](uint32_t c) { return static_cast<double>(constants[c]); });
    return detail::through_table<uint8_t, n>(p, [&](auto* rows, uint32_t bits) {
        if constexpr (n == 1)
            max_calcluts_1x8(rows, limit.of, bits);
        else
            max_calcluts_Nx8(rows, limit.of, n, bits);
    });
}

}  // namespace qmpic
