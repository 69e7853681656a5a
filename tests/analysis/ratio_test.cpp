#include "qmpic/kernels/ratio.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "analysis/painted.h"
#include "analysis/ratio_kernels.h"
#include "qmpic/Lut.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/RatioDesc.h"
#include "support/cases.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Entries = CQmPicMemAPI_Base;

struct Range {
    double min, max;
};

// ----- Reference: one pixel after the other ------------------------------------------------------

uint32_t colour_of(TwoSamples p, double a_offset, double b_offset, Range range, bool of_floats) {
    if (!(p.b > b_offset)) return of_floats || p.a > a_offset ? 255 : 0;
    const double ratio = (p.a - a_offset) / (p.b - b_offset);
    double t = (ratio - range.min) / (range.max - range.min);
    if (std::isnan(t)) return 0;
    if (t < 0.0) t = 0.0;
    if (t > 1.0) t = 1.0;
    return static_cast<uint32_t>(t * 255.0);
}

int64_t level_of_words(const std::vector<TwoSamples>& picture, uint64_t size) {
    std::vector<uint16_t> counters(65536);
    for (const TwoSamples& p : picture) ++counters[static_cast<size_t>(std::max(p.a, p.b))];
    const auto share = static_cast<uint32_t>(size / 100);
    uint32_t sum = 0;
    for (int64_t bin = 65535; bin >= 0; --bin) {
        sum += counters[static_cast<size_t>(bin)];
        if (sum >= share) return bin == 0 ? 1 : bin;
    }
    return 1;
}

std::vector<Colour> ratio_of(Samples kind, const std::vector<TwoSamples>& picture, uint64_t size,
                             Reading r, Range range, uint32_t shade, const Scale& scale) {
    std::vector<Colour> colours;
    const float float_most = float_top(picture);
    const int64_t most = kind == Samples::kWords ? level_of_words(picture, size) : 255;
    for (const TwoSamples& p : picture) {
        const Colour& colour =
            scale[colour_of(p, r.num_offset, r.den_offset, range, kind == Samples::kFloats)];
        if (kind == Samples::kFloats)
            colours.push_back(dimmed(
                colour,
                shade & 1 ? float_signal(p, r.num_offset, r.den_offset, float_most) : float_most,
                float_most));
        else
            colours.push_back(
                dimmed(colour, shade & 1 ? whole_signal(p, r.num_offset, r.den_offset, most) : most,
                       most));
    }
    return colours;
}

Range draw_range(Random& random) {
    const double min = random.one_of({0.0, 0.0, 0.5, -1.0, 1.0}),
                 max = random.one_of({2.0, 2.0, 1.0, 0.001, 3.7});
    return {min, max};
}

template <class Kernel>
KernelCase with_table(const NamedKernel<Kernel>& kernel) {
    const Samples kind = kernel.source.bits == 8 ? Samples::kBytes : Samples::kWords;
    return {
        std::string(kernel.name), [=, run = kernel.run](Round round) {
            const Range range = draw_range(round.random);
            const uint32_t shade = round.random.one_of({0u, 1u, 1u, 2u, 0x80000001u});
            check_painted(
                round, kind, true,
                [=](const GuardedPicture& d, const GuardedPicture& s, Reading r, const void* luts) {
                    return run(d.data(), d.stride(), s.data(), r.components, s.stride(),
                               s.size().width, s.size().pixels, r.numer, r.denom, r.num_offset,
                               r.den_offset, range.min, range.max, luts, shade);
                },
                [=](const auto& picture, uint64_t size, Reading r, const Scale& scale) {
                    return ratio_of(kind, picture, size, r, range, shade, scale);
                });
        }};
}

KernelCase of_floats(const NamedKernel<RatioFloatKernel>& kernel) {
    return {std::string(kernel.name), [run = kernel.run](Round round) {
                const Range range = draw_range(round.random);
                const uint32_t shade = round.random(0, 3);
                check_painted(
                    round, Samples::kFloats, false,
                    [=](const GuardedPicture& d, const GuardedPicture& s, Reading r, const void*) {
                        return run(d.data(), d.stride(), s.data(), r.components, s.stride(),
                                   s.size().width, s.size().pixels, r.numer, r.denom, r.num_offset,
                                   r.den_offset, range.min, range.max, shade);
                    },
                    [=](const auto& picture, uint64_t size, Reading r, const Scale& scale) {
                        return ratio_of(Samples::kFloats, picture, size, r, range, shade, scale);
                    });
            }};
}

std::vector<KernelCase> cases() {
    std::vector<KernelCase> all;
    for (const auto& kernel : kRatio) all.push_back(with_table(kernel));
    for (const auto& kernel : kRatioFloat) all.push_back(of_floats(kernel));
    return all;
}

std::vector<EntryCase> entries() {
    const auto call = [](const EntryCall& c, bool of_floats) {
        SQmRatioDesc desc;
        desc.uiDenom = 1;
        return Entries::RatioImage(c.dst, c.stride, c.src, c.components, c.bpc, c.stride, c.width,
                                   c.size, of_floats, &desc, nullptr, 1);
    };
    const auto to_16_bits = [](uint32_t, uint32_t bpc) { return bpc <= 16 ? QM_OK : QM_NO_KERNEL; };
    EntryCase integers{"CQmPicMemAPI_Base::RatioImage",
                       [=](const EntryCall& c) { return call(c, false); }, to_16_bits};
    integers.guarded = false;  // a depth without a kernel is told for pictures of no rows, too
    EntryCase floats{"CQmPicMemAPI_Base::RatioImage of floats",
                     [=](const EntryCall& c) { return call(c, true); },
                     [](uint32_t, uint32_t) { return QM_OK; }};
    return {integers, floats};
}

const bool registered = add_cases(cases(), entries());

// ----- By hand -----------------------------------------------------------------------------------

constexpr Reading kPlain{2, 0, 1, 0, 0};

// Calls a kernel with a row of pixels, or with an area.
template <class T>
std::vector<Colour> ratio(const Pixels<T>& pixels, Reading r, Range range, uint32_t shade,
                          const Scale& scale = Scale::of_indices(), uint32_t width = 0) {
    const auto size = static_cast<uint32_t>(pixels.size());
    if (width == 0) width = size;
    std::vector<Colour> out(size);
    const uint32_t stride = width * 2 * sizeof(T);
    int code = -1;
    if constexpr (sizeof(T) == 1)
        code =
            ratio_8(out.data(), width * 3, pixels.data(), 2, stride, width, size, r.numer, r.denom,
                    static_cast<uint8_t>(r.num_offset), static_cast<uint8_t>(r.den_offset),
                    range.min, range.max, scale.luts(), shade);
    else if constexpr (sizeof(T) == 2)
        code =
            ratio_16(out.data(), width * 3, pixels.data(), 2, stride, width, size, r.numer, r.denom,
                     r.num_offset, r.den_offset, range.min, range.max, scale.luts(), shade);
    else
        code = ratio_float(out.data(), width * 3, pixels.data(), 2, stride, width, size, r.numer,
                           r.denom, r.num_offset, r.den_offset, range.min, range.max, shade);
    EXPECT_EQ(code, QM_OK);
    return out;
}
// The scale of indices has its colours' numbers in byte 0.
std::vector<int> first_bytes(const std::vector<Colour>& colours) {
    std::vector<int> bytes;
    for (const Colour& colour : colours) bytes.push_back(colour[0]);
    return bytes;
}

template <class T>
class RatioOfIntegers : public testing::Test {};
using Integers = testing::Types<uint8_t, uint16_t>;
TYPED_TEST_SUITE(RatioOfIntegers, Integers);

TYPED_TEST(RatioOfIntegers, SpreadsTheRangeOverTheScale) {
    const Pixels<TypeParam> pixels{{0, 10}, {10, 10}, {20, 10}, {30, 10}, {5, 10}, {255, 1}};
    EXPECT_EQ(first_bytes(ratio(pixels, kPlain, {0, 2}, 0)),
              (std::vector<int>{0, 127, 255, 255, 63, 255}));
    EXPECT_EQ(first_bytes(ratio(pixels, kPlain, {1, 2}, 0)),
              (std::vector<int>{0, 0, 255, 255, 0, 255}));
}

TYPED_TEST(RatioOfIntegers, RunsBackwardsWhenTheRangeDoes) {
    EXPECT_EQ(first_bytes(ratio(Pixels<TypeParam>{{0, 10}, {10, 10}, {30, 10}}, kPlain, {2, 0}, 0)),
              (std::vector<int>{255, 127, 0}));
}

TYPED_TEST(RatioOfIntegers, TakesTheOffsetsAwayFirst) {
    const Reading r{2, 0, 1, 10, 20};
    // 10 / 10, -5 / 10
    EXPECT_EQ(first_bytes(ratio(Pixels<TypeParam>{{20, 30}, {5, 30}}, r, {0, 2}, 0)),
              (std::vector<int>{127, 0}));
    EXPECT_EQ(first_bytes(ratio(Pixels<TypeParam>{{20, 30}, {5, 30}}, r, {-1, 1}, 0)),
              (std::vector<int>{255, 63}));
}

TYPED_TEST(RatioOfIntegers, OverADarkDenominatorAsksWhetherThereIsANumerator) {
    const Reading r{2, 0, 1, 10, 20};
    EXPECT_EQ(
        first_bytes(ratio(Pixels<TypeParam>{{11, 20}, {11, 3}, {10, 20}, {0, 0}}, r, {0, 2}, 0)),
        (std::vector<int>{255, 255, 0, 0}));
}

TYPED_TEST(RatioOfIntegers, OfAnEmptyRangeIsBelowOrAboveIt) {
    // The third is no number.
    EXPECT_EQ(first_bytes(ratio(Pixels<TypeParam>{{9, 10}, {11, 10}, {10, 10}}, kPlain, {1, 1}, 0)),
              (std::vector<int>{0, 255, 0}));
}

TYPED_TEST(RatioOfIntegers, ShowsPureColoursWithoutShade) {
    for (const uint32_t shade : {0u, 2u, 0xFFFFFFFEu}) {
        const auto out = ratio(Pixels<TypeParam>{{0, 1}, {1, 0}}, kPlain, {0, 2}, shade);
        EXPECT_EQ(out[0], (Colour{0, 255, 200}));
        EXPECT_EQ(out[1], (Colour{255, 0, 200}));
    }
}

TYPED_TEST(RatioOfIntegers, WithShadeIsBlackAtTheOffsets) {
    const Reading r{2, 0, 1, 10, 20};
    for (const uint32_t shade : {1u, 3u, 0xFFFFFFFFu})
        for (const auto& colour :
             ratio(Pixels<TypeParam>{{10, 20}, {3, 5}, {10, 0}}, r, {0, 2}, shade))
            EXPECT_EQ(colour, (Colour{0, 0, 0}));
}

TEST(Ratio8, ShadesByTheLargerSignalOf255) {
    const Reading r{2, 0, 1, 10, 20};
    // 100 / 50: colour 255, signal 100; 50 / 100: colour 63, signal 100.
    const auto out = ratio(Pixels<uint8_t>{{110, 70}, {60, 120}}, r, {0, 2}, 1);
    EXPECT_EQ(out[0], (Colour{100, 0, 200 * 100 / 255}));
    EXPECT_EQ(out[1], (Colour{63 * 100 / 255, 192 * 100 / 255, 200 * 100 / 255}));
}

TEST(Ratio8, OfAllPairsIsTheFormulasDirectlyAndByTheTableOfLargePictures) {
    Random random(7);
    const Scale scale(random);
    for (const Level level : levels())
        for (const uint32_t repeats : {1u, 3u}) {
            const ForcedLevel forced(level);
            Pixels<uint8_t> pixels;
            std::vector<TwoSamples> samples;
            for (uint32_t i = 0; i < 65536 * repeats; ++i) {
                const uint32_t pair = i * 40503 + i / 65536;
                pixels.push_back({static_cast<uint8_t>(pair), static_cast<uint8_t>(pair >> 8)});
            }
            for (const Reading r : {kPlain, Reading{2, 1, 0, 17, 33}}) {
                samples.clear();
                for (const auto& p : pixels)
                    samples.push_back({double(p[r.numer]), double(p[r.denom])});
                for (const Range range : {Range{0, 2}, Range{0.3, 1.1}})
                    EXPECT_TRUE(
                        ratio(pixels, r, range, 1, scale, 512) ==
                        ratio_of(Samples::kBytes, samples, samples.size(), r, range, 1, scale))
                        << repeats;
            }
        }
}

// `bright` pixels of (value, 0) before a dark rest.
Pixels<uint16_t> bright_and_dark(std::vector<std::pair<uint32_t, uint16_t>> bright, uint32_t size) {
    Pixels<uint16_t> pixels;
    for (const auto& [count, value] : bright)
        for (uint32_t i = 0; i < count; ++i) pixels.push_back({value, 0});
    pixels.resize(size, {0, 5});
    return pixels;
}

TEST(Ratio16, ShadesByTheLevelOfTheBrightestHundredth) {
    // Of 399 pixels a hundredth is 3: the level is 900, and what is above it is full.
    const auto out =
        ratio(bright_and_dark({{2, 1000}, {1, 900}, {1, 450}}, 399), kPlain, {0, 2}, 1);
    EXPECT_EQ(out[0], (Colour{255, 0, 200}));
    EXPECT_EQ(out[2], (Colour{255, 0, 200}));
    EXPECT_EQ(out[3], (Colour{127, 0, 100}));
    // Of 400 it is 4, and the level 450.
    EXPECT_EQ(ratio(bright_and_dark({{2, 1000}, {1, 900}, {1, 450}}, 400), kPlain, {0, 2}, 1)[3],
              (Colour{255, 0, 200}));
}

TEST(Ratio16, FindsTheLevelInSamplesAsTheyStand) {
    auto pixels = bright_and_dark({{10, 1000}}, 200);
    for (auto& p : pixels) std::swap(p[0], p[1]);  // it may be the denominator
    const Reading r{2, 0, 1, 0, 900};
    EXPECT_EQ(ratio(pixels, r, {0, 2}, 1)[0], (Colour{0, 25, 20}));  // 100 of 1000
}

TEST(Ratio16, OfLessThanAHundredPixelsIsShadedOf65535) {
    EXPECT_EQ(ratio(Pixels<uint16_t>(99, {40000, 0}), kPlain, {0, 2}, 1)[98],
              (Colour{255 * 40000 / 65535, 0, 200 * 40000 / 65535}));
    EXPECT_EQ(ratio(Pixels<uint16_t>(100, {40000, 0}), kPlain, {0, 2}, 1)[99],
              (Colour{255, 0, 200}));
}

TEST(Ratio16, CountsByNumbersThatWrap) {
    // A level with 65,536 pixels has none: the 656 that follow decide.
    auto pixels = bright_and_dark({{65536, 3000}, {1024, 500}, {1, 250}}, 65536 + 1500);
    EXPECT_EQ(ratio(pixels, kPlain, {0, 2}, 1)[65536 + 1024], (Colour{127, 0, 100}));
    // One more, and it has one.
    pixels = bright_and_dark({{65536 + 700, 3000}, {1024, 1500}}, 65536 + 2000);
    EXPECT_EQ(ratio(pixels, kPlain, {0, 2}, 1)[65536 + 700], (Colour{127, 0, 100}));
    // None at all: 1, so that any signal is full.
    EXPECT_EQ(
        ratio(Pixels<uint16_t>(65536, {3, 2}), kPlain, {0, 2}, 1, Scale::of_indices(), 256)[9],
        (Colour{191, 64, 200}));
}

TEST(Ratio16, OfABlackPictureHasALevelOf1) {
    EXPECT_EQ(ratio(Pixels<uint16_t>(500), kPlain, {0, 2}, 0)[7], (Colour{0, 255, 200}));
    EXPECT_EQ(ratio(Pixels<uint16_t>(500), kPlain, {0, 2}, 1)[7], (Colour{0, 0, 0}));
}

TEST(Ratio16, IsTheFormulasWhereRatiosFallOnLimitsBetweenColours) {
    Random random(9);
    const Scale scale(random);
    Pixels<uint16_t> pixels;
    std::vector<TwoSamples> samples;
    for (uint32_t k = 0; k <= 255; ++k)
        for (uint32_t m = 1; m <= 256; m += 5)
            for (const uint32_t off : {0u, 1u, 0xFFFFu})
                pixels.push_back(
                    {static_cast<uint16_t>(k * m + off), static_cast<uint16_t>(255 * m)});
    for (const auto& p : pixels) samples.push_back({double(p[0]), double(p[1])});
    // The last ranges are too narrow, or too far from 0, for single precision.
    for (const Level level : levels())
        for (const Range range : {Range{0, 1}, Range{1, 0}, Range{0, 0.5}, Range{0.2, 0.7},
                                  Range{-3, 12}, Range{100, 300}, Range{0.999, 1.001},
                                  Range{0.5, 0.5 + 1e-9}, Range{0, 1e-30}, Range{0, 1e30}}) {
            const ForcedLevel forced(level);
            EXPECT_TRUE(ratio(pixels, kPlain, range, 1, scale) ==
                        ratio_of(Samples::kWords, samples, samples.size(), kPlain, range, 1, scale))
                << range.min << " to " << range.max;
        }
}

TEST(Ratio16, DividesIntegersTowardZeroForEveryTop) {
    // Dark pixels of colour 255 are (255, 0, 200): the byte is 255 * signal / top. Of 100 pixels
    // the brightest is the top.
    for (const uint32_t top :
         {1u, 2u, 3u, 254u, 255u, 256u, 4094u, 4095u, 32749u, 65521u, 65535u}) {
        Pixels<uint16_t> pixels(100, {static_cast<uint16_t>(top), 0});
        for (uint32_t i = 1; i < 100; ++i)  // on both sides of where a quotient becomes whole
            pixels[i][0] = static_cast<uint16_t>(std::min(top, (i * 3 * top + i % 2) / 255));
        const auto out = ratio(pixels, kPlain, {0, 2}, 1);
        for (uint32_t i = 0; i < 100; ++i)
            EXPECT_EQ(out[i], (Colour{static_cast<uint8_t>(uint64_t{255} * pixels[i][0] / top), 0,
                                      static_cast<uint8_t>(uint64_t{200} * pixels[i][0] / top)}))
                << pixels[i][0] << " of " << top;
    }
}

TEST(Ratio16, FindsTheLevelOfLargePicturesToo) {
    // Large enough for the search to look at bright pixels alone: many levels, few, and one that
    // wraps, which a search from a sample does not see coming.
    for (const Level level : levels())
        for (int content = 0; content < 5; ++content) {
            const ForcedLevel forced(level);
            Random random(5);
            Pixels<uint16_t> pixels(417 * 400);
            std::vector<TwoSamples> samples;
            for (size_t i = 0; i < pixels.size(); ++i) {
                const uint32_t any = random.any();
                uint32_t v = any & 4095;
                if (content == 1) v = any & 0xFFFF;
                if (content == 2) v = any % 10 == 0 ? 4095 : any % 300;
                if (content == 3) v = i < 65536 ? 4000 : i < 2 * 65536 ? 10 : any & 1023;
                if (content == 4) v = i % 100 == 7 && i >= 4096 ? 60000 + any % 9 : any % 7;
                pixels[i] = {static_cast<uint16_t>(v), static_cast<uint16_t>(any >> 20)};
                samples.push_back({double(pixels[i][0]), double(pixels[i][1])});
            }
            const Scale scale = Scale::of_indices();
            EXPECT_TRUE(
                ratio(pixels, kPlain, {0, 3}, 1, scale, 417) ==
                ratio_of(Samples::kWords, samples, samples.size(), kPlain, {0, 3}, 1, scale))
                << content;
        }
}

const Scale& rainbow() {
    static const Scale scale;
    return scale;
}

TEST(RatioFloat, TakesTheLastColourForADarkDenominatorWhateverTheNumeratorIs) {
    const Reading r{2, 0, 1, 10, 20};
    const auto out =
        ratio(Pixels<float>{{50, 20}, {0, 3}, {-5, -5}, {7, kNan}, {20, 20.5f}}, r, {0, 2}, 0);
    for (const Colour& colour : out) EXPECT_EQ(colour, rainbow()[255]);
}

TEST(RatioFloat, ShadesOfTheLargestSampleButOf255AtLeast) {
    const Colour first = rainbow()[0];
    const auto dim = [&](float signal, float top) { return dimmed(first, signal, top); };
    EXPECT_EQ(ratio(Pixels<float>{{0, 51}, {0, 102}}, kPlain, {0, 2}, 1),
              (std::vector<Colour>{dim(51, 255), dim(102, 255)}));
    // As it stands, in either component.
    EXPECT_EQ(ratio(Pixels<float>{{0, 200}, {-3, 1000}}, {2, 0, 1, 0, 100}, {0, 2}, 1),
              (std::vector<Colour>{dim(100, 1000), dim(900, 1000)}));
    EXPECT_EQ(ratio(Pixels<float>{{0, 200}, {1000, 0}}, kPlain, {0, 2}, 1)[0], dim(200, 1000));
    EXPECT_EQ(first[0] + first[1] + first[2] >= 100, true) << "the test needs a colour";
}

TEST(RatioFloat, DoesNotSeeWhatIsNoNumber) {
    const auto out = ratio(Pixels<float>{{kNan, kNan}, {kNan, 51}}, kPlain, {0, 2}, 1);
    EXPECT_EQ(out[0], (Colour{0, 0, 0}));
    EXPECT_EQ(out[1], dimmed(rainbow()[0], 51.0f, 255.0f));  // the ratio is none either
}

TEST(RatioFloat, OfAnInfiniteTopIsBlack) {
    const auto out = ratio(Pixels<float>{{0, kInfinity}, {0, 100}}, kPlain, {0, 2}, 1);
    EXPECT_EQ(out[0], (Colour{0, 0, 0}));  // infinity / infinity
    EXPECT_EQ(out[1], (Colour{0, 0, 0}));
}

TEST(RatioFloat, FindsRowsByBytes) {
    std::vector<uint8_t> bytes(2 * 13 + 8);
    for (const auto& [at, value] : {std::pair{0u, 10.0f}, {4u, 10.0f}, {13u, 30.0f}, {17u, 10.0f}})
        std::memcpy(bytes.data() + at, &value, 4);
    std::vector<Colour> out(2);
    EXPECT_EQ(ratio_float(out.data(), 3, bytes.data(), 2, 13, 1, 2, 0, 1, 0, 0, 0, 2, 0), QM_OK);
    EXPECT_EQ(out, (std::vector<Colour>{rainbow()[127], rainbow()[255]}));
}

// ----- Entry -------------------------------------------------------------------------------------

struct Ratio {
    SQmRatioDesc desc;
    Scale scale = Scale::of_indices();
    SQmLut lut;
    Ratio() {
        desc.uiDenom = 1;
        lut.pLuts = const_cast<void*>(scale.luts());
    }
    ~Ratio() { lut.pLuts = nullptr; }

    template <class T>
    int image(Colour* out, const Pixels<T>& pixels, uint32_t bpc, bool of_floats = false,
              uint32_t shade = 0) const {
        const auto width = static_cast<uint32_t>(pixels.size());
        return Entries::RatioImage(out, width * 3, pixels.data(), 2, bpc, width * 2 * sizeof(T),
                                   width, width, of_floats, &desc, &lut, shade);
    }
};

TEST(RatioImage, ShowsARatioOf0To2ByDefault) {
    const Ratio r;
    std::vector<Colour> out(4);
    EXPECT_EQ(r.image(out.data(), Pixels<uint8_t>{{0, 7}, {7, 7}, {14, 7}, {200, 7}}, 8), QM_OK);
    EXPECT_EQ(first_bytes(out), (std::vector<int>{0, 127, 255, 255}));
}

TEST(RatioImage, ReadsBytesUpTo8BitsAndWordsUpTo16) {
    const Ratio r;
    for (uint32_t bpc = 0; bpc <= 16; ++bpc) {
        std::vector<Colour> out(1, Colour{9, 9, 9});
        EXPECT_EQ(bpc <= 8 ? r.image(out.data(), Pixels<uint8_t>{{7, 7}}, bpc)
                           : r.image(out.data(), Pixels<uint16_t>{{700, 700}}, bpc),
                  QM_OK);
        EXPECT_EQ(first_bytes(out), std::vector<int>{127}) << bpc;
    }
    for (const uint32_t bpc : {17u, 24u, 32u, 64u}) {
        std::vector<Colour> out(1, Colour{9, 9, 9});
        EXPECT_EQ(r.image(out.data(), Pixels<uint32_t>{{7, 7}}, bpc), QM_NO_KERNEL);
        EXPECT_EQ(out[0], (Colour{9, 9, 9}));
    }
}

TEST(RatioImage, TakesTheLowBytesOfOffsetsAt8Bits) {
    Ratio r;
    r.desc.uiNumOffset = 0x105;
    r.desc.uiDenOffset = 0x20A;
    std::vector<Colour> out(1);
    EXPECT_EQ(r.image(out.data(), Pixels<uint8_t>{{25, 30}}, 8), QM_OK);  // 20 / 20
    EXPECT_EQ(first_bytes(out), std::vector<int>{127});
    EXPECT_EQ(r.image(out.data(), Pixels<uint16_t>{{0x105 + 40, 0x20A + 20}}, 16), QM_OK);
    EXPECT_EQ(first_bytes(out), std::vector<int>{255});
}

TEST(RatioImage, OfFloatsIgnoresDepthAndTable) {
    const Ratio r;
    for (const uint32_t bpc : {0u, 8u, 16u, 32u, 77u}) {
        std::vector<Colour> out(1);
        EXPECT_EQ(r.image(out.data(), Pixels<float>{{0.5f, 0.5f}}, bpc, true), QM_OK);
        EXPECT_EQ(out[0], rainbow()[127]);
    }
}

TEST(RatioImage, ShowsTheRainbowWithoutATable) {
    const Ratio r;
    const Pixels<uint8_t> pixels{{7, 7}};
    Colour out{};
    EXPECT_EQ(
        Entries::RatioImage(&out, 3, pixels.data(), 2, 8, 2, 1, 1, false, &r.desc, nullptr, 0),
        QM_OK);
    EXPECT_EQ(out, rainbow()[127]);
}

TEST(RatioImage, OfNothingDoesNothing) {
    const Ratio r;
    Colour out{9, 9, 9};
    const Pixels<uint8_t> pixels{{7, 7}};
    const auto call = [&](void* d, const void* s, uint32_t bpc, uint32_t width, uint64_t size,
                          const SQmRatioDesc* desc) {
        return Entries::RatioImage(d, 3, s, 2, bpc, 2, width, size, false, desc, nullptr, 0);
    };
    for (const uint32_t bpc : {8u, 16u}) {
        EXPECT_EQ(call(nullptr, pixels.data(), bpc, 1, 1, &r.desc), QM_OK);
        EXPECT_EQ(call(&out, nullptr, bpc, 1, 1, &r.desc), QM_OK);
        EXPECT_EQ(call(&out, pixels.data(), bpc, 0, 1, &r.desc), QM_OK);
        EXPECT_EQ(call(&out, pixels.data(), bpc, 2, 1, &r.desc), QM_OK);  // no whole row
        EXPECT_EQ(call(&out, pixels.data(), bpc, 1, 0, &r.desc), QM_OK);
    }
    EXPECT_EQ(call(&out, pixels.data(), 24, 1, 0, &r.desc), QM_NO_KERNEL);
    EXPECT_EQ(call(&out, pixels.data(), 8, 1, 1, nullptr), QM_REJECTED);
    EXPECT_EQ(out, (Colour{9, 9, 9}));
}

TEST(RatioImage, DoesNotCompareIndicesWithTheNumberOfComponents) {
    Ratio r;
    r.desc.uiDenom = 3;  // of the next pixel
    const Pixels<uint8_t> pixels{{7, 99}, {99, 7}};
    Colour out{};
    EXPECT_EQ(Entries::RatioImage(&out, 3, pixels.data(), 2, 8, 2, 1, 1, false, &r.desc, &r.lut, 0),
              QM_OK);
    EXPECT_EQ(out[0], 127);
}

TEST(RatioImage, AlwaysSplitsItsRowsButNotItsSearch) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    const Ratio r;
    const auto teams = [&](const auto& pixels, uint32_t bpc, bool of_floats) {
        std::vector<Colour> out(pixels.size());
        const WatchedRegions regions;
        r.image(out.data(), pixels, bpc, of_floats, 1);
        return regions.teams();
    };
    const std::vector<uint32_t> one{0};
    for (const size_t size : {size_t{1}, size_t{200}, size_t{1} << 18}) {
        EXPECT_EQ(teams(Pixels<uint8_t>(size), 8, false), one) << size;
        EXPECT_EQ(teams(Pixels<uint16_t>(size), 12, false), one) << size;
        EXPECT_EQ(teams(Pixels<float>(size), 32, true), one) << size;
    }
    EXPECT_TRUE(teams(Pixels<uint8_t>{}, 8, false).empty());
}

}  // namespace
}  // namespace qmpic::test
