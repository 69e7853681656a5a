#include "core/shapes.h"
#include "stretch/filter_kernels.h"

namespace qmpic {
namespace {

// Both sums are below 2^26. The bias is one bit of each half.
template <class T>
uint32_t paired(uint32_t even, uint32_t odd) {
    return (even >> 10 | (odd << 6 & 0xFFFF0000)) ^ kBandBias<T> * 0x10001;
}

template <class T, uint32_t components>
void few_components(uint32_t* pair, const Sample<T>* even, const Sample<T>* odd, Lines lines,
                    Count<components> count) {
    const uint64_t n = count();
    for (uint64_t i = 0; i < lines.runs->size(); ++i, pair += n) {
        const Runs::Run run = (*lines.runs)[i];
        const Sample<T>*a = even + run.first * n, *b = odd + run.first * n;
        for (uint64_t c = 0; c < n; ++c) {
            uint32_t sum_a = 0, sum_b = 0;
            for (uint64_t k = 0; k < run.count; ++k) {
                const auto weight = static_cast<uint32_t>(run.weights[k]);
                sum_a += a[k * n + c] * weight;
                sum_b += b[k * n + c] * weight;
            }
            pair[c] = paired<T>(sum_a, sum_b);
        }
    }
}

/// Blocks of components side by side; the last block overlaps the one before.
template <class T, uint64_t block>
void many_components(uint32_t* pair, const Sample<T>* even, const Sample<T>* odd, Lines lines) {
    const uint64_t n = lines.components;
    for (uint64_t i = 0; i < lines.runs->size(); ++i, pair += n) {
        const Runs::Run run = (*lines.runs)[i];
        for (uint64_t first = 0; first < n; first += block) {
            const uint64_t c = first + block <= n ? first : n - block;
            const Sample<T>*a = even + run.first * n + c, *b = odd + run.first * n + c;
            uint32_t sum_a[block] = {}, sum_b[block] = {};
            for (uint64_t k = 0; k < run.count; ++k) {
                const auto weight = static_cast<uint32_t>(run.weights[k]);
                for (uint64_t j = 0; j < block; ++j) {
                    sum_a[j] += a[k * n + j] * weight;
                    sum_b[j] += b[k * n + j] * weight;
                }
            }
            for (uint64_t j = 0; j < block; ++j) pair[c + j] = paired<T>(sum_a[j], sum_b[j]);
        }
    }
}

}  // namespace

template <class T>
void filter_lines(uint32_t* pair, const Sample<T>* even, const Sample<T>* odd, Lines lines) {
    on_best_isa([=] {
        if (lines.components == 1)
            few_components(pair, even, odd, lines, Count<1>{});
        else if (lines.components == 3)
            few_components(pair, even, odd, lines, Count<3>{});
        else if (lines.components >= 16)
            many_components<T, 16>(pair, even, odd, lines);
        else if (lines.components >= 8)
            many_components<T, 8>(pair, even, odd, lines);
        else
            few_components(pair, even, odd, lines, Count<0>{lines.components});
    });
}

template void filter_lines(uint32_t*, const Sample<uint8_t>*, const Sample<uint8_t>*, Lines);
template void filter_lines(uint32_t*, const Sample<uint16_t>*, const Sample<uint16_t>*, Lines);

}  // namespace qmpic
