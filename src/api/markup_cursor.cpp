#include "orv/xml/cursor.h"

#include "orv/xml/markup.h"
#include "xml/attributes.h"
#include "xml/child_reader.h"
#include "xml/cursor.h"
#include "xml/document.h"
#include "xml/element_index.h"
#include "xml/markup_state.h"
#include "xml/references.h"

// --- Attributes ---

std::wstring_view CMarkupAttrib::Decode(std::wstring* pstrBuffer) const {
  orv::UnescapeText(strRawValue, nFlags, pstrBuffer);
  return *pstrBuffer;
}

namespace {

void Take(const orv::Attribute& attribute, CMarkupAttrib* taken) {
  taken->strName = attribute.name;
  taken->strRawValue = attribute.value;
  taken->nOffset = attribute.nameStart;
  taken->bIsPlain = attribute.isPlain && !orv::NormalizesWhitespace(taken->nFlags);
}

// The next three functions are out of line, so that what nearly always happens needs no stack.

/// Starts at the attributes of any node; false if it has no tag.
[[gnu::noinline]] bool StartAnywhere(const orv::Document& document, int element, int nodeOffset,
                                     int nodeLength, orv::detail::TagPlace& at) {
  const int type = element != 0 ? CMarkup::NODE_ELEMENT : CMarkup::NODE_PROCESSING_INSTRUCTION;
  const orv::Place place{
      .main = element, .nodeType = type, .nodeOffset = nodeOffset, .nodeLength = nodeLength};
  const orv::TagText tag = orv::PlaceReader(document, place).Tag(false);
  if (tag.nameStart < 0) return false;
  orv::AttributeCursor::Start(tag.text, tag.nameStart, tag.shift, at);
  return true;
}

[[gnu::noinline]] void TakeNextOfAnySpelling(orv::detail::TagPlace& at, CMarkupAttrib* taken) {
  orv::Attribute attribute;
  do {
    if (!orv::AttributeCursor::NextOfAnySpelling(at, &attribute)) {
      at.next = nullptr;
      return;
    }
  } while (attribute.name.empty());
  Take(attribute, taken);
}

[[gnu::noinline]] std::wstring_view NodeData(const orv::PlaceReader& at, std::wstring* buffer) {
  return at.Data(buffer);
}

}  // namespace

CMarkupAttribs::Iterator::Iterator(const orv::Document* pDocument, int nElement, int nNodeOffset,
                                   int nNodeLength) {
  const orv::Document& document = *pDocument;
  m_attrib.nFlags = document.flags;
  if (nElement == 0 || document[nElement].start < document.GapStart()) {
    if (StartAnywhere(document, nElement, nNodeOffset, nNodeLength, m_place)) ++*this;
    return;
  }
  const int start = document[nElement].start;
  orv::AttributeCursor::Start(document.text, start + 1, start - document.OffsetOf(start), m_place);
  ++*this;
}

CMarkupAttribs::Iterator& CMarkupAttribs::Iterator::operator++() {
  if (orv::AttributeCursor::IsAtTagEnd(m_place)) {
    m_place.next = nullptr;
    return *this;
  }
  orv::Attribute attribute;
  if (orv::AttributeCursor::NextUsual(m_place, &attribute)) {
    Take(attribute, &m_attrib);
  } else {
    TakeNextOfAnySpelling(m_place, &m_attrib);
  }
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
    const orv::ElementEntry& passed = document[parent];
    next = passed.next;
    parent = passed.parent;
  }
  m_place = {parent, next, 0, CMarkup::NODE_ELEMENT, 0, 0};
  return true;
}

bool CMarkupCursor::FindElem(MCD_CSTR szName) {
  return orv::Cursor(*m_pDocument, m_place).FindElement(szName.c_str());
}

bool CMarkupCursor::FindChildElem(MCD_CSTR szName) {
  orv::Cursor cursor(*m_pDocument, m_place);
  return !cursor.IsOtherNode() && cursor.FindChild(szName.c_str());
}

int CMarkupCursor::FindNode(int nType) {
  return orv::Cursor(*m_pDocument, m_place).FindNode(nType);
}

bool CMarkupCursor::IntoElem() { return orv::Cursor(*m_pDocument, m_place).IntoElement(); }

bool CMarkupCursor::OutOfElem() { return orv::Cursor(*m_pDocument, m_place).OutOfElement(); }

void CMarkupCursor::ResetPos() { m_place = {}; }

void CMarkupCursor::ResetMainPos() { m_place = {.parent = m_place.parent}; }

void CMarkupCursor::ResetChildPos() {
  orv::Cursor(*m_pDocument, m_place).Set(m_place.parent, m_place.main, 0);
}

// --- Reading ---

std::wstring_view CMarkupCursor::GetTagName() const {
  return orv::PlaceReader(*m_pDocument, m_place).TagName();
}

bool CMarkupCursor::GetAttrib(std::wstring_view strName, std::wstring* pstrBuffer,
                              std::wstring_view* pstrValue) const {
  return orv::PlaceReader(*m_pDocument, m_place).Attrib(strName, pstrBuffer, pstrValue);
}

std::wstring_view CMarkupCursor::GetData(std::wstring* pstrBuffer) const {
  const orv::PlaceReader at(*m_pDocument, m_place);
  return at.IsElement() ? m_pDocument->Data(m_place.main, pstrBuffer) : NodeData(at, pstrBuffer);
}

std::wstring_view CMarkupCursor::GetRawData() const {
  return orv::PlaceReader(*m_pDocument, m_place).RawData();
}

std::wstring_view CMarkupCursor::GetContent() const {
  const orv::PlaceReader at(*m_pDocument, m_place);
  return at.IsElement() ? m_pDocument->Content(m_place.main) : std::wstring_view();
}

std::wstring_view CMarkupCursor::GetMarkup() const {
  return orv::PlaceReader(*m_pDocument, m_place).Markup();
}

int CMarkupCursor::GetOffset() const { return orv::PlaceReader(*m_pDocument, m_place).Offset(); }

int CMarkupCursor::GetContentOffset() const {
  return orv::PlaceReader(*m_pDocument, m_place).ContentOffset();
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
  if (!orv::PlaceReader(*cursor.m_pDocument, cursor.m_place).IsElement()) return;
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
