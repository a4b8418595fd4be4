#include <algorithm>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>

#include "base/block_size.h"
#include "orv/xml/markup.h"
#include "platform/pages.h"
#include "xml/attributes.h"
#include "xml/document.h"
#include "xml/element_index.h"
#include "xml/names.h"

namespace orv {
namespace {

/// Moves a number of code units; none if it is negative.
void MoveUnits(wchar_t* to, const wchar_t* from, int count) {
  if (count > 0 && to != from) {
    std::char_traits<wchar_t>::move(to, from, static_cast<std::size_t>(count));
  }
}

}  // namespace

// --- The gap ---

const std::wstring& Document::Closed() const {
  if (gap_.length == 0) return text;
  const int size = Size();
  if (closedUnits_ == size && closed_.size() == static_cast<std::size_t>(size)) return closed_;
  const auto kept = static_cast<std::size_t>(closedUnits_);
  closed_.resize(kept);
  ReserveUnits(static_cast<std::size_t>(size), &closed_);
  closed_.append(text, kept, static_cast<std::size_t>(gap_.start) - kept);
  closed_.append(text, static_cast<std::size_t>(gap_.End()));
  closedUnits_ = size;
  return closed_;
}

std::wstring_view Document::ClosedRange(int start, int end) const {
  const auto length = static_cast<std::size_t>(OffsetOf(end) - start);
  return std::wstring_view(Closed()).substr(static_cast<std::size_t>(start), length);
}

std::wstring Document::Copy(int start, int end) const {
  if (start > gap_.start || end <= gap_.start) return std::wstring(Range(start, end));
  std::wstring copy(Range(start, gap_.start));
  copy += Range(gap_.End(), end);
  return copy;
}

/// Reading can recognize other quotes in a tag than the parse did, and then a value extends beyond
/// the tag and maybe beyond the gap.
std::wstring_view Document::TextOfTagBeforeGap(int nameStart) const {
  AttributeCursor attributes(Range(0, gap_.start), nameStart);
  Attribute attribute;
  while (attributes.Next(&attribute)) {
  }
  return attributes.IsAtEnd() ? Closed() : text;
}

/// Adjusts the entries of the elements whose start or end a forward move passes.
void Document::PassForward(int offset) {
  const int end = offset + gap_.length;  // the first address that the move does not pass
  for (;;) {
    const int next = gap_.before != 0 ? elements[gap_.before].next : elements[gap_.parent].child;
    if (ElementEntry& right = elements[next]; next != 0 && right.start < end) {
      right.start -= gap_.length;
      right.length += gap_.length;
      gap_.parent = next;
      gap_.before = 0;
      continue;
    }
    ElementEntry& left = elements[gap_.parent];
    if (gap_.parent == 0 || left.End() > end) return;
    left.length -= gap_.length;
    gap_.before = gap_.parent;
    gap_.parent = left.parent;
  }
}

void Document::PassBackward(int offset) {
  for (;;) {
    if (gap_.before != 0 && elements[gap_.before].End() > offset) {
      elements[gap_.before].length += gap_.length;
      gap_.parent = gap_.before;
      gap_.before = LastChild(gap_.parent);
    } else if (gap_.parent != 0 && elements[gap_.parent].start >= offset) {
      ElementEntry& left = elements[gap_.parent];
      left.start += gap_.length;
      left.length -= gap_.length;
      gap_.parent = left.parent;
      gap_.before = left.Before();
    } else {
      return;
    }
  }
}

/// Moves the gap to an offset, which may be inside a tag or text during an edit.
void Document::MoveGap(int offset) {
  wchar_t* const units = text.data();
  if (offset > gap_.start) {
    PassForward(offset);
    MoveUnits(units + gap_.start, units + gap_.End(), offset - gap_.start);
  } else if (offset < gap_.start) {
    PassBackward(offset);
    MoveUnits(units + offset + gap_.length, units + offset, gap_.start - offset);
  }
  gap_.start = offset;
}

/// Begins to edit a text without a gap: places a gap of length 0. The search begins at the nearer
/// end of the text.
void Document::OpenGap(int offset) {
  gap_ = {.start = -kWrittenTag};  // before open elements whose start tags are written
  if (offset > Size() / 2) gap_ = {.start = Size(), .before = LastChild(0)};
  MoveGap(offset);
  closedUnits_ = 0;
}

/// Adds at least `units` to the gap. The number is in proportion to the text, so that moving
/// the text and adjusting the index is rare.
void Document::WidenGap(int units) {
  constexpr int kMinUnits = BlockSize(256, 1);
  const int end = gap_.End();
  const int size = static_cast<int>(text.size());
  const int added = std::min(std::max(units, Size() / 4 + kMinUnits), kMaxDocument - size);
  if (added < units) throw std::bad_alloc();
  const auto newSize = static_cast<std::size_t>(size + added);
  if (newSize <= text.capacity()) {
    text.resize(newSize);
    MoveUnits(text.data() + end + added, text.data() + end, size - end);
  } else {
    // Twice the size, so that the next times need no copy.
    std::wstring wider;
    wider.reserve(std::max(newSize, 2 * text.size()));
    PopulatePages(wider.data(), newSize * sizeof(wchar_t));
    wider.append(text, 0, static_cast<std::size_t>(end));
    wider.append(static_cast<std::size_t>(added), L'\0');
    wider.append(text, static_cast<std::size_t>(end));
    text.swap(wider);
  }
  gap_.length += added;
  elements[0].length = size + added;
  if (end == size) return;
  for (int i = 1; i < elements.Count(); ++i) {
    ElementEntry& element = elements[i];
    if (element.Has(kElementDeleted) || element.End() <= end) continue;
    (element.start >= end ? element.start : element.length) += added;
  }
}

void Document::Splice(int offset, int cut, std::wstring_view replacement) {
  if (IsPartOf(replacement, text)) return Splice(offset, cut, std::wstring(replacement));
  const int added = static_cast<int>(replacement.size());
  if (gap_.length == 0) OpenGap(offset + cut);
  if (gap_.length + cut <= added) {
    try {
      WidenGap(added - cut - gap_.length + 1);
    } catch (...) {
      if (gap_.length == 0) gap_ = {};  // an empty gap would end scans
      throw;
    }
  }
  if (offset + cut > gap_.start) {
    // Only the entries pass over what is cut.
    PassForward(offset + cut);
    MoveUnits(text.data() + gap_.start, text.data() + gap_.End(), offset - gap_.start);
  } else {
    MoveGap(offset + cut);
  }
  gap_.start = offset;
  gap_.length += cut;
  replacement.copy(text.data() + offset, replacement.size());
  gap_.start += added;
  gap_.length -= added;
  closedUnits_ = std::min(closedUnits_, offset);
}

void Document::SettleGap() {
  if (gap_.length == 0) return;
  int place = gap_.start;
  if (gap_.parent != 0) {
    const ElementEntry& parent = elements[gap_.parent];
    place = parent.child == 0 ? OffsetOf(parent.End()) : std::max(place, parent.ContentStart());
  }
  // Nearly always a tag follows.
  auto tag = static_cast<std::size_t>(place + gap_.length);
  if (text[tag] != L'<') tag = text.find(L'<', tag);
  MoveGap(tag == text.npos ? Size() : static_cast<int>(tag) - gap_.length);
}

void Document::CloseGap() {
  if (gap_.length != 0) {
    MoveGap(Size());
    text.resize(static_cast<std::size_t>(gap_.start));
    elements[0].length = gap_.start;
  }
  gap_ = {};
  std::wstring().swap(closed_);
}

void Document::ReplaceStart(int cut, std::wstring_view replacement) {
  text.replace(0, static_cast<std::size_t>(cut), replacement);
  elements[0].length = Size();
}

// --- Entries ---

void Document::Link(int parent, int before, int element) {
  ElementEntry& entry = elements[element];
  int& firstChild = elements[parent].child;
  entry.parent = parent;
  if (gap_.parent == parent && gap_.before == before && entry.start < gap_.start) {
    gap_.before = element;
  }
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
  if (gap_.before == element) gap_.before = entry.Before();
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

void Document::Remove(int element, int end) {
  const int start = OffsetOf(elements[element].start);
  // Outside, so that no entry of the element has to be adjusted.
  if (gap_.length != 0 && start < gap_.start && gap_.start < end) MoveGap(start);
  RemoveUnended(element);
  Unlink(element);
  ReleaseTree(element);
  Splice(start, end - start, {});
}

void Document::ReleaseTree(int element) {
  for (int i = element;;) {
    while (elements[i].child != 0) i = std::exchange(elements[i].child, 0);
    const int parent = elements[i].parent;
    if (elements[i].Has(kElementUnended)) --faults_.unended;
    needsParse_ |= elements[i].Has(kElementIllData);
    const int next = elements.Release(i);
    if (i == element) return;
    i = next != 0 ? next : parent;
  }
}

void Document::ReleaseChildren(int element) {
  int child = std::exchange(elements[element].child, 0);
  if (gap_.parent == element) gap_.before = 0;
  needsParse_ |= elements[element].Has(kElementIllData);
  while (child != 0) {
    const int next = elements[child].next;
    ReleaseTree(child);
    child = next;
  }
}

void Document::Adopt(int parent, int first) {
  elements[parent].child = first;
  for (int i = first; i != 0; i = elements[i].next) elements[i].parent = parent;
  if (gap_.parent == parent) gap_.before = LastChild(parent);
}

int Document::IndexRange(std::uint32_t level, int start, int end) {
  // Entry 0 temporarily serves as the entry that the parse runs under.
  const ElementEntry document = std::exchange(elements[0], ElementEntry{});
  elements[0].levelFlags = level;
  const int first = IndexElements(elements, 0, ScanRange(start, end), result, &faults_);
  elements[0] = document;
  return first;
}

// --- Ill-formed documents ---

void Document::AddUnended(int element) {
  ElementEntry& entry = elements[element];
  entry.levelFlags |= kElementUnended;
  ++faults_.unended;
  SetIllFormed();
  ShiftLevels(element, 1);
  // The new element takes the end tag of its parent if that has the same name, and a lone end tag
  // in what follows.
  const int parent = entry.parent;
  needsParse_ |=
      faults_.hasLoneEndTag || (parent != 0 && !elements[parent].IsTagOnly() &&
                                SameName(NameAt(ContentEnd(parent) + 2), TagName(element), true));
}

void Document::RemoveUnended(int element) {
  if (!elements[element].Has(kElementUnended)) return;
  elements[element].levelFlags &= ~kElementUnended;
  --faults_.unended;
  ShiftLevels(element, -1);
}

/// Changes the levels of what follows an element in its parent.
void Document::ShiftLevels(int element, int levels) {
  const int parent = elements[element].parent;
  for (int i = element;;) {
    if (i != element && elements[i].child != 0) {
      i = elements[i].child;
    } else {
      while (elements[i].next == 0) {
        i = elements[i].parent;
        if (i == parent) return;
      }
      i = elements[i].next;
    }
    std::uint32_t& word = elements[i].levelFlags;
    const std::uint32_t level = word + static_cast<std::uint32_t>(levels);
    word = (word & ~ElementEntry::kLevelMask) | (level & ElementEntry::kLevelMask);
  }
}

bool Document::NeedsParse() {
  if (!IsIllFormed()) return false;
  const int changed = flags ^ indexedFlags_;
  if (needsParse_ || faults_.hasSyntaxError || (changed & CMarkup::DOC_IGNORECASE) != 0)
    return true;
  if (!faults_.HasAny()) elements[0].levelFlags &= ~kElementIllFormed;
  return false;
}

void Document::DropIndex() {
  CloseGap();
  elements.Truncate(1);
  elements[0] = {};
  elements[0].length = Size();
  SetIllFormed();
  needsParse_ = true;
}

}  // namespace orv
