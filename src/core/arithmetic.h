#pragma once

#include <cstdint>

/// Arithmetic with one meaning: what a conversion, a shift or a limit gives for every input. There
/// is no other cast from an unchecked float to an integer in the library.

namespace qmpic {

/// Greatest value of a depth, also for 32 bits.
constexpr uint32_t max_value(uint32_t bpc) {
    return static_cast<uint32_t>((uint64_t{1} << (bpc & 63)) - 1);
}

/// Toward zero; 0x80000000 for NaN and what does not fit (the processor's "integer indefinite").
constexpr int32_t trunc_i32(double value) {
    return value > -2147483649.0 && value < 2147483648.0 ? static_cast<int32_t>(value) : INT32_MIN;
}
constexpr int32_t trunc_i32(float value) {
    return value >= -2147483648.0f && value < 2147483648.0f ? static_cast<int32_t>(value)
                                                            : INT32_MIN;
}
/// Toward zero; 0x8000000000000000 for NaN and what does not fit.
constexpr int64_t trunc_i64(double value) {
    return value >= -9223372036854775808.0 && value < 9223372036854775808.0
               ? static_cast<int64_t>(value)
               : INT64_MIN;
}
/// The low 32 bits of trunc_i64: -1.5 gives 0xFFFFFFFF, NaN gives 0.
constexpr uint32_t trunc_u32(double value) { return static_cast<uint32_t>(trunc_i64(value)); }

/// Toward zero within 0 and `top`; NaN gives 0.
constexpr uint32_t trunc_clamp(double value, uint32_t top) {
    if (!(value > 0)) return 0;
    return value < top ? static_cast<uint32_t>(value) : top;
}

/// A number that the compiler does not know.
template <class Real>
Real hidden(Real value) {
    asm("" : "+x"(value));
    return value;
}

/// Within two limits; the lower one for what is no number. Compared with limits that the compiler
/// knows, floats become masks, choices and branches; with these, a maximum and a minimum. To be
/// made before a loop.
template <class Real>
class Limits {
  public:
    Limits(Real least, Real most) : least_(hidden(least)), most_(hidden(most)) {}
    Real operator()(Real value) const {
        const Real above = least_ < value ? value : least_;
        return most_ < above ? most_ : above;
    }

  private:
    Real least_, most_;
};

/// The wrapped product, sum and difference of 32-bit integers.
constexpr int32_t wrap_mul(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}
constexpr int32_t wrap_add(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
constexpr int32_t wrap_sub(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

/// value / 255, exact for value <= 65534 (255 * 255 is 65025); lanes of 32 bits are enough.
constexpr uint32_t div_255(uint32_t value) { return (value + 1 + (value >> 8)) >> 8; }
/// The same for 0 to 65535 in lanes of 16 bits, with one high product.
constexpr uint16_t div_255_in_16_bits(uint16_t value) {
    const auto high = static_cast<uint16_t>(uint32_t{value} * 0x8081u >> 16);
    return static_cast<uint16_t>(high >>
                                 7);  // apart, or the compiler makes one shift by 23 of both
}
/// value / 65535, exact for value <= 65535 * 65535.
constexpr uint32_t div_65535(uint32_t value) { return (value + (value >> 16) + 1) >> 16; }
/// value / (2^bpc - 1) for 8 <= bpc <= 16 and value <= (2^bpc - 1)^2.
constexpr uint32_t div_max(uint32_t value, uint32_t bpc) {
    return (value + (value >> bpc) + 1) >> bpc;
}

/// value / n as a product, exact for 2 <= n <= 255 and value <= n * 65535.
class Reciprocal {
  public:
    static constexpr bool fits(uint64_t n) { return n >= 2 && n <= 255; }
    constexpr explicit Reciprocal(uint64_t n)
        : factor_(static_cast<uint32_t>((uint64_t{1} << 32) / n + 1)) {}
    constexpr uint32_t quotient(uint32_t value) const {
        return static_cast<uint32_t>(uint64_t{value} * factor_ >> 32);
    }

  private:
    uint32_t factor_;
};

}  // namespace qmpic
