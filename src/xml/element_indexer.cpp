#include <optional>

#include "base/block_size.h"
#include "orv/xml/markup.h"
#include "xml/delimiters.h"
#include "xml/element_index.h"
#include "xml/names.h"
#include "xml/open_names.h"
#include "xml/result.h"
#include "xml/scanner.h"

namespace orv {
namespace {

/// Open elements that a search for the element of an end tag compares before it counts names.
constexpr std::uint32_t kShortSearch = BlockSize(32U, 1U);

/// Whether a code unit of the text ends the name of an open element for an end tag.
bool EndsOpenName(wchar_t unit) { return EndsTagName(unit) || EndsPathName(unit); }

/// Builds the index in one pass. The chain of parents is the stack of open elements.
class ElementIndexer {
 public:
  ElementIndexer(ElementIndex& elements, int base, const ScanCursor& scan, std::wstring& result,
                 IndexFaults* faults)
      : elements_(elements),
        base_(base),
        parent_(base),
        scan_(scan),
        text_(scan.text),
        ignoreCase_((scan.flags & CMarkup::DOC_IGNORECASE) != 0),
        baseLevel_(elements[base].Level()),
        result_(result),
        faults_(*faults) {}

  int Run(TrailingCopy* copy);

 private:
  int NextTagEnd(int tag, DelimiterCursor& delimiters) const;
  void OpenElement(int start, int length);
  void CloseByEndTag(int start, int length);
  void CloseByOtherEndTag(int start, int length);
  int FindOpen(std::wstring_view name);
  [[gnu::always_inline]] void CloseElement(int end, int endTagLength);
  void CloseUnended(int until, int expectedAt);
  void LinkLastChild(const ElementEntry& parent);
  void AddError(const ScannedNode& node);

  std::wstring_view TagName(int start) const {
    return TagNameAt(scan_.Text(), static_cast<std::size_t>(start + 1));
  }
  std::wstring_view OpenName(int element) const { return TagName(elements_[element].start); }

  ElementIndex& elements_;
  const int base_;
  int parent_;         ///< the innermost open element; `base_` if none is open
  int lastChild_ = 0;  ///< of the parent
  std::uint32_t depth_ = 0;
  int firstElement_ = 0;
  ScanCursor scan_;
  const wchar_t* const text_;
  const bool ignoreCase_;
  const std::uint32_t baseLevel_;
  std::wstring& result_;
  IndexFaults& faults_;
  std::optional<OpenNames> openNames_;  ///< maintained after the first long search
};

int ElementIndexer::Run(TrailingCopy* copy) {
  const int length = scan_.length;
  DelimiterBatches batches(text_, length, copy);
  batches.SkipTo(scan_.next);
  DelimiterCursor delimiters(batches);
  ScannedNode node;
  for (;;) {
    const int tag = delimiters.Next();
    if (tag == length) break;
    if (text_[tag] != L'<') continue;
    const wchar_t second = tag + 1 < length ? text_[tag + 1] : L'\0';
    int end = length;
    if (second == L'/') {
      do {
        end = delimiters.Next();
      } while (end != length && text_[end] != L'>');
      if (end != length) CloseByEndTag(tag, end + 1 - tag);
    } else if (IsNameStart(second)) {
      end = NextTagEnd(tag, delimiters);
      if (end != length) OpenElement(tag, end + 1 - tag);
    }
    if (end != length) continue;
    // Comments, other rare nodes and syntax errors.
    scan_.next = tag;
    if (ScanNode(scan_, node) == kScanError) AddError(node);
    delimiters.SkipTo(scan_.next);
  }
  CloseUnended(base_, length);
  LinkLastChild(elements_[base_]);
  return firstElement_;
}

/// The offset of the `>` of the start tag at `tag`; the text's length when it has none.
int ElementIndexer::NextTagEnd(int tag, DelimiterCursor& delimiters) const {
  const int length = scan_.length;
  for (;;) {
    const int found = delimiters.Next();
    if (found == length || text_[found] == L'>') return found;
    if (text_[found] == L'<' || !OpensValue(text_ + tag, text_ + found)) continue;
    int close;
    do {
      close = delimiters.Next();
    } while (close != length && text_[close] != text_[found]);
    if (close == length) return length;
  }
}

void ElementIndexer::OpenElement(int start, int length) {
  const int index = elements_.Add();
  const bool isFirst = lastChild_ == 0;
  const bool isEmpty = text_[start + length - 2] == L'/';
  ElementEntry& element = elements_[index];
  element.start = start;
  element.length = length;
  element.SetTagLengths(length, 0);
  element.levelFlags = (baseLevel_ + depth_) & ElementEntry::kLevelMask;
  if (isFirst) element.levelFlags |= kElementFirst;
  if (isEmpty) element.levelFlags |= kElementEmpty;
  element.parent = parent_;
  element.child = 0;
  element.next = 0;
  element.previous = isFirst ? index : lastChild_;
  if (isFirst) {
    elements_[parent_].child = index;
  } else {
    elements_[lastChild_].next = index;
  }
  if (firstElement_ == 0) firstElement_ = index;
  if (isEmpty) {
    lastChild_ = index;
    return;
  }
  parent_ = index;
  lastChild_ = 0;
  ++depth_;
  if (openNames_) openNames_->Add(TagName(start));
}

/// Links the first child to the last one, once all children are known.
void ElementIndexer::LinkLastChild(const ElementEntry& parent) {
  if (parent.child != 0) elements_[parent.child].previous = lastChild_;
}

/// Closes the innermost open element with the end tag that ends at `end`.
inline void ElementIndexer::CloseElement(int end, int endTagLength) {
  ElementEntry& element = elements_[parent_];
  if (openNames_) openNames_->Remove(OpenName(parent_));
  element.length = end - element.start;
  element.SetEndTagLength(endTagLength);
  LinkLastChild(element);
  lastChild_ = parent_;
  parent_ = element.parent;
  --depth_;
}

void ElementIndexer::CloseByEndTag(int start, int length) {
  if (depth_ == 0) return CloseByOtherEndTag(start, length);
  // Nearly always the code units between `</` and `>` are those of the innermost open name.
  const wchar_t* name = text_ + start + 2;
  const wchar_t* open = text_ + elements_[parent_].start + 1;
  const auto nameLength = static_cast<std::size_t>(length - 3);
  if (!SameUnits(name, open, nameLength) || !EndsOpenName(open[nameLength])) {
    return CloseByOtherEndTag(start, length);
  }
  CloseElement(start + length, length);
}

void ElementIndexer::CloseByOtherEndTag(int start, int length) {
  const std::wstring_view name = TagName(start + 1);
  const int match = FindOpen(name);
  if (match < 0) {
    faults_.hasLoneEndTag = true;
    elements_[base_].levelFlags |= kElementIllFormed;
    elements_[parent_].levelFlags |= kElementIllData;
    if (!IsResultFull(result_)) {
      AddResult(result_, L"lone_end_tag", std::wstring(name).c_str(), 0, start);
    }
    return;
  }
  if (match != parent_) {
    elements_[base_].levelFlags |= kElementIllFormed;
    CloseUnended(match, start + 1);
  }
  CloseElement(start + length, length);
}

/// The innermost open element that an end tag of this name closes; -1 for none.
int ElementIndexer::FindOpen(std::wstring_view name) {
  if (openNames_ && !openNames_->MayMatch(name)) return -1;
  int element = parent_;
  for (std::uint32_t up = 0; up < depth_; ++up) {
    if (up == kShortSearch && !openNames_) {
      openNames_.emplace(ignoreCase_);
      int open = parent_;
      for (std::uint32_t i = 0; i < depth_; ++i) {
        openNames_->Add(OpenName(open));
        open = elements_[open].parent;
      }
      if (!openNames_->MayMatch(name)) return -1;
    }
    const wchar_t* open = text_ + elements_[element].start + 1;
    if (CommonPrefix(name, open, ignoreCase_) == name.size() && EndsOpenName(open[name.size()])) {
      return element;
    }
    element = elements_[element].parent;
  }
  return -1;
}

/// Closes every open element inside `until`. Each is reduced to its start tag, and its children,
/// the elements closed here included, become children of `until` in document order. No element
/// moves twice, because the caller then closes `until` for good.
void ElementIndexer::CloseUnended(int until, int expectedAt) {
  if (parent_ == until) return;
  if (lastChild_ == 0) lastChild_ = parent_;
  bool illData = false;
  for (int closing = parent_; closing != until; --depth_) {
    ElementEntry& element = elements_[closing];
    if (openNames_) openNames_->Remove(OpenName(closing));
    if (element.child != 0) {
      ElementEntry& first = elements_[element.child];
      first.levelFlags &= ~kElementFirst;
      first.previous = closing;
      // The last child is the element closed before this one. The children moved then follow it.
      for (int child = element.child; child != 0 && elements_[child].parent == closing;
           child = elements_[child].next) {
        elements_[child].parent = until;
      }
      element.next = element.child;
      element.child = 0;
    }
    ++faults_.unended;
    illData |= element.Has(kElementIllData);
    element.levelFlags = (element.levelFlags & ~kElementIllData) | kElementUnended;
    if (!IsResultFull(result_)) {
      AddResult(result_, L"unended_start_tag", std::wstring(OpenName(closing)).c_str(), 0,
                element.start, expectedAt);
    }
    closing = element.parent;
  }
  if (illData) elements_[until].levelFlags |= kElementIllData;
  elements_[base_].levelFlags |= kElementIllFormed;
  parent_ = until;
}

void ElementIndexer::AddError(const ScannedNode& node) {
  faults_.hasSyntaxError = true;
  elements_[base_].levelFlags |= kElementIllFormed;
  elements_[parent_].levelFlags |= kElementIllData;
  if (!IsResultFull(result_)) result_ += node.result;
}

}  // namespace

int IndexElements(ElementIndex& elements, int base, const ScanCursor& scan, std::wstring& result,
                  IndexFaults* faults, TrailingCopy* copy) {
  return ElementIndexer(elements, base, scan, result, faults).Run(copy);
}

}  // namespace orv
