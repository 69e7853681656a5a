#pragma once

#include <cstdint>

#include "qmpic/Lut.h"
#include "qmpic/export.h"

/// Look-ups in predefined, extended and custom colour tables (SQmLut::GetPredefLut), by index. 255
/// is the custom table. An index without a table gives greys.
class QM_API CQmPredefLUTs {
  public:
    CQmPredefLUTs();
    CQmPredefLUTs& operator=(const CQmPredefLUTs& other);
    CQmPredefLUTs& operator=(CQmPredefLUTs&& other) noexcept;

    static void GetCustomLUTs(unsigned char* colors);
    static unsigned char GetLUTEntryComp(int index, unsigned int pos, unsigned int comp, double lo,
                                         double hi);
    static unsigned int GetLUTEntry(int index, unsigned int value, unsigned int range, double lo,
                                    double hi);
    static unsigned long long GetLUTEntry(int index, unsigned int value, unsigned int range,
                                          unsigned int dstRange, double lo, double hi);
    static void CreatePredefLUTTable(SQmLut& lut, SQmLut& src, int index, double lo, double hi);
    static void CreatePredefLUTTable2(SQmLut& lut, SQmLut& src, int index, unsigned int srcLo,
                                      unsigned int srcHi, unsigned int dstLo, unsigned int dstHi);
};
