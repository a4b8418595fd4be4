#include "tools/orv/common/lengths.h"

#include <charconv>
#include <cmath>

#include "base/utf8.h"
#include "orv/text/format.h"

namespace orv::tool {
namespace {

bool showsInches = false;

/// A decimal number without the zeros at its end.
std::wstring Trimmed(std::wstring number) {
  number.erase(number.find_last_not_of(L'0') + 1);
  if (number.ends_with(L'.')) number.pop_back();
  return number;
}

/// Thousandths as a decimal number.
std::wstring Thousandths(std::int64_t number) {
  const std::int64_t size = number < 0 ? -number : number;
  return Trimmed(Format(L"%ls%lld.%03lld", number < 0 ? L"-" : L"",
                        static_cast<long long>(size / 1000), static_cast<long long>(size % 1000)));
}

}  // namespace

std::optional<double> ParseMillimetres(std::string_view text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || !std::isfinite(number)) return {};
  std::string_view unit(end, static_cast<std::size_t>(text.data() + text.size() - end));
  if (unit.size() > 1 && unit[0] == ' ') unit.remove_prefix(1);  // as `LengthText` writes it
  if (unit == "in") return number * kMillimetresPerInch;
  if (unit.empty() || unit == "mm") return number;
  return {};
}

std::optional<std::int64_t> ParseThousandths(std::wstring_view text) {
  constexpr double kMax = 1e12;  // far above every field's limit
  if (!text.ends_with(L"mm") && !text.ends_with(L"in")) return {};
  const std::optional<double> length = ParseMillimetres(WideToUtf8(text));
  if (!length || std::abs(*length) > kMax) return {};
  return std::llround(*length * 1000);
}

CLI::Validator ToMillimetres(std::int64_t max) {
  return CLI::Validator(
      [max](std::string& text) {
        const std::optional<double> length = ParseMillimetres(text);
        if (!length) return "not a length such as 50, 50mm or 2in: " + text;
        if (*length < 0 || *length * 1000 > static_cast<double>(max)) {
          return text + " is not in the range 0 to " + WideToUtf8(LengthText(max));
        }
        char digits[32];
        text.assign(digits, std::to_chars(digits, digits + sizeof digits, *length).ptr);
        return std::string();
      },
      "LENGTH");
}

void AddInchFlag(CLI::App* command) {
  command->add_flag("--inch", showsInches, "Show lengths in inches");
}

bool ShowsInches() { return showsInches; }

std::wstring LengthText(std::int64_t thousandths) {
  if (!showsInches) return Thousandths(thousandths) + L" mm";
  // Enough digits to distinguish any two lengths.
  const double inches = static_cast<double>(thousandths) / 1000 / kMillimetresPerInch;
  return Trimmed(Format(L"%.5f", inches)) + L" in";
}

}  // namespace orv::tool
