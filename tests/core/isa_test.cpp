#include "core/isa.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "core/rows.h"
#include "support/levels.h"

namespace qmpic::test {
namespace {

TEST(Isa, TheLevelAskedForIsTheLevelThatRuns) {
    for (const Level level : levels()) {
        const ForcedLevel forced(level);
        EXPECT_STREQ(name_of(active_isa()), name_of(level));
        EXPECT_EQ(on_best_isa([] {}), active_isa()) << name_of(level);
    }
}

TEST(Isa, ForcingIsUndoneAndNeverRaises) {
    const Isa best = active_isa();
    {
        const ForcedIsa lowest(Isa::Sse2);
        const ForcedIsa higher(Isa::Avx512);
        EXPECT_EQ(active_isa(), Isa::Sse2);
    }
    EXPECT_EQ(active_isa(), best);
}

// The processor's own words against what is made of them.
TEST(Isa, TheBestLevelOfTheProcessorIsTaken) {
    if (std::getenv("GLIBC_TUNABLES") != nullptr)
        return;  // then it may be lower, and is meant to be
    std::ifstream file("/proc/cpuinfo");
    const std::string text(std::istreambuf_iterator<char>(file), {});
    const auto has = [&](std::initializer_list<const char*> flags) {
        for (const char* flag : flags)
            if (text.find(std::string(" ") + flag) == text.npos) return false;
        return true;
    };
    const bool avx2 = has({"avx2", "bmi1", "bmi2", "abm", "popcnt", "fma"});
    const bool avx512 = avx2 && has({"avx512f", "avx512bw", "avx512cd", "avx512dq", "avx512vl"});
    EXPECT_EQ(active_isa(), avx512 ? Isa::Avx512 : avx2 ? Isa::Avx2 : Isa::Sse2);
}

TEST(Rows, EveryRowIsWalkedOnceByOneThread) {
    for (const Team team : {kCallingThread, kTeam})
        for (const int threads : {1, 2, 3, 8})
            for (const uint64_t rows : {0u, 1u, 2u, 7u, 100u}) {
                omp_set_num_threads(threads);
                std::vector<int> visits(rows, 0);
                int* const visit = visits.data();
                walk_rows(team, rows, [=](RowRange range) {
                    for (uint64_t y = range.first; y < range.last; ++y) ++visit[y];
                });
                EXPECT_EQ(visits, std::vector<int>(rows, 1)) << threads << " threads";
            }
}

}  // namespace
}  // namespace qmpic::test
