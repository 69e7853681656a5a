#pragma once

#include <string>

#include "picture.h"

namespace tool {

/// Writes 3 x 8 bits in blue, green, red order as an RGB PNG, or 1 x 8 bits as a grey one. It is
/// written beside `path` under another name, and takes its name when it is complete: until then an
/// old file stays as it is.
void write_png(const std::string& path, const Pixels& pixels);

}  // namespace tool
