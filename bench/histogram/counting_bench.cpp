#include <cstring>
#include <random>

#include "histogram/contents.h"
#include "histogram/counting_kernels.h"
#include "support.h"
#ifdef QMPIC_VIPS
#include <vips/vips.h>
#endif

namespace qmpic::bench {
namespace {

/// Bins as a histogram has them, the intensity's first.
struct Bins {
    void* components[8];
    void* intensity;
    explicit Bins(uint64_t bins) {
        static std::vector<uint32_t> memory(size_t{8} << 16);
        intensity = memory.data();
        for (uint32_t c = 0; c < 7; ++c) components[c] = memory.data() + (c + 1) * bins;
    }
};

#ifdef QMPIC_VIPS
/// One call for all bands, and one for their mean.
std::function<void()> libvips(const Picture& s) {
    static const int started = VIPS_INIT("qmpic_bench");
    (void)started;
    const int edge = static_cast<int>(s.edge);
    VipsImage* const in =
        vips_image_new_from_memory(s.data, s.size(), edge, edge, static_cast<int>(s.components),
                                   s.bytes == 1 ? VIPS_FORMAT_UCHAR : VIPS_FORMAT_USHORT);
    const auto count = [](VipsImage* picture) {
        VipsImage* counts = nullptr;
        if (vips_hist_find(picture, &counts, nullptr) != 0) return;
        g_object_unref(vips_image_copy_memory(counts));
        g_object_unref(counts);
    };
    return [=] {
        count(in);
        VipsImage *mean = nullptr, *words = nullptr;
        if (vips_bandmean(in, &mean, nullptr) != 0) return;
        if (vips_cast_ushort(mean, &words, nullptr) == 0) count(words), g_object_unref(words);
        g_object_unref(mean);
    };
}
#endif

void add_counting(const NamedKernel<CountKernel>& k, Format f, const std::string& prefix,
                  bool with_mean) {
    for (const Content kind : {kReal, kRandom, kConstant})
        add(std::string(k.name) + ":" + prefix + kNames[kind], [=](uint32_t edge) {
            const Picture s = picture_of(f, kind, edge);
            const uint32_t bins = 1u << f.bpc;
            Job job;
            job.bytes = s.size();
            job.ours = [=, run = k.run] {
                Bins to(bins);
                run(to.components, to.intensity, 4, s.data, s.stride(), f.components, f.bpc, 1, 1,
                    s.edge, s.pixels());
            };
#ifdef QMPIC_OPENCV
            const cv::Mat picture = s.mat(f.bits == 8 ? CV_8U : CV_16U);
            if (f.components == 1)
                job.peer = [=] { peer_histogram(picture, bins); };
            else
                job.peer = [=] { peer_histograms(picture, bins, with_mean); };
#else
            (void)with_mean;
#endif
            return job;
        });
}

#ifdef QMPIC_VIPS
void add_libvips(const NamedKernel<CountKernel>& k, Format f) {
    add(std::string(k.name) + ":real_and_libvips", [=](uint32_t edge) {
        const Picture s = picture_of(f, kReal, edge);
        Job job;
        job.bytes = s.size();
        job.ours = [=, run = k.run] {
            Bins to(1u << f.bpc);
            run(to.components, to.intensity, 4, s.data, s.stride(), f.components, f.bpc, 1, 1,
                s.edge, s.pixels());
        };
        job.peer = libvips(s);
        job.peer_name = "libvips";
        return job;
    });
}
#endif

/// A mask of 255 and 0 in blobs.
const void* mask_of(uint32_t bits) {
    static std::vector<uint8_t> memory[3];
    auto& mask = memory[bits / 8];
    if (mask.empty()) {
        mask.resize(size_t{kMost} * kMost * bits / 8);
        std::mt19937 random(1);
        uint8_t value = 0;
        for (size_t i = 0; i < mask.size(); ++i) {
            if (i % 32 == 0) value = random() % 2 != 0 ? 255 : 0;
            mask[i] = value;
        }
    }
    return mask.data();
}

template <class List>
void add_masked(const List& list, uint32_t mask_bits) {
    for (const auto& k : list)
        add(k.name, [=](uint32_t edge) {
            const Format f{count(k.source), k.source.bits, k.source.bits == 8 ? 8u : 12u};
            const Picture s = picture_of(f, kReal, edge);
            const void* const mask = mask_of(mask_bits);
            Job job;
            job.bytes = s.size() + s.pixels() * mask_bits / 8;
            job.ours = [=] {
                Bins to(1u << f.bpc);
                k.run(to.components, to.intensity, 4, s.data, s.stride(), f.components, f.bpc, mask,
                      edge * mask_bits / 8, 1, 1, s.edge, s.pixels());
            };
#ifdef QMPIC_OPENCV
            const int rows = static_cast<int>(edge);
            const cv::Mat picture = s.mat(f.bits == 8 ? CV_8U : CV_16U),
                          chosen(rows, rows, CV_8U, const_cast<void*>(mask));
            if (f.components == 1 && mask_bits == 8)
                job.peer = [=] { peer_histogram(picture, 1u << f.bpc, chosen); };
#endif
            return job;
        });
}

const bool registered = add_family([] {
    for (const auto& k : kHistogram) {
        const uint32_t n = count(k.source);
        if (k.source.bits == 8) {
            add_counting(k, {n, 8, 8}, "", false);
        } else {
            add_counting(k, {n, 16, 12}, "of_12_bits_", false);
            if (n == 1) add_counting(k, {n, 16, 16}, "of_16_bits_", false);
        }
    }
    for (const auto& k : kHistogramInt) {
        const uint32_t n = count(k.source);
        if (k.source.bits == 8)
            add_counting(k, {n, 8, 8}, "", true);
        else
            add_counting(k, {n, 16, 12}, "of_12_bits_", true);
#ifdef QMPIC_VIPS
        if (n == 4 && k.source.bits == 16) add_libvips(k, {n, 16, 12});
#endif
    }
    add_masked(kHistogramBin, 8);
    add_masked(kHistogramBin16, 16);
    for (const auto& k : kHistogramDiv)
        add(k.name, [=](uint32_t edge) {
            const Format f{count(k.source), k.source.bits, 12};
            const Picture s = picture_of({f.components * f.bits / 16, 16, 12}, kReal, edge);
            Job job;
            job.bytes = s.size();
            job.ours = [=] {
                Bins to(256);
                k.run(to.components, 4, 8, s.data, s.stride(), f.components, f.bpc, 1, 1, s.edge,
                      s.pixels());
            };
            return job;
        });
    for (const auto& k : kHistogramComp)
        add(k.name, [=](uint32_t edge) {
            const Picture s = picture_of({4, 16, 12}, kReal, edge);
            Job job;
            job.bytes = s.size();
            job.ours = [=] {
                Bins to(4096);
                k.run(to.components, 4, s.data, 1, 4, s.stride(), 1, 1, 12, s.edge, s.pixels());
            };
            return job;
        });
    for (const auto& k : kHistoAdd)
        add(k.name, [=](uint32_t edge) {  // 16, 2^8 bins; 512, 2^16; 2048, 2^18
            const Picture d(kDestination, edge, 1, 32), s(kFirst, edge, 1, 32);
            const uint32_t bits = edge == 16 ? 8 : edge == 512 ? 16 : 18;
            Job job;
            job.bytes = uint64_t{12} << bits;
            job.ours = [=] { k.run(s.data, nullptr, d.data, nullptr, bits, 1, 4); };
#ifdef QMPIC_OPENCV
            const int columns = 1 << bits;
            const cv::Mat a(1, columns, CV_32S, s.data), b(1, columns, CV_32S, d.data);
            job.peer = [=] { cv::add(a, b, b); };
#endif
            return job;
        });
});

}  // namespace
}  // namespace qmpic::bench
