#pragma once

#include <string>

#include "picture.h"

namespace tool {

/// Writes whole numbers of `bits` significant bits as a plain TIFF file: components interleaved,
/// not compressed, and the greatest value of the depth noted as SMaxSampleValue, up to 16 bits as
/// MaxSampleValue as well. Floats have 32 bits and no greatest value. The file takes its name when
/// it is complete.
void write_tiff(const std::string& path, const Picture& picture, unsigned bits);

}  // namespace tool
