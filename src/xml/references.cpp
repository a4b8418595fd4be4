#include "xml/references.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "orv/xml/markup.h"
#include "xml/characters.h"
#include "xml/name_tables.h"
#include "xml/names.h"
#include "xml/unit_search.h"

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

/// The usual spelling of the references to the delimiters of markup.
constexpr std::pair<std::wstring_view, int> kUsualReferences[] = {
    {L"&amp;", L'&'}, {L"&lt;", L'<'}, {L"&gt;", L'>'}, {L"&quot;", L'"'}, {L"&apos;", L'\''}};

/// Reads the reference at the start of `text`, whose first code unit is `&`.
Reference ReadReference(std::wstring_view text) {
  for (const auto& [usual, code] : kUsualReferences) {
    const std::size_t length = usual.size();
    if (text.size() >= length && SameUnits(text.data(), usual.data(), length)) {
      return {code, length};
    }
  }
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
  if (view.starts_with(L'#')) {
    const bool isHex = length > 1 && name[1] == L'x';
    reference.code = DecodeNumber(view.substr(isHex ? 2 : 1), isHex ? 16 : 10);
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

/// Whether a reference at the start of a text may continue in the next one.
bool MayBeCut(std::wstring_view text, bool isLast) {
  return !isLast && text.size() < kMaxReferenceName + 2;
}

/// Decodes the first code unit of a text, or the reference there, to `*out`, which moves. Returns
/// the length of what was read, which is not less than what was written.
std::size_t DecodeFirst(std::wstring_view text, wchar_t** out) {
  const Reference reference = text[0] == L'&' ? ReadReference(text) : Reference{};
  if (reference.code < 0) {
    *(*out)++ = text[0];
    return 1;
  }
  int written = 0;
  EncodeCharUtf16(reference.code, *out, &written);
  *out += written;
  return reference.length;
}

/// Decodes a text, and replaces what follows the first `kept` code units of the result by it.
/// Returns the number of code units that were read.
std::size_t DecodeTo(std::wstring_view text, bool isLast, std::size_t kept, std::wstring* result) {
  result->resize(kept + text.size());
  wchar_t* out = result->data() + kept;
  const wchar_t* at = text.data();
  const wchar_t* const end = at + text.size();
  for (;;) {
    const wchar_t* const run = at;
    at = FindEither(at, end, L'&', L'&');
    out = std::copy(run, at, out);
    const std::wstring_view rest(at, end);
    if (rest.empty() || MayBeCut(rest, isLast)) break;
    at += DecodeFirst(rest, &out);
  }
  result->resize(static_cast<std::size_t>(out - result->data()));
  return static_cast<std::size_t>(at - text.data());
}

}  // namespace

TextUnescaper::TextUnescaper(int flags)
    : collapses_((flags & CMarkup::DOC_COLLAPSEWHITESPACE) != 0),
      trims_(NormalizesWhitespace(flags)) {}

std::size_t TextUnescaper::Append(std::wstring_view text, bool isLast, std::wstring* result) {
  return trims_ ? AppendTrimmed(text, isLast, result)
                : DecodeTo(text, isLast, result->size(), result);
}

std::size_t TextUnescaper::AppendTrimmed(std::wstring_view text, bool isLast,
                                         std::wstring* result) {
  const std::size_t size = text.size();
  while (!text.empty()) {
    if (IsWhiteSpace(text[0])) {
      const bool isInRun = collapses_ && !white_.empty();
      if (hasSolid_ && !isInRun) white_ += collapses_ ? L' ' : text[0];
      text.remove_prefix(1);
      continue;
    }
    if (text[0] == L'&' && MayBeCut(text, isLast)) break;
    *result += white_;
    white_.clear();
    wchar_t units[2];
    wchar_t* out = units;
    text.remove_prefix(DecodeFirst(text, &out));
    result->append(units, out);
    hasSolid_ = true;
  }
  return size - text.size();
}

std::wstring UnescapeText(std::wstring_view text, int flags) {
  std::wstring result;
  UnescapeText(text, flags, &result);
  return result;
}

void UnescapeText(std::wstring_view text, int flags, std::wstring* buffer) {
  if (!NormalizesWhitespace(flags)) {
    DecodeTo(text, true, 0, buffer);
    return;
  }
  buffer->clear();
  TextUnescaper(flags).Append(text, true, buffer);
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
