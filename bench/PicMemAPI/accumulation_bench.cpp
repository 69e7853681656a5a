#include <cstring>

#include "PicMemAPI/accumulation_kernels.h"
#include "core/rows.h"
#include "support.h"

namespace qmpic::bench {
namespace {

/// Two planes of weights, as an average has them that is fed again and again.
template <class Real>
struct Weights {
    std::vector<Real> a = std::vector<Real>(size_t{2048} * 2048, Real(1.5)), w = a;
    static Weights& get() {
        static Weights weights;
        return weights;
    }
};

// The formula as it stands, one sample after the other.
template <class T, class Real>
void update_plainly(T* d, Real* a, const T* s, const Real* w, uint64_t pixels, uint32_t components,
                    Real half) {
    for (uint64_t x = 0; x < pixels; ++x) {
        for (uint32_t c = 0; c < components; ++c) {
            T& old = d[x * components + c];
            const Real sum =
                static_cast<Real>(s[x * components + c]) * w[x] + static_cast<Real>(old) * a[x];
            old = static_cast<T>(static_cast<int32_t>(sum / (w[x] + a[x]) + half));
        }
        a[x] += w[x];
    }
}

template <class T, class Real>
void add_plain_average(std::string_view name, uint32_t components) {
    add(std::string(name) + ":plain", [=](uint32_t edge) {
        const Picture d(kDestination, edge, components, 8 * sizeof(T)),
            s(kFirst, edge, components, 8 * sizeof(T));
        Job job;
        job.bytes = 2 * d.size() + s.size() + 3 * sizeof(Real) * d.pixels();
        auto& weights = Weights<Real>::get();  // made before the clock runs
        job.ours = [=, &weights] {
            update_plainly(reinterpret_cast<T*>(d.data), weights.a.data(),
                           reinterpret_cast<const T*>(s.data), weights.w.data(), d.pixels(),
                           components, sizeof(Real) == 8 ? Real(0.5) : Real(0));
        };
        return job;
    });
}

template <class Real, class Kernel>
void add_average(const std::string& name, Kernel* run, uint32_t components, uint32_t bits) {
    add(name, [=](uint32_t edge) {
        const Picture d(kDestination, edge, components, bits), s(kFirst, edge, components, bits);
        Job job;
        job.bytes = 2 * d.size() + s.size() + 3 * sizeof(Real) * d.pixels();
        auto& weights = Weights<Real>::get();
        job.ours = [=, &weights] {
            const auto stride = static_cast<uint32_t>(edge * sizeof(Real));
            run(d.data, d.stride(), weights.a.data(), stride, s.data, s.stride(), weights.w.data(),
                stride, components, edge, d.pixels());
        };
        return job;
    });
}

template <class Real, class List>
void add_averages(const List& list) {
    for (const auto& kernel : list) {
        const std::string name(kernel.name);
        const uint32_t components = count(kernel.source), bits = kernel.source.bits;
        add_average<Real>(name, kernel.run, components, bits);
        if (bits == 8)
            add_plain_average<uint8_t, Real>(name, components);
        else if (bits == 16)
            add_plain_average<uint16_t, Real>(name, components);
        if (kernel.source.components != 0) continue;
        for (const uint32_t more : {5u, 8u, 31u})
            add_average<Real>(name + ":of_" + std::to_string(more), kernel.run, more, bits);
    }
}

/// What reading alone costs.
uint64_t read_all(const void* data, uint64_t bytes) {
    uint64_t result = 0;
    on_best_isa([=, &result] {
        const auto* const words = static_cast<const Sample<uint64_t>*>(data);
        uint64_t lanes[32] = {};
        for (uint64_t x = 0; x + 32 <= bytes / 8; x += 32)
            for (uint64_t i = 0; i < 32; ++i) lanes[i] |= words[x + i];
        for (const uint64_t lane : lanes) result |= lane;
    });
    return result;
}

void add_sum(const std::string& name, SumValuesNKernel* run, uint32_t components, uint32_t bits) {
    add(name, [=](uint32_t edge) {
        const Picture s(kFirst, edge, components, bits);
        Job job;
        job.bytes = s.size();
        job.ours = [=] {
            uint64_t sums[64] = {};
            run(sums, s.data, components, s.stride(), edge, s.pixels());
            benchmark::DoNotOptimize(sums);
        };
#ifdef QMPIC_OPENCV
        if (components <= 4) {
            const cv::Mat from = s.mat(bits == 8 ? CV_8U : CV_16U);
            job.peer = [=] { benchmark::DoNotOptimize(cv::sum(from)); };
        }
#endif
        return job;
    });
    add(name + ":reading", [=](uint32_t edge) {
        const Picture s(kFirst, edge, components, bits);
        Job job;
        job.bytes = s.size();
        job.ours = [=] { benchmark::DoNotOptimize(read_all(s.data, s.size())); };
        return job;
    });
}

const bool registered = add_family([] {
    add_averages<double>(kAverageUpdate);
    add_averages<float>(kAverageUpdateFloat);
    for (const auto& kernel : kSumValues) {
        const std::string name(kernel.name);
        const uint32_t bits = kernel.source.bits;
        add_sum(name, kernel.run, count(kernel.source), bits);
        if (kernel.source.components != 0) continue;
        for (const uint32_t more : {4u, 5u, 31u})
            add_sum(name + ":of_" + std::to_string(more), kernel.run, more, bits);
    }
});

}  // namespace
}  // namespace qmpic::bench
