#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "orv/xml/markup.h"
#include "xml/attributes.h"
#include "xml/element_indexer.h"
#include "xml/file_stream.h"
#include "xml/markup_index.h"
#include "xml/names.h"
#include "xml/saved_positions.h"
#include "xml/scanner.h"

using orv::ElemPos;

namespace {

constexpr std::wstring_view kLineBreak = L"\r\n";

/// Whether a text can stand as a tag name in a start and an end tag.
bool IsTagName(std::wstring_view name) {
  if (name.empty() || !orv::IsNameStart(name[0])) return false;
  for (const wchar_t unit : name) {
    if (orv::EndsTagName(unit) || orv::IsQuote(unit) || unit == L'<') return false;
  }
  return true;
}

bool IsAttributeName(std::wstring_view name) {
  return !name.empty() && name.find_first_of(L" \t\r\n/=>?<\"'") == name.npos;
}

/// The units of the line break that a text has at an offset.
int LineBreakLength(std::wstring_view text, std::size_t offset) {
  if (text.substr(offset, 2) == kLineBreak) return 2;
  return offset < text.size() && (text[offset] == L'\r' || text[offset] == L'\n') ? 1 : 0;
}

}  // namespace

/// Where new markup goes.
struct CMarkup::InsertPlace {
  int parent = 0;
  int before = 0;  ///< the element that it will follow, 0 to be the first
  int offset = 0;
  bool opensParent = false;  ///< the parent is its start tag alone
};

// --- The index follows the text ---

/// Replaces `nCut` units of the text.
void CMarkup::x_DocChange(int nOffset, int nCut, std::wstring_view text) {
  m_strDoc.replace(nOffset, nCut, text);
  x_Elem(0).length = static_cast<std::uint32_t>(m_strDoc.size());
}

/// Shifts what lies behind a change inside or right behind the record `iPos`, which is itself
/// adjusted by the caller: the starts of the records behind it, with `bAfterPos` without its
/// descendants, and the lengths of those that enclose it. Record 0 needs no shift.
void CMarkup::x_Adjust(int iPos, int nShift, bool bAfterPos) {
  if (x_Elem(iPos).StartTagLength() == 0 || nShift == 0) return;
  int depth = 0;             // below the changed record or one that encloses it
  bool isAbove = bAfterPos;  // the descendants of `iPos` are done with
  for (;;) {
    const ElemPos& element = x_Elem(iPos);
    if (!isAbove && element.child != 0) {
      iPos = static_cast<int>(element.child);
      ++depth;
    } else if (element.next != 0) {
      iPos = static_cast<int>(element.next);
      isAbove = false;
    } else {
      iPos = static_cast<int>(element.parent);
      if (iPos == 0) return;
      if (depth > 0) {
        --depth;
      } else {
        x_Elem(iPos).length += nShift;
      }
      isAbove = true;
      continue;
    }
    x_Elem(iPos).start += nShift;
  }
}

/// Shifts what lies behind a change of a node that follows the element `iPosBefore`, or is the
/// first of its parent.
void CMarkup::x_AdjustForNode(int iPosParent, int iPosBefore, int nShift) {
  if (iPosBefore != 0) return x_Adjust(iPosBefore, nShift, true);
  const int first = static_cast<int>(x_Elem(iPosParent).child);
  if (first != 0) {
    x_Elem(first).start += nShift;
    x_Adjust(first, nShift, false);
  } else if (iPosParent != 0) {
    x_Elem(iPosParent).length += nShift;
    x_Adjust(iPosParent, nShift, true);
  }
}

/// Makes a record the child of a parent that follows `iPosBefore`, the first one for 0.
void CMarkup::x_LinkElem(int iPosParent, int iPosBefore, int iPos) {
  ElemPos& parent = x_Elem(iPosParent);
  ElemPos& element = x_Elem(iPos);
  element.parent = iPosParent;
  if (parent.child == 0) {
    parent.child = iPos;
    element.levelFlags |= orv::ELEM_FIRST;
    element.previous = iPos;
    element.next = 0;
    return;
  }
  ElemPos& first = x_Elem(static_cast<int>(parent.child));
  if (iPosBefore == 0) {
    element.levelFlags |= orv::ELEM_FIRST;
    element.previous = first.previous;
    element.next = parent.child;
    first.levelFlags &= ~orv::ELEM_FIRST;
    first.previous = iPos;
    parent.child = iPos;
    return;
  }
  ElemPos& before = x_Elem(iPosBefore);
  element.levelFlags &= ~orv::ELEM_FIRST;
  element.previous = iPosBefore;
  element.next = before.next;
  before.next = iPos;
  ElemPos& behind = element.next != 0 ? x_Elem(static_cast<int>(element.next)) : first;
  behind.previous = iPos;
}

/// Takes a record out of the chain of its siblings.
void CMarkup::x_UnlinkElem(int iPos) {
  const ElemPos& element = x_Elem(iPos);
  ElemPos& parent = x_Elem(static_cast<int>(element.parent));
  ElemPos& first = x_Elem(static_cast<int>(parent.child));
  if (static_cast<int>(parent.child) != iPos) {
    x_Elem(static_cast<int>(element.previous)).next = element.next;
    ElemPos& behind = element.next != 0 ? x_Elem(static_cast<int>(element.next)) : first;
    behind.previous = element.previous;
    return;
  }
  parent.child = element.next;
  if (element.next != 0) {
    ElemPos& newFirst = x_Elem(static_cast<int>(element.next));
    newFirst.levelFlags |= orv::ELEM_FIRST;
    newFirst.previous = element.previous;
  }
}

/// Releases a record and everything below it.
void CMarkup::x_ReleaseSubDoc(int iPos) {
  for (int i = iPos;;) {
    while (x_Elem(i).child != 0) {
      i = static_cast<int>(std::exchange(x_Elem(i).child, 0));
    }
    const int parent = x_GetParent(i);
    const int next = x_ReleasePos(i);
    if (i == iPos) return;
    i = next != 0 ? next : parent;
  }
}

void CMarkup::x_ReleaseChildren(int iPos) {
  int child = static_cast<int>(std::exchange(x_Elem(iPos).child, 0));
  while (child != 0) {
    const int next = static_cast<int>(x_Elem(child).next);
    x_ReleaseSubDoc(child);
    child = next;
  }
}

/// Forgets the saved positions whose records were released.
void CMarkup::x_CheckSavedPos() {
  const auto isDeleted = [this](int i) { return (x_Elem(i).levelFlags & orv::ELEM_DELETED) != 0; };
  m_pSavedPositions->Drop([&](const orv::SavedPositions::Entry& saved) {
    return isDeleted(saved.parent) || isDeleted(saved.main) || isDeleted(saved.child);
  });
}

/// The level of the children of a record.
std::uint32_t CMarkup::x_LevelBelow(int iPosParent) const {
  return iPosParent != 0 ? (x_Elem(iPosParent).Level() + 1) & ElemPos::kLevelMask : 0;
}

/// Indexes a piece of the text whose elements will be children of `iPosParent`; returns the first.
int CMarkup::x_ParseInPlace(int iPosParent, int nStart, int nEnd) {
  // The document's record stands in as the one that the parse runs under.
  const ElemPos document = std::exchange(x_Elem(0), ElemPos{});
  x_Elem(0).levelFlags = x_LevelBelow(iPosParent);
  orv::TokenPos token = x_TokenAt(nStart, nEnd);
  const int first = x_ParseElem(0, token);
  x_Elem(0) = document;
  return first;
}

/// In an ill-formed document any edit may change what belongs to what: it is indexed anew.
void CMarkup::x_FinishEdit() {
  if ((x_Elem(0).levelFlags & orv::ELEM_ILLFORMED) == 0 || x_HasFile()) return;
  x_Reparse();
  if ((x_Elem(0).levelFlags & orv::ELEM_ILLFORMED) == 0) x_CheckNode();
}

/// Forgets the main node when it is none: new markup can end what had no end, and be part of it.
/// Were that changed as a node, the index would say nothing of what comes of it. A text may have
/// become part of a longer one.
void CMarkup::x_CheckNode() {
  if (!x_IsOtherNode()) return;
  constexpr int kText = NODE_TEXT | NODE_WHITESPACE;
  const int type = m_nNodeType;
  const int offset = m_nNodeOffset;
  const int length = m_nNodeLength;
  const int parent = m_iPosParent;
  const int before = m_iPos;
  x_SetPos(parent, before, 0);
  int found;
  do {
    found = FindNode();
  } while (found != NODE_NONE && found != NODE_ELEMENT && m_nNodeOffset + m_nNodeLength <= offset);
  const bool isText = (type & kText) != 0 && (found & kText) != 0 && m_nNodeOffset <= offset;
  const bool isSame = isText || (found == type && m_nNodeOffset == offset);
  x_SetPos(parent, before, 0);
  if (!isSame) return;
  m_nNodeType = type;
  m_nNodeOffset = offset;
  m_nNodeLength = length;
}

/// Parses the text again, the result record untouched, and finds the positions by their offsets.
void CMarkup::x_Reparse() {
  constexpr std::uint32_t kNone = 0xFFFFFFFF;
  const auto startOf = [this](int i) { return i != 0 ? x_Elem(i).start : kNone; };
  using Starts = std::array<std::uint32_t, 3>;
  const Starts current = {startOf(m_iPosParent), startOf(m_iPos), startOf(m_iPosChild)};
  std::vector<std::pair<orv::SavedPositions::Entry*, Starts>> saved;
  m_pSavedPositions->ForEach([&](orv::SavedPositions::Entry& entry) {
    saved.emplace_back(&entry,
                       Starts{startOf(entry.parent), startOf(entry.main), startOf(entry.child)});
  });

  std::wstring result;
  std::swap(result, m_strResult);
  x_IndexDoc(m_strDoc);
  m_strResult = std::move(result);

  // The records of a new index stand in document order.
  const auto at = [this](std::uint32_t start) {
    int low = 1;
    int high = m_iPosFree;
    while (low < high) {
      const int middle = low + (high - low) / 2;
      if (x_Elem(middle).start < start) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    return low < m_iPosFree && x_Elem(low).start == start ? low : 0;
  };
  // What encloses a position may have changed with the edit.
  const auto place = [&](const Starts& starts) {
    orv::SavedPositions::Entry entry{at(starts[0]), at(starts[1]), at(starts[2])};
    if (entry.main != 0) entry.parent = x_GetParent(entry.main);
    if (entry.child != 0 && x_GetParent(entry.child) != entry.main) entry.child = 0;
    return entry;
  };
  const orv::SavedPositions::Entry entry = place(current);
  m_iPosParent = entry.parent;
  m_iPos = entry.main;
  m_iPosChild = entry.child;
  for (const auto& [target, starts] : saved) *target = place(starts);
}

// --- Where things are ---

/// The offset of the end tag. Its stored length lacks multiples of 1,024.
int CMarkup::x_ContentEnd(int iPos) const {
  const ElemPos& element = x_Elem(iPos);
  const int contentStart = static_cast<int>(element.ContentStart());
  int end = static_cast<int>(element.ContentEnd());
  while (end - 1024 >= contentStart && m_strDoc.compare(end, 2, L"</") != 0) end -= 1024;
  return end;
}

/// The offset of the `/` or `>` that closes the start tag.
int CMarkup::x_TagClose(int iPos) const {
  const ElemPos& element = x_Elem(iPos);
  int close = static_cast<int>(element.ContentStart()) - 1;
  if ((element.levelFlags & orv::ELEM_EMPTY) != 0) --close;
  return close;
}

/// Whether the element's own tags and content may change.
bool CMarkup::x_CanEdit(int iPos) const {
  if (iPos == 0 || (m_nDocFlags & DOC_READFILE) != 0) return false;
  const ElemPos& element = x_Elem(iPos);
  return element.StartTagLength() > 2 && !element.IsStartTagCut() &&
         m_strDoc[element.ContentStart() - 1] == L'>';
}

/// Whether markup may be added; makes room for it in a file being written.
bool CMarkup::x_BeginAdd() {
  if ((m_nDocFlags & DOC_READFILE) != 0) return false;
  const bool isFull = x_IsWriting() && m_strDoc.size() > orv::kStreamPart;
  return !isFull || x_WriteOut();
}

/// Finds where new markup goes; false when there is no position for it.
bool CMarkup::x_FindPlace(int nFlags, InsertPlace* place) const {
  const bool inWriteMode = (m_nDocFlags & DOC_WRITEFILE) != 0;
  if (inWriteMode && (nFlags & (ADD_CHILD | ADD_INSERT)) != 0) return false;
  const bool insert = (nFlags & ADD_INSERT) != 0;
  const bool onChildLevel = (nFlags & ADD_CHILD) != 0;
  if (onChildLevel && !x_IsElement()) return false;

  place->parent = onChildLevel ? m_iPos : m_iPosParent;
  const int current = onChildLevel ? m_iPosChild : m_iPos;
  const ElemPos& parent = x_Elem(place->parent);
  if (!onChildLevel && x_IsOtherNode()) {
    place->before = current;
    place->offset = insert ? m_nNodeOffset : m_nNodeOffset + m_nNodeLength;
  } else if (current != 0) {
    const ElemPos& element = x_Elem(current);
    const bool isFirst = (element.levelFlags & orv::ELEM_FIRST) != 0;
    place->before = !insert ? current : isFirst ? 0 : static_cast<int>(element.previous);
    place->offset = static_cast<int>(insert ? element.start : element.End());
  } else {
    if (!insert && parent.child != 0) {
      place->before = static_cast<int>(x_Elem(static_cast<int>(parent.child)).previous);
    }
    if (place->parent == 0) {
      place->offset = insert ? 0 : static_cast<int>(m_strDoc.size());
    } else if (parent.IsStartTagCut()) {
      return false;
    } else if (parent.IsTagOnly()) {
      place->opensParent = true;
      place->offset = static_cast<int>(parent.ContentStart());
    } else {
      place->offset =
          insert ? static_cast<int>(parent.ContentStart()) : x_ContentEnd(place->parent);
    }
  }
  if ((nFlags & ADD_NOLINES) == 0 && !place->opensParent) {
    std::size_t offset = place->offset;
    while (offset < m_strDoc.size() && orv::IsWhiteSpace(m_strDoc[offset])) ++offset;
    if (offset < m_strDoc.size() && m_strDoc[offset] == L'<') {
      place->offset = static_cast<int>(offset);
    }
  }
  return true;
}

// --- Elements ---

/// Gives an element that is its start tag alone a content and an end tag. Slashes before the `>`
/// go, a blank before them stays.
void CMarkup::x_OpenTag(int iPos, std::wstring_view content) {
  ElemPos& element = x_Elem(iPos);
  const int behindTag = static_cast<int>(element.ContentStart());
  const std::wstring name(x_GetTagName(iPos));
  int close = behindTag - 1;
  while (m_strDoc[close - 1] == L'/') --close;
  std::wstring text = L">";
  text += content;
  text += L"</" + name + L">";
  const int oldSize = static_cast<int>(m_strDoc.size());
  x_DocChange(close, behindTag - close, text);
  element.SetTagLengths(close + 1 - element.start, static_cast<std::uint32_t>(name.size()) + 3);
  element.length = close + static_cast<int>(text.size()) - element.start;
  element.levelFlags &= ~(orv::ELEM_EMPTY | orv::ELEM_UNENDED);
  x_Adjust(iPos, static_cast<int>(m_strDoc.size()) - oldSize, true);
}

/// Writes markup into the text, its line break too, and opens the parent if it must; returns the
/// offset of the markup. The records behind an opened parent are shifted; otherwise that is left to
/// the caller, by the growth of the text.
int CMarkup::x_InsertNew(const InsertPlace& place, const std::wstring& markup, int nFlags) {
  const std::wstring_view lineBreak = (nFlags & ADD_NOLINES) == 0 ? kLineBreak : L"";
  std::wstring text = markup;
  text += lineBreak;
  if (place.opensParent) {
    text.insert(0, lineBreak);
    x_OpenTag(place.parent, text);
    return static_cast<int>(x_Elem(place.parent).ContentStart() + lineBreak.size());
  }
  x_DocChange(place.offset, 0, text);
  return place.offset;
}

/// Links a new element, shifts what lies behind it and makes it the current one.
void CMarkup::x_IndexNew(const InsertPlace& place, int iNew, int nShift, int nFlags) {
  x_LinkElem(place.parent, place.before, iNew);
  if (!place.opensParent) x_Adjust(iNew, nShift, true);
  if ((nFlags & ADD_CHILD) != 0) {
    x_SetPos(m_iPosParent, m_iPos, iNew);
  } else {
    x_SetPos(place.parent, iNew, 0);
  }
  x_FinishEdit();
}

bool CMarkup::x_AddElem(MCD_CSTR szName, MCD_CSTR szValue, int nFlags) {
  const std::wstring_view name = szName.view();
  const bool hasValue = !szValue.IsEmpty();
  const bool noEnd = (nFlags & ADD_NOEND) != 0;
  if ((noEnd && hasValue) || !IsTagName(name) || !x_BeginAdd()) return false;
  InsertPlace place;
  if (!x_FindPlace(nFlags, &place)) return false;

  std::wstring markup = L"<" + std::wstring(name);
  std::wstring_view ending = L"/>";
  if (hasValue || noEnd) {
    ending = L">";
  } else if ((nFlags & ADD_SPACEDEMPTY) != 0) {
    ending = L" />";
  }
  markup += ending;
  const auto startTagLength = static_cast<std::uint32_t>(markup.size());
  std::uint32_t endTagLength = 0;
  if (hasValue) {
    markup += (nFlags & ADD_CDATA) != 0 ? x_EncodeCDATASection(szValue.view())
                                        : EscapeText(szValue, nFlags);
    endTagLength = static_cast<std::uint32_t>(name.size()) + 3;
    markup += L"</" + std::wstring(name) + L">";
  }

  const int oldSize = static_cast<int>(m_strDoc.size());
  const int offset = x_InsertNew(place, markup, nFlags);
  const int iNew = x_GetFreePos();
  ElemPos& element = x_Elem(iNew);
  element = ElemPos{};
  element.start = offset;
  element.length = static_cast<std::uint32_t>(markup.size());
  element.SetTagLengths(startTagLength, endTagLength);
  element.levelFlags = x_LevelBelow(place.parent);
  if (noEnd) {
    element.levelFlags |= orv::ELEM_UNENDED;
    x_Elem(0).levelFlags |= orv::ELEM_ILLFORMED;
  } else if (!hasValue) {
    element.levelFlags |= orv::ELEM_EMPTY;
  }
  x_IndexNew(place, iNew, static_cast<int>(m_strDoc.size()) - oldSize, nFlags);
  return true;
}

bool CMarkup::x_AddSubDoc(MCD_CSTR szSubDoc, int nFlags) {
  CMarkup subDoc;
  subDoc.SetDocFlags(m_nDocFlags);
  if (!subDoc.SetDoc(szSubDoc.c_str()) || !subDoc.FindElem() || !x_BeginAdd()) return false;
  InsertPlace place;
  if (!x_FindPlace(nFlags, &place)) return false;

  const std::wstring markup = subDoc.GetSubDoc();
  const int oldSize = static_cast<int>(m_strDoc.size());
  const int offset = x_InsertNew(place, markup, nFlags);
  const int iNew = x_ParseInPlace(place.parent, offset, offset + static_cast<int>(markup.size()));
  x_IndexNew(place, iNew, static_cast<int>(m_strDoc.size()) - oldSize, nFlags);
  return true;
}

void CMarkup::x_RemoveElem(int iPos) {
  const ElemPos& element = x_Elem(iPos);
  const int start = static_cast<int>(element.start);
  const int cut = static_cast<int>(element.length) + LineBreakLength(m_strDoc, element.End());
  x_Adjust(iPos, -cut, true);
  x_UnlinkElem(iPos);
  x_ReleaseSubDoc(iPos);
  x_DocChange(start, cut, {});
  x_CheckSavedPos();
}

bool CMarkup::RemoveElem() {
  if (x_HasFile() || !x_IsElement()) return false;
  const ElemPos& element = x_Elem(m_iPos);
  const bool isFirst = (element.levelFlags & orv::ELEM_FIRST) != 0;
  const int before = isFirst ? 0 : static_cast<int>(element.previous);
  x_RemoveElem(m_iPos);
  x_SetPos(m_iPosParent, before, 0);
  x_FinishEdit();
  return true;
}

bool CMarkup::RemoveChildElem() {
  if (x_HasFile() || m_iPosChild == 0) return false;
  const ElemPos& element = x_Elem(m_iPosChild);
  const bool isFirst = (element.levelFlags & orv::ELEM_FIRST) != 0;
  const int before = isFirst ? 0 : static_cast<int>(element.previous);
  x_RemoveElem(m_iPosChild);
  x_SetPos(m_iPosParent, m_iPos, before);
  x_FinishEdit();
  return true;
}

// --- Content ---

/// Replaces what lies between the tags of an element; the records of its elements are released.
void CMarkup::x_SetContent(int iPos, std::wstring_view content) {
  x_ReleaseChildren(iPos);
  if (x_Elem(iPos).IsTagOnly()) {
    if (!content.empty()) x_OpenTag(iPos, content);
  } else {
    ElemPos& element = x_Elem(iPos);
    const int start = static_cast<int>(element.ContentStart());
    const int end = x_ContentEnd(iPos);
    const int shift = static_cast<int>(content.size()) - (end - start);
    x_DocChange(start, end - start, content);
    element.length += shift;
    x_Adjust(iPos, shift, true);
  }
  x_CheckSavedPos();
}

bool CMarkup::SetData(MCD_CSTR szValue, int nFlags) {
  if (x_IsOtherNode()) return x_SetNodeData(szValue);
  if (!x_SetData(m_iPos, szValue, nFlags)) return false;
  x_SetPos(m_iPosParent, m_iPos, 0);
  x_FinishEdit();
  return true;
}

bool CMarkup::SetChildData(MCD_CSTR szValue, int nFlags) {
  if (!x_SetData(m_iPosChild, szValue, nFlags)) return false;
  x_FinishEdit();
  return true;
}

bool CMarkup::x_SetData(int iPos, MCD_CSTR szValue, int nFlags) {
  if (x_HasFile() || !x_CanEdit(iPos)) return false;
  const bool asCData = (nFlags & ADD_CDATA) != 0 && !szValue.IsEmpty();
  x_SetContent(iPos, asCData ? x_EncodeCDATASection(szValue.view()) : EscapeText(szValue, nFlags));
  return true;
}

bool CMarkup::SetElemContent(MCD_CSTR szContent) {
  if (x_HasFile() || !x_IsElement() || !x_CanEdit(m_iPos)) return false;
  CMarkup content;
  content.SetDocFlags(m_nDocFlags);
  content.SetDoc(szContent.c_str());
  if ((content.x_Elem(0).levelFlags & orv::ELEM_ILLFORMED) != 0) return false;

  x_SetContent(m_iPos, szContent.view());
  x_SetPos(m_iPosParent, m_iPos, 0);
  if (!x_Elem(m_iPos).IsTagOnly()) {
    const int first = x_ParseInPlace(m_iPos, static_cast<int>(x_Elem(m_iPos).ContentStart()),
                                     x_ContentEnd(m_iPos));
    x_Elem(m_iPos).child = first;
    for (int i = first; i != 0; i = static_cast<int>(x_Elem(i).next)) x_Elem(i).parent = m_iPos;
  }
  x_FinishEdit();
  return true;
}

// --- Attributes ---

bool CMarkup::SetAttrib(MCD_CSTR szAttrib, MCD_CSTR szValue) {
  return x_SetAttrib(false, szAttrib.view(), szValue);
}

bool CMarkup::SetChildAttrib(MCD_CSTR szAttrib, MCD_CSTR szValue) {
  return x_SetAttrib(true, szAttrib.view(), szValue);
}

/// Whether the attributes of a tag are read with the quotes that the parse took for those of
/// values. They are not where the tag's name or a bare value holds an equals sign and then a quote:
/// there a change could end the tag somewhere else.
static bool ReadsAsParsed(std::wstring_view text, int tag, int end) {
  orv::AttributeCursor cursor(text, static_cast<std::size_t>(tag) + 1);
  orv::Attribute attribute;
  for (int at = tag + 2; at < end; ++at) {
    if (!orv::IsQuote(text[at]) || !orv::OpensValue(text.data(), tag, at)) continue;
    do {
      if (!cursor.Next(&attribute)) return false;
    } while (!attribute.hasValue || !orv::IsQuote(text[attribute.valueStart - 1]));
    if (static_cast<int>(attribute.valueStart) != at + 1) return false;
    at += static_cast<int>(attribute.value.size()) + 1;
  }
  return true;
}

/// Where the tag or instruction at a position can take another attribute; -1 for none.
int CMarkup::x_AttribEnd(bool bChild) const {
  if (!bChild && m_nNodeType == NODE_PROCESSING_INSTRUCTION) {
    return m_nNodeOffset + m_nNodeLength - 2;
  }
  const int iPos = bChild ? m_iPosChild : x_IsElement() ? m_iPos : 0;
  if (iPos == 0 || !x_CanEdit(iPos)) return -1;
  const int end = x_TagClose(iPos);
  return ReadsAsParsed(m_strDoc, static_cast<int>(x_Elem(iPos).start), end) ? end : -1;
}

/// Replaces units within the tag or instruction at a position.
void CMarkup::x_ChangeTag(bool bChild, int nOffset, int nCut, std::wstring_view text) {
  const int shift = static_cast<int>(text.size()) - nCut;
  x_DocChange(nOffset, nCut, text);
  if (!bChild && x_IsOtherNode()) {
    m_nNodeLength += shift;
    x_AdjustForNode(m_iPosParent, m_iPos, shift);
  } else {
    const int iPos = bChild ? m_iPosChild : m_iPos;
    ElemPos& element = x_Elem(iPos);
    element.SetStartTagLength(element.StartTagLength() + shift);
    element.length += shift;
    x_Adjust(iPos, shift, false);
  }
  x_FinishEdit();
}

bool CMarkup::x_SetAttrib(bool bChild, std::wstring_view name, MCD_CSTR szValue) {
  int end = x_AttribEnd(bChild);
  if ((m_nDocFlags & DOC_READFILE) != 0 || end < 0 || !IsAttributeName(name)) return false;
  const std::wstring value = EscapeText(szValue, ESC_ATTRIB);
  orv::Attribute attribute;
  if (!x_FindAttrib(bChild, name, &attribute)) {
    // The last attribute's equals sign without a value would take the new attribute for one.
    const bool dangles = attribute.hasValue && static_cast<int>(attribute.valueStart) >= end;
    if (m_strDoc[end] == L'/' && m_strDoc[end - 1] == L' ') --end;
    x_ChangeTag(bChild, end, 0,
                (dangles ? L"\"\" " : L" ") + std::wstring(name) + L"=\"" + value + L"\"");
  } else if (!attribute.hasValue) {
    const auto nameEnd = static_cast<int>(attribute.nameStart + attribute.name.size());
    x_ChangeTag(bChild, nameEnd, 0, L"=\"" + value + L"\"");
  } else {
    const int start = static_cast<int>(attribute.valueStart);
    const bool isQuoted = orv::IsQuote(m_strDoc[start - 1]);
    // A bare value does not reach into the closing of the tag.
    const int valueEnd = std::min(start + static_cast<int>(attribute.value.size()), end);
    x_ChangeTag(bChild, start, valueEnd - start, isQuoted ? value : L"\"" + value + L"\"");
  }
  return true;
}

bool CMarkup::RemoveAttrib(MCD_CSTR szAttrib) {
  const int end = x_AttribEnd(false);
  orv::Attribute attribute;
  if ((m_nDocFlags & DOC_READFILE) != 0 || end < 0 ||
      !x_FindAttrib(false, szAttrib.view(), &attribute)) {
    return false;
  }
  int start = static_cast<int>(attribute.nameStart);
  int behind = start + static_cast<int>(attribute.name.size());
  if (attribute.hasValue) {
    behind = static_cast<int>(attribute.valueStart + attribute.value.size());
    behind += orv::IsQuote(m_strDoc[attribute.valueStart - 1]);
  }
  behind = std::min(behind, end);
  while (orv::IsWhiteSpace(m_strDoc[start - 1])) --start;
  // A blank stays where its neighbours would join into another name or an empty-element tag.
  const wchar_t next = m_strDoc[behind];
  const bool joins =
      (behind < end && !orv::IsWhiteSpace(next)) || (behind == end && m_strDoc[start - 1] == L'/');
  x_ChangeTag(false, start, behind - start, joins ? L" " : L"");
  return true;
}

// --- Nodes ---

std::wstring CMarkup::x_EncodeCDATASection(std::wstring_view text) {
  std::wstring section = L"<![CDATA[";
  for (std::size_t end; (end = text.find(L"]]>")) != text.npos; text.remove_prefix(end + 2)) {
    section += text.substr(0, end + 2);
    section += L"]]><![CDATA[";
  }
  section += text;
  section += L"]]>";
  return section;
}

/// The markup of a node that is no element; empty when no such markup reads back as one.
std::wstring CMarkup::x_CreateNode(int nType, MCD_CSTR szText) {
  const std::wstring text = szText.c_str();
  std::wstring markup;
  switch (nType) {
    case NODE_TEXT:
      markup = EscapeText(szText);
      break;
    case NODE_WHITESPACE:
    case NODE_DOCUMENT_TYPE:
      markup = text;
      break;
    case NODE_CDATA_SECTION:
      return x_EncodeCDATASection(text);
    case NODE_PROCESSING_INSTRUCTION:
      markup = L"<?" + text + L"?>";
      break;
    case NODE_COMMENT:
      markup = L"<!--" + text + L"-->";
      break;
    default:
      return {};
  }
  orv::TokenPos token;
  token.text = markup.c_str();
  token.length = static_cast<int>(markup.size());
  orv::NodePos node;
  const int type = ScanNode(token, node);
  const bool isText = nType == NODE_TEXT && type == NODE_WHITESPACE;
  if ((type != nType && !isText) || node.length != token.length) return {};
  return markup;
}

bool CMarkup::x_AddNode(int nType, MCD_CSTR szText, int nFlags) {
  const bool stays = (nFlags & ADD_STAY) != 0;
  constexpr int kRunOn = NODE_TEXT | NODE_WHITESPACE | NODE_CDATA_SECTION;
  if (stays || (nType & kRunOn) != 0) nFlags |= ADD_NOLINES;
  if (nType == NODE_ELEMENT) return x_AddElem(szText, nullptr, nFlags);
  const std::wstring markup = x_CreateNode(nType, szText);
  if (markup.empty() || !x_BeginAdd()) return false;
  InsertPlace place;
  if (!x_FindPlace(nFlags, &place)) return false;

  const int oldSize = static_cast<int>(m_strDoc.size());
  const int offset = x_InsertNew(place, markup, nFlags);
  const int shift = static_cast<int>(m_strDoc.size()) - oldSize;
  if (!place.opensParent) x_AdjustForNode(place.parent, place.before, shift);
  if (!stays) {
    x_SetPos(place.parent, place.before, 0);
    m_nNodeType = nType;
    m_nNodeOffset = offset;
    m_nNodeLength = static_cast<int>(markup.size());
  } else if (x_IsOtherNode() && (nFlags & ADD_INSERT) != 0) {
    m_nNodeOffset += shift;
  }
  x_FinishEdit();
  return true;
}

bool CMarkup::x_SetNodeData(MCD_CSTR szValue) {
  if (x_HasFile()) return false;
  const std::wstring markup = x_CreateNode(m_nNodeType, szValue);
  if (markup.empty()) return false;
  const int shift = static_cast<int>(markup.size()) - m_nNodeLength;
  x_DocChange(m_nNodeOffset, m_nNodeLength, markup);
  m_nNodeLength = static_cast<int>(markup.size());
  x_AdjustForNode(m_iPosParent, m_iPos, shift);
  x_FinishEdit();
  return true;
}

bool CMarkup::RemoveNode() {
  if (x_IsElement()) return RemoveElem();
  if (x_HasFile() || !x_IsOtherNode()) return false;
  int cut = m_nNodeLength;
  constexpr int kLined = NODE_COMMENT | NODE_PROCESSING_INSTRUCTION | NODE_DOCUMENT_TYPE;
  if ((m_nNodeType & kLined) != 0) cut += LineBreakLength(m_strDoc, m_nNodeOffset + cut);
  x_DocChange(m_nNodeOffset, cut, {});
  x_AdjustForNode(m_iPosParent, m_iPos, -cut);
  x_SetPos(m_iPosParent, m_iPos, 0);
  x_FinishEdit();
  return true;
}
