#include "tools/orv/lengths.h"

#include <charconv>
#include <cmath>

namespace orv::tool {

std::optional<double> ParseMillimetres(std::string_view text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || !std::isfinite(number)) return {};
  const std::string_view unit(end, static_cast<std::size_t>(text.data() + text.size() - end));
  if (unit == "in") return number * kMillimetresPerInch;
  if (unit.empty() || unit == "mm") return number;
  return {};
}

CLI::Validator ToMillimetres() {
  return CLI::Validator(
      [](std::string& text) {
        const std::optional<double> length = ParseMillimetres(text);
        if (!length) return "not a length such as 50, 50mm or 2in: " + text;
        char digits[32];
        text.assign(digits, std::to_chars(digits, digits + sizeof digits, *length).ptr);
        return std::string();
      },
      "LENGTH");
}

}  // namespace orv::tool
