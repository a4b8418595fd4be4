#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

/// Checks of what options and arguments are given, with messages that say what is meant.

namespace orv::tool {

/// A whole number of these bounds. What is no number at all passes: the parser says so.
CLI::Validator InRange(int least, int most);

/// Makes one of these words, letter case apart, the word as it stands here; the help calls it by
/// `name`.
CLI::Validator OneOf(std::vector<std::string> words, const char* name);

}  // namespace orv::tool
