#include "xml/name_rules.h"

#include <algorithm>

namespace orv {
namespace {

struct CodeRange {
  std::uint32_t first;
  std::uint32_t last;
};

/// The characters that begin names, from U+00C0 on, and those that names contain as well:
/// https://www.w3.org/TR/xml/, productions 4 and 4a.
constexpr CodeRange kNameStarts[] = {{0xC0, 0xD6},     {0xD8, 0xF6},     {0xF8, 0x2FF},
                                     {0x370, 0x37D},   {0x37F, 0x1FFF},  {0x200C, 0x200D},
                                     {0x2070, 0x218F}, {0x2C00, 0x2FEF}, {0x3001, 0xD7FF},
                                     {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF}};
constexpr CodeRange kNameExtras[] = {{0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}};

template <std::size_t N>
bool Contains(const CodeRange (&ranges)[N], std::uint32_t code) {
  return std::ranges::any_of(
      ranges, [code](const CodeRange& range) { return code >= range.first && code <= range.last; });
}

bool IsNameStartChar(std::uint32_t code) {
  if (code >= 0x80) return Contains(kNameStarts, code);
  return (code >= 'A' && code <= 'Z') || (code >= 'a' && code <= 'z') || code == '_' || code == ':';
}

}  // namespace

bool IsNameChar(std::uint32_t code) {
  if (code >= 0x80) return IsNameStartChar(code) || Contains(kNameExtras, code);
  return IsNameStartChar(code) || (code >= '0' && code <= '9') || code == '-' || code == '.';
}

std::uint32_t TakeCode(std::wstring_view* text) {
  const auto unit = static_cast<std::uint32_t>((*text)[0]);
  const auto next = text->size() > 1 ? static_cast<std::uint32_t>((*text)[1]) : 0;
  const bool isPair = (unit & ~0x3FFu) == 0xD800 && (next & ~0x3FFu) == 0xDC00;
  text->remove_prefix(isPair ? 2 : 1);
  return isPair ? 0x10000 + ((unit & 0x3FF) << 10 | (next & 0x3FF)) : unit;
}

bool IsName(std::wstring_view name) {
  if (name.empty() || !IsNameStartChar(TakeCode(&name))) return false;
  while (!name.empty()) {
    if (!IsNameChar(TakeCode(&name))) return false;
  }
  return true;
}

bool IsSimpleName(std::wstring_view name) { return IsName(name) && name.find(L':') == name.npos; }

bool IsQualifiedName(std::wstring_view name) {
  const std::size_t colon = name.find(L':');
  if (colon == name.npos) return IsName(name);
  return IsName(name.substr(0, colon)) && IsSimpleName(name.substr(colon + 1));
}

}  // namespace orv
