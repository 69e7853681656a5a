#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/isa.h"
#include "core/kernels.h"
#ifdef QMPIC_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

/// A benchmark is named name/size/what, `what` being a level, "memcpy" or the peer; ratios.sh makes
/// ratios of them.

namespace qmpic::bench {

inline constexpr uint32_t kSizes[] = {16, 512, 2048};

/// A square picture without gaps. All pictures of a role lie in the same memory.
enum Role { kDestination, kFirst, kSecond };
struct Picture {
    uint32_t edge, components, bytes;
    uint8_t* data;
    Picture(Role role, uint32_t edge_, uint32_t components_, uint32_t bits)
        : edge(edge_), components(components_), bytes(bits / 8), data(memory(role)) {}
    uint32_t stride() const { return edge * components * bytes; }
    uint64_t pixels() const { return uint64_t{edge} * edge; }
    uint64_t size() const { return pixels() * components * bytes; }
    static uint8_t* memory(Role role);
#ifdef QMPIC_OPENCV
    cv::Mat mat(int depth) const {
        const int rows = static_cast<int>(edge);
        return {rows, rows, CV_MAKETYPE(depth, static_cast<int>(components)), data};
    }
#endif
};

/// What is timed: our call, the peer's (or none), and the bytes that must be read and written.
struct Job {
    std::function<void()> ours, peer;
    uint64_t bytes;
    const char* peer_name = "opencv";
};
using MakeJob = std::function<Job(uint32_t edge)>;

/// Kernels for any number of components are measured with this one, which no other kernel has.
inline constexpr uint32_t kAnyCount = 2;
inline uint32_t count(Layout layout) { return layout.components ? layout.components : kAnyCount; }

/// Registers a kernel at all sizes and levels, beside memcpy and the peer. Variants of a call have
/// a colon and a word of their own behind the kernel's name.
void add(std::string_view name, const MakeJob& make);

/// What main() calls: every family's file says, at namespace scope,
/// `const bool registered = add_family([] { add("name", ...); });`
std::vector<void (*)()>& families();
inline bool add_family(void (*add)()) {
    families().push_back(add);
    return true;
}

}  // namespace qmpic::bench
