#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <numeric>
#include <vector>

#include "analysis/fret_reference.h"
#include "lut/predefined_lists.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/status.h"
#include "support/failing_alloc.h"
#include "support/regions.h"

// Worked numbers of energy transfer, and what is odd about it.

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;
using Bytes = std::vector<uint8_t>;
using Shorts = std::vector<uint16_t>;
using Floats = std::vector<float>;

/// 256 colours of which each says its own row: (row, 255 - row, row / 2).
struct RowsThatTell {
    std::vector<std::array<uint8_t, 3>> cells;
    std::vector<const void*> rows;
    SQmLut set;
    RowsThatTell() : cells(256), rows(256) {
        for (size_t k = 0; k < 256; ++k) {
            cells[k] = {static_cast<uint8_t>(k), static_cast<uint8_t>(255 - k),
                        static_cast<uint8_t>(k / 2)};
            rows[k] = cells[k].data();
        }
        set.pLuts = rows.data();
    }
    ~RowsThatTell() { set.pLuts = nullptr; }
    RowsThatTell(const RowsThatTell&) = delete;
    RowsThatTell& operator=(const RowsThatTell&) = delete;
};
Bytes told(const Bytes& rows) {
    Bytes cells;
    for (const uint8_t row : rows)
        for (const int cell : {int{row}, 255 - row, row / 2})
            cells.push_back(static_cast<uint8_t>(cell));
    return cells;
}
/// All rows are the same colour: then what is drawn tells the shade alone.
struct OneColour {
    std::array<uint8_t, 3> cells;
    std::vector<const void*> rows;
    SQmLut set;
    explicit OneColour(uint8_t value) : cells{value, value, value}, rows(256, cells.data()) {
        set.pLuts = rows.data();
    }
    ~OneColour() { set.pLuts = nullptr; }
    OneColour(const OneColour&) = delete;
    OneColour& operator=(const OneColour&) = delete;
};

struct Settings {
    std::array<int, 3> index{0, 1, 2};
    std::array<short, 3> background{0, 0, 0};
    Bleeds bleeds{0, 0, 0, 0};
    const SQmLut* lut = nullptr;
    float min = 0, max = 255;
    double least = 0, greatest = 100;
    bool is_float = false, to16 = false;
    int fourth = 3;
    short fourth_background = 0;
    uint32_t components = 3;
};

template <class S>
uint32_t pixels_of(const std::vector<S>& picture, const Settings& s) {
    return static_cast<uint32_t>(picture.size() / s.components);
}
template <class S>
uint32_t depth_of() {
    return sizeof(S) == 1 ? 8 : sizeof(S) == 2 ? 16 : 32;
}

template <class Cell = uint8_t, class S>
std::vector<Cell> image(const std::vector<S>& picture, const Settings& s) {
    const uint32_t n = pixels_of(picture, s);
    std::vector<Cell> d(3 * n, Cell{0xA5});
    EXPECT_EQ(Api::FRETImage(d.data(), 0, picture.data(), s.components, depth_of<S>(), 0, n, n,
                             s.index[0], s.index[1], s.index[2], s.fourth, s.background[0],
                             s.background[1], s.background[2], s.fourth_background, s.bleeds[0],
                             s.bleeds[1], s.bleeds[2], s.bleeds[3], s.lut, s.is_float, s.min, s.max,
                             s.to16),
              QM_OK);
    return d;
}
template <class Cell, class S>
std::vector<Cell> mono(const std::vector<S>& picture, uint32_t bpc, const Settings& s) {
    const uint32_t n = pixels_of(picture, s);
    std::vector<Cell> d(n, Cell{0xA5});
    EXPECT_EQ(Api::FRETImageMono(d.data(), 0, picture.data(), s.components, bpc, 0, n, n,
                                 s.index[0], s.index[1], s.index[2], s.fourth, s.background[0],
                                 s.background[1], s.background[2], s.fourth_background, s.bleeds[0],
                                 s.bleeds[1], s.bleeds[2], s.bleeds[3], s.is_float, s.min, s.max),
              QM_OK);
    return d;
}
template <class S>
Bytes efficiency(const std::vector<S>& picture, const Settings& s) {
    const uint32_t n = pixels_of(picture, s);
    Bytes d(3 * size_t{n}, 0xA5);
    EXPECT_EQ(Api::FRET_EffImage(d.data(), 0, picture.data(), s.components, depth_of<S>(), 0, n, n,
                                 s.index[0], s.index[1], s.index[2], s.fourth, s.background[0],
                                 s.background[1], s.background[2], s.fourth_background, s.bleeds[0],
                                 s.bleeds[1], s.bleeds[2], s.bleeds[3], s.least, s.greatest, s.lut,
                                 s.is_float, s.min, s.max),
              QM_OK);
    return d;
}
struct Bleach {
    int component = 0;
    double least = 0, greatest = 100;
    short pre_background = 0, post_background = 0, pre_reference = 0, post_reference = 0;
};
template <class S>
Bytes bleached(const std::vector<S>& post, const std::vector<S>& pre, const Bleach& b) {
    const auto n = static_cast<uint32_t>(post.size());
    Bytes d(3 * size_t{n}, 0xA5);
    EXPECT_EQ(
        Api::FRET_PhotoBleachEffImage(d.data(), 0, post.data(), pre.data(), 1, depth_of<S>(), 0, n,
                                      n, b.component, b.least, b.greatest, b.pre_background,
                                      b.post_background, b.pre_reference, b.post_reference),
        QM_OK);
    return d;
}

Bytes first_pixel(const Bytes& d) { return {d.begin(), d.begin() + 3}; }
Bytes rainbow_bytes(uint32_t row, uint32_t shade = 1, uint32_t divisor = 1) {
    Bytes bytes;
    for (const uint32_t cell : rainbow(row))
        bytes.push_back(static_cast<uint8_t>(cell * shade / divisor));
    return bytes;
}

// ----- Signal

TEST(Fret, TakesTheLightOfDonorAndAcceptorOff) {
    Settings s;
    s.bleeds = {0.5, 0.25, 0, 0};
    EXPECT_EQ(mono<uint8_t>(Bytes{100, 50, 20}, 8, s), Bytes{70});  // 100 - 20 / 4 - 50 / 2
    s.bleeds = {0.5, 0.25, 0.2, 0};
    EXPECT_EQ(mono<uint8_t>(Bytes{100, 50, 20}, 8, s), Bytes{72});  // 100 - 10 / 4 - 25, cut
    s.bleeds = {0.5, 0.25, 0, 1};
    EXPECT_EQ(mono<uint8_t>(Bytes{100, 50, 20}, 8, s), Bytes{80});  // 100 - 5 - 30 / 2
}

TEST(Fret, TakesTheAcceptorOffBeforeTheDonor) {
    Settings s;
    s.bleeds = {1e20, -1e20, 0, 0};  // 1 + 1e20 - 1e20 is 0, 1 - 1e20 + 1e20 too, but not 0 + 1
    EXPECT_EQ(mono<uint8_t>(Bytes{1, 1, 1}, 8, s), Bytes{0});
    s.bleeds = {std::numeric_limits<double>::max(), -std::numeric_limits<double>::max(), 0, 0};
    EXPECT_EQ(mono<uint8_t>(Bytes{0, 2, 1}, 8, s), Bytes{0});
    EXPECT_EQ(mono<uint8_t>(Bytes{0, 1, 2}, 8, s), Bytes{255});  // infinite before the donor
}

TEST(Fret, ShowsARangeInAllColours) {
    const RowsThatTell table;
    Settings s;
    s.lut = &table.set;
    s.min = 100, s.max = 151;  // five rows a step
    EXPECT_EQ(image(Bytes{99, 0, 0, 100, 0, 0, 101, 0, 0, 150, 0, 0, 151, 0, 0, 255, 0, 0}, s),
              told({0, 0, 5, 250, 255, 255}));
}

TEST(Fret, HasOneRowAStepWhenTheRangeIsEmptyOrTurnedRound) {
    const RowsThatTell table;
    Settings s;
    s.lut = &table.set;
    s.min = s.max = 10;
    EXPECT_EQ(image(Bytes{70, 0, 0}, s), told({60}));
    s.max = 5;
    EXPECT_EQ(image(Bytes{70, 0, 0}, s), told({60}));
    s.max = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(image(Bytes{70, 0, 0}, s), told({60}));
}

TEST(Fret, MakesTheScaleInSinglePrecision) {
    const RowsThatTell table;
    Settings s;
    s.lut = &table.set;
    s.min = 0, s.max = 330;  // 66 are 51 rows, but 255 / 330 is a little too small as a float
    ASSERT_LT(66.0 * static_cast<double>(255.0f / 330.0f), 51.0);
    EXPECT_EQ(image(Shorts{66, 0, 0}, s), told({50}));
}

TEST(Fret, CutsWhereDoublesDoAndNotFloats) {
    const RowsThatTell table;
    Settings s;
    s.lut = &table.set;
    int unlike_floats = 0;
    for (const double bleed : {0.1, 0.3, 0.7}) {  // so that many signals are whole but for a bit
        s.bleeds = {bleed, 0, 0, 0};
        Bytes bytes, rows;
        Shorts words;
        for (int fret = 0; fret < 256; ++fret)
            for (int donor = 0; donor < 256; ++donor) {
                for (const int sample : {fret, donor, 0}) {
                    bytes.push_back(static_cast<uint8_t>(sample));
                    words.push_back(static_cast<uint16_t>(sample));
                }
                const double signal = std::max(fret - donor * bleed, 0.0);
                const float rough =
                    std::max(static_cast<float>(fret) -
                                 static_cast<float>(donor) * static_cast<float>(bleed),
                             0.0f);
                unlike_floats += static_cast<int>(rough) != static_cast<int>(signal);
                rows.push_back(static_cast<uint8_t>(signal));
            }
        EXPECT_EQ(image(bytes, s), told(rows));
        EXPECT_EQ(image<uint8_t>(words, s), told(rows));
    }
    EXPECT_GT(unlike_floats, 0);
}

TEST(Fret, TakesAbsentChannelsForZero) {
    const RowsThatTell table;
    Settings s;
    s.lut = &table.set;
    s.bleeds = {1, 1, 0, 0};
    const Bytes picture{200, 30, 20};
    EXPECT_EQ(image(picture, s), told({150}));
    s.index = {0, -1, 2};
    EXPECT_EQ(image(picture, s), told({180}));
    s.index = {0, 1, -7};
    EXPECT_EQ(image(picture, s), told({170}));
    s.index = {-1, -1, -1};
    s.background = {5, 5, 5};
    EXPECT_EQ(image(picture, s), told({0}));
    EXPECT_EQ(mono<uint8_t>(picture, 8, s), Bytes{0});  // and not 5 + 5 - 5
}

TEST(Fret, ShowsNoChannelAsTheFirstRowUnlessTheRangeBeginsBelowZero) {
    const RowsThatTell table;
    Settings s;
    s.lut = &table.set;
    s.index = {-1, -1, -1};
    for (const float min : {0.0f, 3.0f}) {
        s.min = min;
        EXPECT_EQ(image(Bytes{200, 30, 20}, s), told({0}));
    }
    s.min = -51, s.max = 204;
    EXPECT_EQ(image(Bytes{200, 30, 20}, s), told({51}));
}

TEST(Fret, NeverReadsTheFourthChannel) {
    Settings s;
    const Bytes picture{200, 30, 20};
    const auto before = image(picture, s);
    s.fourth = 1'000'000'000;
    s.fourth_background = 77;
    EXPECT_EQ(image(picture, s), before);
    EXPECT_EQ(mono<uint8_t>(picture, 8, s), Bytes{200});
    efficiency(picture, s);
}

TEST(Fret, TakesWhatIsNoNumberForZero) {
    const RowsThatTell table;
    Settings s;
    s.lut = &table.set;
    s.bleeds = {std::numeric_limits<double>::quiet_NaN(), 0, 0, 0};
    EXPECT_EQ(image(Bytes{200, 30, 20}, s), told({0}));
    EXPECT_EQ(mono<uint8_t>(Bytes{200, 30, 20}, 8, s), Bytes{0});
    EXPECT_EQ(efficiency(Bytes{200, 30, 20, 0, 0, 0}, s), Bytes({0, 30, 0, 0, 0, 0}));
    s.bleeds = {0, 0, 0, 0};
    s.is_float = true;
    EXPECT_EQ(image(Floats{std::numeric_limits<float>::quiet_NaN(), 0, 0}, s), told({0}));
}

// ----- Backgrounds, which reach differently far

TEST(FretBackgrounds, AreTheLowByteOfBytesAndFloats) {
    const RowsThatTell table;
    Settings s;
    s.lut = &table.set;
    s.background = {300, 0, 0};  // 44
    EXPECT_EQ(image(Bytes{100, 0, 0}, s), told({56}));
    s.is_float = true;
    EXPECT_EQ(image(Floats{100, 0, 0}, s), told({56}));
    s.background = {-1, 0, 0};  // 255
    EXPECT_EQ(image(Floats{300, 0, 0}, s), told({45}));
    s.is_float = false;
    EXPECT_EQ(image(Bytes{255, 0, 0}, s), told({0}));
}

TEST(FretBackgrounds, AreSixteenBitsWithoutASignOfWords) {
    const RowsThatTell table;
    Settings s;
    s.lut = &table.set;
    s.background = {300, 0, 0};
    EXPECT_EQ(image(Shorts{400, 0, 0}, s), told({100}));
    s.background = {-2, 0, 0};  // 65534
    EXPECT_EQ(image(Shorts{65535, 0, 0}, s), told({1}));
    EXPECT_EQ(image(Shorts{40000, 0, 0}, s), told({0}));
}

TEST(FretBackgrounds, HaveASignInPicturesOfOneComponent) {
    Settings s;
    s.background = {-5, 0, 0};
    EXPECT_EQ(mono<uint8_t>(Bytes{100, 0, 0}, 8, s), Bytes{105});
    EXPECT_EQ(mono<uint16_t>(Shorts{100, 0, 0}, 16, s), Shorts{105});
    EXPECT_EQ(mono<uint32_t>(std::vector<uint32_t>{100, 0, 0}, 24, s), std::vector<uint32_t>{105});
    s.is_float = true;
    EXPECT_EQ(mono<uint8_t>(Floats{100, 0, 0}, 32, s), Bytes{105});
}

TEST(FretBackgrounds, LeaveNegativeChannelsInPicturesOfOneComponent) {
    Settings s;
    s.background = {0, 50, 0};
    s.bleeds = {1, 0, 0, 0};
    EXPECT_EQ(mono<uint8_t>(Bytes{100, 20, 0}, 8, s), Bytes{130});  // 100 - (20 - 50)
    const RowsThatTell table;
    s.lut = &table.set;
    EXPECT_EQ(image(Bytes{100, 20, 0}, s), told({100}));
}

TEST(FretBackgrounds, AreTheLowByteOfBytesInTheEfficiency) {
    const OneColour white(255);
    Settings s;
    s.lut = &white.set;
    s.background = {0, 300, 0};  // 44
    EXPECT_EQ(efficiency(Bytes{0, 144, 0, 0, 44, 0}, s), Bytes({100, 100, 100, 0, 0, 0}));
}

TEST(FretBackgrounds, HaveASignInTheEfficiencyOfFloats) {
    const OneColour white(255);
    Settings s;
    s.lut = &white.set;
    s.is_float = true;
    s.min = 0, s.max = 255;
    s.background = {0, -6, 0};
    EXPECT_EQ(first_pixel(efficiency(Floats{0, 94, 0, 0, -6, 0}, s)), Bytes(3, 100));
    s.background = {0, 300, 0};
    EXPECT_EQ(first_pixel(efficiency(Floats{0, 400, 0, 0, 300, 0}, s)), Bytes(3, 100));
}

// ----- Colours

TEST(FretColours, AreThoseOfPredefinedTableOneByDefault) {
    make_predef_luts();
    Bytes picture;
    for (uint32_t v = 0; v < 256; ++v)
        picture.insert(picture.end(), {static_cast<uint8_t>(v), 0, 0});
    Bytes expected;
    for (uint32_t v = 0; v < 256; ++v)
        for (const uint32_t cell : predefined(v)) expected.push_back(static_cast<uint8_t>(cell));
    Settings s;
    EXPECT_EQ(image(picture, s), expected);
    const SQmLut empty;  // a set without tables is none
    s.lut = &empty;
    EXPECT_EQ(image(picture, s), expected);
    const Shorts words(picture.begin(), picture.end());
    EXPECT_EQ(image(words, s), expected);
    s.to16 = true;
    EXPECT_EQ(image<uint16_t>(words, s), Shorts(expected.begin(), expected.end()));
}

TEST(FretColours, MakeTheListsOfTablesWhenTheyAreMissing) {
    const Bytes before = [] {
        make_predef_luts();
        return image(Bytes{200, 30, 20}, {});
    }();
    const NoPredefLuts none;
    ASSERT_EQ(SQmLut::vecPredefLuts, nullptr);
    EXPECT_EQ(image(Bytes{200, 30, 20}, {}), before);
    EXPECT_NE(SQmLut::vecPredefLuts, nullptr);
}

TEST(FretColours, DoNotNeedTheListsWhenATableIsGivenOrForTheEfficiency) {
    const RowsThatTell table;
    const NoPredefLuts none;
    Settings s;
    efficiency(Bytes{200, 30, 20}, s);
    s.lut = &table.set;
    image(Bytes{200, 30, 20}, s);
    s.lut = nullptr;
    s.is_float = true;
    image(Floats{200, 30, 20}, s);
    EXPECT_EQ(SQmLut::vecPredefLuts, nullptr);
}

TEST(FretColours, AreWrittenAsBytesIntoWords) {
    const RowsThatTell table;
    Settings s;
    s.lut = &table.set;
    s.to16 = true;
    EXPECT_EQ(image<uint16_t>(Shorts{255, 0, 0, 3, 0, 0}, s), Shorts({255, 0, 127, 3, 252, 1}));
    EXPECT_EQ(image(Bytes{3, 0, 0}, s), told({3}));  // of bytes it says nothing
}

TEST(FretColours, OfFloatsWithoutATableAreGreyWithoutARange) {
    Settings s;
    s.is_float = true;
    s.min = 100, s.max = 110;
    EXPECT_EQ(image(Floats{41.9f, 0, 0, 255, 0, 0, 1e9f, 0, 0, -3, 0, 0}, s),
              Bytes({41, 41, 41, 255, 255, 255, 255, 255, 255, 0, 0, 0}));
    const RowsThatTell table;
    s.lut = &table.set;
    EXPECT_EQ(image(Floats{104, 0, 0}, s), told({102}));
}

TEST(FretColours, OfFloatsHaveAStrideInBytes) {
    const RowsThatTell table;
    const Floats picture{10, 99, 99, 20};  // a row of one pixel, and 8 bytes to the next
    Bytes d(6);
    EXPECT_EQ(fret_float(d.data(), 3, picture.data(), 1, 12, 1, 2, 0, -1, -1, -1, 0, 0, 0, 0, 0, 0,
                         0, 0, table.rows.data(), 0, 255),
              QM_OK);
    EXPECT_EQ(d, told({10, 20}));
}

// ----- Pictures of one component

TEST(FretMono, LimitsToTheDepthAndIgnoresTheRange) {
    Settings s;
    s.min = 500, s.max = 1;
    EXPECT_EQ(mono<uint16_t>(Shorts{5000, 0, 0, 4000, 0, 0}, 12, s), Shorts({4095, 4000}));
    s.bleeds = {1, 0, 0, 0};
    EXPECT_EQ(mono<uint16_t>(Shorts{5, 9, 0}, 12, s), Shorts{0});
}

TEST(FretMono, TakesDepthsBelowEightForWords) {
    EXPECT_EQ(mono<uint16_t>(Shorts{300, 0, 0, 100, 0, 0}, 7, {}), Shorts({127, 100}));
    EXPECT_EQ(mono<uint16_t>(Shorts{300, 0, 0}, 1, {}), Shorts{1});
    EXPECT_EQ(mono<uint16_t>(Shorts{300, 0, 0}, 0, {}), Shorts{0});
}

TEST(FretMono, IsBlackAtThirtyTwoBits) {
    using Words = std::vector<uint32_t>;
    EXPECT_EQ(mono<uint32_t>(Words{0xFFFFFFFF, 0, 0, 5, 0, 0}, 32, {}), Words({0, 0}));
    EXPECT_EQ(mono<uint32_t>(Words{0xFFFFFFFF, 0, 0, 5, 0, 0}, 31, {}), Words({2147483647, 5}));
    Settings s;
    s.background = {-32768, 0, 0};
    EXPECT_EQ(mono<uint32_t>(Words{2147483640, 0, 0}, 31, s), Words{2147483647});  // no wrap
    EXPECT_EQ(mono<uint32_t>(Words{0x20000, 0, 0}, 17, s), Words{131071});
}

TEST(FretMono, OfFloatsKeepsTheLowByteBelowTheLimit) {
    Settings s;
    s.is_float = true;
    s.max = 1000, s.min = 900;
    EXPECT_EQ(mono<uint8_t>(Floats{700, 0, 0, 2000, 0, 0, -5, 0, 0}, 32, s),
              Bytes({188, 232, 0}));  // 700 - 512, 1000 - 768
    s.max = 255;
    EXPECT_EQ(mono<uint8_t>(Floats{700, 0, 0}, 32, s), Bytes{255});
    s.max = -1;
    EXPECT_EQ(mono<uint8_t>(Floats{700, 0, 0}, 32, s), Bytes{255});  // the low byte of -1
    s.max = 1e10f;
    EXPECT_EQ(mono<uint8_t>(Floats{2e9f, 0, 0, 0, -2e9f, 0}, 32, s), Bytes({0, 0}));
}

TEST(FretMono, OfFloatsIsCutBeforeTheBackgroundIsTaken) {
    Settings s;
    s.is_float = true;
    s.bleeds = {-1, 0, 0, 0};
    EXPECT_EQ(mono<uint8_t>(Floats{2.9f, 2.9f, 0}, 32, s), Bytes{4});
    s.background = {1, 0, 0};
    EXPECT_EQ(mono<uint8_t>(Floats{0.9f, 8, 0}, 32, s), Bytes{7});  // 0 - 1 + 8
    s.background = {-1, 0, 0};  // what does not fit is -2^31, here and less 1
    EXPECT_EQ(mono<uint8_t>(Floats{1e20f, 0, 0}, 32, s), Bytes{0});
    s.background = {1, 0, 0};
    EXPECT_EQ(mono<uint8_t>(Floats{1e20f, 0, 0}, 32, s), Bytes{255});
}

TEST(FretMono, OfFloatsHasAStrideInFloats) {
    const Floats picture{10, 99, 99, 20, 99, 99};
    Bytes d(2);
    EXPECT_EQ(Api::FRETImageMono(d.data(), 1, picture.data(), 1, 8, 3, 1, 2, 0, -1, -1, -1, 0, 0, 0,
                                 0, 0, 0, 0, 0, true, 0, 255),
              QM_OK);
    EXPECT_EQ(d, Bytes({10, 20}));
}

// ----- Efficiency

/// The row that an efficiency leads to: its colour unshaded. The second pixel is dark, the first as
/// bright as the picture.
template <class S>
Bytes drawn(uint32_t signal, uint32_t donor, Settings s = {}) {
    const std::vector<S> picture{static_cast<S>(signal), static_cast<S>(donor), 0, 0, 0, 0};
    return first_pixel(efficiency(picture, s));
}

TEST(FretEfficiency, OfBytesAndOfWordsDiffersInTheLastBit) {
    EXPECT_EQ(drawn<uint8_t>(7, 15), rainbow_bytes(119));
    EXPECT_EQ(drawn<uint8_t>(7, 17), rainbow_bytes(104));
    // One hundred pixels, so that the brightest hundredth is one.
    const auto of_words = [](uint16_t signal, uint16_t donor) {
        Shorts picture(300, 0);
        picture[0] = signal, picture[1] = donor;
        return first_pixel(efficiency(picture, {}));
    };
    EXPECT_EQ(of_words(7, 15), rainbow_bytes(118));
    EXPECT_EQ(of_words(7, 17), rainbow_bytes(105));
    ASSERT_NE(rainbow_bytes(118), rainbow_bytes(119));
    ASSERT_NE(rainbow_bytes(104), rainbow_bytes(105));
}

TEST(FretEfficiency, OfFloatsIsThatOfBytes) {
    Settings s;
    s.is_float = true;
    s.min = s.max = 0;
    EXPECT_EQ(first_pixel(efficiency(Floats{7, 15, 0, 0, 0, 0}, s)), rainbow_bytes(119));
}

TEST(FretEfficiency, ReachesTheLastColourAtOneHundred) {
    EXPECT_EQ(drawn<uint8_t>(50, 50), rainbow_bytes(255));
    EXPECT_EQ(drawn<uint8_t>(250, 50), rainbow_bytes(255));
    EXPECT_EQ(drawn<uint8_t>(0, 50), rainbow_bytes(0));
}

TEST(FretEfficiency, IsStretched) {
    Settings s;
    s.least = 20, s.greatest = 70;
    EXPECT_EQ(drawn<uint8_t>(40, 100, s), rainbow_bytes(102));  // 40 % of the stretch
    EXPECT_EQ(drawn<uint8_t>(20, 100, s), rainbow_bytes(0));
    EXPECT_EQ(drawn<uint8_t>(10, 100, s), rainbow_bytes(0));
    EXPECT_EQ(drawn<uint8_t>(70, 100, s), rainbow_bytes(255));
    EXPECT_EQ(drawn<uint8_t>(90, 100, s), rainbow_bytes(255));
    for (const double greatest : {20.0, 10.0, std::numeric_limits<double>::quiet_NaN()}) {
        s.greatest = greatest;
        EXPECT_EQ(drawn<uint8_t>(40, 100, s), rainbow_bytes(102)) << greatest;  // as it is
        EXPECT_EQ(drawn<uint8_t>(10, 100, s), rainbow_bytes(25)) << greatest;
    }
}

TEST(FretEfficiency, OfNoDonorIsZeroBeforeItIsStretched) {
    // What shades is dark there, unless the picture is of floats, whose least value may be below.
    const RowsThatTell table;
    Settings s;
    s.lut = &table.set;
    s.is_float = true;
    s.min = -255, s.max = 255;
    s.least = -50, s.greatest = 50;
    EXPECT_EQ(efficiency(Floats{9, 0, 0}, s), told({127}));  // half of the stretch, unshaded
    s.least = 0;
    EXPECT_EQ(efficiency(Floats{9, 0, 0}, s), told({0}));
    // A donor of less than 1 is one.
    EXPECT_EQ(efficiency(Floats{0.125f, 0.5f, 0}, s), told({127}));
}

TEST(FretEfficiency, IsShadedByTheDonorFromItsLeastToItsGreatestValue) {
    const Bytes picture{0, 60, 0, 0, 110, 0, 0, 160, 0};
    // The colour of 0 is blue, (255, 0, 0).
    EXPECT_EQ(efficiency(picture, {}), Bytes({0, 0, 0, 127, 0, 0, 255, 0, 0}));
    Settings s;
    s.background = {0, 100, 0};  // 0, 10, 60
    EXPECT_EQ(efficiency(picture, s), Bytes({0, 0, 0, 42, 0, 0, 255, 0, 0}));
}

TEST(FretEfficiency, IsNotStretchedInBrightnessWithATable) {
    const OneColour white(255), half(128);
    Settings s;
    s.lut = &white.set;
    const Bytes picture{0, 60, 0, 0, 110, 0, 0, 160, 0};
    EXPECT_EQ(efficiency(picture, s), Bytes({0, 0, 0, 50, 50, 50, 100, 100, 100}));
    s.lut = &half.set;
    EXPECT_EQ(efficiency(picture, s), Bytes({0, 0, 0, 25, 25, 25, 50, 50, 50}));
}

TEST(FretEfficiency, OfAFlatDonorIsBlack) {
    EXPECT_EQ(efficiency(Bytes{9, 50, 0, 9, 50, 0}, {}), Bytes(6, 0));
    EXPECT_EQ(efficiency(Bytes{9, 0, 0, 9, 0, 0}, {}), Bytes(6, 0));
    EXPECT_EQ(efficiency(Bytes{9, 1, 0, 9, 1, 0}, {}), Bytes(6, 0));
}

TEST(FretEfficiency, ReadsTheShadeOfADonorThatIsAbsentWithoutATest) {
    const Bytes all{200, 100, 20, 40, 200, 60};  // the picture begins behind the first sample
    Bytes d(3);
    const OneColour white(255);
    const Bytes levels{10, 110, 0, 0};
    EXPECT_EQ(fret_eff_8(d.data(), 3, levels.data() + 1, 1, 1, 1, 1, 0, -1, -1, -1, 0, 0, 0, 0, 0,
                         0, 0, 0, 0, 100, white.rows.data()),
              QM_OK);
    EXPECT_EQ(d, Bytes(3, 0));  // alone it is the least
    Bytes two(6);
    const RowsThatTell table;
    EXPECT_EQ(fret_eff_8(two.data(), 6, all.data() + 1, 2, 4, 2, 2, 0, -1, -1, -1, 0, 0, 0, 0, 0, 0,
                         0, 0, 0, 100, table.rows.data()),
              QM_OK);
    // Shades are 200 - 20 and 20 - 20; E is that of no donor.
    EXPECT_EQ(two, Bytes({0, 180, 0, 0, 0, 0}));
}

// ----- Levels of words

Shorts with_donors(const Shorts& donors) {
    Shorts picture;
    for (const uint16_t donor : donors) picture.insert(picture.end(), {0, donor, 0});
    return picture;
}

TEST(FretLevels, EndAtTheGreatestWordBelowAHundredPixels) {
    Shorts donors(99, 1000);
    EXPECT_EQ(efficiency(with_donors(donors), {})[0], 1000 * 255 / 65535);
    donors.push_back(1000);  // a hundred: one of them is enough
    EXPECT_EQ(efficiency(with_donors(donors), {})[0], 255);
}

TEST(FretLevels, CountAnIncompleteRow) {
    const Shorts picture = with_donors(Shorts(99, 1000));
    Bytes d(300);
    EXPECT_EQ(fret_eff_16(d.data(), 0, picture.data(), 3, 0, 99, 100, 0, 1, 2, 3, 0, 0, 0, 0, 0, 0,
                          0, 0, 0, 100, nullptr),
              QM_OK);
    EXPECT_EQ(d[0], 255);
}

TEST(FretLevels, EndWhereTheBrightestHundredthBegins) {
    Shorts donors(400, 100);
    donors[0] = 60000, donors[1] = 50000, donors[2] = 40000, donors[3] = 3000;
    donors[4] = 600;
    const Bytes d = efficiency(with_donors(donors), {});  // H is 3000, the fourth from above
    EXPECT_EQ(d[0], 255);
    EXPECT_EQ(d[3 * 3], 255);
    EXPECT_EQ(d[3 * 4], 51);
    EXPECT_EQ(d[3 * 5], 8);
    Settings s;
    s.background = {0, 100, 0};
    EXPECT_EQ(efficiency(with_donors(donors), s)[3 * 4], 500 * 255 / 2900);
    const OneColour white(255);
    s.lut = &white.set;  // H all the same, and not 255
    EXPECT_EQ(efficiency(with_donors(donors), s)[3 * 4], 500 * 255 / 2900);
}

TEST(FretLevels, TakeNothingOffBelow) {
    Shorts donors(200, 500);
    donors[0] = donors[1] = 1000;
    EXPECT_EQ(efficiency(with_donors(donors), {})[3 * 5], 127);
}

TEST(FretLevels, OfADarkPictureAreOneApart) {
    EXPECT_EQ(efficiency(with_donors(Shorts(200, 0)), {}), Bytes(600, 0));  // H 0, and then 1
    Shorts donors(200, 0);
    donors[0] = 7;  // above H, and so as bright as 1
    const OneColour grey(100);
    Settings s;
    s.lut = &grey.set;
    EXPECT_EQ(first_pixel(efficiency(with_donors(donors), s)), Bytes(3, 100));
    EXPECT_EQ(first_pixel(efficiency(with_donors(donors), {})), rainbow_bytes(0));
}

/// The donors of a picture, and what the first one becomes with a white table and without.
std::pair<uint32_t, uint32_t> shades_of(const Shorts& donors) {
    const OneColour white(255);
    Settings s;
    const uint32_t without = efficiency(with_donors(donors), s)[0];
    s.lut = &white.set;
    return {efficiency(with_donors(donors), s)[0], without};
}

TEST(FretLevels, LoseSixtyFiveThousandPixelsOfOneValue) {
    Shorts donors(65536, 30000);
    // No level: H 2, Lo all ones. The shade is the donor + 1, at most 2.
    EXPECT_EQ(shades_of(donors), std::pair(255u, 170u));
    donors.push_back(30000);  // one more counts 1, which is less than 655: still none
    EXPECT_EQ(shades_of(donors), std::pair(255u, 170u));
    donors.resize(65536 + 700, 30000);
    EXPECT_EQ(shades_of(donors), std::pair(255u, 255u));  // H is 30000 again
    donors.assign(65535, 30000);
    EXPECT_EQ(shades_of(donors), std::pair(255u, 255u));
}

TEST(FretLevels, GoOnWithTheirSumFromBelow) {
    // 400 of 65936 pixels are counted, which is less than 659; from below the sum goes on from 400
    // and gets there at bin 20, which is above H: H is 2, and H - Lo wraps.
    Shorts donors(65536, 30000);
    for (uint16_t i = 0; i < 400; ++i) donors.push_back(i < 200 ? 10 : 20);
    EXPECT_EQ(shades_of(donors), std::pair(255u, 0u));
    std::swap(donors[0], donors[65536]);  // 10, which is less than Lo
    EXPECT_EQ(shades_of(donors), std::pair(0u, 0u));
}

TEST(FretLevels, OfNoLevelGiveTheGreatestDonorNoShade) {
    Shorts donors(65536, 65535);
    EXPECT_EQ(shades_of(donors), std::pair(0u, 0u));  // 65536, whose low sixteen bits are 0
    donors.assign(65536, 0);
    EXPECT_EQ(shades_of(donors), std::pair(127u, 85u));  // 1 of 2, 1 of 3
}

// ----- Floats

TEST(FretFloatEfficiency, OnlyWidensTheRange) {
    Settings s;
    s.is_float = true;
    s.min = 0, s.max = 200;
    EXPECT_EQ(first_pixel(efficiency(Floats{0, 100, 0}, s)), Bytes({127, 0, 0}));
    s.max = 50;  // 100 is greater
    EXPECT_EQ(first_pixel(efficiency(Floats{0, 100, 0}, s)), Bytes({255, 0, 0}));
    s.min = -100;  // and -100 less
    s.max = 300;
    EXPECT_EQ(first_pixel(efficiency(Floats{0, 100, 0}, s)), Bytes({127, 0, 0}));
    s.min = 500;  // 100 is less, and takes all of the shade
    EXPECT_EQ(first_pixel(efficiency(Floats{0, 100, 0}, s)), Bytes({0, 0, 0}));
}

TEST(FretFloatEfficiency, DividesByTheGreatestWithATableAndByTheWidthWithout) {
    const OneColour white(255);
    Settings s;
    s.is_float = true;
    s.min = -100, s.max = 300;
    s.lut = &white.set;
    EXPECT_EQ(first_pixel(efficiency(Floats{0, 100, 0}, s)), Bytes(3, 170));  // 200 of 300
}

TEST(FretFloatEfficiency, CutsTheShadeAndKeepsLowBytes) {
    const OneColour white(255);
    Settings s;
    s.is_float = true;
    s.lut = &white.set;
    s.min = 0, s.max = 10;
    EXPECT_EQ(first_pixel(efficiency(Floats{0, 3.9f, 0}, s)), Bytes(3, 76));  // 3 of 10
    s.min = -10;  // the shade may be more than what it is divided by: 15 * 255 / 10 is 382
    EXPECT_EQ(first_pixel(efficiency(Floats{0, 5, 0}, s)), Bytes(3, 382 - 256));
    s.min = s.max = 0;  // 0 / 0
    EXPECT_EQ(first_pixel(efficiency(Floats{0, 0, 0}, s)), Bytes(3, 0));
    EXPECT_EQ(first_pixel(efficiency(Floats{0, 1e20f, 0}, s)), Bytes(3, 0));  // does not fit
}

// ----- Photobleaching

TEST(FretPhotobleach, IsWhatTheDonorGained) {
    const Bytes post{200, 0}, pre{150, 0};
    EXPECT_EQ(first_pixel(bleached(post, pre, {})), rainbow_bytes(63));  // 25 %
    Bleach b;
    b.least = 0, b.greatest = 50;
    EXPECT_EQ(first_pixel(bleached(post, pre, b)), rainbow_bytes(127));
    EXPECT_EQ(first_pixel(bleached(pre, post, {})), rainbow_bytes(0));  // less than 0
}

TEST(FretPhotobleach, OfWordsAndOfBytesDiffersInTheLastBit) {
    EXPECT_EQ(first_pixel(bleached(Bytes{15, 0}, Bytes{8, 0}, {})), rainbow_bytes(119));
    Shorts post(100, 0), pre(100, 0);
    post[0] = 15, pre[0] = 8;
    EXPECT_EQ(first_pixel(bleached(post, pre, {})), rainbow_bytes(118));
}

TEST(FretPhotobleach, TakesBackgroundsOfSixteenBits) {
    Bleach b;
    b.pre_background = 300;  // more than any byte: nothing was there before
    EXPECT_EQ(first_pixel(bleached(Bytes{200, 0}, Bytes{150, 0}, b)), rainbow_bytes(255));
    b = {};
    b.post_background = 300;
    EXPECT_EQ(bleached(Bytes{200, 0}, Bytes{150, 0}, b), Bytes(6, 0));
    b = {};
    b.pre_background = -1;  // 65535
    Shorts post(100, 0), pre(100, 65535);
    post[0] = 40000;
    EXPECT_EQ(first_pixel(bleached(post, pre, b)), rainbow_bytes(255));
}

TEST(FretPhotobleach, DividesByReferencesInWholeNumbers) {
    Bleach b;
    b.post_reference = 10, b.pre_reference = 20;
    // 200 / 10 is 20, 159 / 20 is 7: 65 %
    EXPECT_EQ(first_pixel(bleached(Bytes{200, 0}, Bytes{159, 0}, b)), rainbow_bytes(165));
    b.post_background = 5;  // 195 / 5 is 39
    EXPECT_EQ(first_pixel(bleached(Bytes{200, 5}, Bytes{159, 0}, b)),
              rainbow_bytes(209));  // 32 / 39
}

TEST(FretPhotobleach, LeavesReferencesOutThatAreZeroOrNotTwoAboveTheBackground) {
    Bleach b;
    b.post_background = 50, b.pre_background = 50;
    const Bytes post{150, 50}, pre{100, 50}, half = rainbow_bytes(127);
    for (const short reference : {short{0}, short{20}, short{50}, short{51}}) {
        b.post_reference = reference;
        EXPECT_EQ(first_pixel(bleached(post, pre, b)), half) << reference;
    }
    b.post_reference = 52;  // 100 / 2, which is no more than before
    EXPECT_EQ(first_pixel(bleached(post, pre, b)), rainbow_bytes(0));
    b.pre_reference = 52;
    EXPECT_EQ(first_pixel(bleached(post, pre, b)), half);
    b.post_reference = b.pre_reference = -1;  // 65535: nothing is left
    EXPECT_EQ(first_pixel(bleached(post, pre, b)), rainbow_bytes(0));
}

TEST(FretPhotobleach, OfNothingIsZero) {
    Bleach b;
    b.post_reference = 255;  // 254 / 255 is 0, but it shades
    b.least = -100;
    EXPECT_EQ(first_pixel(bleached(Bytes{254, 0}, Bytes{0, 0}, b)), rainbow_bytes(0));  // 0 / 0
    EXPECT_EQ(first_pixel(bleached(Bytes{254, 0}, Bytes{9, 0}, b)), rainbow_bytes(0));  // -9 / 0
}

TEST(FretPhotobleach, ReadsTheShadeOfAnAbsentComponentWithoutATest) {
    const Bytes post{100, 0, 7}, pre{0, 0, 0};
    Bytes d(6);
    EXPECT_EQ(fret_photobleach_eff_8(d.data(), 6, post.data() + 1, pre.data() + 1, 1, 2, 2, 2, -1,
                                     0, 100, 0, 0, 0, 0),
              QM_OK);
    EXPECT_EQ(d, Bytes({255, 0, 0, 0, 0, 0}));  // the sample before, and E of 0 / 0
}

TEST(FretPhotobleach, EndsAtTheLevelOfTheBrightestHundredthAfter) {
    Shorts post(200, 100), pre(200, 100);
    post[0] = post[1] = 1000;
    EXPECT_EQ(bleached(post, pre, {})[3 * 5], 25);  // blue, 100 of 1000
    EXPECT_EQ(bleached(pre, post, {})[3 * 5], 255);
}

// ----- What all have in common

TEST(Fret, WritesNothingWithoutAWholeRow) {
    const Bytes picture(30, 100);
    Bytes d(30, 7);
    const SQmLut* const none = nullptr;
    EXPECT_EQ(Api::FRETImage(d.data(), 30, picture.data(), 3, 8, 30, 10, 9, 0, 1, 2, 3, 0, 0, 0, 0,
                             0, 0, 0, 0, none, false, 0, 1, false),
              QM_OK);
    EXPECT_EQ(Api::FRETImageMono(d.data(), 30, picture.data(), 3, 8, 30, 10, 9, 0, 1, 2, 3, 0, 0, 0,
                                 0, 0, 0, 0, 0, false, 0, 1),
              QM_OK);
    for (const bool is_float : {false, true})
        for (const uint32_t bpc : {8u, 16u})
            EXPECT_EQ(Api::FRET_EffImage(d.data(), 30, picture.data(), 3, bpc, 30, 10, 9, 0, 1, 2,
                                         3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 100, none, is_float, 0, 1),
                      QM_OK);
    for (const uint32_t bpc : {8u, 16u})
        EXPECT_EQ(Api::FRET_PhotoBleachEffImage(d.data(), 30, picture.data(), picture.data(), 3,
                                                bpc, 30, 10, 9, 0, 0, 100, 0, 0, 0, 0),
                  QM_OK);
    EXPECT_EQ(fret_8(d.data(), 30, picture.data(), 3, 30, 0, 30, 0, 1, 2, 3, 0, 0, 0, 0, 0, 0, 0, 0,
                     nullptr, 0, 1),
              QM_OK);
    EXPECT_EQ(d, Bytes(30, 7));
}

TEST(Fret, DoesNothingWithoutAPictureOfBefore) {
    const Bytes post(30, 100);
    Bytes d(30, 7);
    EXPECT_EQ(Api::FRET_PhotoBleachEffImage(d.data(), 30, post.data(), nullptr, 3, 8, 30, 10, 10, 0,
                                            0, 100, 0, 0, 0, 0),
              QM_OK);
    EXPECT_EQ(d, Bytes(30, 7));
}

TEST(Fret, RunsInTheCallingThread) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "another runtime";
    const Shorts picture(3 * 300 * 300, 900);
    Bytes d(3 * 300 * 300);
    make_predef_luts();
    const WatchedRegions watched;
    const auto call = [&](bool is_float, uint32_t bpc) {
        Api::FRETImage(d.data(), 300, picture.data(), 1, bpc, 600, 300, 90000, 0, 0, 0, 3, 0, 0, 0,
                       0, 0, 0, 0, 0, nullptr, is_float, 0, 1, false);
        Api::FRETImageMono(d.data(), 600, picture.data(), 1, bpc, 600, 300, 90000, 0, 0, 0, 3, 0, 0,
                           0, 0, 0, 0, 0, 0, false, 0, 1);
        Api::FRET_EffImage(d.data(), 300, picture.data(), 1, bpc, 600, 300, 90000, 0, 0, 0, 3, 0, 0,
                           0, 0, 0, 0, 0, 0, 0, 100, nullptr, is_float, 0, 1);
        Api::FRET_PhotoBleachEffImage(d.data(), 300, picture.data(), picture.data(), 1, bpc, 600,
                                      300, 90000, 0, 0, 100, 0, 0, 0, 0);
    };
    call(false, 8);
    call(false, 16);
    EXPECT_EQ(watched.teams(), std::vector<uint32_t>{});
}

// All pairs of bytes by the quicker way and the exact one: their colours are the same.
TEST(Fret, FindsTheColourOfEveryRatioOfBytes) {
    const RowsThatTell table;
    for (const auto& [least, greatest] :
         {std::pair(0.0, 100.0), {0.0, 0.0}, {20.0, 70.0}, {-100.0, 100.0}, {33.0, 34.0}}) {
        Bytes picture;
        for (uint32_t f = 0; f < 256; ++f)
            for (uint32_t d = 0; d < 256; ++d)
                picture.insert(picture.end(),
                               {static_cast<uint8_t>(f), static_cast<uint8_t>(d), 0});
        Settings s;
        s.lut = &table.set;
        s.least = least, s.greatest = greatest;
        const Bytes drawn = efficiency(picture, s);
        uint32_t wrong = 0;
        for (uint32_t f = 0; f < 256; ++f)
            for (uint32_t d = 1; d < 256; ++d) {
                const uint32_t row =
                    row_of_efficiency(static_cast<double>(f) / d * 100.0, least, greatest, false);
                wrong += drawn[3 * (256 * f + d)] != row * d / 255;
            }
        EXPECT_EQ(wrong, 0u) << least << " to " << greatest;
    }
}

}  // namespace
}  // namespace qmpic::test
