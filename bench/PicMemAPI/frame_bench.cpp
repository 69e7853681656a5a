#include <array>
#include <string>

#include "PicMemAPI/frame_kernels.h"
#include "qmpic/PicBuf.h"
#include "support.h"

namespace qmpic::bench {
namespace {

#ifdef QMPIC_OPENCV
int depth_of(uint32_t bits) { return bits == 8 ? CV_8U : CV_16U; }
const cv::Scalar kOld(17, 17, 17, 17), kNew(17, 18, 19, 20);
#endif

/// One pixel of up to four components, as above.
struct Pixel {
    std::array<uint8_t, 4> bytes;
    std::array<uint16_t, 4> words;
    const void* data(uint32_t bits) const {
        return bits == 8 ? static_cast<const void*>(bytes.data()) : words.data();
    }
};
constexpr Pixel kOldPixel{{17, 17, 17, 17}, {17, 17, 17, 17}},
    kNewPixel{{17, 18, 19, 20}, {17, 18, 19, 20}};

/// Kernels for any number of components, at the numbers that matter.
template <class Kernel>
void add_counts(const NamedKernel<Kernel>& kernel, MakeJob (*make)(uint32_t bits, uint32_t count)) {
    for (const uint32_t count : {kAnyCount, 1u, 3u, 4u}) {
        std::string name(kernel.name);
        if (count != kAnyCount) name.append(":").append(std::to_string(count));
        add(name, make(kernel.source.bits, count));
    }
}

MakeJob copy_job(bool parallel) {
    return [=](uint32_t edge) {
        const Picture d(kDestination, edge, 3, 8), s(kFirst, edge, 3, 8);
        Job job;
        job.bytes = d.size() + s.size();
        if (parallel)
            job.ours = [=] {
                copyparallel(d.data, d.stride(), s.data, s.stride(), 3, 8, edge, d.pixels(), true);
            };
        else
            job.ours = [=] {
                copy(d.data, d.stride(), s.data, s.stride(), 3, 8, edge, d.pixels());
            };
#ifdef QMPIC_OPENCV
        const cv::Mat from = s.mat(CV_8U);
        cv::Mat to = d.mat(CV_8U);
        job.peer = [=]() mutable { from.copyTo(to); };
#endif
        return job;
    };
}

Job set_job(uint32_t edge) {
    const Picture d(kDestination, edge, 1, 16);
    Job job;
    job.bytes = 2 * d.size();  // memory is read before it is written
    job.ours = [=] { set(d.data, d.stride(), 0, 1, 16, edge, d.pixels()); };
#ifdef QMPIC_OPENCV
    cv::Mat to = d.mat(CV_16U);
    job.peer = [=]() mutable { to.setTo(0); };
#endif
    return job;
}

Job compare_job(uint32_t edge) {
    const Picture a(kFirst, edge, 3, 8), b(kSecond, edge, 3, 8);
    Job job;
    job.bytes = a.size() + b.size();
    job.ours = [=] {
        benchmark::DoNotOptimize(
            compare(a.data, a.stride(), b.data, b.stride(), 3, 8, edge, a.pixels()));
    };
#ifdef QMPIC_OPENCV
    const cv::Mat x = a.mat(CV_8U), y = b.mat(CV_8U);
    job.peer = [=] { benchmark::DoNotOptimize(cv::norm(x, y, cv::NORM_INF)); };
#endif
    return job;
}

MakeJob set_value_job(uint32_t bits, uint32_t count) {
    return [=](uint32_t edge) {
        const Picture d(kDestination, edge, count, bits);
        const auto run = bits == 8 ? set_Nx8 : set_Nx16;
        Job job;
        job.bytes = 2 * d.size();
        job.ours = [=] { run(d.data, count, d.stride(), kNewPixel.data(bits), edge, d.pixels()); };
#ifdef QMPIC_OPENCV
        cv::Mat to = d.mat(depth_of(bits));
        job.peer = [=]() mutable { to.setTo(kNew); };
#endif
        return job;
    };
}

MakeJob set_component_job(uint32_t bits, uint32_t count) {
    return [=](uint32_t edge) {
        const Picture d(kDestination, edge, count, bits);
        Job job;
        job.bytes = 2 * d.size();
        if (bits == 8)
            job.ours = [=] {
                setcomponent_Nx8(d.data, count, d.stride(), count - 1, 7, edge, d.pixels());
            };
        else
            job.ours = [=] {
                setcomponent_Nx16(d.data, count, d.stride(), count - 1, 7, edge, d.pixels());
            };
#ifdef QMPIC_OPENCV
        cv::Mat to = d.mat(depth_of(bits));
        const cv::Mat plane(to.rows, to.cols, depth_of(bits), cv::Scalar(7));
        job.peer = [=]() mutable { cv::insertChannel(plane, to, static_cast<int>(count) - 1); };
#endif
        return job;
    };
}

// There and back by turns, so that there always is something to change.
MakeJob change_job(uint32_t bits, uint32_t count) {
    return [=](uint32_t edge) {
        const Picture d(kDestination, edge, count, bits);
        const auto run = bits == 8 ? change_Nx8 : change_Nx16;
        Job job;
        job.bytes = 2 * d.size();
        job.ours = [=, back = false]() mutable {
            run(d.data, count, d.stride(), (back ? kOldPixel : kNewPixel).data(bits),
                (back ? kNewPixel : kOldPixel).data(bits), edge, d.pixels());
            back = !back;
        };
#ifdef QMPIC_OPENCV
        cv::Mat to = d.mat(depth_of(bits)), mask;
        job.peer = [=, back = false]() mutable {
            cv::inRange(to, back ? kNew : kOld, back ? kNew : kOld, mask);
            to.setTo(back ? kOld : kNew, mask);
            back = !back;
        };
#endif
        return job;
    };
}

MakeJob compare_component_job(uint32_t bits, uint32_t count) {
    return [=](uint32_t edge) {
        const Picture a(kFirst, edge, count, bits), b(kSecond, edge, count, bits);
        const auto run = bits == 8 ? comparecomponent_Nx8_to_Nx8 : comparecomponent_Nx16_to_Nx16;
        Job job;
        job.bytes = a.size() + b.size();
        job.ours = [=] {
            benchmark::DoNotOptimize(run(a.data, count, a.stride(), count - 1, b.data, count,
                                         b.stride(), count - 1, edge, a.pixels()));
        };
#ifdef QMPIC_OPENCV
        const cv::Mat x = a.mat(depth_of(bits)), y = b.mat(depth_of(bits));
        job.peer = [=, one = cv::Mat(), other = cv::Mat()]() mutable {
            if (count == 1) {
                benchmark::DoNotOptimize(cv::norm(x, y, cv::NORM_INF));
                return;
            }
            cv::extractChannel(x, one, static_cast<int>(count) - 1);
            cv::extractChannel(y, other, static_cast<int>(count) - 1);
            benchmark::DoNotOptimize(cv::norm(one, other, cv::NORM_INF));
        };
#endif
        return job;
    };
}

SQmPicBuf record(const Picture& picture, uint32_t bits) {
    return {picture.edge,       picture.edge,   picture.stride(), static_cast<uint8_t>(bits),
            picture.components, picture.size(), picture.data};
}

MakeJob copy_comp_job(uint32_t to, uint32_t from) {
    return [=](uint32_t edge) {
        const Picture d(kDestination, edge, to, 8), s(kFirst, edge, from, 8);
        Job job;
        job.bytes = d.size() + s.size();
        job.ours = [dst = record(d, 8), src = record(s, 8)]() mutable {
            SQmPicBufAPI_Base::CopyComp(&dst, &src);
        };
#ifdef QMPIC_OPENCV
        const cv::Mat x = s.mat(CV_8U);
        cv::Mat y = d.mat(CV_8U);
        if (from > to)
            job.peer = [=]() mutable {
                static constexpr int kPairs[] = {0, 0, 1, 1, 2, 2};
                cv::mixChannels(&x, 1, &y, 1, kPairs, to);
            };
#endif
        return job;
    };
}

MakeJob copy_via_binary_job(uint32_t bits, uint32_t count) {
    return [=](uint32_t edge) {
        const Picture d(kDestination, edge, count, bits), s(kFirst, edge, count, bits),
            m(kSecond, edge, 1, 8);
        for (uint64_t i = 0; i < m.size(); ++i) m.data[i] = i / 7 % 3 == 0 ? 255 : 0;
        Job job;
        job.bytes = d.size() + s.size() + m.size();
        job.ours = [dst = record(d, bits), src = record(s, bits), mask = record(m, 8)]() mutable {
            SQmPicBufAPI_Base::CopyViaBinaryUnpacked(&dst, &src, &mask, false);
        };
#ifdef QMPIC_OPENCV
        const cv::Mat x = s.mat(depth_of(bits)), mask = m.mat(CV_8U);
        cv::Mat y = d.mat(depth_of(bits));
        job.peer = [=]() mutable { x.copyTo(y, mask); };
#endif
        return job;
    };
}

const bool registered = add_family([] {
    add("copy", copy_job(false));
    add("copyparallel", copy_job(true));
    add("set", set_job);
    add("compare", compare_job);
    for (const auto& kernel : kSetValue) add_counts(kernel, set_value_job);
    for (const auto& kernel : kSetComponentValue) add_counts(kernel, set_component_job);
    for (const auto& kernel : kChangeValue) add_counts(kernel, change_job);
    for (const auto& kernel : kCompareComponent) add_counts(kernel, compare_component_job);
    add("CopyComp:1to3", copy_comp_job(3, 1));
    add("CopyComp:3to1", copy_comp_job(1, 3));
    add("CopyComp:4to3", copy_comp_job(3, 4));
    for (const uint32_t count : {1u, 3u}) {
        add("CopyViaBinaryUnpacked:" + std::to_string(count) + "x8", copy_via_binary_job(8, count));
        add("CopyViaBinaryUnpacked:" + std::to_string(count) + "x16",
            copy_via_binary_job(16, count));
    }
});

}  // namespace
}  // namespace qmpic::bench
