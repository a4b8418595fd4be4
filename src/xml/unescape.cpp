#include <cwchar>

#include "orv/xml/markup.h"
#include "xml/entities.h"
#include "xml/names.h"

namespace {

/// A character reference at the start of a text.
struct Reference {
  int code = -1;           ///< -1 when there is no known reference
  std::size_t length = 0;  ///< units from `&` to `;`
};

/// The number that the digits of a numeric reference give, -1 unless it is from 1 to 0x10FFFF. The
/// number of a surrogate counts: two such references make one character.
int DecodeNumber(std::wstring_view digits, int base) {
  int code = 0;
  for (const wchar_t unit : digits) {
    int digit = base;
    if (orv::IsDigit(unit)) digit = unit - L'0';
    if (unit >= L'a' && unit <= L'f') digit = unit - L'a' + 10;
    if (digit >= base) return -1;
    code = code * base + digit;
  }
  return code > 0 && code <= 0x10FFFF ? code : -1;
}

/// Reads the reference that `text` begins with; its first unit is `&`. The names that count have
/// at most eight units.
Reference ReadReference(std::wstring_view text) {
  constexpr std::size_t kLongest = 9;
  wchar_t name[kLongest];
  std::size_t length = 0;
  for (;;) {
    if (length + 1 >= text.size() || length == kLongest) return {};
    const wchar_t unit = text[length + 1];
    if (unit == L';') break;
    if (static_cast<std::uint32_t>(unit) >= 128) return {};
    name[length++] = orv::ToLowerAscii(unit);
  }
  const std::wstring_view view(name, length);
  Reference reference{.length = length + 2};
  if (view.starts_with(L"#x")) {
    reference.code = DecodeNumber(view.substr(2), 16);
  } else if (view.starts_with(L"#")) {
    reference.code = DecodeNumber(view.substr(1), 10);
  } else {
    reference.code = orv::FindEntity(view);
  }
  return reference;
}

}  // namespace

std::wstring CMarkup::UnescapeText(const wchar_t* szText, int nTextLength, int nFlags) {
  if (szText == nullptr) return {};
  const std::wstring_view text =
      nTextLength < 0 ? std::wstring_view(szText) : std::wstring_view(szText, nTextLength);
  const bool collapse = (nFlags & DOC_COLLAPSEWHITESPACE) != 0;
  const bool trim = collapse || (nFlags & DOC_TRIMWHITESPACE) != 0;
  if (!trim && text.find(L'&') == text.npos) return std::wstring(text);

  std::wstring result;
  result.reserve(text.size());
  std::size_t trimmedSize = 0;  // up to the last unit that is no white space of the text
  for (std::size_t i = 0; i < text.size();) {
    const wchar_t unit = text[i];
    if (trim && orv::IsWhiteSpace(unit)) {
      const bool leading = trimmedSize == 0;
      const bool inRun = collapse && result.size() > trimmedSize;
      if (!leading && !inRun) result += collapse ? L' ' : unit;
      ++i;
      continue;
    }
    const Reference reference = unit == L'&' ? ReadReference(text.substr(i)) : Reference{};
    if (reference.code >= 0) {
      wchar_t units[2];
      int count = 0;
      EncodeCharUTF16(reference.code, units, count);
      result.append(units, count);
      i += reference.length;
    } else {
      result += unit;
      ++i;
    }
    trimmedSize = result.size();
  }
  if (trim) result.resize(trimmedSize);
  return result;
}
