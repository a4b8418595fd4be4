#include "xml/cursor.h"

#include "xml/names.h"

namespace orv {
namespace {

/// The target of a processing instruction or the keyword of a declaration.
std::wstring_view MarkupNodeName(std::wstring_view node) {
  std::size_t end = 2;
  while (end < node.size() && !EndsTagName(node[end]) && node[end] != L'?' && node[end] != L'[') {
    ++end;
  }
  return node.substr(2, end - 2);
}

}  // namespace

// --- Navigation ---

/// The first element after `after` that a path matches, or among all children of `parent` if
/// `after` is 0; 0 for none.
int Cursor::FindAmong(int parent, int after, const wchar_t* path) const {
  int found = after != 0 ? Doc()[after].next : Doc()[parent].child;
  if (*path == 0) return found;
  // Nearly always the path is a plain name, and the first element has it.
  const wchar_t* const text = Doc().text.c_str();
  if (found != 0 && IsWholeName(text + Doc()[found].start + 1, path)) return found;
  if (PathNameLength(path) < 0) return 0;
  const bool ignoreCase = Doc().IgnoresCase();
  while (found != 0 && !NameInMarkupIs(text + Doc()[found].start + 1, path, ignoreCase)) {
    found = Doc()[found].next;
  }
  return found;
}

bool Cursor::FindElement(const wchar_t* path) {
  if (Doc().elements.Capacity() == 0) return false;
  const int found = FindAmong(place_.parent, place_.main, path);
  if (found == 0) return false;
  Set(Doc()[found].parent, found, 0);
  return true;
}

bool Cursor::FindChild(const wchar_t* path) {
  if (place_.main == 0) FindElement(L"");
  if (place_.main == 0) return false;
  const int found = FindAmong(place_.main, place_.child, path);
  if (found == 0) return false;
  Set(place_.parent, place_.main, found);
  return true;
}

/// The address at which the node after the current one begins.
int Cursor::NextNodeAddress() const {
  const ElementEntry& parent = Doc()[place_.parent];
  if (place_.parent != 0 && parent.IsTagOnly()) return parent.ContentEnd();
  if (IsOtherNode()) return NodeAddress() + place_.nodeLength;
  return place_.main != 0 ? Doc()[place_.main].End() : parent.ContentStart();
}

int Cursor::FindNode(int types) {
  if (Doc().elements.Capacity() == 0) return CMarkup::NODE_NONE;
  const ElementEntry& parent = Doc()[place_.parent];
  ScanCursor scan = Doc().ScanRange(NextNodeAddress(), parent.ContentEnd());
  int last = place_.main;  // the last element passed
  ScannedNode node;
  for (;;) {
    Doc().PassGap(&scan, parent.ContentEnd());
    const int type = ScanNode(scan, node);
    if (type == kScanEnd) return CMarkup::NODE_NONE;
    if (type == CMarkup::NODE_ELEMENT) {
      last = last != 0 ? Doc()[last].next : parent.child;
      if (last == 0) return CMarkup::NODE_NONE;  // the index was dropped
      scan.next = Doc()[last].End();
    }
    if (type <= CMarkup::NODE_NONE || !IncludesType(types, type)) continue;
    Set(place_.parent, last, 0);
    if (type != CMarkup::NODE_ELEMENT) SetNode(type, Doc().OffsetOf(node.start), node.length);
    return type;
  }
}

bool Cursor::IntoElement() {
  if (!IsElement()) return false;
  Set(place_.main, place_.child, 0);
  return true;
}

bool Cursor::OutOfElement() {
  if (place_.parent == 0) return false;
  Set(Doc()[place_.parent].parent, place_.parent, place_.main);
  return true;
}

// --- Reading ---

std::wstring_view PlaceReader::TagName() const {
  switch (place_.nodeType) {
    case CMarkup::NODE_NONE:
      return {};
    case CMarkup::NODE_ELEMENT:
      return document_.TagName(place_.main);
    case CMarkup::NODE_TEXT:
    case CMarkup::NODE_WHITESPACE:
      return L"#text";
    case CMarkup::NODE_CDATA_SECTION:
      return L"#cdata-section";
    case CMarkup::NODE_COMMENT:
      return L"#comment";
    default:
      return MarkupNodeName(NodeMarkup());
  }
}

TagText PlaceReader::Instruction() const {
  if (place_.nodeType != CMarkup::NODE_PROCESSING_INSTRUCTION || place_.nodeLength == 0) return {};
  const int start = NodeAddress();
  const auto end = static_cast<std::size_t>(start + place_.nodeLength);
  return {std::wstring_view(document_.text).substr(0, end), start + 2, start - place_.nodeOffset};
}

bool PlaceReader::FindAttribute(bool ofChild, std::wstring_view name, Attribute* attribute) const {
  const TagText tag = Tag(ofChild);
  if (tag.nameStart < 0) return false;
  const bool isFound =
      orv::FindAttribute(tag.text, tag.nameStart, name, document_.IgnoresCase(), attribute);
  attribute->nameStart -= tag.shift;
  attribute->valueStart -= tag.shift;
  return isFound;
}

std::wstring PlaceReader::AttribValue(bool ofChild, std::wstring_view name) const {
  Attribute attribute;
  if (!FindAttribute(ofChild, name, &attribute)) return {};
  return document_.Unescape(attribute.value);
}

bool PlaceReader::NthAttrib(int index, std::wstring* name, std::wstring* value) const {
  const TagText tag = Tag(false);
  if (index < 0 || tag.nameStart < 0) return false;
  AttributeCursor attributes(tag.text, tag.nameStart);
  Attribute attribute;
  while (attributes.Next(&attribute)) {
    if (attribute.name.empty() || index-- > 0) continue;
    *name = attribute.name;
    *value = document_.Unescape(attribute.value);
    return true;
  }
  return false;
}

std::wstring PlaceReader::Data() const {
  if (IsElement()) return document_.Data(place_.main);
  const bool isText = (place_.nodeType & kTextTypes) != 0;
  return isText ? document_.Unescape(NodeData()) : std::wstring(NodeData());
}

std::wstring_view PlaceReader::RawData() const {
  if (!IsElement()) return IsOtherNode() ? NodeData() : std::wstring_view();
  if (document_[place_.main].child != 0) return {};
  const std::wstring_view content = document_.Content(place_.main);
  return content.find(L'<') == content.npos ? content : std::wstring_view();
}

std::wstring_view PlaceReader::Markup() const {
  return IsOtherNode() ? NodeMarkup() : document_.Markup(place_.main);
}

int PlaceReader::Offset() const {
  if (IsOtherNode()) return place_.nodeOffset;
  return place_.main != 0 ? document_.StartOf(place_.main) : -1;
}

int PlaceReader::ContentOffset() const {
  if (!IsElement()) return -1;
  const ElementEntry& element = document_[place_.main];
  return element.IsTagOnly() ? -1 : document_.OffsetOf(element.ContentStart());
}

/// The first of an element and its following siblings with a tag name; 0 for none.
int PlaceReader::FirstNamed(int element, std::wstring_view tagName) const {
  while (element != 0 && !document_.IsNamed(element, tagName)) element = document_[element].next;
  return element;
}

}  // namespace orv
