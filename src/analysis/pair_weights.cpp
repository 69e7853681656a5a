#include "core/arithmetic.h"
#include "core/rows.h"
#include "core/scratch.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"

namespace {

using namespace qmpic;

/// Sources of a destination, counted from 1; 0 for none.
struct Pair {
    uint32_t first, second;
};

Pair find_pair(const int* ids, uint32_t count, uint32_t id) {
    if (ids == nullptr) return {id, id};
    Pair found{0, 0};
    for (uint32_t i = 0; i < count; ++i) {
        if (static_cast<uint32_t>(ids[i]) != id) continue;
        if (found.first != 0) return {found.first, i + 1};
        found.first = i + 1;
    }
    return found;
}

struct Call {
    Dst dst;
    Src src;
    uint32_t to, from;
    const Pair* pairs;
    const double* weights;
    uint32_t top;
    Area area;
};

/// One component of a row behind the other: a pixel is made of itself alone, and so the destination
/// may be the source.
template <class T>
void combine_pairs(Call call) {
    walk_rows(kCallingThread, call.area.rows, [=](RowRange rows) {
        for (uint64_t y = rows.first; y < rows.last; ++y)
            for (uint32_t k = 0; k < call.to; ++k) {
                const auto [p, q] = call.pairs[k];
                const uint64_t to = call.to, from = call.from;
                Sample<T>* const d = call.dst.row<T>(y) + k;
                const Sample<T>* const s = call.src.row<T>(y);
                const auto is_source = [=](uint32_t i) { return i >= 1 && i <= from; };
                if (is_source(p) && is_source(q)) {
                    const double weight = call.weights[k];
                    for (uint64_t x = 0; x < call.area.width; ++x) {
                        const T one = s[x * from + p - 1], other = s[x * from + q - 1];
                        d[x * to] =
                            static_cast<T>(trunc_clamp(other * weight + one + 0.5, call.top));
                    }
                } else if (from % 2 == 1 && k == to - 1 && k < from) {
                    for (uint64_t x = 0; x < call.area.width; ++x) d[x * to] = T{s[x * from + k]};
                } else {
                    for (uint64_t x = 0; x < call.area.width; ++x) d[x * to] = T{0};
                }
            }
    });
}

}  // namespace

int CQmPicMemAPI_Base::ZorbenProcessing(void* pDst, uint32_t uiDstWidthBytes,
                                        uint32_t uiDstComponents, const void* pSrc,
                                        uint32_t uiSrcWidthBytes, uint32_t uiSrcComponents,
                                        const int* piPairs, const double* pdWeights, uint32_t uiBpc,
                                        uint32_t uiWidth, uint64_t uiSizeInPixels) {
    if (pDst == nullptr || pSrc == nullptr || pdWeights == nullptr || uiDstWidthBytes == 0 ||
        uiDstComponents == 0 || uiSrcWidthBytes == 0 || uiSrcComponents == 0 || uiBpc == 0 ||
        uiWidth == 0 || uiSizeInPixels == 0)
        return QM_REJECTED;
    const Scratch<Pair> pairs(uiDstComponents);
    if (!pairs) return QM_NO_MEMORY;
    for (uint32_t k = 0; k < uiDstComponents; ++k)
        pairs[k] = find_pair(piPairs, uiSrcComponents, k + 1);
    if (uiBpc > 16) return QM_OK;
    const Call call{{pDst, uiDstWidthBytes},
                    {pSrc, uiSrcWidthBytes},
                    uiDstComponents,
                    uiSrcComponents,
                    pairs.get(),
                    pdWeights,
                    max_value(uiBpc),
                    Area::of_pixels(uiWidth, uiSizeInPixels)};
    if (uiBpc <= 8)
        combine_pairs<uint8_t>(call);
    else
        combine_pairs<uint16_t>(call);
    return QM_OK;
}
