#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

namespace qmpic::test {

using Counts = std::vector<uint64_t>;

/// An array of bins as kernels take it, at an odd address or not, between bytes of no one.
class BinArray {
  public:
    BinArray(uint32_t bin_bytes, const Counts& counts, size_t shift)
        : bin_bytes_(bin_bytes),
          count_(counts.size()),
          shift_(kMargin + shift),
          bytes_(shift_ + count_ * bin_bytes + kMargin, 0x5A) {
        for (size_t i = 0; i < count_; ++i)
            std::memcpy(&bytes_[shift_ + i * bin_bytes_], &counts[i], bin_bytes_);
    }
    void* data() { return &bytes_[shift_]; }
    Counts counts() const {
        Counts all(count_, 0);
        for (size_t i = 0; i < count_; ++i)
            std::memcpy(&all[i], &bytes_[shift_ + i * bin_bytes_], bin_bytes_);
        return all;
    }
    bool is_alone() const {
        for (size_t i = 0; i < bytes_.size(); ++i)
            if ((i < shift_ || i >= bytes_.size() - kMargin) && bytes_[i] != 0x5A) return false;
        return true;
    }

  private:
    static constexpr size_t kMargin = 64;
    size_t bin_bytes_, count_, shift_;
    std::vector<uint8_t> bytes_;
};

}  // namespace qmpic::test
