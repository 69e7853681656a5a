#include "qmpic/PicMemAPI_Base.h"
#include "support.h"

namespace qmpic::bench {
namespace {

using Api = CQmPicMemAPI_Base;
using Call = std::function<void(const Picture& d, const Picture& s)>;

void add(const std::string& name, uint32_t components, uint32_t bits, const Call& ours,
         const Call& peer) {
    bench::add(name + '_' + std::to_string(components) + 'x' + std::to_string(bits),
               [=](uint32_t edge) {
                   const Picture d(kDestination, edge, components, bits),
                       s(kFirst, edge, components, bits);
                   Job job;
                   job.bytes = d.size() + s.size();
                   job.ours = [=] { ours(d, s); };
                   if (peer) job.peer = [=] { peer(d, s); };
                   return job;
               });
}

#ifdef QMPIC_OPENCV
cv::Mat mat(const Picture& p) { return p.mat(p.bytes == 1 ? CV_8U : CV_16U); }
#define PEER(...) [=](const Picture& d, [[maybe_unused]] const Picture& s) { __VA_ARGS__; }
#else
#define PEER(...) nullptr
#endif

void add_layout(uint32_t components, uint32_t bits) {
    add(
        "FlipHor", components, bits,
        [=](const Picture& d, const Picture& s) {
            Api::FlipHor(d.data, s.data, bits, components, s.stride(), s.edge, s.edge);
        },
        PEER(cv::Mat to = mat(d); cv::flip(mat(s), to, 1)));
    add(
        "FlipHor_in_place", components, bits,
        [=](const Picture& d, const Picture&) {
            Api::FlipHor(d.data, d.data, bits, components, d.stride(), d.edge, d.edge);
        },
        PEER(cv::Mat to = mat(d); cv::flip(to, to, 1)));
    add(
        "FlipVert", components, bits,
        [=](const Picture& d, const Picture& s) {
            Api::FlipVert(d.data, d.stride(), s.data, s.stride(), s.edge, s.pixels());
        },
        PEER(cv::Mat to = mat(d); cv::flip(mat(s), to, 0)));
    add(
        "FlipVert_in_place", components, bits,
        [=](const Picture& d, const Picture&) {
            Api::FlipVert(d.data, d.stride(), d.edge, d.pixels());
        },
        PEER(cv::Mat to = mat(d); cv::flip(to, to, 0)));
    if (components >= 3)
        add(
            "ConvertBGRtoRGB", components, bits,
            [=](const Picture& d, const Picture&) {
                Api::ConvertBGRtoRGB(d.data, components, bits, d.stride(), d.edge, d.edge);
            },
            PEER(cv::Mat to = mat(d);
                 cv::cvtColor(to, to, components == 3 ? cv::COLOR_BGR2RGB : cv::COLOR_BGRA2RGBA)));
}

const bool registered = add_family([] {
    for (const uint32_t bits : {8u, 16u})
        for (const uint32_t components : {1u, 3u, 4u}) add_layout(components, bits);
    for (const uint32_t bits : {8u, 16u})
        bench::add("FlipVertExtractComp_3x" + std::to_string(bits), [=](uint32_t edge) {
            const Picture d(kDestination, edge, 1, bits), s(kFirst, edge, 3, bits);
            Job job;
            job.bytes = d.size() + s.size();
            job.ours = [=] {
                Api::FlipVertExtractComp(1, d.data, d.stride(), s.data, s.stride(), 3, bits, edge,
                                         s.pixels());
            };
            return job;
        });
});

#undef PEER

}  // namespace
}  // namespace qmpic::bench
