#include "orv/xml/markup.h"
#include "xml/attributes.h"
#include "xml/encoding_names.h"
#include "xml/names.h"
#include "xml/scanner.h"

namespace {

/// The "charset" parameter of a media type such as "text/html; charset=utf-8".
std::wstring CharsetOf(std::wstring mediaType) {
  std::wstring lower = mediaType;
  for (wchar_t& unit : lower) unit = orv::ToLowerAscii(unit);
  constexpr std::wstring_view kParameter = L"charset=";
  const std::size_t at = lower.find(kParameter);
  if (at == lower.npos) return {};
  std::size_t start = at + kParameter.size();
  if (start < mediaType.size() && orv::IsQuote(mediaType[start])) ++start;
  const std::size_t end = mediaType.find_first_of(L"; \t\r\n\"'", start);
  return mediaType.substr(start, end == mediaType.npos ? end : end - start);
}

/// The value of an attribute of a tag.
std::wstring AttributeOf(std::wstring_view tag, std::wstring_view name) {
  orv::Attribute attribute;
  return orv::FindAttribute(tag, 1, name, true, &attribute) ? std::wstring(attribute.value)
                                                            : std::wstring();
}

/// The encoding that an HTML document declares in its head. The tags are taken in their order,
/// because those of such documents often have no end.
std::wstring HtmlEncoding(std::wstring_view text, orv::TokenPos token) {
  orv::NodePos node;
  bool isInHead = false;
  for (;;) {
    const int type = ScanNode(token, node);
    const std::wstring_view tag = text.substr(node.start, node.length);
    if (type == orv::kScanEnd) return {};
    if (type == orv::kScanEndTag && orv::SameName(orv::TagNameAt(tag, 2), L"head", true)) return {};
    if (type != CMarkup::NODE_ELEMENT) continue;
    const std::wstring_view name = orv::TagNameAt(tag, 1);
    if (orv::SameName(name, L"head", true)) isInHead = true;
    if (orv::SameName(name, L"body", true)) return {};
    if (!isInHead || !orv::SameName(name, L"meta", true)) continue;
    if (orv::SameName(AttributeOf(tag, L"http-equiv"), L"Content-Type", true)) {
      const std::wstring charset = CharsetOf(AttributeOf(tag, L"content"));
      if (!charset.empty()) return charset;
    }
  }
}

}  // namespace

int CMarkup::GetEncodingCodePage(MCD_CSTR szEncoding) {
  constexpr std::size_t kLongest = 100;
  constexpr int kUtf32Page = 65005;
  const std::wstring_view name = szEncoding.view();
  if (name.empty()) return 0;
  // Kept for compatibility: whatever follows, the byte order too, is ignored.
  if (name.starts_with(L"UTF-32")) return kUtf32Page;
  if (name.size() >= kLongest) return -1;
  std::wstring lower(name);
  for (wchar_t& unit : lower) unit = orv::ToLowerAscii(unit);
  return orv::FindEncoding(lower);
}

std::wstring CMarkup::GetDeclaredEncoding(MCD_CSTR szDoc) {
  std::wstring_view text = szDoc.view();
  if (text.starts_with(L'\uFEFF')) text.remove_prefix(1);
  orv::TokenPos token;
  token.text = text.data();
  token.length = static_cast<int>(std::min<std::size_t>(text.size(), 1 << 30));
  orv::NodePos node;
  for (;;) {
    const int type = ScanNode(token, node);
    const std::wstring_view markup = text.substr(node.start, node.length);
    if (type == NODE_PROCESSING_INSTRUCTION && orv::TagNameAt(markup, 2) == L"xml") {
      orv::Attribute encoding;
      if (orv::FindAttribute(markup.substr(0, markup.size() - 2), 2, L"encoding", true,
                             &encoding)) {
        return std::wstring(encoding.value);
      }
    }
    if (type == NODE_ELEMENT) {
      const bool isHtml = orv::SameName(orv::TagNameAt(markup, 1), L"html", true);
      return isHtml ? HtmlEncoding(text, token) : std::wstring();
    }
    if (type < NODE_ELEMENT) return {};
  }
}
