#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "histogram/histo.h"
#include "qmpic/PicBuf.h"
#include "qmpic/status.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = SQmPicBufAPI_Base;
using Bins = std::vector<int>;

/// What a call asks for.
struct Request {
    int bins;
    bool ranged;
    int low, high;
    int samples;
};

struct Steps {
    uint32_t rows = 1, pixels = 1;
};
Steps steps_of(const SQmPicBuf& picture, int samples) {
    Steps steps;
    if (samples > 0 && static_cast<uint32_t>(samples) < picture.uiWidth * picture.uiHeight) {
        const auto w = static_cast<float>(picture.uiWidth);
        const auto h = static_cast<float>(picture.uiHeight);
        const auto n = static_cast<float>(samples);
        const float product = h * n;
        const float quotient = product / w;
        const float s = sqrtf(quotient);
        const float columns = n / s;
        steps.rows = static_cast<uint32_t>(h / s);
        steps.pixels = static_cast<uint32_t>(w / columns) * picture.uiComponents;
        if (steps.rows == 0) steps.rows = 1;
        if (steps.pixels == 0) steps.pixels = 1;
    }
    return steps;
}

/// The low 32 bits as a signed number.
int64_t wrapped(int64_t value) {
    const int64_t low = value & 0xFFFFFFFF;
    return low >= 0x80000000 ? low - 0x100000000 : low;
}

/// The bin of a value, or -1.
int64_t bin_of(uint32_t value, const Request& request, uint32_t bpc) {
    const int64_t bins = request.bins, max = (int64_t{1} << bpc) - 1;
    int64_t bin;
    if (request.ranged) {
        bin = wrapped(wrapped(value - int64_t{request.low}) * (bins - 1)) /
              wrapped(int64_t{request.high} - request.low);
        return std::clamp<int64_t>(bin, 0, bins - 1);
    }
    bin = bins - 1 == max ? value : wrapped(value * (bins - 1)) / max;
    return bin >= 0 && bin < bins ? bin : -1;
}

/// Adds one component's samples to bins.
void count(Bins& bins, const GuardedPicture& picture, uint32_t component, const Request& request,
           const GuardedPicture* mask) {
    const SQmPicBuf record = record_of(picture);
    const Steps steps = steps_of(record, request.samples);
    for (uint64_t y = 0; y < record.uiHeight; y += steps.rows)
        for (uint64_t x = 0; x < record.uiWidth; x += steps.pixels) {
            const auto column = static_cast<uint32_t>(x), row = static_cast<uint32_t>(y);
            if (mask != nullptr && mask->get(column, row) == 0) continue;
            const uint64_t value = picture.get(column * record.uiComponents + component, row);
            const int64_t bin = bin_of(static_cast<uint32_t>(value), request, record.uiBpc);
            if (bin >= 0) ++bins[static_cast<size_t>(bin)];
        }
}

int call_all(int** bins, const Request& r, SQmPicBuf& picture, const SQmPicBuf* mask,
             bool* cancel) {
    return r.ranged ? Api::CalculateCompHistogram(bins, r.bins, r.low, r.high, picture, r.samples,
                                                  mask, cancel)
                    : Api::CalculateCompHistogram(bins, r.bins, picture, r.samples, mask, cancel);
}
int call_one(int* bins, const Request& r, SQmPicBuf& picture, int component, const SQmPicBuf* mask,
             bool* cancel) {
    return r.ranged
               ? Api::CalculateHistogram(bins, r.bins, r.low, r.high, picture, component, r.samples,
                                         mask, cancel)
               : Api::CalculateHistogram(bins, r.bins, picture, component, r.samples, mask, cancel);
}

void check(Round round) {
    Random& random = round.random;
    const uint32_t bpc = round.in_turn(std::vector<uint32_t>{8, 8, 8, 9, 10, 12, 14, 15, 16});
    const uint32_t components = random(0, 2) ? random(1, 4) : random.components();
    Size size = random.size(components);
    // Now and then enough for a count of values first.
    if (round.number % 16 == 3 && components < 5) size = {200, 200};
    if (round.number % 48 == 12 && components < 5) size = {500, 320};
    const GuardedPicture picture({components, bpc == 8 ? 8u : 16u, bpc}, size, random);
    const GuardedPicture masking({1, 8, 1}, size, random);
    SQmPicBuf record = record_of(picture), mask = record_of(masking);
    mask.uiBpc = 8;
    const bool masked = random(0, 2) == 0;

    Request request{};
    const int top = (1 << bpc) - 1;
    const auto maximum = static_cast<uint32_t>(top);
    request.bins = random(0, 2) ? static_cast<int>(random(1, 300))
                                : random.one_of({1, 2, 256, top, top + 1, top + 2, 100000});
    request.ranged = random(0, 1);
    request.low = static_cast<int>(random(0, 2 * maximum));
    request.low -= static_cast<int>(random(0, maximum));
    if (random(0, 3) == 0) request.low = static_cast<int>(random.any());
    request.high = static_cast<int>(random(0, 3) ? random(0, 2 * maximum) : random.any());
    if (random(0, 15) == 0) request.high = request.low / 2 - 1;  // upside down
    if (request.high == request.low) request.high = request.low == 0 ? 1 : 0;
    request.samples = random(0, 1) ? 0 : static_cast<int>(random(0, size.width * size.height + 9));
    if (random(0, 9) == 0) request.samples = random.one_of({-1, INT32_MIN, INT32_MAX});
    bool cancel = false;
    bool* const flag = random(0, 1) ? &cancel : nullptr;

    const auto of_bins = static_cast<size_t>(request.bins);
    std::vector<Bins> expected(components, Bins(of_bins, 7));
    std::vector<Bins> found = expected;
    std::vector<int*> blocks;
    for (Bins& bins : found) blocks.push_back(bins.data());
    const uint32_t left_out = random(0, 3 * components);
    for (uint32_t c = 0; c < components; ++c)
        if (c == left_out)
            blocks[c] = nullptr;
        else
            count(expected[c], picture, c, request, masked ? &masking : nullptr);

    ASSERT_EQ(call_all(blocks.data(), request, record, masked ? &mask : nullptr, flag), QM_OK);

    ASSERT_TRUE(found == expected)
        << size.width << " x " << size.height << " pixels of " << components << " x " << bpc << ", "
        << request.bins << " bins, " << request.samples << " samples";
    const uint32_t one = random(0, components - 1);
    Bins of_one(of_bins, 3), expected_of_one = of_one;
    count(expected_of_one, picture, one, request, masked ? &masking : nullptr);
    ASSERT_EQ(call_one(of_one.data(), request, record, static_cast<int>(one),
                       masked ? &mask : nullptr, flag),
              QM_OK);
    ASSERT_TRUE(of_one == expected_of_one) << "component " << one << " of " << components;
    for (const int bin : of_one) round.digest.add(static_cast<uint32_t>(bin));
}

const bool registered = add_cases({{"SQmPicBufAPI_Base::CalculateCompHistogram", check, 192}}, {},
                                  {"SQmPicBufAPI_Base::CalculateHistogram"});

/// A picture in memory of its own.
struct Picture : SQmPicBuf {
    Picture(uint32_t width, uint32_t height, uint32_t bpc, uint32_t components) {
        Api::Init(this);
        EXPECT_EQ(Api::Reinit(this, width, height, 0, bpc, components, true), QM_OK);
    }
    ~Picture() { Api::Free(this); }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    uint8_t& byte(uint32_t x, uint32_t y) {
        return static_cast<uint8_t*>(pData)[uint64_t{y} * uiWidthBytes + x];
    }
    uint16_t& word(uint32_t x, uint32_t y) {
        return reinterpret_cast<uint16_t*>(&byte(2 * x, y))[0];
    }
    Picture& fill(uint8_t value) {
        std::fill_n(static_cast<uint8_t*>(pData), ui64Size, value);
        return *this;
    }
};

int sum(const Bins& bins) {
    int all = 0;
    for (const int bin : bins) all += bin;
    return all;
}

TEST(SampledHistogram, TakesValuesForBinsWhereThereIsOneForEach) {
    Picture picture(3, 1, 8, 1);
    picture.byte(0, 0) = 0, picture.byte(1, 0) = 200, picture.byte(2, 0) = 255;
    Bins bins(256);
    EXPECT_EQ(Api::CalculateHistogram(bins.data(), 256, picture, 0, 0, nullptr, nullptr), QM_OK);
    EXPECT_EQ(bins[0], 1);
    EXPECT_EQ(bins[200], 1);
    EXPECT_EQ(bins[255], 1);
}

TEST(SampledHistogram, ScalesValuesToOtherNumbersOfBins) {
    Picture picture(3, 1, 8, 1);
    picture.byte(0, 0) = 84, picture.byte(1, 0) = 85, picture.byte(2, 0) = 255;
    Bins bins(4);  // 84 * 3 / 255 = 0.99, 85 * 3 / 255 = 1
    Api::CalculateHistogram(bins.data(), 4, picture, 0, 0, nullptr, nullptr);
    EXPECT_EQ(bins, (Bins{1, 1, 0, 1}));
    bins.assign(4, 0);  // from 80 to 90: 4 * 3 / 10 = 1, 5 * 3 / 10 = 1, and what is above
    Api::CalculateHistogram(bins.data(), 4, 80, 90, picture, 0, 0, nullptr, nullptr);
    EXPECT_EQ(bins, (Bins{0, 2, 0, 1}));
    bins.assign(4, 0);  // from 100 to 254: two below, one above
    Api::CalculateHistogram(bins.data(), 4, 100, 254, picture, 0, 0, nullptr, nullptr);
    EXPECT_EQ(bins, (Bins{2, 0, 0, 1}));
}

// Values are not masked: with a range they are limited, and without one they have no bin.
TEST(SampledHistogram, ReadsWordsAsTheyStand) {
    Picture picture(2, 1, 12, 1);
    picture.word(0, 0) = 0xF123, picture.word(1, 0) = 0x0123;
    Bins bins(4096);
    Api::CalculateHistogram(bins.data(), 4096, picture, 0, 0, nullptr, nullptr);
    EXPECT_EQ(bins[0x123], 1);
    EXPECT_EQ(sum(bins), 1);
    bins.assign(4096, 0);
    Api::CalculateHistogram(bins.data(), 4096, 0, 4095, picture, 0, 0, nullptr, nullptr);
    EXPECT_EQ(bins[0x123], 1);
    EXPECT_EQ(bins[4095], 1);
}

// 65535 * 32769 is above 2^31 and so negative; 65535 * 65538 is 2^32 + 65534, which is bin 0.
TEST(SampledHistogram, WrapsProductsAndCountsNothingOutside) {
    Picture picture(1, 1, 16, 1);
    picture.word(0, 0) = 65535;
    Bins bins(65540);
    Api::CalculateHistogram(bins.data(), 32769, picture, 0, 0, nullptr, nullptr);
    EXPECT_EQ(bins[32768], 1);  // 65535 * 32768 fits
    bins.assign(bins.size(), 0);
    Api::CalculateHistogram(bins.data(), 32770, picture, 0, 0, nullptr, nullptr);
    EXPECT_EQ(sum(bins), 0);
    Api::CalculateHistogram(bins.data(), 65539, picture, 0, 0, nullptr, nullptr);
    EXPECT_EQ(bins[0], 1);
    EXPECT_EQ(sum(bins), 1);
}

TEST(SampledHistogram, FormsQuotientsOfARangeIn64Bits) {
    Picture picture(1, 1, 8, 1);
    picture.byte(0, 0) = 0;
    Bins bins(3);
    // (0 - 2^30) * 2 is -2^31; by -1 it is 2^31, which 32 bits do not hold, and above all bins.
    Api::CalculateHistogram(bins.data(), 3, 1 << 30, (1 << 30) - 1, picture, 0, 0, nullptr,
                            nullptr);
    EXPECT_EQ(bins, (Bins{0, 0, 1}));
    // A range that is upside down: (0 - 10) * 2 / -5 = 4, limited to 2.
    bins.assign(3, 0);
    Api::CalculateHistogram(bins.data(), 3, 10, 5, picture, 0, 0, nullptr, nullptr);
    EXPECT_EQ(bins, (Bins{0, 0, 1}));
    // INT_MAX - INT_MIN is -1.
    bins.assign(3, 0);
    Api::CalculateHistogram(bins.data(), 3, INT32_MIN, INT32_MAX, picture, 0, 0, nullptr, nullptr);
    EXPECT_EQ(bins, (Bins{1, 0, 0}));  // -2^31 * 2 is 0
}

TEST(SampledHistogram, AddsToTheBins) {
    Picture picture(4, 2, 8, 1);
    Bins bins(256, 5);
    bins[0] = INT32_MAX;
    Api::CalculateHistogram(bins.data(), 256, picture, 0, 0, nullptr, nullptr);
    EXPECT_EQ(bins[0], INT32_MIN + 7);  // and wraps
    EXPECT_EQ(bins[1], 5);
}

TEST(SampledHistogram, CountsEveryPixelForNoSamplesOrAtLeastAllPixels) {
    Picture picture(40, 30, 8, 3);
    for (const int samples : {0, -1, INT32_MIN, 1200, 1201, INT32_MAX}) {
        Bins bins(256);
        Api::CalculateHistogram(bins.data(), 256, picture, 1, samples, nullptr, nullptr);
        EXPECT_EQ(bins[0], 1200) << samples;
    }
}

// s = sqrt(100 * 100 / 100) = 10 rows of 10 columns: every 10th of 100.
TEST(SampledHistogram, SamplesAGrid) {
    Picture picture(100, 100, 8, 1);
    for (uint32_t y = 0; y < 100; y += 10)
        for (uint32_t x = 0; x < 100; x += 10) picture.byte(x, y) = 1;
    Bins bins(256);
    Api::CalculateHistogram(bins.data(), 256, picture, 0, 100, nullptr, nullptr);
    EXPECT_EQ(bins[1], 100);
    EXPECT_EQ(bins[0], 0);
}

// The step is that of columns times the components, and counts pixels: 0, 30, 60 and 90.
TEST(SampledHistogram, ReachesOnlyEveryNthSampledColumnOfNComponents) {
    Picture picture(100, 100, 8, 3);
    for (uint32_t y = 0; y < 100; y += 10)
        for (uint32_t x = 0; x < 100; x += 30)
            for (uint32_t c = 0; c < 3; ++c)
                picture.byte(3 * x + c, y) = static_cast<uint8_t>(c + 1);
    Bins bins[3] = {Bins(256), Bins(256), Bins(256)};
    int* blocks[] = {bins[0].data(), bins[1].data(), bins[2].data()};
    Api::CalculateCompHistogram(blocks, 256, picture, 100, nullptr, nullptr);
    for (size_t c = 0; c < 3; ++c) {
        EXPECT_EQ(bins[c][c + 1], 40);
        EXPECT_EQ(sum(bins[c]), 40);
    }
    Bins one(256);
    Api::CalculateHistogram(one.data(), 256, picture, 2, 100, nullptr, nullptr);
    EXPECT_EQ(one[3], 40);
    EXPECT_EQ(sum(one), 40);
}

// 3079 / 3079.00024 is below 1.
TEST(SampledHistogram, TakesAStepThatRoundingMakesNothingForOne) {
    Picture picture(3079, 4117, 8, 1);
    Bins bins(256);
    Api::CalculateHistogram(bins.data(), 256, picture, 0, 3079 * 4117 - 1, nullptr, nullptr);
    EXPECT_EQ(bins[0], 3079 * 4117);
}

// Fewer samples than rows: s = sqrt(1000 * 1 / 1) = 31.6, so every 31st row of one column.
TEST(SampledHistogram, CutsStepsToWholeNumbers) {
    Picture picture(1, 1000, 8, 1);
    Bins bins(256);
    Api::CalculateHistogram(bins.data(), 256, picture, 0, 1, nullptr, nullptr);
    EXPECT_EQ(bins[0], 33);  // rows 0, 31 ... 992
}

TEST(SampledHistogram, LeavesOutWhatAMaskLeavesOut) {
    Picture picture(4, 2, 16, 3), mask(4, 2, 8, 1);
    mask.byte(1, 0) = 1, mask.byte(3, 1) = 255;
    picture.word(3 * 1 + 2, 0) = 500, picture.word(3 * 3 + 2, 1) = 600;
    Bins bins(65536);
    EXPECT_EQ(Api::CalculateHistogram(bins.data(), 65536, picture, 2, 0, &mask, nullptr), QM_OK);
    EXPECT_EQ(bins[500], 1);
    EXPECT_EQ(bins[600], 1);
    EXPECT_EQ(sum(bins), 2);
}

TEST(SampledHistogram, RefusesMasksOfOtherFormatsAndSizes) {
    Picture picture(4, 2, 8, 1), components(4, 2, 8, 3), words(4, 2, 16, 1), narrow(3, 2, 8, 1),
        low(4, 1, 8, 1), bits(4, 2, 7, 1);
    SQmPicBuf empty = picture;
    empty.pData = nullptr;
    Bins bins(256);
    int* blocks[] = {bins.data()};
    for (const SQmPicBuf* const mask : std::initializer_list<const SQmPicBuf*>{
             &components, &words, &narrow, &low, &bits, &empty}) {
        EXPECT_EQ(Api::CalculateHistogram(bins.data(), 256, picture, 0, 0, mask, nullptr),
                  QM_REJECTED);
        EXPECT_EQ(Api::CalculateHistogram(bins.data(), 256, 0, 9, picture, 0, 0, mask, nullptr),
                  QM_REJECTED);
        EXPECT_EQ(Api::CalculateCompHistogram(blocks, 256, picture, 0, mask, nullptr), QM_REJECTED);
        EXPECT_EQ(Api::CalculateCompHistogram(blocks, 256, 0, 9, picture, 0, mask, nullptr),
                  QM_REJECTED);
    }
    EXPECT_EQ(bins, Bins(256));
}

TEST(SampledHistogram, RefusesNullBinsMissingComponentsAndNoRange) {
    Picture picture(4, 2, 8, 3);
    Bins bins(256);
    int* blocks[] = {bins.data(), bins.data(), bins.data()};
    EXPECT_EQ(Api::CalculateCompHistogram(nullptr, 256, picture, 0, nullptr, nullptr), QM_REJECTED);
    EXPECT_EQ(Api::CalculateCompHistogram(nullptr, 256, 0, 9, picture, 0, nullptr, nullptr),
              QM_REJECTED);
    EXPECT_EQ(Api::CalculateHistogram(nullptr, 256, picture, 0, 0, nullptr, nullptr), QM_REJECTED);
    EXPECT_EQ(Api::CalculateHistogram(nullptr, 256, 0, 9, picture, 0, 0, nullptr, nullptr),
              QM_REJECTED);
    for (const int component : {3, 4, INT32_MAX, -1, INT32_MIN}) {
        EXPECT_EQ(
            Api::CalculateHistogram(bins.data(), 256, picture, component, 0, nullptr, nullptr),
            QM_REJECTED);
        EXPECT_EQ(Api::CalculateHistogram(bins.data(), 256, 0, 9, picture, component, 0, nullptr,
                                          nullptr),
                  QM_REJECTED);
    }
    EXPECT_EQ(Api::CalculateHistogram(bins.data(), 256, 9, 9, picture, 0, 0, nullptr, nullptr),
              QM_REJECTED);
    EXPECT_EQ(Api::CalculateCompHistogram(blocks, 256, 9, 9, picture, 0, nullptr, nullptr),
              QM_REJECTED);
    EXPECT_EQ(bins, Bins(256));
}

TEST(SampledHistogram, CountsNothingInNoBinsOfOtherDepthsOrWithoutPixels) {
    Picture picture(4, 2, 8, 1);
    Bins bins(256);
    int* blocks[] = {bins.data()};
    for (const int count : {0, -1, INT32_MIN}) {
        EXPECT_EQ(Api::CalculateHistogram(bins.data(), count, picture, 0, 0, nullptr, nullptr),
                  QM_OK);
        EXPECT_EQ(
            Api::CalculateHistogram(bins.data(), count, 0, 9, picture, 0, 0, nullptr, nullptr),
            QM_OK);
        EXPECT_EQ(Api::CalculateCompHistogram(blocks, count, picture, 0, nullptr, nullptr), QM_OK);
    }
    for (const uint32_t bpc : {0u, 1u, 7u, 17u, 24u, 32u, 64u}) {
        SQmPicBuf other = picture;
        other.uiBpc = static_cast<uint8_t>(bpc);
        EXPECT_EQ(Api::CalculateHistogram(bins.data(), 256, other, 0, 0, nullptr, nullptr), QM_OK);
        EXPECT_EQ(Api::CalculateCompHistogram(blocks, 256, 0, 9, other, 0, nullptr, nullptr),
                  QM_OK);
    }
    SQmPicBuf none = picture, flat = picture, narrow = picture, plain = picture;
    none.pData = nullptr;
    flat.uiHeight = 0;
    narrow.uiWidth = 0;
    plain.uiComponents = 0;
    for (SQmPicBuf* const empty : {&none, &flat, &narrow}) {
        EXPECT_EQ(Api::CalculateHistogram(bins.data(), 256, *empty, 0, 3, nullptr, nullptr), QM_OK);
        EXPECT_EQ(Api::CalculateCompHistogram(blocks, 256, *empty, 3, nullptr, nullptr), QM_OK);
    }
    EXPECT_EQ(Api::CalculateCompHistogram(blocks, 256, plain, 3, nullptr, nullptr), QM_OK);
    narrow.uiComponents = 3;
    EXPECT_EQ(Api::CalculateHistogram(bins.data(), 256, narrow, 2, 0, nullptr, nullptr), QM_OK);
    EXPECT_EQ(bins, Bins(256));
}

TEST(SampledHistogram, LeavesRowsOutWhileItIsCancelled) {
    for (const uint32_t bpc : {8u, 16u}) {
        Picture picture(300, 300, bpc, 1);
        Bins bins(256);
        bool cancel = true;
        EXPECT_EQ(Api::CalculateHistogram(bins.data(), 256, picture, 0, 0, nullptr, &cancel),
                  QM_OK);
        EXPECT_EQ(sum(bins), 0);
        EXPECT_EQ(Api::CalculateHistogram(bins.data(), 256, picture, 0, 9, nullptr, &cancel),
                  QM_OK);
        EXPECT_EQ(sum(bins), 0);
        cancel = false;
        EXPECT_EQ(Api::CalculateHistogram(bins.data(), 256, picture, 0, 0, nullptr, &cancel),
                  QM_OK);
        EXPECT_EQ(bins[0], 90000);
    }
}

TEST(SampledHistogram, MayBeCancelledByAnotherThread) {
    Picture picture(64, 4000, 8, 1);
    Bins bins(256);
    bool cancel = false;
    std::thread other([&] { std::atomic_ref<bool>(cancel).store(true); });
    EXPECT_EQ(Api::CalculateHistogram(bins.data(), 256, picture, 0, 0, nullptr, &cancel), QM_OK);
    other.join();
    EXPECT_EQ(bins[0] % 64, 0);  // whole rows
    EXPECT_LE(bins[0], 64 * 4000);
}

// Additions are atomic, so that callers may share their bins.
TEST(SampledHistogram, SeveralCallersMayShareBins) {
    for (const uint32_t edge : {5u, 300u}) {
        Picture picture(edge, edge, 8, 1);
        Bins bins(16);
        std::vector<std::thread> callers;
        for (int i = 0; i < 4; ++i)
            callers.emplace_back(
                [&] { Api::CalculateHistogram(bins.data(), 16, picture, 0, 0, nullptr, nullptr); });
        for (std::thread& caller : callers) caller.join();
        EXPECT_EQ(bins[0], static_cast<int>(4 * edge * edge));
    }
}

TEST(SampledHistogram, SpreadsItsRowsOverTheDefaultTeam) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    for (const uint32_t edge : {16u, 300u}) {
        Picture picture(edge, edge, 8, 1);
        Bins bins(256);
        std::vector<uint32_t> teams;
        {
            const WatchedRegions regions;
            Api::CalculateHistogram(bins.data(), 256, picture, 0, 0, nullptr, nullptr);
            teams = regions.teams();
        }
        EXPECT_EQ(teams, std::vector<uint32_t>{0});
        EXPECT_EQ(bins[0], static_cast<int>(edge * edge));
    }
}

TEST(SampledHistogram, CountsAllTheSameWithoutMemory) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    Picture picture(400, 400, 16, 1);
    picture.fill(1);
    for (const uint32_t n : {0u, 1u, 2u}) {
        Bins bins(65536);
        const Outcome outcome = with_failing(n, FailingAlloc::kOnce, [&] {
            return Api::CalculateHistogram(bins.data(), 65536, picture, 0, 0, nullptr, nullptr);
        });
        EXPECT_EQ(outcome.code, QM_OK);
        EXPECT_EQ(outcome.live, 0);
        EXPECT_EQ(bins[257], 160000);
    }
}

}  // namespace
}  // namespace qmpic::test
