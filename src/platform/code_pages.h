#pragma once

#include <string>
#include <string_view>

/// Conversion between wide text and code pages, identified by their Windows numbers: through
/// kernel32 on Windows, iconv on Linux. The system decides which code pages exist.

namespace orv {

/// The "ANSI" code page, for narrow text without a declared encoding. On Linux it is 1252 (Western
/// European).
int SystemCodePage();

/// Decodes `bytes` and appends the text. Undecodable bytes become U+FFFD, or what the system
/// substitutes, and set `*lost`. Returns false and appends nothing if the code page does not exist.
bool DecodeCodePage(int codePage, std::string_view bytes, std::wstring* text, bool* lost);

/// Encodes `text` and appends the bytes. Characters that the code page lacks become `?` and set
/// `*lost`. Returns false and appends nothing if the code page does not exist.
bool EncodeCodePage(int codePage, std::wstring_view text, std::string* bytes, bool* lost);

}  // namespace orv
