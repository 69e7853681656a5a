#include "PicMemAPI/masks_kernels.h"
#include "support.h"

namespace qmpic::bench {
namespace {

/// A mask of 0 and the greatest value, as a threshold makes it; blobs of some pixels.
Picture mask(uint32_t edge, uint32_t bits) {
    Picture picture(kSecond, edge, 1, bits);
    static std::vector<uint8_t> memory[3];
    auto& bytes = memory[bits / 8];
    if (bytes.empty()) {
        bytes.resize(size_t{2048} * 2048 * bits / 8);
        uint32_t state = 1;
        for (size_t i = 0; i < bytes.size(); ++i) {
            if (i % 16 == 0) state = state * 1664525 + 1013904223;
            bytes[i] = state >> 31 ? 255 : 0;
        }
    }
    picture.data = bytes.data();
    return picture;
}

using Call = std::function<void(const Picture& d, const Picture& s, const Picture& m)>;

void add(std::string_view name, uint32_t bits, uint32_t from, uint32_t to, uint32_t mask_bits,
         const Call& ours) {
    bench::add(name, [=](uint32_t edge) {
        const Picture d(kDestination, edge, to, bits), s(kFirst, edge, from, bits),
            m = mask(edge, mask_bits);
        Job job;
        job.bytes = 2 * d.size() + s.size() + m.size();
        job.ours = [=] { ours(d, s, m); };
#ifdef QMPIC_OPENCV
        const int depth = bits == 8 ? CV_8U : CV_16U;
        cv::Mat into = d.mat(depth);
        const cv::Mat picture = s.mat(depth), chosen = m.mat(CV_8U);
        if (from == to && mask_bits == 8)  // where the mask is not 0; it knows no other
            job.peer = [=]() mutable { picture.copyTo(into, chosen); };
#endif
        return job;
    });
}

template <class List>
void add_component(const List& list, uint32_t mask_bits, uint32_t value) {
    for (const auto& k : list)
        for (const uint32_t from : {1u, 3u})
            add(std::string(k.name) + (from == 3 ? ":of_3" : ""), k.source.bits, from, 1, mask_bits,
                [=](const Picture& d, const Picture& s, const Picture& m) {
                    k.run(d.data, 1, d.stride(), 0, s.data, from, s.stride(), 0, m.data, m.stride(),
                          s.edge, s.pixels(), value);
                });
}

template <class List>
void add_pixels(const List& list, bool inside) {
    for (const auto& k : list)
        for (const uint32_t components : {1u, 3u})
            for (const uint32_t bits : {8u, 16u}) {
                const uint32_t all = k.source.bits == 8 ? 0xFF : 0xFFFF;
                add(std::string(k.name) + ":of_" + std::to_string(components) + "x" +
                        std::to_string(bits),
                    bits, components, components, k.source.bits,
                    [=](const Picture& d, const Picture& s, const Picture& m) {
                        k.run(d.data, d.stride(), s.data, s.stride(), components, bits, m.data,
                              m.stride(), s.edge, s.pixels(), inside ? all : 0);
                    });
            }
}

const bool registered = add_family([] {
    add_component(kCopyComponentMask8In, 8, 0xFF);
    add_component(kCopyComponentMask8Out, 8, 0);
    add_component(kCopyComponentMask16In, 16, 0xFFFF);
    add_component(kCopyComponentMask16Out, 16, 0);
    add_pixels(kCopyMaskIn, true);
    add_pixels(kCopyMaskOut, false);
    for (const auto& k : kCopyMask3x8)
        add(k.name, 8, 3, 3, 16, [=](const Picture& d, const Picture& s, const Picture& m) {
            k.run(d.data, d.stride(), s.data, s.stride(), m.data, m.stride(), s.edge, s.pixels(),
                  k.name.ends_with("_in") ? 0xFFFF : 0);
        });
});

}  // namespace
}  // namespace qmpic::bench
