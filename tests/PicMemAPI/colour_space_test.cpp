#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"
#include "qmpic/system/Color.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/levels.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;

// ----- References, step by step ------------------------------------------------------------------

double arc_cosine(int index) { return std::acos(2.0 * index / 10000.0 - 1.0); }

struct Hsi {
    uint32_t h, s, i;
    bool operator==(const Hsi&) const = default;
};

Hsi hsi(double R, double G, double B, double F) {
    if (R == G && G == B) return {0, 0, static_cast<uint32_t>(R)};
    const double sum = R + G + B;
    const double S = 1 - 3 * std::min({R, G, B}) / sum;
    const double D = std::sqrt((R - B) * (G - B) + (R - G) * (R - G));
    const int index = static_cast<int>(((2 * R - G - B) * 0.5 / D + 1.0) * 10000.0 * 0.5);
    double H = arc_cosine(index) / 6.2831853071796;
    if (B > G) H = 1 - H;
    return {static_cast<uint32_t>(H * F + 0.5), static_cast<uint32_t>(S * F + 0.5),
            static_cast<uint32_t>(sum / 3 + 0.5)};
}

using Rgb = std::array<uint32_t, 3>;

Rgb rgb(uint32_t hue, uint32_t saturation, uint32_t intensity, uint32_t full) {
    if (intensity == 0) return {0, 0, 0};
    if (saturation == 0) return {intensity, intensity, intensity};
    const double F = full, S = saturation / F, I3 = intensity * 3.0;
    const double x = 2 * hue * 3.1415926535898 / F, m = (1 - S) / 3;
    double R, G, B;
    const auto c = [S](double y) {
        return (std::cos(y) * S / std::cos(1.0471975511966 - y) + 1) / 3;
    };
    if (x <= 2.0943951023932) {
        B = m;
        R = c(x);
        G = 1 - R - m;
    } else if (x <= 4.1887902047864) {
        R = m;
        G = c(x - 2.0943951023932);
        B = 1 - m - G;
    } else {
        G = m;
        B = c(x - 4.1887902047864);
        R = 1 - m - B;
    }
    const auto cut = [&](double value) {
        const double scaled = value * I3;
        return scaled < 0 ? 0 : scaled > F ? full : static_cast<uint32_t>(scaled);
    };
    return {cut(R), cut(G), cut(B)};
}

template <class T>
Hsi converted(uint32_t r, uint32_t g, uint32_t b) {
    T h = 0, s = 0, i = 0;
    const auto R = static_cast<T>(r), G = static_cast<T>(g), B = static_cast<T>(b);
    if constexpr (sizeof(T) == 1)
        Api::ConvertColorRGB8toHSI8(h, s, i, R, G, B);
    else
        Api::ConvertColorRGB16toHSI16(h, s, i, R, G, B);
    return {h, s, i};
}

template <class T>
Rgb converted_back(uint32_t h, uint32_t s, uint32_t i) {
    T r = 0, g = 0, b = 0;
    const auto H = static_cast<T>(h), S = static_cast<T>(s), I = static_cast<T>(i);
    if constexpr (sizeof(T) == 1)
        Api::ConvertColorHSI8toRGB8(r, g, b, H, S, I);
    else
        Api::ConvertColorHSI16toRGB16(r, g, b, H, S, I);
    return {r, g, b};
}

template <class T>
void planes(T* i, T* s, T* h, const T* bgr, uint32_t count) {
    if constexpr (sizeof(T) == 1)
        Api::ConvertRGB8toHSI8(i, s, h, bgr, count);
    else
        Api::ConvertRGB16toHSI16(i, s, h, bgr, count);
}

// ----- Planes ------------------------------------------------------------------------------------

template <class T>
void check_planes(Round round) {
    constexpr uint32_t full = std::numeric_limits<T>::max();
    const uint32_t count = round.random(0, 1) ? round.random(0, 70) : round.random(0, 1000);
    const auto sample = [&] {
        return static_cast<T>(round.random.sample({1, sizeof(T) * 8, sizeof(T) * 8}));
    };
    std::vector<T> pixels(3 * count);
    for (uint32_t x = 0; x < count; ++x) {
        const T grey = sample();
        const bool is_grey = round.random(0, 7) == 0;
        for (uint32_t k = 0; k < 3; ++k) pixels[3 * x + k] = is_grey ? grey : sample();
    }
    constexpr T kUntouched = 77;
    std::vector<T> found[3];
    T* pointers[3];
    for (int p = 0; p < 3; ++p) {
        found[p].assign(count + 2, kUntouched);
        pointers[p] = round.random(0, 3) ? found[p].data() + 1 : nullptr;
    }
    planes<T>(pointers[0], pointers[1], pointers[2], pixels.data(), count);
    for (int p = 0; p < 3; ++p) {
        ASSERT_EQ(found[p].front(), kUntouched);
        ASSERT_EQ(found[p].back(), kUntouched);
    }
    for (uint32_t x = 0; x < count; ++x) {
        const uint32_t b = pixels[3 * x], g = pixels[3 * x + 1], r = pixels[3 * x + 2];
        const Hsi wanted = hsi(r, g, b, full);
        const uint32_t values[] = {wanted.i, wanted.s, wanted.h};
        for (int p = 0; p < 3; ++p) {
            ASSERT_EQ(found[p][x + 1], pointers[p] != nullptr ? values[p] : kUntouched)
                << "plane " << p << " of " << r << ' ' << g << ' ' << b;
            round.digest.add(found[p][x + 1]);
        }
        ASSERT_EQ(converted<T>(r, g, b), wanted) << r << ' ' << g << ' ' << b;
    }
}

const bool registered = add_cases(
    {{"CQmPicMemAPI_Base::ConvertRGB8toHSI8", check_planes<uint8_t>, 96},
     {"CQmPicMemAPI_Base::ConvertRGB16toHSI16", check_planes<uint16_t>, 96}},
    {},
    {"CQmPicMemAPI_Base::ConvertColorRGB8toHSI8", "CQmPicMemAPI_Base::ConvertColorRGB16toHSI16",
     "CQmPicMemAPI_Base::ConvertColorHSI8toRGB8", "CQmPicMemAPI_Base::ConvertColorHSI16toRGB16",
     "CQmPicMemAPI_Base::CalcColor", "CQmPicMemAPI_Base::CalcColorEx",
     "CQmPicMemAPI_Base::RGBChangeHue", "CQmPicMemAPI_Base::HueValueToWavelength",
     "CQmPicMemAPI_Base::RGBToWavelength", "CQmPicMemAPI_Base::RGBChangeWavelength",
     "CQmPicMemAPI_Base::ConvertComponentsToPixel",
     "CQmPicMemAPI_Base::ConvertComponentsToPixelRGB",
     "CQmPicMemAPI_Base::ConvertPixelToComponents",
     "CQmPicMemAPI_Base::ConvertPixelToComponentsRGB", "g_AcosLUTs"});

// With sanitizers one red in 17.
TEST(HsiPlanes, AreRightForEveryColourOf8Bits) {
    constexpr uint32_t kStep = FailingAlloc::kWorks ? 1 : 17;
    std::vector<uint8_t> pixels(3 * 65536), h(65536), s(65536), i(65536);
    std::vector<double> arc_cosines;
    for (int index = 0; index <= 10000; ++index) arc_cosines.push_back(arc_cosine(index));
    for (uint32_t r = 0; r < 256; r += kStep) {
        std::vector<Hsi> wanted;
        for (uint32_t k = 0; k < 65536; ++k) {
            const uint32_t g = k >> 8, b = k & 255;
            const uint8_t bgr[] = {static_cast<uint8_t>(b), static_cast<uint8_t>(g),
                                   static_cast<uint8_t>(r)};
            std::copy_n(bgr, 3, pixels.data() + 3 * k);
            // As hsi(), with a table for the slow function.
            if (r == g && g == b) {
                wanted.push_back({0, 0, r});
                continue;
            }
            const double R = r, G = g, B = b, sum = R + G + B;
            const double D = std::sqrt((R - B) * (G - B) + (R - G) * (R - G));
            const auto index =
                static_cast<size_t>(((2 * R - G - B) * 0.5 / D + 1.0) * 10000.0 * 0.5);
            ASSERT_LE(index, 10000u);
            const double angle = arc_cosines[index] / 6.2831853071796;
            const double H = B > G ? 1 - angle : angle, S = 1 - 3 * std::min({R, G, B}) / sum;
            wanted.push_back({static_cast<uint32_t>(H * 255 + 0.5),
                              static_cast<uint32_t>(S * 255 + 0.5),
                              static_cast<uint32_t>(sum / 3 + 0.5)});
        }
        for (const Level level : levels()) {
            const ForcedLevel forced(level);
            Api::ConvertRGB8toHSI8(i.data(), s.data(), h.data(), pixels.data(), 65536);
            size_t wrong = 0;
            for (uint32_t k = 0; k < 65536; ++k)
                wrong += h[k] != wanted[k].h || s[k] != wanted[k].s || i[k] != wanted[k].i;
            ASSERT_EQ(wrong, 0u) << "red " << r << ", " << name_of(level);
        }
    }
}

TEST(HsiPlanes, TakeBlueFirst) {
    const uint8_t bytes[] = {3, 3, 20, 255, 0, 0};
    uint8_t h[2], s[2], i[2];
    Api::ConvertRGB8toHSI8(i, s, h, bytes, 2);
    EXPECT_EQ(h[0], 0);
    EXPECT_EQ(s[0], 167);  // 1 - 9 / 26
    EXPECT_EQ(i[0], 9);    // 26 / 3
    EXPECT_EQ(h[1], 170);
    EXPECT_EQ(s[1], 255);
    EXPECT_EQ(i[1], 85);
    const uint16_t words[] = {65535, 0, 0};
    uint16_t H, S, I;
    Api::ConvertRGB16toHSI16(&I, &S, &H, words, 1);
    EXPECT_EQ(H, 43690);
    EXPECT_EQ(S, 65535);
    EXPECT_EQ(I, 21845);
}

TEST(HsiPlanes, MayBeNullEachAndAll) {
    const uint8_t bytes[] = {0, 255, 0};
    uint8_t h = 1, s = 2, i = 3;
    Api::ConvertRGB8toHSI8(&i, nullptr, &h, bytes, 1);
    EXPECT_EQ(h, 85);
    EXPECT_EQ(i, 85);
    Api::ConvertRGB8toHSI8(nullptr, &s, nullptr, bytes, 1);
    EXPECT_EQ(s, 255);
    Api::ConvertRGB8toHSI8(nullptr, nullptr, nullptr, bytes, 1);
    h = s = i = 9;
    Api::ConvertRGB8toHSI8(&i, &s, &h, nullptr, 0);
    EXPECT_EQ(h + s + i, 27);
}

// ----- Single colours ----------------------------------------------------------------------------

TEST(HsiOfAColour, OfGreysIsTheirIntensity) {
    EXPECT_EQ(converted<uint8_t>(100, 100, 100), (Hsi{0, 0, 100}));
    for (uint32_t v = 0; v < 256; ++v) EXPECT_EQ(converted<uint8_t>(v, v, v), (Hsi{0, 0, v}));
    for (uint32_t v = 0; v < 65536; ++v) ASSERT_EQ(converted<uint16_t>(v, v, v), (Hsi{0, 0, v}));
}

TEST(HsiOfAColour, IsKnown) {
    // 9 / 10 is no number of 53 bits: 1 - 0.9 is a little less than 0.1, and 25.5 is not reached.
    EXPECT_EQ(converted<uint8_t>(3, 3, 4).s, 25u);
    EXPECT_EQ(converted<uint8_t>(20, 3, 3), (Hsi{0, 167, 9}));
    EXPECT_EQ(converted<uint8_t>(255, 0, 0), (Hsi{0, 255, 85}));
    EXPECT_EQ(converted<uint8_t>(0, 255, 0), (Hsi{85, 255, 85}));
    EXPECT_EQ(converted<uint8_t>(255, 255, 0).i, 170u);
    // Half of 6.2831853071796, which is more than two pi, is never reached.
    EXPECT_EQ(converted<uint8_t>(0, 255, 255).h, 127u);
    EXPECT_EQ(converted<uint16_t>(0, 65535, 65535).h, 32767u);
    EXPECT_EQ(converted<uint16_t>(0, 65535, 0), (Hsi{21845, 65535, 21845}));
}

TEST(HsiOfAColour, AgreesWithTheReference) {
    for (uint32_t r = 0; r < 256; r += 5)
        for (uint32_t g = 0; g < 256; g += 5)
            for (uint32_t b = 0; b < 256; b += 5)
                ASSERT_EQ(converted<uint8_t>(r, g, b), hsi(r, g, b, 255))
                    << r << ' ' << g << ' ' << b;
    Random random(1);
    for (int n = 0; n < 100000; ++n) {
        const uint32_t r = random(0, 65535), g = random(0, 65535), b = random(0, 65535);
        ASSERT_EQ(converted<uint16_t>(r, g, b), hsi(r, g, b, 65535)) << r << ' ' << g << ' ' << b;
    }
    for (uint32_t near = 0; near < 27; ++near) {  // where the cosine is 1 but for roundings
        const uint32_t r = 65533 + near % 3, g = near / 3 % 3, b = near / 9;
        ASSERT_EQ(converted<uint16_t>(r, g, b), hsi(r, g, b, 65535)) << near;
        ASSERT_EQ(converted<uint16_t>(g, r, b), hsi(g, r, b, 65535)) << near;
        ASSERT_EQ(converted<uint16_t>(b, r, r), hsi(b, r, r, 65535)) << near;
    }
}

TEST(ColourOfHsi, WithoutIntensityIsBlackAndWithoutSaturationGrey) {
    for (uint32_t v = 0; v < 256; ++v) {
        EXPECT_EQ(converted_back<uint8_t>(v, 255 - v, 0), (Rgb{0, 0, 0}));
        EXPECT_EQ(converted_back<uint8_t>(v, 0, v), (Rgb{v, v, v}));
        EXPECT_EQ(converted_back<uint16_t>(v * 257, 0, v * 256), (Rgb{v * 256, v * 256, v * 256}));
    }
}

TEST(ColourOfHsi, CutsAndClips) {
    EXPECT_EQ(converted_back<uint8_t>(0, 255, 100), (Rgb{255, 0, 0}));  // of 300
    // S 0.654902: (2 * S + 1) / 3 * 27 = 20.788, (1 - S) / 3 * 27 = 3.106
    EXPECT_EQ(converted_back<uint8_t>(0, 167, 9), (Rgb{20, 3, 3}));
    // Hue 200 of 255 is 282.35 degrees, 42.35 behind blue; S 0.392157, 3 * I 300: blue
    // (cos(42.35) * S / cos(17.65) + 1) / 3 = 0.434732, green 0.202614, red the rest 0.362653
    EXPECT_EQ(converted_back<uint8_t>(200, 100, 100), (Rgb{108, 60, 130}));
}

TEST(ColourOfHsi, AgreesWithTheReference) {
    for (uint32_t h = 0; h < 256; ++h)
        for (uint32_t s = 0; s < 256; s += 5)
            for (uint32_t i = 0; i < 256; i += 5)
                ASSERT_EQ(converted_back<uint8_t>(h, s, i), rgb(h, s, i, 255))
                    << h << ' ' << s << ' ' << i;
    Random random(2);
    for (int n = 0; n < 100000; ++n) {
        const uint32_t h = random(0, 65535), s = random(0, 65535), i = random(0, 65535);
        ASSERT_EQ(converted_back<uint16_t>(h, s, i), rgb(h, s, i, 65535))
            << h << ' ' << s << ' ' << i;
    }
}

// ----- Blends ------------------------------------------------------------------------------------

uint32_t reference(Rgb c) { return c[0] | c[1] << 8 | c[2] << 16; }
Hsi hsi_of(uint32_t colour) {
    return converted<uint8_t>(colour & 255, colour >> 8 & 255, colour >> 16 & 255);
}

/// Products wrap at 32 bits.
int64_t part(int64_t difference, int64_t position, int64_t total) {
    return static_cast<int32_t>(static_cast<uint32_t>(difference * position)) / total;
}
uint32_t blend(uint32_t colour1, uint32_t colour2, int total, int position) {
    const Hsi a = hsi_of(colour1), b = hsi_of(colour2);
    int64_t d = int64_t{b.h} - a.h;
    if (d >= 128 || d <= -128) d = a.h >= b.h ? 256 + d : d - 256;
    return reference(converted_back<uint8_t>(
        static_cast<uint8_t>(a.h + part(d, position, total)),
        static_cast<uint8_t>(a.s + part(int64_t{b.s} - a.s, position, total)),
        static_cast<uint8_t>(a.i + part(int64_t{b.i} - a.i, position, total))));
}
uint32_t normalised(uint32_t colour) {
    const uint32_t r = colour & 255, g = colour >> 8 & 255, b = colour >> 16 & 255;
    const uint32_t most = std::max({r, g, b});
    return most == 0 ? colour : reference({r * 255 / most, g * 255 / most, b * 255 / most});
}

TEST(CalcColor, IsAsBrightAsItCanBeAndCalcColorExIsNot) {
    EXPECT_EQ(Api::CalcColorEx(0, 0x808080, 100, 50), 0x404040u);
    EXPECT_EQ(Api::CalcColor(0, 0x808080, 100, 50), 0xFFFFFFu);
    EXPECT_EQ(Api::CalcColor(0x030314, 0xFFFFFF, 100, 0), 0x2626FFu);  // 3 * 255 / 20
    EXPECT_EQ(Api::CalcColorEx(0x030314, 0xFFFFFF, 100, 0), 0x030314u);
    EXPECT_EQ(Api::CalcColor(0, 0, 100, 50), 0u);
    EXPECT_EQ(Api::CalcColor(0xFF000000, 0xFF000000, 100, 50), 0u);  // the top byte is no colour
    EXPECT_EQ(Api::CalcColorEx(0xFF808080, 0xFF808080, 100, 50), 0x808080u);
}

/// A saturated colour of this hue.
uint32_t of_hue(uint32_t hue) {
    for (uint32_t v = 0; v < 256; ++v)
        for (const uint32_t c : {255 | v << 8, 255 | v << 16, v | 255 << 8, 255 << 8 | v << 16,
                                 v | 255 << 16, v << 8 | 255 << 16})
            if (hsi_of(c).h == hue) return c;
    ADD_FAILURE() << "no hue " << hue;
    return 0;
}

TEST(CalcColor, TakesTheShorterWayRoundTheCircle) {
    const auto half = [](uint32_t from, uint32_t to) {
        const auto [h, s, i] = hsi_of(Api::CalcColorEx(of_hue(from), of_hue(to), 2, 1));
        return h;
    };
    const auto near = [](uint32_t found, uint32_t hue) {
        const int d = static_cast<int8_t>(found - hue);
        return d >= -2 && d <= 2;  // by way of three bytes
    };
    EXPECT_TRUE(near(half(250, 10), 2)) << half(250, 10);
    EXPECT_TRUE(near(half(10, 250), 2)) << half(10, 250);
    EXPECT_TRUE(near(half(20, 100), 60));
    // Exactly opposite: backwards from the lower hue, on from the higher one.
    EXPECT_TRUE(near(half(20, 148), 212)) << half(20, 148);
    EXPECT_TRUE(near(half(148, 20), 212)) << half(148, 20);
    EXPECT_TRUE(near(half(20, 147), 83)) << half(20, 147);
}

TEST(CalcColor, AgreesWithTheReference) {
    Random random(3);
    for (int n = 0; n < 100000; ++n) {
        const uint32_t a = random.any(), b = random(0, 3) ? random.any() : a ^ 0xFF;
        const int total =
            random(0, 3) ? static_cast<int>(random(1, 256)) : static_cast<int>(random.any() | 1);
        const int position = random(0, 3) && total > 0
                                 ? static_cast<int>(random(0, static_cast<uint32_t>(total)))
                                 : static_cast<int>(random.any());
        const uint32_t wanted = blend(a, b, total, position);
        ASSERT_EQ(Api::CalcColorEx(a, b, total, position), wanted) << a << ' ' << b;
        ASSERT_EQ(Api::CalcColor(a, b, total, position), normalised(wanted)) << a << ' ' << b;
    }
    // The product becomes the least number, which has no negative.
    EXPECT_EQ(Api::CalcColorEx(0, 0x808080, -1, 1 << 24), blend(0, 0x808080, -1, 1 << 24));
}

TEST(CalcColor, WithoutStepsIsTheFirstColour) {
    EXPECT_EQ(Api::CalcColorEx(0x030314, 0xFFFFFF, 0, 5), 0x030314u);
    EXPECT_EQ(Api::CalcColor(0x030314, 0xFFFFFF, 0, 5), 0x2626FFu);
}

// ----- Hues and wavelengths ----------------------------------------------------------------------

TEST(RGBChangeHue, HasRedInBits16To23AndKeepsTheTopByte) {
    EXPECT_EQ(Api::RGBChangeHue(0xAB0000FF, 85), 0xABFF0000u);  // blue, 170 + 85: red again
    EXPECT_EQ(Api::RGBChangeHue(0xABFF0000, 85), 0xAB00FF00u);
    EXPECT_EQ(Api::RGBChangeHue(0xABFF0000, 85 + 256), 0xAB00FF00u);
    EXPECT_EQ(Api::RGBChangeHue(0xABFF0000, 85 - 512), 0xAB00FF00u);
    EXPECT_EQ(Api::RGBChangeHue(0xAB404040, 99), 0xAB404040u);
    Random random(4);
    for (int n = 0; n < 20000; ++n) {
        const uint32_t colour = random.any();
        const int delta = static_cast<int>(random.any());
        const Hsi a = converted<uint8_t>(colour >> 16 & 255, colour >> 8 & 255, colour & 255);
        const Rgb c = converted_back<uint8_t>((a.h + static_cast<uint32_t>(delta)) & 255, a.s, a.i);
        ASSERT_EQ(Api::RGBChangeHue(colour, delta),
                  (colour & 0xFF000000) | c[0] << 16 | c[1] << 8 | c[2]);
    }
}

TEST(HueValueToWavelength, IsATable) {
    const std::array<std::array<uint32_t, 2>, 14> known{{{0, 620},
                                                         {1, 615},
                                                         {43, 571},
                                                         {64, 558},
                                                         {85, 523},
                                                         {127, 481},
                                                         {128, 481},
                                                         {170, 466},
                                                         {200, 415},
                                                         {251, 401},
                                                         {252, 400},
                                                         {253, 400},
                                                         {254, 630},
                                                         {255, 645}}};
    for (const auto& [hue, wavelength] : known)
        EXPECT_EQ(Api::HueValueToWavelength(static_cast<uint8_t>(hue)), wavelength) << hue;
    // Of all entries less 400: the sum, and those that tell their places.
    uint64_t sums[3] = {};
    for (uint64_t hue = 0; hue < 256; ++hue) {
        const uint64_t entry = Api::HueValueToWavelength(static_cast<uint8_t>(hue)) - 400;
        sums[0] += entry;
        sums[1] += (hue + 1) * entry;
        sums[2] += (hue + 1) * (hue + 1) * entry;
    }
    EXPECT_EQ(sums[0], 23702u);
    EXPECT_EQ(sums[1], 1889466u);
    EXPECT_EQ(sums[2], 235437706u);
}

uint32_t wavelength(uint32_t colour) {
    const double R = (colour & 255) / 255.0, G = (colour >> 8 & 255) / 255.0,
                 B = (colour >> 16 & 255) / 255.0;
    if (R == G && G == B) return Api::HueValueToWavelength(0);
    const double D = std::sqrt((R - B) * (G - B) + (R - G) * (R - G));
    const int index = static_cast<int>(((2 * R - G - B) * 0.5 / D + 1.0) * 10000.0 * 0.5);
    double H = arc_cosine(index) / 6.2831853071796;
    if (B > G) H = 1 - H;
    return Api::HueValueToWavelength(static_cast<uint8_t>(std::min(H * 255 + 0.5, 255.0)));
}

TEST(RGBToWavelength, OfGreysIs620) {
    for (uint32_t v = 0; v < 256; ++v)
        EXPECT_EQ(Api::RGBToWavelength(v * 0x010101 | 0xFF000000), 620u);
}

// 17 / 255 is rounded before it is divided.
TEST(RGBToWavelength, HasAHueOfItsOwn) {
    EXPECT_EQ(hsi_of(0x030314).h, 0u);
    EXPECT_EQ(Api::RGBToWavelength(0x030314), Api::HueValueToWavelength(1));
    EXPECT_EQ(Api::RGBToWavelength(0x030314), 615u);
}

TEST(RGBToWavelength, AgreesWithTheReference) {
    EXPECT_EQ(Api::RGBToWavelength(0x0000FF), 620u);
    EXPECT_EQ(Api::RGBToWavelength(0x00FF00), 523u);
    EXPECT_EQ(Api::RGBToWavelength(0xFF0000), 466u);
    EXPECT_EQ(Api::RGBToWavelength(0xAA0000FF), 620u);
    for (uint32_t r = 0; r < 256; r += 3)
        for (uint32_t g = 0; g < 256; g += 5)
            for (uint32_t b = 0; b < 256; b += 5)
                ASSERT_EQ(Api::RGBToWavelength(r | g << 8 | b << 16),
                          wavelength(r | g << 8 | b << 16))
                    << r << ' ' << g << ' ' << b;
}

template <class InRange>
uint32_t stepped(double w, double delta, InRange in_range) {
    uint32_t first = 0;
    if (QM_RGBFromWavelength(&first, w) != 0) return 0;
    uint32_t colour = first;
    for (int steps = 0; steps < 5; ++steps) {
        if (colour != first || !in_range(w)) break;
        w += delta;
        if (QM_RGBFromWavelength(&colour, w) != 0) break;
    }
    return colour;
}
uint32_t colour_of(double w) {
    uint32_t colour = 0;
    EXPECT_EQ(QM_RGBFromWavelength(&colour, w), QM_OK);
    return colour;
}

TEST(RGBChangeWavelength, OfAColourStepsWithin401And644) {
    const auto in_range = [](double w) { return w >= 401 && w <= 644; };
    EXPECT_EQ(Api::RGBChangeWavelength(0x0000FFu, 1), colour_of(621));
    EXPECT_EQ(Api::RGBChangeWavelength(0x0000FFu, -1), colour_of(619));
    EXPECT_EQ(Api::RGBChangeWavelength(0x808080u, -20), colour_of(600));
    EXPECT_EQ(Api::RGBChangeWavelength(0x00FF00u, 30), colour_of(553));
    EXPECT_EQ(Api::RGBChangeWavelength(0x00FF00u, 0), colour_of(523));  // five times the same
    // Beyond what has a colour the last one stays.
    for (const int delta : {300, -200, 1 << 30, INT32_MAX, INT32_MIN})
        EXPECT_EQ(Api::RGBChangeWavelength(0x00FF00u, delta), colour_of(523)) << delta;
    const uint32_t violet = of_hue(252), almost = of_hue(251), red = of_hue(254);
    ASSERT_EQ(Api::RGBToWavelength(violet), 400u);
    ASSERT_EQ(Api::RGBToWavelength(almost), 401u);
    ASSERT_EQ(Api::RGBToWavelength(red), 630u);
    EXPECT_EQ(Api::RGBChangeWavelength(violet, 1), colour_of(400));  // not in range
    EXPECT_EQ(Api::RGBChangeWavelength(almost, 1), colour_of(402));
    EXPECT_EQ(Api::RGBChangeWavelength(almost, -1), colour_of(400));
    EXPECT_EQ(Api::RGBChangeWavelength(almost, -21), colour_of(380));
    EXPECT_EQ(Api::RGBChangeWavelength(almost, -22), colour_of(401));
    EXPECT_EQ(Api::RGBChangeWavelength(red, 100), colour_of(730));
    Random random(5);
    for (int n = 0; n < 20000; ++n) {
        const uint32_t colour = random.any();
        const int delta = static_cast<int>(random(0, 600)) - 300;
        ASSERT_EQ(Api::RGBChangeWavelength(colour, delta),
                  stepped(Api::RGBToWavelength(colour), delta, in_range));
    }
}

TEST(RGBChangeWavelength, OfAWavelengthStepsBetween400And645) {
    const auto in_range = [](double w) { return w > 400.0 && w < 645.0; };
    EXPECT_EQ(Api::RGBChangeWavelength(500.0, 1), colour_of(501));
    EXPECT_EQ(Api::RGBChangeWavelength(400.0, 1), colour_of(400));
    EXPECT_EQ(Api::RGBChangeWavelength(400.001, 1), colour_of(401.001));
    EXPECT_EQ(Api::RGBChangeWavelength(645.0, 1), colour_of(645));
    EXPECT_EQ(Api::RGBChangeWavelength(644.999, 1), colour_of(645.999));
    EXPECT_EQ(Api::RGBChangeWavelength(700.0, 1), colour_of(700));
    EXPECT_EQ(Api::RGBChangeWavelength(500.0, 400), colour_of(500));
    EXPECT_EQ(Api::RGBChangeWavelength(500.0, 0), colour_of(500));
    for (const double none : {379.9, 780.1, 0.0, std::nan("")})
        EXPECT_EQ(Api::RGBChangeWavelength(none, 5), 0u);
    Random random(6);
    for (int n = 0; n < 20000; ++n) {
        const double w = random(350000, 800000) / 1000.0;
        const int delta = static_cast<int>(random(0, 600)) - 300;
        ASSERT_EQ(Api::RGBChangeWavelength(w, delta), stepped(w, delta, in_range)) << w;
    }
}

// ----- Arc cosines -------------------------------------------------------------------------------

TEST(AcosLUTs, AreArcCosines) {
    for (int i = 0; i <= 10000; ++i) ASSERT_EQ(g_AcosLUTs[i], arc_cosine(i)) << i;
    EXPECT_EQ(g_AcosLUTs[0], 3.141592653589793);
    EXPECT_EQ(g_AcosLUTs[10000], 0.0);
    EXPECT_NEAR(g_AcosLUTs[5000], 1.5707963267948966, 1e-15);
}

// What a program makes before main may convert already.
const uint32_t hue_before_main = hsi_of(0x00FF00).h;
const double pi_before_main = g_AcosLUTs[0];
TEST(AcosLUTs, AreReadyBeforeGlobalObjects) {
    EXPECT_EQ(hue_before_main, 85u);
    EXPECT_EQ(pi_before_main, 3.141592653589793);
}

// ----- Single pixels -----------------------------------------------------------------------------

using Bytes = std::vector<uint8_t>;

template <class Call>
Bytes stored(Call call, uint32_t count, uint32_t bpc, int code = QM_OK) {
    const uint32_t values[] = {0x11223344, 0x55667788, 0x99AABBCC, 0xDDEEFF01};
    Bytes memory(12, 0x77);
    EXPECT_EQ(call(memory.data() + 1, values, count, bpc), code);  // an odd address
    return memory;
}

TEST(ConvertComponentsToPixel, StoresBytesForExactly8Bits) {
    const auto call = Api::ConvertComponentsToPixel;
    const Bytes one{0x77, 0x44, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77};
    EXPECT_EQ(stored(call, 1, 8), one);
    const Bytes three{0x77, 0x44, 0x88, 0xCC, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77};
    EXPECT_EQ(stored(call, 3, 8), three);
    const Bytes four{0x77, 0x44, 0x88, 0xCC, 0x01, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77};
    EXPECT_EQ(stored(call, 4, 8), four);
}

TEST(ConvertComponentsToPixel, Stores16BitsForAllOthersUpTo16) {
    const auto call = Api::ConvertComponentsToPixel;
    for (const uint32_t bpc : {0u, 1u, 7u, 9u, 12u, 15u, 16u}) {
        const Bytes one{0x77, 0x44, 0x33, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77};
        EXPECT_EQ(stored(call, 1, bpc), one) << bpc;
        const Bytes four{0x77, 0x44, 0x33, 0x88, 0x77, 0xCC, 0xBB, 0x01, 0xFF, 0x77, 0x77, 0x77};
        EXPECT_EQ(stored(call, 4, bpc), four) << bpc;
    }
}

TEST(ConvertComponentsToPixel, RefusesOtherCountsAndGreaterDepths) {
    const Bytes untouched(12, 0x77);
    for (const auto call : {Api::ConvertComponentsToPixel, Api::ConvertComponentsToPixelRGB}) {
        for (const uint32_t count : {0u, 2u, 5u, 192u})
            for (const uint32_t bpc : {7u, 8u, 16u})
                EXPECT_EQ(stored(call, count, bpc, QM_NO_KERNEL), untouched);
        for (const uint32_t count : {1u, 3u, 4u})
            for (const uint32_t bpc : {17u, 32u, 0xFFFFFFFFu})
                EXPECT_EQ(stored(call, count, bpc, QM_NO_KERNEL), untouched);
    }
}

TEST(ConvertComponentsToPixelRGB, ReversesThreeAndFour) {
    const auto call = Api::ConvertComponentsToPixelRGB;
    EXPECT_EQ(stored(call, 1, 8), stored(Api::ConvertComponentsToPixel, 1, 8));
    const Bytes three{0x77, 0xCC, 0x88, 0x44, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77};
    EXPECT_EQ(stored(call, 3, 8), three);
    const Bytes four{0x77, 0x01, 0xCC, 0x88, 0x44, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77};
    EXPECT_EQ(stored(call, 4, 8), four);
    const Bytes words{0x77, 0xCC, 0xBB, 0x88, 0x77, 0x44, 0x33, 0x77, 0x77, 0x77, 0x77, 0x77};
    EXPECT_EQ(stored(call, 3, 12), words);
}

template <class Call>
std::vector<uint32_t> loaded(Call call, uint32_t count, uint32_t bpc, int code = QM_OK) {
    const uint8_t memory[] = {0xFF, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    std::vector<uint32_t> values(6, 0xDEADBEEF);
    EXPECT_EQ(call(values.data(), memory + 1, count, bpc), code);
    EXPECT_EQ(values[5], 0xDEADBEEFu);
    values.resize(code == QM_OK ? count : 5);
    return values;
}
using Values = std::vector<uint32_t>;

TEST(ConvertPixelToComponents, LoadsAnyCount) {
    const auto call = Api::ConvertPixelToComponents;
    EXPECT_EQ(loaded(call, 0, 8), Values{});
    EXPECT_EQ(loaded(call, 1, 8), (Values{1}));
    EXPECT_EQ(loaded(call, 2, 8), (Values{1, 2}));
    EXPECT_EQ(loaded(call, 3, 8), (Values{1, 2, 3}));
    EXPECT_EQ(loaded(call, 5, 8), (Values{1, 2, 3, 4, 5}));
    for (const uint32_t bpc : {0u, 7u, 9u, 16u}) {
        EXPECT_EQ(loaded(call, 1, bpc), (Values{0x0201}));
        EXPECT_EQ(loaded(call, 3, bpc), (Values{0x0201, 0x0403, 0x0605}));
        EXPECT_EQ(loaded(call, 4, bpc), (Values{0x0201, 0x0403, 0x0605, 0x0807}));
    }
}

TEST(ConvertPixelToComponentsRGB, ReversesThreeAlone) {
    const auto call = Api::ConvertPixelToComponentsRGB;
    EXPECT_EQ(loaded(call, 1, 8), (Values{1}));
    EXPECT_EQ(loaded(call, 2, 8), (Values{1, 2}));
    EXPECT_EQ(loaded(call, 3, 8), (Values{3, 2, 1}));
    EXPECT_EQ(loaded(call, 3, 16), (Values{0x0605, 0x0403, 0x0201}));
    EXPECT_EQ(loaded(call, 4, 8), (Values{1, 2, 3, 4}));
    EXPECT_EQ(loaded(call, 5, 12), (Values{0x0201, 0x0403, 0x0605, 0x0807, 0x0A09}));
}

TEST(ConvertPixelToComponents, RefusesGreaterDepths) {
    const Values untouched(5, 0xDEADBEEF);
    for (const auto call : {Api::ConvertPixelToComponents, Api::ConvertPixelToComponentsRGB})
        for (const uint32_t count : {0u, 1u, 3u, 5u})
            for (const uint32_t bpc : {17u, 32u})
                EXPECT_EQ(loaded(call, count, bpc, QM_NO_KERNEL), untouched);
}

}  // namespace
}  // namespace qmpic::test
