#include <string>
#include <vector>

#include "analysis/golay_kernels.h"
#include "support.h"

namespace qmpic::bench {
namespace {

// Windows of 5, 7 and 11 samples and a parabola.
constexpr int kHalves[] = {2, 3, 5};
constexpr uint32_t kOrder = 2;

#ifdef QMPIC_OPENCV
// The same weights, by the closed form for order 2; rounding differs.
cv::Mat taps(int half, bool slope) {
    const double m = half;
    cv::Mat row(1, 2 * half + 1, CV_32F);
    for (int i = -half; i <= half; ++i) {
        const double value = 3 * (3 * m * m + 3 * m - 1 - 5 * i * i) /
                             ((2 * m - 1) * (2 * m + 1) * (2 * m + 3)),
                     rise = 3 * i / (m * (m + 1) * (2 * m + 1));
        row.at<float>(0, half + i) = static_cast<float>(slope ? rise : value);
    }
    return row;
}
#endif

/// `run(d, s, half)`; pictures of `bpc` bits. The peer has no filter along both ways for slopes.
template <class Run>
void add_kernel(std::string_view name, Layout layout, uint32_t bpc, Run run) {
    const uint32_t components = count(layout), bits = layout.bits;
    for (const int half : kHalves)
        add(std::string(name) + ":" + std::to_string(bpc) + "_bits_" +
                std::to_string(2 * half + 1) + "_taps",
            [=](uint32_t edge) {
                const Picture d(kDestination, edge, components, bits),
                    s(kFirst, edge, components, bits);
                for (uint64_t i = 0; bits == 16 && i < s.size() / 2; ++i)
                    reinterpret_cast<uint16_t*>(s.data)[i] &=
                        static_cast<uint16_t>((1u << bpc) - 1);
                Job job;
                job.bytes = d.size() + s.size();
                job.ours = [=] { run(d, s, half); };
#ifdef QMPIC_OPENCV
                const cv::Mat out = d.mat(bits == 8 ? 0 : 2), in = s.mat(bits == 8 ? 0 : 2);
                const cv::Mat value = taps(half, false), slope = taps(half, true),
                              one = cv::Mat::ones(1, 1, CV_32F);
                if (name.starts_with("golay_smooth"))
                    job.peer = [=] { cv::sepFilter2D(in, out, -1, value, value); };
                else if (name.starts_with("golay_edgeX_"))
                    job.peer = [=] { cv::sepFilter2D(in, out, -1, slope, one); };
                else if (name.starts_with("golay_edgeY_"))
                    job.peer = [=] { cv::sepFilter2D(in, out, -1, one, slope); };
#endif
                return job;
            });
}

const bool registered = add_family([] {
    for (const auto& kernel : kGolay8)
        add_kernel(
            kernel.name, kernel.source, 8, [=](const Picture& d, const Picture& s, int half) {
                kernel.run(d.data, s.data, d.edge, d.edge, d.stride(), s.components, half, kOrder);
            });
    for (const auto& kernel : kGolay16)
        for (const uint32_t bpc : {12u, 16u})
            add_kernel(kernel.name, kernel.source, bpc,
                       [=](const Picture& d, const Picture& s, int half) {
                           kernel.run(d.data, s.data, d.edge, d.edge, d.stride(), bpc, s.components,
                                      half, kOrder);
                       });
});

}  // namespace
}  // namespace qmpic::bench
