#include "progress.h"

#include <unistd.h>

#include <cstdio>
#include <string>

namespace tool {

namespace {
constexpr unsigned kWidth = 40;
}

Progress::Progress(const char* name)
    : name_(name),
      terminal_(isatty(STDERR_FILENO) == 1),
      next_(std::chrono::steady_clock::now() + std::chrono::milliseconds(500)) {}

Progress::~Progress() {
    if (shown_) std::fputs("\r\x1b[K", stderr);
}

void Progress::show(std::uint64_t done, std::uint64_t all) {
    if (!terminal_ || all == 0) return;
    const auto now = std::chrono::steady_clock::now();
    if (now < next_) return;
    next_ = now + std::chrono::milliseconds(100);
    shown_ = true;
    const double part = static_cast<double>(done) / static_cast<double>(all);
    std::string bar(kWidth, '.');
    bar.replace(0, static_cast<std::size_t>(part * kWidth), static_cast<std::size_t>(part * kWidth),
                '#');
    std::fprintf(stderr, "\r%-8s [%s] %3.0f %%", name_, bar.c_str(), 100 * part);
}

}  // namespace tool
