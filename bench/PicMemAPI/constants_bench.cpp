#include <algorithm>
#include <string>
#include <utility>

#include "PicMemAPI/constants_kernels.h"
#include "core/arithmetic.h"
#include "support.h"

namespace qmpic::bench {
namespace {

#ifdef QMPIC_OPENCV
using Mat = cv::Mat;
int depth(uint32_t bits) { return bits == 8 ? CV_8U : CV_16U; }
#else
struct Mat {};
#endif
using Peer = std::function<void(const Mat& to, const Mat& from)>;

constexpr int32_t kAdd[] = {100, -50, 30, 7};
constexpr double kMul[] = {1.3, 0.7, 1.1, 0.9, 3};
constexpr double kPow[] = {0.45, 2.2, 0.7, 1.2};
constexpr uint16_t kPixel[] = {100, 50, 30, 7};
constexpr uint8_t kBytes[] = {100, 50, 30, 7};

/// `ours(d, s)` on pictures of one format.
template <class Ours>
void add_job(std::string_view name, uint32_t components, uint32_t bits, Peer peer, Ours ours) {
    add(name, [=](uint32_t edge) {
        const Picture d(kDestination, edge, components, bits), s(kFirst, edge, components, bits);
        Job job;
        job.bytes = d.size() + s.size();
        job.ours = [=] { ours(d, s); };
#ifdef QMPIC_OPENCV
        if (peer && bits <= 16 && components <= 4) {
            const cv::Mat to = d.mat(depth(bits)), from = s.mat(depth(bits));
            job.peer = [=] { peer(to, from); };
        }
#endif
        return job;
    });
}

template <class Kernel, class... Constant>
void add_kernel(const std::string& variant, const NamedKernel<Kernel>& kernel, uint32_t bpc,
                const Peer& peer, const Constant*... k) {
    const uint32_t components = count(kernel.source);
    add_job(std::string(kernel.name) + variant, components, kernel.source.bits, peer,
            [=, run = kernel.run](const Picture& d, const Picture& s) {
                run(d.data, d.stride(), s.data, s.stride(), k..., components, bpc, d.edge,
                    d.pixels());
            });
}

/// Pictures of 32 x 32 pixels, whatever the size says.
template <class Kernel, class Constant>
void add_small(const NamedKernel<Kernel>& kernel, const Constant* k) {
    const uint32_t components = count(kernel.source), bits = kernel.source.bits;
    add(std::string(kernel.name) + ":of_32x32", [=, run = kernel.run](uint32_t) {
        const Picture d(kDestination, 32, components, bits), s(kFirst, 32, components, bits);
        Job job;
        job.bytes = d.size() + s.size();
        job.ours = [=] {
            run(d.data, d.stride(), s.data, s.stride(), k, components, bits, 32, 1024);
        };
        return job;
    });
}

/// What stands beside memcpy as ":plain": the formula, sample by sample.
template <class T>
void multiply_plainly(const Picture& d, const Picture& s, const double* k, uint32_t top) {
    auto* const to = reinterpret_cast<T*>(d.data);
    const auto* const from = reinterpret_cast<const T*>(s.data);
    for (uint64_t i = 0, x = 0; x < d.pixels(); ++x)
        for (uint32_t c = 0; c < d.components; ++c, ++i)
            to[i] = static_cast<T>(trunc_clamp((from[i] & top) * k[c] + 0.5, top));
}
void add_plainly(const Picture& d, const Picture& s, const int32_t* k, int32_t top) {
    auto* const to = reinterpret_cast<uint16_t*>(d.data);
    const auto* const from = reinterpret_cast<const uint16_t*>(s.data);
    for (uint64_t i = 0, x = 0; x < d.pixels(); ++x)
        for (uint32_t c = 0; c < d.components; ++c, ++i)
            to[i] = static_cast<uint16_t>(std::min(std::max((from[i] & top) + k[c], 0), top));
}

#ifdef QMPIC_OPENCV
cv::Scalar scalar(const auto* k) {
    return cv::Scalar(static_cast<double>(k[0]), static_cast<double>(k[1]),
                      static_cast<double>(k[2]), static_cast<double>(k[3]));
}
const Peer cv_add = [](const Mat& to, const Mat& from) { cv::add(from, scalar(kAdd), to); };
const Peer cv_subtract = [](const Mat& to, const Mat& from) {
    cv::subtract(from, scalar(kAdd), to);
};
const Peer cv_multiply = [](const Mat& to, const Mat& from) {
    cv::multiply(from, scalar(kMul), to);
};
const Peer cv_divide = [](const Mat& to, const Mat& from) { cv::divide(from, scalar(kMul), to); };
const Peer cv_min = [](const Mat& to, const Mat& from) {
    cv::min(cv::InputArray(from), scalar(kPixel), to);
};
const Peer cv_max = [](const Mat& to, const Mat& from) {
    cv::max(cv::InputArray(from), scalar(kPixel), to);
};
Peer at_12_bits(const Peer& peer) {
    return [=](const Mat& to, const Mat& from) {
        peer(to, from);
        cv::min(to, 4095, to);
    };
}
#else
const Peer cv_add, cv_subtract, cv_multiply, cv_divide, cv_min, cv_max;
Peer at_12_bits(const Peer& peer) { return peer; }
#endif

template <class List, class Constant>
void add_list(const List& list, const Peer& peer, const Constant* k) {
    for (const auto& kernel : list) {
        add_kernel("", kernel, kernel.source.bits, peer, k);
        if (kernel.source.bits == 16)
            add_kernel(":at_12_bits", kernel, 12, peer ? at_12_bits(peer) : peer, k);
    }
}

const bool registered = add_family([] {
    add_list(kAddConstAndClip, cv_add, kAdd);
    add_list(kAddConstRotate, {}, kAdd);
    add_list(kSubConstAndClip, cv_subtract, kAdd);
    add_list(kMulConstAndClip, cv_multiply, kMul);
    add_list(kDivConstAndClip, cv_divide, kMul);
    add_list(kDivConstAndClip5, {}, kMul);
    for (const auto& [list, peer] :
         {std::pair{&kMinConstAndClip, cv_min}, {&kMaxConstAndClip, cv_max}})
        for (const auto& kernel : *list) {
            const bool bytes = kernel.source.bits == 8;
            add_kernel("", kernel, kernel.source.bits, peer,
                       bytes ? static_cast<const void*>(kBytes) : static_cast<const void*>(kPixel));
        }
    for (const auto& kernel : kAddMulPowConstAndClip) {
        add_kernel("", kernel, kernel.source.bits, {}, kMul, kMul, kPow);
        add_kernel(":straight", kernel, kernel.source.bits, {}, kMul, kMul,
                   static_cast<const double*>(nullptr));
    }
    for (const auto& kernel : kSubAddConstAndClip) {
        const uint32_t components = count(kernel.source), bits = kernel.source.bits;
        add(kernel.name, [=, run = kernel.run](uint32_t edge) {
            const Picture d(kDestination, edge, components, bits),
                a(kFirst, edge, components, bits), b(kSecond, edge, components, bits);
            Job job;
            job.bytes = d.size() + a.size() + b.size();
            job.ours = [=] {
                run(d.data, d.stride(), a.data, a.stride(), b.data, b.stride(), kAdd, components,
                    bits, edge, d.pixels());
            };
            return job;
        });
    }
    for (const auto& kernel : kAddConstAndClip)
        if (kernel.source.bits == 16) add_small(kernel, kAdd);
    for (const auto& kernel : kMulConstAndClip)
        if (kernel.source.bits == 16) add_small(kernel, kMul);
    add_job("addconstandclip_3x16:plain", 3, 16, {},
            [](const Picture& d, const Picture& s) { add_plainly(d, s, kAdd, 65535); });
    add_job("mulconstandclip_3x16:plain", 3, 16, {}, [](const Picture& d, const Picture& s) {
        multiply_plainly<uint16_t>(d, s, kMul, 65535);
    });
    add_job("mulconstandclip_3x8:plain", 3, 8, {},
            [](const Picture& d, const Picture& s) { multiply_plainly<uint8_t>(d, s, kMul, 255); });
});

}  // namespace
}  // namespace qmpic::bench
