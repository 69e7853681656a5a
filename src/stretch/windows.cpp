#include "stretch/windows.h"

#include <algorithm>
#include <cstring>

namespace qmpic {
namespace {

constexpr uint8_t kNothing = 0x80;  // a control that gives 0

/// Bytes of a line.
struct Span {
    uint64_t first = UINT64_MAX, end = 0;
    void add(uint64_t from, uint64_t bytes) {
        first = std::min(first, from);
        end = std::max(end, from + bytes);
    }
};

/// A destination sample: its taps, and the slot of the first of them.
struct Output {
    Runs::Run run;
    uint64_t component, slot;
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
    const uint64_t in_vector = shape_.vector / shape_.window, lane = window % in_vector,
                   vector = window / in_vector;
    const uint64_t first = window * shape_.outputs, samples = lines.samples(),
                   count =
                       first < samples ? std::min<uint64_t>(shape_.outputs, samples - first) : 0;
    Output outputs[16];
    uint64_t leftmost = UINT64_MAX;
    for (uint64_t o = 0, pixel = first / n, component = first % n; o < count; ++o) {
        outputs[o] = {(*lines.runs)[pixel], component, 0};
        if (++component == n) ++pixel, component = 0;
        if (outputs[o].run.count != 0)
            leftmost = std::min<uint64_t>(leftmost, outputs[o].run.first);
    }
    // Where there are more slots than taps, samples further to the right begin further to the left,
    // so that their taps are nearer to those of the others.
    Span spans[kMostPairs + 1], whole;
    const auto place_of = [&](const Output& output, uint64_t k) {
        return ((output.run.first + k) * n + output.component) * sample_bytes;
    };
    for (uint64_t o = 0; o < count; ++o) {
        const Runs::Run& run = outputs[o].run;
        if (run.count == 0) continue;
        outputs[o].slot = std::min<uint64_t>(slots - run.count, uint64_t{run.first} - leftmost);
        for (uint64_t k = 0; k < run.count; ++k)
            spans[(outputs[o].slot + k) / 2].add(place_of(outputs[o], k), sample_bytes);
        whole.add(place_of(outputs[o], 0), sample_bytes);
        whole.add(place_of(outputs[o], run.count - 1), sample_bytes);
    }
    uint64_t bases[kMostPairs + 1];
    uint8_t* const steps = steps_.get() + vector * shape_.pairs * 2 * shape_.vector;
    for (uint64_t t = 0; t < shape_.pairs; ++t) {
        const Span& span = shape_.shared ? whole : spans[t];
        if (span.end > span.first && span.end - span.first > shape_.window) return false;
        bases[t] = span.end == 0 ? 0 : std::min(span.first, line_bytes - shape_.window);
        offsets_[(shape_.shared ? vector : vector * shape_.pairs + t) * in_vector + lane] =
            static_cast<uint32_t>(bases[t]);
        uint8_t* const step = steps + t * 2 * shape_.vector + lane * shape_.window;
        std::memset(step, kNothing, shape_.window);
        std::memset(step + shape_.vector, 0, shape_.window);
    }
    for (uint64_t o = 0; o < count; ++o)
        for (uint64_t k = 0; k < outputs[o].run.count; ++k) {
            const uint64_t slot = outputs[o].slot + k, t = slot / 2;
            uint8_t* const control =
                steps + t * 2 * shape_.vector + lane * shape_.window + 4 * o + slot % 2 * 2;
            const uint64_t at = place_of(outputs[o], k) - bases[t];
            for (uint64_t byte = 0; byte < sample_bytes; ++byte)
                control[byte] = static_cast<uint8_t>(at + byte);
            std::memcpy(control + shape_.vector, &outputs[o].run.weights[k], sizeof(int16_t));
        }
    return true;
}

}  // namespace qmpic
