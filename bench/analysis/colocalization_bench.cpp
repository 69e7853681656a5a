#include <cmath>
#include <vector>

#include "analysis/correlation_kernels.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support.h"

// Two pictures of cells that resemble each other, with noise. The peer of one component is OpenCV
// with what it has, two sums and three dot products; of all else it is the plain loop of the
// definition, sums in doubles.

namespace qmpic::bench {
namespace {

constexpr uint32_t kEdge = 2048;

/// `samples` of a picture with values up to `top`; `first` differs between the two pictures.
template <class T>
std::vector<T> cells(bool first, double low, double top, uint64_t samples) {
    std::vector<T> all(samples);
    uint32_t state = first ? 1 : 2;
    for (uint64_t i = 0; i < samples; ++i) {
        state = state * 1664525 + 1013904223;
        const double x = static_cast<double>(i % kEdge), y = static_cast<double>(i / kEdge);
        const double shape = 0.4 * std::sin(x / 50) * std::sin(y / 40) + 0.5;
        const double value = shape * (first ? 0.9 : 0.7) + 0.1 * (state >> 8) / 16777216.0;
        all[i] = static_cast<T>(low + value * (top - low));
    }
    return all;
}

/// Kept for all benchmarks: one picture a type, range and side.
template <class T, uint32_t low, uint32_t top>
const void* picture(bool first) {
    static const std::vector<T> pictures[2] = {cells<T>(true, low, top, kEdge * kEdge * 3),
                                               cells<T>(false, low, top, kEdge * kEdge * 3)};
    return pictures[first ? 0 : 1].data();
}

const std::vector<uint8_t>& mask() {
    static const std::vector<uint8_t> all = [] {
        std::vector<uint8_t> bytes;
        for (uint32_t i = 0; i < kEdge * kEdge; ++i) bytes.push_back(i / 37 % 2 != 0 ? 255 : 0);
        return bytes;
    }();
    return all;
}

template <class A, class B>
double correlate_plainly(const void* pa, const void* pb, uint64_t components, uint64_t pixels) {
    const auto* const a = static_cast<const A*>(pa);
    const auto* const b = static_cast<const B*>(pb);
    double mean = 0;
    for (uint64_t c = 0; c < components; ++c) {
        double s1 = 0, s2 = 0, q1 = 0, q2 = 0, p = 0;
        for (uint64_t i = 0; i < pixels; ++i) {
            const double x = a[i * components + c], y = b[i * components + c];
            s1 += x;
            s2 += y;
            q1 += x * x;
            q2 += y * y;
            p += x * y;
        }
        const auto n = static_cast<double>(pixels);
        mean += (p - s2 * s1 / n) / std::sqrt((q2 - s2 * s2 / n) * (q1 - s1 * s1 / n));
    }
    return mean;
}

#ifdef QMPIC_OPENCV
void correlate_by_opencv(const void* a, const void* b, uint32_t edge, int depth) {
    const int rows = static_cast<int>(edge);
    const cv::Mat x(rows, rows, depth, const_cast<void*>(a)),
        y(rows, rows, depth, const_cast<void*>(b));
    const double all = cv::sum(x)[0] + cv::sum(y)[0] + x.dot(x) + y.dot(y) + x.dot(y);
    benchmark::DoNotOptimize(all);
}
#endif

/// `run(a, stride_a, b, stride_b, components, edge, pixels, result)`
template <class A, class B, class Run>
void add_correlation(std::string name, const void* a, const void* b, uint32_t components,
                     bool by_opencv, Run run) {
    add(name, [=](uint32_t edge) {
        const uint32_t line = edge * components, pixels = edge * edge;
        Job job;
        job.bytes = uint64_t{pixels} * components * (sizeof(A) + sizeof(B));
        job.ours = [=] {
            double result;
            run(a, line * static_cast<uint32_t>(sizeof(A)), b,
                line * static_cast<uint32_t>(sizeof(B)), components, edge, pixels, result);
            benchmark::DoNotOptimize(result);
        };
        job.peer_name = "plain";
        job.peer = [=] {
            benchmark::DoNotOptimize(correlate_plainly<A, B>(a, b, components, pixels));
        };
#ifdef QMPIC_OPENCV
        if (by_opencv) {
            job.peer_name = "opencv";
            job.peer = [=] { correlate_by_opencv(a, b, edge, sizeof(A) == 1 ? CV_8U : CV_16U); };
        }
#endif
        return job;
    });
}

template <class A, class B>
void add_known(std::string name, CorrelationKernel* kernel, const void* a, const void* b,
               uint32_t components, bool by_opencv = false) {
    add_correlation<A, B>(
        name, a, b, components, by_opencv,
        [=](const void* pa, uint32_t wa, const void* pb, uint32_t wb, uint32_t, uint32_t width,
            uint32_t size, double& result) { kernel(pa, wa, pb, wb, width, size, result); });
}
template <class A, class B>
void add_any(std::string name, CorrelationNKernel* kernel, const void* a, const void* b) {
    add_correlation<A, B>(name, a, b, kAnyCount, false,
                          [=](const void* pa, uint32_t wa, const void* pb, uint32_t wb,
                              uint32_t components, uint32_t width, uint32_t size, double& result) {
                              kernel(pa, wa, pb, wb, components, width, size, result, nullptr);
                          });
}

void add_correlations() {
    const auto bytes = picture<uint8_t, 0, 255>;
    const auto words = picture<uint16_t, 0, 65535>;
    const auto deep = picture<uint16_t, 0, 4095>;
    const auto bright = picture<uint16_t, 60000, 65535>;
    const auto floats = picture<float, 0, 1000>;
    add_known<uint8_t, uint8_t>("linar_correlation_1x8", linar_correlation_1x8, bytes(true),
                                bytes(false), 1, true);
    add_known<uint16_t, uint16_t>("linar_correlation_1x16", linar_correlation_1x16, words(true),
                                  words(false), 1, true);
    add_known<uint16_t, uint16_t>("linar_correlation_1x16:at_12_bits", linar_correlation_1x16,
                                  deep(true), deep(false), 1, true);
    // Half of the largest picture lies beyond 2^53.
    add_known<uint16_t, uint16_t>("linar_correlation_1x16:bright", linar_correlation_1x16,
                                  bright(true), bright(false), 1);
    add_known<uint8_t, uint16_t>("linar_correlation_1x8_16", linar_correlation_1x8_16, bytes(true),
                                 deep(false), 1);
    add_known<uint8_t, uint8_t>("linar_correlation_3x8", linar_correlation_3x8, bytes(true),
                                bytes(false), 3);
    add_known<uint16_t, uint16_t>("linar_correlation_3x16", linar_correlation_3x16, deep(true),
                                  deep(false), 3);
    add_known<uint8_t, uint16_t>("linar_correlation_3x8_16", linar_correlation_3x8_16, bytes(true),
                                 deep(false), 3);
    add_any<uint8_t, uint8_t>("linar_correlation_Nx8", linar_correlation_Nx8, bytes(true),
                              bytes(false));
    add_any<uint16_t, uint16_t>("linar_correlation_Nx16", linar_correlation_Nx16, deep(true),
                                deep(false));
    add_any<uint8_t, uint16_t>("linar_correlation_Nx8_16", linar_correlation_Nx8_16, bytes(true),
                               deep(false));
    add_any<float, float>("linar_correlation_Nx32", linar_correlation_Nx32, floats(true),
                          floats(false));
}

template <class T>
void colocalize_plainly(const void* pa, const void* pb, uint64_t step, const uint8_t* chosen,
                        uint64_t pixels, T threshold) {
    const auto* const a = static_cast<const T*>(pa);
    const auto* const b = static_cast<const T*>(pb);
    double sum_a = 0, sum_b = 0, aa = 0, bb = 0, ab = 0, a_where_b = 0, b_where_a = 0, n = 0;
    for (uint64_t i = 0; i < pixels; ++i) {
        if (chosen != nullptr && chosen[i] == 0) continue;
        const T first = a[i * step], second = b[i * step];
        const double x = first > threshold ? static_cast<T>(first - threshold) : T(0);
        const double y = second > threshold ? static_cast<T>(second - threshold) : T(0);
        sum_a += x;
        sum_b += y;
        aa += x * x;
        bb += y * y;
        ab += x * y;
        a_where_b += y != 0 ? x : 0;
        b_where_a += x != 0 ? y : 0;
        n += 1;
    }
    double all = sum_a + sum_b + aa + bb + ab + a_where_b + b_where_a + n;
    benchmark::DoNotOptimize(all);
}

/// Two pictures of one component, or (step 2) two components of one picture.
template <class T>
void add_colocalization(std::string name, const void* a, const void* b, uint32_t bpc, uint32_t step,
                        T threshold) {
    for (const bool masked : {false, true})
        add(name + (masked ? "_masked" : ""), [=](uint32_t edge) {
            const auto stride = static_cast<uint32_t>(edge * step * sizeof(T));
            const uint32_t pixels = edge * edge, limit = static_cast<uint32_t>(threshold);
            const void* const other = step == 1 ? b : static_cast<const T*>(a) + 1;
            Job job;
            job.bytes = uint64_t{pixels} * sizeof(T) * 2 + (masked ? pixels : 0);
            job.ours = [=] {
                double r[9];
                if constexpr (std::is_same_v<T, float>) {
                    const auto *const fa = static_cast<const float*>(a),
                                      *const fb = static_cast<const float*>(other);
                    if (masked)
                        CQmFloatPicMemAPI_Base::Colocalization(
                            fa, stride, fb, stride, step, mask().data(), edge, 0, edge, pixels,
                            limit, limit, r[0], r[1], r[2], r[3], r[4], r[5], r[6], r[7], r[8]);
                    else
                        CQmFloatPicMemAPI_Base::Colocalization(
                            fa, stride, fb, stride, step, edge, pixels, limit, limit, r[0], r[1],
                            r[2], r[3], r[4], r[5], r[6], r[7], r[8]);
                } else if (masked) {
                    CQmPicMemAPI_Base::Colocalization(
                        a, stride, other, stride, step, bpc, mask().data(), edge, 0, edge, pixels,
                        limit, limit, r[0], r[1], r[2], r[3], r[4], r[5], r[6], r[7], r[8]);
                } else {
                    CQmPicMemAPI_Base::Colocalization(a, stride, other, stride, step, bpc, edge,
                                                      pixels, limit, limit, r[0], r[1], r[2], r[3],
                                                      r[4], r[5], r[6], r[7], r[8]);
                }
                benchmark::DoNotOptimize(r);
            };
            job.peer_name = "plain";
            job.peer = [=] {
                colocalize_plainly<T>(a, other, step, masked ? mask().data() : nullptr, pixels,
                                      threshold);
            };
            return job;
        });
}

void add_map() {
    const auto a = picture<uint16_t, 0, 4095>(true), b = picture<uint16_t, 0, 4095>(false);
    add("colocalization_map:12_bits", [=](uint32_t edge) {
        Job job;
        job.bytes = uint64_t{edge} * edge * 12;
        job.ours = [=] {
            auto* const map = reinterpret_cast<double*>(Picture::memory(kDestination));
            CQmPicMemAPI_Base::GetColocalizationMap(a, edge * 2, b, edge * 2, 1, 12, edge,
                                                    edge * edge, 300, 300, map);
        };
        return job;
    });
}

const bool registered = add_family([] {
    add_correlations();
    add_colocalization<uint8_t>("colocalization:8_bits", picture<uint8_t, 0, 255>(true),
                                picture<uint8_t, 0, 255>(false), 8, 1, 30);
    add_colocalization<uint16_t>("colocalization:12_bits", picture<uint16_t, 0, 4095>(true),
                                 picture<uint16_t, 0, 4095>(false), 12, 1, 500);
    add_colocalization<uint16_t>("colocalization:12_bits_of_2", picture<uint16_t, 0, 4095>(true),
                                 nullptr, 12, 2, 500);
    add_colocalization<uint16_t>("colocalization:16_bits", picture<uint16_t, 0, 65535>(true),
                                 picture<uint16_t, 0, 65535>(false), 16, 1, 8000);
    add_colocalization<uint16_t>("colocalization:bright", picture<uint16_t, 60000, 65535>(true),
                                 picture<uint16_t, 60000, 65535>(false), 16, 1, 100);
    add_colocalization<float>("colocalization:floats", picture<float, 0, 1000>(true),
                              picture<float, 0, 1000>(false), 32, 1, 100);
    add_map();
});

}  // namespace
}  // namespace qmpic::bench
