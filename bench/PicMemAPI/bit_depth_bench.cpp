#include "PicMemAPI/bit_depth_kernels.h"
#include "support.h"

namespace qmpic::bench {
namespace {

// Samples as the peer names them; it has no unsigned 32-bit picture, and signed ones cost the same.
[[maybe_unused]] int peer_depth(uint32_t bits) { return bits == 8 ? 0 : bits == 16 ? 2 : 4; }

/// A conversion of one component count, and the peer's by a factor.
template <class Ours>
MakeJob job(uint32_t components, uint32_t to, uint32_t from, [[maybe_unused]] double factor,
            Ours ours) {
    return [=](uint32_t edge) {
        const Picture d(kDestination, edge, components, to), s(kFirst, edge, components, from);
        Job job;
        job.bytes = d.size() + s.size();
        job.ours = [=] { ours(d, s); };
#ifdef QMPIC_OPENCV
        const cv::Mat out = d.mat(peer_depth(to)), in = s.mat(peer_depth(from));
        if (factor != 0) job.peer = [=] { in.convertTo(out, peer_depth(to), factor); };
#endif
        return job;
    };
}

const SQmBpcLinFunc kFunctions[3] = {{3, 1, 1000, 2}, {5, 7, 77, 1}, {1, 0, 256, 0}};

const bool registered = add_family([] {
    for (const auto& kernel : kChangeBitDepth) {
        const uint32_t components = count(kernel.source), to = kernel.destination.bits;
        for (const uint32_t from : {8u, 16u, 32u})
            add(std::string(kernel.name) + ":from_" + std::to_string(from),
                job(components, to, from, 1, [=](const Picture& d, const Picture& s) {
                    kernel.run(d.data, d.stride(), s.data, s.stride(), from, components, d.edge,
                               d.pixels());
                }));
    }
    for (const auto& kernel : kConvertToWords)
        add(kernel.name, job(kAnyCount, 16, 8, 16, [=](const Picture& d, const Picture& s) {
                kernel.run(d.data, 12, d.stride(), s.data, s.stride(), kAnyCount, d.edge,
                           d.pixels());
            }));
    for (const auto& kernel : kConvertToBytes)
        add(kernel.name, job(kAnyCount, 8, 16, 1.0 / 256, [=](const Picture& d, const Picture& s) {
                kernel.run(d.data, d.stride(), s.data, 16, s.stride(), kAnyCount, d.edge,
                           d.pixels());
            }));
    for (const auto& kernel : kConvertWords)
        add(kernel.name, job(kAnyCount, 16, 16, 16, [=](const Picture& d, const Picture& s) {
                kernel.run(d.data, 16, d.stride(), s.data, 12, s.stride(), kAnyCount, d.edge,
                           d.pixels());
            }));
    for (const auto& kernel : kShift)
        add(kernel.name, job(kAnyCount, 16, 16, 0, [=](const Picture& d, const Picture&) {
                kernel.run(d.data, kAnyCount, d.stride(), 1, d.edge, d.pixels());
            }));
    for (const auto& kernel : kConvertComponent)
        for (const uint32_t components : {1u, 3u}) {
            const uint32_t to = kernel.destination.bits, from = kernel.source.bits;
            add(std::string(kernel.name) + ":of_" + std::to_string(components), [=](uint32_t edge) {
                const Picture d(kDestination, edge, 1, to), s(kFirst, edge, components, from);
                return Job{[=] {
                               kernel.run(d.data, 1, d.stride(), 0, to, s.data, components,
                                          s.stride(), components - 1, from - 1, edge, d.pixels());
                           },
                           {},
                           d.size() + s.size()};
            });
        }
    for (const auto& kernel : kLinFunc) {
        const uint32_t components = count(kernel.source), to = kernel.destination.bits;
        add(kernel.name, job(components, to, 32, 0, [=](const Picture& d, const Picture& s) {
                kernel.run(d.data, d.stride(), to == 8 ? 8 : 12, s.data, s.stride(), kFunctions,
                           components, d.edge, d.pixels());
            }));
    }
});

}  // namespace
}  // namespace qmpic::bench
