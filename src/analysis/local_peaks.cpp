#include <algorithm>
#include <cstring>

#include "core/arithmetic.h"
#include "core/frame.h"
#include "core/rows.h"
#include "qmpic/PicMemAPI_Base.h"

namespace {

using namespace qmpic;

struct Peaks {
    Dst dst;
    Src src;
    Area area;
    int16_t tolerance;
    uint8_t levels;
};

/// Pixels that are tested before their marks are written: a vector may not see marks that it makes.
constexpr uint64_t kBlock = 256;

/// A row and its neighbours.
template <class T>
struct Three {
    const Sample<T>*above, *here, *below;
    explicit Three(const auto& picture, uint64_t y)
        : above(picture.template row<T>(y - 1)),
          here(picture.template row<T>(y)),
          below(picture.template row<T>(y + 1)) {}
};

/// How far a sample is above its neighbour, in 16 bits.
int16_t rise(uint16_t sample, uint16_t neighbour) {
    return static_cast<int16_t>(static_cast<uint16_t>(sample - neighbour));
}

/// No neighbour is below.
template <class S>
bool is_lowest(const Three<S>& s, uint64_t x) {
    const auto least = [](S a, S b) { return a < b ? a : b; };
    const S above = least(least(s.above[x - 1], s.above[x]), s.above[x + 1]);
    const S below = least(least(s.below[x - 1], s.below[x]), s.below[x + 1]);
    return least(least(above, below), least(s.here[x - 1], s.here[x + 1])) >= S{s.here[x]};
}

/// The right neighbour is above by the tolerance at least, unlike the others, none of which needs
/// to be: they may not be below by more.
template <class S>
bool is_left_of_a_rise(const Three<S>& s, uint64_t x, int16_t tolerance) {
    const S sample = s.here[x];
    const auto fits = [=](S neighbour) { return rise(sample, neighbour) <= tolerance; };
    bool all = rise(sample, s.here[x + 1]) <= -tolerance;  // all are tested, by vectors
    all &= fits(s.above[x - 1]);
    all &= fits(s.above[x]);
    all &= fits(s.above[x + 1]);
    all &= fits(s.below[x - 1]);
    all &= fits(s.below[x]);
    all &= fits(s.below[x + 1]);
    all &= fits(s.here[x - 1]);
    return all;
}

/// No neighbour is below by more than the tolerance, but for those with a higher mark.
template <class S, class D>
bool joins(const Three<S>& s, const Three<D>& d, uint64_t x, int16_t tolerance, D level) {
    const S sample = s.here[x];
    const auto fits = [=](S neighbour, D mark) {
        return (mark > level) | (rise(sample, neighbour) <= tolerance);
    };
    bool all = d.here[x] <= level;
    all &= fits(s.above[x - 1], d.above[x - 1]);
    all &= fits(s.above[x], d.above[x]);
    all &= fits(s.above[x + 1], d.above[x + 1]);
    all &= fits(s.here[x - 1], d.here[x - 1]);
    all &= fits(s.here[x + 1], d.here[x + 1]);
    all &= fits(s.below[x - 1], d.below[x - 1]);
    all &= fits(s.below[x], d.below[x]);
    all &= fits(s.below[x + 1], d.below[x + 1]);
    return all;
}

/// Marks the interior pixels that pass with `level`. Are there any?
template <class D, class Test>
bool mark(Dst dst, Area area, D level, Test test) {
    bool any = false;
    bool* const result = &any;
    walk_rows(kCallingThread, area.rows - 2, [=](RowRange rows) {
        D marks[kBlock];
        D all = 0;
        for (uint64_t y = rows.first + 1; y <= rows.last; ++y) {
            const auto passes = test(y);
            for (uint64_t x = 1; x + 1 < area.width; x += kBlock) {
                const uint64_t count = std::min(kBlock, area.width - 1 - x);
                D found = 0;
                for (uint64_t i = 0; i < count; ++i) {
                    marks[i] = passes(x + i) ? level : D{0};
                    found = static_cast<D>(found | marks[i]);
                }
                if (found == 0) continue;
                all = found;
                Sample<D>* const d = dst.row<D>(y) + x;
                for (uint64_t i = 0; i < count; ++i) d[i] = marks[i] != 0 ? marks[i] : D{d[i]};
            }
        }
        *result = all != 0;
    });
    return any;
}

template <class S, class D>
void detect(const Peaks& peaks) {
    const auto [dst, src, area, tolerance, levels] = peaks;
    for (uint64_t y = 0; y < area.rows; ++y)
        std::memset(dst.row<uint8_t>(y), 0, area.width * sizeof(D));
    if (area.rows < 3 || area.width < 3) return;
    if (tolerance < 1)
        mark<D>(dst, area, levels, [=](uint64_t y) {
            return [=, s = Three<S>(src, y)](uint64_t x) { return is_lowest(s, x); };
        });
    else
        mark<D>(dst, area, levels, [=](uint64_t y) {
            return [=, s = Three<S>(src, y)](uint64_t x) {
                return is_left_of_a_rise(s, x, tolerance);
            };
        });
    for (D level = levels; level > 1;) {
        --level;
        const bool any = mark<D>(dst, area, level, [=](uint64_t y) {
            return [=, s = Three<S>(src, y), d = Three<D>(dst, y)](uint64_t x) {
                return joins(s, d, x, tolerance, level);
            };
        });
        if (!any) break;  // a lower level ignores the same neighbours, and finds nothing either
    }
}

}  // namespace

int CQmPicMemAPI_Base::MonoDetectLocalPeaks(void* pDst, uint32_t uiDstBpc, uint32_t uiDstWidthBytes,
                                            const void* pSrc, uint32_t uiSrcBpc,
                                            uint32_t uiSrcWidthBytes, uint32_t uiWidth,
                                            uint64_t uiSizeInPixels, short sTolerance,
                                            unsigned char ucLevels) {
    // Bytes are not marked in words.
    if (uiSrcBpc > 16 || uiDstBpc > 16 || (uiSrcBpc <= 8 && uiDstBpc > 8)) return QM_NO_KERNEL;
    if (nothing_to_do(pDst, pSrc, uiWidth, uiSizeInPixels)) return QM_OK;
    const auto run = uiSrcBpc <= 8   ? detect<uint8_t, uint8_t>
                     : uiDstBpc <= 8 ? detect<uint16_t, uint8_t>
                                     : detect<uint16_t, uint16_t>;
    run({{pDst, uiDstWidthBytes},
         {pSrc, uiSrcWidthBytes},
         Area::of_pixels(uiWidth, uiSizeInPixels),
         sTolerance,
         ucLevels});
    return QM_OK;
}
