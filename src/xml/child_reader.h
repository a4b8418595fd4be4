#pragma once

#include <string>
#include <string_view>

#include "xml/cursor.h"
#include "xml/document.h"
#include "xml/element_index.h"
#include "xml/references.h"

namespace orv {

/// Reads those children of an element that have one tag name, in document order: the value of one
/// attribute and the data of each. Made for many similar children, such as properties: a child with
/// the usual spelling that needs no decoding takes a few comparisons. It moves no position, and the
/// document must not change meanwhile.
class ChildReader {
 public:
  /// `parent` is the number of an entry. `opening` gives both names and the usual spelling of such
  /// a child, `<tag attribute="`, and must outlive the reader.
  ChildReader(const Cursor& cursor, int parent, std::wstring_view opening)
      : ChildReader(cursor.Doc(), parent, opening) {}
  ChildReader(const Document& document, int parent, std::wstring_view opening)
      : document_(document),
        text_(document_.text),
        opening_(opening),
        normalizesWhitespace_(NormalizesWhitespace(document_.flags)),
        next_(document_[parent].child) {}

  /// Reads the next child; false if there is none. `*value` is the attribute's value, empty without
  /// the attribute, `*data` the data; both are valid until the next call. `expectedValue` is the
  /// probable value, without quotes and references, or empty; if it is right, `*value` is
  /// `expectedValue` itself.
  bool Next(std::wstring_view expectedValue, std::wstring_view* value, std::wstring_view* data);

 private:
  bool ReadUnusual(int child, std::wstring_view* value);

  const Document& document_;
  const std::wstring_view text_;
  const std::wstring_view opening_;
  const bool normalizesWhitespace_;
  int next_;
  std::wstring valueBuffer_;
  std::wstring dataBuffer_;
};

}  // namespace orv
