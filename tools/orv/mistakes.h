#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

/// What somebody may have meant by a command line that the parser refuses.

namespace orv::tool {

/// The command, option or value nearest to the one that is not known; empty when none is near, or
/// the fault is another.
std::wstring WhatWasMeant(CLI::App* program, const std::vector<std::string>& arguments,
                          const CLI::ParseError& error);

}  // namespace orv::tool
