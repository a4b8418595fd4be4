#include "xml/encodings.h"

#include "orv/xml/markup.h"
#include "xml/attributes.h"
#include "xml/name_tables.h"
#include "xml/names.h"
#include "xml/scanner.h"

namespace orv {
namespace {

/// The "charset" parameter of a media type such as "text/html; charset=utf-8".
std::wstring CharsetOf(std::wstring mediaType) {
  std::wstring lower = mediaType;
  for (wchar_t& unit : lower) unit = ToLowerAscii(unit);
  constexpr std::wstring_view kParameter = L"charset=";
  const std::size_t at = lower.find(kParameter);
  if (at == lower.npos) return {};
  std::size_t start = at + kParameter.size();
  if (start < mediaType.size() && IsQuote(mediaType[start])) ++start;
  const std::size_t end = mediaType.find_first_of(L"; \t\r\n\"'", start);
  return mediaType.substr(start, end == mediaType.npos ? end : end - start);
}

/// The value of an attribute of a tag; empty for none.
std::wstring AttributeOf(std::wstring_view tag, std::wstring_view name) {
  Attribute attribute;
  return FindAttribute(tag, 1, name, true, &attribute) ? std::wstring(attribute.value)
                                                       : std::wstring();
}

/// The encoding that an HTML document declares in its head. Tags are read in sequence without
/// matching them, because HTML often omits end tags.
std::wstring HtmlEncoding(std::wstring_view text, ScanCursor scan) {
  ScannedNode node;
  bool isInHead = false;
  for (;;) {
    const int type = ScanNode(scan, node);
    const std::wstring_view tag = node.In(text);
    if (type == kScanEnd) return {};
    if (type == kScanEndTag && SameName(TagNameAt(tag, 2), L"head", true)) return {};
    if (type != CMarkup::NODE_ELEMENT) continue;
    const std::wstring_view name = TagNameAt(tag, 1);
    if (SameName(name, L"head", true)) isInHead = true;
    if (SameName(name, L"body", true)) return {};
    if (!isInHead || !SameName(name, L"meta", true)) continue;
    if (SameName(AttributeOf(tag, L"http-equiv"), L"Content-Type", true)) {
      std::wstring charset = CharsetOf(AttributeOf(tag, L"content"));
      if (!charset.empty()) return charset;
    }
  }
}

}  // namespace

int EncodingCodePage(std::wstring_view name) {
  constexpr std::size_t kMaxName = 99;
  if (name.empty()) return 0;
  // Kept for compatibility: what follows, such as the byte order, is ignored.
  if (name.starts_with(L"UTF-32")) return kUtf32Page;
  if (name.size() > kMaxName) return -1;
  std::wstring lower(name);
  for (wchar_t& unit : lower) unit = ToLowerAscii(unit);
  return FindEncoding(lower);
}

std::wstring DeclaredEncoding(std::wstring_view text) {
  if (text.starts_with(L'\uFEFF')) text.remove_prefix(1);
  constexpr std::size_t kMaxSearched = 1 << 30;
  ScanCursor scan = ScanCursor::Of(text.substr(0, kMaxSearched));
  ScannedNode node;
  for (;;) {
    const int type = ScanNode(scan, node);
    const std::wstring_view markup = node.In(text);
    if (type == CMarkup::NODE_PROCESSING_INSTRUCTION && TagNameAt(markup, 2) == L"xml") {
      Attribute encoding;
      if (FindAttribute(markup.substr(0, markup.size() - 2), 2, L"encoding", true, &encoding)) {
        return std::wstring(encoding.value);
      }
    }
    if (type == CMarkup::NODE_ELEMENT) {
      const bool isHtml = SameName(TagNameAt(markup, 1), L"html", true);
      return isHtml ? HtmlEncoding(text, scan) : std::wstring();
    }
    if (type < CMarkup::NODE_ELEMENT) return {};
  }
}

}  // namespace orv
