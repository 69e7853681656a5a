#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "histogram/histo.h"
#include "qmpic/Histo.h"
#include "qmpic/status.h"
#include "support/cases.h"
#include "support/failing_alloc.h"
#include "support/levels.h"
#include "support/processors.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Api = CQmHistoAPI_Base;
using Counts = std::vector<uint64_t>;

struct Rectangle {
    uint32_t left, top, width, height;
};

/// Adds to the bins of all blocks what the pixels of a rectangle count, pixel by pixel.
void count(Counts& bins, uint32_t bin_bytes, const GuardedPicture& picture, Rectangle rectangle,
           uint32_t step_x, uint32_t step_y) {
    const auto [components, bits, bpc] = picture.format();
    const uint64_t block = uint64_t{1} << bpc;
    const auto bump = [&](uint64_t at) {
        bins[at] = (bins[at] + 1) & (bin_bytes == 4 ? 0xFFFFFFFF : UINT64_MAX);
    };
    for (uint64_t y = rectangle.top; y < uint64_t{rectangle.top} + rectangle.height; y += step_y)
        for (uint64_t x = rectangle.left; x < uint64_t{rectangle.left} + rectangle.width;
             x += step_x) {
            if (x >= picture.size().width || y >= picture.size().height) continue;
            uint64_t sum = 0;
            for (uint32_t c = 0; c < components; ++c) {
                const uint64_t value = picture.get(static_cast<uint32_t>(x) * components + c,
                                                   static_cast<uint32_t>(y)) %
                                       block;
                if (components > 1) bump((c + 1) * block + value);
                sum += value;
            }
            bump(sum / components);
        }
}

/// One call on a random picture: whole, a rectangle within or beyond the picture, or nothing.
void check_calculate(Round round) {
    Random& random = round.random;
    const uint32_t bpc = round.in_turn(std::vector<uint32_t>{8, 9, 10, 11, 12, 13, 14, 15, 16});
    const uint32_t components = bpc < 13 ? random.components() : random(1, 5);
    const Size size = random.size(components);
    const GuardedPicture picture({components, bpc == 8 ? 8u : 16u, bpc}, size, random);
    const SQmPicBuf record = record_of(picture);
    Histo histo(random(0, 1) ? 4 : 8, describe(size.width, size.height, bpc, components));
    for (uint32_t i = 0; i < 16; ++i) {
        const uint32_t b = random(0, histo.blocks() - 1), at = random(0, (1 << bpc) - 1);
        histo.set(b, at, random.any());
    }
    histo.uiRoiMode = random(0, 4);
    histo.uiStepX = random(0, 3) ? random(0, 5) : random.any();
    histo.uiStepY = random(0, 3) ? random(0, 3) : random.any();
    Rectangle rectangle{0, 0, size.width, size.height};
    if (histo.uiRoiMode == 1) {
        rectangle.left = random(0, size.width + 1);
        rectangle.top = random(0, size.height + 1);
        rectangle.width = random(0, 3) ? random(0, size.width) : random.any();
        rectangle.height = random(0, 3) ? random(0, size.height) : random.any();
        histo.uiLeft = rectangle.left, histo.uiTop = rectangle.top;
        histo.uiWidth = rectangle.width, histo.uiHeight = rectangle.height;
        if (histo.uiBinBytes == 8) {  // made anew by every call, with the picture's width
            rectangle.width = size.width;
        }
    }
    const bool reset = random(0, 1);
    Counts expected = reset ? Counts(histo.all().size(), 0) : histo.all();
    if (histo.uiRoiMode <= 1)
        count(expected, histo.uiBinBytes, picture,
              {rectangle.left, rectangle.top,
               std::min(rectangle.width, size.width + 1),  // enough to leave the picture
               std::min(rectangle.height, size.height + 1)},
              std::max(histo.uiStepX, 1u), std::max(histo.uiStepY, 1u));

    ASSERT_EQ(Api::Calculate(&histo, &record, reset), QM_OK);

    ASSERT_EQ(histo.all(), expected)
        << size.width << " x " << size.height << " pixels of " << components << " x " << bpc
        << ", mode " << histo.uiRoiMode << ", steps " << histo.uiStepX << ", " << histo.uiStepY;
    for (const uint64_t bin : expected)
        if (bin != 0) round.digest.add(bin);
}

const bool registered = add_cases({{"CQmHistoAPI_Base::Calculate", check_calculate, 96}});

/// A picture whose rows are enough for many threads, its reference, and what differs.
struct Large {
    uint32_t components, bpc, width, height;
    GuardedPicture picture;
    SQmPicBuf record;

    Large(uint32_t components_, uint32_t bpc_, uint32_t width_, uint32_t height_, Random& random)
        : components(components_),
          bpc(bpc_),
          width(width_),
          height(height_),
          picture({components_, bpc_ == 8 ? 8u : 16u, bpc_}, {width_, height_}, random),
          record(record_of(picture)) {}
    Counts expected(const Histo& histo, uint32_t step_x = 1, uint32_t step_y = 1) const {
        Counts bins = histo.all();
        count(bins, histo.uiBinBytes, picture, {0, 0, width, height}, step_x, step_y);
        return bins;
    }
};

class CalculateInTeams : public testing::TestWithParam<Level> {
  protected:
    const ForcedLevel forced{GetParam()};
};

// Private bins are added up, whatever the number of processors.
TEST_P(CalculateInTeams, CountsTheSameForEveryNumberOfProcessors) {
    Random random(1);
    const struct {
        uint32_t components, bpc, width, height, step_x, step_y;
    } calls[] = {{1, 8, 400, 400, 1, 1},  {1, 12, 500, 401, 1, 1}, {3, 8, 300, 200, 1, 1},
                 {1, 16, 700, 600, 1, 1}, {2, 16, 700, 601, 2, 1}, {3, 16, 640, 643, 1, 1},
                 {4, 9, 333, 300, 1, 2},  {5, 8, 200, 301, 3, 1},  {1, 8, 90, 9000, 1, 3},
                 {1, 8, 400000, 1, 1, 1}, {1, 8, 200000, 2, 1, 1}};
    for (const auto& [components, bpc, width, height, step_x, step_y] : calls) {
        const Large large(components, bpc, width, height, random);
        for (const uint32_t bytes : {4u, 8u}) {
            Histo before(bytes, describe(width, height, bpc, components));
            before.set(0, 3, 0xFFFFFFF0);
            before.set(before.blocks() - 1, 1, 77);
            const Counts expected = large.expected(before, step_x, step_y);
            for (const int processors : {1, 2, 3, 8}) {
                const Processors stated(processors);
                Histo histo;
                ASSERT_EQ(Api::Copy(&histo, &before), QM_OK);
                histo.uiStepX = step_x, histo.uiStepY = step_y;
                ASSERT_EQ(Api::Calculate(&histo, &large.record, false), QM_OK);
                ASSERT_TRUE(histo.all() == expected)
                    << components << " x " << bpc << ", " << processors << " processors, bins of "
                    << bytes;
            }
        }
    }
}

// Where the runtime gives fewer threads than there are processors.
TEST_P(CalculateInTeams, CountsTheSameInSmallerTeams) {
    Random random(2);
    const Large large(3, 8, 500, 400, random);
    const Counts expected = large.expected(Histo(4, describe(1, 1, 8, 3)));
    const Processors stated(8);
    const auto calculated = [&] {
        Histo histo(4, describe(1, 1, 8, 3));
        EXPECT_EQ(Api::Calculate(&histo, &large.record, true), QM_OK);
        return histo.all();
    };
    Counts within[3];
#pragma omp parallel num_threads(3)
    within[omp_get_thread_num()] = calculated();  // alone, since regions within regions are
    for (const Counts& found : within) EXPECT_TRUE(found == expected);

    const int levels = omp_get_max_active_levels();
    omp_set_max_active_levels(2);
#pragma omp parallel num_threads(3)
    within[omp_get_thread_num()] = calculated();
    omp_set_max_active_levels(levels);
    for (const Counts& found : within) EXPECT_TRUE(found == expected);

    omp_set_dynamic(1);  // as many as the load of the machine allows
    EXPECT_TRUE(calculated() == expected);
    omp_set_dynamic(0);
}

TEST_P(CalculateInTeams, CountsTheSameForSeveralCallers) {
    Random random(3);
    const Large large(1, 12, 500, 400, random);
    const Counts expected = large.expected(Histo(4, describe(1, 1, 12, 1)));
    const Processors stated(3);
    std::vector<std::thread> callers;
    for (int i = 0; i < 4; ++i)
        callers.emplace_back([&] {
            Histo histo(4, describe(1, 1, 12, 1));
            EXPECT_EQ(Api::Calculate(&histo, &large.record, true), QM_OK);
            EXPECT_TRUE(histo.all() == expected);
        });
    for (std::thread& caller : callers) caller.join();
}

INSTANTIATE_TEST_SUITE_P(Levels, CalculateInTeams, testing::ValuesIn(levels()),
                         [](const auto& level) { return name_of(level.param); });

TEST(Calculate, AsksForAThreadAProcessorAndChangesNoDefault) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    Random random(4);
    const Large large(1, 8, 500, 400, random);
    const int before = omp_get_max_threads();
    for (const int processors : {1, 2, 3, 8}) {
        const Processors stated(processors);
        Histo histo(4, describe(1, 1, 8, 1));
        std::vector<uint32_t> teams;
        {
            const WatchedRegions regions;
            Api::Calculate(&histo, &large.record, true);
            teams = regions.teams();
        }
        if (processors == 1)
            EXPECT_TRUE(teams.empty());
        else
            EXPECT_EQ(teams, std::vector<uint32_t>{static_cast<uint32_t>(processors)});
        EXPECT_EQ(omp_get_max_threads(), before);
    }
}

// Private bins would cost more than the counting.
TEST(Calculate, CountsSmallPicturesInTheCallingThread) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    Random random(5);
    const Large large(3, 16, 64, 64, random);
    const Processors stated(8);
    Histo histo(4, describe(1, 1, 16, 3));
    const Counts expected = large.expected(histo);
    uint32_t forks = 0;
    {
        const WatchedRegions regions;
        Api::Calculate(&histo, &large.record, true);
        forks = regions.forks();
    }
    EXPECT_EQ(forks, 0u);
    EXPECT_TRUE(histo.all() == expected);
}

TEST(Calculate, CountsAllTheSameWithoutMemoryForThreads) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    Random random(6);
    const Large large(3, 8, 500, 400, random);
    const Processors stated(4);
    Histo histo(4, describe(1, 1, 8, 3));
    const Counts expected = large.expected(histo);
    for (const uint32_t n : {0u, 1u, 2u}) {
        const Outcome outcome = with_failing(
            n, FailingAlloc::kOnce, [&] { return Api::Calculate(&histo, &large.record, true); });
        EXPECT_EQ(outcome.code, QM_OK);
        EXPECT_EQ(outcome.failed, n == 0 ? 0u : 1u);
        EXPECT_TRUE(histo.all() == expected) << n;
    }
}

/// A picture that counts in bin 1 for each pixel.
struct Ones {
    std::vector<uint8_t> bytes;
    SQmPicBuf record;
    Ones(uint32_t width, uint32_t height, uint32_t bpc, uint32_t components)
        : bytes(size_t{width} * height * components * ((bpc + 7) / 8), 0) {
        const uint32_t step = (bpc + 7) / 8;
        for (size_t i = 0; i < bytes.size(); i += step) bytes[i] = 1;
        record = {width,
                  height,
                  width * components * step,
                  static_cast<uint8_t>(bpc),
                  components,
                  bytes.size(),
                  bytes.data()};
    }
};

TEST(Calculate, FitsTheRecordToThePicture) {
    const Ones ones(6, 4, 12, 2);
    Histo narrow(4, describe(1, 1, 8, 1)), wide(8, describe(1, 1, 8, 1));
    for (Histo* const histo : {&narrow, &wide}) {
        EXPECT_EQ(Api::Calculate(histo, &ones.record, false), QM_OK);
        EXPECT_EQ(histo->uiBits, 12u);
        EXPECT_EQ(histo->uiComponents, 2u);
        EXPECT_EQ(histo->uiWidth, 6u);
        EXPECT_EQ(histo->uiPicHeight, 4u);
        for (uint32_t b = 0; b < 3; ++b) EXPECT_EQ(histo->get(b, 1), 24u);
    }
    EXPECT_EQ(narrow.uiBinBytes, 4u);
    EXPECT_EQ(wide.uiBinBytes, 8u);
}

TEST(Calculate, AddsToTheCountsUnlessItIsToReset) {
    const Ones ones(6, 4, 8, 1);
    Histo histo(4, describe(6, 4, 8, 1));
    for (const uint64_t expected : {24u, 48u}) {
        Api::Calculate(&histo, &ones.record, false);
        EXPECT_EQ(histo.get(0, 1), expected);
    }
    Api::Calculate(&histo, &ones.record, true);
    EXPECT_EQ(histo.get(0, 1), 24u);
    EXPECT_EQ(histo.get(0, 0), 0u);
}

// A record fresh from Init has no bins, and none are made.
TEST(Calculate, CountsNothingWithoutBins) {
    const Ones ones(6, 4, 8, 1);
    Histo histo;
    EXPECT_EQ(Api::Calculate(&histo, &ones.record, true), QM_OK);
    EXPECT_EQ(histo.pData, nullptr);
    EXPECT_EQ(histo.uiBinBytes, 0u);
    EXPECT_EQ(histo.uiComponents, 0u);
}

TEST(Calculate, DropsTheCodeOfADepthThatIsNotCounted) {
    for (const uint32_t bpc : {0u, 1u, 7u, 17u, 24u, 32u}) {
        const Ones ones(6, 4, bpc, 3);
        Histo histo(4, describe(6, 4, bpc, 3));
        histo.set(0, 0, 5);
        EXPECT_EQ(Api::Calculate(&histo, &ones.record, false), QM_OK);
        EXPECT_EQ(histo.get(0, 0), 5u);
        histo.set(0, 0, 0);
        EXPECT_EQ(histo.all(), Counts(histo.all().size(), 0)) << bpc;
    }
}

TEST(Calculate, CountsNothingInOtherModesButResets) {
    const Ones ones(6, 4, 8, 1);
    Histo histo(4, describe(6, 4, 8, 1));
    for (const uint32_t mode : {2u, 3u, 0xFFFFFFFFu}) {
        histo.uiRoiMode = mode;
        histo.set(0, 9, 5);
        EXPECT_EQ(Api::Calculate(&histo, &ones.record, false), QM_OK);
        EXPECT_EQ(histo.get(0, 9), 5u);
        EXPECT_EQ(histo.get(0, 1), 0u);
        EXPECT_EQ(Api::Calculate(&histo, &ones.record, true), QM_OK);
        EXPECT_EQ(histo.all(), Counts(256, 0));
    }
}

TEST(Calculate, CountsTheRectangleOnly) {
    Ones ones(6, 4, 8, 1);
    ones.bytes[1 * 6 + 2] = 7;  // of the first row and column
    ones.bytes[2 * 6 + 4] = 9;  // of the last
    ones.bytes[0] = ones.bytes[3 * 6 + 5] = 200;
    Histo histo(4, describe(6, 4, 8, 1));
    histo.uiRoiMode = 1;
    histo.uiLeft = 2, histo.uiTop = 1, histo.uiWidth = 3, histo.uiHeight = 2;
    Api::Calculate(&histo, &ones.record, true);
    EXPECT_EQ(histo.get(0, 7), 1u);
    EXPECT_EQ(histo.get(0, 9), 1u);
    EXPECT_EQ(histo.get(0, 1), 4u);
    EXPECT_EQ(histo.get(0, 200), 0u);
    histo.uiStepX = 2, histo.uiStepY = 2;
    Api::Calculate(&histo, &ones.record, true);
    EXPECT_EQ(histo.get(0, 7), 1u);
    EXPECT_EQ(histo.get(0, 1), 1u);
    EXPECT_EQ(histo.get(0, 9), 0u);
}

TEST(Calculate, StaysWithinThePictureWhateverTheRectangle) {
    const Ones ones(6, 4, 12, 1);
    Histo histo(4, describe(6, 4, 12, 1));
    histo.uiRoiMode = 1;
    const struct {
        uint32_t left, top, width, height, counted;
    } cases[] = {{4, 3, 100, 100, 2},
                 {0, 0, 0xFFFFFFFF, 0xFFFFFFFF, 24},
                 {6, 0, 1, 1, 0},
                 {0, 4, 1, 1, 0},
                 {0xFFFFFFFF, 0xFFFFFFFF, 2, 2, 0},
                 {0, 0xFFFFFFFF, 6, 0xFFFFFFFF, 0},
                 {0, 0, 0, 4, 0},
                 {0, 0, 6, 0, 0}};
    for (const auto& [left, top, width, height, counted] : cases) {
        histo.uiLeft = left, histo.uiTop = top, histo.uiWidth = width, histo.uiHeight = height;
        EXPECT_EQ(Api::Calculate(&histo, &ones.record, true), QM_OK);
        EXPECT_EQ(histo.get(0, 1), counted) << left << ", " << top;
    }
}

// The height is read before the record is fitted to the picture, and the width afterwards.
TEST(Calculate, TakesTheOldHeightAndThePicturesWidthWhereTheRecordHasToBeFitted) {
    const Ones ones(6, 4, 8, 1);
    Histo histo(4, describe(60, 40, 12, 1));
    histo.uiRoiMode = 1;
    histo.uiLeft = 1, histo.uiTop = 1, histo.uiWidth = 2, histo.uiHeight = 2;
    Api::Calculate(&histo, &ones.record, true);
    EXPECT_EQ(histo.get(0, 1), 10u);  // 2 rows, each to the picture's end
    EXPECT_EQ(histo.uiWidth, 6u);
    EXPECT_EQ(histo.uiHeight, 4u);
    Api::Calculate(&histo, &ones.record, true);  // fits now: 4 rows from row 1 on
    EXPECT_EQ(histo.get(0, 1), 15u);
}

TEST(Calculate, TakesAStepOfNothingForOne) {
    const Ones ones(6, 4, 8, 1);
    Histo histo(4, describe(6, 4, 8, 1));
    histo.uiStepX = histo.uiStepY = 0;
    Api::Calculate(&histo, &ones.record, true);
    EXPECT_EQ(histo.get(0, 1), 24u);
    histo.uiStepX = 4, histo.uiStepY = 3;  // columns 0 and 4, rows 0 and 3
    Api::Calculate(&histo, &ones.record, true);
    EXPECT_EQ(histo.get(0, 1), 4u);
    histo.uiStepX = histo.uiStepY = 0xFFFFFFFF;
    Api::Calculate(&histo, &ones.record, true);
    EXPECT_EQ(histo.get(0, 1), 1u);
}

// A picture of another size: the record keeps the size that it was made for.
TEST(Calculate, LeavesTheSizeOfAnEarlierPicture) {
    const Ones ones(6, 4, 8, 1);
    Histo histo(4, describe(60, 40, 8, 1));
    Api::Calculate(&histo, &ones.record, true);
    EXPECT_EQ(histo.uiWidth, 60u);
    EXPECT_EQ(histo.uiPicHeight, 40u);
    EXPECT_EQ(histo.get(0, 1), 24u);
}

TEST(Calculate, FoldsBitsAboveTheDepthAway) {
    uint16_t words[] = {0xF123, 0x0123, 0xFFFF};
    const SQmPicBuf record{3, 1, 6, 12, 1, 6, words};
    Histo histo(4, describe(3, 1, 12, 1));
    Api::Calculate(&histo, &record, true);
    EXPECT_EQ(histo.get(0, 0x123), 2u);
    EXPECT_EQ(histo.get(0, 0xFFF), 1u);
}

TEST(Calculate, DoesNothingWithoutPixels) {
    Histo histo(4, describe(3, 1, 12, 1));
    histo.set(0, 5, 5);
    SQmPicBuf record{3, 1, 6, 8, 3, 6, nullptr};
    EXPECT_EQ(Api::Calculate(&histo, &record, true), QM_OK);
    EXPECT_EQ(Api::Calculate(&histo, static_cast<const SQmPicBuf*>(nullptr), true), QM_OK);
    EXPECT_EQ(histo.uiBits, 12u);  // nor is the record touched
    EXPECT_EQ(histo.get(0, 5), 5u);
    EXPECT_EQ(Api::Calculate(nullptr, &record, true), QM_BAD_BUFFER);
    uint8_t byte = 1;
    for (SQmPicBuf empty : {SQmPicBuf{0, 1, 4, 8, 1, 4, &byte}, SQmPicBuf{1, 0, 4, 8, 1, 0, &byte},
                            SQmPicBuf{1, 1, 4, 8, 0, 0, &byte}}) {
        EXPECT_EQ(Api::Calculate(&histo, &empty, true), QM_OK);
        EXPECT_EQ(histo.get(0, 1), 0u);
    }
}

TEST(Calculate, CountsNothingWhenTheRecordGetsNoMemory) {
    if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    const Ones ones(6, 4, 12, 3);
    const uint32_t made = each_failure(
        [&] {
            SQmHisto histo;
            Api::Init(&histo);
            histo.uiBinBytes = 4;
            const int code = Api::Calculate(&histo, &ones.record, true);
            Api::Free(&histo);
            return code;
        },
        [](uint32_t n, const Outcome& outcome) {
            EXPECT_EQ(outcome.code, QM_OK);
            EXPECT_EQ(outcome.live, 0) << n;
        });
    EXPECT_EQ(made, 2u);
}

}  // namespace
}  // namespace qmpic::test
