#pragma once

#include <cstdint>

#include "core/rows.h"

/// Bits of words: flags folded, bits turned round, and bits of pixels of three samples.

namespace qmpic::bits {

/// Where flag i of a word of eight has its bit: from the left, as masks have it, or from the right.
inline constexpr uint64_t kFromLeft = 0x0102040810204080, kFromRight = 0x8040201008040201;

/// Eight flags to a byte.
template <uint32_t bytes, uint64_t places>
void fold(const uint8_t* flags, uint8_t* out) {
    const auto* const words = reinterpret_cast<const Sample<uint64_t>*>(flags);
    for (uint32_t i = 0; i < bytes; ++i) {
        uint64_t word = words[i] & places;
        word |= word >> 32;
        word |= word >> 16;
        word |= word >> 8;
        out[i] = static_cast<uint8_t>(word);
    }
}

/// The bits of each byte the other way round.
constexpr uint64_t reversed(uint64_t word) {
    word = (word >> 1 & 0x5555555555555555) | (word & 0x5555555555555555) << 1;
    word = (word >> 2 & 0x3333333333333333) | (word & 0x3333333333333333) << 2;
    return (word >> 4 & 0x0F0F0F0F0F0F0F0F) | (word & 0x0F0F0F0F0F0F0F0F) << 4;
}

inline constexpr uint64_t kEveryThird = 0x9249249249249249;

/// Bits 0, 3, 6 to 63 side by side.
constexpr uint64_t every_third(uint64_t word) {
    word &= kEveryThird;
    word = (word | word >> 2) & 0x30C30C30C30C30C3;
    word = (word | word >> 4) & 0xF00F00F00F00F00F;
    word = (word | word >> 8) & 0x00FF0000FF0000FF;
    word = (word | word >> 16) & 0xFFFF00000000FFFF;
    return (word | word >> 32) & 0x3FFFFF;
}
/// Back: the low 22 bits at 0, 3, 6 to 63.
constexpr uint64_t apart(uint64_t word) {
    word &= 0x3FFFFF;
    word = (word | word << 32) & 0xFFFF00000000FFFF;
    word = (word | word << 16) & 0x00FF0000FF0000FF;
    word = (word | word << 8) & 0xF00F00F00F00F00F;
    word = (word | word << 4) & 0x30C30C30C30C30C3;
    return (word | word << 2) & kEveryThird;
}

/// Of 192 bits the AND of each three, for 22, 21 and 21 pixels, in every third bit. Those begin in
/// bits 0, 66 and 129.
struct Triples {
    uint64_t a, b, c;
};
constexpr Triples triples(const uint64_t (&w)[3]) {
    return {w[0] & (w[0] >> 1 | w[1] << 63) & (w[0] >> 2 | w[1] << 62),
            (w[1] & (w[1] >> 1 | w[2] << 63) & (w[1] >> 2 | w[2] << 62)) >> 2,
            (w[2] & w[2] >> 1 & w[2] >> 2) >> 1};
}
constexpr uint64_t all_of_three(const uint64_t (&w)[3]) {
    const Triples t = triples(w);
    return every_third(t.a) | every_third(t.b) << 22 | every_third(t.c) << 43;
}
/// Back: 192 bits, each of 64 three times.
constexpr void thrice(uint64_t word, uint64_t (&w)[3]) {
    const uint64_t a = apart(word), b = 7 * apart(word >> 22 & 0x1FFFFF), c = 7 * apart(word >> 43);
    w[0] = a | a << 1 | a << 2;
    w[1] = b << 2 | a >> 63 | a >> 62;
    w[2] = c << 1 | b >> 62;
}

}  // namespace qmpic::bits
