#pragma once

#include <string>

#include "picture.h"

namespace tool {

/// What a file is to be, told by its name.
enum class Format { kTiff, kPng };
Format format_of(const std::string& path);

/// Refuses pictures that such a file cannot hold: PNG files have 1 or 3 components.
void check_format(Format format, const Picture& picture);

/// Whole numbers of `bits` significant bits, not scaled.
void write(Format format, const std::string& path, const Picture& picture, unsigned bits);

}  // namespace tool
