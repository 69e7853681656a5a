#include <string>

#include "qmpic/Gradient.h"
#include "support.h"

// A table of ten nodes, and single colours. A table has 256 entries whatever it is used for.

namespace qmpic::bench {
namespace {

SQmGradientConfig ten_nodes(bool interpolate) {
    static constexpr uint32_t kColours[] = {0xFF0000, 0x00FF00, 0x123456, 0xFFEEDD, 0x102030,
                                            0xCCDDEE, 0x554433, 0xAA5500, 0x00AAFF, 0x0000FF};
    SQmGradientConfig config;
    for (int n = 0; n < 10; ++n) config.sNodes[n] = {10.0 * (n + 1), kColours[n]};
    config.m_bInterpolate = interpolate;
    return config;
}

const bool registered = add_family([] {
    for (const bool interpolate : {true, false}) {
        const std::string kind = interpolate ? "/blended" : "/steps";
        benchmark::RegisterBenchmark(
            ("GetTabColorsFromConfig" + kind).c_str(), [=](benchmark::State& state) {
                SQmGradientConfig config = ten_nodes(interpolate);
                unsigned table[256];
                for (auto unused : state) {
                    SQmGradientConfig::GetTabColorsFromConfig(&config, table, 0, 100);
                    benchmark::ClobberMemory();
                }
            });
        benchmark::RegisterBenchmark(
            ("GetColorForValue" + kind).c_str(), [=](benchmark::State& state) {
                SQmGradientConfig config = ten_nodes(interpolate);
                double value = 0;
                for (auto unused : state)
                    benchmark::DoNotOptimize(
                        config.GetColorForValue(value = value < 100 ? value + 0.7 : 0, 0, 100));
            });
    }
});

}  // namespace
}  // namespace qmpic::bench
