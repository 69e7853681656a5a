#pragma once

#include <stdexcept>

namespace tool {

/// A file cannot be read, shown or written: exit code 1. The text is one line.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The command line makes no sense, alone or for this picture: exit code 2.
struct WrongUsage : std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace tool
