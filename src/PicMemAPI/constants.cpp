#include <algorithm>
#include <bit>
#include <cmath>
#include <tuple>
#include <utility>

#include "PicMemAPI/by_component.h"
#include "PicMemAPI/constant_tables.h"
#include "PicMemAPI/constants_kernels.h"
#include "core/arithmetic.h"
#include "core/scratch.h"
#include "qmpic/PicMemAPI_Base.h"

// Constant arithmetic. What the table route promises is a function of one sample. Tables are made
// for powers and for small pictures of bytes; else the very numbers of the tables are computed, a
// vector of samples at a time.

namespace {

using namespace qmpic;

template <class Test>
bool all_of(uint32_t components, Test test) {
    for (uint32_t c = 0; c < components; ++c)
        if (!test(c)) return false;
    return true;
}

/// `op` with what `make(component)` gives, on one picture.
template <class T, class Make, class Op>
int compute(const ConstCall& p, Make make, Op op) {
    by_component<T>(p.team, p.dst, p.components, p.width, p.size, make, op, p.src);
    return QM_OK;
}

// ----- Sums
// ----------------------------------------------------------------------------------------

/// What is added and what is taken away first; one of them is 0.
template <class T>
std::tuple<T, T> moved_by(int64_t constant, uint32_t top) {
    constexpr int64_t most = T(-1);
    return {static_cast<T>(std::clamp<int64_t>(constant, 0, top)),
            static_cast<T>(std::clamp<int64_t>(-constant, 0, most))};
}

/// Clipped to 0 and top, without ever leaving the width of a sample.
template <class T>
struct MoveAndClip {
    T top, mask;
    T operator()(T sample, T add, T sub) const {
        const T low = static_cast<T>(sample & mask);
        const T left = static_cast<T>(low - std::min(low, sub));
        return static_cast<T>(std::min(left, static_cast<T>(top - add)) + add);
    }
};

/// The sum as unsigned: one below 0 is above top.
template <class T>
struct MoveUnsigned {
    T top;
    T operator()(T sample, T add, T sub) const {
        const T left = sample < sub ? top : static_cast<T>(sample - sub);
        return static_cast<T>(std::min(left, static_cast<T>(top - add)) + add);
    }
};

/// The sum as one of 32 bits that wraps.
struct AddAndClip {
    int32_t top;
    template <class T>
    T operator()(T sample, int32_t constant) const {
        return static_cast<T>(std::clamp(wrap_add(sample, constant), 0, top));
    }
};

struct AddBelowTop {
    int32_t top;
    uint16_t operator()(uint16_t sample, int32_t constant) const {
        return static_cast<uint16_t>(std::min(wrap_add(sample, constant), top));
    }
};

template <class T>
int move_and_clip(const ConstCall& p, uint32_t mask, const auto& constant_of) {
    const auto top = static_cast<T>(p.top());
    return compute<T>(
        p, [=](uint32_t c) { return moved_by<T>(constant_of(c), top); },
        MoveAndClip<T>{top, static_cast<T>(mask)});
}

/// Signed sums of `N` components. Few constants are so great that a sum may wrap.
template <class T>
int add_signed(const ConstCall& p, const auto& constant_of) {
    const auto cannot_wrap = [&](uint32_t c) { return constant_of(c) <= INT32_MAX - 65535; };
    if (all_of(p.components, cannot_wrap)) return move_and_clip<T>(p, T(-1), constant_of);
    return compute<T>(
        p, [=](uint32_t c) { return std::tuple{constant_of(c)}; },
        AddAndClip{static_cast<int32_t>(p.top())});
}

int add_unsigned(const ConstCall& p, const int32_t* constants) {
    const auto top = static_cast<uint8_t>(p.top());
    return compute<uint8_t>(
        p,
        [=](uint32_t c) {
            // Every sample is below this one: all sums are, and become top.
            if (constants[c] < -255) return std::tuple<uint8_t, uint8_t>{top, 0};
            return moved_by<uint8_t>(constants[c], top);
        },
        MoveUnsigned<uint8_t>{top});
}

int add_below_top(const ConstCall& p, const int32_t* constants) {
    return compute<uint16_t>(
        p, [=](uint32_t c) { return std::tuple{constants[c]}; },
        AddBelowTop{static_cast<int32_t>(p.top())});
}

/// Brought back once by top.
template <class T>
struct Rotate {
    int32_t top;
    T operator()(T sample, int32_t constant) const {
        const int32_t sum = (sample & top) + constant;
        return static_cast<T>(sum < 0 ? sum + top : sum > top ? sum - top : sum);
    }
};

template <class T>
int rotate(const ConstCall& p, const int32_t* constants) {
    return compute<T>(
        p,
        [=](uint32_t c) {
            // Far from 0 only the side and the low 16 bits count.
            const int32_t k = constants[c], low = k & 0xFFFF;
            return std::tuple{k > 0x20000 ? 0x20000 + low : k < -0x20000 ? low - 0x40000 : k};
        },
        Rotate<T>{static_cast<int32_t>(p.top())});
}

// ----- Products and quotients --------------------------------------------------------------------

// What is promised are products of doubles. Where there are many pixels, products of 16-bit words
// and then those in single precision are tried on all values that a sample may have, and take their
// place when they are the same. Words are right for nearly all factors below 2.

/// value * (whole + (high * 2^16 + low) / 2^32), rounded; top beyond `most`. A product in the very
/// middle between two results becomes the lower one where its whole part has no more bits than
/// value * down / 2^16.
struct Factor {
    uint16_t most, whole, high, low, down;
};

struct MulInWords {
    uint16_t mask, top;
    uint16_t operator()(uint16_t sample, uint16_t most, uint16_t whole, uint16_t high, uint16_t low,
                        uint16_t down) const {
        const auto x = static_cast<uint16_t>(sample & mask);
        const auto upper = static_cast<uint16_t>(uint32_t{x} * high >> 16);
        const auto lower = static_cast<uint16_t>(uint32_t{x} * high);
        const auto sum = static_cast<uint16_t>(lower + (uint32_t{x} * low >> 16));
        const auto carried = static_cast<uint16_t>(upper + (sum < lower));
        const auto product = static_cast<uint16_t>(uint32_t{x} * whole + carried);
        const auto limit = static_cast<uint16_t>(uint32_t{x} * down >> 16);
        const bool is_down = (sum == 0x8000) & ((limit ^ product) < (limit & product));
        const auto rounded = static_cast<uint16_t>(product + (is_down ? 0 : sum >> 15));
        return x > most ? top : rounded;
    }
};

/// Do both give the same for 0 to `most`?
template <class T, class Exact, class Tried>
bool same_for_all(uint32_t most, Exact exact, Tried tried) {
    constexpr uint32_t kBlock = 2048;  // so that what differs is soon seen
    bool same = true;
    bool* const result = &same;
    on_best_isa([=] {
        uint32_t first = 0;
        for (uint16_t differs = 0; differs == 0 && first <= most; first += kBlock) {
            const uint32_t end = std::min(first + kBlock, most + 1);
            for (uint32_t v = first; v < end; ++v) {
                const auto value = static_cast<T>(v);
                differs = static_cast<uint16_t>(differs | (exact(value) ^ tried(value)));
            }
            *result = differs == 0;
        }
    });
    return same;
}

/// How far `factor` lies below the fraction of small numbers that it was rounded from; 0: it is no
/// such. Only with one are there products in the very middle between two results.
double below_fraction(double factor) {
    constexpr double kMost = 2 * 65536;  // of denominators: (2k + 1) / 2v
    double p = std::floor(factor), q = 1, former_p = 1, former_q = 0, rest = factor - p;
    for (;;) {  // continued fractions; p and q are whole
        const auto upper = static_cast<double>(static_cast<float>(factor));
        const double below = (p - upper * q) - (factor - upper) * q;  // each product is exact
        if (std::fabs(below) <= 0x1p-50 * p) return below / q;
        if (rest < 0x1p-20) return 0;
        const double inverse = 1 / rest, next = std::floor(inverse);
        former_p = std::exchange(p, next * p + former_p);
        former_q = std::exchange(q, next * q + former_q);
        if (q > kMost) return 0;
        rest = inverse - next;
    }
}

/// Looks for words that do what `exact` does, which rises from less than top, for the samples up to
/// `greatest`. In doubles a product in the middle is cut to less than half where what its factor
/// lacks, times the sample, is more than half a unit of the product's last place: 2^-53 of the
/// greatest power of two that is not above it.
template <class Exact>
bool find_factor(Exact exact, double factor, uint32_t greatest, MulInWords op, Factor& found) {
    uint32_t most = 0;  // the last sample that gives less than top
    for (uint32_t step = 32768; step != 0; step /= 2)
        if (most + step <= greatest && exact(static_cast<uint16_t>(most + step)) < op.top)
            most += step;
    const double whole = std::floor(std::min(factor, 65535.0));
    const uint32_t least = trunc_clamp((factor - whole) * 0x1p32, 0xFFFFFFFD);
    const uint32_t down = trunc_clamp(below_fraction(factor) * 0x1p69, 65535);
    // What is rounded down misses halves, and so comes second.
    for (const uint32_t more : {1u, 0u, 2u}) {
        const uint32_t part = least + more;
        const Factor f{static_cast<uint16_t>(most), static_cast<uint16_t>(whole),
                       static_cast<uint16_t>(part >> 16), static_cast<uint16_t>(part),
                       static_cast<uint16_t>(down)};
        found = f;
        if (same_for_all<uint16_t>(most, exact, [=](uint16_t sample) {
                return op(sample, f.most, f.whole, f.high, f.low, f.down);
            }))
            return true;
    }
    return false;
}

/// value * (high + low) in single precision, rounded.
template <class T>
struct MulInFloats {
    T mask;
    int32_t top;
    T operator()(T sample, float high, float low) const {
        const auto value = static_cast<float>(static_cast<T>(sample & mask));
        const auto product = static_cast<int32_t>(value * high + value * low + 0.5f);
        return static_cast<T>(std::min(product, top));
    }
};

struct FloatFactor {
    float high, low;
};

/// A product in the middle between two results is rounded like all others, and then less than half
/// or not: by where it lies between powers of two. In single precision that is the same for a
/// factor that lies below the fraction by 2^29 as much. `high` has so few bits that its products
/// are exact.
template <class T, class Exact>
bool find_float_factor(Exact exact, double factor, uint32_t greatest, MulInFloats<T> op,
                       FloatFactor& found) {
    const double target = factor - below_fraction(factor) * 0x1p29;
    const auto cleared = static_cast<uint32_t>(53 - 24 + std::bit_width(greatest));
    const auto high = std::bit_cast<double>(std::bit_cast<uint64_t>(target) >> cleared << cleared);
    found = {static_cast<float>(high), static_cast<float>(target - high)};
    return same_for_all<T>(greatest, exact,
                           [=, f = found](T sample) { return op(sample, f.high, f.low); });
}

/// compute(p, make, op) for an op that is nearly a product by `factor_of(component)`, not below 0,
/// of samples that count up to `greatest`.
template <class T, class Make, class Op>
int compute_product(const ConstCall& p, uint32_t greatest, Make make, Op op,
                    [[maybe_unused]] const auto& factor_of) {
    constexpr uint32_t kMost = 32;
    const bool is_worth_it = p.components <= kMost && p.size >= 4 * (uint64_t{greatest} + 1);
    // find(component, exact, last): a few samples tell most of the components that have none.
    const auto finds = [&](auto find) {
        const auto finds_up_to = [&](uint32_t last) {
            return all_of(p.components, [&](uint32_t c) {
                return find(
                    c,
                    [=, k = make(c)](T sample) {
                        return std::apply([=](auto... of) { return op(sample, of...); }, k);
                    },
                    last);
            });
        };
        return finds_up_to(std::min(greatest, 511u)) && finds_up_to(greatest);
    };
    if constexpr (sizeof(T) == 2) {
        Factor all[kMost];
        const MulInWords in_words{static_cast<T>(greatest), static_cast<T>(p.top())};
        if (is_worth_it && finds([&](uint32_t c, auto exact, uint32_t last) {
                return find_factor(exact, factor_of(c), last, in_words, all[c]);
            }))
            return compute<T>(
                p,
                [&](uint32_t c) {
                    return std::tuple{all[c].most, all[c].whole, all[c].high, all[c].low,
                                      all[c].down};
                },
                in_words);
    }
    if constexpr (sizeof(T) <= 2) {
        FloatFactor all[kMost];
        const MulInFloats<T> in_floats{static_cast<T>(greatest), static_cast<int32_t>(p.top())};
        if (is_worth_it && finds([&](uint32_t c, auto exact, uint32_t last) {
                return find_float_factor(exact, factor_of(c), last, in_floats, all[c]);
            }))
            return compute<T>(
                p,
                [&](uint32_t c) {
                    return std::tuple{all[c].high, all[c].low};
                },
                in_floats);
    }
    return compute<T>(p, make, op);
}

/// The factor that gives the same for every sample, and never what is not a number: from top + 1 on
/// all samples but 0 give top, and below 0 all give 0.
double sane_factor(double factor, uint32_t top) {
    return factor > 0 ? std::min(factor, top + 1.0) : 0;
}

/// Products that fit into 32 bits, with no lower limit.
template <class T>
struct MulBelowTop {
    static constexpr double kGreatest = 32767;  // of factors
    T mask;
    int32_t top;
    T operator()(T sample, double factor) const {
        const double product = static_cast<T>(sample & mask) * factor + 0.5;
        return static_cast<T>(std::min(static_cast<int32_t>(product), top));
    }
};
/// The same of any factors: 0x80000000 for what does not fit.
template <class T>
struct MulAnyBelowTop {
    int32_t top;
    T operator()(T sample, double factor) const {
        return static_cast<T>(std::min(trunc_i32(sample * factor + 0.5), top));
    }
};
/// Sane factors.
template <class T>
struct MulAndClip {
    T mask;
    double top;
    T operator()(T sample, double factor) const {
        const double product = static_cast<T>(sample & mask) * factor + 0.5;
        return static_cast<T>(static_cast<int32_t>(product < top ? product : top));
    }
};

template <class T>
int multiply_and_clip(const ConstCall& p, const auto& factor_of) {
    const uint32_t top = p.top();
    const auto mask = static_cast<T>(top);
    const auto sane = [=](uint32_t c) { return sane_factor(factor_of(c), top); };
    const auto make = [=](uint32_t c) { return std::tuple{sane(c)}; };
    if (all_of(p.components, [=](uint32_t c) { return sane(c) <= MulBelowTop<T>::kGreatest; }))
        return compute_product<T>(p, top, make, MulBelowTop<T>{mask, static_cast<int32_t>(top)},
                                  sane);
    return compute<T>(p, make, MulAndClip<T>{mask, static_cast<double>(top)});
}

template <class T>
int multiply_below_top(const ConstCall& p, const double* factors) {
    constexpr double kGreatest = MulBelowTop<T>::kGreatest;
    const auto factor = [=](uint32_t c) { return factors[c]; };
    const auto make = [=](uint32_t c) { return std::tuple{factors[c]}; };
    const MulBelowTop<T> op{T(-1), static_cast<int32_t>(p.top())};
    const auto within = [=](double low) {
        return all_of(p.components,
                      [=](uint32_t c) { return factors[c] >= low && factors[c] <= kGreatest; });
    };
    if (within(0)) return compute_product<T>(p, T(-1), make, op, factor);
    if (within(-kGreatest)) return compute<T>(p, make, op);
    return compute<T>(p, make, MulAnyBelowTop<T>{op.top});
}

/// The divisor of fixed-point division and what rounds it.
struct Divisor {
    double d, half;
};

// Quotients of whole numbers below 2^32, as products: the factor is so little above 1 / D that
// whole quotients are reached, and that others, which are 1 / D or more below the next whole one,
// do not reach it. None is above 2^25.
template <class T>
struct DivideBelowTop {
    double scale;
    int32_t top;
    T operator()(T sample, double half, double per_d) const {
        const double quotient = (sample * scale + half) * per_d;
        return static_cast<T>(std::min(static_cast<int32_t>(quotient), top));
    }
    static std::tuple<double, double> with(const Divisor& by) {
        return {by.half, (1 + 0x1p-51) / by.d};
    }
};

// Whole numbers below 2^50 and no product: between a quotient that is not whole and the next whole
// number lies more than a rounding.
template <>
struct DivideBelowTop<uint32_t> {
    double scale, top;
    uint32_t operator()(uint32_t sample, double half, double d) const {
        const double quotient = (sample * scale + half) / d;
        return static_cast<uint32_t>(quotient < top ? quotient : top);
    }
    static std::tuple<double, double> with(const Divisor& by) { return {by.half, by.d}; }
};

template <class T>
int divide(const ConstCall& p, const double* divisors) {
    constexpr double scale = sizeof(T) == 1 ? 4096 : sizeof(T) == 2 ? 256 : 65536;
    // From 2^50 on a divisor of 64 bits gives 0 for all samples of 32.
    constexpr double most = sizeof(T) == 4 ? 0x1p50 : 4294967295.0;
    // Gives more than any top, also for the sample 0.
    constexpr Divisor nothing{0x1p-3, sizeof(T) == 4 ? 0x1p30 : 0x1p18};
    const Scratch<Divisor> all(p.components);
    if (!all) return QM_NO_MEMORY;
    for (uint32_t c = 0; c < p.components; ++c) {
        if (divisors[c] < 0) return QM_BAD_BUFFER;
        const double scaled = divisors[c] * scale + 0.5;
        const double d = scaled < most ? static_cast<double>(trunc_i64(scaled)) : most;
        all[c] = scaled >= 1 ? Divisor{d, std::floor(d / 2)} : nothing;  // also what is no number
    }
    const Divisor* const of = all.get();
    return compute_product<T>(
        p, T(-1), [=](uint32_t c) { return DivideBelowTop<T>::with(of[c]); },
        DivideBelowTop<T>{scale, static_cast<decltype(DivideBelowTop<T>::top)>(p.top())},
        [=](uint32_t c) { return scale / of[c].d; });
}

// ----- Limits ------------------------------------------------------------------------------------

template <class T>
struct Lesser {
    T mask;
    T operator()(T sample, T limit) const { return std::min(static_cast<T>(sample & mask), limit); }
};
template <class T>
struct Greater {
    T mask;
    T operator()(T sample, T limit) const { return std::max(static_cast<T>(sample & mask), limit); }
};

template <class T, template <class> class Limit>
int limit(const ConstCall& p, uint32_t mask, const void* constants) {
    const auto* const pixel = static_cast<const Sample<T>*>(constants);
    return compute<T>(
        p, [=](uint32_t c) { return std::tuple{pixel[c].value}; }, Limit<T>{static_cast<T>(mask)});
}

// ----- Sum, product and power --------------------------------------------------------------------

/// Steps that are left out change nothing when they are made with these.
struct Curve {
    const double *add, *mul, *pow;
    double added(uint32_t c) const { return add != nullptr ? add[c] : 0; }
    double factor(uint32_t c) const { return mul != nullptr ? mul[c] : 1; }
    double exponent(uint32_t c) const { return pow != nullptr ? pow[c] : 1; }
    bool is_straight(uint32_t components) const {
        return all_of(components, [&](uint32_t c) { return exponent(c) == 1; });
    }
};

template <class T>
struct Straight {
    double top;
    T mask;
    T operator()(T sample, double add, double mul) const {
        const double value = (static_cast<T>(sample & mask) + add) * mul + 0.5;
        const double above = value > 0 ? value : 0;  // also what is not a number
        return static_cast<T>(static_cast<int32_t>(above < top ? above : top));
    }
};

template <class T>
struct PowAndClip {
    uint32_t top;
    T mask;
    T operator()(T sample, double add, double mul, double pow) const {
        const auto value = static_cast<T>(sample & mask);
        return static_cast<T>(trunc_clamp(std::pow((value + add) * mul, pow) + 0.5, top));
    }
};

/// Each sample by itself.
template <class T>
int compute_curve(const ConstCall& p, uint32_t mask, Curve curve) {
    const auto kept = static_cast<T>(mask);
    if (curve.is_straight(p.components))
        return compute<T>(
            p,
            [=](uint32_t c) {
                return std::tuple{curve.added(c), curve.factor(c)};
            },
            Straight<T>{static_cast<double>(p.top()), kept});
    return compute<T>(
        p,
        [=](uint32_t c) {
            return std::tuple{curve.added(c), curve.factor(c), curve.exponent(c)};
        },
        PowAndClip<T>{p.top(), kept});
}

/// Powers in a table when there are more pixels than values.
template <class T>
bool wants_table(const ConstCall& p, Curve curve) {
    return !curve.is_straight(p.components) && p.size > uint64_t{p.top()} + 1;
}

template <class T>
struct PowTable {
    const T* cells;
    uint64_t count;
    uint32_t top;
    Curve curve;
    static T cell(T value, uint32_t c, uint32_t top, const Curve& curve) {
        return PowAndClip<T>{top, T(-1)}(value, curve.added(c), curve.factor(c), curve.exponent(c));
    }
    void operator()(Sample<T>* d, const Sample<T>* s) const {
        for (uint32_t c = 0; c < count; ++c)
            d[c] = s[c] <= top ? cells[s[c] * count + c] : cell(s[c], c, top, curve);
    }
};

/// The cells of `N` components for the values of the depth; those beyond it, which no picture
/// should have, are computed.
template <class T>
int look_curve_up(const ConstCall& p, Curve curve) {
    constexpr uint64_t kMostBytes = uint64_t{1} << 25;
    const uint64_t values = uint64_t{p.top()} + 1, count = p.components;
    if (!wants_table<T>(p, curve) || values * count * sizeof(T) > kMostBytes)
        return compute_curve<T>(p, T(-1), curve);
    const Scratch<T> cells(values * count);
    if (!cells) return compute_curve<T>(p, T(-1), curve);
    const uint32_t top = p.top();
    for (uint32_t value = 0; value < values; ++value)
        for (uint32_t c = 0; c < count; ++c)
            cells[value * count + c] = PowTable<T>::cell(static_cast<T>(value), c, top, curve);
    each_pixel<T, T>(kCallingThread, p.dst, Count<0>{p.components}, p.src, Count<0>{p.components},
                     Area::of_pixels(p.width, p.size), PowTable<T>{cells.get(), count, top, curve});
    return QM_OK;
}

// ----- Differences of two pictures ---------------------------------------------------------------

template <class T, class Lane>
struct SubAndAdd {
    Lane top;
    T operator()(T a, T b, Lane constant) const {
        using Bits = std::make_unsigned_t<Lane>;
        const auto sum = static_cast<Lane>(
            static_cast<Bits>(static_cast<Bits>(a - b) + static_cast<Bits>(constant)));
        return static_cast<T>(std::clamp<Lane>(sum, 0, top));
    }
};

template <class T, class Lane>
int subtract_and_add(const ConstCall& p, Src second, const auto& constant_of) {
    by_component<T>(
        kCallingThread, p.dst, p.components, p.width, p.size,
        [=](uint32_t c) { return std::tuple{static_cast<Lane>(constant_of(c))}; },
        SubAndAdd<T, Lane>{static_cast<Lane>(p.top())}, p.src, second);
    return QM_OK;
}

template <class T>
int subtract_and_add(const ConstCall& p, Src second, const int32_t* constants) {
    // Bytes have room in 16 bits, unless the sum of 32 wraps.
    const auto cannot_wrap = [=](uint32_t c) {
        return constants[c] >= INT32_MIN + 255 && constants[c] <= INT32_MAX - 255;
    };
    if constexpr (sizeof(T) == 1)
        if (all_of(p.components, cannot_wrap))
            return subtract_and_add<T, int16_t>(
                p, second, [=](uint32_t c) { return std::clamp(constants[c], -512, 512); });
    return subtract_and_add<T, int32_t>(p, second, [=](uint32_t c) { return constants[c]; });
}

// ----- The members of a family -------------------------------------------------------------------

// Each has `fixed` for the component counts of the table route, and two kernels for any count.
// Small pictures of bytes do go through tables.

template <class T>
bool by_table(const ConstCall& p) {
    return sizeof(T) == 1 && p.size < 4096;
}
/// What is computed in place of a table is shared where the table would be: by the kernels that
/// apply tables of bytes to one and three components.
template <class T, uint32_t n>
ConstCall shared(ConstCall p) {
    if (sizeof(T) == 1 && n != 4) p.team = kTeam;
    return p;
}

template <class T, uint32_t n>
int add(const ConstCall& p, const auto& constant_of) {
    if (by_table<T>(p)) return add_by_table<n>(p, constant_of);
    return move_and_clip<T>(shared<T, n>(p), p.top(), constant_of);
}

struct AddConst {
    template <class T, uint32_t n>
    static int fixed(const ConstCall& p, const int32_t* k) {
        return add<T, n>(p, [=](uint32_t c) { return int64_t{k[c]}; });
    }
    static int any8(const ConstCall& p, const int32_t* k) { return add_unsigned(p, k); }
    static int any16(const ConstCall& p, const int32_t* k) {
        return add_signed<uint16_t>(p, [=](uint32_t c) { return k[c]; });
    }
};

struct RotateConst {
    template <class T, uint32_t n>
    static int fixed(const ConstCall& p, const int32_t* k) {
        if constexpr (n != 3)  // only three components rotate
            return AddConst::fixed<T, n>(p, k);
        else
            return by_table<T>(p) ? rotate_by_table(p, k) : rotate<T>(shared<T, n>(p), k);
    }
    static int any8(const ConstCall& p, const int32_t* k) { return add_unsigned(p, k); }
    static int any16(const ConstCall& p, const int32_t* k) { return add_below_top(p, k); }
};

struct SubConst {
    template <class T, uint32_t n>
    static int fixed(const ConstCall& p, const int32_t* k) {
        return add<T, n>(p, [=](uint32_t c) { return -int64_t{k[c]}; });
    }
    template <class T>
    static int any(const ConstCall& p, const int32_t* k) {
        return add_signed<T>(p, [=](uint32_t c) { return wrap_sub(0, k[c]); });
    }
    static int any8(const ConstCall& p, const int32_t* k) { return any<uint8_t>(p, k); }
    static int any16(const ConstCall& p, const int32_t* k) { return any<uint16_t>(p, k); }
};

template <class T, uint32_t n>
int multiply(const ConstCall& p, const auto& factor_of) {
    // Byte permutes are quicker than products where a table of one component, or of three with
    // VBMI, fits into them.
    if constexpr (sizeof(T) == 1)
        if (n == 1 || (n == 3 && has_vbmi()) || by_table<T>(p))
            return multiply_by_table<n>(p, factor_of);
    return multiply_and_clip<T>(shared<T, n>(p), factor_of);
}

struct MulConst {
    template <class T, uint32_t n>
    static int fixed(const ConstCall& p, const double* k) {
        return multiply<T, n>(p, [=](uint32_t c) { return k[c]; });
    }
    static int any8(const ConstCall& p, const double* k) {
        return multiply_below_top<uint8_t>(p, k);
    }
    static int any16(const ConstCall& p, const double* k) {
        return multiply_below_top<uint16_t>(p, k);
    }
};

struct DivConst {
    template <class T, uint32_t n>
    static int fixed(const ConstCall& p, const double* k) {
        return multiply<T, n>(p, [=](uint32_t c) { return 1.0 / k[c]; });
    }
    static int any8(const ConstCall& p, const double* k) { return divide<uint8_t>(p, k); }
    static int any16(const ConstCall& p, const double* k) { return divide<uint16_t>(p, k); }
};

template <template <class> class Limit>
struct LimitConst {
    template <class T, uint32_t n>
    static int fixed(const ConstCall& p, const void* k) {
        if (by_table<T>(p)) return limit_by_table<n>(p, static_cast<const uint8_t*>(k));
        return limit<T, Limit>(shared<T, n>(p), p.top(), k);
    }
    static int any8(const ConstCall& p, const void* k) { return limit<uint8_t, Limit>(p, ~0u, k); }
    static int any16(const ConstCall& p, const void* k) {
        return limit<uint16_t, Limit>(p, ~0u, k);
    }

  private:
    template <uint32_t n>
    static int limit_by_table(const ConstCall& p, const uint8_t* k) {
        if constexpr (std::is_same_v<Limit<uint8_t>, Lesser<uint8_t>>)
            return min_by_table<n>(p, k);
        else
            return max_by_table<n>(p, k);
    }
};
using MinConst = LimitConst<Lesser>;
using MaxConst = LimitConst<Greater>;

struct AddMulPowConst {
    template <class T, uint32_t n>
    static int fixed(const ConstCall& p, const Curve& k) {
        if (sizeof(T) == 1 || wants_table<T>(p, k)) {
            const int code = curve_by_table<T, n>(p, k.add, k.mul, k.pow);
            if (n != 1 || code != QM_NO_MEMORY) return code;
        }
        return compute_curve<T>(p, p.top(), k);
    }
    static int any8(const ConstCall& p, const Curve& k) { return look_curve_up<uint8_t>(p, k); }
    static int any16(const ConstCall& p, const Curve& k) { return look_curve_up<uint16_t>(p, k); }
};

ConstCall call_of(void* dst, uint32_t dst_stride, const void* src, uint32_t src_stride,
                  uint32_t components, uint32_t bpc, uint32_t width, uint64_t size) {
    return {{dst, dst_stride}, {src, src_stride}, components, bpc, width, size, kCallingThread};
}

}  // namespace

// One line a kernel: name, its constants, what runs, components.
#define LIST(...) __VA_ARGS__
#define KERNEL(name, constants, run, components)                                                   \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc, uint32_t uiSrcWidthBytes,     \
             LIST constants, [[maybe_unused]] uint32_t uiComponents, uint32_t uiBpc,               \
             uint32_t uiWidth, uint64_t uiSizeInPixels) {                                          \
        const ConstCall p = call_of(pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes, components,      \
                                    uiBpc, uiWidth, uiSizeInPixels);                               \
        return run;                                                                                \
    }
// The eight of a family: name, what they do, their constants, and these for what they do.
#define FAMILY(name, Family, constants, k)                                                         \
    KERNEL(name##_1x8, constants, (Family::fixed<uint8_t, 1>(p, k)), 1)                            \
    KERNEL(name##_3x8, constants, (Family::fixed<uint8_t, 3>(p, k)), 3)                            \
    KERNEL(name##_4x8, constants, (Family::fixed<uint8_t, 4>(p, k)), 4)                            \
    KERNEL(name##_Nx8, constants, (Family::any8(p, k)), uiComponents)                              \
    KERNEL(name##_1x16, constants, (Family::fixed<uint16_t, 1>(p, k)), 1)                          \
    KERNEL(name##_3x16, constants, (Family::fixed<uint16_t, 3>(p, k)), 3)                          \
    KERNEL(name##_4x16, constants, (Family::fixed<uint16_t, 4>(p, k)), 4)                          \
    KERNEL(name##_Nx16, constants, (Family::any16(p, k)), uiComponents)

FAMILY(addconstandclip, AddConst, (const int32_t* piConst), piConst)
FAMILY(addconstrotate, RotateConst, (const int32_t* piConst), piConst)
FAMILY(subconstandclip, SubConst, (const int32_t* piConst), piConst)
FAMILY(mulconstandclip, MulConst, (const double* pdConst), pdConst)
FAMILY(divconstandclip, DivConst, (const double* pdConst), pdConst)
KERNEL(divconstandclip_Nx32, (const double* pdConst), divide<uint32_t>(p, pdConst), uiComponents)
KERNEL(divconstandclip_5x32, (const double* pdConst), divide<uint32_t>(p, pdConst), 5)
FAMILY(minconstandclip, MinConst, (const void* pConst), pConst)
FAMILY(maxconstandclip, MaxConst, (const void* pConst), pConst)
FAMILY(addmulpowconstandclip, AddMulPowConst,
       (const double* pdAdd, const double* pdMul, const double* pdPow),
       (Curve{pdAdd, pdMul, pdPow}))

#undef FAMILY
#undef KERNEL
#undef LIST

#define KERNEL(name, Storage, components)                                                          \
    int name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc1, uint32_t uiSrc1WidthBytes,   \
             const void* pSrc2, uint32_t uiSrc2WidthBytes, const int32_t* piConst,                 \
             [[maybe_unused]] uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth,             \
             uint64_t uiSizeInPixels) {                                                            \
        return subtract_and_add<Storage>(call_of(pDst, uiDstWidthBytes, pSrc1, uiSrc1WidthBytes,   \
                                                 components, uiBpc, uiWidth, uiSizeInPixels),      \
                                         Src{pSrc2, uiSrc2WidthBytes}, piConst);                   \
    }

// clang-format off
KERNEL(subaddconstandclip_1x8,  uint8_t,  1)
KERNEL(subaddconstandclip_3x8,  uint8_t,  3)
KERNEL(subaddconstandclip_4x8,  uint8_t,  4)
KERNEL(subaddconstandclip_Nx8,  uint8_t,  uiComponents)
KERNEL(subaddconstandclip_1x16, uint16_t, 1)
KERNEL(subaddconstandclip_3x16, uint16_t, 3)
KERNEL(subaddconstandclip_4x16, uint16_t, 4)
KERNEL(subaddconstandclip_Nx16, uint16_t, uiComponents)
// clang-format on

#undef KERNEL

#define ENTRY(Name, list, Constants, constants, nothing)                                           \
    int CQmPicMemAPI_Base::Name(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,            \
                                uint32_t uiSrcWidthBytes, Constants, uint32_t uiComponents,        \
                                uint32_t uiBpc, uint32_t uiWidth, uint64_t uiSizeInPixels) {       \
        if (nothing) return QM_OK;                                                                 \
        return call(list.find(uiComponents, uiBpc), pDst, uiDstWidthBytes, pSrc, uiSrcWidthBytes,  \
                    constants, uiComponents, uiBpc, uiWidth, uiSizeInPixels);                      \
    }
#define NO_PICTURES nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)

ENTRY(AddConstAndClip, kAddConstAndClip, const int32_t* piConst, piConst, NO_PICTURES)
ENTRY(AddConstRotate, kAddConstRotate, const int32_t* piConst, piConst, NO_PICTURES)
ENTRY(SubConstAndClip, kSubConstAndClip, const int32_t* piConst, piConst, NO_PICTURES)
ENTRY(MulConstAndClip, kMulConstAndClip, const double* pdConst, pdConst, NO_PICTURES)
ENTRY(MinConstAndClip, kMinConstAndClip, const void* pConst, pConst, NO_PICTURES)
ENTRY(MaxConstAndClip, kMaxConstAndClip, const void* pConst, pConst, NO_PICTURES)
// These two do not look at the pictures.
ENTRY(DivConstAndClip, kDivConstAndClip, const double* pdConst, pdConst,
      uiWidth == 0 || uiSizeInPixels == 0)

#undef NO_PICTURES
#undef ENTRY

int CQmPicMemAPI_Base::AddMulPowConstAndClip(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc,
                                             uint32_t uiSrcWidthBytes, const double* pdAdd,
                                             const double* pdMul, const double* pdPow,
                                             uint32_t uiComponents, uint32_t uiBpc,
                                             uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (uiWidth == 0 || uiSizeInPixels == 0) return QM_OK;
    return call(kAddMulPowConstAndClip.find(uiComponents, uiBpc), pDst, uiDstWidthBytes, pSrc,
                uiSrcWidthBytes, pdAdd, pdMul, pdPow, uiComponents, uiBpc, uiWidth, uiSizeInPixels);
}

// The second source is not guarded.
int CQmPicMemAPI_Base::SubAddConstAndClip(void* pDst, uint32_t uiDstWidthBytes, const void* pSrc1,
                                          uint32_t uiSrc1WidthBytes, const void* pSrc2,
                                          uint32_t uiSrc2WidthBytes, const int32_t* piConst,
                                          uint32_t uiComponents, uint32_t uiBpc, uint32_t uiWidth,
                                          uint64_t uiSizeInPixels) {
    if (nothing_to_do(pDst, pSrc1, uiWidth, uiSizeInPixels)) return QM_OK;
    return call(kSubAddConstAndClip.find(uiComponents, uiBpc), pDst, uiDstWidthBytes, pSrc1,
                uiSrc1WidthBytes, pSrc2, uiSrc2WidthBytes, piConst, uiComponents, uiBpc, uiWidth,
                uiSizeInPixels);
}
