#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "PicMemAPI/two_picture_kernels.h"
#include "qmpic/PicMemAPI_Base.h"
#include "qmpic/system/Diag.h"
#include "support/cases.h"
#include "support/levels.h"
#include "support/regions.h"

namespace qmpic::test {
namespace {

using Entries = CQmPicMemAPI_Base;
using Row = const uint8_t[256];

/// A table in which no two rows and no two columns are alike.
struct Table {
    uint8_t cells[256][256];
    Table() {
        for (uint32_t old = 0; old < 256; ++old)
            for (uint32_t source = 0; source < 256; ++source)
                cells[old][source] = static_cast<uint8_t>(old * 7 + (source ^ (old >> 3)) * 5);
    }
};
const Table& table() {
    static const Table made;
    return made;
}

// Works on bytes: the pictures have as many as a line has, and the call brings the format.
void check_blend(Round round) {
    Random& random = round.random;
    const uint32_t components = random.components();
    const uint32_t bpc =
        round.in_turn(std::vector<uint32_t>{8, 12, 1, 16, 17, 24, 25, 32, 33, 40, 7, 0});
    const uint32_t bytes = bpc == 0    ? 0
                           : bpc <= 8  ? 1
                           : bpc <= 16 ? 2
                           : bpc <= 24 ? 3
                           : bpc <= 32 ? 4
                                       : 5;
    const Format line{components * bytes, 8, 8};
    const Size size = random.size(std::max(components * bytes, 1u));
    const GuardedPicture d(line, size, random), other(line, size, random);
    const GuardedPicture& s = random(0, 3) == 0 ? d : other;
    std::vector<uint64_t> expected;
    for (uint32_t y = 0; y < size.height; ++y)
        for (uint32_t i = 0; i < d.samples(); ++i)
            expected.push_back(table().cells[d.get(i, y)][s.get(i, y)]);
    const auto outside = d.outside();

    ASSERT_EQ(blend_two(d.data(), d.stride(), s.data(), s.stride(), table().cells, components, bpc,
                        size.width, size.pixels),
              QM_OK);

    ASSERT_EQ(d.content(), expected)
        << size.width << " x " << size.height << " pixels of " << components << " x " << bpc;
    ASSERT_EQ(d.outside(), outside);
    round.digest.add(expected);
}

void check_mask(MaskOutKernel* kernel, Format format, Round round) {
    Random& random = round.random;
    const uint32_t mask = random.any();
    const Size size = random.size(format.components);
    const GuardedPicture d(format, size, random);
    std::vector<uint64_t> expected = d.content();
    for (uint64_t& sample : expected) sample &= mask;  // a sample has no bits above its own
    const auto outside = d.outside();

    ASSERT_EQ(kernel(d.data(), d.stride(), mask, format.components, size.width, size.pixels),
              QM_OK);

    ASSERT_EQ(d.content(), expected) << size.width << " x " << size.height << " pixels of "
                                     << format.components << " x " << format.bits;
    ASSERT_EQ(d.outside(), outside) << "behind the rows";
    round.digest.add(expected);
}

std::vector<KernelCase> kernel_cases() {
    std::vector<KernelCase> all{{"blend_two", check_blend}};
    for (const auto& kernel : kMaskOut)
        all.push_back({std::string(kernel.name), [=](Round round) {
                           const Layout layout = kernel.source;
                           const uint32_t components =
                               layout.components ? layout.components : round.random.components();
                           check_mask(kernel.run,
                                      {components, layout.bits, round.in_turn(depths(layout.bits))},
                                      round);
                       }});
    return all;
}

const bool registered = add_cases(
    kernel_cases(),
    {{"CQmPicMemAPI_Base::BlendTwoBuffers",
      [](const EntryCall& c) {
          return Entries::BlendTwoBuffers(c.dst, c.stride, c.src, c.stride, table().cells,
                                          c.components, c.bpc, c.width, c.size);
      },
      [](uint32_t, uint32_t) -> int { return QM_OK; }},
     {"CQmPicMemAPI_Base::MaskOut",
      [](const EntryCall& c) {
          return Entries::MaskOut(c.dst, c.stride, 0xF0F0, c.components, c.bpc, c.width, c.size);
      },
      bytes_and_words, /*guards_source=*/false}});

TEST(BlendTwoBuffers, IsRightForTheWholeTable) {
    std::vector<uint8_t> d(65536), s(65536);
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (size_t i = 0; i < 65536; ++i) {
            d[i] = static_cast<uint8_t>(i / 256);
            s[i] = static_cast<uint8_t>(i % 256);
        }
        ASSERT_EQ(
            Entries::BlendTwoBuffers(d.data(), 256, s.data(), 256, table().cells, 1, 8, 256, 65536),
            QM_OK);
        for (size_t i = 0; i < 65536; ++i)
            ASSERT_EQ(d[i], table().cells[i / 256][i % 256]) << i / 256 << ", " << i % 256;
    }
}

TEST(BlendTwoBuffers, TakesTheRowFromTheDestinationAndTheColumnFromTheSource) {
    std::vector<uint8_t> cells(65536);
    cells[3 * 256 + 200] = 17;
    uint8_t d[] = {3, 200}, s[] = {200, 3};
    EXPECT_EQ(
        Entries::BlendTwoBuffers(d, 2, s, 2, reinterpret_cast<Row*>(cells.data()), 1, 8, 2, 2),
        QM_OK);
    EXPECT_EQ(d[0], 17);
    EXPECT_EQ(d[1], 0);
}

TEST(BlendTwoBuffers, WithRowsThatHoldTheirNumberLeavesTheDestination) {
    std::vector<uint8_t> cells(65536), d(300), s(300, 9);
    for (size_t i = 0; i < cells.size(); ++i) cells[i] = static_cast<uint8_t>(i / 256);
    for (size_t i = 0; i < d.size(); ++i) d[i] = static_cast<uint8_t>(i);
    const auto before = d;
    EXPECT_EQ(Entries::BlendTwoBuffers(d.data(), 30, s.data(), 30,
                                       reinterpret_cast<Row*>(cells.data()), 3, 8, 10, 100),
              QM_OK);
    EXPECT_EQ(d, before);
}

/// A table that makes 1 of everything.
std::vector<uint8_t> ones() { return std::vector<uint8_t>(65536, 1); }

TEST(BlendTwoBuffers, StopsAfterThreeQuartersOfALineOf24Bits) {
    const auto cells = ones();
    std::vector<uint8_t> d(32, 9), s(32);
    EXPECT_EQ(Entries::BlendTwoBuffers(d.data(), 16, s.data(), 16,
                                       reinterpret_cast<Row*>(cells.data()), 1, 24, 4, 8),
              QM_OK);
    for (size_t i = 0; i < 32; ++i) EXPECT_EQ(d[i], i % 16 < 12 ? 1 : 9) << i;
}

TEST(BlendTwoBuffers, WorksAtDepthsThatHaveNoKernels) {
    const auto cells = ones();
    for (const uint32_t bpc : {1u, 7u}) {
        uint8_t d[3] = {9, 9, 9}, s[3] = {};
        EXPECT_EQ(Entries::BlendTwoBuffers(d, 3, s, 3, reinterpret_cast<Row*>(cells.data()), 2, bpc,
                                           1, 1),
                  QM_OK);
        EXPECT_EQ(d[1], 1);
        EXPECT_EQ(d[2], 9);
    }
    uint8_t d = 9, s = 0;  // no bits, no bytes
    EXPECT_EQ(
        Entries::BlendTwoBuffers(&d, 1, &s, 1, reinterpret_cast<Row*>(cells.data()), 1, 0, 1, 1),
        QM_OK);
    EXPECT_EQ(d, 9);
}

std::vector<std::wstring> reports;
void keep(const wchar_t* condition, const wchar_t* message, const wchar_t* source, unsigned line) {
    reports.push_back(std::wstring(condition) + L"|" + (message ? message : L"null") + L"|" +
                      source + L"|" + std::to_wstring(line));
}
struct KeptReports {
    QmDiagHandler before;
    KeptReports() : before(QM_SetDiagHandler(keep)) { reports.clear(); }
    ~KeptReports() { QM_SetDiagHandler(before); }
};

TEST(BlendTwoBuffers, ReportsAShortStrideOnceAndCutsTheLine) {
    const KeptReports kept;
    const auto cells = ones();
    const auto rows = reinterpret_cast<Row*>(cells.data());
    // Lines of 12 bytes, strides of 8: three rows are the first 24 bytes.
    std::vector<uint8_t> d(40, 9), s(40);
    EXPECT_EQ(Entries::BlendTwoBuffers(d.data(), 8, s.data(), 12, rows, 3, 8, 4, 12), QM_OK);
    EXPECT_EQ(std::count(d.begin(), d.begin() + 24, 1), 24);
    EXPECT_EQ(std::count(d.begin() + 24, d.end(), 9), 16);
    const std::vector<std::wstring> once{L"size > dwDestLineSize|null|PicMemAPI/converts|136"};
    EXPECT_EQ(reports, once);
    // Also when there is no whole row to work on.
    EXPECT_EQ(Entries::BlendTwoBuffers(d.data(), 8, s.data(), 12, rows, 3, 8, 4, 3), QM_OK);
    EXPECT_EQ(reports.size(), 2u);
    EXPECT_EQ(std::count(d.begin(), d.end(), 1), 24);
}

TEST(BlendTwoBuffers, ReportsNothingElse) {
    const KeptReports kept;
    const auto cells = ones();
    const auto rows = reinterpret_cast<Row*>(cells.data());
    std::vector<uint8_t> d(24, 9), s(24);
    // A stride of just the line; a short one of the source; nothing to do.
    EXPECT_EQ(Entries::BlendTwoBuffers(d.data(), 12, s.data(), 4, rows, 3, 8, 4, 8), QM_OK);
    EXPECT_EQ(Entries::BlendTwoBuffers(d.data(), 8, nullptr, 12, rows, 3, 8, 4, 8), QM_OK);
    EXPECT_EQ(Entries::BlendTwoBuffers(d.data(), 8, s.data(), 12, rows, 3, 8, 4, 0), QM_OK);
    EXPECT_EQ(reports.size(), 0u);
    EXPECT_EQ(std::count(d.begin(), d.end(), 1), 24);
}

TEST(MaskOut, KeepsTheTopFourBitsOfThreeAndOfFourComponents) {
    for (const uint32_t components : {3u, 4u}) {
        std::vector<uint8_t> d(components * 21, 0xA7);
        EXPECT_EQ(Entries::MaskOut(d.data(), components * 7, 0xF0, components, 8, 7, 21), QM_OK);
        EXPECT_EQ(std::count(d.begin(), d.end(), 0xA0), components * 21) << components;
    }
}

TEST(MaskOut, TakesAsManyBitsOfTheMaskAsASampleHas) {
    uint8_t byte = 0xFF;
    EXPECT_EQ(Entries::MaskOut(&byte, 1, 0xABCD12F0, 1, 8, 1, 1), QM_OK);
    EXPECT_EQ(byte, 0xF0);
    uint16_t word = 0xFFFF;  // all of them, whatever the depth
    EXPECT_EQ(Entries::MaskOut(&word, 2, 0xABCDF2F0, 1, 9, 1, 1), QM_OK);
    EXPECT_EQ(word, 0xF2F0);
}

TEST(MaskOut, HasNoKernelFor32Bits) {
    uint32_t d = 0xFFFFFFFF;
    EXPECT_EQ(Entries::MaskOut(&d, 4, 0, 1, 32, 1, 1), QM_NO_KERNEL);
    EXPECT_EQ(d, 0xFFFFFFFFu);
}

TEST(MaskOut, IsRightForEveryByteAndMask) {
    std::vector<uint8_t> d(256);
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        for (uint32_t mask = 0; mask < 256; ++mask) {
            for (size_t i = 0; i < 256; ++i) d[i] = static_cast<uint8_t>(i);
            EXPECT_EQ(maskout_1x8(d.data(), 256, static_cast<uint8_t>(mask), 256, 256), QM_OK);
            for (size_t i = 0; i < 256; ++i) ASSERT_EQ(d[i], i & mask) << i << " & " << mask;
        }
    }
}

TEST(MaskOut, WritesNothingBehindARow) {
    for (uint32_t width = 1; width <= 70; ++width) {
        const uint32_t stride = width * 3 + 5;
        std::vector<uint8_t> d(size_t{stride} * 2, 0xFF);
        EXPECT_EQ(Entries::MaskOut(d.data(), stride, 0, 3, 8, width, width * 2), QM_OK);
        for (size_t i = 0; i < d.size(); ++i)
            ASSERT_EQ(d[i], i % stride < width * 3 ? 0 : 0xFF) << width << ": " << i;
    }
}

TEST(BlendAndMask, RunInTheCallingThread) {
    if (!WatchedRegions::kWorks) GTEST_SKIP() << "only the runtime of GCC is watched";
    std::vector<uint8_t> d(2048 * 6), s = d;
    const WatchedRegions watched;
    blend_two(d.data(), 6, s.data(), 6, table().cells, 3, 8, 1, 2048);
    for (const auto& kernel : kMaskOut) kernel.run(d.data(), 6, 0xFF, 3, 1, 2048);
    EXPECT_TRUE(watched.teams().empty());
}

}  // namespace
}  // namespace qmpic::test
