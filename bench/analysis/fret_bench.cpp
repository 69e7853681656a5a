#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "analysis/fret_kernels.h"
#include "qmpic/Lut.h"
#include "support.h"

namespace qmpic::bench {
namespace {

// The peer is the plain loop of the formula in doubles, from 3 interleaved components.

constexpr double kDonor = 0.3, kAcceptor = 0.12, kDonorInAcceptor = 0.02, kAcceptorInDonor = 0.01;
constexpr uint32_t kBackground = 8, kComponents = 3;

struct Table {
    std::array<std::array<uint8_t, 3>, 256> cells;
    std::array<const void*, 256> rows;
    Table() {
        for (size_t k = 0; k < 256; ++k) {
            cells[k] = {static_cast<uint8_t>(k), static_cast<uint8_t>(255 - k), 77};
            rows[k] = cells[k].data();
        }
    }
    static const Table& get() {
        static const Table table;
        return table;
    }
};

template <class T>
struct PlainPicture {
    const T* first;
    uint64_t pixels;
    double channel(uint64_t pixel, uint32_t c) const {
        const auto value = static_cast<double>(first[kComponents * pixel + c]);
        return std::max(value - kBackground, 0.0);
    }
    double signal(double i1, double i2, double i3) const {
        return i1 - (i3 - i2 * kDonorInAcceptor) * kAcceptor -
               (i2 - i3 * kAcceptorInDonor) * kDonor;
    }
};

template <class T, class Cell>
[[gnu::noinline]] void plain_fret(Cell* d, PlainPicture<T> s, const void* const* rows, float min,
                                  float max) {
    const double scale = 255.0f / (max - min), least = min;
    for (uint64_t i = 0; i < s.pixels; ++i, d += 3) {
        const double signal = s.signal(s.channel(i, 0), s.channel(i, 1), s.channel(i, 2));
        const double v = std::min(std::max((signal - least) * scale, 0.0), 255.0);
        const auto* const row = static_cast<const uint8_t*>(rows[static_cast<int>(v)]);
        d[0] = row[0], d[1] = row[1], d[2] = row[2];
    }
}

template <class T>
[[gnu::noinline]] void plain_efficiency(uint8_t* d, PlainPicture<T> s, const void* const* rows,
                                        double least, double greatest) {
    double most = 1;
    for (uint64_t i = 0; i < s.pixels; ++i) most = std::max(most, s.channel(i, 1));
    const int top = static_cast<int>(most);
    for (uint64_t i = 0; i < s.pixels; ++i, d += 3) {
        const double i2 = s.channel(i, 1);
        const double signal = s.signal(s.channel(i, 0), i2, s.channel(i, 2));
        double percent = i2 < 1 ? 0 : std::max(signal, 0.0) / i2 * 100.0;
        percent = (percent - least) / (greatest - least) * 100.0;
        percent = std::min(std::max(percent, 0.0), 100.0);
        const auto* const row =
            static_cast<const uint8_t*>(rows[static_cast<int>(percent * 255.0 / 100.0)]);
        const int shade = static_cast<int>(i2);
        for (int c = 0; c < 3; ++c) d[c] = static_cast<uint8_t>(row[c] * shade / top);
    }
}

template <class T>
[[gnu::noinline]] void plain_photobleach(uint8_t* d, const T* post, const T* pre, uint64_t pixels,
                                         const void* const* rows, double least, double greatest) {
    double most = 1;
    for (uint64_t i = 0; i < pixels; ++i) most = std::max(most, post[i] - 8.0);
    const int top = static_cast<int>(most);
    for (uint64_t i = 0; i < pixels; ++i, d += 3) {
        const double p = std::max(post[i] - 8.0, 0.0), q = std::max(pre[i] - 8.0, 0.0);
        double percent = (p - q) / p * 100.0;
        percent = (percent - least) / (greatest - least) * 100.0;
        percent = percent > 0 ? std::min(percent, 100.0) : 0;
        const auto* const row =
            static_cast<const uint8_t*>(rows[static_cast<int>(percent * 255.0 / 100.0)]);
        const int shade = static_cast<int>(p);
        for (int c = 0; c < 3; ++c) d[c] = static_cast<uint8_t>(row[c] * shade / top);
    }
}

/// A picture as a microscope gives it: a dark field with brighter spots, of 8 or 12 bits.
template <class T>
const T* channels() {
    static const std::vector<T> samples = [] {
        std::vector<T> made(size_t{2048} * 2048 * kComponents);
        uint32_t state = 1;
        const double top = sizeof(T) == 1 ? 255 : 4095;
        for (size_t i = 0; i < made.size() / kComponents; ++i) {
            const auto x = static_cast<double>(i % 2048), y = static_cast<double>(i / 2048);
            const double spot = static_cast<double>((i % 2048 / 64 * 7 + i / 2048 / 64 * 3) % 11);
            for (uint32_t c = 0; c < kComponents; ++c) {
                state = state * 1664525 + 1013904223;
                const double noise = static_cast<double>(state >> 16) / 65536.0 * 0.06;
                const double light = spot / 11.0 * (0.4 + 0.1 * c) + 0.1 * x / 2048 * y / 2048;
                made[kComponents * i + c] = static_cast<T>(top * (0.05 + 0.8 * light + noise));
            }
        }
        return made;
    }();
    return samples.data();
}

enum Kind { kSignal, kEfficiency, kPhotobleach };

/// `peer` is the plain loop.
template <class T, class Ours, class Plain>
void add_pair(const std::string& name, uint32_t cell_bytes, uint32_t sources, Ours ours,
              Plain plain) {
    add(name, [=](uint32_t edge) {
        const uint64_t pixels = uint64_t{edge} * edge;
        Job job;
        job.bytes = pixels * (3 * cell_bytes + sources * sizeof(T));
        uint8_t* const d = Picture::memory(kDestination);
        job.ours = [=] { ours(d, edge, pixels); };
        job.peer = [=] { plain(d, PlainPicture<T>{channels<T>(), pixels}); };
        job.peer_name = "plain";
        return job;
    });
}

template <class T, class Cell, class Kernel>
void add_fret(const std::string& name, Kernel* kernel, bool has_table) {
    const float min = 0, max = sizeof(T) == 2 ? 2000 : 120;
    const auto* const rows = Table::get().rows.data();
    add_pair<T>(
        name, sizeof(Cell), kComponents,
        [=](uint8_t* d, uint32_t edge, uint64_t pixels) {
            kernel(d, 3 * sizeof(Cell) * edge, channels<T>(), kComponents,
                   kComponents * sizeof(T) * edge, edge, pixels, 0, 1, 2, 3, kBackground,
                   kBackground, kBackground, 0, kDonor, kAcceptor, kDonorInAcceptor,
                   kAcceptorInDonor, has_table ? rows : nullptr, min, max);
        },
        [=](uint8_t* d, PlainPicture<T> s) {
            plain_fret(reinterpret_cast<Cell*>(d), s, rows, min, max);
        });
}

template <class T, class Kernel, class... Range>
void add_efficiency(const std::string& name, Kernel* kernel, double least, bool has_table,
                    Range... range) {
    const auto* const rows = Table::get().rows.data();
    add_pair<T>(
        name, 1, kComponents,
        [=](uint8_t* d, uint32_t edge, uint64_t pixels) {
            kernel(d, 3 * edge, channels<T>(), kComponents, kComponents * sizeof(T) * edge, edge,
                   pixels, 0, 1, 2, 3, kBackground, kBackground, kBackground, 0, kDonor, kAcceptor,
                   kDonorInAcceptor, kAcceptorInDonor, least, 90.0, has_table ? rows : nullptr,
                   range...);
        },
        [=](uint8_t* d, PlainPicture<T> s) { plain_efficiency(d, s, rows, least, 90.0); });
}

template <class T>
void add_photobleach(const std::string& name, FretPhotobleachKernel* kernel, bool has_reference) {
    const auto* const rows = Table::get().rows.data();
    const auto reference = static_cast<unsigned short>(has_reference ? 12 : 0);
    const T* const post = channels<T>();
    const T* const pre = post + size_t{2048} * 2048;
    add_pair<T>(
        name, 1, 2,
        [=](uint8_t* d, uint32_t edge, uint64_t pixels) {
            kernel(d, 3 * edge, post, pre, 1, sizeof(T) * edge, edge, pixels, 0, 5.0, 90.0, 8, 8,
                   reference, reference);
        },
        [=](uint8_t* d, PlainPicture<T> s) {
            plain_photobleach(d, post, pre, s.pixels, rows, 5.0, 90.0);
        });
}

const bool registered = add_family([] {
    SQmLut::InitPredefLuts();
    add_fret<uint8_t, uint8_t>("fret_8", fret_8, true);
    add_fret<uint8_t, uint8_t>("fret_8:default_table", fret_8, false);
    add_fret<uint16_t, uint8_t>("fret_16", fret_16, true);
    add_fret<uint16_t, uint16_t>("fret_16_to_16", fret_16_to_16, true);
    add_fret<float, uint8_t>("fret_float", fret_float, true);
    add_efficiency<uint8_t>("fret_eff_8", fret_eff_8, 5.0, false);
    add_efficiency<uint8_t>("fret_eff_8:table", fret_eff_8, 5.0, true);
    // Pixels without a signal are at the limit of two colours: their blocks take the exact way.
    add_efficiency<uint8_t>("fret_eff_8:exact", fret_eff_8, -60.0, false);
    add_efficiency<uint16_t>("fret_eff_16", fret_eff_16, 5.0, false);
    add_efficiency<float>("fret_eff_float", fret_eff_float, 5.0, false, 0.0f, 1.0f);
    add_photobleach<uint8_t>("fret_photobleach_eff_8", fret_photobleach_eff_8, false);
    add_photobleach<uint16_t>("fret_photobleach_eff_16", fret_photobleach_eff_16, false);
    add_photobleach<uint16_t>("fret_photobleach_eff_16:reference", fret_photobleach_eff_16, true);
});

}  // namespace
}  // namespace qmpic::bench
