#include "xml/editor.h"

#include <algorithm>
#include <array>
#include <new>
#include <utility>
#include <vector>

#include "orv/xml/cursor.h"
#include "xml/attributes.h"
#include "xml/element_index.h"
#include "xml/file_stream.h"
#include "xml/name_rules.h"
#include "xml/names.h"
#include "xml/references.h"
#include "xml/scanner.h"
#include "xml/unit_search.h"

namespace orv {
namespace {

constexpr std::wstring_view kLineBreak = L"\r\n";

/// The length of the line break at an offset; 0 for none.
int LineBreakLength(const Document& document, int offset) {
  const wchar_t unit = document.At(offset);
  if (unit == L'\r' && document.At(offset + 1) == L'\n') return 2;
  return unit == L'\r' || unit == L'\n' ? 1 : 0;
}

/// The offset of the tag that only white space separates from an offset; otherwise the offset
/// itself.
int SkipSpaceBeforeTag(const Document& document, int offset) {
  int tag = offset;
  while (IsWhiteSpace(document.At(tag))) ++tag;
  return document.At(tag) == L'<' ? tag : offset;
}

/// The markup of a node that is not an element; empty if it would read back as something else.
std::wstring NodeMarkup(int type, MCD_CSTR nodeText) {
  const std::wstring text = nodeText.c_str();
  std::wstring markup;
  switch (type) {
    case CMarkup::NODE_TEXT:
      markup = EscapeText(nodeText.c_str(), 0);
      break;
    case CMarkup::NODE_WHITESPACE:
    case CMarkup::NODE_DOCUMENT_TYPE:
      markup = text;
      break;
    case CMarkup::NODE_CDATA_SECTION:
      return EncodeCDataSection(text);
    case CMarkup::NODE_PROCESSING_INSTRUCTION:
      if (!IsSimpleName(TagNameAt(text, 0))) return {};
      markup = L"<?" + text + L"?>";
      break;
    case CMarkup::NODE_COMMENT:
      // XML does not allow two hyphens in a comment.
      if (text.find(L"--") != text.npos || text.ends_with(L'-')) return {};
      markup = L"<!--" + text + L"-->";
      break;
    default:
      return {};
  }
  ScanCursor scan = ScanCursor::Of(markup);
  ScannedNode node;
  const int scanned = ScanNode(scan, node);
  const bool isText = type == CMarkup::NODE_TEXT && scanned == CMarkup::NODE_WHITESPACE;
  if ((scanned != type && !isText) || node.length != scan.length) return {};
  return markup;
}

/// The escaped text or CDATA section of a value: a view of the value or of `*buffer`.
std::wstring_view ValueMarkup(MCD_CSTR value, int flags, std::wstring* buffer) {
  const std::wstring_view text = value.view();
  if ((flags & CMarkup::ADD_CDATA) == 0 || text.empty()) return EscapeText(text, flags, buffer);
  return *buffer = EncodeCDataSection(text);
}

/// Finds an attribute of a tag at an address like `FindAttribute`. Returns false if the tag has an
/// equals sign that is not before a quoted value.
bool FindInUsualTag(const Document& document, int tag, std::wstring_view name, Attribute* attribute,
                    bool* isFound) {
  constexpr UnitSet kNameEnds(L" \n\t\r/>=");
  const std::wstring_view text = document.text;
  const wchar_t* const nameEnd =
      FindNameEnd(text.data() + tag + 1, text.data() + text.size(), kNameEnds);
  if (*nameEnd == L'=') return false;
  AttributeCursor cursor(text, nameEnd);
  Attribute next;
  while (cursor.Next(&next)) {
    if (next.hasValue && !IsQuote(next.value.data()[-1])) return false;
    if (*isFound) continue;
    *attribute = next;
    *isFound = !next.name.empty() && SameName(next.name, name, document.IgnoresCase());
  }
  return true;
}

/// Whether reading the attributes of a tag recognizes the same quotes as the parse did. It does not
/// if the tag name or an unquoted value contains an equals sign followed by a quote; an edit could
/// then end the tag elsewhere. `tag` and `end` are addresses.
bool ReadsAsParsed(const Document& document, int tag, int end) {
  const wchar_t* const text = document.text.data();
  AttributeCursor cursor(document.text, tag + 1);
  Attribute attribute;
  for (int at = tag + 2; at < end; ++at) {
    if (!IsQuote(text[at]) || !OpensValue(text + tag, text + at)) continue;
    do {
      if (!cursor.Next(&attribute)) return false;
    } while (!attribute.hasValue || !IsQuote(text[attribute.valueStart - 1]));
    if (attribute.valueStart != at + 1) return false;
    at = attribute.ValueEnd();
  }
  return true;
}

/// Whether an attribute at the end of an instruction would be read. It would not after a `>` or an
/// open quote. `instruction` and `end` are addresses.
bool ReadsToEnd(const Document& document, int instruction, int end) {
  const std::wstring_view text(document.text.data(), static_cast<std::size_t>(end));
  AttributeCursor cursor(text, instruction + 2);
  Attribute last;
  while (cursor.Next(&last)) {
  }
  const bool isOpen =
      last.hasValue && IsQuote(text.data()[last.valueStart - 1]) && last.ValueEnd() == end;
  return cursor.IsAtEnd() && !isOpen;
}

}  // namespace

// --- After an edit ---

void Editor::FinishEdit() {
  document_.SettleGap();
  if (document_.HasFile() || !document_.NeedsParse()) return;
  try {
    Reparse();
  } catch (const std::bad_alloc&) {
    // The old index does not match the new text.
    document_.DropIndex();
    cursor_.Set(0, 0, 0);
    saved_.Clear();
    throw;
  }
  CheckNode();
}

/// Resets the current node if it no longer exists: new markup can complete an unterminated
/// construct and absorb the node, and editing it as a node would then corrupt the index. A text may
/// also have become part of a longer one.
void Editor::CheckNode() {
  if (!cursor_.IsOtherNode()) return;
  const Place place = cursor_.Get();
  cursor_.Set(place.parent, place.main, 0);
  int found;
  do {
    found = cursor_.FindNode(0);
  } while (found != CMarkup::NODE_NONE && found != CMarkup::NODE_ELEMENT &&
           cursor_.NodeEnd() <= place.nodeOffset);
  const bool isText = (place.nodeType & kTextTypes) != 0 && (found & kTextTypes) != 0 &&
                      cursor_.NodeOffset() <= place.nodeOffset;
  const bool isSame =
      isText || (found == place.nodeType && cursor_.NodeOffset() == place.nodeOffset);
  cursor_.Set(place.parent, place.main, 0);
  if (isSame) cursor_.SetNode(place.nodeType, place.nodeOffset, place.nodeLength);
}

/// Parses the text again without changing the result record, and restores the positions by their
/// offsets.
void Editor::Reparse() {
  document_.CloseGap();
  const auto startOf = [this](int i) { return i != 0 ? document_[i].start : -1; };
  using Starts = std::array<int, 3>;
  const Place before = cursor_.Get();
  const Starts current = {startOf(before.parent), startOf(before.main), startOf(before.child)};
  std::vector<std::pair<SavedPositions::Entry*, Starts>> saved;
  saved_.ForEach([&](SavedPositions::Entry& entry) {
    saved.emplace_back(&entry,
                       Starts{startOf(entry.parent), startOf(entry.main), startOf(entry.child)});
  });

  std::wstring result;
  std::swap(result, document_.result);
  try {
    document_.Index();
  } catch (const std::bad_alloc&) {
    document_.result = std::move(result);
    throw;
  }
  document_.result = std::move(result);

  // The entries of a new index are in document order.
  const auto recordAt = [this](int start) {
    int low = 1;
    int high = document_.elements.Count();
    while (low < high) {
      const int middle = low + (high - low) / 2;
      if (document_[middle].start < start) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    return low < document_.elements.Count() && document_[low].start == start ? low : 0;
  };
  // The edit may have changed what encloses a position.
  const auto restore = [&](const Starts& starts) {
    SavedPositions::Entry entry{recordAt(starts[0]), recordAt(starts[1]), recordAt(starts[2])};
    if (entry.main != 0) entry.parent = document_[entry.main].parent;
    if (entry.child != 0 && document_[entry.child].parent != entry.main) entry.child = 0;
    return entry;
  };
  const SavedPositions::Entry entry = restore(current);
  Place after = before;
  after.parent = entry.parent;
  after.main = entry.main;
  after.child = entry.child;
  cursor_.Set(after);
  for (const auto& [target, starts] : saved) *target = restore(starts);
}

/// Removes the saved positions whose entries were released.
void Editor::DropReleasedPositions() {
  const auto isDeleted = [this](int i) { return document_[i].Has(kElementDeleted); };
  saved_.RemoveIf([&](const SavedPositions::Entry& saved) {
    return isDeleted(saved.parent) || isDeleted(saved.main) || isDeleted(saved.child);
  });
}

// --- Where markup goes ---

/// The offset of the `/` or `>` that closes the start tag.
int Editor::TagClose(int element) const {
  const ElementEntry& entry = document_[element];
  return document_.OffsetOf(entry.start) + entry.StartTagLength() -
         (entry.Has(kElementEmpty) ? 2 : 1);
}

/// Whether the element's own tags and content may change.
bool Editor::CanEdit(int element) const {
  if (element == 0 || IsReading()) return false;
  const ElementEntry& entry = document_[element];
  return entry.StartTagLength() > 2 && !entry.IsStartTagCut() &&
         document_.text[static_cast<std::size_t>(entry.ContentStart() - 1)] == L'>';
}

/// Whether markup may be added. Writes what is complete to an open file if memory holds much of it.
bool Editor::BeginAdd() {
  if (IsReading()) return false;
  return writer_ == nullptr || !writer_->IsFull() || writer_->WriteCompleted();
}

/// The element next to which markup goes; 0 without one. A file that is written must not depend
/// on what memory still holds, so an element that was left and is current again counts only if
/// nothing but white space follows it.
int Editor::Neighbour(bool onChildLevel) const {
  if (onChildLevel) return cursor_.Child();
  const int main = cursor_.Main();
  if (main == 0 || writer_ == nullptr || cursor_.IsOtherNode()) return main;
  const int parent = cursor_.Parent();
  const int end = parent == 0 ? document_.Size() : document_.OffsetOf(document_.ContentEnd(parent));
  int next = document_.OffsetOf(document_[main].End());
  while (next < end && IsWhiteSpace(document_.At(next))) ++next;
  return next >= end ? main : 0;
}

/// Finds where new markup goes; false if there is no position for it.
bool Editor::FindPlace(int flags, InsertPlace* place) const {
  const bool inserts = (flags & CMarkup::ADD_INSERT) != 0;
  const bool onChildLevel = (flags & CMarkup::ADD_CHILD) != 0;
  const bool isWriting = (document_.flags & CMarkup::DOC_WRITEFILE) != 0;
  if (isWriting && (inserts || onChildLevel)) return false;
  if (onChildLevel && !cursor_.IsElement()) return false;

  place->parent = onChildLevel ? cursor_.Main() : cursor_.Parent();
  const int current = Neighbour(onChildLevel);
  if (!onChildLevel && cursor_.IsOtherNode()) {
    place->before = current;
    place->offset = inserts ? cursor_.NodeOffset() : cursor_.NodeEnd();
  } else if (current != 0) {
    PlaceAtCurrent(current, inserts, place);
  } else if (!PlaceInParent(inserts, place)) {
    return false;
  }
  const bool onOwnLine = (flags & CMarkup::ADD_NOLINES) == 0 && !place->opensParent;
  if (onOwnLine) place->offset = SkipSpaceBeforeTag(document_, place->offset);
  return true;
}

void Editor::PlaceAtCurrent(int current, bool inserts, InsertPlace* place) const {
  const ElementEntry& element = document_[current];
  place->before = inserts ? element.Before() : current;
  place->offset = document_.OffsetOf(inserts ? element.start : element.End());
}

/// Without a current element, markup goes to the end of the parent, or to its start.
bool Editor::PlaceInParent(bool inserts, InsertPlace* place) const {
  const ElementEntry& parent = document_[place->parent];
  if (!inserts && parent.child != 0) place->before = document_[parent.child].previous;
  if (place->parent == 0) {
    place->offset = inserts ? 0 : document_.Size();
    return true;
  }
  if (parent.IsStartTagCut()) return false;
  place->opensParent = parent.IsTagOnly();
  place->offset = document_.OffsetOf(
      inserts || place->opensParent ? parent.ContentStart() : document_.ContentEnd(place->parent));
  return true;
}

/// Gives an element that is its start tag alone a content and an end tag. Slashes before the `>`
/// are removed; a space before them stays.
void Editor::OpenTag(int element, std::wstring_view content) {
  ElementEntry& entry = document_[element];
  const int start = document_.OffsetOf(entry.start);
  const int tagEnd = start + entry.StartTagLength();
  const std::wstring name(document_.TagName(element));
  int close = tagEnd - 1;
  while (document_.At(close - 1) == L'/') --close;
  std::wstring markup = L">";
  markup += content;
  markup += L"</" + name + L">";
  document_.Splice(close, tagEnd - close, markup);
  entry.SetTagLengths(close + 1 - start, static_cast<int>(name.size()) + 3);
  entry.length = close + static_cast<int>(markup.size()) - start;
  entry.levelFlags &= ~kElementEmpty;
  document_.RemoveUnended(element);
}

/// Inserts markup and its line break, and opens the parent if necessary. Returns the offset of the
/// markup.
int Editor::Insert(const InsertPlace& place, std::wstring markup, int flags) {
  const std::wstring_view lineBreak = (flags & CMarkup::ADD_NOLINES) == 0 ? kLineBreak : L"";
  markup += lineBreak;
  if (place.opensParent) {
    markup.insert(0, lineBreak);
    OpenTag(place.parent, markup);
    return document_[place.parent].ContentStart() + static_cast<int>(lineBreak.size());
  }
  document_.Splice(place.offset, 0, markup);
  return place.offset;
}

/// Makes a new element the current one.
void Editor::FinishAdd(const InsertPlace& place, int element, int flags) {
  if ((flags & CMarkup::ADD_CHILD) != 0) {
    cursor_.Set(cursor_.Parent(), cursor_.Main(), element);
  } else {
    cursor_.Set(place.parent, element, 0);
  }
  FinishEdit();
}

// --- Elements ---

bool Editor::AddElement(std::wstring_view name, MCD_CSTR value, int flags) {
  const bool hasValue = !value.IsEmpty();
  const bool noEnd = (flags & CMarkup::ADD_NOEND) != 0;
  if ((noEnd && hasValue) || !IsQualifiedName(name) || !BeginAdd()) return false;
  InsertPlace place;
  if (!FindPlace(flags, &place)) return false;

  const bool isEmptyTag = !hasValue && !noEnd;
  std::wstring markup;
  // Room for both tags and the line break, so that nearly all texts need one allocation.
  markup.reserve(2 * name.size() + value.view().size() + 16);
  markup += L'<';
  markup += name;
  if (isEmptyTag) markup += (flags & CMarkup::ADD_SPACEDEMPTY) != 0 ? L" /" : L"/";
  markup += L'>';
  const int startTagLength = static_cast<int>(markup.size());
  int endTagLength = 0;
  if (hasValue) {
    std::wstring buffer;
    markup += ValueMarkup(value, flags, &buffer);
    endTagLength = static_cast<int>(name.size()) + 3;
    markup += L"</";
    markup += name;
    markup += L'>';
  }

  const int length = static_cast<int>(markup.size());
  const int added = document_.elements.Add();
  document_[added] = ElementEntry{};
  const int offset = Insert(place, std::move(markup), flags);
  ElementEntry& element = document_[added];
  element.start = offset;
  element.length = length;
  element.SetTagLengths(startTagLength, endTagLength);
  element.levelFlags = document_.LevelAfter(place.parent, place.before);
  if (isEmptyTag) element.levelFlags |= kElementEmpty;
  document_.Link(place.parent, place.before, added);
  if (noEnd) document_.AddUnended(added);
  FinishAdd(place, added, flags);
  return true;
}

bool Editor::AddSubDocument(std::wstring_view markup, int flags) {
  Document subDocument;
  subDocument.flags = document_.flags & ~kFileFlags;
  subDocument.ReserveText(markup.size());
  subDocument.CopyText(markup);
  if (!subDocument.IsWellFormed() || !BeginAdd()) return false;
  InsertPlace place;
  if (!FindPlace(flags, &place)) return false;

  const ElementEntry& root = subDocument[subDocument[0].child];
  document_.elements.Reserve(subDocument.elements.Count());
  const int offset = Insert(place, subDocument.CopyMarkup(subDocument[0].child), flags);
  const std::uint32_t level = document_.LevelAfter(place.parent, place.before);
  const int added = document_.IndexRange(level, offset, offset + root.length);
  document_.Link(place.parent, place.before, added);
  FinishAdd(place, added, flags);
  return true;
}

void Editor::Remove(int element) {
  const int end = document_.OffsetOf(document_[element].End());
  document_.Remove(element, end + LineBreakLength(document_, end));
  DropReleasedPositions();
}

bool Editor::RemoveElement() {
  if (document_.HasFile() || !cursor_.IsElement()) return false;
  const int before = document_[cursor_.Main()].Before();
  Remove(cursor_.Main());
  cursor_.Set(cursor_.Parent(), before, 0);
  FinishEdit();
  return true;
}

bool Editor::RemoveChild() {
  if (document_.HasFile() || cursor_.Child() == 0) return false;
  const int before = document_[cursor_.Child()].Before();
  Remove(cursor_.Child());
  cursor_.Set(cursor_.Parent(), cursor_.Main(), before);
  FinishEdit();
  return true;
}

// --- Content ---

/// Replaces the markup between the tags of an element and releases the entries of its children.
void Editor::ReplaceContent(int element, std::wstring_view content) {
  const ElementEntry& entry = document_[element];
  if (entry.IsTagOnly()) {
    if (!content.empty()) OpenTag(element, content);
  } else {
    const int start = document_.OffsetOf(entry.ContentStart());
    const int end = document_.OffsetOf(document_.ContentEnd(element));
    document_.Splice(start, end - start, content);
    document_.ReleaseChildren(element);
  }
  DropReleasedPositions();
}

bool Editor::SetData(MCD_CSTR value, int flags) {
  if (cursor_.IsOtherNode()) return SetNodeData(value);
  if (!SetElementData(cursor_.Main(), value, flags)) return false;
  cursor_.Set(cursor_.Parent(), cursor_.Main(), 0);
  FinishEdit();
  return true;
}

bool Editor::SetChildData(MCD_CSTR value, int flags) {
  if (!SetElementData(cursor_.Child(), value, flags)) return false;
  FinishEdit();
  return true;
}

bool Editor::SetElementData(int element, MCD_CSTR value, int flags) {
  if (document_.HasFile() || !CanEdit(element)) return false;
  std::wstring buffer;
  ReplaceContent(element, ValueMarkup(value, flags, &buffer));
  return true;
}

bool Editor::SetContent(std::wstring_view markup) {
  const int element = cursor_.Main();
  if (document_.HasFile() || !cursor_.IsElement() || !CanEdit(element)) return false;
  Document content;
  content.flags = document_.flags & ~kFileFlags;
  content.ReserveText(markup.size());
  content.CopyText(markup);
  if (content.IsIllFormed()) return false;

  document_.elements.Reserve(content.elements.Count());
  ReplaceContent(element, content.text);
  cursor_.Set(cursor_.Parent(), element, 0);
  const int start = document_[element].ContentStart();
  const std::uint32_t level = document_.LevelBelow(element);
  document_.Adopt(element, document_.IndexRange(level, start, start + content.Size()));
  FinishEdit();
  return true;
}

// --- Attributes ---

/// Finds an attribute of the tag or instruction at the place that is to be changed.
Editor::AttributePlace Editor::FindAttribute(bool ofChild, std::wstring_view name) const {
  AttributePlace place;
  if (IsReading()) return place;
  if (!ofChild && cursor_.NodeType() == CMarkup::NODE_PROCESSING_INSTRUCTION) {
    const int start = document_.AddressOf(cursor_.NodeOffset());
    const bool takes = ReadsToEnd(document_, start, start + cursor_.NodeLength() - 2);
    if (takes) place.end = cursor_.NodeEnd() - 2;
  } else {
    const int main = cursor_.IsElement() ? cursor_.Main() : 0;
    const int element = ofChild ? cursor_.Child() : main;
    if (!CanEdit(element)) return place;
    const int end = TagClose(element);
    const int start = document_[element].start;
    const int shift = start - document_.OffsetOf(start);
    if (FindInUsualTag(document_, start, name, &place.attribute, &place.isFound)) {
      place.attribute.nameStart -= shift;
      place.attribute.valueStart -= shift;
      place.end = end;
      return place;
    }
    if (ReadsAsParsed(document_, start, end + shift)) place.end = end;
  }
  place.attribute = {};
  place.isFound = cursor_.FindAttribute(ofChild, name, &place.attribute);
  return place;
}

/// Replaces code units within the tag or instruction at the place.
void Editor::ChangeTag(bool ofChild, int offset, int cut, std::wstring_view replacement) {
  const int shift = static_cast<int>(replacement.size()) - cut;
  document_.Splice(offset, cut, replacement);
  if (!ofChild && cursor_.IsOtherNode()) {
    cursor_.SetNode(cursor_.NodeType(), cursor_.NodeOffset(), cursor_.NodeLength() + shift);
    // A `<` in the rest of the instruction is not a place for the gap.
    document_.Splice(cursor_.NodeEnd(), 0, {});
  } else {
    ElementEntry& entry = document_[ofChild ? cursor_.Child() : cursor_.Main()];
    entry.SetStartTagLength(entry.StartTagLength() + shift);
  }
  FinishEdit();
}

bool Editor::SetAttribute(bool ofChild, std::wstring_view name, MCD_CSTR newValue) {
  static constexpr UnitSet kNotInNames(L" \t\r\n/=>?<\"'");
  const auto cannotName = [](wchar_t unit) { return kNotInNames.Has(unit); };
  if (std::any_of(name.begin(), name.end(), cannotName)) return false;
  const AttributePlace place = FindAttribute(ofChild, name);
  const Attribute& attribute = place.attribute;
  int end = place.end;
  if (end < 0) return false;
  std::wstring buffer;
  const std::wstring_view value = EscapeText(newValue.view(), CMarkup::ESC_ATTRIB, &buffer);
  const auto quoted = [value] { return std::wstring(L"\"").append(value) + L"\""; };
  if (!place.isFound) {
    if (!IsQualifiedName(name)) return false;
    // After an equals sign without a value, the new attribute would be read as that value.
    const bool dangles = attribute.hasValue && attribute.valueStart >= end;
    if (document_.At(end) == L'/' && document_.At(end - 1) == L' ') --end;
    ChangeTag(ofChild, end, 0, (dangles ? L"\"\" " : L" ") + std::wstring(name) + L"=" + quoted());
  } else if (!attribute.hasValue) {
    ChangeTag(ofChild, attribute.NameEnd(), 0, L"=" + quoted());
  } else {
    const int start = attribute.valueStart;
    // An unquoted value ends before the closing of the tag.
    const int cut = std::min(attribute.ValueEnd(), end) - start;
    if (IsQuote(document_.At(start - 1))) {
      ChangeTag(ofChild, start, cut, value);
    } else {
      ChangeTag(ofChild, start, cut, quoted());
    }
  }
  return true;
}

bool Editor::RemoveAttribute(std::wstring_view name) {
  const AttributePlace place = FindAttribute(false, name);
  if (place.end < 0 || !place.isFound) return false;
  const Attribute& attribute = place.attribute;
  int start = attribute.nameStart;
  int end = attribute.NameEnd();
  if (attribute.hasValue) {
    end = attribute.ValueEnd();
    if (IsQuote(document_.At(attribute.valueStart - 1))) ++end;
  }
  end = std::min(end, place.end);
  while (IsWhiteSpace(document_.At(start - 1))) --start;
  // A space stays where the neighbours would join to another name or to an empty-element tag.
  const bool joins =
      end < place.end ? !IsWhiteSpace(document_.At(end)) : document_.At(start - 1) == L'/';
  ChangeTag(false, start, end - start, joins ? L" " : L"");
  return true;
}

// --- Nodes ---

bool Editor::AddNode(int type, MCD_CSTR text, int flags) {
  const bool stays = (flags & CMarkup::ADD_STAY) != 0;
  constexpr int kInline = kTextTypes | CMarkup::NODE_CDATA_SECTION;
  if (stays || (type & kInline) != 0) flags |= CMarkup::ADD_NOLINES;
  if (type == CMarkup::NODE_ELEMENT) return AddElement(text.view(), nullptr, flags);
  std::wstring markup = NodeMarkup(type, text);
  if (markup.empty() || !BeginAdd()) return false;
  InsertPlace place;
  if (!FindPlace(flags, &place)) return false;

  const int oldSize = document_.Size();
  const int length = static_cast<int>(markup.size());
  const int offset = Insert(place, std::move(markup), flags);
  if (!stays) {
    cursor_.Set(place.parent, place.before, 0);
    cursor_.SetNode(type, offset, length);
  } else if (cursor_.IsOtherNode() && (flags & CMarkup::ADD_INSERT) != 0) {
    cursor_.SetNode(cursor_.NodeType(), cursor_.NodeOffset() + document_.Size() - oldSize,
                    cursor_.NodeLength());
  }
  FinishEdit();
  return true;
}

bool Editor::SetNodeData(MCD_CSTR value) {
  if (document_.HasFile()) return false;
  const std::wstring markup = NodeMarkup(cursor_.NodeType(), value);
  if (markup.empty()) return false;
  const int length = static_cast<int>(markup.size());
  document_.Splice(cursor_.NodeOffset(), cursor_.NodeLength(), markup);
  cursor_.SetNode(cursor_.NodeType(), cursor_.NodeOffset(), length);
  FinishEdit();
  return true;
}

bool Editor::RemoveNode() {
  if (cursor_.IsElement()) return RemoveElement();
  if (document_.HasFile() || !cursor_.IsOtherNode()) return false;
  int cut = cursor_.NodeLength();
  constexpr int kOnLineOfItsOwn =
      CMarkup::NODE_COMMENT | CMarkup::NODE_PROCESSING_INSTRUCTION | CMarkup::NODE_DOCUMENT_TYPE;
  if ((cursor_.NodeType() & kOnLineOfItsOwn) != 0) {
    cut += LineBreakLength(document_, cursor_.NodeEnd());
  }
  document_.Splice(cursor_.NodeOffset(), cut, {});
  cursor_.Set(cursor_.Parent(), cursor_.Main(), 0);
  FinishEdit();
  return true;
}

}  // namespace orv
