#include <cmath>

#include "histogram/histogram2d_kernels.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "support.h"

// What counts is how many bins a picture fills, and how often neighbours share one: a picture of
// cells, one of noise, which fills them all, and one of a single colour. numpy_peer.py times NumPy
// with the same pictures.

namespace qmpic::bench {
namespace {

constexpr uint32_t kEdge = 2048;
enum Content { kCells, kNoise, kFlat };
constexpr const char* kSuffix[] = {"", ":noise", ":flat"};

/// Two components of a picture, with so many bits.
template <class T>
const std::vector<T>& picture(Content content, double top) {
    static std::vector<T> pictures[3];
    std::vector<T>& all = pictures[content];
    if (!all.empty()) return all;
    uint32_t state = 1;
    const auto noise = [&] {  // 0 to 1
        state = state * 1664525 + 1013904223;
        return (state >> 8) / 16777216.0;
    };
    for (uint32_t y = 0; y < kEdge; ++y)
        for (uint32_t x = 0; x < kEdge; ++x) {
            const double cells = std::sin(x / 50.0) * std::sin(y / 40.0) * 0.4 + 0.5;
            const double a = noise(), b = noise();
            const double first = content == kCells ? cells * 0.9 + a * 0.1 : a;
            const double second = content == kCells ? cells * 0.6 + b * 0.2 : b;
            all.push_back(static_cast<T>(content == kFlat ? top / 2 : first * top));
            all.push_back(static_cast<T>(content == kFlat ? top / 3 : second * top));
        }
    return all;
}

std::vector<uint32_t>& bins() {
    static std::vector<uint32_t> all(65536, 0);
    return all;
}

const std::vector<uint8_t>& mask() {
    static const std::vector<uint8_t> all = [] {
        std::vector<uint8_t> bytes;
        for (uint32_t i = 0; i < kEdge * kEdge; ++i) bytes.push_back(i / 37 % 2 != 0 ? 255 : 0);
        return bytes;
    }();
    return all;
}

#ifdef QMPIC_OPENCV
std::function<void()> opencv(const void* data, uint32_t edge, int depth, float top) {
    const int rows = static_cast<int>(edge);
    const cv::Mat from(rows, rows, CV_MAKETYPE(depth, 2), const_cast<void*>(data));
    return [=, counted = cv::Mat()]() mutable {
        const int channels[] = {0, 1}, sizes[] = {256, 256};
        const float range[] = {0, top};
        const float* ranges[] = {range, range};
        cv::calcHist(&from, 1, channels, cv::noArray(), counted, 2, sizes, ranges);
    };
}
#endif

template <class T>
void add_kernel(std::string_view name, Content content, double top, uint32_t bpc,
                Histogram2DKernel* run) {
    add(std::string(name) + kSuffix[content], [=](uint32_t edge) {
        const void* const s = picture<T>(content, top).data();
        const auto stride = static_cast<uint32_t>(edge * 2 * sizeof(T));
        Job job;
        job.bytes = uint64_t{stride} * edge;
        job.ours = [=] {
            run(bins().data(), 4, s, stride, 2, bpc, 0, 1, 0, 0, edge, uint64_t{edge} * edge);
        };
#ifdef QMPIC_OPENCV
        job.peer = opencv(s, edge, sizeof(T) == 1 ? CV_8U : CV_16U, static_cast<float>(1u << bpc));
#endif
        return job;
    });
}

template <class T>
void add_masked(std::string_view name, double top, uint32_t bpc, Histogram2DUnderMaskKernel* run) {
    add(name, [=](uint32_t edge) {
        const void* const s = picture<T>(kCells, top).data();
        const auto stride = static_cast<uint32_t>(edge * 2 * sizeof(T));
        Job job;
        job.bytes = uint64_t{stride + edge} * edge;
        job.ours = [=] {
            run(bins().data(), 4, s, stride, 2, bpc, 0, 1, mask().data(), edge, 0, 0, edge,
                uint64_t{edge} * edge);
        };
        return job;
    });
}

const bool registered = add_family([] {
    for (const Content content : {kCells, kNoise, kFlat}) {
        add_kernel<uint8_t>("gethistogram2d_8", content, 255.99, 8, gethistogram2d_8);
        add_kernel<uint16_t>("gethistogram2d_16", content, 4095.99, 12, gethistogram2d_16);
    }
    add_masked<uint8_t>("gethistogram2d_8_under_mask", 255.99, 8, gethistogram2d_8_under_mask);
    add_masked<uint16_t>("gethistogram2d_16_under_mask", 4095.99, 12, gethistogram2d_16_under_mask);
    add("gethistogram2d_float", [](uint32_t edge) {
        const float* const s = picture<float>(kCells, 1).data();
        Job job;
        job.bytes = uint64_t{edge} * edge * 8;
        job.ours = [=] {
            CQmFloatPicMemAPI_Base::GetHistogram2DEx(bins().data(), 4, s, edge * 8, 2, 0, 1, 0, 1,
                                                     0, 0, edge, uint64_t{edge} * edge);
        };
#ifdef QMPIC_OPENCV
        job.peer = opencv(s, edge, CV_32F, 1);
#endif
        return job;
    });
});

}  // namespace
}  // namespace qmpic::bench
