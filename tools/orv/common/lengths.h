#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <CLI/CLI.hpp>

/// Lengths as people write them: in millimetres, or with a unit behind the number.

namespace orv::tool {

inline constexpr double kMillimetresPerInch = 25.4;

/// Millimetres of a text such as 12.5, 12.5mm or 2in; nothing when it is no such length.
std::optional<double> ParseMillimetres(std::string_view text);

/// For the options of commands: makes plain millimetres of a length from 0 to this number of
/// thousandths of a millimetre.
CLI::Validator ToMillimetres(std::int64_t max);

/// Gives a command `--inch`: people read lengths in inches then, and speeds in inches a second.
/// JSON keeps its units.
void AddInchFlag(CLI::App* command);
bool ShowsInches();

/// A number of thousandths of a millimetre as people read it: "105.7 mm" or "4.16142 in".
std::wstring LengthText(std::int64_t thousandths);

/// A length of a stock item, whose bits count as a number with a sign.
inline std::wstring StockLengthText(std::uint32_t bits) {
  return LengthText(static_cast<std::int32_t>(bits));
}

}  // namespace orv::tool
