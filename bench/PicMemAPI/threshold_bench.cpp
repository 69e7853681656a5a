#include "PicMemAPI/threshold_kernels.h"
#include "support.h"

namespace qmpic::bench {
namespace {

/// What is in a picture may matter to a loop that leaves a pixel early.
enum Content { kGradual, kRandom, kConstant };

Picture picture(Content content, uint32_t edge, uint32_t components, uint32_t bits) {
    Picture result(kFirst, edge, components, bits);
    static std::vector<uint8_t> memory[3];
    auto& bytes = memory[content];
    if (content == kGradual) return result;
    if (bytes.empty()) {
        bytes.resize(size_t{2048} * 2048 * 8, 100);
        uint32_t state = 1;
        if (content == kRandom)
            for (uint8_t& byte : bytes)
                byte = static_cast<uint8_t>((state = state * 1664525 + 1013904223) >> 24);
    }
    result.data = bytes.data();
    return result;
}

/// Half of all values are in it.
constexpr uint16_t kLow[5] = {0x4040, 0x4040, 0x4040, 0x4040, 0x4040},
                   kHigh[5] = {0xBFBF, 0xBFBF, 0xBFBF, 0xBFBF, 0xBFBF};

using Call = std::function<void(const Picture& mask, const Picture& s)>;

void add_mask(const std::string& name, Content content, uint32_t components, uint32_t bits,
              const Call& ours) {
    add(name, [=](uint32_t edge) {
        const Picture mask(kDestination, edge, 1, 8), s = picture(content, edge, components, bits);
        Job job;
        job.bytes = s.size() + s.pixels() / 8;
        job.ours = [=] { ours(mask, s); };
#ifdef QMPIC_OPENCV
        if (components <= 4) {  // a byte a pixel
            const cv::Mat in = s.mat(bits == 8 ? CV_8U : CV_16U);
            cv::Mat out = mask.mat(CV_8U);
            const double low = bits == 8 ? 0x40 : 0x4040, high = bits == 8 ? 0xBF : 0xBFBF;
            job.peer = [=]() mutable {
                cv::inRange(in, cv::Scalar::all(low), cv::Scalar::all(high), out);
            };
        }
#endif
        return job;
    });
}

void add_all_contents(std::string_view name, uint32_t components, uint32_t bits, const Call& ours) {
    add_mask(std::string(name), kGradual, components, bits, ours);
    add_mask(std::string(name) + ":random", kRandom, components, bits, ours);
    add_mask(std::string(name) + ":constant", kConstant, components, bits, ours);
}

template <class List>
void add_painting(const List& list) {
    for (const auto& k : list)
        add(k.name, [=](uint32_t edge) {
            const Picture d(kDestination, edge, 1, k.destination.bits),
                s(kFirst, edge, 1, k.source.bits);
            const uint32_t low = k.source.bits == 8 ? 0x40 : 0x4040,
                           high = k.source.bits == 8 ? 0xBF : 0xBFBF;
            Job job;
            job.bytes = 2 * d.size() + s.size();
            job.ours = [=] {
                k.run(d.data, d.stride(), s.data, s.stride(), low, high, true, 255, s.edge,
                      s.pixels());
            };
#ifdef QMPIC_OPENCV
            const cv::Mat in = s.mat(k.source.bits == 8 ? CV_8U : CV_16U);
            cv::Mat out = d.mat(k.destination.bits == 8 ? CV_8U : CV_16U), chosen;
            job.peer = [=]() mutable {
                cv::inRange(in, cv::Scalar(low), cv::Scalar(high), chosen);
                out.setTo(cv::Scalar(255), chosen);
            };
#endif
            return job;
        });
}

const bool registered = add_family([] {
    add_painting(kThresholdToBytes);
    add_painting(kThresholdToWords);
    for (const auto& k : kThresholdToBin)
        add_all_contents(k.name, k.source.components, k.source.bits,
                         [=](const Picture& mask, const Picture& s) {
                             k.run(mask.data, 0, s.edge / 8, s.data, s.stride(), kLow, kHigh, true,
                                   s.edge, s.pixels(), 0, nullptr);
                         });
    for (const auto& k : kThresholdToBinOfAny)
        for (const uint32_t components : {kAnyCount, 5u})
            add_all_contents(std::string(k.name) + (components == 5 ? ":of_5" : ""), components,
                             k.source.bits, [=](const Picture& mask, const Picture& s) {
                                 k.run(mask.data, 0, s.edge / 8, s.data, components, s.stride(),
                                       kLow, kHigh, true, s.edge, s.pixels(), 0, nullptr);
                             });
});

}  // namespace
}  // namespace qmpic::bench
