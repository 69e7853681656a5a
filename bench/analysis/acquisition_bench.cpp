#include <cmath>

#include "analysis/acquisition_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support.h"

namespace qmpic::bench {
namespace {

using Api = CQmPicMemAPI_Base;

/// A smooth picture with noise, as cameras give it, of `bits` in bytes or words.
Picture smooth(Role role, uint32_t edge, uint32_t bits) {
    const Picture made(role, edge, 1, bits <= 8 ? 8 : 16);
    static std::vector<uint16_t> words[3];
    static std::vector<uint8_t> bytes[3];
    if (words[role].empty()) {
        uint32_t state = 1 + role;
        for (uint32_t i = 0; i < 2048 * 2048; ++i) {
            state = state * 1664525 + 1013904223;
            const double x = i % 2048 / 37.0, y = i / 2048 / 23.0;
            const double value = 2000 + 1500 * std::sin(x) * std::cos(y) + (state >> 24);
            words[role].push_back(static_cast<uint16_t>(value));
            bytes[role].push_back(static_cast<uint8_t>(value / 16));
        }
    }
    Picture found = made;
    found.data = bits <= 8 ? bytes[role].data() : reinterpret_cast<uint8_t*>(words[role].data());
    return found;
}

void add(const std::string& name, const std::function<Job(uint32_t)>& make) {
    bench::add(name, [=](uint32_t edge) {
        Job job = make(edge);
        job.peer_name = "plainly";
        return job;
    });
}

/// Three counters a level, pixel by pixel.
template <class S>
void count_plainly(const Picture& s) {
    constexpr size_t kLevels = size_t{1} << (8 * sizeof(S));
    std::vector<uint32_t> a(kLevels), h(kLevels), l(kLevels);
    const auto* const from = reinterpret_cast<const S*>(s.data);
    const uint64_t width = s.edge;
    for (uint64_t y = 1; y + 1 < width; ++y)
        for (uint64_t x = 1; x + 1 < width; ++x) {
            const S* const p = from + y * width + x;
            S least = p[-1];
            for (const S neighbour : {p[1], p[-width - 1], p[-width], p[-width + 1], p[width - 1],
                                      p[width], p[width + 1]})
                if (neighbour < least) least = neighbour;
            ++a[*p];
            if (*p > least) ++h[*p], ++l[least];
        }
    benchmark::DoNotOptimize(a.data());
    benchmark::DoNotOptimize(h.data());
    benchmark::DoNotOptimize(l.data());
}

void add_circularity() {
    for (const auto& kernel : kCircularity)
        add(std::string(kernel.name), [=](uint32_t edge) {
            const Picture s = smooth(kFirst, edge, kernel.source.bits);
            Job job;
            job.bytes = s.size();
            job.ours = [=] {
                benchmark::DoNotOptimize(
                    kernel.run(s.data, 1, s.stride(), edge, edge * edge, true, 0.01, 0.01));
            };
            job.peer = [=] {
                kernel.source.bits == 8 ? count_plainly<uint8_t>(s) : count_plainly<uint16_t>(s);
            };
            return job;
        });
    for (const auto& kernel : kMaskedCircularity)
        add(std::string(kernel.name), [=](uint32_t edge) {
            const Picture s = smooth(kFirst, edge, kernel.source.bits),
                          m = smooth(kSecond, edge, kernel.destination.bits);
            Job job;
            job.bytes = s.size() + m.size();
            job.ours = [=] {
                benchmark::DoNotOptimize(kernel.run(s.data, kernel.source.bits, 1, s.stride(),
                                                    m.data, m.stride(), edge, edge * edge, true,
                                                    0.01, 0.01, 100, false));
            };
            return job;
        });
}

/// The first pass with a tolerance, and one level.
void mark_plainly(const Picture& d, const Picture& s, int tolerance) {
    const int64_t width = s.edge;
    const auto pass = [&](uint8_t level, auto test) {
        for (int64_t y = 1; y + 1 < width; ++y)
            for (int64_t x = 1; x + 1 < width; ++x)
                if (test(s.data + y * width + x, d.data + y * width + x))
                    d.data[y * width + x] = level;
    };
    std::fill_n(d.data, s.size(), uint8_t{0});
    const int64_t others[] = {-1, width, -width, width + 1, width - 1, -width + 1, -width - 1};
    pass(2, [&](const uint8_t* p, const uint8_t*) {
        if (static_cast<int16_t>(*p - p[1]) > -tolerance) return false;
        for (const int64_t at : others)
            if (static_cast<int16_t>(*p - p[at]) > tolerance) return false;
        return true;
    });
    pass(1, [&](const uint8_t* p, const uint8_t* mark) {
        if (*mark > 1) return false;
        if (mark[1] <= 1 && static_cast<int16_t>(*p - p[1]) > tolerance) return false;
        for (const int64_t at : others)
            if (mark[at] <= 1 && static_cast<int16_t>(*p - p[at]) > tolerance) return false;
        return true;
    });
    benchmark::ClobberMemory();
}

void add_peaks() {
    for (const uint32_t bits : {8u, 12u})
        for (const uint8_t levels : {uint8_t{1}, uint8_t{2}})
            add("MonoDetectLocalPeaks:of_" + std::to_string(bits) + "_bits_and_" +
                    std::to_string(levels),
                [=](uint32_t edge) {
                    const Picture d(kDestination, edge, 1, 8), s = smooth(kFirst, edge, bits);
                    Job job;
                    job.bytes = d.size() + s.size();
                    job.ours = [=] {
                        Api::MonoDetectLocalPeaks(d.data, 8, d.stride(), s.data, bits, s.stride(),
                                                  edge, s.pixels(), 2, levels);
                    };
                    if (bits == 8 && levels == 2) job.peer = [=] { mark_plainly(d, s, 2); };
                    return job;
                });
}

void add_pictures() {
    for (const uint32_t bits : {8u, 12u}) {
        const uint32_t stored = bits == 8 ? 8 : 16;
        const std::string of = ":of_" + std::to_string(bits) + "_bits";
        add("AccPhotobleachProcessing" + of, [=](uint32_t edge) {
            const Picture d(kDestination, edge, 3, stored), a = smooth(kFirst, edge, bits),
                                                            b = smooth(kSecond, edge, bits);
            Job job;
            job.bytes = d.size() + a.size() + b.size();
            job.ours = [=] {
                Api::AccPhotobleachProcessing(d.data, d.stride(), 3, a.data, b.data, a.stride(), 1,
                                              bits, edge, a.pixels(), 1.0, 0.9);
            };
            return job;
        });
        add("ZorbenProcessing" + of, [=](uint32_t edge) {
            const Picture d(kDestination, edge, 3, stored), s(kFirst, edge, 6, stored);
            Job job;
            job.bytes = d.size() + s.size();
            job.ours = [=] {
                static constexpr int kPairs[] = {1, 2, 3, 1, 2, 3};
                static constexpr double kWeights[] = {0.5, -0.5, 1};
                Api::ZorbenProcessing(d.data, d.stride(), 3, s.data, s.stride(), 6, kPairs,
                                      kWeights, bits, edge, s.pixels());
            };
            return job;
        });
        add("MixDicAndFluo" + of, [=](uint32_t edge) {
            const Picture d(kDestination, edge, 3, stored), a(kFirst, edge, 3, stored),
                b = smooth(kSecond, edge, bits);
            Job job;
            job.bytes = d.size() + a.size() + b.size();
            job.ours = [=] {
                Api::MixDicAndFluo(d.data, d.stride(), 3, bits, a.data, a.stride(), 3, bits, b.data,
                                   b.stride(), 1, bits, 1, 1.7, edge, d.pixels());
            };
            return job;
        });
    }
}

void add_histograms() {
    for (const uint32_t bits : {8u, 16u}) {
        const auto make = [=](const auto& run) {
            return [=](uint32_t) {
                static std::vector<uint32_t> bins(65536);
                for (uint32_t i = 0; i < bins.size(); ++i) bins[i] = i % 3 == 0 ? 1000 : 0;
                Job job;
                job.bytes = 4ull << bits;
                job.ours = [=] { run(bins.data(), bits); };
                return job;
            };
        };
        const std::string of = ":of_" + std::to_string(bits) + "_bits";
        add("gainedproblem_1" + of,
            make([](void* bins, uint32_t n) { gainedproblem_1(bins, 4, n); }));
        add("gainedproblem_N" + of,
            make([](void* bins, uint32_t n) { gainedproblem_N(&bins, 0, 4, n); }));
    }
}

const bool registered = add_family([] {
    add_circularity();
    add_peaks();
    add_pictures();
    add_histograms();
});

}  // namespace
}  // namespace qmpic::bench
