#include <memory>

#include "float/floats.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/Lut.h"
#include "support.h"

namespace qmpic::bench {
namespace {

using Api = CQmFloatPicMemAPI_Base;
using Ranges = std::vector<CQmRangeBase<float>>;

struct View {
    uint32_t components;
    std::vector<uint32_t> colours;  ///< one a component, red in the low byte; none: without a set
    double gamma = 1;
    int table = -1;
    bool measures = false;  ///< the extremes first, as an automatic view does
};

std::shared_ptr<SQmLut> set_of(const View& view) {
    auto lut = std::make_shared<SQmLut>();
    lut->ucComponents = static_cast<uint8_t>(view.components);
    lut->ucDstBpc = 8;
    lut->iPredefLut = view.table;
    lut->bParallel = true;
    lut->rmComponents = CQmRangeMask(view.components, 0, view.components - 1, 1);
    SQmLut::ReinitParametric(*lut);
    for (uint32_t c = 0; c < view.components; ++c) {
        SQmLut::SQmParam& p = lut->pParams[c];
        p.dOffset = -1, p.dGain = 1.1, p.dGamma = view.gamma;
        p.uiColor = view.colours[c % view.colours.size()];
    }
    return lut;
}

void add(const std::string& name, const View& view) {
    const std::string way = view.colours.empty() || view.measures
                                ? "ConvertToTrueColor_float_"
                                : "nonspect_render_NxFloat_3x8_float:";
    bench::add(way + name, [=](uint32_t edge) {
        const Picture d = picture(kDestination, edge, 3, 8),
                      s = picture(kFirst, edge, view.components);
        SQmLut::InitPredefLuts();
        const auto lut = view.colours.empty() ? nullptr : set_of(view);
        const Ranges given(view.components, {0.0f, 4000.0f});
        Job job;
        job.bytes = d.size() + s.size();
        job.ours = [=, ranges = given]() mutable {
            if (view.measures) {
                float low[8], high[8];
                Api::GetFloatMinMaxInComps(floats(s), s.stride(), view.components, s.edge,
                                           s.pixels(), low, high);
                for (uint32_t c = 0; c < view.components; ++c) ranges[c] = {low[c], high[c]};
            }
            Api::ConvertToTrueColor(d.data, d.stride(), floats(s), view.components, s.stride(),
                                    s.edge, s.pixels(), lut.get(), ranges);
        };
#ifdef QMPIC_OPENCV
        const cv::Mat to = d.mat(CV_8U), from = s.mat(CV_32F);
        if (lut == nullptr && view.components == 1)
            job.peer = [=, bytes = cv::Mat()]() mutable {
                from.convertTo(bytes, CV_8U, 255.0 / 4000);
                cv::cvtColor(bytes, to, cv::COLOR_GRAY2BGR);
            };
        if (lut == nullptr && view.components == 3)
            job.peer = [=] { from.convertTo(to, CV_8U, 255.0 / 4000); };
#endif
        return job;
    });
}

const bool registered = add_family([] {
    const std::vector<uint32_t> primary{0x0000FF, 0x00FF00, 0xFF0000, 0xFFFFFF},
        mixed{0x204080, 0x80FF10, 0xFF3300, 0x1020F0};
    add("grey", {1, {}});
    add("colour", {3, {}});
    add("white", {1, {0xFFFFFF}});
    add("red", {1, {0x0000FF}});
    add("channels_3", {3, primary});
    add("channels_4", {4, mixed});
    add("channels_8", {8, mixed});
    add("channels_3_gamma", {3, primary, 0.7});
    add("channels_3_table", {3, primary, 1, SQmLut::PredefLutRainbow});
    add("frame_3", {3, primary, 1, -1, true});
});

}  // namespace
}  // namespace qmpic::bench
