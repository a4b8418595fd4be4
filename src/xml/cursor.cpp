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
  int found = after != 0 ? document_[after].next : document_[parent].child;
  if (*path == 0) return found;
  // Nearly always the path is a plain name, and the first element has it.
  const wchar_t* const text = document_.text.c_str();
  if (found != 0 && IsWholeName(text + document_[found].start + 1, path)) return found;
  if (PathNameLength(path) < 0) return 0;
  const bool ignoreCase = document_.IgnoresCase();
  while (found != 0 && !NameInMarkupIs(text + document_[found].start + 1, path, ignoreCase)) {
    found = document_[found].next;
  }
  return found;
}

bool Cursor::FindElement(const wchar_t* path) {
  if (document_.elements.Capacity() == 0) return false;
  const int found = FindAmong(place_.parent, place_.main, path);
  if (found == 0) return false;
  Set(document_[found].parent, found, 0);
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
  const ElementEntry& parent = document_[place_.parent];
  if (place_.parent != 0 && parent.IsTagOnly()) return parent.ContentEnd();
  if (IsOtherNode()) return NodeAddress() + place_.nodeLength;
  return place_.main != 0 ? document_[place_.main].End() : parent.ContentStart();
}

int Cursor::FindNode(int types) {
  if (document_.elements.Capacity() == 0) return CMarkup::NODE_NONE;
  const ElementEntry& parent = document_[place_.parent];
  ScanCursor scan = document_.ScanRange(NextNodeAddress(), parent.ContentEnd());
  int last = place_.main;  // the last element passed
  ScannedNode node;
  for (;;) {
    document_.PassGap(&scan, parent.ContentEnd());
    const int type = ScanNode(scan, node);
    if (type == kScanEnd) return CMarkup::NODE_NONE;
    if (type == CMarkup::NODE_ELEMENT) {
      last = last != 0 ? document_[last].next : parent.child;
      if (last == 0) return CMarkup::NODE_NONE;  // the index was dropped
      scan.next = document_[last].End();
    }
    if (type <= CMarkup::NODE_NONE || !IncludesType(types, type)) continue;
    Set(place_.parent, last, 0);
    if (type != CMarkup::NODE_ELEMENT) SetNode(type, document_.OffsetOf(node.start), node.length);
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
  Set(document_[place_.parent].parent, place_.parent, place_.main);
  return true;
}

// --- Reading ---

std::wstring_view Cursor::TagName() const {
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

bool Cursor::FindTag(bool ofChild, std::wstring_view* text, int* nameStart) const {
  if (ofChild ? place_.child != 0 : IsElement()) {
    *nameStart = document_[ofChild ? place_.child : place_.main].start + 1;
    *text = document_.TextOfTag(*nameStart);
    return true;
  }
  const bool isInstruction = place_.nodeType == CMarkup::NODE_PROCESSING_INSTRUCTION;
  if (ofChild || !isInstruction || place_.nodeLength == 0) return false;
  const int start = NodeAddress();
  *text = std::wstring_view(document_.text)
              .substr(0, static_cast<std::size_t>(start + place_.nodeLength));
  *nameStart = start + 2;
  return true;
}

bool Cursor::FindAttribute(bool ofChild, std::wstring_view name, Attribute* attribute) const {
  std::wstring_view text;
  int nameStart;
  return FindTag(ofChild, &text, &nameStart) &&
         orv::FindAttribute(text, nameStart, name, document_.IgnoresCase(), attribute);
}

std::wstring Cursor::AttribValue(bool ofChild, std::wstring_view name) const {
  Attribute attribute;
  if (!FindAttribute(ofChild, name, &attribute)) return {};
  return document_.Unescape(attribute.value);
}

bool Cursor::NthAttrib(int index, std::wstring* name, std::wstring* value) const {
  std::wstring_view text;
  int nameStart;
  if (index < 0 || !FindTag(false, &text, &nameStart)) return false;
  AttributeCursor attributes(text, nameStart);
  Attribute attribute;
  while (attributes.Next(&attribute)) {
    if (attribute.name.empty() || index-- > 0) continue;
    *name = attribute.name;
    *value = document_.Unescape(attribute.value);
    return true;
  }
  return false;
}

std::wstring Cursor::Data() const {
  if (IsElement()) return document_.Data(place_.main);
  const bool isText = (place_.nodeType & (CMarkup::NODE_TEXT | CMarkup::NODE_WHITESPACE)) != 0;
  return isText ? document_.Unescape(NodeData()) : std::wstring(NodeData());
}

std::wstring_view Cursor::Data(std::wstring* buffer) const {
  if (IsElement() && !NormalizesWhitespace(document_.flags)) {
    const std::wstring_view content = document_.PlainContent(place_.main);
    if (content.data() != nullptr) return content;
  }
  return *buffer = Data();
}

std::wstring_view Cursor::RawData() const {
  if (!IsElement()) return IsOtherNode() ? NodeData() : std::wstring_view();
  if (document_[place_.main].child != 0) return {};
  const std::wstring_view content = document_.Content(place_.main);
  return content.find(L'<') == content.npos ? content : std::wstring_view();
}

std::wstring_view Cursor::Markup() const {
  return IsOtherNode() ? NodeMarkup() : document_.Markup(place_.main);
}

int Cursor::Offset() const {
  if (IsOtherNode()) return place_.nodeOffset;
  return place_.main != 0 ? document_.StartOf(place_.main) : -1;
}

int Cursor::ContentOffset() const {
  if (!IsElement()) return -1;
  const ElementEntry& element = document_[place_.main];
  return element.IsTagOnly() ? -1 : document_.OffsetOf(element.ContentStart());
}

/// The first of an element and its following siblings with a tag name; 0 for none.
int Cursor::FirstNamed(int element, std::wstring_view tagName) const {
  while (element != 0 && !document_.IsNamed(element, tagName)) element = document_[element].next;
  return element;
}

}  // namespace orv
