#pragma once

#include <string>

#include "picture.h"

namespace tool {

/// Writes 3 x 8 bits in blue, green, red order as an RGB PNG, or 1 x 8 bits as a grey one. It is
/// written beside `path` under another name, and takes its name when it is complete: until then an
/// old file stays as it is.
void write_png(const std::string& path, const Pixels& pixels);

/// Writes a picture of one component or of red, green, blue as it stands, in 8 or 16 bits; fewer
/// significant ones than these are noted as sBIT, and samples are not scaled.
void write_png(const std::string& path, const Picture& picture, unsigned bits);

}  // namespace tool
