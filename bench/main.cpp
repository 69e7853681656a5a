#include <omp.h>

#include <cstdio>
#include <cstring>
#include <set>
#include <string_view>

#include "frame/frame.h"
#include "kernel_lists.h"
#include "support.h"

namespace qmpic::bench {

uint8_t* Picture::memory(Role role) {
    static const std::vector<uint8_t> content = [] {
        // 8 components of 4 bytes, or half of what spectral pictures are copied for.
        std::vector<uint8_t> bytes(size_t{2048} * 2048 * 36);
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

namespace {

std::set<std::string>& measured() {
    static std::set<std::string> names;
    return names;
}

/// Is there a kernel in the lists that nobody measures, or a frame that is wrong?
int check() {
    int missing = 0;
    for_each_kernel_list([&](const auto& list) {
        for (const auto& kernel : list)
            if (!measured().contains(std::string(kernel.name))) {
                std::printf("%s is not measured\n", std::string(kernel.name).c_str());
                ++missing;
            }
    });
    std::printf("%zu benchmarks, %d kernels without\n", measured().size(), missing);
    return missing != 0 || check_frames() != 0;
}

}  // namespace

void add(std::string_view name, const MakeJob& make) {
    measured().insert(std::string(name.substr(0, name.find(':'))));  // what follows is a variant
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
        if (const Job job = make(kSizes[0]); job.peer)
            time(job.peer_name, [](benchmark::State& state, const Job& job) {
                for (auto unused : state) job.peer();
            });
    }
}

}  // namespace qmpic::bench

// usage: qmpic_bench [--check] [options of Google Benchmark]
// --check   fail when a kernel of the lists is not measured, or the peer's frame is another
int main(int argc, char** argv) {
#ifdef QMPIC_OPENCV
    cv::setNumThreads(omp_get_max_threads());
#endif
    for (const auto& add : qmpic::bench::families()) add();
    if (argc == 2 && std::string_view(argv[1]) == "--check") return qmpic::bench::check();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
}
