#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "core/cancel.h"
#include "core/rows.h"

/// From pixels to the bits of a mask, eight to a byte, bit 7 the leftmost: what packing and
/// thresholding share. A test judges a sample, a judge makes bytes of bits from pixels, and one
/// writer merges the bytes into the mask.
///
/// Pixels are judged in groups of 64. Every step of a group is a plain loop over bytes or words
/// that the compiler turns into vectors: flags of 0 or 255 for the samples, one flag a pixel, eight
/// flags folded into a byte.

namespace qmpic {

inline constexpr uint32_t kReplace = 0, kOr = 1, kAnd = 2;  ///< how new bits meet the old
constexpr bool is_merge(uint32_t merge) { return merge <= kAnd; }

inline constexpr uint32_t kGroup = 64;

/// An area of a mask: the byte of its first pixel, and which bit of it that is, from the left.
struct MaskArea {
    Dst bytes;
    uint32_t first_bit, merge;
};

// ----- Tests: a flag for a sample ----------------------------------------------------------------

/// Is a sample within its component's limits, both included; or outside of them. Limits repeat
/// every `period` samples, which is what a group takes at a time.
template <class T, uint32_t count>
class InRange {
  public:
    using Unit = T;
    static constexpr uint32_t components = count;
    static constexpr uint32_t period = count == 1 ? 1 : count == 3 ? 3 * kGroup : kGroup;

    /// Pixels with the limits.
    InRange(const Sample<T>* low, const Sample<T>* high, bool inside) {
        for (uint32_t i = 0; i < period; ++i) set(i, low[i % count], high[i % count], inside);
    }

    /// All bits or none. `i`: place in a group.
    T flag(T value, uint32_t i) const {
        const uint32_t at = count == 1 ? 0 : i;
        const T within = static_cast<T>(value - low_[at]) <= span_[at] ? static_cast<T>(~T{0}) : T{0};
        return within ^ flip_[at];
    }

  private:
    // One comparison of value - low, which wraps. No sample lies between limits in the wrong order:
    // then every sample is within the full range, and that is turned round.
    void set(uint32_t at, T low, T high, bool inside) {
        const bool empty = low > high;
        low_[at] = empty ? T{0} : low;
        span_[at] = static_cast<T>(empty ? ~T{0} : high - low);
        flip_[at] = inside == empty ? static_cast<T>(~T{0}) : T{0};
    }

    T low_[period], span_[period], flip_[period];
};

/// Has a sample a bit in common with a value?
template <class T>
class SharesBit {
  public:
    using Unit = T;
    static constexpr uint32_t components = 1, period = 1;

    explicit SharesBit(T value) : value_(value) {}
    T flag(T value, uint32_t) const {
        return (value & value_) != 0 ? static_cast<T>(~T{0}) : T{0};
    }

  private:
    T value_;
};

// ----- Bits of words -----------------------------------------------------------------------------

namespace bits {

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

/// Bits 0, 3, 6 to 63 side by side.
constexpr uint64_t every_third(uint64_t word) {
    word &= 0x9249249249249249;
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
    return (word | word << 2) & 0x9249249249249249;
}

/// 64 bits, each of them the AND of three of 192. Pixels 0, 22 and 43 begin in bits 0, 66 and 129.
constexpr uint64_t all_of_three(const uint64_t (&w)[3]) {
    const uint64_t a = w[0] & (w[0] >> 1 | w[1] << 63) & (w[0] >> 2 | w[1] << 62);
    const uint64_t b = w[1] & (w[1] >> 1 | w[2] << 63) & (w[1] >> 2 | w[2] << 62);
    const uint64_t c = w[2] & w[2] >> 1 & w[2] >> 2;
    return every_third(a) | every_third(b >> 2) << 22 | every_third(c >> 1) << 43;
}
/// Back: 192 bits, each of 64 three times.
constexpr void thrice(uint64_t word, uint64_t (&w)[3]) {
    const uint64_t a = apart(word), b = 7 * apart(word >> 22 & 0x1FFFFF), c = 7 * apart(word >> 43);
    w[0] = a | a << 1 | a << 2;
    w[1] = b << 2 | a >> 63 | a >> 62;
    w[2] = c << 1 | b >> 62;
}

}  // namespace bits

// ----- Judges: bytes of bits from pixels ---------------------------------------------------------

namespace detail {

template <class T>
using Twice = std::conditional_t<sizeof(T) == 1, uint16_t,
                                 std::conditional_t<sizeof(T) == 2, uint32_t, uint64_t>>;
template <class T>
using Half = std::conditional_t<sizeof(T) == 4, uint16_t, uint8_t>;

/// The flags of n pixels, `each` of them 1, 2 or 4 of T, to bytes; a pixel counts when all of its
/// flags do. Made narrower by halves, which is what vectors are packed by.
template <uint32_t n, uint32_t each, class T>
void to_bytes(const T* flags, uint8_t* out) {
    if constexpr (each > 1) {
        alignas(64) T all[n * each / 2];
        const auto* const pairs = reinterpret_cast<const Sample<Twice<T>>*>(flags);
        for (uint32_t i = 0; i < n * each / 2; ++i) {
            const Twice<T> pair = pairs[i];
            all[i] = static_cast<T>(pair & pair >> 8 * sizeof(T));
        }
        to_bytes<n, each / 2>(all, out);
    } else if constexpr (sizeof(T) > 1) {
        alignas(64) Half<T> halves[n];
        for (uint32_t i = 0; i < n; ++i) halves[i] = static_cast<Half<T>>(flags[i]);
        to_bytes<n, 1>(halves, out);
    } else {
        std::memcpy(out, flags, n);
    }
}

}  // namespace detail

/// Pixels of a known number of samples; a pixel counts when all of them do.
template <class Test>
class Judge {
  public:
    explicit Judge(const Test& test) : test_(test) {}

    uint64_t pixel_bytes() const { return kPixelBytes; }

    /// `groups` times 64 pixels.
    template <uint32_t groups>
    void whole(const Sample<uint8_t>* pixels, uint8_t* out) const {
        const auto* const s = reinterpret_cast<const Sample<Unit>*>(pixels);
        constexpr uint32_t samples = groups * kGroup * count;
        constexpr uint32_t step = count == 1 ? samples : Test::period;
        alignas(64) Unit wide[samples];
        for (uint32_t first = 0; first < samples; first += step)
            for (uint32_t i = 0; i < step; ++i) wide[first + i] = test_.flag(s[first + i], i);
        if constexpr (count == 3) {
            alignas(64) uint8_t flags[samples];
            alignas(64) uint64_t words[groups][3];
            detail::to_bytes<samples, 1>(wide, flags);
            bits::fold<samples / 8, bits::kFromRight>(flags, reinterpret_cast<uint8_t*>(words));
            auto* const to = reinterpret_cast<Sample<uint64_t>*>(out);
            for (uint32_t i = 0; i < groups; ++i)
                to[i] = bits::reversed(bits::all_of_three(words[i]));
        } else {
            alignas(64) uint8_t flags[groups * kGroup];
            detail::to_bytes<groups * kGroup, count>(wide, flags);
            bits::fold<groups * 8, bits::kFromLeft>(flags, out);
        }
    }

    /// `n` pixels, the first of them at place `at` of a group. Other bits may be any.
    void part(const Sample<uint8_t>* pixels, uint32_t at, uint32_t n, uint8_t* out) const {
        alignas(64) Sample<uint8_t> group[kGroup * kPixelBytes] = {};
        std::memcpy(group + at * kPixelBytes, pixels, n * kPixelBytes);
        whole<1>(group, out);
    }

  private:
    using Unit = typename Test::Unit;
    static constexpr uint32_t count = Test::components, kPixelBytes = count * sizeof(Unit);

    Test test_;
};

/// Pixels of any number of samples, one after the other; every pixel of none counts.
template <class T>
struct JudgeAny {
    uint64_t count;
    const Sample<T>*low, *high;
    bool inside;

    uint64_t pixel_bytes() const { return count * sizeof(T); }

    template <uint32_t groups>
    void whole(const Sample<uint8_t>* pixels, uint8_t* out) const {
        for (uint32_t i = 0; i < groups; ++i)
            part(pixels + i * kGroup * pixel_bytes(), 0, kGroup, out + i * 8);
    }

    void part(const Sample<uint8_t>* pixels, uint32_t at, uint32_t n, uint8_t* out) const {
        uint8_t flags[kGroup] = {};
        const auto* s = reinterpret_cast<const Sample<T>*>(pixels);
        for (uint32_t x = at; x < at + n; ++x, s += count) {
            uint64_t c = 0;
            while (c < count && (s[c] >= low[c] && s[c] <= high[c]) == inside) ++c;
            flags[x] = c == count ? 255 : 0;
        }
        bits::fold<8, bits::kFromLeft>(flags, out);
    }
};

// ----- The writer --------------------------------------------------------------------------------

namespace detail {

inline void merge_bytes(Sample<uint8_t>* d, const uint8_t* made, uint32_t n, uint32_t merge) {
    switch (merge) {
    case kReplace:
        for (uint32_t i = 0; i < n; ++i) d[i] = made[i];
        break;
    case kOr:
        for (uint32_t i = 0; i < n; ++i) d[i] = d[i] | made[i];
        break;
    default:
        for (uint32_t i = 0; i < n; ++i) d[i] = d[i] & made[i];
    }
}

/// A byte that the area shares with what lies beside it. `keep` are the bits that it would have to
/// keep.
inline void merge_shared(Sample<uint8_t>* d, uint32_t made, uint32_t keep, uint32_t merge) {
    const uint32_t old = *d, kept = (old & keep) | made;
    *d = static_cast<uint8_t>(merge == kReplace ? kept : merge == kOr ? old | made : old & kept);
}

// What is kept is one bit off the area at either end, and that is how masks are merged: the old bit
// of the area's first pixel stays where it begins within a byte, and the bit behind its last pixel
// is cleared, and all up to the byte's end when it begins and ends in one byte.
constexpr uint32_t kept_at_head(uint32_t first_bit) { return 0xFF80u >> first_bit & 0xFF; }
constexpr uint32_t kept_at_tail(uint32_t pixels) { return 0x7Fu >> pixels; }

/// The bits from `at` to `end` of a group, which begins in byte `d`. It ends the row, or the byte.
inline void merge_part(Sample<uint8_t>* d, const uint8_t* made, uint32_t at, uint32_t end,
                       uint32_t merge) {
    const auto before = [](uint32_t bit) { return 0xFF00u >> std::min(bit, 8u) & 0xFF; };
    uint32_t first = 0;
    if (at != 0) {
        merge_shared(d, made[0] & before(end) & 0xFF >> at, kept_at_head(at), merge);
        if (end <= 8) return;
        first = 1;
    }
    const uint32_t last = end / 8, tail = end % 8;
    merge_bytes(d + first, made + first, last - first, merge);
    if (tail != 0) merge_shared(d + last, made[last] & before(tail), kept_at_tail(tail), merge);
}

template <class Judge>
void write_row(Sample<uint8_t>* d, const Sample<uint8_t>* s, uint64_t width, uint32_t first_bit,
               uint32_t merge, const Judge& judge) {
    constexpr uint32_t many = 8;
    alignas(64) uint8_t made[many * 8] = {};
    const auto part = [&](uint32_t at, uint64_t n) {
        judge.part(s, at, static_cast<uint32_t>(n), made);
        merge_part(d, made, at, at + static_cast<uint32_t>(n), merge);
        s += n * judge.pixel_bytes();
        d += 8;
        width -= n;
    };
    if (first_bit != 0) part(first_bit, std::min<uint64_t>(width, kGroup - first_bit));
    for (; width >= many * kGroup; width -= many * kGroup) {
        judge.template whole<many>(s, made);
        merge_bytes(d, made, many * 8, merge);
        s += many * kGroup * judge.pixel_bytes();
        d += many * 8;
    }
    for (; width >= kGroup; width -= kGroup) {
        judge.template whole<1>(s, made);
        merge_bytes(d, made, 8, merge);
        s += kGroup * judge.pixel_bytes();
        d += 8;
    }
    if (width != 0) part(0, width);
}

}  // namespace detail

/// A call that writes an area of a mask. Rows are left out while `cancel`, which may be null, is
/// set.
struct MaskCall {
    Team team;
    MaskArea mask;
    Src src;
    Area area;
    bool* cancel = nullptr;
};

/// Merges what `judge` says of the pixels of an area into a mask.
template <class Judge>
void write_mask(MaskCall call, Judge judge) {
    const auto [team, mask, src, given, cancel] = call;
    Area area = given;
    if (team.is_one_thread() && mask.first_bit == 0 && area.width % 8 == 0 && cancel == nullptr &&
        src.stride == area.width * judge.pixel_bytes() && mask.bytes.stride == area.width / 8)
        area = {area.width * area.rows, 1};
    walk_rows(team, area.rows, [=](RowRange rows) {
        for (uint64_t y = rows.first; y < rows.last; ++y)
            if (!is_cancelled(cancel))
                detail::write_row(mask.bytes.row<uint8_t>(y), src.row<uint8_t>(y), area.width,
                                  mask.first_bit, mask.merge, judge);
    });
}

/// Bits of the pixels whose components all lie within the limits, or all outside of them. `low` and
/// `high` are pixels of T: bytes, words, or double words, of which there are one or two.
template <class T>
void write_in_range(MaskCall call, uint32_t components, const void* low, const void* high,
                    bool inside);

}  // namespace qmpic
