#include <gtest/gtest.h>
#include <omp.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "analysis/painted.h"
#include "analysis/ratio_kernels.h"
#include "qmpic/Lut.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/kernels/ratio.h"
#include "support/cases.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Entries = CQmPicMemAPI_Base;

// The arguments of a dye, and the range that is shown.
struct Dye {
    double kd = 1, scale = 1, sf = 1, sb = 1, rmin = 0, rmax = 8, ca_min = 0.01, ca_max = 100;
};

// ----- Reference: one pixel after the other ------------------------------------------------------

uint32_t colour_of(TwoSamples p, double a_offset, double b_offset, const Dye& dye, Samples kind) {
    const double ceiling = std::pow(10.0, std::ceil(std::log10(dye.kd * 10)));
    const double high = std::log10(kind == Samples::kWords && !(dye.ca_max > 0) ? 2.0 : dye.ca_max);
    double low;
    if (dye.ca_min != 0)
        low = std::log10(dye.ca_min);
    else if (kind != Samples::kBytes)
        low = -std::log10(ceiling);
    else if (high > 0)
        low = -high;
    else
        low = -4.0;

    const double a = p.a - a_offset, b = p.b - b_offset;
    const double ratio = p.b > b_offset ? a / b : a;
    double logarithm;
    if (!(dye.sf > 0) || !(ratio - dye.scale * dye.rmin > 0)) {
        logarithm = low;
    } else {
        const double n = ratio - dye.scale * dye.rmin, d = dye.scale * dye.rmax - ratio;
        double x;
        if (!(d > 0)) {
            x = ceiling;
        } else {
            const double beta = dye.sb > 0 ? dye.sf / dye.sb : dye.sf;
            x = beta * dye.kd * n / d;
            if (x > ceiling) x = ceiling;
        }
        logarithm = x == 0.0 ? low : std::log10(x);
    }
    const double t = (logarithm - low) / (high - low);
    if (std::isnan(t) || t < 0.0) return 0;
    return t > 1.0 ? 255 : static_cast<uint32_t>(t * 255.0);
}

std::vector<Colour> calcium_of(Samples kind, const std::vector<TwoSamples>& picture, Reading r,
                               const Dye& dye, const Scale& scale) {
    std::vector<Colour> colours;
    const float float_most = float_top(picture);
    for (const TwoSamples& p : picture) {
        Colour colour = scale[colour_of(p, r.num_offset, r.den_offset, dye, kind)];
        if (kind == Samples::kFloats)
            colour =
                dimmed(colour, float_signal(p, r.num_offset, r.den_offset, float_most), float_most);
        else if (kind == Samples::kBytes)
            colour = dimmed(colour, whole_signal(p, r.num_offset, r.den_offset, 255), 255);
        else if (whole_signal(p, r.num_offset, r.den_offset, 65535) == 0)
            colour = {0, 0, 0};
        colours.push_back(colour);
    }
    return colours;
}

Dye draw_dye(Random& random) {
    Dye dye;
    if (random(0, 1)) dye.kd = random.one_of({0.224, 345.0, 1.0, 2.5, 0.0, -1.0});
    if (random(0, 1)) dye.scale = random.one_of({0.5, 2.0, 0.0, -1.0});
    if (random(0, 1)) dye.sf = random.one_of({3.5, 0.1, 0.0, -1.0});
    if (random(0, 1)) dye.sb = random.one_of({2.5, 0.3, 0.0, -1.0});
    if (random(0, 1)) dye.rmin = random.one_of({0.1, 0.3, 1.0, -0.5});
    if (random(0, 1)) dye.rmax = random.one_of({3.0, 20.0, 0.2, 300.0});
    if (random(0, 1)) dye.ca_min = random.one_of({0.0, 0.001, 0.3, 1.0, -1.0});
    if (random(0, 1)) dye.ca_max = random.one_of({1.0, 0.001, 10.0, 0.3, 0.0, -1.0});
    return dye;
}

template <class Kernel>
KernelCase with_table(const NamedKernel<Kernel>& kernel) {
    const Samples kind = kernel.source.bits == 8 ? Samples::kBytes : Samples::kWords;
    return {
        std::string(kernel.name), [=, run = kernel.run](Round round) {
            const Dye dye = draw_dye(round.random);
            check_painted(
                round, kind, true,
                [=](const GuardedPicture& d, const GuardedPicture& s, Reading r, const void* luts) {
                    return run(d.data(), d.stride(), s.data(), r.components, s.stride(),
                               s.size().width, s.size().pixels, r.numer, r.denom, r.num_offset,
                               r.den_offset, dye.kd, dye.scale, dye.sf, dye.sb, dye.rmin, dye.rmax,
                               dye.ca_min, dye.ca_max, luts);
                },
                [=](const auto& picture, uint64_t, Reading r, const Scale& scale) {
                    return calcium_of(kind, picture, r, dye, scale);
                });
        }};
}

KernelCase of_floats(const NamedKernel<CalciumFloatKernel>& kernel) {
    return {std::string(kernel.name), [run = kernel.run](Round round) {
                const Dye dye = draw_dye(round.random);
                check_painted(
                    round, Samples::kFloats, false,
                    [=](const GuardedPicture& d, const GuardedPicture& s, Reading r, const void*) {
                        return run(d.data(), d.stride(), s.data(), r.components, s.stride(),
                                   s.size().width, s.size().pixels, r.numer, r.denom, r.num_offset,
                                   r.den_offset, dye.kd, dye.scale, dye.sf, dye.sb, dye.rmin,
                                   dye.rmax, dye.ca_min, dye.ca_max);
                    },
                    [=](const auto& picture, uint64_t, Reading r, const Scale& scale) {
                        return calcium_of(Samples::kFloats, picture, r, dye, scale);
                    });
            }};
}

std::vector<KernelCase> cases() {
    std::vector<KernelCase> all;
    for (const auto& kernel : kCalcium) all.push_back(with_table(kernel));
    for (const auto& kernel : kCalciumFloat) all.push_back(of_floats(kernel));
    return all;
}

int image(void* dst, uint32_t dst_stride, const void* src, uint32_t components, uint32_t bpc,
          uint32_t src_stride, uint32_t width, uint64_t size, bool of_floats, Reading r,
          const Dye& dye, const SQmLut* lut) {
    return Entries::CaImage(dst, dst_stride, src, components, bpc, src_stride, width, size,
                            of_floats, r.numer, r.denom, r.num_offset, r.den_offset, dye.kd,
                            dye.scale, dye.sf, dye.sb, dye.rmin, dye.rmax, dye.ca_min, dye.ca_max,
                            lut);
}
constexpr Reading kPlain{2, 0, 1, 0, 0};

std::vector<EntryCase> entries() {
    const auto call = [](const EntryCall& c, bool of_floats) {
        return image(c.dst, c.stride, c.src, c.components, c.bpc, c.stride, c.width, c.size,
                     of_floats, kPlain, Dye(), nullptr);
    };
    const auto to_16_bits = [](uint32_t, uint32_t bpc) { return bpc <= 16 ? QM_OK : QM_NO_KERNEL; };
    EntryCase integers{"CQmPicMemAPI_Base::CaImage",
                       [=](const EntryCall& c) { return call(c, false); }, to_16_bits};
    integers.guarded = false;  // a depth without a kernel is told for pictures of no rows, too
    EntryCase floats{"CQmPicMemAPI_Base::CaImage of floats",
                     [=](const EntryCall& c) { return call(c, true); },
                     [](uint32_t, uint32_t) { return QM_OK; }};
    return {integers, floats};
}

const bool registered = add_cases(cases(), entries());

// ----- By hand -----------------------------------------------------------------------------------

// Calls a kernel with a row of pixels.
template <class T>
std::vector<Colour> calcium(const Pixels<T>& pixels, Reading r, const Dye& dye,
                            const Scale& scale = Scale::of_indices()) {
    const auto width = static_cast<uint32_t>(pixels.size());
    std::vector<Colour> out(width);
    int code = -1;
    if constexpr (sizeof(T) == 1)
        code = ca_8(out.data(), 0, pixels.data(), 2, 0, width, width, r.numer, r.denom,
                    static_cast<uint8_t>(r.num_offset), static_cast<uint8_t>(r.den_offset), dye.kd,
                    dye.scale, dye.sf, dye.sb, dye.rmin, dye.rmax, dye.ca_min, dye.ca_max,
                    scale.luts());
    else if constexpr (sizeof(T) == 2)
        code = ca_16(out.data(), 0, pixels.data(), 2, 0, width, width, r.numer, r.denom,
                     r.num_offset, r.den_offset, dye.kd, dye.scale, dye.sf, dye.sb, dye.rmin,
                     dye.rmax, dye.ca_min, dye.ca_max, scale.luts());
    else
        code = ca_float(out.data(), 0, pixels.data(), 2, 0, width, width, r.numer, r.denom,
                        r.num_offset, r.den_offset, dye.kd, dye.scale, dye.sf, dye.sb, dye.rmin,
                        dye.rmax, dye.ca_min, dye.ca_max);
    EXPECT_EQ(code, QM_OK);
    return out;
}
// Colours of a scale of indices without gradation are their numbers.
std::vector<int> indices(const Pixels<uint16_t>& pixels, const Dye& dye, Reading r = kPlain) {
    std::vector<int> found;
    for (const Colour& colour : calcium(pixels, r, dye)) found.push_back(colour[0]);
    return found;
}
// Of bytes a signal of 255 is full.
int index_of_byte(uint8_t a, uint8_t b, const Dye& dye) {
    return calcium(Pixels<uint8_t>{{a, b}}, kPlain, dye)[0][0];
}

// With these X is R / (8 - R), and the scale reaches from 0.01 to 100.
constexpr Dye kUnit{};

TEST(Calcium, SpreadsTheLogarithmOverTheScale) {
    // R of 4: X is 1, in the middle. 0.4: 0.4 / 7.6 is 10^-1.27875. 7: 7, 10^0.84510.
    EXPECT_EQ(indices({{400, 100}, {40, 100}, {700, 100}}, kUnit),
              (std::vector<int>{127, 45, 181}));
}

TEST(Calcium, LiesBetweenTheEndsOfTheScale) {
    // R of 0.04 is X of 0.005, of 7.96 it is 199 of at most 10.
    EXPECT_EQ(indices({{4, 100}, {796, 100}}, kUnit), (std::vector<int>{0, 191}));
    Dye narrow = kUnit;
    narrow.ca_max = 5;
    EXPECT_EQ(indices({{796, 100}}, narrow), std::vector<int>{255});
}

TEST(Calcium, IsTheCeilingFromTheGreatestRatioOn) {
    // 10 at a constant of 1: (1 + 2) / 4 of the scale; 1000 at 25.
    EXPECT_EQ(indices({{800, 100}, {900, 100}, {65535, 1}}, kUnit),
              (std::vector<int>{191, 191, 191}));
    Dye weak = kUnit;
    weak.kd = 25;
    weak.ca_max = 10000;
    EXPECT_EQ(indices({{800, 100}}, weak), std::vector<int>{212});  // (3 + 2) / 6
}

TEST(Calcium, HasTheLowestColourUpToTheLeastRatio) {
    Dye dye = kUnit;
    dye.rmin = 0.5;
    EXPECT_EQ(indices({{50, 100}, {30, 100}}, dye), (std::vector<int>{0, 0}));
    EXPECT_GT(indices({{60, 100}}, dye)[0], 0);
}

TEST(Calcium, ScalesBothLimitsOfTheRatio) {
    Dye dye = kUnit;
    dye.scale = 0.5;
    // R of 2 of at most 4: X is 1.
    EXPECT_EQ(indices({{200, 100}, {400, 100}}, dye), (std::vector<int>{127, 191}));
    dye.rmin = 2;  // so that 1 is the least
    EXPECT_EQ(indices({{100, 100}}, dye), std::vector<int>{0});
}

TEST(Calcium, WithoutASignalOfTheFreeDyeHasTheLowestColour) {
    for (const double sf : {0.0, -1.0, std::numeric_limits<double>::quiet_NaN()}) {
        Dye dye = kUnit;
        dye.sf = sf;
        EXPECT_EQ(indices({{400, 100}, {900, 100}}, dye), (std::vector<int>{0, 0}));
        EXPECT_EQ(calcium(Pixels<uint16_t>{{400, 100}, {0, 0}}, kPlain, dye),
                  (std::vector<Colour>{{0, 255, 200}, {0, 0, 0}}));
    }
}

TEST(Calcium, TakesTheSignalOfTheFreeDyeForBetaWhenThereIsNoneOfTheBound) {
    Dye dye = kUnit;
    dye.sf = 10;
    dye.ca_max = 10000;  // -2 to 4
    dye.kd = 100;
    dye.rmax = 800;  // X of R = 8: 10 * 100 * 8 / 792 is 10.1010
    for (const double sb : {0.0, -5.0, 1.0}) {
        dye.sb = sb;
        EXPECT_EQ(indices({{800, 100}}, dye), std::vector<int>{127}) << sb;
    }
    dye.sb = 100;  // a hundredth of it
    EXPECT_EQ(indices({{800, 100}}, dye), std::vector<int>{42});
}

TEST(Calcium, OverADarkDenominatorTakesTheNumeratorForTheRatio) {
    const Reading r{2, 0, 1, 10, 20};
    // 4 over nothing, 4 over less than the offset, 40 / 10.
    EXPECT_EQ(indices({{14, 20}, {14, 3}, {50, 30}}, kUnit, r), (std::vector<int>{127, 127, 127}));
    // Below its own offset it is negative: the lowest colour, and no signal.
    EXPECT_EQ(calcium(Pixels<uint16_t>{{3, 3}}, r, kUnit), (std::vector<Colour>{{0, 0, 0}}));
}

TEST(Calcium, OfAConcentrationOf0HasTheLowestColour) {
    Dye dye = kUnit;
    dye.kd = 0;  // its ceiling is 0, too
    EXPECT_EQ(indices({{400, 100}}, dye), std::vector<int>{0});
}

TEST(Calcium8, MirrorsTheHighEndWhenThereIsNoLowOne) {
    Dye dye = kUnit;
    dye.ca_min = 0;
    dye.ca_max = 100;                             // -2 to 2
    EXPECT_EQ(index_of_byte(255, 51, dye), 141);  // R of 5, X of 5 / 3: 0.22185
    dye.ca_max = 0.001;                           // -4 to -3
    dye.rmax = 10000;                             // R of 5: X is 5.0025e-4, its logarithm -3.30081
    EXPECT_EQ(index_of_byte(255, 51, dye), 178);
    dye.ca_max = 1;  // 0 is not above 0: -4 to 0
    EXPECT_EQ(index_of_byte(255, 51, dye), 44);
}

TEST(Calcium16, MirrorsTheCeilingWhenThereIsNoLowEnd) {
    Dye dye = kUnit;
    dye.ca_min = 0;
    dye.kd = 1;  // ceiling 10: -1 to 2
    EXPECT_EQ(indices({{400, 100}}, dye), std::vector<int>{85});
    dye.kd = 0.01;  // ceiling 0.1: 1 to 2, and X is 0.01
    EXPECT_EQ(indices({{400, 100}}, dye), std::vector<int>{0});
}

TEST(Calcium16, TakesTwoForAHighEndThatIsNotAbove0) {
    for (const double ca_max : {0.0, -3.0, std::numeric_limits<double>::quiet_NaN()}) {
        Dye dye = kUnit;
        dye.ca_max = ca_max;
        EXPECT_EQ(indices({{400, 100}}, dye), std::vector<int>{221}) << ca_max;  // 2 / 2.30103
        // The others do not: there is no such logarithm.
        EXPECT_EQ(index_of_byte(255, 51, dye), 0);
        EXPECT_EQ(calcium(Pixels<float>{{400, 100}}, kPlain, dye)[0],
                  dimmed(Scale()[0], 400.0f, 400.0f));
    }
}

TEST(Calcium16, IsBlackOrHasThePureColour) {
    const Reading r{2, 0, 1, 100, 200};
    EXPECT_EQ(
        calcium(Pixels<uint16_t>{{100, 200}, {5, 5}, {101, 0}, {0, 201}, {60000, 60000}}, r, kUnit),
        (std::vector<Colour>{{0, 0, 0}, {0, 0, 0}, {73, 182, 200}, {0, 255, 200}, {73, 182, 200}}));
}

TEST(Calcium8, ShadesByTheLargerSignalOf255) {
    const Reading r{2, 0, 1, 10, 20};
    // 100 / 25: colour 127, signal 100. 0 / 51: colour 0, signal 51.
    EXPECT_EQ(calcium(Pixels<uint8_t>{{110, 45}, {10, 71}, {10, 20}}, r, kUnit),
              (std::vector<Colour>{
                  {127 * 100 / 255, 128 * 100 / 255, 200 * 100 / 255}, {0, 51, 40}, {0, 0, 0}}));
}

TEST(CalciumFloat, ShadesOfTheLargestSampleButOf255AtLeast) {
    const Scale rainbow;
    EXPECT_EQ(calcium(Pixels<float>{{100, 25}, {0.25f, 0}}, kPlain, kUnit),
              (std::vector<Colour>{dimmed(rainbow[127], 100.0f, 255.0f), Colour{0, 0, 0}}));
    EXPECT_EQ(calcium(Pixels<float>{{100, 25}, {1000, 0}}, kPlain, kUnit),
              (std::vector<Colour>{dimmed(rainbow[127], 100.0f, 1000.0f),
                                   dimmed(rainbow[191], 1000.0f, 1000.0f)}));
}

TEST(Calcium, OfAllPairsOfBytesIsTheFormulasDirectlyAndByTheTableOfLargePictures) {
    const Scale scale;
    Dye dye;
    dye.kd = 0.224, dye.sf = 2, dye.rmin = 0.2, dye.rmax = 9;
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        Pixels<uint8_t> pixels;
        std::vector<TwoSamples> samples;
        for (uint32_t i = 0; i < 65536; ++i) {
            const uint32_t pair = i * 40503;
            pixels.push_back({static_cast<uint8_t>(pair), static_cast<uint8_t>(pair >> 8)});
            samples.push_back({double(pixels[i][0]), double(pixels[i][1])});
        }
        const Reading r{2, 0, 1, 3, 20};
        const auto expected = calcium_of(Samples::kBytes, samples, r, dye, scale);
        EXPECT_TRUE(calcium(pixels, r, dye, scale) == expected);
        pixels.pop_back();  // not large
        const auto direct = calcium(pixels, r, dye, scale);
        EXPECT_TRUE(std::equal(direct.begin(), direct.end(), expected.begin()));
    }
}

// ----- Entry -------------------------------------------------------------------------------------

TEST(CaImage, ReadsBytesUpTo8BitsAndWordsUpTo16) {
    const Scale scale = Scale::of_indices();
    SQmLut lut;
    lut.pLuts = const_cast<void*>(scale.luts());
    const Pixels<uint8_t> bytes{{100, 25}};
    const Pixels<uint16_t> words{{400, 100}};
    for (uint32_t bpc = 0; bpc <= 40; ++bpc) {
        Colour out{9, 9, 9};
        const void* const src = bpc <= 8 ? static_cast<const void*>(bytes.data()) : words.data();
        const int code = image(&out, 3, src, 2, bpc, 4, 1, 1, false, kPlain, kUnit, &lut);
        EXPECT_EQ(code, bpc <= 16 ? QM_OK : QM_NO_KERNEL);
        EXPECT_EQ(out[0], bpc <= 8 ? 127 * 100 / 255 : bpc <= 16 ? 127 : 9) << bpc;
    }
    lut.pLuts = nullptr;
}

TEST(CaImage, TakesTheLowBytesOfOffsetsAt8Bits) {
    const Pixels<uint8_t> bytes{{130, 35}};
    Colour out{};
    EXPECT_EQ(
        image(&out, 3, bytes.data(), 2, 8, 2, 1, 1, false, {2, 0, 1, 0x31E, 0x10A}, kUnit, nullptr),
        QM_OK);
    EXPECT_EQ(out, dimmed(Scale()[127], int64_t{100}, int64_t{255}));
}

TEST(CaImage, OfFloatsIgnoresDepthAndTable) {
    const Scale scale = Scale::of_indices();
    SQmLut lut;
    lut.pLuts = const_cast<void*>(scale.luts());
    const Pixels<float> pixels{{255, 63.75f}};
    for (const uint32_t bpc : {0u, 8u, 16u, 32u, 77u}) {
        Colour out{};
        EXPECT_EQ(image(&out, 3, pixels.data(), 2, bpc, 8, 1, 1, true, kPlain, kUnit, &lut), QM_OK);
        EXPECT_EQ(out, Scale()[127]);
    }
    lut.pLuts = nullptr;
}

TEST(CaImage, OfNothingDoesNothing) {
    const Pixels<uint8_t> pixels{{7, 7}};
    Colour out{9, 9, 9};
    for (const uint32_t bpc : {8u, 16u}) {
        const auto call = [&](void* d, const void* s, uint32_t width, uint64_t size) {
            return image(d, 3, s, 2, bpc, 2, width, size, false, kPlain, kUnit, nullptr);
        };
        EXPECT_EQ(call(nullptr, pixels.data(), 1, 1), QM_OK);
        EXPECT_EQ(call(&out, nullptr, 1, 1), QM_OK);
        EXPECT_EQ(call(&out, pixels.data(), 0, 1), QM_OK);
        EXPECT_EQ(call(&out, pixels.data(), 2, 1), QM_OK);  // no whole row
        EXPECT_EQ(call(&out, pixels.data(), 1, 0), QM_OK);
    }
    EXPECT_EQ(image(&out, 3, pixels.data(), 2, 24, 2, 1, 0, false, kPlain, kUnit, nullptr),
              QM_NO_KERNEL);
    EXPECT_EQ(out, (Colour{9, 9, 9}));
}

TEST(CaImage, RunsInTheCallingThread) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    const auto forks = [&](const auto& pixels, uint32_t bpc, bool of_floats) {
        const auto width = static_cast<uint32_t>(pixels.size());
        std::vector<Colour> out(width);
        const WatchedRegions regions;
        image(out.data(), 0, pixels.data(), 2, bpc, 0, width, width, of_floats, kPlain, kUnit,
              nullptr);
        return regions.teams().size();
    };
    for (const size_t size : {size_t{1}, size_t{1} << 17}) {
        EXPECT_EQ(forks(Pixels<uint8_t>(size), 8, false), 0u);
        EXPECT_EQ(forks(Pixels<uint16_t>(size), 12, false), 0u);
        EXPECT_EQ(forks(Pixels<float>(size), 32, true), 0u);
    }
}

}  // namespace
}  // namespace qmpic::test
