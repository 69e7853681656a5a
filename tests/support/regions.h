#pragma once

#include <cstdint>
#include <vector>

namespace qmpic::test {

/// The parallel regions that the calling thread opens, seen from outside by standing before the
/// runtime's own function: one entry a region, the team asked for (0: the runtime's default; 1: a
/// condition said no). Only the runtime of GCC is watched; elsewhere nothing is counted.
class WatchedRegions {
  public:
#ifdef __clang__
    static constexpr bool kWorks = false;
#else
    static constexpr bool kWorks = true;
#endif
    WatchedRegions();
    ~WatchedRegions();
    WatchedRegions(const WatchedRegions&) = delete;
    WatchedRegions& operator=(const WatchedRegions&) = delete;

    const std::vector<uint32_t>& teams() const { return teams_; }
    /// Regions that may run on more than one thread.
    uint32_t forks() const;
    void note(uint32_t threads) { teams_.push_back(threads); }

  private:
    std::vector<uint32_t> teams_;
};

}  // namespace qmpic::test
