#pragma once

#include <optional>

#include "stretch/windows.h"

namespace qmpic {

/// The fastest way of the active level that fits the lines, with its table; null where shuffles do
/// not reach, and, with a table that says so, when there is no memory. No line is longer than
/// `line_bytes`, nor is anything read behind.
template <class T>
FilterWindows* choose_windows(Lines lines, uint64_t line_bytes, std::optional<WindowTable>& table);

}  // namespace qmpic
