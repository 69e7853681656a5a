#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>
#include <thread>

#include "qmpic/system/Alloc.h"
#include "support/failing_alloc.h"

namespace qmpic::test {
namespace {

// Through these no compiler sees that a block is not used.
void* (*volatile heap)(size_t) = std::malloc;
void* (*volatile language)(size_t) = operator new;

class MemoryFailure : public testing::Test {
    void SetUp() override {
        if (!FailingAlloc::kWorks) GTEST_SKIP() << "a sanitizer watches the heap";
    }
};

// Without this the tests of failures could pass because nothing ever fails.
TEST_F(MemoryFailure, IsSeenByTheLibraryAndByTheLanguage) {
    void *block = nullptr, *plain = nullptr, *one = nullptr;
    uint32_t seen = 0;
    int64_t live = 0, after = 0;
    {
        const FailingAlloc memory(0);
        block = CQmAlloc::Alloc(0, 100, 16);
        one = language(4);
        plain = heap(10);
        seen = memory.seen();
        live = memory.live();
        CQmAlloc::Free(block);
        operator delete(one);
        std::free(plain);
        after = memory.live();
    }
    EXPECT_TRUE(block != nullptr && one != nullptr && plain != nullptr);
    EXPECT_EQ(seen, 3u);
    EXPECT_EQ(live, 3);
    EXPECT_EQ(after, 0);
}

TEST_F(MemoryFailure, StrikesOnceOrFromThenOn) {
    for (const auto until : {FailingAlloc::kOnce, FailingAlloc::kFromThenOn}) {
        void* blocks[4];
        {
            const FailingAlloc memory(2, until);
            for (void*& block : blocks) block = CQmAlloc::Alloc(0, 64, 16);
        }
        EXPECT_NE(blocks[0], nullptr);
        EXPECT_EQ(blocks[1], nullptr);
        EXPECT_EQ(blocks[2] == nullptr, until == FailingAlloc::kFromThenOn);
        EXPECT_EQ(blocks[3] == nullptr, until == FailingAlloc::kFromThenOn);
        for (void* const block : blocks) CQmAlloc::Free(block);
    }
}

TEST_F(MemoryFailure, IsThatOfOneThread) {
    bool allocated = false;
    std::atomic<bool> dry{false};
    std::thread other([&] {
        while (!dry) std::this_thread::yield();
        void* const block = CQmAlloc::Alloc(0, 64, 16);
        allocated = block != nullptr;
        CQmAlloc::Free(block);
    });
    {
        const FailingAlloc memory(1, FailingAlloc::kFromThenOn);
        dry = true;
        other.join();
    }
    EXPECT_TRUE(allocated);
}

TEST_F(MemoryFailure, ThrowsOutOfNew) {
    const Outcome outcome = with_failing(1, FailingAlloc::kFromThenOn, [] {
        operator delete(language(16));
        return 0;
    });
    EXPECT_TRUE(outcome.threw);
    EXPECT_EQ(outcome.live, 0);
}

TEST_F(MemoryFailure, GivesNullFromAllocWithEitherFlag) {
    for (const uint32_t flags : {0u, CQmAlloc::ZeroFill})
        for (const size_t alignment : {0u, 16u, 64u, 4096u}) {
            const auto made = each_failure(
                [=] {
                    void* const block = CQmAlloc::Alloc(flags, 1000, alignment);
                    CQmAlloc::Free(block);
                    return block == nullptr;
                },
                [](uint32_t n, const Outcome& outcome) {
                    EXPECT_EQ(outcome.code, n != 0);
                    EXPECT_FALSE(outcome.threw);
                    EXPECT_EQ(outcome.live, 0);
                });
            EXPECT_EQ(made, 1u);
        }
}

TEST_F(MemoryFailure, LeavesTheBlockThatWasToBeResized) {
    for (const size_t size : {50u, 5000u}) {
        auto* const block = static_cast<uint8_t*>(CQmAlloc::Alloc(0, 100, 16));
        ASSERT_NE(block, nullptr);
        std::memset(block, 9, 100);
        void* resized = block;
        {
            const FailingAlloc memory(1, FailingAlloc::kFromThenOn);
            resized = CQmAlloc::ReAlloc(block, size, CQmAlloc::ZeroFill, 16);
        }
        EXPECT_EQ(resized, nullptr);
        for (int i = 0; i < 100; ++i) ASSERT_EQ(block[i], 9);
        auto* const again = static_cast<uint8_t*>(CQmAlloc::ReAlloc(block, 200, 0, 16));
        ASSERT_NE(again, nullptr);
        EXPECT_EQ(again[99], 9);
        CQmAlloc::Free(again);
    }
}

}  // namespace
}  // namespace qmpic::test
