#include <algorithm>
#include <cmath>

#include "histogram/repair_kernels.h"
#include "qmpic/Histo.h"
#include "support.h"

// Statistics take what their bins take, whatever the picture's size is, but for levels of a
// picture, which is counted first. numpy_peer.py times NumPy's percentiles.

namespace qmpic::bench {
namespace {

/// A gain of 2 or more: every second bin of 16 bits.
std::vector<uint32_t> comb() {
    std::vector<uint32_t> bins(65536, 0);
    for (uint32_t i = 0; i < bins.size(); i += 2) bins[i] = i % 1000 + 1;
    return bins;
}

template <class Call>
void add_comb(std::string_view name, uint64_t arrays, const Call& call) {
    add(name, [=](uint32_t) {
        Job job;
        job.bytes = arrays * 65536 * 4;
        job.ours = [=, bins = comb()]() mutable {
            void* all[5];
            std::fill_n(all, 5, bins.data());
            call(all);
        };
        return job;
    });
}

/// Words of 12 bits, as a camera gives them: a dark ground with noise, and what is brighter.
const std::vector<uint16_t>& words() {
    static const std::vector<uint16_t> all = [] {
        std::vector<uint16_t> pixels;
        uint32_t state = 1;
        for (uint32_t i = 0; i < 2048 * 2048; ++i) {
            state = state * 1664525 + 1013904223;
            const double cells = std::sin(i % 2048 / 50.0) * std::sin(i / 2048 / 40.0);
            pixels.push_back(
                static_cast<uint16_t>(200 + std::max(cells, 0.0) * 3000 + (state >> 25)));
        }
        return pixels;
    }();
    return all;
}

#ifdef QMPIC_OPENCV
/// The two ends of what OpenCV has counted.
std::pair<int, int> ends_of(const cv::Mat& picture, cv::Mat& counted, double fraction) {
    const int channel = 0, bins = 4096;
    const float range[] = {0, 4096};
    const float* ranges = range;
    cv::calcHist(&picture, 1, &channel, cv::noArray(), counted, 1, &bins, &ranges);
    const auto* const counts = counted.ptr<float>();
    const double limit = static_cast<double>(picture.total()) * fraction;
    int low = 0, high = bins - 1;
    for (double sum = counts[0]; sum <= limit; sum += counts[low]) ++low;
    for (double sum = counts[bins - 1]; sum <= limit; sum += counts[high]) --high;
    return {low, high};
}
#endif

void add_levels() {
    add("FindLowHighInHistogram:12_bits", [](uint32_t edge) {
        SQmPicBuf picture;
        SQmPicBufAPI_Base::Init(&picture);
        picture.uiWidth = picture.uiHeight = edge;
        picture.uiWidthBytes = edge * 2;
        picture.uiBpc = 12;
        picture.uiComponents = 1;
        picture.pData = const_cast<uint16_t*>(words().data());
        Job job;
        job.bytes = uint64_t{edge} * edge * 2;
        job.ours = [=] {
            uint32_t low = 0, high = 0;
            SQmPicBufAPI_Base::FindLowHighInHistogram(&picture, &low, &high, 0.001, 0.001);
            benchmark::DoNotOptimize(low + high);
        };
#ifdef QMPIC_OPENCV
        const int rows = static_cast<int>(edge);
        const cv::Mat mat(rows, rows, CV_16U, const_cast<uint16_t*>(words().data()));
        job.peer = [=, counted = cv::Mat()]() mutable {
            benchmark::DoNotOptimize(ends_of(mat, counted, 0.001));
        };
#endif
        return job;
    });
}

/// Thresholds of 2^bits bins of three peaks, at every level.
void add_otsu(uint32_t bits, uint32_t count) {
    for (const Isa isa : {Isa::Sse2, Isa::Avx2, Isa::Avx512}) {
        if (isa > active_isa()) continue;
        const std::string name = "otsu/" + std::to_string(count) + "_of_" + std::to_string(bits) +
                                 "_bits/" + name_of(isa);
        benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
            std::vector<uint32_t> bins(size_t{1} << bits);
            for (size_t i = 0; i < bins.size(); ++i) {
                const double x = static_cast<double>(i) / static_cast<double>(bins.size());
                const auto peak = [&](double at, double width) {
                    return std::exp(-(x - at) * (x - at) / (width * width));
                };
                bins[i] = static_cast<uint32_t>(
                    1000 * (peak(0.2, 0.05) + peak(0.6, 0.1) + peak(0.85, 0.02)) +
                    static_cast<double>(i * 7 % 13));
            }
            void* block[] = {bins.data()};
            SQmHisto histo;
            CQmHistoAPI_Base::Init(&histo);
            histo.pData = bins.data();
            histo.ppCompData = block;
            histo.uiBinBytes = 4;
            histo.uiComponents = 1;
            histo.uiBits = bits;
            uint32_t thresholds[3];
            const ForcedIsa forced(isa);
            for (auto unused : state) CQmHistoAPI_Base::GetOtsuThreshold(thresholds, count, &histo);
        })->Unit(benchmark::kMillisecond);
    }
}

const bool registered = add_family([] {
    add_comb("needtorepairhistogram_1", 1, [](void** all) {
        bool flag;
        needtorepairhistogram_1(&flag, all[0], 4, 16);
    });
    add_comb("needtorepairhistogramint_3", 3, [](void** all) {
        bool flags[3];
        needtorepairhistogramint_3(flags, all, 4, 16);
    });
    add_comb("needtorepairhistogramint_4", 4, [](void** all) {
        bool flags[4];
        needtorepairhistogramint_4(flags, all, 4, 16);
    });
    add_comb("needtorepairhistogramint_N", 5, [](void** all) {
        bool flags[5];
        needtorepairhistogramint_N(flags, all, 4, 5, 16);
    });
    // Every second bin is emptied again, which is a part of what is timed.
    const auto empty = [](void* bins) {
        for (uint32_t i = 1; i < 65536; i += 2) static_cast<uint32_t*>(bins)[i] = 0;
    };
    add_comb("repairhistocomp_1", 2, [=](void** all) {
        repairhistocomp_1(all[0], 4, 16);
        empty(all[0]);
    });
    add_comb("repairhistocomp_N", 2, [=](void** all) {
        repairhistocomp_N(all, 1, 4, 16);
        empty(all[0]);
    });
    add_levels();
    for (const uint32_t bits : {8u, 12u, 13u, 15u, 16u})
        for (const uint32_t count : {1u, 2u, 3u}) add_otsu(bits, count);
});

}  // namespace
}  // namespace qmpic::bench
