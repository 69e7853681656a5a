#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "analysis/exact_sum.h"
#include "core/shapes.h"

/// Two components, pixel by pixel: taken out of their pictures a block at a time, and summed. The
/// blocks stay in the nearest cache, so that sums are written once for all layouts.

namespace qmpic {

/// Where rows of samples of a type lie.
template <class T>
struct Rows : Src {
    Rows(const void* first_, uint32_t stride_) : Src{first_, stride_} {}
};
template <>
struct Rows<float> : FloatSrc {
    Rows(const void* first_, uint32_t stride_)
        : FloatSrc{static_cast<const float*>(first_), stride_} {}
};

constexpr uint64_t kPairs = 256;  ///< pixels of a block

/// What a sample is in a block: bytes and words are words.
template <class T>
using Taken = std::conditional_t<std::is_same_v<T, float>, float, uint16_t>;

template <class T>
struct PairBlock {
    Taken<T> a[kPairs], b[kPairs];

    /// Behind `count` pixels zeros, so that sums run over whole vectors. Tells how many there are.
    uint64_t fill_up(uint64_t count) {
        const uint64_t whole = (count + kVector - 1) / kVector * kVector;
        for (uint64_t x = count; x < whole; ++x) a[x] = b[x] = 0;
        return whole;
    }

  private:
    static constexpr uint64_t kVector = 32;
    static_assert(kPairs % kVector == 0);
};

namespace detail {
template <class T, uint32_t known, class Op>
void take_steps(const Sample<T>* s, Count<known> step, uint64_t count, Op op, Taken<T>* to) {
    for (uint64_t x = 0; x < count; ++x) to[x] = op(T{s[x * step()]});
}
}  // namespace detail

/// to[x] = op(every `step`-th sample)
template <class T, class Op>
void take(const Sample<T>* s, uint32_t step, uint64_t count, Op op, Taken<T>* to) {
    switch (step) {
    case 1: return detail::take_steps(s, Count<1>{}, count, op, to);
    case 2: return detail::take_steps(s, Count<2>{}, count, op, to);
    case 3: return detail::take_steps(s, Count<3>{}, count, op, to);
    case 4: return detail::take_steps(s, Count<4>{}, count, op, to);
    default: return detail::take_steps(s, Count<0>{step}, count, op, to);
    }
}

/// 1 that the compiler does not see through: adding products with it is adding pairs of words to
/// sums of 32 bits in two instructions, and adding the words is five.
inline const volatile int16_t kOne = 1;

/// Sums over whole numbers of type T, none of them rounded below 2^53. With `parts` there are those
/// over the pixels where the other sample is not 0.
template <class T, bool parts>
class WholeSums {
  public:
    void add(PairBlock<T>& block, uint64_t pixels) {
        add(words(block.a), words(block.b), block.fill_up(pixels));
    }
    /// `count` is a multiple of 32, and at most kPairs.
    void add(const Sample<uint16_t>* a, const Sample<uint16_t>* b, uint64_t count) {
        if (!aa_.has_room(kPairs, kGreatest) || !bb_.has_room(kPairs, kGreatest) ||
            !ab_.has_room(kPairs, kGreatest))
            return add_in_order(a, b, count);
        if constexpr (sizeof(T) == 1) {
            add_small(a, b, count);
        } else {  // neighbours are alike, mostly
            is_small_ = (is_small_ && add_small(a, b, count)) || add_wide(a, b, count);
        }
    }
    // Sums of fewer than 2^32 samples stay below 2^53.
    double a() const { return static_cast<double>(a_); }
    double b() const { return static_cast<double>(b_); }
    double a_with_b() const { return static_cast<double>(a_with_b_); }
    double b_with_a() const { return static_cast<double>(b_with_a_); }
    double aa() const { return aa_.value(); }
    double bb() const { return bb_.value(); }
    double ab() const { return ab_.value(); }

  private:
    static constexpr uint64_t kGreatest = uint64_t{T(-1)} * T(-1);
    /// 256 products of this fit into 32 bits, and the samples into signed words.
    static constexpr uint32_t kSmall = 4095;
    static_assert(uint64_t{kSmall} * kSmall * kPairs <= UINT32_MAX);

    static const Sample<uint16_t>* words(const uint16_t* block) {
        return reinterpret_cast<const Sample<uint16_t>*>(block);
    }
    /// Of words, the first where the second is not 0, which is at most 0x8000.
    static int16_t where(int16_t value, int16_t other) {
        return static_cast<int16_t>(value & static_cast<int16_t>(-other) >> 15);
    }

    /// Or adds nothing, and says so: there are samples above kSmall.
    bool add_small(const Sample<uint16_t>* a, const Sample<uint16_t>* b, uint64_t count) {
        const int16_t one = kOne;
        uint32_t sum_a = 0, sum_b = 0, aa = 0, bb = 0, ab = 0, a_with_b = 0, b_with_a = 0;
        uint16_t any = 0;
        for (uint64_t x = 0; x < count; ++x) {
            const auto p = static_cast<int16_t>(a[x].value), q = static_cast<int16_t>(b[x].value);
            if constexpr (sizeof(T) != 1)
                any = static_cast<uint16_t>(any | static_cast<uint16_t>(p | q));
            sum_a += static_cast<uint32_t>(p * one);
            sum_b += static_cast<uint32_t>(q * one);
            aa += static_cast<uint32_t>(p * p);
            bb += static_cast<uint32_t>(q * q);
            ab += static_cast<uint32_t>(p * q);
            if constexpr (parts) {
                a_with_b += static_cast<uint32_t>(where(p, q) * one);
                b_with_a += static_cast<uint32_t>(where(q, p) * one);
            }
        }
        if (any > kSmall) return false;
        add_samples(sum_a, sum_b, a_with_b, b_with_a);
        aa_.add_total(aa);
        bb_.add_total(bb);
        ab_.add_total(ab);
        return true;
    }

    /// Products as their low and high halves, whose sums fit into 32 bits. Tells whether all
    /// samples were small.
    bool add_wide(const Sample<uint16_t>* a, const Sample<uint16_t>* b, uint64_t count) {
        uint32_t sum_a = 0, sum_b = 0, a_with_b = 0, b_with_a = 0, any = 0;
        uint32_t low[3] = {}, high[3] = {};
        for (uint64_t x = 0; x < count; ++x) {
            const uint32_t p = a[x], q = b[x], pp = p * p, qq = q * q, pq = p * q;
            any |= p | q;
            sum_a += p;
            sum_b += q;
            low[0] += pp & 0xFFFF, high[0] += pp >> 16;
            low[1] += qq & 0xFFFF, high[1] += qq >> 16;
            low[2] += pq & 0xFFFF, high[2] += pq >> 16;
            if constexpr (parts) {
                a_with_b += q != 0 ? p : 0;
                b_with_a += p != 0 ? q : 0;
            }
        }
        add_samples(sum_a, sum_b, a_with_b, b_with_a);
        ExactSum* const sums[] = {&aa_, &bb_, &ab_};
        for (int i = 0; i < 3; ++i)
            sums[i]->add_total(static_cast<int64_t>((uint64_t{high[i]} << 16) + low[i]));
        return any <= kSmall;
    }

    /// Some products ahead of the three chains of sums, so that these wait for nothing else.
    void add_in_order(const Sample<uint16_t>* a, const Sample<uint16_t>* b, uint64_t count) {
        constexpr uint64_t kAhead = 16;
        uint32_t sum_a = 0, sum_b = 0, a_with_b = 0, b_with_a = 0;
        ExactSum aa = aa_, bb = bb_, ab = ab_;
        for (uint64_t x = 0; x < count; x += kAhead) {
            double products[3][kAhead];
            for (uint64_t i = 0; i < kAhead; ++i) {
                const int32_t p = a[x + i], q = b[x + i];
                const double first = p, second = q;
                products[0][i] = first * first;
                products[1][i] = second * second;
                products[2][i] = first * second;
                sum_a += static_cast<uint32_t>(p);
                sum_b += static_cast<uint32_t>(q);
                if constexpr (parts) {
                    a_with_b += static_cast<uint32_t>(q != 0 ? p : 0);
                    b_with_a += static_cast<uint32_t>(p != 0 ? q : 0);
                }
            }
            for (uint64_t i = 0; i < kAhead; ++i) {
                aa.add(products[0][i]);
                bb.add(products[1][i]);
                ab.add(products[2][i]);
            }
        }
        aa_ = aa, bb_ = bb, ab_ = ab;
        add_samples(sum_a, sum_b, a_with_b, b_with_a);
    }

    void add_samples(uint32_t a, uint32_t b, uint32_t a_with_b, uint32_t b_with_a) {
        a_ += a, b_ += b, a_with_b_ += a_with_b, b_with_a_ += b_with_a;
    }

    uint64_t a_ = 0, b_ = 0, a_with_b_ = 0, b_with_a_ = 0;
    ExactSum aa_, bb_, ab_;
    bool is_small_ = true;
};

/// The same over floats, one pixel after the other: their order is the result.
template <bool parts>
class FloatSums {
  public:
    void add(const PairBlock<float>& block, uint64_t count) {
        uint64_t x = 0;
        for (; x + kAhead <= count; x += kAhead) add_some<kAhead>(block.a + x, block.b + x);
        for (; x < count; ++x) add_some<1>(block.a + x, block.b + x);
    }
    double a() const { return sums_[0]; }
    double b() const { return sums_[1]; }
    double aa() const { return sums_[2]; }
    double bb() const { return sums_[3]; }
    double ab() const { return sums_[4]; }
    double a_with_b() const { return sums_[5]; }
    double b_with_a() const { return sums_[6]; }

  private:
    static constexpr uint64_t kAhead = 16, kSums = parts ? 7 : 5;

    /// What is added is made ahead of the chains of sums.
    template <uint64_t n>
    void add_some(const float* a, const float* b) {
        double terms[kSums][n], sums[kSums];
        for (uint64_t i = 0; i < n; ++i) {
            const double p = a[i], q = b[i];
            terms[0][i] = p;
            terms[1][i] = q;
            terms[2][i] = p * p;
            terms[3][i] = q * q;
            terms[4][i] = p * q;
            if constexpr (parts) {  // nothing is negative, and 0 changes nothing
                terms[5][i] = q != 0 ? p : 0;
                terms[6][i] = p != 0 ? q : 0;
            }
        }
        std::copy_n(sums_, kSums, sums);
        for (uint64_t i = 0; i < n; ++i)
            for (uint64_t k = 0; k < kSums; ++k) sums[k] += terms[k][i];
        std::copy_n(sums, kSums, sums_);
    }

    double sums_[kSums] = {};
};

template <class T, bool parts>
struct PairSumsOf : std::type_identity<WholeSums<T, parts>> {};
template <bool parts>
struct PairSumsOf<float, parts> : std::type_identity<FloatSums<parts>> {};
template <class T, bool parts>
using PairSums = typename PairSumsOf<T, parts>::type;

}  // namespace qmpic
