#pragma once

#include <cstdint>
#include <mutex>
#include <thread>
#include <utility>

#include "qmpic/LutParam.h"

namespace qmpic {

using SpectralData = SQmLutParam::SQmLUTDataSpectral;

/// The locks of two records, which may be one, in no fixed order: who cannot have the second gives
/// back the first and begins with the other. So nobody waits while he holds a lock.
class BothLocked {
  public:
    BothLocked(const SpectralData& a, const SpectralData& b) : first_(a.mtx), second_(b.mtx) {
        for (std::recursive_mutex *one = &first_, *other = &second_;; std::swap(one, other)) {
            one->lock();
            if (other->try_lock()) return;
            one->unlock();
            std::this_thread::yield();
        }
    }
    ~BothLocked() {
        first_.unlock();
        second_.unlock();
    }
    BothLocked(const BothLocked&) = delete;
    BothLocked& operator=(const BothLocked&) = delete;

  private:
    std::recursive_mutex &first_, &second_;
};

/// Everything but the owner and the lock; the caller holds both locks. Throws std::bad_alloc and
/// has then changed nothing.
void copy_spectral(SpectralData& dst, const SpectralData& src);

/// Gains and offsets of the mode of `a`, as far as both have them; the caller holds both locks.
bool same_gains(const SpectralData& a, const SpectralData& b);

/// For whom reads the number without the lock; the caller holds it.
void set_spectral_count(SpectralData& data, std::uint32_t count);

}  // namespace qmpic
