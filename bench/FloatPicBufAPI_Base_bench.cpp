#include <cfloat>

#include "qmpic/FloatPicBuf.h"
#include "support.h"

namespace qmpic::bench {
namespace {

/// Floats of 0 to 255, a mask of blobs of some pixels.
struct Masked {
    SQmFloatPicBuf picture;
    SQmPicBuf mask;
    Masked(uint32_t edge, uint32_t components, bool selects) {
        static std::vector<float> floats(size_t{2048} * 2048 * 5);
        static std::vector<uint8_t> bytes[2]{std::vector<uint8_t>(size_t{2048} * 2048), {}};
        if (bytes[1].empty()) {
            for (size_t i = 0; i < floats.size(); ++i)
                floats[i] = static_cast<float>((i * 37 + i / 251) % 256);
            bytes[1] = bytes[0];
            uint32_t state = 1;
            for (size_t i = 0; i < bytes[1].size(); ++i) {
                if (i % 16 == 0) state = state * 1664525 + 1013904223;
                bytes[1][i] = state >> 31 ? 255 : 0;
            }
        }
        const uint32_t stride = edge * components * 4;
        picture = {16,      edge,    edge,         stride, 32, components, uint64_t{stride} * edge,
                   nullptr, nullptr, floats.data()};
        mask = {edge, edge, edge, 8, 1, uint64_t{edge} * edge, bytes[selects].data()};
    }
};

/// What a caller would write.
void plain(const Masked& m, float* low, float* high) {
    const SQmFloatPicBuf& p = m.picture;
    for (uint32_t c = 0; c < p.uiComponents; ++c) low[c] = FLT_MAX, high[c] = -FLT_MAX;
    const float* s = p.pfData;
    const auto* byte = static_cast<const uint8_t*>(m.mask.pData);
    for (uint64_t i = 0; i < uint64_t{p.uiWidth} * p.uiHeight; ++i, s += p.uiComponents) {
        if (byte[i] == 0) continue;
        for (uint32_t c = 0; c < p.uiComponents; ++c) {
            if (s[c] < low[c]) low[c] = s[c];
            if (s[c] > high[c]) high[c] = s[c];
        }
    }
}

enum Mask { kBlobs, kNothing };

void add(uint32_t components, Mask by, const char* variant) {
    const auto make = [=](bool opencv) {
        return [=](uint32_t edge) {
            const Masked m(edge, components, by == kBlobs);
            Job job;
            job.bytes = m.picture.ui64Size * (by != kNothing) + m.mask.ui64Size;
            job.ours = [=] {
                float low[8], high[8];
                SQmFloatPicBufAPI_Base::GetFloatMinMax(&m.picture, low, high, &m.mask, false);
                benchmark::DoNotOptimize(low);
                benchmark::DoNotOptimize(high);
            };
            job.peer_name = "plain";
            job.peer = [=] {
                float low[8], high[8];
                plain(m, low, high);
                benchmark::DoNotOptimize(low);
                benchmark::DoNotOptimize(high);
            };
#ifdef QMPIC_OPENCV
            const int rows = static_cast<int>(edge);
            const cv::Mat picture(rows, rows, CV_32FC1, m.picture.pfData),
                mask(rows, rows, CV_8UC1, m.mask.pData);
            if (opencv) {
                job.peer_name = "opencv";
                job.peer = [=] {
                    double low, high;
                    cv::minMaxIdx(picture, &low, &high, nullptr, nullptr, mask);
                    benchmark::DoNotOptimize(low);
                };
            }
#endif
            return job;
        };
    };
    const std::string name =
        "SQmFloatPicBufAPI_Base::GetFloatMinMax:of_" + std::to_string(components) + "_" + variant;
    bench::add(name, make(false));
#ifdef QMPIC_OPENCV
    if (components == 1) bench::add(name + "_beside_opencv", make(true));
#endif
}

const bool registered = add_family([] {
    for (const uint32_t components : {1u, 2u, 3u, 4u, 5u}) {
        add(components, kBlobs, "masked");
        add(components, kNothing, "nothing");
    }
    bench::add("SQmFloatPicBufAPI_Base::SetValue", [](uint32_t edge) {
        const Picture d(kDestination, edge, 1, 32);
        SQmFloatPicBuf picture{0, edge,     edge,    d.stride(), 32,
                               1, d.size(), nullptr, nullptr,    reinterpret_cast<float*>(d.data)};
        Job job;
        job.bytes = d.size();
        job.ours = [=]() mutable { SQmFloatPicBufAPI_Base::SetValue(&picture, 1.5f); };
#ifdef QMPIC_OPENCV
        cv::Mat into = d.mat(CV_32F);
        job.peer = [=]() mutable { into.setTo(1.5f); };
#endif
        return job;
    });
});

}  // namespace
}  // namespace qmpic::bench
