#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <new>

// A sanitizer stands before the C library itself.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QM_HEAP_IS_TAKEN
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer) ||                         \
    __has_feature(thread_sanitizer)
#define QM_HEAP_IS_TAKEN
#endif
#endif

namespace qmpic::test {

/// Memory that runs out: while this lives, allocations of the calling thread are counted, and the
/// n-th of them fails, alone or with all that follow. The C heap is watched from outside by
/// standing before the C library's own functions; operator new reaches it through malloc. One at a
/// time in a thread. Keep assertions outside of its scope: they allocate.
class FailingAlloc {
  public:
    enum Until { kOnce, kFromThenOn };
#ifdef QM_HEAP_IS_TAKEN
    static constexpr bool kWorks = false;
#else
    static constexpr bool kWorks = true;
#endif

    /// The first allocation is 1; 0: none fails.
    explicit FailingAlloc(uint32_t nth, Until until = kOnce);
    ~FailingAlloc();
    FailingAlloc(const FailingAlloc&) = delete;
    FailingAlloc& operator=(const FailingAlloc&) = delete;

    uint32_t seen() const { return seen_; }  ///< also those that failed
    uint32_t failed() const { return failed_; }
    int64_t live() const { return live_; }     ///< allocated less released
    uint64_t bytes() const { return bytes_; }  ///< asked for in all, whatever was released

    // For the functions that stand before the heap.
    bool refuses(size_t bytes);
    void note_new() { ++live_; }
    void note_gone() { --live_; }

  private:
    uint32_t nth_, seen_ = 0, failed_ = 0;
    int64_t live_ = 0;
    uint64_t bytes_ = 0;
    Until until_;
};

struct Outcome {
    int code = 0;
    bool threw = false;  ///< std::bad_alloc
    uint32_t seen = 0, failed = 0;
    int64_t live = 0;
    static constexpr int kThrew = 1000;  ///< no code of the library
    int code_or_throw() const { return threw ? kThrew : code; }
};

/// Allocations by other threads than the one that watches, while this lives. One at a time.
class WatchedThreads {
  public:
    WatchedThreads();
    ~WatchedThreads();
    WatchedThreads(const WatchedThreads&) = delete;
    WatchedThreads& operator=(const WatchedThreads&) = delete;
    uint32_t allocations() const;
};

/// What all threads together hold at most of what they allocate while this lives, in bytes that the
/// heap gives. Blocks of before that are released meanwhile are taken away. One at a time.
class PeakMemory {
  public:
    PeakMemory();
    ~PeakMemory();
    PeakMemory(const PeakMemory&) = delete;
    PeakMemory& operator=(const PeakMemory&) = delete;
    uint64_t bytes() const;
};

/// What becomes of `call()`, which gives a code, when its n-th allocation fails.
template <class Call>
Outcome with_failing(uint32_t nth, FailingAlloc::Until until, Call call) {
    Outcome outcome;
    FailingAlloc memory(nth, until);
    try {
        outcome.code = call();
    } catch (const std::bad_alloc&) {
        outcome.threw = true;
    }
    outcome.seen = memory.seen();
    outcome.failed = memory.failed();
    outcome.live = memory.live();
    return outcome;
}

/// `check(n, outcome)` for each allocation that `call` makes, failing alone and with all after it,
/// and for n = 0, when none fails. Tells how many there are: those of a call without failure.
template <class Call, class Check>
uint32_t each_failure(Call call, Check check) {
    const Outcome fine = with_failing(0, FailingAlloc::kOnce, call);
    check(0u, fine);
    for (const FailingAlloc::Until until : {FailingAlloc::kOnce, FailingAlloc::kFromThenOn})
        for (uint32_t n = 1; n <= fine.seen; ++n) check(n, with_failing(n, until, call));
    return fine.seen;
}

}  // namespace qmpic::test
