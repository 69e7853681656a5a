#pragma once

#include <chrono>
#include <cstdint>

namespace tool {

/// A bar on stderr while a step takes long; nothing when stderr is no terminal or the step is done
/// within half a second. The bar is wiped at the end, also when the step fails.
class Progress {
  public:
    /// `name` is what the step does ("reading"); it must outlive the bar.
    explicit Progress(const char* name);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void show(std::uint64_t done, std::uint64_t all);

  private:
    const char* const name_;
    const bool terminal_;
    std::chrono::steady_clock::time_point next_;
    bool shown_ = false;
};

}  // namespace tool
