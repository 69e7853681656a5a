#include <gtest/gtest.h>
#include <omp.h>

#include <cstring>
#include <functional>
#include <string>

#include "qmpic/FloatPicMemAPI_Base.h"
#include "qmpic/LutParam.h"
#include "render/spectral_reference.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/float_picture.h"
#include "support/levels.h"
#include "support/processors.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;
using FloatApi = CQmFloatPicMemAPI_Base;
using Ranges = std::vector<CQmRangeBase<float>>;
using Counts = std::vector<uint32_t>;

const bool registered = add_cases(
    {}, {},
    {"CQmPicMemAPI_Base::SpetralGetHistoRGB", "CQmPicMemAPI_Base::SpetralGetHistoRGB_Precise",
     "CQmPicMemAPI_Base::SpetralGetHistoRGBEx", "CQmPicMemAPI_Base::SpetralGetLoHiRGB",
     "CQmPicMemAPI_Base::SpetralGetLoHiRGBEx", "CQmFloatPicMemAPI_Base::SpetralGetHistoRGB",
     "CQmFloatPicMemAPI_Base::SpetralGetHistoRGBEx", "CQmFloatPicMemAPI_Base::SpetralGetLoHiRGB",
     "CQmFloatPicMemAPI_Base::SpetralGetLoHiRGBEx"});

// ----- The reference -----------------------------------------------------------------------------

/// The sum of sample * byte * 0.003921569f.
Sums weighted(const std::vector<float>& pixel, const std::vector<uint32_t>& colours) {
    Sums sums{};
    for (size_t c = 0; c < pixel.size(); ++c)
        for (uint32_t k = 0; k < 3; ++k) {
            const float weight = static_cast<float>(byte_of(colours[c], k)) * 0.003921569f;
            const float part = pixel[c] * weight;
            sums[k] = sums[k] + part;
        }
    return sums;
}

/// min(sum * scale + 0.5, most), cut to 32 bits, of which the low ones count.
size_t bin_of(float sum, float scale, uint32_t most) {
    float place = sum * scale;
    place = place + 0.5f;
    if (place > static_cast<float>(most)) place = static_cast<float>(most);
    const bool fits = place >= -2147483648.0f;  // not for NaN
    const int64_t whole = fits ? static_cast<int64_t>(place) : INT32_MIN;
    return static_cast<uint64_t>(whole) & most;
}

/// Three histograms, as the calls fill them.
struct Histograms {
    Counts cells[3];
    explicit Histograms(size_t bins, uint32_t before = 0) {
        for (Counts& cell : cells) cell.assign(bins, before);
    }
    void count(const Sums& sums, float scale) {
        const auto most = static_cast<uint32_t>(cells[0].size() - 1);
        for (uint32_t k = 0; k < 3; ++k) ++cells[k][bin_of(sums[k], scale, most)];
    }
    uint32_t* at(uint32_t k) { return cells[k].data(); }
    bool operator==(const Histograms& other) const {
        return cells[0] == other.cells[0] && cells[1] == other.cells[1] &&
               cells[2] == other.cells[2];
    }
};

double unit_of(uint32_t bpc) { return 255.0 / static_cast<double>((1u << bpc) - 1); }

std::vector<uint32_t> random_colours(uint32_t count, Random& random) {
    std::vector<uint32_t> colours(count);
    for (uint32_t& one : colours)
        one = random(0, 3) ? random.any() : random.one_of({0u, 0xFFu, 0xFFFFFFu, 0xFF000000u});
    return colours;
}

struct Scene {
    uint32_t components, bpc;
    Size size;
    GuardedPicture picture;
    ParametricSet set;
    std::vector<uint32_t> colours;
    std::vector<unsigned short> masks;
    double scale;

    Scene(uint32_t bpc_, Random& random, uint32_t components_, Size size_)
        : components(components_),
          bpc(bpc_),
          size(size_),
          picture({components, bpc < 9 ? 8u : 16u, bpc}, size, random),
          set(components, bpc, 8),
          colours(random_colours(components, random)),
          scale(random.one_of({1.0, 0.5, 1.0 / components_, 3.0, -1.0, 1e12})) {
        draw_params(set, (1u << bpc) - 1, random);
        set.lut.rmComponents = random_selection(components, random);
        for (uint32_t c = 0; c < components; ++c)
            masks.push_back(random.one_of(
                {uint16_t{0}, uint16_t{0xFFFF}, uint16_t{0xFFFF}, uint16_t{0xFF}, uint16_t{1}}));
    }
    Scene(uint32_t bpc_, Random& random)
        : Scene(bpc_, random, random.components(), random.size(random.components())) {}

    uint32_t pixels() const { return static_cast<uint32_t>(size.pixels); }
    Sums weighted_sums(uint32_t x, uint32_t y) const {
        std::vector<uint64_t> pixel = pixel_of(picture, x, y);
        for (uint32_t c = 0; c < components; ++c)
            pixel[c] = bpc < 9 ? (masks[c] != 0 ? pixel[c] : 0) : pixel[c] & masks[c];
        return weighted(as_floats(pixel), colours);
    }
    Sums shown_sums(uint32_t x, uint32_t y) const {
        return sums_of(as_floats(pixel_of(picture, x, y)), set);
    }
    template <class SumsOf>
    Histograms expected(size_t bins, float factor, SumsOf sums_of_pixel) const {
        Histograms histograms(bins);
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t x = 0; x < size.width; ++x)
                histograms.count((this->*sums_of_pixel)(x, y), factor);
        return histograms;
    }
    int histogram(Histograms& h) const {
        return Api::SpetralGetHistoRGB(h.at(0), h.at(1), h.at(2), picture.data(), picture.stride(),
                                       bpc, components, size.width, pixels(), colours.data(),
                                       masks.data(), scale);
    }
    int precise(Histograms& h) const {
        return Api::SpetralGetHistoRGB_Precise(h.at(0), h.at(1), h.at(2), picture.data(),
                                               picture.stride(), bpc, components, size.width,
                                               pixels(), colours.data(), masks.data(), scale);
    }
    int shown(Histograms& h) {
        return Api::SpetralGetHistoRGBEx(h.at(0), h.at(1), h.at(2), picture.data(),
                                         picture.stride(), bpc, components, size.width, pixels(),
                                         set.get());
    }
    int limits(double* low, double* high, double low_percent, double high_percent) const {
        return Api::SpetralGetLoHiRGB(low, high, picture.data(), picture.stride(), bpc, components,
                                      size.width, pixels(), colours.data(), masks.data(), scale,
                                      low_percent, high_percent);
    }
    int shown_limits(double* low, double* high, double low_percent, double high_percent) {
        return Api::SpetralGetLoHiRGBEx(low, high, picture.data(), picture.stride(), bpc,
                                        components, size.width, pixels(), set.get(), low_percent,
                                        high_percent);
    }
};

constexpr uint32_t kDepths[] = {1, 7, 8, 9, 12, 15, 16};

class SpectralStatistics : public testing::TestWithParam<Level> {
  protected:
    const ForcedLevel forced{GetParam()};
    Random random{20};
};

TEST_P(SpectralStatistics, CountWhatThePlainLoopCounts) {
    for (uint32_t round = 0; round < 12; ++round)
        for (const uint32_t bpc : kDepths) {
            Scene scene(bpc, random);
            const Processors stated(1 + static_cast<int>(random(0, 3)));
            const auto factor = static_cast<float>(scene.scale * unit_of(bpc));
            Histograms found(256, 99);
            ASSERT_EQ(scene.histogram(found), 0);
            ASSERT_TRUE(found == scene.expected(256, factor, &Scene::weighted_sums))
                << bpc << " bits, " << scene.components;
            const size_t bins = bpc < 9 ? 256 : size_t{1} << bpc;
            Histograms fine(bins, 99);
            ASSERT_EQ(scene.precise(fine), 0);
            ASSERT_TRUE(fine == scene.expected(bins,
                                               bpc < 9 ? factor : static_cast<float>(scene.scale),
                                               &Scene::weighted_sums))
                << bpc << " bits, " << scene.components;
            Histograms of_set(256, 99);
            ASSERT_EQ(scene.shown(of_set), 0);
            ASSERT_TRUE(of_set ==
                        scene.expected(256, static_cast<float>(unit_of(bpc)), &Scene::shown_sums))
                << bpc << " bits, " << scene.components;
        }
}

TEST_P(SpectralStatistics, AreTheSameForEveryNumberOfProcessors) {
    for (const uint32_t bpc : {8u, 12u}) {
        Scene scene(bpc, random, 9, {131, 7});
        Histograms one(256), many(256);
        double low[2][3], high[2][3], greatest[2][3];
        const auto all = [&](Histograms& h, uint32_t i) {
            ASSERT_EQ(scene.histogram(h), 0);
            ASSERT_EQ(scene.limits(low[i], high[i], 1, 1), 0);
            ASSERT_EQ(scene.limits(low[i], greatest[i], 0, -1), 0);
        };
        {
            const Processors stated(1);
            all(one, 0);
        }
        for (const int processors : {2, 3, 8, 50}) {
            const Processors stated(processors);
            all(many, 1);
            EXPECT_TRUE(one == many) << processors;
            for (uint32_t k = 0; k < 3; ++k) {
                EXPECT_EQ(high[0][k], high[1][k]);
                EXPECT_EQ(greatest[0][k], greatest[1][k]);
            }
        }
    }
}

TEST_P(SpectralStatistics, FindTheGreatestSumsWithoutPercentiles) {
    for (uint32_t round = 0; round < 6; ++round)
        for (const uint32_t bpc : kDepths) {
            Scene scene(bpc, random);
            const Processors stated(1 + static_cast<int>(random(0, 3)));
            Sums most{}, shown{};
            for (uint32_t y = 0; y < scene.size.height; ++y)
                for (uint32_t x = 0; x < scene.size.width; ++x)
                    for (uint32_t k = 0; k < 3; ++k) {
                        const float sum = scene.weighted_sums(x, y)[k];
                        const float of_set = scene.shown_sums(x, y)[k];
                        if (sum > most[k]) most[k] = sum;
                        if (of_set > shown[k]) shown[k] = of_set;
                    }
            double low[3] = {5, 5, 5}, high[3] = {5, 5, 5};
            ASSERT_EQ(scene.limits(low, high, 0, -1), 0);
            for (uint32_t k = 0; k < 3; ++k) {
                EXPECT_EQ(low[k], 0.0);
                const float scaled = most[k] * static_cast<float>(scene.scale * unit_of(bpc));
                EXPECT_EQ(high[k], static_cast<double>(scaled));
            }
            ASSERT_EQ(scene.shown_limits(low, high, -1, -1), 0);
            for (uint32_t k = 0; k < 3; ++k) {
                const float scaled = shown[k] * static_cast<float>(unit_of(bpc));
                EXPECT_EQ(high[k], static_cast<double>(scaled));
            }
        }
}

INSTANTIATE_TEST_SUITE_P(All, SpectralStatistics, testing::ValuesIn(levels()),
                         [](const auto& given) { return name_of(given.param); });

// ----- Named behaviour ---------------------------------------------------------------------------

using Words = std::vector<uint16_t>;

/// A row of 16-bit samples with colours and masks.
struct Row {
    Words samples;
    uint32_t bpc;
    std::vector<uint32_t> colours;
    std::vector<unsigned short> masks = std::vector<unsigned short>(colours.size(), 0xFFFF);

    uint32_t components() const { return static_cast<uint32_t>(colours.size()); }
    uint32_t width() const { return static_cast<uint32_t>(samples.size()) / components(); }
    int histogram(Histograms& h, double scale, bool precise = false) const {
        auto* const call = precise ? Api::SpetralGetHistoRGB_Precise : Api::SpetralGetHistoRGB;
        return call(h.at(0), h.at(1), h.at(2), samples.data(), 2 * width() * components(), bpc,
                    components(), width(), width(), colours.data(), masks.data(), scale);
    }
    int limits(double* low, double* high, double low_percent, double high_percent,
               double scale = 1.0) const {
        return Api::SpetralGetLoHiRGB(low, high, samples.data(), 2 * width() * components(), bpc,
                                      components(), width(), width(), colours.data(), masks.data(),
                                      scale, low_percent, high_percent);
    }
};

TEST(SpectralHistogram, OfCellsBlueGreenRed) {
    const Row row{{4095, 2048, 0}, 12, {0x0000FF, 0x00FF00, 0xFF0000}};
    Histograms h(256, 1);
    EXPECT_EQ(row.histogram(h, 1.0), 0);
    EXPECT_EQ(h.cells[2][255], 1u);
    EXPECT_EQ(h.cells[1][128], 1u);  // 127.53 and a half
    EXPECT_EQ(h.cells[0][0], 1u);
    for (const Counts& cell : h.cells) {
        uint32_t sum = 0;
        for (const uint32_t count : cell) sum += count;
        EXPECT_EQ(sum, 1u);  // what was there is gone
    }
}

TEST(SpectralHistogram, WeighsBytesWithARoundedProduct) {
    // 3 * 0.003921569f is one step above 3 / 255.
    const float weight = 3.0f * 0.003921569f;
    EXPECT_NE(weight, 3.0f / 255.0f);
    const Row row{{65535}, 16, {0x030303}};
    double low[3], high[3];
    EXPECT_EQ(row.limits(low, high, 0, -1, 257.0), 0);  // 257 * 255 / 65535 is 1
    EXPECT_EQ(high[0], static_cast<double>(65535.0f * weight));
    EXPECT_NE(high[0], static_cast<double>(65535.0f * (3.0f / 255.0f)));
}

TEST(SpectralHistogram, WrapsNegativeSums) {
    ParametricSet set(1, 8, 8);
    set.params[0] = band(-10, 1, 1, 0xFFFFFF);
    const uint8_t s[3] = {7, 9, 10};  // -3, -1 and 0: -2.5, -0.5 and 0.5, cut
    Histograms h(256);
    EXPECT_EQ(Api::SpetralGetHistoRGBEx(h.at(0), h.at(1), h.at(2), s, 3, 8, 1, 3, 3, set.get()), 0);
    EXPECT_EQ(h.cells[0][254], 1u);
    EXPECT_EQ(h.cells[0][0], 2u);
}

TEST(SpectralHistogram, MasksWordsBitByBitAndBytesWhole) {
    Row row{{0x0FFF}, 12, {0xFFFFFF}};
    row.masks = {0x00FF};
    Histograms fine(4096);
    EXPECT_EQ(row.histogram(fine, 1.0, true), 0);
    EXPECT_EQ(fine.cells[0][0xFF], 1u);
    const uint8_t bytes[2] = {0xF0, 0x0F};
    const uint32_t colours[2] = {0x0000FF, 0x00FF00};
    const unsigned short masks[2] = {0x0100, 0};
    Histograms h(256);
    EXPECT_EQ(Api::SpetralGetHistoRGB(h.at(0), h.at(1), h.at(2), bytes, 2, 8, 2, 1, 1, colours,
                                      masks, 1.0),
              0);
    EXPECT_EQ(h.cells[2][0xF0], 1u);
    EXPECT_EQ(h.cells[1][0], 1u);
}

TEST(SpectralHistogram, PreciseHasABinAValue) {
    const Row row{{0, 100, 1023, 1023}, 10, {0xFFFFFF}};
    Histograms fine(1024, 9);
    EXPECT_EQ(row.histogram(fine, 1.0, true), 0);
    EXPECT_EQ(fine.cells[1][0], 1u);
    EXPECT_EQ(fine.cells[1][100], 1u);
    EXPECT_EQ(fine.cells[1][1023], 2u);
    EXPECT_EQ(row.histogram(fine, 0.5, true), 0);
    EXPECT_EQ(fine.cells[1][50], 1u);
    EXPECT_EQ(fine.cells[1][512], 2u);  // 511.5 and a half
}

TEST(SpectralHistogram, IsEmptyOfNoPixels) {
    Row row{{5}, 12, {0xFFFFFF}};
    Histograms h(256, 9);
    for (const uint32_t width : {0u, 4u}) {
        EXPECT_EQ(Api::SpetralGetHistoRGB(h.at(0), h.at(1), h.at(2), row.samples.data(), 2, 12, 1,
                                          width, 3, row.colours.data(), row.masks.data(), 1.0),
                  0);
        EXPECT_TRUE(h == Histograms(256));
    }
}

TEST(SpectralHistogram, Refuses) {
    Row row{{5}, 17, {0xFFFFFF}};
    Histograms h(65536, 9);
    EXPECT_EQ(row.histogram(h, 1.0), -2);
    EXPECT_EQ(row.histogram(h, 1.0, true), -2);
    ParametricSet set(1, 17, 8);
    const auto of_set = [&](const void* s, uint32_t* last) {
        return Api::SpetralGetHistoRGBEx(h.at(0), h.at(1), last, s, 2, 17, 1, 1, 1, set.get());
    };
    EXPECT_EQ(of_set(row.samples.data(), h.at(2)), -2);
    EXPECT_EQ(of_set(nullptr, h.at(2)), -9);
    EXPECT_EQ(of_set(row.samples.data(), nullptr), -9);
    row.bpc = 12;
    const auto call = [&](auto* function, uint32_t missing, const void* s) {
        uint32_t* const at[3] = {missing == 0 ? nullptr : h.at(0), missing == 1 ? nullptr : h.at(1),
                                 missing == 2 ? nullptr : h.at(2)};
        return function(at[0], at[1], at[2], s, 2, 12, 1, 1, 1, row.colours.data(),
                        row.masks.data(), 1.0);
    };
    for (auto* const function : {Api::SpetralGetHistoRGB, Api::SpetralGetHistoRGB_Precise}) {
        for (const uint32_t missing : {0u, 1u, 2u})
            EXPECT_EQ(call(function, missing, row.samples.data()), -9);
        EXPECT_EQ(call(function, 3, nullptr), -9);
        const NoSse2 none;
        EXPECT_EQ(call(function, 3, row.samples.data()), -9);
    }
    const NoSse2 none;
    row.bpc = 17;  // the processor first
    EXPECT_EQ(row.histogram(h, 1.0), -9);
    EXPECT_EQ(of_set(row.samples.data(), h.at(2)), -9);
    EXPECT_TRUE(h == Histograms(65536, 9));
}

TEST(SpectralLimits, AreThoseOfRedGreenBlue) {
    // Ten pixels of red 10 to 100, green 1, no blue.
    Row row{{}, 12, {0x0000FF, 0x00FF00}};
    for (uint16_t i = 1; i <= 10; ++i) row.samples.insert(row.samples.end(), {uint16_t(10 * i), 1});
    double low[3], high[3];
    EXPECT_EQ(row.limits(low, high, 10.0, 20.0), 0);
    const double unit = 255.0 / 4095;
    // More than one pixel from below: the second; more than two from above: the third.
    EXPECT_EQ(low[0], 20 * unit);
    EXPECT_EQ(high[0], 80 * unit);
    EXPECT_EQ(low[1], unit);
    EXPECT_EQ(high[1], unit);
    EXPECT_EQ(low[2], 0.0);
    EXPECT_EQ(high[2], 0.0);
}

TEST(SpectralLimits, OfAPercentOfZeroPassOverOnePixel) {
    const Row row{{50, 60, 70, 250, 255}, 8, {0xFFFFFF}};
    const std::vector<uint8_t> bytes(row.samples.begin(), row.samples.end());
    double low[3], high[3];
    EXPECT_EQ(Api::SpetralGetLoHiRGB(low, high, bytes.data(), 5, 8, 1, 5, 5, row.colours.data(),
                                     row.masks.data(), 1.0, 0.0, 0.0),
              0);
    EXPECT_EQ(low[0], 60.0);
    EXPECT_EQ(high[0], 250.0);
}

TEST(SpectralLimits, OfANegativePercentAreTheEnds) {
    const Row row{{50, 60, 70, 80, 90}, 12, {0xFFFFFF}};
    double low[3] = {5, 5, 5}, high[3] = {5, 5, 5};
    EXPECT_EQ(row.limits(low, high, 1.0, -1.0), 0);
    EXPECT_EQ(low[0], 60 * (255.0 / 4095));
    EXPECT_EQ(high[0], 4095 * (255.0 / 4095));
    EXPECT_EQ(row.limits(low, high, -1.0, 1.0), 0);
    EXPECT_EQ(low[0], 0.0);
    EXPECT_EQ(high[0], 80 * (255.0 / 4095));
    EXPECT_EQ(row.limits(low, nullptr, 1.0, 1.0), 0);
    EXPECT_EQ(low[0], 60 * (255.0 / 4095));
}

TEST(SpectralLimits, WithoutPercentilesAreZerosAndTheGreatestSumsBlueFirst) {
    const Row row{{100, 7, 20, 4095}, 12, {0x0000FF, 0xFF0000}};
    double low[3] = {5, 5, 5}, high[3] = {5, 5, 5};
    EXPECT_EQ(row.limits(low, nullptr, 0.0, 0.0), 0);
    EXPECT_EQ(low[0] + low[1] + low[2], 0.0);
    low[0] = 5;
    EXPECT_EQ(row.limits(low, high, 0.0, -1.0, 2.0), 0);
    EXPECT_EQ(low[0], 0.0);
    EXPECT_NEAR(high[0], 510.0, 1e-3);  // blue 4095, not limited
    EXPECT_EQ(high[1], 0.0);
    EXPECT_NEAR(high[2], 200 * 255.0 / 4095, 1e-5);
    // With a percent of 0 for the high side it is a percentile.
    EXPECT_EQ(row.limits(low, high, 0.0, 0.0), 0);
    EXPECT_EQ(high[0], 20 * (255.0 / 4095));
}

TEST(SpectralLimits, OfASetAreThoseOfWhatItShows) {
    ParametricSet set(2, 12, 8);
    set.params = {band(-100, 2, 1, 0x0000FF), band(0, 0.5, 1, 0xFF0000)};
    const uint16_t s[6] = {100, 10, 200, 20, 300, 30};
    double low[3], high[3];
    const auto limits = [&](double low_percent, double high_percent) {
        return Api::SpetralGetLoHiRGBEx(low, high, s, 12, 12, 2, 3, 3, set.get(), low_percent,
                                        high_percent);
    };
    EXPECT_EQ(limits(1, 1), 0);
    const double unit = 255.0 / 4095;
    EXPECT_EQ(low[0], 200 * unit);  // 0, 200, 400
    EXPECT_EQ(low[2], 10 * unit);   // 5, 10, 15
    EXPECT_EQ(limits(0, -1), 0);
    EXPECT_EQ(high[2], static_cast<double>(400.0f * static_cast<float>(unit)));
    set.select({1});
    EXPECT_EQ(limits(0, -1), 0);
    EXPECT_EQ(high[2], 0.0);
}

TEST(SpectralLimits, Refuse) {
    Row row{{5}, 12, {0xFFFFFF}};
    ParametricSet set(1, 12, 8);
    double low[3] = {5, 5, 5}, high[3] = {5, 5, 5};
    for (const double percent : {1.0, -1.0}) {
        row.bpc = 17;
        EXPECT_EQ(row.limits(low, high, percent, percent), -2);
        row.bpc = 12;
        EXPECT_EQ(row.limits(nullptr, high, percent, percent), -9);
        const auto of_set = [&](double* to, const void* s, uint32_t bpc) {
            return Api::SpetralGetLoHiRGBEx(to, high, s, 2, bpc, 1, 1, 1, set.get(), percent,
                                            percent);
        };
        EXPECT_EQ(of_set(low, row.samples.data(), 17), -2);
        EXPECT_EQ(of_set(nullptr, row.samples.data(), 12), -9);
        EXPECT_EQ(of_set(low, nullptr, 12), -9);
        const NoSse2 none;
        EXPECT_EQ(of_set(low, row.samples.data(), 12), -9);
        EXPECT_EQ(row.limits(low, high, percent, percent), -9);
    }
    EXPECT_EQ(low[0] + high[0], 10.0);
}

// ----- Floats ------------------------------------------------------------------------------------

struct FloatScene {
    uint32_t components;
    Size size;
    FloatPicture picture;
    ParametricSet set;
    std::vector<uint32_t> colours, masks;
    Ranges ranges;
    double scale = 1.5;

    FloatScene(Random& random, uint32_t components_, Size size_)
        : components(components_),
          size(size_),
          picture(components, size, random),
          set(components, 8, 8),
          colours(random_colours(components, random)),
          ranges(components) {
        draw_params(set, 255, random);
        set.lut.rmComponents = random_selection(components, random);
        for (uint32_t c = 0; c < components; ++c) {
            masks.push_back(random.one_of({0u, 1u, 0xFFFFFFFFu, 0x80000000u}));
            ranges[c].tUpper = static_cast<float>(random(0, 1000));
            if (random(0, 3) == 0) ranges[c].tLower = -5;
        }
        if (random(0, 1))
            for (uint32_t y = 0; y < size.height; ++y)  // plain numbers, which reach all bins
                for (uint32_t i = 0; i < picture.samples(); ++i)
                    picture.set(i, y, static_cast<float>(random(0, 4000)) / 16.0f);
    }
    FloatScene(Random& random)
        : FloatScene(random, random.components(), random.size(random.components())) {}

    double unit() const {
        const float low = SQmLutParam::GetMinFromFloatRanges(ranges);
        const float high = SQmLutParam::GetMaxFromFloatRanges(ranges);
        const float span = high - low;
        return 255.0 / (low == 0 && high == 0 ? 1.0 : static_cast<double>(span));
    }
    uint32_t pixels() const { return static_cast<uint32_t>(size.pixels); }
    std::vector<float> pixel(uint32_t x, uint32_t y) const {
        std::vector<float> values;
        for (uint32_t c = 0; c < components; ++c)
            values.push_back(picture.get(x * components + c, y));
        return values;
    }
    Sums weighted_sums(uint32_t x, uint32_t y) const {
        std::vector<float> values = pixel(x, y);
        for (uint32_t c = 0; c < components; ++c)
            if (masks[c] == 0) values[c] = 0;
        return weighted(values, colours);
    }
    Sums shown_sums(uint32_t x, uint32_t y) const { return sums_of(pixel(x, y), set); }
    int histogram(Histograms& h) const {
        return FloatApi::SpetralGetHistoRGB(h.at(0), h.at(1), h.at(2), picture.data(),
                                            picture.stride(), ranges, components, size.width,
                                            pixels(), colours.data(), masks.data(), scale);
    }
    int shown(Histograms& h) {
        return FloatApi::SpetralGetHistoRGBEx(h.at(0), h.at(1), h.at(2), picture.data(),
                                              picture.stride(), ranges, components, size.width,
                                              pixels(), set.get());
    }
    int limits(double* low, double* high, double low_percent, double high_percent) const {
        return FloatApi::SpetralGetLoHiRGB(low, high, picture.data(), picture.stride(), ranges,
                                           components, size.width, pixels(), colours.data(),
                                           masks.data(), scale, low_percent, high_percent);
    }
    int shown_limits(double* low, double* high, double low_percent, double high_percent) {
        return FloatApi::SpetralGetLoHiRGBEx(low, high, picture.data(), picture.stride(), ranges,
                                             components, size.width, pixels(), set.get(),
                                             low_percent, high_percent);
    }
};

TEST_P(SpectralStatistics, OfFloatsAreThoseOfThePlainLoop) {
    const NoSse2 none;  // which is not asked for
    for (uint32_t round = 0; round < 40; ++round) {
        FloatScene scene(random);
        const Processors stated(1 + static_cast<int>(random(0, 3)));
        Histograms expected(256), of_set(256);
        Sums most{}, most_of_set{};
        for (uint32_t y = 0; y < scene.size.height; ++y)
            for (uint32_t x = 0; x < scene.size.width; ++x) {
                const Sums sums = scene.weighted_sums(x, y), shown = scene.shown_sums(x, y);
                expected.count(sums, static_cast<float>(scene.scale * scene.unit()));
                of_set.count(shown, static_cast<float>(scene.unit()));
                for (uint32_t k = 0; k < 3; ++k) {
                    if (sums[k] > most[k]) most[k] = sums[k];
                    if (shown[k] > most_of_set[k]) most_of_set[k] = shown[k];
                }
            }
        Histograms found(256, 9);
        ASSERT_EQ(scene.histogram(found), 0);
        ASSERT_TRUE(found == expected) << scene.components;
        ASSERT_EQ(scene.shown(found), 0);
        ASSERT_TRUE(found == of_set) << scene.components;
        double low[3] = {5, 5, 5}, high[3];
        // A percent of 0 is none here.
        ASSERT_EQ(scene.limits(low, high, 0, 0), 0);
        for (uint32_t k = 0; k < 3; ++k) {
            const float scaled = most[k] * static_cast<float>(scene.scale * scene.unit());
            ASSERT_EQ(low[k], 0.0);
            ASSERT_EQ(high[k], static_cast<double>(scaled));
        }
        ASSERT_EQ(scene.shown_limits(low, high, -1, -1), 0);
        for (uint32_t k = 0; k < 3; ++k) {
            const float scaled = most_of_set[k] * static_cast<float>(scene.unit());
            ASSERT_EQ(high[k], static_cast<double>(scaled));
        }
    }
}

TEST(SpectralLimits, OfFloatsAreBinsOf256) {
    // Without ranges the scale is that of 0 to 1.
    const float s[5] = {0.1f, 0.2f, 0.4f, 0.8f, 1.0f};
    const uint32_t colours[1] = {0x0000FF}, masks[1] = {1};
    double low[3], high[3];
    const auto limits = [&](double* to_high, double low_percent, double high_percent) {
        return FloatApi::SpetralGetLoHiRGB(low, to_high, s, 20, {}, 1, 5, 5, colours, masks, 1.0,
                                           low_percent, high_percent);
    };
    EXPECT_EQ(limits(high, 1, 1), 0);
    EXPECT_EQ(low[0], 51.0);
    EXPECT_EQ(high[0], 204.0);
    EXPECT_EQ(low[1], 0.0);
    EXPECT_EQ(limits(high, 0, 1), 0);  // a percentile of the high side asks for both
    EXPECT_EQ(low[0], 51.0);
    EXPECT_EQ(limits(nullptr, 0, 1), 0);
    EXPECT_EQ(low[0], 0.0);
    EXPECT_EQ(limits(nullptr, 1, 1), 0);
    EXPECT_EQ(low[0], 51.0);
}

TEST(SpectralHistogram, OfFloatsTakesASampleWholeOrNot) {
    const float s[2] = {0.5f, 1.0f};
    const uint32_t colours[2] = {0x0000FF, 0x00FF00}, masks[2] = {1, 0};
    Histograms h(256);
    EXPECT_EQ(FloatApi::SpetralGetHistoRGB(h.at(0), h.at(1), h.at(2), s, 8, {}, 2, 1, 1, colours,
                                           masks, 1.0),
              0);
    EXPECT_EQ(h.cells[2][128], 1u);
    EXPECT_EQ(h.cells[1][0], 1u);
}

TEST(SpectralHistogram, OfFloatsIsScaledByTheWidthOfTheRange) {
    // Values from -10 to 30: 255 are 40, and nothing is subtracted.
    const float s[3] = {-10.0f, 0.0f, 20.0f};
    const uint32_t colours[1] = {0xFFFFFF}, masks[1] = {1};
    Histograms h(256);
    EXPECT_EQ(FloatApi::SpetralGetHistoRGB(h.at(0), h.at(1), h.at(2), s, 12, {{-10.0f, 30.0f}}, 1,
                                           3, 3, colours, masks, 1.0),
              0);
    EXPECT_EQ(h.cells[0][0], 1u);
    EXPECT_EQ(h.cells[0][128], 1u);       // 127.5 and a half
    EXPECT_EQ(h.cells[0][256 - 63], 1u);  // -63.75 and a half is -63.25, cut
}

TEST(SpectralHistogram, OfFloatsRefusesNullAlone) {
    const float s[1] = {1};
    const uint32_t colours[1] = {1}, masks[1] = {1};
    ParametricSet set(1, 8, 8);
    Histograms h(256, 9);
    double low[3], high[3];
    for (const uint32_t missing : {0u, 1u, 2u, 3u}) {
        uint32_t* at[3] = {h.at(0), h.at(1), h.at(2)};
        if (missing < 3) at[missing] = nullptr;
        const float* const from = missing < 3 ? s : nullptr;
        EXPECT_EQ(FloatApi::SpetralGetHistoRGB(at[0], at[1], at[2], from, 4, {}, 1, 1, 1, colours,
                                               masks, 1.0),
                  -9);
        EXPECT_EQ(
            FloatApi::SpetralGetHistoRGBEx(at[0], at[1], at[2], from, 4, {}, 1, 1, 1, set.get()),
            -9);
    }
    const float* const none = nullptr;
    EXPECT_EQ(FloatApi::SpetralGetLoHiRGB(low, high, none, 4, {}, 1, 1, 1, colours, masks, 1, 1, 1),
              -9);
    EXPECT_EQ(
        FloatApi::SpetralGetLoHiRGB(nullptr, high, s, 4, {}, 1, 1, 1, colours, masks, 1, 1, 1), -9);
    EXPECT_EQ(FloatApi::SpetralGetLoHiRGBEx(low, high, none, 4, {}, 1, 1, 1, set.get(), 1, 1), -9);
    EXPECT_EQ(FloatApi::SpetralGetLoHiRGBEx(nullptr, high, s, 4, {}, 1, 1, 1, set.get(), 1, 1), -9);
    EXPECT_TRUE(h == Histograms(256, 9));
}

// ----- Memory and threads ------------------------------------------------------------------------

TEST(SpectralStatisticsTeam, HasAThreadAProcessor) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    Random random(3);
    Scene scene(12, random, 2, {4, 2});
    Histograms h(256);
    double low[3], high[3];
    const Processors stated(3);
    const WatchedRegions regions;
    scene.histogram(h);
    scene.shown(h);
    scene.limits(low, high, 1, 1);
    scene.limits(low, high, 0, -1);
    EXPECT_EQ(regions.teams(), (std::vector<uint32_t>(4, 3)));
}

TEST(SpectralStatisticsTeam, MayBeSmallerThanWasAskedFor) {
    Random random(4);
    Scene scene(12, random, 5, {33, 9});
    Histograms expected(256);
    double low[3], high[3];
    ASSERT_EQ(scene.histogram(expected), 0);
    ASSERT_EQ(scene.limits(low, high, 0, -1), 0);
    bool same[3] = {};
#pragma omp parallel num_threads(3)
    {
        Histograms h(256, 9);
        double own_low[3], own_high[3];
        if (scene.histogram(h) == 0 && scene.limits(own_low, own_high, 0, -1) == 0)
            same[omp_get_thread_num()] = h == expected && std::equal(own_high, own_high + 3, high);
    }
    EXPECT_TRUE(same[0] && same[1] && same[2]);
}

TEST(SpectralStatisticsMemory, WithoutItNothingIsWritten) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    Random random(5);
    Scene scene(9, random, 2, {4, 2});
    FloatScene floats(random, 2, {4, 2});
    scene.set.get();
    floats.set.get();
    Histograms h(512);
    double low[3], high[3];
    const std::pair<const char*, std::function<int()>> calls[] = {
        {"histogram", [&] { return scene.histogram(h); }},
        {"precise", [&] { return scene.precise(h); }},
        {"of a set", [&] { return scene.shown(h); }},
        {"limits", [&] { return scene.limits(low, high, 1, 1); }},
        {"greatest", [&] { return scene.limits(low, high, 0, -1); }},
        {"limits of a set", [&] { return scene.shown_limits(low, high, 1, 1); }},
        {"greatest of a set", [&] { return scene.shown_limits(low, high, 0, -1); }},
        {"floats", [&] { return floats.histogram(h); }},
        {"floats of a set", [&] { return floats.shown(h); }},
        {"limits of floats", [&] { return floats.limits(low, high, 1, 1); }},
        {"greatest of floats", [&] { return floats.limits(low, high, 0, -1); }},
        {"limits of floats of a set", [&] { return floats.shown_limits(low, high, 1, 1); }},
        {"greatest of floats of a set", [&] { return floats.shown_limits(low, high, 0, -1); }}};
    for (const auto& [name, call] : calls) {
        call();  // the runtime's own memory
        const auto again = [&] {
            for (uint32_t k = 0; k < 3; ++k) {
                std::fill_n(h.at(k), 512, 7u);
                low[k] = high[k] = 5;
            }
            return call();
        };
        const uint32_t seen = each_failure(again, [&](uint32_t n, const Outcome& outcome) {
            EXPECT_EQ(outcome.code, n == 0 ? 0 : -3) << name << ", " << n;
            EXPECT_EQ(outcome.live, 0) << name;
            if (n == 0) return;
            EXPECT_TRUE(h == Histograms(512, 7)) << name << ", " << n;
            for (uint32_t k = 0; k < 3; ++k) {
                EXPECT_EQ(low[k], 5.0) << name;
                EXPECT_EQ(high[k], 5.0) << name;
            }
        });
        EXPECT_GE(seen, 2u) << name;
    }
}

}  // namespace
}  // namespace qmpic::test
