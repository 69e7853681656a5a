#include <gtest/gtest.h>

#include <algorithm>

#include "qmpic/FloatPicMemAPI_Base.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/float_picture.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmFloatPicMemAPI_Base;
using Floats = std::vector<float>;

uint32_t bits(float value) { return std::bit_cast<uint32_t>(value); }

/// Every `step`-th of the samples, from `first` on, compared one after the other.
struct Extremes {
    float min, max;
};
Extremes extremes(const Floats& x, size_t first, size_t step, float least, float greatest) {
    Extremes found{least, greatest};
    for (size_t i = first; i < x.size(); i += step) {
        if (x[i] < found.min) found.min = x[i];
        if (x[i] > found.max) found.max = x[i];
    }
    return found;
}

/// Now and then zeros and nothing on one side of them, so that their signs are seen.
void draw_content(FloatPicture& picture, Random& random) {
    const uint32_t kind = random(0, 5);
    if (kind > 2) return;
    for (uint32_t y = 0; y < picture.size().height; ++y)
        for (uint32_t i = 0; i < picture.samples(); ++i) {
            const float zero = random(0, 1) ? 0.0f : -0.0f;
            const float value = std::fabs(draw_float(random));
            const bool is_zero = random(0, 3) == 0;
            picture.set(i, y, is_zero ? zero : kind == 0 ? value : kind == 1 ? -value : kNan);
        }
}

void check_extremes(Round round, bool in_components) {
    Random& random = round.random;
    const uint32_t components =
        in_components && random(0, 3) == 0 ? random(10, 32) : random.components();
    const Size size = random.size(components);
    FloatPicture s(components, size, random);
    draw_content(s, random);
    const uint32_t count = in_components ? components : 1;
    Floats min(count + 1, -7.0f), max(count + 1, -7.0f), least = min, greatest = max;
    for (uint32_t c = 0; c < count; ++c) {
        const Extremes found = extremes(s.content(), c, count, FLT_MAX, -FLT_MAX);
        least[c] = found.min;
        greatest[c] = found.max;
    }
    const auto entry = in_components ? Api::GetFloatMinMaxInComps : Api::GetFloatMinMax;
    ASSERT_EQ(
        entry(s.data(), s.stride(), components, size.width, size.pixels, min.data(), max.data()),
        QM_OK);
    ASSERT_EQ(comparable(min), comparable(least)) << components << " components";
    ASSERT_EQ(comparable(max), comparable(greatest)) << components << " components";
    // Either may be missing.
    min.assign(count + 1, -7.0f);
    ASSERT_EQ(entry(s.data(), s.stride(), components, size.width, size.pixels, min.data(), nullptr),
              QM_OK);
    ASSERT_EQ(comparable(min), comparable(least));
    max.assign(count + 1, -7.0f);
    ASSERT_EQ(entry(s.data(), s.stride(), components, size.width, size.pixels, nullptr, max.data()),
              QM_OK);
    ASSERT_EQ(comparable(max), comparable(greatest));
    round.digest.add(comparable(least));
    round.digest.add(comparable(greatest));
}

void check_mean(Round round) {
    Random& random = round.random;
    const uint32_t components = random.components(), kind = random(0, 4);
    const Size size = random.size(components);
    FloatPicture s(components, size, random);
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t i = 0; i < s.samples(); ++i) {
            const uint32_t any = random.any();
            if (kind == 0) s.set(i, y, static_cast<float>(any >> 16));
            if (kind == 1) s.set(i, y, static_cast<float>(any >> 8) / 16777216.0f);
            if (kind == 2) s.set(i, y, static_cast<float>(static_cast<int32_t>(any)));
            if (kind == 3) s.set(i, y, std::ldexp(static_cast<float>(any >> 9), -(any & 63)));
        }
    double sum = 0;
    for (const float value : s.content()) sum += value;
    const double expected = sum / static_cast<double>(size.pixels);
    const double found = Api::Mean(s.data(), s.stride(), components, size.width, size.pixels);
    ASSERT_TRUE(std::bit_cast<uint64_t>(found) == std::bit_cast<uint64_t>(expected) ||
                (std::isnan(found) && std::isnan(expected)))
        << found << ", not " << expected;
    round.digest.add(std::isnan(found) ? 0 : std::bit_cast<uint64_t>(found));
}

using Statistic = int(float*, const float*, uint32_t, uint32_t, uint32_t);
/// Of the samples of one component.
using OfSamples = float(const Floats& samples);

void check_statistic(Round round, Statistic* entry, OfSamples* reference) {
    Random& random = round.random;
    const uint32_t components = random.components();
    const Size size = random.size(components);
    FloatPicture s(components, size, random, FloatPicture::kPacked);
    draw_content(s, random);
    Floats found(components + 1, -7.0f), expected;
    const Floats all = s.content();
    for (uint32_t c = 0; c < components; ++c) {
        Floats samples;
        for (size_t i = c; i < all.size(); i += components) samples.push_back(all[i]);
        expected.push_back(reference(samples));
    }
    expected.push_back(-7.0f);
    ASSERT_EQ(entry(found.data(), s.data(), size.width, size.height, components), QM_OK);
    ASSERT_EQ(comparable(found), comparable(expected))
        << size.width << " x " << size.height << " x " << components;
    round.digest.add(comparable(expected));
}

float mean_of(const Floats& samples) {
    float sum = 0;
    for (const float value : samples) sum += value;
    return sum / static_cast<float>(samples.size());
}
float least_of(const Floats& samples) { return extremes(samples, 0, 1, 1e20f, -1e20f).min; }
float greatest_of(const Floats& samples) { return extremes(samples, 0, 1, 1e20f, -1e20f).max; }

void check_median(Round round) {  // without NaNs, which have no place, and zeros of one sign
    Random& random = round.random;
    const uint32_t components = random.components();
    const Size size = random.size(components);
    FloatPicture s(components, size, random, FloatPicture::kPacked);
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t i = 0; i < s.samples(); ++i) {
            const float value = s.get(i, y);
            if (std::isnan(value) || value == 0) s.set(i, y, 0.0f);
        }
    Floats found(components, -7.0f), expected;
    const Floats all = s.content();
    for (uint32_t c = 0; c < components; ++c) {
        Floats samples;
        for (size_t i = c; i < all.size(); i += components) samples.push_back(all[i]);
        std::sort(samples.begin(), samples.end());
        expected.push_back(samples[samples.size() / 2]);
    }
    ASSERT_EQ(Api::MedianComp(found.data(), s.data(), size.width, size.height, components), QM_OK);
    ASSERT_EQ(comparable(found), comparable(expected));
    round.digest.add(comparable(expected));
}

void check_deviation(Round round) {
    Random& random = round.random;
    const uint32_t components = random.components();
    const Size size = random.size(components);
    const FloatPicture s(components, size, random, FloatPicture::kPacked);
    const Floats all = s.content();
    const size_t pixels = all.size() / components;
    Floats means, found(components, -7.0f), expected;
    for (uint32_t c = 0; c < components; ++c) means.push_back(draw_float(random));
    for (uint32_t c = 0; c < components; ++c) {
        float sum = 0;
        for (size_t i = c; i < all.size(); i += components) {
            const float distance = all[i] - means[c];
            sum += distance * distance;
        }
        expected.push_back(std::pow(sum / static_cast<float>(pixels - 1), 0.5f));
    }
    ASSERT_EQ(Api::DeviationComp(found.data(), means.data(), s.data(), size.width, size.height,
                                 components),
              QM_OK);
    ASSERT_EQ(comparable(found), comparable(expected));
}

const bool registered =
    add_cases({{"CQmFloatPicMemAPI_Base::GetFloatMinMax",
                [](Round round) { check_extremes(round, false); }, 96},
               {"CQmFloatPicMemAPI_Base::GetFloatMinMaxInComps",
                [](Round round) { check_extremes(round, true); }, 128},
               {"CQmFloatPicMemAPI_Base::Mean", check_mean, 96},
               {"CQmFloatPicMemAPI_Base::MeanComp",
                [](Round round) { check_statistic(round, Api::MeanComp, mean_of); }},
               {"CQmFloatPicMemAPI_Base::MinComp",
                [](Round round) { check_statistic(round, Api::MinComp, least_of); }},
               {"CQmFloatPicMemAPI_Base::MaxComp",
                [](Round round) { check_statistic(round, Api::MaxComp, greatest_of); }},
               {"CQmFloatPicMemAPI_Base::MedianComp", check_median},
               {"CQmFloatPicMemAPI_Base::DeviationComp", check_deviation}});

// ----- Extremes ----------------------------------------------------------------------------------

TEST(FloatMinMax, OfNothingAreTheStartValues) {
    float x = 5;
    for (const auto entry : {Api::GetFloatMinMax, Api::GetFloatMinMaxInComps})
        for (const int what : {0, 1, 2}) {
            float min = 1, max = 2;
            EXPECT_EQ(entry(what == 0 ? nullptr : &x, 4, 1, what == 1 ? 0 : 1, what == 2 ? 0 : 1,
                            &min, &max),
                      QM_OK);
            EXPECT_EQ(min, FLT_MAX) << what;
            EXPECT_EQ(max, -FLT_MAX) << what;
        }
    EXPECT_EQ(Api::GetFloatMinMax(nullptr, 4, 1, 1, 1, nullptr, nullptr), QM_OK);
    EXPECT_EQ(Api::GetFloatMinMaxInComps(nullptr, 4, 1, 1, 1, nullptr, nullptr), QM_OK);
    float min = 7, max = 7;
    EXPECT_EQ(Api::GetFloatMinMaxInComps(&x, 4, 0, 1, 1, &min, &max), QM_OK);
    EXPECT_EQ(min, 7) << "no component, no result";
}

TEST(FloatMinMax, SkipNansAndDoNotSeeInfinitiesBeyondTheStart) {
    const Floats nans(70, kNan), high(70, kInfinity), low(70, -kInfinity);
    float min, max;
    Api::GetFloatMinMax(nans.data(), 280, 1, 70, 70, &min, &max);
    EXPECT_EQ(min, FLT_MAX);
    EXPECT_EQ(max, -FLT_MAX);
    Api::GetFloatMinMax(high.data(), 280, 1, 70, 70, &min, &max);
    EXPECT_EQ(min, FLT_MAX);
    EXPECT_EQ(max, kInfinity);
    Api::GetFloatMinMax(low.data(), 280, 1, 70, 70, &min, &max);
    EXPECT_EQ(min, -kInfinity);
    EXPECT_EQ(max, -FLT_MAX);
}

TEST(FloatMinMax, HaveTheSignOfTheFirstZero) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (size_t at = 0; at < 150; ++at)
            for (const float first : {0.0f, -0.0f}) {
                Floats x(300, 3.0f), y(300, -3.0f);
                x[at] = y[at] = first;
                x[at + 1] = y[at + 1] = x[at + 64] = y[at + 64] = x[299] = y[299] = -first;
                float min, max;
                Api::GetFloatMinMax(x.data(), 1200, 1, 300, 300, &min, &max);
                EXPECT_EQ(bits(min), bits(first)) << name_of(level) << ", " << at;
                EXPECT_EQ(max, 3.0f);
                Api::GetFloatMinMax(y.data(), 1200, 1, 300, 300, &min, &max);
                EXPECT_EQ(bits(max), bits(first)) << name_of(level) << ", " << at;
                EXPECT_EQ(min, -3.0f);
                float low[3], high[3];
                Api::GetFloatMinMaxInComps(x.data(), 1200, 3, 100, 100, low, high);
                EXPECT_EQ(bits(low[at % 3]), bits(first)) << name_of(level) << ", " << at;
            }
    }
}

TEST(FloatMinMax, FindTheirRowsIn32Bits) {
    const Floats x{1, 2, 3, 4, 99, 6, 7, 8, 9};  // 10 bytes: floats 0, 2, 5, 7
    float min, max;
    Api::GetFloatMinMax(x.data(), 10, 1, 2, 8, &min, &max);
    EXPECT_EQ(max, 9);
    float low[2], high[2];
    Api::GetFloatMinMaxInComps(x.data(), 10, 2, 1, 4, low, high);
    EXPECT_EQ(high[0], 8);
    EXPECT_EQ(high[1], 9);
    EXPECT_EQ(Api::Mean(x.data(), 10, 1, 2, 8), 5.0);
    if (kThreadSanitizer) GTEST_SKIP() << "its tables would cover the distance";
    const WrappedRows memory;
    memory.row(0)[0] = 5;
    memory.row(1)[0] = 6;
    Api::GetFloatMinMax(memory.row(0), WrappedRows::kStride, 1, 1, 3, &min, &max);
    EXPECT_EQ(min, 5);
    EXPECT_EQ(max, 6);
    Floats many(20), most(20);
    memory.row(1)[19] = 8;
    Api::GetFloatMinMaxInComps(memory.row(0), WrappedRows::kStride, 20, 1, 3, many.data(),
                               most.data());
    EXPECT_EQ(many[0], 5);
    EXPECT_EQ(most[19], 8);
    EXPECT_EQ(Api::Mean(memory.row(0), WrappedRows::kStride, 1, 1, 3), 16.0 / 3);
}

TEST(FloatMinMax, OfMoreComponentsThanAnyLoopTakesAtOnce) {
    const uint32_t components = 600;
    Floats x(3 * components);
    for (size_t i = 0; i < x.size(); ++i) x[i] = static_cast<float>(i * 7919 % 1801);
    Floats min(components), max(components);
    Api::GetFloatMinMaxInComps(x.data(), 4 * components, components, 1, 3, min.data(), max.data());
    for (uint32_t c = 0; c < components; ++c) {
        const Extremes expected = extremes(x, c, components, FLT_MAX, -FLT_MAX);
        EXPECT_EQ(min[c], expected.min) << c;
        EXPECT_EQ(max[c], expected.max) << c;
    }
}

TEST(FloatMinMax, OfComponentsBeginAt1e20) {
    const Floats x{3e20f, -3e20f, kInfinity, -kInfinity};
    float found[2];
    EXPECT_EQ(Api::MinComp(found, x.data(), 1, 2, 2), QM_OK);
    EXPECT_EQ(found[0], 1e20f);
    EXPECT_EQ(found[1], -kInfinity);
    EXPECT_EQ(Api::MaxComp(found, x.data(), 1, 2, 2), QM_OK);
    EXPECT_EQ(found[0], kInfinity);
    EXPECT_EQ(found[1], -1e20f);
}

// ----- Sums --------------------------------------------------------------------------------------

TEST(FloatMean, IsTheSumOfTheMeansOfComponents) {
    const Floats x(30, 1.0f);
    EXPECT_EQ(Api::Mean(x.data(), 60, 3, 5, 10), 3.0);
    // An incomplete row counts as pixels, though it has no part in the sum.
    EXPECT_EQ(Api::Mean(x.data(), 20, 1, 5, 8), 0.625);
}

TEST(FloatMean, OfNothingIs0) {
    const float x = 5;
    EXPECT_EQ(Api::Mean(nullptr, 4, 1, 1, 1), 0.0);
    EXPECT_EQ(Api::Mean(&x, 4, 1, 0, 1), 0.0);
    EXPECT_EQ(Api::Mean(&x, 4, 1, 1, 0), 0.0);
}

// 2^53 and a one: lost one by one, found when the ones are summed first.
TEST(FloatMean, AddsInDoubleFromLeftToRight) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        Floats x(1001, 1.0f);
        x[0] = 9007199254740992.0f;
        EXPECT_EQ(Api::Mean(x.data(), 4004, 1, 1001, 1001), 9007199254740992.0 / 1001);
        std::swap(x[0], x[1000]);
        EXPECT_EQ(Api::Mean(x.data(), 4004, 1, 1001, 1001), 9007199254741992.0 / 1001);
    }
}

// Long runs whose sum is rounded again and again, and passes powers of two on its way.
TEST(FloatMean, IsRoundedAfterEachSample) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        Random random(5);
        for (const int kind : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}) {
            Floats x(40000);
            for (float& value : x) {
                const uint32_t any = random.any();
                value = static_cast<float>(any >> 8) / 16777216.0f;
                if (kind == 1) value = value * value * value;
                if (kind == 2) value -= 0.5f;
                if (kind == 3) value = std::ldexp(value, -30) + (any % 97 == 0 ? 1e9f : 0.0f);
                if (kind == 4)
                    value = std::ldexp(static_cast<float>(any & 3), -static_cast<int>(any >> 27));
                if (kind == 5) value = any % 1000 == 0 ? -1e12f : 1e9f * value;
                // About a sum whose unit is 2^-9, halves of it are drawn again and again.
                if (kind == 6) value = static_cast<float>(any & 4095) / 4096;
                if (kind == 7) value = -static_cast<float>(any & 4095) / 4096;
                if (kind >= 8) value = static_cast<float>(static_cast<int32_t>(any)) * 0x1p-27f;
            }
            if (kind == 6 || kind == 8) x[0] = 1e13f;
            if (kind == 7) x[0] = -1e13f;
            if (kind == 9) x[0] = 0x1p43f;  // between two units

            double sum = 0;
            for (const float value : x) sum += value;
            EXPECT_EQ(Api::Mean(x.data(), 1600, 1, 400, 40000), sum / 40000)
                << kind << ", " << name_of(level);
        }
    }
}

TEST(FloatMeanComp, AddsInSinglePrecision) {
    Floats x(101, 1.0f);
    x[0] = 16777216.0f;  // 2^24, to which a one adds nothing
    float mean = 0;
    EXPECT_EQ(Api::MeanComp(&mean, x.data(), 101, 1, 1), QM_OK);
    EXPECT_EQ(mean, 16777216.0f / 101.0f);
}

TEST(FloatStatistics, CountPixelsIn32Bits) {
    const Floats x{5, 6, 7, 8};
    float found = -7;
    EXPECT_EQ(Api::MeanComp(&found, x.data(), 65536, 65536, 1), QM_OK);  // none
    EXPECT_TRUE(std::isnan(found));
    EXPECT_EQ(Api::MinComp(&found, x.data(), 65536, 65536, 1), QM_OK);
    EXPECT_EQ(found, 1e20f);
    EXPECT_EQ(Api::MaxComp(&found, x.data(), 65536, 65536, 1), QM_OK);
    EXPECT_EQ(found, -1e20f);
    EXPECT_EQ(Api::MedianComp(&found, x.data(), 65536, 65536, 1), QM_OK);
    EXPECT_EQ(bits(found), 0u);
    EXPECT_EQ(Api::MeanComp(&found, x.data(), 0x80000001, 2, 1), QM_OK);  // two
    EXPECT_EQ(found, 5.5f);
    EXPECT_EQ(Api::MaxComp(&found, x.data(), 0x80000001, 2, 1), QM_OK);
    EXPECT_EQ(found, 6);
    EXPECT_EQ(Api::MedianComp(&found, x.data(), 0x80000001, 2, 1), QM_OK);
    EXPECT_EQ(found, 6);
    const float mean = 5;
    EXPECT_EQ(Api::DeviationComp(&found, &mean, x.data(), 0x80000001, 2, 1), QM_OK);
    EXPECT_EQ(found, 1);
}

TEST(FloatDeviation, DividesByOneLessThanThePixels) {
    const Floats x{1, 3, 2, 2, 3, 1};
    float found[2];
    const float means[2] = {2, 1};  // the second is not the mean, and is believed
    EXPECT_EQ(Api::DeviationComp(found, means, x.data(), 3, 1, 2), QM_OK);
    EXPECT_EQ(found[0], 1.0f);                  // (1 + 0 + 1) / 2
    EXPECT_EQ(found[1], std::pow(2.5f, 0.5f));  // (4 + 1 + 0) / 2
    EXPECT_EQ(Api::DeviationComp(found, means, x.data(), 1, 1, 2), QM_OK);
    EXPECT_EQ(found[0], kInfinity);  // 1 / 0
    const float exact[2] = {1, 3};
    EXPECT_EQ(Api::DeviationComp(found, exact, x.data(), 1, 1, 2), QM_OK);
    EXPECT_TRUE(std::isnan(found[0]));  // 0 / 0
}

// ----- Median ------------------------------------------------------------------------------------

TEST(FloatMedian, IsTheUpperOne) {
    const Floats x{4, 1, 3, 2};
    float found = 0;
    EXPECT_EQ(Api::MedianComp(&found, x.data(), 2, 2, 1), QM_OK);
    EXPECT_EQ(found, 3);
    EXPECT_EQ(Api::MedianComp(&found, x.data(), 3, 1, 1), QM_OK);
    EXPECT_EQ(found, 3);
    EXPECT_EQ(Api::MedianComp(&found, x.data(), 1, 1, 1), QM_OK);
    EXPECT_EQ(found, 4);
}

TEST(FloatMedian, OrdersNegativeNumbers) {
    const Floats x{-4, 10, -1, 20, -3, 30, 2, 40, -kInfinity, 50};
    float found[2];
    EXPECT_EQ(Api::MedianComp(found, x.data(), 5, 1, 2), QM_OK);
    EXPECT_EQ(found[0], -3);
    EXPECT_EQ(found[1], 30);
}

TEST(FloatMedian, WithoutMemoryGivesItsCode) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const Floats x(100, 1.0f);
    const uint32_t allocations = each_failure(
        [&] {
            float found[2];
            return Api::MedianComp(found, x.data(), 50, 1, 2);
        },
        [](uint32_t n, const Outcome& outcome) {
            EXPECT_EQ(outcome.code, n == 0 ? QM_OK : QM_NO_MEMORY);
            EXPECT_EQ(outcome.live, 0);
        });
    EXPECT_EQ(allocations, 1u);
}

TEST(FloatStatistics, RunInTheCallingThreadAndAllocateForMediansAlone) {
    Floats x(4096, 1.0f), found(4), means(4, 1.0f);
    const auto all = [&] {
        Api::GetFloatMinMax(x.data(), 4, 1, 1, 4096, found.data(), nullptr);
        Api::GetFloatMinMaxInComps(x.data(), 12, 3, 1, 1000, found.data(), nullptr);
        Api::Mean(x.data(), 4, 1, 1, 4096);
        Api::MeanComp(found.data(), x.data(), 1, 1000, 4);
        Api::MinComp(found.data(), x.data(), 1, 1000, 4);
        Api::MaxComp(found.data(), x.data(), 1, 1000, 4);
        Api::DeviationComp(found.data(), means.data(), x.data(), 1, 1000, 4);
        return QM_OK;
    };
    if (FailingAlloc::kWorks) {
        EXPECT_EQ(with_failing(0, FailingAlloc::kOnce, all).seen, 0u);
    }
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    const WatchedRegions regions;
    all();
    Api::MedianComp(found.data(), x.data(), 1, 1000, 4);
    EXPECT_TRUE(regions.teams().empty());
}

}  // namespace
}  // namespace qmpic::test
