#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "base/utf8.h"
#include "orv/text/format.h"
#include "orv/xml/markup.h"
#include "xml/markup_reader.h"

namespace orv::test {

/// How often something random is tried: under a sanitizer, where all takes ten times as long and
/// every round looks closer, a twentieth of the times. The native release does them all.
constexpr int Rounds(int all) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
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

/// What the invariants of the index forbid, in words; empty when all hold. Walks the whole index
/// without recursion.
inline std::wstring IndexFault(const CMarkup& doc) {
  const MarkupReader reader(doc);
  const auto at = [&](std::uint32_t i) -> const ElemPos& {
    return reader.Record(static_cast<int>(i));
  };
  const auto fault = [](const wchar_t* what, std::uint32_t i) {
    return Format(L"%ls at record %u", what, i);
  };
  const ElemPos& root = at(0);
  if (root.start != 0 || root.length != doc.GetDoc().size()) return fault(L"document range", 0);
  std::uint32_t visited = 0;
  for (std::uint32_t i = root.child; i != 0;) {
    const ElemPos& element = at(i);
    const ElemPos& parent = at(element.parent);
    ++visited;
    if (static_cast<int>(visited) > reader.RecordCount()) return fault(L"cycle", i);
    if ((element.levelFlags & ELEM_DELETED) != 0) return fault(L"deleted record", i);
    const bool isFirst = parent.child == i;
    if (isFirst != ((element.levelFlags & ELEM_FIRST) != 0)) return fault(L"first flag", i);
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

/// The index as text, one line an element in document order, without record numbers.
inline std::wstring DumpIndex(const CMarkup& doc) {
  const MarkupReader reader(doc);
  std::vector<std::uint32_t> order(reader.RecordCount());  // each record's number in the document
  std::wstring dump;
  std::uint32_t number = 0;
  for (std::uint32_t i = 0;;) {
    const ElemPos& e = reader.Record(static_cast<int>(i));
    order[i] = number++;
    dump += Format(L"%u+%u tags %u/%u flags %x parent %u\n", e.start, e.length, e.StartTagLength(),
                   e.EndTagLength(), e.levelFlags, i == 0 ? 0 : order[e.parent]);
    std::uint32_t next = e.child;
    for (std::uint32_t up = i; next == 0 && up != 0;
         up = reader.Record(static_cast<int>(up)).parent) {
      next = reader.Record(static_cast<int>(up)).next;
    }
    if (next == 0) break;
    i = next;
  }
  return dump;
}

}  // namespace orv::test
