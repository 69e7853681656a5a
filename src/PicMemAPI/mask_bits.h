#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "PicMemAPI/bit_words.h"
#include "PicMemAPI/mask_bits_avx512.h"
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

/// Limits, both included, as one comparison of value - low, which wraps; turned round where what
/// lies outside counts. No value lies between limits in the wrong order: all are in the full range
/// then, and that is turned round once more.
template <class T>
struct Range {
    T low, span;
    bool flips;
    Range(T from, T to, bool inside)
        : low(from <= to ? from : T{0}),
          span(static_cast<T>(from <= to ? to - from : ~T{0})),
          flips(inside != (from <= to)) {}
};

/// Does a sample lie within its component's range? Ranges repeat every `period` samples, which is
/// what a group takes at a time.
template <class T, uint32_t count>
class InRange {
  public:
    using Unit = T;
    static constexpr uint32_t components = count;
    static constexpr uint32_t period = count == 1 ? 1 : count == 3 ? 3 * kGroup : kGroup;

    /// Pixels with the limits.
    InRange(const Sample<T>* low, const Sample<T>* high, bool inside) {
        for (uint32_t i = 0; i < count; ++i) {
            const Range<T> range(low[i], high[i], inside);
            low_[i] = range.low;
            span_[i] = range.span;
            flip_[i] = range.flips ? static_cast<T>(~T{0}) : T{0};
        }
        for (uint32_t i = count; i < period; ++i) {
            low_[i] = low_[i - count];
            span_[i] = span_[i - count];
            flip_[i] = flip_[i - count];
        }
    }

    /// All bits or none. `i`: place in a group.
    T flag(T value, uint32_t i) const {
        const uint32_t at = count == 1 ? 0 : i;
        const bool within = static_cast<T>(value - low_[at]) <= span_[at];
        return (within ? static_cast<T>(~T{0}) : T{0}) ^ flip_[at];
    }

  private:
    T low_[period], span_[period], flip_[period];
};

/// Has a sample a bit in common with a value?
template <class T>
class SharesBit {
  public:
    using Unit = T;
    static constexpr uint32_t components = 1, period = 1;

    explicit SharesBit(T value) : value_(value) {}
    T flag(T value, uint32_t) const { return (value & value_) != 0 ? static_cast<T>(~T{0}) : T{0}; }

  private:
    T value_;
};

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

/// The same ranges where AVX-512 runs.
template <class T, uint32_t count>
class JudgeByAvx512 {
  public:
    JudgeByAvx512(const Sample<T>* low, const Sample<T>* high, bool inside) {
        constexpr uint64_t each =
            count == 3 ? bits::kEveryThird : ~uint64_t{0} / ((1 << count) - 1);
        for (uint32_t i = 0; i < count; ++i) {
            const Range<T> range(low[i], high[i], inside);
            limits_.low[i] = range.low;
            limits_.span[i] = range.span;
            for (uint32_t v = 0; range.flips && v < limits_.vectors; ++v)
                limits_.flip[v] |= each << (i + 2 * v) % count;
        }
        for (uint32_t i = count; i < limits_.samples; ++i) {
            limits_.low[i] = limits_.low[i - count];
            limits_.span[i] = limits_.span[i - count];
        }
    }

    uint64_t pixel_bytes() const { return count * sizeof(T); }

    template <uint32_t groups>
    void whole(const Sample<uint8_t>* pixels, uint8_t* out) const {
        avx512::judge_groups(pixels, groups, limits_, out);
    }

    void part(const Sample<uint8_t>* pixels, uint32_t at, uint32_t n, uint8_t* out) const {
        avx512::judge_part(pixels, at, n, limits_, out);
    }

  private:
    avx512::Limits<T, count> limits_ = {};
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

namespace detail {
/// The rows of one thread. A name, and no lambda, for those who read disassemblies.
template <class Judge>
struct WriteRows {
    MaskCall call;
    Judge judge;
    void operator()(RowRange rows) const {
        for (uint64_t y = rows.first; y < rows.last; ++y)
            if (!is_cancelled(call.cancel))
                write_row(call.mask.bytes.row<uint8_t>(y), call.src.row<uint8_t>(y),
                          call.area.width, call.mask.first_bit, call.mask.merge, judge);
    }
};
}  // namespace detail

/// Merges what `judge` says of the pixels of an area into a mask.
template <class Judge>
void write_mask(MaskCall call, const Judge& judge) {
    Area& area = call.area;
    // Rows without gaps are one, as in `joined`.
    if (call.team.is_one_thread() && call.cancel == nullptr && call.mask.first_bit == 0 &&
        area.width % 8 == 0 && call.src.stride == area.width * judge.pixel_bytes() &&
        call.mask.bytes.stride == area.width / 8)
        area = {area.width * area.rows, 1};
    walk_rows(call.team, area.rows, detail::WriteRows<Judge>{call, judge});
}

/// Bits of the pixels whose components all lie within the limits, or all outside of them. `low` and
/// `high` are pixels of T: bytes, words, or double words, of which there are one or two.
template <class T>
void write_in_range(MaskCall call, uint32_t components, const void* low, const void* high,
                    bool inside);

}  // namespace qmpic
