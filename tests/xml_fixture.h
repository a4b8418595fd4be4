#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "base/utf8.h"
#include "orv/text/format.h"
#include "orv/xml/cursor.h"
#include "orv/xml/markup.h"
#include "xml/markup_state.h"

namespace orv::test {

/// The number of rounds of a random test: a twentieth under a sanitizer, which is ten times slower
/// and detects more in each round.
constexpr int Rounds(int all) {
#if defined(ORV_SANITIZED)
  return all / 20;
#else
  return all;
#endif
}

/// Text for messages of failed tests.
inline std::string Show(std::wstring_view text) {
  std::wstring shown;
  for (const wchar_t unit : text) {
    shown += unit == L'\r' ? L"\\r" : unit == L'\n' ? L"\\n" : std::wstring(1, unit);
  }
  return WideToUtf8(shown);
}

/// The first invariant of the index that does not hold, in words; empty if all hold. Not recursive.
inline std::wstring IndexFault(const CMarkup& edited) {
  CMarkup doc;
  doc = edited;  // a copy has no gap of edits
  const Document& document = CursorOf(doc).Doc();
  const auto at = [&](int i) -> const ElementEntry& { return document[i]; };
  const auto fault = [](const wchar_t* what, int i) { return Format(L"%ls at entry %d", what, i); };
  const ElementEntry& root = at(0);
  if (root.start != 0 || root.length != document.Size()) return fault(L"document range", 0);
  int visited = 0;
  for (int i = root.child; i != 0;) {
    const ElementEntry& element = at(i);
    const ElementEntry& parent = at(element.parent);
    ++visited;
    if (visited > document.elements.Count()) return fault(L"cycle", i);
    if ((element.levelFlags & kElementDeleted) != 0) return fault(L"deleted entry", i);
    const bool isFirst = parent.child == i;
    if (isFirst != ((element.levelFlags & kElementFirst) != 0)) return fault(L"first flag", i);
    if (!isFirst && at(element.previous).next != i) return fault(L"previous link", i);
    if (isFirst && at(element.previous).next != 0) return fault(L"last link", i);
    if (element.next != 0 && at(element.next).parent != element.parent) return fault(L"parent", i);
    if (element.next != 0 && at(element.next).start < element.End()) return fault(L"order", i);
    if (element.next == 0 && at(parent.child).previous != i) return fault(L"last child", i);
    if (element.parent != 0 &&
        (element.start < parent.ContentStart() || element.End() > parent.ContentEnd())) {
      return fault(L"outside the parent's content", i);
    }
    if (doc.GetDoc().at(element.start) != L'<') return fault(L"no start tag", i);
    if (!element.IsStartTagCut() && doc.GetDoc().at(element.ContentStart() - 1) != L'>') {
      return fault(L"start tag length", i);
    }
    if (doc.GetDoc().at(element.End() - 1) != L'>') return fault(L"length", i);
    if (element.child != 0) {
      i = element.child;
      continue;
    }
    while (i != 0 && at(i).next == 0) i = at(i).parent;
    if (i != 0) i = at(i).next;
  }
  return {};
}

/// The index as text: a line for each element in document order, without entry numbers.
inline std::wstring DumpIndex(const CMarkup& edited) {
  CMarkup doc;
  doc = edited;  // a copy has no gap of edits
  const Document& document = CursorOf(doc).Doc();
  std::vector<int> order(document.elements.Count());  // each entry's number in document order
  std::wstring dump;
  int number = 0;
  for (int i = 0;;) {
    const ElementEntry& e = document[i];
    order[i] = number++;
    dump += Format(L"%d+%d tags %d/%d flags %x parent %d\n", e.start, e.length, e.StartTagLength(),
                   e.EndTagLength(), e.levelFlags, i == 0 ? 0 : order[e.parent]);
    int next = e.child;
    for (int up = i; next == 0 && up != 0; up = document[up].parent) next = document[up].next;
    if (next == 0) break;
    i = next;
  }
  return dump;
}

/// What a cursor and the class read at their places, as text.
inline std::wstring CursorReads(const CMarkupCursor& cursor) {
  std::wstring buffer;
  std::wstring all =
      Format(L"%d %d %d ", cursor.GetNodeType(), cursor.GetOffset(), cursor.GetContentOffset());
  all += cursor.GetTagName();
  all += cursor.GetData(&buffer);
  for (const auto& view : {cursor.GetRawData(), cursor.GetContent(), cursor.GetMarkup()}) {
    all += view;
  }
  for (const CMarkupAttrib& attrib : cursor.GetAttribs()) {
    all += attrib.strName;
    all += attrib.GetValue(&buffer);
  }
  return all;
}
inline std::wstring ClassReads(CMarkup& doc) {
  std::wstring all =
      Format(L"%d %d %d ", doc.GetNodeType(), doc.GetElemOffset(), doc.GetContentOffset());
  all += doc.GetTagName() + doc.GetData();
  all += doc.GetDataPointer();
  all += doc.GetElemContent() + doc.GetSubDoc();
  std::wstring name;
  std::wstring value;
  for (int i = 0; doc.GetNthAttrib(i, name, value); ++i) all += name + value;
  return all;
}

/// The first read in which an edited document differs from a copy of it, which has no gap; empty if
/// none does. The positions do not change.
inline std::wstring ReadFault(CMarkup& edited) {
  CMarkup copy(edited);
  Cursor& cursor = MarkupState::Of(edited).cursor;
  const Place place = cursor.Get();
  edited.ResetPos();
  copy.ResetPos();
  using Read = std::wstring (*)(CMarkup&);
  static constexpr Read kReads[] = {
      [](CMarkup& d) { return std::to_wstring(d.GetElemOffset()); },
      [](CMarkup& d) { return std::to_wstring(d.GetContentOffset()); },
      [](CMarkup& d) { return d.GetTagName(); },
      [](CMarkup& d) { return d.GetData(); },
      [](CMarkup& d) { return std::wstring(d.GetDataPointer()); },
      [](CMarkup& d) { return d.GetSubDoc(); },
      [](CMarkup& d) { return d.GetElemContent(); },
      [](CMarkup& d) { return std::wstring(CursorOf(d).Markup()); },
      [](CMarkup& d) { return std::to_wstring(d.GetAttribOffset(L"a")); },
      [](CMarkup& d) {
        std::wstring all;
        std::wstring name;
        std::wstring value;
        for (int i = 0; d.GetNthAttrib(i, name, value); ++i) all += name + L"=" + value + L"\n";
        return all;
      },
  };
  // A cursor reads and moves like the class.
  CMarkupCursor own(edited);
  std::wstring fault;
  const auto compare = [&](auto read) {
    auto now = read(edited);
    const auto expected = read(copy);
    if (now != expected && fault.empty()) {
      if constexpr (std::is_same_v<decltype(now), std::wstring>) {
        fault = now + L" for " + expected + L" at ";
      }
      fault += copy.GetPath() + L" in " + copy.GetDoc();
    }
    return now;
  };
  for (;;) {
    if (compare([](CMarkup& d) { return d.FindNode(); }) == 0) {
      if (!compare([](CMarkup& d) { return d.OutOfElem(); })) break;
      own.OutOfElem();
      continue;
    }
    for (const Read read : kReads) compare(read);
    own.FindNode();
    if (CursorReads(own) != ClassReads(copy) && fault.empty()) {
      fault = L"the cursor at " + copy.GetPath() + L" in " + copy.GetDoc();
    }
    if (compare([](CMarkup& d) { return d.IntoElem(); })) own.IntoElem();
  }
  cursor.Set(place);
  return fault;
}

}  // namespace orv::test
