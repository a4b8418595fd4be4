#include "platform/letter_case.h"

#include <clocale>
#include <cwctype>
#include <utility>

namespace orv {
namespace {

/// The language-neutral locale, because the process's own locale belongs to the caller. Systems
/// without it convert ASCII letters only.
locale_t NeutralLocale() {
  static const locale_t locale = [] {
    const locale_t neutral = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return neutral != nullptr ? neutral : newlocale(LC_CTYPE_MASK, "C", nullptr);
  }();
  return locale;
}

template <typename Convert>
std::wstring ConvertUnits(std::wstring text, Convert convert) {
  const locale_t locale = NeutralLocale();
  for (wchar_t& unit : text) {
    const wint_t converted = convert(static_cast<wint_t>(unit), locale);
    if (converted <= 0xFFFF) unit = static_cast<wchar_t>(converted);
  }
  return text;
}

}  // namespace

std::wstring LowerCase(std::wstring text) { return ConvertUnits(std::move(text), towlower_l); }

std::wstring UpperCase(std::wstring text) { return ConvertUnits(std::move(text), towupper_l); }

}  // namespace orv
