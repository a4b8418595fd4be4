#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

/// Checks of what options and arguments are given, with messages that say what is meant.

namespace orv::tool {

/// A number of these bounds. What is no number at all passes: the parser says so.
CLI::Validator InRange(int least, int most);

/// One of these words, letter case apart; the help calls it by `name`.
CLI::Validator OneOf(std::vector<std::string> words, const char* name);

}  // namespace orv::tool
