#include <algorithm>
#include <type_traits>

#include "analysis/exact_sum.h"
#include "analysis/focus_kernels.h"
#include "analysis/focus_pixels.h"
#include "core/frame.h"
#include "core/prefetch.h"

// Vollath's F4 along the rows.

namespace {

using namespace qmpic;

constexpr uint64_t kBlock = 1024;

/// The sum of (p[x - 1] - p[x - 2]) * p[x] over so many pixels from p on.
template <class Pixel>
int64_t total(const Sample<uint8_t>* p, uint64_t count, Pixel pixel) {
    const uint64_t n = pixel.samples();
    int32_t sum = 0;
    for (uint64_t i = 0; i < count; ++i)
        sum +=
            static_cast<int16_t>(p[(i + 1) * n] - p[i * n]) * static_cast<int16_t>(p[(i + 2) * n]);
    return sum;
}

/// The same of words, with q = p - 32768 in place of p: then all factors have 16 bits. The rest,
/// 32768 times the sum of q[x - 1] - q[x - 2], is that of the ends. Products by the two bytes of
/// q[x] are summed apart, the low one less 128, which the ends make good as well: then 256 of them
/// fit into 32 bits.
template <class Count>
int64_t total_of_few(const int16_t* q, Count count) {
    int32_t high1 = 0, high0 = 0, low1 = 0, low0 = 0;
    for (uint64_t i = 0; i < count; ++i) {
        const auto high = static_cast<int16_t>(q[i + 2] >> 8);
        const auto low = static_cast<int16_t>((q[i + 2] & 255) - 128);
        high1 += q[i + 1] * high;
        high0 += q[i] * high;
        low1 += q[i + 1] * low;
        low0 += q[i] * low;
    }
    return 256 * (int64_t{high1} - high0) + (int64_t{low1} - low0);
}
template <class Pixel>
int64_t total(const Sample<uint16_t>* p, uint64_t count, Pixel pixel) {
    constexpr uint64_t kFew = 256;
    int16_t q[kBlock + 2];
    for (uint64_t i = 0; i < count + 2; ++i)
        q[i] = static_cast<int16_t>(p[i * pixel.samples()] ^ 0x8000);
    int64_t sum = (32768 + 128) * int64_t{q[count] - q[0]};
    uint64_t first = 0;
    for (; first + kFew <= count; first += kFew)
        sum += total_of_few(q + first, std::integral_constant<uint64_t, kFew>{});
    return sum + total_of_few(q + first, count - first);
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
            constexpr uint64_t kGreatest = uint64_t{T(-1)} * T(-1);
            const uint64_t n = pixel.samples();
            ExactSum local;
            for (uint64_t y = 0; y < area.rows; ++y) {
                const Sample<T>* const p = from.template row<T>(y);
                local.add(static_cast<double>(int64_t{p[0]} * p[n]));
                for (uint64_t first = 0; first < area.width - 2; first += kBlock) {
                    const uint64_t count = std::min(kBlock, area.width - 2 - first);
                    const Sample<T>* const s = p + first * n;
                    fetch_ahead(s, count * n * sizeof(T));
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
