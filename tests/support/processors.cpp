#include "support/processors.h"

#include <dlfcn.h>

#include <atomic>

namespace qmpic::test {
namespace {
std::atomic<int> stated{0};  // 0: nothing
}

Processors::Processors(int count) { stated = count; }
Processors::~Processors() { stated = 0; }

}  // namespace qmpic::test

extern "C" __attribute__((visibility("default"))) int omp_get_num_procs() noexcept {
    using Count = int();
    static Count* const real = reinterpret_cast<Count*>(dlsym(RTLD_NEXT, "omp_get_num_procs"));
    const int count = qmpic::test::stated;
    return count != 0 ? count : real();
}
