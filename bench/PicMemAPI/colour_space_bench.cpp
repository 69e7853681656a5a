#include <string>

#include "qmpic/PicMemAPI_Base.h"
#include "support.h"

// Planes of hue, saturation and intensity. The peer has no such intensity: beside ours stand its
// hue, saturation and value of bytes (integers) and of floats (as the nearest to 16 bits).

namespace qmpic::bench {
namespace {

template <class T, class Call>
void add_planes(std::string_view name, Call call) {
    add(name, [=](uint32_t edge) {
        const Picture planes(kDestination, edge, 3, sizeof(T) * 8),
            pixels(kFirst, edge, 3, sizeof(T) * 8);
        Job job;
        job.bytes = planes.size() + pixels.size();
        job.ours = [=] {
            T* const first = reinterpret_cast<T*>(planes.data);
            const auto count = static_cast<uint32_t>(planes.pixels());
            call(first, first + count, first + 2 * uint64_t{count},
                 reinterpret_cast<const T*>(pixels.data), count);
        };
#ifdef QMPIC_OPENCV
        if (sizeof(T) == 1) {
            const cv::Mat out = planes.mat(CV_8U), in = pixels.mat(CV_8U);
            job.peer = [=] { cv::cvtColor(in, out, cv::COLOR_BGR2HSV_FULL); };
        } else {
            cv::Mat in;
            pixels.mat(CV_16U).convertTo(in, CV_32F, 1 / 65535.0);
            const cv::Mat out(in.size(), in.type());
            job.peer = [=] { cv::cvtColor(in, out, cv::COLOR_BGR2HSV); };
        }
#endif
        return job;
    });
}

const bool registered = add_family([] {
    add_planes<uint8_t>("ConvertRGB8toHSI8", CQmPicMemAPI_Base::ConvertRGB8toHSI8);
    add_planes<uint16_t>("ConvertRGB16toHSI16", CQmPicMemAPI_Base::ConvertRGB16toHSI16);
    benchmark::RegisterBenchmark("CalcColor", [](benchmark::State& state) {
        int position = 0;
        for (auto unused : state)
            benchmark::DoNotOptimize(
                CQmPicMemAPI_Base::CalcColor(0x2040C0, 0x80FF10, 255, ++position & 255));
    });
});

}  // namespace
}  // namespace qmpic::bench
