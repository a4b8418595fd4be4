#include "xml/document_reader.h"

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

#include "orv/xml/markup.h"
#include "xml/element_index.h"
#include "xml/names.h"
#include "xml/result.h"
#include "xml/text_files.h"

namespace orv {

/// The open elements inside an element that is skipped, that element included.
class SkippedElements {
 public:
  explicit SkippedElements(bool ignoreCase) : ignoreCase_(ignoreCase), counts_(ignoreCase) {}

  bool IsEmpty() const { return open_.empty(); }
  bool MayMatch(std::wstring_view name) const { return counts_.MayMatch(name); }
  bool InnermostIs(std::wstring_view name) const {
    return SameName(open_.back().name, name, ignoreCase_);
  }

  void Open(OpenElement element) {
    counts_.Add(element.name);
    open_.push_back(std::move(element));
  }

  /// Removes the innermost element.
  OpenElement Close() {
    OpenElement closed = std::move(open_.back());
    open_.pop_back();
    counts_.Remove(closed.name);
    return closed;
  }

 private:
  bool ignoreCase_;
  OpenNames counts_;
  std::vector<OpenElement> open_;
};

namespace {

/// Positions in result records are limited to the range of an int.
int ToResultNumber(std::int64_t offset) {
  constexpr std::int64_t kMax = std::numeric_limits<int>::max();
  return static_cast<int>(std::min(offset, kMax));
}

}  // namespace

bool DocumentReader::Open(const std::wstring& file) {
  if (!file_.OpenToRead(file)) return false;
  document_.flags = FlagsOfFile(file_.ReadEncoding(), document_.flags);
  return true;
}

/// Drops what was passed, except for the start tags that are kept, and reads more. Offsets in the
/// text move, even if there turns out to be no more; `*at` is one of them. False, and nothing
/// moved, if the end was reached before.
bool DocumentReader::ReadMore(int* at) {
  if (file_.IsEnded()) return false;
  std::wstring kept;
  for (int i = 1; i < document_.elements.Count(); ++i) {
    ElementEntry& element = document_[i];
    const auto start = static_cast<int>(kept.size());
    kept += document_.Range(element.start, element.ContentStart());
    element.start = start;
  }
  const int shift = static_cast<int>(kept.size()) - next_;
  document_.ReplaceStart(next_, kept);
  next_ += shift;
  passed_ -= shift;
  *at += shift;
  // Doubling the text bounds the repeated scans of a long node by twice its length.
  file_.Read(document_.text.size(), &document_.text);
  document_[0].length = document_.Size();
  return true;
}

/// Scans the node at `*at`, which moves past it. Reads more of the file as needed.
int DocumentReader::ReadNode(ScannedNode& node, int* at) {
  for (;;) {
    ScanCursor scan = document_.ScanRange(*at, document_.Size());
    constexpr std::int64_t kMaxPassed = 1 << 30;
    scan.passed = static_cast<int>(std::min(passed_, kMaxPassed));
    const int type = ScanNode(scan, node);
    if (node.hitEnd && ReadMore(at)) continue;
    *at = scan.next;
    if (type == kScanError) {
      document_.SetIllFormed();
      if (!IsResultFull(document_.result)) document_.result += node.result;
    }
    return type;
  }
}

void DocumentReader::ReportLoneEndTag(int tag) {
  document_.SetIllFormed();
  const std::wstring name(document_.NameAt(tag + 2));
  AddResult(document_.result, L"lone_end_tag", name.c_str(), 0, ToResultNumber(FileOffset(tag)));
}

/// Reports an element whose end tag is missing; `expectedEnd` is where it would have to be.
void DocumentReader::ReportUnended(const OpenElement& element, std::int64_t expectedEnd) {
  document_.SetIllFormed();
  AddResult(document_.result, L"unended_start_tag", element.name.c_str(), 0,
            ToResultNumber(element.start), ToResultNumber(expectedEnd));
}

/// Whether the end tag at an offset closes one of the open elements.
bool DocumentReader::EndsOpenElement(int tag) {
  const std::wstring_view name = document_.NameAt(tag + 2);
  if (!openNames_.MayMatch(name)) return false;
  const std::int64_t place = FileOffset(tag);
  if (place == pendingEndTag_ && pendingElement_ <= cursor_.Parent()) return true;
  for (int i = cursor_.Parent(); i != 0; i = document_[i].parent) {
    if (!SameName(document_.TagName(i), name, document_.IgnoresCase())) continue;
    pendingEndTag_ = place;
    pendingElement_ = i;
    return true;
  }
  return false;
}

void DocumentReader::SkipContent() {
  if (std::exchange(hasContent_, false)) SkipElement(cursor_.Main());
}

/// Skips the content and the end tag of an element whose start tag was passed. Stops if an element
/// around it is closed first.
void DocumentReader::SkipElement(int element) {
  SkippedElements open(document_.IgnoresCase());
  open.Open(OpenElementAt(element));
  SkipElements(&open);
}

/// The same for the start tag of a node that is not kept.
void DocumentReader::SkipElement(const ScannedNode& startTag) {
  SkippedElements open(document_.IgnoresCase());
  open.Open(OpenElementAt(startTag));
  SkipElements(&open);
}

void DocumentReader::SkipElements(SkippedElements* open) {
  ScannedNode node;
  std::int64_t end = 0;
  while (!open->IsEmpty()) {
    int at = next_;
    const int type = ReadNode(node, &at);
    end = FileOffset(type == kScanEnd ? document_.Size() : node.start + 1);
    if (type == kScanEnd) break;
    if (type == CMarkup::NODE_ELEMENT && !node.isEmptyElement) {
      open->Open(OpenElementAt(node));
    }
    if (type == kScanEndTag) {
      const std::wstring_view endTag = document_.NameAt(node.start + 2);
      if (open->MayMatch(endTag)) {
        while (!open->IsEmpty() && !open->InnermostIs(endTag)) ReportUnended(open->Close(), end);
        if (!open->IsEmpty()) open->Close();
      } else if (EndsOpenElement(node.start)) {
        break;
      } else {
        ReportLoneEndTag(node.start);
      }
    }
    next_ = at;
  }
  while (!open->IsEmpty()) ReportUnended(open->Close(), end);
}

void DocumentReader::EndAtFileEnd() {
  const int parent = cursor_.Parent();
  if (parent == 0) return;
  ReportUnended(OpenElementAt(parent), FileOffset(document_.Size()));
  isParentEnded_ = true;
}

/// Handles the end tag at `tag` on the level of the main element.
void DocumentReader::PassEndTag(int tag, int after) {
  const std::wstring_view name = document_.NameAt(tag + 2);
  const int parent = cursor_.Parent();
  const bool isParent =
      parent != 0 && SameName(document_.TagName(parent), name, document_.IgnoresCase());
  isParentEnded_ = isParent || EndsOpenElement(tag);
  if (!isParentEnded_) {
    ReportLoneEndTag(tag);
  } else if (!isParent) {
    // The end tag of an element further out is left for that element.
    ReportUnended(OpenElementAt(parent), FileOffset(tag) + 1);
    return;
  }
  next_ = after;
}

bool DocumentReader::IsWanted(const ScannedNode& node, int types, const wchar_t* path) const {
  return IncludesType(types, CMarkup::NODE_ELEMENT) &&
         (*path == 0 ||
          NameInMarkupIs(document_.text.c_str() + node.start + 1, path, document_.IgnoresCase()));
}

/// Makes the entry of a start tag, whose element becomes the main one.
void DocumentReader::AddMain(const ScannedNode& node) {
  const int parent = cursor_.Parent();
  const int added = document_.elements.Add();
  ElementEntry& element = document_[added];
  element = ElementEntry{};
  element.start = node.start;
  element.length = node.length;
  element.SetTagLengths(node.length, 0);
  element.levelFlags = document_.LevelBelow(parent) | kElementFirst;
  if (node.isEmptyElement) element.levelFlags |= kElementEmpty;
  element.parent = parent;
  element.previous = added;
  hasContent_ = !node.isEmptyElement;
  starts_.resize(static_cast<std::size_t>(added));
  starts_.push_back(FileOffset(node.start));
  cursor_.Set(parent, added, 0);
}

int DocumentReader::FindForward(int types, const wchar_t* path) {
  if (PathNameLength(path) < 0) return CMarkup::NODE_NONE;
  SkipContent();
  cursor_.Set(cursor_.Parent(), 0, 0);
  document_.elements.Truncate(cursor_.Parent() + 1);

  ScannedNode node;
  while (!isParentEnded_) {
    int at = next_;
    const int type = ReadNode(node, &at);
    if (type == kScanEnd) {
      EndAtFileEnd();
      return CMarkup::NODE_NONE;
    }
    if (type == kScanEndTag) {
      PassEndTag(node.start, at);
      continue;
    }
    next_ = at;
    if (type == CMarkup::NODE_ELEMENT) {
      if (IsWanted(node, types, path)) {
        AddMain(node);
        return type;
      }
      if (!node.isEmptyElement) SkipElement(node);
    } else if (type > CMarkup::NODE_ELEMENT && IncludesType(types, type)) {
      cursor_.SetNode(type, node.start, node.length);
      return type;
    }
  }
  return CMarkup::NODE_NONE;
}

void DocumentReader::EnterElement() {
  openNames_.Add(document_.TagName(cursor_.Main()));
  isParentEnded_ = !std::exchange(hasContent_, false);
}

void DocumentReader::FinishElement() {
  SkipContent();
  const int parent = cursor_.Parent();
  cursor_.Set(parent, 0, 0);
  document_.elements.Truncate(parent + 1);
  if (!isParentEnded_) SkipElement(parent);
  openNames_.Remove(document_.TagName(parent));
  isParentEnded_ = false;
}

std::wstring DocumentReader::Data() {
  if (!hasContent_) return {};
  std::wstring data;
  ScannedNode node;
  for (int at = next_;;) {
    const int type = ReadNode(node, &at);
    const std::wstring_view markup = node.In(document_.text);
    if (type == CMarkup::NODE_ELEMENT) return {};
    if (type == kScanEnd || type == kScanEndTag) return data;
    if (type == CMarkup::NODE_TEXT || type == CMarkup::NODE_WHITESPACE) {
      data += document_.Unescape(markup);
    }
    if (type == CMarkup::NODE_CDATA_SECTION) data += NodeData(type, markup);
  }
}

}  // namespace orv
