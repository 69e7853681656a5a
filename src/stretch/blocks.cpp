#include "stretch/blocks.h"

#include <algorithm>
#include <new>
#include <thread>
#include <type_traits>

#include "core/isa.h"
#include "core/shapes.h"
#include "qmpic/status.h"
#include "stretch/nearest.h"
#include "stretch/pick.h"

// A block is sampled in steps, so that there are ten samples at most along an axis. Sums of whole
// numbers may be made in any order, and the order is one that vectors can go: the rows of a block
// are added up first, all along the row. What follows depends on how wide blocks are:
//
//   narrow  the means of blocks that begin at any column are made by vectors, and those that the
//           window shows are picked
//   wide    the columns are added up block by block
//   sparse  samples are so far apart that nothing is done but to add them

namespace qmpic {

namespace {

/// The samples of a block along one axis.
struct BlockSteps {
    uint32_t size, step, count, offset;
    explicit BlockSteps(double scale)
        : size(trunc_u32(scale + 0.5)),
          step(size / 10 + 1),
          count(static_cast<uint32_t>((uint64_t{size} + step - 1) / step)),
          offset(((size - 1) % step + 1) / 2) {}
};

/// Where the blocks of the window begin, in the order of the stretched picture. Columns that are
/// left over, or missing, are spread out; the last block ends with the picture.
void find_blocks(const NearestAxis& axis, uint32_t size, uint32_t* starts) {
    const int64_t left_over = int64_t{axis.source} - int64_t{size} * axis.whole;
    const int64_t most = left_over < 0 ? -left_over : left_over, sign = left_over < 0 ? -1 : 1;
    const double part = static_cast<double>(most) / axis.whole;
    const uint64_t first = axis.start, end = first + axis.count;
    double error = 0;
    int64_t moved = 0;
    for (uint64_t i = 0; i < end && i + 1 < axis.whole; ++i) {
        if (error + 0.5 >= 1.0 && moved * sign <= most) {
            error -= 1;
            moved += sign;
        }
        if (i >= first)
            starts[i - first] = static_cast<uint32_t>(static_cast<int64_t>(i * size) + moved);
        error += part;
    }
    for (uint64_t i = std::max<uint64_t>(first, axis.whole - 1); i < end; ++i)
        starts[i - first] = axis.source - size;
}

/// sum / m as one product and another that shifts, both by their upper halves, which are lanes of
/// 16 bits: exact for sums of m bytes and 4 <= m <= 100.
class MeanOfBytes {
  public:
    explicit MeanOfBytes(uint32_t m) {
        uint32_t shift = 1;
        while (2u << shift < m) ++shift;
        factor_ = static_cast<uint16_t>(((0x10000u << shift) + m - 1) / m);
        power_ = static_cast<uint16_t>(0x10000u >> shift);
    }
    /// Changes `sums`: in one loop the second product would take lanes of 32 bits.
    void divide(uint16_t* sums, uint64_t count, uint8_t* means) const {
        const auto upper = [](uint16_t a, uint16_t b) { return uint32_t{a} * b >> 16; };
        for (uint64_t i = 0; i < count; ++i)
            sums[i] = static_cast<uint16_t>(upper(sums[i], factor_));
        for (uint64_t i = 0; i < count; ++i)
            means[i] = static_cast<uint8_t>(upper(sums[i], power_));
    }

  private:
    uint16_t factor_, power_;
};

class MeanOfWords {
  public:
    explicit MeanOfWords(uint32_t m) : reciprocal_(m) {}
    void divide(const uint32_t* sums, uint64_t count, uint16_t* means) const {
        for (uint64_t i = 0; i < count; ++i)
            means[i] = static_cast<uint16_t>(reciprocal_.quotient(sums[i]));
    }

  private:
    Reciprocal reciprocal_;
};

template <class T>
using Sum = std::conditional_t<sizeof(T) == 1, uint16_t, uint32_t>;
template <class T>
using Mean = std::conditional_t<sizeof(T) == 1, MeanOfBytes, MeanOfWords>;

/// All of a call but for the rows.
struct BlockCall {
    Dst dst;
    Src src;
    uint32_t components;
    StretchWindow window;
    BlockSteps x, y;
    const uint32_t *columns, *rows;    // where blocks begin
    uint32_t lowest = 0, highest = 0;  // column where a block begins
    const Picker* picker = nullptr;

    uint32_t samples() const { return x.count * y.count; }
    /// Samples of a row from the first block to the end of the last.
    uint64_t span() const { return (uint64_t{highest} - lowest + x.size) * components; }
    /// And those from the first block to the beginning of the last.
    uint64_t means() const { return (uint64_t{highest} - lowest + 1) * components; }

    template <class T>
    Sample<T>* to(uint32_t j) const {
        return dst.row<T>(window.flip_y ? window.height - 1 - j : j);
    }
    /// The first sample of a row of a block in a row of samples that begin with column `from`.
    uint64_t place(uint32_t i, uint32_t from) const {
        return uint64_t{columns[i] - from + x.offset} * components;
    }
    /// Of the sample rows of the window's row j.
    template <class T>
    const Sample<T>* from(uint32_t j, uint32_t k) const {
        return src.row<T>(uint64_t{rows[j]} + y.offset + uint64_t{k} * y.step);
    }
};

/// Adds up the rows that the window's row j is made of.
template <class T>
void add_rows(Sum<T>* sums, const BlockCall& call, uint32_t j) {
    const uint64_t first = uint64_t{call.lowest} * call.components, span = call.span();
    const Sample<T>* const a = call.from<T>(j, 0) + first;
    const Sample<T>* const b = call.from<T>(j, 1) + first;
    for (uint64_t i = 0; i < span; ++i) sums[i] = static_cast<Sum<T>>(T{a[i]} + T{b[i]});
    for (uint32_t k = 2; k < call.y.count; ++k) {
        const Sample<T>* const s = call.from<T>(j, k) + first;
        for (uint64_t i = 0; i < span; ++i) sums[i] = static_cast<Sum<T>>(sums[i] + T{s[i]});
    }
}

/// The means of neighbours, wherever they begin.
template <class T>
void average_neighbours(T* means, const Sum<T>* sums, const BlockCall& call, const Mean<T>& mean) {
    const uint64_t step = call.components, end = call.means();
    constexpr uint64_t most = 256;
    for (uint64_t first = 0; first < end; first += most) {
        const uint64_t n = std::min(most, end - first);
        Sum<T> total[most];
        for (uint64_t i = 0; i < n; ++i) total[i] = sums[first + i];
        for (uint32_t k = 1; k < call.x.count; ++k)
            for (uint64_t i = 0; i < n; ++i)
                total[i] = static_cast<Sum<T>>(total[i] + sums[first + i + k * step]);
        mean.divide(total, n, means + first);
    }
}

/// The same for blocks of `edge` x `edge`: what is to divide by is a constant.
template <uint32_t edge, class T>
void average_squares(T* means, const Sum<T>* sums, const BlockCall& call) {
    const uint64_t step = call.components, end = call.means();
    for (uint64_t i = 0; i < end; ++i) {
        Sum<T> sum = sums[i];
#pragma GCC unroll 4
        for (uint32_t k = 1; k < edge; ++k) sum = static_cast<Sum<T>>(sum + sums[i + k * step]);
        means[i] = static_cast<T>(sum / (edge * edge));
    }
}

/// Blocks of 2 x 2 words without sums, which would take wider lanes: quarters are added up, and
/// what they leave.
inline void average_pairs(uint16_t* means, const BlockCall& call, uint32_t j) {
    const uint64_t step = call.components, end = call.means();
    const uint64_t first = uint64_t{call.lowest} * step;
    const Sample<uint16_t>* const a = call.from<uint16_t>(j, 0) + first;
    const Sample<uint16_t>* const b = call.from<uint16_t>(j, 1) + first;
    const auto quarter = [](uint16_t v) { return static_cast<uint16_t>(v >> 2); };
    const auto rest = [](uint16_t v) { return static_cast<uint16_t>(v & 3); };
    for (uint64_t i = 0; i < end; ++i) {
        const uint16_t v[4] = {a[i], a[i + step], b[i], b[i + step]};
        const auto rests = static_cast<uint16_t>(rest(v[0]) + rest(v[1]) + rest(v[2]) + rest(v[3]));
        means[i] = static_cast<uint16_t>(quarter(v[0]) + quarter(v[1]) + quarter(v[2]) +
                                         quarter(v[3]) + quarter(rests));
    }
}

/// Blocks of steps of 1.
template <class T>
struct NarrowBlocks {
    BlockCall call;
    uint32_t first, end;
    Sum<T>* sums;
    T* means;
    Mean<T> mean;  // made outside: what words were made of may take lanes of 32 bits
    void operator()() const {
        for (uint32_t j = first; j < end; ++j) {
            average(j);
            const auto* const made = reinterpret_cast<const Sample<uint8_t>*>(means);
            call.picker->pick(call.to<uint8_t>(j), made, made);
        }
    }
    void average(uint32_t j) const {
        const uint32_t edge = call.x.count == call.y.count ? call.x.count : 0;
        if constexpr (sizeof(T) == 2)
            if (edge == 2) return average_pairs(means, call, j);
        add_rows<T>(sums, call, j);
        if constexpr (sizeof(T) == 1)
            if (edge == 2) return average_squares<2>(means, sums, call);
        if (edge == 3) return average_squares<3>(means, sums, call);
        average_neighbours(means, sums, call, mean);
    }
};

template <class T>
struct WideBlocks {
    BlockCall call;
    uint32_t first, end;
    Sum<T>* sums;
    void operator()() const {
        const Reciprocal reciprocal(call.samples());
        const uint64_t step = uint64_t{call.x.step} * call.components;
        for (uint32_t j = first; j < end; ++j) {
            add_rows<T>(sums, call, j);
            Sample<T>* d = call.to<T>(j);
            for (uint32_t i = 0; i < call.window.width; ++i) {
                const Sum<T>* const block = sums + call.place(i, call.lowest);
                for (uint32_t c = 0; c < call.components; ++c) {
                    uint32_t sum = 0;
                    for (uint32_t k = 0; k < call.x.count; ++k) sum += block[c + k * step];
                    *d++ = static_cast<T>(reciprocal.quotient(sum));
                }
            }
        }
    }
};

template <class T>
void average_sparse_blocks(const BlockCall& call, uint32_t first, uint32_t end) {
    const Reciprocal reciprocal(call.samples());
    const uint64_t step = uint64_t{call.x.step} * call.components;
    for (uint32_t j = first; j < end; ++j) {
        Sample<T>* d = call.to<T>(j);
        for (uint32_t i = 0; i < call.window.width; ++i)
            for (uint32_t c = 0; c < call.components; ++c) {
                uint32_t sum = 0;
                for (uint32_t r = 0; r < call.y.count; ++r) {
                    const Sample<T>* const s = call.from<T>(j, r) + call.place(i, 0) + c;
                    for (uint32_t k = 0; k < call.x.count; ++k) sum += s[k * step];
                }
                *d++ = static_cast<T>(reciprocal.quotient(sum));
            }
    }
}

constexpr uint32_t kSparse = 8;     // steps from which rows are not added up
constexpr uint64_t kPadding = 256;  // behind means: vectors may read it

/// Blocks up to this size are narrow: wider lanes are fewer.
template <class T>
constexpr uint32_t kNarrow = sizeof(T) == 1 ? 8 : 6;

enum class Width { Narrow, Wide, Sparse };
template <class T>
Width width_of(const BlockSteps& x) {
    return x.size <= kNarrow<T> ? Width::Narrow : x.step < kSparse ? Width::Wide : Width::Sparse;
}

/// Working memory of a thread: sums, then means, in whole lines so that threads do not share one.
template <class T>
struct Work {
    uint64_t sums = 0, means = 0;
    explicit Work(const BlockCall& call) {
        const auto lines = [](uint64_t bytes) { return (bytes + 63) / 64 * 64; };
        const Width width = width_of<T>(call.x);
        if (width != Width::Sparse) sums = lines(call.span() * sizeof(Sum<T>));
        if (width == Width::Narrow) means = lines(call.means() * sizeof(T) + kPadding);
    }
    uint64_t size() const { return sums + means; }
};

/// The window's rows from `first` to below `end`.
template <class T>
void average_blocks(const BlockCall& call, uint32_t first, uint32_t end, std::byte* work) {
    auto* const sums = reinterpret_cast<Sum<T>*>(work);
    switch (width_of<T>(call.x)) {
    case Width::Narrow: {
        auto* const means = reinterpret_cast<T*>(work + Work<T>(call).sums);
        on_best_isa(NarrowBlocks<T>{call, first, end, sums, means, Mean<T>(call.samples())});
        break;
    }
    case Width::Wide: on_best_isa(WideBlocks<T>{call, first, end, sums}); break;
    case Width::Sparse: average_sparse_blocks<T>(call, first, end); break;
    }
}

/// Nothing fails once the thread runs.
template <class T>
int average_in_two_threads(const BlockCall& call) {
    const Work<T> work(call);
    const Scratch<std::byte> memory(2 * work.size());
    if (!memory) return QM_BAD_BUFFER;
    const uint32_t half = call.window.height / 2;
    std::thread worker;
    try {
        worker = std::thread(
            [&] { average_blocks<T>(call, half, call.window.height, memory.get() + work.size()); });
    } catch (const std::bad_alloc&) {
        return QM_BAD_BUFFER;
    }
    average_blocks<T>(call, 0, half, memory.get());
    worker.join();
    return QM_OK;
}

}  // namespace

int stretch_blocks(Dst dst, Src src, uint32_t components, uint32_t bits,
                   const StretchWindow& window) {
    const auto x = NearestAxis::columns(window), y = NearestAxis::rows(window);
    const uint64_t pixel = uint64_t{components} * bits / 8;
    Picker picker(window.width, pixel, window.height);
    if (!picker) return QM_BAD_BUFFER;
    const Scratch<uint32_t> rows(window.height);
    if (!rows) return QM_BAD_BUFFER;

    BlockCall call{dst,
                   src,
                   components,
                   window,
                   BlockSteps(x.scale()),
                   BlockSteps(y.scale()),
                   picker.columns(),
                   rows.get()};
    uint32_t* const columns = picker.columns();
    find_blocks(x, call.x.size, columns);
    find_blocks(y, call.y.size, rows.get());
    call.lowest = columns[0], call.highest = columns[window.width - 1];
    if (window.flip_x) std::reverse(columns, columns + window.width);
    picker.prepare(0, window.width, call.lowest, uint64_t{call.highest} + 1 + kPadding / pixel);
    call.picker = &picker;
    return bits == 8 ? average_in_two_threads<uint8_t>(call)
                     : average_in_two_threads<uint16_t>(call);
}

}  // namespace qmpic
