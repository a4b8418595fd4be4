#include "orv/xml/cursor.h"
#include "xml/attributes.h"
#include "xml/child_reader.h"
#include "xml/cursor.h"
#include "xml/document.h"
#include "xml/markup_state.h"
#include "xml/references.h"

namespace {

/// The place of a public cursor, for the functions that move or read it.
class PlacedCursor : public orv::Cursor {
 public:
  PlacedCursor(const orv::Document* document, const orv::Place& place) : Cursor(*document) {
    Set(place);
  }

  /// Keeps the place after a move, and returns its result.
  template <class Result>
  Result Keep(Result moved, orv::Place* place) const {
    *place = Get();
    return moved;
  }
};

}  // namespace

// --- Attributes ---

std::wstring_view CMarkupAttrib::Decode(std::wstring* pstrBuffer) const {
  return *pstrBuffer = orv::UnescapeText(strRawValue, nFlags);
}

CMarkupAttribs::Iterator::Iterator(std::wstring_view strText, int nNameStart, int nShift,
                                   int nFlags)
    : m_nShift(nShift) {
  if (nNameStart < 0) return;
  m_pText = strText.data();
  m_pEnd = m_pText + strText.size();
  m_pNext = orv::AttributeCursor(strText, nNameStart).Rest();
  m_attrib.nFlags = nFlags;
  ++*this;
}

CMarkupAttribs::Iterator& CMarkupAttribs::Iterator::operator++() {
  orv::AttributeCursor attributes({m_pText, m_pEnd}, m_pNext);
  orv::Attribute attribute;
  do {
    if (!attributes.Next(&attribute)) {
      m_pNext = nullptr;
      return *this;
    }
  } while (attribute.name.empty());
  m_pNext = attributes.Rest();
  m_attrib.strName = attribute.name;
  m_attrib.strRawValue = attribute.value;
  m_attrib.nOffset = attribute.nameStart - m_nShift;
  m_attrib.bIsPlain = attribute.isPlain && !orv::NormalizesWhitespace(m_attrib.nFlags);
  return *this;
}

// --- Moving ---

CMarkupCursor::CMarkupCursor(const CMarkup& doc) : m_pDocument(&orv::CursorOf(doc).Doc()) {}

CMarkupCursor CMarkupCursor::At(const CMarkup& doc) {
  CMarkupCursor cursor(doc);
  cursor.m_place = orv::CursorOf(doc).Get();
  return cursor;
}

void CMarkupCursor::MoveTo(CMarkup& doc) const { orv::MarkupState::Of(doc).cursor.Set(m_place); }

bool CMarkupCursor::NextElem() {
  const orv::Document& document = *m_pDocument;
  if (document.elements.Capacity() == 0) return false;
  const bool isElement = m_place.nodeType <= CMarkup::NODE_ELEMENT && m_place.main != 0;
  int parent = isElement ? m_place.main : m_place.parent;
  int next = isElement || m_place.main == 0 ? document[parent].child : document[m_place.main].next;
  while (next == 0) {
    if (parent == 0) return false;
    next = document[parent].next;
    parent = document[parent].parent;
  }
  m_place = {document[next].parent, next, 0, CMarkup::NODE_ELEMENT, 0, 0};
  return true;
}

bool CMarkupCursor::FindElem(MCD_CSTR szName) {
  PlacedCursor at(m_pDocument, m_place);
  return at.Keep(at.FindElement(szName.c_str()), &m_place);
}

bool CMarkupCursor::FindChildElem(MCD_CSTR szName) {
  PlacedCursor at(m_pDocument, m_place);
  return at.Keep(!at.IsOtherNode() && at.FindChild(szName.c_str()), &m_place);
}

int CMarkupCursor::FindNode(int nType) {
  PlacedCursor at(m_pDocument, m_place);
  return at.Keep(at.FindNode(nType), &m_place);
}

bool CMarkupCursor::IntoElem() {
  PlacedCursor at(m_pDocument, m_place);
  return at.Keep(at.IntoElement(), &m_place);
}

bool CMarkupCursor::OutOfElem() {
  PlacedCursor at(m_pDocument, m_place);
  return at.Keep(at.OutOfElement(), &m_place);
}

void CMarkupCursor::ResetPos() { m_place = {}; }

void CMarkupCursor::ResetMainPos() { m_place = {.parent = m_place.parent}; }

void CMarkupCursor::ResetChildPos() {
  PlacedCursor at(m_pDocument, m_place);
  at.Set(m_place.parent, m_place.main, 0);
  m_place = at.Get();
}

// --- Reading ---

std::wstring_view CMarkupCursor::GetTagName() const {
  return PlacedCursor(m_pDocument, m_place).TagName();
}

CMarkupAttribs CMarkupCursor::GetAttribs() const {
  if (m_place.nodeType == CMarkup::NODE_ELEMENT && m_place.main != 0) {
    const int start = (*m_pDocument)[m_place.main].start;
    const int shift = start - m_pDocument->OffsetOf(start);
    return {m_pDocument->TextOfTag(start + 1), start + 1, shift, m_pDocument->flags};
  }
  const PlacedCursor at(m_pDocument, m_place);
  std::wstring_view text;
  int nameStart = -1;
  const bool hasTag = at.FindTag(false, &text, &nameStart);
  return {text, nameStart, hasTag ? at.TagShift(false) : 0, m_pDocument->flags};
}

bool CMarkupCursor::GetAttrib(std::wstring_view strName, std::wstring* pstrBuffer,
                              std::wstring_view* pstrValue) const {
  return PlacedCursor(m_pDocument, m_place).Attrib(strName, pstrBuffer, pstrValue);
}

std::wstring_view CMarkupCursor::GetData(std::wstring* pstrBuffer) const {
  if (m_place.nodeType == CMarkup::NODE_ELEMENT && m_place.main != 0 &&
      !orv::NormalizesWhitespace(m_pDocument->flags)) {
    // Nearly all elements have text without references, or children.
    const orv::ElementEntry& element = (*m_pDocument)[m_place.main];
    if (element.child != 0) return *pstrBuffer = {};
    const std::wstring_view content = m_pDocument->PlainContent(m_place.main);
    if (content.data() != nullptr) return content;
  }
  return PlacedCursor(m_pDocument, m_place).Data(pstrBuffer);
}

std::wstring_view CMarkupCursor::GetRawData() const {
  return PlacedCursor(m_pDocument, m_place).RawData();
}

std::wstring_view CMarkupCursor::GetContent() const {
  const PlacedCursor at(m_pDocument, m_place);
  return at.IsElement() ? m_pDocument->Content(m_place.main) : std::wstring_view();
}

std::wstring_view CMarkupCursor::GetMarkup() const {
  return PlacedCursor(m_pDocument, m_place).Markup();
}

int CMarkupCursor::GetOffset() const { return PlacedCursor(m_pDocument, m_place).Offset(); }

int CMarkupCursor::GetContentOffset() const {
  return PlacedCursor(m_pDocument, m_place).ContentOffset();
}

// --- Children ---

CMarkupChildren::CMarkupChildren(const CMarkupCursor& cursor, std::wstring_view strName,
                                 std::wstring_view strAttrib) {
  m_strOpening.reserve(strName.size() + strAttrib.size() + 4);
  m_strOpening += L'<';
  m_strOpening += strName;
  m_strOpening += L' ';
  m_strOpening += strAttrib;
  m_strOpening += L"=\"";
  if (!PlacedCursor(cursor.m_pDocument, cursor.m_place).IsElement()) return;
  m_pReader =
      std::make_unique<orv::ChildReader>(*cursor.m_pDocument, cursor.m_place.main, m_strOpening);
}

CMarkupChildren::~CMarkupChildren() = default;

CMarkupChildren::Iterator::Iterator(orv::ChildReader* pReader) : m_pReader(pReader) {
  if (m_pReader != nullptr) ++*this;
}

CMarkupChildren::Iterator& CMarkupChildren::Iterator::operator++() {
  if (!m_pReader->Next({}, &m_child.strValue, &m_child.strData)) m_pReader = nullptr;
  return *this;
}
