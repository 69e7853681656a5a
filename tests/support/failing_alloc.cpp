#include "support/failing_alloc.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>

namespace qmpic::test {
namespace {
constinit thread_local FailingAlloc* armed = nullptr;

constinit thread_local bool watches = false;
constinit std::atomic<bool> watched{false};
constinit std::atomic<uint32_t> elsewhere{0};

constinit std::atomic<bool> weighs{false};
constinit std::atomic<int64_t> held{0}, most{0};

void note_held(int64_t bytes) {
    const int64_t now = held.fetch_add(bytes) + bytes;
    for (int64_t before = most; now > before && !most.compare_exchange_weak(before, now);) {
    }
}
}  // namespace

PeakMemory::PeakMemory() {
    held = most = 0;
    weighs = true;
}
PeakMemory::~PeakMemory() { weighs = false; }
uint64_t PeakMemory::bytes() const { return static_cast<uint64_t>(most.load()); }

WatchedThreads::WatchedThreads() {
    watches = true;
    elsewhere = 0;
    watched = true;
}
WatchedThreads::~WatchedThreads() { watched = watches = false; }
uint32_t WatchedThreads::allocations() const { return elsewhere; }

FailingAlloc::FailingAlloc(uint32_t nth, Until until) : nth_(nth), until_(until) { armed = this; }
FailingAlloc::~FailingAlloc() { armed = nullptr; }

bool FailingAlloc::refuses(size_t bytes) {
    ++seen_;
    bytes_ += bytes;
    if (nth_ == 0 || seen_ < nth_ || (seen_ > nth_ && until_ == kOnce)) return false;
    ++failed_;
    return true;
}

}  // namespace qmpic::test

#ifndef QM_HEAP_IS_TAKEN

// The same functions under the names by which the C library offers them to those who stand before.
extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);
void __libc_free(void*);
}

namespace {

using qmpic::test::armed;

void note_thread() {
    using namespace qmpic::test;
    if (watched.load(std::memory_order_relaxed) && !watches) ++elsewhere;
}

int64_t size_of(void* block) { return static_cast<int64_t>(malloc_usable_size(block)); }
bool is_weighed(void* block) {
    return qmpic::test::weighs.load(std::memory_order_relaxed) && block != nullptr;
}

template <class Real>
void* allocate(size_t size, Real real) {
    note_thread();
    void* const p = armed != nullptr && armed->refuses(size) ? nullptr : real();
    if (is_weighed(p)) qmpic::test::note_held(size_of(p));
    if (armed == nullptr) return p;
    if (p == nullptr)
        errno = ENOMEM;
    else
        armed->note_new();
    return p;
}

}  // namespace

#define QM_HEAP extern "C" __attribute__((visibility("default")))

QM_HEAP void* malloc(size_t size) noexcept {
    return allocate(size, [=] { return __libc_malloc(size); });
}
QM_HEAP void* calloc(size_t count, size_t size) noexcept {
    return allocate(count * size, [=] { return __libc_calloc(count, size); });
}
QM_HEAP void* memalign(size_t alignment, size_t size) noexcept {
    return allocate(size, [=] { return __libc_memalign(alignment, size); });
}
QM_HEAP void* aligned_alloc(size_t alignment, size_t size) noexcept {
    return allocate(size, [=] { return __libc_memalign(alignment, size); });
}
QM_HEAP int posix_memalign(void** block, size_t alignment, size_t size) noexcept {
    void* const p = allocate(size, [=] { return __libc_memalign(alignment, size); });
    if (p == nullptr) return ENOMEM;
    *block = p;
    return 0;
}
QM_HEAP void free(void* p) noexcept {
    if (armed != nullptr && p != nullptr) armed->note_gone();
    if (is_weighed(p)) qmpic::test::note_held(-size_of(p));
    __libc_free(p);
}
QM_HEAP void* realloc(void* old, size_t size) noexcept {
    note_thread();
    if (armed != nullptr && armed->refuses(size)) {
        errno = ENOMEM;
        return nullptr;
    }
    const int64_t before = is_weighed(old) ? size_of(old) : 0;
    void* const p = __libc_realloc(old, size);
    if (is_weighed(p)) qmpic::test::note_held(size_of(p) - before);
    if (armed == nullptr) return p;
    if (old == nullptr && p != nullptr) armed->note_new();
    if (old != nullptr && p == nullptr && size == 0) armed->note_gone();
    return p;
}

#undef QM_HEAP

#endif
