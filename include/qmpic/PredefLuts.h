#pragma once

#include <cstdint>

#include "qmpic/Lut.h"
#include "qmpic/export.h"

/// Look-ups in predefined, extended and custom colour tables (SQmLut::GetPredefLut), by index; 255
/// is the custom table. An index beyond the tables is "Default". Without a table (an index below
/// 0, or before InitPredefLuts) colours are greys: entry k is k, k, k. `lo` and `hi` are the range
/// that SQmLut::SQmPredefLut::getLuts is asked for; they count for extended tables only.
class QM_API CQmPredefLUTs {
  public:
    CQmPredefLUTs();
    CQmPredefLUTs& operator=(const CQmPredefLUTs& other);
    CQmPredefLUTs& operator=(CQmPredefLUTs&& other) noexcept;

    /// Copies the 768 bytes of the custom table to `colors`. Null does nothing.
    static void GetCustomLUTs(unsigned char* colors);
    /// Red, green or blue (`comp` 0, 1, 2; else 0) of entry `pos`; entries above 255 are 255.
    static unsigned char GetLUTEntryComp(int index, unsigned int pos, unsigned int comp, double lo,
                                         double hi);
    /// The colour of `value` in 0 to `range`: entry (`value` x 256) / `range`, in 32 bits unsigned
    /// (0 for a range of 0); entries above 255 are 255. Blue in bits 0 to 7, green in 8 to 15, red
    /// in 16 to 23. The custom table, 2048 of 4096, when its entry 128 is (1, 2, 3): 0x010203.
    static unsigned int GetLUTEntry(int index, unsigned int value, unsigned int range, double lo,
                                    double hi);
    /// The same for cells of 9 to 16 bits: blue x `dstRange` / 256 in bits 0 to 15, green in 16 to
    /// 31, red in 32 to 47. Of (1, 2, 3) in a range of 4096: 0x001000200030. A `dstRange` of
    /// exactly 256 gives the packing of 8 bits.
    static unsigned long long GetLUTEntry(int index, unsigned int value, unsigned int range,
                                          unsigned int dstRange, double lo, double hi);
    /// Sends the values of the flat set `src` through a colour table: row i of `lut`, which has one
    /// component and three cells of 8 to 16 bits, gets blue, green, red of `src`[i].
    ///
    /// The two widths read `src` differently. For cells of 8 bits its values are those of its
    /// `ucDstBpc`, and so is their range; for wider cells **both go by the entries of `lut`**:
    /// bytes up to 8 bits of `ucSrcBpc`, else words, of a range of 2^`ucSrcBpc`. Nothing happens to
    /// other sets, or when `src` would be read beyond its end.
    static void CreatePredefLUTTable(SQmLut& lut, SQmLut& src, int index, double lo, double hi);
    /// The same for entries i from `srcLo` to `srcHi`, with N = 2^`ucSrcBpc` of `lut`: the colour
    /// of trunc((`dstHi` - `dstLo`) x `src`[i] / N + `dstLo` + 0.5) in a range of N, the span
    /// signed and the rest in doubles. Other entries are greys, i x 2^`ucDstBpc` / N in all three
    /// cells. `src` is read in bytes or words by `ucSrcBpc` of `lut` for cells of all widths, and
    /// extended tables are asked for the range 0.0 to 0.0.
    static void CreatePredefLUTTable2(SQmLut& lut, SQmLut& src, int index, unsigned int srcLo,
                                      unsigned int srcHi, unsigned int dstLo, unsigned int dstHi);
};
