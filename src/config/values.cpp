#include "config/values.h"

#include <algorithm>
#include <limits>

#include "platform/clock.h"
#include "xml/names.h"

namespace orv {
namespace {

constexpr bool IsSpace(wchar_t unit) { return unit == L' ' || (unit >= L'\t' && unit <= L'\r'); }

}  // namespace

bool EqualsIgnoringAsciiCase(std::wstring_view a, std::wstring_view b) {
  return a.size() == b.size() &&
         (SameUnits(a.data(), b.data(), a.size()) ||
          std::equal(a.begin(), a.end(), b.begin(), [](wchar_t left, wchar_t right) {
            return ToUpperAscii(left) == ToUpperAscii(right);
          }));
}

std::int32_t ToInt(std::wstring_view text) {
  std::size_t at = 0;
  while (at < text.size() && IsSpace(text[at])) ++at;
  bool negative = false;
  if (at < text.size() && (text[at] == L'-' || text[at] == L'+')) negative = text[at++] == L'-';

  using Limits = std::numeric_limits<std::int32_t>;
  const std::int64_t limit = negative ? -std::int64_t{Limits::min()} : std::int64_t{Limits::max()};
  std::int64_t magnitude = 0;
  for (; at < text.size() && text[at] >= L'0' && text[at] <= L'9'; ++at) {
    magnitude = std::min(magnitude * 10 + (text[at] - L'0'), limit);
  }
  return static_cast<std::int32_t>(negative ? -magnitude : magnitude);
}

bool ToBool(std::wstring_view text) { return EqualsIgnoringAsciiCase(text, L"true"); }

bool ToUpperCaseBool(std::wstring_view text) { return text == L"TRUE"; }

std::int64_t ToDateTime(std::wstring_view text) {
  if (text.size() != 19) return 0;
  const auto field = [text](std::size_t at, std::size_t size = 2) {
    return ToInt(text.substr(at, size));
  };
  return ToSeconds({field(0, 4), field(5), field(8), field(11), field(14), field(17), 0});
}

}  // namespace orv
