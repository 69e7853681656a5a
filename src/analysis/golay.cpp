#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <utility>

#include "analysis/golay_kernels.h"
#include "analysis/golay_weights.h"
#include "core/arithmetic.h"
#include "core/rows.h"
#include "core/scratch.h"
#include "qmpic/status.h"

// Savitzky-Golay filters. A line of a picture is filtered by adding lines, whichever way: along the
// columns these are rows, and along the rows one and the same row, a pixel farther each time. The
// window runs down the picture once, and its rows are kept in a ring.
//
// Inside, products are cut before they are added, so that no two samples can be added before they
// are multiplied. But a product is that of all windows that the sample is in, both ways, and taps
// that lie opposite have the same weight, or (slopes) the same with the other sign, to the last
// bit.

namespace {

using namespace qmpic;

constexpr int kNoMemory = QM_BAD_BUFFER;  // as for pictures that are too small

/// Samples that are summed up at once: what is not finished stays in the cache.
constexpr uint64_t kBlock = 1024;

struct Smoothed {
    static constexpr uint32_t kDerivative = 0;
    int32_t top;
    explicit Smoothed(uint32_t bpc) : top(static_cast<int32_t>(max_value(bpc))) {}
    uint32_t operator()(uint32_t sum) const {
        return static_cast<uint32_t>(std::clamp(static_cast<int32_t>(sum) >> 10, 0, top));
    }
};

/// At 8 bits this is what conversion from 16 bits leaves of at most 65535.
struct Steepness {
    static constexpr uint32_t kDerivative = 1;
    uint32_t limit, shift;
    explicit Steepness(uint32_t bpc) : limit(max_value(2 * bpc)), shift(bpc) {}
    uint32_t operator()(uint32_t sum) const {
        const uint32_t without_sign = static_cast<int32_t>(sum) < 0 ? 0 - sum : sum;
        return std::min(without_sign, limit) >> shift;
    }
};

template <class T, class Finish>
void put(const uint32_t* sums, uint64_t count, Sample<T>* out, Finish finish) {
    for (uint64_t i = 0; i < count; ++i) out[i] = static_cast<T>(finish(sums[i]));
}

struct Call {
    Dst dst;
    Src src;
    uint64_t width, height, components;
    uint32_t half, bpc;
    int32_t order;

    uint64_t window() const { return uint64_t{2} * half + 1; }
    uint64_t samples() const { return width * components; }
};

// ----- Inside: the window is around the sample
// -----------------------------------------------------

// Each way of it has items, that are made once of a line, and adds lines of them: taps[j] is the
// line j of the window, whose middle is at `half`. Every line is a call for itself, so that a way
// is compiled once for smoothing and once for slopes, wherever its lines lie.

/// Products in doubles, as they are defined; T is the sample. `fits`: none leaves 32 bits.
template <class T, class Finish, bool fits>
struct Products {
    static constexpr bool kOpposed = Finish::kDerivative == 1;  // and the middle weighs nothing
    using Item = uint32_t;

    Finish finish;
    uint64_t half, samples;
    double scale;
    uint32_t mask;          // bits of a sample that a product is made of
    const double* weights;  // [half + 1]: of the middle, and of those to the right or below
    uint32_t* sums;         // [kBlock], to be filled

    template <size_t... k>
    void multiply(const Sample<T>* line, uint32_t* products, const double* factors,
                  std::index_sequence<k...>) const {
        const double factor[] = {factors[k]...};
        uint32_t* const to[] = {products + k * samples...};
        const auto cut = [](double value) {
            return static_cast<uint32_t>(fits ? static_cast<int32_t>(value) : trunc_i32(value));
        };
        const double to_whole = scale;
        const uint32_t bits = mask;
        for (uint64_t i = 0, count = samples; i < count; ++i) {
            const auto v = static_cast<double>(static_cast<int32_t>(line[i] & bits));
            ((to[k][i] = cut(v * factor[k] * to_whole)), ...);
        }
    }

    /// items[k * samples + i]: of weight k.
    void prepare(const Sample<T>* line, Item* items) const {
        on_best_isa([=, *this] {
            uint64_t k = kOpposed ? 1 : 0;
            for (; k + 4 <= half + 1; k += 4)
                multiply(line, items + k * samples, weights + k, std::make_index_sequence<4>());
            for (; k <= half; ++k)
                multiply(line, items + k * samples, weights + k, std::make_index_sequence<1>());
        });
    }

    template <int sign, size_t... k>
    void add_some(const uint32_t* const* lines, uint64_t first, uint64_t count,
                  std::index_sequence<k...>) const {
        const uint32_t* const line[] = {lines[k] + first...};
        uint32_t* const to = sums;
        for (uint64_t i = 0; i < count; ++i) {
            const uint32_t sum = (line[k][i] + ...);
            to[i] = sign < 0 ? to[i] - sum : to[i] + sum;
        }
    }
    template <int sign>
    void add(const uint32_t* const* lines, uint64_t n, uint64_t first, uint64_t count) const {
        for (; n >= 4; n -= 4, lines += 4)
            add_some<sign>(lines, first, count, std::make_index_sequence<4>());
        switch (n) {
        case 3: return add_some<sign>(lines, first, count, std::make_index_sequence<3>());
        case 2: return add_some<sign>(lines, first, count, std::make_index_sequence<2>());
        case 1: return add_some<sign>(lines, first, count, std::make_index_sequence<1>());
        default: return;
        }
    }

    /// Changes `taps`.
    void operator()(const Item** taps, uint64_t count, Sample<T>* out) const {
        for (uint64_t k = 1; k <= half; ++k) {
            taps[half - k] += k * samples;
            taps[half + k] += k * samples;
        }
        on_best_isa([=, *this] {
            for (uint64_t first = 0; first < count; first += kBlock) {
                const uint64_t piece = std::min(kBlock, count - first);
                std::memset(sums, 0, piece * sizeof(uint32_t));
                if (kOpposed) {
                    add<-1>(taps, half, first, piece);
                    add<1>(taps + half + 1, half, first, piece);
                } else {
                    add<1>(taps, 2 * half + 1, first, piece);
                }
                put(sums, piece, out + first, finish);
            }
        });
    }
};

/// Weights of bytes so that 16 bits are enough. A product without its sign is v * whole + (v *
/// fraction >> 16), found for all 256 bytes or not at all; `whole`, with its sign, is taken apart
/// into high * 2^bits + low, whose sums do not leave 16 bits.
struct ByteWeights {
    static constexpr uint64_t kMostHalf = 6;
    int16_t high[kMostHalf + 1], low[kMostHalf + 1], sign[kMostHalf + 1];
    uint16_t fraction[kMostHalf + 1];
    uint32_t bits;

    /// False: these weights have no such form.
    bool find(const double* weights, uint64_t half, double scale) {
        if (half > kMostHalf) return false;
        int32_t whole[kMostHalf + 1];
        for (uint64_t k = 0; k <= half; ++k) {
            const double w = weights[k];
            const auto product = [&](uint32_t v) { return trunc_i32(std::fabs(v * w * scale)); };
            whole[k] = product(1);
            if (whole[k] < 0 || whole[k] > 8 * 1024) return false;
            int64_t least = 0, most = 65535;
            for (uint32_t v = 1; v < 256; ++v) {
                const int64_t rest = product(v) - int64_t{whole[k]} * v;
                if (rest < 0) return false;
                least = std::max(least, (rest * 65536 + v - 1) / v);
                most = std::min(most, ((rest + 1) * 65536 - 1) / v);
            }
            if (least > most) return false;
            fraction[k] = static_cast<uint16_t>(least);
            sign[k] = w < 0 ? -1 : 1;
            whole[k] *= sign[k];
        }
        for (bits = 2; bits <= 6; ++bits) {
            int64_t high_sum = 0, low_sum = 0;
            for (uint64_t k = 0; k <= half; ++k) {
                const int32_t step = 1 << bits, rounded = (whole[k] + step / 2) >> bits;
                high[k] = static_cast<int16_t>(rounded);
                low[k] = static_cast<int16_t>(whole[k] - rounded * step);
                const int64_t taps = k == 0 ? 1 : 2;
                high_sum += taps * 255 * std::abs(high[k]);
                low_sum += taps * 255 * (std::abs(low[k]) + 1);
            }
            if (low_sum <= INT16_MAX && high_sum + (low_sum >> bits) < INT16_MAX) return true;
        }
        return false;
    }
};

template <class Finish>
struct Bytes {
    static constexpr bool kOpposed = Finish::kDerivative == 1;
    using Item = uint16_t;

    uint64_t half, samples;
    ByteWeights weights;

    void prepare(const Sample<uint8_t>* line, Item* items) const {
        on_best_isa([=, count = samples] {
            for (uint64_t i = 0; i < count; ++i) items[i] = line[i];
        });
    }

    template <size_t... k>
    void add(const Item* const* taps, uint64_t count, Sample<uint8_t>* out,
             std::index_sequence<k...>) const {
        constexpr size_t kMiddle = sizeof...(k);
        const uint16_t* const before[] = {taps[kMiddle - 1 - k]...};
        const uint16_t* const behind[] = {taps[kMiddle + 1 + k]...};
        const uint16_t* const middle = taps[kMiddle];
        const ByteWeights w = weights;
        const uint32_t to_level = (kOpposed ? 8 : 10) - w.bits;
        const auto per_high = static_cast<int16_t>(1 << (16 - w.bits));
        const auto per_level = static_cast<int16_t>(1 << (16 - to_level));
        const auto limit = static_cast<int16_t>(std::min((256 << to_level) - 1, INT16_MAX + 0));
        // Sums of both parts, and how they become one.
        for (uint64_t i = 0; i < count; ++i) {
            int16_t high = 0, low = 0;
            const auto times = [](int16_t a, int16_t b) { return static_cast<int16_t>(a * b); };
            const auto part = [](uint16_t v, uint16_t fraction) {
                return static_cast<uint16_t>(uint32_t{v} * fraction >> 16);
            };
            const auto enter = [&](size_t weight, int16_t sample, int16_t rest) {
                high = static_cast<int16_t>(high + times(sample, w.high[weight]));
                low = static_cast<int16_t>(low + times(sample, w.low[weight]) +
                                           times(rest, w.sign[weight]));
            };
            const auto pair = [&](size_t weight, uint16_t a, uint16_t b) {
                const uint16_t f = w.fraction[weight];
                if (kOpposed)
                    enter(weight, static_cast<int16_t>(b - a),
                          static_cast<int16_t>(part(b, f) - part(a, f)));
                else
                    enter(weight, static_cast<int16_t>(b + a),
                          static_cast<int16_t>(part(b, f) + part(a, f)));
            };
            if (!kOpposed)
                enter(0, static_cast<int16_t>(middle[i]),
                      static_cast<int16_t>(part(middle[i], w.fraction[0])));
            (pair(k + 1, before[k][i], behind[k][i]), ...);
            // The sum without its lowest bits. Shifts to the right are products of signed words
            // here: compiled as shifts, or without signs, they would take lanes of 32 bits.
            const auto joined = [&](int16_t h, int16_t l) {
                return static_cast<int16_t>(h + static_cast<int16_t>(int32_t{l} * per_high >> 16));
            };
            int16_t sum = joined(high, low);
            if (kOpposed)  // without its sign, and that before anything is rounded down
                sum =
                    std::max(sum, joined(static_cast<int16_t>(-high), static_cast<int16_t>(-low)));
            else
                sum = std::max<int16_t>(sum, 0);
            out[i] = static_cast<uint8_t>(int32_t{std::min(sum, limit)} * per_level >> 16);
        }
    }

    void operator()(const Item* const* taps, uint64_t count, Sample<uint8_t>* out) const {
        on_best_isa([=, *this] {
            switch (half) {
            case 1: return add(taps, count, out, std::make_index_sequence<1>());
            case 2: return add(taps, count, out, std::make_index_sequence<2>());
            case 3: return add(taps, count, out, std::make_index_sequence<3>());
            case 4: return add(taps, count, out, std::make_index_sequence<4>());
            case 5: return add(taps, count, out, std::make_index_sequence<5>());
            default: return add(taps, count, out, std::make_index_sequence<6>());
            }
        });
    }
};

// ----- Lines -------------------------------------------------------------------------------------

/// The rows that a window along the columns needs, each with its items.
template <class T, class Item>
struct Ring {
    uint64_t slots, samples, items_of_row;
    T* rows;      // [slots][samples]
    Item* items;  // [slots][items_of_row]

    Sample<T>* row(uint64_t y) const {
        return reinterpret_cast<Sample<T>*>(rows + y % slots * samples);
    }
    Item* items_of(uint64_t y) const { return items + y % slots * items_of_row; }
};

template <class T, class Finish, class Inside>
struct Lines {
    using Item = typename Inside::Item;
    Inside inside;
    Finish finish;
    uint64_t half, components, samples;
    const int32_t* borders;  // [half * 2][window]: of a fit before the middle, and behind
    uint32_t* sums;          // [kBlock], to be filled
    const Item** taps;       // [window], to be filled

    uint64_t window() const { return 2 * half + 1; }

    /// Beside the middle of a fit, of the window whose first row is `top`.
    void at_border(const Ring<T, Item>& ring, uint64_t top, const int32_t* weight,
                   Sample<T>* out) const {
        on_best_isa([=, to = sums, count = samples, n = window(), make = finish] {
            for (uint64_t first = 0; first < count; first += kBlock) {
                const uint64_t piece = std::min(kBlock, count - first);
                std::memset(to, 0, piece * sizeof(uint32_t));
                for (uint64_t j = 0; j < n; ++j) {
                    const Sample<T>* const from = ring.row(top + j) + first;
                    const auto factor = static_cast<uint32_t>(weight[j]);
                    for (uint64_t i = 0; i < piece; ++i) to[i] += factor * from[i];
                }
                put(to, piece, out + first, make);
            }
        });
    }

    /// Along a row, whose items there are.
    void along_row(const Sample<T>* row, const Item* items, Sample<T>* out) const {
        const uint64_t outer = half * components, inner = samples - 2 * outer;
        for (uint64_t j = 0; j < window(); ++j) taps[j] = items + j * components;
        inside(taps, inner, out + outer);
        const Sample<T>* const last = row + samples - window() * components;
        for (uint64_t t = 0; t < half; ++t)
            for (uint64_t c = 0; c < components; ++c) {
                const int32_t *before = borders + t * window(), *behind = before + half * window();
                uint32_t left = 0, right = 0;
                for (uint64_t j = 0; j < window(); ++j) {
                    left += static_cast<uint32_t>(before[j]) * row[j * components + c];
                    right += static_cast<uint32_t>(behind[j]) * last[j * components + c];
                }
                out[t * components + c] = static_cast<T>(finish(left));
                out[outer + inner + t * components + c] = static_cast<T>(finish(right));
            }
    }
};

/// Row y along the columns, when the ring holds its window.
template <class T, class L, class R>
void along_columns(const L& lines, const R& ring, uint64_t y, uint64_t height, Sample<T>* out) {
    const uint64_t half = lines.half, behind = height - half;
    if (y >= half && y < behind) {
        for (uint64_t j = 0; j < lines.window(); ++j) lines.taps[j] = ring.items_of(y - half + j);
        return lines.inside(lines.taps, lines.samples, out);
    }
    const uint64_t first = y < half ? 0 : height - lines.window();
    const uint64_t border = y < half ? y : half + y - behind;
    lines.at_border(ring, first, lines.borders + border * lines.window(), out);
}

/// `load(y)` brings a row into the ring, `emit(y)` is called when the window of row y is in it.
template <class Load, class Emit>
void run_down(uint64_t height, uint64_t half, Load load, Emit emit) {
    uint64_t done = 0;
    for (uint64_t y = 0; y < height; ++y) {
        load(y);
        if (y < 2 * half) continue;
        for (const uint64_t end = y + 1 == height ? height : y - half + 1; done < end; ++done)
            emit(done);
    }
}

// ----- Pictures --------------------------------------------------------------------------------

enum class Way { kSmooth, kEdgeX, kEdgeY, kEdgeXY };

template <class T, Way way, class L>
void filter(const Call& call, const L& lines, const Ring<T, typename L::Item>& ring,
            typename L::Item* items, T* spare) {
    const uint64_t samples = lines.samples;
    if constexpr (way == Way::kSmooth) {
        run_down(
            call.height, call.half,
            [&](uint64_t y) {
                const Sample<T>* const row = call.src.template row<T>(y);
                lines.inside.prepare(row, items);
                lines.along_row(row, items, ring.row(y));
                lines.inside.prepare(ring.row(y), ring.items_of(y));
            },
            [&](uint64_t y) {
                along_columns(lines, ring, y, call.height, call.dst.template row<T>(y));
            });
        return;
    }
    const auto load = [&](uint64_t y) {  // a copy, since the destination may be the source
        std::memcpy(ring.row(y), call.src.template row<T>(y), samples * sizeof(T));
        lines.inside.prepare(ring.row(y), ring.items_of(y));
    };
    if constexpr (way == Way::kEdgeX)
        for (uint64_t y = 0; y < call.height; ++y) {
            load(y);
            lines.along_row(ring.row(y), ring.items_of(y), call.dst.template row<T>(y));
        }
    else
        run_down(call.height, call.half, load, [&](uint64_t y) {
            Sample<T>* const out = call.dst.template row<T>(y);
            along_columns(lines, ring, y, call.height, out);
            if constexpr (way == Way::kEdgeXY) {
                auto* const other = reinterpret_cast<Sample<T>*>(spare);
                lines.along_row(ring.row(y), ring.items_of(y), other);
                on_best_isa([=] {
                    for (uint64_t i = 0; i < samples; ++i) out[i] = std::max<T>(out[i], other[i]);
                });
            }
        });
}

/// Weights as the filters take them; no memory: null.
struct Weights {
    Scratch<double> inside;
    Scratch<int32_t> borders;
    bool fit = true;

    Weights(const Call& call, uint32_t derivative, double scale)
        : inside(call.half + uint64_t{1}), borders(2 * uint64_t{call.half} * call.window()) {
        const GolayWeights weight(call.half, call.order, derivative);
        ok_ = weight && inside && borders;
        if (!ok_) return;
        const auto half = static_cast<int64_t>(call.half);
        for (int64_t i = 0; i <= half; ++i) {
            const double w = weight(i, 0);
            inside[static_cast<uint64_t>(i)] = w;
            const double greatest = w * max_value(call.bpc) * scale;
            fit = fit && greatest > -2147483648.0 && greatest < 2147483647.0;
        }
        int32_t* to = borders.get();
        for (int64_t t = -half; t <= half; ++t)
            for (int64_t i = -half; t != 0 && i <= half; ++i)
                *to++ = trunc_i32(weight(i, t) * scale);
    }
    explicit operator bool() const { return ok_; }

  private:
    bool ok_ = false;
};

/// With `inside`, which has `functions` items a sample.
template <class T, Way way, class Finish, class Inside>
int run(const Call& call, const Weights& weights, Finish finish, const Inside& inside,
        uint32_t* sums, uint64_t functions) {
    using Item = typename Inside::Item;
    const uint64_t samples = call.samples(), slots = way == Way::kEdgeX ? 1 : call.window();
    const Scratch<T> rows((slots + 1) * samples);
    const Scratch<Item> items((slots + 1) * functions * samples);
    const Scratch<const Item*> taps(call.window());
    if (!rows || !items || !taps) return kNoMemory;
    const Lines<T, Finish, Inside> lines{
        inside, finish,    call.half, call.components, samples, weights.borders.get(),
        sums,   taps.get()};
    const Ring<T, Item> ring{slots, samples, functions * samples, rows.get(), items.get()};
    Item* const more_items = items.get() + slots * functions * samples;
    T* const spare = rows.get() + slots * samples;
    filter<T, way>(call, lines, ring, more_items, spare);
    return QM_OK;
}

template <class T, Way way>
int run(const Call& call) {
    using Finish = std::conditional_t<way == Way::kSmooth, Smoothed, Steepness>;
    constexpr double kScale = way == Way::kSmooth || sizeof(T) == 1 ? 1024.0 : 65535.0;
    const Weights weights(call, Finish::kDerivative, kScale);
    const Scratch<uint32_t> sums(kBlock);
    if (!weights || !sums) return kNoMemory;
    const Finish finish{call.bpc};
    const uint64_t samples = call.samples();

    if constexpr (sizeof(T) == 1) {
        Bytes<Finish> inside{call.half, samples, {}};
        if (inside.weights.find(weights.inside.get(), call.half, kScale))
            return run<T, way>(call, weights, finish, inside, sums.get(), 1);
    }
    const auto with_products = [&]<bool fits>(std::bool_constant<fits>) {
        const Products<T, Finish, fits> inside{finish,    call.half,           samples,
                                               kScale,    max_value(call.bpc), weights.inside.get(),
                                               sums.get()};
        return run<T, way>(call, weights, finish, inside, sums.get(), call.half + uint64_t{1});
    };
    return weights.fit ? with_products(std::true_type{}) : with_products(std::false_type{});
}

template <class T, Way way>
int golay(void* dst, const void* src, uint32_t width, uint32_t height, uint32_t stride,
          uint32_t bpc, uint32_t components, int half, uint32_t order) {
    if (half < 1 || dst == nullptr || src == nullptr) return QM_OK;
    const Call call{{dst, stride}, {src, stride},
                    width,         height,
                    components,    static_cast<uint32_t>(half),
                    bpc,           static_cast<int32_t>(order)};
    if (width < call.window() || height < call.window()) return QM_BAD_BUFFER;
    if (components == 0) return QM_OK;
    return run<T, way>(call);
}

}  // namespace

#define KERNEL(name, way, components)                                                              \
    int name(void* pDst, const void* pSrc, uint32_t uiWidth, uint32_t uiHeight,                    \
             uint32_t uiWidthBytes, [[maybe_unused]] uint32_t uiComponents, int iHalfWidth,        \
             uint32_t uiOrder) {                                                                   \
        return golay<uint8_t, Way::way>(pDst, pSrc, uiWidth, uiHeight, uiWidthBytes, 8,            \
                                        components, iHalfWidth, uiOrder);                          \
    }

// clang-format off
KERNEL(golay_smooth_1x8, kSmooth, 1)
KERNEL(golay_smooth_Nx8, kSmooth, uiComponents)
KERNEL(golay_edgeX_1x8,  kEdgeX,  1)
KERNEL(golay_edgeX_Nx8,  kEdgeX,  uiComponents)
KERNEL(golay_edgeY_1x8,  kEdgeY,  1)
KERNEL(golay_edgeY_Nx8,  kEdgeY,  uiComponents)
KERNEL(golay_edgeXY_1x8, kEdgeXY, 1)
KERNEL(golay_edgeXY_Nx8, kEdgeXY, uiComponents)
// clang-format on

#undef KERNEL

#define KERNEL(name, way)                                                                          \
    int name(void* pDst, const void* pSrc, uint32_t uiWidth, uint32_t uiHeight,                    \
             uint32_t uiWidthBytes, uint32_t uiBpc, uint32_t uiComponents, int iHalfWidth,         \
             uint32_t uiOrder) {                                                                   \
        return golay<uint16_t, Way::way>(pDst, pSrc, uiWidth, uiHeight, uiWidthBytes,              \
                                         std::min(uiBpc, 16u), uiComponents, iHalfWidth, uiOrder); \
    }

// clang-format off
KERNEL(golay_smooth_Nx16, kSmooth)
KERNEL(golay_edgeX_Nx16,  kEdgeX)
KERNEL(golay_edgeY_Nx16,  kEdgeY)
KERNEL(golay_edgeXY_Nx16, kEdgeXY)
// clang-format on

#undef KERNEL
