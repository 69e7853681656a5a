#include <memory>
#include <string>

#include "qmpic/Lut.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support.h"

namespace qmpic::bench {
namespace {

// The frame of a display by each way. The kernels are measured in their families; this is what a
// viewer waits for.

std::shared_ptr<SQmLut> ramps(uint32_t bits, uint32_t tables) {
    auto lut = std::make_shared<SQmLut>();
    SQmLut::Alloc(*lut, static_cast<uint8_t>(bits), static_cast<uint8_t>(tables), 8, 3);
    for (uint32_t t = 0; t < tables; ++t)
        for (uint32_t v = 0; v < 1u << bits; ++v) {
            uint8_t* const row = tables > 1 ? static_cast<uint8_t***>(lut->pLuts)[t][v]
                                            : static_cast<uint8_t**>(lut->pLuts)[v];
            row[t % 3] = static_cast<uint8_t>(v >> (bits - 8));
        }
    return lut;
}

/// `tables` of 0: without a set. `selected` of 0: all.
MakeJob job(uint32_t components, uint32_t bits, uint32_t tables, uint64_t selected = 0) {
    return [=](uint32_t edge) {
        const Picture d(kDestination, edge, 3, 8), s(kFirst, edge, components, bits);
        const auto lut = tables != 0 ? ramps(bits, tables) : nullptr;
        if (selected != 0) lut->rmComponents.SetMask(selected);
        Job job;
        job.bytes = d.size() + s.size();
        job.ours = [=] {
            CQmPicMemAPI_Base::ConvertToTrueColor(d.data, d.stride(), s.data, components, bits,
                                                  s.stride(), edge, d.pixels(), lut.get());
        };
#ifdef QMPIC_OPENCV
        const cv::Mat to = d.mat(CV_8U), from = s.mat(bits == 8 ? CV_8U : CV_16U);
        if (tables == 0 && components == 1 && bits == 8)
            job.peer = [=] { cv::cvtColor(from, to, cv::COLOR_GRAY2BGR); };
        if (tables == 0 && components == 1 && bits == 16)
            job.peer = [=, bytes = cv::Mat()]() mutable {
                from.convertTo(bytes, CV_8U, 1.0 / 256);
                cv::cvtColor(bytes, to, cv::COLOR_GRAY2BGR);
            };
        if (tables == 0 && components == 3 && bits == 16)
            job.peer = [=] { from.convertTo(to, CV_8U, 1.0 / 256); };
#endif
        return job;
    };
}

const bool registered = add_family([] {
    for (const uint32_t bits : {8u, 16u}) {
        const auto name = [=](const char* way) {
            return "ConvertToTrueColor_" + std::string(way) + "_x" + std::to_string(bits);
        };
        add(name("grey"), job(1, bits, 0));
        add(name("colour"), job(3, bits, 0));
        add(name("table"), job(1, bits, 1));
        add(name("one_of_3"), job(3, bits, 3, 2));
        add(name("channels_2"), job(2, bits, 2));
        add(name("channels_3"), job(3, bits, 3));
        add(name("channels_2_of_3"), job(3, bits, 3, 5));
        add(name("channels_7"), job(7, bits, 7));
    }
});

}  // namespace
}  // namespace qmpic::bench
