#include "PicMemAPI/two_picture_kernels.h"
#include "support.h"

namespace qmpic::bench {
namespace {

#ifdef QMPIC_OPENCV
using Mat = cv::Mat;
int depth(uint32_t bits) { return bits == 8 ? CV_8U : CV_16U; }
#else
struct Mat {};
#endif
using Peer = void (*)(const Mat& to, const Mat& a, const Mat& b);

// Two sources and a destination of one format; `ours(d, a, b)`.
template <class Ours>
MakeJob job(uint32_t components, uint32_t bits, [[maybe_unused]] Peer peer, Ours ours) {
    return [=](uint32_t edge) {
        const Picture d(kDestination, edge, components, bits), a(kFirst, edge, components, bits),
            b(kSecond, edge, components, bits);
        Job job;
        job.bytes = d.size() + a.size() + b.size();
        job.ours = [=] { ours(d, a, b); };
#ifdef QMPIC_OPENCV
        const cv::Mat to = d.mat(depth(bits)), x = a.mat(depth(bits)), y = b.mat(depth(bits));
        if (bits <= 16)  // there is no unsigned 32-bit picture
            job.peer = [=] { peer(to, x, y); };
#endif
        return job;
    };
}

void add_plain(std::string_view name, const NamedKernel<TwoPictureKernel>& kernel, uint32_t bpc,
               Peer peer) {
    const uint32_t components = count(kernel.source);
    add(name, job(components, kernel.source.bits, peer,
                  [=, run = kernel.run](const Picture& d, const Picture& a, const Picture& b) {
                      run(d.data, d.stride(), a.data, a.stride(), b.data, b.stride(), components,
                          bpc, d.edge, d.pixels());
                  }));
}

void add_weighted(std::string_view name, const NamedKernel<AddTranspKernel>& kernel, uint32_t bpc,
                  double weight1, double weight2, Peer peer) {
    const uint32_t components = count(kernel.source);
    add(name, job(components, kernel.source.bits, peer,
                  [=, run = kernel.run](const Picture& d, const Picture& a, const Picture& b) {
                      run(d.data, d.stride(), weight1, a.data, a.stride(), weight2, b.data,
                          b.stride(), components, bpc, d.edge, d.pixels());
                  }));
}

// What a plain loop costs stands beside memcpy under the name of the kernel with ":plain".
void blend_plainly(const Picture& d, const Picture& s, const uint8_t (*table)[256]) {
    for (uint64_t i = 0; i < d.size(); ++i) d.data[i] = table[d.data[i]][s.data[i]];
}

void add_blend() {
    static const std::vector<uint8_t> table = [] {
        std::vector<uint8_t> cells(65536);
        for (size_t i = 0; i < cells.size(); ++i) cells[i] = static_cast<uint8_t>(i / 256 + i);
        return cells;
    }();
    const auto rows = reinterpret_cast<const uint8_t(*)[256]>(table.data());
    const auto make = [=](bool plainly) {
        return [=](uint32_t edge) {
            const Picture d(kDestination, edge, 1, 8), s(kSecond, edge, 1, 8);
            Job job;
            job.bytes = 2 * d.size() + s.size();
            job.ours = [=] {
                if (plainly) return blend_plainly(d, s, rows);
                blend_two(d.data, d.stride(), s.data, s.stride(), rows, 1, 8, edge, d.pixels());
            };
            return job;
        };
    };
    add("blend_two", make(false));
    add("blend_two:plain", make(true));
}

void add_mask(const NamedKernel<MaskOutKernel>& kernel) {
    const uint32_t components = count(kernel.source), bits = kernel.source.bits;
    add(kernel.name, [=, run = kernel.run](uint32_t edge) {
        const Picture d(kDestination, edge, components, bits);
        Job job;
        job.bytes = 2 * d.size();
        job.ours = [=] { run(d.data, d.stride(), 0xFFF0, components, edge, d.pixels()); };
#ifdef QMPIC_OPENCV
        const cv::Mat to = d.mat(depth(bits));
        job.peer = [=] { cv::bitwise_and(to, cv::Scalar::all(bits == 8 ? 0xF0 : 0xFFF0), to); };
#endif
        return job;
    });
}

#ifdef QMPIC_OPENCV
void cv_add(const Mat& to, const Mat& a, const Mat& b) { cv::add(a, b, to); }
void cv_add_12(const Mat& to, const Mat& a, const Mat& b) {
    cv::add(a, b, to);
    cv::min(to, 4095, to);
}
void cv_subtract(const Mat& to, const Mat& a, const Mat& b) { cv::subtract(a, b, to); }
void cv_min(const Mat& to, const Mat& a, const Mat& b) { cv::min(cv::InputArray(a), b, to); }
void cv_max(const Mat& to, const Mat& a, const Mat& b) { cv::max(cv::InputArray(a), b, to); }
template <int tenths1, int tenths2>
void cv_weighted(const Mat& to, const Mat& a, const Mat& b) {
    cv::addWeighted(a, tenths1 / 10.0, b, tenths2 / 10.0, 0, to);
}
#else
constexpr Peer cv_add = nullptr, cv_add_12 = nullptr, cv_subtract = nullptr, cv_min = nullptr,
               cv_max = nullptr;
template <int, int>
constexpr Peer cv_weighted = nullptr;
#endif

const bool registered = add_family([] {
    for (const auto& kernel : kAddAndClip)
        add_plain(kernel.name, kernel, kernel.source.bits, cv_add);
    for (const auto& kernel : kAddAndClip)
        if (kernel.name == "addandclip_1x16")
            add_plain("addandclip_1x16:at_12_bits", kernel, 12, cv_add_12);
    for (const auto& kernel : kSubAndClip)
        add_plain(kernel.name, kernel, kernel.source.bits, cv_subtract);
    for (const auto& kernel : kMin) add_plain(kernel.name, kernel, kernel.source.bits, cv_min);
    for (const auto& kernel : kMax) add_plain(kernel.name, kernel, kernel.source.bits, cv_max);
    const auto weighted = [](const auto& list) {
        for (const auto& kernel : list)
            add_weighted(kernel.name, kernel, kernel.source.bits, 0.5, 0.5, cv_weighted<5, 5>);
        // The other ways: sums that clip, and weights that only the general one knows.
        const auto& one = *list.begin();
        const std::string name(one.name);
        const uint32_t bits = one.source.bits;
        add_weighted(name + ":clipped", one, bits == 8 ? 8 : 12, 0.8, 0.7, cv_weighted<8, 7>);
        add_weighted(name + ":negative", one, bits, 1.5, -0.5, cv_weighted<15, -5>);
    };
    weighted(kAddTranspAndClip);
    weighted(kAddTranspAndClip16);
    add_blend();
    for (const auto& kernel : kMaskOut) add_mask(kernel);
});

}  // namespace
}  // namespace qmpic::bench
