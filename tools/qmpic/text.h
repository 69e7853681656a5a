#pragma once

#include <string>

namespace tool {

/// A string of JSON. A name of a file may hold any bytes; those that are no UTF-8 become the
/// replacement character.
std::string quoted(const std::string& text);

/// The same text as UTF-8, the replacement character for control characters, too.
std::string printable(const std::string& text);

/// A number as short as it can be read back: 0.5, 131.55647346938776.
std::string number(double value);
std::string number(float value);

/// Ends a command's output; fails when it could not be written.
void finish_output();

}  // namespace tool
