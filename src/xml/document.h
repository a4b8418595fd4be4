#pragma once

#include <algorithm>
#include <limits>
#include <string>
#include <string_view>

#include "orv/xml/markup.h"
#include "xml/element_index.h"
#include "xml/names.h"
#include "xml/references.h"
#include "xml/scanner.h"
#include "xml/unit_search.h"

namespace orv {

/// The maximum length of a document; a longer text counts as empty.
inline constexpr int kMaxDocument = std::numeric_limits<int>::max();

/// The document flags of an open file.
inline constexpr int kFileFlags =
    CMarkup::DOC_READFILE | CMarkup::DOC_WRITEFILE | CMarkup::DOC_APPENDFILE;

/// Whether a set of node types contains a type; 0 stands for all types.
inline bool IncludesType(int types, int type) { return types == 0 || (types & type) != 0; }

/// Whether a view is of a text, or of its end.
bool IsPartOf(std::wstring_view view, const std::wstring& text);
/// Makes room in a text, which keeps its content, and maps memory pages in advance.
void ReserveUnits(std::size_t size, std::wstring* text);

/// The unused part of an edited document's text, and its place in the index.
struct EditGap {
  int start = 0;
  int length = 0;  ///< 0 without a gap; the other members are then undefined
  int parent = 0;  ///< the innermost element around the gap, 0 for none
  int before = 0;  ///< the last child of the parent that ends before the gap, 0 for none

  int End() const { return start + length; }
};

/// An XML text and the index of its elements.
///
/// An edit must not move all the text after it, nor change the entries of all elements there. So
/// the text of an edited document has a gap, and an edit takes place at the gap. What the entries
/// hold are addresses: positions in `text`, with the gap counted. An edit at the gap changes the
/// length of the gap only, hence neither the addresses after it nor the lengths of the elements
/// around it, which contain the gap. When the gap moves, the elements that it passes are adjusted,
/// as is the text. Edits in document order therefore cost time in proportion to the document.
///
/// Between edits the gap is directly before a `<` or at the end of the text, and not in an element
/// without children. Tags, nodes and the content of elements without children are thus in one
/// piece, and are read at their addresses as if there were no gap. Reading never moves the gap.
///
/// Callers see offsets: positions in the document without the gap. They equal the addresses in a
/// document that was not edited.
class Document {
 public:
  std::wstring text;    ///< with the gap; `Closed` returns the document
  std::wstring result;  ///< the result record: one empty element for each finding
  int flags = CMarkup::DOC_IGNORECASE;
  ElementIndex elements;

  ElementEntry& operator[](int element) const { return elements[element]; }
  /// The length of the document.
  int Size() const { return static_cast<int>(text.size()) - gap_.length; }
  bool IgnoresCase() const { return (flags & CMarkup::DOC_IGNORECASE) != 0; }
  /// Whether a file is open, or the flags say so: a constructor accepts any flags.
  bool HasFile() const { return (flags & (CMarkup::DOC_READFILE | CMarkup::DOC_WRITEFILE)) != 0; }
  bool IsIllFormed() const { return elements[0].Has(kElementIllFormed); }
  void SetIllFormed() { elements[0].levelFlags |= kElementIllFormed; }
  bool IsWellFormed() const;

  // --- Parsing ---

  /// Frees the text, the index and the result record.
  void Clear();
  /// Makes room for a text. If that throws, the document is unchanged.
  void ReserveText(std::size_t size);
  /// Copies a text that there is room for, and indexes it. The text is followed by one readable
  /// code unit, and may be a part of this document or of its result record.
  void CopyText(std::wstring_view newText);
  /// Indexes the text. Findings are added to the result record.
  void Index();
  /// Makes this a copy of another document. If that throws, this one is unchanged.
  void Assign(const Document& other);

  // --- Reading ---

  /// The document in one piece; valid until it changes. Takes time linear in the text after the
  /// first change since the last call.
  const std::wstring& Closed() const;
  /// The offset of an address. The end of the text before the gap has the offset of the text after
  /// the gap.
  int OffsetOf(int address) const {
    return address <= gap_.start ? address : address - gap_.length;
  }
  /// The address of the code unit at an offset.
  int AddressOf(int offset) const { return offset < gap_.start ? offset : offset + gap_.length; }
  /// The offset of an element; 0 if its start is already written to a file.
  int StartOf(int element) const { return std::max(OffsetOf(elements[element].start), 0); }
  /// The code unit at an offset.
  wchar_t At(int offset) const { return text.data()[AddressOf(offset)]; }

  // What follows takes and returns addresses.

  int GapStart() const { return gap_.start; }
  std::wstring_view Range(int start, int end) const {
    if (start <= gap_.start && end > gap_.start) return ClosedRange(start, end);
    const auto length = static_cast<std::size_t>(end > start ? end - start : 0);
    return std::wstring_view(text).substr(static_cast<std::size_t>(start), length);
  }
  /// The same as a copy, which takes time linear in the range.
  std::wstring Copy(int start, int end) const;
  /// The tag name at an address.
  std::wstring_view NameAt(int address) const {
    return TagNameAt(text, static_cast<std::size_t>(address));
  }
  /// A scanner's cursor over a range of the text.
  ScanCursor ScanRange(int start, int end) const {
    return {.next = start, .text = text.data(), .flags = flags, .length = end};
  }
  /// Prepares a scan up to `end` for its next node, which does not contain the gap.
  void PassGap(ScanCursor* scan, int end) const {
    if (scan->next == gap_.start) scan->next = gap_.End();
    scan->length = scan->next < gap_.start ? std::min(end, gap_.start) : end;
  }
  /// The text in which the attributes of the tag whose name is at an address are read.
  std::wstring_view TextOfTag(int nameStart) const {
    return nameStart < gap_.start ? TextOfTagBeforeGap(nameStart) : text;
  }

  std::wstring_view TagName(int element) const;
  /// Whether an element has a tag name, which contains no code unit that could end it.
  bool IsNamed(int element, std::wstring_view tagName) const {
    const ElementEntry& entry = elements[element];
    // The name and the two delimiters around it.
    if (static_cast<std::size_t>(entry.length) < tagName.size() + 2) return false;
    const wchar_t* const name = text.data() + entry.start + 1;
    return EndsTagName(name[tagName.size()]) &&
           SameName({name, tagName.size()}, tagName, IgnoresCase());
  }
  /// The markup of an element; empty for 0.
  std::wstring_view Markup(int element) const {
    const ElementEntry& entry = elements[element];
    return element != 0 ? Range(std::max(entry.start, 0), entry.End()) : std::wstring_view();
  }
  std::wstring CopyMarkup(int element) const {
    const ElementEntry& entry = elements[element];
    return element != 0 ? Copy(std::max(entry.start, 0), entry.End()) : std::wstring();
  }
  /// The markup between an element's tags.
  std::wstring_view Content(int element) const {
    const ElementEntry& entry = elements[element];
    return entry.IsTagOnly() ? std::wstring_view()
                             : Range(entry.ContentStart(), entry.ContentEnd());
  }
  std::wstring CopyContent(int element) const {
    const ElementEntry& entry = elements[element];
    return entry.IsTagOnly() ? std::wstring() : Copy(entry.ContentStart(), entry.ContentEnd());
  }
  /// The decoded text of an element: a view of the text if nothing has to be decoded, otherwise of
  /// the buffer. Empty for an element that contains elements.
  std::wstring_view Data(int element, std::wstring* buffer) const {
    const ElementEntry& entry = elements[element];
    if (entry.child != 0 || entry.IsTagOnly()) return {};
    const wchar_t* const start = text.data() + entry.ContentStart();
    const wchar_t* const contentEnd = text.data() + entry.ContentEnd();
    // The `<` of the end tag ends the search.
    const wchar_t* const found = FindEither(start, text.data() + text.size(), L'<', L'&');
    if (found == contentEnd && !NormalizesWhitespace(flags)) return {start, contentEnd};
    return DecodedData(entry, buffer);
  }
  std::wstring Data(int element) const;
  /// A value or a text as it is read: references decoded, white space by the flags.
  std::wstring Unescape(std::wstring_view escaped) const;
  /// The address of the end tag of an element that has one. Its stored length lacks multiples of
  /// 1,024.
  int ContentEnd(int element) const;
  /// The path of an element: "/name[n]" for each level, without "[n]" for the first of its name.
  std::wstring Path(int element) const;

  // --- Editing: the index follows the text ---

  /// Replaces `cut` code units at an offset; only a replacement that is longer allocates.
  /// Afterwards the gap follows the replacement, so that the addresses before its end are offsets.
  /// The entries around and after the change are correct then; those of changed elements are
  /// adjusted by the caller, who calls `SettleGap` at the end.
  void Splice(int offset, int cut, std::wstring_view replacement);
  /// Moves the gap to the next place where it may be between edits.
  void SettleGap();
  /// Removes the gap: addresses are offsets again.
  void CloseGap();
  /// Replaces the first code units of a text without a gap. The caller adjusts the entries.
  void ReplaceStart(int cut, std::wstring_view replacement);
  /// Links an entry into its parent's children after `before`, or as the first child if that is 0.
  void Link(int parent, int before, int element);
  /// Removes an element up to the offset `end`, and releases its entry and those of its
  /// descendants. The caller calls `SettleGap`.
  void Remove(int element, int end);
  void ReleaseChildren(int element);
  /// The level of the children of an entry.
  std::uint32_t LevelBelow(int parent) const {
    return parent != 0 ? (elements[parent].Level() + 1) & ElementEntry::kLevelMask : 0;
  }
  /// The level of a child after `before`, or of a first child if that is 0. Every element without
  /// an end tag adds a level to what follows in its parent.
  std::uint32_t LevelAfter(int parent, int before) const {
    if (before == 0) return LevelBelow(parent);
    return elements[before].Has(kElementUnended) ? LevelBelow(before) : elements[before].Level();
  }
  /// Indexes a range of well-formed text, whose elements are to become siblings of this level;
  /// returns the first one. Does not throw if there is room for the entries.
  int IndexRange(std::uint32_t level, int start, int end);
  /// Makes an element and its following siblings the children of `parent`, which has none.
  void Adopt(int parent, int first);

  // An edit of an ill-formed document changes the index where it takes place, because it adds and
  // removes whole elements, which change no other pair of tags. The exceptions need a new parse.

  /// Marks a new element, which has no end tag.
  void AddUnended(int element);
  /// Records that an element without an end tag gets one, or is about to be unlinked.
  void RemoveUnended(int element);
  /// Ends an edit. Whether the index must be made again: new markup may complete or end what a
  /// syntax error is about, and a removed end tag may have been the last fault.
  bool NeedsParse();
  /// Leaves the document without elements until the next edit makes the index.
  void DropIndex();

 private:
  void Index(std::wstring_view newText, TrailingCopy* copy);
  std::wstring_view DecodedData(const ElementEntry& entry, std::wstring* buffer) const;
  std::wstring MixedData(std::wstring_view content) const;
  std::wstring_view ClosedRange(int start, int end) const;
  std::wstring_view TextOfTagBeforeGap(int nameStart) const;
  int LastChild(int parent) const {
    const int first = elements[parent].child;
    return first != 0 ? elements[first].previous : 0;
  }
  void MoveGap(int offset);
  void OpenGap(int offset);
  void PassForward(int offset);
  void PassBackward(int offset);
  void WidenGap(int units);
  void Unlink(int element);
  void ReleaseTree(int element);
  void ShiftLevels(int element, int levels);

  IndexFaults faults_;
  bool needsParse_ = false;  ///< an edit changed more than the index was adjusted for
  int indexedFlags_ = 0;     ///< the flags that the index was made with
  EditGap gap_;
  mutable std::wstring closed_;  ///< the document in one piece, if `Closed` had to make it
  mutable int closedUnits_ = 0;  ///< the part of `closed_` that no edit has changed since
};

}  // namespace orv
