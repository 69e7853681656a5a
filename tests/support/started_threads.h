#pragma once

#include <cstdint>

#include "support/failing_alloc.h"

namespace qmpic::test {

/// The threads that the calling thread starts, seen from outside by standing before the C library's
/// own function; or none can be started. One at a time in a thread. Teams of OpenMP count when they
/// grow.
class StartedThreads {
  public:
    static constexpr bool kWorks = FailingAlloc::kWorks;  // a sanitizer stands there itself

    enum Outcome { kStart, kRefuse };
    explicit StartedThreads(Outcome outcome = kStart);
    ~StartedThreads();
    StartedThreads(const StartedThreads&) = delete;
    StartedThreads& operator=(const StartedThreads&) = delete;

    uint32_t count() const { return count_; }  ///< also those that were refused

    /// For the function that stands before the C library's.
    bool refuses() {
        ++count_;
        return outcome_ == kRefuse;
    }

  private:
    Outcome outcome_;
    uint32_t count_ = 0;
};

}  // namespace qmpic::test
