#pragma once

#include "core/rows.h"
#include "histogram/blocks.h"
#include "qmpic/status.h"

/// What statistics read of a record.

namespace qmpic {

template <class Bin_>
struct Blocks {
    using Bin = Bin_;
    const SQmHisto& histo;

    uint64_t count() const { return bins_of(histo); }
    uint32_t top() const { return static_cast<uint32_t>(count() - 1); }
    const Sample<Bin>* intensity() const { return static_cast<const Sample<Bin>*>(histo.pData); }
    const Sample<Bin>* operator[](uint32_t component) const {
        return static_cast<const Sample<Bin>*>(histo.ppCompData[component]);
    }
};

/// Calls `read(Blocks)` with the blocks of a record. Records without blocks, and those with other
/// bins than of 4 and 8 bytes, are left alone. Always 0.
template <class Read>
int with_blocks(const SQmHisto& histo, Read read) {
    if (!has_blocks(histo)) return QM_OK;
    if (histo.uiBinBytes == 4) read(Blocks<uint32_t>{histo});
    if (histo.uiBinBytes == 8) read(Blocks<uint64_t>{histo});
    return QM_OK;
}

}  // namespace qmpic
