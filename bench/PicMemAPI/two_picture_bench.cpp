#include "PicMemAPI/two_picture_kernels.h"
#include "support.h"

namespace qmpic::bench {
namespace {

MakeJob job(const NamedKernel<TwoPictureKernel>& kernel, [[maybe_unused]] bool adds) {
    return [=](uint32_t edge) {
        const uint32_t bits = kernel.source.bits, components = count(kernel.source);
        const Picture d(kDestination, edge, components, bits), a(kFirst, edge, components, bits),
            b(kSecond, edge, components, bits);
        Job job;
        job.bytes = d.size() + a.size() + b.size();
        job.ours = [=] {
            kernel.run(d.data, d.stride(), a.data, a.stride(), b.data, b.stride(), components, bits,
                       edge, d.pixels());
        };
#ifdef QMPIC_OPENCV
        const int depth = bits == 8 ? CV_8U : CV_16U;
        const cv::Mat to = d.mat(depth), x = a.mat(depth), y = b.mat(depth);
        if (bits <= 16)  // there is no unsigned 32-bit picture
            job.peer = [=] { adds ? cv::add(x, y, to) : cv::subtract(x, y, to); };
#endif
        return job;
    };
}

const bool registered = add_family([] {
    for (const auto& kernel : kAddAndClip) add(kernel.name, job(kernel, true));
    for (const auto& kernel : kSubAndClip) add(kernel.name, job(kernel, false));
});

}  // namespace
}  // namespace qmpic::bench
