#include "orv/xml/markup.h"
#include "xml/names.h"

namespace {

/// Whether a unit begins the name of a reference, numeric ones included.
bool IsReferenceStart(wchar_t unit) {
  return unit == L'#' || unit == L':' || unit == L'_' || (unit >= L'A' && unit <= L'Z') ||
         (unit >= L'a' && unit <= L'z') || static_cast<std::uint32_t>(unit) >= 128;
}

bool IsReferenceUnit(wchar_t unit) {
  return IsReferenceStart(unit) || unit == L'-' || unit == L'.' || orv::IsDigit(unit);
}

/// The length of the well-formed reference that a text begins with; 0 when there is none.
std::size_t ReferenceLength(const wchar_t* text) {
  if (*text != L'&' || !IsReferenceStart(text[1])) return 0;
  std::size_t length = 2;
  while (IsReferenceUnit(text[length])) ++length;
  return text[length] == L';' ? length + 1 : 0;
}

std::wstring_view EntityFor(wchar_t unit, bool inAttribute) {
  switch (unit) {
    case L'<':
      return L"&lt;";
    case L'&':
      return L"&amp;";
    case L'>':
      return L"&gt;";
    case L'"':
      return inAttribute ? L"&quot;" : L"";
    case L'\'':
      return inAttribute ? L"&apos;" : L"";
    default:
      return L"";
  }
}

}  // namespace

std::wstring CMarkup::EscapeText(MCD_CSTR szText, int nFlags) {
  const std::wstring_view text = szText.view();
  std::wstring result;
  result.reserve(text.size() + text.size() / 10 + 7);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == L'&' && (nFlags & ADD_KEEPREFS) != 0) {
      const std::size_t length = ReferenceLength(text.data() + i);
      if (length > 0) {
        result.append(text, i, length);
        i += length - 1;
        continue;
      }
    }
    const std::wstring_view entity = EntityFor(text[i], (nFlags & ESC_ATTRIB) != 0);
    if (entity.empty()) {
      result += text[i];
    } else {
      result += entity;
    }
  }
  return result;
}
