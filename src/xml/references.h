#pragma once

#include <string>
#include <string_view>

#include "orv/xml/markup.h"

/// Character references and CDATA sections: how text is written in markup.

namespace orv {

/// Whether reading changes the white space of values and data, by the flags of the document.
inline bool NormalizesWhitespace(int flags) {
  return (flags & (CMarkup::DOC_TRIMWHITESPACE | CMarkup::DOC_COLLAPSEWHITESPACE)) != 0;
}

/// Decodes the references of a text that is passed in pieces.
class TextUnescaper {
 public:
  /// Of `flags` only the two white space flags of a document count.
  explicit TextUnescaper(int flags);

  /// Appends the decoded text to `result`. Returns the number of code units that were read: without
  /// `isLast`, a reference that may be incomplete is left for the next call.
  std::size_t Append(std::wstring_view text, bool isLast, std::wstring* result);

 private:
  std::size_t AppendTrimmed(std::wstring_view text, bool isLast, std::wstring* result);

  bool collapses_;
  bool trims_;
  bool hasSolid_ = false;  ///< something other than white space was decoded
  std::wstring white_;     ///< white space that is dropped if nothing follows it
};

/// Decodes the references of a text; of `flags` only the two white space flags of a document count.
/// An unknown reference is kept as it is. The buffer keeps its memory from one text to the next.
std::wstring UnescapeText(std::wstring_view text, int flags);
void UnescapeText(std::wstring_view text, int flags, std::wstring* buffer);

/// Escapes the delimiters of markup in a zero-terminated text; of `flags` only `ADD_KEEPREFS` and
/// `ESC_ATTRIB` count. The view is of the text itself if it contains none, otherwise of `*buffer`,
/// which is empty before.
std::wstring EscapeText(const wchar_t* text, int flags);
std::wstring_view EscapeText(std::wstring_view text, int flags, std::wstring* buffer);

/// A CDATA section with a text; split in two at every "]]>".
std::wstring EncodeCDataSection(std::wstring_view text);

}  // namespace orv
