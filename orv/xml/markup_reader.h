#pragma once

#include <string>
#include <string_view>

#include "orv/xml/attributes.h"
#include "orv/xml/elem_pos.h"

class CMarkup;

namespace orv {

/// Reads a document at its current place without allocating, for code that walks whole documents.
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

  /// The first child of the main element with this tag name, or with `after`, which is one of its
  /// children, the first one behind that; 0 when there is none. The name is no path, and no
  /// position of the document moves.
  int NextChild(int after, std::wstring_view name) const;
  /// `Attrib` and `Data` of the element of a record, whose tag name is known. Neither name has
  /// units that could end it.
  bool AttribOf(int element, std::wstring_view tagName, std::wstring_view name,
                std::wstring* buffer, std::wstring_view* value) const;
  std::wstring_view DataOf(int element, std::wstring* buffer) const;

  /// The index itself. Record 0 is the document's own; records below `RecordCount` that are not
  /// `ELEM_DELETED` are its elements.
  int RecordCount() const;
  const ElemPos& Record(int index) const;

 private:
  bool StartAttribs(AttributeCursor* cursor) const;
  std::wstring_view ValueOf(const Attribute& attribute, std::wstring* buffer) const;

  const CMarkup& doc_;
};

}  // namespace orv
