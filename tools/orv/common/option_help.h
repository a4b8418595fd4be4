#pragma once

#include <string>

#include <CLI/CLI.hpp>

/// What the help and the manual pages say of options and arguments.

namespace orv::tool {

/// What the value of an option is called, such as FILE; in brackets when it may be left out.
std::string ValueName(const CLI::Option* option);

/// What an option does, with its default and what it goes with.
std::string Explanation(const CLI::Option* option);

/// Gives a program and all its commands help of this kind, in lines of at most 100 characters.
/// Comes before any command is added.
void SetHelpFormat(CLI::App* program);

}  // namespace orv::tool
