#pragma once

#include <new>

#include "qmpic/status.h"

namespace qmpic {

/// The code of `work()`, or that memory ran out.
template <class Work>
int or_no_memory(Work work) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return QM_NO_MEMORY;
    }
}

}  // namespace qmpic
