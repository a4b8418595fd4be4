#pragma once

#include <string>
#include <string_view>

/// Narrow encodings, known by their Windows code page numbers: the system's own conversion on
/// Windows, iconv elsewhere. Which pages there are is the system's business.

namespace orv {

/// The code page of narrow text that names none: the "ANSI" one. On Linux the Western European page
/// 1252.
int SystemCodePage();

/// Appends the text that the bytes stand for. Bytes without a meaning become U+FFFD or what the
/// system puts for them, and set `*lost`. False, nothing appended, when there is no such page.
bool DecodeCodePage(int codePage, std::string_view bytes, std::wstring* text, bool* lost);

/// Appends the text in a code page. What the page cannot express becomes `?` and sets `*lost`.
/// False, nothing appended, when there is no such page.
bool EncodeCodePage(int codePage, std::wstring_view text, std::string* bytes, bool* lost);

}  // namespace orv
