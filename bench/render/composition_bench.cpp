#include <array>
#include <cmath>
#include <memory>

#include "render/composition_kernels.h"
#include "support.h"

// The peer walks bands of 16 rows: split, 16 bits to 8 (it has no tables for more), a colour map a
// channel, and the merge a + b - a * b / 255. A second peer is the plain loop over the caller's row
// pointers with a merge table of 64 KiB; it stands under a name of its own, "plain_...".

namespace qmpic::bench {
namespace {

/// Tables of random colours, and exposure colours, for up to kMost components of a depth.
constexpr uint32_t kMost = 8;
struct Set {
    uint32_t entries;
    std::vector<uint8_t> cells;
    std::vector<const void*> rows;
    std::vector<const void* const*> root;
    std::array<uint8_t, 4 * kMost> colours{};
    Set(uint32_t bpc, uint32_t cell_bytes)
        : entries(1u << bpc), cells(size_t{kMost} * entries * 3 * cell_bytes) {
        uint32_t state = 1;
        for (uint8_t& cell : cells)
            cell = static_cast<uint8_t>((state = state * 1664525 + 1013904223) >> 24);
        for (size_t i = 0; i < size_t{kMost} * entries; ++i)
            rows.push_back(cells.data() + i * 3 * cell_bytes);
        for (uint32_t c = 0; c < kMost; ++c) root.push_back(rows.data() + size_t{c} * entries);
    }
};
const Set& set_of(uint32_t bpc, uint32_t cell_bytes) {
    static std::array<std::unique_ptr<Set>, 64> sets;
    auto& set = sets[bpc + 32 * (cell_bytes - 1)];
    if (!set) set = std::make_unique<Set>(bpc, cell_bytes);
    return *set;
}

/// Soft shapes with noise, as a camera sees them; a sample in a thousand is 0 or full.
void draw(const Picture& picture, uint32_t components, uint32_t bpc) {
    static std::array<uint64_t, 3> drawn{};
    const std::array<uint64_t, 3> wanted{picture.edge, components, bpc};
    if (drawn == wanted) return;
    drawn = wanted;
    const int top = (1 << bpc) - 1;
    std::vector<double> wave(picture.edge * components), level(components);
    for (size_t i = 0; i < wave.size(); ++i)
        wave[i] = 0.45 * top * std::sin(static_cast<double>(i) * 0.01);
    uint32_t state = 1;
    for (size_t i = 0; i < picture.pixels() * components; ++i) {
        if (i % wave.size() == 0)
            for (uint32_t c = 0; c < components; ++c)
                level[c] = std::cos(static_cast<double>(i / wave.size()) * 0.013 + c);
        state = state * 1664525 + 1013904223;
        const double shape = 0.5 * top + wave[i % wave.size()] * level[i % components];
        int value = static_cast<int>(shape) + static_cast<int>(state >> 16) % (top / 16);
        if (state >> 22 == 0) value = 0;
        value = std::max(0, std::min(value, top));
        if (bpc == 8)
            picture.data[i] = static_cast<uint8_t>(value);
        else
            reinterpret_cast<uint16_t*>(picture.data)[i] = static_cast<uint16_t>(value);
    }
}

const auto kMerge = [] {
    auto table = std::make_unique<std::array<std::array<uint8_t, 256>, 256>>();
    for (uint32_t a = 0; a < 256; ++a)
        for (uint32_t b = 0; b < 256; ++b)
            (*table)[a][b] = static_cast<uint8_t>(a + b - a * b / 255);
    return table;
}();

template <class T, uint32_t components>
void plain_loop(uint8_t* d, const T* s, const Set& set, uint64_t pixels) {
    const auto& merge = *kMerge;
    for (uint64_t x = 0; x < pixels; ++x, d += 3, s += components) {
        const auto* row = static_cast<const uint8_t*>(set.root[0][s[0]]);
        uint8_t blue = row[0], green = row[1], red = row[2];
        for (uint32_t c = 1; c < components; ++c) {
            row = static_cast<const uint8_t*>(set.root[c][s[c]]);
            blue = merge[blue][row[0]], green = merge[green][row[1]], red = merge[red][row[2]];
        }
        d[0] = blue, d[1] = green, d[2] = red;
    }
}

#ifdef QMPIC_OPENCV
void peer(const cv::Mat& to, const cv::Mat& from, const Set& set) {
    constexpr int kBand = 16;
    const int components = from.channels();
    std::vector<cv::Mat> planes, colours;
    for (int c = 0; c < components; ++c) {  // the same map, sampled at 256 places
        cv::Mat map(256, 1, CV_8UC3);
        for (int v = 0; v < 256; ++v) {
            const auto* row = static_cast<const uint8_t*>(
                set.root[static_cast<size_t>(c)][static_cast<size_t>(v) * set.entries / 256]);
            map.at<cv::Vec3b>(v) = {row[0], row[1], row[2]};
        }
        colours.push_back(map);
    }
    cv::Mat bytes, colour, product;
    for (int y = 0; y < from.rows; y += kBand) {
        const cv::Range band(y, std::min(y + kBand, from.rows));
        cv::Mat merged = to.rowRange(band);
        cv::split(from.rowRange(band), planes);
        for (int c = 0; c < components; ++c) {
            const auto i = static_cast<size_t>(c);
            if (from.depth() == CV_8U)
                bytes = planes[i];
            else
                planes[i].convertTo(bytes, CV_8U, 256.0 / set.entries);
            cv::applyColorMap(bytes, c == 0 ? merged : colour, colours[i]);
            if (c == 0) continue;
            cv::multiply(merged, colour, product, 1.0 / 255);
            cv::subtract(colour, product, colour);
            cv::add(merged, colour, merged);
        }
    }
}
#endif

MakeJob job(const NamedKernel<CompositionKernel>& kernel) {
    return [=](uint32_t edge) {
        const uint32_t bits = kernel.source.bits, bpc = bits == 8 ? 8 : 12;
        const uint32_t components = kernel.source.components ? kernel.source.components : kMost;
        const uint32_t cell_bits = kernel.destination.bits;
        const Picture d(kDestination, edge, 3, cell_bits), s(kFirst, edge, components, bits);
        draw(s, components, bpc);
        const Set& set = set_of(bpc, cell_bits / 8);
        const void* const tables =
            components == 1 ? static_cast<const void*>(set.root[0]) : set.root.data();
        Job job;
        job.bytes = d.size() + s.size();
        job.ours = [=, &set] {
            const CQmRangeMask all(192, 0, 191, 1);
            kernel.run({d.data, d.stride(), s.data, components, bpc, s.stride(), tables, all,
                        set.colours.data(), nullptr, set.colours.data(), edge, d.pixels(), 1.0,
                        all});
        };
#ifdef QMPIC_OPENCV
        if (cell_bits == 8) {
            const cv::Mat to = d.mat(CV_8U), from = s.mat(bits == 8 ? CV_8U : CV_16U);
            job.peer = [=, &set] { peer(to, from, set); };
        }
#endif
        return job;
    };
}

template <class T, uint32_t components>
MakeJob plain() {
    return [](uint32_t edge) {
        const uint32_t bpc = sizeof(T) == 1 ? 8 : 12;
        const Picture d(kDestination, edge, 3, 8), s(kFirst, edge, components, 8 * sizeof(T));
        draw(s, components, bpc);
        const Set& set = set_of(bpc, 1);
        return Job{[=, &set] {
                       plain_loop<T, components>(d.data, reinterpret_cast<const T*>(s.data), set,
                                                 d.pixels());
                   },
                   {},
                   d.size() + s.size()};
    };
}

const bool registered = add_family([] {
    for (const auto& kernel : kMapComp) add(kernel.name, job(kernel));
    for (const auto& kernel : kMapCompMarks) add(kernel.name, job(kernel));
    for (const auto& kernel : kMapCompOver) add(kernel.name, job(kernel));
    for (const auto& kernel : kMapCompAdd) add(kernel.name, job(kernel));
    for (const auto& kernel : kMapCompOthers) add(kernel.name, job(kernel));
    add("plain_1x8_3x8", plain<uint8_t, 1>());
    add("plain_2x8_3x8", plain<uint8_t, 2>());
    add("plain_3x8_3x8", plain<uint8_t, 3>());
    add("plain_4x8_3x8", plain<uint8_t, 4>());
    add("plain_1x16_3x8", plain<uint16_t, 1>());
    add("plain_2x16_3x8", plain<uint16_t, 2>());
    add("plain_3x16_3x8", plain<uint16_t, 3>());
    add("plain_4x16_3x8", plain<uint16_t, 4>());
    add("plain_6x16_3x8", plain<uint16_t, 6>());
    add("plain_8x16_3x8", plain<uint16_t, kMost>());
});

}  // namespace
}  // namespace qmpic::bench
