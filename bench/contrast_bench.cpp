#include <cmath>
#include <vector>

#include "qmpic/Histo.h"
#include "qmpic/LutParam.h"
#include "qmpic/PicBuf.h"
#include "support.h"

// Automatic contrast takes what the bins take, once a frame, whatever the picture's size is. The
// peer is a walk that sums bin by bin.

namespace qmpic::bench {
namespace {

/// 65536 bins a component: a dark ground with noise, and cells.
struct Bins {
    std::vector<uint32_t> bins;
    std::vector<void*> blocks;
    explicit Bins(uint32_t components) : bins(size_t{components + 1} * 65536) {
        for (size_t i = 0; i < bins.size(); ++i) {
            const double x = static_cast<double>(i % 65536) / 65536;
            bins[i] = static_cast<uint32_t>(300 * std::exp(-(x - 0.3) * (x - 0.3) * 90) +
                                            100 * std::exp(-(x - 0.7) * (x - 0.7) * 30));
        }
        for (uint32_t c = 0; c < components; ++c)
            blocks.push_back(&bins[(components == 1 ? 0 : c + 1) * size_t{65536}]);
    }
    SQmHisto histo() {
        SQmHisto made;
        CQmHistoAPI_Base::Init(&made);
        made.pData = bins.data();
        made.ppCompData = blocks.data();
        made.uiBinBytes = 4;
        made.uiComponents = static_cast<uint32_t>(blocks.size());
        made.uiBits = 16;
        return made;
    }
};

/// One component: all bins for the target, then those that are cut off.
void walk(const std::vector<uint32_t>& bins, double percent) {
    uint64_t all = 0;
    for (uint32_t i = 0; i < 65536; ++i) all += bins[i];
    const auto target = static_cast<uint64_t>(percent / 100 * static_cast<double>(all));
    uint32_t low = 0, high = 65535;
    for (uint64_t sum = bins[0]; sum < target; sum += bins[low]) ++low;
    for (uint64_t sum = bins[65535]; sum < target; sum += bins[high]) --high;
    benchmark::DoNotOptimize(low + high);
}

void add_search(std::string_view name, uint32_t components, bool mid) {
    add(name, [=](uint32_t) {
        Job job;
        job.bytes = uint64_t{components} * 65536 * 4;
        job.ours = [=, bins = Bins(components)]() mutable {
            const SQmHisto histo = bins.histo();
            uint32_t low = 0, high = 0, middle = 0;
            SQmPicBufAPI_Base::GetHistoRange(&histo, 0, components, &low, &high,
                                             mid ? &middle : nullptr, 1, 1, nullptr, nullptr, true);
            benchmark::DoNotOptimize(low + high + middle);
        };
        job.peer_name = "plain";
        job.peer = [=, bins = Bins(components)] {
            for (uint32_t c = 0; c < components; ++c) walk(bins.bins, 1);
        };
        return job;
    });
}

const bool registered = add_family([] {
    add_search("GetHistoRange:1", 1, false);
    add_search("GetHistoRange:1_mid", 1, true);
    add_search("GetHistoRange:5", 5, false);
    add_search("GetHistoRange:5_mid", 5, true);
});

}  // namespace
}  // namespace qmpic::bench
