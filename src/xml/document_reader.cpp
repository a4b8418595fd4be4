#include "xml/document_reader.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <utility>
#include <vector>

#include "orv/xml/markup.h"
#include "xml/characters.h"
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
    return ClosesElement(name, open_.back().name, ignoreCase_);
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

constexpr int kDataTypes = kTextTypes | CMarkup::NODE_CDATA_SECTION;
constexpr int kAllTypes = 0x7F;

/// Stands for all types of nodes, end tags and errors.
constexpr int kStoreAll = -1;

/// The length of the head of a node without a name; the delimiters of no node are longer.
constexpr int kMinHead = 16;

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
    const KeptTag& tag = tags_[static_cast<std::size_t>(i)];
    if (tag.rest) element.SetTagLengths(element.length = tag.head, 0);
    kept += document_.Range(element.start, element.ContentStart());
  }
  const int shift = static_cast<int>(kept.size()) - next_;
  document_.ReplaceStart(next_, kept);
  // Last, so that a failed allocation leaves the starts as they are.
  for (int i = 1, start = 0; i < document_.elements.Count(); ++i) {
    document_[i].start = start;
    start += document_[i].StartTagLength();
  }
  next_ += shift;
  passed_ -= shift;
  *at += shift;
  if (file_.CanReadAgain()) {
    DropPlaces();
    places_.push_back(
        {FileOffset(document_.Size()), std::make_shared<const StreamPlace>(file_.Place())});
  }
  // Doubling the text bounds the repeated scans of a long node by twice its length.
  file_.Read(document_.text.size(), &document_.text);
  ReportFailure();
  document_[0].length = document_.Size();
  return true;
}

/// Scans the node at `*at`, which moves past it. Reads more of the file as needed. Nodes of the
/// types in `stored` are kept in memory; of elements only those that match `path`. Of any other
/// long node only the head stays.
int DocumentReader::ReadNode(ScannedNode& node, int* at, int stored, const wchar_t* path) {
  nodeStart_ = FileOffset(*at);
  int head = 0;
  for (;;) {
    ScanCursor scan = document_.ScanRange(*at, document_.Size());
    scan.passed = passed_;
    const int type = head != 0 ? ContinueNode(scan, node) : ScanNode(scan, node);
    if (node.hitEnd && !file_.IsEnded()) {
      if (head == 0) head = HeadOf(node, *at, stored, path);
      if (head != 0) {
        PassOver(node, head, at);
      } else {
        ReadMore(at);
      }
      continue;
    }
    nodeEnd_ = FileOffset(scan.next);
    if (head != 0) {
      // The next node follows the head.
      DropText(*at + head, scan.next);
      node.start = *at;
      node.length = head;
      scan.next = *at + head;
    }
    *at = scan.next;
    if (type == kScanError) {
      document_.SetIllFormed();
      if (!IsResultFull(document_.result)) document_.result += node.result;
    }
    return type;
  }
}

/// The length of the head of a node at `at` that is to be passed over; 0 for a node that is to be
/// stored.
int DocumentReader::HeadOf(const ScannedNode& node, int at, int stored, const wchar_t* path) const {
  const ScanState& state = node.state;
  if (document_.Size() - at < static_cast<int>(kStreamPart) || stored == kStoreAll) return 0;
  // End tags may be read again.
  if (state.rest == ScanState::Rest::kUnknown || state.type == kScanEndTag) return 0;
  if (state.type == kScanError) return kMinHead;
  // White space can turn out to be text.
  const int type = (state.type & kTextTypes) != 0 ? kTextTypes : state.type;
  const bool isElement = type == CMarkup::NODE_ELEMENT;
  if ((type & stored) != 0 && (!isElement || IsWanted(at, stored, path))) return 0;
  if ((type & (kDataTypes | CMarkup::NODE_COMMENT)) != 0) return kMinHead;
  // The name must be complete, with what ends it.
  const std::wstring_view text = document_.Range(at, document_.Size());
  const std::size_t end = text.find_first_of(isElement ? L" \n\t\r/>" : L" \n\t\r/>?[", 2);
  return end == text.npos ? 0 : std::max(static_cast<int>(end) + 1, kMinHead);
}

/// Drops the scanned part of a node after its head, and reads more of the file.
void DocumentReader::PassOver(ScannedNode& node, int head, int* at) {
  const int headEnd = *at + head;
  const int scanned = node.state.scanned;
  if (scanned > headEnd) {
    DropText(headEnd, scanned);
    node.state.scanned = headEnd;
  }
  // No node begins in the parts between.
  DropPlaces();
  if (places_.size() > 1) places_.erase(std::next(places_.begin()), places_.end());
  const int before = *at;
  ReadMore(at);
  node.state.scanned += *at - before;
  node.state.start = nodeStart_ - passed_;
}

/// Removes a range from the text that was passed.
void DocumentReader::DropText(int start, int end) {
  document_.text.erase(static_cast<std::size_t>(start), static_cast<std::size_t>(end - start));
  document_[0].length = document_.Size();
  passed_ += end - start;
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
    if (!ClosesElement(name, document_.TagName(i), document_.IgnoresCase())) continue;
    pendingEndTag_ = place;
    pendingElement_ = i;
    return true;
  }
  return false;
}

void DocumentReader::SkipContent() {
  rest_.reset();
  pieces_.reset();
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
    const int type = ReadNode(node, &at, 0);
    end = type == kScanEnd ? nodeStart_ : nodeStart_ + 1;
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
      parent != 0 && ClosesElement(name, document_.TagName(parent), document_.IgnoresCase());
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

/// Whether the element whose start tag is at `tag` is searched for.
bool DocumentReader::IsWanted(int tag, int types, const wchar_t* path) const {
  return IncludesType(types, CMarkup::NODE_ELEMENT) &&
         (*path == 0 ||
          NameInMarkupIs(document_.text.c_str() + tag + 1, path, document_.IgnoresCase()));
}

/// Makes room for the next main element, so that `AddMain` does not throw.
void DocumentReader::ReserveMain() {
  const auto needed = static_cast<std::size_t>(cursor_.Parent()) + 2;
  if (needed > tags_.capacity()) tags_.reserve(2 * needed);
  document_.elements.Reserve(1);
}

/// Makes the entry of a start tag, whose element becomes the main one.
void DocumentReader::AddMain(const ScannedNode& node) {
  const int parent = cursor_.Parent();
  tags_.resize(static_cast<std::size_t>(parent) + 1);
  tags_.push_back({.start = nodeStart_, .rest = RestOf(node), .head = node.length});
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
  ReserveMain();
  SkipContent();
  cursor_.Set(cursor_.Parent(), 0, 0);
  document_.elements.Truncate(cursor_.Parent() + 1);

  const int found = types != 0 ? types : kAllTypes;
  ScannedNode node;
  while (!isParentEnded_) {
    int at = next_;
    const int type = ReadNode(node, &at, file_.CanReadAgain() ? 0 : found, path);
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
      if (IsWanted(node.start, found, path)) {
        AddMain(node);
        return type;
      }
      if (!node.isEmptyElement) SkipElement(node);
    } else if (type > CMarkup::NODE_ELEMENT && IncludesType(found, type)) {
      rest_ = RestOf(node);
      cursor_.SetNode(type, node.start, node.length);
      return type;
    }
  }
  return CMarkup::NODE_NONE;
}

void DocumentReader::EnterElement() {
  pieces_.reset();
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
    const int type = ReadNode(node, &at, kStoreAll);
    const std::wstring_view markup = node.In(document_.text);
    if (type == CMarkup::NODE_ELEMENT) return {};
    if (type == kScanEnd || type == kScanEndTag) return data;
    if (type == CMarkup::NODE_TEXT || type == CMarkup::NODE_WHITESPACE) {
      data += document_.Unescape(markup);
    }
    if (type == CMarkup::NODE_CDATA_SECTION) data += NodeData(type, markup);
  }
}

/// Adds the first failure of reading the file to the result.
void DocumentReader::ReportFailure() {
  if (isFailureReported_ || file_.FailureReason().empty()) return;
  ReportFileError(L"cannot read ", file_.Name(), file_.FailureReason(), &document_.result);
  isFailureReported_ = true;
}

// --- Reading again ---

/// Drops the places before the last one that is not after the node being read.
void DocumentReader::DropPlaces() {
  while (places_.size() > 1 && places_[1].offset <= nodeStart_) places_.erase(places_.begin());
}

/// What follows the head of the node that was read last, if it was passed over.
std::optional<FileRange> DocumentReader::RestOf(const ScannedNode& node) const {
  const std::int64_t start = nodeStart_ + node.length;
  if (start == nodeEnd_) return {};
  return FileRange{.start = start, .end = nodeEnd_, .from = places_.front()};
}

/// Appends the next text of a range; false at its end, or where reading fails.
bool DocumentReader::ReadRange(FileRange* range, std::wstring* text) {
  while (range->start < range->end) {
    std::wstring part;
    // A copy: the range does not move if an allocation fails.
    const auto place = std::make_shared<StreamPlace>(*range->from.place);
    if (!file_.ReadAgain(place.get(), &part)) {
      ReportFailure();
      range->start = range->end;
      return false;
    }
    const std::int64_t partStart = range->from.offset;
    const std::int64_t partEnd = partStart + static_cast<std::int64_t>(part.size());
    const std::int64_t end = std::min(range->end, partEnd);
    const bool isInRange = end > range->start;
    if (isInRange) {
      text->append(part, static_cast<std::size_t>(range->start - partStart),
                   static_cast<std::size_t>(end - range->start));
      range->start = end;
    }
    range->from = {partEnd, place};
    if (isInRange) return true;
  }
  return false;
}

void DocumentReader::CompleteNode() {
  const bool isElement = cursor_.IsElement();
  if (!isElement && !cursor_.IsOtherNode()) return;
  std::optional<FileRange> rest = isElement ? MainTag().rest : rest_;
  if (!rest || (isElement && document_[cursor_.Main()].length != MainTag().head)) return;
  if (rest->end - rest->start > kMaxDocument - document_.Size()) throw std::bad_alloc();
  std::wstring text;
  text.reserve(static_cast<std::size_t>(rest->end - rest->start));
  while (ReadRange(&*rest, &text)) {
  }
  const auto length = static_cast<int>(text.size());
  const int end = isElement ? document_[cursor_.Main()].End() : cursor_.NodeEnd();
  document_.text.insert(static_cast<std::size_t>(end), text);
  document_[0].length = document_.Size();
  next_ += length;
  passed_ -= length;
  if (isElement) {
    ElementEntry& element = document_[cursor_.Main()];
    element.length += length;
    element.SetTagLengths(element.length, 0);
  } else {
    rest_.reset();
    cursor_.SetNode(cursor_.NodeType(), cursor_.NodeOffset(), cursor_.NodeLength() + length);
  }
}

/// The data of a node whose markup, or the head of it, is in memory.
DataPieces DocumentReader::PiecesOf(int type, std::wstring_view markup,
                                    std::optional<FileRange> rest) const {
  const NodeDelimiters delimiters = DelimitersOf(type);
  if (rest) {
    rest->end -= static_cast<std::int64_t>(delimiters.closing);
  } else {
    markup.remove_suffix(delimiters.closing);
  }
  DataPieces pieces{.text = std::wstring(markup.substr(delimiters.opening)), .rest = rest};
  if ((type & kTextTypes) != 0) pieces.unescaper.emplace(document_.flags);
  return pieces;
}

/// The next piece of a node's data, which does not end inside a reference or a surrogate pair;
/// false at the end.
bool DocumentReader::NextPiece(DataPieces* pieces, std::wstring* piece) {
  for (;;) {
    while (pieces->text.size() - pieces->taken < kStreamPart && pieces->rest) {
      pieces->text.erase(0, std::exchange(pieces->taken, 0));
      if (!ReadRange(&*pieces->rest, &pieces->text)) pieces->rest.reset();
    }
    const std::wstring_view left = std::wstring_view(pieces->text).substr(pieces->taken);
    const std::wstring_view next = left.substr(0, kStreamPart);
    const bool isLast = !pieces->rest && next.size() == left.size();
    *piece = std::exchange(pieces->carried, {});
    if (pieces->unescaper) {
      pieces->taken += pieces->unescaper->Append(next, isLast, piece);
    } else {
      *piece += next;
      pieces->taken += next.size();
    }
    if (isLast) return !piece->empty();
    if (EndsInsidePair(*piece)) {
      pieces->carried = piece->back();
      piece->pop_back();
    }
    if (!piece->empty()) return true;
  }
}

/// Passes the content of the main element up to the end of its next text; false if a child or the
/// end of the content follows.
bool DocumentReader::PassTextOfElement() {
  if (!hasContent_) return false;
  const int stored = CMarkup::NODE_ELEMENT | (file_.CanReadAgain() ? 0 : kDataTypes);
  ScannedNode node;
  for (;;) {
    int at = next_;
    const int type = ReadNode(node, &at, stored);
    if (type == CMarkup::NODE_ELEMENT || type == kScanEndTag || type == kScanEnd) return false;
    next_ = at;
    if (type > 0 && (type & kDataTypes) != 0) {
      pieces_ = PiecesOf(type, node.In(document_.text), RestOf(node));
      return true;
    }
  }
}

bool DocumentReader::NextDataPiece(std::wstring* piece) {
  piece->clear();
  if (cursor_.IsOtherNode()) {
    if (!pieces_) pieces_ = PiecesOf(cursor_.NodeType(), cursor_.Markup(), rest_);
    return NextPiece(&*pieces_, piece);
  }
  if (!cursor_.IsElement()) return false;
  while (!pieces_ || !NextPiece(&*pieces_, piece)) {
    if (!PassTextOfElement()) return false;
  }
  return true;
}

}  // namespace orv
