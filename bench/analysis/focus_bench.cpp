#include <cmath>
#include <string>

#include "analysis/focus_kernels.h"
#include "float/floats.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "support.h"

namespace qmpic::bench {
namespace {

using Api = CQmPicMemAPI_Base;

double result;

#ifdef QMPIC_OPENCV
cv::Mat mat(const Picture& p) { return p.mat(p.bytes == 1 ? CV_8U : CV_16U); }

/// Pixels and their right neighbours.
void gradient_by_norms(const Picture& p) {
    const cv::Mat all = mat(p), left = all.colRange(0, all.cols - 1),
                  right = all.colRange(1, all.cols);
    result = std::sqrt(cv::norm(right, left, cv::NORM_L2SQR) / cv::norm(left, cv::NORM_L2SQR));
}
void noise_by_filter(const Picture& p) {
    const cv::Matx33f mask(1, -2, 1, -2, 4, -2, 1, -2, 1);
    static cv::Mat filtered;
    cv::filter2D(mat(p), filtered, p.bytes == 1 ? CV_16S : CV_32F, mask);
    result = cv::norm(filtered, cv::NORM_L1);
}
void mean_by_sum(const Picture& p) { result = cv::sum(mat(p))[0]; }
#else
#endif

// As one would write it down.
template <class T>
void plain_autocorrelation(const Picture& p) {
    double sum = 0;
    for (uint32_t y = 0; y < p.edge; ++y) {
        const T* const s = reinterpret_cast<const T*>(p.data + uint64_t{y} * p.stride());
        sum += 1.0 * s[0] * s[1];
        for (uint32_t x = 2; x < p.edge; ++x) sum += (1.0 * s[x - 1] - s[x - 2]) * s[x];
    }
    result = sum / static_cast<double>(p.pixels());
}
template <class T>
void plain_read(const Picture& p) {
    uint64_t bits = 0;
    for (uint64_t i = 0; i + 8 <= p.size(); i += 8)
        bits |= *reinterpret_cast<const uint64_t*>(p.data + i);
    benchmark::DoNotOptimize(bits);
}

/// 12 bits in all words of the first picture, which other families expect as it was: a picture of
/// its own.
uint8_t* words_of_12_bits() {
    static const std::vector<uint16_t> words = [] {
        std::vector<uint16_t> all(size_t{2048} * 2048 * 3);
        for (size_t i = 0; i < all.size(); ++i)
            all[i] = static_cast<uint16_t>((i * 2654435761u >> 13) & 4095);
        return all;
    }();
    return reinterpret_cast<uint8_t*>(const_cast<uint16_t*>(words.data()));
}

FocusCall call_of(const Picture& p, uint32_t bpc, Api::EQmFocusCriterium criterium,
                  int component = 0) {
    return {&result, component, p.data, p.stride(), p.components, bpc,      1,
            1,       0,         0,      p.edge,     p.pixels(),   criterium};
}

template <class List>
void add_list(const List& list, Api::EQmFocusCriterium criterium, void (*peer)(const Picture&)) {
    for (const auto& kernel : list) {
        if (kernel.source.real) continue;
        const uint32_t bits = kernel.source.bits == 8 ? 8 : 16;
        const uint32_t bpc = kernel.source.bits == 9 ? 12 : bits;
        for (const bool together : {false, true}) {
            if (together && kernel.source.components == 1) continue;
            add(std::string(kernel.name) + (together ? ":together" : ""), [=](uint32_t edge) {
                Picture p(kFirst, edge, count(kernel.source), bits);
                if (bpc == 12) p.data = words_of_12_bits();
                const FocusCall call = call_of(p, bpc, criterium, together ? -1 : 0);
                Job job;
                job.bytes = p.size();
                job.ours = [=] { kernel.run(call); };
                if (peer != nullptr && p.components == 1) job.peer = [=] { peer(p); };
                return job;
            });
        }
    }
}

const bool registered = add_family([] {
#ifdef QMPIC_OPENCV
    add_list(kGradientFocus, Api::FocusGradientPerEnergy, gradient_by_norms);
    add_list(kImmerkaerFocus, Api::FocusImmerkaer, noise_by_filter);
    add_list(kMaxIntFocus, Api::FocusMaxInt, mean_by_sum);
#else
    add_list(kGradientFocus, Api::FocusGradientPerEnergy, nullptr);
    add_list(kImmerkaerFocus, Api::FocusImmerkaer, nullptr);
    add_list(kMaxIntFocus, Api::FocusMaxInt, nullptr);
#endif
    add_list(kMultiScaleFocus, Api::FocusMultiScale, nullptr);
    for (const uint32_t bits : {8u, 16u}) {
        add("focus_levels_0_to_2:of_" + std::to_string(bits), [=](uint32_t edge) {
            const Picture p(kFirst, edge, 1, bits);
            FocusCall call = call_of(p, bits, Api::FocusImmerkaer);
            call.level_high = 2;
            Job job;
            job.bytes = p.size();
            job.ours = [=] {
                bits == 8 ? kImmerkaerFocus.find_stored(1, 8)(call)
                          : kImmerkaerFocus.find_stored(1, 16)(call);
            };
            return job;
        });
        add("focus_autocorrelation:of_" + std::to_string(bits), [=](uint32_t edge) {
            Picture p(kFirst, edge, 1, bits);
            if (bits == 16) p.data = words_of_12_bits();
            const FocusCall call = call_of(p, bits, Api::FocusAutocorrelation);
            Job job;
            job.bytes = p.size();
            job.ours = [=] {
                bits == 8 ? focus_by_autocorrelation_8(call) : focus_by_autocorrelation_16(call);
            };
            job.peer = [=] {
                bits == 8 ? plain_autocorrelation<uint8_t>(p) : plain_autocorrelation<uint16_t>(p);
            };
            job.peer_name = "plain";
            return job;
        });
        add("getfocus_maxint_1x" + std::to_string(bits) + ":reading", [=](uint32_t edge) {
            const Picture p(kFirst, edge, 1, bits);
            const FocusCall call = call_of(p, bits, Api::FocusMaxInt);
            Job job;
            job.bytes = p.size();
            job.ours = [=] { kMaxIntFocus.find_stored(1, bits)(call); };
            job.peer = [=] { plain_read<uint8_t>(p); };
            job.peer_name = "reading";
            return job;
        });
    }
    for (const bool of_class : {false, true})
        add(of_class ? "float_GetFocusCriterium" : "getfocuscriterium_float", [=](uint32_t edge) {
            const Picture p = picture(kFirst, edge, 1);
            const float* const x = floats(p);
            Job job;
            job.bytes = p.size();
            job.ours = [=] {
                of_class ? CQmFloatPicMemAPI_Base::GetFocusCriterium(&result, 0, x, p.stride(), 1,
                                                                     1, 1, 0, 0, edge, p.pixels(),
                                                                     Api::FocusGradientPerEnergy)
                         : getfocuscriterium_float(&result, 0, x, p.stride(), 1, 1, 32, edge,
                                                   p.pixels(), Api::FocusGradientPerEnergy);
            };
            return job;
        });
});

}  // namespace
}  // namespace qmpic::bench
