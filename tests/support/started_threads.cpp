#include "support/started_threads.h"

#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>

namespace qmpic::test {
namespace {
constinit thread_local StartedThreads* watching = nullptr;
}

StartedThreads::StartedThreads(Outcome outcome) : outcome_(outcome) { watching = this; }
StartedThreads::~StartedThreads() { watching = nullptr; }

}  // namespace qmpic::test

#ifndef QM_HEAP_IS_TAKEN
extern "C" __attribute__((visibility("default"))) int pthread_create(
    pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*), void* data) noexcept {
    using Create = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static Create* const real = reinterpret_cast<Create*>(dlsym(RTLD_NEXT, "pthread_create"));
    if (qmpic::test::watching != nullptr && qmpic::test::watching->refuses()) return EAGAIN;
    return real(thread, attributes, run, data);
}
#endif
