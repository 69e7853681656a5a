#include <omp.h>

#include <cstring>

#include "support.h"

namespace qmpic::bench {

uint8_t* Picture::memory(Role role) {
    static const std::vector<uint8_t> content = [] {
        std::vector<uint8_t> bytes(size_t{2048} * 2048 * 8 * 4);
        for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * 37 + i / 251);
        return bytes;
    }();
    static std::vector<uint8_t> memories[3] = {content, content, content};
    return memories[role].data();
}

std::vector<void (*)()>& families() {
    static std::vector<void (*)()> all;
    return all;
}

void add(std::string_view name, const MakeJob& make) {
    for (const uint32_t edge : kSizes) {
        const std::string prefix = std::string(name) + "/" + std::to_string(edge) + "/";
        const auto time = [&](const std::string& what, auto call) {
            benchmark::RegisterBenchmark((prefix + what).c_str(), [=](benchmark::State& state) {
                const Job job = make(edge);
                call(state, job);
            })->UseRealTime();
        };
        for (const Isa isa : {Isa::Sse2, Isa::Avx2, Isa::Avx512})
            if (isa <= active_isa())
                time(name_of(isa), [=](benchmark::State& state, const Job& job) {
                    const ForcedIsa forced(isa);
                    for (auto unused : state) job.ours();
                });
        time("memcpy", [](benchmark::State& state, const Job& job) {
            for (auto unused : state) {  // half is read, half written
                std::memcpy(Picture::memory(kDestination), Picture::memory(kFirst), job.bytes / 2);
                benchmark::ClobberMemory();
            }
        });
        if (make(kSizes[0]).peer)
            time("opencv", [](benchmark::State& state, const Job& job) {
                for (auto unused : state) job.peer();
            });
    }
}

}  // namespace qmpic::bench

int main(int argc, char** argv) {
#ifdef QMPIC_OPENCV
    cv::setNumThreads(omp_get_max_threads());
#endif
    for (const auto& add : qmpic::bench::families()) add();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
}
