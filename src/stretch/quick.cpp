#include "stretch/quick.h"

#include <cstring>
#include <utility>

#include "core/fill_pixels.h"
#include "qmpic/status.h"
#include "stretch/nearest.h"
#include "stretch/pick.h"

// The columns of a window are the same in all rows, and rows of the window that show the same row
// of the picture are copies of the first of them.

namespace qmpic {

namespace {

/// What of a row is background because the window begins left of what is known, or ends behind it.
/// The right end is measured from where the window begins, not from where the known part does.
struct Ends {
    bool left = false, right = false;
    Ends(const NearestAxis& x, const KnownPart& known) {
        if (known.background == nullptr) return;
        const int64_t from = x.first(), last = x.nearest(x.count - 1);
        left = from < int64_t{known.left};
        right = last < from || last - from >= int64_t{known.width};
        if (x.count == 1) left = right = left || right;
    }
};

}  // namespace

int stretch_quick(Dst dst, Src src, uint64_t pixel, const StretchWindow& window) {
    return stretch_quick(dst, src, pixel, window,
                         {0, 0, window.source_width, window.source_height, nullptr});
}

int stretch_quick(Dst dst, Src src, uint64_t pixel, const StretchWindow& window,
                  const KnownPart& known) {
    const auto x = NearestAxis::columns(window), y = NearestAxis::rows(window);
    Picker picker(x.count, pixel, y.count);
    if (!picker) return QM_NO_MEMORY;
    for (uint32_t i = 0; i < x.count; ++i) picker.columns()[i] = x.nearest(i);
    const Ends ends(x, known);
    const uint32_t first = ends.left ? 1 : 0, end = x.count - (ends.right ? 1 : 0);
    picker.prepare(first, end, known.left, uint64_t{known.left} + known.width);
    const int64_t offset = (int64_t{picker.lowest()} - known.left) * static_cast<int64_t>(pixel);
    const auto is_known = [&](uint32_t t) {
        return t >= known.top && t - known.top < known.height;
    };
    const auto lowest_of = [&](uint32_t t) { return src.row<uint8_t>(t - known.top) + offset; };
    const auto fill = [&](Sample<uint8_t>* d, uint32_t pixels) {
        fill_pixels(Dst{d, 0}, {pixels, 1}, known.background, pixel);
    };
    uint32_t before = 0, t = y.nearest(0);
    for (uint32_t j = 0; j < y.count; ++j) {
        Sample<uint8_t>* const d = dst.row<uint8_t>(j);
        const uint32_t next = j + 1 < y.count ? y.nearest(j + 1) : t;
        if (j != 0 && t == before) {
            std::memmove(d, dst.row<uint8_t>(j - 1), x.count * pixel);
        } else if (!is_known(t)) {
            fill(d, x.count);
        } else {
            if (ends.left) fill(d, 1);
            if (ends.right) fill(d + (x.count - 1) * pixel, 1);
            if (first < end)
                picker.pick(d + first * pixel, lowest_of(t), lowest_of(is_known(next) ? next : t));
        }
        before = std::exchange(t, next);
    }
    return QM_OK;
}

}  // namespace qmpic
