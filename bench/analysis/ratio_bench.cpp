#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "analysis/ratio_kernels.h"
#include "qmpic/system/Color.h"
#include "support.h"

namespace qmpic::bench {
namespace {

// Two components of a real picture's kind: a fourth of full scale and noise on it, the depth's low
// bits in words.
template <class T>
void fill(const Picture& s, uint32_t bpc) {
    uint32_t state = 1;
    const uint32_t top = (1u << bpc) - 1;
    for (uint64_t i = 0; i < s.pixels() * 2; ++i) {
        state = state * 1664525 + 1013904223;
        const uint64_t x = i / 2 % s.edge, y = i / 2 / s.edge;
        const uint32_t base = static_cast<uint32_t>((x * y * 7 / (s.edge / 8 + 1)) % (top / 2));
        const auto value = static_cast<T>(base + (state >> 16) % (top / 4));
        std::memcpy(s.data + i * sizeof(T), &value, sizeof(T));
    }
}

struct Table {
    std::vector<uint32_t> words = std::vector<uint32_t>(256);
    std::vector<const uint8_t*> rows;
    Table() {
        QM_RGBRainbowColorTable(words.data(), 256);
        for (const uint32_t& w : words) rows.push_back(reinterpret_cast<const uint8_t*>(&w));
    }
};
const Table& table() {
    static const Table made;
    return made;
}

// The formula as it stands, pixel by pixel.
template <class T>
void plain_ratio(const Picture& d, const Picture& s, int a_offset, int b_offset, double min,
                 double max) {
    int top = 255;
    if (sizeof(T) == 2) {
        std::vector<uint16_t> counters(65536);
        for (uint64_t i = 0; i < s.pixels(); ++i) {
            T p[2];
            std::memcpy(p, s.data + i * sizeof p, sizeof p);
            ++counters[std::max(p[0], p[1])];
        }
        uint32_t sum = 0;
        for (top = 65535; top > 1; --top)
            if ((sum += counters[static_cast<size_t>(top)]) >= s.pixels() / 100) break;
    }
    for (uint64_t i = 0; i < s.pixels(); ++i) {
        T p[2];
        std::memcpy(p, s.data + i * sizeof p, sizeof p);
        const int a = p[0] - a_offset, b = p[1] - b_offset;
        int k = a > 0 ? 255 : 0;
        if (b > 0) {
            double t = (double(a) / b - min) / (max - min);
            if (t < 0.0) t = 0.0;
            if (t > 1.0) t = 1.0;
            k = static_cast<int>(t * 255.0);
        }
        const int signal = std::min(std::max(std::max(a, b), 0), top);
        for (int c = 0; c < 3; ++c)
            d.data[i * 3 + static_cast<uint64_t>(c)] =
                static_cast<uint8_t>(table().rows[static_cast<size_t>(k)][c] * signal / top);
    }
}

template <class T>
void add_ratio(const std::string& name, Ratio16Kernel* run, uint32_t bpc, int threads) {
    for (const bool plainly : {false, true})
        add(name + (plainly ? "plain" : ""), [=](uint32_t edge) {
            const Picture d(kDestination, edge, 3, 8), s(kFirst, edge, 2, 8 * sizeof(T));
            fill<T>(s, bpc);
            Job job;
            job.bytes = d.size() + s.size();
            job.ours = [=] {
                if (plainly) return plain_ratio<T>(d, s, 10, 20, 0.2, 1.8);
                omp_set_num_threads(threads);
                run(d.data, d.stride(), s.data, 2, s.stride(), edge, d.pixels(), 0, 1, 10, 20, 0.2,
                    1.8, table().rows.data(), 1);
            };
            return job;
        });
}

const bool registered = add_family([] {
    for (const auto& kernel : kRatio)
        for (const int threads : {1, 2}) {
            const std::string name =
                std::string(kernel.name) + (threads == 1 ? ":" : ":on_2_threads_");
            if (kernel.source.bits == 8)
                add_ratio<uint8_t>(name, kernel.run, 8, threads);
            else
                add_ratio<uint16_t>(name, kernel.run, 12, threads);
        }
    for (const auto& kernel : kCalcium)
        add(kernel.name, [run = kernel.run, bits = kernel.source.bits](uint32_t edge) {
            const Picture d(kDestination, edge, 3, 8), s(kFirst, edge, 2, bits);
            bits == 8 ? fill<uint8_t>(s, 8) : fill<uint16_t>(s, 12);
            Job job;
            job.bytes = d.size() + s.size();
            job.ours = [=] {
                run(d.data, d.stride(), s.data, 2, s.stride(), edge, d.pixels(), 0, 1, 10, 20, 0.2,
                    1, 2, 1, 0.1, 9, 0.01, 10, nullptr);
            };
            return job;
        });
});

}  // namespace
}  // namespace qmpic::bench
