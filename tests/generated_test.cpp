#include <omp.h>

#include <cstdio>
#include <map>
#include <mutex>
#include <thread>

#include "support/cases.h"
#include "support/levels.h"
#include "support/options.h"

// The tests that are made from the cases of all families.

namespace qmpic::test {
namespace {

template <class Case>
std::string name_of_case(const testing::TestParamInfo<Case>& info) {
    std::string name = info.param.name;
    for (char& c : name)
        if (!isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

// Digests of a case after each round.
std::vector<uint64_t> digests(const KernelCase& tested, uint32_t rounds) {
    Random random(20240607);
    Digest digest;
    std::vector<uint64_t> after;
    for (uint32_t number = 0; number < rounds; ++number) {
        tested.check({number, random, digest});
        if (testing::Test::HasFatalFailure()) {
            ADD_FAILURE() << "round " << number;
            break;
        }
        after.push_back(digest.value());
    }
    return after;
}

class EveryKernel : public testing::TestWithParam<KernelCase> {};

TEST_P(EveryKernel, MatchesItsReferenceAtEveryLevelAndForEveryTeam) {
    const KernelCase& tested = GetParam();
    const uint32_t rounds = tested.rounds * options().rounds;
    std::vector<uint64_t> expected;
    for (const Level level : levels())
        for (const int threads : {2, 1, 3, 8}) {
            SCOPED_TRACE(std::string(name_of(level)) + ", " + std::to_string(threads) + " threads");
            const ForcedLevel forced(level);
            omp_set_num_threads(threads);
            // All rounds at every level, and some of them for every team.
            const auto found = digests(tested, threads == 2 ? rounds : rounds / 4);
            if (HasFatalFailure()) return;
            if (expected.empty()) expected = found;
            ASSERT_TRUE(std::equal(found.begin(), found.end(), expected.begin()))
                << "what is written differs";
        }
    if (FILE* const file = options().digests; file != nullptr)
        std::fprintf(file, "%s %016llx\n", tested.name.c_str(),
                     static_cast<unsigned long long>(expected.back()));
}

INSTANTIATE_TEST_SUITE_P(Kernels, EveryKernel, testing::ValuesIn(Cases::kernels()),
                         name_of_case<KernelCase>);

// Two small pictures, filled with a pattern, that are compared afterwards.
struct EntryPictures {
    std::vector<uint8_t> dst = std::vector<uint8_t>(kEntryStride * kEntryRows, 0xA5),
                         src = std::vector<uint8_t>(kEntryStride * kEntryRows, 1);
    const std::vector<uint8_t> before = dst;
    EntryCall call(uint32_t components, uint32_t bpc) {
        return {dst.data(),
                src.data(),
                kEntryStride,
                components,
                bpc,
                kEntryWidth,
                uint64_t{kEntryWidth} * kEntryRows};
    }
};

class EveryEntry : public testing::TestWithParam<EntryCase> {};

TEST_P(EveryEntry, GivesTheDocumentedCodeForEveryFormatAndTouchesNothingWhenItRefuses) {
    const EntryCase& tested = GetParam();
    for (uint32_t bpc = 0; bpc <= 40; ++bpc)
        for (uint32_t components = 0; components <= 6; ++components) {
            EntryPictures pictures;
            const int expected = tested.documented(components, bpc);
            EXPECT_EQ(tested.call(pictures.call(components, bpc)), expected)
                << components << " x " << bpc;
            if (expected != QM_OK &&
                !(tested.writes_and_refuses && tested.writes_and_refuses(components, bpc))) {
                EXPECT_EQ(pictures.dst, pictures.before) << components << " x " << bpc;
            }
        }
}

TEST_P(EveryEntry, IsANoOpOnNothing) {
    const EntryCase& tested = GetParam();
    if (!tested.guarded) return;
    for (uint32_t bpc = 0; bpc <= 40; ++bpc)
        for (const uint32_t components : {0u, 1u, 3u, 4u, 5u}) {
            EntryPictures pictures;
            EntryCall call = pictures.call(components, bpc);
            call.dst = nullptr;
            EXPECT_EQ(tested.call(call), QM_OK) << "null destination";
            call = pictures.call(components, bpc);
            call.src = nullptr;
            if (tested.guards_source) {
                EXPECT_EQ(tested.call(call), QM_OK) << "null source";
            }
            call = pictures.call(components, bpc);
            call.width = 0;
            EXPECT_EQ(tested.call(call), QM_OK) << "no width";
            call = pictures.call(components, bpc);
            call.size = 0;
            EXPECT_EQ(tested.call(call), QM_OK) << "no pixels";
            EXPECT_EQ(pictures.dst, pictures.before) << components << " x " << bpc;
        }
}

// Rows that overlap are the caller's fault, but no worse than that: the code is the same, and
// nothing behind the last row is written.
TEST_P(EveryEntry, GivesTheSameCodeForRowsThatOverlap) {
    const EntryCase& tested = GetParam();
    omp_set_num_threads(1);  // two threads would write the same bytes
    for (uint32_t bpc = 0; bpc <= 40; ++bpc)
        for (uint32_t components = 0; components <= 6; ++components)
            for (const uint32_t stride : {0u, 3u, 7u}) {
                EntryPictures pictures;
                EntryCall call = pictures.call(components, bpc);
                call.stride = stride;
                const size_t end = stride * (kEntryRows - 1) + kEntryStride;
                EXPECT_EQ(tested.call(call), tested.documented(components, bpc))
                    << components << " x " << bpc;
                EXPECT_TRUE(std::equal(pictures.dst.begin() + static_cast<ptrdiff_t>(end),
                                       pictures.dst.end(),
                                       pictures.before.begin() + static_cast<ptrdiff_t>(end)));
            }
}

INSTANTIATE_TEST_SUITE_P(Entries, EveryEntry, testing::ValuesIn(Cases::entries()),
                         name_of_case<EntryCase>);

// Random calls of random kernels and entries, each on its own memory, checked as above.
void random_calls(uint64_t seed, uint32_t count) {
    Random random(seed);
    Digest digest;
    const auto any_of = [&](auto& all) -> auto& {
        return all[random(0, static_cast<uint32_t>(all.size()) - 1)];
    };
    for (uint32_t i = 0; i < count; ++i) {
        any_of(Cases::kernels()).check({random(0, 1000), random, digest});
        const EntryCase& entry = any_of(Cases::entries());
        const uint32_t components = random(0, 6), bpc = random(0, 40);
        EntryPictures pictures;
        EXPECT_EQ(entry.call(pictures.call(components, bpc)), entry.documented(components, bpc))
            << entry.name << ", " << components << " x " << bpc;
    }
}

TEST(Threads, EightCallersOnTheirOwnMemoryDoNotMeet) {
    if (Cases::kernels().empty()) return;
    std::vector<std::thread> callers;
    for (uint64_t seed = 0; seed < 8; ++seed)
        callers.emplace_back([=] {
            omp_set_num_threads(1 + static_cast<int>(seed % 3));
            random_calls(seed, 150 * options().rounds);
        });
    for (std::thread& caller : callers) caller.join();
}

TEST(Threads, CallsInsideACallersRegionAreRight) {
    if (Cases::kernels().empty()) return;
    const uint32_t count = 60 * options().rounds;
#pragma omp parallel num_threads(8)
    random_calls(100 + static_cast<uint64_t>(omp_get_thread_num()), count);
}

}  // namespace
}  // namespace qmpic::test
