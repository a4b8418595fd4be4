#pragma once

#include <string>
#include <string_view>

#include "xml/elem_pos_array.h"

class CMarkup;

namespace orv {

/// Reads those children of an element that have one tag name, in document order: of each the value
/// of one attribute and the data. Made for many children of one kind, such as properties: those
/// that begin in the usual way and need no decoding take a few comparisons. No position of the
/// document moves; it must not change meanwhile.
class ChildReader {
 public:
  /// `parent` is the parent's record. `opening` tells the two names, and how nearly every such
  /// child begins: `<tag attribute="`. It must outlive the reader.
  ChildReader(const CMarkup& doc, int parent, std::wstring_view opening);

  /// Takes the next child; false when there is none. `*value` is what `GetAttrib` gives, empty for
  /// a child without the attribute, `*data` what `GetData` gives; both are valid until the next
  /// call. `guess` is what the value probably is, without quotes and references, or empty: when it
  /// is that, `*value` is `guess` itself.
  bool Next(std::wstring_view guess, std::wstring_view* value, std::wstring_view* data);

 private:
  bool ReadOther(int child, std::wstring_view* value);

  const CMarkup& doc_;
  const ElemPosArray& elements_;
  const std::wstring_view text_;
  const std::wstring_view opening_;
  const bool shapesWhiteSpace_;
  int next_;
  std::wstring valueBuffer_;
  std::wstring dataBuffer_;
};

}  // namespace orv
