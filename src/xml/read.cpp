#include "orv/xml/markup.h"
#include "xml/attributes.h"
#include "xml/markup_index.h"
#include "xml/markup_reader.h"
#include "xml/names.h"
#include "xml/scanner.h"

using orv::ElemPos;

namespace {

/// What an instruction's target or a declaration's keyword ends at.
std::wstring_view MarkupNodeName(std::wstring_view node) {
  std::size_t end = 2;
  while (end < node.size() && !orv::EndsTagName(node[end]) && node[end] != L'?' &&
         node[end] != L'[') {
    ++end;
  }
  return node.substr(2, end - 2);
}

}  // namespace

std::wstring_view CMarkup::x_Range(int nStart, int nEnd) const {
  return std::wstring_view(m_strDoc).substr(nStart, nEnd > nStart ? nEnd - nStart : 0);
}

orv::TokenPos CMarkup::x_TokenAt(int nStart, int nEnd) const {
  orv::TokenPos token;
  token.next = nStart;
  token.text = m_strDoc.data();
  token.flags = m_nDocFlags;
  token.length = nEnd;
  return token;
}

std::wstring_view CMarkup::x_GetTagName(int iPos) const {
  // The start tag of an element that is being written may be gone; its end tag stays.
  if (x_Elem(iPos).StartTagLength() == orv::kWrittenTag) {
    return orv::TagNameAt(m_strDoc, x_ContentEnd(iPos) + 2);
  }
  return orv::TagNameAt(m_strDoc, x_Elem(iPos).start + 1);
}

std::wstring_view CMarkup::GetTagNamePointer() const {
  switch (m_nNodeType) {
    case NODE_NONE:
      return {};
    case NODE_ELEMENT:
      return x_GetTagName(m_iPos);
    case NODE_TEXT:
    case NODE_WHITESPACE:
      return L"#text";
    case NODE_CDATA_SECTION:
      return L"#cdata-section";
    case NODE_COMMENT:
      return L"#comment";
    default:
      return MarkupNodeName(x_Range(m_nNodeOffset, m_nNodeOffset + m_nNodeLength));
  }
}

std::wstring CMarkup::GetTagName() const { return std::wstring(GetTagNamePointer()); }

std::wstring CMarkup::GetChildTagName() const {
  return m_iPosChild != 0 ? std::wstring(x_GetTagName(m_iPosChild)) : std::wstring();
}

/// Where the attributes of the main or child position are read from: the start of the tag name.
/// False when the position has none.
bool CMarkup::x_AttribPlace(bool bChild, std::wstring_view* text, std::size_t* nameStart) const {
  *text = m_strDoc;
  if (bChild ? m_iPosChild != 0 : x_IsElement()) {
    *nameStart = x_Elem(bChild ? m_iPosChild : m_iPos).start + 1;
    return true;
  }
  if (!bChild && m_nNodeType == NODE_PROCESSING_INSTRUCTION && m_nNodeLength > 0) {
    *text = text->substr(0, m_nNodeOffset + m_nNodeLength);
    *nameStart = m_nNodeOffset + 2;
    return true;
  }
  return false;
}

bool CMarkup::x_FindAttrib(bool bChild, std::wstring_view name, orv::Attribute* attribute) const {
  std::wstring_view text;
  std::size_t nameStart;
  return x_AttribPlace(bChild, &text, &nameStart) &&
         orv::FindAttribute(text, nameStart, name, (m_nDocFlags & DOC_IGNORECASE) != 0, attribute);
}

std::wstring CMarkup::x_Unescape(std::wstring_view text) const {
  return UnescapeText(text.data(), static_cast<int>(text.size()), m_nDocFlags);
}

std::wstring CMarkup::GetAttrib(MCD_CSTR szAttrib) const {
  orv::Attribute attribute;
  if (!x_FindAttrib(false, szAttrib.view(), &attribute)) return {};
  return x_Unescape(attribute.value);
}

std::wstring CMarkup::GetChildAttrib(MCD_CSTR szAttrib) const {
  orv::Attribute attribute;
  if (!x_FindAttrib(true, szAttrib.view(), &attribute)) return {};
  return x_Unescape(attribute.value);
}

bool CMarkup::GetNthAttrib(int n, std::wstring& strAttrib, std::wstring& strValue) const {
  std::wstring_view text;
  std::size_t nameStart;
  if (n < 0 || !x_AttribPlace(false, &text, &nameStart)) return false;
  orv::AttributeCursor cursor(text, nameStart);
  orv::Attribute attribute;
  while (cursor.Next(&attribute)) {
    if (attribute.name.empty() || n-- > 0) continue;
    strAttrib = attribute.name;
    strValue = x_Unescape(attribute.value);
    return true;
  }
  return false;
}

std::wstring CMarkup::GetAttribName(int n) const {
  std::wstring name;
  std::wstring value;
  GetNthAttrib(n, name, value);
  return name;
}

/// The data of a node that is no element, as it stands.
std::wstring_view CMarkup::x_NodeData() const {
  int before = 0;
  int behind = 0;
  if (m_nNodeType == NODE_COMMENT) {
    before = 4;  // <!--
    behind = 3;  // -->
  } else if (m_nNodeType == NODE_CDATA_SECTION) {
    before = 9;  // <![CDATA[
    behind = 3;  // ]]>
  }
  return x_Range(m_nNodeOffset + before, m_nNodeOffset + m_nNodeLength - behind);
}

std::wstring_view CMarkup::x_Content(int iPos) const {
  const ElemPos& element = x_Elem(iPos);
  if (element.IsTagOnly()) return {};
  return x_Range(static_cast<int>(element.ContentStart()), static_cast<int>(element.ContentEnd()));
}

/// The data of an element that is more than one run of text.
std::wstring CMarkup::x_MixedData(std::wstring_view content) const {
  std::wstring data;
  orv::TokenPos token;
  token.text = content.data();
  token.length = static_cast<int>(content.size());
  orv::NodePos node;
  for (;;) {
    switch (ScanNode(token, node)) {
      case orv::kScanEnd:
        return data;
      case NODE_ELEMENT:
        return {};
      case NODE_TEXT:
      case NODE_WHITESPACE:
        data += x_Unescape(content.substr(node.start, node.length));
        break;
      case NODE_CDATA_SECTION:
        data += content.substr(node.start + 9, node.length - 12);
        break;
      default:
        break;
    }
  }
}

std::wstring CMarkup::x_GetData(int iPos) const {
  const std::wstring_view content = x_Content(iPos);
  if (x_Elem(iPos).child != 0) return {};
  return content.find(L'<') == content.npos ? x_Unescape(content) : x_MixedData(content);
}

std::wstring CMarkup::GetData() {
  return x_IsReading() && x_IsElement() ? x_ReadData() : x_GetMainData();
}

std::wstring CMarkup::x_GetMainData() const {
  if (x_IsElement()) return x_GetData(m_iPos);
  const bool isText = m_nNodeType == NODE_TEXT || m_nNodeType == NODE_WHITESPACE;
  return isText ? x_Unescape(x_NodeData()) : std::wstring(x_NodeData());
}

std::wstring CMarkup::GetChildData() const {
  return m_iPosChild != 0 ? x_GetData(m_iPosChild) : std::wstring();
}

std::wstring_view CMarkup::GetDataPointer() const {
  if (!x_IsElement()) return x_IsOtherNode() ? x_NodeData() : std::wstring_view();
  const std::wstring_view content = x_Content(m_iPos);
  return content.find(L'<') == content.npos ? content : std::wstring_view();
}

std::wstring CMarkup::GetElemContent() const {
  return x_IsElement() ? std::wstring(x_Content(m_iPos)) : std::wstring();
}

std::wstring CMarkup::x_GetSubDoc(int iPos) const {
  if (iPos == 0) return {};
  const ElemPos& element = x_Elem(iPos);
  return m_strDoc.substr(element.start, element.length);
}

std::wstring CMarkup::GetSubDoc() const {
  if (x_IsOtherNode()) return m_strDoc.substr(m_nNodeOffset, m_nNodeLength);
  return x_GetSubDoc(m_iPos);
}

std::wstring CMarkup::GetChildSubDoc() const { return x_GetSubDoc(m_iPosChild); }

int CMarkup::GetElemOffset() const {
  if (x_IsOtherNode()) return m_nNodeOffset;
  return m_iPos != 0 ? static_cast<int>(x_Elem(m_iPos).start) : -1;
}

int CMarkup::GetChildElemOffset() const {
  return m_iPosChild != 0 ? static_cast<int>(x_Elem(m_iPosChild).start) : -1;
}

int CMarkup::GetAttribOffset(MCD_CSTR szAttrib) const {
  orv::Attribute attribute;
  if (!x_FindAttrib(false, szAttrib.view(), &attribute)) return -1;
  return static_cast<int>(attribute.nameStart);
}

int CMarkup::GetContentOffset() const {
  if (!x_IsElement() || x_Elem(m_iPos).IsTagOnly()) return -1;
  return static_cast<int>(x_Elem(m_iPos).ContentStart());
}

namespace orv {

std::wstring_view MarkupReader::TagName() const { return doc_.GetTagNamePointer(); }

std::wstring_view MarkupReader::ValueOf(const Attribute& attribute, std::wstring* buffer) const {
  const std::wstring_view value = attribute.value;
  if (attribute.isPlain && !ShapesWhiteSpace(doc_.m_nDocFlags)) return value;
  return *buffer = doc_.x_Unescape(value);
}

bool MarkupReader::Attrib(std::wstring_view name, std::wstring* buffer,
                          std::wstring_view* value) const {
  Attribute attribute;
  if (!doc_.x_FindAttrib(false, name, &attribute)) return false;
  *value = ValueOf(attribute, buffer);
  return true;
}

bool MarkupReader::StartAttribs(AttributeCursor* cursor) const {
  std::wstring_view text;
  std::size_t nameStart;
  if (!doc_.x_AttribPlace(false, &text, &nameStart)) return false;
  *cursor = AttributeCursor(text, nameStart);
  return true;
}

std::wstring_view MarkupReader::Data(std::wstring* buffer) const {
  if (doc_.x_IsElement() && !ShapesWhiteSpace(doc_.m_nDocFlags)) {
    const std::wstring_view content = PlainContent(doc_.m_strDoc, doc_.x_Elem(doc_.m_iPos));
    if (content.data() != nullptr) return content;
  }
  return *buffer = doc_.x_GetMainData();
}

int MarkupReader::Main() const { return doc_.m_iPos; }

int MarkupReader::Child(int element, std::wstring_view tagName) const {
  return FirstNamed(doc_.x_Elem(element).child, tagName);
}

int MarkupReader::Next(int element, std::wstring_view tagName) const {
  return FirstNamed(doc_.x_Elem(element).next, tagName);
}

/// The first of an element and the siblings behind it that has a tag name.
int MarkupReader::FirstNamed(std::uint32_t element, std::wstring_view tagName) const {
  while (element != 0) {
    const ElemPos& record = doc_.x_Elem(static_cast<int>(element));
    if (IsNamed(doc_.m_strDoc, record, tagName, doc_.m_nDocFlags)) break;
    element = record.next;
  }
  return static_cast<int>(element);
}

int MarkupReader::RecordCount() const { return doc_.m_iPosFree; }

const ElemPos& MarkupReader::Record(int index) const { return doc_.x_Elem(index); }

}  // namespace orv
