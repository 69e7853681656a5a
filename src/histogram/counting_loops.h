#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "core/arithmetic.h"
#include "core/shapes.h"

/// The loops of counting. What is counted says which bin is written, and no vector can do that: all
/// of it is scalar, the same at every level, and no shape fits. Two things make it quick. Pixels
/// that are all equal are counted at once, since a bin that is incremented again and again waits
/// for itself; and single components go to tables of small counters or to a second table by turns.
/// Tables must be cleared and added, so that only long calls use them; they lie on the
/// stack, in functions of their own.

namespace qmpic {

template <class Bin>
void bump(Sample<Bin>* bins, uint64_t index, uint64_t by = 1) {
    bins[index] = static_cast<Bin>(bins[index] + by);
}

struct Steps {
    uint64_t x, y;
    Steps(uint32_t given_x, uint32_t given_y)
        : x(given_x != 0 ? given_x : 1), y(given_y != 0 ? given_y : 1) {}
};

/// The blocks that counts go to, and the pixels that are counted.
struct Counted {
    void* const* components;
    void* intensity;
    uint32_t bin_bytes;
    Src src;
    Steps steps;
    uint32_t bpc;
    Area area;
    uint32_t first = 0;  ///< components before it are left out

    template <class Bin>
    Sample<Bin>* block(uint64_t c) const {
        return static_cast<Sample<Bin>*>(components[c]);
    }
    template <class Bin>
    Sample<Bin>* intensity_block() const {
        return static_cast<Sample<Bin>*>(intensity);
    }
    /// Bits of a value that count.
    uint32_t kept() const { return max_value(bpc); }
};

/// Which pixels of a row: all, or those that are not 0 in a mask of `Unit`.
struct Everywhere {
    struct Row {
        bool has(uint64_t) const { return true; }
    };
    Row row(uint64_t) const { return {}; }
};
template <class Unit>
struct Under {
    Src mask;
    struct Row {
        const Sample<Unit>* first;
        bool has(uint64_t x) const { return first[x] != 0; }
    };
    Row row(uint64_t y) const { return {mask.row<Unit>(y)}; }
};

/// The mean of n words.
template <uint32_t known>
struct Mean {
    explicit Mean(uint64_t) {}
    uint32_t operator()(uint32_t sum) const { return sum / known; }
};
template <>
struct Mean<0> {
    uint64_t n;
    Reciprocal reciprocal;
    explicit Mean(uint64_t given) : n(given), reciprocal(Reciprocal::fits(given) ? given : 2) {}
    uint64_t operator()(uint64_t sum) const {
        return Reciprocal::fits(n) ? reciprocal.quotient(static_cast<uint32_t>(sum)) : sum / n;
    }
};

/// Any steps, with or without a mask.
template <class T, class Bin, bool with_intensity, uint32_t known, class Where>
void count_pixels(const Counted& call, Count<known> components, Where where) {
    constexpr bool masked = !std::is_same_v<Where, Everywhere>;
    const uint64_t n = components();
    if (n == 0) return;
    const uint32_t kept = call.kept();
    const Mean<known> mean_of(n);
    Sample<Bin>* const intensity = call.intensity_block<Bin>();
    Sample<Bin>* blocks[known != 0 ? known : 1];  // read once
    for (uint64_t c = 0; c < known; ++c) blocks[c] = call.block<Bin>(c);
    for (uint64_t y = 0; y < call.area.rows; y += call.steps.y) {
        const Sample<T>* const s = call.src.row<T>(y);
        const auto where_in_row = where.row(y);
        for (uint64_t x = 0; x < call.area.width; x += call.steps.x) {
            if (!where_in_row.has(x)) {
                // The mean of nothing is counted, by the form for any number alone.
                if constexpr (with_intensity && known == 0) bump(intensity, 0);
                continue;
            }
            std::conditional_t<known != 0, uint32_t, uint64_t> sum = 0;
            for (uint64_t c = call.first; c < n; ++c) {
                const uint32_t raw = s[x * n + c], value = raw & kept;
                bump(known != 0 ? blocks[c] : call.block<Bin>(c), value);
                sum += masked ? raw : value;  // unlike under no mask
            }
            if constexpr (with_intensity)
                if (const auto mean = mean_of(sum); mean <= kept) bump(intensity, mean);
        }
    }
}

/// Are four pixels of `bytes` equal? Reads nothing else.
template <uint64_t bytes>
bool four_equal(const void* pixels) {
    constexpr uint64_t length = 3 * bytes;  // which are equal to those one pixel further
    using Word = std::conditional_t<length >= 8, uint64_t, uint32_t>;
    const auto* const p = static_cast<const Sample<uint8_t>*>(pixels);
    const auto word = [p](uint64_t at) {
        return Word{*reinterpret_cast<const Sample<Word>*>(p + at)};
    };
    constexpr uint64_t last = length - sizeof(Word);
    if (word(last) != word(last + bytes)) return false;  // nearly always
    Word differs = 0;
    for (uint64_t at = 0; at < last; at += sizeof(Word)) differs |= word(at) ^ word(at + bytes);
    return differs == 0;
}

/// Calls `word` with 8 bytes of a row of single components at a time, `equal` with a value and how
/// often it follows itself, and `one` with each sample that remains.
template <class T, class Word, class Equal, class One>
void each_word(const Counted& call, Word word, Equal equal, One one) {
    constexpr uint64_t samples = 8 / sizeof(T);
    constexpr uint32_t bits = 8 * sizeof(T);
    for (uint64_t y = 0; y < call.area.rows; y += call.steps.y) {
        const Sample<T>* s = call.src.row<T>(y);
        const Sample<T>* const end = s + call.area.width;
        const Sample<T>* const last = s + call.area.width / samples * samples;
        while (s != last) {
            const uint64_t w = *reinterpret_cast<const Sample<uint64_t>*>(s);
            s += samples;
            if (w != (w << bits | w >> (64 - bits))) {
                word(w);
                continue;
            }
            uint64_t times = samples;
            for (; s != last && w == *reinterpret_cast<const Sample<uint64_t>*>(s); s += samples)
                times += samples;
            equal(static_cast<T>(w), times);
        }
        for (; s != end; ++s) one(T{*s});
    }
}

/// Single components into two tables by turns, `other` being the bins themselves or another.
template <class T, class Bin>
void count_by_turns(const Counted& call, Sample<Bin>* bins, Sample<Bin>* other) {
    constexpr uint32_t bits = 8 * sizeof(T);
    const uint32_t kept = call.kept();
    each_word<T>(
        call,
        [=](uint64_t w) {
            for (uint32_t i = 0; i < 64; i += 2 * bits) {
                bump(bins, w >> i & kept);
                bump(other, w >> (i + bits) & kept);
            }
        },
        [=](T value, uint64_t times) { bump(bins, value & kept, times); },
        [=](T value) { bump(bins, value & kept); });
}

template <class Bin, class Counter>
void add_table(Sample<Bin>* bins, const Counter* table, uint64_t count) {
    for (uint64_t i = 0; i < count; ++i) bins[i] = static_cast<Bin>(bins[i] + table[i]);
}

/// The same with a second table, for blocks of up to `most` bins.
template <class T, class Bin, uint64_t most>
[[gnu::noinline]] void count_in_two_tables(const Counted& call, Sample<Bin>* bins) {
    const uint64_t count = uint64_t{call.kept()} + 1;
    Sample<Bin> other[most];
    std::memset(static_cast<void*>(other), 0, count * sizeof(Bin));
    count_by_turns<T>(call, bins, other);
    add_table(bins, other, count);
}

/// A counter of 8 bits a place, which stay in a near cache. What flows over goes to the bins.
inline bool flows_over(uint8_t* counters, uint64_t place) {
    return __builtin_expect(++counters[place] == 0, 0);
}

/// A counter for each pair of bytes that stand side by side: half the increments.
template <class Bin>
[[gnu::noinline]] void count_pairs(const Counted& call, Sample<Bin>* bins) {
    uint8_t pairs[65536];
    uint8_t* const counters = pairs;
    std::memset(counters, 0, sizeof pairs);
    each_word<uint8_t>(
        call,
        [=](uint64_t w) {
            for (uint32_t i = 0; i < 64; i += 16) {
                const uint64_t pair = w >> i & 0xFFFF;
                if (!flows_over(counters, pair)) continue;
                bump(bins, pair & 0xFF, 256);
                bump(bins, pair >> 8, 256);
            }
        },
        [=](uint8_t value, uint64_t times) { bump(bins, value, times); },
        [=](uint8_t value) { bump(bins, value); });
    uint32_t firsts[256] = {};
    for (uint32_t second = 0; second < 256; ++second) {
        uint32_t sum = 0;
        for (uint32_t first = 0; first < 256; ++first) {
            const uint32_t count = pairs[second * 256 + first];
            firsts[first] += count;
            sum += count;
        }
        bump(bins, second, sum);
    }
    add_table(bins, firsts, 256);
}

/// Words that lie far apart in a block which is larger than the nearest cache.
template <class Bin>
[[gnu::noinline]] void count_scattered(const Counted& call, Sample<Bin>* bins) {
    uint8_t table[65536];
    const uint32_t kept = call.kept();
    std::memset(table, 0, sizeof table);
    uint8_t* const counters = table;
    each_word<uint16_t>(
        call,
        [=](uint64_t w) {
            for (uint32_t i = 0; i < 64; i += 16)
                if (const uint64_t value = w >> i & kept; flows_over(counters, value))
                    bump(bins, value, 256);
        },
        [=](uint16_t value, uint64_t times) { bump(bins, value & kept, times); },
        [=](uint16_t value) { bump(bins, value & kept); });
    add_table(bins, table, uint64_t{kept} + 1);
}

/// Do the words lie far apart? Tells by 256 of them, spread over the picture: how often the 16 bins
/// next to a value are met for the first time.
[[gnu::noinline]] inline bool is_scattered(const Counted& call) {
    bool met[4096] = {};
    uint32_t first_times = 0;
    for (uint64_t i = 0; i < 256; ++i) {
        const uint64_t y = call.area.rows * i / 256, x = call.area.width * (i * 97 % 256) / 256;
        bool& here = met[(call.src.row<uint16_t>(y)[x] & call.kept()) / 16];
        first_times += !here;
        here = true;
    }
    return first_times > 128;
}

/// Rows of single components, by size: a table must be cleared and added.
template <class T, class Bin>
void count_single(const Counted& call) {
    Sample<Bin>* const bins = call.block<Bin>(0);
    const uint64_t pixels = call.area.width * ((call.area.rows - 1) / call.steps.y + 1);
    if constexpr (sizeof(T) == 1) {
        if (pixels >= 1 << 18) return count_pairs(call, bins);
        if (pixels >= 1 << 11) return count_in_two_tables<T, Bin, 256>(call, bins);
    } else {
        if (call.kept() < 4096 && pixels >> 3 > call.kept())
            return count_in_two_tables<T, Bin, 4096>(call, bins);
        if (call.kept() > 8191 && pixels >= 1 << 18 && is_scattered(call))
            return count_scattered(call, bins);
    }
    count_by_turns<T>(call, bins, bins);
}

/// Rows of several components, four pixels at a time; their blocks are tables enough.
template <class T, class Bin, bool with_intensity, uint32_t n>
void count_several(const Counted& call) {
    const uint32_t kept = call.kept();
    Sample<Bin>* const intensity = call.intensity_block<Bin>();
    Sample<Bin>* blocks[n];
    for (uint32_t c = 0; c < n; ++c) blocks[c] = call.block<Bin>(c);
    const auto count = [&](const Sample<T>* pixel, uint32_t by) {
        uint32_t sum = 0;
#pragma GCC unroll 4
        for (uint32_t c = 0; c < n; ++c) {
            const uint32_t value = pixel[c] & kept;
            bump(blocks[c], value, by);
            sum += value;
        }
        if constexpr (with_intensity) bump(intensity, sum / n, by);
    };
    for (uint64_t y = 0; y < call.area.rows; y += call.steps.y) {
        const Sample<T>* s = call.src.row<T>(y);
        uint64_t left = call.area.width;
        for (; left >= 4; left -= 4, s += 4 * n) {
            if (four_equal<n * sizeof(T)>(s)) {
                count(s, 4);
                continue;
            }
            for (uint32_t i = 0; i < 4; ++i) count(s + i * n, 1);
        }
        for (; left != 0; --left, s += n) count(s, 1);
    }
}

}  // namespace qmpic
