#include <atomic>
#include <memory>

#include "histogram/contents.h"
#include "qmpic/FloatPicBuf.h"
#include "qmpic/Histo.h"
#include "qmpic/PicBuf.h"
#include "support.h"

namespace qmpic::bench {
namespace {

SQmPicBuf record_of(const Picture& picture, uint32_t bpc) {
    return {picture.edge,       picture.edge,   picture.stride(), static_cast<uint8_t>(bpc),
            picture.components, picture.size(), picture.data};
}

struct Release {
    void operator()(SQmHisto* histo) const {
        CQmHistoAPI_Base::Free(histo);
        delete histo;
    }
};
using Histo = std::shared_ptr<SQmHisto>;

Histo histo_of(const SQmPicBufDesc& desc) {
    Histo histo(new SQmHisto, Release{});
    CQmHistoAPI_Base::Init(histo.get());
    CQmHistoAPI_Base::Reinit32(histo.get(), &desc);
    return histo;
}

void add_integers(const char* name, Format f, Content kind) {
    add(std::string("Calculate:") + name + "_" + kNames[kind], [=](uint32_t edge) {
        const Picture s = picture_of(f, kind, edge);
        const SQmPicBuf record = record_of(s, f.bpc);
        SQmPicBufDesc desc;
        SQmPicBufAPI_Base::GetDesc(edge, edge, f.bpc, f.components, desc);
        Job job;
        job.bytes = s.size();
        job.ours = [=, histo = histo_of(desc)] {
            CQmHistoAPI_Base::Calculate(histo.get(), &record, true);
        };
#ifdef QMPIC_OPENCV
        const cv::Mat picture = s.mat(f.bits == 8 ? CV_8U : CV_16U);
        if (f.components == 1)
            job.peer = [=] { peer_histogram(picture, 1u << f.bpc); };
        else
            job.peer = [=] { peer_histograms(picture, 1u << f.bpc, true); };
#endif
        return job;
    });
}

/// The plain loop, with the limits that the picture has.
void count_plainly(const SQmFloatPicBuf& picture, SQmHisto& histo) {
    CQmHistoAPI_Base::ResetToZero(&histo);
    const uint32_t n = picture.uiComponents;
    const uint32_t bins = 1u << histo.uiBits;
    const auto last = static_cast<float>(bins - 1);
    const float *const min = picture.pfMinComp, *const max = picture.pfMaxComp;
    float least = min[0], greatest = max[0];
    for (uint32_t c = 1; c < n; ++c) {
        least = std::min(least, min[c]);
        greatest = std::max(greatest, max[c]);
    }
    const auto bump = [=](void* block, float value, float low, float high) {
        const float scaled = (value - low) / (high - low) * last;
        const auto bin = static_cast<uint32_t>(static_cast<int64_t>(scaled));
        if (bin < bins) ++static_cast<uint32_t*>(block)[bin];
    };
    for (uint64_t i = 0; i < uint64_t{picture.uiWidth} * picture.uiHeight; ++i) {
        float sum = 0;
        for (uint32_t c = 0; c < n; ++c) {
            const float value = picture.pfData[i * n + c];
            bump(histo.ppCompData[c], value, min[c], max[c]);
            sum += value;
        }
        if (n > 1) bump(histo.pData, sum / static_cast<float>(n), least, greatest);
    }
}

void add_floats(const char* name, Format f, uint32_t bits, Content kind) {
    add(std::string("Calculate:") + name + "_" + kNames[kind], [=](uint32_t edge) {
        Picture s(kFirst, edge, f.components, 32);
        const uint8_t* const integers = content(f, kind);
        static std::vector<float> memory;
        memory.resize(std::max(memory.size(), size_t{edge} * edge * f.components));
        for (size_t i = 0; i < size_t{edge} * edge * f.components; ++i) {
            uint16_t value;
            std::memcpy(&value, integers + 2 * i, 2);
            memory[i] = static_cast<float>(value) / 3;
        }
        static std::vector<float> min, max;
        min.assign(f.components, 0);
        max.assign(f.components, 65535 / 3.0f / (f.bpc == 16 ? 1 : 16));
        SQmFloatPicBuf record;
        SQmFloatPicBufAPI_Base::Init(&record);
        record.uiWidth = record.uiHeight = edge;
        record.uiWidthBytes = s.stride();
        record.uiComponents = f.components;
        record.pfData = memory.data();
        record.pfMinComp = min.data();
        record.pfMaxComp = max.data();
        SQmPicBufDesc desc;
        SQmPicBufAPI_Base::GetDesc(edge, edge, bits, f.components, desc);
        const Histo histo = histo_of(desc);
        Job job;
        job.bytes = s.size();
        job.ours = [=]() mutable { CQmHistoAPI_Base::Calculate(histo.get(), &record, true); };
        job.peer = [=] { count_plainly(record, *histo); };
        job.peer_name = "plainly";
        return job;
    });
}

/// The plain loop with a division a sample, and additions as atomic as ours.
void count_plainly(const SQmPicBuf& picture, std::vector<int>& bins, uint32_t step) {
    const auto* const samples = static_cast<const uint16_t*>(picture.pData);
    const int last = static_cast<int>(bins.size()) - 1, top = (1 << picture.uiBpc) - 1;
    for (uint32_t y = 0; y < picture.uiHeight; y += step)
        for (uint32_t x = 0; x < picture.uiWidth; x += step) {
            const int value = samples[size_t{y} * picture.uiWidth + x];
            std::atomic_ref<int>(bins[static_cast<size_t>(value * last / top)])
                .fetch_add(1, std::memory_order_relaxed);
        }
}

/// 256 bins of 12 bits: of all pixels, or of a sixteenth of them.
void add_sampled(const char* name, uint32_t step, Content kind) {
    add(std::string("CalculateHistogram:") + name + "_" + kNames[kind], [=](uint32_t edge) {
        const Picture s = picture_of({1, 16, 12}, kind, edge);
        static std::vector<int> bins;
        bins.assign(256, 0);
        Job job;
        job.bytes = s.size() / step / step;
        SQmPicBuf record = record_of(s, 12);
        const int samples = step == 1 ? 0 : static_cast<int>(s.pixels() / step / step);
        job.ours = [=]() mutable {
            SQmPicBufAPI_Base::CalculateHistogram(bins.data(), 256, record, 0, samples, nullptr,
                                                  nullptr);
        };
        job.peer = [=] { count_plainly(record, bins, step); };
        job.peer_name = "plainly";
        return job;
    });
}

const bool registered = add_family([] {
    for (const Content kind : {kReal, kRandom, kConstant}) {
        add_integers("1x8", {1, 8, 8}, kind);
        add_integers("1x12", {1, 16, 12}, kind);
        add_integers("1x16", {1, 16, 16}, kind);
        add_integers("3x8", {3, 8, 8}, kind);
        add_integers("4x12", {4, 16, 12}, kind);
        add_floats("1xfloat", {1, 16, 12}, 12, kind);
        add_floats("1xfloat_16_bits", {1, 16, 16}, 16, kind);
        add_floats("3xfloat", {3, 16, 12}, 12, kind);
        add_sampled("all", 1, kind);
        add_sampled("some", 4, kind);
    }
});

}  // namespace
}  // namespace qmpic::bench
