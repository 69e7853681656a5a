#include "PicMemAPI/drawing_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support.h"

namespace qmpic::bench {
namespace {

using Api = CQmPicMemAPI_Base;

/// A line across the picture, a little below its diagonal.
void add_line(const char* name, uint32_t components, int connectivity) {
    bench::add(name, [=](uint32_t edge) {
        const Picture d(kDestination, edge, components, 8);
        const int end = static_cast<int>(edge) - 1;
        Job job;
        job.bytes = uint64_t{2} * edge * components;
        job.ours = [=] {
            Api::Line(d.data, components, 8, d.stride(), edge, d.pixels(), 0, end / 3, end, end,
                      connectivity, 0x123456);
        };
#ifdef QMPIC_OPENCV
        cv::Mat picture = d.mat(CV_8U);
        job.peer = [=]() mutable {
            cv::line(picture, {0, end / 3}, {end, end}, {18, 52, 86}, 1, connectivity);
        };
#endif
        return job;
    });
}

const bool registered = add_family([] {
    add_line("Line", 3, 8);
    add_line("Line:of_bytes", 1, 8);
    add_line("Line:4_connected", 3, 4);
    bench::add("GetDataInCircle", [](uint32_t edge) {
        const Picture d(kDestination, edge, 3, 8), s(kFirst, edge, 3, 8);
        Job job;
        job.bytes = 2 * s.size();
        job.ours = [=] {
            Api::GetDataInCircle(d.data, d.size(), s.data, s.stride(), 8, 3, edge, s.pixels(),
                                 edge / 2, edge / 2, edge / 2);
        };
        return job;
    });
    bench::add("GetDistOfPointFromLine", [](uint32_t edge) {
        Job job;
        job.bytes = uint64_t{48} * edge;
        job.ours = [=] {
            const double a[2] = {1, 2}, b[2] = {30, 40};
            double sum = 0;
            for (uint32_t i = 0; i < edge; ++i) {
                const double p[2] = {static_cast<double>(i), 9};
                sum += GetDistOfPointFromLine(a, b, p);
            }
            benchmark::DoNotOptimize(sum);
        };
        return job;
    });
});

}  // namespace
}  // namespace qmpic::bench
