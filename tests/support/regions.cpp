#include "support/regions.h"

#include <dlfcn.h>

#include <algorithm>

namespace qmpic::test {
namespace {
thread_local WatchedRegions* watching = nullptr;
}

WatchedRegions::WatchedRegions() { watching = this; }
WatchedRegions::~WatchedRegions() { watching = nullptr; }

uint32_t WatchedRegions::forks() const {
    return static_cast<uint32_t>(
        std::count_if(teams_.begin(), teams_.end(), [](uint32_t threads) { return threads != 1; }));
}

}  // namespace qmpic::test

#ifndef __clang__
using Parallel = void(void (*body)(void*), void* data, unsigned threads, unsigned flags);

extern "C" __attribute__((visibility("default"))) void GOMP_parallel(void (*body)(void*),
                                                                     void* data, unsigned threads,
                                                                     unsigned flags) {
    static Parallel* const real = reinterpret_cast<Parallel*>(dlsym(RTLD_NEXT, "GOMP_parallel"));
    if (qmpic::test::watching != nullptr) qmpic::test::watching->note(threads);
    real(body, data, threads, flags);
}
#endif
