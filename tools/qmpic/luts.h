#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "lists.h"

namespace tool {

/// Predefined colour tables. The first call makes the library's lists.
std::uint32_t lut_count();
std::string lut_name(std::uint32_t index);
/// The colours of a table, or those of the library's rainbow.
std::array<Colour, 256> colours_of(std::optional<std::uint32_t> index);

/// The index of a predefined colour table from its index or its name, of which only letters and
/// digits count, small or large: "3", "Green Fire", "green-fire". Throws WrongUsage that names
/// `option`.
std::uint32_t find_lut(const std::string& option, const std::string& text);

}  // namespace tool
