#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "qmpic/FloatPicBuf.h"
#include "qmpic/Histo.h"
#include "qmpic/PicBuf.h"
#include "qmpic/status.h"
#include "support/cases.h"
#include "support/failing_alloc.h"

namespace qmpic::test {
namespace {

using Api = SQmPicBufAPI_Base;
using Levels = std::vector<uint32_t>;

const bool registered = add_cases(
    {}, {},
    {"SQmPicBufAPI_Base::FindLowHighInHistogram", "SQmPicBufAPI_Base::FindLowHighAbsInHistogram",
     "SQmPicBufAPI_Base::FindLowHighFreqAbsInHistogram"});

constexpr uint32_t kUntouched = 77777;

struct Picture : SQmPicBuf {
    Picture(uint32_t width, uint32_t height, uint32_t bpc, uint32_t components) {
        Api::Init(this);
        EXPECT_EQ(Api::Reinit(this, width, height, 0, bpc, components, true), QM_OK);
    }
    ~Picture() { Api::Free(this); }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    void set(uint32_t x, uint32_t y, uint32_t component, uint32_t value) {
        const uint32_t bytes = Api::CalcCompSize(uiBpc);
        std::memcpy(static_cast<uint8_t*>(pData) + uint64_t{y} * uiWidthBytes +
                        (uint64_t{x} * uiComponents + component) * bytes,
                    &value, bytes);
    }
    /// Pixels in order, each component a list.
    Picture& fill(const std::vector<Levels>& values) {
        for (uint32_t c = 0; c < values.size(); ++c)
            for (uint32_t i = 0; i < values[c].size(); ++i)
                set(i % uiWidth, i / uiWidth, c, values[c][i]);
        return *this;
    }
};

struct FloatPicture : SQmFloatPicBuf {
    FloatPicture(uint32_t width, uint32_t height, uint32_t components) {
        SQmFloatPicBufAPI_Base::Init(this);
        EXPECT_EQ(SQmFloatPicBufAPI_Base::Reinit(this, width, height, 0, components, true), QM_OK);
    }
    ~FloatPicture() { SQmFloatPicBufAPI_Base::Free(this); }
    FloatPicture(const FloatPicture&) = delete;
    FloatPicture& operator=(const FloatPicture&) = delete;
};

TEST(FindLowHigh, CutsOffFractionsOfEachComponent) {
    // 10 pixels: with 0.2 the third pixel from each end.
    for (const uint32_t bpc : {8u, 9u, 12u, 16u}) {
        Picture picture(5, 2, bpc, 2);
        picture.fill({{9, 8, 7, 6, 5, 4, 3, 2, 1, 0}, {50, 50, 50, 60, 60, 60, 70, 90, 200, 201}});
        Levels low(3, kUntouched), high(3, kUntouched);
        EXPECT_EQ(Api::FindLowHighInHistogram(&picture, low.data(), high.data(), 0.2, 0.2), QM_OK);
        EXPECT_EQ(low, (Levels{2, 50, kUntouched})) << bpc;
        EXPECT_EQ(high, (Levels{7, 90, kUntouched})) << bpc;
        // A fraction of 0 leaves its array; one array may be null.
        EXPECT_EQ(Api::FindLowHighInHistogram(&picture, low.data(), high.data(), 0.5, 0), QM_OK);
        EXPECT_EQ(low, (Levels{5, 60, kUntouched}));
        EXPECT_EQ(high, (Levels{7, 90, kUntouched}));
        EXPECT_EQ(Api::FindLowHighInHistogram(&picture, nullptr, high.data(), 0.5, 0.1), QM_OK);
        EXPECT_EQ(high, (Levels{8, 200, kUntouched}));
    }
}

TEST(FindLowHigh, GivesTheDefaultsOfAnEmptyHistogramForOtherDepths) {
    for (const uint32_t bpc : {7u, 17u, 20u, 32u}) {
        Picture picture(4, 2, bpc, 3);
        Levels low(3, kUntouched), high(3, kUntouched);
        EXPECT_EQ(Api::FindLowHighInHistogram(&picture, low.data(), high.data(), 0.2, 0.2), QM_OK);
        EXPECT_EQ(low, Levels(3, bpc == 7 ? 127 : 65535)) << bpc;
        EXPECT_EQ(high, Levels(3, 0)) << bpc;
    }
}

TEST(FindLowHigh, OfAPictureWithoutPixelsIsThatOfAnEmptyHistogram) {
    SQmPicBuf picture;
    Api::Init(&picture);
    picture.uiWidth = 4, picture.uiHeight = 2, picture.uiBpc = 8, picture.uiComponents = 1;
    uint32_t low = kUntouched, high = kUntouched;
    EXPECT_EQ(Api::FindLowHighInHistogram(&picture, &low, &high, 0.2, 0.2), QM_OK);
    EXPECT_EQ(low, 255u);
    EXPECT_EQ(high, 0u);
}

TEST(FindLowHigh, PassesOnTheCodeOfTheStatistic) {
    Picture picture(4, 2, 8, 1);
    FloatPicture floats(4, 2, 1);
    EXPECT_EQ(Api::FindLowHighInHistogram(&picture, nullptr, nullptr, 0.2, 0.2), QM_REJECTED);
    EXPECT_EQ(Api::FindLowHighInHistogram(&floats, nullptr, nullptr, 0.2, 0.2), QM_REJECTED);
    EXPECT_EQ(Api::FindLowHighAbsInHistogram(&picture, nullptr, nullptr, 1, 1), QM_REJECTED);
    EXPECT_EQ(Api::FindLowHighFreqAbsInHistogram(&picture, nullptr, nullptr, 1, 1), QM_REJECTED);
    Picture deep(4, 2, 20, 1);
    EXPECT_EQ(Api::FindLowHighAbsInHistogram(&deep, nullptr, nullptr, 1, 1), QM_REJECTED);
}

TEST(FindLowHigh, RefusesANullPicture) {
    uint32_t low = kUntouched, high = kUntouched;
    EXPECT_EQ(
        Api::FindLowHighInHistogram(static_cast<const SQmPicBuf*>(nullptr), &low, &high, 0.2, 0.2),
        QM_BAD_BUFFER);
    EXPECT_EQ(
        Api::FindLowHighInHistogram(static_cast<SQmFloatPicBuf*>(nullptr), &low, &high, 0.2, 0.2),
        QM_BAD_BUFFER);
    EXPECT_EQ(Api::FindLowHighAbsInHistogram(nullptr, &low, &high, 1, 1), QM_BAD_BUFFER);
    EXPECT_EQ(Api::FindLowHighFreqAbsInHistogram(nullptr, &low, &high, 1, 1), QM_BAD_BUFFER);
    EXPECT_EQ(low, kUntouched);
    EXPECT_EQ(high, kUntouched);
}

TEST(FindLowHighAbs, FindsTheEndsOfWhatIsPopulated) {
    for (const uint32_t bpc : {8u, 9u, 12u, 16u}) {
        Picture picture(5, 2, bpc, 1);
        picture.fill({{20, 30, 30, 30, 40, 40, 50, 50, 50, 60}});
        uint32_t low = kUntouched, high = kUntouched;
        EXPECT_EQ(Api::FindLowHighAbsInHistogram(&picture, &low, &high, 1, 1), QM_OK);
        EXPECT_EQ(low, 20u);
        EXPECT_EQ(high, 60u);
        EXPECT_EQ(Api::FindLowHighAbsInHistogram(&picture, &low, &high, 5, 4), QM_OK);
        EXPECT_EQ(low, 40u);
        EXPECT_EQ(high, 50u);
        EXPECT_EQ(Api::FindLowHighFreqAbsInHistogram(&picture, &low, &high, 3, 2), QM_OK);
        EXPECT_EQ(low, 30u);
        EXPECT_EQ(high, 50u);
        low = high = kUntouched;
        EXPECT_EQ(Api::FindLowHighAbsInHistogram(&picture, &low, &high, 0, 0), QM_OK);
        EXPECT_EQ(low, kUntouched);
        EXPECT_EQ(high, kUntouched);
    }
}

TEST(FindLowHighAbs, GivesValuesOfPicturesAbove16Bits) {
    // Bin 3 of 20 bits is 48 to 63.
    for (const auto find : {Api::FindLowHighAbsInHistogram, Api::FindLowHighFreqAbsInHistogram}) {
        Picture picture(4, 1, 20, 1);
        picture.fill({{50, 50, 55, 63}});
        uint32_t low = kUntouched, high = kUntouched;
        EXPECT_EQ(find(&picture, &low, &high, 1, 1), QM_OK);
        EXPECT_EQ(low, 48u);
        EXPECT_EQ(high, 63u);
        picture.fill({{0xFFFFF, 16, 0x12345, 0x12345}});
        EXPECT_EQ(find(&picture, &low, &high, 2, 2), QM_OK);
        const bool sums = find == Api::FindLowHighAbsInHistogram;
        EXPECT_EQ(low, 0x12340u);
        EXPECT_EQ(high, 0x1234Fu) << sums;
    }
    for (const uint32_t bpc : {17u, 24u, 25u, 32u}) {
        Picture picture(4, 1, bpc, 3);
        const uint32_t greatest = static_cast<uint32_t>((uint64_t{1} << bpc) - 1), k = bpc - 16;
        picture.fill(
            {{0, 0, 0, greatest}, {5u << k, (6u << k) + 1, 7u << k, 8u << k}, {0, 0, 0, 0}});
        Levels low(3, kUntouched), high(3, kUntouched);
        EXPECT_EQ(Api::FindLowHighAbsInHistogram(&picture, low.data(), high.data(), 2, 1), QM_OK);
        EXPECT_EQ(low, (Levels{0, 6u << k, 0})) << bpc;
        EXPECT_EQ(high, (Levels{greatest, (9u << k) - 1, (1u << k) - 1})) << bpc;
    }
}

TEST(FindLowHighAbs, ShiftsAlsoWhatACountOf0HasLeft) {
    Picture picture(4, 1, 20, 1);
    picture.fill({{50, 50, 55, 63}});
    uint32_t low = 0x10000001, high = 2;
    EXPECT_EQ(Api::FindLowHighAbsInHistogram(&picture, &low, &high, 0, 0), QM_OK);
    EXPECT_EQ(low, 0x10u);
    EXPECT_EQ(high, 0x2Fu);
    // One array only.
    EXPECT_EQ(Api::FindLowHighAbsInHistogram(&picture, &low, nullptr, 1, 1), QM_OK);
    EXPECT_EQ(low, 48u);
    EXPECT_EQ(Api::FindLowHighFreqAbsInHistogram(&picture, nullptr, &high, 1, 1), QM_OK);
    EXPECT_EQ(high, 63u);
}

TEST(FindLowHighAbs, OfUnknownDepthsIsThatOfAnEmptyHistogram) {
    Picture picture(4, 1, 7, 1);
    uint32_t low = kUntouched, high = kUntouched;
    EXPECT_EQ(Api::FindLowHighAbsInHistogram(&picture, &low, &high, 1, 1), QM_OK);
    EXPECT_EQ(low, 127u);
    EXPECT_EQ(high, 0u);
    EXPECT_EQ(Api::FindLowHighFreqAbsInHistogram(&picture, &low, &high, 1, 1), QM_OK);
    EXPECT_EQ(low, 127u);
    EXPECT_EQ(high, 0u);
}

TEST(FindLowHigh, OfFloatsIsABinOfTheRangeOfTheComponent) {
    // From 0 to 65535 a value is its bin; the second component runs from 0 to 1.
    FloatPicture picture(5, 2, 2);
    for (uint32_t i = 0; i < 10; ++i) {
        picture.pfData[2 * i] = static_cast<float>(i == 9 ? 65535 : i * 1000);
        picture.pfData[2 * i + 1] = i < 5 ? 0.0f : i < 9 ? 0.5f : 1.0f;
    }
    Levels low(3, kUntouched), high(3, kUntouched);
    EXPECT_EQ(Api::FindLowHighInHistogram(&picture, low.data(), high.data(), 0.2, 0.2), QM_OK);
    EXPECT_EQ(low, (Levels{2000, 0, kUntouched}));
    EXPECT_EQ(high, (Levels{7000, 32767, kUntouched}));
    ASSERT_NE(picture.pfMaxComp, nullptr);
    EXPECT_EQ(picture.pfMaxComp[0], 65535);  // the ranges stay
    EXPECT_EQ(picture.pfMaxComp[1], 1);
    EXPECT_EQ(Api::FindLowHighInHistogram(&picture, low.data(), nullptr, 0, 0.2), QM_OK);
    EXPECT_EQ(low, (Levels{2000, 0, kUntouched}));
}

TEST(FindLowHigh, OfFloatsPassesOnAFailedCount) {
    SQmFloatPicBuf picture;
    SQmFloatPicBufAPI_Base::Init(&picture);
    picture.uiWidth = picture.uiHeight = picture.uiComponents = 1;
    uint32_t low = kUntouched, high = kUntouched;
    EXPECT_EQ(Api::FindLowHighInHistogram(&picture, &low, &high, 0.2, 0.2), QM_BAD_BUFFER);
    EXPECT_EQ(low, kUntouched);
    EXPECT_EQ(high, kUntouched);
}

TEST(FindLowHigh, ReleasesItsHistogramAndWritesNothingWithoutMemory) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    Picture picture(5, 2, 12, 3), deep(5, 2, 20, 3);
    FloatPicture floats(5, 2, 3);
    uint32_t low[3], high[3];
    EXPECT_EQ(Api::FindLowHighInHistogram(&floats, low, high, 0.1, 0.1),
              QM_OK);  // finds the ranges
    const auto check = [&](auto call) {
        std::fill_n(low, 3, kUntouched);
        std::fill_n(high, 3, kUntouched);
        const uint32_t seen = each_failure(call, [&](uint32_t n, const Outcome& outcome) {
            EXPECT_EQ(outcome.code, QM_OK) << n;
            EXPECT_FALSE(outcome.threw) << n;
            EXPECT_EQ(outcome.live, 0) << n;
            EXPECT_EQ(low[2] == kUntouched, n != 0) << n;
            EXPECT_EQ(high[2] == kUntouched, n != 0) << n;
            std::fill_n(low, 3, kUntouched);
            std::fill_n(high, 3, kUntouched);
        });
        EXPECT_GE(seen, 2u);
    };
    check([&] { return Api::FindLowHighInHistogram(&picture, low, high, 0.1, 0.1); });
    check([&] { return Api::FindLowHighInHistogram(&floats, low, high, 0.1, 0.1); });
    check([&] { return Api::FindLowHighAbsInHistogram(&picture, low, high, 1, 1); });
    check([&] { return Api::FindLowHighAbsInHistogram(&deep, low, high, 1, 1); });
    check([&] { return Api::FindLowHighFreqAbsInHistogram(&picture, low, high, 1, 1); });
}

}  // namespace
}  // namespace qmpic::test
