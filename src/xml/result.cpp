#include "xml/result.h"

#include "orv/text/format.h"
#include "orv/xml/cursor.h"
#include "orv/xml/markup.h"
#include "xml/cursor.h"
#include "xml/document.h"
#include "xml/references.h"

namespace orv {
namespace {

constexpr std::size_t kMaxResultUnits = 1000;

const wchar_t* ValueAttribute(int flags) {
  if ((flags & kResultType) != 0) return L"type";
  if ((flags & kResultEncoding) != 0) return L"encoding";
  if ((flags & kResultMessage) != 0) return L"msg";
  return L"tagname";
}

const wchar_t* NumberAttribute(int flags) {
  if ((flags & kResultNumber) != 0) return L"n";
  if ((flags & kResultCount) != 0) return L"count";
  if ((flags & kResultLength) != 0) return L"length";
  return L"offset";
}

/// The wording of a result entry, with attribute names in braces.
struct EntryText {
  std::wstring_view name;
  std::wstring_view text;
};

constexpr EntryText kParseEntries[] = {
    {L"root_has_sibling", L"root element has sibling"},
    {L"no_root_element", L"no root element"},
    {L"lone_end_tag", L"lone end tag '{tagname}' at offset {offset}"},
    {L"unended_start_tag",
     L"start tag '{tagname}' at offset {offset} expecting end tag at offset {offset2}"},
    {L"first_tag_syntax", L"tag syntax error at offset {offset} expecting tag name / ! or ?"},
    {L"exclamation_tag_syntax", L"tag syntax error at offset {offset} expecting 'DOCTYPE' [ or -"},
    {L"doctype_tag_syntax", L"tag syntax error at offset {offset} expecting markup declaration"},
    {L"comment_tag_syntax", L"tag syntax error at offset {offset} expecting - to begin comment"},
    {L"cdata_section_syntax", L"tag syntax error at offset {offset} expecting 'CDATA'"},
    {L"unterminated_tag_syntax", L"unterminated tag at offset {offset}"},
};

/// Together they form one sentence: "BOM + UTF-8 length 120 to UTF-16".
constexpr EntryText kFileEntries[] = {
    {L"file_error", L"{msg}"},
    {L"bom", L"BOM +"},
    {L"declared", L"declared {encoding}, read as"},
    {L"read", L"{encoding} length {length}"},
    {L"write", L"{encoding} length {length}"},
    {L"converted_to", L"to {encoding}"},
    {L"converted_from", L"{encoding} to"},
    {L"nulls_removed", L"removed {count} nulls"},
    {L"conversion_loss", L"(chars lost in conversion!)"},
    {L"utf8_detection", L"(used UTF-8 detection)"},
    {L"endian_swap", L"endian swap"},
    {L"truncation_error", L"encoding {encoding} adjustment error"},
};

template <std::size_t N>
std::wstring_view FindText(const EntryText (&entries)[N], std::wstring_view name) {
  for (const EntryText& entry : entries) {
    if (entry.name == name) return entry.text;
  }
  return {};
}

/// Replaces the attribute names of a wording by the attributes of the current entry.
std::wstring FillIn(std::wstring_view text, const Cursor& entry) {
  std::wstring filled;
  std::wstring buffer;
  for (;;) {
    const std::size_t open = text.find(L'{');
    filled += text.substr(0, open);
    if (open == text.npos) return filled;
    const std::size_t close = text.find(L'}', open);
    std::wstring_view value;
    if (entry.Attrib(text.substr(open + 1, close - open - 1), &buffer, &value)) filled += value;
    text.remove_prefix(close + 1);
  }
}

/// Parses a result record.
void ParseResult(const std::wstring& result, Document* entries) {
  entries->ReserveText(result.size());
  entries->CopyText(result);
}

}  // namespace

bool IsResultFull(const std::wstring& result) { return result.size() >= kMaxResultUnits; }

void AddResult(std::wstring& result, const wchar_t* name, const wchar_t* value, int flags,
               int number, int number2) {
  if (IsResultFull(result)) return;
  std::wstring entry = Format(L"<%ls", name);
  const auto add = [&entry](const wchar_t* attribute, const std::wstring& text) {
    entry += Format(L" %ls=\"%ls\"", attribute, text.c_str());
  };
  if (value != nullptr) add(ValueAttribute(flags), EscapeText(value, CMarkup::ESC_ATTRIB));
  const bool isNumber = (flags & (kResultNumber | kResultCount | kResultLength)) != 0;
  if (isNumber || number != -1) add(NumberAttribute(flags), std::to_wstring(number));
  if (number2 != -1) add(L"offset2", std::to_wstring(number2));
  result += entry + L"/>";
}

int ErrorOffset(const std::wstring& result) {
  Document entries;
  ParseResult(result, &entries);
  Place place;
  Cursor entry(entries, place);
  while (entry.FindElement(L"")) {
    if (FindText(kParseEntries, entry.TagName()).empty()) continue;
    std::wstring buffer;
    std::wstring_view offset;
    return entry.Attrib(L"offset", &buffer, &offset) ? std::stoi(std::wstring(offset)) : -1;
  }
  return -1;
}

std::wstring ResultText(const std::wstring& result) {
  Document entries;
  ParseResult(result, &entries);
  Place place;
  Cursor entry(entries, place);
  std::wstring words;
  bool hasError = false;
  while (entry.FindElement(L"")) {
    const std::wstring_view name = entry.TagName();
    std::wstring_view text = FindText(kFileEntries, name);
    if (text.empty() && !hasError) {
      // Kept for compatibility: only the first error, because it mostly causes the others.
      text = FindText(kParseEntries, name);
      hasError = !text.empty();
    }
    if (text.empty()) continue;
    if (!words.empty()) words += L' ';
    words += FillIn(text, entry);
  }
  return words;
}

}  // namespace orv
