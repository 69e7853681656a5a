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

// Two tone curves. Samples of all components are mapped side by side as they lie: what belongs to a
// component stands in as many lanes as the vectors need.

namespace {

using namespace qmpic;

struct Extremes {
    float least, greatest;
};

constexpr uint64_t kMostLanes = 256;

/// What is mapped: packed floats to bytes or words.
struct Picture {
    Dst dst;
    const float* first;
    Area area;
    uint64_t components;

    uint64_t pixels() const { return area.width * area.rows; }
    uint32_t top_of_words() const {
        return components < 32 ? (uint32_t{1} << components) - 1 : 0xFFFFFFFF;
    }
};

/// Components that are mapped together: all, unless there are more of them than lanes.
struct Group {
    Picture picture;
    uint64_t first, count;

    uint64_t lanes() const { return kMostLanes / count * count; }

    /// Calls visit(source, destination, count) with blocks of samples of which the i-th belongs to
    /// lane i.
    template <class T, class Visit>
    void each_block(Visit visit) const {
        const uint64_t width = picture.area.width, components = picture.components;
        const bool all = count == components;
        const uint64_t runs = all ? 1 : width, length = all ? width * count : count;
        const Sample<float>* s = Src{picture.first, 0}.row<float>(0) + first;
        for (uint64_t y = 0; y < picture.area.rows; ++y) {
            Sample<T>* d = picture.dst.row<T>(y) + first;
            for (uint64_t run = 0; run < runs; ++run) {
                for (uint64_t i = 0; i < length; i += lanes())
                    visit(s + i, d + i, std::min(lanes(), length - i));
                s += all ? length : components;
                d += components;
            }
        }
    }
};

/// Of the samples above 0, which a NaN is not. One for each component of a group.
void find_extremes(const Group& group, Extremes* found) {
    on_best_isa([=] {
        float least[kMostLanes], greatest[kMostLanes];
        std::fill_n(least, kMostLanes, 1e30f);
        std::fill_n(greatest, kMostLanes, 0.0f);
        group.each_block<uint8_t>(
            [&](const Sample<float>* s, const Sample<uint8_t>*, uint64_t count) {
                for (uint64_t i = 0; i < count; ++i) {
                    const float x = s[i], positive = x > 0.0f ? x : 1e30f;
                    least[i] = positive < least[i] ? positive : least[i];
                    greatest[i] = x > greatest[i] ? x : greatest[i];
                }
            });
        for (uint64_t c = 0; c < group.count; ++c) found[c] = {least[c], greatest[c]};
        for (uint64_t i = group.count; i < group.lanes(); ++i) {
            Extremes& of = found[i % group.count];
            of = {std::min(of.least, least[i]), std::max(of.greatest, greatest[i])};
        }
    });
}

/// `make` gives the curve of a component from its extremes. `Lanes` holds curves side by side: it
/// is told each by set(lane, curve), and maps by map(y, x, count).
template <class T, class Lanes, class Make>
int map_picture(const Picture& picture, Make make) {
    for (uint64_t first = 0; first < picture.components; first += kMostLanes) {
        const Group group{picture, first, std::min(kMostLanes, picture.components - first)};
        Extremes extremes[kMostLanes];
        find_extremes(group, extremes);
        Lanes lanes;
        for (uint64_t c = 0; c < group.count; ++c) {
            const auto curve = make(extremes[c]);
            for (uint64_t lane = c; lane < group.lanes(); lane += group.count)
                lanes.set(lane, curve);
        }
        const Lanes* const all = &lanes;
        on_best_isa([=] {
            group.each_block<T>([=](const Sample<float>* s, Sample<T>* d, uint64_t count) {
                uint32_t y[kMostLanes];
                all->map(y, s, count);
                for (uint64_t i = 0; i < count; ++i) d[i] = static_cast<T>(y[i]);
            });
        });
    }
    return QM_OK;
}

/// In place of a result that the quick way cannot tell.
constexpr uint32_t kInDoubt = 0x80000000;

// ----- Drago -------------------------------------------------------------------------------------

/// The curve as it is defined: in single precision, step by step.
struct Drago {
    float exponent, scale, greatest, top;

    Drago() = default;
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
/// The curve rises between 0 and 65535 whatever the greatest sample is. There x / y times its slope
/// is x / ((x + 1) ln(x + 1)) less that of the divisor, which is 0.0876 at most, and the first is
/// above 1 / ln(65536) = 0.0901. Beyond it has a top and falls.
struct DragoSteps {
    static constexpr uint32_t kMost = 3;  ///< and one that ends the range

    Drago drago;
    float below[kMost + 1], from[kMost + 1];  ///< in between there is doubt

    DragoSteps(const Drago& drago_, bool are_wanted) : drago(drago_) {
        std::fill_n(below, kMost + 1, std::numeric_limits<float>::infinity());
        std::fill_n(from, kMost + 1, std::numeric_limits<float>::quiet_NaN());  // never reached
        const float limit = std::min(drago.greatest, 65535.0f);
        const double y_of_limit = exact(limit), most = y_of_limit + margin(y_of_limit);
        const bool are_few =
            most < kMost + 1;  // not of an infinite scale, of which it is no number
        below[kMost] = are_wanted && are_few ? limit : 0.0f;
        if (below[kMost] == 0.0f) return;
        for (uint32_t k = 0; k + 1 <= most; ++k) {
            const double y = k + 1;
            below[k] = last_below(y - margin(y), limit);
            from[k] =
                std::bit_cast<float>(std::bit_cast<uint32_t>(last_below(y + margin(y), limit)) + 1);
        }
    }

  private:
    /// The curve without the errors of single precision, of which there are two: those of the
    /// functions and products, in parts of y, and that of x + 1, which the scale makes great.
    double exact(double x) const {
        return std::log(x + 1.0) * drago.scale /
               std::log(std::pow(x / drago.greatest, drago.exponent) * 8.0 + 2.0);
    }
    double margin(double y) const { return y * 1e-5 + drago.scale * 1e-6; }

    /// The greatest float up to `limit` for which the curve is below y.
    float last_below(double y, float limit) const {
        uint32_t low = 0, high = std::bit_cast<uint32_t>(limit) + 1;
        while (high - low > 1) {
            const uint32_t middle = low + (high - low) / 2;
            (exact(std::bit_cast<float>(middle)) < y ? low : high) = middle;
        }
        return std::bit_cast<float>(low);
    }
};

class DragoLanes {
  public:
    void set(uint64_t lane, const DragoSteps& steps) {
        drago_[lane] = steps.drago;
        for (uint32_t k = 0; k <= DragoSteps::kMost; ++k) {
            below_[k][lane] = steps.below[k];
            from_[k][lane] = steps.from[k];
        }
    }
    void map(uint32_t* y, const Sample<float>* x, uint64_t count) const {
        uint32_t any = 0;
        for (uint64_t i = 0; i < count; ++i) {
            const float sample = x[i];
            uint32_t above = 0, reached = 0;
            for (uint32_t k = 0; k <= DragoSteps::kMost; ++k) {
                above += sample > below_[k][i];
                reached += sample >= from_[k][i];
            }
            y[i] = above == reached ? reached : kInDoubt;
            any |= y[i];
        }
        if ((any & kInDoubt) == 0) return;
        for (uint64_t i = 0; i < count; ++i)
            if (y[i] == kInDoubt) y[i] = drago_[i](x[i]);
    }

  private:
    Drago drago_[kMostLanes];
    float below_[DragoSteps::kMost + 1][kMostLanes], from_[DragoSteps::kMost + 1][kMostLanes];
};

/// Below this many pixels the steps cost more than they spare.
constexpr uint64_t kFewPixels = 512;

template <class T>
int map_drago(const Picture& picture, double unit, uint32_t top) {
    const bool steps_are_wanted = picture.pixels() >= kFewPixels;
    return map_picture<T, DragoLanes>(picture, [=](Extremes of) {
        return DragoSteps(Drago(of.greatest, unit, top), steps_are_wanted);
    });
}

// ----- Tumblin -----------------------------------------------------------------------------------

/// How steep the quotient begins at each sample: by the sample, or the same for all.
struct OwnSteepness {
    float mean, factor;
    float operator()(float x) const { return (x / mean * 0.5f + 0.5f) * factor; }
    bool is_plain(auto test) const { return test(mean) && (test(factor) || factor == 0.0f); }
};
struct GivenSteepness {
    float value;
    float operator()(float) const { return value; }
    bool is_plain(auto) const { return true; }  // a whole number
};

/// The low byte of a number cut toward zero. The choice comes before the conversion, or no vector
/// makes it.
uint32_t low_byte(double value) {
    const bool fits = value > -2147483649.0 && value < 2147483648.0;
    return static_cast<uint32_t>(static_cast<int32_t>(fits ? value : 0.0)) & 255;
}

template <class Steepness>
struct Tumblin {
    Steepness steepness;
    float greatest;
    double top;

    float divisor(float x, float p) const { return x * p - x + greatest; }
    uint32_t operator()(float x) const {
        const float p = steepness(x);
        return low_byte(static_cast<double>(p) * top * x / divisor(x, p));
    }
    /// By a quotient in single precision, which is wrong by 4 * 2^-24 of it at most, unless this is
    /// too near a whole number. A NaN is in doubt, too.
    uint32_t quickly(float x, float limit) const {
        const float p = steepness(x);
        const float y = p * static_cast<float>(top) * x / divisor(x, p), size = std::fabs(y);
        constexpr float kRounder = 12582912.0f;  // from 2^23 on there are whole numbers only
        const float rest = std::fabs(y - (y + kRounder - kRounder));
        const bool is_sure = (size < limit) & (rest >= size * 2.6e-7f);
        const auto whole = static_cast<uint32_t>(static_cast<int32_t>(is_sure ? y : 0.0f));
        return is_sure ? whole & 255 : kInDoubt;
    }
    /// Up to where that holds: nowhere if a product may be too small for single precision.
    float quick_limit() const {
        const auto is_plain = [](float value) { return value > 1e-15f && value < 1e15f; };
        return is_plain(greatest) && steepness.is_plain(is_plain) ? 65536.0f : 0.0f;
    }
};

/// What a component brings to each of its lanes.
template <class Steepness>
class TumblinLanes;

template <>
class TumblinLanes<OwnSteepness> {
  public:
    using Curve = Tumblin<OwnSteepness>;
    void set(uint64_t lane, const Curve& curve) {
        mean_[lane] = curve.steepness.mean;
        factor_[lane] = curve.steepness.factor;
        greatest_[lane] = curve.greatest;
        top_ = curve.top;
    }
    Curve at(uint64_t lane) const { return {{mean_[lane], factor_[lane]}, greatest_[lane], top_}; }

  private:
    float mean_[kMostLanes], factor_[kMostLanes], greatest_[kMostLanes];
    double top_ = 0;
};

template <>
class TumblinLanes<GivenSteepness> {
  public:
    using Curve = Tumblin<GivenSteepness>;
    void set(uint64_t lane, const Curve& curve) {
        greatest_[lane] = curve.greatest;
        steepness_ = curve.steepness;
        top_ = curve.top;
    }
    Curve at(uint64_t lane) const { return {steepness_, greatest_[lane], top_}; }

  private:
    float greatest_[kMostLanes];
    GivenSteepness steepness_{};
    double top_ = 0;
};

template <class Steepness>
class MappedByTumblin : public TumblinLanes<Steepness> {
  public:
    void map(uint32_t* y, const Sample<float>* x, uint64_t count) const {
        // Doubts are seldom, but there are some: they are looked for where there are any.
        bool doubted[kMostLanes / kChunk + 1];
        uint64_t chunks = 0, i = 0;
        for (; i + kChunk <= count; i += kChunk) doubted[chunks++] = map_chunk(y, x, i, kChunk);
        if (i < count) doubted[chunks++] = map_chunk(y, x, i, count - i);
        uint64_t doubts = 0;
        for (uint64_t chunk = 0; chunk < chunks; ++chunk) doubts += doubted[chunk];
        if (doubts > chunks / 2) {  // of a picture of whole numbers, perhaps: vectors of doubles
            for (i = 0; i < count; ++i) y[i] = this->at(i)(x[i]);
            return;
        }
        for (uint64_t chunk = 0; doubts > 0; ++chunk) {
            if (!doubted[chunk]) continue;
            --doubts;
            for (i = chunk * kChunk; i < std::min((chunk + 1) * kChunk, count); ++i)
                if (y[i] == kInDoubt) y[i] = this->at(i)(x[i]);
        }
    }

    void set(uint64_t lane, const Tumblin<Steepness>& curve) {
        TumblinLanes<Steepness>::set(lane, curve);
        limit_[lane] = curve.quick_limit();
    }

  private:
    static constexpr uint64_t kChunk = 32;
    float limit_[kMostLanes];

    bool map_chunk(uint32_t* y, const Sample<float>* x, uint64_t first, uint64_t count) const {
        uint32_t any = 0;
        for (uint64_t i = first; i < first + count; ++i) {
            y[i] = this->at(i).quickly(x[i], limit_[i]);
            any |= y[i];
        }
        return (any & kInDoubt) != 0;
    }
};

template <class T>
int map_tumblin(const Picture& picture, uint32_t top, auto factor_of) {
    return map_picture<T, MappedByTumblin<OwnSteepness>>(picture, [=](Extremes of) {
        const OwnSteepness steepness{std::sqrt(of.least * of.greatest), factor_of(of)};
        return Tumblin<OwnSteepness>{steepness, of.greatest, static_cast<double>(top)};
    });
}
template <class T>
int map_tumblin_param(const Picture& picture, uint32_t top, uint32_t param) {
    return map_picture<T, MappedByTumblin<GivenSteepness>>(picture, [=](Extremes of) {
        return Tumblin<GivenSteepness>{
            {static_cast<float>(param)}, of.greatest, static_cast<double>(top)};
    });
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
    return map_tumblin<uint8_t>(PICTURE(uiDstWidthBytes), 255, [](Extremes of) {
        return static_cast<float>(of.greatest * 0.11764705882352941 / of.least);
    });
}
int map_float_to_Nx16_Tumblin(ARGUMENTS) {
    const Picture picture = PICTURE(uiDstWidthBytes & ~1u);
    const uint32_t top = picture.top_of_words();
    return map_tumblin<uint16_t>(picture, top, [=](Extremes of) {
        const uint32_t steepness = 30 / top;  // a whole number, and 0 from five components on
        return static_cast<float>(steepness) * of.greatest / of.least;
    });
}
int map_float_to_Nx8_param_Tumblin(ARGUMENTS, uint32_t uiParam) {
    return map_tumblin_param<uint8_t>(PICTURE(uiDstWidthBytes), 255, uiParam);
}
int map_float_to_Nx16_param_Tumblin(ARGUMENTS, uint32_t uiParam) {
    const Picture picture = PICTURE(uiDstWidthBytes & ~1u);
    return map_tumblin_param<uint16_t>(picture, picture.top_of_words(), uiParam);
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
