#pragma once

#include <cstdint>
#include <initializer_list>
#include <mutex>
#include <vector>

#include "qmpic/LutParam.h"

/// What tests of display parameters share.

namespace qmpic::test {

/// An array of a record, which may be missing.
template <class T>
std::vector<T> content(const T* values, uint32_t count) {
    return values == nullptr ? std::vector<T>() : std::vector<T>(values, values + count);
}

inline CQmRangeMask mask_of(uint32_t size, std::initializer_list<uint32_t> bits) {
    CQmRangeMask mask;
    mask.SetSize(size);
    for (const uint32_t bit : bits) mask.Set(bit);
    return mask;
}

#ifdef __GLIBC__
/// While this lives, the lock of the record has been taken as often as it can be.
class ExhaustedLock {
  public:
    explicit ExhaustedLock(SQmLutParam& p) : mtx_(p.sLutDataSpectral.mtx) {
        mtx_.lock();
        mtx_.native_handle()->__data.__count = 0xFFFFFFFF;
    }
    ~ExhaustedLock() {
        mtx_.native_handle()->__data.__count = 1;
        mtx_.unlock();
    }
    ExhaustedLock(const ExhaustedLock&) = delete;
    ExhaustedLock& operator=(const ExhaustedLock&) = delete;

  private:
    std::recursive_mutex& mtx_;
};
#endif

}  // namespace qmpic::test
