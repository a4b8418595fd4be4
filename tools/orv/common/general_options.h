#pragma once

#include <span>

#include <CLI/CLI.hpp>

/// The options that every command has: `--color`, `--quiet` and `--verbose`.

namespace orv::tool {

/// The heading of these options in help texts.
inline constexpr char kGeneralOptions[] = "General options";

/// Adds them to the program, its groups and its commands.
void AddGeneralOptions(CLI::App* program);

/// An environment variable that the program uses.
struct EnvironmentVariable {
  const char* name;
  const char* meaning;
};

/// All of them, in the order of the manual page.
std::span<const EnvironmentVariable> EnvironmentVariables();

}  // namespace orv::tool
