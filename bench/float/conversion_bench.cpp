#include "float/float_kernels.h"
#include "float/floats.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "support.h"

namespace qmpic::bench {
namespace {

using Api = CQmFloatPicMemAPI_Base;
using Call = std::function<void(const Picture& d, const Picture& s)>;

/// Pictures of floats have 32 bits.
struct Form {
    uint32_t components, bits;
};

void add(const std::string& name, Form to, Form from, const Call& ours,
         const Call& peer = nullptr) {
    bench::add(name, [=](uint32_t edge) {
        const Picture d = picture(kDestination, edge, to.components, to.bits),
                      s = picture(kFirst, edge, from.components, from.bits);
        Job job;
        job.bytes = d.size() + s.size();
        job.ours = [=] { ours(d, s); };
        if (peer) job.peer = [=] { peer(d, s); };
        return job;
    });
}

#define CALL(...)                                                                                  \
    [=]([[maybe_unused]] const Picture& d, [[maybe_unused]] const Picture& s) { __VA_ARGS__; }
#ifdef QMPIC_OPENCV
cv::Mat mat(const Picture& p) {
    return p.mat(p.bytes == 1 ? CV_8U : p.bytes == 2 ? CV_16U : CV_32F);
}
#define PEER(...) CALL([[maybe_unused]] cv::Mat to = mat(d); __VA_ARGS__)
#else
#define PEER(...) nullptr
#endif

constexpr Form floats_of(uint32_t components) { return {components, 32}; }

void add_conversions() {
    for (const uint32_t bits : {8u, 12u, 16u})
        add("float_ConvertFloatToPicture:to_" + std::to_string(bits), {1, bits == 8 ? 8u : 16u},
            floats_of(1),
            CALL(Api::ConvertFloatToPicture(d.data, bits, d.stride(), floats(s), 1, 4096, true,
                                            s.stride(), 1, s.edge, s.edge)),
            PEER(const double top = (1 << bits) - 1;
                 mat(s).convertTo(to, -1, top / 4095, -top / 4095)));
    add("float_ConvertFloatToPicture:to_24", floats_of(1), floats_of(1),
        CALL(Api::ConvertFloatToPicture(d.data, 24, d.stride(), floats(s), 1, 4096, true,
                                        s.stride(), 1, s.edge, s.edge)));
    for (const uint32_t bits : {8u, 16u})
        add("float_ConvertPictureToNormalizedFloat:from_" + std::to_string(bits), floats_of(1),
            {1, bits},
            CALL(Api::ConvertPictureToNormalizedFloat(floats(d), d.stride(), s.data, s.stride(),
                                                      bits, 1, s.edge, s.edge)),
            PEER(mat(s).convertTo(to, CV_32F, 1.0 / ((1 << bits) - 1))));
}

/// One component of n as floats, by the kernels for bytes or words.
void add_integer_component(uint32_t n, uint32_t bits, CopyToFloatComponentKernel* plain,
                           CopyToFloatComponentMinMaxKernel* with_extremes) {
    const std::string from = "copycomponent_Nx" + std::to_string(bits) + "_to_Nxfloat",
                      of = ":of_" + std::to_string(n);
    add(from + of, floats_of(1), {n, bits},
        CALL(plain(floats(d), 1, d.stride(), 0, s.data, n, s.stride(), n - 1, bits, s.edge,
                   s.pixels())),
        PEER(cv::Mat one; cv::extractChannel(mat(s), one, static_cast<int>(n) - 1);
             one.convertTo(to, CV_32F)));
    add(from + "_minmax" + of, floats_of(1), {n, bits},
        CALL(float min = 1e9f; float max = 0;
             with_extremes(floats(d), 1, d.stride(), 0, s.data, n, s.stride(), n - 1, bits, s.edge,
                           s.pixels(), &min, &max)),
        PEER(cv::Mat one; cv::extractChannel(mat(s), one, static_cast<int>(n) - 1);
             one.convertTo(to, CV_32F); double min; double max; cv::minMaxIdx(one, &min, &max)));
}

void add_components() {
    for (const uint32_t n : {1u, 3u, 4u}) {
        add_integer_component(n, 8, copycomponent_Nx8_to_Nxfloat,
                              copycomponent_Nx8_to_Nxfloat_minmax);
        add_integer_component(n, 16, copycomponent_Nx16_to_Nxfloat,
                              copycomponent_Nx16_to_Nxfloat_minmax);
    }
    add("float_StoreComponent:of_3", floats_of(3), floats_of(1),
        CALL(Api::StoreComponent(floats(d), 3, d.stride(), 1, floats(s), s.stride(), s.edge,
                                 s.pixels())),
        PEER(cv::insertChannel(mat(s), to, 1)));
    add("float_ExtractComponentRange:2_of_4", floats_of(2), floats_of(4),
        CALL(Api::ExtractComponentRange(floats(d), d.stride(), 2, 0, floats(s), 4, s.stride(), 1, 2,
                                        s.edge, s.pixels())),
        PEER(const cv::Mat from = mat(s); cv::mixChannels({from}, {to}, {1, 0, 2, 1})));
    add("float_ExpandComponent:to_3", floats_of(3), floats_of(1),
        CALL(Api::ExpandComponent(floats(d), 3, d.stride(), floats(s), s.stride(), s.edge,
                                  s.pixels())),
        PEER(cv::cvtColor(mat(s), to, cv::COLOR_GRAY2BGR)));
    static const double weights[] = {0.3, 0.6, 0.1, 0, 0, 0, 0, 0};
    for (const uint32_t n : {3u, 4u, 8u}) {
        const std::string of = ":of_" + std::to_string(n);
        add("float_CollapseComponents" + of, floats_of(1), floats_of(n),
            CALL(Api::CollapseComponents(floats(d), d.stride(), floats(s), n, s.stride(), nullptr,
                                         s.edge, s.pixels())),
            PEER(cv::transform(mat(s), to, cv::Mat(1, static_cast<int>(n), CV_32F, 0.3f))));
        add("float_CollapseComponents:weighted" + of, floats_of(1), floats_of(n),
            CALL(Api::CollapseComponents(floats(d), d.stride(), floats(s), n, s.stride(), weights,
                                         s.edge, s.pixels())),
            PEER(cv::transform(mat(s), to, cv::Mat(1, static_cast<int>(n), CV_32F, 0.3f))));
    }
}

/// Of a picture of three quarters of the destination's edge.
void add_padding() {
    add("float_ZeroPad", floats_of(1), floats_of(1),
        CALL(const uint32_t n = d.edge / 4 * 3;
             Api::ZeroPad(floats(d), d.edge, d.edge, floats(s), n, n, 1)),
        PEER(const int n = static_cast<int>(d.edge) / 4 * 3; const int m = n / 6;
             cv::copyMakeBorder(cv::Mat(n, n, CV_32F, s.data), to, m, m, m, m,
                                cv::BORDER_CONSTANT)));
    add("float_TilePad", floats_of(1), floats_of(1),
        CALL(const uint32_t n = d.edge / 4 * 3;
             Api::TilePad(floats(d), d.edge, d.edge, floats(s), n, n, 1)),
        PEER(const int n = static_cast<int>(d.edge) / 4 * 3; const int m = n / 6;
             cv::copyMakeBorder(cv::Mat(n, n, CV_32F, s.data), to, m, m, m, m, cv::BORDER_WRAP)));
}

void add_layout() {
    // A quarter of the picture, from its middle and to it.
    add("cutfloatpic_to_floatpic", floats_of(1), floats_of(1),
        CALL(const uint32_t n = d.edge / 2;
             cutfloatpic_to_floatpic(floats(d), n, n, floats(s), s.edge, s.edge, n / 2, n / 2, 1)),
        PEER(const int n = static_cast<int>(d.edge) / 2;
             mat(s)(cv::Rect(n / 2, n / 2, n, n)).copyTo(cv::Mat(n, n, CV_32F, d.data))));
    add("joinfloatpic_to_floatpic", floats_of(1), floats_of(1),
        CALL(const uint32_t n = d.edge / 2;
             joinfloatpic_to_floatpic(floats(d), d.edge, d.edge, floats(s), n, n, n / 2, n / 2, 1)),
        PEER(const int n = static_cast<int>(d.edge) / 2;
             cv::Mat(n, n, CV_32F, s.data).copyTo(to(cv::Rect(n / 2, n / 2, n, n)))));
    add("joinfloatpic_to_floatpic_ex", floats_of(1), floats_of(1),
        CALL(const uint32_t n = d.edge / 2; joinfloatpic_to_floatpic_ex(
                 floats(d), d.edge, d.edge, floats(s), s.edge, s.edge, 1, n, n, 1, n, n, 1)),
        PEER(const int n = static_cast<int>(d.edge) / 2;
             mat(s)(cv::Rect(n, 1, n, n - 1)).copyTo(to(cv::Rect(1, n, n, n - 1)))));
    add("float_FlipCross", floats_of(1), floats_of(1),
        CALL(Api::FlipCross(floats(d), floats(s), 1, 0, d.edge, d.edge)),
        PEER(const int n = static_cast<int>(d.edge) / 2; const cv::Mat from = mat(s);
             for (const int x
                  : {0, n}) for (const int y
                                 : {0, n}) from(cv::Rect(x, y, n, n))
                 .copyTo(to(cv::Rect(n - x, n - y, n, n)))));
    for (const uint32_t n : {1u, 3u})
        add("float_FlipHor:of_" + std::to_string(n), floats_of(n), floats_of(n),
            CALL(Api::FlipHor(floats(d), floats(s), 32, n, d.stride(), d.edge, d.edge)),
            PEER(cv::flip(mat(s), to, 1)));
    add("float_FlipVert", floats_of(1), floats_of(1),
        CALL(Api::FlipVert(floats(d), d.stride(), floats(s), s.stride(), d.edge, d.pixels())),
        PEER(cv::flip(mat(s), to, 0)));
}

const bool registered = add_family([] {
    add_conversions();
    add_components();
    add_padding();
    add_layout();
});

}  // namespace
}  // namespace qmpic::bench
