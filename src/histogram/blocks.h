#pragma once

#include <bit>
#include <cstdint>

#include "qmpic/Histo.h"

/// Where the bins of a record lie.

namespace qmpic {

/// Bins of a block.
constexpr uint64_t bins_of(const SQmHisto& histo) {
    return histo.uiBits < 64 ? uint64_t{1} << histo.uiBits : UINT64_MAX;
}

/// One block, or the intensity's and one of each component.
constexpr uint64_t blocks_of(const SQmHisto& histo) {
    return histo.uiComponents < 2 ? 1 : uint64_t{histo.uiComponents} + 1;
}

/// Bytes of all blocks; what no memory holds when they do not fit into 64 bits.
constexpr uint64_t bytes_of(const SQmHisto& histo) {
    const uint64_t of_one_bin = blocks_of(histo) * histo.uiBinBytes;
    return histo.uiBits < static_cast<uint32_t>(std::countl_zero(of_one_bin))
               ? of_one_bin << histo.uiBits
           : of_one_bin == 0 ? 0
                             : UINT64_MAX;
}

/// Has it memory for what it is to count? Not before Reinit32, after Free, or when memory ran out.
inline bool has_blocks(const SQmHisto& histo) {
    return histo.pData != nullptr && (histo.uiComponents == 0 || histo.ppCompData != nullptr);
}

/// Releases both arrays of a record.
void release_blocks(SQmHisto& histo);

/// Gives a record the memory that its format asks for, with the old counts at its beginning and
/// zeros behind them. When there is none both arrays are released.
bool renew_blocks(SQmHisto& histo);

}  // namespace qmpic
