#include "qmpic/kernels/tone_mapping.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "core/arithmetic.h"
#include "core/kernels.h"
#include "core/rows.h"
#include "float/tone_mapping_kernels.h"
#include "qmpic/FloatPicMemAPI_Base.h"

// Two tone curves. A call is a walk over the components, each read twice: for its extremes, and to
// be mapped.

namespace {

using namespace qmpic;

struct Extremes {
    float least, greatest;
};

/// What is mapped: packed floats to bytes or words.
struct Picture {
    Dst dst;
    const float* first;
    Area area;
    uint64_t components;

    /// Sample `c` of the first pixel, then every `components`-th.
    const Sample<float>* source(uint64_t c) const { return Src{first, 0}.row<float>(0) + c; }
    uint64_t pixels() const { return area.width * area.rows; }
    uint32_t top_of_words() const {
        return components < 32 ? (uint32_t{1} << components) - 1 : 0xFFFFFFFF;
    }
};

/// Samples that are collected, mapped by vectors and spread.
constexpr uint64_t kBlock = 256;

/// Of the samples above 0, which a NaN is not.
Extremes find_extremes(const Picture& picture, uint64_t component) {
    Extremes found{1e30f, 0.0f};
    Extremes* const result = &found;
    on_best_isa([=] {
        constexpr uint64_t kLanes = 64;
        float least[kLanes], greatest[kLanes];
        std::fill_n(least, kLanes, 1e30f);
        std::fill_n(greatest, kLanes, 0.0f);
        const Sample<float>* const s = picture.source(component);
        const uint64_t step = picture.components, pixels = picture.pixels();
        const auto fold = [&](uint64_t lane, float x) {
            const float positive = x > 0.0f ? x : 1e30f;
            least[lane] = positive < least[lane] ? positive : least[lane];
            greatest[lane] = x > greatest[lane] ? x : greatest[lane];
        };
        uint64_t i = 0;
        if (step == 1)
            for (; i + kLanes <= pixels; i += kLanes)
                for (uint64_t lane = 0; lane < kLanes; ++lane) fold(lane, s[i + lane]);
        for (; i < pixels; ++i) fold(i % kLanes, s[i * step]);
        result->least = *std::min_element(least, least + kLanes);
        result->greatest = *std::max_element(greatest, greatest + kLanes);
    });
    return found;
}

/// y = map(x) of a component, `map` for many samples at once.
template <class T, class Map>
void map_component(const Picture& picture, uint64_t component, Map map) {
    on_best_isa([=] {
        float collected[kBlock];
        uint32_t mapped[kBlock];
        const uint64_t step = picture.components, width = picture.area.width;
        for (uint64_t y = 0; y < picture.area.rows; ++y) {
            const Sample<float>* const s = picture.source(component) + y * width * step;
            Sample<T>* const d = picture.dst.row<T>(y) + component;
            for (uint64_t x = 0; x < width; x += kBlock) {
                const uint64_t count = std::min(kBlock, width - x);
                for (uint64_t i = 0; i < count; ++i) collected[i] = s[(x + i) * step];
                map(mapped, collected, count);
                for (uint64_t i = 0; i < count; ++i) d[(x + i) * step] = static_cast<T>(mapped[i]);
            }
        }
    });
}

// ----- Drago -------------------------------------------------------------------------------------

/// The curve as it is defined: in single precision, step by step.
struct Drago {
    float exponent, scale, greatest, top;

    Drago(float greatest_, double unit, uint32_t top_)
        : exponent(static_cast<float>(std::log(0.85) / std::log(0.5))),
          scale(static_cast<float>(unit) / std::log10(greatest_ + 1.0f)),
          greatest(greatest_),
          top(static_cast<float>(top_)) {}

    uint32_t operator()(float x) const {
        const float y =
            std::log(x + 1.0f) * scale / std::log(std::pow(x / greatest, exponent) * 8.0f + 2.0f);
        const float below = y > top ? top : y;
        return static_cast<uint32_t>(trunc_i32(below < 0.0f ? 0.0f : below));
    }
};

/// Where the curve passes whole numbers. It has few, since its range is narrow, and three
/// logarithms a sample are dear: samples are compared instead, and computed only near such a place.
///
/// The curve rises between 0 and 65535 whatever the greatest sample is. There its slope in x / y is
/// x / ((x + 1) ln(x + 1)) less that of the divisor, which is 0.0876 at most, and the first is
/// above 1 / ln(65536) = 0.0901. Beyond it has a top and falls.
class Steps {
  public:
    static constexpr uint32_t kMost = 3;

    explicit Steps(const Drago& drago) : drago_(drago) {
        constexpr float never = std::numeric_limits<float>::quiet_NaN();
        std::fill_n(below_, kMost + 1, std::numeric_limits<float>::infinity());
        std::fill_n(from_, kMost + 1, never);
        if (drago.greatest == 0.0f) return;  // no sample is above 0
        const float limit = std::min(drago.greatest, 65535.0f);
        below_[kMost] = limit;
        const double y_of_limit = exact(limit), most = y_of_limit + margin(y_of_limit);
        useful_ = most < kMost + 1;  // also not of an infinite scale
        if (!useful_) return;
        for (uint32_t k = 0; k + 1 <= most; ++k) {
            const double y = k + 1;
            below_[k] = last_below(y - margin(y), limit);
            from_[k] =
                std::bit_cast<float>(std::bit_cast<uint32_t>(last_below(y + margin(y), limit)) + 1);
        }
    }
    bool are_useful() const { return useful_; }

    void operator()(uint32_t* y, const float* x, uint64_t count) const {
        uint32_t any = 0;
        for (uint64_t i = 0; i < count; ++i) {
            uint32_t above = 0, reached = 0;
            for (uint32_t k = 0; k <= kMost; ++k) {
                above += x[i] > below_[k];
                reached += x[i] >= from_[k];
            }
            y[i] = above == reached ? reached : kInDoubt;
            any |= y[i];
        }
        if ((any & kInDoubt) == 0) return;
        for (uint64_t i = 0; i < count; ++i)
            if (y[i] == kInDoubt) y[i] = drago_(x[i]);
    }

  private:
    static constexpr uint32_t kInDoubt = 0x80000000;

    /// The curve without the errors of single precision, of which there are two: those of the
    /// functions and products, in parts of y, and that of x + 1, which the scale makes great.
    double exact(double x) const {
        return std::log(x + 1.0) * drago_.scale /
               std::log(std::pow(x / drago_.greatest, drago_.exponent) * 8.0 + 2.0);
    }
    double margin(double y) const { return y * 1e-5 + drago_.scale * 1e-6; }

    /// The greatest float up to `limit` for which the curve is below y.
    float last_below(double y, float limit) const {
        uint32_t low = 0, high = std::bit_cast<uint32_t>(limit) + 1;
        while (high - low > 1) {
            const uint32_t middle = low + (high - low) / 2;
            (exact(std::bit_cast<float>(middle)) < y ? low : high) = middle;
        }
        return std::bit_cast<float>(low);
    }

    Drago drago_;
    bool useful_ = true;
    float below_[kMost + 1], from_[kMost + 1];
};

/// Below this many pixels the steps cost more than they spare.
constexpr uint64_t kFewPixels = 512;

template <class T>
int map_drago(const Picture& picture, double unit, uint32_t top) {
    for (uint64_t c = 0; c < picture.components; ++c) {
        const Drago drago(find_extremes(picture, c).greatest, unit, top);
        if (picture.pixels() >= kFewPixels)
            if (const Steps steps(drago); steps.are_useful()) {
                map_component<T>(picture, c, steps);
                continue;
            }
        map_component<T>(picture, c, [=](uint32_t* y, const float* x, uint64_t count) {
            for (uint64_t i = 0; i < count; ++i) y[i] = drago(x[i]);
        });
    }
    return QM_OK;
}

// ----- Tumblin -----------------------------------------------------------------------------------

/// The low byte of a number cut toward zero. The choice comes before the conversion, or no vector
/// makes it.
uint32_t low_byte(double value) {
    const bool fits = value > -2147483649.0 && value < 2147483648.0;
    return static_cast<uint32_t>(static_cast<int32_t>(fits ? value : 0.0)) & 255;
}

struct Tumblin {
    float mean, steepness, greatest;
    double top;
    uint32_t operator()(float x) const {
        const float p = (x / mean * 0.5f + 0.5f) * steepness;
        const float divisor = x * p - x + greatest;
        return low_byte(static_cast<double>(p) * top * x / divisor);
    }
};

struct TumblinParam {
    float p, greatest;
    double p_times_top;
    uint32_t operator()(float x) const {
        const float divisor = x * p - x + greatest;
        return low_byte(x * p_times_top / divisor);
    }
};

float steepness_of_bytes(Extremes of) {
    return static_cast<float>(static_cast<double>(of.greatest) * 0.11764705882352941 / of.least);
}
float steepness_of_words(Extremes of, uint32_t top) {
    return static_cast<float>(30 / top) * of.greatest / of.least;
}

/// `make` gives the curve of a component from its extremes.
template <class T, class Make>
int map_tumblin(const Picture& picture, Make make) {
    for (uint64_t c = 0; c < picture.components; ++c)
        map_component<T>(
            picture, c,
            [curve = make(find_extremes(picture, c))](uint32_t* y, const float* x, uint64_t count) {
                for (uint64_t i = 0; i < count; ++i) y[i] = curve(x[i]);
            });
    return QM_OK;
}

Picture picture_of(void* dst, uint32_t stride, const float* src, uint32_t width, uint32_t height,
                   uint32_t components) {
    const bool is_none = dst == nullptr || src == nullptr;
    return {{dst, stride}, src, {width, is_none ? 0u : height}, is_none ? 0u : components};
}

}  // namespace

#define PICTURE(stride) picture_of(pDst, stride, pSrc, uiWidth, uiHeight, uiComponents)
#define ARGUMENTS                                                                                  \
    void *pDst, uint32_t /*uiBpc*/, uint32_t uiDstWidthBytes, const float *pSrc, uint32_t uiWidth, \
        uint32_t uiHeight, uint32_t uiComponents

int map_float_to_Nx8_Drago(ARGUMENTS) {
    return map_drago<uint8_t>(PICTURE(uiDstWidthBytes), 2.55, 255);
}
int map_float_to_Nx16_Drago(ARGUMENTS) {
    const Picture picture = PICTURE(uiDstWidthBytes & ~1u);
    return map_drago<uint16_t>(picture, picture.top_of_words() * 0.01, picture.top_of_words());
}
int map_float_to_Nx8_param_Drago(ARGUMENTS, uint32_t /*uiParam*/) {
    return map_float_to_Nx8_Drago(pDst, 8, uiDstWidthBytes, pSrc, uiWidth, uiHeight, uiComponents);
}
int map_float_to_Nx16_param_Drago(ARGUMENTS, uint32_t /*uiParam*/) {
    return map_float_to_Nx16_Drago(pDst, 16, uiDstWidthBytes, pSrc, uiWidth, uiHeight,
                                   uiComponents);
}

int map_float_to_Nx8_Tumblin(ARGUMENTS) {
    return map_tumblin<uint8_t>(PICTURE(uiDstWidthBytes), [](Extremes of) {
        return Tumblin{std::sqrt(of.least * of.greatest), steepness_of_bytes(of), of.greatest,
                       255.0};
    });
}
int map_float_to_Nx16_Tumblin(ARGUMENTS) {
    const Picture picture = PICTURE(uiDstWidthBytes & ~1u);
    return map_tumblin<uint16_t>(picture, [top = picture.top_of_words()](Extremes of) {
        return Tumblin{std::sqrt(of.least * of.greatest), steepness_of_words(of, top), of.greatest,
                       static_cast<double>(top)};
    });
}
int map_float_to_Nx8_param_Tumblin(ARGUMENTS, uint32_t uiParam) {
    const auto p = static_cast<float>(uiParam);
    return map_tumblin<uint8_t>(PICTURE(uiDstWidthBytes), [p](Extremes of) {
        return TumblinParam{p, of.greatest, p * 255.0};
    });
}
int map_float_to_Nx16_param_Tumblin(ARGUMENTS, uint32_t uiParam) {
    const Picture picture = PICTURE(uiDstWidthBytes & ~1u);
    const auto p = static_cast<float>(uiParam);
    return map_tumblin<uint16_t>(picture, [p, top = picture.top_of_words()](Extremes of) {
        return TumblinParam{p, of.greatest, p * static_cast<double>(top)};
    });
}

#undef ARGUMENTS
#undef PICTURE

int CQmFloatPicMemAPI_Base::Map_Drago(void* pDst, uint32_t uiBpc, uint32_t uiDstWidthBytes,
                                      const float* pSrc, uint32_t uiWidth, uint32_t uiHeight,
                                      uint32_t uiComponents) {
    return call(kDrago.find(uiComponents, uiBpc), pDst, uiBpc, uiDstWidthBytes, pSrc, uiWidth,
                uiHeight, uiComponents);
}
int CQmFloatPicMemAPI_Base::Map_Tumblin(void* pDst, uint32_t uiBpc, uint32_t uiDstWidthBytes,
                                        const float* pSrc, uint32_t uiWidth, uint32_t uiHeight,
                                        uint32_t uiComponents) {
    return call(kTumblin.find(uiComponents, uiBpc), pDst, uiBpc, uiDstWidthBytes, pSrc, uiWidth,
                uiHeight, uiComponents);
}
int CQmFloatPicMemAPI_Base::MapParam_Drago(void* pDst, uint32_t uiBpc, uint32_t uiDstWidthBytes,
                                           const float* pSrc, uint32_t uiWidth, uint32_t uiHeight,
                                           uint32_t uiComponents, uint32_t uiParam) {
    return call(kDragoParam.find(uiComponents, uiBpc), pDst, uiBpc, uiDstWidthBytes, pSrc, uiWidth,
                uiHeight, uiComponents, uiParam);
}
int CQmFloatPicMemAPI_Base::MapParam_Tumblin(void* pDst, uint32_t uiBpc, uint32_t uiDstWidthBytes,
                                             const float* pSrc, uint32_t uiWidth, uint32_t uiHeight,
                                             uint32_t uiComponents, uint32_t uiParam) {
    return call(kTumblinParam.find(uiComponents, uiBpc), pDst, uiBpc, uiDstWidthBytes, pSrc,
                uiWidth, uiHeight, uiComponents, uiParam);
}
