#pragma once

#include <optional>
#include <string_view>

#include <CLI/CLI.hpp>

/// Lengths as people write them: in millimetres, or with a unit behind the number.

namespace orv::tool {

inline constexpr double kMillimetresPerInch = 25.4;

/// Millimetres of a text such as 12.5, 12.5mm or 2in; nothing when it is no such length.
std::optional<double> ParseMillimetres(std::string_view text);

/// For the options of commands: makes plain millimetres of a length.
CLI::Validator ToMillimetres();

}  // namespace orv::tool
