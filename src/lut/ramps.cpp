#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "core/arithmetic.h"
#include "core/isa.h"
#include "lut/cells.h"
#include "lut/quotient.h"
#include "qmpic/status.h"

// Ramps through a table: a low tail, a line of whole numbers from one point to the other, straight
// or bent by a gamma, and a high tail.

namespace {

using namespace qmpic;

constexpr uint64_t kRun = 1024;  // entries that are made at once, beside the table

/// The cells that are filled: in each row `copies` of them, side by side.
template <class Cell>
struct Column {
    Cell* first;
    uint64_t step, copies, rows;

    uint64_t limit(int64_t row) const {
        return static_cast<uint64_t>(std::clamp<int64_t>(row, 0, static_cast<int64_t>(rows)));
    }
    void fill(uint64_t from, uint64_t to, Cell value) const {
        if (copies == step) {
            std::fill_n(first + from * step, (to - from) * step, value);
            return;
        }
        for (uint64_t row = from; row < to; ++row) first[row * step] = value;
    }
    void put(uint64_t from, const Cell* values, uint64_t count) const {
        if (step == 1) {
            std::copy_n(values, count, first + from);
            return;
        }
        for (uint64_t i = 0; i < count; ++i)
            std::fill_n(first + (from + i) * step, copies, values[i]);
    }
};

/// The line in doubles, for vectors: where nothing wraps, and all quotients are exact.
struct PlainLine {
    int32_t src_lo, dst_lo;
    double rise;
    Quotient over_run;

    int32_t operator()(int32_t i) const { return dst_lo + over_run((i - src_lo) * rise); }
};

/// (i - src_lo) * (dst_hi - dst_lo) / (src_hi - src_lo) + dst_lo, toward zero: in 32 bits, which
/// wrap, for cells of a byte, else in 64.
template <class Cell>
class Line {
    using Int = std::conditional_t<sizeof(Cell) == 1, int32_t, int64_t>;
    using Wrapping = std::make_unsigned_t<Int>;
    static Wrapping wrapping(int64_t value) { return static_cast<Wrapping>(value); }

  public:
    explicit Line(const Points& p)
        : src_lo_(p.src_lo),
          dst_lo_(p.dst_lo),
          rise_(wrapping(p.dst_hi) - wrapping(p.dst_lo)),
          run_(static_cast<Int>(wrapping(p.src_hi) - wrapping(p.src_lo))) {
        const int64_t rise = int64_t{p.dst_hi} - p.dst_lo, run = int64_t{p.src_hi} - p.src_lo;
        const auto most = static_cast<double>(run) * static_cast<double>(std::abs(rise));
        const auto is_small = [](int dst) { return std::abs(int64_t{dst}) < 1 << 29; };
        is_plain_ = run <= INT32_MAX && is_small(p.dst_lo) && is_small(p.dst_hi) &&
                    most < (sizeof(Cell) == 1 ? 2147483648.0 : Quotient::kLimit);
    }

    int64_t operator()(uint64_t i) const {
        const Wrapping from_start = static_cast<Wrapping>(i) - wrapping(src_lo_);
        const int64_t product = static_cast<Int>(from_start * rise_);
        return static_cast<Int>(wrapping(product / run_) + wrapping(dst_lo_));
    }
    bool is_plain() const { return is_plain_; }
    PlainLine plain() const {
        return {src_lo_, dst_lo_, static_cast<double>(static_cast<Int>(rise_)),
                Quotient(static_cast<double>(run_))};
    }

  private:
    int32_t src_lo_, dst_lo_;
    Wrapping rise_;
    int64_t run_;  // 64 bits for -2^31 / -1
    bool is_plain_;
};

/// What a table holds of the line itself.
template <class Cell>
struct Limited {
    int32_t top;

    Cell operator()(int64_t x) const { return static_cast<Cell>(std::clamp<int64_t>(x, 0, top)); }

    void fill(const Column<Cell>& to, const Line<Cell>& line, uint64_t first, uint64_t last) const {
        Cell cells[kRun];
        for (uint64_t i = first; i < last; i += kRun) {
            const uint64_t count = std::min(kRun, last - i);
            if (line.is_plain())
                limit_line(cells, line.plain(), static_cast<int32_t>(i), count);
            else
                for (uint64_t k = 0; k < count; ++k) cells[k] = (*this)(line(i + k));
            to.put(i, cells, count);
        }
    }

  private:
    void limit_line(Cell* cells, PlainLine line, int32_t first, uint64_t count) const {
        on_best_isa([=, top = top, count = static_cast<int32_t>(count)] {
            for (int32_t i = 0; i < count; ++i)
                cells[i] = static_cast<Cell>(std::clamp(line(first + i), 0, top));
        });
    }
};

/// What a table holds of the line bent by a gamma: pow(x / top, gamma) * top of the C library,
/// toward zero.
///
/// Its power is taken where it decides. Along a run whose x are near a centre c, with |x - c| / c
/// at most r = 1 / (32 * max(1, gamma)), the power is that of c times the binomial series of
/// 1 + (x - c) / c. Term k of it is at most (max(1, gamma) * r)^k = 32^-k, so that the terms from
/// the seventh on are less than 1.04 * 2^-35 together. Roundings, here and in the C library, are
/// below gamma * 2^-50 with gamma at most 64. Together that is less than 2^-34; where a value is
/// nearer than twice that (times top) to a whole number, the C library decides.
template <class Cell>
class Bent {
  public:
    Bent(uint32_t top, double gamma)
        : top_(top),
          gamma_(gamma),
          has_series_(gamma > 0 && gamma <= kMost),
          zeros_(has_series_ ? trunc_i32(std::pow(0.5 / top, 1 / gamma) * top) : 0) {}

    Cell operator()(int64_t x) const {
        const double top = top_;
        return static_cast<Cell>(
            trunc_clamp(std::pow(static_cast<double>(x) / top, gamma_) * top, top_));
    }

    void fill(const Column<Cell>& to, const Line<Cell>& line, uint64_t first, uint64_t last) const {
        Cell cells[kRun];
        uint64_t count = kRun;
        for (uint64_t i = first; i < last; i += count) {
            count = std::min({2 * count, kRun, last - i});
            Way way = way_of(line, i, count);
            while (way == kNone) way = way_of(line, i, count /= 2);
            if (way == kConstant)
                std::fill_n(cells, count, (*this)(line(i)));
            else if (way == kSeries)
                follow(cells, line, i, count);
            else
                bend_each(cells, line, i, count);
            to.put(i, cells, count);
        }
    }

  private:
    static constexpr double kSpread = 32, kMost = 64;
    static constexpr int kTerms = 7;
    enum Way { kConstant, kSeries, kEach, kNone };

    Way way_of(const Line<Cell>& line, uint64_t first, uint64_t count) const {
        if (!has_series_ || !line.is_plain()) return kEach;
        const int64_t a = line(first), b = line(first + count - 1);
        const auto [low, high] = std::minmax(a, b);
        if (low == high || (low >= 0 && high <= zeros_)) return kConstant;
        const auto width = static_cast<double>(high - low);
        if (low > 0 && high <= top_ && count > 8 &&
            width * kSpread * std::max(1.0, gamma_) <= static_cast<double>(a + b))
            return kSeries;
        return count <= 8 ? kEach : kNone;
    }

    void bend_each(Cell* cells, const Line<Cell>& line, uint64_t first, uint64_t count) const {
        int64_t known = line(first);
        Cell cell = (*this)(known);
        for (uint64_t k = 0; k < count; ++k) {
            if (const int64_t x = line(first + k); x != known) cell = (*this)(known = x);
            cells[k] = cell;
        }
    }

    /// The power along a run, by the series about its centre.
    struct Series {
        PlainLine line;
        double center, term[kTerms], margin;

        double at(int32_t i) const {
            const double away = line(i) - center;
            double sum = term[kTerms - 1];
            for (int k = kTerms - 1; k-- > 0;) sum = sum * away + term[k];
            return sum;
        }
        /// Is a value too near to a whole number? Added to 1.5 * 2^52, a double has no fraction.
        bool is_doubtful(double value) const {
            constexpr double kWhole = 6755399441055744.0;
            return std::fabs(value - ((value + kWhole) - kWhole)) < margin;
        }
    };

    void follow(Cell* cells, const Line<Cell>& line, uint64_t first, uint64_t count) const {
        Series series{line.plain(), 0, {}, 0x1p-33 * top_};
        series.center = static_cast<double>(line(first) + line(first + count - 1)) / 2;
        series.term[0] = std::pow(series.center / top_, gamma_) * top_;
        for (int k = 1; k < kTerms; ++k)
            series.term[k] = series.term[k - 1] * (gamma_ - (k - 1)) / (k * series.center);

        const auto start = static_cast<int32_t>(first), length = static_cast<int32_t>(count);
        int64_t doubtful = 0;
        on_best_isa([=, &doubtful] {
            int64_t seen = 0;
            for (int32_t i = 0; i < length; ++i) {
                const double value = series.at(start + i);
                cells[i] = static_cast<Cell>(static_cast<int32_t>(value));
                seen += series.is_doubtful(value);
            }
            doubtful = seen;
        });
        if (doubtful != 0)
            for (int32_t i = 0; i < length; ++i)
                if (series.is_doubtful(series.at(start + i)))
                    cells[i] = (*this)(line(first + static_cast<uint64_t>(i)));
    }

    uint32_t top_;
    double gamma_;
    bool has_series_;
    int32_t zeros_;  // up to this x the power times the top is 0.5 at most
};

/// The table of a shape: a low tail, `shape` of the line up to entry `end`, a high tail.
template <class Cell, class Shape>
void fill_table(const Column<Cell>& to, const Points& p, int64_t end, Cell low, Cell high,
                const Shape& shape) {
    const uint64_t first = to.limit(p.src_lo), last = to.limit(end);
    to.fill(0, first, low);
    shape.fill(to, Line<Cell>(p), first, last);
    to.fill(last, to.rows, high);
}

/// Calls `fill(Column)` with the cells that a ramp is for.
template <class Fill>
int with_column(const SQmLut& lut, uint64_t comp, const Points& p, const Fill& fill) {
    const bool has_table = lut.pLuts != nullptr && lut.ucComponents == 1;
    if (p.src_hi <= p.src_lo || !has_table || lut.ucDstBpc > 16) return QM_REJECTED;
    if (lut.ucDstBpc == 0) return QM_OK;  // cells without bytes
    with_cells(lut.ucDstBpc, [&](auto cell) {
        using Cell = decltype(cell);
        const uint64_t width = lut.ucDstComponents;
        Column<Cell> column{table_of<Cell>(lut, 0), width, width, entries_of(lut)};
        if (width > 1 && comp <= width) {
            column.first += comp;
            column.copies = 1;
            // The cell behind a row is the first of the next one, and the last row has no next.
            if (comp == width) --column.rows;
        }
        fill(column);
    });
    return QM_OK;
}

/// What follows a ramp: the value of its end, or as a window that of its start.
enum Tail { kEnd, kWindow };

int create_linear(const SQmLut& lut, uint64_t comp, const Points& p, Tail tail) {
    return with_column(lut, comp, p, [&]<class Cell>(const Column<Cell>& to) {
        const Limited<Cell> limited{static_cast<int32_t>(max_value(lut.ucDstBpc))};
        fill_table(to, p, p.src_hi, static_cast<Cell>(p.dst_lo),
                   static_cast<Cell>(tail == kEnd ? p.dst_hi : p.dst_lo), limited);
    });
}

int create_gamma(const SQmLut& lut, uint64_t comp, const Points& p, Tail tail, double gamma) {
    return with_column(lut, comp, p, [&]<class Cell>(const Column<Cell>& to) {
        const uint32_t top = max_value(lut.ucDstBpc);
        const auto fill = [&](const auto& shape) {
            if (tail == kEnd)
                fill_table(to, p, p.src_hi, shape(p.dst_lo), shape(p.dst_hi), shape);
            else
                fill_table(to, p, int64_t{p.src_hi} + 1, static_cast<Cell>(p.dst_lo),
                           static_cast<Cell>(p.dst_lo), shape);
        };
        if (gamma == 1.0)  // x / top * top is x for every x up to the top, at every depth
            fill(Limited<Cell>{static_cast<int32_t>(top)});
        else
            fill(Bent<Cell>(top, gamma));
    });
}

}  // namespace

int SQmLut::CreateLinearTable(SQmLut& lut, unsigned char comp, int srcLo, int dstLo, int srcHi,
                              int dstHi) {
    return create_linear(lut, comp, {srcLo, dstLo, srcHi, dstHi}, kEnd);
}

int SQmLut::CreateLinearTable2(SQmLut& lut, unsigned char comp, int srcLo, int dstLo, int srcHi,
                               int dstHi) {
    return create_linear(lut, comp, {srcLo, dstLo, srcHi, dstHi}, kWindow);
}

int SQmLut::CreateGammaTable(SQmLut& lut, unsigned char comp, int srcLo, int dstLo, int srcHi,
                             int dstHi, double gamma) {
    return create_gamma(lut, comp, {srcLo, dstLo, srcHi, dstHi}, kEnd, gamma);
}

int SQmLut::CreateGammaTable2(SQmLut& lut, unsigned char comp, int srcLo, int dstLo, int srcHi,
                              int dstHi, double gamma) {
    return create_gamma(lut, comp, {srcLo, dstLo, srcHi, dstHi}, kWindow, gamma);
}
