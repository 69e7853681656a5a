#include "core/rows.h"
#include "qmpic/system/RangeMask.h"
#include "render/luts_kernels.h"
#include "support.h"
#ifdef QMPIC_VIPS
#include <vips/vips.h>
#endif

namespace qmpic::bench {
namespace {

// Words are of 12 bits, the usual depth of a camera.
constexpr uint32_t kWordBits = 12;
uint32_t depth_of(uint32_t bits) { return bits == 8 ? 8 : kWordBits; }

// A flat table, and rows of up to four cells as a set of tables holds them.
struct Tables {
    std::vector<uint16_t> words = std::vector<uint16_t>(4 * 65536);
    std::vector<uint8_t> bytes = std::vector<uint8_t>(4 * 65536);
    std::vector<const void*> rows;
    Tables(uint32_t bits, uint32_t cells) {
        for (size_t i = 0; i < bytes.size(); ++i) {
            bytes[i] = static_cast<uint8_t>(i * 13 + 5);
            words[i] = static_cast<uint16_t>(i * 13 + 5);
        }
        for (size_t v = 0; v < 65536; ++v)
            rows.push_back(bits == 8 ? static_cast<const void*>(&bytes[v * cells])
                                     : &words[v * cells]);
    }
    const void* flat(uint32_t bits) const {
        return bits == 8 ? static_cast<const void*>(bytes.data()) : words.data();
    }
};
const Tables& tables(uint32_t bits, uint32_t cells) {
    static const Tables all[2][5] = {{{8, 0}, {8, 1}, {8, 2}, {8, 3}, {8, 4}},
                                     {{16, 0}, {16, 1}, {16, 2}, {16, 3}, {16, 4}}};
    return all[bits == 16][cells];
}

// A source whose words keep to their depth: these kernels do not mask.
Picture source(uint32_t edge, uint32_t components, uint32_t bits) {
    const Picture s(kFirst, edge, components, bits);
    if (bits == 16) {
        auto* const words = reinterpret_cast<Sample<uint16_t>*>(s.data);
        for (uint64_t i = 0; i < s.pixels() * components; ++i) words[i] = words[i] & 4095;
    }
    return s;
}

#ifdef QMPIC_OPENCV
// cv::LUT takes bytes only: one table, or one for each component in turn.
std::function<void()> opencv(const Picture& d, const Picture& s, const Tables& t, bool flat,
                             uint32_t to) {
    const auto cells = static_cast<int>(flat ? 1 : s.components);
    const cv::Mat from = s.mat(CV_8U), into = d.mat(to == 8 ? CV_8U : CV_16U);
    const cv::Mat table(1, 256, CV_MAKETYPE(to == 8 ? CV_8U : CV_16U, cells),
                        const_cast<void*>(t.flat(to)));
    return [=] { cv::LUT(from, table, into); };
}
#endif

#ifdef QMPIC_VIPS
// libvips has no rows, and makes the memory of its result itself.
std::function<void()> libvips(const Picture& s, const Tables& t, uint32_t bits, uint32_t to) {
    static const int started = VIPS_INIT("qmpic_bench");
    (void)started;
    const int edge = static_cast<int>(s.edge);
    const size_t values = size_t{1} << depth_of(bits);
    VipsImage* const in =
        vips_image_new_from_memory(s.data, s.size(), edge, edge, static_cast<int>(s.components),
                                   bits == 8 ? VIPS_FORMAT_UCHAR : VIPS_FORMAT_USHORT);
    VipsImage* const table =
        vips_image_new_from_memory(t.flat(to), values * to / 8, static_cast<int>(values), 1, 1,
                                   to == 8 ? VIPS_FORMAT_UCHAR : VIPS_FORMAT_USHORT);
    return [=] {
        VipsImage* out = nullptr;
        if (vips_maplut(in, &out, table, nullptr) != 0) return;
        VipsImage* const made = vips_image_copy_memory(out);
        g_object_unref(made);
        g_object_unref(out);
    };
}
#endif

void peer_of([[maybe_unused]] Job& job, [[maybe_unused]] const Picture& d,
             [[maybe_unused]] const Picture& s, [[maybe_unused]] const Tables& t,
             [[maybe_unused]] bool flat, [[maybe_unused]] uint32_t from,
             [[maybe_unused]] uint32_t to) {
#ifdef QMPIC_OPENCV
    if (from == 8) job.peer = opencv(d, s, t, flat, to);
#endif
#ifdef QMPIC_VIPS
    if (from == 16 && flat) job.peer = libvips(s, t, from, to), job.peer_name = "libvips";
#endif
}

MakeJob apply(const NamedKernel<ApplyLutsKernel>& kernel, bool flat) {
    return [=](uint32_t edge) {
        const uint32_t bits = kernel.source.bits, components = count(kernel.source);
        const Picture d(kDestination, edge, components, bits), s = source(edge, components, bits);
        const Tables& t = tables(bits, components);
        Job job;
        job.bytes = d.size() + s.size();
        const void* const luts = flat ? t.flat(bits) : t.rows.data();
        job.ours = [=] {
            kernel.run(d.data, d.stride(), s.data, s.stride(), luts, components, depth_of(bits),
                       edge, d.pixels());
        };
        peer_of(job, d, s, t, flat, bits, bits);
        return job;
    };
}

MakeJob convert(const NamedKernel<ConvertBitDepthViaLutsKernel>& kernel, bool flat) {
    return [=](uint32_t edge) {
        const uint32_t from = kernel.source.bits, to = kernel.destination.bits,
                       components = count(kernel.source);
        const Picture d(kDestination, edge, components, to), s = source(edge, components, from);
        const Tables& t = tables(to, components);
        Job job;
        job.bytes = d.size() + s.size();
        const void* const luts = flat ? t.flat(to) : t.rows.data();
        job.ours = [=] {
            kernel.run(d.data, to, d.stride(), s.data, depth_of(from), s.stride(), luts, components,
                       edge, d.pixels());
        };
        peer_of(job, d, s, t, flat, from, to);
        return job;
    };
}

// Blocks of colours and thresholds that nothing or little reaches.
constexpr uint8_t kColours[16] = {1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 0};
constexpr uint32_t kThresholds[4] = {4000, 4000, 4000, 4000};

// `run` gets the pictures and the tables of three byte cells.
template <class Run>
MakeJob between(uint32_t components, uint32_t from, uint32_t count, uint32_t to, Run run) {
    return [=](uint32_t edge) {
        const Picture d(kDestination, edge, count, to), s = source(edge, components, from);
        const Tables& t = tables(to, count);
        Job job;
        job.bytes = d.size() + s.size();
        job.ours = [=, &t] { run(d, s, t, depth_of(from)); };
#ifdef QMPIC_OPENCV
        if (components == 1 && from == 8 && count == 3) {  // the colour maps of its imgproc
            const cv::Mat values = s.mat(CV_8U), colours = d.mat(CV_8U),
                          map(256, 1, CV_8UC3, const_cast<uint8_t*>(t.bytes.data()));
            job.peer = [=] { cv::applyColorMap(values, colours, map); };
        }
#endif
        return job;
    };
}

const bool registered = add_family([] {
    for (const auto& kernel : kApplyFlat) add(kernel.name, apply(kernel, true));
    for (const auto& kernel : kApplyRows)
        add(kernel.name, apply(kernel, kernel.source.components == 1));
    for (const auto& kernel : kConvertFlat) add(kernel.name, convert(kernel, true));
    for (const auto& kernel : kConvertRows) add(kernel.name, convert(kernel, false));

    for (const auto& kernel : kApplyExposed)
        add(kernel.name,
            between(3, 8, 3, 8,
                    [=](const Picture& d, const Picture& s, const Tables& t, uint32_t bits) {
                        kernel.run(d.data, d.stride(), s.data, s.stride(), t.rows.data(), kColours,
                                   nullptr, kColours, 3, bits, d.edge, d.pixels(), 7);
                    }));
    for (const auto& kernel : kConvertExposed)
        add(kernel.name,
            between(3, 16, 3, 8,
                    [=](const Picture& d, const Picture& s, const Tables& t, uint32_t bits) {
                        kernel.run(d.data, 8, d.stride(), s.data, bits, s.stride(), t.rows.data(),
                                   kColours, kThresholds, kColours, 3, d.edge, d.pixels(), 7);
                    }));
    for (const auto& kernel : kConvertFlatOverexposed)
        add(kernel.name,
            between(3, 16, 3, 8,
                    [=](const Picture& d, const Picture& s, const Tables& t, uint32_t bits) {
                        kernel.run(d.data, 8, d.stride(), s.data, bits, s.stride(), t.bytes.data(),
                                   kColours, kThresholds, 3, d.edge, d.pixels());
                    }));

    // The component of a picture of one.
    for (const auto* list : {&kComponentLut1To1, &kComponentLut1To3, &kComponentLut3To3})
        for (const auto& kernel : *list) {
            const bool flat = list != &kComponentLut3To3;
            add(kernel.name,
                between(1, kernel.source.bits, kernel.destination.components, 8,
                        [=](const Picture& d, const Picture& s, const Tables& t, uint32_t bits) {
                            kernel.run(d.data, d.stride(), s.data, 1, bits, s.stride(), 0,
                                       flat ? t.flat(8) : t.rows.data(), d.edge, d.pixels());
                        }));
        }
    for (const auto* list : {&kComponentLut1ToN, &kComponentLutNToN})
        for (const auto& kernel : *list) {
            const bool flat = list == &kComponentLut1ToN;
            add(kernel.name,
                between(1, kernel.source.bits, kAnyCount, 8,
                        [=](const Picture& d, const Picture& s, const Tables& t, uint32_t bits) {
                            kernel.run(d.data, kAnyCount, d.stride(), s.data, 1, bits, s.stride(),
                                       0, flat ? t.flat(8) : t.rows.data(), d.edge, d.pixels());
                        }));
        }
    for (const auto* list : {&kComponentLut1Exposed, &kComponentLut3Exposed})
        for (const auto& kernel : *list) {
            const bool flat = list == &kComponentLut1Exposed;
            add(kernel.name,
                between(1, kernel.source.bits, 3, 8,
                        [=](const Picture& d, const Picture& s, const Tables& t, uint32_t bits) {
                            kernel.run(d.data, d.stride(), s.data, 1, bits, s.stride(), 0,
                                       flat ? t.flat(8) : t.rows.data(), kColours, kThresholds,
                                       kColours, d.edge, d.pixels());
                        }));
        }
    static const CQmRangeMask all(4, 0, 3, 1);
    for (const auto& kernel : kComponentAdd)
        add(kernel.name,
            between(1, kernel.source.bits, 3, 8,
                    [=](const Picture& d, const Picture& s, const Tables& t, uint32_t bits) {
                        kernel.run(d.data, d.stride(), s.data, 1, bits, s.stride(), 0,
                                   t.rows.data(), 1.5, all, d.edge, d.pixels());
                    }));
    for (const auto& kernel : kComponentAddOverexposed)
        add(kernel.name,
            between(1, kernel.source.bits, 3, 8,
                    [=](const Picture& d, const Picture& s, const Tables& t, uint32_t bits) {
                        kernel.run(d.data, d.stride(), s.data, 1, bits, s.stride(), 0,
                                   t.rows.data(), 1.5, kColours, kThresholds, all, d.edge,
                                   d.pixels());
                    }));

    for (const auto& kernel : kMapVia) {
        const bool flat = kernel.name.ends_with("_lut1");
        add(kernel.name,
            between(1, kernel.source.bits, 3, kernel.destination.bits,
                    [=](const Picture& d, const Picture& s, const Tables& t, uint32_t) {
                        kernel.run(d.data, d.stride(), s.data, s.stride(),
                                   flat ? t.flat(8) : t.rows.data(), d.edge, d.pixels());
                    }));
    }
    for (const auto& kernel : kMapViaToN)
        add(kernel.name,
            between(1, kernel.source.bits, kAnyCount, kernel.destination.bits,
                    [=](const Picture& d, const Picture& s, const Tables& t, uint32_t) {
                        kernel.run(d.data, kAnyCount, d.stride(), s.data, s.stride(), t.rows.data(),
                                   d.edge, d.pixels());
                    }));

    // The tables of constants: pictures have nothing to do with them, an edge of 16 is 8 bits and
    // greater ones are 16.
    const auto table_job = [](auto run) -> MakeJob {
        return [=](uint32_t edge) {
            Job job;
            job.bytes = 2 * (edge == 16 ? 256 : 65536);
            job.ours = [=] { run(edge == 16 ? 8 : 16); };
            return job;
        };
    };
    static const double kConstants[2] = {3.5, 1.25};
    static std::vector<uint16_t> cells(2 * 65536);
    static std::vector<void*> rows = [] {
        std::vector<void*> made;
        for (size_t v = 0; v < 65536; ++v) made.push_back(&cells[2 * v]);
        return made;
    }();
    const auto bytes = [](uint32_t) { return 8u; };
    for (const auto& kernel : kCalcByteLut)
        add(kernel.name, table_job([=](uint32_t bits) {
                kernel.run(reinterpret_cast<uint8_t*>(cells.data()), kConstants, kConstants + 1,
                           nullptr, bytes(bits));
            }));
    for (const auto& kernel : kCalcWordLut)
        add(kernel.name, table_job([=](uint32_t bits) {
                kernel.run(cells.data(), kConstants, kConstants + 1, nullptr, bits);
            }));
    for (const auto& kernel : kCalcLutRows)
        add(kernel.name, table_job([=](uint32_t bits) {
                kernel.run(rows.data(), kConstants, kConstants, nullptr, 2,
                           kernel.source.bits == 8 ? 8 : bits);
            }));
    for (const auto& kernel : kRotateLutRows)
        add(kernel.name, table_job([=](uint32_t bits) {
                kernel.run(rows.data(), kConstants, 2, kernel.source.bits == 8 ? 8 : bits);
            }));
    for (const auto& kernel : kLimitByteLut)
        add(kernel.name, table_job([=](uint32_t bits) {
                kernel.run(reinterpret_cast<uint8_t*>(cells.data()), kConstants, bytes(bits));
            }));
    for (const auto& kernel : kLimitWordLut)
        add(kernel.name,
            table_job([=](uint32_t bits) { kernel.run(cells.data(), kConstants, bits); }));
    for (const auto& kernel : kLimitLutRows)
        add(kernel.name, table_job([=](uint32_t bits) {
                kernel.run(rows.data(), kConstants, 2, kernel.source.bits == 8 ? 8 : bits);
            }));
});

}  // namespace
}  // namespace qmpic::bench
