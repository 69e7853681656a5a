#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <stdexcept>
#include <tuple>

#include "histogram/counting_kernels.h"
#include "support.h"

// What counting takes depends on what is counted: real pictures have many neighbours that are
// alike, random ones have none, and constant ones make every increment wait for the one before it.

namespace qmpic::bench {
namespace {

constexpr uint32_t kMost = 2048;  // pixels of an edge

/// An uncompressed picture in one strip, as those of data/ are.
struct Tiff {
    uint32_t width = 0, height = 0, components = 1, bytes = 1;
    std::vector<char> file;
    size_t first = 0;

    explicit Tiff(const std::string& name) {
        std::ifstream in(QMPIC_DATA + name, std::ios::binary);
        file.assign(std::istreambuf_iterator<char>(in), {});
        if (file.size() < 8) throw std::runtime_error("cannot read " QMPIC_DATA + name);
        const size_t entries = number<uint32_t>(4);
        for (uint32_t i = 0; i < number<uint16_t>(entries); ++i) {
            const size_t entry = entries + 2 + 12 * i;
            const bool is_short = number<uint16_t>(entry + 2) == 3;
            const uint32_t count = number<uint32_t>(entry + 4);
            const size_t at = is_short && count > 2 ? number<uint32_t>(entry + 8) : entry + 8;
            const uint32_t value = is_short ? number<uint16_t>(at) : number<uint32_t>(at);
            switch (number<uint16_t>(entry)) {
            case 256: width = value; break;
            case 257: height = value; break;
            case 258: bytes = value / 8; break;
            case 273: first = value; break;
            case 277: components = value; break;
            }
        }
    }
    template <class T>
    T number(size_t at) const {
        T value;
        std::memcpy(&value, file.data() + at, sizeof value);
        return value;
    }
    /// Tiled; components that it lacks are others, shifted.
    uint32_t get(uint32_t x, uint32_t y, uint32_t c) const {
        const uint32_t column = (x + c / components * 97) % width;
        const size_t index = (size_t{y % height} * width + column) * components + c % components;
        return bytes == 1 ? static_cast<uint8_t>(file[first + index])
                          : number<uint16_t>(first + 2 * index);
    }
};

enum Content { kReal, kRandom, kConstant };
constexpr const char* kNames[] = {"real", "random", "constant"};

struct Format {
    uint32_t components, bits, bpc;
    uint32_t bytes() const { return bits / 8; }
};

uint8_t* content(Format f, Content kind) {
    static std::map<std::tuple<uint32_t, uint32_t, uint32_t, Content>, std::vector<uint8_t>> all;
    auto& memory = all[{f.components, f.bits, f.bpc, kind}];
    if (!memory.empty()) return memory.data();
    memory.resize(size_t{kMost} * kMost * f.components * f.bytes());
    const bool three = f.components > 1;
    const Tiff picture(f.bpc == 16  ? "cells_3ch_16bit_512x512.tif"
                       : three      ? "cells_3ch_12bit_695x395.tif"
                       : f.bpc == 8 ? "nuclei_1ch_8bit_512x512.tif"
                                    : "plant_1ch_12bit_512x512.tif");
    const uint32_t shift = three && f.bpc == 8 ? 4 : 0;
    std::mt19937 random(1);
    size_t at = 0;
    for (uint32_t y = 0; y < kMost; ++y)
        for (uint32_t x = 0; x < kMost; ++x)
            for (uint32_t c = 0; c < f.components; ++c, at += f.bytes()) {
                const uint32_t value = kind == kReal ? picture.get(x, y, c) >> shift
                                       : kind == kRandom
                                           ? static_cast<uint32_t>(random()) & ((1u << f.bpc) - 1)
                                           : 100;
                std::memcpy(memory.data() + at, &value, f.bytes());
            }
    return memory.data();
}

/// Bins as a histogram has them, the intensity's first.
struct Bins {
    void* components[8];
    void* intensity;
    explicit Bins(uint64_t bins) {
        static std::vector<uint32_t> memory(size_t{8} << 16);
        intensity = memory.data();
        for (uint32_t c = 0; c < 7; ++c) components[c] = memory.data() + (c + 1) * bins;
    }
};

#ifdef QMPIC_OPENCV
void peer_histogram(const cv::Mat& picture, uint32_t bins, cv::Mat mask = {}) {
    static cv::Mat counts;
    const int channel = 0, size = static_cast<int>(bins);
    const float range[] = {0, static_cast<float>(bins)};
    const float* ranges[] = {range};
    cv::calcHist(&picture, 1, &channel, mask, counts, 1, &size, ranges);
}

/// Planes, one after the other, and the mean of them.
void peer_histograms(const cv::Mat& picture, uint32_t bins, bool with_mean) {
    static std::vector<cv::Mat> planes;
    static cv::Mat sum, mean;
    cv::split(picture, planes);
    for (const cv::Mat& plane : planes) peer_histogram(plane, bins);
    if (!with_mean) return;
    const int wide = picture.depth() == CV_8U ? CV_16U : CV_32F;
    cv::add(planes[0], planes[1], sum, cv::noArray(), wide);
    for (size_t c = 2; c < planes.size(); ++c) cv::add(sum, planes[c], sum, cv::noArray(), wide);
    sum.convertTo(mean, picture.depth(), 1.0 / static_cast<double>(planes.size()));
    peer_histogram(mean, bins);
}
#endif

Picture picture_of(Format f, Content kind, uint32_t edge) {
    Picture picture(kFirst, edge, f.components, f.bits);
    picture.data = content(f, kind);
    return picture;
}

void add_counting(const NamedKernel<CountKernel>& k, Format f, const std::string& prefix,
                  bool with_mean) {
    for (const Content kind : {kReal, kRandom, kConstant})
        add(std::string(k.name) + ":" + prefix + kNames[kind], [=](uint32_t edge) {
            const Picture s = picture_of(f, kind, edge);
            const uint32_t bins = 1u << f.bpc;
            Job job;
            job.bytes = s.size();
            job.ours = [=, run = k.run] {
                Bins to(bins);
                run(to.components, to.intensity, 4, s.data, s.stride(), f.components, f.bpc, 1, 1,
                    s.edge, s.pixels());
            };
#ifdef QMPIC_OPENCV
            const cv::Mat picture = s.mat(f.bits == 8 ? CV_8U : CV_16U);
            if (f.components == 1)
                job.peer = [=] { peer_histogram(picture, bins); };
            else
                job.peer = [=] { peer_histograms(picture, bins, with_mean); };
#else
            (void)with_mean;
#endif
            return job;
        });
}

/// A mask of 255 and 0 in blobs.
const void* mask_of(uint32_t bits) {
    static std::vector<uint8_t> memory[3];
    auto& mask = memory[bits / 8];
    if (mask.empty()) {
        mask.resize(size_t{kMost} * kMost * bits / 8);
        std::mt19937 random(1);
        uint8_t value = 0;
        for (size_t i = 0; i < mask.size(); ++i) {
            if (i % 32 == 0) value = random() % 2 != 0 ? 255 : 0;
            mask[i] = value;
        }
    }
    return mask.data();
}

template <class List>
void add_masked(const List& list, uint32_t mask_bits) {
    for (const auto& k : list)
        add(k.name, [=](uint32_t edge) {
            const Format f{count(k.source), k.source.bits, k.source.bits == 8 ? 8u : 12u};
            const Picture s = picture_of(f, kReal, edge);
            const void* const mask = mask_of(mask_bits);
            Job job;
            job.bytes = s.size() + s.pixels() * mask_bits / 8;
            job.ours = [=] {
                Bins to(1u << f.bpc);
                k.run(to.components, to.intensity, 4, s.data, s.stride(), f.components, f.bpc, mask,
                      edge * mask_bits / 8, 1, 1, s.edge, s.pixels());
            };
#ifdef QMPIC_OPENCV
            const int rows = static_cast<int>(edge);
            const cv::Mat picture = s.mat(f.bits == 8 ? CV_8U : CV_16U),
                          chosen(rows, rows, CV_8U, const_cast<void*>(mask));
            if (f.components == 1 && mask_bits == 8)
                job.peer = [=] { peer_histogram(picture, 1u << f.bpc, chosen); };
#endif
            return job;
        });
}

const bool registered = add_family([] {
    for (const auto& k : kHistogram) {
        const uint32_t n = count(k.source);
        if (k.source.bits == 8) {
            add_counting(k, {n, 8, 8}, "", false);
        } else {
            add_counting(k, {n, 16, 12}, "of_12_bits_", false);
            if (n == 1) add_counting(k, {n, 16, 16}, "of_16_bits_", false);
        }
    }
    for (const auto& k : kHistogramInt) {
        const uint32_t n = count(k.source);
        if (k.source.bits == 8)
            add_counting(k, {n, 8, 8}, "", true);
        else
            add_counting(k, {n, 16, 12}, "of_12_bits_", true);
    }
    add_masked(kHistogramBin, 8);
    add_masked(kHistogramBin16, 16);
    for (const auto& k : kHistogramDiv)
        add(k.name, [=](uint32_t edge) {
            const Format f{count(k.source), k.source.bits, 12};
            const Picture s = picture_of({f.components * f.bits / 16, 16, 12}, kReal, edge);
            Job job;
            job.bytes = s.size();
            job.ours = [=] {
                Bins to(256);
                k.run(to.components, 4, 8, s.data, s.stride(), f.components, f.bpc, 1, 1, s.edge,
                      s.pixels());
            };
            return job;
        });
    for (const auto& k : kHistogramComp)
        add(k.name, [=](uint32_t edge) {
            const Picture s = picture_of({4, 16, 12}, kReal, edge);
            Job job;
            job.bytes = s.size();
            job.ours = [=] {
                Bins to(4096);
                k.run(to.components, 4, s.data, 1, 4, s.stride(), 1, 1, 12, s.edge, s.pixels());
            };
            return job;
        });
    for (const auto& k : kHistoAdd)
        add(k.name, [=](uint32_t edge) {  // 16, 2^8 bins; 512, 2^16; 2048, 2^18
            const Picture d(kDestination, edge, 1, 32), s(kFirst, edge, 1, 32);
            const uint32_t bits = edge == 16 ? 8 : edge == 512 ? 16 : 18;
            Job job;
            job.bytes = uint64_t{12} << bits;
            job.ours = [=] { k.run(s.data, nullptr, d.data, nullptr, bits, 1, 4); };
#ifdef QMPIC_OPENCV
            const int columns = 1 << bits;
            const cv::Mat a(1, columns, CV_32S, s.data), b(1, columns, CV_32S, d.data);
            job.peer = [=] { cv::add(a, b, b); };
#endif
            return job;
        });
});

}  // namespace
}  // namespace qmpic::bench
