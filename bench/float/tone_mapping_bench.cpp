#include <cmath>

#include "core/arithmetic.h"
#include "float/floats.h"
#include "float/tone_mapping_kernels.h"
#include "support.h"

namespace qmpic::bench {
namespace {

struct Constants {
    float low = 1e30f, high = 0;
    Constants(const float* s, uint64_t count, uint32_t step) {
        for (uint64_t i = 0; i < count; i += step) {
            if (s[i] > high) high = s[i];
            if (s[i] < low && s[i] > 0.0f) low = s[i];
        }
    }
};

/// The formulas of bytes, sample by sample; `make` gives what maps the samples of a component.
template <class Make>
void map_plainly(const Picture& d, const Picture& s, Make make) {
    const uint64_t count = s.pixels() * s.components;
    for (uint32_t c = 0; c < s.components; ++c) {
        const float* const from = floats(s) + c;
        const auto map = make(Constants(from, count - c, s.components));
        for (uint64_t i = 0; i < count - c; i += s.components)
            d.data[i + c] = static_cast<uint8_t>(trunc_i32(map(from[i])));
    }
    benchmark::ClobberMemory();
}

void drago_plainly(const Picture& d, const Picture& s) {
    map_plainly(d, s, [](const Constants& of) {
        const float scale = 2.55f / std::log10(of.high + 1.0f);
        return [=](float x) {
            float y = std::log(x + 1.0f) * scale /
                      std::log(std::pow(x / of.high, 0.2344652f) * 8.0f + 2.0f);
            y = y > 255.0f ? 255.0f : y;
            return y < 0.0f ? 0.0f : y;
        };
    });
}
void tumblin_plainly(const Picture& d, const Picture& s) {
    map_plainly(d, s, [](const Constants& of) {
        const float mean = std::sqrt(of.low * of.high);
        const auto steep = static_cast<float>(double{of.high} * 0.11764705882352941 / of.low);
        return [=](float x) {
            const float p = (x / mean * 0.5f + 0.5f) * steep, divisor = x * p - x + of.high;
            return static_cast<double>(p) * 255.0 * x / divisor;
        };
    });
}
void tumblin_param_plainly(const Picture& d, const Picture& s) {
    map_plainly(d, s, [](const Constants& of) {
        return [=](float x) {
            const float p = 4, divisor = x * p - x + of.high;
            return x * (p * 255.0) / divisor;
        };
    });
}

using Plainly = void(const Picture&, const Picture&);

template <class List, class... Param>
void add_list(const List& list, Plainly* plainly, Param... param) {
    for (const auto& kernel : list)
        for (const uint32_t components : {1u, 3u}) {
            std::string name(kernel.name);
            if (components != 1) name += ":of_3_components";
            add(name, [=](uint32_t edge) {
                const Picture d = picture(kDestination, edge, components, kernel.source.bits),
                              s = picture(kFirst, edge, components);
                Job job;
                job.bytes = d.size() + s.size();
                job.ours = [=] {
                    kernel.run(d.data, kernel.source.bits, d.stride(), floats(s), edge, edge,
                               components, param...);
                };
                if (kernel.source.bits == 8) job.peer = [=] { plainly(d, s); };
                job.peer_name = "plainly";
                return job;
            });
        }
}

const bool registered = add_family([] {
    add_list(kDrago, drago_plainly);
    add_list(kDragoParam, drago_plainly, 0u);
    add_list(kTumblin, tumblin_plainly);
    add_list(kTumblinParam, tumblin_param_plainly, 4u);
});

}  // namespace
}  // namespace qmpic::bench
