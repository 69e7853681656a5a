#include "stretch/windows.h"

#include <algorithm>
#include <cstring>

namespace qmpic {
namespace {

constexpr uint8_t kNothing = 0x80;  // a control that gives 0

/// Bytes of a line.
struct Span {
    uint64_t first = UINT64_MAX, end = 0;
    void add(uint64_t from, uint64_t to) {
        first = std::min(first, from);
        end = std::max(end, to);
    }
    bool is_empty() const { return end == 0; }
};

/// The taps of a destination sample: `count` of those from `start` on, beginning at `first`.
struct Taps {
    Runs::Run run;
    uint64_t start, component;
    bool has(uint64_t tap) const {
        return start + tap >= run.first && start + tap < uint64_t{run.first} + run.count;
    }
};

}  // namespace

WindowTable::WindowTable(Shape shape, Lines lines, uint32_t sample_bytes, uint64_t line_bytes)
    : shape_(shape),
      vectors_((lines.samples() + outputs_of_vector() - 1) / outputs_of_vector()),
      offsets_(vectors_ * (shape.vector / shape.window) * (shape.shared ? 1 : shape.pairs)),
      steps_(vectors_ * shape.pairs * shape.vector * 2) {
    if (!offsets_ || !steps_) return;
    state_ = kDoesNotFit;
    const uint64_t windows = vectors_ * (shape.vector / shape.window);
    for (uint64_t w = 0; w < windows; ++w)
        if (!place(lines, w, sample_bytes, line_bytes)) return;
    state_ = kFits;
}

bool WindowTable::place(Lines lines, uint64_t window, uint32_t sample_bytes, uint64_t line_bytes) {
    const uint64_t n = lines.components, slots = 2 * uint64_t{shape_.pairs};
    const uint64_t in_vector = shape_.vector / shape_.window, lane = window % in_vector;
    const uint64_t first = window * shape_.outputs,
                   count = first < lines.samples()
                               ? std::min<uint64_t>(shape_.outputs, lines.samples() - first)
                               : 0;
    // Where there are more slots than taps, samples further to the right begin further to the left,
    // so that their taps are nearer to those of the others.
    Taps taps[16];
    uint64_t leftmost = UINT64_MAX;
    for (uint64_t o = 0; o < count; ++o) {
        taps[o] = {(*lines.runs)[(first + o) / n], 0, (first + o) % n};
        if (taps[o].run.count != 0) leftmost = std::min<uint64_t>(leftmost, taps[o].run.first);
    }
    for (uint64_t o = 0; o < count; ++o) {
        const uint64_t end = uint64_t{taps[o].run.first} + taps[o].run.count;
        taps[o].start = std::min<uint64_t>(taps[o].run.first,
                                           std::max(end > slots ? end - slots : 0, leftmost));
    }
    const auto place_of = [&](const Taps& tap, uint64_t k) {
        return ((tap.start + k) * n + tap.component) * sample_bytes;
    };
    const auto span_of = [&](uint64_t from, uint64_t to) {
        Span span;
        for (uint64_t o = 0; o < count; ++o)
            for (uint64_t k = from; k < to; ++k)
                if (taps[o].has(k))
                    span.add(place_of(taps[o], k), place_of(taps[o], k) + sample_bytes);
        return span;
    };
    Span span = span_of(0, slots);
    for (uint64_t t = 0; t < shape_.pairs; ++t) {
        if (!shape_.shared) span = span_of(2 * t, 2 * t + 2);
        if (!span.is_empty() && span.end - span.first > shape_.window) return false;
        const uint64_t base = span.is_empty() ? 0 : std::min(span.first, line_bytes - shape_.window);
        const uint64_t vector = window / in_vector;
        offsets_[(shape_.shared ? vector : vector * shape_.pairs + t) * in_vector + lane] =
            static_cast<uint32_t>(base);
        uint8_t* const step = steps_.get() + (vector * shape_.pairs + t) * 2 * shape_.vector;
        uint8_t* const control = step + lane * shape_.window;
        uint8_t* const weights = step + shape_.vector + lane * shape_.window;
        std::memset(control, kNothing, shape_.window);
        std::memset(weights, 0, shape_.window);
        for (uint64_t o = 0; o < count; ++o) {
            for (uint64_t k = 0; k < 2; ++k) {
                const uint64_t tap = 2 * t + k;
                if (!taps[o].has(tap)) continue;
                const uint64_t at = place_of(taps[o], tap) - base, to = 4 * o + 2 * k;
                for (uint64_t byte = 0; byte < sample_bytes; ++byte)
                    control[to + byte] = static_cast<uint8_t>(at + byte);
                const int16_t weight =
                    taps[o].run.weights[taps[o].start + tap - taps[o].run.first];
                std::memcpy(weights + to, &weight, sizeof weight);
            }
        }
    }
    return true;
}

}  // namespace qmpic
