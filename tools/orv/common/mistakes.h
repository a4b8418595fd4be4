#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

/// Command lines that the parser refuses, or would.

namespace orv::tool {

/// The command of a group by its name; null when there is none.
CLI::App* FindCommand(CLI::App* group, const std::string& name);

/// That a group has no command of a name, with the one that may have been meant.
std::wstring UnknownCommand(const CLI::App* group, const std::string& name);

/// What is wrong, with the command, option or value that may have been meant, and where to read on.
std::wstring DescribeMistake(CLI::App* program, const std::vector<std::string>& arguments,
                             const CLI::ParseError& error);

}  // namespace orv::tool
