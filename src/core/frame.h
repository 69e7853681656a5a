#pragma once

#include <cstdint>

#include "qmpic/status.h"
#include "qmpic/system/Diag.h"

/// The frame in which every raw-memory operation runs: guard, depth classes, whole lines.

namespace qmpic {

/// A call on null or empty memory is a successful no-op.
inline bool nothing_to_do(const void* p, uint32_t width, uint64_t size) {
    return p == nullptr || width == 0 || size == 0;
}
inline bool nothing_to_do(const void* dst, const void* src, uint32_t width, uint64_t size) {
    return dst == nullptr || nothing_to_do(src, width, size);
}

/// Bits in which a sample of a depth is stored; 0 for a depth that is no format. 7 is none.
constexpr uint32_t storage_bits(uint32_t bpc) {
    return bpc == 8 ? 8 : bpc >= 9 && bpc <= 16 ? 16 : bpc >= 17 && bpc <= 32 ? 32 : 0;
}

/// Bytes of a line for operations on whole lines, in 32 bits. 17 to 24 bits count 3 bytes, although
/// they are stored in 4: such lines are a quarter short, and that is the interface.
constexpr uint32_t line_bytes(uint32_t components, uint32_t bpc, uint32_t width) {
    return (bpc + 7) / 8 * components * width;
}

/// A line that does not fit into the stride is reported and cut to it. `where` is the number under
/// which the operation reports.
inline uint32_t line_within_stride(uint32_t line, uint32_t stride, unsigned where) {
    if (line <= stride) return line;
    DiagAssertW(false, L"size > dwDestLineSize", nullptr, L"PicMemAPI/converts", where);
    return stride;
}

}  // namespace qmpic
