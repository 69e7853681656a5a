#pragma once

#include <atomic>

namespace qmpic {

/// Has the caller, from whatever thread, set the flag? It may be null.
inline bool is_cancelled(bool* flag) {
    return flag != nullptr && std::atomic_ref<bool>(*flag).load(std::memory_order_relaxed);
}

}  // namespace qmpic
