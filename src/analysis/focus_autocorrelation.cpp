#include <algorithm>

#include "analysis/exact_sum.h"
#include "analysis/focus_kernels.h"
#include "analysis/focus_pixels.h"
#include "core/frame.h"

// Vollath's F4 along the rows.

namespace {

using namespace qmpic;

/// (p[x - 1] - p[x - 2]) * p[x] of so many pixels from p on.
template <class T, class Pixel>
int64_t total(const Sample<T>* p, uint64_t count, Pixel pixel) {
    const uint64_t n = pixel.samples();
    if constexpr (sizeof(T) == 1) {
        int32_t sum = 0;
        for (uint64_t i = 0; i < count; ++i)
            sum += static_cast<int16_t>(p[(i + 1) * n] - p[i * n]) *
                   static_cast<int16_t>(p[(i + 2) * n]);
        return sum;
    } else {
        int64_t sum = 0;
        for (uint64_t i = 0; i < count; ++i)
            sum += int64_t{p[(i + 1) * n] - p[i * n]} * static_cast<int32_t>(p[(i + 2) * n]);
        return sum;
    }
}

template <class T>
int autocorrelation(const FocusCall& c) {
    if (c.width < 3 || c.data == nullptr) return QM_REJECTED;
    const RowsFrom from{{c.data, c.stride}, c.component};  // -1 is the sample before
    const Area area = Area::of_pixels(c.width, c.size);
    double sum = 0;
    double* const result = &sum;
    const auto run = [&](const auto& pixel) {
        on_best_isa([=] {
            constexpr uint64_t kBlock = 4096, kGreatest = uint64_t{T(-1)} * T(-1);
            const uint64_t n = pixel.samples();
            ExactSum local;
            for (uint64_t y = 0; y < area.rows; ++y) {
                const Sample<T>* const p = from.template row<T>(y);
                local.add(static_cast<double>(int64_t{p[0]} * p[n]));
                for (uint64_t first = 0; first < area.width - 2; first += kBlock) {
                    const uint64_t count = std::min(kBlock, area.width - 2 - first);
                    const Sample<T>* const s = p + first * n;
                    if (local.has_room(count, kGreatest))
                        local.add_total(total(s, count, pixel));
                    else
                        for (uint64_t i = 0; i < count; ++i)
                            local.add(static_cast<double>(int64_t{s[(i + 1) * n] - s[i * n]} *
                                                          s[(i + 2) * n]));
                }
            }
            *result = local.value();
        });
    };
    with_pixels(false, c.components, run);
    give(c.result, sum / static_cast<double>(c.size));
    return QM_OK;
}

}  // namespace

int qmpic::focus_by_autocorrelation_8(const FocusCall& c) { return autocorrelation<uint8_t>(c); }
int qmpic::focus_by_autocorrelation_16(const FocusCall& c) { return autocorrelation<uint16_t>(c); }
