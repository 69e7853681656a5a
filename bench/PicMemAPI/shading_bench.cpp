#include <algorithm>

#include "PicMemAPI/shading.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support.h"

namespace qmpic::bench {
namespace {

/// A picture of light: brightest in the middle, never 0.
template <class T>
void light_up(const Picture& light, uint32_t top) {
    T* sample = reinterpret_cast<T*>(light.data);
    for (uint32_t y = 0; y < light.edge; ++y)
        for (uint32_t x = 0; x < light.edge; ++x)
            for (uint32_t c = 0; c < light.components; ++c) {
                const double u = 2.0 * x / light.edge - 1, v = 2.0 * y / light.edge - 1;
                *sample++ = static_cast<T>(top * (0.9 - 0.3 * (u * u + v * v)) + c);
            }
}

template <class T>
void divide_plainly(T* d, const T* s, const T* by, const uint32_t* constants, uint32_t components,
                    uint64_t pixels, uint32_t top) {
    for (uint64_t x = 0; x < pixels; ++x)
        for (uint32_t c = 0; c < components; ++c, ++d, ++s, ++by)
            *d = static_cast<T>(*by == 0 ? top : std::min(*s * constants[c] / *by, top));
}

enum Way { kPlain, kDivide, kShade };

template <class T>
void add_way(const std::string& name, Way way, uint32_t components, uint32_t bpc) {
    add(name, [=](uint32_t edge) {
        const Picture d(kDestination, edge, components, 8 * sizeof(T)),
            s(kFirst, edge, components, 8 * sizeof(T)),
            by(kSecond, edge, components, 8 * sizeof(T));
        Job job;
        job.bytes = d.size() + s.size() + by.size();
        const uint32_t top = (1u << bpc) - 1;
        const std::vector<uint32_t> constants(components, top - 30);
        light_up<T>(by, top);
        job.ours = [=] {
            if (way == kPlain)
                return divide_plainly(reinterpret_cast<T*>(d.data),
                                      reinterpret_cast<const T*>(s.data),
                                      reinterpret_cast<const T*>(by.data), constants.data(),
                                      components, d.pixels(), top);
            const int code = way == kDivide
                                 ? CQmPicMemAPI_Base::MulConstDiv(
                                       d.data, d.stride(), s.data, s.stride(), by.data, by.stride(),
                                       constants.data(), components, bpc, edge, d.pixels())
                                 : CQmPicMemAPI_Base::ApplyMultShading(
                                       d.data, d.stride(), s.data, s.stride(), by.data, by.stride(),
                                       components, bpc, edge, d.pixels());
            benchmark::DoNotOptimize(code);
        };
        return job;
    });
}

const bool registered = add_family([] {
    for (const uint32_t components : {1u, 2u, 3u, 5u}) {
        const std::string of = std::to_string(components);
        for (const auto& [name, way] :
             {std::pair{"MulConstDiv", kDivide}, std::pair{"ApplyMultShading", kShade},
              std::pair{"MulConstDiv_plain", kPlain}}) {
            add_way<uint8_t>(std::string(name) + ":" + of + "x8", way, components, 8);
            add_way<uint16_t>(std::string(name) + ":" + of + "x16", way, components, 12);
        }
    }
});

}  // namespace
}  // namespace qmpic::bench
