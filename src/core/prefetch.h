#pragma once

#include <cstdint>

/// Asking for memory before it is needed. Nothing is read: the address may be anywhere.

namespace qmpic {

namespace detail {
template <int writes>
void fetch_ahead(const void* p, uint64_t distance, uint64_t bytes) {
    const uintptr_t from = reinterpret_cast<uintptr_t>(p) + distance;
    for (uint64_t i = 0; i < bytes; i += 64)
        __builtin_prefetch(reinterpret_cast<const void*>(from + i), writes);
}
}  // namespace detail

/// What lies 2 KiB ahead of the next `bytes` that are read, ...
inline void fetch_ahead(const void* source, uint64_t bytes) {
    detail::fetch_ahead<0>(source, 2048, bytes);
}
/// ... and 1 KiB ahead of those that are written.
inline void fetch_ahead_to_write(const void* destination, uint64_t bytes) {
    detail::fetch_ahead<1>(destination, 1024, bytes);
}

/// The line of the cache that holds what lies `distance` bytes ahead.
[[gnu::always_inline]] inline void fetch_one_ahead(const void* source, uint64_t distance) {
    const uintptr_t at = reinterpret_cast<uintptr_t>(source) + distance;
    __builtin_prefetch(reinterpret_cast<const void*>(at), 0);
}

}  // namespace qmpic
