#include "orv/xml/element_indexer.h"

#include "orv/xml/markup.h"
#include "orv/xml/names.h"
#include "orv/xml/result.h"

namespace orv {
namespace {

/// Open elements that a search for an end tag's element looks at before names are counted.
constexpr int kShortSearch = 32;

/// Whether a unit of the text stands behind a whole open name, or where a name counts as ended.
bool EndsOpenName(wchar_t unit) { return EndsTagName(unit) || EndsPathName(unit); }

}  // namespace

ElementIndexer::ElementIndexer(ElemPosArray& elements, int* free, int base, const TokenPos& token,
                               std::wstring& result)
    : elements_(elements),
      free_(free),
      base_(base),
      parent_(base),
      token_(token),
      text_(token.text),
      ignoreCase_((token.flags & CMarkup::DOC_IGNORECASE) != 0),
      baseLevel_(elements[base].Level()),
      result_(result),
      masks_(token.text, token.length) {}

int ElementIndexer::Run() {
  const int length = token_.length;
  NodePos node;
  for (int at = token_.next;;) {
    const int tag = masks_.NextLess(at);
    if (tag == length) break;
    const wchar_t second = tag + 1 < length ? text_[tag + 1] : L'\0';
    int end = length;
    if (second == L'/') {
      end = masks_.NextGreater(tag + 2);
      if (end != length) EndTag(tag, end + 1 - tag);
    } else if (IsNameStart(second)) {
      end = NextTagEnd(tag);
      if (end != length) OpenElement(tag, end + 1 - tag);
    }
    if (end != length) {
      at = end + 1;
      continue;
    }
    // Comments and other rare nodes, and whatever is wrong.
    token_.next = tag;
    if (ScanNode(token_, node) == kScanError) AddError(node);
    at = token_.next;
  }
  CloseUnended(base_, length);
  return firstElement_;
}

/// The offset of the `>` of the start tag at `tag`; the text's length when it has none.
int ElementIndexer::NextTagEnd(int tag) {
  const int length = token_.length;
  for (int at = tag + 2;;) {
    const int sign = masks_.NextGreaterOrQuote(at);
    if (sign == length || text_[sign] == L'>') return sign;
    at = sign + 1;
    if (!OpensValue(text_, tag, sign)) continue;
    int close = masks_.NextQuote(at);
    while (close != length && text_[close] != text_[sign]) close = masks_.NextQuote(close + 1);
    if (close == length) return length;
    at = close + 1;
  }
}

void ElementIndexer::OpenElement(int start, int length) {
  const int index = elements_.TakeFree(free_);
  ElemPos& element = elements_[index];
  ElemPos& parent = elements_[parent_];
  element.start = start;
  element.length = length;
  element.SetTagLengths(length, 0);
  element.levelFlags = (baseLevel_ + depth_) & ElemPos::kLevelMask;
  element.parent = parent_;
  element.child = 0;
  element.next = 0;
  if (parent.child != 0) {
    ElemPos& first = elements_[parent.child];
    element.previous = first.previous;
    elements_[first.previous].next = index;
    first.previous = index;
  } else {
    parent.child = index;
    element.previous = index;
    element.levelFlags |= ELEM_FIRST;
  }
  if (firstElement_ == 0) firstElement_ = index;
  if (text_[start + length - 2] == L'/') {
    element.levelFlags |= ELEM_EMPTY;
    return;
  }
  parent_ = index;
  ++depth_;
  if (openNames_) openNames_->Add(TagName(start));
}

void ElementIndexer::EndTag(int start, int length) {
  if (depth_ == 0) return EndTagOfOther(start, length);
  // The usual end tag has the very units of the innermost open name between `</` and `>`.
  const wchar_t* name = text_ + start + 2;
  const wchar_t* open = text_ + elements_[parent_].start + 1;
  const int nameLength = length - 3;
  int n = 0;
  while (n < nameLength && name[n] == open[n]) ++n;
  if (n < nameLength || !EndsOpenName(open[n])) return EndTagOfOther(start, length);
  CloseElement(start + length, length);
}

void ElementIndexer::EndTagOfOther(int start, int length) {
  const std::wstring_view name = TagName(start + 1);
  const int match = FindOpen(name);
  if (match < 0) {
    elements_[base_].levelFlags |= ELEM_ILLFORMED;
    elements_[parent_].levelFlags |= ELEM_ILLDATA;
    if (!IsResultFull(result_)) {
      AddResult(result_, L"lone_end_tag", std::wstring(name).c_str(), 0, start);
    }
    return;
  }
  if (match != parent_) {
    elements_[base_].levelFlags |= ELEM_ILLFORMED;
    CloseUnended(match, start + 1);
  }
  CloseElement(start + length, length);
}

int ElementIndexer::FindOpen(std::wstring_view name) {
  if (openNames_ && !openNames_->MayMatch(name)) return -1;
  int element = parent_;
  for (int up = 0; up < depth_; ++up) {
    if (up == kShortSearch && !openNames_) {
      openNames_.emplace(ignoreCase_);
      int open = parent_;
      for (int i = 0; i < depth_; ++i) {
        openNames_->Add(OpenName(open));
        open = static_cast<int>(elements_[open].parent);
      }
      if (!openNames_->MayMatch(name)) return -1;
    }
    const wchar_t* open = text_ + elements_[element].start + 1;
    if (CommonPrefix(name, open, ignoreCase_) == name.size() && EndsOpenName(open[name.size()])) {
      return element;
    }
    element = static_cast<int>(elements_[element].parent);
  }
  return -1;
}

/// Closes the innermost open element with the end tag that ends at `end`.
void ElementIndexer::CloseElement(int end, int endTagLength) {
  ElemPos& element = elements_[parent_];
  if (openNames_) openNames_->Remove(OpenName(parent_));
  element.length = end - element.start;
  element.SetEndTagLength(endTagLength);
  parent_ = static_cast<int>(element.parent);
  --depth_;
}

/// Closes every open element inside `until` at its start tag. Their children, the closed elements
/// among them, all become children of `until` in document order. Since `until` is closed for good
/// by whoever calls, no element is ever moved twice.
void ElementIndexer::CloseUnended(int until, int expectedAt) {
  if (parent_ == until) return;
  std::uint32_t last = 0;
  bool illData = false;
  for (int closing = parent_; closing != until;) {
    ElemPos& element = elements_[closing];
    if (openNames_) openNames_->Remove(OpenName(closing));
    if (last == 0) last = element.child != 0 ? elements_[element.child].previous : closing;
    if (element.child != 0) {
      ElemPos& first = elements_[element.child];
      first.levelFlags &= ~ELEM_FIRST;
      first.previous = closing;
      for (std::uint32_t child = element.child; child != 0; child = elements_[child].next) {
        // The last child is the element closed before this one; behind it stand the children that
        // were moved then.
        if (static_cast<int>(elements_[child].parent) != closing) break;
        elements_[child].parent = until;
      }
      element.next = element.child;
      element.child = 0;
    }
    illData |= (element.levelFlags & ELEM_ILLDATA) != 0;
    element.levelFlags = (element.levelFlags & ~ELEM_ILLDATA) | ELEM_UNENDED;
    element.SetEndTagLength(0);
    element.length = element.StartTagLength();
    if (!IsResultFull(result_)) {
      AddResult(result_, L"unended_start_tag", std::wstring(OpenName(closing)).c_str(), 0,
                static_cast<int>(element.start), expectedAt);
    }
    closing = static_cast<int>(element.parent);
    --depth_;
  }
  if (illData) elements_[until].levelFlags |= ELEM_ILLDATA;
  elements_[base_].levelFlags |= ELEM_ILLFORMED;
  elements_[elements_[until].child].previous = last;
  parent_ = until;
}

void ElementIndexer::AddError(const NodePos& node) {
  elements_[base_].levelFlags |= ELEM_ILLFORMED;
  elements_[parent_].levelFlags |= ELEM_ILLDATA;
  if (!IsResultFull(result_)) result_ += node.result;
}

std::wstring_view ElementIndexer::TagName(int start) const {
  return TagNameAt({text_, static_cast<std::size_t>(token_.length)}, start + 1);
}

}  // namespace orv
