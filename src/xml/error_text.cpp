#include "orv/xml/markup.h"

namespace {

/// How an entry of the result record reads; braces stand for its attributes.
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

/// Together they read as one sentence: "BOM + UTF-8 length 120 to UTF-16".
constexpr EntryText kFileEntries[] = {
    {L"file_error", L"{msg}"},
    {L"bom", L"BOM +"},
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

/// The text with the attributes of the current entry in place of their braces.
std::wstring Fill(std::wstring_view text, const CMarkup& entry) {
  std::wstring filled;
  for (;;) {
    const std::size_t open = text.find(L'{');
    filled += text.substr(0, open);
    if (open == text.npos) return filled;
    const std::size_t close = text.find(L'}', open);
    filled += entry.GetAttrib(std::wstring(text.substr(open + 1, close - open - 1)));
    text.remove_prefix(close + 1);
  }
}

}  // namespace

std::wstring CMarkup::GetError() const {
  std::wstring error;
  CMarkup entries(m_strResult);
  bool hasFault = false;
  while (entries.FindElem()) {
    const std::wstring_view name = entries.GetTagNamePointer();
    std::wstring_view text = FindText(kFileEntries, name);
    if (text.empty() && !hasFault) {
      // Kept for compatibility: the first fault only. The others are mostly its consequences.
      text = FindText(kParseEntries, name);
      hasFault = !text.empty();
    }
    if (text.empty()) continue;
    if (!error.empty()) error += L' ';
    error += Fill(text, entries);
  }
  return error;
}
