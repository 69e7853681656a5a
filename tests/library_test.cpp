#include <gtest/gtest.h>
#include <omp.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xmmintrin.h>

#include <array>
#include <cfenv>
#include <clocale>
#include <cstdlib>
#include <string>
#include <vector>

#include "qmpic/qmpic.h"
#include "support/cases.h"
#include "support/sanitizers.h"

// The library as a whole: when it may be called, and what it leaves alone.

namespace qmpic::test {
namespace {

TEST(Library, IsLoadedAndUnloadedTwoThousandTimesWithoutCrashOrGrowth) {
    if (kThreadSanitizer) GTEST_SKIP() << "it cannot follow a runtime that is loaded later";
    const int status = std::system(QMPIC_LOADER " " QMPIC_LIBRARY " 2000 >/dev/null");
    ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

/// What calls give before main, where other constructors may not have run yet.
struct BeforeMain {
    uint32_t greatest = 0;
    bool sse2 = false;
    int add_code = -1, copy_code = -1, reinit_code = -1, parallel_code = -1;
    uint16_t sum = 0;
    std::vector<uint8_t> copied = std::vector<uint8_t>(300, 0);
    std::vector<uint8_t> copied_by_team = copied;
    std::vector<uint8_t> cleared;
    int lut_code = -1, screen_code = -1;
    std::array<uint8_t, 3> composed{};

    // Two channels of 200 and 100 in one colour: what is merged needs no table of the library's.
    void compose() {
        SQmLut lut;
        lut_code = SQmLut::Alloc(lut, 8, 2, 8, 3);
        if (lut_code != QM_OK) return;
        auto* const tables = static_cast<uint8_t***>(lut.pLuts);
        tables[0][7][0] = 200;
        tables[1][9][0] = 100;
        const uint8_t pixel[2] = {7, 9};
        screen_code =
            CQmPicMemAPI_Base::ConvertToTrueColor(composed.data(), 3, pixel, 2, 8, 2, 1, 1, &lut);
    }

    BeforeMain() {
        compose();
        greatest = CQmPicMemAPI_Base::CalcUintMax(12);
        sse2 = CQmPicMemAPI_Base::IsCPU_SSE2();
        const uint16_t a = 3000, b = 3000;
        add_code = CQmPicMemAPI_Base::AddAndClip(&sum, 2, &a, 2, &b, 2, 1, 12, 1, 1);
        const std::vector<uint8_t> source(300, 7);
        copy_code = CQmPicMemAPI_Base::Copy(copied.data(), 30, source.data(), 30, 3, 8, 10, 100);
        parallel_code =
            copyparallel(copied_by_team.data(), 30, source.data(), 30, 3, 8, 10, 100, true);
        SQmPicBuf picture;
        SQmPicBufAPI_Base::Init(&picture);
        reinit_code = SQmPicBufAPI_Base::Reinit(&picture, 5, 3, 0, 8, 3, true);
        const auto* const bytes = static_cast<uint8_t*>(picture.pData);
        cleared.assign(bytes, bytes + picture.ui64Size);
        SQmPicBufAPI_Base::Free(&picture);
    }
};
const BeforeMain before_main;

TEST(Library, IsReadyBeforeMain) {
    EXPECT_EQ(before_main.greatest, 4095u);
    EXPECT_TRUE(before_main.sse2);
    EXPECT_EQ(before_main.add_code, QM_OK);
    EXPECT_EQ(before_main.sum, 4095u);
    EXPECT_EQ(before_main.copy_code, QM_OK);
    EXPECT_EQ(before_main.copied, std::vector<uint8_t>(300, 7));
    EXPECT_EQ(before_main.parallel_code, QM_OK);
    EXPECT_EQ(before_main.copied_by_team, std::vector<uint8_t>(300, 7));
    EXPECT_EQ(before_main.reinit_code, QM_OK);
    EXPECT_EQ(before_main.cleared, std::vector<uint8_t>(48, 0));
    EXPECT_EQ(before_main.lut_code, QM_OK);
    EXPECT_EQ(before_main.screen_code, QM_OK);
    EXPECT_EQ(before_main.composed, (std::array<uint8_t, 3>{222, 0, 0}));
}

/// What a call must leave as it finds it.
struct Surroundings {
    // How floats round and which exceptions trap; not which exceptions there were.
    unsigned control = _mm_getcsr() & ~0x3Fu;
    int rounding = std::fegetround();
    std::string locale = std::setlocale(LC_ALL, nullptr);
    std::string directory = [] {
        char path[4096] = "";
        return std::string(getcwd(path, sizeof path) != nullptr ? path : "none");
    }();
    std::vector<std::string> environment = [] {
        std::vector<std::string> all;
        for (char** one = environ; *one != nullptr; ++one) all.emplace_back(*one);
        return all;
    }();
    int threads = omp_get_max_threads();
    bool operator==(const Surroundings&) const = default;
};

void run_every_kernel_and_entry() {
    Random random(3);
    Digest digest;
    for (const KernelCase& one : Cases::kernels())
        for (uint32_t number = 0; number < 4; ++number) one.check({number, random, digest});
    std::vector<uint8_t> d(kEntryStride * kEntryRows), s(d.size(), 1);
    for (const EntryCase& one : Cases::entries())
        for (const uint32_t bpc : {8u, 12u, 24u})
            for (const uint32_t components : {1u, 3u, 4u, 5u})
                one.call({d.data(), s.data(), kEntryStride, components, bpc, kEntryWidth,
                          uint64_t{kEntryWidth} * kEntryRows});
}

TEST(Library, LeavesRoundingLocaleDirectoryEnvironmentAndThreadsAsTheyAre) {
    const Surroundings before;
    run_every_kernel_and_entry();
    EXPECT_TRUE(Surroundings() == before);
}

// Results may differ then; what is set up by the caller may not.
TEST(Library, LeavesAnUnusualRoundingModeAsItIs) {
    const Surroundings usual;
    std::fesetround(FE_UPWARD);
    _mm_setcsr(_mm_getcsr() | 0x8040);  // denormals count as zero
    const Surroundings before;
    std::vector<uint8_t> d(kEntryStride * kEntryRows), s(d.size(), 1);
    for (const EntryCase& one : Cases::entries())
        one.call({d.data(), s.data(), kEntryStride, 3, 8, kEntryWidth,
                  uint64_t{kEntryWidth} * kEntryRows});
    const Surroundings after;
    _mm_setcsr(usual.control);
    std::fesetround(FE_TONEAREST);
    EXPECT_TRUE(after == before);
    EXPECT_FALSE(before == usual);
}

}  // namespace
}  // namespace qmpic::test
