#include "xml/document.h"

#include <functional>
#include <limits>
#include <utility>

#include "orv/text/format.h"
#include "platform/pages.h"
#include "xml/delimiters.h"
#include "xml/names.h"
#include "xml/references.h"
#include "xml/result.h"

namespace orv {
namespace {

/// The maximum length of a document; a longer text counts as empty.
constexpr std::size_t kMaxUnits = std::numeric_limits<int>::max();

/// The maximum length of a text that is copied during the parse. The C library copies longer texts
/// with non-temporal stores, which is faster even though the text is then read twice.
constexpr std::size_t kMaxTrailingCopy = (std::size_t{32} << 20) / sizeof(wchar_t);

bool IsPartOf(std::wstring_view text, const std::wstring& whole) {
  const std::less<const wchar_t*> before;
  return !before(text.data(), whole.data()) && !before(whole.data() + whole.size(), text.data());
}

}  // namespace

bool Document::IsWellFormed() const {
  if ((flags & CMarkup::DOC_WRITEFILE) != 0) return true;
  if (elements.Capacity() == 0) return false;
  if ((flags & CMarkup::DOC_READFILE) != 0) return !IsIllFormed();
  const int root = elements[0].child;
  return !IsIllFormed() && root != 0 && elements[root].next == 0;
}

// --- Parsing ---

void Document::Clear() {
  text.clear();
  elements.Clear();
  result.clear();
}

void Document::ReserveText(std::size_t size) {
  if (size > kMaxUnits || size <= text.capacity()) return;
  std::wstring fresh;
  fresh.reserve(size);
  PopulatePages(fresh.data(), size * sizeof(wchar_t));
  text.swap(fresh);
}

void Document::CopyText(std::wstring_view newText) {
  if (newText.size() > kMaxUnits) newText = {};
  if (newText.size() > kMaxTrailingCopy || IsPartOf(newText, text) || IsPartOf(newText, result)) {
    text.assign(newText);
    result.clear();
    return Index();
  }
  text.clear();
  TrailingCopy copy(newText, &text);
  result.clear();
  Index(newText, &copy);
}

void Document::Index() {
  if (text.size() > kMaxUnits) std::wstring().swap(text);
  Index(text, nullptr);
}

/// Indexes the text, or the text that a copy is being made of.
void Document::Index(std::wstring_view newText, TrailingCopy* copy) {
  TokenPos token = TokenPos::Of(newText);
  token.flags = flags;
  const int length = token.length;
  // Configurations have an element for about every 58 code units, so that one allocation suffices.
  elements.Reset(length / 48 + 8);
  if (length == 0) return;

  const int first = IndexElements(elements, 0, token, result, copy);
  elements.Trim();
  elements[0].length = length;
  elements[0].child = first;
  if (first == 0) {
    AddResult(result, L"no_root_element", nullptr, 0);
  } else if (elements[first].next != 0) {
    AddResult(result, L"root_has_sibling", nullptr, 0);
  }
}

void Document::Assign(const Document& other) {
  std::wstring newText = other.text;
  std::wstring newResult = other.result;
  ElementIndex newElements;
  newElements.Assign(other.elements);

  text = std::move(newText);
  result = std::move(newResult);
  elements = std::move(newElements);
  flags = other.flags;
}

// --- Reading ---

std::wstring_view Document::TagName(int element) const {
  // The start tag of an element being written may be in the file already; its end tag is not.
  if (elements[element].StartTagLength() == kWrittenTag) {
    return NameAt(ContentEnd(element) + 2);
  }
  return NameAt(elements[element].start + 1);
}

std::wstring_view Document::Content(int element) const {
  const ElemPos& record = elements[element];
  if (record.IsTagOnly()) return {};
  return Range(record.ContentStart(), record.ContentEnd());
}

std::wstring Document::Data(int element) const {
  const std::wstring_view content = Content(element);
  if (elements[element].child != 0) return {};
  return content.find(L'<') == content.npos ? Unescape(content) : MixedData(content);
}

/// The data of a content that is more than one run of text.
std::wstring Document::MixedData(std::wstring_view content) const {
  std::wstring data;
  TokenPos token = TokenPos::Of(content);
  NodePos node;
  for (;;) {
    switch (ScanNode(token, node)) {
      case kScanEnd:
        return data;
      case CMarkup::NODE_ELEMENT:
        return {};
      case CMarkup::NODE_TEXT:
      case CMarkup::NODE_WHITESPACE:
        data += Unescape(node.In(content));
        break;
      case CMarkup::NODE_CDATA_SECTION:
        data += NodeData(node.type, node.In(content));
        break;
      default:
        break;
    }
  }
}

std::wstring Document::Unescape(std::wstring_view escaped) const {
  return UnescapeText(escaped, flags);
}

int Document::ContentEnd(int element) const {
  const ElemPos& record = elements[element];
  int end = record.ContentEnd();
  while (end - 1024 >= record.ContentStart() && Range(end, end + 2) != L"</") end -= 1024;
  return end;
}

std::wstring Document::Path(int element) const {
  std::wstring path;
  for (int step = element; step != 0; step = elements[step].parent) {
    const std::wstring_view name = TagName(step);
    int number = 1;
    for (int i = step; !elements[i].Has(ELEM_FIRST);) {
      i = elements[i].previous;
      number += SameName(TagName(i), name, IgnoresCase());
    }
    std::wstring part = L"/" + std::wstring(name);
    if (number > 1) part += Format(L"[%d]", number);
    path.insert(0, part);
  }
  return path;
}

// --- Editing ---

void Document::Replace(int offset, int cut, std::wstring_view replacement) {
  text.replace(static_cast<std::size_t>(offset), static_cast<std::size_t>(cut), replacement);
  elements[0].length = Size();
}

void Document::Shift(int element, int shift, bool afterElement) {
  if (elements[element].StartTagLength() == 0 || shift == 0) return;
  int depth = 0;  // below the changed record or one that encloses it
  bool skipsChildren = afterElement;
  for (;;) {
    const ElemPos& record = elements[element];
    if (!skipsChildren && record.child != 0) {
      element = record.child;
      ++depth;
    } else if (record.next != 0) {
      element = record.next;
      skipsChildren = false;
    } else {
      element = record.parent;
      if (element == 0) return;
      if (depth > 0) {
        --depth;
      } else {
        elements[element].length += shift;
      }
      skipsChildren = true;
      continue;
    }
    elements[element].start += shift;
  }
}

void Document::ShiftAfterNode(int parent, int before, int shift) {
  if (before != 0) return Shift(before, shift, true);
  const int first = elements[parent].child;
  if (first != 0) {
    elements[first].start += shift;
    Shift(first, shift, false);
  } else if (parent != 0) {
    elements[parent].length += shift;
    Shift(parent, shift, true);
  }
}

void Document::Link(int parent, int before, int element) {
  ElemPos& record = elements[element];
  int& firstChild = elements[parent].child;
  record.parent = parent;
  if (firstChild == 0) {
    firstChild = element;
    record.levelFlags |= ELEM_FIRST;
    record.previous = element;
    record.next = 0;
    return;
  }
  ElemPos& first = elements[firstChild];
  if (before == 0) {
    record.levelFlags |= ELEM_FIRST;
    record.previous = first.previous;
    record.next = firstChild;
    first.levelFlags &= ~ELEM_FIRST;
    first.previous = element;
    firstChild = element;
    return;
  }
  record.levelFlags &= ~ELEM_FIRST;
  record.previous = before;
  record.next = std::exchange(elements[before].next, element);
  // The first child's previous link leads to the last child.
  ElemPos& following = record.next != 0 ? elements[record.next] : first;
  following.previous = element;
}

void Document::Unlink(int element) {
  const ElemPos& record = elements[element];
  int& firstChild = elements[record.parent].child;
  if (firstChild != element) {
    elements[record.previous].next = record.next;
    ElemPos& following = elements[record.next != 0 ? record.next : firstChild];
    following.previous = record.previous;
    return;
  }
  firstChild = record.next;
  if (record.next != 0) {
    elements[record.next].levelFlags |= ELEM_FIRST;
    elements[record.next].previous = record.previous;
  }
}

void Document::ReleaseTree(int element) {
  for (int i = element;;) {
    while (elements[i].child != 0) i = std::exchange(elements[i].child, 0);
    const int parent = elements[i].parent;
    const int next = elements.Release(i);
    if (i == element) return;
    i = next != 0 ? next : parent;
  }
}

void Document::ReleaseChildren(int element) {
  int child = std::exchange(elements[element].child, 0);
  while (child != 0) {
    const int next = elements[child].next;
    ReleaseTree(child);
    child = next;
  }
}

int Document::IndexRange(int parent, int start, int end) {
  // Record 0 temporarily serves as the record that the parse runs under.
  const ElemPos document = std::exchange(elements[0], ElemPos{});
  elements[0].levelFlags = LevelBelow(parent);
  const int first = IndexElements(elements, 0, TokenAt(start, end), result);
  elements[0] = document;
  return first;
}

}  // namespace orv
