#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "qmpic/Lut.h"
#include "qmpic/PicMemAPI_Base.h"
#include "render/tables.h"
#include "support/cases.h"
#include "support/levels.h"
#include "support/options.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;

constexpr Format kBytes{1, 8, 8}, kWords{1, 16, 16}, kColours{3, 8, 8};

/// A colour's channel for a cell: blue, green, red, which is in the low byte.
uint32_t channel(uint32_t color, uint32_t cell) { return color >> (16 - 8 * cell) & 0xFF; }

// ----- Tables ------------------------------------------------------------------------------------

/// Colours that depend on the transparency alone. All calls with tables in the generated tests have
/// these, so that it does not matter which call the library took its colours from.
uint8_t usual_colour(uint32_t transparency, uint32_t value, uint32_t cell) {
    return static_cast<uint8_t>((value * 167 + cell * 91 + transparency * 29) ^ (value >> 3));
}

/// A set of 256 colours.
class Colours {
  public:
    template <class Colour>
    explicit Colours(Colour colour) {
        for (uint32_t value = 0; value < 256; ++value) {
            for (uint32_t cell = 0; cell < 3; ++cell)
                cells_[3 * value + cell] = colour(value, cell);
            rows_[value] = &cells_[3 * value];
        }
    }
    static Colours usual(uint32_t transparency) {
        return Colours([=](uint32_t v, uint32_t c) { return usual_colour(transparency, v, c); });
    }
    static Colours constant(uint8_t cell) {
        return Colours([=](uint32_t, uint32_t) { return cell; });
    }
    Colours(const Colours&) = delete;
    Colours& operator=(const Colours&) = delete;

    const SQmLut* set() const { return &set_; }
    SQmLut* set() { return &set_; }

  private:
    std::array<uint8_t, 768> cells_{};
    std::array<const uint8_t*, 256> rows_{};
    HandMadeSet set_{rows_.data(), 8, 1, 8, 3};
};

/// While this lives a test may use colours of its own, at transparencies other than 2. The library
/// keeps the usual ones of 2 before and after.
class OwnColours {
  public:
    OwnColours() { keep_usual(); }
    ~OwnColours() { keep_usual(); }
    OwnColours(const OwnColours&) = delete;
    OwnColours& operator=(const OwnColours&) = delete;

  private:
    static void keep_usual() {
        for (const uint8_t transparency : {uint8_t{1}, uint8_t{2}}) {
            const Colours colours = Colours::usual(transparency);
            uint8_t d[3] = {}, value = 1;
            Api::BlendColorWithAnnotationEx(d, 3, &value, 1, 8, 1, 1, 1, 0, transparency,
                                            colours.set());
        }
    }
};

// ----- Random calls ------------------------------------------------------------------------------

/// A picture of three bytes, an overlay beside it, and what should become of them: the cells of the
/// overlay where it is, or nothing.
struct Laid {
    GuardedPicture& d;
    std::vector<uint64_t> expected = d.content();

    /// `opacity` 255ths of a colour.
    void blend(uint32_t x, uint32_t y, uint32_t cell, uint64_t over, uint32_t opacity) {
        uint64_t& old = expected.at((size_t{y} * d.size().width + x) * 3 + cell);
        old = (over * opacity + (255 - opacity) * old) / 255;
    }
};

void expect_left(Round round, const Laid& laid, const std::vector<uint8_t>& outside,
                 const std::string& what) {
    ASSERT_TRUE(laid.d.content() == laid.expected)
        << laid.d.size().width << " x " << laid.d.size().height << ": " << what;
    ASSERT_EQ(laid.d.outside(), outside);
    round.digest.add(laid.expected);
}

uint8_t draw_opacity(Random& random) {
    return static_cast<uint8_t>(random(0, 2) == 0 ? random.one_of({0u, 1u, 127u, 128u, 254u, 255u})
                                                  : random(0, 255));
}

/// Sizes of every kind: short rows, blocks of 512 pixels and their neighbours.
Size draw_size(Random& random) {
    Size size = random.size(3);
    if (random(0, 3) == 0)
        size.width = random.one_of({63u, 64u, 65u, 511u, 512u, 513u, 576u, 1030u});
    return size;
}

/// Most bits of a row, few of them, or stretches.
void draw_bits(GuardedPicture& mask, Random& random) {
    const uint32_t kind = random(0, 3);
    for (uint32_t y = 0; y < mask.size().height; ++y) {
        uint64_t stretch = 0;
        for (uint32_t i = 0; i < mask.samples(); ++i) {
            if (random(0, 7) == 0) stretch = random.one_of({0u, 0xFFu});
            if (kind == 0) continue;  // as they were drawn
            if (kind == 1) mask.set(i, y, random(0, 19) == 0 ? 1u << random(0, 7) : 0);
            if (kind == 2) mask.set(i, y, 0xFF ^ (random(0, 19) == 0 ? 1u << random(0, 7) : 0));
            if (kind == 3) mask.set(i, y, stretch);
        }
    }
}

void check_binary(Round round, Size size, uint32_t offset) {
    Random& random = round.random;
    GuardedPicture d(kColours, size, random);
    GuardedPicture mask(kBytes, {(offset + size.width + 7) / 8, size.height}, random);
    draw_bits(mask, random);
    const uint32_t color = random.any();
    const uint8_t alpha = draw_opacity(random);
    Laid laid{d};
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x)
            if ((mask.get((offset + x) / 8, y) >> (7 - (offset + x) % 8) & 1) != 0)
                for (uint32_t c = 0; c < 3; ++c) laid.blend(x, y, c, channel(color, c), alpha);
    const auto outside = d.outside();
    ASSERT_EQ(Api::BlendColorWithBinary(d.data(), d.stride(), mask.data(), offset, mask.stride(),
                                        size.width, size.height, color, alpha),
              QM_OK);
    expect_left(round, laid, outside, "offset " + std::to_string(offset));
}

void check_unpacked(Round round) {
    Random& random = round.random;
    const Format format = random(0, 1) ? kBytes : kWords;
    const uint32_t depth = format.bits == 8 ? 8 : random(9, 16);
    const Size size = draw_size(random);
    GuardedPicture d(kColours, size, random), mask(format, size, random);
    const uint32_t some = random.one_of({1u, 2u, 20u});
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x)
            if (random(0, some) != 0) mask.set(x, y, 0);
    const uint32_t color = random.any();
    const uint8_t alpha = draw_opacity(random);
    Laid laid{d};
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x)
            if (mask.get(x, y) != 0)
                for (uint32_t c = 0; c < 3; ++c) laid.blend(x, y, c, channel(color, c), alpha);
    const auto outside = d.outside();
    ASSERT_EQ(
        Api::BlendColorWithUnpackedBinary(d.data(), d.stride(), mask.data(), depth, mask.stride(),
                                          size.width, size.height, color, alpha),
        QM_OK);
    expect_left(round, laid, outside, "depth " + std::to_string(depth));
}

using AnnotationCall = int(void*, uint32_t, const void*, uint32_t, uint32_t, uint32_t, uint32_t,
                           unsigned char);

void check_annotation(AnnotationCall* call, Round round) {
    Random& random = round.random;
    const Size size = draw_size(random);
    GuardedPicture d(kColours, size, random), other(kColours, size, random);
    GuardedPicture& annotation = random(0, 7) == 0 ? d : other;
    const uint32_t key = random.any();
    const uint32_t visible = random.one_of({0u, 1u, 30u});
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            if (random(0, visible) == 0) continue;
            for (uint32_t c = 0; c < 3; ++c) annotation.set(3 * x + c, y, channel(key, c));
            if (random(0, 9) == 0) {  // nearly the key
                const uint32_t cell = random(0, 2);
                annotation.set(3 * x + cell, y, random(0, 255));
            }
        }
    const uint8_t transparency = draw_opacity(random);
    Laid laid{d};
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            bool is_key = true;
            for (uint32_t c = 0; c < 3; ++c)
                is_key = is_key && annotation.get(3 * x + c, y) == channel(key, c);
            for (uint32_t c = 0; c < 3 && !is_key; ++c)
                laid.blend(x, y, c, annotation.get(3 * x + c, y), 255 - transparency);
        }
    const auto outside = d.outside();
    ASSERT_EQ(call(d.data(), d.stride(), annotation.data(), annotation.stride(), size.width,
                   size.height, key, transparency),
              QM_OK);
    expect_left(round, laid, outside, "transparency " + std::to_string(transparency));
}

void check_bytes_in_colours(Round round) {
    Random& random = round.random;
    const Size size = draw_size(random);
    GuardedPicture d(kColours, size, random), annotation(kBytes, size, random);
    const uint32_t key = random.any(), visible = random.one_of({0u, 1u, 30u});
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x)
            if (random(0, visible) != 0) annotation.set(x, y, key & 0xFF);
    const uint8_t transparency = draw_opacity(random);
    const Colours colours = Colours::usual(transparency);
    Laid laid{d};
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t x = 0; x < size.width; ++x) {
            const auto value = static_cast<uint32_t>(annotation.get(x, y));
            for (uint32_t c = 0; c < 3 && value != (key & 0xFF); ++c)
                laid.blend(x, y, c,
                           transparency == 0 ? value : usual_colour(transparency, value, c),
                           255 - transparency);
        }
    const auto outside = d.outside();
    ASSERT_EQ(Api::BlendColorWithAnnotationEx(d.data(), d.stride(), annotation.data(),
                                              annotation.stride(), 8, 1, size.width, size.height,
                                              key, transparency, colours.set()),
              QM_OK);
    expect_left(round, laid, outside, "transparency " + std::to_string(transparency));
}

// ----- Every value -------------------------------------------------------------------------------

/// Calls `test` at every level that runs here.
template <class Test>
void at_every_level(Test test) {
    for (const Level level : levels()) {
        SCOPED_TRACE(name_of(level));
        const ForcedLevel forced(level);
        test();
    }
}

// Three colours at once, one a cell.
TEST(BlendColorWithBinary, IsRightForEveryAlphaColourAndCell) {
    at_every_level([] {
        const std::vector<uint8_t> all(32, 0xFF);
        std::vector<uint8_t> d(768), expected(768);
        for (uint32_t alpha = 0; alpha < 256; ++alpha)
            for (uint32_t first = 0; first < 258; first += 3) {
                const uint32_t own[3] = {std::min(first, 255u), std::min(first + 1, 255u),
                                         std::min(first + 2, 255u)};
                for (uint32_t i = 0; i < 768; ++i) {
                    d[i] = static_cast<uint8_t>(i / 3);
                    expected[i] =
                        static_cast<uint8_t>((own[i % 3] * alpha + (255 - alpha) * (i / 3)) / 255);
                }
                Api::BlendColorWithBinary(d.data(), 768, all.data(), 0, 32, 256, 1,
                                          own[0] << 16 | own[1] << 8 | own[2],
                                          static_cast<uint8_t>(alpha));
                ASSERT_EQ(d, expected) << alpha << ", from colour " << first;
            }
    });
}

/// Calls `lay(cells, others, transparency)` with every pair of cell and other cell, and compares.
template <class Lay>
void check_every_pair(Lay lay) {
    std::vector<uint8_t> d(3 * 65536), others(65536), expected(d.size());
    for (uint32_t i = 0; i < 65536; ++i) others[i] = static_cast<uint8_t>(i >> 8);
    for (uint32_t transparency = 0; transparency < 256; ++transparency) {
        for (uint32_t i = 0; i < 65536; ++i) {
            const auto made = static_cast<uint8_t>(
                (transparency * (i & 0xFF) + (255 - transparency) * (i >> 8)) / 255);
            for (uint32_t c = 0; c < 3; ++c) {
                d[3 * i + c] = static_cast<uint8_t>(i);
                expected[3 * i + c] = made;
            }
        }
        lay(d, others, static_cast<uint8_t>(transparency));
        ASSERT_TRUE(d == expected) << transparency;
    }
}

TEST(BlendColorWithAnnotation, IsRightForEveryTransparencyAnnotationAndCell) {
    at_every_level([] {
        std::vector<uint8_t> annotation(3 * 65536);
        check_every_pair(
            [&](std::vector<uint8_t>& d, const std::vector<uint8_t>& others, uint8_t transparency) {
                for (uint32_t i = 0; i < annotation.size(); ++i) annotation[i] = others[i / 3];
                // No pixel has three cells that differ.
                Api::BlendColorWithAnnotation(d.data(), 768, annotation.data(), 768, 256, 256,
                                              0x010203, transparency);
            });
    });
}

TEST(BlendColorWithAnnotationEx, IsRightForEveryTransparencyColourAndCell) {
    const Colours same([](uint32_t value, uint32_t) { return static_cast<uint8_t>(value); });
    at_every_level([&] {
        const OwnColours own_colours;
        check_every_pair(
            [&](std::vector<uint8_t>& d, const std::vector<uint8_t>& others, uint8_t transparency) {
                // In two calls, since a value is the key: pixels of 0 are laid over by the second.
                Api::BlendColorWithAnnotationEx(d.data(), 768, others.data(), 256, 8, 1, 256, 256,
                                                0, transparency, same.set());
                Api::BlendColorWithAnnotationEx(d.data(), 768, others.data(), 256, 8, 1, 256, 1,
                                                255, transparency, same.set());
            });
    });
}

// ----- Packed masks ------------------------------------------------------------------------------

TEST(BlendColorWithBinary, BeginsAtAnyBitAndEndsAtAnyPixel) {
    at_every_level([] {
        Random random(21);
        Digest digest;
        for (uint32_t offset = 0; offset <= 70; ++offset)
            for (uint32_t width = 1; width <= 130; ++width) {
                check_binary({0, random, digest}, {width, 1}, offset);
                if (testing::Test::HasFatalFailure()) return;
            }
    });
}

/// Nine pixels of (10, 20, 30) with half of a red over some of them: (4, 9, 142).
std::vector<uint8_t> with_half_red(const std::vector<uint32_t>& pixels) {
    std::vector<uint8_t> d;
    for (uint32_t x = 0; x < 9; ++x) {
        const bool laid = std::count(pixels.begin(), pixels.end(), x) != 0;
        for (const int cell : laid ? std::array{4, 9, 142} : std::array{10, 20, 30})
            d.push_back(static_cast<uint8_t>(cell));
    }
    return d;
}

// (255 * 128 + 127 * 30) / 255 is 142.9, 127 * 20 / 255 is 9.96.
TEST(BlendColorWithBinary, WalksFromTheTopBitDown) {
    const auto lay = [](std::vector<uint8_t> mask, uint32_t offset, uint32_t width) {
        auto d = with_half_red({});
        EXPECT_EQ(
            Api::BlendColorWithBinary(d.data(), 27, mask.data(), offset,
                                      static_cast<uint32_t>(mask.size()), width, 1, 0x0000FF, 128),
            QM_OK);
        return d;
    };
    EXPECT_EQ(lay({0x80, 0}, 0, 9), with_half_red({0}));
    EXPECT_EQ(lay({0x01, 0x80}, 0, 9), with_half_red({7, 8}));
    EXPECT_EQ(lay({0xFF, 0xFF}, 0, 3), with_half_red({0, 1, 2}));
    EXPECT_EQ(lay({0xFF, 0xFF}, 0, 8), with_half_red({0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(lay({0x11, 0x80}, 3, 9), with_half_red({0, 4, 5}));
    EXPECT_EQ(lay({0xFF, 0xFF, 0x20, 0}, 18, 9), with_half_red({0}));
    // Within one byte, which is all that there is.
    EXPECT_EQ(lay({0xFF}, 3, 5), with_half_red({0, 1, 2, 3, 4}));
    EXPECT_EQ(lay({0xE9}, 3, 2), with_half_red({1}));
    // Head, whole bytes and tail count pixels, not more: 5, and 7 of the next byte.
    EXPECT_EQ(lay({0xFF, 0xFF, 0xFF}, 7, 9), with_half_red({0, 1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(lay({0xFF, 0xFF, 0xFF}, 3, 6), with_half_red({0, 1, 2, 3, 4, 5}));
}

TEST(BlendColorWithBinary, PaintsTheColourAt255AndNothingAt0) {
    const uint8_t mask = 0xC0;
    std::vector<uint8_t> d{1, 2, 3, 4, 5, 6, 7, 8, 9};
    Api::BlendColorWithBinary(d.data(), 9, &mask, 0, 1, 3, 1, 0xFF112233, 255);
    EXPECT_EQ(d, (std::vector<uint8_t>{0x11, 0x22, 0x33, 0x11, 0x22, 0x33, 7, 8, 9}));
    const auto before = d;
    Api::BlendColorWithBinary(d.data(), 9, &mask, 0, 1, 3, 1, 0xFFFFFF, 0);
    EXPECT_EQ(d, before);
}

/// Pages that can be read and not written.
class ReadOnly {
  public:
    explicit ReadOnly(size_t bytes, int protection = PROT_READ)
        : bytes_(bytes),
          data_(mmap(nullptr, bytes, protection, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {}
    ~ReadOnly() { munmap(data_, bytes_); }
    ReadOnly(const ReadOnly&) = delete;
    ReadOnly& operator=(const ReadOnly&) = delete;
    void* data() const { return data_; }

  private:
    size_t bytes_;
    void* data_;
};

// A store would fault.
TEST(Overlays, WriteNothingWhereThereIsNone) {
    constexpr uint32_t kWidth = 2000, kHeight = 4;
    const ReadOnly d(size_t{kWidth} * kHeight * 3);
    const std::vector<uint8_t> zeros(size_t{kWidth} * kHeight * 3, 0);
    const Colours colours = Colours::usual(7);
    at_every_level([&] {
        Api::BlendColorWithBinary(d.data(), kWidth * 3, zeros.data(), 5, kWidth / 8 + 1, kWidth,
                                  kHeight, 0xFF, 100);
        for (const uint32_t depth : {8u, 16u})
            Api::BlendColorWithUnpackedBinary(d.data(), kWidth * 3, zeros.data(), depth,
                                              kWidth * depth / 8, kWidth, kHeight, 0xFF, 100);
        Api::BlendColorWithAnnotation(d.data(), kWidth * 3, zeros.data(), kWidth * 3, kWidth,
                                      kHeight, 0, 7);
        Api::BlendColorWithAnnotationRefresh(d.data(), kWidth * 3, zeros.data(), kWidth * 3, kWidth,
                                             kHeight, 0, 7);
        Api::BlendColorWithAnnotationEx(d.data(), kWidth * 3, zeros.data(), kWidth, 8, 1, kWidth,
                                        kHeight, 0, 7, colours.set());
    });
}

// Not even read.
TEST(Overlays, LookAtNothingWhenNothingCanBeSeen) {
    const ReadOnly nowhere(4096, PROT_NONE);
    void* const d = nowhere.data();
    const Colours colours = Colours::usual(255);
    EXPECT_EQ(Api::BlendColorWithAnnotation(d, 30, d, 30, 10, 10, 0, 255), QM_OK);
    EXPECT_EQ(Api::BlendColorWithAnnotationRefresh(d, 30, d, 30, 10, 10, 0, 255), QM_OK);
    EXPECT_EQ(Api::BlendColorWithAnnotationEx(d, 30, d, 10, 8, 1, 10, 10, 0, 255, colours.set()),
              QM_OK);
    EXPECT_EQ(Api::BlendColorWithAnnotationEx(d, 30, d, 30, 8, 3, 10, 10, 0, 255, nullptr), QM_OK);
}

// ----- Unpacked masks ----------------------------------------------------------------------------

TEST(BlendColorWithUnpackedBinary, TakesWhateverIsNotZero) {
    std::vector<uint8_t> d(12, 9);
    const std::vector<uint8_t> mask{0, 1, 0x80, 0};
    Api::BlendColorWithUnpackedBinary(d.data(), 12, mask.data(), 8, 4, 4, 1, 0x010203, 255);
    EXPECT_EQ(d, (std::vector<uint8_t>{9, 9, 9, 1, 2, 3, 1, 2, 3, 9, 9, 9}));
    // As words: 0x0100 and 0x0080.
    d.assign(12, 9);
    Api::BlendColorWithUnpackedBinary(d.data(), 12, mask.data(), 9, 4, 2, 1, 0x010203, 255);
    EXPECT_EQ(d, (std::vector<uint8_t>{1, 2, 3, 1, 2, 3, 9, 9, 9, 9, 9, 9}));
}

TEST(BlendColorWithUnpackedBinary, OfOtherDepthsChangesNothing) {
    const ReadOnly nowhere(4096, PROT_NONE);
    for (const uint32_t depth : {0u, 1u, 4u, 7u, 17u, 24u, 32u, 0xFFFFFFFFu})
        EXPECT_EQ(Api::BlendColorWithUnpackedBinary(nowhere.data(), 30, nowhere.data(), depth, 10,
                                                    10, 10, 0xFF, 255),
                  QM_OK);
}

// ----- Annotations -------------------------------------------------------------------------------

TEST(BlendColorWithAnnotation, LeavesPixelsOfTheKeyAloneAndNoOther) {
    for (AnnotationCall* const lay :
         {Api::BlendColorWithAnnotation, Api::BlendColorWithAnnotationRefresh}) {
        // The key's red is its low byte: blue 0x11, green 0x22, red 0x33. Bits 24 to 31 are
        // nothing.
        const std::vector<uint8_t> annotation{0x11, 0x22, 0x33, 0x12, 0x22, 0x33, 0x11, 0,
                                              0x33, 0x11, 0x22, 0x34, 0x33, 0x22, 0x11};
        std::vector<uint8_t> d(15, 7);
        EXPECT_EQ(lay(d.data(), 15, annotation.data(), 15, 5, 1, 0x7F112233, 0), QM_OK);
        auto expected = annotation;
        std::fill_n(expected.begin(), 3, uint8_t{7});
        EXPECT_EQ(d, expected);
    }
}

// The picture's share: 200 * 10 / 255 + 55 * 100 / 255 is 29.4.
TEST(BlendColorWithAnnotation, KeepsAsMuchOfThePictureAsItIsTransparent) {
    std::vector<uint8_t> d{10, 10, 10};
    const std::vector<uint8_t> annotation{100, 0, 255};
    EXPECT_EQ(Api::BlendColorWithAnnotation(d.data(), 3, annotation.data(), 3, 1, 1, 0, 200),
              QM_OK);
    EXPECT_EQ(d, (std::vector<uint8_t>{29, 7, 62}));
}

/// What the entry makes of a grey of 100 and a byte of 1.
std::vector<uint8_t> laid_over_100(uint8_t transparency, const SQmLut* set) {
    std::vector<uint8_t> d(3, 100);
    const uint8_t value = 1;
    EXPECT_EQ(
        Api::BlendColorWithAnnotationEx(d.data(), 3, &value, 1, 8, 1, 1, 1, 0, transparency, set),
        QM_OK);
    return d;
}
std::vector<uint8_t> grey(uint8_t value) { return std::vector<uint8_t>(3, value); }

// (60 * 155 + 100 * 100) / 255 is 75.7, and with 200: (200 * 155 + 10000) / 255 is 160.8.
TEST(BlendColorWithAnnotationEx, DrawsInTheColoursThatItSawWhenTheTransparencyLastChanged) {
    const Colours first = Colours::constant(60), second = Colours::constant(200);
    const OwnColours own_colours;
    EXPECT_EQ(laid_over_100(100, first.set()), grey(75));
    EXPECT_EQ(laid_over_100(100, second.set()), grey(75));
    // What can be seen through altogether or not at all has no part in it.
    EXPECT_EQ(laid_over_100(255, second.set()), grey(100));
    EXPECT_EQ(laid_over_100(0, second.set()), grey(1));
    EXPECT_EQ(laid_over_100(100, second.set()), grey(75));
    // (200 * 154 + 100 * 101) / 255 is 160.4.
    EXPECT_EQ(laid_over_100(101, second.set()), grey(160));
    EXPECT_EQ(laid_over_100(100, second.set()), grey(160));
    EXPECT_EQ(laid_over_100(100, first.set()), grey(160));
}

TEST(BlendColorWithAnnotationEx, KeepsColoursEvenWhenTheSetChangesOrIsGone) {
    const OwnColours own_colours;
    {
        Colours own = Colours::constant(60);
        EXPECT_EQ(laid_over_100(100, own.set()), grey(75));
        own.set()->pLuts = nullptr;
        EXPECT_EQ(laid_over_100(100, own.set()), grey(75));
        EXPECT_EQ(laid_over_100(99, own.set()), grey(100));  // and there are none to be seen now
    }
    const Colours other = Colours::constant(200);
    EXPECT_EQ(laid_over_100(100, other.set()), grey(75));
}

TEST(BlendColorWithAnnotationEx, KeepsNothingOfPicturesInColour) {
    const Colours first = Colours::constant(60), second = Colours::constant(200);
    const OwnColours own_colours;
    laid_over_100(100, first.set());
    std::vector<uint8_t> d(3, 100);
    const std::vector<uint8_t> annotation{1, 2, 3};
    Api::BlendColorWithAnnotationEx(d.data(), 3, annotation.data(), 3, 8, 3, 1, 1, 0, 30,
                                    second.set());
    Api::BlendColorWithAnnotation(d.data(), 3, annotation.data(), 3, 1, 1, 0, 40);
    EXPECT_EQ(laid_over_100(100, second.set()), grey(75));
}

TEST(BlendColorWithAnnotationEx, IsGreyAtZeroAndComparesTheLowByteOfTheKey) {
    const Colours colours = Colours::constant(60);
    std::vector<uint8_t> d(9, 7);
    const std::vector<uint8_t> annotation{5, 0x33, 200};
    EXPECT_EQ(Api::BlendColorWithAnnotationEx(d.data(), 9, annotation.data(), 3, 8, 1, 3, 1,
                                              0xFF112233, 0, colours.set()),
              QM_OK);
    EXPECT_EQ(d, (std::vector<uint8_t>{5, 5, 5, 7, 7, 7, 200, 200, 200}));
}

// The annotation is read as pixels of three bytes then.
TEST(BlendColorWithAnnotationEx, HandsOnWhateverIsNotBytesThroughAColourTable) {
    const std::vector<uint8_t> annotation{0x11, 0x22, 0x33, 100, 0, 255};
    const auto lay = [&](uint32_t bpc, uint32_t components, const SQmLut* set) {
        std::vector<uint8_t> d(6, 10);
        EXPECT_EQ(Api::BlendColorWithAnnotationEx(d.data(), 6, annotation.data(), 6, bpc,
                                                  components, 2, 1, 0x112233, 200, set),
                  QM_OK);
        return d;
    };
    const std::vector<uint8_t> expected{10, 10, 10, 29, 7, 62};
    const OwnColours own_colours;
    Colours colours = Colours::constant(60);
    SQmLut& set = *colours.set();
    EXPECT_NE(lay(8, 1, &set), expected);
    for (const uint32_t bpc : {0u, 7u, 9u, 16u, 264u}) EXPECT_EQ(lay(bpc, 1, &set), expected);
    for (const uint32_t components : {0u, 2u, 3u, 257u})
        EXPECT_EQ(lay(8, components, &set), expected);
    EXPECT_EQ(lay(8, 1, nullptr), expected);
    const auto with = [&](uint8_t& field, uint8_t value) {
        const uint8_t before = std::exchange(field, value);
        EXPECT_EQ(lay(8, 1, &set), expected) << int{value};
        field = before;
    };
    with(set.ucDstBpc, 7);
    with(set.ucDstBpc, 12);
    with(set.ucDstComponents, 1);
    with(set.ucDstComponents, 4);
    with(set.ucSrcBpc, 7);
    with(set.ucSrcBpc, 9);
    with(set.ucComponents, 0);
    with(set.ucComponents, 3);
}

// ----- Threads -----------------------------------------------------------------------------------

// Each has colours and a transparency of its own, so no call may see those of another.
TEST(Overlays, OfManyThreadsKeepTheirColoursApart) {
    std::vector<std::thread> callers;
    for (uint32_t caller = 0; caller < 8; ++caller)
        callers.emplace_back([=] {
            for (uint32_t i = 0; i < 300 * options().rounds; ++i) {
                const auto transparency = static_cast<uint8_t>(1 + (caller * 31 + i % 3) % 254);
                const Colours colours = Colours::usual(transparency);
                std::vector<uint8_t> d(3 * 256, 100), bytes(256);
                for (uint32_t v = 0; v < 256; ++v) bytes[v] = static_cast<uint8_t>(v);
                Api::BlendColorWithAnnotationEx(d.data(), 768, bytes.data(), 256, 8, 1, 256, 1, 0,
                                                transparency, colours.set());
                for (uint32_t k = 3; k < 768; ++k)
                    ASSERT_EQ(d[k],
                              (usual_colour(transparency, k / 3, k % 3) * (255u - transparency) +
                               100u * transparency) /
                                  255);
                d.assign(768, 100);
                Api::BlendColorWithAnnotation(d.data(), 768, bytes.data(), 768, 85, 1, 0,
                                              transparency);
                for (uint32_t k = 0; k < 255; ++k)
                    ASSERT_EQ(d[k], (k * (255u - transparency) + 100u * transparency) / 255);
            }
        });
    for (std::thread& caller : callers) caller.join();
}

TEST(Overlays, ForkNothing) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    constexpr uint32_t kEdge = 1500;
    std::vector<uint8_t> d(size_t{kEdge} * kEdge * 3, 1), other(d.size(), 2);
    const Colours colours = Colours::usual(9);
    const WatchedRegions regions;
    Api::BlendColorWithBinary(d.data(), kEdge * 3, other.data(), 0, kEdge, kEdge, kEdge, 1, 9);
    Api::BlendColorWithUnpackedBinary(d.data(), kEdge * 3, other.data(), 8, kEdge, kEdge, kEdge, 1,
                                      9);
    Api::BlendColorWithAnnotation(d.data(), kEdge * 3, other.data(), kEdge * 3, kEdge, kEdge, 1, 9);
    Api::BlendColorWithAnnotationEx(d.data(), kEdge * 3, other.data(), kEdge, 8, 1, kEdge, kEdge, 1,
                                    9, colours.set());
    EXPECT_TRUE(regions.teams().empty());
}

// ----- Cases -------------------------------------------------------------------------------------

uint32_t height_of(const EntryCall& c) {
    return c.width == 0 ? 0 : static_cast<uint32_t>(c.size / c.width);
}

std::vector<KernelCase> kernel_cases() {
    return {{"CQmPicMemAPI_Base::BlendColorWithBinary",
             [](Round round) {
                 const Size size = draw_size(round.random);
                 const uint32_t offset =
                     round.random(0, 1) ? 8 * round.random(0, 3) : round.random(0, 70);
                 check_binary(round, size, offset);
             },
             96},
            {"CQmPicMemAPI_Base::BlendColorWithUnpackedBinary", check_unpacked, 96},
            {"CQmPicMemAPI_Base::BlendColorWithAnnotation",
             [](Round round) { check_annotation(Api::BlendColorWithAnnotation, round); }, 96},
            {"CQmPicMemAPI_Base::BlendColorWithAnnotationRefresh",
             [](Round round) { check_annotation(Api::BlendColorWithAnnotationRefresh, round); }},
            {"CQmPicMemAPI_Base::BlendColorWithAnnotationEx", check_bytes_in_colours, 96}};
}

std::vector<EntryCase> entry_cases() {
    const auto none = [](uint32_t, uint32_t) { return QM_OK; };
    return {{"CQmPicMemAPI_Base::BlendColorWithBinary",
             [](const EntryCall& c) {
                 return Api::BlendColorWithBinary(c.dst, c.stride, c.src, c.bpc, c.stride, c.width,
                                                  height_of(c), 0x112233, 77);
             },
             none},
            {"CQmPicMemAPI_Base::BlendColorWithUnpackedBinary",
             [](const EntryCall& c) {
                 return Api::BlendColorWithUnpackedBinary(c.dst, c.stride, c.src, c.bpc, c.stride,
                                                          c.width, height_of(c), 0x112233, 77);
             },
             none},
            {"CQmPicMemAPI_Base::BlendColorWithAnnotation",
             [](const EntryCall& c) {
                 return Api::BlendColorWithAnnotation(c.dst, c.stride, c.src, c.stride, c.width,
                                                      height_of(c), 0x112233, 77);
             },
             none},
            {"CQmPicMemAPI_Base::BlendColorWithAnnotationRefresh",
             [](const EntryCall& c) {
                 return Api::BlendColorWithAnnotationRefresh(c.dst, c.stride, c.src, c.stride,
                                                             c.width, height_of(c), 0x112233, 77);
             },
             none},
            {"CQmPicMemAPI_Base::BlendColorWithAnnotationEx",
             [](const EntryCall& c) {
                 const Colours colours = Colours::usual(77);
                 return Api::BlendColorWithAnnotationEx(c.dst, c.stride, c.src, c.stride, c.bpc,
                                                        c.components, c.width, height_of(c), 0, 77,
                                                        colours.set());
             },
             none}};
}

const bool registered = add_cases(kernel_cases(), entry_cases());

}  // namespace
}  // namespace qmpic::test
