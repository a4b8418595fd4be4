#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <CLI/CLI.hpp>

/// Lengths on the command line and in output: in millimetres, or with a unit after the number.

namespace orv::tool {

inline constexpr double kMillimetresPerInch = 25.4;

/// Parses a length such as 12.5, 12.5mm, 12.5 mm or 2in; nullopt for any other text.
std::optional<double> ParseMillimetres(std::string_view text);

/// Parses a length with a unit, in thousandths of a millimetre; nullopt for any other text.
std::optional<std::int64_t> ParseThousandths(std::wstring_view text);

/// Converts an option's length to millimetres; accepts 0 to `max` thousandths of a millimetre.
CLI::Validator ToMillimetres(std::int64_t max);

/// Adds `--inch` to a command: text output shows lengths in inches and speeds in inches per second.
/// JSON output keeps its units.
void AddInchFlag(CLI::App* command);
bool ShowsInches();

/// Formats thousandths of a millimetre: "105.7 mm" or "4.16142 in".
std::wstring LengthText(std::int64_t thousandths);

/// Formats a length of a stock item, whose bits are a signed number.
inline std::wstring StockLengthText(std::uint32_t bits) {
  return LengthText(static_cast<std::int32_t>(bits));
}

}  // namespace orv::tool
