#include <cmath>
#include <vector>

#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/kernels/stretch.h"
#include "support.h"

namespace qmpic::bench {
namespace {

using Api = CQmPicMemAPI_Base;

/// A whole picture to a screen: what it is called, and its size where the picture is 2048 wide.
struct Screen {
    const char* name;
    uint32_t width, height;
};
constexpr Screen kReduced{"to_1000x1000", 1000, 1000}, kWide{"to_1920x1080", 1920, 1080},
    kFifth{"to_400x400", 400, 400}, kTwentieth{"to_100x100", 100, 100};

uint32_t scaled(uint32_t size, uint32_t edge) {
    const uint32_t value = static_cast<uint32_t>(uint64_t{size} * edge / 2048);
    return value != 0 ? value : 1;
}

enum Depth : uint32_t { kByte = 8, kWord = 16, kFloat = 32 };

int stretch(const Picture& d, uint32_t width, uint32_t height, const Picture& s,
            Api::EQmPicStretchMode mode) {
    const uint32_t stride = width * s.components * s.bytes;
    if (s.bytes == 4)
        return CQmFloatPicMemAPI_Base::StretchDisplay(
            reinterpret_cast<float*>(d.data), width, height, s.components, stride, 32, width,
            height, 0, 0, reinterpret_cast<const float*>(s.data), s.edge, s.edge, s.stride(), mode,
            false, false);
    return Api::StretchDisplay(d.data, width, height, s.components, stride, s.bytes * 8, width,
                               height, 0, 0, s.data, s.edge, s.edge, s.stride(), mode, false,
                               false);
}

void add_quick(uint32_t components, Depth depth, Screen screen) {
    bench::add(
        "Quick_" + std::to_string(components) + 'x' + std::to_string(depth) + ':' + screen.name,
        [=](uint32_t edge) {
            const uint32_t width = scaled(screen.width, edge), height = scaled(screen.height, edge);
            const Picture s(kFirst, edge, components, depth),
                d(kDestination, edge, components, depth);
            const uint64_t pixel = uint64_t{components} * depth / 8;
            // Memory is read by lines of 64 bytes.
            const uint64_t row = std::min<uint64_t>(s.stride(), 64 * uint64_t{width});
            Job job;
            job.bytes = (row + width * pixel) * height;
            job.ours = [=] { stretch(d, width, height, s, Api::StretchQuick); };
#ifdef QMPIC_OPENCV
            job.peer = [=] {
                const int type = depth == kByte ? CV_8U : depth == kWord ? CV_16U : CV_32F;
                cv::Mat to(static_cast<int>(height), static_cast<int>(width),
                           CV_MAKETYPE(type, static_cast<int>(components)), d.data);
                cv::resize(s.mat(type), to, to.size(), 0, 0, cv::INTER_NEAREST);
            };
#endif
            return job;
        });
}

/// A quarter of the edge to all of it: the picture twice and a bit as large.
void add_enlargement(uint32_t components, Depth depth, double factor, const char* name) {
    bench::add("Quick_" + std::to_string(components) + 'x' + std::to_string(depth) + ':' + name,
               [=](uint32_t edge) {
                   const auto from = static_cast<uint32_t>(edge / factor);
                   const Picture s(kFirst, from, components, depth),
                       d(kDestination, edge, components, depth);
                   Job job;
                   job.bytes = s.size() + d.size();
                   job.ours = [=] { stretch(d, edge, edge, s, Api::StretchQuick); };
#ifdef QMPIC_OPENCV
                   job.peer = [=] {
                       const int type = depth == kByte ? CV_8U : depth == kWord ? CV_16U : CV_32F;
                       cv::Mat to = d.mat(type);
                       cv::resize(s.mat(type), to, to.size(), 0, 0, cv::INTER_NEAREST);
                   };
#endif
                   return job;
               });
}

/// Blocks are for a million pixels and more: smaller pictures are a thousand wide.
void add_blocks(uint32_t components, Depth depth, Screen screen) {
    bench::add(
        "Blocks_" + std::to_string(components) + 'x' + std::to_string(depth) + ':' + screen.name,
        [=](uint32_t edge) {
            edge = edge < 1000 ? 1000 : edge;
            const uint32_t width = scaled(screen.width, edge), height = scaled(screen.height, edge);
            const Picture s(kFirst, edge, components, depth),
                d(kDestination, edge, components, depth);
            Job job;
            job.bytes = s.size() + uint64_t{width} * height * components * depth / 8;
            job.ours = [=] { stretch(d, width, height, s, Api::StretchLinear); };
#ifdef QMPIC_OPENCV
            job.peer = [=] {
                const int type = depth == kByte ? CV_8U : CV_16U;
                cv::Mat to(static_cast<int>(height), static_cast<int>(width),
                           CV_MAKETYPE(type, static_cast<int>(components)), d.data);
                cv::resize(s.mat(type), to, to.size(), 0, 0, cv::INTER_AREA);
            };
#endif
            return job;
        });
}

/// Bits to so many percent of their columns and rows.
void add_bits(const char* name, uint32_t percent) {
    const auto add = [=](const std::string& kernel, auto run) {
        bench::add(kernel + ':' + name, [=](uint32_t edge) {
            const uint32_t from = percent > 100 ? edge * 100 / percent : edge,
                           to = percent > 100 ? edge : edge * percent / 100;
            const uint32_t from_bytes = (from + 7) / 8, to_bytes = (to + 7) / 8;
            const Picture s(kFirst, edge, 1, 8), d(kDestination, edge, 1, 8);
            Job job;
            job.bytes = uint64_t{from_bytes} * from + uint64_t{to_bytes} * to;
            job.ours = [=] { run(d.data, to, to_bytes, s.data, from, from_bytes); };
            return job;
        });
    };
    add("stretch_quick_binary", [](void* d, uint32_t to, uint32_t to_bytes, const void* s,
                                   uint32_t from, uint32_t from_bytes) {
        stretch_quick_binary(d, to_bytes, to, to, s, from_bytes, from, 0, 0, from, from);
    });
    add("stretch_quick_binary_display", [](void* d, uint32_t to, uint32_t to_bytes, const void* s,
                                           uint32_t from, uint32_t from_bytes) {
        stretch_quick_binary_display(d, to, to, to_bytes, to, to, 0, 0, s, from, from, from_bytes,
                                     false, false);
    });
}

/// Floats of one component; `run` makes `to` columns and `rows` rows of a square.
template <class Run>
void add_floats(const char* name, Run run) {
    bench::add(name, [=](uint32_t edge) {
        const Picture s(kFirst, edge, 1, 32), d(kDestination, edge, 1, 32);
        const uint32_t to = scaled(1000, edge);
        Job job;
        job.bytes = s.size() + uint64_t{to} * to * 4;
        job.ours = [=] {
            run(reinterpret_cast<float*>(d.data), to, reinterpret_cast<const float*>(s.data), edge);
        };
        return job;
    });
}

const bool registered = add_family([] {
    for (const uint32_t components : {1u, 3u, 2u})
        for (const Depth depth : {kByte, kWord, kFloat}) {
            add_quick(components, depth, kReduced);
            add_quick(components, depth, kWide);
            add_enlargement(components, depth, 2.5, "enlarged_2.5");
            add_enlargement(components, depth, 8, "enlarged_8");
        }
    for (const uint32_t components : {1u, 3u, 2u})
        for (const Depth depth : {kByte, kWord})
            for (const Screen screen : {kReduced, kFifth, kTwentieth})
                add_blocks(components, depth, screen);
    add_bits("to_49%", 49);
    add_bits("to_250%", 250);
    add_floats("Stretch_WithValidity", [](float* d, uint32_t to, const float* s, uint32_t edge) {
        CQmFloatPicMemAPI_Base::Stretch_WithValidity(d, 1, to * 4, to, to, s, edge * 4, edge, edge,
                                                     0, 0, edge, edge, Api::StretchLinear);
    });
    add_floats("stretch_float_quick_1", [](float* d, uint32_t to, const float* s, uint32_t edge) {
        stretch_float_quick_1(d, 1, to * 4, to, to, s, edge * 4, edge, edge, 0, 0, edge, edge);
    });
    add_floats("stretch_float_generic_horz_1_validity",
               [](float* d, uint32_t to, const float* s, uint32_t edge) {
                   stretch_float_generic_horz_1_validity(d, 1, to * 4, to, edge, s, edge * 4, edge,
                                                         0, edge, Api::StretchLinear);
               });
    add_floats("stretch_float_generic_vert_1_validity",
               [](float* d, uint32_t to, const float* s, uint32_t edge) {
                   stretch_float_generic_vert_1_validity(d, 1, edge * 4, edge, to, s, edge * 4, 0,
                                                         edge, 0, Api::StretchLinear);
               });
});

}  // namespace
}  // namespace qmpic::bench
