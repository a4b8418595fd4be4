#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

/// Command lines that the parser refuses.

namespace orv::tool {

/// What is wrong, with the command, option or value that may have been meant, and where to read on.
std::wstring DescribeMistake(CLI::App* program, const std::vector<std::string>& arguments,
                             const CLI::ParseError& error);

}  // namespace orv::tool
