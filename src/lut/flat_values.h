#pragma once

#include <cstdint>

#include "core/rows.h"
#include "qmpic/Lut.h"

namespace qmpic {

/// The values of a flat set, read in bytes or in words.
class FlatValues {
  public:
    /// `bits` decide how they are read. Nothing can be read when they are more than 16, or when
    /// so many entries would reach beyond the block.
    FlatValues(const SQmLut& src, std::uint32_t bits, std::uint32_t count)
        : cells_(src.pLuts), wide_(bits > 8) {
        const bool flat = src.ucComponents <= 1 && src.ucDstComponents == 1 && src.ucSrcBpc <= 16;
        const std::uint64_t bytes = std::uint64_t{(src.ucDstBpc + 7u) / 8} << (src.ucSrcBpc & 31);
        readable_ = flat && cells_ != nullptr && bits <= 16 &&
                    (std::uint64_t{count} << (wide_ ? 1 : 0)) <= bytes;
    }
    explicit operator bool() const { return readable_; }
    std::uint32_t operator[](std::uint32_t i) const {
        return wide_ ? static_cast<const Sample<std::uint16_t>*>(cells_)[i].value
                     : static_cast<const Sample<std::uint8_t>*>(cells_)[i].value;
    }

  private:
    const void* cells_;
    bool wide_, readable_ = false;
};

}  // namespace qmpic
