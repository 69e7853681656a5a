#include "PicMemAPI/grey_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support.h"

namespace qmpic::bench {
namespace {

#ifdef QMPIC_OPENCV
int peer_depth(uint32_t bits) { return bits == 8 ? CV_8U : CV_16U; }
#endif

enum Peer { kNone, kColour, kMerge, kTransform };

/// Pictures of two formats. `how`: the peer's call; `code`: its colour conversion, if it is one.
template <class Ours>
MakeJob job(uint32_t to, uint32_t from, uint32_t bits, [[maybe_unused]] Peer how,
            [[maybe_unused]] int code, Ours ours) {
    return [=](uint32_t edge) {
        const Picture d(kDestination, edge, to, bits), s(kFirst, edge, from, bits);
        Job job;
        job.bytes = d.size() + s.size();
        job.ours = [=] { ours(d, s); };
#ifdef QMPIC_OPENCV
        const cv::Mat out = d.mat(peer_depth(bits)), in = s.mat(peer_depth(bits));
        if (how == kColour) job.peer = [=] { cv::cvtColor(in, out, code); };
        if (how == kMerge) {
            const std::vector<cv::Mat> planes(to, in);
            job.peer = [=] { cv::merge(planes, out); };
        }
        if (how == kTransform) {
            const cv::Mat part(1, static_cast<int>(from), CV_32F, cv::Scalar(1.0 / from));
            job.peer = [=] { cv::transform(in, out, part); };
        }
#endif
        return job;
    };
}

#ifdef QMPIC_OPENCV
constexpr int kToThree = cv::COLOR_GRAY2BGR, kAdd = cv::COLOR_BGR2BGRA, kDrop = cv::COLOR_BGRA2BGR,
              kGreyOf3 = cv::COLOR_BGR2GRAY, kGreyOf4 = cv::COLOR_BGRA2GRAY;
#else
constexpr int kToThree = 0, kAdd = 0, kDrop = 0, kGreyOf3 = 0, kGreyOf4 = 0;
#endif

template <class Kernel>
auto plain(Kernel kernel) {
    return [=](const Picture& d, const Picture& s) {
        kernel.run(d.data, d.stride(), s.data, s.stride(), d.edge, d.pixels());
    };
}

const bool registered = add_family([] {
    for (const auto& kernel : kGreyToThree)
        add(kernel.name, job(3, 1, kernel.source.bits, kColour, kToThree, plain(kernel)));
    for (const auto& kernel : kGreyToFour)
        add(kernel.name, job(4, 1, kernel.source.bits, kMerge, 0, plain(kernel)));
    for (const auto& kernel : kDropFourth)
        add(kernel.name, job(3, 4, kernel.source.bits, kColour, kDrop, plain(kernel)));
    for (const auto& kernel : kAddFourth)
        add(kernel.name,
            job(4, 3, kernel.source.bits, kColour, kAdd, [=](const Picture& d, const Picture& s) {
                kernel.run(d.data, d.stride(), s.data, s.stride(), 255, d.edge, d.pixels());
            }));
    for (const auto& kernel : kReplicate)
        for (const uint32_t to : {1u, 2u, 4u, 5u, 16u})
            add(std::string(kernel.name) + ":" + std::to_string(to),
                job(to, 1, kernel.source.bits, to == 1 ? kNone : kMerge, 0,
                    [=](const Picture& d, const Picture& s) {
                        kernel.run(d.data, to, d.stride(), s.data, s.stride(), d.edge, d.pixels());
                    }));
    for (const bool weighted : {false, true}) {
        const double* const weights = weighted ? CQmPicMemAPI_Base::pdRGBOptWeights + 0 : nullptr;
        const std::string suffix = weighted ? ":weights" : ":mean";
        for (const auto& kernel : kGrey) {
            const uint32_t from = kernel.source.components;
            add(std::string(kernel.name) + suffix,
                job(1, from, kernel.source.bits, weighted ? kColour : kTransform,
                    from == 3 ? kGreyOf3 : kGreyOf4, [=](const Picture& d, const Picture& s) {
                        kernel.run(d.data, d.stride(), s.data, s.stride(), weights, d.edge,
                                   d.pixels());
                    }));
        }
        for (const auto& kernel : kGreyOfAny)
            for (const uint32_t from : {1u, 2u, 5u})
                add(std::string(kernel.name) + suffix + "_" + std::to_string(from),
                    job(1, from, kernel.source.bits, kTransform, 0,
                        [=](const Picture& d, const Picture& s) {
                            kernel.run(d.data, d.stride(), s.data, from, s.stride(),
                                       from > 3 ? nullptr : weights, d.edge, d.pixels());
                        }));
    }
});

}  // namespace
}  // namespace qmpic::bench
