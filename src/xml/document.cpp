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
  ScanCursor scan = ScanCursor::Of(newText);
  scan.flags = flags;
  const int length = scan.length;
  // Configurations have an element for about every 58 code units, so that one allocation suffices.
  elements.Reset(length / 48 + 8);
  if (length == 0) return;

  const int first = IndexElements(elements, 0, scan, result, copy);
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
  const ElementEntry& entry = elements[element];
  if (entry.IsTagOnly()) return {};
  return Range(entry.ContentStart(), entry.ContentEnd());
}

std::wstring Document::Data(int element) const {
  const std::wstring_view content = Content(element);
  if (elements[element].child != 0) return {};
  return content.find(L'<') == content.npos ? Unescape(content) : MixedData(content);
}

/// The data of a content that is more than one run of text.
std::wstring Document::MixedData(std::wstring_view content) const {
  std::wstring data;
  ScanCursor scan = ScanCursor::Of(content);
  ScannedNode node;
  for (;;) {
    switch (ScanNode(scan, node)) {
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
  const ElementEntry& entry = elements[element];
  int end = entry.ContentEnd();
  while (end - 1024 >= entry.ContentStart() && Range(end, end + 2) != L"</") end -= 1024;
  return end;
}

std::wstring Document::Path(int element) const {
  std::vector<int> steps;  // from the inside out
  for (int step = element; step != 0; step = elements[step].parent) steps.push_back(step);
  std::wstring path;
  for (; !steps.empty(); steps.pop_back()) {
    const int step = steps.back();
    const std::wstring_view name = TagName(step);
    int number = 1;
    for (int i = step; !elements[i].Has(kElementFirst);) {
      i = elements[i].previous;
      number += SameName(TagName(i), name, IgnoresCase());
    }
    path += L'/';
    path += name;
    if (number > 1) path += Format(L"[%d]", number);
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
  int depth = 0;  // below the changed entry or one that encloses it
  bool skipsChildren = afterElement;
  for (;;) {
    const ElementEntry& entry = elements[element];
    if (!skipsChildren && entry.child != 0) {
      element = entry.child;
      ++depth;
    } else if (entry.next != 0) {
      element = entry.next;
      skipsChildren = false;
    } else {
      element = entry.parent;
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
  ElementEntry& entry = elements[element];
  int& firstChild = elements[parent].child;
  entry.parent = parent;
  if (firstChild == 0) {
    firstChild = element;
    entry.levelFlags |= kElementFirst;
    entry.previous = element;
    entry.next = 0;
    return;
  }
  ElementEntry& first = elements[firstChild];
  if (before == 0) {
    entry.levelFlags |= kElementFirst;
    entry.previous = first.previous;
    entry.next = firstChild;
    first.levelFlags &= ~kElementFirst;
    first.previous = element;
    firstChild = element;
    return;
  }
  entry.levelFlags &= ~kElementFirst;
  entry.previous = before;
  entry.next = std::exchange(elements[before].next, element);
  // The first child's previous link leads to the last child.
  ElementEntry& following = entry.next != 0 ? elements[entry.next] : first;
  following.previous = element;
}

void Document::Unlink(int element) {
  const ElementEntry& entry = elements[element];
  int& firstChild = elements[entry.parent].child;
  if (firstChild != element) {
    elements[entry.previous].next = entry.next;
    ElementEntry& following = elements[entry.next != 0 ? entry.next : firstChild];
    following.previous = entry.previous;
    return;
  }
  firstChild = entry.next;
  if (entry.next != 0) {
    elements[entry.next].levelFlags |= kElementFirst;
    elements[entry.next].previous = entry.previous;
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
  // Entry 0 temporarily serves as the entry that the parse runs under.
  const ElementEntry document = std::exchange(elements[0], ElementEntry{});
  elements[0].levelFlags = LevelBelow(parent);
  const int first = IndexElements(elements, 0, ScanRange(start, end), result);
  elements[0] = document;
  return first;
}

}  // namespace orv
