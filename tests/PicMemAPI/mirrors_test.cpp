#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <vector>

#include "qmpic/PicMemAPI_Base.h"
#include "support/cases.h"
#include "support/levels.h"

namespace qmpic::test {
namespace {

using Api = CQmPicMemAPI_Base;
using Bytes = std::vector<uint8_t>;

int always(uint32_t /*components*/, uint32_t /*bpc*/) { return QM_OK; }

uint32_t height(const EntryCall& c) {
    return c.width == 0 ? kEntryRows : static_cast<uint32_t>(c.size / c.width);
}

const bool registered = add_cases(
    {},
    {{"CQmPicMemAPI_Base::FlipHor",
      [](const EntryCall& c) {
          return Api::FlipHor(c.dst, c.src, c.bpc, c.components, c.stride, c.width, height(c));
      },
      always},
     {"CQmPicMemAPI_Base::FlipVert",
      [](const EntryCall& c) {
          return Api::FlipVert(c.dst, c.stride, c.src, c.stride, c.width, c.size);
      },
      always},
     {"CQmPicMemAPI_Base::FlipVert in place",
      [](const EntryCall& c) { return Api::FlipVert(c.dst, c.stride, c.width, c.size); }, always,
      false},
     {"CQmPicMemAPI_Base::FlipVertExtractComp",
      [](const EntryCall& c) {
          return Api::FlipVertExtractComp(0, c.dst, 2 * c.width, c.src, c.stride, c.components,
                                          c.bpc, c.width, c.size);
      },
      [](uint32_t /*components*/, uint32_t bpc) { return bpc <= 16 ? QM_OK : QM_NO_KERNEL; }},
     {"CQmPicMemAPI_Base::CollapseRGBAtoRGB",
      [](const EntryCall& c) {
          return Api::CollapseRGBAtoRGB(c.dst, c.stride, c.src, c.stride, c.bpc, c.width, c.size);
      },
      bytes_and_words},
     {"CQmPicMemAPI_Base::ExpandRGBtoRGBA",
      [](const EntryCall& c) {
          return Api::ExpandRGBtoRGBA(c.dst, c.stride, c.src, c.stride, 255, c.bpc, c.width,
                                      c.size);
      },
      bytes_and_words}},
    {"CQmPicMemAPI_Base::ConvertBGRtoRGB"});

// ----- Rows reversed
// -------------------------------------------------------------------------------

/// Two pictures of bytes with the same stride, as a mirror has to have them.
struct Two {
    GuardedPicture d, s;
    Two(Size size, uint64_t seed, Random first, Random second)
        : d({1, 8, 8}, size, first), s({1, 8, 8}, size, second) {
        Random random(seed);
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t x = 0; x < size.width; ++x) s.set(x, y, random(0, 255));
    }
    Two(Size size, uint64_t seed) : Two(size, seed + 1, Random(seed), Random(seed)) {}
};

/// Pixels of so many bytes, by what is documented for a depth.
uint32_t pixel_bytes(uint32_t components, uint32_t bpc, bool in_place) {
    if (in_place) return (bpc + 7) / 8 * components;
    return bpc >= 9 && bpc <= 16 ? 2 * components : components;
}

TEST(FlipHor, ReversesTheRows) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        Random random(5);
        for (uint32_t round = 0; round < 600; ++round) {
            const uint32_t components = random(0, 4) ? random(1, 9) : random.components();
            const uint32_t bpc = random.one_of({1u, 8u, 8u, 8u, 9u, 12u, 16u, 16u, 17u, 24u, 32u});
            const bool in_place = random(0, 1) == 1;
            const uint32_t bytes = pixel_bytes(components, bpc, in_place);
            const uint32_t width = random(1, components < 10 ? 70 : 5), rows = random(1, 4);
            const Two two({width * bytes, rows}, random.any());
            const GuardedPicture& s = in_place ? two.d : two.s;
            ASSERT_EQ(two.d.stride(), s.stride());
            std::vector<uint64_t> expected;
            for (uint32_t y = 0; y < rows; ++y)
                for (uint32_t x = 0; x < width; ++x)
                    for (uint32_t i = 0; i < bytes; ++i)
                        expected.push_back(s.get((width - 1 - x) * bytes + i, y));
            const auto outside = two.d.outside();
            ASSERT_EQ(
                Api::FlipHor(two.d.data(), s.data(), bpc, components, s.stride(), width, rows),
                QM_OK);
            ASSERT_EQ(two.d.content(), expected) << width << " x " << rows << " x " << components
                                                 << " x " << bpc << ", in place: " << in_place;
            ASSERT_EQ(two.d.outside(), outside);
        }
    }
}

TEST(FlipHor, MirrorsPicturesOf32BitsOnlyInPlace) {
    const uint32_t source[2] = {0x04030201, 0x08070605};
    uint32_t d[2] = {};
    EXPECT_EQ(Api::FlipHor(d, source, 32, 1, 8, 2, 1), QM_OK);  // two bytes exchanged, no more
    EXPECT_EQ(d[0], 0x0102u);
    EXPECT_EQ(d[1], 0u);
    uint32_t row[2] = {0x04030201, 0x08070605};
    EXPECT_EQ(Api::FlipHor(row, row, 32, 1, 8, 2, 1), QM_OK);
    EXPECT_EQ(row[0], 0x08070605u);
    EXPECT_EQ(row[1], 0x04030201u);
    // 24 bits are 3 bytes a component, so that two of 4 bytes are no mirror in place either.
    uint32_t packed[2] = {0x04030201, 0x08070605};
    EXPECT_EQ(Api::FlipHor(packed, packed, 24, 1, 8, 2, 1), QM_OK);
    EXPECT_EQ(packed[0], 0x01060504u);
    EXPECT_EQ(packed[1], 0x08070302u);
}

TEST(FlipHor, DoesNothingOnNothing) {
    uint8_t d[2] = {1, 2};
    EXPECT_EQ(Api::FlipHor(nullptr, d, 8, 1, 2, 2, 1), QM_OK);
    EXPECT_EQ(Api::FlipHor(d, nullptr, 8, 1, 2, 2, 1), QM_OK);
    EXPECT_EQ(Api::FlipHor(d, d, 8, 1, 2, 0, 1), QM_OK);
    EXPECT_EQ(Api::FlipHor(d, d, 8, 1, 2, 2, 0), QM_OK);
    EXPECT_EQ(Api::FlipHor(d, d, 8, 0, 2, 2, 1), QM_OK);
    EXPECT_EQ(Api::FlipHor(d, d, 0, 1, 2, 2, 1), QM_OK);
    EXPECT_EQ(d[0], 1);
}

// ----- Rows in reverse order
// -----------------------------------------------------------------------

Bytes rising(size_t count) {
    Bytes bytes(count);
    std::iota(bytes.begin(), bytes.end(), uint8_t{1});
    return bytes;
}

TEST(FlipVert, CopiesTheSmallerStridePaddingAndAll) {
    const Bytes s = rising(12);  // three rows of 4, of which one pixel is meant
    Bytes d(15, 0);
    EXPECT_EQ(Api::FlipVert(d.data(), 5, s.data(), 4, 1, 3), QM_OK);
    EXPECT_EQ(d, (Bytes{9, 10, 11, 12, 0, 5, 6, 7, 8, 0, 1, 2, 3, 4, 0}));
    Bytes narrow(9, 0);
    EXPECT_EQ(Api::FlipVert(narrow.data(), 3, s.data(), 4, 1, 3), QM_OK);
    EXPECT_EQ(narrow, (Bytes{9, 10, 11, 5, 6, 7, 1, 2, 3}));
}

TEST(FlipVert, LeavesAnIncompleteLastRowAlone) {
    Bytes d = rising(12);
    EXPECT_EQ(Api::FlipVert(d.data(), 4, 4, 11), QM_OK);
    EXPECT_EQ(d, (Bytes{5, 6, 7, 8, 1, 2, 3, 4, 9, 10, 11, 12}));
    Bytes to(12, 0);
    EXPECT_EQ(Api::FlipVert(to.data(), 4, d.data(), 4, 4, 11), QM_OK);
    EXPECT_EQ(to, (Bytes{1, 2, 3, 4, 5, 6, 7, 8, 0, 0, 0, 0}));
}

TEST(FlipVert, InPlaceLeavesTheMiddleRowWhereItIs) {
    Bytes d = rising(12);
    EXPECT_EQ(Api::FlipVert(d.data(), 4, 1, 3), QM_OK);  // padding goes along
    EXPECT_EQ(d, (Bytes{9, 10, 11, 12, 5, 6, 7, 8, 1, 2, 3, 4}));
}

TEST(FlipVert, InPlaceExchangesRowsOfAnyLengthAndTouchesNothingElse) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        Random random(9);
        for (uint32_t stride = 1; stride < 200; ++stride) {
            const uint32_t rows = random(1, 7), offset = random(1, 70);
            Bytes d(offset + stride * rows + 70);
            for (uint8_t& byte : d) byte = static_cast<uint8_t>(random.any());
            Bytes expected = d;
            for (uint32_t y = 0; y < rows; ++y)
                std::copy_n(d.begin() + offset + stride * (rows - 1 - y), stride,
                            expected.begin() + offset + stride * y);
            ASSERT_EQ(Api::FlipVert(d.data() + offset, stride, 1, rows), QM_OK);
            ASSERT_EQ(d, expected) << stride << " x " << rows;
        }
    }
}

TEST(FlipVert, WithoutAStrideDoesNothingHoweverManyRowsThereAre) {
    uint8_t d = 1, s = 2;
    EXPECT_EQ(Api::FlipVert(&d, 0, 1, UINT64_MAX), QM_OK);
    EXPECT_EQ(Api::FlipVert(&d, 1, &s, 0, 1, UINT64_MAX), QM_OK);
    EXPECT_EQ(Api::FlipVertExtractComp(0, &d, 0, &s, 1, 1, 8, 1, UINT64_MAX), QM_OK);
    EXPECT_EQ(d, 1);
}

TEST(FlipVertExtractComp, FillsTheDestinationAsFarAsItsStrideGoes) {
    const Bytes s = rising(24);  // two rows of 4 pixels of 3
    Bytes d(8, 0);
    EXPECT_EQ(Api::FlipVertExtractComp(1, d.data(), 4, s.data(), 12, 3, 8, 2, 4), QM_OK);
    EXPECT_EQ(d, (Bytes{14, 17, 20, 23, 2, 5, 8, 11})) << "width 2, and yet 4 a row";
    // Words: a stride of 5 holds two of them.
    const uint16_t words[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    Bytes to(10, 99);
    EXPECT_EQ(Api::FlipVertExtractComp(1, to.data(), 5, words, 8, 2, 12, 1, 2), QM_OK);
    EXPECT_EQ(to, (Bytes{6, 0, 8, 0, 99, 2, 0, 4, 0, 99}));
}

TEST(FlipVertExtractComp, TakesAnyComponentOfAnyPicture) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        Random random(3);
        for (uint32_t round = 0; round < 200; ++round) {
            const uint32_t bits = random.one_of({8u, 16u}), components = random.components();
            const Format format{components, bits, bits};
            const Size size = random.size(components);
            const GuardedPicture s(format, size, random);
            const uint32_t unit = bits / 8, i = random(0, components - 1);
            Bytes d(size_t{size.width} * size.height * unit + 1, 7), expected = d;
            for (uint32_t y = 0; y < size.height; ++y)
                for (uint32_t x = 0; x < size.width; ++x) {
                    const uint64_t value = s.get(x * components + i, size.height - 1 - y);
                    for (uint32_t b = 0; b < unit; ++b)
                        expected[(size_t{y} * size.width + x) * unit + b] =
                            static_cast<uint8_t>(value >> 8 * b);
                }
            ASSERT_EQ(Api::FlipVertExtractComp(i, d.data(), size.width * unit, s.data(), s.stride(),
                                               components, bits == 8 ? random(0, 8) : random(9, 16),
                                               size.width, size.pixels),
                      QM_OK);
            ASSERT_EQ(d, expected) << i << " of " << components << " x " << bits;
        }
    }
}

// ----- Colour orders
// -------------------------------------------------------------------------------

TEST(CollapseRGBAtoRGB, DropsTheFourthComponent) {
    const uint8_t s[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    Bytes d(6);
    EXPECT_EQ(Api::CollapseRGBAtoRGB(d.data(), 6, s, 8, 8, 2, 2), QM_OK);
    EXPECT_EQ(d, (Bytes{1, 2, 3, 5, 6, 7}));
    const uint16_t words[4] = {0x101, 0x102, 0x103, 0x104};
    uint16_t w[3] = {};
    EXPECT_EQ(Api::CollapseRGBAtoRGB(w, 6, words, 8, 12, 1, 1), QM_OK);
    EXPECT_EQ(w[2], 0x103);
}

TEST(ExpandRGBtoRGBA, AddsAFourthComponentOfTheLowBits) {
    const uint8_t s[6] = {1, 2, 3, 4, 5, 6};
    Bytes d(8);
    EXPECT_EQ(Api::ExpandRGBtoRGBA(d.data(), 8, s, 6, 0x1FE, 8, 2, 2), QM_OK);
    EXPECT_EQ(d, (Bytes{1, 2, 3, 0xFE, 4, 5, 6, 0xFE}));
    const uint16_t words[3] = {0x101, 0x102, 0x103};
    uint16_t w[4] = {};
    EXPECT_EQ(Api::ExpandRGBtoRGBA(w, 8, words, 6, 0x10FFF, 12, 1, 1), QM_OK);
    EXPECT_EQ(w[2], 0x103);
    EXPECT_EQ(w[3], 0x0FFF);
}

TEST(ConvertBGRtoRGB, ExchangesFirstAndThirdComponent) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        Random random(13);
        for (uint32_t round = 0; round < 400; ++round) {
            const uint32_t components = random(0, 4) ? random(1, 9) : random.components();
            const uint32_t bits = random.one_of({8u, 16u, 32u});
            const Format format{components, bits, bits == 8 ? 8 : bits == 16 ? random(9, 16) : 24};
            const Size size = random.size(components);
            const GuardedPicture d(format, size, random);
            auto expected = d.content();
            if (components >= 3 && bits <= 16)
                for (size_t i = 0; i < expected.size(); i += components)
                    std::swap(expected[i], expected[i + 2]);
            const auto outside = d.outside();
            Api::ConvertBGRtoRGB(d.data(), components, format.bpc, d.stride(), size.width,
                                 size.height);
            ASSERT_EQ(d.content(), expected)
                << size.width << " x " << size.height << " x " << components << " x " << format.bpc;
            ASSERT_EQ(d.outside(), outside);
        }
    }
}

TEST(ConvertBGRtoRGB, KnowsNoDepthBut8And9To16) {
    for (uint32_t bpc = 0; bpc <= 40; ++bpc) {
        Bytes d = rising(8);
        Api::ConvertBGRtoRGB(d.data(), 3, bpc, 8, 1, 1);
        const Bytes bytes{3, 2, 1, 4, 5, 6, 7, 8}, words{5, 6, 3, 4, 1, 2, 7, 8};
        EXPECT_EQ(d, bpc == 8 ? bytes : bpc >= 9 && bpc <= 16 ? words : rising(8)) << bpc;
    }
    Api::ConvertBGRtoRGB(nullptr, 3, 8, 8, 0, 1);
    Api::ConvertBGRtoRGB(nullptr, 3, 8, 8, 1, 0);
}

TEST(ConvertBGRtoRGB, LeavesPicturesOfFewerThanThreeAlone) {
    for (const uint32_t components : {0u, 1u, 2u}) {
        Bytes d = rising(8);
        Api::ConvertBGRtoRGB(d.data(), components, 8, 8, 4, 1);
        EXPECT_EQ(d, rising(8));
    }
}

}  // namespace
}  // namespace qmpic::test
