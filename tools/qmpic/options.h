#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

#include "read.h"

// Options that several commands have.

namespace tool {

/// FILE, --page and --max-pixels.
void add_picture(CLI::App& app, Wanted& wanted);
void add_bits(CLI::App& app, std::optional<unsigned>& bits);
/// -o, --output: required, as all commands that have it do nothing but write.
void add_output(CLI::App& app, std::string& output);

/// Refuses an output that is the picture itself.
void check_output(const char* option, const Wanted& wanted, const std::string& output);
/// Refuses a component or channel that the picture does not have.
void check_component(const char* option, std::uint32_t component, const Picture& picture);

}  // namespace tool
