#pragma once

#include <string>
#include <string_view>

#include "xml/attributes.h"
#include "xml/elem_pos.h"

class CMarkup;

namespace orv {

/// Reads a document at its current place, or finds its way among the records of its elements,
/// without allocating: for code that walks whole documents.
/// Every view is valid until the document, or the buffer it was decoded into, changes.
class MarkupReader {
 public:
  explicit MarkupReader(const CMarkup& doc) : doc_(doc) {}

  /// The tag name of the main element; empty when there is none.
  std::wstring_view TagName() const;

  /// What `GetAttrib` gives: a piece of the document's text when there is nothing to decode in it,
  /// else the decoded text, placed in `*buffer`. False when there is no such attribute.
  bool Attrib(std::wstring_view name, std::wstring* buffer, std::wstring_view* value) const;

  /// Calls `visit` with the name and the value, decoded through `*buffer`, of each attribute of the
  /// main element.
  template <class Visitor>
  void ForEachAttrib(std::wstring* buffer, Visitor visit) const {
    AttributeCursor cursor({}, 0);
    if (!StartAttribs(&cursor)) return;
    Attribute attribute;
    while (cursor.Next(&attribute)) {
      if (!attribute.name.empty()) visit(attribute.name, ValueOf(attribute, buffer));
    }
  }

  /// What `GetData` gives, in the same way.
  std::wstring_view Data(std::wstring* buffer) const;

  /// The record of the main element; 0 when there is none.
  int Main() const;
  /// The first child of an element with a tag name, which has no units that could end it; 0 when
  /// there is none.
  int Child(int element, std::wstring_view tagName) const;
  /// The next sibling of an element with a tag name, in the same way.
  int Next(int element, std::wstring_view tagName) const;

  /// The index itself. Record 0 is the document's own; records below `RecordCount` that are not
  /// `ELEM_DELETED` are its elements.
  int RecordCount() const;
  const ElemPos& Record(int index) const;

 private:
  int FirstNamed(std::uint32_t element, std::wstring_view tagName) const;
  bool StartAttribs(AttributeCursor* cursor) const;
  std::wstring_view ValueOf(const Attribute& attribute, std::wstring* buffer) const;

  const CMarkup& doc_;
};

}  // namespace orv
