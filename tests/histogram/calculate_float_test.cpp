#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "histogram/histo.h"
#include "qmpic/FloatPicBuf.h"
#include "qmpic/Histo.h"
#include "qmpic/status.h"
#include "qmpic/system/Alloc.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmHistoAPI_Base;
using Counts = std::vector<uint64_t>;
using Floats = std::vector<float>;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

/// A picture that releases what travels with it.
struct FloatPicture : SQmFloatPicBuf {
    FloatPicture(float* pixels, uint32_t width, uint32_t height, uint32_t components,
                 uint32_t stride) {
        SQmFloatPicBufAPI_Base::Init(this);
        uiWidth = width, uiHeight = height, uiComponents = components, uiWidthBytes = stride;
        uiBpc = 32;
        ui64Size = uint64_t{stride} * height;
        pfData = pixels;
    }
    FloatPicture(Floats& pixels, uint32_t width, uint32_t height, uint32_t components)
        : FloatPicture(pixels.data(), width, height, components, width * components * 4) {}
    ~FloatPicture() {
        CQmAlloc::Free(pfMinComp);
        CQmAlloc::Free(pfMaxComp);
    }
    FloatPicture(const FloatPicture&) = delete;
    FloatPicture& operator=(const FloatPicture&) = delete;

    void carry(const Floats& min, const Floats& max) {
        carry(pfMinComp, min);
        carry(pfMaxComp, max);
    }

  private:
    static void carry(float*& to, const Floats& values) {
        to = static_cast<float*>(CQmAlloc::ReAlloc(to, values.size() * sizeof(float), 0, 16));
        std::copy(values.begin(), values.end(), to);
    }
};

/// The bin of a value: toward zero in 64 bits, of which the low 32 are kept.
uint32_t bin_of(float value, float min, float max, uint64_t bins) {
    const float offset = value - min, range = max - min;
    const float part = offset / range;
    const float scaled = part * static_cast<float>(bins - 1);
    if (!(std::fabs(scaled) < 0x1p63f)) return 0;
    return static_cast<uint32_t>(static_cast<int64_t>(scaled));
}

/// Counts one value in the 4-byte words of a block.
void bump(Counts& words, uint64_t block, uint64_t bins, uint64_t words_of_bin, uint32_t bin) {
    if (bin < bins) ++words[block * bins * words_of_bin + bin];
}

/// The words of all blocks of a record.
Counts words_of(const SQmHisto& histo) {
    const uint64_t blocks = histo.uiComponents < 2 ? 1 : histo.uiComponents + 1;
    const auto* const first = static_cast<const uint32_t*>(histo.pData);
    return {first, first + (blocks * histo.uiBinBytes / 4 << histo.uiBits)};
}

void check_calculate(Round round) {
    Random& random = round.random;
    const uint32_t components = random(0, 2) ? random(1, 4) : random.components();
    const Size size = random.size(components);
    auto picture = std::make_unique<GuardedPicture>(Format{components, 32, 32}, size, random, 4u);
    while (picture->stride() > 1 << 24)  // rows of floats are not found that far apart
        picture = std::make_unique<GuardedPicture>(Format{components, 32, 32}, size, random, 4u);
    const uint32_t content = random(0, 3);  // integers, fractions, a constant, any bits
    if (content != 3)
        for (uint32_t y = 0; y < size.height; ++y)
            for (uint32_t i = 0; i < picture->samples(); ++i) {
                const auto drawn = static_cast<float>(random(0, 5000));
                const float value = content == 0 ? drawn : content == 1 ? drawn / 777 - 3 : 7.5f;
                picture->set(i, y, std::bit_cast<uint32_t>(value));
            }
    FloatPicture record(static_cast<float*>(picture->data()), size.width, size.height, components,
                        picture->stride());
    Floats min(components), max(components);
    for (uint32_t c = 0; c < components; ++c) {
        min[c] = static_cast<float>(random(0, 2000)) / 64 - 10;
        max[c] = min[c] + static_cast<float>(random(0, 3) ? random(0, 4000) : 0) / 8;
    }
    record.carry(min, max);
    const float least = *std::min_element(min.begin(), min.end());
    const float greatest = *std::max_element(max.begin(), max.end());

    const uint32_t bits = random(0, 16);
    const uint64_t bins = uint64_t{1} << bits;
    const uint32_t bytes = random(0, 3) ? 4 : 8;
    Histo histo(bytes, describe(1, 1, bits, components));
    histo.set(0, 0, 5);  // is lost
    histo.uiRoiMode = random(0, 3);
    histo.uiStepX = random(0, 3) ? random(0, 5) : random.any();
    histo.uiStepY = random(0, 3);
    uint64_t left = 0, top = 0, right = size.width, bottom = size.height;
    if (histo.uiRoiMode == 1) {
        histo.uiLeft = random(0, size.width + 1);
        histo.uiTop = random(0, size.height + 1);
        histo.uiWidth = random(0, 3) ? random(0, size.width) : random.any();
        histo.uiHeight = random(0, 3) ? random(0, size.height) : random.any();
        left = histo.uiLeft, top = histo.uiTop;
        right = std::min<uint64_t>(right, left + histo.uiWidth);
        bottom = std::min<uint64_t>(bottom, top + histo.uiHeight);
    }
    Counts expected(words_of(histo).size(), 0);
    for (uint64_t y = top; y < bottom; ++y)
        for (uint64_t x = left; x < right; x += std::max(histo.uiStepX, 1u)) {
            float sum = 0;
            for (uint32_t c = 0; c < components; ++c) {
                const auto value = std::bit_cast<float>(static_cast<uint32_t>(picture->get(
                    static_cast<uint32_t>(x) * components + c, static_cast<uint32_t>(y))));
                bump(expected, components == 1 ? 0 : c + 1, bins, bytes / 4,
                     bin_of(value, min[c], max[c], bins));
                sum += value;
            }
            if (components > 1)
                bump(expected, 0, bins, bytes / 4,
                     bin_of(sum / static_cast<float>(components), least, greatest, bins));
        }

    ASSERT_EQ(Api::Calculate(&histo, &record, random(0, 1) == 1), QM_OK);

    ASSERT_EQ(words_of(histo), expected)
        << size.width << " x " << size.height << " pixels of " << components << ", " << bits
        << " bits, mode " << histo.uiRoiMode << ", step " << histo.uiStepX;
    ASSERT_EQ(histo.uiStepY, 1u);
    ASSERT_TRUE(std::equal(min.begin(), min.end(), record.pfMinComp));
    round.digest.add(expected);
}

const bool registered =
    add_cases({{"CQmHistoAPI_Base::Calculate of floats", check_calculate, 144}});

/// The bins of one component with values, whose limits travel with the picture.
Counts counted(Floats values, float min, float max, uint32_t bits) {
    FloatPicture picture(values, static_cast<uint32_t>(values.size()), 1, 1);
    picture.carry({min}, {max});
    Histo histo(4, describe(1, 1, bits, 1));
    EXPECT_EQ(Api::Calculate(&histo, &picture, true), QM_OK);
    return histo.all();
}

class CalculateOfFloats : public testing::TestWithParam<Level> {
  protected:
    const ForcedLevel forced{GetParam()};
};

// What has the greatest value is alone in the last bin; others are cut toward zero.
TEST_P(CalculateOfFloats, ScalesValuesBetweenTheLimits) {
    const Counts bins = counted({0, 0.9f, 1, 1.5f, 2.99f, 3}, 0, 3, 2);
    EXPECT_EQ(bins, (Counts{2, 2, 1, 1}));
}

TEST_P(CalculateOfFloats, DropsWhatIsABinOrMoreOutside) {
    // Bins are 1 wide. From -1 on downwards, and from 4 on upwards, there is none.
    EXPECT_EQ(counted({-0.5f, 3.5f}, 0, 3, 2), (Counts{1, 0, 0, 1}));
    EXPECT_EQ(counted({-1, -2, 4, 5, -1e6f, 1e6f}, 0, 3, 2), (Counts{0, 0, 0, 0}));
    // One above the greatest of many bins.
    EXPECT_EQ(counted({1.001f}, 0, 1, 16), Counts(65536, 0));
}

// Only the low 32 bits of a 64-bit number are looked at, and no number at all is 0.
TEST_P(CalculateOfFloats, CountsMultiplesOfTwoToThe32InBin0) {
    const float bins = 3;
    for (const float scaled : {0x1p32f, -0x1p32f, 0x1p33f, 0x1.8p40f, 0x1p62f, 0x1p63f, 0x1p80f,
                               -0x1p63f, -0x1p64f, 0x1p55f, 0x1p54f, -0x1.fffffep55f}) {
        EXPECT_EQ(counted({scaled}, 0, bins, 2), (Counts{1, 0, 0, 0})) << scaled;
    }
    for (const float scaled : {0x1p31f, -0x1p31f, 0x1.8p32f, -0x1.8p32f})
        EXPECT_EQ(counted({scaled}, 0, bins, 2), (Counts{0, 0, 0, 0})) << scaled;
    EXPECT_EQ(counted({kNan, kInfinity, -kInfinity}, 0, bins, 2), (Counts{3, 0, 0, 0}));
    // 65535 times these are 2^32 + 512 and -2^32 + 512, as floats of 24 bits.
    const Counts many = counted({65537.0078125f, -65536.9921875f}, 0, 1, 16);
    EXPECT_EQ(many[512], 2u);
    EXPECT_EQ(std::count(many.begin(), many.end(), 0u), 65535);
}

// With more precision or in another order many of these have another bin.
TEST_P(CalculateOfFloats, ComputesInSinglePrecisionAndInOrder) {
    Random random(9);
    for (int i = 0; i < 2000; ++i) {
        const float min = static_cast<float>(random(0, 1000)) / 7;
        const float max = min + static_cast<float>(random(1, 1000)) / 3;
        const float value = min + (max - min) * static_cast<float>(random(0, 255)) / 255;
        const uint32_t bin = bin_of(value, min, max, 256);
        if (bin < 256) {
            ASSERT_EQ(counted({value}, min, max, 8)[bin], 1u) << value;
        }
    }
}

TEST_P(CalculateOfFloats, CountsAConstantComponentAndNanInBin0) {
    Floats values{7, 1, 7, kNan, 7, 3};  // two components: 7 throughout, and 1, NaN, 3
    FloatPicture picture(values, 3, 1, 2);
    Histo histo(4, describe(1, 1, 4, 2));
    EXPECT_EQ(Api::Calculate(&histo, &picture, true), QM_OK);
    EXPECT_EQ(histo.get(1, 0), 3u);
    EXPECT_EQ(histo.get(2, 0), 2u);   // 1, the least, and NaN
    EXPECT_EQ(histo.get(2, 15), 1u);  // 3, the greatest
    // Means 4, NaN and 5 between 1 and 7: 3/6 * 15 = 7.5, and 4/6 * 15 = 10.
    EXPECT_EQ(histo.get(0, 7), 1u);
    EXPECT_EQ(histo.get(0, 0), 1u);
    EXPECT_EQ(histo.get(0, 10), 1u);
}

TEST_P(CalculateOfFloats, SumsAllValuesForTheMeanInRangeOrNot) {
    Floats values{100, 2};  // the first is dropped by its own block
    FloatPicture picture(values, 1, 1, 2);
    picture.carry({0, 0}, {1, 100});
    Histo histo(4, describe(1, 1, 2, 2));
    EXPECT_EQ(Api::Calculate(&histo, &picture, true), QM_OK);
    EXPECT_EQ(histo.all(), (Counts{0, 1, 0, 0,     // 51 / 100 * 3
                                   0, 0, 0, 0,     // 300
                                   1, 0, 0, 0}));  // 2 / 100 * 3
}

INSTANTIATE_TEST_SUITE_P(Levels, CalculateOfFloats, testing::ValuesIn(levels()),
                         [](const auto& level) { return name_of(level.param); });

TEST(CalculateFloat, FindsUnknownLimitsAndLetsThemTravel) {
    Floats values{1, -5, 3, 9, 2, 0};  // 1, 3, 2 and -5, 9, 0
    const auto expect_found = [&](FloatPicture& picture) {
        Histo histo(4, describe(1, 1, 2, 2));
        EXPECT_EQ(Api::Calculate(&histo, &picture, false), QM_OK);
        ASSERT_NE(picture.pfMinComp, nullptr);
        ASSERT_NE(picture.pfMaxComp, nullptr);
        EXPECT_EQ(Floats(picture.pfMinComp, picture.pfMinComp + 2), (Floats{1, -5}));
        EXPECT_EQ(Floats(picture.pfMaxComp, picture.pfMaxComp + 2), (Floats{3, 9}));
        EXPECT_EQ(reinterpret_cast<uintptr_t>(picture.pfMinComp) % 16, 0u);
        EXPECT_EQ(histo.get(1, 0), 1u);
        EXPECT_EQ(histo.get(1, 3), 1u);
        EXPECT_EQ(histo.get(2, 3), 1u);
    };
    FloatPicture without(values, 3, 1, 2);
    expect_found(without);
    FloatPicture one(values, 3, 1, 2);  // one array, which is given up with the other
    one.carry({0, 0}, {0, 0});
    CQmAlloc::Free(one.pfMaxComp);
    one.pfMaxComp = nullptr;
    expect_found(one);
    FloatPicture unknown(values, 3, 1, 2);  // as Reinit leaves them
    unknown.carry({FLT_MAX, FLT_MAX}, {-FLT_MAX, -FLT_MAX});
    expect_found(unknown);
    FloatPicture second(values, 3, 1, 2);  // one of them is enough
    second.carry({0, 2}, {10, 1});
    expect_found(second);
}

TEST(CalculateFloat, KeepsKnownLimitsThatAreNotTheTrueOnes) {
    Floats values{1, 2};
    FloatPicture picture(values, 2, 1, 1);
    picture.carry({0}, {4});
    Histo histo(4, describe(1, 1, 3, 1));
    EXPECT_EQ(Api::Calculate(&histo, &picture, true), QM_OK);
    EXPECT_EQ(picture.pfMinComp[0], 0.0f);
    EXPECT_EQ(picture.pfMaxComp[0], 4.0f);
    EXPECT_EQ(histo.get(0, 1), 1u);  // 1 / 4 * 7
    EXPECT_EQ(histo.get(0, 3), 1u);
}

TEST(CalculateFloat, CountsAllTheSameWithoutMemoryForLimits) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    Floats values{1, 2, 3};
    each_failure(
        [&] {
            FloatPicture picture(values, 3, 1, 1);
            Histo histo(4, describe(1, 1, 1, 1));
            if (histo.pData == nullptr) return 0;
            const int code = Api::Calculate(&histo, &picture, true);
            return code == 0 && histo.get(0, 0) == 2 && histo.get(0, 1) == 1 ? 0 : 1;
        },
        [](uint32_t n, const Outcome& outcome) {
            EXPECT_EQ(outcome.code, 0) << n;
            EXPECT_EQ(outcome.live, 0) << n;
        });
}

TEST(CalculateFloat, ClearsWhateverTheCallerSaysAndAlsoWhenItFails) {
    Floats values{1, 2, 3};
    FloatPicture none(nullptr, 3, 1, 1, 12), other(values, 1, 1, 3), right(values, 3, 1, 1);
    for (SQmFloatPicBuf* const picture :
         std::initializer_list<SQmFloatPicBuf*>{nullptr, &none, &other}) {
        Histo histo(4, describe(1, 1, 4, 1));
        histo.set(0, 9, 5);
        EXPECT_EQ(Api::Calculate(&histo, picture, false), QM_BAD_BUFFER);
        EXPECT_EQ(histo.all(), Counts(16, 0));
        EXPECT_EQ(histo.uiStepY, 1u);
    }
    Histo histo(4, describe(1, 1, 4, 1));
    histo.set(0, 9, 5);
    EXPECT_EQ(Api::Calculate(&histo, &right, false), QM_OK);
    EXPECT_EQ(histo.get(0, 9), 0u);
    EXPECT_EQ(Api::Calculate(nullptr, &right, false), QM_BAD_BUFFER);
}

TEST(CalculateFloat, TakesUpTo192Components) {
    Floats values(193, 1);
    FloatPicture most(values, 1, 1, 192), more(values, 1, 1, 193);
    Histo of_most(4, describe(1, 1, 1, 192)), of_more(4, describe(1, 1, 1, 193));
    EXPECT_EQ(Api::Calculate(&of_most, &most, true), QM_OK);
    EXPECT_EQ(of_most.get(192, 0), 1u);
    of_more.set(0, 0, 5);
    EXPECT_EQ(Api::Calculate(&of_more, &more, true), QM_TOO_MANY);
    EXPECT_EQ(of_more.get(0, 0), 0u);
    EXPECT_EQ(more.pfMinComp, nullptr);
}

TEST(CalculateFloat, MakesTheRowStepOneAndKeepsThePixelStep) {
    Floats values{0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3};
    FloatPicture picture(values, 4, 3, 1);
    Histo histo(4, describe(1, 1, 2, 1));
    histo.uiStepX = 2, histo.uiStepY = 2;
    Api::Calculate(&histo, &picture, true);
    EXPECT_EQ(histo.all(), (Counts{3, 0, 3, 0}));
    EXPECT_EQ(histo.uiStepY, 1u);
    EXPECT_EQ(histo.uiStepX, 2u);
}

// Unlike a picture of integers, which is not counted then.
TEST(CalculateFloat, CountsTheWholePictureInOtherModes) {
    Floats values{0, 1, 2, 3};
    FloatPicture picture(values, 2, 2, 1);
    Histo histo(4, describe(1, 1, 2, 1));
    histo.uiLeft = 1, histo.uiTop = 1, histo.uiWidth = 1, histo.uiHeight = 1;
    for (const uint32_t mode : {0u, 2u, 3u}) {
        histo.uiRoiMode = mode;
        Api::Calculate(&histo, &picture, true);
        EXPECT_EQ(histo.all(), (Counts{1, 1, 1, 1}));
    }
    histo.uiRoiMode = 1;
    Api::Calculate(&histo, &picture, true);
    EXPECT_EQ(histo.all(), (Counts{0, 0, 0, 1}));
}

// The record's own form stays, and wide bins are filled as if they were narrow.
TEST(CalculateFloat, CountsInWordsOf4Bytes) {
    Floats values{0, 1, 2, 3};
    FloatPicture picture(values, 4, 1, 1);
    Histo histo(8, describe(1, 1, 2, 1));
    EXPECT_EQ(Api::Calculate(&histo, &picture, true), QM_OK);
    EXPECT_EQ(words_of(histo), (Counts{1, 1, 1, 1, 0, 0, 0, 0}));
    EXPECT_EQ(histo.uiBinBytes, 8u);
    EXPECT_EQ(histo.uiBits, 2u);
}

TEST(CalculateFloat, DoesNotForkAndCountsNothingWithoutBins) {
    Floats values(400 * 400, 1);
    FloatPicture picture(values, 400, 400, 1);
    Histo histo(4, describe(1, 1, 8, 1));
    picture.carry({0}, {1});
    uint32_t forks = 0;
    {
        const WatchedRegions regions;
        EXPECT_EQ(Api::Calculate(&histo, &picture, true), QM_OK);
        forks = regions.forks();
    }
    EXPECT_EQ(forks, 0u);
    EXPECT_EQ(histo.get(0, 255), 400u * 400u);
    Api::Free(&histo);
    EXPECT_EQ(Api::Calculate(&histo, &picture, true), QM_OK);
    EXPECT_EQ(histo.pData, nullptr);
}

}  // namespace
}  // namespace qmpic::test
