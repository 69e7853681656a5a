#include "PicMemAPI/binary_kernels.h"
#include "support.h"

namespace qmpic::bench {
namespace {

constexpr uint64_t kPixel[3] = {0x1111111111111111, 0x1111111111111111, 0x1111111111111111};

// numpy_peers.py measures pack_1x8_to_bin and unpack_bin_to_1x8 beside NumPy's.

using Pack = std::function<void(const Picture& mask, const Picture& s, uint32_t compare,
                                uint32_t first_bit)>;

void add_packing(std::string_view name, Layout layout, const Pack& ours) {
    const auto variant = [&](const char* suffix, uint32_t compare, uint32_t first_bit) {
        add(std::string(name) + suffix, [=](uint32_t edge) {
            const Picture mask(kDestination, edge, 1, 8),
                s(kFirst, edge, count(layout), layout.bits);
            Job job;
            job.bytes = s.size() + s.pixels() / 8;
            job.ours = [=] { ours(mask, s, compare, first_bit); };
            return job;
        });
    };
    variant("", 1, 0);
    variant(":equal", 0, 0);
    variant(":inside_a_byte", 1, 3);
    if (layout.components == 1) variant(":shared_bits", 3, 0);
    if (name == "pack_1x8_to_bin") variant(":greater", 2, 0);
}

using Unpack =
    std::function<void(const Picture& d, const Picture& mask, uint32_t first_bit, uint32_t merge)>;

void add_unpacking(std::string_view name, uint32_t components, uint32_t bits, const Unpack& ours) {
    const auto variant = [&](const char* suffix, uint32_t first_bit, uint32_t merge) {
        add(std::string(name) + suffix, [=](uint32_t edge) {
            const Picture d(kDestination, edge, components, bits), mask(kFirst, edge, 1, 8);
            Job job;
            job.bytes = d.size() * (merge == 0 ? 1 : 2) + d.pixels() / 8;
            job.ours = [=] { ours(d, mask, first_bit, merge); };
            return job;
        });
    };
    variant("", 0, 0);
    variant(":or", 0, 1);
    variant(":inside_a_byte", 3, 0);
}

// The last pixels of rows that begin inside a byte are left out.
uint32_t width(const Picture& picture, uint32_t first_bit) { return picture.edge - first_bit; }
uint64_t pixels(const Picture& picture, uint32_t first_bit) {
    return uint64_t{width(picture, first_bit)} * picture.edge;
}

const bool registered = add_family([] {
    for (const auto& k : kPack)
        add_packing(k.name, k.source,
                    [=](const Picture& mask, const Picture& s, uint32_t compare, uint32_t bit) {
                        k.run(mask.data, bit, s.edge / 8, s.data, s.stride(), kPixel, compare,
                              width(s, bit), pixels(s, bit), 0);
                    });
    for (const auto& k : kPackAny)
        add_packing(k.name, k.source,
                    [=](const Picture& mask, const Picture& s, uint32_t compare, uint32_t bit) {
                        k.run(mask.data, bit, s.edge / 8, s.data, kAnyCount, s.stride(), kPixel,
                              compare, width(s, bit), pixels(s, bit), 0);
                    });
    for (const auto* list : {&kUnpack, &kUnpackMt})
        for (const auto& k : *list)
            add_unpacking(k.name, k.source.components, k.source.bits,
                          [=](const Picture& d, const Picture& mask, uint32_t bit, uint32_t merge) {
                              k.run(d.data, kPixel, d.stride(), mask.data, bit, d.edge / 8,
                                    width(d, bit), pixels(d, bit), merge);
                          });
    for (const auto* list : {&kUnpackAny, &kUnpackAnyMt})
        for (const auto& k : *list)
            for (const uint32_t components : {kAnyCount, 5u})
                add_unpacking(
                    std::string(k.name) + (components == 5 ? ":of_5" : ""), components,
                    k.source.bits,
                    [=](const Picture& d, const Picture& mask, uint32_t bit, uint32_t merge) {
                        k.run(d.data, components, kPixel, d.stride(), mask.data, bit, d.edge / 8,
                              width(d, bit), pixels(d, bit), merge);
                    });
});

}  // namespace
}  // namespace qmpic::bench
