#include "qmpic/system/Color.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <vector>

#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"
#include "support/cases.h"

namespace qmpic::test {
namespace {

const bool registered = add_cases({}, {}, {"QM_RGBFromWavelength", "QM_RGBRainbowColorTable"});

TEST(Color, HasTwoOrders) {
    static_assert(SQmColor::FromColorRef(0xAA112233).ucRed == 0x33);
    static_assert(SQmColor::FromGradientWord(0xAA112233).ucRed == 0x11);
    for (const uint32_t word : {0u, 0xAA112233u, 0xFFFFFFFFu, 0x01020304u}) {
        EXPECT_EQ(SQmColor::FromColorRef(word).ToColorRef(), word);
        EXPECT_EQ(SQmColor::FromGradientWord(word).ToGradientWord(), word);
    }
    EXPECT_EQ(SQmColor::FromColorRef(0xAA112233).ToGradientWord(), 0xAA332211u);
    EXPECT_EQ(SQmColor::FromGradientWord(0xAA112233).ToColorRef(), 0xAA332211u);
}

// ----- Wavelengths -------------------------------------------------------------------------------

constexpr uint32_t reference(uint32_t red, uint32_t green, uint32_t blue) {
    return red | green << 8 | blue << 16;
}
uint32_t colour_of(double wavelength) {
    uint32_t colour = 0xDEADBEEF;
    EXPECT_EQ(QM_RGBFromWavelength(&colour, wavelength), QM_OK) << wavelength;
    return colour;
}

TEST(RGBFromWavelength, GivesKnownColours) {
    EXPECT_EQ(colour_of(380), reference(53, 0, 77));
    EXPECT_EQ(colour_of(400), reference(123, 0, 179));
    EXPECT_EQ(colour_of(415), reference(176, 0, 255));
    EXPECT_EQ(colour_of(450), reference(65, 0, 255));
    EXPECT_EQ(colour_of(466), reference(0, 0, 255));
    EXPECT_EQ(colour_of(481), reference(0, 255, 255));
    EXPECT_EQ(colour_of(500), reference(0, 255, 56));
    EXPECT_EQ(colour_of(523), reference(0, 255, 0));
    EXPECT_EQ(colour_of(550), reference(88, 255, 0));
    EXPECT_EQ(colour_of(571.5), reference(255, 255, 0));
    EXPECT_EQ(colour_of(600), reference(255, 46, 0));
    EXPECT_EQ(colour_of(620), reference(255, 0, 0));
    EXPECT_EQ(colour_of(645), reference(227, 0, 0));
    EXPECT_EQ(colour_of(780), reference(77, 0, 0));
}

TEST(RGBFromWavelength, InterpolatesAndRounds) {
    EXPECT_EQ(colour_of(419), reference(149, 0, 255));    // (176 + 121) / 2 = 148.5
    EXPECT_EQ(colour_of(418.9), reference(149, 0, 255));  // 149.19
    EXPECT_EQ(colour_of(468.5), reference(0, 33, 255));   // 32.5
    EXPECT_EQ(colour_of(574.25), reference(255, 221, 0));
    EXPECT_EQ(colour_of(616.5), reference(255, 7, 0));
    EXPECT_EQ(colour_of(397.5), reference(114, 0, 166));  // 0.65 of 176 and 255: 114.4, 165.75
    EXPECT_EQ(colour_of(700), reference(166, 0, 0));      // 0.65 of 255
}

TEST(RGBFromWavelength, RefusesWhatHasNoColour) {
    uint32_t colour = 0x12345678;
    EXPECT_EQ(QM_RGBFromWavelength(nullptr, 500), QM_BAD_BUFFER);
    for (const double none :
         {379.999999, 780.000001, 0.0, -500.0, 1e300, std::nan(""),
          std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()})
        EXPECT_EQ(QM_RGBFromWavelength(&colour, none), QM_REJECTED) << none;
    EXPECT_EQ(colour, 0x12345678u);
}

TEST(RGBFromWavelength, ChangesWithEveryNanometre) {
    for (int w = 380; w < 780; ++w) EXPECT_NE(colour_of(w), colour_of(w + 1)) << w;
}

TEST(RGBFromWavelength, ReadsBackAsTheWavelength) {
    double sum = 0;
    for (int w = 415; w <= 620; ++w) {
        const int back = static_cast<int>(CQmPicMemAPI_Base::RGBToWavelength(colour_of(w)));
        EXPECT_LE(std::abs(back - w), 4) << w;
        sum += std::abs(back - w);
    }
    EXPECT_LT(sum / 206, 0.6);
}

// ----- Rainbow -----------------------------------------------------------------------------------

uint32_t rainbow(uint64_t i, uint64_t n) {
    const uint64_t p = i * 1020 / (n > 1 ? n - 1 : 1), s = p / 255, f = p % 255;
    const uint64_t reds[] = {0, 0, f, 255, 255}, greens[] = {f, 255, 255, 255 - f, 0},
                   blues[] = {255, 255 - f, 0, 0, 0};
    return static_cast<uint32_t>(reds[s] << 16 | greens[s] << 8 | blues[s]);
}

TEST(RGBRainbowColorTable, RunsFromBlueToRed) {
    std::vector<uint32_t> table(257, 0xDEADBEEF);
    QM_RGBRainbowColorTable(table.data(), 256);
    EXPECT_EQ(table[0], 0x0000FFu);
    EXPECT_EQ(table[64], 0x00FFFEu);
    EXPECT_EQ(table[128], 0x02FF00u);
    EXPECT_EQ(table[192], 0xFFFC00u);
    EXPECT_EQ(table[255], 0xFF0000u);
    EXPECT_EQ(table[256], 0xDEADBEEFu);
}

TEST(RGBRainbowColorTable, HasAnyLength) {
    for (const uint32_t count : {0u, 1u, 2u, 3u, 5u, 16u, 255u, 256u, 1021u, 4096u, 100000u}) {
        std::vector<uint32_t> table(count + 1, 0xDEADBEEF);
        QM_RGBRainbowColorTable(table.data(), count);
        for (uint32_t i = 0; i < count; ++i)
            ASSERT_EQ(table[i], rainbow(i, count)) << i << " of " << count;
        EXPECT_EQ(table[count], 0xDEADBEEFu);
    }
    // A product of 32 bits would wrap.
    std::vector<uint32_t> table(5000000);
    QM_RGBRainbowColorTable(table.data(), 5000000);
    EXPECT_EQ(table[4999999], 0xFF0000u);
    EXPECT_EQ(table[4500000], rainbow(4500000, 5000000));
}

}  // namespace
}  // namespace qmpic::test
