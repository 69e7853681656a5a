#pragma once

#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include "support.h"

/// What counting takes depends on what is counted: real pictures have many neighbours that are
/// alike, random ones have none, and constant ones make every increment wait for the one before it.

namespace qmpic::bench {

inline constexpr uint32_t kMost = 2048;  // pixels of an edge

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
inline constexpr const char* kNames[] = {"real", "random", "constant"};

struct Format {
    uint32_t components, bits, bpc;
    uint32_t bytes() const { return bits / 8; }
};

inline uint8_t* content(Format f, Content kind) {
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

#ifdef QMPIC_OPENCV
inline void peer_histogram(const cv::Mat& picture, uint32_t bins, cv::Mat mask = {}) {
    static cv::Mat counts;
    const int channel = 0, size = static_cast<int>(bins);
    const float range[] = {0, static_cast<float>(bins)};
    const float* ranges[] = {range};
    cv::calcHist(&picture, 1, &channel, mask, counts, 1, &size, ranges);
}

/// Planes, one after the other, and the mean of them.
inline void peer_histograms(const cv::Mat& picture, uint32_t bins, bool with_mean) {
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

inline Picture picture_of(Format f, Content kind, uint32_t edge) {
    Picture picture(kFirst, edge, f.components, f.bits);
    picture.data = content(f, kind);
    return picture;
}

}  // namespace qmpic::bench
