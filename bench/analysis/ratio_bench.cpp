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
void plain_ratio(const Picture& d, const Picture& s) {
    constexpr int a_offset = 10, b_offset = 20;
    volatile double given_min = 0.2, given_max = 1.8;  // as a call would bring them
    const double min = given_min, max = given_max;
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

// A job on bytes or words of `bpc` bits, or floats of the same values.
template <class T, class Ours>
MakeJob job(uint32_t bpc, Ours ours, void (*plain)(const Picture&, const Picture&) = nullptr) {
    return [=](uint32_t edge) {
        const Picture d(kDestination, edge, 3, 8);
        Picture s(kFirst, edge, 2, 8 * sizeof(T));
        static std::vector<uint8_t> memory(uint64_t{2048} * 2048 * 2 * sizeof(T));
        s.data = memory.data();  // not that of all, which is to keep its content
        fill<T>(s, bpc);
        Job job;
        job.bytes = d.size() + s.size();
        job.ours = [=] { ours(d, s); };
        if (plain != nullptr) job.peer = [=] { plain(d, s); };
        job.peer_name = "plain";
        return job;
    };
}

const bool registered = add_family([] {
    for (const auto& kernel : kRatio) {
        const auto ours = [run = kernel.run](const Picture& d, const Picture& s) {
            run(d.data, d.stride(), s.data, 2, s.stride(), d.edge, d.pixels(), 0, 1, 10, 20, 0.2,
                1.8, table().rows.data(), 1);
        };
        const std::string name(kernel.name);
        if (kernel.source.bits == 8) {
            add(name, job<uint8_t>(8, ours, plain_ratio<uint8_t>));
        } else {
            add(name + ":at_12_bits", job<uint16_t>(12, ours, plain_ratio<uint16_t>));
            add(name, job<uint16_t>(16, ours, plain_ratio<uint16_t>));
        }
    }
    for (const auto& kernel : kCalcium) {
        const auto ours = [run = kernel.run](const Picture& d, const Picture& s) {
            run(d.data, d.stride(), s.data, 2, s.stride(), d.edge, d.pixels(), 0, 1, 10, 20, 0.2, 1,
                2, 1, 0.1, 9, 0.01, 10, nullptr);
        };
        add(kernel.name, kernel.source.bits == 8 ? job<uint8_t>(8, ours) : job<uint16_t>(12, ours));
    }
    for (const auto& kernel : kRatioFloat)
        add(kernel.name, job<float>(12, [run = kernel.run](const Picture& d, const Picture& s) {
                run(d.data, d.stride(), s.data, 2, s.stride(), d.edge, d.pixels(), 0, 1, 10, 20,
                    0.2, 1.8, 1);
            }));
    for (const auto& kernel : kCalciumFloat)
        add(kernel.name, job<float>(12, [run = kernel.run](const Picture& d, const Picture& s) {
                run(d.data, d.stride(), s.data, 2, s.stride(), d.edge, d.pixels(), 0, 1, 10, 20,
                    0.2, 1, 2, 1, 0.1, 9, 0.01, 10);
            }));
});

}  // namespace
}  // namespace qmpic::bench
