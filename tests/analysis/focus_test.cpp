#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cmath>
#include <string>
#include <vector>

#include "analysis/focus_kernels.h"
#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/float_picture.h"
#include "support/guarded_picture.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;
using Floats = CQmFloatPicMemAPI_Base;
using Criterium = Api::EQmFocusCriterium;
using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint16_t>;

constexpr double kUntouched = -77.5;
const Criterium kAll[] = {Api::FocusGradientPerEnergy,
                          Api::FocusGradientPerSample,
                          Api::FocusMultiScale,
                          Api::FocusImmerkaer,
                          Api::FocusMaxInt,
                          Api::FocusAutocorrelation};

// ----- References: pixel by pixel, as the documentation says it ----------------------------------

/// Samples of a picture; component k of pixel (x, y).
struct Content {
    uint32_t width, height, components;
    std::vector<double> samples;
    template <class X, class Y>
    double at(X x, Y y, int64_t k) const {
        const auto pixel = static_cast<int64_t>(y) * width + static_cast<int64_t>(x);
        return samples.at(static_cast<size_t>(pixel * components + k));
    }
};
Content content_of(const GuardedPicture& picture) {
    Content found{picture.size().width, picture.size().height, picture.format().components, {}};
    for (const uint64_t sample : picture.content())
        found.samples.push_back(static_cast<double>(sample));
    return found;
}
Content content_of(const FloatPicture& picture) {
    Content found{picture.size().width, picture.size().height, picture.components(), {}};
    for (const float sample : picture.content()) found.samples.push_back(double{sample});
    return found;
}

struct Expected {
    int code;
    double value = kUntouched;
};
constexpr Expected kRefused{QM_REJECTED}, kNoKernel{QM_NO_KERNEL};

struct Steps {
    uint32_t x, y;
};

/// `valued` tells a component, -1 for all, of pixel (x, y).
template <class Valued>
double gradient(const Content& c, Steps steps, bool per_energy, const Valued& valued) {
    double count = 0, energy = 0, sum = 0;
    for (uint64_t y = 0; y < c.height; y += steps.y)
        for (uint64_t x = 0; x + 1 < c.width; x += steps.x) {
            const double v = valued(static_cast<int64_t>(x), static_cast<int64_t>(y)),
                         w = valued(static_cast<int64_t>(x) + 1, static_cast<int64_t>(y));
            count += 1;
            energy += v * v;
            sum += (w - v) * (w - v);
        }
    if (count == 0 || energy == 0) return 0;
    return std::sqrt(sum / (per_energy ? energy : count));
}

Expected gradient(const Content& c, int component, uint32_t mask, Steps steps,
                  Criterium criterium) {
    const int n = static_cast<int>(c.components);
    if (component < -1 || component > n - 1) return kRefused;
    if (steps.x == 0 || steps.y == 0) return kRefused;
    if (criterium > 1) return kNoKernel;
    return {QM_OK, gradient(c, steps, criterium == 0, [&](int64_t x, int64_t y) {
                uint64_t sum = 0;
                for (int k = 0; k < n; ++k)
                    if (component == -1 || component == k)
                        sum += static_cast<uint64_t>(c.at(x, y, k)) & mask;
                return static_cast<double>(component == -1 ? sum / c.components : sum);
            })};
}

Expected float_gradient(const Content& c, int component, Steps steps, Criterium criterium) {
    if (component != 0 && component != -1) return kRefused;
    if (steps.x == 0 || steps.y == 0) return kRefused;
    if (criterium > 1) return kNoKernel;
    volatile float count = 0, energy = 0;  // each step is rounded to a float
    double sum = 0;
    for (uint64_t y = 0; y < c.height; y += steps.y)
        for (uint64_t x = 0; x + 1 < c.width; x += steps.x) {
            const auto v = static_cast<float>(c.at(x, y, 0)),
                       w = static_cast<float>(c.at(x + 1, y, 0));
            count = count + 1;
            const volatile float square = v * v, difference = w - v;
            energy = energy + square;
            const volatile float squared = difference * difference;
            sum += double{squared};
        }
    const double n = count, s = energy;
    if (n == 0 || s == 0) return {QM_OK, 0};
    return {QM_OK, std::sqrt(sum / (criterium == 0 ? s : n))};
}

/// `divisor(anchors, together)`, which wraps by itself.
template <class Divisor>
Expected multi_scale(const Content& c, int component, const Divisor& divisor) {
    if (c.width < 16 || c.height < 16) return {QM_NO_KERNEL, 0};
    const bool together = component < 0 || component >= static_cast<int>(c.components);
    double a[17] = {};
    uint32_t anchors = 0;
    for (uint32_t y = 0; y + 16 < c.height; y += 16)
        for (uint32_t x = 0; x + 16 < c.width; x += 16, ++anchors)
            for (int k = 0; k < static_cast<int>(c.components); ++k)
                if (together || k == component)
                    for (const uint32_t d : {1u, 2u, 4u, 8u, 16u}) {
                        const double p = c.at(x, y, k);
                        a[d] +=
                            std::pow(p - c.at(x + d, y, k), 2) + std::pow(p - c.at(x, y + d, k), 2);
                    }
    return {QM_OK, (a[1] + a[2] + a[4] + a[8] + a[16]) / divisor(anchors, together)};
}

Expected immerkaer(const Content& c, int component, uint32_t low, uint32_t high) {
    if (high > 5) return kRefused;
    const uint32_t least = 1u << (high + 1);
    if (c.width < least || c.height < least || low > high) return kRefused;
    const bool together = component == -1;
    const auto response = [&](int64_t x, int64_t y, int64_t d) {
        double r = 0;
        for (int k = 0; k < static_cast<int>(c.components); ++k) {
            if (!together && k != component) continue;
            const auto p = [&](int64_t i, int64_t j) { return c.at(x + i, y + j, k); };
            r += p(0, 0) + p(2 * d, 0) + p(0, 2 * d) + p(2 * d, 2 * d) +
                 2 * (2 * p(d, d) - p(d, 0) - p(0, d) - p(2 * d, d) - p(d, 2 * d));
        }
        return r;
    };
    const double factor = together ? c.components : 1;
    double t = 0;
    for (uint32_t y = 1; y + 1 < c.height; ++y)
        for (uint32_t x = 1; x + 1 < c.width; ++x) t += std::fabs(response(x - 1, y - 1, 1));
    t /= (1.0 * c.width - 2) * (1.0 * c.height - 2) * factor;
    if (high == 0) return {QM_OK, t / 100.0};
    double sum = 0, count = 0;
    for (uint32_t level = low; level <= high; ++level) {
        const int64_t d = 1 << level;
        if (c.height == 2 * d) continue;
        for (int64_t y = 0; y < c.height - 2 * d; ++y)
            for (int64_t x = 0; x < c.width - 2 * d; ++x) {
                const double r = response(x, y, d);
                count += 1;
                if (r > 2 * t) sum += r;
            }
    }
    return {QM_OK, sum / (count * factor) / 100.0};
}

Expected max_int(const Content& c, int component, uint32_t step, double max) {
    if (step == 0) return kRefused;
    const bool together = component < 0 || component >= static_cast<int>(c.components);
    double sum = 0, count = 0;
    for (uint64_t y = 0; y < c.height; y += step)
        for (uint32_t x = 0; x < c.width; ++x)
            for (int k = 0; k < static_cast<int>(c.components); ++k)
                if (together || k == component) sum += c.at(x, y, k), count += 1;
    return {QM_OK, sum / (count * max)};
}

Expected autocorrelation(const Content& c, int component, uint64_t pixels) {
    if (c.width < 3) return kRefused;
    double sum = 0;
    for (uint32_t y = 0; y < c.height; ++y) {
        const auto p = [&](uint32_t x) { return c.at(x, y, component); };
        sum += p(0) * p(1);
        for (uint32_t x = 2; x < c.width; ++x) sum += (p(x - 1) - p(x - 2)) * p(x);
    }
    return {QM_OK, sum / static_cast<double>(pixels)};
}

// ----- Cases -------------------------------------------------------------------------------------

uint64_t bits_of(double value) {
    return std::isnan(value) ? 0x7FF8000000000000 : std::bit_cast<uint64_t>(value);
}

void expect_same(Round round, int code, double value, Expected expected) {
    ASSERT_EQ(code, expected.code);
    ASSERT_EQ(bits_of(value), bits_of(expected.value)) << value << ", not " << expected.value;
    round.digest.add(bits_of(value));
}

/// Some high pictures, of few components or narrow, that have room for the scales.
Size draw_size(Random& random, uint32_t components) {
    if (random(0, 3) == 0) return random.size(components);
    const uint32_t most = components < 3 ? 80 : components < 10 ? 40 : components < 20 ? 24 : 18;
    const uint32_t edge = random.one_of({2u, 4u, 8u, 16u, 32u, 64u});
    const uint32_t width = std::min(edge + random(0, 12), components < 3 ? 130 : most);
    const uint32_t height = std::min(random(0, 2) == 0 ? random(2, 40) : edge + random(0, 3), most);
    const uint32_t more = random(0, width - 1);
    return {width, height, uint64_t{width} * height + more};
}
/// A component, or what is none.
int draw_component(Random& random, uint32_t components) {
    if (random(0, 5) == 0)
        return random.one_of({static_cast<int>(components), -2, INT_MIN, INT_MAX});
    return static_cast<int>(random(0, components)) - 1;
}
uint32_t draw_step(Random& random) {
    return random.one_of({1u, 1u, 1u, 2u, 3u, 7u, 200u, 0xFFFFFFFFu, 0u});
}
/// Now and then noise on a high level, or nothing at all.
void draw_content(GuardedPicture& picture, Random& random) {
    const uint32_t kind = random(0, 7);
    if (kind > 2) return;
    const uint64_t level = random(0, 1) ? picture.format().max() / 2 : 0;
    for (uint32_t y = 0; y < picture.size().height; ++y)
        for (uint32_t i = 0; i < picture.samples(); ++i) {
            const uint32_t noise = random(0, 6);
            picture.set(i, y, kind == 0 ? 0 : kind == 1 ? level : level + noise);
        }
}

using Reference = Expected(const FocusCall& call, const Content& content, Layout layout);

/// `tested`: is every component refused that is none?
void check(Round round, FocusKernel* kernel, Layout layout, Reference* reference, bool tested) {
    Random& random = round.random;
    const uint32_t components = layout.components != 0 ? layout.components : random.components();
    const uint32_t stored = layout.bits == 9 ? 16 : layout.bits;
    uint32_t bpc = round.in_turn(depths(stored));
    if (layout.bits == 9 && bpc == 16) bpc = 15;
    const Size size = draw_size(random, components);
    GuardedPicture picture({components, stored, bpc}, size, random);
    draw_content(picture, random);
    const int component =
        tested ? draw_component(random, components) : static_cast<int>(random(0, components)) - 1;
    FocusCall call{};
    call.component = component;
    call.data = picture.data();
    call.stride = picture.stride();
    call.components = components;
    call.bpc = bpc;
    call.step_x = draw_step(random);
    call.step_y = draw_step(random);
    call.level_low = random(0, 2);
    call.level_high = random(0, 6);
    if (random(0, 2) == 0) call.level_high = call.level_low = 0;
    call.width = size.width;
    call.size = size.pixels;
    call.criterium = random(0, 9) == 0 ? static_cast<Criterium>(random(2, 7))
                                       : static_cast<Criterium>(random(0, 1));
    const Expected expected = reference(call, content_of(picture), layout);
    double value = kUntouched;
    call.result = &value;
    const int code = kernel(call);
    expect_same(round, code, value, expected);
    call.result = nullptr;
    ASSERT_EQ(kernel(call), expected.code);
}

Expected gradient_of(const FocusCall& call, const Content& content, Layout layout) {
    const uint32_t mask = layout.bits == 9 ? (1u << call.bpc) - 1 : 0xFFFF;
    return gradient(content, call.component, mask, {call.step_x, call.step_y}, call.criterium);
}
/// Only where there is but one component by its name, whatever is asked for is that one.
Expected multi_scale_of(const FocusCall& call, const Content& content, Layout layout) {
    return multi_scale(content, layout.components == 1 ? 0 : call.component,
                       [&](uint32_t anchors, bool together) -> double {
                           if (together) return anchors * content.components * 10;
                           return anchors * (layout.bits == 8 ? 2560u : 655360u);
                       });
}
Expected max_int_of(const FocusCall& call, const Content& content, Layout layout) {
    return max_int(content, call.component, call.step_y,
                   layout.bits == 8 ? 255.0 : static_cast<double>((1u << call.bpc) - 1));
}
Expected immerkaer_of(const FocusCall& call, const Content& content, Layout /*layout*/) {
    return immerkaer(content, call.component, call.level_low, call.level_high);
}
Expected immerkaer_of_component(const FocusCall& call, const Content& content, Layout layout) {
    if (call.component < -1 || call.component >= static_cast<int>(content.components))
        return kRefused;
    return immerkaer_of(call, content, layout);
}

void check_float_kernel(Round round) {
    Random& random = round.random;
    const Size size = random.size(1);
    FloatPicture picture(1, size, random);
    if (random(0, 1) == 0)
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t x = 0; x < size.width; ++x)
                picture.set(x, y, static_cast<float>(random(0, 4000)) / 7.0f);
    const int component = draw_component(random, 1);
    const Steps steps{draw_step(random), draw_step(random)};
    const auto criterium = static_cast<Criterium>(random(0, 5) == 0 ? random(2, 7) : random(0, 1));
    double value = kUntouched;
    const int code =
        getfocuscriterium_float(&value, component, picture.data(), picture.stride(), steps.x,
                                steps.y, 32, size.width, size.pixels, criterium);
    expect_same(round, code, value,
                float_gradient(content_of(picture), component, steps, criterium));
}

void check_float_entry(Round round) {
    Random& random = round.random;
    const uint32_t components = random.components();
    const Size size = draw_size(random, components);
    FloatPicture picture(components, size, random);
    if (random(0, 2) != 0)
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t i = 0; i < picture.samples(); ++i)
                picture.set(i, y, static_cast<float>(random(0, 4000)) / 7.0f);
    const auto criterium =
        random.one_of({Api::FocusGradientPerEnergy, Api::FocusMultiScale, Api::FocusMaxInt,
                       Api::FocusGradientPerEnergy, static_cast<Criterium>(random(0, 9))});
    const int component = criterium == Api::FocusGradientPerEnergy
                              ? static_cast<int>(random(0, components)) - 1
                              : draw_component(random, components);
    const Steps steps{draw_step(random), draw_step(random)};
    const Content c = content_of(picture);
    Expected expected = kNoKernel;
    if (criterium == Api::FocusGradientPerEnergy) {
        expected = kRefused;
        if (steps.x != 0 && steps.y != 0)
            expected = {QM_OK, gradient(c, steps, true, [&](int64_t x, int64_t y) {
                            if (component != -1) return c.at(x, y, component);
                            double sum = 0;
                            for (uint32_t k = 0; k < components; ++k) sum += c.at(x, y, k);
                            return sum / components;
                        })};
    } else if (criterium == Api::FocusMultiScale) {
        expected = multi_scale(c, component, [&](uint32_t anchors, bool together) -> double {
            return anchors * 10 * (together ? components : 1);
        });
    } else if (criterium == Api::FocusMaxInt) {
        expected = max_int(c, component, steps.y, 1.0);
    }
    double value = kUntouched;
    const int code =
        Floats::GetFocusCriterium(&value, component, picture.data(), picture.stride(), components,
                                  steps.x, steps.y, 9, 9, size.width, size.pixels, criterium);
    expect_same(round, code, value, expected);
}

/// Any criterion and depth by the entry; each has to be the kernel's value.
void check_entry(Round round) {
    Random& random = round.random;
    const uint32_t components = random.components(), bpc = random.one_of({8u, 9u, 12u, 15u, 16u});
    const Size size = draw_size(random, components);
    GuardedPicture picture({components, bpc == 8 ? 8u : 16u, bpc}, size, random);
    draw_content(picture, random);
    const Content c = content_of(picture);
    const auto criterium = round.in_turn(std::vector<Criterium>(std::begin(kAll), std::end(kAll)));
    const bool by_offset =
        criterium == Api::FocusAutocorrelation || criterium == Api::FocusImmerkaer;
    const int component = by_offset ? static_cast<int>(random(0, components - 1))
                                    : draw_component(random, components);
    FocusCall call{};
    call.component = component;
    call.step_x = draw_step(random);
    call.step_y = draw_step(random);
    call.level_high = random(0, 3);
    call.bpc = bpc;
    call.criterium = criterium;
    const Layout layout{components, bpc == 8 ? 8u : 16u};
    const Layout of_gradient{components, bpc > 8 && bpc < 16 ? 9 : layout.bits};
    const Expected expected = criterium == Api::FocusAutocorrelation
                                  ? autocorrelation(c, component, size.pixels)
                              : criterium == Api::FocusImmerkaer  ? immerkaer_of(call, c, layout)
                              : criterium == Api::FocusMultiScale ? multi_scale_of(call, c, layout)
                              : criterium == Api::FocusMaxInt     ? max_int_of(call, c, layout)
                                                              : gradient_of(call, c, of_gradient);
    double value = kUntouched;
    const int code = Api::GetFocusCriterium(&value, component, picture.data(), picture.stride(),
                                            components, bpc, call.step_x, call.step_y, 0,
                                            call.level_high, size.width, size.pixels, criterium);
    expect_same(round, code, value, expected);
}

template <class List>
void add_list(std::vector<KernelCase>& cases, const List& list, Reference* reference) {
    for (const auto& kernel : list) {
        if (kernel.source.real) continue;
        const bool tested = reference != immerkaer_of_component || kernel.source.components != 0;
        cases.push_back({std::string(kernel.name), [=](Round round) {
                             check(round, kernel.run, kernel.source, reference, tested);
                         }});
    }
}

std::vector<KernelCase> cases() {
    std::vector<KernelCase> all{
        {"getfocuscriterium_float", check_float_kernel, 128},
        {"CQmFloatPicMemAPI_Base::GetFocusCriterium", check_float_entry, 128},
        {"CQmPicMemAPI_Base::GetFocusCriterium", check_entry, 192}};
    add_list(all, kGradientFocus, gradient_of);
    add_list(all, kMultiScaleFocus, multi_scale_of);
    add_list(all, kMaxIntFocus, max_int_of);
    add_list(all, kImmerkaerFocus, immerkaer_of_component);
    return all;
}

EntryCase entry(const char* name, Criterium criterium, int component,
                std::function<int(uint32_t components, uint32_t bpc)> documented) {
    EntryCase made{std::string("CQmPicMemAPI_Base::GetFocusCriterium ") + name,
                   [=](const EntryCall& c) {
                       double value;
                       return Api::GetFocusCriterium(&value, component, c.src, c.stride,
                                                     c.components, c.bpc, 1, 1, 0, 0, c.width,
                                                     c.size, criterium);
                   },
                   std::move(documented)};
    made.guarded = false;  // there is no destination
    return made;
}

int bytes_or_words(uint32_t /*components*/, uint32_t bpc) {
    return bpc <= 16 ? QM_OK : QM_NO_KERNEL;
}
int of_gradient(uint32_t components, uint32_t bpc) {
    return (bpc >= 8 && bpc <= 16) || (bpc == 32 && components == 1) ? QM_OK : QM_NO_KERNEL;
}

std::vector<EntryCase> entries() {
    std::vector<EntryCase> all{
        entry("per energy", Api::FocusGradientPerEnergy, -1, of_gradient),
        entry("per sample", Api::FocusGradientPerSample, -1, of_gradient),
        entry("mean", Api::FocusMaxInt, -1, bytes_or_words),
        entry("noise", Api::FocusImmerkaer, -1,
              [](uint32_t, uint32_t bpc) { return bpc >= 8 ? QM_OK : QM_NO_KERNEL; }),
        entry("autocorrelation", Api::FocusAutocorrelation, 0, bytes_or_words),
        entry("several scales", Api::FocusMultiScale, -1,
              [](uint32_t, uint32_t) { return QM_NO_KERNEL; }),  // of 5 x 3
        entry("of no measure", static_cast<Criterium>(5), -1,
              [](uint32_t, uint32_t) { return QM_NO_KERNEL; })};
    EntryCase floats{"CQmFloatPicMemAPI_Base::GetFocusCriterium mean",
                     [](const EntryCall& c) {
                         double value = kUntouched;
                         return Floats::GetFocusCriterium(
                             &value, -1, static_cast<const float*>(c.src), c.stride, c.components,
                             1, 1, 0, 0, c.width, c.size, Api::FocusMaxInt);
                     },
                     [](uint32_t, uint32_t) { return QM_OK; }};
    floats.guarded = false;
    all.push_back(std::move(floats));
    return all;
}

const bool registered = add_cases(cases(), entries());

// ----- What all have in common -------------------------------------------------------------------

/// The entry on a picture without gaps.
template <class T>
Expected focus(const std::vector<T>& samples, uint32_t width, uint32_t components, uint32_t bpc,
               Criterium criterium, int component = 0, Steps steps = {1, 1}, uint32_t low = 0,
               uint32_t high = 0) {
    Expected found{0};
    found.code = Api::GetFocusCriterium(&found.value, component, samples.data(),
                                        static_cast<uint32_t>(width * components * sizeof(T)),
                                        components, bpc, steps.x, steps.y, low, high, width,
                                        samples.size() / components, criterium);
    return found;
}
Expected focus(const std::vector<float>& samples, uint32_t width, uint32_t components,
               Criterium criterium, int component = 0, Steps steps = {1, 1}) {
    Expected found{0};
    found.code = Floats::GetFocusCriterium(&found.value, component, samples.data(),
                                           width * components * 4, components, steps.x, steps.y, 0,
                                           0, width, samples.size() / components, criterium);
    return found;
}
void expect(Expected found, int code, double value) {
    EXPECT_EQ(found.code, code);
    EXPECT_EQ(bits_of(found.value), bits_of(value)) << found.value << ", not " << value;
}

TEST(Focus, OfNothingIsNotWritten) {
    const std::vector<float> floats(64, 1.0f);
    for (unsigned number = 0; number < 9; ++number)
        for (const uint32_t bpc : {8u, 12u, 16u, 24u, 32u})
            for (const bool narrow : {true, false}) {
                const auto criterium = static_cast<Criterium>(number);
                double value = kUntouched;
                EXPECT_EQ(Api::GetFocusCriterium(&value, 99, floats.data(), 8, 1, bpc, 0, 0, 9, 9,
                                                 narrow ? 0 : 8, narrow ? 64 : 0, criterium),
                          QM_OK);
                EXPECT_EQ(Floats::GetFocusCriterium(&value, 99, floats.data(), 8, 1, 0, 0, 9, 9,
                                                    narrow ? 0 : 8, narrow ? 64 : 0, criterium),
                          QM_OK);
                EXPECT_EQ(value, kUntouched) << number;
            }
}

TEST(Focus, OfNullDataIsRefused) {
    for (const Criterium criterium : kAll)
        for (const uint32_t bpc : {8u, 12u, 16u}) {
            double value = kUntouched;
            EXPECT_EQ(Api::GetFocusCriterium(&value, 0, nullptr, 64, 1, bpc, 1, 1, 0, 0, 32, 1024,
                                             criterium),
                      QM_REJECTED);
            EXPECT_EQ(
                Api::GetFocusCriterium(&value, 0, nullptr, 64, 1, bpc, 1, 1, 0, 0, 3, 9, criterium),
                QM_REJECTED)
                << "before the picture is found to be too small";
            EXPECT_EQ(value, kUntouched);
        }
    for (const auto criterium :
         {Api::FocusGradientPerEnergy, Api::FocusMultiScale, Api::FocusMaxInt}) {
        double value = kUntouched;
        EXPECT_EQ(
            Floats::GetFocusCriterium(&value, 0, nullptr, 64, 1, 1, 1, 0, 0, 8, 64, criterium),
            QM_REJECTED);
        EXPECT_EQ(value, kUntouched);
    }
}

TEST(Focus, NeedsNoResult) {
    const std::vector<uint32_t> memory(40 * 40, 0x3F800001);
    for (const Criterium criterium : kAll)
        for (const uint32_t bpc : {8u, 12u, 16u})
            EXPECT_EQ(Api::GetFocusCriterium(nullptr, 0, memory.data(), 160, 1, bpc, 1, 1, 0, 1, 40,
                                             1600, criterium),
                      QM_OK)
                << criterium;
    EXPECT_EQ(Api::GetFocusCriterium(nullptr, 0, memory.data(), 160, 1, 32, 1, 1, 0, 1, 40, 1600,
                                     Api::FocusGradientPerSample),
              QM_OK);
    EXPECT_EQ(Api::GetFocusCriterium(nullptr, 0, memory.data(), 160, 1, 8, 1, 1, 0, 0, 15, 150,
                                     Api::FocusMultiScale),
              QM_NO_KERNEL);
}

TEST(Focus, NeitherAllocatesNorForks) {
    const std::vector<float> memory(64 * 64 * 5, 1.5f);
    std::vector<int> codes;
    const auto measure_all = [&] {
        for (const Criterium criterium : kAll)
            for (const uint32_t components : {1u, 3u, 5u})
                for (const uint32_t bpc : {8u, 12u, 16u, 32u})
                    for (const int component : {0, -1}) {
                        double value;
                        const bool offset = criterium == Api::FocusAutocorrelation;
                        codes.push_back(Api::GetFocusCriterium(
                            &value, offset ? 0 : component, memory.data(), 64 * 20, components, bpc,
                            1, 1, 0, 2, 64, 64 * 64, criterium));
                        codes.push_back(Floats::GetFocusCriterium(&value, component, memory.data(),
                                                                  64 * 20, components, 1, 1, 0, 2,
                                                                  64, 64 * 64, criterium));
                    }
    };
    measure_all();
    codes.clear();  // and keeps its memory
    uint32_t allocations, forks;
    {
        const WatchedRegions regions;
        const FailingAlloc memory_fails(1, FailingAlloc::kFromThenOn);
        measure_all();
        allocations = memory_fails.seen();
        forks = static_cast<uint32_t>(regions.teams().size());
    }
    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(forks, 0u);
    EXPECT_GT(std::count(codes.begin(), codes.end(), QM_OK), 150);
}

// ----- Gradients ---------------------------------------------------------------------------------

constexpr auto kEnergy = Api::FocusGradientPerEnergy, kSample = Api::FocusGradientPerSample;

TEST(GradientFocus, IsTheRootOfTheSquaredDifferencesPerEnergyOrPixel) {
    expect(focus(Bytes{10, 13, 9}, 3, 1, 8, kEnergy), QM_OK, std::sqrt(25.0 / 269));
    expect(focus(Bytes{10, 13, 9}, 3, 1, 8, kSample), QM_OK, std::sqrt(25.0 / 2));
    expect(focus(Words{10, 13, 9}, 3, 1, 16, kEnergy), QM_OK, std::sqrt(25.0 / 269));
    expect(focus(std::vector<float>{10, 13, 9}, 3, 1, kEnergy), QM_OK, std::sqrt(25.0 / 269));
}

TEST(GradientFocus, OfAConstantPictureIs0AndOfABlackOneToo) {
    for (const auto criterium : {kEnergy, kSample}) {
        expect(focus(Bytes(64, 7), 8, 1, 8, criterium), QM_OK, 0.0);
        expect(focus(Bytes(64, 0), 8, 1, 8, criterium), QM_OK, 0.0);
        // The last column is no pixel, so that all of them are black here.
        expect(focus(Bytes{0, 5}, 2, 1, 8, criterium), QM_OK, 0.0);
        expect(focus(Bytes{5, 6, 7}, 1, 1, 8, criterium), QM_OK, 0.0);
    }
    expect(focus(std::vector<float>{0, 5}, 2, 1, kEnergy), QM_OK, 0.0);
}

TEST(GradientFocus, ThinsOutPixelsAndRowsAndComparesNeighboursStill) {
    const Bytes picture{1, 2, 4, 9, 9, 9, 9, 9, 3, 3, 8, 9};
    // Rows 0 and 2, pixels 0 and 2: (1, 2), (4, 9), (3, 3), (8, 9).
    expect(focus(picture, 4, 1, 8, kSample, 0, {2, 2}), QM_OK, std::sqrt(27.0 / 4));
    expect(focus(picture, 4, 1, 8, kEnergy, 0, {2, 2}), QM_OK, std::sqrt(27.0 / 90));
    for (const Steps none : {Steps{0, 1}, Steps{1, 0}}) {
        expect(focus(picture, 4, 1, 8, kSample, 0, none), QM_REJECTED, kUntouched);
        expect(focus(std::vector<float>(4, 1.0f), 4, 1, kEnergy, 0, none), QM_REJECTED, kUntouched);
    }
}

TEST(GradientFocus, CutsTheMeanOfComponentsToAWholeNumber) {
    expect(focus(Bytes{1, 1, 3, 9, 1, 1}, 2, 3, 8, kSample, -1), QM_OK, 2.0);  // 1 and 3
    expect(focus(Words{1, 2, 4, 1}, 2, 2, 12, kSample, -1), QM_OK, 1.0);       // 1 and 2
    // Floats are not cut: 1.5 and 2.5.
    expect(focus(std::vector<float>{1, 2, 4, 1}, 2, 2, kEnergy, -1), QM_OK, 1.0 / 1.5);
}

TEST(GradientFocus, MasksComponentsOf9To15BitsAndNoOthers) {
    const Words picture{0x8001, 0x9003};  // 1 and 3 in 12 bits
    expect(focus(picture, 2, 1, 12, kSample), QM_OK, 2.0);
    expect(focus(picture, 2, 1, 16, kSample), QM_OK, 4098.0);
    double value = 0;
    EXPECT_EQ(getfocuscriterium_1x16(&value, 0, picture.data(), 4, 1, 1, 12, 2, 2, kSample), QM_OK);
    EXPECT_EQ(value, 4098.0);
    // The mean is that of masked components: (1 + 3) / 2 and (1 + 1) / 2.
    expect(focus(Words{0x8001, 0x9003, 1, 1}, 2, 2, 12, kSample, -1), QM_OK, 1.0);
}

TEST(GradientFocus, TestsTheComponentBeforeTheCriterion) {
    const auto unknown = static_cast<Criterium>(5);
    const Bytes picture(12, 1);
    expect(focus(picture, 2, 1, 8, unknown), QM_NO_KERNEL, kUntouched);
    for (const int component : {1, -2})
        expect(focus(picture, 2, 1, 8, unknown, component), QM_REJECTED, kUntouched);
    for (const int component : {3, -2, INT_MAX, INT_MIN})
        expect(focus(picture, 2, 3, 8, kEnergy, component), QM_REJECTED, kUntouched);
    for (const int component : {2, -2})
        expect(focus(picture, 3, 2, 8, kEnergy, component), QM_REJECTED, kUntouched);
}

// A size below the width is no row: then no criterion is looked at.
TEST(GradientFocus, OfNoRowIs0WhateverTheCriterion) {
    for (const unsigned criterium : {0u, 1u, 5u, 7u, 1000u}) {
        double value = kUntouched;
        const uint16_t sample = 1;
        EXPECT_EQ(getfocuscriterium_Nx16(&value, -1, &sample, 1, 2, 1, 1, 16, 5, 4,
                                         static_cast<Criterium>(criterium)),
                  QM_OK);
        EXPECT_EQ(value, 0.0);
        value = kUntouched;
        EXPECT_EQ(getfocuscriterium_float(&value, 0, &sample, 2, 1, 1, 32, 5, 4,
                                          static_cast<Criterium>(criterium)),
                  QM_OK);
        EXPECT_EQ(value, 0.0);
    }
    double value = kUntouched;
    const uint8_t sample = 1;
    EXPECT_EQ(getfocuscriterium_1x8(&value, 0, &sample, 2, 1, 1, 0, 5, kEnergy), QM_OK);
    EXPECT_EQ(value, 0.0) << "a width of 0 is no row";
    EXPECT_EQ(getfocuscriterium_Nx8(&value, 0, &sample, 0, 2, 1, 1, 1, 1, kEnergy), QM_REJECTED);
    EXPECT_EQ(getfocuscriterium_Nx8(&value, -1, &sample, 0, 2, 1, 1, 1, 1, kEnergy), QM_OK);
}

TEST(GradientFocus, Of32BitsIsThatOfFloatsWithOneComponent) {
    const std::vector<float> picture{1, 2.5f, 4, 4, 4, 4};
    expect(focus(picture, 3, 1, 32, kEnergy), QM_OK, std::sqrt(4.5 / (1 + 6.25 + 32)));
    expect(focus(picture, 2, 3, 32, kEnergy), QM_NO_KERNEL, kUntouched);
    expect(focus(picture, 3, 1, 31, kEnergy), QM_NO_KERNEL, kUntouched);
    expect(focus(picture, 3, 1, 32, kSample, 1), QM_REJECTED, kUntouched);
}

TEST(GradientFocus, OfFloatsSquaresInSinglePrecision) {
    const float d = 1.0f + 0x1p-12f;  // its square has 2^-24 more than a float holds
    const std::vector<float> picture{1.0f, 1.0f + d};
    expect(focus(picture, 2, 1, 32, kSample), QM_OK, std::sqrt(1 + 0x1p-11));
    expect(focus(picture, 2, 1, kEnergy), QM_OK, std::sqrt(1 + 0x1p-11 + 0x1p-24));
    // The energy loses the 1 behind 2^24, the differences are doubles.
    const std::vector<float> far{4096.0f, 1.0f, 2.0f};
    expect(focus(far, 3, 1, 32, kEnergy), QM_OK, std::sqrt((4095.0 * 4095 + 1) / 0x1p24));
    expect(focus(far, 3, 1, kEnergy), QM_OK, std::sqrt((4095.0 * 4095 + 1) / (0x1p24 + 1)));
}

TEST(GradientFocus, OfFloatsStopsCountingAt2To24) {
    const std::vector<float> row{1.0f, 2.0f};
    const uint64_t rows = (1 << 24) + (1 << 22);
    for (const auto criterium : {kEnergy, kSample}) {  // a sum of ones stops likewise
        double value = 0;
        EXPECT_EQ(
            getfocuscriterium_float(&value, 0, row.data(), 0, 1, 1, 32, 2, 2 * rows, criterium),
            QM_OK);
        EXPECT_EQ(value, std::sqrt(1.25));
    }
}

TEST(GradientFocus, OfFloatsTestsComponentThenSizeThenSteps) {
    const float x = 1;
    double value = kUntouched;
    EXPECT_EQ(getfocuscriterium_float(&value, 1, &x, 4, 1, 1, 32, 0, 0, kEnergy), QM_REJECTED);
    EXPECT_EQ(getfocuscriterium_float(&value, 0, &x, 4, 0, 0, 32, 0, 1, kEnergy), QM_OK);
    EXPECT_EQ(getfocuscriterium_float(&value, -1, nullptr, 4, 0, 0, 32, 1, 0, kEnergy), QM_OK);
    EXPECT_EQ(getfocuscriterium_float(&value, 0, &x, 4, 0, 1, 32, 1, 1, kEnergy), QM_REJECTED);
    EXPECT_EQ(getfocuscriterium_float(&value, 0, &x, 4, 1, 1, 32, 1, 1, Api::FocusMaxInt),
              QM_NO_KERNEL);
    EXPECT_EQ(value, kUntouched);
}

TEST(GradientFocus, OfFloatsFindsRowsIn32Bits) {
    const std::vector<float> x{1, 2, 3, 5, 99, 6, 10, 8, 9};  // 10 bytes: floats 0, 2, 5, 7
    const double expected = std::sqrt((1.0 + 4 + 16 + 1) / (1 + 9 + 36 + 64));
    double value = 0;
    EXPECT_EQ(getfocuscriterium_float(&value, 0, x.data(), 10, 1, 1, 32, 2, 8, kEnergy), QM_OK);
    EXPECT_EQ(value, expected);
    EXPECT_EQ(Floats::GetFocusCriterium(&value, 0, x.data(), 10, 1, 1, 1, 0, 0, 2, 8, kEnergy),
              QM_OK);
    EXPECT_EQ(value, expected);
    EXPECT_EQ(
        Floats::GetFocusCriterium(&value, 0, x.data(), 10, 1, 1, 1, 0, 0, 2, 8, Api::FocusMaxInt),
        QM_OK);
    EXPECT_EQ(value, 44.0 / 8);
    if (kThreadSanitizer) GTEST_SKIP() << "its tables would cover the distance";
    const WrappedRows memory;
    memory.row(0)[0] = 1, memory.row(0)[1] = 2;
    memory.row(1)[0] = 3, memory.row(1)[1] = 3;
    EXPECT_EQ(getfocuscriterium_float(&value, 0, memory.row(0), WrappedRows::kStride, 1, 1, 32, 2,
                                      6, kEnergy),
              QM_OK);
    EXPECT_EQ(value, std::sqrt(2.0 / 11));
    EXPECT_EQ(Floats::GetFocusCriterium(&value, 0, memory.row(0), WrappedRows::kStride, 1, 1, 1, 0,
                                        0, 2, 6, kEnergy),
              QM_OK);
    EXPECT_EQ(value, std::sqrt(2.0 / 11));
}

// A squared difference of 65535 is odd. From 2^53 on a sum loses 1 with each of them; as one whole
// number it would not. All rows are the same memory.
TEST(GradientFocus, AddsOneByOneBeyond2To53) {
    const uint64_t rows = 1200, width = 2049;
    Words row;
    for (uint64_t x = 0; x < width; ++x) row.push_back(x % 2 == 0 ? 0 : 65535);
    const double squared = 65535.0 * 65535.0;
    double sum = 0;
    for (uint64_t i = 0; i < rows * (width - 1); ++i) sum += squared;
    ASSERT_LT(sum, squared * static_cast<double>(rows * (width - 1)));
    const double expected = std::sqrt(sum / static_cast<double>(rows * (width - 1)));
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        double value = 0;
        EXPECT_EQ(Api::GetFocusCriterium(&value, 0, row.data(), 0, 1, 16, 1, 1, 0, 0, width,
                                         width * rows, kSample),
                  QM_OK);
        EXPECT_EQ(bits_of(value), bits_of(expected)) << name_of(level);
    }
}

// Full scale of each depth in rows longer than any block: no partial sum may overflow.
TEST(GradientFocus, OfFullScaleIsExactInLongRows) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (uint32_t bpc = 8; bpc <= 16; ++bpc) {
            const uint32_t width = 10001, top = (1u << bpc) - 1;
            Words words;
            Bytes bytes;
            for (uint32_t x = 0; x < width; ++x) {
                words.push_back(static_cast<uint16_t>(x % 2 != 0 ? top : 0));
                bytes.push_back(static_cast<uint8_t>(x % 2 != 0 ? 255 : 0));
            }
            const auto measured = [&](Criterium criterium) {
                return bpc == 8 ? focus(bytes, width, 1, 8, criterium)
                                : focus(words, width, 1, bpc, criterium);
            };
            expect(measured(kSample), QM_OK, top);
            expect(measured(kEnergy), QM_OK, std::sqrt(2.0));
        }
    }
}

TEST(GradientFocus, PerSampleIsNotOfferedForFloatPictures) {
    const std::vector<float> picture(400, 1.0f);
    for (const unsigned criterium : {1u, 3u, 5u, 6u, 7u})
        expect(focus(picture, 20, 1, static_cast<Criterium>(criterium)), QM_NO_KERNEL, kUntouched);
}

TEST(GradientFocus, OfFloatPicturesTakesAnyComponentAsAnOffset) {
    // Component 2 of two is component 0 of the next pixel.
    const std::vector<float> row{9, 9, 1, 9, 3, 9, 4, 9};
    double value = 0;
    EXPECT_EQ(Floats::GetFocusCriterium(&value, 2, row.data(), 32, 2, 1, 1, 0, 0, 3, 3, kEnergy),
              QM_OK);
    EXPECT_EQ(value, std::sqrt((4.0 + 1) / (1 + 9)));
    EXPECT_EQ(
        Floats::GetFocusCriterium(&value, -2, row.data() + 4, 32, 2, 1, 1, 0, 0, 2, 2, kEnergy),
        QM_OK);
    EXPECT_EQ(value, 2.0);
}

// ----- Several scales ----------------------------------------------------------------------------

/// One anchor, at (0, 0): the pixels d to the right and below are drawn.
template <class T>
std::vector<T> one_anchor(uint32_t components) {
    std::vector<T> picture(size_t{17} * 17 * components, 0);
    for (uint32_t k = 0; k < components; ++k) {
        picture[k] = 10;
        uint32_t value = 9 - k;  // differences 1 + k, ... to the right
        for (const uint32_t d : {1u, 2u, 4u, 8u, 16u}) {
            picture[d * components + k] = static_cast<T>(value--);
            picture[size_t{17} * d * components + k] = 10;
        }
    }
    return picture;
}
constexpr double kOne = 1 + 4 + 9 + 16 + 25, kNext = 4 + 9 + 16 + 25 + 36,
                 kThird = 9 + 16 + 25 + 36 + 49;

TEST(MultiScaleFocus, DividesOneComponentByItsDepthAndAllTogetherNot) {
    const auto criterium = Api::FocusMultiScale;
    expect(focus(one_anchor<uint8_t>(1), 17, 1, 8, criterium), QM_OK, kOne / 2560);
    expect(focus(one_anchor<uint16_t>(1), 17, 1, 12, criterium), QM_OK, kOne / 655360);
    expect(focus(one_anchor<uint8_t>(3), 17, 3, 8, criterium, 1), QM_OK, kNext / 2560);
    expect(focus(one_anchor<uint16_t>(3), 17, 3, 16, criterium, 2), QM_OK, kThird / 655360);
    expect(focus(one_anchor<uint8_t>(2), 17, 2, 8, criterium, 1), QM_OK, kNext / 2560);
    expect(focus(one_anchor<uint16_t>(2), 17, 2, 9, criterium, 0), QM_OK, kOne / 655360);
    for (const int all : {-1, 3, -7, INT_MIN, INT_MAX}) {
        expect(focus(one_anchor<uint8_t>(3), 17, 3, 8, criterium, all), QM_OK,
               (kOne + kNext + kThird) / 30);
        expect(focus(one_anchor<uint16_t>(2), 17, 2, 16, criterium, all), QM_OK,
               (kOne + kNext) / 20);
        expect(focus(one_anchor<float>(2), 17, 2, criterium, all), QM_OK, (kOne + kNext) / 20);
        expect(focus(one_anchor<uint8_t>(1), 17, 1, 8, criterium, all), QM_OK, kOne / 2560);
    }
    expect(focus(one_anchor<float>(1), 17, 1, criterium), QM_OK, kOne / 10);
    expect(focus(one_anchor<float>(2), 17, 2, criterium, 1), QM_OK, kNext / 10);
}

TEST(MultiScaleFocus, OfOnePerNameOrByNumberDiffersForWhatIsNoComponent) {
    const auto bytes = one_anchor<uint8_t>(1);
    const auto words = one_anchor<uint16_t>(1);
    Expected one, number;
    for (const int none : {-1, 1}) {  // one component of any number: all of them, not scaled
        one.code = getfocus_ms_1x8(&one.value, none, bytes.data(), 17, 17, 289);
        expect(one, QM_OK, kOne / 2560);
        number.code = getfocus_ms_Nx8(&number.value, none, bytes.data(), 17, 1, 17, 289);
        expect(number, QM_OK, kOne / 10);
        one.code = getfocus_ms_1x16(&one.value, none, words.data(), 34, 17, 289);
        expect(one, QM_OK, kOne / 655360);
        number.code = getfocus_ms_Nx16(&number.value, none, words.data(), 34, 1, 17, 289);
        expect(number, QM_OK, kOne / 10);
    }
}

TEST(MultiScaleFocus, OfASmallPictureIs0AndAFailure) {
    for (const auto& [width, height] : {std::pair{15u, 100u}, {100u, 15u}, {1u, 1u}}) {
        expect(focus(Bytes(size_t{width} * height, 9), width, 1, 8, Api::FocusMultiScale),
               QM_NO_KERNEL, 0.0);
        expect(focus(std::vector<float>(size_t{width} * height), width, 1, Api::FocusMultiScale),
               QM_NO_KERNEL, 0.0);
    }
}

TEST(MultiScaleFocus, WithoutAnAnchorIsNoNumber) {
    for (const auto& [width, height] : {std::pair{16u, 16u}, {16u, 90u}, {90u, 16u}}) {
        expect(focus(Bytes(size_t{width} * height, 9), width, 1, 8, Api::FocusMultiScale), QM_OK,
               NAN);
        expect(focus(std::vector<float>(size_t{width} * height), width, 1, Api::FocusMultiScale),
               QM_OK, NAN);
    }
}

// Rows are the same memory, so that only what is to the right differs.
TEST(MultiScaleFocus, DividesWordsByAProductThatWraps) {
    const auto measure = [](uint32_t anchors) {
        Words row(size_t{16} * anchors + 1, 0);
        for (size_t x = 0; x < row.size(); x += 16) row[x] = 100;  // equal at a distance of 16
        Expected found{0};
        const auto width = static_cast<uint32_t>(row.size());
        found.code = Api::GetFocusCriterium(&found.value, 0, row.data(), 0, 1, 16, 1, 1, 0, 0,
                                            width, uint64_t{width} * 17, Api::FocusMultiScale);
        return found;
    };
    expect(measure(6553), QM_OK, 6553 * 4e4 / 4294574080.0);
    expect(measure(6554), QM_OK, 6554 * 4e4 / 262144.0);
    expect(measure(32768), QM_OK, INFINITY);  // 655360 * 2^15 wraps to 0
}

// ----- Noise -------------------------------------------------------------------------------------

template <class T>
std::vector<T> dots(uint32_t width, uint32_t height,
                    std::initializer_list<std::pair<uint32_t, uint32_t>> values) {
    std::vector<T> picture(size_t{width} * height, 0);
    for (const auto& [at, value] : values) picture[at] = static_cast<T>(value);
    return picture;
}
constexpr auto kNoise = Api::FocusImmerkaer;

TEST(NoiseFocus, IsTheMeanMagnitudeOfTheMask) {
    expect(focus(dots<uint8_t>(3, 3, {{4, 1}}), 3, 1, 8, kNoise), QM_OK, 4 / 100.0);
    expect(focus(dots<uint16_t>(3, 3, {{1, 3}}), 3, 1, 16, kNoise), QM_OK, 6 / 100.0);
    // 4, four times -2 and four times 1, of 16 pixels.
    expect(focus(dots<uint8_t>(6, 6, {{14, 1}}), 6, 1, 8, kNoise), QM_OK, 16 / 16.0 / 100.0);
    // A plane has no noise.
    Bytes plane;
    for (uint32_t y = 0; y < 9; ++y)
        for (uint32_t x = 0; x < 20; ++x) plane.push_back(static_cast<uint8_t>(3 * x + 5 * y));
    expect(focus(plane, 20, 1, 8, kNoise), QM_OK, 0.0);
}

TEST(NoiseFocus, AddsWhatIsAboveTwiceTheNoiseOnAllLevels) {
    const auto dot = dots<uint8_t>(6, 6, {{14, 1}});
    // T is 1. The dot gives 4 once on each level, of 16 pixels and of 4.
    expect(focus(dot, 6, 1, 8, kNoise, 0, {1, 1}, 0, 1), QM_OK, 8 / 20.0 / 100.0);
    expect(focus(dot, 6, 1, 8, kNoise, 0, {1, 1}, 1, 1), QM_OK, 4 / 4.0 / 100.0);
}

TEST(NoiseFocus, LeavesOutWhatIsJustTwiceTheNoise) {
    const auto two = dots<uint16_t>(8, 6, {{2 * 8 + 2, 1}, {2 * 8 + 5, 2}});  // T is 2
    expect(focus(two, 8, 1, 16, kNoise, 0, {1, 1}, 0, 1), QM_OK, 16 / 32.0 / 100.0);
}

TEST(NoiseFocus, DoesNotSeeDarkSpotsOnItsLevels) {
    auto dark = dots<uint8_t>(6, 6, {});
    for (uint8_t& sample : dark) sample = 10;
    dark[14] = 9;  // as far below as the dot above stands out; its neighbours give 2, which is 2 T
    expect(focus(dark, 6, 1, 8, kNoise), QM_OK, 16 / 16.0 / 100.0);
    expect(focus(dark, 6, 1, 8, kNoise, 0, {1, 1}, 0, 1), QM_OK, 0.0);
}

TEST(NoiseFocus, AddsComponentsBeforeItTakesTheMagnitude) {
    // One up and one down is nothing; two up are 8, of a pixel that counts twice, or three times.
    const Bytes against{0, 1, 0, 1, 0, 1, 0, 1, 1, 0, 0, 1, 0, 1, 0, 1, 0, 1};
    const Bytes with{0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0};
    expect(focus(against, 3, 2, 8, kNoise, -1), QM_OK, 0.0);
    expect(focus(against, 3, 2, 8, kNoise, 1), QM_OK, 4 / 100.0);
    expect(focus(with, 3, 2, 8, kNoise, -1), QM_OK, 8 / 2.0 / 100.0);
    Bytes three(27, 0);
    three[12] = three[13] = three[14] = 1;
    expect(focus(three, 3, 3, 8, kNoise, -1), QM_OK, 12 / 3.0 / 100.0);
}

TEST(NoiseFocus, TestsItsLevels) {
    const Words picture(size_t{64} * 64, 5);
    const auto code = [&](uint32_t low, uint32_t high, uint32_t width, uint32_t height) {
        double value = kUntouched;
        const int found = Api::GetFocusCriterium(&value, 0, picture.data(), 128, 1, 16, 1, 1, low,
                                                 high, width, uint64_t{width} * height, kNoise);
        EXPECT_EQ(value == kUntouched, found != QM_OK);
        return found;
    };
    EXPECT_EQ(code(0, 5, 64, 64), QM_OK);
    EXPECT_EQ(code(0, 5, 63, 64), QM_REJECTED);
    EXPECT_EQ(code(0, 5, 64, 63), QM_REJECTED);
    EXPECT_EQ(code(0, 6, 64, 64), QM_REJECTED);
    EXPECT_EQ(code(0, 31, 64, 64), QM_REJECTED);
    EXPECT_EQ(code(0, 0xFFFFFFFF, 64, 64), QM_REJECTED);
    EXPECT_EQ(code(3, 2, 64, 64), QM_REJECTED);
    EXPECT_EQ(code(1, 0, 64, 64), QM_REJECTED);
    EXPECT_EQ(code(0, 0, 1, 64), QM_REJECTED);
    EXPECT_EQ(code(0, 0, 64, 1), QM_REJECTED);
}

TEST(NoiseFocus, WithoutAPixelIsNoNumber) {
    expect(focus(Bytes(4, 9), 2, 1, 8, kNoise), QM_OK, NAN);
    // Masks as high as the picture, or as wide, have no place in it.
    expect(focus(Bytes(16, 9), 4, 1, 8, kNoise, 0, {1, 1}, 1, 1), QM_OK, NAN);
    expect(focus(Bytes(36, 9), 4, 1, 8, kNoise, 0, {1, 1}, 1, 1), QM_OK, NAN);
    expect(focus(Bytes(36, 9), 9, 1, 8, kNoise, 0, {1, 1}, 1, 1), QM_OK, NAN);
    expect(focus(Bytes(36, 9), 9, 1, 8, kNoise, 0, {1, 1}, 0, 1), QM_OK, 0.0);
}

TEST(NoiseFocus, ReadsWordsOfAnyDepthAbove8) {
    const auto dot = dots<uint16_t>(6, 6, {{14, 1000}});
    for (const uint32_t bpc : {9u, 16u, 17u, 32u, 33u, 1000u})
        expect(focus(dot, 6, 1, bpc, kNoise), QM_OK, 1000 / 100.0);
    for (const uint32_t bpc : {0u, 1u, 7u})
        expect(focus(dot, 6, 1, bpc, kNoise), QM_NO_KERNEL, kUntouched);
}

TEST(NoiseFocus, TestsTheComponentOfOneAndThreeButTakesAnOffsetOfOthers) {
    for (const int component : {1, -2, INT_MAX, INT_MIN})
        expect(focus(Bytes(36, 1), 6, 1, 8, kNoise, component), QM_REJECTED, kUntouched);
    for (const int component : {3, -2})
        expect(focus(Bytes(108, 1), 6, 3, 8, kNoise, component), QM_REJECTED, kUntouched);
    // Component 2 of two is component 0 of the next pixel, so the dot is one pixel to the left.
    Words memory(size_t{4} * 3 * 2, 0);
    memory[(1 * 4 + 2) * 2] = 1;
    double value = 0;
    EXPECT_EQ(getfocus_immerkaer_Nx16(&value, 2, 2, memory.data(), 16, 0, 0, 3, 9), QM_OK);
    EXPECT_EQ(value, 4 / 100.0);
    EXPECT_EQ(getfocus_immerkaer_Nx16(&value, -2, 2, memory.data() + 4, 16, 0, 0, 2, 6), QM_OK);
    EXPECT_TRUE(std::isnan(value));
    EXPECT_EQ(getfocus_immerkaer_Nx16(&value, 1, 1, memory.data() + 3, 8, 0, 0, 3, 9), QM_OK);
}

// The greatest that the mask gives, on each level: nothing may overflow.
TEST(NoiseFocus, OfFullScaleIsExact) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (const uint32_t components : {1u, 2u, 3u, 192u})
            for (const int component : {0, -1}) {
                const uint32_t width = components == 192 ? 64 : 701, height = 5;
                Bytes bytes;
                Words words;
                for (uint32_t y = 0; y < height; ++y)
                    for (uint32_t x = 0; x < width; ++x)
                        for (uint32_t k = 0; k < components; ++k) {
                            bytes.push_back((x + y) % 2 != 0 ? 255 : 0);
                            words.push_back((x + y) % 2 != 0 ? 65535 : 0);
                        }
                // Corners and centre of each mask against its edges: 8 times the scale.
                expect(focus(bytes, width, components, 8, kNoise, component), QM_OK,
                       8 * 255 / 100.0);
                expect(focus(words, width, components, 16, kNoise, component), QM_OK,
                       8 * 65535 / 100.0);
            }
    }
}

// ----- Mean --------------------------------------------------------------------------------------

constexpr auto kMean = Api::FocusMaxInt;

TEST(MeanFocus, IsAShareOfTheGreatestValue) {
    for (uint32_t bpc = 9; bpc <= 16; ++bpc)
        expect(focus(Words(60, static_cast<uint16_t>((1u << bpc) - 1)), 6, 1, bpc, kMean), QM_OK,
               1.0);
    for (const uint32_t bpc : {0u, 1u, 7u, 8u})  // bytes, and 255 whatever the depth says
        expect(focus(Bytes{255, 0, 51}, 3, 1, bpc, kMean), QM_OK, 0.4);
    expect(focus(std::vector<float>{1.5f, -4, 7}, 3, 1, kMean), QM_OK, 1.5);  // as it is
}

TEST(MeanFocus, TakesAllComponentsForWhatIsNone) {
    const Bytes picture{1, 2, 3, 3, 2, 1, 5, 5, 5, 6, 6, 6};
    for (const int all : {-1, 3, -9, INT_MIN, INT_MAX}) {
        expect(focus(picture, 2, 3, 8, kMean, all), QM_OK, 45 / (12 * 255.0));
        expect(focus(picture, 3, 2, 8, kMean, all), QM_OK, 45 / (12 * 255.0));
        expect(focus(picture, 3, 1, 8, kMean, all), QM_OK, 45 / (12 * 255.0));
        expect(focus(std::vector<float>(picture.begin(), picture.end()), 2, 3, kMean, all), QM_OK,
               45 / 12.0);
    }
    expect(focus(picture, 2, 3, 8, kMean, 2), QM_OK, 15 / (4 * 255.0));
    expect(focus(picture, 3, 2, 8, kMean, 1), QM_OK, 23 / (6 * 255.0));
    expect(focus(std::vector<float>(picture.begin(), picture.end()), 2, 3, kMean, 1), QM_OK,
           15 / 4.0);
}

TEST(MeanFocus, VisitsRowsInSteps) {
    const Bytes picture{10, 20, 99, 99, 30, 40, 99, 99};
    expect(focus(picture, 2, 1, 8, kMean, 0, {0, 2}), QM_OK, 100 / (4 * 255.0));
    expect(focus(picture, 2, 1, 8, kMean, 0, {1, 0}), QM_REJECTED, kUntouched);
    expect(focus(std::vector<float>{10, 20, 99, 99, 30, 40}, 2, 1, kMean, 0, {0, 2}), QM_OK, 25.0);
    expect(focus(std::vector<float>{10, 20}, 2, 1, kMean, 0, {1, 0}), QM_REJECTED, kUntouched);
}

TEST(MeanFocus, WithoutARowIsNoNumber) {
    expect(focus(Bytes(3, 9), 4, 1, 8, kMean), QM_OK, NAN);
    expect(focus(std::vector<float>(3), 4, 1, kMean), QM_OK, NAN);
}

TEST(MeanFocus, OfFullScaleIs1InLongRows) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (const uint32_t components : {1u, 2u, 3u})
            for (const int component : {0, -1})
                for (const uint32_t width : {255u, 100003u}) {
                    expect(focus(Bytes(size_t{width} * components, 255), width, components, 8,
                                 kMean, component),
                           QM_OK, 1.0);
                    expect(focus(Words(size_t{width} * components, 65535), width, components, 16,
                                 kMean, component),
                           QM_OK, 1.0);
                }
    }
}

// Floats are added in doubles, from left to right.
TEST(MeanFocus, OfFloatsIsASumInOrder) {
    std::vector<float> row(1001, 1.0f);
    row[0] = 9007199254740992.0f;
    expect(focus(row, 1001, 1, kMean), QM_OK, 9007199254740992.0 / 1001);
    std::swap(row[0], row[1000]);
    expect(focus(row, 1001, 1, kMean), QM_OK, 9007199254741992.0 / 1001);
}

// ----- Autocorrelation ---------------------------------------------------------------------------

constexpr auto kCorrelation = Api::FocusAutocorrelation;

TEST(AutocorrelationFocus, IsVollathsF4AlongTheRows) {
    expect(focus(Bytes{1, 2, 4}, 3, 1, 8, kCorrelation), QM_OK, (2 + 4) / 3.0);
    expect(focus(Words{7, 5, 3, 1}, 4, 1, 12, kCorrelation), QM_OK, (35 - 6 - 2) / 4.0);
    expect(focus(Bytes{1, 2, 4, 3, 3, 3}, 3, 1, 8, kCorrelation), QM_OK, (6 + 9) / 6.0);
}

TEST(AutocorrelationFocus, DividesByAllPixelsThatWereNamed) {
    expect(focus(Bytes{1, 2, 4, 99, 99}, 3, 1, 8, kCorrelation), QM_OK, 6 / 5.0);
    expect(focus(Bytes{1, 2}, 3, 1, 8, kCorrelation), QM_OK, 0.0);
}

TEST(AutocorrelationFocus, OfTwoColumnsIsRefused) {
    expect(focus(Bytes(8, 1), 2, 1, 8, kCorrelation), QM_REJECTED, kUntouched);
    EXPECT_EQ(Api::GetFocusCriterium(nullptr, 0, "12", 2, 1, 8, 1, 1, 0, 0, 2, 2, kCorrelation),
              QM_REJECTED);
}

TEST(AutocorrelationFocus, TakesAnyComponentAsAnOffset) {
    const Bytes row{9, 1, 9, 2, 9, 4, 9};
    for (const int component : {-1, 1}) {
        double value = 0;  // -1 is the sample before, and not all components
        EXPECT_EQ(Api::GetFocusCriterium(&value, component, row.data() + 1 - component, 7, 2, 8, 0,
                                         0, 9, 9, 3, 3, kCorrelation),
                  QM_OK);
        EXPECT_EQ(value, 2.0);
    }
}

// Each fourth pixel adds 65535^2, which is odd: from 2^53 on a sum loses 1 with each.
TEST(AutocorrelationFocus, AddsOneByOneBeyond2To53) {
    const uint64_t rows = 2100, width = 4402;
    Words row;
    for (uint64_t x = 0; x < width; ++x) row.push_back((x + 1) % 4 < 2 ? 65535 : 0);
    double sum = 0;
    uint64_t exact = 0;
    for (uint64_t y = 0; y < rows; ++y) {
        sum += 1.0 * row[0] * row[1];
        exact += uint64_t{row[0]} * row[1];
        for (uint64_t x = 2; x < width; ++x) {
            const double term = (1.0 * row[x - 1] - row[x - 2]) * row[x];
            sum += term;
            exact += static_cast<uint64_t>(static_cast<int64_t>(term));
        }
    }
    ASSERT_NE(sum, static_cast<double>(exact));
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        double value = 0;
        EXPECT_EQ(Api::GetFocusCriterium(&value, 0, row.data(), 0, 1, 16, 1, 1, 0, 0, width,
                                         width * rows, kCorrelation),
                  QM_OK);
        EXPECT_EQ(bits_of(value), bits_of(sum / static_cast<double>(width * rows)));
    }
}

TEST(AutocorrelationFocus, OfFullScaleIsExactInLongRows) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        const uint32_t width = 10002;
        Bytes bytes;
        Words words;
        for (uint32_t x = 0; x < width; ++x) {
            bytes.push_back(x % 4 < 2 ? 255 : 0);
            words.push_back(x % 4 < 2 ? 65535 : 0);
        }
        // The first product, and one term for each later pair.
        expect(focus(bytes, width, 1, 8, kCorrelation), QM_OK, 2501 * 65025.0 / width);
        expect(focus(words, width, 1, 16, kCorrelation), QM_OK, 2501 * 4294836225.0 / width);
        expect(focus(Words(width, 65535), width, 1, 16, kCorrelation), QM_OK, 4294836225.0 / width);
    }
}

}  // namespace
}  // namespace qmpic::test
