#pragma once

#include <string>
#include <string_view>

/// Character references and CDATA sections: how text is written in markup.

namespace orv {

/// Decodes the references of a text; of `flags` only the two white space flags of a document count.
/// An unknown reference is kept as it is.
std::wstring UnescapeText(std::wstring_view text, int flags);

/// Escapes the delimiters of markup in a zero-terminated text; of `flags` only `ADD_KEEPREFS` and
/// `ESC_ATTRIB` count.
std::wstring EscapeText(const wchar_t* text, int flags);
void AppendEscaped(const wchar_t* text, int flags, std::wstring* result);

/// A CDATA section with a text; split in two at every "]]>".
std::wstring EncodeCDataSection(std::wstring_view text);

}  // namespace orv
