#pragma once

#include <string>
#include <string_view>

#include "orv/xml/markup.h"
#include "xml/element_index.h"
#include "xml/names.h"
#include "xml/scanner.h"
#include "xml/unit_search.h"

namespace orv {

/// The document flags of an open file.
inline constexpr int kFileFlags =
    CMarkup::DOC_READFILE | CMarkup::DOC_WRITEFILE | CMarkup::DOC_APPENDFILE;

/// Whether reading changes the white space of values and data.
inline bool NormalizesWhitespace(int flags) {
  return (flags & (CMarkup::DOC_TRIMWHITESPACE | CMarkup::DOC_COLLAPSEWHITESPACE)) != 0;
}

/// Whether a set of node types contains a type; 0 stands for all types.
inline bool IncludesType(int types, int type) { return types == 0 || (types & type) != 0; }

/// An XML text and the index of its elements.
class Document {
 public:
  std::wstring text;
  std::wstring result;  ///< the result record: one empty element for each finding
  int flags = CMarkup::DOC_IGNORECASE;
  ElementIndex elements;

  ElementEntry& operator[](int element) const { return elements[element]; }
  int Size() const { return static_cast<int>(text.size()); }
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

  wchar_t At(int offset) const { return text.data()[offset]; }
  std::wstring_view Range(int start, int end) const {
    const auto length = static_cast<std::size_t>(end > start ? end - start : 0);
    return std::wstring_view(text).substr(static_cast<std::size_t>(start), length);
  }
  /// The tag name at an offset.
  std::wstring_view NameAt(int offset) const {
    return TagNameAt(text, static_cast<std::size_t>(offset));
  }
  /// A scanner's cursor over a range of the text.
  ScanCursor ScanRange(int start, int end) const {
    return {.next = start, .text = text.data(), .flags = flags, .length = end};
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
    if (element == 0) return {};
    return Range(elements[element].start, elements[element].End());
  }
  /// The markup between an element's tags.
  std::wstring_view Content(int element) const;
  /// The content of an element that is one run of text without references. A view with null data
  /// for any other element.
  std::wstring_view PlainContent(int element) const {
    const ElementEntry& entry = elements[element];
    if (entry.child != 0 || entry.IsTagOnly()) return {};
    const wchar_t* const start = text.data() + entry.ContentStart();
    const wchar_t* const contentEnd = text.data() + entry.ContentEnd();
    // The `<` of the end tag ends the search.
    if (FindEither(start, text.data() + text.size(), L'<', L'&') != contentEnd) return {};
    return {start, contentEnd};
  }
  /// The decoded text of an element; empty for an element that contains elements.
  std::wstring Data(int element) const;
  /// A value or a text as it is read: references decoded, white space by the flags.
  std::wstring Unescape(std::wstring_view escaped) const;
  /// The offset of the end tag, whose stored length lacks multiples of 1,024.
  int ContentEnd(int element) const;
  /// The path of an element: "/name[n]" for each level, without "[n]" for the first of its name.
  std::wstring Path(int element) const;

  // --- Editing: the index follows the text ---

  /// Replaces `cut` code units of the text. The caller adjusts the entries.
  void Replace(int offset, int cut, std::wstring_view replacement);
  /// Shifts the entries after a change inside or right after an element, whose own entry the
  /// caller has adjusted: the starts of the entries after it, its descendants included unless
  /// `afterElement`, and the lengths of those that enclose it.
  void Shift(int element, int shift, bool afterElement);
  /// Shifts the entries after a change of a node that follows the element `before`, or is the first
  /// node of its parent.
  void ShiftAfterNode(int parent, int before, int shift);
  /// Links an entry into its parent's children after `before`, or as the first child if that is 0.
  void Link(int parent, int before, int element);
  /// Unlinks an entry from its siblings.
  void Unlink(int element);
  /// Releases an entry and its descendants.
  void ReleaseTree(int element);
  void ReleaseChildren(int element);
  /// The level of the children of an entry.
  std::uint32_t LevelBelow(int parent) const {
    return parent != 0 ? (elements[parent].Level() + 1) & ElementEntry::kLevelMask : 0;
  }
  /// Indexes a range of the text whose elements become children of `parent`; returns the first one.
  int IndexRange(int parent, int start, int end);

 private:
  void Index(std::wstring_view newText, TrailingCopy* copy);
  std::wstring MixedData(std::wstring_view content) const;
};

}  // namespace orv
