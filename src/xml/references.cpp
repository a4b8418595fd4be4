#include "xml/references.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "orv/xml/markup.h"
#include "xml/characters.h"
#include "xml/name_tables.h"
#include "xml/names.h"

namespace orv {
namespace {

/// A character reference at the start of a text.
struct Reference {
  int code = -1;           ///< -1 for an unknown reference, or none
  std::size_t length = 0;  ///< code units from `&` to `;`
};

/// The number that the digits of a numeric reference form; -1 unless it is from 1 to 0x10FFFF. The
/// number of a surrogate is valid: two such references form one character.
int DecodeNumber(std::wstring_view digits, int base) {
  int code = 0;
  for (const wchar_t unit : digits) {
    int digit = base;
    if (IsDigit(unit)) digit = unit - L'0';
    if (unit >= L'a' && unit <= L'f') digit = unit - L'a' + 10;
    if (digit >= base) return -1;
    code = code * base + digit;
  }
  return code > 0 && code <= 0x10FFFF ? code : -1;
}

/// So many code units after `&` rule out a reference: at most 8 precede the `;`.
constexpr std::size_t kMaxReferenceName = 9;

/// Reads the reference at the start of `text`, whose first code unit is `&`.
Reference ReadReference(std::wstring_view text) {
  wchar_t name[kMaxReferenceName];
  std::size_t length = 0;
  for (;;) {
    if (length + 1 >= text.size() || length == kMaxReferenceName) return {};
    const wchar_t unit = text[length + 1];
    if (unit == L';') break;
    if (static_cast<std::uint32_t>(unit) >= 128) return {};
    name[length++] = ToLowerAscii(unit);
  }
  const std::wstring_view view(name, length);
  Reference reference{.length = length + 2};
  if (view.starts_with(L"#x")) {
    reference.code = DecodeNumber(view.substr(2), 16);
  } else if (view.starts_with(L"#")) {
    reference.code = DecodeNumber(view.substr(1), 10);
  } else {
    reference.code = FindEntity(view);
  }
  return reference;
}

/// Whether a code unit can begin the name of a reference, numeric ones included.
bool IsReferenceStart(wchar_t unit) {
  return unit == L'#' || unit == L':' || unit == L'_' || (unit >= L'A' && unit <= L'Z') ||
         (unit >= L'a' && unit <= L'z') || static_cast<std::uint32_t>(unit) >= 128;
}

bool IsReferenceUnit(wchar_t unit) {
  return IsReferenceStart(unit) || unit == L'-' || unit == L'.' || IsDigit(unit);
}

/// The length of the well-formed reference at the start of a text; 0 for none.
std::size_t ReferenceLength(const wchar_t* text) {
  if (*text != L'&' || !IsReferenceStart(text[1])) return 0;
  std::size_t length = 2;
  while (IsReferenceUnit(text[length])) ++length;
  return text[length] == L';' ? length + 1 : 0;
}

/// What ends a run of units that are copied: the units to escape, and the terminating zero.
constexpr UnitSet kSpecial({L"<&>\0", 4});
constexpr UnitSet kSpecialInAttributes({L"<&>\"'\0", 6});

std::wstring_view EntityFor(wchar_t unit) {
  switch (unit) {
    case L'<':
      return L"&lt;";
    case L'&':
      return L"&amp;";
    case L'>':
      return L"&gt;";
    case L'"':
      return L"&quot;";
    default:
      return L"&apos;";
  }
}

/// Appends the first code unit of a text, or the character of the reference there. Returns the
/// length of what was read.
std::size_t AppendDecoded(std::wstring_view text, std::wstring* result) {
  const Reference reference = text[0] == L'&' ? ReadReference(text) : Reference{};
  if (reference.code < 0) {
    *result += text[0];
    return 1;
  }
  AppendCharUtf16(reference.code, result);
  return reference.length;
}

}  // namespace

TextUnescaper::TextUnescaper(int flags)
    : collapses_((flags & CMarkup::DOC_COLLAPSEWHITESPACE) != 0),
      trims_(collapses_ || (flags & CMarkup::DOC_TRIMWHITESPACE) != 0) {}

std::size_t TextUnescaper::Append(std::wstring_view text, bool isLast, std::wstring* result) {
  const std::size_t size = text.size();
  while (!text.empty()) {
    if (const std::size_t run = trims_ ? 0 : text.find(L'&'); run != 0) {
      *result += text.substr(0, run);
      text.remove_prefix(std::min(run, text.size()));
      continue;
    }
    if (trims_ && IsWhiteSpace(text[0])) {
      const bool isInRun = collapses_ && !white_.empty();
      if (hasSolid_ && !isInRun) white_ += collapses_ ? L' ' : text[0];
      text.remove_prefix(1);
      continue;
    }
    if (!isLast && text[0] == L'&' && text.size() < kMaxReferenceName + 2) break;
    if (!white_.empty()) {
      *result += white_;
      white_.clear();
    }
    text.remove_prefix(AppendDecoded(text, result));
    hasSolid_ = true;
  }
  return size - text.size();
}

std::wstring UnescapeText(std::wstring_view text, int flags) {
  constexpr int kWhiteSpaceFlags = CMarkup::DOC_TRIMWHITESPACE | CMarkup::DOC_COLLAPSEWHITESPACE;
  if ((flags & kWhiteSpaceFlags) == 0 && text.find(L'&') == text.npos) return std::wstring(text);
  std::wstring result;
  result.reserve(text.size());
  TextUnescaper(flags).Append(text, true, &result);
  return result;
}

std::wstring_view EscapeText(std::wstring_view text, int flags, std::wstring* buffer) {
  const bool keepsReferences = (flags & CMarkup::ADD_KEEPREFS) != 0;
  const UnitSet& special = (flags & CMarkup::ESC_ATTRIB) != 0 ? kSpecialInAttributes : kSpecial;
  const wchar_t* at = text.data();
  const wchar_t* run = at;
  for (;; run = at) {
    while (!special.Has(*at)) ++at;
    if (*at == 0) break;
    if (buffer->empty()) buffer->reserve(text.size() + text.size() / 10 + 7);
    buffer->append(run, at);
    if (const std::size_t length = keepsReferences ? ReferenceLength(at) : 0; length > 0) {
      buffer->append(at, length);
      at += length;
    } else {
      *buffer += EntityFor(*at++);
    }
  }
  if (buffer->empty()) return text;
  return buffer->append(run, at);
}

std::wstring EscapeText(const wchar_t* text, int flags) {
  std::wstring buffer;
  const std::wstring_view escaped = EscapeText(std::wstring_view(text), flags, &buffer);
  return buffer.empty() ? std::wstring(escaped) : std::move(buffer);
}

std::wstring EncodeCDataSection(std::wstring_view text) {
  std::wstring section = L"<![CDATA[";
  for (std::size_t end; (end = text.find(L"]]>")) != text.npos; text.remove_prefix(end + 2)) {
    section += text.substr(0, end + 2);
    section += L"]]><![CDATA[";
  }
  section += text;
  section += L"]]>";
  return section;
}

}  // namespace orv
