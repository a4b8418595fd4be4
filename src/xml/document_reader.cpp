#include "xml/document_reader.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "orv/xml/markup.h"
#include "xml/element_index.h"
#include "xml/names.h"
#include "xml/result.h"
#include "xml/text_files.h"

namespace orv {
namespace {

/// The open elements inside an element that is skipped, that element included.
class SkippedElements {
 public:
  SkippedElements(const Document& document, std::wstring name)
      : ignoreCase_(document.IgnoresCase()), counts_(ignoreCase_) {
    Open(std::move(name));
  }

  bool IsEmpty() const { return names_.empty(); }
  bool MayMatch(std::wstring_view name) const { return counts_.MayMatch(name); }

  void Open(std::wstring name) {
    counts_.Add(name);
    names_.push_back(std::move(name));
  }

  /// Closes the innermost element with a name and those inside it; false if any other is closed.
  bool Close(std::wstring_view name) {
    bool isClean = true;
    while (!names_.empty()) {
      const bool isMatch = SameName(names_.back(), name, ignoreCase_);
      counts_.Remove(names_.back());
      names_.pop_back();
      if (isMatch) break;
      isClean = false;
    }
    return isClean;
  }

 private:
  bool ignoreCase_;
  OpenNames counts_;
  std::vector<std::wstring> names_;
};

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
  document_.Replace(0, next_, kept);
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

/// Whether an end tag of this name closes one of the open elements.
bool DocumentReader::EndsOpenElement(std::wstring_view name) const {
  if (!openNames_.MayMatch(name)) return false;
  for (int i = cursor_.Parent(); i != 0; i = document_[i].parent) {
    if (SameName(document_.TagName(i), name, document_.IgnoresCase())) return true;
  }
  return false;
}

void DocumentReader::SkipContent() {
  if (std::exchange(hasContent_, false)) {
    SkipElement(std::wstring(document_.TagName(cursor_.Main())));
  }
}

/// Skips the content and the end tag of an element whose start tag was passed. Stops if an element
/// around it is closed first.
void DocumentReader::SkipElement(std::wstring name) {
  SkippedElements open(document_, std::move(name));
  ScannedNode node;
  while (!open.IsEmpty()) {
    int at = next_;
    const int type = ReadNode(node, &at);
    if (type == kScanEnd) break;
    if (type == CMarkup::NODE_ELEMENT) {
      if (!node.isEmptyElement) {
        open.Open(std::wstring(document_.NameAt(node.start + 1)));
      }
    } else if (type == kScanEndTag) {
      const std::wstring_view endTag = document_.NameAt(node.start + 2);
      const bool closes = open.MayMatch(endTag);
      if (!closes && EndsOpenElement(endTag)) break;
      if (!closes || !open.Close(endTag)) document_.SetIllFormed();
    }
    next_ = at;
  }
  if (!open.IsEmpty()) document_.SetIllFormed();
}

void DocumentReader::EndAtFileEnd() {
  if (cursor_.Parent() == 0) return;
  document_.SetIllFormed();
  isParentEnded_ = true;
}

/// Handles the end tag at `tag` on the level of the main element.
void DocumentReader::PassEndTag(int tag, int after) {
  const std::wstring_view name = document_.NameAt(tag + 2);
  const int parent = cursor_.Parent();
  const bool isParent =
      parent != 0 && SameName(document_.TagName(parent), name, document_.IgnoresCase());
  isParentEnded_ = isParent || EndsOpenElement(name);
  if (!isParent) document_.SetIllFormed();
  // The end tag of an element further out is left for that element.
  if (isParent || !isParentEnded_) next_ = after;
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
      if (!node.isEmptyElement) {
        SkipElement(std::wstring(document_.NameAt(node.start + 1)));
      }
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
  if (!isParentEnded_) SkipElement(std::wstring(document_.TagName(parent)));
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
