#include <omp.h>

#include <vector>

#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support.h"
#ifdef QMPIC_VIPS
#include <vips/vips.h>
#endif

// The filters. Whole numbers go through StretchDisplayEx with all of the picture known, since
// StretchDisplay would take blocks for a large one at less than half its size. The peers are
// libvips, which filters with the same triangle, and OpenCV, which takes the nearest two samples.

namespace qmpic::bench {
namespace {

using Api = CQmPicMemAPI_Base;

struct Filtered {
    uint32_t components, bits;
    const char* name;
    uint32_t width, height;  ///< where the picture is 2048 wide
    Api::EQmPicStretchMode mode;
};

enum Peer { kVips, kOpenCv };

void stretch(const Filtered& f, const Picture& d, uint32_t width, uint32_t height,
             const Picture& s) {
    const uint32_t stride = width * s.components * s.bytes;
    if (f.bits == 32) {
        CQmFloatPicMemAPI_Base::StretchDisplay(reinterpret_cast<float*>(d.data), width, height,
                                               s.components, stride, 32, width, height, 0, 0,
                                               reinterpret_cast<const float*>(s.data), s.edge,
                                               s.edge, s.stride(), f.mode, false, false);
        return;
    }
    const uint32_t background[4] = {};
    Api::StretchDisplayEx(d.data, width, height, s.components, stride, f.bits, width, height, 0, 0,
                          s.data, 0, 0, s.edge, s.edge, s.edge, s.edge, s.stride(), f.mode,
                          background);
}

#ifdef QMPIC_VIPS
std::function<void()> libvips(const Filtered& f, const Picture& s, uint32_t width,
                              uint32_t height) {
    static const int started = VIPS_INIT("qmpic_bench");
    (void)started;
    vips_cache_set_max(0);  // or the second call would be told the result of the first
    vips_concurrency_set(omp_get_max_threads());
    const int edge = static_cast<int>(s.edge);
    VipsImage* const in =
        vips_image_new_from_memory(s.data, s.size(), edge, edge, static_cast<int>(s.components),
                                   f.bits == 8    ? VIPS_FORMAT_UCHAR
                                   : f.bits == 16 ? VIPS_FORMAT_USHORT
                                                  : VIPS_FORMAT_FLOAT);
    const double across = static_cast<double>(edge) / width,
                 down = static_cast<double>(edge) / height;
    return [=] {
        VipsImage* out = nullptr;
        if (vips_reduce(in, &out, across, down, "kernel", VIPS_KERNEL_LINEAR, nullptr) != 0) return;
        g_object_unref(vips_image_copy_memory(out));
        g_object_unref(out);
    };
}
#endif

#ifdef QMPIC_OPENCV
std::function<void()> opencv(const Filtered& f, const Picture& d, const Picture& s, uint32_t width,
                             uint32_t height) {
    const int type = f.bits == 8 ? CV_8U : f.bits == 16 ? CV_16U : CV_32F;
    const cv::Mat from = s.mat(type);
    cv::Mat to(static_cast<int>(height), static_cast<int>(width), from.type(), d.data);
    return [=]() mutable { cv::resize(from, to, to.size(), 0, 0, cv::INTER_LINEAR); };
}
#endif

void add_filter(Filtered f, Peer peer) {
    const std::string name =
        "Filter_" + std::to_string(f.components) + 'x' + std::to_string(f.bits) + ':' + f.name;
    bench::add(name, [=](uint32_t edge) {
        const auto scaled = [=](uint32_t size) {
            return std::max(1u, static_cast<uint32_t>(uint64_t{size} * edge / 2048));
        };
        const uint32_t width = scaled(f.width), height = scaled(f.height);
        const Picture s(kFirst, edge, f.components, f.bits),
            d(kDestination, edge, f.components, f.bits);
        Job job;
        job.bytes = s.size() + uint64_t{width} * height * f.components * f.bits / 8;
        job.ours = [=] { stretch(f, d, width, height, s); };
#ifdef QMPIC_VIPS
        if (peer == kVips) job.peer = libvips(f, s, width, height), job.peer_name = "libvips";
#endif
#ifdef QMPIC_OPENCV
        if (peer == kOpenCv) job.peer = opencv(f, d, s, width, height);
#endif
        return job;
    });
}

const bool registered = add_family([] {
    for (const uint32_t bits : {8u, 16u, 32u})
        for (const uint32_t components : {1u, 3u, 4u}) {
            add_filter({components, bits, "to_1000x1000", 1000, 1000, Api::StretchLinear}, kVips);
            add_filter({components, bits, "to_1920x1080", 1920, 1080, Api::StretchLinear}, kOpenCv);
            add_filter({components, bits, "spline_to_1000x1000", 1000, 1000, Api::StretchSpline},
                       kOpenCv);
        }
    add_filter({1, 8, "spline_to_500x500", 500, 500, Api::StretchSpline}, kOpenCv);
    add_filter({16, 16, "to_1000x1000", 1000, 1000, Api::StretchLinear}, kVips);
    // Twice as large as it is.
    add_filter({1, 8, "to_4096x4096", 4096, 4096, Api::StretchLinear}, kOpenCv);
});

}  // namespace
}  // namespace qmpic::bench
