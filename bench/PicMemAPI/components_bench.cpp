#include "PicMemAPI/components_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support.h"

namespace qmpic::bench {
namespace {

using Api = CQmPicMemAPI_Base;
using Call = std::function<void(const Picture& d, const Picture& s)>;

/// Memory comes in lines: reading one component is reading the pixels, and writing some among
/// others is reading and writing them.
void add(std::string_view name, uint32_t bits, uint32_t from, uint32_t to, const Call& ours,
         const Call& peer, bool rewrites = false) {
    bench::add(name, [=](uint32_t edge) {
        const Picture d(kDestination, edge, to, bits), s(kFirst, edge, from, bits);
        Job job;
        job.bytes = s.size() + d.size() * (rewrites ? 2 : 1);
        job.ours = [=] { ours(d, s); };
        if (peer) job.peer = [=] { peer(d, s); };
        return job;
    });
}

#ifdef QMPIC_OPENCV
cv::Mat mat(const Picture& p) {
    return p.mat(p.bytes == 1 ? CV_8U : p.bytes == 2 ? CV_16U : CV_32S);
}
#define PEER(...) [=](const Picture& d, const Picture& s) { __VA_ARGS__; }
#else
#define PEER(...) nullptr
#endif

const uint32_t kUp[] = {0, 1, 2, 3}, kDown[] = {2, 1, 0};

void add_lists() {
    for (const auto& k : kCopyComponents)
        add(
            k.name, k.source.bits, 3, 3,
            [=](const Picture& d, const Picture& s) {  // blue, green, red to red, green, blue
                k.run(d.data, 3, kDown, d.stride(), s.data, 3, kUp, s.stride(), s.edge,
                      static_cast<uint32_t>(s.pixels()), 3, true);
            },
            PEER(cv::Mat to = mat(d); const cv::Mat from = mat(s);
                 cv::mixChannels(&from, 1, &to, 1, std::vector<int>{0, 2, 1, 1, 2, 0}.data(), 3)));
    for (const auto& k : kCopyComponents)  // two of four to two of three
        add(
            std::string(k.name) + ":some", k.source.bits, 4, 3,
            [=](const Picture& d, const Picture& s) {
                k.run(d.data, 3, kDown, d.stride(), s.data, 4, kUp, s.stride(), s.edge,
                      static_cast<uint32_t>(s.pixels()), 2, true);
            },
            PEER(cv::Mat to = mat(d); const cv::Mat from = mat(s);
                 cv::mixChannels(&from, 1, &to, 1, std::vector<int>{0, 2, 1, 1}.data(), 2)),
            true);
    for (const auto& k : kCopyComponentsZeroRest)
        add(
            k.name, k.source.bits, 3, 4,
            [=](const Picture& d, const Picture& s) {
                k.run(d.data, 4, kUp, d.stride(), s.data, 3, kUp, s.stride(), s.edge,
                      static_cast<uint32_t>(s.pixels()), 3, true);
            },
            PEER(cv::Mat to = mat(d); const cv::Mat from = mat(s); cv::mixChannels(
                     &from, 1, &to, 1, std::vector<int>{0, 0, 1, 1, 2, 2, -1, 3}.data(), 4)));
    for (const auto& k : kMergeComponents)  // two of a picture of three, and one of one
        bench::add(k.name, [=](uint32_t edge) {
            const Picture d(kDestination, edge, 3, k.source.bits),
                s(kFirst, edge, 3, k.source.bits), one(kSecond, edge, 1, k.source.bits);
            Job job;
            job.bytes = s.size() + one.size() + d.size();
            job.ours = [=] {
                k.run(d.data, 3, kUp, kUp + 2, d.stride(), s.data, 3, kUp, 2, s.stride(), one.data,
                      1, kUp, 1, one.stride(), edge, static_cast<uint32_t>(s.pixels()));
            };
#ifdef QMPIC_OPENCV
            cv::Mat to = mat(d);
            const std::vector<cv::Mat> from{mat(s), mat(one)};
            job.peer = [=]() mutable {
                cv::mixChannels(from.data(), 2, &to, 1, std::vector<int>{0, 0, 1, 1, 3, 2}.data(),
                                3);
            };
#endif
            return job;
        });
}

const bool registered = add_family([] {
    // Component 1 of three into a picture of one: what a viewer does for each channel it shows.
    for (const auto& k : kCopyComponent)
        add(
            k.name, k.source.bits, 3, 1,
            [=](const Picture& d, const Picture& s) {
                k.run(d.data, 1, d.stride(), 0, s.data, 3, s.stride(), 1, s.edge, s.pixels());
            },
            PEER(cv::Mat to = mat(d); cv::extractChannel(mat(s), to, 1)));
    for (const uint32_t bits : {8u, 16u}) {
        const std::string layout = std::to_string(bits);
        add(
            "ExtractComponent_4x" + layout, bits, 4, 1,
            [=](const Picture& d, const Picture& s) {
                Api::ExtractComponent(d.data, d.stride(), s.data, 4, s.stride(), 1, bits, s.edge,
                                      s.pixels());
            },
            PEER(cv::Mat to = mat(d); cv::extractChannel(mat(s), to, 1)));
        add(
            "StoreComponent_3x" + layout, bits, 1, 3,
            [=](const Picture& d, const Picture& s) {
                Api::StoreComponent(d.data, 3, d.stride(), 1, s.data, s.stride(), bits, s.edge,
                                    s.pixels());
            },
            PEER(cv::Mat to = mat(d); cv::insertChannel(mat(s), to, 1)), true);
        add(
            "ExpandComponent_3x" + layout, bits, 1, 3,
            [=](const Picture& d, const Picture& s) {
                Api::ExpandComponent(d.data, 3, d.stride(), s.data, s.stride(), bits, s.edge,
                                     s.pixels());
            },
            PEER(cv::Mat to = mat(d); cv::cvtColor(mat(s), to, cv::COLOR_GRAY2BGR)));
        add(
            "ExtractComponentRange_4x" + layout, bits, 4, 2,
            [=](const Picture& d, const Picture& s) {
                const uint32_t first = bits / 8;  // components 1 and 2
                Api::ExtractComponentRange(d.data, d.stride(), 2, 0, s.data, 4, s.stride(), first,
                                           first + 1, bits, s.edge, s.pixels());
            },
            PEER(cv::Mat to = mat(d); const cv::Mat from = mat(s);
                 cv::mixChannels(&from, 1, &to, 1, std::vector<int>{1, 0, 2, 1}.data(), 2)));
    }
    add_lists();
});

#undef PEER

}  // namespace
}  // namespace qmpic::bench
